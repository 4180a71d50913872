// path_test.cpp - tests of SFM_FilePath: parsing, getters, setters and separators.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "sfmpath.h"

namespace {

// Sets the separator the class writes for one test.
class SeparatorScope {
 public:
  explicit SeparatorScope(int index) : saved_(SFM_FilePath::DefaultSeparator) {
    SFM_FilePath::DefaultSeparator = index;
  }
  ~SeparatorScope() { SFM_FilePath::DefaultSeparator = saved_; }

 private:
  int saved_;
};

std::string S(const SYS_String& s) { return std::string(s.View()); }
std::string S(const SFM_FilePath& p) { return static_cast<const char*>(p); }

struct ParseCase {
  const char* input;
  const char* base;
  const char* rel;
  const char* name;
  const char* ext;
  const char* full;  // null: the input itself
};

const ParseCase kParseCases[] = {
    {"C:\\dir\\sub\\file.txt", "C:", "\\dir\\sub\\", "file", ".txt", nullptr},
    {"C:file.txt", "C:", "", "file", ".txt", nullptr},
    {"C:\\", "C:", "\\", "", "", nullptr},
    {"\\\\srv\\share\\dir\\f.txt", "\\\\srv\\share\\", "dir\\", "f", ".txt", nullptr},
    {"//srv/share/x", "//srv/share/", "", "x", "", nullptr},
    {"\\\\srv", "\\\\srv", "", "", "", nullptr},
    {"\\\\srv\\share", "\\\\srv\\share", "", "", "", nullptr},
    {"\\\\srv\\", "\\\\srv\\", "", "", "", nullptr},
    {"\\/x", "", "\\/", "x", "", nullptr},  // mixed pair: no share
    {"\\\\", "", "\\\\", "", "", nullptr},  // too short for a share
    {"a:b:c", "a:", "", "b:c", "", nullptr},
    {"/tmp/a:b/c.d", "", "/tmp/a:b/", "c", ".d", nullptr},  // colon after a separator
    {"file", "", "", "file", "", nullptr},
    {".profile", "", "", "", ".profile", nullptr},
    {"archive.tar.gz", "", "", "archive.tar", ".gz", nullptr},
    {"a.b/c", "", "a.b/", "c", "", nullptr},
    {"\\file.txt", "", "", "\\file", ".txt", nullptr},  // index 0 is never a separator
    {"/file.txt", "", "", "/file", ".txt", nullptr},
    {"/", "", "", "/", "", nullptr},
    {"/tmp/x", "", "/tmp/", "x", "", nullptr},
    {"dir/sub/x.y", "", "dir/sub/", "x", ".y", nullptr},
    {"dir\\sub/x.y", "", "dir\\sub/", "x", ".y", nullptr},
    {"", "", "", "", "", nullptr},
};

TEST(PathTest, ParseTable) {
  for (const ParseCase& c : kParseCases) {
    SCOPED_TRACE(c.input);
    const SFM_FilePath p(c.input);
    EXPECT_EQ(S(p.GetBasePath()), c.base);
    EXPECT_EQ(S(p.GetRelPath()), c.rel);
    EXPECT_EQ(S(p.GetFileName()), c.name);
    EXPECT_EQ(S(p.GetFileExtension()), c.ext);
    EXPECT_EQ(S(p.GetFileNameExt()), std::string(c.name) + c.ext);
    EXPECT_EQ(S(p.GetFileDirectory()), std::string(c.base) + c.rel);
    EXPECT_EQ(S(p), c.full ? c.full : c.input);
  }
}

// Whatever the text, the components always add up to the full path, and a reparse of
// the full path gives the same components. POSIX names (separator 1) lose nothing.
TEST(PathTest, ComponentsAlwaysRebuildTheFullPath) {
  for (int separator : {0, 1}) {
    SeparatorScope scope(separator);
    std::mt19937 random(12345);
    const char alphabet[] = {'a', '.', '/', '\\', ':', 'b'};
    for (int i = 0; i < 20000; ++i) {
      std::string text(random() % 10, ' ');
      for (char& ch : text) ch = alphabet[random() % sizeof alphabet];
      SCOPED_TRACE(text);
      const SFM_FilePath p(text.c_str());
      const std::string full = S(p);
      ASSERT_EQ(full, S(p.GetBasePath()) + S(p.GetRelPath()) + S(p.GetFileName()) +
                          S(p.GetFileExtension()));
      if (separator == 1) {
        ASSERT_EQ(full, text);
      } else {
        ASSERT_LE(full.size(), text.size());
        ASSERT_EQ(full, text.substr(0, full.size()));  // only trailing dots are ever lost
      }
      const SFM_FilePath again(full.c_str());
      ASSERT_EQ(S(again.GetBasePath()), S(p.GetBasePath()));
      ASSERT_EQ(S(again.GetRelPath()), S(p.GetRelPath()));
      ASSERT_EQ(S(again.GetFileNameExt()), S(p.GetFileNameExt()));
    }
  }
}

// Separator 0 parses exactly as designed for Windows paths: the first colon anywhere
// ends a drive and trailing dots are dropped. Separator 1, the default, parses POSIX
// names: a dot or a colon is an ordinary character, except for a leading one-letter
// drive written on Windows ("C:").
TEST(PathTest, ColonsAndTrailingDotsFollowTheSeparatorSetting) {
  const struct {
    int separator;
    const char* input;
    const char* base;
    const char* rel;
    const char* name;
    const char* ext;
    const char* full;  // null: the input itself
  } cases[] = {
      {1, "/x/old.", "", "/x/", "old", ".", nullptr},
      {1, "name...", "", "", "name..", ".", nullptr},
      {1, "dir/..", "", "dir/", ".", ".", nullptr},
      {1, "..", "", "", ".", ".", nullptr},
      {1, "rev:2.pcb", "", "", "rev:2", ".pcb", nullptr},
      {1, "/srv/rev:2.pcb", "", "/srv/", "rev:2", ".pcb", nullptr},
      {1, "ab:c", "", "", "ab:c", "", nullptr},
      {1, "1:x", "", "", "1:x", "", nullptr},
      {1, ":x", "", "", ":x", "", nullptr},
      {1, "C:\\dir\\f.txt", "C:", "\\dir\\", "f", ".txt", nullptr},
      {1, "c:f", "c:", "", "f", "", nullptr},
      {1, "C:", "C:", "", "", "", nullptr},
      {1, "a:b:c", "a:", "", "b:c", "", nullptr},
      {1, "\\\\srv\\c:x", "\\\\srv\\c:x", "", "", "", nullptr},
      {0, "rev:2.pcb", "rev:", "", "2", ".pcb", nullptr},
      {0, "\\\\srv\\c:x", "\\\\srv\\c:", "", "x", "", nullptr},
      {0, "/tmp/a:b/c.d", "/tmp/a:", "b/", "c", ".d", nullptr},
      {0, "ab:c", "ab:", "", "c", "", nullptr},
      {0, ":x", ":", "", "x", "", nullptr},
      {0, "name...", "", "", "name", "", "name"},
      {0, "dir/..", "", "dir/", "", "", "dir/"},
      {0, "/x/old.", "", "/x/", "old", "", "/x/old"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.separator) + " " + c.input);
    SeparatorScope scope(c.separator);
    const SFM_FilePath p(c.input);
    EXPECT_EQ(S(p.GetBasePath()), c.base);
    EXPECT_EQ(S(p.GetRelPath()), c.rel);
    EXPECT_EQ(S(p.GetFileName()), c.name);
    EXPECT_EQ(S(p.GetFileExtension()), c.ext);
    EXPECT_EQ(S(p), c.full ? c.full : c.input);
  }
  // Joined to a directory, a name with a colon lands inside it.
  SFM_FilePath joined("rev:2.pcb");
  EXPECT_EQ(S(joined.SetDefPath("/work/board")), "/work/board/rev:2.pcb");
}

