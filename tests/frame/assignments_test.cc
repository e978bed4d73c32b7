// SPDX-License-Identifier: Apache-2.0
// Assignments: their order and numbers, what they depend on, values over sets, and construction.
#include "frame/model.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {
std::vector<std::string> heard;

class SPY : public QV_REALPARAMETER {
 public:
  using QV_REALPARAMETER::QV_REALPARAMETER;
  int Assign(QV_Value* value) override {
    heard.push_back(fmt::format("{}: {}", HostAccess::Index(*value), DescribeValue(*value)));
    return QV_REALPARAMETER::Assign(value);
  }
};
}  // namespace

struct QV_ASSIGNED_BASE : QV_GENERICMODEL {
  using QV_GENERICMODEL::QV_GENERICMODEL;
  int ExecuteAssignments(int a, int b) override {
    heard.push_back(fmt::format("base {} {}", a, b));
    return 42;
  }
};
struct QV_ASSIGNED : QV_ASSIGNED_BASE {
  QV_TEXT(ASSIGNED, QV_ASSIGNED_BASE, "Model")
  PARAMETER(QV_YESNO, OPT)
  PARAMETER(QV_INTEGERPARAMETER, N)
  PARAMETER(SPY, A)
  PARAMETER(SPY, B)
  SET(QV_INTEGERSET, PLACES)
  ARRAY(SPY, V, OVER(PLACES))
  void Assignments(Assigner& set) {
    set(A, 1.5);                    // 1
    set(B, 2);                      // 2
    if (is(OPT, "yes")) set(A, B);  // 3 when chosen
    if (is(OPT, "Neither")) set(A, 99.0);
    set.range(PLACES, N.IntegerValue());  // next
    set(V, 1.0 / 4);                      // next, the same for every element
    set.spec(B, QV_SPEC_GIVEN);
    set.upper(V, 10);
    set.lower(A, -1.5);
    set(B, 7.0);
  }
};
struct QV_UNASSIGNED : QV_ASSIGNED_BASE {
  QV_TEXT(UNASSIGNED, QV_ASSIGNED_BASE, "Model")
};

TEST(Assignments, RunInOrderUnderTheirNumbers) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_ASSIGNED>("m");
  TestSheet::Give(model.OPT, "Yes");
  TestSheet::Give(model.N, 2);
  sheet.Size();
  heard.clear();
  EXPECT_EQ(model.ExecuteAssignments(5, 3), 42);
  EXPECT_THAT(heard, ElementsAre("base 4 3", "1: 1.5", "2: 2", "3: 2", "5: 0.25", "5: 0.25", "9: 7"));
  EXPECT_EQ(model.V(2).UpperBound(), 10.0);
  EXPECT_EQ(model.A.LowerBound(), -1.5);
  EXPECT_EQ(HostAccess::SpecOf(model.B), QV_SPEC_GIVEN);
  TestSheet::Give(model.OPT, "No");
  heard.clear();
  model.ExecuteAssignments0(1, 0, 17);
  EXPECT_THAT(heard, ElementsAre("base 0 0", "1: 1.5", "2: 2", "4: 0.25", "4: 0.25", "8: 7"));
  heard.clear();
  EXPECT_EQ(sheet.Add<QV_UNASSIGNED>("n").ExecuteAssignments(2, 9), 42);
  EXPECT_THAT(heard, ElementsAre("base 1 9"));
}

TEST(Assignments, SizeArraysUntilNothingChanges) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_ASSIGNED>("m");
  int rounds = 0;
  sheet.Size([&] {
    ++rounds;
    if (rounds == 1) TestSheet::Give(model.N, 3);
    if (model.V.Count() == 3) TestSheet::Give(model.V(2), 0.75);  // an element that the first round brings
  });
  EXPECT_EQ(rounds, 2);
  EXPECT_THAT((std::vector{model.V(1).RealValue(), model.V(2).RealValue(), model.V(3).RealValue()}),
              ElementsAre(0.25, 0.75, 0.25));
  EXPECT_THAT(sheet.faults(), testing::IsEmpty());

  rounds = 0;
  sheet.Size([&] { TestSheet::Give(model.N, ++rounds); });
  EXPECT_EQ(rounds, 10);
  ASSERT_EQ(sheet.faults().size(), 1u);
  EXPECT_THAT(sheet.faults()[0], HasSubstr("after 10 rounds"));
}

// ---- Values over sets.

struct QV_HELPERS : QV_GENERICMODEL {
  MODEL_TEXT(HELPERS)
  SET(QV_INTEGERSET, PLACES)
  SET(QV_INTEGERSET, NONE)
  SET(QV_STRINGSET, KINDS)
  ARRAY(QV_REALPARAMETER, V, OVER(PLACES))
  ARRAY(QV_STRINGSET, GROUPS, OVER(PLACES))
  PARAMETER(QV_REALPARAMETER, TOTAL)
  SET(QV_STRINGSET, ALL)
  void Assignments(Assigner& set) {
    set.range(PLACES, 3);
    set(KINDS, QV_StrSetValue("x\"yy\""));
    eachValue(set);
    const auto value = [&](int i) { return V(i).RealValue(); };
    set(TOTAL, Sigma(*PLACES, value) + 100 * Prod(*PLACES, value) + 1000 * Max(*PLACES, value));
    set(ALL, UnionFn(*PLACES, [&](int i) -> QV_Set& { return *GROUPS(i); }));
  }
  void eachValue(Assigner& set) {
    if (V.Count() == 0) return;
    const char* groups[] = {"b\"a\"", "", "a\"ab\"b\"c\""};
    for (int i = 1; i <= 3; ++i) {
      set(V(i), -1.0 * i);
      set(GROUPS(i), QV_StrSetValue(groups[i - 1]));
    }
  }
};
TEST(SetHelpers, AddMultiplyCompareAndJoin) {
  TestSheet sheet;
  auto& m = sheet.Add<QV_HELPERS>("m");
  sheet.Size();
  EXPECT_EQ(m.TOTAL.RealValue(), -6 + 100 * -6 + 1000 * -1);
  EXPECT_EQ(std::get<std::vector<std::string>>(ValueOf(m.ALL)),
            (std::vector<std::string>{"b", "a", "ab", "c"}));
  const auto length = [](const char* text) { return static_cast<double>(std::strlen(text)); };
  EXPECT_EQ(Sigma(*m.KINDS, length), 3.0);
  EXPECT_EQ(Max(*m.KINDS, length), 2.0);
  const auto any = [](int) { return 5.0; };
  EXPECT_EQ(Sigma(*m.NONE, any), 0.0);
  EXPECT_EQ(Prod(*m.NONE, any), 0.0);
  EXPECT_EQ(Max(*m.NONE, any), 0.0);
  EXPECT_EQ(size(m.PLACES), 3);
  // Elements that the first round had not sized yet are no fault of the round that has them.
  EXPECT_THAT(sheet.faults(), testing::IsEmpty());
}
