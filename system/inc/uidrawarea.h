// uidrawarea.h - the drawing surface: screen coordinate conversion, the draw area that
// records every drawing call as numbered commands, and the small value types it speaks in.
#pragma once

#include <cstdint>
#include <cstring>

#include "brixexport.h"
#include "daregion.h"
#include "sccarray.h"
#include "sysgeom.h"

class CDynamic;
class SYS_FillStyleInfo;

// ---------------------------------------------------------------------------------------
// Window-system value types, as the library's own small structs.

/// A screen point in pixels (y grows downwards on screen).
struct CPoint {
  CPoint() = default;
  CPoint(long px, long py) : x(static_cast<std::int32_t>(px)), y(static_cast<std::int32_t>(py)) {}
  bool operator==(const CPoint&) const = default;
  std::int32_t x = 0;
  std::int32_t y = 0;
};

/// A screen rectangle in pixels.
struct CRect {
  CRect() = default;
  CRect(long l, long t, long r, long b)
      : left(static_cast<std::int32_t>(l)),
        top(static_cast<std::int32_t>(t)),
        right(static_cast<std::int32_t>(r)),
        bottom(static_cast<std::int32_t>(b)) {}
  bool operator==(const CRect&) const = default;
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;
};

/// An icon handle: an opaque 32-bit number that a live surface maps to a picture. An icon
/// resource number drawn with DrawIcon(int, ...) becomes the handle with that number.
struct HICON {
  std::uint32_t handle = 0;
  bool operator==(const HICON&) const = default;
};

/// A colour in one 32-bit word. With bit 24 (0x01000000) set, the low 24 bits are a direct
/// colour written 0x00BBGGRR (red in the low byte, as the palette's RGB values); otherwise
/// the word is an index into the surface's palette (0 ... 65535; higher bits are kept but
/// ignored). A plain integer converts to the colour with that word, so PenColor(15) is
/// palette entry 15.
class SYS_CompositeColor {
 public:
  static constexpr std::uint32_t kRgbFlag = 0x01000000u;

  constexpr SYS_CompositeColor() = default;
  /// The colour whose word is `word` (for small numbers: that palette index).
  constexpr SYS_CompositeColor(std::uint32_t word) : word_(word) {}
  constexpr SYS_CompositeColor(int word) : word_(static_cast<std::uint32_t>(word)) {}
  constexpr SYS_CompositeColor(long word) : word_(static_cast<std::uint32_t>(word)) {}
  constexpr SYS_CompositeColor(unsigned long word) : word_(static_cast<std::uint32_t>(word)) {}

  /// Palette entry `index` (0 ... 65535).
  static constexpr SYS_CompositeColor Index(int index) {
    return SYS_CompositeColor(static_cast<std::uint32_t>(index) & 0xFFFFu);
  }
  /// A direct colour.
  static constexpr SYS_CompositeColor Rgb(int r, int g, int b) {
    return SYS_CompositeColor(kRgbFlag | (static_cast<std::uint32_t>(b & 0xFF) << 16) |
                              (static_cast<std::uint32_t>(g & 0xFF) << 8) |
                              static_cast<std::uint32_t>(r & 0xFF));
  }
  static constexpr SYS_CompositeColor FromWord(std::uint32_t word) { return SYS_CompositeColor(word); }

  constexpr int IsIndex() const { return (word_ & kRgbFlag) == 0; }
  /// The palette index (low 16 bits); meaningful when IsIndex().
  constexpr int GetIndex() const { return static_cast<int>(word_ & 0xFFFFu); }
  /// The direct colour 0x00BBGGRR; meaningful when !IsIndex().
  constexpr std::uint32_t GetRgb() const { return word_ & 0x00FFFFFFu; }
  constexpr std::uint32_t GetWord() const { return word_; }
  constexpr bool operator==(const SYS_CompositeColor&) const = default;

 private:
  std::uint32_t word_ = 0;
};

