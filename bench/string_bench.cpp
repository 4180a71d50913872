// string_bench.cpp - SYS_String against std::string: copying, searching, replacing,
// appending, and the wildcard matcher on an adversarial pattern.
#include <benchmark/benchmark.h>

#include <fnmatch.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "sysstring.h"

namespace {

// 1 KiB of text with the searched word only near the end.
std::string MakeText() {
  std::string text;
  while (text.size() < 1000) text += "lorem ipsum dolor sit amet ";
  text.resize(1000);
  text += "needle";
  text.resize(1024, '.');
  return text;
}

const std::string kText = MakeText();

void BM_CopySys(benchmark::State& state) {
  const SYS_String source(kText.c_str());
  for (auto _ : state) {
    SYS_String copy(source);
    benchmark::DoNotOptimize(copy.GetString());
  }
}
BENCHMARK(BM_CopySys);

void BM_CopyStd(benchmark::State& state) {
  const std::string source(kText);
  for (auto _ : state) {
    std::string copy(source);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(BM_CopyStd);

void BM_FindSys(benchmark::State& state) {
  const SYS_String text(kText.c_str());
  for (auto _ : state) benchmark::DoNotOptimize(text.Find("needle", 0));
}
BENCHMARK(BM_FindSys);

void BM_FindStd(benchmark::State& state) {
  const std::string text(kText);
  for (auto _ : state) benchmark::DoNotOptimize(text.find("needle", 0));
}
BENCHMARK(BM_FindStd);

void BM_FindCharSys(benchmark::State& state) {
  const SYS_String text(kText.c_str());
  for (auto _ : state) benchmark::DoNotOptimize(text.Find('n', 900));
}
BENCHMARK(BM_FindCharSys);

void BM_FindCharStd(benchmark::State& state) {
  const std::string text(kText);
  for (auto _ : state) benchmark::DoNotOptimize(text.find('n', 900));
}
BENCHMARK(BM_FindCharStd);

// Overwriting a range with a text of the same length (no byte moves).
void BM_ReplaceRangeSys(benchmark::State& state) {
  SYS_String text(kText.c_str());
  for (auto _ : state) {
    text.Replace(500, 5, "dolor");
    benchmark::DoNotOptimize(text.GetString());
  }
}
BENCHMARK(BM_ReplaceRangeSys);

void BM_ReplaceRangeStd(benchmark::State& state) {
  std::string text(kText);
  for (auto _ : state) {
    text.replace(500, 5, "dolor");
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_ReplaceRangeStd);

// Replacing a range by a longer text and back: the tail of the text moves each time.
void BM_ReplaceGrowShrinkSys(benchmark::State& state) {
  SYS_String text(kText.c_str());
  for (auto _ : state) {
    text.Replace(100, 5, "a longer piece");
    text.Replace(100, 14, "lorem");
    benchmark::DoNotOptimize(text.GetString());
  }
}
BENCHMARK(BM_ReplaceGrowShrinkSys);

void BM_ReplaceGrowShrinkStd(benchmark::State& state) {
  std::string text(kText);
  for (auto _ : state) {
    text.replace(100, 5, "a longer piece");
    text.replace(100, 14, "lorem");
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_ReplaceGrowShrinkStd);

// Replacing every occurrence of a word in a fresh copy of 1 KiB.
void BM_ReplaceAllSys(benchmark::State& state) {
  const SYS_String source(kText.c_str());
  for (auto _ : state) {
    SYS_String text(source);
    benchmark::DoNotOptimize(text.Replace("ipsum", "IPSUM!"));
  }
}
BENCHMARK(BM_ReplaceAllSys);

void BM_ReplaceAllStd(benchmark::State& state) {
  const std::string source(kText);
  for (auto _ : state) {
    std::string text(source);
    int count = 0;
    for (std::size_t at = text.find("ipsum"); at != std::string::npos;
         at = text.find("ipsum", at + 6), ++count)
      text.replace(at, 5, "IPSUM!");
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(BM_ReplaceAllStd);

void BM_AppendCharSys(benchmark::State& state) {
  for (auto _ : state) {
    SYS_String text;
    for (int i = 0; i < 1000; ++i) text += static_cast<char>('a' + (i & 15));
    benchmark::DoNotOptimize(text.GetString());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_AppendCharSys);

void BM_AppendCharStd(benchmark::State& state) {
  for (auto _ : state) {
    std::string text;
    for (int i = 0; i < 1000; ++i) text += static_cast<char>('a' + (i & 15));
    benchmark::DoNotOptimize(text.data());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_AppendCharStd);

void BM_AppendTextSys(benchmark::State& state) {
  for (auto _ : state) {
    SYS_String text;
    for (int i = 0; i < 100; ++i) text << "word " << i << ',';
    benchmark::DoNotOptimize(text.GetString());
  }
}
BENCHMARK(BM_AppendTextSys);

void BM_AppendTextStd(benchmark::State& state) {
  for (auto _ : state) {
    std::string text;
    for (int i = 0; i < 100; ++i) {
      char digits[16];
      text += "word ";
      text.append(digits, std::to_chars(digits, digits + sizeof digits, i).ptr);
      text += ',';
    }
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_AppendTextStd);

// "*a*a*a*a*a*a*a*a*a*b" against 10,000 "a"s: exponential for a naive backtracker.
void BM_MatchAdversarial(benchmark::State& state) {
  const SYS_String text('a', static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(text.Match("*a*a*a*a*a*a*a*a*a*b"));
}
BENCHMARK(BM_MatchAdversarial)->Arg(10000)->Unit(benchmark::kMicrosecond);

// The same with a class after the last star, so no byte can be searched for and
// every position is tried: the general quadratic bound.
void BM_MatchAdversarialClass(benchmark::State& state) {
  const SYS_String text('a', static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(text.Match("*a*a*a*a*a*a*a*a*a*[b]"));
}
BENCHMARK(BM_MatchAdversarialClass)->Arg(10000)->Unit(benchmark::kMicrosecond);

// The C library's matcher on the same input, for scale.
void BM_MatchAdversarialFnmatch(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'a');
  for (auto _ : state) benchmark::DoNotOptimize(fnmatch("*a*a*a*a*a*a*a*a*a*b", text.c_str(), 0));
}
BENCHMARK(BM_MatchAdversarialFnmatch)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_MatchFileNameFnmatch(benchmark::State& state) {
  const std::string text("board_revision_12_final.pcbdoc");
  for (auto _ : state) benchmark::DoNotOptimize(fnmatch("*_[0-9][0-9]_*.pcb*", text.c_str(), 0));
}
BENCHMARK(BM_MatchFileNameFnmatch);

void BM_MatchFileName(benchmark::State& state) {
  const SYS_String text("board_revision_12_final.pcbdoc");
  for (auto _ : state) benchmark::DoNotOptimize(text.Match("*_[0-9][0-9]_*.pcb*"));
}
BENCHMARK(BM_MatchFileName);

}  // namespace

// ---- Numbers in text: the library's locale-independent reader against the C library's ----

const std::vector<std::string>& NumberTexts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> t;
    for (int i = 0; i < 1000; ++i)
      t.push_back(std::to_string(i * 37 % 1000) + "." + std::to_string(i * 7919 % 100000) +
                  (i % 4 == 0 ? "e-3" : ""));
    return t;
  }();
  return texts;
}

void BM_ReadDoubleGetdouble(benchmark::State& state) {
  const auto& texts = NumberTexts();
  for (auto _ : state) {
    double sum = 0;
    for (const std::string& t : texts) {
      double d = 0;
      getdouble(t.c_str(), &d);
      sum += d;
    }
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_ReadDoubleGetdouble);

void BM_ReadDoubleStrtod(benchmark::State& state) {
  const auto& texts = NumberTexts();
  for (auto _ : state) {
    double sum = 0;
    for (const std::string& t : texts) sum += std::strtod(t.c_str(), nullptr);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_ReadDoubleStrtod);

void BM_ReadDoubleFromChars(benchmark::State& state) {
  const auto& texts = NumberTexts();
  for (auto _ : state) {
    double sum = 0;
    for (const std::string& t : texts) {
      double d = 0;
      std::from_chars(t.data(), t.data() + t.size(), d);
      sum += d;
    }
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_ReadDoubleFromChars);

void BM_FormatDoubleSys(benchmark::State& state) {
  for (auto _ : state) {
    SYS_String s = FormattedString("%.3f", 1234.5678);
    benchmark::DoNotOptimize(s.GetString());
  }
}
BENCHMARK(BM_FormatDoubleSys);

void BM_FormatDoubleSnprintf(benchmark::State& state) {
  for (auto _ : state) {
    char buf[64];
    const int n = std::snprintf(buf, sizeof buf, "%.3f", 1234.5678);
    std::string s(buf, static_cast<std::size_t>(n));
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_FormatDoubleSnprintf);
