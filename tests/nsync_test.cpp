// nsync_test.cpp - NSYNC_Client and SCC_DEFAULT_NSyncClient: groups, merging of a group's
// changes, listeners that report again, and references that outlive their client.
#include "nsync.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "ssm.h"

namespace {

using Notices = std::vector<std::pair<int, long>>;

// Records what a client's change event raises; `action` runs on each notice.
struct Listener {
  explicit Listener(SCC_DEFAULT_NSyncClient& client) : hook(this, &Listener::Process, &client.GetChangeEvent()) {}
  int Process(int code, int* data) {
    log.push_back({code, data ? *reinterpret_cast<long*>(data) : 0});
    return action ? action(code, log.back().second), 0 : 0;
  }
  Notices log;
  std::function<void(int, long)> action;
  SCC_ObjectEventHook<Listener, int> hook;
};

TEST(NSyncTest, AGroupsChangesAreMergedAndRaisedInOrder) {
  // reports: (code, handle) inside one group; taken: how many the client took
  const struct { Notices reports; Notices raised; int taken; } cases[] = {
      {{{3, 9}, {1, 7}, {2, 4}, {1, 5}}, {{2, 4}, {1, 5}, {1, 7}, {3, 9}}, 4},  // kinds in fixed order
      {{{1, 7}, {2, 7}}, {}, 2},                                                // insert, remove: none
      {{{2, 7}, {1, 7}}, {{3, 7}}, 2},                                          // remove, insert: replace
      {{{1, 7}, {3, 7}, {2, 8}, {3, 8}, {3, 9}, {3, 9}}, {{2, 8}, {1, 7}, {3, 9}}, 6},
      {{{3, 7}, {2, 7}}, {{2, 7}}, 2},                  // replace, remove: remove
      {{{1, 1}, {5, 0}, {1, 2}, {9, 3}}, {{5, 0}}, 4},  // a reset swallows the group
      {{{5, 0}, {2, 1}, {6, 0}}, {{6, 0}}, 3},          // a clear wins over a reset
      {{{9, 1}, {1, 0}, {2, 0}, {3, 0}, {1, -1}}, {{1, -1}}, 1},  // unknown codes, handle 0
  };
  for (const auto& c : cases) {
    SCC_DEFAULT_NSyncClient client;
    Listener listener(client);
    client.BeginSync();
    int taken = 0;
    for (auto [code, handle] : c.reports) taken += client.Synchronize(code, handle);
    EXPECT_TRUE(listener.log.empty());  // nothing until the group closes
    client.EndSync();
    EXPECT_EQ(listener.log, c.raised);
    EXPECT_EQ(taken, c.taken);
    EXPECT_TRUE(client.GetInserted().IsEmpty() && client.GetRemoved().IsEmpty() && client.GetReplaced().IsEmpty() &&
                client.GetReset() == 0);
  }
}

TEST(NSyncTest, GroupsNestAndListenersMayReportAgain) {
  SCC_DEFAULT_NSyncClient client;
  Listener listener(client);
  EXPECT_EQ(client.Synchronize(1, 3), 1);  // outside a group: raised at once
  client.BeginSync(), client.BeginSync(), client.Synchronize(2, 3), client.EndSync();
  EXPECT_EQ(client.GetSyncDepth(), 1);
  // A listener that answers a removal with an insertion starts a group of its own.
  listener.action = [&](int code, long handle) { code == 2 ? void(client.Synchronize(1, handle + 100)) : void(); };
  client.EndSync();
  EXPECT_EQ(listener.log, (Notices{{1, 3}, {2, 3}, {1, 103}}));
  {
    SSM manager;  // an unbalanced end is a failed check and changes nothing
    EXPECT_THROW(client.EndSync(), SSM::AssertData*);
  }
  EXPECT_EQ(client.GetSyncDepth(), 0);
  struct : NSYNC_Client {
    int OnSynchronize(int, long) override { throw std::runtime_error("no"); }
  } throwing;
  EXPECT_THROW(throwing.Synchronize(1, 1), std::runtime_error);
  EXPECT_EQ(throwing.GetSyncDepth(), 0) << "the exception leaves no group open";
}

// A node that reports to its client while hearing of its end: the client is still whole then.
struct LastWord : SCC_RefDListNode {
  int heard = 0;
  void OnListDestroyed(SCC_RefDList* list) override { heard += static_cast<NSYNC_Client*>(list)->Synchronize(1, 1); }
};

TEST(NSyncTest, ReferencesOutliveTheirClient) {
  SCC_RefPointer<NSYNC_Client> a;
  LastWord last;
  a.Reset(new SCC_DEFAULT_NSyncClient);
  a->AddTail(&last);
  delete a.Get();
  EXPECT_EQ(last.heard * 10 + (a.Get() == nullptr), 11);
}

}  // namespace
