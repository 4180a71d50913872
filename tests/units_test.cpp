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

// The reference formatter: printf's "%.*f", trimmed as the converter trims.
std::string Reference(double v, int precision, bool trim) {
  char buf[1024];
  std::snprintf(buf, sizeof buf, "%.*f", precision, v);
  if (trim) SYS_Convert::TrimStrNumber(buf);
  return buf;
}

TEST(UnitsTest, UnitTable) {
  struct Row {
    SYS_UnitType type;
    const char* name;
    long perUnit;
    int precision;
  };
  const Row rows[] = {{SYS_UnitMils, "Mils", 38100, 2},
                      {SYS_UnitMillimeters, "Millimeters", 1500000, 5},
                      {SYS_UnitInches, "Inches", 38100000, 5},
                      {SYS_UnitMicrons, "Microns", 1500, 2}};
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    SYS_Convert c(r.type);
    EXPECT_EQ(c.GetUnitType(), r.type);
    EXPECT_STREQ(c.GetUnitName(), r.name);
    EXPECT_STREQ(SYS_Convert::GetUnitName(r.type), r.name);
    EXPECT_EQ(c.User2Base(1.0), r.perUnit);
    EXPECT_EQ(c.Base2User(r.perUnit * 3L), 3.0);
    EXPECT_EQ(c.GetUnitPrecision(), r.precision);
  }
  EXPECT_STREQ(SYS_Convert::GetUnitName(SYS_UnitType(7)), "");
  EXPECT_STREQ(SYS_Convert::GetUnitName(SYS_UnitType(-1)), "");
}

TEST(UnitsTest, UnitTypeObjEnumeratesTheTable) {
  SYS_Convert::UnitTypeObj e;
  EXPECT_FALSE(e.IsValid());
  EXPECT_EQ(e.GetType(), SYS_UnitType(SYS_UnitTypeCount));  // the fallback row
  EXPECT_STREQ(e.GetName(), "");
  std::string names;
  int expectedType = 0;
  for (e.GetFirst(nullptr); e.IsValid(); e.GetNext()) {
    EXPECT_EQ(e.GetType(), expectedType++);
    names += e.GetName();
    names += ';';
  }
  EXPECT_EQ(names, "Mils;Millimeters;Inches;Microns;");
  e.SetHandle(-5, nullptr);
  EXPECT_STREQ(e.GetName(), "");
}

TEST(UnitsTest, StdInterfaceHandles) {
  SYS_StdInterface e;
  EXPECT_EQ(e.GetFirst(nullptr), 0);
  EXPECT_FALSE(e.IsValid());
  EXPECT_EQ(e.GetChangeEvent(nullptr), nullptr);
  e.SetMaxHandle(2);
  EXPECT_EQ(e.GetFirst(nullptr), 1);
  EXPECT_EQ(e.GetNext(), 2);
  EXPECT_EQ(e.GetNext(), 0);
  EXPECT_EQ(e.GetHandle(), 0);
  EXPECT_LT(SYS_StdInterface::DefaultSort(1, 3), 0);
  EXPECT_GT(SYS_StdInterface::DefaultSort(3, 1), 0);
  EXPECT_EQ(SYS_StdInterface::DefaultSort(2, 2), 0);
}

