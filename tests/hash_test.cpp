// hash_test.cpp - SCC_Hash, SCC_Compare, the size table, SCC_Map and its iterators.
#include "scchash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <random>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace {

using StrMap = SCC_Map<SYS_String, int>;
using StrIt = SCC_MapIterator<SYS_String, int>;
using StrFast = SCC_MapIteratorFast<SYS_String, int>;
using Log = std::vector<std::pair<int, long>>;

// The defining sum, term by term, with a fresh power for every byte (bytes are signed).
std::uint32_t ReferenceHash(const std::string& s, bool fold) {
  std::uint32_t h = 0;
  for (std::size_t i = 1; i <= s.size(); ++i) {
    char c = s[i - 1];
    if (fold && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    std::uint32_t p = 1;
    for (std::size_t k = 0; k < i; ++k) p *= 6293815u;
    h += static_cast<std::uint32_t>(static_cast<signed char>(c)) * static_cast<std::uint32_t>(i) * p;
  }
  return h;
}

std::vector<std::string> Keys(const StrMap& map) {
  std::vector<std::string> keys;
  map.ForEach([&](const SYS_String& k, const int&) { keys.emplace_back(k); });
  return keys;
}

TEST(HashTest, HashesCompareAndTableSizes) {
  // Texts longer than 64 bytes run past the table of coefficients.
  std::string text;
  const std::string alphabet = "Az09_\x80\xFF~ xQ\xC9";
  for (int len = 0; len < 80; ++len, text += alphabet[len % alphabet.size()]) {
    EXPECT_EQ(SCC_Hash(text.c_str()), ReferenceHash(text, false)) << len;
    EXPECT_EQ(SCC_HashNoCase(text.c_str()), ReferenceHash(text, true)) << len;
  }
  EXPECT_EQ(SCC_Hash(static_cast<const char*>(nullptr)), 0u);
  EXPECT_EQ(SCC_Hash(SYS_StrNoCase("Board.PCB")), SCC_Hash("board.pcb"));
  EXPECT_NE(SCC_Hash(SYS_StrNoCase("\xC9")), SCC_Hash(SYS_StrNoCase("\xE9")));  // only A-Z fold

  const std::tuple<const char*, const char*, int> compares[] = {
      {nullptr, "", -1}, {"", nullptr, 1},  {nullptr, nullptr, 0}, {"", "", 0},
      {"\xE9", "z", 1},  {"z", "\xE9", -1}, {"ab", "abc", -1},     {"abd", "abc", 1},
      {"abc", "abc", 0}, {"B", "a", -1}};
  for (const auto& [a, b, expected] : compares)
    EXPECT_EQ(SCC_Compare(a, b), expected) << (a ? a : "(null)") << " vs " << (b ? b : "(null)");
  EXPECT_EQ(SCC_CompareNoCase("ABC", "abc") * 10 + SCC_CompareNoCase("\xC9", "\xE9"), -1);

  const long table[] = {3,        5,        11,        23,        47,        97,       193,
                        383,      769,      1531,      3067,      6143,      12289,    24571,
                        49157,    98299,    196613,    393209,    786431,    1572869,  3145721,
                        6291449,  12582917, 25165813,  50331653,  100663291, 201326611,
                        402653189, 805306357};
  for (auto [n, expected] : {std::pair<long, long>{0, 3}, {-7, 3}, {2, 3}, {4, 5}, {22, 23},
                             {805306356, 805306357}, {805306357, 0}, {1L << 40, 0}})
    EXPECT_EQ(SCC_GetNewTableSize(n), expected) << n;
  for (std::size_t i = 0; i + 1 < std::size(table); ++i)
    EXPECT_EQ(SCC_GetNewTableSize(table[i]), table[i + 1]);
  SCC_Map<int, int> map;
  for (int i = 0; i < 20000; ++i) {
    map[i] = i;
    ASSERT_TRUE(std::count(std::begin(table), std::end(table), map.GetTableSize())) << i;
    ASSERT_LE(static_cast<unsigned long>(map.GetCount()), map.GetTableSize());
  }
}

TEST(HashMapTest, BasicOperations) {
  StrMap map;
  int out = 42, inserted = -1;
  EXPECT_EQ(map.Lookup("x", out) * 100 + out + map["alpha"], 42);  // untouched on a miss
  const long beta = map.SetAt("beta", 2);
  EXPECT_EQ(map.SetAt(SYS_String("beta"), 20), beta);  // replaces in place
  EXPECT_EQ(*map.GetKeyAt(beta), SYS_String("beta"));
  EXPECT_EQ(map.FindOrAdd("beta", 99, &inserted), beta);
  EXPECT_EQ(inserted + *map.Find("beta"), 20);  // kept
  map.FindOrAdd("gamma", 3, &inserted);
  EXPECT_EQ(inserted, 1);
  EXPECT_EQ(map.RemoveKey("beta"), 1);
  EXPECT_EQ(map.RemoveKey("beta"), 0);
  map.SetAt("beta", 5);  // re-inserted at the end
  EXPECT_EQ(Keys(map), (std::vector<std::string>{"alpha", "gamma", "beta"}));
  EXPECT_EQ(map.RemoveHandle(map.GetHandle("gamma")), 1);
  for (long bad : {0L, -1L, 99L}) EXPECT_EQ(map.RemoveHandle(bad), 0);
  EXPECT_EQ(map.Find("alph"), nullptr);  // keys are whole texts

  SCC_Map<SYS_StrNoCase, int> noCase;
  noCase["Layer"] = 1;
  noCase[SYS_StrNoCase("LAYER")] += 1;
  EXPECT_EQ(*noCase.Find("layer"), 2);

  // Multiples of a bucket count all land in one bucket; 64-bit keys differ past 32 bits.
  SCC_Map<long, long> ints;
  for (long i = 0; i < 400; ++i) ints[i * 1531] = i;
  for (long i = 0; i < 400; i += 2) EXPECT_EQ(ints.RemoveKey(i * 1531), 1);
  for (long i = 1; i < 400; i += 2) EXPECT_EQ(*ints.Find(i * 1531), i);
  ints[1] = 1, ints[1 + (1L << 32)] = 2;
  EXPECT_EQ(*ints.Find(1) * 10 + *ints.Find(1 + (1L << 32)), 12);
}

// Random operations against std::unordered_map, checking after each step that no
// element ever moved and that iteration follows insertion order.
TEST(HashMapTest, MatchesModelAndNeverMovesElements) {
  std::mt19937 rng(12345);
  StrMap map;
  std::unordered_map<std::string, int> model;
  std::unordered_map<std::string, const int*> address;
  std::list<std::string> order;
  for (int step = 0; step < 40000; ++step) {
    const std::string k = "k" + std::to_string(rng() % 600);
    const int v = static_cast<int>(rng());
    const unsigned op = rng() % 10;
    if (op < 3) {
      if (!model.count(k)) order.push_back(k);
      map.SetAt(k.c_str(), v);
      model[k] = v;
      if (!address.count(k)) address[k] = map.Find(k.c_str());
    } else if (op < 5) {
      const int removed = map.RemoveKey(k.c_str());
      ASSERT_EQ(removed, static_cast<int>(model.erase(k)));
      if (removed) address.erase(k), order.remove(k);
    } else {
      int got = 0;
      const auto it = model.find(k);
      ASSERT_EQ(map.Lookup(k.c_str(), got), it != model.end() ? 1 : 0);
      if (it != model.end()) {
        ASSERT_EQ(got, it->second);
        ASSERT_EQ(map.Find(k.c_str()), address[k]) << "element moved";
      }
    }
    if (step == 25000) map.RemoveAll(), model.clear(), address.clear(), order.clear();
    ASSERT_EQ(map.GetCount(), static_cast<long>(model.size()));
  }
  EXPECT_EQ(Keys(map), std::vector<std::string>(order.begin(), order.end()));
}

TEST(HashMapTest, CopyMoveAndAssignment) {
  StrMap a;
  for (int i = 0; i < 50; ++i) a[std::to_string(i).c_str()] = i;
  const long h10 = a.GetHandle("10");
  a.RemoveKey("10");
  StrMap b(a);
  EXPECT_EQ(b.GetHandle("20"), a.GetHandle("20"));  // handles carry over
  b["20"] = -1;  // a deep copy
  b["new"] = 1;
  EXPECT_EQ(b.GetHandle("new"), h10);  // handles freed before the copy are reused
  StrMap c;
  c["old"] = 1;
  StrIt onOld(c);
  c = b;
  c = a;
  c = c;
  EXPECT_FALSE(onOld.IsValid());  // its element went with the assignment
  EXPECT_EQ(Keys(c), Keys(a));
  EXPECT_EQ(*c.Find("20"), 20);

  const int* five = a.Find("5");
  StrIt onA(a);
  StrMap moved(std::move(a));
  EXPECT_EQ(moved.Find("5"), five);  // the elements themselves moved over
  EXPECT_TRUE(a.IsEmpty());          // NOLINT(bugprone-use-after-move): the moved-from state
  EXPECT_FALSE(onA.IsValid());
  a["new"] = 1;  // the source stays usable
  EXPECT_EQ(*onA.GetNext(), 1);
}

TEST(HashMapIteratorTest, WalksInInsertionOrderAndSurvivesChanges) {
  auto* map = new StrMap;
  for (const char* n : {"d", "a", "c", "b"}) (*map)[n] = static_cast<unsigned char>(n[0]);
  std::string walk;
  for (StrIt it(*map); it.IsValid(); ++it) walk += static_cast<const char*>(it.GetKey());
  StrIt it;
  for (int* v = it.GetLast(*map); v; v = it.GetPrev()) walk += static_cast<char>(*v);
  EXPECT_EQ(walk, "dacbbcad");
  EXPECT_EQ(*it.GetNext(), 'd');  // past either end the next step starts over
  const long hc = map->GetHandle("c");
  EXPECT_EQ(it.SetHandle(hc, *map), 1);
  for (long bad : {0L, -1L, 5L}) {
    it.SetHandle(bad);
    EXPECT_FALSE(it.IsValid()) << bad;
  }
  StrFast fast(*map);
  ++fast, ++fast;
  EXPECT_EQ(fast.GetHandle(), hc);
  it.SetHandle(hc);
  const int* c = &it.GetValue();
  for (int i = 100; i < 5000; ++i) (*map)[std::to_string(i).c_str()] = i;  // regrowths
  EXPECT_EQ(&it.GetValue(), c);
  // Removing the element stood on leaves the iterator in the gap (the fast one holds a handle
  // that names nothing), and removing its neighbours too keeps the gap's place.
  map->RemoveKey("c");
  EXPECT_FALSE(it.IsValid() || fast.IsValid());
  StrIt copy(it);
  EXPECT_EQ(*copy.GetPrev(), 'a');
  map->RemoveKey("a"), map->RemoveKey("b");
  EXPECT_EQ(*it.GetNext(), 100);
  EXPECT_EQ(*copy.GetPrev(), 'd');
  long visited = 0;  // removing every element while iterating with UpdateHandle
  for (it.GetFirst(); it.IsValid(); it.UpdateHandle()) map->RemoveKey(it.GetKey()), ++visited;
  EXPECT_EQ(visited, 4901);
  EXPECT_TRUE(map->IsEmpty() && it.IsEmpty());
  (*map)["x"] = 1, (*map)["y"] = 2;  // the gap at the very start leads to the new first one
  it.GetFirst(*map);
  map->RemoveKey("x");
  EXPECT_EQ(*it.GetNext(), 2);
  delete map;
  EXPECT_TRUE(it.GetMap() == nullptr && it.GetNext() == nullptr);
  // Without an element the failed check lets the call go on with a fresh scratch value.
  StrIt none;
  none.GetValue() = 5;
  EXPECT_EQ(none.GetValue() + StrFast().GetValue(), 0);
}

TEST(HashMapIteratorTest, ChangeEvents) {
  static Log log;
  auto record = [](int code, int* data) {
    return log.emplace_back(code, data ? *reinterpret_cast<long*>(data) : 0), 0;
  };
  StrMap map;
  SCC_EventHook<int> onMap(record, map.GetChangeEvent());
  const long ha = map.SetAt("a", 1);
  map.SetAt("a", 2);
  map.RemoveKey("a");
  map.RemoveKey("a");  // nothing removed, nothing raised
  map["b"];
  map.RemoveAll();
  // An iterator repeats the map's notifications after repairing its position.
  onMap.HookEvent(nullptr);
  map["c"] = 3;
  StrIt it(map);
  SCC_EventHook<int> onIt(record, &it.GetChangeEvent());
  map.RemoveKey("c");
  EXPECT_EQ(log, (Log{{1, ha}, {3, ha}, {2, ha}, {1, ha}, {6, 0}, {2, ha}}));
}

}  // namespace
