// SPDX-License-Identifier: Apache-2.0
// When a routine is called, with which call type, and what happens when it cannot be called or fails.
#include "host/property.h"
#include "runtime/contract/scope.h"
#include "tests/procedures/routine_double.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;
using testing::HasSubstr;

#define CALLED_PROCEDURE(DO)                                          \
  DO(TPLAIN, "plain", "Test", 2, 1, 1, "r* s*", "r", 0)               \
  DO(TANALYTIC, "analytic", "Test", 1, 1, 1, "r*", "r", kDerivatives) \
  DO(TALWAYS, "always", "Test", 1, 1, 1, "r*", "r", kAlwaysCall)      \
  DO(TSOURCE, "source", "Test", 0, 2, 1, "", "r r", 0)                \
  DO(THOOKS, "hooks", "Test", 1, 1, 1, "r*", "r", kPrecall | kPostcall | kDerivatives)
#define DECLARE(...) QV_DECLARE_PROCEDURE(, __VA_ARGS__)
#define DEFINE(NAME, ...) QV_DEFINE_PROCEDURE(NAME)
CALLED_PROCEDURE(DECLARE)
CALLED_PROCEDURE(DEFINE)
QV_DECLARE_COMPONENT_PROCEDURE(, TCOMPONENTS, "components", "Test", 1, 1, 1, "r*", "r", 0)
QV_DEFINE_COMPONENT_PROCEDURE(TCOMPONENTS)

