// property_test.cpp - tests of the properties: aggregation and writing over a collection's
// focus, the boolean operators evaluated as filter trees, forwarding and the convertor relay.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "sccproperty.h"
#include "ssm.h"

namespace {

std::string Text(const SCC_Variant& v) { return std::string(static_cast<const SYS_String>(v)); }

using Prop = SCC_SharedPointer<SCC_StdProperty>;

// A host-style property over a table of values by handle: reads of missing handles fail,
// writes to handles in `readOnly` fail, and every access is logged.
struct TableProperty : SCC_StdProperty {
  explicit TableProperty(std::map<int, SCC_Variant> v = {}) : values(std::move(v)) {}
  using SCC_StdProperty::GetValue;
  using SCC_StdProperty::SetValue;
  int GetValue(int handle, SCC_Variant& value) override {
    reads.push_back(handle);
    auto it = values.find(handle);
    if (it == values.end()) return 0;
    value = it->second;
    return 1;
  }
  int SetValue(int handle, const SCC_Variant& value, int flag) override {
    writes.push_back(handle);
    if (readOnly.count(handle)) return 0;
    values[handle] = value;
    return 1;
  }
  int HasSetMethod() const override { return 1; }
  int HasObject() const override { return object != nullptr; }
  void SetObject(void* o) override { object = o; }
  std::map<int, SCC_Variant> values;
  std::map<int, bool> readOnly;
  std::vector<int> reads, writes;
  void* object = nullptr;
};

SCC_SharedPointer<TableProperty> Table(std::map<int, SCC_Variant> values) {
  return new TableProperty(std::move(values));
}

TEST(PropertyTest, AggregatesAndWritesTheFocus) {
  auto p = Table({{1, 5}, {2, 5}, {3, 5}, {4, 7}, {5, 5.0}, {6, "5"}, {7, SCC_Variant()}});
  struct Case {
    std::vector<long> focus;
    SCC_Variant start;
    int result;
    SCC_Variant expected;
    std::vector<int> reads;
  };
  const Case cases[] = {
      {{1, 2, 3}, SCC_Variant(), 1, SCC_Variant(5), {1, 2, 3}},
      {{1, 4, 2}, SCC_Variant(), 1, SCC_Variant(), {1, 4}},   // mixed: stops at once
      {{1, 5}, SCC_Variant(), 1, SCC_Variant(5), {1, 5}},     // 5 and 5.0 are equal
      {{5, 6}, SCC_Variant(), 1, SCC_Variant(), {5, 6}},      // "5." and "5" are not
      {{1, 9, 2}, SCC_Variant(), 0, SCC_Variant(5), {1, 9}},  // a failed read ends it
      {{1, 2}, SCC_Variant(6), 1, SCC_Variant(), {1}},        // cleared at the first
      {{7, 1}, SCC_Variant(), 1, SCC_Variant(5), {7, 1}},     // empty items are no value
      {{}, SCC_Variant(3), 0, SCC_Variant(3), {}},            // no focus
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.focus));
    SCC_HandleCollection focus;
    for (long h : c.focus) focus.AddFocus(h);
    p->reads.clear();
    SCC_Variant value = c.start;
    EXPECT_EQ(p->GetValue(&focus, value), c.result);
    EXPECT_EQ(Text(value) + "/" + std::to_string(value.GetType()),
              Text(c.expected) + "/" + std::to_string(c.expected.GetType()));
    EXPECT_EQ(p->reads, c.reads);
  }
  SCC_Variant v;
  p->reads.clear();
  EXPECT_EQ(p->GetValue(static_cast<SCC_StdCollection*>(nullptr), v), 0);
  EXPECT_EQ(p->reads, std::vector<int>{0}) << "a null collection reads handle 0";

  SCC_HandleCollection focus{3, 0, 1, 3, 2};  // 0 and repeats are skipped
  p->readOnly[1] = true;
  EXPECT_EQ(p->SetValue(&focus, SCC_Variant("x"), 0), 0);
  EXPECT_EQ(p->writes, (std::vector<int>{3, 1})) << "items after a failure are not written";
  p->readOnly.clear();
  EXPECT_EQ(p->SetValue(&focus, SCC_Variant("y"), 0), 1);
  EXPECT_EQ(Text(p->values[3]) + Text(p->values[1]) + Text(p->values[2]), "yyy");
  EXPECT_EQ(Prop(new SCC_StdProperty)->SetValue(&focus, SCC_Variant(1), 0), 0);
}

