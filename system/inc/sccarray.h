// sccarray.h - the dynamic array: SCC_Array<T> over the untyped _SCC_Array, the comparator
// base that orders it, its iterator base and SYS_QSort for raw memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "brixexport.h"
#include "sccevent.h"
#include "scciterator.h"
#include "sccshared.h"

/// Payload of notification 7 (positions changed): kind 1 insert or 2 delete, the first
/// index concerned and the number of elements.
struct SCC_ArrayPositions {
  long kind;
  long first;
  long count;
};

/// Tells whether T may be moved by copying its bytes and forgetting the source (memmove,
/// realloc). True for trivially copyable types and for classes that opt in by declaring a
/// member type `SCC_BitwiseMovable` (e.g. `using SCC_BitwiseMovable = void;`) or by
/// specialising this template. Such arrays grow an unshared block in place with realloc.
template <class T>
        struct SCC_IsBitwiseMovable : std::bool_constant < std::is_trivially_copyable_v<T> ||
    requires {
  typename T::SCC_BitwiseMovable;
} > {};

/// Orders the elements of an array. Compare gets pointers to two elements and returns a
/// negative, zero or positive value as the first sorts before, with or after the second.
/// The sort and search follow that sign alone: a comparator that honours the descending
/// flag must reverse its result itself (SCC_LessComparator<T> does).
class BRIX_API SCC_ComparatorBase : public SCC_SharedBuffer {
 public:
  SCC_ComparatorBase() noexcept = default;
  ~SCC_ComparatorBase() override;

  /// Must be overridden: the base reports a failed check and returns 0.
  virtual int Compare(const void* a, const void* b);

  /// 1 when the comparator currently orders descending. Sort() stores the direction it
  /// was asked for here.
  int IsDescending() const noexcept { return m_descending; }
  void SetDescending(int descending) noexcept { m_descending = descending ? 1 : 0; }

 private:
  unsigned char m_descending = 0;
};

/// Comparator by `operator<` of T, reversed while the descending flag is set.
template <class T>
class SCC_LessComparator : public SCC_ComparatorBase {
 public:
  int Compare(const void* a, const void* b) override {
    const T& x = *static_cast<const T*>(a);
    const T& y = *static_cast<const T*>(b);
    const int r = x < y ? -1 : (y < x ? 1 : 0);
    return IsDescending() ? -r : r;
  }
};

/// Untyped core of SCC_Array<T>: growth, sharing, insertion, deletion, sorting, searching
/// and notification in terms of element indexes and a few virtual element operations.
///
/// Storage is one block: a _Buffer header followed directly by `capacity` element slots.
/// Copies of an array share the block (reference count in the header) and the first write
/// through a copy gives it its own block. The reference count is a plain integer: arrays
/// that share a block must stay on one thread.
///
/// Changes are announced on an optional notifier (created on demand by GetNotifier or
/// AddListener): 7 then 1 per element after an insertion, 2 per element then 7 before a
/// deletion, 5 after a sort or an assignment, 6 after Clear and when the array dies.
class BRIX_API _SCC_Array {
 public:
  /// Header of a storage block; the elements follow it at a 16-byte boundary.
  struct _Buffer {
    std::int32_t refCount;  ///< arrays sharing the block; 0 when created
    std::int32_t capacity;  ///< element slots allocated
    std::int32_t count;     ///< live elements
    std::int32_t reserved;  ///< keeps the elements 16-byte aligned

    /// Checks refCount > 0, count >= 0 and capacity >= count, reporting each broken one.
    int IsValid() const;
    void* Elements() noexcept { return this + 1; }
  };

  /// Number of elements (0 without a buffer).
  long GetSize() const noexcept { return m_data ? Header()->count : 0; }
  long GetCount() const noexcept { return GetSize(); }
  long GetUpperBound() const noexcept { return GetSize() - 1; }
  /// Number of slots allocated (0 without a buffer).
  long GetCapacity() const noexcept { return m_data ? Header()->capacity : 0; }
  int InBounds(long i) const noexcept { return i >= 0 && i < GetSize(); }
  /// 1 when the buffer is shared with another array.
  int IsShared() const noexcept { return m_data && Header()->refCount > 1; }
  virtual int IsEmpty() const;
  /// The buffer's check (1 without a buffer); a broken buffer is also reported at the
  /// array level.
  virtual int IsValid() const;

