// sccshared.h - SCC_SharedBuffer and SCC_SharedPointer<T>: intrusive reference counting for
// the library's shared objects (comparators, convertors, properties, filters).
#pragma once

#include <cstdint>
#include <utility>

#include "brixexport.h"

/// Base of every reference-counted object. The count starts at 0 and is owned by the
/// SCC_SharedPointer objects that hold this object: the last one to let go deletes it
/// through the virtual destructor.
///
/// The count is a plain integer, not an atomic: a shared object and every pointer to it
/// belong to one thread. Copying or assigning an object never copies its count, so a copy
/// starts unowned (count 0) and an assigned object keeps its own owners.
class BRIX_API SCC_SharedBuffer {
 public:
  SCC_SharedBuffer() noexcept : m_refCount(0) {}
  SCC_SharedBuffer(const SCC_SharedBuffer&) noexcept : m_refCount(0) {}
  SCC_SharedBuffer& operator=(const SCC_SharedBuffer&) noexcept { return *this; }
  virtual ~SCC_SharedBuffer();

  /// Adds one owner.
  void Ref() const noexcept { ++m_refCount; }
  /// Drops one owner; deletes the object when the count comes down to exactly 0.
  void Deref() const {
    if (--m_refCount == 0) delete this;
  }
  /// The number of owners.
  long GetRefCount() const noexcept { return m_refCount; }

 private:
  mutable std::int32_t m_refCount;
};

/// Owning pointer to a shared object: holds one reference for as long as it points at it.
/// T must derive from SCC_SharedBuffer (or offer Ref/Deref with the same meaning).
template <class T>
class SCC_SharedPointer {
 public:
  SCC_SharedPointer() noexcept : m_ptr(nullptr) {}
  SCC_SharedPointer(T* ptr) noexcept : m_ptr(ptr) {  // NOLINT: implicit by design
    if (m_ptr) m_ptr->Ref();
  }
  SCC_SharedPointer(const SCC_SharedPointer& other) noexcept : SCC_SharedPointer(other.m_ptr) {}
  SCC_SharedPointer(SCC_SharedPointer&& other) noexcept : m_ptr(other.m_ptr) {
    other.m_ptr = nullptr;
  }
  template <class U>
  SCC_SharedPointer(const SCC_SharedPointer<U>& other) noexcept  // NOLINT: upcast
      : SCC_SharedPointer(other.Get()) {}
  ~SCC_SharedPointer() {
    if (m_ptr) m_ptr->Deref();
  }

  SCC_SharedPointer& operator=(const SCC_SharedPointer& other) {
    if (this != &other) Reset(other.m_ptr);
    return *this;
  }
  SCC_SharedPointer& operator=(SCC_SharedPointer&& other) noexcept {
    if (this != &other) {
      T* old = m_ptr;
      m_ptr = other.m_ptr;
      other.m_ptr = nullptr;
      if (old) old->Deref();
    }
    return *this;
  }
  SCC_SharedPointer& operator=(T* ptr) {
    Reset(ptr);
    return *this;
  }

  /// Points at `ptr` (taking a reference) and releases the previous object. The new
  /// reference is taken first, so resetting to the object already held is safe.
  void Reset(T* ptr = nullptr) {
    if (ptr) ptr->Ref();
    T* old = m_ptr;
    m_ptr = ptr;
    if (old) old->Deref();
  }

  T* Get() const noexcept { return m_ptr; }
  T* operator->() const noexcept { return m_ptr; }
  T& operator*() const noexcept { return *m_ptr; }
  operator T*() const noexcept { return m_ptr; }  // NOLINT: reads like a plain pointer

 private:
  T* m_ptr;
};
