// array_test.cpp - SCC_Array: growth, sharing, element lifetimes and aliasing, notifications,
// iterators, the comparator sort and search, checked misuse, and SYS_QSort.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "failed_check.h"
#include "sccarray.h"
#include "ssm.h"

namespace {

constexpr const char* kSource = "system/scc/SCC_Array";

// Every live object is registered by address: constructing over a live object, destroying or
// reading a dead one, and leaks all show up.
struct Tracked {
  static std::set<const Tracked*>& Live() {
    static std::set<const Tracked*> live;
    return live;
  }
  int value = 0;
  Tracked() { Enter(); }
  Tracked(int v) : value(v) { Enter(); }  // NOLINT: convenient in tables
  Tracked(const Tracked& o) : value(o.value) { o.Check(), Enter(); }
  Tracked& operator=(const Tracked& o) {
    Check(), o.Check();
    value = o.value;
    return *this;
  }
  ~Tracked() { EXPECT_EQ(Live().erase(this), 1u) << "destroyed twice or never built"; }
  bool operator==(const Tracked& o) const { return value == o.value; }
  bool operator<(const Tracked& o) const { return value < o.value; }
  void Enter() { EXPECT_TRUE(Live().insert(this).second) << "built over a live object"; }
  void Check() const { EXPECT_EQ(Live().count(this), 1u) << "used while dead"; }
};

int ValueOf(int v) { return v; }
int ValueOf(const Tracked& t) { return t.value; }
template <class T>
std::vector<int> Values(const SCC_Array<T>& a) {
  std::vector<int> v;
  for (long i = 0; i < a.GetCount(); ++i) v.push_back(ValueOf(a.GetAt(i)));
  return v;
}
using V = std::vector<int>;

template <class T>
class OpenArray : public SCC_Array<T> {
 public:
  using _SCC_Array::GetBuffer;
};

// Notices as {code, handle or kind, first, count, count of the array when raised}.
using Notice = std::vector<long>;
std::vector<Notice>* g_notices = nullptr;
const _SCC_Array* g_watched = nullptr;
int Record(int code, int* data) {
  Notice n{code, 0, 0, 0, g_watched->GetCount()};
  if (code >= 1 && code <= 3) n[1] = *reinterpret_cast<long*>(data);
  if (code == 7) {
    const auto* p = reinterpret_cast<const SCC_ArrayPositions*>(data);
    n[1] = p->kind, n[2] = p->first, n[3] = p->count;
  }
  g_notices->push_back(n);
  return 0;
}

TEST(ArrayTest, GrowthFollowsTheDesignedSteps) {
  struct Case {
    long reserve, count, insert, capacity;
  } cases[] = {{0, 0, 1, 1},          {0, 0, 5, 5},          {10, 10, 1, 30},
               {10, 10, 50, 60},      {40, 10, 20, 40},      {6000, 6000, 1, 16000},
               {5000, 5000, 1, 15000}, {4000, 4000, 1, 12000}, {60000, 60000, 20000, 80000}};
  for (const Case& c : cases) {
    SCC_Array<std::string> s;  // the non-bitwise path takes the same steps as ints (below)
    if (c.reserve) s.Reserve(c.reserve);
    s.SetSize(c.count);
    s.Insert(c.count, c.insert);
    EXPECT_EQ(s.GetCapacity(), c.capacity) << c.reserve << "/" << c.insert;
  }
  // One at a time from empty: 1, 3, 9, 27, ... then linear.
  SCC_Array<int> a;
  std::vector<long> capacities;
  for (int i = 0; i < 40000; ++i) {
    a.Add(i);
    if (capacities.empty() || capacities.back() != a.GetCapacity())
      capacities.push_back(a.GetCapacity());
    ASSERT_TRUE(a.IsValid()) << i;  // a full buffer is a valid one
  }
  EXPECT_EQ(capacities,
            (std::vector<long>{1, 3, 9, 27, 81, 243, 729, 2187, 6561, 16561, 26561, 36561, 46561}));
}

TEST(ArrayTest, InsertDeleteAndResize) {
  SCC_Array<int> a;
  EXPECT_EQ(a.GetUpperBound(), -1);
  for (int i = 0; i < 10; ++i) a.Add(i);
  a.Insert(3, 2);
  EXPECT_EQ(Values(a), (V{0, 1, 2, 0, 0, 3, 4, 5, 6, 7, 8, 9}));
  a.Delete(0, 3);
  a.RemoveAt(a.GetUpperBound());
  EXPECT_EQ(Values(a), (V{0, 0, 3, 4, 5, 6, 7, 8}));
  a.InsertAt(1, 42, 3);
  EXPECT_EQ(Values(a), (V{0, 42, 42, 42, 0, 3, 4, 5, 6, 7, 8}));
  a.SetSize(3);
  a.SetSize(5);
  EXPECT_EQ(Values(a), (V{0, 42, 42, 0, 0}));
  // Writing past the end grows; reading past the end gives a default value.
  a[9] = 9;
  EXPECT_EQ(std::as_const(a)[100] + std::as_const(a).GetAt(-1) + a.GetCount(), 10);
  EXPECT_EQ(a.Find(9) * 10 + a.Find(77), 89);
  a.Clear();
  EXPECT_EQ(a.GetCapacity(), 0);
  EXPECT_TRUE(a.IsEmpty() && a.IsValid());
}

TEST(ArrayTest, CopiesShareUntilTheFirstWrite) {
  SCC_Array<int> src{1, 2, 3, 4};
  const int* before = std::as_const(src).GetData();
  using Write = void (*)(SCC_Array<int>&);
  const std::pair<const char*, Write> writes[] = {
      {"operator[]", [](SCC_Array<int>& a) { a[0] = 9; }},
      {"Insert", [](SCC_Array<int>& a) { a.Insert(1, 1); }},
      {"Delete", [](SCC_Array<int>& a) { a.Delete(0, 1); }},
      {"GetData", [](SCC_Array<int>& a) { a.GetData()[0] = 9; }},
      {"SetAt", [](SCC_Array<int>& a) { a.SetAt(3, 9); }},
      {"Sort", [](SCC_Array<int>& a) { a.SetComparator(new SCC_LessComparator<int>), a.Sort(-1); }},
  };
  for (const auto& [name, write] : writes) {
    SCC_Array<int> copy(src);
    EXPECT_TRUE(copy.IsShared()) << name;
    EXPECT_EQ(std::as_const(copy).GetData(), before) << name;  // const view: no separation
    write(copy);
    EXPECT_FALSE(copy.IsShared() || src.IsShared()) << name;
    EXPECT_EQ(Values(src), (V{1, 2, 3, 4})) << name;
    EXPECT_EQ(std::as_const(src).GetData(), before) << name;
  }
  SCC_Array<int> a{7};
  a = src;
  a.Clear();  // the other keeps the buffer
  EXPECT_EQ(Values(src), (V{1, 2, 3, 4}));
}

// A value passed by reference may be an element of the very array that is changed: each
// member reads it before the array grows or separates, whatever the element type.
TEST(ArrayTest, ElementArgumentsMayLiveInTheArray) {
  using Change = std::function<void(SCC_Array<Tracked>&)>;
  const std::tuple<const char*, Change, V> cases[] = {
      {"SetAt past the end", [](auto& a) { a.SetAt(a.GetSize() + 2, a.GetAt(0)); }, {1, 2, 3, 0, 0, 1}},
      {"SetAt at the end", [](auto& a) { a.SetAt(a.GetSize(), a.GetAt(2)); }, {1, 2, 3, 3}},
      {"SetAt in place", [](auto& a) { a.SetAt(0, a.GetAt(2)); }, {3, 2, 3}},
      {"Add", [](auto& a) { a.Add(a.GetAt(1)); }, {1, 2, 3, 2}},
      {"InsertAt", [](auto& a) { a.InsertAt(0, a.GetAt(2), 2); }, {3, 3, 1, 2, 3}},
      {"AddSorted",
       [](auto& a) { a.SetComparator(new SCC_LessComparator<Tracked>), a.AddSorted(a.GetAt(0)); },
       {1, 1, 2, 3}},
  };
  for (const auto& [what, change, expected] : cases) {
    SCOPED_TRACE(what);
    SCC_Array<Tracked> a{1, 2, 3};  // full: capacity 3, so every growth moves the elements
    ASSERT_EQ(a.GetCapacity(), 3);
    change(a);
    EXPECT_EQ(Values(a), expected);
    // The same through a copy that shares the buffer: the write separates first.
    SCC_Array<Tracked> shared{1, 2, 3};
    const SCC_Array<Tracked> keep(shared);
    change(shared);
    EXPECT_EQ(Values(shared), expected);
    EXPECT_EQ(Values(keep), (V{1, 2, 3}));
  }
}

TEST(ArrayTest, ElementsAreBuiltAndDestroyedOnce) {
  ASSERT_TRUE(Tracked::Live().empty());
  {
    SCC_Array<Tracked> a;
    for (int i = 0; i < 50; ++i) a.Add(Tracked(i));  // grows through new buffers
    a.Insert(10, 5);                                 // in place, gap
    a.Insert(0, 100);                                // new buffer, gap
    a.Delete(3, 20);                                 // hole
    a.SetSize(100);                                  // shrink
    a.SetSize(120);                                  // grow in place
    a.InsertAt(5, a[7], 2);
    {
      SCC_Array<Tracked> copy(a);  // share
      copy.Delete(0, 1);           // separation with a hole
      SCC_Array<Tracked> other(a);
      other[0] = Tracked(-1);  // separation
      a = other;               // assignment drops a's buffer
    }
    EXPECT_EQ(a[0].value, -1);
    EXPECT_EQ(Tracked::Live().size(), 122u);
    a.SetComparator(new SCC_LessComparator<Tracked>);
    a.Clear();
    EXPECT_TRUE(Tracked::Live().empty());
  }
}

TEST(ArrayTest, NotificationOrderAndPayloads) {
  SCC_Array<int> a{10, 11, 12, 13, 14};
  std::vector<Notice> log;
  g_notices = &log, g_watched = &a;
  SCC_EventHook<int> hook(&Record);
  a.AddListener(&hook);
  auto take = [&] { return std::exchange(log, {}); };
  using N = std::vector<Notice>;
  a.Insert(2, 3);  // insertion: 7 first, then each new element
  EXPECT_EQ(take(), (N{{7, 1, 2, 3, 8}, {1, 3, 0, 0, 8}, {1, 4, 0, 0, 8}, {1, 5, 0, 0, 8}}));
  a.Delete(1, 3);  // removal notices all name the first position and come before the removal
  EXPECT_EQ(take(), (N{{2, 2, 0, 0, 8}, {2, 2, 0, 0, 8}, {2, 2, 0, 0, 8}, {7, 2, 1, 3, 8}}));
  a.Add(99);
  EXPECT_EQ(take(), (N{{7, 1, 5, 1, 6}, {1, 6, 0, 0, 6}}));
  a[7] = 1;  // growth by access
  EXPECT_EQ(take(), (N{{7, 1, 6, 2, 8}, {1, 7, 0, 0, 8}, {1, 8, 0, 0, 8}}));
  a.SetSize(6);
  EXPECT_EQ(take(), (N{{2, 7, 0, 0, 8}, {2, 7, 0, 0, 8}, {7, 2, 6, 2, 8}}));
  a.Sort(0, 1, 1);  // one element: no event
  a.Delete(0, 0), a.Insert(0, 0);
  EXPECT_TRUE(take().empty());
  SCC_Array<int> other{1};
  a = other;
  a = std::as_const(a);
  a.Clear();
  a.Clear();  // no buffer: nothing
  EXPECT_EQ(take(), (N{{5, 0, 0, 0, 1}, {6, 0, 0, 0, 0}}));
  g_notices = nullptr, g_watched = nullptr;
}

TEST(ArrayTest, IteratorsFollowTheirElements) {
  SCC_Array<int> a;
  for (int i = 0; i < 10; ++i) a.Add(i);
  std::vector<SCC_ArrayIterator<int>> its(10);
  for (long i = 0; i < 10; ++i) its[i].SetHandle(i + 1, a);
  a.Delete(2, 3);
  const long afterDelete[] = {0, 1, -1, -1, -1, 2, 3, 4, 5, 6};
  for (long i = 0; i < 10; ++i) EXPECT_EQ(its[i].GetFocus(), afterDelete[i]) << i;
  EXPECT_EQ(*its[9] * 10 + (its[2].Get() == nullptr), 91);
  a.Insert(1, 2);
  EXPECT_EQ(its[0].GetFocus() + its[1].GetFocus() * 10 + its[9].GetFocus() * 100, 830);
  EXPECT_EQ(its[3].GetFocus(), -1);  // an invalid focus stays invalid
  a.Clear();
  EXPECT_EQ(its[9].GetFocus(), -1);
}

TEST(ArrayTest, FindPositionIsTheEqualRange) {
  long lo, hi;
  // Against std::equal_range on random sorted data (empty, single and all-equal arrays
  // included); AddSorted lands after equal keys.
  std::mt19937 gen(7);
  for (int round = 0; round < 200; ++round) {
    V v(round < 40 ? round % 4 : gen() % 40);
    SCC_Array<int> s;
    s.SetComparator(new SCC_LessComparator<int>);
    for (int& x : v) {
      x = static_cast<int>(gen() % 12);
      const long at = s.AddSorted(x);
      ASSERT_EQ(at, std::upper_bound(s.begin(), s.begin() + at, x) - s.begin());
    }
    std::sort(v.begin(), v.end());
    ASSERT_EQ(Values(s), v);
    for (int item = -1; item <= 12; ++item) {
      const auto [first, last] = std::equal_range(v.begin(), v.end(), item);
      s.FindPosition(item, lo, hi);
      ASSERT_EQ(std::make_pair(lo, hi), std::make_pair(first - v.begin(), last - v.begin()));
    }
  }
}

V MakeInput(int kind, int n, std::mt19937& gen) {
  V v(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const int values[] = {static_cast<int>(gen()), static_cast<int>(gen() % 4), i, n - i, 3,
                          (i % 2) ? i : n - i};  // random, duplicates, sorted, reversed, equal, pipe
    v[i] = values[kind];
  }
  return v;
}

TEST(ArrayTest, SortMatchesStdSort) {
  std::mt19937 gen(42);
  // The designed partition walks over every key equal to the pivot, so few distinct keys
  // make it quadratic: those inputs stay at moderate sizes.
  for (int kind = 0; kind < 6; ++kind) {
    for (int n : {0, 1, 2, 3, 8, 9, 10, 17, 100, 1000, 20000}) {
      const V input = MakeInput(kind, n, gen);
      for (int direction : {1, -1}) {
        SCC_Array<int> a;
        for (int x : input) a.Add(x);
        a.SetComparator(new SCC_LessComparator<int>);
        a.Sort(direction);
        V expected = input;
        std::sort(expected.begin(), expected.end());
        if (direction < 0) std::reverse(expected.begin(), expected.end());
        ASSERT_EQ(Values(a), expected) << kind << " n=" << n << " dir=" << direction;
        for (long i = 0; i < a.GetCount(); i += 1 + a.GetCount() / 50)
          ASSERT_TRUE(a.ItemInValidPlace(i)) << kind << " " << i;
      }
    }
  }
  // A sub-range only; the rest stays where it was.
  SCC_Array<int> a{9, 8, 7, 6, 5, 4, 3, 2, 1, 0, -1, -2};
  SCC_SharedPointer<SCC_ComparatorBase> cmp(new SCC_LessComparator<int>);
  a.SetComparator(cmp);
  a.Sort(2, 9, -1);
  EXPECT_EQ(Values(a), (V{-2, -1, 8, 7, 6, 5, 4, 3, 2, 1, 0, 9}));
  a.Sort(0);  // keeps the present direction
  EXPECT_EQ(Values(a), (V{9, 8, 7, 6, 5, 4, 3, 2, 1, 0, -1, -2}));
}

TEST(ArrayTest, MisuseFailsChecksAtItsSites) {
  OpenArray<int> a;
  a.SetSize(3);
  _SCC_Array::_Buffer* b = a.GetBuffer();
  const std::tuple<const char*, std::function<void()>, int> cases[] = {
      {"unowned buffer", [&] { b->refCount = 0, a.IsValid(); }, 105},
      {"negative count", [&] { b->count = -1, a.IsValid(); }, 109},
      {"count over capacity", [&] { b->count = 100, a.IsValid(); }, 113},
      {"negative index", [&] { a[-1] = 1; }, 601},
      {"insert past the end", [&] { a.Insert(4, 1); }, 602},
      {"negative insert", [&] { a.Insert(0, -1); }, 602},
      {"delete past the end", [&] { a.Delete(2, 2); }, 603},
      {"negative size", [&] { a.SetSize(-1); }, 604},
  };
  // Without an assertion service a failed check continues; with one, internal errors throw.
  // Either way the array is left as it was.
  for (int live = 0; live < 2; ++live) {
    std::optional<SSM> ssm;
    if (live) ssm.emplace();
    for (const auto& [what, body, site] : cases) {
      const _SCC_Array::_Buffer saved = *b;
      EXPECT_EQ(FailedLine(kSource, body), live ? site : 0) << what;
      *b = saved;
      EXPECT_EQ(a.GetCount(), 3) << what;
    }
  }
}

template <int W>
void CheckQSortWidth(std::mt19937& gen) {
  for (int n : {0, 1, 2, 7, 8, 9, 31, 1000, 20000}) {
    std::vector<std::array<unsigned char, W>> v(static_cast<std::size_t>(n));
    for (auto& r : v)
      for (auto& b : r) b = static_cast<unsigned char>(gen() % (n % 2 ? 3 : 256));  // duplicates
    auto expected = v;
    std::sort(expected.begin(), expected.end());
    SYS_QSort(v.data(), static_cast<unsigned>(n), W,
              [](const void* x, const void* y) { return std::memcmp(x, y, W); });
    ASSERT_EQ(v, expected) << "width " << W << " n " << n;
  }
}

TEST(ArrayTest, SysQSortOnOddWidths) {
  std::mt19937 gen(5);
  CheckQSortWidth<1>(gen), CheckQSortWidth<4>(gen), CheckQSortWidth<13>(gen);
  SYS_QSort(nullptr, 5, 4, nullptr);  // ignored
}

}  // namespace
