// sccdlist.h - intrusive doubly linked list whose walks survive removal of any node.
#pragma once

#include "brixexport.h"

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
class SCC_SafeDListNode {
 public:
  SCC_SafeDListNode() = default;
  SCC_SafeDListNode(const SCC_SafeDListNode&) {}
  // Copies nothing, so assigning a node to itself is harmless.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
  SCC_SafeDListNode& operator=(const SCC_SafeDListNode&) { return *this; }
  virtual ~SCC_SafeDListNode() {
    if (list_) list_->Unlink(this);
  }

  /// Leaves the list the node is in (nothing when it is in none). Walks in
  /// progress on that list continue with the node that followed this one.
  virtual void RemoveNode() {
    if (list_) list_->Unlink(this);
  }
  /// 1 when the node is in a list.
  virtual int IsNode() const { return list_ != nullptr; }

  /// The list holding the node, or null.
  SCC_SafeDList<T>* GetList() const { return list_; }
  /// The following node of the list, or null at the tail or when unlinked.
  T* GetNextNode() const { return next_ ? static_cast<T*>(next_) : nullptr; }
  /// The preceding node of the list, or null at the head or when unlinked.
  T* GetPrevNode() const { return prev_ ? static_cast<T*>(prev_) : nullptr; }

 private:
  friend class SCC_SafeDList<T>;
  friend class SCC_SafeDListIterator<T>;
  SCC_SafeDList<T>* list_ = nullptr;
  SCC_SafeDListNode* prev_ = nullptr;
  SCC_SafeDListNode* next_ = nullptr;
};

/// An intrusive doubly linked list of T (which derives from
/// SCC_SafeDListNode<T>). The list never owns its nodes: destroying the list
/// unlinks them and leaves them alive.
///
/// Walks use SCC_SafeDListIterator, which registers itself with the list; any
/// node, including the one just returned, may be removed or moved during the walk.
template <class T>
class SCC_SafeDList {
 public:
  SCC_SafeDList() = default;
  SCC_SafeDList(const SCC_SafeDList&) = delete;
  SCC_SafeDList& operator=(const SCC_SafeDList&) = delete;
  ~SCC_SafeDList() { RemoveAll(); }

  T* GetHead() const { return head_ ? static_cast<T*>(head_) : nullptr; }
  T* GetTail() const { return tail_ ? static_cast<T*>(tail_) : nullptr; }
  long GetCount() const { return count_; }
  int IsEmpty() const { return count_ == 0; }

  /// Appends `node` at the tail; a node in a list (this one or another) leaves it first.
  void AddTail(T* node) { InsertBefore(node, nullptr); }
  /// Puts `node` at the head; a node in a list leaves it first.
  void AddHead(T* node) { InsertBefore(node, GetHead()); }

  /// Links `node` in directly before `before`, which must be in this list
  /// (null means at the tail). A node in a list leaves it first.
  void InsertBefore(T* node, T* before) {
    if (!node || node == before) return;
    Node* n = node;
    Node* b = before;
    if (b && b->list_ != this) return;
    if (n->list_) n->list_->Unlink(n);
    Node* prev = b ? b->prev_ : tail_;
    n->list_ = this;
    n->prev_ = prev;
    n->next_ = b;
    (prev ? prev->next_ : head_) = n;
    (b ? b->prev_ : tail_) = n;
    ++count_;
  }

  /// Unlinks `node` when it is in this list; active walks skip to its successor.
  void Remove(T* node) {
    if (node) Unlink(node);
  }

  /// Moves `node` (in this list) to the tail.
  void MoveToTail(T* node) {
    Node* n = node;
    if (n && n->list_ == this && n != tail_) {
      Unlink(n);
      AddTail(node);
    }
  }

  /// Unlinks every node.
  void RemoveAll() {
    while (head_) Unlink(head_);
  }

  /// 1 when the links, the count and every node's back pointer agree.
  int IsValid() const {
    long seen = 0;
    const Node* prev = nullptr;
    for (const Node* n = head_; n; n = n->next_) {
      if (n->list_ != this || n->prev_ != prev || ++seen > count_) return 0;
      prev = n;
    }
    return seen == count_ && prev == tail_;
  }

 private:
  using Node = SCC_SafeDListNode<T>;
  using Iterator = SCC_SafeDListIterator<T>;
  friend class SCC_SafeDListNode<T>;
  friend class SCC_SafeDListIterator<T>;

  // Works on the base only, so that a node may leave from its own destructor.
  void Unlink(Node* n) {
    if (n->list_ != this) return;
    for (Iterator* it = iterators_; it; it = it->chain_)
      if (it->next_ == n) it->next_ = n->next_;
    (n->prev_ ? n->prev_->next_ : head_) = n->next_;
    (n->next_ ? n->next_->prev_ : tail_) = n->prev_;
    n->list_ = nullptr;
    n->prev_ = n->next_ = nullptr;
    --count_;
  }

  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  long count_ = 0;
  Iterator* iterators_ = nullptr;  // chain of active walks, newest first
};

/// A walk over an SCC_SafeDList from head to tail that survives removal of any
/// node. It lives on the stack: it registers with the list on construction and
/// unregisters on destruction, so it must not outlive the list. A node moved to
/// the tail during the walk is met again when the walk gets there.
template <class T>
class SCC_SafeDListIterator {
 public:
  explicit SCC_SafeDListIterator(SCC_SafeDList<T>& list)
      : list_(&list), next_(list.head_), chain_(list.iterators_) {
    list.iterators_ = this;
  }
  SCC_SafeDListIterator(const SCC_SafeDListIterator&) = delete;
  SCC_SafeDListIterator& operator=(const SCC_SafeDListIterator&) = delete;
  ~SCC_SafeDListIterator() {
    SCC_SafeDListIterator** p = &list_->iterators_;
    while (*p && *p != this) p = &(*p)->chain_;
    if (*p) *p = chain_;
  }

  /// The next node, or null when the walk is over.
  T* Next() {
    SCC_SafeDListNode<T>* node = next_;
    if (!node) return nullptr;
    next_ = node->next_;
    return static_cast<T*>(node);
  }

 private:
  friend class SCC_SafeDList<T>;
  SCC_SafeDList<T>* list_;
  SCC_SafeDListNode<T>* next_;
  SCC_SafeDListIterator* chain_;
};
