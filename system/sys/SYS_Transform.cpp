// SYS_Transform.cpp - setters, placement, angle conversion, composition and inversion.
#include <cmath>
#include <cstdint>
#include <numbers>

#include "ssmcheck.h"
#include "systransform.h"

namespace {

constexpr const char* kSite = "system/sys/SYS_Transform";
constexpr int kNullPoint = 9001;
constexpr int kNullSource = 9002;

constexpr double kPi = std::numbers::pi;
constexpr double kSingular = 1e-12;  // below this a determinant or factor has no inverse

double ToRadians(double angle) { return angle * kPi / SYS_HalfTurn; }

// Brings an angle into [0, full turn] by whole turns; exactly one full turn is kept.
std::int32_t FoldAngle(std::int64_t angle) {
  if (angle < 0) {
    angle %= SYS_FullTurn;
    if (angle < 0) angle += SYS_FullTurn;
  } else if (angle > SYS_FullTurn) {
    angle = (angle - 1) % SYS_FullTurn + 1;
  }
  return static_cast<std::int32_t>(angle);
}

}  // namespace

void SYS_Transform::NullPoint() { SSM_CHECK(false, kSite, kNullPoint); }

SYS_Transform SYS_Transform::operator=(const SYS_Transform& t) {
  a_ = t.a_, b_ = t.b_, c_ = t.c_;
  d_ = t.d_, e_ = t.e_, f_ = t.f_;
  angleFactor_ = t.angleFactor_, angleOffset_ = t.angleOffset_, orientation_ = t.orientation_;
  sweepFactor_ = t.sweepFactor_, sweepOffset_ = t.sweepOffset_, sweepShift_ = t.sweepShift_;
  scale_ = t.scale_;
  return *this;
}

SYS_Transform SYS_Transform::operator=(const SYS_Transform* t) {
  SSM_CHECK(t != nullptr, kSite, kNullSource);
  if (t != nullptr) *this = *t;
  return *this;
}

// ---------------------------------------------------------------------------------------------
// Setters

void SYS_Transform::SetMove(double dx, double dy) {
  *this = SYS_Transform();
  c_ = dx;
  f_ = dy;
}

void SYS_Transform::SetRotate(const SYS_Point& p, long angle) {
  const double t = ToRadians(static_cast<std::int32_t>(angle));
  const double cs = std::cos(t), sn = std::sin(t);
  const double px = p.GetX(), py = p.GetY();
  a_ = cs, b_ = -sn, c_ = px - cs * px + sn * py;
  d_ = sn, e_ = cs, f_ = py - sn * px - cs * py;
  angleFactor_ = 1.0;
  orientation_ = static_cast<std::int32_t>(angle);
  sweepFactor_ = 1.0, sweepOffset_ = 0.0, sweepShift_ = 0;
  scale_ = 1.0;
  // The radian angle offset keeps its previous value (intended).
}

void SYS_Transform::SetRotate(const SYS_Point& p, double u, double v) {
  const double n = u * u + v * v;
  if (n < 1e-9) {
    u = 1.0, v = 0.0;
  } else if (n != 1.0) {
    const double len = std::sqrt(n);
    u /= len, v /= len;
  }
  const double px = p.GetX(), py = p.GetY();
  a_ = u, b_ = -v, c_ = px - u * px + v * py;
  d_ = v, e_ = u, f_ = py - v * px - u * py;
  angleFactor_ = 1.0;
  angleOffset_ = std::atan2(v + 0.0, u);  // + 0.0: v = -0 gives pi, not -pi, for u < 0
  orientation_ = SYS_Truncate(angleOffset_ * SYS_HalfTurn / kPi);
  sweepFactor_ = 1.0, sweepOffset_ = 0.0, sweepShift_ = 0;
  scale_ = 1.0;
}

void SYS_Transform::SetMirror(const SYS_Point& p, long angle) {
  const double t = 2.0 * ToRadians(static_cast<std::int32_t>(angle));
  const double cs = std::cos(t), sn = std::sin(t);
  const double px = p.GetX(), py = p.GetY();
  a_ = cs, b_ = sn, c_ = px - cs * px - sn * py;
  d_ = sn, e_ = -cs, f_ = py - sn * px + cs * py;
  angleFactor_ = -1.0;
  orientation_ = sys_detail::Mul(2, static_cast<std::int32_t>(angle));
  sweepFactor_ = -1.0, sweepOffset_ = 0.0, sweepShift_ = 0;
  scale_ = 1.0;
  // The radian angle offset keeps its previous value (intended).
}

