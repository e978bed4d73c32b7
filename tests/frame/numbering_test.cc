// SPDX-License-Identifier: Apache-2.0
// Numbers, groups and branches of equations, alike at set-up and at emission.
#include "frame/model.h"
#include "procedures/procedure_class.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;
using testing::ElementsAreArray;

QV_DECLARE_PROCEDURE(, TSPLIT, "split", "Test", 1, 2, 1, "r*", "r r", 0)
QV_DEFINE_PROCEDURE(TSPLIT)
inline constexpr frame::Procedure<QVProc_TSPLIT> TSPLIT{};

struct QV_NUMBERS : QV_GENERICMODEL {
  MODEL_TEXT(NUMBERS)
  PARAMETER(QV_YESNO, OPT)
  VARIABLE(QV_CONSTANT, X)
  VARIABLE(QV_CONSTANT, Y)
  VARIABLE(QV_CONSTANT, Z)
  // The name of an equation: number / group, branches.
  void Equations(Equate& eq) {
    const auto one = [&](const char* name) { eq(name, X + Y == Z); };
    one("0/1 ");
    eq("call", outputs(Y, Z) == TSPLIT(X));  // 1, 2
    eq.given("A", X < 1,
             [&] {
               one("3/3 A@0");
               one("4/3 A@0");
             })
        .orGiven("B", X < 2, [&] { one("3/3 B@1"); })
        .otherwise([&] {
          one("3/3 !@2");
          eq("call", outputs(Y, Z) == TSPLIT(X));  // 4, 5
          one("6/3 !@2");
        });
    one("7/4 ");
    eq.given("C", X > 1, [&] {
        one("8/5 C@0");
        eq.given("D", Y > 1, [&] {
            one("9/5 C@0>D@0");
            eq("call", outputs(Y, Z) == TSPLIT(X));  // 10, 11
          }).otherwise([&] { one("9/5 C@0>!@1"); });
        one("12/5 C@0");
      }).otherwise([&] {
      one("8/5 !@1");
      eq.given("E", X > Y, [&] { one("9/5 !@1>E@0"); }).otherwise([&] {
        eq.given("F", X > Z, [&] {
            one("9/5 !@1>!@1>F@0");
            one("10/5 !@1>!@1>F@0");
          }).otherwise([&] { one("9/5 !@1>!@1>!@1"); });
      });
      one("11/5 !@1");
    });
    eq.given("H", X > 9, [] {}).otherwise([] {});  // nothing in it: no group either
    eq.given("I", X < 9, [&] {
      eq.when(is(OPT, "Yes"), [&] { one("13/6 I@0"); }).otherwise([&] {
        one("13/6 I@0");
        one("14/6 I@0");
      });
    });
    eq.when(is(OPT, "Never"), [&] { one("none"); }).orWhen(is(OPT, "Nor this"), [&] { one("none"); });
    one(is(OPT, "yes") ? "14/7 " : "15/7 ");
  }
};

class Numbering : public testing::Test {
 protected:
  TestSheet sheet;
  QV_NUMBERS& model = sheet.Add<QV_NUMBERS>("m");
};

TEST_F(Numbering, FollowsTheText) {
  for (const char* option : {"Yes", "No"}) {
    TestSheet::Give(model.OPT, option);
    sheet.Size();
    const auto all = sheet.Equations(model);
    EXPECT_EQ(all.count, *option == 'Y' ? 15 : 16);
    EXPECT_EQ(model.State().own_equations, all.count);
    std::vector<std::string> calls;
    long long occurrences = 0;
    for (const auto& e : all.equations) {
      const std::string place = fmt::format("{}/{} {}", e.index, e.group, Chain(e));
      if (e.procedure.empty()) {
        EXPECT_EQ(place, e.name);
        occurrences += static_cast<long long>(e.nonzeros.size());
      } else {
        calls.push_back(place);
      }
    }
    EXPECT_THAT(calls, ElementsAre("1/2 ", "2/2 ", "4/3 !@2", "5/3 !@2", "10/5 C@0>D@0", "11/5 C@0>D@0"));
    // Each equation of a call: its output and its input, and the conditions' X and Y of the last two.
    EXPECT_EQ(model.State().pattern_count, occurrences + 6 * 2 + 2 * 2);
  }
}

