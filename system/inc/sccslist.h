// sccslist.h - SCC_SList<T>: the intrusive singly linked list, its node base and iterator.
#pragma once

class SCC_Notifier;

template <class T>
class SCC_SList;
template <class T>
class SCC_SListIterator;

/// Base of the elements of an SCC_SList<T>: `class Item : public SCC_SListNode<Item>`.
/// The node carries its own link, so a node is in at most one list at a time. A copy of a
/// node starts unlinked and assigning a node leaves its link alone: links belong to the list
/// the node is in, never to the value.
template <class T>
class SCC_SListNode {
 public:
  SCC_SListNode() noexcept = default;
  SCC_SListNode(const SCC_SListNode&) noexcept {}
  // Copies nothing, so assigning a node to itself is harmless.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
  SCC_SListNode& operator=(const SCC_SListNode&) noexcept { return *this; }

  /// The node that follows in the list, or null.
  T* GetNextNode() const noexcept { return m_next; }
  void SetNextNode(T* next) noexcept { m_next = next; }

 private:
  T* m_next = nullptr;
};

/// Intrusive singly linked list of T (which derives from SCC_SListNode<T>).
///
/// The list keeps only its head: appending, Last, Prev, Next, Contains, GetCount and removing
/// an inner node walk from the head. It owns no node unless told to (RemoveAllDelete); nodes
/// must outlive their membership. A derived list can watch every change through three
/// virtual hooks: Notify (1 inserted, 2 about to be removed, 6 about to be cleared, with the
/// node itself as payload), RegisterIterator/UnregisterIterator and GetNotifier. The base
/// list's hooks do nothing.
///
/// Copying: a list is not copyable. A copy would be made of new nodes that no list owns and
/// would leak them when it went away, so the one copy is the explicit CopyFrom, which builds
/// new nodes (`new T(node)` for each node, in order) that its caller owns and releases with
/// RemoveAllDelete. Merge moves the nodes of another list to the end of this one. The destructor unlinks every node (setting each link to null)
/// and deletes none; it does not notify.
template <class T>
class SCC_SList {
 public:
  SCC_SList() noexcept = default;
  /// Not copyable: use CopyFrom, whose caller owns the copied nodes (see the class comment).
  SCC_SList(const SCC_SList&) = delete;
  SCC_SList& operator=(const SCC_SList&) = delete;
  virtual ~SCC_SList() {
    while (m_head) {
      T* node = m_head;
      m_head = node->GetNextNode();
      node->SetNextNode(nullptr);
    }
  }

  /// Makes `node` the first node; returns it.
  T* AddHead(T* node) {
    if (!node) return nullptr;
    node->SetNextNode(m_head);
    m_head = node;
    Notify(1, node);
    return node;
  }

  /// Appends `node` (its link is cleared first); returns it.
  T* AddTail(T* node) {
    if (!node) return nullptr;
    T* last = Last();
    node->SetNextNode(nullptr);
    if (last)
      last->SetNextNode(node);
    else
      m_head = node;
    Notify(1, node);
    return node;
  }

  /// Appends `node` without touching its link: the caller passes an unlinked node
  /// (intended; whatever it links to is appended too).
  void operator+=(T& node) {
    T* last = Last();
    if (last)
      last->SetNextNode(&node);
    else
      m_head = &node;
    Notify(1, &node);
  }

  /// Links `node` after `after` without setting `node`'s own link: the nodes that followed
  /// `after` stay in the list only if the caller has linked `node` to them first (intended).
  /// With a null `after` the node becomes the head and is announced twice (intended).
  T* InsertAfter(T* after, T* node) {
    if (!node) return nullptr;
    if (after) {
      after->SetNextNode(node);
      Notify(1, node);
      return node;
    }
    node->SetNextNode(m_head);
    m_head = node;
    Notify(1, node);
    Notify(1, node);  // two notices for one insertion: intended
    return node;
  }

  /// Links `node` before `before`; appends for a null `before`. When `before` is the head
  /// or not in the list, `node` becomes the head (announced before the head changes).
  T* InsertBefore(T* before, T* node) {
    if (!before) return AddTail(node);
    if (!node) return nullptr;
    if (T* p = FindPrev(before)) {
      node->SetNextNode(before);
      p->SetNextNode(node);
      Notify(1, node);
      return node;
    }
    node->SetNextNode(m_head);
    Notify(1, node);
    m_head = node;
    return node;
  }

