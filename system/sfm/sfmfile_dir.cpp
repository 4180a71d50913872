// sfmfile_dir.cpp - SFM_File's copy, move, delete and existence test through SFM_Directory.
#include "sfmdir.h"
#include "sfmfile.h"

int SFM_File::Copy(const char* to, int overwrite) {
  SFM_Directory dir;
  return dir.CopyFile(name_, to, overwrite);
}

int SFM_File::Move(const char* to, int overwrite) {
  SFM_Directory dir;
  return dir.MoveFile(name_, to, overwrite);
}

int SFM_File::Delete() {
  SFM_Directory dir;
  return dir.DeleteFile(name_);
}

int SFM_File::Exists() {
  SFM_Directory dir;
  return dir.FileExists(name_);
}