TEST(PropertyTest, BooleanOperatorsPerHandle) {
  struct Row {
    SCC_Variant left;
    SCC_Variant andValue;  // right is 7 everywhere
    SCC_Variant orValue;
  };
  const Row rows[] = {
      {SCC_Variant(1), SCC_Variant(7), SCC_Variant(1)},
      {SCC_Variant(2), SCC_Variant(2), SCC_Variant(2)},  // only 1 is true for And
      {SCC_Variant(0), SCC_Variant(0), SCC_Variant(7)},
      {SCC_Variant(1.9), SCC_Variant(7), SCC_Variant(1.9)},  // truncated to 1
      {SCC_Variant("1"), SCC_Variant(7), SCC_Variant("1")},
      {SCC_Variant(), SCC_Variant(), SCC_Variant(7)},
  };
  std::map<int, SCC_Variant> left, right;
  for (int h = 1; h <= 6; ++h) left[h] = rows[h - 1].left, right[h] = SCC_Variant(7);
  left[8] = SCC_Variant(3e9);
  auto l = Table(left), r = Table(right);
  Prop andP(new SCC_AndProperty(l, r)), orP(new SCC_OrProperty(l, r));
  for (int h = 1; h <= 6; ++h) {
    SCOPED_TRACE(Text(rows[h - 1].left));
    SCC_Variant a, o;
    r->reads.clear();
    EXPECT_EQ(andP->GetValue(h, a), 1);
    EXPECT_EQ(Text(a), Text(rows[h - 1].andValue));
    EXPECT_EQ(r->reads.size(), Text(a) == "7" ? 1u : 0u) << "right is read only when needed";
    r->reads.clear();
    EXPECT_EQ(orP->GetValue(h, o), 1);
    EXPECT_EQ(Text(o), Text(rows[h - 1].orValue));
    EXPECT_EQ(r->reads.size(), Text(o) == "7" ? 1u : 0u);
  }
  SCC_Variant v;
  EXPECT_EQ(andP->GetValue(99, v) + orP->GetValue(99, v), 0);  // a failed left read
  EXPECT_THROW(andP->GetValue(8, v), SYS_Exception);
  EXPECT_THROW(Prop(new SCC_NotProperty(l))->GetValue(8, v), SYS_Exception);

  auto t = Table({{1, SCC_Variant()}, {2, 0}, {3, "abc"}, {4, 2.0}, {5, "2"}, {6, 2}, {7, 3}});
  Prop notP(new SCC_NotProperty(t)), eq(new SCC_EqualProperty(t, SCC_Variant(2.0))),
      ne(new SCC_NotEqualProperty(t, SCC_Variant(2.0)));
  std::string nots, eqs, nes;
  for (int h = 1; h <= 7; ++h) {
    SCC_Variant a, b, c;
    ASSERT_EQ(notP->GetValue(h, a) + eq->GetValue(h, b) + ne->GetValue(h, c), 3);
    ASSERT_EQ(a.GetType(), SCC_Variant::TypeLong);
    nots += Text(a), eqs += Text(b), nes += Text(c);
  }
  EXPECT_EQ(nots, "1110000");  // empty, 0 and text read as 0
  EXPECT_EQ(eqs, "0001010");   // "2" is not "2." as texts; the long 2 is 2.0
  EXPECT_EQ(nes, "1110101");
  SCC_Variant untouched(5);
  EXPECT_EQ(notP->GetValue(42, untouched), 0);
  EXPECT_EQ(Text(untouched), "5") << "a failed read is not negated";
}

TEST(PropertyTest, FilterTreeOverACollection) {
  // (layer == 1 and not locked) or name == "GND", over objects 1..6.
  auto layer = Table({{1, 1}, {2, 1}, {3, 2}, {4, 2}, {5, 1}, {6, 3}});
  auto name = Table({{1, "A"}, {2, "GND"}, {3, "GND"}, {4, "B"}, {5, "C"}, {6, "gnd"}});
  auto locked = Table({{1, 0}, {2, 1}, {3, 0}, {4, 0}, {5, 1}, {6, 0}});
  Prop filter(new SCC_OrProperty(new SCC_AndProperty(new SCC_EqualProperty(layer, SCC_Variant(1)),
                                                     new SCC_NotProperty(locked)),
                                 new SCC_EqualProperty(name, SCC_Variant("GND"))));
  SCC_HandleCollection all{1, 2, 3, 4, 5, 6};
  std::vector<int> passing;
  for (int i = 0; int h = all.GetFocus(i); ++i) {
    SCC_Variant v;
    ASSERT_EQ(filter->GetValue(h, v), 1);
    if (static_cast<int>(v)) passing.push_back(h);
  }
  EXPECT_EQ(passing, (std::vector<int>{1, 2, 3}));

  // Operators work per handle: over a collection And/Or give 0, and the indirect ones hand
  // the collection to their target (the common value, not a comparison).
  SCC_Variant v;
  EXPECT_EQ(filter->GetValue(&all, v), 0);
  SCC_HandleCollection layerOne{1, 2, 5};
  EXPECT_EQ(Prop(new SCC_EqualProperty(layer, SCC_Variant(7)))->GetValue(&layerOne, v), 1);
  EXPECT_EQ(Text(v), "1");

  EXPECT_EQ(locked->GetRefCount(), 2);
  filter.Reset();
  EXPECT_EQ(locked->GetRefCount(), 1) << "the tree is released from its root";
}

