// collection_bench.cpp - the standard collection's common paths against the structure a
// caller would write by hand (a vector of items and a hash map from handle to position).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "scccollection.h"

namespace {

constexpr long kItems = 10000;
int object;

void BM_CollectionAddAndFind(benchmark::State& state) {
  for (auto _ : state) {
    SCC_StdCollection c;
    for (long i = 0; i < kItems; ++i) c.Add(&object);
    long sum = 0;
    for (long h = 1; h <= kItems; h += 7) sum += c.GetPosition(h);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_CollectionAddAndFind);

void BM_VectorAndMapAddAndFind(benchmark::State& state) {
  struct Item {
    long handle;
    void* object;
  };
  for (auto _ : state) {
    std::vector<Item> items;
    std::unordered_map<long, long> index;
    long next = 0;
    for (long i = 0; i < kItems; ++i) {
      items.push_back(Item{++next, &object});
      index.emplace(next, static_cast<long>(items.size()) - 1);
    }
    long sum = 0;
    for (long h = 1; h <= kItems; h += 7) sum += index.find(h)->second;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BM_VectorAndMapAddAndFind);

// A walk with a registered iterator that removes every other item as it goes.
void BM_CollectionWalkRemovingHalf(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    SCC_StdCollection c;
    for (long i = 0; i < 1000; ++i) c.Add(&object);
    state.ResumeTiming();
    SCC_CollectionIterator it;
    for (long h = it.GetFirst(c); h; h = it.GetNext())
      if (h % 2) c.Remove(h);
    benchmark::DoNotOptimize(c.GetCount());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_CollectionWalkRemovingHalf);

void BM_VectorEraseIfHalf(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<long> v(1000);
    for (long i = 0; i < 1000; ++i) v[i] = i + 1;
    state.ResumeTiming();
    for (auto p = v.begin(); p != v.end();) p = *p % 2 ? v.erase(p) : p + 1;
    benchmark::DoNotOptimize(v.size());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_VectorEraseIfHalf);

}  // namespace