TEST(UnitsTest, ConstructorsAndSettings) {
  const SYS_Point o(1000, -2000);
  struct Case {
    SYS_Convert c;
    SYS_UnitType type;
    SYS_Point origin;
  };
  const Case cases[] = {{SYS_Convert(), SYS_UnitMils, SYS_Point(0, 0)},
                        {SYS_Convert(5), SYS_UnitMils, SYS_Point(0, 0)},
                        {SYS_Convert(SYS_UnitInches), SYS_UnitInches, SYS_Point(0, 0)},
                        {SYS_Convert(o), SYS_UnitMils, o},
                        {SYS_Convert(SYS_UnitMicrons, o), SYS_UnitMicrons, o}};
  for (const Case& k : cases) {
    EXPECT_EQ(k.c.GetUnitType(), k.type);
    EXPECT_EQ(k.c.GetOrigin(), k.origin);
    EXPECT_EQ(k.c.IsZeroTrimMode(), 1);
    EXPECT_EQ(k.c.GetAnglePrecision(), 3);
  }

  // Each unit keeps its own precision; SetData restores every default.
  SYS_Convert c;
  c.SetUnitPrecision(4);
  c.SetUnitType(SYS_UnitMillimeters);
  EXPECT_EQ(c.GetUnitPrecision(), 5);
  c.SetUnitPrecision(1);
  c.SetUnitType(SYS_UnitMils);
  EXPECT_EQ(c.GetUnitPrecision(), 4);
  c.SetAnglePrecision(0);
  c.SetZeroTrimMode(0);
  SYS_Convert copy(c);
  copy.SetUnitType(SYS_UnitMillimeters);
  EXPECT_EQ(copy.GetUnitPrecision(), 1);
  EXPECT_EQ(copy.GetAnglePrecision(), 0);
  EXPECT_EQ(copy.IsZeroTrimMode(), 0);
  c.SetData(SYS_UnitMillimeters, o);
  EXPECT_EQ(c.GetUnitPrecision(), 5);
  EXPECT_EQ(c.GetAnglePrecision(), 3);
  EXPECT_EQ(c.IsZeroTrimMode(), 1);
  EXPECT_EQ(c.GetOrigin(), o);

  // A type outside the table: factor 0, no name, a precision slot of its own.
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
  SYS_Convert mils;
  EXPECT_EQ(mils.User2Base(0.125), 4763);  // 4762.5, half away from zero
  EXPECT_EQ(mils.User2Base(-0.125), -4763);
  EXPECT_EQ(mils.User2BaseDouble(0.125), 4762.5);
  EXPECT_EQ(mils.User2Base(56364.0), 2147468400);
  EXPECT_EQ(mils.User2Base(56365.0), kOverflowMark);
  EXPECT_EQ(mils.User2Base(-56365.0), kOverflowMark);
  EXPECT_EQ(mils.User2Base(INFINITY), kOverflowMark);
  EXPECT_EQ(mils.User2Base(NAN), kOverflowMark);
  // The largest magnitude that passes must not round past the 32-bit range.
  const double edge = 2147483647.0 / 38100.0;
  EXPECT_GT(mils.User2Base(edge), 2147483600);
  EXPECT_LT(mils.User2Base(-edge), -2147483600);
}

TEST(UnitsTest, Str2DoubleAcceptsOnlyWholeDecimalNumbers) {
  const std::string longZeros(5000, '0');
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
      {"1e3", 1, 1000},
      {"2.5E-2", 1, 0.025},
      {longZeros + "12.5", 1, 12.5},
      {"0." + longZeros + "1", 0, 0},  // underflow is a range error
      {"1" + longZeros, 0, INFINITY},  // overflow keeps strtod's value
      {"1e400", 0, INFINITY},
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
    SCOPED_TRACE("text \"" + k.text.substr(0, 40) + "\"");
    double v = 99;
    EXPECT_EQ(SYS_Convert::Str2Double(k.text.c_str(), &v), k.ok);
    if (k.text.size() < 100 || k.ok) {
      EXPECT_EQ(v, k.value);
    }
  }
  double v = 7;
  EXPECT_EQ(SYS_Convert::Str2Double(nullptr, &v), 0);
  EXPECT_EQ(v, 7);
  EXPECT_EQ(SYS_Convert::Str2Double("1", nullptr), 0);
}

TEST(UnitsTest, RangeErrorsAndErrno) {
  double v;
  errno = ERANGE;  // left over from an earlier call: must not fail this parse
  EXPECT_EQ(SYS_Convert::Str2Double("1", &v), 1);
  errno = ERANGE;
  long l;
  EXPECT_EQ(SYS_Convert::Str2Long("1", &l), 1);
  errno = EINVAL;  // any other error is left for the caller
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
  const Case cases[] = {
      {"123", 1, 123},
      {"  -5", 1, -5},
      {"+7", 1, 7},
      {"2147483647", 1, 2147483647},
      {"-2147483648", 1, INT32_MIN},
      {"2147483648", 0, INT32_MAX},
      {"-2147483649", 0, INT32_MIN},
      {"99999999999999999999999", 0, INT32_MAX},
      {"12a", 0, 12},
      {"1.0", 0, 1},
      {"0x10", 0, 0},
      {"", 0, 0},
      {" ", 0, 0},
      {"5 ", 0, 5},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.text);
    long v = 99;
    EXPECT_EQ(SYS_Convert::Str2Long(k.text, &v), k.ok);
    EXPECT_EQ(v, k.value);
  }
}

