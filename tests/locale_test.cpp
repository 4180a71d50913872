// locale_test.cpp - tests of the language setting, the code-page table and resource modules.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <stdlib.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include "../system/platform/settings_posix.h"
#include "sfmlocale.h"
#include "sfmmsgdb.h"

namespace fsys = std::filesystem;

namespace {

constexpr const char* kKey = "SOFTWARE\\Quillon\\Brix";

std::string StoredLanguage() {
  std::string value;
  return brix::settings::ReadUserValue(kKey, "LangID", value) ? value : "<none>";
}

void StoreLanguage(const char* language) {
  ASSERT_TRUE(brix::settings::WriteUserValue(kKey, "LangID", language));
}

std::string GetLanguage() {
  char buffer[10] = {};
  EXPECT_EQ(GetLocaleStr(buffer, sizeof buffer), 0);
  return buffer;
}

// The loaded library file, found by its name among the loaded objects.
struct LibraryInfo {
  HINSTANCE base = nullptr;
  std::string path;
};

LibraryInfo Library() {
  LibraryInfo found;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        if (!info->dlpi_name || !std::strstr(info->dlpi_name, "/libbrixsys.so")) return 0;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          if (info->dlpi_phdr[i].p_type != PT_LOAD) continue;
          Dl_info where;
          if (dladdr(reinterpret_cast<void*>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr),
                     &where)) {
            auto* out = static_cast<LibraryInfo*>(data);
            out->base = where.dli_fbase;
            out->path = where.dli_fname;
          }
          return 1;
        }
        return 0;
      },
      &found);
  return found;
}

class LocaleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"BRIX_CONFIG_HOME", "LC_ALL", "LC_MESSAGES", "LANG"}) {
      const char* value = getenv(name);
      saved_[name] = value ? std::optional<std::string>(value) : std::nullopt;
      unsetenv(name);
    }
    std::string pattern = (fsys::temp_directory_path() / "brixloc-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    setenv("BRIX_CONFIG_HOME", (root_ + "/config").c_str(), 1);
  }
  void TearDown() override {
    for (const auto& [name, value] : saved_) {
      if (value)
        setenv(name.c_str(), value->c_str(), 1);
      else
        unsetenv(name.c_str());
    }
    std::error_code ignored;
    fsys::remove_all(root_, ignored);
  }

  std::string root_;
  std::map<std::string, std::optional<std::string>> saved_;
};

TEST_F(LocaleTest, CodePagesAndCharacterSets) {
  struct Case {
    const char* language;
    unsigned codePage;
  } languages[] = {
      {"ENU", 1252}, {"RUS", 1251}, {"JPN", 932}, {"CHS", 936}, {"CHT", 950}, {"ETI", 1257},
      {"XYZ", 0},    {"enu", 0},    {"ENUX", 0},  {"", 874},    {"DEU", 0},
  };
  for (const Case& c : languages)
    EXPECT_EQ(GetCodePageByLocaleString(c.language), c.codePage) << '"' << c.language << '"';
  EXPECT_EQ(GetCodePageByLocaleString(nullptr), 0u);

  struct CharSet {
    unsigned codePage;
    int charSet;
  } sets[] = {{1252, 0},  {1251, 204}, {874, 222}, {1, 1},     {2, 2},
              {437, 255}, {1200, 77},  {0, -1},    {65001, -1}};
  for (const CharSet& c : sets)
    EXPECT_EQ(GetCharacterSetByCodePage(c.codePage), c.charSet) << c.codePage;
}

TEST_F(LocaleTest, LanguageComesFromTheEnvironmentOnceAndIsStored) {
  struct Case {
    const char* variable;
    const char* value;
    const char* language;
  } cases[] = {
      {"LANG", "de_DE.UTF-8", "DEU"},
      {"LANG", "en_GB", "ENG"},
      {"LANG", "ja_JP.eucJP", "JPN"},
      {"LANG", "fr", "FRA"},
      {"LANG", "de_BE.UTF-8", "DEU"},
      {"LANG", "sr_RS@latin", "ENU"},
      {"LANG", "C", "ENU"},
      {"LANG", "POSIX", "ENU"},
      {"LANG", "", "ENU"},
      {"LC_MESSAGES", "ru_RU.UTF-8", "RUS"},
      {"LC_ALL", "zh_TW.Big5", "CHT"},
  };
  for (const Case& c : cases) {
    StoreLanguage(nullptr);
    setenv("LANG", "it_IT.UTF-8", 1);  // outranked by LC_MESSAGES and LC_ALL
    setenv(c.variable, c.value, 1);
    EXPECT_EQ(GetLanguage(), c.language) << c.variable << "=" << c.value;
    EXPECT_EQ(StoredLanguage(), c.language) << c.variable << "=" << c.value;
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    setenv("LANG", "pl_PL", 1);
    EXPECT_EQ(GetLanguage(), c.language) << "read back after " << c.value;
  }
}

