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
#include <cstdio>
#include <filesystem>
#include <fstream>
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
  Spit(info_, tail);
  fsys::permissions(info_, fsys::perms::owner_read);  // read-only: made writable again
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  const std::string records = Record(ExpectedUser()) + Record(ExpectedComputer());
  const std::string bytes = Slurp(info_);
  ASSERT_EQ(bytes.size(), tail.size());
  EXPECT_EQ(bytes.substr(0, records.size()), records);
  EXPECT_EQ(bytes.substr(records.size()), tail.substr(records.size()));
  EXPECT_EQ(SFM_ProjectFile::GetComputerName(file_.c_str()).GetString(), ExpectedComputer());
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

TEST_F(ProjectTest, FailedUpgradeForgetsTheProject) {
  ASSERT_EQ(SFM_ProjectFile::TryLockProjectFile(file_.c_str()), 1);
  Holder holder(file_);
  ASSERT_EQ(holder.Open({kR, kShareRW}), "1");
  SFM_ProjectFile writer(1, "");
  EXPECT_FALSE(writer.IsValid());
  EXPECT_EQ(SFM_ProjectFile::IsLockW(), 0);
  EXPECT_STREQ(SFM_ProjectFile::GetProjectFileName(), "");
  EXPECT_FALSE(fsys::exists(info_));  // it no longer names us
  holder.Ask("closeall");
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
