// string_test.cpp - tests of SYS_String, SYS_StrNoCase, SYS_StrPattern and the number readers.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>
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

// A derived class writes through the protected data pointer.
struct FirstToX : SYS_String {
  void Apply() { GetPchData()[0] = 'X'; }
};

// Sharing `s`'s buffer, then writing through the derived class.
void WriteThroughDerived(SYS_String& s) {
  FirstToX derived;
  static_cast<SYS_String&>(derived) = s;
  derived.Apply();
  s = derived;
}

TEST(StringTest, CopiesShareUntilOneSideWrites) {
  using Edit = std::function<void(SYS_String&)>;
  const Edit edits[] = {
      [](SYS_String& s) { s.Replace(1, 2, "XY"); }, [](SYS_String& s) { s.Replace("b", "Q"); },
      [](SYS_String& s) { s.Replace('c', 'q'); },   [](SYS_String& s) { s.AllTrim(" a"); },
      [](SYS_String& s) { s.TrimLeft(); },          [](SYS_String& s) { s.TrimRight(); },
      [](SYS_String& s) { s.Insert(2, "--"); },     [](SYS_String& s) { s.Insert(2, '-'); },
      [](SYS_String& s) { s.Delete(0, 2); },        [](SYS_String& s) { s.MakeUpper(); },
      [](SYS_String& s) { s.MakeLower(); },         [](SYS_String& s) { s.SetAt(0, '#'); },
      [](SYS_String& s) { s << "more" << 5; },      [](SYS_String& s) { s.Format("%d", 42); },
      [](SYS_String& s) { s.Empty(); },             [](SYS_String& s) { s.Replace(0, 3, "x y"); },
      WriteThroughDerived,
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
  SYS_String copy(source);  // reading never separates the copies
  EXPECT_EQ(copy.ReverseFind('b', 3) + copy.Find("cA") + copy.Match("*c "), 6);
  EXPECT_EQ(copy.Mid(0).GetString(), source.GetString());
  EXPECT_EQ(SYS_String().GetString(), SYS_String("abc", 0).GetString());  // one static empty
}

TEST(StringTest, ConstructionAndWideText) {
  EXPECT_EQ(Cat(SYS_String(static_cast<const char*>(nullptr)), SYS_String("abc", -1), SYS_String(nullptr, 4),
                SYS_String('x', -3), SYS_String('x', 3), SYS_String(std::string_view("xyz", 2))),
            "    xxx xy ");
  EXPECT_EQ(Str(SYS_String("a\0bc", 3)), std::string("a\0b", 3));
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
  EXPECT_EQ(Str(s), "cbcabcbcbc");
  s = s.GetString() + 5;
  s.Format("%s-%s", s.GetString(), s.GetString());
  EXPECT_EQ(Str(s) + Str(shared), "cbcbc-cbcbcabcabcbc");
  // A same-length overwrite writes in place into a private buffer; the ranges may overlap.
  s = "abcdefgh";
  shared = s;
  s.Replace(2, 3, "XYZ");
  s.Replace(1, 4, s.GetString() + 4);
  s.Replace(2, 5, s.GetString() + 3);
  s.Replace(6, 4, "zzzz");  // reaches past the end: clamped, so the text grows
  EXPECT_EQ(Str(s), "aZghfgzzzz");
  s = s.GetString() + 2;  // a shorter assignment from inside the private buffer
  s << s;
  EXPECT_EQ(Str(s) + Str(shared), "ghfgzzzzghfgzzzzabcdefgh");
}

TEST(StringTest, PositionsAndCountsClamp) {
  const SYS_String s("hello");
  EXPECT_EQ(std::string() + s.GetAt(0) + s[4] + s.GetAt(5) + s.GetAt(-1), std::string("ho\0\0", 4));
  EXPECT_EQ(Cat(s.Left(2), s.Left(-2), s.Left(99), s.Mid(3), s.Mid(-3, 2), s.Mid(4, 9), s.Mid(9),
                s.Right(2), s.Right(9)),
            "he  hello lo he o  lo hello ");
  SYS_String t(s);
  t.SetAt(7, 'x');
  std::strcpy(t.GetBuffer(10), "0123456789");
  t.ReleaseBuffer();
  t.GetBuffer(0);
  t.ReleaseBuffer(3);
  EXPECT_EQ(Str(t) + Str(s), "012hello");
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
  EXPECT_EQ(e.Insert(-1, "x"), 4);
  EXPECT_EQ(e.Insert(99, 'y'), 5);
  EXPECT_EQ(e.Delete(1, 2), 3);
  EXPECT_EQ(e.Delete(5, 2), 3);
  EXPECT_EQ(e.Insert(1, '\0'), 4);
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
  EXPECT_EQ(s.Replace('a', 'o'), 3);
  EXPECT_EQ(s.Replace('o', 'o'), 0);
  EXPECT_EQ(Str(s), "bonono");
  const char* trims[][3] = {{" \t\n ab c \r\v\f", "", "ab c"}, {"xyaxy", "xy", "a"},
                            {"  a  ", nullptr, "a"},           {"xyx", "xy", ""}};
  for (const auto& t : trims) EXPECT_EQ(Str(SYS_String(t[0]).AllTrim(t[1])), t[2]) << t[0];
  EXPECT_EQ(Cat(SYS_String(" ab ").TrimLeft(), "|", SYS_String(" ab ").TrimRight()), "ab  |  ab ");
  s = "Mixed \xC9 Case 1";
  EXPECT_EQ(Str(s.MakeUpper()), "MIXED \xC9 CASE 1");
  EXPECT_EQ(Str(s.MakeLower()), "mixed \xC9 case 1");
}

TEST(StringTest, FormatAndAppendNumbers) {
  SYS_String s;
  s.Format("%s=%05.1f", "x", 2.25);
  EXPECT_EQ(Str(s), "x=002.2");
  const std::string large(2000, 'q');
  EXPECT_EQ(Str(FormattedString("%s", large.c_str())), large);
  s.Format(nullptr);
  (s << -12L << ' ' << 34 << ' ' << 7u << 'a' << "b" << SYS_String("c")) += 'd';
  EXPECT_EQ(Str(s), "-12 34 7abcd");  // Format(nullptr) emptied it
  EXPECT_EQ(Str(SYS_String() << ULONG_MAX << ' ' << INT_MIN << ' ' << UINT_MAX << ' ' << 0.1f),
            "18446744073709551615 -2147483648 4294967295 0.100000");
  // Appended integers and doubles read as printf writes them, whatever room is left.
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
  EXPECT_EQ(Cat(s.Find('b'), s.Find('b', 2), s.Find('a', 5), s.Find('a', 6), s.Find('a', -1),
                s.Find('\0', 0), s.Find('\0', 5), e.Find('\0', 0)),
            "1 4 -1 -1 -1 5 5 0 ");
  EXPECT_EQ(Cat(s.Find("ab", 1), s.Find("ab", 5), s.Find("", 2), s.Find("abx"), s.Find("b", 4),
                s.Find(static_cast<const char*>(nullptr)), e.Find("x", 0)),
            "3 -1 2 -1 4 -1 -1 ");
  EXPECT_EQ(Cat(s.FindOneOf("cx"), s.FindOneOf("a", 1), s.FindOneOf("a", 5), s.FindOneOf("", 0),
                s.FindOneOf("a", -1)),
            "2 3 -1 -1 -1 ");
  EXPECT_EQ(Cat(abc.ReverseFind('\0', -2), abc.ReverseFind('\0', 3), abc.ReverseFind('\0', 1),
                abc.ReverseFind('c', -2), abc.ReverseFind('c', 1), abc.ReverseFind('a', 5),
                abc.ReverseFind('a', 3), abc.ReverseFind('a', -1), abc.ReverseFind('a', 0),
                s.ReverseFind('a'), e.ReverseFind('a', -2)),
            "3 3 -1 2 -1 -1 -1 -1 0 3 -1 ");
  EXPECT_EQ(Cat(SYS_String("abca").ReverseFindOneOf("a", -2), abc.ReverseFindOneOf("a", -2),
                abc.ReverseFindOneOf("ab", -2), abc.ReverseFindOneOf("bc", 1),
                abc.ReverseFindOneOf("c", 1), abc.ReverseFindOneOf("c", 3),
                abc.ReverseFindOneOf("", -2)),
            "3 -1 1 1 -1 -1 -1 ");  // position 0 is never reported
  EXPECT_EQ(Cat(s.SpanIncluding("ba"), s.SpanIncluding("x"), s.SpanExcluding("c"),
                s.SpanExcluding("xyz")),
            "ab  ab abcab ");
}

TEST(StringTest, Utf8SearchesNeverSplitACharacter) {
  CtypeLocale utf8("C.UTF-8");
  if (!utf8.ok) GTEST_SKIP() << "no UTF-8 locale";
  // "é" is C3 A9, "©" is C2 A9: the byte A9 alone is never a character here.
  const SYS_String s("x\xC3\xA9y\xC2\xA9z\xA9"), e("\xC3\xA9");
  EXPECT_EQ(Cat(s.Find('\xA9'), s.Find("\xA9"), s.Find("\xC2\xA9"), s.Find("\xA9y"),
                s.ReverseFind('\xA9', 6), s.ReverseFind('\xA9'), s.ReverseFind('y'),
                s.FindOneOf("\xC3\xA9z"), s.FindOneOf("\xA9"), s.ReverseFindOneOf("\xC3\xA9", 5),
                s.ReverseFindOneOf("\xC3\xA9", 1)),
            "7 7 4 -1 -1 7 3 1 7 1 -1 ");
  SYS_String r(s);
  EXPECT_EQ(r.Replace('\xA9', '!'), 1);
  EXPECT_EQ(r.Replace("\xA9", "#"), 0);
  EXPECT_EQ(Cat(r, s.SpanExcluding("\xA9")), "x\xC3\xA9y\xC2\xA9z! x\xC3\xA9y\xC2\xA9z ");
  EXPECT_EQ(Cat(e.Match("?"), e.Match("[\xC3\xA0-\xC3\xAF]"), e.CompareAlNum("\xC3\xA8"), e.Match("??"),
                e.Match("[!\xC3\xA9]")),
            "1 1 1 0 0 ");
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
      {"x\x81\\y\\z", "\\", "", "x\x81\\y"},
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
      {"a10", "a9", 1},   {"a9", "a10", -1},   {"a01", "a1", 0},   {"a$", "a", 1},
      {"a$", "ab", 1},    {"ab", "a$", -1},    {"$", "$", 0},      {"abc", "abd", -1},
      {"abc", "ab", 1},   {"", "", 0},         {"", "a", -1},      {"x2y10", "x2y9", 1},
      {"10", "9b", 1},    {"a1b", "a1c", -1},  {"\xE9", "z", 1},   {"a", nullptr, 1},
      {"99999999999999999999", "99999999999999999998", 0},  // both saturate
  };
  for (const auto& [a, b, expected] : alnum)
    EXPECT_EQ(SYS_String(a).CompareAlNum(b), expected) << a << " vs " << (b ? b : "");
  const SYS_String a("abc"), b("abd");
  EXPECT_TRUE(a == "abc" && "abc" == a && a != b && a < b && b > a && a <= a && a >= a);
  EXPECT_TRUE("abb" < a && a < "abd" && SYS_String() == static_cast<const char*>(nullptr));
  EXPECT_TRUE(SYS_String("a\0b", 3) != SYS_String("a") && SYS_String("\xE9") > SYS_String("z"));
  EXPECT_EQ(Cat(a.Compare("abd"), a.CompareNoCase("ABC"), SYS_String("[").CompareNoCase("a")),
            "-1 0 -1 ");  // only A-Z fold: '[' stays 0x5B
  EXPECT_EQ(Cat(a + "-" + b + '!', '<' + a, "x" + a), "abc-abd! <abc xabc ");
  const SYS_StrNoCase k("Path/File");
  EXPECT_TRUE(k == SYS_StrNoCase("path/FILE") && k == "PATH/file" && "PATH/file" == k);
  EXPECT_TRUE(k == SYS_String("path/file") && SYS_String("path/filf") > k);
  EXPECT_FALSE(SYS_StrNoCase("\xC9") == "\xE9");  // no folding beyond ASCII
  EXPECT_TRUE(SYS_StrNoCase("B") > "a" && SYS_StrNoCase("_") < "A");  // folds to "a"
  EXPECT_EQ(std::hash<SYS_StrNoCase>()(k), std::hash<SYS_StrNoCase>()(SYS_StrNoCase("PATH/FILE")));
  EXPECT_EQ((std::map<SYS_StrNoCase, int>{{"b", 1}, {"A", 2}, {"a", 3}}.size()), 2u);
}

