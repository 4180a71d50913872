// dir_test.cpp - SFM_Directory on real files in temporary directories.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <functional>
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
// The content of a regular file; "-" when missing, "dir" or "link" for those.
std::string State(const std::string& path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return "-";
  if (!S_ISREG(st.st_mode)) return S_ISDIR(st.st_mode) ? "dir" : "link";
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Records the events of the file manager and answers from a script (then 0); `action`
// may act before the answer.
struct Listener {
  explicit Listener(std::vector<int> script = {}) : answers(std::move(script)) {}
  std::vector<int> answers, codes;
  std::vector<unsigned long> errors;
  std::vector<std::string> names;  // "first|second" file name of each event
  std::function<void()> action;
  int OnEvent(int code, SFM_EventData* data) {
    codes.push_back(code);
    errors.push_back(data->GetError());
    names.push_back(S(data->GetFileName1()) + "|" + S(data->GetFileName2()));
    if (action) action();
    data->SetResult(codes.size() <= answers.size() ? answers[codes.size() - 1] : 0);
    return 0;
  }
  SCC_ObjectEventHook<Listener, SFM_EventData> hook{this, &Listener::OnEvent,
                                                    SFM::GetManager()->GetEvent()};
};

class DirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char templ[] = "/tmp/brixdir-XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    root_ = templ;
    ASSERT_NE(getcwd(cwd_, sizeof cwd_), nullptr);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(cwd_), 0);
    stdfs::remove_all(root_);
  }
  std::string P(const std::string& name) const { return root_ + "/" + name; }
  long Count() const { return std::distance(stdfs::directory_iterator(root_), {}); }

  std::string root_;
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
    WriteFile(P(f), "x");
  ASSERT_EQ(chmod(P("ro").c_str(), 0444), 0);
  for (const char* d : {"sub", ".d2"}) ASSERT_EQ(mkdir(P(d).c_str(), 0777), 0);
  WriteFile(P("sub/inner.txt"), "y");
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
      {Found(entries, "*.TXT"), "b.TXT "},
      {Found(entries, "**"), kAll},
      {Found(entries, "*.*"), kAll},
      {Found(entries, "*.t?t*"), "a.txt ab.txt c.txt.bak \xC3\xA9.txt "},
      {Found(entries, "*x*t"), "a.txt ab.txt \xC3\xA9.txt "},
      {Found(entries, "sub/"), "sub "},  // the trailing separator is dropped
      {Found(entries, "sub/*.txt"), "inner.txt "},
      {Found(entries, "nothing"), ""},
      // An absolute pattern is never put below the directory, backslashes or not.
      {Found([&](const char* p) { return elsewhere.GetNextEntry(p); }, absolute.c_str()), "a.txt "},
      {Found([&](const char* p) { return elsewhere.GetNextEntry(p); }, windowsStyle.c_str()),
       ". .. inner.txt "},
      {Found(files, "*"), ".hid a.txt ab.txt b.TXT c.txt.bak ro \xC3\xA9.txt "},
      {Found([&](const char* p) { return dir.GetNextSubdir(p); }, "*"), ".d2 sub "},
      {Found(masked(0x02), "*"), ". .. a.txt ab.txt b.TXT c.txt.bak ro sub \xC3\xA9.txt "},
      {Found(masked(0x01), "*"), ". .. .d2 .hid a.txt ab.txt b.TXT c.txt.bak sub \xC3\xA9.txt "},
      {Found(masked(0x20), "*"), ". .. .d2 sub "},
      {Found(masked(0x11), "r*"), ""},  // ends although the last entries are all masked
  };
  for (const auto& [found, expected] : cases) EXPECT_EQ(found, expected);
  errno = 0;
  EXPECT_EQ(Found(files, "missing*"), "");
  EXPECT_EQ(errno, ENOENT);  // also when the directory holds no match
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const std::string utf8 = Found(entries, "?.txt");
  setlocale(LC_CTYPE, "C");
  EXPECT_EQ(utf8, "a.txt \xC3\xA9.txt ");
  SFM_FilePath::DefaultSeparator = 0;
  const std::string backslashDropped = Found(entries, "sub\\");
  SFM_FilePath::DefaultSeparator = 1;
  EXPECT_EQ(backslashDropped, "sub ");
}

