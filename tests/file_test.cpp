// file_test.cpp - files on real file systems: SFM_File (typed data, text lines, positions,
// mapping, the temporary close that lets many more files stay open than there are handles),
// the file manager SFM, SFM_Directory, the settings store and the message database.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "../system/platform/settings_posix.h"
#include "sccevent.h"
#include "sfm.h"
#include "sfmdir.h"
#include "sfmfile.h"
#include "sfmmsgdb.h"
#include "ssm.h"
#include "test_locale.h"

namespace settings = brix::settings;
using namespace std::string_literals;

namespace {

struct TempDir {
  std::string path = [] {
    std::string p = (std::filesystem::temp_directory_path() / "brixfile-XXXXXX").string();
    return std::string(::mkdtemp(p.data()));
  }();
  ~TempDir() { std::filesystem::remove_all(path); }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
void Spit(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string S(const SYS_String& s) { return std::string(s.View()); }
// The content of a regular file; "-" when missing, "dir" or "link" for those.
std::string State(const std::string& path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return "-";
  if (!S_ISREG(st.st_mode)) return S_ISDIR(st.st_mode) ? "dir" : "link";
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Records the events of the file manager and answers through `answer` or else from a script
// (then 0); `action` may act before the answer.
struct Listener {
  explicit Listener(std::vector<int> script = {}) : answers(std::move(script)) {}
  std::vector<int> answers, codes;
  std::vector<unsigned long> errors;
  std::vector<std::string> names;  // "first|second" file name of each event
  std::function<void()> action;
  std::function<int(int code)> answer;
  int OnEvent(int code, SFM_EventData* data) {
    codes.push_back(code);
    errors.push_back(data->GetError());
    names.push_back(S(data->GetFileName1()) + "|" + S(data->GetFileName2()));
    if (action) action();
    const size_t n = codes.size();
    data->SetResult(answer ? answer(code) : n <= answers.size() ? answers[n - 1] : 0);
    return 0;
  }
  SCC_ObjectEventHook<Listener, SFM_EventData> hook{this, &Listener::OnEvent,
                                                    SFM::GetManager()->GetEvent()};
};

// Runs `body` in a forked child; its exit status is the failed step (0: passed).
template <class F>
void InChild(F body) {
  fflush(nullptr);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(body());
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status)) << "child died with signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "child failed at step " << WEXITSTATUS(status);
}

// The message of the check `body` fails under a live assertion service, or "none".
template <class F>
std::string FailedCheck(F body) {
  SSM ssm;
  try {
    body();
  } catch (SSM::AssertData* data) {
    return data->message.GetString();
  }
  return "none";
}

TEST(FileTest, TypedValuesRoundTripAndReverseBits) {
  TempDir dir;
  std::string path = dir / "typed.bin";
  for (int rev : {0, 1}) {
    {
      SFM_File out(path.c_str(), "wb");
      out.Put(0xFEDCBA98ul, rev), out.Put(-123456789L, rev), out.Put(char(-3), rev);
      out.Put(short(-2), rev), out.Put(-70000, rev), out.Put(3.25);
    }
    ASSERT_EQ(Slurp(path).size(), 4u + 4 + 1 + 2 + 4 + 8) << rev;  // a long moves 4 bytes
    SFM_File in(path.c_str(), "rb");
    auto get = [&](auto v) { return in.Get(v, rev); };
    EXPECT_EQ(get(0ul), 0xFEDCBA98ul);
    EXPECT_EQ(get(0L), -123456789L);
    EXPECT_EQ(get(char(0)), -3);
    EXPECT_EQ(get(short(0)), -2);
    int i = 0;
    EXPECT_EQ(in.Get(i, rev), -70000);
    double d = 0;
    EXPECT_EQ(in.Get(d) + i, 3.25 - 70000);  // also stored
    EXPECT_TRUE(in.Eof());
  }
  // The flag reverses the order of bits, not of bytes; a long is sign-extended from 32 bits.
  Spit(path, std::string("\x01\x02\x01\x00\x00\x00\x01\x00\x00\x00", 10));
  SFM_File in(path.c_str(), "rb");
  auto get = [&](auto v, int rev) { return in.Get(v, rev); };
  EXPECT_EQ(get((unsigned short)0, 1), 0x8040);
  EXPECT_EQ(get(0u, 1), 0x80000000u);
  EXPECT_EQ(get(0L, 1), static_cast<long>(INT32_MIN));
  EXPECT_EQ(get(1, 0), 0);  // missing bytes read as 0
}

TEST(FileTest, TextLinesTurnCrLfIntoLf) {
  TempDir dir;
  std::string path = dir / "text.txt", longLine, q509(509, 'q');
  Spit(path, "a\r\nb\rx\r");
  SFM_File chars(path.c_str(), "r");
  for (char expect : "a\nb\rx\r\xFF") EXPECT_EQ(chars.GetChar(), expect ? expect : '\xFF');
  for (int k = 0; k < 600; ++k) longLine.push_back(static_cast<char>('a' + k % 26));
  Spit(path, longLine + "\nab\r\ncd\rz\n" + q509 + "\r\nnul\0in\n"s + "last\0"s);
  const std::pair<long, std::string> steps[] = {
      {0, longLine.substr(0, 510)},  // pieces of 510 characters
      {0, longLine.substr(510) + "\n"},
      {511, "ab\n"},
      {4, "cd\r"},  // at most maxLength - 1 characters; a lone CR stays
      {-5, "z\n"},
      {0, q509 + "\n"},  // a CR LF pair straddling the piece limit
      {0, "nul\0in\n"s},
      {0, "last\0"s},
      {0, ""},
  };
  SFM_File in(path.c_str(), "r");
  for (const auto& [maxLength, expect] : steps) EXPECT_EQ(in.GetLine(maxLength).View(), expect);
  EXPECT_TRUE(in.Eof());

  const test_locale::Scoped comma(LC_NUMERIC, test_locale::kComma);
  BRIX_REQUIRE_LOCALE(comma);
  SFM_File out(path.c_str(), "w");
  EXPECT_EQ(out.WriteLine("first"), 1);
  EXPECT_EQ(out.PutChar('\n'), 1);
  EXPECT_EQ(out.WriteLine(""), 1);
  EXPECT_EQ(out.Printf("%.2f %'d", 12.75, 1234567), 13);  // a point, no grouping
  out.Close();
  EXPECT_EQ(Slurp(path), "first\n\n\n12.75 1234567");
  EXPECT_EQ(out.WriteLine("x") + out.Printf("x") + out.GetPosition(), -1);  // closed: nothing
}

TEST(FileTest, PositionStackCachedLengthAndCopyOnWriteMapping) {
  TempDir dir;
  std::string path = dir / "pos.bin";
  Spit(path, "0123456789");
  SFM_File f(path.c_str(), "r+b");
  f.Seek(3, SFM_File::Begin);
  ASSERT_EQ(f.PushPosition(-2, SFM_File::End), 1);
  ASSERT_EQ(f.PushPosition(1, SFM_File::Current), 1);
  // A seek the runtime rejects leaves the position and the stack alone.
  EXPECT_EQ(f.PushPosition(-100, SFM_File::Begin) + f.PushPosition(0, SFM_File::SeekType(7)), 0);
  f.PopPosition();
  EXPECT_EQ(f.GetPosition(), 8);
  f.PopPosition();
  char c = 0;
  EXPECT_EQ(f.Get(c), '3');
  EXPECT_EQ(SFM_File(path.c_str()).GetLength(), 10);  // measured without opening for good
  f.Write("ab", 2);                                   // inside the file: the length stays
  EXPECT_EQ(f.GetLength(), 10);
  f.SeekToEnd();
  EXPECT_TRUE(f.Eof());  // at the end before any read
  f.Write("xyz", 3);     // buffered, not yet on disk
  EXPECT_EQ(f.GetLength(), 13);
  f.Seek(4, SFM_File::Begin);
  char* view = static_cast<char*>(f.MapToMemory());
  ASSERT_NE(view, nullptr);
  std::memcpy(view, "HELLO", 5);  // NOLINT(bugprone-not-null-terminated-result)
  char* second = static_cast<char*>(f.MapToMemory());  // independent; the first stays valid
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(std::string(second, 13) + std::string(view, 5), "0123ab6789xyzHELLO");
  f.UnmapMemory();
  char rest[4];  // the stream comes back where it was
  EXPECT_EQ(f.Read(rest, 4), 4);
  EXPECT_EQ(std::string(rest, 4), "ab67");
  f.Close();
  EXPECT_EQ(Slurp(path), "0123ab6789xyz");
}

// Open with `mode` on `before` (null: no file), write `first`, seek to `seekTo` (-1: stay),
// park, then read `readBack` or write `second`: the file must hold `expect`.
TEST(FileTest, ReopenAfterTemporaryCloseRestoresTheStreamExactly) {
  const struct {
    const char *mode, *before, *first;
    long seekTo;
    const char *readBack, *second, *expect;
  } cases[] = {
      // Write modes write where the position says and never truncate again.
      {"w", "old", "HEADER??BODYBODY", 6, nullptr, "OK", "HEADEROKBODYBODY"},
      {"w", "old", "ab", -1, nullptr, "cd", "abcd"},
      {"w+b", nullptr, "HEADER??BODY", 6, nullptr, "OK", "HEADEROKBODY"},
      // Exclusive creation must not make the reopen fail on the file it created.
      {"wbx", nullptr, "HEADER??BODYBODY", 6, nullptr, "OK", "HEADEROKBODYBODY"},
      // Append modes keep appending; reads follow the position.
      {"ab", "xy", "12", 0, nullptr, "34", "xy1234"},
      {"a+b", "xy", "ab", -1, nullptr, "cd", "xyabcd"},
      {"a+", "xy", "12", 0, "xy12", nullptr, "xy12"},
      {"r+", "0123456789", "ab", 5, "56789", nullptr, "ab23456789"},
      {"r+b", "0123456789", "ab", 7, nullptr, "cd", "ab23456cd9"},
      {"r", "abcdef", nullptr, 2, "cdef", nullptr, "abcdef"},
  };
  auto cloexec = [](SFM_File& f) { return f.GetStream() && fcntl(fileno(f.GetStream()), F_GETFD); };
  TempDir dir;
  SFM* manager = SFM::GetManager();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    std::string path = dir / "reopen";
    std::filesystem::remove(path);
    if (c.before) Spit(path, c.before);
    SFM_File f(path.c_str(), c.mode);
    ASSERT_TRUE(!c.first || f.Write(c.first, static_cast<long>(strlen(c.first))));
    ASSERT_TRUE(c.seekTo < 0 || f.Seek(static_cast<int>(c.seekTo), SFM_File::Begin));
    const long position = f.GetPosition();
    const int flags = cloexec(f);
    ASSERT_EQ(manager->CloseLeastRecentlyOpened(), 1);
    ASSERT_TRUE(f.IsTempClosed() && f.IsOpen() && !f.GetStream());
    EXPECT_EQ(f.GetPosition(), position);  // reopens
    ASSERT_TRUE(!f.IsTempClosed() && f.GetStream()) << "the reopen failed";
    EXPECT_EQ(cloexec(f), flags);
    if (c.readBack) {
      std::string got(strlen(c.readBack) + 4, '\0');
      got.resize(static_cast<size_t>(f.Read(got.data(), static_cast<long>(got.size()))));
      EXPECT_EQ(got, c.readBack);
    }
    EXPECT_TRUE(!c.second || f.Write(c.second, static_cast<long>(strlen(c.second))));
    f.Close();
    EXPECT_EQ(Slurp(path), c.expect);
  }
}

// A stream that could not be put back exactly stays open instead of being parked, and a
// file that another one has replaced under its name is never written to.
TEST(FileTest, StreamsThatCannotBeResumedAreNotParked) {
  TempDir dir;
  SFM* manager = SFM::GetManager();
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  for (bool wide : {false, true}) {  // a pipe has no position; a wide stream has a state
    SFM_File f((dir / (wide ? "wide" : "fifo")).c_str(), wide ? "w" : "r+");
    ASSERT_TRUE(!wide || fwide(f.GetStream(), 1) > 0);
    EXPECT_EQ(manager->CloseLeastRecentlyOpened(), 0) << wide;
    EXPECT_TRUE(!f.IsTempClosed() && f.GetStream());
  }
  // Buffered bytes that cannot be written out now keep the stream open with them.
  InChild([&]() -> int {
    signal(SIGXFSZ, SIG_IGN);
    SFM_File full((dir / "full").c_str(), "w");
    struct rlimit limit = {8, 8};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
    if (!full.Write("more than eight bytes", 21)) return 2;  // still in the buffer
    if (SFM::GetManager()->CloseLeastRecentlyOpened() != 0) return 3;
    return full.IsTempClosed() == 0 && full.GetStream() ? 0 : 4;
  });
  // Parked, then the name is given to another file: the reopen refuses it.
  Spit(dir / "gone", "data");
  SFM_File f((dir / "gone").c_str(), "r+");
  ASSERT_EQ(manager->CloseLeastRecentlyOpened(), 1);
  Spit(dir / "other", "other");
  ASSERT_EQ(std::rename((dir / "other").c_str(), (dir / "gone").c_str()), 0);
  EXPECT_EQ(FailedCheck([&] { f.Write("XX", 2); }), "Tamsk: ");
  EXPECT_FALSE(f.IsOpen());
  EXPECT_EQ(Slurp(dir / "gone"), "other");
}

// With every handle taken and nothing left to park, each loop that waits for a handle ends
// and reports the failure; a pipe is never parked.
TEST(FileTest, OutOfHandlesNeverLoops) {
  TempDir dir;
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  Spit(dir / "data", "0123456789");
  InChild([&]() -> int {
    alarm(10);  // a loop without end dies here
    Listener rec;
    SFM_File pipe((dir / "fifo").c_str(), "r+");  // the least recently opened file
    SFM_File data((dir / "data").c_str(), "r+b");
    struct rlimit limit = {64, 64};
    if (!pipe.IsOpen() || !data.IsOpen() || setrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
    if (SFM::GetManager()->CloseLeastRecentlyOpened() != 1 || !data.IsTempClosed()) return 2;
    while (open("/dev/null", O_RDONLY) >= 0) continue;
    char ch;
    if (data.Read(&ch, 1) != 0 || data.IsOpen()) return 3;  // the reopen gives up
    rec.codes.clear();
    SFM_File next((dir / "next").c_str());
    if (next.Open("w") != 0) return 4;  // the listeners are asked once
    if (rec.codes != std::vector<int>{101, 201} || rec.errors.back() != EMFILE) return 5;
    const bool mapped = pipe.MapToMemory() != nullptr || !pipe.GetStream();
    closefrom(3);  // the sanitizers need a descriptor or two on the way out
    return mapped ? 7 : 0;
  });
}

TEST(FileTest, ManyMoreFilesThanHandles) {
  TempDir dir;
  InChild([&]() -> int {
    struct rlimit limit = {32, 32};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
    std::vector<std::unique_ptr<SFM_File>> files;
    for (int i = 0; i < 200; ++i)
      files.push_back(std::make_unique<SFM_File>((dir / std::to_string(i)).c_str(), "w"));
    for (int round = 0; round < 3; ++round)
      for (int i = 0; i < 200; ++i)
        if (files[i]->Printf("%d:%d;", i, round) <= 0 || !files[i]->PutChar('\n')) return 2;
    for (auto& f : files) f->Close();
    for (int i = 0; i < 200; ++i) {
      std::string n = std::to_string(i);
      if (Slurp(dir / n) != n + ":0;\n" + n + ":1;\n" + n + ":2;\n") return 4;
    }
    return 0;
  });
}

TEST(FileTest, WriteFailureIsReportedAndTheFileStaysUsable) {
  TempDir dir;
  InChild([&]() -> int {
    Listener rec;
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {1000, 1000};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
    SFM_File f((dir / "limited").c_str(), "w+");
    int k = 0;
    while (k < 20000 && f.PutChar('p')) ++k;
    if (k == 20000 || rec.codes.back() != SFM::WriteFailed) return 2;
    if (rec.errors.back() != EFBIG) return 3;
    for (k = 0; k < 20000 && f.Printf("%s", "printf-output ") != 0;) ++k;
    if (k == 20000 || rec.codes.back() != SFM::WriteFailed || rec.codes.size() < 4) return 4;
    // Reading and seeking still work.
    if (!f.Seek(0, SFM_File::Begin) || f.GetChar() != 'p') return 5;
    return f.GetLength() == 1000 ? 0 : 6;
  });
}

TEST(FileTest, ListenersSeeEventsAndAnswer) {
  TempDir dir;
  std::string path = dir / "late.txt";
  Listener rec;
  int retries = 2, openDuringClose = -1;
  bool create = false;
  SFM_File f(path.c_str());
  rec.answer = [&](int code) {
    if (code == SFM::Closed) openDuringClose = f.IsOpen();
    if (code == SFM::OpenFailed && create) Spit(path, "made");  // the cause goes away
    return code == SFM::OpenFailed && retries-- > 0 ? SFM::Retry : 0;
  };
  EXPECT_EQ(f.Open("r"), 0);  // retried twice, then given up
  EXPECT_EQ(rec.codes, (std::vector<int>{101, 201, 201, 201}));
  EXPECT_EQ(std::string(f.GetMsg()), std::string(strerror(ENOENT)));
  rec.codes.clear(), retries = 1, create = true;
  EXPECT_EQ(f.Open("r"), 1);
  EXPECT_EQ(std::string(f.GetLine(0)), "made");
  f.Close();
  EXPECT_EQ(rec.codes, (std::vector<int>{101, 201, 102, 103}));
  EXPECT_EQ(openDuringClose, 0);
  InChild([&] {
    rec.answer = [](int code) { return code == SFM::OpenFailed ? SFM::EndProcess : 0; };
    SFM_File((dir / "missing").c_str()).Open("r");
    return 7;  // not reached: the answer ends the process with status 0
  });
}

TEST(FileTest, AssignmentMovesTheStreamAndNamesFollowTheRules) {
  TempDir dir;
  std::string path = dir / "shared.txt";
  SFM_File target((dir / "other").c_str(), "w"), source(path.c_str(), "w");
  source.WriteLine("one");
  target = source;
  EXPECT_FALSE(source.IsOpen());
  EXPECT_EQ(target.GetNextNode(), &source);  // directly before the source in the list
  target.WriteLine("two");
  target.Close();
  // A parked stream moves as well and comes back on the target.
  SFM_File parked(path.c_str(), "r+"), taker;
  ASSERT_EQ(SFM::GetManager()->CloseLeastRecentlyOpened(), 1);
  taker = parked;
  EXPECT_EQ(taker.Write("ONE", 3), 1);
  taker.Close();
  EXPECT_EQ(Slurp(path), "ONE\ntwo\n");
  SFM_File copy(source);  // a copy takes the name only and is not registered
  EXPECT_TRUE(copy.GetMode().IsEmpty() && !copy.GetList() && copy.GetName() == path.c_str());
}

// The least recently opened file that can be parked gives up its handle; a pipe has no
// position to resume at and is passed over. With nothing to park the listeners decide.
TEST(ManagerTest, OutOfHandlesParksTheLeastRecentlyOpenedFile) {
  TempDir dir;
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  SFM_File pipe((dir / "fifo").c_str(), "r+");
  SFM_File a((dir / "a").c_str(), "w"), b((dir / "b").c_str(), "w"), c((dir / "c").c_str(), "w");
  Listener rec;
  auto outOfHandles = [&] {
    SFM_EventData data((dir / "new").c_str());
    errno = EMFILE;
    return SFM::GetManager()->Event(SFM::OpenFailed, data);
  };
  EXPECT_EQ(outOfHandles(), SFM::Retry);
  EXPECT_EQ(a.IsTempClosed() + 2 * b.IsTempClosed() + 4 * pipe.IsTempClosed(), 1);
  b.Close();  // opening b again moves it behind c: the next one parked is c
  b.Open("w");
  EXPECT_EQ(outOfHandles(), SFM::Retry);
  EXPECT_EQ(c.IsTempClosed() + 2 * b.IsTempClosed(), 1);
  a.WriteLine("a");  // reopened, a is the most recently opened: b goes next
  EXPECT_EQ(outOfHandles(), SFM::Retry);
  EXPECT_EQ(a.IsTempClosed() + 2 * b.IsTempClosed(), 2);
  a.Close(), b.Close(), c.Close();
  for (int code : rec.codes) EXPECT_LT(code, SFM::TargetExists);  // no listener was asked
  for (int answer : {0, int(SFM::Retry)}) {
    rec.codes.clear();
    rec.answer = [answer](int) { return answer; };
    EXPECT_EQ(outOfHandles(), answer);
    EXPECT_EQ(rec.codes, (std::vector<int>{SFM::OpenFailed}));
  }
}

TEST(ManagerTest, MessagesSettingsAndShowFile) {
  TempDir dir;
  setenv("BRIX_CONFIG_HOME", dir.path.c_str(), 1);
  SFM* manager = SFM::GetManager();
  Spit(dir / "texts.MDB", "1:one\n bad line\n");
  Spit(dir / "other.txt", "1:other\n");
  testing::internal::CaptureStdout();
  manager->Initiate((dir / "texts.MDB").c_str());  // a prepared database reports bad lines
  EXPECT_NE(testing::internal::GetCapturedStdout().find("leading blanks"), std::string::npos);
  manager->Initiate((dir / "other.txt").c_str());  // read once only
  EXPECT_EQ(std::string(manager->GetMessageDB()->getTxt(1)), "one");
  // The name reaches the editor as one argument, never through a shell.
  std::string editor = "sh -c 'printf %s \"$1\" > \"$0\"' " + dir / "shown";
  manager->SetProfileString("general", "editor", editor.c_str());
  std::string name = dir / "odd name $(touch pwned); 'q' \"d\"";
  SFM::ShowFile(name.c_str());
  for (int i = 0; i < 1000 && Slurp(dir / "shown") != name; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(Slurp(dir / "shown"), name);
  EXPECT_FALSE(std::filesystem::exists("pwned") || std::filesystem::exists(dir / "pwned"));
}

class DirTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(getcwd(cwd_, sizeof cwd_), nullptr); }
  void TearDown() override { ASSERT_EQ(chdir(cwd_), 0); }
  std::string P(const std::string& name) const { return tmp_ / name; }
  long Count() const { return std::distance(std::filesystem::directory_iterator(root_), {}); }

  TempDir tmp_;
  std::string root_ = tmp_.path;
  char cwd_[PATH_MAX];
};

// Every name a search started with `pattern` returns through `next`, sorted.
std::string Found(const std::function<char*(const char*)>& next, const char* pattern) {
  std::multiset<std::string> names;
  for (char* name = next(pattern); name; name = next(nullptr)) names.insert(name);
  std::string all;
  for (const std::string& name : names) all += name + " ";
  return all;
}

TEST_F(DirTest, SearchesMatchWildcardsCaseSensitively) {
  for (const char* f : {"a.txt", "ab.txt", "b.TXT", "c.txt.bak", ".hid", "ro", "\xC3\xA9.txt"})
    Spit(P(f), "x");
  ASSERT_EQ(chmod(P("ro").c_str(), 0444), 0);
  for (const char* d : {"sub", ".d2"}) ASSERT_EQ(mkdir(P(d).c_str(), 0777), 0);
  Spit(P("sub/inner.txt"), "y");
  SFM_Directory dir(root_.c_str()), elsewhere("/nonexistent/dir/");
  auto entries = [&](const char* p) { return dir.GetNextEntry(p); };
  auto files = [&](const char* p) { return dir.GetNextFile(p); };
  auto masked = [&](unsigned mask) {
    return [&dir, mask](const char* p) { return dir.GetNextEntryWithAttr(mask, p); };
  };
  const std::string kAll = ". .. .d2 .hid a.txt ab.txt b.TXT c.txt.bak ro sub \xC3\xA9.txt ";
  const std::string absolute = P("a?txt"), windowsStyle = P("sub\\*");
  const std::pair<std::string, std::string> cases[] = {
      {Found(entries, "*.txt"), "a.txt ab.txt \xC3\xA9.txt "},
      {Found(entries, "?.txt"), "a.txt "},  // one byte per character in the "C" locale
      {Found(entries, "**"), kAll},
      {Found(entries, "*.t?t*"), "a.txt ab.txt c.txt.bak \xC3\xA9.txt "},
      {Found(entries, "*x*t"), "a.txt ab.txt \xC3\xA9.txt "},
      {Found(entries, "nothing"), ""},
      // An absolute pattern is never put below the directory, backslashes or not.
      {Found([&](const char* p) { return elsewhere.GetNextEntry(p); }, absolute.c_str()), "a.txt "},
      {Found([&](const char* p) { return elsewhere.GetNextEntry(p); }, windowsStyle.c_str()),
       ". .. inner.txt "},
      {Found(files, "*"), ".hid a.txt ab.txt b.TXT c.txt.bak ro \xC3\xA9.txt "},
      {Found([&](const char* p) { return dir.GetNextSubdir(p); }, "*"), ".d2 sub "},
      {Found(masked(0x02), "*"), ". .. a.txt ab.txt b.TXT c.txt.bak ro sub \xC3\xA9.txt "},
      {Found(masked(0x11), "r*"), ""},  // ends although the last entries are all masked
  };
  for (const auto& [found, expected] : cases) EXPECT_EQ(found, expected);
  errno = 0;
  EXPECT_EQ(Found(files, "missing*"), "");
  EXPECT_EQ(errno, ENOENT);  // also when the directory holds no match
  errno = 0;
  EXPECT_EQ(Found(entries, "sub/"), "sub ");  // the trailing separator is dropped
  EXPECT_EQ(errno, ENOENT);                   // the end of a search for one name is told as well
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const std::string utf8 = Found(entries, "?.txt");
  setlocale(LC_CTYPE, "C");
  EXPECT_EQ(utf8, "a.txt \xC3\xA9.txt ");
}

TEST_F(DirTest, ExistenceTestsEndTheirSearchAndCopiesShareIt) {
  for (const char* f : {"f0", "f1", "f2", "name."}) Spit(P(f), "x");  // not "name"
  ASSERT_EQ(mkdir(P("sub").c_str(), 0777), 0);
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.FileExists("f?") + dir.DirExists("sub") + dir.FileExists("name."), 3);
  EXPECT_EQ(dir.FileExists("sub") + dir.DirExists("f1") + dir.FileExists("name"), 0);
  ASSERT_NE(dir.GetNextFile("f*"), nullptr);
  EXPECT_EQ(dir.DirExists("sub"), 1);
  EXPECT_NE(dir.GetNextFile(nullptr), nullptr);  // the file search is untouched
  EXPECT_EQ(dir.FileExists("sub"), 0);
  EXPECT_EQ(dir.GetNextFile(nullptr), nullptr);  // the file search has been ended
  std::string seen = dir.GetNextFile("f*");      // copies take turns on one search
  SFM_Directory copy(dir), assigned;
  assigned = copy;
  for (SFM_Directory* d : {&copy, &assigned}) seen += d->GetNextFile(nullptr);
  EXPECT_EQ(dir.GetNextFile(nullptr), nullptr);
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, "012fff");
}

