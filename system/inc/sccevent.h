// sccevent.h - the event chain: events, hooks and the notifier every observable object raises.
#pragma once

#include <cstdint>
#include <utility>

#include "brixexport.h"

// An event owns a circular, doubly linked ring of nodes and is itself the ring's sentinel:
// raising it calls every enabled node from the event's next link round to the first event
// met again. Nodes are never owned by the event; hooks are members of, or owned by, the
// objects that listen. Everything here is single-threaded and re-entrant: a hook may raise
// the same or another event, hook, unhook, disable or destroy nodes, and disable the event,
// while a raise is running. Nothing here allocates.

template <class T>
class SCC_Event;
template <class T>
class SCC_EventIterator;

/// Anything that can sit in an event's ring. A plain node is called with
/// OnNotification, which does nothing; hooks override it.
///
/// A node is either unlinked (root null, linked to itself) or in exactly one ring.
/// Links are never null. Copying a node links the copy into the source's ring.
template <class T>
class BRIX_API SCC_EventNode {
 public:
  /// Enabled, unlinked, no root.
  SCC_EventNode() = default;

  /// The copy is enabled whatever the source's flag (intended) and is linked
  /// immediately before the source, into the source's ring and under its root.
  SCC_EventNode(const SCC_EventNode& source) {
    if (&source != this) LinkBefore(source);
  }

  /// Takes the source's enabled flag and moves this node immediately before the source.
  SCC_EventNode& operator=(const SCC_EventNode& source) {
    if (&source != this) {
      enabled_ = source.enabled_;
      InsertBefore(&source);
    }
    return *this;
  }

  /// Leaves the ring the node is in.
  virtual ~SCC_EventNode() { SCC_EventNode::Remove(); }

  /// The raw enabled flag; nonzero means the node is called when its event is raised.
  int IsEnabled() const { return enabled_; }
  /// The event whose ring this node is in, or null when it is in none.
  SCC_EventNode* GetRoot() const { return root_; }
  /// The next node of the ring (the node itself when unlinked).
  SCC_EventNode* GetNext() const { return next_; }
  /// The previous node of the ring (the node itself when unlinked).
  SCC_EventNode* GetPrev() const { return prev_; }
  /// 1 for an event (the sentinel that ends a walk), else 0.
  int IsEvent() const { return isEvent_; }

  /// Leaves the ring: the root is told first through OnRemoveNode so that raises in
  /// progress step past this node, then the node is unlinked and has no root.
  virtual void Remove() {
    if (root_) root_->OnRemoveNode(this);
    prev_->next_ = next_;
    next_->prev_ = prev_;
    root_ = nullptr;
    prev_ = next_ = this;
  }

  /// Leaves the current ring and links in immediately before `node`, under the root of
  /// `node`'s ring (the event itself when `node` is an event). A null `node` only unlinks.
  virtual void InsertBefore(const SCC_EventNode* node) {
    this->Remove();
    if (node) LinkBefore(*node);
  }

  /// Calling-order priority: 2147483647, the largest 32-bit value, for plain nodes and
  /// events (on every platform, also where long is wider).
  virtual long GetPriority() const { return INT32_MAX; }

  /// Stores the flag and calls OnEventEnable, unless `enable` equals the stored flag.
  /// The compare is on the raw int by design: Enable(2) on an enabled node stores 2.
  virtual void Enable(int enable) {
    if (enable == enabled_) return;
    enabled_ = enable;
    OnEventEnable(enable);
  }

  /// Called by a raise for an enabled node; the result is ignored by the event.
  virtual int OnNotification(int code, T* data) { return 0; }
  /// Called on a node's root before the node leaves its ring.
  virtual void OnRemoveNode(SCC_EventNode* node) {}
  /// Called after Enable changed the flag; for subclasses that react to it.
  virtual void OnEventEnable(int enable) {}

 private:
  // Links this unlinked node before `node`. An event is the root of its own ring.
  void LinkBefore(const SCC_EventNode& node) {
    SCC_EventNode& at = const_cast<SCC_EventNode&>(node);
    next_ = &at;
    prev_ = at.prev_;
    at.prev_->next_ = this;
    at.prev_ = this;
    root_ = at.isEvent_ ? &at : at.root_;
  }

