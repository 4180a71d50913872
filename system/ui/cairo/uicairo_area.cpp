// uicairo_area.cpp - the cairo draw area: surfaces, view and coordinates, palette, pen state,
// output and the live-target side (installing and replaying drawings).
#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "cairo_impl.h"

using brix::cairo_view::View;
namespace pal = brix::cairo_pal;

namespace {

int ClampSide(int v) { return v < 1 ? 1 : (v > UI_CairoDrawArea::kMaxSide ? UI_CairoDrawArea::kMaxSide : v); }

long RoundLong(double v) {
  if (!std::isfinite(v)) return 0;
  return SYS_Round(v);
}

}  // namespace

// ---------------------------------------------------------------------------------------
// Impl: surfaces and painting helpers.

UI_CairoDrawArea::Impl::Impl(int w, int h, UI_CairoFormat f)
    : format(f), width(ClampSide(w)), height(ClampSide(h)) {
  switch (format) {
    case UI_CairoSvg:
      surface = cairo_svg_surface_create_for_stream(&brix::cairo_out::Sink::Write, &sink, width,
                                                    height);
      break;
    case UI_CairoPdf:
      surface = cairo_pdf_surface_create_for_stream(&brix::cairo_out::Sink::Write, &sink, width,
                                                    height);
      break;
    default:
      format = UI_CairoPng;
      surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
      break;
  }
  cr = cairo_create(surface);
  if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) finished = true;
  scratchSurface = cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1);
  scratch = cairo_create(scratchSurface);
  palette = pal::Defaults();
  view.width = width;
  view.height = height;
  view.upper = height;  // world (0, 0) at the lower-left corner
  cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
}

UI_CairoDrawArea::Impl::~Impl() {
  cairo_destroy(scratch);
  cairo_surface_destroy(scratchSurface);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
}

double UI_CairoDrawArea::Impl::PenPixels(double worldWidth) const {
  double px = view.Length(worldWidth);
  if (!(px >= 1.0)) return 1.0;
  return px < brix::cairo_view::kDeviceLimit ? px : brix::cairo_view::kDeviceLimit;
}

std::uint32_t UI_CairoDrawArea::Impl::Resolve(SYS_CompositeColor c) const {
  if (!c.IsIndex()) return c.GetRgb();
  int i = c.GetIndex();
  return palette[i < pal::kSize ? i : 15];
}

void UI_CairoDrawArea::Impl::SetSourceRgb(std::uint32_t rgb) {
  cairo_set_source_rgb(cr, pal::Red(rgb) / 255.0, pal::Green(rgb) / 255.0, pal::Blue(rgb) / 255.0);
}

void UI_CairoDrawArea::Impl::SetSource(SYS_CompositeColor c) {
  SetSourceRgb(pal::Dim(Resolve(c), brightness));
}

void UI_CairoDrawArea::Impl::Paint(bool stroke) {
  if ((xorDepth > 0 || penMode == 1) && format == UI_CairoPng) {
    XorPaint(stroke);
    return;
  }
  // Documents have no pixels to flip: XOR becomes the nearest blend cairo offers.
  bool blend = xorDepth > 0 || penMode == 1;
  if (blend) cairo_set_operator(cr, CAIRO_OPERATOR_DIFFERENCE);
  stroke ? cairo_stroke(cr) : cairo_fill(cr);
  if (blend) cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
}

