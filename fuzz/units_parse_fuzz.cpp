// units_parse_fuzz.cpp - feeds arbitrary text to every SYS_Convert parser and checks the
// results it promises: finite values, the coordinate limit, no negative measures, and
// that a parsed coordinate prints and parses back to itself.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sysunits.h"

namespace {

void Require(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte picks the unit, the precision and the origin; the rest is the text.
  const int unit = data[0] % 5;  // 4: a type outside the table
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  const char* s = text.c_str();
  SYS_Convert c(static_cast<SYS_UnitType>(unit), SYS_Point(data[0] * 1000, -data[0] * 777));
  c.SetUnitPrecision(data[0] >> 3);

  double d = 0;
  if (SYS_Convert::Str2Double(s, &d)) Require(std::isfinite(d));
  long l = 0;
  if (SYS_Convert::Str2Long(s, &l)) Require(l >= INT32_MIN && l <= INT32_MAX);

  if (c.Str2Base(s, &l)) {
    Require(l >= -SYS_CoordLimit && l <= SYS_CoordLimit);
    if (unit < 4) {
      SYS_Convert exact(static_cast<SYS_UnitType>(unit));
      exact.SetUnitPrecision(9);
      long back = 0;
      Require(exact.Str2Base(exact.Base2Str(l), &back) && back == l);
    }
  }
  c.Str2Base(s, &d);
  if (c.Str2Measure(s, &l)) Require(l >= 0 || l == INT32_MIN);
  if (c.Str2Measure(s, &d)) Require(d >= 0);
  c.Str2CoordX(s, &l);
  c.Str2CoordY(s, &l);
  c.Str2CoordX(s, &d);
  c.Str2CoordY(s, &d);
  if (c.Str2Angle(s, &l)) c.Angle2Str(l);

  // Formatting whatever came out, and trimming the raw text, must stay in bounds.
  char buf[SYS_Convert::TextSize];
  c.Base2Str(buf, d);
  c.Point2Str(SYS_DoublePoint(d, -d));
  std::string copy = text;
  SYS_Convert::TrimStrNumber(copy.data());
  return 0;
}
