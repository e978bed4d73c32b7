// SPDX-License-Identifier: Apache-2.0
// What tees tell of their mixture, their leg and the streams that leave: the states that a flash of the same pressure, enthalpy and
// composition finds, flows in every measure, availability, catalyst.
#include "tests/models/junctions/sheet.h"

namespace quiver::tests {
namespace {

constexpr double kWeights[] = {28.0134, 16.0425};  // nitrogen, methane: IUPAC

Values Flashed(const std::string& phases, double p, double h, double nitrogen) {
  return Solved(
      fmt::format("components: [nitrogen, methane]\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: {}, "
                  "FLASHTYPE: PH}}, "
                  "fix: {{F: 1, P: {:.17g}, H: {:.17g}, Z: [{:.17g}, {:.17g}]}}}}\n",
                  phases, p, h, nitrogen, 1 - nitrogen));
}
std::string CaseOf(const char* model, Mode mode, const std::string& set, const std::string& fix,
                   const char* second = "methane") {
  return fmt::format(
      "components: [nitrogen, {}]\n{}blocks:\n  t:\n    model: {}\n    set: {{{}}}\n    fix: {{{}}}\n",
      second, Globals(mode), model, set, fix);
}

// Two-phase streams of 5 bar, where both sub-models of two and three phases have vapor and liquid to tell of; a cold liquid; a gas.
TEST(Tees, mixture_leg_and_products_are_the_states_that_a_flash_finds) {
  for (const std::string phases : kPhases)
    for (const bool mixer : {true, false}) {
      SCOPED_TRACE(fmt::format("{} {}", phases, mixer));
      const double h = phases == "Vapor-Only" ? -0.03 : phases == "Liquid-Only" ? -0.05 : -0.0444;
      const std::string feed =
          fmt::format("IN_F.F: 100, IN_F.Z: [0.5, 0.5], IN_F.H: {}, IN_F.P: 5, IN_F.AV: 1, ", h);
      const Values v = Solved(
          mixer
              ? CaseOf(
                    "TEEMIXER", Mode::kFlowDriven, "VALIDPHASES: " + phases,
                    feed +
                        fmt::format(
                            "IN_LEG.F: 20, IN_LEG.Z: [0.4, 0.6], IN_LEG.H: {}, IN_LEG.P: 6, IN_LEG.AV: 0.5, "
                            "P_DROPR: 0.5, VLSTDC: [0.04, 0.05]",
                            h - 1e-4))
              : CaseOf("TEESPLITTER", Mode::kFlowDriven, "VALIDPHASES: " + phases,
                       feed + "\"SF(2)\": 0.25, P_DROP: 0.2, VLSTDC: [0.04, 0.05]"));
      const auto at = [&](const std::string& name) { return v.at("t." + name); };
      const double z = at("Z(nitrogen)"), mw = z * kWeights[0] + (1 - z) * kWeights[1];
      const Values state = Flashed(phases, at("P"), at("H"), z);
      EXPECT_NEAR(at("T"), state.at("f.T"), 1e-6);
      EXPECT_NEAR(at("MW") / mw, 1, 1e-5);
      EXPECT_NEAR(at("RHO") * state.at("f.OUT_P.V"), 1, 1e-9);
      EXPECT_EQ(at("OUT_P.T"), at("T"));
      EXPECT_NEAR(at("OUT_P.V") / state.at("f.OUT_P.V"), 1, 1e-9);

      const std::string leg = mixer ? "IN_LEG" : "OUT_LEG";
      const Values in_leg = Flashed(phases, at(leg + ".P"), at("HLEG"), at("ZLEG(nitrogen)"));
      EXPECT_NEAR(at("RHO_LEG") * in_leg.at("f.OUT_P.V"), 1, 1e-9);
      // With two phases the share of liquid is the mixture's, not the leg's.
      if (phases != "Vapor-Liquid") {
        EXPECT_NEAR(at("MW_LEG") / in_leg.at("f.FMASS"), 1, 1e-9);
      }
      for (const int product : mixer ? std::vector{0} : std::vector{1, 2}) {
        const auto of = [&](const char* name) {
          return product ? fmt::format("{}({})", name, product) : std::string(name);
        };
        const bool straight = product < 2;
        const double flow = at(straight ? "OUT_P.F" : "OUT_LEG.F");
        EXPECT_NEAR(at(of("FOUT")), flow, 1e-9);
        EXPECT_NEAR(at(of("FMASS")) / (flow * mw), 1, 1e-5);
        EXPECT_NEAR(at(of("FVOL")) / (flow * (straight ? state : in_leg).at("f.OUT_P.V")), 1, 1e-9);
        EXPECT_NEAR(at(of("FVLSTD")), flow * (z * 0.04 + (1 - z) * 0.05), 1e-9);
        EXPECT_NEAR(at(of("RHOML_STD")) * at(of("FVLSTD")), at(of("FMASS")), 1e-6);
      }
      if (!mixer) {
        EXPECT_EQ(at("OUT_LEG.P"), 4.8);
        EXPECT_NEAR(at("OUT_LEG.T"), in_leg.at("f.T"), 1e-6);
        EXPECT_NEAR(at("OUT_LEG.V") / in_leg.at("f.OUT_P.V"), 1, 1e-9);
      }
      // Mass densities of the liquids.
      if (phases == "Liquid-Only") {
        EXPECT_NEAR(at("RHOML"), mw / state.at("f.OUT_P.V"), 0.01);
      }
      for (const std::string s : {"", "_LEG"}) {
        if (phases == "Liquid-Only" || phases == "Vapor-Liquid") {
          EXPECT_NEAR(at("RHOML" + s), at("RHOL" + s) * at("MWL" + s), 1e-9);
        } else if (phases != "Vapor-Only") {
          EXPECT_NEAR(at("RHOML1" + s), at("RHOL1" + s) * at("MWL1" + s), 1e-9);
          EXPECT_NEAR(at("RHOML2" + s), at("RHOL2" + s) * at("MWL2" + s), 1e-9);
        }
      }
    }
}

// A junction is as available as the best of what enters it, from whichever side.
TEST(Tees, availability_is_the_largest_of_what_enters) {
  for (int best = 0; best < 3; ++best) {
    const auto av = [&](int stream) { return stream == best ? 0.75 : 0.25; };
    const std::string back = "OUT_P.ZREV: [0.5, 0.5], OUT_P.HREV: -0.03, ";
    const std::string feed = "IN_F.F: 100, IN_F.Z: [0.5, 0.5], IN_F.H: -0.03, IN_F.P: 5, ";
    const std::string leg = "IN_LEG.Z: [0.4, 0.6], IN_LEG.H: -0.03, IN_LEG.P: 5, ";
    const Values mixer = Solved(CaseOf(
        "TEEMIXER", Mode::kReversible, "VALIDPHASES: Vapor-Only",
        feed + leg + back + fmt::format("IN_F.AV: {}, IN_LEG.AV: {}, OUT_P.AVREV: {}", av(0), av(1), av(2))));
    for (const char* name : {"t.AV", "t.IN_F.AVREV", "t.IN_LEG.AVREV", "t.OUT_P.AV"})
      EXPECT_EQ(mixer.at(name), 0.75) << name;
    const Values splitter = Solved(
        CaseOf("TEESPLITTER", Mode::kReversible, "VALIDPHASES: Vapor-Only",
               feed + back + "OUT_LEG.P: 4.9, OUT_LEG.ZREV: [0.5, 0.5], OUT_LEG.HREV: -0.03, " +
                   fmt::format("IN_F.AV: {}, OUT_P.AVREV: {}, OUT_LEG.AVREV: {}", av(0), av(1), av(2))));
    for (const char* name : {"t.AV", "t.IN_F.AVREV", "t.OUT_LEG.AV", "t.OUT_P.AV"})
      EXPECT_EQ(splitter.at(name), 0.75) << name;
    if (best == 2) continue;
    const Values forward = Solved(CaseOf(
        "TEEMIXER", Mode::kFlowDriven, "VALIDPHASES: Vapor-Only",
        feed + leg + fmt::format("IN_LEG.F: 1, IN_F.AV: {}, IN_LEG.AV: {}", av(0), av(1)) + ", P_DROPR: 0"));
    EXPECT_EQ(forward.at("t.OUT_P.AV"), 0.75);
  }
}

// A catalyst's attributes are means by its own flow, whatever else flows; where none of it comes in, plain means. What
// flows back brings nothing.
TEST(TeeMixer, catalyst_attributes_are_means_by_its_flow) {
  const std::string set =
      "VALIDPHASES: Vapor-Only, CATALYST: [oxygen], SITES: [1, 2], CATATTSET: [FRAC], CATSITEATTSET: [CPS]";
  const auto mixed = [&](double feed, double leg, double in_feed, double in_leg) {
    return Solved(CaseOf(
        "TEEMIXER", Mode::kFlowDriven, set,
        fmt::format(
            "IN_F.F: {}, IN_F.Z: [{}, {}], IN_F.H: 0.001, IN_F.P: 5, IN_F.AV: 1, IN_LEG.F: {}, IN_LEG.Z: "
            "[{}, {}], IN_LEG.H: 0.001, IN_LEG.P: 5, IN_LEG.AV: 1, P_DROPR: 0, IN_F.CATSCALAR: 2, "
            "IN_LEG.CATSCALAR: 6, IN_F.CATSITE: 1, IN_LEG.CATSITE: 9",
            feed, 1 - in_feed, in_feed, leg, 1 - in_leg, in_leg),
        "oxygen"));
  };
  const struct {
    double feed, leg, in_feed, in_leg, share;  // of the leg in the catalyst
  } cases[] = {{30, 10, 0.5, 0.5, 0.25}, {10, 10, 0.2, 0.6, 0.75}, {10, 10, 0, 0, 0.5},
               {0, 0, 0.5, 0.5, 0.5},    {20, -5, 0.5, 0.5, 0},    {20, 1e-7, 0, 1, 0.5}};
  for (const auto& c : cases) {
    const Values v = mixed(c.feed, c.leg, c.in_feed, c.in_leg);
    EXPECT_NEAR(v.at("t.CATSCALAR_IN(oxygen,FRAC)"), 2 + 4 * c.share, 1e-9) << c.feed << " " << c.leg;
    for (const char* site : {"1", "2"})
      EXPECT_NEAR(v.at(fmt::format("t.CATSITE_IN(oxygen,{},CPS)", site)), 1 + 8 * c.share, 1e-9)
          << c.feed << " " << c.leg;
  }
}

}  // namespace
}  // namespace quiver::tests
