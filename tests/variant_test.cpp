// variant_test.cpp - tests of SCC_Variant, SimpleScanf and the convertors.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "sccvariant.h"
#include "ssm.h"

namespace {

std::string Text(const SCC_Variant& v) { return std::string(static_cast<const SYS_String>(v)); }

// Direction 1 multiplies by the factor, direction 0 divides; records every direction.
class ScaleConvertor : public SCC_Convertor {
 public:
  explicit ScaleConvertor(double factor) : factor_(factor) {}
  SCC_Variant Convert(SCC_Variant value, int direction) override {
    directions.push_back(direction);
    const double d = static_cast<double>(value);
    return SCC_Variant(direction == 1 ? d * factor_ : d / factor_);
  }
  std::vector<int> directions;

 private:
  double factor_;
};

// Counts what is raised on the event it hooks.
struct Listener : SCC_EventHook<int> {
  int OnNotification(int code, int* data) override {
    codes.push_back(code);
    payloads.push_back(data);
    return 0;
  }
  std::vector<int> codes;
  std::vector<int*> payloads;
};

TEST(VariantTest, ConstructionAndClear) {
  EXPECT_EQ(SCC_Variant().GetType(), SCC_Variant::TypeEmpty);
  EXPECT_TRUE(SCC_Variant().IsEmpty());
  EXPECT_EQ(SCC_Variant(3).GetType(), SCC_Variant::TypeLong);
  EXPECT_EQ(SCC_Variant(3L).GetType(), SCC_Variant::TypeLong);
  EXPECT_EQ(SCC_Variant(3.0).GetType(), SCC_Variant::TypeDouble);
  EXPECT_EQ(SCC_Variant("x").GetType(), SCC_Variant::TypeString);
  EXPECT_EQ(SCC_Variant(SYS_String("x")).GetType(), SCC_Variant::TypeString);
  EXPECT_EQ(Text(SCC_Variant(static_cast<const char*>(nullptr))), "");

  SCC_Variant v("some text");
  v.Clear();
  EXPECT_TRUE(v.IsEmpty());
  EXPECT_EQ(Text(v), "");
  // Clearing drops the text payload too: the length rule sees an empty text.
  EXPECT_EQ(v.Validate("0", nullptr), 1);

  SCC_Variant a(2.5);
  a = SCC_Variant("abc");
  EXPECT_EQ(a.GetType(), SCC_Variant::TypeString);
  EXPECT_EQ(static_cast<double>(a), 0.0);  // the old double is gone
}

TEST(VariantTest, ToLong) {
  struct Case {
    SCC_Variant value;
    long expected;
  };
  const Case cases[] = {
      {SCC_Variant(7), 7},
      {SCC_Variant(-2147483647 - 1), -2147483647 - 1},
      {SCC_Variant(2.9), 2},
      {SCC_Variant(-2.9), -2},
      {SCC_Variant(-2147483648.0), -2147483647 - 1},
      {SCC_Variant(2147483647.0), 2147483647},
      {SCC_Variant("12.75"), 12},
      {SCC_Variant("  -3.5e1xyz"), -35},
      {SCC_Variant("abc"), 0},
      {SCC_Variant(""), 0},
      {SCC_Variant(), 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Text(c.value));
    EXPECT_EQ(static_cast<long>(c.value), c.expected);
    EXPECT_EQ(static_cast<int>(c.value), static_cast<int>(c.expected));
  }
}

TEST(VariantTest, ToLongOutOfRangeThrows) {
  const SCC_Variant bad[] = {
      SCC_Variant(3e9),
      SCC_Variant(-2147483649.0),
      SCC_Variant(2147483647.5),  // beyond the limit although it would truncate into range
      SCC_Variant("1e10"),
      SCC_Variant(std::numeric_limits<double>::quiet_NaN()),
      SCC_Variant(std::numeric_limits<double>::infinity()),
  };
  for (const SCC_Variant& v : bad) {
    SCOPED_TRACE(Text(v));
    try {
      (void)static_cast<long>(v);
      ADD_FAILURE() << "no exception";
    } catch (const SYS_Exception& e) {
      EXPECT_STREQ(e.GetText(), "Value is out of range.");
    }
    EXPECT_THROW((void)static_cast<int>(v), SYS_Exception);
    EXPECT_NO_THROW((void)static_cast<double>(v));  // only the long conversion checks
  }
}

TEST(VariantTest, ToDouble) {
  EXPECT_EQ(static_cast<double>(SCC_Variant(-4)), -4.0);
  EXPECT_EQ(static_cast<double>(SCC_Variant(0.1)), 0.1);
  EXPECT_EQ(static_cast<double>(SCC_Variant("12.75")), 12.75);
  EXPECT_EQ(static_cast<double>(SCC_Variant("0.1")), 0.1);  // read as a double, not a float
  EXPECT_EQ(static_cast<double>(SCC_Variant("x1")), 0.0);
  EXPECT_EQ(static_cast<double>(SCC_Variant()), 0.0);
  EXPECT_EQ(static_cast<double>(SCC_Variant(3e9)), 3e9);
}

TEST(VariantTest, ToText) {
  struct Case {
    SCC_Variant value;
    const char* expected;
  };
  const Case cases[] = {
      {SCC_Variant(7), "7"},
      {SCC_Variant(-2147483647 - 1), "-2147483648"},
      {SCC_Variant(1.5), "1.5"},
      {SCC_Variant(2.5), "2.5"},
      {SCC_Variant(10.0), "10."},  // the point stays
      {SCC_Variant(0.0), "0."},
      {SCC_Variant(-0.25), "-0.25"},
      {SCC_Variant(100.0), "100."},  // zeros before the point stay
      {SCC_Variant(1e-7), "0."},     // six decimals only
      {SCC_Variant("as is 0.0"), "as is 0.0"},
      {SCC_Variant(), ""},
  };
  for (const Case& c : cases) EXPECT_EQ(Text(c.value), c.expected);

  const std::string huge = Text(SCC_Variant(1e300));
  EXPECT_EQ(huge.size(), 302u);  // 301 digits and the point
  EXPECT_EQ(huge.back(), '.');
  EXPECT_EQ(Text(SCC_Variant(-std::numeric_limits<double>::max())).size(), 311u);
  EXPECT_EQ(Text(SCC_Variant(std::numeric_limits<double>::infinity())), "inf");
}

TEST(VariantTest, Equality) {
  struct Case {
    SCC_Variant a, b;
    int equal;
  };
  const Case cases[] = {
      {SCC_Variant(), SCC_Variant(), 1},
      {SCC_Variant(), SCC_Variant(0), 0},
      {SCC_Variant(""), SCC_Variant(), 0},
      {SCC_Variant(0.0), SCC_Variant(), 0},
      {SCC_Variant(2), SCC_Variant(2), 1},
      {SCC_Variant(2), SCC_Variant(3), 0},
      {SCC_Variant(2), SCC_Variant(2.0), 1},          // compared as doubles
      {SCC_Variant(2), SCC_Variant(2.5), 0},          // not truncated
      {SCC_Variant(0.1 + 0.2), SCC_Variant(0.3), 0},  // exactly, no tolerance
      {SCC_Variant(2.0), SCC_Variant("2."), 1},       // compared as texts
      {SCC_Variant(2.0), SCC_Variant("2"), 0},
      {SCC_Variant(2), SCC_Variant("2"), 1},
      {SCC_Variant(2), SCC_Variant("2.0"), 0},
      {SCC_Variant("abc"), SCC_Variant("abc"), 1},
      {SCC_Variant("abc"), SCC_Variant("ABC"), 0},  // case counts
      {SCC_Variant(1.5), SCC_Variant("1.5"), 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Text(c.a) + " vs " + Text(c.b));
    EXPECT_EQ(c.a == c.b, c.equal);
    EXPECT_EQ(c.b == c.a, c.equal);  // symmetric
    EXPECT_EQ(c.a != c.b, !c.equal);
  }
}

struct ValidateCase {
  const char* spec;
  SCC_Variant value;
  int valid;
  const char* message;  // what a failed range check leaves in the variant
};

TEST(VariantTest, ValidateWithoutConvertor) {
  const ValidateCase cases[] = {
      {"[ 0 , 10 ]", SCC_Variant(10), 1, nullptr},
      {"[ 0 , 10 ]", SCC_Variant(0), 1, nullptr},
      {"[ 0 , 10 ]", SCC_Variant(10.5), 0,
       "Please enter a value within the [0.000000,10.000000] range."},
      {"[ 0 , 10 ]", SCC_Variant(-1), 0,
       "Please enter a value within the [0.000000,10.000000] range."},
      {"( 0 , 10 )", SCC_Variant(0), 0,
       "Please enter a value within the (0.000000,10.000000) range."},
      {"( 0 , 10 )", SCC_Variant(10), 0,
       "Please enter a value within the (0.000000,10.000000) range."},
      {"( 0 , 10 )", SCC_Variant(0.001), 1, nullptr},
      {"< -1.5 , 2e3 >", SCC_Variant("1999"), 1, nullptr},
      {"< -1.5 , 2e3 >", SCC_Variant("2000"), 0,
       "Please enter a value within the <-1.500000,2000.000000> range."},
      {"[\t0\n,\n10 ]  trailing", SCC_Variant(11), 0,
       "Please enter a value within the [0.000000,10.000000] range."},
      {"[ 0 ,10 ]", SCC_Variant(11), 0,
       "Please enter a value within the [0.000000,10.000000] range."},
      {"[ a , b ]", SCC_Variant(1), 0,
       "Please enter a value within the [0.000000,0.000000] range."},
      {"[ 0 , 10 ]", SCC_Variant("text"), 1, nullptr},  // reads as 0
      {"[0,10]", SCC_Variant(1e9), 1, nullptr},         // not a range, not a length
      {"[ 0, 10 ]", SCC_Variant(1e9), 1, nullptr},      // "0," is one word
      {"[ 0 , 10]", SCC_Variant(1e9), 1, nullptr},      // no closing token
      {"", SCC_Variant(1e9), 1, nullptr},
      {"5", SCC_Variant("abcdef"), 0, nullptr},
      {"5", SCC_Variant("abcde"), 1, nullptr},
      {" 5 chars", SCC_Variant("abcde"), 1, nullptr},
      {"5", SCC_Variant(1234567), 1, nullptr},  // numbers have no text payload
      {"-1", SCC_Variant(3), 0, nullptr},       // nothing is that short
      {"99999999999", SCC_Variant("long text"), 1, nullptr},
      {"#5", SCC_Variant("abcdef"), 0, nullptr},
      {"#[ 0 , 1 ]", SCC_Variant(2), 0,
       "Please enter a value within the [0.000000,1.000000] range."},
  };
  for (const ValidateCase& c : cases) {
    SCOPED_TRACE(std::string(c.spec) + " with " + Text(c.value));
    SCC_Variant v = c.value;
    EXPECT_EQ(v.Validate(c.spec, nullptr), c.valid);
    if (c.message) {
      EXPECT_EQ(v.GetType(), SCC_Variant::TypeString);
      EXPECT_EQ(Text(v), c.message);
    } else {
      EXPECT_TRUE(v == c.value) << "left unchanged";
      EXPECT_EQ(v.GetType(), c.value.GetType());
    }
  }
  SCC_Variant empty;
  EXPECT_EQ(empty.Validate("[ 1 , 2 ]", nullptr), 1);
  EXPECT_TRUE(empty.IsEmpty());
}

TEST(VariantTest, ValidateLeavesMessageInConstVariant) {
  const SCC_Variant v(42);
  EXPECT_EQ(v.Validate("[ 0 , 10 ]", nullptr), 0);
  EXPECT_EQ(v.GetType(), SCC_Variant::TypeString);
  EXPECT_EQ(static_cast<double>(v), 0.0);  // "Please ..." reads as no number
}

TEST(VariantTest, ValidateWithConvertor) {
  SCC_SharedPointer<ScaleConvertor> mm(new ScaleConvertor(1000.0));

  SCC_Variant inRange(0.005);  // 5 after conversion
  EXPECT_EQ(inRange.Validate("[ 0 , 10 ]", mm), 1);
  EXPECT_EQ(mm->directions, std::vector<int>{1});

  // Without "#" the bounds are shown as written.
  mm->directions.clear();
  SCC_Variant plain(0.02);
  EXPECT_EQ(plain.Validate("[ 0 , 10 ]", mm), 0);
  EXPECT_EQ(Text(plain), "Please enter a value within the [0.000000,10.000000] range.");
  EXPECT_EQ(mm->directions, std::vector<int>{1});

  // With "#" each bound is converted back with direction 0 for the message.
  mm->directions.clear();
  SCC_Variant hashed(0.02);
  EXPECT_EQ(hashed.Validate("#[ 0 , 10 ]", mm), 0);
  EXPECT_EQ(Text(hashed), "Please enter a value within the [0.000000,0.010000] range.");
  EXPECT_EQ(mm->directions, (std::vector<int>{1, 0, 0}));

  // The length rule reads the variant's own text, not the converted value.
  SCC_Variant text("123456");
  EXPECT_EQ(text.Validate("3", mm), 0);
  EXPECT_EQ(text.Validate("6", mm), 1);
}

TEST(VariantTest, SimpleScanf) {
  double d = -1;
  EXPECT_EQ(SimpleScanf("12.75", "%f", &d), 1);
  EXPECT_EQ(d, 12.75);
  EXPECT_EQ(SimpleScanf("  -1e3rest", "%lf", &d), 1);
  EXPECT_EQ(d, -1000.0);
  d = 5;
  EXPECT_EQ(SimpleScanf("x", "%f", &d), 0);
  EXPECT_EQ(d, 5.0) << "target left unset";
  EXPECT_EQ(SimpleScanf("", "%f", &d), 0);
  EXPECT_EQ(SimpleScanf(nullptr, "%f", &d), 0);
  EXPECT_EQ(SimpleScanf("1", nullptr), 0);

  int a = 0, b = 0;
  long l = 0;
  unsigned u = 0;
  EXPECT_EQ(SimpleScanf("4, -17 ; 0x1F", "%d , %d ; %x", &a, &b, &u), 3);
  EXPECT_EQ(a, 4);
  EXPECT_EQ(b, -17);
  EXPECT_EQ(u, 31u);
  EXPECT_EQ(SimpleScanf("4 x 5", "%d y %d", &a, &b), 1) << "stops at the mismatch";
  EXPECT_EQ(SimpleScanf("99999999999 -99999999999", "%d %ld", &a, &l), 2);
  EXPECT_EQ(a, 2147483647) << "saturates";
  EXPECT_EQ(l, -99999999999L);
  EXPECT_EQ(SimpleScanf("123456", "%2d%3d", &a, &b), 2);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(b, 345);
  EXPECT_EQ(SimpleScanf("-", "%d", &a), 0);
  EXPECT_EQ(SimpleScanf("1.5e2", "%3f", &d), 1);
  EXPECT_EQ(d, 1.5);

  char c = 0;
  char word[4] = "xyz";
  int used = 0;
  EXPECT_EQ(SimpleScanf("[ lengthy ]", "%c %3s%n", &c, word, &used), 2);
  EXPECT_EQ(c, '[');
  EXPECT_STREQ(word, "len");
  EXPECT_EQ(used, 5);
  EXPECT_EQ(SimpleScanf("abc", "%s", word), 0) << "an unbounded word is refused";
  EXPECT_EQ(SimpleScanf("7 8", "%*d %d", &a), 1);
  EXPECT_EQ(a, 8);
  EXPECT_EQ(SimpleScanf("50% 3", "%d%% %d", &a, &b), 2);
  EXPECT_EQ(b, 3);
  EXPECT_EQ(SimpleScanf("1", "%q", &a), 0);
}

TEST(ConvertorTest, DirectionsAndIdentity) {
  SCC_SharedPointer<SCC_Convertor> base(new SCC_Convertor);
  for (int dir : {0, 1, 7}) EXPECT_TRUE(base->Convert(SCC_Variant("v"), dir) == SCC_Variant("v"));

  SCC_SharedPointer<ScaleConvertor> scale(new ScaleConvertor(2.0));
  SCC_SharedPointer<SCC_IndConvertor> ind(new SCC_IndConvertor(scale));
  SCC_SharedPointer<SCC_RevConvertor> rev(new SCC_RevConvertor(scale));
  EXPECT_EQ(static_cast<double>(ind->Convert(SCC_Variant(3.0), 1)), 6.0);
  EXPECT_EQ(static_cast<double>(rev->Convert(SCC_Variant(3.0), 1)), 1.5);
  scale->directions.clear();
  for (int dir : {0, 1, 2, -1}) rev->Convert(SCC_Variant(1.0), dir);
  EXPECT_EQ(scale->directions, (std::vector<int>{1, 0, 0, 0}));

  SCC_IndConvertor empty{SCC_SharedPointer<SCC_Convertor>()};
  EXPECT_TRUE(empty.Convert(SCC_Variant(4), 1) == SCC_Variant(4));
}

TEST(ConvertorTest, RelaysNotificationsThroughWrappers) {
  SCC_SharedPointer<SCC_Convertor> inner(new SCC_Convertor);
  SCC_SharedPointer<SCC_IndConvertor> ind(new SCC_IndConvertor(inner));
  SCC_SharedPointer<SCC_RevConvertor> rev(new SCC_RevConvertor(inner));
  SCC_SharedPointer<SCC_IndConvertor> outer(new SCC_IndConvertor(rev));
  Listener onInd, onRev, onOuter;
  onInd.HookEvent(ind.Get());
  onRev.HookEvent(rev.Get());
  onOuter.HookEvent(outer.Get());

  int payload = 9;
  inner->Notify(5, &payload);
  EXPECT_EQ(onInd.codes, std::vector<int>{5});
  EXPECT_EQ(onRev.codes, std::vector<int>{5});
  EXPECT_EQ(onOuter.codes, std::vector<int>{5});
  EXPECT_EQ(onOuter.payloads[0], &payload);

  ind->Notify(3, nullptr);  // travels outwards only
  EXPECT_EQ(onInd.codes.size(), 2u);
  EXPECT_EQ(onRev.codes.size(), 1u);
}

TEST(ConvertorTest, OwnershipAndCopies) {
  ScaleConvertor* raw = new ScaleConvertor(3.0);
  SCC_SharedPointer<SCC_Convertor> inner(raw);
  {
    SCC_SharedPointer<SCC_IndConvertor> ind(new SCC_IndConvertor(inner));
    EXPECT_EQ(raw->GetRefCount(), 2);
    EXPECT_FALSE(raw->IsEmpty()) << "the relay hook listens to the inner convertor";

    Listener listener;
    listener.HookEvent(ind.Get());
    SCC_IndConvertor copy(*ind);
    EXPECT_EQ(copy.GetRefCount(), 0) << "a copy starts unowned";
    EXPECT_EQ(raw->GetRefCount(), 3);
    EXPECT_TRUE(ind->IsEmpty()) << "listeners move to the copy";
    raw->Notify(1, nullptr);
    EXPECT_EQ(listener.codes, std::vector<int>{1});
    EXPECT_EQ(static_cast<double>(copy.Convert(SCC_Variant(1.0), 1)), 3.0);

    SCC_IndConvertor other{SCC_SharedPointer<SCC_Convertor>()};
    other = copy;
    EXPECT_EQ(raw->GetRefCount(), 4);
    other = other;  // self-assignment keeps the inner convertor
    EXPECT_EQ(raw->GetRefCount(), 4);
  }
  EXPECT_EQ(raw->GetRefCount(), 1);
  EXPECT_TRUE(raw->IsEmpty()) << "destroyed wrappers unhook their relays";

  // The wrapper's reference keeps the inner convertor alive after its creator lets go.
  SCC_SharedPointer<SCC_IndConvertor> last(new SCC_IndConvertor(inner));
  inner.Reset();
  EXPECT_EQ(static_cast<double>(last->Convert(SCC_Variant(2.0), 1)), 6.0);
}

TEST(ConvertorTest, ListenerMayReleaseTheWrapperDuringARelay) {
  SCC_SharedPointer<SCC_Convertor> inner(new SCC_Convertor);
  Listener after;  // hooked first, so called after the wrapper's relay
  after.HookEvent(inner.Get());
  auto* ind = new SCC_IndConvertor(inner);
  SCC_SharedPointer<SCC_IndConvertor> holder(ind);
  struct Releaser : SCC_EventHook<int> {
    SCC_SharedPointer<SCC_IndConvertor>* holder;
    int OnNotification(int, int*) override {
      holder->Reset();
      return 0;
    }
  } releaser;
  releaser.holder = &holder;
  releaser.HookEvent(ind);
  inner->Notify(4, nullptr);
  EXPECT_EQ(holder.Get(), nullptr);
  EXPECT_EQ(after.codes, std::vector<int>{4}) << "the inner raise goes on";
  EXPECT_EQ(releaser.GetRoot(), nullptr);
}

}  // namespace
