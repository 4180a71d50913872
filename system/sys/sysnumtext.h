// sysnumtext.h - the library's one rule for numbers in text, independent of the locale.
//
// Every reader of numbers in the library goes through these, so that a text reads the same
// in every part of it and under every LC_NUMERIC a host may set: "." is the decimal point,
// there is no grouping, and only plain decimal numbers are numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <locale.h>

namespace sys_detail {

inline bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// What ReadDouble found.
struct DoubleText {
  double value = 0.0;      ///< the number; 0 when none was read
  std::size_t length = 0;  ///< bytes of the number; 0 when none was read
  bool outOfRange = false; ///< beyond a double: value is +-HUGE_VAL, or +-0 when too small
};

/// Reads a decimal number at the start of `text` (no blanks are skipped), looking at no more
/// than `limit` bytes: an optional sign, digits with an optional "." (at least one digit in
/// all), then an optional exponent "e" or "E" with an optional sign and at least one digit.
/// Hexadecimal floats, "inf" and "nan" are not numbers: "0x1p4" reads as its leading 0,
/// "inf" reads nothing. A number beyond the range of a double reads as strtod would give it
/// (+-HUGE_VAL, or +-0 for one too small) and says so.
DoubleText ReadDouble(const char* text, std::size_t limit = SIZE_MAX) noexcept;

/// What ReadInteger found: the magnitude saturates at UINT64_MAX.
struct IntegerText {
  std::uint64_t magnitude = 0;
  bool negative = false;
  bool overflow = false;   ///< the digits exceed UINT64_MAX
  std::size_t length = 0;  ///< bytes of sign and digits; 0 when no digit was read
};

/// Reads an optional sign and decimal digits at the start of `text` (no blanks skipped).
IntegerText ReadInteger(const char* text) noexcept;

/// Skips the blanks (space, \t to \r) at `text`.
inline const char* SkipBlanks(const char* text) {
  while (IsBlank(*text)) ++text;
  return text;
}

/// For the life of the object, printf-style formatting on this thread uses "." and no
/// grouping: LC_NUMERIC is that of "C" while every other category stays as it was (the
/// code page still converts "%ls"). Does nothing when `format` has no conversion that
/// LC_NUMERIC changes (floating ones and the "'" flag) or the locale already is like "C".
class CNumericScope {
 public:
  explicit CNumericScope(const char* format);
  ~CNumericScope();
  CNumericScope(const CNumericScope&) = delete;
  CNumericScope& operator=(const CNumericScope&) = delete;

 private:
  locale_t m_numeric = nullptr;
  locale_t m_previous = nullptr;
};

}  // namespace sys_detail
