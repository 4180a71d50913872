// UI_DrawingPlayer.cpp - replays recorded command words into a draw area, command by command,
// checking every count against the words that remain.
#include <string>
#include <vector>

#include "uidrawing.h"
#include "ui/drawwords.h"

namespace {

using Status = UI_PlayStatus;

const char* const kNames[] = {
    nullptr,          "PenColor",       "PenSize",         "SetPixel",       "MoveTo",
    "MoveToRel",      "LineTo",         "LineToRel",       "PaintOval",      "FrameOval",
    "FrameArc",       "PolyLine",       "PolyPolyline",    "PolyPolygon",    "DrawLine",
    "DrawCross",      "DrawBox",        "DrawIcon",        "DrawMarker",     "TextAlign",
    "TextMirror",     "TextExtra",      "TextFace",        "TextPath",       "TextSize",
    "DrawString",     "DrawXorText",    "FillRect",        "SetBrightness",  "SetOutlineMode",
    "DrawInfiniteOrthoLine", "DrawInfiniteDiagonalLine", "TextColor", "PenMode", "SetVP",
    "SetTextFont",    "PenCap",         "BeginPath",       "EndPath",        "PaintPath",
    "FrameArcAngles", "PaintArea",      "EraseArea",       "DrawTTFString",  "PaintPoly",
    "SetRedrawRect",  "SetAndAdjustVP", "EraseRect",       "BackColor",      "DrawFilledBox",
    "DrawDotGrid",
};
static_assert(sizeof kNames / sizeof kNames[0] == UI_DrawingPlayer::kLastCommand + 1);

// Reads the arguments of one command. Every read checks the words that remain; the first
// failure sticks and names the reason.
class Reader {
 public:
  Reader(const std::uint32_t* words, std::size_t end, std::size_t at)
      : w_(words), end_(end), at_(at) {}

  bool Ok() const { return status_ == Status::Complete; }
  Status GetStatus() const { return status_; }
  std::size_t Position() const { return at_; }
  std::size_t Remaining() const { return end_ - at_; }

  std::uint32_t Word() {
    if (!Need(1)) return 0;
    return w_[at_++];
  }
  /// The next word without consuming it (0, and truncation, at the end).
  std::uint32_t Peek() { return Need(1) ? w_[at_] : 0; }
  long Int() { return static_cast<std::int32_t>(Word()); }
  SYS_CompositeColor Color() { return SYS_CompositeColor(Word()); }
  SYS_Point Point() {
    const long x = Int();
    return SYS_Point(x, Int());
  }
  SYS_Box Box() {
    const long l = Int(), b = Int(), r = Int();
    return SYS_Box(l, b, r, Int());
  }
  double Double() {
    if (!Need(2)) return 0.0;
    const double v = brix::drawwords::GetDouble(w_ + at_);
    at_ += 2;
    return v;
  }
  // A count of items of `wordsEach` words that must still fit in the stream.
  std::size_t Count(std::size_t wordsEach) {
    const long n = Int();
    if (!Ok()) return 0;
    if (n < 0 || static_cast<std::size_t>(n) > Remaining() / wordsEach) return Fail(Status::BadCount), 0;
    return static_cast<std::size_t>(n);
  }
  // A string of n words (n from the length word, masked by `mask`) laid out as the recorder
  // lays it out: its zero in the last word and only zeros after it, so that a replay records
  // the same words again.
  std::string String(std::uint32_t mask = 0xFFFFFFFFu) {
    const std::uint32_t n = Word() & mask;
    if (!Ok()) return {};
    if (n == 0 || n > Remaining()) return Fail(n == 0 ? Status::BadString : Status::BadCount), std::string();
    std::string s;
    bool ended = false;
    for (std::uint32_t i = 0; i < n; ++i)
      for (int b = 0; b < 4; ++b) {
        const char c = static_cast<char>(w_[at_ + i] >> (8 * b));
        if (ended && c != 0) return Fail(Status::BadString), std::string();
        if (c == 0 && !ended) {
          if (i + 1 != n) return Fail(Status::BadString), std::string();
          ended = true;
        } else if (!ended) {
          s.push_back(c);
        }
      }
    if (!ended) return Fail(Status::BadString), std::string();
    at_ += n;
    return s;
  }
  // A region image: its first word is its length in bytes, a multiple of 4.
  bool Region(DARegion& region) {
    const std::uint32_t bytes = Need(1) ? w_[at_] : 0;
    if (!Ok()) return false;
    if (bytes < 8 || bytes % 4 != 0 || bytes / 4 > Remaining()) return Fail(Status::BadRegion);
    std::vector<char> image(bytes);
    for (std::size_t i = 0; i < bytes / 4; ++i)
      for (int b = 0; b < 4; ++b) image[4 * i + b] = static_cast<char>(w_[at_ + i] >> (8 * b));
    if (region.LoadImage0(image.data(), image.size()) != static_cast<int>(bytes)) return Fail(Status::BadRegion);
    at_ += bytes / 4;
    return true;
  }
  std::vector<SYS_Point> Points(std::size_t n) {
    if (n > Remaining() / 2) return Fail(Status::BadCount), std::vector<SYS_Point>();
    std::vector<SYS_Point> points;
    points.reserve(n);
    for (std::size_t i = 0; i < n; ++i) points.push_back(Point());
    return points;
  }
  bool Fail(Status s) {
    if (Ok()) status_ = s;
    return false;
  }

