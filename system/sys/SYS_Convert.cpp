// SYS_Convert.cpp - the unit table, unit conversions, number parsing and formatting.
#include <locale.h>
#include <stdlib.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "sfmmsgdb.h"
#include "sys/sysnumtext.h"
#include "sysunits.h"

namespace {

constexpr double kAngleUnitsPerDegree = 1800000.0;
constexpr double kLongMax = 2147483647.0;

struct UnitRow {
  SYS_UnitType type;
  SYS_String name;
  int precision;
  double factor;
};

// Factors are kept apart from the names so that conversions never wait for the
// localised table; index SYS_UnitTypeCount is the fallback row.
constexpr double kFactors[SYS_UnitTypeCount + 1] = {38100.0, 1500000.0, 38100000.0, 1500.0, 0.0};
constexpr int kPrecisions[SYS_UnitTypeCount + 1] = {2, 5, 5, 2, 0};
constexpr int kNameIds[SYS_UnitTypeCount] = {45104, 45105, 45106, 45107};

const std::array<UnitRow, SYS_UnitTypeCount + 1>& Table() {
  // Built on first use (thread-safe static); the names live until the process exits.
  static const std::array<UnitRow, SYS_UnitTypeCount + 1> rows = [] {
    std::array<UnitRow, SYS_UnitTypeCount + 1> r;
    for (int i = 0; i <= SYS_UnitTypeCount; ++i) {
      r[i].type = static_cast<SYS_UnitType>(i);
      r[i].name = i < SYS_UnitTypeCount ? TR(kNameIds[i]) : SYS_String();
      r[i].precision = kPrecisions[i];
      r[i].factor = kFactors[i];
    }
    return r;
  }();
  return rows;
}

const UnitRow& Row(int type) {
  return Table()[static_cast<unsigned>(type) < SYS_UnitTypeCount ? type : SYS_UnitTypeCount];
}

// Numbers are read and written with "." whatever LC_NUMERIC says: board files and
// scripts exchange these texts between users of any locale.
locale_t CLocale() {
  static const locale_t loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return loc;
}


// Trims trailing decimal zeros (and then a bare ".") of text[0, len); returns the new length.
int TrimZeros(char* text, int len) {
  if (!std::memchr(text, '.', static_cast<std::size_t>(len))) return len;
  while (len > 0 && text[len - 1] == '0') --len;
  if (len > 0 && text[len - 1] == '.') --len;
  text[len] = '\0';
  return len;
}

std::int32_t To32(long v) { return static_cast<std::int32_t>(v); }

}  // namespace

SYS_StdInterface::~SYS_StdInterface() = default;

SYS_UnitType SYS_Convert::UnitTypeObj::GetType() const {
  return Row(static_cast<unsigned>(m_handle) - 1u < SYS_UnitTypeCount ? m_handle - 1 : -1).type;
}

const char* SYS_Convert::UnitTypeObj::GetName() const {
  return Row(static_cast<unsigned>(m_handle) - 1u < SYS_UnitTypeCount ? m_handle - 1 : -1).name;
}

SYS_Convert::SYS_Convert() { SetData(SYS_UnitMils, SYS_Point(0, 0)); }
SYS_Convert::SYS_Convert(int) { SetData(SYS_UnitMils, SYS_Point(0, 0)); }
SYS_Convert::SYS_Convert(SYS_UnitType type) { SetData(type, SYS_Point(0, 0)); }
SYS_Convert::SYS_Convert(const SYS_Point& origin) { SetData(SYS_UnitMils, origin); }
SYS_Convert::SYS_Convert(SYS_UnitType type, const SYS_Point& origin) { SetData(type, origin); }

void SYS_Convert::SetData(SYS_UnitType type, const SYS_Point& origin) {
  const auto& table = Table();
  m_type = type;
  m_origin = origin;
  m_zeroTrim = 1;
  for (int i = 0; i <= SYS_UnitTypeCount; ++i) m_unitPrecision[i] = table[i].precision;
  m_anglePrecision = 3;
}

const char* SYS_Convert::GetUnitName(SYS_UnitType type) { return Row(type).name; }

