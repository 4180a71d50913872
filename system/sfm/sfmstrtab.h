// sfmstrtab.h - internal: the built-in string table and the lookup chain behind TR(int).
#pragma once

#include "brixexport.h"
#include "sysstring.h"

namespace brix::strtab {

/// A source of localised strings, such as a loaded resource module. Returns 1 and
/// sets `text` when it has string `id`, else 0. Must not call TR itself.
using Lookup = int (*)(void* context, int id, SYS_String& text);

/// Adds a source that TR(int) asks before the built-in table; the newest source is
/// asked first. Drops the TR cache so that no text of an earlier choice survives.
BRIX_API void RegisterLookup(Lookup lookup, void* context);

/// Removes a source registered with the same function and context (no-op when it
/// is not registered) and drops the TR cache.
BRIX_API void UnregisterLookup(Lookup lookup, void* context);

/// Forgets every text cached by TR(int).
BRIX_API void ClearCache();

/// The library's own text for `id`, or null when the table has none.
const char* Builtin(int id);

}  // namespace brix::strtab
