// evfilter_test.cpp - tests of SCC_EventFilter and SCC_EventFilterSettings: holding and
// merging, nested suspension, payload copies, re-entrant releases, shared settings, the
// limit and misuse.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sccarray.h"
#include "scccollection.h"
#include "sccevfilter.h"
#include "ssm.h"

namespace {

using Log = std::vector<std::string>;
using Settings = SCC_SharedPointer<SCC_EventFilterSettings>;

// Logs "code" or "code:value" where value is the first long of the payload (for 1, 2, 3).
struct Listener : SCC_EventHook<int> {
  explicit Listener(SCC_Notifier* event) { HookEvent(event); }
  int OnNotification(int code, int* data) override {
    std::string entry = std::to_string(code);
    if (code >= 1 && code <= 3 && data) entry += ":" + std::to_string(*reinterpret_cast<long*>(data));
    log.push_back(entry);
    // A copy, so that an action may clear itself while it runs.
    if (auto act = action) act(code);
    return 0;
  }
  Log log;
  std::function<void(int)> action;
};

void Send(SCC_Notifier& source, int code, long value) { source.Notify(code, &value); }

TEST(EventFilterTest, HoldsMergesAndReleasesInOrder) {
  // One sequence raised while suspended, released under each merge mode.
  struct Case {
    SCC_EventFilterSettings::MergeMode mode;
    bool endWithClear;
    Log released;
  };
  const Case cases[] = {
      {SCC_EventFilterSettings::MergeNone, false, {"1:4", "3:2", "1:4", "5", "3:2", "8"}},
      {SCC_EventFilterSettings::MergeRepeats, false, {"1:4", "3:2", "5", "8"}},
      {SCC_EventFilterSettings::MergeIntoReset, false, {"5"}},
      {SCC_EventFilterSettings::MergeIntoReset, true, {"6"}},
      {SCC_EventFilterSettings::MergeRepeats, true, {"1:4", "3:2", "5", "8", "6"}},
  };
  int property = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.mode) + (c.endWithClear ? " ending in 6" : ""));
    Settings settings(new SCC_EventFilterSettings);
    settings->SetMergeMode(c.mode);
    SCC_Notifier source;
    SCC_EventFilter filter(settings, &source);
    Listener out(filter.GetNotifier());
    Send(source, 1, 9);
    EXPECT_EQ(out.log, Log{"1:9"}) << "passes at once while resumed";
    out.log.clear();
    settings->Suspend();
    Send(source, 1, 4);
    Send(source, 3, 2);
    Send(source, 1, 4);
    source.Notify(5, nullptr);
    Send(source, 3, 2);
    source.Notify(8, &property);
    source.Notify(8, &property);
    if (c.endWithClear) source.Notify(6, nullptr);
    EXPECT_EQ(out.log, Log{});
    settings->Resume();
    Log expected = c.released;
    if (c.mode == SCC_EventFilterSettings::MergeNone) expected.push_back("8");
    EXPECT_EQ(out.log, expected);
    EXPECT_EQ(filter.GetHeldCount(), 0);
  }
}

TEST(EventFilterTest, NestedSuspensionAndSharedSettings) {
  Settings settings(new SCC_EventFilterSettings);
  SCC_Notifier a, b;
  SCC_EventFilter fa(settings, &a), fb(settings, &b);
  Listener la(fa.GetNotifier()), lb(fb.GetNotifier());
  Listener state(settings->GetStateEvent());
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

  // A listener of the first filter to release (fb: hooked into the settings last, so
  // called first) suspends again: the other filter holds on.
  settings->Suspend();
  Send(a, 1, 3);
  Send(b, 1, 4);
  lb.action = [&](int) {
    lb.action = nullptr;
    settings->Suspend();
  };
  settings->Resume();
  EXPECT_EQ(lb.log.back(), "1:4");
  EXPECT_EQ(fa.GetHeldCount(), 1);
  settings->Resume();
  EXPECT_EQ(la.log.back(), "1:3");

  // A filter without settings, or switched to resumed settings, lets everything through.
  SCC_EventFilter loose(nullptr, &a);
  Listener ll(loose.GetNotifier());
  settings->Suspend();
  Send(a, 3, 5);
  EXPECT_EQ(ll.log, Log{"3:5"});
  fa.SetSettings(new SCC_EventFilterSettings);
  EXPECT_EQ(la.log.back(), "3:5") << "released when the new settings are not suspended";
  settings->Resume();
}

TEST(EventFilterTest, PayloadsOutliveTheRaiser) {
  Settings settings(new SCC_EventFilterSettings);
  SCC_Array<int> array;
  SCC_EventFilter filter(settings, array.GetNotifier());
  std::vector<long> values;
  Listener out(filter.GetNotifier());
  out.action = [&](int) {};
  struct Positions : SCC_EventHook<int> {
    int OnNotification(int code, int* data) override {
      if (code == 7) {
        auto* p = reinterpret_cast<SCC_ArrayPositions*>(data);
        seen.push_back({p->kind, p->first, p->count});
      }
      return 0;
    }
    std::vector<std::vector<long>> seen;
  } positions;
  positions.HookEvent(filter.GetNotifier());
  settings->Suspend();
  array.InsertAt(0, 5, 2);  // the array's payloads are locals of InsertAt
  array.Delete(1);
  settings->Resume();
  EXPECT_EQ(out.log, (Log{"7", "1:1", "1:2", "2:2", "7"}));
  EXPECT_EQ(positions.seen, (std::vector<std::vector<long>>{{1, 0, 2}, {2, 1, 1}}));

  // A collection's payload is bigger: the settings copy all of it when told to.
  SCC_StdCollection c;
  SCC_EventFilter cf(settings, c.GetNotifier());
  settings->SetPayloadSize(1, sizeof(SCC_CollectionItem));
  std::vector<std::pair<long, void*>> items;
  struct Items : SCC_EventHook<int> {
    std::vector<std::pair<long, void*>>* out;
    int OnNotification(int code, int* data) override {
      if (code == 1) {
        auto* item = reinterpret_cast<SCC_CollectionItem*>(data);
        out->emplace_back(item->handle, item->object);
      }
      return 0;
    }
  } itemHook;
  itemHook.out = &items;
  itemHook.HookEvent(cf.GetNotifier());
  int object = 0;
  settings->Suspend();
  c.Add(&object);
  settings->Resume();
  EXPECT_EQ(items, (std::vector<std::pair<long, void*>>{{1, &object}}));
}

