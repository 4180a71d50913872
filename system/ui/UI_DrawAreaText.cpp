// UI_DrawAreaText.cpp - the draw area's text: fonts, text settings and the recorded strings,
// including the text commands that also draw on the live target.
#include <cstring>

#include "uidrawarea.h"
#include "uidrawing.h"
#include "ui/drawrecord.h"
#include "ui/drawwords.h"

using brix::drawrecord::CheckedLength;
using brix::drawrecord::Record;
using brix::drawwords::Word;

int UI_DrawArea::GetAvailableFonts(SCC_Array<FaceName>&, unsigned) { return 0; }
int UI_DrawArea::GetAvailablePages(SCC_Array<unsigned>&) { return 0; }
FaceName UI_DrawArea::GetStrokeFaceName() { return {}; }
FaceName UI_DrawArea::GetStrokeFaceName1() { return {}; }
int UI_DrawArea::IsStrokeFaceName(const FaceName&) { return 0; }
void UI_DrawArea::SetTextFont(const TextFont& font) {
  if (!drawing_) return;
  const std::size_t length = std::strlen(font.face.name);  // at most 31
  const std::size_t n = brix::drawwords::StringWords(length);
  std::uint32_t* w = drawing_->Extend(2 + n + 3);
  w[0] = 35, w[1] = static_cast<std::uint32_t>(n);
  brix::drawwords::PutString(w + 2, font.face.name, length, n);
  w[2 + n] = Word(font.height), w[3 + n] = Word(font.width), w[4 + n] = Word(font.style);
  drawing_->RaiseChanged();
}
TextFont UI_DrawArea::GetTextFont() { return {}; }
void UI_DrawArea::SetCodePage(unsigned) {}
unsigned UI_DrawArea::GetCodePage() { return 0; }
int UI_DrawArea::GetTextFontWidth() { return 0; }
int UI_DrawArea::GetTextFontHeight() { return 0; }
int UI_DrawArea::GetTextAscendingHeight() { return 0; }
int UI_DrawArea::GetTextDescendingHeight() { return 0; }
long UI_DrawArea::GetTextLen(const char*, int, int, int, int, int, double, int, int) { return 0; }
long UI_DrawArea::GetTextLen(const char*, int, int, int) { return 0; }
long UI_DrawArea::GetTextLen(const char*, int, int) { return 0; }
long UI_DrawArea::GetTextLen(const char*) { return 0; }
SYS_Point UI_DrawArea::GetTTFStringExtent(const char*, CFontInfo*) { return {}; }
int UI_DrawArea::GetStringPolylines(const char*, SCC_Array<SYS_Point>&, SCC_Array<long>&) {
  return 0;
}

void UI_DrawArea::DrawString(const char* text) {
  if (!drawing_) return;
  const std::size_t length = CheckedLength(text);
  const std::size_t n = brix::drawwords::StringWords(length);
  std::uint32_t* w = drawing_->Extend(2 + n);
  w[0] = 25, w[1] = static_cast<std::uint32_t>(n);
  brix::drawwords::PutString(w + 2, text, length, n);
  drawing_->ExtendBounds(drawing_->GetCursor());
  drawing_->RaiseChanged();
}
void UI_DrawArea::DrawTTFString(const char* text, CFontInfo* font) {
  if (!drawing_) return;
  const std::size_t length = CheckedLength(text);
  const std::size_t n = brix::drawwords::StringWords(length);
  std::uint32_t* w = drawing_->Extend(3 + n);
  w[0] = 43, w[1] = font ? Word(font->font) : 0, w[2] = static_cast<std::uint32_t>(n);
  brix::drawwords::PutString(w + 3, text, length, n);
  drawing_->ExtendBounds(drawing_->GetCursor());
  drawing_->RaiseChanged();
}
void UI_DrawArea::DrawPinNumberString(const char* text, const SYS_Position& position,
                                      const double&) {
  MoveTo(position.GetOrigin());
  DrawString(text);
}
int UI_DrawArea::GetStrokeFont() { return 0; }
void UI_DrawArea::TextAlign(int h, int v) {
  if (drawing_) Record(drawing_, {19, Word(h), Word(v)});
}
void UI_DrawArea::TextMirror(int mirror) {
  if (drawing_) Record(drawing_, {20, Word(mirror)});
}
void UI_DrawArea::TextExtra(int extra) {
  if (drawing_) Record(drawing_, {21, Word(extra)});
}
void UI_DrawArea::TextFace(int face) {
  if (drawing_) Record(drawing_, {22, Word(face)});
}
void UI_DrawArea::TextPath(double angle) {
  if (drawing_) Record(drawing_, {23, static_cast<std::uint32_t>(SYS_Truncate(angle))});
}
void UI_DrawArea::TextSize(int width, int height) {
  if (drawing_) Record(drawing_, {24, Word(width), Word(height)});
}
int UI_DrawArea::GetHorzTextAlign() { return 0; }
int UI_DrawArea::GetVertTextAlign() { return 0; }
int UI_DrawArea::GetTextExtra() { return 0; }
int UI_DrawArea::GetTextFace() { return 0; }
double UI_DrawArea::GetTextPath() { return 0.0; }
int UI_DrawArea::GetTextWidth() { return 0; }
int UI_DrawArea::GetTextHeight() { return 0; }

