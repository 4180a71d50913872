// dir_test.cpp - tests of SFM_Directory on real files in temporary directories.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "sccevent.h"
#include "sfm.h"
#include "sfmdir.h"

namespace {

namespace stdfs = std::filesystem;

std::string S(const SYS_String& s) { return std::string(s.View()); }

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool Exists(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

// A listener on the file manager: records every event and answers from a script
// (then 0, "no answer"). A hook may also act before answering.
class Listener {
 public:
  struct Seen {
    int code;
    std::string name1;
    std::string name2;
    unsigned long error;
  };

  explicit Listener(std::vector<int> answers = {})
      : answers_(std::move(answers)),
        hook_(this, &Listener::OnEvent, SFM::GetManager()->GetEvent()) {}

  std::vector<Seen> seen;
  std::function<void(int code)> action;

  std::vector<int> Codes() const {
    std::vector<int> codes;
    for (const Seen& s : seen) codes.push_back(s.code);
    return codes;
  }

 private:
  int OnEvent(int code, SFM_EventData* data) {
    seen.push_back({code, S(data->GetFileName1()), S(data->GetFileName2()), data->GetError()});
    if (action) action(code);
    const std::size_t n = seen.size() - 1;
    data->SetResult(n < answers_.size() ? answers_[n] : 0);
    return 0;
  }

  std::vector<int> answers_;
  SCC_ObjectEventHook<Listener, SFM_EventData> hook_;
};

class DirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char templ[] = "/tmp/brixdir-XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    root_ = templ;
    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    cwd_ = cwd;
  }
  void TearDown() override {
    ASSERT_EQ(chdir(cwd_.c_str()), 0);
    std::error_code ignored;
    stdfs::remove_all(root_, ignored);
    stdfs::remove_all(root_ + "-outside", ignored);
  }

  std::string P(const std::string& name) const { return root_ + "/" + name; }

  // Every name a search started with `pattern` returns, through `next`.
  template <class Next>
  static std::multiset<std::string> Collect(const char* pattern, Next next) {
    std::multiset<std::string> names;
    for (char* name = next(pattern); name; name = next(nullptr)) names.insert(name);
    return names;
  }

  std::string root_;
  std::string cwd_;
};

using Names = std::multiset<std::string>;

TEST_F(DirTest, WildcardEnumerationIsCaseSensitive) {
  for (const char* f : {"a.txt", "ab.txt", "b.TXT", "c.txt.bak", "noext", ".hidden"})
    WriteFile(P(f), "x");
  ASSERT_EQ(mkdir(P("sub").c_str(), 0777), 0);
  WriteFile(P("sub/inner.txt"), "y");

  SFM_Directory dir(root_.c_str());
  auto entries = [&](const char* p) { return dir.GetNextEntry(p); };
  const Names all = {".", "..", ".hidden", "a.txt", "ab.txt", "b.TXT", "c.txt.bak", "noext", "sub"};
  struct {
    const char* pattern;
    Names expected;
  } cases[] = {
      {"*.txt", {"a.txt", "ab.txt"}},
      {"?.txt", {"a.txt"}},
      {"a*", {"a.txt", "ab.txt"}},
      {"*.TXT", {"b.TXT"}},
      {"*", all},
      {"*.*", all},
      {"noext.*", {"noext"}},
      {"*.t?t*", {"a.txt", "ab.txt", "c.txt.bak"}},
      {"missing*", {}},
      {"sub", {"sub"}},
      {"sub/", {"sub"}},  // the trailing separator is dropped
      {"sub/*.txt", {"inner.txt"}},
      {"nothing", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pattern);
    EXPECT_EQ(Collect(c.pattern, entries), c.expected);
  }

  // An absolute pattern is never put below the directory.
  SFM_Directory elsewhere("/nonexistent/dir/");
  EXPECT_EQ(Collect(P("a?txt").c_str(), [&](const char* p) { return elsewhere.GetNextEntry(p); }),
            Names{"a.txt"});
  // Written with backslashes, it still reaches the system.
  std::string windowsStyle = P("sub\\*");
  EXPECT_EQ(Collect(windowsStyle.c_str(), [&](const char* p) { return elsewhere.GetNextEntry(p); }),
            (Names{".", "..", "inner.txt"}));
}

