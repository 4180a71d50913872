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

constexpr double kLengthTol = 1e-9;  // relative, for square roots
constexpr long kPosTol = 1;          // database units, for rounded arc samples

struct PointCase {
  const char* name;
  SYS_Point got;
  SYS_Point want;
};

TEST(GeomTest, PointArithmeticRoundsOrTruncatesAsDocumented) {
  const PointCase cases[] = {
      {"times 0.5 truncates", SYS_Point(3, 4) * 0.5, SYS_Point(1, 2)},
      {"negative times 0.5 truncates toward zero", SYS_Point(-3, -5) * 0.5, SYS_Point(-1, -2)},
      {"divide rounds half away", SYS_Point(3, 5) / 2, SYS_Point(2, 3)},
      {"negative divide rounds half away", SYS_Point(-3, -5) / 2, SYS_Point(-2, -3)},
      {"integer product", SYS_Point(3, -4) * 3, SYS_Point(9, -12)},
      {"add scalar", SYS_Point(1, 2) + 5L, SYS_Point(6, 7)},
      {"median rounds half away", SYS_Point(1, 2).Median(SYS_Point(2, 3)), SYS_Point(2, 3)},
      {"negative median", SYS_Point(-1, -2).Median(SYS_Point(-2, -3)), SYS_Point(-2, -3)},
      {"wraps like 32-bit", SYS_Point(INT32_MAX, 0) + 1L, SYS_Point(INT32_MIN, 1)},
      {"divide by zero", SYS_Point(1, 0) / 0, SYS_Point(INT32_MIN, INT32_MIN)},
  };
  for (const auto& c : cases) EXPECT_EQ(c.got, c.want) << c.name;

  SYS_Point p(3, 5);
  p.Scale(0.5);
  EXPECT_EQ(p, SYS_Point(2, 3));
  p.Set(-3, 5);
  p.Scale(0.5, -0.5);
  EXPECT_EQ(p, SYS_Point(-2, -3));

  EXPECT_TRUE(SYS_Point(1, 9) < SYS_Point(2, 0));  // x first, y breaks a tie
  EXPECT_TRUE(SYS_Point(1, 1) < SYS_Point(1, 2));
  EXPECT_TRUE(SYS_DoublePoint(1, 1) < SYS_DoublePoint(1, 1.5));
  EXPECT_EQ(SYS_Point(4, 7)[-3], 7);  // any index but 0 gives y
}

TEST(GeomTest, DoubleToPointConversionRoundsHalfAwayFromZero) {
  const struct {
    double x, y;
    SYS_Point want;
  } cases[] = {
      {-2.5, 2.5, SYS_Point(-3, 3)},
      {0.49, -0.49, SYS_Point(0, 0)},
      {1066799999.5, -1066799999.5, SYS_Point(1066800000, -1066800000)},
      {3e9, -3e9, SYS_Point(INT32_MIN, INT32_MIN)},  // beyond 32 bits: no UB, a fixed value
      {std::nan(""), 0.0, SYS_Point(INT32_MIN, 0)},
  };
  for (const auto& c : cases) {
    const SYS_DoublePoint d(c.x, c.y);
    SYS_Point p;
    p = d;
    EXPECT_EQ(p, c.want) << c.x << "," << c.y;
    EXPECT_EQ(static_cast<SYS_Point>(d), c.want);
  }
  const SYS_DoublePoint back = SYS_Point(-7, 8);
  EXPECT_EQ(back, SYS_DoublePoint(-7.0, 8.0));
}

