// ssm_test.cpp - the assertion manager: registry, verdicts, re-entrant failures, silent mode,
// hooks, managers' lifetimes, AssertObj and SYS_Exception.
#include "ssm.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

namespace {

using Data = SSM::AssertData;
using Log = std::vector<std::string>;

Log g_log;                              // what the hooks saw, as "event:type:file(line)"
std::function<void(Data&)> g_onFailed;  // run by the failed-event hook after logging

template <char kEvent>
int LogHook(int type, int* data) {
  Data* d = reinterpret_cast<Data*>(data);
  g_log.push_back(kEvent + std::to_string(type) + ":" + std::string(d->fileName) + "(" + std::to_string(d->line) + ")");
  return kEvent == 'f' && g_onFailed ? g_onFailed(*d), 0 : 0;
}

// Raises the verdict of the entry being handled, as a host's hook would.
void Escalate(SSM::Action action) { SSM::GetManager()->GetCurrent().SetAction(action); }

class SsmTest : public ::testing::Test {
 protected:
  SsmTest() { g_log.clear(), manager.HookAssertFailed(&failed), manager.HookAssertHandled(&handled), manager.HookAssertLogRequest(&logRequest); }
  ~SsmTest() override { g_onFailed = nullptr; }
  // 1 went on, 0 returned failure, 2 threw the AssertData* of `file(line)`, 3 FatalException.
  int Outcome(SSM_FailureType type, const char* file, int line) {
    try {
      return SSM_AssertFailed("m", file, line, type, 0);
    } catch (Data* d) {
      return d == manager.FindSite(file, line) ? 2 : -2;
    } catch (const FatalException& e) {
      return e.GetData() == manager.FindSite(file, line) ? 3 : -3;
    }
  }
  SSM manager;
  SCC_EventHook<int> failed{&LogHook<'f'>}, handled{&LogHook<'h'>}, logRequest{&LogHook<'l'>};
};

}  // namespace

TEST(SsmNoManagerTest, ManagersComeAndGo) {
  ASSERT_EQ(SSM::GetManager(), nullptr);
  errno = EMFILE;
  EXPECT_EQ(SSM_AssertFailed("m", "f", 1, SSM_Check, 0) + errno, EMFILE);  // nobody to tell
  SSM::SetSilentMode(1);
  EXPECT_NO_THROW(SSM_Throw());
  EXPECT_EQ(SSM::GetSilentMode(), 0);
  const long before = SSM::GetInstanceCount();
  auto *first = new SSM, *second = new SSM;
  EXPECT_EQ(SSM::GetInstanceCount() == before + 2 && SSM::GetManager() == second, true);
  *second = *first;  // shares the first one's state
  second->AssertFailed("m", "shared", 3, SSM_Check, 0);
  delete second;
  EXPECT_EQ(SSM::GetManager(), nullptr) << "the first is alive, yet not the manager: intended";
  EXPECT_EQ(first->AssertFailed("m", "shared", 3, SSM_Check, 0) * 10 + first->FindSite("shared", 3)->count, 12);
  delete first;
  EXPECT_EQ(SSM::GetInstanceCount(), before);

  static SSM* doomed;  // a hook destroys its manager: the handling ends on the state it holds
  doomed = new SSM;
  SCC_EventHook<int> destroy(+[](int, int* data) {
    reinterpret_cast<Data*>(data)->action = SSM::ActionThrow;
    return delete doomed, 0;
  });
  doomed->HookAssertFailed(&destroy);
  EXPECT_EQ(SSM_AssertFailed("m", "d", 1, SSM_Check, 0) * 10 + (SSM::GetManager() == nullptr), 11);
}

TEST_F(SsmTest, OneEntryPerSite) {
  for (const char* message : {"first", "second"}) SSM_AssertFailed(message, "a/b", 530, SSM_Check, message[0] == 'f' ? 4 : 9);
  SSM_AssertFailed("", "a/b", 531, SSM_Check, 7), SSM_AssertFailed(nullptr, "a/b", -1, SSM_Check, 0);  // -1: keyed unsigned
  manager.AssertFailed("", nullptr, 4, SSM_Check, 7);  // the manager records what it is given
  const Data* d = manager.GetRegistry().Find("a/b(530)");
  ASSERT_EQ(d, manager.FindSite("a/b", 530));
  EXPECT_EQ(d->count * 10000 + d->id * 1000 + d->line, 24530);  // the id of the first failure
  EXPECT_EQ(d->message + "|" + manager.FindSite("a/b", 531)->message + "|" +
                manager.GetRegistry().Find("a/b(4294967295)")->message + "|" + manager.FindSite("", 4)->message,
            SYS_String("second|SSM: Assert ID #7, message not available|Message not available|"));
  EXPECT_EQ(manager.GetRegistry().GetCount() * 10 + (manager.FindSite("a/b", 1) == nullptr), 41);
}

