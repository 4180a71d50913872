// cairo_impl.h - the state behind UI_CairoDrawArea: the cairo surface, the view, the palette,
// the pen and text settings, and the painting helpers every command goes through.
#pragma once

#include <cairo.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cairo_output.h"
#include "cairo_palette.h"
#include "cairo_view.h"
#include "uicairo.h"

/// Text settings as the text commands leave them.
struct CairoTextState {
  FaceName face = FaceName("sans-serif");
  int style = 0;          // UI_FontBold | UI_FontItalic | UI_FontUnderline
  int width = 0;          // world units; 0: as high as wide
  int height = 0;         // world units (the em size); 0: 12 pixels
  int extra = 0;          // world units added after every character
  int mirror = 0;
  double angle = 0;       // angle units, counter-clockwise
  int hAlign = 0;         // 0 left, 1 centre, 2 right
  int vAlign = 0;         // 0 baseline, 1 centre, 2 top (ascent)
  unsigned codePage = 0;
};

/// A text's shape in its own frame: origin on the baseline at the aligned start, x along the
/// text, y up. All lengths are in world units.
struct CairoTextMetrics {
  double advance = 0;   // width including the extra spacing
  double ascent = 0;
  double descent = 0;   // positive below the baseline
  double offsetX = 0;   // where the text starts relative to the anchor (alignment)
  double offsetY = 0;   // where the baseline lies relative to the anchor
};

struct UI_CairoDrawArea::Impl {
  Impl(int w, int h, UI_CairoFormat f);
  ~Impl();

  UI_CairoFormat format;
  int width;
  int height;
  brix::cairo_out::Sink sink;  // the SVG or PDF document as cairo writes it
  cairo_surface_t* surface = nullptr;
  cairo_t* cr = nullptr;
  bool finished = false;
  cairo_surface_t* scratchSurface = nullptr;  // text measuring, independent of the picture
  cairo_t* scratch = nullptr;

  brix::cairo_view::View view;
  bool convert = true;
  int fitMargin = 0;

  std::array<std::uint32_t, brix::cairo_pal::kSize> palette{};
  int brightness = brix::cairo_pal::kBrightnessMax;
  int outline = 0;
  SCC_Event<int> changed;

  SYS_CompositeColor pen = SYS_CompositeColor::Index(15);
  long penSize = -1;
  int penMode = 0;
  int penCap = 0;
  SYS_CompositeColor back = SYS_CompositeColor::Index(0);
  SYS_CompositeColor textColor = SYS_CompositeColor::Index(15);
  int xorDepth = 0;
  SYS_Point cursor;

  bool clipOn = false;
  SYS_Box clip = SYS_Box(1, 1, 0, 0);

  CairoTextState text;

  // BeginPath ... EndPath collect MoveTo/LineTo here (device points); PaintPath fills them.
  bool pathOpen = false;
  std::vector<std::vector<std::pair<double, double>>> path;

  CDynamic* installed = nullptr;

  bool Usable() const { return cr && !finished; }
  double X(double wx) const { return view.DevX(wx); }
  double Y(double wy) const { return view.DevY(wy); }
  /// A world width as a pen width in pixels: never thinner than one pixel.
  double PenPixels(double worldWidth) const;

  /// The colour's RGB (0x00BBGGRR) through the palette, before brightness. Indices past the
  /// palette draw in the foreground colour (entry 15).
  std::uint32_t Resolve(SYS_CompositeColor c) const;
  /// Sets cairo's source to the colour, dimmed by the brightness.
  void SetSource(SYS_CompositeColor c);
  void SetSourceRgb(std::uint32_t rgb);

  /// Strokes the current path in `color` at `widthPx` with the pen's cap (XOR aware).
  void Stroke(SYS_CompositeColor color, double widthPx);
  /// Fills the current path (even-odd) in `color`, or strokes it one pixel wide in outline
  /// mode (XOR aware).
  void Fill(SYS_CompositeColor color);
  /// Fills the current path with the background colour; outline mode does not apply.
  void Erase();
  /// Fills the current path with hatch lines in `color`, then strokes its outline.
  void Hatch(SYS_CompositeColor color, double widthPx);
  void ApplyClip();
  void Raise(int code, int* data);

  // Text (cairo_text.cpp).
  void SelectFont(cairo_t* c, const CairoTextState& t) const;
  CairoTextMetrics Measure(const char* s, const CairoTextState& t) const;
  /// Adds the text's outline to `cr` at the world anchor (wx, wy), in device coordinates.
  bool AddTextPath(const char* s, const CairoTextState& t, double wx, double wy);
  /// The world box of the text's logical rectangle at the anchor.
  SYS_Box TextBox(const char* s, const CairoTextState& t, double wx, double wy) const;
  /// Draws the text at the anchor in `color`; `xorText` draws it in XOR.
  SYS_Box DrawText(const char* s, const CairoTextState& t, double wx, double wy,
                   SYS_CompositeColor color, bool xorText, bool eraseFirst);

 private:
  void XorPaint(bool stroke);
  void Paint(bool stroke);
};
