// drawing_test.cpp - the recording draw area, recorded drawings, their player, files and the
// draw-area processor.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "temp_files.h"
#include "uidrawing.h"

namespace {

using Words = std::vector<std::uint32_t>;

Words WordsOf(const CDynamic& d) { return Words(d.GetWords(), d.GetWords() + d.GetCount()); }

constexpr std::uint32_t W(long v) { return static_cast<std::uint32_t>(v); }

DARegion CircleRegion(int cx, int cy, int r) {
  DAPolygon p;
  DARegion region;
  return p.CreateCircle(cx, cy, r), region.Add(p), region;
}

// The words a region records as: its image, whose first word is its length in bytes.
Words ImageWords(const DARegion& region) {
  std::vector<char> bytes(static_cast<std::size_t>(region.GetImageLength()));
  region.CreateImage(bytes.data());
  Words out(bytes.size() / 4);
  std::memcpy(out.data(), bytes.data(), bytes.size());  // little-endian host
  return out;
}

Words Concat(std::initializer_list<Words> parts) {
  Words out;
  for (const Words& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
  Spit(path, std::string(bytes.begin(), bytes.end()));
}
std::vector<unsigned char> ReadBytes(const std::string& path) {
  const std::string bytes = Slurp(path);
  return {bytes.begin(), bytes.end()};
}

using Area = UI_DrawArea&;

struct LayoutCase { const char* name; std::function<void(UI_DrawArea&)> draw; Words expected; };

std::vector<LayoutCase> LayoutCases() {
  static SYS_Point pts[] = {SYS_Point(1, 2), SYS_Point(3, 4), SYS_Point(5, 6)};
  const DARegion circle = CircleRegion(0, 0, 100);
  return {
      {"pen and pixel", [](Area a) { a.PenColor(SYS_CompositeColor::Rgb(1, 2, 3)), a.PenSize(-1), a.SetPixel(SYS_Point(7, -8), 3); },
       {1, 0x01030201, 2, W(-1), 3, 7, W(-8), 3}},
      {"moves and lines", [](Area a) { a.MoveTo(SYS_Point(10, 20)), a.LineTo(SYS_Point(30, 40), 5), a.MoveToRel(-1, 2), a.LineToRel(3, -4, 6); },
       {4, 10, 20, 6, 30, 40, 5, 5, W(-1), 2, 7, 3, W(-4), 6}},
      // The forwarding overloads move first; a point and a radius pass r, not 2r.
      {"PaintOval forms", [](Area a) { a.PaintOval(30L, 40L, 2), a.PaintOval(SYS_Box(0, 0, 100, 50), 2), a.PaintOval(SYS_Point(5, 6), 7L, 2); },
       {8, 30, 40, 2, 4, 50, 25, 8, 100, 50, 2, 4, 5, 6, 8, 7, 7, 2}},
      {"FrameOval forms", [](Area a) { a.FrameOval(SYS_Point(1, 1), 9L, 4), a.FrameOval(SYS_Box(0, 0, 4, 2), 4); },
       {4, 1, 1, 9, 9, 9, 4, 4, 2, 1, 9, 4, 2, 4}},
      {"FrameArc forms", [](Area a) { a.FrameArc(10L, 20L, SYS_Point(1, 2), SYS_Point(3, 4), 5), a.FrameArc(SYS_Box(0, 0, 10, 20), SYS_Point(1, 2), SYS_Point(3, 4), 5); },
       {10, 10, 20, 1, 2, 3, 4, 5, 4, 5, 10, 10, 10, 20, 1, 2, 3, 4, 5}},
      {"FrameArc angles as doubles", [](Area a) { a.FrameArc(SYS_Box(1, 2, 3, 4), 0.0, -1.5, 7); }, {40, 1, 2, 3, 4, 0, 0, 0, 0xBFF80000, 7}},
      {"polylines", [](Area a) { const unsigned long c[] = {1, 2}; a.PolyLine(2, pts, 10, 3), a.PolyLine(0, nullptr, 10, 3), a.PolyPolyline(pts, c, 2); },
       {11, 2, 10, 3, 1, 2, 3, 4, 11, 0, 10, 3, 12, 2, 1, 2, 1, 2, 3, 4, 5, 6}},
      {"polygons: the fill last", [](Area a) { const int c[] = {3}; a.PolyPolygon(pts, c, 1, UI_PolySolid), a.DrawHatchedPoly(3, pts); },
       {13, 1, 3, 1, 2, 3, 4, 5, 6, 1, 13, 1, 3, 1, 2, 3, 4, 5, 6, 3}},
      {"line and cross", [](Area a) { a.DrawLine(SYS_Point(1, 2), SYS_Point(3, 4), 5, 6), a.DrawCross(SYS_Point(1, 2), 3); },
       {14, 1, 2, 3, 4, 5, 6, 15, 1, 2, 3}},
      {"DrawBox forms", [](Area a) { a.DrawBox(4L, 6L, 1), a.DrawBox(SYS_Point(4, 6), SYS_Point(0, 0), 1); }, {16, 4, 6, 1, 4, 2, 3, 16, 4, 6, 1}},
      {"icons and markers", [](Area a) { a.DrawIcon(HICON{9}, SYS_Point(1, 2), 1), a.DrawIcon(8, SYS_Point(3, 4), 0), a.DrawMarker(2, SYS_Point(1, 2)); },
       {17, 9, 1, 2, 1, 17, 8, 3, 4, 0, 18, 2, 1, 2}},
      {"text state", [](Area a) { a.TextAlign(1, 2), a.TextMirror(1), a.TextExtra(3), a.TextFace(4), a.TextPath(-90.7), a.TextSize(5, 6); },
       {19, 1, 2, 20, 1, 21, 3, 22, 4, 23, W(-90), 24, 5, 6}},
      {"strings take whole words with a zero", [](Area a) { a.DrawString("abc"), a.DrawString("abcd"), a.DrawString(""); },
       {25, 1, 0x00636261, 25, 2, 0x64636261, 0, 25, 1, 0}},
      {"DrawXorText: a box flags its string word", [](Area a) { a.DrawXorText("ab", 1, 2, SYS_Point(3, 4), 1), a.DrawXorText("ab", 1, 2, SYS_Box(3, 4, 5, 6), 1); },
       {26, 1, 0x6261, 1, 2, 3, 4, 1, 26, 0x80000001, 0x6261, 1, 2, 3, 4, 5, 6, 1}},
      {"DrawReplaceText records 26 too", [](Area a) { a.DrawReplaceText("ab", 0, 0, 3L, 4L, 0); }, {26, 1, 0x6261, 0, 0, 3, 4, 0}},
      {"rectangles", [](Area a) { a.FillRect(SYS_Box(1, 2, 3, 4), 5), a.EraseRect(SYS_Box(1, 2, 3, 4)), a.DrawFilledBox(SYS_Box(1, 2, 3, 4), 5); },
       {27, 1, 2, 3, 4, 5, 47, 1, 2, 3, 4, 49, 1, 2, 3, 4, 5}},
      {"brightness outline", [](Area a) { a.SetBrightness(50), a.SetOutlineMode(1); }, {28, 50, 29, 1}},
      {"infinite lines", [](Area a) { a.DrawInfiniteOrthoLine(SYS_Point(1, 2), EOrthoBoth), a.DrawInfiniteDiagonalLine(SYS_Point(3, 4), EDiagonalFalling); },
       {30, 2, 1, 2, 31, 1, 3, 4}},
      {"colours and modes", [](Area a) { a.TextColor(3), a.PenMode(1), a.PenCap(2), a.BackColor(0); }, {32, 3, 33, 1, 36, 2, 48, 0}},
      {"viewports", [](Area a) { SYS_Box b(1, 2, 3, 4); a.SetVP(b), a.SetAndAdjustVP(b), a.SetRedrawRect(b); },
       {34, 1, 2, 3, 4, 46, 1, 2, 3, 4, 45, 1, 2, 3, 4}},
      {"SetTextFont", [](Area a) { TextFont f; f.face.Set("Sans"); f.height = 10, f.width = 0, f.style = UI_FontBold; a.SetTextFont(f); },
       {35, 2, 0x736E6153, 0, 10, 0, 1}},
      {"paths", [](Area a) { a.BeginPath(), a.EndPath(), a.PaintPath(); }, {37, 38, 39}},
      {"areas", [circle](Area a) { a.PaintArea(circle, 4), a.EraseArea(DARegion()); }, Concat({{41}, ImageWords(circle), {4, 42, 8, 0}})},
      {"DrawTTFString", [](Area a) { CFontInfo f{3}; a.DrawTTFString("x", &f), a.DrawTTFString("y", nullptr); }, {43, 3, 1, 'x', 43, 0, 1, 'y'}},
      {"PaintPoly", [](Area a) { _polyHead h[] = {{2, 2}, {1, 3}}; a.PaintPoly(2, h, pts); }, {44, 2, 2, 2, 1, 3, 1, 2, 3, 4, 5, 6}},
      {"DrawDotGrid", [](Area a) { a.DrawDotGrid(SYS_Point(1, 2), 3, 4, SYS_Box(5, 6, 7, 8)); }, {50, 1, 2, 3, 4, 5, 6, 7, 8}},
      {"batch start records pen 15 and size -1", [](Area a) { a.StartBatchDraw(1); }, {1, 15, 2, W(-1)}},
      {"pin number string", [](Area a) { a.DrawPinNumberString("1", SYS_Position(5, 6, 0, 0), 1.0); }, {4, 5, 6, 25, 1, '1'}}
  };
}

// Every command records word for word; a replay into a second recording area gives the same
// words, and the description has one line per command.
TEST(DrawingTest, EveryCommandRecordsItsLayoutAndRoundTrips) {
  for (const LayoutCase& c : LayoutCases()) {
    SCOPED_TRACE(c.name);
    CDynamic first, second;
    UI_DrawArea a, b;
    a.AttachDrawing(&first);
    b.AttachDrawing(&second);
    c.draw(a);
    EXPECT_EQ(WordsOf(first), c.expected);
    const UI_PlayResult r = first.Play(b);
    EXPECT_TRUE(r.IsComplete()) << r.GetReason();
    EXPECT_EQ(r.position, first.GetCount());
    EXPECT_EQ(WordsOf(second), WordsOf(first));
    std::string text;
    UI_DrawingPlayer::Describe(first.GetWords(), first.GetCount(), text);
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')), r.played);
  }
}

// A random drawing call, with random arguments.
void RandomCall(UI_DrawArea& a, std::mt19937& rng) {
  auto v = [&] { return static_cast<long>(static_cast<std::int32_t>(rng())); };
  auto small = [&] { return static_cast<int>(rng() % 5); };
  std::vector<SYS_Point> pts(rng() % 6);
  for (SYS_Point& p : pts) p = SYS_Point(v(), v());
  const int n = static_cast<int>(pts.size());
  switch (rng() % 18) {
    case 0: a.PenColor(static_cast<std::uint32_t>(v())); break;
    case 1: a.MoveTo(SYS_Point(v(), v())); break;
    case 2: a.PaintOval(v(), v(), 1); break;
    case 3: a.FrameArc(v(), v(), SYS_Point(v(), v()), SYS_Point(v(), v()), 2); break;
    case 4: a.PolyLine(n, pts.data(), v(), 4); break;
    case 5: a.PolyPolyline(pts.data(), std::vector<unsigned long>{unsigned(n / 2), unsigned(n - n / 2)}.data(), 2); break;
    case 6: a.PolyPolygon(pts.data(), &n, 1, small()); break;
    case 7: a.DrawLine(SYS_Point(v(), v()), SYS_Point(v(), v()), v(), 5); break;
    case 8: a.TextPath(static_cast<double>(v())); break;
    case 9: a.DrawString(std::string(rng() % 9, 'q').c_str()); break;
    case 10: a.DrawXorText("t", small(), small(), SYS_Box(v(), v(), v(), v()), 1); break;
    case 11: {
      TextFont f;
      f.face.Set(std::string(rng() % 32, 'f').c_str()), f.height = static_cast<std::int32_t>(v()), a.SetTextFont(f);
      break;
    }
    case 12: a.FrameArc(SYS_Box(v(), v(), v(), v()), v() * 0.5, v() * 0.25, 7); break;
    case 13: a.PaintArea(CircleRegion(static_cast<int>(v() % 1000), 0, 50), 8); break;
    case 14: a.DrawTTFString("ttf", std::vector<CFontInfo>{{static_cast<std::int32_t>(v())}}.data()); break;
    case 15: a.PaintPoly(1, std::vector<_polyHead>{{n, 2}}.data(), pts.data()); break;
    case 16: a.DrawDotGrid(SYS_Point(v(), v()), v(), v(), SYS_Box(v(), v(), v(), v())); break;
    default: a.StartBatchDraw(1); break;
  }
}

// Random drawings: recorded, saved as a file, loaded and replayed, they come back word for
// word; any prefix plays up to a command boundary.
TEST(DrawingTest, RandomDrawingsRoundTripThroughFilesAndPrefixesStopCleanly) {
  TempDir dir;
  const std::string path = dir / "random.bxd";
  std::mt19937 rng(20261123);
  for (int iteration = 0; iteration < 200; ++iteration) {
    CDynamic first, loaded, second, partial;
    UI_DrawArea a, b, c;
    a.AttachDrawing(&first), b.AttachDrawing(&second), c.AttachDrawing(&partial);
    const int calls = 1 + static_cast<int>(rng() % 40);
    for (int i = 0; i < calls; ++i) RandomCall(a, rng);
    ASSERT_EQ(first.Save(path.c_str()), 1);
    ASSERT_EQ(ReadBytes(path).size(), 12 + 4 * first.GetCount());
    ASSERT_TRUE(loaded.Load(path.c_str()) == 1 && WordsOf(loaded) == WordsOf(first));
    EXPECT_TRUE(loaded.GetBounds() == first.GetBounds() && loaded.GetCursor() == first.GetCursor());
    ASSERT_TRUE(loaded.Play(b).IsComplete());
    ASSERT_EQ(WordsOf(second), WordsOf(first));
    EXPECT_EQ(second.GetBounds(), first.GetBounds());

    const std::size_t cut = rng() % first.GetCount();
    const UI_PlayResult r = UI_DrawingPlayer::Play(first.GetWords(), cut, c);
    ASSERT_LE(r.position, cut);
    EXPECT_EQ(partial.GetCount(), r.position);
    EXPECT_TRUE(std::equal(partial.GetWords(), partial.GetWords() + partial.GetCount(), first.GetWords()));
    EXPECT_TRUE(r.IsComplete() || r.status != UI_PlayStatus::UnknownCommand);
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 1);  // no temp left
}

TEST(DrawingTest, CorruptStreamsStopAtTheCommand) {
  using S = UI_PlayStatus;
  const Words circle = Concat({{41}, ImageWords(CircleRegion(0, 0, 10)), {1}});
  Words badRegion = circle, shortRegion(circle.begin(), circle.end() - 3);
  badRegion[1] += 4;  // declared length no longer matches the polygon
  struct Case { const char* name; Words words; S status; std::size_t position; } cases[] = {
      {"command 0", {4, 1, 2, 0}, S::UnknownCommand, 3}, {"command 51", {51}, S::UnknownCommand, 0},
      {"huge command", {1, 2, 0xFFFFFFFF}, S::UnknownCommand, 2}, {"MoveTo cut", {4, 1}, S::Truncated, 0},
      {"colour missing", {1, 3, 6, 1, 2}, S::Truncated, 2},
      {"PolyLine count past end", {11, 0x10000000, 0, 0, 1, 2}, S::BadCount, 0},
      {"PolyLine negative", {11, W(-1), 0, 0}, S::BadCount, 0},
      {"PolyPolyline total past end", {12, 2, 1, 0xFFFFFFFF, 1, 2}, S::BadCount, 0},
      {"PolyPolyline number past end", {12, 0x7FFFFFFF}, S::BadCount, 0},
      {"PolyPolygon negative count", {13, 1, W(-2), 0}, S::BadCount, 0},
      {"PolyPolygon missing fill", {13, 1, 1, 5, 5}, S::Truncated, 0},
      {"string without zero", {25, 1, 0x61616161}, S::BadString, 0}, {"string of zero words", {25, 0}, S::BadString, 0},
      {"string ends before its last word", {25, 2, 0x61, 0}, S::BadString, 0},
      {"string padding not zero", {25, 1, 0x41000061}, S::BadString, 0},
      {"string past end", {25, 5, 0}, S::BadCount, 0}, {"text arguments cut", {26, 1, 0x61, 1, 2, 3}, S::Truncated, 0},
      {"box text arguments cut", {26, 0x80000001, 0x61, 1, 2, 3, 4, 5}, S::Truncated, 0},
      {"font face too long", Concat({{35, 9}, Words(8, 0x41414141), {0, 1, 2, 3}}), S::BadString, 0},
      {"region length not words", {42, 9, 0}, S::BadRegion, 0},
      {"region length past end", {42, 4000, 0}, S::BadRegion, 0},
      {"region counts inconsistent", badRegion, S::BadRegion, 0}, {"region cut", shortRegion, S::BadRegion, 0},
      {"region colour missing", Words(circle.begin(), circle.end() - 1), S::Truncated, 0},
      {"PaintPoly heads past end", {44, 0x40000000, 1}, S::BadCount, 0},
      {"PaintPoly negative head", {44, 1, W(-1), 2}, S::BadCount, 0},
      {"PaintPoly points past end", {44, 1, 5, 2, 1, 2}, S::BadCount, 0},
      {"angles cut", {40, 1, 2, 3, 4, 0, 0, 0}, S::Truncated, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CDynamic d;
    UI_DrawArea area;
    area.AttachDrawing(&d);
    const UI_PlayResult r = UI_DrawingPlayer::Play(c.words.data(), c.words.size(), area);
    EXPECT_TRUE(r.status == c.status && r.position == c.position && r.command == c.words[c.position]) << r.GetReason();
    // Everything before the bad command was played, nothing of it.
    EXPECT_EQ(WordsOf(d), Words(c.words.begin(), c.words.begin() + static_cast<long>(c.position)));
    std::string text;
    UI_DrawingPlayer::Describe(c.words.data(), c.words.size(), text);
    EXPECT_NE(text.find("stopped at word"), std::string::npos);
  }
}

// A live surface that remembers what it was asked.
class LiveArea : public UI_DrawArea {
 public:
  SYS_Box DrawXorText(const char* text, int, int, long x, long y, int redraw) override {
    return Note("xor " + std::string(text) + " " + std::to_string(x), redraw, SYS_Box(x, y, x + 10, y + 10));
  }
  SYS_Box DrawXorText(const char* text, int, int, SYS_Box box, int redraw) override {
    return Note("xorbox " + std::string(text), redraw, box);
  }
  SYS_Box DrawReplaceText(const char* text, int, int, long, long, int redraw) override {
    return Note("replace " + std::string(text), redraw, SYS_Box(1, 1, 1, 1));
  }
  SYS_Box Note(const std::string& call, int redraw, SYS_Box box) { return calls.push_back(call + " " + std::to_string(redraw)), box; }
  std::vector<std::string> calls;
  std::vector<SYS_Box> redraws;

 protected:
  void RedrawDrawing(UI_DrawAreaImpl* impl, SYS_Box* box, int flag) override {
    EXPECT_EQ(flag, 1);
    EXPECT_NE(dynamic_cast<CDynamic*>(impl), nullptr);
    redraws.push_back(*box);
  }
};

TEST(DrawingTest, BatchesAndTextReachTheLiveTargetAndBoundsFollow) {
  CDynamic d;
  LiveArea live;
  d.SetLiveTarget(&live);
  UI_DrawArea a;
  a.AttachDrawing(&d);
  a.StartBatchDraw(1), a.StartBatchDraw(1);
  EXPECT_EQ(d.GetBatchDepth(), 2);
  a.FillRect(SYS_Box(0, 0, 10, 20), 1);
  a.EndBatchDraw(), a.EndBatchDraw();
  a.EndBatchDraw();  // at depth 0: no redraw, depth stays 0
  EXPECT_EQ(d.GetBatchDepth(), 0);
  EXPECT_EQ(live.redraws, (std::vector<SYS_Box>{SYS_Box(0, 0, 10, 20), SYS_Box(0, 0, 10, 20)}));
  EXPECT_EQ(a.DrawXorText("a", 0, 0, SYS_Point(5, 6), 1), SYS_Box(5, 6, 15, 16));
  EXPECT_EQ(a.DrawXorText("b", 0, 0, SYS_Box(1, 2, 3, 4), 1), SYS_Box(1, 2, 3, 4));
  EXPECT_EQ(a.DrawReplaceText("c", 0, 0, SYS_Point(5, 6), 1), SYS_Box(1, 1, 1, 1));
  EXPECT_EQ(live.calls, (std::vector<std::string>{"xor a 5 0", "xorbox b 0", "replace c 0"}));
  EXPECT_EQ(d.GetWords()[d.GetCount() - 1], 1u);  // the recording keeps the caller's last argument

  // Bounds follow what is drawn, pen widths included; a clear forgets them.
  CDynamic e;
  a.AttachDrawing(&e);
  SYS_Point pts[] = {SYS_Point(-50, 0), SYS_Point(0, 70), SYS_Point(20, 0)};
  a.PolyLine(3, pts, 10, 1);
  a.PaintOval(SYS_Point(200, 200), 40L, 1);
  a.PaintArea(CircleRegion(0, -300, 10), 2);
  EXPECT_EQ(e.GetBounds(), SYS_Box(-55, -310, 220, 220));
  e.Clear();
  EXPECT_TRUE(e.GetCount() == 0 && !e.GetBounds().IsValid());
}

TEST(DrawingTest, NothingAttachedRecordsNothingAndDefaultsAreNeutral) {
  UI_DrawArea a;
  SYS_Point origin(3, 3);
  a.MoveTo(SYS_Point(1, 1)), a.StartBatchDraw(1), a.EndBatchDraw(), a.PenSize(40);
  EXPECT_TRUE(a.DrawXorText("x", 0, 0, 1L, 1L, 0) == SYS_Box() && a.GetAttachedDrawing() == nullptr);
  EXPECT_TRUE(a.GetPenSize() == 0 && a.GetPenCap() == 0 && a.GetPenColor() == SYS_CompositeColor() && a.GetTextLen("abc") == 0);
  EXPECT_TRUE(a.GetScale(&origin) == 1.0 && a.SetScale(2.0, &origin, 1) == 0 && a.GetPixelSize() == 0.0);
  EXPECT_TRUE(a.World2Screen(SYS_Point(10, 20)) == CPoint(10, 20) && a.Screen2World(CRect(1, 2, 3, 4)) == SYS_Box(1, 2, 3, 4));
  EXPECT_EQ(std::unique_ptr<UI_DrawArea>(a.Clone())->GetAttachedDrawing(), nullptr);
}

TEST(DrawingTest, BadFilesAreRefusedAndLeaveTheDrawingAlone) {
  TempDir dir;
  CDynamic good;
  UI_DrawArea a;
  a.AttachDrawing(&good);
  a.MoveTo(SYS_Point(1, 2));
  const std::string goodPath = dir / "good.bxd";
  WriteBytes(goodPath, {'o', 'l', 'd'});
  ASSERT_EQ(good.Save(goodPath.c_str()), 1);  // replaces what was there
  const std::vector<unsigned char> base = ReadBytes(goodPath);
  EXPECT_EQ(base, (std::vector<unsigned char>{'B', 'X', 'D', 'W', 1, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}));
  EXPECT_EQ(good.Save((dir / "missing/x.bxd").c_str()), 0);

  auto with = [&](std::function<void(std::vector<unsigned char>&)> change) { auto b = base; return change(b), b; };
  const struct { const char* name; std::vector<unsigned char> bytes; } cases[] = {
      {"empty", {}}, {"short header", {'B', 'X', 'D'}}, {"bad magic", with([](auto& b) { b[0] = 'b'; })},
      {"bad version", with([](auto& b) { b[4] = 2; })}, {"count too large", with([](auto& b) { b[8] = 4; })},
      {"count too small", with([](auto& b) { b[8] = 2; })},
      {"absurd count", with([](auto& b) { b[8] = b[9] = b[10] = b[11] = 0xFF; })},
      {"truncated", with([](auto& b) { b.pop_back(); })}, {"trailing byte", with([](auto& b) { b.push_back(0); })},
      {"unknown command", with([](auto& b) { b[12] = 99; })}, {"command cut", with([](auto& b) { b[12] = 3; })},
  };
  const std::string path = dir / "bad.bxd";
  for (const auto& c : cases) {
    WriteBytes(path, c.bytes);
    CDynamic d;
    d.Append(1), d.Append(9);
    EXPECT_EQ(d.Load(path.c_str()), 0) << c.name;
    EXPECT_EQ(WordsOf(d), (Words{1, 9})) << c.name;
  }
  CDynamic d;
  std::filesystem::create_symlink(goodPath, dir / "link.bxd");
  EXPECT_EQ(d.Load((dir / "link.bxd").c_str()), 0);  // never through a link
  EXPECT_EQ(d.Load(dir.path.c_str()), 0);             // not a regular file
  ASSERT_EQ(::mkfifo((dir / "fifo.bxd").c_str(), 0600), 0);
  EXPECT_EQ(d.Load((dir / "fifo.bxd").c_str()), 0);  // refused without waiting for a writer
  EXPECT_EQ(d.Load((dir / "none.bxd").c_str()), 0);
  errno = 0;
  EXPECT_TRUE(d.Load(nullptr) == 0 && errno == EINVAL);
  UI_PlayResult why;
  EXPECT_EQ(d.LoadImage(cases[10].bytes.data(), cases[10].bytes.size(), &why), 0);
  EXPECT_EQ(why.status, UI_PlayStatus::Truncated);
  EXPECT_EQ(d.Load(goodPath.c_str()), 1);
  EXPECT_EQ(WordsOf(d), WordsOf(good));
}

TEST(DrawingTest, ProcessorShowsChangesOnTheLiveSurfaceAndReportsABadStreamOnce) {
  CDynamic shown;
  UI_DrawArea live, editor;
  live.AttachDrawing(&shown);
  CDrawAreaProcessor processor(&live);
  CDynamic* board = processor.Attach("board", editor);
  EXPECT_TRUE(processor.GetDrawing("board") == board && processor.FindDrawing("other") == nullptr);
  EXPECT_EQ(board->GetLiveTarget(), &processor);
  const Words batch = {1, 15, 2, W(-1)};  // what each batch of the live surface starts with

  // Outside a batch every command is shown at once, in a batch of the live surface.
  editor.MoveTo(SYS_Point(1, 2));
  EXPECT_TRUE(WordsOf(shown) == Concat({batch, {4, 1, 2}}) && processor.GetShown("board") == 3u);
  // Inside a batch the words wait until the outermost batch closes.
  shown.Clear();
  editor.StartBatchDraw(1), editor.StartBatchDraw(1);
  editor.DrawCross(SYS_Point(5, 5), 2);
  editor.EndBatchDraw();
  EXPECT_EQ(shown.GetCount(), 0u);
  editor.EndBatchDraw();
  EXPECT_TRUE(WordsOf(shown) == Concat({batch, batch, batch, {15, 5, 5, 2}}) && processor.GetShown("board") == board->GetCount());
  // Text reaches the live surface once: drawn when recorded, skipped by the replay.
  shown.Clear();
  editor.DrawXorText("T", 0, 0, 7L, 8L, 1);
  EXPECT_EQ(WordsOf(shown), Concat({batch, {26, 1, 'T', 0, 0, 7, 8, 0}}));
  shown.Clear();  // a full redraw plays everything, text included
  EXPECT_TRUE(processor.Replay("board").IsComplete());
  EXPECT_EQ(std::count(shown.GetWords(), shown.GetWords() + shown.GetCount(), 26u), 1);
  EXPECT_EQ((board->Clear(), processor.GetShown("board")), 0u);  // a clear starts again from the first word
  editor.AttachDrawing(nullptr);
  EXPECT_TRUE(processor.RemoveDrawing("board") == 1 && processor.RemoveDrawing("board") == 0);

  shown.Clear();
  CDynamic* raw = processor.GetDrawing("raw");
  raw->Append(4);  // a MoveTo without its point
  EXPECT_TRUE(processor.GetLastFailure().status == UI_PlayStatus::Truncated && processor.GetShown("raw") == 1u);
  EXPECT_EQ(WordsOf(shown), batch);
}

}  // namespace
