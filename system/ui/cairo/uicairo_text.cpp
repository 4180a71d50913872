// uicairo_text.cpp - text on the cairo draw area: fonts through cairo's own text API, sizes and
// offsets in world units, alignment, mirroring and direction, outlines as polylines.
#include <cmath>
#include <cstring>

#include "cairo_impl.h"

namespace {

// Text is measured and outlined at this em size and scaled, so that world sizes far beyond
// cairo's fixed-point range still measure exactly.
constexpr double kEm = 1000.0;
// Text drawn smaller than this (pixels) would be a smudge; larger would overflow cairo.
constexpr double kMinTextPixels = 0.5;
constexpr double kMaxTextPixels = 100000.0;
constexpr double kUnitsPerRadian = 324000000.0 / M_PI;

const char* const kFaces[] = {"sans-serif", "serif", "monospace"};
constexpr int kFaceCount = 3;

// Splits UTF-8 text into characters (a malformed byte counts as one character).
template <class F>
void ForEachChar(const char* s, F f) {
  char buf[8];
  while (*s) {
    unsigned char c = static_cast<unsigned char>(*s);
    int n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 1;
    int k = 0;
    while (k < n && s[k]) buf[k] = s[k], ++k;
    buf[k] = 0;
    f(buf);
    s += k;
  }
}

double Height(const UI_CairoDrawArea::Impl& d, const CairoTextState& t) {
  return t.height > 0 ? t.height : 12.0 / d.view.scale;
}
double Width(const UI_CairoDrawArea::Impl& d, const CairoTextState& t) {
  return t.width > 0 ? t.width : Height(d, t);
}

}  // namespace

