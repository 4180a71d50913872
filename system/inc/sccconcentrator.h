// sccconcentrator.h - SCC_EventConcentrator: one notifier that relays the notifications
// of many source notifiers and tells its listeners which source spoke.
#pragma once

#include <cstdint>
#include <vector>

#include "brixexport.h"
#include "sccevent.h"
#include "scchash.h"

class SCC_EventConcentratorImpl;

/// The node by which one source notifier is hooked into a concentrator. It sits at the
/// end of the source's ring and hands every notification of the source to its owner.
/// Nodes are made, owned and destroyed by the concentrator's implementation only.
class BRIX_API SCC_EventConcNode : public SCC_EventNode<int> {
 public:
  /// The notification type given when the source was hooked.
  long GetType() const { return m_type; }
  /// The implementation that owns the node; null once the node has been released.
  SCC_EventConcentratorImpl* GetOwner() const { return m_owner; }
  /// The source this node was hooked into.
  SCC_Notifier* GetSource() const { return m_source; }

  /// Leaving the source's ring (for instance because the source is destroyed) releases
  /// the source from the concentrator, which destroys this node.
  void Remove() override;
  /// Relays the notification through the owner.
  int OnNotification(int code, int* data) override;

 private:
  friend class SCC_EventConcentratorImpl;
  SCC_EventConcNode(SCC_EventConcentratorImpl* owner, SCC_Notifier* source, long type)
      : m_type(static_cast<std::int32_t>(type)), m_owner(owner), m_source(source) {}
  ~SCC_EventConcNode() override;
  // Moves the node to the end of `source`'s ring without releasing it.
  void Relink(SCC_Notifier* source);

  std::int32_t m_type;
  bool m_relinking = false;  // Remove only moves the node
  bool m_orphan = false;     // released from inside Remove: Remove deletes it when done
  SCC_EventConcentratorImpl* m_owner;
  SCC_Notifier* m_source;  // the map key, also after the source's nodes moved elsewhere
};

/// The shared state of the concentrators that are copies of one another: the notifier
/// listeners hook into, the hooked sources and the stack of relays in progress.
///
/// It lives as long as some concentrator refers to it, and for the duration of any
/// relay running through it, so a listener may destroy the last concentrator during a
/// relay. Subclasses (made by an SCC_EventConcentrator subclass overriding GetImpl) may
/// hook into the release notifier, which is raised with code 2 and the released
/// SCC_EventConcNode (as int*) as payload whenever a source is released.
class BRIX_API SCC_EventConcentratorImpl : public SCC_Notifier {
 public:
  /// A relay in progress: the relaying node (null once its source was released), its type,
  /// and the enabled flag the implementation had when the relay began (cleared when the
  /// source is released during the relay).
  struct DataItem {
    SCC_EventConcNode* node;
    std::int32_t type;
    int saved;
  };

  /// One reference, held by the concentrator that makes it.
  SCC_EventConcentratorImpl();
  /// Releases every source (unhooking its node) and unlinks the listeners.
  ~SCC_EventConcentratorImpl() override;

  SCC_EventConcentratorImpl(const SCC_EventConcentratorImpl&) = delete;
  SCC_EventConcentratorImpl& operator=(const SCC_EventConcentratorImpl&) = delete;

  /// See SCC_EventConcentrator::HookEvent.
  void HookEvent(SCC_Notifier* source, long type);
  /// See SCC_EventConcentrator::ReleaseEvent.
  void ReleaseEvent(SCC_Notifier* source);
  /// The type of the source being relayed, or of the last one relayed.
  long GetNotificationType() const { return m_type; }
  /// The number of hooked sources.
  int GetEventCount() const { return static_cast<int>(m_sources.GetCount()); }
  /// The relays in progress, from the outermost (index 0) to the innermost.
  const std::vector<DataItem>& GetRelayStack() const { return m_stack; }

  /// Reference counting by the concentrators that share this implementation; the last
  /// DropRef deletes it.
  void AddRef() { ++m_refs; }
  void DropRef();
  long GetRefCount() const { return m_refs; }

 protected:
  /// Raised with code 2 when a source is released.
  SCC_Notifier m_releaseNotifier;

 private:
  friend class SCC_EventConcNode;

  int Relay(SCC_EventConcNode* node, int code, int* data);
  void EndRelay();
  // Releases the source `key` whose node is `node` (may be null). A node released from
  // inside its own Remove is only marked; Remove deletes it after unlinking.
  void Release(SCC_Notifier* key, SCC_EventConcNode* node, bool fromNodeRemove);

  SCC_Map<SCC_Notifier*, SCC_EventConcNode*> m_sources;
  std::vector<DataItem> m_stack;
  std::int32_t m_refs = 1;
  std::int32_t m_type = 0;
};

/// Merges the notifications of many notifiers into one.
///
/// Hook sources with HookEvent, each with a type number of your choice, and listen to the
/// concentrator as to an SCC_Notifier. While a relayed notification is delivered,
/// GetNotificationType tells which source raised it (nested relays report their own
/// source and restore the outer one's type when they end). Sources may be released at
/// any time, also from inside their own relay, which then stops after the listener that
/// released it; a destroyed source is released automatically.
///
/// Copies share one implementation: they relay the same notifications to the same
/// listeners. The implementation is made on first use (HookEvent or the notifier), so a
/// copy of a concentrator that was never used shares nothing with it.
///
/// Disabling the notifier (Enable(0)) holds relays back, but a relay that arrives while
/// it is disabled enables it again when it ends (intended: a release during a relay
/// disables the notifier, and only the end of the outermost relay may re-enable it).
class BRIX_API SCC_EventConcentrator {
 public:
  /// No implementation yet.
  SCC_EventConcentrator() = default;
  /// Shares `other`'s implementation (if it has one).
  SCC_EventConcentrator(SCC_EventConcentrator& other);
  /// Shares `other`'s implementation and lets go of its own.
  SCC_EventConcentrator& operator=(SCC_EventConcentrator& other);
  /// Lets go of the implementation; the last concentrator to do so destroys it.
  virtual ~SCC_EventConcentrator();

  /// The notifier listeners hook into (the implementation, made on demand).
  operator SCC_Notifier&();

  /// Hooks `source` with notification type `type`: a node is placed at the end of the
  /// source's ring, so it is called after every hook the source already has, whatever
  /// their priorities. Hooking a source again keeps its one node, takes the new type and
  /// moves the node to the end. A null source, or the concentrator itself, is ignored.
  void HookEvent(SCC_Notifier* source, long type);
  /// Unhooks `source`. Relays of it in progress stop after the listener that is running
  /// when it is the outermost relay, and are not resumed after nested relays otherwise.
  void ReleaseEvent(SCC_Notifier* source);
  /// The type of the source being relayed (0 before any relay and without implementation).
  long GetNotificationType() const;
  /// The number of hooked sources.
  int GetEventCount() const;

 protected:
  /// Makes a new implementation; subclasses may return their own.
  virtual SCC_EventConcentratorImpl* GetImpl() const;
  /// Makes the implementation unless there is one.
  void CheckImpl();
  /// The implementation, or null.
  SCC_EventConcentratorImpl* PeekImpl() const { return m_impl; }

 private:
  SCC_EventConcentratorImpl* m_impl = nullptr;
};
