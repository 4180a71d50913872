// AssertObj.cpp - accessors on the assertion registry entry an iterator stands on.
#include "ssm.h"

AssertObj::~AssertObj() = default;

AssertObj& AssertObj::operator=(const Base& other) {
  Base::operator=(other);
  return *this;
}

AssertObj& AssertObj::operator=(const AssertObj& other) {
  Base::operator=(other);
  return *this;
}

SYS_String AssertObj::GetFileName() const {
  const SSM::AssertData* e = Entry();
  return e ? e->fileName : SYS_String();
}

SYS_String AssertObj::GetMsg() const {
  const SSM::AssertData* e = Entry();
  return e ? e->message : SYS_String();
}

void AssertObj::SetMsg(SYS_String message) {
  if (SSM::AssertData* e = Entry()) e->message = message;
}

SYS_String AssertObj::GetLogMsg() const {
  const SSM::AssertData* e = Entry();
  return e ? e->logMessage : SYS_String();
}

void AssertObj::SetLogMsg(SYS_String message) {
  if (SSM::AssertData* e = Entry()) e->logMessage = message;
}

int AssertObj::GetLineNo() const {
  const SSM::AssertData* e = Entry();
  return e ? e->line : 0;
}

int AssertObj::GetCount() const {
  const SSM::AssertData* e = Entry();
  return e ? e->count : 0;
}

void AssertObj::IncreaseCount() {
  if (SSM::AssertData* e = Entry()) ++e->count;
}

int AssertObj::GetID() const {
  const SSM::AssertData* e = Entry();
  return e ? e->id : 0;
}

int AssertObj::IsDisabled() const {
  const SSM::AssertData* e = Entry();
  return e ? e->enabled == 0 : 0;
}

void AssertObj::Disable(int disable) {
  if (SSM::AssertData* e = Entry()) e->enabled = !disable;
}

int AssertObj::IsLogRequired() const {
  const SSM::AssertData* e = Entry();
  return e ? e->logRequired : 0;
}

void AssertObj::SetLogRequired(int required) {
  if (SSM::AssertData* e = Entry()) e->logRequired = required;
}

SSM::Action AssertObj::GetAction() const {
  const SSM::AssertData* e = Entry();
  return e ? e->action : SSM::ActionContinue;
}

void AssertObj::SetAction(SSM::Action action) {
  SSM::AssertData* e = Entry();
  if (e && action > e->action) e->action = action;  // only escalates, by design
}

void AssertObj::ClearAction() {
  if (SSM::AssertData* e = Entry()) e->action = SSM::ActionContinue;
}

SYS_String AssertObj::GetMessageEx() const {
  const SSM::AssertData* e = Entry();
  if (!e) return SYS_String();
  return FormattedString("%s(%d):\r\n%s", static_cast<const char*>(e->fileName), e->line,
                         static_cast<const char*>(e->message));
}
