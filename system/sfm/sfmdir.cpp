// sfmdir.cpp - SFM_Directory: wildcard enumeration, existence tests and file operations.
#include "sfmdir.h"

#include <cerrno>
#include <cstring>

#include "platform/fs_posix.h"
#include "sfm.h"
#include "ssmcheck.h"

namespace fs = brix::fs;

/// One wildcard search: the current entry and the open search, closed with the record.
struct SFM_FindData {
  SFM_FindData() = default;
  SFM_FindData(const SFM_FindData&) = delete;
  SFM_FindData& operator=(const SFM_FindData&) = delete;
  ~SFM_FindData() { Close(); }

  void Close() {
    fs::FindClose(search);
    search = nullptr;
  }

  fs::FindRecord record;
  fs::FindSearch* search = nullptr;  // null when no search is open
};

namespace {

constexpr const char kSource[] = "system/sfm/sfmdir";

char LastChar(const SYS_String& s) { return s.IsEmpty() ? '\0' : s[s.GetLength() - 1]; }

bool IsDotOrDotDot(const char* name) {
  return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

// A drive prefix is not a directory to make. Windows syntax (separator 0) takes any
// prefix ending in a colon for one, as designed; POSIX syntax only "C:".
bool IsDrive(const SYS_String& prefix) {
  if (SFM_FilePath::DefaultSeparator == 0) return LastChar(prefix) == ':';
  const char letter = prefix.GetLength() == 2 && prefix[1] == ':' ? prefix[0] : '\0';
  return (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
}

int Length(const SFM_FilePath& path) { return static_cast<SYS_String>(path).GetLength(); }

// Windows syntax (separator 0) drops trailing dots when parsing; on POSIX "a." and
// "a" are different files, so names handed to the system get them back: `dropped` is
// the length of the text minus the length of its parse (0 with POSIX syntax).
SYS_String WithDots(const SFM_FilePath& path, int dropped) {
  SYS_String full = path;
  if (dropped > 0) full += SYS_String('.', dropped);
  return full;
}

// Asks the file manager about a failure; without a manager nobody answers. errno is
// kept for the manager, which takes the failure's code from it.
int Ask(int code, SFM_EventData& data) {
  const int error = errno;
  SFM* manager = SFM::GetManager();
  if (!manager) return SFM::NoAnswer;
  errno = error;
  return manager->Event(code, data);
}

}  // namespace

SFM_Directory::SFM_Directory() = default;

SFM_Directory::SFM_Directory(const char* path) : SFM_FilePath(path) {}

SFM_Directory::SFM_Directory(const SYS_String& path) : SFM_FilePath(path) {}

SFM_Directory::SFM_Directory(const SFM_Directory& source) = default;

SFM_Directory& SFM_Directory::operator=(const SFM_Directory& source) = default;

SFM_Directory::~SFM_Directory() = default;

void SFM_Directory::operator=(const char* path) { SFM_FilePath::operator=(path); }

void SFM_Directory::operator=(const SYS_String& path) { SFM_FilePath::operator=(path); }

SFM_FindData* SFM_Directory::EntrySearch() {
  if (!entrySearch_) entrySearch_ = std::make_shared<SFM_FindData>();
  return entrySearch_.get();
}

SFM_FindData* SFM_Directory::SubdirSearch() {
  if (!subdirSearch_) subdirSearch_ = std::make_shared<SFM_FindData>();
  return subdirSearch_.get();
}

// ---- Enumeration ---------------------------------------------------------------------

char* SFM_Directory::GetNextItem(SFM_FindData* data, const char* pattern) {
  if (!data) return nullptr;
  if (pattern) {
    SYS_String text(pattern);
    if (LastChar(text) == Separator()) text = text.Left(text.GetLength() - 1);
    SFM_FilePath path(text);
    const int dropped = text.GetLength() - Length(path);
    path.SetDefPath(static_cast<const char*>(*this));
    const SYS_String resolved = WithDots(path, dropped);
    // A search still open in the record is ended here rather than left behind.
    data->Close();
    data->search = fs::FindFirst(resolved, data->record);
  } else if (data->search && !fs::FindNext(data->search, data->record)) {
    data->Close();
  }
  return data->search ? data->record.name : nullptr;
}

char* SFM_Directory::GetNextEntry(const char* pattern) {
  return GetNextItem(EntrySearch(), pattern);
}

char* SFM_Directory::GetNextEntryWithAttr(unsigned attrMask, const char* pattern) {
  SFM_FindData* data = EntrySearch();
  char* name = GetNextItem(data, pattern);
  // Stops at the end of the search, also when the last entry carries a masked bit.
  while (data->search && (data->record.attrib & attrMask)) name = GetNextItem(data, nullptr);
  return name;
}

char* SFM_Directory::GetNextFile(const char* pattern) {
  SFM_FindData* data = EntrySearch();
  char* name = GetNextItem(data, pattern);
  while (data->search && (data->record.attrib & fs::kAttrDirectory))
    name = GetNextItem(data, nullptr);
  return name;
}

char* SFM_Directory::GetNextSubdir(const char* pattern) {
  SFM_FindData* data = SubdirSearch();
  char* name = GetNextItem(data, pattern);
  while (data->search &&
         (!(data->record.attrib & fs::kAttrDirectory) || IsDotOrDotDot(data->record.name)))
    name = GetNextItem(data, nullptr);
  return name;
}

int SFM_Directory::FileExists(const char* name) {
  const int found = name && GetNextFile(name) ? 1 : 0;
  EntrySearch()->Close();
  return found;
}

int SFM_Directory::DirExists(const char* name) {
  const int found = name && GetNextSubdir(name) ? 1 : 0;
  SubdirSearch()->Close();
  return found;
}

// ---- Working directory and creation ----------------------------------------------------

const SYS_String SFM_Directory::GetCurDir(int /*drive*/) const {
  SFM_FilePath path(SYS_String(fs::CurrentDirectory().c_str()));
  path.AddSeparator();
  // The root "/" parses as a name (a leading separator is not seen as one), so it has no
  // directory part: the whole path is the answer then.
  SYS_String dir = path.GetFileDirectory();
  return dir.IsEmpty() ? SYS_String(path) : dir;
}

int SFM_Directory::SetCurDir(SYS_String dir) { return fs::ChangeDirectory(dir); }

int SFM_Directory::MakeDirectory(SYS_String dir) { return fs::MakeDirectory(dir) ? 1 : 0; }

int SFM_Directory::MakePath(SYS_String path) {
  if (path.IsEmpty()) return 0;
  const char separator = Separator();
  if (LastChar(path) != separator) path += separator;
  int result = 1;
  SYS_String prefix;
  for (int start = 0, end; (end = path.Find(separator, start)) >= 0; start = end + 1) {
    prefix += path.Mid(start, end - start);
    if (!prefix.IsEmpty() && !IsDrive(prefix)) result = MakeDirectory(prefix);
    prefix += separator;
  }
  return result;
}

// ---- Operations through the file manager ---------------------------------------------

SYS_String SFM_Directory::Resolve(const char* name) const {
  const SYS_String text(name);
  SFM_FilePath path(text);
  const int dropped = text.GetLength() - Length(path);
  // Only the drive or share of this directory is put in front, never its directory
  // part: "f.txt" stays in the working directory (intended).
  if (path.GetBasePath().IsEmpty() && !path.IsAbsolute()) path.SetBasePath(GetBasePath());
  return WithDots(path, dropped);
}

int SFM_Directory::DeleteFile(const char* name) {
  SSM_CHECK(SFM::GetManager(), kSource, 339);
  const SYS_String target = Resolve(name);
  SFM_EventData data(target, nullptr);
  for (;;) {
    if (fs::RemoveFile(target)) return 1;
    if (Ask(SFM::DeleteFailed, data) != SFM::Retry) return 0;
  }
}

int SFM_Directory::DeleteSubdir(const char* name) {
  SSM_CHECK(SFM::GetManager(), kSource, 473);
  SSM_CHECK(name, kSource, 474);
  const SYS_String target = Resolve(name);
  // The working directory may be the one to go; step out of it into this directory.
  if (GetCurDir(0) == SFM_FilePath(target).GetFileDirectory())
    SetCurDir(static_cast<const char*>(*this));
  SFM_EventData data(target, nullptr);
  for (;;) {
    if (fs::RemoveDirectory(target)) return 1;
    if (Ask(SFM::DeleteFailed, data) != SFM::Retry) return 0;
  }
}

int SFM_Directory::DeleteAll() {
  SFM_FilePath prefix(*this);
  prefix.AddSeparator();
  const SYS_String dir = prefix;

  for (char* name = GetNextFile("*.*"); name; name = GetNextFile(nullptr))
    if (!DeleteFile(dir + name)) return 0;

  for (char* name = GetNextSubdir("*.*"); name; name = GetNextSubdir(nullptr)) {
    const SYS_String path = dir + name;
    // A link to a directory goes like a file: emptying it would reach outside this tree.
    if (subdirSearch_->record.attrib & fs::kAttrLink) {
      if (!DeleteFile(path)) return 0;
      continue;
    }
    // Given with its separator, so that a name ending in dots keeps them.
    SFM_Directory child(path + Separator());
    if (!child.DeleteAll() || !DeleteSubdir(path)) return 0;
  }
  return 1;
}

int SFM_Directory::_CopyFile(const char* from, const char* to) {
  return fs::CopyFile(from, to, true) ? 1 : 0;
}

int SFM_Directory::CopyFile(const char* from, const char* to, int overwrite) {
  SSM_CHECK(SFM::GetManager(), kSource, 261);
  const SYS_String source = Resolve(from);
  const SYS_String target = Resolve(to);
  SFM_EventData data(source, target);

  const int bothExist = FileExists(from) && FileExists(to);
  if (bothExist && !overwrite && Ask(SFM::TargetExists, data) != SFM::GoOn) return 0;

  for (;;) {
    if (_CopyFile(source, target)) return 1;
    if (Ask(SFM::CopyFailed, data) != SFM::Retry) return 0;
  }
}

int SFM_Directory::MoveFile(const char* from, const char* to, int overwrite) {
  SSM_CHECK(SFM::GetManager(), kSource, 291);
  const SYS_String source = Resolve(from);
  const SYS_String target = Resolve(to);
  SFM_EventData data(source, target);

  if (FileExists(to)) {
    // Holding the source while the target goes makes sure the source is not in use
    // before the target is given up. When it cannot be held, the rename reports it.
    const int fd = fs::OpenExclusive(from);
    if (fd >= 0) {
      if (!overwrite && Ask(SFM::TargetExists, data) != SFM::GoOn) {
        fs::CloseFile(fd);
        return 0;
      }
      // Two names of one file: removing the target would lose the source.
      if (!fs::SameFile(source, target)) fs::RemoveFile(target);
      fs::CloseFile(fd);
    }
  }

  for (;;) {
    if (fs::Rename(source, target)) return 1;
    if (Ask(SFM::MoveFailed, data) != SFM::Retry) return 0;
  }
}

SYS_String SFM_Directory::operator+(const char* name) const {
  SFM_FilePath path(name);
  path.SetDefPath(static_cast<const char*>(*this));
  return path;
}
