// drawing_play_fuzz.cpp - feeds arbitrary command streams to the drawing player, replaying
// into a recording draw area and describing them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "uidrawing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Whole words only, in a heap block of exactly that many, so a read past the end is caught.
  const size_t count = size / 4;
  std::unique_ptr<std::uint32_t[]> words(new std::uint32_t[count ? count : 1]);
  if (count) std::memcpy(words.get(), data, count * 4);

  CDynamic drawing;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&drawing);
  const UI_PlayResult r = UI_DrawingPlayer::Play(words.get(), count, recorder);
  if (r.position > count) abort();
  if (r.IsComplete() != (r.position == count)) abort();
  // Everything the player accepts records again word for word.
  if (drawing.GetCount() != r.position) abort();
  if (r.position && std::memcmp(drawing.GetWords(), words.get(), 4 * r.position) != 0) abort();

  // What played records again as a stream that replays to the same words.
  CDynamic again;
  UI_DrawArea second;
  second.AttachDrawing(&again);
  const UI_PlayResult r2 = drawing.Play(second);
  if (!r2.IsComplete() || r2.played != r.played || again.GetCount() != drawing.GetCount())
    abort();
  if (drawing.GetCount() &&
      std::memcmp(again.GetWords(), drawing.GetWords(), 4 * drawing.GetCount()) != 0)
    abort();

  std::string text;
  UI_DrawingPlayer::Describe(words.get(), count, text);
  return 0;
}