// True XOR on the image: the shape is drawn into a mask, and every pixel the mask covers by
// at least half has the colour's bits flipped, so drawing the same shape twice restores the
// picture exactly.
void UI_CairoDrawArea::Impl::XorPaint(bool stroke) {
  double x0, y0, x1, y1;
  stroke ? cairo_stroke_extents(cr, &x0, &y0, &x1, &y1) : cairo_fill_extents(cr, &x0, &y0, &x1, &y1);
  double cx0, cy0, cx1, cy1;
  cairo_clip_extents(cr, &cx0, &cy0, &cx1, &cy1);
  int ix0 = static_cast<int>(std::floor(std::max({x0, cx0, 0.0})));
  int iy0 = static_cast<int>(std::floor(std::max({y0, cy0, 0.0})));
  int ix1 = static_cast<int>(std::ceil(std::min({x1, cx1, double(width)})));
  int iy1 = static_cast<int>(std::ceil(std::min({y1, cy1, double(height)})));
  cairo_path_t* shape = cairo_copy_path(cr);
  cairo_new_path(cr);
  if (ix1 > ix0 && iy1 > iy0) {
    cairo_surface_t* mask = cairo_image_surface_create(CAIRO_FORMAT_A8, ix1 - ix0, iy1 - iy0);
    cairo_t* m = cairo_create(mask);
    cairo_translate(m, -ix0, -iy0);
    cairo_set_line_width(m, cairo_get_line_width(cr));
    cairo_set_line_cap(m, cairo_get_line_cap(cr));
    cairo_set_line_join(m, cairo_get_line_join(cr));
    cairo_set_fill_rule(m, cairo_get_fill_rule(cr));
    if (clipOn) {
      cairo_rectangle(m, X(clip.GetLeft()), Y(clip.GetUpper()), view.Length(clip.GetWidth()),
                      view.Length(clip.GetHeight()));
      cairo_clip(m);
    }
    cairo_append_path(m, shape);
    stroke ? cairo_stroke(m) : cairo_fill(m);
    cairo_destroy(m);
    cairo_surface_flush(mask);
    cairo_surface_flush(surface);
    double r, g, b, a;
    cairo_pattern_get_rgba(cairo_get_source(cr), &r, &g, &b, &a);
    std::uint32_t bits = (std::uint32_t(std::lround(r * 255)) << 16) |
                         (std::uint32_t(std::lround(g * 255)) << 8) | std::uint32_t(std::lround(b * 255));
    unsigned char* mdata = cairo_image_surface_get_data(mask);
    int mstride = cairo_image_surface_get_stride(mask);
    unsigned char* data = cairo_image_surface_get_data(surface);
    int stride = cairo_image_surface_get_stride(surface);
    for (int y = iy0; y < iy1; ++y) {
      const unsigned char* mrow = mdata + (y - iy0) * mstride;
      auto* row = reinterpret_cast<std::uint32_t*>(data + y * stride);
      for (int x = ix0; x < ix1; ++x)
        if (mrow[x - ix0] >= 128) row[x] ^= bits;
    }
    cairo_surface_mark_dirty_rectangle(surface, ix0, iy0, ix1 - ix0, iy1 - iy0);
    cairo_surface_destroy(mask);
  }
  cairo_path_destroy(shape);
}

void UI_CairoDrawArea::Impl::Stroke(SYS_CompositeColor color, double widthPx) {
  if (!Usable()) return;
  SetSource(color);
  cairo_set_line_width(cr, widthPx);
  static const cairo_line_cap_t kCaps[] = {CAIRO_LINE_CAP_ROUND, CAIRO_LINE_CAP_SQUARE,
                                           CAIRO_LINE_CAP_BUTT};
  cairo_line_cap_t cap = kCaps[penCap >= 0 && penCap <= 2 ? penCap : 0];
  cairo_set_line_cap(cr, cap);
  cairo_set_line_join(cr, cap == CAIRO_LINE_CAP_ROUND ? CAIRO_LINE_JOIN_ROUND : CAIRO_LINE_JOIN_MITER);
  Paint(true);
}

void UI_CairoDrawArea::Impl::Fill(SYS_CompositeColor color) {
  if (!Usable()) return;
  if (outline) {
    Stroke(color, 1.0);
    return;
  }
  SetSource(color);
  Paint(false);
}

void UI_CairoDrawArea::Impl::Erase() {
  if (!Usable()) return;
  SetSourceRgb(Resolve(back));
  cairo_fill(cr);
}

void UI_CairoDrawArea::Impl::Hatch(SYS_CompositeColor color, double widthPx) {
  if (!Usable()) return;
  cairo_path_t* shape = cairo_copy_path(cr);
  double x0, y0, x1, y1;
  cairo_fill_extents(cr, &x0, &y0, &x1, &y1);
  cairo_save(cr);
  cairo_clip(cr);  // consumes the path
  const double step = 8.0;  // pixels between hatch lines, independent of the zoom
  for (double d = x0 - (y1 - y0); d < x1; d += step) {
    cairo_move_to(cr, d, y1);
    cairo_line_to(cr, d + (y1 - y0), y0);
  }
  Stroke(color, 1.0);
  cairo_restore(cr);
  cairo_append_path(cr, shape);
  cairo_path_destroy(shape);
  Stroke(color, widthPx);
}

