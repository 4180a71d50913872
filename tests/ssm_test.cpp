// ssm_test.cpp - the assertion manager: registry, verdicts, re-entrancy, silent mode,
// hooks, managers' lifetimes, AssertObj and SYS_Exception.
#include "ssm.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace {

using Data = SSM::AssertData;

// What the hooks saw, as "event:type:file(line)".
std::vector<std::string> g_log;
// Run by the failed-event hook after logging, if set.
std::function<void(Data&)> g_onFailed;

std::string Site(const Data* d) {
  return std::string(d->fileName) + "(" + std::to_string(d->line) + ")";
}

int LogFailed(int type, int* data) {
  Data* d = reinterpret_cast<Data*>(data);
  g_log.push_back("failed:" + std::to_string(type) + ":" + Site(d));
  if (g_onFailed) g_onFailed(*d);
  return 0;
}
int LogHandled(int type, int* data) {
  g_log.push_back("handled:" + std::to_string(type) + ":" + Site(reinterpret_cast<Data*>(data)));
  return 0;
}
int LogRequest(int type, int* data) {
  g_log.push_back("log:" + std::to_string(type) + ":" + Site(reinterpret_cast<Data*>(data)));
  return 0;
}

// Raises the verdict of the entry being handled, as a host's hook would.
void Escalate(SSM::Action action) {
  AssertObj& current = SSM::GetManager()->GetCurrent();
  current.SetAction(action);
}

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

  // The check macro's form, returning whether the caller went on.
  static bool Check(const char* message, const char* file, int line, SSM_FailureType type,
                    int id = 0) {
    if (!SSM_AssertFailed(message, file, line, type, id)) {
      SSM_Throw();
      return false;
    }
    return true;
  }

  SSM manager;
  SCC_EventHook<int> failed{&LogFailed};
  SCC_EventHook<int> handled{&LogHandled};
  SCC_EventHook<int> logRequest{&LogRequest};
};

using Log = std::vector<std::string>;

}  // namespace

TEST(SsmNoManagerTest, ChecksReturnZeroAndThrowNothing) {
  ASSERT_EQ(SSM::GetManager(), nullptr);
  errno = EMFILE;
  EXPECT_EQ(SSM_AssertFailed("m", "f", 1, SSM_Check, 0), 0);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_NO_THROW(SSM_Throw());
  EXPECT_NO_THROW(SSM_CHECK(false, "tests/ssm", 1));
  EXPECT_EQ(SSM::GetSilentMode(), 0);
  SSM::SetSilentMode(1);
  EXPECT_EQ(SSM::GetSilentMode(), 0);
}

TEST(SsmNoManagerTest, TwoManagers) {
  const long before = SSM::GetInstanceCount();
  auto* first = new SSM;
  EXPECT_EQ(SSM::GetManager(), first);
  auto* second = new SSM;
  EXPECT_EQ(SSM::GetManager(), second);
  EXPECT_EQ(SSM::GetInstanceCount(), before + 2);
  delete second;
  // The first is alive, yet there is no live manager any more: intended.
  EXPECT_EQ(SSM::GetManager(), nullptr);
  EXPECT_EQ(SSM::GetInstanceCount(), before + 1);
  EXPECT_EQ(SSM_AssertFailed("m", "f", 1, SSM_Error, 0), 0);
  EXPECT_EQ(first->GetRegistry().GetCount(), 0);
  EXPECT_EQ(first->AssertFailed("m", "f", 1, SSM_Check, 0), 1);  // still usable directly
  delete first;
  EXPECT_EQ(SSM::GetInstanceCount(), before);
}

TEST(SsmNoManagerTest, AssignmentSharesTheState) {
  SSM* a = new SSM;
  SSM* b = new SSM;
  *b = *a;
  a->AssertFailed("m", "shared", 3, SSM_Check, 0);
  EXPECT_EQ(b->FindSite("shared", 3)->count, 1);
  delete a;
  // b still owns the shared state.
  EXPECT_EQ(b->FindSite("shared", 3)->count, 1);
  b->AssertFailed("m", "shared", 3, SSM_Check, 0);
  EXPECT_EQ(b->FindSite("shared", 3)->count, 2);
  delete b;
}

TEST(SsmNoManagerTest, HookDestroyingItsManager) {
  static SSM* doomed;
  doomed = new SSM;
  SCC_EventHook<int> destroy(+[](int, int* data) {
    reinterpret_cast<Data*>(data)->action = SSM::ActionThrow;
    delete doomed;
    return 0;
  });
  doomed->HookAssertFailed(&destroy);
  // The handling finishes on the state it holds and throws nothing into freed memory.
  EXPECT_EQ(SSM_AssertFailed("m", "d", 1, SSM_Check, 0), 1);
  EXPECT_EQ(SSM::GetManager(), nullptr);
}

