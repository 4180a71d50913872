// project_test.cpp - tests of the share-mode layer and SFM_ProjectFile, across real processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../system/platform/share_posix.h"
#include "sfmproject.h"

extern char** environ;

namespace share = brix::share;
namespace fsys = std::filesystem;

namespace {

constexpr unsigned kR = share::kAccessRead;
constexpr unsigned kW = share::kAccessWrite;
constexpr unsigned kRW = kR | kW;
constexpr unsigned kShareNone = 0;
constexpr unsigned kShareR = share::kShareRead;
constexpr unsigned kShareRW = share::kShareRead | share::kShareWrite;

struct Mode {
  unsigned access;
  unsigned share;
};

// The sharing rules written out as the table the desktop system documents: rows
// are the share mode of the open already held, columns the access of the new
// open; a new open is also refused when the held open's access is not in the
// new open's share mode (the same table read the other way round).
bool Allowed(Mode held, Mode next) {
  //                      new access: -   R      W      RW
  static const bool kLetsIn[4][4] = {{true, false, false, false},  // held shares nothing
                                     {true, true, false, false},   // held shares read
                                     {true, false, true, false},   // held shares write
                                     {true, true, true, true}};    // held shares both
  return kLetsIn[held.share][next.access] && kLetsIn[next.share][held.access];
}

std::vector<Mode> AllModes() {
  std::vector<Mode> modes;
  for (unsigned a = 1; a <= 3; ++a)
    for (unsigned s = 0; s <= 3; ++s) modes.push_back({a, s});
  return modes;
}

std::string ModeName(Mode m) {
  return "access " + std::to_string(m.access) + " share " + std::to_string(m.share);
}

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void Spit(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string HelperPath() {
  return (fsys::read_symlink("/proc/self/exe").parent_path() / "lockholder").string();
}

// A lockholder process driven line by line through pipes.
class Holder {
 public:
  explicit Holder(const std::string& file) {
    int toChild[2];
    int fromChild[2];
    if (pipe(toChild) != 0 || pipe(fromChild) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toChild[0], 0);
    posix_spawn_file_actions_adddup2(&actions, fromChild[1], 1);
    posix_spawn_file_actions_addclose(&actions, toChild[1]);
    posix_spawn_file_actions_addclose(&actions, fromChild[0]);
    const std::string path = HelperPath();
    char* argv[] = {const_cast<char*>(path.c_str()), const_cast<char*>(file.c_str()), nullptr};
    if (posix_spawn(&pid_, path.c_str(), &actions, nullptr, argv, environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(toChild[0]);
    close(fromChild[1]);
    in_ = fdopen(toChild[1], "w");
    out_ = fdopen(fromChild[0], "r");
  }
  ~Holder() {
    if (in_) fclose(in_);
    if (out_) fclose(out_);
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  bool Running() const { return pid_ > 0 && in_ && out_; }

  std::string Ask(const std::string& command) {
    if (!Running()) return "<no helper>";
    std::fprintf(in_, "%s\n", command.c_str());
    std::fflush(in_);
    char line[512];
    if (!std::fgets(line, sizeof line, out_)) return "<no answer>";
    std::string answer(line);
    if (!answer.empty() && answer.back() == '\n') answer.pop_back();
    return answer;
  }
  // Opens and keeps the descriptor until "closeall".
  std::string Open(Mode m) {
    return Ask("open " + std::to_string(m.access) + " " + std::to_string(m.share));
  }
  // Opens and closes again at once.
  std::string Try(Mode m) {
    return Ask("try " + std::to_string(m.access) + " " + std::to_string(m.share));
  }

  // Ends the process the hard way, as a crash would.
  void KillHard() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  FILE* in_ = nullptr;
  FILE* out_ = nullptr;
};

class ProjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fsys::temp_directory_path() / "brixproj-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    file_ = dir_ + "/board.pcb";
    info_ = dir_ + "/~$board.pcb.inf";
    Spit(file_, "0123456789");
    SFM_ProjectFile::SetOpenAttempts(1);
    SFM_ProjectFile::SetOpenTimeout(0);
  }
  void TearDown() override {
    SFM_ProjectFile::SetNewFileName("");
    SFM_ProjectFile::SetWaitCursorHook(nullptr);
    SFM_ProjectFile::SetOpenAttempts(2);
    SFM_ProjectFile::SetOpenTimeout(1);
    std::error_code ignored;
    fsys::permissions(file_, fsys::perms::owner_all, ignored);
    fsys::remove_all(dir_, ignored);
  }

  // Whether this process can open the project with `m` right now.
  bool CanOpen(Mode m) {
    const int fd = share::Open(file_.c_str(), m.access, m.share, share::kOpenExisting);
    share::Close(fd);
    return fd != -1;
  }

  std::string dir_;
  std::string file_;
  std::string info_;
};

// Calls of the wait-cursor hook.
int shown = 0;
int hidden = 0;

std::string ExpectedUser() {
  const passwd* pw = getpwuid(geteuid());
  return pw ? pw->pw_name : "";
}

std::string ExpectedComputer() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  name[15] = '\0';
  return name;
}

std::string Record(const std::string& text) {
  const uint32_t n = static_cast<uint32_t>(text.size() + 1);
  std::string bytes{char(n & 0xff), char(n >> 8 & 0xff), char(n >> 16 & 0xff), char(n >> 24)};
  return bytes + text + '\0';
}

// Runs `body` in a forked child and gives its exit code, or -1 when the child had
// not finished after `seconds` (an alarm ends it): a hang fails the test instead
// of stopping the whole run.
int ExitCodeWithin(unsigned seconds, const std::function<int()>& body) {
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(seconds);
    _exit(body());
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid) return -2;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

mode_t ModeOf(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0 ? st.st_mode : 0;
}

// ---- The share-mode layer ---------------------------------------------------------

// Random opens and closes of one file by one process, each outcome checked
// against the table with every open still held.
TEST_F(ProjectTest, RandomOpensFollowTheSharingTable) {
  struct Held {
    int fd;
    Mode mode;
  };
  std::mt19937 random(20240611);
  std::vector<Held> held;
  int refused = 0;
  int granted = 0;
  for (int trial = 0; trial < 1000; ++trial) {
    if (!held.empty() && random() % 3 == 0) {
      const size_t victim = random() % held.size();
      share::Close(held[victim].fd);
      held.erase(held.begin() + static_cast<long>(victim));
      continue;
    }
    const Mode next{1 + unsigned(random() % 3), unsigned(random() % 4)};
    bool expected = true;
    for (const Held& h : held) expected = expected && Allowed(h.mode, next);
    const int fd = share::Open(file_.c_str(), next.access, next.share, share::kOpenExisting);
    ASSERT_EQ(fd != -1, expected) << "trial " << trial << ": " << ModeName(next) << " with "
                                  << held.size() << " opens held";
    if (fd == -1) {
      EXPECT_EQ(errno, EBUSY);
      ++refused;
    } else {
      held.push_back({fd, next});
      ++granted;
    }
  }
  for (const Held& h : held) share::Close(h.fd);
  EXPECT_GT(refused, 100);
  EXPECT_GT(granted, 100);
  EXPECT_TRUE(CanOpen({kRW, kShareNone}));  // nothing left behind
}

// Every pair of modes, with the held open in another process and then with
// the other process asking.
TEST_F(ProjectTest, SharingHoldsBetweenProcesses) {
  Holder holder(file_);
  ASSERT_TRUE(holder.Running());
  for (const Mode held : AllModes()) {
    ASSERT_EQ(holder.Open(held), "1") << ModeName(held);
    for (const Mode next : AllModes())
      EXPECT_EQ(CanOpen(next), Allowed(held, next))
          << "held by helper: " << ModeName(held) << ", asked here: " << ModeName(next);
    ASSERT_EQ(holder.Ask("closeall"), "ok");
  }
  for (const Mode held : AllModes()) {
    const int fd = share::Open(file_.c_str(), held.access, held.share, share::kOpenExisting);
    ASSERT_NE(fd, -1);
    for (const Mode next : AllModes())
      EXPECT_EQ(holder.Try(next), Allowed(held, next) ? "1" : "0")
          << "held here: " << ModeName(held) << ", asked by helper: " << ModeName(next);
    share::Close(fd);
  }
}

TEST_F(ProjectTest, DispositionsAndBadArguments) {
  const std::string missing = dir_ + "/missing";
  struct Case {
    const char* what;
    std::string path;
    unsigned access;
    unsigned share;
    int disposition;
    int error;  // 0: the open succeeds
  } cases[] = {
      {"open existing, missing", missing, kR, kShareRW, share::kOpenExisting, ENOENT},
      {"create new, existing", file_, kRW, kShareRW, share::kCreateNew, EEXIST},
      {"directory", dir_, kR, kShareRW, share::kOpenExisting, EISDIR},
      {"no access", file_, 0, kShareRW, share::kOpenExisting, EINVAL},
      {"unknown access bit", file_, 4, kShareRW, share::kOpenExisting, EINVAL},
      {"unknown share bit", file_, kR, 4, share::kOpenExisting, EINVAL},
      {"disposition 0", file_, kR, kShareRW, 0, EINVAL},
      {"disposition 6", file_, kR, kShareRW, 6, EINVAL},
      {"truncate without write", file_, kR, kShareRW, share::kTruncateExisting, EINVAL},
      {"empty path", "", kR, kShareRW, share::kOpenExisting, EINVAL},
      {"open always", file_, kRW, kShareRW, share::kOpenAlways, 0},
      {"backslashes", dir_ + "\\board.pcb", kR, kShareRW, share::kOpenExisting, 0},
  };
  for (const Case& c : cases) {
    errno = 0;
    const int fd = share::Open(c.path.c_str(), c.access, c.share, c.disposition);
    EXPECT_EQ(fd == -1 ? errno : 0, c.error) << c.what;
    share::Close(fd);
  }
  EXPECT_EQ(Slurp(file_), "0123456789");  // open always never truncates
  EXPECT_EQ(share::Open(nullptr, kR, kShareRW, share::kOpenExisting), -1);
  EXPECT_FALSE(fsys::exists(missing));
}

TEST_F(ProjectTest, TruncationWaitsForTheSharingCheck) {
  const int reader = share::Open(file_.c_str(), kR, kShareR, share::kOpenExisting);
  ASSERT_NE(reader, -1);
  EXPECT_EQ(share::Open(file_.c_str(), kRW, kShareRW, share::kCreateAlways), -1);
  EXPECT_EQ(share::Open(file_.c_str(), kRW, kShareRW, share::kTruncateExisting), -1);
  EXPECT_EQ(Slurp(file_), "0123456789");
  share::Close(reader);
  const int writer = share::Open(file_.c_str(), kRW, kShareNone, share::kCreateAlways);
  ASSERT_NE(writer, -1);
  EXPECT_EQ(fsys::file_size(file_), 0u);
  share::Close(writer);
}

TEST_F(ProjectTest, DuplicateKeepsTheOpenAlive) {
  const int fd = share::Open(file_.c_str(), kRW, kShareNone, share::kOpenExisting);
  ASSERT_NE(fd, -1);
  const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  share::Close(fd);
  EXPECT_FALSE(CanOpen({kR, kShareRW}));
  share::Close(copy);
  EXPECT_TRUE(CanOpen({kR, kShareRW}));
}

// ---- The project lock ------------------------------------------------------------

TEST_F(ProjectTest, WhatAnotherProcessCanOpenAtEachStage) {
  Holder holder(file_);
  ASSERT_TRUE(holder.Running());
  const Mode read{kR, kShareRW};
  const Mode write{kRW, kShareRW};
  EXPECT_TRUE(CanOpen(read));
  EXPECT_TRUE(CanOpen(write));

  ASSERT_EQ(holder.Ask("lock"), "1");
  EXPECT_TRUE(CanOpen(read));
  EXPECT_FALSE(CanOpen(write));
  EXPECT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 0);
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 0);

