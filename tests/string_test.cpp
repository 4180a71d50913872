// string_test.cpp - tests of SYS_String, SYS_StrNoCase and SYS_StrPattern.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "ssm.h"
#include "sysstring.h"
#include "sysunits.h"
#include "test_locale.h"

static_assert(sizeof(SYS_String) == sizeof(void*));
static_assert(sizeof(SYS_StrNoCase) == sizeof(void*));

namespace {

std::string Str(const SYS_String& s) { return std::string(s.View()); }

// Switches LC_CTYPE for one test and restores it.
class CtypeLocale {
 public:
  explicit CtypeLocale(const char* name) : m_old(std::setlocale(LC_CTYPE, nullptr)) {
    m_ok = std::setlocale(LC_CTYPE, name) != nullptr;
  }
  ~CtypeLocale() { std::setlocale(LC_CTYPE, m_old.c_str()); }
  bool ok() const { return m_ok; }

 private:
  std::string m_old;
  bool m_ok;
};

}  // namespace

// ---- Construction, sharing, copy-on-write --------------------------------------

TEST(StringTest, Construction) {
  EXPECT_EQ(Str(SYS_String()), "");
  EXPECT_EQ(Str(SYS_String(static_cast<const char*>(nullptr))), "");
  EXPECT_EQ(Str(SYS_String("abc")), "abc");
  EXPECT_EQ(Str(SYS_String("a\0bc", 3)), std::string("a\0b", 3));
  EXPECT_EQ(Str(SYS_String("abc", -1)), "");
  EXPECT_EQ(Str(SYS_String(nullptr, 4)), "");
  EXPECT_EQ(Str(SYS_String('x', 3)), "xxx");
  EXPECT_EQ(Str(SYS_String('x', -3)), "");
  const unsigned char bytes[] = {0xE9, 'a', 0};
  EXPECT_EQ(Str(SYS_String(bytes)),
            "\xE9"
            "a");
  EXPECT_EQ(Str(SYS_String(std::string_view("xyz", 2))), "xy");

  SYS_String s;
  s = "hello";
  EXPECT_EQ(s.GetLength(), 5);
  s = bytes;
  EXPECT_EQ(Str(s),
            "\xE9"
            "a");
  s = static_cast<const char*>(nullptr);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(StringTest, EmptyStringsShareOneStaticBuffer) {
  SYS_String a, b("x");
  b.Empty();
  SYS_String c("abc", 0);
  EXPECT_EQ(a.GetString(), b.GetString());
  EXPECT_EQ(a.GetString(), c.GetString());
  EXPECT_EQ(*a.GetString(), '\0');
}

TEST(StringTest, WideTextIsConvertedToTheCodePage) {
  const unsigned short hello[] = {'h', 0xE9, 'l', 0xD83D, 0xDE00, '!', 0};
  const unsigned short lone[] = {'a', 0xD800, 'b', 0};
  {
    CtypeLocale c("C");
    EXPECT_EQ(Str(SYS_String(hello)), "h?l?!");
  }
  CtypeLocale utf8("C.UTF-8");
  if (!utf8.ok()) GTEST_SKIP() << "no UTF-8 locale";
  EXPECT_EQ(Str(SYS_String(hello)), "h\xC3\xA9l\xF0\x9F\x98\x80!");
  EXPECT_EQ(Str(SYS_String(lone)), "a?b");
  SYS_String s("old");
  s = hello;
  EXPECT_EQ(s.GetLength(), 9);
  EXPECT_EQ(Str(SYS_String(static_cast<const unsigned short*>(nullptr))), "");
}

TEST(StringTest, CopiesShareUntilOneSideWrites) {
  using Edit = std::function<void(SYS_String&)>;
  const std::vector<std::pair<const char*, Edit>> edits = {
      {"Replace(pos)", [](SYS_String& s) { s.Replace(1, 2, "XY"); }},
      {"Replace(str)", [](SYS_String& s) { s.Replace("b", "Q"); }},
      {"Replace(char)", [](SYS_String& s) { s.Replace('c', 'q'); }},
      {"AllTrim", [](SYS_String& s) { s.AllTrim(" a"); }},
      {"TrimLeft", [](SYS_String& s) { s.TrimLeft(); }},
      {"TrimRight", [](SYS_String& s) { s.TrimRight(); }},
      {"Insert", [](SYS_String& s) { s.Insert(2, "--"); }},
      {"Insert(char)", [](SYS_String& s) { s.Insert(2, '-'); }},
      {"Delete", [](SYS_String& s) { s.Delete(0, 2); }},
      {"MakeUpper", [](SYS_String& s) { s.MakeUpper(); }},
      {"MakeLower", [](SYS_String& s) { s.MakeLower(); }},
      {"SetAt", [](SYS_String& s) { s.SetAt(0, '#'); }},
      {"GetBuffer",
       [](SYS_String& s) {
         s.GetBuffer(20)[0] = '#';
         s.ReleaseBuffer();
       }},
      {"append char", [](SYS_String& s) { s += '!'; }},
      {"append text", [](SYS_String& s) { s << "more" << 5 << 2.5; }},
      {"Format", [](SYS_String& s) { s.Format("%d", 42); }},
      {"assign", [](SYS_String& s) { s = "other"; }},
      {"Empty", [](SYS_String& s) { s.Empty(); }},
  };
  for (const auto& [name, edit] : edits) {
    const SYS_String source(" abcAbc ");
    SYS_String copy(source);
    ASSERT_EQ(copy.GetString(), source.GetString()) << name;
    edit(copy);
    EXPECT_EQ(Str(source), " abcAbc ") << name;
    EXPECT_NE(Str(copy), " abcAbc ") << name;
  }
}

TEST(StringTest, ReadingOperationsKeepTheBufferShared) {
  const SYS_String source("abcabc");
  SYS_String copy(source);  // NOLINT(performance-unnecessary-copy-initialization): a second owner
  EXPECT_EQ(copy.ReverseFind('b', 3), 1);
  EXPECT_EQ(copy.ReverseFindOneOf("c", 4), 2);
  EXPECT_EQ(copy.Find("ca"), 2);
  EXPECT_EQ(copy.Match("*ab"), 0);
  const char* end = nullptr;
  int value = 0;
  copy.Value(&value, &end);
  EXPECT_EQ(copy.GetString(), source.GetString());
  EXPECT_EQ(Str(source), "abcabc");
  EXPECT_EQ(copy.Mid(0).GetString(), source.GetString());
}

TEST(StringTest, EditsThatReadTheirOwnBuffer) {
  SYS_String s("abc");
  s += s;
  EXPECT_EQ(Str(s), "abcabc");
  s << (s.GetString() + 4);
  EXPECT_EQ(Str(s), "abcabcbc");
  SYS_String shared(s);
  s += s.GetString() + 6;  // shared buffer: the source must survive unsharing
  EXPECT_EQ(Str(s), "abcabcbcbc");
  s.Replace(0, 3, s.GetString() + 7);
  EXPECT_EQ(Str(s), "cbcabcbcbc");
  s = s.GetString() + 5;
  EXPECT_EQ(Str(s), "cbcbc");
  s.Format("%s-%s", s.GetString(), s.GetString());
  EXPECT_EQ(Str(s), "cbcbc-cbcbc");
  EXPECT_EQ(Str(shared), "abcabcbc");
  SYS_String grow;
  for (int i = 0; i < 1000; ++i) grow += static_cast<char>('a' + i % 26);
  EXPECT_EQ(grow.GetLength(), 1000);
  EXPECT_EQ(grow[27], 'b');
}

TEST(StringTest, CopiesMadeAndDestroyedOnManyThreads) {
  const SYS_String source(std::string(1000, 'z').c_str());
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&source] {
      std::vector<SYS_String> held;
      for (int i = 0; i < 20000; ++i) {
        held.push_back(source);
        if (held.size() > 16) held.erase(held.begin(), held.begin() + 8);
        if (i % 1000 == 0) {
          SYS_String mine(source);
          mine.SetAt(0, 'a');  // separating must not disturb the shared buffer
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(source.GetLength(), 1000);
  EXPECT_EQ(source[0], 'z');
  SYS_String last(source);
  last.SetAt(1, 'q');
  EXPECT_NE(last.GetString(), source.GetString());  // the count came back to one owner
}

namespace {

// A derived class writing through the protected data pointer.
class UpperFirst : public SYS_String {
 public:
  using SYS_String::SYS_String;
  void Apply() {
    if (GetLength() > 0) GetPchData()[0] = 'X';
  }
};

}  // namespace

TEST(StringTest, DerivedClassesWriteOnlyTheirOwnBuffer) {
  const SYS_String source("abc");
  UpperFirst derived;
  static_cast<SYS_String&>(derived) = source;
  derived.Apply();
  EXPECT_EQ(Str(derived), "Xbc");
  EXPECT_EQ(Str(source), "abc");
  UpperFirst empty;
  empty.Apply();
  EXPECT_TRUE(empty.IsEmpty());
}

// ---- Access and substrings --------------------------------------------------------

TEST(StringTest, AccessAndSubstringsClamp) {
  const SYS_String s("hello");
  EXPECT_EQ(s.GetAt(0), 'h');
  EXPECT_EQ(s[4], 'o');
  EXPECT_EQ(s.GetAt(5), '\0');
  EXPECT_EQ(s.GetAt(-1), '\0');
  EXPECT_EQ(Str(s.Left(2)), "he");
  EXPECT_EQ(Str(s.Left(-2)), "");
  EXPECT_EQ(Str(s.Left(99)), "hello");
  EXPECT_EQ(Str(s.Mid(3)), "lo");
  EXPECT_EQ(Str(s.Mid(-3, 2)), "he");
  EXPECT_EQ(Str(s.Mid(4, 9)), "o");
  EXPECT_EQ(Str(s.Mid(9)), "");
  EXPECT_EQ(Str(s.Right(2)), "lo");
  EXPECT_EQ(Str(s.Right(9)), "hello");
  SYS_String t(s);
  t.SetAt(7, 'x');
  EXPECT_EQ(Str(t), "hello");
  char* buffer = t.GetBuffer(10);
  std::strcpy(buffer, "0123456789");
  t.ReleaseBuffer();
  EXPECT_EQ(t.GetLength(), 10);
  t.GetBuffer(0);
  t.ReleaseBuffer(3);
  EXPECT_EQ(Str(t), "012");
}

// ---- Editing -----------------------------------------------------------------------

TEST(StringTest, ReplaceRangeClampsItsArguments) {
  struct Case {
    int pos, count;
    const char* text;
    const char* expected;
  };
  const Case cases[] = {
      {1, 2, "XY", "aXYde"}, {0, 0, "<", "<abcde"},
      {-5, 1, "<", "<bcde"}, {5, 0, ">", "abcde>"},
      {9, 3, ">", "abcde>"}, {2, -1, "+", "ab+cde"},
      {2, 99, "!", "ab!"},   {0, 5, "", ""},
      {1, 3, nullptr, "ae"}, {3, 1, "long text", "abclong texte"},
  };
  for (const Case& c : cases) {
    SYS_String s("abcde");
    s.Replace(c.pos, c.count, c.text);
    EXPECT_EQ(Str(s), c.expected) << c.pos << "," << c.count;
  }
  SYS_String s("abc");
  EXPECT_EQ(s.Insert(-1, "x"), 4);
  EXPECT_EQ(s.Insert(99, 'y'), 5);
  EXPECT_EQ(s.Delete(1, 2), 3);
  EXPECT_EQ(s.Delete(5, 2), 3);
  EXPECT_EQ(Str(s), "xcy");
  EXPECT_EQ(s.Insert(1, '\0'), 4);
  EXPECT_EQ(Str(s), std::string("x\0cy", 4));
}

TEST(StringTest, ReplaceAllOccurrences) {
  struct Case {
    const char *text, *old, *with, *expected;
    int count;
  };
  const Case cases[] = {
      {"aaaa", "aa", "b", "bb", 2},       {"abcabc", "bc", "", "aa", 2},
      {"abc", "x", "y", "abc", 0},        {"abc", "", "y", "abc", 0},
      {"abc", nullptr, "y", "abc", 0},    {"abc", "abc", nullptr, "", 1},
      {"a.b.c", ".", "::", "a::b::c", 2}, {"", "a", "b", "", 0},
  };
  for (const Case& c : cases) {
    SYS_String s(c.text);
    EXPECT_EQ(s.Replace(c.old, c.with), c.count) << c.text;
    EXPECT_EQ(Str(s), c.expected) << c.text;
  }
  SYS_String s("banana");
  EXPECT_EQ(s.Replace('a', 'o'), 3);
  EXPECT_EQ(Str(s), "bonono");
  EXPECT_EQ(s.Replace('o', 'o'), 0);
}

TEST(StringTest, TrimmingAndCase) {
  SYS_String s(" \t\n ab c \r\v\f");
  EXPECT_EQ(Str(s.AllTrim("")), "ab c");
  s = "xyaxy";
  EXPECT_EQ(Str(s.AllTrim("xy")), "a");
  s = "  a  ";
  EXPECT_EQ(Str(s.AllTrim(nullptr)), "a");
  s = "xyx";
  EXPECT_EQ(Str(s.AllTrim("xy")), "");
  s = " ab ";
  EXPECT_EQ(Str(s.TrimLeft()), "ab ");
  EXPECT_EQ(Str(s.TrimRight()), "ab");
  s = "Mixed \xC9 Case 1";
  EXPECT_EQ(Str(s.MakeUpper()), "MIXED \xC9 CASE 1");
  EXPECT_EQ(Str(s.MakeLower()), "mixed \xC9 case 1");
}

TEST(StringTest, FormatAndAppendNumbers) {
  SYS_String s;
  s.Format("%s=%05.1f", "x", 2.25);
  EXPECT_EQ(Str(s), "x=002.2");
  EXPECT_EQ(Str(FormattedString("%d|%s", -7, "y")), "-7|y");
  const std::string large(2000, 'q');
  EXPECT_EQ(Str(FormattedString("%s", large.c_str())), large);
  s.Format(nullptr);
  EXPECT_TRUE(s.IsEmpty());

  s = "";
  s << -12L << ' ' << 34 << ' ' << 4294967295ul << ' ' << 7u;
  EXPECT_EQ(Str(s), "-12 34 4294967295 7");
  struct Case {
    double value;
    const char* expected;
  };
  const Case doubles[] = {{1.5, "1.500000"},       {-0.0000004, "-0.000000"},
                          {0.0000015, "0.000002"}, {123456789.125, "123456789.125000"},
                          {-2.0, "-2.000000"},     {1e20, "100000000000000000000.000000"}};
  for (const Case& c : doubles) {
    SYS_String d;
    d << c.value;
    EXPECT_EQ(Str(d), c.expected);
  }
  std::mt19937_64 rng(7);
  for (int i = 0; i < 2000; ++i) {
    double value;
    const std::uint64_t bits = rng();
    std::memcpy(&value, &bits, sizeof value);
    if (i % 2) value = static_cast<double>(static_cast<std::int64_t>(bits) % 100000000) / 4096.0;
    char expected[400];
    std::snprintf(expected, sizeof expected, "%f", value);
    SYS_String d;
    d << value;
    ASSERT_EQ(Str(d), expected);
  }
  SYS_String f;
  f << 0.1f;
  EXPECT_EQ(Str(f), "0.100000");
  SYS_String chain("a");
  (chain << 'b' << "c") += SYS_String("d");
  chain += 'e';
  chain += "f";
  EXPECT_EQ(Str(chain), "abcdef");
}

// ---- Searching ----------------------------------------------------------------------

TEST(StringTest, FindRanges) {
  const SYS_String s("abcab");
  EXPECT_EQ(s.Find('b'), 1);
  EXPECT_EQ(s.Find('b', 2), 4);
  EXPECT_EQ(s.Find('a', 5), -1);  // a start at the length is accepted
  EXPECT_EQ(s.Find('a', 6), -1);
  EXPECT_EQ(s.Find('a', -1), -1);
  EXPECT_EQ(s.Find('\0', 0), 5);
  EXPECT_EQ(s.Find('\0', 5), 5);
  EXPECT_EQ(s.Find("ab", 1), 3);
  EXPECT_EQ(s.Find("ab", 5), -1);  // a start at the length is rejected
  EXPECT_EQ(s.Find("", 2), 2);
  EXPECT_EQ(s.Find("abx"), -1);
  EXPECT_EQ(s.Find(static_cast<const char*>(nullptr)), -1);
  EXPECT_EQ(SYS_String().Find("x", 0), -1);
  EXPECT_EQ(SYS_String().Find('\0', 0), 0);
  EXPECT_EQ(s.FindOneOf("cx"), 2);
  EXPECT_EQ(s.FindOneOf("a", 1), 3);
  EXPECT_EQ(s.FindOneOf("a", 5), -1);
  EXPECT_EQ(s.FindOneOf("", 0), -1);
  EXPECT_EQ(s.FindOneOf("a", -1), -1);
  EXPECT_EQ(Str(s.SpanIncluding("ba")), "ab");
  EXPECT_EQ(Str(s.SpanIncluding("x")), "");
  EXPECT_EQ(Str(s.SpanExcluding("c")), "ab");
  EXPECT_EQ(Str(s.SpanExcluding("xyz")), "abcab");
}

TEST(StringTest, ReverseSearches) {
  const SYS_String abc("abc");
  EXPECT_EQ(abc.ReverseFind('\0', -2), 3);
  EXPECT_EQ(abc.ReverseFind('\0', 3), 3);
  EXPECT_EQ(abc.ReverseFind('\0', 1), -1);
  EXPECT_EQ(abc.ReverseFind('c', -2), 2);
  EXPECT_EQ(abc.ReverseFind('c', 1), -1);
  EXPECT_EQ(abc.ReverseFind('a', 5), -1);
  EXPECT_EQ(abc.ReverseFind('a', 3), -1);
  EXPECT_EQ(abc.ReverseFind('a', -1), -1);
  EXPECT_EQ(abc.ReverseFind('a', 0), 0);
  EXPECT_EQ(SYS_String("abab").ReverseFind('a'), 2);
  EXPECT_EQ(SYS_String().ReverseFind('a', -2), -1);
  EXPECT_EQ(SYS_String("abca").ReverseFindOneOf("a", -2), 3);
  EXPECT_EQ(abc.ReverseFindOneOf("a", -2), -1);  // position 0 is never reported
  EXPECT_EQ(abc.ReverseFindOneOf("ab", -2), 1);
  EXPECT_EQ(abc.ReverseFindOneOf("bc", 1), 1);
  EXPECT_EQ(abc.ReverseFindOneOf("c", 1), -1);
  EXPECT_EQ(abc.ReverseFindOneOf("c", 3), -1);
  EXPECT_EQ(abc.ReverseFindOneOf("", -2), -1);
}

TEST(StringTest, MultibyteSearchesNeverSplitACharacter) {
  CtypeLocale utf8("C.UTF-8");
  if (!utf8.ok()) GTEST_SKIP() << "no UTF-8 locale";
  // "é" is C3 A9, "©" is C2 A9: the byte A9 alone is never a character here.
  const SYS_String s("x\xC3\xA9y\xC2\xA9z\xA9");
  EXPECT_EQ(s.Find('\xA9'), 7);  // only the stray byte counts
  EXPECT_EQ(s.Find("\xA9"), 7);
  EXPECT_EQ(s.Find("\xC2\xA9"), 4);
  EXPECT_EQ(s.Find("\xA9y"), -1);
  EXPECT_EQ(s.ReverseFind('\xA9', 6), -1);
  EXPECT_EQ(s.ReverseFind('\xA9'), 7);
  EXPECT_EQ(s.ReverseFind('y'), 3);
  EXPECT_EQ(s.FindOneOf("\xC3\xA9z"), 1);
  EXPECT_EQ(s.FindOneOf("\xA9"), 7);
  EXPECT_EQ(s.ReverseFindOneOf("\xC3\xA9", 5), 1);
  EXPECT_EQ(s.ReverseFindOneOf("\xC3\xA9", 1), -1);  // truncated inside the character
  SYS_String r(s);
  EXPECT_EQ(r.Replace('\xA9', '!'), 1);
  EXPECT_EQ(Str(r), "x\xC3\xA9y\xC2\xA9z!");
  EXPECT_EQ(r.Replace("\xA9", "#"), 0);
  EXPECT_EQ(SYS_String("\xC3\xA9").Match("?"), 1);
  EXPECT_EQ(SYS_String("\xC3\xA9").Match("??"), 0);
  EXPECT_EQ(SYS_String("\xC3\xA9").Match("[\xC3\xA0-\xC3\xAF]"), 1);
  EXPECT_EQ(SYS_String("\xC3\xA9").Match("[!\xC3\xA9]"), 0);
  EXPECT_EQ(SYS_String("\xC3\xA9").CompareAlNum("\xC3\xA8"), 1);
}

// ---- Comparison ---------------------------------------------------------------------

TEST(StringTest, CompareAlNumNaturalOrder) {
  struct Case {
    const char *a, *b;
    int expected;
  };
  // clang-format off
  const Case cases[] = {
      {"a10", "a9", 1}, {"a9", "a10", -1}, {"a01", "a1", 0}, {"a$", "a", 1},
      {"a$", "ab", 1}, {"ab", "a$", -1}, {"$", "$", 0}, {"abc", "abd", -1},
      {"abc", "ab", 1}, {"", "", 0}, {"", "a", -1}, {"x2y10", "x2y9", 1},
      {"10", "9b", 1}, {"a1b", "a1c", -1}, {"\xE9", "z", 1}, {"a", nullptr, 1},
      {"99999999999999999999", "99999999999999999998", 0},  // both saturate
  };
  // clang-format on
  for (const Case& c : cases)
    EXPECT_EQ(SYS_String(c.a).CompareAlNum(c.b), c.expected)
        << c.a << " vs " << (c.b ? c.b : "null");
}

TEST(StringTest, ComparisonOperatorsAndHashing) {
  const SYS_String a("abc"), b("abd"), e;
  EXPECT_TRUE(a == "abc");
  EXPECT_TRUE("abc" == a);
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(a < b && b > a && a <= a && a >= a);
  EXPECT_TRUE("abb" < a && a < "abd");
  EXPECT_TRUE(e == static_cast<const char*>(nullptr));
  EXPECT_TRUE(SYS_String("a\0b", 3) != SYS_String("a"));
  EXPECT_TRUE(SYS_String("\xE9") > SYS_String("z"));  // bytes are unsigned
  EXPECT_EQ(a.Compare("abd"), -1);
  EXPECT_EQ(a.CompareNoCase("ABC"), 0);
  EXPECT_EQ(SYS_String("[").CompareNoCase("a"), -1);  // only A-Z fold: '[' stays 0x5B
  EXPECT_EQ(Str(a + "-" + b + '!'), "abc-abd!");
  EXPECT_EQ(Str('<' + a), "<abc");
  EXPECT_EQ(Str("x" + a), "xabc");
  EXPECT_EQ(std::hash<SYS_String>()(a), std::hash<SYS_String>()(SYS_String("abc")));

  const SYS_StrNoCase k("Path/File");
  EXPECT_TRUE(k == SYS_StrNoCase("path/FILE"));
  EXPECT_TRUE(k == "PATH/file");
  EXPECT_TRUE("PATH/file" == k);
  EXPECT_TRUE(k == SYS_String("path/file"));
  EXPECT_TRUE(SYS_String("path/file") == k);
  EXPECT_TRUE(SYS_String("path/filf") > k);
  EXPECT_FALSE(SYS_StrNoCase("\xC9") == "\xE9");  // no folding beyond ASCII
  EXPECT_TRUE(SYS_StrNoCase("B") > "a");
  EXPECT_TRUE(SYS_StrNoCase("_") < "A");  // folds to "a", not to "A"
  EXPECT_EQ(std::hash<SYS_StrNoCase>()(k), std::hash<SYS_StrNoCase>()(SYS_StrNoCase("PATH/FILE")));
  std::map<SYS_StrNoCase, int> ordered{{"b", 1}, {"A", 2}, {"a", 3}};
  EXPECT_EQ(ordered.size(), 2u);
  std::unordered_set<SYS_StrNoCase> keys{"Key", "KEY", "other"};
  EXPECT_EQ(keys.size(), 2u);
}

// ---- Patterns ------------------------------------------------------------------------

TEST(StringTest, PatternValidity) {
  struct Case {
    const char* pattern;
    int error;
  };
  const Case cases[] = {
      {"a[]", -4},   {"[abc", -3},     {"[a-]", -2}, {"[a\\", -1},   {"[a-c]x*", 0}, {"[a-b", -3},
      {"[a-", -2},   {"[", -3},        {"[!]", -4},  {"\\[", 0},     {"[\\]]", 0},   {"[a-\\]]", 0},
      {"[a-\\", -1}, {"x[^a-z]*?", 0}, {"[-a]", 0},  {"[ok][]", -4}, {"", 0},
  };
  for (const Case& c : cases) {
    int error = 99;
    EXPECT_EQ(SYS_String(c.pattern).IsValidPattern(&error), c.error == 0 ? 1 : 0) << c.pattern;
    EXPECT_EQ(error, c.error) << c.pattern;
    EXPECT_EQ(SYS_StrPattern(c.pattern).IsValid(nullptr), c.error == 0 ? 1 : 0) << c.pattern;
  }
  EXPECT_EQ(SYS_String("a*b").IsPattern(), 1);
  EXPECT_EQ(SYS_String("a[b").IsPattern(), 1);
  EXPECT_EQ(SYS_String("ab]").IsPattern(), 0);
}

TEST(StringTest, MatchTable) {
  struct Case {
    const char *text, *pattern;
    int expected;
  };
  // clang-format off
  const Case cases[] = {
      {"", "", 1}, {"", "*", 1}, {"", "?", 0}, {"abc", "abc", 1},
      {"abc", "ab", 0}, {"abc", "a*", 1}, {"abc", "*c", 1}, {"abc", "a?c", 1},
      {"abc", "*b*", 1}, {"abc", "**a**c**", 1}, {"abc", "A*", 0}, {"b", "[a-c]", 1},
      {"d", "[a-c]", 0}, {"d", "[!a-c]", 1}, {"b", "[^a-c]", 0}, {"-", "[-a]", 1},
      {"]", "[\\]]", 1}, {"*", "\\*", 1}, {"x", "\\*", 0}, {"a\\", "a\\", 1},
      {"ab", "[a", 0}, {"a", "[]", 0}, {"a", "[a-", 0}, {"?", "[?*]", 1},
      {"mississippi", "m*iss*ppi", 1}, {"mississippi", "m*iss*x", 0}, {"file.txt", "*.[tT][xX][tT]", 1}, {"c", "[a-bc]", 1},
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(SYS_String(c.text).Match(c.pattern), c.expected) << c.text << " ~ " << c.pattern;
    EXPECT_EQ(SYS_StrPattern(c.pattern).Match(c.text), c.expected) << c.text << " ~ " << c.pattern;
  }
  EXPECT_EQ(SYS_String("x").Match(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(SYS_StrPattern("*").Match(nullptr), 1);
  SYS_StrPattern pattern;
  EXPECT_EQ(pattern.Match(""), 1);
  pattern.SetPattern("*.pcb");
  EXPECT_EQ(Str(pattern.GetPattern()), "*.pcb");
  EXPECT_EQ(pattern.IsPattern(), 1);
  EXPECT_EQ(pattern.Match("top.pcb"), 1);
  EXPECT_EQ(pattern.Match("top.pcbx"), 0);
  EXPECT_EQ(SYS_String(std::string(10000, 'a').c_str()).Match("*a*a*a*a*a*a*a*a*a*b"), 0);
  EXPECT_EQ(SYS_String((std::string(10000, 'a') + "b").c_str()).Match("*a*a*a*a*a*a*a*a*a*b"), 1);
}

namespace {

// An independent reference: a pattern is built as a list of tokens, and a
// dynamic program decides the match.
struct Token {
  enum Kind { Literal, Any, Star, Class } kind;
  char ch = 0;
  bool negate = false;
  std::vector<std::pair<char, char>> ranges;
  bool Accepts(char c) const {
    if (kind == Any) return true;
    if (kind == Literal) return c == ch;
    bool in = false;
    for (auto [lo, hi] : ranges) in = in || (lo <= c && c <= hi);
    return in != negate;
  }
};

bool ReferenceMatch(const std::string& text, const std::vector<Token>& tokens) {
  // can[i][j]: text[i..] matches tokens[j..]
  std::vector<std::vector<char>> can(text.size() + 1, std::vector<char>(tokens.size() + 1, 0));
  can[text.size()][tokens.size()] = 1;
  for (std::size_t i = text.size() + 1; i-- > 0;) {
    for (std::size_t j = tokens.size(); j-- > 0;) {
      const Token& t = tokens[j];
      if (t.kind == Token::Star)
        can[i][j] = can[i][j + 1] || (i < text.size() && can[i + 1][j]);
      else
        can[i][j] = i < text.size() && t.Accepts(text[i]) && can[i + 1][j + 1];
    }
  }
  return can[0][0];
}

}  // namespace

TEST(StringTest, MatchAgreesWithAReferenceOnRandomPatterns) {
  std::mt19937 rng(20240611);
  const char alphabet[] = "abc*?[]\\!-";
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  for (int round = 0; round < 20000; ++round) {
    std::string pattern;
    std::vector<Token> tokens;
    const int count = pick(7);
    for (int k = 0; k < count; ++k) {
      Token t{Token::Literal, 0, false, {}};
      switch (pick(6)) {
        case 0:
          t.kind = Token::Star;
          pattern += '*';
          break;
        case 1:
          t.kind = Token::Any;
          pattern += '?';
          break;
        case 2: {
          t.kind = Token::Class;
          pattern += '[';
          if (pick(3) == 0) {
            t.negate = true;
            pattern += pick(2) ? '!' : '^';
          }
          const int elements = 1 + pick(3);
          for (int e = 0; e < elements; ++e) {
            const char lo = "abc]-"[pick(5)];
            if (lo == ']' || lo == '-') pattern += '\\';
            pattern += lo;
            char hi = lo;
            if (pick(2)) {
              hi = "abc"[pick(3)];
              pattern += '-';
              pattern += hi;
            }
            t.ranges.push_back({lo, hi});
          }
          pattern += ']';
          break;
        }
        case 3:
          t.ch = "*?[\\"[pick(4)];
          pattern += '\\';
          pattern += t.ch;
          break;
        default:
          t.ch = "abc!-]"[pick(6)];
          pattern += t.ch;
          break;
      }
      tokens.push_back(t);
    }
    std::string text;
    const int length = pick(9);
    for (int k = 0; k < length; ++k) text += alphabet[pick(pick(2) ? 3 : 10)];
    ASSERT_EQ(SYS_String(text.c_str()).Match(pattern.c_str()), ReferenceMatch(text, tokens) ? 1 : 0)
        << "text \"" << text << "\" pattern \"" << pattern << "\"";
    int error = 1;
    ASSERT_EQ(SYS_String(pattern.c_str()).IsValidPattern(&error), 1) << pattern;
  }
}

// ---- Extraction, numbers and fields ----------------------------------------------------

TEST(StringTest, ExtractionOperators) {
  unsigned int value = 99;
  EXPECT_EQ(Str(SYS_String("12abc") >> value), "abc");
  EXPECT_EQ(value, 12u);
  EXPECT_EQ(Str(SYS_String("abc") >> value), "abc");
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(Str(SYS_String("  +7 x") >> value), " x");
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(Str(SYS_String("-1") >> value), "");
  EXPECT_EQ(value, 4294967295u);
  EXPECT_EQ(Str(SYS_String("99999999999") >> value), "");
  EXPECT_EQ(value, 4294967295u);

  unsigned int w = 0, h = 0;
  EXPECT_EQ(Str(SYS_String("640x480 px") >> w >> "x" >> h), " px");
  EXPECT_EQ(w, 640u);
  EXPECT_EQ(h, 480u);

  const SYS_String chained("1,2");
  unsigned int first = 0, second = 0;
  ((chained >> first) >> "," >> second);
  EXPECT_EQ(first, 1u);
  EXPECT_EQ(second, 2u);

  char set[] = " ,";
  EXPECT_EQ(Str(SYS_String(", ,x, ") >> set), "x, ");
  EXPECT_STREQ(set, " ,");
  EXPECT_EQ(Str(SYS_String(", ,x, ") >> static_cast<const char*>(" ,")), "x, ");
  EXPECT_EQ(Str(SYS_String("abc") >> static_cast<const char*>(nullptr)), "abc");
  EXPECT_EQ(Str(SYS_String(" ") >> static_cast<const char*>(" ")), "");

  struct Case {
    const char *text, *token, *rest;
  };
  // clang-format off
  const Case tokens[] = {
      {"\"ab\"cd", "ab", "\"cd"}, {"x\"\"y", "x\"\"y", ""}, {"plain", "plain", ""},
      {"\"open", "open", ""}, {"a\"b", "a", "\"b"}, {"\"\"", "\"\"", ""}, {"\"", "", ""},
      {"", "", ""}, {"\"a\"\"b\" rest", "a\"\"b", "\" rest"},
  };
  // clang-format on
  for (const Case& c : tokens) {
    SYS_String token("stale");
    const SYS_String source(c.text);
    EXPECT_EQ(Str(source >> token), c.rest) << c.text;
    EXPECT_EQ(Str(token), c.token) << c.text;
    EXPECT_EQ(Str(source), c.text);
  }
  SYS_String self("\"q\"r");
  SYS_String rest = self >> self;
  EXPECT_EQ(Str(self), "q");
  EXPECT_EQ(Str(rest), "\"r");
}

TEST(StringTest, NumericValues) {
  const char* end = nullptr;
  const SYS_String number(" -42xyz");
  int i = 0;
  EXPECT_EQ(number.Value(&i, &end), -42);
  EXPECT_EQ(i, -42);
  EXPECT_STREQ(end, "xyz");
  long l = 0;
  EXPECT_EQ(SYS_String("123456789012").Value(&l), 123456789012L);
  EXPECT_EQ(SYS_String("3000000000").Value(&i), 2147483647);  // 32-bit saturation
  EXPECT_EQ(SYS_String("-3000000000").Value(&i), -2147483647 - 1);
  short sh = 0;
  EXPECT_EQ(SYS_String("70000").Value(&sh), static_cast<short>(70000));  // narrowed
  unsigned int u = 0;
  EXPECT_EQ(SYS_String("-2").Value(&u), 4294967294u);
  EXPECT_EQ(SYS_String("4294967296").Value(&u), 4294967295u);
  unsigned long ul = 0;
  EXPECT_EQ(SYS_String("18446744073709551615").Value(&ul), 18446744073709551615ul);
  double d = 0;
  const SYS_String withUnit("2.5e3m");
  EXPECT_DOUBLE_EQ(withUnit.Value(&d, &end), 2500.0);
  EXPECT_STREQ(end, "m");
  float f = 0;
  EXPECT_FLOAT_EQ(SYS_String("0.25").Value(&f), 0.25f);
  const SYS_String junk("junk");
  EXPECT_EQ(junk.Value(&i, &end), 0);
  EXPECT_EQ(end, junk.GetString());
  EXPECT_EQ(SYS_String().Value(&d, &end), 0.0);
  errno = 1234;
  SYS_String("99999999999999999999999").Value(&l);
  EXPECT_EQ(errno, 1234);  // no error is reported, not even through errno
}

TEST(StringTest, ExtractSubString) {
  struct Case {
    const char* text;
    int index;
    char separator;
    int result;
    const char* field;
  };
  const Case cases[] = {
      {"a,b,,c", 2, ',', 1, ""},  {"a,b,,c", 4, ',', 0, ""},   {"a,b,,c", 3, ',', 1, "c"},
      {"a,b,,c", 0, ',', 1, "a"}, {"a,b,,c", -3, ',', 1, "a"}, {"", 0, ',', 1, ""},
      {"abc", 1, ',', 0, ""},     {"abc", 0, '\0', 1, "abc"},  {"abc", 1, '\0', 0, ""},
      {"x;y;", 2, ';', 1, ""},
  };
  for (const Case& c : cases) {
    SYS_String field("stale");
    EXPECT_EQ(SysExtractSubString(field, c.text, c.index, c.separator), c.result)
        << c.text << " #" << c.index;
    EXPECT_EQ(Str(field), c.field) << c.text << " #" << c.index;
  }
  SYS_String untouched("keep");
  EXPECT_EQ(SysExtractSubString(untouched, nullptr, 0, ','), 0);
  EXPECT_EQ(Str(untouched), "keep");
}

// ---- Numbers and text, whatever the process's numeric locale ---------------------------

TEST(StringTest, AppendsAString) {
  SYS_String s("ab");
  const SYS_String tail("cd");
  s << tail << SYS_String() << tail;
  EXPECT_EQ(Str(s), "abcdcd");
  s << s;  // appending a string to itself reads the text before it grows
  EXPECT_EQ(Str(s), "abcdcdabcdcd");
  SYS_String empty;
  empty << tail;
  EXPECT_EQ(Str(empty), "cd");
  EXPECT_EQ(Str(tail), "cd");
}

// Every reader of doubles follows one rule: optional blanks and sign, decimal digits with
// an optional point and exponent. Hexadecimal floats, "inf" and "nan" are not numbers; they
// read as far as their decimal prefix goes ("0x1p4" reads the 0), as the unit parsers do.
TEST(StringTest, OneRuleForReadingDoubles) {
  struct Case {
    const char* text;
    double value;
    int consumed;  // bytes read by SYS_String::Value; 0 when no number was read
    int whole;     // 1 when the whole-text readers accept the text
  };
  const double huge = HUGE_VAL;
  const Case cases[] = {
      {"1.5e2x", 150.0, 5, 0}, {"  -0.5", -0.5, 6, 1},   {".5", 0.5, 2, 1},
      {"5.", 5.0, 2, 1},       {"+2", 2.0, 2, 1},        {"1e", 1.0, 1, 0},
      {"1e+", 1.0, 1, 0},      {"7E-1", 0.7, 4, 1},      {"0x1p4", 0.0, 1, 0},
      {"0X10", 0.0, 1, 0},     {"inf", 0.0, 0, 0},       {"-inf", 0.0, 0, 0},
      {"infinity", 0.0, 0, 0}, {"nan", 0.0, 0, 0},       {"NAN(1)", 0.0, 0, 0},
      {".", 0.0, 0, 0},        {"-", 0.0, 0, 0},         {"", 0.0, 0, 0},
      {"1e400", huge, 5, 0},   {"-1e400", -huge, 6, 0},  {"1e-400", 0.0, 6, 0},
      {"0.000e999999", 0.0, 12, 1}, {"12.75", 12.75, 5, 1},
  };
  const SYS_Convert units;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const SYS_String text(c.text);
    const char* end = nullptr;
    double d = -1;
    EXPECT_EQ(text.Value(&d, &end), c.value);
    EXPECT_EQ(d, c.value);
    EXPECT_EQ(end - text.GetString(), c.consumed);

    double scanned = -1;
    int used = -1;
    EXPECT_EQ(SimpleScanf(c.text, "%f%n", &scanned, &used), c.consumed ? 1 : 0);
    if (c.consumed) {
      EXPECT_EQ(scanned, c.value);
      EXPECT_EQ(used, c.consumed);
    }

    // The whole-text readers accept exactly the finite numbers that fill the text.
    const int whole = c.whole;
    double g = -1;
    EXPECT_EQ(getdouble(c.text, &g), whole ? 1 : 0);
    if (whole) {
      EXPECT_EQ(g, c.value);
    }
    double u = -1;
    EXPECT_EQ(SYS_Convert::Str2Double(c.text, &u), whole ? 1 : 0);
    long base = 0;
    EXPECT_EQ(units.Str2Base(c.text, &base), whole);
  }
  double width = 0;
  int used = 0;
  EXPECT_EQ(SimpleScanf("1.2345", "%4f%n", &width, &used), 1);
  EXPECT_EQ(width, 1.23);
  EXPECT_EQ(used, 4);
  EXPECT_EQ(SimpleScanf("   inf 2", "%f", &width), 0);
}

TEST(StringTest, IsIntegerAndGetDouble) {
  struct IntCase {
    const char* text;
    int result;
    long value;
  };
  const IntCase ints[] = {
      {"12", 1, 12},           {" -7 ", 1, -7},         {"+3", 1, 3},
      {"2147483647", 1, 2147483647L}, {"-2147483648", 1, -2147483647L - 1},
      {"2147483648", 0, 0},    {"-2147483649", 0, 0},   {"99999999999999999999", 0, 0},
      {"1.0", 0, 0},           {"1e3", 0, 0},           {"0x1", 0, 0},
      {"1 2", 0, 0},           {"", 0, 0},              {"  ", 0, 0},
      {"-", 0, 0},             {"1,000", 0, 0},         {"007", 1, 7},
  };
  for (const IntCase& c : ints) {
    long v = -99;
    EXPECT_EQ(isinteger(c.text, &v), c.result) << c.text;
    EXPECT_EQ(v, c.result ? c.value : -99) << c.text;
    EXPECT_EQ(isinteger(c.text), c.result) << c.text;
  }
  EXPECT_EQ(isinteger(nullptr), 0);

  struct DoubleCase {
    const char* text;
    int result;
    double value;
  };
  const DoubleCase doubles[] = {
      {"2.5", 1, 2.5},  {" -1e3 ", 1, -1000.0}, {".5", 1, 0.5}, {"5.", 1, 5.0},
      {"1e400", 0, 0},  {"1e-400", 0, 0},      {"inf", 0, 0},  {"nan", 0, 0},
      {"0x1p4", 0, 0},  {"2.5x", 0, 0},        {"2,5", 0, 0},  {"", 0, 0},
      {" ", 0, 0},      {"1 2", 0, 0},         {"0", 1, 0.0},  {"-0.0", 1, -0.0},
  };
  for (const DoubleCase& c : doubles) {
    double v = -99;
    EXPECT_EQ(getdouble(c.text, &v), c.result) << c.text;
    EXPECT_EQ(v, c.result ? c.value : -99) << c.text;
  }
  EXPECT_EQ(getdouble(nullptr, nullptr), 0);
  EXPECT_EQ(getdouble("1.5", nullptr), 1);
}

// A host that calls setlocale(LC_ALL, "") in a comma-decimal locale still gets "." texts
// and reads them back.
TEST(StringTest, NumbersIgnoreTheNumericLocale) {
  const test_locale::Scoped comma(LC_NUMERIC, test_locale::kComma);
  BRIX_REQUIRE_LOCALE(comma);
  char probe[32];
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  ASSERT_STREQ(probe, "0,5");  // the locale really is in force

  SYS_String appended;
  appended << 1.5;
  const SYS_String text("12.75");
  double d = 0;
  const char* end = nullptr;
  text.Value(&d, &end);
  float f = 0;
  SYS_String("0.25").Value(&f);
  double scanned = 0;
  const int scans = SimpleScanf("3.25", "%f", &scanned);
  long grouped = 0;
  struct Case {
    std::string got;
    std::string expected;
  };
  const Case cases[] = {
      {Str(appended), "1.500000"},
      {std::to_string(d == 12.75) + std::to_string(end - text.GetString()), "15"},
      {std::to_string(f == 0.25f), "1"},
      {Str(FormattedString("%.2f|%g|%e|%a", 2.5, 0.5, 1.0, 1.0)), "2.50|0.5|1.000000e+00|0x1p+0"},
      {Str(FormattedString("%'d|%'.1f", 1234567, 1234.5)), "1234567|1234.5"},
      {std::to_string(scans) + (scanned == 3.25 ? "ok" : "no"), "1ok"},
      {std::to_string(getdouble("12.75", &d)) + std::to_string(getdouble("12,75", &d)), "10"},
      {std::to_string(isinteger("1.234", &grouped)), "0"},
      {Str(SYS_Exception("%.1f", 0.5).GetText()), "0.5"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.got, c.expected);
  SYS_String formatted;
  formatted.Format("%.3f", 0.125);
  EXPECT_EQ(Str(formatted), "0.125");
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  EXPECT_STREQ(probe, "0,5") << "the caller's own locale is left in force";
}

// In a double-byte code page the spans step whole characters, as the other searches do: a
// trail byte that happens to be an ASCII byte of the set is not that character.
TEST(StringTest, SpansNeverSplitADoubleByteCharacter) {
  const test_locale::Scoped gbk(LC_CTYPE, test_locale::kGbk);
  BRIX_REQUIRE_LOCALE(gbk);
  ASSERT_EQ(MB_CUR_MAX, 2u);
  struct Case {
    const char* text;
    const char* set;
    const char* including;
    const char* excluding;
  };
  const Case cases[] = {
      // "\x81\x41" is one character whose trail byte is "A".
      {"\x81\x41" "BA", "A", "", "\x81\x41" "B"},
      {"\x81\x41" "B\x81\x42" "x", "\x81\x41" "B", "\x81\x41" "B", ""},
      {"ab\x81\x41", "\x81", "", "ab\x81\x41"},
      {"x\x81\\y\\z", "\\", "", "x\x81\\y"},
      {"A\x81\x41\x81", "\x81\x41" "A", "A\x81\x41", ""},
      {"aabc", "a", "aa", ""},
      {"\x81\x41\x81\x41" "c", "c\x81\x41", "\x81\x41\x81\x41" "c", ""},
  };
  for (const Case& c : cases) {
    const SYS_String s(c.text);
    EXPECT_EQ(Str(s.SpanIncluding(c.set)), c.including) << c.text << " / " << c.set;
    EXPECT_EQ(Str(s.SpanExcluding(c.set)), c.excluding) << c.text << " / " << c.set;
  }
}

// The searches take a byte match below 0x80 that follows a byte below 0x80 as a character
// without asking the code page; any other match is checked by stepping whole characters.
TEST(StringTest, DoubleByteSearchesSkipTrailBytes) {
  const test_locale::Scoped gbk(LC_CTYPE, test_locale::kGbk);
  BRIX_REQUIRE_LOCALE(gbk);
  ASSERT_EQ(MB_CUR_MAX, 2u);
  const SYS_String a("\x81\x41" "A");
  EXPECT_EQ(a.Find('A'), 2);
  EXPECT_EQ(a.Find("A"), 2);
  EXPECT_EQ(a.Find("A", 2), 2);
  const SYS_String b("\x81\x81\x41" "A");  // "\x81\x81" is one character, both "A" stand alone
  EXPECT_EQ(b.Find('A'), 2);
  EXPECT_EQ(b.Find("AA"), 2);
  const SYS_String c("x\x81\x41" "zA");
  EXPECT_EQ(c.Find('A'), 4);
  EXPECT_EQ(c.Find("Az"), -1);
  EXPECT_EQ(c.Find("z"), 3);  // follows a trail byte below 0x80: a character of its own
  const SYS_String d("\x81\x41" "B" "AB");
  EXPECT_EQ(d.Find("AB"), 3);
  EXPECT_EQ(d.Find('B'), 2);
  const SYS_String e("\x81\x41\x81\x41");
  EXPECT_EQ(e.Find('A'), -1);
  EXPECT_EQ(e.Find("A", 2), -1);
  EXPECT_EQ(SYS_String("A\x81\x41").Find('A'), 0);
}

// A same-length overwrite writes in place only into a private buffer; a text taken from
// the buffer itself may overlap the range. Appended integers cover the whole range.
TEST(StringTest, OverwriteInPlaceAndAppendExtremeIntegers) {
  SYS_String s("abcdefgh");
  SYS_String shared(s);
  s.Replace(2, 3, "XYZ");
  EXPECT_EQ(Str(s), "abXYZfgh");
  EXPECT_EQ(Str(shared), "abcdefgh");
  s.Replace(1, 4, s.GetString() + 4);  // "Zfgh" over "bXYZ", the ranges overlapping
  EXPECT_EQ(Str(s), "aZfghfgh");
  s.Replace(2, 5, s.GetString() + 3);  // "ghfgh" one byte further back
  EXPECT_EQ(Str(s), "aZghfghh");
  s.Replace(6, 4, "zzzz");  // reaches past the end: clamped, so the text grows
  EXPECT_EQ(Str(s), "aZghfgzzzz");
  EXPECT_EQ(Str(shared), "abcdefgh");

  struct Case {
    long value;
    const char* expected;
  };
  const Case longs[] = {{LONG_MIN, "-9223372036854775808"}, {LONG_MAX, "9223372036854775807"},
                        {0, "0"}, {-1, "-1"}};
  for (int room = 0; room < 24; ++room) {
    for (const Case& c : longs) {
      SYS_String t(std::string(static_cast<std::size_t>(room), 'r').c_str());
      SYS_String copy(t);
      t << c.value;
      EXPECT_EQ(Str(t), std::string(static_cast<std::size_t>(room), 'r') + c.expected);
      EXPECT_EQ(copy.GetLength(), room);
    }
  }
  SYS_String u;
  u << ULONG_MAX << ' ' << INT_MIN << ' ' << UINT_MAX;
  EXPECT_EQ(Str(u), "18446744073709551615 -2147483648 4294967295");
}
