// share_posix.h - opening files with an access and a share mode that other opens must respect.
#pragma once

#include "brixexport.h"

// The share modes of the desktop system the library was designed for, emulated
// with open-file-description locks (F_OFD_SETLK) on four reserved bytes far past
// any real data: "has read access", "has write access", "denies read" and
// "denies write". Every open holds a shared lock on the bytes that describe it;
// a new open first makes sure that no other open holds a byte it conflicts with.
// The check and the marking happen under a short exclusive flock() on the file,
// so that two opens can never both pass the check. The kernel drops all of it
// when the last descriptor of an open goes away, including when a process dies.
//
// The rules hold between processes and between two opens in one process. A
// duplicated descriptor shares its open, as a duplicated handle does. Opens made
// without this layer are not seen.
//
// These functions are internal to the library (exported for its tests only).
namespace brix::share {

/// Access bits.
inline constexpr unsigned kAccessRead = 1;
inline constexpr unsigned kAccessWrite = 2;
/// Share bits: what this open lets other opens do.
inline constexpr unsigned kShareRead = 1;
inline constexpr unsigned kShareWrite = 2;

/// Dispositions, with the desktop system's values.
enum Disposition : int {
  kCreateNew = 1,         ///< create; fail with EEXIST when the file exists
  kCreateAlways = 2,      ///< create or empty an existing file
  kOpenExisting = 3,      ///< fail with ENOENT when the file does not exist
  kOpenAlways = 4,        ///< open, creating the file when missing; never truncates
  kTruncateExisting = 5,  ///< open an existing file and empty it (needs write access)
};

/// True when an open asking `access` with `share` may coexist with an open
/// that holds `heldAccess` with `heldShare`.
BRIX_API bool Compatible(unsigned heldAccess, unsigned heldShare, unsigned access, unsigned share);

/// Opens `path` ("\" taken as "/") with `access` (kAccess* bits, at least one)
/// and `share` (kShare* bits). Returns the descriptor (close-on-exec) or -1
/// with errno set: EBUSY when the sharing of another open forbids it, EINVAL
/// for bad arguments, EISDIR for a directory, else the system's code. Nothing
/// is created or truncated when the sharing check fails. An open with write
/// access gets a read-write descriptor, since its lock bytes need read access.
BRIX_API int Open(const char* path, unsigned access, unsigned share, int disposition);

/// Closes a descriptor from Open (or a duplicate of it); errno is kept; -1 is ignored.
BRIX_API void Close(int fd);

}  // namespace brix::share
