// scchash.h - string hashing, the bucket-size table and the chained hash map SCC_Map.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "brixexport.h"
#include "sccevent.h"
#include "scciterator.h"
#include "ssmcheck.h"
#include "sysstring.h"

/// Hash of a NUL-terminated text: the sum over the bytes c_i (taken as signed
/// 8-bit values, i counted from 1) of c_i * i * 6293815^i, modulo 2^32. The empty
/// text and a null pointer hash to 0.
BRIX_API unsigned int SCC_Hash(const char* s);

/// Hash of a case-insensitive key: SCC_Hash of the text with the letters A to Z
/// folded to lower case (every other byte as it is), so keys that differ only in
/// the case of those letters hash alike.
BRIX_API unsigned int SCC_Hash(const SYS_StrNoCase& s);

/// Orders two texts by their bytes taken as unsigned values: -1, 0 or 1. A null
/// pointer sorts before every text, and two nulls are equal.
BRIX_API int SCC_Compare(const char* a, const char* b);

/// The first bucket count of the size table that is strictly greater than `n`;
/// 0 once `n` reaches the largest entry (805306357).
BRIX_API long SCC_GetNewTableSize(long n);

/// Case-insensitive counterparts over ASCII: only the letters A to Z are folded,
/// so that SCC_HashNoCase and SCC_Hash agree on text without capital letters.
BRIX_API unsigned int SCC_HashNoCase(const char* s);
BRIX_API int SCC_CompareNoCase(const char* a, const char* b);

namespace scc_detail {

inline constexpr std::uint32_t kHashFactor = 6293815u;

// Coefficient of byte i (from 1) in the hash: i * factor^i, modulo 2^32.
inline constexpr int kCoefficients = 64;
inline constexpr auto kHashCoefficients = [] {
  struct Table {
    std::uint32_t c[kCoefficients + 1];
    std::uint32_t powerAfter;  // factor^kCoefficients
  } t{};
  std::uint32_t p = 1;
  for (int i = 1; i <= kCoefficients; ++i) {
    p *= kHashFactor;
    t.c[i] = static_cast<std::uint32_t>(i) * p;
  }
  t.powerAfter = p;
  return t;
}();

/// The hash of SCC_Hash over `n` bytes, folding A-Z to lower case when `NoCase` is
/// set. The per-position coefficients of short texts come from a table, so every
/// byte costs one independent multiply-add.
template <bool NoCase>
inline std::uint32_t HashBytes(const char* s, std::size_t n) {
  auto term = [](char c) -> std::uint32_t {
    if constexpr (NoCase) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    }
    // Sign extension is intended: bytes of 128 and above add negative terms.
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(c)));
  };
  const std::size_t head = n < kCoefficients ? n : kCoefficients;
  std::uint32_t h = 0;
  for (std::size_t k = 0; k < head; ++k) h += term(s[k]) * kHashCoefficients.c[k + 1];
  std::uint32_t p = kHashCoefficients.powerAfter;
  for (std::size_t k = head; k < n; ++k) {
    p *= kHashFactor;
    h += term(s[k]) * static_cast<std::uint32_t>(k + 1) * p;
  }
  return h;
}

/// HashBytes over a NUL-terminated text; null hashes to 0.
template <bool NoCase>
inline std::uint32_t HashText(const char* s) {
  return s ? HashBytes<NoCase>(s, std::strlen(s)) : 0;
}

/// Lemire's fast modulo for 32-bit operands: exact for every 32-bit a and d.
inline std::uint32_t FastMod(std::uint32_t a, std::uint64_t magic, std::uint32_t d) {
  const std::uint64_t low = magic * a;
  return static_cast<std::uint32_t>((static_cast<unsigned __int128>(low) * d) >> 64);
}

}  // namespace scc_detail

/// What a key hash function yields: the 32-bit value and whether equal values
/// mean equal keys (then no key comparison is made).
struct SCC_HashValue {
  std::uint32_t value;
  int exact;
};

/// Hash and equality of a map key type. Provided for integers, enumerations,
/// pointers (by address) and text keys (SYS_String, SYS_StrNoCase and other classes
/// convertible to const char*, hashed with SCC_Hash and compared with SCC_Compare). Specialise
/// it for other key types; `Hash` and `Equal` may also accept other argument types
/// (text keys accept const char*) to allow lookups without building a key.
template <class Key, class Enable = void>
struct SCC_MapKeyTraits;

