// msgdb_fuzz.cpp - feeds arbitrary files to the message database indexer, getTxt and Save.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "sfmmsgdb.h"

namespace {

std::string g_dir, g_in, g_out;

void RemoveFiles() {
  unlink(g_in.c_str());
  unlink(g_out.c_str());
  rmdir(g_dir.c_str());
}

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
  FILE* f = fopen(path.c_str(), "wb");
  if (!f) abort();
  if (size && fwrite(data, 1, size, f) != size) abort();
  fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // tmpfs: the saves sync their file, which would make a disk the bottleneck.
  char dir[] = "/dev/shm/msgdb_fuzz_XXXXXX";
  if (!mkdtemp(dir)) abort();
  g_dir = dir;
  g_in = g_dir + "/in.msg";
  g_out = g_dir + "/out.msg";
  atexit(RemoveFiles);
  // The indexer reports rejected lines on standard output; keep the fuzzer's log clean.
  int null = open("/dev/null", O_WRONLY);
  if (null >= 0) dup2(null, STDOUT_FILENO);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  WriteFile(g_in, data, size);
  SFM_MessageDB db(g_in.c_str(), size > 0 && (data[0] & 1));
  if (!db.IsValid()) abort();

  // Keys near the start, plus the bands of a few likely section names.
  long keys[160];
  int n = 0;
  for (long k = -40; k < 40; ++k) keys[n++] = k;
  for (const char* name : {"a", "S", "", "x"}) {
    long base = db.GetSectionBase(name);
    if (base == -1) continue;
    for (long k = -2; k < 18; ++k) keys[n++] = base + k;
    SFM_MessageDB::SectionIterator it(db, name);
    for (int steps = 0; steps < 64 && !it.IsEmpty(); ++steps) it++;
  }

  // A saved copy must index to the same texts.
  if (db.Save(g_out.c_str()) != 1) abort();
  SFM_MessageDB copy(g_out.c_str(), 0);
  for (const char* name : {"a", "S", "", "x"})
    if (copy.GetSectionBase(name) != db.GetSectionBase(name)) abort();
  for (int i = 0; i < n; ++i) {
    SYS_String a = db.getTxt(keys[i]), b = copy.getTxt(keys[i]);
    if (a.GetLength() != b.GetLength() || std::string(a) != std::string(b)) abort();
  }
  return 0;
}