 private:
  bool Need(std::size_t n) { return Remaining() >= n || Fail(Status::Truncated); }

  const std::uint32_t* w_;
  std::size_t end_;
  std::size_t at_;
  Status status_ = Status::Complete;
};

// The player's own view of the state the commands change.
struct PenState {
  SYS_Point cursor;
  SYS_CompositeColor color;
  long size = 0;
};

// Reads one command starting at r's position and, when it is whole, calls `target`.
Status PlayOne(std::uint32_t command, Reader& r, UI_DrawArea& t, PenState& pen, unsigned flags) {
  switch (command) {
    case 1: {
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.PenColor(c), pen.color = c;
      break;
    }
    case 2: {
      const long s = r.Int();
      if (r.Ok()) t.PenSize(s), pen.size = s;
      break;
    }
    case 3: {
      const SYS_Point p = r.Point();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.SetPixel(p, c);
      break;
    }
    case 4: {
      const SYS_Point p = r.Point();
      if (r.Ok()) t.MoveTo(p), pen.cursor = p;
      break;
    }
    case 5: {
      const long dx = r.Int(), dy = r.Int();
      if (r.Ok()) t.MoveToRel(dx, dy), pen.cursor += SYS_Point(dx, dy);
      break;
    }
    case 6: {
      const SYS_Point p = r.Point();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.LineTo(p, c), pen.cursor = p;
      break;
    }
    case 7: {
      const long dx = r.Int(), dy = r.Int();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.LineToRel(dx, dy, c), pen.cursor += SYS_Point(dx, dy);
      break;
    }
    case 8:
    case 9:
    case 16: {
      const long w = r.Int(), h = r.Int();
      const SYS_CompositeColor c = r.Color();
      if (!r.Ok()) break;
      if (command == 8) t.PaintOval(w, h, c);
      if (command == 9) t.FrameOval(w, h, c);
      if (command == 16) t.DrawBox(w, h, c);
      break;
    }
    case 10: {
      const long w = r.Int(), h = r.Int();
      const SYS_Point a = r.Point(), b = r.Point();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.FrameArc(w, h, a, b, c);
      break;
    }
    case 11: {
      const long count = r.Int();
      const long width = r.Int();
      const SYS_CompositeColor c = r.Color();
      if (!r.Ok()) break;
      if (count < 0) return Status::BadCount;
      std::vector<SYS_Point> points = r.Points(static_cast<std::size_t>(count));
      if (r.Ok()) t.PolyLine(static_cast<int>(count), points.data(), width, c);
      break;
    }
    case 12:
    case 13: {
      const std::size_t k = r.Count(1);
      std::vector<unsigned long> counts;
      std::vector<int> intCounts;
      std::size_t total = 0;
      for (std::size_t i = 0; i < k && r.Ok(); ++i) {
        const std::uint32_t n = r.Word();
        if (command == 13 && static_cast<std::int32_t>(n) < 0) return Status::BadCount;
        total += n;
        if (total > r.Remaining() / 2) return Status::BadCount;
        counts.push_back(n);
        intCounts.push_back(static_cast<int>(n));
      }
      std::vector<SYS_Point> points = r.Points(total);
      if (command == 12) {
        if (r.Ok()) t.PolyPolyline(points.data(), counts.data(), static_cast<int>(k));
      } else {
        const long fill = r.Int();
        if (r.Ok()) t.PolyPolygon(points.data(), intCounts.data(), static_cast<int>(k), fill);
      }
      break;
    }
    case 14: {
      const SYS_Point a = r.Point(), b = r.Point();
      const long width = r.Int();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.DrawLine(a, b, width, c);
      break;
    }
    case 15: {
      const SYS_Point p = r.Point();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.DrawCross(p, c);
      break;
    }
    case 17: {
      const HICON icon{r.Word()};
      const SYS_Point p = r.Point();
      const long flag = r.Int();
      if (r.Ok()) t.DrawIcon(icon, p, static_cast<int>(flag));
      break;
    }
    case 18:
    case 30:
    case 31: {
      const long kind = r.Int();
      const SYS_Point p = r.Point();
      if (!r.Ok()) break;
      if (command == 18) t.DrawMarker(static_cast<int>(kind), p);
      if (command == 30) t.DrawInfiniteOrthoLine(p, static_cast<EOrthoLine>(kind));
      if (command == 31) t.DrawInfiniteDiagonalLine(p, static_cast<EDiagonalLine>(kind));
      break;
    }
    case 19:
    case 24: {
      const long a = r.Int(), b = r.Int();
      if (!r.Ok()) break;
      if (command == 19) t.TextAlign(static_cast<int>(a), static_cast<int>(b));
      if (command == 24) t.TextSize(static_cast<int>(a), static_cast<int>(b));
      break;
    }
    case 20:
    case 21:
    case 22:
    case 23:
    case 28:
    case 29:
    case 33:
    case 36: {
      const int v = static_cast<int>(r.Int());
      if (!r.Ok()) break;
      switch (command) {
        case 20: t.TextMirror(v); break;
        case 21: t.TextExtra(v); break;
        case 22: t.TextFace(v); break;
        case 23: t.TextPath(static_cast<double>(v)); break;
        case 28: t.SetBrightness(v); break;
        case 29: t.SetOutlineMode(v); break;
        case 33: t.PenMode(v); break;
        default: t.PenCap(v); break;
      }
      break;
    }
    case 25: {
      const std::string s = r.String();
      if (r.Ok()) t.DrawString(s.c_str());
      break;
    }
    case 26: {
      const bool skipText = (flags & UI_DrawingPlayer::kSkipText) != 0;
      const bool boxForm = (r.Peek() & brix::drawwords::kBoxTextFlag) != 0;
      const std::string s = r.String(~brix::drawwords::kBoxTextFlag);
      const int h = static_cast<int>(r.Int()), v = static_cast<int>(r.Int());
      if (boxForm) {
        const SYS_Box b = r.Box();
        const int redraw = static_cast<int>(r.Int());
        if (r.Ok() && !skipText) t.DrawXorText(s.c_str(), h, v, b, redraw);
      } else {
        const long x = r.Int(), y = r.Int();
        const int redraw = static_cast<int>(r.Int());
        if (r.Ok() && !skipText) t.DrawXorText(s.c_str(), h, v, x, y, redraw);
      }
      break;
    }
    case 27:
    case 47:
    case 49: {
      const SYS_Box b = r.Box();
      const SYS_CompositeColor c = command == 47 ? SYS_CompositeColor() : r.Color();
      if (!r.Ok()) break;
      if (command == 27) t.FillRect(b, c);
      if (command == 47) t.EraseRect(b);
      if (command == 49) t.DrawFilledBox(b, c);
      break;
    }
    case 32:
    case 48: {
      const SYS_CompositeColor c = r.Color();
      if (!r.Ok()) break;
      if (command == 32) t.TextColor(c);
      if (command == 48) t.BackColor(c);
      break;
    }
    case 34:
    case 45:
    case 46: {
      SYS_Box b = r.Box();
      if (!r.Ok()) break;
      if (command == 34) t.SetVP(b);
      if (command == 45) t.SetRedrawRect(b);
      if (command == 46) t.SetAndAdjustVP(b);
      break;
    }
    case 35: {
      TextFont font;
      const std::string face = r.String();
      font.height = static_cast<std::int32_t>(r.Int());
      font.width = static_cast<std::int32_t>(r.Int());
      font.style = static_cast<std::int32_t>(r.Int());
      if (!r.Ok()) break;
      // A face name longer than the font keeps would not record the same words again.
      if (face.size() >= sizeof font.face.name) return Status::BadString;
      font.face.Set(face.c_str());
      t.SetTextFont(font);
      break;
    }
    case 37: t.BeginPath(); break;
    case 38: t.EndPath(); break;
    case 39: t.PaintPath(); break;
    case 40: {
      const SYS_Box b = r.Box();
      const double start = r.Double(), end = r.Double();
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.FrameArc(b, start, end, c);
      break;
    }
    case 41:
    case 42: {
      DARegion region;
      if (!r.Region(region)) break;
      if (command == 42) {
        t.EraseArea(region);
        break;
      }
      const SYS_CompositeColor c = r.Color();
      if (r.Ok()) t.PaintArea(region, c);
      break;
    }
    case 43: {
      CFontInfo font;
      font.font = static_cast<std::int32_t>(r.Int());
      const std::string s = r.String();
      if (r.Ok()) t.DrawTTFString(s.c_str(), &font);
      break;
    }
    case 44: {
      const std::size_t k = r.Count(2);
      std::vector<_polyHead> heads;
      heads.reserve(k);
      std::size_t total = 0;
      for (std::size_t i = 0; i < k && r.Ok(); ++i) {
        _polyHead h;
        h.count = static_cast<std::int32_t>(r.Int());
        h.flag = static_cast<std::int32_t>(r.Int());
        if (h.count < 0) return Status::BadCount;
        total += static_cast<std::size_t>(h.count);
        if (total > r.Remaining() / 2) return Status::BadCount;
        heads.push_back(h);
      }
      std::vector<SYS_Point> points = r.Points(total);
      if (r.Ok()) t.PaintPoly(static_cast<int>(k), heads.data(), points.data());
      break;
    }
    case 50: {
      const SYS_Point origin = r.Point();
      const long dx = r.Int(), dy = r.Int();
      const SYS_Box b = r.Box();
      if (r.Ok()) t.DrawDotGrid(origin, dx, dy, b);
      break;
    }
    default:
      return Status::UnknownCommand;
  }
  return r.GetStatus();
}

}  // namespace

