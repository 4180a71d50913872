// msgdb_test.cpp - tests of SFM_MessageDB, its section iterator and TR.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "../system/sfm/sfmstrtab.h"
#include "sfmmsgdb.h"

namespace {

class MsgDbTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/msgdb_test_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    std::string command = "rm -rf '" + dir_ + "'";
    ASSERT_EQ(system(command.c_str()), 0);
  }

  std::string Write(const std::string& name, const std::string& content) {
    std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }
  std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  // Indexes `content` and returns what the indexer printed.
  std::string Diagnostics(const std::string& content) {
    std::string path = Write("diag.msg", content);
    testing::internal::CaptureStdout();
    SFM_MessageDB db(path.c_str());
    fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    std::string prefix = path + "(";
    for (size_t at; (at = out.find(prefix)) != std::string::npos;)
      out.replace(at, path.size(), "F");
    return out;
  }

  std::string dir_;
};

std::string Txt(const SFM_MessageDB& db, long key) {
  SYS_String s = db.getTxt(key);
  return std::string(s, size_t(s.GetLength()));
}

TEST_F(MsgDbTest, MessagesAndDollarGuard) {
  SFM_MessageDB db(Write("a.msg", "1:Hello\n2:World  $\n3:$\n4:a$$\n5:\n6: lead\n").c_str());
  ASSERT_EQ(db.IsValid(), 1);
  EXPECT_EQ(Txt(db, 1), "Hello");
  EXPECT_EQ(Txt(db, 2), "World  ");
  EXPECT_EQ(Txt(db, 3), "");
  EXPECT_EQ(Txt(db, 4), "a$");
  EXPECT_EQ(Txt(db, 5), "");
  EXPECT_EQ(Txt(db, 6), " lead");
  EXPECT_EQ(Txt(db, 7), "");
  EXPECT_EQ(Txt(db, -1), "");
  EXPECT_EQ(Txt(db, 0x100000001L), "");  // beyond the 32-bit key range, not key 1
}

TEST_F(MsgDbTest, SectionBasesAndKeys) {
  SFM_MessageDB db(Write("s.msg",
                         "1:a\n2:b\n[Editor]\n5:Undo\n1:Cut\n[Empty]\n[View]\n"
                         "0:Zoom\n[]\n")
                       .c_str());
  EXPECT_EQ(db.GetSectionBase("Editor"), 4);
  EXPECT_EQ(db.GetSectionBase("editor"), 4);
  EXPECT_EQ(db.GetSectionBase("EDITOR"), 4);
  EXPECT_EQ(Txt(db, 9), "Undo");
  EXPECT_EQ(Txt(db, 5), "Cut");
  EXPECT_EQ(Txt(db, -4), "Editor");
  // The band of Editor ends at its largest number (key 9) even though the last
  // message was 1; an empty section still reserves its base.
  EXPECT_EQ(db.GetSectionBase("Empty"), 11);
  EXPECT_EQ(db.GetSectionBase("View"), 13);
  EXPECT_EQ(Txt(db, 13), "Zoom");
  EXPECT_EQ(Txt(db, -11), "Empty");
  EXPECT_EQ(db.GetSectionBase(""), 15);
  EXPECT_EQ(db.GetSectionBase("Edit"), -1);
  EXPECT_EQ(db.GetSectionBase("Editors"), -1);
}

