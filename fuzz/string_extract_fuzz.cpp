// string_extract_fuzz.cpp - extraction operators, numeric parsing and field splitting.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "sysstring.h"

namespace {

bool IsSuffix(const SYS_String& rest, const SYS_String& whole) {
  return rest.GetLength() <= whole.GetLength() &&
         whole.View().substr(static_cast<std::size_t>(whole.GetLength() - rest.GetLength())) ==
             rest.View();
}

}  // namespace

// Input: the first byte is a separator and a field index, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const char separator = static_cast<char>(data[0]);
  const int index = static_cast<int>(data[0] % 8) - 1;
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const SYS_String text(bytes.c_str());  // up to the first NUL, as C text
  const SYS_String before(text);

  unsigned int number = 0;
  const SYS_String afterNumber = text >> number;
  if (!IsSuffix(afterNumber, text)) __builtin_trap();

  const SYS_String afterSet = text >> " \t,;\"";
  if (!IsSuffix(afterSet, text)) __builtin_trap();

  SYS_String token("x");
  const SYS_String afterToken = text >> token;
  if (!IsSuffix(afterToken, text) || token.GetLength() > text.GetLength()) __builtin_trap();
  if (afterToken.GetLength() > 0 && afterToken[0] != '"') __builtin_trap();

  const char* end = nullptr;
  long l = 0;
  text.Value(&l, &end);
  if (end < text.GetString() || end > text.GetString() + text.GetLength()) __builtin_trap();
  short s = 0;
  text.Value(&s, &end);
  unsigned long ul = 0;
  text.Value(&ul, &end);
  double d = 0;
  text.Value(&d, &end);
  if (end < text.GetString() || end > text.GetString() + text.GetLength()) __builtin_trap();

  SYS_String field("old");
  const int found = SysExtractSubString(field, text.GetString(), index, separator);
  if (found != 0 && found != 1) __builtin_trap();
  if (field.GetLength() > text.GetLength() && found) __builtin_trap();
  if (found && text.Find(field.GetString()) < 0 && !field.IsEmpty()) __builtin_trap();

  // None of these may change the source.
  if (text != before || text.GetString() != before.GetString()) __builtin_trap();
  return 0;
}