TEST_F(Numbering, IsTheSameAtASecondSetUp) {
  sheet.Size();
  InstanceRecord first, second;
  ReadEquations(InstanceOf(model), first);
  const int first_group = model.State().first_group;
  EXPECT_EQ(QV_ModelType::m_stLastGroup, first_group + 7);
  ReadEquations(InstanceOf(model), second);
  EXPECT_EQ(model.State().first_group, first_group + 7);
  EXPECT_EQ(QV_ModelType::m_stLastGroup, first_group + 14);
  EXPECT_EQ(first.result, second.result);
  EXPECT_EQ(first.set_up.nonzeros, second.set_up.nonzeros);
  ASSERT_EQ(first.emission.equations.size(), second.emission.equations.size());
  for (size_t e = 0; e < first.emission.equations.size(); ++e) {
    EXPECT_EQ(first.emission.equations[e].index, second.emission.equations[e].index);
    EXPECT_EQ(first.emission.equations[e].group + 7, second.emission.equations[e].group);
    EXPECT_EQ(first.emission.equations[e].tokens.count, second.emission.equations[e].tokens.count);
  }
  std::map<std::string, int> numbers;
  for (const auto& condition : second.emission.conditions) {
    const auto [place, added] = numbers.emplace(condition.label, condition.number);
    EXPECT_EQ(place->second, condition.number) << condition.label;
  }
  EXPECT_THAT(numbers, ElementsAre(testing::Pair("A", 1), testing::Pair("B", 2), testing::Pair("C", 3),
                                   testing::Pair("D", 4), testing::Pair("E", 5), testing::Pair("F", 6),
                                   testing::Pair("I", 8)));
  EXPECT_THAT(sheet.faults(), testing::IsEmpty());
}

// ---- Bases.

struct QV_BASE_WITH_EQUATIONS : QV_GENERICMODEL {
  using QV_GENERICMODEL::QV_GENERICMODEL;
  int status = 2;  // equations, or what fails
  int SetUpEquations() override {
    for (int k = 0; k < status; ++k) SetGroupLimits(m_stLastGroup + 1);
    return status;
  }
  int JacPattern(long long*&, long long*&, QV_EquationType**) override {
    int counter = 0;
    for (int k = 0; k < status; ++k) {
      AddEquation("base", counter, m_stLastGroup - 3 + k);
      AddTerm(1.0, counter - 1);
    }
    return status;
  }
};
struct QV_DERIVED : QV_BASE_WITH_EQUATIONS {
  QV_TEXT(DERIVED, QV_BASE_WITH_EQUATIONS, "Model")
  VARIABLE(QV_CONSTANT, X)
  void Equations(Equate& eq) {
    eq("own", X == 1);
    eq("other", X == 2);
  }
};
struct QV_NO_EQUATIONS : QV_BASE_WITH_EQUATIONS {
  QV_TEXT(NO_EQUATIONS, QV_BASE_WITH_EQUATIONS, "Model")
};

TEST(Bases, CountFirst) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_DERIVED>("m");
  std::vector<std::string> names;
  for (const auto& e : sheet.Equations(model).equations)
    names.push_back(fmt::format("{} {}/{}", e.name, e.index, e.group));
  EXPECT_THAT(names, ElementsAre("base 0/1", "base 1/2", "own 2/3", "other 3/4"));
  EXPECT_EQ(model.State().own_equations, 2);
  EXPECT_EQ(model.State().pattern_count, 2);
  auto& none = sheet.Add<QV_NO_EQUATIONS>("n");
  InstanceRecord record;
  const CurrentGuard guard({&sheet.sheet.scope(), &InstanceOf(none), &record.set_up, nullptr});
  EXPECT_EQ(none.SetUpEquations(), 2);
  EXPECT_EQ(record.set_up.count, 2);
  EXPECT_EQ(none.State().own_equations, 0);
}

TEST(Bases, ThatFailArePassedOnAndNothingIsRecorded) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_DERIVED>("m");
  model.status = -3;
  const int last_group = QV_ModelType::m_stLastGroup;
  InstanceRecord record;
  record.set_up.count = 77;
  {
    const CurrentGuard guard({&sheet.sheet.scope(), &InstanceOf(model), &record.set_up, &record.emission});
    EXPECT_EQ(model.SetUpEquations(), -3);
    long long none = 0, *next = &none, *end = &none + 1;
    EXPECT_EQ(model.JacPattern(next, end, nullptr), -3);
    EXPECT_EQ(next, &none);
  }
  EXPECT_EQ(record.set_up.count, 77);
  EXPECT_TRUE(record.set_up.entries.empty() && record.emission.equations.empty() &&
              record.emission.tokens.empty());
  EXPECT_EQ(QV_ModelType::m_stLastGroup, last_group);
  EXPECT_THAT([&] { sheet.Equations(model); },
              testing::ThrowsMessage<Error>(testing::AllOf(
                  testing::StartsWith("m"), testing::HasSubstr("SetUpEquations failed with status -3"))));
}
