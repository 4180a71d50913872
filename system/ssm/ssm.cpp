// ssm.cpp - the assertion service. (Provisional: the no-manager path only; the
// manager, its registry and hooks come with the full service.)
#include "ssmcheck.h"

#include <cerrno>

int SSM_AssertFailed(const char* message, const char* file, int line, SSM_FailureType type,
                     int id) {
  const int savedErrno = errno;
  errno = savedErrno;
  return 0;
}

void SSM_Throw() {}
