// UI_DrawArea.cpp - the recording draw area: every drawing call appended as a numbered
// command to the attached drawing, forwarding overloads and batches.
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <vector>

#include "uidrawarea.h"
#include "uidrawing.h"
#include "ui/drawwords.h"

using brix::drawwords::Word;

namespace {

// Appends one command whole, so that the change event is raised once for it.
void Record(CDynamic* d, std::initializer_list<std::uint32_t> words) {
  d->Append(words.begin(), words.size());
}

std::uint32_t* PutBox(std::uint32_t* out, const SYS_Box& b) {
  out[0] = Word(b.GetLeft());
  out[1] = Word(b.GetLower());
  out[2] = Word(b.GetRight());
  out[3] = Word(b.GetUpper());
  return out + 4;
}

// The box of the oval or box of that size about `c`.
SYS_Box BoxAbout(const SYS_Point& c, long width, long height) {
  const long hw = std::abs(static_cast<std::int32_t>(width)) / 2;
  const long hh = std::abs(static_cast<std::int32_t>(height)) / 2;
  return SYS_Box(c.GetX() - hw, c.GetY() - hh, c.GetX() + hw, c.GetY() + hh);
}

std::size_t CheckedLength(const char* text) {
  const std::size_t length = text ? std::strlen(text) : 0;
  if (length > brix::drawwords::kMaxStringBytes) throw std::length_error("drawing string too long");
  return length;
}

}  // namespace

UI_DrawAreaImpl::~UI_DrawAreaImpl() = default;

UI_DrawArea::~UI_DrawArea() = default;

UI_DrawArea* UI_DrawArea::Clone() const { return new UI_DrawArea(); }
int UI_DrawArea::EnableCoordConversion(int) { return 1; }

void UI_DrawArea::GetVP(SYS_Box&) {}
void UI_DrawArea::SetVP(SYS_Box& box) {
  if (!drawing_) return;
  std::uint32_t w[5] = {34};
  PutBox(w + 1, box);
  drawing_->Append(w, 5);
}
void UI_DrawArea::SetAndAdjustVP(SYS_Box& box) {
  if (!drawing_) return;
  std::uint32_t w[5] = {46};
  PutBox(w + 1, box);
  drawing_->Append(w, 5);
}
double UI_DrawArea::GetScale(SYS_Point*) { return 1.0; }
int UI_DrawArea::SetScale(double, SYS_Point*, int) { return 0; }
double UI_DrawArea::GetPixelSize() { return 0.0; }
void UI_DrawArea::FitRectToWindow(SYS_Box&, int) {}
void UI_DrawArea::FitRectToWindow(SYS_Box&) {}
int UI_DrawArea::GetFitPixelMargin() { return 0; }
int UI_DrawArea::SetFitPixelMargin(int) { return 0; }
CDynamic* UI_DrawArea::GetDrawing(const char*) { return nullptr; }
long UI_DrawArea::GetPosition() { return 0; }

void UI_DrawArea::StartBatchDraw(int) {
  if (!drawing_) return;
  drawing_->OpenBatch();
  PenColor(15);
  PenSize(-1);
}

void UI_DrawArea::EndBatchDraw() {
  if (!drawing_) return;
  if (drawing_->GetBatchDepth() > 0) {
    if (UI_DrawArea* live = drawing_->GetLiveTarget()) {
      SYS_Box bounds = drawing_->GetBounds();
      live->RedrawDrawing(drawing_, &bounds, 1);
    }
  }
  drawing_->CloseBatch();
}

long UI_DrawArea::GetDefaultPaletteColors(unsigned long*) const { return 0; }
long UI_DrawArea::GetCurrentPaletteColors(unsigned long*) const { return 0; }
unsigned long UI_DrawArea::GetCurrentPaletteColorRGB(int) const { return 0; }
int UI_DrawArea::GetColorLuminosity(int) const { return 0; }
int UI_DrawArea::GetCurrentPaletteColorIdx(unsigned long) const { return 0; }
void UI_DrawArea::SetCurrentPaletteColors(unsigned long*) {}
void UI_DrawArea::SetCurrentPaletteColor(int, unsigned long) {}
void UI_DrawArea::ResetPaletteColors() {}
int UI_DrawArea::GetBrightness() { return 0; }
void UI_DrawArea::SetBrightness(int v) {
  if (drawing_) Record(drawing_, {28, Word(v)});
}
int UI_DrawArea::GetOutlineMode() { return 0; }
void UI_DrawArea::SetOutlineMode(int v) {
  if (drawing_) Record(drawing_, {29, Word(v)});
}

