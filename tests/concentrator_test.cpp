// concentrator_test.cpp - tests of SCC_EventConcentrator: types of nested relays, hooking
// again, releasing during relays, dying sources, copies and re-entrancy.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "sccconcentrator.h"

namespace {

// A hook that logs (name, code, the concentrator's type) and then runs an action.
struct Probe : SCC_EventHook<int> {
  Probe(std::string name, std::vector<std::string>* log, const SCC_EventConcentrator* conc,
        long priority = 0)
      : SCC_EventHook<int>(nullptr, nullptr, priority),
        name(std::move(name)),
        log(log),
        conc(conc) {}
  int OnNotification(int code, int* data) override {
    std::string entry = name + ":" + std::to_string(code);
    if (conc) entry += "/" + std::to_string(conc->GetNotificationType());
    log->push_back(entry);
    if (action) action();
    return 0;
  }
  std::string name;
  std::vector<std::string>* log;
  const SCC_EventConcentrator* conc;
  std::function<void()> action;
};

using Log = std::vector<std::string>;

int RingSize(const SCC_Event<int>& event) {
  int n = 0;
  for (SCC_EventNode<int>* node = event.GetNext(); !node->IsEvent(); node = node->GetNext()) ++n;
  return n;
}

TEST(ConcentratorTest, UnusedConcentrator) {
  SCC_EventConcentrator conc;
  EXPECT_EQ(conc.GetNotificationType(), 0);
  EXPECT_EQ(conc.GetEventCount(), 0);
  SCC_Notifier source;
  conc.ReleaseEvent(&source);
  conc.HookEvent(nullptr, 3);
  EXPECT_EQ(conc.GetEventCount(), 0);

  SCC_EventConcentrator copy(conc);  // nothing to share yet
  copy.HookEvent(&source, 1);
  EXPECT_EQ(copy.GetEventCount(), 1);
  EXPECT_EQ(conc.GetEventCount(), 0);
}

TEST(ConcentratorTest, ReportsTheTypeOfNestedRelays) {
  SCC_EventConcentrator conc;
  SCC_Notifier a, b;
  conc.HookEvent(&a, 10);
  conc.HookEvent(&b, 20);
  EXPECT_EQ(conc.GetEventCount(), 2);
  Log log;
  Probe first("first", &log, &conc), second("second", &log, &conc);
  first.HookEvent(&static_cast<SCC_Notifier&>(conc));
  second.HookEvent(&static_cast<SCC_Notifier&>(conc));  // called before `first`

  int payload = 77;
  int* seen = nullptr;
  second.action = [&] {
    if (log.size() == 1) b.Notify(4, &payload);  // B relayed from inside A's relay
  };
  struct PayloadHook : SCC_EventHook<int> {
    int** out;
    int OnNotification(int, int* data) override {
      *out = data;
      return 0;
    }
  } payloadHook;
  payloadHook.out = &seen;
  payloadHook.HookEvent(&static_cast<SCC_Notifier&>(conc));

  a.Notify(3, nullptr);
  EXPECT_EQ(log, (Log{"second:3/10", "second:4/20", "first:4/20", "first:3/10"}));
  EXPECT_EQ(seen, &payload) << "the payload travels unchanged";
  EXPECT_EQ(conc.GetNotificationType(), 10) << "the type of the last relay stays";

  log.clear();
  second.action = nullptr;
  seen = nullptr;
  b.Notify(6, &payload);
  EXPECT_EQ(log, (Log{"second:6/20", "first:6/20"}));
  EXPECT_EQ(seen, &payload);
}

TEST(ConcentratorTest, HookingAgainKeepsOneNodeAtTheEnd) {
  SCC_EventConcentrator conc;
  SCC_Notifier source;
  Log log;
  Probe high("high", &log, nullptr, 100);
  high.HookEvent(&source);
  conc.HookEvent(&source, 1);
  Probe low("low", &log, nullptr, -5);
  low.HookEvent(&source);  // by priority it lands after the concentrator's node
  Probe listener("conc", &log, &conc);
  listener.HookEvent(&static_cast<SCC_Notifier&>(conc));

  source.Notify(1, nullptr);
  EXPECT_EQ(log, (Log{"high:1", "conc:1/1", "low:1"}));

  conc.HookEvent(&source, 2);
  EXPECT_EQ(conc.GetEventCount(), 1);
  EXPECT_EQ(RingSize(source), 3);
  log.clear();
  source.Notify(1, nullptr);
  EXPECT_EQ(log, (Log{"high:1", "low:1", "conc:1/2"}));
}

TEST(ConcentratorTest, ReleasingTheSourceStopsItsRelay) {
  SCC_EventConcentrator conc;
  SCC_Notifier a, b;
  conc.HookEvent(&a, 1);
  conc.HookEvent(&b, 2);
  Log log;
  Probe late("late", &log, &conc), releaser("releaser", &log, &conc);
  late.HookEvent(&static_cast<SCC_Notifier&>(conc));
  releaser.HookEvent(&static_cast<SCC_Notifier&>(conc));  // runs first
  Probe afterConc("a-after", &log, nullptr, -1);
  afterConc.HookEvent(&a);
  releaser.action = [&] {
    if (conc.GetNotificationType() == 1) conc.ReleaseEvent(&a);
  };

  a.Notify(5, nullptr);
  EXPECT_EQ(log, (Log{"releaser:5/1", "a-after:5"})) << "the source's own raise goes on";
  EXPECT_EQ(conc.GetEventCount(), 1);
  EXPECT_EQ(RingSize(a), 1);

  log.clear();
  b.Notify(6, nullptr);
  EXPECT_EQ(log, (Log{"releaser:6/2", "late:6/2"})) << "enabled again";
  log.clear();
  a.Notify(7, nullptr);
  EXPECT_EQ(log, Log{"a-after:7"});
}

TEST(ConcentratorTest, ReleasingTheOuterSourceFromANestedRelay) {
  SCC_EventConcentrator conc;
  SCC_Notifier a, b;
  conc.HookEvent(&a, 1);
  conc.HookEvent(&b, 2);
  Log log;
  Probe second("second", &log, &conc), first("first", &log, &conc);
  second.HookEvent(&static_cast<SCC_Notifier&>(conc));
  first.HookEvent(&static_cast<SCC_Notifier&>(conc));  // runs first
  first.action = [&] {
    if (conc.GetNotificationType() == 1)
      b.Notify(9, nullptr);
    else if (conc.GetNotificationType() == 2)
      conc.ReleaseEvent(&a);
  };

  a.Notify(8, nullptr);
  // Releasing A stops B's relay nested in it and A's relay as well.
  EXPECT_EQ(log, (Log{"first:8/1", "first:9/2"}));
  EXPECT_EQ(conc.GetNotificationType(), 2) << "A's type is not restored after its release";
  EXPECT_TRUE(static_cast<SCC_Notifier&>(conc).IsEnabled());
  EXPECT_EQ(conc.GetEventCount(), 1);

  log.clear();
  first.action = nullptr;
  b.Notify(3, nullptr);
  EXPECT_EQ(log, (Log{"first:3/2", "second:3/2"}));
}

TEST(ConcentratorTest, ReleasingANestedSourceDuringItsRelay) {
  SCC_EventConcentrator conc;
  SCC_Notifier a, b;
  conc.HookEvent(&a, 1);
  conc.HookEvent(&b, 2);
  Log log;
  Probe second("second", &log, &conc), first("first", &log, &conc);
  second.HookEvent(&static_cast<SCC_Notifier&>(conc));
  first.HookEvent(&static_cast<SCC_Notifier&>(conc));
  first.action = [&] {
    if (log.size() == 1)
      b.Notify(9, nullptr);
    else if (log.size() == 2)
      conc.ReleaseEvent(&b);
  };
  a.Notify(8, nullptr);
  // Only the outermost relay is stopped at once; B's relay ends normally, and since B's
  // saved flag was cleared, nothing disables A's relay either.
  EXPECT_EQ(log, (Log{"first:8/1", "first:9/2", "second:9/2", "second:8/1"}));
  EXPECT_EQ(conc.GetEventCount(), 1);
}

TEST(ConcentratorTest, DyingSourcesAreReleased) {
  SCC_EventConcentrator conc;
  auto a = std::make_unique<SCC_Notifier>();
  auto b = std::make_unique<SCC_Notifier>();
  SCC_Notifier c;
  conc.HookEvent(a.get(), 1);
  conc.HookEvent(b.get(), 2);
  conc.HookEvent(&c, 3);
  a.reset();
  EXPECT_EQ(conc.GetEventCount(), 2);

  // A source destroyed by a listener of its own relay.
  Log log;
  Probe late("late", &log, &conc), killer("killer", &log, &conc);
  late.HookEvent(&static_cast<SCC_Notifier&>(conc));
  killer.HookEvent(&static_cast<SCC_Notifier&>(conc));
  killer.action = [&] {
    if (conc.GetNotificationType() == 2) b.reset();
  };
  b->Notify(1, nullptr);
  EXPECT_EQ(log, Log{"killer:1/2"});
  EXPECT_EQ(conc.GetEventCount(), 1);

  log.clear();
  c.Notify(2, nullptr);
  EXPECT_EQ(log, (Log{"killer:2/3", "late:2/3"}));

  // A source whose hooks are removed all at once releases too.
  c.RemoveAll();
  EXPECT_EQ(conc.GetEventCount(), 0);
}

TEST(ConcentratorTest, CopiesShareOneImplementation) {
  SCC_Notifier source;
  Log log;
  auto original = std::make_unique<SCC_EventConcentrator>();
  original->HookEvent(&source, 5);
  auto copy = std::make_unique<SCC_EventConcentrator>(*original);
  SCC_EventConcentrator assigned;
  SCC_Notifier other;
  assigned.HookEvent(&other, 9);  // its own implementation, dropped on assignment
  assigned = *copy;
  EXPECT_EQ(RingSize(other), 0) << "the dropped implementation unhooked its source";
  EXPECT_EQ(&static_cast<SCC_Notifier&>(*copy), &static_cast<SCC_Notifier&>(*original));

  Probe listener("listener", &log, &assigned);
  listener.HookEvent(&static_cast<SCC_Notifier&>(*original));
  source.Notify(1, nullptr);
  EXPECT_EQ(log, Log{"listener:1/5"});
  EXPECT_EQ(copy->GetEventCount(), 1);
  EXPECT_EQ(assigned.GetNotificationType(), 5);

  original.reset();
  assigned = assigned;
  source.Notify(2, nullptr);
  EXPECT_EQ(log.size(), 2u) << "the implementation outlives the original";
  copy.reset();
  EXPECT_EQ(RingSize(source), 1);
  EXPECT_EQ(assigned.GetEventCount(), 1);

  SCC_EventConcentrator unused;
  assigned = unused;  // the last reference goes
  EXPECT_EQ(RingSize(source), 0);
  EXPECT_EQ(listener.GetRoot(), nullptr);
  EXPECT_EQ(assigned.GetEventCount(), 0);
}

TEST(ConcentratorTest, ListenerMayDropTheLastConcentrator) {
  SCC_Notifier source;
  auto conc = std::make_unique<SCC_EventConcentrator>();
  conc->HookEvent(&source, 1);
  Log log;
  Probe dropper("dropper", &log, nullptr), late("late", &log, nullptr);
  late.HookEvent(&static_cast<SCC_Notifier&>(*conc));
  dropper.HookEvent(&static_cast<SCC_Notifier&>(*conc));
  dropper.action = [&] { conc.reset(); };
  Probe afterConc("source-after", &log, nullptr, -1);
  afterConc.HookEvent(&source);
  source.Notify(1, nullptr);
  EXPECT_EQ(log, (Log{"dropper:1", "late:1", "source-after:1"}));
  EXPECT_EQ(RingSize(source), 1) << "the implementation went after the relay";
  EXPECT_EQ(late.GetRoot(), nullptr);
}

TEST(ConcentratorTest, DisabledConcentrator) {
  SCC_EventConcentrator conc;
  SCC_Notifier source;
  conc.HookEvent(&source, 1);
  Log log;
  Probe listener("listener", &log, &conc);
  listener.HookEvent(&static_cast<SCC_Notifier&>(conc));
  static_cast<SCC_Notifier&>(conc).Enable(0);
  source.Notify(1, nullptr);
  EXPECT_TRUE(log.empty());
  // By design the end of a relay enables the concentrator again.
  EXPECT_TRUE(static_cast<SCC_Notifier&>(conc).IsEnabled());
  EXPECT_EQ(conc.GetNotificationType(), 1);
  source.Notify(2, nullptr);
  EXPECT_EQ(log, Log{"listener:2/1"});
}

TEST(ConcentratorTest, ThrowingListenerUnwindsTheRelay) {
  SCC_EventConcentrator conc;
  SCC_Notifier a, b;
  conc.HookEvent(&a, 1);
  conc.HookEvent(&b, 2);
  Log log;
  Probe thrower("thrower", &log, &conc);
  thrower.HookEvent(&static_cast<SCC_Notifier&>(conc));
  thrower.action = [&] {
    if (conc.GetNotificationType() == 1)
      b.Notify(2, nullptr);
    else
      throw std::runtime_error("listener failed");
  };
  EXPECT_THROW(a.Notify(1, nullptr), std::runtime_error);
  thrower.action = nullptr;
  log.clear();
  b.Notify(3, nullptr);
  EXPECT_EQ(log, Log{"thrower:3/2"});
}

// The release notifier is reachable from a subclass that makes its own implementation.
class ReleaseWatchingImpl : public SCC_EventConcentratorImpl {
 public:
  ReleaseWatchingImpl() : m_hook(this, &ReleaseWatchingImpl::OnRelease) {
    m_hook.HookEvent(&m_releaseNotifier);
  }
  int OnRelease(int code, int* data) {
    auto* node = reinterpret_cast<SCC_EventConcNode*>(data);
    released.push_back({code, node->GetType(), node->GetSource()});
    ReleaseEvent(node->GetSource());  // releasing again finds nothing
    return 0;
  }
  struct Entry {
    int code;
    long type;
    SCC_Notifier* source;
  };
  std::vector<Entry> released;

