// msgdb_bench.cpp - indexing a large message file and random getTxt, against plain stdio.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "sfmmsgdb.h"

namespace {

constexpr int kPerSection = 1000;

// A generated file of about 50 MB: sections of kPerSection messages with texts of
// varied length, a comment now and then. Made once per process.
struct MessageFile {
  std::string path;
  std::vector<long> keys;                             // every message key
  std::vector<std::pair<long, long>> offsetsLengths;  // of the same texts, raw
  long long bytes = 0;

  MessageFile() {
    path = "/tmp/msgdb_bench_" + std::to_string(getpid()) + ".msg";
    FILE* f = fopen(path.c_str(), "wb");
    std::mt19937 rng(7);
    long long at = 0;
    long highest = 0;
    for (int section = 0; at < 50LL * 1000 * 1000; ++section) {
      at += fprintf(f, "[Section%d]\n", section);
      long base = highest + 2;
      highest = base;
      for (int n = 1; n <= kPerSection; ++n) {
        if (n % 50 == 0) at += fprintf(f, "; group %d\n", n / 50);
        char text[128];
        int len = snprintf(text, sizeof text, "Message %d of section %d: %.*s", n, section,
                           int(rng() % 60),
                           "the quick brown fox jumps over the lazy dog again and again");
        int head = fprintf(f, "%d:", n);
        fwrite(text, 1, size_t(len), f);
        fputc('\n', f);
        keys.push_back(base + n);
        offsetsLengths.emplace_back(long(at + head), long(len));
        at += head + len + 1;
        highest = base + n;
      }
    }
    fclose(f);
    bytes = at;
  }
  ~MessageFile() { unlink(path.c_str()); }
};

MessageFile& File() {
  static MessageFile file;
  return file;
}

void BM_IndexMessageFile(benchmark::State& state) {
  MessageFile& file = File();
  for (auto _ : state) {
    SFM_MessageDB db(file.path.c_str(), 0);
    benchmark::DoNotOptimize(db.IsValid());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * file.bytes);
}
BENCHMARK(BM_IndexMessageFile)->Unit(benchmark::kMillisecond);

void BM_FgetsLoop(benchmark::State& state) {
  MessageFile& file = File();
  for (auto _ : state) {
    FILE* f = fopen(file.path.c_str(), "r");
    char line[4096];
    long lines = 0;
    while (fgets(line, sizeof line, f)) ++lines;
    fclose(f);
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * file.bytes);
}
BENCHMARK(BM_FgetsLoop)->Unit(benchmark::kMillisecond);

constexpr int kLookups = 1000000;

std::vector<size_t> RandomPicks() {
  std::mt19937 rng(11);
  std::vector<size_t> picks(kLookups);
  for (size_t& p : picks) p = rng() % File().keys.size();
  return picks;
}

void BM_GetTxtRandom(benchmark::State& state) {
  MessageFile& file = File();
  SFM_MessageDB db(file.path.c_str(), 0);
  std::vector<size_t> picks = RandomPicks();
  for (auto _ : state) {
    long total = 0;
    for (size_t p : picks) total += db.getTxt(file.keys[p]).GetLength();
    benchmark::DoNotOptimize(total);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kLookups);
}
BENCHMARK(BM_GetTxtRandom)->Unit(benchmark::kMillisecond);

void BM_FseekFreadRandom(benchmark::State& state) {
  MessageFile& file = File();
  FILE* f = fopen(file.path.c_str(), "r");
  std::vector<size_t> picks = RandomPicks();
  for (auto _ : state) {
    long total = 0;
    char text[256];
    for (size_t p : picks) {
      auto [offset, length] = file.offsetsLengths[p];
      fseek(f, offset, SEEK_SET);
      total += long(fread(text, 1, size_t(length), f));
    }
    benchmark::DoNotOptimize(total);
  }
  fclose(f);
  state.SetItemsProcessed(int64_t(state.iterations()) * kLookups);
}
BENCHMARK(BM_FseekFreadRandom)->Unit(benchmark::kMillisecond);

// The same work getTxt does: find the key's place in a table, read the text there and
// hand it back as a string of its own.
void BM_MapFseekFreadRandom(benchmark::State& state) {
  MessageFile& file = File();
  std::unordered_map<long, std::pair<long, long>> places;
  for (size_t i = 0; i < file.keys.size(); ++i) places[file.keys[i]] = file.offsetsLengths[i];
  FILE* f = fopen(file.path.c_str(), "r");
  std::vector<size_t> picks = RandomPicks();
  for (auto _ : state) {
    long total = 0;
    for (size_t p : picks) {
      auto found = places.find(file.keys[p]);
      if (found == places.end()) continue;
      auto [offset, length] = found->second;
      std::string text(size_t(length), '\0');
      fseek(f, offset, SEEK_SET);
      text.resize(fread(text.data(), 1, size_t(length), f));
      total += long(text.size());
    }
    benchmark::DoNotOptimize(total);
  }
  fclose(f);
  state.SetItemsProcessed(int64_t(state.iterations()) * kLookups);
}
BENCHMARK(BM_MapFseekFreadRandom)->Unit(benchmark::kMillisecond);

}  // namespace
