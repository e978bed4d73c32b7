// SPDX-License-Identifier: Apache-2.0
// What the larger methods tell of the fluid on its way: volumes, qualities and temperatures in the throat and at the exit, by laws that
// hold whatever the method assumes, and the work of the expansion by quadrature over the volumes that it tells.
#include "tests/models/relief/states.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

const Expansion& Steam(double quality) {
  static const Expansion wet({"water"}, {1}, Expansion::Boiling(10, 0.2)),
      dry({"water"}, {1}, Expansion::At(10, 250));
  return quality < 1 ? wet : dry;
}
ModelRun Solve(const char* model, const Expansion& inlet, double exit, const std::string& set = "",
               const Values& more = {}) {
  ModelRun run(model, inlet.components, set, With(inlet.For(model, exit), more));
  EXPECT_TRUE(run.Solve()) << model << " " << set << ": " << run.Why();
  return run;
}
// G^2 v^2/2 = int v dp from the inlet to `ratio` of its pressure, by Simpson's rule: the flux of volumes volume(ratio) in m3/kg.
double FluxOf(const std::function<double(double)>& volume, double bar, double ratio, int steps = 2000) {
  double work = 0;
  const double h = (1 - ratio) / steps;
  for (int i = 0; i < steps; ++i)
    work += h / 6 * (volume(1 - i * h) + 4 * volume(1 - (i + 0.5) * h) + volume(1 - (i + 1) * h));
  return std::sqrt(2e5 * bar * work) / volume(ratio);
}

}  // namespace

// R. E. Henry, H. K. Fauske, "The two-phase critical flow of one-component mixtures in nozzles, orifices, and short tubes", J. Heat
// Transfer 93 (1971) 179: the exponent n, and the choking condition of their model for no interphase mass transfer.
TEST(Throat, HenryFauskeChokesByTheirCondition) {
  for (const char* stage : {"No", "Stage1"})
    for (const double exit : {0.02, 0.9}) {
      ModelRun r = Solve("PSV_HFF", Steam(0.2), exit, fmt::format("INITIALIZE: \"{}\"", stage));
      const double k = r["K"], n = r["N"], cp = r["CP_V"] / r["MWV"], x = r["X0"],
                   share = (1 - x) * r["CP_L0"] / cp;
      EXPECT_NEAR(k, r["CP_V"] / r["CV_V"], 1e-9);
      EXPECT_NEAR(r["CP_L0"], 4.4, 0.2);  // kJ/kg/K of boiling water at 180 C
      EXPECT_NEAR(n, (share + 1) / (share + 1 / k), 1e-9);
      const double entropy = r["SV0"] / r["MWV"] - r["SL0"] / r["MWL"];  // kJ/kg/K
      EXPECT_NEAR(r["DS0"], entropy, 1e-9);
      const bool frozen = stage == std::string("Stage1");
      const double slope = x * r["V_VA"] / (frozen ? k : n) -
                           (frozen ? 0 : (r["V_VA"] - r["V_LA"]) * x * cp * (1 / n - 1 / k) / entropy);
      EXPECT_NEAR(r["GC"] * r["GC"] * slope / (1e5 * r["PA"]), 1, 1e-6) << stage;
      // The frozen way there: gas by P v^k, liquid as it is.
      EXPECT_EQ(r["XA"], x);
      EXPECT_EQ(r["V_LA"], r["V_L0"]);
      EXPECT_NEAR(r["PA"], r["P"] * r["ETA_CRIT"], 1e-9);
      EXPECT_NEAR(r["PA"] * std::pow(r["V_VA"], k) / (r["P"] * std::pow(r["V_V0"], k)), 1, 1e-9);
      EXPECT_NEAR(r["PA"] * r["V_VA"] / (r["TA"] + 273.15) / (r["P"] * r["V_V0"] / (r["T"] + 273.15)), 1,
                  1e-9);
      EXPECT_NEAR(r["V_A"], x * r["V_VA"] + (1 - x) * r["V_LA"], 1e-12);
      EXPECT_NEAR(r["EA"], x * r["V_VA"] / r["V_A"], 1e-12);
      EXPECT_NEAR(r["E0"], x * r["V_V0"] / r["V_0"], 1e-12);
      const auto volume = [&](double eta) {
        return x * r["V_V0"] * std::pow(eta, -1 / k) + (1 - x) * r["V_L0"];
      };
      EXPECT_NEAR(r["GC"] / FluxOf(volume, r["P"], r["ETA_CRIT"]), 1, 1e-6);
      EXPECT_NEAR(r["G2"] / FluxOf(volume, r["P"], exit), 1, 1e-5);
      EXPECT_NEAR(r["V2_BAR"] / volume(exit), 1, 1e-9);
    }
  // Near the critical point the entropies meet; the slope stays above half of the frozen one.
  const double entropy = Steam(0.2).inlet.sl + 1e-3;
  ModelRun floor = Solve("PSV_HFF", Steam(0.2), 0.02, "", {{"SV0", entropy}});
  EXPECT_NEAR(floor["PSI"], 0.5 / floor["K"], 1e-12);
  // A liquid that does not boil on its way chokes nowhere: G^2 = 2 rho dp.
  const Expansion boiling({"water"}, {1}, Expansion::Boiling(10, 0));
  ModelRun liquid = Solve("PSV_HFF", boiling, 0.3);
  EXPECT_EQ(liquid["CRITICAL_FLOW"], 0);
  EXPECT_LT(liquid["ETA_CRIT"], 1e-3);
  EXPECT_NEAR(liquid["FLUX"] / std::sqrt(2e5 * 7 / boiling.inlet.volume), 1, 1e-6);
  // A gas alone is an ideal one.
  ModelRun gas = Solve("PSV_HFF", Steam(1), 0.02, "VALIDPHASES: Vapor-Only");
  const double k = gas["K"];
  EXPECT_EQ(gas["N"], k);
  EXPECT_EQ(gas["E0"], 1);
  EXPECT_EQ(gas["EA"], 1);
  EXPECT_EQ(gas["V_A"], gas["V_VA"]);
  EXPECT_NEAR(gas["ETA_CRIT"], std::pow(2 / (k + 1), k / (k - 1)), 1e-9);
}

