// array_bench.cpp - SCC_Array against std::vector: appending ints one at a time and sorting
// with a comparator.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "sccarray.h"

namespace {

constexpr long kAppendCount = 10'000'000;
constexpr long kSortCount = 1'000'000;

// Appends 10 million ints; the array grows by at most 10000 slots at a time past 5000
// elements, the vector doubles.
void BM_ArrayAppend(benchmark::State& state) {
  for (auto _ : state) {
    SCC_Array<int> a;
    for (long i = 0; i < kAppendCount; ++i) a.Add(static_cast<int>(i));
    benchmark::DoNotOptimize(a.GetData());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kAppendCount);
}
BENCHMARK(BM_ArrayAppend)->Unit(benchmark::kMillisecond);

void BM_VectorPushBack(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<int> v;
    for (long i = 0; i < kAppendCount; ++i) v.push_back(static_cast<int>(i));
    benchmark::DoNotOptimize(v.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kAppendCount);
}
BENCHMARK(BM_VectorPushBack)->Unit(benchmark::kMillisecond);

std::vector<int> RandomInts(long n) {
  std::mt19937 gen(12345);
  std::vector<int> v(static_cast<std::size_t>(n));
  for (int& x : v) x = static_cast<int>(gen());
  return v;
}

// Comparator sort of 1 million random ints (virtual Compare and Swap per step).
void BM_ArraySort(benchmark::State& state) {
  const std::vector<int> input = RandomInts(kSortCount);
  SCC_SharedPointer<SCC_ComparatorBase> cmp(new SCC_LessComparator<int>);
  for (auto _ : state) {
    state.PauseTiming();
    SCC_Array<int> a;
    a.Reserve(kSortCount);
    for (int x : input) a.Add(x);
    a.SetComparator(nullptr);
    state.ResumeTiming();
    a.SetComparator(cmp);  // sorts ascending
    benchmark::DoNotOptimize(a.GetData());
  }
  state.SetItemsProcessed(state.iterations() * kSortCount);
}
BENCHMARK(BM_ArraySort)->Unit(benchmark::kMillisecond);

void BM_StdSort(benchmark::State& state) {
  const std::vector<int> input = RandomInts(kSortCount);
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<int> v = input;
    state.ResumeTiming();
    std::sort(v.begin(), v.end());
    benchmark::DoNotOptimize(v.data());
  }
  state.SetItemsProcessed(state.iterations() * kSortCount);
}
BENCHMARK(BM_StdSort)->Unit(benchmark::kMillisecond);

int CompareInts(const void* a, const void* b) {
  const int x = *static_cast<const int*>(a);
  const int y = *static_cast<const int*>(b);
  return (x > y) - (x < y);
}

// The raw-memory sort with a plain compare function, against the C library's qsort.
void BM_SysQSort(benchmark::State& state) {
  const std::vector<int> input = RandomInts(kSortCount);
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<int> v = input;
    state.ResumeTiming();
    SYS_QSort(v.data(), static_cast<unsigned>(v.size()), sizeof(int), CompareInts);
    benchmark::DoNotOptimize(v.data());
  }
  state.SetItemsProcessed(state.iterations() * kSortCount);
}
BENCHMARK(BM_SysQSort)->Unit(benchmark::kMillisecond);

void BM_CQSort(benchmark::State& state) {
  const std::vector<int> input = RandomInts(kSortCount);
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<int> v = input;
    state.ResumeTiming();
    std::qsort(v.data(), v.size(), sizeof(int), CompareInts);
    benchmark::DoNotOptimize(v.data());
  }
  state.SetItemsProcessed(state.iterations() * kSortCount);
}
BENCHMARK(BM_CQSort)->Unit(benchmark::kMillisecond);

}  // namespace