TEST(UnitsTest, Str2BaseChecksTheCoordinateLimit) {
  SYS_Convert mils;
  long v = 0;
  EXPECT_EQ(mils.Str2Base("0.5", &v), 1);
  EXPECT_EQ(v, 19050);
  EXPECT_EQ(mils.Str2Base("28000", &v), 1);
  EXPECT_EQ(v, 1066800000);
  EXPECT_EQ(mils.Str2Base("-28000", &v), 1);
  EXPECT_EQ(v, -1066800000);
  EXPECT_EQ(mils.Str2Base("28001", &v), 0);
  EXPECT_EQ(v, 1066838100);  // the failed step's result stays
  EXPECT_EQ(mils.Str2Base("1e6", &v), 0);
  EXPECT_EQ(v, kOverflowMark);
  v = 42;
  EXPECT_EQ(mils.Str2Base("abc", &v), 0);
  EXPECT_EQ(v, 42);
  EXPECT_EQ(mils.Str2Base("0.5", static_cast<long*>(nullptr)), 0);

  double d = 0;
  EXPECT_EQ(mils.Str2Base("1e6", &d), 1);  // the double form has no range test
  EXPECT_EQ(d, 38100.0e6);
  EXPECT_EQ(mils.Str2Base("-0.5", &d), 1);
  EXPECT_EQ(d, -19050.0);

  SYS_Convert mm(SYS_UnitMillimeters);
  EXPECT_EQ(mm.Str2Base("711.2", &v), 1);
  EXPECT_EQ(v, 1066800000);
}

TEST(UnitsTest, Str2MeasureRefusesNegatives) {
  SYS_Convert mils;
  long v = 5;
  EXPECT_EQ(mils.Str2Measure("-1", &v), 0);
  EXPECT_EQ(v, 5);
  EXPECT_EQ(mils.Str2Measure("0", &v), 1);
  EXPECT_EQ(v, 0);
  EXPECT_EQ(mils.Str2Measure("-0", &v), 1);
  EXPECT_EQ(v, 0);
  EXPECT_EQ(mils.Str2Measure("1e9", &v), 1);  // no range test: the overflow mark passes
  EXPECT_EQ(v, kOverflowMark);
  double d = 0;
  EXPECT_EQ(mils.Str2Measure("-0.001", &d), 0);
  EXPECT_EQ(mils.Str2Measure("2", &d), 1);
  EXPECT_EQ(d, 76200.0);
}

