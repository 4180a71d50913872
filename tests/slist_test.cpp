// slist_test.cpp - tests of SCC_SList, its deliberate quirks, copying and its iterator.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "sccslist.h"

namespace {

struct Item : SCC_SListNode<Item> {
  static int live;
  char name;
  explicit Item(char n) : name(n) { ++live; }
  Item(const Item& o) : SCC_SListNode<Item>(o), name(o.name) { ++live; }
  Item& operator=(const Item&) = default;
  ~Item() { --live; }
};
int Item::live = 0;

// "abc" for a -> b -> c.
std::string Render(const SCC_SList<Item>& list) {
  std::string s;
  for (Item* p = list.First(); p; p = p->GetNextNode()) s += p->name;
  return s;
}

// A derived list that records what it is told and repairs its iterators, as the region list
// does.
class WatchedList : public SCC_SList<Item> {
 public:
  std::vector<std::string> notices;  // "1a", "2b", "6-"
  std::vector<long> countsAtNotice;
  mutable std::vector<SCC_SListIterator<Item>*> iterators;

  void RegisterIterator(SCC_SListIterator<Item>* it) const override { iterators.push_back(it); }
  void UnregisterIterator(SCC_SListIterator<Item>* it) const override { std::erase(iterators, it); }
  std::vector<std::string> Take() {
    countsAtNotice.clear();
    return std::exchange(notices, {});
  }

