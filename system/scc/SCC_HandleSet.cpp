// SCC_HandleSet.cpp - the open-addressing handle table behind SCC_HandleSet and
// SCC_HandleMultiSet.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "scchandleset.h"
#include "scchash.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/scc/SCC_HandleSet";
constexpr int kLineNullHandle = 101;  // adding the handle 0
constexpr int kLineWideHandle = 102;  // adding a handle that does not fit in 32 bits
constexpr int kLineFull = 103;        // the table or a count cannot grow any further

constexpr std::int32_t kEmpty = 0;
constexpr std::int32_t kRemoved = -1;

bool FitsIn32(long handle) { return handle >= INT32_MIN && handle <= INT32_MAX; }

// 0.8 of the size, truncated: the most slots (live or removed) a table of `size` may use.
long Threshold(long size) { return static_cast<long>(static_cast<std::int64_t>(size) * 8 / 10); }

// Multiplicative mixing spreads runs of consecutive handles and strides alike.
std::uint32_t Mix(std::int32_t handle) { return static_cast<std::uint32_t>(handle) * 0x9E3779B1u; }

}  // namespace

_SCC_HandleSet::Table* _SCC_HandleSet::NewTable(long size, bool multi) {
  const std::size_t slots = static_cast<std::size_t>(size) * (multi ? 2 : 1);
  void* block = std::calloc(1, sizeof(Table) + slots * sizeof(std::int32_t));
  if (!block) throw std::bad_alloc();
  Table* t = static_cast<Table*>(block);
  t->size = static_cast<std::int32_t>(size);
  t->magic = ~std::uint64_t{0} / static_cast<std::uint64_t>(size) + 1;
  return t;
}

void _SCC_HandleSet::Release(Table* table) noexcept {
  if (table && --table->refCount == 0) std::free(table);
}

_SCC_HandleSet::_SCC_HandleSet(const _SCC_HandleSet& other) noexcept
    : m_table(other.m_table), m_multi(other.m_multi) {
  if (m_table) ++m_table->refCount;
}

_SCC_HandleSet& _SCC_HandleSet::operator=(const _SCC_HandleSet& other) {
  if (this == &other) return *this;
  if (other.m_table) ++other.m_table->refCount;
  Release(m_table);
  m_table = other.m_table;
  Notify(5, 0);
  return *this;
}

_SCC_HandleSet::~_SCC_HandleSet() {
  Release(m_table);
  delete m_notifier;
}

SCC_Notifier* _SCC_HandleSet::GetNotifier() {
  if (!m_notifier) m_notifier = new SCC_Notifier;
  return m_notifier;
}

void _SCC_HandleSet::Notify(int code, long handle) {
  if (m_notifier) m_notifier->Notify(code, &handle);
}

long _SCC_HandleSet::GetDistinctCount() const noexcept {
  return m_table ? m_table->used + (m_table->minusOne ? 1 : 0) : 0;
}

long _SCC_HandleSet::FindSlot(std::int32_t handle) const noexcept {
  const Table* t = m_table;
  const std::int32_t* slots = t->Slots();
  const std::uint32_t size = static_cast<std::uint32_t>(t->size);
  std::uint32_t i = scc_detail::FastMod(Mix(handle), t->magic, size);
  // At most 0.8 of the slots are ever taken, so the probe meets an empty slot.
  while (slots[i] != kEmpty) {
    if (slots[i] == handle) return i;
    if (++i == size) i = 0;
  }
  return -1;
}

long _SCC_HandleSet::CountOf(long handle) const noexcept {
  if (!m_table || !FitsIn32(handle) || handle == 0) return 0;
  if (handle == -1) return m_table->minusOne;
  const long i = FindSlot(static_cast<std::int32_t>(handle));
  if (i < 0) return 0;
  return m_multi ? m_table->Counts()[i] : 1;
}