  // Field order keeps what a raise touches (vptr, next, flags) in the first 24 bytes.
  // A node is an event exactly when isEvent_ is set; only SCC_Event sets it.
  SCC_EventNode* next_ = this;
  std::int32_t enabled_ = 1;
  bool isEvent_ = false;
  SCC_EventNode* prev_ = this;
  SCC_EventNode* root_ = nullptr;

  friend class SCC_Event<T>;
  friend class SCC_EventIterator<T>;
  template <class>
  friend class SCC_EventHook;
};

// The iterator registers its own address with the event and unregisters it in its
// destructor; gcc cannot see the pairing and warns about a dangling pointer.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif

/// A raise or search in progress, registered with its event so that removals and the
/// event's transfer or destruction keep it consistent. It lives on the stack of Raise;
/// its destructor unregisters it, also when a hook throws.
template <class T>
class SCC_EventIterator {
 public:
  explicit SCC_EventIterator(SCC_Event<T>* event) : event_(event), nextIt_(event->iterators_) {
    if (nextIt_) nextIt_->prevIt_ = this;
    event->iterators_ = this;
  }
  ~SCC_EventIterator() {
    if (!event_) return;  // detached by the event's destruction
    if (prevIt_)
      prevIt_->nextIt_ = nextIt_;
    else
      event_->iterators_ = nextIt_;
    if (nextIt_) nextIt_->prevIt_ = prevIt_;
  }
  SCC_EventIterator(const SCC_EventIterator&) = delete;
  SCC_EventIterator& operator=(const SCC_EventIterator&) = delete;

 private:
  SCC_EventNode<T>* current_ = nullptr;  // the node being called
  SCC_Event<T>* event_;                  // owner; null once the owner is destroyed
  SCC_EventIterator* prevIt_ = nullptr;  // newer iterator of the same event
  SCC_EventIterator* nextIt_;            // older iterator of the same event

  friend class SCC_Event<T>;
};

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

/// An event: the sentinel of a ring of nodes, raised with Raise.
///
/// Copying or assigning from another event moves all of the source's nodes here and
/// leaves the source empty; the event never owns its nodes. Destroying an event unlinks
/// its nodes, which stay alive.
template <class T>
class BRIX_API SCC_Event : public SCC_EventNode<T> {
  using Node = SCC_EventNode<T>;
  using Iterator = SCC_EventIterator<T>;

 public:
  /// Enabled and empty.
  SCC_Event() { this->isEvent_ = true; }
  /// Takes the source's nodes over; the source is left empty.
  SCC_Event(SCC_Event& source) : SCC_Event() { *this = source; }
  // Moves are not noexcept: they call the virtual Remove and InsertBefore, which hooks may
  // override.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor)
  SCC_Event(SCC_Event&& source) : SCC_Event() { *this = source; }

  /// Unlinks this event's former nodes, then takes all of the source's nodes over in
  /// their order (each now rooted here); the source is left empty. The enabled flag is
  /// kept. Raises of the source still running go on over the moved nodes as raises of
  /// this event.
  SCC_Event& operator=(SCC_Event& source) {
    if (&source == this) return *this;
    RemoveAll();
    Node* outer = source.root_;
    this->InsertBefore(&source);  // the ring now holds both events, this one first
    source.Remove();              // and the source leaves its nodes to this one
    this->root_ = outer;
    return *this;
  }
  // NOLINTNEXTLINE(performance-noexcept-move-constructor)
  SCC_Event& operator=(SCC_Event&& source) { return *this = source; }

  /// Unlinks every node (they stay alive), stops raises still running, then leaves the
  /// ring this event may itself be in.
  ~SCC_Event() override {
    RemoveAll();
    for (Iterator* it = iterators_; it;) {
      Iterator* older = it->nextIt_;
      it->event_ = nullptr;
      it->prevIt_ = it->nextIt_ = nullptr;
      it = older;
    }
    iterators_ = nullptr;
    SCC_Event::Remove();
  }

