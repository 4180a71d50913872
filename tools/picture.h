// picture.h - rendering recorded drawings and regions into PNG, SVG and PDF pictures: the
// options the draw, region and demo subcommands share, and a replay that shows progress.
#pragma once

#include <string>
#include <vector>

#include "uicairo.h"

namespace brixtool {

/// The picture options on the command line: --size WxH, --margin N, --background COLOUR,
/// --palette COLOUR[,COLOUR...]. A colour is #RRGGBB or a palette index 0 ... 31.
struct PictureOptions {
  int width = 800;
  int height = 600;
  int margin = 10;
  SYS_CompositeColor background = SYS_CompositeColor::Index(0);
  std::vector<unsigned long> palette;  // 0x00BBGGRR, replacing entries 0, 1, ...
};

/// The options' part of a usage text.
extern const char kPictureOptionsUsage[];

/// Reads the options from argv[*at] on, leaving *at at the first operand. On a bad option
/// prints a usage error and returns false.
bool ParsePictureOptions(int argc, char** argv, int* at, PictureOptions& options);

/// The format a picture path's extension names (.png, .svg, .pdf, any case); false when
/// none.
bool PictureFormat(const std::string& path, UI_CairoFormat& format);

/// A surface for `path` with the options' size, palette and background, cleared and
/// showing `view` (when valid) within the margin.
std::unique_ptr<UI_CairoDrawArea> MakeSurface(UI_CairoFormat format, const PictureOptions& options,
                                              SYS_Box view);

/// Replays `drawing` onto `area` in slices, showing progress on a terminal for large
/// drawings. Returns the replay's result.
UI_PlayResult ReplayWithProgress(const CDynamic& drawing, UI_DrawArea& area,
                                 const std::string& label);

/// "word 12 (byte 60 of the file), command 41 PaintArea: a region image is malformed".
std::string DescribeFailure(const UI_PlayResult& result);

}  // namespace brixtool
