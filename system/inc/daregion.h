// daregion.h - regions: outlines with straight and arc edges, their boxes, transforms,
// chord approximation and little-endian byte images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "brixexport.h"
#include "sccslist.h"
#include "sysgeom.h"

/// What a drawing surface does with an outline when it fills a region. The region code only
/// stores, copies and serialises the value; any 32-bit value may be kept. 2 is the plain case
/// (see DARegion::IsComplex), 0 passed to DARegion::Add means "keep the polygon's own flag".
enum DAPolygonFlag : std::int32_t {
  DAPolygonKeepFlag = 0,
  DAPolygonPlain = 2,
};

/// One vertex of an outline and the kind of edge arriving at it from the previous vertex
/// (the outline is closed: vertex 0 is reached from the last vertex).
struct ArcPolyEdge {
  ArcPolyEdge() = default;
  ArcPolyEdge(long px, long py, int arc = -1)
      : x(static_cast<std::int32_t>(px)), y(static_cast<std::int32_t>(py)), arcIndex(arc) {}
  ArcPolyEdge(const SYS_Point& p, int arc = -1) : ArcPolyEdge(p.GetX(), p.GetY(), arc) {}

  SYS_Point GetPoint() const { return SYS_Point(x, y); }
  bool operator==(const ArcPolyEdge& o) const {
    return x == o.x && y == o.y && arcIndex == o.arcIndex;
  }

  std::int32_t x = 0;
  std::int32_t y = 0;
  /// -1: the edge arriving here is straight; >= 0: it follows that arc of the polygon.
  /// Indices that name no arc of the polygon are kept as they are and read as straight.
  std::int32_t arcIndex = -1;
};

/// A circular arc about (cx, cy). It starts at the previous vertex and ends at the vertex
/// that refers to it; its radius is that vertex's distance to the centre. Angles are in
/// angle units and are not normalised: end > start runs counter-clockwise, end < start
/// clockwise, and a full circle is stored as -162000000 to 486000000.
struct BRIX_API ArcPolyArc {
  ArcPolyArc() = default;
  ArcPolyArc(long x, long y, double startAngle, double endAngle)
      : cx(static_cast<std::int32_t>(x)),
        cy(static_cast<std::int32_t>(y)),
        start(startAngle),
        end(endAngle) {}

  SYS_Point GetCenter() const { return SYS_Point(cx, cy); }
  /// Whether `angle` lies within the sweep, both ends included. All three angles are
  /// truncated to integers first; an arc whose start equals its end holds no angle.
  int IsOn(double angle) const;
  bool operator==(const ArcPolyArc& o) const {
    return cx == o.cx && cy == o.cy && start == o.start && end == o.end;
  }

  std::int32_t cx = 0;
  std::int32_t cy = 0;
  double start = 0.0;
  double end = 0.0;
};

/// One closed outline: a vertex array and the table of arcs its edges follow, with a fill
/// flag and a pen width (which also sets the default approximation tolerance).
///
/// The polygon owns both arrays; copies duplicate them. Pointers from GetEdge/GetArc stay
/// valid until the next call that adds, inserts, reallocates, approximates, loads or frees.
class BRIX_API DAPolygon {
 public:
  /// An empty outline with the plain flag (2) and width 0.
  DAPolygon() = default;
  DAPolygon(const DAPolygon& other);
  DAPolygon& operator=(const DAPolygon& other);
  ~DAPolygon();

  int GetEdgeCount() const { return edgeCount_; }
  int GetArcCount() const { return arcCount_; }
  int GetEdgeCapacity() const { return edgeCap_; }
  int GetArcCapacity() const { return arcCap_; }
  /// Vertex i, or null (after a failed check) when i is out of range.
  ArcPolyEdge* GetEdge(int i);
  const ArcPolyEdge* GetEdge(int i) const;
  /// Arc i, or null (after a failed check) when i is out of range.
  ArcPolyArc* GetArc(int i);
  const ArcPolyArc* GetArc(int i) const;
  /// The arc that edge i follows, or null when the edge is straight (or i is out of range).
  const ArcPolyArc* GetEdgeArc(int i) const;

  DAPolygonFlag GetFlag() const { return flag_; }
  void SetFlag(DAPolygonFlag flag) { flag_ = flag; }
  int GetWidth() const { return width_; }
  void SetWidth(int width) { width_ = width; }

  /// Appends a copy of e; an `arc` >= 0 replaces the copy's arc index. Returns the index of
  /// the new vertex.
  int Add(const ArcPolyEdge& e, int arc = -1);
  /// Inserts a copy of e before position i (0 ... edge count; other positions are a failed
  /// check and are clamped), with the same arc rule. Returns the edge count before the call.
  int Insert(int i, const ArcPolyEdge& e, int arc = -1);
  /// Appends an arc; returns its index.
  int Add(const ArcPolyArc& a);

