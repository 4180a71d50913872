// hash_test.cpp - SCC_Hash, SCC_Compare, the size table, SCC_Map and its iterators.
#include "scchash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using StrMap = SCC_Map<SYS_String, int>;
using StrIt = SCC_MapIterator<SYS_String, int>;
using StrFast = SCC_MapIteratorFast<SYS_String, int>;

// The defining sum, term by term, with a fresh power for every byte.
std::uint32_t ReferenceHash(const std::string& s, bool fold) {
  std::uint32_t h = 0;
  for (std::size_t i = 1; i <= s.size(); ++i) {
    char c = s[i - 1];
    if (fold && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    std::uint32_t p = 1;
    for (std::size_t k = 0; k < i; ++k) p *= 6293815u;
    h +=
        static_cast<std::uint32_t>(static_cast<signed char>(c)) * static_cast<std::uint32_t>(i) * p;
  }
  return h;
}

const long kTable[] = {3,        5,         11,        23,        47,       97,
                       193,      383,       769,       1531,      3067,     6143,
                       12289,    24571,     49157,     98299,     196613,   393209,
                       786431,   1572869,   3145721,   6291449,   12582917, 25165813,
                       50331653, 100663291, 201326611, 402653189, 805306357};

bool InTable(unsigned long n) {
  return std::find(std::begin(kTable), std::end(kTable), static_cast<long>(n)) != std::end(kTable);
}

std::vector<std::string> Keys(const StrMap& map) {
  std::vector<std::string> keys;
  map.ForEach([&](const SYS_String& k, const int&) { keys.emplace_back(k); });
  return keys;
}

}  // namespace

TEST(HashTest, KnownValues) {
  EXPECT_EQ(SCC_Hash(""), 0u);
  EXPECT_EQ(SCC_Hash(static_cast<const char*>(nullptr)), 0u);
  EXPECT_EQ(SCC_Hash("a"), 97u * 6293815u);
  // 0xE9 is -23 as a signed byte: a negative term.
  EXPECT_EQ(SCC_Hash("\xE9"), static_cast<std::uint32_t>(-23) * 6293815u);
  EXPECT_EQ(SCC_Hash("a\xE9"),
            97u * 6293815u + static_cast<std::uint32_t>(-23) * 2u * 6293815u * 6293815u);
}

TEST(HashTest, MatchesTheSumForEveryLength) {
  // Texts longer than 64 bytes run past the table of coefficients.
  std::string text;
  const std::string alphabet = "Az09_\x80\xFF~ xQ";
  for (int len = 0; len < 80; ++len) {
    SCOPED_TRACE(len);
    EXPECT_EQ(SCC_Hash(text.c_str()), ReferenceHash(text, false));
    EXPECT_EQ(SCC_HashNoCase(text.c_str()), ReferenceHash(text, true));
    text += alphabet[len % alphabet.size()];
  }
}

TEST(HashTest, NoCaseFoldsOnlyAsciiCapitals) {
  EXPECT_EQ(SCC_Hash(SYS_StrNoCase("Board.PCB")), SCC_Hash(SYS_StrNoCase("board.pcb")));
  EXPECT_EQ(SCC_Hash(SYS_StrNoCase("board.pcb")), SCC_Hash("board.pcb"));
  EXPECT_NE(SCC_Hash(SYS_StrNoCase("Board")), SCC_Hash("Board"));
  // Latin-1 capital E acute (0xC9) is not folded to 0xE9.
  EXPECT_NE(SCC_Hash(SYS_StrNoCase("\xC9")), SCC_Hash(SYS_StrNoCase("\xE9")));
  EXPECT_EQ(SCC_Hash(SYS_StrNoCase("\xC9")), SCC_Hash("\xC9"));
}