  ASSERT_EQ(holder.Ask("write"), "1");
  EXPECT_FALSE(CanOpen(read));
  EXPECT_FALSE(CanOpen(write));

  ASSERT_EQ(holder.Ask("endwrite"), "ok");
  EXPECT_TRUE(CanOpen(read));
  EXPECT_FALSE(CanOpen(write));

  ASSERT_EQ(holder.Ask("unlock"), "ok");
  EXPECT_TRUE(CanOpen({kRW, kShareNone}));
  EXPECT_FALSE(fsys::exists(info_));
}

TEST_F(ProjectTest, LockInformationNamesTheHolderToAnotherProcess) {
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(Slurp(info_), Record(ExpectedUser()) + Record(ExpectedComputer()));
  Holder holder(file_);
  EXPECT_EQ(holder.Ask("who"), ExpectedUser() + "|" + ExpectedComputer());
  EXPECT_EQ(holder.Ask("lock"), "0");
  SFM_ProjectFile::SetNewFileName("");
  EXPECT_FALSE(fsys::exists(info_));
}

TEST_F(ProjectTest, KilledHolderLeavesNothingLocked) {
  Holder holder(file_);
  ASSERT_EQ(holder.Ask("lock"), "1");
  ASSERT_EQ(holder.Ask("write"), "1");
  EXPECT_FALSE(CanOpen({kR, kShareRW}));
  holder.KillHard();
  EXPECT_TRUE(CanOpen({kRW, kShareNone}));
  // Its information file stays behind, and the next holder writes over it.
  EXPECT_TRUE(fsys::exists(info_));
  EXPECT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(SFM_ProjectFile::GetUserName(file_.c_str()).GetString(), ExpectedUser());
}

