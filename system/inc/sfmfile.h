// sfmfile.h - SFM_File, a named file on a buffered stream that reports its failures to SFM.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "brixexport.h"
#include "sccdlist.h"
#include "sysstring.h"

/// A named file opened through the C runtime's buffered streams, with a stored
/// open mode, typed binary access, text lines, a stack of saved positions, a
/// cached length and a copy-on-write memory mapping.
///
/// Every file registers with the file manager SFM (when there is one) and
/// reports opens, closes and I/O failures to it as events, whose listeners may
/// answer retry, give up or end the process. The manager may close a file
/// behind its owner's back when the process runs out of file handles; the next
/// access reopens it transparently, exactly as it was: same position, same
/// access, writes where the position says (append modes keep appending), never
/// truncated or created again. A file that could not be put back exactly (a pipe
/// or terminal, a file that lost its name, a ",ccs=" stream) is never parked.
///
/// A file is binary when its mode contains "b". Text operations read the pair
/// CR LF as one LF and write a bare LF.
///
/// Ownership: assigning one SFM_File to another moves the open stream, the
/// mappings and the temporary-close state to the target, which closes them; the
/// source keeps its name, mode and message and is left closed.
class BRIX_API SFM_File : public SCC_SafeDListNode<SFM_File> {
 public:
  /// Seek origins, the C runtime's values.
  enum SeekType : int { Begin = 0, Current = 1, End = 2 };

  /// A closed file named `name` (may be null or empty), registered with the manager.
  explicit SFM_File(const char* name = nullptr);
  /// A file named `name`, opened at once with `mode`; both must be non-empty.
  SFM_File(const char* name, const char* mode);
  /// A closed file with `source`'s name only; not registered with the manager.
  SFM_File(const SFM_File& source);
  /// Takes over `source`'s stream, mappings and state (see the class comment)
  /// and moves this file in the manager's list directly before `source`.
  SFM_File& operator=(SFM_File& source);
  /// Renames a closed file; returns `name`.
  const char* operator=(const char* name);
  /// Closes the file and leaves the manager's list.
  ~SFM_File() override;

  SYS_String GetName() const { return name_; }
  /// Renames the file; it must be closed.
  void SetName(const SYS_String& name);
  SYS_String GetMode() const { return mode_; }
  /// Sets the mode used by the next Open(""); the file must be closed.
  void SetMode(const SYS_String& mode);
  /// Free text for the application; the manager stores failure texts here.
  SYS_String GetMsg() const { return msg_; }
  void SetMsg(const SYS_String& msg) { msg_ = msg; }

  /// Closes the file if open, renames it and opens it with `mode`.
  virtual int ReOpen(const SYS_String& name, const SYS_String& mode);
  /// The same as IsOpen.
  virtual int IsValid();
  /// Opens the file with `mode` (stored as the file's mode), or with the stored
  /// mode when `mode` is empty. While the open fails the manager is asked:
  /// retry, give up (returns 0) or end the process. Returns 1 when open.
  virtual int Open(SYS_String mode);
  /// 1 at the end of the file (also right after SeekToEnd, before any read).
  virtual int Eof();
  /// 1 when open, also while temporarily closed by the manager.
  virtual int IsOpen();
  virtual void Flush();
  /// Closes the file (raising 103, or 202 when the close failed) and unmaps it.
  virtual void Close();
  /// Maps the whole file copy-on-write: writes through the view never reach the
  /// file. Null when the file is not open, is empty or cannot be mapped. The
  /// view stays valid until UnmapMemory or Close.
  virtual void* MapToMemory();
  /// Releases every view of the file.
  virtual void UnmapMemory();
  /// 1 when the seek succeeded, 0 when it failed or the file is not open.
  virtual int Seek(int offset, SeekType origin);
  /// Saves the position and seeks; when the seek fails, returns to the saved
  /// position, saves nothing and returns 0.
  virtual int PushPosition(int offset, SeekType origin);
  /// Returns to the last saved position.
  virtual void PopPosition();

