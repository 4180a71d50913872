// units_test.cpp - tests of SYS_Convert: unit table, conversions, parsers, formatting.
// That numbers ignore a comma-decimal LC_NUMERIC is tested in string_test.cpp.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

#include "sysunits.h"

namespace {

constexpr long kOverflowMark = INT32_MIN;

std::string Str(const SYS_String& s) { return std::string(s.GetString(), s.GetLength()); }

// The values, each followed by a blank.
template <typename... T>
std::string Cat(const T&... values) {
  std::ostringstream out;
  ((out << values << ' '), ...);
  return out.str();
}

TEST(UnitsTest, UnitTableAndSettings) {
  SYS_Convert::UnitTypeObj e;
  EXPECT_EQ(e.GetType(), SYS_UnitType(SYS_UnitTypeCount));  // handle 0: the fallback row
  std::string table;
  for (e.GetFirst(nullptr); e.IsValid() && table.size() < 200; e.GetNext()) {
    const SYS_Convert c(e.GetType());
    table += Cat(e.GetType(), e.GetName(), c.GetUnitName(), c.User2Base(1.0), c.Base2User(3000L),
                 c.GetUnitPrecision()) + "| ";
  }
  EXPECT_EQ(table, Cat("0 Mils Mils 38100 0.0787402 2 |", "1 Millimeters Millimeters 1500000 0.002 5 |",
                       "2 Inches Inches 38100000 7.87402e-05 5 |", "3 Microns Microns 1500 2 2 |"));
  // Types outside the table: factor 0, no name, one shared precision slot.
  SYS_Convert c(SYS_UnitType(9));
  c.SetUnitPrecision(3);
  c.SetUnitType(SYS_UnitType(-2));
  EXPECT_EQ(Cat(c.GetUnitName(), c.GetUnitPrecision(), c.User2Base(5.0), c.Base2Str(1500L)), " 3 0 inf ");
}

TEST(UnitsTest, User2BaseRoundsAndMarksOverflow) {
  const SYS_Convert mils;
  const double edge = 2147483647.0 / 38100.0;  // must not round past the 32-bit range
  EXPECT_EQ(Cat(mils.User2Base(0.125), mils.User2Base(-0.125), mils.User2BaseDouble(0.125),
                mils.User2Base(56364.0), mils.User2Base(edge), mils.User2Base(-edge)),
            "4763 -4763 4762.5 2147468400 2147483647 -2147483647 ");  // half away from zero
  for (double v : {56365.0, -56365.0, double(INFINITY), double(NAN)})
    EXPECT_EQ(mils.User2Base(v), kOverflowMark) << v;
}

// Str2Double follows the library's one rule for doubles (see string_test.cpp); its range
// errors and errno are its own.
TEST(UnitsTest, TextReaders) {
  const std::string zeros(5000, '0');
  double v = 7, w = 7;
  EXPECT_EQ(Cat(SYS_Convert::Str2Double(("1" + zeros).c_str(), &v), v, SYS_Convert::Str2Double(("0." + zeros + "1").c_str(), &w), w),
            "0 inf 0 0 ");  // overflow and underflow keep strtod's value
  errno = EINVAL;  // the caller's error stays; a range error is reported
  EXPECT_EQ(Cat(SYS_Convert::Str2Double("1", &v), errno), "1 22 ");
  EXPECT_EQ(Cat(SYS_Convert::Str2Double("1e999", &v), errno), "0 34 ");

  // Str2Long reads whole 32-bit numbers, saturating as a 32-bit strtol does.
  std::string longs;
  for (const char* text : {"  -5", "2147483647", "-2147483648", "2147483648", "-2147483649",
                           "99999999999999999999999", "1.0", "0x10", "", "5 "}) {
    long l = 99;
    errno = ERANGE;
    longs += Cat(SYS_Convert::Str2Long(text, &l), l);
  }
  EXPECT_EQ(longs, "1 -5 1 2147483647 1 -2147483648 0 2147483647 0 -2147483648 0 2147483647 0 1 0 0 0 0 0 5 ");
}

// Lengths are never negative; coordinates are measures from the origin, which is signed
// on output but not on input. Angles are in 1/1800000 degree.
TEST(UnitsTest, MeasuresCoordinatesAndAngles) {
  const SYS_Convert mils, c(SYS_Point(1000, 2000));
  long v = 7, w = 7;
  double d = 0, e = 0;
  EXPECT_EQ(Cat(mils.Str2Base("0.5", &v), v, mils.Str2Base("-28000", &w), w), "1 19050 1 -1066800000 ");
  EXPECT_EQ(Cat(mils.Str2Base("28001", &v), v, mils.Str2Base("1e6", &w), w),  // the failed result stays
            "0 1066838100 0 -2147483648 ");
  EXPECT_EQ(Cat(mils.Str2Base("abc", &v), v, mils.Str2Base("1e6", &d), d), "0 1066838100 1 3.81e+10 ");
  EXPECT_EQ(Cat(mils.Str2Measure("-1", &v), mils.Str2Measure("1e9", &w), v, w),  // no range test
            "0 1 1066838100 -2147483648 ");
  EXPECT_EQ(Cat(mils.Str2Measure("-0.001", &d), mils.Str2Measure("2", &e), e), "0 1 76200 ");
  EXPECT_EQ(Cat(c.CoordX2Str(1000L), c.CoordX2Str(0L), c.CoordY2Str(2000.0 + 19050.0)), "0 -0.03 0.5 ");
  v = 7;
  EXPECT_EQ(Cat(c.Str2CoordX("-0.03", &v), v, c.Str2CoordX("0", &w), w), "0 7 1 1000 ");
  EXPECT_EQ(Cat(c.Str2CoordY("0.5", &v), v, c.Str2CoordY("1", &d), d, c.Str2CoordX("-1", &e)), "1 21050 1 40100 0 ");
  EXPECT_EQ(Cat(c.Point2Str(SYS_DoublePoint(1000, -17050)), c.Point2String(SYS_String("at "), SYS_Point(39100, 40100))),
            "(0,-0.5) at (1,1) ");

  SYS_Convert a;
  long a1 = 7, a2 = 7, a3 = 7, a4 = 7, a5 = 7;
  EXPECT_EQ(Cat(a.Str2Angle("90", &a1), a1, a.Str2Angle("-45.5", &a2), a2, a.Str2Angle("-0.0000009", &a3),
                a3, a.Str2Angle("2000", &a4), a4, a.Str2Angle("90deg", &a5), a5),
            "1 162000000 1 -81900000 1 -1 1 -2147483648 0 7 ");
  EXPECT_EQ(Cat(a.Angle2Str(162000000L), a.Angle2Str(-900000L), a.Angle2Str(1L)), "90 -0.5 0 ");
  a.SetZeroTrimMode(0);
  a.SetAnglePrecision(1);
  EXPECT_EQ(Str(a.Angle2Str(-SYS_FullTurn)), "-360.0");
}

TEST(UnitsTest, FormattingMatchesPrintfAndReadsBack) {
  SYS_Convert mm(SYS_UnitMillimeters);
  char buf[SYS_Convert::TextSize];
  EXPECT_EQ(Cat(mm.Base2Str(buf, 2250000L), mm.Measure2Str(-1L)), "1.5 -0 ");  // printf's -0
  mm.SetZeroTrimMode(0);
  mm.SetUnitPrecision(-1);  // printf's rule: 6 decimals
  EXPECT_EQ(Str(mm.Base2Str(1.5)), "0.000001");
  mm.SetUnitPrecision(1000);
  EXPECT_EQ(mm.Base2Str(1L).GetLength(), 2 + SYS_Convert::MaxDecimals);
  EXPECT_EQ(Str(SYS_Convert().Base2Str(int64_t{1} << 32)), "0");  // long values are 32-bit
  std::string trims;
  for (const char* text : {"12.500", "3.000", "100", ".", "1.05", "-0.00"})
    trims += Cat(SYS_Convert::TrimStrNumber(std::strcpy(buf, text)));
  EXPECT_EQ(trims, "12.5 3 100  1.05 -0 ");

  std::mt19937_64 rng(12345);
  std::uniform_real_distribution<double> mag(-12.0, 12.0);
  SYS_Convert c(SYS_UnitMicrons);
  char want[1024];
  for (int i = 0; i < 4000; ++i) {
    const double base = std::copysign(std::pow(10.0, mag(rng)), mag(rng));
    const int p = static_cast<int>(rng() % 13);
    c.SetUnitPrecision(p);
    c.SetZeroTrimMode(i % 2);
    std::snprintf(want, sizeof want, "%.*f", p, base / 1500.0);
    if (i % 2) SYS_Convert::TrimStrNumber(want);
    ASSERT_EQ(Str(c.Base2Str(base)), want) << "value " << base << " precision " << p;
  }
  // With enough decimals every unit reads back exactly what it wrote.
  std::uniform_int_distribution<long> coord(-SYS_CoordLimit, SYS_CoordLimit);
  for (int i = 0; i < 8000; ++i) {
    SYS_Convert u{SYS_UnitType(i % SYS_UnitTypeCount)};
    u.SetUnitPrecision(9);
    long v = coord(rng), back = 0;
    ASSERT_EQ(Cat(u.Str2Base(u.Base2Str(v), &back), back), Cat(1, v));
  }
}

}  // namespace