TEST(GeomTest, PolarAngleTable) {
  const struct {
    long x, y, want;
  } cases[] = {
      // clang-format off
      {1, 0, 0}, {0, 0, 0}, {0, 1, 162000000}, {-1, 0, 324000000}, {0, -1, 486000000},
      {1, 1, 81000000}, {-1, -1, 405000000}, {1, -1, 567000000},
      {1000000000, -10, 647999999},  // just below the x axis stays below a full turn
      // clang-format on
  };
  for (const auto& c : cases) {
    EXPECT_EQ(SYS_Point(c.x, c.y).GetPolarAngle(), c.want) << c.x << "," << c.y;
    EXPECT_EQ(SYS_DoublePoint(c.x, c.y).GetPolarAngle(), c.want) << c.x << "," << c.y;
  }
  EXPECT_EQ(SYS_DoublePoint(-0.0, -0.0).GetPolarAngle(), 0);

  std::mt19937 rng(7);
  std::uniform_int_distribution<std::int32_t> coord(-SYS_CoordLimit, SYS_CoordLimit);
  for (int i = 0; i < 20000; ++i) {
    const long a = SYS_Point(coord(rng), coord(rng)).GetPolarAngle();
    ASSERT_GE(a, 0);
    ASSERT_LT(a, SYS_FullTurn);
  }
}

TEST(GeomTest, LengthsAndProducts) {
  EXPECT_EQ(SYS_Point(5, -5).Length(), 5 * 1.4142135623730951);
  EXPECT_EQ(SYS_Point(0, -7).Length(), 7.0);
  EXPECT_EQ(SYS_Point(-7, 0).Length(), 7.0);
  EXPECT_EQ(SYS_Point(1, 1).Distance(SYS_Point(4, 5)), 5.0);
  EXPECT_EQ(SYS_Point(3, 4).GetPolarRadius(), 5.0);
  EXPECT_EQ(SYS_Point(0, 0).GetPolarRadius(), 0.0);
  const double big = SYS_Point(1000000007, 999999937).GetPolarRadius();
  EXPECT_NEAR(big, std::hypot(1000000007.0, 999999937.0), big * kLengthTol);
  EXPECT_NEAR(SYS_DoublePoint(0.3, 0.4).GetPolarRadius(), 0.5, kLengthTol);
  EXPECT_EQ(SYS_Segment(1, 1, 4, 5).GetLength(), 5.0);
  EXPECT_EQ(SYS_Point(1, 1).MDistance(SYS_Point(-2, 5)), 7);
  // Products are computed in double: no 32-bit overflow.
  EXPECT_EQ(SYS_Point(SYS_CoordLimit, 0).ScalarProduct(SYS_Point(SYS_CoordLimit, 0)),
            1066800000.0 * 1066800000.0);
}

TEST(GeomTest, SwapBytesAndDoubleValidity) {
  SYS_Point p(0x01020304, -2);
  p.SwapBytes();
  EXPECT_EQ(p, SYS_Point(0x04030201, static_cast<std::int32_t>(0xfeffffffu)));
  SYS_Location l(0, 0, 0x00000100);
  l.SwapBytes();
  EXPECT_EQ(l.GetOrientation(), 0x00010000);

  EXPECT_TRUE(SYS_DoublePoint(1.0667e9, -1.0667e9).IsValid());
  EXPECT_FALSE(SYS_DoublePoint(1.0668e9, 0).IsValid());  // strictly inside
  EXPECT_FALSE(SYS_DoublePoint(std::nan(""), 0).IsValid());
}

// ---------------------------------------------------------------------------------------------
// Boxes

TEST(GeomTest, BoxConstructionAndQueries) {
  EXPECT_EQ(SYS_Box(SYS_Point(5, 5), 3), SYS_Box(5, 5, 8, 8));
  EXPECT_EQ(SYS_Box(SYS_Point(5, 5), -3), SYS_Box(2, 2, 5, 5));
  EXPECT_FALSE(SYS_Box(10, 10, 0, 0).IsValid());  // stored as passed
  SYS_Box b(0, 0, 10, 10);
  EXPECT_TRUE(b.IsInclude(SYS_Point(10, 10)));
  EXPECT_FALSE(b.IsInclude(SYS_Point(11, 5)));
  EXPECT_TRUE(b.IsIntersect(SYS_Box(10, 0, 20, 10)));
  EXPECT_FALSE(b.IsIntersect(SYS_Box(11, 0, 20, 10)));
  b.GetLowerLeft().SetX(-2);  // the corners are the stored points
  EXPECT_EQ(b.GetLeft(), -2);
  EXPECT_TRUE(SYS_Box(0, 3, 5, 3).IsEmpty());
  EXPECT_FALSE(SYS_Box(0, 0, 5, 5).IsEmpty());

  EXPECT_EQ(SYS_Box(-3, -3, 0, 0).GetCenter(), SYS_Point(-1, -1));  // truncates toward zero
  SYS_Box c(0, 0, 5, 7);
  c.SetCenter(SYS_Point(100, -100));
  EXPECT_EQ(c, SYS_Box(98, -103, 103, -96));
}