// The volumes that a method fits go through its two reference states, and its flux is that of its volumes.
TEST(Throat, SimpsonsCurveMeetsItsReferenceStates) {
  for (const char* model : {"PSV_HEMS", "PSV_DIENER"})
    for (const double quality : {0.2, 1.0}) {
      const bool hems = model == std::string("PSV_HEMS");
      const double exit = 0.8;
      ModelRun r = Solve(model, Steam(quality), exit, "", hems ? Values{} : Values{{"A_HNE", 0}});
      const double alpha = r["SIM_ALPHA"], beta = r["SIM_BETA"], v0 = r["V_0"];
      const auto volume = [&](double eta) { return v0 * (1 + alpha * (std::pow(eta, -beta) - 1)); };
      EXPECT_NEAR(volume(0.75) / r[hems ? "V_1" : "V_A"], 1, 1e-9) << model;
      EXPECT_NEAR(volume(0.75 * 0.75) / r[hems ? "V_A" : "V_O"], 1, 1e-9) << model;
      EXPECT_NEAR(r["G2"] / FluxOf(volume, r["P"], exit), 1, 1e-4) << model;
      EXPECT_NEAR(r["GC"] / FluxOf(volume, r["P"], r["ETA_CRIT"]), 1, 1e-5) << model;
      EXPECT_NEAR(r["HEM_A"], (volume(1 - 1e-6) / v0 - 1) / 1e-6, 1e-4 * r["HEM_A"])
          << model;  // omega: the slope at the inlet
      EXPECT_NEAR(r["P_CRIT"], r["ETA_CRIT"] * r["P"], 1e-9) << model;
      if (!hems) continue;
      EXPECT_NEAR(r["POUT"], 8, 1e-9);
      EXPECT_EQ(r["ETA_A_X"], exit);
      ModelRun choked = Solve(model, Steam(quality), 0.1);
      EXPECT_EQ(choked["ETA_A_X"], choked["ETA_CRIT"]);
      EXPECT_NEAR(choked["POUT"], choked["P_CRIT"], 1e-9);
    }
}

