// SPDX-License-Identifier: Apache-2.0
// Limits that the laws of flow set to every method: no head, choking, saturation, back pressure.
#include <limits>

#include "tests/models/relief/states.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
const Expansion& Nitrogen() {
  static const Expansion gas({"nitrogen"}, {1}, Expansion::At(5, 100));
  return gas;
}
const Expansion& WetSteam() {
  static const Expansion steam({"water"}, {1}, Expansion::Boiling(10, 0.2));
  return steam;
}
const Expansion& ColdWater() {
  static const Expansion water({"water"}, {1}, Expansion::At(10, 120));
  return water;
}
const Expansion& BoilingWater() {
  static const Expansion water({"water"}, {1}, Expansion::Boiling(10, 0));
  return water;
}
struct Method {
  const char* model;
  const Expansion& inlet;
  double jump = 1e-4;  // of the flux where it begins to choke, as a share
};
const Method kMethods[] = {{"PSV_VAP", Nitrogen()},
                           {"PSV_SW", Nitrogen()},
                           {"PSV_SW", WetSteam()},
                           {"PSV_SW", ColdWater()},
                           {"PSV_SUBCOOLED", BoilingWater(), 0.04},
                           {"PSV_HEMD", WetSteam()},
                           {"PSV_HEMS", Nitrogen()},
                           {"PSV_HEMS", WetSteam()},
                           {"PSV_HEMS", ColdWater()},
                           {"PSV_HFF", WetSteam()},
                           {"PSV_DIENER", WetSteam()},
                           {"PSV_SPECVOLC", WetSteam()},
                           {"PSV_SPECVOLC", ColdWater()}};
ModelRun At(const Method& m, double exit) {
  ModelRun run(m.model, m.inlet.components, "", m.inlet.For(m.model, exit));
  EXPECT_TRUE(run.Solve()) << m.model << " at " << exit << ": " << run.Why();
  return run;
}
}  // namespace

// A flux that is a square root has a slope that the solver cannot take at 0: there the head is nearly nothing.
TEST(Limits, NoFlowWithoutHead) {
  for (const Method& m : kMethods) {
    const bool root = std::string(m.model) == "PSV_SW" || std::string(m.model) == "PSV_SUBCOOLED";
    const double none = root ? 1 - 1e-9 : 1;
    EXPECT_LT(std::abs(At(m, none)["FLUX"]), 1e-3 * At(m, 0.5)["FLUX"]) << m.model;
  }
  const Values level = {{"P_DROP", 0}, {"RHO", 55}, {"MW", 18}, {"AREA_RATIO", 0.2}};
  EXPECT_NEAR(Solved("PSV_SIMPLE", "FLUX", {}, "", level), 0, 1e-5);
  EXPECT_NEAR(Solved("PSV_SIMPLE", "FLUX", {}, "", With(level, {{"P_DROP", -3}})), 0,
              1e-5);  // limited to nothing
}

// The less back pressure the more flow, down to the critical ratio; from there on the same.
TEST(Limits, FluxRisesUntilItChokes) {
  for (const Method& m : kMethods) {
    const double critical = At(m, 0.01)["ETA_CRIT"], choked = At(m, 0.01)["FLUX"];
    double last = 0;
    for (double exit = 0.98; exit > 0.02; exit -= 0.06) {
      ModelRun run = At(m, exit);
      EXPECT_GE(run["FLUX"], last * (1 - 1e-9 - (m.jump > 1e-3 ? m.jump : 0))) << m.model << " at " << exit;
      EXPECT_EQ(run["CRITICAL_FLOW"], exit < critical ? 1 : 0) << m.model << " at " << exit;
      EXPECT_LE(run["FLUX"], choked * (1 + m.jump)) << m.model << " at " << exit;
      if (exit < critical) {
        EXPECT_NEAR(run["FLUX"], choked, 1e-8 * choked) << m.model;
      }
      last = run["FLUX"];
    }
  }
}

// Both branches meet where the flow begins to choke; there the flow counts as not critical yet. The critical ratio of
// PSV_SUBCOOLED is an approximation: its flux falls by 3 % there.
TEST(Limits, FluxIsContinuousWhereItChokes) {
  for (const Method& m : kMethods) {
    const double critical = At(m, 0.01)["ETA_CRIT"];
    ModelRun above = At(m, critical * (1 + 1e-6)), at = At(m, critical), below = At(m, critical * (1 - 1e-6));
    EXPECT_EQ(at["CRITICAL_FLOW"], 0) << m.model;
    EXPECT_EQ(above["CRITICAL_FLOW"], 0) << m.model;
    EXPECT_EQ(below["CRITICAL_FLOW"], 1) << m.model;
    EXPECT_NEAR(above["FLUX"] / below["FLUX"], 1, m.jump) << m.model;
  }
}

