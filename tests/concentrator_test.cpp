// concentrator_test.cpp - SCC_EventConcentrator: types of nested relays, hooking again,
// releases during relays, dying sources and shared copies dropped in mid-relay.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "sccconcentrator.h"

namespace {

using Log = std::vector<std::string>;

// Logs "name:code/type" (the type only when given a concentrator), then runs its action.
struct Probe : SCC_EventHook<int> {
  Probe(std::string n, Log* l, const SCC_EventConcentrator* c = nullptr, long priority = 0)
      : SCC_EventHook<int>(nullptr, nullptr, priority), name(std::move(n)), log(l), conc(c) {}
  int OnNotification(int code, int*) override {
    log->push_back(name + ":" + std::to_string(code) + (conc ? "/" + std::to_string(conc->GetNotificationType()) : ""));
    return action ? action(), 0 : 0;
  }
  std::string name;
  Log* log;
  const SCC_EventConcentrator* conc;
  std::function<void()> action;
};

SCC_Notifier* Notifier(SCC_EventConcentrator& c) { return &static_cast<SCC_Notifier&>(c); }

int RingSize(const SCC_Event<int>& event) {
  int n = 0;
  for (SCC_EventNode<int>* node = event.GetNext(); !node->IsEvent(); node = node->GetNext()) ++n;
  return n;
}

TEST(ConcentratorTest, NestedRelaysAndHookingAgain) {
  SCC_EventConcentrator conc;
  EXPECT_EQ(conc.GetNotificationType() + conc.GetEventCount(), 0);
  SCC_Notifier a, b;
  Log log;
  Probe high("high", &log, nullptr, 100), low("low", &log, nullptr, -5);
  high.HookEvent(&a), conc.HookEvent(&a, 10);
  low.HookEvent(&a);  // by priority it lands after the concentrator's node
  conc.HookEvent(&b, 20), conc.HookEvent(nullptr, 30);
  conc.HookEvent(Notifier(conc), 40);  // ignored: it would relay for ever
  EXPECT_EQ(conc.GetEventCount(), 2);
  Probe first("first", &log, &conc), second("second", &log, &conc);
  first.HookEvent(Notifier(conc)), second.HookEvent(Notifier(conc));  // second: called first
  second.action = [&] { log.size() == 2 ? b.Notify(4, nullptr) : void(); };
  a.Notify(3, nullptr);
  EXPECT_EQ(log, (Log{"high:3", "second:3/10", "second:4/20", "first:4/20", "first:3/10", "low:3"}));
  EXPECT_EQ(conc.GetNotificationType(), 10) << "the type of the last relay stays";

  // Hooking again retypes the one node and moves it to the end of the source's ring.
  log.clear(), first.Remove();
  second.action = nullptr;
  conc.HookEvent(&a, 2);
  a.Notify(1, nullptr);
  EXPECT_EQ(log, (Log{"high:1", "low:1", "second:1/2"}));
  EXPECT_EQ(conc.GetEventCount() * 10 + RingSize(a), 23);
}

TEST(ConcentratorTest, ReleasingDuringRelays) {
  // a (type 1) relays; `first` raises b (type 2) from inside, then releases a source when the
  // log reaches `releaseAt`. `after` hooks a after the node: a's own raise goes on.
  // release: 1 a, 2 b
  const struct { size_t releaseAt; int release; Log expected; long typeAfter; } cases[] = {
      {1, 1, {"first:8/1", "after:8"}, 1},                 // a in its own relay
      {2, 1, {"first:8/1", "first:9/2", "after:8"}, 2},    // a from b's nested relay
      {2, 2, {"first:8/1", "first:9/2", "second:9/2", "second:8/1", "after:8"}, 1},  // b in its own
  };
  for (const auto& c : cases) {
    SCC_EventConcentrator conc;
    SCC_Notifier a, b;
    conc.HookEvent(&a, 1), conc.HookEvent(&b, 2);
    Log log;
    Probe second("second", &log, &conc), first("first", &log, &conc), after("after", &log);
    second.HookEvent(Notifier(conc)), first.HookEvent(Notifier(conc)), after.HookEvent(&a);
    first.action = [&] {
      if (log.size() == 1 && c.releaseAt > 1) b.Notify(9, nullptr);
      if (log.size() == c.releaseAt) conc.ReleaseEvent(c.release == 1 ? &a : &b);
    };
    a.Notify(8, nullptr);
    EXPECT_EQ(log, c.expected);
    EXPECT_EQ(conc.GetNotificationType(), c.typeAfter);
    EXPECT_EQ(conc.GetEventCount(), 1);
    EXPECT_TRUE(Notifier(conc)->IsEnabled()) << "enabled again when the relays are over";
    log.clear(), after.Remove();
    first.action = nullptr;
    (c.release == 1 ? b : a).Notify(3, nullptr);
    EXPECT_EQ(log.size(), 2u) << "the remaining source relays normally";
  }
}

TEST(ConcentratorTest, DyingSourcesDisablingAndThrowing) {
  SCC_EventConcentrator conc;
  auto a = std::make_unique<SCC_Notifier>(), b = std::make_unique<SCC_Notifier>();
  SCC_Notifier c;
  conc.HookEvent(a.get(), 1), conc.HookEvent(b.get(), 2), conc.HookEvent(&c, 3);
  a.reset();
  EXPECT_EQ(conc.GetEventCount(), 2);
  Log log;
  Probe late("late", &log, &conc), killer("killer", &log, &conc);
  late.HookEvent(Notifier(conc)), killer.HookEvent(Notifier(conc));
  killer.action = [&] { conc.GetNotificationType() == 2 ? b.reset() : void(); };  // in its own relay
  b->Notify(1, nullptr), c.Notify(2, nullptr);
  EXPECT_EQ(log, (Log{"killer:1/2", "killer:2/3", "late:2/3"}));

  log.clear(), late.Remove();
  Notifier(conc)->Enable(0);
  c.Notify(1, nullptr);
  EXPECT_TRUE(log.empty());
  EXPECT_TRUE(Notifier(conc)->IsEnabled()) << "by design the end of a relay enables it";
  SCC_Notifier d;
  conc.HookEvent(&d, 4);
  killer.action = [&] {
    if (conc.GetNotificationType() == 3) d.Notify(2, nullptr);
    else throw std::runtime_error("listener failed");
  };
  EXPECT_THROW(c.Notify(1, nullptr), std::runtime_error);
  killer.action = nullptr;
  log.clear(), d.Notify(3, nullptr);
  EXPECT_EQ(log, Log{"killer:3/4"}) << "the relay stack was unwound";
  c.RemoveAll();
  EXPECT_EQ(conc.GetEventCount(), 1);
}

TEST(ConcentratorTest, CopiesShareOneImplementation) {
  SCC_Notifier source, other;
  SCC_EventConcentrator unused, unusedCopy(unused);
  unusedCopy.HookEvent(&other, 1);
  EXPECT_EQ(unused.GetEventCount(), 0) << "nothing to share before first use";
  auto original = std::make_unique<SCC_EventConcentrator>();
  original->HookEvent(&source, 5);
  auto copy = std::make_unique<SCC_EventConcentrator>(*original);
  SCC_EventConcentrator assigned;
  assigned = unusedCopy, assigned = *copy;
  EXPECT_EQ(RingSize(other), 1) << "unusedCopy still holds it";
  unusedCopy = unused;
  EXPECT_EQ(RingSize(other), 0);

  Log log;
  Probe listener("listener", &log, &assigned);
  listener.HookEvent(Notifier(*original));
  original.reset();
  assigned = assigned;
  source.Notify(1, nullptr);
  EXPECT_EQ(log, Log{"listener:1/5"});
  EXPECT_EQ(copy->GetEventCount(), 1);
  copy.reset();
  assigned = unused;  // the last reference goes
  EXPECT_EQ(RingSize(source), 0);
  EXPECT_EQ(listener.GetRoot(), nullptr);

  // A listener may destroy the last concentrator during a relay, even twice nested.
  auto owned = std::make_unique<SCC_EventConcentrator>();
  SCC_Notifier inner;
  owned->HookEvent(&source, 1), owned->HookEvent(&inner, 2);
  Probe dropper("dropper", &log), late("late", &log), sourceAfter("source-after", &log, nullptr, -1);
  late.HookEvent(Notifier(*owned)), dropper.HookEvent(Notifier(*owned)), sourceAfter.HookEvent(&source);
  dropper.action = [&] { log.size() == 1 ? inner.Notify(2, nullptr) : owned.reset(); };
  log.clear(), source.Notify(1, nullptr);
  EXPECT_EQ(log, (Log{"dropper:1", "dropper:2", "late:2", "late:1", "source-after:1"}));
  EXPECT_EQ(RingSize(source) * 10 + RingSize(inner), 10) << "the implementation went after the relays";
}

}  // namespace
