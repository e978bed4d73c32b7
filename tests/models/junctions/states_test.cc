// SPDX-License-Identifier: Apache-2.0
// What tees tell of their mixture, their leg and the streams that leave: the states that a flash of the same pressure, enthalpy and
// composition finds, flows in every measure, availability, catalyst.
#include <numeric>

#include "tests/models/junctions/sheet.h"

namespace quiver::tests {
namespace {

// Molar weights by IUPAC; standard liquid volumes of no meaning.
struct Fluid {
  std::vector<std::string> components;
  std::vector<double> weights, volumes, feed, leg;
  double h;
  std::vector<std::string> phases;
};
const Fluid kCold = {
    {"nitrogen", "methane"}, {28.0134, 16.0425}, {0.04, 0.05}, {0.5, 0.5}, {0.4, 0.6}, 0, {}};
Fluid Cold(double h, std::vector<std::string> phases) {
  Fluid fluid = kCold;
  fluid.h = h, fluid.phases = std::move(phases);
  return fluid;
}
// Two phases of the cold mixture; a liquid; a gas; and of 60 C and 5 bar a vapor and two liquids.
const Fluid kFluids[] = {Cold(-0.0444, {"Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"}),
                         Cold(-0.05, {"Liquid-Only"}),
                         Cold(-0.03, {"Vapor-Only"}),
                         {{"water", "n-hexane", "methane"},
                          {18.0153, 86.1754, 16.0425},
                          {0.018, 0.13, 0.05},
                          {0.4, 0.3, 0.3},
                          {0.3, 0.35, 0.35},
                          -0.19,
                          {"Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"}}};

std::string List(const std::vector<double>& values) {
  return fmt::format("[{:.17g}]", fmt::join(values, ", "));
}

Values Flashed(const Fluid& fluid, const std::string& phases, double p, double h,
               const std::vector<double>& z) {
  return Solved(fmt::format(
      "components: [{}]\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: {}, FLASHTYPE: PH}}, fix: {{F: 1, "
      "P: {:.17g}, H: {:.17g}, Z: {}}}}}\n",
      fmt::join(fluid.components, ", "), phases, p, h, List(z)));
}
std::string CaseOf(const char* model, Mode mode, const std::string& set, const std::string& fix,
                   const std::string& components = "nitrogen, methane") {
  return fmt::format("components: [{}]\n{}blocks:\n  t:\n    model: {}\n    set: {{{}}}\n    fix: {{{}}}\n",
                     components, Globals(mode), model, set, fix);
}

void CheckStates(const Fluid& fluid, const std::string& phases, bool mixer) {
  const std::string feed =
      fmt::format("IN_F.F: 100, IN_F.Z: {}, IN_F.H: {}, IN_F.P: 5, IN_F.AV: 1, VLSTDC: {}, ",
                  List(fluid.feed), fluid.h, List(fluid.volumes));
  const std::string components = fmt::format("{}", fmt::join(fluid.components, ", ")),
                    set = "VALIDPHASES: " + phases;
  const Values v = Solved(
      mixer
          ? CaseOf(
                "TEEMIXER", Mode::kFlowDriven, set,
                feed +
                    fmt::format(
                        "IN_LEG.F: 20, IN_LEG.Z: {}, IN_LEG.H: {}, IN_LEG.P: 6, IN_LEG.AV: 0.5, P_DROPR: 0.5",
                        List(fluid.leg), fluid.h - 1e-4),
                components)
          : CaseOf("TEESPLITTER", Mode::kFlowDriven, set, feed + "\"SF(2)\": 0.25, P_DROP: 0.2", components));
  const auto at = [&](const std::string& name) { return v.at("t." + name); };
  const auto all = [&](const std::string& name) {
    std::vector<double> values;
    for (const std::string& c : fluid.components) values.push_back(at(fmt::format("{}({})", name, c)));
    return values;
  };
  const auto mean = [&](const std::vector<double>& values) {
    const std::vector<double> z = all("Z");
    return std::inner_product(z.begin(), z.end(), values.begin(), 0.0);
  };
  const double mw = mean(fluid.weights);
  const Values state = Flashed(fluid, phases, at("P"), at("H"), all("Z"));
  EXPECT_NEAR(at("T"), state.at("f.T"), 1e-6);
  EXPECT_NEAR(at("MW") / mw, 1, 1e-5);
  EXPECT_NEAR(at("RHO") * state.at("f.OUT_P.V"), 1, 1e-9);
  EXPECT_EQ(at("OUT_P.T"), at("T"));
  EXPECT_NEAR(at("OUT_P.V") / state.at("f.OUT_P.V"), 1, 1e-9);

  const std::string leg = mixer ? "IN_LEG" : "OUT_LEG";
  const Values in_leg = Flashed(fluid, phases, at(leg + ".P"), at("HLEG"), all("ZLEG"));
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
    EXPECT_NEAR(at(of("FVLSTD")), flow * mean(fluid.volumes), 1e-9);
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
  if (fluid.components.size() == 3) {  // the second liquid is water
    EXPECT_GT(at("LF1"), 0.1);
    EXPECT_GT(at("LF2"), 0.1);
    EXPECT_GT(at("RHOML2"), at("RHOML1"));
  }
}

TEST(Tees, mixture_leg_and_products_are_the_states_that_a_flash_finds) {
  for (const Fluid& fluid : kFluids)
    for (const std::string& phases : fluid.phases)
      for (const bool mixer : {true, false}) {
        SCOPED_TRACE(fmt::format("{} {} {}", fluid.components[0], phases, mixer));
        CheckStates(fluid, phases, mixer);
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
            "IN_LEG.CATSCALAR: 6, IN_F.CATSITE: 3, IN_LEG.CATSITE: 9",
            feed, 1 - in_feed, in_feed, leg, 1 - in_leg, in_leg),
        "nitrogen, oxygen"));
  };
  const struct {
    double feed, leg, in_feed, in_leg, share;  // of the leg in the catalyst
  } cases[] = {{30, 10, 0.5, 0.5, 0.25}, {10, 10, 0.2, 0.6, 0.75}, {10, 10, 0, 0, 0.5},
               {0, 0, 0.5, 0.5, 0.5},    {20, -5, 0.5, 0.5, 0},    {20, 1e-7, 0, 1, 0.5}};
  for (const auto& c : cases) {
    const Values v = mixed(c.feed, c.leg, c.in_feed, c.in_leg);
    EXPECT_NEAR(v.at("t.CATSCALAR_IN(oxygen,FRAC)"), 2 + 4 * c.share, 1e-9) << c.feed << " " << c.leg;
    for (const char* site : {"1", "2"})
      EXPECT_NEAR(v.at(fmt::format("t.CATSITE_IN(oxygen,{},CPS)", site)), 3 + 6 * c.share, 1e-9)
          << c.feed << " " << c.leg;
  }
}

}  // namespace
}  // namespace quiver::tests
