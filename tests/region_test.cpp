// region_test.cpp - tests of outlines with arc edges, regions and their byte images.
#include <gtest/gtest.h>

#include <algorithm>
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
  for (int i = std::uniform_int_distribution<int>(1, 4)(rng); i > 0; --i)
    AddArc(p, coord(rng), coord(rng), radius(rng), angle(rng), std::max(std::fabs(sweep(rng)), 1000.0) * (rng() & 1 ? 1 : -1));
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

TEST(RegionTest, InsertAnywhereAndAddOwnVertices) {
  DAPolygon p;
  EXPECT_EQ(p.Add(ArcPolyEdge(1, 2, 7), 3), 0);
  EXPECT_EQ(p.Insert(0, ArcPolyEdge(8, 8)), 1);  // returns the old count
  EXPECT_EQ(p.Insert(1, ArcPolyEdge(9, 9), 0), 2);
  for (int i = 0; i < 4; ++i) p.Add(*p.GetEdge(0));  // a vertex of the polygon itself, while it grows
  EXPECT_EQ(p.Insert(100, ArcPolyEdge(3, 3)), 7);  // clamped to the end after the check
  EXPECT_EQ(std::vector<ArcPolyEdge>(p.GetEdge(0), p.GetEdge(0) + p.GetEdgeCount()),
            (std::vector<ArcPolyEdge>{{8, 8}, {9, 9, 0}, {1, 2, 3}, {8, 8}, {8, 8}, {8, 8}, {8, 8}, {3, 3}}));
}

TEST(RegionTest, CirclesAndOvalsAreBuiltAndRecognised) {
  DAPolygon p;
  p.SetWidth(5);
  p.CreateCircle(10, 20, 5);  // the width stays
  EXPECT_TRUE(p.IsCircle() && !p.IsOval() && p.GetWidth() == 5 && p.GetBox() == SYS_Box(5, 15, 15, 25));
  DAPolygon cw = p;
  std::swap(cw.GetArc(0)->start, cw.GetArc(0)->end);
  EXPECT_EQ(cw.IsCircle(), 0);  // only the counter-clockwise full turn is a circle

  DAPolygon odd;
  odd.CreateOval(SYS_Box(401, 201, 0, 0));  // unordered; the odd short side filled to one less
  EXPECT_TRUE(odd.GetEdgeCount() == 5 && odd.IsOval() && !odd.IsCircle() && odd.GetBox() == SYS_Box(0, 0, 401, 200));
  DAPolygon oval;
  oval.CreateOval(SYS_Box(-200, -100, 200, 100));
  DAPolygon turned = oval;  // horizontal becomes vertical
  EXPECT_TRUE(turned.Transform(0, 0, kQuarter, 1, 1) && turned.IsOval() && turned.GetBox() == SYS_Box(-100, -200, 100, 200));
  const struct { void (*spoil)(DAPolygon&); const char* name; } spoilt[] = {
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

TEST(RegionTest, BoxWidensByTheAxisExtremesAnArcPasses) {
  const struct { double a0, sweep; SYS_Box want; } cases[] = {{0, kQuarter, {0, 0, 100, 100}}, {kQuarter / 2, 2 * kQuarter, {-100, -71, 71, 100}},
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
  t.SetRotate(SYS_Point(0, 0), static_cast<long>(angle)), step.SetMove(dx, dy), t.AddConv(step);
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

  const struct { int dx, dy; double angle, sx, sy; } placements[] = {{1000, -2000, 0, 1, 1}, {-300, 700, -1e8, 1, 1}, {10, 20, 0, -1, 1}, {0, 0, 2e8, 1, -1},
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
          // The centre maps like any point; the sweep keeps its size, turned by a mirror.
          const ArcPolyArc* a1 = p1->GetEdgeArc(i);
          ASSERT_NE(a1, nullptr);
          ASSERT_LE((ref.Transform(a0->GetCenter()) - a1->GetCenter()).MLength(), 4) << "edge " << i;
          ASSERT_NEAR(a1->end - a1->start, (a0->end - a0->start) * (t.sx * t.sy < 0 ? -1 : 1), 1e-6) << i;
        }
      }
      EXPECT_EQ(itAfter.GetNextPolygon(), nullptr);
    }
  }
}

