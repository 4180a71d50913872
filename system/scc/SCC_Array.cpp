// SCC_Array.cpp - the untyped core of the dynamic array: growth, sharing, notification,
// comparator sort and binary search.
#include <cstdint>
#include <cstdlib>
#include <new>

#include "scc/sccsort.h"
#include "sccarray.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/scc/SCC_Array";
// Sites of our own, for misuse the numbered checks do not cover.
constexpr int kLineNegativeIndex = 601;
constexpr int kLineInsertRange = 602;
constexpr int kLineDeleteRange = 603;
constexpr int kLineSetSize = 604;

constexpr long kMaxGrowBy = 10000;
constexpr long kMaxCount = INT32_MAX;

inline int Sign(int v) { return (v > 0) - (v < 0); }

void FreeBlock(_SCC_Array::_Buffer* b) noexcept { std::free(b); }

}  // namespace

// ---------------------------------------------------------------------------------------------
// _Buffer

int _SCC_Array::_Buffer::IsValid() const {
  int ok = 1;
  SSM_CHECK(refCount > 0, kFile, 105);
  if (refCount <= 0) ok = 0;
  SSM_CHECK(count >= 0, kFile, 109);
  if (count < 0) ok = 0;
  SSM_CHECK(capacity >= count, kFile, 113);
  if (capacity < count) ok = 0;
  return ok;
}

// ---------------------------------------------------------------------------------------------
// Construction, sharing, release

_SCC_Array::_SCC_Array(const _SCC_Array& other) noexcept
    : m_data(other.m_data), m_comparator(other.m_comparator) {
  if (m_data) ++Header()->refCount;
}

_SCC_Array& _SCC_Array::operator=(const _SCC_Array& other) {
  if (this == &other) return *this;
  if (other.m_data) ++other.Header()->refCount;
  ReleaseBuffer();
  m_data = other.m_data;
  m_comparator = other.m_comparator;
  Notify(5, nullptr);
  return *this;
}

_SCC_Array::~_SCC_Array() {
  // The typed destructor has released the buffer; what is left is the notifier, whose
  // destruction unhooks every listener and iterator.
  delete m_notifier;
}

void _SCC_Array::ReleaseBuffer() noexcept {
  if (!m_data) return;
  _Buffer* b = Header();
  m_data = nullptr;
  if (--b->refCount <= 0) {
    DestructArrayElements(b->Elements(), b->count);
    FreeBlock(b);
  }
}

_SCC_Array::_Buffer* _SCC_Array::AllocData(long capacity) {
  const std::size_t bytes = sizeof(_Buffer) + static_cast<std::size_t>(capacity) *
                                                  static_cast<std::size_t>(GetElementSize());
  void* p = std::malloc(bytes);
  if (!p) throw std::bad_alloc();
  auto* b = static_cast<_Buffer*>(p);
  b->refCount = 0;
  b->capacity = static_cast<std::int32_t>(capacity);
  b->count = 0;
  b->reserved = 0;
  return b;
}

// ---------------------------------------------------------------------------------------------
// Growth: the one routine behind insert, delete, resize, reserve and separation.

long _SCC_Array::GetGrowByAmount() const {
  long by = 2 * GetSize();
  if (by < 1) by = 1;
  if (by > kMaxGrowBy) by = kMaxGrowBy;
  return by;
}

