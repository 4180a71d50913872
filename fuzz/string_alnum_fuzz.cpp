// string_alnum_fuzz.cpp - natural-order comparison of arbitrary byte strings.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "sysstring.h"

// Input: one byte choosing the locale, then two texts separated by the first NUL.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const bool utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  std::setlocale(LC_CTYPE, (data[0] & 1) && utf8 ? "C.UTF-8" : "C");
  const char* begin = reinterpret_cast<const char*>(data + 1);
  const std::size_t rest = size - 1;
  const char* nul = static_cast<const char*>(std::memchr(begin, 0, rest));
  const std::string a(begin, nul ? static_cast<std::size_t>(nul - begin) : rest);
  const std::string b = nul ? std::string(nul + 1, begin + rest) : std::string();

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
