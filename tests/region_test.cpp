// region_test.cpp - tests of outlines with arc edges, regions and their byte images.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

#include "daregion.h"
#include "systransform.h"

namespace {

constexpr double kQuarter = 162000000;  // angle units
constexpr double kPi = std::numbers::pi;
constexpr long kPosTol = 1;         // database units: one rounding of a coordinate
constexpr long kTransformTol = 2;   // two roundings (after rotating and after scaling)
constexpr double kSweepTol = 1e-6;  // radians, summed chord angles against the arc's sweep
const SYS_Box kInvalidBox(SYS_CoordLimit, SYS_CoordLimit, -SYS_CoordLimit, -SYS_CoordLimit);

double Rad(double units) { return units * kPi / SYS_HalfTurn; }

// The arc from `a0` sweeping `sweep` (angle units, signed) as a straight start vertex and an
// arc vertex appended to p.
void AddArc(DAPolygon& p, long cx, long cy, double r, double a0, double sweep) {
  p.Add(ArcPolyEdge(SYS_Round(cx + r * std::cos(Rad(a0))), SYS_Round(cy + r * std::sin(Rad(a0)))));
  const int arc = p.Add(ArcPolyArc(cx, cy, a0, a0 + sweep));
  p.Add(ArcPolyEdge(SYS_Round(cx + r * std::cos(Rad(a0 + sweep))),
                    SYS_Round(cy + r * std::sin(Rad(a0 + sweep))), arc));
}

// A polygon of 1 to 4 arcs (each with its straight lead-in vertex), radii 1000 to 1e6.
DAPolygon RandomArcPolygon(std::mt19937& rng) {
  std::uniform_int_distribution<long> coord(-50000000, 50000000);
  std::uniform_real_distribution<double> radius(1000, 1e6),
      angle(-2 * SYS_FullTurn, 2 * SYS_FullTurn);
  std::uniform_real_distribution<double> sweep(-SYS_FullTurn, SYS_FullTurn);
  DAPolygon p;
  p.SetWidth(std::uniform_int_distribution<int>(0, 200000)(rng));
  const int arcs = std::uniform_int_distribution<int>(1, 4)(rng);
  for (int i = 0; i < arcs; ++i) {
    double s = sweep(rng);
    if (std::fabs(s) < 1000) s = 1000;
    AddArc(p, coord(rng), coord(rng), radius(rng), angle(rng), s);
  }
  return p;
}

std::vector<char> Image(const DARegion& r) {
  std::vector<char> out(r.GetImageLength());
  EXPECT_EQ(r.CreateImage(out.data()), static_cast<int>(out.size()));
  return out;
}
std::vector<char> Image(const DAPolygon& p) {
  std::vector<char> out(p.GetImageLength());
  EXPECT_EQ(p.CreateImage(out.data()), static_cast<int>(out.size()));
  return out;
}

// Little-endian words for hand-written images.
struct Bytes {
  std::vector<char> b;
  Bytes& W(std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<char>(v >> (8 * i)));
    return *this;
  }
  Bytes& D(double d) {
    const auto v = std::bit_cast<std::uint64_t>(d);
    W(static_cast<std::uint32_t>(v)), W(static_cast<std::uint32_t>(v >> 32));
    return *this;
  }
};

