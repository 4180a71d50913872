// sfmpath.cpp - SFM_FilePath: parsing a path into its components and rebuilding it.
#include "sfmpath.h"

namespace {

// Same bytes as SFM_FilePath::DirectorySeparators, usable during static initialisation.
constexpr const char kSeparators[] = "\\/";

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

char LastChar(const SYS_String& s) { return s.IsEmpty() ? '\0' : s[s.GetLength() - 1]; }

bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The index of the colon that ends a drive, or -1 when `s` has no drive.
int DriveColon(const SYS_String& s) {
  if (SFM_FilePath::DefaultSeparator == 0) return s.Find(':', 0);
  return s.GetLength() >= 2 && IsAsciiLetter(s[0]) && s[1] == ':' ? 1 : -1;
}

}  // namespace

const SYS_String SFM_FilePath::DirectorySeparators(kSeparators);
int SFM_FilePath::DefaultSeparator = 1;

SFM_FilePath::SFM_FilePath(const char* path) { Process(SYS_String(path)); }

SFM_FilePath::SFM_FilePath(const SYS_String& path) { Process(path); }

SYS_String SFM_FilePath::operator=(const char* path) {
  if (!path)
    Clear();
  else
    Process(SYS_String(path));
  return full_;
}

SYS_String SFM_FilePath::operator=(const SYS_String& path) {
  if (path.IsEmpty())
    Clear();
  else
    Process(path);
  return full_;
}

int SFM_FilePath::IsAbsolute() const { return IsSeparator(full_[0]) ? 1 : 0; }

void SFM_FilePath::Process(const SYS_String& s) {
  const int length = s.GetLength();
  int start = 0;

  // Base path. Windows syntax (separator 0) ends a drive at the first colon anywhere,
  // as designed. POSIX syntax (separator 1) has a colon as an ordinary character of a
  // name ("rev:2.pcb"); only a leading one-letter drive written on Windows counts.
  const int colon = DriveColon(s);
  if (colon >= 0) {
    base_ = s.Left(colon + 1);
    start = colon + 1;
  } else if (length > 2 && IsSeparator(s[0]) && s[0] == s[1]) {
    // A share "\\server\share\" keeps the separator that ends it, unlike a drive,
    // whose following separator belongs to the relative directory (intended).
    int end = -1;
    const int p1 = s.FindOneOf(kSeparators, 2);
    if (p1 >= 0) end = s.FindOneOf(kSeparators, p1 + 1);
    if (end < 0) end = length - 1;
    base_ = s.Left(end + 1);
    start = end + 1;
  } else {
    base_ = SYS_String();
  }

  // The search never reports index 0, so a lone leading separator belongs to the name
  // ("\file.txt" is the name "\file"); intended.
  const int last = s.ReverseFindOneOf(kSeparators, -2);
  SYS_String nameExt;
  if (last < start) {
    rel_ = SYS_String();
    nameExt = s.Mid(start);
  } else {
    rel_ = s.Mid(start, last + 1 - start);
    nameExt = s.Mid(last + 1);
  }

  // Windows file systems ignore trailing dots ("file." is "file"), so Windows syntax
  // drops them. On POSIX they are part of the name: "old." and "old" are two files.
  if (DefaultSeparator == 0) nameExt.TrimRight(".");
  const int dot = nameExt.ReverseFind('.', -2);
  if (dot < 0) {
    name_ = nameExt;
    ext_ = SYS_String();
  } else {
    name_ = nameExt.Left(dot);
    ext_ = nameExt.Mid(dot);
  }
  Regenerate();
}

void SFM_FilePath::Regenerate() {
  nameExt_ = name_ + ext_;
  full_ = base_ + rel_;
  full_ += nameExt_;
}

void SFM_FilePath::Clear() {
  base_.Empty();
  rel_.Empty();
  name_.Empty();
  ext_.Empty();
  Regenerate();
}

void SFM_FilePath::AssignIfGiven(const char* path) {
  if (path) *this = path;
}

// ---- Getters -------------------------------------------------------------------------

SYS_String SFM_FilePath::GetBasePath(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return base_;
}

SYS_String SFM_FilePath::GetRelPath(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return rel_;
}

SYS_String SFM_FilePath::GetFileNameExt(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return nameExt_;
}

SYS_String SFM_FilePath::GetFileName(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return name_;
}

SYS_String SFM_FilePath::GetFileExtension(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return ext_;
}

SYS_String SFM_FilePath::GetFileDirectory(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return GetFileDirectory();
}

