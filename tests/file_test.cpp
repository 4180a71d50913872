// file_test.cpp - SFM_File on real file systems (typed data, text lines, positions, mapping,
// the temporary close that lets many more files stay open than there are handles) and the
// file manager SFM.
#include "file_helpers.h"
#include "test_locale.h"

namespace {

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

}  // namespace
