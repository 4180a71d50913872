// evfilter_test.cpp - SCC_EventFilter and its shared settings: holding and merging, nested
// suspension, payload copies, re-entrant releases, the limit and misuse.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "failed_check.h"
#include "sccevfilter.h"
#include "ssm.h"

namespace {

using Log = std::vector<std::string>;
using Settings = SCC_SharedPointer<SCC_EventFilterSettings>;
using S = SCC_EventFilterSettings;

// Logs "code", or "code:value" for 1 to 3 whose payload starts with a long (the raiser's local).
struct Listener : SCC_EventHook<int> {
  explicit Listener(SCC_Notifier* event, bool values = true) : values(values) { HookEvent(event); }
  int OnNotification(int code, int* data) override {
    const bool value = values && data && code >= 1 && code <= 3;
    log.push_back(std::to_string(code) + (value ? ":" + std::to_string(*reinterpret_cast<long*>(data)) : ""));
    return action ? std::function<void()>(action)(), 0 : 0;  // a copy: the action may clear itself
  }
  bool values;
  Log log;
  std::function<void()> action;
};

void Send(SCC_Notifier& source, int code, long value) { source.Notify(code, &value); }

TEST(EventFilterTest, HoldsMergesAndReleasesInOrder) {
  const struct { S::MergeMode mode; long maxHeld; bool endWithClear; Log released; } cases[] = {
      {S::MergeNone, 100, false, {"1:4", "3:2", "1:4", "5", "3:2", "8", "8"}},
      {S::MergeNone, 7, false, {"1:4", "3:2", "1:4", "5", "3:2", "8", "8"}},
      {S::MergeRepeats, 100, false, {"1:4", "3:2", "5", "8"}},
      {S::MergeRepeats, 100, true, {"1:4", "3:2", "5", "8", "6"}},
      {S::MergeRepeats, 3, false, {"5"}},  // over the limit: collapses until released
      {S::MergeIntoReset, 100, false, {"5"}},
      {S::MergeIntoReset, 100, true, {"6"}},
  };
  int property = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.mode) + "/" + std::to_string(c.maxHeld));
    Settings settings(new SCC_EventFilterSettings);
    settings->SetMergeMode(c.mode), settings->SetMaxHeld(c.maxHeld);
    SCC_Notifier source;
    SCC_EventFilter filter(settings, &source);
    Listener out(filter.GetNotifier());
    Send(source, 1, 9);  // passes at once while resumed
    settings->Suspend();
    for (long v : {4, 2, 4}) Send(source, v == 4 ? 1 : 3, v);
    source.Notify(5, nullptr), Send(source, 3, 2);
    source.Notify(8, &property), source.Notify(8, &property);
    if (c.endWithClear) source.Notify(6, nullptr);
    EXPECT_EQ(out.log, Log{"1:9"});
    out.log.clear(), settings->Resume();
    EXPECT_EQ(out.log, c.released);
    settings->Suspend(), Send(source, 2, 6);  // holding starts afresh after a release
    EXPECT_EQ(filter.GetHeldCount() * 10 + filter.GetHeld(0)->code, c.mode == S::MergeIntoReset ? 15 : 12);
    EXPECT_EQ(filter.GetHeld(1) == nullptr && filter.GetHeld(-1) == nullptr, true);
  }
}

TEST(EventFilterTest, NestedSuspensionAndSharedSettings) {
  Settings settings(new SCC_EventFilterSettings);
  SCC_Notifier a, b;
  SCC_EventFilter fa(settings, &a), fb(settings, &b), loose(nullptr, &a);
  Listener la(fa.GetNotifier()), lb(fb.GetNotifier()), ll(loose.GetNotifier()), state(settings->GetStateEvent(), false);
  settings->Suspend(), settings->Suspend();
  Send(a, 1, 1), Send(b, 2, 2);
  settings->Resume();
  EXPECT_EQ(la.log.size() + lb.log.size(), 0u) << "one Resume per Suspend";
  settings->Resume();
  EXPECT_EQ(la.log.back() + lb.log.back() + ll.log.back(), "1:12:21:1") << "no settings: passes at once";

  // fb (hooked into the settings last, so released first) suspends again: fa holds on.
  settings->Suspend();
  Send(a, 1, 3), Send(b, 1, 4);
  lb.action = [&] { lb.action = nullptr, settings->Suspend(); };
  settings->Resume();
  EXPECT_EQ(lb.log.back() + la.log.back(), "1:41:1");
  fa.SetSettings(new SCC_EventFilterSettings);  // settings that are not suspended release
  EXPECT_EQ(la.log.back(), "1:3");
  EXPECT_EQ(state.log, (Log{"1", "2", "1", "2", "1"})) << "on the first Suspend and the last Resume";
}

