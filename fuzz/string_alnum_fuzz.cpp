// string_alnum_fuzz.cpp - natural-order comparison of arbitrary byte strings.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_input.h"
#include "sysstring.h"

// Input: see fuzz_input.h (the two texts to compare).
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const auto [a, b] = SplitFuzzInput(data, size);

  const SYS_String sa(a.c_str()), sb(b.c_str());
  const int ab = sa.CompareAlNum(sb);
  const int ba = sb.CompareAlNum(sa);
  // The order is antisymmetric and reflexive; results are -1, 0 or 1.
  if (ab < -1 || ab > 1 || ab != -ba) __builtin_trap();
  if (sa.CompareAlNum(sa) != 0) __builtin_trap();
  if (sa.CompareAlNum(nullptr) != sa.CompareAlNum("")) __builtin_trap();
  std::setlocale(LC_CTYPE, "C");
  return 0;
}