TEST(HashTest, Compare) {
  struct Case {
    const char* a;
    const char* b;
    int expected;
  };
  const Case cases[] = {
      {nullptr, "", -1}, {"", nullptr, 1},  {nullptr, nullptr, 0}, {"", "", 0},
      {"\xE9", "z", 1},  {"z", "\xE9", -1}, {"ab", "abc", -1},     {"abd", "abc", 1},
      {"abc", "abc", 0}, {"B", "a", -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.a ? c.a : "(null)") + " vs " + (c.b ? c.b : "(null)"));
    EXPECT_EQ(SCC_Compare(c.a, c.b), c.expected);
  }
  EXPECT_EQ(SCC_CompareNoCase("ABC", "abc"), 0);
  EXPECT_EQ(SCC_CompareNoCase("abc", "ABD"), -1);
  EXPECT_EQ(SCC_CompareNoCase("\xC9", "\xE9"), -1);
}

TEST(HashTest, NewTableSize) {
  const std::pair<long, long> cases[] = {
      {0, 3},         {-7, 3},      {2, 3},   {3, 5},
      {4, 5},         {22, 23},     {23, 47}, {805306356, 805306357},
      {805306357, 0}, {1L << 40, 0}};
  for (auto [n, expected] : cases) EXPECT_EQ(SCC_GetNewTableSize(n), expected) << n;
  for (std::size_t i = 0; i + 1 < std::size(kTable); ++i)
    EXPECT_EQ(SCC_GetNewTableSize(kTable[i]), kTable[i + 1]);
}

TEST(HashMapTest, BasicOperations) {
  StrMap map;
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_EQ(map.Find("x"), nullptr);
  int out = 42;
  EXPECT_EQ(map.Lookup("x", out), 0);
  EXPECT_EQ(out, 42);  // untouched on a miss

  EXPECT_EQ(map["alpha"], 0);  // inserted value-initialised
  map["alpha"] = 1;
  const long beta = map.SetAt("beta", 2);
  EXPECT_EQ(map.SetAt(SYS_String("beta"), 20), beta);  // replaces in place
  EXPECT_EQ(map.Lookup(SYS_String("beta"), out), 1);
  EXPECT_EQ(out, 20);
  EXPECT_EQ(*map.GetKeyAt(beta), SYS_String("beta"));

  int inserted = -1;
  EXPECT_EQ(map.FindOrAdd("beta", 99, &inserted), beta);
  EXPECT_EQ(inserted, 0);
  EXPECT_EQ(*map.Find("beta"), 20);  // kept
  map.FindOrAdd("gamma", 3, &inserted);
  EXPECT_EQ(inserted, 1);

  EXPECT_EQ(Keys(map), (std::vector<std::string>{"alpha", "beta", "gamma"}));
  EXPECT_EQ(map.RemoveKey("beta"), 1);
  EXPECT_EQ(map.RemoveKey("beta"), 0);
  EXPECT_EQ(map.GetValueAt(beta), nullptr);
  map.SetAt("beta", 5);  // re-inserted at the end
  EXPECT_EQ(Keys(map), (std::vector<std::string>{"alpha", "gamma", "beta"}));
  EXPECT_EQ(map.RemoveHandle(map.GetHandle("gamma")), 1);
  for (long bad : {0L, -1L, 99L}) EXPECT_EQ(map.RemoveHandle(bad), 0);
  EXPECT_EQ(Keys(map), (std::vector<std::string>{"alpha", "beta"}));

  EXPECT_EQ(map.Find("alph"), nullptr);  // keys are whole texts
  EXPECT_EQ(map.Find(""), nullptr);
  map[""] = 2;
  EXPECT_EQ(*map.Find(""), 2);

  map.RemoveAll();
  EXPECT_EQ(map.Find("alpha"), nullptr);
  map["again"] = 7;
  EXPECT_EQ(map.GetCount(), 1);
}

TEST(HashMapTest, NoCaseKeys) {
  SCC_Map<SYS_StrNoCase, int> map;
  map["Layer"] = 1;
  map[SYS_StrNoCase("LAYER")] += 1;
  EXPECT_EQ(map.GetCount(), 1);
  EXPECT_EQ(*map.Find("layer"), 2);
  map["\xC9t\xC9"] = 3;
  EXPECT_EQ(map.Find("\xE9t\xE9"), nullptr);  // only A-Z fold
}

