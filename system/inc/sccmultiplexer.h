// sccmultiplexer.h - SCC_EventMultiplexer and SCC_EventSource: one raise delivered on behalf
// of many sources, each to its own listeners.
#pragma once

#include "brixexport.h"
#include "sccevent.h"

class SCC_EventMultiplexer;

/// A notifier that can join a multiplexer. Its own listeners hook into it as into any
/// SCC_Notifier and hear both its own raises and every raise of the multiplexer it joined.
///
/// A source is in at most one multiplexer; joining another leaves the first. Destroying a
/// joined source leaves the multiplexer cleanly, also from inside a raise of it. Sources
/// are not copyable (a copy could not sensibly take over the membership).
class BRIX_API SCC_EventSource : public SCC_Notifier {
 public:
  SCC_EventSource();
  SCC_EventSource(const SCC_EventSource&) = delete;
  SCC_EventSource& operator=(const SCC_EventSource&) = delete;
  ~SCC_EventSource() override;

  /// Joins `multiplexer` at the end of its order (null: leaves). Rejoining the same
  /// multiplexer moves the source to the end.
  void Join(SCC_EventMultiplexer* multiplexer);
  /// Leaves the multiplexer (nothing when in none).
  void Leave() { Join(nullptr); }
  /// The multiplexer joined, or null.
  SCC_EventMultiplexer* GetMultiplexer() const;
  /// While joined, takes part in the multiplexer's raises only when enabled (1).
  void EnableMembership(int enable) { m_membership.Enable(enable); }
  int IsMembershipEnabled() const { return m_membership.IsEnabled(); }

 private:
  // The source's place in the multiplexer's ring; raising it raises the source.
  class Membership : public SCC_EventNode<int> {
   public:
    explicit Membership(SCC_EventSource* source) : m_source(source) {}
    void Remove() override;
    int OnNotification(int code, int* data) override;

   private:
    SCC_EventSource* m_source;
  };

  // What a membership does when the multiplexer reaches it, and when it leaves.
  void RaiseForMultiplexer(int code, int* data);
  static void Left(SCC_EventNode<int>* root);

  Membership m_membership;
};

/// One event raised on behalf of many sources: Raise(code, data) raises (code, data) on
/// every joined, enabled source in join order, so each source's listeners hear it as a
/// notification of their own source. GetCurrentSource tells whose listeners are running.
///
/// The multiplexer is an SCC_Notifier whose ring holds the sources' memberships, so raises
/// follow the event chain's re-entrancy rules: a source that joins during a raise is
/// reached in the same raise (it joins at the end); one that leaves (or is destroyed)
/// before it is reached is not; a source that leaves and rejoins during a raise is
/// reached again at the end; a nested raise walks every source again; Enable(0) on the
/// multiplexer stops its raises after the source that is running. Listeners hooked into
/// the multiplexer itself are called once per raise, at their place in the ring (before
/// the sources when hooked with a priority, after the sources joined before them when
/// added with AddHead). Destroying the multiplexer, also during a raise, leaves every
/// source unjoined. Multiplexers are not copyable.
class BRIX_API SCC_EventMultiplexer : public SCC_Notifier {
 public:
  SCC_EventMultiplexer() = default;
  SCC_EventMultiplexer(const SCC_EventMultiplexer&) = delete;
  SCC_EventMultiplexer& operator=(const SCC_EventMultiplexer&) = delete;
  ~SCC_EventMultiplexer() override;

  /// The number of joined sources.
  long GetSourceCount() const { return m_sources; }
  /// The source whose listeners are being called by a raise of this multiplexer (the
  /// innermost one in nested raises), or null.
  SCC_EventSource* GetCurrentSource() const { return m_frame ? m_frame->source : nullptr; }

 private:
  friend class SCC_EventSource;
  // A source being raised by this multiplexer, kept on the raising stack. The
  // multiplexer's destructor clears `owner` so that the frame does not come back to it.
  struct Frame {
    SCC_EventSource* source;
    Frame* outer;
    SCC_EventMultiplexer* owner;
  };

  long m_sources = 0;
  Frame* m_frame = nullptr;
};
