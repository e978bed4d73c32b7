// SPDX-License-Identifier: Apache-2.0
// Systems with known faults put in: each has to be found, named, and nothing else.
#include "runtime/diagnosis/diagnosis.h"

#include <cmath>

#include "frame/model.h"
#include "runtime/diagnosis/jacobian_check.h"
#include "tests/runtime/solve/lambda_problem.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A nozzle: sound, or with a fault by the value of FAULT.
struct QV_NOZZLE : QV_GENERICMODEL {
  MODEL_TEXT(NOZZLE)
  PARAMETER(QV_INTEGERPARAMETER, FAULT)
  VARIABLE(QV_PRESSURE, P)
  VARIABLE(QV_PRESSURE, P_OUT)
  VARIABLE(QV_DENS_MASS, RHO)
  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_CONSTANT, SPEED)
  VARIABLE(QV_POSITIVE, LOSS)
  void Assignments(Assigner& set) {
    set(FAULT, 0);
    set.spec(P, QV_SPEC_GIVEN);
    set.spec(P_OUT, QV_SPEC_GIVEN);
    set.spec(RHO, QV_SPEC_GIVEN);
    set(P, 3.0);
  }
  void Equations(Equate& eq) {
    const int fault = FAULT.IntegerValue();
    if (fault == 1)
      eq("flux", FLUX == 2.0 * RHO * (P - P_OUT) * 1e5);  // the root is missing
    else
      eq("flux", FLUX == sqrt(2.0 * RHO * (P - P_OUT) * 1e5));
    if (fault == 2)
      eq("speed", P_OUT * RHO == P);  // says nothing of SPEED
    else
      eq("speed", SPEED == FLUX / RHO);
    if (fault == 3)
      eq("loss", LOSS == 0.1 + ln(1 - LOSS));  // leaves its domain: LOSS starts at 1
    else if (fault == 4)
      eq("loss", LOSS * LOSS + 1.0 == 0.5);  // no root
    else
      eq.given("Slow", SPEED < 20, [&] { eq("loss", LOSS == 0.1); }).otherwise([&] {
        eq("loss", LOSS == 0.2);
      });
  }
};

namespace {

std::vector<Finding> Of(const Diagnosis& d, const std::string& topic) {
  std::vector<Finding> found;
  for (const Finding& finding : d.findings)
    if (finding.topic == topic) found.push_back(finding);
  return found;
}

class Diagnoses : public testing::Test {
 protected:
  Diagnosis Run(int fault) {
    sheet_ = std::make_unique<TestSheet>();
    nozzle_ = &sheet_->Add<QV_NOZZLE>("n");
    sheet_->Size([&] { TestSheet::Give(nozzle_->FAULT, fault); });
    system_ = std::make_unique<EquationSystem>(sheet_->sheet);
    return Diagnose(*system_, system_->StartValues());
  }
  std::unique_ptr<TestSheet> sheet_;
  QV_NOZZLE* nozzle_ = nullptr;
  std::unique_ptr<EquationSystem> system_;
};

TEST_F(Diagnoses, ASoundCaseHasNoFault) {
  const Diagnosis d = Run(0);
  EXPECT_FALSE(d.HasFaults());
  EXPECT_THAT(Of(d, "units"), IsEmpty());
  EXPECT_THAT(Of(d, "structure"), IsEmpty());
  EXPECT_EQ(d.structure.degrees_of_freedom, 0);
  // sqrt(2 * 500 * 1.98675e5) / 500 = 28.19 m/s: far from 20.
  EXPECT_THAT(Of(d, "switch"), IsEmpty());
  EXPECT_EQ(d.formulas_checked, 5);  // four equations and alternatives, one condition
}

TEST_F(Diagnoses, FaultsOfUnitsDoNotPreventSolving) {
  const Diagnosis d = Run(1);
  ASSERT_THAT(Of(d, "units"), SizeIs(1));
  EXPECT_EQ(Of(d, "units")[0].where, "n.flux");
  EXPECT_THAT(Of(d, "units")[0].what, HasSubstr("FLUX is mass flux"));
  EXPECT_FALSE(d.HasFaults());
}

TEST_F(Diagnoses, StructureIsToldByName) {
  const Diagnosis d = Run(2);
  EXPECT_TRUE(d.HasFaults());
  EXPECT_FALSE(d.solved.has_value());
  const std::vector<Finding> found = Of(d, "structure");
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_THAT(found[0].what, AllOf(HasSubstr("n.speed determines nothing"), HasSubstr("free")));
  EXPECT_THAT(found[0].equations, testing::ElementsAre("n.speed"));
}

// ln(1 - LOSS) at the start value 1, and beyond: the first failure is kept with its values.
TEST_F(Diagnoses, TheFirstUndefinedOperationIsKept) {
  const Diagnosis d = Run(3);
  if (d.solved->outcome == SolveOutcome::kConverged) GTEST_FAIL() << "the case is no longer hard";
  ASSERT_TRUE(d.first_undefined.has_value());
  EXPECT_EQ(system_->EquationName(d.first_undefined->equation), "n.loss");
  EXPECT_THAT(d.first_undefined->reason, HasSubstr("ln("));
  EXPECT_TRUE(d.HasFaults());
  ASSERT_THAT(Of(d, "undefined"), testing::Not(IsEmpty()));
}

TEST_F(Diagnoses, TheBlockThatFailsIsNamed) {
  const Diagnosis d = Run(4);
  const std::vector<Finding> found = Of(d, "solution");
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found[0].severity, Severity::kFault);
  EXPECT_EQ(found[0].where, "n.loss");
  EXPECT_THAT(found[0].variables, testing::ElementsAre("n.LOSS"));
  // What does not depend on it is solved and kept.
  EXPECT_NEAR(d.x[static_cast<size_t>(HostAccess::Number(nozzle_->SPEED))], 28.19, 0.01);
}

