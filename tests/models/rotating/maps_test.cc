// SPDX-License-Identifier: Apache-2.0
// Performance maps: their equations under every choice of options, and what they say of machines.
#include <cctype>
#include <map>
#include <memory>
#include <set>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/solve/structure_report.h"
#include "tests/support/test_sheet.h"

namespace quiver::tests {
namespace {

using Options = std::map<std::string, std::string>;

struct Built {
  Flowsheet sheet{UseLibraries()};
  Instance* map = nullptr;

  QV_VarParam& Named(const std::string& name) {
    return dynamic_cast<QV_VarParam&>(*map->Object(map->type().Find(name)));
  }
};

std::unique_ptr<Built> Build(const char* model, const Options& options) {
  auto built = std::make_unique<Built>();
  built->map = &built->sheet.AddBlock("map", model);
  built->sheet.SizeAndAssign([&] {
    for (const auto& [name, text] : options) {
      const bool logical = text == "true" || text == "false",
                 number = std::isdigit(static_cast<unsigned char>(text[0]));
      const QV_Value value = logical  ? QV_Value(text == "true")
                             : number ? QV_Value(std::stoi(text))
                                      : QV_Value(text.c_str());
      SetFromValue(built->Named(name), value, Origin::kUser);
    }
  });
  return built;
}

constexpr const char* kResults[] = {"Head",        "Power",     "Dis-Pressure", "Pres-Ratio",
                                    "Pres-Change", "Head-Coef", "None"};
constexpr const char* kFlows[] = {"Vol-Flow", "Mass-Flow", "Vol-Flow/N", "Flow-Coef"};

struct Machine {
  const char *model, *laws;
  int first, per_result, last_call, last;
  std::vector<std::string> kinds;  // of head and efficiency
  std::vector<std::pair<std::string, std::vector<std::string>>> choices;
};

// First numbers of all calls, counted out: flow, result or efficiency, kind, laws.
using CallKey = std::tuple<std::string, std::string, std::string, bool>;
std::map<CallKey, int> CountOut(const Machine& m) {
  std::map<CallKey, int> numbers;
  int number = m.first;
  for (size_t f = 0; f < 4; ++f) {
    const int first = number;
    for (size_t r = f < 2 ? 0 : 5; r < (f < 2 ? 5 : 6); ++r)
      for (size_t k = 0; k < (r == 0 ? m.kinds.size() : 1); ++k)
        for (const bool laws : {true, false}) {
          for (const std::string& kind : m.kinds)
            if (r > 0 || kind == m.kinds[k]) numbers[{kFlows[f], kResults[r], kind, laws}] = number;
          const bool pressure = r >= 2 && r <= 4;
          if (!pressure || !laws) number += m.per_result;
        }
    for (const std::string& kind : m.kinds)
      for (const bool laws : {true, false}) {
        for (const char* result : kResults) numbers.try_emplace({kFlows[f], result, kind, laws}, first);
        numbers[{kFlows[f], "efficiency", kind, laws}] = number;
        number += 2;
      }
  }
  EXPECT_EQ(number, m.last_call + 1);
  return numbers;
}

// Every choice of options: set-up and emission agree, the calls have their numbers, a number means the same
// everywhere, and with the owner's flows given there are as many equations as unknowns.
void Sweep(const Machine& m) {
  const auto numbers = CountOut(m);
  std::set<int> seen;
  std::map<std::pair<int, std::string>, std::string> meanings;
  size_t count = 1;
  for (const auto& [name, values] : m.choices) count *= values.size();
  for (size_t n = 0; n < count; ++n) {
    Options options;
    size_t rest = n;
    std::string what;
    for (const auto& [name, values] : m.choices) {
      options[name] = values[rest % values.size()];
      rest /= values.size();
      what += name + "=" + options[name] + " ";
    }
    SCOPED_TRACE(what);
    const std::string flow = options["FLOWVAR"].starts_with("Flow") ? "Flow-Coef" : options["FLOWVAR"],
                      result = options["PERFVAR"];
    const bool laws = options[m.laws] == "Yes", pump = m.kinds.size() == 1,
               head_coefficient = result == "Head-Coef";
    const std::string head_of = pump ? "" : options["HEADCALC"];
    const bool no_head = head_of == "None";
    const std::string head = no_head ? m.kinds[0] : head_of;

    std::set<int> calls, found;
    const int first = numbers.at({flow, result, head, laws});
    if (result != "None" && !(result == "Head" && no_head)) calls.insert(first);
    if (pump && result != "None")
      calls.merge(options["PDRIVEN"] == "true" ? std::set{first + 2, first + 3}
                                               : std::set{first + 1, first + 4});
    if (options["EFFVAR"] != "None")
      for (const int k : {0, 1})
        calls.insert(numbers.at({flow, "efficiency", pump ? "" : options["EFFVAR"], laws}) + k);

    const auto built = Build(m.model, options);
    const EquationsDescription all = DescribeEquations(*built->map);
    ASSERT_EQ(built->sheet.scope().faults, std::vector<std::string>());
    const bool own_number = (flow == kFlows[0] || flow == kFlows[1]) != head_coefficient;
    int before = 0;
    for (const EquationDescription& equation : all.equations) {
      const int number = std::stoi(equation.name.substr(6));
      ASSERT_LE(before, number);
      before = number;
      seen.insert(number);
      const bool call = number >= m.first && number <= m.last_call;
      if (call) found.insert(number);
      if (call && !own_number) continue;
      const std::string meaning = equation.procedure + FormulaOf(equation);
      ASSERT_EQ(meanings.try_emplace({number, equation.output}, meaning).first->second, meaning);
    }
    ASSERT_EQ(found, calls);
    for (const char* name : {"F_IN", "FV_IN", "MW_IN"})
      HostAccess::SetSpec(built->Named(name), QV_SPEC_GIVEN);
    if (pump && flow == "Flow-Coef" && !head_coefficient)
      HostAccess::SetSpec(built->Named("TIPSPEED"), QV_SPEC_GIVEN);
    EquationSystem system(built->sheet);
    const StructureReport structure = AnalyseStructure(system);
    ASSERT_TRUE(all.count == 0 || structure.is_well_posed)
        << fmt::format("{}", fmt::join(structure.messages, "\n"));
  }
  EXPECT_EQ(seen.size(), static_cast<size_t>(m.last));
  EXPECT_EQ(*seen.rbegin(), m.last);
}

const std::vector<std::string> kYesNo = {"Yes", "No"};

TEST(Maps, compressor_under_every_choice) {
  Sweep({"COMPRPERFCURVE",
         "EXTRAPOLATEFANL",
         9,
         1,
         62,
         74,
         {"Polytropic", "Isentropic"},
         {{"CURVEFORMAT", {"Tabular data", "polynomials", "Extended Polynomials"}},
          {"FLOWVAR", {"Vol-Flow", "Mass-Flow", "Vol-Flow/N", "Flow-Coeff"}},
          {"PERFVAR", {std::begin(kResults), std::end(kResults)}},
          {"HEADCALC", {"Polytropic", "Isentropic", "None"}},
          {"EFFVAR", {"Polytropic", "Isentropic", "None"}},
          {"EXTRAPOLATEFANL", kYesNo}}});  // the other two only go to the procedure
}

TEST(Maps, pump_under_every_choice) {
  Sweep({"PUMPPERFCURVE",
         "EXTRAPOLATEAFFL",
         8,
         5,
         113,
         121,
         {""},
         {{"CURVEFORMAT", {"Tabular data", "POLYNOMIALS"}},
          {"FLOWVAR", {std::begin(kFlows), std::end(kFlows)}},
          {"PERFVAR", {std::begin(kResults), std::end(kResults)}},
          {"EFFVAR", {"Calculated", "None"}},
          {"EXTRAPOLATEAFFL", kYesNo},
          {"PDRIVEN", {"true", "false"}}}});
}

// Token by token: brackets, order and kind of literals are part of an equation.
TEST(Maps, streams_of_their_own_equations) {
  struct Row {
    const char* model;
    Options options;
    std::map<std::string, std::string> streams;
  };
  const Row rows[] = {
      {"COMPRPERFCURVE",
       {{"FLOWVAR", "Flow-Coeff"},
        {"PERFVAR", "Head-Coef"},
        {"CURVEFORMAT", "Extended Polynomials"},
        {"HEADCALC", "Isentropic"}},
       {{"QV_Eqn3", "20 FV_IN 21 21 FLOWCOEF 21 i60 ACTSHAFTSPEED 24 IMPDIAM i3"},
        {"QV_Eqn4", "20 21 i60 TIPSPEED 21 21 ACTSHAFTSPEED PI IMPDIAM"},
        {"QV_Eqn6", "20 ISENHEAD 21 21 0.001 HEADCOEF 40 TIPSPEED"},
        {"QV_Eqn7",
         "20 SURGEP(1) 19 19 COEFSURGE(1) 21 COEFSURGE(2) ACTSHAFTSPEED 21 21 COEFSURGE(3) ACTSHAFTSPEED "
         "ACTSHAFTSPEED"},
        {"QV_Eqn8", "20 SURGEP(1) SURGEE(1)"},
        {"QV_Eqn67", "20 21 i60 TIPSPEEDREF 21 21 REFSHAFTSPEED PI IMPDIAM"},
        {"QV_Eqn70", "20 ISENHEADREF 21 21 0.001 HEADCOEFREF 40 TIPSPEEDREF"},
        {"QV_Eqn71", "20 ISENHEAD 21 ISENHEADREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEH"},
        {"QV_Eqn74", "20 IEFF 21 IEFFREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEE"}}},
      {"COMPRPERFCURVE",
       {{"PERFVAR", "Power"}, {"EFFVAR", "Polytropic"}},
       {{"QV_Eqn63", "20 21 FV_IN REFSHAFTSPEED 21 FV_INREF ACTSHAFTSPEED"},
        {"QV_Eqn72", "20 BPOWER 21 BPOWERREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEP"},
        {"QV_Eqn73", "20 PEFF 21 PEFFREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEE"}}},
      {"COMPRPERFCURVE",
       {{"FLOWVAR", "Mass-Flow"}, {"PERFVAR", "Head-Coef"}, {"HEADCALC", "Polytropic"}, {"EFFVAR", "None"}},
       {{"QV_Eqn1", "20 FM_IN 21 F_IN MW_IN"},
        {"QV_Eqn5", "20 POLYHEAD 21 21 0.001 HEADCOEF 40 TIPSPEED"},
        {"QV_Eqn64", "20 21 FM_IN REFSHAFTSPEED 21 FM_INREF ACTSHAFTSPEED"},
        {"QV_Eqn68", "20 POLYHEADREF 21 21 0.001 HEADCOEFREF 40 TIPSPEEDREF"},
        {"QV_Eqn69", "20 POLYHEAD 21 POLYHEADREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEH"}}},
      {"COMPRPERFCURVE",
       {{"FLOWVAR", "Vol-Flow/N"}, {"HEADCALC", "Polytropic"}},
       {{"QV_Eqn2", "20 FV_IN 21 FV_N ACTSHAFTSPEED"},
        {"QV_Eqn65", "20 POLYHEAD 21 POLYHEADREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEH"}}},
      {"COMPRPERFCURVE",
       {},
       {{"QV_Eqn66", "20 ISENHEAD 21 ISENHEADREF 24 22 ACTSHAFTSPEED REFSHAFTSPEED FANEH"}}},
      {"PUMPPERFCURVE",
       {{"FLOWVAR", "Flow-Coef"}, {"PERFVAR", "Head-Coef"}, {"EXTRAPOLATEAFFL", "Yes"}},
       {{"QV_Eqn3", "20 22 FV_IN UCF1 21 21 FLOWCOEF TIPSPEED DISTHROATAREA"},
        {"QV_Eqn4", "20 DISTHROATAREA 21 21 21 0.25 PI DISTHROATDIAM DISTHROATDIAM"},
        {"QV_Eqn5", "20 21 i5500 DISTHROATDIAM 21 IMPDIAM NS_BEP"},
        {"QV_Eqn6", "20 21 i60 TIPSPEED 21 21 ACTSHAFTSPEED PI IMPDIAM"},
        {"QV_Eqn7", "20 HEAD 21 21 0.001 HEADCOEF 40 TIPSPEED"},
        {"QV_Eqn117", "20 21 i60 TIPSPEEDREF 21 21 REFSHAFTSPEED PI IMPDIAM"},
        {"QV_Eqn118", "20 HEADREF 21 21 0.001 HEADCOEFREF 40 TIPSPEEDREF"},
        {"QV_Eqn121", "20 EFF 21 24 22 ACTSHAFTSPEED REFSHAFTSPEED AFFEE EFFREF"},
        {"QV_Eqn119", "20 HEAD 21 24 22 ACTSHAFTSPEED REFSHAFTSPEED AFFEH HEADREF"}}},
      {"PUMPPERFCURVE",
       {{"EXTRAPOLATEAFFL", "Yes"}},
       {{"QV_Eqn12", "20 FV_INREF FV_INU"},
        {"QV_Eqn114", "20 FV_INREF 21 REFSHAFTSPEED 22 FV_IN ACTSHAFTSPEED"},
        {"QV_Eqn116", "20 HEAD 21 24 22 ACTSHAFTSPEED REFSHAFTSPEED AFFEH HEADREF"}}},
      {"PUMPPERFCURVE",
       {{"EXTRAPOLATEAFFL", "Yes"}, {"FLOWVAR", "Mass-Flow"}, {"PERFVAR", "Power"}},
       {{"QV_Eqn1", "20 FM_IN 21 F_IN MW_IN"},
        {"QV_Eqn115", "20 FM_INREF 21 REFSHAFTSPEED 22 FM_IN ACTSHAFTSPEED"},
        {"QV_Eqn120", "20 BPOWER 21 24 22 ACTSHAFTSPEED REFSHAFTSPEED AFFEP BPOWERREF"}}},
      {"PUMPPERFCURVE", {{"FLOWVAR", "Vol-Flow/N"}}, {{"QV_Eqn2", "20 FV_IN 21 FV_N ACTSHAFTSPEED"}}},
      {"PUMPPERFCURVE",
       {{"EXTRAPOLATEAFFL", "Yes"}, {"PDRIVEN", "true"}},
       {{"QV_Eqn10", "20 HEADREF HEADU"}}},
      {"PUMPPERFCURVE", {{"PDRIVEN", "true"}}, {{"QV_Eqn15", "20 HEAD HEADU"}}},
      {"PUMPPERFCURVE", {}, {{"QV_Eqn17", "20 FV_IN FV_INU"}}},
  };
  for (const Row& row : rows) {
    const auto built = Build(row.model, row.options);
    std::map<std::string, std::string> found;
    for (const EquationDescription& equation : DescribeEquations(*built->map).equations)
      if (equation.procedure.empty()) found.try_emplace(equation.name, Tokens(equation.tokens));
    for (const auto& [label, stream] : row.streams)
      EXPECT_EQ(found[label], stream) << row.model << " " << label;
  }
}

// ---- Solutions.

using Values = std::map<std::string, double>;
Values Solve(const std::string& model, const std::string& set, const std::string& fix) {
  CaseRun run(UseLibraries(),
              ReadCaseText(
                  "blocks:\n  b:\n    model: " + model + "\n    set: {" + set + "}\n    fix: {" + fix + "}\n",
                  "test"),
              false);
  const SolveSummary summary = run.Solve();
  EXPECT_TRUE(summary.failures.empty())
      << set << " / " << fix << ": " << (summary.failures.empty() ? "" : summary.failures[0].reason);
  Values values = {{"equations", run.System().EquationCount()}};
  for (const NamedValue& value : run.Values()) values[value.name] = value.value;
  return values;
}
constexpr auto kCompressor = "COMPRPERFCURVE";
constexpr auto kPump = "PUMPPERFCURVE";

TEST(Maps, defaults_are_a_whole_map) {
  Values at = Solve(kCompressor, "", "FV_IN: 10000");
  EXPECT_EQ(at["equations"], 10);
  EXPECT_NEAR(at["ISENHEAD"], 50, 1e-9);
  EXPECT_NEAR(at["IEFF"], 0.8, 1e-9);
  EXPECT_LE(1.04 * at["IEFF"], 1.0);
  at = Solve(kPump, "", "FV_IN: 0");
  EXPECT_EQ(at["equations"], 5);
  EXPECT_NEAR(at["HEAD"], 1.25 * 0.5, 1e-9);
  EXPECT_NEAR(at["EFF"], 0.2 * 0.75, 1e-9);
  EXPECT_NEAR(Solve(kPump, "", "FV_IN: 141.67")["HEAD"], 0.0, 1e-9);
}

TEST(Maps, sizes_follow_the_counts) {
  for (const char* model : {kCompressor, kPump})
    for (const bool tabular : {true, false}) {
      const auto map = Build(
          model,
          {{"CURVEFORMAT", tabular ? "Tabular data" : "Polynomials"}, {"NCURVE", "3"}, {"NPOINT", "4"}});
      const auto size = [&](const char* name) {
        const auto& table = dynamic_cast<QV_ArrayBase&>(map->Named(name));
        return std::pair(table.Size(0), table.Size(1));
      };
      using Size = std::pair<long long, long long>;
      EXPECT_EQ(size("VOLFLOWTAB"), tabular ? Size(3, 4) : Size(1, 1));
      EXPECT_EQ(size("MASSFLOWTABE"), tabular ? Size(3, 10) : Size(1, 1));
      EXPECT_EQ(size("COEFP"), tabular ? Size(1, 6) : Size(3, 6));
    }
  // Three curves of the first four points of the default map; 3300 rpm lies midway between two speeds whose
  // curves are alike.
  const Values at = Solve(kCompressor, "NCURVE: 3, NPOINT: 4, EXTRAPOLATEFANL: 'No'",
                          "CSPEED: [3000, 3600, 4000], ACTSHAFTSPEED: 3300, FV_IN: 3200");
  EXPECT_NEAR(at.at("ISENHEAD"), 0.79 * 50, 1e-9);
  EXPECT_NEAR(at.at("BLWSWL"), 100 * (4300 - 3200) / 4300.0, 1e-9);
}

// DOE-HDBK-1012/3-92, Fluid Flow, HT-03 page 50: 400 gpm, 48 ft and 45 kW at 1800 rpm are 800 gpm, 192 ft and
// 360 kW at 3600.
TEST(Maps, pump_laws_of_the_doe_handbook) {
  const double gpm = 0.2271247, foot = 9.80665e-3 * 0.3048;  // m3/hr, kJ/kg
  const std::string speeds = "REFSHAFTSPEED: 1800, CSPEED: [1800], ACTSHAFTSPEED: 3600, ";
  const std::string tables = fmt::format("VOLFLOWTAB: [[{}, {}, {}]], ", 300 * gpm, 400 * gpm, 500 * gpm);
  const std::string flow = fmt::format("FV_IN: {}", 800 * gpm);
  const std::string set = "EXTRAPOLATEAFFL: 'Yes', NPOINT: 3, EFFVAR: None";
  Values at = Solve(
      kPump, set,
      speeds + tables + fmt::format("HEADTAB: [[{}, {}, {}]], ", 52 * foot, 48 * foot, 41 * foot) + flow);
  EXPECT_NEAR(at["HEAD"] / foot, 192, 1e-9);
  at = Solve(kPump, set + ", PERFVAR: Power", speeds + tables + "POWERTAB: [[40, 45, 49]], " + flow);
  EXPECT_NEAR(at["BPOWER"], 360, 1e-9);
}

// At N the map is that at Nref, with the flow stretched by N / Nref and the head by its square.
TEST(Maps, fan_laws_stretch_the_map) {
  const double ratio = 1.1;
  for (const double flow : {4000.0, 9000.0, 20000.0}) {
    const std::string fast = fmt::format("ACTSHAFTSPEED: {}, FV_IN: {}", 3600 * ratio, flow * ratio),
                      slow = fmt::format("FV_IN: {}", flow);
    Values there = Solve(kCompressor, "", fast), here = Solve(kCompressor, "EXTRAPOLATEFANL: 'No'", slow);
    EXPECT_NEAR(there["ISENHEAD"], ratio * ratio * here["ISENHEAD"], 1e-9);
    EXPECT_NEAR(there["IEFF"], here["IEFF"], 1e-12);
    EXPECT_NEAR(there["ABVSRG"], here["ABVSRG"], 1e-9);
  }
}

// A cubic is the same curve as four of its points under the spline, whatever the map is read as.
TEST(Maps, polynomial_and_its_points_are_one_curve) {
  const auto cubic = [](double x) { return 60 + 0.4 * x - 0.02 * x * x + 1e-4 * x * x * x; };
  const std::string coefficients = "COEFP: [[60, 0.4, -0.02, 0.0001, 0, 0]]";
  const std::string table = fmt::format("MASSFLOWTAB: [[20, 40, 70, 90]], HEADTAB: [[{}, {}, {}, {}]]",
                                        cubic(20), cubic(40), cubic(70), cubic(90));
  for (const char* model : {kCompressor, kPump}) {
    const std::string set = "FLOWVAR: Mass-Flow, EFFVAR: None, NPOINT: 4, CURVEFORMAT: ";
    const std::string flow = ", MW_IN: 20, F_IN: 2.75, ACTSHAFTSPEED: 3600";
    const std::string ends = model == kCompressor ? ", SURGEP: [20], SWALLP: [90]" : "";
    const Values points = Solve(model, set + "Tabular data", table + flow),
                 polynomial = Solve(model, set + "Polynomials", coefficients + ends + flow);
    const char* head = model == kCompressor ? "ISENHEAD" : "HEAD";
    EXPECT_NEAR(points.at(head), cubic(55), 1e-9);
    EXPECT_NEAR(polynomial.at(head), points.at(head), 1e-9);
    if (model == kCompressor) {
      EXPECT_NEAR(polynomial.at("ABVSRG"), points.at("ABVSRG"), 1e-9);
    }
  }
  // Extended: surge 5 + 0.01 N - 1e-6 N^2 of the operating speed, for both curves.
  const Values extended = Solve(kCompressor, "FLOWVAR: Mass-Flow, CURVEFORMAT: Extended Polynomials",
                                "COEFP: [[60, 0, 0, 0, 0, 0]], COEFE: [[0.7, 0, 0, 0, 0, 0]], COEFSURGE: [5, "
                                "0.01, -0.000001], SWALLP: [90], "
                                "SWALLE: [90], MW_IN: 20, F_IN: 2.804, ACTSHAFTSPEED: 3600");
  const double surge = 5 + 36 - 12.96;
  EXPECT_NEAR(extended.at("SURGEE(1)"), surge, 1e-9);
  EXPECT_NEAR(extended.at("ABVSRG"), 100 * (56.08 / surge - 1), 1e-9);
}

TEST(Maps, held_between_surge_and_stonewall_and_within_bounds) {
  const std::string table =
      ", VOLFLOWTAB: [[5000, 8000, 12000]], HEADTAB: [[60, 55, 40]], VOLFLOWTABE: [[5000, 8000, 12000]], "
      "IEFFTAB: [[0.6, 0.8, 0.5]]";
  const std::string set = "NPOINT: 3, NPOINTE: 3, INTERPOLATIONMETH: Linear";
  Values at = Solve(kCompressor, set, "FV_IN: 4000" + table);
  EXPECT_NEAR(at["ISENHEAD"], 60, 1e-9);
  EXPECT_NEAR(at["ABVSRG"], -20, 1e-9);
  EXPECT_NEAR(Solve(kCompressor, set + ", EXTRAPOLATESS: 'Yes'", "FV_IN: 4000" + table)["ISENHEAD"],
              60 + 5000.0 / 3000, 1e-9);
  at = Solve(kCompressor, set, "FV_IN: 20000" + table);
  EXPECT_NEAR(at["ISENHEAD"], 40, 1e-9);
  EXPECT_LT(at["BLWSWL"], 0);
  EXPECT_LT(at["EFFU"], 0);
  EXPECT_EQ(at["IEFF"], 1e-5);

  // A pump beyond its run-out gives no head, and one that is asked for more than its shut-off head no flow.
  EXPECT_EQ(Solve(kPump, "", "FV_IN: 160")["HEAD"], 0);
  at = Solve(kPump, "PDRIVEN: true", "HEAD: 0.4");
  EXPECT_NEAR(Solve(kPump, "", fmt::format("FV_IN: {}", at["FV_IN"]))["HEAD"], 0.4, 1e-9);
  EXPECT_EQ(Solve(kPump, "PDRIVEN: true", "HEAD: 0.7")["FV_IN"], 1e-5);
}

}  // namespace
}  // namespace quiver::tests
