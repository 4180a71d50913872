// array_test.cpp - tests of SCC_Array: growth, sharing, element lifetimes, notifications,
// iterators, the comparator sort and search, and SYS_QSort.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sccarray.h"
#include "sccstack.h"
#include "ssm.h"

static_assert(SCC_IsBitwiseMovable<int>::value);
static_assert(!SCC_IsBitwiseMovable<std::string>::value);
static_assert(sizeof(_SCC_Array::_Buffer) == 16);

namespace {

// ---------------------------------------------------------------------------------------------
// Element types that watch their own lifetimes.

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
  Tracked(const Tracked& o) : value(o.value) {
    o.Check();
    Enter();
  }
  Tracked(Tracked&& o) noexcept : value(o.value) {
    o.Check();
    Enter();
  }
  Tracked& operator=(const Tracked& o) {
    Check();
    o.Check();
    value = o.value;
    return *this;
  }
  ~Tracked() { EXPECT_EQ(Live().erase(this), 1u) << "destroyed twice or never built"; }
  bool operator==(const Tracked& o) const { return value == o.value; }
  bool operator<(const Tracked& o) const { return value < o.value; }

 private:
  void Enter() { EXPECT_TRUE(Live().insert(this).second) << "built over a live object"; }
  void Check() const { EXPECT_EQ(Live().count(this), 1u) << "used while dead"; }
};

// Owns heap memory and opts in to bytewise moves: the realloc path must neither leak nor
// free twice (ASan reports both).
struct Boxed {
  using SCC_BitwiseMovable = void;
  static int live;
  int* p;
  Boxed() : p(new int(0)) { ++live; }
  Boxed(int v) : p(new int(v)) { ++live; }  // NOLINT
  Boxed(const Boxed& o) : p(new int(*o.p)) { ++live; }
  Boxed& operator=(const Boxed& o) {  // NOLINT(bugprone-unhandled-self-assignment): safe
    *p = *o.p;
    return *this;
  }
  ~Boxed() {
    delete p;
    --live;
  }
};
int Boxed::live = 0;
static_assert(SCC_IsBitwiseMovable<Boxed>::value);

template <class T>
std::vector<int> Values(const SCC_Array<T>& a) {
  std::vector<int> v;
  for (long i = 0; i < a.GetCount(); ++i) {
    if constexpr (std::is_same_v<T, int>)
      v.push_back(a.GetAt(i));
    else if constexpr (std::is_same_v<T, Boxed>)
      v.push_back(*a.GetAt(i).p);
    else
      v.push_back(a.GetAt(i).value);
  }
  return v;
}

// Exposes the protected members a derived array may use.
template <class T>
class OpenArray : public SCC_Array<T> {
 public:
  using _SCC_Array::CheckArray;
  using _SCC_Array::CopyData;
  using _SCC_Array::FindItemPosition;
  using _SCC_Array::GetBuffer;
  using _SCC_Array::GetGrowByAmount;
  using _SCC_Array::SeparateBuffers;
};

// ---------------------------------------------------------------------------------------------
// Notification recording

struct Notice {
  int code;
  long a, b, c;  // handle for 1/2/3, the positions record for 7
  long countWhenRaised;
  bool operator==(const Notice& o) const {
    return code == o.code && a == o.a && b == o.b && c == o.c &&
           countWhenRaised == o.countWhenRaised;
  }
};
std::ostream& operator<<(std::ostream& os, const Notice& n) {
  return os << "{" << n.code << ": " << n.a << "," << n.b << "," << n.c
            << " n=" << n.countWhenRaised << "}";
}

std::vector<Notice>* g_notices = nullptr;
const _SCC_Array* g_watched = nullptr;

int Record(int code, int* data) {
  Notice n{code, 0, 0, 0, g_watched ? g_watched->GetCount() : -1};
  if ((code == 1 || code == 2 || code == 3) && data) n.a = *reinterpret_cast<long*>(data);
  if (code == 7 && data) {
    const auto* p = reinterpret_cast<const SCC_ArrayPositions*>(data);
    n.a = p->kind;
    n.b = p->first;
    n.c = p->count;
  }
  g_notices->push_back(n);
  return 0;
}

class Recorder {
 public:
  explicit Recorder(_SCC_Array& a) : m_hook(&Record) {
    g_notices = &m_notices;
    g_watched = &a;
    a.AddListener(&m_hook);
  }
  ~Recorder() {
    g_notices = nullptr;
    g_watched = nullptr;
  }
  std::vector<Notice> Take() { return std::exchange(m_notices, {}); }

 private:
  std::vector<Notice> m_notices;
  SCC_EventHook<int> m_hook;
};

// ---------------------------------------------------------------------------------------------

