// SPDX-License-Identifier: Apache-2.0
// A case over time. Every variable X_RATE beside a variable X of the same block is the change of X per hour: X becomes a state,
// which is known at any moment, and the equations of the block compute its rate. All other equations hold at every moment.
//
//   CaseRun run(UseLibraries(), ReadCaseFile("vessel.yaml"));
//   SimulationSummary summary = Simulate(run, [&](double hours) { PrintRow(hours, run.Report()); });
//
// At the start the case is solved with what `initial` names given; from then on the states are given instead.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "runtime/cases/case_run.h"

namespace quiver {

struct SimulationEvent {
  double hours;
  std::string text;
};

struct SimulationSummary {
  bool finished = false;
  SolveSummary start;  // of the solution at the start
  double hours = 0;    // reached
  double unit = 1;     // hours in the unit of the case's `end`
  std::string unit_name = "hr";
  int states = 0, equations = 0, steps = 0;
  int restarts = 0;  // after events, jumps of inputs and changes of branches
  std::vector<SimulationEvent> events;
  std::string failure;  // empty when finished
};

// Throws CaseError when the case has no section `simulate`, or names in it what is not there. Calls `row` at the start, at every step of output and jump of an input, and before
// and after each event, with the state of then stored in `run`.
SimulationSummary Simulate(CaseRun& run, const std::function<void(double hours)>& row);

}  // namespace quiver
