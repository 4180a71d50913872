// style_test.cpp - tests of text styles, text attributes, texts and fill-style information.
#include <gtest/gtest.h>

#include "sysstyle.h"

namespace {

// Binding a temporary style would leave a dangling pointer, so it does not compile.
template <typename T>
concept CanSetTemporaryStyle = requires(T t) {
  t.SetStyle(SYS_TextStyle());
};
static_assert(!CanSetTemporaryStyle<SYS_TextAttributes>);

TEST(StyleTest, TextStyleCopiesAreIndependent) {
  SYS_TextStyle s;
  EXPECT_TRUE(s.GetFont().IsEmpty());
  EXPECT_EQ(s.GetHeight(), 0);
  EXPECT_EQ(s.GetWidth(), 0);
  EXPECT_EQ(s.SetFont("Sans"), 1);
  EXPECT_EQ(s.SetHeight(1500000), 1);
  EXPECT_EQ(s.SetWidth(900000), 1);

  SYS_TextStyle copy(s);
  s.SetFont("Mono");
  s.SetHeight(1);
  EXPECT_EQ(copy.GetFont(), "Sans");
  EXPECT_EQ(copy.GetHeight(), 1500000);
  EXPECT_EQ(copy.GetWidth(), 900000);
  copy = s;
  EXPECT_EQ(copy.GetFont(), "Mono");
  EXPECT_EQ(copy.GetHeight(), 1);

  SYS_String font = copy.GetFont();  // a copy: changing it leaves the style alone
  font += "X";
  EXPECT_EQ(copy.GetFont(), "Mono");
}

TEST(StyleTest, AttributesReferenceTheirStyleByAddress) {
  SYS_TextStyle style;
  style.SetHeight(10);
  SYS_TextAttributes a;
  EXPECT_EQ(a.GetStyle(), nullptr);
  EXPECT_EQ(a.GetPosition(), SYS_Position());
  EXPECT_EQ(a.SetStyle(style), 1);
  EXPECT_EQ(a.SetPosition(SYS_Position(1, 2, 3, 1)), 1);

  const SYS_TextAttributes b(a);
  EXPECT_EQ(b.GetStyle(), &style);  // the copy points at the same style
  EXPECT_EQ(b.GetPosition(), SYS_Position(1, 2, 3, 1));
  style.SetHeight(20);
  EXPECT_EQ(b.GetStyle()->GetHeight(), 20);

  SYS_TextStyle other;
  SYS_TextAttributes c;
  c.SetStyle(other);
  EXPECT_NE(c.GetStyle(), b.GetStyle());
  c = b;
  EXPECT_EQ(c.GetStyle(), &style);
}

TEST(StyleTest, TextCopiesAttributesAndString) {
  SYS_TextStyle style;
  SYS_Text t;
  EXPECT_TRUE(t.GetString().IsEmpty());
  EXPECT_EQ(t.GetStyle(), nullptr);
  t.SetStyle(style);
  t.SetPosition(SYS_Position(5, 6, 7, 0));
  EXPECT_EQ(t.SetString("R101"), 1);

  SYS_Text u(t);
  t.SetString("C7");
  EXPECT_EQ(u.GetString(), "R101");
  EXPECT_EQ(u.GetStyle(), &style);
  SYS_Text v;
  v = t;
  EXPECT_EQ(v.GetString(), "C7");
  EXPECT_EQ(v.GetPosition(), SYS_Position(5, 6, 7, 0));
  const SYS_TextAttributes& asAttributes = v;
  EXPECT_EQ(asAttributes.GetStyle(), &style);
}

TEST(StyleTest, FillStyleInfoComparesEveryField) {
  int data = 0, other = 0;
  const SYS_FillStyleInfo base(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(1, 2), 4, 5, &data);
  const struct {
    const char* name;
    SYS_FillStyleInfo info;
    bool equal;
  } cases[] = {
      {"same", SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(1, 2), 4, 5, &data),
       true},
      {"style", SYS_FillStyleInfo(SYS_NoFillStyle, 0.5, SYS_Point(1, 2), 4, 5, &data), false},
      {"double",
       SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.25, SYS_Point(1, 2), 4, 5, &data), false},
      {"first integer",
       SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(1, 2), 9, 5, &data), false},
      {"second integer",
       SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(1, 2), 4, 9, &data), false},
      {"origin x",
       SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(9, 2), 4, 5, &data), false},
      {"origin y",
       SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(1, 9), 4, 5, &data), false},
      {"user data",
       SYS_FillStyleInfo(static_cast<SYS_FillStyle>(3), 0.5, SYS_Point(1, 2), 4, 5, &other), false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(base == c.info, c.equal) << c.name;
    EXPECT_EQ(base != c.info, !c.equal) << c.name;
  }

  const SYS_FillStyleInfo none;
  EXPECT_EQ(none.GetStyle(), SYS_NoFillStyle);
  EXPECT_EQ(none.GetA(), 0);
  EXPECT_EQ(none.GetB(), 0);
  SYS_FillStyleInfo copy;
  copy = base;
  EXPECT_TRUE(copy == base);
  EXPECT_EQ(copy.GetData(), &data);
}

}  // namespace
