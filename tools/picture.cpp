// picture.cpp - picture options, surfaces and a replay in slices with progress.
#include "picture.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "toolmain.h"

namespace brixtool {

const char kPictureOptionsUsage[] =
    "Picture options:\n"
    "  --size WxH            width and height in pixels (points for SVG and PDF),\n"
    "                        1 ... 32767 each; default 800x600\n"
    "  --margin N            free pixels around the drawing; default 10\n"
    "  --background COLOUR   the background; default palette entry 0 (black)\n"
    "  --palette COLOUR,...  replaces palette entries 0, 1, ... in order\n"
    "A COLOUR is #RRGGBB or a palette index 0 ... 31. OUT's extension (.png, .svg or\n"
    ".pdf) chooses the format.\n";

namespace {

constexpr int kPaletteSize = 32;
// Drawings of this many words or more show their replay's progress on a terminal.
constexpr std::size_t kLargeDrawing = 1 << 20;
// Words replayed between two progress updates.
constexpr std::size_t kSlice = 1 << 16;

bool ParseInt(std::string_view text, int lowest, int highest, int& out) {
  int value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < lowest || value > highest)
    return false;
  out = value;
  return true;
}

bool ParseRgb(std::string_view text, unsigned long& rgb) {
  if (text.size() != 7 || text[0] != '#') return false;
  unsigned value = 0;
  auto [end, error] = std::from_chars(text.data() + 1, text.data() + 7, value, 16);
  if (error != std::errc() || end != text.data() + 7) return false;
  // #RRGGBB to the palette's 0x00BBGGRR.
  rgb = ((value >> 16) & 0xFF) | (value & 0xFF00) | ((value & 0xFF) << 16);
  return true;
}

bool ParseColour(std::string_view text, SYS_CompositeColor& colour) {
  unsigned long rgb = 0;
  int index = 0;
  if (ParseRgb(text, rgb)) {
    colour = SYS_CompositeColor::Rgb(int(rgb & 0xFF), int((rgb >> 8) & 0xFF), int(rgb >> 16));
    return true;
  }
  if (!ParseInt(text, 0, kPaletteSize - 1, index)) return false;
  colour = SYS_CompositeColor::Index(index);
  return true;
}

bool ParsePalette(std::string_view text, std::vector<unsigned long>& palette) {
  palette.clear();
  for (std::size_t start = 0;;) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    unsigned long rgb = 0;
    if (palette.size() == kPaletteSize || !ParseRgb(text.substr(start, comma - start), rgb))
      return false;
    palette.push_back(rgb);
    if (comma == text.size()) return true;
    start = comma + 1;
  }
}

}  // namespace

bool ParsePictureOptions(int argc, char** argv, int* at, PictureOptions& options) {
  for (; *at < argc && strncmp(argv[*at], "--", 2) == 0; *at += 2) {
    const std::string option = argv[*at];
    if (*at + 1 >= argc) {
      UsageError(option + " wants a value");
      return false;
    }
    const std::string_view value = argv[*at + 1];
    bool ok = false;
    if (option == "--size") {
      const std::size_t x = value.find('x');
      ok = x != std::string_view::npos &&
           ParseInt(value.substr(0, x), 1, UI_CairoDrawArea::kMaxSide, options.width) &&
           ParseInt(value.substr(x + 1), 1, UI_CairoDrawArea::kMaxSide, options.height);
    } else if (option == "--margin") {
      ok = ParseInt(value, 0, UI_CairoDrawArea::kMaxSide, options.margin);
    } else if (option == "--background") {
      ok = ParseColour(value, options.background);
    } else if (option == "--palette") {
      ok = ParsePalette(value, options.palette);
    } else {
      UsageError("unknown option " + option);
      return false;
    }
    if (!ok) {
      UsageError("bad " + option + " \"" + std::string(value) + "\"");
      return false;
    }
  }
  return true;
}

bool PictureFormat(const std::string& path, UI_CairoFormat& format) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return false;
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = char(tolower(static_cast<unsigned char>(c)));
  if (extension == "png") format = UI_CairoPng;
  else if (extension == "svg") format = UI_CairoSvg;
  else if (extension == "pdf") format = UI_CairoPdf;
  else return false;
  return true;
}

std::unique_ptr<UI_CairoDrawArea> MakeSurface(UI_CairoFormat format, const PictureOptions& options,
                                              SYS_Box view) {
  auto area = std::make_unique<UI_CairoDrawArea>(options.width, options.height, format);
  for (std::size_t i = 0; i < options.palette.size(); ++i)
    area->SetCurrentPaletteColor(int(i), options.palette[i]);
  area->BackColor(options.background);
  area->Clear();
  if (view.IsValid()) {
    // A single point or line still gets a view around it.
    if (view.GetWidth() == 0 && view.GetHeight() == 0)
      view.Set(view.GetLeft() - 1, view.GetLower() - 1, view.GetRight() + 1, view.GetUpper() + 1);
    area->FitRectToWindow(view, options.margin);
  }
  return area;
}

UI_PlayResult ReplayWithProgress(const CDynamic& drawing, UI_DrawArea& area,
                                 const std::string& label) {
  const std::uint32_t* words = drawing.GetWords();
  const std::size_t count = drawing.GetCount();
  Progress progress(label, static_cast<long long>(count), count >= kLargeDrawing);
  UI_PlayResult total;
  std::size_t from = 0;
  while (from < count) {
    // Whole commands of about a slice each, so that progress moves between them.
    UI_PlayResult r = UI_DrawingPlayer::Play(words, count, area, from, 0, from + kSlice);
    total.played += r.played;
    if (!r.IsComplete()) {
      r.played = total.played;
      return r;
    }
    from = r.position;
    progress.Update(static_cast<long long>(from));
  }
  total.position = count;
  return total;
}

std::string DescribeFailure(const UI_PlayResult& r) {
  const char* name = UI_DrawingPlayer::CommandName(r.command);
  return "word " + std::to_string(r.position) + " (byte " + std::to_string(12 + 4 * r.position) +
         " of the file), command " + std::to_string(r.command) + (name ? std::string(" ") + name : "") +
         ": " + r.GetReason();
}

}  // namespace brixtool
