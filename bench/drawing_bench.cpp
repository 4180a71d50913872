// drawing_bench.cpp - recording words into a drawing against std::vector, and replaying
// recorded commands into a recording draw area.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "uidrawing.h"

namespace {

constexpr std::size_t kWords = 10'000'000;
constexpr int kCommands = 1'000'000;

void BM_DrawingAppendWords(benchmark::State& state) {
  for (auto _ : state) {
    CDynamic d;
    for (std::size_t i = 0; i < kWords; ++i) d.Append(static_cast<std::uint32_t>(i));
    benchmark::DoNotOptimize(d.GetWords());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kWords));
}
BENCHMARK(BM_DrawingAppendWords)->Unit(benchmark::kMillisecond);

// The same with one listener on the change event, raised after every word.
int CountRaise(int, int* count) {
  benchmark::DoNotOptimize(*count);
  return 0;
}
void BM_DrawingAppendWordsHooked(benchmark::State& state) {
  for (auto _ : state) {
    CDynamic d;
    SCC_EventHook<int> hook(CountRaise, d.GetChangeEvent());
    for (std::size_t i = 0; i < kWords; ++i) d.Append(static_cast<std::uint32_t>(i));
    benchmark::DoNotOptimize(d.GetWords());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kWords));
}
BENCHMARK(BM_DrawingAppendWordsHooked)->Unit(benchmark::kMillisecond);

void BM_VectorPushBackWords(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::uint32_t> v;
    for (std::size_t i = 0; i < kWords; ++i) v.push_back(static_cast<std::uint32_t>(i));
    benchmark::DoNotOptimize(v.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kWords));
}
BENCHMARK(BM_VectorPushBackWords)->Unit(benchmark::kMillisecond);

// A board-like mix of a million commands: moves, lines, pens, polylines, boxes, text.
const CDynamic& RecordedBoard() {
  static CDynamic d;
  if (d.GetCount()) return d;
  UI_DrawArea a;
  a.AttachDrawing(&d);
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> coord(-100000000, 100000000);
  SYS_Point pts[4];
  for (int i = 0; i < kCommands; ++i) {
    switch (i % 8) {
      case 0: a.PenColor(i % 16); break;
      case 1: a.MoveTo(SYS_Point(coord(rng), coord(rng))); break;
      case 2: a.LineTo(SYS_Point(coord(rng), coord(rng)), 3); break;
      case 3: a.DrawLine(SYS_Point(coord(rng), coord(rng)), SYS_Point(coord(rng), coord(rng)), 5000, 2); break;
      case 4:
        for (SYS_Point& p : pts) p = SYS_Point(coord(rng), coord(rng));
        a.PolyLine(4, pts, 2000, 1);
        break;
      case 5: a.DrawFilledBox(SYS_Box(coord(rng), coord(rng), coord(rng), coord(rng)), 4); break;
      case 6: a.PaintOval(20000L, 20000L, 5); break;
      default: a.DrawString("R12"); break;
    }
  }
  return d;
}

void BM_DrawingReplayCommands(benchmark::State& state) {
  const CDynamic& board = RecordedBoard();
  for (auto _ : state) {
    CDynamic copy;
    UI_DrawArea recorder;
    recorder.AttachDrawing(&copy);
    const UI_PlayResult r = board.Play(recorder);
    benchmark::DoNotOptimize(r.played);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kCommands);
  state.counters["commands/s"] =
      benchmark::Counter(static_cast<double>(kCommands), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_DrawingReplayCommands)->Unit(benchmark::kMillisecond);

// The floor: copying the same words with std::vector push_back, no decoding.
void BM_VectorCopyRecordedWords(benchmark::State& state) {
  const CDynamic& board = RecordedBoard();
  for (auto _ : state) {
    std::vector<std::uint32_t> v;
    for (std::size_t i = 0; i < board.GetCount(); ++i) v.push_back(board.GetWords()[i]);
    benchmark::DoNotOptimize(v.data());
  }
  state.counters["commands/s"] =
      benchmark::Counter(static_cast<double>(kCommands), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_VectorCopyRecordedWords)->Unit(benchmark::kMillisecond);

}  // namespace
