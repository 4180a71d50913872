// handleset_bench.cpp - SCC_HandleSet against std::unordered_set<long> and
// absl::flat_hash_set<long>: inserting, finding and erasing 1 million handles.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <unordered_set>
#include <vector>

#include "scchandleset.h"

#ifdef BRIXSYS_HAVE_ABSL
#include "absl/container/flat_hash_set.h"
#endif

namespace {

constexpr long kHandles = 1000000;

// Arg 0: the handles 1..n in shuffled order (array handles); arg 1: random 31-bit handles.
const std::vector<long>& Handles(long kind) {
  static const std::vector<long> sets[2] = {
      [] {
        std::vector<long> v(kHandles);
        for (long i = 0; i < kHandles; ++i) v[i] = i + 1;
        std::shuffle(v.begin(), v.end(), std::mt19937(1));
        return v;
      }(),
      [] {
        std::mt19937 rng(2);
        std::unordered_set<long> seen;
        std::vector<long> v;
        while (static_cast<long>(v.size()) < kHandles) {
          const long h = static_cast<long>(rng() & 0x7fffffff);
          if (h != 0 && seen.insert(h).second) v.push_back(h);
        }
        return v;
      }(),
  };
  return sets[kind];
}

struct Brix {
  SCC_HandleSet set;
  void Insert(long h) { set.Add(h); }
  bool Find(long h) const { return set.Contains(h); }
  void Erase(long h) { set.Remove(h); }
};
struct Std {
  std::unordered_set<long> set;
  void Insert(long h) { set.insert(h); }
  bool Find(long h) const { return set.count(h) != 0; }
  void Erase(long h) { set.erase(h); }
};
#ifdef BRIXSYS_HAVE_ABSL
struct Absl {
  absl::flat_hash_set<long> set;
  void Insert(long h) { set.insert(h); }
  bool Find(long h) const { return set.contains(h); }
  void Erase(long h) { set.erase(h); }
};
#endif

template <class Set>
void BM_Insert(benchmark::State& state) {
  const std::vector<long>& handles = Handles(state.range(0));
  for (auto _ : state) {
    Set s;
    for (long h : handles) s.Insert(h);
    benchmark::DoNotOptimize(s);
    state.PauseTiming();  // the set dies outside the measurement
    { Set gone = std::move(s); }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kHandles);
}

template <class Set>
void BM_Find(benchmark::State& state) {
  const std::vector<long>& handles = Handles(state.range(0));
  Set s;
  for (long h : handles) s.Insert(h);
  std::vector<long> probes(handles);
  std::shuffle(probes.begin(), probes.end(), std::mt19937(3));
  for (auto _ : state) {
    long found = 0;
    for (long h : probes) found += s.Find(h);
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations() * kHandles);
}

template <class Set>
void BM_Erase(benchmark::State& state) {
  const std::vector<long>& handles = Handles(state.range(0));
  std::vector<long> order(handles);
  std::shuffle(order.begin(), order.end(), std::mt19937(4));
  for (auto _ : state) {
    state.PauseTiming();
    auto* s = new Set;
    for (long h : handles) s->Insert(h);
    state.ResumeTiming();
    for (long h : order) s->Erase(h);
    benchmark::DoNotOptimize(s);
    state.PauseTiming();
    delete s;
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kHandles);
}

#define HANDLE_BENCHMARKS(Set)                                                       \
  BENCHMARK_TEMPLATE(BM_Insert, Set)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond); \
  BENCHMARK_TEMPLATE(BM_Find, Set)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);   \
  BENCHMARK_TEMPLATE(BM_Erase, Set)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)

HANDLE_BENCHMARKS(Brix);
HANDLE_BENCHMARKS(Std);
#ifdef BRIXSYS_HAVE_ABSL
HANDLE_BENCHMARKS(Absl);
#endif

}  // namespace
