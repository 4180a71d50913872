// property_test.cpp - tests of the properties: aggregation and writing over a collection's
// focus, forwarding, the boolean operators, the convertor relay and ownership.
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "sccproperty.h"
#include "ssm.h"

namespace {

std::string Text(const SCC_Variant& v) { return std::string(static_cast<const SYS_String>(v)); }

// A host-style property over a table of values by handle. Reads of handles missing from
// the table fail; writes to handles in `readOnly` fail. Every call is logged.
class TableProperty : public SCC_StdProperty {
 public:
  explicit TableProperty(std::map<int, SCC_Variant> values = {}, int* destroyed = nullptr)
      : values(std::move(values)), destroyed_(destroyed) {}
  ~TableProperty() override {
    if (destroyed_) ++*destroyed_;
  }

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
    lastFlag = flag;
    return 1;
  }
  int HasSetMethod() const override { return 1; }
  int HasObject() const override { return object != nullptr; }
  void SetObject(void* o) override { object = o; }
  SCC_StdProperty* GetDataSource() override {
    ++asked;
    return SCC_StdProperty::GetDataSource();
  }
  void AddDataSource(SCC_StdProperty* source) override { dataSource = source; }
  void RemoveDataSource() override { dataSource = nullptr; }

  std::map<int, SCC_Variant> values;
  std::map<int, bool> readOnly;
  std::vector<int> reads, writes;
  void* object = nullptr;
  SCC_StdProperty* dataSource = nullptr;
  int lastFlag = -1;
  int asked = 0;

 private:
  int* destroyed_;
};

using Prop = SCC_SharedPointer<SCC_StdProperty>;

int RingSize(const SCC_Event<int>& event) {
  int n = 0;
  for (SCC_EventNode<int>* node = event.GetNext(); !node->IsEvent(); node = node->GetNext()) ++n;
  return n;
}

TableProperty* Table(std::map<int, SCC_Variant> values, int* destroyed = nullptr) {
  return new TableProperty(std::move(values), destroyed);
}

// Records the property-changed notifications of a property event.
struct ChangeListener : SCC_EventHook<int> {
  int OnNotification(int code, int* data) override {
    codes.push_back(code);
    payloads.push_back(reinterpret_cast<SCC_StdProperty*>(data));
    return 0;
  }
  std::vector<int> codes;
  std::vector<SCC_StdProperty*> payloads;
};

TEST(PropertyTest, AggregatesTheFocus) {
  SCC_SharedPointer<TableProperty> p(
      Table({{1, 5}, {2, 5}, {3, 5}, {4, 7}, {5, 5.0}, {6, "5"}, {7, SCC_Variant()}}));

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
      {{1, 2}, SCC_Variant(5), 1, SCC_Variant(5), {1, 2}},    // kept: every item equals it
      {{1, 2}, SCC_Variant(6), 1, SCC_Variant(), {1}},        // cleared at the first
      {{7, 1}, SCC_Variant(), 1, SCC_Variant(5), {7, 1}},     // an empty item is skipped over
      {{}, SCC_Variant(3), 0, SCC_Variant(3), {}},            // no focus
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.focus));
    SCC_HandleCollection focus;
    for (long h : c.focus) focus.AddFocus(h);
    p->reads.clear();
    SCC_Variant value = c.start;
    EXPECT_EQ(p->GetValue(&focus, value), c.result);
    EXPECT_EQ(value.GetType(), c.expected.GetType());
    EXPECT_TRUE(value == c.expected) << Text(value);
    EXPECT_EQ(p->reads, c.reads);
  }

  p->reads.clear();
  SCC_Variant value;
  EXPECT_EQ(p->GetValue(static_cast<SCC_StdCollection*>(nullptr), value), 0);
  EXPECT_EQ(p->reads, std::vector<int>{0}) << "a null collection reads handle 0";
}

