// locale_test.cpp - tests of the language setting, the code-page table and resource modules.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <climits>
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

// Each test has its own settings folder and no language in the environment.
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
    Dl_info info;  // the library file, found through one of its functions
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&GetLocaleStr), &info), 0);
    library_ = info.dli_fbase;
    libraryDir_ = fsys::path(info.dli_fname).parent_path().string();
  }
  void TearDown() override {
    for (const auto& [name, value] : saved_)
      value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    fsys::remove_all(root_);
  }

  std::string root_, libraryDir_;
  HINSTANCE library_ = nullptr;
  std::map<std::string, std::optional<std::string>> saved_;
};

TEST_F(LocaleTest, CodePagesAndCharacterSets) {
  const std::pair<const char*, unsigned> languages[] = {
      {"ENU", 1252}, {"RUS", 1251}, {"JPN", 932}, {"CHS", 936}, {"CHT", 950}, {"ETI", 1257},
      {"XYZ", 0},    {"enu", 0},    {"ENUX", 0},  {"", 874},    {"DEU", 0},   {nullptr, 0}};
  for (const auto& [language, codePage] : languages)
    EXPECT_EQ(GetCodePageByLocaleString(language), codePage) << (language ? language : "null");
  const std::pair<unsigned, int> sets[] = {{1252, 0}, {1251, 204}, {874, 222}, {1, 1},     {2, 2},
                                           {437, 255}, {1200, 77}, {0, -1},    {65001, -1}};
  for (const auto& [codePage, charSet] : sets)
    EXPECT_EQ(GetCharacterSetByCodePage(codePage), charSet) << codePage;
}