 protected:
  void Notify(int code, Item* node) override {
    notices.push_back(std::to_string(code) + (node ? node->name : '-'));
    countsAtNotice.push_back(GetCount());
    for (auto* it : iterators) it->OnUpdatePointers(code, node);
  }
};

using Notices = std::vector<std::string>;

TEST(SListTest, BuildAndWalk) {
  Item a('a'), b('b'), c('c'), d('d');
  WatchedList list;
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(list.Last(), nullptr);
  EXPECT_EQ(list.RemoveHead(), nullptr);
  EXPECT_EQ(list.RemoveTail(), nullptr);
  EXPECT_EQ(list.RemoveNext(nullptr), nullptr);
  EXPECT_EQ(list.Next(&a), nullptr);

  EXPECT_EQ(list.AddTail(&b), &b);  // empty: becomes the head
  EXPECT_EQ(list.AddHead(&a), &a);
  c.SetNextNode(&d);  // AddTail clears the link
  list.AddTail(&c);
  EXPECT_EQ(Render(list), "abc");
  list += d;
  EXPECT_EQ(Render(list), "abcd");
  EXPECT_EQ(list.Take(), (Notices{"1b", "1a", "1c", "1d"}));

  EXPECT_EQ(list.GetCount(), 4);
  EXPECT_EQ(list.First(), &a);
  EXPECT_EQ(list.Last(), &d);
  EXPECT_EQ(list.Next(&a), &b);
  EXPECT_EQ(list.Next(&d), nullptr);
  EXPECT_EQ(list.Prev(&c), &b);
  EXPECT_EQ(list.Prev(&a), nullptr);
  EXPECT_TRUE(list.Contains(&d));
  EXPECT_FALSE(list.Contains(nullptr));
  Item stranger('z');
  stranger.SetNextNode(&b);
  EXPECT_EQ(list.Next(&stranger), nullptr);  // not in the list
  EXPECT_FALSE(list.Contains(&stranger));

  // Null nodes do nothing.
  EXPECT_EQ(list.AddHead(nullptr), nullptr);
  EXPECT_EQ(list.AddTail(nullptr), nullptr);
  EXPECT_EQ(list.InsertAfter(&a, nullptr), nullptr);
  EXPECT_EQ(list.InsertBefore(&a, nullptr), nullptr);
  EXPECT_EQ(list.Remove(nullptr), nullptr);
  EXPECT_TRUE(list.Take().empty());
  EXPECT_EQ(Render(list), "abcd");
}

TEST(SListTest, InsertAfterLeavesTheNewLinkToTheCaller) {
  Item a('a'), b('b'), x('x');
  WatchedList list;
  list.AddTail(&a);
  list.AddTail(&b);
  list.Take();

  // x's link is not set: b drops out of the list, as designed.
  EXPECT_EQ(list.InsertAfter(&a, &x), &x);
  EXPECT_EQ(Render(list), "ax");
  EXPECT_EQ(list.Take(), (Notices{"1x"}));

  // Linked first, the rest stays.
  a.SetNextNode(&b);
  x.SetNextNode(&b);
  list.InsertAfter(&a, &x);
  EXPECT_EQ(Render(list), "axb");
  list.Take();

  // A null `after` makes x the head with two insertion notices.
  WatchedList single;
  Item c('c'), y('y');
  single.AddTail(&c);
  single.Take();
  single.InsertAfter(nullptr, &y);
  EXPECT_EQ(Render(single), "yc");
  EXPECT_EQ(single.Take(), (Notices{"1y", "1y"}));
}

TEST(SListTest, InsertBefore) {
  struct Case {
    const char* name;
    int before;  // index into a, b; -1 for null, 2 for a stranger
    const char* result;
    long countAtNotice;
  };
  const Case cases[] = {
      {"inner", 1, "axb", 3},
      {"head", 0, "xab", 2},  // announced before the head changes
      {"null appends", -1, "abx", 3},
      {"stranger", 2, "xab", 2},
  };
  for (const Case& c : cases) {
    Item a('a'), b('b'), x('x'), z('z');
    Item* nodes[] = {&a, &b, &z};
    WatchedList list;
    list.AddTail(&a);
    list.AddTail(&b);
    list.Take();
    EXPECT_EQ(list.InsertBefore(c.before < 0 ? nullptr : nodes[c.before], &x), &x) << c.name;
    EXPECT_EQ(Render(list), c.result) << c.name;
    EXPECT_EQ(list.countsAtNotice, (std::vector<long>{c.countAtNotice})) << c.name;
    EXPECT_EQ(list.Take(), (Notices{"1x"})) << c.name;
  }
}

TEST(SListTest, RemoveAndItsQuirk) {
  Item a('a'), b('b'), c('c'), z('z');
  WatchedList list;
  list.AddTail(&a);
  list.AddTail(&b);
  list.AddTail(&c);
  list.Take();

  EXPECT_EQ(list.Remove(&b), &b);
  EXPECT_EQ(b.GetNextNode(), nullptr);
  EXPECT_EQ(Render(list), "ac");
  EXPECT_EQ(list.countsAtNotice, (std::vector<long>{3}));  // before the removal
  EXPECT_EQ(list.Remove(&a), &a);
  EXPECT_EQ(Render(list), "c");
  EXPECT_EQ(list.Take(), (Notices{"2b", "2a"}));

  // Removing a node that is not in the list announces it and drops the head: intended.
  list.AddHead(&a);
  list.Take();
  z.SetNextNode(&c);
  EXPECT_EQ(list.Remove(&z), &z);
  EXPECT_EQ(z.GetNextNode(), nullptr);
  EXPECT_EQ(Render(list), "c");
  EXPECT_EQ(list.Take(), (Notices{"2z"}));
  EXPECT_EQ(a.GetNextNode(), &c);  // the dropped head keeps its link

  // RemoveNext, RemoveHead, RemoveTail.
  list.RemoveAll();
  for (Item* n : {&a, &b, &c}) list.AddTail(n);
  list.Take();
  EXPECT_EQ(list.RemoveNext(&a), &b);
  EXPECT_EQ(Render(list), "ac");
  EXPECT_EQ(list.RemoveNext(&c), nullptr);
  EXPECT_EQ(list.RemoveNext(nullptr), &a);
  EXPECT_EQ(Render(list), "c");
  list.AddHead(&b);
  EXPECT_EQ(list.RemoveTail(), &c);
  EXPECT_EQ(b.GetNextNode(), nullptr);
  EXPECT_EQ(list.RemoveTail(), &b);  // a single node empties the list
  EXPECT_TRUE(list.IsEmpty());
  list.AddTail(&a);
  EXPECT_EQ(list.RemoveHead(), &a);
  EXPECT_EQ(list.Take(), (Notices{"2b", "2a", "1b", "2c", "2b", "1a", "2a"}));
}

TEST(SListTest, ClearingNotifiesOnceFirst) {
  Item a('a'), b('b');
  WatchedList list;
  list.AddTail(&a);
  list.AddTail(&b);
  list.Take();
  list.RemoveAll();
  EXPECT_EQ(list.countsAtNotice, (std::vector<long>{2}));
  EXPECT_EQ(list.Take(), (Notices{"6-"}));
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(a.GetNextNode(), nullptr);

  ASSERT_EQ(Item::live, 2);
  list.AddTail(new Item('p'));
  list.AddTail(new Item('q'));
  list.Take();
  list.RemoveAllDelete();
  EXPECT_EQ(list.Take(), (Notices{"6-"}));
  EXPECT_EQ(Item::live, 2);
  list.RemoveAll();  // an empty list still announces
  EXPECT_EQ(list.Take(), (Notices{"6-"}));
}

TEST(SListTest, MergeMovesTheOtherListsNodes) {
  Item a('a'), b('b'), c('c'), d('d');
  WatchedList one, two;
  one.AddTail(&a);
  one.AddTail(&b);
  two.AddTail(&c);
  two.AddTail(&d);
  one.Take();
  two.Take();

  one.Merge(two);
  EXPECT_EQ(Render(one), "abcd");
  EXPECT_TRUE(two.IsEmpty());
  EXPECT_EQ(two.Take(), (Notices{"6-"}));
  EXPECT_EQ(one.Take(), (Notices{"1c", "1d"}));
  one.Merge(one);
  one.Merge(two);  // empty: nothing
  EXPECT_EQ(Render(one), "abcd");
  EXPECT_TRUE(one.Take().empty());

  two.Merge(one);  // into an empty list
  EXPECT_EQ(Render(two), "abcd");
  EXPECT_TRUE(one.IsEmpty());
}

// A list owns none of its nodes, so it offers no implicit copy (a copy of new nodes that
// nobody owns would leak as soon as it went out of scope). CopyFrom is the explicit form:
// its caller owns the copies and releases them with RemoveAllDelete.
TEST(SListTest, CopyingIsExplicit) {
  EXPECT_FALSE(std::is_copy_constructible_v<SCC_SList<Item>>);
  EXPECT_FALSE(std::is_copy_assignable_v<SCC_SList<Item>>);
  EXPECT_FALSE(std::is_copy_constructible_v<WatchedList>);

  Item a('a'), b('b'), c('c'), x('x');
  SCC_SList<Item> src;
  for (Item* n : {&a, &b, &c}) src.AddTail(n);
  const int base = Item::live;

  SCC_SList<Item> copy;
  copy.CopyFrom(src);
  EXPECT_EQ(Render(copy), "abc");
  EXPECT_EQ(Item::live, base + 3);
  for (Item* p = copy.First(); p; p = p->GetNextNode()) EXPECT_FALSE(src.Contains(p));

  WatchedList target;
  target.AddTail(&x);
  target.Take();
  target.CopyFrom(src);
  EXPECT_EQ(Render(target), "abc");
  EXPECT_EQ(target.Take(), (Notices{"6-", "1a", "1b", "1c"}));
  EXPECT_FALSE(target.Contains(&x));  // the old nodes are unlinked, not deleted
  EXPECT_EQ(Item::live, base + 6);
  target.CopyFrom(target);
  EXPECT_TRUE(target.Take().empty());
  EXPECT_EQ(Render(src), "abc");

  copy.RemoveAllDelete();
  target.RemoveAllDelete();
  EXPECT_EQ(Item::live, base);
}

TEST(SListTest, DestructorUnlinksWithoutDeleting) {
  Item a('a'), b('b');
  const int base = Item::live;
  {
    SCC_SList<Item> list;
    list.AddTail(&a);
    list.AddTail(&b);
  }
  EXPECT_EQ(a.GetNextNode(), nullptr);
  EXPECT_EQ(Item::live, base);

  // A copied node starts unlinked; assignment keeps the target's own link.
  a.SetNextNode(&b);
  Item copy(a);
  EXPECT_EQ(copy.GetNextNode(), nullptr);
  Item other('o');
  other.SetNextNode(&a);
  other = b;
  EXPECT_EQ(other.GetNextNode(), &a);
}

TEST(SListTest, IteratorWalksAndFollowsRemovals) {
  Item a('a'), b('b'), c('c'), d('d');
  WatchedList list;
  for (Item* n : {&a, &b, &c, &d}) list.AddTail(n);

  SCC_SListIterator<Item> it(list);
  EXPECT_EQ(list.iterators.size(), 1u);
  std::string walk;
  while (Item* n = it.GetNext()) walk += n->name;
  EXPECT_EQ(walk, "abcd");
  EXPECT_EQ(it.GetNext(), nullptr);
  it.Restart();
  EXPECT_EQ(it.GetNext(), &a);

  // Positions by handle and index.
  EXPECT_EQ(it.GetFirst(), &a);
  EXPECT_EQ(it.GetHandle(), 1);
  it.SetHandle(3);
  EXPECT_EQ(it.GetFocus(), &c);
  EXPECT_EQ(it.GetHandle(), 3);
  EXPECT_EQ(it.GetNext(), &d);
  EXPECT_EQ(it.SetPosition(9), nullptr);
  EXPECT_EQ(it.GetHandle(), 0);
  EXPECT_EQ(it.SetPosition(-1), nullptr);
  it.SetFocus(&c);
  it.Invalidate();
  EXPECT_FALSE(it.IsValid());
  EXPECT_EQ(it.GetNext(), nullptr);

  // Removing the focus while walking: the walk goes on with the node after it.
  std::string seen;
  it.Restart();
  while (Item* n = it.GetNext()) {
    seen += n->name;
    if (n == &a || n == &c) list.Remove(n);
  }
  EXPECT_EQ(seen, "abcd");
  EXPECT_EQ(Render(list), "bd");

  // Clearing drops the focus; copies register too and unregister when they die.
  it.GetFirst();
  {
    SCC_SListIterator<Item> copy(it);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(list.iterators.size(), 2u);
    EXPECT_EQ(copy.GetFocus(), &b);
    list.RemoveAll();
    EXPECT_EQ(copy.GetFocus(), nullptr);
  }
  EXPECT_EQ(list.iterators.size(), 1u);
  EXPECT_EQ(it.GetFocus(), nullptr);
  EXPECT_EQ(it.GetNext(), nullptr);

  // Over the base list the iterator walks but is told nothing.
  SCC_SList<Item> plain;
  plain.AddTail(&a);
  plain.AddTail(&b);
  SCC_SListIterator<Item> other;
  EXPECT_EQ(other.GetFirst(), nullptr);
  EXPECT_EQ(other.GetFirst(plain), &a);
  EXPECT_EQ(other.GetList(), &plain);
  plain.Remove(&a);
  EXPECT_EQ(other.GetFocus(), &a);
  EXPECT_EQ(other.GetHandle(), 0);  // no longer in the list
}

}  // namespace
