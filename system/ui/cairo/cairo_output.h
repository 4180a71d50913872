// cairo_output.h - writing rendered pictures: PNG, SVG and PDF streams into a file that is
// replaced atomically.
#pragma once

#include <cairo.h>

#include <string>

namespace brix::cairo_out {

/// The file formats the renderer writes.
enum class Format { Png, Svg, Pdf };

/// The format named by the path's extension (".png", ".svg", ".pdf", any letter case);
/// false when the extension names none of them.
bool FormatFromPath(const char* path, Format& format);

/// Collects a cairo output stream in memory; cairo calls Write for every chunk.
class Sink {
 public:
  static cairo_status_t Write(void* self, const unsigned char* data, unsigned int length);
  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Replaces `path` with `bytes`: a temporary file beside it, synced and renamed over the
/// target, then the directory synced. An existing target that is not a regular file (a
/// directory, a device, a symbolic link) is left alone and the call fails. Returns 1 on
/// success, 0 on failure with errno set and nothing left behind.
int ReplaceFile(const std::string& path, const std::string& bytes);

}  // namespace brix::cairo_out