TEST_F(LocaleTest, LanguageComesFromTheEnvironmentOnceAndIsStored) {
  const char* cases[][3] = {
      {"LANG", "de_DE.UTF-8", "DEU"}, {"LANG", "en_GB", "ENG"},       {"LANG", "ja_JP.eucJP", "JPN"},
      {"LANG", "fr", "FRA"},          {"LANG", "de_BE.UTF-8", "DEU"}, {"LANG", "sr_RS@latin", "ENU"},
      {"LANG", "C", "ENU"},           {"LANG", "POSIX", "ENU"},       {"LANG", "", "ENU"},
      {"LC_MESSAGES", "ru_RU.UTF-8", "RUS"},                          {"LC_ALL", "zh_TW.Big5", "CHT"},
  };
  char first[10], second[10];
  for (const auto& c : cases) {
    StoreLanguage(nullptr);
    setenv("LANG", "it_IT.UTF-8", 1);  // outranked by LC_MESSAGES and LC_ALL
    setenv(c[0], c[1], 1);
    EXPECT_EQ(GetLocaleStr(first, sizeof first), 0);
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    setenv("LANG", "pl_PL", 1);  // the stored language is read back from now on
    EXPECT_EQ(GetLocaleStr(second, sizeof second), 0);
    EXPECT_EQ(first + ("/" + StoredLanguage()) + "/" + second, c[2] + ("/" + std::string(c[2])) + "/" + c[2])
        << c[0] << "=" << c[1];
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
  EXPECT_EQ(buffer + StoredLanguage(), "JPNJPN");
  EXPECT_EQ(GetLocaleStr(buffer, 3), ERANGE);
  EXPECT_EQ(GetLocaleStr(nullptr, 10), EINVAL);
  std::ofstream(root_ + "/plain") << "not a directory";
  setenv("BRIX_CONFIG_HOME", (root_ + "/plain/config").c_str(), 1);
  EXPECT_EQ(GetLocaleStr(buffer, sizeof buffer), ENOTDIR);
  EXPECT_STREQ(buffer, "ENU");
  char tiny[2] = {'x', 'x'};
  GetRealLocaleStr(nullptr, tiny, sizeof tiny);
  EXPECT_STREQ(tiny, "E");
}

TEST_F(LocaleTest, CompanionPaths) {
  const char* cases[][3] = {
      // module, language, path with suffix "Res.so"; a trailing "d" or "D" of the name goes
      {"C:\\a\\Kernxd.dll", "JPN", "C:\\a\\JPN\\KernxRes.so"},
      {"C:\\a\\KernxD.dll", "JPN", "C:\\a\\JPN\\KernxRes.so"},
      {"/usr/lib/libbrixsys.so.0.1.0", "DEU", "/usr/lib/DEU/libbrixsysRes.so"},
      {"/usr/lib/libbrixsysd.so.1", "DEU", "/usr/lib/DEU/libbrixsysRes.so"},
      {"/opt/lib.so.d/libx.so.1a", "ENU", "/opt/lib.so.d/ENU/libx.soRes.so"},
      {"/opt/x.so/app", "ENU", "/opt/x.so/ENU/appRes.so"}, {"/d.so", "ENU", "/ENU/Res.so"},
      {"", "ENU", "ENU/Res.so"},
  };
  for (const auto& c : cases) EXPECT_STREQ(GetCompanionPath(c[0], c[1], "Res.so", 1), c[2]) << c[0];
  EXPECT_STREQ(GetCompanionPath("/opt/bin/appd", "ENU", "Res.so", 0), "/opt/bin/ENU/appdRes.so");
  EXPECT_STREQ(GetCompanionPath(nullptr, nullptr, nullptr, 1), "/");
}

#ifdef BRIXSYS_HAVE_RESOURCE_MODULES
// The built library has German and English modules; loads are counted per module.
TEST_F(LocaleTest, LibraryLoadsItsLanguageModules) {
  char path[PATH_MAX];
  StoreLanguage("JPN");  // no Japanese module: English
  EXPECT_EQ(GetLocalizedFileName(library_, path, sizeof path, kResourceModuleSuffix, 1), 1);
  EXPECT_EQ(path, libraryDir_ + "/ENU/libbrixsysRes.so");
  errno = 0;
  EXPECT_EQ(GetLocalizedFileName(library_, path, libraryDir_.size() + 10, kResourceModuleSuffix, 1), 0);
  EXPECT_EQ(errno, ERANGE);
  ASSERT_STREQ(TR(45104), "Mils");

  StoreLanguage("DEU");
  GetRealLocaleStr(library_, path, sizeof path);
  EXPECT_STREQ(path, "DEU");
  const HINSTANCE german = LoadResourceDllByModule(library_, 1);
  ASSERT_NE(german, nullptr);
  EXPECT_STREQ(TR(45063), "Der Wert liegt außerhalb des zulässigen Bereichs.");
  StoreLanguage("FRA");  // no French module: the English one, asked before the German
  const HINSTANCE english = LoadResourceDllByModule(library_, 1);
  ASSERT_NE(english, nullptr);
  EXPECT_NE(english, german);
  EXPECT_STREQ(TR(45104), "Mils");
  StoreLanguage("DEU");
  EXPECT_EQ(LoadResourceDllByModule(library_, 1), german);  // counted twice now
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
  const fsys::path module = fsys::path(root_) / "libKernxd.so";
  fsys::copy_file(fsys::path(libraryDir_) / "ENU/libbrixsysRes.so", module);
  void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  Dl_info info;
  ASSERT_NE(dladdr(dlsym(handle, "BrixResourceString"), &info), 0);
  const HINSTANCE base = info.dli_fbase;
  StoreLanguage("JPN");
  fsys::create_directories(fsys::path(root_) / "JPN");
  fsys::copy_file(fsys::path(libraryDir_) / "DEU/libbrixsysRes.so", fsys::path(root_) / "JPN/libKernxRes.so");
  char path[PATH_MAX];
  EXPECT_EQ(GetLocalizedFileName(base, path, sizeof path, kResourceModuleSuffix, 1), 1);
  EXPECT_EQ(path, root_ + "/JPN/libKernxRes.so");
  EXPECT_EQ(GetLocalizedFileName(base, path, sizeof path, kResourceModuleSuffix, 0), 0);
  EXPECT_EQ(path, root_ + "/ENU/libKernxdRes.so");
  const HINSTANCE japanese = LoadResourceDllByModule(base, 1);
  EXPECT_STREQ(TR(45107), "Mikrometer");
  UnloadResourceDll(japanese);
  fsys::remove(fsys::path(root_) / "JPN/libKernxRes.so");
  EXPECT_EQ(GetLocalizedFileName(base, path, sizeof path, kResourceModuleSuffix, 1), 0);
  EXPECT_EQ(path, root_ + "/ENU/libKernxRes.so");
  GetRealLocaleStr(base, path, sizeof path);
  EXPECT_STREQ(path, "ENU");
  EXPECT_EQ(LoadResourceDllByModule(base, 1), nullptr);
  dlclose(handle);
}
#endif

}  // namespace
