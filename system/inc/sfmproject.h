// sfmproject.h - SFM_ProjectFile: the workstation lock on the open project and accessors to it.
#pragma once

#include "brixexport.h"
#include "sysstring.h"

/// Guards the one project (design) file a process works on against other
/// processes and machines, and hands out descriptors to it.
///
/// The lock is file sharing: the process keeps the project open with a share
/// mode that lets others read it (write lock) or shuts them out (read-write
/// lock, taken while an accessor writes). Beside the project a lock-information
/// file "~$<name>.inf" names the user and computer holding the lock, so that a
/// process that cannot open the project can tell its user who has it.
///
/// The lock state is process-wide (static). SFM_ProjectFile objects are
/// short-lived accessors: they borrow the shared descriptors (never close the
/// one returned by operator void* or GetDescriptor) and count their users; the
/// first writing accessor upgrades the lock and the last one downgrades it
/// again. Copying an accessor copies its fields as they are, so both copies
/// give their counts back when they die; keep one owner per accessor.
///
/// A handle crosses the interface as the descriptor number held in a void*;
/// (void*)-1 means none.
class BRIX_API SFM_ProjectFile {
 public:
  /// An accessor for the project (empty or same `name` ignoring case) or for
  /// another file `name`, which it opens exclusively. With `forWrite` the first
  /// writer takes the read-write lock; the accessor is invalid when that fails.
  SFM_ProjectFile(int forWrite, const char* name);
  /// Gives back the counts: the last writer downgrades to the write lock, the
  /// last reader closes the read descriptor, another file is closed.
  ~SFM_ProjectFile();
  SFM_ProjectFile(const SFM_ProjectFile&) = default;
  SFM_ProjectFile& operator=(const SFM_ProjectFile&) = default;

  /// 1 when the accessor has a descriptor.
  int IsValid();
  /// The descriptor as a handle, (void*)-1 when invalid.
  operator void*();
  /// The descriptor, -1 when invalid.
  int GetDescriptor() const { return m_handle; }

  /// Reads up to `count` bytes; the number read, 0 on failure or when invalid.
  unsigned long Read(void* buffer, unsigned long count);
  /// Writes `count` bytes; the number written, 0 on failure or when invalid.
  unsigned long Write(const void* buffer, unsigned long count);
  /// The size's low 32 bits, or (unsigned long)-1 when invalid.
  unsigned long GetFileSize();
  /// The position's low 32 bits, or (unsigned long)-1 when invalid.
  unsigned long GetFilePointer();
  /// Moves by `distance` from the start (0), the position (1) or the end (2);
  /// the new position's low 32 bits, or (unsigned long)-1 when invalid or refused.
  unsigned long SetFilePointer(long distance, unsigned long method);
  /// Empties the file and puts the position at 0.
  void Clear();
  /// A new descriptor on the same open (same access, same locks), or (void*)-1.
  /// The caller closes it.
  void* Duplicate();

  /// Takes the write lock on `name`, giving up the lock on the previous
  /// project. 1 on success (also when `name` is locked already), 0 when the
  /// file cannot be opened; nothing changes then.
  static int TryLockProjectFile(const char* name);
  /// Releases any lock; the project name becomes `name` without a lock. Returns 1.
  static int SetNewFileName(const char* name);
  /// 1 when the process holds the write (or read-write) lock.
  static int IsLockW();
  /// The project name, empty when none.
  static SYS_String GetProjectFileName();

  /// The user holding the lock on `projectFile` (the current project when
  /// empty), read from its lock-information file; empty when unknown. The
  /// answer for the last file asked about is cached.
  static SYS_String GetUserName(const char* projectFile);
  /// The computer holding the lock on `projectFile`; see GetUserName.
  static SYS_String GetComputerName(const char* projectFile);
  /// The lock-information file of `project`: its directory, "~$", its name and,
  /// with `info`, ".inf" ("/a/b.pcb" gives "/a/~$b.pcb.inf").
  static SYS_String CreateTempFilePath(const char* project, int info = 1);

  /// Called with 1 before a file is opened and with 0 afterwards, so that the
  /// host can show a wait cursor during retries. Null removes it.
  static void SetWaitCursorHook(void (*hook)(int show));
  /// How many times an open is tried (0 counts as 1; default 2) and over how
  /// many seconds the attempts spread (default 1; 0 pauses 1 ms).
  static void SetOpenAttempts(int attempts);
  static int GetOpenAttempts();
  static void SetOpenTimeout(int seconds);
  static int GetOpenTimeout();
  /// The pause after each failed open attempt, in milliseconds: 1000 / (attempts /
  /// timeout), truncated, at most 1000; 1 when the timeout is 0 or negative.
  static int GetOpenPause();

 private:
  static int IsLockRW();
  static int LockW();
  static int LockRW();
  static int Relock(bool exclusive);
  static void Unlock();
  static int CreateFileH(const char* name, unsigned access, unsigned share, int disposition,
                         unsigned options = 0);
  static int CreateTempFile();
  static void DeleteTempFile();
  static void GetInfo();
  static int GetFile();
  static int GetTempFile();
  static void CloseTempFile();
  static int IsTempFileOpen();
  static int SetOtherFileName(const char* name);
  static void CloseOtherFile();

  int m_handle = -1;
  int m_holdsWriter = 0;
  int m_holdsReader = 0;
  int m_otherFile = 0;
};
