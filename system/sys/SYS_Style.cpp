// SYS_Style.cpp - text styles, texts and fill-style information.
#include "sysstyle.h"

SYS_TextStyle::SYS_TextStyle() = default;
SYS_TextStyle::SYS_TextStyle(const SYS_TextStyle& other) = default;
SYS_TextStyle::~SYS_TextStyle() = default;
SYS_TextStyle& SYS_TextStyle::operator=(const SYS_TextStyle& other) = default;

int SYS_TextStyle::SetFont(const SYS_String& font) {
  font_ = font;
  return 1;
}

SYS_Text::SYS_Text() = default;
SYS_Text::SYS_Text(const SYS_Text& other) = default;
SYS_Text::~SYS_Text() = default;
SYS_Text& SYS_Text::operator=(const SYS_Text& other) = default;

int SYS_Text::SetString(const SYS_String& s) {
  string_ = s;
  return 1;
}

bool SYS_FillStyleInfo::operator==(const SYS_FillStyleInfo& o) const {
  return style_ == o.style_ && d_ == o.d_ && a_ == o.a_ && b_ == o.b_ &&
         origin_.GetX() == o.origin_.GetX() && origin_.GetY() == o.origin_.GetY() &&
         data_ == o.data_;
}