TEST_F(DirTest, ExistenceTestsEndTheirSearchAndCopiesShareIt) {
  for (const char* f : {"f0", "f1", "f2", "name."}) WriteFile(P(f), "x");  // not "name"
  ASSERT_EQ(mkdir(P("sub").c_str(), 0777), 0);
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.FileExists("f?") + dir.DirExists("sub") + dir.FileExists("name."), 3);
  EXPECT_EQ(dir.FileExists("sub") + dir.DirExists("f1") + dir.FileExists("name") +
                dir.FileExists(nullptr),
            0);
  ASSERT_NE(dir.GetNextFile("f*"), nullptr);
  EXPECT_EQ(dir.DirExists("sub"), 1);
  EXPECT_NE(dir.GetNextFile(nullptr), nullptr);  // the file search is untouched
  EXPECT_EQ(dir.FileExists("sub"), 0);
  EXPECT_EQ(dir.GetNextFile(nullptr), nullptr);  // the file search has been ended
  // Three objects take turns on one search: each name comes exactly once.
  std::string seen = dir.GetNextFile("f*");
  SFM_Directory copy(dir), assigned;
  assigned = copy;
  SFM_Directory* turn[] = {&copy, &assigned, &dir};
  for (int i = 0; char* name = turn[i % 3]->GetNextFile(nullptr); ++i) seen += name;
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, "012fff");
  // Destroying copies in any order releases each record once, even mid-search.
  auto* first = new SFM_Directory(root_.c_str());
  ASSERT_NE(first->GetNextFile("*"), nullptr);
  std::vector<SFM_Directory> copies(3, *first);
  delete first;
  copies.erase(copies.begin());
  EXPECT_NE(copies.back().GetNextFile(nullptr), nullptr);
}

TEST_F(DirTest, WorkingDirectoryAndMakingPaths) {
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.MakeDirectory(P("sub").c_str()), 1);
  EXPECT_EQ(dir.MakeDirectory(P("sub").c_str()), 0);
  EXPECT_EQ(dir.SetCurDir(P("sub").c_str()), 0);
  EXPECT_EQ(S(dir.GetCurDir(3)), P("sub/"));  // the drive means nothing here
  EXPECT_EQ(dir.SetCurDir(P("missing").c_str()), -1);
  // Removing the working directory steps out into this directory first.
  EXPECT_EQ(dir.DeleteSubdir(P("sub/").c_str()), 1);
  EXPECT_EQ(S(dir.GetCurDir()), root_ + "/");
  EXPECT_EQ(dir.MakePath(P("a/b/c").c_str()), 1);
  EXPECT_EQ(dir.MakePath(P("a/b/c/").c_str()) + dir.MakePath(""), 0);  // exists already
  // A directory whose name ends in a colon is made like any other, a drive is not.
  EXPECT_EQ(dir.MakePath(P("rev:/2:").c_str()), 1);
  EXPECT_TRUE(stdfs::is_directory(P("rev:/2:")));
  SFM_FilePath::DefaultSeparator = 0;  // only "\" splits: "/" paths are made in one call
  const int oneCall = dir.MakePath(P("x/y").c_str()), split = dir.MakePath(P("p\\q").c_str());
  SFM_FilePath::DefaultSeparator = 1;
  EXPECT_EQ(oneCall * 10 + split, 1);
  EXPECT_TRUE(stdfs::is_directory(P("p/q")));
}

