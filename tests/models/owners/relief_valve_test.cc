// SPDX-License-Identifier: Apache-2.0
// The relief valve as a whole: every flow method sized and rated back, against published examples, and the parts that the
// owner adds: corrections, orifices, stagnation state, heat input, outlet.
#include <cmath>
#include <numbers>

#include "runtime/properties/property_package.h"
#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

using std::numbers::pi;

struct Inlet {
  const char *name, *components, *options, *state;
  std::vector<const char*> methods;
};
const std::vector<Inlet>& Inlets() {
  static const std::vector<Inlet> inlets = {
      {"cold water",
       "water",
       "VALIDPHASES: Liquid-Only",
       "T: 25, P: 12, P_OUT: 1, Z: 1",
       {"Incompressible Fluid", "Schmidt-Westphal", "Ideal HEM (Simpson)"}},
      {"hot water",
       "water",
       "",
       "T: 150, P: 10, P_OUT: 1, Z: 1",
       {"Schmidt-Westphal", "Ideal HEM (Simpson)", "Leung-Grolmes"}},
      {"boiling water",
       "water",
       "FLASHTYPE: PV",
       "VF: 0, P: 10, P_OUT: 1, Z: 1",
       {"Schmidt-Westphal", "Ideal HEM (DIERS)", "Ideal HEM (Simpson)", "Diener", "Leung-Grolmes"}},
      {"wet steam, low pressure drop",
       "water",
       "FLASHTYPE: PV, FLASH_CALC: Constant Entropy",
       "VF: 0.3, P: 10, P_OUT: 9, Z: 1",
       {"Schmidt-Westphal", "Henry-Fauske Frozen", "Ideal HEM (DIERS)", "Ideal HEM (Simpson)", "Diener"}},
      {"superheated steam",
       "water",
       "FLASH_CALC: Constant Entropy",
       "T: 250, P: 10, P_OUT: 1, Z: 1",
       {"Compressible Fluid", "Schmidt-Westphal", "Henry-Fauske Frozen", "Ideal HEM (DIERS)",
        "Ideal HEM (Simpson)", "Diener"}},
      {"natural gas",
       "methane, ethane",
       "VALIDPHASES: Vapor-Only, FLASH_CALC: Constant Entropy",
       "T: 40, P: 60, P_OUT: 5, Z: [0.9, 0.1]",
       {"Compressible Fluid", "Henry-Fauske Frozen", "Ideal HEM (DIERS)", "Ideal HEM (Simpson)", "Diener"}},
      {"boiling mixture",
       "propane, n-hexane",
       "FLASH_CALC: Constant Entropy",
       "T: 80, P: 10, P_OUT: 1, Z: [0.5, 0.5]",
       {"Schmidt-Westphal", "Henry-Fauske Frozen", "Ideal HEM (DIERS)", "Ideal HEM (Simpson)", "Diener"}},
      {"two liquids and vapor",
       "water, n-hexane, methane",
       "VALIDPHASES: Vapor-Liquid-Liquid",
       "T: 60, P: 10, P_OUT: 1, Z: [0.4, 0.3, 0.3]",
       {"Schmidt-Westphal", "Henry-Fauske Frozen", "Ideal HEM (DIERS)", "Ideal HEM (Simpson)", "Diener"}},
      {"free water and vapor",
       "water, n-hexane, methane",
       "VALIDPHASES: Vapor-Liquid-FreeWater",
       "T: 60, P: 10, P_OUT: 1, Z: [0.4, 0.3, 0.3]",
       {"Schmidt-Westphal", "Henry-Fauske Frozen", "Ideal HEM (DIERS)", "Ideal HEM (Simpson)", "Diener"}},
  };
  return inlets;
}