TEST(PropertyTest, WritesTheFocus) {
  SCC_SharedPointer<TableProperty> p(Table({}));
  SCC_HandleCollection focus{3, 1, 2};
  EXPECT_EQ(p->SetValue(&focus, SCC_Variant("x"), 4), 1);
  EXPECT_EQ(p->writes, (std::vector<int>{3, 1, 2}));
  EXPECT_EQ(p->lastFlag, 4);
  EXPECT_TRUE(p->values[2] == SCC_Variant("x"));

  p->writes.clear();
  p->readOnly[1] = true;
  EXPECT_EQ(p->SetValue(&focus, SCC_Variant(9), 0), 0);
  EXPECT_EQ(p->writes, (std::vector<int>{3, 1})) << "items after a failure are not written";
  EXPECT_TRUE(p->values[2] == SCC_Variant("x"));

  p->writes.clear();
  EXPECT_EQ(p->SetValue(static_cast<SCC_StdCollection*>(nullptr), SCC_Variant(1), 0), 1);
  EXPECT_EQ(p->writes, std::vector<int>{0});

  SCC_HandleCollection none;
  EXPECT_EQ(p->SetValue(&none, SCC_Variant(1), 0), 1) << "nothing to write is success";

  // The base class reads and writes nothing.
  SCC_SharedPointer<SCC_StdProperty> base(new SCC_StdProperty);
  SCC_Variant v;
  EXPECT_EQ(base->GetValue(&focus, v), 0);
  EXPECT_EQ(base->SetValue(&focus, SCC_Variant(1), 0), 0);
  EXPECT_EQ(base->HasSetMethod(), 0);
  EXPECT_EQ(base->HasObject(), 0);
  EXPECT_EQ(base->GetDataSource(), base.Get());
}

TEST(PropertyTest, HandleCollection) {
  SCC_HandleCollection c{4, 0, 4, 2};
  EXPECT_EQ(c.GetFocusCount(), 2) << "0 and repeats are skipped";
  EXPECT_EQ(c.GetFocus(0), 4);
  EXPECT_EQ(c.GetFocus(1), 2);
  EXPECT_EQ(c.GetFocus(2), 0);
  EXPECT_EQ(c.GetFocus(-1), 0);
  EXPECT_EQ(c.AddFocus(0x100000000L), 0) << "handles must fit the walk";
  EXPECT_EQ(c.RemoveFocus(4), 1);
  EXPECT_EQ(c.RemoveFocus(4), 0);
  EXPECT_EQ(c.GetFocus(0), 2);
  c.ClearFocus();
  EXPECT_EQ(c.HasFocus(), 0);

  struct Sparse : SCC_StdCollection {
    int GetFocus(int index) const override { return index < 2 ? 10 + index : 0; }
  } sparse;
  EXPECT_EQ(sparse.HasFocus(), 1) << "the default asks for the first handle";
}

TEST(PropertyTest, BooleanOperatorsPerHandle) {
  // Handle h reads the left and right values of row h.
  struct Row {
    SCC_Variant left, right;
    int andResult;
    SCC_Variant andValue;
    bool andReadsRight;
    SCC_Variant orValue;
    bool orReadsRight;
  };
  const Row rows[] = {
      {SCC_Variant(1), SCC_Variant(7), 1, SCC_Variant(7), true, SCC_Variant(1), false},
      {SCC_Variant(2), SCC_Variant(7), 1, SCC_Variant(2), false, SCC_Variant(2), false},
      {SCC_Variant(0), SCC_Variant(7), 1, SCC_Variant(0), false, SCC_Variant(7), true},
      {SCC_Variant(1.9), SCC_Variant(7), 1, SCC_Variant(7), true, SCC_Variant(1.9), false},
      {SCC_Variant("1"), SCC_Variant(7), 1, SCC_Variant(7), true, SCC_Variant("1"), false},
      {SCC_Variant(), SCC_Variant(7), 1, SCC_Variant(), false, SCC_Variant(7), true},
      {SCC_Variant(-1), SCC_Variant(7), 1, SCC_Variant(-1), false, SCC_Variant(-1), false},
  };
  std::map<int, SCC_Variant> left, right;
  for (int h = 1; h <= static_cast<int>(std::size(rows)); ++h) {
    left[h] = rows[h - 1].left;
    right[h] = rows[h - 1].right;
  }
  SCC_SharedPointer<TableProperty> l(Table(left)), r(Table(right));
  Prop andP(new SCC_AndProperty(l, r)), orP(new SCC_OrProperty(l, r));

  for (int h = 1; h <= static_cast<int>(std::size(rows)); ++h) {
    const Row& row = rows[h - 1];
    SCOPED_TRACE("left " + Text(row.left));
    r->reads.clear();
    SCC_Variant v;
    EXPECT_EQ(andP->GetValue(h, v), row.andResult);
    EXPECT_TRUE(v == row.andValue) << Text(v);
    EXPECT_EQ(!r->reads.empty(), row.andReadsRight);

    r->reads.clear();
    SCC_Variant w;
    EXPECT_EQ(orP->GetValue(h, w), 1);
    EXPECT_TRUE(w == row.orValue) << Text(w);
    EXPECT_EQ(!r->reads.empty(), row.orReadsRight);
  }

  // A failing left read is the result, and right is never asked.
  r->reads.clear();
  SCC_Variant v;
  EXPECT_EQ(andP->GetValue(99, v), 0);
  EXPECT_EQ(orP->GetValue(99, v), 0);
  EXPECT_TRUE(r->reads.empty());
}

