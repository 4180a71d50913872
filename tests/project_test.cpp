// project_test.cpp - the share-mode layer and SFM_ProjectFile, across real processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "../system/platform/share_posix.h"
#include "sfmproject.h"
#include "temp_files.h"

namespace share = brix::share;
namespace fsys = std::filesystem;
using PF = SFM_ProjectFile;

namespace {

constexpr unsigned kR = share::kAccessRead, kRW = share::kAccessRead | share::kAccessWrite;
constexpr unsigned kShareR = share::kShareRead, kShareRW = kShareR | share::kShareWrite;
constexpr unsigned long kNone = static_cast<unsigned long>(-1);

using Results = std::vector<unsigned long>;  // in braces, evaluated in order
struct Mode { unsigned access, share; };
Mode ModeNo(unsigned i) { return {1 + i / 4, i % 4}; }  // the 12 valid modes
// The documented table read both ways: the held open's share mode must let in the
// new access, and the new open's share mode the held access.
bool Allowed(Mode held, Mode next) {
  return (next.access & ~held.share) == 0 && (held.access & ~next.share) == 0;
}

std::string Record(const std::string& text) {
  const uint32_t n = uint32_t(text.size() + 1);
  return std::string{char(n), char(n >> 8), char(n >> 16), char(n >> 24)} + text + '\0';
}
// This process's lock record, or "user|computer" as a holder reports it.
std::string Me(bool record) {
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  const std::string user = getpwuid(geteuid())->pw_name, computer = std::string(host).substr(0, 15);
  return record ? Record(user) + Record(computer) : user + "|" + computer;
}

// A lockholder process (tests/helpers) driven a line at a time; killed when it goes.
class Holder {
 public:
  explicit Holder(const std::string& file) {
    const auto path = fsys::read_symlink("/proc/self/exe").parent_path() / "lockholder";
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return;
    if ((pid_ = fork()) == 0)
      dup2(in[0], 0), dup2(out[1], 1), execl(path.c_str(), path.c_str(), file.c_str(), nullptr), _exit(127);
    close(in[0]), close(out[1]);
    to_ = fdopen(in[1], "w"), from_ = fdopen(out[0], "r");
  }
  ~Holder() { KillHard(), fclose(to_), fclose(from_); }
  std::string Ask(const std::string& command) {
    char line[512] = {};
    fprintf(to_, "%s\n", command.c_str());
    fflush(to_);
    return fgets(line, sizeof line, from_) ? std::string(line, strcspn(line, "\n")) : "<none>";
  }
  std::string Open(Mode m, const char* how = "open ") {  // "try ": closed again at once
    return Ask(how + std::to_string(m.access) + " " + std::to_string(m.share));
  }
  void KillHard() {  // as a crash would end it
    if (pid_ > 0 && kill(pid_, SIGKILL) == 0) waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  FILE *to_ = nullptr, *from_ = nullptr;
};

int Reap(pid_t child) {  // its exit code, or -1 when a signal ended it
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
// Runs `body` in a forked child: its exit code, or -1 when the alarm had to end it
// (a hang fails the test instead of stopping the run).
int ExitCodeWithin(unsigned seconds, const std::function<int()>& body) {
  fflush(nullptr);
  const pid_t pid = fork();
  return pid == 0 ? (alarm(seconds), _exit(body()), 0) : Reap(pid);
}

int shown = 0, hidden = 0;  // calls of the wait-cursor hook

class ProjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    file_ = dir_ + "/board.pcb", info_ = dir_ + "/~$board.pcb.inf";
    Spit(file_, "0123456789");
    PF::SetOpenAttempts(1), PF::SetOpenTimeout(0);
    shown = hidden = 0;
  }
  void TearDown() override {
    PF::SetNewFileName(""), PF::SetWaitCursorHook(nullptr);
    PF::SetOpenAttempts(2), PF::SetOpenTimeout(1);
    fsys::permissions(file_, fsys::perms::owner_all, ignored_);
  }
  int Open(Mode m, int disposition = share::kOpenExisting) {
    return share::Open(file_.c_str(), m.access, m.share, disposition);
  }
  bool CanOpen(Mode m) { return Closed(Open(m)) != -1; }  // right now, from this process
  static int Closed(int fd) { return share::Close(fd), fd; }
  TempDir tmp_;
  const std::string dir_ = tmp_.path;
  std::string file_, info_;
  std::error_code ignored_;
};

// ---- The share-mode layer ---------------------------------------------------------

TEST_F(ProjectTest, SharingTableHoldsBetweenProcessesBothWays) {
  Holder holder(file_);
  for (unsigned i = 0; i < 12; ++i) {
    ASSERT_EQ(holder.Open(ModeNo(i)), "1") << "mode " << i;
    for (unsigned j = 0; j < 12; ++j)
      EXPECT_EQ(CanOpen(ModeNo(j)), Allowed(ModeNo(i), ModeNo(j))) << "held there " << i << ", here " << j;
    ASSERT_EQ(holder.Ask("closeall"), "ok");
    const int fd = Open(ModeNo(i));
    for (unsigned j = 0; j < 12; ++j)
      EXPECT_EQ(holder.Open(ModeNo(j), "try "), Allowed(ModeNo(i), ModeNo(j)) ? "1" : "0") << i << ", " << j;
    share::Close(fd);
  }
  // Two opens held here at once: each is counted, and nothing is left behind.
  const int a = Open({kR, kShareRW}), b = Open({kR, kShareR}), refused = Open({kRW, kShareRW});
  EXPECT_EQ(refused == -1 ? errno : 0, EBUSY);
  EXPECT_TRUE((share::Close(b), CanOpen({kRW, kShareRW})));
  EXPECT_TRUE((share::Close(a), CanOpen({kRW, 0})));
}

TEST_F(ProjectTest, DispositionsBadArgumentsAndTruncation) {
  const std::string missing = dir_ + "/missing";
  constexpr int kExisting = share::kOpenExisting;
  const std::tuple<std::string, unsigned, unsigned, int, int> cases[] = {  // error 0: granted
      {missing, kR, kShareRW, kExisting, ENOENT}, {dir_, kR, kShareRW, kExisting, EISDIR},
      {file_, kRW, kShareRW, share::kCreateNew, EEXIST}, {"", kR, 0, kExisting, EINVAL},
      {file_, 0, kShareRW, kExisting, EINVAL}, {file_, 4, kShareRW, kExisting, EINVAL},
      {file_, kR, 4, kExisting, EINVAL}, {file_, kR, kShareRW, 0, EINVAL},
      {file_, kR, kShareRW, 6, EINVAL}, {file_, kR, 0, share::kTruncateExisting, EINVAL},
      {file_, kRW, kShareRW, share::kOpenAlways, 0}, {dir_ + "\\board.pcb", kR, kShareRW, kExisting, 0}};
  for (const auto& [path, access, sharing, disposition, error] : cases) {
    errno = 0;
    const int fd = Closed(share::Open(path.c_str(), access, sharing, disposition));
    EXPECT_EQ(fd == -1 ? errno : 0, error) << path << " " << access << sharing << disposition;
  }
  EXPECT_EQ(share::Open(nullptr, kR, kShareRW, kExisting), -1);
  // A refused open never truncates; a duplicate keeps the open (and its marks) alive.
  const int reader = Open({kR, kShareR});
  EXPECT_EQ(Open({kRW, kShareRW}, share::kCreateAlways), -1);
  EXPECT_EQ(Open({kRW, kShareRW}, share::kTruncateExisting), -1);
  EXPECT_EQ(Slurp(file_), "0123456789");
  const int copy = fcntl(reader, F_DUPFD_CLOEXEC, 0);
  EXPECT_FALSE((share::Close(reader), CanOpen({kRW, kShareRW})));
  EXPECT_NE(Closed(Open({kRW, 0}, (share::Close(copy), share::kCreateAlways))), -1);
  EXPECT_EQ(fsys::file_size(file_), 0u);
}

// Locks other programs take (flock, a whole-file byte-range lock as an NFS client
// makes of flock; here this process's, the opens are a child's) never make an open
// wait: granted or refused at once.
TEST_F(ProjectTest, OpensNeverWaitForOtherLocks) {
  for (const bool range : {false, true}) {
    const int fd = open(file_.c_str(), O_RDWR | O_CLOEXEC);
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(range ? fcntl(fd, F_SETLK, &whole) : flock(fd, LOCK_EX | LOCK_NB), 0);
    const int code = ExitCodeWithin(10, [&] {
      const int reader = Open({kR, kShareRW}), error = errno;
      if ((reader != -1) == range || PF::TryLockProjectFile(file_.c_str()) == range) return 1;
      return reader != -1 || error == EBUSY ? 0 : 2;
    });
    EXPECT_EQ(code, 0) << (range ? "range lock" : "flock") << (code == -1 ? ": hung" : "");
    close(fd);
  }
}

// Processes race to read (sharing read) and write (sharing nothing); each leaves a
// marker while it holds and must never see one of a conflicting holder.
TEST_F(ProjectTest, ConflictingOpensRacingAcrossProcesses) {
  std::vector<pid_t> children;
  for (int child = 0; child < 4; ++child) {
    if (children.push_back(fork()), children.back() != 0) continue;
    for (int i = 0; i < 150; ++i) {
      const bool writer = (i + child) % 3 == 0;
      const int fd = Open(writer ? Mode{kRW, 0} : Mode{kR, kShareR});
      if (fd == -1 && usleep(200) == 0) continue;
      const std::string mine = dir_ + (writer ? "/w" : "/r" + std::to_string(getpid()));
      const int marker = open(mine.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
      bool clash = marker == -1;  // another writer holds
      for (const auto& entry : fsys::directory_iterator(dir_))
        clash |= entry.path().filename().string()[0] == (writer ? 'r' : 'w');
      close(marker), unlink(mine.c_str()), share::Close(fd);
      if (clash) _exit(1);
    }
    _exit(0);
  }
  for (pid_t pid : children) EXPECT_EQ(Reap(pid), 0) << "two conflicting holders";
}

// ---- The project lock ------------------------------------------------------------

TEST_F(ProjectTest, WhatAnotherProcessSeesAtEachStage) {
  {
    Holder holder(file_);
    const std::tuple<const char*, const char*, bool, bool> stages[] = {  // answer, read, write
        {"lock", "1", true, false}, {"write", "1", false, false}, {"endwrite", "ok", true, false},
        {"unlock", "ok", true, true}};
    for (const auto& [command, answer, read, write] : stages) {
      ASSERT_EQ(holder.Ask(command), answer) << command;
      EXPECT_EQ(CanOpen({kR, kShareRW}), read) << command;
      EXPECT_EQ(CanOpen({kRW, kShareRW}), write) << command;
      EXPECT_EQ(PF::TryLockProjectFile(write ? nullptr : file_.c_str()), 0) << command;
    }
    EXPECT_FALSE(fsys::exists(info_));  // removed by the holder that wrote it
    // A holder killed while writing lets go of everything but its record.
    ASSERT_EQ(holder.Ask("lock"), "1");
    ASSERT_EQ(holder.Ask("write"), "1");
    holder.KillHard();
    EXPECT_TRUE(CanOpen({kRW, 0}) && fsys::exists(info_));
  }
  // The next holder writes over it, and another process reads this one's name.
  ASSERT_EQ(PF::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(Slurp(info_), Me(true));
  Holder other(file_);
  EXPECT_EQ(other.Ask("who"), Me(false));
  EXPECT_EQ(other.Ask("lock") + "|" + other.Ask("unlock"), "0|ok");
  EXPECT_TRUE(fsys::exists(info_));  // a process that did not write it leaves it
  EXPECT_EQ(PF::SetNewFileName(""), 1);
  EXPECT_FALSE(fsys::exists(info_));
}

TEST_F(ProjectTest, InformationFileIsRewrittenInPlaceAndReadDefensively) {
  const char* paths[][2] = {{"C:\\a\\b.pcb", "C:\\a\\~$b.pcb.inf"},
                            {"/a\\b/c.d.pcb", "/a\\b/~$c.d.pcb.inf"}, {"b.pcb", "~$b.pcb.inf"}};
  for (const auto& p : paths) EXPECT_STREQ(PF::CreateTempFilePath(p[0]), p[1]);
  EXPECT_STREQ(PF::CreateTempFilePath("/a/b", 0), "/a/~$b");

  const std::string old = Record("ann") + Record("ws7") + std::string(300, 'x');
  Spit(info_, old);
  fsys::permissions(info_, fsys::perms::owner_read);  // an earlier record left read-only
  ASSERT_EQ(PF::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(Slurp(info_), Me(true) + old.substr(Me(true).size()));
  EXPECT_EQ(std::string(PF::GetUserName(file_.c_str())) + "|" + PF::GetComputerName(file_.c_str()).GetString(), Me(false));
  // Queries are cached per project, and survive damaged records.
  PF::SetNewFileName("");
  const std::string other = dir_ + "/other.pcb";
  EXPECT_STREQ(PF::GetUserName(other.c_str()), "");
  Spit(dir_ + "/~$other.pcb.inf", Record("ann") + Record("ws7"));
  EXPECT_STREQ(PF::GetUserName(other.c_str()), "");  // cached: not read again
  EXPECT_STREQ(PF::GetUserName(file_.c_str()), "");
  EXPECT_EQ(PF::GetUserName(other.c_str()) + "|" + PF::GetComputerName(other.c_str()), "ann|ws7");
  const std::string bad[] = {"", std::string("\x04\x00", 2), Record("ann").substr(0, 6),
                             Record("ann"), std::string("\xff\xff\xff\x7f", 4) + "ann",
                             Record("ann") + Record("ws7").substr(0, 5)};
  for (const std::string& bytes : bad) {
    Spit(info_, bytes);
    PF::GetUserName(other.c_str());  // forget the cached answer
    // (Nor does a query change the project's name.)
    EXPECT_EQ(PF::GetUserName(file_.c_str()) + PF::GetComputerName(file_.c_str()) + PF::GetProjectFileName(), "")
        << bytes.size() << " bytes";
  }
}

// Whatever else stands under the information file's name is never followed,
// written, removed or changed in permissions; the lock is taken all the same, and
// nobody is named as its holder.
TEST_F(ProjectTest, InformationFileIsNeverFollowedNorPlanted) {
  const std::string victim = dir_ + "/victim.txt", nowhere = dir_ + "/nowhere";
  const std::function<void()> plants[] = {
      [&] { fsys::create_symlink(victim, info_); },
      [&] { fsys::permissions(victim, fsys::perms::owner_read), fsys::create_symlink(victim, info_); },
      [&] { fsys::create_symlink(nowhere, info_); },
      [&] { fsys::create_hard_link(victim, info_); },
      [&] { Spit(info_, "precious"), fsys::permissions(info_, fsys::perms::owner_read); },
      [&] { mkfifo(info_.c_str(), 0600); },
      [&] { fsys::create_directory(info_); },
  };
  for (size_t i = 0; i < std::size(plants); ++i) {
    fsys::permissions(info_, fsys::perms::owner_all, ignored_);
    fsys::remove_all(info_, ignored_), fsys::remove(victim);
    Spit(victim, "precious");
    plants[i]();
    const auto victimMode = fsys::status(victim), plantedMode = fsys::symlink_status(info_);
    const auto bytes = [&] { return fsys::is_regular_file(plantedMode) ? Slurp(info_) : ""; };
    const std::string plantedBytes = bytes();
    const int code = ExitCodeWithin(10, [&] {
      if (PF::TryLockProjectFile(file_.c_str()) != 1) return 1;
      PF::GetUserName(victim.c_str());  // forget any cached answer
      if (*PF::GetUserName(file_.c_str()).GetString()) return 2;
      return PF::SetNewFileName("") - 1;
    });
    EXPECT_EQ(code, 0) << "plant " << i << (code == -1 ? ": hung" : "");
    EXPECT_EQ(Slurp(victim), "precious") << i;
    EXPECT_TRUE(fsys::status(victim) == victimMode && fsys::symlink_status(info_) == plantedMode) << i;
    EXPECT_EQ(bytes(), plantedBytes) << i;
    EXPECT_FALSE(fsys::exists(nowhere)) << i;
  }
}

TEST_F(ProjectTest, LockingTwiceReusesTheLockAndReadOnlyIsNeverLocked) {
  PF::SetWaitCursorHook([](int show) { ++(show ? shown : hidden); });
  fsys::permissions(file_, fsys::perms::owner_read);
  EXPECT_EQ(PF::TryLockProjectFile(file_.c_str()), 0);
  EXPECT_EQ(shown, 0);  // refused before any attempt
  EXPECT_EQ(PF::TryLockProjectFile((dir_ + "/no/such/dir.pcb").c_str()), 0);
  EXPECT_EQ(shown * 10 + hidden, 11);
  fsys::permissions(file_, fsys::perms::owner_all);
  ASSERT_EQ(PF::TryLockProjectFile(file_.c_str()), 1);
  const int opens = shown, before = PF(0, "").GetDescriptor();
  EXPECT_EQ(PF::TryLockProjectFile(file_.c_str()), 1);
  EXPECT_EQ(shown * 10 + hidden, opens * 11);  // nothing was opened
  EXPECT_EQ(PF(0, "").GetDescriptor(), before);
  EXPECT_EQ((std::vector<int>{PF::SetNewFileName("/elsewhere.pcb"), PF::IsLockW(), CanOpen({kRW, 0})}),
            (std::vector<int>{1, 0, 1}));
  EXPECT_STREQ(PF::GetProjectFileName(), "/elsewhere.pcb");
}

// Each refused attempt is followed by the pause, 1000 / (attempts / timeout) ms
// clamped to 1 ms .. 1 s in floating point; a granted one is not.
TEST_F(ProjectTest, PauseBetweenAttemptsIsClampedAndOnlyFollowsRefusals) {
  const int cases[][3] = {{2, 1, 500}, {1, 1, 1000}, {0, 1, 1000}, {3, 1, 333}, {2, 0, 1}, {2, -4, 1},
                          {1, 3, 1000}, {2, 100000, 1000}, {2, INT_MAX, 1000}, {INT_MAX, 1, 0},
                          {INT_MAX, INT_MAX, 1000}, {-7, 1, 1000}, {1000, 1, 1}, {1001, 1, 0}};
  for (const auto& c : cases) {
    PF::SetOpenAttempts(c[0]), PF::SetOpenTimeout(c[1]);
    EXPECT_EQ(PF::GetOpenPause(), c[2]) << c[0] << " attempts over " << c[1] << " s";
  }
  PF::SetOpenAttempts(40), PF::SetOpenTimeout(0);  // 1 ms pauses
  Holder holder(file_);
  ASSERT_EQ(holder.Ask("lock"), "1");
  const auto lockingTakes = [this](int expected) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(PF::TryLockProjectFile(file_.c_str()), expected);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  };
  EXPECT_GE(lockingTakes(0), 40);
  ASSERT_EQ(holder.Ask("unlock"), "ok");
  PF::SetOpenTimeout(40);  // 1 s pauses
  EXPECT_LT(lockingTakes(1), 900);
}

// The upgrade and the downgrade after it convert the lock in place, never letting go
// of the project: another process tries to take it right when this one converts
// (the hook runs then).
TEST_F(ProjectTest, WritersUpgradeAndTheLastDowngradesWithoutAWindow) {
  ASSERT_EQ(PF::TryLockProjectFile(file_.c_str()), 1);
  const std::string record = Slurp(info_);
  static Holder* rival;
  static std::string answers;
  Holder holder(file_);
  rival = &holder, answers.clear();
  PF::SetWaitCursorHook([](int show) { answers += show ? rival->Ask("lock") : ""; });
  ASSERT_EQ(holder.Open({kR, kShareRW}), "1");
  EXPECT_FALSE(PF(1, "").IsValid());  // someone reads: the upgrade is refused...
  EXPECT_EQ(PF::IsLockW(), 1);        // ...and nothing was let go
  EXPECT_STREQ(PF::GetProjectFileName(), file_.c_str());
  EXPECT_EQ(holder.Open({kRW, kShareRW}, "try ") + holder.Open({kR, kShareRW}, "try "), "01");
  ASSERT_EQ(holder.Ask("closeall"), "ok");
  {
    PF first(1, nullptr);
    ASSERT_TRUE(first.IsValid());
    EXPECT_EQ(holder.Open({kR, kShareRW}, "try "), "0");
    EXPECT_EQ(PF(1, "").GetDescriptor(), first.GetDescriptor());
    EXPECT_EQ(holder.Open({kR, kShareRW}, "try "), "0");  // the first writer still writes
    char buffer[8] = {};
    first.Clear();
    EXPECT_EQ((Results{first.GetFileSize(), first.Write("abcdef", 6), first.GetFilePointer(),
                       first.SetFilePointer(-4, 2), first.Read(buffer, sizeof buffer),
                       first.SetFilePointer(1, 0), first.SetFilePointer(2, 1), first.SetFilePointer(0, 3)}),
              (Results{0, 6, 6, 2, 4, 1, 3, kNone}));
    EXPECT_STREQ(buffer, "cdef");
  }
  for (int round = 0; round < 2; ++round) EXPECT_EQ(PF(1, "").Write("data", 4), 4u) << round;
  PF::SetWaitCursorHook(nullptr);
  EXPECT_EQ(answers, "0000000");  // the refused upgrade, then three upgrades and downgrades
  EXPECT_EQ(PF::IsLockW(), 1);
  EXPECT_EQ(holder.Open({kR, kShareRW}, "try ") + holder.Open({kRW, kShareRW}, "try "), "10");
  EXPECT_EQ(Slurp(file_), "abcdatadata");  // one descriptor, one offset, for every writer
  EXPECT_EQ(Slurp(info_), record);
  EXPECT_EQ(holder.Ask("who"), Me(false));
}

TEST_F(ProjectTest, ReaderWithoutLockAndAccessorOnAnotherFile) {
  PF::SetNewFileName(file_.c_str());
  {
    PF reader(0, "");
    EXPECT_EQ(PF(0, "").GetDescriptor(), reader.GetDescriptor());
    char buffer[4] = {};  // a read-only descriptor, shared for reading
    EXPECT_EQ((Results{reader.Read(buffer, 3), reader.Write("x", 1), CanOpen({kRW, kShareRW}), CanOpen({kRW, 0})}),
              (Results{3, 0, 1, 0}));
    EXPECT_STREQ(buffer, "012");
  }
  EXPECT_TRUE(CanOpen({kRW, 0}));  // the last reader closed it
  PF::SetNewFileName((dir_ + "/missing.pcb").c_str());
  PF none(0, "");
  char byte;
  none.Clear();
  EXPECT_EQ(none.IsValid() + none.Read(&byte, 1) + none.Write(&byte, 1), 0u);
  EXPECT_EQ(none.GetFileSize() & none.GetFilePointer() & intptr_t(none.Duplicate()) &
                intptr_t(static_cast<void*>(none)), kNone);

  // Another file is held exclusively until its accessor ends.
  ASSERT_EQ(PF::TryLockProjectFile(file_.c_str()), 1);
  const std::string other = dir_ + "/other.dat";
  Holder holder(other);
  {
    PF access(0, other.c_str());
    EXPECT_EQ(holder.Open({kR, kShareRW}, "try "), "0");
    EXPECT_EQ(access.Write("hello", 5), 5u);
    EXPECT_EQ(close(int(intptr_t(access.Duplicate()))), 0);
  }
  EXPECT_EQ(holder.Open({kRW, 0}, "try "), "1");
  EXPECT_EQ(Slurp(other), "hello");
  {  // its writer count was given back: a project writer still upgrades
    PF writer(1, "");
    EXPECT_TRUE(writer.IsValid());
    EXPECT_FALSE(CanOpen({kR, kShareRW}));
  }
  // A name differing only in letter case is the project itself.
  EXPECT_TRUE(PF(0, (dir_ + "/BOARD.PCB").c_str()).IsValid());
  EXPECT_FALSE(fsys::exists(dir_ + "/BOARD.PCB"));
}

}  // namespace