TEST(PathTest, AssignmentAndGetters) {
  SFM_FilePath p("C:\\a\\b.c");
  EXPECT_EQ(S(p = "x/y.z"), "x/y.z");
  EXPECT_EQ(S(p = static_cast<const char*>(nullptr)), "");
  EXPECT_TRUE(p.IsEmpty());
  p = "q.r";
  EXPECT_EQ(S(p = SYS_String()), "");
  EXPECT_TRUE(p.IsEmpty());

  // A getter given a path assigns it first; null keeps the current path.
  EXPECT_EQ(S(p.GetFileExtension("x/y.z")), ".z");
  EXPECT_EQ(S(p.GetFileName(nullptr)), "y");
  EXPECT_EQ(S(p.GetFileDirectory("C:\\d\\f")), "C:\\d\\");
  EXPECT_EQ(S(p.GetFileNameExt("p/q.r.")), "q.r.");
  SFM_FilePath copy;
  copy = p;
  EXPECT_EQ(S(copy), "p/q.r.");
  EXPECT_EQ(S(p.GetRelPath("")), "");
  EXPECT_TRUE(p.IsEmpty());
  EXPECT_EQ(S(SYS_String(copy)), "p/q.r.");
}

TEST(PathTest, RightDirectoryLooksAtTheDefaultSeparatorOnly) {
  SFM_FilePath p;
  {
    SeparatorScope backslash(0);
    EXPECT_EQ(S(p.GetRightDirectory("\\a\\b\\f.txt")), "b");
    EXPECT_EQ(S(p.GetRightDirectory("a\\f")), "a");
    EXPECT_EQ(S(p.GetRightDirectory("f")), "");
    EXPECT_EQ(S(p.GetRightDirectory("/a/b/f")), "/a/b/");  // "/" is not looked at
  }
  EXPECT_EQ(S(p.GetRightDirectory("/a/b/f.txt")), "b");
  EXPECT_EQ(S(p.GetRightDirectory("C:\\a\\b\\")), "\\a\\b\\");
}