TEST(Limits, ChokedFluxOfAnIdealGas) {
  Values fix = Nitrogen().For("PSV_VAP", 0.1);
  fix["RHO"] = 5e5 / kGasConstant / 373.15;
  ModelRun run("PSV_VAP", {"nitrogen"}, "", fix);
  ASSERT_TRUE(run.Solve());
  const double k = run["K"], mw = fix["MW"];
  EXPECT_NEAR(k, 1.4, 0.02);
  const double flux =
      5e5 * std::sqrt(k * mw / kGasConstant / 373.15) * std::pow(2 / (k + 1), (k + 1) / 2 / (k - 1));
  EXPECT_NEAR(run["FLUX"] * (run["FLUX"] + 1e-5) / flux / flux, 1, 1e-9);
  EXPECT_NEAR(run["ETA_CRIT"], std::pow(2 / (k + 1), k / (k - 1)), 1e-12);
}

TEST(Limits, OrificeEquationOfALiquid) {
  const Values fix = {{"P_DROP", 6}, {"RHO", 55.3}, {"MW", 18.015}, {"AREA_RATIO", 0.25}};
  const double flux = Solved("PSV_SIMPLE", "FLUX", {}, "", fix);
  EXPECT_NEAR(flux * (flux + 1e-5) * (1 - 0.0625), 2 * 55.3 * 18.015 * 6e5, 1);
  // Above DPMAX, 5000 bar, it stays that of DPMAX.
  EXPECT_NEAR(Solved("PSV_SIMPLE", "FLUX", {}, "", With(fix, {{"P_DROP", 9000}})) /
                  Solved("PSV_SIMPLE", "FLUX", {}, "", With(fix, {{"P_DROP", 5000}})),
              1, 1e-12);
}

// Liquid far below its boiling point chokes at its saturation pressure: G^2 = 2 rho (P - PSAT).
TEST(Limits, HighlySubcooledLiquidChokesAtItsSaturationPressure) {
  const Expansion& water = ColdWater();
  const double flux = std::sqrt(2 / water.inlet.volume * 1e5 * water.inlet.pressure * (1 - water.saturation));
  for (const char* model : {"PSV_SW", "PSV_SUBCOOLED", "PSV_HEMS", "PSV_SPECVOLC"}) {
    ModelRun run(model, water.components, "", water.For(model, 0.01));
    ASSERT_TRUE(run.Solve()) << run.Why();
    EXPECT_NEAR(run["FLUX"], flux, 1e-6 * flux) << model;
    EXPECT_NEAR(run["ETA_CRIT"], water.saturation, 1e-9) << model;
  }
}

// Saturated inlets are two-phase, up to a degree of subcooling of 1.001; above it they are vapour.
TEST(Limits, RegimeOfASaturatedInlet) {
  for (const auto& [degree, vapour] : std::map<double, bool>{{1.0, false}, {1.0009, false}, {1.0011, true}}) {
    ModelRun run("PSV_SW", {"water"}, "",
                 With(WetSteam().For("PSV_SW", 0.01), {{"LFACTOR", 1 - 1 / degree}}));
    ASSERT_TRUE(run.Solve()) << run.Why();
    EXPECT_EQ(run["ETA_CRIT"], run[vapour ? "ETA_CRIT_VAP" : "ETA_CRIT_2P"]) << degree;
  }
  // Without a liquid the degree of subcooling is 1 and the two-phase form holds, as written.
  ModelRun gas("PSV_SW", {"nitrogen"}, "VALIDPHASES: Vapor-Only",
               With(Nitrogen().For("PSV_SW", 0.01), {{"LFACTOR", 0}, {"VFACTOR", 0}}));
  ASSERT_TRUE(gas.Solve()) << gas.Why();
  EXPECT_EQ(gas["ETA_S"], 1);
  EXPECT_EQ(gas["ETA_CRIT"], gas["ETA_CRIT_2P"]);
}

// The critical flux is the largest of the sub-critical expression over the exit ratio, and lies where it says.
TEST(Limits, CriticalFluxIsTheLargest) {
  for (const Method& m : kMethods) {
    if (std::string(m.model) == "PSV_HFF" || std::string(m.model) == "PSV_VAP" ||
        std::string(m.model) == "PSV_SW")
      continue;
    const double critical = At(m, 0.01)["ETA_CRIT"], most = At(m, 0.01)["GC"];
    for (const double factor : {0.9, 0.97, 1.03, 1.1}) {
      if (critical * factor >= 1) continue;
      EXPECT_LE(At(m, critical * factor)["G2"], most * (1 + m.jump)) << m.model << factor;
    }
  }
}