TEST_F(LocaleTest, BuffersAndUnusableSettings) {
  StoreLanguage("DEU");
  char buffer[10] = "xxxxxxxxx";
  EXPECT_EQ(GetLocaleStr(buffer, 4), 0);
  EXPECT_STREQ(buffer, "DEU");

  // A stored value too long for the buffer is replaced by the environment's, as designed.
  StoreLanguage("LONGNAME");
  setenv("LANG", "ja_JP", 1);
  EXPECT_EQ(GetLocaleStr(buffer, 4), 0);
  EXPECT_STREQ(buffer, "JPN");
  EXPECT_EQ(StoredLanguage(), "JPN");
  EXPECT_EQ(GetLocaleStr(buffer, 3), ERANGE);
  EXPECT_EQ(GetLocaleStr(nullptr, 10), EINVAL);

  std::ofstream(root_ + "/plain") << "not a directory";
  setenv("BRIX_CONFIG_HOME", (root_ + "/plain/config").c_str(), 1);
  EXPECT_EQ(GetLocaleStr(buffer, 3), ERANGE);
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(GetLocaleStr(buffer, sizeof buffer), ENOTDIR);
  EXPECT_STREQ(buffer, "ENU");
  char tiny[2] = {'x', 'x'};
  GetRealLocaleStr(nullptr, tiny, sizeof tiny);
  EXPECT_STREQ(tiny, "E");
}

TEST_F(LocaleTest, CompanionPaths) {
  struct Case {
    const char* module;
    const char* language;
    const char* suffix;
    int strip;
    const char* path;
  } cases[] = {
      {"C:\\app\\Kernx.dll", "ENU", "Res.DLL", 0, "C:\\app\\ENU\\KernxRes.DLL"},
      {"C:\\a\\Kernxd.dll", "JPN", "Res.DLL", 1, "C:\\a\\JPN\\KernxRes.DLL"},
      {"C:\\a\\KernxD.dll", "JPN", "Res.DLL", 1, "C:\\a\\JPN\\KernxRes.DLL"},
      {"C:\\a\\Kernxd.dll", "JPN", "Res.DLL", 0, "C:\\a\\JPN\\KernxdRes.DLL"},
      {"/usr/lib/libbrixsys.so", "DEU", "Res.so", 0, "/usr/lib/DEU/libbrixsysRes.so"},
      {"/usr/lib/libbrixsys.so.0.1.0", "DEU", "Res.so", 0, "/usr/lib/DEU/libbrixsysRes.so"},
      {"/usr/lib/libbrixsysd.so.1", "DEU", "Res.so", 1, "/usr/lib/DEU/libbrixsysRes.so"},
      {"/opt/lib.so.d/libx.so.1a", "ENU", "Res.so", 0, "/opt/lib.so.d/ENU/libx.soRes.so"},
      {"/opt/x.so/app", "ENU", "Res.so", 1, "/opt/x.so/ENU/appRes.so"},
      {"/opt/bin/appd", "ENU", "Res.so", 1, "/opt/bin/ENU/appdRes.so"},
      {"/d.so", "ENU", "Res.so", 1, "/ENU/Res.so"},
      {"libx.so", "ENU", "Res.so", 0, "ENU/libxRes.so"},
      {"", "ENU", "Res.so", 1, "ENU/Res.so"},
  };
  for (const Case& c : cases)
    EXPECT_STREQ(GetCompanionPath(c.module, c.language, c.suffix, c.strip), c.path) << c.module;
  EXPECT_STREQ(GetCompanionPath(nullptr, nullptr, nullptr, 1), "/");
}

TEST_F(LocaleTest, CurrentCodePageFollowsTheExecutablesResources) {
  StoreLanguage("RUS");  // the test program has no Russian resources: "ENU" is used
  char buffer[10];
  GetRealLocaleStr(nullptr, buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "ENU");
  EXPECT_EQ(GetCurrentCodePage(), 1252u);
  EXPECT_EQ(GetCurrentCodePage(), 1252u);
  EXPECT_EQ(GetCurrentCharacterSet(), -1);  // never computed, as built
  UnloadResourceDll(nullptr);
  int notAModule = 0;
  UnloadResourceDll(&notAModule);
}

#ifdef BRIXSYS_HAVE_RESOURCE_MODULES
constexpr bool kHaveModules = true;
#else
constexpr bool kHaveModules = false;
#endif