template <class Key>
struct SCC_MapKeyTraits<Key, std::enable_if_t<std::is_integral_v<Key> || std::is_enum_v<Key> ||
                                              std::is_pointer_v<Key>>> {
  static SCC_HashValue Hash(Key key) {
    if constexpr (std::is_pointer_v<Key>)
      return Mix(reinterpret_cast<std::uintptr_t>(key));
    else if constexpr (sizeof(Key) <= 4)
      return {static_cast<std::uint32_t>(key), 1};
    else
      return Mix(static_cast<std::uint64_t>(key));
  }
  // Folds the high half in; heap addresses differ mostly in the middle bits.
  static SCC_HashValue Mix(std::uint64_t v) {
    v ^= v >> 29;
    v *= 0xbf58476d1ce4e5b9ull;
    v ^= v >> 32;
    return {static_cast<std::uint32_t>(v), 0};
  }
  static bool Equal(Key a, Key b) { return a == b; }
};

template <class Key>
struct SCC_MapKeyTraits<
    Key, std::enable_if_t<std::is_class_v<Key> && std::is_convertible_v<const Key&, const char*>>> {
  static SCC_HashValue Hash(const char* key) { return {scc_detail::HashText<false>(key), 0}; }
  static bool Equal(const char* a, const char* b) { return SCC_Compare(a, b) == 0; }
};

/// SYS_String keys hash and compare their whole byte strings (the length is known,
/// so no terminator is searched for). On text without NUL bytes this is SCC_Hash
/// and SCC_Compare exactly. Lookups may pass const char*.
template <>
struct SCC_MapKeyTraits<SYS_String, void> {
  static SCC_HashValue Hash(const SYS_String& key) {
    return {scc_detail::HashBytes<false>(key, static_cast<std::size_t>(key.GetLength())), 0};
  }
  static SCC_HashValue Hash(const char* key) { return {scc_detail::HashText<false>(key), 0}; }
  static bool Equal(const SYS_String& a, const SYS_String& b) { return a.View() == b.View(); }
  static bool Equal(const SYS_String& a, const char* b) { return b && std::strcmp(a, b) == 0; }
};

/// Case-insensitive text keys: SYS_StrNoCase, hashed like SCC_Hash(const
/// SYS_StrNoCase&) and compared with A-Z folded. Lookups may pass const char*.
struct SCC_NoCaseKeyTraits {
  static SCC_HashValue Hash(const SYS_String& key) {
    return {scc_detail::HashBytes<true>(key, static_cast<std::size_t>(key.GetLength())), 0};
  }
  static SCC_HashValue Hash(const char* key) { return {scc_detail::HashText<true>(key), 0}; }
  static bool Equal(const SYS_String& a, const SYS_String& b) {
    return a.GetLength() == b.GetLength() && SYS_StrNoCase::CompareFolded(a.View(), b.View()) == 0;
  }
  static bool Equal(const SYS_String& a, const char* b) {
    return b && SCC_CompareNoCase(a, b) == 0;
  }
};

template <>
struct SCC_MapKeyTraits<SYS_StrNoCase, void> : SCC_NoCaseKeyTraits {};

template <class Key, class Value, class Traits>
class SCC_MapIterator;
template <class Key, class Value, class Traits>
class SCC_MapIteratorFast;

/// A chained hash map from Key to Value.
///
/// - Elements never move: a pointer or reference to a key or value stays valid
///   until that element is removed (or the map is cleared or destroyed), whatever
///   else is inserted or however the bucket array is regrown.
/// - Bucket counts come from SCC_GetNewTableSize; the table grows to the next size
///   when the element count would exceed the bucket count (load factor 1).
///   Regrowing relinks the nodes by their cached hashes; no key is hashed again.
/// - Iteration visits the elements in insertion order; an element that is removed
///   and inserted again goes to the end. SetAt and operator[] on a present key keep
///   the element where it is (SetAt replaces only its value).
/// - Every element has a handle (a long > 0, 0 meaning none) that stays the same
///   while the element lives and carries over to copies of the map. The handle of
///   a removed element may later be given to a new element, as an array index
///   would be.
/// - Registered iterators (SCC_MapIterator) survive every change: when their
///   element is removed they stand in the gap it left, so GetNext and GetPrev still
///   reach its neighbours. Copying a map copies the elements, not the iterators.
template <class Key, class Value, class Traits = SCC_MapKeyTraits<Key>>
class SCC_Map {
  // What a lookup reads (chain, hash, key) comes first, in one cache line.
  struct Node {
    Node* chain;  // next node of the same bucket
    std::uint32_t hash;
    std::uint32_t slot;  // handle - 1
    Key key;
    Value value;
    Node* prev;  // insertion order
    Node* next;
  };

