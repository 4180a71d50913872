// sfmlocale_module.cpp - finding and loading the per-language resource modules beside a module.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/module_posix.h"
#include "sfm/sfmstrtab.h"
#include "sfmlocale.h"

namespace {

/// What a resource module exports: its text for `id`, or null.
using StringFunction = const char* (*)(int id);
constexpr const char* kStringFunction = "BrixResourceString";

// Where the extension of a module name starts: ".so" followed by nothing or by
// version numbers only, else the last ".", else the end of the name.
size_t ExtensionStart(const std::string& name) {
  for (size_t at = name.rfind(".so"); at != std::string::npos;
       at = at == 0 ? std::string::npos : name.rfind(".so", at - 1)) {
    size_t i = at + 3;
    bool versions = true;
    while (versions && i < name.size()) {
      size_t digits = i + 1;
      while (digits < name.size() && name[digits] >= '0' && name[digits] <= '9') ++digits;
      versions = name[i] == '.' && digits > i + 1;
      i = digits;
    }
    if (versions) return at;
  }
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? name.size() : dot;
}

bool Exists(const char* path) {
  struct stat st;
  return stat(path, &st) == 0;
}

void CopyText(const char* text, char* buffer, unsigned long size) {
  if (!buffer || size == 0) return;
  const size_t n = std::min<size_t>(std::strlen(text), size - 1);
  std::memcpy(buffer, text, n);
  buffer[n] = '\0';
}

// Puts the companion into `buffer` when it fits; true when it fits and exists.
bool TryCompanion(const std::string& module, const char* language, char* buffer, unsigned long size,
                  const char* suffix, int stripDebugD) {
  const SYS_String path = GetCompanionPath(module.c_str(), language, suffix, stripDebugD);
  if (static_cast<unsigned long>(path.GetLength()) >= size) {
    errno = ERANGE;
    return false;
  }
  CopyText(path, buffer, size);
  return Exists(buffer);
}

struct LoadedModule {
  void* base;
  void* handle;
  StringFunction strings;  // null for a module without texts
  int references;
};

struct LoadedModules {
  std::mutex mutex;
  std::vector<std::unique_ptr<LoadedModule>> modules;
};

LoadedModules& Loaded() {
  static LoadedModules* loaded = new LoadedModules;  // outlives static destructors
  return *loaded;
}

int LookupText(void* context, int id, SYS_String& text) {
  const char* found = static_cast<LoadedModule*>(context)->strings(id);
  if (!found) return 0;
  text = found;
  return 1;
}

}  // namespace

SYS_String GetCompanionPath(const char* modulePath, const char* language, const char* suffix,
                            int stripDebugD) {
  const std::string path = modulePath ? modulePath : "";
  const size_t separator = path.find_last_of("/\\");
  const size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
  const std::string name = path.substr(nameStart);
  size_t cut = ExtensionStart(name);
  // The debug "d" is the one before the extension; a name without one keeps its end.
  if (stripDebugD && cut > 0 && cut < name.size() && (name[cut - 1] == 'd' || name[cut - 1] == 'D'))
    --cut;
  const char sep = separator == std::string::npos ? '/' : path[separator];
  std::string result = path.substr(0, nameStart);
  result += language ? language : "";
  result += sep;
  result += name.substr(0, cut);
  result += suffix ? suffix : "";
  return SYS_String(std::string_view(result));
}

int GetLocalizedFileName(HINSTANCE module, char* buffer, unsigned long size, const char* suffix,
                         int stripDebugD) {
  char language[10];
  if (GetLocaleStr(language, sizeof language) != 0) return 0;
  if (!buffer) {
    errno = EINVAL;
    return 0;
  }
  // POSIX has no short names: the loader's path is the long form already.
  const std::string path = brix::module::FileName(module);
  if (path.empty()) return 0;
  if (path.size() >= size || std::strlen(suffix ? suffix : "") + path.size() + 3 > size) {
    errno = ERANGE;
    return 0;
  }
  if (TryCompanion(path, language, buffer, size, suffix, stripDebugD)) return 1;
  return TryCompanion(path, kDefaultLanguage, buffer, size, suffix, stripDebugD) ? 1 : 0;
}

void GetRealLocaleStr(HINSTANCE module, char* buffer, unsigned long size) {
  char language[4] = {};
  bool keep = false;
  if (GetLocaleStr(language, sizeof language) == 0) {
    const std::string path = brix::module::FileName(module);
    // A module whose file cannot be told keeps the language: nothing says it
    // lacks the resources.
    keep =
        path.empty() || Exists(GetCompanionPath(path.c_str(), language, kResourceModuleSuffix, 1));
  }
  CopyText(keep ? language : kDefaultLanguage, buffer, size);
}

HINSTANCE LoadResourceDllByModule(HINSTANCE module, int stripDebugD) {
  char path[PATH_MAX];
  if (!GetLocalizedFileName(module, path, sizeof path, kResourceModuleSuffix, stripDebugD))
    return nullptr;
  void* handle = brix::module::Load(path);
  if (!handle) return nullptr;
  void* base = brix::module::BaseOfHandle(handle);
  if (!base) {
    brix::module::Unload(handle);
    return nullptr;
  }
  LoadedModules& loaded = Loaded();
  std::lock_guard<std::mutex> lock(loaded.mutex);
  for (const auto& entry : loaded.modules) {
    if (entry->base == base) {
      ++entry->references;  // the loader counts this load as well
      return base;
    }
  }
  auto entry = std::make_unique<LoadedModule>();
  entry->base = base;
  entry->handle = handle;
  entry->strings = reinterpret_cast<StringFunction>(brix::module::Symbol(handle, kStringFunction));
  entry->references = 1;
  if (entry->strings) brix::strtab::RegisterLookup(LookupText, entry.get());
  loaded.modules.push_back(std::move(entry));
  return base;
}

void UnloadResourceDll(HINSTANCE module) {
  if (!module) return;
  LoadedModules& loaded = Loaded();
  std::lock_guard<std::mutex> lock(loaded.mutex);
  const auto found = std::find_if(loaded.modules.begin(), loaded.modules.end(),
                                  [module](const auto& entry) { return entry->base == module; });
  if (found == loaded.modules.end()) return;
  LoadedModule& entry = **found;
  void* handle = entry.handle;
  if (--entry.references == 0) {
    // Its texts leave TR before its code goes away.
    if (entry.strings) brix::strtab::UnregisterLookup(LookupText, &entry);
    loaded.modules.erase(found);
  }
  brix::module::Unload(handle);
}
