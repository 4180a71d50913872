// sysfilter.h - SYS_Filter: shared predicates over an integer value, combined with
// "and", "or" and "not" into expression trees.
#pragma once

#include <vector>

#include "brixexport.h"
#include "sccshared.h"

/// A reference-counted predicate over an integer value (a handle, a type code...).
/// Leaf filters are classes derived by the host that override IsTrue; the library
/// supplies the combination nodes built by `&`, `|` and `!` and their evaluation.
///
/// Ownership. A combination node is owned by the result slot of the filter that built
/// it (the left operand of `a & b` and `a | b`, the operand of `!a`): building another
/// combination from the same filter releases the previous node unless something else
/// still holds it. A node holds its operands too, so an expression such as
/// `(a & b) | !c` stays alive as long as the filters it was built from, and a node
/// that you keep in an SCC_SharedPointer keeps its operands alive.
///
/// Two rules make this safe for filters on the heap and on the stack alike:
/// - A filter that is referenced while no SCC_SharedPointer holds it (a filter on the
///   stack, or a member of another object) is taken to be owned by its scope: it gets
///   one permanent reference standing for that owner, so the library never deletes it.
///   Such a filter must outlive the expressions built on it; when it is destroyed first,
///   the nodes that still refer to it see it as absent (an absent operand answers 0).
///   Put a heap filter into an SCC_SharedPointer before you build with it.
/// - A node and the filter that built it hold each other (the node needs its builder as
///   left operand, the builder keeps its node in its result slot). Releasing a filter
///   through an SCC_SharedPointer<SYS_Filter> (or of a derived type) checks for such a
///   chain of builders and nodes that nothing outside the chain holds any more, and
///   deletes it: no expression leaks. A right operand that already reaches its builder
///   through owned links is referred to without a reference, so no other cycle forms.
///
/// Not thread-safe: a filter and its expressions belong to one thread.
class BRIX_API SYS_Filter : public SCC_SharedBuffer {
 public:
  using TestFunction = int (*)(const SCC_SharedPointer<SYS_Filter>& node, int value);

  /// A leaf: no test function, no operands, no result. Answers 0 unless derived.
  SYS_Filter() noexcept;
  /// A combination node over `left` and `right` evaluated by `test`.
  SYS_Filter(const SCC_SharedPointer<SYS_Filter>& left, const SCC_SharedPointer<SYS_Filter>& right,
             TestFunction test);
  /// Copies the test function and refers to the same left, right and result.
  SYS_Filter(const SYS_Filter& other);
  /// Releases result, right and left, in that order.
  ~SYS_Filter() override;

  /// Replaces left, right and the test function; the result slot is kept.
  SYS_Filter& operator=(const SYS_Filter& other);

  /// The answer for `v`: the test function's, called with a shared pointer to this
  /// node, when one is set; otherwise 0.
  virtual int IsTrue(int v);

  /// Builds `*this and f` (f is not asked when this filter answers 0), keeps it in this
  /// filter's result slot and returns it.
  SYS_Filter& operator&(SYS_Filter& f);
  /// Builds `*this or f` (f is not asked when this filter answers non-zero).
  SYS_Filter& operator|(SYS_Filter& f);
  /// Builds `not *this` (true when this filter answers 0 or less).
  SYS_Filter& operator!();

  /// Makes this filter a pass-through of `f`: left = f, no right, test Equ_F, no result.
  void Initialize(const SCC_SharedPointer<SYS_Filter>& f);

  static int And_F(const SCC_SharedPointer<SYS_Filter>& n, int v);
  static int Or_F(const SCC_SharedPointer<SYS_Filter>& n, int v);
  static int Not_F(const SCC_SharedPointer<SYS_Filter>& n, int v);
  static int Equ_F(const SCC_SharedPointer<SYS_Filter>& n, int v);

  SYS_Filter* GetLeft() const noexcept { return m_left.ptr; }
  SYS_Filter* GetRight() const noexcept { return m_right.ptr; }
  SYS_Filter* GetResult() const noexcept { return m_result.ptr; }
  TestFunction GetTest() const noexcept { return m_test; }

  /// Drops one owner (hides SCC_SharedBuffer::Deref so that SCC_SharedPointer of
  /// filters also collects builder/node chains that nothing else holds).
  void Deref() const;

 private:
  // A reference to another filter: owning (one reference taken) or borrowed.
  struct Link {
    SYS_Filter* ptr = nullptr;
    bool owned = false;
  };

  void SetLink(Link& link, SYS_Filter* target, bool mayOwn, bool adopt = false);
  void ReleaseLink(Link& link);
  void Drop(Link old);
  bool MayOwn(const SYS_Filter* target) const;
  SYS_Filter& Build(SYS_Filter* right, TestFunction test);
  void Pin() const;
  bool Reaches(const SYS_Filter* target) const;
  bool HoldsBuilderBackLink() const;
  void CollectChainIfUnreachable();
  static int Answer(SYS_Filter* f, int v);

  TestFunction m_test;
  Link m_left;
  Link m_right;
  Link m_result;
  std::vector<SYS_Filter*> m_referrers;  // filters whose links point here, one entry per link
};
