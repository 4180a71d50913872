// style_test.cpp - tests of text styles, texts and fill-style information.
#include <gtest/gtest.h>

#include "sysstyle.h"

namespace {

// Binding a temporary style would leave a dangling pointer, so it does not compile.
template <typename T>
concept CanSetTemporaryStyle = requires(T t) { t.SetStyle(SYS_TextStyle()); };
static_assert(!CanSetTemporaryStyle<SYS_TextAttributes>);

TEST(StyleTest, CopiesKeepTheirTextButShareTheStyle) {
  SYS_TextStyle style;
  EXPECT_EQ(style.SetFont("Sans") + style.SetHeight(1500000), 2);
  const SYS_TextStyle saved(style);
  style.SetFont("Mono");
  EXPECT_EQ(saved.GetFont(), "Sans");
  SYS_Text t;
  EXPECT_EQ(t.SetStyle(style) + t.SetString("R101"), 2);
  SYS_Text u(t);
  t.SetString("C7");
  EXPECT_EQ(u.GetString(), "R101");
  EXPECT_EQ(u.GetStyle(), &style);  // referenced, not copied
}

TEST(StyleTest, FillStyleInfoComparesEveryField) {
  int data = 0, other = 0;
  const auto three = static_cast<SYS_FillStyle>(3);
  using Info = SYS_FillStyleInfo;
  const Info base(three, 0.5, SYS_Point(1, 2), 4, 5, &data);
  const Info changes[] = {
      Info(SYS_NoFillStyle, 0.5, SYS_Point(1, 2), 4, 5, &data),
      Info(three, 0.25, SYS_Point(1, 2), 4, 5, &data), Info(three, 0.5, SYS_Point(1, 2), 9, 5, &data),
      Info(three, 0.5, SYS_Point(1, 2), 4, 9, &data),  Info(three, 0.5, SYS_Point(9, 2), 4, 5, &data),
      Info(three, 0.5, SYS_Point(1, 9), 4, 5, &data),  Info(three, 0.5, SYS_Point(1, 2), 4, 5, &other),
  };
  for (const Info& change : changes) EXPECT_TRUE(!(base == change) && base != change);
  const Info copy = base;
  EXPECT_TRUE(copy == base && !(copy != base));
}

}  // namespace