void UI_CairoDrawArea::Impl::ApplyClip() {
  if (!cr) return;
  cairo_reset_clip(cr);
  if (!clipOn) return;
  cairo_new_path(cr);
  cairo_rectangle(cr, X(clip.GetLeft()), Y(clip.GetUpper()), view.Length(clip.GetWidth()),
                  view.Length(clip.GetHeight()));
  cairo_clip(cr);
}

void UI_CairoDrawArea::Impl::Raise(int code, int* data) { changed.Raise(code, data); }

// ---------------------------------------------------------------------------------------
// Construction and output.

UI_CairoDrawArea::UI_CairoDrawArea(int width, int height, UI_CairoFormat format)
    : impl_(std::make_unique<Impl>(width, height, format)) {
  // The surface sits in its own change event's ring, so that a palette accessor inserted
  // before it hears what the surface raises.
  impl_->changed.AddHead(static_cast<SCC_EventNode<int>*>(this));
  Clear();
}

UI_CairoDrawArea::~UI_CairoDrawArea() {
  if (impl_->installed && impl_->installed->GetLiveTarget() == this)
    impl_->installed->SetLiveTarget(nullptr);
  SCC_EventNode<int>::Remove();
}

UI_CairoFormat UI_CairoDrawArea::GetFormat() const { return impl_->format; }
int UI_CairoDrawArea::GetWidth() const { return impl_->width; }
int UI_CairoDrawArea::GetHeight() const { return impl_->height; }
int UI_CairoDrawArea::IsValid() const { return impl_->Usable() ? 1 : 0; }
SCC_Event<int>* UI_CairoDrawArea::GetChangeEvent() { return &impl_->changed; }
CDynamic* UI_CairoDrawArea::GetInstalledDrawing() const { return impl_->installed; }

void UI_CairoDrawArea::Clear() {
  Impl& d = *impl_;
  if (!d.Usable()) return;
  cairo_save(d.cr);
  cairo_reset_clip(d.cr);
  cairo_new_path(d.cr);
  d.SetSourceRgb(d.Resolve(d.back));
  cairo_set_operator(d.cr, CAIRO_OPERATOR_SOURCE);
  cairo_paint(d.cr);
  cairo_restore(d.cr);
}

unsigned long UI_CairoDrawArea::GetPixelRGB(int x, int y) const {
  const Impl& d = *impl_;
  if (d.format != UI_CairoPng || x < 0 || y < 0 || x >= d.width || y >= d.height) return 0;
  cairo_surface_flush(d.surface);
  const unsigned char* data = cairo_image_surface_get_data(d.surface);
  int stride = cairo_image_surface_get_stride(d.surface);
  std::uint32_t p;
  std::memcpy(&p, data + y * stride + x * 4, 4);
  return pal::Rgb((p >> 16) & 0xff, (p >> 8) & 0xff, p & 0xff);
}

int UI_CairoDrawArea::WriteFile(const char* path) {
  Impl& d = *impl_;
  if (!path || !*path) {
    errno = EINVAL;
    return 0;
  }
  if (d.format == UI_CairoPng) {
    brix::cairo_out::Sink png;
    cairo_surface_flush(d.surface);
    if (cairo_surface_write_to_png_stream(d.surface, &brix::cairo_out::Sink::Write, &png) !=
        CAIRO_STATUS_SUCCESS) {
      errno = EIO;
      return 0;
    }
    return brix::cairo_out::ReplaceFile(path, png.Bytes());
  }
  if (!d.finished) {
    cairo_surface_finish(d.surface);
    d.finished = true;
  }
  if (cairo_surface_status(d.surface) != CAIRO_STATUS_SUCCESS || d.sink.Bytes().empty()) {
    errno = EIO;
    return 0;
  }
  return brix::cairo_out::ReplaceFile(path, d.sink.Bytes());
}

