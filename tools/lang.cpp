// lang.cpp - brixsys lang: the user-interface language, its setting and the resource modules.
#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/settings_posix.h"
#include "sfmlocale.h"
#include "sfmmsgdb.h"
#include "toolmain.h"

namespace brixtool {

const char kLangUsage[] =
    "usage: brixsys lang [show]\n"
    "       brixsys lang set LANGUAGE\n"
    "       brixsys lang list\n"
    "\n"
    "  show  the language stored for the user (the environment's is stored when\n"
    "        none is), the language in force (the stored one when the library has a\n"
    "        resource module for it, else ENU), its code page and a text in it\n"
    "  set   stores LANGUAGE, three letters such as DEU, for the user\n"
    "  list  the resource modules found beside the library, one per language\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 usage error.\n";

}  // namespace brixtool

namespace {

using brixtool::Fail;
using brixtool::kExitFailed;
using brixtool::kExitOk;
using brixtool::UsageError;

constexpr const char* kLanguageValue = "LangID";
// A text every resource module carries: the name of the millimetre.
constexpr int kSampleText = 45105;

// The library's file and its module handle (its base address), as the locale functions
// take it.
struct LibraryModule {
  std::string path;
  HINSTANCE handle = nullptr;
};

LibraryModule Library() {
  Dl_info info = {};
  if (!dladdr(reinterpret_cast<void*>(&GetLocaleStr), &info) || !info.dli_fname) return {};
  return {info.dli_fname, info.dli_fbase};
}

bool IsFile(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Every language directory beside the library holding its resource module, sorted.
std::vector<std::pair<std::string, std::string>> ResourceModules(const std::string& library) {
  std::vector<std::pair<std::string, std::string>> found;
  const std::string dir = library.substr(0, library.rfind('/') + 1);
  DIR* d = opendir(dir.empty() ? "." : dir.c_str());
  if (!d) return found;
  while (const dirent* e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    const SYS_String companion =
        GetCompanionPath(library.c_str(), e->d_name, kResourceModuleSuffix, 0);
    if (IsFile(companion.GetString())) found.emplace_back(e->d_name, companion.GetString());
  }
  closedir(d);
  std::sort(found.begin(), found.end());
  return found;
}

int Show() {
  const LibraryModule library = Library();
  char stored[16] = {};
  const long error = GetLocaleStr(stored, sizeof stored);
  if (error != 0)
    brixtool::Note("cannot keep the language setting: " + std::string(strerror(int(error))));
  char inForce[16] = {};
  GetRealLocaleStr(library.handle, inForce, sizeof inForce);
  printf("language: %s (setting %s in %s)\n", stored, kLanguageValue,
         brix::settings::SettingsPath(brix::settings::kUserValuesFile).c_str());
  const SYS_String module =
      GetCompanionPath(library.path.c_str(), inForce, kResourceModuleSuffix, 0);
  printf("in force: %s (%s)\n", inForce,
         IsFile(module.GetString()) ? module.GetString() : "built-in texts");
  printf("code page: %u\n", GetCodePageByLocaleString(inForce));
  printf("text %d: %s\n", kSampleText, TR(kSampleText).GetString());
  return kExitOk;
}

int Set(const std::string& text) {
  std::string language = text;
  if (language.size() != 3 ||
      !std::all_of(language.begin(), language.end(), [](char c) { return isalpha((unsigned char)c); }))
    return UsageError("bad language \"" + text + "\": want three letters, such as DEU");
  std::transform(language.begin(), language.end(), language.begin(),
                 [](char c) { return char(toupper((unsigned char)c)); });
  errno = 0;
  if (!brix::settings::WriteUserValue(brix::settings::kApplicationKey, kLanguageValue,
                                      language.c_str()))
    return Fail("cannot store the language" + brixtool::ErrnoReason());
  printf("language: %s\n", language.c_str());
  const LibraryModule library = Library();
  const SYS_String module =
      GetCompanionPath(library.path.c_str(), language.c_str(), kResourceModuleSuffix, 0);
  if (!IsFile(module.GetString()))
    brixtool::Note("no resource module for " + language + " beside the library (" +
                   module.GetString() + "); texts stay in " + kDefaultLanguage);
  return kExitOk;
}

int List() {
  const LibraryModule library = Library();
  if (library.path.empty()) return Fail("cannot find the library's own file");
  for (const auto& [language, path] : ResourceModules(library.path))
    printf("%s %s\n", language.c_str(), path.c_str());
  return kExitOk;
}

}  // namespace

namespace brixtool {

int RunLang(int argc, char** argv) {
  if (argc == 1) return Show();
  return Dispatch(argc, argv,
                  {{"show", 0, 0, [] { return Show(); }},
                   {"set", 1, 1, [&] { return Set(argv[2]); }},
                   {"list", 0, 0, [] { return List(); }}});
}

}  // namespace brixtool