TEST_F(ProjectTest, InformationPath) {
  struct Case {
    const char* project;
    int info;
    const char* path;
  } cases[] = {
      {"/a/b.pcb", 1, "/a/~$b.pcb.inf"},
      {"/a/b.pcb", 0, "/a/~$b.pcb"},
      {"C:\\a\\b.pcb", 1, "C:\\a\\~$b.pcb.inf"},
      {"/a\\b/c.d.pcb", 1, "/a\\b/~$c.d.pcb.inf"},
      {"b.pcb", 1, "~$b.pcb.inf"},
      {"/a/noext", 1, "/a/~$noext.inf"},
      {"", 1, "~$.inf"},
  };
  for (const Case& c : cases)
    EXPECT_STREQ(SFM_ProjectFile::CreateTempFilePath(c.project, c.info), c.path) << c.project;
  EXPECT_STREQ(SFM_ProjectFile::CreateTempFilePath(nullptr), "~$.inf");
}

TEST_F(ProjectTest, InformationFileIsRewrittenWithoutTruncation) {
  const std::string tail(300, 'x');
  Spit(info_, Record("ann") + Record("ws7") + tail);
  fsys::permissions(info_, fsys::perms::owner_read);  // an earlier record made read-only
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  const std::string records = Record(ExpectedUser()) + Record(ExpectedComputer());
  const std::string bytes = Slurp(info_);
  ASSERT_EQ(bytes.size(), Record("ann").size() + Record("ws7").size() + tail.size());
  EXPECT_EQ(bytes.substr(0, records.size()), records);
  EXPECT_EQ(bytes.substr(records.size()),
            (Record("ann") + Record("ws7") + tail).substr(records.size()));
  EXPECT_EQ(SFM_ProjectFile::GetComputerName(file_.c_str()).GetString(), ExpectedComputer());
}

