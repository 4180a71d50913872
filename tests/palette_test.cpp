// palette_test.cpp - the palette accessor and the palette colour convertor.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "uipalette.h"

namespace {

// A surface with a four-entry palette that raises code 3 (replaced, payload index + 1) on
// itself when an entry changes.
class PaletteArea : public UI_DrawArea, public SCC_Notifier {
 public:
  unsigned long GetCurrentPaletteColorRGB(int index) const override { return ++asked, index >= 0 && index < 4 ? colors[index] : 0; }
  void SetCurrentPaletteColor(int index, unsigned long rgb) override {
    int position = index + 1;
    if (index >= 0 && index < 4) colors[index] = rgb, Raise(3, &position);
  }
  long GetCurrentPaletteColors(unsigned long* out) const override { return std::copy(colors, colors + 4, out), 4; }
  unsigned long colors[4] = {0x000000, 0x0000FF, 0x00FF00, 0xFF0000};
  mutable int asked = 0;
};

struct Heard {
  std::vector<int> payloads;
  int On(int, int* data) { return payloads.push_back(data ? *data : -1), 0; }
};

TEST(PaletteTest, AccessorForwardsInRangeRepublishesAndFollowsItsArea) {
  PaletteArea a, b;
  Heard first, second;
  {
    UI_PaletteAccessor accessor(&a);
    SCC_ObjectEventHook<Heard, int> h1(&first, &Heard::On, accessor.GetChangeEvent());
    SCC_ObjectEventHook<Heard, int> h2(&second, &Heard::On, accessor.GetChangeEvent());
    accessor.SetCurrentPaletteColor(2, 0x123456);
    EXPECT_EQ(a.colors[2], 0x123456u);
    unsigned long all[4];
    EXPECT_EQ(accessor.GetCurrentPaletteColors(all), 4);
    EXPECT_EQ(all[2], 0x123456u);
    const int before = a.asked;  // indices outside 0 ... 65535 never reach the area
    for (int index : {-1, 65536}) {
      EXPECT_EQ(accessor.GetCurrentPaletteColorRGB(index), 0u);
      accessor.SetCurrentPaletteColor(index, 1);
    }
    EXPECT_EQ(a.asked, before);
    EXPECT_EQ((accessor.GetCurrentPaletteColorRGB(65535), a.asked), before + 1);
    accessor.SetDrawArea(&b);
    a.SetCurrentPaletteColor(0, 1);  // the old area is no longer heard
    b.SetCurrentPaletteColor(1, 1);
    for (const Heard* h : {&first, &second}) EXPECT_EQ(h->payloads, (std::vector<int>{3, 2}));
  }
  EXPECT_TRUE(b.IsEmpty());  // the accessor left on destruction
  UI_PaletteAccessor none;  // no area: neutral answers
  EXPECT_TRUE(none.GetDefaultPaletteColors(nullptr) == 0 && none.GetCurrentPaletteColorRGB(3) == 0u);
}

class AreaConvertor : public UI_PaletteColorConvertor {
 public:
  explicit AreaConvertor(UI_DrawArea* area) : area_(area) {}

 protected:
  UI_DrawArea* ObtainDrawArea() override { return area_; }

 private:
  UI_DrawArea* area_;
};

TEST(PaletteTest, ConvertorTurnsIndicesIntoColours) {
  PaletteArea area;
  AreaConvertor convertor(&area);
  const struct { SCC_Variant in; int direction; SCC_Variant out; } cases[] = {{SCC_Variant(3), 0, SCC_Variant(0xFF0000L)}, {SCC_Variant("1"), 0, SCC_Variant(0x0000FFL)},
               {SCC_Variant(2.9), 0, SCC_Variant(0x00FF00L)}, {SCC_Variant(3), 1, SCC_Variant(3)},
               {SCC_Variant(9), 0, SCC_Variant(0L)}};
  for (const auto& c : cases) EXPECT_TRUE(convertor.Convert(c.in, c.direction).GetType() == c.out.GetType() && convertor.Convert(c.in, c.direction) == c.out);
  EXPECT_TRUE(UI_PaletteColorConvertor().Convert(SCC_Variant(3), 0) == SCC_Variant(3));
}

}  // namespace