TEST(UnitsTest, OriginIsSignedOnOutputButNotOnInput) {
  SYS_Convert c(SYS_Point(1000, 2000));
  EXPECT_EQ(Str(c.CoordX2Str(1000L)), "0");
  EXPECT_EQ(Str(c.CoordY2Str(2000L)), "0");
  EXPECT_EQ(Str(c.CoordX2Str(0L)), "-0.03");
  EXPECT_EQ(Str(c.CoordY2Str(2000.0 + 19050.0)), "0.5");
  long v = 0;
  EXPECT_EQ(c.Str2CoordX("0", &v), 1);
  EXPECT_EQ(v, 1000);
  EXPECT_EQ(c.Str2CoordY("0.5", &v), 1);
  EXPECT_EQ(v, 21050);
  v = 7;
  EXPECT_EQ(c.Str2CoordX("-0.03", &v), 0);  // printed, but refused on input
  EXPECT_EQ(v, 7);
  double d = 0;
  EXPECT_EQ(c.Str2CoordX("1", &d), 1);
  EXPECT_EQ(d, 39100.0);
  EXPECT_EQ(c.Str2CoordY("1", &d), 1);
  EXPECT_EQ(d, 40100.0);

  EXPECT_EQ(Str(c.Point2Str(SYS_Point(39100, 2000))), "(1,0)");
  EXPECT_EQ(Str(c.Point2Str(SYS_DoublePoint(1000, -17050))), "(0,-0.5)");
  EXPECT_EQ(Str(c.Point2String(SYS_String("at "), SYS_Point(1000, 40100))), "at (0,1)");
  EXPECT_EQ(Str(c.CoordX2String(SYS_String("x="), 77200L)), "x=2");
  EXPECT_EQ(Str(c.CoordY2String(SYS_String("y="), 2000L)), "y=0");
  EXPECT_EQ(Str(c.Measure2String(SYS_String("w="), 38100L)), "w=1");

  // Coordinates far apart on both sides of the origin stay exact.
  SYS_Convert far(SYS_Point(-SYS_CoordLimit, SYS_CoordLimit));
  EXPECT_EQ(Str(far.CoordX2Str(static_cast<long>(SYS_CoordLimit))), "56000");
  EXPECT_EQ(Str(far.CoordY2Str(static_cast<long>(-SYS_CoordLimit))), "-56000");
}

TEST(UnitsTest, FormattingPrecisionAndTrim) {
  SYS_Convert mm(SYS_UnitMillimeters);
  EXPECT_EQ(Str(mm.Base2Str(1500000L)), "1");
  char buf[SYS_Convert::TextSize];
  EXPECT_EQ(mm.Base2Str(buf, 2250000L), buf);
  EXPECT_STREQ(buf, "1.5");
  mm.SetZeroTrimMode(0);
  EXPECT_EQ(Str(mm.Base2Str(1500000L)), "1.00000");
  EXPECT_STREQ(mm.Base2Str(buf, 1500000.0), "1.00000");
  EXPECT_EQ(Str(mm.Measure2Str(-1L)), "-0.00000");
  mm.SetZeroTrimMode(1);
  EXPECT_EQ(Str(mm.Measure2Str(-1L)), "-0");  // printf's negative zero, trimmed
  mm.SetUnitPrecision(-1);  // a negative precision prints 6 decimals, as printf does
  EXPECT_EQ(Str(mm.Base2Str(1.5)), "0.000001");
  mm.SetUnitPrecision(1000);
  mm.SetZeroTrimMode(0);
  EXPECT_EQ(mm.Base2Str(1L).GetLength(), 2 + SYS_Convert::MaxDecimals);
  // The longest text a double can give still fits the buffer.
  const SYS_String huge = mm.Base2Str(-1.7e308);
  EXPECT_LT(huge.GetLength(), SYS_Convert::TextSize);
  EXPECT_EQ(huge[0], '-');

  SYS_Convert mils;
  EXPECT_EQ(Str(mils.Base2Str(19050L)), "0.5");
  EXPECT_EQ(Str(mils.Base2Str(int64_t{1} << 32)), "0");  // long values are 32-bit
  EXPECT_EQ(Str(mils.Base2Str(38100.0 * 1000)), "1000");
}

TEST(UnitsTest, FormattingMatchesPrintf) {
  std::mt19937_64 rng(12345);
  std::uniform_real_distribution<double> mag(-12.0, 12.0);
  std::uniform_int_distribution<int> prec(0, 12);
  SYS_Convert c(SYS_UnitMicrons);
  for (int i = 0; i < 4000; ++i) {
    const double base = std::copysign(std::pow(10.0, mag(rng)), mag(rng));
    const int p = prec(rng);
    const bool trim = i % 2;
    c.SetUnitPrecision(p);
    c.SetZeroTrimMode(trim);
    ASSERT_EQ(Str(c.Base2Str(base)), Reference(base / 1500.0, p, trim))
        << "value " << base << " precision " << p;
  }
}