// Searches look inside the directory; file operations put its drive in front only. Dots
// and colons are parts of POSIX names: every operation reaches the file named.
TEST_F(DirTest, NamesReachTheFileNamedAndNeverANeighbour) {
  ASSERT_EQ(mkdir(P("cwd").c_str(), 0777), 0);
  for (const char* f : {"f.txt", "cwd/f.txt", "rev:2.pcb"}) Spit(P(f), "x");
  ASSERT_EQ(chdir(P("cwd").c_str()), 0);
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.FileExists("f.txt") + dir.FileExists("rev:2.pcb") + dir.DeleteFile("f.txt"), 3);
  EXPECT_EQ(State(P("f.txt")) + State(P("cwd/f.txt")), "x-");
  EXPECT_EQ(dir.MakePath(P("a/rev:/2:").c_str()), 1);  // a name ending in a colon is no drive
  EXPECT_EQ(dir.MakePath(P("a/rev:/").c_str()) + dir.MakePath(""), 0);  // exists already
  EXPECT_EQ(S(dir.GetCurDir(3)), P("cwd/"));          // the drive means nothing here
  EXPECT_EQ(dir.DeleteSubdir(P("cwd/").c_str()), 1);  // steps out of the working directory
  EXPECT_EQ(S(dir.GetCurDir()), root_ + "/");
  EXPECT_EQ(Found([&](const char* p) { return dir.GetNextFile(p); }, "rev:*"), "rev:2.pcb ");
  for (auto [name, joined] : {std::pair{"rev:2.pcb", P("rev:2.pcb")}, {"C:\\b", "C:\\b"}})
    EXPECT_EQ(S(dir + name), joined);
  for (auto [target, neighbour] : {std::pair{"old.", "old"}, {"v2..", "v2."}, {"x:.", "x:"}}) {
    SCOPED_TRACE(target);
    for (std::string d : {P(target), P(target) + "/sub", P(neighbour)})
      ASSERT_EQ(mkdir(d.c_str(), 0777), 0);
    Spit(P(target) + "/sub/gone", "g");
    Spit(P(neighbour) + "/keep", "k");
    SFM_Directory named(P(target).c_str());
    EXPECT_EQ(named.DirExists("sub"), 1);
    EXPECT_EQ(named.DeleteAll(), 1);
    EXPECT_TRUE(std::filesystem::is_empty(P(target)));
    EXPECT_EQ(State(P(neighbour) + "/keep"), "k");
  }
}