void SYS_Transform::SetMirror(const SYS_Point& p, double u, double v) {
  const double n = u * u + v * v;
  // The threshold is 4, not a small epsilon: every axis shorter than 2 means the x axis
  // (intended; the placement constructors depend on it).
  if (n < 4.0) {
    u = 1.0, v = 0.0;
  } else if (n != 1.0) {
    const double len = std::sqrt(n);
    u /= len, v /= len;
  }
  const double cs = u * u - v * v, sn = 2.0 * u * v;
  const double px = p.GetX(), py = p.GetY();
  a_ = cs, b_ = sn, c_ = px - cs * px - sn * py;
  d_ = sn, e_ = -cs, f_ = py - sn * px + cs * py;
  angleFactor_ = -1.0;
  angleOffset_ = std::atan2(sn + 0.0, cs);  // + 0.0: as in SetRotate, -0 counts as 0
  orientation_ = SYS_Truncate(angleOffset_ * SYS_HalfTurn / kPi);
  sweepFactor_ = -1.0, sweepOffset_ = 0.0, sweepShift_ = 0;
  scale_ = 1.0;
}

void SYS_Transform::SetScale(const SYS_Point& p, double k) {
  const double px = p.GetX(), py = p.GetY();
  a_ = k, b_ = 0.0, c_ = px - px * k;
  d_ = 0.0, e_ = k, f_ = py - py * k;
  angleFactor_ = 1.0;
  if (k < 0) {
    angleOffset_ = kPi;
    orientation_ = SYS_HalfTurn;
  } else {
    angleOffset_ = 0.0;
    orientation_ = 0;
  }
  sweepFactor_ = 1.0, sweepOffset_ = 0.0, sweepShift_ = 0;
  scale_ = k;
}

void SYS_Transform::SetBoxConv(const SYS_Point& a, const SYS_Point& b, const SYS_Box& box) {
  const SYS_Point span = b - a;
  const double kx = static_cast<double>(box.GetWidth()) / span.GetX();
  const double ky = static_cast<double>(box.GetHeight()) / span.GetY();
  const double k = ky < kx ? ky : kx;
  const SYS_Point mid(sys_detail::Add(a.GetX(), b.GetX()) / 2,
                      sys_detail::Add(a.GetY(), b.GetY()) / 2);
  SetScale(mid, k);
  const SYS_Point shift = box.GetCenter() - mid;
  c_ += shift.GetX();
  f_ += shift.GetY();
}

void SYS_Transform::SetCoordSys(const SYS_Point& o, long angle) {
  SetRotate(o, -static_cast<long>(static_cast<std::int32_t>(angle)));
  SYS_Transform move;
  move.SetMove(-static_cast<double>(o.GetX()), -static_cast<double>(o.GetY()));
  AddConv(move);
}

void SYS_Transform::SetCoordSys(const SYS_Point& o, double u, double v) {
  SetRotate(o, -v, -u);  // swapped and negated (intended)
  SYS_Transform move;
  move.SetMove(-static_cast<double>(o.GetX()), -static_cast<double>(o.GetY()));
  AddConv(move);
}

// ---------------------------------------------------------------------------------------------
// Placement

void SYS_Transform::SetPlacement(long x, long y, long angle, int mirror, int mirrorFirst,
                                 int noMoveIn, int noMoveOut) {
  const SYS_Point origin(0, 0);
  const SYS_Point pivot(x, y);
  SetMove(noMoveIn ? 0L : -pivot.GetX(), noMoveIn ? 0L : -pivot.GetY());
  SYS_Transform step;
  if (mirror && mirrorFirst) {
    step.SetMirror(origin, 0.0, 1.0);
    AddConv(step);
  }
  if (static_cast<std::int32_t>(angle) != 0) {
    step = SYS_Transform();
    step.SetRotate(origin, angle);
    AddConv(step);
  }
  if (mirror && !mirrorFirst) {
    step = SYS_Transform();
    step.SetMirror(origin, 0.0, 1.0);
    AddConv(step);
  }
  if (!noMoveOut) {
    step.SetMove(pivot.GetX(), pivot.GetY());
    AddConv(step);
  }
}

SYS_Transform::SYS_Transform(long x, long y, long angle, int mirror, int mirrorFirst, int noMoveIn,
                             int noMoveOut) {
  SetPlacement(x, y, angle, mirror, mirrorFirst, noMoveIn, noMoveOut);
}

SYS_Transform::SYS_Transform(const SYS_Point& p, long angle, int mirror, int mirrorFirst,
                             int noMoveIn, int noMoveOut) {
  SetPlacement(p.GetX(), p.GetY(), angle, mirror, mirrorFirst, noMoveIn, noMoveOut);
}

SYS_Transform::SYS_Transform(const SYS_Position& pos, int mirrorFirst, int noMoveIn,
                             int noMoveOut) {
  SetPlacement(pos.GetOrigin().GetX(), pos.GetOrigin().GetY(), pos.GetOrientation(),
               pos.GetMirror(), mirrorFirst, noMoveIn, noMoveOut);
}

// ---------------------------------------------------------------------------------------------
// Application