TEST_F(LocaleTest, LibraryFindsItsLanguageModules) {
  if (!kHaveModules) GTEST_SKIP() << "the resource modules are not part of this build";
  const LibraryInfo library = Library();
  ASSERT_NE(library.base, nullptr);
  const std::string dir = fsys::path(library.path).parent_path().string();
  char path[PATH_MAX];

  StoreLanguage("DEU");
  EXPECT_EQ(GetLocalizedFileName(library.base, path, sizeof path, kResourceModuleSuffix, 1), 1);
  EXPECT_EQ(path, dir + "/DEU/libbrixsysRes.so");
  GetRealLocaleStr(library.base, path, sizeof path);
  EXPECT_STREQ(path, "DEU");

  StoreLanguage("JPN");  // no Japanese module: English
  EXPECT_EQ(GetLocalizedFileName(library.base, path, sizeof path, kResourceModuleSuffix, 1), 1);
  EXPECT_EQ(path, dir + "/ENU/libbrixsysRes.so");
  GetRealLocaleStr(library.base, path, sizeof path);
  EXPECT_STREQ(path, "ENU");

  const unsigned long tooSmall = static_cast<unsigned long>(library.path.size());
  errno = 0;
  EXPECT_EQ(GetLocalizedFileName(library.base, path, tooSmall, kResourceModuleSuffix, 1), 0);
  EXPECT_EQ(errno, ERANGE);
}

TEST_F(LocaleTest, LoadedModulesTranslateTr) {
  if (!kHaveModules) GTEST_SKIP() << "the resource modules are not part of this build";
  const HINSTANCE library = Library().base;
  ASSERT_NE(library, nullptr);
  ASSERT_STREQ(TR(45104), "Mils");

  StoreLanguage("DEU");
  const HINSTANCE german = LoadResourceDllByModule(library, 1);
  ASSERT_NE(german, nullptr);
  EXPECT_STREQ(TR(45104), "Mil");
  EXPECT_STREQ(TR(45063), "Der Wert liegt außerhalb des zulässigen Bereichs.");
  EXPECT_STREQ(TR(45106), "Zoll");

  StoreLanguage("FRA");  // no French module: the English one, asked before the German
  const HINSTANCE english = LoadResourceDllByModule(library, 1);
  ASSERT_NE(english, nullptr);
  EXPECT_NE(english, german);
  EXPECT_STREQ(TR(45104), "Mils");

  StoreLanguage("DEU");
  EXPECT_EQ(LoadResourceDllByModule(library, 1), german);  // counted twice now
  UnloadResourceDll(english);
  EXPECT_STREQ(TR(45104), "Mil");
  UnloadResourceDll(german);
  EXPECT_STREQ(TR(45105), "Millimeter");  // one load still holds it
  UnloadResourceDll(german);
  EXPECT_STREQ(TR(45105), "Millimeters");
  UnloadResourceDll(german);  // no longer loaded: ignored
}

// A module of our own under a debug name, with companions made and removed.
TEST_F(LocaleTest, DebugNamesAndFallbackWithModulesOfOurOwn) {
  if (!kHaveModules) GTEST_SKIP() << "the resource modules are not part of this build";
  const fsys::path built = fsys::path(Library().path).parent_path();
  const fsys::path module = fsys::path(root_) / "libKernxd.so";
  fsys::copy_file(built / "ENU" / "libbrixsysRes.so", module);
  void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  Dl_info info;
  ASSERT_NE(dladdr(dlsym(handle, "BrixResourceString"), &info), 0);
  const HINSTANCE base = info.dli_fbase;

  StoreLanguage("JPN");
  fsys::create_directories(fsys::path(root_) / "JPN");
  fsys::copy_file(built / "DEU" / "libbrixsysRes.so", fsys::path(root_) / "JPN/libKernxRes.so");
  char path[PATH_MAX];
  EXPECT_EQ(GetLocalizedFileName(base, path, sizeof path, kResourceModuleSuffix, 1), 1);
  EXPECT_EQ(path, root_ + "/JPN/libKernxRes.so");
  EXPECT_EQ(GetLocalizedFileName(base, path, sizeof path, kResourceModuleSuffix, 0), 0);
  EXPECT_EQ(path, root_ + "/ENU/libKernxdRes.so");
  GetRealLocaleStr(base, path, sizeof path);
  EXPECT_STREQ(path, "JPN");
  const HINSTANCE japanese = LoadResourceDllByModule(base, 1);
  ASSERT_NE(japanese, nullptr);
  EXPECT_STREQ(TR(45107), "Mikrometer");
  UnloadResourceDll(japanese);
  EXPECT_STREQ(TR(45107), "Microns");

  fsys::remove(fsys::path(root_) / "JPN/libKernxRes.so");
  EXPECT_EQ(GetLocalizedFileName(base, path, sizeof path, kResourceModuleSuffix, 1), 0);
  EXPECT_EQ(path, root_ + "/ENU/libKernxRes.so");
  GetRealLocaleStr(base, path, sizeof path);
  EXPECT_STREQ(path, "ENU");
  EXPECT_EQ(LoadResourceDllByModule(base, 1), nullptr);
  dlclose(handle);
}

}  // namespace