  /// Opens `n` default-constructed (value-initialised) elements at `pos` (0..count).
  void Insert(long pos, long n = 1);
  /// Removes `n` elements at `pos`; the range must lie within the array.
  void Delete(long pos, long n = 1);
  void RemoveAt(long pos, long n = 1) { Delete(pos, n); }
  /// Grows with default-constructed elements or shrinks from the end.
  void SetSize(long n);
  /// Makes room for at least `capacity` elements without changing the count.
  void Reserve(long capacity);
  /// Drops the buffer: the array then has no buffer at all.
  void Clear();
  void RemoveAll() { Clear(); }

  /// Takes a reference to `cmp`, releases the old comparator and, when `cmp` is not null,
  /// sorts the array ascending.
  void SetComparator(SCC_ComparatorBase* cmp);
  SCC_SharedPointer<SCC_ComparatorBase> GetComparator() const { return m_comparator; }
  /// Sorts `count` elements from `start` with the comparator; direction 1 ascending,
  /// -1 descending, 0 the comparator's present direction. Out-of-range arguments return.
  virtual void Sort(long start, long count, int direction);
  /// Sorts the whole array.
  virtual void Sort(int direction = 0);
  /// 1 when element `i` is in order with its neighbours (always 1 without a comparator or
  /// with one element; 0 for an index out of range).
  int ItemInValidPlace(long i) const;

  /// The array's notifier, created on first use. It lives as long as the array.
  SCC_Notifier* GetNotifier();
  /// The notifier if one was created, else null.
  SCC_Notifier* PeekNotifier() const noexcept { return m_notifier; }
  /// Hooks `hook` into the notifier (by its priority), creating the notifier if needed.
  void AddListener(SCC_EventHook<int>* hook);
  /// Unhooks `hook` when it listens to this array.
  void RemoveListener(SCC_EventHook<int>* hook);

 protected:
  _SCC_Array() noexcept = default;
  /// Shares `other`'s buffer and comparator; the notifier is not copied.
  _SCC_Array(const _SCC_Array& other) noexcept;
  /// Shares `other`'s buffer and comparator and raises 5. The derived class must have
  /// released its buffer (ReleaseBuffer) before this destructor runs.
  _SCC_Array& operator=(const _SCC_Array& other);
  virtual ~_SCC_Array();

  _Buffer* GetBuffer() const noexcept { return m_data ? Header() : nullptr; }
  _Buffer* Header() const noexcept { return static_cast<_Buffer*>(m_data) - 1; }

  // Element operations of the typed array. Pointers address raw or live slots as stated.
  virtual long GetElementSize() const = 0;
  virtual int IsBitwiseMovable() const = 0;
  /// Value-initialises `n` raw slots.
  virtual void ConstructArrayElements(void* first, long n) = 0;
  /// Destroys `n` live slots.
  virtual void DestructArrayElements(void* first, long n) = 0;
  /// Copy-constructs `n` elements from live `src` into raw `dst`.
  virtual void CopyConstructElements(void* dst, const void* src, long n) = 0;
  /// Moves `n` live elements from `src` into `dst` and leaves the source slots raw; the
  /// ranges may overlap.
  virtual void RelocateElements(void* dst, void* src, long n) = 0;

  /// Allocates an empty block for `capacity` elements (refCount 0, count 0).
  virtual _Buffer* AllocData(long capacity);
  /// Assigns `|n|` elements of this array starting at `srcIndex` over the live elements of
  /// `dest` from `destIndex`, forwards for positive `n`, backwards for negative `n`.
  /// The base is not meant to be called and reports a failed check.
  virtual void CopyData(_Buffer* dest, long destIndex, long srcIndex, long n);
  /// Exchanges two elements; the sort moves elements only through this.
  virtual void Swap(long i, long j);
  /// Selection sort of [lo, hi]; among equal maxima the last one is taken.
  virtual void ShortSort(long lo, long hi);
  /// Twice the count, at least 1, at most 10000.
  virtual long GetGrowByAmount() const;

  /// Makes element `i` writable: grows the array so that it exists, else separates.
  void CheckArray(long i);
  /// Gives this array its own copy of a shared buffer.
  void SeparateBuffers();
  /// Locates `item` in the sorted array: [lo, hi) is the run of equal elements, or
  /// lo = hi = the insertion point. Without a comparator lo = 0, hi = count - 1.
  void FindItemPosition(const void* item, long& lo, long& hi, SCC_ComparatorBase* cmp) const;

