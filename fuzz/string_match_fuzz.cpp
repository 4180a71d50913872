// string_match_fuzz.cpp - wildcard matching and pattern validation on arbitrary bytes.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_input.h"
#include "sysstring.h"

// Input: see fuzz_input.h (pattern first, text second).
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const auto [pattern, text] = SplitFuzzInput(data, size);

  const SYS_String p(pattern.c_str());
  const SYS_String t(text.c_str(), static_cast<int>(text.size()));
  int error = 7;
  const int valid = p.IsValidPattern(&error);
  if (valid != (error == 0) || error < -4 || error > 0) __builtin_trap();
  const int matched = t.Match(p);
  if (matched != 0 && matched != 1) __builtin_trap();
  // The pattern class and the string must agree on texts without embedded NULs.
  if (text.find('\0') == std::string::npos &&
      SYS_StrPattern(pattern.c_str()).Match(text.c_str()) != matched)
    __builtin_trap();
  // Every text matches "*", and a pattern without wildcards or escapes matches itself.
  if (t.Match("*") != 1) __builtin_trap();
  if (!p.IsPattern() && pattern.find('\\') == std::string::npos && p.Match(p) != 1)
    __builtin_trap();
  std::setlocale(LC_CTYPE, "C");
  return 0;
}