// Whatever else stands under the information file's name is never followed, never
// written and never has its permissions changed; the lock is taken all the same,
// and nobody is named as its holder.
TEST_F(ProjectTest, InformationFileIsNeverFollowedNorPlanted) {
  const std::string victim = dir_ + "/victim.txt";
  const std::string nowhere = dir_ + "/nowhere";
  struct Case {
    const char* what;
    std::function<void()> plant;
  } cases[] = {
      {"link to a writable file", [&] { fsys::create_symlink(victim, info_); }},
      {"link to a read-only file",
       [&] {
         fsys::permissions(victim, fsys::perms::owner_read);
         fsys::create_symlink(victim, info_);
       }},
      {"dangling link", [&] { fsys::create_symlink(nowhere, info_); }},
      {"hard link", [&] { fsys::create_hard_link(victim, info_); }},
      {"read-only file that is no lock record",
       [&] {
         Spit(info_, "precious");
         fsys::permissions(info_, fsys::perms::owner_read);
       }},
      {"fifo", [&] { mkfifo(info_.c_str(), 0600); }},
      {"directory", [&] { fsys::create_directory(info_); }},
  };
  for (const Case& c : cases) {
    std::error_code ignored;
    fsys::permissions(victim, fsys::perms::owner_all, ignored);
    fsys::permissions(info_, fsys::perms::owner_all, ignored);
    fsys::remove_all(info_, ignored);
    fsys::remove(nowhere, ignored);
    Spit(victim, "precious");
    fsys::permissions(victim, fsys::perms::owner_read | fsys::perms::owner_write);
    c.plant();
    const mode_t victimMode = ModeOf(victim);
    const mode_t plantedMode = ModeOf(info_);
    const std::string plantedBytes = S_ISREG(plantedMode) ? Slurp(info_) : "";
    const int code = ExitCodeWithin(10, [&] {
      if (SFM_ProjectFile::TryLockProjectFile(file_.c_str()) != 1) return 1;
      SFM_ProjectFile::GetUserName(victim.c_str());  // forget any cached answer
      if (*SFM_ProjectFile::GetUserName(file_.c_str()).GetString()) return 2;
      SFM_ProjectFile::SetNewFileName("");
      return 0;
    });
    EXPECT_EQ(code, 0) << c.what << (code == -1 ? ": hung" : "");
    EXPECT_EQ(Slurp(victim), "precious") << c.what;
    EXPECT_EQ(ModeOf(victim), victimMode) << c.what;
    EXPECT_EQ(ModeOf(info_), plantedMode) << c.what;
    if (S_ISREG(plantedMode)) {
      EXPECT_EQ(Slurp(info_), plantedBytes) << c.what;
    }
    EXPECT_FALSE(fsys::exists(nowhere)) << c.what;
  }
}

