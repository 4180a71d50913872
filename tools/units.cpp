// units.cpp - brixsys units: reads lengths, points and angles as the application reads what a
// user types, and prints them in database units and in every unit.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "sccvariant.h"
#include "sysgeom.h"
#include "sysunits.h"
#include "toolmain.h"

namespace brixtool {

const char kUnitsUsage[] =
    "usage: brixsys units [--unit UNIT] VALUE...\n"
    "\n"
    "Reads each VALUE as the application reads a length typed by a user: a decimal\n"
    "number in mils, or followed by a unit (mil, mm, in, um; a blank may come\n"
    "before it). \"X,Y\" is a point; a number followed by deg is an angle in degrees.\n"
    "--unit sets the unit of numbers written without one (mil, mm, in, um or deg).\n"
    "Prints the value in database units (1 mil = 38100) and in every unit.\n"
    "\n"
    "Exit status: 0 done, 1 a value does not parse or lies beyond the limit, 2 usage.\n";

}  // namespace brixtool

namespace {

using brixtool::Fail;
using brixtool::kExitFailed;
using brixtool::kExitOk;
using brixtool::UsageError;

constexpr double kAngleUnitsPerDegree = SYS_FullTurn / 360.0;
// The largest angle a 32-bit count of angle units holds, in whole degrees.
constexpr double kAngleLimitDegrees = 1193;

// A unit a user may write after a number. Degrees are not a SYS_UnitType.
struct UnitWord {
  const char* word;
  SYS_UnitType type;
  bool degrees;
};
constexpr UnitWord kUnitWords[] = {
    {"mils", SYS_UnitMils, false},   {"mil", SYS_UnitMils, false},   {"mm", SYS_UnitMillimeters, false},
    {"inch", SYS_UnitInches, false}, {"in", SYS_UnitInches, false},  {"um", SYS_UnitMicrons, false},
    {"deg", SYS_UnitMils, true},     {"\xC2\xB0", SYS_UnitMils, true},  // the degree sign in UTF-8
};

const UnitWord* FindUnit(const std::string& word) {
  for (const UnitWord& u : kUnitWords)
    if (word == u.word) return &u;
  return nullptr;
}

// The value's number and unit: a known unit word at the end is cut off, with the blanks
// before it; without one the default unit applies.
struct Split {
  std::string number;
  UnitWord unit;
};

Split SplitUnit(const std::string& text, const UnitWord& fallback) {
  for (const UnitWord& u : kUnitWords) {
    const size_t n = strlen(u.word);
    if (text.size() <= n || text.compare(text.size() - n, n, u.word) != 0) continue;
    std::string number = text.substr(0, text.size() - n);
    while (!number.empty() && number.back() == ' ') number.pop_back();
    return {number, u};
  }
  return {text, fallback};
}

// The message the library gives a user whose value lies outside [lower, upper]: the one
// a failed range check leaves in the value.
std::string RangeMessage(double lower, double upper) {
  char spec[96];
  snprintf(spec, sizeof spec, "[ %.17g , %.17g ]", lower, upper);
  const SCC_Variant outside(upper * 2 + 1);
  outside.Validate(spec, nullptr);
  return static_cast<const SYS_String>(outside).GetString();
}

void PrintEveryUnit(const std::function<std::string(const SYS_Convert&)>& format) {
  for (int t = 0; t < SYS_UnitTypeCount; ++t) {
    const SYS_Convert convert{SYS_UnitType(t)};
    printf("  %-12s %s\n", convert.GetUnitName(), format(convert).c_str());
  }
}

// One coordinate or length in database units; on failure prints the library's message.
std::optional<long> ReadLength(const std::string& original, const std::string& text,
                               const UnitWord& fallback) {
  const Split split = SplitUnit(text, fallback);
  if (split.unit.degrees) {
    Fail("\"" + original + "\": an angle cannot be a coordinate");
    return std::nullopt;
  }
  const SYS_Convert convert(split.unit.type);
  long value = 0;
  if (convert.Str2Base(split.number.c_str(), &value)) return value;
  const double limit = convert.Base2User(long(SYS_CoordLimit));
  Fail("\"" + original + "\": " + RangeMessage(-limit, limit));
  return std::nullopt;
}

int ShowAngle(const std::string& text, const std::string& number) {
  double degrees = 0;
  long units = 0;
  const SYS_Convert convert;
  if (!SYS_Convert::Str2Double(number.c_str(), &degrees) ||
      std::fabs(degrees) > kAngleLimitDegrees || !convert.Str2Angle(number.c_str(), &units))
    return Fail("\"" + text + "\": " + RangeMessage(-kAngleLimitDegrees, kAngleLimitDegrees));
  printf("%s: %ld angle units (1/1800000 degree)\n", text.c_str(), units);
  printf("  %-12s %s\n", "degrees", convert.Angle2Str(units).GetString());
  printf("  %-12s %.9g\n", "turns", double(units) / SYS_FullTurn);
  printf("  %-12s %.9g\n", "radians", double(units) / kAngleUnitsPerDegree * M_PI / 180);
  return kExitOk;
}

int ShowValue(const std::string& text, const UnitWord& fallback) {
  const size_t comma = text.find(',');
  if (comma != std::string::npos) {
    std::optional<long> x = ReadLength(text, text.substr(0, comma), fallback);
    if (!x) return kExitFailed;
    std::optional<long> y = ReadLength(text, text.substr(comma + 1), fallback);
    if (!y) return kExitFailed;
    const SYS_Point p(*x, *y);
    printf("%s: (%ld, %ld) database units\n", text.c_str(), *x, *y);
    PrintEveryUnit([&](const SYS_Convert& c) { return std::string(c.Point2Str(p).GetString()); });
    return kExitOk;
  }
  const Split split = SplitUnit(text, fallback);
  if (split.unit.degrees) return ShowAngle(text, split.number);
  std::optional<long> v = ReadLength(text, text, fallback);
  if (!v) return kExitFailed;
  printf("%s: %ld database units\n", text.c_str(), *v);
  PrintEveryUnit([&](const SYS_Convert& c) { return std::string(c.Base2Str(*v).GetString()); });
  return kExitOk;
}

}  // namespace

namespace brixtool {

int RunUnits(int argc, char** argv) {
  UnitWord fallback = kUnitWords[1];
  int first = 1;
  for (; first < argc && argv[first][0] == '-' && argv[first][1] != '\0' &&
         !isdigit(static_cast<unsigned char>(argv[first][1])) && argv[first][1] != '.';
       ++first) {
    const std::string option = argv[first];
    if (IsHelp(argv[first])) return Help();
    if (option == "--") {
      ++first;
      break;
    }
    if (option != "--unit" || first + 1 >= argc) return UsageError("unknown option " + option);
    const UnitWord* unit = FindUnit(argv[++first]);
    if (!unit) return UsageError("unknown unit \"" + std::string(argv[first]) + "\"");
    fallback = *unit;
  }
  if (first == argc) return UsageError("no value given");
  int status = kExitOk;
  for (int i = first; i < argc; ++i)
    if (ShowValue(argv[i], fallback) != kExitOk) status = kExitFailed;
  return status;
}

}  // namespace brixtool