// Rotations and mirrors bring every start angle back into [0, full turn) and keep the
// sweep the transform gives, so that boxes stay right however often a shape is turned.
TEST(RegionTest, RepeatedTransformsKeepStartAnglesInOneTurn) {
  const struct { double angle, sx, sy; } cases[] = {{kQuarter, 1, 1}, {-kQuarter, 1, 1}, {123456789.5, 1, 1}, {0, -1, 1}, {kQuarter, 1, -1}, {-kQuarter, -1, -1}};
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
  const struct { int tolerance, width, want; } defaults[] = {{0, 20, 11}, {0, 1, 4}, {0, 0, 4}, {-10, 0, 33}};  // half the width, else 31800; <1 is 1
  for (const auto& c : defaults) {
    circle.SetWidth(c.width);
    EXPECT_TRUE(out.Approximate(circle, c.tolerance, 0, 1) && out.GetEdgeCount() == c.want && out.GetWidth() == c.width);
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
        ASSERT_TRUE(j < out.GetEdgeCount() && out.GetEdge(j)->arcIndex == -1) << round;
        const ArcPolyEdge& w = *out.GetEdge(j);
        const SYS_DoublePoint a = prev - c, b = SYS_DoublePoint(w.GetPoint()) - c;
        ASSERT_NEAR(std::hypot(b.GetX(), b.GetY()), r, 2 * kPosTol) << round;
        // The chord's middle, where it is farthest from the arc, stays within tolerance.
        const double mid = std::hypot((a.GetX() + b.GetX()) / 2, (a.GetY() + b.GetY()) / 2);
        ASSERT_LE(r - mid, tol / 2.0 + 2 * kPosTol) << round << " chord " << chords;
        swept += std::atan2(a.VectorProduct(b), a.ScalarProduct(b)), ++chords, prev = w.GetPoint();
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
  const int fine = (out.Approximate(circle, 10, 0, 1), out.GetEdgeCount());
  EXPECT_GT(fine, 900);
  EXPECT_TRUE(circle.CanBeApproximated(10, fine, 1) == 0 && circle.CanBeApproximated(10, fine + 1, 1) == 1);
  out.Approximate(circle, 10, 100, 1);
  EXPECT_TRUE(out.GetEdgeCount() < 100 && out.GetEdgeCount() > 25);  // the first count that fits

  DAPolygon full;  // a full circle stops at its minimal three chords
  AddArc(full, 0, 0, 1000000, 0, SYS_FullTurn);
  EXPECT_EQ((out.Approximate(full, 1, 1, 1), out.GetEdgeCount()), 4);
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
  const struct { const char* what; DAPolygon src; int maxVertices, result; } cases[] = {
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
    EXPECT_TRUE((Image(out) == oldImage) != c.result && out.GetEdgeCount() <= 1 << 22) << c.what;
    EXPECT_TRUE(c.maxVertices || c.src.CanBeApproximated(1, 0, 1) == c.result) << c.what;
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
  EXPECT_EQ(target.Approximate(region, 1, 0, 1), 0);
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
  EXPECT_EQ(r.CheckArcs(), 0);
  DARegionIterator it(r), inCopy(copy);  // both bad polygons were demoted, not just the first, and not the copy's
  for (int want : {0, -1, -1, -1}) EXPECT_EQ(it.GetNextPolygon()->GetEdge(1)->arcIndex, want);
  EXPECT_TRUE(it.GetNextPolygon() == nullptr && inCopy.GetNextPolygon() && inCopy.GetNextPolygon()->GetEdge(1)->arcIndex == 0);
  copy.Clear();
  copy.Add(a);  // the list still appends after a clear; the copy was deep
  EXPECT_EQ(copy.GetPolygons().GetCount(), 1);

  DARegion mixed, out;  // a kept circle needs no chords; straight polygons are copied
  mixed.Add(square, static_cast<DAPolygonFlag>(5)), mixed.Add(a);
  EXPECT_TRUE(mixed.CanBeApproximated(10, 11, 1) == 0 && mixed.CanBeApproximated(10, 12, 1) == 1 && mixed.CanBeApproximated(10, 11, 0) == 1);
  EXPECT_TRUE(out.Approximate(mixed, 10, 0, 1) && !out.IsArcShaped() && Image(*out.GetFirstPolygon()) == Image(*mixed.GetFirstPolygon()));
}

TEST(RegionTest, ImagesHaveTheExactLittleEndianLayoutAndRoundTrip) {
  DAPolygon p;
  p.SetFlag(static_cast<DAPolygonFlag>(2));
  p.SetWidth(-3);
  p.Add(ArcPolyEdge(1, -2));
  p.Add(ArcPolyEdge(0x01020304, 5, p.Add(ArcPolyArc(-7, 8, -kQuarter, 1.5))));
  std::vector<char> want;
  const std::uint64_t d0 = std::bit_cast<std::uint64_t>(-kQuarter), d1 = std::bit_cast<std::uint64_t>(1.5);
  for (std::uint64_t w : {68ul, 2ul, -3ul, 2ul, 1ul, 1ul, -2ul, -1ul, 0x01020304ul, 5ul, 0ul, -7ul, 8ul, d0, d0 >> 32, d1, d1 >> 32})
    for (int i = 0; i < 4; ++i) want.push_back(static_cast<char>(w >> (8 * i)));  // little-endian words
  EXPECT_EQ(Image(p), want);

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
  const struct { std::vector<char> image; std::size_t size; const char* name; } cases[] = {
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
  EXPECT_TRUE(q.LoadImage0(poly.data(), poly.size() - 1) == 0 && q.GetEdgeCount() == 0);
  EXPECT_TRUE(q.LoadImage0(poly.data()) == 68 && Image(q) == poly);
}

}  // namespace
