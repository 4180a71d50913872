// SYS_GeomArc.cpp - circular arcs: angles, sweep, length, validity, extremes and box.
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <numbers>

#include "ssmcheck.h"
#include "sysgeom.h"
#include "systransform.h"

namespace {

constexpr const char* kSite = "system/sys/SYS_GeomArc";
constexpr int kExtremNullOut = 9001;
constexpr std::int32_t kQuarterTurn = SYS_FullTurn / 4;

// Rounds half away from zero without leaving double, so huge values stay comparable.
double RoundHalfAway(double v) { return v >= 0 ? std::trunc(v + 0.5) : std::trunc(v - 0.5); }

bool OnCircle(const SYS_Point& p, const SYS_Point& center, std::int32_t radius) {
  const SYS_Point d = p - center;
  const double dx = static_cast<double>(d.GetX()), dy = static_cast<double>(d.GetY());
  const double r = radius;
  return std::fabs(RoundHalfAway(dx * dx + dy * dy - r * r)) <= 1.0;
}

}  // namespace

int SYS_Arc::IsValidArc() const {
  return OnCircle(start_, center_, radius_) && OnCircle(end_, center_, radius_);
}

long SYS_Arc::GetSizeAngle() const {
  std::int32_t d = static_cast<std::int32_t>(GetEndAngle() - GetStartAngle());
  if (d > 0 && radius_ < 0) d -= SYS_FullTurn;
  if (d < 0 && radius_ > 0) d += SYS_FullTurn;
  return d;
}

double SYS_Arc::GetLength() const {
  return static_cast<double>(GetSizeAngle()) * std::numbers::pi / SYS_HalfTurn * radius_;
}

int SYS_Arc::NearestExtrem(const SYS_Point& from, SYS_Point* out, std::int32_t lowAngle,
                           std::int32_t highAngle, bool yAxis) const {
  SSM_CHECK(out != nullptr, kSite, kExtremNullOut);
  if (out == nullptr || radius_ == 0) return 0;
  const bool ccw = radius_ > 0;
  const std::int64_t from_angle = (from - center_).GetPolarAngle();
  // Distance from `from` to `angle` travelling in the arc's direction, in [0, full turn).
  auto ahead = [&](std::int64_t angle) {
    std::int64_t d = (ccw ? angle - from_angle : from_angle - angle) % SYS_FullTurn;
    return d < 0 ? d + SYS_FullTurn : d;
  };
  const std::int64_t remaining = ahead(GetEndAngle());
  // An extreme at `from` itself is not ahead of it: the next one is a full turn away.
  std::int64_t to_low = ahead(lowAngle), to_high = ahead(highAngle);
  if (to_low == 0) to_low = SYS_FullTurn;
  if (to_high == 0) to_high = SYS_FullTurn;
  const int side = to_high < to_low ? 1 : -1;
  if ((side > 0 ? to_high : to_low) > remaining) return 0;

  const std::int32_t r = sys_detail::Abs(radius_);
  const SYS_Point offset =
      yAxis ? SYS_Point(0, side * static_cast<long>(r)) : SYS_Point(side * static_cast<long>(r), 0);
  *out = center_ + offset;
  return side;
}

int SYS_Arc::GetXNearestExtrem(const SYS_Point& from, SYS_Point* out) const {
  return NearestExtrem(from, out, SYS_HalfTurn, 0, false);
}

int SYS_Arc::GetYNearestExtrem(const SYS_Point& from, SYS_Point* out) const {
  return NearestExtrem(from, out, 3 * kQuarterTurn, kQuarterTurn, true);
}

SYS_Box SYS_Arc::GetBox() const {
  SYS_Box box(start_, end_);
  box.Normalize();
  // A single arc of less than a full turn passes at most two extremes per axis.
  for (auto nearest : {&SYS_Arc::GetXNearestExtrem, &SYS_Arc::GetYNearestExtrem}) {
    SYS_Point first, second;
    if ((this->*nearest)(start_, &first)) {
      box.Increase(first.GetX(), first.GetY());
      if ((this->*nearest)(first, &second)) box.Increase(second.GetX(), second.GetY());
    }
  }
  return box;
}

void SYS_Arc::Transform(const SYS_Transform& t) {
  start_ = t.Transform(start_);
  end_ = t.Transform(end_);
  center_ = t.Transform(center_);
}