TEST(EventFilterTest, ReentrantReleases) {
  struct Case {
    const char* what;
    std::function<void(SCC_Notifier&, SCC_EventFilter*&, Settings&, Listener&)> onFirst;
    Log delivered;
    long heldAfter;
  };
  const Case cases[] = {
      {"a listener raises the source: the new notice waits behind the held ones",
       [](SCC_Notifier& s, SCC_EventFilter*&, Settings&, Listener&) { Send(s, 3, 9); },
       {"1:1", "1:2", "1:3", "3:9"}, 0},
      {"a listener suspends again: the rest waits",
       [](SCC_Notifier&, SCC_EventFilter*&, Settings& st, Listener&) { st->Suspend(); },
       {"1:1"}, 2},
      {"a listener discards what is held",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener&) { f->Discard(); },
       {"1:1"}, 0},
      {"a listener releases again: the running release goes on",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener&) { EXPECT_EQ(f->Release(), 0); },
       {"1:1", "1:2", "1:3"}, 0},
      {"a listener destroys the filter: the release stops",
       [](SCC_Notifier&, SCC_EventFilter*& f, Settings&, Listener& l) {
         l.Remove();
         delete f;
         f = nullptr;
       },
       {"1:1"}, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Settings settings(new SCC_EventFilterSettings);
    SCC_Notifier source;
    auto* filter = new SCC_EventFilter(settings, &source);
    Listener out(filter->GetNotifier());
    settings->Suspend();
    for (long v = 1; v <= 3; ++v) Send(source, 1, v);
    out.action = [&](int) {
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
}

TEST(EventFilterTest, AnExceptionLeavesTheRestHeld) {
  Settings settings(new SCC_EventFilterSettings);
  SCC_Notifier source;
  SCC_EventFilter filter(settings, &source);
  Listener out(filter.GetNotifier());
  settings->Suspend();
  Send(source, 1, 1);
  Send(source, 1, 2);
  out.action = [&](int) {
    out.action = nullptr;
    throw 42;
  };
  EXPECT_THROW(settings->Resume(), int);
  EXPECT_EQ(filter.GetHeldCount(), 1);
  EXPECT_EQ(filter.Release(), 1);
  EXPECT_EQ(out.log, (Log{"1:1", "1:2"}));
}

TEST(EventFilterTest, TheLimitCollapsesIntoOneReset) {
  Settings settings(new SCC_EventFilterSettings);
  settings->SetMaxHeld(3);
  settings->SetMergeMode(SCC_EventFilterSettings::MergeRepeats);
  SCC_Notifier source;
  SCC_EventFilter filter(settings, &source);
  Listener out(filter.GetNotifier());
  settings->Suspend();
  for (long v = 1; v <= 3; ++v) Send(source, 1, v);
  EXPECT_EQ(filter.GetHeldCount(), 3);
  ASSERT_NE(filter.GetHeld(2), nullptr);
  EXPECT_EQ(filter.GetHeld(2)->code, 1);
  EXPECT_EQ(filter.GetHeld(3), nullptr);
  Send(source, 1, 4);
  Send(source, 2, 5);  // collapses on until released
  EXPECT_EQ(filter.GetHeldCount(), 1);
  settings->Resume();
  EXPECT_EQ(out.log, Log{"5"});
  settings->Suspend();
  Send(source, 1, 6);
  settings->Resume();
  EXPECT_EQ(out.log.back(), "1:6") << "after the release, holding starts afresh";
}

TEST(EventFilterTest, SettingsCopiesAndMisuse) {
  SCC_EventFilterSettings original;
  original.SetMergeMode(SCC_EventFilterSettings::MergeRepeats);
  original.SetPayloadSize(9, 12);
  original.Suspend();
  SCC_EventFilterSettings copy(original);
  EXPECT_EQ(copy.GetMergeMode(), SCC_EventFilterSettings::MergeRepeats);
  EXPECT_EQ(copy.GetPayloadSize(9), 12);
  EXPECT_EQ(copy.IsSuspended(), 0) << "a copy starts resumed";
  copy.SetPayloadSize(9, 0);
  EXPECT_EQ(original.GetPayloadSize(9), 12) << "copies are separate";
  original = copy;
  EXPECT_EQ(original.GetPayloadSize(9), 0);
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
  EXPECT_EQ(site([&] { original.SetMaxHeld(0); }), 122);
  EXPECT_EQ(original.GetSuspendCount() + original.GetMaxHeld(), SCC_EventFilterSettings::kDefaultMaxHeld);
  EXPECT_EQ(original.GetPayloadSize(1), static_cast<int>(sizeof(long)));
}

}  // namespace
