// project_bench.cpp - the cost of the share-mode emulation and the project lock against bare
// open/close.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "../system/platform/share_posix.h"
#include "sfmproject.h"

namespace {

// One scratch project for the whole run, removed at exit.
const std::string& ProjectPath() {
  static const std::string path = [] {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "brixprojbench-XXXXXX").string();
    const std::string dir = mkdtemp(pattern.data());
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(std::filesystem::path(ProjectPath()).parent_path(), ignored);
    });
    std::ofstream(dir + "/board.pcb") << std::string(4096, 'x');
    return dir + "/board.pcb";
  }();
  return path;
}

void BM_BareOpenClose(benchmark::State& state) {
  const char* path = ProjectPath().c_str();
  for (auto _ : state) {
    const int fd = open(path, O_RDWR | O_CLOEXEC);
    benchmark::DoNotOptimize(fd);
    close(fd);
  }
}
BENCHMARK(BM_BareOpenClose);

// A shared read handle: read access, others may read and write.
void BM_ShareOpenReadShared(benchmark::State& state) {
  const char* path = ProjectPath().c_str();
  for (auto _ : state) {
    const int fd = brix::share::Open(path, brix::share::kAccessRead,
                                     brix::share::kShareRead | brix::share::kShareWrite,
                                     brix::share::kOpenExisting);
    benchmark::DoNotOptimize(fd);
    brix::share::Close(fd);
  }
}
BENCHMARK(BM_ShareOpenReadShared);

// The open of a write lock alone: read and write access, others may read.
void BM_ShareOpenWriteLock(benchmark::State& state) {
  const char* path = ProjectPath().c_str();
  for (auto _ : state) {
    const int fd = brix::share::Open(path, brix::share::kAccessRead | brix::share::kAccessWrite,
                                     brix::share::kShareRead, brix::share::kOpenAlways);
    benchmark::DoNotOptimize(fd);
    brix::share::Close(fd);
  }
}
BENCHMARK(BM_ShareOpenWriteLock);

// Taking and releasing the project's write lock, lock-information file included.
void BM_ProjectWriteLockAndUnlock(benchmark::State& state) {
  const char* path = ProjectPath().c_str();
  for (auto _ : state) {
    benchmark::DoNotOptimize(SFM_ProjectFile::TryLockProjectFile(path));
    SFM_ProjectFile::SetNewFileName("");
  }
}
BENCHMARK(BM_ProjectWriteLockAndUnlock);

// A writing accessor: the upgrade to the exclusive lock and the downgrade after it.
void BM_ProjectWriterUpgrade(benchmark::State& state) {
  SFM_ProjectFile::TryLockProjectFile(ProjectPath().c_str());
  for (auto _ : state) {
    SFM_ProjectFile writer(1, "");
    benchmark::DoNotOptimize(writer.IsValid());
  }
  SFM_ProjectFile::SetNewFileName("");
}
BENCHMARK(BM_ProjectWriterUpgrade);

}  // namespace
