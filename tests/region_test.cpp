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
constexpr long kPosTol = 1;  // database units: one rounding of a coordinate
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
  std::uniform_real_distribution<double> radius(1000, 1e6), angle(-2 * SYS_FullTurn, 2 * SYS_FullTurn);
  std::uniform_real_distribution<double> sweep(-SYS_FullTurn, SYS_FullTurn);
  DAPolygon p;
  p.SetWidth(std::uniform_int_distribution<int>(0, 200000)(rng));
  for (int i = std::uniform_int_distribution<int>(1, 4)(rng); i > 0; --i) {
    const double s = sweep(rng);
    AddArc(p, coord(rng), coord(rng), radius(rng), angle(rng), std::fabs(s) < 1000 ? 1000 : s);
  }
  return p;
}

template <class Shape>
std::vector<char> Image(const Shape& r) {
  std::vector<char> out(r.GetImageLength());
  EXPECT_EQ(r.CreateImage(out.data()), static_cast<int>(out.size()));
  return out;
}

SYS_Box VertexBox(const DAPolygon& p) {
  SYS_Box box(p.GetEdge(0)->GetPoint(), p.GetEdge(0)->GetPoint());
  for (int i = 1; i < p.GetEdgeCount(); ++i) box.Increase(p.GetEdge(i)->x, p.GetEdge(i)->y);
  return box;
}

TEST(RegionTest, IsOnTruncatesAndIncludesBothEnds) {
  const struct {
    double start, end, angle;
    int want;
  } cases[] = {{486000000, 810000000, 0, 1},  {100, 100, 100, 0},  {0, kQuarter, kQuarter, 1},
               {0, kQuarter, kQuarter + 1, 0}, {kQuarter, 0, 1000, 1}, {-kQuarter, kQuarter, 3 * kQuarter + 1, 1},
               {0, kQuarter, -1, 0},  {100.9, 200.9, 100.5, 1},  {100, 200, 99.9, 0},
               {0, 2.0 * SYS_FullTurn, 12345, 1}, {std::nan(""), 0, 0, 1}};  // NaN: no crash
  for (const auto& c : cases) EXPECT_EQ(ArcPolyArc(0, 0, c.start, c.end).IsOn(c.angle), c.want) << c.start << " " << c.angle;
}

TEST(RegionTest, StorageGrowsInFivesAndCopiesDeeply) {
  DAPolygon p;
  for (auto [n, capacity] : {std::pair{3, 5}, {0, 5}, {-1, 10}, {30, 30}, {31, 35}, {-7, 40}}) {
    EXPECT_EQ(p.ReallocateEdges(n) + p.ReallocateArcs(n), 2);
    EXPECT_TRUE(p.GetEdgeCapacity() == capacity && p.GetArcCapacity() == capacity) << "n = " << n;
  }
  p.Free();
  EXPECT_EQ(p.Add(ArcPolyEdge(1, 2, 7), 3), 0);
  EXPECT_EQ(p.Add(ArcPolyEdge(5, 6)), 1);
  EXPECT_EQ(p.Insert(1, ArcPolyEdge(9, 9), 0), 2);  // returns the old count
  EXPECT_EQ(p.Insert(0, ArcPolyEdge(8, 8)), 3);
  for (int i = 0; i < 4; ++i) p.Add(*p.GetEdge(0));  // a vertex of the polygon itself, while it grows
  EXPECT_EQ(p.Insert(100, ArcPolyEdge(3, 3)), 8);  // clamped to the end after the check
  const ArcPolyEdge want[] = {{8, 8}, {1, 2, 3}, {9, 9, 0}, {5, 6}, {8, 8}, {8, 8}, {8, 8}, {8, 8}, {3, 3}};
  ASSERT_EQ(p.GetEdgeCount(), 9);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(*p.GetEdge(i), want[i]) << i;
  EXPECT_TRUE(p.GetEdge(9) == nullptr && p.GetEdge(-1) == nullptr && p.GetArc(0) == nullptr);
  DAPolygon copy(p);
  copy.GetEdge(0)->x = 100;
  copy = std::as_const(copy);  // itself
  EXPECT_TRUE(copy.GetEdge(0)->x == 100 && p.GetEdge(0)->x == 8);
}

