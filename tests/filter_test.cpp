// filter_test.cpp - SYS_Filter: evaluation, short-circuiting and who owns the nodes built.
#include <gtest/gtest.h>

#include <functional>

#include "sysfilter.h"

namespace {

// A leaf answering a fixed function of the value, counting its calls and live instances.
class Leaf : public SYS_Filter {
 public:
  explicit Leaf(std::function<int(int)> answer) : m_answer(std::move(answer)) { ++live; }
  ~Leaf() override { --live; }
  int IsTrue(int v) override { return ++calls, m_answer(v); }
  int calls = 0;
  static inline int live = 0;

 private:
  std::function<int(int)> m_answer;
};

Leaf* Divisible(int k) {
  return new Leaf([k](int v) { return v % k == 0; });
}

class FilterTest : public ::testing::Test {
 protected:
  void SetUp() override { Leaf::live = 0; }
  void TearDown() override { EXPECT_EQ(Leaf::live, 0) << "a leaf leaked or was lost"; }
};

TEST_F(FilterTest, OperatorsAnswerAndShortCircuit) {
  SYS_Filter empty;
  EXPECT_EQ(empty.IsTrue(7) * 10 + (!empty).IsTrue(7), 1);
  Leaf same([](int v) { return v; });
  SYS_Filter& notSame = !same;  // a negative answer counts as false
  EXPECT_EQ(notSame.IsTrue(-3) * 100 + notSame.IsTrue(0) * 10 + notSame.IsTrue(2), 110);

  Leaf no([](int) { return 0; }), yes([](int) { return 5; }), right([](int) { return -1; });
  // Any non-zero answer becomes 1; the right operand is asked only when it decides.
  EXPECT_EQ((no & right).IsTrue(1) * 10 + right.calls, 0);
  EXPECT_EQ((yes & right).IsTrue(1) * 10 + right.calls, 11);
  EXPECT_EQ((yes | right).IsTrue(1) * 10 + right.calls, 11);
  EXPECT_EQ((no | right).IsTrue(1) * 10 + right.calls, 12);
  EXPECT_EQ((no | no).IsTrue(1), 0);

  // The same formula over stack leaves and over shared heap leaves.
  Leaf even([](int v) { return v % 2 == 0; }), pos([](int v) { return v > 0; }), small([](int v) { return v < 10; });
  SCC_SharedPointer<SYS_Filter> a(Divisible(2)), b(new Leaf([](int v) { return v > 0; })), c(new Leaf([](int v) { return v < 10; }));
  SYS_Filter &onStack = (even & pos) | !small, &onHeap = (*a & *b) | !*c;
  for (auto [v, answer] : {std::pair{4, 1}, {3, 0}, {-2, 0}, {12, 1}, {11, 1}, {0, 0}})
    EXPECT_EQ(onStack.IsTrue(v) * 10 + onHeap.IsTrue(v), answer * 11) << v;
}

TEST_F(FilterTest, NodesLiveAsLongAsSomeoneHoldsThem) {
  SCC_SharedPointer<SYS_Filter> expr;
  {
    SCC_SharedPointer<SYS_Filter> a(Divisible(2)), b(Divisible(3)), c(Divisible(5));
    expr = &((*a & *b) | !*c);
  }
  EXPECT_EQ(expr->IsTrue(6) * 100 + expr->IsTrue(4) * 10 + expr->IsTrue(5), 110) << "it keeps its operands";
  expr.Reset();
  EXPECT_EQ(Leaf::live, 0);

  // A second combination on the same builder releases the first, which we still hold.
  SCC_SharedPointer<SYS_Filter> a(Divisible(2)), b(Divisible(3)), c(Divisible(5));
  SCC_SharedPointer<SYS_Filter> first(&(*a & *b));
  EXPECT_EQ(first->GetRefCount(), 2);
  EXPECT_EQ(a->GetResult(), &(*a | *c));
  EXPECT_EQ(first->GetRefCount(), 1);
  EXPECT_EQ(first->IsTrue(6) * 10 + first->IsTrue(2), 10);

  // A stack operand destroyed first answers as absent.
  {
    Leaf always([](int) { return 1; });
    expr = &(*a & always);
    EXPECT_EQ(expr->IsTrue(0), 1);
  }
  EXPECT_EQ(expr->IsTrue(0) + (expr->GetRight() != nullptr), 0);

  // Right operands that reach the builder, or are the builder, close no leaking cycle.
  SYS_Filter& ab = *a & *b;
  SYS_Filter& abOrA = ab | *a;
  EXPECT_EQ(abOrA.IsTrue(-2) * 10 + abOrA.IsTrue(3), 10);
  EXPECT_EQ((*b & *b).IsTrue(3), 1);

  // Initialize turns a node built on `a` into a pass-through of `a`, which it keeps.
  SCC_SharedPointer<SYS_Filter> pass(&!*c);
  pass->Initialize(c);
  EXPECT_EQ(pass->GetTest(), &SYS_Filter::Equ_F);
  c.Reset();
  a.Reset();
  EXPECT_EQ(pass->IsTrue(10) * 10 + pass->IsTrue(3), 10);
  expr.Reset();
  first.Reset();
  EXPECT_EQ(Leaf::live, 2);  // b and c
}

TEST_F(FilterTest, AssignmentAndCopyKeepTheResult) {
  SCC_SharedPointer<SYS_Filter> a(Divisible(2)), b(Divisible(3)), c(Divisible(5));
  SYS_Filter x(a, b, SYS_Filter::And_F);
  SYS_Filter& built = !x;
  SYS_Filter y(b, c, SYS_Filter::Or_F);
  x = y;
  SYS_Filter& same = x;
  x = same;
  EXPECT_EQ(x.GetLeft(), b.Get());
  EXPECT_EQ(x.GetRight(), c.Get());
  EXPECT_EQ(x.GetResult(), &built);
  EXPECT_EQ(x.IsTrue(5) * 10 + built.IsTrue(5), 10);
  SYS_Filter copy(x);
  EXPECT_EQ(copy.GetResult(), &built);
  EXPECT_EQ(copy.IsTrue(9) * 10 + copy.IsTrue(7), 10);

  SYS_Filter pass;
  (void)!pass;
  pass.Initialize(a);
  EXPECT_EQ(pass.GetResult(), nullptr);
  EXPECT_EQ(pass.IsTrue(2) * 10 + pass.IsTrue(3), 10);
}

}  // namespace
