// sccdlist.h - the intrusive doubly linked lists (SCC_DList, SCC_SafeDList, SCC_RefDList),
// their node bases and their registered iterators.
#pragma once

#include <cstdint>
#include <type_traits>

#include "brixexport.h"

class _SCC_DList;
class _SCC_DListIterator;

/// The two links and the owner that every node of a doubly linked list carries.
///
/// A link is in at most one list. Destroying a link unlinks it (silently: the list is not
/// notified, its iterators are repaired). Copying a link never copies its membership: a copy
/// starts unlinked, and assignment leaves the target where it is.
class BRIX_API SCC_DListLink {
 public:
  SCC_DListLink() noexcept = default;
  SCC_DListLink(const SCC_DListLink&) noexcept {}
  // Copies nothing, so assigning a link to itself is harmless.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
  SCC_DListLink& operator=(const SCC_DListLink&) noexcept { return *this; }
  ~SCC_DListLink() {
    if (m_list) Leave();
  }

  /// The list holding the link, or null.
  _SCC_DList* GetOwner() const noexcept { return m_list; }
  /// The following link of the list, or null at the tail or when unlinked.
  SCC_DListLink* GetNextLink() const noexcept { return m_list ? Real(m_next) : nullptr; }
  /// The preceding link of the list, or null at the head or when unlinked.
  SCC_DListLink* GetPrevLink() const noexcept { return m_list ? Real(m_prev) : nullptr; }

 private:
  friend class _SCC_DList;
  friend class _SCC_DListIterator;
  // `link` itself, or null for a list's sentinel (the one link in a ring without an owner).
  static SCC_DListLink* Real(SCC_DListLink* link) noexcept {
    return link && link->m_list ? link : nullptr;
  }
  void Leave() noexcept;

  _SCC_DList* m_list = nullptr;
  SCC_DListLink* m_prev = nullptr;
  SCC_DListLink* m_next = nullptr;
};

/// Untyped core of the doubly linked lists: a ring of links closed by a sentinel inside the
/// list, a count, and the chain of registered iterators that removals repair.
///
/// Changes are announced to the virtual OnLinkChange: 1 after a link was linked in, 2 before
/// a link is unlinked, 6 before the list is cleared (link null). A list being destroyed
/// announces nothing and takes no new links.
class BRIX_API _SCC_DList {
 public:
  _SCC_DList(const _SCC_DList&) = delete;
  _SCC_DList& operator=(const _SCC_DList&) = delete;

  /// The number of nodes.
  long GetCount() const noexcept { return m_count; }
  /// 1 when the list holds no node.
  int IsEmpty() const noexcept { return m_count == 0; }
  /// 1 when the links, the owners and the count agree (walking both directions).
  int IsValid() const noexcept;

 protected:
  _SCC_DList() noexcept;
  /// Unlinks every link without notices; registered iterators become empty.
  virtual ~_SCC_DList();

  SCC_DListLink* HeadLink() const noexcept { return SCC_DListLink::Real(m_sentinel.m_next); }
  SCC_DListLink* TailLink() const noexcept { return SCC_DListLink::Real(m_sentinel.m_prev); }

  /// Links `link` in before `before` (null: at the tail); a link in a list leaves it first.
  /// `before` in another list, or a list that is closing, is a failed check. Returns 1 when
  /// linked.
  int LinkBefore(SCC_DListLink* link, SCC_DListLink* before);
  /// Links `link` in after `after` (null: at the head), as LinkBefore.
  int LinkAfter(SCC_DListLink* link, SCC_DListLink* after);
  /// Unlinks `link` from this list after notice 2. A link in no list is left alone; one in
  /// another list is a failed check. Returns 1 when unlinked.
  int Unlink(SCC_DListLink* link);
  /// Notice 6, then unlinks every link (no per-link notice).
  void UnlinkAll();
  /// Unlinks `link` (in this list) without a notice.
  void UnlinkSilently(SCC_DListLink* link) noexcept { Detach(link); }
  /// From now on the list takes no new links (a list that is being taken down).
  void Close() noexcept { m_closing = true; }
  int IsClosing() const noexcept { return m_closing; }

  virtual void OnLinkChange(int code, SCC_DListLink* link) {}

