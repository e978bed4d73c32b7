// SPDX-License-Identifier: Apache-2.0
// A machine on a map of every kind: drawn through a known operating point, in whatever measures, the map finds that point again.
#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

constexpr double kPi = 3.141592653589793;

std::string Machine(bool pump, const std::string& set, const std::string& fixed) {
  return fmt::format(
      "components: [n-pentane]\nblocks:\n  f: {{model: FEED, set: {{VALIDPHASES: {0}}}, fix: {{F: 200, T: "
      "{1}, P: 2}}}}\n"
      "  m: {{model: {2}, set: {{VALIDPHASES: {0}{3}}}, fix: {{{4}, MECHEFF: 0.9}}}}\nconnect: [f.OUT_P -> "
      "m.IN_F]\n",
      pump ? "Liquid-Only" : "Vapor-Only", pump ? 20 : 120, pump ? "PUMP" : "COMPRESSOR", set, fixed);
}
// Three points of a falling line, the middle one known.
std::string Line(const std::string& table, double middle, double fall) {
  return fmt::format(", MAP(1).{}: [[{:.17g}, {:.17g}, {:.17g}]]", table, middle * (1 + fall), middle,
                     middle * (1 - fall));
}

struct Measure {
  const char *option, *table;
  double value, law;  // law: the power of the speed that it goes with, under the laws of similarity
};

void ExpectTheSamePoint(bool pump) {
  const std::string laws = pump ? "EXTRAPOLATEAFFL" : "EXTRAPOLATEFANL";
  const SolvedCase known(Machine(pump, ", HASMAP: \"No\"", pump ? "P: 9, EFF: 0.7" : "P: 5, IEFF: 0.75"));
  ASSERT_TRUE(known.converged) << known.Why();
  EXPECT_NEAR(known["m.PDIFF"], pump ? 7 : 3, 1e-9);
  EXPECT_NEAR(known["m.PRATIO"], pump ? 4.5 : 2.5, 1e-9);
  const double speed = 3300, reference = 3000, diameter = 0.5, tip = speed / 60 * kPi * diameter;
  const double volume = known["m.FV_IN"], head = known[pump ? "m.HEAD" : "m.ISENHEAD"];
  const double throat = kPi / 4 * std::pow(diameter * 1.2, 2);  // NS_BEP 6600: 1.2 times the impeller
  const Measure flows[] = {
      {"Vol-Flow", "VOLFLOWTAB", volume, 1},
      {"Mass-Flow", "MASSFLOWTAB", known["m.FM_IN"], 1},
      {"Vol-Flow/N", "VOLFLOWNTAB", volume / speed, 0},
      {pump ? "Flow-Coef" : "Flow-Coeff", "FLOWCOEFTAB",
       pump ? volume / 3600 / (tip * throat) : volume / (60 * speed * std::pow(diameter, 3)), 0}};
  std::vector<Measure> results = {{"Head", "HEADTAB", head, 2},
                                  {"Head-Coef", "HEADCOEFTAB", 1000 * head / (tip * tip), 0},
                                  {"Power", "POWERTAB", known["m.BPOWER"], 3},
                                  {"Dis-Pressure", "PRESTAB", known["m.P"], 0},
                                  {"Pres-Ratio", "PRESRATIOTAB", known["m.PRATIO"], 0},
                                  {"Pres-Change", "PRESDIFFTAB", known["m.PDIFF"], 0}};
  struct Efficiency {
    const char *option, *table, *head;
    double value;
  };
  std::vector<Efficiency> efficiencies = {{"Calculated", "EFFTAB", "", known[pump ? "m.EFF" : "m.IEFF"]}};
  if (!pump) {
    efficiencies = {{"Isentropic", "IEFFTAB", "Isentropic", known["m.IEFF"]},
                    {"Polytropic", "PEFFTAB", "Polytropic", known["m.PEFF"]}};
    results.push_back({"Head", "HEADTAB", known["m.POLYHEAD"], 2});
  }
  for (const Measure& flow : flows)
    for (size_t r = 0; r < results.size(); ++r)
      for (const Efficiency& efficiency : efficiencies)
        for (const bool similar : {false, true}) {
          const Measure& result = results[r];
          const bool polytropic = r == 6,
                     pressure = r >= 3 && r <= 5;  // pressures are read at the operating point always
          SCOPED_TRACE(fmt::format("{} {} {} {}", flow.option, result.option, efficiency.option, similar));
          const auto at_reference = [&](const Measure& m) {
            // Coefficients are read at the speed of the curve either way.
            return similar ? m.value * std::pow(reference / speed, m.law) : m.value;
          };
          std::string set = fmt::format(
              ", MAP(1).FLOWVAR: {}, MAP(1).PERFVAR: {}, MAP(1).EFFVAR: {}, MAP(1).{}: \"{}\", "
              "MAP(1).NPOINT: 3, MAP(1).NPOINTE: 3, "
              "MAP(1).INTERPOLATIONMETH: Linear",
              flow.option, result.option, efficiency.option, laws, similar ? "Yes" : "No");
          if (!pump) set += fmt::format(", MAP(1).HEADCALC: {}", polytropic ? "Polytropic" : "Isentropic");
          std::string fixed =
              fmt::format("SPEED: {}, MAP(1).REFSHAFTSPEED: {}, MAP(1).CSPEED: [{}], MAP(1).IMPDIAM: {}",
                          speed, reference, similar ? reference : speed, diameter);
          if (pump) fixed += ", MAP(1).NS_BEP: 6600";
          // A pump's flow coefficient wants a tip speed, which only the head coefficient brings along.
          if (pump && &flow == &flows[3] && r != 1) fixed += fmt::format(", MAP(1).TIPSPEED: {:.17g}", tip);
          fixed += Line(flow.table, pressure ? flow.value : at_reference(flow), -0.5) +
                   Line(std::string(flow.table) + "E", at_reference(flow), -0.5) +
                   Line(result.table, at_reference(result), 0.1) +
                   Line(efficiency.table, efficiency.value, 0.05);
          const SolvedCase run(Machine(pump, set, fixed));
          ASSERT_TRUE(run.converged) << run.Why();
          for (const char* name : {"m.P", "m.T_OUT", "m.BPOWER"})
            EXPECT_NEAR(run[name] / known[name], 1, 1e-6) << name;
          if (pump) continue;
          EXPECT_NEAR(run["m.SURGEMARGIN"], 100, 1e-4);
          EXPECT_NEAR(run["m.WALLMARGIN"], 100 / 3.0, 1e-4);
        }
}

TEST(Map, of_any_kind_finds_the_compressors_point) { ExpectTheSamePoint(false); }
TEST(Map, of_any_kind_finds_the_pumps_point) { ExpectTheSamePoint(true); }

}  // namespace
}  // namespace quiver::tests
