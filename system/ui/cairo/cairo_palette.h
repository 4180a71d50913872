// cairo_palette.h - the colour palette of the cairo draw area: board-layer defaults, current
// colours, brightness and highlight colours.
#pragma once

#include <array>
#include <cstdint>

namespace brix::cairo_pal {

/// Number of palette entries.
inline constexpr int kSize = 32;
/// Number of highlight levels (palette entries kHighlightFirst ...).
inline constexpr int kHighlightCount = 4;
inline constexpr int kHighlightFirst = 16;
/// Brightness is a percentage applied to every drawn colour.
inline constexpr int kBrightnessMin = 0;
inline constexpr int kBrightnessMax = 100;

/// A colour 0x00BBGGRR (red in the low byte), the layout of the palette's RGB values.
constexpr std::uint32_t Rgb(unsigned r, unsigned g, unsigned b) { return r | (g << 8) | (b << 16); }
constexpr unsigned Red(std::uint32_t c) { return c & 0xff; }
constexpr unsigned Green(std::uint32_t c) { return (c >> 8) & 0xff; }
constexpr unsigned Blue(std::uint32_t c) { return (c >> 16) & 0xff; }

/// The default palette (see docs/rendering.md for what each entry is for).
const std::array<std::uint32_t, kSize>& Defaults();

/// Perceived luminosity 0 ... 255 of a colour (ITU-R BT.601 weights, rounded).
int Luminosity(std::uint32_t rgb);

/// `rgb` with each channel scaled by percent / 100.
std::uint32_t Dim(std::uint32_t rgb, int percent);

}  // namespace brix::cairo_pal
