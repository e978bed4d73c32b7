// SPDX-License-Identifier: Apache-2.0
// The viscosity correction of a relief valve.
#include <gtest/gtest.h>

#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_spvisccorr);

namespace quiver::routines {
namespace {

double Correction(double reynolds) {
  RoutineTest call(ZX40RM_spvisccorr, {reynolds});
  EXPECT_EQ(call.Call(0), 0);
  return call.Value();
}

// API Standard 520 Part I, liquid relief example: crude oil, 1800 US gal/min of 2000 Saybolt seconds through
// the P orifice (6.38 in2), Re = 12700 Q/(U sqrt(A)); Kv = 0.964.
TEST(ViscosityCorrection, MeetsTheApi520ExampleAndRisesFromZeroToOne) {
  EXPECT_NEAR(Correction(12700 * 1800 / (2000 * std::sqrt(6.38))), 0.964, 0.0005);
  double before = Correction(0);
  EXPECT_EQ(before, 0);
  for (double reynolds = 1e-3; reynolds < 1.9e5; before = Correction(reynolds), reynolds *= 1.5)
    EXPECT_GT(Correction(reynolds), before);
  EXPECT_LT(Correction(1.9e5), 1);
  EXPECT_EQ(Correction(2e5), 1);
  RoutineTest negative(ZX40RM_spvisccorr, {-1.0});
  EXPECT_EQ(negative.Call(0), 3);
}

}  // namespace
}  // namespace quiver::routines
