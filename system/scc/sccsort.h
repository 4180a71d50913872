// sccsort.h - internal: the quicksort shared by _SCC_Array::Sort and SYS_QSort.
#pragma once

namespace brix::sort {

/// Positions are whatever `Ops::Pos` is (an index, or a byte pointer into raw memory);
/// `ops.Next(p)`, `ops.Prev(p)` and `ops.Advance(p, k)` step between elements,
/// `ops.Count(lo, hi)` is the number of elements in [lo, hi], and positions compare with
/// the built-in operators. Elements are reached only through `ops.Compare(a, b)` and
/// `ops.Swap(a, b)`. The functions take `ops` by value so that its fields stay in registers
/// across the compare calls (measured: by reference SYS_QSort lost about 15%).

/// Selection sort of [lo, hi]; among equal maxima the last one is taken, so equal elements
/// are never exchanged.
template <class Ops>
void SelectionSort(typename Ops::Pos lo, typename Ops::Pos hi, Ops ops) {
  for (; hi > lo; hi = ops.Prev(hi)) {
    typename Ops::Pos max = lo;
    for (typename Ops::Pos p = ops.Next(lo); p <= hi; p = ops.Next(p))
      if (ops.Compare(p, max) >= 0) max = p;
    if (max != hi) ops.Swap(max, hi);
  }
}

/// Sorts [lo, hi] without recursion, handing ranges of at most eight elements to
/// `ops.ShortSort(lo, hi)`. With `Ops::kSkipEqualPivotSwaps` the two pivot exchanges are
/// skipped when the elements compare equal; the array's sort skips them and SYS_QSort does
/// not, and each keeps its own order of swaps on purpose.
template <class Ops>
void QuickSort(typename Ops::Pos lo, typename Ops::Pos hi, Ops ops) {
  using Pos = typename Ops::Pos;
  constexpr long kShortSortCutoff = 8;
  // Enough for 2^30 elements, since the larger part is always the one pushed.
  constexpr int kStackSize = 30;
  Pos loStack[kStackSize];
  Pos hiStack[kStackSize];
  int sp = 0;
  for (;;) {
    const long n = ops.Count(lo, hi);
    if (n <= kShortSortCutoff) {
      ops.ShortSort(lo, hi);
    } else {
      const Pos mid = ops.Advance(lo, n / 2);
      if (!Ops::kSkipEqualPivotSwaps || ops.Compare(lo, mid) != 0) ops.Swap(mid, lo);
      Pos up = lo;
      Pos down = ops.Next(hi);
      for (;;) {
        do {
          up = ops.Next(up);
        } while (up <= hi && ops.Compare(up, lo) <= 0);
        do {
          down = ops.Prev(down);
        } while (down > lo && ops.Compare(down, lo) >= 0);
        if (down < up) break;
        ops.Swap(up, down);
      }
      if (!Ops::kSkipEqualPivotSwaps || ops.Compare(lo, down) != 0) ops.Swap(lo, down);
      // Push the larger part, go on with the smaller: the stack never holds more than
      // log2(count) ranges. The sizes are compared in the positions' own units, and no
      // position before lo is formed.
      if (down - lo >= ops.Next(hi) - up) {
        if (ops.Next(lo) < down && sp < kStackSize) {
          loStack[sp] = lo;
          hiStack[sp] = ops.Prev(down);
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
        if (ops.Next(lo) < down) {
          hi = ops.Prev(down);
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

}  // namespace brix::sort
