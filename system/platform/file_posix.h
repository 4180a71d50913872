// file_posix.h - memory mapping and the temporary close of streams behind SFM_File.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace brix::file {

/// Maps the whole regular file open on `fd` copy-on-write (readable and
/// writable; writes stay in the process). Returns the view and its size, or
/// null for an empty or irregular file or when the system refuses (errno set).
/// The descriptor may be closed afterwards.
void* MapPrivate(int fd, std::size_t& size);

/// Releases a view from MapPrivate.
void Unmap(void* view, std::size_t size);

/// The file a stream is open on, so that a reopen can tell it from another file
/// that has taken its name in the meantime.
struct Identity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
};

/// True when `stream`, opened with the fopen `mode`, can be closed and later put
/// back exactly by Reopen: a byte-oriented stream on a regular file that still has
/// a name, with a position, and a mode Reopen understands. Fills `identity`.
bool CanResume(std::FILE* stream, const char* mode, Identity& identity);

/// Opens the file `path` again for a stream first opened with the fopen `mode`:
/// the same access and append behaviour, never created, never truncated, never
/// exclusive ("w" and "wx" reopen writing where the position says, "a" keeps
/// appending), close-on-exec as before. Fails with ESTALE when `path` now names
/// another file than `identity`, and with EINVAL for a mode CanResume refuses.
/// The caller restores the position.
std::FILE* Reopen(const char* path, const char* mode, const Identity& identity);

}  // namespace brix::file
