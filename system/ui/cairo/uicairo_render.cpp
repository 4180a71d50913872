// uicairo_render.cpp - UI_RenderDrawing: a recorded drawing replayed onto a new cairo surface
// and written as PNG, SVG or PDF.
#include <algorithm>
#include <cerrno>

#include "cairo_output.h"
#include "cairo_palette.h"
#include "uicairo.h"

int UI_RenderDrawing(const CDynamic& drawing, const char* path, const UI_RenderOptions& options,
                     UI_PlayResult* result) {
  brix::cairo_out::Format format;
  if (!brix::cairo_out::FormatFromPath(path, format)) {
    errno = EINVAL;
    return 0;
  }
  if (options.width < 1 || options.height < 1 || options.width > UI_CairoDrawArea::kMaxSide ||
      options.height > UI_CairoDrawArea::kMaxSide || options.margin < 0 ||
      options.paletteCount < 0 || (options.paletteCount > 0 && !options.palette)) {
    errno = EINVAL;
    return 0;
  }
  UI_CairoFormat kind = format == brix::cairo_out::Format::Svg   ? UI_CairoSvg
                        : format == brix::cairo_out::Format::Pdf ? UI_CairoPdf
                                                                 : UI_CairoPng;
  UI_CairoDrawArea area(options.width, options.height, kind);
  int count = std::min(options.paletteCount, static_cast<int>(area.GetCurrentPaletteColors(nullptr)));
  for (int i = 0; i < count; ++i) area.SetCurrentPaletteColor(i, options.palette[i]);
  area.BackColor(options.background);
  area.Clear();

  SYS_Box view = options.view.IsValid() ? options.view : drawing.GetBounds();
  if (view.IsValid()) {
    // A drawing of a single point or line still gets a view around it.
    if (view.GetWidth() == 0 && view.GetHeight() == 0)
      view.Set(view.GetLeft() - 1, view.GetLower() - 1, view.GetRight() + 1, view.GetUpper() + 1);
    area.FitRectToWindow(view, options.margin);
  }
  UI_PlayResult played = drawing.Play(area);
  if (result) *result = played;
  if (!played.IsComplete()) {
    errno = EINVAL;
    return 0;
  }
  return area.WriteFile(path);
}
