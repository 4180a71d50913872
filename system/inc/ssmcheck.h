// ssmcheck.h - the check macro through which every precondition of the library
// reports a failure to the assertion service.
#pragma once

#include "brixexport.h"

/// Kind of a failed check; the underlying type is int so that callers and hooks
/// may pass values outside the named ones (they count as errors).
enum SSM_FailureType : int {
  SSM_Check = 0,          ///< default action: continue
  SSM_Error = 1,          ///< default action: return failure so that the caller throws
  SSM_InternalError = 2,  ///< the handler throws by itself after notifying
};

/// Reports one failed check. Returns 1 to let the caller go on, 0 to make it call
/// SSM_Throw(). May throw SSM::AssertData* or FatalException itself. Without a live
/// manager it returns 0 and notifies nobody. errno is preserved.
BRIX_API int SSM_AssertFailed(const char* message, const char* file, int line,
                              SSM_FailureType type, int id);

/// Throws for the failure just handled (FatalException or SSM::AssertData*);
/// returns without throwing when there is nothing to throw or no live manager.
BRIX_API void SSM_Throw();

/// The one form of every check: when `cond` fails, report it at the constant site
/// (`file`, `line`) and throw when the handler says so.
#define SSM_CHECK_EX(cond, message, file, line, type, id)                 \
  do {                                                                    \
    if (!(cond)) {                                                        \
      if (!SSM_AssertFailed((message), (file), (line), (type), (id)))     \
        SSM_Throw();                                                      \
    }                                                                     \
  } while (0)

/// The library's own checks: no message, internal error, an optional id.
#define SSM_CHECK(cond, file, line) SSM_CHECK_EX(cond, "", file, line, SSM_InternalError, 0)
#define SSM_CHECK_ID(cond, file, line, id) \
  SSM_CHECK_EX(cond, "", file, line, SSM_InternalError, (int)(id))
