// SPDX-License-Identifier: Apache-2.0
// The compressor block: against closed forms and an independent integration, on its map, under every option, from cold starts.
#include "runtime/solve/structure_report.h"
#include "tests/models/owners/solved_case.h"
#include "tests/models/rotating/integrated_path.h"

namespace quiver::tests {
namespace {

// A feed "g" and a compressor "c": gas is "argon: 1", fed is "T: 20, P: 1, F: 100".
std::string Compressor(const std::string& gas, const std::string& fed, const std::string& options,
                       const std::string& fixed) {
  std::string components;
  for (size_t at = 0; at < gas.size();
       at = gas.find(", ", at) == std::string::npos ? gas.size() : gas.find(", ", at) + 2)
    components += (at ? ", " : "") + gas.substr(at, gas.find(':', at) - at);
  return fmt::format(
      "components: [{}]\nblocks:\n  g: {{model: FEED, set: {{VALIDPHASES: Vapor-Only}}, fix: {{Z: {{{}}}, "
      "{}}}}}\n"
      "  c: {{model: COMPRESSOR, set: {{VALIDPHASES: Vapor-Only{}}}, fix: {{{}}}}}\nconnect: [g.OUT_P -> "
      "c.IN_F]\n",
      components, gas, fed, options, fixed);
}
const std::string kNoMap = ", HASMAP: \"No\"";

// What enters leaves, and the shaft pays for the difference.
void ExpectBalances(const SolvedCase& run) {
  EXPECT_NEAR(run["c.OUT_P.F"], run["g.F"], 1e-9 * run["g.F"]);
  EXPECT_NEAR(run["g.F"] * (run["c.OUT_P.H"] - run["g.H"]), 3.6e-3 * run["c.BPOWER"] * run["c.MECHEFF"],
              1e-6 * run["c.BPOWER"]);
}

// Constant heat capacity 5/2 R: n/(n-1) is 5/2 efficiency, heads and efficiencies follow in closed form (any text on
// turbomachinery, such as Dixon and Hall, Fluid Mechanics and Thermodynamics of Turbomachinery, chapter 1).
TEST(Compressor, polytropic_head_and_efficiency_of_an_ideal_gas) {
  const double r = 8.31446261815324, t1 = 300, ratio = 3, efficiency = 0.8, k = 0.4 / efficiency;
  for (const char* given : {"PEFF: 0.8", "IEFF: 0.7537434"}) {
    SolvedCase run(Compressor("argon: 1", "F: 100, T: 26.85, P: 0.01", kNoMap,
                              fmt::format("P: 0.03, MECHEFF: 0.95, {}", given)));
    ASSERT_TRUE(run.converged) << run.Why();
    EXPECT_NEAR(run["c.T_OUT"] + 273.15, t1 * std::pow(ratio, k), 0.02);
    EXPECT_NEAR(run["c.POLYHEAD"] / (r * t1 / k * (std::pow(ratio, k) - 1) / run["c.MW"]), 1, 1e-4);
    EXPECT_NEAR(run["c.PEFF"], efficiency, 1e-4);
    EXPECT_NEAR(run["c.IEFF"], (std::pow(ratio, 0.4) - 1) / (std::pow(ratio, k) - 1), 1e-4);
    EXPECT_NEAR(run["c.N_POLY"], 1 / (1 - k), 2e-4);
    EXPECT_NEAR(run["c.N_ISEN"], 5 / 3.0, 2e-4);
    EXPECT_NEAR(run["c.HEADFACTOR"], 1, 1e-4);
    EXPECT_NEAR(run["c.GPOWER"], 0.95 * run["c.BPOWER"], 1e-9 * run["c.BPOWER"]);
    EXPECT_NEAR(run["c.FM_IN"], 100 * 39.948, 0.01);
    ExpectBalances(run);
  }
}

// Where one exponent does not do for the whole path: the integrated path meets the independent integration, the end points
// with Schultz's factor come near it.
TEST(Compressor, real_gas_against_an_independent_integration) {
  const Gas gas{{"CO2", "methane"}, {0.9, 0.1}};
  const Path exact = Integrate(gas, 20, 40, 80, 0.78);
  for (const auto& [options, tolerance] :
       {std::pair<std::string, double>{", HASPATH: \"Yes\", PATH(1).NINTERVALS: 20", 5e-4}, {"", 5e-3}}) {
    SolvedCase run(
        Compressor("CO2: 0.9, methane: 0.1", "F: 1000, T: 40, P: 20", kNoMap + options, "P: 80, PEFF: 0.78"));
    ASSERT_TRUE(run.converged) << options << run.Why();
    EXPECT_NEAR(run["c.POLYHEAD"] / exact.head, 1, tolerance) << options;
    EXPECT_NEAR(run["c.T_OUT"], exact.t_out, 145 * tolerance) << options;
    ExpectBalances(run);
  }
}

// A path whose ends have liquid in them: each kind of phase sub-model finds the same, and a gas is a gas to all of them.
TEST(Compressor, path_with_any_set_of_phases) {
  const struct {
    const char *gas, *fed;
    std::vector<const char*> phases;
  } cases[] = {{"CO2: 0.9, methane: 0.1",
                "F: 1000, T: 40, P: 20",
                {"Vapor-Only", "Vapor-Liquid", "Vapor-Liquid-Liquid"}},
               {"methane: 0.8, n-octane: 0.2",
                "F: 1000, T: 60, P: 20",
                {"Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"}}};
  for (const auto& one : cases) {
    double head = 0, t_out = 0;
    for (const std::string phases : one.phases) {
      SCOPED_TRACE(phases);
      std::string text = Compressor(one.gas, one.fed, kNoMap + ", HASPATH: \"Yes\", PATH(1).NINTERVALS: 4",
                                    "P: 40, PEFF: 0.78");
      for (size_t at; (at = text.find("VALIDPHASES: Vapor-Only")) != std::string::npos;)
        text.replace(at, 23, "VALIDPHASES:  " + phases);
      const SolvedCase run(text);
      ASSERT_TRUE(run.converged) << run.Why();
      if (head == 0) head = run["c.POLYHEAD"], t_out = run["c.T_OUT"];
      EXPECT_NEAR(run["c.POLYHEAD"] / head, 1, 1e-6);
      EXPECT_NEAR(run["c.T_OUT"], t_out, 1e-4);
      if (phases == "Vapor-Liquid") {
        EXPECT_NEAR(run["c.PATH(1).VF(5)"], run["c.PFLASH2(3).VF"], 1e-9);
        EXPECT_NEAR(run["c.PATH(1).HL(1)"], run["c.PFLASH2(1).HL"], 1e-9);
      }
      ExpectBalances(run);
    }
  }
}

// The n-method from the efficiency: near the independent integration too, and never the path of n = 1, which satisfies its equation
// with any head.
TEST(Compressor, n_method_along_the_path) {
  const Gas gas{{"CO2", "methane"}, {0.9, 0.1}};
  for (const double p : {40.0, 80.0, 120.0}) {
    const Path exact = Integrate(gas, 20, 40, p, 0.78);
    SolvedCase run(
        Compressor("CO2: 0.9, methane: 0.1", "F: 1000, T: 40, P: 20",
                   kNoMap + ", HASPATH: \"Yes\", PATH(1).NINTERVALS: 1, PATH(1).INTEGRATIONMETHOD: N Method",
                   fmt::format("P: {}, PEFF: 0.78", p)));
    ASSERT_TRUE(run.converged) << run.Why();
    EXPECT_NEAR(run["c.POLYHEAD"] / exact.head, 1, 5e-3) << p;
    EXPECT_NEAR(run["c.T_OUT"], exact.t_out, 1) << p;
  }
}

// The feed is given, so the machine behind it need not start from nowhere. What the user guesses stays.
TEST(Compressor, starts_where_its_stream_comes_from) {
  const std::string text = Compressor("nitrogen: 1", "F: 700, T: 60, P: 20", "", "SPEED: 3600");
  const auto start = [](const std::string& of, const char* name) {
    CaseRun run(UseLibraries(), ReadCaseText(of, "t.yaml"));
    for (const NamedValue& value : run.Values())
      if (value.name == name) return value.value;
    return 0.0;
  };
  EXPECT_EQ(start(text, "c.IN_F.P"), 20);
  EXPECT_EQ(start(text, "c.IN_F.F"), 700);
  EXPECT_EQ(start(text, "c.P"), 40);
  std::string guessed = text;
  guessed.insert(guessed.find("fix: {SPEED"), "guess: {IN_F.P: 5}, ");
  EXPECT_EQ(start(guessed, "c.IN_F.P"), 5);
  EXPECT_EQ(start(guessed, "c.P"), 10);
}

// At similar points of two speeds flow goes with the speed, head with its square, power with its cube; efficiency and the
// distances from surge and stonewall stay.
TEST(Compressor, similar_points_at_other_speeds) {
  const auto at = [](double part) {
    return SolvedCase(Compressor("methane: 0.93, ethane: 0.07",
                                 fmt::format("F: {}, T: 30, P: 20", 8000 * part), "",
                                 fmt::format("SPEED: {}", 3600 * part)));
  };
  const SolvedCase full = at(1);
  for (const double part : {0.7, 0.9, 1.1}) {
    const SolvedCase run = at(part);
    ASSERT_TRUE(run.converged) << run.Why();
    EXPECT_NEAR(run["c.ISENHEAD"] / full["c.ISENHEAD"], part * part, 1e-9);
    EXPECT_NEAR(run["c.BPOWER"] / full["c.BPOWER"], part * part * part, 1e-9);
    for (const char* same : {"c.IEFF", "c.SURGEMARGIN", "c.WALLMARGIN"})
      EXPECT_NEAR(run[same] / full[same], 1, 1e-9);
    ExpectBalances(run);
  }
}

// A measured map of three speeds, read between its curves: margins count from its own ends.
TEST(Compressor, map_of_three_curves_and_its_margins) {
  const std::string map =
      ", MAP(1).NCURVE: 3, MAP(1).NPOINT: 3, MAP(1).NPOINTE: 3, MAP(1).EXTRAPOLATEFANL: \"No\", "
      "MAP(1).INTERPOLATIONMETH: Linear";
  const std::string tables =
      ", MAP(1).CSPEED: [3000, 3300, 3600], MAP(1).VOLFLOWTAB: [[5000, 8000, 10000], [5500, 8800, 11000], "
      "[6000, 9600, 12000]], "
      "MAP(1).HEADTAB: [[40, 36, 30], [48.4, 43.56, 36.3], [57.6, 51.84, 43.2]], MAP(1).VOLFLOWTABE: [[5000, "
      "8000, 10000], "
      "[5500, 8800, 11000], [6000, 9600, 12000]], MAP(1).IEFFTAB: [[0.7, 0.8, 0.72], [0.7, 0.8, 0.72], [0.7, "
      "0.8, 0.72]]";
  const auto at = [&](double flow, double speed) {
    return SolvedCase(Compressor("nitrogen: 1", fmt::format("F: {}, T: 20, P: 1", flow), map,
                                 fmt::format("SPEED: {}{}", speed, tables)));
  };
  const SolvedCase first = at(1, 3300);
  const double per_kmol = first["c.FV_IN"];
  for (const auto& [volume, speed, head, surge, wall] : {std::tuple{8000.0, 3000.0, 36.0, 5000.0, 10000.0},
                                                         {9200, 3450, 47.7, 5750, 11500},
                                                         {10800, 3600, 47.52, 6000, 12000}}) {
    const SolvedCase run = at(volume / per_kmol, speed);
    ASSERT_TRUE(run.converged) << run.Why();
    EXPECT_NEAR(run["c.ISENHEAD"], head, 1e-6 * head) << speed;
    EXPECT_NEAR(run["c.SURGEMARGIN"], 100 * (volume - surge) / surge, 1e-6) << speed;
    EXPECT_NEAR(run["c.WALLMARGIN"], 100 * (wall - volume) / wall, 1e-6) << speed;
  }
}

// Whatever the map is asked for, the block with it is square and each part of it determined.
TEST(Compressor, every_choice_is_well_posed) {
  int choices = 0;
  for (const char* performance : {"Head", "Head-Coef", "Power", "Dis-Pressure", "Pres-Ratio", "Pres-Change"})
    for (const char* flow : {"Vol-Flow", "Mass-Flow", "Vol-Flow/N", "Flow-Coeff"})
      for (const char* efficiency : {"Isentropic", "Polytropic"})
        for (const char* head : {"Isentropic", "Polytropic"})
          for (const char* laws : {"Yes", "No"})
            for (const char* path : {"No", "Yes"}) {
              const std::string options = fmt::format(
                  ", HASPATH: \"{}\", PATH(1).NINTERVALS: 2, MAP(1).PERFVAR: {}, MAP(1).FLOWVAR: {}, "
                  "MAP(1).EFFVAR: {}, "
                  "MAP(1).HEADCALC: {}, MAP(1).EXTRAPOLATEFANL: \"{}\"",
                  path, performance, flow, efficiency, head, laws);
              const std::string usable =
                  *path == 'Y' ? options : options.substr(0, 15) + options.substr(options.find(", MAP"));
              CaseRun run(UseLibraries(),
                          ReadCaseText(Compressor("methane: 0.9, CO2: 0.1", "F: 10, T: 20, P: 1", usable,
                                                  "SPEED: 3600"),
                                       "t.yaml"));
              const StructureReport report = AnalyseStructure(run.System());
              EXPECT_TRUE(report.is_well_posed)
                  << options << fmt::format("{}", fmt::join(report.messages, "\n"));
              ++choices;
            }
  EXPECT_EQ(choices, 384);
}

// No start values from anybody: gases, suction states, speeds and flows of every combination.
TEST(Compressor, cold_starts_over_a_grid) {
  int tried = 0, solved = 0;
  std::string failed;
  for (const char* gas : {"methane: 0.9, ethane: 0.1", "nitrogen: 0.79, oxygen: 0.21",
                          "CO2: 0.95, nitrogen: 0.05", "hydrogen: 1"})
    for (const double p : {0.1, 1.0, 10.0, 40.0})
      for (const double t : {10.0, 30.0, 90.0})
        for (const double speed : {2400.0, 3600.0, 4000.0})
          for (const double volume : {4000.0, 12000.0}) {
            const std::string fed =
                fmt::format("F: {}, T: {}, P: {}", volume * p / (0.0831446 * (t + 273.15)), t, p);
            SolvedCase run(Compressor(gas, fed, "", fmt::format("SPEED: {}", speed)));
            ++tried;
            solved += run.converged;
            if (!run.converged) failed += fmt::format("{} {} {} rpm: {}\n", gas, fed, speed, run.Why());
          }
  EXPECT_EQ(tried, 288);
  EXPECT_EQ(solved, tried) << failed;
}

}  // namespace
}  // namespace quiver::tests