// Initiate gives every value type its default value, whatever it held.
TEST(GeomTest, InitiateResetsEveryValueType) {
  SYS_Point p(3, -4);
  SYS_DoublePoint dp(1.5, -2.5);
  SYS_Box box(1, 2, 3, 4);
  SYS_Box invalid;
  invalid.Invalidate();
  SYS_Segment seg(1, 2, 3, 4);
  SYS_Circle circle(1, 2, 3);
  SYS_Arc arc(SYS_Point(1, 0), SYS_Point(0, 1), SYS_Point(0, 0), 1);
  SYS_Location loc(5, 6, 7);
  SYS_Position pos(5, 6, 7, 1);
  p.Initiate();
  dp.Initiate();
  box.Initiate();
  invalid.Initiate();
  seg.Initiate();
  circle.Initiate();
  arc.Initiate();
  loc.Initiate();
  pos.Initiate();
  EXPECT_TRUE(p == SYS_Point());
  EXPECT_TRUE(dp == SYS_DoublePoint());
  EXPECT_TRUE(box == SYS_Box());
  EXPECT_TRUE(invalid == SYS_Box(0, 0, 0, 0));
  EXPECT_TRUE(seg == SYS_Segment());
  EXPECT_TRUE(circle == SYS_Circle());
  EXPECT_TRUE(arc == SYS_Arc());
  EXPECT_TRUE(loc == SYS_Location());
  EXPECT_TRUE(pos == SYS_Position());
}

TEST(GeomTest, BoxCombineIntersectExpand) {
  SYS_Box invalid;
  invalid.Invalidate();
  EXPECT_EQ(invalid, SYS_Box(SYS_CoordLimit, SYS_CoordLimit, -SYS_CoordLimit, -SYS_CoordLimit));

  SYS_Box a = invalid;
  a.Combine(SYS_Box(1, 2, 3, 4));
  EXPECT_EQ(a, SYS_Box(1, 2, 3, 4));
  a.Combine(invalid);
  EXPECT_EQ(a, SYS_Box(1, 2, 3, 4));
  a.Combine(SYS_Box(-5, 3, 2, 9));
  EXPECT_EQ(a, SYS_Box(-5, 2, 3, 9));
  a.Increase(10, -10);
  EXPECT_EQ(a, SYS_Box(-5, -10, 10, 9));

  SYS_Box r;
  EXPECT_EQ(r.SetAsIntersection(SYS_Box(0, 0, 10, 10), SYS_Box(10, 0, 20, 10)), 0);
  EXPECT_EQ(r.GetLeft(), 10);
  EXPECT_EQ(r.GetRight(), 10);
  EXPECT_EQ(r.SetAsIntersection(SYS_Box(0, 0, 10, 10), SYS_Box(2, 10, 20, 30)), 0);
  EXPECT_EQ(r, SYS_Box(2, 10, 10, 10));
  EXPECT_EQ(r.SetAsIntersection(SYS_Box(0, 0, 10, 10), SYS_Box(5, -5, 20, 5)), 1);
  EXPECT_EQ(r, SYS_Box(5, 0, 10, 5));

  SYS_Box e(0, 0, 10, 10);
  e.Expand(-10);
  EXPECT_EQ(e, SYS_Box(0, 0, 10, 10));
  e.Expand(2);
  EXPECT_EQ(e, SYS_Box(-2, -2, 12, 12));
}

