// style_test.cpp - tests of text styles, texts and fill-style information.
#include <gtest/gtest.h>

#include "sysstyle.h"

namespace {

// Binding a temporary style would leave a dangling pointer, so it does not compile.
template <typename T>
concept CanSetTemporaryStyle = requires(T t) { t.SetStyle(SYS_TextStyle()); };
static_assert(!CanSetTemporaryStyle<SYS_TextAttributes>);

TEST(StyleTest, FillStylesCompareEveryFieldAndTextsShareTheirStyle) {
  int data = 0, other = 0;
  const auto three = static_cast<SYS_FillStyle>(3);
  using Info = SYS_FillStyleInfo;
  const Info base(three, 0.5, SYS_Point(1, 2), 4, 5, &data);
  for (const Info& change : {Info(SYS_NoFillStyle, 0.5, SYS_Point(1, 2), 4, 5, &data),
                             Info(three, 0.25, SYS_Point(1, 2), 4, 5, &data), Info(three, 0.5, SYS_Point(1, 2), 9, 5, &data),
                             Info(three, 0.5, SYS_Point(1, 2), 4, 9, &data), Info(three, 0.5, SYS_Point(9, 2), 4, 5, &data),
                             Info(three, 0.5, SYS_Point(1, 9), 4, 5, &data), Info(three, 0.5, SYS_Point(1, 2), 4, 5, &other)})
    EXPECT_TRUE(!(base == change) && base != change);
  EXPECT_TRUE(Info(base) == base && !(Info(base) != base));
  SYS_TextStyle style;
  SYS_Text t;
  EXPECT_EQ(style.SetFont("Sans") + t.SetStyle(style) + t.SetString("R101"), 3);
  const SYS_Text u(t);
  t.SetString("C7");
  style.SetFont("Mono");
  EXPECT_EQ(u.GetString() + u.GetStyle()->GetFont(), "R101Mono");  // the style is referenced
}

}  // namespace