void UI_CairoDrawArea::Impl::SelectFont(cairo_t* c, const CairoTextState& t) const {
  cairo_select_font_face(c, t.face.IsEmpty() ? "sans-serif" : t.face.Get(),
                         (t.style & UI_FontItalic) ? CAIRO_FONT_SLANT_ITALIC : CAIRO_FONT_SLANT_NORMAL,
                         (t.style & UI_FontBold) ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
}

CairoTextMetrics UI_CairoDrawArea::Impl::Measure(const char* s, const CairoTextState& t) const {
  CairoTextMetrics m;
  if (!s) return m;
  double k = Height(*this, t) / kEm;
  cairo_identity_matrix(scratch);
  SelectFont(scratch, t);
  cairo_matrix_t fm;
  cairo_matrix_init_scale(&fm, kEm * Width(*this, t) / Height(*this, t), kEm);
  cairo_set_font_matrix(scratch, &fm);
  cairo_font_extents_t fe;
  cairo_font_extents(scratch, &fe);
  double advance = 0;
  int chars = 0;
  ForEachChar(s, [&](const char* ch) {
    cairo_text_extents_t te;
    cairo_text_extents(scratch, ch, &te);
    advance += te.x_advance;
    ++chars;
  });
  m.advance = advance * k + (chars > 1 ? double(t.extra) * (chars - 1) : 0.0);
  m.ascent = fe.ascent * k;
  m.descent = fe.descent * k;
  m.offsetX = t.hAlign == 1 ? -m.advance / 2 : t.hAlign == 2 ? -m.advance : 0.0;
  m.offsetY = t.vAlign == 1 ? -m.ascent / 2 : t.vAlign == 2 ? -m.ascent : 0.0;
  return m;
}

SYS_Box UI_CairoDrawArea::Impl::TextBox(const char* s, const CairoTextState& t, double wx,
                                        double wy) const {
  CairoTextMetrics m = Measure(s, t);
  double a = t.angle / kUnitsPerRadian, c = std::cos(a), sn = std::sin(a);
  double x0 = m.offsetX, x1 = m.offsetX + m.advance;
  double y0 = m.offsetY - m.descent, y1 = m.offsetY + m.ascent;
  double lo[2] = {INFINITY, INFINITY}, hi[2] = {-INFINITY, -INFINITY};
  for (double u : {x0, x1})
    for (double v : {y0, y1}) {
      double uu = t.mirror ? -u : u;
      double px = wx + uu * c - v * sn, py = wy + uu * sn + v * c;
      lo[0] = std::min(lo[0], px), hi[0] = std::max(hi[0], px);
      lo[1] = std::min(lo[1], py), hi[1] = std::max(hi[1], py);
    }
  return SYS_Box(SYS_Round(std::floor(lo[0])), SYS_Round(std::floor(lo[1])),
                 SYS_Round(std::ceil(hi[0])), SYS_Round(std::ceil(hi[1])));
}

bool UI_CairoDrawArea::Impl::AddTextPath(const char* s, const CairoTextState& t, double wx,
                                         double wy) {
  if (!Usable() || !s || !*s) return false;
  double hPx = view.Length(Height(*this, t)), wPx = view.Length(Width(*this, t));
  if (!(hPx >= kMinTextPixels) || hPx > kMaxTextPixels || wPx > kMaxTextPixels) return false;
  CairoTextMetrics m = Measure(s, t);
  cairo_save(cr);
  cairo_translate(cr, X(wx), Y(wy));
  cairo_rotate(cr, brix::cairo_view::DevAngle(t.angle));
  if (t.mirror) cairo_scale(cr, -1, 1);
  SelectFont(cr, t);
  cairo_matrix_t fm;
  cairo_matrix_init_scale(&fm, wPx, hPx);
  cairo_set_font_matrix(cr, &fm);
  double extraPx = view.Length(t.extra);
  cairo_move_to(cr, view.Length(m.offsetX), -view.Length(m.offsetY));
  ForEachChar(s, [&](const char* ch) {
    cairo_text_path(cr, ch);
    if (extraPx != 0) cairo_rel_move_to(cr, extraPx, 0);
  });
  if (t.style & UI_FontUnderline) {
    double y = -view.Length(m.offsetY) + hPx * 0.1;
    cairo_rectangle(cr, view.Length(m.offsetX), y, view.Length(m.advance), std::max(hPx / 15, 1.0));
  }
  cairo_restore(cr);  // the path stays, in device coordinates
  return true;
}

SYS_Box UI_CairoDrawArea::Impl::DrawText(const char* s, const CairoTextState& t, double wx,
                                         double wy, SYS_CompositeColor color, bool xorText,
                                         bool eraseFirst) {
  if (!s) return SYS_Box();
  SYS_Box box = TextBox(s, t, wx, wy);
  if (!Usable()) return box;
  if (eraseFirst) {
    cairo_rectangle(cr, X(box.GetLeft()), Y(box.GetUpper()), view.Length(box.GetWidth()),
                    view.Length(box.GetHeight()));
    Erase();
  }
  if (AddTextPath(s, t, wx, wy)) {
    int savedOutline = outline;
    outline = 0;  // glyphs stay solid: an outlined glyph is unreadable at screen sizes
    if (xorText) ++xorDepth;
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
    Fill(color);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
    if (xorText) --xorDepth;
    outline = savedOutline;
  }
  return box;
}

// ---------------------------------------------------------------------------------------
// Settings.

int UI_CairoDrawArea::GetAvailableFonts(SCC_Array<FaceName>& faces, unsigned) {
  faces.RemoveAll();
  for (const char* f : kFaces) faces.Add(FaceName(f));
  return kFaceCount;
}

FaceName UI_CairoDrawArea::GetStrokeFaceName() { return FaceName("monospace"); }
FaceName UI_CairoDrawArea::GetStrokeFaceName1() { return FaceName("sans-serif"); }
int UI_CairoDrawArea::IsStrokeFaceName(const FaceName& face) {
  return face == GetStrokeFaceName() || face == GetStrokeFaceName1();
}

void UI_CairoDrawArea::SetTextFont(const TextFont& font) {
  CairoTextState& t = impl_->text;
  if (!font.face.IsEmpty()) t.face = font.face;
  if (font.height > 0) t.height = font.height;
  if (font.width >= 0) t.width = font.width;
  t.style = font.style;
}

TextFont UI_CairoDrawArea::GetTextFont() {
  const CairoTextState& t = impl_->text;
  TextFont f;
  f.face = t.face;
  f.height = t.height;
  f.width = t.width;
  f.style = t.style;
  return f;
}

void UI_CairoDrawArea::SetCodePage(unsigned codePage) { impl_->text.codePage = codePage; }
unsigned UI_CairoDrawArea::GetCodePage() { return impl_->text.codePage; }

int UI_CairoDrawArea::GetTextFontWidth() {
  return SYS_Round(impl_->Measure("M", impl_->text).advance);
}
int UI_CairoDrawArea::GetTextFontHeight() {
  CairoTextMetrics m = impl_->Measure("M", impl_->text);
  return SYS_Round(m.ascent + m.descent);
}
int UI_CairoDrawArea::GetTextAscendingHeight() {
  return SYS_Round(impl_->Measure("M", impl_->text).ascent);
}
int UI_CairoDrawArea::GetTextDescendingHeight() {
  return SYS_Round(impl_->Measure("M", impl_->text).descent);
}

long UI_CairoDrawArea::GetTextLen(const char* text, int face, int width, int height, int extra,
                                  int mirror, double path, int hAlign, int vAlign) {
  CairoTextState t = impl_->text;
  t.style = face;
  t.width = width;
  t.height = height;
  t.extra = extra;
  return SYS_Round(impl_->Measure(text, t).advance);
}

long UI_CairoDrawArea::GetTextLen(const char* text, int face, int width, int height) {
  CairoTextState t = impl_->text;
  t.style = face;
  t.width = width;
  t.height = height;
  return SYS_Round(impl_->Measure(text, t).advance);
}

long UI_CairoDrawArea::GetTextLen(const char* text, int width, int height) {
  CairoTextState t = impl_->text;
  t.width = width;
  t.height = height;
  return SYS_Round(impl_->Measure(text, t).advance);
}

long UI_CairoDrawArea::GetTextLen(const char* text) {
  return SYS_Round(impl_->Measure(text, impl_->text).advance);
}

SYS_Point UI_CairoDrawArea::GetTTFStringExtent(const char* text, CFontInfo* font) {
  CairoTextState t = impl_->text;
  if (font && font->font >= 0 && font->font < kFaceCount) t.face = FaceName(kFaces[font->font]);
  CairoTextMetrics m = impl_->Measure(text, t);
  return SYS_Point(SYS_Round(m.advance), SYS_Round(m.ascent + m.descent));
}

int UI_CairoDrawArea::GetStringPolylines(const char* text, SCC_Array<SYS_Point>& points,
                                         SCC_Array<long>& counts) {
  points.RemoveAll();
  counts.RemoveAll();
  Impl& d = *impl_;
  if (!text || !*text) return 0;
  const CairoTextState& t = d.text;
  CairoTextMetrics m = d.Measure(text, t);
  double k = Height(d, t) / kEm;
  double ax = d.cursor.GetX(), ay = d.cursor.GetY();
  // Lay the text out at the em size in a y-up frame turned by the text's direction; the
  // flattened outline then only needs scaling and moving to the anchor.
  cairo_t* c = d.scratch;
  cairo_new_path(c);
  cairo_identity_matrix(c);
  cairo_set_tolerance(c, 1.0);
  cairo_rotate(c, t.angle / kUnitsPerRadian);
  cairo_scale(c, t.mirror ? -1 : 1, -1);
  d.SelectFont(c, t);
  cairo_matrix_t fm;
  cairo_matrix_init_scale(&fm, kEm * Width(d, t) / Height(d, t), kEm);
  cairo_set_font_matrix(c, &fm);
  cairo_move_to(c, m.offsetX / k, -m.offsetY / k);
  ForEachChar(text, [&](const char* ch) {
    cairo_text_path(c, ch);
    if (t.extra != 0) cairo_rel_move_to(c, t.extra / k, 0);
  });
  cairo_identity_matrix(c);
  cairo_path_t* path = cairo_copy_path_flat(c);
  cairo_new_path(c);
  long run = 0;
  SYS_Point first;
  auto flush = [&] {
    if (run > 1) counts.Add(run);
    else if (run == 1) points.SetSize(points.GetSize() - 1);
    run = 0;
  };
  for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
    const cairo_path_data_t& h = path->data[i];
    if (h.header.type == CAIRO_PATH_MOVE_TO || h.header.type == CAIRO_PATH_LINE_TO) {
      if (h.header.type == CAIRO_PATH_MOVE_TO) flush();
      SYS_Point p(SYS_Round(ax + path->data[i + 1].point.x * k),
                  SYS_Round(ay + path->data[i + 1].point.y * k));
      if (run == 0) first = p;
      points.Add(p);
      ++run;
    } else if (h.header.type == CAIRO_PATH_CLOSE_PATH && run > 0) {
      points.Add(first);
      ++run;
      flush();
    }
  }
  flush();
  cairo_path_destroy(path);
  return static_cast<int>(counts.GetSize());
}