TEST(GeomTest, ClipTable) {
  const SYS_Box center(5, 5, 10, 10);
  const struct {
    const char* name;
    SYS_Box clipper, b;
    std::vector<SYS_Box> want;
  } cases[] = {
      {"inside", center, SYS_Box(6, 6, 9, 9), {}},
      {"equal", center, center, {}},
      {"wholly left", center, SYS_Box(-10, 0, 2, 20), {SYS_Box(-10, 0, 2, 20)}},
      {"wholly right", center, SYS_Box(12, -3, 15, 4), {SYS_Box(12, -3, 15, 4)}},
      {"around",
       center,
       SYS_Box(0, 0, 20, 20),
       {SYS_Box(0, 0, 5, 20), SYS_Box(5, 0, 10, 5), SYS_Box(5, 10, 10, 20),
        SYS_Box(10, 0, 20, 20)}},
      {"above", center, SYS_Box(6, 12, 8, 14), {SYS_Box(6, 12, 8, 14)}},
      {"corner overlap",
       center,
       SYS_Box(8, 8, 12, 12),
       {SYS_Box(8, 10, 10, 12), SYS_Box(10, 8, 12, 12)}},
      {"touching edge", center, SYS_Box(10, 5, 15, 10), {SYS_Box(10, 5, 15, 10)}},
      {"unordered clipper", SYS_Box(10, 10, 5, 5), SYS_Box(0, 6, 7, 8), {SYS_Box(0, 6, 5, 8)}},
      {"zero-height b", center, SYS_Box(0, 3, 20, 3), {}},
  };
  for (const auto& c : cases) {
    SYS_Box out[4];
    const int n = c.clipper.Clip(c.b, out);
    ASSERT_EQ(n, static_cast<int>(c.want.size())) << c.name;
    for (int i = 0; i < n; ++i) EXPECT_EQ(out[i], c.want[i]) << c.name << " #" << i;
  }
}

// Every unit cell of a small grid must be covered exactly once when it lies in b outside the
// clipping box, and not at all otherwise; every rectangle has a positive area.
TEST(GeomTest, ClipCoversExactlyTheOutsidePartOnRandomBoxes) {
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> coord(0, 12);
  auto inside = [](const SYS_Box& box, double x, double y) {
    SYS_Box n = box;
    n.Normalize();
    return n.GetLeft() < x && x < n.GetRight() && n.GetLower() < y && y < n.GetUpper();
  };
  for (int round = 0; round < 3000; ++round) {
    const SYS_Box clipper(coord(rng), coord(rng), coord(rng), coord(rng));
    const SYS_Box b(coord(rng), coord(rng), coord(rng), coord(rng));
    SYS_Box out[4];
    const int n = clipper.Clip(b, out);
    ASSERT_GE(n, 0);
    ASSERT_LE(n, 4);
    for (int i = 0; i < n; ++i) {
      ASSERT_LT(out[i].GetLeft(), out[i].GetRight());
      ASSERT_LT(out[i].GetLower(), out[i].GetUpper());
    }
    for (int x = -1; x <= 13; ++x) {
      for (int y = -1; y <= 13; ++y) {
        const double cx = x + 0.5, cy = y + 0.5;
        int covered = 0;
        for (int i = 0; i < n; ++i) covered += inside(out[i], cx, cy);
        const int want = inside(b, cx, cy) && !inside(clipper, cx, cy);
        ASSERT_EQ(covered, want) << "round " << round << " cell " << x << "," << y;
      }
    }
  }
}

TEST(GeomTest, BoxTransformTakesTheCornersBoundingBox) {
  SYS_Transform rot;
  rot.SetRotate(SYS_Point(0, 0), 162000000);
  SYS_Box b(1, 2, 5, 4);
  b.Transform(rot);
  EXPECT_EQ(b, SYS_Box(-4, 1, -2, 5));

  // Corners beyond the limit keep the limit on the side they never undercut.
  SYS_Box far(1100000000, 1100000000, 1200000000, 1200000000);
  far.Transform(SYS_Transform());
  EXPECT_EQ(far, SYS_Box(SYS_CoordLimit, SYS_CoordLimit, 1200000000, 1200000000));
}

// ---------------------------------------------------------------------------------------------
// Segments and circles

