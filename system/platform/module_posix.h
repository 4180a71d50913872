// module_posix.h - shared objects: where a module lives, loading and unloading them.
#pragma once

#include <string>

// A module is named by an address inside it, usually its base address (what
// dladdr reports as dli_fbase); a null address names the executable.
namespace brix::module {

/// The file of the module containing `address` (the executable for null), as
/// the dynamic loader knows it; empty when the address is in no module.
std::string FileName(const void* address);

/// The base address of the module containing `address`, or null.
void* BaseOf(const void* address);

/// Loads `path` with RTLD_NOW | RTLD_LOCAL; the loader's handle or null.
void* Load(const char* path);

/// The base address of the module behind a handle from Load.
void* BaseOfHandle(void* handle);

/// The address of `name` exported by the module behind `handle`, or null.
void* Symbol(void* handle, const char* name);

/// Drops one reference taken by Load.
void Unload(void* handle);

}  // namespace brix::module
