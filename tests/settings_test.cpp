// settings_test.cpp - the per-user settings store: INI editing, locations, atomic concurrent
// writes.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "../system/platform/settings_posix.h"

namespace settings = brix::settings;

namespace {

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Points the store at a fresh directory for one test and restores the environment.
class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"BRIX_CONFIG_HOME", "XDG_CONFIG_HOME", "HOME"})
      if (const char* v = getenv(name)) saved_[name] = v;
    std::string pattern = (std::filesystem::temp_directory_path() / "brixset-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    dir_ = root_ + "/config/nested";
    setenv("BRIX_CONFIG_HOME", dir_.c_str(), 1);
  }
  void TearDown() override {
    for (const char* name : {"BRIX_CONFIG_HOME", "XDG_CONFIG_HOME", "HOME"}) {
      auto it = saved_.find(name);
      if (it == saved_.end())
        unsetenv(name);
      else
        setenv(name, it->second.c_str(), 1);
    }
    std::filesystem::remove_all(root_);
  }
  std::optional<std::string> Read(const char* section, const char* name) {
    std::string value;
    if (!settings::ReadValue("brix.ini", section, name, value)) return std::nullopt;
    return value;
  }

  std::map<std::string, std::string> saved_;
  std::string root_, dir_;
};

TEST_F(SettingsTest, RoundTripWithNamesInAnyCase) {
  EXPECT_EQ(Read("general", "editor"), std::nullopt);  // no file yet
  ASSERT_TRUE(settings::WriteValue("brix.ini", "General", "Editor", "  vim -p  "));
  EXPECT_EQ(Read("GENERAL", "editor"), "vim -p");
  EXPECT_EQ(Read("general", "other"), std::nullopt);
  EXPECT_EQ(Read("special", "editor"), std::nullopt);
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "EDITOR", "emacs"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "units", "grid", "25"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "multi", "a\nb\r\nc"));
  EXPECT_EQ(Slurp(dir_ + "/brix.ini"),
            "[General]\nEditor=emacs\nmulti=a b  c\n\n[units]\ngrid=25\n");
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "editor", nullptr));
  EXPECT_EQ(Read("general", "editor"), std::nullopt);
  EXPECT_EQ(Read("units", "grid"), "25");
  for (auto [section, name] : {std::pair{"general", " "},
                               {"general", "a=b"},
                               {"a]b", "x"},
                               {"general", "line\nbreak"},
                               {"general", ";x"}})
    EXPECT_FALSE(settings::WriteValue("brix.ini", section, name, "x")) << section << name;
  // The directory was created; no temporary file stays behind.
  std::vector<std::string> names;
  for (auto& entry : std::filesystem::directory_iterator(dir_))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"brix.ini", "brix.ini.lock"}));
}

TEST_F(SettingsTest, EditsKeepCommentsAndTheRestOfTheFile) {
  std::filesystem::create_directories(dir_);
  std::ofstream(dir_ + "/brix.ini") << "; user notes\n"
                                       "[general]\n"
                                       "editor = vi\n"
                                       "# keep me\n"
                                       "\n"
                                       "[general]\n"
                                       "late=ignored\n"
                                       "[other]\r\n"
                                       "x=1\r\n";
  EXPECT_EQ(Read("general", "editor"), "vi");
  EXPECT_EQ(Read("general", "late"), std::nullopt);  // only the first section counts
  EXPECT_EQ(Read("other", "x"), "1");
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "font", "mono"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "other", "x", "2"));
  EXPECT_EQ(Slurp(dir_ + "/brix.ini"),
            "; user notes\n[general]\neditor = vi\n# keep me\nfont=mono\n\n"
            "[general]\nlate=ignored\n[other]\r\nx=2\n");
}

