// lockholder.cpp - a second process for the project tests: takes locks and opens on command.
//
// Usage: lockholder <file>. Reads one command a line from stdin and answers one
// line on stdout, until end of input:
//   lock          TryLockProjectFile(file)              -> 1 or 0
//   write         keeps a writing accessor alive          -> 1 or 0 (its validity)
//   endwrite      ends the writing accessor               -> ok
//   open A S      opens file with access A and share S   -> 1 or 0 (kept open)
//   try A S       the same, closed again at once          -> 1 or 0
//   closeall      closes every descriptor kept            -> ok
//   who           holder of file's lock: "user|computer"
//   unlock        SetNewFileName("")                     -> ok
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "../../system/platform/share_posix.h"
#include "sfmproject.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const char* file = argv[1];
  // One quick attempt: the tests ask what is refused, and refusals must not wait.
  SFM_ProjectFile::SetOpenAttempts(1);
  SFM_ProjectFile::SetOpenTimeout(0);
  std::unique_ptr<SFM_ProjectFile> writer;
  std::vector<int> kept;
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command;
    unsigned access = 0, share = 0;
    words >> command >> access >> share;
    std::string answer = "ok";
    if (command == "lock") {
      answer = std::to_string(SFM_ProjectFile::TryLockProjectFile(file));
    } else if (command == "write") {
      writer = std::make_unique<SFM_ProjectFile>(1, "");
      answer = std::to_string(writer->IsValid());
    } else if (command == "endwrite") {
      writer.reset();
    } else if (command == "open" || command == "try") {
      const int fd = brix::share::Open(file, access, share, brix::share::kOpenExisting);
      if (fd != -1) command == "open" ? kept.push_back(fd) : brix::share::Close(fd);
      answer = fd != -1 ? "1" : "0";
    } else if (command == "closeall") {
      for (int fd : kept) brix::share::Close(fd);
      kept.clear();
    } else if (command == "who") {
      answer = std::string(SFM_ProjectFile::GetUserName(file).GetString()) + "|" +
               SFM_ProjectFile::GetComputerName(file).GetString();
    } else if (command == "unlock") {
      SFM_ProjectFile::SetNewFileName("");
    }
    std::cout << answer << std::endl;
  }
  return 0;
}