TEST(HashMapTest, IntegerKeysWithCollidingBuckets) {
  SCC_Map<long, long> map;
  // Multiples of a bucket count all land in one bucket of that size.
  for (long i = 0; i < 400; ++i) map[i * 1531] = i;
  for (long i = 0; i < 400; ++i) ASSERT_EQ(*map.Find(i * 1531), i);
  EXPECT_EQ(map.Find(1), nullptr);
  for (long i = 0; i < 400; i += 2) EXPECT_EQ(map.RemoveKey(i * 1531), 1);
  EXPECT_EQ(map.GetCount(), 200);
  for (long i = 1; i < 400; i += 2) EXPECT_EQ(*map.Find(i * 1531), i);

  // 64-bit values that agree in the low 32 bits are different keys.
  map.RemoveAll();
  map[1] = 1;
  map[1 + (1L << 32)] = 2;
  EXPECT_EQ(*map.Find(1), 1);
  EXPECT_EQ(*map.Find(1 + (1L << 32)), 2);
}

TEST(HashMapTest, TableSizesComeFromTheTable) {
  SCC_Map<int, int> map;
  EXPECT_EQ(map.GetTableSize(), 0u);
  unsigned long last = 0;
  for (int i = 0; i < 20000; ++i) {
    map[i] = i;
    const unsigned long size = map.GetTableSize();
    if (size != last) {
      ASSERT_TRUE(InTable(size)) << size;
      last = size;
    }
    ASSERT_LE(static_cast<unsigned long>(map.GetCount()), size);
  }
  map.Reserve(100000);
  EXPECT_TRUE(InTable(map.GetTableSize()));
  EXPECT_GE(map.GetTableSize(), 100000u);
}

// Random operations against std::unordered_map, checking after each step that no
// element ever moved and that iteration follows insertion order.
TEST(HashMapTest, MatchesModelAndNeverMovesElements) {
  std::mt19937 rng(12345);
  StrMap map;
  std::unordered_map<std::string, int> model;
  std::unordered_map<std::string, const int*> address;
  std::list<std::string> order;

  auto key = [&] { return "k" + std::to_string(rng() % 600); };
  for (int step = 0; step < 40000; ++step) {
    const std::string k = key();
    const int v = static_cast<int>(rng());
    switch (const unsigned op = rng() % 10) {
      case 0:
      case 1:
      case 2:
      case 3: {
        const bool had = model.count(k) != 0;
        if (op == 3)
          map[SYS_String(k.c_str())] = v;
        else
          map.SetAt(k.c_str(), v);
        model[k] = v;
        if (!had) {
          order.push_back(k);
          address[k] = map.Find(k.c_str());
        }
        break;
      }
      case 4:
      case 5: {
        const int removed = map.RemoveKey(k.c_str());
        ASSERT_EQ(removed, static_cast<int>(model.erase(k)));
        if (removed) {
          address.erase(k);
          order.remove(k);
        }
        break;
      }
      default: {
        int got = 0;
        const auto it = model.find(k);
        ASSERT_EQ(map.Lookup(k.c_str(), got), it != model.end() ? 1 : 0);
        if (it != model.end()) {
          ASSERT_EQ(got, it->second);
          ASSERT_EQ(map.Find(k.c_str()), address[k]) << "element moved";
        }
      }
    }
    if (step == 25000) {
      map.RemoveAll();
      model.clear();
      address.clear();
      order.clear();
    }
    ASSERT_EQ(map.GetCount(), static_cast<long>(model.size()));
  }
  for (const auto& [k, p] : address) ASSERT_EQ(map.Find(k.c_str()), p);
  EXPECT_EQ(Keys(map), std::vector<std::string>(order.begin(), order.end()));
}

