// sccevfilter.h - SCC_EventFilter and SCC_EventFilterSettings: a hook placed in an event chain
// that holds back the notifications passing through it while its settings are suspended,
// merges them as the settings say, and releases them in order on resume.
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sccarray.h"
#include "scchash.h"
#include "sccevent.h"
#include "sccshared.h"

/// One notification held back by a suspended filter. Payloads are usually pointers to the
/// raiser's locals, gone by the time the filter releases, so the first `size` bytes of the
/// payload are copied (the size the settings give for the code); with size 0 the pointer
/// itself is kept and delivered as it was (right for null payloads and for payloads that
/// are long-lived objects, such as the property of code 8).
struct BRIX_API SCC_SuspendedEvent {
  static constexpr int kMaxPayload = 32;  ///< bytes a record can copy

  int code = 0;
  int size = 0;             ///< payload bytes copied into `bytes`; 0: `pointer` is kept
  int* pointer = nullptr;   ///< the payload as raised
  alignas(8) unsigned char bytes[kMaxPayload] = {};

  /// What the release hands to the listeners: the copy, or the pointer as raised.
  int* Payload() { return size ? reinterpret_cast<int*>(bytes) : pointer; }
  /// 1 when `other` has the same code and the same payload (copied bytes or pointer).
  int Matches(const SCC_SuspendedEvent& other) const;
};

/// How a group of filters behaves: whether they are suspended (a nesting count), how they
/// merge what they hold, how much of each code's payload they copy and how many
/// notifications each may hold. Settings are shared, reference-counted objects: every
/// filter holds a reference, and suspending the settings suspends all filters that use
/// them at once (a document-wide "begin update").
///
/// Merge modes, applied to the notifications a filter holds and has not yet released:
/// - MergeNone: every notification is held and released in order.
/// - MergeRepeats: a notification equal to one already held (same code, same payload as
///   copied) is dropped; the earlier one keeps its place. Meant for idempotent codes (3,
///   5, 8); repeated insertions at one position are distinct changes, so settings that
///   hold those should keep MergeNone.
/// - MergeIntoReset: everything held collapses into a single notification: 6 (no
///   payload) when the latest one held was 6, else 5 (no payload).
/// Whatever the mode, a filter that would hold more than GetMaxHeld() notifications
/// collapses them as MergeIntoReset does and goes on collapsing until it has released.
///
/// The state event (GetStateEvent) is raised with 1 when the settings become suspended and
/// 2 when they are resumed, with the settings as payload; filters listen to it to release.
/// Copies take the mode, payload sizes and limit; they start resumed and with no filters.
class BRIX_API SCC_EventFilterSettings : public SCC_SharedBuffer {
 public:
  enum MergeMode { MergeNone = 0, MergeRepeats = 1, MergeIntoReset = 2 };
  static constexpr long kDefaultMaxHeld = 1000;

  /// Resumed, MergeNone, payload sizes for the shared codes (1, 2, 3: one long; 7: an
  /// SCC_ArrayPositions), at most kDefaultMaxHeld notifications held per filter.
  SCC_EventFilterSettings();
  SCC_EventFilterSettings(const SCC_EventFilterSettings& other);
  /// Takes the mode, payload sizes and limit; keeps its own suspension and filters.
  SCC_EventFilterSettings& operator=(const SCC_EventFilterSettings& other);
  ~SCC_EventFilterSettings() override;

  /// Suspends (nested: each Suspend needs one Resume).
  void Suspend();
  /// Ends one Suspend; the last one lets the filters release. Resuming settings that are
  /// not suspended is a failed check.
  void Resume();
  int IsSuspended() const { return m_suspended > 0; }
  long GetSuspendCount() const { return m_suspended; }