double SYS_Convert::Factor() const { return kFactors[Slot(m_type)]; }

long SYS_Convert::User2Base(double v) const {
  const double k = Factor();
  if (kLongMax / k < std::fabs(v)) return INT32_MIN;  // the overflow mark
  return SYS_Round(v * k);
}

double SYS_Convert::User2BaseDouble(double v) const { return v * Factor(); }
double SYS_Convert::Base2User(double v) const { return v / Factor(); }
double SYS_Convert::Base2User(long v) const { return To32(v) / Factor(); }

int SYS_Convert::Str2Double(const char* text, double* out) {
  if (!text || !out) return 0;
  // The library's one rule for doubles: only plain decimal numbers. A length field that
  // accepted "inf", "nan" or "0x1p4" would hand the caller values no user meant; they read
  // as their decimal prefix (0 at most) followed by trailing text.
  const char* p = sys_detail::SkipBlanks(text);
  // A range error left over from an earlier call must not fail this one; any other
  // errno value is the caller's and stays.
  if (errno == ERANGE) errno = 0;
  const sys_detail::DoubleText number = sys_detail::ReadDouble(p);
  if (number.length == 0) {
    *out = *p == '-' ? -0.0 : 0.0;
    return 0;
  }
  *out = number.value;
  if (number.outOfRange) {
    errno = ERANGE;  // as strtod reports it
    return 0;
  }
  return p[number.length] == '\0';
}

int SYS_Convert::Str2Long(const char* text, long* out) {
  if (!text || !out) return 0;
  if (errno == ERANGE) errno = 0;
  char* end = nullptr;
  const long v = strtol_l(text, &end, 10, CLocale());
  // The stored values are 32-bit: beyond that range is a range error, saturated as a
  // 32-bit strtol saturates.
  if (v > INT32_MAX || v < INT32_MIN) {
    *out = v > 0 ? INT32_MAX : INT32_MIN;
    errno = ERANGE;
    return 0;
  }
  *out = v;
  if (errno == ERANGE) return 0;
  return end != text && *end == '\0';
}

int SYS_Convert::Str2Base(const char* text, long* out) const {
  double v;
  if (!out || !Str2Double(text, &v)) return 0;
  const long r = User2Base(v);
  *out = r;
  return r >= -SYS_CoordLimit && r <= SYS_CoordLimit;  // also refuses the overflow mark
}

int SYS_Convert::Str2Base(const char* text, double* out) const {
  double v;
  if (!out || !Str2Double(text, &v)) return 0;
  *out = v * Factor();
  return 1;
}

int SYS_Convert::Str2Measure(const char* text, long* out) const {
  double v;
  if (!out || !Str2Double(text, &v) || v < 0) return 0;
  *out = User2Base(v);  // no range test here, by design
  return 1;
}

int SYS_Convert::Str2Measure(const char* text, double* out) const {
  double v;
  if (!out || !Str2Double(text, &v) || v < 0) return 0;
  *out = v * Factor();
  return 1;
}

int SYS_Convert::Str2CoordX(const char* text, long* out) const {
  long v;
  if (!out || !Str2Measure(text, &v)) return 0;
  *out = sys_detail::Add(To32(v), To32(m_origin.GetX()));
  return 1;
}

int SYS_Convert::Str2CoordY(const char* text, long* out) const {
  long v;
  if (!out || !Str2Measure(text, &v)) return 0;
  *out = sys_detail::Add(To32(v), To32(m_origin.GetY()));
  return 1;
}

int SYS_Convert::Str2CoordX(const char* text, double* out) const {
  double v;
  if (!out || !Str2Measure(text, &v)) return 0;
  *out = v + m_origin.GetX();
  return 1;
}

int SYS_Convert::Str2CoordY(const char* text, double* out) const {
  double v;
  if (!out || !Str2Measure(text, &v)) return 0;
  *out = v + m_origin.GetY();
  return 1;
}

int SYS_Convert::Str2Angle(const char* text, long* out) const {
  double v;
  if (!out || !Str2Double(text, &v)) return 0;
  *out = SYS_Truncate(v * kAngleUnitsPerDegree);
  return 1;
}

