// shared_test.cpp - SCC_SharedBuffer and SCC_SharedPointer.
#include <gtest/gtest.h>

#include <utility>

#include "sccshared.h"

namespace {

struct Counted : SCC_SharedBuffer {
  static inline int live = 0;
  int value;
  explicit Counted(int v = 0) : value(v) { ++live; }
  Counted(const Counted& o) : SCC_SharedBuffer(o), value(o.value) { ++live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() override { --live; }
};
struct Derived : Counted {
  using Counted::Counted;
};

TEST(SharedTest, CountsAreNeverCopiedAndTheLastOwnerDeletes) {
  Counted a(1), c(3);
  a.Ref(), a.Ref(), c.Ref();
  Counted b(a);  // NOLINT(performance-unnecessary-copy-initialization)
  c = a;
  EXPECT_EQ(b.GetRefCount() * 100 + c.GetRefCount() * 10 + a.GetRefCount(), 12);
  ASSERT_EQ(Counted::live, 3);
  {
    SCC_SharedPointer<Counted> p(new Derived(5)), q = p;
    SCC_SharedPointer<Counted> m(std::move(q));
    EXPECT_EQ(q.Get(), nullptr);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_EQ(m->GetRefCount(), 2);
    p = m;  // assigning the same object keeps it alive
    m.Reset();
    EXPECT_EQ(p->value * 10 + Counted::live, 54);
  }
  EXPECT_EQ(Counted::live, 3);  // deleted through the virtual destructor
  SCC_SharedPointer<Derived> d(new Derived(7));
  SCC_SharedPointer<SCC_SharedBuffer> base(d);  // an upcast shares the count
  SCC_SharedPointer<SCC_SharedBuffer>& self = base;
  base = std::move(self);
  d = nullptr;
  EXPECT_EQ(base->GetRefCount() * 10 + Counted::live, 14);
  base.Reset();
  EXPECT_EQ(Counted::live, 3);
  auto* heap = new Counted;  // a manual Ref/Deref pair deletes a heap object
  heap->Ref();
  heap->Deref();
  b.Deref();  // below zero: not deleted
  EXPECT_EQ(b.GetRefCount() * 10 + Counted::live, -7);
}

}  // namespace
