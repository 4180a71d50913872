// string_test.cpp - tests of SYS_String, SYS_StrNoCase, SYS_StrPattern and the number readers.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <sstream>
#include <tuple>
#include <vector>

#include "sccvariant.h"
#include "ssm.h"
#include "sysstring.h"
#include "sysunits.h"
#include "test_locale.h"

static_assert(sizeof(SYS_String) == sizeof(void*));

namespace {

std::string Str(const SYS_String& s) { return std::string(s.View()); }

// The values, each followed by a blank. Arguments are evaluated in no set order, so a call
// must not read a variable that another argument writes, except through the reference.
template <typename... T>
std::string Cat(const T&... values) {
  std::ostringstream out;
  ((out << values << ' '), ...);
  return out.str();
}

// Switches LC_CTYPE to a locale every glibc has, for one test.
struct CtypeLocale {
  explicit CtypeLocale(const char* name) : ok(std::setlocale(LC_CTYPE, name) != nullptr) {}
  ~CtypeLocale() { std::setlocale(LC_CTYPE, old.c_str()); }
  std::string old = std::setlocale(LC_CTYPE, nullptr);
  bool ok;
};

TEST(StringTest, CopiesShareUntilOneSideWrites) {
  using Edit = std::function<void(SYS_String&)>;
  const Edit edits[] = {
      [](SYS_String& s) { s.Replace(1, 2, "XY"); }, [](SYS_String& s) { s.Replace("b", "Q"); },
      [](SYS_String& s) { s.Replace('c', 'q'); },   [](SYS_String& s) { s.AllTrim(" a"); },
      [](SYS_String& s) { s.TrimLeft(); },          [](SYS_String& s) { s.TrimRight(); },
      [](SYS_String& s) { s.Insert(2, "--"); },     [](SYS_String& s) { s.Delete(0, 2); },
      [](SYS_String& s) { s.MakeUpper(); },         [](SYS_String& s) { s.MakeLower(); },
      [](SYS_String& s) { s.SetAt(0, '#'); },       [](SYS_String& s) { s << "more"; },
      [](SYS_String& s) { s.Format("%d", 42); },    [](SYS_String& s) { s.Replace(0, 3, "x y"); },
      [](SYS_String& s) { s.GetBuffer(20)[0] = '#'; },
  };
  const SYS_String source(" abcAbc ");
  for (const Edit& edit : edits) {
    SYS_String copy(source);
    ASSERT_EQ(copy.GetString(), source.GetString());
    edit(copy);
    EXPECT_EQ(Str(source), " abcAbc ");
    EXPECT_NE(Str(copy), " abcAbc ");
  }
  EXPECT_EQ(SYS_String().GetString(), SYS_String("abc", 0).GetString());  // one static empty
}

TEST(StringTest, ConstructionAndWideText) {
  EXPECT_EQ(Cat(SYS_String(static_cast<const char*>(nullptr)), SYS_String("abc", -1), SYS_String(nullptr, 4),
                SYS_String('x', -3), SYS_String('x', 3), SYS_String(std::string_view("xyz", 2))),
            "    xxx xy ");
  const unsigned short hello[] = {0xD83D, 0xDE00, 'h', 0xE9, 'l', 0xD83D, 0xDE00, '!', 0};
  {
    CtypeLocale c("C");
    EXPECT_EQ(Str(SYS_String(hello)), "?h?l?!");  // a pair is one character
  }
  CtypeLocale utf8("C.UTF-8");
  if (!utf8.ok) GTEST_SKIP() << "no UTF-8 locale";
  const unsigned short lone[] = {'a', 0xD800, 'b', 0xDC00, 0};
  EXPECT_EQ(Cat(SYS_String(hello), SYS_String(lone), SYS_String(static_cast<const unsigned short*>(nullptr))),
            "\xF0\x9F\x98\x80h\xC3\xA9l\xF0\x9F\x98\x80! a?b?  ");
  std::vector<unsigned short> wide(3000, 0x20AC);
  wide.push_back(0);
  SYS_String s("old");
  errno = E2BIG;  // a stale error must not send the converter round again
  s = wide.data();
  EXPECT_EQ(Cat(s.Right(3), s.GetLength()), "\xE2\x82\xAC 9000 ");
}

// Edits whose text lies in the string's own buffer, shared or not.
TEST(StringTest, EditsThatReadTheirOwnBuffer) {
  SYS_String s("abc");
  s += s;
  s << (s.GetString() + 4);
  SYS_String shared(s);
  s += s.GetString() + 6;  // shared buffer: the source must survive unsharing
  s.Replace(0, 3, s.GetString() + 7);
  s = s.GetString() + 5;
  s.Format("%s-%s", s.GetString(), s.GetString());
  EXPECT_EQ(Str(s) + Str(shared), "cbcbc-cbcbcabcabcbc");  // from "cbcabcbcbc"
  // A same-length overwrite writes in place into a private buffer; the ranges may overlap.
  s = "abcdefgh";
  s.Replace(1, 4, s.GetString() + 4);
  s.Replace(6, 4, "zzzz");  // reaches past the end: clamped, so the text grows
  s = s.GetString() + 2;    // a shorter assignment from inside the private buffer
  s << s;
  EXPECT_EQ(Str(s), "fghfzzzzfghfzzzz");
}

TEST(StringTest, PositionsAndCountsClamp) {
  const SYS_String s("hello");
  EXPECT_EQ(Cat(s.Left(2), s.Left(-2), s.Left(99), s.Mid(3), s.Mid(-3, 2), s.Mid(4, 9), s.Mid(9),
                s.Right(2), s.Right(9)),
            "he  hello lo he o  lo hello ");
  const std::tuple<int, int, const char*, const char*> cases[] = {
      {1, 2, "XY", "aXYde"}, {0, 0, "<", "<abcde"}, {-5, 1, "<", "<bcde"},  {5, 0, ">", "abcde>"},
      {9, 3, ">", "abcde>"}, {2, -1, "+", "ab+cde"}, {2, 99, "!", "ab!"},    {0, 5, "", ""},
      {1, 3, nullptr, "ae"}, {3, 1, "long text", "abclong texte"},
  };
  for (const auto& [pos, count, text, expected] : cases) {
    SYS_String r("abcde");
    r.Replace(pos, count, text);
    EXPECT_EQ(Str(r), expected) << pos << "," << count;
  }
  SYS_String e("abc");
  const int lengths[] = {e.Insert(-1, "x"), e.Insert(99, 'y'), e.Delete(1, 2), e.Delete(5, 2),
                         e.Insert(1, '\0')};  // in order: braces sequence the calls
  EXPECT_EQ(Cat(lengths[0], lengths[1], lengths[2], lengths[3], lengths[4]), "4 5 3 3 4 ");
  EXPECT_EQ(Str(e), std::string("x\0cy", 4));
}

TEST(StringTest, ReplaceAllTrimAndCase) {
  const std::tuple<const char*, const char*, const char*, const char*, int> cases[] = {
      {"aaaa", "aa", "b", "bb", 2},    {"abcabc", "bc", "", "aa", 2},   {"abc", "x", "y", "abc", 0},
      {"abc", "", "y", "abc", 0},      {"abc", nullptr, "y", "abc", 0}, {"abc", "abc", nullptr, "", 1},
      {"a.b.c", ".", "::", "a::b::c", 2}, {"", "a", "b", "", 0},        {"xaa", "a", "aa", "xaaaa", 2},
  };
  for (const auto& [text, old, with, expected, count] : cases) {
    SYS_String s(text);
    EXPECT_EQ(s.Replace(old, with), count) << text;
    EXPECT_EQ(Str(s), expected) << text;
  }
  SYS_String s("banana");
  const int counts[] = {s.Replace('a', 'o'), s.Replace('o', 'o')};
  EXPECT_EQ(Cat(counts[0], counts[1], s), "3 0 bonono ");
  EXPECT_EQ(Cat(SYS_String(" \t\n ab c \r\v\f").AllTrim(""), SYS_String("xyaxy").AllTrim("xy"),
                SYS_String("  a  ").AllTrim(nullptr), SYS_String("xyx").AllTrim("xy"), SYS_String(" ab ").TrimLeft(),
                "|", SYS_String(" ab ").TrimRight()),
            "ab c a a  ab  |  ab ");
  EXPECT_EQ(Cat(SYS_String("Mixed \xC9 1").MakeUpper(), SYS_String("Mixed \xC9 1").MakeLower()),
            "MIXED \xC9 1 mixed \xC9 1 ");
}

// Appended integers and doubles read as printf writes them, whatever room is left.
TEST(StringTest, AppendedNumbersReadAsPrintfWritesThem) {
  std::mt19937_64 rng(7);
  const long extremes[] = {LONG_MIN, LONG_MAX, 0, -1};
  char expected[400];
  for (int i = 0; i < 2000; ++i) {
    const std::uint64_t bits = rng();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    if (i % 2) value = static_cast<double>(static_cast<std::int64_t>(bits) % 100000000) / 4096.0;
    const long number = i < 4 ? extremes[i] : static_cast<long>(bits);
    const std::string room(static_cast<std::size_t>(i % 24), 'r');
    std::snprintf(expected, sizeof expected, "%s%f%ld", room.c_str(), value, number);
    SYS_String d(room.c_str());
    const SYS_String copy(d);
    d << value << number;
    ASSERT_EQ(Str(d) + "|" + Str(copy), std::string(expected) + "|" + room);
  }
}

TEST(StringTest, Searches) {
  const SYS_String s("abcab"), abc("abc"), e;
  EXPECT_EQ(Cat(s.Find('b'), s.Find('b', 2), s.Find('a', 5), s.Find('a', 6), s.Find('a', -1), s.Find('\0', 0),
                s.Find('\0', 5), e.Find('\0', 0), s.Find("ab", 1), s.Find("ab", 5), s.Find("", 2), s.Find("abx"),
                s.Find("b", 4), s.Find(static_cast<const char*>(nullptr)), e.Find("x", 0)),
            "1 4 -1 -1 -1 5 5 0 3 -1 2 -1 4 -1 -1 ");
  EXPECT_EQ(Cat(s.FindOneOf("cx"), s.FindOneOf("a", 1), s.FindOneOf("a", 5), s.FindOneOf("", 0),
                s.FindOneOf("a", -1), s.SpanIncluding("ba"), s.SpanIncluding("x"), s.SpanExcluding("c"),
                s.SpanExcluding("xyz")),
            "2 3 -1 -1 -1 ab  ab abcab ");
  EXPECT_EQ(Cat(abc.ReverseFind('\0', -2), abc.ReverseFind('\0', 3), abc.ReverseFind('\0', 1),
                abc.ReverseFind('c', -2), abc.ReverseFind('c', 1), abc.ReverseFind('a', 5), abc.ReverseFind('a', 3),
                abc.ReverseFind('a', -1), abc.ReverseFind('a', 0), s.ReverseFind('a'), e.ReverseFind('a', -2)),
            "3 3 -1 2 -1 -1 -1 -1 0 3 -1 ");
  EXPECT_EQ(Cat(SYS_String("abca").ReverseFindOneOf("a", -2), abc.ReverseFindOneOf("a", -2),
                abc.ReverseFindOneOf("ab", -2), abc.ReverseFindOneOf("bc", 1), abc.ReverseFindOneOf("c", 1),
                abc.ReverseFindOneOf("c", 3), abc.ReverseFindOneOf("", -2)),
            "3 -1 1 1 -1 -1 -1 ");  // position 0 is never reported
}

// In a double-byte code page a trail byte that happens to be an ASCII byte is not that
// character. A byte match below 0x80 after a byte below 0x80 is taken without asking the
// code page; any other match is checked by stepping whole characters.
TEST(StringTest, DoubleByteTextIsSteppedByCharacter) {
  const test_locale::Scoped gbk(LC_CTYPE, test_locale::kGbk);
  BRIX_REQUIRE_LOCALE(gbk);
  ASSERT_EQ(MB_CUR_MAX, 2u);
  const char* spans[][4] = {
      // text, set, SpanIncluding, SpanExcluding. "\x81\x41" is one character ending in "A".
      {"\x81\x41" "BA", "A", "", "\x81\x41" "B"},
      {"\x81\x41" "B\x81\x42" "x", "\x81\x41" "B", "\x81\x41" "B", ""},
      {"ab\x81\x41", "\x81", "", "ab\x81\x41"},
      {"A\x81\x41\x81", "\x81\x41" "A", "A\x81\x41", ""},
      {"\x81\x41\x81\x41" "c", "c\x81\x41", "\x81\x41\x81\x41" "c", ""},
  };
  for (const auto& c : spans)
    EXPECT_EQ(Cat(SYS_String(c[0]).SpanIncluding(c[1]), SYS_String(c[0]).SpanExcluding(c[1])),
              Cat(c[2], c[3])) << c[0] << " / " << c[1];
  const SYS_String a("\x81\x41" "A"), b("\x81\x81\x41" "A"), c("x\x81\x41" "zA"),
      d("\x81\x41" "BAB"), e("\x81\x41\x81\x41");
  EXPECT_EQ(Cat(a.Find('A'), a.Find("A"), a.Find("A", 2), b.Find('A'), b.Find("AA"), c.Find('A'),
                c.Find("Az"), c.Find("z"), d.Find("AB"), d.Find('B'), e.Find('A'), e.Find("A", 2),
                SYS_String("A\x81\x41").Find('A')),
            "2 2 2 2 2 4 -1 3 3 2 -1 -1 0 ");
}

TEST(StringTest, Comparisons) {
  const std::tuple<const char*, const char*, int> alnum[] = {
      {"a10", "a9", 1}, {"a9", "a10", -1}, {"a01", "a1", 0}, {"a$", "a", 1},   {"a$", "ab", 1},
      {"ab", "a$", -1}, {"$", "$", 0},     {"abc", "abd", -1}, {"abc", "ab", 1}, {"", "", 0},
      {"", "a", -1},    {"x2y10", "x2y9", 1}, {"10", "9b", 1}, {"a1b", "a1c", -1}, {"\xE9", "z", 1},
      {"a", nullptr, 1}, {"99999999999999999999", "99999999999999999998", 0},  // both saturate
  };
  for (const auto& [a, b, expected] : alnum)
    EXPECT_EQ(SYS_String(a).CompareAlNum(b), expected) << a << " vs " << (b ? b : "");
  const SYS_String a("abc");
  EXPECT_EQ(Cat(a.Compare("abd"), SYS_String("\xE9").Compare("z"), a.CompareNoCase("ABC"),
                SYS_String("[").CompareNoCase("a"), a + "-" + a + '!', '<' + a, "x" + a),
            "-1 1 0 -1 abc-abc! <abc xabc ");  // bytes are unsigned; only A-Z fold: '[' stays 0x5B
}

TEST(StringTest, PatternValidityAndMatch) {
  std::string errors;  // validity, then the error: -1 open escape, -2 open range, -3 no "]", -4 empty
  for (const char* pattern : {"a[]", "[abc", "[a-]", "[a\\", "[a-c]x*", "[a-b", "[a-", "[!]", "\\[", "[\\]]",
                              "[a-\\]]", "[a-\\", "x[^a-z]*?", "[-a]", "[ok][]", ""}) {
    int error = 99;
    errors += Cat(SYS_String(pattern).IsValidPattern(&error), error);
  }
  EXPECT_EQ(errors, "0 -4 0 -3 0 -2 0 -1 1 0 0 -3 0 -2 0 -4 1 0 1 0 1 0 0 -1 1 0 1 0 0 -4 1 0 ");
  const std::tuple<const char*, const char*, int> cases[] = {
      {"", "", 1},        {"", "*", 1},       {"", "?", 0},        {"abc", "ab", 0},      {"abc", "a*", 1},
      {"abc", "*c", 1},   {"abc", "a?c", 1},  {"abc", "**a**c**", 1}, {"abc", "A*", 0},   {"b", "[a-c]", 1},
      {"d", "[a-c]", 0},  {"d", "[!a-c]", 1}, {"b", "[^a-c]", 0},  {"-", "[-a]", 1},      {"]", "[\\]]", 1},
      {"*", "\\*", 1},    {"x", "\\*", 0},    {"a\\", "a\\", 1},     {"ab", "[a", 0},       {"a", "[]", 0},
      {"a", "[a-", 0},    {"?", "[?*]", 1},   {"c", "[a-bc]", 1},  {"-", "[a\\-c]", 1},   {"b", "[a\\-c]", 0},
      {"ab", "?", 0},     {"a", "*?", 1},     {"", "*?", 0},       {"a]", "[a]]", 1},     {"c", "[!a]", 1},
      {"file.txt", "*.[tT][xX][tT]", 1},      {"mississippi", "m*iss*ppi", 1},          {"mississippi", "m*iss*x", 0},
  };
  for (const auto& [text, pattern, expected] : cases) {
    EXPECT_EQ(SYS_String(text).Match(pattern), expected) << text << " ~ " << pattern;
    EXPECT_EQ(SYS_StrPattern(pattern).Match(text), expected) << text << " ~ " << pattern;
  }
  EXPECT_EQ(Cat(SYS_StrPattern("*").Match(nullptr), SYS_String("x").Match(static_cast<const char*>(nullptr))),
            "1 0 ");
  const std::string as(10000, 'a');  // many stars must not backtrack exponentially
  EXPECT_EQ(SYS_String(as.c_str()).Match("*a*a*a*a*a*a*a*a*a*b"), 0);
}

TEST(StringTest, ExtractionOperators) {
  unsigned int value = 99, w = 0, h = 0;
  const std::pair<const char*, const char*> numbers[] = {
      {"12abc", "abc 12 "}, {"abc", "abc 0 "}, {"  +7 x", " x 7 "}, {"-1", " 4294967295 "},
      {"99999999999", " 4294967295 "}};
  for (const auto& [text, expected] : numbers) EXPECT_EQ(Cat(SYS_String(text) >> value, value), expected);
  EXPECT_EQ(Cat(SYS_String("640x480 px") >> w >> "x" >> h, w, h), " px 640 480 ");
  EXPECT_EQ(Cat(SYS_String(", ,x, ") >> " ,", SYS_String("abc") >> static_cast<const char*>(nullptr)), "x,  abc ");
  std::string tokens;  // rest, then token: a quoted token ends at the quote before the rest
  for (const char* text : {"\"ab\"cd", "x\"\"y", "\"open", "a\"b", "\"\"", "\"", "", "\"a\"\"b\" rest"}) {
    SYS_String token("stale");
    tokens += Cat(SYS_String(text) >> token, token) + "|";
  }
  EXPECT_EQ(tokens, "\"cd ab | x\"\"y | open |\"b a | \"\" |  |  |\" rest a\"\"b |");
  std::string fields;
  for (int index : {-3, 2, 3, 4}) {
    SYS_String field("stale");
    fields += Cat(SysExtractSubString(field, "a,b,,c", index, ','), field);
  }
  SYS_String field("stale");
  const int results[] = {SysExtractSubString(field, nullptr, 0, ','), SysExtractSubString(field, "abc", 1, ',')};
  EXPECT_EQ(fields + Cat(results[0], results[1], field), "1 a 1  1 c 0  0 0  ");
}

TEST(StringTest, IntegerReaders) {
  const char* end = nullptr;
  int i = 0;
  long l = 0;
  unsigned int u = 0;
  unsigned long ul = 0;
  EXPECT_EQ(Cat(SYS_String(" -42xyz").Value(&i, &end), i, end), "-42 -42 xyz ");
  auto V = [](const char* text, auto* out) { return SYS_String(text).Value(out); };
  EXPECT_EQ(Cat(V("123456789012", &l), V("-9223372036854775808", &l), V("9223372036854775808", &l)),
            "123456789012 -9223372036854775808 9223372036854775807 ");
  EXPECT_EQ(Cat(V("3000000000", &i), V("-3000000000", &i)), "2147483647 -2147483648 ");  // 32-bit
  EXPECT_EQ(Cat(V("-2", &u), V("4294967296", &u), V("18446744073709551616", &ul), V("-1", &ul)),
            "4294967294 4294967295 18446744073709551615 18446744073709551615 ");
  // isinteger takes a whole 32-bit number between blanks.
  std::string accepted;
  for (const char* text : {"12", " -7 ", "+3", "2147483647", "-2147483648", "2147483648", "-2147483649",
                           "99999999999999999999", "1.0", "0x1", "1 2", "", "  ", "-", "+-1", "007"}) {
    long v = -99;
    accepted += Cat(isinteger(text, &v), v);
  }
  EXPECT_EQ(accepted, "1 12 1 -7 1 3 1 2147483647 1 -2147483648 0 -99 0 -99 0 -99 0 -99 0 -99 0 -99 0 -99 "
                      "0 -99 0 -99 0 -99 1 7 ");
  EXPECT_EQ(isinteger(nullptr) + isinteger("5"), 1);
}

// Every reader of doubles follows one rule: optional blanks and sign, decimal digits with
// an optional point and exponent. Hexadecimal floats, "inf" and "nan" are not numbers; they
// read as far as their decimal prefix goes ("0x1p4" reads the 0), as the unit parsers do.
TEST(StringTest, OneRuleForReadingDoubles) {
  const double huge = HUGE_VAL;
  // text, value, bytes read (0: none), whole (1: the whole-text readers accept it; 2: only
  // getdouble, which takes trailing blanks)
  const std::tuple<const char*, double, int, int> cases[] = {
      {"1.5e2x", 150.0, 5, 0}, {"  -0.5", -0.5, 6, 1},  {".5", 0.5, 2, 1},       {"5.", 5.0, 2, 1},
      {"+2", 2.0, 2, 1},       {"1e", 1.0, 1, 0},       {"1e+", 1.0, 1, 0},      {"7E-1", 0.7, 4, 1},
      {"0x1p4", 0.0, 1, 0},    {"inf", 0.0, 0, 0},      {"-inf", 0.0, 0, 0},     {"nan", 0.0, 0, 0},
      {"NAN(1)", 0.0, 0, 0},   {".", 0.0, 0, 0},        {"-", 0.0, 0, 0},        {"", 0.0, 0, 0},
      {"1e400", huge, 5, 0},   {"-1e400", -huge, 6, 0}, {"1e-400", 0.0, 6, 0},   {"2.5 ", 2.5, 3, 2},
      {"0.000e999999", 0.0, 12, 1},                     {"12.75", 12.75, 5, 1},  {"2,5", 2.0, 1, 0},
      {" 1 2", 1.0, 2, 0},
  };
  for (const auto& [text, value, consumed, whole] : cases) {
    const SYS_String s(text);
    const char* end = nullptr;
    double d = -1, scanned = -1, g = -1, u = -1;
    float f = -1;
    int used = -1;
    EXPECT_EQ(Cat(s.Value(&d, &end), d, s.Value(&f)), Cat(value, value, static_cast<float>(value))) << text;
    EXPECT_EQ(end - s.GetString(), consumed) << text;
    EXPECT_EQ(Cat(SimpleScanf(text, "%f%n", &scanned, &used), scanned, used),
              consumed ? Cat(1, value, consumed) : "0 -1 -1 ") << text;
    // The whole-text readers accept exactly the finite numbers that fill the text.
    EXPECT_EQ(Cat(getdouble(text, &g), g, SYS_Convert::Str2Double(text, &u)),
              Cat(whole != 0, whole ? value : -1, whole == 1)) << text;
  }
  EXPECT_EQ(getdouble(nullptr, nullptr) * 10 + getdouble("1.5", nullptr), 1);
}

// A host that calls setlocale(LC_ALL, "") in a comma-decimal locale still gets "." texts
// and reads them back, through strings, units and variants; its own printf keeps the comma.
TEST(StringTest, NumbersIgnoreTheNumericLocale) {
  const test_locale::Scoped comma(LC_NUMERIC, test_locale::kComma);
  BRIX_REQUIRE_LOCALE(comma);
  char probe[32];
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  ASSERT_STREQ(probe, "0,5");  // the locale really is in force
  SYS_String appended;
  appended << 1.5;
  double d = 0, scanned = 0;
  float f = 0;
  long v = 0;
  const SCC_Variant small(0.25);
  small.Validate("[ 0.5 , 1.5 ]", nullptr);
  EXPECT_EQ(Cat(appended, FormattedString("%.3f", 0.125), SYS_String("12.75").Value(&d), SYS_String("0.25").Value(&f),
                SimpleScanf("3.25", "%f", &scanned), scanned, getdouble("12,75", &d), isinteger("1.234", &v)),
            "1.500000 0.125 12.75 0.25 1 3.25 0 0 ");
  EXPECT_EQ(Cat(FormattedString("%.2f|%g|%e|%a|%'d", 2.5, 0.5, 1.0, 1.0, 1234567),
                SYS_Exception("%.1f", 0.5).GetText()), "2.50|0.5|1.000000e+00|0x1p+0|1234567 0.5 ");
  const SYS_Convert mils;
  EXPECT_EQ(Cat(mils.Str2Base("0.5", &v), v, mils.Base2Str(19050L), mils.Base2Str(1.5e6)),
            "1 19050 0.5 39.37 ");
  EXPECT_EQ(Cat(static_cast<const SYS_String>(SCC_Variant(2.5)), static_cast<const SYS_String>(small)),
            "2.5 Please enter a value within the [0.500000,1.500000] range. ");
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  EXPECT_STREQ(probe, "0,5") << "the caller's own locale is left in force";
}

}  // namespace