  /// Opens `n` default elements at `pos` without notifying; returns 0 for a bad range.
  int OpenGap(long pos, long n);
  /// Raises 7 and then 1 per element for `n` elements inserted at `pos`.
  void NotifyInserted(long pos, long n);
  /// Drops this array's reference to its buffer, destroying it when it was the last, and
  /// leaves the array without a buffer. Raises nothing.
  void ReleaseBuffer() noexcept;
  /// Raises `code` with `data` when the array has a notifier.
  void Notify(int code, void* data);
  /// Slow path of element access: grows, separates or reports a negative index; returns
  /// 0 when the index cannot name an element.
  int PrepareWrite(long i);

  void* m_data = nullptr;  // first element of the buffer, or null
  SCC_SharedPointer<SCC_ComparatorBase> m_comparator;
  SCC_Notifier* m_notifier = nullptr;

 private:
  struct SortOps;  // the array's side of the shared quicksort

  void CreateBuffer(long pos, long n, long minCapacity);
  void* At(long i) const noexcept { return static_cast<char*>(m_data) + i * GetElementSize(); }
  int CompareAt(SCC_ComparatorBase* cmp, long i, long j) const;
};

/// Growable typed array with shared copy-on-write storage.
///
/// Any T that is default-constructible and copyable works; each element is constructed and
/// destroyed exactly once whatever path it takes. Every member that takes an element by
/// reference (SetAt, Add, InsertAt, AddSorted) accepts an element of this same array: it
/// reads the value before the array grows or separates. An expression of the caller's own,
/// such as `a[a.GetSize()] = a[0]`, reads a[0] first and may keep a reference that the
/// growth of a[...] leaves dangling: write `a.SetAt(a.GetSize(), a[0])` instead. Element references and pointers stay
/// valid until the next change of the array's size or the next write through a copy that
/// shares its buffer (which separates it). Non-const access through operator[] separates a
/// shared buffer and grows the array when the index is past the end.
template <class T>
class SCC_Array : public _SCC_Array {
  static_assert(alignof(T) <= 16, "SCC_Array elements must not need more than 16-byte alignment");

 public:
  using value_type = T;

  SCC_Array() noexcept = default;
  SCC_Array(const SCC_Array& other) noexcept : _SCC_Array(other) {}
  SCC_Array(std::initializer_list<T> values) {
    Reserve(static_cast<long>(values.size()));
    for (const T& v : values) Add(v);
  }
  ~SCC_Array() override {
    ReleaseBuffer();
    Notify(6, nullptr);  // the owner is going away
  }

  SCC_Array& operator=(const SCC_Array& other) {
    _SCC_Array::operator=(other);
    return *this;
  }

