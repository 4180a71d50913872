// drawwords.h - internal: the word encodings shared by the draw area's recorder and the player.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace brix::drawwords {

/// Bit 31 of the string word of command 26 marks the box form of the text command (seven
/// trailing words instead of five), so that a replay can tell the two forms apart.
inline constexpr std::uint32_t kBoxTextFlag = 0x80000000u;
/// The longest string a command carries, in bytes without the terminating zero.
inline constexpr std::size_t kMaxStringBytes = 0x00FFFFFF;

inline std::uint32_t Word(long v) { return static_cast<std::uint32_t>(v); }

/// Words of a string of `length` bytes: (length + 4) / 4, the zero included.
inline std::size_t StringWords(std::size_t length) { return (length + 4) / 4; }

/// Writes the string's bytes, its zero and zero padding into `n` words.
inline void PutString(std::uint32_t* out, const char* text, std::size_t length, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    std::uint32_t w = 0;
    for (std::size_t b = 0; b < 4; ++b) {
      const std::size_t at = i * 4 + b;
      if (at < length) w |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[at])) << (8 * b);
    }
    out[i] = w;
  }
}

/// A double as two words, low half first.
inline void PutDouble(std::uint32_t* out, double v) {
  const auto bits = std::bit_cast<std::uint64_t>(v);
  out[0] = static_cast<std::uint32_t>(bits);
  out[1] = static_cast<std::uint32_t>(bits >> 32);
}
inline double GetDouble(const std::uint32_t* in) {
  return std::bit_cast<double>(in[0] | static_cast<std::uint64_t>(in[1]) << 32);
}

}  // namespace brix::drawwords
