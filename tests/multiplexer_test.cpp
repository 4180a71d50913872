// multiplexer_test.cpp - tests of SCC_EventMultiplexer and SCC_EventSource: delivery on
// behalf of every source, the current source in nested raises, sources joining, leaving and
// dying during raises, and the multiplexer dying during a raise.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sccmultiplexer.h"

namespace {

using Log = std::vector<std::string>;

// A listener of one source: logs "name:code@current" (the multiplexer's current source's
// name, or "-" when none), then runs its action.
struct Named : SCC_EventSource {
  explicit Named(std::string n) : name(std::move(n)) {}
  std::string name;
};

struct Listener : SCC_EventHook<int> {
  Listener(Named* source, Log* l, SCC_EventMultiplexer* m)
      : name(source->name), log(l), mux(m) {
    HookEvent(source);
  }
  int OnNotification(int code, int* data) override {
    const auto* current = static_cast<Named*>(mux->GetCurrentSource());
    log->push_back(name + ":" + std::to_string(code) + "@" + (current ? current->name : "-"));
    if (auto act = action) act();
    return 0;
  }
  std::string name;
  Log* log;
  SCC_EventMultiplexer* mux;
  std::function<void()> action;
};

TEST(MultiplexerTest, RaisesOnBehalfOfEverySourceInJoinOrder) {
  SCC_EventMultiplexer mux;
  Named a("a"), b("b"), c("c");
  Log log;
  Listener la(&a, &log, &mux), lb(&b, &log, &mux), lc(&c, &log, &mux);
  c.Join(&mux);
  a.Join(&mux);
  b.Join(&mux);
  EXPECT_EQ(mux.GetSourceCount(), 3);
  EXPECT_EQ(a.GetMultiplexer(), &mux);
  mux.Notify(4, nullptr);
  EXPECT_EQ(log, (Log{"c:4@c", "a:4@a", "b:4@b"}));
  log.clear();
  a.Notify(1, nullptr);  // a source's own raise is not the multiplexer's
  c.Join(&mux);          // rejoining moves it to the end
  b.EnableMembership(0);
  mux.Notify(2, nullptr);
  EXPECT_EQ(log, (Log{"a:1@-", "a:2@a", "c:2@c"}));
  EXPECT_EQ(mux.GetCurrentSource(), nullptr);

  SCC_EventMultiplexer other;
  a.Join(&other);
  EXPECT_EQ(mux.GetSourceCount() * 10 + other.GetSourceCount(), 21);
  a.Leave();
  a.Leave();
  EXPECT_EQ(other.GetSourceCount(), 0);
  EXPECT_EQ(a.GetMultiplexer(), nullptr);
}

TEST(MultiplexerTest, NestedRaisesRestoreTheCurrentSource) {
  SCC_EventMultiplexer mux;
  Named a("a"), b("b");
  Log log;
  Listener la(&a, &log, &mux), lb(&b, &log, &mux);
  a.Join(&mux);
  b.Join(&mux);
  la.action = [&] {
    la.action = [&] { log.push_back("after@" + static_cast<Named*>(mux.GetCurrentSource())->name); };
    mux.Notify(9, nullptr);
  };
  mux.Notify(1, nullptr);
  EXPECT_EQ(log, (Log{"a:1@a", "a:9@a", "after@a", "b:9@b", "b:1@b"}));
}

TEST(MultiplexerTest, SourcesJoinAndLeaveDuringARaise) {
  // Sources a, b, c joined in order; a's listener acts on the others during the raise.
  struct Case {
    const char* what;
    std::function<void(Named&, Named&, Named&, Named&, SCC_EventMultiplexer&)> act;  // a b c d
    Log delivered;
    long countAfter;
  };
  const Case cases[] = {
      {"a new source joins: reached in the same raise",
       [](Named&, Named&, Named&, Named& d, SCC_EventMultiplexer& m) { d.Join(&m); },
       {"a:1@a", "a2:1@a", "b:1@b", "c:1@c", "d:1@d"}, 4},
      {"b leaves before it is reached",
       [](Named&, Named& b, Named&, Named&, SCC_EventMultiplexer&) { b.Leave(); },
       {"a:1@a", "a2:1@a", "c:1@c"}, 2},
      {"a leaves while its listeners run: its second listener still hears it",
       [](Named& a, Named&, Named&, Named&, SCC_EventMultiplexer&) { a.Leave(); },
       {"a:1@a", "a2:1@a", "b:1@b", "c:1@c"}, 2},
      {"b leaves and rejoins: reached once, at the end",
       [](Named&, Named& b, Named&, Named&, SCC_EventMultiplexer& m) {
         b.Leave();
         b.Join(&m);
       },
       {"a:1@a", "a2:1@a", "c:1@c", "b:1@b"}, 3},
      {"a rejoins: it is reached again at the end",
       [](Named& a, Named&, Named&, Named&, SCC_EventMultiplexer& m) { a.Join(&m); },
       {"a:1@a", "a2:1@a", "b:1@b", "c:1@c", "a:1@a", "a2:1@a"}, 3},
      {"the multiplexer is disabled: the raise stops after a",
       [](Named&, Named&, Named&, Named&, SCC_EventMultiplexer& m) { m.Enable(0); },
       {"a:1@a", "a2:1@a"}, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SCC_EventMultiplexer mux;
    Named a("a"), b("b"), cc("c"), d("d");
    Log log;
    Listener la(&a, &log, &mux), lb(&b, &log, &mux), lc(&cc, &log, &mux), ld(&d, &log, &mux);
    Listener la2(&a, &log, &mux);  // hooked last: called first; renamed below
    la2.name = "a";
    la.name = "a2";
    a.Join(&mux);
    b.Join(&mux);
    cc.Join(&mux);
    bool once = true;
    la2.action = [&] {
      if (!once) return;
      once = false;
      c.act(a, b, cc, d, mux);
    };
    mux.Notify(1, nullptr);
    EXPECT_EQ(log, c.delivered);
    EXPECT_EQ(mux.GetSourceCount(), c.countAfter);
  }
}

TEST(MultiplexerTest, DyingSourcesAndMultiplexers) {
  struct Case {
    const char* what;
    int victim;  // 0 the multiplexer, 1 a (the running source), 2 b (not yet reached)
    Log delivered;
  };
  const Case cases[] = {
      {"the running source dies in its own listener", 1, {"a:3@a", "b:3@b"}},
      {"a source not yet reached dies", 2, {"a:3@a"}},
      {"the multiplexer dies during its raise", 0, {"a:3@a"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto mux = std::make_unique<SCC_EventMultiplexer>();
    auto a = std::make_unique<Named>("a");
    auto b = std::make_unique<Named>("b");
    Log log;
    auto la = std::make_unique<Listener>(a.get(), &log, mux.get());
    auto la2 = std::make_unique<Listener>(a.get(), &log, mux.get());
    la2->name = "late";
    la2->Enable(0);  // would log after the victim died
    Listener lb(b.get(), &log, mux.get());
    a->Join(mux.get());
    b->Join(mux.get());
    la->action = [&] {
      if (c.victim == 0) mux.reset();
      if (c.victim == 1) a.reset();
      if (c.victim == 2) b.reset();
    };
    SCC_EventMultiplexer* raw = mux.get();
    raw->Notify(3, nullptr);
    EXPECT_EQ(log, c.delivered);
    if (mux) {
      EXPECT_EQ(mux->GetSourceCount(), 1);
    }
    if (c.victim == 0) {
      EXPECT_EQ(a->GetMultiplexer(), nullptr);
      EXPECT_EQ(b->GetMultiplexer(), nullptr);
      SCC_EventMultiplexer spare;  // the listener asks a live multiplexer from now on
      lb.mux = &spare;
      b->Notify(5, nullptr);  // the sources live on
      EXPECT_EQ(log.back(), "b:5@-");
    }
  }
}

TEST(MultiplexerTest, OwnListenersHearEachRaiseOnce) {
  SCC_EventMultiplexer mux;
  Named a("a"), b("b");
  a.Join(&mux);
  int heard = 0;
  struct Counter : SCC_EventHook<int> {
    int* n;
    int OnNotification(int, int*) override {
      ++*n;
      return 0;
    }
  } counter;
  counter.n = &heard;
  counter.HookEvent(&mux);
  b.Join(&mux);
  mux.Notify(1, nullptr);
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(mux.GetSourceCount(), 2) << "plain listeners are not sources";
}

}  // namespace
