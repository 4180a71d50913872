// event_test.cpp - the event chain: calling order, enabling, re-entrant raises, transfer, lifetime.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "sccevent.h"

namespace {

using Log = std::vector<int>;
using Nodes = std::vector<const SCC_EventNode<int>*>;

// Records its id, then runs an optional action, so a hook can misbehave in mid-raise.
struct Probe : SCC_EventHook<int> {
  Probe(int id, Log* log, long priority = 0)
      : SCC_EventHook<int>(nullptr, nullptr, priority), id(id), log(log) {}
  int OnNotification(int, int*) override {
    log->push_back(id);
    if (action) action();
    return 1;
  }
  void OnEventEnable(int enable) override { enableCalls.push_back(enable); }
  std::function<void()> action;
  std::vector<int> enableCalls;
  int id;
  Log* log;
};

// The ring in calling order, every link checked both ways.
Nodes Ring(const SCC_Event<int>& event) {
  Nodes nodes;
  for (const SCC_EventNode<int>* n = &event; nodes.size() < 100;) {
    EXPECT_EQ(n->GetNext()->GetPrev(), n);
    if ((n = n->GetNext()) == &event) break;
    nodes.push_back(n);
  }
  return nodes;
}

void ExpectUnlinked(const SCC_EventNode<int>& node) {
  EXPECT_EQ(node.GetRoot(), nullptr);
  EXPECT_EQ(node.GetNext(), &node);
  EXPECT_EQ(node.GetPrev(), &node);
}

// An event with probes 0..count-1 appended in order.
struct Chain {
  Log log;
  SCC_Event<int> event;
  std::vector<std::unique_ptr<Probe>> probes;
  explicit Chain(int count) {
    for (int i = 0; i < count; ++i) {
      probes.push_back(std::make_unique<Probe>(i, &log));
      event.AddHead(probes.back().get());
    }
  }
  Probe& operator[](int i) { return *probes[size_t(i)]; }
  Log Raise() {
    log.clear();
    EXPECT_EQ(event.Raise(1, nullptr), 0);
    return log;
  }
};

TEST(EventTest, OrderByPriorityAndInsertion) {
  const struct {
    std::vector<long> priorities;  // hooked in this order, ids 0, 1, ...
    Log calls;
  } cases[] = {
      {{5, 1, 5}, {2, 0, 1}},  // equal priorities: last hooked first
      {{-1, 0, -5, 0}, {3, 1, 0, 2}},
      {{INT32_MIN, INT32_MAX, 0}, {1, 2, 0}},
  };
  for (const auto& c : cases) {
    Chain chain(0);
    for (size_t i = 0; i < c.priorities.size(); ++i) {
      chain.probes.push_back(std::make_unique<Probe>(int(i), &chain.log, c.priorities[i]));
      chain.probes.back()->HookEvent(&chain.event);
    }
    EXPECT_EQ(chain.Raise(), c.calls);
  }
  // Plain nodes rank as the largest 32-bit priority; a wider long keeps its low 32 bits.
  Log log;
  SCC_Event<int> event;
  SCC_EventNode<int> plain;
  event.AddHead(&plain);
  Probe top(1, &log, INT32_MAX), lower(2, &log, INT32_MAX - 1);
  lower.HookEvent(&event);
  top.HookEvent(&event);
  EXPECT_EQ(Ring(event), (Nodes{&top, &plain, &lower}));
  EXPECT_EQ(SCC_EventHook<int>(nullptr, nullptr, 0x100000005L).GetPriority(), 5);

  // AddHead appends whatever the priority, ignores null and the event, moves a node again.
  Chain c(3);
  c.event.AddHead(nullptr);
  c.event.AddHead(&c.event);
  c.event.AddHead(&c[0]);
  EXPECT_EQ(c.Raise(), (Log{1, 2, 0}));
}

TEST(EventTest, EnablingMembershipAndRemoval) {
  Chain c(3);
  SCC_Event<int> other;
  c[0].Enable(1);  // same raw value: no notification
  c[0].Enable(2);  // different raw value, although both mean enabled
  c[0].Enable(2);
  c[0].Enable(0);
  EXPECT_EQ(c[0].enableCalls, (std::vector<int>{2, 0}));
  EXPECT_EQ(c.Raise(), (Log{1, 2}));
  EXPECT_EQ(c.event.HasNode(&c[0]), 1);  // disabled nodes stay in the ring
  c.event.Enable(0);
  EXPECT_EQ(c.Raise(), Log{});
  c.event.Enable(1);
  EXPECT_EQ(c.event.HasNode(nullptr) + c.event.HasNode(&c.event) + other.HasNode(&c[1]), 0);

  c[1].Remove();
  ExpectUnlinked(c[1]);
  c[1].Remove();  // harmless
  c[2].HookEvent(&other);  // leaves the first event
  EXPECT_EQ(Ring(c.event), Nodes{&c[0]});
  EXPECT_EQ(c[2].GetRoot(), &other);
  c[2].HookEvent(nullptr);
  ExpectUnlinked(c[2]);
  EXPECT_EQ(other.IsEmpty(), 1);
}

int g_code = 0;
int Processor(int code, int*) { return g_code = code, 7; }

struct Listener {
  int Changed(int code, int* data) { return calls.push_back(code * 100 + *data), 0; }
  std::vector<int> calls;
};

TEST(EventTest, HooksCallTheirProcessorOrMember) {
  SCC_Notifier notifier;
  SCC_EventHook<int> hook(&Processor, &notifier, 3);
  notifier.Notify(8, nullptr);
  EXPECT_EQ(g_code, 8);
  EXPECT_EQ(hook.OnNotification(1, nullptr), 7);
  hook.SetProcessor(nullptr);  // answers 0 instead of jumping through null
  EXPECT_EQ(hook.OnNotification(9, nullptr), 0);
  EXPECT_EQ(notifier.HasListeners(), 1);  // by design, even for a lone disabled hook

  Listener first, second;
  SCC_ObjectEventHook<Listener, int> low(&first, &Listener::Changed, &notifier);
  SCC_ObjectEventHook<Listener, int> high(&second, &Listener::Changed, &notifier, 10);
  int value = 4;
  notifier.Notify(3, &value);
  EXPECT_EQ(first.calls, std::vector<int>{304});
  EXPECT_EQ(second.calls, std::vector<int>{304});
  EXPECT_EQ(notifier.GetNext(), &high);
}

TEST(EventTest, RemovalDuringARaise) {
  struct Case {
    const char* what;
    int count, actor;
    std::function<void(Chain&)> act;
    Log first, second;
  };
  const Case cases[] = {
      {"removes itself", 4, 1, [](Chain& c) { c[1].Remove(); }, {0, 1, 2, 3}, {0, 2, 3}},
      {"removes the next", 4, 1, [](Chain& c) { c[2].Remove(); }, {0, 1, 3}, {0, 1, 3}},
      {"the last removes itself", 3, 2, [](Chain& c) { c[2].Remove(); }, {0, 1, 2}, {0, 1}},
      {"empties the event", 3, 0, [](Chain& c) { c.event.RemoveAll(); }, {0}, {}},
      {"disables the event", 3, 0, [](Chain& c) { c.event.Enable(0); }, {0}, {}},
      {"disables the next", 3, 0, [](Chain& c) { c[1].Enable(0); }, {0, 2}, {0, 2}},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    Chain c(k.count);
    c[k.actor].action = [&] { k.act(c); };
    EXPECT_EQ(c.Raise(), k.first);
    EXPECT_EQ(c.Raise(), k.second);
  }

  Log log;
  SCC_Event<int> event;
  auto *a = new Probe(1, &log), *b = new Probe(2, &log), *c = new Probe(3, &log);
  Probe d(4, &log);
  for (Probe* p : {a, b, c, &d}) event.AddHead(p);
  b->action = [&] {
    delete a;
    delete c;
    delete b;  // last: the lambda lives in *b
  };
  event.Raise(1, nullptr);
  EXPECT_EQ(log, (Log{1, 2, 4}));
  EXPECT_EQ(Ring(event), Nodes{&d});
}

TEST(EventTest, InsertionDuringARaise) {
  Chain c(3);
  Probe late(10, &c.log), early(11, &c.log, INT32_MAX);
  bool once = true;
  c[1].action = [&] {
    if (!once) return;
    once = false;
    c.event.AddHead(&late);     // after the current position: called in this raise
    early.HookEvent(&c.event);  // ahead of it: not called now
  };
  EXPECT_EQ(c.Raise(), (Log{0, 1, 2, 10}));
  EXPECT_EQ(c.Raise(), (Log{11, 0, 1, 2, 10}));
  once = true;  // a hook that moves itself to the end is met again
  c[0].action = [&] {
    if (once) c.event.AddHead(&c[0]), once = false;
  };
  EXPECT_EQ(c.Raise(), (Log{11, 0, 1, 2, 10, 0}));
}

TEST(EventTest, NestedRaises) {
  {
    // The inner raise removes the outer's current node and one ahead of both.
    Chain c(5);
    int level = 0;
    c[1].action = [&] {
      if (level == 0) ++level, c.event.Raise(2, nullptr), --level;
    };
    c[2].action = [&] {
      if (level == 1) c[1].Remove(), c[3].Remove();
    };
    EXPECT_EQ(c.Raise(), (Log{0, 1, 0, 1, 2, 4, 2, 4}));
    EXPECT_EQ(c.Raise(), (Log{0, 2, 4}));
  }
  {
    // The inner raise disables the event: the outer one stops too.
    Chain c(4);
    int level = 0;
    c[1].action = [&] {
      if (level++ == 0) c.event.Raise(2, nullptr);
    };
    c[2].action = [&] {
      if (level > 1) c.event.Enable(0);
    };
    EXPECT_EQ(c.Raise(), (Log{0, 1, 0, 1, 2}));
  }
  {
    // A throw through two raises unregisters both iterators: later removals repair nothing stale.
    Chain c(4);
    int depth = 0;
    c[1].action = [&] {
      if (depth++ == 0) c.event.Raise(1, nullptr);
      throw std::runtime_error("inner");
    };
    EXPECT_THROW(c.event.Raise(1, nullptr), std::runtime_error);
    c[1].action = nullptr;
    c[0].action = [&] { c[1].Remove(); };
    EXPECT_EQ(c.Raise(), (Log{0, 2, 3}));
    c[0].Remove();
    c[2].Remove();
    EXPECT_EQ(c.Raise(), Log{3});
  }
  {
    // A hook destroys the event in mid-raise, nested inside another raise of it.
    Log log;
    auto event = std::make_unique<SCC_Event<int>>();
    Probe a(1, &log), b(2, &log), c(3, &log);
    int depth = 0;
    a.action = [&] {
      if (depth++ == 0) event->Raise(1, nullptr);
    };
    b.action = [&] { event.reset(); };
    for (Probe* p : {&a, &b, &c}) event->AddHead(p);
    event->Raise(1, nullptr);
    EXPECT_EQ(log, (Log{1, 1, 2}));
    for (Probe* p : {&a, &b, &c}) ExpectUnlinked(*p);
  }
}

TEST(EventTest, CopiesAndTransfers) {
  Log log;
  SCC_Event<int> event;
  Probe first(1, &log, 5), source(2, &log, 1);
  first.HookEvent(&event);
  source.HookEvent(&event);
  source.Enable(0);
  SCC_EventHook<int> copy(source);  // enabled, right before its source (intended)
  EXPECT_EQ(copy.IsEnabled() * 10 + copy.GetPriority(), 11);
  SCC_EventHook<int> assigned(nullptr, nullptr, 99);
  assigned = source;  // copies the flag, moves before the source without re-sorting
  EXPECT_EQ(assigned.IsEnabled() * 10 + assigned.GetPriority(), 1);
  EXPECT_EQ(Ring(event), (Nodes{&first, &copy, &assigned, &source}));

  // Assigning an event moves every node over, but not the flag; raises of the source in
  // progress go on over the moved nodes.
  SCC_Event<int> target;
  Probe old(3, &log);
  target.AddHead(&old);
  event.Enable(0);
  source.Enable(1);
  copy.Remove();
  assigned.Remove();
  first.action = [&] {
    if (old.GetRoot()) target = event;
  };
  source.action = [&] { source.Remove(); };
  event.Enable(1);
  event.Raise(1, nullptr);
  EXPECT_EQ(log, (Log{1, 2}));
  ExpectUnlinked(old);
  EXPECT_EQ(event.IsEmpty(), 1);
  EXPECT_EQ(Ring(target), Nodes{&first});
  SCC_Event<int> constructed(target);
  EXPECT_EQ(first.GetRoot(), &constructed);

  // Destroying an event unlinks its hooks, which can be hooked again.
  { SCC_Event<int> gone(constructed); }
  ExpectUnlinked(first);

  // An event added to another ends the outer walk; when it leaves, its nodes pass over.
  SCC_Event<int> outer, inner;
  Probe o1(1, &log), o2(2, &log), i1(3, &log);
  outer.AddHead(&o1);
  inner.AddHead(&i1);
  outer.AddHead(&inner);  // drops its own nodes rather than strand them
  ExpectUnlinked(i1);
  outer.AddHead(&o2);
  log.clear();
  outer.Raise(1, nullptr);
  inner.Raise(1, nullptr);
  EXPECT_EQ(log, (Log{1, 2}));
  inner.Remove();
  EXPECT_EQ(Ring(outer), (Nodes{&o1, &o2}));
}

}  // namespace