 private:
  friend class SCC_DListLink;
  friend class _SCC_DListIterator;
  void Detach(SCC_DListLink* link) noexcept;  // no notice
  void Attach(SCC_DListLink* link, SCC_DListLink* before) noexcept;

  SCC_DListLink m_sentinel;  // m_next is the head, m_prev the tail
  std::int32_t m_count = 0;
  bool m_closing = false;
  mutable _SCC_DListIterator* m_iterators = nullptr;  // newest first
};

/// Untyped core of the registered iterators.
///
/// An iterator registers with its list and stands on a node (its focus). When the focus is
/// removed from the list, the iterator moves on to the node that followed it and remembers
/// that it has moved: the next GetNext returns that node instead of stepping past it, so a
/// walk that removes the node it stands on visits every other node exactly once. Nested
/// walks each repair themselves. When the list dies first, the iterator becomes empty: no
/// list, no focus, GetNext returns null.
class BRIX_API _SCC_DListIterator {
 public:
  /// 1 when the iterator stands on a node.
  int IsValid() const noexcept { return m_focus != nullptr; }
  /// 1 when the iterator watches no list (never attached, or its list died).
  int IsEmpty() const noexcept { return m_list == nullptr; }
  /// Stands before the first node again: the next GetNext gives the head.
  void Restart() noexcept;
  /// Forgets the focus; GetNext gives null until Restart or GetFirst.
  void Invalidate() noexcept;

 protected:
  _SCC_DListIterator() noexcept = default;
  explicit _SCC_DListIterator(const _SCC_DList* list) noexcept { Attach(list); }
  _SCC_DListIterator(const _SCC_DListIterator& other) noexcept;
  _SCC_DListIterator& operator=(const _SCC_DListIterator& other) noexcept;
  ~_SCC_DListIterator() { Attach(nullptr); }

  /// Watches `list` (null: none) and stands before its first node.
  void Attach(const _SCC_DList* list) noexcept;
  _SCC_DList* ListBase() const noexcept { return m_list; }
  SCC_DListLink* FocusLink() const noexcept { return m_focus; }
  /// Stands on `link`, which must be in the watched list (else the focus is dropped).
  SCC_DListLink* SetFocusLink(SCC_DListLink* link) noexcept;
  SCC_DListLink* StepFirst() noexcept;
  SCC_DListLink* StepLast() noexcept;
  SCC_DListLink* StepNext() noexcept;
  SCC_DListLink* StepPrev() noexcept;

 private:
  friend class _SCC_DList;
  void Register() noexcept;
  void Unregister() noexcept;

  _SCC_DList* m_list = nullptr;
  SCC_DListLink* m_focus = nullptr;
  bool m_started = false;  // false: before the first node
  bool m_moved = false;    // the focus was removed; m_focus is the node that followed it
  _SCC_DListIterator* m_chain = nullptr;
};

template <class T>
class SCC_DList;

/// Base of the elements of an SCC_DList<T>: `class Item : public SCC_DListNode<Item>`.
template <class T>
class SCC_DListNode : public SCC_DListLink {
 public:
  /// The list holding the node, or null.
  SCC_DList<T>* GetList() const noexcept { return static_cast<SCC_DList<T>*>(GetOwner()); }
  /// 1 when the node is in a list.
  int IsNode() const noexcept { return GetOwner() != nullptr; }
  /// The following node, or null at the tail or when unlinked.
  T* GetNextNode() const noexcept;
  /// The preceding node, or null at the head or when unlinked.
  T* GetPrevNode() const noexcept;
  /// Leaves the list the node is in (with the list's removal notice).
  void RemoveNode() {
    if (SCC_DList<T>* list = GetList()) list->Remove(static_cast<T*>(this));
  }
};

/// An intrusive doubly linked list of T (which derives from SCC_DListNode<T>), closed by a
/// sentinel, with a stored count: every operation but RemoveAll is constant time.
///
/// The list never owns its nodes unless told to (RemoveAllDelete). Destroying the list
/// unlinks its nodes and leaves them alive; destroying a node unlinks it. A node that is
/// added while in a list (this one or another) leaves that list first.
///
/// A derived list watches every change through Notify: 1 after a node was linked in,
/// 2 before a node is unlinked, 6 before the list is cleared (node null). Nodes that leave
/// by being destroyed are not announced. Walks use SCC_DListIterator<T>, which survives the
/// removal of any node.
template <class T>
class SCC_DList : public _SCC_DList {
 public:
  SCC_DList() noexcept = default;
  ~SCC_DList() override = default;

