// path_fuzz.cpp - feeds arbitrary text to SFM_FilePath's parser and setters and checks
// that the parts always rebuild the whole path.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sfmpath.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // First line: the path; second line (optional): a value for the setters.
  std::string text(reinterpret_cast<const char*>(data), size);
  text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
  const std::size_t cut = text.find('\n');
  const std::string path = text.substr(0, cut);
  const std::string value = cut == std::string::npos ? std::string() : text.substr(cut + 1);

  SFM_FilePath p(path.c_str());
  const SYS_String rebuilt = p.GetBasePath() + p.GetRelPath() + p.GetFileNameExt();
  if (rebuilt != SYS_String(static_cast<const char*>(p))) std::abort();
  (void)p.GetFileName();
  (void)p.GetFileExtension();
  (void)p.GetRightDirectory();
  (void)p.IsAbsolute();

  SFM_FilePath q(p);
  q.SetFileExtension(value.c_str());
  q.SetFileName(value.c_str(), 0);
  q.SetRelPath(value.c_str());
  q.SetBasePath(value.c_str());
  q.SetDefault(value.c_str());
  q.SetDefPath(value.c_str());
  q.SetFileDirNameExt(value.c_str(), path.c_str(), value.c_str());
  q.AddSeparator();
  return 0;
}
