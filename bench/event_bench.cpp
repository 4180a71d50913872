// event_bench.cpp - raising a notifier against a plain loop over function pointers and
// against the common signal libraries, for 1, 10 and 100 listeners.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "sccevent.h"

#ifdef BRIXSYS_HAVE_BOOST
#include <boost/signals2/signal.hpp>
#endif
#ifdef BRIXSYS_HAVE_SIGCXX
#include <sigc++/sigc++.h>
#endif

namespace {

// Every listener does the same small amount of work through the payload pointer.
__attribute__((noinline)) int Count(int code, int* data) {
  *data += code;
  return 0;
}
__attribute__((noinline)) void CountVoid(int code, int* data) { *data += code; }

struct Counter {
  __attribute__((noinline)) int Changed(int code, int* data) {
    *data += code;
    return 0;
  }
};

void ReportPerHook(benchmark::State& state) {
  state.counters["per_hook"] =
      benchmark::Counter(double(state.iterations()) * double(state.range(0)),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_NotifierRaise(benchmark::State& state) {
  SCC_Notifier notifier;
  std::vector<std::unique_ptr<SCC_EventHook<int>>> hooks;
  for (int64_t i = 0; i < state.range(0); ++i)
    hooks.push_back(std::make_unique<SCC_EventHook<int>>(&Count, &notifier, long(i % 3)));
  int total = 0;
  for (auto _ : state) {
    notifier.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerHook(state);
}
BENCHMARK(BM_NotifierRaise)->Arg(1)->Arg(10)->Arg(100);

void BM_NotifierRaiseObjectHooks(benchmark::State& state) {
  SCC_Notifier notifier;
  Counter counter;
  std::vector<std::unique_ptr<SCC_ObjectEventHook<Counter, int>>> hooks;
  for (int64_t i = 0; i < state.range(0); ++i)
    hooks.push_back(std::make_unique<SCC_ObjectEventHook<Counter, int>>(&counter, &Counter::Changed,
                                                                        &notifier));
  int total = 0;
  for (auto _ : state) {
    notifier.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerHook(state);
}
BENCHMARK(BM_NotifierRaiseObjectHooks)->Arg(1)->Arg(10)->Arg(100);

// Nine of every ten hooks disabled: what a raise costs for nodes it skips.
void BM_NotifierRaiseMostlyDisabled(benchmark::State& state) {
  SCC_Notifier notifier;
  std::vector<std::unique_ptr<SCC_EventHook<int>>> hooks;
  for (int64_t i = 0; i < state.range(0); ++i) {
    hooks.push_back(std::make_unique<SCC_EventHook<int>>(&Count, &notifier));
    if (i % 10 != 0) hooks.back()->Enable(0);
  }
  int total = 0;
  for (auto _ : state) {
    notifier.Notify(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerHook(state);
}
BENCHMARK(BM_NotifierRaiseMostlyDisabled)->Arg(10)->Arg(100);

// The floor: the same calls through a vector of function pointers.
void BM_FunctionPointerLoop(benchmark::State& state) {
  std::vector<int (*)(int, int*)> functions(size_t(state.range(0)), &Count);
  benchmark::DoNotOptimize(functions.data());
  int total = 0;
  for (auto _ : state) {
    for (auto* f : functions) f(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerHook(state);
}
BENCHMARK(BM_FunctionPointerLoop)->Arg(1)->Arg(10)->Arg(100);

// Hooking by priority and unhooking one listener among 10.
void BM_HookAndUnhook(benchmark::State& state) {
  SCC_Notifier notifier;
  std::vector<std::unique_ptr<SCC_EventHook<int>>> hooks;
  for (int i = 0; i < 10; ++i)
    hooks.push_back(std::make_unique<SCC_EventHook<int>>(&Count, &notifier, long(i)));
  SCC_EventHook<int> hook(&Count, nullptr, 5);
  for (auto _ : state) {
    hook.HookEvent(&notifier);
    hook.Remove();
  }
}
BENCHMARK(BM_HookAndUnhook);

#ifdef BRIXSYS_HAVE_BOOST
void BM_BoostSignals2(benchmark::State& state) {
  boost::signals2::signal<void(int, int*)> signal;
  for (int64_t i = 0; i < state.range(0); ++i) signal.connect(&CountVoid);
  int total = 0;
  for (auto _ : state) {
    signal(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerHook(state);
}
BENCHMARK(BM_BoostSignals2)->Arg(1)->Arg(10)->Arg(100);

void BM_BoostSignals2ConnectDisconnect(benchmark::State& state) {
  boost::signals2::signal<void(int, int*)> signal;
  for (int i = 0; i < 10; ++i) signal.connect(&CountVoid);
  for (auto _ : state) signal.connect(&CountVoid).disconnect();
}
BENCHMARK(BM_BoostSignals2ConnectDisconnect);
#endif

#ifdef BRIXSYS_HAVE_SIGCXX
void BM_Sigcxx3(benchmark::State& state) {
  sigc::signal<void(int, int*)> signal;
  for (int64_t i = 0; i < state.range(0); ++i) signal.connect(sigc::ptr_fun(&CountVoid));
  int total = 0;
  for (auto _ : state) {
    signal.emit(1, &total);
    benchmark::DoNotOptimize(total);
  }
  ReportPerHook(state);
}
BENCHMARK(BM_Sigcxx3)->Arg(1)->Arg(10)->Arg(100);

void BM_Sigcxx3ConnectDisconnect(benchmark::State& state) {
  sigc::signal<void(int, int*)> signal;
  for (int i = 0; i < 10; ++i) signal.connect(sigc::ptr_fun(&CountVoid));
  for (auto _ : state) signal.connect(sigc::ptr_fun(&CountVoid)).disconnect();
}
BENCHMARK(BM_Sigcxx3ConnectDisconnect);
#endif

}  // namespace