 public:
  using KeyType = Key;
  using ValueType = Value;
  using Iterator = SCC_MapIterator<Key, Value, Traits>;
  using FastIterator = SCC_MapIteratorFast<Key, Value, Traits>;

  SCC_Map() = default;
  SCC_Map(const SCC_Map& other) { CopyFrom(other); }
  SCC_Map& operator=(const SCC_Map& other) {
    if (this != &other) {
      SCC_Map copy(other);  // a throwing copy leaves this map untouched
      RemoveAll();
      SwapContents(copy);
    }
    return *this;
  }
  /// Takes `other`'s elements (with their handles); `other` is left empty and its
  /// iterators without a position. Iterators and the change event stay behind, and
  /// the source's change event is not raised. Move-assignment raises 6 on the
  /// target's change event as RemoveAll does.
  SCC_Map(SCC_Map&& other) noexcept {
    other.DetachAllCursors(false);
    SwapContents(other);
  }
  // Not noexcept: RemoveAll raises the change event, whose handlers may throw.
  SCC_Map& operator=(SCC_Map&& other) {  // NOLINT(performance-noexcept-move-constructor)
    if (this != &other) {
      RemoveAll();
      other.DetachAllCursors(false);
      SwapContents(other);
    }
    return *this;
  }
  ~SCC_Map() {
    if (notifier_) {
      notifier_->Notify(6, nullptr);  // the owner is going away
      delete notifier_;
      notifier_ = nullptr;
    }
    DetachAllCursors(true);
    FreeNodes();
    delete[] buckets_;
  }

  /// The map's change event, created on first use: raised after every change with
  /// 1 (inserted), 2 (removed) or 3 (value replaced by SetAt), the payload pointing
  /// at the element's handle as a long, and with 6 (no payload) after RemoveAll and
  /// before the map dies. A hook must not remove the element it is told of while
  /// the operator[] that inserted it is running, since operator[] returns it.
  SCC_Notifier* GetChangeEvent() {
    if (notifier_ == nullptr) notifier_ = new SCC_Notifier;
    return notifier_;
  }

  /// Number of elements.
  long GetCount() const { return static_cast<long>(count_); }
  /// 1 when the map holds no element.
  int IsEmpty() const { return count_ == 0; }
  /// Current number of buckets (0 before the first insertion).
  unsigned long GetTableSize() const { return bucketCount_; }

  /// Copies the value stored under `key` into `value`; returns 1 if found, else 0
  /// (leaving `value` untouched).
  template <class K = Key>
  int Lookup(const K& key, Value& value) const {
    const Node* n = FindNode(key);
    if (n == nullptr) return 0;
    value = n->value;
    return 1;
  }

  /// The value stored under `key`, or null.
  template <class K = Key>
  Value* Find(const K& key) {
    Node* n = FindNode(key);
    return n ? &n->value : nullptr;
  }
  template <class K = Key>
  const Value* Find(const K& key) const {
    const Node* n = FindNode(key);
    return n ? &n->value : nullptr;
  }

  /// The handle of the element under `key`, or 0.
  template <class K = Key>
  long GetHandle(const K& key) const {
    const Node* n = FindNode(key);
    return n ? static_cast<long>(n->slot) + 1 : 0;
  }

  /// The value stored under `key`; a missing key is inserted with a
  /// value-initialised Value first.
  template <class K = Key>
  Value& operator[](const K& key) {
    const SCC_HashValue hv = Traits::Hash(key);
    if (Node* n = FindNode(key, hv)) return n->value;
    return Insert(hv, key)->value;
  }

  /// Stores `value` under `key`: replaces the value of a present key (the element
  /// keeps its place and handle) or inserts a new element. Returns the handle.
  template <class K = Key>
  long SetAt(const K& key, const Value& value) {
    const SCC_HashValue hv = Traits::Hash(key);
    if (Node* n = FindNode(key, hv)) {
      n->value = value;
      long handle = static_cast<long>(n->slot) + 1;
      if (notifier_) notifier_->Notify(3, &handle);
      return handle;
    }
    return HandleOf(Insert(hv, key, value));
  }

  /// Inserts `value` under `key` unless the key is present, in which case the
  /// stored value is left as it is. Returns the element's handle either way;
  /// `inserted` (if given) is set to 1 when a new element was made.
  template <class K = Key>
  long FindOrAdd(const K& key, const Value& value, int* inserted = nullptr) {
    const SCC_HashValue hv = Traits::Hash(key);
    Node* n = FindNode(key, hv);
    if (inserted) *inserted = n == nullptr;
    if (n == nullptr) n = Insert(hv, key, value);
    return static_cast<long>(n->slot) + 1;
  }