  /// Leaves the ring this event is in. When another event shares the ring, the nodes this
  /// one was walking pass to the event before it, with its raises still running; otherwise
  /// they are unlinked first, so that no node is ever left in a ring without an event.
  void Remove() override {
    SCC_Event* heir = PrecedingEvent();
    if (!heir) {
      RemoveAll();
    } else {
      for (Node* n = this->next_; !n->isEvent_; n = n->next_) n->root_ = heir;
      heir->AdoptIterators(*this);
      heir->OnRemoveNode(this);
    }
    Node::Remove();
  }

  /// 1 when no node is linked to the event.
  int IsEmpty() const { return this->next_ == this; }

  /// Links `node` at the end of the calling order and roots it here; null and the event
  /// itself are ignored. Despite the name a node added this way is called after every node
  /// already present: the order is intended and callers rely on it.
  void AddHead(Node* node) const {
    if (!node || node == this) return;
    node->InsertBefore(this);
    node->root_ = const_cast<SCC_Event*>(this);
  }

  /// Removes nodes from the front until the ring is empty.
  void RemoveAll() {
    while (this->next_ != this) this->next_->Remove();
  }

  /// 1 if `node` is in this event's ring, enabled or not, else 0.
  int HasNode(Node* node) const {
    for (Node* n = this->next_; !n->isEvent_; n = n->next_)
      if (n == node) return 1;
    return 0;
  }

  /// Calls OnNotification(code, data) of every enabled node in ring order and returns 0.
  /// The next node is read after each call, so a hook may remove itself or others, insert
  /// nodes (called in this raise when inserted ahead) or raise again. Return values do not
  /// stop the walk; disabling the event does, after the node that disabled it (and in every
  /// enclosing raise of it). An exception from a hook propagates and leaves the event usable.
  int Raise(int code, T* data) {
    Node* cur = this->next_;
    if (!this->enabled_ || cur->isEvent_) return 0;
    Iterator it(this);
    do {
      if (cur->enabled_) {
        it.current_ = cur;
        cur->OnNotification(code, data);
        if (!it.event_ || !it.event_->enabled_) break;
        cur = it.current_;  // moved back if the node was removed meanwhile
      }
      cur = cur->next_;
    } while (!cur->isEvent_);
    return 0;
  }

  /// Steps every raise of this event whose current node is `node` back to its previous
  /// node, so that the raise goes on with the node that followed it.
  void OnRemoveNode(Node* node) override {
    for (Iterator* it = iterators_; it; it = it->nextIt_)
      if (it->current_ == node) it->current_ = node->prev_;
  }

 private:
  // The nearest event before this one in the ring, or null when this is the only one.
  SCC_Event* PrecedingEvent() const {
    Node* n = this->prev_;
    while (!n->isEvent_) n = n->prev_;
    return n == this ? nullptr : static_cast<SCC_Event*>(n);
  }

  // Raises of `source` still running now walk our ring: register them with us.
  void AdoptIterators(SCC_Event& source) {
    Iterator* first = source.iterators_;
    if (!first) return;
    Iterator* last = first;
    for (;;) {
      last->event_ = this;
      if (!last->nextIt_) break;
      last = last->nextIt_;
    }
    last->nextIt_ = iterators_;
    if (iterators_) iterators_->prevIt_ = last;
    iterators_ = first;
    source.iterators_ = nullptr;
  }

  Iterator* iterators_ = nullptr;  // newest raise in progress

  friend class SCC_EventIterator<T>;
};

/// A node with a priority that calls a plain function. Hooks are called in descending
/// priority; among equal priorities the one hooked last is called first.
template <class T>
class BRIX_API SCC_EventHook : public SCC_EventNode<T> {
 public:
  using Processor = int (*)(int code, T* data);

  /// An unhooked hook without processor and with priority 0.
  SCC_EventHook() = default;
  /// Stores `processor` and `priority` (kept as 32 bits) and hooks into `event` if given.
  explicit SCC_EventHook(Processor processor, SCC_Event<T>* event = nullptr, long priority = 0)
      : priority_(static_cast<std::int32_t>(priority)), processor_(processor) {
    if (event) HookEvent(event);
  }