  /// Raw bytes: the number of bytes read (0 when not open).
  virtual long Read(void* buffer, long count);
  /// Raw bytes: 1 when every byte was written. Failures are reported only through
  /// the result, never as event 204 (intended: only PutChar and Printf raise it).
  virtual int Write(const void* buffer, long count);

  /// Typed binary access. Integers move 1, 2 or 4 bytes (long and unsigned long
  /// move 4); `reverseBits` reverses the order of all bits of the value (bit 0
  /// becomes the top bit), not of its bytes. The file must be binary. Get returns
  /// the value read and stores it in `value` (bytes missing at the end read as 0).
  virtual double Get(double& value);
  virtual unsigned long Get(unsigned long& value, int reverseBits = 0);
  virtual long Get(long& value, int reverseBits = 0);
  virtual unsigned char Get(unsigned char& value, int reverseBits = 0);
  virtual char Get(char& value, int reverseBits = 0);
  virtual unsigned short Get(unsigned short& value, int reverseBits = 0);
  virtual short Get(short& value, int reverseBits = 0);
  virtual unsigned int Get(unsigned int& value, int reverseBits = 0);
  virtual int Get(int& value, int reverseBits = 0);
  virtual void Put(double value);
  virtual void Put(unsigned long value, int reverseBits = 0);
  virtual void Put(long value, int reverseBits = 0);
  virtual void Put(unsigned char value, int reverseBits = 0);
  virtual void Put(char value, int reverseBits = 0);
  virtual void Put(unsigned short value, int reverseBits = 0);
  virtual void Put(short value, int reverseBits = 0);
  virtual void Put(unsigned int value, int reverseBits = 0);
  virtual void Put(int value, int reverseBits = 0);

  /// One character of a text file; CR LF reads as LF. 0xFF when not open, at the
  /// end or on a read error.
  virtual char GetChar();
  /// 1 when the character was written; a failure raises 204.
  virtual int PutChar(char ch);
  /// The next line with its line feed, at most `maxLength` - 1 characters (510
  /// when `maxLength` is 0, negative or at least 511); a longer line comes back
  /// in pieces. Empty at the end, when not open and on a read error (203).
  virtual SYS_String GetLine(long maxLength = 0);
  /// Writes `line` and a line feed; 1 when every byte was written (no event).
  virtual int WriteLine(const SYS_String& line);
  /// Formatted write; the number of characters written, 0 on failure (204).
  virtual long Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  void Rewind() { Seek(0, Begin); }
  void SeekToEnd() { Seek(0, End); }
  /// The position, or -1 when the file is not open.
  long GetPosition();
  /// The length in bytes (cached until a write reaches the end), or -1 when the
  /// file cannot be measured. A closed file is opened for the measurement only.
  long GetLength();

  /// File operations through a default SFM_Directory and the manager's retry protocol.
  int Copy(const char* to, int overwrite);
  int Move(const char* to, int overwrite);
  int Delete();
  int Exists();

  /// The stream while open (null when closed or temporarily closed).
  std::FILE* GetStream() const { return stream_; }
  /// 1 while the manager has closed the stream and the file still counts as open.
  int IsTempClosed() const { return tempClosed_; }

 private:
  friend class SFM;
  struct Mapping;

  virtual int MayBeTempClosed();
  virtual void TempClose();
  virtual int ReOpen();

  void Register();
  void CheckLength();
  int SeekTo(long long offset, int origin);
  void ReleaseMappings();
  int ReadChecked(void* buffer, int size, const char* what);
  void WriteChecked(const void* buffer, int size);
  template <class U, class S>
  U GetInteger(U& value, int reverseBits);
  template <class U, class S>
  void PutInteger(U value, int reverseBits);

  std::FILE* stream_ = nullptr;
  SYS_String name_;
  SYS_String mode_;
  SYS_String msg_;
  long length_ = -1;
  int tempClosed_ = 0;
  std::vector<long> positions_;
  Mapping* mapping_ = nullptr;
  // The file a parked stream was open on (device and inode), so that the reopen
  // never lands on another file that has taken the name.
  std::uint64_t parkedDevice_ = 0;
  std::uint64_t parkedInode_ = 0;
};