TEST_F(ProjectTest, HolderQueriesAreCachedAndSurviveBadFiles) {
  const std::string other = dir_ + "/other.pcb";
  const std::string otherInfo = dir_ + "/~$other.pcb.inf";
  EXPECT_STREQ(SFM_ProjectFile::GetUserName(other.c_str()), "");
  Spit(otherInfo, Record("ann") + Record("ws7"));
  EXPECT_STREQ(SFM_ProjectFile::GetUserName(other.c_str()), "");  // cached: not read again
  EXPECT_STREQ(SFM_ProjectFile::GetUserName(file_.c_str()), "");
  EXPECT_STREQ(SFM_ProjectFile::GetUserName(other.c_str()), "ann");
  EXPECT_STREQ(SFM_ProjectFile::GetComputerName(other.c_str()), "ws7");

  struct Case {
    const char* what;
    std::string bytes;
  } bad[] = {
      {"empty", ""},
      {"short length", std::string("\x04\x00", 2)},
      {"user cut short", Record("ann").substr(0, 6)},
      {"computer missing", Record("ann")},
      {"huge length", std::string("\xff\xff\xff\x7f", 4) + "ann"},
      {"computer cut short", Record("ann") + Record("ws7").substr(0, 5)},
  };
  for (const Case& c : bad) {
    Spit(info_, c.bytes);
    SFM_ProjectFile::GetUserName(other.c_str());  // forget the cached answer
    EXPECT_STREQ(SFM_ProjectFile::GetUserName(file_.c_str()), "") << c.what;
    EXPECT_STREQ(SFM_ProjectFile::GetComputerName(file_.c_str()), "") << c.what;
  }
}

