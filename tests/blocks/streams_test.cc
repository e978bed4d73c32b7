// SPDX-License-Identifier: Apache-2.0
// What blocks say of the streams that leave them: one state, told whole, whichever two of its quantities were given.
#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

SolvedCase Feed(const std::string& options, const std::string& fixed) {
  return SolvedCase(fmt::format(
      "components: [methane, n-hexane]\nblocks:\n  f: {{model: FEED, set: {{{}}}, fix: {{F: 3, Z: "
      "[0.6, 0.4], AV: 0.5, {}}}}}\n",
      options, fixed));
}

// Between dew and bubble point, by each of the five pairs; every kind of phase sub-model finds the same mixture.
TEST(Feed, any_two_quantities_give_the_whole_stream) {
  const SolvedCase first = Feed("", "T: 60, P: 10");
  ASSERT_TRUE(first.converged) << first.Why();
  EXPECT_GT(first["f.VF"], 0.2);
  EXPECT_LT(first["f.VF"], 0.8);
  EXPECT_NEAR(first["f.FMASS"], 3 * (0.6 * 16.043 + 0.4 * 86.177), 0.01);  // molar weights
  for (const std::string phases : {"Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"})
    for (const auto& [type, one, other] : {std::tuple{"TP", "T", "P"},
                                           {"PH", "P", "H"},
                                           {"PS", "P", "S"},
                                           {"PV", "P", "VF"},
                                           {"TV", "T", "VF"}}) {
      SCOPED_TRACE(phases + " " + type);
      const SolvedCase run =
          Feed(fmt::format("VALIDPHASES: {}, FLASHTYPE: {}", phases, type),
               fmt::format("{}: {:.17g}, {}: {:.17g}", one, first[fmt::format("f.{}", one)], other,
                           first[fmt::format("f.{}", other)]));
      ASSERT_TRUE(run.converged) << run.Why();
      for (const char* name : {"f.T", "f.P", "f.H", "f.S", "f.VF", "f.FMASS", "f.OUT_P.V"})
        EXPECT_NEAR(run[name] / first[name], 1, 1e-6) << name;
      for (const char* name : {"F", "P", "T", "H", "AV", "Z(methane)", "Z(n-hexane)"})
        EXPECT_EQ(run[fmt::format("f.OUT_P.{}", name)], run[fmt::format("f.{}", name)]) << name;
    }
  // A gas at low pressure fills R T / P.
  const SolvedCase gas = Feed("VALIDPHASES: Vapor-Only", "T: 60, P: 0.01");
  EXPECT_NEAR(gas["f.OUT_P.V"] / (0.0831446 * 333.15 / 0.01), 1, 1e-3);
}

// Pressure and enthalpy of what leaves a block tell its temperature and volume; composition, flow and availability are those
// of what entered, and what comes back from downstream is passed on as it is.
TEST(Pass, what_leaves_a_block_is_what_entered_in_another_state) {
  const std::pair<const char*, const char*> machines[] = {
      {"VALVE", "TRIM.CVMAX: 100, TRIM.POS: 60, OUT_P.P: 6"},
      {"COMPRESSOR", "P: 12, IEFF: 0.75"},
      {"PUMP", "P: 20, EFF: 0.7"},
  };
  for (const auto& [model, fixed] : machines)
    for (const bool reversible : {false, true}) {
      SCOPED_TRACE(fmt::format("{} {}", model, reversible));
      const bool liquid = model == std::string("PUMP"), valve = model == std::string("VALVE");
      const std::string phases = liquid ? "Liquid-Only" : "Vapor-Only";
      const SolvedCase run(
          fmt::format("components: [propane, n-butane]\nglobals: {{GLOBALPDRIVEN: {0}, GLOBALRFLOW: "
                      "{0}}}\nblocks:\n  f: {{model: FEED, "
                      "set: {{VALIDPHASES: {1}}}, fix: {{{2}Z: [0.7, 0.3], T: {3}, P: 8, AV: 0.25}}}}\n  b: "
                      "{{model: {4}, set: "
                      "{{VALIDPHASES: {1}{5}}}, fix: {{{6}{7}}}}}\nconnect: [f.OUT_P -> b.IN_F]\n",
                      reversible, phases, valve ? "" : "F: 40, ", liquid ? 10 : 70, model,
                      valve ? "" : ", HASMAP: \"No\"", fixed,
                      reversible ? ", OUT_P.ZREV: [0.2, 0.8], OUT_P.HREV: -0.1, OUT_P.AVREV: 0.75" : ""));
      ASSERT_TRUE(run.converged) << run.Why();
      EXPECT_NEAR(run["b.OUT_P.F"], run["f.F"], 1e-9 * run["f.F"]);
      EXPECT_NEAR(run["b.OUT_P.Z(propane)"], 0.7, 1e-12);
      EXPECT_NEAR(run["b.OUT_P.Z(n-butane)"], 0.3, 1e-12);
      EXPECT_EQ(run["b.OUT_P.AV"], 0.25);
      const SolvedCase again(
          fmt::format("components: [propane, n-butane]\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: {}, "
                      "FLASHTYPE: PH}}, fix: {{F: "
                      "1, Z: [0.7, 0.3], P: {:.17g}, H: {:.17g}}}}}\n",
                      phases, run["b.OUT_P.P"], run["b.OUT_P.H"]));
      EXPECT_NEAR(run["b.OUT_P.T"], again["f.T"], 1e-6);
      EXPECT_NEAR(run["b.OUT_P.V"] / again["f.OUT_P.V"], 1, 1e-9);
      if (!reversible) continue;
      EXPECT_EQ(run["b.IN_F.ZREV(propane)"], 0.2);
      EXPECT_EQ(run["b.IN_F.ZREV(n-butane)"], 0.8);
      EXPECT_EQ(run["b.IN_F.HREV"], -0.1);
      EXPECT_EQ(run["b.IN_F.AVREV"], 0.75);
    }
}

}  // namespace
}  // namespace quiver::tests