TEST_F(SsmTest, VerdictsOfTheHooks) {
  // verdict -1: the hook gives none
  const struct { SSM_FailureType type; int verdict; int expected; } cases[] = {
      {SSM_Check, -1, 1}, {SSM_Error, -1, 0}, {SSM_FailureType(5), -1, 0}, {SSM_FailureType(-1), -1, 0},
      {SSM_Check, SSM::ActionReturnFailure, 0}, {SSM_Check, SSM::ActionThrow, 2}, {SSM_Check, SSM::ActionFatal, 3},
      {SSM_Error, SSM::ActionContinue, 0},  // cannot soften the default of an error
      {SSM_Error, SSM::ActionThrow, 2}, {SSM_Error, SSM::ActionFatal, 3},
      {SSM_InternalError, SSM::ActionReturnFailure, 2},  // throws; the hooks are not asked
  };
  int line = 100;
  for (const auto& c : cases) {
    SCOPED_TRACE(line);
    g_log.clear();
    g_onFailed = [v = c.verdict](Data&) {
      if (v >= 0) Escalate(SSM::Action(v));
    };
    EXPECT_EQ(Outcome(c.type, "v", line), c.expected);
    const std::string at = std::to_string(int(c.type)) + ":v(" + std::to_string(line++) + ")";
    Log expected{"h" + at, "l" + at};
    if (c.type != SSM_InternalError) expected.insert(expected.begin(), "f" + at);
    EXPECT_EQ(g_log, expected);
    EXPECT_EQ(manager.GetCurrent().GetAction() * 10 + manager.GetDepth(), 0) << "reset on the way out";
  }
  EXPECT_THROW(SSM_Throw(), Data*);  // SSM_Throw throws what is pending
  g_onFailed = [](Data&) { Escalate(SSM::ActionFatal); };
  EXPECT_EQ(Outcome(SSM_Check, "v", 1), 3);
  EXPECT_THROW(SSM_Throw(), FatalException);  // until the next failure
  g_onFailed = nullptr;
  EXPECT_EQ(Outcome(SSM_Error, "v", 1), 0);
  EXPECT_THROW(SSM_Throw(), Data*);
  EXPECT_THROW(SSM_CHECK(false, "a/b", 105), Data*);

  // A later hook cannot soften an earlier verdict; a verdict set between failures is dropped.
  SCC_EventHook<int> softener(+[](int, int*) { return Escalate(SSM::ActionContinue), 0; });
  manager.HookAssertFailed(nullptr), manager.HookAssertFailed(&softener);
  g_onFailed = [](Data&) { Escalate(SSM::ActionThrow); };
  EXPECT_EQ(Outcome(SSM_Check, "h", 1), 2);
  g_onFailed = nullptr;
  manager.GetCurrent().SetAction(SSM::ActionThrow);
  EXPECT_EQ(Outcome(SSM_Check, "h", 1), 1);

  softener.Remove();
  for (int code : {7, -3, 4}) {  // invalid codes: an internal error at the manager's own site
    g_onFailed = [code](Data& d) { d.action = static_cast<SSM::Action>(code); };
    EXPECT_EQ(Outcome(SSM_Check, "bad", 1), -2);
    EXPECT_EQ(manager.GetCurrent().GetLineNo() * 10 + manager.GetDepth(), 2460);
  }
  EXPECT_EQ(manager.GetCurrent().GetMsg() + std::to_string(manager.GetCurrent().GetCount()).c_str(),
            SYS_String("Assert handler encountered invalid action code.3"));
  g_onFailed = nullptr;  // the site is not stuck as "being handled"
  EXPECT_EQ(Outcome(SSM_Check, "bad", 1) * 10 + manager.FindSite("bad", 1)->count, 14);
}

