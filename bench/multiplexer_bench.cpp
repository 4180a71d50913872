// multiplexer_bench.cpp - one multiplexer raise over N sources against a plain loop that
// raises each source's notifier, and against a loop of plain function hooks.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "sccmultiplexer.h"

namespace {

__attribute__((noinline)) int Count(int code, int* data) {
  *data += code;
  return 0;
}

void ReportPerSource(benchmark::State& state) {
  state.counters["per_source"] =
      benchmark::Counter(double(state.iterations()) * double(state.range(0)),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Each source has one listener, as in the typical use (one view per object).
void BM_MultiplexerRaise(benchmark::State& state) {
  SCC_EventMultiplexer mux;
  std::vector<std::unique_ptr<SCC_EventSource>> sources;
  std::vector<std::unique_ptr<SCC_EventHook<int>>> hooks;
  for (int64_t i = 0; i < state.range(0); ++i) {
    sources.push_back(std::make_unique<SCC_EventSource>());
    hooks.push_back(std::make_unique<SCC_EventHook<int>>(&Count, sources.back().get()));
    sources.back()->Join(&mux);
  }
  int total = 0;
  for (auto _ : state) {
    mux.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerSource(state);
}
BENCHMARK(BM_MultiplexerRaise)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

// The same delivery written by hand: a vector of the sources' notifiers, each raised.
void BM_LoopOfNotifiers(benchmark::State& state) {
  std::vector<std::unique_ptr<SCC_Notifier>> sources;
  std::vector<std::unique_ptr<SCC_EventHook<int>>> hooks;
  for (int64_t i = 0; i < state.range(0); ++i) {
    sources.push_back(std::make_unique<SCC_Notifier>());
    hooks.push_back(std::make_unique<SCC_EventHook<int>>(&Count, sources.back().get()));
  }
  int total = 0;
  for (auto _ : state) {
    for (auto& s : sources) s->Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerSource(state);
}
BENCHMARK(BM_LoopOfNotifiers)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

// The floor: one notifier with N hooks (no per-source step at all).
void BM_OneNotifierNHooks(benchmark::State& state) {
  SCC_Notifier notifier;
  std::vector<std::unique_ptr<SCC_EventHook<int>>> hooks;
  for (int64_t i = 0; i < state.range(0); ++i)
    hooks.push_back(std::make_unique<SCC_EventHook<int>>(&Count, &notifier));
  int total = 0;
  for (auto _ : state) {
    notifier.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerSource(state);
}
BENCHMARK(BM_OneNotifierNHooks)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

// Joining and leaving among 100 sources.
void BM_JoinLeave(benchmark::State& state) {
  SCC_EventMultiplexer mux;
  std::vector<std::unique_ptr<SCC_EventSource>> sources(100);
  for (auto& s : sources) {
    s = std::make_unique<SCC_EventSource>();
    s->Join(&mux);
  }
  SCC_EventSource extra;
  for (auto _ : state) {
    extra.Join(&mux);
    extra.Leave();
  }
}
BENCHMARK(BM_JoinLeave);

}  // namespace
