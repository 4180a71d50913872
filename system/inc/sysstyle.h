// sysstyle.h - text styles, text attributes, texts and fill-style information.
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sysgeom.h"
#include "sysstring.h"

/// How text looks: a font name and a character height and width in database units.
class BRIX_API SYS_TextStyle {
 public:
  SYS_TextStyle();
  SYS_TextStyle(const SYS_TextStyle& other);
  ~SYS_TextStyle();
  SYS_TextStyle& operator=(const SYS_TextStyle& other);

  /// A copy of the font name (empty by default).
  SYS_String GetFont() const { return font_; }
  long GetHeight() const { return height_; }
  long GetWidth() const { return width_; }
  /// Setters return 1.
  int SetFont(const SYS_String& font);
  int SetHeight(long height) {
    height_ = static_cast<std::int32_t>(height);
    return 1;
  }
  int SetWidth(long width) {
    width_ = static_cast<std::int32_t>(width);
    return 1;
  }

 private:
  SYS_String font_;
  std::int32_t height_ = 0;
  std::int32_t width_ = 0;
};

/// Where and how a text is placed: a style and a position.
///
/// The style is referenced, not owned: SetStyle keeps the address of the style it is given,
/// which must outlive these attributes. Copies share that address, never the style itself.
class BRIX_API SYS_TextAttributes {
 public:
  SYS_TextAttributes() = default;
  SYS_TextAttributes(const SYS_TextAttributes&) = default;
  SYS_TextAttributes& operator=(const SYS_TextAttributes&) = default;

  /// The referenced style, or null when none was set.
  const SYS_TextStyle* GetStyle() const { return style_; }
  /// Keeps the address of `style`; returns 1.
  int SetStyle(const SYS_TextStyle& style) {
    style_ = &style;
    return 1;
  }
  /// A temporary would be gone before the attributes are read.
  int SetStyle(const SYS_TextStyle&& style) = delete;
  /// A copy of the position (origin, orientation and mirror flag).
  SYS_Position GetPosition() const { return position_; }
  /// Returns 1.
  int SetPosition(const SYS_Position& position) {
    position_ = position;
    return 1;
  }

 private:
  const SYS_TextStyle* style_ = nullptr;
  SYS_Position position_;
};

/// A placed text: its attributes and the string itself.
class BRIX_API SYS_Text : public SYS_TextAttributes {
 public:
  SYS_Text();
  SYS_Text(const SYS_Text& other);
  ~SYS_Text();
  /// Copies the attributes and the string.
  SYS_Text& operator=(const SYS_Text& other);

  /// A copy of the string (empty by default).
  SYS_String GetString() const { return string_; }
  /// Returns 1.
  int SetString(const SYS_String& s);

 private:
  SYS_String string_;
};

/// Fill styles are chosen and interpreted by the host that draws with them; the library only
/// names "no fill style".
enum SYS_FillStyle : std::int32_t {
  SYS_NoFillStyle = -1,
};

/// A fill style with its parameters, stored and compared but not interpreted here.
class BRIX_API SYS_FillStyleInfo {
 public:
  /// No fill style and zero integer parameters. The double, the origin and the user data are
  /// meant to be set before use; here they start as 0.0, (0, 0) and null.
  SYS_FillStyleInfo() = default;
  SYS_FillStyleInfo(SYS_FillStyle style, double d, const SYS_Point& origin, long a, long b,
                    void* data)
      : style_(style),
        d_(d),
        origin_(origin),
        a_(static_cast<std::int32_t>(a)),
        b_(static_cast<std::int32_t>(b)),
        data_(data) {}
  SYS_FillStyleInfo(const SYS_FillStyleInfo&) = default;
  SYS_FillStyleInfo& operator=(const SYS_FillStyleInfo&) = default;

  SYS_FillStyle GetStyle() const { return style_; }
  double GetDouble() const { return d_; }
  const SYS_Point& GetOrigin() const { return origin_; }
  long GetA() const { return a_; }
  long GetB() const { return b_; }
  void* GetData() const { return data_; }

  /// Style, double (exactly), the two integers, the origin and the user data pointer.
  bool operator==(const SYS_FillStyleInfo& o) const;
  bool operator!=(const SYS_FillStyleInfo& o) const { return !(*this == o); }

 private:
  SYS_FillStyle style_ = SYS_NoFillStyle;
  double d_ = 0.0;
  SYS_Point origin_;
  std::int32_t a_ = 0;
  std::int32_t b_ = 0;
  void* data_ = nullptr;
};