TEST(ArrayTest, GrowthFollowsTheDesignedSteps) {
  struct Case {
    const char* name;
    long reserve, count, insert, capacity;
  };
  const Case cases[] = {
      {"first insert of one", 0, 0, 1, 1},
      {"first insert of five", 0, 0, 5, 5},
      {"full 10 plus one", 10, 10, 1, 30},
      {"full 10 plus fifty", 10, 10, 50, 60},
      {"room left stays", 40, 10, 20, 40},
      {"6000 grows by 10000", 6000, 6000, 1, 16000},
      {"5000 grows by 10000", 5000, 5000, 1, 15000},
      {"4000 grows by 8000", 4000, 4000, 1, 12000},
      {"60000 plus 20000", 60000, 60000, 20000, 80000},
  };
  for (const Case& c : cases) {
    SCC_Array<int> a;
    SCC_Array<std::string> s;  // the non-bitwise path takes the same steps
    if (c.reserve) {
      a.Reserve(c.reserve);
      s.Reserve(c.reserve);
    }
    a.SetSize(c.count);
    s.SetSize(c.count);
    ASSERT_EQ(a.GetCapacity(), c.reserve ? c.reserve : 0) << c.name;
    a.Insert(c.count, c.insert);
    s.Insert(c.count, c.insert);
    EXPECT_EQ(a.GetCapacity(), c.capacity) << c.name;
    EXPECT_EQ(s.GetCapacity(), c.capacity) << c.name;
    EXPECT_EQ(a.GetCount(), c.count + c.insert) << c.name;
  }

  // One at a time from empty: 1, 3, 9, 27, ... then linear.
  SCC_Array<int> a;
  std::vector<long> capacities;
  for (int i = 0; i < 40000; ++i) {
    a.Add(i);
    if (capacities.empty() || capacities.back() != a.GetCapacity())
      capacities.push_back(a.GetCapacity());
  }
  EXPECT_EQ(capacities,
            (std::vector<long>{1, 3, 9, 27, 81, 243, 729, 2187, 6561, 16561, 26561, 36561, 46561}));
  EXPECT_EQ(Values(a)[39999], 39999);

  OpenArray<int> o;
  EXPECT_EQ(o.GetGrowByAmount(), 1);
  o.SetSize(3);
  EXPECT_EQ(o.GetGrowByAmount(), 6);
  o.SetSize(7000);
  EXPECT_EQ(o.GetGrowByAmount(), 10000);
}

TEST(ArrayTest, InsertDeleteAndResize) {
  SCC_Array<int> a;
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_EQ(a.GetUpperBound(), -1);
  for (int i = 0; i < 10; ++i) a.Add(i);
  a.Insert(3, 2);
  EXPECT_EQ(Values(a), (std::vector<int>{0, 1, 2, 0, 0, 3, 4, 5, 6, 7, 8, 9}));
  a.Delete(0, 3);
  a.RemoveAt(a.GetUpperBound());
  EXPECT_EQ(Values(a), (std::vector<int>{0, 0, 3, 4, 5, 6, 7, 8}));
  a.InsertAt(1, 42, 3);
  EXPECT_EQ(Values(a), (std::vector<int>{0, 42, 42, 42, 0, 3, 4, 5, 6, 7, 8}));
  a.InsertAt(0, a[3]);  // an element of the array itself
  EXPECT_EQ(a[0], 42);
  a.SetSize(3);
  EXPECT_EQ(Values(a), (std::vector<int>{42, 0, 42}));
  a.SetSize(5);
  EXPECT_EQ(Values(a), (std::vector<int>{42, 0, 42, 0, 0}));
  a.Insert(2, 0);  // nothing
  EXPECT_EQ(a.GetCount(), 5);

  // Writing past the end grows; reading past the end gives a default value.
  a[9] = 9;
  EXPECT_EQ(a.GetCount(), 10);
  EXPECT_EQ(a[8], 0);
  const SCC_Array<int>& ca = a;
  EXPECT_EQ(ca[100], 0);
  EXPECT_EQ(ca.GetAt(-1), 0);
  EXPECT_EQ(a.GetCount(), 10);

  EXPECT_EQ(a.Find(9), 9);
  EXPECT_EQ(a.Find(77), -1);

  a.Clear();
  EXPECT_EQ(a.GetCapacity(), 0);
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_TRUE(a.IsValid());
  a.Add(1);
  EXPECT_EQ(a.GetCount(), 1);

  SCC_Array<int> init{5, 6, 7};
  EXPECT_EQ(Values(init), (std::vector<int>{5, 6, 7}));
}