TEST(UnitsTest, TextRoundTrip) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<long> coord(-SYS_CoordLimit, SYS_CoordLimit);
  const SYS_UnitType types[] = {SYS_UnitMils, SYS_UnitMillimeters, SYS_UnitInches, SYS_UnitMicrons};
  for (SYS_UnitType t : types) {
    SYS_Convert c(t);
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
  const Case cases[] = {
      {"90", 1, 162000000},  {"-45.5", 1, -81900000},    {"360", 1, 648000000}, {"0.0000001", 1, 0},
      {"-0.0000009", 1, -1}, {"2000", 1, kOverflowMark}, {"90deg", 0, 7},       {"", 0, 7},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.text);
    long v = 7;
    EXPECT_EQ(c.Str2Angle(k.text, &v), k.ok);
    EXPECT_EQ(v, k.value);
  }
  EXPECT_EQ(Str(c.Angle2Str(162000000L)), "90");
  EXPECT_EQ(Str(c.Angle2Str(-900000L)), "-0.5");
  EXPECT_EQ(Str(c.Angle2Str(1L)), "0");
  c.SetZeroTrimMode(0);
  EXPECT_EQ(Str(c.Angle2Str(162000000L)), "90.000");
  c.SetAnglePrecision(1);
  char buf[SYS_Convert::TextSize];
  EXPECT_STREQ(c.Angle2Str(buf, 810000L), "0.5");
  EXPECT_EQ(Str(c.Angle2Str(-SYS_FullTurn)), "-360.0");
}

TEST(UnitsTest, TrimStrNumber) {
  const char* cases[][2] = {{"12.500", "12.5"}, {"3.000", "3"}, {"100", "100"}, {"0.0", "0"},
                            {"-0.00", "-0"},    {".", ""},      {"", ""},       {"1.05", "1.05"},
                            {"inf", "inf"},     {"10.", "10"}};
  for (const auto& k : cases) {
    char buf[32];
    std::strcpy(buf, k[0]);
    EXPECT_STREQ(SYS_Convert::TrimStrNumber(buf), k[1]) << k[0];
  }
  EXPECT_EQ(SYS_Convert::TrimStrNumber(nullptr), nullptr);
}

// Builds a locale whose decimal point is "," in a temporary folder (localedef takes a
// few milliseconds for one category) and makes it the numeric locale.
class CommaLocale {
 public:
  CommaLocale() : saved_(std::setlocale(LC_NUMERIC, nullptr)) {
    char dir[] = "/tmp/units_test_XXXXXX";
    if (!mkdtemp(dir)) return;
    dir_ = dir;
    const std::string src = dir_ + "/comma.src";
    if (FILE* f = std::fopen(src.c_str(), "w")) {
      std::fputs(
          "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\n"
          "grouping 3;3\nEND LC_NUMERIC\n",
          f);
      std::fclose(f);
    }
    const std::string cmd =
        "localedef -c -i " + src + " -f ANSI_X3.4-1968 " + dir_ + "/comma >/dev/null 2>&1";
    if (std::system(cmd.c_str()) == -1) return;
    setenv("LOCPATH", dir_.c_str(), 1);
    active_ = std::setlocale(LC_NUMERIC, "comma") != nullptr;
  }
  ~CommaLocale() {
    std::setlocale(LC_NUMERIC, saved_.c_str());
    unsetenv("LOCPATH");
    if (!dir_.empty()) std::system(("rm -rf " + dir_).c_str());
  }
  bool active() const { return active_; }

 private:
  std::string saved_;
  std::string dir_;
  bool active_ = false;
};

// Numbers keep "." whatever the host's LC_NUMERIC says.
TEST(UnitsTest, IndependentOfNumericLocale) {
  CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << "localedef cannot build a test locale here";
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  ASSERT_STREQ(probe, "0,5");  // the locale really is in force
  SYS_Convert c;
  long v = 0;
  EXPECT_EQ(c.Str2Base("0.5", &v), 1);
  EXPECT_EQ(v, 19050);
  EXPECT_EQ(c.Str2Base("0,5", &v), 0);
  EXPECT_EQ(Str(c.Base2Str(19050L)), "0.5");
  EXPECT_EQ(Str(c.Angle2Str(900000L)), "0.5");
}

}  // namespace
