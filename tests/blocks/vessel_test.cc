// SPDX-License-Identifier: Apache-2.0
// The vessel at one moment: its contents fill it and hold its energy; what enters less what leaves is what changes.
#include <numbers>

#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

using std::numbers::pi;

TEST(Vessel, is_filled_by_its_contents_and_changes_by_its_streams) {
  for (const double open : {0.0, 0.5})
    for (const double reseat : {5.0, 30.0}) {
      SCOPED_TRACE(fmt::format("{} {}", open, reseat));
      const SolvedCase run(
          fmt::format("components: [propane, n-hexane]\nblocks:\n  d: {{model: VESSEL, fix: {{DIAM: 2, "
                      "HEIGHT: 5, N: [30, 50], U: -12, Q: 0.5, "
                      "F_IN: 10, H_IN: -0.1, Z_IN: [0.7, 0.3], F_RELIEF: 60, OPEN: {}, P_RESEAT: {}}}}}\n",
                      open, reseat));
      ASSERT_TRUE(run.converged) << run.Why();
      const double p = run["d.P"], t = run["d.T"], volume = pi * 5, m[] = {44.097, 86.177};  // m3, kg/kmol
      EXPECT_GT(run["d.VF"], 0.02);
      EXPECT_NEAR(run["d.VOLUME"] / volume, 1, 1e-6);
      EXPECT_EQ(run["d.NTOTAL"], 80);
      EXPECT_NEAR(run["d.MASS"] / (30 * m[0] + 50 * m[1]), 1, 1e-4);

      const auto stream = [&](const char* phases, double propane) {
        return SolvedCase(
            fmt::format("components: [propane, n-hexane]\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: "
                        "{}}}, fix: {{F: "
                        "1, T: {:.17g}, P: {:.17g}, Z: [{:.17g}, {:.17g}]}}}}\n",
                        phases, t, p, propane, 1 - propane));
      };
      const SolvedCase whole = stream("Vapor-Liquid", 0.375),
                       vapor = stream("Vapor-Only", run["d.Y(propane)"]);
      EXPECT_NEAR(whole["f.OUT_P.V"] * 80 / volume, 1, 1e-5);
      EXPECT_NEAR(whole["f.VF"], run["d.VF"], 1e-6);
      // H is U + P V, 1 bar m3 being 1e-4 GJ.
      EXPECT_NEAR(80 * whole["f.H"] - 1e-4 * p * volume, -12, 1e-5);
      // What the vapor leaves of the volume is the liquid's.
      EXPECT_NEAR(run["d.LEVEL"] * pi, volume - 80 * run["d.VF"] * vapor["f.OUT_P.V"], 1e-4);

      EXPECT_EQ(run["d.P_RELIEF"], std::max(p, reseat));
      EXPECT_NEAR(run["d.F_OUT"], 60 * open, 1e-9);
      EXPECT_NEAR(run["d.W_OUT"], 60 * open * vapor["f.FMASS"], 1e-6);
      EXPECT_NEAR(run["d.N_RATE(propane)"], 7 - 60 * open * run["d.Y(propane)"], 1e-9);
      EXPECT_NEAR(run["d.N_RATE(n-hexane)"], 3 - 60 * open * run["d.Y(n-hexane)"], 1e-9);
      EXPECT_NEAR(run["d.U_RATE"], 0.5 - 10 * 0.1 - 60 * open * vapor["f.H"], 1e-5);
    }
}

}  // namespace
}  // namespace quiver::tests
