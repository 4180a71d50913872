// dlist_test.cpp - SCC_DList, SCC_SafeDList and SCC_RefDList: links, notices, registered
// iterators under removal, and the end of lists and nodes.
#include "sccdlist.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "failed_check.h"
#include "ssm.h"

namespace {

constexpr const char* kSource = "system/scc/SCC_DList";

struct Item : SCC_DListNode<Item> {
  explicit Item(int v) : value(v) {}
  int value;
};

// A list that records its notices as "1:v", "2:v", "6".
struct LoggedList : SCC_DList<Item> {
  std::vector<std::string> log;
  std::function<void(int, Item*)> hook;
  void Notify(int code, Item* node) override {
    log.push_back(std::to_string(code) + (node ? ":" + std::to_string(node->value) : ""));
    if (hook) hook(code, node);
  }
};

std::vector<int> Forward(const SCC_DList<Item>& list) {
  std::vector<int> v;
  for (Item* i = list.GetHead(); i; i = i->GetNextNode()) v.push_back(i->value);
  return v;
}
std::vector<int> Backward(const SCC_DList<Item>& list) {
  std::vector<int> v;
  for (Item* i = list.GetTail(); i; i = i->GetPrevNode()) v.insert(v.begin(), i->value);
  return v;
}

TEST(DListTest, OperationsKeepLinksCountAndNotices) {
  using Op = std::function<void(LoggedList&, Item*)>;  // items 1..5; 1, 2, 3 are in the list
  using V = std::vector<int>;
  using Log = std::vector<std::string>;
  const std::tuple<const char*, Op, V, Log> cases[] = {
      {"append", [](auto& l, Item* i) { l.AddTail(&i[3]); }, {1, 2, 3, 4}, {"1:4"}},
      {"add head", [](auto& l, Item* i) { l.AddHead(&i[3]); }, {4, 1, 2, 3}, {"1:4"}},
      {"before head", [](auto& l, Item* i) { l.InsertBefore(&i[0], &i[3]); }, {4, 1, 2, 3}, {"1:4"}},
      {"before null appends", [](auto& l, Item* i) { l.InsertBefore(nullptr, &i[3]); }, {1, 2, 3, 4}, {"1:4"}},
      {"after tail", [](auto& l, Item* i) { l.InsertAfter(&i[2], &i[3]); }, {1, 2, 3, 4}, {"1:4"}},
      {"after inner", [](auto& l, Item* i) { l.InsertAfter(&i[0], &i[3]); }, {1, 4, 2, 3}, {"1:4"}},
      {"after null is at the head", [](auto& l, Item* i) { l.InsertAfter(nullptr, &i[3]); }, {4, 1, 2, 3}, {"1:4"}},
      {"move a member", [](auto& l, Item* i) { l.InsertAfter(&i[2], &i[0]); }, {2, 3, 1}, {"2:1", "1:1"}},
      {"remove inner", [](auto& l, Item* i) { EXPECT_EQ(l.Remove(&i[1]), &i[1]); }, {1, 3}, {"2:2"}},
      {"remove head and tail",
       [](auto& l, Item* i) { EXPECT_TRUE(l.RemoveHead() == &i[0] && l.RemoveTail() == &i[2]); },
       {2}, {"2:1", "2:3"}},
      {"remove an unlinked node", [](auto& l, Item* i) { EXPECT_EQ(l.Remove(&i[4]), nullptr); }, {1, 2, 3}, {}},
      {"node leaves by itself", [](auto& l, Item* i) { i[2].RemoveNode(); }, {1, 2}, {"2:3"}},
      {"remove all", [](auto& l, Item*) { l.RemoveAll(); }, {}, {"6"}},
      {"null and self are ignored",
       [](auto& l, Item* i) { EXPECT_TRUE(!l.AddTail(nullptr) && !l.InsertBefore(&i[1], &i[1])); },
       {1, 2, 3}, {}},
  };
  for (const auto& [what, op, order, notices] : cases) {
    Item items[] = {Item(1), Item(2), Item(3), Item(4), Item(5)};
    LoggedList list;
    for (int k = 0; k < 3; ++k) list.AddTail(&items[k]);
    list.log.clear();
    op(list, items);
    EXPECT_EQ(Forward(list), order) << what;
    EXPECT_EQ(Backward(list), order) << what;
    EXPECT_EQ(list.GetCount(), static_cast<long>(order.size())) << what;
    EXPECT_EQ(list.log, notices) << what;
    EXPECT_TRUE(list.IsValid()) << what;
    for (Item& i : items) EXPECT_EQ(list.Contains(&i), i.GetList() == &list) << what;
  }
}

TEST(DListTest, RegisteredIteratorsSurviveRemoval) {
  // {value being visited when acting, values removed then, values visited}
  const std::tuple<int, std::vector<int>, std::vector<int>> cases[] = {
      {2, {2}, {1, 2, 3, 4}}, {2, {2, 3}, {1, 2, 4}}, {2, {3}, {1, 2, 4}},
      {3, {2}, {1, 2, 3, 4}}, {4, {4}, {1, 2, 3, 4}}, {1, {1, 2, 3, 4}, {1}}};
  for (const auto& [at, gone, expected] : cases) {
    SCC_DList<Item> list;
    Item items[] = {Item(1), Item(2), Item(3), Item(4)};
    for (Item& i : items) list.AddTail(&i);
    std::vector<int> visited;
    SCC_DListIterator<Item> it(list);
    SCC_DListIterator<Item> nested(list);  // stands on the same node all along
    while (Item* item = it.GetNext()) {
      EXPECT_EQ(nested.GetNext(), item) << at;
      visited.push_back(item->value);
      if (item->value == at)
        for (int v : gone) list.Remove(&items[v - 1]);
    }
    EXPECT_EQ(visited, expected) << at;
    EXPECT_TRUE(nested.GetNext() == nullptr && list.IsValid()) << at;
  }

  // Stepping back after the focus was removed lands on the node before it; a node moved to
  // another list takes no iterator with it.
  SCC_DList<Item> list, other;
  Item a(1), b(2), c(3);
  for (Item* i : {&a, &b, &c}) list.AddTail(i);
  SCC_DListIterator<Item> it;
  EXPECT_EQ(it.GetNext(), nullptr);  // watches nothing yet
  EXPECT_EQ(it.GetFirst(list), &a);
  EXPECT_EQ(it.GetNext(), &b);
  list.Remove(&b);
  EXPECT_EQ(it.GetFocus(), &c);
  EXPECT_EQ(it.GetPrev(), &a);
  other.AddTail(&b);
  EXPECT_EQ(it.SetFocus(&b), nullptr);  // in another list
  EXPECT_EQ(it.SetFocus(&a), &a);
  other.AddTail(&a);
  EXPECT_EQ(it.GetNext(), &c);
  EXPECT_EQ(it.GetList(), &list);
}

TEST(DListTest, ListsAndNodesMayDieFirst) {
  Item kept(1);
  auto* it = new SCC_DListIterator<Item>;
  {
    SCC_DList<Item> list;
    list.AddTail(&kept);
    {
      Item dying(2);
      list.AddTail(&dying);
      EXPECT_EQ(it->SetFocus(&kept), nullptr);  // watches no list yet
      it->Restart(list);
      EXPECT_EQ(it->GetNext(), &kept);
      EXPECT_EQ(it->GetNext(), &dying);
    }  // the node unlinks itself; the iterator standing on it moves past the end
    EXPECT_TRUE(list.GetCount() == 1 && list.IsValid() && !it->IsValid());
    EXPECT_EQ(it->GetFirst(), &kept);
  }  // the list dies under a registered iterator
  EXPECT_TRUE(it->IsEmpty() && it->GetList() == nullptr);
  delete it;  // unregistering from the dead list must not touch it
  EXPECT_FALSE(kept.IsNode());

  // RemoveAllDelete destroys the nodes (LeakSanitizer checks); copies of nodes start unlinked.
  SCC_DList<Item> owned;
  for (int v = 0; v < 3; ++v) owned.AddTail(new Item(v));
  EXPECT_FALSE(Item(*owned.GetHead()).IsNode());
  owned.RemoveAllDelete();
}

TEST(DListTest, HooksMayChangeTheListDuringNotices) {
  Item items[] = {Item(1), Item(2), Item(3), Item(4)};
  LoggedList list;
  for (Item& i : items) list.AddTail(&i);
  list.log.clear();
  bool removedByHook = false;
  // Removing 2 makes the hook remove 3 as well, and 1 too from inside that notice.
  list.hook = [&](int code, Item* node) {
    if (code == 2 && node == &items[1]) list.Remove(&items[2]);
    if (code == 2 && node == &items[2]) list.Remove(&items[0]);
    if (code == 2 && node == &items[3] && !removedByHook) {
      removedByHook = true;
      list.Remove(&items[3]);  // the node of this very notice
    }
  };
  SCC_DListIterator<Item> it(list);
  EXPECT_EQ(it.GetNext(), &items[0]);
  EXPECT_EQ(list.Remove(&items[1]), &items[1]);
  EXPECT_EQ(it.GetNext(), &items[3]);
  EXPECT_EQ(list.Remove(&items[3]), nullptr);  // the hook took it out first
  EXPECT_TRUE(list.IsEmpty() && list.IsValid());
  EXPECT_EQ(list.log, (std::vector<std::string>{"2:2", "2:3", "2:1", "2:4", "2:4"}));
}

TEST(DListTest, MisplacedNodesAreFailedChecks) {
  SCC_DList<Item> list, other;
  Item a(1), b(2), x(9);
  list.AddTail(&a);
  other.AddTail(&b);
  EXPECT_EQ(FailedLineUnderService(kSource, [&] { list.InsertBefore(&b, &x); }), 101);
  EXPECT_EQ(FailedLineUnderService(kSource, [&] { list.InsertAfter(&b, &x); }), 101);
  EXPECT_EQ(FailedLineUnderService(kSource, [&] { list.Remove(&b); }), 102);
  // Without a manager the check lets the caller go on, and nothing changes.
  EXPECT_EQ(list.InsertBefore(&b, &x), list.Remove(&b));
  EXPECT_TRUE(!x.IsNode() && b.GetList() == &other && list.GetCount() == 1 && other.GetCount() == 1);
}

// A reference that records the end of its list and may act on other references then.
struct Ref : SCC_RefDListNode {
  std::vector<std::string>* log;
  std::string name;
  std::function<void()> onEnd;
  bool deleteSelf = false;
  Ref(std::vector<std::string>* l, std::string n) : log(l), name(std::move(n)) {}
  void OnListDestroyed(SCC_RefDList* list) override {
    EXPECT_FALSE(IsNode());
    log->push_back(name);
    if (onEnd) onEnd();
    if (deleteSelf) delete this;
  }
};

TEST(RefDListTest, NodesHearTheEndAndMayActOnEachOther) {
  std::vector<std::string> log;
  auto* list = new SCC_RefDList;
  Ref a(&log, "a"), c(&log, "c"), late(&log, "late");
  auto* b = new Ref(&log, "b");
  for (Ref* r : {&a, b, &c}) list->AddTail(r);
  // a removes c (which then hears nothing) and tries to add a node to the dying list;
  // b deletes itself.
  int refusedLine = -1;
  a.onEnd = [&] {
    list->Remove(&c);
    refusedLine = FailedLineUnderService(kSource, [&] { list->AddTail(&late); });
  };
  b->deleteSelf = true;
  SCC_RefPointer<SCC_RefDList> ptr(list), copy(ptr);
  EXPECT_TRUE(ptr.Get() == list && a.GetRefList() == list);
  delete list;
  EXPECT_EQ(log, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(refusedLine, 103);
  EXPECT_TRUE(!late.IsNode() && !ptr && !copy.Get());
}

}  // namespace
