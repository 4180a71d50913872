// temp_files.h - a temporary directory of the test's own and whole-file reads and writes.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// A fresh directory with an unguessable name, removed with everything in it afterwards.
struct TempDir {
  std::string path = [] {
    std::string p = (std::filesystem::temp_directory_path() / "brixtest-XXXXXX").string();
    return std::string(::mkdtemp(p.data()));
  }();
  TempDir() = default;
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

// A file's bytes; "" when it cannot be read.
inline std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void Spit(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