  int GetMergeMode() const { return m_mode; }
  void SetMergeMode(MergeMode mode) { m_mode = mode; }
  /// Bytes of the payload of `code` a filter copies (0: it keeps the pointer).
  int GetPayloadSize(int code) const;
  /// Sets them; more than SCC_SuspendedEvent::kMaxPayload or fewer than 0 is a failed
  /// check (and 0 is returned, changing nothing); else 1.
  int SetPayloadSize(int code, int bytes);
  long GetMaxHeld() const { return m_maxHeld; }
  /// At least 1 (a failed check otherwise, changing nothing).
  void SetMaxHeld(long n);

  /// Raised with 1 on suspension and 2 on resumption.
  SCC_Notifier* GetStateEvent() { return &m_stateEvent; }

 private:
  std::int32_t m_suspended = 0;
  int m_mode = MergeNone;
  long m_maxHeld = kDefaultMaxHeld;
  SCC_Map<int, int> m_payloadSizes;
  SCC_Notifier m_stateEvent;
};

/// A hook that passes the notifications of the event it is hooked into on to its own
/// listeners (GetNotifier), holding them back while its settings are suspended.
///
/// Place it in a chain with HookEvent (by priority, as any hook) or the constructor; hook
/// the listeners that should see the filtered stream into GetNotifier(). Without settings,
/// or while they are resumed, notifications pass through at once. While suspended, each
/// is recorded (SCC_SuspendedEvent) and merged as the settings say; on resume they are
/// released in the order they arrived.
///
/// Re-entrancy: a listener of a released notification may suspend the settings again (the
/// rest stays held, in order, ahead of later arrivals), raise the source (the new
/// notification is held behind those still to be released, so order is kept), discard
/// what is held, change the settings, or destroy the filter (the release stops). An
/// exception from a listener leaves the rest held; the next notification or Release goes on.
/// Filters are not copyable.
class BRIX_API SCC_EventFilter : public SCC_EventHook<int> {
 public:
  /// Uses `settings` (may be null) and hooks into `source` (if given) by `priority`.
  explicit SCC_EventFilter(SCC_EventFilterSettings* settings = nullptr,
                           SCC_Event<int>* source = nullptr, long priority = 0);
  SCC_EventFilter(const SCC_EventFilter&) = delete;
  SCC_EventFilter& operator=(const SCC_EventFilter&) = delete;
  /// Drops what it holds; a release running in a listener stops.
  ~SCC_EventFilter() override;

  /// The filtered stream: listeners hook here.
  SCC_Notifier* GetNotifier() { return &m_output; }
  SCC_EventFilterSettings* GetSettings() const { return m_settings.Get(); }
  /// Uses `settings` instead (null: none); releases at once when they are not suspended.
  void SetSettings(SCC_EventFilterSettings* settings);

  /// The number of notifications held and not yet released.
  long GetHeldCount() const { return m_held.GetSize() - m_next; }
  /// The i-th of them (0 the oldest), or null.
  const SCC_SuspendedEvent* GetHeld(long i) const;
  /// Forgets what is held.
  void Discard();
  /// Delivers what is held, in order, until it is all delivered or the settings are
  /// suspended again; returns how many were delivered. Called on resume; a call from
  /// inside a running release returns 0 and leaves the work to it.
  long Release();

  /// Passes (code, data) on, or holds it.
  int OnNotification(int code, int* data) override;

 private:
  int OnSettingsEvent(int code, int* data);
  int IsHolding() const;
  void Hold(int code, int* data);
  void CollapsePending(int code);

  SCC_SharedPointer<SCC_EventFilterSettings> m_settings;
  SCC_ObjectEventHook<SCC_EventFilter, int> m_settingsHook;
  SCC_Array<SCC_SuspendedEvent> m_held;
  long m_next = 0;             // the first record not yet released
  bool m_collapsing = false;   // over the limit: holding one 5 or 6 until released
  int m_releasing = 0;
  bool* m_destroyed = nullptr;  // set by the destructor for a release in progress
  SCC_Notifier m_output;
};
