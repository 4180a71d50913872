// SYS_QSort.cpp - quicksort of raw memory with a caller's compare function.
#include <cstdint>
#include <cstring>

#include "scc/sccsort.h"
#include "sccarray.h"

namespace {

using CompareFn = int (*)(const void*, const void*);

// Exchanges two elements four bytes at a time, then byte by byte.
inline void SwapBytes(char* a, char* b, unsigned int width) {
  if (a == b) return;
  while (width >= 4) {
    std::uint32_t ta, tb;
    std::memcpy(&ta, a, 4);
    std::memcpy(&tb, b, 4);
    std::memcpy(a, &tb, 4);
    std::memcpy(b, &ta, 4);
    a += 4;
    b += 4;
    width -= 4;
  }
  while (width--) {
    const char t = *a;
    *a++ = *b;
    *b++ = t;
  }
}

// The raw-memory side of the shared quicksort: positions are byte pointers, so the inner
// loops step by the width instead of multiplying indexes.
struct RawSortOps {
  using Pos = char*;
  static constexpr bool kSkipEqualPivotSwaps = false;
  unsigned int width;
  CompareFn compare;
  char* Next(char* p) const { return p + width; }
  char* Prev(char* p) const { return p - width; }
  char* Advance(char* p, long k) const { return p + static_cast<std::size_t>(k) * width; }
  long Count(char* lo, char* hi) const { return static_cast<long>((hi - lo) / width) + 1; }
  int Compare(char* a, char* b) const { return compare(a, b); }
  void Swap(char* a, char* b) const { SwapBytes(a, b, width); }
  void ShortSort(char* lo, char* hi) { brix::sort::SelectionSort(lo, hi, *this); }
};

}  // namespace

void SYS_QSort(void* base, unsigned int num, unsigned int width, CompareFn compare) {
  if (num < 2 || width == 0 || !base || !compare) return;
  RawSortOps ops{width, compare};
  char* lo = static_cast<char*>(base);
  brix::sort::QuickSort(lo, lo + static_cast<std::size_t>(width) * (num - 1), ops);
}