TEST(ReliefValve, EveryMethodRatesWhatItHasSized) {
  for (const Inlet& inlet : Inlets())
    for (const char* method : inlet.methods) {
      SCOPED_TRACE(std::string(inlet.name) + ", " + method);
      const std::string state = inlet.state;
      const SolvedCase sized(
          Valve(inlet.components, method, inlet.options, state + ", W: 20000, KD: 0.9, KB: 0.95"));
      ASSERT_TRUE(sized.converged) << sized.Why();
      const SolvedCase rated(
          Valve(inlet.components, method, inlet.options,
                fmt::format("{}, AREA: {:.17g}, KD: 0.9, KB: 0.95", state, sized["v.AREA"])));
      ASSERT_TRUE(rated.converged) << rated.Why();
      EXPECT_NEAR(rated["v.W"], 20000, 20000e-9);
      EXPECT_GT(sized["v.FLUX"], 0);
    }
}

// Worked examples of API Standard 520 Part I: critical gas flow (3698 mm2), subcooled propane (134.2 mm2, omega 8.515),
// saturated steam by Napier's formula (1100 mm2).
TEST(ReliefValve, PublishedExamples) {
  const std::string gas = "T: 348 K, P: 6.70, P_OUT: 1.01325, Z: [0.508, 0.492], W: 24270";
  for (const char* method : {"Compressible Fluid", "Ideal HEM (Simpson)", "Ideal HEM (DIERS)"}) {
    const SolvedCase run(
        Valve("propane, n-butane", method, "VALIDPHASES: Vapor-Only, FLASH_CALC: Constant Entropy", gas));
    EXPECT_NEAR(run["v.AREA"] * 1e6, 3698, 0.04 * 3698) << method;
    EXPECT_EQ(run["v.ORIFICE"], 11);  // P
  }
  const std::string propane = "T: 288.7 K, P: 20.738, P_OUT: 1.703, Z: 1, W: 11612, KD: 0.65";
  for (const char* method : {"Leung-Grolmes", "Schmidt-Westphal", "Ideal HEM (Simpson)"}) {
    const SolvedCase run(Valve("propane", method, "", propane));
    EXPECT_NEAR(run["v.AREA"] * 1e6, 134.2, 0.005 * 134.2) << method;
  }
  EXPECT_NEAR(SolvedCase(Valve("propane", "Leung-Grolmes", "", propane))["v.FSC(1).OMEGA"], 8.515,
              0.03 * 8.515);
  const SolvedCase steam(
      Valve("water", "Ideal HEM (Simpson)", "FLASHTYPE: PV", "VF: 1, P: 122.36, P_OUT: 1, Z: 1, W: 69615"));
  EXPECT_NEAR(steam["v.AREA"] * 1e6, 1100, 0.03 * 1100);
}

// Largest flux over the throat pressure of rigorous isentropic flashes, G = sqrt(2 (h0 - h))/v.
double EquilibriumFlux(const PropertyPackage& package, const std::vector<double>& z, double p0, double h0,
                       double s0) {
  double best = 0;
  for (double ratio = 0.999; ratio > 0.2; ratio -= 0.001) {
    const FlashResult throat = package.FlashPressureEntropy(ratio * p0, s0, z);
    double volume = 0;
    for (const EquilibriumPhase& phase : throat.phases)
      volume += phase.fraction / package.Phase(phase, throat.temperature, throat.pressure).molar_density;
    const double work = h0 - package.Enthalpy(throat);  // J/kmol
    best = std::max(best, std::sqrt(2 * work * package.MolarMass(z)) / volume);
  }
  return best;
}

TEST(ReliefValve, EquilibriumMethodsMeetTheRigorousFlux) {
  for (const Inlet& inlet : Inlets()) {
    if (inlet.name != std::string("superheated steam") && inlet.name != std::string("boiling mixture") &&
        inlet.name != std::string("natural gas"))
      continue;
    SCOPED_TRACE(inlet.name);
    const std::string state = inlet.state;
    const SolvedCase simpson(
        Valve(inlet.components, "Ideal HEM (Simpson)", inlet.options, state + ", AREA: 0.001"));
    const SolvedCase diers(
        Valve(inlet.components, "Ideal HEM (DIERS)", inlet.options, state + ", AREA: 0.001"));
    const bool steam = inlet.name == std::string("superheated steam"),
               gas = inlet.name == std::string("natural gas");
    const PropertyPackage package(steam ? std::vector<std::string>{"water"}
                                  : gas ? std::vector<std::string>{"methane", "ethane"}
                                        : std::vector<std::string>{"propane", "n-hexane"});
    const std::vector<double> z = steam ? std::vector<double>{1}
                                  : gas ? std::vector<double>{0.9, 0.1}
                                        : std::vector<double>{0.5, 0.5};
    const double flux = EquilibriumFlux(package, z, simpson["v.P"] * kPascalPerBar,
                                        simpson["v.H"] * kJoulePerGigajoule, simpson["v.S"] * 1e3);
    EXPECT_NEAR(simpson["v.FLUX"], flux, 0.01 * flux);
    EXPECT_NEAR(diers["v.FLUX"], flux, 0.05 * flux);
  }
}

