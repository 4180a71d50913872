// stack_test.cpp - SCC_Stack: order, pushing its own top, and the failed checks at its bottom.
#include "sccstack.h"

#include <gtest/gtest.h>

#include "failed_check.h"
#include "ssm.h"

TEST(StackTest, LastInFirstOutAndUnderflow) {
  SCC_Stack<SYS_String> stack;
  for (const char* s : {"a", "b", "c"}) stack.Push(SYS_String(s));
  stack.Push(stack.Top());  // an element of the stack itself, while it grows
  EXPECT_EQ(stack.Peek(3) + stack.GetArray()[1] + stack.Top(), SYS_String("abc"));
  EXPECT_TRUE(stack.Contains(SYS_String("b")) && !stack.Contains(SYS_String("d")));
  SCC_Stack<SYS_String> copy(stack);
  copy.Pop(), copy.Pop();
  SYS_String popped;
  for (auto* s : {&stack, &stack, &stack, &copy}) popped += s->Pop();
  EXPECT_EQ(popped, SYS_String("ccbb"));
  EXPECT_EQ(stack.GetCount() * 10 + copy.GetCount(), 11);
  // Without a manager the failed check goes on with a default value; with one it throws.
  SCC_Stack<long> longs;
  EXPECT_EQ(longs.Pop() + longs.Top(), 0);
  longs.Push(5);
  EXPECT_EQ(longs.Peek(1) + longs.Peek(-1) + longs.GetCount(), 1);
  SSM manager;
  for (long depth : {1, 7, -1, 0})  // 0: pops the last one, then underflows
    EXPECT_EQ(FailedLine("system/inc/sccstack", [&] { depth ? longs.Peek(depth) : (longs.Pop(), longs.Pop()); }),
              depth ? 122 : 98)
        << depth;
}