TEST_F(SsmTest, OneEntryPerSite) {
  EXPECT_TRUE(Check("first", "system/scc/SCC_Array", 530, SSM_Check, 4));
  EXPECT_TRUE(Check("second", "system/scc/SCC_Array", 530, SSM_Check, 9));
  EXPECT_TRUE(Check("other line", "system/scc/SCC_Array", 531, SSM_Check));
  const SSM::Registry& registry = manager.GetRegistry();
  EXPECT_EQ(registry.GetCount(), 2);
  const Data* d = registry.Find("system/scc/SCC_Array(530)");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d, manager.FindSite("system/scc/SCC_Array", 530));
  EXPECT_EQ(d->count, 2);
  EXPECT_EQ(d->message, SYS_String("second"));
  EXPECT_EQ(d->id, 4);  // from the failure that created it
  EXPECT_EQ(d->line, 530);
  EXPECT_EQ(manager.FindSite("system/scc/SCC_Array", 1), nullptr);
  // A negative line is keyed as the unsigned 32-bit value.
  Check("", "neg", -1, SSM_Check);
  EXPECT_NE(registry.Find("neg(4294967295)"), nullptr);
}

TEST_F(SsmTest, MissingMessages) {
  Check("", "f", 1, SSM_Check, 7);
  EXPECT_EQ(manager.FindSite("f", 1)->message,
            SYS_String("SSM: Assert ID #7, message not available"));
  Check(nullptr, "f", 2, SSM_Check, 0);
  EXPECT_EQ(manager.FindSite("f", 2)->message, SYS_String("Message not available"));
  // The manager's own handler records the message as given.
  manager.AssertFailed("", "f", 3, SSM_Check, 7);
  EXPECT_EQ(manager.FindSite("f", 3)->message, SYS_String());
  manager.AssertFailed("", nullptr, 4, SSM_Check, 0);
  EXPECT_NE(manager.FindSite("", 4), nullptr);
}

TEST_F(SsmTest, FailureTypesWithoutVerdicts) {
  EXPECT_EQ(SSM_AssertFailed("m", "t", 0, SSM_Check, 0), 1);
  EXPECT_EQ(g_log, (Log{"failed:0:t(0)", "handled:0:t(0)", "log:0:t(0)"}));

  g_log.clear();
  EXPECT_EQ(SSM_AssertFailed("m", "t", 1, SSM_Error, 0), 0);
  EXPECT_EQ(g_log, (Log{"failed:1:t(1)", "handled:1:t(1)", "log:1:t(1)"}));
  try {
    SSM_Throw();
    FAIL() << "SSM_Throw returned";
  } catch (Data* d) {
    EXPECT_EQ(d, manager.FindSite("t", 1));
  }

  // Any type other than 0 and 2 is an error.
  for (int type : {5, -1}) EXPECT_EQ(SSM_AssertFailed("m", "t", 5, SSM_FailureType(type), 0), 0);

  // Type 2 throws from inside, after the handled and log events, without asking
  // the failed-event hooks.
  g_log.clear();
  try {
    SSM_AssertFailed("m", "t", 2, SSM_InternalError, 0);
    FAIL() << "no throw";
  } catch (Data* d) {
    EXPECT_EQ(d, manager.FindSite("t", 2));
    EXPECT_EQ(d->action, SSM::ActionContinue);  // reset before the throw
  }
  EXPECT_EQ(g_log, (Log{"handled:2:t(2)", "log:2:t(2)"}));
  EXPECT_EQ(manager.GetDepth(), 0);

  EXPECT_THROW(SSM_CHECK(false, "system/scc/SCC_Array", 105), Data*);
  EXPECT_NO_THROW(SSM_CHECK(true, "system/scc/SCC_Array", 106));
}

