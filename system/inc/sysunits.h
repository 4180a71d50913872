// sysunits.h - SYS_Convert: database values to and from text in the user's unit; SYS_StdInterface.
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sccevent.h"
#include "sysgeom.h"
#include "sysstring.h"

/// The user's unit of measure for lengths and coordinates.
enum SYS_UnitType : int {
  SYS_UnitMils = 0,         ///< 1/1000 inch, 38,100 database units
  SYS_UnitMillimeters = 1,  ///< 1,500,000 database units
  SYS_UnitInches = 2,       ///< 38,100,000 database units
  SYS_UnitMicrons = 3,      ///< 1,500 database units
};

/// Number of unit types. `SYS_UnitType(SYS_UnitTypeCount)` is the type of the unit
/// table's fallback row, which answers for every type outside 0...3 (empty name,
/// factor 0, precision 0).
inline constexpr int SYS_UnitTypeCount = 4;

/// A minimal enumeration by handle: handles run from 1 to a maximum, 0 means none.
/// Derived classes map handles to their elements. Enumerate with
/// `for (int h = e.GetFirst(nullptr); e.IsValid(); h = e.GetNext()) ...`.
class BRIX_API SYS_StdInterface {
 public:
  explicit SYS_StdInterface(int maxHandle = 0) : m_maxHandle(maxHandle) {}
  virtual ~SYS_StdInterface();

  /// The event that announces changes of the enumerated elements; the base has none.
  virtual SCC_Notifier* GetChangeEvent(void* source) { return nullptr; }
  /// Sets the largest handle GetNext moves to.
  virtual void SetMaxHandle(int maxHandle) { m_maxHandle = maxHandle; }
  /// 1 when the enumeration stands on an element (the handle is not 0).
  virtual int IsValid() const { return m_handle != 0; }
  /// Moves to `handle` without any range test.
  virtual void SetHandle(int handle, void* source) { m_handle = handle; }
  virtual int GetHandle() const { return m_handle; }
  /// Moves to handle 1, or to 0 when there are no handles; returns the handle.
  virtual int GetFirst(void* source) { return m_handle = m_maxHandle > 0 ? 1 : 0; }
  /// Moves to the next handle, or to 0 past the maximum; returns the handle.
  virtual int GetNext() { return m_handle = m_handle >= m_maxHandle ? 0 : m_handle + 1; }
  /// Called when the enumerated storage moved; the base keeps nothing to update.
  virtual void OnUpdatePointers(void* source) {}

  /// Order of two handles: their difference (wrapping like 32-bit arithmetic).
  static int DefaultSort(const int& a, const int& b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
  }

 protected:
  int m_handle = 0;
  int m_maxHandle = 0;
};

/// Converts integer database values (lengths, coordinates, angles) to text in the
/// user's unit and parses the user's text back.
///
/// Lengths are printed with "%.*f" and the current unit's precision, coordinates
/// relative to the origin, angles in degrees with the angle precision; in zero-trim mode
/// trailing zeros of the decimals are dropped. Parsers take a plain decimal number
/// (leading white space and a sign allowed, an exponent allowed), always with "." as the
/// decimal point whatever the C locale; they return 1 on success and 0 on failure.
///
/// `long` database values are 32-bit: wider arguments wrap like the integers they model.
/// The unit table is built once on first use and is safe to use from any thread; one
/// converter object is to be used by one thread at a time.
class BRIX_API SYS_Convert {
 public:
  /// Size of a buffer that holds any text this class formats, the final NUL included.
  static constexpr int TextSize = 512;
  /// Largest number of decimals printed; larger precisions print this many.
  static constexpr int MaxDecimals = 100;

  /// Enumerates the unit types: handle h (1...4) stands for unit type h - 1.
  class BRIX_API UnitTypeObj : public SYS_StdInterface {
   public:
    UnitTypeObj() : SYS_StdInterface(SYS_UnitTypeCount) {}
    /// The type of the current handle; the fallback row's type outside 1...4.
    SYS_UnitType GetType() const;
    /// The localised name of the current handle's type; "" outside 1...4.
    const char* GetName() const;
  };

  /// Mils, origin (0, 0).
  SYS_Convert();
  /// Mils, origin (0, 0); the argument is ignored (intended).
  explicit SYS_Convert(int ignored);
  explicit SYS_Convert(SYS_UnitType type);
  /// Mils with the given origin.
  explicit SYS_Convert(const SYS_Point& origin);
  SYS_Convert(SYS_UnitType type, const SYS_Point& origin);

  /// Sets the unit and origin and resets the rest: zero-trim mode on, every unit's
  /// default precision, angle precision 3.
  void SetData(SYS_UnitType type, const SYS_Point& origin);

  SYS_UnitType GetUnitType() const { return m_type; }
  /// Changes the unit; each unit keeps its own precision.
  void SetUnitType(SYS_UnitType type) { m_type = type; }
  /// Decimals printed for lengths and coordinates in the current unit.
  int GetUnitPrecision() const { return m_unitPrecision[Slot(m_type)]; }
  /// Sets the decimals of the current unit only. A negative precision prints 6
  /// decimals, as printf does.
  void SetUnitPrecision(int precision) { m_unitPrecision[Slot(m_type)] = precision; }
  int GetAnglePrecision() const { return m_anglePrecision; }
  void SetAnglePrecision(int precision) { m_anglePrecision = precision; }
  /// 1 when formatted numbers lose their trailing zeros.
  int IsZeroTrimMode() const { return m_zeroTrim; }
  void SetZeroTrimMode(int on) { m_zeroTrim = on; }
  const SYS_Point& GetOrigin() const { return m_origin; }
  /// The point printed as (0,0): subtracted from coordinates on output, added on input.
  void SetOrigin(const SYS_Point& origin) { m_origin = origin; }
  /// The localised name of the current unit (valid for the life of the process).
  const char* GetUnitName() const { return GetUnitName(m_type); }
  /// The localised name of `type`; "" for a type outside 0...3.
  static const char* GetUnitName(SYS_UnitType type);