TEST(HashMapTest, CopyAndAssignment) {
  StrMap a;
  for (int i = 0; i < 50; ++i) a[std::to_string(i).c_str()] = i;
  const long h10 = a.GetHandle("10");
  a.RemoveKey("10");
  const long h20 = a.GetHandle("20");

  StrMap b(a);
  EXPECT_EQ(Keys(b), Keys(a));
  EXPECT_EQ(b.GetHandle("20"), h20);  // handles carry over
  b["20"] = -1;
  EXPECT_EQ(*a.Find("20"), 20);  // deep copy
  EXPECT_NE(a.Find("20"), b.Find("20"));

  StrMap c;
  c["old"] = 1;
  StrIt onOld(c);
  c = a;
  EXPECT_FALSE(onOld.IsValid());  // its element went with the assignment
  EXPECT_EQ(onOld.GetMap(), &c);
  EXPECT_EQ(c.Find("old"), nullptr);
  EXPECT_EQ(Keys(c), Keys(a));
  c = c;
  EXPECT_EQ(Keys(c), Keys(a));
  c = StrMap();
  EXPECT_TRUE(c.IsEmpty());
  // Handles freed before the copy are still reused afterwards.
  b["new"] = 1;
  EXPECT_EQ(b.GetHandle("new"), h10);
}

TEST(HashMapTest, Move) {
  StrMap a;
  for (int i = 0; i < 20; ++i) a[std::to_string(i).c_str()] = i;
  const int* five = a.Find("5");
  StrIt onA(a);
  StrMap b(std::move(a));
  EXPECT_EQ(b.Find("5"), five);  // the elements themselves moved over
  EXPECT_TRUE(a.IsEmpty());      // NOLINT(bugprone-use-after-move): the moved-from state
  EXPECT_FALSE(onA.IsValid());
  a["new"] = 1;  // the source stays usable
  EXPECT_EQ(*onA.GetNext(), 1);

  StrMap c;
  c["gone"] = 1;
  c = std::move(b);
  EXPECT_EQ(c.Find("gone"), nullptr);
  EXPECT_EQ(c.Find("5"), five);
}

TEST(HashMapIteratorTest, WalksInInsertionOrderBothWays) {
  StrMap map;
  const char* names[] = {"d", "a", "c", "b"};
  for (const char* n : names) map[n] = static_cast<unsigned char>(n[0]);

  std::string forward, backward;
  for (StrIt it(map); it.IsValid(); ++it) forward += static_cast<const char*>(it.GetKey());
  StrIt back;
  for (int* v = back.GetLast(map); v; v = back.GetPrev()) backward += static_cast<char>(*v);
  EXPECT_EQ(forward, "dacb");
  EXPECT_EQ(backward, "bcad");

  // Past the end there is no position; the next step starts over.
  StrIt it(map);
  it.GetLast();
  EXPECT_EQ(it.GetNext(), nullptr);
  EXPECT_FALSE(it.IsValid());
  EXPECT_EQ(*it.GetNext(), 'd');
  StrIt post = it++;
  EXPECT_EQ(post.GetValue(), 'd');
  EXPECT_EQ(it.GetValue(), 'a');
  StrIt pre = --it;
  EXPECT_EQ(static_cast<int&>(pre), 'd');
  it.Invalidate();
  EXPECT_EQ(static_cast<int*>(it), nullptr);
  EXPECT_EQ(*it.GetPrev(), 'b');

  StrIt none;
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(none.GetNext(), nullptr);
}

TEST(HashMapIteratorTest, SurvivesRemovalsAndGrowth) {
  StrMap map;
  for (int i = 0; i < 6; ++i) map[std::to_string(i).c_str()] = i;
  StrIt it(map);
  it.GetNext();
  it.GetNext();  // on "2"
  const int* two = &it.GetValue();

  for (int i = 100; i < 5000; ++i) map[std::to_string(i).c_str()] = i;  // several regrowths
  EXPECT_EQ(&it.GetValue(), two);

  // Removing the element stood on leaves the iterator in the gap...
  map.RemoveKey("2");
  EXPECT_FALSE(it.IsValid());
  StrIt copy(it);
  EXPECT_EQ(*copy.GetPrev(), 1);
  // ...and removing its neighbours too keeps the gap's place.
  map.RemoveKey("1");
  map.RemoveKey("3");
  EXPECT_EQ(*it.GetNext(), 4);
  EXPECT_EQ(*copy.GetPrev(), 0);

  // Removing every element while iterating with UpdateHandle.
  long visited = 0;
  for (it.GetFirst(); it.IsValid(); it.UpdateHandle()) {
    map.RemoveKey(it.GetKey());
    ++visited;
  }
  EXPECT_EQ(visited, 4900 + 3);
  EXPECT_TRUE(map.IsEmpty());
  EXPECT_TRUE(it.IsEmpty());

  // The gap at the very start leads to the new first element.
  map["x"] = 1;
  map["y"] = 2;
  it.GetFirst(map);
  map.RemoveKey("x");
  EXPECT_EQ(*it.GetNext(), 2);
  EXPECT_EQ(it.GetPrev(), nullptr);
}