TEST_F(DirTest, DeleteAllEmptiesTheTreeButNotLinkTargetsAndRetriesOnRequest) {
  for (const char* d : {"outside", "tree", "tree/a", "tree/a/b", "tree/.hid", "tree/dots.."})
    ASSERT_EQ(mkdir(P(d).c_str(), 0777), 0);
  for (const char* f :
       {"outside/keep", "tree/f", "tree/a/g.txt", "tree/a/b/h", "tree/dots../i.", "tree/.hid/j"})
    Spit(P(f), "k");
  ASSERT_EQ(chmod(P("tree/a/g.txt").c_str(), 0444), 0);
  ASSERT_EQ(symlink(P("outside").c_str(), P("tree/a/link").c_str()), 0);
  ASSERT_EQ(symlink(P("nowhere").c_str(), P("tree/dangling").c_str()), 0);
  SFM_Directory tree(P("tree").c_str());
  EXPECT_EQ(tree.DeleteAll(), 1);
  EXPECT_TRUE(std::filesystem::is_empty(P("tree")));
  EXPECT_EQ(State(P("outside/keep")), "k");
  {
    Listener twice({SFM::Retry, SFM::GoOn});  // Retry asks for another try, others give up
    EXPECT_EQ(tree.DeleteFile(P("gone").c_str()), 0);
    EXPECT_EQ(twice.codes, (std::vector<int>{SFM::DeleteFailed, SFM::DeleteFailed}));
    EXPECT_EQ(twice.names[0] + std::to_string(twice.errors[0]),
              P("gone") + "|" + std::to_string(ENOENT));
  }
  Listener retry({SFM::Retry});
  retry.action = [&] { unlink(P("outside/keep").c_str()); };  // the cause goes away
  EXPECT_EQ(tree.DeleteSubdir(P("outside").c_str()), 1);
  EXPECT_EQ(retry.errors, std::vector<unsigned long>{ENOTEMPTY});
}

