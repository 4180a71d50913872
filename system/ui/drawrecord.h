// drawrecord.h - internal: small helpers of the draw area's recorder.
#pragma once

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <stdexcept>

#include "uidrawing.h"
#include "ui/drawwords.h"

namespace brix::drawrecord {

using brix::drawwords::Word;

/// Appends one command whole, so that the change event is raised once for it.
inline void Record(CDynamic* d, std::initializer_list<std::uint32_t> words) {
  d->Append(words.begin(), words.size());
}

/// Writes the box's four words; returns the word after them.
inline std::uint32_t* PutBox(std::uint32_t* out, const SYS_Box& b) {
  out[0] = Word(b.GetLeft());
  out[1] = Word(b.GetLower());
  out[2] = Word(b.GetRight());
  out[3] = Word(b.GetUpper());
  return out + 4;
}

/// The box of the oval or box of that size about `c`.
inline SYS_Box BoxAbout(const SYS_Point& c, long width, long height) {
  const long hw = std::abs(static_cast<std::int32_t>(width)) / 2;
  const long hh = std::abs(static_cast<std::int32_t>(height)) / 2;
  return SYS_Box(c.GetX() - hw, c.GetY() - hh, c.GetX() + hw, c.GetY() + hh);
}

/// The length of a string a command carries; longer than kMaxStringBytes throws.
inline std::size_t CheckedLength(const char* text) {
  const std::size_t length = text ? std::strlen(text) : 0;
  if (length > brix::drawwords::kMaxStringBytes) throw std::length_error("drawing string too long");
  return length;
}

}  // namespace brix::drawrecord