/// A font face name, at most 31 bytes and a terminating zero (longer names are cut).
struct FaceName {
  FaceName() = default;
  FaceName(const char* text) { Set(text); }
  void Set(const char* text) {
    std::memset(name, 0, sizeof name);
    if (text) std::strncpy(name, text, sizeof name - 1);
  }
  const char* Get() const { return name; }
  bool IsEmpty() const { return name[0] == 0; }
  bool operator==(const FaceName& o) const { return std::strcmp(name, o.name) == 0; }
  char name[32] = {};
};

/// Text font styles of TextFont::style, combinable.
enum : std::int32_t { UI_FontBold = 1, UI_FontItalic = 2, UI_FontUnderline = 4 };

/// A text font: the face and three words (height and width in world units, style bits).
/// A width of 0 means the face's natural width for the height.
struct TextFont {
  FaceName face;
  std::int32_t height = 0;
  std::int32_t width = 0;
  std::int32_t style = 0;
  bool operator==(const TextFont&) const = default;
};

/// The font of a TrueType string: one word, the index of the face in the list that
/// GetAvailableFonts returns (0 is the surface's default face).
struct CFontInfo {
  std::int32_t font = 0;
  bool operator==(const CFontInfo&) const = default;
};

/// The head of one polygon of PaintPoly: how many of the points belong to it and its
/// fill flag (a DAPolygonFlag: 2 filled, see UI_PolyFlag).
struct _polyHead {
  std::int32_t count = 0;
  std::int32_t flag = 2;
  bool operator==(const _polyHead&) const = default;
};

/// What a surface does with a polygon of PaintPoly or PaintArea/EraseArea (the outline
/// flag of a region) and with the fill argument of PolyPolygon. Outlines that are filled
/// together use the even-odd rule, so an outline inside another is a hole.
enum UI_PolyFlag : std::int32_t {
  UI_PolyOutline = 0,  ///< the outline only, in the pen width
  UI_PolySolid = 1,    ///< PolyPolygon: filled with the pen colour
  UI_PolyPlain = 2,    ///< regions and PaintPoly: filled (the plain region flag)
  UI_PolyHatched = 3,  ///< filled with hatch lines in the pen colour
};

/// The infinite lines of DrawInfiniteOrthoLine, through a point across the viewport.
enum EOrthoLine : std::int32_t { EOrthoHorizontal = 0, EOrthoVertical = 1, EOrthoBoth = 2 };
/// The infinite lines of DrawInfiniteDiagonalLine: rising is +45 degrees, falling -45.
enum EDiagonalLine : std::int32_t { EDiagonalRising = 0, EDiagonalFalling = 1, EDiagonalBoth = 2 };
/// The state of a surface's dynamic (rubber-band) drawing mode.
enum EDDynamicModeState : std::int32_t { EDDynamicOff = 0, EDDynamicOn = 1, EDDynamicSuspended = 2 };

/// The implementation object a live surface is asked to install or redraw. A recorded
/// drawing (CDynamic) is one.
class BRIX_API UI_DrawAreaImpl {
 public:
  virtual ~UI_DrawAreaImpl();
};

// ---------------------------------------------------------------------------------------

/// Converts between world coordinates (database units, y up) and screen pixels (y down).
/// The base is the identity: the scalings answer 1 and every conversion hands back its
/// argument's coordinates member for member. Copies copy nothing but the type.
class BRIX_API UI_ScreenCoordConverter {
 public:
  UI_ScreenCoordConverter() = default;
  UI_ScreenCoordConverter(const UI_ScreenCoordConverter&) {}
  UI_ScreenCoordConverter& operator=(const UI_ScreenCoordConverter&) { return *this; }
  virtual ~UI_ScreenCoordConverter();

  /// World length to pixels along x; the base answers 1.
  virtual int Scale2ScreenX(long worldLength) const;
  virtual int Scale2ScreenY(long worldLength) const;
  /// Pixel length to world units along x; the base answers 1.
  virtual long Scale2WorldX(int pixels) const;
  virtual long Scale2WorldY(int pixels) const;
  /// A pixel distance as a world distance.
  virtual SYS_Point Scale2World(CPoint p);
  /// A world distance as a pixel distance.
  virtual CPoint Scale2Screen(SYS_Point p);
  /// (left, top, right, bottom) to (left, lower, right, upper) in the base.
  virtual SYS_Box Screen2World(const CRect& r);
  virtual SYS_Point Screen2World(const CPoint& p);
  /// (left, lower, right, upper) to (left, top, right, bottom) in the base.
  virtual CRect World2Screen(const SYS_Box& b);
  virtual CPoint World2Screen(const SYS_Point& p);
};