TEST_F(DirTest, PatternSeparatorAndMultibyteNames) {
  ASSERT_EQ(mkdir(P("sub").c_str(), 0777), 0);
  WriteFile(P("\xC3\xA9.txt"), "e");  // a two-byte character in UTF-8
  SFM_Directory dir(root_.c_str());
  auto entries = [&](const char* p) { return dir.GetNextEntry(p); };

  SFM_FilePath::DefaultSeparator = 0;
  const Names backslashDropped = Collect("sub\\", entries);
  SFM_FilePath::DefaultSeparator = 1;
  EXPECT_EQ(backslashDropped, Names{"sub"});

  EXPECT_EQ(Collect("?.txt", entries), Names{});  // one byte per character in "C"
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const Names utf8 = Collect("?.txt", entries);
  setlocale(LC_CTYPE, "C");
  EXPECT_EQ(utf8, Names{"\xC3\xA9.txt"});
}

TEST_F(DirTest, FilesSubdirsAndAttributes) {
  for (const char* f : {"f1", ".f2", "ro"}) WriteFile(P(f), "x");
  ASSERT_EQ(chmod(P("ro").c_str(), 0444), 0);
  for (const char* d : {"d1", ".d2"}) ASSERT_EQ(mkdir(P(d).c_str(), 0777), 0);

  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(Collect("*", [&](const char* p) { return dir.GetNextFile(p); }),
            (Names{"f1", ".f2", "ro"}));
  EXPECT_EQ(Collect("*", [&](const char* p) { return dir.GetNextSubdir(p); }),
            (Names{"d1", ".d2"}));

  struct {
    unsigned mask;
    Names expected;
  } cases[] = {
      {0x10, {"f1", ".f2", "ro"}},            // no directories
      {0x02, {".", "..", "f1", "ro", "d1"}},  // no hidden names
      {0x01, {".", "..", "f1", ".f2", "d1", ".d2"}},
      {0x20, {".", "..", "d1", ".d2"}},  // no regular files
      {0x12, {"f1", "ro"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mask);
    EXPECT_EQ(Collect("*", [&](const char* p) { return dir.GetNextEntryWithAttr(c.mask, p); }),
              c.expected);
  }
  // A search whose last entries are all masked ends instead of spinning.
  EXPECT_EQ(dir.GetNextEntryWithAttr(0x20, "f*"), nullptr);
}

TEST_F(DirTest, EmptyDirectory) {
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.GetNextFile("*.*"), nullptr);
  EXPECT_EQ(dir.GetNextSubdir("*.*"), nullptr);
  EXPECT_EQ(dir.GetNextEntry(nullptr), nullptr);  // nothing started yet
  EXPECT_EQ(Collect("*", [&](const char* p) { return dir.GetNextEntry(p); }), (Names{".", ".."}));
}

TEST_F(DirTest, ExistenceTestsCloseTheirSearch) {
  WriteFile(P("one.txt"), "1");
  WriteFile(P("two.txt"), "2");
  WriteFile(P("name."), "dot");  // a different file from "name" on POSIX
  ASSERT_EQ(mkdir(P("sub").c_str(), 0777), 0);

  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.FileExists("*.txt"), 1);
  EXPECT_EQ(dir.FileExists("o?e.txt"), 1);
  EXPECT_EQ(dir.FileExists("sub"), 0);
  EXPECT_EQ(dir.DirExists("sub"), 1);
  EXPECT_EQ(dir.DirExists("one.txt"), 0);
  EXPECT_EQ(dir.FileExists("three.txt"), 0);
  EXPECT_EQ(dir.FileExists("name."), 1);
  EXPECT_EQ(dir.FileExists("name"), 0);
  EXPECT_EQ(dir.FileExists(nullptr), 0);

  ASSERT_NE(dir.GetNextFile("*.txt"), nullptr);
  EXPECT_EQ(dir.FileExists("sub"), 0);
  EXPECT_EQ(dir.GetNextFile(nullptr), nullptr);  // the enumeration has been ended

  ASSERT_NE(dir.GetNextSubdir("*"), nullptr);
  ASSERT_NE(dir.GetNextFile("*.txt"), nullptr);  // the other search is untouched
  EXPECT_EQ(dir.DirExists("sub"), 1);
  EXPECT_NE(dir.GetNextFile(nullptr), nullptr);
}

