// sysgeomnode.h - SYS_GeomNode rings of typed links, SYS_Geometry and SYS_GeomIterator.
#pragma once

#include <cstdint>

#include "brixexport.h"
#include "sysgeom.h"
#include "sysunits.h"

/// Role of a node in a ring. Values without a name here are the host's own.
enum SGN_Type : std::int16_t {
  SGN_None = 0,       ///< unset: the node is not valid
  SGN_Primitive = 1,  ///< a geometric owner
  SGN_Composite = 2,  ///< a geometric owner made of other geometry
  SGN_DBRoot = 4,     ///< the database root
  SGN_Boundary = 6,   ///< a geometric owner that closes a sub-ring: backward walks stop at it
  SGN_TreeRoot = 7,   ///< the tree root
};

/// The kinds of value a SYS_Geometry or SYS_GeomIterator holds.
enum SYS_GeometryType : int {
  SYS_GeomNone = 0,
  SYS_GeomPoint = 1,
  SYS_GeomDoublePoint = 2,
  SYS_GeomLocation = 3,
  SYS_GeomCircle = 4,
  SYS_GeomSegment = 5,
  SYS_GeomArc = 6,
  SYS_GeomRectangle = 7,
};

/// A typed link embedded in host objects; links form rings through their next
/// pointers, and a node alone points to itself.
///
/// Every search starts at this node's successor and ends when it comes back to this
/// node (or meets a null next). Apart from NextRoot, which reports a node that points
/// to itself, searches trust the ring: one that never returns to this node makes them
/// loop. Unlinking (ExcludeOwnRoot, ExcludeNearType, ExcludeByType) leaves the removed
/// node's next as it was; only ExcludeRoot makes the removed node alone again.
class BRIX_API SYS_GeomNode {
 public:
  /// Copies next and the node type; the host word stays as it is.
  // Copying two plain fields onto themselves is harmless.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
  SYS_GeomNode& operator=(const SYS_GeomNode& other) {
    m_next = other.m_next;
    m_type = other.m_type;
    return *this;
  }

  /// 1 when the node type is set.
  int IsValid() const { return m_type != SGN_None; }
  /// 1 for the geometric owners (types 1, 2 and 6).
  int IsGeomType() const { return IsGeom(m_type); }
  SGN_Type GetGeomType() const { return static_cast<SGN_Type>(m_type); }
  void SetGeomType(SGN_Type type) { m_type = type; }
  short GetNodeType() const { return m_type; }
  void SetNodeType(short type) { m_type = type; }
  /// A word for the host's use, 32767 in a new node; the ring logic never reads it.
  short GetHostWord() const { return m_hostWord; }
  void SetHostWord(short word) { m_hostWord = word; }

  /// Sets next to `n` as it is, without repairing any ring.
  void SetRoot(SYS_GeomNode* n) { m_next = n; }
  /// Inserts `n` (alone) right after this node. A null `n` is ignored.
  void IncludeRoot(SYS_GeomNode* n);
  /// Unlinks the successor, if next is set.
  void ExcludeOwnRoot() {
    if (m_next) m_next = m_next->m_next;
  }
  /// Unlinks `n`'s predecessor's link to `n`: the predecessor then continues with this
  /// node's successor, and this node becomes alone. Called as ExcludeRoot(this) it takes
  /// this node out of its ring. Does nothing when `n` is alone or when the search for
  /// the predecessor passes a boundary node (type 6) first.
  void ExcludeRoot(SYS_GeomNode* n);
  /// Unlinks successors of type `t` as long as they follow this node directly.
  void ExcludeNearType(short t);
  /// Unlinks every other node of type `t` from the ring.
  void ExcludeByType(short t);

  /// The successor, or null when the node is alone.
  SYS_GeomNode* GetRoot() const { return m_next == this ? nullptr : m_next; }
  /// The first node of type `t` after this one, or null.
  SYS_GeomNode* GetRoot(short t) const { return Find(m_next, t); }
  /// `n`'s successor, or null when that is this node.
  SYS_GeomNode* GetNextRoot(const SYS_GeomNode* n) const {
    return n && n->m_next != this ? n->m_next : nullptr;
  }
  /// The first node of type `t` after `n`, or null on coming back to this node.
  SYS_GeomNode* GetNextRoot(const SYS_GeomNode* n, SGN_Type t) const {
    return n ? Find(n->m_next, t) : nullptr;
  }
  /// The first geometric owner (type 1, 2 or 6) after this node, or null.
  SYS_GeomNode* GetNextGeomRoot() const;
  /// The node before this one, searched from `n`'s successor; null when that is this
  /// node or when the search passes a boundary node (type 6) first.
  SYS_GeomNode* GetPrevRoot(const SYS_GeomNode* n) const;
  /// The database root of the ring (type 4), or null.
  SYS_GeomNode* GetDBRoot() const { return Find(m_next, SGN_DBRoot); }
  /// The tree root of the ring (type 7), or null.
  SYS_GeomNode* GetBRTRoot() const { return Find(m_next, SGN_TreeRoot); }
  /// The first node of type `t` from `n`'s successor on, or null. A node other than
  /// this one that points to itself is reported as a corrupted chain, and the search
  /// ends there.
  SYS_GeomNode* NextRoot(SYS_GeomNode* n, short t) const;

 protected:
  /// A node alone, of no type.
  SYS_GeomNode() : m_next(this) {}
  /// Copies next and the node type, like assignment.
  SYS_GeomNode(const SYS_GeomNode& other) : m_next(other.m_next), m_type(other.m_type) {}
  ~SYS_GeomNode() = default;

 private:
  static bool IsGeom(short t) { return t == 1 || t == 2 || t == 6; }
  // The first node of type t from `p` on, stopping at this node or a null next.
  SYS_GeomNode* Find(SYS_GeomNode* p, short t) const {
    for (; p && p != this; p = p->m_next)
      if (p->m_type == t) return p;
    return nullptr;
  }

  SYS_GeomNode* m_next;
  std::int16_t m_type = SGN_None;
  std::int16_t m_hostWord = 32767;
};

/// The polymorphic base of the host's geometric objects; the base holds nothing.
class BRIX_API SYS_Geometry {
 public:
  virtual ~SYS_Geometry();
  /// 1 when the object holds usable geometry; the base never does.
  virtual int IsValid() const { return 0; }
  /// The kind of geometry held; SYS_GeomNone in the base.
  virtual SYS_GeometryType GetGeometry() const { return SYS_GeomNone; }
};

/// Walks geometric values of any kind by handle. GetObjectType tells the kind of the
/// current element and the matching getter returns its value; the others return null.
/// The base has no elements: GetFirst leaves the handle 0 and every getter returns null.
/// Returned pointers stay valid until the iterator moves.
class BRIX_API SYS_GeomIterator : public SYS_StdInterface {
 public:
  SYS_GeomIterator() : SYS_StdInterface(0) {}
  ~SYS_GeomIterator() override;

  virtual SYS_GeometryType GetObjectType() const { return SYS_GeomNone; }
  virtual const SYS_Point* GetPointValue() const { return nullptr; }
  virtual const SYS_DoublePoint* GetDoublePointValue() const { return nullptr; }
  virtual const SYS_Location* GetLocationValue() const { return nullptr; }
  virtual const SYS_Circle* GetCircleValue() const { return nullptr; }
  virtual const SYS_Segment* GetSegmentValue() const { return nullptr; }
  virtual const SYS_Arc* GetArcValue() const { return nullptr; }
  virtual const SYS_Box* GetRectangleValue() const { return nullptr; }
};