TEST(RegionTest, IsOnTruncatesAndIncludesBothEnds) {
  const struct {
    double start, end, angle;
    int want;
    const char* name;
  } cases[] = {
      {486000000, 810000000, 0, 1, "sweep over the wrap"},
      {100, 100, 100, 0, "no sweep holds nothing"},
      {0, kQuarter, 0, 1, "start included"},
      {0, kQuarter, kQuarter, 1, "end included"},
      {0, kQuarter, kQuarter + 1, 0, "just past the end"},
      {kQuarter, 0, 1000, 1, "clockwise arcs hold the same span"},
      {-kQuarter, kQuarter, 3 * kQuarter + 1, 1, "negative start, angle a turn below"},
      {-kQuarter, kQuarter, -SYS_FullTurn + 1, 1, "angle several turns off"},
      {0, kQuarter, -1, 0, "just below the start"},
      {100.9, 200.9, 100.5, 1, "angles truncated: 100 is the start"},
      {100, 200, 99.9, 0, "99.9 truncates to 99"},
      {0, 2.0 * SYS_FullTurn, 12345, 1, "more than a turn holds everything"},
      {std::nan(""), 0, 0, 1, "NaN truncates to a fixed integer, no crash"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ArcPolyArc(0, 0, c.start, c.end).IsOn(c.angle), c.want) << c.name;
}

TEST(RegionTest, StorageAddInsertAndCapacity) {
  DAPolygon p;
  EXPECT_EQ(p.GetFlag(), DAPolygonPlain);
  const struct {
    int n, capacity;
  } steps[] = {{3, 5}, {5, 5}, {0, 5}, {-1, 10}, {30, 30}, {31, 35}, {-7, 40}};
  for (const auto& s : steps) {
    EXPECT_EQ(p.ReallocateEdges(s.n), 1);
    EXPECT_EQ(p.GetEdgeCapacity(), s.capacity) << "n = " << s.n;
    EXPECT_EQ(p.ReallocateArcs(s.n), 1);
    EXPECT_EQ(p.GetArcCapacity(), s.capacity) << "n = " << s.n;
  }
  p.Free();
  EXPECT_EQ(p.GetEdgeCapacity(), 0);

  ArcPolyEdge e(1, 2, 7);
  EXPECT_EQ(p.Add(e), 0);
  EXPECT_EQ(p.Add(e, 3), 1);
  EXPECT_EQ(p.Add(ArcPolyEdge(5, 6)), 2);
  EXPECT_EQ(p.Insert(1, ArcPolyEdge(9, 9), 0), 3);  // returns the old count
  EXPECT_EQ(p.Insert(0, ArcPolyEdge(8, 8)), 4);
  EXPECT_EQ(p.Insert(5, ArcPolyEdge(4, 4)), 5);  // at the end
  const ArcPolyEdge want[] = {{8, 8}, {1, 2, 7}, {9, 9, 0}, {1, 2, 3}, {5, 6}, {4, 4}};
  ASSERT_EQ(p.GetEdgeCount(), 6);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(*p.GetEdge(i), want[i]) << i;
  p.Add(*p.GetEdge(0));  // a vertex of the polygon itself, while the array grows
  EXPECT_EQ(*p.GetEdge(6), want[0]);

  EXPECT_EQ(p.GetEdge(7), nullptr);
  EXPECT_EQ(p.GetEdge(-1), nullptr);
  EXPECT_EQ(p.GetArc(0), nullptr);
  EXPECT_EQ(p.Insert(100, ArcPolyEdge(3, 3)), 7);  // clamped to the end after the check
  EXPECT_EQ(p.GetEdge(7)->x, 3);

  DAPolygon copy(p);  // deep: changing the copy leaves the original alone
  copy.GetEdge(0)->x = 100;
  EXPECT_EQ(p.GetEdge(0)->x, 8);
  copy = std::as_const(copy);  // itself
  EXPECT_EQ(copy.GetEdge(0)->x, 100);

  const int capacity = p.GetEdgeCapacity();
  p.Clear();
  EXPECT_EQ(p.GetEdgeCount(), 0);
  EXPECT_EQ(p.GetEdgeCapacity(), capacity);
}

TEST(RegionTest, CircleShapeBoxAndImage) {
  DAPolygon p;
  p.CreateCircle(0, 0, 100);
  EXPECT_EQ(p.IsCircle(), 1);
  EXPECT_EQ(p.IsOval(), 0);
  EXPECT_EQ(p.GetBox(), SYS_Box(-100, -100, 100, 100));
  EXPECT_EQ(p.GetImageLength(), 68);
  EXPECT_DOUBLE_EQ(p.GetRadius(1), 100.0);
  EXPECT_EQ(p.GetRadius(0), -1.0);
  EXPECT_EQ(p.GetRadius(2), -1.0);
  EXPECT_EQ(p.CheckArcs(), 1);
  EXPECT_EQ(p.GetLength(), 16);

  // Recreating replaces the outline; flag and width stay.
  p.SetWidth(5);
  p.CreateCircle(10, 20, 5);
  EXPECT_EQ(p.GetEdgeCount(), 2);
  EXPECT_EQ(p.GetArcCount(), 1);
  EXPECT_EQ(p.GetBox(), SYS_Box(5, 15, 15, 25));
  EXPECT_EQ(p.GetWidth(), 5);

  DAPolygon cw = p;
  std::swap(cw.GetArc(0)->start, cw.GetArc(0)->end);
  EXPECT_EQ(cw.IsCircle(), 0);  // only the counter-clockwise full turn is a circle
  DAPolygon moved = p;
  moved.GetEdge(1)->x += 1;
  EXPECT_EQ(moved.IsCircle(), 0);
}

TEST(RegionTest, OvalsFillTheirBoxAndAreRecognised) {
  const struct {
    SYS_Box box, want;
    const char* name;
  } cases[] = {
      {{0, 0, 400, 200}, {0, 0, 400, 200}, "horizontal"},
      {{0, 0, 200, 400}, {0, 0, 200, 400}, "vertical"},
      {{-50, -50, 50, 50}, {-50, -50, 50, 50}, "square"},
      {{400, 200, 0, 0}, {0, 0, 400, 200}, "unordered corners"},
      {{0, 0, 401, 201}, {0, 0, 401, 200}, "odd short side filled to one less"},
      {{-1000000000, -3, 1000000000, 3}, {-1000000000, -3, 1000000000, 3}, "long and thin"},
      {{7, 7, 7, 7}, {7, 7, 7, 7}, "a point"},
  };
  for (const auto& c : cases) {
    DAPolygon p;
    p.CreateOval(c.box);
    EXPECT_EQ(p.GetEdgeCount(), 5) << c.name;
    EXPECT_EQ(p.GetArcCount(), 2) << c.name;
    EXPECT_EQ(p.IsOval(), 1) << c.name;
    EXPECT_EQ(p.IsCircle(), 0) << c.name;
    EXPECT_EQ(p.GetBox(), c.want) << c.name;
  }

  DAPolygon oval;
  oval.CreateOval(SYS_Box(-200, -100, 200, 100));
  DAPolygon turned = oval;
  turned.Transform(0, 0, kQuarter, 1, 1);  // horizontal becomes vertical
  EXPECT_EQ(turned.IsOval(), 1);
  EXPECT_EQ(turned.GetBox(), SYS_Box(-100, -200, 100, 200));

  const struct {
    void (*spoil)(DAPolygon&);
    const char* name;
  } spoilt[] = {
      {[](DAPolygon& p) { p.GetEdge(1)->x += 1; }, "a long side moved"},
      {[](DAPolygon& p) { p.GetEdge(3)->y += 1; }, "long side not straight"},
      {[](DAPolygon& p) { p.GetArc(1)->cy += 1; }, "centres on different lines"},
      {[](DAPolygon& p) { p.GetArc(0)->end += 1; }, "arc not a half turn"},
      {[](DAPolygon& p) { p.GetEdge(2)->arcIndex = -1; }, "an edge no longer an arc"},
      {[](DAPolygon& p) { p.Transform(0, 0, 0, 1, 2); }, "scaled unequally"},
      {[](DAPolygon& p) { p.Add(ArcPolyEdge(0, 0)); }, "a sixth vertex"},
  };
  for (const auto& s : spoilt) {
    DAPolygon p = oval;
    s.spoil(p);
    EXPECT_EQ(p.IsOval(), 0) << s.name;
  }
}

TEST(RegionTest, CheckArcsDemotesCoincidentEndsThatAreNotFullCircles) {
  const struct {
    double sweep;
    bool straightRepeat;
    int want;
    const char* name;
  } cases[] = {
      {SYS_FullTurn, false, 1, "full circle"},
      {-SYS_FullTurn, false, 1, "clockwise full circle"},
      {SYS_HalfTurn, false, 0, "half turn with coincident ends"},
      {SYS_FullTurn - 1, false, 0, "a unit short of a turn"},
      {SYS_FullTurn, true, 0, "a repeated straight vertex fails too"},
  };
  for (const auto& c : cases) {
    DAPolygon p;
    p.Add(ArcPolyEdge(0, 0));
    p.Add(ArcPolyEdge(100, 0));
    const int arc = p.Add(ArcPolyArc(100, 50, -kQuarter, -kQuarter + c.sweep));
    p.Add(ArcPolyEdge(100, 0, c.straightRepeat ? -1 : arc));
    EXPECT_EQ(p.CheckArcs(), c.want) << c.name;
    EXPECT_EQ(p.GetEdge(2)->arcIndex, c.want == 1 ? arc : -1) << c.name;
  }

  DAPolygon centre;  // an arc vertex on its own centre has no radius
  centre.Add(ArcPolyEdge(5, 5));
  centre.Add(ArcPolyEdge(5, 5, centre.Add(ArcPolyArc(5, 5, 0, SYS_FullTurn))));
  EXPECT_EQ(centre.CheckArcs(), 0);
  DAPolygon single;
  single.Add(ArcPolyEdge(1, 1, 0));
  EXPECT_EQ(single.CheckArcs(), 1);
}

TEST(RegionTest, BoxWidensByTheAxisExtremesAnArcPasses) {
  const struct {
    double a0, sweep;
    SYS_Box want;
    const char* name;
  } cases[] = {
      {0, kQuarter, {0, 0, 100, 100}, "first quadrant, no extreme inside"},
      {-kQuarter / 2, kQuarter, {71, -71, 100, 71}, "passes 0: right extreme"},
      {kQuarter / 2, 2 * kQuarter, {-100, -71, 71, 100}, "passes 90 and 180"},
      {kQuarter / 2, -kQuarter, {71, -71, 100, 71}, "clockwise through 0"},
      {3 * kQuarter, SYS_FullTurn, {-100, -100, 100, 100}, "full turn from the bottom"},
  };
  for (const auto& c : cases) {
    DAPolygon p;
    AddArc(p, 0, 0, 100, c.a0, c.sweep);
    EXPECT_EQ(p.GetBox(), c.want) << c.name;
  }
  EXPECT_EQ(DAPolygon().GetBox(), kInvalidBox);

  DAPolygon huge;  // a radius beyond 32 bits clamps the box instead of wrapping it
  huge.Add(ArcPolyEdge(2000000000, 0));
  huge.Add(ArcPolyEdge(2000000000, 0, huge.Add(ArcPolyArc(-2000000000, 0, 0, SYS_FullTurn))));
  EXPECT_EQ(huge.GetBox(), SYS_Box(INT32_MIN, INT32_MIN, 2000000000, INT32_MAX));

  DAPolygon dangling;  // an arc index that names no arc reads as straight
  dangling.Add(ArcPolyEdge(0, 0));
  dangling.Add(ArcPolyEdge(10, 0, 4));
  EXPECT_EQ(dangling.GetBox(), SYS_Box(0, 0, 10, 0));
  EXPECT_EQ(dangling.GetRadius(1), -1.0);
}

TEST(RegionTest, BoxHoldsDenselySampledArcPointsAndIsTight) {
  std::mt19937 rng(11);
  for (int round = 0; round < 200; ++round) {
    const DAPolygon p = RandomArcPolygon(rng);
    const SYS_Box box = p.GetBox();
    long left = p.GetEdge(0)->x, right = left, lower = p.GetEdge(0)->y, upper = lower;
    for (int i = 0; i < p.GetEdgeCount(); ++i) {
      const ArcPolyArc* a = p.GetEdgeArc(i);
      if (!a) continue;
      const double r = p.GetRadius(i);
      for (int k = 0; k <= 4096; ++k) {
        const double t = Rad(a->start + (a->end - a->start) * k / 4096);
        const long x = SYS_Round(a->cx + r * std::cos(t)), y = SYS_Round(a->cy + r * std::sin(t));
        ASSERT_TRUE(box.GetLeft() - kPosTol <= x && x <= box.GetRight() + kPosTol &&
                    box.GetLower() - kPosTol <= y && y <= box.GetUpper() + kPosTol)
            << "round " << round << " edge " << i << " sample " << k;
        left = std::min(left, x), right = std::max(right, x);
        lower = std::min(lower, y), upper = std::max(upper, y);
      }
    }
    // No side lies farther out than the arcs reach (samples are 1/4096 of a sweep apart).
    const long slack = 2 * kPosTol;
    EXPECT_LE(left - box.GetLeft(), slack) << round;
    EXPECT_LE(box.GetRight() - right, slack) << round;
    EXPECT_LE(lower - box.GetLower(), slack) << round;
    EXPECT_LE(box.GetUpper() - upper, slack) << round;
  }
}

TEST(RegionTest, TransformRotatesThenMovesAndStraightensUnequalScaling) {
  DAPolygon circle;
  circle.CreateCircle(0, 0, 100);
  DAPolygon stretched = circle;
  EXPECT_EQ(stretched.Transform(0, 0, 0, 1, 2), 1);
  EXPECT_EQ(stretched.GetEdge(0)->arcIndex, -1);
  EXPECT_EQ(stretched.GetEdge(1)->arcIndex, -1);
  EXPECT_EQ(stretched.GetArcCount(), 1);  // the table stays, unreferenced
  EXPECT_EQ(*stretched.GetEdge(1), ArcPolyEdge(0, -200));

  DAPolygon turned = circle;
  turned.Transform(5, 0, kQuarter, 1, 1);  // rotate first, then move
  EXPECT_EQ(turned.GetArc(0)->start, 0);
  EXPECT_EQ(turned.GetArc(0)->end, SYS_FullTurn);
  EXPECT_EQ(*turned.GetEdge(0), ArcPolyEdge(105, 0));
  EXPECT_EQ(turned.GetArc(0)->GetCenter(), SYS_Point(5, 0));
}

// The reference: the same placement built from SYS_Transform, which maps each point in one
// step (rotation, move, scale, then the mirrors).
SYS_Transform Reference(int dx, int dy, double angle, double sx, double sy) {
  SYS_Transform t, step;
  t.SetRotate(SYS_Point(0, 0), static_cast<long>(angle));
  step.SetMove(dx, dy);
  t.AddConv(step);
  if (std::fabs(sx) != 1) {
    step.SetScale(SYS_Point(0, 0), std::fabs(sx));
    t.AddConv(step);
  }
  if (sx < 0) {
    step.SetMirror(SYS_Point(0, 0), static_cast<long>(kQuarter));
    t.AddConv(step);
  }
  if (sy < 0) {
    step.SetMirror(SYS_Point(0, 0), 0L);
    t.AddConv(step);
  }
  return t;
}

TEST(RegionTest, TransformedRegionsMatchPointsTransformedOneByOne) {
  const struct {
    int dx, dy;
    double angle, sx, sy;
  } placements[] = {
      {0, 0, 0, 1, 1},          {1000, -2000, 0, 1, 1}, {0, 0, 54000000, 1, 1},
      {-300, 700, -1e8, 1, 1},  {10, 20, 0, -1, 1},     {0, 0, 2e8, 1, -1},
      {5, 5, kQuarter, -1, -1}, {77, -33, 3e8, 2, 2},   {0, 0, 0, 0.5, -0.5},
  };
  std::mt19937 rng(5);
  for (const auto& t : placements) {
    const SYS_Transform ref = Reference(t.dx, t.dy, t.angle, t.sx, t.sy);
    for (int round = 0; round < 30; ++round) {
      DARegion region;
      region.Add(RandomArcPolygon(rng));
      region.Add(RandomArcPolygon(rng), static_cast<DAPolygonFlag>(3));
      const DARegion before = region;
      EXPECT_EQ(region.Transform(t.dx, t.dy, t.angle, t.sx, t.sy), 1);
      DARegionIterator itBefore(before), itAfter(region);
      while (const DAPolygon* p0 = itBefore.GetNextPolygon()) {
        const DAPolygon* p1 = itAfter.GetNextPolygon();
        ASSERT_NE(p1, nullptr);
        EXPECT_EQ(p1->GetFlag(), p0->GetFlag());
        for (int i = 0; i < p0->GetEdgeCount(); ++i) {
          const SYS_Point want = ref.Transform(p0->GetEdge(i)->GetPoint());
          const SYS_Point got = p1->GetEdge(i)->GetPoint();
          ASSERT_LE((want - got).MLength(), 2 * kTransformTol) << "vertex " << i;
          const ArcPolyArc* a0 = p0->GetEdgeArc(i);
          if (!a0) continue;
          // Points along the old arc, mapped one by one, lie on the new arc at the same
          // fraction of its sweep.
          const ArcPolyArc* a1 = p1->GetEdgeArc(i);
          ASSERT_NE(a1, nullptr);
          const double r0 = p0->GetRadius(i), r1 = p1->GetRadius(i);
          for (int k = 0; k <= 16; ++k) {
            const double f = k / 16.0;
            const double t0 = Rad(a0->start + f * (a0->end - a0->start));
            const double t1 = Rad(a1->start + f * (a1->end - a1->start));
            const SYS_DoublePoint mapped = ref.Transform(
                SYS_DoublePoint(a0->cx + r0 * std::cos(t0), a0->cy + r0 * std::sin(t0)));
            const double ex = a1->cx + r1 * std::cos(t1) - mapped.GetX();
            const double ey = a1->cy + r1 * std::sin(t1) - mapped.GetY();
            ASSERT_LE(std::hypot(ex, ey), 4.0 * kTransformTol) << "edge " << i << " f " << f;
          }
        }
      }
      EXPECT_EQ(itAfter.GetNextPolygon(), nullptr);
    }
  }
}

TEST(RegionTest, ApproximateCircleKeepsOrConvertsIt) {
  DAPolygon circle, out;
  circle.CreateCircle(0, 0, 100);
  EXPECT_EQ(out.Approximate(circle, 10, 0, 0), 1);
  EXPECT_EQ(Image(out), Image(circle));

  EXPECT_EQ(out.Approximate(circle, 10, 0, 1), 1);
  ASSERT_EQ(out.GetEdgeCount(), 11);  // 10 chords plus the straight start vertex
  EXPECT_EQ(out.GetArcCount(), 0);
  EXPECT_EQ(out.GetEdge(10)->GetPoint(), out.GetEdge(0)->GetPoint());
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(out.GetEdge(i)->arcIndex, -1);
    EXPECT_NEAR(out.GetEdge(i)->GetPoint().Length(), 100.0, kPosTol);
  }
  EXPECT_EQ(out.GetEdge(1)->GetPoint(), SYS_Point(59, -81));  // 36 degrees past -90

  const struct {
    int tolerance, width;
    int want;
    const char* name;
  } defaults[] = {
      {0, 20, 11, "half the width: 10"},
      {0, 1, 4, "width 1 halves to 0: the default 31800, 3 chords"},
      {0, 0, 4, "no width: the default 31800"},
      {-10, 0, 33, "negative tolerance counts as 1"},
  };
  for (const auto& c : defaults) {
    circle.SetWidth(c.width);
    out.Approximate(circle, c.tolerance, 0, 1);
    EXPECT_EQ(out.GetEdgeCount(), c.want) << c.name;
    EXPECT_EQ(out.GetWidth(), c.width) << c.name;
  }
}

