// fuzz_input.h - the input layout shared by the text fuzz targets: one byte choosing
// the locale (bit 0: UTF-8 when available, else "C"), then two texts separated by the
// first NUL (a missing NUL leaves the second text empty).
#pragma once

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

/// Sets LC_CTYPE as the first byte asks and returns the two texts that follow it.
/// `size` must be at least 1.
inline std::pair<std::string, std::string> SplitFuzzInput(const std::uint8_t* data,
                                                          std::size_t size) {
  static const bool utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  std::setlocale(LC_CTYPE, (data[0] & 1) && utf8 ? "C.UTF-8" : "C");
  const char* begin = reinterpret_cast<const char*>(data + 1);
  const std::size_t rest = size - 1;
  const char* nul = static_cast<const char*>(std::memchr(begin, 0, rest));
  std::string first(begin, nul ? static_cast<std::size_t>(nul - begin) : rest);
  std::string second = nul ? std::string(nul + 1, begin + rest) : std::string();
  return {std::move(first), std::move(second)};
}