UI_DrawArea* UI_CairoDrawArea::Clone() const {
  auto* copy = new UI_CairoDrawArea(impl_->width, impl_->height, impl_->format);
  Impl& c = *copy->impl_;
  const Impl& d = *impl_;
  c.view = d.view;
  c.convert = d.convert;
  c.fitMargin = d.fitMargin;
  c.palette = d.palette;
  c.brightness = d.brightness;
  c.outline = d.outline;
  c.pen = d.pen;
  c.penSize = d.penSize;
  c.penMode = d.penMode;
  c.penCap = d.penCap;
  c.back = d.back;
  c.textColor = d.textColor;
  c.text = d.text;
  copy->Clear();
  return copy;
}

// ---------------------------------------------------------------------------------------
// Coordinates.

int UI_CairoDrawArea::Scale2ScreenX(long len) const {
  return impl_->convert ? static_cast<int>(RoundLong(impl_->view.Length(len))) : static_cast<int>(len);
}
int UI_CairoDrawArea::Scale2ScreenY(long len) const { return Scale2ScreenX(len); }
long UI_CairoDrawArea::Scale2WorldX(int px) const {
  return impl_->convert ? RoundLong(px / impl_->view.scale) : px;
}
long UI_CairoDrawArea::Scale2WorldY(int px) const { return Scale2WorldX(px); }
SYS_Point UI_CairoDrawArea::Scale2World(CPoint p) {
  return SYS_Point(Scale2WorldX(p.x), Scale2WorldY(p.y));
}
CPoint UI_CairoDrawArea::Scale2Screen(SYS_Point p) {
  return CPoint(Scale2ScreenX(p.GetX()), Scale2ScreenY(p.GetY()));
}

SYS_Point UI_CairoDrawArea::Screen2World(const CPoint& p) {
  if (!impl_->convert) return SYS_Point(p.x, p.y);
  return SYS_Point(RoundLong(impl_->view.WorldX(p.x)), RoundLong(impl_->view.WorldY(p.y)));
}

SYS_Box UI_CairoDrawArea::Screen2World(const CRect& r) {
  SYS_Point a = Screen2World(CPoint(r.left, r.bottom));
  SYS_Point b = Screen2World(CPoint(r.right, r.top));
  return SYS_Box(a, b);
}

CPoint UI_CairoDrawArea::World2Screen(const SYS_Point& p) {
  if (!impl_->convert) return CPoint(p.GetX(), p.GetY());
  return CPoint(RoundLong(impl_->X(p.GetX())), RoundLong(impl_->Y(p.GetY())));
}

CRect UI_CairoDrawArea::World2Screen(const SYS_Box& b) {
  CPoint tl = World2Screen(b.GetUpperLeft());
  CPoint br = World2Screen(b.GetLowerRight());
  return CRect(tl.x, tl.y, br.x, br.y);
}

int UI_CairoDrawArea::EnableCoordConversion(int enable) {
  impl_->convert = enable != 0;
  return impl_->convert ? 1 : 0;
}

void UI_CairoDrawArea::GetVP(SYS_Box& box) {
  const View& v = impl_->view;
  box.Set(RoundLong(v.left), RoundLong(v.WorldY(v.height)), RoundLong(v.WorldX(v.width)),
          RoundLong(v.upper));
}

void UI_CairoDrawArea::SetVP(SYS_Box& box) {
  if (impl_->view.Fit(box.GetLeft(), box.GetLower(), box.GetRight(), box.GetUpper(), 0))
    impl_->ApplyClip();
}

void UI_CairoDrawArea::SetAndAdjustVP(SYS_Box& box) {
  SetVP(box);
  GetVP(box);
}

double UI_CairoDrawArea::GetScale(SYS_Point* origin) {
  const View& v = impl_->view;
  if (origin) origin->Set(RoundLong(v.CentreX()), RoundLong(v.CentreY()));
  return v.scale;
}

int UI_CairoDrawArea::SetScale(double scale, SYS_Point* origin, int redraw) {
  View& v = impl_->view;
  double cx = origin ? origin->GetX() : v.CentreX();
  double cy = origin ? origin->GetY() : v.CentreY();
  if (!v.Centre(cx, cy, scale)) return 0;
  impl_->ApplyClip();
  if (redraw) Redraw();
  return 1;
}