// Volumes that no curve of this form has: less curved than the logarithm, steeper than the fifth power, none at all.
TEST(Throat, SimpsonsCurveHasItsLimits) {
  const auto curve = [](double upper,
                        double lower) {  // volumes at 0.75 and 0.5625 of the pressure, of that at the inlet
    ModelRun r("PSV_HEMS", {"water"}, "VALIDPHASES: Vapor-Only",
               {{"P", 10},
                {"ETA_A", 0.9},
                {"RHOV", 0.3},
                {"MWV", 18},
                {"RHOVI", 0.3 / upper},
                {"MWVI", 18},
                {"RHOVA", 0.3 / lower},
                {"MWVA", 18}});
    EXPECT_TRUE(r.Solve()) << r.Why();
    return std::pair(r["SIM_ALPHA"] * (std::pow(0.5625, -r["SIM_BETA"]) - 1) + 1, r["SIM_BETA"]);
  };
  EXPECT_EQ(curve(1.5, 1.8).second, 0.01);
  EXPECT_NEAR(curve(1.5, 1.8).first, 1.8, 1e-9);
  EXPECT_EQ(curve(1.001, 10).second, 5);
  EXPECT_NEAR(curve(1.001, 10).first, 10, 1e-8);
  EXPECT_NEAR(curve(1, 1).first, 1, 1e-12);
}

// Least squares over the states of the path: no other coefficients come nearer; flux and choking by quadrature over the curve.
TEST(Throat, FittedVolumesAreTheBestAndGiveTheFlux) {
  for (const Expansion& inlet : {Steam(0.2), Steam(1), Expansion({"water"}, {1}, Expansion::At(10, 160))}) {
    ModelRun r = Solve("PSV_SPECVOLC", inlet, 0.3);
    const double c1 = r["C1"], c2 = r["C2"], boils = r["ETA_S"], v0 = r["V_0"];
    EXPECT_NEAR(boils, std::min(1.0, inlet.saturation), 1e-9);
    const auto error = [&](double a, double b) {
      double sum = 0;
      for (int i = 1; i <= 6; ++i) {
        const double ratio = 1 - i * 0.5 / 6, volume = r[fmt::format("V_A({})", i)];
        EXPECT_NEAR(r[fmt::format("P_PATH({})", i)], boils * r["P"] * ratio, 1e-9);
        sum += std::pow(v0 / volume * (1 + a * (1 / ratio - 1) - b * std::log(ratio)) - 1, 2);
      }
      return sum;
    };
    const double step = 1e-3 * std::abs(c1), side = 1e-3 * std::max(std::abs(c1), std::abs(c2));
    for (const auto& [a, b] : {std::pair{step, 0.0}, {-step, 0.0}, {0.0, side}, {0.0, -side}})
      EXPECT_GT(error(c1 + a, c2 + b), error(c1, c2));
    EXPECT_EQ(r["HEM_A"], c1);
    const auto volume = [&](double eta) {
      const double y = std::min(1.0, eta / boils);
      return v0 * (1 + c1 * (1 / y - 1) - c2 * std::log(y));
    };
    EXPECT_NEAR(r["G2"] / FluxOf(volume, r["P"], 0.3, 20000), 1, 1e-4);
    EXPECT_NEAR(r["GC"] / FluxOf(volume, r["P"], r["ETA_CRIT"], 20000), 1, 1e-4);
    EXPECT_NEAR(r["ETA_CRIT"], boils * r["ETA_FLASH"], 1e-12);
    EXPECT_NEAR(r["P_CRIT"], r["ETA_CRIT"] * r["P"], 1e-9);
    for (const double away : {0.98, 1.02})
      EXPECT_LT(FluxOf(volume, r["P"], std::min(0.999, away * r["ETA_CRIT"])), r["GC"] * (1 + 1e-9));
  }
}

