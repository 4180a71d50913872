// evfilter_bench.cpp - what an event filter costs: passing through while resumed against a
// direct listener, and holding then releasing 1000 notifications by merge mode.
#include <benchmark/benchmark.h>

#include "sccevfilter.h"

namespace {

__attribute__((noinline)) int Count(int code, int* data) {
  if (data) *data += code;
  return 0;
}

void BM_DirectListener(benchmark::State& state) {
  SCC_Notifier source;
  SCC_EventHook<int> hook(&Count, &source);
  int total = 0;
  for (auto _ : state) {
    source.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(BM_DirectListener);

void BM_FilterPassThrough(benchmark::State& state) {
  SCC_SharedPointer<SCC_EventFilterSettings> settings(new SCC_EventFilterSettings);
  SCC_Notifier source;
  SCC_EventFilter filter(settings, &source);
  SCC_EventHook<int> hook(&Count, filter.GetNotifier());
  int total = 0;
  for (auto _ : state) {
    source.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(BM_FilterPassThrough);

// Suspend, 1000 notifications (100 distinct payloads, ten times each), resume.
void BM_HoldAndRelease(benchmark::State& state) {
  SCC_SharedPointer<SCC_EventFilterSettings> settings(new SCC_EventFilterSettings);
  settings->SetMergeMode(static_cast<SCC_EventFilterSettings::MergeMode>(state.range(0)));
  SCC_Notifier source;
  SCC_EventFilter filter(settings, &source);
  SCC_EventHook<int> hook(&Count, filter.GetNotifier());
  for (auto _ : state) {
    settings->Suspend();
    for (long i = 0; i < 1000; ++i) {
      long value = i % 100;
      source.Notify(3, &value);
    }
    settings->Resume();
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_HoldAndRelease)->Arg(0)->Arg(1)->Arg(2);

}  // namespace