TEST_F(ProjectTest, LockingTwiceKeepsTheDescriptorAndNewNameUnlocks) {
  SFM_ProjectFile::SetWaitCursorHook([](int show) { ++(show ? shown : hidden); });
  shown = hidden = 0;
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 1);
  EXPECT_GE(shown, 1);
  EXPECT_EQ(shown, hidden);
  int before;
  {
    SFM_ProjectFile access(0, "");
    before = access.GetDescriptor();
  }
  const int opens = shown;
  EXPECT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(shown, opens);  // nothing was opened
  EXPECT_EQ(SFM_ProjectFile(0, "").GetDescriptor(), before);

  EXPECT_EQ(SFM_ProjectFile::SetNewFileName("/elsewhere.pcb"), 1);
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 0);
  EXPECT_STREQ(SFM_ProjectFile::GetProjectFileName(), "/elsewhere.pcb");
  EXPECT_TRUE(CanOpen({kRW, kShareNone}));
}

TEST_F(ProjectTest, ReadOnlyProjectIsNeverLocked) {
  SFM_ProjectFile::SetWaitCursorHook([](int show) { ++(show ? shown : hidden); });
  shown = hidden = 0;
  fsys::permissions(file_, fsys::perms::owner_read | fsys::perms::group_read);
  EXPECT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 0);
  EXPECT_EQ(shown, 0);  // refused before any attempt
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 0);
  EXPECT_EQ(SFM_ProjectFile::TryLockProjectFile((dir_ + "/no/such/dir.pcb").c_str()), 0);
  EXPECT_EQ(shown, 1);
  EXPECT_EQ(hidden, 1);
}

TEST_F(ProjectTest, WritersUpgradeAndTheLastDowngrades) {
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  Holder holder(file_);
  EXPECT_EQ(holder.Try({kR, kShareRW}), "1");
  {
    SFM_ProjectFile first(1, nullptr);
    ASSERT_TRUE(first.IsValid());
    EXPECT_EQ(holder.Try({kR, kShareRW}), "0");
    {
      SFM_ProjectFile second(1, "");
      ASSERT_TRUE(second.IsValid());
      EXPECT_EQ(second.GetDescriptor(), first.GetDescriptor());
    }
    EXPECT_EQ(holder.Try({kR, kShareRW}), "0");  // the first writer still writes

    first.Clear();
    EXPECT_EQ(first.GetFileSize(), 0u);
    EXPECT_EQ(first.Write("abcdef", 6), 6u);
    EXPECT_EQ(first.GetFilePointer(), 6u);
    EXPECT_EQ(first.SetFilePointer(-4, 2), 2u);
    char buffer[8] = {};
    EXPECT_EQ(first.Read(buffer, sizeof buffer), 4u);
    EXPECT_STREQ(buffer, "cdef");
    EXPECT_EQ(first.SetFilePointer(1, 0), 1u);
    EXPECT_EQ(first.SetFilePointer(2, 1), 3u);
    EXPECT_EQ(first.SetFilePointer(0, 3), static_cast<unsigned long>(-1));
  }
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 1);
  EXPECT_EQ(holder.Try({kR, kShareRW}), "1");
  EXPECT_EQ(holder.Try({kRW, kShareRW}), "0");
  EXPECT_EQ(Slurp(file_), "abcdef");
}

TEST_F(ProjectTest, FailedUpgradeKeepsTheWriteLock) {
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  const std::string record = Slurp(info_);
  Holder holder(file_);
  ASSERT_EQ(holder.Open({kR, kShareRW}), "1");
  {
    SFM_ProjectFile writer(1, "");
    EXPECT_FALSE(writer.IsValid());
  }
  // Nothing was let go, so nothing was lost: the lock and its record stay.
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 1);
  EXPECT_STREQ(SFM_ProjectFile::GetProjectFileName(), file_.c_str());
  EXPECT_EQ(Slurp(info_), record);
  EXPECT_EQ(holder.Try({kRW, kShareRW}), "0");
  EXPECT_EQ(holder.Try({kR, kShareRW}), "1");  // the reader's sharing is untouched
  holder.Ask("closeall");
  SFM_ProjectFile writer(1, "");
  EXPECT_TRUE(writer.IsValid());
  EXPECT_EQ(holder.Try({kR, kShareRW}), "0");
}

