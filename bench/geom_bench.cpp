// geom_bench.cpp - point mapping through SYS_Transform against a hand-written affine loop,
// and arc boxes.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "sysgeom.h"
#include "systransform.h"

namespace {

constexpr std::size_t kPoints = 10'000'000;

const std::vector<SYS_Point>& Points() {
  static const std::vector<SYS_Point> points = [] {
    std::mt19937 rng(1);
    std::uniform_int_distribution<std::int32_t> coord(-100000000, 100000000);
    std::vector<SYS_Point> v(kPoints);
    for (auto& p : v) p.Set(coord(rng), coord(rng));
    return v;
  }();
  return points;
}

SYS_Transform Placement() {
  SYS_Transform t(SYS_Position(SYS_Point(123456, -654321), 81000000, 1));
  SYS_Transform s;
  s.SetScale(SYS_Point(1000, 1000), 1.25);
  t.AddConv(s);
  return t;
}

void BM_TransformPoints(benchmark::State& state) {
  const auto& in = Points();
  std::vector<SYS_Point> out(in.size());
  const SYS_Transform t = Placement();
  for (auto _ : state) {
    for (std::size_t i = 0; i < in.size(); ++i) out[i] = t.Transform(in[i]);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * in.size());
}
BENCHMARK(BM_TransformPoints)->Unit(benchmark::kMillisecond);

// The same map written out by hand on plain structs, rounding half away from zero.
struct RawPoint {
  std::int32_t x, y;
};

void BM_HandWrittenAffine(benchmark::State& state) {
  const auto& points = Points();
  std::vector<RawPoint> in(points.size()), out(points.size());
  for (std::size_t i = 0; i < points.size(); ++i)
    in[i] = {static_cast<std::int32_t>(points[i].GetX()),
             static_cast<std::int32_t>(points[i].GetY())};
  const SYS_Transform t = Placement();
  const double a = t.GetA(), b = t.GetB(), c = t.GetC();
  const double d = t.GetD(), e = t.GetE(), f = t.GetF();
  auto round = [](double v) { return static_cast<std::int32_t>(v >= 0 ? v + 0.5 : v - 0.5); };
  for (auto _ : state) {
    for (std::size_t i = 0; i < in.size(); ++i) {
      const double x = in[i].x, y = in[i].y;
      out[i] = {round(a * x + b * y + c), round(d * x + e * y + f)};
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * in.size());
}
BENCHMARK(BM_HandWrittenAffine)->Unit(benchmark::kMillisecond);

std::vector<SYS_Arc> Arcs() {
  std::mt19937 rng(2);
  std::uniform_int_distribution<std::int32_t> coord(-100000000, 100000000);
  std::uniform_int_distribution<std::int32_t> radius(1000, 10000000);
  std::uniform_real_distribution<double> angle(0.0, 2 * std::numbers::pi);
  std::vector<SYS_Arc> arcs(4096);
  for (std::size_t i = 0; i < arcs.size(); ++i) {
    const SYS_Point c(coord(rng), coord(rng));
    const std::int32_t r = radius(rng);
    auto on = [&](double t) {
      return c + static_cast<SYS_Point>(SYS_DoublePoint(r * std::cos(t), r * std::sin(t)));
    };
    arcs[i] = SYS_Arc(on(angle(rng)), on(angle(rng)), c, i % 2 ? r : -r);
  }
  return arcs;
}

void BM_ArcGetBox(benchmark::State& state) {
  const auto arcs = Arcs();
  for (auto _ : state) {
    for (const auto& a : arcs) benchmark::DoNotOptimize(a.GetBox());
  }
  state.SetItemsProcessed(state.iterations() * arcs.size());
}
BENCHMARK(BM_ArcGetBox);

void BM_BoxClip(benchmark::State& state) {
  std::mt19937 rng(3);
  std::uniform_int_distribution<std::int32_t> coord(0, 1000);
  std::vector<SYS_Box> boxes(4096);
  for (auto& b : boxes) b.Set(coord(rng), coord(rng), coord(rng), coord(rng));
  SYS_Box out[4];
  for (auto _ : state) {
    for (std::size_t i = 0; i + 1 < boxes.size(); ++i)
      benchmark::DoNotOptimize(boxes[i].Clip(boxes[i + 1], out));
  }
  state.SetItemsProcessed(state.iterations() * (boxes.size() - 1));
}
BENCHMARK(BM_BoxClip);

}  // namespace