// Searches look inside the directory; file operations put its drive in front only. Dots
// and colons are parts of POSIX names: every operation reaches the file named.
TEST_F(DirTest, NamesReachTheFileNamedAndNeverANeighbour) {
  ASSERT_EQ(mkdir(P("cwd").c_str(), 0777), 0);
  for (const char* f : {"f.txt", "cwd/f.txt", "rev:2.pcb"}) WriteFile(P(f), "x");
  ASSERT_EQ(chdir(P("cwd").c_str()), 0);
  SFM_Directory dir(root_.c_str());
  EXPECT_EQ(dir.FileExists("f.txt") + dir.FileExists("rev:2.pcb") + dir.DeleteFile("f.txt"), 3);
  EXPECT_EQ(State(P("f.txt")) + State(P("cwd/f.txt")), "x-");
  EXPECT_EQ(Found([&](const char* p) { return dir.GetNextFile(p); }, "rev:*"), "rev:2.pcb ");
  for (auto [name, joined] : {std::pair{"x/y.z", P("x/y.z")},
                              {"/abs/y", "/abs/y"},
                              {"C:y", "C:y"},
                              {"rev:2.pcb", P("rev:2.pcb")},
                              {"C:\\b.pcb", "C:\\b.pcb"}})
    EXPECT_EQ(S(dir + name), joined);
  for (auto [target, neighbour] : {std::pair{"old.", "old"}, {"v2..", "v2."}, {"x:.", "x:"}}) {
    SCOPED_TRACE(target);
    for (std::string d : {P(target), P(target) + "/sub", P(neighbour)})
      ASSERT_EQ(mkdir(d.c_str(), 0777), 0);
    WriteFile(P(target) + "/sub/gone", "g");
    WriteFile(P(neighbour) + "/keep", "k");
    SFM_Directory named(P(target).c_str());
    EXPECT_EQ(S(named + "f"), P(target) + "/f");
    EXPECT_EQ(named.DirExists("sub"), 1);
    EXPECT_EQ(named.DeleteAll(), 1);
    EXPECT_TRUE(stdfs::is_empty(P(target)));
    EXPECT_EQ(State(P(neighbour) + "/keep"), "k");
  }
}

TEST_F(DirTest, DeleteAllEmptiesTheTreeButNotLinkTargetsAndRetriesOnRequest) {
  for (const char* d : {"outside", "tree", "tree/a", "tree/a/b", "tree/.hid", "tree/dots.."})
    ASSERT_EQ(mkdir(P(d).c_str(), 0777), 0);
  for (const char* f :
       {"outside/keep", "tree/f", "tree/a/g.txt", "tree/a/b/h", "tree/dots../i.", "tree/.hid/j"})
    WriteFile(P(f), "k");
  ASSERT_EQ(chmod(P("tree/a/g.txt").c_str(), 0444), 0);
  ASSERT_EQ(symlink(P("outside").c_str(), P("tree/a/link").c_str()), 0);
  ASSERT_EQ(symlink(P("nowhere").c_str(), P("tree/dangling").c_str()), 0);
  SFM_Directory tree(P("tree").c_str());
  EXPECT_EQ(tree.DeleteAll(), 1);
  EXPECT_TRUE(stdfs::is_empty(P("tree")));
  EXPECT_EQ(State(P("outside/keep")), "k");
  {
    Listener twice({SFM::Retry, SFM::GoOn});  // Retry asks for another try, others give up
    EXPECT_EQ(tree.DeleteFile(P("gone").c_str()), 0);
    EXPECT_EQ(twice.codes, (std::vector<int>{SFM::DeleteFailed, SFM::DeleteFailed}));
    EXPECT_EQ(twice.names[0], P("gone") + "|");
    EXPECT_EQ(twice.errors[0], static_cast<unsigned long>(ENOENT));
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
      {"copy over", "dst", false, 1, {}, {}, 1, "SSS"},
      {"copy to a new name", "new", false, 0, {}, {}, 1, "SDS"},
      {"copy onto itself", "src", false, 1, {}, {205}, 0, "SDS"},
      {"copy retried", "later/x", false, 0, {2}, {205}, 1, "SDS"},
      {"move refused", "dst", true, 0, {}, {151}, 0, "SDD"},
      {"move agreed", "dst", true, 0, {1}, {151}, 1, "-SS"},
      {"move over", "dst", true, 1, {}, {}, 1, "-SS"},
      {"move onto itself", "src", true, 1, {}, {206}, 0, "SDS"},
      {"move retried", "later/x", true, 0, {2}, {206}, 1, "-DS"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const char* f : {"new", "later/x", "later"}) std::remove(P(f).c_str());
    WriteFile(P("src"), "S");
    WriteFile(P("dst"), "D");
    ASSERT_EQ(chmod(P("src").c_str(), 0640), 0);
    SFM_Directory dir(root_.c_str());
    Listener listener(c.answers);
    listener.action = [&] { mkdir(P("later").c_str(), 0777); };  // the cause goes away
    const std::string to = P(c.to);
    EXPECT_EQ(c.move ? dir.MoveFile(P("src").c_str(), to.c_str(), c.overwrite)
                     : dir.CopyFile(P("src").c_str(), to.c_str(), c.overwrite),
              c.result);
    EXPECT_EQ(listener.codes, c.codes);
    if (!c.codes.empty()) EXPECT_EQ(listener.names[0], P("src") + "|" + to);
    EXPECT_EQ(State(P("src")) + State(P("dst")) + State(to), c.after);
    struct stat st;
    if (c.result && !c.move) EXPECT_TRUE(stat(to.c_str(), &st) == 0 && (st.st_mode & 0777) == 0640);
  }
}

