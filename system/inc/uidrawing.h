// uidrawing.h - recorded drawings (CDynamic), their player and file form, and the draw-area
// processor that keeps named drawings shown on a live surface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "brixexport.h"
#include "sccevent.h"
#include "sysgeom.h"
#include "uidrawarea.h"

/// Why a replay stopped.
enum class UI_PlayStatus : std::int32_t {
  Complete = 0,        ///< every command was played
  UnknownCommand = 1,  ///< the command number is not 1 ... 50
  Truncated = 2,       ///< the command's words run past the end of the stream
  BadCount = 3,        ///< a count or size is negative or larger than the stream could hold
  BadString = 4,       ///< a string is not laid out as recorded (zero missing or early, padding not zero)
  BadRegion = 5,       ///< a region image is malformed
};

/// The outcome of a replay: where it stopped and why, and the player's state there.
struct BRIX_API UI_PlayResult {
  UI_PlayStatus status = UI_PlayStatus::Complete;
  /// The word at which the replay stopped: the end of the stream when complete, else the
  /// first word (the number) of the command that could not be played.
  std::size_t position = 0;
  /// That command's number (0 when complete).
  std::uint32_t command = 0;
  /// Commands played.
  std::size_t played = 0;
  /// The current position, pen colour and pen size after the last played command.
  SYS_Point cursor;
  SYS_CompositeColor penColor;
  long penSize = 0;

  bool IsComplete() const { return status == UI_PlayStatus::Complete; }
  /// A short English text for the status ("unknown command", ...).
  const char* GetReason() const;
};

/// Replays a command stream, as a UI_DrawArea records it, into any draw area, command by
/// command. It never reads past the end of the stream and never allocates more than the
/// stream's remaining words could describe; a malformed command stops the replay before it.
class BRIX_API UI_DrawingPlayer {
 public:
  /// Play flag: text commands (26) are read but not drawn.
  static constexpr unsigned kSkipText = 1;

  /// Plays words [from, count) of `words` into `target`. With `pause` below `count` the
  /// replay also ends, complete, before the first command that begins at or after word
  /// `pause`; its result's position is where the next call goes on (long replays in steps).
  static UI_PlayResult Play(const std::uint32_t* words, std::size_t count, UI_DrawArea& target,
                            std::size_t from = 0, unsigned flags = 0,
                            std::size_t pause = SIZE_MAX);
  /// Writes one line per command ("4 MoveTo 10 20") to `out`, and a last line naming the
  /// reason when the stream is malformed. Answers the replay's result.
  static UI_PlayResult Describe(const std::uint32_t* words, std::size_t count, std::string& out);
  /// The name of a command number, or null when there is none.
  static const char* CommandName(std::uint32_t command);
  /// The highest command number.
  static constexpr std::uint32_t kLastCommand = 50;
};

/// A recorded drawing: the growing list of 32-bit command words that draw areas append to,
/// the change event raised after each append, the batch depth, the live target it is shown
/// on and the world bounds of what it holds.
///
/// Each recorded command is appended whole and then raises the change event once: code 1
/// (inserted) with a pointer to the new word count as an int. The live target is not owned.
class BRIX_API CDynamic : public UI_DrawAreaImpl {
 public:
  /// The largest number of words a drawing holds (and a file may declare): 2^28 (1 GiB).
  static constexpr std::size_t kMaxWords = std::size_t{1} << 28;
  /// The first word of a drawing file ("BXDW" in file order), and its format version.
  static constexpr std::uint32_t kFileMagic = 0x57445842u;
  static constexpr std::uint32_t kFileVersion = 1;

  CDynamic();
  ~CDynamic() override;
  CDynamic(const CDynamic&) = delete;
  CDynamic& operator=(const CDynamic&) = delete;

  /// Appends one word and raises the change event.
  void Append(std::uint32_t word) {
    if (words_.size() >= kMaxWords) TooLarge();
    words_.push_back(word);
    RaiseChanged();
  }
  /// Appends `count` words and raises the change event once.
  void Append(const std::uint32_t* words, std::size_t count) {
    if (count > kMaxWords - words_.size()) TooLarge();
    words_.insert(words_.end(), words, words + count);
    RaiseChanged();
  }
  /// Makes room for `count` more words at the end and answers where they go; the caller
  /// fills them and then calls RaiseChanged. Throws std::length_error past kMaxWords.
  std::uint32_t* Extend(std::size_t count) {
    if (count > kMaxWords - words_.size()) TooLarge();
    const std::size_t at = words_.size();
    words_.resize(at + count);
    return words_.data() + at;
  }
  /// Raises the change event with the current word count.
  void RaiseChanged() {
    if (changed_.IsEmpty()) return;
    int count = static_cast<int>(words_.size());
    changed_.Raise(1, &count);
  }

  const std::uint32_t* GetWords() const { return words_.data(); }
  std::size_t GetCount() const { return words_.size(); }
  /// Empties the drawing: no words, invalid bounds, position (0, 0), batch depth 0. Raises
  /// the change event with code 6 (cleared) and no payload.
  void Clear();
  /// The event hooks subscribe to.
  SCC_Event<int>* GetChangeEvent() { return &changed_; }