TEST(StringTest, PatternValidityAndMatch) {
  const std::pair<const char*, int> errors[] = {
      {"a[]", -4},   {"[abc", -3},     {"[a-]", -2}, {"[a\\", -1},   {"[a-c]x*", 0}, {"[a-b", -3},
      {"[a-", -2},   {"[", -3},        {"[!]", -4},  {"\\[", 0},     {"[\\]]", 0},   {"[a-\\]]", 0},
      {"[a-\\", -1}, {"x[^a-z]*?", 0}, {"[-a]", 0},  {"[ok][]", -4}, {"", 0},
  };
  for (const auto& [pattern, expected] : errors) {
    int error = 99;
    EXPECT_EQ(SYS_String(pattern).IsValidPattern(&error), expected == 0) << pattern;
    EXPECT_EQ(error, expected) << pattern;
  }
  EXPECT_EQ(Cat(SYS_String("a*b").IsPattern(), SYS_String("a[b").IsPattern(), SYS_String("ab]").IsPattern(),
                SYS_StrPattern("[").IsValid(nullptr)),
            "1 1 0 0 ");
  const std::tuple<const char*, const char*, int> cases[] = {
      {"", "", 1},        {"", "*", 1},        {"", "?", 0},         {"abc", "ab", 0},
      {"abc", "a*", 1},   {"abc", "*c", 1},    {"abc", "a?c", 1},    {"abc", "**a**c**", 1},
      {"abc", "A*", 0},   {"b", "[a-c]", 1},   {"d", "[a-c]", 0},    {"d", "[!a-c]", 1},
      {"b", "[^a-c]", 0}, {"-", "[-a]", 1},    {"]", "[\\]]", 1},    {"*", "\\*", 1},
      {"x", "\\*", 0},    {"a\\", "a\\", 1},   {"ab", "[a", 0},      {"a", "[]", 0},
      {"a", "[a-", 0},    {"?", "[?*]", 1},    {"c", "[a-bc]", 1},   {"b", "[!a]", 1},
      {"a", "[!a]", 0},   {"-", "[a\\-c]", 1}, {"b", "[a\\-c]", 0},  {"ab", "?", 0},
      {"a", "*?", 1},     {"", "*?", 0},       {"a]", "[a]]", 1},    {"file.txt", "*.[tT][xX][tT]", 1},
      {"mississippi", "m*iss*ppi", 1},         {"mississippi", "m*iss*x", 0},
  };
  for (const auto& [text, pattern, expected] : cases) {
    EXPECT_EQ(SYS_String(text).Match(pattern), expected) << text << " ~ " << pattern;
    EXPECT_EQ(SYS_StrPattern(pattern).Match(text), expected) << text << " ~ " << pattern;
  }
  SYS_StrPattern pattern;
  pattern.SetPattern("*.pcb");
  EXPECT_EQ(Cat(pattern.GetPattern(), pattern.Match("top.pcb"), pattern.Match("top.pcbx"),
                SYS_StrPattern("*").Match(nullptr), SYS_String("x").Match(static_cast<const char*>(nullptr))),
            "*.pcb 1 0 1 0 ");
  // Many stars over a long text must not backtrack exponentially.
  const std::string as(10000, 'a');
  EXPECT_EQ(SYS_String(as.c_str()).Match("*a*a*a*a*a*a*a*a*a*b"), 0);
  EXPECT_EQ(SYS_String((as + "b").c_str()).Match("*a*a*a*a*a*a*a*a*a*b"), 1);
}

