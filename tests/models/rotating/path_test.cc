// SPDX-License-Identifier: Apache-2.0
// Compression along a path: equations under every choice, and heads against integrations of other making.
#include <cmath>
#include <map>
#include <optional>
#include <set>

#include "host/modeller/phase_models.h"
#include "runtime/cases/installation.h"
#include "runtime/modeller/phase_state.h"
#include "runtime/solve/block_solver.h"
#include "runtime/solve/structure_report.h"
#include "runtime/system/equation_system.h"
#include "tests/models/rotating/integrated_path.h"
#include "tests/support/test_sheet.h"

namespace quiver::tests {
namespace {

using Q = PhaseQuantity;
using C = PhaseComposition;

// The model between two states of a gas; where only the efficiency is known, with the owner's state of the
// gas at discharge.
struct PathSheet {
  std::map<std::string, std::string> options;
  std::map<std::string, double> given;
  Flowsheet sheet{UseLibraries()};
  Instance* path = nullptr;
  std::map<std::string, std::vector<double>> start = {};  // values along the path before it was solved

  std::vector<double> Along(const std::string& name) const {
    auto* array = dynamic_cast<QV_ArrayBase*>(Property(name));
    if (!array) return {(*this)[name]};
    std::vector<double> values;
    for (long long i = 0; i < array->Count(); ++i)
      values.push_back(dynamic_cast<QV_VarParam&>(array->At(i)).RealValue());
    return values;
  }
  QV_Type* Property(const std::string& name) const { return path->Object(path->type().Find(name)); }
  QV_VarParam& Named(const std::string& name) const { return dynamic_cast<QV_VarParam&>(*Property(name)); }
  double operator[](const std::string& name) const { return Named(name).RealValue(); }
  // A scalar, or the elements of an array as far as it has them.
  static void Fix(QV_Type* object, const std::vector<double>& values) {
    const auto one = [](QV_Type& holder, double value) {
      TestSheet::Give(dynamic_cast<QV_VarParam&>(holder), value);
      HostAccess::SetSpec(dynamic_cast<QV_VarParam&>(holder), QV_SPEC_GIVEN);
    };
    auto* array = dynamic_cast<QV_ArrayBase*>(object);
    if (!array) return one(*object, values.front());
    for (long long i = 0; i < array->Count(); ++i) one(array->At(i), values[static_cast<size_t>(i)]);
  }
  void FixEnd(const std::string& end, const PhaseState& state) const {
    static const std::pair<const char*, Q> scalars[] = {
        {"P", Q::kP},       {"T", Q::kT},         {"H", Q::kH},         {"RHO", Q::kRHO},
        {"RHOL", Q::kRHOL}, {"RHOL1", Q::kRHOL1}, {"RHOL2", Q::kRHOL2}, {"RHOV", Q::kRHOV},
        {"HL", Q::kHL},     {"HL1", Q::kHL1},     {"HL2", Q::kHL2},     {"HV", Q::kHV},
        {"MWL", Q::kMWL},   {"MWL1", Q::kMWL1},   {"MWL2", Q::kMWL2},   {"MWV", Q::kMWV},
        {"VF", Q::kVF},     {"LF", Q::kLF},       {"LF1", Q::kLF1},     {"LF2", Q::kLF2}};
    for (const auto& [name, what] : scalars) Fix(Property(name + end), {state[what].value});
    for (const auto& [name, what] : {std::pair{"X", C::kX}, {"X1", C::kX1}, {"X2", C::kX2}, {"Y", C::kY}}) {
      std::vector<double> fractions;
      for (const Sloped& fraction : state[what]) fractions.push_back(fraction.value);
      Fix(Property(name + end), fractions);
    }
  }
  // Without `t_out` the efficiency must be given.
  void Solve(const Gas& gas, double p_in, double t_in, double p_out, std::optional<double> t_out) {
    const auto set = options["VALIDPHASES"] == "Vapor-Only" ? PhaseSet::kVapour : PhaseSet::kAll;
    const PhaseState in = gas.At(FlashKind::kTP, t_in, p_in, set);
    sheet.SetComponents(gas.components);
    path = &sheet.AddBlock("path", "COMPRINTEGRATION");
    QV_PVAP* out = nullptr;
    if (!t_out) {
      out = new QV_PVAP(true, nullptr);
      out->AddRef();
      sheet.AddBlock("out", out);
    }
    sheet.SizeAndAssign([&] {
      for (const auto& [name, text] : options) TestSheet::Give(Named(name), text.c_str());
      for (const auto& [name, value] : given) Fix(Property(name), {value});
      FixEnd("_IN", in);
      Fix(Property("MW"), {in[Q::kMW].value});
      Fix(Property("Z"), gas.z);
      if (t_out) return FixEnd("_OUT", gas.At(FlashKind::kTP, *t_out, p_out, set));
      Fix(Property("P_OUT"), {p_out});
      Fix(&out->P, {p_out});
      Fix(&out->Z, gas.z);
    });
    for (const char* name :
         {"PRES", "TEMP", "RHO", "H", "ZC", "N", "NR", "HEAD", "HV", "HL", "LF2", "Y", "X", "X2"})
      start[name] = Along(name);
    std::vector<Tie> ties;
    if (out)
      ties = {{&Named("T_OUT"), &out->T, "T"},
              {&Named("H_OUT"), &out->H, "H"},
              {&Named("RHO_OUT"), &out->RHO, "RHO"}};
    EquationSystem system(sheet, ties);
    std::vector<double> x = system.StartValues();
    const SolveSummary summary = quiver::Solve(system, SolveOptions(), x);
    for (const SolveFailure& failure : summary.failures) ADD_FAILURE() << failure.reason;
    system.Store(x);
  }
};

TEST(Path, every_choice_is_square_and_fills_its_numbers) {
  const Gas gas{{"water", "methane"}, {0.5, 0.5}};
  const PhaseState state = gas.At(FlashKind::kTP, 60, 5);
  std::set<int> seen;
  for (const char* phases : {"Vapor-Only", "Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"})
    for (const char* step : {"Equal DelP", "equal pratio"})
      for (const char* method : {"Direct Method", "N Method"})
        for (const int intervals : {1, 2, 10}) {
          SCOPED_TRACE(fmt::format("{}, {}, {}, {}", phases, step, method, intervals));
          PathSheet p;
          p.sheet.SetComponents(gas.components);
          p.path = &p.sheet.AddBlock("path", "COMPRINTEGRATION");
          p.sheet.SizeAndAssign([&] {
            TestSheet::Give(p.Named("VALIDPHASES"), phases);
            TestSheet::Give(p.Named("INTEGRATIONSTEP"), step);
            TestSheet::Give(p.Named("INTEGRATIONMETHOD"), method);
            TestSheet::Give(p.Named("NINTERVALS"), intervals);
            TestSheet::Give(p.Named("PRATIOSTEP"), 1.1);
            for (const char* end : {"_IN", "_OUT"}) p.FixEnd(end, state);
            p.Fix(p.Property("MW"), {20});
            p.Fix(p.Property("Z"), gas.z);
          });
          std::map<int, int> times;
          int before = 0;
          for (const EquationDescription& equation : DescribeEquations(*p.path).equations) {
            const int number = std::stoi(equation.name.substr(6));
            EXPECT_LE(before, number);
            before = number;
            seen.insert(number);
            ++times[number];
          }
          EXPECT_EQ(times[33], intervals + 1);
          EXPECT_EQ(times[94], intervals);
          EXPECT_EQ(times[98], intervals);
          EXPECT_EQ(times[30] + times[31] + times[32], intervals);
          EXPECT_EQ(p.sheet.Instances().size(),
                    static_cast<size_t>(intervals));  // the path and the states between
          EquationSystem system(p.sheet);
          const StructureReport structure = AnalyseStructure(system);
          EXPECT_TRUE(structure.is_well_posed) << fmt::format("{}", fmt::join(structure.messages, "\n"));
        }
  EXPECT_EQ(seen.size(), 128u);
  EXPECT_EQ(*seen.rbegin(), 128);
}

// For an ideal gas of constant heat capacity (n-1)/n is R / (cp efficiency), and the head n/(n-1) R T1
// (r^((n-1)/n) - 1) / MW: exact for the n-method at any number of intervals, the limit of the direct method.
TEST(Path, ideal_gas_in_closed_form) {
  const Gas argon{{"argon"}, {1.0}};
  const double r = 8.31446261815324, t1 = 300, efficiency = 0.8, ratio = 3,
               k = 0.4 / efficiency;  // cp is 5/2 R
  const double head = r * t1 / k * (std::pow(ratio, k) - 1) / argon.package.MolarMass(argon.z);
  for (const std::string step : {"Equal DelP", "Equal PRatio"})
    for (const std::string method : {"N Method", "Direct Method"})
      for (const double intervals : {1, 4, 16}) {
        SCOPED_TRACE(fmt::format("{}, {}, {}", step, method, intervals));
        PathSheet path{
            {{"INTEGRATIONSTEP", step}, {"INTEGRATIONMETHOD", method}, {"VALIDPHASES", "Vapor-Only"}},
            {{"NINTERVALS", intervals}, {"EPS", 1e-12}, {"PRATIOSTEP", std::pow(ratio, 0.9 / intervals)}}};
        path.Solve(argon, 0.01, t1 - 273.15, 0.01 * ratio, t1 * std::pow(ratio, k) - 273.15);
        // A trapezoid of n intervals is off by (k ln r)^2 / 12 n^2, more when the steps are unequal in ln P.
        // The rest is argon, whose heat capacity here is not 5/2 R to the last digit.
        const double trapezoid =
            std::pow(k * std::log(ratio) / intervals, 2) / 12 * (step == "Equal DelP" ? 4 : 1.5);
        const double tolerance = 6e-5 + (method == "Direct Method" ? trapezoid : 0.0);
        EXPECT_NEAR(path["POLYHEAD"] / head, 1, tolerance);
        EXPECT_NEAR(path["PEFF"] / efficiency, 1, tolerance);
        if (step == "Equal PRatio") {
          EXPECT_NEAR(path["PRATIOLASTSTEP"], std::pow(ratio, 1 - 0.9 * (intervals - 1) / intervals), 1e-9);
        }
      }
}

// Of an ideal gas the start is the solution, but for what is a line in the logarithm of the pressure instead of a power of it, and
// heads that have the density of an interval's beginning. An end that nobody knows is reckoned from an n of 1/0.7.
TEST(Path, starts_on_the_path_of_an_ideal_gas) {
  const Gas argon{{"argon"}, {1.0}};
  const double t1 = 300, ratio = 3;
  for (const std::string step : {"Equal DelP", "Equal PRatio"})
    for (const double exponent : {0.3, 0.5}) {  // (n-1)/n
      const bool told = exponent != 0.3;
      PathSheet path{{{"INTEGRATIONSTEP", step}, {"VALIDPHASES", "Vapor-Only"}},
                     {{"NINTERVALS", 8}, {"PRATIOSTEP", std::pow(ratio, 0.9 / 8)}}};
      if (!told) path.given["PEFF"] = 0.8;
      path.Solve(argon, 0.01, t1 - 273.15, 0.01 * ratio,
                 told ? std::optional(t1 * std::pow(ratio, exponent) - 273.15) : std::nullopt);
      const std::vector<double> pressures = path.Along("PRES");
      const double rho1 = path.start["RHO"][0], h1 = path.start["H"][0];
      for (size_t i = 0; i < pressures.size(); ++i) {
        SCOPED_TRACE(fmt::format("{} {} point {}", step, exponent, i));
        const double up = pressures[i] / pressures[0], share = std::log(up) / std::log(ratio);
        const double t2 = t1 * std::pow(ratio, exponent);
        EXPECT_NEAR(path.start["PRES"][i] / pressures[i], 1, 1e-9);
        EXPECT_NEAR(path.start["RHO"][i] / (rho1 * std::pow(up, 1 - exponent)), 1, 1e-4);
        EXPECT_NEAR(path.start["TEMP"][i], t1 + share * (t2 - t1) - 273.15, 1e-3);
        EXPECT_NEAR(path.start["ZC"][i], 1, 2e-4);
        // 5/2 R by the properties of argon; 7/2 R nobody knows better than.
        EXPECT_NEAR((path.start["H"][i] - h1) * 1e6, (told ? 2.5 : 3.5) * 8.31446 * share * (t2 - t1),
                    told ? 5 : 1e-2);
        if (i + 1 == pressures.size()) break;
        EXPECT_NEAR(path.start["N"][i], 1 / (1 - exponent), 2e-4);
        EXPECT_NEAR(path.start["NR"][i], exponent, 2e-4);
        EXPECT_NEAR(
            path.start["HEAD"][i] / (100 * (pressures[i + 1] - pressures[i]) / path.start["RHO"][i] / 39.948),
            1, 1e-4);
      }
    }
}

// Ends that make no path leave the start as it was.
TEST(Path, starts_nowhere_without_ends) {
  for (const auto& [name, value] : {std::pair{"P_IN", 0.0},
                                    {"P_OUT", 0.0},
                                    {"P_OUT", 2.0},
                                    {"RHO_IN", 0.0},
                                    {"MW", 0.0},
                                    {"T_IN", -273.15},
                                    {"T_OUT", -273.15},
                                    {"RHO_OUT", 0.0},
                                    {"P_OUT", 4.0}}) {
    PathSheet p;
    p.sheet.SetComponents({"argon"});
    p.path = &p.sheet.AddBlock("path", "COMPRINTEGRATION");
    p.sheet.SizeAndAssign([&, what = name, given = value] {
      TestSheet::Give(p.Named("VALIDPHASES"), "Vapor-Only");
      for (const auto& [end, usual] :
           {std::pair{"P_IN", 2.0}, {"P_OUT", 5.0}, {"T_IN", 30.0}, {"RHO_IN", 0.08}, {"MW", 40.0}})
        p.Fix(p.Property(end), {usual});
      p.Fix(p.Property(what), {given});
    });
    const bool path = value == 4;  // two good ends
    for (const char* along : {"PRES", "TEMP", "RHO", "H", "ZC", "N", "NR", "HEAD"}) {
      const std::vector<double> values = p.Along(along);
      EXPECT_EQ(values.front() != values.back(),
                path && along != std::string("N") && along != std::string("NR") && along != std::string("ZC"))
          << name << " " << along;
      for (const double x : values) EXPECT_TRUE(std::isfinite(x)) << name << " " << along;
    }
  }
}

// Carbon dioxide towards its dense region, where one exponent for the whole path would not do.
TEST(Path, real_gas_against_runge_kutta) {
  const Gas gas{{"CO2", "methane"}, {0.9, 0.1}};
  const Path exact = Integrate(gas, 20, 40, 80, 0.78);
  for (const std::string step : {"Equal DelP", "Equal PRatio"})
    for (const std::string method : {"Direct Method", "N Method"}) {
      const std::map<std::string, std::string> options = {
          {"INTEGRATIONSTEP", step}, {"INTEGRATIONMETHOD", method}, {"VALIDPHASES", "Vapor-Only"}};
      // The constant in the logarithms adds itself once an interval.
      for (const auto& [intervals, eps, tolerance] :
           {std::tuple{5, 1e-12, 1e-3}, {20, 1e-12, 6e-5}, {20, 1e-5, 3e-4}}) {
        SCOPED_TRACE(fmt::format("{}, {}, {}, {}", step, method, intervals, eps));
        const double ratio = std::pow(4, 1.0 / intervals);
        PathSheet path{options, {{"NINTERVALS", intervals}, {"EPS", eps}, {"PRATIOSTEP", ratio}}};
        path.Solve(gas, 20, 40, 80, exact.t_out);
        EXPECT_NEAR(path["POLYHEAD"] / exact.head, 1, tolerance);
        EXPECT_NEAR(path["PEFF"] / 0.78, path["POLYHEAD"] / exact.head, 1e-6);
      }
      // Onward from the efficiency, from a cold start: the n-method would want a start near its solution.
      if (method == "N Method") continue;
      PathSheet onward{options, {{"PEFF", 0.78}, {"PRATIOSTEP", 1.15}}};
      onward.Solve(gas, 20, 40, 80, std::nullopt);
      EXPECT_NEAR(onward["T_OUT"], exact.t_out, 0.05) << step << ", " << method;
      EXPECT_NEAR(onward["POLYHEAD"] / exact.head, 1, 5e-4);
    }
}

void ExpectFlashedStates(const PathSheet& path, const Gas& gas) {
  const std::vector<double> p = path.Along("PRES"), t = path.Along("TEMP"), rho = path.Along("RHO"),
                            h = path.Along("H");
  for (size_t i = 0; i < p.size(); ++i) {
    const PhaseState state = gas.At(FlashKind::kTP, t[i], p[i]);
    EXPECT_NEAR(rho[i] / state[Q::kRHO].value, 1, 1e-6) << i;
    EXPECT_NEAR(h[i], state[Q::kH].value, 1e-8) << i;
  }
}

void ExpectLines(const PathSheet& path, const std::vector<std::string>& names) {
  const std::vector<double>& h = path.start.at("H");
  for (const std::string& name : names) {
    const std::vector<double>& along = path.start.at(name);
    const std::vector<double> in = path.Along(name + "_IN"), out = path.Along(name + "_OUT");
    ASSERT_EQ(along.size(), h.size() * in.size()) << name;
    for (size_t i = 0; i < along.size(); ++i) {
      const double share = (h[i / in.size()] - h.front()) / (h.back() - h.front()), from = in[i % in.size()];
      EXPECT_NEAR(along[i], from + share * (out[i % in.size()] - from), 1e-9) << name << " " << i;
    }
  }
}

// A gas is the same gas whatever set of phases looks after it; with liquid in it the two-phase and
// three-phase forms agree; with two liquids those that know them do. Every point is the state that a flash finds there; phases
// start on lines between the ends, with shares as the mixture's enthalpy has.
TEST(Path, sets_of_phases_agree) {
  struct Row {
    Gas gas;
    double p_in, t_in, p_out, tolerance;
    std::vector<std::string> phases;
  };
  const std::string two = "Vapor-Liquid", water = "Vapor-Liquid-FreeWater", three = "Vapor-Liquid-Liquid";
  const Row rows[] = {{{{"N2", "CO2"}, {0.7, 0.3}}, 5, 30, 15, 3e-4, {"Vapor-Only", two, water, three}},
                      {{{"methane", "n-octane"}, {0.9, 0.1}}, 10, 60, 20, 5e-3, {two, water, three}},
                      {{{"water", "n-hexane", "methane"}, {0.4, 0.3, 0.3}}, 5, 60, 8, 1e-2, {water, three}}};
  for (const Row& row : rows) {
    const Path exact = Integrate(row.gas, row.p_in, row.t_in, row.p_out, 0.8);
    std::optional<double> first;
    for (const std::string& phases : row.phases) {
      PathSheet path{{{"VALIDPHASES", phases}, {"INTEGRATIONMETHOD", "N Method"}}, {{"NINTERVALS", 6}}};
      path.Solve(row.gas, row.p_in, row.t_in, row.p_out, exact.t_out);
      EXPECT_NEAR(path["POLYHEAD"] / exact.head, 1, row.tolerance) << phases;
      if (!first) first = path["POLYHEAD"];
      EXPECT_NEAR(path["POLYHEAD"], *first, 1e-6) << phases;
      ExpectFlashedStates(path, row.gas);
      if (phases == two)
        ExpectLines(path, {"HV", "HL", "Y", "X"});
      else if (phases != "Vapor-Only")
        ExpectLines(path, {"HV", "LF2", "Y", "X2"});
    }
  }
  EXPECT_GT(rows[1].gas.At(FlashKind::kTP, 60, 10)[Q::kLF].value, 0.02);
  for (const Q liquid : {Q::kLF1, Q::kLF2})
    EXPECT_GT(rows[2].gas.At(FlashKind::kTP, 60, 8)[liquid].value, 0.1);
}

}  // namespace
}  // namespace quiver::tests