  /// Makes room for n vertices: nothing happens when n >= 0 and the capacity already holds
  /// n; otherwise the capacity becomes max(capacity + 5, n), so a negative n grows by 5.
  /// Returns 1.
  int ReallocateEdges(int n);
  /// As ReallocateEdges for the arc table.
  int ReallocateArcs(int n);
  /// Empties the outline and the arc table; storage, flag and width are kept.
  void Clear() { edgeCount_ = arcCount_ = 0; }
  /// Empties the outline and releases both arrays.
  void Free();

  /// Replaces the outline by a full circle: two vertices at (cx, cy - r), the second
  /// arriving along arc 0 about (cx, cy) from -162000000 to 486000000.
  void CreateCircle(int cx, int cy, int r);
  /// Replaces the outline by the stadium that fills the (normalised) box: two semicircles
  /// on the short sides joined by straight long sides, five vertices and two arcs. An odd
  /// short side is filled to one unit less, so the centres stay on integer coordinates.
  void CreateOval(SYS_Box box);
  /// 2 vertices that coincide, 1 arc, and the arc's end - start exactly a full turn.
  int IsCircle() const;
  /// The outline is laid out as CreateOval lays out a horizontal or a vertical stadium.
  int IsOval() const;
  /// Distance from vertex i to the centre of the arc it arrives on; -1.0 for a straight
  /// edge (and for an index out of range).
  double GetRadius(int i) const;
  /// Demotes every arc whose ends coincide but that is not a full circle to a straight
  /// edge. Returns 0 when any vertex repeats its predecessor other than as a full circle (a
  /// repeated straight vertex too, although nothing is demoted: intended), else 1.
  int CheckArcs();
  /// The box of the vertices widened by the axis extremes that the arcs pass; the invalid
  /// box (+limit, +limit, -limit, -limit) for an outline without vertices.
  SYS_Box GetBox() const;
  /// Rotates by `angle` about the origin, then maps (x, y) to ((x + dx) sx, (y + dy) sy).
  /// Unequal |sx| and |sy| turn every edge straight. An arc whose angles the transform
  /// changes (a rotation or a mirror) gets its start brought into [0, 648000000) by whole
  /// turns, its sweep unchanged. Returns 1.
  int Transform(int dx, int dy, double angle, double sx, double sy);
  /// Makes this polygon a copy of src with every arc replaced by chords no farther than the
  /// tolerance from it (0: half the width, else 31800). With maxVertices >= 1 the tolerance
  /// is doubled until the result has fewer vertices or no arc can lose a chord. A circle is
  /// copied as it is unless convertCircle is non-zero. Returns 1, or 0 when the result
  /// would have more than kMaxApproximation vertices: this polygon is then left as it was.
  int Approximate(const DAPolygon& src, int tolerance, int maxVertices, int convertCircle);
  /// The number of vertices Approximate with these arguments gives (the vertex count of
  /// the copy when src would be copied as it is), counted without allocating anything.
  std::int64_t CountApproximation(int tolerance, int maxVertices, int convertCircle) const;
  /// Whether Approximate with the same arguments gives fewer than maxVertices vertices at
  /// the first tolerance tried (always 1 for no arcs or a kept circle; for maxVertices < 1,
  /// 1 unless the count passes kMaxApproximation).
  int CanBeApproximated(int tolerance, int maxVertices, int convertCircle) const;

  /// Bytes of the image: 20 + 12 x edge count + 24 x arc count; -1 when that is more than
  /// an int (and a 32-bit length word) holds.
  int GetImageLength() const;
  /// Writes the image (GetImageLength() bytes) and returns the number of bytes written; 0,
  /// writing nothing, when GetImageLength() is -1.
  int CreateImage(char* out) const;
  /// Reads an image of at most `size` bytes. Returns the number of bytes read, or 0 (the
  /// outline left empty) when the image is malformed or does not fit in `size`.
  int LoadImage0(const char* image, std::size_t size);
  /// Reads an image trusting only the length it declares in its first word.
  int LoadImage0(const char* image);
  /// Size of the image fields after the length word: flag, width and the two counts.
  int GetLength() const { return 16; }

  /// Largest chord count of a single arc; arcs whose count would be higher (huge radius
  /// against a tiny tolerance, or angles that are not finite) get this many.
  static constexpr int kMaxChords = 1 << 20;
  /// Most vertices one approximation may produce (48 MiB of vertices), for a polygon and
  /// for a region's polygons together.
  static constexpr int kMaxApproximation = 1 << 22;

