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

/// Replaces `path` with `bytes` as every file of the library is replaced
/// (brix::fs::ReplaceContents). Returns 1 on success, 0 with errno set.
int ReplaceFile(const std::string& path, const std::string& bytes);

}  // namespace brix::cairo_out