  /// Batch depth: StartBatchDraw raises it, EndBatchDraw lowers it (never below 0).
  int GetBatchDepth() const { return batchDepth_; }
  void OpenBatch() { ++batchDepth_; }
  void CloseBatch() {
    if (batchDepth_ > 0) --batchDepth_;
  }

  /// The live surface the drawing is shown on (used by text commands and batch ends).
  UI_DrawArea* GetLiveTarget() const { return liveTarget_; }
  void SetLiveTarget(UI_DrawArea* target) { liveTarget_ = target; }

  /// The world box of everything recorded (the invalid box while nothing has extent).
  const SYS_Box& GetBounds() const { return bounds_; }
  void ExtendBounds(const SYS_Box& box);
  void ExtendBounds(const SYS_Point& p, long halfWidth = 0);
  /// The current position as recording has moved it (MoveTo, LineTo and relative forms).
  const SYS_Point& GetCursor() const { return cursor_; }
  void SetCursor(const SYS_Point& p) { cursor_ = p; }

  /// Replays the words from `from` on into `target`.
  UI_PlayResult Play(UI_DrawArea& target, std::size_t from = 0) const {
    return UI_DrawingPlayer::Play(words_.data(), words_.size(), target, from);
  }

  /// Writes the drawing to `path`: magic, version and word count, then the words, all
  /// little-endian 32-bit. The file is replaced atomically (a temporary file beside it,
  /// synced, renamed over it). Answers 1, or 0 with errno set.
  int Save(const char* path) const;
  /// Replaces the drawing by the file's (a regular file, not followed through a symbolic
  /// link, whose size matches its header exactly and whose words replay completely). The
  /// words are re-recorded, which also rebuilds the bounds. Answers 1; on 0 the drawing is
  /// unchanged and `result`, when given, says why a stream was refused.
  int Load(const char* path, UI_PlayResult* result = nullptr);
  /// The same for file contents already in memory.
  int LoadImage(const unsigned char* data, std::size_t size, UI_PlayResult* result = nullptr);

 private:
  [[noreturn]] static void TooLarge();

  std::vector<std::uint32_t> words_;
  SCC_Event<int> changed_;
  int batchDepth_ = 0;
  UI_DrawArea* liveTarget_ = nullptr;
  SYS_Box bounds_;
  SYS_Point cursor_;
};

/// Keeps named drawings and shows them on a live surface.
///
/// The processor is itself a draw area: it supplies GetDrawing(name), creating a drawing on
/// first request, and it is the live target of its drawings. Recording happens on any draw
/// area a drawing is attached to (AttachDrawing). Whenever a drawing's change event reports
/// new words outside a batch, the processor replays the words not yet shown onto the live
/// surface, inside a batch of the live surface (StartBatchDraw/EndBatchDraw). Inside a batch
/// the words wait; when the outermost batch of the drawing closes (EndBatchDraw asks its live
/// target, the processor, to redraw it), they are replayed the same way. Text commands draw
/// on the live surface as they are recorded; their replay is skipped so that XOR text is not
/// drawn twice. Replay(name) replays a whole drawing, text included.
class BRIX_API CDrawAreaProcessor : public UI_DrawArea {
 public:
  /// `live` is not owned and may be null (then nothing is shown).
  explicit CDrawAreaProcessor(UI_DrawArea* live);
  ~CDrawAreaProcessor() override;

  /// The drawing of that name, created empty on first request (a null name is "").
  CDynamic* GetDrawing(const char* name) override;
  /// The drawing of that name, or null; never creates one.
  CDynamic* FindDrawing(const char* name) const;
  /// Attaches the named drawing to `area` so that `area` records into it.
  CDynamic* Attach(const char* name, UI_DrawArea& area);
  /// Deletes the named drawing; draw areas it is attached to must be detached first.
  /// Answers 1 when it existed.
  int RemoveDrawing(const char* name);
  /// The names of the drawings in order.
  std::vector<std::string> GetNames() const;

  UI_DrawArea* GetLiveSurface() const { return live_; }
  void SetLiveSurface(UI_DrawArea* live) { live_ = live; }
  /// Replays the whole named drawing onto the live surface in a batch; answers the result.
  UI_PlayResult Replay(const char* name);
  /// The word up to which the named drawing has been shown (0 for an unknown name).
  std::size_t GetShown(const char* name) const;
  /// The result of the last replay that stopped early, for diagnosis.
  const UI_PlayResult& GetLastFailure() const { return lastFailure_; }

  /// Text goes to the live surface, with the arguments as given.
  SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, SYS_Box box, int redraw) override;
  SYS_Box DrawXorText(const char* text, int hAlign, int vAlign, long x, long y,
                      int redraw) override;
  SYS_Box DrawReplaceText(const char* text, int hAlign, int vAlign, long x, long y,
                          int redraw) override;
  using UI_DrawArea::DrawReplaceText;
  using UI_DrawArea::DrawXorText;

 protected:
  /// Called by EndBatchDraw of a draw area recording one of our drawings: replays the waiting
  /// words when the outermost batch closes.
  void RedrawDrawing(UI_DrawAreaImpl* impl, SYS_Box* box, int flag) override;

 private:
  struct Entry;
  Entry* FindEntry(const CDynamic* drawing) const;
  void Flush(Entry& entry);

  UI_DrawArea* live_;
  std::map<std::string, std::unique_ptr<Entry>> drawings_;
  UI_PlayResult lastFailure_;
};