TEST(PropertyTest, NotAndEqual) {
  SCC_SharedPointer<TableProperty> t(
      Table({{1, SCC_Variant()}, {2, 0}, {3, 3}, {4, "abc"}, {5, 2.0}, {6, "2"}, {7, 2}}));
  Prop notP(new SCC_NotProperty(t));
  Prop eq(new SCC_EqualProperty(t, SCC_Variant(2.0)));
  Prop ne(new SCC_NotEqualProperty(t, SCC_Variant(2.0)));
  struct Case {
    int handle;
    long notValue, eqValue;
  };
  const Case cases[] = {
      {1, 1, 0},                                              // empty reads as 0
      {2, 1, 0}, {3, 0, 0}, {4, 1, 0}, {5, 0, 1}, {6, 0, 0},  // "2" is not "2." as texts
      {7, 0, 1},                                              // the long 2 equals 2.0 as doubles
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.handle);
    SCC_Variant a, b, d;
    ASSERT_EQ(notP->GetValue(c.handle, a), 1);
    EXPECT_EQ(a.GetType(), SCC_Variant::TypeLong);
    EXPECT_EQ(static_cast<long>(a), c.notValue);
    ASSERT_EQ(eq->GetValue(c.handle, b), 1);
    EXPECT_EQ(b.GetType(), SCC_Variant::TypeLong);
    EXPECT_EQ(static_cast<long>(b), c.eqValue);
    ASSERT_EQ(ne->GetValue(c.handle, d), 1);
    EXPECT_EQ(static_cast<long>(d), 1 - c.eqValue);
  }
  SCC_Variant untouched(5);
  EXPECT_EQ(notP->GetValue(42, untouched), 0);
  EXPECT_TRUE(untouched == SCC_Variant(5)) << "a failed read is not negated";
}

TEST(PropertyTest, OutOfRangeOperandThrows) {
  SCC_SharedPointer<TableProperty> t(Table({{1, 3e9}}));
  Prop andP(new SCC_AndProperty(t, t)), orP(new SCC_OrProperty(t, t)), notP(new SCC_NotProperty(t));
  SCC_Variant v;
  EXPECT_THROW(andP->GetValue(1, v), SYS_Exception);
  EXPECT_THROW(orP->GetValue(1, v), SYS_Exception);
  EXPECT_THROW(notP->GetValue(1, v), SYS_Exception);
}

