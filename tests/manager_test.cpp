// manager_test.cpp - SFM: events and answers, handle exhaustion, texts, settings, ShowFile; the
// file list.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "sccdlist.h"
#include "sccevent.h"
#include "sfm.h"
#include "sfmfile.h"
#include "sfmmsgdb.h"
#include "ssm.h"

namespace {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "brixmgr-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

struct Seen {
  int code;
  std::string name, text;
  unsigned long error;
};
std::vector<Seen> g_seen;
int g_answer = 0;

int Listen(int code, SFM_EventData* data) {
  g_seen.push_back(
      {code, data->GetFileName1().GetString(), data->GetText().GetString(), data->GetError()});
  data->SetResult(g_answer);
  return 0;
}

class ManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_seen.clear();
    g_answer = 0;
    manager_ = SFM::GetManager();
    ASSERT_NE(manager_, nullptr);
    hook_.HookEvent(manager_->GetEvent());
  }
  std::vector<int> Codes() const {
    std::vector<int> codes;
    codes.reserve(g_seen.size());
    for (const Seen& s : g_seen) codes.push_back(s.code);
    return codes;
  }
  // The names of the files in the manager's list, least recently opened first,
  // restricted to those inside `dir`.
  std::vector<std::string> Order(const TempDir& dir) {
    std::vector<std::string> names;
    for (SFM_File* f = manager_->GetFiles().GetHead(); f; f = f->GetNextNode()) {
      std::string name = f->GetName().GetString();
      if (name.rfind(dir.path(), 0) == 0) names.push_back(name.substr(dir.path().size() + 1));
    }
    return names;
  }

  SFM* manager_ = nullptr;
  SCC_EventHook<SFM_EventData> hook_{&Listen};
};

TEST_F(ManagerTest, FailureEventsCarryTextAndSetTheFilesMessage) {
  TempDir dir;
  std::string name = dir / "a.txt";
  SFM_File file(name.c_str());
  SFM_EventData data(name.c_str(), "second");
  g_answer = SFM::Retry;
  errno = 1234;
  EXPECT_EQ(manager_->Event(SFM::CopyFailed, data), SFM::Retry);
  EXPECT_EQ(errno, 1234);  // kept for the caller
  ASSERT_EQ(g_seen.size(), 1u);
  EXPECT_EQ(g_seen[0].error, 1234u);
  EXPECT_EQ(g_seen[0].text, "Error 1234 occurred (no further information).");
  EXPECT_EQ(std::string(data.GetFileName2()), "second");
  EXPECT_EQ(std::string(file.GetMsg()), "Error 1234 occurred (no further information).");
  EXPECT_EQ(std::string(SFM::GetErrorText(ENOENT)), std::string(strerror(ENOENT)));

  // Notices below 151 carry no text and leave the message alone.
  file.SetMsg("kept");
  errno = ENOENT;
  EXPECT_EQ(manager_->Event(SFM::Closed, data), SFM::Retry);
  EXPECT_EQ(std::string(file.GetMsg()), "kept");
  EXPECT_EQ(g_seen.back().error, static_cast<unsigned long>(ENOENT));
}

TEST_F(ManagerTest, OutOfHandlesClosesTheLeastRecentlyOpenedFile) {
  TempDir dir;
  SFM_File a((dir / "a").c_str(), "w"), b((dir / "b").c_str(), "w"), c((dir / "c").c_str(), "w");
  g_seen.clear();
  SFM_EventData data((dir / "d").c_str());
  errno = EMFILE;
  EXPECT_EQ(manager_->Event(SFM::OpenFailed, data), SFM::Retry);
  EXPECT_TRUE(g_seen.empty());  // no listener is told
  EXPECT_EQ(a.IsTempClosed(), 1);
  EXPECT_EQ(b.IsTempClosed(), 0);

  // Opening b again moves it behind c: the next close picks c.
  b.Close();
  b.Open("w");
  EXPECT_EQ(Order(dir), (std::vector<std::string>{"a", "c", "b"}));
  errno = EMFILE;
  EXPECT_EQ(manager_->Event(SFM::OpenFailed, data), SFM::Retry);
  EXPECT_EQ(c.IsTempClosed(), 1);
  EXPECT_EQ(b.IsTempClosed(), 0);

  // Touching a reopens it and makes it the most recently opened.
  a.WriteLine("a");
  EXPECT_EQ(Order(dir), (std::vector<std::string>{"c", "b", "a"}));

  // With no file left to close a retry could not succeed: the listeners decide.
  a.Close();
  b.Close();
  c.Close();
  g_seen.clear();
  g_answer = 0;
  errno = EMFILE;
  EXPECT_EQ(manager_->Event(SFM::OpenFailed, data), 0);
  EXPECT_EQ(Codes(), (std::vector<int>{SFM::OpenFailed}));
  EXPECT_EQ(Slurp(dir / "a"), "a\n");
}