TEST(RegionTest, CirclesAndOvalsAreBuiltAndRecognised) {
  DAPolygon p;
  p.SetWidth(5);
  p.CreateCircle(10, 20, 5);  // flag and width stay
  EXPECT_TRUE(p.IsCircle() && !p.IsOval() && p.GetEdgeCount() == 2 && p.GetWidth() == 5);
  EXPECT_EQ(p.GetBox(), SYS_Box(5, 15, 15, 25));
  EXPECT_TRUE(p.GetRadius(1) == 5.0 && p.GetRadius(0) == -1.0 && p.GetRadius(2) == -1.0);
  DAPolygon cw = p;
  std::swap(cw.GetArc(0)->start, cw.GetArc(0)->end);
  EXPECT_EQ(cw.IsCircle(), 0);  // only the counter-clockwise full turn is a circle

  const struct {
    SYS_Box box, want;
    const char* name;
  } ovals[] = {
      {{0, 0, 200, 400}, {0, 0, 200, 400}, "vertical"}, {{400, 200, 0, 0}, {0, 0, 400, 200}, "unordered"},
      {{0, 0, 401, 201}, {0, 0, 401, 200}, "odd short side filled to one less"}, {{7, 7, 7, 7}, {7, 7, 7, 7}, "a point"},
  };
  for (const auto& c : ovals) {
    DAPolygon o;
    o.CreateOval(c.box);
    EXPECT_TRUE(o.GetEdgeCount() == 5 && o.GetArcCount() == 2 && o.IsOval() && !o.IsCircle()) << c.name;
    EXPECT_EQ(o.GetBox(), c.want) << c.name;
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
      {[](DAPolygon& o) { o.GetEdge(1)->x += 1; }, "a long side moved"},
      {[](DAPolygon& o) { o.GetEdge(3)->y += 1; }, "long side not straight"},
      {[](DAPolygon& o) { o.GetEdge(1)->y += 1, o.GetEdge(2)->y += 1; }, "long sides off centre"},
      {[](DAPolygon& o) { o.GetArc(1)->cy += 1; }, "centres on different lines"},
      {[](DAPolygon& o) { o.GetArc(0)->end += 1; }, "arc not a half turn"},
      {[](DAPolygon& o) { o.GetEdge(2)->arcIndex = -1; }, "an edge no longer an arc"},
      {[](DAPolygon& o) { o.Transform(0, 0, 0, 1, 2); }, "scaled unequally"},
      {[](DAPolygon& o) { o.Add(ArcPolyEdge(0, 0)); }, "a sixth vertex"},
  };
  for (const auto& s : spoilt) {
    DAPolygon o = oval;
    s.spoil(o);
    EXPECT_EQ(o.IsOval(), 0) << s.name;
  }
}

TEST(RegionTest, CheckArcsDemotesCoincidentEndsThatAreNotFullCircles) {
  const struct {
    double sweep;
    bool straightRepeat;
    int want;
  } cases[] = {{SYS_FullTurn, false, 1}, {-SYS_FullTurn, false, 1}, {SYS_HalfTurn, false, 0}, {SYS_FullTurn - 1, false, 0}, {SYS_FullTurn, true, 0}};
  for (const auto& c : cases) {
    DAPolygon p;
    p.Add(ArcPolyEdge(0, 0));
    p.Add(ArcPolyEdge(100, 0));
    const int arc = p.Add(ArcPolyArc(100, 50, -kQuarter, -kQuarter + c.sweep));
    p.Add(ArcPolyEdge(100, 0, c.straightRepeat ? -1 : arc));
    EXPECT_EQ(p.CheckArcs(), c.want) << c.sweep;
    EXPECT_EQ(p.GetEdge(2)->arcIndex, c.want == 1 ? arc : -1) << c.sweep;
  }
}

