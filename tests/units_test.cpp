// units_test.cpp - tests of SYS_Convert: unit table, conversions, parsers, formatting.
// That numbers ignore a comma-decimal LC_NUMERIC is tested in string_test.cpp.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

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
  const char* names[] = {"Mils", "Millimeters", "Inches", "Microns"};
  const long perUnit[] = {38100, 1500000, 38100000, 1500};
  const int precision[] = {2, 5, 5, 2};
  SYS_Convert::UnitTypeObj e;
  EXPECT_EQ(e.GetType(), SYS_UnitType(SYS_UnitTypeCount));  // handle 0: the fallback row
  int t = 0;
  for (e.GetFirst(nullptr); e.IsValid(); e.GetNext(), ++t) {
    ASSERT_LT(t, 4);
    const SYS_Convert c(e.GetType());
    EXPECT_EQ(Cat(e.GetType(), e.GetName(), c.GetUnitName(), c.User2Base(1.0),
                  c.Base2User(perUnit[t] * 3L), c.GetUnitPrecision()),
              Cat(t, names[t], names[t], perUnit[t], 3, precision[t]));
  }
  EXPECT_EQ(t, 4);
  e.SetHandle(-5, nullptr);
  EXPECT_STREQ(e.GetName(), "");
  // Each unit keeps its own precision; SetData resets everything.
  const SYS_Point o(1000, -2000);
  SYS_Convert c;
  c.SetUnitPrecision(4);
  c.SetUnitType(SYS_UnitMillimeters);
  EXPECT_EQ(c.GetUnitPrecision(), 5);
  c.SetAnglePrecision(0);
  c.SetZeroTrimMode(0);
  c.SetData(SYS_UnitMils, o);
  EXPECT_EQ(Cat(c.GetUnitPrecision(), c.GetAnglePrecision(), c.IsZeroTrimMode()), "2 3 1 ");
  EXPECT_EQ(c.GetOrigin(), o);
  // Types outside the table: factor 0, no name, one shared precision slot.
  c.SetUnitType(SYS_UnitType(9));
  c.SetUnitPrecision(3);
  c.SetUnitType(SYS_UnitType(-2));
  EXPECT_EQ(Cat(c.GetUnitName(), c.GetUnitPrecision(), c.User2Base(5.0), c.Base2Str(1500L)), " 3 0 inf ");
}

TEST(UnitsTest, User2BaseRoundsAndMarksOverflow) {
  const SYS_Convert mils;
  EXPECT_EQ(Cat(mils.User2Base(0.125), mils.User2Base(-0.125), mils.User2BaseDouble(0.125)),
            "4763 -4763 4762.5 ");  // half away from zero
  EXPECT_EQ(mils.User2Base(56364.0), 2147468400);
  for (double v : {56365.0, -56365.0, double(INFINITY), double(NAN)})
    EXPECT_EQ(mils.User2Base(v), kOverflowMark) << v;
  const double edge = 2147483647.0 / 38100.0;  // must not round past the 32-bit range
  EXPECT_GT(mils.User2Base(edge), 2147483600);
  EXPECT_LT(mils.User2Base(-edge), -2147483600);
}

