// variant_test.cpp - tests of SCC_Variant, SimpleScanf and the convertors.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "sccvariant.h"
#include "ssm.h"
#include "test_locale.h"

// A tag and one 32-bit, one double and one string payload: small enough to pass around.
static_assert(sizeof(SCC_Variant) == 24);

namespace {

std::string Text(const SCC_Variant& v) { return std::string(static_cast<const SYS_String>(v)); }

// Direction 1 multiplies by the factor, direction 0 divides; records every direction.
struct ScaleConvertor : SCC_Convertor {
  explicit ScaleConvertor(double f) : factor(f) {}
  SCC_Variant Convert(SCC_Variant value, int direction) override {
    directions.push_back(direction);
    const double d = static_cast<double>(value);
    return SCC_Variant(direction == 1 ? d * factor : d / factor);
  }
  double factor;
  std::vector<int> directions;
};

struct Listener : SCC_EventHook<int> {
  int OnNotification(int code, int* data) override {
    codes.push_back(code);
    return 0;
  }
  std::vector<int> codes;
};

TEST(VariantTest, NumericConversions) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    SCC_Variant value;
    bool throws;  // operator long
    long asLong;
    double asDouble;
  };
  const Case cases[] = {
      {SCC_Variant(-2147483647 - 1), false, -2147483647 - 1, -2147483648.0},
      {SCC_Variant(2.9), false, 2, 2.9},
      {SCC_Variant(-2.9), false, -2, -2.9},
      {SCC_Variant(-2147483648.0), false, -2147483647 - 1, -2147483648.0},
      {SCC_Variant("12.75"), false, 12, 12.75},
      {SCC_Variant("0.1"), false, 0, 0.1},  // read as a double, not a float
      {SCC_Variant("abc"), false, 0, 0.0},
      {SCC_Variant(), false, 0, 0.0},
      {SCC_Variant(3e9), true, 0, 3e9},
      {SCC_Variant(2147483647.5), true, 0, 2147483647.5},  // beyond, though it would truncate
      {SCC_Variant("-1e10"), true, 0, -1e10},
      {SCC_Variant(kNaN), true, 0, kNaN},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Text(c.value));
    if (c.throws) {
      try {
        (void)static_cast<long>(c.value);
        ADD_FAILURE() << "no exception";
      } catch (const SYS_Exception& e) {
        EXPECT_STREQ(e.GetText(), "Value is out of range.");
      }
      EXPECT_THROW((void)static_cast<int>(c.value), SYS_Exception);
    } else {
      EXPECT_EQ(static_cast<long>(c.value), c.asLong);
      EXPECT_EQ(static_cast<int>(c.value), c.asLong);
    }
    const double d = static_cast<double>(c.value);
    if (c.asDouble == c.asDouble) {
      EXPECT_EQ(d, c.asDouble);
    }
  }
}

