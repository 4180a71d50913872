// ssm_test.cpp - the assertion manager: registry, verdicts, re-entrant failures, silent mode,
// hooks, managers' lifetimes, AssertObj and SYS_Exception.
#include "ssm.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace {

using Data = SSM::AssertData;
using Log = std::vector<std::string>;

Log g_log;                            // what the hooks saw, as "event:type:file(line)"
std::function<void(Data&)> g_onFailed;  // run by the failed-event hook after logging

template <const char* kEvent>
int LogHook(int type, int* data) {
  Data* d = reinterpret_cast<Data*>(data);
  g_log.push_back(std::string(kEvent) + ":" + std::to_string(type) + ":" + std::string(d->fileName) +
                  "(" + std::to_string(d->line) + ")");
  if (kEvent[0] == 'f' && g_onFailed) g_onFailed(*d);
  return 0;
}
constexpr char kFailed[] = "failed", kHandled[] = "handled", kLogged[] = "log";

// Raises the verdict of the entry being handled, as a host's hook would.
void Escalate(SSM::Action action) { SSM::GetManager()->GetCurrent().SetAction(action); }

class SsmTest : public ::testing::Test {
 protected:
  SsmTest() {
    g_log.clear();
    g_onFailed = nullptr;
    manager.HookAssertFailed(&failed);
    manager.HookAssertHandled(&handled);
    manager.HookAssertLogRequest(&logRequest);
  }
  ~SsmTest() override { g_onFailed = nullptr; }

  // 1 went on, 0 returned failure, 2 threw AssertData* (of `file(line)`), 3 FatalException.
  int Outcome(SSM_FailureType type, const char* file, int line) {
    try {
      return SSM_AssertFailed("m", file, line, type, 0);
    } catch (Data* d) {
      EXPECT_EQ(d, manager.FindSite(file, line));
      return 2;
    } catch (const FatalException& e) {
      EXPECT_EQ(e.GetData(), manager.FindSite(file, line));
      return 3;
    }
  }

  SSM manager;
  SCC_EventHook<int> failed{&LogHook<kFailed>}, handled{&LogHook<kHandled>}, logRequest{&LogHook<kLogged>};
};

}  // namespace

TEST(SsmNoManagerTest, ManagersComeAndGo) {
  ASSERT_EQ(SSM::GetManager(), nullptr);
  errno = EMFILE;
  EXPECT_EQ(SSM_AssertFailed("m", "f", 1, SSM_Check, 0), 0);  // nobody to tell
  EXPECT_EQ(errno, EMFILE);
  EXPECT_NO_THROW(SSM_Throw());
  EXPECT_NO_THROW(SSM_CHECK(false, "tests/ssm", 1));
  SSM::SetSilentMode(1);
  EXPECT_EQ(SSM::GetSilentMode(), 0);

  const long before = SSM::GetInstanceCount();
  auto* first = new SSM;
  auto* second = new SSM;
  EXPECT_EQ(SSM::GetManager(), second);
  EXPECT_EQ(SSM::GetInstanceCount(), before + 2);
  *second = *first;  // shares the first one's state
  first->AssertFailed("m", "shared", 3, SSM_Check, 0);
  delete second;
  EXPECT_EQ(SSM::GetManager(), nullptr) << "the first is alive, yet not the manager: intended";
  EXPECT_EQ(SSM::GetInstanceCount(), before + 1);
  EXPECT_EQ(first->AssertFailed("m", "shared", 3, SSM_Check, 0), 1);
  EXPECT_EQ(first->FindSite("shared", 3)->count, 2);
  delete first;
  EXPECT_EQ(SSM::GetInstanceCount(), before);

  // A hook that destroys its manager: the handling ends on the state it holds.
  static SSM* doomed;
  doomed = new SSM;
  SCC_EventHook<int> destroy(+[](int, int* data) {
    reinterpret_cast<Data*>(data)->action = SSM::ActionThrow;
    delete doomed;
    return 0;
  });
  doomed->HookAssertFailed(&destroy);
  EXPECT_EQ(SSM_AssertFailed("m", "d", 1, SSM_Check, 0), 1);
  EXPECT_EQ(SSM::GetManager(), nullptr);
}

