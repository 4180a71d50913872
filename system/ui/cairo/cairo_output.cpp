// cairo_output.cpp - in-memory cairo streams and the atomic replacement of output files.
#include "cairo_output.h"

#include "platform/fs_posix.h"

#include <cctype>
#include <cerrno>
#include <cstring>

namespace brix::cairo_out {

bool FormatFromPath(const char* path, Format& format) {
  if (!path) return false;
  const char* dot = std::strrchr(path, '.');
  if (!dot || std::strchr(dot, '/')) return false;
  std::string ext;
  for (const char* c = dot + 1; *c; ++c)
    ext.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(*c))));
  if (ext == "png") format = Format::Png;
  else if (ext == "svg") format = Format::Svg;
  else if (ext == "pdf") format = Format::Pdf;
  else return false;
  return true;
}

cairo_status_t Sink::Write(void* self, const unsigned char* data, unsigned int length) {
  try {
    static_cast<Sink*>(self)->bytes_.append(reinterpret_cast<const char*>(data), length);
  } catch (...) {
    return CAIRO_STATUS_NO_MEMORY;
  }
  return CAIRO_STATUS_SUCCESS;
}

int ReplaceFile(const std::string& path, const std::string& bytes) {
  return brix::fs::ReplaceContents(path.c_str(), bytes.data(), bytes.size()) ? 1 : 0;
}

}  // namespace brix::cairo_out