TEST(RegionTest, BoxWidensByTheAxisExtremesAnArcPasses) {
  const struct {
    double a0, sweep;
    SYS_Box want;
  } cases[] = {{0, kQuarter, {0, 0, 100, 100}}, {kQuarter / 2, 2 * kQuarter, {-100, -71, 71, 100}},
               {kQuarter / 2, -kQuarter, {71, -71, 100, 71}}, {3 * kQuarter, SYS_FullTurn, {-100, -100, 100, 100}}};
  for (const auto& c : cases) {
    DAPolygon p;
    AddArc(p, 0, 0, 100, c.a0, c.sweep);
    EXPECT_EQ(p.GetBox(), c.want) << c.a0 << " " << c.sweep;
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

}

// The reference: the same placement built from SYS_Transform, which maps each point in one
// step (rotation, move, scale, then the mirrors).
SYS_Transform Reference(int dx, int dy, double angle, double sx, double sy) {
  SYS_Transform t, step;
  t.SetRotate(SYS_Point(0, 0), static_cast<long>(angle));
  step.SetMove(dx, dy);
  t.AddConv(step);
  if (std::fabs(sx) != 1) step.SetScale(SYS_Point(0, 0), std::fabs(sx)), t.AddConv(step);
  if (sx < 0) step.SetMirror(SYS_Point(0, 0), static_cast<long>(kQuarter)), t.AddConv(step);
  if (sy < 0) step.SetMirror(SYS_Point(0, 0), 0L), t.AddConv(step);
  return t;
}

TEST(RegionTest, TransformedRegionsMatchPointsTransformedOneByOne) {
  DAPolygon stretched;  // unequal scaling straightens every edge; the arc table stays
  stretched.CreateCircle(0, 0, 100);
  EXPECT_EQ(stretched.Transform(0, 0, 0, 1, 2), 1);
  EXPECT_TRUE(stretched.GetEdge(0)->arcIndex == -1 && *stretched.GetEdge(1) == ArcPolyEdge(0, -200));

  const struct {
    int dx, dy;
    double angle, sx, sy;
  } placements[] = {{1000, -2000, 0, 1, 1}, {-300, 700, -1e8, 1, 1}, {10, 20, 0, -1, 1}, {0, 0, 2e8, 1, -1},
                    {5, 5, kQuarter, -1, -1}, {77, -33, 3e8, 2, 2}, {0, 0, 0, 0.5, -0.5}};
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
          ASSERT_LE((want - p1->GetEdge(i)->GetPoint()).MLength(), 4) << "vertex " << i;
          const ArcPolyArc* a0 = p0->GetEdgeArc(i);
          if (!a0) continue;
          // Points along the old arc, mapped one by one, lie on the new arc at the same
          // fraction of its sweep.
          const ArcPolyArc* a1 = p1->GetEdgeArc(i);
          ASSERT_NE(a1, nullptr);
          const double r0 = p0->GetRadius(i), r1 = p1->GetRadius(i);
          for (double f = 0; f <= 1; f += 1.0 / 16) {
            const double t0 = Rad(a0->start + f * (a0->end - a0->start));
            const double t1 = Rad(a1->start + f * (a1->end - a1->start));
            const SYS_DoublePoint mapped =
                ref.Transform(SYS_DoublePoint(a0->cx + r0 * std::cos(t0), a0->cy + r0 * std::sin(t0)));
            ASSERT_LE(std::hypot(a1->cx + r1 * std::cos(t1) - mapped.GetX(),
                                 a1->cy + r1 * std::sin(t1) - mapped.GetY()), 8.0)
                << "edge " << i << " f " << f;
          }
        }
      }
      EXPECT_EQ(itAfter.GetNextPolygon(), nullptr);
    }
  }
}

