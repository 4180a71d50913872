// geomnode_test.cpp - tests of SYS_GeomNode rings, SYS_Geometry and SYS_GeomIterator.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ssm.h"
#include "sysgeomnode.h"

namespace {

struct Node : SYS_GeomNode {
  explicit Node(char n = '?', short type = 0) : name(n) { SetNodeType(type); }
  char name;
};

// Links the nodes into one ring in the given order.
void Ring(std::initializer_list<Node*> nodes) {
  std::vector<Node*> v(nodes);
  for (std::size_t i = 0; i < v.size(); ++i) v[i]->SetRoot(v[(i + 1) % v.size()]);
}

// The names met walking from `n` until it comes back (at most 20 steps).
std::string Walk(Node& n) {
  std::string s(1, n.name);
  for (SYS_GeomNode* p = n.GetRoot(); p && p != &n && s.size() < 20; p = p->GetNextRoot(p))
    s += static_cast<Node*>(p)->name;
  return s;
}

char Name(SYS_GeomNode* n) { return n ? static_cast<Node*>(n)->name : '-'; }

TEST(GeomNodeTest, NewNodeIsAlone) {
  Node a;
  EXPECT_EQ(a.GetRoot(), nullptr);
  EXPECT_EQ(a.GetDBRoot(), nullptr);
  EXPECT_EQ(a.GetRoot(short{0}), nullptr);
  EXPECT_FALSE(a.IsValid());
  EXPECT_EQ(a.GetHostWord(), 32767);
  a.SetGeomType(SGN_Composite);
  EXPECT_TRUE(a.IsValid());
  EXPECT_EQ(a.GetNodeType(), 2);
}

TEST(GeomNodeTest, GeomTypes) {
  for (short t = -1; t <= 8; ++t) {
    Node n('n', t);
    EXPECT_EQ(n.IsGeomType(), t == 1 || t == 2 || t == 6) << t;
    EXPECT_EQ(n.GetGeomType(), t);
  }
}

TEST(GeomNodeTest, IncludeRootInsertsAfterThisNode) {
  Node a('a'), b('b'), c('c');
  a.IncludeRoot(&b);
  EXPECT_EQ(a.GetRoot(), &b);
  EXPECT_EQ(b.GetRoot(), &a);
  a.IncludeRoot(&c);
  EXPECT_EQ(Walk(a), "acb");
  a.IncludeRoot(nullptr);
  EXPECT_EQ(Walk(a), "acb");
}

TEST(GeomNodeTest, Searches) {
  Node a('a', 3), b('b', 1), c('c', 4), d('d', 7), e('e', 6);
  Ring({&a, &b, &c, &d, &e});
  EXPECT_EQ(Name(a.GetRoot()), 'b');
  EXPECT_EQ(Name(a.GetRoot(short{4})), 'c');
  EXPECT_EQ(Name(a.GetRoot(short{3})), '-');  // this node itself is never found
  EXPECT_EQ(Name(a.GetDBRoot()), 'c');
  EXPECT_EQ(Name(a.GetBRTRoot()), 'd');
  EXPECT_EQ(Name(a.GetNextGeomRoot()), 'b');
  EXPECT_EQ(Name(c.GetNextGeomRoot()), 'e');
  EXPECT_EQ(Name(a.GetNextRoot(&b)), 'c');
  EXPECT_EQ(Name(a.GetNextRoot(&e)), '-');
  EXPECT_EQ(Name(a.GetNextRoot(&b, SGN_Boundary)), 'e');
  EXPECT_EQ(Name(a.GetNextRoot(&c, SGN_Primitive)), '-');
  EXPECT_EQ(Name(b.GetNextRoot(&c, SGN_Primitive)), '-');
  EXPECT_EQ(Name(a.NextRoot(&a, 7)), 'd');
  EXPECT_EQ(Name(a.NextRoot(&d, 1)), '-');
  EXPECT_EQ(Name(a.NextRoot(&d, 3)), '-');

  // A broken ring (a null next) ends every search instead of crashing.
  d.SetRoot(nullptr);
  EXPECT_EQ(Name(a.GetRoot(short{6})), '-');
  EXPECT_EQ(Name(a.NextRoot(&b, 6)), '-');
  EXPECT_EQ(Name(a.GetPrevRoot(&b)), '-');
  a.ExcludeByType(6);
  EXPECT_EQ(Name(a.GetRoot(short{7})), 'd');
}

TEST(GeomNodeTest, GetPrevRootStopsAtBoundaries) {
  Node a('a'), b('b'), c('c'), e('e', 6);
  Ring({&a, &b, &c});
  EXPECT_EQ(Name(a.GetPrevRoot(&a)), 'c');
  EXPECT_EQ(Name(a.GetPrevRoot(&b)), 'c');
  EXPECT_EQ(Name(a.GetPrevRoot(&c)), '-');  // c's successor is this node
  Ring({&a, &b, &e, &c});
  EXPECT_EQ(Name(a.GetPrevRoot(&a)), '-');  // passes e before reaching c
  EXPECT_EQ(Name(a.GetPrevRoot(&e)), 'c');
  Ring({&a, &b, &e});
  EXPECT_EQ(Name(a.GetPrevRoot(&a)), 'e');  // a boundary may itself be the predecessor
  Node alone('z');
  EXPECT_EQ(alone.GetPrevRoot(&alone), nullptr);
  EXPECT_EQ(alone.GetPrevRoot(nullptr), nullptr);
}

TEST(GeomNodeTest, ExcludeRoot) {
  Node a('a'), b('b'), c('c'), e('e', 6);
  Ring({&a, &b, &c});
  b.ExcludeRoot(&b);
  EXPECT_EQ(Walk(a), "ac");
  EXPECT_EQ(b.GetRoot(), nullptr);
  b.ExcludeRoot(&b);  // alone: nothing happens
  EXPECT_EQ(b.GetRoot(), nullptr);

  Ring({&b, &e, &c, &a});
  b.ExcludeRoot(&b);  // the predecessor lies beyond the boundary e
  EXPECT_EQ(Walk(b), "beca");
  Ring({&b, &c, &e});
  b.ExcludeRoot(&b);  // the boundary is the predecessor itself
  EXPECT_EQ(Walk(e), "ec");
  EXPECT_EQ(b.GetRoot(), nullptr);

  // For another node the predecessor continues with this node's successor (intended).
  Ring({&a, &b, &c});
  a.ExcludeRoot(&c);
  EXPECT_EQ(a.GetRoot(), nullptr);
  EXPECT_EQ(b.GetRoot(), nullptr);
  EXPECT_EQ(c.GetRoot(), &a);
}

TEST(GeomNodeTest, ExcludeOwnRootAndNearType) {
  Node a('a'), x('x', 3), y('y', 3), z('z', 1), w('w', 3);
  Ring({&a, &x, &y, &z, &w});
  a.ExcludeNearType(3);
  EXPECT_EQ(Walk(a), "azw");
  a.ExcludeOwnRoot();
  EXPECT_EQ(Walk(a), "aw");
  EXPECT_EQ(z.GetRoot(), &w);  // an unlinked node keeps its old next
  a.ExcludeNearType(3);
  EXPECT_EQ(a.GetRoot(), nullptr);
  a.ExcludeOwnRoot();  // alone: stays alone
  EXPECT_EQ(a.GetRoot(), nullptr);
  a.SetRoot(nullptr);
  a.ExcludeOwnRoot();
  a.ExcludeNearType(3);
  EXPECT_EQ(a.GetRoot(), nullptr);
}

TEST(GeomNodeTest, ExcludeByType) {
  Node a('a', 3), x('x', 3), z('z', 1), y('y', 3), v('v', 2), w('w', 3);
  Ring({&a, &x, &z, &y, &v, &w});
  a.ExcludeByType(3);
  EXPECT_EQ(Walk(a), "azv");
  a.ExcludeByType(1);
  EXPECT_EQ(Walk(a), "av");
  a.ExcludeByType(2);  // every other node had the type: this node is left alone
  EXPECT_EQ(a.GetRoot(), nullptr);
}

TEST(GeomNodeTest, AssignmentCopiesLinkAndType) {
  Node a('a', 4), b('b', 1);
  a.IncludeRoot(&b);
  Node c('c');
  c.SetHostWord(5);
  c = a;
  EXPECT_EQ(c.GetRoot(), &b);
  EXPECT_EQ(c.GetNodeType(), 4);
  EXPECT_EQ(c.GetHostWord(), 5);
  EXPECT_EQ(c.name, 'a');  // Node's own assignment copies its fields too
}

// Catches the failure reports of the live assertion service.
struct Probe : SCC_EventHook<int> {
  int calls = 0;
  std::string message;
  std::string file;
  int line = 0;
  int OnNotification(int code, int* data) override {
    ++calls;
    const auto* d = reinterpret_cast<SSM::AssertData*>(data);
    message = d->message.GetString();
    file = d->fileName.GetString();
    line = d->line;
    return 0;
  }
};

TEST(GeomNodeTest, NextRootReportsACorruptedRing) {
  Node a('a'), b('b', 1), c('c', 2);
  a.SetRoot(&b);
  b.SetRoot(&c);
  c.SetRoot(&c);
  EXPECT_EQ(Name(a.NextRoot(&a, 2)), 'c');  // the broken node is found before it is judged
  EXPECT_EQ(a.NextRoot(&a, 4), nullptr);    // no manager: reported to nobody, search ends

  SSM ssm;
  Probe probe;
  ssm.HookAssertHandled(&probe);
  bool thrown = false;
  try {
    a.NextRoot(&a, 4);
  } catch (SSM::AssertData* d) {
    thrown = true;
    EXPECT_STREQ(d->fileName.GetString(), "system/sys/SYS_Geom_Inline");
    EXPECT_EQ(d->line, 2275);
  }
  EXPECT_TRUE(thrown);
  EXPECT_EQ(probe.calls, 1);
  EXPECT_EQ(probe.message, "Corrupted SYS_GeomNode chain!");
  EXPECT_EQ(probe.file, "system/sys/SYS_Geom_Inline");
  EXPECT_EQ(probe.line, 2275);

  // A well-formed ring or a self-pointing start node reports nothing.
  c.SetRoot(&a);
  EXPECT_EQ(a.NextRoot(&a, 4), nullptr);
  EXPECT_EQ(a.NextRoot(nullptr, 4), nullptr);
  EXPECT_EQ(probe.calls, 1);
}

// Random inserts and removals against a list model of one ring.
TEST(GeomNodeTest, RandomRingAgainstModel) {
  std::mt19937 rng(99);
  constexpr int kNodes = 24;
  std::vector<std::unique_ptr<Node>> nodes;
  for (int i = 0; i < kNodes; ++i) nodes.push_back(std::make_unique<Node>('A' + i, i % 5));
  Node head('@', 7);
  std::vector<Node*> model;  // nodes after head, in ring order
  auto check = [&] {
    std::string want = "@";
    for (Node* n : model) want += n->name;
    ASSERT_EQ(Walk(head), want);
    for (short t = 0; t < 5; ++t) {
      auto it =
          std::find_if(model.begin(), model.end(), [&](Node* n) { return n->GetNodeType() == t; });
      ASSERT_EQ(head.GetRoot(t), it == model.end() ? nullptr : *it) << t;
    }
    if (!model.empty()) {
      ASSERT_EQ(head.GetPrevRoot(&head), model.back());
    }
  };
  for (int step = 0; step < 3000; ++step) {
    Node* n = nodes[rng() % kNodes].get();
    auto at = std::find(model.begin(), model.end(), n);
    const int op = rng() % 8;
    if (at == model.end() && op < 4) {
      // Insert after a random member (or the head).
      const std::size_t pos = rng() % (model.size() + 1);
      Node* before = pos == 0 ? &head : model[pos - 1];
      before->IncludeRoot(n);
      model.insert(model.begin() + pos, n);
    } else if (at != model.end() && op < 6) {
      n->ExcludeRoot(n);
      model.erase(at);
      ASSERT_EQ(n->GetRoot(), nullptr);
    } else if (op == 6) {
      const short t = rng() % 5;
      head.ExcludeByType(t);
      for (Node* m : model)
        if (m->GetNodeType() == t) m->SetRoot(m);  // unlinked nodes keep a stale next
      std::erase_if(model, [&](Node* m) { return m->GetNodeType() == t; });
    } else if (op == 7) {
      const short t = rng() % 5;
      head.ExcludeNearType(t);
      while (!model.empty() && model.front()->GetNodeType() == t) {
        model.front()->SetRoot(model.front());
        model.erase(model.begin());
      }
    }
    check();
    if (HasFatalFailure()) return;
  }
}

struct TestGeometry : SYS_Geometry {
  int IsValid() const override { return 1; }
  SYS_GeometryType GetGeometry() const override { return SYS_GeomCircle; }
};

// Yields a point, then a box.
class TwoValues : public SYS_GeomIterator {
 public:
  TwoValues() { SetMaxHandle(2); }
  SYS_GeometryType GetObjectType() const override {
    return GetHandle() == 1 ? SYS_GeomPoint : GetHandle() == 2 ? SYS_GeomRectangle : SYS_GeomNone;
  }
  const SYS_Point* GetPointValue() const override { return GetHandle() == 1 ? &p_ : nullptr; }
  const SYS_Box* GetRectangleValue() const override { return GetHandle() == 2 ? &b_ : nullptr; }