// Files that cannot be parked (no position to resume at) are passed over; when no
// file can give up its handle, the listeners answer as for any other failure.
TEST_F(ManagerTest, OutOfHandlesPassesOverFilesThatCannotBeParked) {
  TempDir dir;
  std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  struct Case {
    const char* what;
    bool withData;  // a regular file opened after the pipe
    int answer;     // the listeners' answer
    int expect;
    std::vector<int> told;
  } cases[] = {
      {"the next file is parked", true, 0, SFM::Retry, {}},
      {"nothing to park: the listeners give up", false, 0, 0, {SFM::OpenFailed}},
      {"nothing to park: the listeners retry", false, SFM::Retry, SFM::Retry, {SFM::OpenFailed}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SFM_File pipe(fifo.c_str(), "r+");
    SFM_File data((dir / "data").c_str());
    if (c.withData) {
      ASSERT_EQ(data.Open("w"), 1);
    }
    ASSERT_EQ(pipe.IsOpen(), 1);
    g_seen.clear();
    g_answer = c.answer;
    SFM_EventData event((dir / "new").c_str());
    errno = EMFILE;
    EXPECT_EQ(manager_->Event(SFM::OpenFailed, event), c.expect);
    EXPECT_EQ(Codes(), c.told);
    EXPECT_EQ(pipe.IsTempClosed(), 0);
    EXPECT_NE(pipe.GetStream(), nullptr);
    EXPECT_EQ(data.IsTempClosed(), c.withData ? 1 : 0);
  }
}

TEST_F(ManagerTest, InitiateOnceAndValidity) {
  TempDir dir;
  std::ofstream(dir / "texts.MDB") << "1:one\n bad line\n";
  std::ofstream(dir / "other.txt") << "1:other\n";
  testing::internal::CaptureStdout();
  manager_->Initiate((dir / "texts.MDB").c_str());
  std::string printed = testing::internal::GetCapturedStdout();
  // A prepared database reports its bad lines.
  EXPECT_NE(printed.find("leading blanks"), std::string::npos) << printed;
  SFM_MessageDB* db = manager_->GetMessageDB();
  ASSERT_NE(db, nullptr);
  EXPECT_EQ(std::string(db->getTxt(1)), "one");
  manager_->Initiate((dir / "other.txt").c_str());
  EXPECT_EQ(manager_->GetMessageDB(), db);

  EXPECT_EQ(manager_->IsValid(), 1);  // every listed file is open
  SFM_File closed((dir / "closed").c_str());
  EXPECT_EQ(manager_->IsValid(), 0);
}

TEST_F(ManagerTest, MisuseFailsChecksAtItsSites) {
  SSM ssm;  // a live assertion service: failed checks throw
  auto site = [](auto body) -> std::string {
    try {
      body();
    } catch (SSM::AssertData* data) {
      return std::string(data->fileName) + ":" + std::to_string(data->line) + " " +
             std::string(data->message);
    }
    return "none";
  };
  EXPECT_EQ(site([] { SFM second; }), "system/sfm/sfmanagr:155 Tamsk: ");
  EXPECT_EQ(SFM::GetManager(), manager_);
  TempDir dir;
  SFM_File closed((dir / "closed").c_str());
  // The database, when there is one, is fine; the closed file is not.
  if (manager_->GetMessageDB())
    EXPECT_EQ(site([&] { manager_->IsValid(); }), "system/sfm/sfmanagr:295 Tamsk: ");
  else
    EXPECT_EQ(site([&] { manager_->IsValid(); }), "system/sfm/sfmanagr:286 Tamsk: ");
}

TEST_F(ManagerTest, ExternalDirectories) {
  manager_->SetExternalDirectory(3, "/opt/lib");
  EXPECT_EQ(std::string(manager_->GetExternalFileName(3, "parts.lib")), "/opt/lib/parts.lib");
  EXPECT_EQ(std::string(manager_->GetExternalFileName(3, "/abs/x")), "/abs/x");
  // Slots never set are the default directory and grow on demand.
  EXPECT_EQ(std::string(manager_->GetExternalFileName(7, "/abs/y")), "/abs/y");
  EXPECT_EQ(std::string(manager_->GetExternalFileName(-1, "z")), "");
}

class ProfileTest : public ManagerTest {
 protected:
  void SetUp() override {
    ManagerTest::SetUp();
    if (const char* v = getenv("BRIX_CONFIG_HOME")) saved_ = v;
    setenv("BRIX_CONFIG_HOME", dir_.path().c_str(), 1);
  }
  void TearDown() override {
    if (saved_.empty())
      unsetenv("BRIX_CONFIG_HOME");
    else
      setenv("BRIX_CONFIG_HOME", saved_.c_str(), 1);
  }
  TempDir dir_;
  std::string saved_;
};

TEST_F(ProfileTest, ProfileSettings) {
  EXPECT_EQ(std::string(manager_->ReadProfileString("general", "editor", "none")), "none");
  EXPECT_EQ(manager_->GetProfileInt("view", "zoom", 7), 7);
  manager_->SetProfileString("general", "editor", "gedit");
  manager_->SetProfileInt("view", "zoom", -42);
  EXPECT_EQ(std::string(manager_->ReadProfileString("General", "Editor", "")), "gedit");
  EXPECT_EQ(manager_->GetProfileInt("view", "zoom", 7), -42);
  manager_->SetProfileString("view", "junk", "abc");
  EXPECT_EQ(manager_->GetProfileInt("view", "junk", 7), 0);  // present but not a number
}

TEST_F(ProfileTest, ShowFilePassesTheNameAsOneArgument) {
  SFM::ShowFile("nothing happens without an editor");
  std::string out = dir_ / "shown";
  std::string editor = "sh -c 'printf %s \"$1\" > \"$0\"' " + out;
  manager_->SetProfileString("general", "editor", editor.c_str());
  std::string name = dir_ / "odd name $(touch pwned); 'q' \"d\"";
  SFM::ShowFile(name.c_str());
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (Slurp(out) != name && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(Slurp(out), name);
  EXPECT_FALSE(std::filesystem::exists("pwned"));
  EXPECT_FALSE(std::filesystem::exists(dir_ / "pwned"));
}

TEST(ManagerLifecycleTest, NoManagerAfterTheFirstIsGone) {
  TempDir dir;
  fflush(nullptr);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    SFM* manager = SFM::GetManager();
    SFM_File open((dir / "kept").c_str(), "w");
    if (!manager || SFM::GetManager() != manager || open.GetList() != &manager->GetFiles())
      _exit(1);
    delete manager;
    if (SFM::GetManager() != nullptr) _exit(2);
    if (open.GetList() != nullptr) _exit(3);  // unlinked, still usable
    if (!open.WriteLine("still works")) _exit(4);
    open.Close();
    SFM_File missing((dir / "missing").c_str());
    if (missing.Open("r") != 0) _exit(5);  // gives up at once without a manager
    if (missing.GetList() != nullptr) _exit(6);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Slurp(dir / "kept"), "still works\n");
}

// The file list on a plain node type.
struct Item : SCC_SafeDListNode<Item> {
  explicit Item(int v) : value(v) {}
  int value;
};

std::vector<int> Values(SCC_SafeDList<Item>& list) {
  std::vector<int> values;
  SCC_SafeDListIterator<Item> it(list);
  while (Item* item = it.Next()) values.push_back(item->value);
  return values;
}

TEST(SafeDListTest, WalksSurviveRemovalOfAnyNode) {
  struct Case {
    const char* what;
    int at;       // value being visited when acting
    int removed;  // value removed then
    std::vector<int> visited;
  } cases[] = {
      {"current", 2, 2, {1, 2, 3, 4}},
      {"next", 2, 3, {1, 2, 4}},
      {"previous", 3, 2, {1, 2, 3, 4}},
      {"tail", 1, 4, {1, 2, 3}},
  };
  for (const Case& c : cases) {
    SCC_SafeDList<Item> list;
    Item items[] = {Item(1), Item(2), Item(3), Item(4)};
    for (Item& i : items) list.AddTail(&i);
    std::vector<int> visited;
    SCC_SafeDListIterator<Item> it(list);
    while (Item* item = it.Next()) {
      visited.push_back(item->value);
      if (item->value == c.at) items[c.removed - 1].RemoveNode();
    }
    EXPECT_EQ(visited, c.visited) << c.what;
    EXPECT_EQ(list.GetCount(), 3) << c.what;
    EXPECT_TRUE(list.IsValid()) << c.what;
  }
}

TEST(SafeDListTest, NestedWalksMovesAndMembership) {
  SCC_SafeDList<Item> list, other;
  Item a(1), b(2), c(3);
  for (Item* i : {&a, &b, &c}) list.AddTail(i);
  std::vector<int> outer;
  SCC_SafeDListIterator<Item> it(list);
  while (Item* item = it.Next()) {
    outer.push_back(item->value);
    if (item->value == 1) {
      EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3}));  // a nested walk
      list.MoveToTail(&b);                                   // met again later
      list.Remove(&c);
    }
  }
  EXPECT_EQ(outer, (std::vector<int>{1, 2}));
  {
    Item d(4);
    list.InsertBefore(&d, &a);
    list.AddHead(&c);
    EXPECT_EQ(Values(list), (std::vector<int>{3, 4, 1, 2}));
  }                   // d unlinks itself
  other.AddTail(&a);  // moves from one list to the other
  EXPECT_EQ(Values(list), (std::vector<int>{3, 2}));
  EXPECT_EQ(a.GetList(), &other);
  EXPECT_TRUE(list.IsValid() && other.IsValid());
  EXPECT_FALSE(Item(a).IsNode());  // copies are not members
}

}  // namespace
