// SPDX-License-Identifier: Apache-2.0
// One model as a case of its own:
//
//   ModelRun psv("PSV_SIMPLE", {"water"}, "", {{"P_DROP", 6}, {"RHO", 55.3}, {"MW", 18.015}, {"AREA_RATIO", 0}});
//   ASSERT_TRUE(psv.Solve());   EXPECT_NEAR(psv["FLUX"], ...);
//
// Values of `fix` are in the models' units; Composition("Y", ...) gives an array over the components.
#pragma once

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/error.h"

namespace quiver::tests {

using Values = std::map<std::string, double>;

// With `more` on top of `values`.
inline Values With(Values values, const Values& more) {
  for (const auto& [name, value] : more) values[name] = value;
  return values;
}

class ModelRun {
 public:
  ModelRun(const std::string& model, const std::vector<std::string>& components, const std::string& set,
           const Values& fix = {}, const Values& guess = {})
      : ModelRun(fmt::format("components: [{}]\nblocks:\n  m:\n    model: {}\n    set: {{{}}}\n    "
                             "fix: {}\n    guess: {}\n",
                             fmt::join(components, ", "), model, set, Table(fix), Table(guess))) {}
  explicit ModelRun(const std::string& case_of_one_block)
      : run_(std::make_unique<CaseRun>(UseLibraries(), ReadCaseText(case_of_one_block, "test"), false)) {}

  bool Solve() {
    summary = run_->Solve();
    values_.clear();
    for (const NamedValue& v : run_->Values()) values_[v.name] = v.value;
    return summary.outcome == SolveOutcome::kConverged && summary.failures.empty();
  }
  double operator[](const std::string& name) const { return values_.at(name); }
  std::string Why() const { return summary.failures.empty() ? "" : summary.failures.front().reason; }
  Flowsheet& flowsheet() { return run_->flowsheet(); }
  EquationSystem& System() { return run_->System(); }

  SolveSummary summary;

 private:
  static std::string Table(const Values& values) {
    std::string text;
    for (const auto& [name, value] : values)
      text += fmt::format("{}\"{}\": {:.17g}", text.empty() ? "" : ", ", name, value);
    return "{" + text + "}";
  }
  std::unique_ptr<CaseRun> run_;
  Values values_;
};

// One value of a model, solved from its defaults.
inline double Solved(const std::string& model, const std::string& result,
                     const std::vector<std::string>& components, const std::string& set, const Values& fix) {
  ModelRun run(model, components, set, fix);
  EXPECT_TRUE(run.Solve()) << model << ": " << run.Why();
  return run[result];
}

}  // namespace quiver::tests
