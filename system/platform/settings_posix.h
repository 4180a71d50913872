// settings_posix.h - the per-user settings store: INI files replaced atomically under a lock.
#pragma once

#include <string>

#include "brixexport.h"

// The store keeps the application's profile (sections and keys) and the
// registry-like user values in INI text files of the user's configuration
// directory. Readers never lock: every write builds the whole new file beside
// the old one, syncs it and renames it over the old one while holding an
// exclusive flock on "<file>.lock", so a reader sees either the old or the new
// file and concurrent writers never lose each other's values.
//
// Section and value names compare without regard to ASCII case; the first
// match counts. Names and values are trimmed of blanks at both ends; a line
// break in a value is stored as a blank (an INI line holds one value).
//
// These functions are internal to the library (exported for its tests only).
namespace brix::settings {

/// The file of the application's profile settings.
inline constexpr const char* kProfileFile = "brix.ini";
/// The file holding the registry-like user values; the key is the section.
inline constexpr const char* kUserValuesFile = "registry.ini";
/// The key of the application's own user values (such as "LangID").
inline constexpr const char* kApplicationKey = "SOFTWARE\\Quillon\\Brix";

/// The configuration directory: $BRIX_CONFIG_HOME, else
/// $XDG_CONFIG_HOME/Quillon/Brix, else ~/.config/Quillon/Brix. Read anew on each
/// call, never created here.
BRIX_API std::string ConfigDirectory();

/// `file` inside the configuration directory; an absolute `file` is kept.
BRIX_API std::string SettingsPath(const char* file);

/// Reads value `name` of `section` in settings file `file` (a name inside the
/// configuration directory, or an absolute path). False when the file, the
/// section or the name does not exist.
BRIX_API bool ReadValue(const char* file, const char* section, const char* name,
                        std::string& value);

/// Sets value `name` of `section` in `file` (null `value` removes the name),
/// creating the directory, the file and the section as needed. False, with
/// errno set, when the existing file cannot be read whole (an error, something
/// other than a regular file, fewer bytes than its size) or cannot be replaced
/// (the old file is then intact either way), or
/// when a name cannot be written as INI (EINVAL: an empty name, a name holding
/// "=" or starting with "[", ";" or "#", a section holding "]", line breaks).
BRIX_API bool WriteValue(const char* file, const char* section, const char* name,
                         const char* value);

/// A registry-like user value: `name` under `key` (such as "SOFTWARE\Quillon\Brix").
BRIX_API bool ReadUserValue(const char* key, const char* name, std::string& value);
BRIX_API bool WriteUserValue(const char* key, const char* name, const char* value);

}  // namespace brix::settings
