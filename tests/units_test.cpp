// units_test.cpp - tests of SYS_Convert: unit table, conversions, parsers, formatting.
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "sysunits.h"

namespace {

constexpr long kOverflowMark = INT32_MIN;

std::string Str(const SYS_String& s) { return std::string(s.GetString(), s.GetLength()); }

TEST(UnitsTest, UnitTableAndEnumeration) {
  const char* names[] = {"Mils", "Millimeters", "Inches", "Microns"};
  const long perUnit[] = {38100, 1500000, 38100000, 1500};
  const int precision[] = {2, 5, 5, 2};
  SYS_Convert::UnitTypeObj e;
  EXPECT_EQ(e.GetType(), SYS_UnitType(SYS_UnitTypeCount));  // handle 0: the fallback row
  EXPECT_STREQ(e.GetName(), "");
  int t = 0;
  for (e.GetFirst(nullptr); e.IsValid(); e.GetNext(), ++t) {
    ASSERT_LT(t, 4);
    SYS_Convert c(e.GetType());
    EXPECT_EQ(e.GetType(), t);
    EXPECT_STREQ(e.GetName(), names[t]);
    EXPECT_STREQ(c.GetUnitName(), names[t]);
    EXPECT_EQ(c.User2Base(1.0), perUnit[t]);
    EXPECT_EQ(c.Base2User(perUnit[t] * 3L), 3.0);
    EXPECT_EQ(c.GetUnitPrecision(), precision[t]);
  }
  EXPECT_EQ(t, 4);
  EXPECT_STREQ(SYS_Convert::GetUnitName(SYS_UnitType(7)), "");
  e.SetHandle(-5, nullptr);
  EXPECT_STREQ(e.GetName(), "");
  EXPECT_LT(SYS_StdInterface::DefaultSort(1, 3), 0);
  EXPECT_EQ(SYS_StdInterface().GetFirst(nullptr), 0);
}

TEST(UnitsTest, ConstructorsAndSettings) {
  const SYS_Point o(1000, -2000);
  EXPECT_EQ(SYS_Convert(5).GetUnitType(), SYS_UnitMils);  // the int argument is ignored
  EXPECT_EQ(SYS_Convert(o).GetOrigin(), o);
  EXPECT_EQ(SYS_Convert(SYS_UnitMicrons, o).GetUnitType(), SYS_UnitMicrons);

  // Each unit keeps its own precision; SetData resets everything.
  SYS_Convert c;
  c.SetUnitPrecision(4);
  c.SetUnitType(SYS_UnitMillimeters);
  EXPECT_EQ(c.GetUnitPrecision(), 5);
  c.SetAnglePrecision(0);
  c.SetZeroTrimMode(0);
  c.SetData(SYS_UnitMils, o);
  EXPECT_EQ(c.GetUnitPrecision(), 2);
  EXPECT_EQ(c.GetAnglePrecision(), 3);
  EXPECT_EQ(c.IsZeroTrimMode(), 1);

  // Types outside the table: factor 0, no name, one shared precision slot.
  c.SetUnitType(SYS_UnitType(9));
  EXPECT_STREQ(c.GetUnitName(), "");
  EXPECT_EQ(c.GetUnitPrecision(), 0);
  c.SetUnitPrecision(3);
  c.SetUnitType(SYS_UnitType(-2));
  EXPECT_EQ(c.GetUnitPrecision(), 3);
  EXPECT_EQ(c.User2Base(5.0), 0);
  EXPECT_EQ(Str(c.Base2Str(1500L)), "inf");
}

TEST(UnitsTest, User2BaseRoundsAndMarksOverflow) {
  const SYS_Convert mils;
  EXPECT_EQ(mils.User2Base(0.125), 4763);  // 4762.5, half away from zero
  EXPECT_EQ(mils.User2Base(-0.125), -4763);
  EXPECT_EQ(mils.User2BaseDouble(0.125), 4762.5);
  EXPECT_EQ(mils.User2Base(56364.0), 2147468400);
  for (double v : {56365.0, -56365.0, double(INFINITY), double(NAN)})
    EXPECT_EQ(mils.User2Base(v), kOverflowMark) << v;
  const double edge = 2147483647.0 / 38100.0;  // must not round past the 32-bit range
  EXPECT_GT(mils.User2Base(edge), 2147483600);
  EXPECT_LT(mils.User2Base(-edge), -2147483600);
}

TEST(UnitsTest, Str2DoubleAcceptsOnlyWholeDecimalNumbers) {
  const std::string zeros(5000, '0');
  struct Case {
    std::string text;
    int ok;
    double value;
  };
  const Case cases[] = {
      {"1.5", 1, 1.5},
      {" \t1.5", 1, 1.5},
      {"+2", 1, 2},
      {"-.5", 1, -0.5},
      {"5.", 1, 5},
      {"2.5E-2", 1, 0.025},
      {zeros + "12.5", 1, 12.5},
      {"1" + zeros, 0, INFINITY},  // overflow keeps strtod's value
      {"0." + zeros + "1", 0, 0},  // underflow is a range error too
      {"-1e400", 0, -INFINITY},
      {"1e-400", 0, 0},
      {"1.5mm", 0, 1.5},
      {"1.5 ", 0, 1.5},
      {"1e", 0, 1},
      {"1,5", 0, 1},
      {"", 0, 0},
      {"   ", 0, 0},
      {".", 0, 0},
      {"-", 0, 0},
      {"inf", 0, 0},
      {"-Infinity", 0, 0},
      {"nan", 0, 0},
      {"NAN(123)", 0, 0},
      {"0x10", 0, 0},
      {" -0X1p4", 0, 0},
      {"mm", 0, 0},
  };
  for (const Case& k : cases) {
    double v = 99;
    EXPECT_EQ(SYS_Convert::Str2Double(k.text.c_str(), &v), k.ok) << k.text.substr(0, 20);
    EXPECT_EQ(v, k.value) << k.text.substr(0, 20);
  }
  double v = 7;
  EXPECT_EQ(SYS_Convert::Str2Double(nullptr, &v), 0);
  EXPECT_EQ(v, 7);

  errno = ERANGE;  // left over from an earlier call: must not fail this parse
  EXPECT_EQ(SYS_Convert::Str2Double("1", &v), 1);
  errno = EINVAL;  // any other error is the caller's
  EXPECT_EQ(SYS_Convert::Str2Double("1", &v), 1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(SYS_Convert::Str2Double("1e999", &v), 0);
  EXPECT_EQ(errno, ERANGE);
}

TEST(UnitsTest, Str2LongIs32Bit) {
  struct Case {
    const char* text;
    int ok;
    long value;
  };
  const Case cases[] = {{"  -5", 1, -5},
                        {"2147483647", 1, INT32_MAX},
                        {"-2147483648", 1, INT32_MIN},
                        {"2147483648", 0, INT32_MAX},
                        {"-2147483649", 0, INT32_MIN},
                        {"99999999999999999999999", 0, INT32_MAX},
                        {"1.0", 0, 1},
                        {"0x10", 0, 0},
                        {"", 0, 0},
                        {"5 ", 0, 5}};
  for (const Case& k : cases) {
    long v = 99;
    errno = ERANGE;
    EXPECT_EQ(SYS_Convert::Str2Long(k.text, &v), k.ok) << k.text;
    EXPECT_EQ(v, k.value) << k.text;
  }
}

TEST(UnitsTest, Str2BaseAndStr2Measure) {
  const SYS_Convert mils;
  long v = 0;
  EXPECT_EQ(mils.Str2Base("0.5", &v), 1);
  EXPECT_EQ(v, 19050);
  EXPECT_EQ(mils.Str2Base("-28000", &v), 1);
  EXPECT_EQ(v, -SYS_CoordLimit);
  EXPECT_EQ(mils.Str2Base("28001", &v), 0);
  EXPECT_EQ(v, 1066838100);  // the failed step's result stays
  EXPECT_EQ(mils.Str2Base("1e6", &v), 0);
  EXPECT_EQ(v, kOverflowMark);
  v = 42;
  EXPECT_EQ(mils.Str2Base("abc", &v), 0);
  EXPECT_EQ(v, 42);
  double d = 0;
  EXPECT_EQ(mils.Str2Base("1e6", &d), 1);  // the double form has no range test
  EXPECT_EQ(d, 38100.0e6);
  EXPECT_EQ(SYS_Convert(SYS_UnitMillimeters).Str2Base("711.2", &v), 1);
  EXPECT_EQ(v, SYS_CoordLimit);

  EXPECT_EQ(mils.Str2Measure("-1", &v), 0);
  EXPECT_EQ(v, SYS_CoordLimit);
  EXPECT_EQ(mils.Str2Measure("-0", &v), 1);
  EXPECT_EQ(v, 0);
  EXPECT_EQ(mils.Str2Measure("1e9", &v), 1);  // no range test: the overflow mark passes
  EXPECT_EQ(v, kOverflowMark);
  EXPECT_EQ(mils.Str2Measure("-0.001", &d), 0);
  EXPECT_EQ(mils.Str2Measure("2", &d), 1);
  EXPECT_EQ(d, 76200.0);
}

TEST(UnitsTest, OriginIsSignedOnOutputButNotOnInput) {
  const SYS_Convert c(SYS_Point(1000, 2000));
  EXPECT_EQ(Str(c.CoordX2Str(1000L)), "0");
  EXPECT_EQ(Str(c.CoordX2Str(0L)), "-0.03");
  EXPECT_EQ(Str(c.CoordY2Str(2000.0 + 19050.0)), "0.5");
  long v = 7;
  EXPECT_EQ(c.Str2CoordX("-0.03", &v), 0);  // printed, but refused on input
  EXPECT_EQ(v, 7);
  EXPECT_EQ(c.Str2CoordX("0", &v), 1);
  EXPECT_EQ(v, 1000);
  EXPECT_EQ(c.Str2CoordY("0.5", &v), 1);
  EXPECT_EQ(v, 21050);
  double d = 0;
  EXPECT_EQ(c.Str2CoordY("1", &d), 1);
  EXPECT_EQ(d, 40100.0);
  EXPECT_EQ(Str(c.Point2Str(SYS_DoublePoint(1000, -17050))), "(0,-0.5)");
  EXPECT_EQ(Str(c.Point2String(SYS_String("at "), SYS_Point(39100, 40100))), "at (1,1)");
  // Coordinates on both sides of a far origin stay exact.
  const SYS_Convert far(SYS_Point(-SYS_CoordLimit, SYS_CoordLimit));
  EXPECT_EQ(Str(far.CoordX2Str(long{SYS_CoordLimit})), "56000");
  EXPECT_EQ(Str(far.Point2Str(SYS_Point(SYS_CoordLimit, -SYS_CoordLimit))), "(56000,-56000)");
}

TEST(UnitsTest, FormattingPrecisionAndTrim) {
  SYS_Convert mm(SYS_UnitMillimeters);
  EXPECT_EQ(Str(mm.Base2Str(1500000L)), "1");
  char buf[SYS_Convert::TextSize];
  EXPECT_EQ(mm.Base2Str(buf, 2250000L), buf);
  EXPECT_STREQ(buf, "1.5");
  EXPECT_EQ(Str(mm.Measure2Str(-1L)), "-0");  // printf's negative zero, trimmed
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
  for (const auto& k : trims) {
    std::strcpy(buf, k[0]);
    EXPECT_STREQ(SYS_Convert::TrimStrNumber(buf), k[1]) << k[0];
  }
  EXPECT_EQ(SYS_Convert::TrimStrNumber(nullptr), nullptr);
}

TEST(UnitsTest, FormattingMatchesPrintf) {
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
}

TEST(UnitsTest, TextRoundTrip) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<long> coord(-SYS_CoordLimit, SYS_CoordLimit);
  for (int t = 0; t < SYS_UnitTypeCount; ++t) {
    SYS_Convert c{SYS_UnitType(t)};
    c.SetUnitPrecision(9);  // enough decimals for every unit to be exact
    for (int i = 0; i < 2000; ++i) {
      const long v = coord(rng);
      long back = 0;
      ASSERT_EQ(c.Str2Base(c.Base2Str(v), &back), 1) << v;
      ASSERT_EQ(back, v) << "unit " << t;
    }
  }
}

TEST(UnitsTest, Angles) {
  SYS_Convert c;
  struct Case {
    const char* text;
    int ok;
    long value;
  };
  const Case cases[] = {{"90", 1, 162000000},
                        {"-45.5", 1, -81900000},
                        {"-0.0000009", 1, -1},
                        {"2000", 1, kOverflowMark},
                        {"90deg", 0, 7}};
  for (const Case& k : cases) {
    long v = 7;
    EXPECT_EQ(c.Str2Angle(k.text, &v), k.ok) << k.text;
    EXPECT_EQ(v, k.value) << k.text;
  }
  EXPECT_EQ(Str(c.Angle2Str(162000000L)), "90");
  EXPECT_EQ(Str(c.Angle2Str(-900000L)), "-0.5");
  EXPECT_EQ(Str(c.Angle2Str(1L)), "0");
  c.SetZeroTrimMode(0);
  EXPECT_EQ(Str(c.Angle2Str(162000000L)), "90.000");
  c.SetAnglePrecision(1);
  char buf[SYS_Convert::TextSize];
  EXPECT_STREQ(c.Angle2Str(buf, -SYS_FullTurn), "-360.0");
}

// Numbers keep "." under a numeric locale whose decimal point is ",". The locale is
// built for the test in a temporary folder (localedef needs milliseconds for one category).
TEST(UnitsTest, IndependentOfNumericLocale) {
  char dir[] = "/tmp/units_test_XXXXXX";
  ASSERT_TRUE(mkdtemp(dir));
  const std::string src = std::string(dir) + "/comma.src";
  if (FILE* f = std::fopen(src.c_str(), "w")) {
    std::fputs(
        "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\n"
        "grouping 3;3\nEND LC_NUMERIC\n",
        f);
    std::fclose(f);
  }
  const std::string make =
      "localedef -c -i " + src + " -f ANSI_X3.4-1968 " + dir + "/comma >/dev/null 2>&1";
  [[maybe_unused]] const int made = std::system(make.c_str());
  const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
  setenv("LOCPATH", dir, 1);
  const bool active = std::setlocale(LC_NUMERIC, "comma") != nullptr;
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  const SYS_Convert c;
  long v = 0;
  const int parsed = c.Str2Base("0.5", &v);
  const std::string printed = Str(c.Base2Str(19050L));
  std::setlocale(LC_NUMERIC, saved.c_str());
  unsetenv("LOCPATH");
  [[maybe_unused]] const int removed = std::system(("rm -rf " + std::string(dir)).c_str());
  if (!active) GTEST_SKIP() << "localedef cannot build a test locale here";
  ASSERT_STREQ(probe, "0,5");  // the locale really was in force
  EXPECT_EQ(parsed, 1);
  EXPECT_EQ(v, 19050);
  EXPECT_EQ(printed, "0.5");
}

}  // namespace
