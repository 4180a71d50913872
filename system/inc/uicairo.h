// uicairo.h - a draw area that really draws: every command rendered with cairo into a picture
// (PNG image, SVG or PDF document), and a one-call renderer of recorded drawings.
#pragma once

#include <memory>

#include "brixexport.h"
#include "sccevent.h"
#include "uidrawarea.h"
#include "uidrawing.h"

/// What a UI_CairoDrawArea draws into.
enum UI_CairoFormat : int {
  UI_CairoPng = 0,  ///< an image of width x height pixels, written as PNG
  UI_CairoSvg = 1,  ///< an SVG document, one pixel = one point (1/72 inch)
  UI_CairoPdf = 2,  ///< a one-page PDF document, one pixel = one point
};

/// A live drawing surface rendered with cairo (libbrixsys_cairo, target brixsys::cairo).
///
/// World coordinates (database units, y up) map to the picture's pixels (y down) through a
/// uniform scale and the world point at the top-left corner; SetVP, SetAndAdjustVP,
/// FitRectToWindow and SetScale move that view. A new surface shows world (0, 0) at its
/// lower-left corner at one pixel per unit, filled with the background (palette entry 0).
///
/// The surface holds a palette of 32 colours with board-layer defaults (docs/rendering.md),
/// a brightness (percent, applied to every drawn colour), an outline mode (filled shapes are
/// drawn as outlines) and four highlight colours. It is an event node in the ring of its own
/// change event: a palette, brightness or outline-mode change raises that event (code 3
/// with the entry's index + 1 for one entry, code 5 with no payload for the whole palette),
/// so a UI_PaletteAccessor made on the surface re-publishes the changes.
///
/// As a live target it shows a recorded drawing: InstallDrawing makes a CDynamic its content
/// and Redraw / InvalidateRect / RedrawDrawing replay it. Not copyable; one thread at a time.
class BRIX_API UI_CairoDrawArea : public UI_DrawArea, public SCC_EventNode<int> {
 public:
  /// Largest width and height in pixels (cairo's own limit).
  static constexpr int kMaxSide = 32767;

  /// A surface of width x height pixels (each clamped to 1 ... kMaxSide).
  UI_CairoDrawArea(int width, int height, UI_CairoFormat format = UI_CairoPng);
  ~UI_CairoDrawArea() override;
  UI_CairoDrawArea(const UI_CairoDrawArea&) = delete;
  UI_CairoDrawArea& operator=(const UI_CairoDrawArea&) = delete;

  UI_CairoFormat GetFormat() const;
  int GetWidth() const;
  int GetHeight() const;
  /// 1 while the surface can draw (cairo accepted it and, for SVG and PDF, it has not been
  /// finished by WriteFile).
  int IsValid() const;

  /// Fills the whole picture with the background colour.
  void Clear();
  /// The colour of pixel (x, y) as 0x00BBGGRR (alpha dropped); 0 outside the picture and
  /// for SVG and PDF surfaces.
  unsigned long GetPixelRGB(int x, int y) const;
  /// Writes the picture to `path`, replacing the file atomically (a temporary file beside it,
  /// synced and renamed; an existing target that is not a regular file is refused). A PNG
  /// surface goes on drawing afterwards; an SVG or PDF document is finished by the first
  /// call and later calls write the same document again. Answers 1, or 0 with errno set.
  int WriteFile(const char* path);

  /// The event the surface raises when its palette, brightness or outline mode changes.
  SCC_Event<int>* GetChangeEvent();

  // Coordinates.
  int Scale2ScreenX(long worldLength) const override;
  int Scale2ScreenY(long worldLength) const override;
  long Scale2WorldX(int pixels) const override;
  long Scale2WorldY(int pixels) const override;
  SYS_Point Scale2World(CPoint p) override;
  CPoint Scale2Screen(SYS_Point p) override;
  SYS_Box Screen2World(const CRect& r) override;
  SYS_Point Screen2World(const CPoint& p) override;
  CRect World2Screen(const SYS_Box& b) override;
  CPoint World2Screen(const SYS_Point& p) override;

  /// A blank surface of the same size and format with this one's view, palette and pen.
  UI_DrawArea* Clone() const override;
  /// With 0, coordinates are taken as pixels (identity, y down) until enabled again.
  int EnableCoordConversion(int enable) override;
  /// The world box the whole picture shows.
  void GetVP(SYS_Box& box) override;
  /// Shows `box` as large as it fits, centred; the box itself is left alone.
  void SetVP(SYS_Box& box) override;
  /// As SetVP, then widens `box` to the picture's aspect (the box now shown).
  void SetAndAdjustVP(SYS_Box& box) override;
  double GetScale(SYS_Point* origin) override;
  /// Keeps `origin` (null: the picture's centre) at the picture's centre. Answers 0 for a
  /// scale that is not finite and positive.
  int SetScale(double scale, SYS_Point* origin, int redraw) override;
  double GetPixelSize() override;
  void FitRectToWindow(SYS_Box& box, int margin) override;
  void FitRectToWindow(SYS_Box& box) override;
  int GetFitPixelMargin() override;
  int SetFitPixelMargin(int margin) override;
  void StartBatchDraw(int hint) override;
  void EndBatchDraw() override;