// A source somebody else holds a share lock on is not moved, and the target stays.
TEST_F(DirTest, MoveKeepsTheTargetWhileTheSourceIsInUse) {
  WriteFile(P("src"), "S");
  WriteFile(P("dst"), "D");
  const int fd = open(P("src").c_str(), O_RDWR);
  struct flock lock = {};
  lock.l_type = F_RDLCK, lock.l_whence = SEEK_SET, lock.l_start = 1 << 30, lock.l_len = 1;
  ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
  Listener listener;
  EXPECT_EQ(SFM_Directory(root_.c_str()).MoveFile(P("src").c_str(), P("dst").c_str(), 1), 0);
  EXPECT_EQ(listener.codes, std::vector<int>{206});
  EXPECT_EQ(listener.errors, std::vector<unsigned long>{EEXIST});
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
      {"the target is read-only", [&] { return geteuid() && !chmod(P("dst").c_str(), 0444); }, 0,
       "precious|other"},
      {"the target is a directory",
       [&] { return !unlink(P("dst").c_str()) && !mkdir(P("dst").c_str(), 0777); }, 0, "dir|other"},
      {"the source tells size 0 but has content",
       [&] { return relink("/proc/self/mounts", "src"); }, 1,
       State("/proc/self/mounts") + "|other"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const char* name : {"src", "dst", "second"}) stdfs::remove_all(P(name));
    WriteFile(P("src"), source), WriteFile(P("dst"), "precious"), WriteFile(P("second"), "other");
    if (!c.setUp()) continue;
    const long before = Count();
    auto copy = [&] {
      Listener told;
      const int copied =
          SFM_Directory(root_.c_str()).CopyFile(P("src").c_str(), P("dst").c_str(), 1);
      return copied || !c.limited ||
                     (told.codes == std::vector<int>{205} && told.errors[0] == EFBIG)
                 ? copied
                 : -1;
    };
    if (c.limited) {
      const pid_t pid = fork();
      ASSERT_GE(pid, 0);
      if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {4096, 4096};
        _exit(setrlimit(RLIMIT_FSIZE, &limit) == 0 && copy() == 0 ? 0 : 1);
      }
      int status = 0;
      ASSERT_EQ(waitpid(pid, &status, 0), pid);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    } else {
      EXPECT_EQ(copy(), c.result);
    }
    EXPECT_EQ(State(P("dst")) + "|" + State(P("second")), c.after);
    EXPECT_EQ(Count(), before);  // no temporary file stays behind
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
        const bool ok = dir.CopyFile(P("src").c_str(), P("dst").c_str(), 0) == 0 &&
                        dir.DeleteFile(P("missing").c_str()) == 0 &&
                        dir.CopyFile(P("src").c_str(), P("new").c_str(), 0) == 1 &&
                        dir.MoveFile(P("new").c_str(), P("dst").c_str(), 0) == 0;
        std::exit(ok && State(P("dst")) == "D" && State(P("new")) == "S" ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
