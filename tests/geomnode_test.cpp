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

TEST(GeomNodeTest, SearchesAndBoundaries) {
  Node a('a', 3), b('b', 1), c('c', 4), d('d', 7), e('e', 6);
  a.SetRoot(&b), b.SetRoot(&c), c.SetRoot(&d), d.SetRoot(nullptr);  // a null next ends every search, no crash
  EXPECT_TRUE(a.GetNextGeomRoot() == &b && a.GetPrevRoot(&b) == nullptr);
  Ring({&a, &b, &e, &c});
  EXPECT_EQ(Name(a.GetPrevRoot(&a)), '-');  // passes the boundary e before reaching c
  EXPECT_EQ(Name(a.GetPrevRoot(&e)), 'c');
  Ring({&b, &e, &c, &a});
  b.ExcludeRoot(&b);  // the predecessor lies beyond the boundary: nothing changes
  EXPECT_EQ(Walk(b), "beca");
  Ring({&a, &b, &c});
  a.ExcludeRoot(&c);  // for another node the predecessor continues with this node's next
  EXPECT_TRUE(a.GetRoot() == nullptr && b.GetRoot() == nullptr && c.GetRoot() == &a);
  Ring({&a, &b, &c});
  a.ExcludeOwnRoot();
  EXPECT_TRUE(Walk(a) == "ac" && b.GetRoot() == &c);  // an unlinked node keeps its old next
}

TEST(GeomNodeTest, NextRootReportsACorruptedRing) {
  Node a('a'), b('b', 1), c('c', 2);
  a.SetRoot(&b), b.SetRoot(&c), c.SetRoot(&c);
  EXPECT_EQ(Name(a.NextRoot(&a, 2)), 'c');  // found before it is judged
  EXPECT_EQ(a.NextRoot(&a, 4), nullptr);    // no assertion service: the search just ends
  SSM ssm;  // with an assertion service the corruption is reported, once
  EXPECT_THROW(a.NextRoot(&a, 4), SSM::AssertData*);
  EXPECT_EQ((c.SetRoot(&a), a.NextRoot(&a, 4)), nullptr);  // a sound ring reports nothing
  EXPECT_EQ(ssm.FindSite("system/sys/SYS_Geom_Inline", 2275)->count, 1);
}

// Random inserts and removals against a list model of one ring.
TEST(GeomNodeTest, RandomRingAgainstModel) {
  std::mt19937 rng(99);
  std::vector<std::unique_ptr<Node>> nodes;
  for (int i = 0; i < 24; ++i) nodes.push_back(std::make_unique<Node>('A' + i, i % 5));
  Node head('@', 7);
  std::vector<Node*> model;  // the nodes after head, in ring order
  auto hasType = [](short t) { return [t](Node* m) { return m->GetNodeType() == t; }; };
  for (int step = 0; step < 3000; ++step) {
    Node* n = nodes[rng() % nodes.size()].get();
    const auto at = std::find(model.begin(), model.end(), n);
    const int op = rng() % 8;
    const short t = rng() % 5;
    if (at == model.end() && op < 4) {
      const std::size_t pos = rng() % (model.size() + 1);
      (pos == 0 ? &head : model[pos - 1])->IncludeRoot(n);
      model.insert(model.begin() + pos, n);
    } else if (at != model.end() && op < 6) {
      n->ExcludeRoot(n), model.erase(at);
      ASSERT_EQ(n->GetRoot(), nullptr);
    } else if (op == 6) {
      head.ExcludeByType(t), std::erase_if(model, hasType(t));
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

}  // namespace