// What flows, in the vena contracta and at the outlet: mass and volume of the phases add up, the gas by the ideal law.
TEST(Throat, DienersStatesAddUp) {
  for (const double exit : {0.3, 0.95})
    for (const double fl : {1.0, 0.9}) {
      const Values seat = {{"A0", 1e-3}, {"KV", 30}, {"FL", fl}, {"K", 1.3}};
      const auto at = [&](double delay) {
        return Solve("PSV_DIENER", Steam(0.2), exit, "", With(seat, {{"A_HNE", delay}}));
      };
      ModelRun r = at(0.4), equal = at(0), late = at(40);
      SCOPED_TRACE(fmt::format("{} {}", exit, fl));
      // A seat that recovers pressure: of the whole drop, 1/FL^2 to the vena contracta.
      const double outlet = std::max(exit, r["ETA_CRIT"]);
      EXPECT_NEAR(r["PVC"], r["P"] - (r["P"] - r["P"] * outlet) / (fl * fl), 1e-9);
      EXPECT_NEAR(r["PVC_CRIT"], r["P"] - (r["P"] - r["P"] * r["ETA_CRIT"]) / (fl * fl), 1e-9);
      const double zeta = std::pow(3600 * std::sqrt(200.0) * 1e-3 / 30, 2);
      EXPECT_NEAR(r["ZETA_FORM"], zeta, 1e-6);
      EXPECT_NEAR(r["SIGMA_STAR"], std::min(1.0, fl / std::sqrt(zeta)), 1e-9);
      EXPECT_NEAR(r["V_RATIO"], r["V_V0"] / r["V_L0"], 1e-6);
      const auto adds_up = [&](double volume, double quality, double share, double eta) {
        EXPECT_NEAR(quality * r["V_V0"] / eta + (1 - quality) * r["V_L0"], volume, 1e-9 * volume);
        EXPECT_NEAR(share, quality * r["V_V0"] / eta / volume, 1e-9);
      };
      const double throat = r["PVC"] / r["P"];
      adds_up(r["VHOM_VC"], r["X0A"], r["ETA_VC"], throat);
      adds_up(r["V_OUT"], r["X0O"], r["ETA_OUT"], exit);
      const auto curve = [&](double eta) {
        return r["V_0"] * (1 + r["SIM_ALPHA"] * (std::pow(eta, -r["SIM_BETA"]) - 1));
      };
      EXPECT_NEAR(r["VHOM_VC"] / curve(throat), 1, 1e-9);
      EXPECT_NEAR(r["V_OUT"] / curve(exit), 1, 1e-9);
      // In equilibrium that is what flows; with boiling delayed for ever the gas expands by P v^K and the liquid stays.
      const double mw = 18.015;
      EXPECT_NEAR(equal["N_HNE"], 1, 1e-12);
      EXPECT_NEAR(equal["V_VC"] / (mw * equal["VHOM_VC"]), 1, 1e-4);
      for (const auto& [flux, vena_contracta] :
           {std::pair{"GC", equal["PVC_CRIT"] / r["P"]}, {"G2", 1 - (1 - exit) / (fl * fl)}})
        EXPECT_NEAR(equal[flux] / (equal["SIGMA_STAR"] * FluxOf(curve, r["P"], vena_contracta)), 1, 1e-4)
            << flux;
      EXPECT_LT(late["N_HNE"], 1e-12);
      const double x = late["X0"];
      EXPECT_NEAR(
          late["V_VC"] / mw /
              (x * late["V_V0"] * std::pow(late["PVC"] / late["P"], -1 / 1.3) + (1 - x) * late["V_L0"]),
          1, 1e-4);
      // Between: the quality at the throat that chokes in equilibrium, to the power of the delay.
      const double chokes = r["ETA_HOM_CRIT"],
                   quality = (curve(chokes) - r["V_L0"]) / (r["V_V0"] / chokes - r["V_L0"]);
      EXPECT_NEAR(r["N_HNE"], std::pow(quality, 0.4), 1e-9);
    }
  // A gas: nothing boils, late or not, and the flux is that of the curve alone.
  ModelRun gas = Solve("PSV_DIENER", Steam(1), 0.3, "VALIDPHASES: Vapor-Only");
  for (const char* name : {"E0", "X0A", "X0O", "ETA_VC", "ETA_OUT", "N_HNE"}) EXPECT_EQ(gas[name], 1) << name;
  EXPECT_NEAR(gas["V_VC"] / (18.015 * gas["VHOM_VC"]), 1, 1e-4);  // per kmol
  EXPECT_NEAR(gas["FLUX"] / Solve("PSV_HEMS", Steam(1), 0.3, "VALIDPHASES: Vapor-Only")["FLUX"], 1, 1e-9);
}