TEST(ArrayTest, CopiesShareUntilTheFirstWrite) {
  SCC_Array<int> src{1, 2, 3, 4};
  const int* before = std::as_const(src).GetData();

  using Write = void (*)(SCC_Array<int>&);
  const std::pair<const char*, Write> writes[] = {
      {"operator[]", [](SCC_Array<int>& a) { a[0] = 9; }},
      {"Insert", [](SCC_Array<int>& a) { a.Insert(1, 1); }},
      {"Delete", [](SCC_Array<int>& a) { a.Delete(0, 1); }},
      {"SetSize same", [](SCC_Array<int>& a) { a.SetSize(4); }},
      {"Add", [](SCC_Array<int>& a) { a.Add(5); }},
      {"GetData", [](SCC_Array<int>& a) { a.GetData()[0] = 9; }},
      {"SetAt", [](SCC_Array<int>& a) { a.SetAt(3, 9); }},
      {"Sort",
       [](SCC_Array<int>& a) {
         a.SetComparator(new SCC_LessComparator<int>);
         a.Sort(-1);
       }},
  };
  for (const auto& [name, write] : writes) {
    SCC_Array<int> copy(src);
    EXPECT_TRUE(copy.IsShared()) << name;
    EXPECT_EQ(std::as_const(copy).GetData(), before) << name;  // const view: no separation
    write(copy);
    EXPECT_FALSE(copy.IsShared()) << name;
    EXPECT_FALSE(src.IsShared()) << name;
    EXPECT_EQ(Values(src), (std::vector<int>{1, 2, 3, 4})) << name;
    EXPECT_EQ(std::as_const(src).GetData(), before) << name;
    if (std::string(name) != "SetSize same") {
      EXPECT_NE(Values(copy), Values(src)) << name;
    }
  }

  SCC_Array<int> a{7};
  SCC_Array<int> b;
  b = src;
  a = src;
  a = std::as_const(a);  // itself: nothing
  EXPECT_EQ(Values(a), Values(src));
  EXPECT_TRUE(src.IsShared());
  a.Clear();  // the others keep the buffer
  b.Clear();
  EXPECT_FALSE(src.IsShared());
  EXPECT_EQ(Values(src), (std::vector<int>{1, 2, 3, 4}));

  // A shared buffer separates with its capacity; Reserve of a shared buffer separates.
  SCC_Array<int> c(src);
  c.Reserve(2);
  EXPECT_FALSE(src.IsShared());
  EXPECT_EQ(c.GetCapacity(), src.GetCapacity());
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
      EXPECT_EQ(a[0].value, -1);
    }
    EXPECT_EQ(Tracked::Live().size(), 122u);
    a.SetComparator(new SCC_LessComparator<Tracked>);
    a.Sort(-1);
    a.Clear();
    EXPECT_TRUE(Tracked::Live().empty());
    a.Add(Tracked(1));
    SCC_Array<Tracked> b(a);
  }
  EXPECT_TRUE(Tracked::Live().empty());

  ASSERT_EQ(Boxed::live, 0);
  {
    SCC_Array<Boxed> a;
    for (int i = 0; i < 30000; ++i) a.Add(Boxed(i));  // realloc growth
    a.Insert(100, 3);
    a.Delete(0, 50);
    SCC_Array<Boxed> copy(a);
    copy.Add(Boxed(5));
    EXPECT_EQ(*a[0].p, 50);
    EXPECT_EQ(*a[53].p, 100);
    EXPECT_EQ(Boxed::live, 2 * 29953 + 1);
  }
  EXPECT_EQ(Boxed::live, 0);
}

TEST(ArrayTest, NotificationOrderAndPayloads) {
  SCC_Array<int> a{10, 11, 12, 13, 14};
  Recorder rec(a);

  a.Insert(2, 3);
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{
                            {7, 1, 2, 3, 8}, {1, 3, 0, 0, 8}, {1, 4, 0, 0, 8}, {1, 5, 0, 0, 8}}));
  // Removal notices all name the first position and come before the removal.
  a.Delete(1, 3);
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{
                            {2, 2, 0, 0, 8}, {2, 2, 0, 0, 8}, {2, 2, 0, 0, 8}, {7, 2, 1, 3, 8}}));
  a.Add(99);
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{{7, 1, 5, 1, 6}, {1, 6, 0, 0, 6}}));
  EXPECT_EQ(a[5], 99);
  a[7] = 1;  // growth by access
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{{7, 1, 6, 2, 8}, {1, 7, 0, 0, 8}, {1, 8, 0, 0, 8}}));
  a.SetSize(6);
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{{2, 7, 0, 0, 8}, {2, 7, 0, 0, 8}, {7, 2, 6, 2, 8}}));

  a.SetComparator(new SCC_LessComparator<int>);
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{{5, 0, 0, 0, 6}}));
  a.Sort(0, 1, 1);  // one element: no event
  a.Sort(-1, 5, 1);
  a.Sort(2, 5, 1);  // past the end: nothing
  EXPECT_TRUE(rec.Take().empty());

  SCC_Array<int> other{1};
  a = other;
  a = std::as_const(a);
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{{5, 0, 0, 0, 1}}));
  a.Clear();
  a.Clear();  // no buffer: nothing
  EXPECT_EQ(rec.Take(), (std::vector<Notice>{{6, 0, 0, 0, 0}}));
  a.Delete(0, 0);
  a.Insert(0, 0);
  EXPECT_TRUE(rec.Take().empty());
}