// Command 26: the string (its word count carrying the box-form flag), then the arguments.
void UI_DrawArea::RecordText(const char* text, const std::uint32_t* args, int argCount,
                             bool boxForm) {
  const std::size_t length = CheckedLength(text);
  const std::size_t n = brix::drawwords::StringWords(length);
  std::uint32_t* w = drawing_->Extend(2 + n + static_cast<std::size_t>(argCount));
  w[0] = 26;
  w[1] = static_cast<std::uint32_t>(n) | (boxForm ? brix::drawwords::kBoxTextFlag : 0);
  brix::drawwords::PutString(w + 2, text, length, n);
  std::memcpy(w + 2 + n, args, sizeof(std::uint32_t) * static_cast<std::size_t>(argCount));
  drawing_->RaiseChanged();
}

SYS_Box UI_DrawArea::DrawXorText(const char* text, int h, int v, SYS_Box box, int redraw) {
  if (!drawing_) return {};
  const std::uint32_t args[7] = {Word(h), Word(v), Word(box.GetLeft()), Word(box.GetLower()),
                                 Word(box.GetRight()), Word(box.GetUpper()), Word(redraw)};
  drawing_->ExtendBounds(box);
  RecordText(text, args, 7, true);
  UI_DrawArea* live = drawing_->GetLiveTarget();
  return live ? live->DrawXorText(text, h, v, box, 0) : SYS_Box();
}
SYS_Box UI_DrawArea::DrawXorText(const char* text, int h, int v, long x, long y, int redraw) {
  if (!drawing_) return {};
  const std::uint32_t args[5] = {Word(h), Word(v), Word(x), Word(y), Word(redraw)};
  drawing_->ExtendBounds(SYS_Point(x, y));
  RecordText(text, args, 5, false);
  UI_DrawArea* live = drawing_->GetLiveTarget();
  return live ? live->DrawXorText(text, h, v, x, y, 0) : SYS_Box();
}
SYS_Box UI_DrawArea::DrawXorText(const char* text, int h, int v, SYS_Point p, int redraw) {
  return DrawXorText(text, h, v, p.GetX(), p.GetY(), redraw);
}
SYS_Box UI_DrawArea::DrawReplaceText(const char* text, int h, int v, long x, long y, int redraw) {
  if (!drawing_) return {};
  const std::uint32_t args[5] = {Word(h), Word(v), Word(x), Word(y), Word(redraw)};
  drawing_->ExtendBounds(SYS_Point(x, y));
  RecordText(text, args, 5, false);
  UI_DrawArea* live = drawing_->GetLiveTarget();
  return live ? live->DrawReplaceText(text, h, v, x, y, 0) : SYS_Box();
}
SYS_Box UI_DrawArea::DrawReplaceText(const char* text, int h, int v, SYS_Point p, int redraw) {
  return DrawReplaceText(text, h, v, p.GetX(), p.GetY(), redraw);
}
SYS_CompositeColor UI_DrawArea::GetTextColor() { return {}; }
void UI_DrawArea::TextColor(SYS_CompositeColor c) {
  if (drawing_) Record(drawing_, {32, c.GetWord()});
}

