// cairo_bench.cpp - rendering a board (100,000 track segments and 1,000 pads with arc edges)
// into a 2000 x 2000 PNG through the recorded drawing and the cairo draw area, against a
// plain loop of cairo calls drawing the same geometry.
#include <benchmark/benchmark.h>
#include <cairo.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "brixsys.h"

namespace {

constexpr int kSide = 2000;
constexpr int kSegments = 100000;
constexpr int kPads = 1000;
constexpr long kWorld = 100000000;  // about 67 mm square
constexpr long kTrackWidth = 300000;

struct Segment {
  SYS_Point a, b;
};
struct Pad {
  SYS_Box box;  // a stadium filling the box
};

struct Board {
  std::vector<Segment> segments;
  std::vector<Pad> pads;
};

const Board& TheBoard() {
  static const Board board = [] {
    Board b;
    std::uint64_t state = 0x9E3779B97F4A7C15ull;
    auto next = [&state](long range) {
      state ^= state << 13, state ^= state >> 7, state ^= state << 17;
      return static_cast<long>(state % static_cast<std::uint64_t>(range));
    };
    for (int i = 0; i < kSegments; ++i) {
      SYS_Point a(next(kWorld), next(kWorld));
      b.segments.push_back({a, SYS_Point(a.GetX() + next(3000000) - 1500000, a.GetY() + next(3000000) - 1500000)});
    }
    for (int i = 0; i < kPads; ++i) {
      long x = next(kWorld), y = next(kWorld), w = 500000 + next(2000000), h = 500000 + next(2000000);
      b.pads.push_back({SYS_Box(x, y, x + w, y + h)});
    }
    return b;
  }();
  return board;
}

const CDynamic& RecordedBoard() {
  static CDynamic drawing;
  if (drawing.GetCount() == 0) {
    UI_DrawArea rec;
    rec.AttachDrawing(&drawing);
    for (const Segment& s : TheBoard().segments)
      rec.DrawLine(s.a, s.b, kTrackWidth, SYS_CompositeColor::Index(1));
    for (const Pad& p : TheBoard().pads) {
      DAPolygon stadium;
      stadium.CreateOval(p.box);
      DARegion region;
      region.Add(stadium);
      rec.PaintArea(region, SYS_CompositeColor::Index(3));
    }
  }
  return drawing;
}

std::string OutPath() { return "/tmp/cairo_bench." + std::to_string(getpid()) + ".png"; }

// The plain alternative: the same transform, lines and stadiums drawn with cairo directly.
void DrawPlain(cairo_t* cr) {
  const double s = double(kSide - 20) / kWorld, off = 10;
  auto X = [&](double x) { return off + x * s; };
  auto Y = [&](double y) { return kSide - off - y * s; };
  cairo_set_source_rgb(cr, 0, 0, 0);
  cairo_paint(cr);
  cairo_set_source_rgb(cr, 208 / 255.0, 48 / 255.0, 48 / 255.0);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_width(cr, std::max(1.0, kTrackWidth * s));
  for (const Segment& g : TheBoard().segments) {
    cairo_move_to(cr, X(g.a.GetX()), Y(g.a.GetY()));
    cairo_line_to(cr, X(g.b.GetX()), Y(g.b.GetY()));
    cairo_stroke(cr);
  }
  cairo_set_source_rgb(cr, 224 / 255.0, 192 / 255.0, 48 / 255.0);
  for (const Pad& p : TheBoard().pads) {
    double l = X(p.box.GetLeft()), r = X(p.box.GetRight());
    double t = Y(p.box.GetUpper()), b = Y(p.box.GetLower());
    double rad = std::min(r - l, b - t) / 2;
    cairo_new_sub_path(cr);
    if (r - l >= b - t) {
      cairo_arc(cr, r - rad, (t + b) / 2, rad, -M_PI / 2, M_PI / 2);
      cairo_arc(cr, l + rad, (t + b) / 2, rad, M_PI / 2, 3 * M_PI / 2);
    } else {
      cairo_arc(cr, (l + r) / 2, b - rad, rad, 0, M_PI);
      cairo_arc(cr, (l + r) / 2, t + rad, rad, M_PI, 2 * M_PI);
    }
    cairo_close_path(cr);
    cairo_fill(cr);
  }
}

void BM_RenderDrawingToPng(benchmark::State& state) {
  const CDynamic& drawing = RecordedBoard();
  UI_RenderOptions options;
  options.width = options.height = kSide;
  options.view = SYS_Box(0, 0, kWorld, kWorld);
  const std::string path = OutPath();
  for (auto _ : state)
    if (!UI_RenderDrawing(drawing, path.c_str(), options)) state.SkipWithError("render failed");
  std::remove(path.c_str());
  state.SetItemsProcessed(state.iterations() * (kSegments + kPads));
}
BENCHMARK(BM_RenderDrawingToPng)->Unit(benchmark::kMillisecond)->MinTime(3);

void BM_PlainCairoToPng(benchmark::State& state) {
  TheBoard();
  const std::string path = OutPath();
  for (auto _ : state) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kSide, kSide);
    cairo_t* cr = cairo_create(surface);
    DrawPlain(cr);
    cairo_destroy(cr);
    if (cairo_surface_write_to_png(surface, path.c_str()) != CAIRO_STATUS_SUCCESS)
      state.SkipWithError("write failed");
    cairo_surface_destroy(surface);
  }
  std::remove(path.c_str());
  state.SetItemsProcessed(state.iterations() * (kSegments + kPads));
}
BENCHMARK(BM_PlainCairoToPng)->Unit(benchmark::kMillisecond)->MinTime(3);

// Drawing alone, without the PNG encoder: the replay onto the surface against the loop.
void BM_ReplayOntoSurface(benchmark::State& state) {
  const CDynamic& drawing = RecordedBoard();
  UI_CairoDrawArea area(kSide, kSide);
  SYS_Box view(0, 0, kWorld, kWorld);
  area.FitRectToWindow(view, 10);
  for (auto _ : state) {
    area.Clear();
    UI_PlayResult r = drawing.Play(area);
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations() * (kSegments + kPads));
}
BENCHMARK(BM_ReplayOntoSurface)->Unit(benchmark::kMillisecond)->MinTime(3);

void BM_PlainCairoDrawing(benchmark::State& state) {
  TheBoard();
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kSide, kSide);
  cairo_t* cr = cairo_create(surface);
  for (auto _ : state) DrawPlain(cr);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  state.SetItemsProcessed(state.iterations() * (kSegments + kPads));
}
BENCHMARK(BM_PlainCairoDrawing)->Unit(benchmark::kMillisecond)->MinTime(3);

}  // namespace