TEST(ArrayTest, ListenersSeeTheElementsTheyAreToldAbout) {
  static SCC_Array<int>* watched;
  static std::vector<int> seen;
  SCC_Array<int> a{1, 2, 3};
  watched = &a;
  seen.clear();
  SCC_EventHook<int> hook([](int code, int* data) {
    if (code == 1 || code == 2) seen.push_back(watched->GetAt(*reinterpret_cast<long*>(data) - 1));
    return 0;
  });
  a.AddListener(&hook);
  a.Add(4);
  a.InsertAt(0, 7);
  a.Delete(1, 1);
  EXPECT_EQ(seen, (std::vector<int>{4, 7, 1}));
  a.RemoveListener(&hook);
  a.Add(5);
  EXPECT_EQ(seen.size(), 3u);

  // A listener that shrinks the array during the removal notices leaves nothing to crash on.
  static bool shrunk;
  shrunk = false;
  SCC_EventHook<int> shrinker([](int code, int*) {
    if (code == 7 && !shrunk) {
      shrunk = true;
      watched->SetSize(1);
    }
    return 0;
  });
  a.AddListener(&shrinker);
  a.Delete(2, 3);
  EXPECT_EQ(a.GetCount(), 1);
  EXPECT_EQ(a[0], 7);
  watched = nullptr;
}