// Opens `n` default elements at `pos` (n > 0), removes -n elements at `pos` (n < 0) or only
// makes the buffer private (n == 0), with at least `minCapacity` slots. The caller has
// validated the range.
void _SCC_Array::CreateBuffer(long pos, long n, long minCapacity) {
  const long size = GetElementSize();
  _Buffer* old = GetBuffer();
  const long count = old ? old->count : 0;
  const long capacity = old ? old->capacity : 0;
  const long newCount = count + n;
  long newCapacity = capacity;
  if (newCount > capacity) {
    const long grown = capacity + GetGrowByAmount();
    newCapacity = grown >= newCount ? grown : newCount;
    if (newCapacity > kMaxCount) newCapacity = newCount;
  }
  if (minCapacity > newCapacity) newCapacity = minCapacity;
  const bool owned = old && old->refCount < 2;

  if (owned && (newCapacity == capacity || IsBitwiseMovable())) {
    // Change the block in place; a bitwise-movable block may first grow with realloc,
    // which on large blocks remaps pages instead of copying them.
    _Buffer* b = old;
    if (newCapacity != capacity) {
      const std::size_t bytes =
          sizeof(_Buffer) + static_cast<std::size_t>(newCapacity) * static_cast<std::size_t>(size);
      void* p = std::realloc(old, bytes);
      if (!p) throw std::bad_alloc();
      b = static_cast<_Buffer*>(p);
      b->capacity = static_cast<std::int32_t>(newCapacity);
      m_data = b->Elements();
    }
    char* base = static_cast<char*>(m_data);
    if (n > 0) {
      RelocateElements(base + (pos + n) * size, base + pos * size, count - pos);
      try {
        ConstructArrayElements(base + pos * size, n);
      } catch (...) {
        RelocateElements(base + pos * size, base + (pos + n) * size, count - pos);
        throw;
      }
    } else if (n < 0) {
      DestructArrayElements(base + pos * size, -n);
      RelocateElements(base + pos * size, base + (pos - n) * size, count - pos + n);
    }
    b->count = static_cast<std::int32_t>(newCount);
    return;
  }

  _Buffer* nb = AllocData(newCapacity);
  char* dst = static_cast<char*>(nb->Elements());
  const long head = pos;                                     // elements before the gap or hole
  const long tail = n >= 0 ? count - pos : count - pos + n;  // elements after it
  const long tailFrom = n >= 0 ? pos : pos - n;              // first source index of the tail
  const long gap = n > 0 ? n : 0;
  try {
    if (gap) ConstructArrayElements(dst + head * size, gap);
  } catch (...) {
    FreeBlock(nb);
    throw;
  }
  if (owned) {
    // Sole owner: move the kept elements over and free the old block.
    char* src = static_cast<char*>(m_data);
    if (n < 0) DestructArrayElements(src + pos * size, -n);
    RelocateElements(dst, src, head);
    RelocateElements(dst + (head + gap) * size, src + tailFrom * size, tail);
    FreeBlock(old);
  } else if (old) {
    // Shared: copy the kept elements; the other owners keep the old block.
    const char* src = static_cast<const char*>(m_data);
    try {
      CopyConstructElements(dst, src, head);
      try {
        CopyConstructElements(dst + (head + gap) * size, src + tailFrom * size, tail);
      } catch (...) {
        DestructArrayElements(dst, head);
        throw;
      }
    } catch (...) {
      if (gap) DestructArrayElements(dst + head * size, gap);
      FreeBlock(nb);
      throw;
    }
    --old->refCount;
  }
  nb->refCount = 1;
  nb->count = static_cast<std::int32_t>(newCount);
  m_data = nb->Elements();
}

int _SCC_Array::OpenGap(long pos, long n) {
  const long count = GetSize();
  const bool ok = n >= 0 && pos >= 0 && pos <= count && n <= kMaxCount - count;
  SSM_CHECK(ok, kFile, kLineInsertRange);
  if (!ok || n == 0) return 0;
  CreateBuffer(pos, n, 0);
  return 1;
}

void _SCC_Array::NotifyInserted(long pos, long n) {
  if (!m_notifier) return;
  SCC_ArrayPositions positions{1, pos, n};
  m_notifier->Notify(7, &positions);
  for (long k = 0; k < n; ++k) {
    long handle = pos + k + 1;
    m_notifier->Notify(1, &handle);
  }
}

void _SCC_Array::Insert(long pos, long n) {
  if (OpenGap(pos, n)) NotifyInserted(pos, n);
}

void _SCC_Array::Delete(long pos, long n) {
  const long count = GetSize();
  const bool ok = n >= 0 && pos >= 0 && pos <= count && n <= count - pos;
  SSM_CHECK(ok, kFile, kLineDeleteRange);
  if (!ok || n == 0) return;
  if (m_notifier) {
    // Every removal notice names the first removed position, as if the elements went
    // one at a time: intended.
    for (long k = 0; k < n; ++k) {
      long handle = pos + 1;
      m_notifier->Notify(2, &handle);
    }
    SCC_ArrayPositions positions{2, pos, n};
    m_notifier->Notify(7, &positions);
    // A listener may have changed the array meanwhile: remove what is still there.
    const long now = GetSize();
    if (pos >= now) return;
    if (n > now - pos) n = now - pos;
  }
  CreateBuffer(pos, -n, 0);
}