void UI_CairoDrawArea::TextAlign(int horizontal, int vertical) {
  impl_->text.hAlign = horizontal >= 0 && horizontal <= 2 ? horizontal : 0;
  impl_->text.vAlign = vertical >= 0 && vertical <= 2 ? vertical : 0;
}
void UI_CairoDrawArea::TextMirror(int mirror) { impl_->text.mirror = mirror != 0; }
void UI_CairoDrawArea::TextExtra(int extra) { impl_->text.extra = extra; }
void UI_CairoDrawArea::TextFace(int face) { impl_->text.style = face; }
void UI_CairoDrawArea::TextPath(double angle) {
  impl_->text.angle = std::isfinite(angle) ? std::fmod(angle, double(SYS_FullTurn)) : 0.0;
}
void UI_CairoDrawArea::TextSize(int width, int height) {
  impl_->text.width = width > 0 ? width : 0;
  impl_->text.height = height > 0 ? height : 0;
}
int UI_CairoDrawArea::GetHorzTextAlign() { return impl_->text.hAlign; }
int UI_CairoDrawArea::GetVertTextAlign() { return impl_->text.vAlign; }
int UI_CairoDrawArea::GetTextExtra() { return impl_->text.extra; }
int UI_CairoDrawArea::GetTextFace() { return impl_->text.style; }
double UI_CairoDrawArea::GetTextPath() { return impl_->text.angle; }
int UI_CairoDrawArea::GetTextWidth() { return impl_->text.width; }
int UI_CairoDrawArea::GetTextHeight() { return impl_->text.height; }

