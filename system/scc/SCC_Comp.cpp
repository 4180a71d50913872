// SCC_Comp.cpp - SCC_ComparatorBase, the base of the array's comparators.
#include "sccarray.h"
#include "ssmcheck.h"

SCC_ComparatorBase::~SCC_ComparatorBase() = default;

int SCC_ComparatorBase::Compare(const void* a, const void* b) {
  SSM_CHECK_EX(false, "SCC_ComparatorBase::Compare called.", "system/scc/SCC_Comp", 96,
               SSM_InternalError, 0);
  return 0;
}