SYS_Point SYS_Transform::operator-(const SYS_Point& p) const {
  SYS_Transform inverse;
  SetRConv(inverse);
  return inverse.Transform(p);
}

void SYS_Transform::Convert(long& angle, long& sweep) const {
  std::int32_t a = FoldAngle(static_cast<std::int32_t>(angle));
  if (std::fabs(angleFactor_ - 1.0) > 1e-9) {
    // Radians added to angle units (intended): a mirrored angle ends a few units off.
    a = SYS_Round(a * angleFactor_ + angleOffset_);
  } else {
    a = sys_detail::Add(a, orientation_);
  }
  angle = FoldAngle(a);

  std::int64_t s = SYS_Truncate(static_cast<std::int32_t>(sweep) * sweepFactor_ + sweepOffset_);
  // Both directions saturate to a positive full turn (intended).
  if (s > SYS_FullTurn || s < -static_cast<std::int64_t>(SYS_FullTurn)) s = SYS_FullTurn;
  sweep = s;
}

// ---------------------------------------------------------------------------------------------
// Composition and inversion

void SYS_Transform::AddConv(const SYS_Transform& t) {
  const double a = a_, b = b_, c = c_, d = d_, e = e_, f = f_;
  a_ = a * t.a_ + d * t.b_;
  b_ = b * t.a_ + e * t.b_;
  c_ = c * t.a_ + f * t.b_ + t.c_;
  d_ = a * t.d_ + d * t.e_;
  e_ = b * t.d_ + e * t.e_;
  f_ = c * t.d_ + f * t.e_ + t.f_;
  angleFactor_ *= t.angleFactor_;
  angleOffset_ = angleOffset_ * t.angleFactor_ + t.angleOffset_;
  orientation_ = sys_detail::Add(SYS_Truncate(orientation_ * t.angleFactor_), t.orientation_);
  sweepFactor_ *= t.sweepFactor_;
  sweepOffset_ = sweepOffset_ * t.sweepFactor_ + t.sweepOffset_;
  sweepShift_ = sys_detail::Add(SYS_Truncate(sweepShift_ * t.sweepFactor_), t.sweepShift_);
  scale_ *= t.scale_;
}

void SYS_Transform::SubConv(const SYS_Transform& t) {
  SYS_Transform inverse;
  t.SetRConv(inverse);
  AddConv(inverse);
}

SYS_Transform SYS_Transform::operator+(const SYS_Transform& t) const {
  SYS_Transform r(*this);
  r.AddConv(t);
  return r;
}

SYS_Transform SYS_Transform::operator-(const SYS_Transform& t) const {
  SYS_Transform r(*this);
  r.SubConv(t);
  return r;
}

short SYS_Transform::SetRConv(SYS_Transform& out) const {
  const SYS_Transform src(*this);  // out may be this transform
  out.SetMove(0.0, 0.0);
  const double det = src.a_ * src.e_ - src.b_ * src.d_;
  if (std::fabs(det) < kSingular) return 0;
  out.a_ = src.e_ / det;
  out.b_ = -src.b_ / det;
  out.c_ = (src.b_ * src.f_ - src.e_ * src.c_) / det;
  out.d_ = -src.d_ / det;
  out.e_ = src.a_ / det;
  out.f_ = (src.d_ * src.c_ - src.a_ * src.f_) / det;
  if (std::fabs(src.angleFactor_) < kSingular) return 0;
  out.angleFactor_ =
      std::fabs(src.angleFactor_ - 1.0) < kSingular ? src.angleFactor_ : 1.0 / src.angleFactor_;
  out.angleOffset_ = -src.angleOffset_;
  out.orientation_ = sys_detail::Sub(0, src.orientation_);
  if (std::fabs(src.sweepFactor_) < kSingular) return 0;
  out.sweepFactor_ = 1.0 / src.sweepFactor_;
  out.sweepOffset_ = -src.sweepOffset_;
  out.sweepShift_ = sys_detail::Sub(0, src.sweepShift_);
  if (std::fabs(src.scale_) < kSingular) {
    scale_ = 1.0;  // a write through a const operation (intended; later calls rely on it)
    return 0;
  }
  out.scale_ = 1.0 / src.scale_;
  return 1;
}

void SYS_Transform::RConv() {
  SYS_Transform inverse;
  SetRConv(inverse);
  *this = inverse;
}

short SYS_Transform::operator==(const SYS_Transform& t) const {
  return a_ == t.a_ && b_ == t.b_ && c_ == t.c_ && d_ == t.d_ && e_ == t.e_ && f_ == t.f_ &&
         angleFactor_ == t.angleFactor_ && angleOffset_ == t.angleOffset_ &&
         orientation_ == t.orientation_ && sweepFactor_ == t.sweepFactor_ &&
         sweepOffset_ == t.sweepOffset_ && sweepShift_ == t.sweepShift_ && scale_ == t.scale_;
}