// Of two liquids each factor stands for its own distance from boiling.
TEST(Throat, SaturationPressureFollowsFromTheFactors) {
  const auto pressure = [](const char* model, const char* phases) {
    ModelRun run(model, {"water"}, fmt::format("VALIDPHASES: {}", phases));
    for (const EquationDescription& e : DescribeEquations(*run.flowsheet().blocks().front()).equations)
      if (e.name == "SaturationPressure" || e.name == "QV_Eqn1") return Tokens(e.tokens);
    return std::string();
  };
  for (const char* model : {"PSV_HEMS", "PSV_SPECVOLC"}) {
    EXPECT_EQ(pressure(model, "Vapor-Only"), "20 PSAT P");
    EXPECT_EQ(pressure(model, "Vapor-Liquid"), "20 21 PSAT 20 i1 LFACTOR 21 P 20 i1 VFACTOR");
    EXPECT_EQ(pressure(model, "Vapor-Liquid-Liquid"),
              "20 21 21 PSAT 20 i1 L1FACTOR 20 i1 L2FACTOR 21 P 20 i1 VFACTOR");
  }
}

// What keeps equations defined where a state would not: the flux has a sign and a slope at rest, exponents stay above 1, a liquid
// has a volume.
TEST(Throat, GuardsAreAsWritten) {
  const struct {
    const char *model, *phases, *label, *part;
  } guards[] = {{"PSV_HEMS", "Vapor-Liquid", "Flux_calc", " 21 G2 39 19 G2 EPS "},
                {"PSV_HFF", "Vapor-Liquid", "Flux_calc", " 21 G2 39 19 G2 EPS "},
                {"PSV_DIENER", "Vapor-Liquid", "Flux_calc", " 21 G2 39 19 G2 EPS "},
                {"PSV_SPECVOLC", "Vapor-Liquid", "", " 21 G2 39 19 G2 EPS "},
                {"PSV_HFF", "Vapor-Only", "IsentropicExponent", "20 K 98 1.00001 22 CP_V CV_V"},
                {"PSV_HFF", "Vapor-Liquid", "InletEntropyDiff", "20 DS0 98 EPS 20 22 SV0 MWV 22 SL0 MWL"},
                {"PSV_HFF", "Vapor-Liquid", "eta_crit_calc1", " 98 1e-06 E0 "},
                {"PSV_HFF", "Vapor-Liquid", "eta_crit_calc2", "20 ETA_CRIT 98 0.0001 ETA_T"},
                {"PSV_DIENER", "Vapor-Liquid", "VolumeRatio", "20 V_RATIO 98 1.00001 22 V_V0 V_L0"},
                {"PSV_DIENER", "Vapor-Only", "VolumeRatio", "19 -1000000.0 V_RATIO"},
                {"PSV_DIENER", "Vapor-Liquid", "Contraction", "20 SIGMA_STAR 99 1.0 22 FL 35 ZETA_FORM"}};
  for (const auto& guard : guards) {
    ModelRun run(guard.model, {"water"}, fmt::format("VALIDPHASES: {}", guard.phases));
    std::string found;
    for (const EquationDescription& e : DescribeEquations(*run.flowsheet().blocks().front()).equations)
      if (e.procedure.empty() && (!*guard.label || e.name == guard.label)) found += Tokens(e.tokens) + "\n";
    EXPECT_NE(found.find(guard.part), std::string::npos)
        << guard.model << " " << guard.label << ": " << found;
  }
  // A seat without resistance contracts nothing, however the fluid expands.
  for (const double exit : {0.05, 0.5, 0.9}) {
    ModelRun open = Solve("PSV_DIENER", Steam(0.2), exit, "CONSTANTSIGMA: No");
    EXPECT_NEAR(open["SIGMA_STAR_CRIT"], 1, 1e-9);
    EXPECT_NEAR(open["SIGMA_STAR_OUT"], 1, 1e-9);
  }
}