  /// Unlinks `node` and returns it. The removal is announced whether or not the node is in
  /// the list, and a node that is not in the list makes the list drop its head instead
  /// (intended): only remove nodes known to be in the list.
  T* Remove(T* node) {
    if (!node) return nullptr;
    T* p = FindPrev(node);
    Notify(2, node);
    if (p) {
      p->SetNextNode(node->GetNextNode());
      node->SetNextNode(nullptr);
      return node;
    }
    if (m_head) m_head = m_head->GetNextNode();  // drops the head even for a stranger: intended
    node->SetNextNode(nullptr);
    return node;
  }

  /// Unlinks the node after `prev` (the head for a null `prev`); returns it or null.
  T* RemoveNext(T* prev) {
    T* target = prev ? prev->GetNextNode() : m_head;
    if (!target) return nullptr;
    Notify(2, target);
    if (prev)
      prev->SetNextNode(target->GetNextNode());
    else
      m_head = target->GetNextNode();
    target->SetNextNode(nullptr);
    return target;
  }

  /// Unlinks the first node; returns it or null.
  T* RemoveHead() {
    T* head = m_head;
    if (!head) return nullptr;
    Notify(2, head);
    m_head = head->GetNextNode();
    head->SetNextNode(nullptr);
    return head;
  }

  /// Unlinks the last node; returns it or null.
  T* RemoveTail() {
    if (!m_head) return nullptr;
    T* prev = nullptr;
    T* last = m_head;
    while (T* next = last->GetNextNode()) {
      prev = last;
      last = next;
    }
    Notify(2, last);
    if (prev)
      prev->SetNextNode(nullptr);
    else
      m_head = nullptr;
    last->SetNextNode(nullptr);
    return last;
  }

  /// Announces 6, then unlinks every node (they are not deleted).
  void RemoveAll() {
    Notify(6, nullptr);
    while (T* node = m_head) {
      m_head = node->GetNextNode();
      node->SetNextNode(nullptr);
    }
  }

  /// Announces 6, then unlinks and deletes every node.
  void RemoveAllDelete() {
    Notify(6, nullptr);
    while (T* node = m_head) {
      m_head = node->GetNextNode();
      node->SetNextNode(nullptr);
      delete node;
    }
  }

  /// Moves every node of `other` to the end of this list, in order; `other` is left empty.
  /// `other` announces 6 first, then this list announces 1 for each node it takes.
  void Merge(SCC_SList& other) {
    if (&other == this || !other.m_head) return;
    other.Notify(6, nullptr);
    T* node = other.m_head;
    other.m_head = nullptr;
    T* last = Last();
    if (last)
      last->SetNextNode(node);
    else
      m_head = node;
    for (; node; node = node->GetNextNode()) Notify(1, node);
  }

  /// Unlinks this list's nodes (RemoveAll) and appends a new copy of each of `other`'s
  /// nodes. The copies belong to the caller: release them with RemoveAllDelete. Copying a
  /// list into itself does nothing.
  void CopyFrom(const SCC_SList& other) {
    if (&other == this) return;
    RemoveAll();
    AppendCopiesOf(other);
  }

  T* First() const noexcept { return m_head; }
  /// The last node, or null when empty.
  T* Last() const noexcept {
    T* node = m_head;
    if (node)
      while (T* next = node->GetNextNode()) node = next;
    return node;
  }
  /// The node after `node` when `node` is in the list, else null.
  T* Next(T* node) const noexcept { return node && Contains(node) ? node->GetNextNode() : nullptr; }
  /// The node before `node`, or null (also for the head).
  T* Prev(T* node) const noexcept { return node ? FindPrev(node) : nullptr; }
  int IsEmpty() const noexcept { return m_head == nullptr; }
  int Contains(T* node) const noexcept {
    for (T* p = m_head; p; p = p->GetNextNode())
      if (p == node) return 1;
    return 0;
  }
  long GetCount() const noexcept {
    long n = 0;
    for (T* p = m_head; p; p = p->GetNextNode()) ++n;
    return n;
  }

  /// Called by an iterator that starts watching this list; the base does nothing.
  virtual void RegisterIterator(SCC_SListIterator<T>* iterator) const {}
  /// Called by an iterator that stops watching this list; the base does nothing.
  virtual void UnregisterIterator(SCC_SListIterator<T>* iterator) const {}
  /// The list's notifier for listeners; the base list has none.
  virtual SCC_Notifier* GetNotifier() const { return nullptr; }

 protected:
  /// Told of every change: 1 `node` inserted, 2 `node` about to be removed, 6 the list is
  /// about to be cleared (node null). The base does nothing.
  virtual void Notify(int code, T* node) {}