// The upgrade to the read-write lock and the downgrade after it must never let go
// of the project. Another process tries to take the lock at the moment this one
// opens or converts (the wait-cursor hook runs right then).
TEST_F(ProjectTest, UpgradeAndDowngradeLeaveNoWindow) {
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  const std::string ours = Record(ExpectedUser()) + Record(ExpectedComputer());
  static Holder* rival = nullptr;
  static std::vector<std::string> answers;
  Holder holder(file_);
  ASSERT_TRUE(holder.Running());
  rival = &holder;
  answers.clear();
  SFM_ProjectFile::SetWaitCursorHook([](int show) {
    if (show) answers.push_back(rival->Ask("lock"));
  });
  for (int round = 0; round < 3; ++round) {
    {
      SFM_ProjectFile writer(1, "");
      EXPECT_TRUE(writer.IsValid()) << "round " << round;
      EXPECT_EQ(writer.Write("data", 4), 4u);
    }
    EXPECT_EQ(SFM_ProjectFile::IsLockW(), 1) << "round " << round;
  }
  SFM_ProjectFile::SetWaitCursorHook(nullptr);
  for (const std::string& answer : answers) EXPECT_EQ(answer, "0");
  EXPECT_EQ(holder.Ask("lock"), "0");
  // The record still names this process, and it is the one a rival would read.
  EXPECT_EQ(Slurp(info_), ours);
  EXPECT_EQ(holder.Ask("who"), ExpectedUser() + "|" + ExpectedComputer());
  rival = nullptr;
}

// The pause after each open attempt is 1000 / (attempts / timeout) ms, at most one
// second, never overflowing.
TEST_F(ProjectTest, PauseBetweenAttemptsIsClamped) {
  struct Case {
    int attempts;
    int timeout;
    int pause;
  } cases[] = {
      {2, 1, 500},
      {1, 1, 1000},
      {0, 1, 1000},
      {3, 1, 333},
      {2, 0, 1},
      {2, -4, 1},
      {1, 3, 1000},
      {2, 100000, 1000},
      {2, INT_MAX, 1000},
      {INT_MAX, 1, 0},
      {INT_MAX, INT_MAX, 1000},
      {-7, 1, 1000},
      {1000, 1, 1},
      {1001, 1, 0},
  };
  for (const Case& c : cases) {
    SFM_ProjectFile::SetOpenAttempts(c.attempts);
    SFM_ProjectFile::SetOpenTimeout(c.timeout);
    EXPECT_EQ(SFM_ProjectFile::GetOpenPause(), c.pause)
        << c.attempts << " attempts over " << c.timeout << " s";
  }
}

// Locks that other programs take on the project (flock, a whole-file byte-range
// lock as an NFS client makes of flock) never make an open wait: it is granted or
// refused at once.
TEST_F(ProjectTest, OpensNeverWaitForOtherLocks) {
  struct Case {
    const char* lock;
    bool granted;
  } cases[] = {{"flock", true}, {"rangelock", false}};
  for (const Case& c : cases) {
    Holder holder(file_);
    ASSERT_EQ(holder.Ask(c.lock), "1") << c.lock;
    const int code = ExitCodeWithin(10, [&] {
      const int reader = share::Open(file_.c_str(), kR, kShareRW, share::kOpenExisting);
      const int error = errno;
      const int locked = SFM_ProjectFile::TryLockProjectFile(file_.c_str());
      if ((reader != -1) != c.granted || locked != int(c.granted)) return 1;
      return reader != -1 || error == EBUSY ? 0 : 2;
    });
    EXPECT_EQ(code, 0) << c.lock << (code == -1 ? ": the open hung" : "");
  }
}