// Copy and move ask before they replace a target, retry on request, and never lose a file
// given twice. Each row starts from src "S" (mode 0640) and dst "D".
TEST_F(DirTest, CopyAndMoveAskBeforeReplacing) {
  const struct {
    const char *what, *to;
    bool move;
    int overwrite;
    std::vector<int> answers, codes;
    int result;
    const char* after;  // src, dst and the target afterwards ("-": gone)
  } cases[] = {
      {"copy refused", "dst", false, 0, {0}, {151}, 0, "SDD"},
      {"copy agreed", "dst", false, 0, {1}, {151}, 1, "SSS"},
      {"copy to a new name", "new", false, 0, {}, {}, 1, "SDS"},
      {"copy onto itself", "src", false, 1, {}, {205}, 0, "SDS"},
      {"copy retried", "later/x", false, 0, {2}, {205}, 1, "SDS"},
      {"move refused", "dst", true, 0, {}, {151}, 0, "SDD"},
      {"move agreed", "dst", true, 0, {1}, {151}, 1, "-SS"},
      {"move onto itself", "src", true, 1, {}, {206}, 0, "SDS"},
      {"move retried", "later/x", true, 0, {2}, {206}, 1, "-DS"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const char* f : {"new", "later/x", "later"}) std::remove(P(f).c_str());
    Spit(P("src"), "S");
    Spit(P("dst"), "D");
    ASSERT_EQ(chmod(P("src").c_str(), 0640), 0);
    SFM_Directory dir(root_.c_str());
    Listener listener(c.answers);
    listener.action = [&] { mkdir(P("later").c_str(), 0777); };  // the cause goes away
    const std::string to = P(c.to);
    EXPECT_EQ(c.move ? dir.MoveFile(P("src").c_str(), to.c_str(), c.overwrite)
                     : dir.CopyFile(P("src").c_str(), to.c_str(), c.overwrite),
              c.result);
    EXPECT_EQ(listener.codes, c.codes);
    EXPECT_TRUE(c.codes.empty() || listener.names[0] == P("src") + "|" + to);
    EXPECT_EQ(State(P("src")) + State(P("dst")) + State(to), c.after);
    struct stat st;
    EXPECT_TRUE(!c.result || c.move || (stat(to.c_str(), &st) == 0 && (st.st_mode & 0777) == 0640));
  }
}

