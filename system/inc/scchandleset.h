// scchandleset.h - SCC_HandleSet and SCC_HandleMultiSet: hashed sets of long handles that
// share their table between copies until the first change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>

#include "brixexport.h"
#include "sccarray.h"
#include "sccevent.h"

/// Untyped core of the handle sets: an open-addressing table of 32-bit handle slots.
///
/// - A slot holds 0 when empty and -1 when its handle was removed; the handle -1 itself is
///   kept apart (its number of occurrences), so every handle but 0 can be stored. 0 names
///   nothing: adding it is a failed check, looking it up finds nothing. Handles are stored
///   in 32 bits; adding one outside [-2^31, 2^31 - 1] is a failed check as well.
/// - Table sizes come from SCC_GetNewTableSize (3, 5, 11, 23, ...). The table is rebuilt when
///   a new handle would fill more than 0.8 of the slots (truncated), counting removed ones:
///   at the same size when removed slots are at least as many as live ones, else at the
///   next size from the table. Removing never shrinks the table; RemoveAll drops it.
/// - Copies share one table (reference-counted, one thread) until either is changed.
/// - Changes are announced on an optional notifier (GetNotifier creates it): 1 after a
///   handle was added and 2 before one is removed (once per occurrence; the data points to
///   the handle as a long), 6 after RemoveAll emptied a set that held something, 5 after an
///   assignment. Hooks may change the set while they run. The notifier is never copied.
class BRIX_API _SCC_HandleSet {
 public:
  /// Number of handles held, counting repeated ones.
  long GetCount() const noexcept { return m_table ? m_table->total : 0; }
  /// Number of different handles held.
  long GetDistinctCount() const noexcept;
  int IsEmpty() const noexcept { return GetCount() == 0; }
  /// 1 when `handle` is in the set (0 for 0 and for values that cannot be handles).
  int Contains(long handle) const noexcept { return CountOf(handle) != 0; }
  /// Removes every handle and drops the table; announces 6 when something was held.
  void RemoveAll();
  /// Makes room for `count` different handles without a rebuild (never shrinks).
  void Reserve(long count);
  /// The different handles, ascending.
  SCC_Array<long> GetHandles() const;

  /// Slots of the current table (0 before the first handle).
  long GetTableSize() const noexcept { return m_table ? m_table->size : 0; }
  /// 1 when the table is shared with a copy.
  int IsShared() const noexcept { return m_table && m_table->refCount > 1; }
  /// 1 when the table's counts agree with its slots.
  int IsValid() const noexcept;

  /// The notifier, created on first use; it lives as long as the set.
  SCC_Notifier* GetNotifier();
  SCC_Notifier* PeekNotifier() const noexcept { return m_notifier; }

  /// Visits the different handles in table order (-1 first). Any change invalidates it.
  class ConstIterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = long;
    using difference_type = std::ptrdiff_t;
    using pointer = const long*;
    using reference = long;
    long operator*() const noexcept;
    ConstIterator& operator++() noexcept;
    ConstIterator operator++(int) noexcept {
      ConstIterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(const ConstIterator& o) const noexcept { return m_index == o.m_index; }

   private:
    friend class _SCC_HandleSet;
    ConstIterator(const _SCC_HandleSet* set, long index) noexcept : m_set(set), m_index(index) {}
    void SkipFree() noexcept;
    const _SCC_HandleSet* m_set;
    long m_index;  // -1: the handle -1; 0..size-1: a slot; size: the end
  };
  ConstIterator begin() const noexcept;
  ConstIterator end() const noexcept { return ConstIterator(this, GetTableSize()); }

  /// 1 when both hold the same handles the same number of times.
  friend BRIX_API bool operator==(const _SCC_HandleSet& a, const _SCC_HandleSet& b) noexcept;

 protected:
  explicit _SCC_HandleSet(bool multi) noexcept : m_multi(multi) {}
  _SCC_HandleSet(const _SCC_HandleSet& other) noexcept;
  _SCC_HandleSet& operator=(const _SCC_HandleSet& other);
  ~_SCC_HandleSet();

  /// Occurrences of `handle`.
  long CountOf(long handle) const noexcept;
  /// Adds `handle` once (a set keeps one occurrence); returns 1 when it was added.
  int AddHandle(long handle);
  /// Removes up to `n` occurrences of `handle`; returns how many went.
  long RemoveHandle(long handle, long n);

 private:
  struct Table {
    std::int32_t refCount;
    std::int32_t size;      // slots
    std::int32_t used;      // slots holding a handle
    std::int32_t removed;   // slots marked -1
    std::int32_t minusOne;  // occurrences of the handle -1
    std::int32_t total;     // occurrences of every handle
    std::uint64_t magic;    // for the modulo by `size`
    // followed by `size` slots and, in a multiset, `size` occurrence counts
    std::int32_t* Slots() noexcept { return reinterpret_cast<std::int32_t*>(this + 1); }
    const std::int32_t* Slots() const noexcept {
      return reinterpret_cast<const std::int32_t*>(this + 1);
    }
    std::int32_t* Counts() noexcept { return Slots() + size; }
    const std::int32_t* Counts() const noexcept { return Slots() + size; }
  };

  static Table* NewTable(long size, bool multi);
  static void Release(Table* table) noexcept;
  long FindSlot(std::int32_t handle) const noexcept;  // -1 when absent
  void MakeWritable();
  void Rebuild(long size);
  void GrowForOneMore();
  void Notify(int code, long handle);

  Table* m_table = nullptr;
  SCC_Notifier* m_notifier = nullptr;
  bool m_multi;
};

/// A set of handles: each handle at most once.
class BRIX_API SCC_HandleSet : public _SCC_HandleSet {
 public:
  SCC_HandleSet() noexcept : _SCC_HandleSet(false) {}
  SCC_HandleSet(std::initializer_list<long> handles);
  SCC_HandleSet(const SCC_HandleSet&) noexcept = default;
  SCC_HandleSet& operator=(const SCC_HandleSet&) = default;
  ~SCC_HandleSet();

  /// Adds `handle`; returns 1 when it was not there yet.
  int Add(long handle) { return AddHandle(handle); }
  /// Removes `handle`; returns 1 when it was there.
  int Remove(long handle) { return RemoveHandle(handle, 1) != 0; }
};

/// A multiset of handles: each handle with its number of occurrences.
class BRIX_API SCC_HandleMultiSet : public _SCC_HandleSet {
 public:
  SCC_HandleMultiSet() noexcept : _SCC_HandleSet(true) {}
  SCC_HandleMultiSet(const SCC_HandleMultiSet&) noexcept = default;
  SCC_HandleMultiSet& operator=(const SCC_HandleMultiSet&) = default;
  ~SCC_HandleMultiSet();

  /// Adds one occurrence of `handle`; returns 1 when it was added.
  int Add(long handle) { return AddHandle(handle); }
  /// Removes one occurrence of `handle`; returns 1 when there was one.
  int Remove(long handle) { return RemoveHandle(handle, 1) != 0; }
  /// Removes every occurrence of `handle`; returns how many there were.
  long RemoveEvery(long handle) { return RemoveHandle(handle, 0x7fffffff); }
  /// Occurrences of `handle`.
  long GetMultiplicity(long handle) const noexcept { return CountOf(handle); }
};