double UI_CairoDrawArea::GetPixelSize() { return 1.0 / impl_->view.scale; }

void UI_CairoDrawArea::FitRectToWindow(SYS_Box& box, int margin) {
  if (impl_->view.Fit(box.GetLeft(), box.GetLower(), box.GetRight(), box.GetUpper(), margin)) {
    impl_->ApplyClip();
    GetVP(box);
  }
}

void UI_CairoDrawArea::FitRectToWindow(SYS_Box& box) { FitRectToWindow(box, impl_->fitMargin); }
int UI_CairoDrawArea::GetFitPixelMargin() { return impl_->fitMargin; }
int UI_CairoDrawArea::SetFitPixelMargin(int margin) {
  int old = impl_->fitMargin;
  impl_->fitMargin = margin < 0 ? 0 : margin;
  return old;
}

void UI_CairoDrawArea::StartBatchDraw(int) {
  PenColor(15);
  PenSize(-1);
}

void UI_CairoDrawArea::EndBatchDraw() {}

// ---------------------------------------------------------------------------------------
// Palette.

long UI_CairoDrawArea::GetDefaultPaletteColors(unsigned long* out) const {
  if (out)
    for (int i = 0; i < pal::kSize; ++i) out[i] = pal::Defaults()[i];
  return pal::kSize;
}

long UI_CairoDrawArea::GetCurrentPaletteColors(unsigned long* out) const {
  if (out)
    for (int i = 0; i < pal::kSize; ++i) out[i] = impl_->palette[i];
  return pal::kSize;
}

unsigned long UI_CairoDrawArea::GetCurrentPaletteColorRGB(int index) const {
  return index >= 0 && index < pal::kSize ? impl_->palette[index] : 0;
}

int UI_CairoDrawArea::GetColorLuminosity(int index) const {
  return index >= 0 && index < pal::kSize ? pal::Luminosity(impl_->palette[index]) : 0;
}

int UI_CairoDrawArea::GetCurrentPaletteColorIdx(unsigned long rgb) const {
  for (int i = 0; i < pal::kSize; ++i)
    if (impl_->palette[i] == (rgb & 0xFFFFFFu)) return i;
  return 0;
}

void UI_CairoDrawArea::SetCurrentPaletteColors(unsigned long* colors) {
  if (!colors) return;
  bool changed = false;
  for (int i = 0; i < pal::kSize; ++i) {
    std::uint32_t c = static_cast<std::uint32_t>(colors[i] & 0xFFFFFFu);
    changed |= impl_->palette[i] != c;
    impl_->palette[i] = c;
  }
  if (changed) impl_->Raise(5, nullptr);
}

void UI_CairoDrawArea::SetCurrentPaletteColor(int index, unsigned long rgb) {
  if (index < 0 || index >= pal::kSize) return;
  std::uint32_t c = static_cast<std::uint32_t>(rgb & 0xFFFFFFu);
  if (impl_->palette[index] == c) return;
  impl_->palette[index] = c;
  int position = index + 1;
  impl_->Raise(3, &position);
}

void UI_CairoDrawArea::ResetPaletteColors() {
  if (impl_->palette == pal::Defaults()) return;
  impl_->palette = pal::Defaults();
  impl_->Raise(5, nullptr);
}

int UI_CairoDrawArea::GetBrightness() { return impl_->brightness; }

void UI_CairoDrawArea::SetBrightness(int brightness) {
  brightness = std::clamp(brightness, pal::kBrightnessMin, pal::kBrightnessMax);
  if (brightness == impl_->brightness) return;
  impl_->brightness = brightness;
  impl_->Raise(5, nullptr);
}

int UI_CairoDrawArea::GetOutlineMode() { return impl_->outline; }

void UI_CairoDrawArea::SetOutlineMode(int mode) {
  mode = mode != 0;
  if (mode == impl_->outline) return;
  impl_->outline = mode;
  impl_->Raise(5, nullptr);
}

SYS_CompositeColor UI_CairoDrawArea::GetHighlightColor(int which) {
  if (which < 0 || which >= pal::kHighlightCount) which = 0;
  return SYS_CompositeColor::Index(pal::kHighlightFirst + which);
}

// ---------------------------------------------------------------------------------------
// Pen and colours.

