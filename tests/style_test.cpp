// style_test.cpp - tests of text styles, text attributes, texts and fill-style information.
#include <gtest/gtest.h>

#include <functional>

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
  EXPECT_EQ(s.SetFont("Sans") + s.SetHeight(1500000) + s.SetWidth(900000), 3);
  SYS_TextStyle copy(s);
  s.SetFont("Mono");
  s.SetHeight(1);
  EXPECT_EQ(copy.GetFont(), "Sans");
  EXPECT_EQ(copy.GetHeight(), 1500000);
  EXPECT_EQ(copy.GetWidth(), 900000);
  copy = s;
  EXPECT_EQ(copy.GetFont(), "Mono");
  EXPECT_EQ(copy.GetHeight(), 1);
}

TEST(StyleTest, AttributesAndTextsReferenceTheirStyleByAddress) {
  SYS_TextStyle style;
  SYS_Text t;
  EXPECT_EQ(t.GetStyle(), nullptr);
  EXPECT_EQ(t.SetStyle(style), 1);
  EXPECT_EQ(t.SetPosition(SYS_Position(1, 2, 3, 1)), 1);
  EXPECT_EQ(t.SetString("R101"), 1);

  SYS_Text u(t);
  t.SetString("C7");
  EXPECT_EQ(u.GetString(), "R101");
  EXPECT_EQ(u.GetStyle(), &style);  // the copy points at the same style
  EXPECT_EQ(u.GetPosition(), SYS_Position(1, 2, 3, 1));
  style.SetHeight(20);
  EXPECT_EQ(u.GetStyle()->GetHeight(), 20);

  SYS_TextStyle other;
  SYS_TextAttributes a;
  a.SetStyle(other);
  a = u;
  EXPECT_EQ(a.GetStyle(), &style);
  u = t;
  EXPECT_EQ(u.GetString(), "C7");
}

TEST(StyleTest, FillStyleInfoComparesEveryField) {
  int data = 0, other = 0;
  const SYS_FillStyle three = static_cast<SYS_FillStyle>(3);
  const SYS_FillStyleInfo base(three, 0.5, SYS_Point(1, 2), 4, 5, &data);
  using Info = SYS_FillStyleInfo;
  const std::function<Info()> changes[] = {
      [&] { return Info(SYS_NoFillStyle, 0.5, SYS_Point(1, 2), 4, 5, &data); },
      [&] { return Info(three, 0.25, SYS_Point(1, 2), 4, 5, &data); },
      [&] { return Info(three, 0.5, SYS_Point(1, 2), 9, 5, &data); },
      [&] { return Info(three, 0.5, SYS_Point(1, 2), 4, 9, &data); },
      [&] { return Info(three, 0.5, SYS_Point(9, 2), 4, 5, &data); },
      [&] { return Info(three, 0.5, SYS_Point(1, 9), 4, 5, &data); },
      [&] { return Info(three, 0.5, SYS_Point(1, 2), 4, 5, &other); },
  };
  for (const auto& change : changes) {
    EXPECT_FALSE(base == change());
    EXPECT_TRUE(base != change());
  }
  Info copy;
  EXPECT_EQ(copy.GetStyle(), SYS_NoFillStyle);
  copy = base;
  EXPECT_TRUE(copy == base);
  EXPECT_FALSE(copy != base);
}

}  // namespace
