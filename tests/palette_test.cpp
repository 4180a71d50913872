// palette_test.cpp - the palette accessor and the palette colour convertor.
#include <vector>

#include <gtest/gtest.h>

#include "uipalette.h"

namespace {

// A surface with a four-entry palette that raises code 3 (replaced, payload index + 1) on
// itself when an entry changes.
class PaletteArea : public UI_DrawArea, public SCC_Notifier {
 public:
  unsigned long GetCurrentPaletteColorRGB(int index) const override {
    ++asked;
    return index >= 0 && index < 4 ? colors[index] : 0;
  }
  void SetCurrentPaletteColor(int index, unsigned long rgb) override {
    if (index < 0 || index >= 4) return;
    colors[index] = rgb;
    int position = index + 1;
    Raise(3, &position);
  }
  long GetCurrentPaletteColors(unsigned long* out) const override {
    for (int i = 0; out && i < 4; ++i) out[i] = colors[i];
    return 4;
  }
  void ResetPaletteColors() override {
    colors[0] = colors[1] = colors[2] = colors[3] = 0;
    Raise(5, nullptr);
  }

  unsigned long colors[4] = {0x000000, 0x0000FF, 0x00FF00, 0xFF0000};
  mutable int asked = 0;
};

struct Heard {
  std::vector<int> codes, payloads;
  int On(int code, int* data) {
    codes.push_back(code);
    payloads.push_back(data ? *data : -1);
    return 0;
  }
};

TEST(PaletteTest, AccessorRepublishesAndForwardsInRange) {
  PaletteArea area;
  UI_PaletteAccessor accessor(&area);
  Heard first, second;
  SCC_ObjectEventHook<Heard, int> h1(&first, &Heard::On, accessor.GetChangeEvent());
  SCC_ObjectEventHook<Heard, int> h2(&second, &Heard::On, accessor.GetChangeEvent());

  accessor.SetCurrentPaletteColor(2, 0x123456);
  EXPECT_EQ(area.colors[2], 0x123456u);
  accessor.ResetPaletteColors();
  for (const Heard* h : {&first, &second}) {
    EXPECT_EQ(h->codes, (std::vector<int>{3, 5}));
    EXPECT_EQ(h->payloads, (std::vector<int>{3, -1}));
  }

  area.colors[1] = 0xABCDEF;
  EXPECT_EQ(accessor.GetCurrentPaletteColorRGB(1), 0xABCDEFu);
  unsigned long all[4];
  EXPECT_EQ(accessor.GetCurrentPaletteColors(all), 4);
  EXPECT_EQ(all[1], 0xABCDEFu);

  // Indices outside 0 ... 65535 never reach the area.
  const int before = area.asked;
  for (int index : {-1, 65536, 70000}) {
    EXPECT_EQ(accessor.GetCurrentPaletteColorRGB(index), 0u);
    accessor.SetCurrentPaletteColor(index, 1);
  }
  EXPECT_EQ(area.asked, before);
  EXPECT_EQ(first.codes.size(), 2u);
  accessor.GetCurrentPaletteColorRGB(65535);
  EXPECT_EQ(area.asked, before + 1);
}

TEST(PaletteTest, AccessorFollowsItsAreaAndLeavesOnDestruction) {
  PaletteArea a, b;
  Heard heard;
  {
    UI_PaletteAccessor accessor(&a);
    SCC_ObjectEventHook<Heard, int> hook(&heard, &Heard::On, accessor.GetChangeEvent());
    accessor.SetDrawArea(&b);
    EXPECT_EQ(accessor.GetDrawArea(), &b);
    a.SetCurrentPaletteColor(0, 1);  // the old area is no longer heard
    b.SetCurrentPaletteColor(1, 1);
    EXPECT_EQ(heard.codes, (std::vector<int>{3}));
    EXPECT_FALSE(b.IsEmpty());
  }
  EXPECT_TRUE(b.IsEmpty());
  b.SetCurrentPaletteColor(1, 2);  // nothing left to call
  EXPECT_EQ(heard.codes.size(), 1u);

  // A plain draw area is no event node: the accessor still forwards; no area answers 0.
  UI_DrawArea plain;
  UI_PaletteAccessor onPlain(&plain);
  EXPECT_EQ(onPlain.GetCurrentPaletteColors(nullptr), 0);
  UI_PaletteAccessor none;
  EXPECT_EQ(none.GetDefaultPaletteColors(nullptr), 0);
  EXPECT_EQ(none.GetCurrentPaletteColorRGB(3), 0u);
  EXPECT_EQ(none.GetCurrentPaletteColorIdx(0xFF), 0);
  none.SetCurrentPaletteColor(1, 1);
  none.ResetPaletteColors();
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
  const struct {
    SCC_Variant in;
    int direction;
    SCC_Variant out;
  } cases[] = {
      {SCC_Variant(3), 0, SCC_Variant(0xFF0000L)},
      {SCC_Variant("1"), 0, SCC_Variant(0x0000FFL)},
      {SCC_Variant(2.9), 0, SCC_Variant(0x00FF00L)},
      {SCC_Variant(3), 1, SCC_Variant(3)},
      {SCC_Variant(9), 0, SCC_Variant(0L)},
  };
  for (const auto& c : cases) {
    const SCC_Variant got = convertor.Convert(c.in, c.direction);
    EXPECT_EQ(got.GetType(), c.out.GetType());
    EXPECT_TRUE(got == c.out);
  }
  UI_PaletteColorConvertor bare;
  EXPECT_TRUE(bare.Convert(SCC_Variant(3), 0) == SCC_Variant(3));
}

}  // namespace
