// fs_posix.h - the POSIX file-system services behind paths, directories and files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Every function takes paths as written by the library's users: each "\" is turned into
// "/" before the path reaches the kernel, so that paths written on Windows keep working.
// Failures return false (or -1, or null) and leave errno set to the failing call's code;
// the file manager takes its error code from errno, so cleanup never clobbers it.
namespace brix::fs {

/// Attribute bits of a directory entry, as the wildcard search reports them.
inline constexpr unsigned kAttrReadOnly = 0x01;   ///< no write permission for the owner
inline constexpr unsigned kAttrHidden = 0x02;     ///< name starts with "." (not "." or "..")
inline constexpr unsigned kAttrDirectory = 0x10;  ///< a directory
inline constexpr unsigned kAttrArchive = 0x20;    ///< a regular file
inline constexpr unsigned kAttrLink = 0x400;  ///< a symbolic link (the others describe its target)

/// Size of the name buffer of a search record, terminating NUL included.
inline constexpr int kFindNameSize = 260;

/// `path` with every "\" turned into "/".
std::string NativePath(const char* path);

/// One entry found by a wildcard search.
struct FindRecord {
  unsigned attrib = 0;            ///< kAttr* bits
  std::int64_t timeCreate = 0;    ///< status change time (POSIX keeps no creation time)
  std::int64_t timeAccess = 0;    ///< last access, seconds since the epoch
  std::int64_t timeWrite = 0;     ///< last modification, seconds since the epoch
  std::uint64_t size = 0;         ///< size in bytes
  char name[kFindNameSize] = {};  ///< the entry's name, without its directory
};

/// An open wildcard search; opaque outside fs_posix.cpp.
struct FindSearch;

/// Starts a search for `pattern`: a path whose last component may hold "*" (any run,
/// also empty) and "?" (one character); a last component ending in ".*" also matches the
/// names that match it without that ending, so "*.*" matches every name. Matching is
/// case-sensitive and "." and ".." are reported like any entry. Fills `out` with the first
/// match and returns the search, or returns null (errno ENOENT) when nothing matches.
FindSearch* FindFirst(const char* pattern, FindRecord& out);

/// Fills `out` with the next match; returns false when there is none (the search stays
/// open until FindClose).
bool FindNext(FindSearch* search, FindRecord& out);

/// Ends a search; null is accepted.
void FindClose(FindSearch* search);

/// Copies the regular file `from` to `to` byte for byte (any size). The copy is written to
/// a temporary file in the target's directory, synced, and renamed over the target only
/// when complete: a failure leaves an existing target untouched and no temporary file.
/// The copy is a new file: the source's permission bits (without set-id bits) and
/// modification time, the caller's owner and group; other names (hard links) of a
/// replaced target keep the old content, and a symbolic link at `to` is itself replaced,
/// never followed. With `overwrite` false an existing target fails with EEXIST; a
/// directory (EISDIR), another special file (EINVAL), a read-only file (EACCES) and the
/// source itself (EINVAL) are never replaced.
bool CopyFile(const char* from, const char* to, bool overwrite);

/// Renames `from` to `to`. Never replaces an existing target (EEXIST), as Windows renames
/// do not; a regular file is moved across file systems by copying, as they do.
bool Rename(const char* from, const char* to);

/// Removes a file (never a directory).
bool RemoveFile(const char* path);

/// Removes an empty directory.
bool RemoveDirectory(const char* path);

/// Creates one directory (permissions 0777 less the umask).
bool MakeDirectory(const char* path);

/// The working directory, or an empty string when the system cannot tell it.
std::string CurrentDirectory();

/// Changes the working directory; 0 on success, -1 on failure.
int ChangeDirectory(const char* path);

/// Opens an existing file for reading on condition that nobody else uses it, which on
/// POSIX means no other open file holds a byte-range lock on it (the library's sharing
/// emulation works with such locks); fails with EBUSY otherwise. Returns the descriptor
/// or -1.
int OpenExclusive(const char* path);

/// Closes a descriptor from OpenExclusive; errno is kept.
void CloseFile(int fd);

/// True when both paths name one existing file (the same inode).
bool SameFile(const char* a, const char* b);

/// The kAttr* bits of `path` (symbolic links followed), or -1 when it does not exist.
int GetAttributes(const char* path);

/// Sets or clears the read-only attribute (the owner's write permission).
bool SetReadOnly(const char* path, bool readOnly);

/// Writes all `count` bytes to `fd`, going on after interrupted and partial writes.
/// False when a write fails.
bool WriteAll(int fd, const void* data, std::size_t count);

/// Replaces the file `path` with `size` bytes: they go to a temporary file beside it, which
/// is synced and renamed over the target, and the directory is synced, so a failure half
/// way leaves the old file whole. A replaced regular file keeps its permission bits (not
/// set-user/group-ID); a new file gets 0666 less the umask. A symbolic link in the way is
/// replaced itself, never written through; a directory (EISDIR) or special file (EINVAL)
/// is refused. False with errno set on failure, and no temporary file is left behind.
bool ReplaceContents(const char* path, const void* data, std::size_t size);

/// Reads up to `count` bytes from `fd`, going on after interrupted and partial reads.
/// Returns the number read: fewer than `count` only at the end of the file or on error.
std::size_t ReadAll(int fd, void* data, std::size_t count);

}  // namespace brix::fs
