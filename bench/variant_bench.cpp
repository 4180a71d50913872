// variant_bench.cpp - SCC_Variant conversions and equality against std::variant and direct
// code; a concentrator relay against a direct raise.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <variant>
#include <vector>

#include "sccconcentrator.h"
#include "sccvariant.h"

namespace {

// The same value model in standard types: the index order is the superiority order.
using StdValue = std::variant<long, double, std::string, std::monostate>;

std::string StdText(const StdValue& v) {
  switch (v.index()) {
    case 0:
      return std::to_string(std::get<0>(v));
    case 1: {
      char buf[330];
      int n = std::snprintf(buf, sizeof buf, "%f", std::get<1>(v));
      if (std::memchr(buf, '.', static_cast<std::size_t>(n)))
        while (n > 0 && buf[n - 1] == '0') --n;
      return std::string(buf, static_cast<std::size_t>(n));
    }
    case 2:
      return std::get<2>(v);
    default:
      return std::string();
  }
}

double StdDouble(const StdValue& v) {
  switch (v.index()) {
    case 0:
      return static_cast<double>(std::get<0>(v));
    case 1:
      return std::get<1>(v);
    case 2:
      return std::strtod(std::get<2>(v).c_str(), nullptr);
    default:
      return 0.0;
  }
}

bool StdEqual(const StdValue& a, const StdValue& b) {
  if (a.index() == 3 && b.index() == 3) return true;
  switch (std::max(a.index(), b.index())) {
    case 0:
      return std::get<0>(a) == std::get<0>(b);
    case 1:
      return StdDouble(a) == StdDouble(b);
    case 2:
      return StdText(a) == StdText(b);
    default:
      return false;
  }
}

std::vector<SCC_Variant> MixedVariants() {
  std::vector<SCC_Variant> v;
  for (int i = 0; i < 256; ++i) {
    if (i % 3 == 0)
      v.emplace_back(i % 17);
    else if (i % 3 == 1)
      v.emplace_back((i % 17) * 1.0);
    else
      v.emplace_back(i % 5 ? SCC_Variant(i % 17 * 0.5)
                           : SCC_Variant(std::to_string(i % 17).c_str()));
  }
  return v;
}

std::vector<StdValue> MixedStdValues() {
  std::vector<StdValue> v;
  for (int i = 0; i < 256; ++i) {
    if (i % 3 == 0)
      v.emplace_back(static_cast<long>(i % 17));
    else if (i % 3 == 1)
      v.emplace_back((i % 17) * 1.0);
    else if (i % 5)
      v.emplace_back(i % 17 * 0.5);
    else
      v.emplace_back(std::to_string(i % 17));
  }
  return v;
}

void BM_Variant_EqualMixed(benchmark::State& state) {
  const auto values = MixedVariants();
  std::size_t i = 0;
  for (auto _ : state) {
    const int eq = values[i & 255] == values[(i + 1) & 255];
    benchmark::DoNotOptimize(eq);
    ++i;
  }
}
BENCHMARK(BM_Variant_EqualMixed);

void BM_StdVariant_EqualMixed(benchmark::State& state) {
  const auto values = MixedStdValues();
  std::size_t i = 0;
  for (auto _ : state) {
    const bool eq = StdEqual(values[i & 255], values[(i + 1) & 255]);
    benchmark::DoNotOptimize(eq);
    ++i;
  }
}
BENCHMARK(BM_StdVariant_EqualMixed);

void BM_Variant_EqualLong(benchmark::State& state) {
  const SCC_Variant a(12345), b(12346);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(a == b);
  }
}
BENCHMARK(BM_Variant_EqualLong);

void BM_StdVariant_EqualLong(benchmark::State& state) {
  const StdValue a(12345L), b(12346L);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(a == b);  // the standard operator, same index
  }
}
BENCHMARK(BM_StdVariant_EqualLong);

void BM_Variant_DoubleToText(benchmark::State& state) {
  const SCC_Variant v(1234.5);
  for (auto _ : state) {
    const SYS_String s = v;
    benchmark::DoNotOptimize(s.GetString());
  }
}
BENCHMARK(BM_Variant_DoubleToText);

void BM_Direct_DoubleToText(benchmark::State& state) {
  const StdValue v(1234.5);
  for (auto _ : state) {
    const std::string s = StdText(v);
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_Direct_DoubleToText);

void BM_Variant_TextToLong(benchmark::State& state) {
  const SCC_Variant v("12.75");
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<long>(v));
}
BENCHMARK(BM_Variant_TextToLong);

void BM_Direct_TextToLong(benchmark::State& state) {
  const std::string text("12.75");
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    const double d = std::strtod(text.c_str(), nullptr);
    if (!(d <= 2147483647.0 && d >= -2147483648.0)) std::abort();
    benchmark::DoNotOptimize(static_cast<long>(d));
  }
}
BENCHMARK(BM_Direct_TextToLong);

void BM_Variant_ValidateRange(benchmark::State& state) {
  const SYS_String spec("[ 0 , 100 ]");
  const SCC_Variant v(42.5);
  for (auto _ : state) benchmark::DoNotOptimize(v.Validate(spec, nullptr));
}
BENCHMARK(BM_Variant_ValidateRange);

void BM_Direct_ValidateRange(benchmark::State& state) {
  const std::string spec("[ 0 , 100 ]");
  const double v = 42.5;
  for (auto _ : state) {
    char open, close, lo[32], hi[32];
    int ok = 1;
    if (std::sscanf(spec.c_str(), "%c %31s , %31s %c", &open, lo, hi, &close) == 4)
      ok = v >= std::strtod(lo, nullptr) && v <= std::strtod(hi, nullptr);
    benchmark::DoNotOptimize(ok);
  }
}
BENCHMARK(BM_Direct_ValidateRange);

struct CountingHook : SCC_EventHook<int> {
  long count = 0;
  int OnNotification(int code, int* data) override {
    count += code;
    return 0;
  }
};

void BM_Concentrator_Relay(benchmark::State& state) {
  SCC_Notifier source;
  SCC_EventConcentrator conc;
  conc.HookEvent(&source, 7);
  CountingHook hook;
  hook.HookEvent(&static_cast<SCC_Notifier&>(conc));
  for (auto _ : state) source.Notify(1, nullptr);
  benchmark::DoNotOptimize(hook.count);
}
BENCHMARK(BM_Concentrator_Relay);

void BM_Direct_Raise(benchmark::State& state) {
  SCC_Notifier source;
  CountingHook hook;
  hook.HookEvent(&source);
  for (auto _ : state) source.Notify(1, nullptr);
  benchmark::DoNotOptimize(hook.count);
}
BENCHMARK(BM_Direct_Raise);

// Many sources into one listener: the use the concentrator is for.
void BM_Concentrator_Relay64Sources(benchmark::State& state) {
  std::vector<SCC_Notifier> sources(64);
  SCC_EventConcentrator conc;
  for (std::size_t i = 0; i < sources.size(); ++i)
    conc.HookEvent(&sources[i], static_cast<long>(i));
  CountingHook hook;
  hook.HookEvent(&static_cast<SCC_Notifier&>(conc));
  std::size_t i = 0;
  for (auto _ : state) sources[i++ & 63].Notify(1, nullptr);
  benchmark::DoNotOptimize(hook.count);
}
BENCHMARK(BM_Concentrator_Relay64Sources);

}  // namespace
