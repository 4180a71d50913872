// SYS_QSort.cpp - quicksort of raw memory with a caller's compare function.
#include <cstdint>
#include <cstring>

#include "sccarray.h"

namespace {

constexpr unsigned int kCutoff = 8;
constexpr int kStackSize = 30;

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

// Selection sort of [lo, hi]; among equal maxima the last one is taken.
void ShortSort(char* lo, char* hi, unsigned int width, CompareFn compare) {
  for (; hi > lo; hi -= width) {
    char* max = lo;
    for (char* p = lo + width; p <= hi; p += width)
      if (compare(p, max) >= 0) max = p;
    if (max != hi) SwapBytes(max, hi, width);
  }
}

}  // namespace

void SYS_QSort(void* base, unsigned int num, unsigned int width, CompareFn compare) {
  if (num < 2 || width == 0 || !base || !compare) return;
  char* loStack[kStackSize];
  char* hiStack[kStackSize];
  int sp = 0;
  char* lo = static_cast<char*>(base);
  char* hi = lo + static_cast<std::size_t>(width) * (num - 1);
  for (;;) {
    const std::size_t n = static_cast<std::size_t>(hi - lo) / width + 1;
    if (n <= kCutoff) {
      ShortSort(lo, hi, width, compare);
    } else {
      // Unlike the array's sort, both pivot swaps happen without an equality test.
      char* mid = lo + (n / 2) * width;
      SwapBytes(mid, lo, width);
      char* up = lo;
      char* down = hi + width;
      for (;;) {
        do {
          up += width;
        } while (up <= hi && compare(up, lo) <= 0);
        do {
          down -= width;
        } while (down > lo && compare(down, lo) >= 0);
        if (down < up) break;
        SwapBytes(up, down, width);
      }
      SwapBytes(lo, down, width);
      if ((down - lo) - static_cast<std::ptrdiff_t>(width) >= hi - up) {
        if (lo + width < down && sp < kStackSize) {
          loStack[sp] = lo;
          hiStack[sp] = down - width;
          ++sp;
        }
        if (up < hi) {
          lo = up;
          continue;
        }
      } else {
        if (up < hi && sp < kStackSize) {
          loStack[sp] = up;
          hiStack[sp] = hi;
          ++sp;
        }
        if (lo + width < down) {
          hi = down - width;
          continue;
        }
      }
    }
    if (sp == 0) break;
    --sp;
    lo = loStack[sp];
    hi = hiStack[sp];
  }
}