  // Palette.
  long GetDefaultPaletteColors(unsigned long* out) const override;
  long GetCurrentPaletteColors(unsigned long* out) const override;
  unsigned long GetCurrentPaletteColorRGB(int index) const override;
  int GetColorLuminosity(int index) const override;
  int GetCurrentPaletteColorIdx(unsigned long rgb) const override;
  void SetCurrentPaletteColors(unsigned long* colors) override;
  void SetCurrentPaletteColor(int index, unsigned long rgb) override;
  void ResetPaletteColors() override;
  int GetBrightness() override;
  void SetBrightness(int brightness) override;
  int GetOutlineMode() override;
  void SetOutlineMode(int mode) override;
  SYS_CompositeColor GetHighlightColor(int which) override;

  // Pen and colours.
  SYS_CompositeColor GetPenColor() override;
  void PenColor(SYS_CompositeColor color) override;
  int GetPenMode() override;
  void PenMode(int mode) override;
  int GetPenCap() override;
  void PenCap(int cap) override;
  long GetPenSize() override;
  void PenSize(long size) override;
  SYS_CompositeColor GetBackColor() override;
  void BackColor(SYS_CompositeColor color) override;
  SYS_CompositeColor GetTextColor() override;
  void TextColor(SYS_CompositeColor color) override;

  // Areas and redraw.
  void EraseRect(SYS_Box box) override;
  void FillRect(SYS_Box box, SYS_CompositeColor color) override;
  /// Erases everything and replays the installed drawing.
  void Redraw() override;
  /// Erases `box` (null: everything) and replays the installed drawing within it.
  void InvalidateRect(const SYS_Box* box) override;
  /// With `enable`, drawing is clipped to `box` until disabled.
  void SetRgnRedraw(SYS_Box* box, int enable) override;
  SYS_Box GetRedrawRect() override;
  /// Clips drawing to `box`; an invalid box removes the clip.
  void SetRedrawRect(const SYS_Box& box) override;

  // Primitives.
  using UI_DrawArea::DrawBox;
  using UI_DrawArea::DrawIcon;
  using UI_DrawArea::FrameArc;
  using UI_DrawArea::FrameOval;
  using UI_DrawArea::PaintOval;
  void SetPixel(const SYS_Point& p, SYS_CompositeColor color) override;
  void DrawDotGrid(const SYS_Point& origin, long dx, long dy, const SYS_Box& box) override;
  void MoveTo(const SYS_Point& p) override;
  void LineTo(const SYS_Point& p, SYS_CompositeColor color) override;
  void MoveToRel(long dx, long dy) override;
  void LineToRel(long dx, long dy, SYS_CompositeColor color) override;
  void PaintOval(long width, long height, SYS_CompositeColor color) override;
  void FrameOval(long width, long height, SYS_CompositeColor color) override;
  void FrameArc(long width, long height, const SYS_Point& from, const SYS_Point& to,
                SYS_CompositeColor color) override;
  void FrameArc(const SYS_Box& box, double start, double end, SYS_CompositeColor color) override;
  void PolyLine(int count, SYS_Point* points, long width, SYS_CompositeColor color) override;
  void PolyPolyline(SYS_Point* points, const unsigned long* counts, int polylines) override;
  void PolyPolygon(SYS_Point* points, const int* counts, int polygons, long fill) override;
  void DrawLine(const SYS_Point& from, const SYS_Point& to, long width,
                SYS_CompositeColor color) override;
  void DrawCross(const SYS_Point& p, SYS_CompositeColor color) override;
  void DrawBox(long width, long height, SYS_CompositeColor color) override;
  void DrawFilledBox(const SYS_Box& box, SYS_CompositeColor color) override;
  void DrawIcon(HICON icon, SYS_Point p, int flag) override;
  void DrawMarker(int kind, SYS_Point p) override;
  void DrawInfiniteOrthoLine(const SYS_Point& p, EOrthoLine kind) override;
  void DrawInfiniteDiagonalLine(const SYS_Point& p, EDiagonalLine kind) override;