TEST(ReliefValve, CorrectionsAndOrifices) {
  const std::string water = "T: 25, P: 12, P_OUT: 1, Z: 1";
  const auto valve = [&](const std::string& options, const std::string& fixed) {
    return SolvedCase(
        Valve("water", "Incompressible Fluid", "VALIDPHASES: Liquid-Only" + options, water + fixed));
  };
  const SolvedCase plain = valve("", ", AREA: 1e-3, KD: 1"),
                   corrected = valve("", ", AREA: 1e-3, KD: 0.65, KB: 0.9, KC: 0.9");
  EXPECT_NEAR(corrected["v.W"], 0.65 * 0.9 * 0.9 * plain["v.W"], 1e-9 * plain["v.W"]);

  // Re = 4 m/(pi D mu) of the flow without the correction; Kv from its formula. Sized back for the flow.
  const SolvedCase viscous = valve(", VISCCORR: \"Yes\"", ", AREA: 1e-8, KD: 1");
  ASSERT_TRUE(viscous.converged) << viscous.Why();
  const double diameter = std::sqrt(4e-8 / pi), re = viscous["v.RE"], viscosity = 1e-3 * viscous["v.VISC"];
  EXPECT_NEAR(re, 4 * viscous["v.W"] / viscous["v.KV"] / 3600 / (pi * diameter * viscosity), 1e-6 * re);
  EXPECT_NEAR(viscous["v.KV"], 1 / (0.9935 + 2.878 / std::sqrt(re) + 342.75 / std::pow(re, 1.5)), 1e-9);
  EXPECT_LT(viscous["v.KV"], 0.98);
  EXPECT_NEAR(viscous["v.W"], plain["v.W"] * 1e-5 * viscous["v.KV"], 1e-9 * viscous["v.W"]);
  const SolvedCase sized = valve(", VISCCORR: \"Yes\"", fmt::format(", W: {:.17g}, KD: 1", viscous["v.W"]));
  ASSERT_TRUE(sized.converged) << sized.Why();
  EXPECT_NEAR(sized["v.AREA"], 1e-8, 1e-17);

  // API 526, in square inches, D to T: the smallest that is not too small.
  const double areas[] = {0.110, 0.196, 0.307, 0.503, 0.785, 1.287, 1.838,
                          2.853, 3.60,  4.34,  6.38,  11.05, 16.0,  26.0};
  for (int k = 0; k < 14; ++k)
    for (const double factor : {1 - 1e-6, 1 + 1e-6}) {
      const SolvedCase run = valve("", fmt::format(", AREA: {:.17g}", areas[k] * factor * 0.0254 * 0.0254));
      const bool larger = factor > 1;
      EXPECT_EQ(run["v.ORIFICE"], k + 1 + larger) << areas[k];
      const double area = !larger ? areas[k] : k < 13 ? areas[k + 1] : 26 * factor;
      EXPECT_NEAR(run["v.ORIFICE_AREA"] / (0.0254 * 0.0254), area, 1e-9);
      EXPECT_NEAR(run["v.W_ORIFICE"] / run["v.W"], run["v.ORIFICE_AREA"] / run["v.AREA"], 1e-12);
    }
}