TEST(UnitsTest, TextReaders) {
  const std::string zeros(5000, '0');
  const std::tuple<std::string, int, double> doubles[] = {
      {" \t1.5", 1, 1.5},        {"-.5", 1, -0.5},  {zeros + "12.5", 1, 12.5},
      {"1" + zeros, 0, INFINITY},  // overflow keeps strtod's value
      {"0." + zeros + "1", 0, 0},  // underflow is a range error too
      {"1.5mm", 0, 1.5},         {"1.5 ", 0, 1.5},  {"1,5", 0, 1},     {"   ", 0, 0},
      {"-Infinity", 0, 0},       {" -0X1p4", 0, 0}, {"mm", 0, 0},
  };
  for (const auto& [text, ok, value] : doubles) {
    double v = 99;
    EXPECT_EQ(SYS_Convert::Str2Double(text.c_str(), &v), ok) << text.substr(0, 20);
    EXPECT_EQ(v, value) << text.substr(0, 20);
  }
  double v = 7;
  EXPECT_EQ(SYS_Convert::Str2Double(nullptr, &v), 0);
  errno = ERANGE;  // left over from an earlier call: must not fail this parse
  EXPECT_EQ(SYS_Convert::Str2Double("1", &v), 1);
  errno = EINVAL;  // any other error is the caller's
  EXPECT_EQ(SYS_Convert::Str2Double("1", &v), 1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(SYS_Convert::Str2Double("1e999", &v), 0);
  EXPECT_EQ(errno, ERANGE);

  const std::tuple<const char*, int, long> longs[] = {
      {"  -5", 1, -5},          {"2147483647", 1, INT32_MAX},   {"-2147483648", 1, INT32_MIN},
      {"2147483648", 0, INT32_MAX}, {"-2147483649", 0, INT32_MIN},
      {"99999999999999999999999", 0, INT32_MAX},                {"1.0", 0, 1},
      {"0x10", 0, 0},           {"", 0, 0},                     {"5 ", 0, 5},
  };
  for (const auto& [text, ok, value] : longs) {
    long l = 99;
    errno = ERANGE;
    EXPECT_EQ(SYS_Convert::Str2Long(text, &l), ok) << text;
    EXPECT_EQ(l, value) << text;
  }
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
  EXPECT_EQ(Cat(mils.Str2Measure("-1", &v), mils.Str2Measure("-0", &w), v, w), "0 1 1066838100 0 ");
  EXPECT_EQ(Cat(mils.Str2Measure("1e9", &v), v), "1 -2147483648 ");  // no range test here
  EXPECT_EQ(Cat(mils.Str2Measure("-0.001", &d), mils.Str2Measure("2", &e), e), "0 1 76200 ");
  EXPECT_EQ(Cat(c.CoordX2Str(1000L), c.CoordX2Str(0L), c.CoordY2Str(2000.0 + 19050.0)), "0 -0.03 0.5 ");
  v = 7;
  EXPECT_EQ(Cat(c.Str2CoordX("-0.03", &v), v, c.Str2CoordX("0", &w), w), "0 7 1 1000 ");
  EXPECT_EQ(Cat(c.Str2CoordY("0.5", &v), v, c.Str2CoordY("1", &d), d), "1 21050 1 40100 ");
  EXPECT_EQ(Cat(c.Str2CoordX("-1", &d), c.Str2CoordY("x", &v)), "0 0 ");
  EXPECT_EQ(Cat(c.Point2Str(SYS_DoublePoint(1000, -17050)),
                c.Point2String(SYS_String("at "), SYS_Point(39100, 40100))),
            "(0,-0.5) at (1,1) ");
  const SYS_Convert far(SYS_Point(-SYS_CoordLimit, SYS_CoordLimit));  // stays exact
  EXPECT_EQ(Str(far.Point2Str(SYS_Point(SYS_CoordLimit, -SYS_CoordLimit))), "(56000,-56000)");

  SYS_Convert a;
  const std::tuple<const char*, int, long> angles[] = {
      {"90", 1, 162000000}, {"-45.5", 1, -81900000}, {"-0.0000009", 1, -1},
      {"2000", 1, kOverflowMark}, {"90deg", 0, 7}};
  for (const auto& [text, ok, value] : angles) {
    long l = 7;
    EXPECT_EQ(a.Str2Angle(text, &l), ok) << text;
    EXPECT_EQ(l, value) << text;
  }
  EXPECT_EQ(Cat(a.Angle2Str(162000000L), a.Angle2Str(-900000L), a.Angle2Str(1L)), "90 -0.5 0 ");
  a.SetZeroTrimMode(0);
  EXPECT_EQ(Str(a.Angle2Str(162000000L)), "90.000");
  a.SetAnglePrecision(1);
  char buf[SYS_Convert::TextSize];
  EXPECT_STREQ(a.Angle2Str(buf, -SYS_FullTurn), "-360.0");
}

TEST(UnitsTest, FormattingMatchesPrintfAndReadsBack) {
  SYS_Convert mm(SYS_UnitMillimeters);
  char buf[SYS_Convert::TextSize];
  EXPECT_EQ(mm.Base2Str(buf, 2250000L), buf);
  EXPECT_EQ(Cat(buf, mm.Base2Str(1500000L), mm.Measure2Str(-1L)), "1.5 1 -0 ");  // printf's -0
  mm.SetZeroTrimMode(0);
  EXPECT_EQ(Str(mm.Base2Str(1500000L)), "1.00000");
  mm.SetUnitPrecision(-1);  // printf's rule: 6 decimals
  EXPECT_EQ(Str(mm.Base2Str(1.5)), "0.000001");
  mm.SetUnitPrecision(1000);
  EXPECT_EQ(mm.Base2Str(1L).GetLength(), 2 + SYS_Convert::MaxDecimals);
  EXPECT_LT(mm.Base2Str(-1.7e308).GetLength(), SYS_Convert::TextSize);
  EXPECT_EQ(Str(SYS_Convert().Base2Str(int64_t{1} << 32)), "0");  // long values are 32-bit
  const char* trims[][2] = {{"12.500", "12.5"}, {"3.000", "3"},   {"100", "100"}, {".", ""},
                            {"", ""},           {"1.05", "1.05"}, {"-0.00", "-0"}};
  for (const auto& k : trims) EXPECT_STREQ(SYS_Convert::TrimStrNumber(std::strcpy(buf, k[0])), k[1]);
  EXPECT_EQ(SYS_Convert::TrimStrNumber(nullptr), nullptr);

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
  for (int t = 0; t < SYS_UnitTypeCount; ++t) {
    SYS_Convert u{SYS_UnitType(t)};
    u.SetUnitPrecision(9);
    for (int i = 0; i < 2000; ++i) {
      const long v = coord(rng);
      long back = 0;
      ASSERT_EQ(u.Str2Base(u.Base2Str(v), &back), 1) << v;
      ASSERT_EQ(back, v) << "unit " << t;
    }
  }
}

}  // namespace