TEST(EventFilterTest, ReentrantReleases) {
  using Act = std::function<void(SCC_Notifier&, SCC_EventFilter*&, Settings&, Listener&)>;
  const struct { const char* what; Act onFirst; Log delivered; long heldAfter; } cases[] = {
      {"raises the source: waits behind the held ones", [](SCC_Notifier& s, SCC_EventFilter*&, Settings&, Listener&) { Send(s, 3, 9); },
       {"1:1", "1:2", "1:3", "3:9"}, 0},
      {"suspends again", [](SCC_Notifier&, SCC_EventFilter*&, Settings& st, Listener&) { st->Suspend(); }, {"1:1"}, 2},
      {"discards", [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener&) { f->Discard(); }, {"1:1"}, 0},
      {"releases again: the running release goes on",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener&) { EXPECT_EQ(f->Release(), 0); },
       {"1:1", "1:2", "1:3"}, 0},
      {"destroys the filter: the release stops",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener& l) { l.Remove(), delete f, f = nullptr; },
       {"1:1"}, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Settings settings(new SCC_EventFilterSettings);
    SCC_Notifier source;
    auto* filter = new SCC_EventFilter(settings, &source);
    Listener out(filter->GetNotifier());
    settings->Suspend();
    for (long v = 1; v <= 3; ++v) Send(source, 1, v);
    out.action = [&] { out.action = nullptr, c.onFirst(source, filter, settings, out); };
    settings->Resume();
    EXPECT_EQ(out.log, c.delivered);
    if (filter) { EXPECT_EQ(filter->GetHeldCount(), c.heldAfter); }
    if (filter && settings->IsSuspended()) {
      settings->Resume();
      EXPECT_EQ(out.log, (Log{"1:1", "1:2", "1:3"}));
    }
    delete filter;
    Send(source, 1, 4);  // the source lives on without the filter
  }

  // A listener that throws leaves the rest held; the next notice releases them first.
  Settings settings(new SCC_EventFilterSettings);
  SCC_Notifier source;
  SCC_EventFilter filter(settings, &source);
  Listener out(filter.GetNotifier());
  settings->Suspend();
  Send(source, 1, 1), Send(source, 1, 2);
  out.action = [&] { out.action = nullptr, throw 42; };
  EXPECT_THROW(settings->Resume(), int);
  EXPECT_EQ(filter.GetHeldCount(), 1);
  Send(source, 1, 3);  // released behind the held one
  EXPECT_EQ(out.log, (Log{"1:1", "1:2", "1:3"}));
}

TEST(EventFilterTest, SettingsCopiesAndMisuse) {
  S original;
  original.SetMergeMode(S::MergeRepeats), original.SetPayloadSize(9, 12), original.SetMaxHeld(1), original.Suspend();
  S copy(original);  // starts resumed, else the same, and separate
  EXPECT_EQ(copy.GetMergeMode() * 1000 + copy.GetPayloadSize(9) * 10 + copy.GetMaxHeld() + copy.IsSuspended() * 5, 1121);
  copy.SetPayloadSize(9, 0), copy.SetMaxHeld(4);
  S& same = original;
  original = same;
  EXPECT_EQ(original.GetPayloadSize(9) * 10 + original.GetPayloadSize(1), 120 + int(sizeof(long)));
  original = copy;  // keeps the suspension
  EXPECT_EQ(original.GetPayloadSize(9) * 10 + original.GetMaxHeld() + original.IsSuspended() * 100, 104);
  original.Resume();
  SSM ssm;
  const std::pair<std::function<void()>, int> misuse[] = {
      {[&] { original.Resume(); }, 120},
      {[&] { original.SetPayloadSize(1, SCC_SuspendedEvent::kMaxPayload + 1); }, 121},
      {[&] { original.SetPayloadSize(1, -1); }, 121},
      {[&] { original.SetPayloadSize(2, SCC_SuspendedEvent::kMaxPayload); }, 0},
      {[&] { original.SetMaxHeld(0); }, 122},
      {[&] { original.SetMaxHeld(1); }, 0},
  };
  for (const auto& [body, line] : misuse) EXPECT_EQ(FailedLine("system/scc/SCC_EventFilter", body), line);
  EXPECT_EQ(original.GetSuspendCount() * 10 + original.GetMaxHeld(), 1);
  EXPECT_EQ(original.GetPayloadSize(1) * 100 + original.GetPayloadSize(2), int(sizeof(long)) * 100 + 32);
}

}  // namespace