 private:
  SCC_ObjectEventHook<ReleaseWatchingImpl, int> m_hook;
};

class WatchingConcentrator : public SCC_EventConcentrator {
 public:
  ReleaseWatchingImpl* Impl() {
    CheckImpl();
    return static_cast<ReleaseWatchingImpl*>(PeekImpl());
  }

 protected:
  SCC_EventConcentratorImpl* GetImpl() const override { return new ReleaseWatchingImpl; }
};

TEST(ConcentratorTest, ReleaseNotifierTellsSubclasses) {
  WatchingConcentrator conc;
  SCC_Notifier a;
  auto b = std::make_unique<SCC_Notifier>();
  conc.HookEvent(&a, 4);
  conc.HookEvent(b.get(), 6);
  conc.ReleaseEvent(&a);
  SCC_Notifier* bAddress = b.get();
  b.reset();
  conc.ReleaseEvent(&a);  // already gone: no notification
  const auto& released = conc.Impl()->released;
  ASSERT_EQ(released.size(), 2u);
  EXPECT_EQ(released[0].code, 2);
  EXPECT_EQ(released[0].type, 4);
  EXPECT_EQ(released[0].source, &a);
  EXPECT_EQ(released[1].type, 6);
  EXPECT_EQ(released[1].source, bAddress);
  EXPECT_EQ(conc.GetEventCount(), 0);
}

// Random re-entrant traffic: listeners raise other sources, release, re-hook and destroy
// sources, and copy the concentrator, while a model tracks which sources are hooked.
TEST(ConcentratorTest, RandomReentrantTraffic) {
  std::mt19937 rng(12345);
  constexpr int kSources = 6;
  int nestedCalls = 0, releases = 0;
  for (int round = 0; round < 200; ++round) {
    SCC_EventConcentrator conc;
    std::vector<std::unique_ptr<SCC_Notifier>> sources(kSources);
    std::set<int> hooked;
    std::vector<std::unique_ptr<SCC_EventConcentrator>> copies;
    for (int i = 0; i < kSources; ++i) {
      sources[i] = std::make_unique<SCC_Notifier>();
      conc.HookEvent(sources[i].get(), 100 + i);
      hooked.insert(i);
    }
    int depth = 0;
    std::vector<long> typeStack;
    bool typeOk = true;
    struct Listener : SCC_EventHook<int> {
      std::function<void(int)> f;
      int OnNotification(int code, int*) override {
        f(code);
        return 0;
      }
    } listener;
    listener.f = [&](int code) {
      // Every listener call sees the type of the source being relayed.
      if (code >= 0 && conc.GetNotificationType() != 100 + code) typeOk = false;
      if (depth > 0) ++nestedCalls;
      if (depth > 4) return;
      ++depth;
      const int what = static_cast<int>(rng() % 6);
      const int i = static_cast<int>(rng() % kSources);
      switch (what) {
        case 0:
        case 1:
          if (sources[i]) sources[i]->Notify(hooked.count(i) ? i : -1, nullptr);
          break;
        case 2:
          releases += hooked.count(i) ? 1 : 0;
          conc.ReleaseEvent(sources[i].get());
          hooked.erase(i);
          break;
        case 3:
          if (sources[i]) {
            conc.HookEvent(sources[i].get(), 100 + i);
            hooked.insert(i);
          }
          break;
        case 4:
          sources[i].reset();
          hooked.erase(i);
          break;
        default:
          copies.push_back(std::make_unique<SCC_EventConcentrator>(conc));
          break;
      }
      --depth;
    };
    listener.HookEvent(&static_cast<SCC_Notifier&>(conc));
    for (int step = 0; step < 20; ++step) {
      const int i = static_cast<int>(rng() % kSources);
      if (sources[i]) sources[i]->Notify(hooked.count(i) ? i : -1, nullptr);
      ASSERT_EQ(conc.GetEventCount(), static_cast<int>(hooked.size()));
      ASSERT_TRUE(static_cast<SCC_Notifier&>(conc).IsEnabled());
    }
    ASSERT_TRUE(typeOk) << "a listener saw another source's type";
    for (auto& copy : copies) ASSERT_EQ(copy->GetEventCount(), conc.GetEventCount());
  }
  EXPECT_GT(nestedCalls, 500) << "the traffic should nest relays";
  EXPECT_GT(releases, 100);
}

}  // namespace