TEST(RegionTest, ApproximationVerticesLieWithinToleranceOfTheirArcs) {
  std::mt19937 rng(3);
  std::uniform_int_distribution<int> tolerance(10, 20000);
  for (int round = 0; round < 300; ++round) {
    const DAPolygon src = RandomArcPolygon(rng);
    const int tol = tolerance(rng);
    DAPolygon out;
    out.SetFlag(static_cast<DAPolygonFlag>(9));
    ASSERT_EQ(out.Approximate(src, tol, 0, 1), 1);
    EXPECT_EQ(out.GetFlag(), src.GetFlag());
    EXPECT_EQ(out.GetArcCount(), 0);
    int j = 0;  // walks the output alongside the source
    for (int i = 0; i < src.GetEdgeCount(); ++i) {
      const ArcPolyEdge& v = *src.GetEdge(i);
      const ArcPolyArc* arc = src.GetEdgeArc(i);
      if (!arc) {
        ASSERT_EQ(out.GetEdge(j++)->GetPoint(), v.GetPoint()) << round;
        continue;
      }
      const double r = src.GetRadius(i);
      const SYS_DoublePoint c(arc->cx, arc->cy);
      SYS_DoublePoint prev = out.GetEdge(j - 1)->GetPoint();
      double swept = 0;
      int chords = 0;
      for (;; ++j) {
        ASSERT_LT(j, out.GetEdgeCount()) << round;
        const ArcPolyEdge& w = *out.GetEdge(j);
        ASSERT_EQ(w.arcIndex, -1);
        const SYS_DoublePoint cur = w.GetPoint();
        const SYS_DoublePoint a = prev - c, b = cur - c;
        ASSERT_NEAR(std::hypot(b.GetX(), b.GetY()), r, 2 * kPosTol) << round;
        // The chord's middle, where it is farthest from the arc, stays within tolerance.
        const double mid = std::hypot((a.GetX() + b.GetX()) / 2, (a.GetY() + b.GetY()) / 2);
        ASSERT_LE(r - mid, tol / 2.0 + 2 * kPosTol) << round << " chord " << chords;
        swept += std::atan2(a.VectorProduct(b), a.ScalarProduct(b));
        ++chords;
        prev = cur;
        if (w.GetPoint() == v.GetPoint()) break;
      }
      ++j;
      // The chords go the arc's way and cover exactly its sweep.
      ASSERT_NEAR(swept, Rad(arc->end - arc->start), kSweepTol + 4.0 * chords / r) << round;
    }
    EXPECT_EQ(j, out.GetEdgeCount()) << round;
  }
}