/// The drawing surface. Drawing code calls it in world coordinates; concrete surfaces derive
/// from it and draw. The base class records: while a drawing (CDynamic) is attached, every
/// drawing and state-setting call appends a numbered command of 32-bit words to it (the
/// command table is in docs/drawing.md), which a player can replay onto any other draw area.
/// Without an attached drawing the recording calls do nothing. Queries answer neutral
/// defaults (0, 1, empty, identity), so a bare UI_DrawArea is a valid recording surface.
///
/// The drawing is not owned and must outlive its attachment. A recorded command extends the
/// drawing's world bounds by the geometry it covers.
class BRIX_API UI_DrawArea : public UI_ScreenCoordConverter {
 public:
  UI_DrawArea() = default;
  /// A copy records nowhere until a drawing is attached.
  UI_DrawArea(const UI_DrawArea& other) : UI_ScreenCoordConverter(other) {}
  UI_DrawArea& operator=(const UI_DrawArea&) { return *this; }
  ~UI_DrawArea() override;

  /// Attaches the drawing that records the calls (null: record nothing).
  void AttachDrawing(CDynamic* drawing) { drawing_ = drawing; }
  /// The attached drawing, or null.
  CDynamic* GetAttachedDrawing() const { return drawing_; }

  /// A new bare draw area with no drawing attached; the caller owns it.
  virtual UI_DrawArea* Clone() const;
  /// Whether world coordinates are converted to the screen; answers the new state (base 1).
  virtual int EnableCoordConversion(int enable);

  // Viewport and scale.
  /// Writes the visible world box; the base leaves `box` alone.
  virtual void GetVP(SYS_Box& box);
  /// Records command 34.
  virtual void SetVP(SYS_Box& box);
  /// Records command 46; a live surface also widens `box` to the window's aspect.
  virtual void SetAndAdjustVP(SYS_Box& box);
  /// Pixels per world unit; writes the scale origin when `origin` is given. Base 1.0.
  virtual double GetScale(SYS_Point* origin);
  /// Sets the scale about `origin`; answers 1 when the scale changed. Base 0.
  virtual int SetScale(double scale, SYS_Point* origin, int redraw);
  /// World units per pixel; base 0.0.
  virtual double GetPixelSize();
  /// Makes `box` (grown by `margin` pixels) fill the window; base nothing.
  virtual void FitRectToWindow(SYS_Box& box, int margin);
  virtual void FitRectToWindow(SYS_Box& box);
  virtual int GetFitPixelMargin();
  /// Sets the margin of FitRectToWindow(box); answers the previous one (base 0).
  virtual int SetFitPixelMargin(int margin);

  /// The drawing of that name, or null (base). A draw-area processor supplies them.
  virtual CDynamic* GetDrawing(const char* name);
  /// The live surface's cursor position as a number; base 0.
  virtual long GetPosition();

  // Batches.
  /// Opens a batch on the drawing, then records pen colour 15 and pen size -1.
  virtual void StartBatchDraw(int hint);
  /// Closes one batch level: with depth > 0 and a live target, the target is asked to redraw
  /// the drawing (RedrawDrawing with the drawing's bounds and 1); then the depth drops.
  virtual void EndBatchDraw();

  // Palette (concrete surfaces hold one; the base answers 0 and ignores changes).
  /// Writes the default palette's RGB values (0x00BBGGRR) to `out` when given; answers the
  /// number of entries.
  virtual long GetDefaultPaletteColors(unsigned long* out) const;
  virtual long GetCurrentPaletteColors(unsigned long* out) const;
  virtual unsigned long GetCurrentPaletteColorRGB(int index) const;
  virtual int GetColorLuminosity(int index) const;
  /// The palette index whose colour is `rgb`, or 0.
  virtual int GetCurrentPaletteColorIdx(unsigned long rgb) const;
  virtual void SetCurrentPaletteColors(unsigned long* colors);
  virtual void SetCurrentPaletteColor(int index, unsigned long rgb);
  virtual void ResetPaletteColors();
  virtual int GetBrightness();
  /// Records command 28.
  virtual void SetBrightness(int brightness);
  virtual int GetOutlineMode();
  /// Records command 29.
  virtual void SetOutlineMode(int mode);

