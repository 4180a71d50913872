// scciterator.h - SCC_Iterator: the base of the library's position-keeping iterators.
#pragma once

#include "brixexport.h"
#include "sccevent.h"

/// An iterator keeps a position in a container as a handle (0 means none) and watches the
/// container's event so that it can repair its position when the container changes.
///
/// Every notification from the watched event first goes to OnNotification, where derived
/// iterators move or drop their position, and is then repeated on the iterator's own change
/// event, so listeners of an iterator read a position that is already repaired. Iterators
/// hook in with the highest priority and so run before the container's other listeners.
///
/// When the watched event dies (its container is destroyed) the iterator is unhooked and
/// GetSource() becomes null. Copies watch the same event; the change event's listeners are
/// never copied.
class BRIX_API SCC_Iterator {
 public:
  SCC_Iterator();
  SCC_Iterator(const SCC_Iterator& other);
  /// Watches `other`'s event; keeps this iterator's own change-event listeners.
  SCC_Iterator& operator=(const SCC_Iterator& other);
  virtual ~SCC_Iterator();

  /// The position as a handle; 0 when the iterator stands on nothing.
  virtual long GetHandle() const = 0;
  /// Moves to the element named by `handle` in the current container.
  virtual void SetHandle(long handle) = 0;
  /// Forgets the position (the container stays watched).
  virtual void Invalidate() = 0;
  /// 1 when the iterator stands on an element.
  virtual int IsValid() const { return GetHandle() != 0; }
  /// Repairs the position after a change of the container. The base forgets the position
  /// on 6 (cleared or destroyed) and ignores every other code.
  virtual int OnNotification(int code, int* data);

  /// Raised after every notification of the watched container, with its code and data.
  SCC_Notifier& GetChangeEvent() noexcept { return m_changeEvent; }
  /// The watched event, or null.
  SCC_Event<int>* GetSource() const noexcept {
    return static_cast<SCC_Event<int>*>(m_hook.GetRoot());
  }

 protected:
  /// Watches `source` instead of the current event (null: watch nothing).
  void Attach(SCC_Event<int>* source);
  void Detach() { Attach(nullptr); }

 private:
  int Dispatch(int code, int* data);

  SCC_ObjectEventHook<SCC_Iterator, int> m_hook;
  SCC_Notifier m_changeEvent;
};