// Rotations and mirrors bring every start angle back into [0, full turn) and keep the
// sweep the transform gives, so that boxes stay right however often a shape is turned.
TEST(RegionTest, RepeatedTransformsKeepStartAnglesInOneTurn) {
  const struct {
    double angle, sx, sy;
  } cases[] = {{kQuarter, 1, 1}, {-kQuarter, 1, 1}, {123456789.5, 1, 1}, {0, -1, 1},
               {kQuarter, 1, -1}, {-kQuarter, -1, -1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.angle);
    DAPolygon p;
    p.CreateCircle(0, 0, 1000);
    AddArc(p, 5000, 0, 1000, 0.5 * kQuarter, kQuarter);
    AddArc(p, -5000, 300, 2000, 3.5 * kQuarter, -2.5 * kQuarter);
    std::vector<std::pair<double, double>> designed;  // the angle arithmetic, unfolded
    for (int i = 0; i < p.GetArcCount(); ++i) designed.emplace_back(p.GetArc(i)->start, p.GetArc(i)->end);
    for (int step = 1; step <= 40; ++step) {
      p.Transform(0, 0, c.angle, c.sx, c.sy);
      for (int i = 0; i < p.GetArcCount(); ++i) {
        auto& [start, end] = designed[static_cast<size_t>(i)];
        start += c.angle, end += c.angle;
        if (c.sx < 0) start = SYS_HalfTurn - start, end = SYS_HalfTurn - end;
        if (c.sy < 0) start = -start, end = -end;
        const ArcPolyArc& a = *p.GetArc(i);
        ASSERT_TRUE(a.start >= 0 && a.start < SYS_FullTurn) << "step " << step << " arc " << i;
        ASSERT_EQ(a.end - a.start, end - start) << "step " << step << " arc " << i;
        const double turns = (start - a.start) / SYS_FullTurn;
        ASSERT_NEAR(turns, std::round(turns), 1e-9) << "step " << step;
      }
      DAPolygon fine;  // within its tolerance of the arcs
      fine.Approximate(p, 1, 0, 1);
      const SYS_Box want = VertexBox(fine), got = p.GetBox();
      ASSERT_TRUE(std::labs(got.GetLeft() - want.GetLeft()) <= 2 && std::labs(got.GetLower() - want.GetLower()) <= 2 &&
                  std::labs(got.GetRight() - want.GetRight()) <= 2 && std::labs(got.GetUpper() - want.GetUpper()) <= 2)
          << "step " << step;
    }
    EXPECT_EQ(std::fabs(p.GetArc(0)->end - p.GetArc(0)->start), SYS_FullTurn);
  }
}

TEST(RegionTest, ApproximationVerticesLieWithinToleranceOfTheirArcs) {
  DAPolygon circle, out;
  circle.CreateCircle(0, 0, 100);
  EXPECT_EQ(out.Approximate(circle, 10, 0, 1), 1);
  ASSERT_EQ(out.GetEdgeCount(), 11);  // 10 chords plus the straight start vertex
  EXPECT_EQ(out.GetEdge(1)->GetPoint(), SYS_Point(59, -81));  // 36 degrees past -90
  const struct {
    int tolerance, width, want;
  } defaults[] = {{0, 20, 11}, {0, 1, 4}, {0, 0, 4}, {-10, 0, 33}};  // half the width, else 31800; <1 is 1
  for (const auto& c : defaults) {
    circle.SetWidth(c.width);
    out.Approximate(circle, c.tolerance, 0, 1);
    EXPECT_EQ(out.GetEdgeCount(), c.want) << c.tolerance << " " << c.width;
    EXPECT_EQ(out.GetWidth(), c.width);
  }
  circle.Approximate(circle, 10, 0, 1);  // into itself
  EXPECT_EQ(circle.GetEdgeCount(), 11);

  std::mt19937 rng(3);
  std::uniform_int_distribution<int> tolerance(10, 20000);
  for (int round = 0; round < 300; ++round) {
    const DAPolygon src = RandomArcPolygon(rng);
    const int tol = tolerance(rng);
    out.SetFlag(static_cast<DAPolygonFlag>(9));
    ASSERT_EQ(out.Approximate(src, tol, 0, 1), 1);
    EXPECT_TRUE(out.GetFlag() == src.GetFlag() && out.GetArcCount() == 0);
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
        const SYS_DoublePoint a = prev - c, b = SYS_DoublePoint(w.GetPoint()) - c;
        ASSERT_NEAR(std::hypot(b.GetX(), b.GetY()), r, 2 * kPosTol) << round;
        // The chord's middle, where it is farthest from the arc, stays within tolerance.
        const double mid = std::hypot((a.GetX() + b.GetX()) / 2, (a.GetY() + b.GetY()) / 2);
        ASSERT_LE(r - mid, tol / 2.0 + 2 * kPosTol) << round << " chord " << chords;
        swept += std::atan2(a.VectorProduct(b), a.ScalarProduct(b));
        ++chords;
        prev = w.GetPoint();
        if (w.GetPoint() == v.GetPoint()) break;
      }
      ++j;
      // The chords go the arc's way and cover exactly its sweep.
      ASSERT_NEAR(swept, Rad(arc->end - arc->start), 1e-6 + 4.0 * chords / r) << round;
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
  EXPECT_TRUE(circle.CanBeApproximated(10, fine, 1) == 0 && circle.CanBeApproximated(10, fine + 1, 1) == 1);
  out.Approximate(circle, 10, 100, 1);
  EXPECT_TRUE(out.GetEdgeCount() < 100 && out.GetEdgeCount() > 25);  // the first count that fits

  // With an unreachable limit the doubling stops where the count equals edges + 2 x arcs or
  // at the floor, where no arc can lose a chord: 1 below a half turn, 2 below a full one.
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
    EXPECT_TRUE(out.GetEdgeCount() == designed || out.GetEdgeCount() == floor) << round;
    atFloorOnly += out.GetEdgeCount() == floor && floor != designed;
  }
  EXPECT_GT(atFloorOnly, 0);
  DAPolygon wild;  // angles that are not finite are capped, and the limit cannot shrink them
  wild.Add(ArcPolyEdge(0, 0));
  wild.Add(ArcPolyEdge(1, 1, wild.Add(ArcPolyArc(0, 0, 0, std::nan("")))));
  out.Approximate(wild, 1, 10, 1);
  EXPECT_EQ(out.GetEdgeCount(), DAPolygon::kMaxChords + 1);
}