SYS_CompositeColor UI_DrawArea::GetPenColor() { return {}; }
void UI_DrawArea::PenColor(SYS_CompositeColor c) {
  if (drawing_) Record(drawing_, {1, c.GetWord()});
}
int UI_DrawArea::GetPenMode() { return 0; }
void UI_DrawArea::PenMode(int mode) {
  if (drawing_) Record(drawing_, {33, Word(mode)});
}
int UI_DrawArea::GetPenCap() { return 0; }
void UI_DrawArea::PenCap(int cap) {
  if (drawing_) Record(drawing_, {36, Word(cap)});
}
long UI_DrawArea::GetPenSize() { return 0; }
void UI_DrawArea::PenSize(long size) {
  if (drawing_) Record(drawing_, {2, Word(size)});
}
SYS_FillStyleInfo* UI_DrawArea::GetFillStyleInfo(int) { return nullptr; }
void UI_DrawArea::SetFillStyleInfo(int, SYS_FillStyleInfo*) {}
SYS_CompositeColor UI_DrawArea::GetBackColor() { return {}; }
void UI_DrawArea::BackColor(SYS_CompositeColor c) {
  if (drawing_) Record(drawing_, {48, c.GetWord()});
}
SYS_CompositeColor UI_DrawArea::GetHighlightColor(int) { return {}; }

void UI_DrawArea::EraseRect(SYS_Box box) {
  if (!drawing_) return;
  std::uint32_t w[5] = {47};
  PutBox(w + 1, box);
  drawing_->ExtendBounds(box);
  drawing_->Append(w, 5);
}
void UI_DrawArea::FillRect(SYS_Box box, SYS_CompositeColor c) {
  if (!drawing_) return;
  std::uint32_t w[6] = {27};
  PutBox(w + 1, box)[0] = c.GetWord();
  drawing_->ExtendBounds(box);
  drawing_->Append(w, 6);
}
void UI_DrawArea::MoveCursor(long, long) {}
void UI_DrawArea::SafeMoveCursor(long, long) {}
void UI_DrawArea::Redraw() {}
void UI_DrawArea::InvalidateRect(const SYS_Box*) {}
void UI_DrawArea::SetRgnRedraw(SYS_Box*, int) {}
SYS_Box UI_DrawArea::GetRedrawRect() { return {}; }
void UI_DrawArea::SetRedrawRect(const SYS_Box& box) {
  if (!drawing_) return;
  std::uint32_t w[5] = {45};
  PutBox(w + 1, box);
  drawing_->Append(w, 5);
}

void UI_DrawArea::SetPixel(const SYS_Point& p, SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(p);
  Record(drawing_, {3, Word(p.GetX()), Word(p.GetY()), c.GetWord()});
}
void UI_DrawArea::DrawDotGrid(const SYS_Point& origin, long dx, long dy, const SYS_Box& box) {
  if (!drawing_) return;
  std::uint32_t w[9] = {50, Word(origin.GetX()), Word(origin.GetY()), Word(dx), Word(dy)};
  PutBox(w + 5, box);
  drawing_->ExtendBounds(box);
  drawing_->Append(w, 9);
}
void UI_DrawArea::MoveTo(const SYS_Point& p) {
  if (!drawing_) return;
  drawing_->SetCursor(p);
  Record(drawing_, {4, Word(p.GetX()), Word(p.GetY())});
}
void UI_DrawArea::LineTo(const SYS_Point& p, SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(drawing_->GetCursor());
  drawing_->ExtendBounds(p);
  drawing_->SetCursor(p);
  Record(drawing_, {6, Word(p.GetX()), Word(p.GetY()), c.GetWord()});
}
void UI_DrawArea::MoveToRel(long dx, long dy) {
  if (!drawing_) return;
  drawing_->SetCursor(drawing_->GetCursor() + SYS_Point(dx, dy));
  Record(drawing_, {5, Word(dx), Word(dy)});
}
void UI_DrawArea::LineToRel(long dx, long dy, SYS_CompositeColor c) {
  if (!drawing_) return;
  const SYS_Point to = drawing_->GetCursor() + SYS_Point(dx, dy);
  drawing_->ExtendBounds(drawing_->GetCursor());
  drawing_->ExtendBounds(to);
  drawing_->SetCursor(to);
  Record(drawing_, {7, Word(dx), Word(dy), c.GetWord()});
}

