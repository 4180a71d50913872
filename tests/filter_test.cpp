// filter_test.cpp - tests of SYS_Filter: evaluation, short-circuiting and ownership.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "sysfilter.h"

namespace {

// A leaf answering a fixed function of the value, counting its calls and live instances.
class Leaf : public SYS_Filter {
 public:
  explicit Leaf(std::function<int(int)> answer = [](int) { return 0; })
      : m_answer(std::move(answer)) {
    ++live;
  }
  Leaf(const Leaf& other) : SYS_Filter(other), m_answer(other.m_answer) { ++live; }
  ~Leaf() override { --live; }
  int IsTrue(int v) override {
    ++calls;
    return m_answer(v);
  }
  int calls = 0;
  static inline int live = 0;

 private:
  std::function<int(int)> m_answer;
};

Leaf* Even() {
  return new Leaf([](int v) { return v % 2 == 0; });
}
Leaf* Positive() {
  return new Leaf([](int v) { return v > 0; });
}
Leaf* Small() {
  return new Leaf([](int v) { return v < 10; });
}

class FilterTest : public ::testing::Test {
 protected:
  void SetUp() override { Leaf::live = 0; }
  void TearDown() override { EXPECT_EQ(Leaf::live, 0) << "a leaf leaked or was lost"; }
};

TEST_F(FilterTest, LeafAndNotOfDefaultFilter) {
  SYS_Filter f;
  for (int v : {-5, 0, 7}) EXPECT_EQ(f.IsTrue(v), 0);
  SYS_Filter& n = !f;
  for (int v : {-5, 0, 7}) EXPECT_EQ(n.IsTrue(v), 1);
}

TEST_F(FilterTest, NotTreatsNegativeAnswersAsFalse) {
  Leaf a([](int v) { return v; });
  SYS_Filter& n = !a;
  EXPECT_EQ(n.IsTrue(-3), 1);
  EXPECT_EQ(n.IsTrue(0), 1);
  EXPECT_EQ(n.IsTrue(2), 0);
}

TEST_F(FilterTest, AndAndOrShortCircuit) {
  Leaf no([](int) { return 0; });
  Leaf yes([](int) { return 5; });
  Leaf right([](int) { return 1; });

  EXPECT_EQ((no & right).IsTrue(1), 0);
  EXPECT_EQ(right.calls, 0);
  EXPECT_EQ((yes & right).IsTrue(1), 1);  // a non-zero answer becomes 1
  EXPECT_EQ(right.calls, 1);

  EXPECT_EQ((yes | right).IsTrue(1), 1);
  EXPECT_EQ(right.calls, 1);
  EXPECT_EQ((no | right).IsTrue(1), 1);
  EXPECT_EQ(right.calls, 2);
}

TEST_F(FilterTest, ExpressionOfStackFiltersEvaluatesAndCleansUp) {
  Leaf a([](int v) { return v % 2 == 0; });
  Leaf b([](int v) { return v > 0; });
  Leaf c([](int v) { return v < 10; });
  SYS_Filter& e = (a & b) | !c;
  const int expected[][2] = {{4, 1}, {3, 0}, {-2, 0}, {12, 1}, {11, 1}, {0, 0}};
  for (const auto& [v, answer] : expected) EXPECT_EQ(e.IsTrue(v), answer) << "v=" << v;
}

TEST_F(FilterTest, ExpressionOfHeapFiltersIsReleasedWithThem) {
  SCC_SharedPointer<SYS_Filter> a(Even()), b(Positive()), c(Small());
  SYS_Filter& e = (*a & *b) | !*c;
  EXPECT_EQ(e.IsTrue(4), 1);
  EXPECT_EQ(e.IsTrue(3), 0);
  EXPECT_EQ(e.IsTrue(11), 1);
  EXPECT_EQ(Leaf::live, 3);
}

TEST_F(FilterTest, HeldExpressionKeepsItsOperandsAlive) {
  SCC_SharedPointer<SYS_Filter> expr;
  {
    SCC_SharedPointer<SYS_Filter> a(Even()), b(Positive()), c(Small());
    expr = &((*a & *b) | !*c);
  }
  EXPECT_EQ(Leaf::live, 3);
  EXPECT_EQ(expr->IsTrue(4), 1);
  EXPECT_EQ(expr->IsTrue(-4), 0);
  EXPECT_EQ(expr->IsTrue(15), 1);
  expr.Reset();
  EXPECT_EQ(Leaf::live, 0);
}

TEST_F(FilterTest, SecondCombinationReleasesTheFirst) {
  SCC_SharedPointer<SYS_Filter> a(Even()), b(Positive()), c(Small());
  SCC_SharedPointer<SYS_Filter> first(&(*a & *b));
  EXPECT_EQ(first->GetRefCount(), 2);  // a's result slot and ours
  SYS_Filter& second = *a | *c;
  EXPECT_EQ(a->GetResult(), &second);
  EXPECT_EQ(first->GetRefCount(), 1);  // only ours now
  EXPECT_EQ(first->IsTrue(2), 1);
}

TEST_F(FilterTest, StackOperandDestroyedFirstAnswersAsAbsent) {
  SCC_SharedPointer<SYS_Filter> a(new Leaf([](int) { return 1; }));
  SCC_SharedPointer<SYS_Filter> expr;
  {
    Leaf b([](int) { return 1; });
    expr = &(*a & b);
    EXPECT_EQ(expr->IsTrue(0), 1);
  }
  EXPECT_EQ(expr->GetRight(), nullptr);
  EXPECT_EQ(expr->IsTrue(0), 0);
}

TEST_F(FilterTest, SelfReferringExpressionsDoNotLeak) {
  SCC_SharedPointer<SYS_Filter> a(Even()), b(Positive());
  SYS_Filter& ab = *a & *b;
  SYS_Filter& e = ab | *a;  // the right operand reaches the builder
  EXPECT_EQ(e.IsTrue(-2), 1);
  EXPECT_EQ(e.IsTrue(3), 0);
  SYS_Filter& same = *b & *b;
  EXPECT_EQ(same.IsTrue(1), 1);
}

TEST_F(FilterTest, InitializeMakesAPassThrough) {
  SCC_SharedPointer<SYS_Filter> a(Even());
  SYS_Filter pass;
  SYS_Filter& old = !pass;
  (void)old;
  pass.Initialize(a);
  EXPECT_EQ(pass.GetResult(), nullptr);
  EXPECT_EQ(pass.GetTest(), &SYS_Filter::Equ_F);
  EXPECT_EQ(pass.IsTrue(2), 1);
  EXPECT_EQ(pass.IsTrue(3), 0);
}

TEST_F(FilterTest, AssignmentReplacesOperandsButKeepsResult) {
  SCC_SharedPointer<SYS_Filter> a(Even()), b(Positive()), c(Small());
  SYS_Filter x(a, b, SYS_Filter::And_F);
  SYS_Filter& built = !x;
  SYS_Filter y(b, c, SYS_Filter::Or_F);
  x = y;
  EXPECT_EQ(x.GetLeft(), b.Get());
  EXPECT_EQ(x.GetRight(), c.Get());
  EXPECT_EQ(x.GetResult(), &built);
  EXPECT_EQ(x.IsTrue(-20), 1);  // -20 < 10
  EXPECT_EQ(built.IsTrue(-20), 0);

  SYS_Filter copy(x);
  EXPECT_EQ(copy.GetLeft(), b.Get());
  EXPECT_EQ(copy.GetResult(), &built);
  EXPECT_EQ(copy.IsTrue(50), 1);
}

// Random expressions over heap leaves evaluate like the formula they were built from,
// and everything is released afterwards.
TEST_F(FilterTest, RandomExpressionsMatchTheirFormula) {
  std::mt19937 rng(7);
  for (int round = 0; round < 200; ++round) {
    struct Term {
      SCC_SharedPointer<SYS_Filter> holder;  // keeps leaves (and some nodes) alive
      SYS_Filter* filter;
      std::function<bool(int)> model;
    };
    std::vector<Term> terms;
    for (int i = 0; i < 4; ++i) {
      const int k = static_cast<int>(rng() % 5) + 2;
      auto* leaf = new Leaf([k](int v) { return v % k == 0 ? 1 : 0; });
      terms.push_back(
          {SCC_SharedPointer<SYS_Filter>(leaf), leaf, [k](int v) { return v % k == 0; }});
    }
    for (int step = 0; step < 6; ++step) {
      Term& x = terms[rng() % terms.size()];
      Term& y = terms[rng() % terms.size()];
      Term made;
      switch (rng() % 3) {
        case 0: {
          auto mx = x.model, my = y.model;
          made.filter = &(*x.filter & *y.filter);
          made.model = [mx, my](int v) { return mx(v) && my(v); };
          break;
        }
        case 1: {
          auto mx = x.model, my = y.model;
          made.filter = &(*x.filter | *y.filter);
          made.model = [mx, my](int v) { return mx(v) || my(v); };
          break;
        }
        default: {
          auto mx = x.model;
          made.filter = &!*x.filter;
          made.model = [mx](int v) { return !mx(v); };
          break;
        }
      }
      // A node is only guaranteed while its builder keeps it: hold it ourselves.
      made.holder = made.filter;
      terms.push_back(made);
    }
    for (const Term& t : terms)
      for (int v = -12; v <= 12; ++v) ASSERT_EQ(t.filter->IsTrue(v) != 0, t.model(v)) << v;
  }
}

}  // namespace