 private:
  // The node whose link is `node`, or null.
  T* FindPrev(T* node) const noexcept {
    for (T* p = m_head; p; p = p->GetNextNode())
      if (p->GetNextNode() == node) return p;
    return nullptr;
  }
  void AppendCopiesOf(const SCC_SList& other) {
    T* last = Last();
    for (T* n = other.m_head; n; n = n->GetNextNode()) {
      T* copy = new T(*n);
      copy->SetNextNode(nullptr);
      if (last)
        last->SetNextNode(copy);
      else
        m_head = copy;
      last = copy;
      Notify(1, copy);
    }
  }

  T* m_head = nullptr;
};

/// Walks an SCC_SList<T> and keeps its focus on a node.
///
/// The iterator registers with its list (RegisterIterator), so a derived list can call
/// OnUpdatePointers before it changes; with the base list nothing tells it of removals, and
/// the focus must then not be removed while the iterator is used. The list must outlive the
/// iterator.
template <class T>
class SCC_SListIterator {
 public:
  SCC_SListIterator() noexcept = default;
  explicit SCC_SListIterator(const SCC_SList<T>& list) { Restart(list); }
  SCC_SListIterator(const SCC_SListIterator& other)
      : m_focus(other.m_focus), m_started(other.m_started) {
    Attach(other.m_list);
  }
  SCC_SListIterator& operator=(const SCC_SListIterator& other) {
    if (this != &other) {
      Attach(other.m_list);
      m_focus = other.m_focus;
      m_started = other.m_started;
    }
    return *this;
  }
  virtual ~SCC_SListIterator() { Attach(nullptr); }

  /// Watches `list` and stands before its first node: the next GetNext gives the head.
  void Restart(const SCC_SList<T>& list) {
    Attach(&list);
    Restart();
  }
  /// Stands before the first node again.
  void Restart() noexcept {
    m_focus = nullptr;
    m_started = false;
  }
  /// Stands on the head of `list` (or the current list) and returns it.
  T* GetFirst(const SCC_SList<T>& list) {
    Attach(&list);
    return GetFirst();
  }
  T* GetFirst() noexcept {
    m_started = true;
    m_focus = m_list ? m_list->First() : nullptr;
    return m_focus;
  }
  /// Steps to the next node (the head after Restart) and returns it; null at the end.
  T* GetNext() noexcept {
    if (!m_started) return GetFirst();
    if (m_focus) m_focus = m_focus->GetNextNode();
    return m_focus;
  }
  /// Forgets the focus; GetNext then returns null until Restart or GetFirst.
  void Invalidate() noexcept {
    m_focus = nullptr;
    m_started = true;
  }

  T* GetFocus() const noexcept { return m_focus; }
  void SetFocus(T* node) noexcept {
    m_focus = node;
    m_started = true;
  }
  int IsValid() const noexcept { return m_focus != nullptr; }
  const SCC_SList<T>* GetList() const noexcept { return m_list; }

  /// Index of the focus + 1, found walking from the head; 0 without a focus in the list.
  long GetHandle() const noexcept {
    if (!m_list || !m_focus) return 0;
    long i = 1;
    for (T* p = m_list->First(); p; p = p->GetNextNode(), ++i)
      if (p == m_focus) return i;
    return 0;
  }
  /// Stands on node `handle - 1` counted from the head (no focus when there is none).
  void SetHandle(long handle) noexcept { SetPosition(handle - 1); }
  /// Stands on the node at `index` and returns it, or null when there is none.
  T* SetPosition(long index) noexcept {
    T* p = m_list && index >= 0 ? m_list->First() : nullptr;
    for (; p && index > 0; --index) p = p->GetNextNode();
    SetFocus(p);
    return p;
  }

  /// Told by a watching list before it changes: on 2 for the focus the iterator steps back
  /// to the node before it, so that GetNext continues with the node after the removed one;
  /// on 6 the focus is dropped.
  virtual void OnUpdatePointers(int code, T* node) {
    if (code == 6) {
      Invalidate();
    } else if (code == 2 && node && node == m_focus) {
      T* prev = m_list ? m_list->Prev(node) : nullptr;
      if (prev)
        m_focus = prev;
      else
        Restart();  // the head goes: the next step gives the new head
    }
  }

 private:
  void Attach(const SCC_SList<T>* list) {
    if (list == m_list) return;
    if (m_list) m_list->UnregisterIterator(this);
    m_list = list;
    if (m_list) m_list->RegisterIterator(this);
  }

  const SCC_SList<T>* m_list = nullptr;
  T* m_focus = nullptr;
  bool m_started = true;
};