TEST_F(SsmTest, OneEntryPerSite) {
  EXPECT_EQ(SSM_AssertFailed("first", "system/scc/SCC_Array", 530, SSM_Check, 4), 1);
  SSM_AssertFailed("second", "system/scc/SCC_Array", 530, SSM_Check, 9);
  SSM_AssertFailed("other line", "system/scc/SCC_Array", 531, SSM_Check, 0);
  EXPECT_EQ(manager.GetRegistry().GetCount(), 2);
  const Data* d = manager.GetRegistry().Find("system/scc/SCC_Array(530)");
  ASSERT_EQ(d, manager.FindSite("system/scc/SCC_Array", 530));
  EXPECT_EQ(d->count * 10000 + d->id * 1000 + d->line, 24530);  // the id of the first failure
  EXPECT_EQ(d->message, SYS_String("second"));
  EXPECT_EQ(manager.FindSite("system/scc/SCC_Array", 1), nullptr);
  SSM_AssertFailed("", "neg", -1, SSM_Check, 0);  // keyed as the unsigned 32-bit line
  EXPECT_NE(manager.GetRegistry().Find("neg(4294967295)"), nullptr);

  SSM_AssertFailed("", "f", 1, SSM_Check, 7);
  EXPECT_EQ(manager.FindSite("f", 1)->message, SYS_String("SSM: Assert ID #7, message not available"));
  SSM_AssertFailed(nullptr, "f", 2, SSM_Check, 0);
  EXPECT_EQ(manager.FindSite("f", 2)->message, SYS_String("Message not available"));
  manager.AssertFailed("", "f", 3, SSM_Check, 7);  // the manager records it as given
  EXPECT_EQ(manager.FindSite("f", 3)->message, SYS_String());
  manager.AssertFailed(nullptr, nullptr, 4, SSM_Check, 0);
  EXPECT_NE(manager.FindSite("", 4), nullptr);
}

TEST_F(SsmTest, VerdictsOfTheHooks) {
  const struct {
    SSM_FailureType type;
    int verdict;  // -1: no hook verdict
    int expected;
  } cases[] = {
      {SSM_Check, -1, 1}, {SSM_Error, -1, 0}, {SSM_FailureType(5), -1, 0}, {SSM_FailureType(-1), -1, 0},
      {SSM_Check, SSM::ActionContinue, 1}, {SSM_Check, SSM::ActionReturnFailure, 0},
      {SSM_Check, SSM::ActionThrow, 2},    {SSM_Check, SSM::ActionFatal, 3},
      {SSM_Error, SSM::ActionContinue, 0},  // cannot soften the default of an error
      {SSM_Error, SSM::ActionThrow, 2},    {SSM_Error, SSM::ActionFatal, 3},
      {SSM_InternalError, SSM::ActionReturnFailure, 2},  // throws; the hooks are not asked
  };
  int line = 100;
  for (const auto& c : cases) {
    SCOPED_TRACE(line);
    g_log.clear();
    const int verdict = c.verdict;
    g_onFailed = [verdict](Data&) {
      if (verdict >= 0) Escalate(SSM::Action(verdict));
    };
    EXPECT_EQ(Outcome(c.type, "v", line), c.expected);
    const std::string at = std::to_string(int(c.type)) + ":v(" + std::to_string(line) + ")";
    Log expected{"handled:" + at, "log:" + at};
    if (c.type != SSM_InternalError) expected.insert(expected.begin(), "failed:" + at);
    EXPECT_EQ(g_log, expected);
    EXPECT_EQ(manager.FindSite("v", line)->action, SSM::ActionContinue) << "reset on the way out";
    EXPECT_EQ(manager.GetDepth(), 0);
    ++line;
  }
  // SSM_Throw throws what is pending: the fatal verdict, until the next failure.
  EXPECT_THROW(SSM_Throw(), Data*);  // the internal error was the last
  g_onFailed = [](Data&) { Escalate(SSM::ActionFatal); };
  EXPECT_EQ(Outcome(SSM_Check, "v", 1), 3);
  EXPECT_THROW(SSM_Throw(), FatalException);
  g_onFailed = nullptr;
  EXPECT_EQ(Outcome(SSM_Error, "v", 1), 0);
  EXPECT_THROW(SSM_Throw(), Data*);
  EXPECT_THROW(SSM_CHECK(false, "system/scc/SCC_Array", 105), Data*);
  EXPECT_NO_THROW(SSM_CHECK(true, "system/scc/SCC_Array", 106));

  // A later hook cannot soften an earlier verdict; a verdict set between failures is dropped.
  SCC_EventHook<int> softener(+[](int, int*) { return Escalate(SSM::ActionContinue), 0; });
  manager.HookAssertFailed(nullptr);
  manager.HookAssertFailed(&softener);
  g_onFailed = [](Data&) { Escalate(SSM::ActionThrow); };
  EXPECT_EQ(Outcome(SSM_Check, "h", 1), 2);
  g_onFailed = nullptr;
  manager.GetCurrent().SetAction(SSM::ActionThrow);
  EXPECT_EQ(Outcome(SSM_Check, "h", 1), 1);
}

