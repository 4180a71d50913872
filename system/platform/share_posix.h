// share_posix.h - opening files with an access and a share mode that other opens must respect.
#pragma once

#include "brixexport.h"

// The share modes of the desktop system the library was designed for, emulated
// with open-file-description locks (F_OFD_SETLK) on four reserved bytes far past
// any real data: "has read access", "has write access", "denies read" and
// "denies write". Every open holds a shared lock on the bytes that describe it.
// An open first marks its bytes and then checks that no other open holds a byte
// it conflicts with, backing off when it does: two conflicting opens racing each
// see the other's marks, so they never both succeed. Only shared locks are ever
// taken and nothing waits for a lock, so read-only descriptors take part and no
// open can hang on another (also on NFS, whose client forwards these locks to the
// server). The kernel drops all of it when the last descriptor of an open goes
// away, including when a process dies.
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

/// Open options.
inline constexpr unsigned kRegularOnly =
    1;  ///< refuse symbolic links (ELOOP) and non-regular files

/// True when an open asking `access` with `share` may coexist with an open
/// that holds `heldAccess` with `heldShare`.
BRIX_API bool Compatible(unsigned heldAccess, unsigned heldShare, unsigned access, unsigned share);

/// Opens `path` ("\" taken as "/") with `access` (kAccess* bits, at least one)
/// and `share` (kShare* bits). Returns the descriptor (close-on-exec) or -1
/// with errno set: EBUSY when the sharing of another open forbids it (also,
/// rarely, when a conflicting open raced it), EINVAL for bad arguments and with
/// kRegularOnly for anything but a regular file, ELOOP with kRegularOnly for a
/// symbolic link, EISDIR for a directory, else the system's code. Nothing is
/// created or truncated when the sharing check fails. An open with write access gets a read-write
/// descriptor, since its lock bytes need read access. Never waits for a lock: a
/// lost race backs off for a few milliseconds at most.
BRIX_API int Open(const char* path, unsigned access, unsigned share, int disposition,
                  unsigned options = 0);

/// Changes the share mode of the open `fd` (opened with `access`) from `heldShare`
/// to `share` in place: the open is never let go, so no other open can slip in
/// between. Sharing withdrawn is claimed as Open claims it; when another open
/// holds what it now forbids, the call fails with EBUSY and the open keeps
/// `heldShare`. Sharing granted is given at once. Returns true on success.
BRIX_API bool Reshare(int fd, unsigned access, unsigned heldShare, unsigned share);

/// Closes a descriptor from Open (or a duplicate of it); errno is kept; -1 is ignored.
BRIX_API void Close(int fd);

}  // namespace brix::share
