// ssm.h - the assertion service: the manager SSM, its registry of check sites,
// AssertObj, FatalException and the user-facing SYS_Exception.
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sccevent.h"
#include "scchash.h"
#include "ssmcheck.h"
#include "sysstring.h"

class AssertObj;

/// The assertion manager. The library shows no dialog and writes no log: a failed
/// check is counted in the registry entry of its site, announced to the hooks, and
/// turned into a throw where the failure type or a hook's verdict says so.
///
/// One manager is meant to be alive per process; the newest one constructed is
/// the one SSM_AssertFailed reports to. Checks must not be reported from two
/// threads at once. The registry only grows, so flags and counts set on a site
/// persist, and pointers to its entries (thrown as SSM::AssertData*) stay valid as
/// long as the manager lives.
class BRIX_API SSM {
 public:
  /// Verdict on a failure; hooks may only raise it (larger values win).
  enum Action : int {
    ActionContinue = 0,       ///< SSM_AssertFailed returns 1
    ActionReturnFailure = 1,  ///< SSM_AssertFailed returns 0 and the caller throws
    ActionThrow = 2,          ///< the handler throws the entry (SSM::AssertData*)
    ActionFatal = 3,          ///< the handler throws FatalException
  };

  /// The registry entry of one check site. Owned by the registry: a caught
  /// SSM::AssertData* must not be deleted.
  struct AssertData {
    SYS_String fileName;             ///< source file given to the check
    SYS_String message;              ///< message of the latest failure here
    SYS_String logMessage;           ///< free for hooks that log
    std::int32_t line = 0;           ///< source line
    std::int32_t count = 0;          ///< failures handled at this site
    int enabled = 1;                 ///< 0: the site is disabled
    int logRequired = 1;             ///< 1: raise the log-request event
    Action action = ActionContinue;  ///< verdict of the failure being handled
    std::int32_t id = 0;             ///< id of the failure that created the entry
  };

  using Registry = SCC_Map<SYS_String, AssertData>;

  /// Creates the state and becomes the live manager (SSM::GetManager()).
  SSM();
  /// Stops being the live manager: GetManager() returns null afterwards even if
  /// another manager is still alive (intended).
  ~SSM();
  SSM(const SSM&) = delete;
  /// Shares `other`'s state: both objects then report into one registry. The state
  /// lives until the last manager sharing it is destroyed.
  SSM& operator=(const SSM& other);

  /// Handles one failure on this manager (see SSM_AssertFailed, which adds the
  /// message substitution and keeps errno). Returns 1 to go on, 0 to make the caller
  /// call SSM_Throw; throws SSM::AssertData* or FatalException itself where the type
  /// or a hook's verdict says so.
  int AssertFailed(const char* message, const char* file, int line, SSM_FailureType type, int id);
  /// Throws for the failure this manager handled last: FatalException when a fatal
  /// verdict is pending, else the current entry's SSM::AssertData*; returns when
  /// there is no current entry.
  void Throw();

  /// The live manager, or null.
  static SSM* GetManager();
  /// Number of managers alive.
  static long GetInstanceCount();
  /// Silent mode of the live manager (0 without one). In silent mode failures of
  /// types other than 2 continue without asking the failed-event hooks.
  static int GetSilentMode();
  /// Sets the live manager's silent mode; does nothing without a manager.
  static void SetSilentMode(int silent);

  /// Marks the start and end of a unit-test run; only hosts read the flag.
  void OnUnitTestingStarted();
  void OnUnitTestingFinished();
  int IsUnitTesting() const;

  /// Attach a node to the failed, handled or log-request event (null is ignored).
  /// Nodes are called in the order they were attached, with the failure type as
  /// code and the entry (SSM::AssertData*) as data. The manager does not own them.
  void HookAssertFailed(SCC_EventNode<int>* node);
  void HookAssertHandled(SCC_EventNode<int>* node);
  void HookAssertLogRequest(SCC_EventNode<int>* node);

  /// The entry of the site (`file`, `line`), or null when it never failed.
  AssertData* FindSite(const char* file, int line);
  /// All entries, in the order their sites first failed.
  const Registry& GetRegistry() const;
  /// The entry being handled or handled last.
  AssertObj& GetCurrent();
  /// Number of handler calls in progress.
  int GetDepth() const;

 private:
  struct State;
  static int Handle(State* s, const char* message, const char* file, int line, SSM_FailureType type,
                    int id);
  static void ThrowFor(State* s);
  static void Release(State* state);

  State* m_state;

  static SSM* Instance;
  static std::int32_t InstanceCount;
};

/// Accessors on the registry entry a map iterator stands on. Reading without an
/// entry gives empty texts and zeros; writing without one does nothing.
class BRIX_API AssertObj : public SCC_MapIterator<SYS_String, SSM::AssertData> {
 public:
  using Base = SCC_MapIterator<SYS_String, SSM::AssertData>;

  AssertObj() = default;
  AssertObj(const Base& other) : Base(other) {}
  AssertObj(const AssertObj& other) : Base(other) {}
  ~AssertObj() override;
  /// Stands on the same registry and entry as `other`.
  AssertObj& operator=(const Base& other);
  AssertObj& operator=(const AssertObj& other);

  SYS_String GetFileName() const;
  SYS_String GetMsg() const;
  void SetMsg(SYS_String message);
  SYS_String GetLogMsg() const;
  void SetLogMsg(SYS_String message);
  int GetLineNo() const;
  int GetCount() const;
  void IncreaseCount();
  int GetID() const;
  /// 1 when the site is disabled.
  int IsDisabled() const;
  /// Disables the site for a non-zero argument, enables it for 0.
  void Disable(int disable);
  int IsLogRequired() const;
  void SetLogRequired(int required);
  SSM::Action GetAction() const;
  /// Stores `action` only if it is greater than the stored one: hooks can escalate a
  /// verdict but never soften it (intended).
  void SetAction(SSM::Action action);
  /// Sets the action back to ActionContinue.
  void ClearAction();
  /// "file(line):\r\nmessage".
  SYS_String GetMessageEx() const;

 private:
  SSM::AssertData* Entry() const { return GetValuePtr(); }
};

/// Thrown by value when a hook judged a failure fatal. Holds the site's entry,
/// which stays owned by the registry.
class BRIX_API FatalException {
 public:
  explicit FatalException(SSM::AssertData* data) noexcept : m_data(data) {}
  SSM::AssertData* GetData() const noexcept { return m_data; }

 private:
  SSM::AssertData* m_data;
};

/// A user-facing error message, thrown by value by the value parsers.
class BRIX_API SYS_Exception {
 public:
  /// The message is the printf-style formatted text (empty for a null format).
  explicit SYS_Exception(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// The message is left empty; the id and further arguments are not used (intended).
  explicit SYS_Exception(int id, ...);
  SYS_Exception(const SYS_Exception& other) = default;
  SYS_Exception& operator=(const SYS_Exception& other) = default;
  ~SYS_Exception();

  /// A copy of the message.
  SYS_String GetText() const { return m_message; }

 private:
  SYS_String m_message;
};
