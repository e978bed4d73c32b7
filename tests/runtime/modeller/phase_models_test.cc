// SPDX-License-Identifier: Apache-2.0
// The phase sub-models as an owner uses them: single, in arrays over a set that may be empty, solved as equations.
#include "host/modeller/phase_models.h"

#include <gtest/gtest.h>

#include "frame/model.h"
#include "runtime/modeller/property_routines.h"
#include "runtime/plugin/routine_library.h"
#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"
#include "tests/support/test_sheet.h"

// Heats a stream along POINTS pressures at constant enthalpy, and at the last point by its entropy.
struct QV_THROTTLING : QV_GENERICMODEL {
  MODEL_TEXT(THROTTLING)
  PARAMETER(QV_INTEGERPARAMETER, COUNT)
  SET(QV_INTEGERSET, POINTS)
  SUBMODEL(QV_PFLASH2, INLET)
  ARRAY(QV_PFLASH2, FLASH, OVER(POINTS))
  ARRAY(QV_PFLASH3, FLASH3, OVER(POINTS))
  ARRAY(QV_PRESSURE, PRES, OVER(POINTS))

  void Assignments(Assigner& set) {
    set.range(POINTS, COUNT.IntegerValue());
    set(INLET.FLASHTYPE, "PV");
    set.spec(INLET.P, QV_SPEC_GIVEN);
    set.spec(INLET.VF, QV_SPEC_GIVEN);
    set.spec(INLET.Z, QV_SPEC_GIVEN);
    set.spec(PRES, QV_SPEC_GIVEN);
    for (long long i = 0; i < FLASH.Count(); ++i) {
      set(FLASH(static_cast<int>(i) + 1).FLASHTYPE, "PH");
      set(FLASH3(static_cast<int>(i) + 1).FLASHTYPE, "PS");
    }
  }
  void Equations(Equate& eq) {
    eq.each(POINTS, [&](int i) {
      eq("Pressure", FLASH(i).P == PRES(i));
      eq("Enthalpy", FLASH(i).H == INLET.H);
      eq("Pressure3", FLASH3(i).P == PRES(i));
      eq("Entropy", FLASH3(i).S == INLET.S);
      eq.each(ComponentList, [&](const char* c) {
        eq("Composition", FLASH(i).Z(c) == INLET.Z(c));
        eq("Composition3", FLASH3(i).Z(c) == INLET.Z(c));
      });
    });
  }
};

namespace quiver::tests {
namespace {

class PhaseModels : public testing::Test {
 protected:
  void SetUp() override {
    RegisterPropertyRoutines(routines_);
    before_ = InstallRoutineProvider(&routines_);
  }
  void TearDown() override { InstallRoutineProvider(before_); }

  RoutineLibraries routines_{std::vector<std::string>{}};
  RoutineProvider* before_ = nullptr;
};

TEST_F(PhaseModels, AnOwnerFlashesAlongASet) {
  for (const std::vector<std::string>& components :
       {std::vector<std::string>{"water"}, {"propane", "n-hexane"}}) {
    TestSheet sheet;
    sheet.sheet.SetComponents(components);
    auto& model = sheet.Add<QV_THROTTLING>("m");
    sheet.Size([&] {
      TestSheet::Give(model.COUNT, 3);
      TestSheet::Give(model.INLET.P, 20.0);
      TestSheet::Give(model.INLET.VF, 0.2);
      for (long long i = 0; i < model.INLET.Z.Count(); ++i)
        TestSheet::Give(static_cast<QV_VarParam&>(model.INLET.Z.At(i)),
                        1.0 / static_cast<double>(components.size()));
      for (long long i = 0; i < model.PRES.Count(); ++i)
        TestSheet::Give(static_cast<QV_VarParam&>(model.PRES.At(i)), 15.0 - 4.0 * static_cast<double>(i));
    });
    EXPECT_TRUE(sheet.faults().empty()) << fmt::format("{}", fmt::join(sheet.faults(), "\n"));
    EquationSystem system(sheet.sheet);
    std::vector<double> x = system.StartValues();
    const SolveSummary summary = Solve(system, {}, x);
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged)
        << (summary.failures.empty() ? "" : summary.failures[0].reason);
    system.Store(x);
    const PropertyPackage package(components);
    for (int i = 1; i <= 3; ++i) {
      const QV_PFLASH2& flash = model.FLASH(i);
      EXPECT_GT(flash.VF.RealValue(), 0.2);
      // Enthalpy of the phases found, by the package itself.
      std::vector<double> shares;
      for (long long c = 0; c < flash.Y.Count(); ++c)
        shares.push_back(static_cast<QV_VarParam&>(flash.Y.At(c)).RealValue());
      const PhaseProperties vapour = package.Phase(PhaseKind::kVapour, flash.T.RealValue() + kZeroCelsius,
                                                   flash.P.RealValue() * kPascalPerBar, shares);
      EXPECT_NEAR(flash.HV.RealValue(), vapour.enthalpy / kJoulePerGigajoule, 1e-9);
      EXPECT_NEAR(flash.RHOV.RealValue(), vapour.molar_density, 1e-9 * vapour.molar_density);
      EXPECT_NEAR(flash.VF.RealValue() * flash.HV.RealValue() + flash.LF.RealValue() * flash.HL.RealValue(),
                  model.INLET.H.RealValue(), 1e-9);
      EXPECT_NEAR(model.FLASH3(i).S.RealValue(), model.INLET.S.RealValue(), 1e-9);
      EXPECT_LT(model.FLASH3(i).H.RealValue(),
                model.INLET.H.RealValue());  // work is done at constant entropy
      EXPECT_LT(model.FLASH3(i).VF.RealValue(), flash.VF.RealValue());
    }
  }
}

TEST_F(PhaseModels, AnEmptySetLeavesNoSubModel) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"water"});
  auto& model = sheet.Add<QV_THROTTLING>("m");
  sheet.Size([&] { TestSheet::Give(model.COUNT, 0); });
  EXPECT_EQ(model.FLASH.Count(), 0);
  EXPECT_EQ(SubInstances(InstanceOf(model)).size(), 1u);
  EXPECT_TRUE(sheet.faults().empty());
}

}  // namespace
}  // namespace quiver::tests