  /// Removes the element under `key`; returns 1 if there was one, else 0.
  template <class K = Key>
  int RemoveKey(const K& key) {
    if (count_ == 0) return 0;
    const SCC_HashValue hv = Traits::Hash(key);
    Node** link = &buckets_[BucketOf(hv.value)];
    for (Node* n = *link; n != nullptr; link = &n->chain, n = *link) {
      if (n->hash == hv.value && (hv.exact || Traits::Equal(n->key, key))) {
        *link = n->chain;
        Unlink(n);
        return 1;
      }
    }
    return 0;
  }

  /// Removes the element with `handle`; returns 1 if there was one, else 0.
  int RemoveHandle(long handle) {
    Node* n = NodeAt(handle);
    if (n == nullptr) return 0;
    Node** link = &buckets_[BucketOf(n->hash)];
    while (*link != n) link = &(*link)->chain;
    *link = n->chain;
    Unlink(n);
    return 1;
  }

  /// Removes every element. The bucket array is kept for reuse; registered
  /// iterators are left without a position.
  void RemoveAll() {
    const bool hadElements = count_ != 0;
    DetachAllCursors(false);
    FreeNodes();
    if (buckets_) std::fill_n(buckets_, bucketCount_, nullptr);
    first_ = last_ = nullptr;
    count_ = 0;
    slots_.clear();
    freeSlots_.clear();
    if (hadElements && notifier_) notifier_->Notify(6, nullptr);
  }

  /// Makes room for `n` elements without regrowing (bucket count from the table).
  void Reserve(unsigned long n) {
    if (n > bucketCount_) Rehash(TableSizeAbove(n - 1));
  }

  /// The value or key of the element with `handle`, or null for a handle that
  /// names no element.
  Value* GetValueAt(long handle) {
    Node* n = NodeAt(handle);
    return n ? &n->value : nullptr;
  }
  const Value* GetValueAt(long handle) const {
    const Node* n = NodeAt(handle);
    return n ? &n->value : nullptr;
  }
  const Key* GetKeyAt(long handle) const {
    const Node* n = NodeAt(handle);
    return n ? &n->key : nullptr;
  }

  /// Handles of the first and last elements in iteration order, and of the
  /// neighbours of the element with `handle` (0 at either end or for a bad handle).
  long GetFirstHandle() const { return HandleOf(first_); }
  long GetLastHandle() const { return HandleOf(last_); }
  long GetNextHandle(long handle) const {
    const Node* n = NodeAt(handle);
    return n ? HandleOf(n->next) : 0;
  }
  long GetPrevHandle(long handle) const {
    const Node* n = NodeAt(handle);
    return n ? HandleOf(n->prev) : 0;
  }

  /// Calls f(key, value) for every element in iteration order. `f` must not
  /// remove elements (use an SCC_MapIterator for that).
  template <class F>
  void ForEach(F&& f) {
    for (Node* n = first_; n != nullptr; n = n->next) f(static_cast<const Key&>(n->key), n->value);
  }
  template <class F>
  void ForEach(F&& f) const {
    for (const Node* n = first_; n != nullptr; n = n->next)
      f(n->key, static_cast<const Value&>(n->value));
  }

 private:
  friend class SCC_MapIterator<Key, Value, Traits>;
  friend class SCC_MapIteratorFast<Key, Value, Traits>;

  // Position record of a registered iterator. The map keeps a list of them and
  // repairs them when elements go, so they never hold a dangling node.
  struct Cursor {
    SCC_Map* map = nullptr;
    Cursor* prevCursor = nullptr;
    Cursor* nextCursor = nullptr;
    Node* focus = nullptr;     // the element stood on, or null
    bool inGap = false;        // focus is null because its element was removed
    Node* gapAfter = nullptr;  // in a gap: the element before it (null: the start)
  };

  static long HandleOf(const Node* n) { return n ? static_cast<long>(n->slot) + 1 : 0; }

  Node* NodeAt(long handle) const {
    if (handle <= 0 || static_cast<unsigned long>(handle) > slots_.size()) return nullptr;
    return slots_[static_cast<std::size_t>(handle - 1)];
  }

  std::uint32_t BucketOf(std::uint32_t hash) const {
    return scc_detail::FastMod(hash, magic_, bucketCount_);
  }

  template <class K>
  Node* FindNode(const K& key) const {
    if (count_ == 0) return nullptr;
    return FindNode(key, Traits::Hash(key));
  }

