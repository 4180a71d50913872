// SCC_VariantValidate.cpp - SCC_Variant::Validate: range and length specifications and the
// message a failed range check leaves in the variant.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "sccvariant.h"
#include "sys/sysnumtext.h"
#include "sfmmsgdb.h"

namespace {

constexpr int kRangeMessageText = 45064;

// Widths and precisions in a message text are capped so that a damaged resource text
// cannot ask for megabytes of padding.
constexpr int kMaxFieldWidth = 64;

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The four fields of a range specification such as "[ 0 , 10 ]".
struct RangeFields {
  char open = 0;
  std::string_view lower;
  std::string_view upper;
  char close = 0;
};

// Reads `s` exactly as sscanf(s, "%c %s , %s %c", ...) would and returns the number of
// fields read. The words are views into `s`, so no field has a size limit to overflow.
// "%s" stops only at white space: "0," is one word, which is why every token of a range
// must be separated by blanks.
int ReadRange(std::string_view s, RangeFields& r) {
  std::size_t i = 0;
  auto skipBlanks = [&] {
    while (i < s.size() && IsBlank(s[i])) ++i;
  };
  auto word = [&](std::string_view& out) {
    skipBlanks();
    const std::size_t start = i;
    while (i < s.size() && !IsBlank(s[i])) ++i;
    out = s.substr(start, i - start);
    return i > start;
  };
  if (i >= s.size()) return 0;
  r.open = s[i++];
  skipBlanks();
  if (!word(r.lower)) return 1;
  skipBlanks();
  if (i >= s.size() || s[i] != ',') return 2;
  ++i;
  skipBlanks();
  if (!word(r.upper)) return 2;
  skipBlanks();
  if (i >= s.size()) return 3;
  r.close = s[i];
  return 4;
}

// A bound reads as much of its word as is a number, by the library's rule for doubles
// (0 when nothing is).
double ReadBound(std::string_view word) {
  const char* p = word.data();
  const char* const end = p + word.size();
  std::size_t skip = 0;
  while (p + skip < end && IsBlank(p[skip])) ++skip;
  return sys_detail::ReadDouble(p + skip, word.size() - skip).value;
}

// Formats the range message without handing the resource text to printf as a format:
// "%c" takes the brackets and the floating conversions the bounds, in that order
// (opening, lower, upper, closing); every other directive is kept as written.
std::string FormatRangeMessage(const char* format, char open, double lower, double upper,
                               char close) {
  const sys_detail::CNumericScope numeric(format);  // the bounds are written with "."
  std::string out;
  int arg = 0;
  for (const char* p = format; *p;) {
    if (*p != '%') {
      out += *p++;
      continue;
    }
    const char* start = p++;
    if (*p == '%') {
      out += '%';
      ++p;
      continue;
    }
    std::string spec = "%";
    while (*p && std::strchr("-+ #0", *p)) spec += *p++;
    int width = -1, precision = -1;
    if (*p >= '0' && *p <= '9') {
      width = 0;
      while (*p >= '0' && *p <= '9') width = std::min(width * 10 + (*p++ - '0'), kMaxFieldWidth);
    }
    if (*p == '.') {
      ++p;
      precision = 0;
      while (*p >= '0' && *p <= '9')
        precision = std::min(precision * 10 + (*p++ - '0'), kMaxFieldWidth);
    }
    while (*p == 'l' || *p == 'L' || *p == 'h') ++p;  // the argument types are ours
    const char conv = *p;
    if (conv == '\0') {
      out += start;
      break;
    }
    ++p;
    if (width >= 0) spec += std::to_string(width);
    if (precision >= 0) spec += '.' + std::to_string(precision);
    spec += conv;
    char buf[2 * kMaxFieldWidth + 340];
    int n = -1;
    if (conv == 'c' && (arg == 0 || arg == 3)) {
      n = std::snprintf(buf, sizeof buf, spec.c_str(), arg == 0 ? open : close);
    } else if (std::strchr("fFeEgGaA", conv) && (arg == 1 || arg == 2)) {
      n = std::snprintf(buf, sizeof buf, spec.c_str(), arg == 1 ? lower : upper);
    }
    if (n < 0) {
      out.append(start, p);  // not one of ours: shown as written
      continue;
    }
    out.append(buf, static_cast<std::size_t>(std::min<int>(n, sizeof buf - 1)));
    ++arg;
  }
  return out;
}

}  // namespace

int SCC_Variant::Validate(SYS_String spec, SCC_Convertor* convertor) const {
  if (IsEmpty()) return 1;
  const SCC_Variant working = convertor ? convertor->Convert(*this, 1) : *this;
  // Read as a C string, as the specification is text: anything after a NUL is ignored.
  std::string_view text(spec.GetString());
  if (text.empty()) return 1;
  const bool convertedBounds = text.front() == '#';
  if (convertedBounds) text.remove_prefix(1);

  RangeFields range;
  if (ReadRange(text, range) == 4) {
    double lower = ReadBound(range.lower);
    double upper = ReadBound(range.upper);
    const double v = static_cast<double>(working);
    const bool aboveLower = range.open == '[' ? v >= lower : v > lower;
    const bool belowUpper = range.close == ']' ? v <= upper : v < upper;
    if (aboveLower && belowUpper) return 1;
    if (convertedBounds && convertor) {
      lower = static_cast<double>(convertor->Convert(SCC_Variant(lower), 0));
      upper = static_cast<double>(convertor->Convert(SCC_Variant(upper), 0));
    }
    const std::string message = FormatRangeMessage(TR(kRangeMessageText).GetString(), range.open,
                                                   lower, upper, range.close);
    // The message replaces the value although Validate is const: callers read it from
    // the variant. Intended.
    m_type = TypeString;
    m_long = 0;
    m_double = 0.0;
    m_string = SYS_String(std::string_view(message));
    return 0;
  }

  // A bare number is the longest text allowed; numbers have an empty text and pass.
  // `text` is a suffix of a NUL-terminated string, so its data is one too.
  int maxLength = 0;
  if (SimpleScanf(text.data(), "%d", &maxLength) == 1) return m_string.GetLength() <= maxLength;
  return 1;
}