TEST(RegionTest, VertexLimitDoublesTheToleranceAndAlwaysEnds) {
  DAPolygon circle, out;
  circle.CreateCircle(0, 0, 1000000);
  out.Approximate(circle, 10, 0, 1);
  const int fine = out.GetEdgeCount();
  EXPECT_GT(fine, 900);
  EXPECT_EQ(circle.CanBeApproximated(10, fine, 1), 0);
  EXPECT_EQ(circle.CanBeApproximated(10, fine + 1, 1), 1);
  EXPECT_EQ(circle.CanBeApproximated(10, 0, 1), 1);
  EXPECT_EQ(circle.CanBeApproximated(10, 5, 0), 1);  // a kept circle needs no chords
  EXPECT_EQ(DAPolygon().CanBeApproximated(10, 1, 1), 1);

  out.Approximate(circle, 10, 100, 1);
  EXPECT_LT(out.GetEdgeCount(), 100);
  EXPECT_GT(out.GetEdgeCount(), 25);  // doubling stops at the first count that fits

  // With an unreachable limit the doubling stops either where the count equals
  // edges + 2 x arcs (a full circle at 3 chords, or a count passing that value on its way
  // down) or at the floor, where no arc can lose a chord: 1 below a half turn, 2 below a
  // full one, 3 for a full turn.
  std::mt19937 rng(23);
  int atFloorOnly = 0;
  for (int round = 0; round < 300; ++round) {
    const DAPolygon p = RandomArcPolygon(rng);
    int floor = 0;
    for (int i = 0; i < p.GetEdgeCount(); ++i) {
      const ArcPolyArc* a = p.GetEdgeArc(i);
      floor += a ? static_cast<int>(std::fabs(a->end - a->start) / SYS_HalfTurn) + 1 : 1;
    }
    const int designed = p.GetEdgeCount() + 2 * p.GetArcCount();
    out.Approximate(p, 1, 1, 1);
    EXPECT_TRUE(out.GetEdgeCount() == designed || out.GetEdgeCount() == floor)
        << round << ": " << out.GetEdgeCount() << " vertices";
    atFloorOnly += out.GetEdgeCount() == floor && floor != designed;
  }
  EXPECT_GT(atFloorOnly, 0);  // some outlines never meet the designed stop
  DAPolygon full;
  AddArc(full, 0, 0, 1000000, 0, SYS_FullTurn);
  out.Approximate(full, 1, 1, 1);
  EXPECT_EQ(out.GetEdgeCount(), 4);

  // Angles that are not finite and huge radii against a tiny tolerance are capped.
  DAPolygon wild;
  wild.Add(ArcPolyEdge(0, 0));
  wild.Add(ArcPolyEdge(1, 1, wild.Add(ArcPolyArc(0, 0, 0, std::nan("")))));
  out.Approximate(wild, 1, 0, 1);
  EXPECT_EQ(out.GetEdgeCount(), DAPolygon::kMaxChords + 1);
  out.Approximate(wild, 1, 10, 1);  // the limit cannot shrink a capped arc: still ends
  EXPECT_EQ(out.GetEdgeCount(), DAPolygon::kMaxChords + 1);
}

