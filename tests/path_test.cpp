// path_test.cpp - SFM_FilePath: parsing into components, setters and separators.
#include <gtest/gtest.h>

#include <string>

#include "sfmpath.h"

namespace {

// Sets the separator the class writes (0 "\", 1 "/") for one scope.
struct SeparatorScope {
  int saved = SFM_FilePath::DefaultSeparator;
  explicit SeparatorScope(int index) { SFM_FilePath::DefaultSeparator = index; }
  ~SeparatorScope() { SFM_FilePath::DefaultSeparator = saved; }
};

std::string S(const SYS_String& s) { return std::string(s.View()); }
std::string S(const SFM_FilePath& p) { return static_cast<const char*>(p); }
std::string Parts(const SFM_FilePath& p) {
  return S(p.GetBasePath()) + "|" + S(p.GetRelPath()) + "|" + S(p.GetFileName()) + "|" +
         S(p.GetFileExtension());
}

// Separator 1, the default, parses POSIX names: a dot or a colon is an ordinary character,
// except for a leading one-letter drive written on Windows ("C:"). Separator 0 parses as
// designed for Windows: the first colon anywhere ends a drive and trailing dots are dropped.
TEST(PathTest, ParseIntoComponents) {
  const struct {
    int separator;
    const char *input, *base, *rel, *name, *ext, *full;  // full null: the input itself
  } cases[] = {
      {1, "C:\\dir\\sub\\file.txt", "C:", "\\dir\\sub\\", "file", ".txt", nullptr},
      {1, "\\\\srv\\share\\dir\\f.txt", "\\\\srv\\share\\", "dir\\", "f", ".txt", nullptr},
      {1, "//srv/share/x", "//srv/share/", "", "x", "", nullptr},
      {1, "\\\\", "", "\\\\", "", "", nullptr},  // too short for a share
      {1, "/x/old.", "", "/x/", "old", ".", nullptr},
      {1, "/srv/rev:2.pcb", "", "/srv/", "rev:2", ".pcb", nullptr},
      {1, "a:b:c", "a:", "", "b:c", "", nullptr},
      {1, "\\\\srv\\c:x", "\\\\srv\\c:x", "", "", "", nullptr},
      {0, "rev:2.pcb", "rev:", "", "2", ".pcb", nullptr},
      {0, "\\\\srv\\c:x", "\\\\srv\\c:", "", "x", "", nullptr},
      {0, "/tmp/a:b/c.d", "/tmp/a:", "b/", "c", ".d", nullptr},
      {0, "name...", "", "", "name", "", "name"},
      {0, "dir/..", "", "dir/", "", "", "dir/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.separator) + " " + c.input);
    SeparatorScope scope(c.separator);
    const SFM_FilePath p(c.input);
    EXPECT_EQ(Parts(p), std::string(c.base) + "|" + c.rel + "|" + c.name + "|" + c.ext);
    EXPECT_EQ(S(p), c.full ? c.full : c.input);
  }
}

#define SET(call) [](SFM_FilePath& p) { return p.call; }
#define DO(call) [](SFM_FilePath& p) { return (p.call, SYS_String(static_cast<const char*>(p))); }

TEST(PathTest, SettersRebuildTheFullPath) {
  const struct {
    int separator;
    const char* start;
    SYS_String (*apply)(SFM_FilePath&);
    const char* result;
    bool getter = false;  // the path itself stays as it was
  } cases[] = {
      {1, "C:\\dir\\f.txt", SET(SetBasePath("D:\\x\\y")), "D:\\dir\\f.txt"},
      {1, "C:\\dir\\f.txt", SET(SetBasePath("rel/only")), "\\dir\\f.txt"},
      {1, "d/f.txt", SET(SetFileDirectory("/tmp/x")), "/tmp/x/f.txt"},
      {1, "f.txt", SET(SetFileDirectory("C:\\dir/")), "C:\\dir/f.txt"},  // either one counts
      {1, "d/a.txt", SET(SetFileName("c.doc", 0)), "d/c.doc.txt"},       // 0 keeps ".doc"
      {1, "d/a.txt", SET(SetFileName("x/c.doc", 1)), "d/c.txt"},
      {1, "d/a", SET(SetFileExtension(".tar.gz")), "d/a.gz"},
      {1, "d/a.b", SET(SetFileNameExt("x.tar.gz")), "d/x.gz"},  // the name is parsed again
      {1, "sub/f", SET(SetDefPath("/tmp/dir/")), "/tmp/dir/sub/f"},
      {1, "rev:2.pcb", SET(SetDefPath("/work/board")), "/work/board/rev:2.pcb"},
      {1, "C:f", SET(SetDefPath("/tmp")), "C:f"},  // drives, shares and absolute paths stay
      {1, "a/b.c", SET(SetFileExtension("q/z.w", "d")), "q/z.d"},  // assigns the first argument
      {1, "a/b.c", SET(SetFileName("q/z.w", "n", 1)), "q/n.w"},
      {1, "/tmp/x", DO(AddSeparator()), "/tmp/x/"},
      {0, "C:\\dir/", DO(AddSeparator()), "C:\\dir/\\"},  // only the default one counts
      {0, "f", SET(SetFileDirectory("x", "y")), "y\\x"},
      {0, "/a/b/f", SET(GetRightDirectory()), "/a/b/", true},  // "/" is not looked at
      {0, "\\a\\b\\f.txt", SET(GetRightDirectory()), "b", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.start) + " -> " + c.result);
    SeparatorScope scope(c.separator);
    SFM_FilePath p(c.start);
    EXPECT_EQ(S(c.apply(p)), c.result);
    EXPECT_EQ(S(p), c.getter ? c.start : c.result);
    // The components follow the new full path.
    EXPECT_EQ(S(p.GetFileNameExt()),
              S(SFM_FilePath(c.getter ? c.start : c.result).GetFileNameExt()));
  }
}

#undef SET
#undef DO

}  // namespace