TEST_F(DirTest, CopiesShareSearchRecords) {
  const Names files = {"f0", "f1", "f2", "f3", "f4", "f5"};
  for (const std::string& f : files) WriteFile(P(f), "x");
  ASSERT_EQ(mkdir(P("d").c_str(), 0777), 0);

  Names seen;
  {
    SFM_Directory dir(root_.c_str());
    seen.insert(dir.GetNextFile("f*"));
    SFM_Directory copy(dir);
    SFM_Directory assigned;
    assigned = copy;
    // Three objects take turns on one search: each name comes exactly once.
    SFM_Directory* turn[] = {&copy, &assigned, &dir};
    for (int i = 0;; ++i) {
      char* name = turn[i % 3]->GetNextFile(nullptr);
      if (!name) break;
      seen.insert(name);
    }
    // A new search through a copy is seen by all of them.
    ASSERT_NE(copy.GetNextFile("f3"), nullptr);
    EXPECT_EQ(dir.GetNextFile(nullptr), nullptr);
  }
  EXPECT_EQ(seen, files);

  // Destroying copies in any order releases each record once, even mid-search.
  auto* first = new SFM_Directory(root_.c_str());
  ASSERT_NE(first->GetNextFile("*"), nullptr);
  ASSERT_NE(first->GetNextSubdir("*"), nullptr);
  std::vector<SFM_Directory> copies(4, *first);
  delete first;
  EXPECT_NE(copies[2].GetNextFile(nullptr), nullptr);
  copies.erase(copies.begin());
  EXPECT_NE(copies.back().GetNextFile(nullptr), nullptr);
}

TEST_F(DirTest, WorkingDirectory) {
  ASSERT_EQ(mkdir(P("sub").c_str(), 0777), 0);
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.SetCurDir(P("sub").c_str()), 0);
  EXPECT_EQ(S(dir.GetCurDir(3)), P("sub/"));  // the drive means nothing here
  EXPECT_EQ(dir.SetCurDir(P("missing").c_str()), -1);

  // Removing the working directory steps out into this directory first.
  EXPECT_EQ(dir.DeleteSubdir(P("sub/").c_str()), 1);
  EXPECT_FALSE(Exists(P("sub")));
  EXPECT_EQ(S(dir.GetCurDir()), root_ + "/");

  EXPECT_EQ(dir.SetCurDir("/"), 0);
  EXPECT_EQ(S(dir.GetCurDir()), "/");
}

TEST_F(DirTest, MakeDirectoryAndPath) {
  SFM_Directory dir;
  EXPECT_EQ(dir.MakeDirectory(P("one").c_str()), 1);
  EXPECT_EQ(dir.MakeDirectory(P("one").c_str()), 0);

  EXPECT_EQ(dir.MakePath(P("a/b/c").c_str()), 1);
  EXPECT_TRUE(stdfs::is_directory(P("a/b/c")));
  EXPECT_EQ(dir.MakePath(P("a/b/c/").c_str()), 0);  // the last one exists already
  EXPECT_EQ(dir.MakePath(""), 0);
  EXPECT_EQ(dir.MakePath(P("a/b/c/d").c_str()), 1);
  // A directory whose name ends in a colon is made like any other, a drive is not.
  EXPECT_EQ(dir.MakePath(P("rev:/2:").c_str()), 1);
  EXPECT_TRUE(stdfs::is_directory(P("rev:/2:")));

  SFM_FilePath::DefaultSeparator = 0;
  // Only "\" splits now: "/" paths are made in one call, which needs the parent.
  const int oneCall = dir.MakePath(P("x/y").c_str());
  std::string backslashed = P("p\\q");
  const int split = dir.MakePath(backslashed.c_str());
  SFM_FilePath::DefaultSeparator = 1;
  EXPECT_EQ(oneCall, 0);
  EXPECT_FALSE(Exists(P("x")));
  EXPECT_EQ(split, 1);
  EXPECT_TRUE(stdfs::is_directory(P("p/q")));
}