  template <class K>
  Node* FindNode(const K& key, SCC_HashValue hv) const {
    if (count_ == 0) return nullptr;
    for (Node* n = buckets_[BucketOf(hv.value)]; n != nullptr; n = n->chain) {
      if (n->hash == hv.value && (hv.exact || Traits::Equal(n->key, key))) return n;
    }
    return nullptr;
  }

  static std::uint32_t TableSizeAbove(unsigned long n) {
    const long capped = n > 805306356ul ? 805306356l : static_cast<long>(n);
    return static_cast<std::uint32_t>(SCC_GetNewTableSize(capped));
  }

  void Rehash(std::uint32_t newCount) {
    if (newCount == 0 || newCount == bucketCount_) return;
    Node** fresh = new Node*[newCount]();
    const std::uint64_t magic = ~std::uint64_t{0} / newCount + 1;
    for (Node* n = first_; n != nullptr; n = n->next) {
      const std::uint32_t b = scc_detail::FastMod(n->hash, magic, newCount);
      n->chain = fresh[b];
      fresh[b] = n;
    }
    delete[] buckets_;
    buckets_ = fresh;
    bucketCount_ = newCount;
    magic_ = magic;
  }

  template <class K, class... V>
  Node* Insert(SCC_HashValue hv, const K& key, const V&... value) {
    if (count_ >= bucketCount_) {
      // The largest table size is final; chains just grow longer beyond it.
      const std::uint32_t grown = TableSizeAbove(bucketCount_ ? bucketCount_ : 6);
      if (grown != 0) Rehash(grown);
    }
    // Every allocation comes before the first change, so a throw leaves the map
    // as it was; the reserves also make the removal path allocation-free.
    const bool reuse = !freeSlots_.empty();
    const std::uint32_t slot =
        reuse ? freeSlots_.back() : static_cast<std::uint32_t>(slots_.size());
    if (!reuse && slots_.size() == slots_.capacity())
      slots_.reserve(slots_.capacity() < 8 ? 8 : 2 * slots_.capacity());
    if (freeSlots_.capacity() < slots_.capacity()) freeSlots_.reserve(slots_.capacity());
    Node* n;
    if constexpr (sizeof...(V) == 0)
      n = new Node{nullptr, hv.value, slot, Key(key), Value(), last_, nullptr};
    else
      n = new Node{nullptr, hv.value, slot, Key(key), value..., last_, nullptr};
    if (reuse)
      freeSlots_.pop_back();
    else
      slots_.push_back(nullptr);
    slots_[slot] = n;
    const std::uint32_t b = BucketOf(hv.value);
    n->chain = buckets_[b];
    buckets_[b] = n;
    if (last_)
      last_->next = n;
    else
      first_ = n;
    last_ = n;
    ++count_;
    if (notifier_) {
      long handle = static_cast<long>(slot) + 1;
      notifier_->Notify(1, &handle);
    }
    return n;
  }

  // Takes a node out of the order list and handle table and frees it; the caller
  // has already unchained it from its bucket.
  void Unlink(Node* n) {
    for (Cursor* c = cursors_; c != nullptr; c = c->nextCursor) {
      if (c->focus == n) {
        c->focus = nullptr;
        c->inGap = true;
        c->gapAfter = n->prev;
      } else if (c->inGap && c->gapAfter == n) {
        c->gapAfter = n->prev;
      }
    }
    if (n->prev)
      n->prev->next = n->next;
    else
      first_ = n->next;
    if (n->next)
      n->next->prev = n->prev;
    else
      last_ = n->prev;
    slots_[n->slot] = nullptr;
    if (n->slot + 1 == slots_.size()) {
      slots_.pop_back();
    } else {
      freeSlots_.push_back(n->slot);  // within the capacity reserved on insertion
    }
    --count_;
    long handle = static_cast<long>(n->slot) + 1;
    delete n;
    if (notifier_) notifier_->Notify(2, &handle);
  }

  void FreeNodes() {
    for (Node* n = first_; n != nullptr;) {
      Node* next = n->next;
      delete n;
      n = next;
    }
  }

  void CopyFrom(const SCC_Map& other) {
    if (other.count_ == 0) return;
    buckets_ = new Node*[other.bucketCount_]();
    bucketCount_ = other.bucketCount_;
    magic_ = other.magic_;
    try {
      slots_.assign(other.slots_.size(), nullptr);
      freeSlots_ = other.freeSlots_;
      freeSlots_.reserve(slots_.capacity());
      for (const Node* s = other.first_; s != nullptr; s = s->next) {
        Node* n = new Node{nullptr, s->hash, s->slot, s->key, s->value, last_, nullptr};
        slots_[n->slot] = n;
        const std::uint32_t b = BucketOf(n->hash);
        n->chain = buckets_[b];
        buckets_[b] = n;
        if (last_)
          last_->next = n;
        else
          first_ = n;
        last_ = n;
        ++count_;
      }
    } catch (...) {
      FreeNodes();
      delete[] buckets_;
      throw;
    }
  }