// One approximation never produces more than DAPolygon::kMaxApproximation vertices: past
// the cap the target is left as it was and the call answers 0, never std::bad_alloc.
TEST(RegionTest, ApproximationStopsAtTheVertexCap) {
  // `arcs` arcs of radius 1000, each with its straight lead-in vertex.
  auto arcs = [](int count, double sweep) {
    DAPolygon p;
    for (int i = 0; i < count; ++i) {
      p.Add(ArcPolyEdge(1000, 0));
      p.Add(ArcPolyEdge(1000, 0, p.Add(ArcPolyArc(0, 0, 0, sweep))));
    }
    return p;
  };
  constexpr double kHuge = 1e15;  // so many turns that the arc gets kMaxChords chords
  constexpr double kLong = 1e11;  // about 15,000 chords at tolerance 1
  DAPolygon old;
  old.CreateCircle(7, 7, 70);
  const std::vector<char> oldImage = Image(old);
  struct Case {
    const char* what;
    int arcs;
    double sweep;
    int maxVertices;
    int result;
  } cases[] = {
      {"three capped arcs fit", 3, kHuge, 0, 1},
      {"four capped arcs do not", 4, kHuge, 0, 0},
      {"more vertices than 32 bits count", 2100, kHuge, 0, 0},
      {"many long arcs", 300, kLong, 0, 0},
      {"a vertex limit brings them under", 300, kLong, 100000, 1},
  };
  for (const Case& c : cases) {
    const DAPolygon src = arcs(c.arcs, c.sweep);
    DAPolygon out = old;
    int result = -1;
    EXPECT_NO_THROW(result = out.Approximate(src, 1, c.maxVertices, 1)) << c.what;
    EXPECT_EQ(result, c.result) << c.what;
    if (c.result) {
      EXPECT_LE(out.GetEdgeCount(), 1 << 22) << c.what;
      EXPECT_GT(out.GetEdgeCount(), 2 * c.arcs) << c.what;
    } else {
      EXPECT_TRUE(Image(out) == oldImage) << c.what;
    }
    if (c.maxVertices == 0) {
      EXPECT_EQ(src.CanBeApproximated(1, 0, 1), c.result) << c.what;
    }
  }

  // Each polygon fits on its own, the region's total does not.
  DARegion region, target;
  for (int i = 0; i < 2; ++i) region.Add(arcs(150, kLong));
  target.Add(old);
  const std::vector<char> regionImage = Image(region);
  int result = -1;
  EXPECT_NO_THROW(result = target.Approximate(region, 1, 0, 1));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(target.GetPolygonNumber(), 1);
  EXPECT_TRUE(Image(*target.GetFirstPolygon()) == oldImage);
  EXPECT_EQ(region.CanBeApproximated(1, 0, 1), 0);
  EXPECT_EQ(region.Approximate(region, 1, 0, 1), 0);  // into itself: unchanged too
  EXPECT_TRUE(Image(region) == regionImage);
  EXPECT_EQ(target.Approximate(region, 1, 4096, 1), 1);  // a limit per polygon helps
  EXPECT_EQ(target.GetPolygonNumber(), 2);
}

