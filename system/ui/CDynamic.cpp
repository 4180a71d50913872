// CDynamic.cpp - the recorded drawing: bounds, clearing and its file form.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>

#include "platform/fs_posix.h"
#include "uidrawing.h"

namespace {

constexpr std::size_t kHeaderBytes = 12;

std::uint32_t GetLE(const unsigned char* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}
void PutLE(unsigned char* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

// Closes a descriptor when leaving scope; errno survives the close.
struct FdGuard {
  int fd;
  ~FdGuard() {
    if (fd < 0) return;
    const int saved = errno;
    ::close(fd);
    errno = saved;
  }
};

}  // namespace

CDynamic::CDynamic() { bounds_.Invalidate(); }
CDynamic::~CDynamic() = default;

void CDynamic::TooLarge() { throw std::length_error("drawing exceeds its word limit"); }

void CDynamic::Clear() {
  words_.clear();
  words_.shrink_to_fit();
  bounds_.Invalidate();
  cursor_ = SYS_Point();
  batchDepth_ = 0;
  changed_.Raise(6, nullptr);
}

void CDynamic::ExtendBounds(const SYS_Box& box) {
  SYS_Box b = box;
  b.Normalize();
  if (!bounds_.IsValid()) {
    bounds_ = b;
    return;
  }
  bounds_.Set(std::min(bounds_.GetLeft(), b.GetLeft()), std::min(bounds_.GetLower(), b.GetLower()),
              std::max(bounds_.GetRight(), b.GetRight()), std::max(bounds_.GetUpper(), b.GetUpper()));
}

void CDynamic::ExtendBounds(const SYS_Point& p, long halfWidth) {
  const std::int64_t h = std::abs(static_cast<std::int64_t>(static_cast<std::int32_t>(halfWidth)));
  auto clamp = [](std::int64_t v) {
    return static_cast<long>(std::clamp<std::int64_t>(v, INT32_MIN, INT32_MAX));
  };
  ExtendBounds(SYS_Box(clamp(p.GetX() - h), clamp(p.GetY() - h), clamp(p.GetX() + h),
                       clamp(p.GetY() + h)));
}

int CDynamic::Save(const char* path) const {
  if (!path || !*path) {
    errno = EINVAL;
    return 0;
  }
  std::vector<unsigned char> bytes(kHeaderBytes + 4 * words_.size());
  PutLE(bytes.data(), kFileMagic);
  PutLE(bytes.data() + 4, kFileVersion);
  PutLE(bytes.data() + 8, static_cast<std::uint32_t>(words_.size()));
  for (std::size_t i = 0; i < words_.size(); ++i) PutLE(bytes.data() + kHeaderBytes + 4 * i, words_[i]);

  // The old file stays whole until the new one is complete.
  return brix::fs::ReplaceContents(path, bytes.data(), bytes.size()) ? 1 : 0;
}

int CDynamic::Load(const char* path, UI_PlayResult* result) {
  if (!path) {
    errno = EINVAL;
    return 0;
  }
  // Non-blocking, so that a FIFO put in the file's place cannot hang the open.
  FdGuard guard{::open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
  if (guard.fd < 0) return 0;
  struct stat st {};
  if (::fstat(guard.fd, &st) != 0) return 0;
  // The header alone bounds what a valid file may hold; anything else is refused before
  // reading.
  if (!S_ISREG(st.st_mode) || st.st_size < static_cast<off_t>(kHeaderBytes) ||
      static_cast<std::uint64_t>(st.st_size) > kHeaderBytes + 4 * static_cast<std::uint64_t>(kMaxWords)) {
    errno = EINVAL;
    return 0;
  }
  std::vector<unsigned char> bytes(static_cast<std::size_t>(st.st_size));
  if (brix::fs::ReadAll(guard.fd, bytes.data(), bytes.size()) != bytes.size()) {
    if (errno == 0) errno = EIO;
    return 0;
  }
  return LoadImage(bytes.data(), bytes.size(), result);
}

int CDynamic::LoadImage(const unsigned char* data, std::size_t size, UI_PlayResult* result) {
  if (!data || size < kHeaderBytes || GetLE(data) != kFileMagic || GetLE(data + 4) != kFileVersion) {
    errno = EINVAL;
    return 0;
  }
  const std::uint64_t count = GetLE(data + 8);
  if (count > kMaxWords || size != kHeaderBytes + 4 * count) {
    errno = EINVAL;
    return 0;
  }
  std::vector<std::uint32_t> words(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < words.size(); ++i) words[i] = GetLE(data + kHeaderBytes + 4 * i);

  // Re-recording validates every command and rebuilds the bounds and position.
  CDynamic fresh;
  UI_DrawArea recorder;
  recorder.AttachDrawing(&fresh);
  const UI_PlayResult played = UI_DrawingPlayer::Play(words.data(), words.size(), recorder);
  if (result) *result = played;
  if (!played.IsComplete()) {
    errno = EINVAL;
    return 0;
  }
  words_.swap(fresh.words_);
  bounds_ = fresh.bounds_;
  cursor_ = fresh.cursor_;
  batchDepth_ = 0;
  RaiseChanged();
  return 1;
}