TEST_F(MsgDbTest, RejectedLinesAreReportedAndSkipped) {
  struct Case {
    const char* line;
    const char* report;
  } cases[] = {
      {" 3:x", "F(2) : leading blanks are not allowed\n"},
      {"\t3:x", "F(2) : leading blanks are not allowed\n"},
      {"[abc", "F(2) : invalid section : \"[abc\"\n"},
      {"[a]b]", "F(2) : invalid section : \"[a]b]\"\n"},
      {"[a]b", "F(2) : invalid section : \"[a]b\"\n"},
      {":x", "F(2) : invalid line : \":x\"\n"},
      {"abc", "F(2) : invalid line : \"abc\"\n"},
      {"abc   \r", "F(2) : invalid line : \"abc\"\n"},
      {";[bad", ""},
      {"   ", ""},
  };
  for (const Case& c : cases) {
    std::string content = std::string("1:one\n") + c.line + "\n2:two\n";
    EXPECT_EQ(Diagnostics(content), c.report) << c.line;
    SFM_MessageDB db(Write("r.msg", content).c_str(), 0);
    EXPECT_EQ(Txt(db, 2), "two") << c.line;
    EXPECT_EQ(db.GetSectionBase("abc"), -1) << c.line;
  }
  // Line numbers count every line, comments and empty ones included.
  EXPECT_EQ(Diagnostics(";c\n\n1:x\n:y\n"), "F(4) : invalid line : \":y\"\n");
  // The quiet form reports nothing.
  testing::internal::CaptureStdout();
  SFM_MessageDB quiet(Write("q.msg", ":x\n").c_str(), 0);
  fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(MsgDbTest, CommentsAndEmptyLinesTakeNoKeys) {
  SFM_MessageDB db(Write("c.msg", "; head\n\n1:a\n;2:b\n   \n[S]\n;x\n1:c\n").c_str());
  EXPECT_EQ(db.GetSectionBase("S"), 3);
  EXPECT_EQ(Txt(db, 4), "c");
  EXPECT_EQ(Txt(db, 2), "");
}

TEST_F(MsgDbTest, NumberConversion) {
  SFM_MessageDB db(Write("n.msg",
                         "12a:twelve\nx:zero\n+7:seven\n-3:minus\n99999999999:big\n"
                         "-99999999999:small\n")
                       .c_str());
  EXPECT_EQ(Txt(db, 12), "twelve");
  EXPECT_EQ(Txt(db, 0), "zero");
  EXPECT_EQ(Txt(db, 7), "seven");
  EXPECT_EQ(Txt(db, -3), "minus");
  EXPECT_EQ(Txt(db, 2147483647L), "big");
  EXPECT_EQ(Txt(db, -2147483647L - 1), "small");
}

TEST_F(MsgDbTest, LineEndingsAndOddBytes) {
  const char raw[] = "1:crlf\r\n2:a\0hidden\n3:x:y\n4:\xE9t\xE9\n[S]\r\n5:last";
  SFM_MessageDB db(Write("e.msg", std::string(raw, sizeof raw - 1)).c_str());
  EXPECT_EQ(Txt(db, 1), "crlf");
  EXPECT_EQ(Txt(db, 2), "a");  // a line ends at a NUL byte
  EXPECT_EQ(Txt(db, 3), "x:y");
  EXPECT_EQ(Txt(db, 4), "\xE9t\xE9");
  EXPECT_EQ(db.GetSectionBase("s"), 6);
  EXPECT_EQ(Txt(db, 11), "last");  // no final line feed
}

// Texts longer than 200 bytes come back whole, up to the longest line the database
// takes (64 KiB before the line feed); a longer line is rejected like any malformed one,
// without being held whole, and the lines after it keep their keys and numbers.
TEST_F(MsgDbTest, LongLinesUpToTheCapComeBackWholeLongerOnesAreRejected) {
  constexpr size_t kCap = 65536;
  auto text = [](size_t length) {
    std::string t(length, 'm');
    t[length / 2] = 'Q';
    return t;
  };
  struct Case {
    const char* what;
    std::string line;
    std::string expected;  // the text of key 7, "" when the line is rejected
  } cases[] = {
      {"past the 200-byte buffer", "7:" + text(5000), text(5000)},
      {"exactly the cap", "7:" + text(kCap - 2), text(kCap - 2)},
      {"exactly the cap with a guard", "7:" + text(kCap - 5) + "  $", text(kCap - 5) + "  "},
      {"one byte over", "7:" + text(kCap - 1), ""},
      {"over only by trailing blanks", "7:" + text(100) + std::string(kCap, ' '), ""},
      {"a comment over the cap", ";" + text(kCap), ""},
      {"a section header over the cap", "[" + text(kCap) + "]", ""},
      {"longer than a read block", "7:" + text(3 << 20), ""},
  };
  for (const Case& c : cases) {
    const std::string content = "1:one\n" + c.line + "\n2:two\n:bad\n";
    const std::string reports = Diagnostics(content);
    const std::string tooLong = "F(2) : line too long\n";
    const std::string rejected = c.expected.empty() ? tooLong : "";
    EXPECT_EQ(reports, rejected + "F(4) : invalid line : \":bad\"\n") << c.what;
    SFM_MessageDB db(Write("l.msg", content).c_str(), 0);
    EXPECT_EQ(Txt(db, 7), c.expected) << c.what;
    EXPECT_EQ(Txt(db, 1), "one") << c.what;
    EXPECT_EQ(Txt(db, 2), "two") << c.what;
    EXPECT_EQ(db.GetSectionBase("m"), -1) << c.what;
  }
  // The last line of a file, without its line feed, and a file of one long line.
  const std::string last = "1:one\n7:" + text(kCap);
  EXPECT_EQ(Diagnostics(last), "F(2) : line too long\n");
  EXPECT_EQ(Diagnostics("7:" + text(2 << 20) + "\n"), "F(1) : line too long\n");
  SFM_MessageDB db(Write("e.msg", last).c_str(), 0);
  EXPECT_EQ(Txt(db, 1), "one");
  EXPECT_EQ(Txt(db, 7), "");
}

TEST_F(MsgDbTest, MissingFileAndEmptyFile) {
  SFM_MessageDB missing((dir_ + "/none.msg").c_str());
  EXPECT_EQ(missing.IsValid(), 0);
  EXPECT_EQ(Txt(missing, 1), "");
  EXPECT_EQ(missing.GetSectionBase("a"), -1);
  EXPECT_EQ(missing.Save((dir_ + "/out.msg").c_str()), 1);
  EXPECT_EQ(Read(dir_ + "/out.msg"), "");

  SFM_MessageDB empty(Write("e.msg", "").c_str());
  EXPECT_EQ(empty.IsValid(), 1);
  EXPECT_EQ(Txt(empty, 0), "");
}

TEST_F(MsgDbTest, CopiesShareTheFile) {
  std::string path = Write("c.msg", "1:one\n[S]\n1:two\n");
  SFM_MessageDB other(Write("o.msg", "1:other\n").c_str());
  {
    SFM_MessageDB db(path.c_str());
    SFM_MessageDB copy(db);  // NOLINT(performance-unnecessary-copy-initialization): dies first
    other = db;
  }
  EXPECT_EQ(Txt(other, 1), "one");
  EXPECT_EQ(Txt(other, 4), "two");
  EXPECT_EQ(other.GetSectionBase("s"), 3);
}

TEST_F(MsgDbTest, SectionIteratorWalksNumbersInOrder) {
  SFM_MessageDB db(Write("i.msg", "[A]\n5:five\n1:one\n3:three\n1:uno\n[B]\n[C]\n2:c2\n").c_str());
  SFM_MessageDB::SectionIterator it(db, "a");
  EXPECT_EQ(std::string(it.GetName()), "A");
  ASSERT_EQ(it.IsEmpty(), 0);
  EXPECT_EQ(it.GetPosition(), 1);
  EXPECT_EQ(std::string(SYS_String(it)), "uno");  // the later line of a number wins
  EXPECT_EQ(std::string(it++), "uno");
  EXPECT_EQ(it.GetPosition(), 3);
  EXPECT_EQ(std::string(++it), "five");
  EXPECT_EQ(std::string(++it), "");
  EXPECT_EQ(it.IsEmpty(), 1);
  EXPECT_EQ(it.GetPosition(), -1);

  it = 2;  // no message 2: the next one above it
  EXPECT_EQ(it.GetPosition(), 3);
  it = 5;
  EXPECT_EQ(std::string(SYS_String(it)), "five");
  it = 6;
  EXPECT_EQ(it.IsEmpty(), 1);
  it = -100;
  EXPECT_EQ(it.GetPosition(), 1);

  EXPECT_EQ(SFM_MessageDB::SectionIterator(db, "B").IsEmpty(), 1);
  EXPECT_EQ(SFM_MessageDB::SectionIterator(db, "nope").IsEmpty(), 1);
  SFM_MessageDB::SectionIterator c(db, "C");
  EXPECT_EQ(std::string(c.GetName()), "C");
  c.Clear();
  EXPECT_EQ(c.IsEmpty(), 1);
  EXPECT_EQ(std::string(c.GetName()), "");
  EXPECT_EQ(std::string(++c), "");
  c = 2;
  EXPECT_EQ(c.IsEmpty(), 1);
}

TEST_F(MsgDbTest, SaveWritesAnEquivalentFile) {
  std::string content =
      "; comment\n10:ten\n-4:neg\n[One]\n3:three  $\n0:\n7:a$$\n1:x\r\n[Two]\n[one]\n"
      "-20:below\n2:dup\n2:dup2\nbad line\n";
  std::string in = Write("in.msg", content);
  std::string out = dir_ + "/out.msg";
  SFM_MessageDB db(in.c_str(), 0);
  ASSERT_EQ(db.Save(out.c_str()), 1);
  EXPECT_EQ(access((out + "$$$").c_str(), F_OK), -1);
  EXPECT_EQ(Read(out),
            "10:ten\n-4:neg\n[One]\n3:three  $\n0:\n7:a$$\n1:x\n[Two]\n[one]\n"
            "-20:below\n2:dup\n2:dup2\n");
  SFM_MessageDB again(out.c_str());
  for (const char* s : {"One", "Two", "one"})
    EXPECT_EQ(again.GetSectionBase(s), db.GetSectionBase(s));
  for (long key = -30; key <= 40; ++key) EXPECT_EQ(Txt(again, key), Txt(db, key)) << key;

  // Saving over the database's own file works: the old file stays readable.
  ASSERT_EQ(db.Save(in.c_str()), 1);
  EXPECT_EQ(Read(in), Read(out));
  EXPECT_EQ(Txt(db, 10), "ten");

  EXPECT_EQ(db.Save((dir_ + "/no/such/dir/x.msg").c_str()), 0);
}

// Random files, valid and invalid lines mixed: saving and indexing again must give
// the same sections and texts, and saving that gives the same bytes.
TEST_F(MsgDbTest, SaveRoundTripOnRandomDatabases) {
  std::mt19937 rng(20261122);
  auto pick = [&](int n) { return int(rng() % unsigned(n)); };
  const std::string alphabet = "abcXYZ019 $:;[]\t\r\xE9";
  for (int round = 0; round < 40; ++round) {
    std::string content;
    std::vector<std::string> sections;
    std::vector<long> numbers = {0};
    int lines = 1 + pick(300);
    for (int i = 0; i < lines; ++i) {
      int kind = pick(20);
      if (kind == 0) {
        std::string name = "S" + std::to_string(pick(15));
        sections.push_back(name);
        content += "[" + name + "]";
      } else if (kind == 1) {
        content += ";" + std::string(size_t(pick(5)), 'c');
      } else if (kind == 2) {
        content += pick(2) ? " 1:x" : "junk";
      } else {
        long n = pick(10) == 0 ? long(rng()) - 0x7fffffffL : pick(50) - 5;
        numbers.push_back(n);
        std::string text;
        for (int k = pick(pick(10) == 0 ? 400 : 12); k > 0; --k)
          text += alphabet[size_t(pick(int(alphabet.size())))];
        content += std::to_string(n) + ":" + text;
      }
      content += pick(8) == 0 ? "\r\n" : "\n";
    }
    std::string in = Write("r.msg", content), out = dir_ + "/r2.msg";
    SFM_MessageDB a(in.c_str(), 0);
    ASSERT_EQ(a.Save(out.c_str()), 1);
    SFM_MessageDB b(out.c_str(), 0);
    std::vector<long> keys(numbers);
    for (const std::string& s : sections) {
      long base = a.GetSectionBase(s.c_str());
      ASSERT_EQ(b.GetSectionBase(s.c_str()), base) << content;
      keys.push_back(-base);
      for (long n : numbers) keys.push_back(long(int32_t(uint32_t(base) + uint32_t(n))));
    }
    for (long key : keys) ASSERT_EQ(Txt(b, key), Txt(a, key)) << "key " << key << "\n" << content;
    std::string third = dir_ + "/r3.msg";
    ASSERT_EQ(b.Save(third.c_str()), 1);
    ASSERT_EQ(Read(third), Read(out));
  }
}

TEST(TrTest, BuiltInTexts) {
  EXPECT_STREQ(TR(45063), "Value is out of range.");
  EXPECT_STREQ(TR(45064), "Please enter a value within the %c%lf,%lf%c range.");
  EXPECT_STREQ(TR(45103), "Error %i occurred (no further information).");
  EXPECT_STREQ(TR(45104), "Mils");
  EXPECT_STREQ(TR(45105), "Millimeters");
  EXPECT_STREQ(TR(45106), "Inches");
  EXPECT_STREQ(TR(45107), "Microns");
  EXPECT_STREQ(TR(0), "");
  EXPECT_STREQ(TR(45108), "");
}

TEST(TrTest, TextCacheReturnsOneSharedCopy) {
  char buffer[] = "Some text";
  SYS_String a = TR(buffer);
  buffer[0] = 'X';  // the cache holds its own copy
  SYS_String b = TR("Some text");
  EXPECT_STREQ(a, "Some text");
  EXPECT_EQ(static_cast<const char*>(a), static_cast<const char*>(b));
  EXPECT_STREQ(TR(buffer), "Xome text");
  EXPECT_STREQ(TR(static_cast<const char*>(nullptr)), "");
}

struct FakeModule {
  std::map<int, std::string> texts;
  int calls = 0;
  static int Lookup(void* context, int id, SYS_String& text) {
    auto* self = static_cast<FakeModule*>(context);
    ++self->calls;
    auto it = self->texts.find(id);
    if (it == self->texts.end()) return 0;
    text = it->second.c_str();
    return 1;
  }
};

TEST(TrTest, ResourceModulesComeFirstNewestFirst) {
  FakeModule older{{{45104, "Mil"}, {45105, "Millimetre"}}};
  FakeModule newer{{{45104, "Tausendstel"}, {7, ""}}};
  EXPECT_STREQ(TR(45104), "Mils");  // cached before any module exists
  brix::strtab::RegisterLookup(&FakeModule::Lookup, &older);
  brix::strtab::RegisterLookup(&FakeModule::Lookup, &newer);
  EXPECT_STREQ(TR(45104), "Tausendstel");
  EXPECT_STREQ(TR(45105), "Millimetre");
  EXPECT_STREQ(TR(45106), "Inches");

  // A found text is cached; an empty one is asked for again on every call.
  int before = newer.calls;
  TR(45105);
  EXPECT_EQ(newer.calls, before);
  TR(7);
  TR(7);
  EXPECT_EQ(newer.calls, before + 2);

  brix::strtab::UnregisterLookup(&FakeModule::Lookup, &newer);
  EXPECT_STREQ(TR(45104), "Mil");
  brix::strtab::UnregisterLookup(&FakeModule::Lookup, &older);
  brix::strtab::UnregisterLookup(&FakeModule::Lookup, &older);  // no longer there: no-op
  EXPECT_STREQ(TR(45104), "Mils");
}

}  // namespace
