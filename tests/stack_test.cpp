// stack_test.cpp - SCC_Stack: order, peeking and the failed checks at its bottom.
#include "sccstack.h"

#include <gtest/gtest.h>

#include "ssm.h"

TEST(StackTest, LastInFirstOut) {
  SCC_Stack<SYS_String> stack;
  EXPECT_TRUE(stack.IsEmpty());
  for (const char* s : {"a", "b", "c"}) stack.Push(SYS_String(s));
  EXPECT_EQ(stack.GetCount(), 3);
  EXPECT_EQ(stack.Top(), SYS_String("c"));
  EXPECT_EQ(stack.Peek(2), SYS_String("a"));
  EXPECT_EQ(stack.GetArray()[0], SYS_String("a"));  // bottom first
  EXPECT_TRUE(stack.Contains(SYS_String("b")));
  EXPECT_FALSE(stack.Contains(SYS_String("d")));
  EXPECT_EQ(stack.Pop(), SYS_String("c"));
  EXPECT_EQ(stack.Pop(), SYS_String("b"));
  stack.Push(SYS_String("x"));
  EXPECT_EQ(stack.Pop(), SYS_String("x"));
  EXPECT_EQ(stack.Pop(), SYS_String("a"));
  EXPECT_TRUE(stack.IsEmpty());
  stack.Push(SYS_String("y"));
  stack.RemoveAll();
  EXPECT_EQ(stack.GetCount(), 0);
}

TEST(StackTest, CopiesAreIndependent) {
  SCC_Stack<long> a;
  a.Push(1);
  a.Push(2);
  SCC_Stack<long> b(a);
  b.Pop();
  b.Push(3);
  EXPECT_EQ(a.Top(), 2);
  EXPECT_EQ(b.Top(), 3);
  EXPECT_EQ(a.GetCount(), 2);
}

TEST(StackTest, UnderflowWithoutManagerGoesOn) {
  SCC_Stack<long> stack;
  EXPECT_EQ(stack.Pop(), 0);
  EXPECT_EQ(stack.Top(), 0);
  stack.Push(5);
  EXPECT_EQ(stack.Peek(1), 0);
  EXPECT_EQ(stack.Peek(-1), 0);
  EXPECT_EQ(stack.GetCount(), 1);
}

TEST(StackTest, UnderflowIsReportedAtItsSites) {
  SSM manager;
  SCC_Stack<long> stack;
  try {
    stack.Pop();
    FAIL() << "no throw";
  } catch (SSM::AssertData* d) {
    EXPECT_EQ(d->fileName, SYS_String("system/inc/sccstack"));
    EXPECT_EQ(d->line, 98);
  }
  stack.Push(1);
  stack.Push(2);
  const long depths[] = {2, 7, -1};
  for (long depth : depths) {
    try {
      stack.Peek(depth);
      FAIL() << "no throw for " << depth;
    } catch (SSM::AssertData* d) {
      EXPECT_EQ(d->line, 122);
      EXPECT_EQ(d->id, 2);  // the first failure named the record
    }
  }
  EXPECT_EQ(manager.FindSite("system/inc/sccstack", 122)->count, 3);
  EXPECT_EQ(stack.Peek(1), 1);
}