SYS_CompositeColor UI_CairoDrawArea::GetPenColor() { return impl_->pen; }
void UI_CairoDrawArea::PenColor(SYS_CompositeColor color) { impl_->pen = color; }
int UI_CairoDrawArea::GetPenMode() { return impl_->penMode; }
void UI_CairoDrawArea::PenMode(int mode) { impl_->penMode = mode == 1 ? 1 : 0; }
int UI_CairoDrawArea::GetPenCap() { return impl_->penCap; }
void UI_CairoDrawArea::PenCap(int cap) { impl_->penCap = cap >= 0 && cap <= 2 ? cap : 0; }
long UI_CairoDrawArea::GetPenSize() { return impl_->penSize; }
void UI_CairoDrawArea::PenSize(long size) { impl_->penSize = size; }
SYS_CompositeColor UI_CairoDrawArea::GetBackColor() { return impl_->back; }
void UI_CairoDrawArea::BackColor(SYS_CompositeColor color) { impl_->back = color; }
SYS_CompositeColor UI_CairoDrawArea::GetTextColor() { return impl_->textColor; }
void UI_CairoDrawArea::TextColor(SYS_CompositeColor color) { impl_->textColor = color; }
void UI_CairoDrawArea::StartXORDraw() { ++impl_->xorDepth; }
void UI_CairoDrawArea::EndXORDraw() {
  if (impl_->xorDepth > 0) --impl_->xorDepth;
}
double UI_CairoDrawArea::GetPixelRatio() { return 1.0; }

// ---------------------------------------------------------------------------------------
// Clip, redraw and the installed drawing.

void UI_CairoDrawArea::SetRedrawRect(const SYS_Box& box) {
  impl_->clip = box;
  impl_->clipOn = box.IsValid() != 0;
  impl_->ApplyClip();
}

SYS_Box UI_CairoDrawArea::GetRedrawRect() { return impl_->clipOn ? impl_->clip : SYS_Box(); }

void UI_CairoDrawArea::SetRgnRedraw(SYS_Box* box, int enable) {
  if (enable && box)
    SetRedrawRect(*box);
  else
    SetRedrawRect(SYS_Box(1, 1, 0, 0));
}

void UI_CairoDrawArea::InstallDrawing(UI_DrawAreaImpl* impl) {
  auto* drawing = dynamic_cast<CDynamic*>(impl);
  if (impl_->installed && impl_->installed != drawing && impl_->installed->GetLiveTarget() == this)
    impl_->installed->SetLiveTarget(nullptr);
  impl_->installed = drawing;
  if (drawing) drawing->SetLiveTarget(this);
  Redraw();
}

void UI_CairoDrawArea::RedrawDrawing(UI_DrawAreaImpl* impl, SYS_Box* box, int flag) {
  auto* drawing = dynamic_cast<CDynamic*>(impl);
  if (!drawing || !impl_->Usable()) return;
  // The replay may change the clip (SetRedrawRect), the view (SetVP) and the pen; the clip
  // of the redraw is put back afterwards, the rest is the drawing's to set.
  bool hadClip = impl_->clipOn;
  SYS_Box oldClip = impl_->clip;
  if (box && box->IsValid()) {
    impl_->clip = *box;
    impl_->clipOn = true;
    impl_->ApplyClip();
  }
  if (flag) {
    if (box && box->IsValid()) {
      EraseRect(*box);
    } else {
      cairo_save(impl_->cr);
      impl_->SetSourceRgb(impl_->Resolve(impl_->back));
      cairo_paint(impl_->cr);
      cairo_restore(impl_->cr);
    }
  }
  drawing->Play(*this);
  impl_->clipOn = hadClip;
  impl_->clip = oldClip;
  impl_->ApplyClip();
}

void UI_CairoDrawArea::Redraw() {
  Clear();
  if (impl_->installed) RedrawDrawing(impl_->installed, nullptr, 0);
}

void UI_CairoDrawArea::InvalidateRect(const SYS_Box* box) {
  if (!box) {
    Redraw();
    return;
  }
  SYS_Box b = *box;
  if (impl_->installed)
    RedrawDrawing(impl_->installed, &b, 1);
  else
    EraseRect(b);
}
