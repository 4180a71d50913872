// handleset_test.cpp - SCC_HandleSet and SCC_HandleMultiSet: table sizes, the special
// handles, copy-on-write, notices with re-entrant hooks, and a model check.
#include "scchandleset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "failed_check.h"
#include "ssm.h"

namespace {

constexpr const char* kSource = "system/scc/SCC_HandleSet";

std::vector<long> Handles(const _SCC_HandleSet& set) {
  SCC_Array<long> a = set.GetHandles();
  std::vector<long> walked(set.begin(), set.end());  // table order; GetHandles sorts
  std::sort(walked.begin(), walked.end());
  EXPECT_EQ(walked, std::vector<long>(a.GetData(), a.GetData() + a.GetSize()));
  return walked;
}

TEST(HandleSetTest, TableSizesFollowTheSizeTableAtFourFifths) {
  // Size after adding the n-th handle: 0.8 of 3, 5, 11, 23, 47 truncated is 2, 4, 8, 18, 37.
  const std::map<long, long> sizeAfter = {{1, 3},  {2, 3},   {3, 5},   {4, 5},   {5, 11}, {8, 11},
                                          {9, 23}, {18, 23}, {19, 47}, {37, 47}, {38, 97}};
  SCC_HandleSet set;
  for (long n = 1; n <= 38; ++n) {
    set.Add(n * 1000003);
    EXPECT_EQ(sizeAfter.count(n) ? sizeAfter.at(n) : set.GetTableSize(), set.GetTableSize()) << n;
  }
  // Removed slots count towards the threshold; when they are as many as the live ones the
  // table is purged at its size instead of grown.
  SCC_HandleSet churn;
  for (long h = 1; h <= 4; ++h) churn.Add(h);  // size 5, threshold 4
  churn.Remove(1), churn.Remove(2), churn.Add(5);  // 2 live + 2 removed + 1 > 4: purge
  EXPECT_EQ(churn.GetTableSize(), 5);
  churn.Add(6), churn.Add(7);  // 5 live > 4: grow
  EXPECT_EQ(churn.GetTableSize(), 11);
  for (long h = 8; h < 100000; ++h) churn.Add(h), churn.Remove(h - 5);  // stays bounded
  EXPECT_EQ(churn.GetCount() * 100 + churn.GetTableSize(), 511);
  EXPECT_TRUE(churn.IsValid());
  // Reserving nothing makes no table; 0.8 of 1531 is the first threshold >= 1000.
  SCC_HandleSet reserved;
  for (long n : {0L, -5L, 1L << 40}) reserved.Reserve(n);
  EXPECT_EQ(reserved.GetTableSize(), 0);
  reserved.Reserve(1000);
  EXPECT_EQ(reserved.GetTableSize(), 1531);
}

TEST(HandleSetTest, SpecialWideAndCollidingHandles) {
  SCC_HandleSet set;
  EXPECT_FALSE(set.Contains(-1) || set.Contains(5));  // no table yet
  EXPECT_EQ(set.Add(-1), 1);  // the removed-slot marker is a handle too
  EXPECT_EQ(set.Add(-1), 0);
  EXPECT_EQ(set.Add(INT32_MIN) + set.Add(INT32_MAX) + set.Add(5), 3);
  EXPECT_EQ(set.Remove(-1), 1);
  EXPECT_EQ(set.Remove(-1) + set.Remove(0) + set.Contains(0), 0);
  EXPECT_EQ(Handles(set), (std::vector<long>{INT32_MIN, 5, INT32_MAX}));
  // Handles wider than 32 bits are no members even when their low half is one.
  for (long wide : {(1L << 32) + 5, -(1L << 32) + 5, 1L << 32}) EXPECT_FALSE(set.Contains(wide));
  // 0 and wide handles are refused as misuse; without a manager nothing is added.
  EXPECT_EQ(FailedLineUnderService(kSource, [&] { set.Add(0); }), 101);
  EXPECT_EQ(FailedLineUnderService(kSource, [&] { set.Add(1L << 40); }), 102);
  EXPECT_EQ(set.Add(0) + set.Add((1L << 32) + 7) + set.GetCount(), 3);

  // Handles that share a probe chain from slot 0 (the table mixes by 0x9E3779B1): removing
  // one in the middle keeps the rest found, and the iteration starts with the first.
  SCC_HandleSet chain;
  chain.Reserve(8);
  const std::uint32_t size = static_cast<std::uint32_t>(chain.GetTableSize());
  std::vector<long> same;
  for (long h = 1; same.size() < 4; ++h)
    if (static_cast<std::uint32_t>(h) * 0x9E3779B1u % size == 0) same.push_back(h);
  for (long h : same) chain.Add(h);
  chain.Remove(same[1]);
  EXPECT_EQ(Handles(chain), (std::vector<long>{same[0], same[2], same[3]}));
  EXPECT_EQ(*chain.begin(), same[0]);
  chain.Add(same[1]);  // reuses the removed slot
  EXPECT_TRUE(chain.GetCount() == 4 && chain.IsValid());
}

TEST(HandleSetTest, NoticesAndHooksThatChangeTheSet) {
  SCC_HandleMultiSet set;
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
  using Log = std::vector<std::pair<int, long>>;
  SCC_ObjectEventHook<Listener, int> hook(&listener, &Listener::Process, set.GetNotifier());
  set.Add(5), set.Add(5), set.RemoveEvery(5);
  set.Add(7);
  // Hooks that remove the handle announced for removal (it goes only once) and that add
  // while an insertion is announced.
  bool armed = true;
  listener.action = [&](int code, long h) {
    if (code == 2 && h == 7 && armed) armed = false, set.Remove(7);
    if (code == 1 && h == 1) set.Add(2);
  };
  EXPECT_EQ(set.Remove(7), 0);  // the hook took it first
  set.Add(1);
  listener.action = nullptr;
  SCC_HandleMultiSet other(set);
  set.RemoveAll();
  set.RemoveAll();  // empty: no second notice
  set = other;
  EXPECT_EQ(listener.log, (Log{{1, 5}, {1, 5}, {2, 5}, {2, 5}, {1, 7}, {2, 7}, {2, 7}, {1, 1},
                               {1, 2}, {6, 0}, {5, 0}}));
  EXPECT_EQ(other.PeekNotifier(), nullptr);  // notifiers are not copied
}

TEST(HandleSetTest, MatchesAModelUnderRandomChanges) {
  for (unsigned seed : {1u, 2u, 3u}) {
    for (bool multi : {false, true}) {
      std::mt19937 rng(seed);
      // Few distinct values, negative ones and -1 included: chains and removed slots are common.
      std::uniform_int_distribution<long> value(-20, 200);
      std::map<long, long> model;
      SCC_HandleMultiSet ms, snapshot;
      long snapshotCount = 0;
      SCC_HandleSet s;
      _SCC_HandleSet& set = multi ? static_cast<_SCC_HandleSet&>(ms) : s;
      for (int step = 0; step < 20000; ++step) {
        const long h = value(rng);
        if (h == 0) continue;
        if (rng() % 3 != 0) {
          const int added = multi ? ms.Add(h) : s.Add(h);
          EXPECT_EQ(added, multi || model[h] == 0);
          model[h] += added;
        } else {
          const int removed = multi ? ms.Remove(h) : s.Remove(h);
          EXPECT_EQ(removed, model[h] > 0);
          model[h] -= removed;
        }
        if (step == 10000 && multi) snapshot = ms, snapshotCount = ms.GetCount();  // shares
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
      EXPECT_TRUE(set.IsValid() && snapshot.IsValid() && !snapshot.IsShared());
      EXPECT_EQ(snapshot.GetCount(), snapshotCount);
    }
  }
}

}  // namespace