TEST(PropertyTest, FilterTreeOverACollection) {
  // Objects 1..6 with a layer number, a name and a locked flag; the filter is
  // (layer == 1 and not locked) or name == "GND".
  SCC_SharedPointer<TableProperty> layer(Table({{1, 1}, {2, 1}, {3, 2}, {4, 2}, {5, 1}, {6, 3}}));
  SCC_SharedPointer<TableProperty> name(
      Table({{1, "A"}, {2, "GND"}, {3, "GND"}, {4, "B"}, {5, "C"}, {6, "gnd"}}));
  SCC_SharedPointer<TableProperty> locked(Table({{1, 0}, {2, 1}, {3, 0}, {4, 0}, {5, 1}, {6, 0}}));
  int destroyed = 0;
  struct Counted : SCC_NotProperty {
    Counted(const Prop& t, int* n) : SCC_NotProperty(t), n_(n) {}
    ~Counted() override { ++*n_; }
    int* n_;
  };
  Prop filter(new SCC_OrProperty(
      Prop(new SCC_AndProperty(Prop(new SCC_EqualProperty(layer, SCC_Variant(1))),
                               Prop(new Counted(locked, &destroyed)))),
      Prop(new SCC_EqualProperty(name, SCC_Variant("GND")))));

  SCC_HandleCollection all{1, 2, 3, 4, 5, 6};
  std::vector<int> passing;
  for (int i = 0; int h = all.GetFocus(i); ++i) {
    SCC_Variant v;
    ASSERT_EQ(filter->GetValue(h, v), 1);
    if (static_cast<int>(v)) passing.push_back(h);
  }
  EXPECT_EQ(passing, (std::vector<int>{1, 2, 3}));

  // Operators are evaluated per handle: over a collection And and Or give 0, and the
  // indirect ones hand the whole collection to their target.
  SCC_Variant v;
  EXPECT_EQ(filter->GetValue(&all, v), 0);
  SCC_HandleCollection layerOne{1, 2, 5};
  Prop isOne(new SCC_EqualProperty(layer, SCC_Variant(1)));
  EXPECT_EQ(isOne->GetValue(&layerOne, v), 1);
  EXPECT_EQ(v.GetType(), SCC_Variant::TypeLong);
  EXPECT_EQ(static_cast<long>(v), 1) << "the target's common value, not a comparison";

  filter.Reset();
  EXPECT_EQ(destroyed, 1) << "the tree is released from its root";
  EXPECT_EQ(locked->GetRefCount(), 1);
  EXPECT_EQ(layer->GetRefCount(), 2);  // still held by isOne
}

TEST(PropertyTest, ForwardingOfIndirectAndBinary) {
  SCC_SharedPointer<TableProperty> l(Table({})), r(Table({}));
  SCC_SharedPointer<SCC_IndProperty> ind(new SCC_IndProperty(l));
  SCC_SharedPointer<SCC_AndProperty> andP(new SCC_AndProperty(l, r));

  EXPECT_EQ(andP->GetPropEvent(), l->GetPropEvent());
  EXPECT_EQ(ind->GetPropEvent(), l->GetPropEvent());
  EXPECT_EQ(andP->GetDataSource(), l.Get());
  EXPECT_EQ(l->asked, 1);
  EXPECT_EQ(r->asked, 1) << "both operands are asked";

  andP->SetValidation("[ 0 , 1 ]");
  EXPECT_STREQ(l->GetValidation(), "[ 0 , 1 ]");
  EXPECT_STREQ(r->GetValidation(), "[ 0 , 1 ]");
  r->SetValidation("5");
  EXPECT_STREQ(andP->GetValidation(), "[ 0 , 1 ]");
  ind->SetValidation("7");
  EXPECT_STREQ(l->GetValidation(), "7");

  int object = 0;
  EXPECT_EQ(andP->HasObject(), 0);
  l->SetObject(&object);
  EXPECT_EQ(andP->HasObject(), 0) << "both operands need one";
  andP->SetObject(&object);
  EXPECT_EQ(andP->HasObject(), 1);
  EXPECT_EQ(ind->HasObject(), 1);
  EXPECT_EQ(andP->HasSetMethod(), 1);

  andP->AddDataSource(ind.Get());
  EXPECT_EQ(r->dataSource, ind.Get());
  ind->RemoveDataSource();
  EXPECT_EQ(l->dataSource, nullptr);
  EXPECT_EQ(r->dataSource, ind.Get());

  SCC_SharedPointer<SCC_Convertor> conv(new SCC_Convertor);
  EXPECT_EQ(andP->SetConvertor(conv), andP.Get());
  EXPECT_EQ(l->GetConvertor().Get(), conv.Get());
  EXPECT_EQ(r->GetConvertor().Get(), conv.Get());
  EXPECT_EQ(andP->GetConvertor().Get(), conv.Get());

  // Writing goes through an indirect property, never through an operator.
  SCC_HandleCollection focus{1};
  EXPECT_EQ(ind->SetValue(&focus, SCC_Variant(3), 0), 1);
  EXPECT_TRUE(l->values[1] == SCC_Variant(3));
  EXPECT_EQ(andP->SetValue(&focus, SCC_Variant(4), 0), 0);
  EXPECT_EQ(andP->SetValue(1, SCC_Variant(4), 0), 0);
  EXPECT_TRUE(l->values[1] == SCC_Variant(3));

  // Without a target an indirect property is a plain one.
  SCC_SharedPointer<SCC_IndProperty> none(new SCC_IndProperty(Prop()));
  EXPECT_EQ(none->GetDataSource(), none.Get());
  EXPECT_NE(none->GetPropEvent(), nullptr);
  none->SetValidation("x");
  EXPECT_STREQ(none->GetValidation(), "x");
  SCC_Variant v;
  EXPECT_EQ(none->GetValue(1, v), 0);
}

