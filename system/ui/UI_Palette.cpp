// UI_Palette.cpp - palette accessor, palette colour convertor.
#include "uipalette.h"

namespace {
constexpr int kLastIndex = 65535;
}

UI_PaletteAccessor::UI_PaletteAccessor(UI_DrawArea* area) { SetDrawArea(area); }

UI_PaletteAccessor::~UI_PaletteAccessor() = default;

void UI_PaletteAccessor::SetDrawArea(UI_DrawArea* area) {
  Remove();
  area_ = area;
  if (auto* node = dynamic_cast<SCC_EventNode<int>*>(area)) InsertBefore(node);
}

int UI_PaletteAccessor::OnNotification(int code, int* data) {
  changed_.Raise(code, data);
  return 0;
}

long UI_PaletteAccessor::GetDefaultPaletteColors(unsigned long* out) const {
  return area_ ? area_->GetDefaultPaletteColors(out) : 0;
}
long UI_PaletteAccessor::GetCurrentPaletteColors(unsigned long* out) const {
  return area_ ? area_->GetCurrentPaletteColors(out) : 0;
}
unsigned long UI_PaletteAccessor::GetCurrentPaletteColorRGB(int index) const {
  if (!area_ || index < 0 || index > kLastIndex) return 0;
  return area_->GetCurrentPaletteColorRGB(index);
}
int UI_PaletteAccessor::GetCurrentPaletteColorIdx(unsigned long rgb) const {
  return area_ ? area_->GetCurrentPaletteColorIdx(rgb) : 0;
}
void UI_PaletteAccessor::SetCurrentPaletteColors(unsigned long* colors) {
  if (area_) area_->SetCurrentPaletteColors(colors);
}
void UI_PaletteAccessor::SetCurrentPaletteColor(int index, unsigned long rgb) {
  if (area_ && index >= 0 && index <= kLastIndex) area_->SetCurrentPaletteColor(index, rgb);
}
void UI_PaletteAccessor::ResetPaletteColors() {
  if (area_) area_->ResetPaletteColors();
}

UI_PaletteColorConvertor::~UI_PaletteColorConvertor() = default;

SCC_Variant UI_PaletteColorConvertor::Convert(SCC_Variant value, int direction) {
  if (direction != 0) return value;
  UI_DrawArea* area = ObtainDrawArea();
  if (!area) return value;
  const int index = static_cast<int>(value);
  return SCC_Variant(static_cast<long>(area->GetCurrentPaletteColorRGB(index)));
}

UI_DrawArea* UI_PaletteColorConvertor::ObtainDrawArea() { return nullptr; }

UI_ITextureBrightnessAccessor::~UI_ITextureBrightnessAccessor() = default;
