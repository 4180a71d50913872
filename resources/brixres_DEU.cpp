// brixres_DEU.cpp - the German resource module of the library (texts in UTF-8).
#include "resmodule.h"

namespace {

constexpr brixres::Text kTexts[] = {
    {45063, "Der Wert liegt außerhalb des zulässigen Bereichs."},
    {45064, "Bitte geben Sie einen Wert im Bereich %c%lf,%lf%c ein."},
    {45103, "Fehler %i ist aufgetreten (keine weiteren Informationen)."},
    {45104, "Mil"},
    {45105, "Millimeter"},
    {45106, "Zoll"},
    {45107, "Mikrometer"},
};

}  // namespace

const char* BrixResourceString(int id) { return brixres::Find(kTexts, id); }