  /// Writable element `i`; grows the array when `i` is past the end and separates a
  /// shared buffer. A negative index is a failed check and yields a scratch object.
  T& operator[](long i) {
    if (m_data) {
      _Buffer* b = Header();
      if (static_cast<unsigned long>(i) < static_cast<unsigned long>(b->count) && b->refCount < 2)
        return Data()[i];
    }
    return PrepareWrite(i) ? Data()[i] : Scratch();
  }
  T& ElementAt(long i) { return (*this)[i]; }
  /// Element `i`, or a default-constructed value when `i` is out of range.
  const T& operator[](long i) const { return GetAt(i); }
  const T& GetAt(long i) const {
    if (static_cast<unsigned long>(i) < static_cast<unsigned long>(GetSize())) return Data()[i];
    return DefaultValue();
  }
  /// Stores `value` at `i`, growing the array when `i` is past the end. `value` may be an
  /// element of this array: it is copied before the array grows or separates.
  void SetAt(long i, const T& value) {
    if (m_data) {
      _Buffer* b = Header();
      if (static_cast<unsigned long>(i) < static_cast<unsigned long>(b->count) && b->refCount < 2) {
        Data()[i] = value;  // no growth: `value` stays where it is
        return;
      }
    }
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): `value` may live in this array
    T copy(value);
    if (PrepareWrite(i)) Data()[i] = std::move(copy);
  }

  /// Appends `value` and returns its index.
  long Add(const T& value) {
    if (m_data && !m_notifier) {
      _Buffer* b = Header();
      if (b->count < b->capacity && b->refCount < 2) {
        ::new (static_cast<void*>(Data() + b->count)) T(value);
        return b->count++;
      }
    }
    return AddSlow(T(value));
  }
  long Add(T&& value) {
    if (m_data && !m_notifier) {
      _Buffer* b = Header();
      if (b->count < b->capacity && b->refCount < 2) {
        ::new (static_cast<void*>(Data() + b->count)) T(std::move(value));
        return b->count++;
      }
    }
    return AddSlow(T(std::move(value)));
  }
  /// Inserts `n` copies of `value` at `pos`.
  void InsertAt(long pos, const T& value, long n = 1) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): `value` may live in this array
    T copy(value);
    if (!OpenGap(pos, n)) return;
    T* p = Data() + pos;
    for (long k = 0; k < n; ++k) p[k] = copy;
    NotifyInserted(pos, n);
  }
  /// Inserts `value` after the run of equal elements, keeping a sorted array sorted;
  /// appends when there is no comparator. Returns the index.
  long AddSorted(const T& value) {
    if (!m_comparator) return Add(value);
    long lo = 0, hi = 0;
    FindItemPosition(&value, lo, hi, nullptr);
    InsertAt(hi, value);
    return hi;
  }
  /// Index of the first element equal to `value` from `start`, or -1.
  long Find(const T& value, long start = 0) const {
    const long n = GetSize();
    for (long i = start < 0 ? 0 : start; i < n; ++i)
      if (Data()[i] == value) return i;
    return -1;
  }
  /// [lo, hi) of the elements equal to `item` in the sorted array, by `cmp` or the array's
  /// comparator (see FindItemPosition). Returns hi - lo.
  long FindPosition(const T& item, long& lo, long& hi, SCC_ComparatorBase* cmp = nullptr) const {
    FindItemPosition(&item, lo, hi, cmp);
    return hi - lo;
  }

  /// Read-only view of the elements (null without a buffer).
  const T* GetData() const noexcept { return Data(); }
  /// Writable view; separates a shared buffer first.
  T* GetData() {
    SeparateBuffers();
    return Data();
  }
  const T* begin() const noexcept { return Data(); }
  const T* end() const noexcept { return Data() + GetSize(); }

 protected:
  long GetElementSize() const override { return static_cast<long>(sizeof(T)); }
  int IsBitwiseMovable() const override { return SCC_IsBitwiseMovable<T>::value; }
  void ConstructArrayElements(void* first, long n) override {
    std::uninitialized_value_construct_n(static_cast<T*>(first), n);
  }
  void DestructArrayElements(void* first, long n) override {
    std::destroy_n(static_cast<T*>(first), n);
  }
  void CopyConstructElements(void* dst, const void* src, long n) override {
    std::uninitialized_copy_n(static_cast<const T*>(src), n, static_cast<T*>(dst));
  }
  void RelocateElements(void* dst, void* src, long n) override {
    if (n <= 0 || dst == src) return;
    if constexpr (SCC_IsBitwiseMovable<T>::value) {
      std::memmove(dst, src, static_cast<std::size_t>(n) * sizeof(T));
    } else {
      T* d = static_cast<T*>(dst);
      T* s = static_cast<T*>(src);
      if (d < s) {
        for (long k = 0; k < n; ++k) MoveOne(d + k, s + k);
      } else {
        for (long k = n - 1; k >= 0; --k) MoveOne(d + k, s + k);
      }
    }
  }
  void CopyData(_Buffer* dest, long destIndex, long srcIndex, long n) override;
  void Swap(long i, long j) override {
    using std::swap;
    swap(Data()[i], Data()[j]);
  }

 private:
  T* Data() const noexcept { return static_cast<T*>(m_data); }
  static void MoveOne(T* d, T* s) {
    ::new (static_cast<void*>(d)) T(std::move(*s));
    s->~T();
  }
  long AddSlow(T&& value) {
    const long i = GetSize();
    if (!OpenGap(i, 1)) return -1;
    Data()[i] = std::move(value);
    NotifyInserted(i, 1);
    return i;
  }
  static const T& DefaultValue() {
    static const T value{};
    return value;
  }
  static T& Scratch() {
    thread_local T value{};
    value = T{};
    return value;
  }
};