  T* GetHead() const noexcept { return Cast(HeadLink()); }
  T* GetTail() const noexcept { return Cast(TailLink()); }
  /// The node after `node`, or null (also for a node of another list).
  T* Next(const T* node) const noexcept {
    return Contains(node) ? Cast(static_cast<const SCC_DListLink*>(node)->GetNextLink()) : nullptr;
  }
  /// The node before `node`, or null (also for a node of another list).
  T* Prev(const T* node) const noexcept {
    return Contains(node) ? Cast(static_cast<const SCC_DListLink*>(node)->GetPrevLink()) : nullptr;
  }
  /// 1 when `node` is in this list (constant time: nodes know their list).
  int Contains(const T* node) const noexcept {
    return node && static_cast<const SCC_DListLink*>(node)->GetOwner() == this;
  }

  /// Puts `node` first; returns it, or null when it was not linked.
  T* AddHead(T* node) { return LinkAfter(node, nullptr) ? node : nullptr; }
  /// Appends `node`; returns it, or null when it was not linked.
  T* AddTail(T* node) { return LinkBefore(node, nullptr) ? node : nullptr; }
  /// Links `node` before `before` (null: appends). `before` must be in this list.
  T* InsertBefore(T* before, T* node) { return LinkBefore(node, before) ? node : nullptr; }
  /// Links `node` after `after` (null: at the head). `after` must be in this list.
  T* InsertAfter(T* after, T* node) { return LinkAfter(node, after) ? node : nullptr; }
  /// Unlinks `node` and returns it; null for null or a node in no list. A node of another
  /// list is a failed check.
  T* Remove(T* node) { return Unlink(node) ? node : nullptr; }
  T* RemoveHead() { return Remove(GetHead()); }
  T* RemoveTail() { return Remove(GetTail()); }
  /// Announces 6, then unlinks every node (none is deleted).
  void RemoveAll() { UnlinkAll(); }
  /// Announces 6, then unlinks and deletes every node (`delete node`).
  void RemoveAllDelete() {
    Notify(6, nullptr);
    while (T* node = GetHead()) {
      UnlinkSilently(node);
      delete node;
    }
  }

 protected:
  /// 1 after `node` was linked in, 2 before it is unlinked, 6 before clearing (null).
  virtual void Notify(int code, T* node) {}

 private:
  static T* Cast(SCC_DListLink* link) noexcept {
    static_assert(std::is_base_of_v<SCC_DListNode<T>, T>, "T must derive from SCC_DListNode<T>");
    return link ? static_cast<T*>(static_cast<SCC_DListNode<T>*>(link)) : nullptr;
  }
  void OnLinkChange(int code, SCC_DListLink* link) final { Notify(code, Cast(link)); }
};

template <class T>
T* SCC_DListNode<T>::GetNextNode() const noexcept {
  SCC_DListLink* next = GetNextLink();
  return next ? static_cast<T*>(static_cast<SCC_DListNode<T>*>(next)) : nullptr;
}
template <class T>
T* SCC_DListNode<T>::GetPrevNode() const noexcept {
  SCC_DListLink* prev = GetPrevLink();
  return prev ? static_cast<T*>(static_cast<SCC_DListNode<T>*>(prev)) : nullptr;
}

/// A registered walk over an SCC_DList<T> (see _SCC_DListIterator for what it survives).
///
/// ```
/// SCC_DListIterator<Item> it(list);
/// while (Item* item = it.GetNext()) if (Done(item)) list.Remove(item);   // visits all
/// ```
template <class T>
class SCC_DListIterator : public _SCC_DListIterator {
 public:
  SCC_DListIterator() noexcept = default;
  /// Watches `list`, standing before its head.
  explicit SCC_DListIterator(const SCC_DList<T>& list) noexcept : _SCC_DListIterator(&list) {}

