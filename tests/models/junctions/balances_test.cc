// SPDX-License-Identifier: Apache-2.0
// What enters a junction leaves it, whatever the formulation, the phases and the directions of flow; and nothing flows
// without head.
#include <cmath>

#include "tests/models/junctions/sheet.h"

namespace quiver::tests {
namespace {

const std::vector<std::string> kComponents = {"water", "propane", "n-hexane"};

// Lines of a case, one after another, below "fix:".
struct Fixed {
  std::string text;
  Fixed& operator()(const std::string& name, const std::string& value) {
    text += fmt::format("      {}: {}\n", name, value);
    return *this;
  }
  Fixed& operator()(const std::string& name, double value) { return (*this)(name, fmt::format("{}", value)); }
};
std::string CaseOf(const char* model, Mode mode, const std::string& phases, const Fixed& fixed) {
  return fmt::format(
      "components: [water, propane, n-hexane]\n{}blocks:\n  tee:\n    model: {}\n    set: {{VALIDPHASES: "
      "{}}}\n    fix:\n{}",
      Globals(mode), model, phases, fixed.text);
}

// A cold supply rich in water, a warm leg rich in propane, and what comes back from downstream.
std::string Mixer(Mode mode, const std::string& phases, double leg_pressure, double leg_flow,
                  double feed = 100) {
  Fixed fix;
  fix("IN_F.F", feed)("IN_F.Z", "[0.3, 0.3, 0.4]")("IN_F.H", -0.20)("IN_F.P", 10)("IN_F.AV", 1);
  fix("IN_LEG.Z", "[0.2, 0.6, 0.2]")("IN_LEG.H", -0.16)("IN_LEG.P", leg_pressure)("IN_LEG.AV", 0.5);
  if (mode == Mode::kFlowDriven) fix("IN_LEG.F", leg_flow);
  if (mode == Mode::kReversible) fix("OUT_P.ZREV", "[0.1, 0.2, 0.7]")("OUT_P.HREV", -0.19)("OUT_P.AVREV", 0);
  return CaseOf("TEEMIXER", mode, phases, fix);
}
std::string Splitter(Mode mode, const std::string& phases, double leg_pressure, double feed = 100) {
  Fixed fix;
  fix("IN_F.F", feed)("IN_F.Z", "[0.3, 0.3, 0.4]")("IN_F.H", -0.19)("IN_F.P", 10)("IN_F.AV", 1);
  if (mode == Mode::kFlowDriven)
    fix("\"SF(2)\"", 0.25)("P_DROP", 10 - leg_pressure);
  else
    fix("OUT_LEG.P", leg_pressure);
  if (mode == Mode::kReversible)
    for (const std::string port : {"OUT_P", "OUT_LEG"})
      fix(port + ".ZREV", "[0.1, 0.2, 0.7]")(port + ".HREV", -0.18)(port + ".AVREV", 0);
  return CaseOf("TEESPLITTER", mode, phases, fix);
}

// Sums of flow, components and enthalpy over ports, signs given; reckoned from the streams alone, relative to their size.
double Imbalance(const Values& v, const std::vector<std::pair<std::string, double>>& ports) {
  double worst = 0;
  const auto check = [&](const auto& content) {
    double sum = 0, size = 1e-9;
    for (const auto& [port, sign] : ports) {
      const double flow = v.at("tee." + port + ".F");
      // An inlet's reversed stream is what the junction writes; an outlet's what comes back.
      const double amount = flow * content(port, flow < 0 ? "REV" : "");
      sum += sign * amount;
      size += std::abs(amount);
    }
    worst = std::max(worst, std::abs(sum) / size);
  };
  check([&](const std::string&, const std::string&) { return 1.0; });
  check([&](const std::string& port, const std::string& back) { return v.at("tee." + port + ".H" + back); });
  for (const std::string& c : kComponents)
    check([&](const std::string& port, const std::string& back) {
      return v.at(fmt::format("tee.{}.Z{}({})", port, back, c));
    });
  return worst;
}

// The floors EPS / NS of three weights let this much of flows of some 100 kmol/hr pass unbalanced.
constexpr double kFloor = 3 * 1e-5 / 3 / 100 * 3;

TEST(Balances, what_enters_a_mixer_leaves_it_under_every_option) {
  double worst[3] = {0, 0, 0};
  for (const std::string phases : kPhases)
    for (const Mode mode : kModes)
      for (const double leg : {10.05, 10.0, 9.95}) {
        SCOPED_TRACE(fmt::format("{} mode {} leg {}", phases, static_cast<int>(mode), leg));
        const Values v = Solved(Mixer(mode, phases, leg, 50));
        const double imbalance = Imbalance(v, {{"IN_F", 1}, {"IN_LEG", 1}, {"OUT_P", -1}});
        EXPECT_LT(imbalance, mode == Mode::kReversible ? kFloor : 1e-12);
        worst[static_cast<int>(mode)] = std::max(worst[static_cast<int>(mode)], imbalance);
        if (mode == Mode::kReversible) {
          EXPECT_EQ(v.at("tee.IN_LEG.F") < -1, leg < 10) << v.at("tee.IN_LEG.F");
        }
      }
  RecordProperty("imbalance", fmt::format("{:.1e} {:.1e} {:.1e}", worst[0], worst[1], worst[2]));
}

TEST(Balances, what_enters_a_splitter_leaves_it_under_every_option) {
  double worst[3] = {0, 0, 0};
  for (const std::string phases : kPhases)
    for (const Mode mode : kModes)
      for (const double leg : {9.99995, 10.0, 10.00005}) {
        if (mode == Mode::kForward && leg > 10) continue;
        SCOPED_TRACE(fmt::format("{} mode {} leg {}", phases, static_cast<int>(mode), leg));
        const Values v = Solved(Splitter(mode, phases, leg));
        const double imbalance = Imbalance(v, {{"IN_F", 1}, {"OUT_LEG", -1}, {"OUT_P", -1}});
        EXPECT_LT(imbalance, mode == Mode::kReversible ? kFloor : 1e-12);
        worst[static_cast<int>(mode)] = std::max(worst[static_cast<int>(mode)], imbalance);
        if (mode == Mode::kReversible) {
          EXPECT_EQ(v.at("tee.OUT_LEG.F") < -1, leg > 10) << v.at("tee.OUT_LEG.F");
        }
        EXPECT_NEAR(v.at("tee.SF(1)") + v.at("tee.SF(2)"), 1, 1e-12);
        EXPECT_NEAR(v.at("tee.SF(2)") * v.at("tee.IN_F.F"), v.at("tee.OUT_LEG.F"), 1e-7);
      }
  RecordProperty("imbalance", fmt::format("{:.1e} {:.1e} {:.1e}", worst[0], worst[1], worst[2]));
}

TEST(Balances, at_no_flow_the_means_are_plain) {
  const Values forward = Solved(Mixer(Mode::kFlowDriven, "Vapor-Liquid", 10, 0, 0));
  EXPECT_NEAR(forward.at("tee.Z_IN(propane)"), (0.3 + 0.6) / 2, 1e-12);
  EXPECT_NEAR(forward.at("tee.H_IN"), (-0.20 - 0.16) / 2, 1e-12);
  // Every stream counts with the same floor.
  const Values reversible = Solved(Mixer(Mode::kReversible, "Vapor-Liquid", 10, 0, 0));
  EXPECT_NEAR(reversible.at("tee.Z(propane)"), (0.3 + 0.6 + 0.2) / 3, 1e-9);
  EXPECT_NEAR(reversible.at("tee.H"), (-0.20 - 0.16 - 0.19) / 3, 1e-9);
  const Values split = Solved(Splitter(Mode::kFlowDriven, "Vapor-Liquid", 10, 0));
  EXPECT_EQ(split.at("tee.OUT_P.F"), 0);
}

TEST(Leg, velocity_heads_are_lost_by_the_law_in_both_directions) {
  for (const double leg : {10.05, 9.95}) {
    std::string text = Mixer(Mode::kReversible, "Vapor-Liquid", leg, 0);
    text += "      KHEAD: 2\n      KHEADREV: 5\n      DIAM: 0.05\n";
    const Values v = Solved(text);
    const bool forward = leg > 10;
    EXPECT_EQ(v.at("tee.KH"), forward ? 2 : 5);
    EXPECT_EQ(v.at("tee.HLEG"), forward ? -0.16 : v.at("tee.H"));
    EXPECT_EQ(v.at("tee.ZLEG(propane)"), forward ? 0.6 : v.at("tee.Z(propane)"));
    const double density = v.at("tee.RHO_LEG") * v.at("tee.MW_LEG");
    const double velocity = v.at("tee.IN_LEG.F") / 3600 / v.at("tee.RHO_LEG") / (3.141593 / 4 * 0.05 * 0.05);
    EXPECT_NEAR(0.5 * density * (forward ? 2 : 5) * velocity * std::abs(velocity), (leg - 10) * 1e5, 5);
  }
}

// In either direction, and from a cold start at every point: the same flow, rising with the pressure.
TEST(Leg, flow_follows_the_pressure_through_zero_and_back) {
  const auto run = RunOf(Mixer(Mode::kReversible, "Vapor-Liquid", 9.9, 0));
  Instance* tee = run->flowsheet().FindBlock("tee");
  auto* port = dynamic_cast<QV_MATERIALPORTRPREV*>(tee->Object(tee->type().Find("IN_LEG")));
  std::vector<double> up;
  constexpr int kSteps = 10;
  const auto pressure = [](int step) { return 9.9 + 0.2 * step / kSteps; };
  for (int step = 0; step <= kSteps; ++step) {
    port->P.SetCurrentValue(pressure(step));
    up.push_back(Solved(*run).at("tee.IN_LEG.F"));
    if (step > 0) {
      EXPECT_GT(up.back(), up[up.size() - 2]);
    }
    const double cold =
        Solved(Mixer(Mode::kReversible, "Vapor-Liquid", pressure(step), 0)).at("tee.IN_LEG.F");
    EXPECT_NEAR(up.back(), cold, 1e-6 * std::abs(cold) + 1e-6);
  }
  EXPECT_LT(up.front(), -100);
  EXPECT_NEAR(up[kSteps / 2], 0, 1e-3);
  for (int step = kSteps; step >= 0; --step) {
    port->P.SetCurrentValue(pressure(step));
    const double flow = up[static_cast<size_t>(step)];
    EXPECT_NEAR(Solved(*run).at("tee.IN_LEG.F"), flow, 1e-6 * std::abs(flow) + 1e-6);
  }
}

std::string Inlets(const char* model, Mode mode, const std::vector<double>& flows) {
  std::string text = fmt::format("components: [nitrogen, oxygen]\n{}blocks:\n  m:\n    model: {}\n",
                                 Globals(mode, model), model);
  text += fmt::format("    set: {{IN_F.connections: {}}}\n    fix:\n", flows.size());
  for (size_t i = 0; i < flows.size(); ++i) {
    const std::string stream = flows.size() == 1 ? "IN_F" : fmt::format("IN_F({})", i + 1);
    const double x = 0.2 + 0.1 * static_cast<double>(i);
    text += fmt::format(
        "      {0}.F: {1}\n      {0}.Z: [{2}, {3}]\n      {0}.H: {4}\n      {0}.V: 2\n      {0}.T: 30\n",
        stream, flows[i], x, 1 - x, -x);
    if (mode == Mode::kFlowDriven || i == 0)
      text += fmt::format("      {}.P: {}\n", stream, 7 - static_cast<double>(i));
  }
  return text;
}

TEST(InletMixer, joins_any_number_of_streams) {
  for (const char* model : {"INLETMIXER", "INLETMIXERFWD"})
    for (const Mode mode : kModes)
      for (const std::vector<double>& flows :
           {std::vector{5.0}, {5.0, 10.0}, {5.0, 0.0, 10.0, 1.0}, {0.0, 0.0, 0.0}, {5.0, -5.0}}) {
        SCOPED_TRACE(
            fmt::format("{} mode {} streams {}", model, static_cast<int>(mode), fmt::join(flows, " ")));
        const Values v = Solved(Inlets(model, mode, flows));
        double total = 0, first = 0, mean = 0;
        for (size_t i = 0; i < flows.size(); ++i) {
          total += flows[i];
          first += flows[i] * (0.2 + 0.1 * static_cast<double>(i));
          mean += (0.2 + 0.1 * static_cast<double>(i)) / static_cast<double>(flows.size());
        }
        const double expected = total > 0 ? first / total : mean;
        EXPECT_NEAR(v.at("m.FIN"), total, 1e-9);
        EXPECT_NEAR(v.at("m.ZIN(nitrogen)"), expected, 1e-9);
        EXPECT_NEAR(v.at("m.HIN"), -expected, 1e-9);
        EXPECT_NEAR(v.at("m.PIN"), mode == Mode::kFlowDriven ? 8 - static_cast<double>(flows.size()) : 7,
                    1e-9);
        if (std::string(model) == "INLETMIXER") {
          EXPECT_NEAR(v.at("m.DUMMYVAR"), 32 * static_cast<double>(flows.size()), 1e-9);
        }
      }
}

}  // namespace
}  // namespace quiver::tests