template <class T>
void SCC_Array<T>::CopyData(_Buffer* dest, long destIndex, long srcIndex, long n) {
  const long len = n < 0 ? -n : n;
  if (!dest || len == 0) return;
  if (destIndex < 0 || srcIndex < 0 || destIndex + len > dest->count || srcIndex + len > GetSize())
    return;  // both ranges must be live elements
  T* d = static_cast<T*>(dest->Elements()) + destIndex;
  const T* s = Data() + srcIndex;
  if (n > 0) {
    for (long k = 0; k < len; ++k) d[k] = s[k];
  } else {
    for (long k = len - 1; k >= 0; --k) d[k] = s[k];
  }
}

/// Iterator over an array by index. The focus is the index it stands on (-1 for none) and
/// its handle is focus + 1. Insertions and deletions before or at the focus move it along
/// with its element; deleting the element it stands on drops the focus; Clear and the
/// array's destruction drop it too. A sort leaves the index where it was.
class BRIX_API SCC_ArrayIteratorBase : public SCC_Iterator {
 public:
  SCC_ArrayIteratorBase() noexcept = default;
  /// Watches `array` without standing on an element.
  explicit SCC_ArrayIteratorBase(_SCC_Array& array) { SetArray(&array); }
  SCC_ArrayIteratorBase(const SCC_ArrayIteratorBase&) = default;
  SCC_ArrayIteratorBase& operator=(const SCC_ArrayIteratorBase&) = default;

  /// The watched array, or null (also once the array was destroyed).
  _SCC_Array* GetArray() const noexcept { return GetSource() ? m_array : nullptr; }
  /// Watches `array` (null: none); the focus is kept.
  void SetArray(_SCC_Array* array);

  long GetFocus() const noexcept { return m_focus; }
  void SetFocus(long focus) noexcept { m_focus = focus; }
  int HasValidFocus() const noexcept { return m_focus >= 0; }
  /// Steps without bounds checks; IsValid tells whether the focus names an element.
  SCC_ArrayIteratorBase& operator++() noexcept {
    ++m_focus;
    return *this;
  }
  SCC_ArrayIteratorBase& operator--() noexcept {
    --m_focus;
    return *this;
  }

  /// focus + 1 while the iterator has an array, else 0.
  long GetHandle() const override { return GetArray() ? m_focus + 1 : 0; }
  void SetHandle(long handle) override { m_focus = handle - 1; }
  /// Watches `array` and stands on index handle - 1.
  void SetHandle(long handle, _SCC_Array& array) {
    SetArray(&array);
    m_focus = handle - 1;
  }
  /// Watches `array` and stands on index 0; returns 1 when that element exists.
  int GetFirst(_SCC_Array& array) {
    SetArray(&array);
    m_focus = 0;
    return array.InBounds(0);
  }
  void Invalidate() override { m_focus = -1; }
  /// 1 when the focus names an element of a live array.
  int IsValid() const override {
    const _SCC_Array* a = GetArray();
    return a && a->InBounds(m_focus);
  }
  /// Moves the focus on 7 (positions changed); other codes go to the base.
  int OnNotification(int code, int* data) override;

 private:
  _SCC_Array* m_array = nullptr;
  long m_focus = -1;
};

/// Typed array iterator: the base plus access to the element it stands on.
template <class T>
class SCC_ArrayIterator : public SCC_ArrayIteratorBase {
 public:
  SCC_ArrayIterator() noexcept = default;
  explicit SCC_ArrayIterator(SCC_Array<T>& array) : SCC_ArrayIteratorBase(array) {}

  /// The element the iterator stands on, or null. Writable: separates a shared buffer.
  T* Get() const {
    auto* a = static_cast<SCC_Array<T>*>(GetArray());
    return a && a->InBounds(GetFocus()) ? &(*a)[GetFocus()] : nullptr;
  }
  T& operator*() const { return *Get(); }
  T* operator->() const { return Get(); }
};

/// Sorts `num` elements of `width` bytes at `base` with `compare`, by the same quicksort as
/// SCC_Array (cut-off 8, no heap memory). Not stable.
BRIX_API void SYS_QSort(void* base, unsigned int num, unsigned int width,
                        int (*compare)(const void*, const void*));
