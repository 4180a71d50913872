// sfmpath.h - SFM_FilePath: a file path held whole and split into its components.
#pragma once

#include "brixexport.h"
#include "sysstring.h"

/// A file-system path kept both as one string and as its components:
///
///     full path = base path + relative directory + name + extension
///
/// where the base path is a drive ("C:") or network share ("\\server\share\"), the
/// relative directory runs up to and including the last separator ("\dir\sub\"), and
/// the extension is the last dot of the name and what follows it (".txt"). Both "\" and
/// "/" separate directories when parsing; the class writes DefaultSeparator.
///
/// This is pure string work: the class never touches the file system, never resolves,
/// normalises or lengthens a path and never changes case. A separator at index 0 is
/// deliberately not seen as one, so "\file.txt" is the name "\file".
///
/// The syntax follows DefaultSeparator:
/// - 1, the POSIX default: dots and colons are ordinary characters of a name
///   ("old." and "rev:2.pcb" are names as written); only a leading one-letter drive
///   of a path written on Windows ("C:\dir") is a base path;
/// - 0, Windows syntax as designed: the first ":" anywhere ends the base path
///   ("\\srv\c:x" is base "\\srv\c:" and name "x") and trailing dots of the name
///   are dropped ("name..." is "name").
///
/// Getters take an optional path: when it is non-null the object is first assigned
/// from it, so `p.GetFileExtension("a.txt")` both parses and answers. Setters return a
/// copy of the new full path.
class BRIX_API SFM_FilePath {
 public:
  /// The two characters accepted as directory separators: "\/" (backslash first).
  static const SYS_String DirectorySeparators;
  /// Index into DirectorySeparators of the separator the class writes: 1 ("/") on POSIX.
  /// It also selects the parsing syntax (see the class comment).
  static int DefaultSeparator;

  /// The separator the class writes, DirectorySeparators[DefaultSeparator].
  static char Separator() { return DefaultSeparator == 0 ? '\\' : '/'; }

  SFM_FilePath() = default;
  SFM_FilePath(const char* path);
  SFM_FilePath(const SYS_String& path);
  SFM_FilePath(const SFM_FilePath&) = default;
  SFM_FilePath& operator=(const SFM_FilePath&) = default;
  virtual ~SFM_FilePath() = default;

  /// Parses `path`; null clears the path. Returns the new full path.
  SYS_String operator=(const char* path);
  /// Parses `path`; an empty string clears the path. Returns the new full path.
  SYS_String operator=(const SYS_String& path);

  operator const char*() const { return full_; }
  operator SYS_String() const { return full_; }
  /// Non-zero when the full path is empty.
  int IsEmpty() const { return full_.IsEmpty(); }
  /// 1 when the path starts with a separator: an absolute POSIX path, which is never
  /// put below another directory although it has no base path.
  int IsAbsolute() const;

  // ---- Getters: with a non-null `path`, assign it first ------------------------------

  /// The drive or share prefix ("C:", "\\srv\share\"), or empty.
  SYS_String GetBasePath(const char* path);
  SYS_String GetBasePath() const { return base_; }
  /// The directory between base path and name, with its trailing separator.
  SYS_String GetRelPath(const char* path);
  SYS_String GetRelPath() const { return rel_; }
  /// Name and extension.
  SYS_String GetFileNameExt(const char* path);
  SYS_String GetFileNameExt() const { return nameExt_; }
  /// The name without its extension.
  SYS_String GetFileName(const char* path);
  SYS_String GetFileName() const { return name_; }
  /// The extension with its dot, or empty.
  SYS_String GetFileExtension(const char* path);
  SYS_String GetFileExtension() const { return ext_; }
  /// Base path and relative directory.
  SYS_String GetFileDirectory(const char* path);
  SYS_String GetFileDirectory() const { return base_ + rel_; }
  /// The last directory name alone, without separators ("\a\b\" gives "b"). Only the
  /// default separator is looked at.
  SYS_String GetRightDirectory(const char* path);
  SYS_String GetRightDirectory() const;

  // ---- Setters: each returns the new full path ---------------------------------------

  /// Base path := the base path of `value`.
  SYS_String SetBasePath(const char* value);
  SYS_String SetBasePath(const char* path, const char* value);
  /// Relative directory := the relative directory of `value` ("a\b" gives "a\": the
  /// argument must end in a separator to be taken whole).
  SYS_String SetRelPath(const char* value);
  SYS_String SetRelPath(const char* path, const char* value);
  /// Base path and relative directory := those of `value`, which is taken as a
  /// directory (the default separator is appended unless it ends in "\" or "/").
  SYS_String SetFileDirectory(const char* value);
  SYS_String SetFileDirectory(const char* path, const char* value);
  /// Name := the name of `value`; with `flag` 0 the extension of `value` becomes part of
  /// the name ("c.doc" gives the name "c.doc"), otherwise it is dropped.
  SYS_String SetFileName(const char* value, int flag);
  SYS_String SetFileName(const char* path, const char* value, int flag);
  /// Extension := the extension of `value`, a dot put in front when missing: "" removes
  /// the extension, "txt" and ".txt" both set ".txt", ".tar.gz" sets ".gz".
  SYS_String SetFileExtension(const char* value);
  SYS_String SetFileExtension(const char* path, const char* value);
  /// SetFileName(name of value, 1), then SetFileExtension(extension of value).
  SYS_String SetFileNameExt(const char* value);
  SYS_String SetFileNameExt(const char* path, const char* value);
  /// SetFileDirectory(dir), SetFileName(name, 1), SetFileExtension(ext), in that order.
  SYS_String SetFileDirNameExt(const char* dir, const char* name, const char* ext);
  /// Each empty component among base path, relative directory, name and extension is
  /// taken from the parse of `value`.
  SYS_String SetDefault(const char* value);
  SYS_String SetDefault(const char* path, const char* value);
  /// Puts a path without base path (and not absolute) below the directory `value`;
  /// a path with a drive, a share or a leading separator is left alone.
  SYS_String SetDefPath(const char* value);
  SYS_String SetDefPath(const char* path, const char* value);

  /// Appends the default separator to a non-empty full path that does not already end
  /// in it (a "\" on a "/" build does not count), then parses the result again.
  void AddSeparator();

 private:
  /// Parses a whole path into the components.
  virtual void Process(const SYS_String& path);
  /// Rebuilds name-with-extension and the full path from the components.
  void Regenerate();
  /// Empties every component.
  void Clear();
  /// Assigns `path` as operator=(const char*) does, when it is non-null.
  void AssignIfGiven(const char* path);

  SYS_String full_;
  SYS_String base_;
  SYS_String rel_;
  SYS_String nameExt_;
  SYS_String name_;
  SYS_String ext_;
};