TEST(ArrayTest, IteratorsFollowTheirElements) {
  SCC_Array<int> a;
  for (int i = 0; i < 10; ++i) a.Add(i);
  std::vector<SCC_ArrayIterator<int>> its(10);
  for (long i = 0; i < 10; ++i) its[i].SetHandle(i + 1, a);

  a.Delete(2, 3);
  const long afterDelete[] = {0, 1, -1, -1, -1, 2, 3, 4, 5, 6};
  for (long i = 0; i < 10; ++i) {
    EXPECT_EQ(its[i].GetFocus(), afterDelete[i]) << i;
    if (afterDelete[i] >= 0) {
      EXPECT_EQ(*its[i], static_cast<int>(i)) << i;
    }
  }
  EXPECT_EQ(its[2].GetHandle(), 0);
  EXPECT_FALSE(its[2].IsValid());
  EXPECT_EQ(its[2].Get(), nullptr);

  a.Insert(1, 2);
  EXPECT_EQ(its[0].GetFocus(), 0);
  EXPECT_EQ(its[1].GetFocus(), 3);
  EXPECT_EQ(its[9].GetFocus(), 8);
  EXPECT_EQ(its[3].GetFocus(), -1);  // an invalid focus stays invalid
  EXPECT_EQ(*its[9], 9);

  // Stepping, handles and the first position.
  SCC_ArrayIterator<int> it;
  EXPECT_EQ(it.GetHandle(), 0);
  EXPECT_TRUE(it.GetFirst(a));
  EXPECT_EQ(it.GetHandle(), 1);
  ++it;
  ++it;
  EXPECT_EQ(it.GetFocus(), 2);
  --it;
  EXPECT_EQ(it.GetHandle(), 2);
  it.SetFocus(a.GetCount());
  EXPECT_FALSE(it.IsValid());
  it.Invalidate();
  EXPECT_FALSE(it.HasValidFocus());

  // The iterator's change event repeats the array's notices after the focus moved.
  static long focusSeen;
  static SCC_ArrayIterator<int>* watchedIt;
  watchedIt = &its[9];
  focusSeen = -2;
  SCC_EventHook<int> hook(
      [](int code, int*) {
        if (code == 7) focusSeen = watchedIt->GetFocus();
        return 0;
      },
      &its[9].GetChangeEvent());
  a.Delete(0, 1);
  EXPECT_EQ(focusSeen, 7);

  // A copy watches the same array; sorting leaves the index alone; Clear drops it.
  SCC_ArrayIterator<int> copy(its[9]);
  a.Insert(0, 1);
  EXPECT_EQ(copy.GetFocus(), 8);
  a.SetComparator(new SCC_LessComparator<int>);
  EXPECT_EQ(copy.GetFocus(), 8);
  a.Clear();
  EXPECT_EQ(copy.GetFocus(), -1);
  EXPECT_NE(copy.GetArray(), nullptr);

  // The array's death leaves its iterators without an array.
  SCC_ArrayIterator<int> orphan;
  {
    SCC_Array<int> b{1, 2};
    orphan.SetHandle(2, b);
    EXPECT_EQ(orphan.GetHandle(), 2);
  }
  EXPECT_EQ(orphan.GetArray(), nullptr);
  EXPECT_EQ(orphan.GetHandle(), 0);
  EXPECT_EQ(orphan.Get(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Order

TEST(ArrayTest, FindItemPosition) {
  struct Case {
    std::vector<int> values;
    int item;
    long lo, hi;
  };
  const Case cases[] = {
      {{1, 3, 5}, 4, 2, 2},
      {{2, 2, 3}, 2, 0, 2},
      {{2, 2, 3}, 0, 0, 0},
      {{2, 2, 3}, 9, 3, 3},
      {{7, 7, 7}, 7, 0, 3},
      {{1, 3, 5}, 5, 2, 3},
      {{1, 3, 5}, 1, 0, 1},
      {{1, 3, 5}, 2, 1, 1},
      {{}, 4, 0, 0},
      {{4}, 4, 0, 1},
      {{4}, 5, 1, 1},
      {{4}, 3, 0, 0},
      {{1, 2, 2, 2, 2, 2, 9}, 2, 1, 6},
      {{1, 3, 3, 3, 5, 6, 7, 8, 9, 10, 11}, 3, 1, 4},
      {{1, 3, 3, 3, 5, 6, 7, 8, 9, 10, 11}, 10, 9, 10},
      {{1, 3, 3, 3, 5, 6, 7, 8, 9, 10, 11}, 4, 4, 4},
  };
  for (const Case& c : cases) {
    OpenArray<int> a;
    for (int v : c.values) a.Add(v);
    a.SetComparator(new SCC_LessComparator<int>);
    long lo = -9, hi = -9;
    a.FindItemPosition(&c.item, lo, hi, nullptr);
    EXPECT_EQ(lo, c.lo) << "item " << c.item << " in " << c.values.size() << " values";
    EXPECT_EQ(hi, c.hi) << "item " << c.item << " in " << c.values.size() << " values";
  }

  // Without a comparator: the whole array; with an explicit one: that one.
  OpenArray<int> a;
  a.Add(5);
  a.Add(1);
  long lo, hi;
  const int item = 1;
  a.FindItemPosition(&item, lo, hi, nullptr);
  EXPECT_EQ(lo, 0);
  EXPECT_EQ(hi, 1);
  SCC_SharedPointer<SCC_ComparatorBase> desc(new SCC_LessComparator<int>);
  desc->SetDescending(1);
  EXPECT_EQ(a.FindPosition(item, lo, hi, desc), 1);
  EXPECT_EQ(lo, 1);

  // Against std::equal_range on random sorted data.
  std::mt19937 gen(7);
  for (int round = 0; round < 200; ++round) {
    std::vector<int> v(gen() % 40);
    for (int& x : v) x = static_cast<int>(gen() % 12);
    std::sort(v.begin(), v.end());
    SCC_Array<int> s;
    for (int x : v) s.Add(x);
    s.SetComparator(new SCC_LessComparator<int>);
    for (int item = -1; item <= 12; ++item) {
      const auto [first, last] = std::equal_range(v.begin(), v.end(), item);
      s.FindPosition(item, lo, hi);
      ASSERT_EQ(lo, first - v.begin()) << "round " << round << " item " << item;
      ASSERT_EQ(hi, last - v.begin()) << "round " << round << " item " << item;
    }
  }
}

std::vector<int> MakeInput(const std::string& kind, int n, std::mt19937& gen) {
  std::vector<int> v(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (kind == "random")
      v[i] = static_cast<int>(gen());
    else if (kind == "duplicates")
      v[i] = static_cast<int>(gen() % 4);
    else if (kind == "sorted")
      v[i] = i;
    else if (kind == "reversed")
      v[i] = n - i;
    else if (kind == "equal")
      v[i] = 3;
    else
      v[i] = (i % 2) ? i : n - i;  // organ pipe
  }
  return v;
}

TEST(ArrayTest, SortMatchesStdSort) {
  std::mt19937 gen(42);
  const char* kinds[] = {"random", "duplicates", "sorted", "reversed", "equal", "pipe"};
  // The designed partition walks over every key equal to the pivot, so few distinct keys
  // make it quadratic: those inputs stay at moderate sizes.
  const int sizes[] = {0, 1, 2, 3, 8, 9, 10, 17, 100, 1000, 20000, 200000};
  for (const char* kind : kinds) {
    for (int n : sizes) {
      if (n > 20000 && std::string(kind) == "duplicates") continue;
      const std::vector<int> input = MakeInput(kind, n, gen);
      for (int direction : {1, -1}) {
        SCC_Array<int> a;
        for (int x : input) a.Add(x);
        a.SetComparator(new SCC_LessComparator<int>);
        a.Sort(direction);
        std::vector<int> expected = input;
        if (direction == 1)
          std::sort(expected.begin(), expected.end());
        else
          std::sort(expected.begin(), expected.end(), std::greater<int>());
        ASSERT_EQ(Values(a), expected) << kind << " n=" << n << " dir=" << direction;
        for (long i = 0; i < a.GetCount(); i += 1 + a.GetCount() / 50)
          ASSERT_TRUE(a.ItemInValidPlace(i)) << kind << " " << i;
      }
    }
  }

  // A sub-range only; the rest stays where it was.
  SCC_Array<int> a{9, 8, 7, 6, 5, 4, 3, 2, 1, 0, -1, -2};
  a.SetComparator(nullptr);
  SCC_SharedPointer<SCC_ComparatorBase> cmp(new SCC_LessComparator<int>);
  a.SetComparator(cmp);
  EXPECT_EQ(Values(a), (std::vector<int>{-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  a.Sort(2, 9, -1);
  EXPECT_EQ(Values(a), (std::vector<int>{-2, -1, 8, 7, 6, 5, 4, 3, 2, 1, 0, 9}));
  EXPECT_TRUE(cmp->IsDescending());
  a.Sort(0);  // keeps the present direction
  EXPECT_EQ(Values(a), (std::vector<int>{9, 8, 7, 6, 5, 4, 3, 2, 1, 0, -1, -2}));
  EXPECT_FALSE(a.ItemInValidPlace(12));
  a.Sort(1);
  EXPECT_FALSE(cmp->IsDescending());
  a.Sort(-1);
  a.SetComparator(cmp);  // sorting ascending again resets the flag, as designed
  EXPECT_FALSE(cmp->IsDescending());
  EXPECT_EQ(a[0], -2);
  EXPECT_EQ(cmp->GetRefCount(), 2);
  EXPECT_EQ(a.GetComparator().Get(), cmp.Get());
}

TEST(ArrayTest, ItemInValidPlace) {
  SCC_Array<int> a{1, 5, 3, 4};
  EXPECT_TRUE(a.ItemInValidPlace(1));  // no comparator
  SCC_SharedPointer<SCC_ComparatorBase> cmp(new SCC_LessComparator<int>);
  SCC_Array<int> one{8};
  one.SetComparator(cmp);
  EXPECT_TRUE(one.ItemInValidPlace(0));
  EXPECT_TRUE(one.ItemInValidPlace(3));  // count 1 answers 1 for any index
  a.SetComparator(cmp);
  EXPECT_EQ(Values(a), (std::vector<int>{1, 3, 4, 5}));
  a[3] = 2;  // 1 3 4 2
  const int expected[] = {1, 1, 0, 0};
  for (long i = 0; i < 4; ++i) EXPECT_EQ(a.ItemInValidPlace(i), expected[i]) << i;
  EXPECT_FALSE(a.ItemInValidPlace(4));
  EXPECT_FALSE(a.ItemInValidPlace(-1));
}

TEST(ArrayTest, AddSortedKeepsOrder) {
  SCC_Array<int> a;
  EXPECT_EQ(a.AddSorted(3), 0);  // no comparator: appends
  a.SetComparator(new SCC_LessComparator<int>);
  std::mt19937 gen(3);
  std::vector<int> model{3};
  for (int i = 0; i < 500; ++i) {
    const int v = static_cast<int>(gen() % 50);
    const long at = a.AddSorted(v);
    model.insert(std::upper_bound(model.begin(), model.end(), v), v);
    ASSERT_EQ(a[at], v);
  }
  EXPECT_EQ(Values(a), model);
}

// Sort moves elements through Swap only, so a derived array can keep side data in step.
class SwapCountingArray : public SCC_Array<int> {
 public:
  long swaps = 0;
  std::vector<long> shortSorts;

 protected:
  void Swap(long i, long j) override {
    ++swaps;
    SCC_Array<int>::Swap(i, j);
  }
  void ShortSort(long lo, long hi) override {
    shortSorts.push_back(hi - lo + 1);
    SCC_Array<int>::ShortSort(lo, hi);
  }
};

TEST(ArrayTest, SortUsesTheVirtualHooks) {
  SwapCountingArray a;
  for (int i = 0; i < 100; ++i) a.Add((i * 37) % 100);
  a.SetComparator(new SCC_LessComparator<int>);
  EXPECT_GT(a.swaps, 0);
  ASSERT_FALSE(a.shortSorts.empty());
  for (long n : a.shortSorts) EXPECT_LE(n, 8);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(a[i], i);

  // The selection sort takes the last of equal maxima, so equal keys are never swapped.
  SwapCountingArray s;
  s.Add(2);
  s.Add(2);
  s.Add(2);
  s.SetComparator(new SCC_LessComparator<int>);
  EXPECT_EQ(s.swaps, 0);
}

TEST(ArrayTest, CopyDataMovesInEitherDirection) {
  OpenArray<int> a;
  for (int i = 0; i < 8; ++i) a.Add(i);
  // Overlapping move up by two: backwards is safe.
  a.CopyData(a.GetBuffer(), 3, 1, -4);
  EXPECT_EQ(Values(a), (std::vector<int>{0, 1, 2, 1, 2, 3, 4, 7}));
  // Overlapping move down by two: forwards is safe.
  a.CopyData(a.GetBuffer(), 0, 2, 5);
  EXPECT_EQ(Values(a), (std::vector<int>{2, 1, 2, 3, 4, 3, 4, 7}));
  // Out-of-range requests are ignored.
  a.CopyData(a.GetBuffer(), 6, 0, 5);
  a.CopyData(nullptr, 0, 0, 1);
  EXPECT_EQ(Values(a), (std::vector<int>{2, 1, 2, 3, 4, 3, 4, 7}));

  OpenArray<int> b;
  b.SetSize(3);
  a.CopyData(b.GetBuffer(), 0, 5, 3);
  EXPECT_EQ(Values(b), (std::vector<int>{3, 4, 7}));
}

// A direct subclass of the untyped base that forgets to override CopyData.
class RawIntArray : public _SCC_Array {
 public:
  ~RawIntArray() override { ReleaseBuffer(); }
  using _SCC_Array::CopyData;
  using _SCC_Array::GetBuffer;

 protected:
  long GetElementSize() const override { return sizeof(int); }
  int IsBitwiseMovable() const override { return 1; }
  void ConstructArrayElements(void* first, long n) override {
    std::memset(first, 0, n * sizeof(int));
  }
  void DestructArrayElements(void*, long) override {}
  void CopyConstructElements(void* dst, const void* src, long n) override {
    std::memcpy(dst, src, n * sizeof(int));
  }
  void RelocateElements(void* dst, void* src, long n) override {
    std::memmove(dst, src, n * sizeof(int));
  }
};

struct Site {
  std::string file;
  int line;
  bool operator==(const Site&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Site& s) {
  return os << s.file << "(" << s.line << ")";
}

std::optional<Site> FailedCheck(const std::function<void()>& body) {
  try {
    body();
  } catch (SSM::AssertData* data) {
    return Site{data->fileName.GetString(), data->line};
  }
  return std::nullopt;
}

TEST(ArrayTest, MisuseFailsChecksAtItsSites) {
  const std::string kArray = "system/scc/SCC_Array";
  OpenArray<int> a;
  a.SetSize(3);
  _SCC_Array::_Buffer* b = a.GetBuffer();
  RawIntArray raw;
  raw.Insert(0, 2);
  SCC_ComparatorBase base;
  const int x = 1, y = 2;
  struct Case {
    const char* what;
    std::function<void()> body;
    Site expect;
  } cases[] = {
      {"unowned buffer",
       [&] {
         b->refCount = 0;
         a.IsValid();
       },
       {kArray, 105}},
      {"negative count",
       [&] {
         b->count = -1;
         a.IsValid();
       },
       {kArray, 109}},
      {"count over capacity",
       [&] {
         b->count = 100;
         a.IsValid();
       },
       {kArray, 113}},
      {"base CopyData", [&] { raw.CopyData(raw.GetBuffer(), 0, 1, 1); }, {kArray, 354}},
      {"base Compare", [&] { base.Compare(&x, &y); }, {"system/scc/SCC_Comp", 96}},
      {"negative index", [&] { a[-1] = 1; }, {kArray, 601}},
      {"insert past the end", [&] { a.Insert(4, 1); }, {kArray, 602}},
      {"negative insert", [&] { a.Insert(0, -1); }, {kArray, 602}},
      {"delete past the end", [&] { a.Delete(2, 2); }, {kArray, 603}},
      {"negative size", [&] { a.SetSize(-1); }, {kArray, 604}},
  };
  // Without an assertion service a failed check continues; with one, internal errors throw.
  // Either way the array is left as it was.
  for (int live = 0; live < 2; ++live) {
    std::optional<SSM> ssm;
    if (live) ssm.emplace();
    for (const Case& c : cases) {
      const _SCC_Array::_Buffer saved = *b;
      EXPECT_EQ(FailedCheck(c.body), live ? std::optional<Site>(c.expect) : std::nullopt) << c.what;
      *b = saved;
      EXPECT_EQ(a.GetCount(), 3) << c.what;
    }
    if (!live) continue;
    SSM::AssertData* compare = ssm->FindSite("system/scc/SCC_Comp", 96);
    ASSERT_NE(compare, nullptr);
    EXPECT_STREQ(compare->message.GetString(), "SCC_ComparatorBase::Compare called.");
    EXPECT_EQ(FailedCheck([&] { a.IsValid(); }), std::nullopt);
  }
}

// ---------------------------------------------------------------------------------------------
// SYS_QSort

template <int W>
struct Rec {
  unsigned char bytes[W];
};

template <int W>
void CheckQSortWidth(std::mt19937& gen) {
  static_assert(sizeof(Rec<W>) == W);
  for (int n : {0, 1, 2, 7, 8, 9, 31, 1000, 20000}) {
    for (int spread : {3, 256}) {  // many duplicates, then mostly distinct
      std::vector<Rec<W>> v(static_cast<std::size_t>(n));
      for (auto& r : v)
        for (auto& b : r.bytes) b = static_cast<unsigned char>(gen() % spread);
      std::vector<Rec<W>> expected = v;
      std::sort(expected.begin(), expected.end(), [](const Rec<W>& x, const Rec<W>& y) {
        return std::memcmp(x.bytes, y.bytes, W) < 0;
      });
      SYS_QSort(v.data(), static_cast<unsigned>(n), W,
                [](const void* x, const void* y) { return std::memcmp(x, y, W); });
      ASSERT_TRUE(n == 0 || std::memcmp(v.data(), expected.data(), v.size() * W) == 0)
          << "width " << W << " n " << n << " spread " << spread;
    }
  }
}

TEST(ArrayTest, SysQSortOnOddWidths) {
  std::mt19937 gen(5);
  CheckQSortWidth<1>(gen);
  CheckQSortWidth<3>(gen);
  CheckQSortWidth<4>(gen);
  CheckQSortWidth<5>(gen);
  CheckQSortWidth<7>(gen);
  CheckQSortWidth<13>(gen);

  for (const char* kind : {"random", "sorted", "reversed", "equal", "pipe"}) {
    std::vector<int> v = MakeInput(kind, 100000, gen);
    std::vector<int> expected = v;
    std::sort(expected.begin(), expected.end());
    SYS_QSort(v.data(), static_cast<unsigned>(v.size()), sizeof(int),
              [](const void* x, const void* y) {
                const int a = *static_cast<const int*>(x), b = *static_cast<const int*>(y);
                return (a > b) - (a < b);
              });
    EXPECT_EQ(v, expected) << kind;
  }
  SYS_QSort(nullptr, 5, 4, nullptr);  // ignored
}

// A value passed by reference may be an element of the very array that is changed: each
// member reads it before the array grows or separates, whatever the element type.
TEST(ArrayTest, ElementArgumentsMayLiveInTheArray) {
  struct Case {
    const char* what;
    std::function<void(SCC_Array<Tracked>&)> change;
    std::vector<int> expected;
  };
  const Case cases[] = {
      {"SetAt past the end", [](SCC_Array<Tracked>& a) { a.SetAt(a.GetSize() + 2, a.GetAt(0)); },
       {1, 2, 3, 0, 0, 1}},
      {"SetAt at the end", [](SCC_Array<Tracked>& a) { a.SetAt(a.GetSize(), a.GetAt(2)); },
       {1, 2, 3, 3}},
      {"SetAt in place", [](SCC_Array<Tracked>& a) { a.SetAt(0, a.GetAt(2)); }, {3, 2, 3}},
      {"Add", [](SCC_Array<Tracked>& a) { a.Add(a.GetAt(1)); }, {1, 2, 3, 2}},
      {"InsertAt", [](SCC_Array<Tracked>& a) { a.InsertAt(0, a.GetAt(2), 2); }, {3, 3, 1, 2, 3}},
      {"AddSorted",
       [](SCC_Array<Tracked>& a) {
         a.SetComparator(new SCC_LessComparator<Tracked>);
         a.AddSorted(a.GetAt(0));
       },
       {1, 1, 2, 3}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SCC_Array<Tracked> a{1, 2, 3};  // full: capacity 3, so every growth moves the elements
    ASSERT_EQ(a.GetCapacity(), 3);
    c.change(a);
    std::vector<int> got;
    for (const Tracked& t : a) got.push_back(t.value);
    EXPECT_EQ(got, c.expected);

    // The same through a copy that shares the buffer: the write separates first.
    SCC_Array<Tracked> shared{1, 2, 3};
    const SCC_Array<Tracked> keep(shared);
    c.change(shared);
    got.clear();
    for (const Tracked& t : shared) got.push_back(t.value);
    EXPECT_EQ(got, c.expected);
    EXPECT_EQ(keep.GetSize(), 3);
    EXPECT_EQ(keep.GetAt(0).value, 1);
  }
  SCC_Stack<Tracked> stack;
  for (int i = 0; i < 5; ++i) stack.Push(stack.IsEmpty() ? Tracked(7) : stack.Top());
  EXPECT_EQ(stack.GetCount(), 5);
  EXPECT_EQ(stack.Top().value, 7);
}

// The range test of Sort must not compute start + count: counts near the limits of long
// overflow it (the sanitizer build reports that). The accepted ranges are unchanged.
TEST(ArrayTest, SortRangeCheckCannotOverflow) {
  struct Case {
    long start;
    long count;
    bool sorts;
  };
  const Case cases[] = {
      {1, LONG_MAX, false},     {4, LONG_MAX - 3, false}, {0, LONG_MIN, false},
      {2, LONG_MIN + 1, false}, {LONG_MAX, 2, false},     {LONG_MIN, 2, false},
      {0, 5, true},             {1, 4, true},             {0, 6, false},
      {4, 1, false},            {2, -1, false},           {3, -4, false},
  };
  static int sorted = 0;
  for (const Case& c : cases) {
    SCC_Array<int> a{5, 4, 3, 2, 1};
    a.SetComparator(new SCC_LessComparator<int>);  // sorts ascending at once
    a.Sort(-1);                                    // and now descending again
    SCC_EventHook<int> hook([](int code, int*) { return code == 5 ? (++sorted, 0) : 0; });
    a.AddListener(&hook);
    sorted = 0;
    a.Sort(c.start, c.count, 1);
    EXPECT_EQ(sorted, c.sorts ? 1 : 0) << c.start << ", " << c.count;
  }
}

}  // namespace
