// sfm.h - the process-wide file manager SFM and SFM_EventData, the record of a file event.
#pragma once

#include <memory>
#include <vector>

#include "brixexport.h"
#include "sccdlist.h"
#include "sccevent.h"
#include "sysstring.h"

class SFM_File;
class SFM_Directory;
class SFM_MessageDB;

/// The record passed with every file event: the files concerned, the system
/// error code (errno) taken when the event was raised, the message text of the
/// failure and the answer that listeners give with SetResult.
class BRIX_API SFM_EventData {
 public:
  explicit SFM_EventData(const char* fileName1 = nullptr, const char* fileName2 = nullptr);

  /// The file concerned.
  SYS_String GetFileName1() const { return fileName1_; }
  /// The second file of a copy or move, else empty.
  SYS_String GetFileName2() const { return fileName2_; }
  /// The message text of the failure (filled by SFM::Event for failure codes).
  SYS_String GetText() const { return text_; }
  void SetText(SYS_String text) { text_ = text; }
  /// The answer of the listeners: 0 none, 1 go on, 2 retry, 3 end the process.
  int GetResult() const { return result_; }
  void SetResult(int result) { result_ = result; }
  /// The errno value captured by SFM::Event on entry.
  unsigned long GetError() const { return error_; }
  void SetError(unsigned long error) { error_ = error; }

 private:
  unsigned long error_ = 0;
  SYS_String fileName1_;
  SYS_String fileName2_;
  SYS_String text_;
  int result_ = 0;
};

/// The file manager: the one object to which files and directories report every
/// open, close and I/O failure, and whose listeners answer retry, go on or end.
///
/// There is at most one manager in a process, ever: GetManager() creates it on
/// first use, and once it has been destroyed GetManager() answers null and the
/// file classes work without events. The manager keeps every SFM_File in a list
/// ordered by last opening (head: least recently opened) and closes the least
/// recently opened file for a while when the process runs out of file handles.
///
/// Listeners are SCC_EventHook<SFM_EventData> objects hooked to GetEvent(); their
/// processors have the form `int (*)(int code, SFM_EventData* data)` and answer
/// through data->SetResult().
class BRIX_API SFM {
 public:
  /// Event codes and answers. Codes below TargetExists are notices and
  /// failures of the file itself; answers are the values of GetResult().
  enum EventCode : int {
    NoAnswer = 0,    ///< no listener answered: the caller gives up
    GoOn = 1,        ///< go on (after TargetExists: overwrite)
    Retry = 2,       ///< try the failed operation again
    EndProcess = 3,  ///< after OpenFailed only: end the process
    AboutToOpen = 101,
    Opened = 102,
    Closed = 103,
    TargetExists = 151,
    OpenFailed = 201,
    CloseFailed = 202,
    ReadFailed = 203,
    WriteFailed = 204,
    CopyFailed = 205,
    MoveFailed = 206,
    DeleteFailed = 207,
  };

  /// Constructs the one manager of the process. A second construction, while
  /// one exists or after one existed, is a failed check.
  SFM();
  /// Deletes the message database and unlinks the files still registered (they
  /// stay usable without events). No manager is created again afterwards.
  virtual ~SFM();
  SFM(const SFM&) = delete;
  SFM& operator=(const SFM&) = delete;

  /// The current manager, created on first use; null once it has been destroyed.
  static SFM* GetManager();

  /// Reports one file event (see EventCode) and returns the answer.
  int Event(int code, SFM_EventData& data);

  /// The file event to which listeners hook.
  SCC_Event<SFM_EventData>* GetEvent();

  /// Creates the message database from `messageFile` once (".mdb" files are
  /// read as prepared databases, any other as message text).
  virtual void Initiate(const char* messageFile);
  /// 1 when the message database, the file list and every file are valid.
  virtual int IsValid();
  /// The message database, or null before Initiate.
  SFM_MessageDB* GetMessageDB() const { return messageDB_; }

  /// Registers `file` as the most recently opened one (used by SFM_File).
  void AddFile(SFM_File* file);
  /// The files, least recently opened first.
  SCC_SafeDList<SFM_File>& GetFiles() { return files_; }
  /// Temporarily closes the least recently opened file that can be put back
  /// exactly later (files that cannot, such as pipes, are passed over); returns
  /// 1 when one was closed, 0 when no file qualified.
  int CloseLeastRecentlyOpened();

  /// `name` resolved against external directory `index` (the table grows on demand).
  SYS_String GetExternalFileName(int index, const char* name);
  /// Sets external directory `index` (the table grows on demand).
  void SetExternalDirectory(int index, const char* directory);

  /// The application's profile settings, kept per user in "brix.ini".
  SYS_String ReadProfileString(const char* section, const char* key, const char* defaultValue);
  void SetProfileString(const char* section, const char* key, const char* value);
  int GetProfileInt(const char* section, const char* key, int defaultValue);
  void SetProfileInt(const char* section, const char* key, int value);

  /// Starts the editor of profile setting "general"/"editor" on `name` as a
  /// new process; does nothing when no editor is set.
  static void ShowFile(const char* name);
  /// Loads resource string `id` of the library; 1 when it exists.
  static int LoadString(int id, SYS_String& text);
  /// The system's text of error code `error`, or resource string 45103 with it.
  static SYS_String GetErrorText(unsigned long error);

 private:
  SCC_SafeDList<SFM_File> files_;
  SFM_MessageDB* messageDB_ = nullptr;
  SCC_Event<SFM_EventData> event_;
  std::vector<std::unique_ptr<SFM_Directory>> directories_;
};