TEST(StringTest, ExtractionOperators) {
  unsigned int value = 99, w = 0, h = 0;
  const std::pair<const char*, const char*> numbers[] = {
      {"12abc", "abc 12 "}, {"abc", "abc 0 "}, {"  +7 x", " x 7 "}, {"-1", " 4294967295 "},
      {"99999999999", " 4294967295 "}};
  for (const auto& [text, expected] : numbers) EXPECT_EQ(Cat(SYS_String(text) >> value, value), expected);
  EXPECT_EQ(Cat(SYS_String("640x480 px") >> w >> "x" >> h, w, h), " px 640 480 ");
  char set[] = " ,";
  EXPECT_EQ(Cat(SYS_String(", ,x, ") >> set, SYS_String("abc") >> static_cast<const char*>(nullptr)),
            "x,  abc ");
  const char* tokens[][3] = {
      // text, token, rest: a quoted token ends at the quote before the rest.
      {"\"ab\"cd", "ab", "\"cd"}, {"x\"\"y", "x\"\"y", ""}, {"plain", "plain", ""},
      {"\"open", "open", ""},     {"a\"b", "a", "\"b"},     {"\"\"", "\"\"", ""},
      {"\"", "", ""},             {"", "", ""},             {"\"a\"\"b\" rest", "a\"\"b", "\" rest"},
  };
  for (const auto& c : tokens) {
    SYS_String token("stale");
    EXPECT_EQ(Cat(SYS_String(c[0]) >> token, token), Cat(c[2], c[1])) << c[0];
  }
  SYS_String self("\"q\"r");
  const SYS_String rest = self >> self;
  EXPECT_EQ(Str(self) + Str(rest), "q\"r");
  const std::tuple<const char*, int, char, int, const char*> fields[] = {
      {"a,b,,c", 2, ',', 1, ""},  {"a,b,,c", 4, ',', 0, ""},     {"a,b,,c", 3, ',', 1, "c"},
      {"a,b,,c", -3, ',', 1, "a"}, {"", 0, ',', 1, ""},          {"abc", 1, ',', 0, ""},
      {"abc", 0, '\0', 1, "abc"}, {"x;y;", 2, ';', 1, ""},        {nullptr, 0, ',', 0, "stale"},
  };
  for (const auto& [text, index, separator, result, expected] : fields) {
    SYS_String field("stale");
    EXPECT_EQ(Cat(SysExtractSubString(field, text, index, separator), field), Cat(result, expected))
        << (text ? text : "null") << " #" << index;
  }
}