  void SwapContents(SCC_Map& other) {
    std::swap(buckets_, other.buckets_);
    std::swap(bucketCount_, other.bucketCount_);
    std::swap(magic_, other.magic_);
    std::swap(count_, other.count_);
    std::swap(first_, other.first_);
    std::swap(last_, other.last_);
    slots_.swap(other.slots_);
    freeSlots_.swap(other.freeSlots_);
  }

  void Attach(Cursor* c) {
    c->map = this;
    c->prevCursor = nullptr;
    c->nextCursor = cursors_;
    if (cursors_) cursors_->prevCursor = c;
    cursors_ = c;
  }
  void Detach(Cursor* c) {
    if (c->prevCursor)
      c->prevCursor->nextCursor = c->nextCursor;
    else
      cursors_ = c->nextCursor;
    if (c->nextCursor) c->nextCursor->prevCursor = c->prevCursor;
    c->map = nullptr;
    c->prevCursor = c->nextCursor = nullptr;
  }
  // Clears every registered position; when the map goes away the iterators lose
  // the map as well.
  void DetachAllCursors(bool forget) {
    for (Cursor* c = cursors_; c != nullptr;) {
      Cursor* next = c->nextCursor;
      c->focus = c->gapAfter = nullptr;
      c->inGap = false;
      if (forget) {
        c->map = nullptr;
        c->prevCursor = c->nextCursor = nullptr;
      }
      c = next;
    }
    if (forget) cursors_ = nullptr;
  }

  Node** buckets_ = nullptr;
  std::uint32_t bucketCount_ = 0;
  std::uint32_t count_ = 0;
  std::uint64_t magic_ = 0;
  Node* first_ = nullptr;
  Node* last_ = nullptr;
  std::vector<Node*> slots_;  // handle - 1 -> node; null for a free slot
  std::vector<std::uint32_t> freeSlots_;
  Cursor* cursors_ = nullptr;
  SCC_Notifier* notifier_ = nullptr;
};

/// A registered position in an SCC_Map. The map tells its iterators of every
/// removal, so an iterator never holds a dangling element: when the element it
/// stands on is removed it is left in the gap, invalid, and GetNext or GetPrev go
/// on to the element after or before the gap. An iterator without a position (new,
/// invalidated, or stepped past either end) goes to the first element on GetNext
/// and to the last on GetPrev. When the map is destroyed its iterators lose it.
///
/// As every SCC_Iterator it watches its map's change event and repeats each
/// notification on its own GetChangeEvent(), after its position is repaired.
template <class Key, class Value, class Traits = SCC_MapKeyTraits<Key>>
class SCC_MapIterator : public SCC_Iterator {
 public:
  using Map = SCC_Map<Key, Value, Traits>;
  using Fast = SCC_MapIteratorFast<Key, Value, Traits>;

  /// Without map and position.
  SCC_MapIterator() = default;
  /// On the first element of `map` (invalid when the map is empty).
  explicit SCC_MapIterator(Map& map) { GetFirst(map); }
  /// On the same map and position as `other`.
  SCC_MapIterator(const SCC_MapIterator& other) : SCC_Iterator() { CopyPosition(other); }
  /// On the element the fast iterator stands on.
  SCC_MapIterator(const Fast& fast) { *this = fast; }
  SCC_MapIterator& operator=(const SCC_MapIterator& other) {
    if (this != &other) CopyPosition(other);
    return *this;
  }
  SCC_MapIterator& operator=(const Fast& fast) {
    Restart(fast.GetMap());
    if (Map* map = cursor_.map) cursor_.focus = map->NodeAt(fast.GetHandle());
    return *this;
  }
  ~SCC_MapIterator() override { Clear(); }

  /// Attaches to `map` (null: none) without a position.
  void Restart(Map* map) {
    if (cursor_.map != map) {
      if (cursor_.map) cursor_.map->Detach(&cursor_);
      if (map) map->Attach(&cursor_);
      Attach(map ? map->GetChangeEvent() : nullptr);
    }
    Invalidate();
  }
  void Restart(Map& map) { Restart(&map); }