 private:
  friend class DARegion;
  /// Whether Approximate replaces arcs, rather than copying the polygon as it is.
  bool ApproximatesArcs(int convertCircle) const;
  void CopyFrom(const DAPolygon& other);
  std::int64_t CountChords(double d, int* shrinkable) const;
  /// Doubles *d while the count is at least maxVertices and can still drop; the count.
  std::int64_t SettleTolerance(int maxVertices, double* d) const;

  DAPolygonFlag flag_ = DAPolygonPlain;
  int width_ = 0;
  int edgeCount_ = 0;
  int arcCount_ = 0;
  int edgeCap_ = 0;
  int arcCap_ = 0;
  std::unique_ptr<ArcPolyEdge[]> edges_;
  std::unique_ptr<ArcPolyArc[]> arcs_;
};

/// A node of a region's list: the link, then the polygon.
class BRIX_API DARegionNode : public SCC_SListNode<DARegionNode> {
 public:
  DARegionNode() = default;
  explicit DARegionNode(const DAPolygon& p) : polygon(p) {}

  DAPolygon& GetPolygon() { return polygon; }
  const DAPolygon& GetPolygon() const { return polygon; }

  DAPolygon polygon;
};

/// The ordered list of a region's outlines. It owns nothing by itself: the region deletes
/// the nodes.
using DARegionList = SCC_SList<DARegionNode>;

/// An ordered list of outlines, each with its flag. The region owns its nodes.
class BRIX_API DARegion {
 public:
  DARegion() = default;
  DARegion(const DARegion& other);
  /// Copies every polygon of other.
  DARegion& operator=(const DARegion& other);
  ~DARegion();

  /// Appends a copy of p; a non-zero f replaces the copy's flag. Returns 1.
  int Add(const DAPolygon& p, DAPolygonFlag f = DAPolygonKeepFlag);
  int GetPolygonNumber() const { return count_; }
  /// The list of nodes, first to last. Its structure belongs to the region; the polygons
  /// in it may be changed.
  const DARegionList& GetPolygons() const { return list_; }
  /// The first polygon, or null for an empty region.
  DAPolygon* GetFirstPolygon() const;
  /// Removes and deletes every node.
  void Clear();

  /// 1 when any polygon has an arc.
  int IsArcShaped() const;
  /// 1 when any polygon's flag is other than the plain 2.
  int IsComplex() const;
  /// CheckArcs on every polygon; 1 only if every one returned 1.
  int CheckArcs();
  /// The smallest box holding every polygon's box; the invalid box when empty.
  SYS_Box GetBox() const;
  /// DAPolygon::Transform on every polygon. Returns 1.
  int Transform(int dx, int dy, double angle, double sx, double sy);
  /// Clears this region and fills it with src's polygons in order, arcs approximated
  /// (the vertex limit applies to each polygon on its own). src may be this region.
  /// Returns 1, or 0 when the approximated polygons together would have more than
  /// DAPolygon::kMaxApproximation vertices: this region is then left as it was.
  int Approximate(const DARegion& src, int tolerance, int maxVertices, int convertCircle);
  /// 1 only if every polygon can be approximated with these arguments and the
  /// approximated polygons together stay within DAPolygon::kMaxApproximation.
  int CanBeApproximated(int tolerance, int maxVertices, int convertCircle) const;

  /// Bytes of the image: 8 + the polygons' image lengths; -1 when that is more than an
  /// int holds.
  int GetImageLength() const;
  /// Writes the image (GetImageLength() bytes); returns the number of bytes written, 0
  /// (writing nothing) when GetImageLength() is -1.
  int CreateImage(char* out) const;
  /// Clears the region and reads an image of at most `size` bytes, adding each polygon
  /// with its stored flag. Returns the bytes read, or 0 (the region left empty) when the
  /// image's lengths or counts are inconsistent or do not fit in `size`.
  int LoadImage0(const char* image, std::size_t size);
  /// As above, trusting only the length the image declares in its first word.
  int LoadImage0(const char* image);

 private:
  void Append(DARegionNode* node);
  /// Vertices that approximating src's arc polygons gives in all (counting may stop
  /// early once past the cap).
  static std::int64_t ApproximatedVertices(const DARegion& src, int tolerance, int maxVertices,
                                           int convertCircle);

  int count_ = 0;
  DARegionList list_;
  DARegionNode* tail_ = nullptr;  // appending stays O(1) for long regions
};

/// Walks a region's polygons from the first to the last.
class BRIX_API DARegionIterator : public SCC_SListIterator<DARegionNode> {
 public:
  DARegionIterator() = default;
  explicit DARegionIterator(const DARegion& region)
      : SCC_SListIterator<DARegionNode>(region.GetPolygons()) {}

  /// The next polygon (the first after construction or Restart), or null at the end.
  DAPolygon* GetNextPolygon() {
    DARegionNode* node = GetNext();
    return node ? &node->polygon : nullptr;
  }
};
