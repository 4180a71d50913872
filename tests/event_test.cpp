// event_test.cpp - the event chain: nodes removed, moved, disabled or destroyed during (nested) raises.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "sccevent.h"

namespace {

using Log = std::vector<int>;

// Records its id, then runs an optional action, so a hook can misbehave in mid-raise.
struct Probe : SCC_EventHook<int> {
  Probe(int id, Log* log, long priority = 0) : SCC_EventHook<int>(nullptr, nullptr, priority), id(id), log(log) {}
  int OnNotification(int, int*) override { return log->push_back(id), action ? action() : void(), 1; }
  std::function<void()> action;
  int id;
  Log* log;
};

// An event with probes 0..count-1 appended in order.
struct Chain {
  Log log;
  SCC_Event<int> event;
  std::vector<std::unique_ptr<Probe>> probes;
  explicit Chain(int count) {
    for (int i = 0; i < count; ++i) event.AddHead(probes.emplace_back(std::make_unique<Probe>(i, &log)).get());
  }
  Probe& operator[](int i) { return *probes[size_t(i)]; }
  Log Raise() {
    log.clear();
    EXPECT_EQ(event.Raise(1, nullptr), 0);
    return log;
  }
};

TEST(EventTest, ChangesDuringARaise) {
  const struct { int count, actor; std::function<void(Chain&)> act; Log first, second; } cases[] = {
      {4, 1, [](Chain& c) { c[1].Remove(); }, {0, 1, 2, 3}, {0, 2, 3}},
      {4, 1, [](Chain& c) { c[2].Remove(); }, {0, 1, 3}, {0, 1, 3}},
      {3, 2, [](Chain& c) { c[2].Remove(); }, {0, 1, 2}, {0, 1}},
      {3, 0, [](Chain& c) { c.event.RemoveAll(); }, {0}, {}},
      {3, 0, [](Chain& c) { c.event.Enable(0); }, {0}, {}},
      {3, 0, [](Chain& c) { c[1].Enable(0); }, {0, 2}, {0, 2}},
      {3, 1, [](Chain& c) { c.event.AddHead(&c[1]); }, {0, 1, 2, 1}, {0, 2, 1}},  // met again
      {3, 1, [](Chain& c) { c[2].HookEvent(&c.event); }, {0, 1}, {2, 0, 1}},  // moved ahead
  };
  for (const auto& k : cases) {
    Chain c(k.count);
    bool once = true;
    c[k.actor].action = [&] {
      if (once) once = false, k.act(c);
    };
    EXPECT_EQ(c.Raise(), k.first);
    EXPECT_EQ(c.Raise(), k.second);
  }
  Log log;
  SCC_Event<int> event;
  auto *a = new Probe(1, &log), *b = new Probe(2, &log), *c = new Probe(3, &log);
  Probe d(4, &log);
  for (Probe* p : {a, b, c, &d}) event.AddHead(p);
  b->action = [&] { delete a, delete c, delete b; };  // b last: the lambda lives in *b
  event.Raise(1, nullptr);
  EXPECT_EQ(log, (Log{1, 2, 4}));
  EXPECT_EQ(event.GetNext() == &d && d.GetNext() == &event && event.GetPrev() == &d, true);
}

TEST(EventTest, NestedRaises) {
  Chain c(5);
  int level = 0;  // the inner raise removes the outer's current node and one ahead of both
  c[1].action = [&] {
    if (level == 0) ++level, c.event.Raise(2, nullptr), --level;
  };
  c[2].action = [&] {
    if (level == 1) c[1].Remove(), c[3].Remove();
  };
  EXPECT_EQ(c.Raise(), (Log{0, 1, 0, 1, 2, 4, 2, 4}));
  EXPECT_EQ(c.Raise(), (Log{0, 2, 4}));

  // A throw through two raises unregisters both walks: later removals repair nothing stale.
  Chain t(4);
  t[1].action = [&] {
    if (level++ == 0) t.event.Raise(1, nullptr);
    throw std::runtime_error("inner");
  };
  EXPECT_THROW(t.event.Raise(1, nullptr), std::runtime_error);
  t[1].action = nullptr;
  t[0].action = [&] { t[1].Remove(); };
  EXPECT_EQ(t.Raise(), (Log{0, 2, 3}));
  t[0].Remove(), t[2].Remove();
  EXPECT_EQ(t.Raise(), Log{3});

  // A hook destroys the event in mid-raise, nested inside another raise of it.
  Log log;
  auto event = std::make_unique<SCC_Event<int>>();
  Probe a(1, &log), b(2, &log), e(3, &log);
  a.action = [&] {
    if (level++ == 2) event->Raise(1, nullptr);
  };
  b.action = [&] { event.reset(); };
  for (Probe* p : {&a, &b, &e}) event->AddHead(p);
  event->Raise(1, nullptr);
  EXPECT_EQ(log, (Log{1, 1, 2}));
  EXPECT_EQ(a.GetRoot() == nullptr && e.GetNext() == &e, true);
}

}  // namespace