  /// Moves to the first (last) element of `map`, or of the current map; returns its
  /// value, or null when the map is empty or there is no map.
  Value* GetFirst(Map& map) {
    Restart(&map);
    return GetNext();
  }
  Value* GetFirst() {
    Invalidate();
    return GetNext();
  }
  /// GetFirst for a map passed untyped (null: the current map).
  Value* GetFirst(void* map) { return map ? GetFirst(*static_cast<Map*>(map)) : GetFirst(); }
  Value* GetLast(Map& map) {
    Restart(&map);
    return GetPrev();
  }
  Value* GetLast() {
    Invalidate();
    return GetPrev();
  }

  /// Steps to the next (previous) element in iteration order and returns its value;
  /// past the end (start) the iterator is left without a position and null is returned.
  Value* GetNext() {
    Map* map = cursor_.map;
    if (map == nullptr) return nullptr;
    Node* n;
    if (cursor_.focus)
      n = cursor_.focus->next;
    else if (cursor_.inGap)
      n = cursor_.gapAfter ? cursor_.gapAfter->next : map->first_;
    else
      n = map->first_;
    return Settle(n);
  }
  Value* GetPrev() {
    Map* map = cursor_.map;
    if (map == nullptr) return nullptr;
    Node* n;
    if (cursor_.focus)
      n = cursor_.focus->prev;
    else if (cursor_.inGap)
      n = cursor_.gapAfter;
    else
      n = map->last_;
    return Settle(n);
  }

  SCC_MapIterator& operator++() {
    GetNext();
    return *this;
  }
  SCC_MapIterator operator++(int) {
    SCC_MapIterator before(*this);
    GetNext();
    return before;
  }
  SCC_MapIterator& operator--() {
    GetPrev();
    return *this;
  }
  SCC_MapIterator operator--(int) {
    SCC_MapIterator before(*this);
    GetPrev();
    return before;
  }

  /// 1 when there is no map or the map holds no element.
  int IsEmpty() const { return cursor_.map == nullptr || cursor_.map->count_ == 0; }
  /// 1 when the iterator stands on an element.
  int IsValid() const override { return cursor_.focus != nullptr; }
  /// Drops the position; the map is kept.
  void Invalidate() override {
    cursor_.focus = cursor_.gapAfter = nullptr;
    cursor_.inGap = false;
  }
  /// Drops the position and the map.
  void Clear() { Restart(nullptr); }

  /// The map the iterator runs over, or null.
  Map* GetMap() const { return cursor_.map; }

  /// Key and value of the current element. Without one this is a failed check
  /// that, when told to go on, gets a scratch object.
  const Key& GetKey() const {
    SSM_CHECK(cursor_.focus != nullptr, "system/inc/scchash", 1001);
    if (cursor_.focus == nullptr) return ScratchKey();
    return cursor_.focus->key;
  }
  Value& GetValue() const {
    SSM_CHECK(cursor_.focus != nullptr, "system/inc/scchash", 1002);
    if (cursor_.focus == nullptr) return ScratchValue();
    return cursor_.focus->value;
  }
  /// The current value, or null.
  Value* GetValuePtr() const { return cursor_.focus ? &cursor_.focus->value : nullptr; }
  operator Value&() const { return GetValue(); }
  operator Value*() const { return GetValuePtr(); }

  /// Handle of the current element, 0 without one.
  long GetHandle() const override { return Map::HandleOf(cursor_.focus); }
  /// Moves to the element with `handle` in the current map; a handle that names no
  /// element leaves the iterator without a position.
  void SetHandle(long handle) override {
    Invalidate();
    if (cursor_.map) cursor_.focus = cursor_.map->NodeAt(handle);
  }
  /// The same in `map`; returns 1 when the iterator stands on an element.
  int SetHandle(long handle, Map& map) {
    Restart(&map);
    SetHandle(handle);
    return IsValid();
  }
  /// Settles an iterator left in the gap of a removed element on the element that
  /// followed it (none at the end); returns the resulting handle. An iterator on an
  /// element or without a position is unchanged.
  long UpdateHandle() {
    if (cursor_.inGap) GetNext();
    return GetHandle();
  }

  /// The iterator's own change event (see SCC_Iterator).
  using SCC_Iterator::GetChangeEvent;
  /// The change event of the map passed untyped (null: the current map), or null.
  SCC_Notifier* GetChangeEvent(void* map) const {
    Map* m = map ? static_cast<Map*>(map) : cursor_.map;
    return m ? m->GetChangeEvent() : nullptr;
  }
  /// Elements of a map never move, so there is nothing to update; kept for
  /// callers written against the iterator family.
  void OnUpdatePointers(void*) {}
  /// The order of two keys: negative, zero or positive.
  static int DefaultSort(const Key& a, const Key& b) {
    if constexpr (std::is_convertible_v<const Key&, const char*>)
      return SCC_Compare(a, b);
    else
      return a < b ? -1 : (b < a ? 1 : 0);
  }

