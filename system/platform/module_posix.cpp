// module_posix.cpp - shared objects through dladdr, dlinfo and dlopen.
#include "platform/module_posix.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>

namespace brix::module {
namespace {

std::string ExecutablePath() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  return n > 0 ? std::string(path, static_cast<size_t>(n)) : std::string();
}

// The base of the executable, told apart from libraries because the loader
// reports the executable under the name it was started by, not its path.
void* ExecutableBase() {
  void* self = dlopen(nullptr, RTLD_LAZY);
  struct link_map* map = nullptr;
  void* base = nullptr;
  Dl_info info;
  if (self && dlinfo(self, RTLD_DI_LINKMAP, &map) == 0 && map && map->l_ld &&
      dladdr(map->l_ld, &info) != 0)
    base = info.dli_fbase;
  if (self) dlclose(self);
  return base;
}

}  // namespace

std::string FileName(const void* address) {
  if (!address) return ExecutablePath();
  Dl_info info;
  if (dladdr(address, &info) == 0 || !info.dli_fname) return std::string();
  if (info.dli_fbase == ExecutableBase() || !*info.dli_fname) return ExecutablePath();
  return info.dli_fname;
}

void* BaseOf(const void* address) {
  Dl_info info;
  if (!address || dladdr(address, &info) == 0) return nullptr;
  return info.dli_fbase;
}

void* Load(const char* path) {
  return path && *path ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

void* BaseOfHandle(void* handle) {
  struct link_map* map = nullptr;
  if (!handle || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map || !map->l_ld) return nullptr;
  return BaseOf(map->l_ld);
}

void* Symbol(void* handle, const char* name) { return handle ? dlsym(handle, name) : nullptr; }

void Unload(void* handle) {
  if (handle) dlclose(handle);
}

}  // namespace brix::module
