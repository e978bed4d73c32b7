// SPDX-License-Identifier: Apache-2.0
// The equations that a procedure creates in its model: labels, numbers, pattern, set-up counts.
#include <string>

#include "host/arrays.h"
#include "host/system.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/scope.h"
#include "tests/procedures/routine_double.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;

QV_DECLARE_PROCEDURE(, TGRID, "grid", "Test", 3, 2, 1, "r* r* r", "r[n,n] r", 0)
QV_DEFINE_PROCEDURE(TGRID)
QV_DECLARE_PROCEDURE(, TNOTHING, "nothing", "Test", 0, 1, 1, "", "r", 0)
QV_DEFINE_PROCEDURE(TNOTHING)

namespace {

// Writes down what it hears, a line per call; variables by their number.
class Recorder : public EmissionSink, public StructureSink {
 public:
  std::vector<std::string> lines;

  void ProcedureEquation(QV_ProcedureEquationType* e, int index) override {
    Line("equation", HostAccess::Name(*e), HostAccess::Label(*e), HostAccess::Number(*e),
         HostAccess::Group(*e), index);
    delete e;
  }
  void ProcedureExpression(QV_ProcedureType*, int element, int index, const char* name) override {
    Line("expression", name, element, index);
  }
  void ProcedureCall(QV_ProcedureType* procedure, int group) override {
    Line(procedure ? "call" : "no call", group);
  }
  void Variable(QV_VarParam& v, int index) override { Line("variable", HostAccess::Number(v), index); }
  void Procedure(int group, int equations, int nonzeros) override {
    Line("contribution", group, equations, nonzeros);
  }
  void PatternFull(int index) override { Line("pattern full", index); }
  void Reset() override {}
  void Equation(const char*, int, int) override { Line("plain equation"); }
  void Operator(int, int) override { Line("operator"); }
  void Real(double, int) override { Line("real"); }
  void Integer(int, int) override { Line("integer"); }
  void Text(const char*, int) override { Line("text"); }
  void BeginCondition(int, const char*, int) override { Line("condition"); }
  void EndCondition(int) override {}
  void OpenGroup(int) override { Line("group"); }
  void NonZero(QV_VarParam&) override { Line("nonzero"); }
  void CloseBranch() override {}
  void LocalCount(int) override {}

 private:
  static std::string Text(const char* text) { return text; }
  static std::string Text(int number) { return std::to_string(number); }
  template <class... Parts>
  void Line(const char* what, Parts... parts) {
    lines.push_back(what);
    ((lines.back() += " " + Text(parts)), ...);
  }
};

template <class Owner>
class Emission : public testing::Test {
 protected:
  Emission() {
    QV_IntSetValue values("1\":3\""), two("1\":2\"");
    QV_Value value(values), value_two(two);
    rows.Assign(&value), columns.Assign(&value_two);
    grid.SetDim(*rows, *columns);
  }
  Scope scope;
  Recorder recorder;
  CurrentGuard guard{{&scope, nullptr, &recorder, &recorder}};
  RoutineDouble routine{[](RoutineCall&) {}};
  Owner owner{true, nullptr};
  QV_INTEGERSET rows{true}, columns{true};
  QV_REALVARIABLE a{true}, b{true}, last{true};
  QV_REALPARAMETER c{true};
  QV_ARRAY_II<QV_REALVARIABLE> grid;
};
using Owners = testing::Types<QV_GENERICMODEL, QV_GENERICSTRUCTURE>;
TYPED_TEST_SUITE(Emission, Owners);

TYPED_TEST(Emission, names_and_places_every_output_element) {
  const auto list = [this](auto& p) {
    p.Argument(this->a), p.Argument(this->b), p.Argument(this->c);
    p.Argument(), p.SetDimensionSize(3), p.SetDimensionSize(2);
    for (int i = 0; i < 6; ++i) p.Element(static_cast<QV_VarParam&>(this->grid.At(i)));
    p.Argument(this->last);
    p.LastArgument();
  };
  {
    QVProc_TGRID measured(true, 0);
    list(measured);
    int counter = 4;
    EXPECT_EQ(measured.NZAndEqnContribution(&this->owner, 9, counter), 7);
    EXPECT_EQ(counter, 11);
    EXPECT_THAT(this->recorder.lines, ElementsAre("contribution 9 7 21"));
    this->recorder.lines.clear();
  }
  QVProc_TGRID procedure(true, 0);
  list(procedure), list(procedure);
  long long pattern[22];
  std::fill(std::begin(pattern), std::end(pattern), -1);
  long long *next = pattern, *end = pattern + 22;
  int counter = 4;
  procedure.CreateEquationsAndSetGroup(9, true, next, end, counter, &this->owner, "Grid", false);
  EXPECT_EQ(counter, 11);

  std::vector<std::string> expected;
  std::vector<long long> expected_pattern;
  for (int n = 1; n <= 7; ++n) {
    const std::string index = std::to_string(3 + n), label = n < 7 ? "[1_" + std::to_string(n) + "]" : "[2]";
    // The host numbered the array's elements 0 to 5 when it was sized, the others when they are first met.
    const int output = n < 7 ? n - 1 : 8;
    expected.push_back("equation Grid " + label + " " + std::to_string(n) + " 9 " + index);
    expected.push_back("expression Grid " + std::to_string(n - 1) + " " + index);
    for (const int variable : {output, 6, 7}) {
      expected.push_back("variable " + std::to_string(variable) + " " + index);
      expected_pattern.push_back(static_cast<long long>(3 + n) << 32 | variable);
    }
  }
  expected.push_back("call 9");
  EXPECT_EQ(this->recorder.lines, expected);
  EXPECT_EQ(std::vector<long long>(pattern, next), expected_pattern);
  EXPECT_EQ(pattern[21], -1);
}

TYPED_TEST(Emission, registers_no_call_for_a_procedure_without_inputs) {
  QVProc_TNOTHING procedure(true, 0);
  GiveTwice(procedure, All(this->last));
  long long pattern[1], *next = pattern, *end = pattern + 1;
  int counter = 0;
  procedure.CreateEquationsAndSetGroup(2, true, next, end, counter, &this->owner, "Mode", false);
  EXPECT_THAT(this->recorder.lines,
              ElementsAre("equation Mode [1] 1 2 0", "expression Mode 0 0", "variable 6 0", "no call 2"));
}

}  // namespace