  /// Watches `list` and stands before its head.
  void Restart(const SCC_DList<T>& list) noexcept { Attach(&list); }
  using _SCC_DListIterator::Restart;
  /// Stands on the head (of `list`, or of the watched list) and returns it.
  T* GetFirst(const SCC_DList<T>& list) noexcept {
    Attach(&list);
    return GetFirst();
  }
  T* GetFirst() noexcept { return Cast(StepFirst()); }
  T* GetLast() noexcept { return Cast(StepLast()); }
  /// Steps forward (the head after Restart; after a removal of the focus, the node that
  /// followed it) and returns the new focus; null at the end.
  T* GetNext() noexcept { return Cast(StepNext()); }
  /// Steps back and returns the new focus; null before the head.
  T* GetPrev() noexcept { return Cast(StepPrev()); }
  T* GetFocus() const noexcept { return Cast(FocusLink()); }
  /// Stands on `node`, which must be in the watched list; returns it (null otherwise).
  T* SetFocus(T* node) noexcept { return Cast(SetFocusLink(node)); }
  /// The watched list, or null.
  SCC_DList<T>* GetList() const noexcept { return static_cast<SCC_DList<T>*>(ListBase()); }

 private:
  static T* Cast(SCC_DListLink* link) noexcept {
    return link ? static_cast<T*>(static_cast<SCC_DListNode<T>*>(link)) : nullptr;
  }
};

// ---------------------------------------------------------------------------------------
// SCC_SafeDList: the file manager's list of files.

template <class T>
class SCC_SafeDList;
template <class T>
class SCC_SafeDListIterator;

/// A node of an SCC_SafeDList<T>. T derives publicly from SCC_SafeDListNode<T>.
///
/// A node is in at most one list. Destroying a node unlinks it; copying a node
/// never copies its list membership (the copy starts unlinked, and assignment
/// keeps the target where it is).
template <class T>
class SCC_SafeDListNode : public SCC_DListLink {
 public:
  SCC_SafeDListNode() = default;
  SCC_SafeDListNode(const SCC_SafeDListNode&) = default;
  SCC_SafeDListNode& operator=(const SCC_SafeDListNode&) = default;
  virtual ~SCC_SafeDListNode() = default;

  /// Leaves the list the node is in (nothing when it is in none). Walks in
  /// progress on that list continue with the node that followed this one.
  virtual void RemoveNode() {
    if (SCC_SafeDList<T>* list = GetList()) list->Remove(static_cast<T*>(this));
  }
  /// 1 when the node is in a list.
  virtual int IsNode() const { return GetOwner() != nullptr; }

  /// The list holding the node, or null.
  SCC_SafeDList<T>* GetList() const { return static_cast<SCC_SafeDList<T>*>(GetOwner()); }
  /// The following node of the list, or null at the tail or when unlinked.
  T* GetNextNode() const { return Cast(GetNextLink()); }
  /// The preceding node of the list, or null at the head or when unlinked.
  T* GetPrevNode() const { return Cast(GetPrevLink()); }

  static T* Cast(SCC_DListLink* link) {
    return link ? static_cast<T*>(static_cast<SCC_SafeDListNode*>(link)) : nullptr;
  }
};

/// An intrusive doubly linked list of T (which derives from
/// SCC_SafeDListNode<T>). The list never owns its nodes: destroying the list
/// unlinks them and leaves them alive.
///
/// Walks use SCC_SafeDListIterator, which registers itself with the list; any
/// node, including the one just returned, may be removed or moved during the walk.
/// Unlike SCC_DList, InsertBefore takes the new node first, and misplaced arguments
/// (a `before` of another list, a node of another list to Remove) are ignored silently.
template <class T>
class SCC_SafeDList : public _SCC_DList {
 public:
  SCC_SafeDList() = default;
  ~SCC_SafeDList() override { RemoveAll(); }

  T* GetHead() const { return SCC_SafeDListNode<T>::Cast(HeadLink()); }
  T* GetTail() const { return SCC_SafeDListNode<T>::Cast(TailLink()); }

  /// Appends `node` at the tail; a node in a list (this one or another) leaves it first.
  void AddTail(T* node) { InsertBefore(node, nullptr); }
  /// Puts `node` at the head; a node in a list leaves it first.
  void AddHead(T* node) { InsertBefore(node, GetHead()); }

  /// Links `node` in directly before `before`, which must be in this list
  /// (null means at the tail). A node in a list leaves it first.
  void InsertBefore(T* node, T* before) {
    if (!node || node == before) return;
    if (before && static_cast<SCC_DListLink*>(before)->GetOwner() != this) return;
    LinkBefore(node, before);
  }

