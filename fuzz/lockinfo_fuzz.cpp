// lockinfo_fuzz.cpp - feeds arbitrary bytes, as the lock-information file of a
// project, to the reader that names the lock's holder.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "sfmproject.h"

namespace {

std::string ScratchDir() {
  char templ[] = "/tmp/brix-lockinfo-XXXXXX";
  const char* dir = mkdtemp(templ);
  if (!dir) std::abort();
  return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string dir = ScratchDir();
  // The holder of the last project asked about is cached: alternate two projects.
  static int turn = 0;
  turn ^= 1;
  const std::string project = dir + (turn ? "/a.pcb" : "/b.pcb");
  const std::string info = std::string(SFM_ProjectFile::CreateTempFilePath(project.c_str()));

  std::FILE* f = std::fopen(info.c_str(), "wb");
  if (!f) std::abort();
  if (size) std::fwrite(data, 1, size, f);
  std::fclose(f);

  const SYS_String user = SFM_ProjectFile::GetUserName(project.c_str());
  const SYS_String computer = SFM_ProjectFile::GetComputerName(project.c_str());
  if (user.GetLength() > static_cast<int>(size) || computer.GetLength() > static_cast<int>(size))
    std::abort();
  std::remove(info.c_str());
  return 0;
}