// A settings file that exists but cannot be read whole is never replaced: the write
// fails and the file (or the link in its place) stays exactly as it was.
TEST_F(SettingsTest, AFileThatCannotBeReadIsLeftAlone) {
  const std::string path = dir_ + "/brix.ini";
  const std::string kept = "[general]\neditor=vi\n[units]\ngrid=25\n";
  struct Case {
    const char* what;
    std::string linkTo;  // empty: a regular file with `kept`, made unreadable
  } cases[] = {
      {"no read permission", ""},
      {"a link to a directory", root_},
      {"a read that fails (EIO)", "/proc/self/mem"},
      {"fewer bytes than its size (sysfs)", "/sys/kernel/uevent_seqnum"},
  };
  std::filesystem::create_directories(dir_);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove(path);
    if (c.linkTo.empty()) {
      // Root reads whatever the permissions say; the other rows cover the read error.
      if (geteuid() == 0) continue;
      std::ofstream(path) << kept;
      ASSERT_EQ(chmod(path.c_str(), 0), 0);
    } else {
      struct stat st;
      if (stat(c.linkTo.c_str(), &st) != 0) continue;  // not on this system
      ASSERT_EQ(symlink(c.linkTo.c_str(), path.c_str()), 0);
    }
    struct stat before;
    ASSERT_EQ(lstat(path.c_str(), &before), 0);
    errno = 0;
    EXPECT_FALSE(settings::WriteValue("brix.ini", "general", "font", "mono"));
    EXPECT_NE(errno, 0);
    struct stat after;
    ASSERT_EQ(lstat(path.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
    if (c.linkTo.empty()) {
      ASSERT_EQ(chmod(path.c_str(), 0600), 0);
      EXPECT_EQ(Slurp(path), kept);
    }
    for (auto& entry : std::filesystem::directory_iterator(dir_)) {
      std::string name = entry.path().filename().string();
      EXPECT_TRUE(name == "brix.ini" || name == "brix.ini.lock") << name;
    }
  }
}

TEST_F(SettingsTest, UserValuesLiveUnderTheirKey) {
  const char* key = settings::kApplicationKey;
  ASSERT_TRUE(settings::WriteUserValue(key, "LangID", "DEU"));
  std::string value;
  ASSERT_TRUE(settings::ReadUserValue("software\\quillon\\brix", "langid", value));
  EXPECT_EQ(value, "DEU");
  EXPECT_EQ(Slurp(dir_ + "/registry.ini"), "[SOFTWARE\\Quillon\\Brix]\nLangID=DEU\n");
  EXPECT_FALSE(settings::ReadUserValue(key, "Missing", value));
}

TEST_F(SettingsTest, LocationFollowsTheEnvironment) {
  struct Case {
    const char* own;
    const char* xdg;
    const char* home;
    const char* expect;
  } cases[] = {
      {"/own", "/xdg", "/home/u", "/own"},
      {nullptr, "/xdg", "/home/u", "/xdg/Quillon/Brix"},
      {"", "/xdg", "/home/u", "/xdg/Quillon/Brix"},
      {nullptr, "relative", "/home/u", "/home/u/.config/Quillon/Brix"},
      {nullptr, nullptr, "/home/u", "/home/u/.config/Quillon/Brix"},
  };
  for (const Case& c : cases) {
    auto set = [](const char* name, const char* v) {
      if (v)
        setenv(name, v, 1);
      else
        unsetenv(name);
    };
    set("BRIX_CONFIG_HOME", c.own);
    set("XDG_CONFIG_HOME", c.xdg);
    set("HOME", c.home);
    EXPECT_EQ(settings::ConfigDirectory(), c.expect) << c.expect;
  }
  EXPECT_EQ(settings::SettingsPath("/abs/file.ini"), "/abs/file.ini");
}

// The value every writer stores under key `k`: long enough to span pages of a torn write.
std::string ValueFor(const std::string& key) {
  std::string v;
  while (v.size() < 300) v += key + "-";
  return v;
}

TEST_F(SettingsTest, ConcurrentWritersNeitherTearNorLoseValues) {
  const int kWriters = 3, kKeys = 80;
  std::vector<pid_t> children;
  for (int w = 0; w < kWriters; ++w) {
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      for (int i = 0; i < kKeys; ++i) {
        std::string key = "k" + std::to_string(w) + "_" + std::to_string(i);
        if (!settings::WriteValue("brix.ini", "shared", key.c_str(), ValueFor(key).c_str()))
          _exit(1);
      }
      _exit(0);
    }
    children.push_back(pid);
  }
  // Read while they write: every file seen must be whole.
  int reads = 0, torn = 0;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (;;) {
    std::string text = Slurp(dir_ + "/brix.ini");
    if (!text.empty()) {
      ++reads;
      size_t start = 0;
      bool whole = text.rfind("[shared]\n", 0) == 0 && text.back() == '\n';
      while (whole && start < text.size()) {
        size_t end = text.find('\n', start);
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line == "[shared]") continue;
        size_t eq = line.find('=');
        whole = eq != std::string::npos && line.substr(eq + 1) == ValueFor(line.substr(0, eq));
      }
      torn += !whole;
    }
    int status = 0;
    bool running = false;
    for (pid_t& pid : children) {
      if (pid <= 0) continue;
      pid_t r = waitpid(pid, &status, WNOHANG);
      if (r == 0) {
        running = true;
      } else {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        pid = 0;
      }
    }
    if (!running) break;
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
  }
  EXPECT_EQ(torn, 0) << "of " << reads << " reads";
  for (int w = 0; w < kWriters; ++w)
    for (int i = 0; i < kKeys; ++i) {
      std::string key = "k" + std::to_string(w) + "_" + std::to_string(i);
      ASSERT_EQ(Read("shared", key.c_str()), ValueFor(key)) << key;
    }
}

TEST_F(SettingsTest, AWriterKilledMidWayLeavesAWholeFileAndNoLock) {
  ASSERT_TRUE(settings::WriteValue("brix.ini", "s", "first", "1"));
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    for (int i = 0;; ++i) settings::WriteValue("brix.ini", "s", "spin", std::to_string(i).c_str());
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_EQ(Read("s", "first"), "1");
  EXPECT_NE(Read("s", "spin"), std::nullopt);
  // The kernel dropped the dead writer's lock: writing goes on.
  ASSERT_TRUE(settings::WriteValue("brix.ini", "s", "after", "2"));
  EXPECT_EQ(Read("s", "after"), "2");
}

}  // namespace
