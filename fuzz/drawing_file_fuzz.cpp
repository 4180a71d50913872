// drawing_file_fuzz.cpp - feeds arbitrary bytes to the drawing-file loader.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "uidrawing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::unique_ptr<unsigned char[]> bytes(new unsigned char[size ? size : 1]);
  if (size) std::memcpy(bytes.get(), data, size);

  CDynamic drawing;
  UI_PlayResult why;
  if (!drawing.LoadImage(bytes.get(), size, &why)) {
    if (drawing.GetCount() != 0) abort();
    return 0;
  }
  // A loaded file holds exactly the words it declared.
  if (12 + 4 * drawing.GetCount() != size) abort();
  for (std::size_t i = 0; i < drawing.GetCount(); ++i) {
    const unsigned char* w = data + 12 + 4 * i;
    if (drawing.GetWords()[i] != (w[0] | w[1] << 8 | w[2] << 16 | static_cast<std::uint32_t>(w[3]) << 24))
      abort();
  }
  CDynamic copy;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&copy);
  if (!drawing.Play(recorder).IsComplete()) abort();
  return 0;
}