 private:
  SYS_Point p_{1, 2};
  SYS_Box b_{0, 0, 5, 5};
};

TEST(GeomNodeTest, GeometryInterfaces) {
  SYS_GeomIterator base;
  EXPECT_EQ(base.GetFirst(nullptr), 0);
  EXPECT_FALSE(base.IsValid());
  EXPECT_EQ(base.GetObjectType(), SYS_GeomNone);
  EXPECT_EQ(base.GetPointValue(), nullptr);
  EXPECT_EQ(base.GetDoublePointValue(), nullptr);
  EXPECT_EQ(base.GetLocationValue(), nullptr);
  EXPECT_EQ(base.GetCircleValue(), nullptr);
  EXPECT_EQ(base.GetSegmentValue(), nullptr);
  EXPECT_EQ(base.GetArcValue(), nullptr);
  EXPECT_EQ(base.GetRectangleValue(), nullptr);

  TwoValues it;
  std::vector<SYS_GeometryType> kinds;
  for (it.GetFirst(nullptr); it.IsValid(); it.GetNext()) kinds.push_back(it.GetObjectType());
  EXPECT_EQ(kinds, (std::vector<SYS_GeometryType>{SYS_GeomPoint, SYS_GeomRectangle}));
  it.GetFirst(nullptr);
  EXPECT_EQ(*it.GetPointValue(), SYS_Point(1, 2));

  std::unique_ptr<SYS_Geometry> g = std::make_unique<TestGeometry>();
  EXPECT_EQ(g->GetGeometry(), SYS_GeomCircle);
  EXPECT_EQ(SYS_Geometry().IsValid(), 0);
  EXPECT_EQ(SYS_Geometry().GetGeometry(), SYS_GeomNone);
}

}  // namespace