TEST_F(SsmTest, InvalidActionCodesAreInternalErrors) {
  for (int code : {7, -3, 4}) {
    SCOPED_TRACE(code);
    g_onFailed = [code](Data& d) { d.action = static_cast<SSM::Action>(code); };
    try {
      SSM_AssertFailed("m", "bad", 1, SSM_Check, 0);
      ADD_FAILURE() << "no throw";
    } catch (Data* d) {  // reported at the manager's own site
      EXPECT_EQ(d, manager.FindSite("system/ssm/ssm", 246));
    }
    EXPECT_EQ(manager.GetDepth(), 0);
  }
  const Data* own = manager.FindSite("system/ssm/ssm", 246);
  EXPECT_EQ(own->message, SYS_String("Assert handler encountered invalid action code."));
  EXPECT_EQ(own->count, 3);
  g_onFailed = nullptr;  // the site is not stuck as "being handled"
  g_log.clear();
  EXPECT_EQ(Outcome(SSM_Check, "bad", 1), 1);
  EXPECT_EQ(g_log.size(), 3u);
  EXPECT_EQ(manager.FindSite("bad", 1)->count, 4);
}

TEST_F(SsmTest, FailuresInsideHooks) {
  // The same site failing inside its own hook is ignored and goes on, whatever its type.
  int nested = -1;
  g_onFailed = [&](Data&) {
    g_onFailed = nullptr;
    nested = SSM_AssertFailed("inner", "r", 1, SSM_InternalError, 0);
  };
  EXPECT_EQ(SSM_AssertFailed("outer", "r", 1, SSM_Error, 0), 0);
  EXPECT_EQ(nested, 1);
  EXPECT_EQ(manager.FindSite("r", 1)->count, 1);
  EXPECT_EQ(manager.FindSite("r", 1)->message, SYS_String("outer"));

  // Another site is handled in full, nested; the current entry is the one handled last.
  g_log.clear();
  int depthInside = 0;
  g_onFailed = [&](Data&) {
    g_onFailed = nullptr;
    EXPECT_EQ(SSM_AssertFailed("inner", "n", 2, SSM_Check, 0), 1);
    depthInside = manager.GetDepth();
  };
  EXPECT_EQ(SSM_AssertFailed("outer", "n", 1, SSM_Check, 0), 1);
  EXPECT_EQ(depthInside, 1);
  EXPECT_EQ(g_log, (Log{"failed:0:n(1)", "failed:0:n(2)", "handled:0:n(2)", "log:0:n(2)",
                        "handled:0:n(1)", "log:0:n(1)"}));
  EXPECT_EQ(manager.GetCurrent().GetLineNo(), 2);

  // A hook that throws leaves the manager consistent, and errno is kept otherwise.
  g_onFailed = [](Data&) { throw 42; };
  EXPECT_THROW(SSM_AssertFailed("m", "x", 1, SSM_Check, 0), int);
  EXPECT_EQ(manager.GetDepth(), 0);
  g_onFailed = [](Data&) { errno = ENOENT; };
  errno = EACCES;
  EXPECT_EQ(SSM_AssertFailed("m", "x", 1, SSM_Check, 0) * 10 + SSM_AssertFailed("m", "x", 2, SSM_Error, 0), 10);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(manager.FindSite("x", 1)->count, 2);
}