// Rotations and mirrors bring every start angle back into [0, full turn) and keep the
// sweep the transform gives, so that boxes stay right however often a shape is turned.
TEST(RegionTest, RepeatedTransformsKeepStartAnglesInOneTurn) {
  struct Case {
    const char* what;
    double angle;
    double sx;
    double sy;
  } cases[] = {
      {"quarter turns", kQuarter, 1, 1},
      {"quarter turns back", -kQuarter, 1, 1},
      {"three quarters", 3 * kQuarter, 1, 1},
      {"an odd angle", 123456789.5, 1, 1},
      {"mirrored in x", 0, -1, 1},
      {"mirrored in y and turned", kQuarter, 1, -1},
      {"mirrored in both and turned back", -kQuarter, -1, -1},
  };
  for (const Case& c : cases) {
    DAPolygon p;
    p.CreateCircle(0, 0, 1000);
    AddArc(p, 5000, 0, 1000, 0.5 * kQuarter, kQuarter);
    AddArc(p, -5000, 300, 2000, 3.5 * kQuarter, -2.5 * kQuarter);
    // The designed angle arithmetic, without bringing anything back.
    std::vector<std::pair<double, double>> designed;
    for (int i = 0; i < p.GetArcCount(); ++i)
      designed.emplace_back(p.GetArc(i)->start, p.GetArc(i)->end);
    for (int step = 1; step <= 40; ++step) {
      p.Transform(0, 0, c.angle, c.sx, c.sy);
      for (int i = 0; i < p.GetArcCount(); ++i) {
        auto& [start, end] = designed[static_cast<size_t>(i)];
        start += c.angle, end += c.angle;
        if (c.sx < 0) start = SYS_HalfTurn - start, end = SYS_HalfTurn - end;
        if (c.sy < 0) start = -start, end = -end;
        const ArcPolyArc& a = *p.GetArc(i);
        ASSERT_GE(a.start, 0) << c.what << " step " << step << " arc " << i;
        ASSERT_LT(a.start, SYS_FullTurn) << c.what << " step " << step << " arc " << i;
        ASSERT_EQ(a.end - a.start, end - start) << c.what << " step " << step << " arc " << i;
        const double turns = (start - a.start) / SYS_FullTurn;
        ASSERT_NEAR(turns, std::round(turns), 1e-9) << c.what << " step " << step;
      }
      // The box against the box of a fine approximation (within its tolerance of the arcs).
      DAPolygon fine;
      fine.Approximate(p, 1, 0, 1);
      SYS_Box want(fine.GetEdge(0)->GetPoint(), fine.GetEdge(0)->GetPoint());
      for (int i = 1; i < fine.GetEdgeCount(); ++i)
        want.Increase(fine.GetEdge(i)->x, fine.GetEdge(i)->y);
      const SYS_Box got = p.GetBox();
      ASSERT_NEAR(got.GetLeft(), want.GetLeft(), 2) << c.what << " step " << step;
      ASSERT_NEAR(got.GetLower(), want.GetLower(), 2) << c.what << " step " << step;
      ASSERT_NEAR(got.GetRight(), want.GetRight(), 2) << c.what << " step " << step;
      ASSERT_NEAR(got.GetUpper(), want.GetUpper(), 2) << c.what << " step " << step;
    }
    EXPECT_EQ(p.IsCircle(), 0);  // three arcs; the circle's own sweep stayed a full turn
    EXPECT_EQ(std::fabs(p.GetArc(0)->end - p.GetArc(0)->start), SYS_FullTurn) << c.what;
  }
}