// A source somebody else holds a share lock on is not moved, and the target stays.
TEST_F(DirTest, MoveKeepsTheTargetWhileTheSourceIsInUse) {
  Spit(P("src"), "S");
  Spit(P("dst"), "D");
  const int fd = open(P("src").c_str(), O_RDWR);
  struct flock lock = {};
  lock.l_type = F_RDLCK, lock.l_whence = SEEK_SET, lock.l_start = 1 << 30, lock.l_len = 1;
  ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
  Listener listener;
  EXPECT_EQ(SFM_Directory(root_.c_str()).MoveFile(P("src").c_str(), P("dst").c_str(), 1), 0);
  EXPECT_EQ(listener.codes.at(0) + listener.errors.at(0), 206u + EEXIST);
  EXPECT_EQ(State(P("dst")) + State(P("src")), "DS");
  close(fd);
}

// The copy goes to a temporary file beside the target and replaces the target only when it
// is complete; a failure leaves the old target as it was and no temporary file behind.
TEST_F(DirTest, CopyReplacesTheTargetOnlyWhenComplete) {
  const std::string source(64 * 1024 + 7, 's');
  auto relink = [&](const char* target, const char* name) {
    return unlink(P(name).c_str()) == 0 && symlink(target, P(name).c_str()) == 0;
  };
  const struct {
    const char* what;
    std::function<bool()> setUp;  // false: the row cannot run here
    int result;
    std::string after;     // dst and second afterwards
    bool limited = false;  // copy under a file size limit below the source's size
  } cases[] = {
      {"the disk fills half way", [] { return true; }, 0, "precious|other", true},
      {"the target is a symbolic link", [&] { return relink(P("second").c_str(), "dst"); }, 1,
       source + "|other"},
      {"the target has a second name",
       [&] { return !unlink(P("second").c_str()) && !link(P("dst").c_str(), P("second").c_str()); },
       1, source + "|precious"},
      {"the target is a directory",
       [&] { return !unlink(P("dst").c_str()) && !mkdir(P("dst").c_str(), 0777); }, 0, "dir|other"},
      {"the source tells size 0 but has content",
       [&] { return relink("/proc/self/mounts", "src"); }, 1,
       State("/proc/self/mounts") + "|other"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const char* name : {"src", "dst", "second"}) std::filesystem::remove_all(P(name));
    Spit(P("src"), source), Spit(P("dst"), "precious"), Spit(P("second"), "other");
    if (!c.setUp()) continue;
    const long before = Count();
    Listener told;
    auto copy = [&] {
      return SFM_Directory(root_.c_str()).CopyFile(P("src").c_str(), P("dst").c_str(), 1);
    };
    EXPECT_EQ(c.limited ? c.result : copy(), c.result);
    if (c.limited)
      InChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {4096, 4096};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0 || copy() != 0) return 1;
        return told.codes == std::vector<int>{205} && told.errors[0] == EFBIG ? 0 : 2;
      });
    EXPECT_EQ(State(P("dst")) + "|" + State(P("second")), c.after);
    EXPECT_EQ(Count(), before);  // no temporary file stays behind
  }
}

