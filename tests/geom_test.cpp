// geom_test.cpp - tests of the planar geometry value types.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "sysgeom.h"
#include "systransform.h"

namespace {

constexpr double kPi = std::numbers::pi;

SYS_Transform Rot90() { return SYS_Transform(0, 0, 162000000, 0, 0, 0, 0); }
SYS_Transform MirrorX() { return SYS_Transform(0, 0, 0, 1, 0, 0, 0); }

TEST(GeomTest, PolarAnglesAndLengths) {
  const struct { long x, y, want; } cases[] = {{1, 0, 0}, {0, 0, 0}, {0, 1, 162000000}, {-1, 0, 324000000}, {0, -1, 486000000}, {1, 1, 81000000}, {-1, -1, 405000000}, {1000000000, -10, 647999999}};
  for (const auto& c : cases) {
    EXPECT_EQ(SYS_Point(c.x, c.y).GetPolarAngle(), c.want) << c.x << "," << c.y;
    EXPECT_EQ(SYS_DoublePoint(c.x, c.y).GetPolarAngle(), c.want) << c.x << "," << c.y;
  }
  std::mt19937 rng(7);
  std::uniform_int_distribution<std::int32_t> coord(-SYS_CoordLimit, SYS_CoordLimit);
  for (int i = 0; i < 20000; ++i) {
    const long a = SYS_Point(coord(rng), coord(rng)).GetPolarAngle();
    ASSERT_TRUE(a >= 0 && a < SYS_FullTurn) << a;
  }
  EXPECT_TRUE(SYS_Point(5, -5).Length() == 5 * 1.4142135623730951 && SYS_Point(-7, 0).Length() == 7.0);
  const double big = SYS_Point(1000000007, 999999937).GetPolarRadius();
  EXPECT_NEAR(big, std::hypot(1000000007.0, 999999937.0), big * 1e-9);
}

// Out-of-range and NaN coordinates give INT32_MIN whether the compiler folds the
// conversion of a constant or the program converts a value at run time.
TEST(GeomTest, OutOfRangeConversionsGiveTheMinimum) {
  EXPECT_EQ(static_cast<SYS_Point>(SYS_DoublePoint(3e9, -3e9)), SYS_Point(INT32_MIN, INT32_MIN));
  EXPECT_EQ(SYS_Truncate(NAN), INT32_MIN);
  const struct { double v; std::int32_t want; } cases[] = {
      {3e9, INT32_MIN}, {-3e9, INT32_MIN}, {2147483648.0, INT32_MIN}, {NAN, INT32_MIN},
      {2147483647.9, INT32_MAX}, {-2147483648.9, INT32_MIN}, {-7.9, -7}};
  for (const auto& c : cases) {
    volatile double v = c.v;  // converted at run time
    EXPECT_EQ(SYS_Truncate(v), c.want) << c.v;
  }
  EXPECT_EQ(SYS_Round(2147483647.4), INT32_MAX);
  EXPECT_EQ(SYS_Round(2147483647.5), INT32_MIN);
}

TEST(GeomTest, BoxesCombineIntersectAndTransform) {
  SYS_Box c(0, 0, 5, 7);
  c.SetCenter(SYS_Point(100, -100));
  EXPECT_EQ(c, SYS_Box(98, -103, 103, -96));
  SYS_Box invalid;
  invalid.Invalidate();
  EXPECT_EQ(invalid, SYS_Box(SYS_CoordLimit, SYS_CoordLimit, -SYS_CoordLimit, -SYS_CoordLimit));
  SYS_Box a = invalid;
  a.Combine(SYS_Box(1, 2, 3, 4));
  a.Combine(invalid);
  EXPECT_EQ(a, SYS_Box(1, 2, 3, 4));
  a.Combine(SYS_Box(-5, 3, 2, 9));
  a.Increase(10, -10);
  EXPECT_EQ(a, SYS_Box(-5, -10, 10, 9));
  SYS_Box r;
  EXPECT_EQ(r.SetAsIntersection(SYS_Box(0, 0, 10, 10), SYS_Box(2, 10, 20, 30)), 0);
  EXPECT_EQ(r, SYS_Box(2, 10, 10, 10));  // touching: the shared edge, answered 0
  EXPECT_EQ(r.SetAsIntersection(SYS_Box(0, 0, 10, 10), SYS_Box(5, -5, 20, 5)), 1);
  EXPECT_EQ(r, SYS_Box(5, 0, 10, 5));
  SYS_Box e(0, 0, 10, 10);
  e.Expand(-10);  // only grows
  e.Expand(2);
  EXPECT_EQ(e, SYS_Box(-2, -2, 12, 12));

  SYS_Box t(1, 2, 5, 4);
  t.Transform(Rot90());
  EXPECT_EQ(t, SYS_Box(-4, 1, -2, 5));
  SYS_Box far(1100000000, 1100000000, 1200000000, 1200000000);  // beyond the limit
  far.Transform(SYS_Transform());
  EXPECT_EQ(far, SYS_Box(SYS_CoordLimit, SYS_CoordLimit, 1200000000, 1200000000));

}

// Every unit cell of a small grid is covered exactly once when it lies in b outside the
// clipping box, and not at all otherwise; every rectangle has a positive area.
TEST(GeomTest, ClipCoversExactlyTheOutsidePartOnRandomBoxes) {
  SYS_Box out[4];
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> coord(0, 12);
  auto inside = [](SYS_Box box, double x, double y) {
    box.Normalize();
    return box.GetLeft() < x && x < box.GetRight() && box.GetLower() < y && y < box.GetUpper();
  };
  for (int round = 0; round < 3000; ++round) {
    const SYS_Box clipper(coord(rng), coord(rng), coord(rng), coord(rng));
    const SYS_Box b(coord(rng), coord(rng), coord(rng), coord(rng));
    const int n = clipper.Clip(b, out);
    ASSERT_TRUE(n >= 0 && n <= 4);
    for (int i = 0; i < n; ++i) ASSERT_TRUE(out[i].GetLeft() < out[i].GetRight() && out[i].GetLower() < out[i].GetUpper());
    for (int x = -1; x <= 13; ++x)
      for (int y = -1; y <= 13; ++y) {
        int covered = 0;
        for (int i = 0; i < n; ++i) covered += inside(out[i], x + 0.5, y + 0.5);
        ASSERT_EQ(covered, inside(b, x + 0.5, y + 0.5) && !inside(clipper, x + 0.5, y + 0.5))
            << "round " << round << " cell " << x << "," << y;
      }
  }
}

TEST(GeomTest, SegmentsCirclesAndArcs) {
  SYS_Segment s(SYS_Point(5, 1), SYS_Point(2, 7));
  SYS_Circle circle(10, 20, 5);
  EXPECT_TRUE((s.Transform(Rot90()), s) == SYS_Segment(-1, 5, -7, 2) && (circle.Transform(MirrorX()), circle) == SYS_Circle(10, -20, 5));

  const SYS_Point o(100, 100);
  const SYS_Arc ccw(SYS_Point(200, 100), SYS_Point(100, 200), o, 100);
  const SYS_Arc cw(SYS_Point(200, 100), SYS_Point(100, 200), o, -100);
  EXPECT_TRUE(ccw.GetEndAngle() == 162000000 && ccw.GetSizeAngle() == 162000000);
  EXPECT_EQ(cw.GetSizeAngle(), 162000000 - SYS_FullTurn);
  EXPECT_NEAR(cw.GetLength(), 150 * kPi, 1e-9);
  EXPECT_EQ(SYS_Arc(SYS_Point(200, 100), SYS_Point(200, 100), o, -100).GetSizeAngle(), 0);
  // On the circle within one square unit; huge squares do not overflow into a yes.
  const SYS_Point z(0, 0);
  EXPECT_TRUE(SYS_Arc(SYS_Point(5, 1), SYS_Point(3, 4), z, 5).IsValidArc());
  EXPECT_FALSE(SYS_Arc(SYS_Point(5, 2), SYS_Point(3, 4), z, 5).IsValidArc());
  EXPECT_FALSE(SYS_Arc(SYS_Point(5, 0), SYS_Point(4, 4), z, 5).IsValidArc());
  EXPECT_FALSE(SYS_Arc(SYS_Point(INT32_MAX, 0), z, z, 0).IsValidArc());

  SYS_Point p, q;
  const SYS_Arc right(SYS_Point(0, -10), SYS_Point(0, 10), z, 10);
  EXPECT_EQ(right.GetXNearestExtrem(right.GetStart(), &p), 1);
  EXPECT_EQ(p, SYS_Point(10, 0));
  EXPECT_EQ(right.GetXNearestExtrem(p, &p), 0);  // the left side is never reached
  EXPECT_EQ(right.GetYNearestExtrem(right.GetStart(), &p), 1);  // the start is not ahead
  EXPECT_EQ(p, SYS_Point(0, 10));
  const SYS_Arc both(SYS_Point(-10, 1), SYS_Point(10, 1), z, 10);  // left first, then right
  EXPECT_EQ(both.GetXNearestExtrem(both.GetStart(), &p), -1);
  EXPECT_EQ(both.GetXNearestExtrem(p, &q), 1);
  EXPECT_EQ(q, SYS_Point(10, 0));
  EXPECT_EQ(both.GetBox(), SYS_Box(-10, -10, 10, 1));
  EXPECT_EQ(SYS_Arc(SYS_Point(10, 1), SYS_Point(10, -1), z, 10).GetBox(), SYS_Box(-10, -10, 10, 10));
  EXPECT_EQ(SYS_Arc(SYS_Point(10, 0), SYS_Point(0, 10), z, -10).GetBox(), SYS_Box(-10, -10, 10, 10));
  EXPECT_EQ(SYS_Arc(SYS_Point(5, 5), SYS_Point(5, 5), z, 7).GetBox(), SYS_Box(5, 5, 5, 5));

  SYS_Arc m(SYS_Point(10, 0), SYS_Point(0, 10), z, 10);
  m.Transform(MirrorX());  // the stored direction is kept
  EXPECT_EQ(m, SYS_Arc(SYS_Point(10, 0), SYS_Point(0, -10), z, 10));
}

TEST(GeomTest, LocationsAndPositionsTransformTheirOrientation) {
  SYS_Location l(10, 0, 600000000), m(10, 5, 100000000), n(0, 0, 400000000);
  l.Transform(Rot90()), m.Transform(MirrorX()), n.Transform(MirrorX());
  EXPECT_TRUE(l == SYS_Location(0, 10, 114000000) && m == SYS_Location(10, -5, 224000000));  // folded into a turn
  EXPECT_EQ(n.GetOrientation(), 324000000 - 400000000 + SYS_FullTurn);
  SYS_Position p(SYS_Point(1, 2), 100000000, 7);
  p.Transform(MirrorX());
  EXPECT_EQ(p, SYS_Position(1, -2, 224000000, 0));
  p.Transform(Rot90());
  EXPECT_EQ(p.GetMirror(), 0);  // a rotation does not mirror
}

}  // namespace
