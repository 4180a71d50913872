// dir_test.cpp - SFM_Directory on real directories: searches, copies, moves and deletions.
#include "file_helpers.h"

namespace {

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

}  // namespace
