// nsync.h - NSYNC_Client and SCC_DEFAULT_NSyncClient: the receiving end through which the
// host hears, in batches, which objects a source changed.
#pragma once

#include "brixexport.h"
#include "sccdlist.h"
#include "sccevent.h"
#include "scchandleset.h"

/// A synchronisation client: the object a source of changes (a document, a collection)
/// reports its changes to, with the shared notification codes and the handle of the
/// object concerned (1 inserted, 2 removed, 3 replaced, 5 reset, 6 cleared or owner
/// destroyed; other codes are the client's business).
///
/// A client is a list of references (SCC_RefDList): sources keep an
/// SCC_RefPointer<NSYNC_Client> (or any SCC_RefDListNode) in it, which turns null when the
/// client dies, so a source never reports to a dead client.
///
/// Changes may be grouped: BeginSync and EndSync nest, and OnSyncEnd runs when the
/// outermost group closes. A report outside any group counts as a group of its own.
class BRIX_API NSYNC_Client : public SCC_RefDList {
 public:
  NSYNC_Client() noexcept = default;
  NSYNC_Client(const NSYNC_Client&) = delete;
  NSYNC_Client& operator=(const NSYNC_Client&) = delete;
  ~NSYNC_Client() override;

  /// Opens a group of changes; groups nest.
  void BeginSync();
  /// Closes a group; closing the outermost one calls OnSyncEnd. An EndSync without a
  /// BeginSync is a failed check and does nothing.
  void EndSync();
  /// The number of open groups.
  long GetSyncDepth() const noexcept { return m_depth; }

  /// Reports one change of the object `handle` (0: none in particular) with `code`.
  /// Returns what OnSynchronize returns (1 when the client took the change).
  int Synchronize(int code, long handle);

 protected:
  /// Takes one change; runs inside a group (possibly the report's own).
  virtual int OnSynchronize(int code, long handle) = 0;
  /// Runs when a group opens from depth 0, and when the outermost group closes.
  virtual void OnSyncBegin() {}
  virtual void OnSyncEnd() {}

 private:
  long m_depth = 0;
};

/// The client the library offers: it gathers the changes of a group and, when the group
/// closes, raises them on its change event, merged and in a fixed order.
///
/// Merging within a group, by handle: an insertion and a later removal cancel out; a
/// removal and a later insertion become a replacement (3); replacements of an inserted or
/// removed object are dropped, repeated ones kept once. A reset (5) or clear (6) drops
/// everything gathered and every change that follows in the group but a later reset or
/// clear, which takes its place: listeners reload anyway.
///
/// At the end of the group the change event gets 5 or 6 alone after a reset, else every
/// removal (2), then every insertion (1), then every replacement (3), each in ascending
/// handle order, the data pointing to the handle as a long. Listeners may report new
/// changes while the event runs: they form the next group.
class BRIX_API SCC_DEFAULT_NSyncClient : public NSYNC_Client {
 public:
  SCC_DEFAULT_NSyncClient() = default;
  ~SCC_DEFAULT_NSyncClient() override;

  /// Where the gathered changes are raised.
  SCC_Notifier& GetChangeEvent() noexcept { return m_event; }
  /// The changes gathered so far in the open group, by kind.
  const SCC_HandleSet& GetInserted() const noexcept { return m_inserted; }
  const SCC_HandleSet& GetRemoved() const noexcept { return m_removed; }
  const SCC_HandleSet& GetReplaced() const noexcept { return m_replaced; }
  /// 5 or 6 when the open group was reset, else 0.
  int GetReset() const noexcept { return m_reset; }

 protected:
  int OnSynchronize(int code, long handle) override;
  void OnSyncEnd() override;

 private:
  SCC_HandleSet m_inserted;
  SCC_HandleSet m_removed;
  SCC_HandleSet m_replaced;
  int m_reset = 0;
  SCC_Notifier m_event;
};
