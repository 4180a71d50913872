// hash_bench.cpp - SCC_Map lookups against std::unordered_map and absl::flat_hash_map.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "scchash.h"

#ifdef BRIXSYS_HAVE_ABSL
#include "absl/container/flat_hash_map.h"
#endif

namespace {

constexpr int kKeys = 100000;  // the largest map measured

// Short keys shaped like the library's own (site names, section names): 6 to 14 bytes.
const std::vector<std::string>& Keys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> k;
    k.reserve(kKeys);
    char buf[32];
    for (int i = 0; i < kKeys; ++i) {
      std::snprintf(buf, sizeof buf, "key%d_%x", i, i * 7919);
      k.emplace_back(buf);
    }
    return k;
  }();
  return keys;
}

// The order in which the first `n` keys are looked up: shuffled, so that memory is
// not visited in insertion order.
std::vector<int> Order(int n) {
  std::vector<int> o(n);
  for (int i = 0; i < n; ++i) o[i] = i;
  std::shuffle(o.begin(), o.end(), std::mt19937(42));
  return o;
}

void BM_SccMapLookup(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  SCC_Map<SYS_String, int> map;
  std::vector<SYS_String> probes;
  for (int i = 0; i < n; ++i) map[Keys()[i].c_str()] = i;
  for (int i : Order(n)) probes.emplace_back(Keys()[i].c_str());
  for (auto _ : state) {
    long sum = 0;
    for (const SYS_String& k : probes) sum += *map.Find(k);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_SccMapLookup)->Arg(1000)->Arg(kKeys);

void BM_SccMapLookupCString(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  SCC_Map<SYS_String, int> map;
  for (int i = 0; i < n; ++i) map[Keys()[i].c_str()] = i;
  // The probe texts lie one after the other in lookup order, as the std::string probes
  // of the other benchmarks do.
  std::string arena;
  std::vector<std::size_t> offsets;
  for (int i : Order(n)) {
    offsets.push_back(arena.size());
    arena.append(Keys()[i]).push_back('\0');
  }
  std::vector<const char*> probes;
  for (std::size_t offset : offsets) probes.push_back(arena.data() + offset);
  for (auto _ : state) {
    long sum = 0;
    for (const char* k : probes) sum += *map.Find(k);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_SccMapLookupCString)->Arg(1000)->Arg(kKeys);

void BM_StdUnorderedMapLookup(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::unordered_map<std::string, int> map;
  std::vector<std::string> probes;
  for (int i = 0; i < n; ++i) map[Keys()[i]] = i;
  for (int i : Order(n)) probes.push_back(Keys()[i]);
  for (auto _ : state) {
    long sum = 0;
    for (const std::string& k : probes) sum += map.find(k)->second;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_StdUnorderedMapLookup)->Arg(1000)->Arg(kKeys);

#ifdef BRIXSYS_HAVE_ABSL
void BM_AbslFlatHashMapLookup(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  absl::flat_hash_map<std::string, int> map;
  std::vector<std::string> probes;
  for (int i = 0; i < n; ++i) map[Keys()[i]] = i;
  for (int i : Order(n)) probes.push_back(Keys()[i]);
  for (auto _ : state) {
    long sum = 0;
    for (const std::string& k : probes) sum += map.find(k)->second;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_AbslFlatHashMapLookup)->Arg(1000)->Arg(kKeys);
#endif

// Misses cost a full chain walk without a key comparison thanks to the cached hash.
void BM_SccMapMiss(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  SCC_Map<SYS_String, int> map;
  for (int i = 0; i < n; ++i) map[Keys()[i].c_str()] = i;
  std::vector<SYS_String> probes;
  for (int i : Order(n)) probes.emplace_back((Keys()[i] + "!").c_str());
  for (auto _ : state) {
    long hits = 0;
    for (const SYS_String& k : probes) hits += map.Find(k) != nullptr;
    benchmark::DoNotOptimize(hits);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_SccMapMiss)->Arg(1000)->Arg(kKeys);

void BM_StdUnorderedMapMiss(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::unordered_map<std::string, int> map;
  for (int i = 0; i < n; ++i) map[Keys()[i]] = i;
  std::vector<std::string> probes;
  for (int i : Order(n)) probes.push_back(Keys()[i] + "!");
  for (auto _ : state) {
    long hits = 0;
    for (const std::string& k : probes) hits += map.find(k) != map.end();
    benchmark::DoNotOptimize(hits);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_StdUnorderedMapMiss)->Arg(1000)->Arg(kKeys);

// Building the map: insertion with regrowth.
void BM_SccMapInsert(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    SCC_Map<SYS_String, int> map;
    for (int i = 0; i < n; ++i) map[Keys()[i].c_str()] = i;
    benchmark::DoNotOptimize(map.GetCount());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_SccMapInsert)->Arg(kKeys);

void BM_StdUnorderedMapInsert(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::unordered_map<std::string, int> map;
    for (int i = 0; i < n; ++i) map[Keys()[i]] = i;
    benchmark::DoNotOptimize(map.size());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_StdUnorderedMapInsert)->Arg(kKeys);

}  // namespace
