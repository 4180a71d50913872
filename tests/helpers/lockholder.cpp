// lockholder.cpp - a second process for the project tests: takes locks and opens on command.
//
// Usage: lockholder <file>. Reads one command a line from stdin and answers one
// line on stdout:
//   lock          TryLockProjectFile(file)              -> 1 or 0
//   write         keeps a writing accessor alive          -> 1 or 0 (its validity)
//   endwrite      ends the writing accessor               -> ok
//   open A S      opens file with access A and share S   -> 1 or 0 (kept open)
//   try A S       the same, closed again at once          -> 1 or 0
//   flock         holds flock(LOCK_EX) on file            -> 1 or 0 (kept until "closeall")
//   rangelock     holds a whole-file fcntl write lock     -> 1 or 0 (kept until "closeall")
//   closeall      closes every descriptor from "open"    -> ok
//   who           holder of file's lock: "user|computer"
//   unlock        SetNewFileName("")                     -> ok
//   quit          exits
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "../../system/platform/share_posix.h"
#include "sfmproject.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: lockholder <file>\n");
    return 2;
  }
  const std::string file = argv[1];
  // One quick attempt: the tests ask what is refused, and refusals must not wait.
  SFM_ProjectFile::SetOpenAttempts(1);
  SFM_ProjectFile::SetOpenTimeout(0);
  std::unique_ptr<SFM_ProjectFile> writer;
  std::vector<int> opened;
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    std::string answer = "ok";
    if (command == "lock") {
      answer = std::to_string(SFM_ProjectFile::TryLockProjectFile(file.c_str()));
    } else if (command == "write") {
      writer = std::make_unique<SFM_ProjectFile>(1, "");
      answer = std::to_string(writer->IsValid());
    } else if (command == "endwrite") {
      writer.reset();
    } else if (command == "open" || command == "try") {
      unsigned access = 0;
      unsigned share = 0;
      words >> access >> share;
      const int fd = brix::share::Open(file.c_str(), access, share, brix::share::kOpenExisting);
      if (fd != -1 && command == "open") opened.push_back(fd);
      if (fd != -1 && command == "try") brix::share::Close(fd);
      answer = fd != -1 ? "1" : "0";
    } else if (command == "flock" || command == "rangelock") {
      // Locks of other programs, as this layer must live beside them (on NFS the
      // client turns flock() into a whole-file byte-range lock).
      const int fd = open(file.c_str(), O_RDWR | O_CLOEXEC);
      struct flock range = {};
      range.l_type = F_WRLCK;
      range.l_whence = SEEK_SET;
      const bool ok = fd != -1 && (command == "flock" ? flock(fd, LOCK_EX | LOCK_NB) == 0
                                                      : fcntl(fd, F_SETLK, &range) == 0);
      if (fd != -1) opened.push_back(fd);
      answer = ok ? "1" : "0";
    } else if (command == "closeall") {
      for (int fd : opened) brix::share::Close(fd);
      opened.clear();
    } else if (command == "who") {
      answer = std::string(SFM_ProjectFile::GetUserName(file.c_str()).GetString()) + "|" +
               SFM_ProjectFile::GetComputerName(file.c_str()).GetString();
    } else if (command == "unlock") {
      SFM_ProjectFile::SetNewFileName("");
    } else if (command == "quit") {
      break;
    } else {
      answer = "?";
    }
    std::cout << answer << std::endl;
  }
  return 0;
}