// One approximation never produces more than DAPolygon::kMaxApproximation vertices: past
// the cap the target is left as it was and the call answers 0, never std::bad_alloc.
TEST(RegionTest, ApproximationStopsAtTheVertexCap) {
  // `count` arcs of radius 1000, each with its straight lead-in vertex unless `bare`.
  auto arcs = [](int count, double sweep, bool bare = false) {
    DAPolygon p;
    for (int i = 0; i < count; ++i) {
      if (!bare) p.Add(ArcPolyEdge(1000, 0));
      p.Add(ArcPolyEdge(1000, 0, p.Add(ArcPolyArc(0, 0, 0, sweep))));
    }
    return p;
  };
  constexpr double kHuge = 1e15;  // so many turns that the arc gets kMaxChords chords
  constexpr double kLong = 1e11;  // about 15,000 chords at tolerance 1
  DAPolygon old;
  old.CreateCircle(7, 7, 70);
  const std::vector<char> oldImage = Image(old);
  const struct {
    const char* what;
    DAPolygon src;
    int maxVertices, result;
  } cases[] = {
      {"three capped arcs fit", arcs(3, kHuge), 0, 1},
      {"four capped arcs do not", arcs(4, kHuge), 0, 0},
      {"more vertices than 32 bits count", arcs(2100, kHuge), 0, 0},
      {"many long arcs", arcs(300, kLong), 0, 0},
      {"a vertex limit brings them under", arcs(300, kLong), 100000, 1},
  };
  for (const auto& c : cases) {
    DAPolygon out = old;
    int result = -1;
    EXPECT_NO_THROW(result = out.Approximate(c.src, 1, c.maxVertices, 1)) << c.what;
    EXPECT_EQ(result, c.result) << c.what;
    const bool kept = Image(out) == oldImage;
    EXPECT_EQ(kept, !c.result) << c.what;
    EXPECT_LE(out.GetEdgeCount(), 1 << 22) << c.what;
    if (c.maxVertices == 0) EXPECT_EQ(c.src.CanBeApproximated(1, 0, 1), c.result) << c.what;
  }
  // Exactly the cap still fits, more does not: a polygon and a region alike.
  DARegion capRegion;
  capRegion.Add(arcs(4, kHuge, true));
  EXPECT_TRUE(capRegion.GetFirstPolygon()->CanBeApproximated(1, 0, 1) == 1 && capRegion.CanBeApproximated(1, 0, 1) == 1);
  capRegion.Add(arcs(1, SYS_HalfTurn));
  EXPECT_EQ(capRegion.CanBeApproximated(1, 0, 1), 0);

  // Each polygon fits on its own, the region's total does not.
  DARegion region, target;
  for (int i = 0; i < 2; ++i) region.Add(arcs(150, kLong));
  target.Add(old);
  const std::vector<char> regionImage = Image(region);
  int result = -1;
  EXPECT_NO_THROW(result = target.Approximate(region, 1, 0, 1));
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(target.GetPolygonNumber() == 1 && Image(*target.GetFirstPolygon()) == oldImage);
  EXPECT_EQ(region.CanBeApproximated(1, 0, 1), 0);
  EXPECT_EQ(region.Approximate(region, 1, 0, 1), 0);  // into itself: unchanged too
  EXPECT_TRUE(Image(region) == regionImage);
  EXPECT_EQ(target.Approximate(region, 1, 4096, 1), 1);  // a limit per polygon helps
  EXPECT_EQ(target.GetPolygonNumber(), 2);
}

