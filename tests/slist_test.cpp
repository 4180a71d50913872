// slist_test.cpp - SCC_SList: operations and their notices, the deliberate quirks, explicit
// copying and the iterator under removal.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "sccslist.h"

namespace {

struct Item : SCC_SListNode<Item> {
  static inline int live = 0;
  char name;
  explicit Item(char n) : name(n) { ++live; }
  Item(const Item& o) : SCC_SListNode<Item>(o), name(o.name) { ++live; }
  Item& operator=(const Item&) = default;
  ~Item() { --live; }
};

// "abc" for a -> b -> c.
std::string Render(const SCC_SList<Item>& list) {
  std::string s;
  for (Item* p = list.First(); p; p = p->GetNextNode()) s += p->name;
  return s;
}

// A derived list that records its notices as "1a" (with the count then: "1a@3") and repairs
// its iterators, as the region list does.
class WatchedList : public SCC_SList<Item> {
 public:
  std::vector<std::string> notices;
  mutable std::vector<SCC_SListIterator<Item>*> iterators;
  void RegisterIterator(SCC_SListIterator<Item>* it) const override { iterators.push_back(it); }
  void UnregisterIterator(SCC_SListIterator<Item>* it) const override { std::erase(iterators, it); }

 protected:
  void Notify(int code, Item* node) override {
    notices.push_back(std::to_string(code) + (node ? node->name : '-') + "@" +
                      std::to_string(GetCount()));
    for (auto* it : iterators) it->OnUpdatePointers(code, node);
  }
};
using Notices = std::vector<std::string>;

TEST(SListTest, OperationsTheirNoticesAndQuirks) {
  // n[0..2] = a, b, c are in the list; n[3] = x and n[4] = z are not (z links to c).
  using Op = std::function<void(WatchedList&, Item*)>;
  const std::tuple<const char*, Op, const char*, Notices> cases[] = {
      {"add head", [](auto& l, Item* n) { EXPECT_EQ(l.AddHead(&n[3]), &n[3]); }, "xabc", {"1x@4"}},
      {"add tail clears the link", [](auto& l, Item* n) { n[3].SetNextNode(&n[0]), l.AddTail(&n[3]); }, "abcx", {"1x@4"}},
      {"insert after: the new link is the caller's", [](auto& l, Item* n) { l.InsertAfter(&n[0], &n[3]); }, "ax", {"1x@2"}},
      {"insert after, linked first", [](auto& l, Item* n) { n[3].SetNextNode(&n[1]), l.InsertAfter(&n[0], &n[3]); }, "axbc", {"1x@4"}},
      {"insert after null: the head, told twice", [](auto& l, Item* n) { l.InsertAfter(nullptr, &n[3]); }, "xabc", {"1x@4", "1x@4"}},
      {"insert before inner", [](auto& l, Item* n) { l.InsertBefore(&n[1], &n[3]); }, "axbc", {"1x@4"}},
      {"insert before head: told first", [](auto& l, Item* n) { l.InsertBefore(&n[0], &n[3]); }, "xabc", {"1x@3"}},
      {"insert before null appends", [](auto& l, Item* n) { l.InsertBefore(nullptr, &n[3]); }, "abcx", {"1x@4"}},
      {"insert before a stranger: the head", [](auto& l, Item* n) { l.InsertBefore(&n[4], &n[3]); }, "xabc", {"1x@3"}},
      {"remove: told first", [](auto& l, Item* n) { EXPECT_EQ(l.Remove(&n[1]), &n[1]); }, "ac", {"2b@3"}},
      {"remove a stranger drops the head", [](auto& l, Item* n) { EXPECT_EQ(l.Remove(&n[4]), &n[4]); }, "bc", {"2z@3"}},
      {"remove next", [](auto& l, Item* n) { EXPECT_EQ(l.RemoveNext(&n[0]), &n[1]); }, "ac", {"2b@3"}},
      {"remove next of tail", [](auto& l, Item* n) { EXPECT_EQ(l.RemoveNext(&n[2]), nullptr); }, "abc", {}},
      {"remove next of null", [](auto& l, Item* n) { EXPECT_EQ(l.RemoveNext(nullptr), &n[0]); }, "bc", {"2a@3"}},
      {"remove head and tail", [](auto& l, Item* n) { EXPECT_TRUE(l.RemoveHead() == &n[0] && l.RemoveTail() == &n[2]); }, "b", {"2a@3", "2c@2"}},
      {"remove all: told once first", [](auto& l, Item*) { l.RemoveAll(); }, "", {"6-@3"}},
      {"null nodes do nothing",
       [](auto& l, Item* n) {
         EXPECT_FALSE(l.AddHead(nullptr) || l.AddTail(nullptr) || l.InsertAfter(&n[0], nullptr) ||
                      l.InsertBefore(&n[0], nullptr) || l.Remove(nullptr));
       },
       "abc", {}},
  };
  for (const auto& [what, op, result, notices] : cases) {
    Item n[] = {Item('a'), Item('b'), Item('c'), Item('x'), Item('z')};
    WatchedList list;
    for (int k = 0; k < 3; ++k) list.AddTail(&n[k]);
    n[4].SetNextNode(&n[2]);
    list.notices.clear();
    op(list, n);
    EXPECT_EQ(Render(list), result) << what;
    EXPECT_EQ(list.notices, notices) << what;
    EXPECT_EQ(list.GetCount(), static_cast<long>(std::string(result).size())) << what;
    for (Item& i : n) EXPECT_EQ(list.Contains(&i), Render(list).find(i.name) != std::string::npos) << what;
  }
  // Walking backwards, a single node, merging and the end of the list.
  Item a('a'), b('b'), c('c'), d('d');
  WatchedList one, two;
  EXPECT_TRUE(one.Last() == nullptr && one.RemoveTail() == nullptr);
  one.AddTail(&a), one.AddTail(&b), two.AddTail(&c), two.AddTail(&d);
  EXPECT_TRUE(one.Prev(&b) == &a && one.Prev(&a) == nullptr);
  one.notices.clear(), two.notices.clear();
  one.Merge(two), one.Merge(one), one.Merge(two);
  EXPECT_EQ(Render(one) + Render(two), "abcd");
  EXPECT_EQ(one.notices, (Notices{"1c@4", "1d@4"}));
  EXPECT_EQ(two.notices, (Notices{"6-@2"}));
  {
    SCC_SList<Item> dying;
    dying.AddTail(&c);
  }
  EXPECT_EQ(c.GetNextNode(), nullptr);  // the list's end unlinks without deleting
}

// A list owns none of its nodes, so it offers no implicit copy (a copy of new nodes that
// nobody owns would leak as soon as it went out of scope). CopyFrom is the explicit form:
// its caller owns the copies and releases them with RemoveAllDelete.
TEST(SListTest, CopyingIsExplicit) {
  EXPECT_FALSE(std::is_copy_constructible_v<SCC_SList<Item>>);
  Item a('a'), b('b'), x('x');
  SCC_SList<Item> src;
  src.AddTail(&a), src.AddTail(&b);
  const int base = Item::live;
  WatchedList target;
  target.AddTail(&x);
  target.CopyFrom(src);
  target.CopyFrom(target);
  EXPECT_TRUE(Render(target) == "ab" && !target.Contains(&a));
  EXPECT_EQ(target.notices, (Notices{"1x@1", "6-@1", "1a@1", "1b@2"}));
  EXPECT_EQ(Item::live, base + 2);
  target.RemoveAllDelete();
  EXPECT_EQ(Item::live, base);
}

TEST(SListTest, IteratorWalksAndFollowsRemovals) {
  Item a('a'), b('b'), c('c'), d('d');
  WatchedList list;
  for (Item* n : {&a, &b, &c, &d}) list.AddTail(n);
  SCC_SListIterator<Item> it(list);
  it.SetHandle(3);
  EXPECT_EQ(it.GetNext(), &d);
  EXPECT_EQ(it.GetNext(), nullptr);
  EXPECT_TRUE(it.SetPosition(9) == nullptr && it.GetHandle() == 0 && it.SetPosition(-1) == nullptr);
  // Removing the focus while walking: the walk goes on with the node after it.
  std::string seen;
  it.Restart();
  while (Item* n = it.GetNext()) {
    seen += n->name;
    if (n == &a || n == &c) list.Remove(n);
  }
  EXPECT_EQ(seen + Render(list), "abcdbd");
  // Clearing drops the focus; copies register too and unregister when they die.
  it.GetFirst();
  {
    SCC_SListIterator<Item> copy(it);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(list.iterators.size(), 2u);
    list.RemoveAll();
    EXPECT_EQ(copy.GetFocus(), nullptr);
  }
  EXPECT_EQ(list.iterators.size(), 1u);
  EXPECT_TRUE(it.GetFocus() == nullptr && it.GetNext() == nullptr);
  // Over the base list the iterator walks but is told nothing.
  SCC_SList<Item> plain;
  plain.AddTail(&a), plain.AddTail(&b);
  SCC_SListIterator<Item> other;
  EXPECT_EQ(other.GetFirst(plain), &a);
  plain.Remove(&a);
  EXPECT_TRUE(other.GetFocus() == &a && other.GetHandle() == 0);  // no longer in the list
}

}  // namespace