TEST(VariantTest, TextConversion) {
  const std::pair<SCC_Variant, const char*> cases[] = {
      {SCC_Variant(7), "7"},         {SCC_Variant(-2147483647 - 1), "-2147483648"},
      {SCC_Variant(1.5), "1.5"},     {SCC_Variant(10.0), "10."},  // the point stays
      {SCC_Variant(0.0), "0."},      {SCC_Variant(100.0), "100."},
      {SCC_Variant(-0.25), "-0.25"}, {SCC_Variant(1e-7), "0."},  // six decimals
      {SCC_Variant("0.50"), "0.50"}, {SCC_Variant(), ""},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(Text(value), text);
  EXPECT_EQ(Text(SCC_Variant(-std::numeric_limits<double>::max())).size(), 311u);  // 309 digits
}

TEST(VariantTest, EqualityBySuperiorType) {
  struct Case {
    SCC_Variant a, b;
    int equal;
  };
  const Case cases[] = {
      {SCC_Variant(), SCC_Variant(), 1},
      {SCC_Variant(), SCC_Variant(0), 0},
      {SCC_Variant(""), SCC_Variant(), 0},
      {SCC_Variant(2), SCC_Variant(3), 0},
      {SCC_Variant(2), SCC_Variant(2.0), 1},
      {SCC_Variant(2), SCC_Variant(2.5), 0},
      {SCC_Variant(0.1 + 0.2), SCC_Variant(0.3), 0},  // exact, no tolerance
      {SCC_Variant(2.0), SCC_Variant("2."), 1},
      {SCC_Variant(2.0), SCC_Variant("2"), 0},
      {SCC_Variant(2), SCC_Variant("2"), 1},
      {SCC_Variant("abc"), SCC_Variant("ABC"), 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Text(c.a) + " vs " + Text(c.b));
    EXPECT_EQ(c.a == c.b, c.equal);
    EXPECT_EQ(c.b == c.a, c.equal);
    EXPECT_EQ(c.a != c.b, !c.equal);
  }
}

TEST(VariantTest, Validate) {
  const char* const kZeroTen = "Please enter a value within the [0.000000,10.000000] range.";
  struct Case {
    const char* spec;
    SCC_Variant value;
    int valid;
    const char* message;  // left in the variant by a failed range check
  };
  const Case cases[] = {
      {"[ 0 , 10 ]", SCC_Variant(10), 1, nullptr},
      {"[ 0 , 10 ]", SCC_Variant(10.5), 0, kZeroTen},
      {"[\t0\n,\n10 ]  trailing", SCC_Variant(-1), 0, kZeroTen},
      {"[ 0 ,10 ]", SCC_Variant(11), 0, kZeroTen},
      {"( 0 , 10 )", SCC_Variant(0), 0,
       "Please enter a value within the (0.000000,10.000000) range."},
      {"( 0 , 10 )", SCC_Variant(0.001), 1, nullptr},
      {"< -1.5 , 2e3 >", SCC_Variant("2000"), 0,
       "Please enter a value within the <-1.500000,2000.000000> range."},
      {"[ a , b ]", SCC_Variant(1), 0,
       "Please enter a value within the [0.000000,0.000000] range."},
      {"#[ 0 , 10 ]", SCC_Variant(11), 0, kZeroTen},  // no convertor: bounds as written
      {"[0,10]", SCC_Variant(1e9), 1, nullptr},       // neither a range nor a length
      {"[ 0, 10 ]", SCC_Variant(1e9), 1, nullptr},    // "0," is one word
      {"[ 0 , 10]", SCC_Variant(1e9), 1, nullptr},    // no closing token
      {"", SCC_Variant(1e9), 1, nullptr},
      {"5", SCC_Variant("abcdef"), 0, nullptr},
      {" 5 chars", SCC_Variant("abcde"), 1, nullptr},
      {"#5", SCC_Variant("abcdef"), 0, nullptr},
      {"5", SCC_Variant(1234567), 1, nullptr},  // numbers have no text payload
      {"-1", SCC_Variant(3), 0, nullptr},
      {"99999999999", SCC_Variant("text"), 1, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.spec) + " with " + Text(c.value));
    const SCC_Variant v = c.value;  // const: the message is left all the same
    EXPECT_EQ(v.Validate(c.spec, nullptr), c.valid);
    EXPECT_EQ(Text(v), c.message ? c.message : Text(c.value));
    EXPECT_EQ(v.GetType(), c.message ? SCC_Variant::TypeString : c.value.GetType());
  }
  SCC_Variant cleared("abcdef");
  cleared.Clear();
  EXPECT_EQ(cleared.Validate("[ 1 , 2 ]", nullptr), 1);
  EXPECT_TRUE(cleared.IsEmpty());
}

