// sfmanagr.cpp - SFM, the file manager: lifecycle, file events, the least recently opened list.
#include <cerrno>
#include <cstring>

#include "sfm.h"
#include "sfmdir.h"
#include "sfmfile.h"
#include "sfmmsgdb.h"
#include "ssmcheck.h"

namespace {

constexpr const char* kFile = "system/sfm/sfmanagr";
constexpr int kLineBadDirectoryIndex = 901;

#define SFM_MANAGER_CHECK(cond, line) \
  SSM_CHECK_EX(cond, "Tamsk: ", kFile, line, SSM_InternalError, 0)

SFM* g_current = nullptr;
// Set to -1, not decremented, when the manager goes: no manager is made again.
int g_instanceCount = 0;

}  // namespace

SFM_EventData::SFM_EventData(const char* fileName1, const char* fileName2)
    : fileName1_(fileName1 ? fileName1 : ""), fileName2_(fileName2 ? fileName2 : "") {}

SFM::SFM() {
  SFM_MANAGER_CHECK(g_instanceCount == 0, 155);
  SFM_MANAGER_CHECK(g_current == nullptr, 156);
  ++g_instanceCount;
  g_current = this;
}

SFM::~SFM() {
  delete messageDB_;
  messageDB_ = nullptr;
  // The files stay usable without events.
  files_.RemoveAll();
  if (g_current == this) g_current = nullptr;
  g_instanceCount = -1;  // intended: a destroyed manager is never replaced
}

SFM* SFM::GetManager() {
  if (!g_current && g_instanceCount == 0) new SFM;  // lives until the host deletes it
  return g_current;
}

SCC_Event<SFM_EventData>* SFM::GetEvent() { return &event_; }

void SFM::AddFile(SFM_File* file) { files_.AddTail(file); }

int SFM::CloseLeastRecentlyOpened() {
  SCC_SafeDListIterator<SFM_File> it(files_);
  // A file that declines (or whose buffered bytes cannot be written out) is passed
  // over for the next one; each file is asked once, so the walk always ends.
  while (SFM_File* file = it.Next()) {
    if (!file->MayBeTempClosed()) continue;
    file->TempClose();
    if (file->IsTempClosed()) return 1;
  }
  return 0;
}

namespace {

SFM_File* FindFile(SCC_SafeDList<SFM_File>& files, const SYS_String& name) {
  SCC_SafeDListIterator<SFM_File> it(files);
  while (SFM_File* file = it.Next())
    if (file->GetName() == name) return file;
  return nullptr;
}

}  // namespace

int SFM::Event(int code, SFM_EventData& data) {
  const int savedErrno = errno;
  data.SetResult(NoAnswer);
  data.SetError(static_cast<unsigned long>(savedErrno));

  // Out of file handles: give the least recently opened file's handle to the
  // caller and let it retry without asking anybody. When no file of ours holds a
  // handle a retry could not succeed, so the listeners are asked instead.
  if (code == OpenFailed && savedErrno == EMFILE && CloseLeastRecentlyOpened()) {
    errno = savedErrno;
    return Retry;
  }
  if (code >= TargetExists) data.SetText(GetErrorText(data.GetError()));
  if (code == AboutToOpen) {
    if (SFM_File* file = FindFile(files_, data.GetFileName1())) files_.MoveToTail(file);
  }

  event_.Raise(code, &data);

  if (code >= TargetExists) {
    if (SFM_File* file = FindFile(files_, data.GetFileName1())) file->SetMsg(data.GetText());
  }
  errno = savedErrno;
  return data.GetResult();
}

SYS_String SFM::GetErrorText(unsigned long error) {
  SYS_String text;
  // strerrordesc_np tells a known code from an unknown one whatever the locale.
  if (error <= static_cast<unsigned long>(INT32_MAX) && strerrordesc_np(static_cast<int>(error))) {
    char buffer[256];
    text = strerror_r(static_cast<int>(error), buffer, sizeof buffer);
    if (!text.IsEmpty()) return text;
  }
  text.Format(TR(45103), static_cast<int>(error));
  return text;
}

int SFM::LoadString(int id, SYS_String& text) {
  text = TR(id);
  return !text.IsEmpty();
}

void SFM::Initiate(const char* messageFile) {
  if (messageDB_ || !messageFile) return;
  SFM_FilePath path(messageFile);
  if (path.GetFileExtension().CompareNoCase(".mdb") == 0)
    messageDB_ = new SFM_MessageDB(SYS_String(messageFile));
  else
    messageDB_ = new SFM_MessageDB(SYS_String(messageFile), 0);
}

int SFM::IsValid() {
  int database = messageDB_ && messageDB_->IsValid();
  SFM_MANAGER_CHECK(database, 286);
  int list = files_.IsValid();
  SFM_MANAGER_CHECK(list, 289);
  int files = 1;
  SCC_SafeDListIterator<SFM_File> it(files_);
  while (SFM_File* file = it.Next()) {
    int valid = file->IsValid();
    SFM_MANAGER_CHECK(valid, 295);
    files = files && valid;
  }
  return database && list && files;
}

SYS_String SFM::GetExternalFileName(int index, const char* name) {
  SFM_MANAGER_CHECK(index >= 0, kLineBadDirectoryIndex);
  if (index < 0) return SYS_String();
  if (directories_.size() <= static_cast<size_t>(index)) directories_.resize(index + 1);
  if (!directories_[index]) directories_[index] = std::make_unique<SFM_Directory>();
  return *directories_[index] + (name ? name : "");
}

void SFM::SetExternalDirectory(int index, const char* directory) {
  SFM_MANAGER_CHECK(index >= 0, kLineBadDirectoryIndex);
  if (index < 0) return;
  if (directories_.size() <= static_cast<size_t>(index)) directories_.resize(index + 1);
  directories_[index] = std::make_unique<SFM_Directory>(directory ? directory : "");
}