void UI_DrawArea::PaintOval(const SYS_Box& box, SYS_CompositeColor c) {
  MoveTo(box.GetCenter());
  PaintOval(box.GetWidth(), box.GetHeight(), c);
}
void UI_DrawArea::PaintOval(const SYS_Point& center, long r, SYS_CompositeColor c) {
  MoveTo(center);
  PaintOval(r, r, c);  // r, not 2r: intended
}
void UI_DrawArea::PaintOval(long width, long height, SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(BoxAbout(drawing_->GetCursor(), width, height));
  Record(drawing_, {8, Word(width), Word(height), c.GetWord()});
}
void UI_DrawArea::FrameOval(const SYS_Box& box, SYS_CompositeColor c) {
  MoveTo(box.GetCenter());
  FrameOval(box.GetWidth(), box.GetHeight(), c);
}
void UI_DrawArea::FrameOval(const SYS_Point& center, long r, SYS_CompositeColor c) {
  MoveTo(center);
  FrameOval(r, r, c);  // r, not 2r: intended
}
void UI_DrawArea::FrameOval(long width, long height, SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(BoxAbout(drawing_->GetCursor(), width, height));
  Record(drawing_, {9, Word(width), Word(height), c.GetWord()});
}
void UI_DrawArea::FrameArc(const SYS_Box& box, const SYS_Point& from, const SYS_Point& to,
                           SYS_CompositeColor c) {
  MoveTo(box.GetCenter());
  FrameArc(box.GetWidth(), box.GetHeight(), from, to, c);
}
void UI_DrawArea::FrameArc(long width, long height, const SYS_Point& from, const SYS_Point& to,
                           SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(BoxAbout(drawing_->GetCursor(), width, height));
  Record(drawing_, {10, Word(width), Word(height), Word(from.GetX()), Word(from.GetY()),
                    Word(to.GetX()), Word(to.GetY()), c.GetWord()});
}
void UI_DrawArea::FrameArc(const SYS_Box& box, double start, double end, SYS_CompositeColor c) {
  if (!drawing_) return;
  std::uint32_t w[10] = {40};
  brix::drawwords::PutDouble(PutBox(w + 1, box), start);
  brix::drawwords::PutDouble(w + 7, end);
  w[9] = c.GetWord();
  drawing_->ExtendBounds(box);
  drawing_->Append(w, 10);
}
void UI_DrawArea::FrameArc(long width, long height, double start, double end,
                           SYS_CompositeColor c) {
  if (!drawing_) return;
  FrameArc(BoxAbout(drawing_->GetCursor(), width, height), start, end, c);
}

void UI_DrawArea::PolyLine(int count, SYS_Point* points, long width, SYS_CompositeColor c) {
  if (!drawing_) return;
  const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
  std::uint32_t* w = drawing_->Extend(4 + 2 * n);
  w[0] = 11, w[1] = Word(count), w[2] = Word(width), w[3] = c.GetWord();
  for (std::size_t i = 0; i < n; ++i) {
    w[4 + 2 * i] = Word(points[i].GetX());
    w[5 + 2 * i] = Word(points[i].GetY());
    drawing_->ExtendBounds(points[i], width / 2);
  }
  drawing_->RaiseChanged();
}