// From a moving inlet to rest at constant entropy: the enthalpy gains what the velocity had.
TEST(ReliefValve, StagnationStateKeepsTheEnergy) {
  const struct {
    const char *method, *options, *state, *rest;
  } cases[] = {{"Incompressible Fluid", "VALIDPHASES: Liquid-Only", "T: 30", "v.PLIQ(2)."},
               {"Compressible Fluid", "VALIDPHASES: Vapor-Only", "T: 250", "v.PVAP(2)."},
               {"Schmidt-Westphal", "FLASHTYPE: PV", "VF: 0.1", "v.PFLASH2(2)."},
               {"Henry-Fauske Frozen", "FLASHTYPE: PV", "VF: 0.1", "v.PFLASH2(2)."},
               {"Ideal HEM (DIERS)", "FLASHTYPE: PV", "VF: 0.1", "v.PFLASH2(2)."},
               {"Ideal HEM (Simpson)", "FLASHTYPE: PV", "VF: 0.1", "v.PFLASH2(2)."},
               {"Diener", "FLASHTYPE: PV", "VF: 0.1", "v.PFLASH2(2)."}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.method);
    const SolvedCase run(
        Valve("water", one.method, std::string(one.options) + ", STAGCALC: Ideal HEM (Simpson)",
              std::string(one.state) + ", P: 10, P_OUT: 1, AREA: 1e-3, AREA_RATIO: 0.4, Z: 1"));
    ASSERT_TRUE(run.converged) << run.Why();
    const std::string rest = one.rest;
    const double gained = (run[rest + "H"] - run["v.H"]) * 1e9 / run["v.MW"],
                 velocity = run["v.INLET_VELOCITY"];
    EXPECT_GT(velocity, 10);
    EXPECT_NEAR(gained, 0.5 * velocity * velocity, 1e-4 * gained);
    EXPECT_NEAR(velocity * run["v.RHO"] * run["v.MW"], 0.4 * run["v.FLUX"], 1e-6 * run["v.FLUX"]);
  }
}

TEST(ReliefValve, HeatInputAndOutlet) {
  const SolvedCase run(Valve("n-hexane", "Compressible Fluid", "FLASHTYPE: PV, HEATINPUT: \"Yes\"",
                             "VF: 1, P: 7, P_OUT: 1.01325, Z: 1, HEATLOAD: 2.75"));
  ASSERT_TRUE(run.converged) << run.Why();
  const PropertyPackage package({"n-hexane"});
  const std::vector<double> z = {1};
  const FlashResult boiling = package.FlashPressureVapourFraction(7e5, 0.5, z);
  const double latent = package.Phase(PhaseKind::kVapour, boiling.temperature, 7e5, z).enthalpy -
                        package.Phase(PhaseKind::kLiquid, boiling.temperature, 7e5, z).enthalpy;
  EXPECT_NEAR(run["v.W"], 2.75e9 / latent * package.MolarMass(z), 1e-6 * run["v.W"]);
  // Isenthalpic to the outlet.
  const FlashResult outlet = package.FlashPressureEnthalpy(101325, run["v.H"] * 1e9, z);
  EXPECT_NEAR(run["v.T_OUT"], outlet.temperature - kZeroCelsius, 1e-6);
  EXPECT_NEAR(run["v.VF_OUT"], outlet.vapour_fraction(), 1e-9);
  EXPECT_NEAR(run["v.H_OUT"], run["v.H"], 1e-12);
  EXPECT_NEAR(run["v.LATENT"] * 1e9 / latent, 1, 1e-6);
  EXPECT_NEAR(run["v.F"] * package.MolarMass(z), run["v.W"], 1e-6 * run["v.W"]);
  EXPECT_NEAR(run["v.ETA_A"], 1.01325 / 7, 1e-12);

  const SolvedCase closed(Valve("n-hexane", "Compressible Fluid",
                                "FLASHTYPE: PV, FLOW_CONNECTED: Disconnected",
                                "VF: 1, P: 7, P_OUT: 1, Z: 1, AREA: 1e-3"));
  EXPECT_TRUE(closed.converged) << closed.Why();
}

}  // namespace
}  // namespace quiver::tests
