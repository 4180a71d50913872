// brixres_ENU.cpp - the English resource module of the library (texts in UTF-8).
#include "resmodule.h"

namespace {

// The same texts as the built-in table.
constexpr brixres::Text kTexts[] = {
#define BRIX_TEXT(number, text) {number, text},
#include "../system/sfm/sfmstrtab_en.inc"
#undef BRIX_TEXT
};

}  // namespace

const char* BrixResourceString(int id) { return brixres::Find(kTexts, id); }