// ---------------------------------------------------------------------------------------
// Drawing text.

void UI_CairoDrawArea::DrawString(const char* text) {
  Impl& d = *impl_;
  d.DrawText(text, d.text, d.cursor.GetX(), d.cursor.GetY(), d.textColor, false, false);
}

void UI_CairoDrawArea::DrawTTFString(const char* text, CFontInfo* font) {
  Impl& d = *impl_;
  CairoTextState t = d.text;
  if (font && font->font >= 0 && font->font < kFaceCount) t.face = FaceName(kFaces[font->font]);
  d.DrawText(text, t, d.cursor.GetX(), d.cursor.GetY(), d.textColor, false, false);
}

void UI_CairoDrawArea::DrawPinNumberString(const char* text, const SYS_Position& position,
                                           const double& size) {
  Impl& d = *impl_;
  d.cursor = position.GetOrigin();
  CairoTextState t = d.text;
  t.angle = position.GetOrientation();
  t.mirror = position.GetMirror();
  if (std::isfinite(size) && size >= 1 && size < 2147483647.0) t.height = static_cast<int>(size);
  t.width = 0;
  t.hAlign = 1;
  t.vAlign = 1;
  d.DrawText(text, t, d.cursor.GetX(), d.cursor.GetY(), d.textColor, false, false);
}

SYS_Box UI_CairoDrawArea::DrawXorText(const char* text, int hAlign, int vAlign, SYS_Box box,
                                      int redraw) {
  double l = std::min(box.GetLeft(), box.GetRight()), r = std::max(box.GetLeft(), box.GetRight());
  double b = std::min(box.GetLower(), box.GetUpper()), t = std::max(box.GetLower(), box.GetUpper());
  double x = hAlign == 1 ? (l + r) / 2 : hAlign == 2 ? r : l;
  double y = vAlign == 1 ? (b + t) / 2 : vAlign == 2 ? t : b;
  return DrawXorText(text, hAlign, vAlign, SYS_Round(x), SYS_Round(y), redraw);
}

SYS_Box UI_CairoDrawArea::DrawXorText(const char* text, int hAlign, int vAlign, long x, long y,
                                      int redraw) {
  Impl& d = *impl_;
  CairoTextState t = d.text;
  t.hAlign = hAlign >= 0 && hAlign <= 2 ? hAlign : 0;
  t.vAlign = vAlign >= 0 && vAlign <= 2 ? vAlign : 0;
  return d.DrawText(text, t, x, y, d.textColor, true, false);
}

SYS_Box UI_CairoDrawArea::DrawReplaceText(const char* text, int hAlign, int vAlign, long x, long y,
                                          int redraw) {
  Impl& d = *impl_;
  CairoTextState t = d.text;
  t.hAlign = hAlign >= 0 && hAlign <= 2 ? hAlign : 0;
  t.vAlign = vAlign >= 0 && vAlign <= 2 ? vAlign : 0;
  return d.DrawText(text, t, x, y, d.textColor, false, true);
}
