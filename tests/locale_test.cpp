// locale_test.cpp - tests of the language setting, the code-page table and resource modules.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <filesystem>

#include "../system/platform/settings_posix.h"
#include "sfmlocale.h"
#include "sfmmsgdb.h"
#include "temp_files.h"

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

// Each test has its own settings folder and no language in the environment (every test of
// this program sets them up alike, so nothing is put back).
class LocaleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) unsetenv(name);
    setenv("BRIX_CONFIG_HOME", (root_ + "/config").c_str(), 1);
  }
  TempDir tmp_;
  const std::string root_ = tmp_.path;
};

TEST_F(LocaleTest, CodePagesAndCharacterSets) {
  std::string pages;
  for (const char* language : {"ENU", "RUS", "JPN", "CHS", "CHT", "ETI", "XYZ", "enu", "ENUX", "", "DEU"})
    pages += std::to_string(GetCodePageByLocaleString(language)) + " ";
  for (unsigned codePage : {1252u, 1251u, 874u, 1u, 2u, 437u, 1200u, 0u, 65001u})
    pages += std::to_string(GetCharacterSetByCodePage(codePage)) + " ";
  EXPECT_EQ(pages, "1252 1251 932 936 950 1257 0 0 0 874 0 0 204 222 1 2 255 77 -1 -1 ");
}

// The language comes from the environment once and is stored; LC_ALL outranks LC_MESSAGES,
// which outranks LANG.
TEST_F(LocaleTest, LanguageFromTheEnvironmentBuffersAndUnusableSettings) {
  char buffer[10] = "xxxxxxxxx";
  std::string languages;
  for (const char* lang : {"de_DE.UTF-8", "en_GB", "ja_JP.eucJP", "fr", "de_BE", "sr_RS@latin", "C", ""}) {
    StoreLanguage(nullptr);
    setenv("LANG", lang, 1);
    languages += (GetLocaleStr(buffer, sizeof buffer), buffer + (" " + StoredLanguage()) + " ");
  }
  setenv("LC_MESSAGES", "ru_RU.UTF-8", 1);
  StoreLanguage(nullptr);
  languages += (GetLocaleStr(buffer, sizeof buffer), std::string(buffer) + " ");
  setenv("LC_ALL", "zh_TW.Big5", 1);
  languages += (GetLocaleStr(buffer, sizeof buffer), std::string(buffer) + " ");  // stored: RUS
  EXPECT_EQ(languages, "DEU DEU ENG ENG JPN JPN FRA FRA DEU DEU ENU ENU ENU ENU ENU ENU RUS RUS ");
  unsetenv("LC_ALL");
  unsetenv("LC_MESSAGES");
  // A stored value too long for the buffer is replaced by the environment's, as designed.
  StoreLanguage("LONGNAME");
  setenv("LANG", "ja_JP", 1);
  const long results[] = {GetLocaleStr(buffer, 4), GetLocaleStr(buffer, 3), GetLocaleStr(nullptr, 10)};
  EXPECT_EQ(buffer + StoredLanguage(), "JPNJPN");
  EXPECT_EQ(results[0] * 1000 + results[1] * 100 + results[2], ERANGE * 100 + EINVAL);
  Spit(root_ + "/plain", "not a directory");  // the settings cannot be stored
  setenv("BRIX_CONFIG_HOME", (root_ + "/plain/config").c_str(), 1);
  char tiny[2] = {'x', 'x'};
  GetRealLocaleStr(nullptr, tiny, sizeof tiny);
  EXPECT_EQ(GetLocaleStr(buffer, sizeof buffer), ENOTDIR);
  EXPECT_EQ(buffer + std::string(tiny), "ENUE");
}