void _SCC_Array::SetSize(long n) {
  SSM_CHECK(n >= 0, kFile, kLineSetSize);
  if (n < 0) return;
  const long count = GetSize();
  if (n > count)
    Insert(count, n - count);
  else if (n < count)
    Delete(n, count - n);
  else
    SeparateBuffers();
}

void _SCC_Array::Reserve(long capacity) {
  if (capacity > kMaxCount) capacity = kMaxCount;
  if (capacity > GetCapacity() || IsShared()) CreateBuffer(GetSize(), 0, capacity);
}

void _SCC_Array::Clear() {
  if (!m_data) return;
  ReleaseBuffer();
  Notify(6, nullptr);
}

void _SCC_Array::SeparateBuffers() {
  if (m_data && Header()->refCount > 1) CreateBuffer(GetSize(), 0, 0);
}

void _SCC_Array::CheckArray(long i) {
  const long count = GetSize();
  if (i >= count)
    Insert(count, i - count + 1);
  else
    SeparateBuffers();
}

int _SCC_Array::PrepareWrite(long i) {
  SSM_CHECK(i >= 0, kFile, kLineNegativeIndex);
  if (i < 0 || i >= kMaxCount) return 0;
  CheckArray(i);
  return InBounds(i);
}

int _SCC_Array::IsEmpty() const { return GetSize() == 0; }

int _SCC_Array::IsValid() const {
  if (!m_data) return 1;
  const int ok = Header()->IsValid();
  SSM_CHECK(ok, kFile, 175);
  return ok;
}

// ---------------------------------------------------------------------------------------------
// Notification

SCC_Notifier* _SCC_Array::GetNotifier() {
  if (!m_notifier) m_notifier = new SCC_Notifier;
  return m_notifier;
}

void _SCC_Array::AddListener(SCC_EventHook<int>* hook) {
  if (hook) hook->HookEvent(GetNotifier());
}

void _SCC_Array::RemoveListener(SCC_EventHook<int>* hook) {
  if (hook && m_notifier && hook->GetRoot() == m_notifier) hook->HookEvent(nullptr);
}

void _SCC_Array::Notify(int code, void* data) {
  if (m_notifier) m_notifier->Notify(code, data);
}

// ---------------------------------------------------------------------------------------------
// Element hooks of the base

void _SCC_Array::CopyData(_Buffer* dest, long destIndex, long srcIndex, long n) {
  SSM_CHECK(false, kFile, 354);  // every typed array overrides it
}

void _SCC_Array::Swap(long i, long j) {}

// ---------------------------------------------------------------------------------------------
// Order

int _SCC_Array::CompareAt(SCC_ComparatorBase* cmp, long i, long j) const {
  return cmp->Compare(At(i), At(j));
}

namespace {
// Element addressing for the sort loops, with the element size read once.
struct Elements {
  const char* base;
  long size;
  const void* operator()(long i) const { return base + i * size; }
};
}  // namespace

void _SCC_Array::SetComparator(SCC_ComparatorBase* cmp) {
  m_comparator.Reset(cmp);
  // Sort(1) also stores "ascending" in the comparator: intended.
  if (cmp) Sort(1);
}

void _SCC_Array::Sort(int direction) {
  if (m_data) Sort(0, GetSize(), direction);
}

// Compares through the comparator and moves elements only through the virtual Swap and
// ShortSort, which typed and derived arrays override.
struct _SCC_Array::SortOps {
  using Pos = long;
  static constexpr bool kSkipEqualPivotSwaps = true;
  _SCC_Array& array;
  SCC_ComparatorBase* cmp;
  Elements at;
  static long Next(long i) { return i + 1; }
  static long Prev(long i) { return i - 1; }
  static long Advance(long i, long k) { return i + k; }
  static long Count(long lo, long hi) { return hi - lo + 1; }
  int Compare(long a, long b) const { return cmp->Compare(at(a), at(b)); }
  void Swap(long a, long b) { array.Swap(a, b); }
  void ShortSort(long lo, long hi) { array.ShortSort(lo, hi); }
};

