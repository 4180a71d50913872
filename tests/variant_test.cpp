// variant_test.cpp - tests of SCC_Variant, SimpleScanf and the convertors. That numbers
// ignore a comma-decimal LC_NUMERIC is tested in string_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "sccvariant.h"
#include "ssm.h"

namespace {

std::string Text(const SCC_Variant& v) { return std::string(static_cast<const SYS_String>(v)); }

// Direction 1 multiplies by the factor, direction 0 divides; records every direction.
struct ScaleConvertor : SCC_Convertor {
  SCC_Variant Convert(SCC_Variant value, int direction) override {
    directions.push_back(direction);
    return SCC_Variant(direction == 1 ? static_cast<double>(value) * 1000 : static_cast<double>(value) / 1000);
  }
  std::vector<int> directions;
};

struct Listener : SCC_EventHook<int> {
  int OnNotification(int code, int*) override {
    codes.push_back(code);
    return 0;
  }
  std::vector<int> codes;
};

TEST(VariantTest, ConversionsTextAndEquality) {
  // value, text, as long (99: operator long throws), as double. Doubles are read by the
  // library's one rule: no hexadecimal floats, no "inf", no "nan".
  const std::tuple<SCC_Variant, const char*, long, double> cases[] = {
      {SCC_Variant(-2147483647 - 1), "-2147483648", -2147483647 - 1, -2147483648.0},
      {SCC_Variant(-2.9), "-2.9", -2, -2.9},         {SCC_Variant(10.0), "10.", 10, 10.0},
      {SCC_Variant(1e-7), "0.", 0, 1e-7},            {SCC_Variant("12.75"), "12.75", 12, 12.75},
      {SCC_Variant("0.1"), "0.1", 0, 0.1},           {SCC_Variant("0x10"), "0x10", 0, 0.0},
      {SCC_Variant("inf"), "inf", 0, 0.0},           {SCC_Variant(), "", 0, 0.0},
      {SCC_Variant(2147483647.5), "2147483647.5", 99, 2147483647.5},  // beyond, though it truncates
      {SCC_Variant("-1e10"), "-1e10", 99, -1e10},    {SCC_Variant("1e999"), "1e999", 99, HUGE_VAL},
      {SCC_Variant(std::nan("")), "nan", 99, std::nan("")},
  };
  for (const auto& [value, text, asLong, asDouble] : cases) {
    long l = 99;
    try {
      l = static_cast<int>(value);
    } catch (const SYS_Exception& e) {
      EXPECT_STREQ(e.GetText(), "Value is out of range.");
    }
    EXPECT_EQ(Text(value) + " " + std::to_string(l) + " " + std::to_string(static_cast<double>(value)),
              text + (" " + std::to_string(asLong)) + " " + std::to_string(asDouble));
  }
  const std::tuple<SCC_Variant, SCC_Variant, int> pairs[] = {
      {SCC_Variant(), SCC_Variant(), 1},         {SCC_Variant(), SCC_Variant(0), 0},
      {SCC_Variant(""), SCC_Variant(), 0},       {SCC_Variant(2), SCC_Variant(2.0), 1},
      {SCC_Variant(2), SCC_Variant(2.5), 0},     {SCC_Variant(0.1 + 0.2), SCC_Variant(0.3), 0},
      {SCC_Variant(2.0), SCC_Variant("2."), 1},  {SCC_Variant(2.0), SCC_Variant("2"), 0},
      {SCC_Variant(2), SCC_Variant("2"), 1},     {SCC_Variant("abc"), SCC_Variant("ABC"), 0},
      {SCC_Variant("abc"), SCC_Variant("abc"), 1},
  };
  for (const auto& [a, b, equal] : pairs) {
    EXPECT_EQ(a == b, equal) << Text(a) << " vs " << Text(b);
    EXPECT_EQ(b != a, !equal) << Text(a) << " vs " << Text(b);
  }
}

TEST(VariantTest, Validate) {
  const std::string kRange = "Please enter a value within the ";
  // validation text, value, valid, the range a failed check leaves in the variant's message
  const std::tuple<const char*, SCC_Variant, int, const char*> cases[] = {
      {"[ 0 , 10 ]", SCC_Variant(10), 1, nullptr},
      {"[\t0\n,\n10 ]  trailing", SCC_Variant(-1), 0, "[0.000000,10.000000]"},
      {"( 0 ,10 )", SCC_Variant(10), 0, "(0.000000,10.000000)"},
      {"( 0 , 10 )", SCC_Variant(0.001), 1, nullptr},
      {"< -1.5 , 2e3 >", SCC_Variant("2000"), 0, "<-1.500000,2000.000000>"},
      {"[ a , inf ]", SCC_Variant(1), 0, "[0.000000,0.000000]"},
      {"#[ 0 , 10 ]", SCC_Variant(11), 0, "[0.000000,10.000000]"},  // no convertor: as written
      // Neither a range nor a length: "0," is one word, "10]" no closing token.
      {"[0,10]", SCC_Variant(1e9), 1, nullptr},  {"[ 0, 10 ]", SCC_Variant(1e9), 1, nullptr},
      {"[ 0 , 10]", SCC_Variant(1e9), 1, nullptr}, {"", SCC_Variant(1e9), 1, nullptr},
      {" 5 chars", SCC_Variant("abcde"), 1, nullptr}, {"#5", SCC_Variant("abcdef"), 0, nullptr},
      {"5", SCC_Variant(1234567), 1, nullptr},   {"-1", SCC_Variant(3), 0, nullptr},
      {"[ 1 , 2 ]", SCC_Variant(), 1, nullptr},
  };
  for (const auto& [rule, value, valid, range] : cases) {
    const SCC_Variant v = value;  // const: the message is left all the same
    EXPECT_EQ(v.Validate(rule, nullptr), valid) << rule;
    EXPECT_EQ(Text(v), range ? kRange + range + " range." : Text(value)) << rule;
  }
  SCC_SharedPointer<ScaleConvertor> mm(new ScaleConvertor);
  SCC_Variant hashed(0.02);
  EXPECT_EQ(SCC_Variant(0.005).Validate("[ 0 , 10 ]", mm) + hashed.Validate("#[ 0 , 10 ]", mm), 1);
  EXPECT_EQ(Text(hashed), kRange + "[0.000000,0.010000] range.");
  EXPECT_EQ(mm->directions, (std::vector<int>{1, 1, 0, 0}));
}

TEST(VariantTest, SimpleScanf) {
  double d = 5;
  int a = 0, b = 0, used = 0;
  long l = 0;
  unsigned u = 0;
  char c[3] = {}, word[4] = "xyz";
  EXPECT_EQ(SimpleScanf("  -1e3rest", "%f", &d) + SimpleScanf("x", "%f", &d), 1);
  EXPECT_EQ(d, -1000.0) << "a failed conversion leaves its target";
  EXPECT_EQ(SimpleScanf("4, -17 ; 0x1F", "%d , %d ; %x", &a, &b, &u), 3);
  EXPECT_EQ(a * 100 + b + u, 414u);
  EXPECT_EQ(SimpleScanf("12abc", "%d%n", &a, &used) * 100 + a * 10 + used, 222) << "hex letters end a %d";
  EXPECT_EQ(SimpleScanf("4 x 5", "%d y %d", &a, &b) + SimpleScanf("x 5", "%d %d", &a, &b), 1)
      << "stops at a mismatch or a missing number";
  EXPECT_EQ(SimpleScanf("99999999999 -99999999999 -1", "%d %ld %u", &a, &l, &u), 3);
  EXPECT_EQ(std::to_string(a) + " " + std::to_string(l) + " " + std::to_string(u),
            "2147483647 -99999999999 4294967295");  // saturated; negated as strtoul does
  EXPECT_EQ(SimpleScanf("123456", "%2d%*1d%3d", &a, &b) + SimpleScanf("50% -", "%d%% %d", &a, &b), 3);
  EXPECT_EQ(a, 50);
  EXPECT_EQ(SimpleScanf("[ lengthy ]", "%c %3s%n", c, word, &used), 2);
  EXPECT_EQ(std::string(c) + word + std::to_string(used), "[len5");
  EXPECT_EQ(SimpleScanf("ab", "%2c%c", c, c + 2), 1) << "a %c needs its whole width";
  EXPECT_EQ(SimpleScanf("abc", "%s", word) + SimpleScanf(nullptr, "%d", &a) + SimpleScanf("1", "%q", &a), 0)
      << "an unbounded word is refused";
}

TEST(ConvertorTest, DirectionsRelaysAndOwnership) {
  auto* raw = new ScaleConvertor;
  SCC_SharedPointer<SCC_Convertor> scale(raw);
  SCC_SharedPointer<SCC_IndConvertor> ind(new SCC_IndConvertor(scale));
  SCC_SharedPointer<SCC_IndConvertor> outer(new SCC_IndConvertor(new SCC_RevConvertor(scale)));
  EXPECT_EQ(static_cast<double>(ind->Convert(SCC_Variant(3.0), 1)), 3000.0);
  for (int dir : {0, 1, 2, -1}) outer->Convert(SCC_Variant(1.0), dir);
  EXPECT_EQ(raw->directions, (std::vector<int>{1, 1, 0, 0, 0}));
  EXPECT_TRUE(SCC_IndConvertor(nullptr).Convert(SCC_Variant(4), 0) == SCC_Variant(4));
  Listener onInd, onOuter;
  onInd.HookEvent(ind.Get());
  onOuter.HookEvent(outer.Get());
  raw->Notify(5, nullptr);
  ind->Notify(3, nullptr);  // travels outwards only
  EXPECT_EQ(onInd.codes, (std::vector<int>{5, 3}));
  EXPECT_EQ(onOuter.codes, std::vector<int>{5});
  ind.Reset();
  outer.Reset();
  EXPECT_TRUE(raw->IsEmpty()) << "destroyed wrappers unhook their relays";
}

}  // namespace
