// nsync_test.cpp - NSYNC_Client and SCC_DEFAULT_NSyncClient: groups, merging of a group's
// changes, listeners that report again, and references that outlive their client.
#include "nsync.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ssm.h"

namespace {

using Notices = std::vector<std::pair<int, long>>;

// Records what a client's change event raises; `action` runs on each notice.
struct Listener {
  explicit Listener(SCC_DEFAULT_NSyncClient& client) : hook(this, &Listener::Process, &client.GetChangeEvent()) {}
  int Process(int code, int* data) {
    const long handle = data ? *reinterpret_cast<long*>(data) : 0;
    log.push_back({code, handle});
    if (action) action(code, handle);
    return 0;
  }
  Notices log;
  std::function<void(int, long)> action;
  SCC_ObjectEventHook<Listener, int> hook;
};

TEST(NSyncTest, AGroupsChangesAreMergedAndRaisedInOrder) {
  const struct {
    const char* what;
    Notices reports;  // (code, handle) reported inside one group
    Notices raised;
    int taken;  // how many reports the client took
  } cases[] = {
      {"plain kinds in fixed order", {{3, 9}, {1, 7}, {2, 4}, {1, 5}}, {{2, 4}, {1, 5}, {1, 7}, {3, 9}}, 4},
      {"insert then remove cancel", {{1, 7}, {2, 7}}, {}, 2},
      {"remove then insert is a replacement", {{2, 7}, {1, 7}}, {{3, 7}}, 2},
      {"replacements of new or gone objects drop", {{1, 7}, {3, 7}, {2, 8}, {3, 8}}, {{2, 8}, {1, 7}}, 4},
      {"repeated replacement once", {{3, 7}, {3, 7}}, {{3, 7}}, 2},
      {"replace then remove is a removal", {{3, 7}, {2, 7}}, {{2, 7}}, 2},
      {"reset swallows the group", {{1, 1}, {5, 0}, {1, 2}, {9, 3}}, {{5, 0}}, 4},
      {"clear wins over an earlier reset", {{5, 0}, {2, 1}, {6, 0}}, {{6, 0}}, 3},
      {"unknown codes and handle 0 are not taken", {{9, 1}, {1, 0}, {2, 0}, {3, 0}}, {}, 0},
      {"handle -1 is an ordinary handle", {{1, -1}, {3, 2}}, {{1, -1}, {3, 2}}, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    SCC_DEFAULT_NSyncClient client;
    Listener listener(client);
    client.BeginSync();
    int taken = 0;
    for (auto [code, handle] : c.reports) taken += client.Synchronize(code, handle);
    EXPECT_TRUE(listener.log.empty());  // nothing until the group closes
    client.EndSync();
    EXPECT_EQ(listener.log, c.raised);
    EXPECT_EQ(taken, c.taken);
    EXPECT_TRUE(client.GetInserted().IsEmpty() && client.GetRemoved().IsEmpty() &&
                client.GetReplaced().IsEmpty() && client.GetReset() == 0);
  }
}

TEST(NSyncTest, GroupsNestAndListenersMayReportAgain) {
  SCC_DEFAULT_NSyncClient client;
  Listener listener(client);
  EXPECT_EQ(client.Synchronize(1, 3), 1);  // outside a group: raised at once
  EXPECT_EQ(listener.log, (Notices{{1, 3}}));
  listener.log.clear();
  client.BeginSync();
  client.BeginSync();
  client.Synchronize(2, 3);
  client.EndSync();
  EXPECT_EQ(client.GetSyncDepth(), 1);
  EXPECT_TRUE(listener.log.empty());
  // A listener that answers a removal with an insertion starts a group of its own.
  listener.action = [&](int code, long handle) {
    if (code == 2) client.Synchronize(1, handle + 100);
  };
  client.EndSync();
  EXPECT_EQ(listener.log, (Notices{{2, 3}, {1, 103}}));
  EXPECT_EQ(client.GetSyncDepth(), 0);
  {
    SSM manager;  // an unbalanced end is a failed check and changes nothing
    EXPECT_THROW(client.EndSync(), SSM::AssertData*);
  }
  EXPECT_EQ(client.GetSyncDepth(), 0);

  struct Throwing : NSYNC_Client {
    int OnSynchronize(int, long) override { throw std::runtime_error("no"); }
  } throwing;
  EXPECT_THROW(throwing.Synchronize(1, 1), std::runtime_error);
  EXPECT_EQ(throwing.GetSyncDepth(), 0) << "the exception leaves no group open";
}

// A node that reports to its client while hearing of its end.
struct LastWord : SCC_RefDListNode {
  int heard = 0;
  void OnListDestroyed(SCC_RefDList* list) override {
    ++heard;
    static_cast<NSYNC_Client*>(list)->Synchronize(1, 1);  // the client is still whole here
  }
};

TEST(NSyncTest, ReferencesOutliveTheirClient) {
  SCC_RefPointer<NSYNC_Client> a, b;
  LastWord last;
  auto* client = new SCC_DEFAULT_NSyncClient;
  a.Reset(client);
  b = a;
  client->AddTail(&last);
  EXPECT_EQ(client->GetCount(), 3);
  delete client;
  EXPECT_EQ(last.heard, 1);
  EXPECT_EQ(a.Get(), nullptr);
  EXPECT_EQ(b.Get(), nullptr);
  SCC_DEFAULT_NSyncClient next;  // a reference may join a new client later
  a.Reset(&next);
  EXPECT_EQ(a->Synchronize(3, 5), 1);
}

}  // namespace