SYS_String SFM_FilePath::GetRightDirectory(const char* path) {
  AssignIfGiven(path);
  Regenerate();
  return GetRightDirectory();
}

SYS_String SFM_FilePath::GetRightDirectory() const {
  // Only the separator the class writes is looked at, never the other one (intended).
  const char separator = Separator();
  SYS_String dir = rel_;
  if (LastChar(dir) == separator) dir = dir.Left(dir.GetLength() - 1);
  const int last = dir.ReverseFind(separator, -2);
  return last >= 0 ? dir.Mid(last + 1) : dir;
}

// ---- Setters -------------------------------------------------------------------------

SYS_String SFM_FilePath::SetBasePath(const char* value) {
  base_ = SFM_FilePath(value).base_;
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetBasePath(const char* path, const char* value) {
  GetBasePath(path);
  return SetBasePath(value);
}

SYS_String SFM_FilePath::SetRelPath(const char* value) {
  rel_ = SFM_FilePath(value).rel_;
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetRelPath(const char* path, const char* value) {
  GetRelPath(path);
  return SetRelPath(value);
}

SYS_String SFM_FilePath::SetFileDirectory(const char* value) {
  SYS_String dir(value);
  if (!dir.IsEmpty() && !IsSeparator(LastChar(dir))) dir += Separator();
  const SFM_FilePath parsed(dir);
  base_ = parsed.base_;
  rel_ = parsed.rel_;
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetFileDirectory(const char* path, const char* value) {
  GetFileDirectory(path);
  return SetFileDirectory(value);
}

SYS_String SFM_FilePath::SetFileName(const char* value, int flag) {
  const SFM_FilePath parsed(value);
  // With flag 0 the extension stays inside the name, in front of the path's own one.
  name_ = flag == 0 ? parsed.nameExt_ : parsed.name_;
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetFileName(const char* path, const char* value, int flag) {
  GetFileName(path);
  return SetFileName(value, flag);
}

SYS_String SFM_FilePath::SetFileExtension(const char* value) {
  SYS_String ext(value);
  if (ext[0] != '.') ext = "." + ext;
  ext_ = SFM_FilePath(ext).ext_;
  // A lone dot is no extension: "" removes it, whichever syntax keeps trailing dots.
  if (ext_ == ".") ext_.Empty();
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetFileExtension(const char* path, const char* value) {
  GetFileExtension(path);
  return SetFileExtension(value);
}

SYS_String SFM_FilePath::SetFileNameExt(const char* value) {
  const SFM_FilePath parsed(value);
  // The name is parsed once more by SetFileName, so "a.tar.gz" sets "a" + ".gz" (intended).
  SetFileName(parsed.name_, 1);
  return SetFileExtension(parsed.ext_);
}

SYS_String SFM_FilePath::SetFileNameExt(const char* path, const char* value) {
  GetFileNameExt(path);
  return SetFileNameExt(value);
}

SYS_String SFM_FilePath::SetFileDirNameExt(const char* dir, const char* name, const char* ext) {
  SetFileDirectory(dir);
  SetFileName(name, 1);
  return SetFileExtension(ext);
}

SYS_String SFM_FilePath::SetDefault(const char* value) {
  const SFM_FilePath parsed(value);
  if (base_.IsEmpty()) base_ = parsed.base_;
  if (rel_.IsEmpty()) rel_ = parsed.rel_;
  if (name_.IsEmpty()) name_ = parsed.name_;
  if (ext_.IsEmpty()) ext_ = parsed.ext_;
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetDefault(const char* path, const char* value) {
  GetFileName(path);
  return SetDefault(value);
}

SYS_String SFM_FilePath::SetDefPath(const char* value) {
  if (!base_.IsEmpty() || IsAbsolute()) return full_;
  const char separator = Separator();
  const SFM_FilePath parsed(value);
  SYS_String dir = parsed.rel_ + parsed.nameExt_;
  if (!dir.IsEmpty() && LastChar(dir) != separator) dir += separator;
  dir += rel_;
  if (!dir.IsEmpty() && LastChar(dir) != separator) dir += separator;
  base_ = parsed.base_;
  rel_ = dir;
  Regenerate();
  return full_;
}

SYS_String SFM_FilePath::SetDefPath(const char* path, const char* value) {
  GetFileName(path);
  return SetDefPath(value);
}

void SFM_FilePath::AddSeparator() {
  const char separator = Separator();
  if (full_.IsEmpty() || LastChar(full_) == separator) return;
  SYS_String path = full_;
  path += separator;
  Process(path);
}