namespace {

class CallRules : public testing::Test {
 protected:
  CallRules() { Give(x, 2.0), Give(y, 10.0), Give(z, 20.0), text.SetCurrentValue("on"); }
  int Evaluate(QV_ProcedureType& procedure) {
    int i = 0;
    return procedure.Residuals(r, i);
  }
  QV_REALVARIABLE x{true}, y{true}, z{true};
  QV_STRINGPARAMETER text{true};
  double r[2] = {};
  bool failing = false, flat = false;
  RoutineDouble routine{[this](RoutineCall& c) {
    if (failing) *c.failure = 3, c.status[0] = 1;
    c.Output(0) = 6.0;
    if (*c.output_count == 2) c.Output(1) = 7.0;
    if (*c.type == kQvCallReturnedDerivatives && !flat) c.derivatives[0] = 3.0;
  }};
};

TEST_F(CallRules, only_a_change_of_an_input_calls_again) {
  QVProc_TPLAIN procedure(true, 0);
  GiveTwice(procedure, All(x, text, y));
  const auto calls_after = [&](auto change) {
    const size_t before = routine.types.size();
    change();
    EXPECT_EQ(Evaluate(procedure), 0);
    return routine.types.size() - before;
  };
  EXPECT_EQ(calls_after([] {}), 1u);
  EXPECT_EQ(calls_after([] {}), 0u);
  EXPECT_EQ(calls_after([&] { Give(x, 0.0); }), 1u);
  EXPECT_EQ(calls_after([&] { Give(x, -0.0); }), 1u) << "equal, but not in every bit";
  EXPECT_EQ(calls_after([&] { text.SetCurrentValue("off"); }), 1u);
  EXPECT_EQ(calls_after([&] { Give(y, 11.0); }), 0u) << "an output";
  EXPECT_EQ(r[0], 5.0) << "still the variable's present value";
  for (const long long type : routine.types) EXPECT_EQ(type, kQvCallValues);
}

TEST_F(CallRules, some_are_called_every_time) {
  QVProc_TALWAYS always(true, 0);
  GiveTwice(always, All(x, y));
  QVProc_TSOURCE source(true, 0);
  GiveTwice(source, All(y, z));
  for (int time = 1; time <= 3; ++time) {
    EXPECT_EQ(Evaluate(always), 0);
    EXPECT_EQ(Evaluate(source), 0);
    EXPECT_EQ(routine.types.size(), 2u * static_cast<size_t>(time));
  }
  EXPECT_EQ(r[1], 13.0);
}

TEST_F(CallRules, before_and_after_are_called_once) {
  QVProc_THOOKS procedure(true, 0);
  GiveTwice(procedure, All(x, y));
  EXPECT_EQ(procedure.Postcall(true), 0);  // nothing was called yet, so nothing follows
  EXPECT_TRUE(routine.types.empty());
  for (int time = 0; time < 2; ++time) EXPECT_EQ(procedure.Precall(true), 0);
  for (int time = 0; time < 2; ++time) EXPECT_EQ(Evaluate(procedure), 0);
  for (int time = 0; time < 2; ++time) EXPECT_EQ(procedure.Postcall(true), 0);
  EXPECT_THAT(routine.types, ElementsAre(1, 4, 2));
  EXPECT_EQ(Evaluate(procedure), 0);  // the last call was no evaluation
  EXPECT_THAT(routine.types, ElementsAre(1, 4, 2, 4));
}

TEST_F(CallRules, derivatives_are_asked_for_as_call_type_4_and_turned_once) {
  QVProc_TANALYTIC procedure(true, 0);
  GiveTwice(procedure, All(x, y));
  double rows[2], J[2] = {55, 55};
  for (int time = 0; time < 2; ++time) {
    ASSERT_TRUE(EvaluateProcedure(procedure, r, rows));
    EXPECT_THAT(rows, ElementsAre(-3.0, 1.0));
  }
  int i = 0;
  EXPECT_EQ(procedure.Jacobian(J, i), 0);
  EXPECT_EQ(i, 2);
  EXPECT_THAT(J, ElementsAre(55, 55)) << "the host takes what the routine returned";
  EXPECT_THAT(routine.types, ElementsAre(4));
  flat = true;
  Give(x, 3.0);
  ASSERT_TRUE(EvaluateProcedure(procedure, r, rows));
  EXPECT_THAT(rows, ElementsAre(0.0, 1.0))
      << "an entry that the routine leaves out is zero, not the last one";
}

TEST_F(CallRules, a_failed_call_leaves_no_last_call_and_no_values) {
  QVProc_THOOKS procedure(true, 0);
  GiveTwice(procedure, All(x, y));
  EXPECT_EQ(Evaluate(procedure), 0);
  failing = true;
  Give(x, 3.0);
  double entries[3] = {-1, -1, -1};
  int i = 1;
  EXPECT_EQ(procedure.Residuals(entries, i), kRoutineFailed);
  EXPECT_EQ(i, 2);
  EXPECT_THAT(entries, ElementsAre(-1, -1, -1));
  EXPECT_EQ(LastProcedureFault().sentence,
            "Routine hooks of library Test: it reported failure 3 (an input lies outside the range of the "
            "routine). "
            "Look at its input 1. Start from inputs inside its range.");
  EXPECT_EQ(procedure.Postcall(true), 0);
  Give(x, 2.0);
  failing = false;
  EXPECT_EQ(Evaluate(procedure), 0);
  EXPECT_THAT(routine.types, ElementsAre(4, 4, 4)) << "called anew, although x is back where it was";
  i = 0;
  failing = true;
  Give(x, 4.0);
  EXPECT_EQ(procedure.Jacobian(entries, i), kRoutineFailed);
  EXPECT_EQ(i, 2);
}

TEST_F(CallRules, a_component_list_stands_around_its_call_only) {
  QV_COMPONENTLISTNAME list(true);
  QVProc_TCOMPONENTS with(true, 0, &list), without(true, 0);
  QV_COMPONENTLISTNAME* seen = nullptr;
  RoutineDouble asking([&](RoutineCall& c) { seen = CurrentComponentList(), c.Output(0) = 1; });
  GiveTwice(with, All(x, y)), GiveTwice(without, All(x, y));
  EXPECT_EQ(with.ComponentListName(), &list);
  EXPECT_EQ(Evaluate(with), 0);
  EXPECT_EQ(seen, &list);
  EXPECT_EQ(CurrentComponentList(), nullptr);
  EXPECT_EQ(Evaluate(without), 0);
  EXPECT_EQ(seen, nullptr);
}

TEST_F(CallRules, faults_are_told_in_sentences) {
  QVProc_TANALYTIC procedure(true, 0);
  EXPECT_EQ(Evaluate(procedure), kArgumentsUnfit) << "no arguments yet";
  procedure.Argument(x), procedure.Argument(y), procedure.LastArgument();
  EXPECT_EQ(Evaluate(procedure), kArgumentsUnfit) << "measured, not stored";
  procedure.Argument(x), procedure.LastArgument();
  EXPECT_EQ(Evaluate(procedure), kArgumentsUnfit) << "one missing";
  procedure.Argument(x), procedure.Argument(y), procedure.Argument(z), procedure.LastArgument();
  EXPECT_EQ(Evaluate(procedure), kArgumentsUnfit) << "one too many";
  procedure.Argument(1.0), procedure.Argument(y), procedure.LastArgument();
  EXPECT_EQ(Evaluate(procedure), kArgumentsUnfit) << "another kind than was measured";
  EXPECT_THAT(LastProcedureFault().sentence, HasSubstr("Check the model's call"));
  procedure.Argument(x), procedure.Argument(y), procedure.LastArgument();
  EXPECT_EQ(Evaluate(procedure), 0);

  const auto fault_of = [&](RoutineDouble::Body body) {
    RoutineDouble other(std::move(body));
    QVProc_TANALYTIC fresh(true, 0);
    GiveTwice(fresh, All(x, y));
    return Evaluate(fresh);
  };
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Output(0) = std::nan(""); }), kOutputsInvalid);
  EXPECT_THAT(LastProcedureFault().sentence, HasSubstr("output 1 of 1 came back as nan"));
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Output(0) = 1, c.Output(0, 1) = 0; }), kMemoryOverrun);
  EXPECT_THAT(LastProcedureFault().sentence, HasSubstr("wrote outside its arguments"));
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Output(0, 8) = 0; }), kMemoryOverrun) << "eight slots behind";
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Input(0, -8) = 0; }), kMemoryOverrun) << "eight slots before";
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Output(0) = 1, c.derivatives[-1] = 0; }), kMemoryOverrun);
  EXPECT_THAT(LastProcedureFault().sentence, HasSubstr("wrote outside its derivatives"));
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Output(0) = 1, c.status[16] = 1; }), kMemoryOverrun);
  EXPECT_THAT(LastProcedureFault().sentence, HasSubstr("wrote outside its status entries"));
  EXPECT_EQ(fault_of([](RoutineCall& c) { c.Output(0) = 1, c.status[15] = 1; }), 0) << "its own";

  RoutineProvider* const provider = InstallRoutineProvider(nullptr);
  QVProc_TANALYTIC lost(true, 0);
  GiveTwice(lost, All(x, y));
  EXPECT_EQ(Evaluate(lost), kRoutineAbsent);
  EXPECT_EQ(LastProcedureFault().sentence,
            "Routine analytic of library Test: no routine libraries are configured. Name the folder that "
            "holds them.");
  InstallRoutineProvider(provider);
}

}  // namespace