TEST(GeomTest, SegmentAndCircle) {
  SYS_Segment s(SYS_Point(5, 1), SYS_Point(2, 7));
  EXPECT_EQ(s.GetBox(), SYS_Box(2, 1, 5, 7));
  EXPECT_EQ(s[9], SYS_Point(2, 7));
  EXPECT_EQ(s + 1L, SYS_Segment(6, 2, 3, 8));

  SYS_Circle c(10, 20, 5);
  EXPECT_EQ(c.GetBox(), SYS_Box(5, 15, 15, 25));
  EXPECT_EQ(SYS_Circle(0, 0, -5).GetBox(), SYS_Box(5, 5, -5, -5));  // not reordered
  EXPECT_TRUE(SYS_Circle(0, 0, -1066799999).IsValid());
  EXPECT_FALSE(SYS_Circle(0, 0, -1066800000).IsValid());
  EXPECT_FALSE(SYS_Circle(0, 0, 1066800000).IsValid());

  SYS_Transform scale;
  scale.SetScale(SYS_Point(0, 0), 3.0);
  c.Transform(scale);
  EXPECT_EQ(c, SYS_Circle(30, 60, 5));  // the radius is left alone on purpose
  s.Transform(scale);
  EXPECT_EQ(s, SYS_Segment(15, 3, 6, 21));
}

// ---------------------------------------------------------------------------------------------
// Arcs

TEST(GeomTest, ArcAnglesAndLength) {
  const SYS_Point c(100, 100);
  const SYS_Arc ccw(SYS_Point(200, 100), SYS_Point(100, 200), c, 100);
  const SYS_Arc cw(SYS_Point(200, 100), SYS_Point(100, 200), c, -100);
  EXPECT_EQ(ccw.GetStartAngle(), 0);
  EXPECT_EQ(ccw.GetEndAngle(), 162000000);
  EXPECT_EQ(ccw.GetSizeAngle(), 162000000);
  EXPECT_EQ(cw.GetSizeAngle(), 162000000 - SYS_FullTurn);
  EXPECT_NEAR(ccw.GetLength(), 50 * std::numbers::pi, 1e-9);
  EXPECT_NEAR(cw.GetLength(), 150 * std::numbers::pi, 1e-9);
  // Coincident ends: no sweep, not a full turn.
  EXPECT_EQ(SYS_Arc(SYS_Point(200, 100), SYS_Point(200, 100), c, 100).GetSizeAngle(), 0);
  EXPECT_EQ(SYS_Arc(SYS_Point(200, 100), SYS_Point(200, 100), c, -100).GetSizeAngle(), 0);

  EXPECT_FALSE(SYS_Arc(c, c, c, -1066800000).IsValid());
}

TEST(GeomTest, ArcValidityIsWithinOneSquareUnit) {
  const SYS_Point o(0, 0);
  EXPECT_TRUE(SYS_Arc(SYS_Point(5, 0), SYS_Point(3, 4), o, 5).IsValidArc());
  // 3² + 4² = 25 while 5² + 1 = 26: one square unit off is still on the circle.
  EXPECT_TRUE(SYS_Arc(SYS_Point(5, 0), SYS_Point(3, 4), o, -5).IsValidArc());
  EXPECT_TRUE(SYS_Arc(SYS_Point(5, 1), SYS_Point(3, 4), o, 5).IsValidArc());
  EXPECT_FALSE(SYS_Arc(SYS_Point(5, 2), SYS_Point(3, 4), o, 5).IsValidArc());
  EXPECT_FALSE(SYS_Arc(SYS_Point(5, 0), SYS_Point(3, 5), o, 5).IsValidArc());
  EXPECT_FALSE(SYS_Arc(SYS_Point(5, 0), SYS_Point(4, 4), o, 5).IsValidArc());
  // Huge squared distances do not overflow into a false positive.
  EXPECT_FALSE(SYS_Arc(SYS_Point(INT32_MAX, 0), SYS_Point(0, 0), o, 0).IsValidArc());
}