  // Pen.
  virtual SYS_CompositeColor GetPenColor();
  /// Records command 1.
  virtual void PenColor(SYS_CompositeColor color);
  virtual int GetPenMode();
  /// Records command 33. Modes: 0 copy, 1 XOR.
  virtual void PenMode(int mode);
  virtual int GetPenCap();
  /// Records command 36. Caps: 0 round, 1 square, 2 flat.
  virtual void PenCap(int cap);
  virtual long GetPenSize();
  /// Records command 2: pen width in world units (-1: the thinnest line).
  virtual void PenSize(long size);
  /// The fill style of that number; base null.
  virtual SYS_FillStyleInfo* GetFillStyleInfo(int style);
  virtual void SetFillStyleInfo(int style, SYS_FillStyleInfo* info);
  virtual SYS_CompositeColor GetBackColor();
  /// Records command 48.
  virtual void BackColor(SYS_CompositeColor color);
  virtual SYS_CompositeColor GetHighlightColor(int which);

  // Areas and redraw.
  /// Records command 47.
  virtual void EraseRect(SYS_Box box);
  /// Records command 27.
  virtual void FillRect(SYS_Box box, SYS_CompositeColor color);
  virtual void MoveCursor(long x, long y);
  virtual void SafeMoveCursor(long x, long y);
  virtual void Redraw();
  virtual void InvalidateRect(const SYS_Box* box);
  virtual void SetRgnRedraw(SYS_Box* box, int enable);
  /// The box being redrawn; base the empty box.
  virtual SYS_Box GetRedrawRect();
  /// Records command 45.
  virtual void SetRedrawRect(const SYS_Box& box);