TEST_F(DirTest, WithoutManagerNothingIsAsked) {
  Spit(P("src"), "S");
  Spit(P("dst"), "D");
  EXPECT_EXIT(
      {
        delete SFM::GetManager();
        SFM_Directory dir(root_.c_str());
        const bool ok = dir.CopyFile(P("src").c_str(), P("dst").c_str(), 0) == 0 &&
                        dir.DeleteFile(P("missing").c_str()) == 0 &&
                        dir.CopyFile(P("src").c_str(), P("new").c_str(), 0) == 1 &&
                        dir.MoveFile(P("new").c_str(), P("dst").c_str(), 0) == 0;
        std::exit(ok && State(P("dst")) == "D" && State(P("new")) == "S" ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

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

class MsgDbTest : public ::testing::Test {
 protected:
  TempDir tmp_;
  std::string dir_ = tmp_.path;

  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(dir_ + "/" + name, std::ios::binary) << content;
    return dir_ + "/" + name;
  }
  // Indexes `content` and returns what the indexer printed, the file's name as "F".
  std::string Diagnostics(const std::string& content) {
    std::string path = Write("diag.msg", content);
    testing::internal::CaptureStdout();
    SFM_MessageDB db(path.c_str());
    fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    for (size_t at; (at = out.find(path + "(")) != std::string::npos;)
      out.replace(at, path.size(), "F");
    return out;
  }
};

std::string Txt(const SFM_MessageDB& db, long key) {
  SYS_String s = db.getTxt(key);
  return std::string(s, size_t(s.GetLength()));
}

TEST_F(MsgDbTest, KeysAndSectionBases) {
  const char raw[] =
      "1:Hello\n2:World  $\n3:$\n4:a$$\n5:\n6: lead\n12a:twelve\nx:zero\n+7:seven\n-3:minus\n"
      "8:crlf\r\n9:a\0hidden\n10:x:y\n; c\n\n11:\xE9t\n99999999999:big\n-99999999999:small";
  SFM_MessageDB db(Write("a.msg", std::string(raw, sizeof raw - 1)).c_str());
  // A line ends at a NUL byte; numbers saturate; keys beyond 32 bits do not wrap to key 1.
  std::string all;
  for (long key : {1L, 2L, 3L, 4L, 5L, 6L, 12L, 0L, 7L, -3L, 8L, 9L, 10L, 11L, 2147483647L,
                   -2147483647L - 1, 0x100000001L, -1L})
    all += Txt(db, key) + "|";
  EXPECT_EQ(all, "Hello|World  ||a$|| lead|twelve|zero|seven|minus|crlf|a|x:y|\xE9t|big|small|||");

  // A section's band ends at its largest number even when the last message was lower; an
  // empty section still reserves its base; the header's text is at the negative base.
  SFM_MessageDB s(Write("s.msg",
                        "1:a\n2:b\n[Editor]\n5:Undo\n;7:no\n1:Cut\n[Empty]\n[View]\n"
                        "0:Zoom\n[]\n[S]\r\n5:last")
                      .c_str());
  const std::map<long, std::string> keyed = {{9, "Undo"},    {5, "Cut"},   {-4, "Editor"}, {11, ""},
                                             {-11, "Empty"}, {13, "Zoom"}, {22, "last"}};
  for (const auto& [key, text] : keyed) EXPECT_EQ(Txt(s, key), text) << key;
  const std::map<std::string, long> bases = {
      {"editor", 4}, {"EDITOR", 4}, {"Empty", 11}, {"View", 13}, {"", 15}, {"s", 17}, {"Edit", -1}};
  for (const auto& [name, base] : bases) EXPECT_EQ(s.GetSectionBase(name.c_str()), base) << name;
}

TEST_F(MsgDbTest, HostileLinesAreReportedAndSkipped) {
  constexpr size_t kCap = 65536;  // the longest line taken, before its line feed
  auto text = [](size_t n) {
    return std::string(n / 2, 'm') + "Q" + std::string(n - n / 2 - 1, 'm');
  };
  const std::string kLong = "F(2) : line too long\n";
  const struct {
    std::string line, report, text7;  // text7: what key 7 holds then
  } cases[] = {
      {" 7:x", "F(2) : leading blanks are not allowed\n", ""},
      {"[abc", "F(2) : invalid section : \"[abc\"\n", ""},
      {":x", "F(2) : invalid line : \":x\"\n", ""},
      {"7:" + text(kCap - 2), "", text(kCap - 2)},
      {"7:" + text(kCap - 5) + "  $", "", text(kCap - 5) + "  "},
      {"7:" + text(kCap - 1), kLong, ""},
      {"7:" + text(100) + std::string(kCap, ' '), kLong, ""},  // over by blanks only
      {";" + text(kCap), kLong, ""},
      {"[" + text(kCap) + "]", kLong, ""},
      {"7:" + text(3 << 20), kLong, ""},  // longer than a read block
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line.substr(0, 20));
    const std::string content = "1:one\n" + c.line + "\n2:two\n:bad\n";
    EXPECT_EQ(Diagnostics(content), c.report + "F(4) : invalid line : \":bad\"\n");
    SFM_MessageDB db(Write("r.msg", content).c_str(), 0);
    EXPECT_EQ(Txt(db, 7), c.text7);
    EXPECT_EQ(Txt(db, 1) + Txt(db, 2), "onetwo");  // the lines after keep their keys
    EXPECT_EQ(db.GetSectionBase("abc") + db.GetSectionBase("m"), -2);
  }
  // The last line without its line feed, and a file of one long line.
  EXPECT_EQ(Diagnostics("1:one\n7:" + text(kCap)), kLong);
  EXPECT_EQ(Diagnostics("7:" + text(2 << 20) + "\n"), "F(1) : line too long\n");
}

TEST_F(MsgDbTest, CopiesShareTheFileAndTheIteratorWalksNumbersInOrder) {
  SFM_MessageDB db(Write("o.msg", "1:other\n").c_str());
  {
    SFM_MessageDB first(
        Write("i.msg", "[A]\n5:five\n1:one\n3:three\n1:uno\n[B]\n[C]\n2:c2\n").c_str());
    SFM_MessageDB copy(first);  // NOLINT(performance-unnecessary-copy-initialization): dies first
    db = first;
  }
  SFM_MessageDB::SectionIterator it(db, "a");
  EXPECT_EQ(std::string(it++), "uno");  // the later line of a number wins
  EXPECT_EQ(std::string(SYS_String(it)), "three");
  EXPECT_EQ(std::string(++it), "five");
  EXPECT_EQ(std::string(++it), "");
  EXPECT_EQ(it.GetPosition(), -1);
  it = 2;  // no message there: the next one above it
  EXPECT_EQ(it.GetPosition(), 3);
}

// Saving drops comments and rejected lines; indexing the saved file gives the same texts.
TEST_F(MsgDbTest, SaveWritesAnEquivalentFile) {
  const std::string kept = "10:ten\n-4:neg\n[One]\n3:a  $\n0:\n7:a$$\n1:x\n[one]\n2:d\n2:e\n";
  std::string in = Write("in.msg", "; c\n" + kept + " 1:bad\n"), out = dir_ + "/out.msg";
  SFM_MessageDB db(in.c_str(), 0);
  ASSERT_EQ(db.Save(out.c_str()), 1);
  EXPECT_EQ(Slurp(out), kept);
  SFM_MessageDB saved(out.c_str(), 0);
  EXPECT_EQ(saved.GetSectionBase("one"), db.GetSectionBase("one"));
  for (long key = -30; key <= 40; ++key) EXPECT_EQ(Txt(saved, key), Txt(db, key)) << key;
  ASSERT_EQ(db.Save(in.c_str()), 1);  // over its own file: the old one stays readable
  EXPECT_EQ(Slurp(in) + Txt(db, 10), kept + "ten");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_), {}), 2);  // no temporary
}

}  // namespace
