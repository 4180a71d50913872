// array_test.cpp - tests of SCC_Array, its comparator sort, search, iterators and SYS_QSort.
#include <gtest/gtest.h>

#include "sccarray.h"

TEST(ArrayTest, InsertDeleteAccess) {
  SCC_Array<int> a;
  for (int i = 0; i < 100; ++i) a.Add(i);
  ASSERT_EQ(a.GetCount(), 100);
  a.Delete(10, 20);
  EXPECT_EQ(a.GetCount(), 80);
  EXPECT_EQ(a[10], 30);
  a.Insert(0, 2);
  EXPECT_EQ(a[0], 0);
  EXPECT_EQ(a[2], 0);
  EXPECT_EQ(a[3], 1);
  SCC_Array<int> b(a);
  b[0] = 7;
  EXPECT_EQ(a[0], 0);
  EXPECT_EQ(b[0], 7);
}