void _SCC_Array::ShortSort(long lo, long hi) {
  SCC_ComparatorBase* cmp = m_comparator.Get();
  if (!cmp) return;
  SortOps ops{*this, cmp, {static_cast<const char*>(m_data), GetElementSize()}};
  brix::sort::SelectionSort(lo, hi, ops);
}

void _SCC_Array::Sort(long start, long count, int direction) {
  const long size = GetSize();
  // The designed test 0 <= start + count - 1 < size, written so that no count can overflow it.
  if (start < 0 || start >= size || count < 1 - start || count > size - start) return;
  CheckArray(start);
  // Hold the comparator for the whole sort: a Compare that replaces it must not free it.
  SCC_SharedPointer<SCC_ComparatorBase> hold = m_comparator;
  SCC_ComparatorBase* cmp = hold.Get();
  if (!cmp) return;
  if (direction == 0) direction = cmp->IsDescending() ? -1 : 1;
  cmp->SetDescending(direction == -1);
  // Both guards hold after the checks above; they stay as the array's named sites.
  SSM_CHECK_ID(direction != 0, kFile, 530, direction);
  SSM_CHECK(count <= size, kFile, 531);
  if (count < 2) return;

  SortOps ops{*this, cmp, {static_cast<const char*>(m_data), GetElementSize()}};
  brix::sort::QuickSort(start, start + count - 1, ops);
  Notify(5, nullptr);
}

int _SCC_Array::ItemInValidPlace(long i) const {
  SCC_ComparatorBase* cmp = m_comparator.Get();
  const long count = GetSize();
  if (!cmp || count == 1) return 1;
  if (i < 0 || i >= count) return 0;
  if (i == 0) return CompareAt(cmp, 0, 1) <= 0;
  if (i == count - 1) return CompareAt(cmp, i, i - 1) >= 0;
  return CompareAt(cmp, i, i - 1) >= 0 && CompareAt(cmp, i, i + 1) <= 0;
}

void _SCC_Array::FindItemPosition(const void* item, long& lo, long& hi,
                                  SCC_ComparatorBase* cmp) const {
  const long count = GetSize();
  if (!cmp) cmp = m_comparator.Get();
  if (count == 0) {
    lo = hi = 0;
    return;
  }
  if (!cmp) {
    lo = 0;
    hi = count - 1;
    return;
  }
  int c1 = Sign(cmp->Compare(At(0), item));
  int c2 = Sign(cmp->Compare(At(count - 1), item));
  if (c1 > 0) {
    lo = hi = 0;
    return;
  }
  if (c1 < 0 && c2 < 0) {
    lo = hi = count;
    return;
  }
  if (c1 == 0 && c2 == 0) {
    lo = 0;
    hi = count;
    return;
  }
  lo = 0;
  hi = count - 1;
  // Each pass moves hi down or lo up (even with an inconsistent comparator), and
  // lo <= hi < count holds throughout.
  while (!(c1 == 0 && c2 == 0) && hi > lo) {
    const long mid = (lo + hi) / 2;
    const int c = Sign(cmp->Compare(At(mid), item));
    if (c * c1 <= 0) {
      hi = (hi == mid && c != 0) ? mid - 1 : mid;
      c2 = c;
    }
    if (c * c2 <= 0) {
      lo = (lo == mid && c != 0) ? mid + 1 : mid;
      c1 = c;
    }
  }
  while (lo > 0 && cmp->Compare(At(lo - 1), item) == 0) --lo;
  while (hi < count && cmp->Compare(At(hi), item) == 0) ++hi;
}

// ---------------------------------------------------------------------------------------------
// Iterator

void SCC_ArrayIteratorBase::SetArray(_SCC_Array* array) {
  m_array = array;
  Attach(array ? array->GetNotifier() : nullptr);
}

int SCC_ArrayIteratorBase::OnNotification(int code, int* data) {
  if (code != 7 || !data) return SCC_Iterator::OnNotification(code, data);
  const auto* p = reinterpret_cast<const SCC_ArrayPositions*>(data);
  if (m_focus < 0) return 0;
  if (p->kind == 1) {
    if (m_focus >= p->first) m_focus += p->count;
  } else if (p->kind == 2) {
    if (m_focus >= p->first + p->count)
      m_focus -= p->count;
    else if (m_focus >= p->first)
      m_focus = -1;
  }
  return 0;
}
