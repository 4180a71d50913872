// sfmlocale.h - the user-interface language, its code page and the per-language resource modules.
#pragma once

#include "brixexport.h"
#include "sysstring.h"

/// A module: an address inside a loaded shared object, normally its base
/// address (dladdr's dli_fbase); null names the executable.
typedef void* HINSTANCE;

/// The suffix of resource modules: the companion of "<dir>/libX.so" for
/// language L is "<dir>/L/libXRes.so".
inline constexpr const char* kResourceModuleSuffix = "Res.so";
/// The language used when the user's has no resource module.
inline constexpr const char* kDefaultLanguage = "ENU";

/// The user's language abbreviation (such as "ENU") into `buffer`, at most
/// `size` bytes with the terminating zero. Returns 0 on success or an errno
/// code. When no language is stored, the environment's (LC_ALL, LC_MESSAGES,
/// LANG) is stored and returned; so is it when the stored one does not fit.
/// When the settings cannot be opened, "ENU" is copied and the error returned,
/// or ERANGE when `size` is below 4.
BRIX_API long GetLocaleStr(char* buffer, unsigned long size);

/// The user's language when `module` has a resource module for it, else "ENU"
/// (at most `size` bytes, always terminated when `size` is not 0).
BRIX_API void GetRealLocaleStr(HINSTANCE module, char* buffer, unsigned long size);

/// The companion of module file `modulePath` for `language`: the name's
/// extension (".so" with any version numbers after it, else from the last ".")
/// becomes `suffix`, with a "d" or "D" before it dropped when `stripDebugD` is
/// set (a name without extension keeps its end), and the directory gains the
/// subdirectory `language`.
BRIX_API SYS_String GetCompanionPath(const char* modulePath, const char* language,
                                     const char* suffix, int stripDebugD);

/// Puts into `buffer` the companion path of `module` for the user's language,
/// or when that file does not exist for "ENU". Non-zero when the path put
/// there exists; 0 with errno ERANGE when `size` is too small.
BRIX_API int GetLocalizedFileName(HINSTANCE module, char* buffer, unsigned long size,
                                  const char* suffix, int stripDebugD);

/// Loads the resource module of `module` for the user's language (else "ENU")
/// and lets TR(int) find its texts before the library's own, the latest loaded
/// first. Returns the loaded module's base address, or null when there is none
/// or it cannot be loaded. Each successful call needs one UnloadResourceDll.
BRIX_API HINSTANCE LoadResourceDllByModule(HINSTANCE module, int stripDebugD);

/// Gives back a module from LoadResourceDllByModule; its texts leave TR with
/// the last reference. Null and modules loaded otherwise are ignored.
BRIX_API void UnloadResourceDll(HINSTANCE module);

/// The code page of a language abbreviation (first 10 bytes compared), 0 when unknown.
BRIX_API unsigned GetCodePageByLocaleString(const char* language);
/// The character set of a code page, -1 when unknown.
BRIX_API int GetCharacterSetByCodePage(unsigned codePage);
/// The code page of the language the executable has resources for; cached.
BRIX_API unsigned GetCurrentCodePage();
/// Always -1: the cache starts there and is never filled (kept as it always was).
BRIX_API int GetCurrentCharacterSet();