int SYS_Convert::Format(char* dst, double value, int precision) const {
  if (precision < 0) precision = 6;  // printf's rule for a negative precision
  if (precision > MaxDecimals) precision = MaxDecimals;
  // Fits: a double prints at most 309 integer digits, a sign and a point.
  const auto r = std::to_chars(dst, dst + TextSize - 1, value, std::chars_format::fixed, precision);
  *r.ptr = '\0';
  const int len = static_cast<int>(r.ptr - dst);
  return m_zeroTrim ? TrimZeros(dst, len) : len;
}

char* SYS_Convert::Base2Str(char* dst, long v) const {
  Format(dst, Base2User(v), GetUnitPrecision());
  return dst;
}

char* SYS_Convert::Base2Str(char* dst, double v) const {
  Format(dst, Base2User(v), GetUnitPrecision());
  return dst;
}

SYS_String SYS_Convert::Base2Str(long v) const {
  char buf[TextSize];
  return SYS_String(buf, Format(buf, Base2User(v), GetUnitPrecision()));
}

SYS_String SYS_Convert::Base2Str(double v) const {
  char buf[TextSize];
  return SYS_String(buf, Format(buf, Base2User(v), GetUnitPrecision()));
}

SYS_String SYS_Convert::Measure2String(const SYS_String& prefix, long v) const {
  SYS_String s(prefix);
  s += Base2Str(v);
  return s;
}

SYS_String SYS_Convert::CoordX2Str(long x) const {
  return Base2Str(static_cast<long>(sys_detail::Sub(To32(x), To32(m_origin.GetX()))));
}

SYS_String SYS_Convert::CoordY2Str(long y) const {
  return Base2Str(static_cast<long>(sys_detail::Sub(To32(y), To32(m_origin.GetY()))));
}

SYS_String SYS_Convert::CoordX2Str(double x) const { return Base2Str(x - m_origin.GetX()); }
SYS_String SYS_Convert::CoordY2Str(double y) const { return Base2Str(y - m_origin.GetY()); }

SYS_String SYS_Convert::CoordX2String(const SYS_String& prefix, long x) const {
  SYS_String s(prefix);
  s += CoordX2Str(x);
  return s;
}

SYS_String SYS_Convert::CoordY2String(const SYS_String& prefix, long y) const {
  SYS_String s(prefix);
  s += CoordY2Str(y);
  return s;
}

SYS_String SYS_Convert::Point2Str(const SYS_Point& p) const {
  return RelPoint2Str(sys_detail::Sub(To32(p.GetX()), To32(m_origin.GetX())),
                      sys_detail::Sub(To32(p.GetY()), To32(m_origin.GetY())));
}

SYS_String SYS_Convert::Point2Str(const SYS_DoublePoint& p) const {
  return RelPoint2Str(p.GetX() - m_origin.GetX(), p.GetY() - m_origin.GetY());
}

SYS_String SYS_Convert::RelPoint2Str(double dx, double dy) const {
  char buf[2 * TextSize + 3];
  const int precision = GetUnitPrecision();
  int len = 0;
  buf[len++] = '(';
  len += Format(buf + len, Base2User(dx), precision);
  buf[len++] = ',';
  len += Format(buf + len, Base2User(dy), precision);
  buf[len++] = ')';
  return SYS_String(buf, len);
}

SYS_String SYS_Convert::Point2String(const SYS_String& prefix, const SYS_Point& p) const {
  SYS_String s(prefix);
  s += Point2Str(p);
  return s;
}

char* SYS_Convert::Angle2Str(char* dst, long a) const {
  Format(dst, To32(a) / kAngleUnitsPerDegree, m_anglePrecision);
  return dst;
}

// Formats into a local buffer, so unlike a shared static buffer it is safe from any thread.
SYS_String SYS_Convert::Angle2Str(long a) const {
  char buf[TextSize];
  return SYS_String(buf, Format(buf, To32(a) / kAngleUnitsPerDegree, m_anglePrecision));
}

char* SYS_Convert::TrimStrNumber(char* text) {
  if (text) TrimZeros(text, static_cast<int>(std::strlen(text)));
  return text;
}
