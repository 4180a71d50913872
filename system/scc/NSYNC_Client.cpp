// NSYNC_Client.cpp - synchronisation clients: grouping of reported changes, and the default
// client that merges a group's changes before raising them.
#include "nsync.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/scc/NSYNC_Client";
constexpr int kLineUnbalancedEnd = 101;  // EndSync without BeginSync

}  // namespace

NSYNC_Client::~NSYNC_Client() { ReleaseNodes(); }

void NSYNC_Client::BeginSync() {
  if (m_depth++ == 0) OnSyncBegin();
}

void NSYNC_Client::EndSync() {
  SSM_CHECK(m_depth > 0, kFile, kLineUnbalancedEnd);
  if (m_depth <= 0) return;
  if (--m_depth == 0) OnSyncEnd();
}

int NSYNC_Client::Synchronize(int code, long handle) {
  BeginSync();
  int taken = 0;
  try {
    taken = OnSynchronize(code, handle);
  } catch (...) {
    --m_depth;  // the group is abandoned with the exception
    throw;
  }
  EndSync();
  return taken;
}

// ---------------------------------------------------------------------------------------

SCC_DEFAULT_NSyncClient::~SCC_DEFAULT_NSyncClient() {
  // The references hear of the end while this client is still whole.
  ReleaseNodes();
}

int SCC_DEFAULT_NSyncClient::OnSynchronize(int code, long handle) {
  if (m_reset && code != 5 && code != 6) return 1;  // the listeners reload everything anyway
  switch (code) {
    case 1:
      if (handle == 0) return 0;
      if (m_removed.Remove(handle))
        m_replaced.Add(handle);
      else
        m_inserted.Add(handle);
      return 1;
    case 2:
      if (handle == 0) return 0;
      if (m_inserted.Remove(handle)) return 1;  // never seen by the listeners
      m_replaced.Remove(handle);
      m_removed.Add(handle);
      return 1;
    case 3:
      if (handle == 0) return 0;
      if (!m_inserted.Contains(handle) && !m_removed.Contains(handle)) m_replaced.Add(handle);
      return 1;
    case 5:
    case 6:
      m_reset = code;
      m_inserted.RemoveAll();
      m_removed.RemoveAll();
      m_replaced.RemoveAll();
      return 1;
    default:
      return 0;
  }
}

void SCC_DEFAULT_NSyncClient::OnSyncEnd() {
  // Take the group out first: listeners that report again start the next one.
  const int reset = m_reset;
  const SCC_Array<long> removed = m_removed.GetHandles();
  const SCC_Array<long> inserted = m_inserted.GetHandles();
  const SCC_Array<long> replaced = m_replaced.GetHandles();
  m_reset = 0;
  m_removed.RemoveAll();
  m_inserted.RemoveAll();
  m_replaced.RemoveAll();

  if (reset) {
    m_event.Notify(reset, nullptr);
    return;
  }
  auto raise = [this](int code, const SCC_Array<long>& handles) {
    for (long i = 0; i < handles.GetSize(); ++i) {
      long handle = handles.GetAt(i);
      m_event.Notify(code, &handle);
    }
  };
  raise(2, removed);
  raise(1, inserted);
  raise(3, replaced);
}
