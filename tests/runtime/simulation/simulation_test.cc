// SPDX-License-Identifier: Apache-2.0
// Cases over time: what is kept, what events and inputs do, and what is refused.
#include "runtime/simulation/simulation.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "runtime/cases/installation.h"

namespace quiver {
namespace {

using testing::HasSubstr;

struct Simulated {
  explicit Simulated(const std::string& text) {
    static const ModelSource& library = UseLibraries();
    CaseRun run(library, ReadCaseText(text, "test.yaml"));
    summary = Simulate(run, [&](double t) {
      hours.push_back(t);
      for (const NamedValue& value : run.Values()) values[value.name].push_back(value.value);
    });
  }
  const std::vector<double>& operator[](const std::string& name) { return values[name]; }
  // Simpson's rule over equal steps.
  double Integral(const std::string& name) {
    const std::vector<double>& y = values[name];
    double sum = 0;
    for (size_t i = 2; i < y.size(); i += 2)
      sum += (y[i - 2] + 4 * y[i - 1] + y[i]) * (hours[i] - hours[i - 1]) / 3;
    return sum;
  }
  SimulationSummary summary;
  std::vector<double> hours;
  std::map<std::string, std::vector<double>> values;
};

std::string Drum(const std::string& fixed, const std::string& simulate) {
  return fmt::format(
      "components: [propane, n-butane]\nblocks:\n"
      "  drum: {{model: VESSEL, fix: {{DIAM: 2, HEIGHT: 4, Q: 0.5, F_RELIEF: 60{}}}}}\nsimulate: {}\n",
      fixed, simulate);
}

const char kStart[] = "initial: {drum.T: 20, drum.LEVEL: 2, drum.Z(propane): 0.5}";

TEST(Simulation, what_enters_less_what_leaves_is_what_is_there) {
  Simulated run(
      Drum(", OPEN: 0.2, F_IN: 5, H_IN: -0.12", fmt::format("{{end: 1, step: 0.025, {}}}", kStart)));
  ASSERT_TRUE(run.summary.finished) << run.summary.failure;
  EXPECT_EQ(run.summary.states, 3);
  for (const char* c : {"propane", "n-butane"}) {
    const std::vector<double>& amount = run[fmt::format("drum.N({})", c)];
    EXPECT_NEAR(amount.back() - amount.front(), run.Integral(fmt::format("drum.N_RATE({})", c)),
                1e-5 * amount[0]);
  }
  const double taken = run.Integral("drum.U_RATE"), u = run["drum.U"].back() - run["drum.U"].front();
  EXPECT_NEAR(u, taken, 1e-5 * std::abs(taken));
  EXPECT_LT(run["drum.Z(propane)"].back(), run["drum.Z(propane)"].front()) << "the lighter one leaves first";
  EXPECT_NEAR(run["drum.NTOTAL"].back() - run["drum.NTOTAL"].front(), 5 - 0.2 * 60,
              1e-5 * run["drum.NTOTAL"][0]);
}

TEST(Simulation, inputs_ramp_and_jump_at_their_times) {
  Simulated run(
      Drum(", F_IN: 0, H_IN: -0.1",
           fmt::format("{{end: 60 min, step: 10 min, {}, inputs: {{drum.F_IN: [[10 min, 0], [30 min, 6], "
                       "[40 min, 6], [40 min, 3 kmol/hr], [50 min, 3], [50 min, 0]]}}}}",
                       kStart)));
  ASSERT_TRUE(run.summary.finished) << run.summary.failure;
  // Areas below the course, in kmol: a triangle of 20 min, 10 min at 6, 10 min at 3.
  const double fed[] = {0, 0, 0.25, 1.0, 2.0, 2.5, 2.5};
  ASSERT_EQ(run.hours.size(), 7u);
  for (size_t i = 0; i < 7; ++i) {
    EXPECT_NEAR(run.hours[i] * 6, static_cast<double>(i), 1e-12);
    EXPECT_NEAR(run["drum.NTOTAL"][i] - run["drum.NTOTAL"][0], fed[i], 1e-4);
  }
}

TEST(Simulation, a_valve_opens_and_closes_between_its_thresholds) {
  const std::string text =
      Drum(", OPEN: 0",
           fmt::format("{{end: 3, step: 0.1, {}, events: [{{when: drum.P >= 7 bar, set: {{drum.OPEN: 1}}}}, "
                       "{{when: drum.P <= 6.5 bar, set: {{drum.OPEN: 0}}}}]}}",
                       kStart));
  Simulated run(text);
  ASSERT_TRUE(run.summary.finished) << run.summary.failure;
  ASSERT_GE(run.summary.events.size(), 3u);
  for (size_t e = 0; e < run.summary.events.size(); ++e) {
    const SimulationEvent& event = run.summary.events[e];
    EXPECT_EQ(event.text, e % 2 == 0 ? "drum.P >= 7 bar" : "drum.P <= 6.5 bar") << "they take turns";
    const auto row =
        static_cast<size_t>(std::find(run.hours.begin(), run.hours.end(), event.hours) - run.hours.begin());
    ASSERT_LT(row + 1, run.hours.size()) << "no row at the event";
    EXPECT_NEAR(run["drum.P"][row], e % 2 == 0 ? 7 : 6.5, 1e-4);
    EXPECT_EQ(run["drum.OPEN"][row], e % 2 == 0 ? 0 : 1) << "before";
    EXPECT_EQ(run["drum.OPEN"][row + 1], e % 2 == 0 ? 1 : 0) << "after";
  }
  for (const double p : run["drum.P"]) EXPECT_LT(p, 7.01);
}

TEST(Simulation, thresholds_that_never_let_go_are_told) {
  Simulated run(
      Drum(", OPEN: 0",
           fmt::format("{{end: 10, step: 0.1, {}, events: [{{when: drum.P >= 7 bar, set: {{drum.OPEN: 1}}}}, "
                       "{{when: drum.P <= 6.995 bar, set: {{drum.OPEN: 0}}}}]}}",
                       kStart)));
  EXPECT_FALSE(run.summary.finished);
  EXPECT_THAT(run.summary.failure, HasSubstr("thresholds further apart"));
  EXPECT_GT(run.hours.size(), 5u) << "what was computed so far is kept";
}

TEST(Simulation, refuses_what_makes_no_sense) {
  const struct {
    const char *fixed, *simulate, *message;
  } wrong[] = {
      {"", "{end: 0}", "the run ends before it begins"},
      {"", "{end: 1, step: -1}", "step of output"},
      {"", "{end: 1 bar}", "bar"},
      {"", "{end: 1, initial: {drum.TT: 3}}", "did you mean T?"},
      {"", "{end: 1, inputs: {drum.QQ: [[0, 1]]}}", "no equation names a variable drum.QQ"},
      {"", "{end: 1, inputs: {drum.P: [[0, 1]]}}", "drum.P is computed"},
      {"", "{end: 1, inputs: {drum.Q: [[1, 1], [0, 2]]}}", "before the one above"},
      {"", "{end: 1, events: [{when: drum.P > 7, set: {drum.OPEN: 1}}]}", "vessel.P >= 11 bar"},
      {"", "{end: 1, events: [{when: drum.P >= x, set: {drum.OPEN: 1}}]}", "compares with no number"},
      {"", "{end: 1, tolerance: 2}", "tolerance"},
  };
  for (const auto& [fixed, simulate, message] : wrong) {
    try {
      Simulated run(Drum(fixed, simulate));
      ADD_FAILURE() << simulate << " was taken";
    } catch (const CaseError& error) {
      EXPECT_THAT(error.what(), HasSubstr(message));
    }
  }
  EXPECT_THROW(Simulated("components: [water]\nblocks: {a: {model: VESSEL}}"), CaseError);
  // Too few initial values: the start has free variables left, and they are named.
  Simulated few(Drum(", OPEN: 0", "{end: 1, initial: {drum.T: 20, drum.LEVEL: 2}}"));
  EXPECT_FALSE(few.summary.finished);
  EXPECT_THAT(few.summary.failure, HasSubstr("drum."));
}

}  // namespace
}  // namespace quiver