TEST_F(DirTest, DeleteWithRetries) {
  WriteFile(P("gone"), "x");
  SFM_Directory dir(root_.c_str());
  {
    Listener listener({2, 1});
    EXPECT_EQ(dir.DeleteFile(P("gone").c_str()), 1);
    EXPECT_FALSE(Exists(P("gone")));
    EXPECT_TRUE(listener.seen.empty());

    // 2 asks for another try, anything else gives up.
    EXPECT_EQ(dir.DeleteFile(P("gone").c_str()), 0);
    ASSERT_EQ(listener.Codes(), (std::vector<int>{207, 207}));
    EXPECT_EQ(listener.seen[0].name1, P("gone"));
    EXPECT_EQ(listener.seen[0].name2, "");
    EXPECT_EQ(listener.seen[0].error, static_cast<unsigned long>(ENOENT));
  }

  ASSERT_EQ(mkdir(P("full").c_str(), 0777), 0);
  WriteFile(P("full/f"), "x");
  Listener retry({2});
  retry.action = [&](int) { unlink(P("full/f").c_str()); };  // the cause goes away
  EXPECT_EQ(dir.DeleteSubdir(P("full").c_str()), 1);
  EXPECT_EQ(retry.Codes(), std::vector<int>{207});
  EXPECT_EQ(retry.seen[0].error, static_cast<unsigned long>(ENOTEMPTY));
  EXPECT_FALSE(Exists(P("full")));
}

TEST_F(DirTest, DeleteAllEmptiesTheTreeButNotLinkTargets) {
  const std::string outside = root_ + "-outside";
  ASSERT_EQ(mkdir(outside.c_str(), 0777), 0);
  WriteFile(outside + "/keep", "k");

  ASSERT_EQ(mkdir(P("tree").c_str(), 0777), 0);
  for (const char* d : {"tree/a", "tree/a/b", "tree/.hid", "tree/dots.."})
    ASSERT_EQ(mkdir(P(d).c_str(), 0777), 0);
  for (const char* f :
       {"tree/f", "tree/.f", "tree/a/g.txt", "tree/a/b/h", "tree/dots../i.", "tree/.hid/j"})
    WriteFile(P(f), "x");
  ASSERT_EQ(chmod(P("tree/a/g.txt").c_str(), 0444), 0);
  ASSERT_EQ(symlink(outside.c_str(), P("tree/a/link").c_str()), 0);
  ASSERT_EQ(symlink(P("nowhere").c_str(), P("tree/dangling").c_str()), 0);

  SFM_Directory tree(P("tree").c_str());
  EXPECT_EQ(tree.DeleteAll(), 1);
  EXPECT_TRUE(stdfs::is_directory(P("tree")));
  EXPECT_TRUE(stdfs::is_empty(P("tree")));
  EXPECT_EQ(ReadFile(outside + "/keep"), "k");
}

TEST_F(DirTest, NamesAreResolvedAgainstTheDriveOnly) {
  ASSERT_EQ(mkdir(P("cwd").c_str(), 0777), 0);
  WriteFile(P("f.txt"), "in dir");
  WriteFile(P("cwd/f.txt"), "in cwd");
  ASSERT_EQ(chdir(P("cwd").c_str()), 0);

  SFM_Directory dir(root_.c_str());
  // Searches look inside the directory; file operations take the name as given.
  EXPECT_EQ(dir.FileExists("f.txt"), 1);
  EXPECT_EQ(dir.DeleteFile("f.txt"), 1);
  EXPECT_FALSE(Exists(P("cwd/f.txt")));
  EXPECT_TRUE(Exists(P("f.txt")));

  EXPECT_EQ(S(dir + "x/y.z"), P("x/y.z"));
  EXPECT_EQ(S(dir + "/abs/y"), "/abs/y");
  EXPECT_EQ(S(dir + "C:y"), "C:y");
}

