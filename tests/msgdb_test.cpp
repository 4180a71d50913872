// msgdb_test.cpp - the message database over real files, hostile lines included.
#include "file_helpers.h"

namespace {

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
