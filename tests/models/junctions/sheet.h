// SPDX-License-Identifier: Apache-2.0
// Junctions in tests: what one emits under a choice of options, and cases given as text.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/system/describe.h"
#include "tests/support/test_sheet.h"

namespace quiver::tests {

// Which formulation the two switches choose.
enum class Mode { kFlowDriven, kForward, kReversible };
inline constexpr Mode kModes[] = {Mode::kFlowDriven, Mode::kForward, Mode::kReversible};
// A model that knows no reverse flow does not declare the second.
inline std::string Globals(Mode mode, const std::string& model = "") {
  const std::string reverse =
      model == "INLETMIXERFWD" ? "" : fmt::format(", GLOBALRFLOW: {}", mode == Mode::kReversible);
  return fmt::format("globals: {{GLOBALPDRIVEN: {}{}}}\n", mode != Mode::kFlowDriven, reverse);
}
inline constexpr const char* kPhases[] = {"Vapor-Only", "Liquid-Only", "Vapor-Liquid",
                                          "Vapor-Liquid-FreeWater", "Vapor-Liquid-Liquid"};

inline std::unique_ptr<CaseRun> RunOf(const std::string& text) {
  return std::make_unique<CaseRun>(UseLibraries(), ReadCaseText(text, "test.yaml"));
}

using Values = std::map<std::string, double>;
// Solves from where the case stands. Fails the test where it does not converge.
inline Values Solved(CaseRun& run) {
  const SolveSummary summary = run.Solve();
  for (const SolveFailure& failure : summary.failures) ADD_FAILURE() << failure.reason;
  Values values;
  for (const NamedValue& value : run.Values()) values[value.name] = value.value;
  return values;
}
inline Values Solved(const std::string& text) { return Solved(*RunOf(text)); }

// The equations of a single junction over two components, A = nitrogen and B = oxygen.
inline EquationsDescription EquationsOf(const std::string& model, Mode mode, const std::string& set = "") {
  const auto run =
      RunOf(fmt::format("components: [nitrogen, oxygen]\n{}blocks:\n  m: {{model: {}, set: {{{}}}}}\n",
                        Globals(mode, model), model, set));
  return DescribeEquations(*run->flowsheet().blocks().front());
}

}  // namespace quiver::tests