TEST_F(DirTest, CopyAsksBeforeOverwriting) {
  WriteFile(P("src"), "source");
  WriteFile(P("dst"), "target");
  ASSERT_EQ(chmod(P("src").c_str(), 0640), 0);
  SFM_Directory dir(root_.c_str());

  {
    Listener refuse({0});
    EXPECT_EQ(dir.CopyFile(P("src").c_str(), P("dst").c_str(), 0), 0);
    ASSERT_EQ(refuse.Codes(), std::vector<int>{151});
    EXPECT_EQ(refuse.seen[0].name1, P("src"));
    EXPECT_EQ(refuse.seen[0].name2, P("dst"));
    EXPECT_EQ(ReadFile(P("dst")), "target");
  }
  {
    Listener agree({1});
    EXPECT_EQ(dir.CopyFile(P("src").c_str(), P("dst").c_str(), 0), 1);
    EXPECT_EQ(agree.Codes(), std::vector<int>{151});
    EXPECT_EQ(ReadFile(P("dst")), "source");
  }
  {
    Listener none;
    WriteFile(P("dst"), "target");
    EXPECT_EQ(dir.CopyFile(P("src").c_str(), P("dst").c_str(), 1), 1);
    EXPECT_EQ(dir.CopyFile(P("src").c_str(), P("new").c_str(), 0), 1);
    EXPECT_TRUE(none.seen.empty());
    EXPECT_EQ(ReadFile(P("dst")), "source");
    EXPECT_EQ(ReadFile(P("new")), "source");
    struct stat st;
    ASSERT_EQ(stat(P("new").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
  }
  {
    // A failing copy is retried on 2 and given up on anything else.
    Listener retry({2, 1});
    EXPECT_EQ(dir.CopyFile(P("missing").c_str(), P("x").c_str(), 0), 0);
    EXPECT_EQ(retry.Codes(), (std::vector<int>{205, 205}));
    EXPECT_EQ(retry.seen[1].error, static_cast<unsigned long>(ENOENT));
    EXPECT_FALSE(Exists(P("x")));
  }
  {
    // A file copied onto itself stays whole.
    Listener refuse;
    EXPECT_EQ(dir.CopyFile(P("src").c_str(), P("src").c_str(), 1), 0);
    EXPECT_EQ(refuse.Codes(), std::vector<int>{205});
    EXPECT_EQ(ReadFile(P("src")), "source");
  }
}

TEST_F(DirTest, CopyIsByteExact) {
  std::string big(40 * 1024 * 1024 + 12345, '\0');
  std::mt19937_64 random(7);
  for (std::size_t i = 0; i + 8 <= big.size(); i += 8) {
    const std::uint64_t v = random();
    std::memcpy(&big[i], &v, 8);
  }
  WriteFile(P("big"), big);
  WriteFile(P("empty"), "");
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.CopyFile(P("big").c_str(), P("big2").c_str(), 0), 1);
  EXPECT_TRUE(ReadFile(P("big2")) == big);
  EXPECT_EQ(dir.CopyFile(P("empty").c_str(), P("empty2").c_str(), 0), 1);
  EXPECT_TRUE(Exists(P("empty2")));
  EXPECT_EQ(ReadFile(P("empty2")), "");

  // Files that report size 0 although they have content are copied by reading them.
  EXPECT_EQ(dir.CopyFile("/proc/self/mounts", P("mounts").c_str(), 0), 1);
  EXPECT_FALSE(ReadFile(P("mounts")).empty());
}

TEST_F(DirTest, MoveAsksBeforeReplacing) {
  WriteFile(P("a"), "A");
  WriteFile(P("b"), "B");
  SFM_Directory dir(root_.c_str());
  {
    Listener refuse;
    EXPECT_EQ(dir.MoveFile(P("a").c_str(), P("b").c_str(), 0), 0);
    EXPECT_EQ(refuse.Codes(), std::vector<int>{151});
    EXPECT_EQ(ReadFile(P("a")), "A");
    EXPECT_EQ(ReadFile(P("b")), "B");
  }
  {
    Listener agree({1});
    EXPECT_EQ(dir.MoveFile(P("a").c_str(), P("b").c_str(), 0), 1);
    EXPECT_FALSE(Exists(P("a")));
    EXPECT_EQ(ReadFile(P("b")), "A");
  }
  {
    Listener none;
    WriteFile(P("c"), "C");
    EXPECT_EQ(dir.MoveFile(P("c").c_str(), P("b").c_str(), 1), 1);
    EXPECT_EQ(ReadFile(P("b")), "C");
    EXPECT_EQ(dir.MoveFile(P("b").c_str(), P("d").c_str(), 0), 1);
    EXPECT_EQ(ReadFile(P("d")), "C");
    EXPECT_TRUE(none.seen.empty());
  }
  {
    // Moving a file onto itself never loses it.
    Listener refuse;
    EXPECT_EQ(dir.MoveFile(P("d").c_str(), P("d").c_str(), 1), 0);
    EXPECT_EQ(refuse.Codes(), std::vector<int>{206});
    EXPECT_EQ(ReadFile(P("d")), "C");
  }
  {
    // The rename is retried after the listener removed the cause.
    Listener retry({2});
    retry.action = [&](int) { mkdir(P("later").c_str(), 0777); };
    EXPECT_EQ(dir.MoveFile(P("d").c_str(), P("later/d").c_str(), 0), 1);
    EXPECT_EQ(retry.Codes(), std::vector<int>{206});
    EXPECT_EQ(retry.seen[0].error, static_cast<unsigned long>(ENOENT));
    EXPECT_EQ(ReadFile(P("later/d")), "C");
  }
}

TEST_F(DirTest, MoveKeepsTheTargetWhileTheSourceIsInUse) {
  WriteFile(P("src"), "S");
  WriteFile(P("dst"), "D");
  // Somebody else holds a share lock on the source.
  const int fd = open(P("src").c_str(), O_RDWR);
  ASSERT_GE(fd, 0);
  struct flock lock = {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 1 << 30;
  lock.l_len = 1;
  ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);

  SFM_Directory dir(root_.c_str());
  Listener listener;
  EXPECT_EQ(dir.MoveFile(P("src").c_str(), P("dst").c_str(), 1), 0);
  EXPECT_EQ(listener.Codes(), std::vector<int>{206});
  EXPECT_EQ(listener.seen[0].error, static_cast<unsigned long>(EEXIST));
  EXPECT_EQ(ReadFile(P("dst")), "D");
  EXPECT_EQ(ReadFile(P("src")), "S");
  close(fd);
}

TEST_F(DirTest, MoveAcrossFileSystems) {
  if (!stdfs::is_directory("/dev/shm")) GTEST_SKIP() << "no /dev/shm";
  struct stat a, b;
  ASSERT_EQ(stat(root_.c_str(), &a), 0);
  ASSERT_EQ(stat("/dev/shm", &b), 0);
  if (a.st_dev == b.st_dev) GTEST_SKIP() << "/dev/shm is on the same file system";

  char templ[] = "/dev/shm/brixdir-XXXXXX";
  ASSERT_NE(mkdtemp(templ), nullptr);
  const std::string other = std::string(templ) + "/moved";
  WriteFile(P("m"), "cross");
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.MoveFile(P("m").c_str(), other.c_str(), 0), 1);
  EXPECT_FALSE(Exists(P("m")));
  EXPECT_EQ(ReadFile(other), "cross");
  stdfs::remove_all(templ);
}

