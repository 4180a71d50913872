// property_test.cpp - tests of the properties: aggregation and writing over a collection's
// focus, the boolean operators as filter trees, forwarding and the convertor relay.
#include <gtest/gtest.h>

#include <map>
#include <tuple>
#include <vector>

#include "sccproperty.h"
#include "ssm.h"

namespace {

std::string Text(const SCC_Variant& v) { return std::string(static_cast<const SYS_String>(v)); }

using Prop = SCC_SharedPointer<SCC_StdProperty>;

// A host-style property over a table of values by handle: reads of missing handles and
// writes to handles in `readOnly` fail, and every access is logged.
struct TableProperty : SCC_StdProperty {
  using SCC_StdProperty::GetValue, SCC_StdProperty::SetValue;
  int GetValue(int handle, SCC_Variant& value) override {
    reads.push_back(handle);
    if (values.count(handle)) value = values[handle];
    return static_cast<int>(values.count(handle));
  }
  int SetValue(int handle, const SCC_Variant& value, int) override {
    writes.push_back(handle);
    if (handle == readOnly) return 0;
    values[handle] = value;
    return 1;
  }
  int HasSetMethod() const override { return 1; }
  int HasObject() const override { return object != nullptr; }
  void SetObject(void* o) override { object = o; }
  std::map<int, SCC_Variant> values;
  std::vector<int> reads, writes;
  int readOnly = -1;
  void* object = nullptr;
};

SCC_SharedPointer<TableProperty> Table(std::map<int, SCC_Variant> values) {
  auto* p = new TableProperty;
  p->values = std::move(values);
  return p;
}

TEST(PropertyTest, AggregatesAndWritesTheFocus) {
  auto p = Table({{1, 5}, {2, 5}, {3, 5}, {4, 7}, {5, 5.0}, {6, "5"}, {7, SCC_Variant()}});
  // focus, value before, result, value after (type/text), handles read
  const std::tuple<std::vector<long>, SCC_Variant, int, std::string, std::vector<int>> cases[] = {
      {{1, 2, 3}, SCC_Variant(), 1, "1/5", {1, 2, 3}},
      {{1, 4, 2}, SCC_Variant(), 1, "4/", {1, 4}},   // mixed: stops at once
      {{1, 5}, SCC_Variant(), 1, "1/5", {1, 5}},     // 5 and 5.0 are equal
      {{5, 6}, SCC_Variant(), 1, "4/", {5, 6}},      // "5." and "5" are not
      {{1, 9, 2}, SCC_Variant(), 0, "1/5", {1, 9}},  // a failed read ends it
      {{1, 2}, SCC_Variant(6), 1, "4/", {1}},        // cleared at the first
      {{7, 1}, SCC_Variant(), 1, "1/5", {7, 1}},     // empty items are no value
      {{}, SCC_Variant(3), 0, "1/3", {}},            // no focus
  };
  for (const auto& [handles, start, result, after, reads] : cases) {
    SCC_HandleCollection focus;
    for (long h : handles) focus.AddFocus(h);
    p->reads.clear();
    SCC_Variant value = start;
    EXPECT_EQ(p->GetValue(&focus, value), result) << ::testing::PrintToString(handles);
    EXPECT_EQ(std::to_string(value.GetType()) + "/" + Text(value), after);
    EXPECT_EQ(p->reads, reads);
  }
  SCC_HandleCollection focus{3, 0, 1, 3, 2};  // 0 and repeats are skipped
  p->readOnly = 1;
  EXPECT_EQ(p->SetValue(&focus, SCC_Variant("x"), 0), 0);
  EXPECT_EQ(p->writes, (std::vector<int>{3, 1})) << "items after a failure are not written";
  p->readOnly = -1;
  EXPECT_EQ(p->SetValue(&focus, SCC_Variant("y"), 0), 1);
  EXPECT_EQ(Text(p->values[2]), "y");
}

TEST(PropertyTest, BooleanOperatorsPerHandle) {
  // Only exactly 1 is true for And, any nonzero value for Or; right is 7 everywhere.
  auto l = Table({{1, 1}, {2, 2}, {3, 0}, {4, 1.9}, {5, "1"}, {6, SCC_Variant()}, {8, 3e9}});
  auto r = Table({{1, 7}, {2, 7}, {3, 7}, {4, 7}, {5, 7}, {6, 7}});
  Prop andP(new SCC_AndProperty(l, r)), orP(new SCC_OrProperty(l, r));
  std::string ands, ors, rightReads;
  for (int h = 1; h <= 6; ++h) {
    SCC_Variant a, o;
    r->reads.clear();
    EXPECT_EQ(andP->GetValue(h, a) + orP->GetValue(h, o), 2);
    ands += Text(a) + ",", ors += Text(o) + ",", rightReads += std::to_string(r->reads.size());
  }
  EXPECT_EQ(ands + ors, "7,2,0,7,7,,1,2,7,1.9,1,7,");
  EXPECT_EQ(rightReads, "101111") << "the right operand is read only when it decides";
  SCC_Variant v;
  EXPECT_EQ(andP->GetValue(99, v) + orP->GetValue(99, v), 0);  // a failed left read
  SCC_HandleCollection all{1, 2};
  EXPECT_EQ(andP->GetValue(&all, v), 0) << "operators work per handle only";

  auto t = Table({{1, SCC_Variant()}, {2, 0}, {3, "abc"}, {4, 2.0}, {5, "2"}, {6, 2}, {7, 3}});
  Prop notP(new SCC_NotProperty(t)), ne(new SCC_NotEqualProperty(t, SCC_Variant(2.0)));
  std::string nots;
  for (int h = 1; h <= 8; ++h) {
    SCC_Variant a(5), b(5);
    const int read = notP->GetValue(h, a) * 10 + ne->GetValue(h, b);
    nots += std::to_string(read) + Text(a) + Text(b) + " ";
  }
  // Empty, 0 and text read as 0; "2" is not "2." as texts, the long 2 is 2.0; a failed read
  // is not negated.
  EXPECT_EQ(nots, "1111 1111 1111 1100 1101 1100 1101 055 ");
}

TEST(PropertyTest, ForwardingAndAssignment) {
  auto l = Table({{1, 10}}), r = Table({{1, 20}});
  SCC_SharedPointer<SCC_IndProperty> ind(new SCC_IndProperty(l));
  SCC_SharedPointer<SCC_AndProperty> andP(new SCC_AndProperty(l, r));
  int object = 0;
  l->SetObject(&object);
  const int leftOnly = andP->HasObject();  // both operands need one
  andP->SetObject(&object);
  EXPECT_EQ(leftOnly * 10 + andP->HasObject() + ind->HasObject() + andP->HasSetMethod(), 3);
  SCC_SharedPointer<SCC_Convertor> conv(new SCC_Convertor);
  andP->SetConvertor(conv);
  EXPECT_EQ(conv->GetRefCount(), 3) << "both operands hold it";
  SCC_HandleCollection focus{1};
  EXPECT_EQ(ind->SetValue(&focus, SCC_Variant(3), 0), 1);
  EXPECT_EQ(andP->SetValue(&focus, SCC_Variant(4), 0), 0) << "operators never write";
  SCC_IndProperty toRight(r);
  toRight = *ind;  // now reads l
  toRight = toRight;
  SCC_Variant v;
  EXPECT_EQ(toRight.GetValue(1, v), 1);
  EXPECT_EQ(Text(v), "3");

}

}  // namespace