TEST(StringTest, IntegerReaders) {
  const char* end = nullptr;
  int i = 0;
  long l = 0;
  short sh = 0;
  unsigned int u = 0;
  unsigned long ul = 0;
  EXPECT_EQ(Cat(SYS_String(" -42xyz").Value(&i, &end), i, end), "-42 -42 xyz ");
  const SYS_String junk("junk");
  EXPECT_EQ(junk.Value(&i, &end), 0);
  EXPECT_EQ(end, junk.GetString());
  auto V = [](const char* text, auto* out) { return SYS_String(text).Value(out); };
  EXPECT_EQ(Cat(V("123456789012", &l), V("-9223372036854775808", &l), V("9223372036854775808", &l)),
            "123456789012 -9223372036854775808 9223372036854775807 ");
  EXPECT_EQ(Cat(V("3000000000", &i), V("-3000000000", &i), V("70000", &sh)),  // as 32-bit, narrowed
            "2147483647 -2147483648 4464 ");
  EXPECT_EQ(Cat(V("-2", &u), V("4294967296", &u), V("18446744073709551616", &ul), V("-1", &ul)),
            "4294967294 4294967295 18446744073709551615 18446744073709551615 ");
  errno = 1234;
  V("99999999999999999999999", &l);
  EXPECT_EQ(errno, 1234);  // no error is reported, not even through errno
  const std::tuple<const char*, int, long> ints[] = {
      {"12", 1, 12},      {" -7 ", 1, -7},     {"+3", 1, 3},      {"2147483647", 1, INT_MAX},
      {"-2147483648", 1, INT_MIN},             {"2147483648", 0, 0}, {"-2147483649", 0, 0},
      {"99999999999999999999", 0, 0},          {"1.0", 0, 0},     {"0x1", 0, 0},
      {"1 2", 0, 0},      {"", 0, 0},          {"  ", 0, 0},      {"-", 0, 0},
      {"+-1", 0, 0},      {"1,000", 0, 0},     {"007", 1, 7},
  };
  for (const auto& [text, result, value] : ints) {
    long v = -99;
    EXPECT_EQ(Cat(isinteger(text, &v), v), Cat(result, result ? value : -99)) << text;
  }
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
    EXPECT_EQ(d, value) << text;
    EXPECT_EQ(Cat(SimpleScanf(text, "%f%n", &scanned, &used), scanned, used),
              consumed ? Cat(1, value, consumed) : "0 -1 -1 ") << text;
    // The whole-text readers accept exactly the finite numbers that fill the text.
    EXPECT_EQ(Cat(getdouble(text, &g), g, SYS_Convert::Str2Double(text, &u)),
              Cat(whole != 0, whole ? value : -1, whole == 1)) << text;
  }
  double width = 0;
  int used = 0;
  EXPECT_EQ(Cat(SimpleScanf("1.2345", "%4f%n", &width, &used), width, used), "1 1.23 4 ");
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
  SYS_String appended, formatted;
  appended << 1.5;
  formatted.Format("%.3f", 0.125);
  double d = 0, scanned = 0;
  float f = 0;
  long v = 0;
  const char* end = nullptr;
  const SYS_String text("12.75");
  text.Value(&d, &end);
  SYS_String("0.25").Value(&f);
  const SYS_Convert mils;
  const SCC_Variant small(0.25);
  small.Validate("[ 0.5 , 1.5 ]", nullptr);
  EXPECT_EQ(Cat(appended, formatted, d, end - text.GetString(), f, SimpleScanf("3.25", "%f", &scanned),
                scanned, getdouble("12.75", &d), getdouble("12,75", &d), isinteger("1.234", &v)),
            "1.500000 0.125 12.75 5 0.25 1 3.25 1 0 0 ");
  EXPECT_EQ(Str(FormattedString("%.2f|%g|%e|%a|%'d|%'.1f", 2.5, 0.5, 1.0, 1.0, 1234567, 1234.5)),
            "2.50|0.5|1.000000e+00|0x1p+0|1234567|1234.5");
  EXPECT_STREQ(SYS_Exception("%.1f", 0.5).GetText(), "0.5");
  EXPECT_EQ(Cat(mils.Str2Base("0.5", &v), v, mils.Base2Str(19050L), mils.Base2Str(1.5e6)),
            "1 19050 0.5 39.37 ");
  EXPECT_EQ(Cat(static_cast<const SYS_String>(SCC_Variant(2.5)), static_cast<double>(SCC_Variant("0.5")),
                static_cast<const SYS_String>(small)),
            "2.5 0.5 Please enter a value within the [0.500000,1.500000] range. ");
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  EXPECT_STREQ(probe, "0,5") << "the caller's own locale is left in force";
}

}  // namespace