std::vector<std::string> Topics(const std::vector<Finding>& findings) {
  std::vector<std::string> topics;
  for (const Finding& finding : findings) topics.push_back(finding.topic);
  return topics;
}

// Two rows that differ by 1e-7 of their slopes, then by 1e-3.
TEST(JacobianCheck, NearlyEqualRowsAreFound) {
  for (const double difference : {1e-7, 1e-3}) {
    LambdaProblem p;
    const int x = p.Free("X", 2.0), y = p.Free("Y", 3.0);
    p.Equation("First", {x, y}, [=](const Dual* v) { return v[x] + v[y] - 5.0; });
    p.Equation("Second", {x, y}, [=](const Dual* v) { return 1e4 * (v[x] + (1.0 + difference) * v[y]); });
    const auto found = CheckJacobian(p, p.x, "here");
    if (difference < 1e-6)
      EXPECT_THAT(Topics(found), testing::ElementsAre("parallel"));
    else
      EXPECT_THAT(Topics(found), IsEmpty());
  }
}

TEST(JacobianCheck, UnfeltUnknownsAndLargeTermsAreFound) {
  LambdaProblem p;
  const int x = p.Free("X", 1.0), y = p.Free("Y", 1.0);
  p.Equation("Feels", {x, y}, [=](const Dual* v) { return v[x] - 2.0 + 1e-11 * v[y]; });
  p.Equation("Large", {x}, [=](const Dual* v) { return 1e12 * v[x]; });
  const auto found = CheckJacobian(p, p.x, "here");
  ASSERT_THAT(Topics(found), testing::ElementsAre("scaling", "scaling", "parallel"));
  EXPECT_EQ(found[0].where, "Large");
  EXPECT_EQ(found[1].where, "Y");
}

// Start 2, where ln(4 - X^2) is not defined, after a good evaluation at 1: X moved.
TEST(FaultRecorder, TellsWhatMoved) {
  LambdaProblem p;
  const int x = p.Free("X", 1.0), y = p.Free("Y", 5.0);
  p.Equation("Well", {x, y}, [=](const Dual* v) { return Log(4.0 - v[x] * v[x]) + v[y]; });
  FaultRecorder recorder(p);
  const int equation = 0;
  double residual = 0;
  EXPECT_TRUE(recorder.Evaluate({&equation, 1}, p.x.data(), &residual, nullptr));
  EXPECT_EQ(recorder.First(), nullptr);
  p.x = {2.5, 5.1};
  EXPECT_FALSE(recorder.Evaluate({&equation, 1}, p.x.data(), &residual, nullptr));
  p.x = {3.0, 9.0};
  EXPECT_FALSE(recorder.Evaluate({&equation, 1}, p.x.data(), &residual, nullptr));
  const RecordedFault* fault = recorder.First();
  ASSERT_NE(fault, nullptr);
  EXPECT_EQ(fault->moved, x);
  EXPECT_EQ(fault->from, 1.0);
  EXPECT_EQ(fault->to, 2.5);
  EXPECT_EQ(fault->times, 2);
  EXPECT_EQ(fault->evaluation, 2);
  EXPECT_EQ(recorder.FirstOf(7), nullptr);
}

}  // namespace