TEST_F(SsmTest, HookVerdicts) {
  struct Case {
    SSM_FailureType type;
    SSM::Action verdict;
    int expected;  // 1 go on, 0 return failure, 2 AssertData*, 3 FatalException
  };
  const Case cases[] = {
      {SSM_Check, SSM::ActionContinue, 1}, {SSM_Check, SSM::ActionReturnFailure, 0},
      {SSM_Check, SSM::ActionThrow, 2},    {SSM_Check, SSM::ActionFatal, 3},
      {SSM_Error, SSM::ActionContinue, 0},  // cannot soften the default of an error
      {SSM_Error, SSM::ActionThrow, 2},    {SSM_Error, SSM::ActionFatal, 3},
  };
  int line = 100;
  for (const Case& c : cases) {
    SCOPED_TRACE(line);
    const SSM::Action verdict = c.verdict;
    g_onFailed = [verdict](Data&) { Escalate(verdict); };
    int got = -1;
    try {
      got = SSM_AssertFailed("m", "v", line, c.type, 0);
    } catch (Data* d) {
      EXPECT_EQ(d, manager.FindSite("v", line));
      got = 2;
    } catch (const FatalException& e) {
      EXPECT_EQ(e.GetData(), manager.FindSite("v", line));
      got = 3;
    }
    EXPECT_EQ(got, c.expected);
    EXPECT_EQ(manager.FindSite("v", line)->action, SSM::ActionContinue);
    ++line;
  }
  // A fatal verdict stays pending for SSM_Throw until the next failure.
  EXPECT_THROW(SSM_Throw(), FatalException);
  g_onFailed = nullptr;
  EXPECT_EQ(SSM_AssertFailed("m", "v", 1, SSM_Error, 0), 0);
  EXPECT_THROW(SSM_Throw(), Data*);
}

TEST_F(SsmTest, LaterHookCannotSoftenAnEarlierVerdict) {
  SCC_EventHook<int> second(+[](int, int*) {
    Escalate(SSM::ActionContinue);
    return 0;
  });
  manager.HookAssertFailed(&second);
  g_onFailed = [](Data&) { Escalate(SSM::ActionThrow); };
  EXPECT_THROW(SSM_AssertFailed("m", "h", 1, SSM_Check, 0), Data*);
}

TEST_F(SsmTest, InvalidActionCodesAreReportedAsInternalErrors) {
  for (int code : {7, -3, 4}) {
    SCOPED_TRACE(code);
    g_onFailed = [code](Data& d) { d.action = static_cast<SSM::Action>(code); };
    try {
      SSM_AssertFailed("m", "bad", 1, SSM_Check, 0);
      FAIL() << "no throw";
    } catch (Data* d) {
      EXPECT_EQ(d, manager.FindSite("system/ssm/ssm", 246));
      EXPECT_EQ(d->message, SYS_String("Assert handler encountered invalid action code."));
    }
    // The interrupted handling left nothing behind.
    EXPECT_EQ(manager.GetDepth(), 0);
    EXPECT_EQ(manager.FindSite("bad", 1)->action, SSM::ActionContinue);
  }
  EXPECT_EQ(manager.FindSite("system/ssm/ssm", 246)->count, 3);
  // The site is not stuck as "being handled": it is handled again normally.
  g_onFailed = nullptr;
  g_log.clear();
  EXPECT_EQ(SSM_AssertFailed("m", "bad", 1, SSM_Check, 0), 1);
  EXPECT_EQ(g_log.size(), 3u);
  EXPECT_EQ(manager.FindSite("bad", 1)->count, 4);
}

TEST_F(SsmTest, SameSiteFailingInsideItsHookIsIgnored) {
  int nested = -1;
  g_onFailed = [&](Data&) {
    g_onFailed = nullptr;
    nested = SSM_AssertFailed("inner", "r", 1, SSM_InternalError, 0);  // no throw either
  };
  EXPECT_EQ(SSM_AssertFailed("outer", "r", 1, SSM_Error, 0), 0);
  EXPECT_EQ(nested, 1);
  const Data* d = manager.FindSite("r", 1);
  EXPECT_EQ(d->count, 1);
  EXPECT_EQ(d->message, SYS_String("outer"));
  EXPECT_EQ(g_log, (Log{"failed:1:r(1)", "handled:1:r(1)", "log:1:r(1)"}));
}

TEST_F(SsmTest, OtherSiteFailingInsideAHookIsHandledInFull) {
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
  // The current entry is the one handled last: the inner one.
  EXPECT_EQ(manager.GetCurrent().GetLineNo(), 2);
}

TEST_F(SsmTest, ThrowingHookLeavesTheManagerConsistent) {
  g_onFailed = [](Data&) { throw 42; };
  EXPECT_THROW(SSM_AssertFailed("m", "x", 1, SSM_Check, 0), int);
  EXPECT_EQ(manager.GetDepth(), 0);
  g_onFailed = nullptr;
  EXPECT_EQ(SSM_AssertFailed("m", "x", 1, SSM_Check, 0), 1);
  EXPECT_EQ(manager.FindSite("x", 1)->count, 2);
}