// A trailing dot and a colon are parts of POSIX names: the directory object, the
// names joined to it and the searches in it reach the file named, never a neighbour.
TEST_F(DirTest, NamesWithDotsAndColonsReachTheRightFile) {
  const struct {
    const char* target;
    const char* neighbour;
  } cases[] = {{"old.", "old"}, {"v2..", "v2."}, {"x:.", "x:"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    ASSERT_EQ(mkdir(P(c.target).c_str(), 0777), 0);
    ASSERT_EQ(mkdir(P(std::string(c.target) + "/sub").c_str(), 0777), 0);
    ASSERT_EQ(mkdir(P(c.neighbour).c_str(), 0777), 0);
    WriteFile(P(std::string(c.target) + "/sub/gone"), "g");
    WriteFile(P(std::string(c.neighbour) + "/keep"), "k");
    SFM_Directory dir(P(c.target).c_str());
    EXPECT_EQ(S(dir), P(c.target));
    EXPECT_EQ(S(dir + "f"), P(std::string(c.target) + "/f"));
    EXPECT_EQ(dir.DirExists("sub"), 1);
    EXPECT_EQ(dir.DeleteAll(), 1);
    EXPECT_TRUE(stdfs::is_empty(P(c.target)));
    EXPECT_EQ(ReadFile(P(std::string(c.neighbour) + "/keep")), "k");
  }

  WriteFile(P("rev:2.pcb"), "board");
  ASSERT_EQ(mkdir(P("cwd").c_str(), 0777), 0);
  ASSERT_EQ(chdir(P("cwd").c_str()), 0);
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(S(dir + "rev:2.pcb"), P("rev:2.pcb"));
  EXPECT_EQ(dir.FileExists("rev:2.pcb"), 1);
  EXPECT_EQ(Collect("rev:*", [&](const char* p) { return dir.GetNextFile(p); }),
            Names{"rev:2.pcb"});
  EXPECT_EQ(S(dir + "C:\\board.pcb"), "C:\\board.pcb");  // a drive written on Windows
}

// The copy goes to a temporary file beside the target and replaces the target only
// when it is complete; a failure leaves the old target as it was.
TEST_F(DirTest, CopyReplacesTheTargetOnlyWhenComplete) {
  const std::string source(64 * 1024, 's');
  const struct Case {
    const char* what;
    std::function<bool()> setUp;  // false: skip this row here
    bool fileSizeLimit;           // run the copy with RLIMIT_FSIZE below the source size
    int result;
    std::function<void()> check;
  } cases[] = {
      {"the disk fills half way", [] { return true; }, true, 0,
       [&] { EXPECT_EQ(ReadFile(P("dst")), "precious"); }},
      {"the target is a symbolic link",
       [&] {
         WriteFile(P("elsewhere"), "other");
         return std::remove(P("dst").c_str()) == 0 &&
                symlink(P("elsewhere").c_str(), P("dst").c_str()) == 0;
       },
       false, 1,
       [&] {
         struct stat st;
         ASSERT_EQ(lstat(P("dst").c_str(), &st), 0);
         EXPECT_TRUE(S_ISREG(st.st_mode));  // the link is replaced, not followed
         EXPECT_EQ(ReadFile(P("dst")), source);
         EXPECT_EQ(ReadFile(P("elsewhere")), "other");
       }},
      {"the target has a second name",
       [&] { return link(P("dst").c_str(), P("second").c_str()) == 0; }, false, 1,
       [&] {
         EXPECT_EQ(ReadFile(P("dst")), source);
         EXPECT_EQ(ReadFile(P("second")), "precious");
       }},
      {"the target is read-only",
       [&] { return geteuid() != 0 && chmod(P("dst").c_str(), 0444) == 0; }, false, 0,
       [&] { EXPECT_EQ(ReadFile(P("dst")), "precious"); }},
      {"the target is a directory",
       [&] { return std::remove(P("dst").c_str()) == 0 && mkdir(P("dst").c_str(), 0777) == 0; },
       false, 0, [&] { EXPECT_TRUE(stdfs::is_directory(P("dst"))); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::error_code ignored;
    for (const char* name : {"src", "dst", "second", "elsewhere"})
      stdfs::remove_all(P(name), ignored);
    WriteFile(P("src"), source);
    WriteFile(P("dst"), "precious");
    if (!c.setUp()) continue;
    std::set<std::string> before;
    for (const auto& entry : stdfs::directory_iterator(root_)) before.insert(entry.path().string());

    int result = -1;
    if (c.fileSizeLimit) {
      const pid_t pid = fork();
      ASSERT_GE(pid, 0);
      if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {4096, 4096};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
        Listener none;
        SFM_Directory dir(root_.c_str());
        const int copied = dir.CopyFile(P("src").c_str(), P("dst").c_str(), 1);
        const bool told = none.Codes() == std::vector<int>{205} && none.seen[0].error == EFBIG;
        _exit(copied == 0 && told ? 0 : 1);
      }
      int status = 0;
      ASSERT_EQ(waitpid(pid, &status, 0), pid);
      result = WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
    } else {
      Listener none;
      SFM_Directory dir(root_.c_str());
      result = dir.CopyFile(P("src").c_str(), P("dst").c_str(), 1);
    }
    EXPECT_EQ(result, c.result);
    c.check();
    std::set<std::string> after;
    for (const auto& entry : stdfs::directory_iterator(root_)) after.insert(entry.path().string());
    EXPECT_EQ(after, before);  // no temporary file stays behind
    chmod(P("dst").c_str(), 0644);
  }
}

TEST_F(DirTest, WithoutManagerNothingIsAsked) {
  WriteFile(P("src"), "S");
  WriteFile(P("dst"), "D");
  EXPECT_EXIT(
      {
        delete SFM::GetManager();
        SFM_Directory dir(root_.c_str());
        const bool ok = SFM::GetManager() == nullptr &&
                        dir.CopyFile(P("src").c_str(), P("dst").c_str(), 0) == 0 &&
                        ReadFile(P("dst")) == "D" && dir.DeleteFile(P("missing").c_str()) == 0 &&
                        dir.CopyFile(P("src").c_str(), P("new").c_str(), 0) == 1 &&
                        dir.MoveFile(P("new").c_str(), P("dst").c_str(), 0) == 0 &&
                        dir.FileExists("new") == 1;
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