TEST(GeomTest, ArcNearestExtremes) {
  const SYS_Point c(0, 0);
  const SYS_Arc ccw(SYS_Point(0, -10), SYS_Point(0, 10), c, 10);  // through the right side
  SYS_Point p;
  EXPECT_EQ(ccw.GetXNearestExtrem(ccw.GetStart(), &p), 1);
  EXPECT_EQ(p, SYS_Point(10, 0));
  EXPECT_EQ(ccw.GetXNearestExtrem(p, &p), 0);               // the left side is never reached
  EXPECT_EQ(ccw.GetYNearestExtrem(ccw.GetStart(), &p), 1);  // the start itself is not ahead
  EXPECT_EQ(p, SYS_Point(0, 10));

  const SYS_Arc cw(SYS_Point(0, -10), SYS_Point(0, 10), c, -10);  // through the left side
  EXPECT_EQ(cw.GetXNearestExtrem(cw.GetStart(), &p), -1);
  EXPECT_EQ(p, SYS_Point(-10, 0));

  // Almost a full turn that stops just short of the right extreme.
  const SYS_Arc big(SYS_Point(10, 1), SYS_Point(10, -1), c, 10);
  EXPECT_EQ(big.GetXNearestExtrem(big.GetStart(), &p), -1);
  SYS_Point q;
  EXPECT_EQ(big.GetXNearestExtrem(p, &q), 0);
  EXPECT_EQ(big.GetBox(), SYS_Box(-10, -10, 10, 10));

  // Passes both x extremes: left first, then right.
  const SYS_Arc both(SYS_Point(-10, 1), SYS_Point(10, 1), c, 10);
  EXPECT_EQ(both.GetXNearestExtrem(both.GetStart(), &p), -1);
  EXPECT_EQ(p, SYS_Point(-10, 0));
  EXPECT_EQ(both.GetXNearestExtrem(p, &q), 1);
  EXPECT_EQ(q, SYS_Point(10, 0));
  EXPECT_EQ(both.GetBox(), SYS_Box(-10, -10, 10, 1));

  EXPECT_EQ(ccw.GetBox(), SYS_Box(0, -10, 10, 10));
  EXPECT_EQ(cw.GetBox(), SYS_Box(-10, -10, 0, 10));
  EXPECT_EQ(SYS_Arc(SYS_Point(10, 0), SYS_Point(0, 10), c, 10).GetBox(), SYS_Box(0, 0, 10, 10));
  EXPECT_EQ(SYS_Arc(SYS_Point(10, 0), SYS_Point(0, 10), c, -10).GetBox(),
            SYS_Box(-10, -10, 10, 10));
  EXPECT_EQ(SYS_Arc(SYS_Point(5, 5), SYS_Point(5, 5), c, 7).GetBox(), SYS_Box(5, 5, 5, 5));
}

// Densely sampled points of random arcs lie in the arc's box, and each side of the box is
// reached by the arc.
TEST(GeomTest, ArcBoxContainsSampledArcPoints) {
  std::mt19937 rng(3);
  std::uniform_int_distribution<std::int32_t> coord(-100000000, 100000000);
  std::uniform_int_distribution<std::int32_t> radius(10, 1000000);
  std::uniform_real_distribution<double> angle(0.0, 2 * std::numbers::pi);
  constexpr int kSamples = 4096;
  constexpr double kSagittaTol = 2.0;  // chord error of kSamples steps at the largest radius
  for (int round = 0; round < 400; ++round) {
    const SYS_Point center(coord(rng), coord(rng));
    const std::int32_t r = radius(rng);
    const double t0 = angle(rng), t1 = angle(rng);
    auto on = [&](double t) {
      return center + static_cast<SYS_Point>(SYS_DoublePoint(r * std::cos(t), r * std::sin(t)));
    };
    const SYS_Arc arc(on(t0), on(t1), center, (round & 1) ? r : -r);
    const SYS_Box box = arc.GetBox();
    const double start = arc.GetStartAngle() * std::numbers::pi / SYS_HalfTurn;
    const double sweep = arc.GetSizeAngle() * std::numbers::pi / SYS_HalfTurn;
    double dl = 1e18, dr = 1e18, dlo = 1e18, dup = 1e18;
    for (int i = 0; i <= kSamples; ++i) {
      const double t = start + sweep * i / kSamples;
      const double x = center.GetX() + r * std::cos(t), y = center.GetY() + r * std::sin(t);
      ASSERT_GE(x, box.GetLeft() - kPosTol) << "round " << round;
      ASSERT_LE(x, box.GetRight() + kPosTol) << "round " << round;
      ASSERT_GE(y, box.GetLower() - kPosTol) << "round " << round;
      ASSERT_LE(y, box.GetUpper() + kPosTol) << "round " << round;
      dl = std::min(dl, x - box.GetLeft());
      dr = std::min(dr, box.GetRight() - x);
      dlo = std::min(dlo, y - box.GetLower());
      dup = std::min(dup, box.GetUpper() - y);
    }
    EXPECT_LE(dl, kSagittaTol) << "round " << round;
    EXPECT_LE(dr, kSagittaTol) << "round " << round;
    EXPECT_LE(dlo, kSagittaTol) << "round " << round;
    EXPECT_LE(dup, kSagittaTol) << "round " << round;
  }
}