TEST_F(SsmTest, SilentModeAndDisabledSites) {
  g_onFailed = [](Data&) { Escalate(SSM::ActionFatal); };  // must not be asked
  SSM::SetSilentMode(1);
  EXPECT_EQ(SSM::GetSilentMode(), 1);
  EXPECT_EQ(SSM_AssertFailed("m", "s", 0, SSM_Check, 0), 1);
  EXPECT_EQ(SSM_AssertFailed("m", "s", 1, SSM_Error, 0), 1);
  EXPECT_EQ(g_log, (Log{"handled:0:s(0)", "log:0:s(0)", "handled:1:s(1)", "log:1:s(1)"}));
  // Type 2 throws even in silent mode.
  EXPECT_THROW(SSM_AssertFailed("m", "s", 2, SSM_InternalError, 0), Data*);
  SSM::SetSilentMode(0);

  // A disabled site continues and raises only the handled event.
  manager.FindSite("s", 1)->enabled = 0;
  g_log.clear();
  EXPECT_EQ(SSM_AssertFailed("m", "s", 1, SSM_Error, 0), 1);
  EXPECT_EQ(g_log, (Log{"handled:1:s(1)"}));
  EXPECT_EQ(manager.FindSite("s", 1)->count, 2);

  // Without logRequired there is no log request.
  manager.FindSite("s", 0)->logRequired = 0;
  g_onFailed = nullptr;
  g_log.clear();
  SSM_AssertFailed("m", "s", 0, SSM_Check, 0);
  EXPECT_EQ(g_log, (Log{"failed:0:s(0)", "handled:0:s(0)"}));
}

TEST_F(SsmTest, ErrnoIsKept) {
  g_onFailed = [](Data&) { errno = ENOENT; };
  errno = EACCES;
  EXPECT_EQ(SSM_AssertFailed("m", "e", 1, SSM_Check, 0), 1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(SSM_AssertFailed("m", "e", 2, SSM_Error, 0), 0);
  EXPECT_EQ(errno, EACCES);
}

TEST_F(SsmTest, HooksAttachInOrderAndNullIsIgnored) {
  manager.HookAssertFailed(nullptr);
  SCC_EventHook<int> late(+[](int, int*) {
    g_log.push_back("late");
    return 0;
  });
  manager.HookAssertFailed(&late);
  SSM_AssertFailed("m", "o", 1, SSM_Check, 0);
  EXPECT_EQ(g_log, (Log{"failed:0:o(1)", "late", "handled:0:o(1)", "log:0:o(1)"}));
}

TEST_F(SsmTest, AssertObjAccessors) {
  AssertObj none;  // without an entry: defaults, writes ignored
  none.Disable(1);
  EXPECT_EQ(none.IsDisabled(), 0);
  EXPECT_EQ(none.GetMessageEx(), SYS_String());

  SSM_AssertFailed("boom", "a/b", 12, SSM_Check, 3);
  AssertObj obj = manager.GetCurrent();
  EXPECT_EQ(obj.GetMessageEx(), SYS_String("a/b(12):\r\nboom"));
  obj.Disable(5);  // stores the negation
  EXPECT_EQ(manager.FindSite("a/b", 12)->enabled, 0);
  obj.Disable(0);
  EXPECT_EQ(obj.IsDisabled(), 0);
  obj.SetAction(SSM::ActionThrow);
  obj.SetAction(SSM::ActionReturnFailure);  // lower: ignored
  EXPECT_EQ(obj.GetAction(), SSM::ActionThrow);
  obj.ClearAction();
  EXPECT_EQ(obj.GetAction(), SSM::ActionContinue);

  // Walking the registry with the map iterator's operations.
  SSM_AssertFailed("m", "a/c", 1, SSM_Check, 0);
  std::vector<int> lines;
  AssertObj walk;
  for (walk.GetFirst(const_cast<SSM::Registry*>(&manager.GetRegistry())); walk.IsValid(); ++walk)
    lines.push_back(walk.GetLineNo());
  EXPECT_EQ(lines, (std::vector<int>{12, 1}));
}

TEST(SysExceptionTest, Messages) {
  try {
    throw SYS_Exception("Please enter a value within the %c%lf,%lf%c range.", '[', 1.0, 2.5, ']');
  } catch (const SYS_Exception& e) {
    EXPECT_EQ(e.GetText(),
              SYS_String("Please enter a value within the [1.000000,2.500000] range."));
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): copying is tested
    SYS_Exception copy(e);
    EXPECT_EQ(copy.GetText(), e.GetText());
    SYS_Exception assigned(0);
    assigned = e;
    EXPECT_EQ(assigned.GetText(), e.GetText());
  }
  EXPECT_EQ(SYS_Exception(45).GetText(), SYS_String());  // the id is not used: intended
  EXPECT_EQ(SYS_Exception(45063, "x", 3).GetText(), SYS_String());
  EXPECT_EQ(SYS_Exception(static_cast<const char*>(nullptr)).GetText(), SYS_String());
}