TEST(HashMapIteratorTest, MapDestroyedOrCleared) {
  StrIt it;
  {
    StrMap map;
    map["a"] = 1;
    it.GetFirst(map);
    EXPECT_TRUE(it.IsValid());
    map.RemoveAll();
    EXPECT_FALSE(it.IsValid());
    map["b"] = 2;
    EXPECT_EQ(*it.GetNext(), 2);
  }
  EXPECT_EQ(it.GetMap(), nullptr);
  EXPECT_EQ(it.GetNext(), nullptr);
  EXPECT_EQ(it.GetSource(), nullptr);
}

TEST(HashMapIteratorTest, HandlesAndFastIterator) {
  StrMap map;
  for (const char* k : {"a", "b", "c"}) map[k] = static_cast<unsigned char>(k[0]);
  const long hb = map.GetHandle("b");

  StrIt it;
  EXPECT_EQ(it.SetHandle(hb, map), 1);
  EXPECT_EQ(it.GetKey(), SYS_String("b"));
  for (long bad : {0L, -1L, 4L, 1000L}) {
    it.SetHandle(bad);
    EXPECT_FALSE(it.IsValid()) << bad;
  }

  StrFast fast(map);
  EXPECT_EQ(fast.GetKey(), SYS_String("a"));
  ++fast;
  EXPECT_EQ(fast.GetHandle(), hb);
  StrIt fromFast(fast);
  EXPECT_TRUE(StrFast(fromFast) == fast);

  map.RemoveKey("b");
  EXPECT_FALSE(fast.IsValid());  // not dangling: the handle names nothing now
  EXPECT_EQ(fast.GetNext(), nullptr);
  EXPECT_EQ(*fast.GetLast(map), 'c');
  EXPECT_EQ(*fast.GetPrev(), 'a');
  EXPECT_EQ(fast.GetPrev(), nullptr);
}

TEST(HashMapIteratorTest, AccessWithoutElementIsReportedNotFatal) {
  StrIt it;
  // Without an assertion manager the failed check lets the call go on.
  EXPECT_EQ(it.GetKey(), SYS_String());
  it.GetValue() = 5;
  EXPECT_EQ(it.GetValue(), 0);  // a fresh scratch value every time
  StrFast fast;
  EXPECT_EQ(fast.GetValue(), 0);
}

namespace {
struct Seen {
  static int Record(int code, int* data) {
    log.emplace_back(code, data ? *reinterpret_cast<long*>(data) : 0);
    return 0;
  }
  static inline std::vector<std::pair<int, long>> log;
};
}  // namespace

TEST(HashMapIteratorTest, ChangeEvents) {
  Seen::log.clear();
  StrMap map;
  SCC_EventHook<int> onMap(&Seen::Record, map.GetChangeEvent());
  const long ha = map.SetAt("a", 1);
  map.SetAt("a", 2);
  map.RemoveKey("a");
  map.RemoveKey("a");  // nothing removed, nothing raised
  map["b"];
  map.RemoveAll();
  EXPECT_EQ(Seen::log,
            (std::vector<std::pair<int, long>>{{1, ha}, {3, ha}, {2, ha}, {1, ha}, {6, 0}}));

  // An iterator repeats the map's notifications after repairing its position.
  Seen::log.clear();
  onMap.HookEvent(nullptr);
  map["c"] = 3;
  StrIt it(map);
  EXPECT_EQ(it.GetChangeEvent(nullptr), map.GetChangeEvent());
  SCC_EventHook<int> onIt(&Seen::Record, &it.GetChangeEvent());
  map.RemoveKey("c");
  EXPECT_FALSE(it.IsValid());
  EXPECT_EQ(Seen::log.size(), 1u);
  EXPECT_EQ(Seen::log[0].first, 2);
}
