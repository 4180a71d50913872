// file_bench.cpp - SFM_File line and typed reading against the same reads through raw stdio.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "sfmfile.h"

namespace {

constexpr int kLines = 200000;  // about 14 MB of text
constexpr int kInts = 4 << 20;  // 16 MB of binary data

// Test files made once per run in the temporary directory and removed at exit.
struct Files {
  std::string text, binary;
  long long textBytes = 0;
  Files() {
    const char* tmp = std::getenv("TMPDIR");
    std::string base =
        std::string(tmp && *tmp ? tmp : "/tmp") + "/brixfilebench-" + std::to_string(::getpid());
    text = base + ".txt";
    binary = base + ".bin";
    std::mt19937 rng(42);
    std::FILE* t = std::fopen(text.c_str(), "w");
    for (int i = 0; i < kLines; ++i) {
      std::string line(20 + rng() % 100, 'a' + static_cast<char>(i % 26));
      textBytes += static_cast<long long>(line.size()) + 1;
      std::fprintf(t, "%s\n", line.c_str());
    }
    std::fclose(t);
    std::FILE* b = std::fopen(binary.c_str(), "wb");
    for (int i = 0; i < kInts; ++i) {
      int v = static_cast<int>(rng());
      std::fwrite(&v, sizeof v, 1, b);
    }
    std::fclose(b);
  }
  ~Files() {
    std::remove(text.c_str());
    std::remove(binary.c_str());
  }
};

const Files& TheFiles() {
  static Files files;
  return files;
}

void BM_SFMFile_GetLine(benchmark::State& state) {
  const Files& files = TheFiles();
  for (auto _ : state) {
    SFM_File f(files.text.c_str(), "r");
    long lines = 0;
    while (!f.GetLine(0).IsEmpty()) ++lines;
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(state.iterations() * files.textBytes);
}
BENCHMARK(BM_SFMFile_GetLine)->Unit(benchmark::kMillisecond);

void BM_Stdio_Fgets(benchmark::State& state) {
  const Files& files = TheFiles();
  char buffer[511];
  for (auto _ : state) {
    std::FILE* f = std::fopen(files.text.c_str(), "r");
    long lines = 0;
    while (std::fgets(buffer, sizeof buffer, f)) ++lines;
    std::fclose(f);
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(state.iterations() * files.textBytes);
}
BENCHMARK(BM_Stdio_Fgets)->Unit(benchmark::kMillisecond);

// The same work GetLine does: each line handed back as a string of its own.
void BM_Stdio_FgetsString(benchmark::State& state) {
  const Files& files = TheFiles();
  char buffer[511];
  for (auto _ : state) {
    std::FILE* f = std::fopen(files.text.c_str(), "r");
    long lines = 0;
    while (std::fgets(buffer, sizeof buffer, f)) {
      const std::string line(buffer);
      benchmark::DoNotOptimize(line.data());
      ++lines;
    }
    std::fclose(f);
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(state.iterations() * files.textBytes);
}
BENCHMARK(BM_Stdio_FgetsString)->Unit(benchmark::kMillisecond);

void BM_SFMFile_GetInt(benchmark::State& state) {
  const Files& files = TheFiles();
  const int reverse = static_cast<int>(state.range(0));
  for (auto _ : state) {
    SFM_File f(files.binary.c_str(), "rb");
    unsigned sum = 0;
    int v = 0;
    for (int i = 0; i < kInts; ++i) sum += static_cast<unsigned>(f.Get(v, reverse));
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kInts);
}
BENCHMARK(BM_SFMFile_GetInt)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Stdio_FreadInt(benchmark::State& state) {
  const Files& files = TheFiles();
  for (auto _ : state) {
    std::FILE* f = std::fopen(files.binary.c_str(), "rb");
    unsigned sum = 0;
    int v = 0;
    for (int i = 0; i < kInts; ++i) {
      if (std::fread(&v, sizeof v, 1, f) != 1) v = 0;
      sum += static_cast<unsigned>(v);
    }
    std::fclose(f);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kInts);
}
BENCHMARK(BM_Stdio_FreadInt)->Unit(benchmark::kMillisecond);

}  // namespace
