// file_test.cpp - SFM_File on real files: typed data, text lines, positions, mapping, events.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sccevent.h"
#include "sfm.h"
#include "sfmfile.h"
#include "ssm.h"
#include "test_locale.h"

using namespace std::string_literals;

namespace {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "brixfile-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void Spit(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// Records every file event and answers through `answer` (0 when unset).
struct Recorder {
  static std::vector<int> codes;
  static std::vector<SFM_EventData> data;
  static std::function<int(int code)> answer;
  static int Process(int code, SFM_EventData* d) {
    codes.push_back(code);
    data.push_back(*d);
    d->SetResult(answer ? answer(code) : 0);
    return 0;
  }
  Recorder() : hook(&Process, SFM::GetManager()->GetEvent()) {
    codes.clear();
    data.clear();
    answer = nullptr;
  }
  SCC_EventHook<SFM_EventData> hook;
};
std::vector<int> Recorder::codes;
std::vector<SFM_EventData> Recorder::data;
std::function<int(int)> Recorder::answer;

// Runs `body` in a forked child and expects it to exit with 0.
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

TEST(FileTest, TypedValuesRoundTripAndReverseBits) {
  TempDir dir;
  std::string path = dir / "typed.bin";
  for (int rev : {0, 1}) {
    {
      SFM_File out(path.c_str(), "wb");
      out.Put(0xFEDCBA98ul, rev);
      out.Put(-123456789L, rev);
      out.Put(static_cast<unsigned char>(0xA5), rev);
      out.Put(static_cast<char>(-3), rev);
      out.Put(static_cast<unsigned short>(0xBEEF), rev);
      out.Put(static_cast<short>(-2), rev);
      out.Put(0x89ABCDEFu, rev);
      out.Put(-70000, rev);
      out.Put(3.25);
    }
    // long and unsigned long move 4 bytes each.
    ASSERT_EQ(Slurp(path).size(), 4u + 4 + 1 + 1 + 2 + 2 + 4 + 4 + 8) << rev;
    SFM_File in(path.c_str(), "rb");
    auto get = [&](auto v) { return in.Get(v, rev); };
    EXPECT_EQ(get(0ul), 0xFEDCBA98ul);
    EXPECT_EQ(get(0L), -123456789L);
    EXPECT_EQ(get(static_cast<unsigned char>(0)), 0xA5);
    EXPECT_EQ(get(static_cast<char>(0)), -3);
    EXPECT_EQ(get(static_cast<unsigned short>(0)), 0xBEEF);
    EXPECT_EQ(get(static_cast<short>(0)), -2);
    EXPECT_EQ(get(0u), 0x89ABCDEFu);
    int i = 0;
    EXPECT_EQ(in.Get(i, rev), -70000);
    EXPECT_EQ(i, -70000);  // also stored
    double d = 0;
    EXPECT_EQ(in.Get(d), 3.25);
    EXPECT_TRUE(in.Eof());
  }

  // The flag reverses the order of bits, not of bytes.
  {
    SFM_File out(path.c_str(), "wb");
    out.Put(static_cast<short>(1), 1);
    out.Put(static_cast<unsigned char>(0x01), 1);
    out.Put(static_cast<unsigned short>(0x0102), 1);
    out.Put(1L, 1);
  }
  EXPECT_EQ(Slurp(path), std::string("\x00\x80\x80\x80\x40\x00\x00\x00\x80", 9));
  Spit(path, std::string("\x01\x00\x00\x00\x01\x00\x00\x00", 8));
  SFM_File in(path.c_str(), "rb");
  int i = 0;
  long l = 0;
  EXPECT_EQ(static_cast<unsigned>(in.Get(i, 1)), 0x80000000u);
  EXPECT_EQ(in.Get(l, 1), static_cast<long>(INT32_MIN));  // sign-extended from 32 bits
  EXPECT_EQ(in.Get(i, 0), 0);                             // missing bytes read as 0
}

TEST(FileTest, TextReadingTurnsCrLfIntoLf) {
  TempDir dir;
  std::string path = dir / "text.txt";
  Spit(path, "a\r\nb\rx\r");
  SFM_File chars(path.c_str(), "r");
  std::string got;
  for (int k = 0; k < 7; ++k) got.push_back(chars.GetChar());
  EXPECT_EQ(got, std::string("a\nb\rx\r\xFF"));  // 0xFF at the end
  EXPECT_EQ(static_cast<unsigned char>(SFM_File("closed").GetChar()), 0xFF);

  std::string longLine;
  for (int k = 0; k < 600; ++k) longLine.push_back(static_cast<char>('a' + k % 26));
  std::string q509(509, 'q');
  Spit(path, longLine + "\nab\r\ncd\rz\n" + q509 + "\r\nnul\0in\n"s + "last\0"s);
  struct Step {
    long maxLength;
    std::string expect;
  } steps[] = {
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
  for (const Step& step : steps)
    EXPECT_EQ(in.GetLine(step.maxLength).View(), step.expect) << step.expect;
  EXPECT_TRUE(in.Eof());
  SFM_File bin(path.c_str(), "rb");  // a binary stream keeps its bytes
  bin.Seek(601, SFM_File::Begin);
  EXPECT_EQ(std::string(bin.GetLine(0)), "ab\r\n");
}

TEST(FileTest, TextWritesLineFeedsAndCountsPrintf) {
  TempDir dir;
  std::string path = dir / "out.txt";
  {
    SFM_File out(path.c_str(), "w");
    EXPECT_EQ(out.WriteLine("first"), 1);
    EXPECT_EQ(out.Printf("%d-%s", 42, "x"), 4);
    EXPECT_EQ(out.PutChar('\n'), 1);
    EXPECT_EQ(out.WriteLine(""), 1);
  }
  EXPECT_EQ(Slurp(path), "first\n42-x\n\n");
  SFM_File closed(path.c_str());
  char buffer[4];
  EXPECT_EQ(closed.WriteLine("x") + closed.PutChar('x') + closed.Printf("x") +
                closed.Read(buffer, 4) + closed.Write("abc", 3),
            0);
}

TEST(FileTest, PrintfWritesAPointUnderAnyLocale) {
  const test_locale::Scoped comma(LC_NUMERIC, test_locale::kComma);
  BRIX_REQUIRE_LOCALE(comma);
  TempDir dir;
  std::string path = dir / "numbers.txt";
  {
    SFM_File out(path.c_str(), "w");
    EXPECT_EQ(out.Printf("%.2f %'d", 12.75, 1234567), 13);
  }
  EXPECT_EQ(Slurp(path), "12.75 1234567");
}

TEST(FileTest, PositionStack) {
  TempDir dir;
  std::string path = dir / "pos.bin";
  Spit(path, "0123456789");
  SFM_File f(path.c_str(), "rb");
  f.Seek(3, SFM_File::Begin);
  ASSERT_EQ(f.PushPosition(-2, SFM_File::End), 1);
  EXPECT_EQ(f.GetPosition(), 8);
  ASSERT_EQ(f.PushPosition(1, SFM_File::Current), 1);
  EXPECT_EQ(f.GetPosition(), 9);
  // A seek the runtime rejects leaves the position and the stack alone.
  EXPECT_EQ(f.PushPosition(-100, SFM_File::Begin), 0);
  EXPECT_EQ(f.GetPosition(), 9);
  EXPECT_EQ(f.PushPosition(0, static_cast<SFM_File::SeekType>(7)), 0);
  f.PopPosition();
  EXPECT_EQ(f.GetPosition(), 8);
  f.PopPosition();
  EXPECT_EQ(f.GetPosition(), 3);
  char c = 0;
  EXPECT_EQ(f.Get(c), '3');

  SFM_File closed(path.c_str());
  EXPECT_EQ(closed.GetPosition(), -1);
  EXPECT_EQ(closed.Seek(0, SFM_File::Begin), 0);
  EXPECT_EQ(closed.PushPosition(0, SFM_File::Begin), 0);
}

TEST(FileTest, LengthIsCachedUntilAWriteReachesTheEnd) {
  TempDir dir;
  std::string path = dir / "len.bin";
  Spit(path, "12345");
  SFM_File closed(path.c_str());
  EXPECT_EQ(closed.GetLength(), 5);
  EXPECT_FALSE(closed.IsOpen());  // measured without staying open
  SFM_File missing((dir / "missing").c_str());
  EXPECT_EQ(missing.GetLength(), -1);

  SFM_File f(path.c_str(), "r+b");
  EXPECT_EQ(f.GetLength(), 5);
  f.Write("ab", 2);  // inside the file: still 5
  EXPECT_EQ(f.GetLength(), 5);
  f.SeekToEnd();
  EXPECT_TRUE(f.Eof());  // at the end before any read
  f.Write("xyz", 3);     // buffered, not yet on disk
  EXPECT_EQ(f.GetLength(), 8);
  EXPECT_EQ(f.GetPosition(), 8);
  f.Rewind();
  EXPECT_FALSE(f.Eof());
  f.Put(1234567, 0);
  EXPECT_EQ(f.GetLength(), 8);
  f.Close();
  EXPECT_EQ(Slurp(path), std::string("\x87\xD6\x12\x00", 4) + "5xyz");
}

TEST(FileTest, MappingIsCopyOnWrite) {
  TempDir dir;
  std::string path = dir / "map.bin";
  Spit(path, "hello, mapped world");
  SFM_File f(path.c_str(), "rb");
  f.Seek(7, SFM_File::Begin);
  char* view = static_cast<char*>(f.MapToMemory());
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(f.IsOpen());
  EXPECT_EQ(std::string(view, 19), "hello, mapped world");
  // Bytes into the mapping, not a C string.
  std::memcpy(view, "HELLO", 5);  // NOLINT(bugprone-not-null-terminated-result)
  EXPECT_EQ(std::string(view, 5), "HELLO");
  // A second view is independent and the first stays valid.
  char* second = static_cast<char*>(f.MapToMemory());
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(std::string(second, 5), "hello");
  EXPECT_EQ(std::string(view, 5), "HELLO");
  f.UnmapMemory();
  EXPECT_EQ(Slurp(path), "hello, mapped world");
  // The stream comes back where it was.
  EXPECT_EQ(f.IsTempClosed(), 0);
  EXPECT_EQ(f.GetPosition(), 7);
  char rest[12];
  EXPECT_EQ(f.Read(rest, 12), 12);
  EXPECT_EQ(std::string(rest, 12), "mapped world");

  Spit(dir / "empty", "");
  SFM_File empty((dir / "empty").c_str(), "rb");
  EXPECT_EQ(empty.MapToMemory(), nullptr);
  SFM_File closed(path.c_str());
  EXPECT_EQ(closed.MapToMemory(), nullptr);
}

TEST(FileTest, TemporaryCloseReopensTransparently) {
  TempDir dir;
  struct Case {
    const char* mode;
    const char* before;  // file content before opening
    const char* expect;  // content after: write "ab", temp close, write "cd"
  } cases[] = {
      {"w", "old", "abcd"},  // not truncated again
      {"wb", "old", "abcd"},
      {"r+", "0123456", "abcd456"},  // position restored
      {"a+b", "xy", "xyabcd"},
  };
  SFM* manager = SFM::GetManager();
  for (const Case& c : cases) {
    std::string path = dir / "temp";
    Spit(path, c.before);
    SFM_File f(path.c_str(), c.mode);
    ASSERT_TRUE(f.IsOpen()) << c.mode;
    f.Write("ab", 2);
    long position = f.GetPosition();
    ASSERT_EQ(manager->CloseLeastRecentlyOpened(), 1) << c.mode;
    EXPECT_EQ(f.IsTempClosed(), 1);
    EXPECT_EQ(f.GetStream(), nullptr);
    EXPECT_TRUE(f.IsOpen());
    EXPECT_EQ(manager->CloseLeastRecentlyOpened(), 0);  // nothing else to close
    EXPECT_EQ(f.GetPosition(), position) << c.mode;
    EXPECT_EQ(f.IsTempClosed(), 0);
    EXPECT_EQ(std::string(f.GetMode()), c.mode);
    f.Write("cd", 2);
    f.Close();
    EXPECT_EQ(Slurp(path), c.expect) << c.mode;
  }
}

TEST(FileTest, AssignmentMovesTheStream) {
  TempDir dir;
  std::string path = dir / "shared.txt";
  SFM_File target((dir / "other").c_str(), "w");
  SFM_File source(path.c_str(), "w");
  source.SetMsg("note");
  source.WriteLine("one");
  target = source;
  EXPECT_FALSE(source.IsOpen());
  EXPECT_TRUE(target.IsOpen());
  EXPECT_EQ(std::string(target.GetName()), path);
  EXPECT_EQ(std::string(target.GetMsg()), "note");
  EXPECT_EQ(target.GetNextNode(), &source);  // directly before the source in the list
  target.WriteLine("two");
  target.Close();
  EXPECT_EQ(Slurp(path), "one\ntwo\n");
  EXPECT_TRUE(std::filesystem::exists(dir / "other"));

  // A parked stream moves as well and comes back on the target.
  SFM_File parked(path.c_str(), "r+");
  ASSERT_EQ(SFM::GetManager()->CloseLeastRecentlyOpened(), 1);
  SFM_File taker;
  taker = parked;
  EXPECT_EQ(taker.IsTempClosed(), 1);
  EXPECT_EQ(taker.Write("ONE", 3), 1);
  taker.Close();
  EXPECT_EQ(Slurp(path), "ONE\ntwo\n");

  SFM_File copy(source);
  EXPECT_EQ(std::string(copy.GetName()), path);
  EXPECT_TRUE(copy.GetMode().IsEmpty());
  EXPECT_EQ(copy.GetList(), nullptr);  // not registered
}

TEST(FileTest, ListenersSeeEventsAndAnswer) {
  TempDir dir;
  std::string path = dir / "late.txt";
  Recorder rec;
  int retries = 2;
  rec.answer = [&](int code) -> int {
    return code == SFM::OpenFailed && retries-- > 0 ? SFM::Retry : 0;
  };
  SFM_File f(path.c_str());
  EXPECT_EQ(f.Open("r"), 0);  // retried twice, then given up
  EXPECT_EQ(rec.codes, (std::vector<int>{101, 201, 201, 201}));
  EXPECT_EQ(std::string(rec.data[0].GetFileName1()), path);
  EXPECT_EQ(rec.data[1].GetError(), static_cast<unsigned long>(ENOENT));
  EXPECT_EQ(std::string(f.GetMsg()), std::string(strerror(ENOENT)));

  // A listener that removes the cause and answers retry gets the file opened.
  rec.codes.clear();
  rec.answer = [&](int code) -> int {
    if (code != SFM::OpenFailed) return 0;
    Spit(path, "made");
    return SFM::Retry;
  };
  EXPECT_EQ(f.Open("r"), 1);
  EXPECT_EQ(std::string(f.GetLine(0)), "made");
  f.Close();
  EXPECT_EQ(rec.codes, (std::vector<int>{101, 201, 102, 103}));

  InChild([&] {
    rec.answer = [](int code) -> int { return code == SFM::OpenFailed ? SFM::EndProcess : 0; };
    SFM_File((dir / "missing").c_str()).Open("r");
    return 7;  // not reached: the answer ends the process with status 0
  });
}

TEST(FileTest, ManyMoreFilesThanHandles) {
  TempDir dir;
  InChild([&]() -> int {
    Recorder rec;
    struct rlimit limit = {32, 32};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
    const int kFiles = 200, kRounds = 5;
    std::vector<std::unique_ptr<SFM_File>> files;
    for (int i = 0; i < kFiles; ++i) {
      std::string name = dir / ("f" + std::to_string(i));
      files.push_back(std::make_unique<SFM_File>(name.c_str(), "w"));
      if (!files.back()->IsOpen()) return 2;
    }
    int parked = 0;
    for (auto& f : files) parked += f->IsTempClosed();
    if (parked < kFiles - 32) return 6;  // the handles really ran out
    for (int round = 0; round < kRounds; ++round)
      for (int i = 0; i < kFiles; ++i) {
        if (files[i]->Printf("%d:%d;", i, round) <= 0) return 3;
        if (!files[i]->PutChar('\n')) return 3;
      }
    for (auto& f : files) f->Close();
    for (int code : rec.codes)
      if (code == SFM::OpenFailed || code >= SFM::CloseFailed) return 4;
    for (int i = 0; i < kFiles; ++i) {
      std::string expect;
      for (int round = 0; round < kRounds; ++round)
        expect += std::to_string(i) + ":" + std::to_string(round) + ";\n";
      if (Slurp(dir / ("f" + std::to_string(i))) != expect) return 5;
    }
    return 0;
  });
}

TEST(FileTest, WriteFailureRaises204AndTheFileStaysUsable) {
  TempDir dir;
  std::string path = dir / "limited";
  InChild([&]() -> int {
    Recorder rec;
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {1000, 1000};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
    SFM_File f(path.c_str(), "w+");
    int failures = 0;
    for (int k = 0; k < 20000 && !failures; ++k) failures += !f.PutChar('p');
    if (!failures) return 2;
    size_t afterPutChar = rec.codes.size();
    if (afterPutChar == 0 || rec.codes.back() != SFM::WriteFailed) return 3;
    if (rec.data.back().GetError() != EFBIG) return 4;
    long written = 0;
    for (int k = 0; k < 20000 && written >= 0; ++k)
      if (f.Printf("%s", "printf-output ") == 0) written = -1;
    if (written != -1 || rec.codes.size() <= afterPutChar) return 5;
    if (rec.codes.back() != SFM::WriteFailed) return 6;
    // Reading and seeking still work.
    if (!f.Seek(0, SFM_File::Begin)) return 7;
    if (f.GetChar() != 'p') return 8;
    if (f.GetLength() != 1000) return 9;
    return 0;
  });
}

TEST(FileTest, NamingRules) {
  TempDir dir;
  SFM_File f;
  EXPECT_TRUE(f.GetName().IsEmpty());
  std::string path = dir / "n.txt";
  EXPECT_EQ(f = path.c_str(), path.c_str());
  EXPECT_EQ(std::string(f.GetName()), path);
  f.SetMode("w");
  EXPECT_EQ(f.Open(""), 1);  // the stored mode
  EXPECT_TRUE(f.IsValid());
  EXPECT_EQ(f.ReOpen(SYS_String((dir / "m.txt").c_str()), SYS_String("wb")), 1);
  EXPECT_EQ(std::string(f.GetMode()), "wb");
  f.Put(7, 0);
  f.Close();
  EXPECT_EQ(Slurp(dir / "m.txt").size(), 4u);
  EXPECT_TRUE(f.Exists());
  EXPECT_EQ(f.Copy((dir / "copy.txt").c_str(), 0), 1);
  EXPECT_EQ(Slurp(dir / "copy.txt").size(), 4u);
  EXPECT_EQ(f.Delete(), 1);
  EXPECT_FALSE(f.Exists());
}

// The site and message of the check that `body` fails, or nothing.
struct Failure {
  std::string file;
  int line;
  std::string message;
  bool operator==(const Failure&) const = default;
  friend std::ostream& operator<<(std::ostream& os, const Failure& f) {
    return os << f.file << "(" << f.line << ") \"" << f.message << "\"";
  }
};
template <class F>
std::optional<Failure> FailedCheck(F body) {
  try {
    body();
  } catch (SSM::AssertData* data) {
    return Failure{data->fileName.GetString(), data->line, data->message.GetString()};
  }
  return std::nullopt;
}

TEST(FileTest, MisuseFailsChecksAtItsSites) {
  TempDir dir;
  std::string text = dir / "t.txt", bin = dir / "b.bin";
  Spit(text, "text\n");
  Spit(bin, "binary\n");
  SSM ssm;  // a live assertion service: these checks throw
  SFM_File t(text.c_str(), "r+");
  SFM_File b(bin.c_str(), "rb");
  const std::string kSite = "system/sfm/sfmfile";
  const char* none = nullptr;
  struct Case {
    const char* what;
    std::function<void()> body;
    Failure expect;
  } cases[] = {
      {"open twice", [&] { t.Open("r"); }, {kSite, 290, "Tamsk: "}},
      {"rename open", [&] { t.SetName("x"); }, {kSite, 191, "Tamsk: "}},
      {"assign name", [&] { t = "x"; }, {kSite, 218, "Tamsk: "}},
      {"mode of open", [&] { t.SetMode("w"); }, {kSite, 202, "Tamsk: "}},
      {"read null", [&] { t.Read(nullptr, 1); }, {kSite, 477, "Tamsk: "}},
      {"write null", [&] { t.Write(nullptr, 1); }, {kSite, 499, "Tamsk: "}},
      {"printf null", [&] { t.Printf(none); }, {kSite, 591, "Tamsk: "}},
      {"get text",
       [&] {
         int v;
         t.Get(v);
       },
       {kSite, 801, "Tamsk: Can't call Get on text file"}},
      {"put text", [&] { t.Put(1); }, {kSite, 802, "Tamsk: Can't call Put on text file"}},
      {"no name", [&] { SFM_File f("", "r"); }, {kSite, 172, "Tamsk: "}},
      {"no mode", [&] { SFM_File f("x", ""); }, {kSite, 174, "Tamsk: "}},
  };
  for (const Case& c : cases) EXPECT_EQ(FailedCheck(c.body), c.expect) << c.what;
  // Popping an empty position stack is the stack's own check.
  std::optional<Failure> pop = FailedCheck([&] { t.PopPosition(); });
  ASSERT_TRUE(pop.has_value());
  EXPECT_EQ(pop->file + ":" + std::to_string(pop->line), "system/inc/sccstack:98");
  // Typed access fails before any byte moves.
  EXPECT_EQ(t.GetPosition(), 0);
  EXPECT_EQ(Slurp(text), "text\n");

  // The text operations on a binary file read first, by design.
  EXPECT_EQ(FailedCheck([&] { b.GetChar(); }),
            (Failure{kSite, 635, "Tamsk: Can't call GetChar on binary file"}));
  EXPECT_EQ(b.GetPosition(), 1);
  EXPECT_EQ(FailedCheck([&] { b.GetLine(0); }),
            (Failure{kSite, 546, "Tamsk: Can't call GetLine on binary file"}));
  EXPECT_EQ(b.GetPosition(), 7);

  // Eof looks for the stream before reopening: a file parked by the manager fails it.
  SFM::GetManager()->CloseLeastRecentlyOpened();
  ASSERT_TRUE(t.IsTempClosed());
  EXPECT_EQ(FailedCheck([&] { t.Eof(); }), (Failure{kSite, 355, "Tamsk: "}));
  EXPECT_EQ(FailedCheck([&] { t.GetPosition(); }), std::nullopt);
}

}  // namespace

namespace {

// One step script for a file parked by the manager: open with `mode` on `before`
// (null: no file), write `first`, seek to `seekTo` (-1: stay), park, then read
// `readBack` or write `second`. The file must then hold `expect`.
struct ReopenCase {
  const char* mode;
  const char* before;
  const char* first;
  long seekTo;
  const char* readBack;
  const char* second;
  const char* expect;
};

const ReopenCase kReopenCases[] = {
    // Write modes write where the position says and never truncate again.
    {"wb", nullptr, "HEADER??BODYBODY", 6, nullptr, "OK", "HEADEROKBODYBODY"},
    {"w", "old", "HEADER??BODYBODY", 6, nullptr, "OK", "HEADEROKBODYBODY"},
    {"wt", "old", "HEADER??BODY", 6, nullptr, "OK", "HEADEROKBODY"},
    {"w+b", nullptr, "HEADER??BODY", 6, nullptr, "OK", "HEADEROKBODY"},
    {"w+", nullptr, "HEADER??BODY", 6, "??BODY", nullptr, "HEADER??BODY"},
    {"we", nullptr, "HEADER??BODY", 6, nullptr, "OK", "HEADEROKBODY"},
    // Exclusive creation must not make the reopen fail on the file it created.
    {"wbx", nullptr, "HEADER??BODYBODY", 6, nullptr, "OK", "HEADEROKBODYBODY"},
    {"w+x", nullptr, "HEADER??BODY", 6, nullptr, "OK", "HEADEROKBODY"},
    // Append modes keep appending; reads follow the position.
    {"ab", "xy", "12", 0, nullptr, "34", "xy1234"},
    {"a+", "xy", "12", 0, "xy12", nullptr, "xy12"},
    {"a+bx", nullptr, "12", 0, "12", nullptr, "12"},
    // Read modes.
    {"r+", "0123456789", "ab", 5, "56789", nullptr, "ab23456789"},
    {"r+b", "0123456789", "ab", 7, nullptr, "cd", "ab23456cd9"},
    {"r", "abcdef", nullptr, 2, "cdef", nullptr, "abcdef"},
    {"rb", "abcdef", nullptr, 4, "ef", nullptr, "abcdef"},
};

bool CloseOnExec(std::FILE* stream) {
  return stream && (fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC) != 0;
}

}  // namespace

TEST(FileTest, ReopenRestoresTheStreamExactly) {
  TempDir dir;
  SFM* manager = SFM::GetManager();
  for (const ReopenCase& c : kReopenCases) {
    SCOPED_TRACE(c.mode);
    std::string path = dir / "reopen";
    std::filesystem::remove(path);
    if (c.before) Spit(path, c.before);
    SFM_File f(path.c_str(), c.mode);
    ASSERT_TRUE(f.IsOpen());
    if (c.first) {
      ASSERT_TRUE(f.Write(c.first, static_cast<long>(strlen(c.first))));
    }
    if (c.seekTo >= 0) {
      ASSERT_TRUE(f.Seek(static_cast<int>(c.seekTo), SFM_File::Begin));
    }
    const long position = f.GetPosition();
    const bool cloexec = CloseOnExec(f.GetStream());
    ASSERT_EQ(manager->CloseLeastRecentlyOpened(), 1);
    ASSERT_EQ(f.IsTempClosed(), 1);
    EXPECT_EQ(f.GetPosition(), position);
    if (!f.GetStream()) {
      ADD_FAILURE() << "the reopen failed";
      continue;
    }
    EXPECT_EQ(CloseOnExec(f.GetStream()), cloexec);
    EXPECT_EQ(std::string(f.GetMode()), c.mode);
    if (c.readBack) {
      std::string got(strlen(c.readBack) + 4, '\0');
      got.resize(static_cast<size_t>(f.Read(got.data(), static_cast<long>(got.size()))));
      EXPECT_EQ(got, c.readBack);
    }
    if (c.second) {
      EXPECT_TRUE(f.Write(c.second, static_cast<long>(strlen(c.second))));
    }
    f.Close();
    EXPECT_EQ(Slurp(path), c.expect);
  }
}

// A stream that could not be put back exactly stays open instead of being parked,
// and a file that another one has replaced under its name is never written to.
TEST(FileTest, StreamsThatCannotBeResumedAreNotParked) {
  TempDir dir;
  SFM* manager = SFM::GetManager();
  std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string wide = dir / "wide";
  std::string gone = dir / "gone";
  Spit(gone, "data");
  struct Case {
    const char* what;
    std::string path;
    const char* mode;
    bool wideOriented;
  } cases[] = {
      {"a pipe has no position", fifo, "r+", false},
      {"a wide stream has a conversion state of its own", wide, "w", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SFM_File f(c.path.c_str(), c.mode);
    ASSERT_TRUE(f.IsOpen());
    if (c.wideOriented) {
      ASSERT_GT(fwide(f.GetStream(), 1), 0);
    }
    EXPECT_EQ(manager->CloseLeastRecentlyOpened(), 0);
    EXPECT_EQ(f.IsTempClosed(), 0);
    EXPECT_NE(f.GetStream(), nullptr);
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
  SFM_File f(gone.c_str(), "r+");
  ASSERT_EQ(manager->CloseLeastRecentlyOpened(), 1);
  Spit(dir / "other", "other");
  ASSERT_EQ(std::rename((dir / "other").c_str(), gone.c_str()), 0);
  {
    SSM ssm;
    EXPECT_EQ(FailedCheck([&] { f.Write("XX", 2); }),
              (Failure{"system/sfm/sfmfile", 274, "Tamsk: "}));
  }
  EXPECT_FALSE(f.IsOpen());
  EXPECT_EQ(Slurp(gone), "other");
}

// The manager parks files to free handles; files it cannot park are passed over, and
// when none is left every loop that waits for a handle ends and reports the failure.
TEST(FileTest, OutOfHandlesNeverLoops) {
  TempDir dir;
  std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  Spit(dir / "data", "0123456789");
  // Takes every free descriptor under a small limit; the caller frees what it needs.
  auto exhaust = [](std::vector<int>& held) -> bool {
    struct rlimit limit = {64, 64};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
    for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) held.push_back(fd);
    return errno == EMFILE;
  };
  struct Case {
    const char* what;
    std::function<int(SFM_File& pipe, SFM_File& data, std::vector<int>& held)> body;
  } cases[] = {
      {"open passes over the pipe and parks the data file",
       [&](SFM_File& pipe, SFM_File& data, std::vector<int>&) -> int {
         SFM_File next((dir / "next").c_str(), "w");
         if (!next.IsOpen()) return 10;
         if (!data.IsTempClosed() || pipe.IsTempClosed()) return 11;
         for (int code : Recorder::codes)
           if (code == SFM::OpenFailed) return 12;  // the listeners are never asked
         return 0;
       }},
      {"open with nothing left to park asks the listeners once",
       [&](SFM_File&, SFM_File& data, std::vector<int>& held) -> int {
         data.Close();
         for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) held.push_back(fd);
         Recorder::codes.clear();
         SFM_File next((dir / "next").c_str());
         if (next.Open("w") != 0) return 20;
         if (Recorder::codes != std::vector<int>{SFM::AboutToOpen, SFM::OpenFailed}) return 21;
         return Recorder::data.back().GetError() == EMFILE ? 0 : 22;
       }},
      {"a reopen with nothing left to park gives up",
       [&](SFM_File&, SFM_File& data, std::vector<int>& held) -> int {
         if (SFM::GetManager()->CloseLeastRecentlyOpened() != 1) return 30;
         for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) held.push_back(fd);
         char ch;
         if (data.Read(&ch, 1) != 0) return 31;
         return data.IsOpen() ? 32 : 0;
       }},
      {"a mapping with nothing left to park gives up",
       [&](SFM_File& pipe, SFM_File& data, std::vector<int>& held) -> int {
         data.Close();
         for (int fd; (fd = open("/dev/null", O_RDONLY)) >= 0;) held.push_back(fd);
         return pipe.MapToMemory() == nullptr && pipe.GetStream() ? 0 : 40;
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    InChild([&]() -> int {
      alarm(10);  // a loop without end dies here
      Recorder rec;
      SFM_File pipe(fifo.c_str(), "r+");  // the least recently opened file
      SFM_File data((dir / "data").c_str(), "r+b");
      if (!pipe.IsOpen() || !data.IsOpen()) return 1;
      std::vector<int> held;
      if (!exhaust(held)) return 2;
      Recorder::codes.clear();
      return c.body(pipe, data, held);
    });
  }
}
