// sccstack.h - SCC_Stack<T>, a last-in-first-out stack kept in an SCC_Array<T>.
#pragma once

#include "sccarray.h"
#include "ssmcheck.h"

/// A last-in-first-out stack of values. Push appends to the underlying array and
/// Pop removes its last element, so the array reads from the bottom (index 0) to the
/// top. Popping an empty stack and reading below the bottom are failed checks; when
/// the check lets the caller go on, they yield a value-initialised T.
template <class T>
class SCC_Stack {
 public:
  SCC_Stack() = default;

  /// Puts `value` on top.
  void Push(const T& value) { m_items.Add(value); }
  void Push(T&& value) { m_items.Add(static_cast<T&&>(value)); }

  /// Removes the top value and returns it.
  T Pop() {
    const long n = m_items.GetSize();
    SSM_CHECK(n > 0, "system/inc/sccstack", 98);
    if (n <= 0) return T{};
    T top(m_items.GetAt(n - 1));
    m_items.RemoveAt(n - 1);
    return top;
  }

  /// The value `depth` places below the top (0 is the top itself).
  const T& Peek(long depth = 0) const {
    const long n = m_items.GetSize();
    const bool inside = depth >= 0 && depth < n;
    SSM_CHECK_ID(inside, "system/inc/sccstack", 122, depth);
    return m_items.GetAt(inside ? n - 1 - depth : -1);  // -1 reads a default value
  }
  /// The top value.
  const T& Top() const { return Peek(0); }

  /// Number of values on the stack.
  long GetCount() const { return m_items.GetSize(); }
  /// 1 when the stack holds nothing.
  int IsEmpty() const { return m_items.GetSize() == 0; }
  /// 1 when some value on the stack equals `value`.
  int Contains(const T& value) const { return m_items.Find(value) >= 0; }
  /// Empties the stack.
  void RemoveAll() { m_items.RemoveAll(); }

  /// The values from the bottom (index 0) to the top.
  const SCC_Array<T>& GetArray() const { return m_items; }

 private:
  SCC_Array<T> m_items;
};