TEST(GeomTest, ArcTransformKeepsTheStoredDirection) {
  SYS_Transform mirror;
  mirror.SetMirror(SYS_Point(0, 0), 0L);
  SYS_Arc a(SYS_Point(10, 0), SYS_Point(0, 10), SYS_Point(0, 0), 10);
  a.Transform(mirror);
  EXPECT_EQ(a, SYS_Arc(SYS_Point(10, 0), SYS_Point(0, -10), SYS_Point(0, 0), 10));
}

// ---------------------------------------------------------------------------------------------
// Locations and positions

TEST(GeomTest, LocationOrientationKeepsTheSignOfTheDividend) {
  const struct {
    long given, stored;
  } cases[] = {
      {-162000000, -162000000}, {648000000, 0},          {-648000000, 0},
      {700000000, 52000000},    {-700000000, -52000000}, {647999999, 647999999},
  };
  for (const auto& c : cases) {
    const SYS_Location l(0, 0, c.given);
    EXPECT_EQ(l.GetOrientation(), c.stored) << c.given;
    EXPECT_TRUE(l.IsValid()) << c.given;
  }
  SYS_Location sum = SYS_Location(1, 2, 600000000) + SYS_Location(3, 4, 100000000);
  EXPECT_EQ(sum, SYS_Location(4, 6, 52000000));
  sum += SYS_Location(0, 0, -200000000);
  EXPECT_EQ(sum.GetOrientation(), -148000000);
}

TEST(GeomTest, LocationAndPositionTransform) {
  SYS_Transform rot;
  rot.SetRotate(SYS_Point(0, 0), 162000000);
  SYS_Location l(10, 0, 600000000);
  l.Transform(rot);
  EXPECT_EQ(l, SYS_Location(0, 10, 114000000));

  SYS_Transform mirror;
  mirror.SetMirror(SYS_Point(0, 0), 0L);  // orientation 0, mirrors
  SYS_Location m(10, 5, 100000000);
  m.Transform(mirror);
  EXPECT_EQ(m, SYS_Location(10, -5, 224000000));
  SYS_Location n(0, 0, 400000000);
  n.Transform(mirror);
  EXPECT_EQ(n.GetOrientation(), 324000000 - 400000000 + SYS_FullTurn);

  SYS_Position p(SYS_Point(1, 2), 100000000, 7);
  EXPECT_EQ(p.GetMirror(), 1);
  EXPECT_TRUE(p.IsValid());
  p.Transform(mirror);
  EXPECT_EQ(p, SYS_Position(1, -2, 224000000, 0));
  p.Transform(rot);
  EXPECT_EQ(p.GetMirror(), 0);  // a rotation does not mirror

  const SYS_Position q = SYS_Position(1, 1, 600000000, 1) + SYS_Position(1, 1, 100000000, 1);
  EXPECT_EQ(q, SYS_Position(2, 2, 52000000, 0));
}

}  // namespace
