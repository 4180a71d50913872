// evfilter_test.cpp - SCC_EventFilter and its shared settings: holding and merging, nested
// suspension, payload copies, re-entrant releases, the limit and misuse.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "sccarray.h"
#include "scccollection.h"
#include "sccevfilter.h"
#include "ssm.h"

namespace {

using Log = std::vector<std::string>;
using Settings = SCC_SharedPointer<SCC_EventFilterSettings>;

// Logs "code" or "code:value", value being the long the payload of 1, 2 and 3 starts with.
struct Listener : SCC_EventHook<int> {
  explicit Listener(SCC_Notifier* event) { HookEvent(event); }
  int OnNotification(int code, int* data) override {
    std::string entry = std::to_string(code);
    if (code >= 1 && code <= 3 && data) entry += ":" + std::to_string(*reinterpret_cast<long*>(data));
    log.push_back(entry);
    if (auto act = action) act();  // a copy: the action may clear itself
    return 0;
  }
  Log log;
  std::function<void()> action;
};

void Send(SCC_Notifier& source, int code, long value) { source.Notify(code, &value); }

TEST(EventFilterTest, HoldsMergesAndReleasesInOrder) {
  using S = SCC_EventFilterSettings;
  const struct {
    S::MergeMode mode;
    long maxHeld;
    bool endWithClear;
    Log released;
  } cases[] = {
      {S::MergeNone, 100, false, {"1:4", "3:2", "1:4", "5", "3:2", "8", "8"}},
      {S::MergeRepeats, 100, false, {"1:4", "3:2", "5", "8"}},
      {S::MergeRepeats, 100, true, {"1:4", "3:2", "5", "8", "6"}},
      {S::MergeIntoReset, 100, false, {"5"}},
      {S::MergeIntoReset, 100, true, {"6"}},
      {S::MergeRepeats, 3, false, {"5"}},  // over the limit: collapses until released
      {S::MergeNone, 7, false, {"1:4", "3:2", "1:4", "5", "3:2", "8", "8"}},
  };
  int property = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.mode) + "/" + std::to_string(c.maxHeld));
    Settings settings(new SCC_EventFilterSettings);
    settings->SetMergeMode(c.mode);
    settings->SetMaxHeld(c.maxHeld);
    SCC_Notifier source;
    SCC_EventFilter filter(settings, &source);
    Listener out(filter.GetNotifier());
    Send(source, 1, 9);  // passes at once while resumed
    settings->Suspend();
    for (long v : {4, 2, 4}) Send(source, v == 4 ? 1 : 3, v);
    source.Notify(5, nullptr);
    Send(source, 3, 2);
    source.Notify(8, &property);
    source.Notify(8, &property);
    if (c.endWithClear) source.Notify(6, nullptr);
    EXPECT_EQ(out.log, Log{"1:9"});
    settings->Resume();
    Log expected = c.released;
    expected.insert(expected.begin(), "1:9");
    EXPECT_EQ(out.log, expected);
    EXPECT_EQ(filter.GetHeldCount(), 0);
    settings->Suspend();  // holding starts afresh after a release
    Send(source, 2, 6);
    EXPECT_EQ(filter.GetHeldCount(), 1);
    ASSERT_NE(filter.GetHeld(0), nullptr);
    EXPECT_EQ(filter.GetHeld(0)->code, c.mode == S::MergeIntoReset ? 5 : 2);
    EXPECT_EQ(filter.GetHeld(1), nullptr);
    EXPECT_EQ(filter.GetHeld(-1), nullptr);
  }
}

