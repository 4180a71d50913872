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

// The names met walking from `n` until it comes back (at most 30 steps).
std::string Walk(Node& n) {
  std::string s(1, n.name);
  for (SYS_GeomNode* p = n.GetRoot(); p && p != &n && s.size() < 30; p = n.GetNextRoot(p))
    s += static_cast<Node*>(p)->name;
  return s;
}

char Name(SYS_GeomNode* n) { return n ? static_cast<Node*>(n)->name : '-'; }

TEST(GeomNodeTest, NewNodesAndTypes) {
  Node a('a'), b('b');
  EXPECT_EQ(a.GetRoot(), nullptr);
  EXPECT_EQ(a.GetDBRoot(), nullptr);
  EXPECT_FALSE(a.IsValid());
  EXPECT_EQ(a.GetHostWord(), 32767);
  for (short t = -1; t <= 8; ++t) {
    a.SetNodeType(t);
    EXPECT_EQ(a.IsGeomType(), t == 1 || t == 2 || t == 6) << t;
    EXPECT_EQ(a.IsValid(), t != 0) << t;
  }
  a.IncludeRoot(&b);
  EXPECT_EQ(a.GetRoot(), &b);
  EXPECT_EQ(b.GetRoot(), &a);
  a.IncludeRoot(nullptr);
  EXPECT_EQ(Walk(a), "ab");

  // Assignment copies the link and the type, not the host word.
  Node c('c', 4);
  c.SetHostWord(5);
  c = a;
  EXPECT_EQ(c.GetRoot(), &b);
  EXPECT_EQ(c.GetNodeType(), a.GetNodeType());
  EXPECT_EQ(c.GetHostWord(), 5);
}

TEST(GeomNodeTest, Searches) {
  Node a('a', 3), b('b', 1), c('c', 4), d('d', 7), e('e', 6);
  Ring({&a, &b, &c, &d, &e});
  EXPECT_EQ(Name(a.GetRoot(short{4})), 'c');
  EXPECT_EQ(Name(a.GetRoot(short{3})), '-');  // this node itself is never found
  EXPECT_EQ(Name(a.GetDBRoot()), 'c');
  EXPECT_EQ(Name(a.GetBRTRoot()), 'd');
  EXPECT_EQ(Name(a.GetNextGeomRoot()), 'b');
  EXPECT_EQ(Name(a.GetNextRoot(&e)), '-');
  EXPECT_EQ(Name(a.GetNextRoot(&b, SGN_Boundary)), 'e');
  EXPECT_EQ(Name(b.GetNextRoot(&c, SGN_Primitive)), '-');
  EXPECT_EQ(Name(a.NextRoot(&a, 7)), 'd');
  EXPECT_EQ(Name(a.NextRoot(&d, 3)), '-');

  // A null next ends every search instead of crashing.
  d.SetRoot(nullptr);
  EXPECT_EQ(Name(a.GetRoot(short{6})), '-');
  EXPECT_EQ(Name(a.NextRoot(&b, 6)), '-');
  EXPECT_EQ(Name(a.GetPrevRoot(&b)), '-');
  a.ExcludeByType(6);
  EXPECT_EQ(Name(a.GetRoot(short{7})), 'd');
}

TEST(GeomNodeTest, BackwardWalksStopAtBoundaries) {
  Node a('a'), b('b'), c('c'), e('e', 6);
  Ring({&a, &b, &c});
  EXPECT_EQ(Name(a.GetPrevRoot(&b)), 'c');
  EXPECT_EQ(Name(a.GetPrevRoot(&c)), '-');  // c's successor is this node
  Ring({&a, &b, &e, &c});
  EXPECT_EQ(Name(a.GetPrevRoot(&a)), '-');  // passes e before reaching c
  EXPECT_EQ(Name(a.GetPrevRoot(&e)), 'c');
  Ring({&a, &b, &e});
  EXPECT_EQ(Name(a.GetPrevRoot(&a)), 'e');  // a boundary may itself be the predecessor

  Ring({&a, &b, &c});
  b.ExcludeRoot(&b);
  EXPECT_EQ(Walk(a), "ac");
  EXPECT_EQ(b.GetRoot(), nullptr);
  Ring({&b, &e, &c, &a});
  b.ExcludeRoot(&b);  // the predecessor lies beyond the boundary: nothing changes
  EXPECT_EQ(Walk(b), "beca");
  Ring({&b, &c, &e});
  b.ExcludeRoot(&b);
  EXPECT_EQ(Walk(e), "ec");
  EXPECT_EQ(b.GetRoot(), nullptr);
  // For another node the predecessor continues with this node's successor (intended).
  Ring({&a, &b, &c});
  a.ExcludeRoot(&c);
  EXPECT_EQ(a.GetRoot(), nullptr);
  EXPECT_EQ(b.GetRoot(), nullptr);
  EXPECT_EQ(c.GetRoot(), &a);
}

