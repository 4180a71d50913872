// collection_test.cpp - tests of SCC_StdCollection: handles and positions, the notices and
// their order, listeners that change the collection, iterators under removal, the focus,
// reloading, hooks, copies and misuse.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "failed_check.h"
#include "scccollection.h"
#include "sccproperty.h"
#include "ssm.h"

namespace {

constexpr const char* kSource = "system/scc/SCC_Collection";

using Log = std::vector<std::string>;
int objects[10];
void* Obj(int i) { return &objects[i]; }

// Logs every notice of a collection's event as "code:place/handle=object" (1, 2, 3; with
// "<former" for 3), "7:kind,first,count", or "code".
struct Recorder : SCC_EventHook<int> {
  explicit Recorder(SCC_Notifier* event, long priority = 0) : SCC_EventHook<int>(nullptr, nullptr, priority) {
    HookEvent(event);
  }
  int OnNotification(int code, int* data) override {
    std::string entry = std::to_string(code);
    if (code >= 1 && code <= 3 && data && !focusEvent) {
      const auto* item = reinterpret_cast<const SCC_CollectionItem*>(data);
      entry += ":" + std::to_string(item->place) + "/" + std::to_string(item->handle) + "=" +
               std::to_string(static_cast<int*>(item->object) - objects);
      if (item->former) entry += "<" + std::to_string(static_cast<int*>(item->former) - objects);
      EXPECT_EQ(*reinterpret_cast<const long*>(data), item->place) << "position + 1 comes first";
    } else if (code == 7 && data) {
      const auto* p = reinterpret_cast<const SCC_ArrayPositions*>(data);
      entry += ":" + std::to_string(p->kind) + "," + std::to_string(p->first) + "," +
               std::to_string(p->count);
    }
    log.push_back(entry);
    if (action) action(code, data);
    return 0;
  }
  Log log;
  std::function<void(int, int*)> action;
  bool focusEvent = false;  // payloads of 1 and 2 are a long handle
};

std::vector<long> Handles(const SCC_StdCollection& c) {
  std::vector<long> out;
  for (long i = 0; i < c.GetCount(); ++i) out.push_back(c.GetHandle(i));
  return out;
}

TEST(CollectionTest, HandlesPositionsAndNotices) {
  SCC_StdCollection c;
  Recorder rec(c.GetNotifier());
  void* three[] = {Obj(0), Obj(1), Obj(2)};
  EXPECT_EQ(c.InsertAt(0, three, 3), 1);
  EXPECT_EQ(c.InsertAt(1, Obj(3)), 4);
  EXPECT_EQ(Handles(c), (std::vector<long>{1, 4, 2, 3}));
  EXPECT_EQ(c.GetPosition(2), 2);
  EXPECT_EQ(c.GetObject(4), Obj(3));
  EXPECT_EQ(c.FindObject(Obj(2)), 3);
  EXPECT_EQ(c.Replace(2, Obj(9)), 1);
  EXPECT_EQ(c.Replace(99, Obj(9)), 0);
  EXPECT_EQ(c.Remove(4), 1);
  EXPECT_EQ(c.Remove(4), 0) << "a handle is never given twice";
  c.RemoveAt(0, 2);
  EXPECT_EQ(c.Add(Obj(5)), 5);
  c.RemoveAll();
  EXPECT_EQ(rec.log, (Log{"7:1,0,3", "1:1/1=0", "1:2/2=1", "1:3/3=2",  // insertion: 7 first
                          "7:1,1,1", "1:2/4=3",                        //
                          "3:3/2=9<1",                                 // replaced at position 2
                          "2:2/4=3", "7:2,1,1",                        // removal: 2 first, then 7
                          "2:1/1=0", "2:2/2=9", "7:2,0,2",             //
                          "7:1,1,1", "1:2/5=5", "6"}));
  // Boundaries of the lookups.
  for (long h : {0L, -1L, 1L, 5L, 1000L}) EXPECT_EQ(c.GetPosition(h), -1) << h;
  EXPECT_EQ(c.GetHandle(-1) + c.GetHandle(0), 0);
  EXPECT_EQ(c.GetObject(0), nullptr);
}

TEST(CollectionTest, LookupsAgreeInEveryOrder) {
  // Appends keep handle order (binary search); a middle insertion breaks it (scans, then a
  // handle map); removals in the middle and at the end keep whichever in step.
  SCC_StdCollection c;
  const std::function<void()> steps[] = {
      [&] { c.Remove(3); }, [&] { c.InsertAt(5, Obj(1)); }, [&] { c.Remove(8), c.Add(Obj(2)); },
      [&] { c.RemoveAt(c.GetCount() - 2, 2); }, [&] { c.RemoveAll(), c.Add(Obj(3)); }};
  for (int i = 0; i < 12; ++i) c.Add(Obj(i % 10));
  for (int step = 0; step < 5; ++step) {
    steps[step]();
    for (int round = 0; round < 3; ++round) {  // the first lookups scan, later ones use the map
      std::set<long> present;
      for (long i = 0; i < c.GetCount(); ++i) {
        present.insert(c.GetHandle(i));
        ASSERT_EQ(c.GetPosition(c.GetHandle(i)), i) << step;
      }
      for (long h : {0L, 3L, 8L, 12L, 40L}) ASSERT_EQ(c.HasHandle(h), int(present.count(h))) << step;
    }
  }
}

long HandleOf(int* data) { return reinterpret_cast<SCC_CollectionItem*>(data)->handle; }

TEST(CollectionTest, ListenersThatChangeTheCollection) {
  using Action = std::function<void(SCC_StdCollection&, int, int*)>;  // run by the listener
  using Change = std::function<void(SCC_StdCollection&)>;
  const std::tuple<const char*, Action, Change, std::vector<long>> cases[] = {
      {"a removal notice removes a later doomed item itself",
       [](auto& c, int code, int* data) { if (code == 2 && HandleOf(data) == 2) c.Remove(3); },
       [](auto& c) { c.RemoveAt(1, 3); }, {1, 5}},
      {"a removal notice removes an item outside the range",
       [](auto& c, int code, int* data) { if (code == 2 && HandleOf(data) == 2) c.Remove(1); },
       [](auto& c) { c.RemoveAt(1, 2); }, {4, 5}},
      {"a removal notice inserts inside the range: the runs split",
       [](auto& c, int code, int* data) { if (code == 2 && HandleOf(data) == 3) c.InsertAt(2, Obj(8)); },
       [](auto& c) { c.RemoveAt(1, 3); }, {1, 6, 5}},
      {"an insertion notice removes a new item",
       [](auto& c, int code, int* data) {
         if (code == 7 && reinterpret_cast<SCC_ArrayPositions*>(data)->kind == 1) c.Remove(7);
       },
       [](auto& c) { void* two[] = {Obj(6), Obj(7)}; c.InsertAt(0, two, 2); }, {6, 1, 2, 3, 4, 5}},
  };
  for (const auto& [what, action, change, after] : cases) {
    SCC_StdCollection c;
    for (int i = 0; i < 5; ++i) c.Add(Obj(i));
    Recorder rec(c.GetNotifier());
    rec.action = [&](int code, int* data) { action(c, code, data); };
    change(c);
    EXPECT_EQ(Handles(c), after) << what;
    for (long i = 0; i < c.GetCount(); ++i) EXPECT_EQ(c.GetPosition(c.GetHandle(i)), i) << what;
  }
}

TEST(CollectionTest, IteratorsSurviveRemovalDuringTheWalk) {
  // Walk 1..8 and, at one visited handle, remove some items; the walk must visit every item
  // that is never removed exactly once and in order.
  const std::tuple<long, std::vector<long>, std::vector<long>> cases[] = {
      {3, {3}, {1, 2, 3, 4, 5, 6, 7, 8}},    {3, {3, 4, 5}, {1, 2, 3, 6, 7, 8}},
      {5, {1, 2}, {1, 2, 3, 4, 5, 6, 7, 8}}, {2, {6, 7}, {1, 2, 3, 4, 5, 8}},
      {8, {8}, {1, 2, 3, 4, 5, 6, 7, 8}},    {6, {6, 7, 8}, {1, 2, 3, 4, 5, 6}}};
  for (const auto& [at, remove, expected] : cases) {
    SCC_StdCollection c;
    for (int i = 0; i < 8; ++i) c.Add(Obj(i % 10));
    SCC_CollectionIterator it;
    std::vector<long> visited;
    for (long h = it.GetFirst(c); h; h = it.GetNext()) {
      visited.push_back(h);
      if (h == at)
        for (long r : remove) c.Remove(r);
    }
    EXPECT_EQ(visited, expected) << at;
  }
  // In place of a removed current item the new items come next; placed anew after its item
  // was removed, it steps from the new place; the collection's death leaves it on nothing.
  SCC_CollectionIterator it;
  {
    SCC_StdCollection c;
    for (int i = 0; i < 4; ++i) c.Add(Obj(i));
    it.GetFirst(c), it.GetNext();  // on 2
    c.Remove(2);
    c.InsertAt(c.GetPosition(3), Obj(6));  // handle 5, where 2 was
    EXPECT_EQ(it.GetNext(), 5);
    c.Remove(5);
    it.SetHandle(1);
    EXPECT_EQ(it.GetNext(), 3);
  }
  EXPECT_TRUE(it.GetCollection() == nullptr && it.GetHandle() == 0);
}

class Source : public SCC_StdCollection {
 public:
  std::vector<void*> next;
  bool fail = false;