TEST(RegionTest, RegionListFlagsBoxChecksAndApproximation) {
  DARegion r;
  EXPECT_TRUE(r.GetBox() == kInvalidBox && r.IsComplex() == 0 && r.IsArcShaped() == 0 && r.CheckArcs() == 1);
  DAPolygon a, b, bad, square;
  a.CreateCircle(0, 0, 100);
  b.CreateOval(SYS_Box(100, 100, 300, 150));
  bad.Add(ArcPolyEdge(0, 0));
  bad.Add(ArcPolyEdge(0, 0, bad.Add(ArcPolyArc(0, 5, 0, SYS_HalfTurn))));
  for (auto [x, y] : {std::pair{0, 0}, {10, 0}, {10, 10}, {0, 10}}) square.Add(ArcPolyEdge(x, y));
  EXPECT_EQ(r.Add(a), 1);
  EXPECT_EQ(r.IsComplex(), 0);
  r.Add(bad), r.Add(b, static_cast<DAPolygonFlag>(1)), r.Add(bad);
  EXPECT_TRUE(r.GetPolygonNumber() == 4 && r.GetPolygons().GetCount() == 4 && r.IsComplex() == 1);
  EXPECT_EQ(r.GetBox(), SYS_Box(-100, -100, 300, 150));
  DARegion copy;
  copy = r;
  copy.GetFirstPolygon()->GetEdge(0)->x = 999;  // deep
  EXPECT_EQ(r.GetFirstPolygon()->GetEdge(0)->x, 0);
  EXPECT_EQ(r.CheckArcs(), 0);
  DARegionIterator it(r);  // both bad polygons were demoted, not just the first
  for (int want : {0, -1, -1, -1}) EXPECT_EQ(it.GetNextPolygon()->GetEdge(1)->arcIndex, want);
  EXPECT_EQ(it.GetNextPolygon(), nullptr);
  copy.Clear();
  copy.Add(a);  // the list still appends after a clear
  EXPECT_EQ(copy.GetPolygons().GetCount(), 1);

  DARegion mixed, out;
  mixed.Add(square, static_cast<DAPolygonFlag>(5)), mixed.Add(a);
  EXPECT_TRUE(mixed.CanBeApproximated(10, 11, 1) == 0 && mixed.CanBeApproximated(10, 12, 1) == 1);
  EXPECT_EQ(mixed.CanBeApproximated(10, 11, 0), 1);  // a kept circle needs no chords
  out.Add(square);
  EXPECT_EQ(out.Approximate(mixed, 10, 0, 1), 1);
  ASSERT_EQ(out.GetPolygonNumber(), 2);
  EXPECT_EQ(out.IsArcShaped(), 0);
  EXPECT_EQ(Image(*out.GetFirstPolygon()), Image(*mixed.GetFirstPolygon()));
  mixed.Approximate(mixed, 10, 0, 0);  // circles kept: an exact copy
  EXPECT_TRUE(mixed.GetPolygonNumber() == 2 && mixed.IsArcShaped() == 1);
}

