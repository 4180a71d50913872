// sfmlocale.cpp - the user's language in the settings store and the code-page table.
#include "sfmlocale.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/settings_posix.h"

namespace {

constexpr const char* kKey = "SOFTWARE\\Quillon\\Brix";
constexpr const char* kValue = "LangID";

struct LocaleRow {
  int charSet;
  unsigned codePage;
  char language[10];
};

constexpr LocaleRow kLocales[18] = {
    {1, 1, ""},      {2, 2, ""},         {0, 1252, "ENU"},  {186, 1257, "ETI"}, {136, 950, "CHT"},
    {238, 1250, ""}, {134, 936, "CHS"},  {161, 1253, ""},   {129, 949, ""},     {77, 1200, ""},
    {255, 437, ""},  {204, 1251, "RUS"}, {128, 932, "JPN"}, {162, 1254, ""},    {130, 1361, ""},
    {177, 1255, ""}, {178, 1256, ""},    {222, 874, ""},
};

// POSIX locale names and the three-letter abbreviations the desktop system
// gives their languages. The first row of a language is its default territory.
struct LanguageName {
  const char* locale;
  const char* abbreviation;
};

constexpr LanguageName kLanguages[] = {
    {"en_US", "ENU"}, {"en_GB", "ENG"}, {"en_AU", "ENA"}, {"en_CA", "ENC"}, {"en_NZ", "ENZ"},
    {"en_IE", "ENI"}, {"de_DE", "DEU"}, {"de_AT", "DEA"}, {"de_CH", "DES"}, {"de_LU", "DEL"},
    {"fr_FR", "FRA"}, {"fr_BE", "FRB"}, {"fr_CA", "FRC"}, {"fr_CH", "FRS"}, {"it_IT", "ITA"},
    {"it_CH", "ITS"}, {"es_ES", "ESN"}, {"es_MX", "ESM"}, {"nl_NL", "NLD"}, {"nl_BE", "NLB"},
    {"pt_BR", "PTB"}, {"pt_PT", "PTG"}, {"sv_SE", "SVE"}, {"da_DK", "DAN"}, {"nb_NO", "NOR"},
    {"fi_FI", "FIN"}, {"pl_PL", "PLK"}, {"cs_CZ", "CSY"}, {"sk_SK", "SKY"}, {"hu_HU", "HUN"},
    {"ru_RU", "RUS"}, {"uk_UA", "UKR"}, {"el_GR", "ELL"}, {"tr_TR", "TRK"}, {"he_IL", "HEB"},
    {"ar_SA", "ARA"}, {"ja_JP", "JPN"}, {"ko_KR", "KOR"}, {"zh_CN", "CHS"}, {"zh_TW", "CHT"},
    {"zh_HK", "ZHH"}, {"zh_SG", "ZHI"}, {"et_EE", "ETI"}, {"lv_LV", "LVI"}, {"lt_LT", "LTH"},
    {"th_TH", "THA"}, {"sl_SI", "SLV"}, {"hr_HR", "HRV"}, {"ro_RO", "ROM"}, {"bg_BG", "BGR"},
};

// The environment's language as an abbreviation; "C", "POSIX" and unknown
// languages give "ENU".
std::string EnvironmentLanguage() {
  const char* name = nullptr;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    name = std::getenv(variable);
    if (name && *name) break;
    name = nullptr;
  }
  std::string locale = name ? name : "";
  locale = locale.substr(0, locale.find_first_of(".@"));
  for (const LanguageName& row : kLanguages)
    if (locale == row.locale) return row.abbreviation;
  const std::string language = locale.substr(0, locale.find('_'));
  for (const LanguageName& row : kLanguages)
    if (language.size() == 2 && std::strncmp(row.locale, language.c_str(), 2) == 0)
      return row.abbreviation;
  return kDefaultLanguage;
}

// Makes the settings directory exist, as opening the key with creation does.
int OpenKey() {
  const std::string dir = brix::settings::ConfigDirectory();
  if (dir.empty()) return ENOENT;
  for (size_t at = 1; at <= dir.size(); ++at) {
    if (at != dir.size() && dir[at] != '/') continue;
    const std::string part = dir.substr(0, at);
    struct stat st;
    if (stat(part.c_str(), &st) == 0) {
      if (!S_ISDIR(st.st_mode)) return ENOTDIR;
      continue;
    }
    if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return errno;
  }
  return 0;
}

void CopyText(const char* text, char* buffer, unsigned long size) {
  if (!buffer || size == 0) return;
  const size_t n = std::min<size_t>(std::strlen(text), size - 1);
  std::memcpy(buffer, text, n);
  buffer[n] = '\0';
}

}  // namespace

long GetLocaleStr(char* buffer, unsigned long size) {
  if (!buffer) return EINVAL;
  if (const int error = OpenKey()) {
    if (size < 4) return ERANGE;
    CopyText(kDefaultLanguage, buffer, size);
    return error;
  }
  std::string stored;
  if (brix::settings::ReadUserValue(kKey, kValue, stored) && stored.size() < size) {
    CopyText(stored.c_str(), buffer, size);
    return 0;
  }
  // Missing, or too long for the buffer: by design the environment's language
  // is then stored over it.
  const std::string language = EnvironmentLanguage();
  if (language.size() >= size) return ERANGE;
  CopyText(language.c_str(), buffer, size);
  if (!brix::settings::WriteUserValue(kKey, kValue, language.c_str())) return errno ? errno : EIO;
  return 0;
}

unsigned GetCodePageByLocaleString(const char* language) {
  if (!language) return 0;
  // Backwards on purpose: rows with no language come last, so "" gives 874.
  for (int row = 17; row >= 0; --row)
    if (std::strncmp(kLocales[row].language, language, 10) == 0) return kLocales[row].codePage;
  return 0;
}

int GetCharacterSetByCodePage(unsigned codePage) {
  for (int row = 17; row >= 0; --row)
    if (kLocales[row].codePage == codePage) return kLocales[row].charSet;
  return -1;
}

unsigned GetCurrentCodePage() {
  static std::atomic<unsigned> cache{0};
  unsigned codePage = cache.load(std::memory_order_relaxed);
  if (codePage != 0) return codePage;
  char language[10];
  GetRealLocaleStr(nullptr, language, sizeof language);
  codePage = GetCodePageByLocaleString(language);
  cache.store(codePage, std::memory_order_relaxed);  // 0 is asked again next time
  return codePage;
}

int GetCurrentCharacterSet() {
  // The cache starts at -1 and only 0 means "not known", so it is never
  // computed: the function has always answered -1 and callers rely on it.
  static std::atomic<int> cache{-1};
  int charSet = cache.load(std::memory_order_relaxed);
  if (charSet != 0) return charSet;
  charSet = GetCharacterSetByCodePage(GetCurrentCodePage());
  cache.store(charSet, std::memory_order_relaxed);
  return charSet;
}
