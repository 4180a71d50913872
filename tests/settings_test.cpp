// settings_test.cpp - the settings store: edits, unreadable files, concurrent writers.
#include "file_helpers.h"

namespace {

// Points the store at a fresh directory for one test (each test runs in its own process).
class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override { setenv("BRIX_CONFIG_HOME", dir_.c_str(), 1); }
  std::optional<std::string> Read(const char* section, const char* name) {
    std::string value;
    if (!settings::ReadValue("brix.ini", section, name, value)) return std::nullopt;
    return value;
  }
  // The file and its lock only: no temporary file may stay behind.
  long Files() { return std::distance(std::filesystem::directory_iterator(dir_), {}); }

  TempDir tmp_;
  std::string root_ = tmp_.path, dir_ = tmp_ / "config/nested";
};

TEST_F(SettingsTest, EditsKeepEverythingElseAndNamesMatchInAnyCase) {
  const mode_t mask = umask(027);
  ASSERT_TRUE(settings::WriteValue("brix.ini", "General", "Editor", "  vim -p  "));
  umask(mask);
  struct stat st;
  EXPECT_TRUE(stat((dir_ + "/brix.ini").c_str(), &st) == 0 &&
              (st.st_mode & 0777) == 0640);  // umask
  EXPECT_EQ(Read("GENERAL", "editor"), "vim -p");
  EXPECT_EQ(Read("general", "editox"), std::nullopt);
  EXPECT_EQ(Read("special", "editor"), std::nullopt);
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "EDITOR", "emacs"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "units", "grid", "25"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "multi", "a\nb\r\nc"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "gone", "x"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "gone", nullptr));
  EXPECT_EQ(Slurp(dir_ + "/brix.ini"),
            "[General]\nEditor=emacs\nmulti=a b  c\n\n[units]\ngrid=25\n");
  for (auto [section, name] : {std::pair{"general", " "},
                               {"general", "a=b"},
                               {"a]b", "x"},
                               {"general", "line\nbreak"},
                               {"general", ";x"}})
    EXPECT_FALSE(settings::WriteValue("brix.ini", section, name, "x")) << section << name;
  EXPECT_EQ(Files(), 2);
  // Comments, later duplicate sections and CR LF lines of a hand-edited file stay.
  std::ofstream(dir_ + "/brix.ini") << "; user notes\n[general]\neditor = vi\n# keep me\n\n"
                                       "[general]\nlate=ignored\n[other]\r\nx=1\r\n";
  EXPECT_EQ(Read("general", "late"), std::nullopt);  // only the first section counts
  ASSERT_TRUE(settings::WriteValue("brix.ini", "general", "font", "mono"));
  ASSERT_TRUE(settings::WriteValue("brix.ini", "other", "x", "2"));
  EXPECT_EQ(Slurp(dir_ + "/brix.ini"),
            "; user notes\n[general]\neditor = vi\n# keep me\nfont=mono\n\n"
            "[general]\nlate=ignored\n[other]\r\nx=2\n");
}

// A settings file that exists but cannot be read whole is never replaced: the write fails
// and the file (or the link in its place) stays exactly as it was.
TEST_F(SettingsTest, AFileThatCannotBeReadIsLeftAlone) {
  const std::string path = dir_ + "/brix.ini";
  std::filesystem::create_directories(dir_);
  for (std::string linkTo :
       {std::string(), root_, "/proc/self/mem"s, "/sys/kernel/uevent_seqnum"s}) {
    SCOPED_TRACE(linkTo);  // empty: no read permission; a directory; EIO; fewer bytes than told
    std::filesystem::remove(path);
    struct stat before, after;
    if (linkTo.empty() ? geteuid() == 0 : stat(linkTo.c_str(), &before) != 0) continue;
    if (linkTo.empty()) {
      std::ofstream(path) << "[general]\neditor=vi\n";
      ASSERT_EQ(chmod(path.c_str(), 0), 0);
    }
    ASSERT_TRUE(linkTo.empty() || symlink(linkTo.c_str(), path.c_str()) == 0);
    ASSERT_EQ(lstat(path.c_str(), &before), 0);
    errno = 0;
    EXPECT_FALSE(settings::WriteValue("brix.ini", "general", "font", "mono"));
    EXPECT_NE(errno, 0);
    ASSERT_EQ(lstat(path.c_str(), &after), 0);
    EXPECT_TRUE(after.st_ino == before.st_ino && after.st_mode == before.st_mode);
    EXPECT_LE(Files(), 2);
  }
}

// The value every writer stores under `key`: long enough to span pages of a torn write.
std::string ValueFor(const std::string& key) {
  std::string v;
  while (v.size() < 300) v += key + "-";
  return v;
}

// Writers in several processes, one of them killed mid-way: no reader ever sees a torn
// file, no value is lost, and the kernel drops the dead writer's lock.
TEST_F(SettingsTest, ConcurrentWritersNeitherTearNorLoseValues) {
  const int kWriters = 3, kKeys = 80;
  std::vector<pid_t> children;
  for (int w = 0; w <= kWriters; ++w) {  // the last one writes until it is killed
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    for (int i = 0; pid == 0 && (w == kWriters || i < kKeys); ++i) {
      std::string key = "k" + std::to_string(w) + "_" + std::to_string(w == kWriters ? 0 : i);
      if (!settings::WriteValue("brix.ini", "s", key.c_str(), ValueFor(key).c_str())) _exit(1);
    }
    if (pid == 0) _exit(0);
    children.push_back(pid);
  }
  int reads = 0, torn = 0;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (int done = 0; done < kWriters; ++reads) {
    std::string text = Slurp(dir_ + "/brix.ini");
    bool whole = text.empty() || (text.rfind("[s]\n", 0) == 0 && text.back() == '\n');
    for (size_t start = 4, end; whole && start < text.size(); start = end + 1) {
      end = text.find('\n', start);
      size_t eq = text.find('=', start);
      whole =
          eq < end && text.substr(eq + 1, end - eq - 1) == ValueFor(text.substr(start, eq - start));
    }
    torn += !whole;
    for (int w = 0; w < kWriters; ++w) {
      int status = 0;
      if (children[w] > 0 && waitpid(children[w], &status, WNOHANG) == children[w]) {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        children[w] = 0, ++done;
      }
    }
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
  }
  kill(children.back(), SIGKILL);
  waitpid(children.back(), nullptr, 0);
  EXPECT_EQ(torn, 0) << "of " << reads << " reads";
  for (int w = 0; w <= kWriters; ++w)
    for (int i = 0; i < (w == kWriters ? 1 : kKeys); ++i) {
      std::string key = "k" + std::to_string(w) + "_" + std::to_string(i);
      ASSERT_EQ(Read("s", key.c_str()), ValueFor(key)) << key;
    }
  ASSERT_TRUE(settings::WriteValue("brix.ini", "s", "after", "2"));
  EXPECT_EQ(Read("s", "after"), "2");
}

}  // namespace
