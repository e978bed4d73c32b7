// SPDX-License-Identifier: Apache-2.0
// Compression along a path: equations under every choice, and heads against integrations of other making.
#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "host/modeller/phase_models.h"
#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/modeller/phase_state.h"
#include "runtime/solve/structure_report.h"
#include "tests/support/test_sheet.h"

namespace quiver::tests {
namespace {

using Q = PhaseQuantity;
using C = PhaseComposition;

struct Gas {
  std::vector<std::string> components;
  std::vector<double> z;
  PropertyPackage package{components};
  PhaseState At(FlashKind kind, double first, double second, PhaseSet set = PhaseSet::kAll) const {
    return PhaseState(package, set, kind, first, second, z);
  }
};

// The path of constant polytropic efficiency, dH = v dP / efficiency, by Runge-Kutta steps in ln P.
struct Path {
  double h_in, h_out, t_out, rho_out, head;  // GJ/kmol, C, kmol/m3, kJ/kg
};
Path Integrate(const Gas& gas, double p_in, double t_in, double p_out, double efficiency) {
  const auto slope = [&](double log_p, double h) {  // v P in GJ/kmol: bar m3 is 1e-4 GJ
    const double p = std::exp(log_p);
    return 1e-4 * p / gas.At(FlashKind::kPH, p, h)[Q::kRHO].value / efficiency;
  };
  const PhaseState in = gas.At(FlashKind::kTP, t_in, p_in);
  const int steps = 40;
  const double step = std::log(p_out / p_in) / steps;
  double h = in[Q::kH].value, x = std::log(p_in);
  for (int i = 0; i < steps; ++i, x += step) {
    const double k1 = slope(x, h), k2 = slope(x + step / 2, h + step / 2 * k1),
                 k3 = slope(x + step / 2, h + step / 2 * k2), k4 = slope(x + step, h + step * k3);
    h += step / 6 * (k1 + 2 * k2 + 2 * k3 + k4);
  }
  const PhaseState out = gas.At(FlashKind::kPH, p_out, h);
  const double h_in = in[Q::kH].value;
  return {h_in, h, out[Q::kT].value, out[Q::kRHO].value, efficiency * (h - h_in) * 1e6 / in[Q::kMW].value};
}

// The model between two states, its efficiency to be found.
std::map<std::string, double> Model(const Gas& gas, double p_in, double t_in, double p_out, double t_out,
                                    const std::string& set, const std::string& phases = "Vapor-Only",
                                    double eps = 1e-5) {
  const PhaseSet state_set = phases == "Vapor-Only" ? PhaseSet::kVapour : PhaseSet::kAll;
  std::string fix;
  const auto add = [&](const std::string& name, double value) {
    fix += fmt::format("{}: {}, ", name, value);
  };
  const auto add_all = [&](const std::string& name, const std::vector<Sloped>& fractions) {
    for (size_t i = 0; i < fractions.size(); ++i)
      add(fmt::format("{}({})", name, gas.components[i]), fractions[i].value);
  };
  for (const bool in : {true, false}) {
    const double t = in ? t_in : t_out, p = in ? p_in : p_out;
    const PhaseState state = gas.At(FlashKind::kTP, t, p, state_set);
    const std::string end = in ? "_IN" : "_OUT";
    add("P" + end, p);
    add("T" + end, t);
    add("H" + end, state[Q::kH].value);
    add("RHO" + end, state[Q::kRHO].value);
    if (in) add("MW", state[Q::kMW].value);
    const std::pair<const char*, Q> members[] = {
        {"RHOL", Q::kRHOL}, {"RHOL1", Q::kRHOL1}, {"RHOL2", Q::kRHOL2}, {"RHOV", Q::kRHOV},
        {"HL", Q::kHL},     {"HL1", Q::kHL1},     {"HL2", Q::kHL2},     {"HV", Q::kHV},
        {"MWL", Q::kMWL},   {"MWL1", Q::kMWL1},   {"MWL2", Q::kMWL2},   {"MWV", Q::kMWV},
        {"VF", Q::kVF},     {"LF", Q::kLF},       {"LF1", Q::kLF1},     {"LF2", Q::kLF2}};
    for (const auto& [name, quantity] : members) add(name + end, state[quantity].value);
    for (const auto& [name, what] : {std::pair{"X", C::kX}, {"X1", C::kX1}, {"X2", C::kX2}, {"Y", C::kY}})
      add_all(name + end, state[what]);
  }
  for (size_t i = 0; i < gas.z.size(); ++i) add(fmt::format("Z({})", gas.components[i]), gas.z[i]);
  CaseRun run(UseLibraries(),
              ReadCaseText(fmt::format("components: [{}]\nglobals: {{EPS: {}}}\nblocks:\n  b:\n    model: "
                                       "COMPRINTEGRATION\n    set: {{{}{}VALIDPHASES: {}}}\n"
                                       "    fix: {{{}}}\n    guess: {{PEFF: 0.75}}\n",
                                       fmt::join(gas.components, ", "), eps, set, set.empty() ? "" : ", ",
                                       phases, fix),
                           "test"),
              false);
  const SolveSummary summary = run.Solve();
  EXPECT_TRUE(summary.failures.empty())
      << set << " " << phases << ": " << (summary.failures.empty() ? "" : summary.failures[0].reason);
  std::map<std::string, double> values;
  for (const NamedValue& value : run.Values()) values[value.name] = value.value;
  return values;
}

int NumberOf(const std::string& label) { return std::stoi(label.substr(std::string("QV_Eqn").size())); }

TEST(Path, every_choice_is_square_and_fills_its_numbers) {
  std::set<int> seen;
  for (const char* phases : {"Vapor-Only", "Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"})
    for (const char* step : {"Equal DelP", "equal pratio"})
      for (const char* method : {"Direct Method", "N Method"})
        for (const int intervals : {1, 2, 10}) {
          SCOPED_TRACE(fmt::format("{}, {}, {}, {}", phases, step, method, intervals));
          CaseRun run(
              UseLibraries(),
              ReadCaseText(fmt::format("components: [water, methane]\nblocks: {{b: {{model: "
                                       "COMPRINTEGRATION, set: {{VALIDPHASES: {}, "
                                       "INTEGRATIONSTEP: {}, INTEGRATIONMETHOD: {}, NINTERVALS: {}}}}}}}",
                                       phases, step, method, intervals),
                           "test"),
              false);
          Instance& path = *run.flowsheet().FindBlock("b");
          int before = 0;
          std::map<int, int> times;
          for (const EquationDescription& equation : DescribeEquations(path).equations) {
            const int number = NumberOf(equation.name);
            EXPECT_LE(before, number);
            before = number;
            seen.insert(number);
            ++times[number];
          }
          EXPECT_EQ(times[33], intervals + 1);
          EXPECT_EQ(times[94], intervals);
          EXPECT_EQ(times[98], intervals);
          EXPECT_EQ(times[30] + times[31] + times[32], intervals);
          EXPECT_EQ(times[128], 1);
          EXPECT_EQ(run.flowsheet().Instances().size(),
                    static_cast<size_t>(intervals));  // the path and the states between
          for (const PropertyDescription& p : DescribeProperties(path)) {
            const bool at_an_end =
                p.name.ends_with("_IN") || p.name.ends_with("_OUT") || p.name == "MW" || p.name == "Z";
            if (!at_an_end) continue;
            QV_Type* object = path.Object(path.type().Find(p.name));
            if (auto* array = dynamic_cast<QV_ArrayBase*>(object))
              for (long long i = 0; i < array->Count(); ++i)
                HostAccess::SetSpec(dynamic_cast<QV_VarParam&>(array->At(i)), QV_SPEC_GIVEN);
            else
              HostAccess::SetSpec(dynamic_cast<QV_VarParam&>(*object), QV_SPEC_GIVEN);
          }
          TestSheet::Give(dynamic_cast<QV_VarParam&>(*path.Object(path.type().Find("PRATIOSTEP"))), 1.1);
          const StructureReport structure = AnalyseStructure(run.System());
          EXPECT_TRUE(structure.is_well_posed) << fmt::format("{}", fmt::join(structure.messages, "\n"));
        }
  std::set<int> all;
  for (int n = 1; n <= 128; ++n) all.insert(n);
  EXPECT_EQ(seen, all);
}

// For an ideal gas of constant heat capacity (n-1)/n is R / (cp efficiency), and the head n/(n-1) R T1 (r^((n-1)/n) - 1) / MW:
// exact for the n-method at any number of intervals, the limit of the direct method.
TEST(Path, ideal_gas_in_closed_form) {
  const Gas argon{{"argon"}, {1.0}};
  const double r = 8.31446261815324, t1 = 300, efficiency = 0.8, ratio = 3,
               k = 0.4 / efficiency;  // cp is 5/2 R
  const double head = r * t1 / k * (std::pow(ratio, k) - 1) / argon.package.MolarMass(argon.z);
  for (const char* step : {"Equal DelP", "Equal PRatio"})
    for (const char* method : {"N Method", "Direct Method"})
      for (const int intervals : {1, 4, 16}) {
        const std::string set =
            fmt::format("INTEGRATIONSTEP: {}, INTEGRATIONMETHOD: {}, NINTERVALS: {}, PRATIOSTEP: {}", step,
                        method, intervals, std::pow(ratio, 0.9 / intervals));
        auto path = Model(argon, 0.01, t1 - 273.15, 0.01 * ratio, t1 * std::pow(ratio, k) - 273.15, set,
                          "Vapor-Only", 1e-12);
        // A trapezoid of n intervals is off by (k ln r)^2 / 12 n^2, more when the steps are unequal in ln P. The rest is argon,
        // whose heat capacity here is not 5/2 R to the last digit.
        const double trapezoid =
            std::pow(k * std::log(ratio) / intervals, 2) / 12 * (step[6] == 'D' ? 4 : 1.5);
        const double tolerance = 6e-5 + (method[0] == 'D' ? trapezoid : 0.0);
        EXPECT_NEAR(path["POLYHEAD"] / head, 1, tolerance) << set;
        EXPECT_NEAR(path["PEFF"] / efficiency, 1, tolerance) << set;
        if (step[6] == 'P') {
          EXPECT_NEAR(path["PRATIOLASTSTEP"], std::pow(ratio, 1 - 0.9 * (intervals - 1) / intervals), 1e-9);
        }
      }
}

// Carbon dioxide towards its dense region, where one exponent for the whole path would not do.
TEST(Path, real_gas_against_runge_kutta) {
  const Gas gas{{"CO2", "methane"}, {0.9, 0.1}};
  const Path exact = Integrate(gas, 20, 40, 80, 0.78);
  const auto error = [&](const std::string& set, double eps) {
    auto path = Model(gas, 20, 40, 80, exact.t_out, set, "Vapor-Only", eps);
    EXPECT_NEAR(path["H(1)"], exact.h_in, 1e-9);
    EXPECT_NEAR(path["PEFF"] / 0.78, path["POLYHEAD"] / exact.head, 1e-9);
    return path["POLYHEAD"] / exact.head - 1;
  };
  for (const std::string step : {"Equal DelP", "Equal PRatio"})
    for (const std::string method : {"Direct Method", "N Method"}) {
      const std::string set =
          fmt::format("INTEGRATIONSTEP: {}, INTEGRATIONMETHOD: {}, PRATIOSTEP: ", step, method);
      const double five = error(set + "1.3195, NINTERVALS: 5", 1e-12),
                   twenty = error(set + "1.0718, NINTERVALS: 20", 1e-12);
      EXPECT_LT(std::abs(five), 1e-3) << set;
      EXPECT_LT(std::abs(twenty), 6e-5) << set;
      // The constant in the logarithms adds itself once an interval; it weighs more on the exponent than on the head.
      EXPECT_LT(std::abs(error(set + "1.0718, NINTERVALS: 20", 1e-5)), 3e-4) << set;
    }
}

// Given the efficiency, the path finds the discharge; an owner's state of the gas there is tied to it.
TEST(Path, discharge_from_the_efficiency) {
  const Gas gas{{"CO2", "methane"}, {0.9, 0.1}};
  const Path exact = Integrate(gas, 20, 40, 80, 0.78);
  Flowsheet sheet(UseLibraries());
  sheet.SetComponents(gas.components);
  Instance& path = sheet.AddBlock("path", "COMPRINTEGRATION");
  auto* out = new QV_PVAP(true, nullptr);
  out->AddRef();
  sheet.AddBlock("out", out);
  const auto property = [&](const char* name) { return path.Object(path.type().Find(name)); };
  const auto give = [&](QV_Type& holder, auto value) {
    TestSheet::Give(dynamic_cast<QV_VarParam&>(holder), value);
    HostAccess::SetSpec(dynamic_cast<QV_VarParam&>(holder), QV_SPEC_GIVEN);
  };
  const PhaseState in = gas.At(FlashKind::kTP, 40, 20, PhaseSet::kVapour);
  sheet.SizeAndAssign([&] {
    TestSheet::Give(dynamic_cast<QV_VarParam&>(*property("VALIDPHASES")), "Vapor-Only");
    for (const auto& [name, value] :
         std::initializer_list<std::pair<const char*, double>>{{"P_IN", 20},
                                                               {"T_IN", 40},
                                                               {"H_IN", in[Q::kH].value},
                                                               {"RHO_IN", in[Q::kRHO].value},
                                                               {"MW", in[Q::kMW].value},
                                                               {"P_OUT", 80},
                                                               {"PEFF", 0.78}})
      give(*property(name), value);
    give(out->P, 80.0);
    auto& z = dynamic_cast<QV_ArrayBase&>(*property("Z"));
    for (long long i = 0; i < z.Count(); ++i)
      for (QV_ArrayBase* array : {&z, static_cast<QV_ArrayBase*>(&out->Z)})
        if (array->Count()) give(array->At(i), gas.z[static_cast<size_t>(i)]);
  });
  const auto tie = [&](const char* name, QV_VarParam& other) {
    return Tie{dynamic_cast<QV_VarParam*>(property(name)), &other, name};
  };
  EquationSystem system(sheet, {tie("T_OUT", out->T), tie("H_OUT", out->H), tie("RHO_OUT", out->RHO)});
  std::vector<double> x = system.StartValues();
  const SolveSummary summary = quiver::Solve(system, SolveOptions(), x);
  ASSERT_TRUE(summary.failures.empty()) << summary.failures[0].reason;
  system.Store(x);
  EXPECT_NEAR(out->T.RealValue(), exact.t_out, 0.05);
  EXPECT_NEAR(dynamic_cast<QV_VarParam&>(*property("POLYHEAD")).RealValue() / exact.head, 1, 5e-4);
}

// A gas is the same gas whatever set of phases looks after it; and with liquid in it the two-phase and three-phase forms agree.
TEST(Path, sets_of_phases_agree) {
  const Gas dry{{"N2", "CO2"}, {0.7, 0.3}};
  const Path exact = Integrate(dry, 5, 30, 15, 0.8);
  for (const char* phases : {"Vapor-Only", "Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"}) {
    auto path = Model(dry, 5, 30, 15, exact.t_out, "NINTERVALS: 6, INTEGRATIONMETHOD: N Method", phases);
    EXPECT_NEAR(path["POLYHEAD"] / exact.head, 1, 5e-4) << phases;
  }
  const Gas wet{{"methane", "n-octane"}, {0.9, 0.1}};
  const Path through = Integrate(wet, 10, 60, 20, 0.8);
  ASSERT_GT(wet.At(FlashKind::kTP, 60, 10)[Q::kLF].value, 0.02);
  std::map<std::string, double> heads;
  for (const char* phases : {"Vapor-Liquid", "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"}) {
    auto path = Model(wet, 10, 60, 20, through.t_out, "NINTERVALS: 6", phases);
    EXPECT_NEAR(path["POLYHEAD"] / through.head, 1, 5e-3) << phases;
    EXPECT_GT(path["LF"] + path["LF(3)"] + path["LF1(3)"], 0.01);
    heads[phases] = path["POLYHEAD"];
  }
  EXPECT_NEAR(heads["Vapor-Liquid"], heads["Vapor-Liquid-Liquid"], 1e-6);
  EXPECT_NEAR(heads["Vapor-Liquid"], heads["Vapor-Liquid-FreeWater"], 1e-6);
}

}  // namespace
}  // namespace quiver::tests
