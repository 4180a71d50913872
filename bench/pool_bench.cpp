// pool_bench.cpp - SMM_MemoryPool and SMM_PooledObject against new/delete and
// std::pmr::unsynchronized_pool_resource for small node-sized objects.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory_resource>
#include <random>
#include <vector>

#include "smmpool.h"

namespace {

constexpr int kObjects = 10000;

// A list-node-sized object: two links and a payload (32 bytes).
struct Node {
  Node* prev;
  Node* next;
  long value[2];
};
struct PooledNode : SMM_PooledObject, Node {};

// The order in which the live objects are freed in the churn benchmarks: shuffled, so that
// the free lists do not simply unwind the allocation order.
const std::vector<int>& FreeOrder() {
  static const std::vector<int> order = [] {
    std::vector<int> o(kObjects);
    for (int i = 0; i < kObjects; ++i) o[i] = i;
    std::shuffle(o.begin(), o.end(), std::mt19937(7));
    return o;
  }();
  return order;
}

// Allocates kObjects nodes, then frees them in shuffled order, per iteration.
template <class Alloc, class Free>
void Churn(benchmark::State& state, Alloc alloc, Free free) {
  std::vector<void*> live(kObjects);
  for (auto _ : state) {
    for (int i = 0; i < kObjects; ++i) live[i] = alloc();
    benchmark::ClobberMemory();
    for (int i : FreeOrder()) free(live[i]);
  }
  state.SetItemsProcessed(state.iterations() * kObjects);
}

void BM_NewDelete(benchmark::State& state) {
  Churn(
      state, [] { return static_cast<void*>(new Node); },
      [](void* p) { delete static_cast<Node*>(p); });
}
BENCHMARK(BM_NewDelete);

void BM_MemoryPool(benchmark::State& state) {
  SMM_MemoryPool pool(sizeof(Node));
  Churn(
      state, [&] { return pool.Allocate(); }, [&](void* p) { pool.Free(p); });
}
BENCHMARK(BM_MemoryPool);

void BM_PooledObject(benchmark::State& state) {
  Churn(
      state, [] { return static_cast<void*>(new PooledNode); },
      [](void* p) { delete static_cast<PooledNode*>(p); });
}
BENCHMARK(BM_PooledObject);

void BM_PmrUnsynchronizedPool(benchmark::State& state) {
  std::pmr::unsynchronized_pool_resource pool;
  Churn(
      state, [&] { return pool.allocate(sizeof(Node), alignof(Node)); },
      [&](void* p) { pool.deallocate(p, sizeof(Node), alignof(Node)); });
}
BENCHMARK(BM_PmrUnsynchronizedPool);

// One allocation and its free right away: the best case of every allocator.
template <class Alloc, class Free>
void Pair(benchmark::State& state, Alloc alloc, Free free) {
  for (auto _ : state) {
    void* p = alloc();
    benchmark::DoNotOptimize(p);
    free(p);
  }
}

void BM_NewDeletePair(benchmark::State& state) {
  Pair(
      state, [] { return static_cast<void*>(new Node); },
      [](void* p) { delete static_cast<Node*>(p); });
}
BENCHMARK(BM_NewDeletePair);

void BM_MemoryPoolPair(benchmark::State& state) {
  SMM_MemoryPool pool(sizeof(Node));
  Pair(
      state, [&] { return pool.Allocate(); }, [&](void* p) { pool.Free(p); });
}
BENCHMARK(BM_MemoryPoolPair);

void BM_PooledObjectPair(benchmark::State& state) {
  Pair(
      state, [] { return static_cast<void*>(new PooledNode); },
      [](void* p) { delete static_cast<PooledNode*>(p); });
}
BENCHMARK(BM_PooledObjectPair);

void BM_PmrUnsynchronizedPoolPair(benchmark::State& state) {
  std::pmr::unsynchronized_pool_resource pool;
  Pair(
      state, [&] { return pool.allocate(sizeof(Node), alignof(Node)); },
      [&](void* p) { pool.deallocate(p, sizeof(Node), alignof(Node)); });
}
BENCHMARK(BM_PmrUnsynchronizedPoolPair);

}  // namespace