const char* UI_PlayResult::GetReason() const {
  switch (status) {
    case Status::Complete: return "complete";
    case Status::UnknownCommand: return "unknown command";
    case Status::Truncated: return "command runs past the end";
    case Status::BadCount: return "count larger than the stream";
    case Status::BadString: return "malformed string";
    case Status::BadRegion: return "malformed region image";
  }
  return "unknown";
}

const char* UI_DrawingPlayer::CommandName(std::uint32_t command) {
  return command <= kLastCommand ? kNames[command] : nullptr;
}

UI_PlayResult UI_DrawingPlayer::Play(const std::uint32_t* words, std::size_t count,
                                     UI_DrawArea& target, std::size_t from, unsigned flags,
                                     std::size_t pause) {
  UI_PlayResult result;
  PenState pen;
  std::size_t at = from < count ? from : count;
  while (at < count && at < pause) {
    const std::uint32_t command = words[at];
    Reader r(words, count, at + 1);
    const Status status = PlayOne(command, r, target, pen, flags);
    if (status != Status::Complete) {
      result.status = status;
      result.command = command;
      break;
    }
    at = r.Position();
    ++result.played;
  }
  result.position = at;
  result.cursor = pen.cursor;
  result.penColor = pen.color;
  result.penSize = pen.size;
  return result;
}