TEST(VariantTest, ValidateWithConvertor) {
  SCC_SharedPointer<ScaleConvertor> mm(new ScaleConvertor(1000.0));
  EXPECT_EQ(SCC_Variant(0.005).Validate("[ 0 , 10 ]", mm), 1);
  EXPECT_EQ(mm->directions, std::vector<int>{1});

  SCC_Variant plain(0.02), hashed(0.02);
  EXPECT_EQ(plain.Validate("[ 0 , 10 ]", mm), 0);
  EXPECT_EQ(Text(plain), "Please enter a value within the [0.000000,10.000000] range.");
  mm->directions.clear();
  EXPECT_EQ(hashed.Validate("#[ 0 , 10 ]", mm), 0);
  EXPECT_EQ(Text(hashed), "Please enter a value within the [0.000000,0.010000] range.");
  EXPECT_EQ(mm->directions, (std::vector<int>{1, 0, 0}));

  SCC_Variant text("123456");  // the length rule reads the text, not the converted value
  EXPECT_EQ(text.Validate("3", mm), 0);
  EXPECT_EQ(text.Validate("6", mm), 1);
}

TEST(VariantTest, SimpleScanf) {
  double d = 5;
  EXPECT_EQ(SimpleScanf("  -1e3rest", "%f", &d), 1);
  EXPECT_EQ(d, -1000.0);
  EXPECT_EQ(SimpleScanf("x", "%f", &d), 0);
  EXPECT_EQ(d, -1000.0) << "target left unset";
  EXPECT_EQ(SimpleScanf(nullptr, "%f", &d), 0);
  EXPECT_EQ(SimpleScanf("1.5e2", "%3f", &d), 1);
  EXPECT_EQ(d, 1.5);

  int a = 0, b = 0;
  long l = 0;
  unsigned u = 0;
  EXPECT_EQ(SimpleScanf("4, -17 ; 0x1F", "%d , %d ; %x", &a, &b, &u), 3);
  EXPECT_EQ(a * 100 + b, 383);
  EXPECT_EQ(u, 31u);
  EXPECT_EQ(SimpleScanf("4 x 5", "%d y %d", &a, &b), 1) << "stops at a mismatch";
  EXPECT_EQ(SimpleScanf("99999999999 -99999999999", "%d %ld", &a, &l), 2);
  EXPECT_EQ(a, 2147483647) << "saturates";
  EXPECT_EQ(l, -99999999999L);
  EXPECT_EQ(SimpleScanf("123456", "%2d%*1d%3d", &a, &b), 2);
  EXPECT_EQ(a * 1000 + b, 12456);
  EXPECT_EQ(SimpleScanf("50% -", "%d%% %d", &a, &b), 1);

  char c = 0, word[4] = "xyz";
  int used = 0;
  EXPECT_EQ(SimpleScanf("[ lengthy ]", "%c %3s%n", &c, word, &used), 2);
  EXPECT_EQ(std::string(1, c) + word + std::to_string(used), "[len5");
  EXPECT_EQ(SimpleScanf("abc", "%s", word), 0) << "an unbounded word is refused";
  EXPECT_EQ(SimpleScanf("1", "%q", &a), 0);
}

// Variants read and write numbers with "." whatever LC_NUMERIC says, and read doubles by
// the library's one rule: no hexadecimal floats, no "inf", no "nan".
TEST(VariantTest, NumbersIgnoreTheNumericLocaleAndReadOneWay) {
  const test_locale::Scoped comma(LC_NUMERIC, test_locale::kComma);
  BRIX_REQUIRE_LOCALE(comma);
  struct Case {
    SCC_Variant value;
    const char* text;
    double number;
  };
  const Case cases[] = {
      {SCC_Variant(2.5), "2.5", 2.5},         {SCC_Variant(10.0), "10.", 10.0},
      {SCC_Variant("12.75"), "12.75", 12.75}, {SCC_Variant("-0.5e1"), "-0.5e1", -5.0},
      {SCC_Variant("0x10"), "0x10", 0.0},     {SCC_Variant("inf"), "inf", 0.0},
      {SCC_Variant("-nan"), "-nan", 0.0},     {SCC_Variant("1e999"), "1e999", HUGE_VAL},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Text(c.value), c.text);
    EXPECT_EQ(static_cast<double>(c.value), c.number) << c.text;
  }
  EXPECT_EQ(static_cast<long>(SCC_Variant("12.75")), 12);
  EXPECT_EQ(static_cast<long>(SCC_Variant("inf")), 0);
  EXPECT_EQ(static_cast<long>(SCC_Variant("0x7fffffffff")), 0);
  EXPECT_TRUE(SCC_Variant(2.5) == SCC_Variant("2.5"));

  SCC_Variant small(0.25);
  EXPECT_EQ(small.Validate("[ 0.5 , 1.5 ]", nullptr), 0);
  EXPECT_EQ(Text(small), "Please enter a value within the [0.500000,1.500000] range.");
  SCC_Variant inside(1.25);
  EXPECT_EQ(inside.Validate("[ 0.5 , 1.5 ]", nullptr), 1);
  SCC_Variant huge(1e300);
  EXPECT_EQ(huge.Validate("[ 0 , inf ]", nullptr), 0) << "an upper bound of inf reads as 0";
}