void UI_DrawArea::PolyPolyline(SYS_Point* points, const unsigned long* counts, int polylines) {
  if (!drawing_) return;
  const std::size_t k = polylines > 0 ? static_cast<std::size_t>(polylines) : 0;
  std::size_t total = 0;
  for (std::size_t i = 0; i < k; ++i) total += static_cast<std::uint32_t>(counts[i]);
  std::uint32_t* w = drawing_->Extend(2 + k + 2 * total);
  w[0] = 12, w[1] = Word(polylines);
  for (std::size_t i = 0; i < k; ++i) w[2 + i] = static_cast<std::uint32_t>(counts[i]);
  std::uint32_t* p = w + 2 + k;
  for (std::size_t i = 0; i < total; ++i) {
    *p++ = Word(points[i].GetX()), *p++ = Word(points[i].GetY());
    drawing_->ExtendBounds(points[i]);
  }
  drawing_->RaiseChanged();
}

void UI_DrawArea::PolyPolygon(SYS_Point* points, const int* counts, int polygons, long fill) {
  if (!drawing_) return;
  const std::size_t k = polygons > 0 ? static_cast<std::size_t>(polygons) : 0;
  std::size_t total = 0;
  for (std::size_t i = 0; i < k; ++i) total += counts[i] > 0 ? static_cast<std::size_t>(counts[i]) : 0;
  std::uint32_t* w = drawing_->Extend(3 + k + 2 * total);
  w[0] = 13, w[1] = Word(polygons);
  for (std::size_t i = 0; i < k; ++i) w[2 + i] = Word(counts[i]);
  std::uint32_t* p = w + 2 + k;
  for (std::size_t i = 0; i < total; ++i) {
    *p++ = Word(points[i].GetX()), *p++ = Word(points[i].GetY());
    drawing_->ExtendBounds(points[i]);
  }
  *p = Word(fill);
  drawing_->RaiseChanged();
}

void UI_DrawArea::DrawHatchedPoly(int count, SYS_Point* points) {
  PolyPolygon(points, &count, 1, UI_PolyHatched);
}

void UI_DrawArea::DrawLine(const SYS_Point& from, const SYS_Point& to, long width,
                           SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(from, width / 2);
  drawing_->ExtendBounds(to, width / 2);
  Record(drawing_, {14, Word(from.GetX()), Word(from.GetY()), Word(to.GetX()), Word(to.GetY()),
                    Word(width), c.GetWord()});
}
void UI_DrawArea::DrawCross(const SYS_Point& p, SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(p);
  Record(drawing_, {15, Word(p.GetX()), Word(p.GetY()), c.GetWord()});
}
void UI_DrawArea::DrawBox(const SYS_Box& box, SYS_CompositeColor c) {
  MoveTo(box.GetCenter());
  DrawBox(box.GetWidth(), box.GetHeight(), c);
}
void UI_DrawArea::DrawBox(long width, long height, SYS_CompositeColor c) {
  if (!drawing_) return;
  drawing_->ExtendBounds(BoxAbout(drawing_->GetCursor(), width, height));
  Record(drawing_, {16, Word(width), Word(height), c.GetWord()});
}
void UI_DrawArea::DrawBox(const SYS_Point& a, const SYS_Point& b, SYS_CompositeColor c) {
  SYS_Box box(a, b);
  box.Normalize();
  DrawBox(box, c);
}
void UI_DrawArea::DrawFilledBox(const SYS_Box& box, SYS_CompositeColor c) {
  if (!drawing_) return;
  std::uint32_t w[6] = {49};
  PutBox(w + 1, box)[0] = c.GetWord();
  drawing_->ExtendBounds(box);
  drawing_->Append(w, 6);
}
void UI_DrawArea::DrawIcon(HICON icon, SYS_Point p, int flag) {
  if (!drawing_) return;
  drawing_->ExtendBounds(p);
  Record(drawing_, {17, icon.handle, Word(p.GetX()), Word(p.GetY()), Word(flag)});
}
void UI_DrawArea::DrawIcon(int icon, SYS_Point p, int flag) {
  DrawIcon(HICON{static_cast<std::uint32_t>(icon)}, p, flag);
}
void UI_DrawArea::DrawMarker(int kind, SYS_Point p) {
  if (!drawing_) return;
  drawing_->ExtendBounds(p);
  Record(drawing_, {18, Word(kind), Word(p.GetX()), Word(p.GetY())});
}
void UI_DrawArea::DrawInfiniteOrthoLine(const SYS_Point& p, EOrthoLine kind) {
  if (!drawing_) return;
  drawing_->ExtendBounds(p);
  Record(drawing_, {30, Word(kind), Word(p.GetX()), Word(p.GetY())});
}
void UI_DrawArea::DrawInfiniteDiagonalLine(const SYS_Point& p, EDiagonalLine kind) {
  if (!drawing_) return;
  drawing_->ExtendBounds(p);
  Record(drawing_, {31, Word(kind), Word(p.GetX()), Word(p.GetY())});
}

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