void _SCC_HandleSet::MakeWritable() {
  if (!m_table || m_table->refCount < 2) return;
  const Table* shared = m_table;
  const std::size_t bytes =
      sizeof(Table) + static_cast<std::size_t>(shared->size) * (m_multi ? 2 : 1) * 4;
  Table* own = static_cast<Table*>(std::malloc(bytes));
  if (!own) throw std::bad_alloc();
  std::memcpy(own, shared, bytes);
  own->refCount = 1;
  Release(m_table);
  m_table = own;
}

void _SCC_HandleSet::Rebuild(long size) {
  Table* fresh = NewTable(size, m_multi);
  fresh->refCount = 1;
  if (Table* old = m_table) {
    fresh->minusOne = old->minusOne;
    fresh->total = old->total;
    fresh->used = old->used;
    const std::uint32_t n = static_cast<std::uint32_t>(size);
    std::int32_t* slots = fresh->Slots();
    for (long k = 0; k < old->size; ++k) {
      const std::int32_t h = old->Slots()[k];
      if (h == kEmpty || h == kRemoved) continue;
      std::uint32_t i = scc_detail::FastMod(Mix(h), fresh->magic, n);
      while (slots[i] != kEmpty)
        if (++i == n) i = 0;
      slots[i] = h;
      if (m_multi) fresh->Counts()[i] = old->Counts()[k];
    }
    Release(old);
  }
  m_table = fresh;
}

// Makes sure one more handle can take a slot without passing the 0.8 threshold.
void _SCC_HandleSet::GrowForOneMore() {
  if (!m_table) {
    Rebuild(SCC_GetNewTableSize(0));
    return;
  }
  const Table* t = m_table;
  if (t->used + t->removed + 1 <= Threshold(t->size)) return;
  long size = t->size;
  if (t->removed < t->used) {  // mostly live: grow; mostly removed: purge at this size
    while (size != 0 && t->used + 1 > Threshold(size)) size = SCC_GetNewTableSize(size);
  }
  SSM_CHECK(size != 0, kFile, kLineFull);
  if (size == 0) throw std::bad_alloc();
  Rebuild(size);
}

void _SCC_HandleSet::Reserve(long count) {
  if (count <= 0 || count > INT32_MAX) return;
  long size = m_table ? GetTableSize() : SCC_GetNewTableSize(0);
  while (size != 0 && count > Threshold(size)) size = SCC_GetNewTableSize(size);
  SSM_CHECK(size != 0, kFile, kLineFull);
  if (size == 0) return;
  if (size > GetTableSize()) {
    MakeWritable();
    Rebuild(size);
  }
}

int _SCC_HandleSet::AddHandle(long handle) {
  SSM_CHECK_ID(handle != 0, kFile, kLineNullHandle, handle);
  SSM_CHECK_ID(FitsIn32(handle), kFile, kLineWideHandle, handle);
  if (handle == 0 || !FitsIn32(handle)) return 0;
  const std::int32_t h = static_cast<std::int32_t>(handle);
  const long present = CountOf(handle);
  if (present && !m_multi) return 0;
  const bool full = (m_table && m_table->total == INT32_MAX) || present == INT32_MAX;
  SSM_CHECK_ID(!full, kFile, kLineFull, handle);
  if (full) return 0;

  MakeWritable();
  if (h == -1) {
    if (!m_table) Rebuild(SCC_GetNewTableSize(0));
    ++m_table->minusOne;
  } else if (present && m_table) {  // present implies a table; said for the analyzer
    ++m_table->Counts()[FindSlot(h)];
  } else {
    GrowForOneMore();
    Table* t = m_table;
    std::int32_t* slots = t->Slots();
    const std::uint32_t size = static_cast<std::uint32_t>(t->size);
    std::uint32_t i = scc_detail::FastMod(Mix(h), t->magic, size);
    while (slots[i] != kEmpty && slots[i] != kRemoved)
      if (++i == size) i = 0;
    if (slots[i] == kRemoved) --t->removed;
    slots[i] = h;
    if (m_multi) t->Counts()[i] = 1;
    ++t->used;
  }
  ++m_table->total;
  Notify(1, handle);
  return 1;
}