TEST(ConvertorTest, DirectionsAndRelays) {
  SCC_SharedPointer<ScaleConvertor> scale(new ScaleConvertor(2.0));
  SCC_SharedPointer<SCC_IndConvertor> ind(new SCC_IndConvertor(scale));
  SCC_SharedPointer<SCC_RevConvertor> rev(new SCC_RevConvertor(scale));
  SCC_SharedPointer<SCC_IndConvertor> outer(new SCC_IndConvertor(rev));
  EXPECT_EQ(static_cast<double>(ind->Convert(SCC_Variant(3.0), 1)), 6.0);
  scale->directions.clear();
  for (int dir : {0, 1, 2, -1}) outer->Convert(SCC_Variant(1.0), dir);
  EXPECT_EQ(scale->directions, (std::vector<int>{1, 0, 0, 0}));
  EXPECT_TRUE(SCC_Convertor().Convert(SCC_Variant("v"), 1) == SCC_Variant("v"));
  EXPECT_TRUE(SCC_IndConvertor(nullptr).Convert(SCC_Variant(4), 0) == SCC_Variant(4));

  Listener onInd, onRev, onOuter;
  onInd.HookEvent(ind.Get());
  onRev.HookEvent(rev.Get());
  onOuter.HookEvent(outer.Get());
  scale->Notify(5, nullptr);
  ind->Notify(3, nullptr);  // travels outwards only
  EXPECT_EQ(onInd.codes, (std::vector<int>{5, 3}));
  EXPECT_EQ(onRev.codes, std::vector<int>{5});
  EXPECT_EQ(onOuter.codes, std::vector<int>{5});
}

TEST(ConvertorTest, OwnershipAndCopies) {
  ScaleConvertor* raw = new ScaleConvertor(3.0);
  SCC_SharedPointer<SCC_Convertor> inner(raw);
  {
    SCC_SharedPointer<SCC_IndConvertor> ind(new SCC_IndConvertor(inner));
    Listener listener;
    listener.HookEvent(ind.Get());
    SCC_IndConvertor copy(*ind);
    EXPECT_EQ(copy.GetRefCount(), 0) << "a copy starts unowned";
    EXPECT_TRUE(ind->IsEmpty()) << "listeners move to the copy";
    SCC_IndConvertor other(nullptr);
    other = copy;
    other = other;
    EXPECT_EQ(raw->GetRefCount(), 4);
    raw->Notify(1, nullptr);
    EXPECT_EQ(listener.codes, std::vector<int>{1});
  }
  EXPECT_EQ(raw->GetRefCount(), 1);
  EXPECT_TRUE(raw->IsEmpty()) << "destroyed wrappers unhook their relays";

  // A listener of the wrapper may release it during a relay; the inner raise goes on.
  Listener after;
  after.HookEvent(raw);
  SCC_SharedPointer<SCC_IndConvertor> holder(new SCC_IndConvertor(inner));
  struct Releaser : SCC_EventHook<int> {
    SCC_SharedPointer<SCC_IndConvertor>* holder;
    int OnNotification(int, int*) override {
      holder->Reset();
      return 0;
    }
  } releaser;
  releaser.holder = &holder;
  releaser.HookEvent(holder.Get());
  raw->Notify(4, nullptr);
  EXPECT_EQ(holder.Get(), nullptr);
  EXPECT_EQ(after.codes, std::vector<int>{4});
}

}  // namespace