TEST_F(SsmTest, FailuresInsideHooks) {
  int nested = -1;  // the same site failing inside its own hook is ignored, whatever its type
  g_onFailed = [&](Data&) { g_onFailed = nullptr, nested = SSM_AssertFailed("inner", "r", 1, SSM_InternalError, 0); };
  EXPECT_EQ(SSM_AssertFailed("outer", "r", 1, SSM_Error, 0), 0);
  EXPECT_EQ(nested * 10 + manager.FindSite("r", 1)->count, 11);
  EXPECT_EQ(manager.FindSite("r", 1)->message, SYS_String("outer"));

  g_log.clear();  // another site is handled in full, nested; the current entry is the last one
  int depthInside = 0;
  g_onFailed = [&](Data&) {
    g_onFailed = nullptr;
    EXPECT_EQ(SSM_AssertFailed("inner", "n", 2, SSM_Check, 0), 1);
    depthInside = manager.GetDepth();
  };
  EXPECT_EQ(SSM_AssertFailed("outer", "n", 1, SSM_Check, 0), 1);
  EXPECT_EQ(g_log, (Log{"f0:n(1)", "f0:n(2)", "h0:n(2)", "l0:n(2)", "h0:n(1)", "l0:n(1)"}));
  EXPECT_EQ(depthInside * 10 + manager.GetCurrent().GetLineNo(), 12);

  g_onFailed = [](Data&) { throw 42; };  // leaves the manager consistent
  EXPECT_THROW(SSM_AssertFailed("m", "x", 1, SSM_Check, 0), int);
  g_onFailed = [](Data&) { errno = ENOENT; };  // errno is kept
  errno = EACCES;
  EXPECT_EQ(Outcome(SSM_Check, "x", 1) * 10 + Outcome(SSM_Error, "x", 2) + manager.GetDepth(), 10);
  EXPECT_EQ(errno * 10 + manager.FindSite("x", 1)->count, EACCES * 10 + 2);
}

TEST_F(SsmTest, SilentModeAndDisabledSites) {
  g_onFailed = [](Data&) { Escalate(SSM::ActionFatal); };  // must not be asked
  SSM::SetSilentMode(1);
  ASSERT_EQ(SSM::GetSilentMode(), 1);
  for (int line : {0, 1}) EXPECT_EQ(Outcome(SSM_FailureType(line), "s", line), 1);
  EXPECT_EQ(Outcome(SSM_InternalError, "s", 2), 2) << "throws even in silent mode";
  EXPECT_EQ(g_log, (Log{"h0:s(0)", "l0:s(0)", "h1:s(1)", "l1:s(1)", "h2:s(2)", "l2:s(2)"}));
  SSM::SetSilentMode(0);
  manager.FindSite("s", 1)->enabled = 0;  // goes on; raises only the handled event
  manager.FindSite("s", 0)->logRequired = 0;
  g_onFailed = nullptr;
  g_log.clear();
  for (int line : {1, 0}) EXPECT_EQ(Outcome(SSM_FailureType(line), "s", line), 1);
  EXPECT_EQ(g_log, (Log{"h1:s(1)", "f0:s(0)", "h0:s(0)"}));
}

TEST_F(SsmTest, AssertObjReadsAndWritesTheEntry) {
  AssertObj none;  // without an entry: defaults, writes ignored
  none.Disable(1), none.SetMsg("x"), none.IncreaseCount(), none.SetAction(SSM::ActionThrow);
  EXPECT_EQ(none.IsDisabled() + none.GetCount() + none.GetLineNo() + none.GetID() + none.IsLogRequired() + none.GetAction(), 0);
  EXPECT_EQ(none.GetMessageEx() + none.GetMsg() + none.GetFileName() + none.GetLogMsg(), SYS_String());
  SSM_AssertFailed("boom", "a/b", 12, SSM_Check, 3);
  AssertObj obj = manager.GetCurrent();
  EXPECT_EQ(obj.GetMessageEx() + "|" + obj.GetFileName(), SYS_String("a/b(12):\r\nboom|a/b"));
  obj.SetMsg("bang"), obj.SetLogMsg("logged"), obj.IncreaseCount(), obj.Disable(5), obj.SetLogRequired(0);
  const Data* d = manager.FindSite("a/b", 12);
  EXPECT_EQ(d->message + d->logMessage + obj.GetLogMsg(), SYS_String("banglogged") + "logged");
  EXPECT_EQ(d->count * 1000 + d->enabled * 100 + obj.IsDisabled() * 10 + obj.GetID(), 2013);  // negated
  obj.Disable(0), obj.SetLogRequired(1);
  obj.SetAction(SSM::ActionThrow), obj.SetAction(SSM::ActionReturnFailure);  // lower: ignored
  EXPECT_EQ(obj.IsDisabled() * 100 + obj.IsLogRequired() * 10 + obj.GetAction(), 10 + SSM::ActionThrow);
  obj.ClearAction();
  EXPECT_EQ(obj.GetAction(), SSM::ActionContinue);
}

TEST(SysExceptionTest, Messages) {  // the id constructor ignores its arguments: intended
  EXPECT_EQ(SYS_Exception("within %c%lf,%lf%c", '[', 1.0, 2.5, ']').GetText(), SYS_String("within [1.000000,2.500000]"));
  EXPECT_EQ(SYS_Exception(45063, "x", 3).GetText() + SYS_Exception(static_cast<const char*>(nullptr)).GetText(), SYS_String());
}