  /// Enabled and immediately before the source whatever the source's flag (intended),
  /// with the source's priority and processor.
  SCC_EventHook(const SCC_EventHook& source)
      : SCC_EventNode<T>(source), priority_(source.priority_), processor_(source.processor_) {}

  /// Takes the source's flag and moves immediately before the source, without re-sorting
  /// by priority (intended); copies priority and processor.
  SCC_EventHook& operator=(const SCC_EventHook& source) {
    SCC_EventNode<T>::operator=(source);
    priority_ = source.priority_;
    processor_ = source.processor_;
    return *this;
  }

  /// Leaves the current ring and, for a non-null `event`, links in by priority: before the
  /// first node whose priority is lower or equal, else at the end. Null just unhooks.
  void HookEvent(SCC_Event<T>* event) {
    this->Remove();
    if (!event) return;
    SCC_EventNode<T>* at = event->GetNext();
    while (!at->IsEvent() && at->GetPriority() > priority_) at = at->GetNext();
    this->InsertBefore(at);
    this->root_ = event;
  }

  /// Replaces the processor; the hook keeps its place.
  void SetProcessor(Processor processor) { processor_ = processor; }
  Processor GetProcessor() const { return processor_; }

  long GetPriority() const override { return priority_; }

  /// Returns processor(code, data); a hook without processor returns 0.
  int OnNotification(int code, T* data) override { return processor_ ? processor_(code, data) : 0; }

 private:
  std::int32_t priority_ = 0;
  Processor processor_ = nullptr;
};

/// A hook that calls a member function of an object. The object owns the hook (usually
/// as a member) and must outlive its being raised.
template <class T, class P>
class BRIX_API SCC_ObjectEventHook : public SCC_EventHook<P> {
 public:
  using Method = int (T::*)(int code, P* data);

  /// Calls `(object->*method)(code, data)` when raised; hooks into `event` if given.
  SCC_ObjectEventHook(T* object, Method method, SCC_Event<P>* event = nullptr, long priority = 0)
      : SCC_EventHook<P>(nullptr, nullptr, priority), object_(object), method_(method) {
    if (event) this->HookEvent(event);
  }

  T* GetObject() const { return object_; }

  /// Returns the member function's result; a hook without object or method returns 0.
  int OnNotification(int code, P* data) override {
    return object_ && method_ ? (object_->*method_)(code, data) : 0;
  }

 private:
  T* object_;
  Method method_;
};

/// The event with int payload that the library's objects expose and raise with Notify,
/// using the shared codes (1 inserted, 2 removed, 3 replaced, 5 reset, 6 cleared or
/// destroyed, 7 mass change, 8 property changed).
class BRIX_API SCC_Notifier : public SCC_Event<int> {
 public:
  /// The argument is ignored.
  explicit SCC_Notifier(int unused = 0) {}
  /// Takes the source's hooks over, as event copies do.
  SCC_Notifier(SCC_Notifier& source) : SCC_Event<int>(source) {}
  // Not noexcept, as for events.
  // NOLINTNEXTLINE(performance-noexcept-move-constructor)
  SCC_Notifier(SCC_Notifier&& source) : SCC_Event<int>(std::move(source)) {}
  SCC_Notifier& operator=(SCC_Notifier& source) {
    SCC_Event<int>::operator=(source);
    return *this;
  }
  // NOLINTNEXTLINE(performance-noexcept-move-constructor)
  SCC_Notifier& operator=(SCC_Notifier&& source) { return *this = source; }
  ~SCC_Notifier() override;

  /// Raise(code, (int*)data), result discarded.
  void Notify(int code, void* data) { Raise(code, static_cast<int*>(data)); }

  /// This notifier.
  SCC_Notifier* GetNotifier() const { return const_cast<SCC_Notifier*>(this); }

  /// Tests the next link, which is never null, so this is 1 even without hooks. Kept on
  /// purpose for callers written against it; ask IsEmpty for emptiness.
  int HasListeners() const { return GetNext() != nullptr; }

  /// Number of items from which a change counts as a mass change: 10. Offered to
  /// clients only; the library itself raises per-item codes whatever the count.
  static long GetMassNotificationTreshold() { return 10; }
};
