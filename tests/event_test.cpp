// event_test.cpp - tests of the event chain: order, enabling, re-entrancy, transfer, lifetime.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "sccevent.h"

namespace {

using Log = std::vector<int>;

// A hook that records its id and then runs an optional action, so that tests can make a
// hook misbehave in the middle of a raise.
class Probe : public SCC_EventHook<int> {
 public:
  Probe(int id, Log* log, long priority = 0)
      : SCC_EventHook<int>(nullptr, nullptr, priority), id_(id), log_(log) {}
  int OnNotification(int code, int* data) override {
    log_->push_back(id_);
    if (action) action();
    return 1;
  }
  void OnEventEnable(int enable) override { enableCalls.push_back(enable); }

  std::function<void()> action;
  std::vector<int> enableCalls;
  int id_;
  Log* log_;
};

// An action that runs on the first call only (a hook must not destroy the action it runs).
std::function<void()> Once(std::function<void()> f) {
  return [f = std::move(f), done = false]() mutable {
    if (!done) {
      done = true;
      f();
    }
  };
}

Log RaiseLog(SCC_Event<int>& event, Log& log) {
  log.clear();
  EXPECT_EQ(event.Raise(1, nullptr), 0);
  return log;
}

// The ring as seen from the event, in calling order, with every link checked both ways.
std::vector<const SCC_EventNode<int>*> Ring(const SCC_Event<int>& event) {
  std::vector<const SCC_EventNode<int>*> nodes;
  const SCC_EventNode<int>* n = &event;
  do {
    EXPECT_EQ(n->GetNext()->GetPrev(), n);
    n = n->GetNext();
    if (n != &event) nodes.push_back(n);
  } while (n != &event && nodes.size() < 1000);
  return nodes;
}

void ExpectUnlinked(const SCC_EventNode<int>& node) {
  EXPECT_EQ(node.GetRoot(), nullptr);
  EXPECT_EQ(node.GetNext(), &node);
  EXPECT_EQ(node.GetPrev(), &node);
}

TEST(EventTest, EmptyOrDisabledEventCallsNothing) {
  Log log;
  SCC_Event<int> event;
  EXPECT_EQ(event.IsEmpty(), 1);
  EXPECT_EQ(event.Raise(1, nullptr), 0);

  Probe a(1, &log);
  a.HookEvent(&event);
  EXPECT_EQ(event.IsEmpty(), 0);
  event.Enable(0);
  EXPECT_EQ(RaiseLog(event, log), Log{});
  event.Enable(1);
  EXPECT_EQ(RaiseLog(event, log), Log{1});
}

TEST(EventTest, HooksAreCalledInDescendingPriorityLastHookedFirst) {
  struct Case {
    const char* name;
    std::vector<long> priorities;  // hooked in this order, ids 0, 1, ...
    Log calls;
  };
  const Case cases[] = {
      {"equal priorities", {5, 1, 5}, {2, 0, 1}},
      {"ascending", {1, 2, 3}, {2, 1, 0}},
      {"negative", {-1, 0, -5, 0}, {3, 1, 0, 2}},
      {"extremes", {INT32_MIN, INT32_MAX, 0}, {1, 2, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Log log;
    SCC_Event<int> event;
    std::vector<std::unique_ptr<Probe>> hooks;
    for (size_t i = 0; i < c.priorities.size(); ++i) {
      hooks.push_back(std::make_unique<Probe>(int(i), &log, c.priorities[i]));
      hooks.back()->HookEvent(&event);
      EXPECT_EQ(hooks.back()->GetRoot(), &event);
    }
    EXPECT_EQ(RaiseLog(event, log), c.calls);
  }
}

TEST(EventTest, PlainNodesCountAsTheLargest32BitPriority) {
  Log log;
  SCC_Event<int> event;
  SCC_EventNode<int> plain;
  EXPECT_EQ(plain.GetPriority(), 2147483647L);
  EXPECT_EQ(event.GetPriority(), 2147483647L);
  event.AddHead(&plain);
  Probe top(1, &log, INT32_MAX), lower(2, &log, INT32_MAX - 1);
  lower.HookEvent(&event);
  top.HookEvent(&event);
  EXPECT_EQ(Ring(event), (std::vector<const SCC_EventNode<int>*>{&top, &plain, &lower}));
  // A priority is kept as 32 bits: a wider long keeps its low 32 bits.
  SCC_EventHook<int> wide(nullptr, nullptr, 0x100000005L);
  EXPECT_EQ(wide.GetPriority(), 5);
}

TEST(EventTest, AddHeadAppendsInInsertionOrder) {
  Log log;
  SCC_Event<int> event;
  Probe a(1, &log, 100), b(2, &log, -100), c(3, &log);
  event.AddHead(&a);
  event.AddHead(&b);
  event.AddHead(nullptr);
  event.AddHead(&event);
  event.AddHead(&c);
  EXPECT_EQ(RaiseLog(event, log), (Log{1, 2, 3}));
  EXPECT_EQ(b.GetRoot(), &event);
  // Adding a node again moves it to the end.
  event.AddHead(&a);
  EXPECT_EQ(RaiseLog(event, log), (Log{2, 3, 1}));
}

TEST(EventTest, EnableComparesTheRawFlag) {
  Log log;
  SCC_Event<int> event;
  Probe a(1, &log), b(2, &log);
  event.AddHead(&a);
  event.AddHead(&b);

  a.Enable(1);  // same value: no notification
  EXPECT_TRUE(a.enableCalls.empty());
  a.Enable(2);  // different raw value, although both mean enabled
  EXPECT_EQ(a.IsEnabled(), 2);
  a.Enable(2);
  a.Enable(0);
  EXPECT_EQ(a.enableCalls, (std::vector<int>{2, 0}));
  EXPECT_EQ(RaiseLog(event, log), Log{2});
  EXPECT_EQ(event.HasNode(&a), 1);  // disabled nodes stay in the ring
  a.Enable(-1);
  EXPECT_EQ(RaiseLog(event, log), (Log{1, 2}));
}

TEST(EventTest, HasNodeAndRemoval) {
  Log log;
  SCC_Event<int> event, other;
  Probe a(1, &log), b(2, &log), c(3, &log);
  event.AddHead(&a);
  event.AddHead(&b);
  other.AddHead(&c);
  EXPECT_EQ(event.HasNode(&a), 1);
  EXPECT_EQ(event.HasNode(&c), 0);
  EXPECT_EQ(event.HasNode(nullptr), 0);
  EXPECT_EQ(event.HasNode(&event), 0);

  b.Remove();
  ExpectUnlinked(b);
  b.Remove();  // removing an unlinked node is harmless
  EXPECT_EQ(event.HasNode(&b), 0);

  // Hooking into another event leaves the first; a null event just unhooks.
  a.HookEvent(&other);
  EXPECT_EQ(event.IsEmpty(), 1);
  EXPECT_EQ(RaiseLog(other, log), (Log{1, 3}));
  a.HookEvent(nullptr);
  ExpectUnlinked(a);
  EXPECT_EQ(RaiseLog(other, log), Log{3});
}

int g_processorCode = 0;
int* g_processorData = nullptr;
int Processor(int code, int* data) {
  g_processorCode = code;
  g_processorData = data;
  return 7;
}

TEST(EventTest, HookCallsItsProcessor) {
  SCC_Notifier notifier;
  SCC_EventHook<int> hook(&Processor, &notifier, 3);
  int payload = 42;
  notifier.Notify(8, &payload);
  EXPECT_EQ(g_processorCode, 8);
  EXPECT_EQ(g_processorData, &payload);
  EXPECT_EQ(hook.OnNotification(1, nullptr), 7);

  // Without a processor the hook answers 0 instead of jumping through null.
  g_processorCode = 0;
  hook.SetProcessor(nullptr);
  EXPECT_EQ(hook.GetProcessor(), nullptr);
  notifier.Notify(9, nullptr);
  EXPECT_EQ(hook.OnNotification(9, nullptr), 0);
  EXPECT_EQ(g_processorCode, 0);
}

struct Listener {
  int Changed(int code, int* data) {
    calls.push_back(code * 100 + (data ? *data : 0));
    return 0;
  }
  std::vector<int> calls;
};

struct FileInfo {
  std::string name;
};

struct FileListener {
  int Seen(int code, FileInfo* info) {
    names += info->name;
    return code;
  }
  std::string names;
};

TEST(EventTest, ObjectHooksCallMemberFunctions) {
  SCC_Notifier notifier;
  Listener first, second;
  SCC_ObjectEventHook<Listener, int> low(&first, &Listener::Changed, &notifier);
  SCC_ObjectEventHook<Listener, int> high(&second, &Listener::Changed, &notifier, 10);
  EXPECT_EQ(low.GetObject(), &first);
  int value = 4;
  notifier.Notify(3, &value);
  EXPECT_EQ(first.calls, std::vector<int>{304});
  EXPECT_EQ(second.calls, std::vector<int>{304});
  EXPECT_EQ(notifier.GetNext(), &high);

  // The chain is a template over the payload.
  SCC_Event<FileInfo> fileEvent;
  FileListener files;
  SCC_ObjectEventHook<FileListener, FileInfo> hook(&files, &FileListener::Seen, &fileEvent);
  FileInfo a{"a"}, b{"b"};
  fileEvent.Raise(101, &a);
  fileEvent.Raise(102, &b);
  EXPECT_EQ(files.names, "ab");
  EXPECT_EQ(hook.OnNotification(5, &a), 5);
}

TEST(EventTest, NotifierQuirks) {
  SCC_Notifier notifier, withArgument(123);
  EXPECT_EQ(notifier.HasListeners(), 1);  // by design, even without hooks
  EXPECT_EQ(notifier.IsEmpty(), 1);
  EXPECT_EQ(withArgument.IsEmpty(), 1);
  EXPECT_EQ(notifier.GetNotifier(), &notifier);
  EXPECT_EQ(SCC_Notifier::GetMassNotificationTreshold(), 10);
  EXPECT_EQ(notifier.IsEvent(), 1);
  EXPECT_EQ(notifier.OnNotification(1, nullptr), 0);
}

// --- re-entrancy -----------------------------------------------------------------

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
  Probe& operator[](int i) { return *probes[i]; }
  Log Raise() { return RaiseLog(event, log); }
};

TEST(EventTest, HookRemovingItselfOrTheNextNode) {
  {
    Chain c(4);
    c[1].action = [&] { c[1].Remove(); };
    EXPECT_EQ(c.Raise(), (Log{0, 1, 2, 3}));
    EXPECT_EQ(c.Raise(), (Log{0, 2, 3}));
  }
  {
    Chain c(4);
    c[1].action = [&] { c[2].Remove(); };
    EXPECT_EQ(c.Raise(), (Log{0, 1, 3}));
  }
  {
    // The last node removes itself: the walk ends cleanly at the event.
    Chain c(3);
    c[2].action = [&] { c[2].Remove(); };
    EXPECT_EQ(c.Raise(), (Log{0, 1, 2}));
    EXPECT_EQ(c.Raise(), (Log{0, 1}));
  }
  {
    // A hook that empties the whole event.
    Chain c(3);
    c[0].action = [&] { c.event.RemoveAll(); };
    EXPECT_EQ(c.Raise(), Log{0});
    EXPECT_EQ(c.event.IsEmpty(), 1);
    for (auto& p : c.probes) ExpectUnlinked(*p);
  }
}

TEST(EventTest, HookDestroyingItselfAndItsNeighbours) {
  Log log;
  SCC_Event<int> event;
  auto* a = new Probe(1, &log);
  auto* b = new Probe(2, &log);
  auto* c = new Probe(3, &log);
  Probe d(4, &log);
  for (Probe* p : {a, b, c, &d}) event.AddHead(p);
  b->action = [&] {
    delete a;
    delete c;
    delete b;  // last statement: the lambda lives in *b
  };
  EXPECT_EQ(RaiseLog(event, log), (Log{1, 2, 4}));
  EXPECT_EQ(RaiseLog(event, log), Log{4});
}

TEST(EventTest, NodesInsertedDuringARaise) {
  Chain c(3);
  Log& log = c.log;
  Probe late(10, &log), early(11, &log, INT32_MAX), middle(12, &log, -1);
  c[1].action = Once([&] {
    c.event.AddHead(&late);     // after the current position: called in this raise
    early.HookEvent(&c.event);  // ahead of the current position: not called now
  });
  EXPECT_EQ(c.Raise(), (Log{0, 1, 2, 10}));
  EXPECT_EQ(c.Raise(), (Log{11, 0, 1, 2, 10}));

  // A hook that moves itself to the end is met again in the same raise.
  c[0].action = Once([&] { c.event.AddHead(&c[0]); });
  EXPECT_EQ(c.Raise(), (Log{11, 0, 1, 2, 10, 0}));
  middle.HookEvent(&c.event);
  EXPECT_EQ(c.Raise(), (Log{11, 1, 2, 10, 0, 12}));
}

TEST(EventTest, DisablingTheEventStopsEveryRaiseOfIt) {
  {
    Chain c(4);
    c[1].action = [&] { c.event.Enable(0); };
    EXPECT_EQ(c.Raise(), (Log{0, 1}));
    EXPECT_EQ(c.Raise(), Log{});
    c.event.Enable(1);
    c[1].action = nullptr;
    EXPECT_EQ(c.Raise(), (Log{0, 1, 2, 3}));
  }
  {
    // The inner raise of the same event disables it: the outer raise stops too.
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
    // Disabling another node during a raise skips it; the event's own flag alone stops.
    Chain c(3);
    c[0].action = [&] { c[1].Enable(0); };
    EXPECT_EQ(c.Raise(), (Log{0, 2}));
  }
}

TEST(EventTest, NestedRaisesStayConsistentUnderRemoval) {
  // Outer raise at node 1 raises again; the inner raise removes node 1 (the outer current)
  // and node 3 (ahead of both). The outer raise must go on with node 2 and skip node 3.
  Chain c(5);
  int level = 0;
  c[1].action = [&] {
    if (level == 0) {
      ++level;
      c.event.Raise(2, nullptr);
      --level;
    }
  };
  c[2].action = [&] {
    if (level == 1) {
      c[1].Remove();
      c[3].Remove();
    }
  };
  EXPECT_EQ(c.Raise(), (Log{0, 1, 0, 1, 2, 4, 2, 4}));
  EXPECT_EQ(c.Raise(), (Log{0, 2, 4}));
}

TEST(EventTest, ThrowingHookLeavesTheEventUsable) {
  Chain c(4);
  c[1].action = [&] { throw std::runtime_error("hook failed"); };
  EXPECT_THROW(c.event.Raise(1, nullptr), std::runtime_error);
  EXPECT_EQ(c.log, (Log{0, 1}));

  // Thrown from an inner raise through the outer one: both iterators unregister.
  int depth = 0;
  c[1].action = [&] {
    if (depth++ == 0) c.event.Raise(1, nullptr);
    throw std::runtime_error("inner");
  };
  EXPECT_THROW(c.event.Raise(1, nullptr), std::runtime_error);

  // A stale iterator would now be "repaired" by these removals and the raise go wrong.
  c[1].action = nullptr;
  c[0].action = [&] { c[1].Remove(); };
  EXPECT_EQ(c.Raise(), (Log{0, 2, 3}));
  c[0].Remove();
  c[2].Remove();
  EXPECT_EQ(c.Raise(), Log{3});
}

TEST(EventTest, HookDestroyingItsEventDuringARaise) {
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

// --- copies and transfers ----------------------------------------------------------

TEST(EventTest, CopiedHooksSitBeforeTheirSource) {
  Log log;
  SCC_Event<int> event;
  Probe first(1, &log, 5), source(2, &log, 1);
  first.HookEvent(&event);
  source.HookEvent(&event);
  source.Enable(0);
  source.SetProcessor(&Processor);

  SCC_EventHook<int> copy(source);  // enabled although the source is not (intended)
  EXPECT_EQ(copy.IsEnabled(), 1);
  EXPECT_EQ(copy.GetRoot(), &event);
  EXPECT_EQ(copy.GetPriority(), 1);
  EXPECT_EQ(copy.GetProcessor(), &Processor);
  EXPECT_EQ(Ring(event), (std::vector<const SCC_EventNode<int>*>{&first, &copy, &source}));

  // Assignment copies the flag and moves before the source without re-sorting.
  SCC_Event<int> elsewhere;
  SCC_EventHook<int> assigned(nullptr, &elsewhere, 99);
  assigned = first;
  EXPECT_EQ(elsewhere.IsEmpty(), 1);
  EXPECT_EQ(assigned.GetPriority(), 5);
  EXPECT_EQ(Ring(event),
            (std::vector<const SCC_EventNode<int>*>{&assigned, &first, &copy, &source}));
  assigned = source;
  EXPECT_EQ(assigned.IsEnabled(), 0);
  EXPECT_EQ(assigned.GetPriority(), 1);
  EXPECT_EQ(Ring(event),
            (std::vector<const SCC_EventNode<int>*>{&first, &copy, &assigned, &source}));
  SCC_EventHook<int>& same = assigned;
  assigned = same;  // self-assignment changes nothing
  EXPECT_EQ(Ring(event).size(), 4u);

  // Copies of unhooked nodes form a ring of their own that no event walks.
  SCC_EventNode<int> lone;
  {
    SCC_EventNode<int> twin(lone);
    EXPECT_EQ(lone.GetNext(), &twin);
    EXPECT_EQ(twin.GetRoot(), nullptr);
  }
  ExpectUnlinked(lone);

  // A node copied from an event joins the end of that event's ring.
  SCC_EventNode<int> fromEvent(static_cast<const SCC_EventNode<int>&>(event));
  EXPECT_EQ(fromEvent.GetRoot(), &event);
  EXPECT_EQ(event.GetPrev(), &fromEvent);
}

TEST(EventTest, AssignmentTransfersEveryNode) {
  Log log;
  SCC_Event<int> a, b;
  Probe a1(1, &log), b1(2, &log), b2(3, &log, 7);
  a.AddHead(&a1);
  b.AddHead(&b1);
  b2.HookEvent(&b);
  b.Enable(0);

  a = b;
  EXPECT_EQ(b.IsEmpty(), 1);
  ExpectUnlinked(a1);
  ExpectUnlinked(b);
  EXPECT_EQ(a.IsEnabled(), 1);  // the flag is not part of the transfer
  EXPECT_EQ(Ring(a), (std::vector<const SCC_EventNode<int>*>{&b2, &b1}));
  EXPECT_EQ(b1.GetRoot(), &a);
  EXPECT_EQ(b2.GetRoot(), &a);
  EXPECT_EQ(RaiseLog(a, log), (Log{3, 2}));
  EXPECT_EQ(RaiseLog(b, log), Log{});

  // Removal now repairs raises of the new owner.
  b2.action = [&] { b2.Remove(); };
  EXPECT_EQ(RaiseLog(a, log), (Log{3, 2}));

  // Copy construction transfers too, for events and notifiers alike.
  SCC_Event<int> c(a);
  EXPECT_EQ(a.IsEmpty(), 1);
  EXPECT_EQ(b1.GetRoot(), &c);
  SCC_Notifier n1;
  SCC_EventHook<int> h(nullptr, &n1);
  SCC_Notifier n2(n1);
  EXPECT_EQ(n1.IsEmpty(), 1);
  EXPECT_EQ(h.GetRoot(), &n2);
  SCC_Notifier n3;
  n3 = n2;
  EXPECT_EQ(h.GetRoot(), &n3);
  SCC_Notifier& same = n3;
  n3 = same;
  EXPECT_EQ(h.GetRoot(), &n3);
}

TEST(EventTest, AssignmentDuringARaiseOfTheSource) {
  Log log;
  SCC_Event<int> a, b;
  Probe p1(1, &log), p2(2, &log), p3(3, &log);
  for (Probe* p : {&p1, &p2, &p3}) b.AddHead(p);
  p1.action = Once([&] { a = b; });
  // The running raise of b goes on over the moved nodes; removing its current node
  // afterwards must still be repaired.
  p2.action = [&] { p2.Remove(); };
  b.Raise(1, nullptr);
  EXPECT_EQ(log, (Log{1, 2, 3}));
  EXPECT_EQ(RaiseLog(a, log), (Log{1, 3}));
  EXPECT_EQ(b.IsEmpty(), 1);
}

TEST(EventTest, DestroyingEventsAndHooksInEitherOrder) {
  Log log;
  Probe a(1, &log), b(2, &log);
  {
    SCC_Notifier notifier;
    a.HookEvent(&notifier);
    b.HookEvent(&notifier);
    {
      Probe c(3, &log);
      c.HookEvent(&notifier);
    }
    EXPECT_EQ(Ring(notifier).size(), 2u);
  }
  ExpectUnlinked(a);
  ExpectUnlinked(b);
  SCC_Event<int> next;
  a.HookEvent(&next);  // unlinked hooks can be hooked again
  EXPECT_EQ(RaiseLog(next, log), Log{1});
}

TEST(EventTest, AnEventAddedToAnotherEndsItsWalk) {
  Log log;
  SCC_Event<int> outer, inner;
  Probe o1(1, &log), o2(2, &log), i1(3, &log);
  outer.AddHead(&o1);
  inner.AddHead(&i1);
  outer.AddHead(&inner);  // the inner event drops its own nodes rather than strand them
  ExpectUnlinked(i1);
  outer.AddHead(&o2);
  EXPECT_EQ(inner.GetRoot(), &outer);
  // Raising the outer event stops at the inner one; the inner one walks what follows it.
  EXPECT_EQ(RaiseLog(outer, log), Log{1});
  EXPECT_EQ(RaiseLog(inner, log), Log{2});
  // When the inner event leaves, its nodes pass to the outer one.
  inner.Remove();
  EXPECT_EQ(o2.GetRoot(), &outer);
  EXPECT_EQ(RaiseLog(outer, log), (Log{1, 2}));
}

// --- randomized re-entrancy against a reference model -----------------------------

// What a called node does, drawn from a seeded generator so that the library and the model
// below make the same choices as long as they make the same calls.
struct Step {
  enum Kind { kNothing, kRemove, kRemoveSelf, kHook, kAppend, kToggle, kDisableEvent, kRaise };
  Kind kind;
  int target;

  static constexpr int kNodes = 12;
  static Step Draw(std::mt19937& rng) {
    static constexpr Kind kinds[16] = {
        kRemove, kRemove,       kRemoveSelf, kHook,  kAppend,
        kToggle, kDisableEvent, kRaise,      kRaise, kRaise};  // rest: nothing
    Step step{kinds[rng() % 16], int(rng() % kNodes)};
    if (step.kind == kDisableEvent && rng() % 4 != 0) step.kind = kNothing;
    return step;
  }
};

// The model keeps the calling order as a vector of ids and every running raise as an id
// cursor (-1 for the event), moved to the previous id when its node is removed.
class Model {
 public:
  explicit Model(uint32_t seed) : rng_(seed) {
    for (int& p : priority_) p = int(rng_() % 4);
    for (int i = 0; i < Step::kNodes; ++i) Insert(i, i % 2 == 0);
  }
  // Before each raise the driver takes a step of its own.
  Log Run(int raises) {
    for (int r = 0; r < raises; ++r, eventEnabled_ = true) {
      Act(-1, 3);
      Raise(0);
    }
    return trace_;
  }
  std::vector<int> order_;

 private:
  int Find(int id) const {
    for (size_t i = 0; i < order_.size(); ++i)
      if (order_[i] == id) return int(i);
    return -1;
  }
  void Remove(int id) {
    int at = Find(id);
    if (at < 0) return;
    for (int& cursor : cursors_)
      if (cursor == id) cursor = at == 0 ? -1 : order_[at - 1];
    order_.erase(order_.begin() + at);
  }
  void Insert(int id, bool byPriority) {
    Remove(id);
    size_t at = byPriority ? 0 : order_.size();
    while (at < order_.size() && priority_[order_[at]] > priority_[id]) ++at;
    order_.insert(order_.begin() + long(at), id);
  }
  void Raise(int depth) {
    if (!eventEnabled_ || order_.empty()) return;
    size_t mine = cursors_.size();
    cursors_.push_back(order_[0]);
    for (;;) {
      int id = cursors_[mine];
      if (enabled_[id]) {
        trace_.push_back(depth * 100 + id);
        Act(id, depth);
        if (!eventEnabled_) break;
        id = cursors_[mine];
      }
      size_t next = size_t(id < 0 ? 0 : Find(id) + 1);
      if (next >= order_.size()) break;
      cursors_[mine] = order_[next];
    }
    cursors_.pop_back();
  }
  void Act(int self, int depth) {
    Step step = Step::Draw(rng_);
    switch (step.kind) {
      case Step::kRemove:
        Remove(step.target);
        break;
      case Step::kRemoveSelf:
        if (self >= 0) Remove(self);
        break;
      case Step::kHook:
        Insert(step.target, true);
        break;
      case Step::kAppend:
        Insert(step.target, false);
        break;
      case Step::kToggle:
        enabled_[step.target] = !enabled_[step.target];
        break;
      case Step::kDisableEvent:
        eventEnabled_ = false;
        break;
      case Step::kRaise:
        if (depth < 3) Raise(depth + 1);
        break;
      case Step::kNothing:
        break;
    }
  }

  std::mt19937 rng_;
  std::vector<int> cursors_;
  int priority_[Step::kNodes];
  std::vector<bool> enabled_ = std::vector<bool>(Step::kNodes, true);
  bool eventEnabled_ = true;
  Log trace_;
};

// The same driver over the library: probes whose action is the drawn step.
class Real {
 public:
  explicit Real(uint32_t seed) : rng_(seed) {
    for (int i = 0; i < Step::kNodes; ++i) {
      nodes_.push_back(std::make_unique<Probe>(i, &unused_, long(rng_() % 4)));
      nodes_.back()->action = [this, i] { Act(i); };
      if (i % 2 == 0)
        nodes_.back()->HookEvent(&event_);
      else
        event_.AddHead(nodes_.back().get());
    }
  }
  Log Run(int raises) {
    for (int r = 0; r < raises; ++r, event_.Enable(1)) {
      depth_ = 3;
      Act(-1);
      depth_ = 0;
      event_.Raise(0, nullptr);
    }
    return trace_;
  }
  std::vector<int> Order() const {
    std::vector<int> ids;
    for (const SCC_EventNode<int>* n : Ring(event_))
      ids.push_back(static_cast<const Probe*>(n)->id_);
    return ids;
  }

 private:
  void Act(int self) {
    if (self >= 0) trace_.push_back(depth_ * 100 + self);
    Step step = Step::Draw(rng_);
    Probe& target = *nodes_[size_t(step.target)];
    switch (step.kind) {
      case Step::kRemove:
        target.Remove();
        break;
      case Step::kRemoveSelf:
        if (self >= 0) nodes_[size_t(self)]->Remove();
        break;
      case Step::kHook:
        target.HookEvent(&event_);
        break;
      case Step::kAppend:
        event_.AddHead(&target);
        break;
      case Step::kToggle:
        target.Enable(!target.IsEnabled());
        break;
      case Step::kDisableEvent:
        event_.Enable(0);
        break;
      case Step::kRaise:
        if (depth_ < 3) {
          ++depth_;
          event_.Raise(0, nullptr);
          --depth_;
        }
        break;
      case Step::kNothing:
        break;
    }
  }

  std::mt19937 rng_;
  SCC_Event<int> event_;
  std::vector<std::unique_ptr<Probe>> nodes_;
  Log unused_, trace_;
  int depth_ = 0;
};

TEST(EventTest, RandomReentrancyMatchesTheModel) {
  size_t calls = 0;
  for (uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    Model model(seed);
    Real real(seed);
    Log expected = model.Run(20);
    ASSERT_EQ(real.Run(20), expected);
    ASSERT_EQ(real.Order(), model.order_);
    calls += expected.size();
  }
  EXPECT_GT(calls, 3000u);  // the drawn steps really do raise, hook and nest
}

}  // namespace
