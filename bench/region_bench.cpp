// region_bench.cpp - chord approximation and boxes of arc outlines, against plain loops.
#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "daregion.h"
#include "sysgeom.h"

namespace {

constexpr double kUnitsToRadians = std::numbers::pi / SYS_HalfTurn;
constexpr int kTolerance = 1000;

// Rounded rectangles: four straight sides joined by four quarter arcs, radii 0.1 to 1 mm
// scaled by `size`; the arc-heavy kind of outline pads and tracks end in.
DARegion ArcRegion(int polygons, double size) {
  std::mt19937 rng(1);
  std::uniform_real_distribution<double> radius(150000 * size, 1500000 * size);
  std::uniform_int_distribution<int> coord(-500000000, 500000000);
  DARegion region;
  for (int k = 0; k < polygons; ++k) {
    DAPolygon p;
    const int x = coord(rng), y = coord(rng);
    const int r = static_cast<int>(radius(rng)), half = 2 * r;
    const int cx[] = {x + half, x - half, x - half, x + half};
    const int cy[] = {y + half, y + half, y - half, y - half};
    for (int q = 0; q < 4; ++q) {
      const double a0 = q * SYS_HalfTurn / 2.0;
      const double t0 = a0 * kUnitsToRadians, t1 = (a0 + SYS_HalfTurn / 2.0) * kUnitsToRadians;
      p.Add(ArcPolyEdge(SYS_Round(cx[q] + r * std::cos(t0)), SYS_Round(cy[q] + r * std::sin(t0))));
      const int arc = p.Add(ArcPolyArc(cx[q], cy[q], a0, a0 + SYS_HalfTurn / 2.0));
      p.Add(ArcPolyEdge(SYS_Round(cx[q] + r * std::cos(t1)), SYS_Round(cy[q] + r * std::sin(t1)),
                        arc));
    }
    region.Add(p);
  }
  return region;
}

void BM_RegionApproximate(benchmark::State& state) {
  const DARegion src = ArcRegion(static_cast<int>(state.range(0)), 1.0);
  DARegion out;
  long vertices = 0;
  for (auto _ : state) {
    out.Approximate(src, kTolerance, 0, 1);
    benchmark::DoNotOptimize(out.GetFirstPolygon());
  }
  for (DARegionIterator it(out); const DAPolygon* p = it.GetNextPolygon();)
    vertices += p->GetEdgeCount();
  state.counters["vertices"] = benchmark::Counter(static_cast<double>(vertices),
                                                  benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_RegionApproximate)->Arg(10)->Arg(100)->Arg(1000);

// The same chord points from a hand-written loop over the same arcs into one reused vector:
// no polygon storage, no region list, no per-polygon allocation.
void BM_PlainChordLoop(benchmark::State& state) {
  const DARegion src = ArcRegion(static_cast<int>(state.range(0)), 1.0);
  struct Arc {
    double cx, cy, r, start, sweep;
    SYS_Point from, end;
  };
  std::vector<Arc> arcs;
  for (DARegionIterator it(src); const DAPolygon* p = it.GetNextPolygon();)
    for (int i = 0; i < p->GetEdgeCount(); ++i)
      if (const ArcPolyArc* a = p->GetEdgeArc(i))
        arcs.push_back({static_cast<double>(a->cx), static_cast<double>(a->cy), p->GetRadius(i),
                        a->start, a->end - a->start, p->GetEdge(i - 1)->GetPoint(),
                        p->GetEdge(i)->GetPoint()});
  std::vector<SYS_Point> out;
  long vertices = 0;
  for (auto _ : state) {
    out.clear();
    for (const Arc& a : arcs) {
      out.push_back(a.from);  // the straight vertex before each arc
      const double c = std::max(0.0, 1 - (kTolerance / a.r) * 0.5);
      const int n = static_cast<int>(std::fabs(a.sweep) * kUnitsToRadians / (2 * std::acos(c))) + 1;
      const double step = a.sweep / n;
      for (int k = 1; k < n; ++k) {
        const double t = (a.start + k * step) * kUnitsToRadians;
        out.emplace_back(SYS_Round(a.cx + a.r * std::cos(t)), SYS_Round(a.cy + a.r * std::sin(t)));
      }
      out.push_back(a.end);
    }
    benchmark::DoNotOptimize(out.data());
  }
  vertices = static_cast<long>(out.size());
  state.counters["vertices"] = benchmark::Counter(static_cast<double>(vertices),
                                                  benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_PlainChordLoop)->Arg(10)->Arg(100)->Arg(1000);

// One outline of 4 x range(0) quarter arcs.
DAPolygon ArcPolygon(int rounds) {
  DARegion r = ArcRegion(rounds, 1.0);
  DAPolygon all;
  for (DARegionIterator it(r); const DAPolygon* p = it.GetNextPolygon();)
    for (int i = 0; i < p->GetEdgeCount(); ++i) {
      ArcPolyEdge e = *p->GetEdge(i);
      if (const ArcPolyArc* a = p->GetEdgeArc(i)) e.arcIndex = all.Add(*a);
      all.Add(e);
    }
  return all;
}

void BM_PolygonGetBox(benchmark::State& state) {
  const DAPolygon p = ArcPolygon(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(p.GetBox());
  state.SetItemsProcessed(state.iterations() * p.GetArcCount());
}
BENCHMARK(BM_PolygonGetBox)->Arg(1)->Arg(100);

// The same arcs as SYS_Arc values, boxed one by one and combined.
void BM_SysArcBoxes(benchmark::State& state) {
  const DAPolygon p = ArcPolygon(static_cast<int>(state.range(0)));
  std::vector<SYS_Arc> arcs;
  for (int i = 0; i < p.GetEdgeCount(); ++i)
    if (const ArcPolyArc* a = p.GetEdgeArc(i))
      arcs.emplace_back(p.GetEdge(i - 1)->GetPoint(), p.GetEdge(i)->GetPoint(), a->GetCenter(),
                        SYS_Round(p.GetRadius(i)));
  for (auto _ : state) {
    SYS_Box box;
    box.Invalidate();
    for (const SYS_Arc& a : arcs) box.Combine(a.GetBox());
    benchmark::DoNotOptimize(box);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(arcs.size()));
}
BENCHMARK(BM_SysArcBoxes)->Arg(1)->Arg(100);

}  // namespace
