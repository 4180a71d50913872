// shared_test.cpp - SCC_SharedBuffer and SCC_SharedPointer.
#include <gtest/gtest.h>

#include <utility>

#include "sccshared.h"

namespace {

struct Counted : SCC_SharedBuffer {
  static inline int live = 0;
  Counted() { ++live; }
  Counted(const Counted& o) : SCC_SharedBuffer(o) { ++live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() override { --live; }
};

TEST(SharedTest, CountsAreNeverCopiedAndTheLastOwnerDeletes) {
  Counted a, c;
  a.Ref(), a.Ref(), c.Ref();
  Counted b(a);  // NOLINT(performance-unnecessary-copy-initialization)
  c = a;
  EXPECT_EQ(b.GetRefCount() * 100 + c.GetRefCount() * 10 + a.GetRefCount(), 12);
  {
    struct Derived : Counted {};
    SCC_SharedPointer<Counted> p(new Derived), q = p, m(std::move(q));
    EXPECT_EQ(q.Get(), nullptr);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    SCC_SharedPointer<SCC_SharedBuffer> base(m);  // an upcast shares the count
    auto& self = base;                            // the same object again keeps it alive
    p = m, base = std::move(self), m.Reset();
    EXPECT_EQ(p->GetRefCount() * 10 + Counted::live, 24);
  }
  EXPECT_EQ(Counted::live, 3);  // deleted through the virtual destructor
  auto* heap = new Counted;     // below zero a release does not delete; reaching zero does
  heap->Deref();
  EXPECT_EQ(heap->GetRefCount() * 10 + Counted::live, -6);
  heap->Ref(), heap->Ref(), heap->Deref();
  EXPECT_EQ(Counted::live, 3);
}

}  // namespace
