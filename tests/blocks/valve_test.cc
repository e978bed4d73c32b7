// SPDX-License-Identifier: Apache-2.0
// The valve block: published sizing, choking, the definition of the coefficient, reversal.
#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

SolvedCase Valve(const std::string& gas, const std::string& phases, const std::string& fed,
                 const std::string& fixed, const std::string& globals = "") {
  return SolvedCase(fmt::format(
      "components: [{}]\nglobals: {{{}}}\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: {}}}, fix: {{Z: "
      "1, {}}}}}\n"
      "  v: {{model: VALVE, set: {{VALIDPHASES: {}}}, fix: {{{}}}}}\nconnect: [f.OUT_P -> v.IN_F]\n",
      gas, globals, phases, fed, phases, fixed));
}

// Carbon dioxide of 433 K, 6.8 to 3.1 bar, 3800 m3/h at 0 C and 1 atm, XT 0.7, exponent 1.3: Kv 58.61 (the gas example of IEC
// 60534-2-1 without fittings, by an open calculator of that standard), which is Cv 67.76.
TEST(Valve, gas_sizing_example) {
  const SolvedCase run = Valve("CO2", "Vapor-Only", "F: 169.54, T: 159.85, P: 6.8",
                               "TRIM.CVMAX: 200, XT: 0.7, FK: 0.928571, OUT_P.P: 3.1");
  ASSERT_TRUE(run.converged) << run.Why();
  EXPECT_NEAR(run["v.TRIM.CV"], 67.76, 0.004 * 67.76);
  EXPECT_NEAR(run["v.TRIM.POS"], 67.76 / 2, 0.15);  // linear
  EXPECT_NEAR(run["v.OUT_P.H"], run["f.H"], 1e-12);
  EXPECT_LT(run["v.OUT_P.T"], 159.85);  // Joule and Thomson
}

TEST(Valve, chokes_where_the_standard_says) {
  const auto flow = [](double p_out) {
    return Valve("nitrogen", "Vapor-Only", "T: 20, P: 10",
                 fmt::format("TRIM.CVMAX: 100, TRIM.POS: 50, OUT_P.P: {}", p_out))["v.W"];
  };
  EXPECT_NEAR(flow(1), flow(2.9), 1e-6 * flow(1));  // x is FK XT = 0.7 at 3 bar
  EXPECT_LT(flow(3.5), 0.999 * flow(2.9));
  EXPECT_LT(flow(9), 0.6 * flow(2.9));
}

// Kv 1, which is Cv 1.156, passes 1 m3/h of cold water at a drop of 1 bar.
TEST(Valve, liquid_by_the_definition_of_the_coefficient) {
  const SolvedCase run =
      Valve("water", "Liquid-Only", "T: 15, P: 4", "TRIM.CVMAX: 1.156, TRIM.POS: 100, OUT_P.P: 3");
  ASSERT_TRUE(run.converged) << run.Why();
  EXPECT_NEAR(run["v.W"] / (run["v.RHO"] * run["v.MW"]), 1, 0.02);
}

// With reverse flow allowed, the valve between swapped states passes the same flow backwards.
TEST(Valve, passes_both_ways) {
  const auto flow = [](double p_in, double p_out) {
    return Valve(
        "nitrogen", "Vapor-Only", fmt::format("T: 20, P: {}", p_in),
        fmt::format(
            "TRIM.CVMAX: 100, TRIM.POS: 50, OUT_P.P: {}, OUT_P.ZREV: 1, OUT_P.HREV: 0, OUT_P.AVREV: 1",
            p_out),
        "GLOBALPDRIVEN: true, GLOBALRFLOW: true");
  };
  const SolvedCase back = flow(8, 10), still = flow(10, 10);
  ASSERT_TRUE(back.converged) << back.Why();
  ASSERT_TRUE(still.converged) << still.Why();
  EXPECT_LT(back["v.W"], 0);
  EXPECT_EQ(back["v.P_UP"], 10);
  EXPECT_NEAR(still["v.W"], 0, 1e-3);
  const SolvedCase forward = Valve("nitrogen", "Vapor-Only", fmt::format("T: {}, P: 10", back["v.PVAP(1).T"]),
                                   "TRIM.CVMAX: 100, TRIM.POS: 50, OUT_P.P: 8");
  EXPECT_NEAR(forward["v.W"], -back["v.W"], 1e-4 * forward["v.W"]);
  EXPECT_NEAR(back["v.P_DROP"], -2, 1e-9);
  // Backwards it chokes as well, with the expansion factor of 2/3.
  EXPECT_NEAR(flow(1, 10)["v.W"], flow(2.9, 10)["v.W"], 1e-6 * std::abs(flow(1, 10)["v.W"]));
  EXPECT_LT(flow(1, 10)["v.W"], 1.001 * flow(3.5, 10)["v.W"]);
  EXPECT_NEAR(flow(1, 10)["v.Y"], 2 / 3.0, 1e-9);
}

}  // namespace
}  // namespace quiver::tests
