// units_bench.cpp - SYS_Convert parsing and formatting against strtod and snprintf on the
// same texts and values.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "sysunits.h"

namespace {

constexpr int kCount = 4096;

// Coordinates spread over the board, as a user types them in mils.
const std::vector<long>& Values() {
  static const std::vector<long> values = [] {
    std::mt19937 rng(3);
    std::uniform_int_distribution<long> coord(-SYS_CoordLimit, SYS_CoordLimit);
    std::vector<long> v(kCount);
    for (long& x : v) x = coord(rng);
    return v;
  }();
  return values;
}

const std::vector<std::string>& Texts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> t;
    char buf[64];
    for (long v : Values()) {
      std::snprintf(buf, sizeof buf, "%.2f", v / 38100.0);
      t.emplace_back(buf);
    }
    return t;
  }();
  return texts;
}

void BM_Str2Base(benchmark::State& state) {
  const SYS_Convert conv;
  const auto& texts = Texts();
  std::size_t i = 0;
  for (auto _ : state) {
    long v;
    benchmark::DoNotOptimize(conv.Str2Base(texts[i].c_str(), &v));
    benchmark::DoNotOptimize(v);
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_Str2Base);

// The bare C-library parse the converter wraps: strtod and the whole-text test.
void BM_Strtod(benchmark::State& state) {
  const auto& texts = Texts();
  std::size_t i = 0;
  for (auto _ : state) {
    char* end;
    const double d = std::strtod(texts[i].c_str(), &end);
    benchmark::DoNotOptimize(d);
    benchmark::DoNotOptimize(*end == '\0');
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_Strtod);

void BM_Base2StrBuffer(benchmark::State& state) {
  const SYS_Convert conv;
  const auto& values = Values();
  char buf[SYS_Convert::TextSize];
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(conv.Base2Str(buf, values[i]));
    benchmark::ClobberMemory();
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_Base2StrBuffer);

void BM_Base2StrString(benchmark::State& state) {
  const SYS_Convert conv;
  const auto& values = Values();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(conv.Base2Str(values[i]));
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_Base2StrString);

// The printf formatting the converter's texts equal, without trimming.
void BM_Snprintf(benchmark::State& state) {
  const auto& values = Values();
  char buf[SYS_Convert::TextSize];
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%.*f", 2, values[i] / 38100.0));
    benchmark::ClobberMemory();
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_Snprintf);

}  // namespace