TEST(GeomNodeTest, ForwardExclusions) {
  Node a('a', 3), x('x', 3), y('y', 3), z('z', 1), v('v', 2), w('w', 3);
  Ring({&a, &x, &y, &z, &v, &w});
  a.ExcludeNearType(3);
  EXPECT_EQ(Walk(a), "azvw");
  a.ExcludeOwnRoot();
  EXPECT_EQ(Walk(a), "avw");
  EXPECT_EQ(z.GetRoot(), &v);  // an unlinked node keeps its old next
  a.ExcludeByType(3);
  EXPECT_EQ(Walk(a), "av");
  a.ExcludeByType(2);  // every other node had the type: this node is left alone
  EXPECT_EQ(a.GetRoot(), nullptr);
  a.ExcludeOwnRoot();
  a.SetRoot(nullptr);
  a.ExcludeOwnRoot();
  a.ExcludeNearType(3);
  a.ExcludeByType(3);
  EXPECT_EQ(a.GetRoot(), nullptr);
}

TEST(GeomNodeTest, NextRootReportsACorruptedRing) {
  Node a('a'), b('b', 1), c('c', 2);
  a.SetRoot(&b);
  b.SetRoot(&c);
  c.SetRoot(&c);
  EXPECT_EQ(Name(a.NextRoot(&a, 2)), 'c');  // found before it is judged
  EXPECT_EQ(a.NextRoot(&a, 4), nullptr);    // no assertion service: the search just ends

  SSM ssm;
  bool thrown = false;
  try {
    a.NextRoot(&a, 4);
  } catch (SSM::AssertData* d) {
    thrown = true;
    EXPECT_STREQ(d->fileName.GetString(), "system/sys/SYS_Geom_Inline");
    EXPECT_EQ(d->line, 2275);
    EXPECT_STREQ(d->message.GetString(), "Corrupted SYS_GeomNode chain!");
  }
  EXPECT_TRUE(thrown);
  c.SetRoot(&a);
  EXPECT_EQ(a.NextRoot(&a, 4), nullptr);  // a sound ring reports nothing
  EXPECT_EQ(ssm.FindSite("system/sys/SYS_Geom_Inline", 2275)->count, 1);
}

// Random inserts and removals against a list model of one ring.
TEST(GeomNodeTest, RandomRingAgainstModel) {
  std::mt19937 rng(99);
  constexpr int kNodes = 24;
  std::vector<std::unique_ptr<Node>> nodes;
  nodes.reserve(kNodes);
  for (int i = 0; i < kNodes; ++i) nodes.push_back(std::make_unique<Node>('A' + i, i % 5));
  Node head('@', 7);
  std::vector<Node*> model;  // the nodes after head, in ring order
  auto hasType = [](short t) { return [t](Node* m) { return m->GetNodeType() == t; }; };
  for (int step = 0; step < 3000; ++step) {
    Node* n = nodes[rng() % kNodes].get();
    const auto at = std::find(model.begin(), model.end(), n);
    const int op = rng() % 8;
    const short t = rng() % 5;
    if (at == model.end() && op < 4) {
      const std::size_t pos = rng() % (model.size() + 1);
      (pos == 0 ? &head : model[pos - 1])->IncludeRoot(n);
      model.insert(model.begin() + pos, n);
    } else if (at != model.end() && op < 6) {
      n->ExcludeRoot(n);
      model.erase(at);
      ASSERT_EQ(n->GetRoot(), nullptr);
    } else if (op == 6) {
      head.ExcludeByType(t);
      std::erase_if(model, hasType(t));
    } else if (op == 7) {
      head.ExcludeNearType(t);
      while (!model.empty() && hasType(t)(model.front())) model.erase(model.begin());
    }
    std::string want = "@";
    for (Node* m : model) want += m->name;
    ASSERT_EQ(Walk(head), want) << "step " << step;
    const auto first = std::find_if(model.begin(), model.end(), hasType(t));
    ASSERT_EQ(head.GetRoot(t), first == model.end() ? nullptr : *first);
    ASSERT_EQ(head.GetPrevRoot(&head), model.empty() ? nullptr : model.back());
  }
}

TEST(GeomNodeTest, BaseInterfacesAnswerNothing) {
  SYS_GeomIterator it;
  EXPECT_EQ(it.GetFirst(nullptr), 0);
  EXPECT_FALSE(it.IsValid());
  EXPECT_EQ(it.GetObjectType(), SYS_GeomNone);
  EXPECT_EQ(it.GetPointValue(), nullptr);
  EXPECT_EQ(it.GetDoublePointValue(), nullptr);
  EXPECT_EQ(it.GetLocationValue(), nullptr);
  EXPECT_EQ(it.GetCircleValue(), nullptr);
  EXPECT_EQ(it.GetSegmentValue(), nullptr);
  EXPECT_EQ(it.GetArcValue(), nullptr);
  EXPECT_EQ(it.GetRectangleValue(), nullptr);
  EXPECT_EQ(SYS_Geometry().IsValid(), 0);
  EXPECT_EQ(SYS_Geometry().GetGeometry(), SYS_GeomNone);
}

}  // namespace
