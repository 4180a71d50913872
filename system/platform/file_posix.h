// file_posix.h - memory mapping of whole files behind SFM_File.
#pragma once

#include <cstddef>

namespace brix::file {

/// Maps the whole regular file open on `fd` copy-on-write (readable and
/// writable; writes stay in the process). Returns the view and its size, or
/// null for an empty or irregular file or when the system refuses (errno set).
/// The descriptor may be closed afterwards.
void* MapPrivate(int fd, std::size_t& size);

/// Releases a view from MapPrivate.
void Unmap(void* view, std::size_t size);

}  // namespace brix::file
