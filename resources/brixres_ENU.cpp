// brixres_ENU.cpp - the English resource module of the library (texts in UTF-8).
#include "resmodule.h"

namespace {

constexpr brixres::Text kTexts[] = {
    {45063, "Value is out of range."},
    {45064, "Please enter a value within the %c%lf,%lf%c range."},
    {45103, "Error %i occurred (no further information)."},
    {45104, "Mils"},
    {45105, "Millimeters"},
    {45106, "Inches"},
    {45107, "Microns"},
};

}  // namespace

const char* BrixResourceString(int id) { return brixres::Find(kTexts, id); }