  // Text.
  int GetAvailableFonts(SCC_Array<FaceName>& faces, unsigned codePage) override;
  FaceName GetStrokeFaceName() override;
  FaceName GetStrokeFaceName1() override;
  int IsStrokeFaceName(const FaceName& face) override;
  void SetTextFont(const TextFont& font) override;
  TextFont GetTextFont() override;
  void SetCodePage(unsigned codePage) override;
  unsigned GetCodePage() override;
  int GetTextFontWidth() override;
  int GetTextFontHeight() override;
  int GetTextAscendingHeight() override;
  int GetTextDescendingHeight() override;
  long GetTextLen(const char* text, int face, int width, int height, int extra, int mirror,
                  double path, int hAlign, int vAlign) override;
  long GetTextLen(const char* text, int face, int width, int height) override;
  long GetTextLen(const char* text, int width, int height) override;
  long GetTextLen(const char* text) override;
  SYS_Point GetTTFStringExtent(const char* text, CFontInfo* font) override;
  /// The outline of `text` as DrawString would draw it now, flattened to closed polylines
  /// in world coordinates (each polyline ends on its first point).
  int GetStringPolylines(const char* text, SCC_Array<SYS_Point>& points,
                         SCC_Array<long>& counts) override;
  void DrawString(const char* text) override;
  void DrawTTFString(const char* text, CFontInfo* font) override;
  void DrawPinNumberString(const char* text, const SYS_Position& position,
                           const double& size) override;
  void TextAlign(int horizontal, int vertical) override;
  void TextMirror(int mirror) override;
  void TextExtra(int extra) override;
  void TextFace(int face) override;
  void TextPath(double angle) override;
  void TextSize(int width, int height) override;
  int GetHorzTextAlign() override;
  int GetVertTextAlign() override;
  int GetTextExtra() override;
  int GetTextFace() override;
  double GetTextPath() override;
  int GetTextWidth() override;
  int GetTextHeight() override;
  using UI_DrawArea::DrawReplaceText;
  using UI_DrawArea::DrawXorText;
  /// XOR text aligned in `box`; answers the world box of the text.
  SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, SYS_Box box, int redraw) override;
  /// XOR text aligned at (x, y); answers the world box of the text. Drawing the same text
  /// twice restores a PNG surface exactly.
  SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, long x, long y,
                      int redraw) override;
  /// Erases the text's box to the background, then draws the text; answers that box.
  SYS_Box DrawReplaceText(const char* text, int hAlign, int vAlign, long x, long y,
                          int redraw) override;

  // Modes and paths.
  void StartXORDraw() override;
  void EndXORDraw() override;
  double GetPixelRatio() override;
  void BeginPath() override;
  void EndPath() override;
  void PaintPath() override;
  void PaintPoly(int polygons, _polyHead* heads, SYS_Point* points) override;
  void PaintArea(const DARegion& region, SYS_CompositeColor color) override;
  void EraseArea(const DARegion& region) override;

  /// The drawing shown by Redraw (null: none).
  CDynamic* GetInstalledDrawing() const;

 protected:
  /// Makes `impl` (a CDynamic) the surface's content, sets the surface as its live target
  /// and shows it. Null uninstalls.
  void InstallDrawing(UI_DrawAreaImpl* impl) override;
  /// Replays `impl` (a CDynamic) within `box` (null: everything); a non-zero `flag` erases
  /// that area first.
  void RedrawDrawing(UI_DrawAreaImpl* impl, SYS_Box* box, int flag) override;

 public:
  /// InstallDrawing for callers outside the class family.
  void Show(CDynamic* drawing) { InstallDrawing(drawing); }

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

/// Settings of UI_RenderDrawing.
struct UI_RenderOptions {
  /// Picture size in pixels (points for SVG and PDF), each 1 ... UI_CairoDrawArea::kMaxSide.
  int width = 1000;
  int height = 1000;
  /// Free pixels kept around the drawing when it is fitted into the picture.
  int margin = 10;
  /// The world box to show; an invalid box (the default) shows the drawing's bounds.
  SYS_Box view = SYS_Box(1, 1, 0, 0);
  /// The background, filled before the drawing is replayed.
  SYS_CompositeColor background = SYS_CompositeColor::Index(0);
  /// Palette colours (0x00BBGGRR) replacing the first `paletteCount` default entries.
  const unsigned long* palette = nullptr;
  int paletteCount = 0;
};

/// Replays `drawing` onto a new surface and writes it to `path`, as PNG, SVG or PDF chosen
/// by the extension (".png", ".svg", ".pdf", any case). Answers 1 when the file was written;
/// 0 (nothing written) for an unknown extension, a bad size, a replay that stopped early
/// (`result` then says where and why) or a failed write (errno set).
BRIX_API int UI_RenderDrawing(const CDynamic& drawing, const char* path,
                              const UI_RenderOptions& options = UI_RenderOptions(),
                              UI_PlayResult* result = nullptr);