TEST(RegionTest, ImagesHaveTheExactLittleEndianLayoutAndRoundTrip) {
  DAPolygon p;
  p.SetFlag(static_cast<DAPolygonFlag>(2));
  p.SetWidth(-3);
  p.Add(ArcPolyEdge(1, -2));
  p.Add(ArcPolyEdge(0x01020304, 5, p.Add(ArcPolyArc(-7, 8, -kQuarter, 1.5))));
  std::vector<char> want;
  auto w32 = [&](std::uint32_t v) {
    for (int i = 0; i < 4; ++i) want.push_back(static_cast<char>(v >> (8 * i)));
  };
  for (std::uint32_t w : {68u, 2u, -3u, 2u, 1u, 1u, -2u, -1u, 0x01020304u, 5u, 0u, -7u, 8u}) w32(w);
  for (double d : {-kQuarter, 1.5}) {
    const auto v = std::bit_cast<std::uint64_t>(d);
    w32(static_cast<std::uint32_t>(v)), w32(static_cast<std::uint32_t>(v >> 32));
  }
  EXPECT_EQ(Image(p), want);
  DARegion two;
  two.Add(DAPolygon()), two.Add(DAPolygon());
  want.clear();
  for (int w : {48, 2, 20, 2, 0, 0, 0, 20, 2, 0, 0, 0}) w32(w);
  EXPECT_EQ(Image(two), want);

  std::mt19937_64 rng(17);
  for (int round = 0; round < 200; ++round) {
    DARegion r;
    const int polygons = static_cast<int>(rng() % 5);
    for (int k = 0; k < polygons; ++k) {
      DAPolygon q;
      q.SetFlag(static_cast<DAPolygonFlag>(static_cast<std::int32_t>(rng())));
      q.SetWidth(static_cast<int>(rng()));
      for (int i = static_cast<int>(rng() % 4); i > 0; --i)  // any bit pattern, NaNs included
        q.Add(ArcPolyArc(static_cast<std::int32_t>(rng()), static_cast<std::int32_t>(rng()),
                         std::bit_cast<double>(rng()), std::bit_cast<double>(rng())));
      for (int i = static_cast<int>(rng() % 9); i > 0; --i)
        q.Add(ArcPolyEdge(static_cast<std::int32_t>(rng()), static_cast<std::int32_t>(rng()),
                          static_cast<int>(rng() % 7) - 2));
      r.Add(q);
    }
    const std::vector<char> image = Image(r);
    DARegion back, trusting;
    back.Add(DAPolygon());  // loading replaces what was there
    ASSERT_EQ(back.LoadImage0(image.data(), image.size()), static_cast<int>(image.size()));
    EXPECT_EQ(back.GetPolygonNumber(), polygons);
    EXPECT_EQ(Image(back), image) << round;
    ASSERT_EQ(trusting.LoadImage0(image.data()), static_cast<int>(image.size()));
    EXPECT_EQ(Image(trusting), image) << round;
    if (polygons) {
      const std::vector<char> one = Image(*r.GetFirstPolygon());
      DAPolygon q;
      ASSERT_EQ(q.LoadImage0(one.data(), one.size()), static_cast<int>(one.size()));
      EXPECT_EQ(Image(q), one);
    }
  }
}

TEST(RegionTest, MalformedImagesAreRefusedAndLeaveTheRegionEmpty) {
  DAPolygon p;
  p.CreateCircle(0, 0, 100);
  DARegion r;
  r.Add(p), r.Add(DAPolygon());
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
      {good, 95, "one byte short of the declared length"}, {good, 7, "shorter than the header"},
      {patched(0, 200), 96, "declared length beyond the buffer"},
      {patched(0, 4), 96, "declared length below the header"}, {patched(0, 92), 96, "declared length cuts the last polygon"},
      {patched(4, 3), 96, "one polygon more than present"}, {patched(4, 1), 96, "one polygon less: bytes left over"},
      {patched(4, 0xFFFFFFFF), 96, "negative polygon count"}, {patched(4, 0x7FFFFFFF), 96, "huge polygon count"},
      {patched(8, 69), 96, "polygon length disagrees with its counts"},
      {patched(8 + 12, 3), 96, "edge count beyond the polygon"}, {patched(8 + 12, 0xFFFFFFFF), 96, "negative edge count"},
      {patched(8 + 16, 0x15555556), 96, "arc count whose bytes overflow 32 bits"},
  };
  for (const auto& c : cases) {
    DARegion back;
    back.Add(p);
    EXPECT_EQ(back.LoadImage0(c.image.data(), c.size), 0) << c.name;
    EXPECT_TRUE(back.GetPolygonNumber() == 0 && back.GetFirstPolygon() == nullptr) << c.name;
  }
  // The length-less form reads nothing past the length the image declares: here a copy of
  // exactly that many bytes on the heap, so a sanitizer sees any overread.
  std::vector<char> shortened = patched(0, 76);
  shortened.resize(76);
  DARegion back;
  EXPECT_EQ(back.LoadImage0(shortened.data()), 0);
  EXPECT_EQ(back.LoadImage0(good.data()), 96);
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