// Several processes race for the project, some to read it (sharing read) and some
// to write it (sharing nothing), pausing briefly after a refusal as the project
// lock does. A holder leaves a marker file while it holds; it must never find a
// marker of a conflicting holder.
TEST_F(ProjectTest, ConflictingOpensRacingAcrossProcesses) {
  const std::string writerMarker = dir_ + "/w";
  std::vector<pid_t> children;
  for (int child = 0; child < 4; ++child) {
    const pid_t pid = fork();
    if (pid == 0) {
      int granted = 0;
      for (int i = 0; i < 150; ++i) {
        const bool writer = (i + child) % 3 == 0;
        const int fd = writer ? share::Open(file_.c_str(), kRW, kShareNone, share::kOpenExisting)
                              : share::Open(file_.c_str(), kR, kShareR, share::kOpenExisting);
        if (fd == -1) {
          usleep(200);
          continue;
        }
        ++granted;
        const std::string mine = writer ? writerMarker : dir_ + "/r" + std::to_string(getpid());
        const int marker = open(mine.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
        if (marker == -1) _exit(1);  // another writer holds
        close(marker);
        bool clash = !writer && fsys::exists(writerMarker);
        if (writer)
          for (const auto& entry : fsys::directory_iterator(dir_))
            clash = clash || entry.path().filename().string()[0] == 'r';
        unlink(mine.c_str());
        share::Close(fd);
        if (clash) _exit(1);
      }
      _exit(granted > 0 ? 0 : 2);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "child " << pid << " status " << status << " (1: two conflicting holders)";
  }
  EXPECT_TRUE(CanOpen({kRW, kShareNone}));
}

TEST_F(ProjectTest, ReaderWithoutLockUsesTheSharedReadDescriptor) {
  SFM_ProjectFile::SetNewFileName(file_.c_str());
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 0);
  {
    SFM_ProjectFile reader(0, "");
    ASSERT_TRUE(reader.IsValid());
    SFM_ProjectFile again(0, "");
    EXPECT_EQ(again.GetDescriptor(), reader.GetDescriptor());
    char buffer[4] = {};
    EXPECT_EQ(reader.Read(buffer, 3), 3u);
    EXPECT_STREQ(buffer, "012");
    EXPECT_EQ(reader.Write("x", 1), 0u);  // read-only descriptor
    EXPECT_TRUE(CanOpen({kRW, kShareRW}));
    EXPECT_FALSE(CanOpen({kRW, kShareNone}));
  }
  EXPECT_TRUE(CanOpen({kRW, kShareNone}));  // the last reader closed it

  SFM_ProjectFile::SetNewFileName((dir_ + "/missing.pcb").c_str());
  SFM_ProjectFile none(0, "");
  EXPECT_FALSE(none.IsValid());
  char byte;
  EXPECT_EQ(none.Read(&byte, 1), 0u);
  EXPECT_EQ(none.Write(&byte, 1), 0u);
  EXPECT_EQ(none.GetFileSize(), static_cast<unsigned long>(-1));
  EXPECT_EQ(none.GetFilePointer(), static_cast<unsigned long>(-1));
  EXPECT_EQ(none.Duplicate(), reinterpret_cast<void*>(-1));
  EXPECT_EQ(static_cast<void*>(none), reinterpret_cast<void*>(-1));
  none.Clear();
}

TEST_F(ProjectTest, AccessorOnAnotherFileIsExclusiveUntilItEnds) {
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  const std::string other = dir_ + "/other.dat";
  Holder holder(other);
  {
    SFM_ProjectFile access(0, other.c_str());
    ASSERT_TRUE(access.IsValid());
    EXPECT_EQ(holder.Try({kR, kShareRW}), "0");
    EXPECT_EQ(access.Write("hello", 5), 5u);
    void* copy = access.Duplicate();
    ASSERT_NE(copy, reinterpret_cast<void*>(-1));
    close(static_cast<int>(reinterpret_cast<intptr_t>(copy)));
  }
  EXPECT_EQ(holder.Try({kRW, kShareNone}), "1");
  EXPECT_EQ(Slurp(other), "hello");

  // A later writer on the project still upgrades: the other file's count was given back.
  {
    SFM_ProjectFile writer(1, "");
    ASSERT_TRUE(writer.IsValid());
    EXPECT_FALSE(CanOpen({kR, kShareRW}));
  }
  // A name differing only in letter case is the project itself.
  std::string upper = dir_ + "/BOARD.PCB";
  SFM_ProjectFile same(0, upper.c_str());
  EXPECT_TRUE(same.IsValid());
  EXPECT_FALSE(fsys::exists(upper));
}

}  // namespace
