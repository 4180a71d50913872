// draw.cpp - brixsys draw: saved recorded drawings rendered to PNG, SVG or PDF, and listed
// command by command.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "picture.h"
#include "toolmain.h"
#include "uidrawing.h"

namespace brixtool {

const char kDrawUsage[] =
    "usage: brixsys draw render [OPTION...] DRAWING OUT\n"
    "       brixsys draw dump DRAWING\n"
    "\n"
    "  render  replays a saved drawing onto a new picture, fitted into it, and writes\n"
    "          OUT (replaced whole, never left half-written)\n"
    "  dump    lists the drawing's commands in words, one a line; for a damaged\n"
    "          drawing, the commands before the first bad word and where and why it\n"
    "          is bad\n"
    "\n";

const char* DrawUsage() {
  static const std::string text = std::string(kDrawUsage) + kPictureOptionsUsage +
                                  "\nExit status: 0 done, 1 failed or the drawing damaged, 2 usage error.\n";
  return text.c_str();
}

}  // namespace brixtool

namespace {

using brixtool::Fail;
using brixtool::kExitFailed;
using brixtool::kExitOk;
using brixtool::UsageError;

constexpr std::size_t kHeaderBytes = 12;

std::uint32_t GetLE(const unsigned char* p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
         std::uint32_t(p[3]) << 24;
}

// Reads a drawing file: a regular file, not reached through a symbolic link, no larger
// than the largest drawing. Prints why on failure.
bool ReadDrawingFile(const char* path, std::vector<unsigned char>& bytes) {
  // Non-blocking: a FIFO in the file's place must be refused, not waited on.
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  struct stat info;
  if (fd < 0 || fstat(fd, &info) != 0) {
    Fail(std::string(path) + ": " + strerror(errno));
    if (fd >= 0) close(fd);
    return false;
  }
  constexpr std::uint64_t kLargest = kHeaderBytes + 4 * std::uint64_t(CDynamic::kMaxWords);
  if (!S_ISREG(info.st_mode) || std::uint64_t(info.st_size) > kLargest) {
    close(fd);
    Fail(std::string(path) + (S_ISREG(info.st_mode) ? ": larger than any drawing"
                                                    : ": not a regular file"));
    return false;
  }
  bytes.resize(std::size_t(info.st_size));
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t n = read(fd, bytes.data() + got, bytes.size() - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += std::size_t(n);
  }
  const int saved = errno;
  close(fd);
  if (got != bytes.size()) {
    errno = saved;
    Fail(std::string(path) + ": cannot read" + brixtool::ErrnoReason());
    return false;
  }
  return true;
}

// The words of a drawing file after its header is checked; prints why a header is refused.
bool ReadWords(const char* path, const std::vector<unsigned char>& bytes,
               std::vector<std::uint32_t>& words) {
  if (bytes.size() < kHeaderBytes || GetLE(bytes.data()) != CDynamic::kFileMagic) {
    Fail(std::string(path) + ": not a drawing (no BXDW header)");
    return false;
  }
  if (GetLE(bytes.data() + 4) != CDynamic::kFileVersion) {
    Fail(std::string(path) + ": drawing format version " + std::to_string(GetLE(bytes.data() + 4)) +
         ", this program reads version " + std::to_string(CDynamic::kFileVersion));
    return false;
  }
  const std::uint64_t declared = GetLE(bytes.data() + 8);
  const std::uint64_t held = (bytes.size() - kHeaderBytes) / 4;
  if (declared != held || (bytes.size() - kHeaderBytes) % 4 != 0) {
    Fail(std::string(path) + ": declares " + std::to_string(declared) + " words but holds " +
         std::to_string(bytes.size() - kHeaderBytes) + " bytes after its header");
    return false;
  }
  words.resize(std::size_t(held));
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = GetLE(bytes.data() + kHeaderBytes + 4 * i);
  return true;
}

int Dump(const char* path) {
  std::vector<unsigned char> bytes;
  std::vector<std::uint32_t> words;
  if (!ReadDrawingFile(path, bytes) || !ReadWords(path, bytes, words)) return kExitFailed;
  std::string listing;
  const UI_PlayResult result = UI_DrawingPlayer::Describe(words.data(), words.size(), listing);
  // The listing's own last line names a failure; the message on standard error says it
  // with the file's byte position.
  if (!result.IsComplete()) listing.erase(listing.rfind('\n', listing.size() - 2) + 1);
  fwrite(listing.data(), 1, listing.size(), stdout);
  if (!result.IsComplete())
    return Fail(std::string(path) + ": " + brixtool::DescribeFailure(result));
  printf("%zu commands, %zu words\n", result.played, words.size());
  return kExitOk;
}

}  // namespace

namespace brixtool {

/// Loads a drawing file into `drawing`, printing why it is refused.
bool LoadDrawing(const char* path, CDynamic& drawing) {
  std::vector<unsigned char> bytes;
  std::vector<std::uint32_t> words;
  if (!ReadDrawingFile(path, bytes) || !ReadWords(path, bytes, words)) return false;
  UI_PlayResult result;
  if (drawing.LoadImage(bytes.data(), bytes.size(), &result)) return true;
  Fail(std::string(path) + ": " + DescribeFailure(result));
  return false;
}

/// Renders `drawing` into `out` with the options; prints why on failure.
int RenderDrawing(const CDynamic& drawing, const std::string& out, const PictureOptions& options) {
  UI_CairoFormat format;
  if (!PictureFormat(out, format))
    return UsageError("\"" + out + "\": want a picture ending in .png, .svg or .pdf");
  auto area = MakeSurface(format, options, drawing.GetBounds());
  const UI_PlayResult played = ReplayWithProgress(drawing, *area, "rendering " + out);
  if (!played.IsComplete()) return Fail(out + ": " + DescribeFailure(played));
  errno = 0;
  if (!area->WriteFile(out.c_str())) return Fail("cannot write " + out + ErrnoReason());
  return kExitOk;
}

int RunDraw(int argc, char** argv) {
  if (argc >= 2 && strcmp(argv[1], "render") == 0) {
    int at = 2;
    PictureOptions options;
    if (!ParsePictureOptions(argc, argv, &at, options)) return kExitUsage;
    if (argc - at != 2) return UsageError("render wants DRAWING and OUT");
    UI_CairoFormat format;
    if (!PictureFormat(argv[at + 1], format))
      return UsageError(std::string(1, '"').append(argv[at + 1]).append("\": want a picture ending in .png, .svg or .pdf"));
    CDynamic drawing;
    if (!LoadDrawing(argv[at], drawing)) return kExitFailed;
    return RenderDrawing(drawing, argv[at + 1], options);
  }
  return Dispatch(argc, argv, {{"dump", 1, 1, [&] { return Dump(argv[2]); }}});
}

}  // namespace brixtool
