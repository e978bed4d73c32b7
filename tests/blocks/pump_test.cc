// SPDX-License-Identifier: Apache-2.0
// The pump block: affinity laws, balances, boiling.
#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

SolvedCase Pump(double flow, double t, const std::string& options, const std::string& fixed) {
  return SolvedCase(
      fmt::format("components: [water]\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: Liquid-Only}}, fix: "
                  "{{F: {}, T: {}, P: 2}}}}\n"
                  "  p: {{model: PUMP, set: {{{}}}, fix: {{{}}}}}\nconnect: [f.OUT_P -> p.IN_F]\n",
                  flow, t, options, fixed));
}

TEST(Pump, affinity_laws_and_balances) {
  const SolvedCase full = Pump(5000, 40, "", "SPEED: 3600");
  for (const double part : {0.5, 0.8, 1.2}) {
    const SolvedCase run = Pump(5000 * part, 40, "", fmt::format("SPEED: {}, MECHEFF: 0.9", 3600 * part));
    ASSERT_TRUE(run.converged) << run.Why();
    EXPECT_NEAR(run["p.HEAD"] / full["p.HEAD"], part * part, 1e-9);
    EXPECT_NEAR(run["p.EFF"] / full["p.EFF"], 1, 1e-9);
    EXPECT_NEAR(0.9 * run["p.BPOWER"] / full["p.BPOWER"], part * part * part, 1e-9);
    EXPECT_NEAR(run["p.OUT_P.F"], 5000 * part, 1e-9);
    EXPECT_NEAR(run["p.HEIGHT"] * 9.80665e-3, run["p.HEAD"], 1e-9);
    EXPECT_NEAR(run["p.HPOWER"], run["p.EFF"] * 0.9 * run["p.BPOWER"], 1e-9 * run["p.BPOWER"]);
    EXPECT_NEAR(run["p.FM_IN"], 5000 * part * 18.0153, 1);
    EXPECT_NEAR(run["f.F"] * (run["p.OUT_P.H"] - run["f.H"]), 3.6e-3 * 0.9 * run["p.BPOWER"],
                1e-6 * run["p.BPOWER"]);
    // Losses warm the water, (1 - EFF) of the work over 4.18 kJ/kg/K, and so does compression itself: T beta / cp of the head,
    // where beta is 3.85e-4 1/K at 40 C.
    const double losses = (1 - run["p.EFF"]) * run["p.WORK"] / 4.18,
                 squeeze = 313.15 * 3.85e-4 * run["p.HEAD"] / 4.18;
    EXPECT_NEAR(run["p.T_RISE"] / (losses + squeeze), 1, 0.05);
  }
}

// Saturation pressures of water at 60 and 95 C: 0.19947 and 0.84609 bar (IAPWS-IF97).
TEST(Pump, suction_head_until_boiling) {
  for (const auto& [t, p_boil] : {std::pair{60.0, 0.19947}, {95.0, 0.84609}}) {
    const SolvedCase run = Pump(5000, t, "NPSHCALC: \"Yes\", HASMAP: \"No\"", "P: 12, EFF: 0.7");
    ASSERT_TRUE(run.converged) << run.Why();
    EXPECT_NEAR(run["p.P_BOIL"] / p_boil, 1, 0.01);
    EXPECT_NEAR(run["p.NPSHA"], 1e5 * (2 - run["p.P_BOIL"]) / (9.80665 * run["p.MW"] * run["p.RHO_IN"]),
                1e-6);
    EXPECT_NEAR(run["p.HEAD"] * run["p.MW"] * run["p.RHO_IN"], 1000, 1);  // 10 bar of a stiff liquid
  }
}

TEST(Pump, cold_starts_over_a_grid) {
  int tried = 0, solved = 0;
  std::string failed;
  for (const double t : {5.0, 60.0, 110.0})
    for (const double flow : {500.0, 3000.0, 6500.0})
      for (const double speed : {1800.0, 3600.0, 5000.0}) {
        const SolvedCase run = Pump(flow * speed / 3600, t, "", fmt::format("SPEED: {}", speed));
        ++tried;
        solved += run.converged;
        if (!run.converged)
          failed += fmt::format("{} C, {} kmol/hr, {} rpm: {}\n", t, flow, speed, run.Why());
      }
  EXPECT_EQ(solved, tried) << failed;
}

}  // namespace
}  // namespace quiver::tests