TEST(PropertyTest, Forwarding) {
  auto l = Table({}), r = Table({});
  SCC_SharedPointer<SCC_IndProperty> ind(new SCC_IndProperty(l));
  SCC_SharedPointer<SCC_AndProperty> andP(new SCC_AndProperty(l, r));
  EXPECT_EQ(andP->GetPropEvent(), l->GetPropEvent());
  EXPECT_EQ(ind->GetPropEvent(), l->GetPropEvent());
  EXPECT_EQ(andP->GetDataSource(), l.Get());

  andP->SetValidation("[ 0 , 1 ]");
  r->SetValidation("5");
  EXPECT_STREQ(andP->GetValidation(), "[ 0 , 1 ]");
  ind->SetValidation("7");
  EXPECT_STREQ(l->GetValidation(), "7");

  int object = 0;
  l->SetObject(&object);
  EXPECT_EQ(andP->HasObject(), 0) << "both operands need one";
  andP->SetObject(&object);
  EXPECT_EQ(andP->HasObject() + ind->HasObject() + andP->HasSetMethod(), 3);

  SCC_SharedPointer<SCC_Convertor> conv(new SCC_Convertor);
  EXPECT_EQ(andP->SetConvertor(conv), andP.Get());
  EXPECT_EQ(r->GetConvertor().Get(), conv.Get());

  SCC_HandleCollection focus{1};
  EXPECT_EQ(ind->SetValue(&focus, SCC_Variant(3), 0), 1);
  EXPECT_EQ(andP->SetValue(&focus, SCC_Variant(4), 0), 0) << "operators never write";
  EXPECT_EQ(Text(l->values[1]), "3");

  SCC_SharedPointer<SCC_IndProperty> none(new SCC_IndProperty(nullptr));
  none->SetValidation("x");
  EXPECT_STREQ(none->GetValidation(), "x");
  EXPECT_EQ(none->GetDataSource(), none.Get());
}

TEST(PropertyTest, ConvertorNotificationsBecomeCode8) {
  struct Changes : SCC_EventHook<int> {
    int OnNotification(int code, int* data) override {
      log.push_back({code, reinterpret_cast<SCC_StdProperty*>(data)});
      return 0;
    }
    std::vector<std::pair<int, SCC_StdProperty*>> log;
  } changes;
  SCC_StdProperty original;
  changes.HookEvent(original.GetPropEvent());
  SCC_SharedPointer<SCC_Convertor> first(new SCC_Convertor), second(new SCC_Convertor);
  SCC_SharedPointer<SCC_Convertor> rev(new SCC_RevConvertor(second));
  original.SetConvertor(first);
  first->Notify(5, nullptr);
  ASSERT_EQ(changes.log.size(), 1u);
  EXPECT_EQ(changes.log[0], std::make_pair(8, &original));

  original.SetConvertor(rev);
  EXPECT_EQ(first->GetRefCount(), 1) << "the old convertor is released";
  first->Notify(5, nullptr);
  second->Notify(3, nullptr);  // through the wrapping convertor
  EXPECT_EQ(changes.log.size(), 2u);

  SCC_StdProperty copy(original);  // shares the convertor, takes the listeners
  EXPECT_EQ(copy.GetRefCount(), 0);
  EXPECT_EQ(rev->GetRefCount(), 3);
  second->Notify(1, nullptr);
  EXPECT_EQ(changes.log.back(), std::make_pair(8, &copy));

  copy.SetConvertor(nullptr);
  {
    SCC_StdProperty brief;
    brief.SetConvertor(rev);
  }
  second->Notify(1, nullptr);  // reaches only `original`, which has no listeners left
  EXPECT_EQ(changes.log.size(), 3u);
}

}  // namespace