TEST_F(LocaleTest, CompanionPaths) {
  const char* cases[][3] = {
      // module, language, path with suffix "Res.so"; a trailing "d" or "D" of the name goes
      {"C:\\a\\Kernxd.dll", "JPN", "C:\\a\\JPN\\KernxRes.so"},
      {"C:\\a\\KernxD.dll", "JPN", "C:\\a\\JPN\\KernxRes.so"},
      {"/usr/lib/libbrixsys.so.0.1.0", "DEU", "/usr/lib/DEU/libbrixsysRes.so"},
      {"/usr/lib/libbrixsysd.so.1", "DEU", "/usr/lib/DEU/libbrixsysRes.so"},
      {"/opt/lib.so.d/libx.so.1a", "ENU", "/opt/lib.so.d/ENU/libx.soRes.so"},
      {"/opt/x.so/app", "ENU", "/opt/x.so/ENU/appRes.so"}, {"/d.so", "ENU", "/ENU/Res.so"}, {"", "ENU", "ENU/Res.so"},
  };
  for (const auto& c : cases) EXPECT_STREQ(GetCompanionPath(c[0], c[1], "Res.so", 1), c[2]) << c[0];
  EXPECT_STREQ(GetCompanionPath("/opt/bin/appd", "ENU", "Res.so", 0), "/opt/bin/ENU/appdRes.so");
  EXPECT_STREQ(GetCompanionPath(nullptr, nullptr, nullptr, 1), "/");
}

// A program started through PATH or a link knows itself only by that name; its companions
// are still found beside its file. The test runs a copy of itself under the name "app" from
// another directory, and that copy asks for its own German companion.
TEST_F(LocaleTest, ProgramsAreNamedByTheirFileNotTheNameTheyWereStartedBy) {
  if (const char* home = getenv("BRIX_RENAMED_COPY")) {
    Dl_info info;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&StoredLanguage), &info), 0);
    StoreLanguage("DEU");
    char path[PATH_MAX] = {};
    EXPECT_EQ(GetLocalizedFileName(info.dli_fbase, path, sizeof path, ".res", 1), 1);
    EXPECT_EQ(std::string(path), std::string(home) + "/DEU/app.res");
    return;
  }
  fsys::copy_file("/proc/self/exe", root_ + "/app");
  fsys::permissions(root_ + "/app", fsys::perms::owner_all);
  fsys::create_directories(root_ + "/DEU");
  Spit(root_ + "/DEU/app.res", "companion");
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("BRIX_RENAMED_COPY", root_.c_str(), 1);
    if (chdir("/") == 0)
      execl((root_ + "/app").c_str(), "app", "--gtest_filter=LocaleTest.ProgramsAreNamed*", nullptr);
    _exit(127);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

#ifdef BRIXSYS_HAVE_RESOURCE_MODULES
// A module of our own under a debug name, with companions made and removed; loads are
// counted per module.
TEST_F(LocaleTest, DebugNamesAndFallbackWithModulesOfOurOwn) {
  Dl_info info;  // the built library, found through one of its functions
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&GetLocaleStr), &info), 0);
  const fsys::path root(root_), built = fsys::path(info.dli_fname).parent_path();
  fsys::copy_file(built / "ENU/libbrixsysRes.so", root / "libKernxd.so");
  void* handle = dlopen((root / "libKernxd.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(dladdr(dlsym(handle, "BrixResourceString"), &info), 0);
  StoreLanguage("JPN");
  fsys::create_directories(root / "JPN");
  fsys::copy_file(built / "DEU/libbrixsysRes.so", root / "JPN/libKernxRes.so");
  char path[PATH_MAX];
  EXPECT_EQ(GetLocalizedFileName(info.dli_fbase, path, sizeof path, kResourceModuleSuffix, 1), 1);
  EXPECT_EQ(path, root_ + "/JPN/libKernxRes.so");
  errno = 0;
  EXPECT_EQ(GetLocalizedFileName(info.dli_fbase, path, root_.size() + 10, kResourceModuleSuffix, 1) + errno, ERANGE);
  EXPECT_EQ(GetLocalizedFileName(info.dli_fbase, path, sizeof path, kResourceModuleSuffix, 0), 0);
  EXPECT_EQ(path, root_ + "/ENU/libKernxdRes.so");  // no Japanese module without the strip
  const HINSTANCE japanese = LoadResourceDllByModule(info.dli_fbase, 1);
  EXPECT_EQ(LoadResourceDllByModule(info.dli_fbase, 1), japanese);  // counted twice now
  UnloadResourceDll(japanese);
  EXPECT_STREQ(TR(45107), "Mikrometer");  // one load still holds it
  UnloadResourceDll(japanese);
  UnloadResourceDll(japanese);  // no longer loaded: ignored
  EXPECT_STREQ(TR(45107), "Microns");
  fsys::remove(root / "JPN/libKernxRes.so");
  EXPECT_EQ(LoadResourceDllByModule(info.dli_fbase, 1), nullptr);  // nor an English one
  dlclose(handle);
}
#endif

}  // namespace
