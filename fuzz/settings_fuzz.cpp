// settings_fuzz.cpp - feeds arbitrary bytes, as a settings file, to the INI reader and
// to the writer that rewrites the file around one changed value.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "../system/platform/settings_posix.h"

namespace {

std::string ScratchFile() {
  // A memory file system keeps the writer's fsync from dominating the run.
  char shm[] = "/dev/shm/brix-settings-XXXXXX";
  char tmp[] = "/tmp/brix-settings-XXXXXX";
  const char* dir = mkdtemp(shm);
  if (!dir) dir = mkdtemp(tmp);
  if (!dir) std::abort();
  return std::string(dir) + "/fuzz.ini";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string file = ScratchFile();
  std::FILE* f = std::fopen(file.c_str(), "wb");
  if (!f) std::abort();
  if (size) std::fwrite(data, 1, size, f);
  std::fclose(f);

  std::string value;
  (void)brix::settings::ReadValue(file.c_str(), "general", "editor", value);
  (void)brix::settings::ReadValue(file.c_str(), "", "", value);

  // Whatever the old content, a written value reads back as written.
  if (!brix::settings::WriteValue(file.c_str(), "general", "editor", "vi -R")) std::abort();
  if (!brix::settings::ReadValue(file.c_str(), "general", "editor", value) || value != "vi -R")
    std::abort();
  if (!brix::settings::WriteValue(file.c_str(), "general", "editor", nullptr)) std::abort();
  if (brix::settings::ReadValue(file.c_str(), "general", "editor", value)) std::abort();
  return 0;
}
