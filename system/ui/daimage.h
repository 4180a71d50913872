// daimage.h - internal: little-endian words of the outline and region byte images.
#pragma once

#include <cstddef>
#include <cstdint>

namespace brix::daimage {

/// Writes `v` as four little-endian bytes; returns the byte after them.
inline char* Put32(char* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<char>(v >> (8 * i));
  return p + 4;
}

/// Writes `v` as eight little-endian bytes; returns the byte after them.
inline char* Put64(char* p, std::uint64_t v) {
  return Put32(Put32(p, static_cast<std::uint32_t>(v)), static_cast<std::uint32_t>(v >> 32));
}

/// Reads four little-endian bytes.
inline std::uint32_t Get32(const char* p) {
  std::uint32_t v = 0;
  for (int i = 0; i < 4; ++i)
    v |= static_cast<std::uint32_t>(static_cast<unsigned char>(p[i])) << (8 * i);
  return v;
}

/// Reads eight little-endian bytes.
inline std::uint64_t Get64(const char* p) {
  return Get32(p) | static_cast<std::uint64_t>(Get32(p + 4)) << 32;
}

/// Reads a signed 32-bit word.
inline std::int32_t GetInt(const char* p) { return static_cast<std::int32_t>(Get32(p)); }

/// The size an image declares in its first word, or 0 when it is shorter than `header`
/// bytes (the loader then refuses it).
inline std::size_t DeclaredSize(const char* image, std::int64_t header) {
  const std::int32_t declared = GetInt(image);
  return declared < header ? 0 : static_cast<std::size_t>(declared);
}

}  // namespace brix::daimage
