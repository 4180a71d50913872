// shared_test.cpp - tests of SCC_SharedBuffer and SCC_SharedPointer.
#include <gtest/gtest.h>

#include <utility>

#include "sccshared.h"

namespace {

struct Counted : SCC_SharedBuffer {
  static int live;
  int value;
  explicit Counted(int v = 0) : value(v) { ++live; }
  Counted(const Counted& o) : SCC_SharedBuffer(o), value(o.value) { ++live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() override { --live; }
};
int Counted::live = 0;

struct Derived : Counted {
  using Counted::Counted;
};

TEST(SharedTest, CountStartsAtZeroAndIsNeverCopied) {
  Counted a(1);
  EXPECT_EQ(a.GetRefCount(), 0);
  a.Ref();
  a.Ref();
  Counted b(a);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(b.GetRefCount(), 0);
  Counted c(3);
  c.Ref();
  c = a;
  EXPECT_EQ(c.GetRefCount(), 1);
  EXPECT_EQ(c.value, 1);
  EXPECT_EQ(a.GetRefCount(), 2);
}

TEST(SharedTest, LastPointerDeletesThroughTheVirtualDestructor) {
  ASSERT_EQ(Counted::live, 0);
  {
    SCC_SharedPointer<Counted> p(new Derived(5));
    EXPECT_EQ(p->GetRefCount(), 1);
    SCC_SharedPointer<Counted> q = p;
    EXPECT_EQ(p->GetRefCount(), 2);
    SCC_SharedPointer<Counted> m(std::move(q));
    // A moved-from pointer is null, by design.
    EXPECT_EQ(q.Get(), nullptr);  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_EQ(m->GetRefCount(), 2);
    p.Reset();
    EXPECT_EQ(Counted::live, 1);
    EXPECT_EQ((*m).value, 5);
  }
  EXPECT_EQ(Counted::live, 0);

  // Reassignment releases the old object; resetting to the same object keeps it alive.
  SCC_SharedPointer<Counted> p(new Counted(1));
  p = new Counted(2);
  EXPECT_EQ(Counted::live, 1);
  Counted* raw = p;
  p.Reset(raw);
  SCC_SharedPointer<Counted>& alias = p;
  p = alias;
  SCC_SharedPointer<Counted> other;
  other = std::move(p);
  SCC_SharedPointer<Counted>& self = other;
  other = std::move(self);
  EXPECT_EQ(Counted::live, 1);
  EXPECT_EQ(other->value, 2);
  EXPECT_EQ(raw->GetRefCount(), 1);

  // An upcast shares the same count.
  SCC_SharedPointer<Derived> d(new Derived(7));
  SCC_SharedPointer<SCC_SharedBuffer> base(d);
  EXPECT_EQ(d->GetRefCount(), 2);
  d = nullptr;
  EXPECT_EQ(Counted::live, 2);
  base.Reset();
  other.Reset();
  EXPECT_EQ(Counted::live, 0);
  EXPECT_FALSE(other);
}

TEST(SharedTest, ObjectWithoutOwnersIsDeletedByTheFirstRelease) {
  // A manual Ref/Deref pair on a heap object deletes it; a Deref below zero does not.
  auto* c = new Counted;
  c->Ref();
  c->Deref();
  EXPECT_EQ(Counted::live, 0);
  Counted stack;
  stack.Deref();  // count -1: not deleted
  EXPECT_EQ(stack.GetRefCount(), -1);
  EXPECT_EQ(Counted::live, 1);
}

}  // namespace