TEST(PropertyTest, ConvertorChangesBecomePropertyChanges) {
  SCC_SharedPointer<TableProperty> p(Table({}));
  ChangeListener listener;
  listener.HookEvent(p->GetPropEvent());
  SCC_SharedPointer<SCC_Convertor> first(new SCC_Convertor), second(new SCC_Convertor);

  EXPECT_EQ(p->SetConvertor(first), p.Get());
  EXPECT_EQ(first->GetRefCount(), 2);
  int payload = 0;
  first->Notify(5, &payload);
  first->Notify(1, nullptr);
  EXPECT_EQ(listener.codes, (std::vector<int>{8, 8}));
  EXPECT_EQ(listener.payloads[0], p.Get());

  // Through a wrapping convertor too.
  SCC_SharedPointer<SCC_Convertor> rev(new SCC_RevConvertor(second));
  p->SetConvertor(rev);
  EXPECT_EQ(first->GetRefCount(), 1) << "the old convertor is released";
  first->Notify(5, nullptr);
  EXPECT_EQ(listener.codes.size(), 2u) << "the old convertor is no longer relayed";
  second->Notify(3, nullptr);
  EXPECT_EQ(listener.codes.size(), 3u);

  p->SetConvertor(nullptr);
  rev->Notify(3, nullptr);
  EXPECT_EQ(listener.codes.size(), 3u);
  EXPECT_TRUE(rev->IsEmpty());

  // A property that dies while holding a convertor leaves nothing hooked to it.
  {
    SCC_SharedPointer<SCC_StdProperty> brief(new SCC_StdProperty);
    brief->SetConvertor(second);
  }
  EXPECT_EQ(RingSize(*second), 1) << "only the wrapper's relay is left";
  second->Notify(1, nullptr);  // must not reach a dead property
  EXPECT_EQ(listener.codes.size(), 3u);
}

TEST(PropertyTest, CopiesShareConvertorAndTakeListeners) {
  SCC_SharedPointer<SCC_Convertor> conv(new SCC_Convertor);
  SCC_StdProperty original;
  original.SetConvertor(conv);
  original.SetValidation("[ 1 , 2 ]");
  ChangeListener listener;
  listener.HookEvent(original.GetPropEvent());

  SCC_StdProperty copy(original);
  EXPECT_EQ(copy.GetRefCount(), 0);
  EXPECT_STREQ(copy.GetValidation(), "[ 1 , 2 ]");
  EXPECT_EQ(copy.GetConvertor().Get(), conv.Get());
  EXPECT_EQ(conv->GetRefCount(), 3);
  conv->Notify(2, nullptr);
  ASSERT_EQ(listener.codes, std::vector<int>{8}) << "one relay reaches the moved listener";
  EXPECT_EQ(listener.payloads[0], &copy);

  SCC_StdProperty target;
  target = copy;
  EXPECT_EQ(conv->GetRefCount(), 4);
  conv->Notify(2, nullptr);
  EXPECT_EQ(listener.payloads.back(), &target);
}

}  // namespace
