// handleset_test.cpp - SCC_HandleSet and SCC_HandleMultiSet: table sizes, the special
// handles, copy-on-write, notices with re-entrant hooks, and a model check.
#include "scchandleset.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <vector>

#include "ssm.h"

namespace {

// The line of the failed check that `op` reports in system/scc/SCC_HandleSet, or 0.
int FailedLine(const std::function<void()>& op) {
  SSM manager;
  try {
    op();
  } catch (SSM::AssertData* d) {
    EXPECT_EQ(d->fileName, SYS_String("system/scc/SCC_HandleSet"));
    return d->line;
  }
  return 0;
}

std::vector<long> Handles(const _SCC_HandleSet& set) {
  SCC_Array<long> a = set.GetHandles();
  return std::vector<long>(a.GetData(), a.GetData() + a.GetSize());
}

TEST(HandleSetTest, TableSizesFollowTheSizeTableAtFourFifths) {
  // Size after adding the n-th handle: 0.8 of 3, 5, 11, 23, 47 truncated is 2, 4, 8, 18, 37.
  const std::map<long, long> sizeAfter = {{1, 3},  {2, 3},   {3, 5},   {4, 5},   {5, 11}, {8, 11},
                                          {9, 23}, {18, 23}, {19, 47}, {37, 47}, {38, 97}};
  SCC_HandleSet set;
  EXPECT_EQ(set.GetTableSize(), 0);
  for (long n = 1; n <= 38; ++n) {
    set.Add(n * 1000003);
    auto it = sizeAfter.find(n);
    if (it != sizeAfter.end()) {
      EXPECT_EQ(set.GetTableSize(), it->second) << n;
    }
  }
  EXPECT_TRUE(set.IsValid());

  // Removed slots count towards the threshold; when they are as many as the live ones the
  // table is purged at its size instead of grown.
  SCC_HandleSet churn;
  for (long h = 1; h <= 4; ++h) churn.Add(h);  // size 5, threshold 4
  churn.Remove(1);
  churn.Remove(2);
  churn.Add(5);  // 2 live + 2 removed + 1 > 4, removed >= live: purge
  EXPECT_EQ(churn.GetTableSize(), 5);
  churn.Add(6);
  churn.Add(7);  // 5 live > 4: grow
  EXPECT_EQ(churn.GetTableSize(), 11);
  for (long h = 8; h < 100000; ++h) {  // long churn at a steady size stays bounded
    churn.Add(h);
    churn.Remove(h - 5);
  }
  EXPECT_EQ(churn.GetCount(), 5);
  EXPECT_EQ(churn.GetTableSize(), 11);
  EXPECT_TRUE(churn.IsValid());

  SCC_HandleSet reserved;
  reserved.Reserve(1000);
  EXPECT_EQ(reserved.GetTableSize(), 1531);  // 0.8 of 1531 is the first threshold >= 1000
  reserved.RemoveAll();
  EXPECT_EQ(reserved.GetTableSize(), 0);
}

TEST(HandleSetTest, SpecialAndCollidingHandles) {
  SCC_HandleSet set;
  EXPECT_FALSE(set.Contains(-1));  // the removed-slot marker is no member
  EXPECT_EQ(set.Add(-1), 1);
  EXPECT_EQ(set.Add(-1), 0);
  EXPECT_TRUE(set.Contains(-1));
  EXPECT_EQ(set.GetCount(), 1);
  EXPECT_EQ(set.Add(INT32_MIN), 1);
  EXPECT_EQ(set.Add(INT32_MAX), 1);
  EXPECT_FALSE(set.Contains(0));
  EXPECT_EQ(Handles(set), (std::vector<long>{INT32_MIN, -1, INT32_MAX}));
  long visited = 0;
  for (long h : set) visited += h == -1;
  EXPECT_EQ(visited, 1);
  EXPECT_EQ(set.Remove(-1), 1);
  EXPECT_FALSE(set.Contains(-1));
  EXPECT_EQ(set.Remove(-1), 0);
  EXPECT_EQ(set.Remove(0), 0);

  // Handles that share a probe chain: removing one in the middle keeps the rest found.
  SCC_HandleSet chain;
  chain.Reserve(8);
  const long size = chain.GetTableSize();
  std::vector<long> same;
  // Handles whose first probe is the slot of 1 (the table mixes by 0x9E3779B1).
  auto firstSlot = [size](long h) { return static_cast<std::uint32_t>(h) * 0x9E3779B1u % size; };
  for (long h = 1; same.size() < 4 && h < 1000000; ++h)
    if (firstSlot(h) == firstSlot(1)) same.push_back(h);
  ASSERT_EQ(same.size(), 4u);
  for (long h : same) chain.Add(h);
  chain.Remove(same[1]);
  for (long h : {same[0], same[2], same[3]}) EXPECT_TRUE(chain.Contains(h)) << h;
  EXPECT_FALSE(chain.Contains(same[1]));
  chain.Add(same[1]);  // reuses the removed slot
  EXPECT_EQ(chain.GetCount(), 4);
  EXPECT_TRUE(chain.IsValid());

  // 0 and handles wider than 32 bits are refused as misuse.
  EXPECT_EQ(FailedLine([&] { set.Add(0); }), 101);
  if (sizeof(long) > 4) {
    const long wide = static_cast<long>(1) << 40;
    EXPECT_EQ(FailedLine([&] { set.Add(wide); }), 102);
    EXPECT_FALSE(set.Contains(wide));
    EXPECT_FALSE(set.Contains(static_cast<long>(static_cast<std::int32_t>(wide))));
  }
  EXPECT_EQ(set.Add(0), 0);  // without a manager: nothing added
  EXPECT_EQ(set.GetCount(), 2);
}

TEST(HandleSetTest, CopiesShareUntilTheFirstChange) {
  struct Case {
    const char* what;
    std::function<void(SCC_HandleMultiSet&)> change;
  } cases[] = {
      {"add new", [](SCC_HandleMultiSet& s) { s.Add(99); }},
      {"add again", [](SCC_HandleMultiSet& s) { s.Add(2); }},
      {"add -1", [](SCC_HandleMultiSet& s) { s.Add(-1); }},
      {"remove", [](SCC_HandleMultiSet& s) { s.Remove(2); }},
      {"remove every", [](SCC_HandleMultiSet& s) { s.RemoveEvery(3); }},
      {"remove all", [](SCC_HandleMultiSet& s) { s.RemoveAll(); }},
      {"reserve", [](SCC_HandleMultiSet& s) { s.Reserve(5000); }},
  };
  for (const Case& c : cases) {
    SCC_HandleMultiSet original;
    for (long h : {1, 2, 3, 3}) original.Add(h);
    const std::vector<long> before = Handles(original);
    SCC_HandleMultiSet copy(original);
    EXPECT_TRUE(copy.IsShared() && original.IsShared()) << c.what;
    EXPECT_TRUE(copy == original) << c.what;
    c.change(copy);
    EXPECT_FALSE(original.IsShared()) << c.what;
    EXPECT_EQ(Handles(original), before) << c.what;
    EXPECT_EQ(original.GetMultiplicity(3), 2) << c.what;
    EXPECT_EQ(original.GetCount(), 4) << c.what;
    EXPECT_TRUE(original.IsValid() && copy.IsValid()) << c.what;
  }
  // Lookups do not separate; assignment shares again, also with itself.
  SCC_HandleSet a{1, 2}, b;
  b = a;
  EXPECT_TRUE(b.Contains(2));
  EXPECT_TRUE(a.IsShared());
  b = b;
  EXPECT_TRUE(a.IsShared());
  b.Remove(7);  // nothing to remove: still shared
  EXPECT_TRUE(a.IsShared());
  b.Remove(1);
  EXPECT_TRUE(a.Contains(1));
  EXPECT_FALSE(a == b);
}

TEST(HandleSetTest, NoticesAndHooksThatChangeTheSet) {
  SCC_HandleMultiSet set;
  // Records every notice and runs `action` on it.
  struct Listener {
    std::vector<std::pair<int, long>> log;
    std::function<void(int, long)> action;
    int Process(int code, int* data) {
      const long handle = data ? *reinterpret_cast<long*>(data) : 0;
      log.push_back({code, handle});
      if (action) action(code, handle);
      return 0;
    }
  } listener;
  auto& log = listener.log;
  auto& action = listener.action;
  SCC_ObjectEventHook<Listener, int> hook(&listener, &Listener::Process, set.GetNotifier());

  set.Add(5);
  set.Add(5);
  set.RemoveEvery(5);
  EXPECT_EQ(log, (std::vector<std::pair<int, long>>{{1, 5}, {1, 5}, {2, 5}, {2, 5}}));

  // A hook that removes the handle announced for removal: it goes only once.
  log.clear();
  set.Add(7);
  bool armed = true;
  action = [&](int code, long h) {
    if (code == 2 && h == 7 && armed) {
      armed = false;
      set.Remove(7);
    }
  };
  EXPECT_EQ(set.Remove(7), 0);  // the hook took it first
  EXPECT_EQ(set.GetCount(), 0);
  EXPECT_EQ(log, (std::vector<std::pair<int, long>>{{1, 7}, {2, 7}, {2, 7}}));

  // A hook that adds while an insertion is announced; then clear and assignment.
  log.clear();
  action = [&](int code, long h) {
    if (code == 1 && h == 1) set.Add(2);
  };
  set.Add(1);
  action = nullptr;
  EXPECT_EQ(set.GetCount(), 2);
  SCC_HandleMultiSet other(set);
  set.RemoveAll();
  set.RemoveAll();  // empty: no second notice
  set = other;
  EXPECT_EQ(log, (std::vector<std::pair<int, long>>{{1, 1}, {1, 2}, {6, 0}, {5, 0}}));
  EXPECT_EQ(other.PeekNotifier(), nullptr);  // notifiers are not copied
}

TEST(HandleSetTest, MatchesAModelUnderRandomChanges) {
  for (unsigned seed : {1u, 2u, 3u}) {
    for (bool multi : {false, true}) {
      std::mt19937 rng(seed);
      // Few distinct values, negative ones and -1 included, so that chains and removed
      // slots are common.
      std::uniform_int_distribution<long> value(-20, 200);
      std::map<long, long> model;
      SCC_HandleMultiSet ms;
      SCC_HandleSet s;
      _SCC_HandleSet& set = multi ? static_cast<_SCC_HandleSet&>(ms) : s;
      SCC_HandleMultiSet snapshot;
      for (int step = 0; step < 20000; ++step) {
        long h = value(rng);
        if (h == 0) continue;
        if (rng() % 3 != 0) {
          const int added = multi ? ms.Add(h) : s.Add(h);
          EXPECT_EQ(added, multi || model[h] == 0);
          if (added) ++model[h];
        } else {
          const int removed = multi ? ms.Remove(h) : s.Remove(h);
          EXPECT_EQ(removed, model[h] > 0);
          if (removed) --model[h];
        }
        if (step % 5000 == 0 && multi) snapshot = ms;  // shares, then separates
      }
      long total = 0;
      std::vector<long> distinct;
      for (auto [h, n] : model) {
        ASSERT_EQ(multi ? ms.GetMultiplicity(h) : s.Contains(h), n) << h;
        total += n;
        if (n) distinct.push_back(h);
      }
      EXPECT_EQ(set.GetCount(), total);
      EXPECT_EQ(Handles(set), distinct);
      EXPECT_TRUE(set.IsValid());
      EXPECT_TRUE(snapshot.IsValid());
    }
  }
}

}  // namespace
