// cairo_palette.cpp - default board-layer colours and colour arithmetic.
#include "cairo_palette.h"

namespace brix::cairo_pal {

const std::array<std::uint32_t, kSize>& Defaults() {
  // Dark background; copper layers in saturated colours that stay apart when they overlap;
  // 15 is white because a batch starts by choosing pen colour 15.
  static constexpr std::array<std::uint32_t, kSize> kDefaults = {
      Rgb(0, 0, 0),        //  0 background
      Rgb(208, 48, 48),    //  1 top copper
      Rgb(48, 96, 224),    //  2 bottom copper
      Rgb(224, 192, 48),   //  3 inner copper 1
      Rgb(48, 176, 80),    //  4 inner copper 2
      Rgb(240, 240, 160),  //  5 top silkscreen
      Rgb(160, 160, 240),  //  6 bottom silkscreen
      Rgb(96, 32, 96),     //  7 top solder mask
      Rgb(32, 96, 96),     //  8 bottom solder mask
      Rgb(160, 112, 112),  //  9 top paste
      Rgb(112, 112, 160),  // 10 bottom paste
      Rgb(208, 208, 208),  // 11 drill holes and vias
      Rgb(240, 208, 0),    // 12 board outline
      Rgb(224, 0, 224),    // 13 keep-out
      Rgb(96, 96, 96),     // 14 grid
      Rgb(255, 255, 255),  // 15 foreground
      Rgb(255, 255, 0),    // 16 highlight 0: selection
      Rgb(0, 255, 255),    // 17 highlight 1: net
      Rgb(255, 128, 0),    // 18 highlight 2: error
      Rgb(128, 255, 0),    // 19 highlight 3: search result
      Rgb(192, 96, 48),    // 20 inner copper 3
      Rgb(96, 48, 192),    // 21 inner copper 4
      Rgb(48, 192, 192),   // 22 inner copper 5
      Rgb(192, 48, 128),   // 23 inner copper 6
      Rgb(128, 128, 48),   // 24 assembly top
      Rgb(48, 128, 128),   // 25 assembly bottom
      Rgb(128, 64, 0),     // 26 courtyard
      Rgb(0, 128, 64),     // 27 dimensions
      Rgb(64, 64, 160),    // 28 ratsnest
      Rgb(160, 64, 64),    // 29 design-rule markers
      Rgb(176, 176, 176),  // 30 user layer 1
      Rgb(128, 128, 128),  // 31 user layer 2
  };
  return kDefaults;
}

int Luminosity(std::uint32_t rgb) {
  return static_cast<int>((299 * Red(rgb) + 587 * Green(rgb) + 114 * Blue(rgb) + 500) / 1000);
}

std::uint32_t Dim(std::uint32_t rgb, int percent) {
  auto scale = [percent](unsigned c) { return (c * static_cast<unsigned>(percent) + 50) / 100; };
  return Rgb(scale(Red(rgb)), scale(Green(rgb)), scale(Blue(rgb)));
}

}  // namespace brix::cairo_pal
