// SYS_Exception.cpp - the user-facing exception of the value parsers.
#include <cstdarg>

#include "ssm.h"

SYS_Exception::SYS_Exception(const char* format, ...) {
  if (format == nullptr) return;
  va_list args;
  va_start(args, format);
  m_message.FormatV(format, args);
  va_end(args);
}

// The id and the arguments are deliberately ignored: the message stays empty.
SYS_Exception::SYS_Exception(int id, ...) {}

SYS_Exception::~SYS_Exception() = default;