TEST(EventFilterTest, NestedSuspensionAndSharedSettings) {
  Settings settings(new SCC_EventFilterSettings);
  SCC_Notifier a, b;
  SCC_EventFilter fa(settings, &a), fb(settings, &b);
  Listener la(fa.GetNotifier()), lb(fb.GetNotifier()), state(settings->GetStateEvent());
  settings->Suspend();
  settings->Suspend();
  Send(a, 1, 1);
  Send(b, 2, 2);
  settings->Resume();
  EXPECT_EQ(la.log.size() + lb.log.size(), 0u) << "one Resume per Suspend";
  settings->Resume();
  EXPECT_EQ(la.log, Log{"1:1"});
  EXPECT_EQ(lb.log, Log{"2:2"});
  ASSERT_EQ(state.log.size(), 2u);
  EXPECT_EQ(state.log[0].substr(0, 2) + state.log[1].substr(0, 2), "1:2:");

  // fb (hooked into the settings last, so released first) suspends again: fa holds on.
  settings->Suspend();
  Send(a, 1, 3);
  Send(b, 1, 4);
  lb.action = [&] {
    lb.action = nullptr;
    settings->Suspend();
  };
  settings->Resume();
  EXPECT_EQ(lb.log.back(), "1:4");
  EXPECT_EQ(fa.GetHeldCount(), 1);
  settings->Resume();
  EXPECT_EQ(la.log.back(), "1:3");

  // Without settings everything passes; new settings that are not suspended release.
  SCC_EventFilter loose(nullptr, &a);
  Listener ll(loose.GetNotifier());
  settings->Suspend();
  Send(a, 3, 5);
  EXPECT_EQ(ll.log, Log{"3:5"});
  fa.SetSettings(new SCC_EventFilterSettings);
  EXPECT_EQ(la.log.back(), "3:5");
  settings->Resume();
}

TEST(EventFilterTest, PayloadsOutliveTheRaiser) {
  Settings settings(new SCC_EventFilterSettings);
  SCC_Array<int> array;
  SCC_EventFilter filter(settings, array.GetNotifier());
  Listener out(filter.GetNotifier());
  std::vector<std::vector<long>> positions;  // the array's records are its locals
  struct Positions : SCC_EventHook<int> {
    std::vector<std::vector<long>>* seen;
    int OnNotification(int code, int* data) override {
      auto* p = reinterpret_cast<SCC_ArrayPositions*>(data);
      if (code == 7) seen->push_back({p->kind, p->first, p->count});
      return 0;
    }
  } hook;
  hook.seen = &positions;
  hook.HookEvent(filter.GetNotifier());
  settings->Suspend();
  array.InsertAt(0, 5, 2);
  array.Delete(1);
  settings->Resume();
  EXPECT_EQ(out.log, (Log{"7", "1:1", "1:2", "2:2", "7"}));
  EXPECT_EQ(positions, (std::vector<std::vector<long>>{{1, 0, 2}, {2, 1, 1}}));

  // A collection's item is bigger than a long: the settings copy all of it when told to.
  SCC_StdCollection c;
  SCC_EventFilter cf(settings, c.GetNotifier());
  EXPECT_EQ(settings->SetPayloadSize(1, sizeof(SCC_CollectionItem)), 1);
  struct Items : SCC_EventHook<int> {
    std::vector<std::pair<long, void*>> seen;
    int OnNotification(int code, int* data) override {
      auto* item = reinterpret_cast<SCC_CollectionItem*>(data);
      if (code == 1) seen.emplace_back(item->handle, item->object);
      return 0;
    }
  } items;
  items.HookEvent(cf.GetNotifier());
  int object = 0;
  settings->Suspend();
  c.Add(&object);
  settings->Resume();
  EXPECT_EQ(items.seen, (std::vector<std::pair<long, void*>>{{1, &object}}));
}