void UI_DrawArea::StartXORDraw() {}
void UI_DrawArea::EndXORDraw() {}
void UI_DrawArea::SetDDynamicModeInternal() {}
void UI_DrawArea::EndDDynamicModeInternal() {}
int UI_DrawArea::SetDDynamicModeState(EDDynamicModeState, int) { return 0; }
EDDynamicModeState UI_DrawArea::GetDDynamicModeState() { return EDDynamicOff; }
int UI_DrawArea::Printing() { return 0; }
double UI_DrawArea::GetPixelRatio() { return 1.0; }

void UI_DrawArea::BeginPath() {
  if (drawing_) Record(drawing_, {37});
}
void UI_DrawArea::EndPath() {
  if (drawing_) Record(drawing_, {38});
}
void UI_DrawArea::PaintPath() {
  if (drawing_) Record(drawing_, {39});
}

void UI_DrawArea::PaintPoly(int polygons, _polyHead* heads, SYS_Point* points) {
  if (!drawing_) return;
  const std::size_t k = polygons > 0 ? static_cast<std::size_t>(polygons) : 0;
  std::size_t total = 0;
  for (std::size_t i = 0; i < k; ++i) total += heads[i].count > 0 ? static_cast<std::size_t>(heads[i].count) : 0;
  std::uint32_t* w = drawing_->Extend(2 + 2 * k + 2 * total);
  w[0] = 44, w[1] = Word(polygons);
  std::uint32_t* p = w + 2;
  for (std::size_t i = 0; i < k; ++i) *p++ = Word(heads[i].count), *p++ = Word(heads[i].flag);
  for (std::size_t i = 0; i < total; ++i) {
    *p++ = Word(points[i].GetX()), *p++ = Word(points[i].GetY());
    drawing_->ExtendBounds(points[i]);
  }
  drawing_->RaiseChanged();
}

namespace {

// Appends `number`, the region's image as words (its first word is its length in bytes)
// and, when given, one more word.
void RecordRegion(CDynamic* d, std::uint32_t number, const DARegion& region,
                  const std::uint32_t* tail) {
  const int bytes = region.GetImageLength();
  std::vector<char> image(static_cast<std::size_t>(bytes));
  region.CreateImage(image.data());
  const std::size_t n = static_cast<std::size_t>(bytes) / 4;
  std::uint32_t* w = d->Extend(1 + n + (tail ? 1 : 0));
  w[0] = number;
  for (std::size_t i = 0; i < n; ++i) {
    const auto* b = reinterpret_cast<const unsigned char*>(image.data() + 4 * i);
    w[1 + i] = b[0] | b[1] << 8 | b[2] << 16 | static_cast<std::uint32_t>(b[3]) << 24;
  }
  if (tail) w[1 + n] = *tail;
  const SYS_Box box = region.GetBox();
  if (box.IsValid()) d->ExtendBounds(box);
  d->RaiseChanged();
}

}  // namespace

void UI_DrawArea::PaintArea(const DARegion& region, SYS_CompositeColor c) {
  if (!drawing_) return;
  const std::uint32_t colour = c.GetWord();
  RecordRegion(drawing_, 41, region, &colour);
}
void UI_DrawArea::EraseArea(const DARegion& region) {
  if (drawing_) RecordRegion(drawing_, 42, region, nullptr);
}

void UI_DrawArea::InstallDrawing(UI_DrawAreaImpl*) {}
void UI_DrawArea::RedrawDrawing(UI_DrawAreaImpl*, SYS_Box*, int) {}
