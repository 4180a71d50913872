// failed_check.h - which internal check a piece of code fails.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ssm.h"

// The line of the check that `body` fails in `file` (a source path without its extension), or
// 0 when none fails. Without a live assertion service a failed check carries on: 0 then too.
inline int FailedLine(const char* file, const std::function<void()>& body) {
  try {
    body();
  } catch (SSM::AssertData* data) {
    EXPECT_EQ(data->fileName, SYS_String(file));
    return data->line;
  }
  return 0;
}

// The same under an assertion service of its own.
inline int FailedLineUnderService(const char* file, const std::function<void()>& body) {
  SSM service;
  return FailedLine(file, body);
}

// The message of the check `body` fails under an assertion service of its own, or "none".
inline std::string FailedCheck(const std::function<void()>& body) {
  SSM service;
  try {
    body();
  } catch (SSM::AssertData* data) {
    return data->message.GetString();
  }
  return "none";
}