TEST(EventFilterTest, ReentrantReleases) {
  const struct {
    const char* what;
    std::function<void(SCC_Notifier&, SCC_EventFilter*&, Settings&, Listener&)> onFirst;
    Log delivered;
    long heldAfter;
  } cases[] = {
      {"raises the source: the new notice waits behind the held ones",
       [](SCC_Notifier& s, SCC_EventFilter*&, Settings&, Listener&) { Send(s, 3, 9); },
       {"1:1", "1:2", "1:3", "3:9"}, 0},
      {"suspends again: the rest waits",
       [](SCC_Notifier&, SCC_EventFilter*&, Settings& st, Listener&) { st->Suspend(); },
       {"1:1"}, 2},
      {"discards what is held",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener&) { f->Discard(); },
       {"1:1"}, 0},
      {"releases again: the running release goes on",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener&) { EXPECT_EQ(f->Release(), 0); },
       {"1:1", "1:2", "1:3"}, 0},
      {"destroys the filter: the release stops",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener& l) {
         l.Remove();
         delete f;
         f = nullptr;
       },
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
    out.action = [&] {
      out.action = nullptr;
      c.onFirst(source, filter, settings, out);
    };
    settings->Resume();
    EXPECT_EQ(out.log, c.delivered);
    if (filter) {
      EXPECT_EQ(filter->GetHeldCount(), c.heldAfter);
      if (settings->IsSuspended()) {
        settings->Resume();
        EXPECT_EQ(out.log, (Log{"1:1", "1:2", "1:3"}));
      }
      delete filter;
    }
    Send(source, 1, 4);  // the source lives on without the filter
  }

  // A listener that throws leaves the rest held; the next notice releases them first.
  Settings settings(new SCC_EventFilterSettings);
  SCC_Notifier source;
  SCC_EventFilter filter(settings, &source);
  Listener out(filter.GetNotifier());
  settings->Suspend();
  Send(source, 1, 1);
  Send(source, 1, 2);
  out.action = [&] {
    out.action = nullptr;
    throw 42;
  };
  EXPECT_THROW(settings->Resume(), int);
  EXPECT_EQ(filter.GetHeldCount(), 1);
  Send(source, 1, 3);
  EXPECT_EQ(out.log, (Log{"1:1", "1:2", "1:3"}));
  EXPECT_EQ(filter.GetHeldCount(), 0);
}

TEST(EventFilterTest, SettingsCopiesAndMisuse) {
  SCC_EventFilterSettings original;
  original.SetMergeMode(SCC_EventFilterSettings::MergeRepeats);
  original.SetPayloadSize(9, 12);
  original.SetMaxHeld(1);  // the smallest limit is allowed
  original.Suspend();
  SCC_EventFilterSettings copy(original);
  EXPECT_EQ(copy.GetMergeMode() * 100 + copy.GetPayloadSize(9) * 10 + copy.GetMaxHeld(), 221);
  EXPECT_EQ(copy.IsSuspended(), 0) << "a copy starts resumed";
  copy.SetPayloadSize(9, 0);
  copy.SetMaxHeld(4);
  EXPECT_EQ(original.GetPayloadSize(9), 12) << "copies are separate";
  original = copy;
  EXPECT_EQ(original.GetPayloadSize(9) * 10 + original.GetMaxHeld(), 4);
  EXPECT_EQ(original.IsSuspended(), 1) << "assignment keeps the suspension";
  original.Resume();

  SSM ssm;
  auto site = [](const std::function<void()>& body) -> int {
    try {
      body();
    } catch (SSM::AssertData* data) {
      EXPECT_STREQ(data->fileName.GetString(), "system/scc/SCC_EventFilter");
      return data->line;
    }
    return 0;
  };
  EXPECT_EQ(site([&] { original.Resume(); }), 120);
  EXPECT_EQ(site([&] { original.SetPayloadSize(1, SCC_SuspendedEvent::kMaxPayload + 1); }), 121);
  EXPECT_EQ(site([&] { original.SetPayloadSize(1, -1); }), 121);
  EXPECT_EQ(site([&] { original.SetPayloadSize(2, SCC_SuspendedEvent::kMaxPayload); }), 0);
  EXPECT_EQ(site([&] { original.SetMaxHeld(0); }), 122);
  EXPECT_EQ(site([&] { original.SetMaxHeld(1); }), 0);
  EXPECT_EQ(original.GetSuspendCount() * 10 + original.GetMaxHeld(), 1);
  EXPECT_EQ(original.GetPayloadSize(1), static_cast<int>(sizeof(long)));
  EXPECT_EQ(original.GetPayloadSize(2), SCC_SuspendedEvent::kMaxPayload);
}

}  // namespace