  // Primitives. The current position is set by MoveTo/LineTo and their relative forms.
  /// Records command 3.
  virtual void SetPixel(const SYS_Point& p, SYS_CompositeColor color);
  /// Records command 50: a dot at origin + (i * dx, j * dy) for every one inside `box`.
  virtual void DrawDotGrid(const SYS_Point& origin, long dx, long dy, const SYS_Box& box);
  /// Records command 4.
  virtual void MoveTo(const SYS_Point& p);
  /// Records command 6.
  virtual void LineTo(const SYS_Point& p, SYS_CompositeColor color);
  /// Records command 5.
  virtual void MoveToRel(long dx, long dy);
  /// Records command 7.
  virtual void LineToRel(long dx, long dy, SYS_CompositeColor color);
  /// Moves to the box's centre and paints the oval of its full width and height.
  virtual void PaintOval(const SYS_Box& box, SYS_CompositeColor color);
  /// Moves to `center` and passes r as both width and height: r, not 2r, intended.
  virtual void PaintOval(const SYS_Point& center, long r, SYS_CompositeColor color);
  /// Records command 8: the oval of that width and height about the current position.
  virtual void PaintOval(long width, long height, SYS_CompositeColor color);
  virtual void FrameOval(const SYS_Box& box, SYS_CompositeColor color);
  /// As PaintOval(center, r): r is passed as width and height, intended.
  virtual void FrameOval(const SYS_Point& center, long r, SYS_CompositeColor color);
  /// Records command 9.
  virtual void FrameOval(long width, long height, SYS_CompositeColor color);
  /// Moves to the box's centre and frames the arc of the oval of its width and height.
  virtual void FrameArc(const SYS_Box& box, const SYS_Point& from, const SYS_Point& to,
                        SYS_CompositeColor color);
  /// Records command 10: the arc of the oval about the current position, counter-clockwise
  /// from the direction of `from` to the direction of `to`.
  virtual void FrameArc(long width, long height, const SYS_Point& from, const SYS_Point& to,
                        SYS_CompositeColor color);
  /// Records command 40: the arc of the oval in `box` from angle `start` to `end` (angle
  /// units, counter-clockwise positive; end < start runs clockwise).
  virtual void FrameArc(const SYS_Box& box, double start, double end, SYS_CompositeColor color);
  /// The box of that width and height about the current position, then as above. The base
  /// knows the current position only through its drawing: without one it does nothing.
  virtual void FrameArc(long width, long height, double start, double end,
                        SYS_CompositeColor color);
  /// Records command 11: an open polyline of `count` points and pen width `width`.
  virtual void PolyLine(int count, SYS_Point* points, long width, SYS_CompositeColor color);
  /// Records command 12: `polylines` polylines, counts[i] points each, taken in order.
  virtual void PolyPolyline(SYS_Point* points, const unsigned long* counts, int polylines);
  /// Records command 13: closed polygons with the fill of UI_PolyFlag (0 outline, 1 solid,
  /// 3 hatched), in the pen colour and width.
  virtual void PolyPolygon(SYS_Point* points, const int* counts, int polygons, long fill);
  /// One closed polygon filled with hatch lines: PolyPolygon with UI_PolyHatched.
  virtual void DrawHatchedPoly(int count, SYS_Point* points);
  /// Records command 14.
  virtual void DrawLine(const SYS_Point& from, const SYS_Point& to, long width,
                        SYS_CompositeColor color);
  /// Records command 15: a small cross (its size is the surface's) at `p`.
  virtual void DrawCross(const SYS_Point& p, SYS_CompositeColor color);
  /// Moves to the box's centre and draws the box of its full width and height.
  virtual void DrawBox(const SYS_Box& box, SYS_CompositeColor color);
  /// Records command 16: the outline of the box of that size about the current position.
  virtual void DrawBox(long width, long height, SYS_CompositeColor color);
  /// DrawBox(SYS_Box(a, b)).
  virtual void DrawBox(const SYS_Point& a, const SYS_Point& b, SYS_CompositeColor color);
  /// Records command 49.
  virtual void DrawFilledBox(const SYS_Box& box, SYS_CompositeColor color);
  /// Records command 17.
  virtual void DrawIcon(HICON icon, SYS_Point p, int flag);
  /// The icon resource `icon` drawn as the handle with that number.
  virtual void DrawIcon(int icon, SYS_Point p, int flag);
  /// Records command 18: marker shape `kind` (0 dot, 1 cross, 2 x, 3 square, 4 diamond) at p.
  virtual void DrawMarker(int kind, SYS_Point p);
  /// Records command 30.
  virtual void DrawInfiniteOrthoLine(const SYS_Point& p, EOrthoLine kind);
  /// Records command 31.
  virtual void DrawInfiniteDiagonalLine(const SYS_Point& p, EDiagonalLine kind);

