// SPDX-License-Identifier: Apache-2.0
// A case given as text, solved in this process:
//
//   SolvedCase run("components: [water]\nblocks: {v: {model: PSV_BASE, ...}}");
//   EXPECT_TRUE(run.converged) << run.Why();
//   EXPECT_NEAR(run["v.FLUX"], 46822, 1);
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"

namespace quiver::tests {

class SolvedCase {
 public:
  explicit SolvedCase(const std::string& text) : run_(Library(), ReadCaseText(text, "test.yaml")) {
    summary_ = run_.Solve();
    converged = summary_.outcome == SolveOutcome::kConverged;
    for (const NamedValue& value : run_.Values()) values_[value.name] = value.value;
  }
  double operator[](const std::string& name) const {
    const auto found = values_.find(name);
    if (found == values_.end()) ADD_FAILURE() << "no variable " << name;
    return found == values_.end() ? 0 : found->second;
  }
  CaseRun& run() { return run_; }
  std::string Why() const { return summary_.failures.empty() ? "" : summary_.failures.front().reason; }
  bool converged = false;

 private:
  static const ModelSource& Library() {
    static const ModelSource& library = UseLibraries();
    return library;
  }
  CaseRun run_;
  SolveSummary summary_;
  std::map<std::string, double> values_;
};

// One relief valve "v": options and fixed values as in a case file.
inline std::string Valve(const std::string& components, const std::string& method, const std::string& options,
                         const std::string& fixed) {
  return fmt::format(
      "components: [{}]\nblocks:\n  v:\n    model: PSV_BASE\n    set: {{FLOW_CALC: {}{}{}}}\n    fix: "
      "{{{}}}\n",
      components, method, options.empty() ? "" : ", ", options, fixed);
}

}  // namespace quiver::tests
