// ssm.cpp - the assertion manager: the failure handler, its registry and hooks, and the
// free functions every check calls.
#include "ssm.h"

#include <cerrno>
#include <cstdint>

#include "sccstack.h"

namespace {

constexpr const char kSelf[] = "system/ssm/ssm";
constexpr int kInvalidActionLine = 246;

// The registry key of a site. The line goes through %lu as the unsigned 32-bit value
// it is on every platform, so a negative line has one key everywhere.
SYS_String SiteKey(const char* file, int line) {
  return FormattedString("%s(%lu)", file ? file : "",
                         static_cast<unsigned long>(static_cast<std::uint32_t>(line)));
}

}  // namespace

struct SSM::State {
  long refs = 1;  // managers sharing this state, plus handlers running on it
  std::int32_t depth = 0;
  SCC_Notifier failed;
  SCC_Notifier handled;
  SCC_Notifier logRequest;
  AssertObj current;
  AssertData* pendingFatal = nullptr;
  Registry registry;
  SCC_Stack<long> active;  // registry handles of the entries being handled
  int silentMode = 0;
  int unitTesting = 0;
};

SSM* SSM::Instance = nullptr;
std::int32_t SSM::InstanceCount = 0;

SSM::SSM() : m_state(new State) {
  ++InstanceCount;
  Instance = this;
}

SSM::~SSM() {
  --InstanceCount;
  Instance = nullptr;  // also when another manager is alive: intended
  Release(m_state);
}

// Self-assignment shares m_state, so the test below covers it.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
SSM& SSM::operator=(const SSM& other) {
  if (m_state != other.m_state) {
    ++other.m_state->refs;
    Release(m_state);
    m_state = other.m_state;
  }
  return *this;
}

void SSM::Release(State* state) {
  if (--state->refs == 0) delete state;
}

int SSM::AssertFailed(const char* message, const char* file, int line, SSM_FailureType type,
                      int id) {
  return Handle(m_state, message, file, line, type, id);
}

// Works on the state rather than on the manager: a hook may destroy the manager, and the
// reference taken here keeps the state alive until the handling is over.
int SSM::Handle(State* s, const char* message, const char* file, int line, SSM_FailureType type,
                int id) {
  ++s->refs;
  ++s->depth;
  s->pendingFatal = nullptr;
  int result = 1;
  bool throwIt = false;

  // Undoes what this call pushed and counted, on every way out including a throw
  // from a hook, so that a site never stays marked as being handled.
  struct Scope {
    State* s;
    AssertData* entry = nullptr;
    bool done = false;
    void Finish() {
      if (done) return;
      done = true;
      if (entry) {
        entry->action = ActionContinue;
        s->active.Pop();
      }
      --s->depth;
      Release(s);
    }
    ~Scope() { Finish(); }
  } scope{s};

  const SYS_String key = SiteKey(file, line);
  long handle = s->registry.GetHandle(key);
  if (handle == 0) {
    AssertData record;
    record.fileName = file ? file : "";
    record.message = message ? message : "";
    record.line = line;
    record.id = id;
    handle = s->registry.SetAt(key, record);
  }
  // The same site failing again while it is being handled (from a hook, say) is
  // ignored and continues.
  if (s->active.Contains(handle)) return 1;

  s->active.Push(handle);
  s->current.SetHandle(handle, s->registry);
  AssertData& entry = *s->registry.GetValueAt(handle);
  scope.entry = &entry;
  ++entry.count;
  entry.action = ActionContinue;
  entry.message = message ? message : "";

  if (type == SSM_InternalError) {
    // Internal errors throw whatever a hook would say; the hooks are not asked.
    throwIt = true;
  } else if (!s->silentMode && entry.enabled) {
    if (type != SSM_Check) entry.action = ActionReturnFailure;
    s->failed.Notify(type, &entry);
    switch (entry.action) {
      case ActionContinue:
        break;
      case ActionReturnFailure:
        result = 0;
        break;
      case ActionThrow:
        throwIt = true;
        break;
      case ActionFatal:
        throwIt = true;
        s->pendingFatal = &entry;
        break;
      default:
        if (!Handle(s, "Assert handler encountered invalid action code.", kSelf, kInvalidActionLine,
                    SSM_InternalError, 0))
          ThrowFor(s);
        break;
    }
  }

  s->handled.Notify(type, &entry);
  if (entry.logRequired && entry.enabled) s->logRequest.Notify(type, &entry);

  if (throwIt) {
    AssertData* fatal = s->pendingFatal;
    // The current entry is the one handled last, which a nested report may have
    // moved on from this one: that entry is thrown (intended).
    AssertData* current = s->current.GetValuePtr();
    // A manager destroyed by its own hook takes its entries along: nothing to throw.
    const bool entriesLive = s->refs > 1;
    scope.Finish();
    if (!entriesLive) return result;
    if (fatal) throw FatalException(fatal);
    if (current) throw current;
  }
  return result;
}

void SSM::Throw() { ThrowFor(m_state); }

void SSM::ThrowFor(State* s) {
  if (s->pendingFatal) throw FatalException(s->pendingFatal);
  if (AssertData* current = s->current.GetValuePtr()) throw current;
}

SSM* SSM::GetManager() { return Instance; }

long SSM::GetInstanceCount() { return InstanceCount; }

int SSM::GetSilentMode() { return Instance ? Instance->m_state->silentMode : 0; }

void SSM::SetSilentMode(int silent) {
  if (Instance) Instance->m_state->silentMode = silent;
}

void SSM::OnUnitTestingStarted() { m_state->unitTesting = 1; }
void SSM::OnUnitTestingFinished() { m_state->unitTesting = 0; }
int SSM::IsUnitTesting() const { return m_state->unitTesting; }

void SSM::HookAssertFailed(SCC_EventNode<int>* node) { m_state->failed.AddHead(node); }
void SSM::HookAssertHandled(SCC_EventNode<int>* node) { m_state->handled.AddHead(node); }
void SSM::HookAssertLogRequest(SCC_EventNode<int>* node) { m_state->logRequest.AddHead(node); }

SSM::AssertData* SSM::FindSite(const char* file, int line) {
  return m_state->registry.Find(SiteKey(file, line));
}

const SSM::Registry& SSM::GetRegistry() const { return m_state->registry; }

AssertObj& SSM::GetCurrent() { return m_state->current; }

int SSM::GetDepth() const { return m_state->depth; }

int SSM_AssertFailed(const char* message, const char* file, int line, SSM_FailureType type,
                     int id) {
  const int savedErrno = errno;
  SSM* const manager = SSM::GetManager();
  if (manager == nullptr) return 0;  // nobody to tell; errno untouched
  SYS_String text;
  if (message != nullptr && *message != 0)
    text = message;
  else if (id != 0)
    text.Format("SSM: Assert ID #%d, message not available", id);
  else
    text = "Message not available";
  // A throw from the handler passes through without restoring errno, as designed.
  const int result = manager->AssertFailed(text, file, line, type, id) ? 1 : 0;
  errno = savedErrno;
  return result;
}

void SSM_Throw() {
  // Without a manager there is nothing to throw.
  if (SSM* manager = SSM::GetManager()) manager->Throw();
}
