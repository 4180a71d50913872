// sfmfile_text.cpp - SFM_File text operations: characters, lines and formatted output.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "sfm.h"
#include "sfmfile.h"
#include "ssmcheck.h"
#include "sys/sysnumtext.h"

namespace {

constexpr const char* kFile = "system/sfm/sfmfile";
constexpr int kLineGetLineNoStream = 803;

#define SFM_FILE_CHECK(cond, line) SSM_CHECK_EX(cond, "Tamsk: ", kFile, line, SSM_InternalError, 0)

void Report(int code, const SYS_String& name) {
  if (SFM* manager = SFM::GetManager()) {
    SFM_EventData data(name);
    manager->Event(code, data);
  }
}

// The longest piece of a line one GetLine returns, line feed included.
constexpr int kLinePiece = 510;

}  // namespace

char SFM_File::GetChar() {
  if (!IsOpen()) return static_cast<char>(0xFF);
  ReOpen();
  errno = 0;
  SFM_FILE_CHECK(stream_, 622);
  if (!stream_) return static_cast<char>(0xFF);
  clearerr_unlocked(stream_);
  int c = getc_unlocked(stream_);
  if (ferror_unlocked(stream_)) {
    Report(SFM::ReadFailed, name_);
    clearerr_unlocked(stream_);
    c = 0xFF;
  }
  // By design the check follows the read.
  SSM_CHECK_EX(mode_.Find('b') < 0, "Tamsk: Can't call GetChar on binary file", kFile, 635,
               SSM_InternalError, 0);
  if (c == '\r') {
    int next = getc_unlocked(stream_);
    if (next == '\n')
      c = '\n';
    else if (next != EOF)
      ungetc(next, stream_);
  }
  return static_cast<char>(c);
}

int SFM_File::PutChar(char ch) {
  if (!IsOpen()) return 0;
  ReOpen();
  errno = 0;
  SFM_FILE_CHECK(stream_, 657);
  if (!stream_) return 0;
  clearerr_unlocked(stream_);
  int ok = putc_unlocked(static_cast<unsigned char>(ch), stream_) != EOF;
  // Tested before clearing, so a failure reaches the manager (unlike Write).
  if (ferror_unlocked(stream_)) {
    ok = 0;
    Report(SFM::WriteFailed, name_);
    clearerr_unlocked(stream_);
  }
  CheckLength();
  return ok;
}

SYS_String SFM_File::GetLine(long maxLength) {
  if (!IsOpen()) return SYS_String();
  ReOpen();
  errno = 0;
  int limit = (maxLength <= 0 || maxLength >= kLinePiece + 1) ? kLinePiece
                                                              : static_cast<int>(maxLength) - 1;
  SFM_FILE_CHECK(stream_, kLineGetLineNoStream);
  if (!stream_) return SYS_String();
  clearerr_unlocked(stream_);
  const bool text = mode_.Find('b') < 0;
#if defined(__GLIBC__)
  // Mostly the whole line lies in the stream's buffer and needs no CR LF fix-up:
  // then the result is copied from there once, with no piece buffer in between.
  if (stream_->_IO_read_ptr < stream_->_IO_read_end) {
    const char* p = stream_->_IO_read_ptr;
    const size_t avail =
        std::min(static_cast<size_t>(stream_->_IO_read_end - p), static_cast<size_t>(limit));
    const char* nl = static_cast<const char*>(std::memchr(p, '\n', avail));
    if (nl && !(text && nl > p && nl[-1] == '\r')) {
      const int take = static_cast<int>(nl - p) + 1;
      SYS_String line(p, take);
      stream_->_IO_read_ptr += take;
      // By design the check follows the read.
      SSM_CHECK_EX(text, "Tamsk: Can't call GetLine on binary file", kFile, 546,
                   SSM_InternalError, 0);
      return line;
    }
  }
#endif
  char buffer[kLinePiece + 1];
  int length = 0;
  while (length < limit) {
#if defined(__GLIBC__)
    // Scan the stream's buffer directly, as getc_unlocked does byte by byte; an
    // empty buffer (also in write mode) goes through getc_unlocked to refill.
    char* p = stream_->_IO_read_ptr;
    char* e = stream_->_IO_read_end;
    if (p < e) {
      size_t avail = std::min(static_cast<size_t>(e - p), static_cast<size_t>(limit - length));
      const char* nl = static_cast<const char*>(std::memchr(p, '\n', avail));
      size_t take = nl ? static_cast<size_t>(nl - p) + 1 : avail;
      std::memcpy(buffer + length, p, take);
      stream_->_IO_read_ptr += take;
      length += static_cast<int>(take);
      if (nl) break;
      continue;
    }
#endif
    int c = getc_unlocked(stream_);
    if (c == EOF) break;
    buffer[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  // A text stream reads CR LF as one LF, also when the pair straddles two pieces,
  // as on a platform that translates text files below the line reader.
  if (text && length > 0) {
    if (length >= 2 && buffer[length - 1] == '\n' && buffer[length - 2] == '\r') {
      buffer[length - 2] = '\n';
      --length;
    } else if (length == limit && buffer[length - 1] == '\r') {
      int next = getc_unlocked(stream_);
      if (next == '\n')
        buffer[length - 1] = '\n';
      else if (next != EOF)
        ungetc(next, stream_);
    }
  }
  if (ferror_unlocked(stream_)) {
    Report(SFM::ReadFailed, name_);
    clearerr_unlocked(stream_);
    return SYS_String();
  }
  SYS_String line(buffer, length);
  // By design the check follows the read.
  SSM_CHECK_EX(text, "Tamsk: Can't call GetLine on binary file", kFile, 546, SSM_InternalError, 0);
  return line;
}

int SFM_File::WriteLine(const SYS_String& line) {
  if (!IsOpen()) return 0;
  ReOpen();
  SFM_FILE_CHECK(stream_, 571);
  if (!stream_) return 0;
  errno = 0;
  size_t length = static_cast<size_t>(line.GetLength());
  size_t put = fwrite_unlocked(line.GetString(), 1, length, stream_);
  if (putc_unlocked('\n', stream_) != EOF) ++put;
  // Cleared before the result is judged, so no 204 from here (intended).
  clearerr_unlocked(stream_);
  CheckLength();
  return put == length + 1;
}

long SFM_File::Printf(const char* format, ...) {
  SFM_FILE_CHECK(format, 591);
  if (!format || !IsOpen()) return 0;
  ReOpen();
  errno = 0;
  SFM_FILE_CHECK(stream_, 599);
  if (!stream_) return 0;
  clearerr_unlocked(stream_);
  // File contents are read back by other machines: a "." decimal point whatever the locale.
  const sys_detail::CNumericScope numeric(format);
  va_list args;
  va_start(args, format);
  long written = std::vfprintf(stream_, format, args);
  va_end(args);
  if (ferror_unlocked(stream_)) {
    written = 0;
    Report(SFM::WriteFailed, name_);
    clearerr_unlocked(stream_);
  }
  CheckLength();
  return written;
}