 protected:
  int Load(SCC_Array<void*>& out) override {
    if (fail) return 0;
    for (void* p : next) out.Add(p);
    return 1;
  }
};

TEST(CollectionTest, ReloadKeepsHandlesAndFocusOfObjectsStillThere) {
  Source c;
  for (int i = 0; i < 4; ++i) c.Add(Obj(i));  // handles 1..4 for objects 0..3
  c.AddFocus(2);
  c.AddFocus(4);
  Recorder rec(c.GetNotifier()), focusRec(c.GetFocusEvent());
  SCC_CollectionIterator onThree(c), onFour(c);
  onThree.SetHandle(3);
  onFour.SetHandle(4);
  c.next = {Obj(3), Obj(7), Obj(1), Obj(1)};  // reordered, one new, one repeated, 0 and 2 gone
  EXPECT_EQ(c.Reload(), 1);
  EXPECT_EQ(Handles(c), (std::vector<long>{4, 5, 2, 6}));  // a repeat is a new item
  EXPECT_EQ(c.GetFocus(0) * 10 + c.GetFocus(1), 24) << "the focus keeps its own order";
  EXPECT_EQ(rec.log, Log{"5"});
  EXPECT_EQ(focusRec.log, Log{}) << "the focus did not change";
  EXPECT_EQ(onThree.GetHandle() * 10 + onFour.GetPosition(), 0) << "gone; found again by handle";
  c.next = {Obj(7)};
  EXPECT_EQ(c.Reload(), 1);
  EXPECT_EQ(focusRec.log, Log{"5"});
  c.fail = true;
  EXPECT_EQ(c.Reload() + SCC_StdCollection().Reload(), 0);  // the base has nothing to load
  EXPECT_EQ(Handles(c), std::vector<long>{5});
}

TEST(CollectionTest, FocusFollowsTheItems) {
  SCC_StdCollection c;
  for (int i = 0; i < 4; ++i) c.Add(Obj(i));
  Recorder focus(c.GetFocusEvent());
  focus.focusEvent = true;
  std::vector<long> focused;
  focus.action = [&](int code, int* data) {
    if (code == 1 || code == 2) focused.push_back(*reinterpret_cast<long*>(data) * (3 - 2 * code));
  };
  EXPECT_EQ(c.AddFocus(3) + c.AddFocus(1) + c.AddFocus(3) + c.AddFocus(9) + c.AddFocus(0), 2);
  EXPECT_EQ(c.GetFocus(2) + c.GetFocus(-1), 0);
  c.Remove(3);  // unfocuses it
  EXPECT_EQ(c.RemoveFocus(1), 1);
  EXPECT_EQ(c.RemoveFocus(1), 0);
  c.AddFocus(2);
  c.ClearFocus();
  EXPECT_EQ(focused, (std::vector<long>{3, 1, -3, -1, 2}));
  EXPECT_EQ(focus.log.back(), "6");
  // The handle collection focuses any handle that fits in an int, also through the base.
  SCC_HandleCollection h{3, 0, 1, 3, 2};
  EXPECT_EQ(h.GetFocusCount(), 3);
  EXPECT_EQ(h.AddFocus(7) * 10 + h.AddFocus(0x100000000L), 10);
  EXPECT_EQ(h.RemoveFocus(1), 1);
  EXPECT_EQ(h.GetFocus(0) * 1000 + h.GetFocus(1) * 100 + h.GetFocus(2) * 10 + h.GetFocus(3), 3270);
  EXPECT_EQ(static_cast<SCC_StdCollection&>(h).AddFocus(9), 1);
}

TEST(CollectionTest, CopiesShareUntilChanged) {
  SCC_StdCollection a;
  for (int i = 0; i < 3; ++i) a.Add(Obj(i));
  a.AddFocus(2);
  Recorder recA(a.GetNotifier());
  SCC_StdCollection b(a);
  EXPECT_EQ(b.GetNotifier()->IsEmpty() * 10 + b.GetFocus(0), 12) << "listeners are not copied";
  EXPECT_EQ(b.Add(Obj(7)), 4) << "the copy continues the handle counter";
  b.Replace(1, Obj(9));
  EXPECT_EQ(a.GetCount() * 10 + (a.GetObject(1) == Obj(0)), 31) << "the source is untouched";
  EXPECT_EQ(recA.log, Log{});
  SCC_StdCollection c;
  for (int i = 0; i < 5; ++i) c.Add(Obj(1));  // handles up to 5
  Recorder recC(c.GetNotifier());
  c = a;
  c = std::as_const(c);  // itself: nothing
  EXPECT_EQ(recC.log, Log{"5"});
  EXPECT_EQ(Handles(c), (std::vector<long>{1, 2, 3}));
  EXPECT_EQ(c.Add(Obj(2)), 6) << "the target's old handles are not given again";
}

TEST(CollectionTest, HooksAndPropertyChanges) {
  auto* c = new SCC_StdCollection;
  Recorder rec(c->GetNotifier());
  SCC_SharedPointer<SCC_StdProperty> prop(new SCC_StdProperty);
  SCC_SharedPointer<SCC_Convertor> conv(new SCC_Convertor);
  prop->SetConvertor(conv);
  SCC_Notifier other;
  ASSERT_NE(c->WatchProperty(prop), nullptr);
  delete c->HookEvent(&other, &SCC_StdCollection::OnPropertyEvent);  // the collection forgets it
  c->HookEvent(&other, &SCC_StdCollection::OnPropertyEvent);
  EXPECT_EQ(c->GetHookCount(), 2);
  std::vector<void*> payloads;
  rec.action = [&](int, int* data) { payloads.push_back(data); };
  conv->Notify(1, nullptr);  // the convertor tells the property, which tells the collection
  other.Notify(8, nullptr);
  EXPECT_EQ(payloads, (std::vector<void*>{prop.Get(), nullptr}));
  EXPECT_EQ(c->UnhookEvent(&other), 1);
  EXPECT_EQ(c->UnhookEvent(&other), 0);
  delete c;  // raises 6 and deletes the last hook (LeakSanitizer checks)
  EXPECT_EQ(rec.log.back(), "6");
  EXPECT_EQ(prop->GetPropEvent()->IsEmpty(), 1);
}

TEST(CollectionTest, MisuseFailsChecks) {
  SSM ssm;
  SCC_StdCollection c;
  c.Add(Obj(0));
  c.Add(Obj(1));
  Recorder rec(c.GetNotifier());
  const std::pair<std::function<void()>, int> cases[] = {
      {[&] { c.InsertAt(3, Obj(2)); }, 110},  {[&] { c.InsertAt(0, nullptr, -1); }, 110},
      {[&] { c.RemoveAt(1, 2); }, 112},       {[&] { c.RemoveAt(-1, 1); }, 112},
      {[&] {  // a change while 7 of a removal is told
         rec.action = [&](int code, int*) { code == 7 ? c.Add(Obj(3)) : 0; };
         c.Remove(1);
       }, 113}};
  for (const auto& [body, line] : cases) EXPECT_EQ(FailedLine(kSource, body), line);
  rec.action = nullptr;
  EXPECT_EQ(Handles(c), (std::vector<long>{1, 2})) << "a thrown check changes nothing";
  c.Remove(1);  // the removal flag was reset when the check threw
  EXPECT_EQ(Handles(c), std::vector<long>{2});
}

}  // namespace