TEST_F(SsmTest, SilentModeAndDisabledSites) {
  g_onFailed = [](Data&) { Escalate(SSM::ActionFatal); };  // must not be asked
  SSM::SetSilentMode(1);
  EXPECT_EQ(SSM::GetSilentMode(), 1);
  EXPECT_EQ(Outcome(SSM_Check, "s", 0), 1);
  EXPECT_EQ(Outcome(SSM_Error, "s", 1), 1);
  EXPECT_EQ(g_log, (Log{"handled:0:s(0)", "log:0:s(0)", "handled:1:s(1)", "log:1:s(1)"}));
  EXPECT_EQ(Outcome(SSM_InternalError, "s", 2), 2) << "throws even in silent mode";
  SSM::SetSilentMode(0);

  manager.FindSite("s", 1)->enabled = 0;  // continues; raises only the handled event
  manager.FindSite("s", 0)->logRequired = 0;
  g_onFailed = nullptr;
  g_log.clear();
  EXPECT_EQ(Outcome(SSM_Error, "s", 1), 1);
  EXPECT_EQ(Outcome(SSM_Check, "s", 0), 1);
  EXPECT_EQ(g_log, (Log{"handled:1:s(1)", "failed:0:s(0)", "handled:0:s(0)"}));
}

TEST_F(SsmTest, AssertObjReadsAndWritesTheEntry) {
  AssertObj none;  // without an entry: defaults, writes ignored
  none.Disable(1);
  none.SetMsg("x");
  none.IncreaseCount();
  EXPECT_EQ(none.IsDisabled() + none.GetCount() + none.GetLineNo() + none.GetID(), 0);
  EXPECT_EQ(none.GetMessageEx() + none.GetMsg() + none.GetFileName(), SYS_String());

  SSM_AssertFailed("boom", "a/b", 12, SSM_Check, 3);
  AssertObj obj = manager.GetCurrent();
  EXPECT_EQ(obj.GetMessageEx(), SYS_String("a/b(12):\r\nboom"));
  EXPECT_EQ(obj.GetFileName() + obj.GetMsg(), SYS_String("a/bboom"));
  obj.SetMsg("bang");
  obj.SetLogMsg("logged");
  obj.IncreaseCount();
  obj.Disable(5);  // stores the negation
  obj.SetLogRequired(0);
  const Data* d = manager.FindSite("a/b", 12);
  EXPECT_EQ(d->message + d->logMessage, SYS_String("banglogged"));
  EXPECT_EQ(obj.GetLogMsg(), SYS_String("logged"));
  EXPECT_EQ(d->count * 1000 + d->enabled * 100 + obj.IsDisabled() * 10 + obj.GetID(), 2013);
  EXPECT_EQ(obj.IsLogRequired(), 0);
  obj.Disable(0);
  obj.SetLogRequired(1);
  EXPECT_EQ(obj.IsDisabled() * 10 + obj.IsLogRequired(), 1);
  obj.SetAction(SSM::ActionThrow);
  obj.SetAction(SSM::ActionReturnFailure);  // lower: ignored
  EXPECT_EQ(obj.GetAction(), SSM::ActionThrow);
  obj.ClearAction();
  EXPECT_EQ(obj.GetAction(), SSM::ActionContinue);

  SSM_AssertFailed("m", "a/c", 1, SSM_Check, 0);
  std::vector<int> lines;
  AssertObj walk;
  for (walk.GetFirst(const_cast<SSM::Registry*>(&manager.GetRegistry())); walk.IsValid(); ++walk)
    lines.push_back(walk.GetLineNo());
  EXPECT_EQ(lines, (std::vector<int>{12, 1}));
}

TEST(SysExceptionTest, Messages) {
  const SYS_Exception e("Please enter a value within the %c%lf,%lf%c range.", '[', 1.0, 2.5, ']');
  EXPECT_EQ(e.GetText(), SYS_String("Please enter a value within the [1.000000,2.500000] range."));
  SYS_Exception assigned(0);
  assigned = e;
  EXPECT_EQ(SYS_Exception(assigned).GetText(), e.GetText());
  EXPECT_EQ(SYS_Exception(45063, "x", 3).GetText(), SYS_String());  // the id is not used: intended
  EXPECT_EQ(SYS_Exception(static_cast<const char*>(nullptr)).GetText(), SYS_String());
}