  /// `v` user units in database units, rounded half away from zero. A value whose
  /// magnitude exceeds 2147483647 database units gives the overflow mark -2147483648.
  long User2Base(double v) const;
  /// `v` user units in database units, unrounded.
  double User2BaseDouble(double v) const;
  /// Database units in user units.
  double Base2User(double v) const;
  double Base2User(long v) const;

  /// Parses a decimal number. Fails on an empty text, on trailing text of any kind
  /// (white space included), on a range error (overflow or underflow), and on
  /// hexadecimal numbers, "inf" and "nan". `*out` receives the value of the number's
  /// parsed part even on failure (0 when there is none); a null text or `out` fails
  /// without writing.
  static int Str2Double(const char* text, double* out);
  /// Parses a decimal integer by the same rules; values outside the 32-bit range are a
  /// range error (`*out` holds the nearest 32-bit limit).
  static int Str2Long(const char* text, long* out);

  /// Parses a coordinate magnitude in the current unit. Fails when the text does not
  /// parse (`*out` untouched) or when the result lies beyond the coordinate limit
  /// (`*out` holds the result, or the overflow mark).
  int Str2Base(const char* text, long* out) const;
  /// Parses a value in the current unit into unrounded database units; no range test.
  int Str2Base(const char* text, double* out) const;
  /// Parses a length: negative values fail (`*out` untouched), zero is accepted. There
  /// is no range test: a huge length gives the overflow mark, and succeeds (intended).
  int Str2Measure(const char* text, long* out) const;
  int Str2Measure(const char* text, double* out) const;
  /// Parses a coordinate relative to the origin and adds the origin. Goes through
  /// Str2Measure, so a negative relative value fails although output prints negative
  /// relative coordinates (intended).
  int Str2CoordX(const char* text, long* out) const;
  int Str2CoordY(const char* text, long* out) const;
  int Str2CoordX(const char* text, double* out) const;
  int Str2CoordY(const char* text, double* out) const;
  /// Parses degrees into angle units, truncated toward zero; negative angles are fine.
  /// There is no range test: beyond the 32-bit range the result is -2147483648.
  int Str2Angle(const char* text, long* out) const;

  /// Writes `v` database units in the current unit into `dst`, which must hold TextSize
  /// characters. Returns `dst`.
  char* Base2Str(char* dst, long v) const;
  char* Base2Str(char* dst, double v) const;
  SYS_String Base2Str(long v) const;
  SYS_String Base2Str(double v) const;
  SYS_String Measure2Str(long v) const { return Base2Str(v); }
  SYS_String Measure2Str(double v) const { return Base2Str(v); }
  SYS_String Measure2String(long v) const { return Base2Str(v); }
  /// `prefix` followed directly by the length.
  SYS_String Measure2String(const SYS_String& prefix, long v) const;

  /// The coordinate relative to the origin, as text.
  SYS_String CoordX2Str(long x) const;
  SYS_String CoordX2Str(double x) const;
  SYS_String CoordX2String(long x) const { return CoordX2Str(x); }
  SYS_String CoordX2String(const SYS_String& prefix, long x) const;
  SYS_String CoordY2Str(long y) const;
  SYS_String CoordY2Str(double y) const;
  SYS_String CoordY2String(long y) const { return CoordY2Str(y); }
  SYS_String CoordY2String(const SYS_String& prefix, long y) const;

  /// "(x,y)" of the coordinate texts.
  SYS_String Point2Str(const SYS_Point& p) const;
  SYS_String Point2Str(const SYS_DoublePoint& p) const;
  SYS_String Point2String(const SYS_Point& p) const { return Point2Str(p); }
  SYS_String Point2String(const SYS_String& prefix, const SYS_Point& p) const;

  /// Writes angle `a` in degrees with the angle precision into `dst` (TextSize
  /// characters). Returns `dst`.
  char* Angle2Str(char* dst, long a) const;
  SYS_String Angle2Str(long a) const;

  /// Drops the trailing zeros of the decimals of `text`, and then a trailing ".", in
  /// place; a text without "." is left alone ("12.500" -> "12.5", "3.000" -> "3",
  /// "100" stays). Returns `text`.
  static char* TrimStrNumber(char* text);

  /// The routing grid is one database unit: everything is aligned to it.
  static long GetMinRoutingGrid() { return 1; }
  static int IsAlignedToMinRoutingGrid(long v) { return 1; }
  static int IsAlignedToMinRoutingGrid(SYS_Point p) { return 1; }
  static long AlignToMinRoutingGrid(long v) { return v; }
  static SYS_Point AlignToMinRoutingGrid(SYS_Point p) { return p; }

 private:
  // Precision slot of a type: its own, or the one shared by all types outside 0...3.
  static int Slot(SYS_UnitType type) {
    return static_cast<unsigned>(type) < SYS_UnitTypeCount ? type : SYS_UnitTypeCount;
  }
  double Factor() const;
  // Prints `value` with "%.*f" into dst (TextSize bytes), trims in zero-trim mode and
  // returns the text's length.
  int Format(char* dst, double value, int precision) const;
  // "(x,y)" of two coordinates already made relative to the origin.
  SYS_String RelPoint2Str(double dx, double dy) const;

  SYS_UnitType m_type = SYS_UnitMils;
  SYS_Point m_origin;
  int m_zeroTrim = 1;
  int m_unitPrecision[SYS_UnitTypeCount + 1] = {};
  int m_anglePrecision = 3;
};