TEST(RegionTest, ApproximateIntoItselfAndRegions) {
  DAPolygon p;
  p.CreateCircle(0, 0, 100);
  p.Approximate(p, 10, 0, 1);
  EXPECT_EQ(p.GetEdgeCount(), 11);

  DARegion region;
  DAPolygon square;
  for (auto [x, y] : {std::pair{0, 0}, {10, 0}, {10, 10}, {0, 10}}) square.Add(ArcPolyEdge(x, y));
  DAPolygon circle;
  circle.CreateCircle(0, 0, 100);
  region.Add(square, static_cast<DAPolygonFlag>(5));
  region.Add(circle);
  EXPECT_EQ(region.IsArcShaped(), 1);
  EXPECT_EQ(region.CanBeApproximated(10, 11, 1), 0);
  EXPECT_EQ(region.CanBeApproximated(10, 12, 1), 1);
  EXPECT_EQ(region.CanBeApproximated(10, 11, 0), 1);

  DARegion out;
  out.Add(square);
  EXPECT_EQ(out.Approximate(region, 10, 0, 1), 1);
  ASSERT_EQ(out.GetPolygonNumber(), 2);
  EXPECT_EQ(out.IsArcShaped(), 0);
  EXPECT_EQ(Image(*out.GetFirstPolygon()), Image(*region.GetFirstPolygon()));
  DARegionIterator it(out);
  it.GetNextPolygon();
  EXPECT_EQ(it.GetNextPolygon()->GetEdgeCount(), 11);

  region.Approximate(region, 10, 0, 0);  // circles kept: an exact copy
  EXPECT_EQ(region.GetPolygonNumber(), 2);
  EXPECT_EQ(region.IsArcShaped(), 1);
}

TEST(RegionTest, RegionListFlagsBoxAndChecks) {
  DARegion r;
  EXPECT_EQ(r.GetPolygonNumber(), 0);
  EXPECT_EQ(r.GetFirstPolygon(), nullptr);
  EXPECT_EQ(r.GetBox(), kInvalidBox);
  EXPECT_EQ(r.IsComplex(), 0);
  EXPECT_EQ(r.IsArcShaped(), 0);
  EXPECT_EQ(r.CheckArcs(), 1);

  DAPolygon a, b, bad;
  a.CreateCircle(0, 0, 10);
  b.CreateOval(SYS_Box(100, 100, 300, 150));
  bad.Add(ArcPolyEdge(0, 0));
  bad.Add(ArcPolyEdge(0, 0, bad.Add(ArcPolyArc(0, 5, 0, SYS_HalfTurn))));
  EXPECT_EQ(r.Add(a), 1);
  EXPECT_EQ(r.IsComplex(), 0);
  r.Add(bad);
  r.Add(b, static_cast<DAPolygonFlag>(1));
  r.Add(bad);
  EXPECT_EQ(r.GetPolygonNumber(), 4);
  EXPECT_EQ(r.GetPolygons().GetCount(), 4);
  EXPECT_EQ(r.IsComplex(), 1);
  EXPECT_EQ(r.GetBox(), SYS_Box(-10, -10, 300, 150));

  EXPECT_EQ(r.CheckArcs(), 0);
  // Both bad polygons were demoted, not just the first.
  DARegionIterator it(r);
  for (int want : {0, -1, -1, -1}) EXPECT_EQ(it.GetNextPolygon()->GetEdge(1)->arcIndex, want);
  EXPECT_EQ(it.GetNextPolygon(), nullptr);

  DARegion copy;
  copy = r;
  EXPECT_EQ(Image(copy), Image(r));
  copy.GetFirstPolygon()->GetEdge(0)->x = 999;
  EXPECT_EQ(r.GetFirstPolygon()->GetEdge(0)->x, 0);
  copy = std::as_const(copy);  // itself
  EXPECT_EQ(copy.GetPolygonNumber(), 4);
  copy.Clear();
  EXPECT_EQ(copy.GetPolygonNumber(), 0);
  EXPECT_EQ(copy.GetPolygons().First(), nullptr);
  copy.Add(a);  // the list still appends after a clear
  EXPECT_EQ(copy.GetPolygons().GetCount(), 1);
}

