// SYS_Geom.cpp - points, boxes, segments, circles, locations and positions.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "ssmcheck.h"
#include "sysgeom.h"
#include "systransform.h"

namespace {

constexpr const char* kSite = "system/sys/SYS_Geom";
constexpr int kClipNullOut = 9001;

// Shared by both point types: atan2 scaled to angle units, truncated, lifted into
// [0, full turn).
long PolarAngle(double x, double y) {
  if (x == 0.0 && y == 0.0) return 0;  // also for -0.0, where atan2 would say half a turn
  std::int32_t a = SYS_Truncate(std::atan2(y, x) * SYS_HalfTurn / std::numbers::pi);
  if (a < 0) a += SYS_FullTurn;
  return a;
}

// Length refined by one Newton step on r² = s.
double PolarRadius(double x, double y) {
  const double s = x * x + y * y;
  double r = std::sqrt(s);
  if (r != 0.0) r = (r * r + s) / r * 0.5;
  return r;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// SYS_Point, SYS_DoublePoint

void SYS_Point::Transform(const SYS_Transform& t) { *this = t.Transform(*this); }

double SYS_Point::Length() const {
  const double ax = std::fabs(static_cast<double>(x_));
  const double ay = std::fabs(static_cast<double>(y_));
  if (x_ == 0) return ay;
  if (y_ == 0) return ax;
  if (ax == ay) return ax * 1.4142135623730951;  // exact diagonal, no sqrt rounding
  return std::sqrt(ax * ax + ay * ay);
}

double SYS_Point::GetPolarRadius() const { return PolarRadius(x_, y_); }
long SYS_Point::GetPolarAngle() const { return PolarAngle(x_, y_); }

void SYS_DoublePoint::Transform(const SYS_Transform& t) { *this = t.Transform(*this); }
double SYS_DoublePoint::GetPolarRadius() const { return PolarRadius(x_, y_); }
long SYS_DoublePoint::GetPolarAngle() const { return PolarAngle(x_, y_); }

// ---------------------------------------------------------------------------------------------
// SYS_Box

void SYS_Box::Normalize() {
  if (GetLeft() > GetRight()) {
    const long l = GetLeft();
    SetLeft(GetRight());
    SetRight(l);
  }
  if (GetLower() > GetUpper()) {
    const long l = GetLower();
    SetLower(GetUpper());
    SetUpper(l);
  }
}

void SYS_Box::Combine(const SYS_Box& b) {
  SYS_Box invalid;
  invalid.Invalidate();
  if (*this == invalid) {
    *this = b;
    return;
  }
  if (b == invalid) return;
  Set(std::min(GetLeft(), b.GetLeft()), std::min(GetLower(), b.GetLower()),
      std::max(GetRight(), b.GetRight()), std::max(GetUpper(), b.GetUpper()));
}

void SYS_Box::Increase(long x, long y) {
  const long px = static_cast<std::int32_t>(x), py = static_cast<std::int32_t>(y);
  if (px < GetLeft()) SetLeft(px);
  if (px > GetRight()) SetRight(px);
  if (py < GetLower()) SetLower(py);
  if (py > GetUpper()) SetUpper(py);
}

void SYS_Box::Expand(long d) {
  ll_ -= d;
  ur_ += d;
  Normalize();
}

void SYS_Box::SetCenter(const SYS_Point& c) {
  const SYS_Point size = ur_ - ll_;
  ll_ = c - SYS_Point(size.GetX() / 2, size.GetY() / 2);
  ur_ = ll_ + size;
}

int SYS_Box::SetAsIntersection(SYS_Box a, SYS_Box b) {
  Set(std::max(a.GetLeft(), b.GetLeft()), std::max(a.GetLower(), b.GetLower()),
      std::min(a.GetRight(), b.GetRight()), std::min(a.GetUpper(), b.GetUpper()));
  if (GetLeft() >= GetRight()) {
    SetLeft(GetRight());
    return 0;
  }
  if (GetLower() >= GetUpper()) {
    SetLower(GetUpper());
    return 0;
  }
  return 1;
}

namespace {

// One axis of the Clip sweep: the merged break values and, for each interval between two
// consecutive ones, its code (bit 1 inside the clipping box, bit 2 inside the clipped one).
struct ClipAxis {
  long value[4];
  int code[3];
  int intervals = 0;

  ClipAxis(long selfLo, long selfHi, long otherLo, long otherHi) {
    struct Break {
      long v;
      int w;
    };
    Break br[4] = {{std::min(selfLo, selfHi), 1},
                   {std::max(selfLo, selfHi), -1},
                   {std::min(otherLo, otherHi), 2},
                   {std::max(otherLo, otherHi), -2}};
    std::sort(br, br + 4, [](const Break& p, const Break& q) { return p.v < q.v; });
    int n = 0, weight[4];
    for (const Break& b : br) {
      if (n > 0 && value[n - 1] == b.v) {
        weight[n - 1] += b.w;
      } else {
        value[n] = b.v;
        weight[n++] = b.w;
      }
    }
    int sum = 0;
    for (int i = 0; i + 1 < n; ++i) code[i] = sum += weight[i];
    intervals = n - 1;
  }
};

}  // namespace

int SYS_Box::Clip(SYS_Box b, SYS_Box* out) const {
  SSM_CHECK(out != nullptr, kSite, kClipNullOut);
  if (out == nullptr) return 0;
  const ClipAxis x(GetLeft(), GetRight(), b.GetLeft(), b.GetRight());
  const ClipAxis y(GetLower(), GetUpper(), b.GetLower(), b.GetUpper());

  // The y extent of b, from the first to the last interval inside it.
  int first = -1, last = -1;
  for (int j = 0; j < y.intervals; ++j) {
    if (y.code[j] & 2) {
      if (first < 0) first = j;
      last = j;
    }
  }
  int count = 0;
  for (int i = 0; i < x.intervals; ++i) {
    if (x.code[i] == 2) {
      // A zero-height b has no interval inside it and contributes nothing.
      if (first >= 0)
        out[count++].Set(x.value[i], y.value[first], x.value[i + 1], y.value[last + 1]);
    } else if (x.code[i] == 3) {
      for (int j = 0; j < y.intervals; ++j)
        if (y.code[j] == 2)
          out[count++].Set(x.value[i], y.value[j], x.value[i + 1], y.value[j + 1]);
    }
  }
  return count;
}

void SYS_Box::Transform(const SYS_Transform& t) {
  const SYS_Point corners[4] = {ll_, GetLowerRight(), ur_, GetUpperLeft()};
  // Starting from the limits means corners all beyond the limit leave the limit there.
  long left = SYS_CoordLimit, lower = SYS_CoordLimit;
  long right = -SYS_CoordLimit, upper = -SYS_CoordLimit;
  for (const SYS_Point& c : corners) {
    const SYS_Point p = t.Transform(c);
    left = std::min(left, p.GetX());
    right = std::max(right, p.GetX());
    lower = std::min(lower, p.GetY());
    upper = std::max(upper, p.GetY());
  }
  Set(left, lower, right, upper);
}

// ---------------------------------------------------------------------------------------------
// SYS_Segment, SYS_Circle

void SYS_Segment::Transform(const SYS_Transform& t) {
  start_ = t.Transform(start_);
  end_ = t.Transform(end_);
}

void SYS_Circle::Transform(const SYS_Transform& t) { center_ = t.Transform(center_); }

// ---------------------------------------------------------------------------------------------
// SYS_Location, SYS_Position

void SYS_Location::Transform(const SYS_Transform& t) {
  origin_ = t.Transform(origin_);
  std::int32_t o =
      sys_detail::Add(static_cast<std::int32_t>(t.GetOrientation()), orientation_ % SYS_FullTurn) %
      SYS_FullTurn;
  if (t.GetMirror()) {
    o = SYS_HalfTurn - o;
    if (o < 0) o += SYS_FullTurn;
  }
  orientation_ = o;
}

void SYS_Position::Transform(const SYS_Transform& t) {
  SYS_Location::Transform(t);
  if (t.GetMirror()) mirror_ = !mirror_;
}
