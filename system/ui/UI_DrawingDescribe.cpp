// UI_DrawingDescribe.cpp - a command stream in words: one line per command, its number,
// name and arguments, written by a draw area that the player plays into.
#include <charconv>
#include <string>

#include "uidrawing.h"

namespace {

// Receives the calls a replay makes and writes each as a line. It records nothing.
class Describer : public UI_DrawArea {
 public:
  explicit Describer(std::string& out) : out_(out) {}

  void PenColor(SYS_CompositeColor c) override { Line(1, c); }
  void PenSize(long s) override { Line(2, s); }
  void SetPixel(const SYS_Point& p, SYS_CompositeColor c) override { Line(3, p, c); }
  void MoveTo(const SYS_Point& p) override { Line(4, p); }
  void MoveToRel(long dx, long dy) override { Line(5, dx, dy); }
  void LineTo(const SYS_Point& p, SYS_CompositeColor c) override { Line(6, p, c); }
  void LineToRel(long dx, long dy, SYS_CompositeColor c) override { Line(7, dx, dy, c); }
  void PaintOval(long w, long h, SYS_CompositeColor c) override { Line(8, w, h, c); }
  void FrameOval(long w, long h, SYS_CompositeColor c) override { Line(9, w, h, c); }
  void FrameArc(long w, long h, const SYS_Point& a, const SYS_Point& b,
                SYS_CompositeColor c) override {
    Line(10, w, h, a, b, c);
  }
  void PolyLine(int n, SYS_Point* p, long width, SYS_CompositeColor c) override {
    Begin(11), Put(n), Put(width), Put(c), Points(p, static_cast<std::size_t>(n)), End();
  }
  void PolyPolyline(SYS_Point* p, const unsigned long* counts, int k) override {
    Begin(12), Put(k);
    std::size_t total = 0;
    for (int i = 0; i < k; ++i) Put(static_cast<long>(counts[i])), total += counts[i];
    Points(p, total), End();
  }
  void PolyPolygon(SYS_Point* p, const int* counts, int k, long fill) override {
    Begin(13), Put(k);
    std::size_t total = 0;
    for (int i = 0; i < k; ++i) Put(counts[i]), total += static_cast<std::size_t>(counts[i]);
    Points(p, total), Put(fill), End();
  }
  void DrawLine(const SYS_Point& a, const SYS_Point& b, long w, SYS_CompositeColor c) override {
    Line(14, a, b, w, c);
  }
  void DrawCross(const SYS_Point& p, SYS_CompositeColor c) override { Line(15, p, c); }
  void DrawBox(long w, long h, SYS_CompositeColor c) override { Line(16, w, h, c); }
  void DrawIcon(HICON i, SYS_Point p, int f) override { Line(17, static_cast<long>(i.handle), p, f); }
  void DrawMarker(int k, SYS_Point p) override { Line(18, k, p); }
  void TextAlign(int h, int v) override { Line(19, h, v); }
  void TextMirror(int m) override { Line(20, m); }
  void TextExtra(int e) override { Line(21, e); }
  void TextFace(int f) override { Line(22, f); }
  void TextPath(double a) override { Line(23, static_cast<long>(a)); }
  void TextSize(int w, int h) override { Line(24, w, h); }
  void DrawString(const char* s) override { Line(25, Text{s}); }
  SYS_Box DrawXorText(const char* s, int h, int v, SYS_Box b, int r) override {
    Line(26, Text{s}, h, v, b, r);
    return {};
  }
  SYS_Box DrawXorText(const char* s, int h, int v, long x, long y, int r) override {
    Line(26, Text{s}, h, v, x, y, r);
    return {};
  }
  void FillRect(SYS_Box b, SYS_CompositeColor c) override { Line(27, b, c); }
  void SetBrightness(int v) override { Line(28, v); }
  void SetOutlineMode(int v) override { Line(29, v); }
  void DrawInfiniteOrthoLine(const SYS_Point& p, EOrthoLine k) override { Line(30, int{k}, p); }
  void DrawInfiniteDiagonalLine(const SYS_Point& p, EDiagonalLine k) override { Line(31, int{k}, p); }
  void TextColor(SYS_CompositeColor c) override { Line(32, c); }
  void PenMode(int m) override { Line(33, m); }
  void SetVP(SYS_Box& b) override { Line(34, b); }
  void SetTextFont(const TextFont& f) override { Line(35, Text{f.face.name}, f.height, f.width, f.style); }
  void PenCap(int c) override { Line(36, c); }
  void BeginPath() override { Line(37); }
  void EndPath() override { Line(38); }
  void PaintPath() override { Line(39); }
  void FrameArc(const SYS_Box& b, double s, double e, SYS_CompositeColor c) override {
    Line(40, b, s, e, c);
  }
  void PaintArea(const DARegion& r, SYS_CompositeColor c) override { Line(41, r, c); }
  void EraseArea(const DARegion& r) override { Line(42, r); }
  void DrawTTFString(const char* s, CFontInfo* f) override { Line(43, f ? f->font : 0, Text{s}); }
  void PaintPoly(int k, _polyHead* heads, SYS_Point* p) override {
    Begin(44), Put(k);
    std::size_t total = 0;
    for (int i = 0; i < k; ++i)
      Put(heads[i].count), Put(heads[i].flag), total += static_cast<std::size_t>(heads[i].count);
    Points(p, total), End();
  }
  void SetRedrawRect(const SYS_Box& b) override { Line(45, b); }
  void SetAndAdjustVP(SYS_Box& b) override { Line(46, b); }
  void EraseRect(SYS_Box b) override { Line(47, b); }
  void BackColor(SYS_CompositeColor c) override { Line(48, c); }
  void DrawFilledBox(const SYS_Box& b, SYS_CompositeColor c) override { Line(49, b, c); }
  void DrawDotGrid(const SYS_Point& o, long dx, long dy, const SYS_Box& b) override {
    Line(50, o, dx, dy, b);
  }

