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
  Listener(Named* source, Log* l, SCC_EventMultiplexer* m) : name(source->name), log(l), mux(m) { HookEvent(source); }
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
  for (Named* s : {&c, &a, &b}) s->Join(&mux);
  SCC_EventHook<int> plain(nullptr, &mux);  // a plain listener is no source
  la.action = [&] {
    la.action = nullptr;
    mux.Notify(9, nullptr);  // nested: the current source comes back afterwards
    log.push_back("back@" + static_cast<Named*>(mux.GetCurrentSource())->name);
  };
  mux.Notify(4, nullptr);
  a.Notify(1, nullptr);  // a source's own raise is not the multiplexer's
  b.EnableMembership(0), c.Join(nullptr);
  mux.Notify(2, nullptr);
  EXPECT_EQ(log, (Log{"c:4@c", "a:4@a", "c:9@c", "a:9@a", "b:9@b", "back@a", "b:4@b", "a:1@-", "a:2@a"}));
  EXPECT_EQ(mux.GetSourceCount(), 2);
}

TEST(MultiplexerTest, SourcesJoinLeaveAndDieDuringARaise) {
  // Sources a, b, c have joined in order; a's first listener acts once. Ops: 'j' join,
  // 'l' leave, 'r' leave and rejoin, 'x' destroy, 'd' disable the multiplexer, 'm' destroy it.
  // who: 0 a (the running source), 1 b, 3 d (not joined)
  const struct { char op; int who; Log delivered; long countAfter; } cases[] = {
      {'j', 3, {"a:1@a", "a2:1@a", "b:1@b", "c:1@c", "d:1@d"}, 4},  // reached in the same raise
      {'l', 1, {"a:1@a", "a2:1@a", "c:1@c"}, 2},
      {'l', 0, {"a:1@a", "a2:1@a", "b:1@b", "c:1@c"}, 2},  // its second listener still hears it
      {'r', 1, {"a:1@a", "a2:1@a", "c:1@c", "b:1@b"}, 3},  // once, at the end
      {'j', 0, {"a:1@a", "a2:1@a", "b:1@b", "c:1@c", "a:1@a", "a2:1@a"}, 3},
      {'d', 0, {"a:1@a", "a2:1@a"}, 3},
      {'x', 0, {"a:1@a", "b:1@b", "c:1@c"}, 2},
      {'x', 1, {"a:1@a", "a2:1@a", "c:1@c"}, 2},
      {'m', 0, {"a:1@a"}, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(1, c.op) + std::to_string(c.who));
    auto mux = std::make_unique<SCC_EventMultiplexer>();
    std::unique_ptr<Named> s[4];
    for (int i = 0; i < 4; ++i) s[i] = std::make_unique<Named>(std::string(1, char('a' + i)));
    Log log;
    SCC_EventMultiplexer* raw = mux.get();
    Listener la2(s[0].get(), &log, raw), lb(s[1].get(), &log, raw), lc(s[2].get(), &log, raw), ld(s[3].get(), &log, raw);
    Listener la(s[0].get(), &log, raw);  // hooked last: called first
    la2.name = "a2";
    for (int i = 0; i < 3; ++i) s[i]->Join(raw);
    la.action = [&] {
      la.action = nullptr;
      Named* who = s[c.who].get();
      if (c.op == 'l' || c.op == 'r') who->Leave();
      if (c.op == 'j' || c.op == 'r') who->Join(raw);
      if (c.op == 'd') raw->Enable(0);
      if (c.op == 'x') s[c.who].reset();
      if (c.op == 'm') la2.Enable(0), mux.reset();  // la2 would ask the dead one
    };
    raw->Notify(1, nullptr);
    EXPECT_EQ(log, c.delivered);
    if (!mux) {
      EXPECT_EQ(s[1]->GetMultiplexer(), nullptr);  // the sources live on
      continue;
    }
    EXPECT_EQ(mux->GetSourceCount(), c.countAfter);
    EXPECT_EQ(mux->GetCurrentSource(), nullptr);
  }
}

}  // namespace