long _SCC_HandleSet::RemoveHandle(long handle, long n) {
  if (!m_table || !FitsIn32(handle) || handle == 0) return 0;
  long removed = 0;
  // Without listeners the slot is found once; a hook may change the table, so with
  // listeners it is looked up again after each notice.
  long slot = handle == -1 ? -1 : FindSlot(static_cast<std::int32_t>(handle));
  while (removed < n) {
    if (m_notifier) {
      if (CountOf(handle) == 0) break;
      Notify(2, handle);
      // A hook may have removed it, or dropped the whole table, while it ran.
      if (CountOf(handle) == 0) break;
      if (handle != -1) slot = FindSlot(static_cast<std::int32_t>(handle));
    } else if (handle == -1 ? m_table->minusOne == 0 : slot < 0) {
      break;
    }
    MakeWritable();  // the copy keeps the slot numbers
    Table* t = m_table;
    if (handle == -1) {
      --t->minusOne;
    } else {
      const long i = slot;
      if (!m_multi || --t->Counts()[i] == 0) {
        slot = -1;  // gone
        t->Slots()[i] = kRemoved;
        if (m_multi) t->Counts()[i] = 0;
        --t->used;
        ++t->removed;
      }
    }
    --t->total;
    ++removed;
  }
  return removed;
}

void _SCC_HandleSet::RemoveAll() {
  if (!m_table) return;
  const bool held = m_table->total != 0;
  Release(m_table);
  m_table = nullptr;
  if (held) Notify(6, 0);
}

SCC_Array<long> _SCC_HandleSet::GetHandles() const {
  SCC_Array<long> handles;
  handles.Reserve(GetDistinctCount());
  for (long h : *this) handles.Add(h);
  std::sort(handles.GetData(), handles.GetData() + handles.GetSize());
  return handles;
}

int _SCC_HandleSet::IsValid() const noexcept {
  const Table* t = m_table;
  if (!t) return 1;
  long used = 0, removed = 0, total = t->minusOne;
  for (long k = 0; k < t->size; ++k) {
    const std::int32_t h = t->Slots()[k];
    if (h == kRemoved) {
      ++removed;
    } else if (h != kEmpty) {
      ++used;
      const long c = m_multi ? t->Counts()[k] : 1;
      if (c <= 0 || FindSlot(h) != k) return 0;
      total += c;
    }
  }
  return t->refCount > 0 && t->minusOne >= 0 && used == t->used && removed == t->removed &&
         total == t->total && used + removed <= Threshold(t->size);
}

bool operator==(const _SCC_HandleSet& a, const _SCC_HandleSet& b) noexcept {
  if (a.m_table == b.m_table) return true;
  if (a.GetCount() != b.GetCount() || a.GetDistinctCount() != b.GetDistinctCount()) return false;
  for (long h : a)
    if (a.CountOf(h) != b.CountOf(h)) return false;
  return true;
}

_SCC_HandleSet::ConstIterator _SCC_HandleSet::begin() const noexcept {
  ConstIterator it(this, m_table && m_table->minusOne ? -1 : 0);
  if (it.m_index >= 0) it.SkipFree();
  return it;
}

long _SCC_HandleSet::ConstIterator::operator*() const noexcept {
  return m_index < 0 ? -1 : m_set->m_table->Slots()[m_index];
}

_SCC_HandleSet::ConstIterator& _SCC_HandleSet::ConstIterator::operator++() noexcept {
  ++m_index;
  SkipFree();
  return *this;
}

void _SCC_HandleSet::ConstIterator::SkipFree() noexcept {
  const Table* t = m_set->m_table;
  if (!t) {
    m_index = 0;  // end() of a set without a table
    return;
  }
  const long size = t->size;
  while (m_index < size && (t->Slots()[m_index] == kEmpty || t->Slots()[m_index] == kRemoved))
    ++m_index;
}

SCC_HandleSet::SCC_HandleSet(std::initializer_list<long> handles) : _SCC_HandleSet(false) {
  for (long h : handles) Add(h);
}

SCC_HandleSet::~SCC_HandleSet() = default;
SCC_HandleMultiSet::~SCC_HandleMultiSet() = default;