 private:
  struct Text {
    const char* s;
  };

  template <class... A>
  void Line(int command, const A&... args) {
    Begin(command);
    (Put(args), ...);
    End();
  }
  void Begin(int command) {
    char buf[16];
    out_.append(buf, std::to_chars(buf, buf + sizeof buf, command).ptr);
    out_ += ' ';
    out_ += UI_DrawingPlayer::CommandName(static_cast<std::uint32_t>(command));
  }
  void End() { out_ += '\n'; }

  void Put(long v) {
    char buf[24];
    out_ += ' ';
    out_.append(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
  }
  void Put(int v) { Put(static_cast<long>(v)); }
  void Put(double v) {
    // Whole angles read better as integers than in the shortest scientific form.
    if (v > -1e15 && v < 1e15 && v == static_cast<double>(static_cast<long long>(v))) {
      Put(static_cast<long>(v));
      return;
    }
    char buf[40];
    out_ += ' ';
    out_.append(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
  }
  void Put(const SYS_Point& p) { Put(p.GetX()), Put(p.GetY()); }
  void Put(const SYS_Box& b) { Put(b.GetLeft()), Put(b.GetLower()), Put(b.GetRight()), Put(b.GetUpper()); }
  void Put(SYS_CompositeColor c) {
    char buf[16];
    if (c.IsIndex()) {
      out_ += " index:";
      out_.append(buf, std::to_chars(buf, buf + sizeof buf, c.GetWord()).ptr);
    } else {
      out_ += " rgb:";
      out_.append(buf, std::to_chars(buf, buf + sizeof buf, c.GetRgb(), 16).ptr);
    }
  }
  void Put(const Text& t) {
    out_ += " \"";
    for (const char* p = t.s; *p; ++p) {
      const auto u = static_cast<unsigned char>(*p);
      if (u == '"' || u == '\\') out_ += '\\';
      if (u < 0x20 || u == 0x7F) {
        static const char hex[] = "0123456789abcdef";
        out_ += "\\x";
        out_ += hex[u >> 4];
        out_ += hex[u & 15];
      } else {
        out_ += *p;
      }
    }
    out_ += '"';
  }
  void Put(const DARegion& r) {
    out_ += " polygons";
    Put(r.GetPolygonNumber());
    DARegionIterator it(r);
    while (const DAPolygon* p = it.GetNextPolygon()) {
      out_ += " [flag";
      Put(static_cast<int>(p->GetFlag()));
      out_ += " width";
      Put(p->GetWidth());
      for (int i = 0; i < p->GetEdgeCount(); ++i) {
        const ArcPolyEdge* e = p->GetEdge(i);
        Put(static_cast<long>(e->x)), Put(static_cast<long>(e->y));
        if (const ArcPolyArc* a = p->GetEdgeArc(i)) {
          out_ += " arc";
          Put(static_cast<long>(a->cx)), Put(static_cast<long>(a->cy)), Put(a->start), Put(a->end);
        }
      }
      out_ += " ]";
    }
  }
  void Points(const SYS_Point* p, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) Put(p[i]);
  }

  std::string& out_;
};

}  // namespace

UI_PlayResult UI_DrawingPlayer::Describe(const std::uint32_t* words, std::size_t count,
                                         std::string& out) {
  Describer describer(out);
  const UI_PlayResult result = Play(words, count, describer);
  if (!result.IsComplete()) {
    char buf[24];
    out += "stopped at word ";
    out.append(buf, std::to_chars(buf, buf + sizeof buf, result.position).ptr);
    out += ": ";
    out += result.GetReason();
    out += '\n';
  }
  return result;
}