TEST(RegionTest, ImagesHaveTheExactLittleEndianLayout) {
  DAPolygon p;
  p.SetFlag(static_cast<DAPolygonFlag>(2));
  p.SetWidth(-3);
  p.Add(ArcPolyEdge(1, -2));
  p.Add(ArcPolyEdge(0x01020304, 5, p.Add(ArcPolyArc(-7, 8, -kQuarter, 1.5))));
  Bytes want;
  for (std::uint32_t w : {68u, 2u, -3u, 2u, 1u, 1u, -2u, -1u, 0x01020304u, 5u, 0u, -7u, 8u})
    want.W(w);
  want.D(-kQuarter).D(1.5);
  EXPECT_EQ(Image(p), want.b);
  EXPECT_EQ(want.b[32], 4);  // lowest byte first

  DARegion r;
  r.Add(DAPolygon());
  r.Add(DAPolygon());
  const std::vector<char> two = Image(r);
  EXPECT_EQ(two.size(), 48u);
  Bytes words;
  for (int w : {48, 2, 20, 2, 0, 0, 0, 20, 2, 0, 0, 0}) words.W(w);
  EXPECT_EQ(two, words.b);
}

TEST(RegionTest, RandomRegionImagesRoundTripByteForByte) {
  std::mt19937_64 rng(17);
  for (int round = 0; round < 200; ++round) {
    DARegion r;
    const int polygons = static_cast<int>(rng() % 5);
    for (int k = 0; k < polygons; ++k) {
      DAPolygon p;
      p.SetFlag(static_cast<DAPolygonFlag>(static_cast<std::int32_t>(rng())));
      p.SetWidth(static_cast<int>(rng()));
      const int arcs = static_cast<int>(rng() % 4);
      for (int i = 0; i < arcs; ++i)  // any bit pattern, NaNs included, must survive
        p.Add(ArcPolyArc(static_cast<std::int32_t>(rng()), static_cast<std::int32_t>(rng()),
                         std::bit_cast<double>(rng()), std::bit_cast<double>(rng())));
      const int edges = static_cast<int>(rng() % 9);
      for (int i = 0; i < edges; ++i)
        p.Add(ArcPolyEdge(static_cast<std::int32_t>(rng()), static_cast<std::int32_t>(rng()),
                          static_cast<int>(rng() % 7) - 2));
      r.Add(p);
    }
    const std::vector<char> image = Image(r);
    DARegion back;
    back.Add(DAPolygon());  // loading replaces what was there
    ASSERT_EQ(back.LoadImage0(image.data(), image.size()), static_cast<int>(image.size()));
    EXPECT_EQ(back.GetPolygonNumber(), polygons);
    EXPECT_EQ(Image(back), image) << round;
    DARegion trusting;
    ASSERT_EQ(trusting.LoadImage0(image.data()), static_cast<int>(image.size()));
    EXPECT_EQ(Image(trusting), image) << round;

    if (polygons) {
      const DAPolygon& first = *r.GetFirstPolygon();
      const std::vector<char> one = Image(first);
      DAPolygon q;
      ASSERT_EQ(q.LoadImage0(one.data(), one.size()), static_cast<int>(one.size()));
      EXPECT_EQ(Image(q), one);
      EXPECT_EQ(q.GetFlag(), first.GetFlag());
    }
  }
}

TEST(RegionTest, MalformedImagesAreRefusedAndLeaveTheRegionEmpty) {
  DAPolygon p;
  p.CreateCircle(0, 0, 100);
  DARegion r;
  r.Add(p);
  r.Add(DAPolygon());
  const std::vector<char> good = Image(r);  // 8 + 68 + 20 = 96 bytes
  ASSERT_EQ(good.size(), 96u);

  auto patched = [&](std::size_t at, std::uint32_t v) {
    std::vector<char> b = good;
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<char>(v >> (8 * i));
    return b;
  };
  const struct {
    std::vector<char> image;
    std::size_t size;
    const char* name;
  } cases[] = {
      {good, 95, "one byte short of the declared length"},
      {good, 7, "shorter than the header"},
      {patched(0, 200), 96, "declared length beyond the buffer"},
      {patched(0, 4), 96, "declared length below the header"},
      {patched(0, 92), 96, "declared length cuts the last polygon"},
      {patched(4, 3), 96, "one polygon more than present"},
      {patched(4, 1), 96, "one polygon less: bytes left over"},
      {patched(4, 0xFFFFFFFF), 96, "negative polygon count"},
      {patched(4, 0x7FFFFFFF), 96, "huge polygon count"},
      {patched(8, 69), 96, "polygon length disagrees with its counts"},
      {patched(8 + 12, 3), 96, "edge count beyond the polygon"},
      {patched(8 + 12, 0xFFFFFFFF), 96, "negative edge count"},
      {patched(8 + 16, 0x15555556), 96, "arc count whose bytes overflow 32 bits"},
  };
  for (const auto& c : cases) {
    DARegion back;
    back.Add(p);
    EXPECT_EQ(back.LoadImage0(c.image.data(), c.size), 0) << c.name;
    EXPECT_EQ(back.GetPolygonNumber(), 0) << c.name;
    EXPECT_EQ(back.GetFirstPolygon(), nullptr) << c.name;
  }

  // The length-less form reads nothing past the length the image declares: here a copy of
  // exactly that many bytes on the heap, so a sanitizer sees any overread.
  std::vector<char> exact(good.begin(), good.end());
  std::vector<char> shortened = patched(0, 76);
  shortened.resize(76);
  DARegion back;
  EXPECT_EQ(back.LoadImage0(shortened.data()), 0);
  EXPECT_EQ(back.LoadImage0(exact.data()), 96);
  EXPECT_EQ(back.LoadImage0(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(back.GetPolygonNumber(), 0);

  DAPolygon q;
  q.CreateCircle(1, 1, 1);
  const std::vector<char> poly = Image(p);
  EXPECT_EQ(q.LoadImage0(poly.data(), poly.size() - 1), 0);
  EXPECT_EQ(q.GetEdgeCount(), 0);
  EXPECT_EQ(q.LoadImage0(poly.data()), 68);
  EXPECT_EQ(Image(q), poly);
}

}  // namespace
