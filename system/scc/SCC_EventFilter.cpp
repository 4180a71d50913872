// SCC_EventFilter.cpp - the event filter, its shared settings and the held records.
#include "sccevfilter.h"

#include <cstring>

#include "ssmcheck.h"

namespace {
constexpr const char* kFile = "system/scc/SCC_EventFilter";
constexpr int kLineResumeNotSuspended = 120;
constexpr int kLinePayloadSize = 121;
constexpr int kLineMaxHeld = 122;
constexpr int kLineSuspendOverflow = 123;

constexpr int kSuspended = 1;
constexpr int kResumed = 2;
constexpr int kReset = 5;
constexpr int kCleared = 6;
}  // namespace

int SCC_SuspendedEvent::Matches(const SCC_SuspendedEvent& other) const {
  if (code != other.code || size != other.size) return 0;
  if (size == 0) return pointer == other.pointer;
  return std::memcmp(bytes, other.bytes, static_cast<std::size_t>(size)) == 0;
}

// ---- settings

SCC_EventFilterSettings::SCC_EventFilterSettings() {
  m_payloadSizes.SetAt(1, static_cast<int>(sizeof(long)));
  m_payloadSizes.SetAt(2, static_cast<int>(sizeof(long)));
  m_payloadSizes.SetAt(3, static_cast<int>(sizeof(long)));
  m_payloadSizes.SetAt(7, static_cast<int>(sizeof(SCC_ArrayPositions)));
}

SCC_EventFilterSettings::SCC_EventFilterSettings(const SCC_EventFilterSettings& other)
    : SCC_SharedBuffer(other),
      m_mode(other.m_mode),
      m_maxHeld(other.m_maxHeld),
      m_payloadSizes(other.m_payloadSizes) {}

SCC_EventFilterSettings& SCC_EventFilterSettings::operator=(const SCC_EventFilterSettings& other) {
  if (this == &other) return *this;
  m_mode = other.m_mode;
  m_maxHeld = other.m_maxHeld;
  m_payloadSizes = other.m_payloadSizes;
  return *this;
}

SCC_EventFilterSettings::~SCC_EventFilterSettings() = default;

void SCC_EventFilterSettings::Suspend() {
  SSM_CHECK(m_suspended < INT32_MAX, kFile, kLineSuspendOverflow);
  if (m_suspended == INT32_MAX) return;
  if (m_suspended++ == 0) m_stateEvent.Notify(kSuspended, this);
}

void SCC_EventFilterSettings::Resume() {
  SSM_CHECK(m_suspended > 0, kFile, kLineResumeNotSuspended);
  if (m_suspended <= 0) return;
  if (--m_suspended == 0) m_stateEvent.Notify(kResumed, this);
}

int SCC_EventFilterSettings::GetPayloadSize(int code) const {
  int bytes = 0;
  m_payloadSizes.Lookup(code, bytes);
  return bytes;
}

int SCC_EventFilterSettings::SetPayloadSize(int code, int bytes) {
  const bool ok = bytes >= 0 && bytes <= SCC_SuspendedEvent::kMaxPayload;
  SSM_CHECK_ID(ok, kFile, kLinePayloadSize, bytes);
  if (!ok) return 0;
  if (bytes)
    m_payloadSizes.SetAt(code, bytes);
  else
    m_payloadSizes.RemoveKey(code);
  return 1;
}

void SCC_EventFilterSettings::SetMaxHeld(long n) {
  SSM_CHECK(n >= 1, kFile, kLineMaxHeld);
  if (n >= 1) m_maxHeld = n;
}

// ---- filter

SCC_EventFilter::SCC_EventFilter(SCC_EventFilterSettings* settings, SCC_Event<int>* source,
                                 long priority)
    : SCC_EventHook<int>(nullptr, nullptr, priority),
      m_settingsHook(this, &SCC_EventFilter::OnSettingsEvent) {
  SetSettings(settings);
  if (source) HookEvent(source);
}

SCC_EventFilter::~SCC_EventFilter() {
  if (m_destroyed) *m_destroyed = true;
  // Out of the source's chain first, so nothing arrives while the members go.
  Remove();
}

void SCC_EventFilter::SetSettings(SCC_EventFilterSettings* settings) {
  m_settings = settings;
  m_settingsHook.HookEvent(settings ? settings->GetStateEvent() : nullptr);
  if (GetHeldCount() && !IsHolding()) Release();
}

const SCC_SuspendedEvent* SCC_EventFilter::GetHeld(long i) const {
  return i >= 0 && i < GetHeldCount() ? &m_held.GetAt(m_next + i) : nullptr;
}

void SCC_EventFilter::Discard() {
  m_held.RemoveAll();
  m_next = 0;
  m_collapsing = false;
}

int SCC_EventFilter::IsHolding() const { return m_settings && m_settings->IsSuspended(); }

int SCC_EventFilter::OnSettingsEvent(int code, int* data) {
  if (code == kResumed) Release();
  return 0;
}

int SCC_EventFilter::OnNotification(int code, int* data) {
  // Behind held records, or inside a release, a notification waits its turn so that the
  // listeners see everything in the order it happened.
  if (IsHolding() || GetHeldCount() || m_releasing) {
    Hold(code, data);
    if (!IsHolding() && !m_releasing) Release();
    return 0;
  }
  m_output.Raise(code, data);
  return 0;
}

void SCC_EventFilter::Hold(int code, int* data) {
  const int mode = m_settings ? m_settings->GetMergeMode() : SCC_EventFilterSettings::MergeNone;
  const long limit = m_settings ? m_settings->GetMaxHeld() : SCC_EventFilterSettings::kDefaultMaxHeld;
  if (m_collapsing || mode == SCC_EventFilterSettings::MergeIntoReset ||
      GetHeldCount() >= limit) {
    m_collapsing = m_collapsing || mode != SCC_EventFilterSettings::MergeIntoReset;
    CollapsePending(code);
    return;
  }
  SCC_SuspendedEvent record;
  record.code = code;
  record.pointer = data;
  const int size = m_settings && data ? m_settings->GetPayloadSize(code) : 0;
  if (size > 0) {
    record.size = size;
    std::memcpy(record.bytes, data, static_cast<std::size_t>(size));
  }
  if (mode == SCC_EventFilterSettings::MergeRepeats) {
    for (long i = m_next; i < m_held.GetSize(); ++i)
      if (m_held.GetAt(i).Matches(record)) return;
  }
  m_held.Add(record);
}

void SCC_EventFilter::CollapsePending(int code) {
  SCC_SuspendedEvent record;
  record.code = code == kCleared ? kCleared : kReset;
  if (m_next == 0) {
    m_held.RemoveAll();
  } else {
    m_held.Delete(m_next, m_held.GetSize() - m_next);
  }
  m_held.Add(record);
}

long SCC_EventFilter::Release() {
  if (m_releasing) return 0;
  bool destroyed = false;
  struct Scope {
    SCC_EventFilter* filter;
    bool* destroyed;
    ~Scope() {
      if (*destroyed) return;
      --filter->m_releasing;
      filter->m_destroyed = nullptr;
    }
  } scope{this, &destroyed};
  ++m_releasing;
  m_destroyed = &destroyed;
  long delivered = 0;
  while (GetHeldCount() && !IsHolding()) {
    // Copied out: listeners may add, discard or collapse records while it is delivered.
    SCC_SuspendedEvent record = m_held.GetAt(m_next++);
    if (m_next == m_held.GetSize()) Discard();
    m_output.Raise(record.code, record.Payload());
    if (destroyed) return delivered + 1;
    ++delivered;
  }
  return delivered;
}
