// multiplexer_test.cpp - SCC_EventMultiplexer and SCC_EventSource: raising on behalf of every
// source, the current source in nested raises, sources joining, leaving and dying mid-raise.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sccmultiplexer.h"

namespace {

using Log = std::vector<std::string>;

struct Named : SCC_EventSource {
  explicit Named(std::string n) : name(std::move(n)) {}
  std::string name;
};

// A listener of one source: logs "name:code@current" ("-" when there is no current source).
struct Listener : SCC_EventHook<int> {
  Listener(Named* source, Log* l, SCC_EventMultiplexer* m) : name(source->name), log(l), mux(m) {
    HookEvent(source);
  }
  int OnNotification(int code, int*) override {
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
  SCC_EventHook<int> plain(nullptr, &mux);  // a plain listener is no source
  EXPECT_EQ(mux.GetSourceCount(), 3);
  la.action = [&] {
    la.action = nullptr;
    mux.Notify(9, nullptr);  // nested: the current source comes back afterwards
    log.push_back("back@" + static_cast<Named*>(mux.GetCurrentSource())->name);
  };
  mux.Notify(4, nullptr);
  EXPECT_EQ(log, (Log{"c:4@c", "a:4@a", "c:9@c", "a:9@a", "b:9@b", "back@a", "b:4@b"}));
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
  EXPECT_EQ(a.GetMultiplexer(), &other);
  a.Leave();
  a.Leave();
  a.Join(nullptr);
  EXPECT_EQ(other.GetSourceCount(), 0);
  EXPECT_EQ(a.GetMultiplexer(), nullptr);
}

TEST(MultiplexerTest, SourcesJoinAndLeaveDuringARaise) {
  // Sources a, b, c joined in order; a's first listener acts once during the raise.
  const struct {
    const char* what;
    std::function<void(Named&, Named&, Named&, SCC_EventMultiplexer&)> act;  // a b d
    Log delivered;
    long countAfter;
  } cases[] = {
      {"a new source joins: reached in the same raise",
       [](Named&, Named&, Named& d, SCC_EventMultiplexer& m) { d.Join(&m); },
       {"a:1@a", "a2:1@a", "b:1@b", "c:1@c", "d:1@d"}, 4},
      {"b leaves before it is reached", [](Named&, Named& b, Named&, SCC_EventMultiplexer&) { b.Leave(); },
       {"a:1@a", "a2:1@a", "c:1@c"}, 2},
      {"a leaves: its second listener still hears it",
       [](Named& a, Named&, Named&, SCC_EventMultiplexer&) { a.Leave(); },
       {"a:1@a", "a2:1@a", "b:1@b", "c:1@c"}, 2},
      {"b leaves and rejoins: reached once, at the end",
       [](Named&, Named& b, Named&, SCC_EventMultiplexer& m) { b.Leave(), b.Join(&m); },
       {"a:1@a", "a2:1@a", "c:1@c", "b:1@b"}, 3},
      {"a rejoins: reached again at the end",
       [](Named& a, Named&, Named&, SCC_EventMultiplexer& m) { a.Join(&m); },
       {"a:1@a", "a2:1@a", "b:1@b", "c:1@c", "a:1@a", "a2:1@a"}, 3},
      {"the multiplexer is disabled: the raise stops after a",
       [](Named&, Named&, Named&, SCC_EventMultiplexer& m) { m.Enable(0); }, {"a:1@a", "a2:1@a"}, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    SCC_EventMultiplexer mux;
    Named a("a"), b("b"), cc("c"), d("d");
    Log log;
    Listener la2(&a, &log, &mux), lb(&b, &log, &mux), lc(&cc, &log, &mux), ld(&d, &log, &mux);
    Listener la(&a, &log, &mux);  // hooked last: called first
    la2.name = "a2";
    for (Named* s : {&a, &b, &cc}) s->Join(&mux);
    bool once = true;
    la.action = [&] {
      if (once) once = false, c.act(a, b, d, mux);
    };
    mux.Notify(1, nullptr);
    EXPECT_EQ(log, c.delivered);
    EXPECT_EQ(mux.GetSourceCount(), c.countAfter);
  }
}

TEST(MultiplexerTest, DyingSourcesAndMultiplexers) {
  const struct {
    const char* what;
    int victim;  // 0 the multiplexer, 1 a (the running source), 2 b (not yet reached)
    Log delivered;
  } cases[] = {
      {"the running source dies in its own listener", 1, {"a:3@a", "b:3@b"}},
      {"a source not yet reached dies", 2, {"a:3@a"}},
      {"the multiplexer dies during its raise", 0, {"a:3@a"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto mux = std::make_unique<SCC_EventMultiplexer>();
    auto a = std::make_unique<Named>("a");
    auto b = std::make_unique<Named>("b");
    Log log;
    Listener la(a.get(), &log, mux.get()), lb(b.get(), &log, mux.get());
    a->Join(mux.get());
    b->Join(mux.get());
    la.action = [&] {
      if (c.victim == 0) mux.reset();
      if (c.victim == 1) a.reset();
      if (c.victim == 2) b.reset();
    };
    SCC_EventMultiplexer* raw = mux.get();
    raw->Notify(3, nullptr);
    EXPECT_EQ(log, c.delivered);
    if (mux) {
      EXPECT_EQ(mux->GetSourceCount(), 1);
      EXPECT_EQ(mux->GetCurrentSource(), nullptr);
    } else {
      EXPECT_EQ(a->GetMultiplexer(), nullptr);
      SCC_EventMultiplexer spare;  // the listener asks a live multiplexer from now on
      lb.mux = &spare;
      b->Notify(5, nullptr);  // the sources live on
      EXPECT_EQ(log.back(), "b:5@-");
    }
  }
}

}  // namespace