  /// Unlinks `node` when it is in this list; active walks skip to its successor.
  void Remove(T* node) {
    if (node && static_cast<SCC_DListLink*>(node)->GetOwner() == this) Unlink(node);
  }

  /// Moves `node` (in this list) to the tail.
  void MoveToTail(T* node) {
    if (node && static_cast<SCC_DListLink*>(node)->GetOwner() == this && node != GetTail())
      LinkBefore(node, nullptr);
  }

  /// Unlinks every node.
  void RemoveAll() { UnlinkAll(); }
};

/// A walk over an SCC_SafeDList from head to tail that survives removal of any
/// node. It registers with the list on construction and unregisters on destruction;
/// when the list dies first the walk is over (Next returns null). A node moved to
/// the tail during the walk is met again when the walk gets there.
template <class T>
class SCC_SafeDListIterator : public _SCC_DListIterator {
 public:
  explicit SCC_SafeDListIterator(SCC_SafeDList<T>& list) : _SCC_DListIterator(&list) {}
  SCC_SafeDListIterator(const SCC_SafeDListIterator&) = delete;
  SCC_SafeDListIterator& operator=(const SCC_SafeDListIterator&) = delete;

  /// The next node, or null when the walk is over.
  T* Next() { return SCC_SafeDListNode<T>::Cast(StepNext()); }
};

// ---------------------------------------------------------------------------------------
// SCC_RefDList: a list of references whose nodes are told when the list dies.

class SCC_RefDList;

/// A reference held in an SCC_RefDList: an object that points at the list's owner and must
/// hear when the list dies. Such nodes belong to the objects that hold the references (they
/// are usually members), never to the list.
class BRIX_API SCC_RefDListNode : public SCC_DListNode<SCC_RefDListNode> {
 public:
  SCC_RefDListNode() noexcept = default;
  SCC_RefDListNode(const SCC_RefDListNode&) noexcept = default;
  SCC_RefDListNode& operator=(const SCC_RefDListNode&) noexcept = default;
  virtual ~SCC_RefDListNode();

  /// The list this reference is in, or null.
  SCC_RefDList* GetRefList() const noexcept;

 protected:
  friend class SCC_RefDList;
  /// Told, already unlinked, that `list` is going away. The node may delete itself or
  /// remove (or delete) other nodes of the list. The base does nothing.
  virtual void OnListDestroyed(SCC_RefDList* list);
};

/// A list of references (SCC_RefDListNode). When it dies, or when ReleaseNodes is called,
/// each node in turn is unlinked and told through OnListDestroyed; while that runs the list
/// takes no new node (adding one is a failed check), so the release always ends.
///
/// A class derived from SCC_RefDList whose nodes may call back into it calls ReleaseNodes()
/// in its own destructor, so that the nodes hear of its end while it is still whole.
class BRIX_API SCC_RefDList : public SCC_DList<SCC_RefDListNode> {
 public:
  SCC_RefDList() noexcept = default;
  ~SCC_RefDList() override;

  /// Nodes are owned by their holders: the list never deletes them.
  void RemoveAllDelete() = delete;

 protected:
  /// Closes the list and tells every node, head first, that it is going away.
  void ReleaseNodes();
};

/// A reference to an object that is an SCC_RefDList (such as a synchronisation client)
/// which turns null when that object dies. Copies refer to the same object.
template <class T>
class SCC_RefPointer : private SCC_RefDListNode {
 public:
  SCC_RefPointer() noexcept = default;
  explicit SCC_RefPointer(T* target) { Reset(target); }
  SCC_RefPointer(const SCC_RefPointer& other) : SCC_RefDListNode() { Reset(other.Get()); }
  SCC_RefPointer& operator=(const SCC_RefPointer& other) {
    if (this != &other) Reset(other.Get());
    return *this;
  }
  ~SCC_RefPointer() override = default;

  /// Refers to `target` (null: to nothing).
  void Reset(T* target = nullptr) {
    if (target)
      static_cast<SCC_RefDList*>(target)->AddTail(this);
    else
      RemoveNode();
  }
  /// The object, or null once it died (or when none was given).
  T* Get() const noexcept { return static_cast<T*>(GetRefList()); }
  T* operator->() const noexcept { return Get(); }
  explicit operator bool() const noexcept { return Get() != nullptr; }
};