  // Text.
  /// Fills `faces` with the available faces of the code page; answers their number (base 0).
  virtual int GetAvailableFonts(SCC_Array<FaceName>& faces, unsigned codePage);
  virtual int GetAvailablePages(SCC_Array<unsigned>& pages);
  virtual FaceName GetStrokeFaceName();
  virtual FaceName GetStrokeFaceName1();
  virtual int IsStrokeFaceName(const FaceName& face);
  /// Records command 35.
  virtual void SetTextFont(const TextFont& font);
  virtual TextFont GetTextFont();
  virtual void SetCodePage(unsigned codePage);
  virtual unsigned GetCodePage();
  virtual int GetTextFontWidth();
  virtual int GetTextFontHeight();
  virtual int GetTextAscendingHeight();
  virtual int GetTextDescendingHeight();
  /// Length in world units of `text` drawn with the given settings; base 0.
  virtual long GetTextLen(const char* text, int face, int width, int height, int extra,
                          int mirror, double path, int hAlign, int vAlign);
  virtual long GetTextLen(const char* text, int face, int width, int height);
  virtual long GetTextLen(const char* text, int width, int height);
  virtual long GetTextLen(const char* text);
  /// Width and height of a TrueType string; base (0, 0).
  virtual SYS_Point GetTTFStringExtent(const char* text, CFontInfo* font);
  /// The strokes of `text` as polylines: all points, and each polyline's point count.
  /// Answers the number of polylines (base 0).
  virtual int GetStringPolylines(const char* text, SCC_Array<SYS_Point>& points,
                                 SCC_Array<long>& counts);
  /// Records command 25: text at the current position with the current text settings.
  virtual void DrawString(const char* text);
  /// Records command 43.
  virtual void DrawTTFString(const char* text, CFontInfo* font);
  /// Moves to the position's origin and draws the string; surfaces may turn and size it.
  virtual void DrawPinNumberString(const char* text, const SYS_Position& position,
                                   const double& size);
  /// The stroke font's number; base 0.
  virtual int GetStrokeFont();
  /// Records command 19. Horizontal 0 left, 1 centre, 2 right; vertical 0 bottom,
  /// 1 centre, 2 top.
  virtual void TextAlign(int horizontal, int vertical);
  /// Records command 20.
  virtual void TextMirror(int mirror);
  /// Records command 21.
  virtual void TextExtra(int extra);
  /// Records command 22.
  virtual void TextFace(int face);
  /// Records command 23: the direction of the text in angle units, truncated to a word.
  virtual void TextPath(double angle);
  /// Records command 24.
  virtual void TextSize(int width, int height);
  virtual int GetHorzTextAlign();
  virtual int GetVertTextAlign();
  virtual int GetTextExtra();
  virtual int GetTextFace();
  virtual double GetTextPath();
  virtual int GetTextWidth();
  virtual int GetTextHeight();
  /// Records command 26 (box form) and draws the text on the drawing's live target with
  /// `redraw` forced to 0; answers the box the target reports (base: the empty box).
  virtual SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, SYS_Box box, int redraw);
  /// Records command 26 and draws on the live target with `redraw` 0, as above.
  virtual SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, long x, long y,
                              int redraw);
  /// The coordinate form with the point's x and y.
  virtual SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, SYS_Point p, int redraw);
  /// Records command 26 (the same number as XOR text: a replay draws XOR text, as built)
  /// and draws on the live target with `redraw` 0.
  virtual SYS_Box DrawReplaceText(const char* text, int hAlign, int vAlign, long x, long y,
                                  int redraw);
  virtual SYS_Box DrawReplaceText(const char* text, int hAlign, int vAlign, SYS_Point p,
                                  int redraw);
  virtual SYS_CompositeColor GetTextColor();
  /// Records command 32.
  virtual void TextColor(SYS_CompositeColor color);

  // Modes.
  virtual void StartXORDraw();
  virtual void EndXORDraw();
  virtual void SetDDynamicModeInternal();
  virtual void EndDDynamicModeInternal();
  virtual int SetDDynamicModeState(EDDynamicModeState state, int redraw);
  virtual EDDynamicModeState GetDDynamicModeState();
  /// 1 while the surface prints; base 0.
  virtual int Printing();
  /// Device pixel aspect ratio; base 1.0.
  virtual double GetPixelRatio();

  // Paths and areas.
  /// Records command 37.
  virtual void BeginPath();
  /// Records command 38.
  virtual void EndPath();
  /// Records command 39.
  virtual void PaintPath();
  /// Records command 44: `polygons` heads, each naming how many of `points` follow.
  virtual void PaintPoly(int polygons, _polyHead* heads, SYS_Point* points);
  /// Records command 41: the region's image, then the colour.
  virtual void PaintArea(const DARegion& region, SYS_CompositeColor color);
  /// Records command 42.
  virtual void EraseArea(const DARegion& region);

 protected:
  /// Makes `impl` the surface's content; base nothing.
  virtual void InstallDrawing(UI_DrawAreaImpl* impl);
  /// Redraws `impl` within `box` (null: everything); base nothing.
  virtual void RedrawDrawing(UI_DrawAreaImpl* impl, SYS_Box* box, int flag);

 private:
  void RecordText(const char* text, const std::uint32_t* args, int argCount, bool boxForm);

  CDynamic* drawing_ = nullptr;
};