 private:
  using Node = typename Map::Node;
  using Cursor = typename Map::Cursor;

  Value* Settle(Node* n) {
    cursor_.focus = n;
    cursor_.inGap = false;
    cursor_.gapAfter = nullptr;
    return n ? &n->value : nullptr;
  }
  void CopyPosition(const SCC_MapIterator& other) {
    Restart(other.cursor_.map);
    cursor_.focus = other.cursor_.focus;
    cursor_.inGap = other.cursor_.inGap;
    cursor_.gapAfter = other.cursor_.gapAfter;
  }
  static Key& ScratchKey() {
    thread_local Key key{};
    key = Key{};
    return key;
  }
  static Value& ScratchValue() {
    thread_local Value value{};
    value = Value{};
    return value;
  }

  Cursor cursor_;
};

/// A light position in an SCC_Map: the map and an element handle, not registered
/// with the map. Every access looks the handle up again, so an iterator whose
/// element was removed is simply invalid, never dangling; if the handle has since
/// been given to a new element, it stands on that one. Cheap to copy and to keep
/// in arrays. The map must outlive it.
template <class Key, class Value, class Traits = SCC_MapKeyTraits<Key>>
class SCC_MapIteratorFast {
 public:
  using Map = SCC_Map<Key, Value, Traits>;

  SCC_MapIteratorFast() = default;
  /// On the first element of `map`.
  explicit SCC_MapIteratorFast(Map& map) { GetFirst(map); }
  /// On the element `iterator` stands on.
  SCC_MapIteratorFast(const SCC_MapIterator<Key, Value, Traits>& iterator)
      : map_(iterator.GetMap()), handle_(iterator.GetHandle()) {}

  Value* GetFirst(Map& map) {
    map_ = &map;
    return Set(map.GetFirstHandle());
  }
  Value* GetLast(Map& map) {
    map_ = &map;
    return Set(map.GetLastHandle());
  }
  /// Steps in iteration order; past either end the iterator becomes invalid. An
  /// invalid iterator stays invalid.
  Value* GetNext() { return map_ ? Set(map_->GetNextHandle(handle_)) : nullptr; }
  Value* GetPrev() { return map_ ? Set(map_->GetPrevHandle(handle_)) : nullptr; }
  SCC_MapIteratorFast& operator++() {
    GetNext();
    return *this;
  }
  SCC_MapIteratorFast operator++(int) {
    SCC_MapIteratorFast before(*this);
    GetNext();
    return before;
  }
  SCC_MapIteratorFast& operator--() {
    GetPrev();
    return *this;
  }
  SCC_MapIteratorFast operator--(int) {
    SCC_MapIteratorFast before(*this);
    GetPrev();
    return before;
  }

  int IsEmpty() const { return map_ == nullptr || map_->IsEmpty(); }
  int IsValid() const { return map_ != nullptr && map_->NodeAt(handle_) != nullptr; }
  void Invalidate() { handle_ = 0; }
  void Clear() {
    map_ = nullptr;
    handle_ = 0;
  }
  Map* GetMap() const { return map_; }

  long GetHandle() const { return IsValid() ? handle_ : 0; }
  int SetHandle(long handle, Map& map) {
    map_ = &map;
    return Set(handle) != nullptr;
  }

  /// Key and value of the current element; without one, a failed check.
  const Key& GetKey() const {
    const Key* key = map_ ? map_->GetKeyAt(handle_) : nullptr;
    SSM_CHECK(key != nullptr, "system/inc/scchash", 1003);
    return key ? *key : Empty<Key>();
  }
  Value& GetValue() const {
    Value* value = GetValuePtr();
    SSM_CHECK(value != nullptr, "system/inc/scchash", 1004);
    return value ? *value : Empty<Value>();
  }
  Value* GetValuePtr() const { return map_ ? map_->GetValueAt(handle_) : nullptr; }
  operator Value&() const { return GetValue(); }
  operator Value*() const { return GetValuePtr(); }

  friend bool operator==(const SCC_MapIteratorFast& a, const SCC_MapIteratorFast& b) {
    return a.map_ == b.map_ && a.GetHandle() == b.GetHandle();
  }

 private:
  Value* Set(long handle) {
    Value* value = map_->GetValueAt(handle);
    handle_ = value ? handle : 0;
    return value;
  }
  template <class T>
  static T& Empty() {
    thread_local T scratch{};
    scratch = T{};
    return scratch;
  }

  Map* map_ = nullptr;
  long handle_ = 0;
};
