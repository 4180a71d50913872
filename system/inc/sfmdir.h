// sfmdir.h - SFM_Directory: a directory path with enumeration, tests and file operations.
#pragma once

#include <memory>

#include "brixexport.h"
#include "sfmpath.h"
#include "sysstring.h"

/// The state of one wildcard search (the current entry and the open search); defined in
/// the library.
struct SFM_FindData;

/// A path naming a directory, with the file-system operations of the library:
/// enumeration, existence tests, the working directory, creation of directories, and
/// deletion, copying and moving of files through the file manager (SFM).
///
/// Enumeration. GetNextEntry, GetNextFile and GetNextSubdir take a wildcard pattern to
/// start a search ("*" any run, "?" one character, "*.*" every name; case-sensitive;
/// relative patterns are searched inside this directory) and null to continue it. They
/// return the entry's name, valid until the next call on the same search, or null at the
/// end. Entry attributes: 0x01 read-only (no write permission for the owner), 0x02
/// hidden (name starting with "."), 0x10 directory, 0x20 regular file, 0x400 symbolic
/// link. Two searches exist per object: the entry search (GetNextEntry,
/// GetNextEntryWithAttr, GetNextFile, FileExists, CopyFile, MoveFile) and the
/// subdirectory search (GetNextSubdir, DirExists).
///
/// Copies share the search records of their source (both objects continue one search);
/// the records are released with the last object that holds them.
///
/// File operations return 1 on success and 0 on failure. A failure is raised to the
/// file manager as an event (205 copy, 206 move, 207 delete failed; 151 when the target
/// of a copy or move exists and overwriting was not asked for); the operation is tried
/// again for as long as the listeners answer 2 (retry), and after 151 it goes on only on
/// the answer 1. Without a manager nothing is asked: failures return 0 and existing
/// targets are kept. Names that carry no drive or share are taken as given, only this
/// directory's drive or share being put in front: "f.txt" names the file in the working
/// directory, not in this one.
class BRIX_API SFM_Directory : public SFM_FilePath {
 public:
  SFM_Directory();
  SFM_Directory(const char* path);
  SFM_Directory(const SYS_String& path);
  /// Copies the path and shares the source's search records.
  SFM_Directory(const SFM_Directory& source);
  SFM_Directory& operator=(const SFM_Directory& source);
  /// Ends the searches that only this object holds.
  ~SFM_Directory() override;

  /// Assigns the path only; the searches are kept.
  void operator=(const char* path);
  void operator=(const SYS_String& path);

  // ---- Enumeration ---------------------------------------------------------------

  /// Next entry of any kind.
  char* GetNextEntry(const char* pattern = nullptr);
  /// Next entry whose attribute bits share no bit with `attrMask`.
  char* GetNextEntryWithAttr(unsigned attrMask, const char* pattern = nullptr);
  /// Next entry that is not a directory.
  char* GetNextFile(const char* pattern = nullptr);
  /// Next directory other than "." and "..".
  char* GetNextSubdir(const char* pattern = nullptr);

  /// 1 when GetNextFile(name) finds something; the entry search is closed afterwards.
  int FileExists(const char* name);
  /// 1 when GetNextSubdir(name) finds something; the subdirectory search is closed
  /// afterwards.
  int DirExists(const char* name);

  // ---- Working directory and creation ------------------------------------------------

  /// The working directory, ending in a separator. `drive` is ignored on POSIX.
  const SYS_String GetCurDir(int drive = 0) const;
  /// Changes the working directory: 0 on success, -1 on failure.
  int SetCurDir(SYS_String dir);
  /// Creates one directory: 1 on success, 0 on failure.
  int MakeDirectory(SYS_String dir);
  /// Creates every directory of the chain `path`, split at the default separator only.
  /// Returns the result of the last creation (1 when none was tried), so a chain whose
  /// last directory already exists reports 0; failures further up are ignored (they
  /// usually exist already). An empty path returns 0.
  int MakePath(SYS_String path);

  // ---- Operations through the file manager ---------------------------------------------

  /// Removes a file.
  int DeleteFile(const char* name);
  /// Removes an empty directory. When the working directory is the target's directory
  /// part, it is first changed to this directory.
  int DeleteSubdir(const char* name);
  /// Empties this directory recursively: files first, then each subdirectory (emptied,
  /// then removed). Symbolic links are removed, never followed. The directory stays.
  int DeleteAll();
  /// Copies `from` to `to` (any size, byte for byte).
  int CopyFile(const char* from, const char* to, int overwrite);
  /// Renames `from` to `to`; an existing target is removed first once the source is
  /// known not to be in use.
  int MoveFile(const char* from, const char* to, int overwrite);

  /// `name` put below this directory; a name with a drive, a share or a leading
  /// separator is returned unchanged.
  SYS_String operator+(const char* name) const;

 protected:
  /// Starts (non-null pattern) or continues the search in `data`; the name of the
  /// current entry, or null when the search has ended.
  char* GetNextItem(SFM_FindData* data, const char* pattern);

 private:
  /// The platform copy, overwriting.
  int _CopyFile(const char* from, const char* to);
  SFM_FindData* EntrySearch();
  SFM_FindData* SubdirSearch();
  /// The name of a file operation as handed to the system.
  SYS_String Resolve(const char* name) const;

  std::shared_ptr<SFM_FindData> entrySearch_;
  std::shared_ptr<SFM_FindData> subdirSearch_;
};