#define SET(call) [](SFM_FilePath& p) { return p.call; }

const struct {
  const char* start;
  SYS_String (*apply)(SFM_FilePath&);
  const char* result;
} kSetterCases[] = {
    {"C:\\dir\\f.txt", SET(SetBasePath("D:\\x\\y")), "D:\\dir\\f.txt"},
    {"C:\\dir\\f.txt", SET(SetBasePath("rel/only")), "\\dir\\f.txt"},
    {"d/f.txt", SET(SetRelPath("a/b")), "a/f.txt"},  // the argument needs its separator
    {"d/f.txt", SET(SetFileDirectory("/tmp/x")), "/tmp/x/f.txt"},
    {"f.txt", SET(SetFileDirectory("C:\\dir/")), "C:\\dir/f.txt"},  // either one counts
    {"d/f.txt", SET(SetFileDirectory("")), "f.txt"},
    {"d/a.txt", SET(SetFileName("c.doc", 0)), "d/c.doc.txt"},  // 0 keeps ".doc" in the name
    {"d/a.txt", SET(SetFileName("x/c.doc", 1)), "d/c.txt"},
    {"d/a.txt", SET(SetFileExtension("")), "d/a"},
    {"d/a", SET(SetFileExtension("txt")), "d/a.txt"},
    {"d/a.c", SET(SetFileExtension(".txt")), "d/a.txt"},
    {"d/a", SET(SetFileExtension(".tar.gz")), "d/a.gz"},
    {"d/a.b", SET(SetFileNameExt("n.e")), "d/n.e"},
    {"d/a.b", SET(SetFileNameExt("x.tar.gz")), "d/x.gz"},  // the name is parsed again
    {"o/a.b", SET(SetFileDirNameExt("/tmp", "n.x", "y")), "/tmp/n.y"},
    {"file", SET(SetDefault("C:\\def\\name.ext")), "C:\\def\\file.ext"},
    {"C:x.y", SET(SetDefault("D:\\def\\name.ext")), "C:\\def\\x.y"},
    {"f.txt", SET(SetDefPath("/tmp/dir")), "/tmp/dir/f.txt"},
    {"sub/f", SET(SetDefPath("/tmp/dir/")), "/tmp/dir/sub/f"},
    {"f", SET(SetDefPath("D:")), "D:f"},
    {"C:f", SET(SetDefPath("/tmp")), "C:f"},  // drives, shares and absolute paths stay
    {"\\\\s\\h\\f", SET(SetDefPath("/tmp")), "\\\\s\\h\\f"},
    {"/abs/f", SET(SetDefPath("/tmp")), "/abs/f"},
    {"a/b.c", SET(SetFileExtension("q/z.w", "d")), "q/z.d"},  // assigns the first argument
    {"a/b.c", SET(SetFileName("q/z.w", "n", 1)), "q/n.w"},
};

#undef SET

TEST(PathTest, Setters) {
  for (const auto& c : kSetterCases) {
    SCOPED_TRACE(c.result);
    SFM_FilePath p(c.start);
    EXPECT_EQ(S(c.apply(p)), c.result);
    EXPECT_EQ(S(p), c.result);
    // The components follow the new full path.
    const SFM_FilePath reparsed(c.result);
    EXPECT_EQ(S(p.GetFileNameExt()), S(reparsed.GetFileNameExt()));
  }
}

TEST(PathTest, SeparatorsWritten) {
  EXPECT_EQ(S(SFM_FilePath::DirectorySeparators), "\\/");
  EXPECT_EQ(SFM_FilePath::DefaultSeparator, 1);

  SFM_FilePath p("C:\\dir/");
  {
    SeparatorScope backslash(0);
    p.AddSeparator();  // only the default separator counts as already present
    EXPECT_EQ(S(p), "C:\\dir/\\");
    SFM_FilePath q("f");
    EXPECT_EQ(S(q.SetDefPath("C:\\w")), "C:\\w\\f");
    EXPECT_EQ(S(q.SetFileDirectory("x", "y")), "y\\x");
  }
  p = "C:\\dir/";
  p.AddSeparator();
  EXPECT_EQ(S(p), "C:\\dir/");

  p = "/tmp/x";
  p.AddSeparator();
  EXPECT_EQ(S(p), "/tmp/x/");
  EXPECT_EQ(S(p.GetRelPath()), "/tmp/x/");  // parsed again
  EXPECT_EQ(S(p.GetFileNameExt()), "");

  p = "";
  p.AddSeparator();
  EXPECT_TRUE(p.IsEmpty());
}

}  // namespace
