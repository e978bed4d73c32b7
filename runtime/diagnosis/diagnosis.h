// SPDX-License-Identifier: Apache-2.0
// Everything that can be said of a system of equations before and after it is solved.
//
//   EquationSystem& system = run.System();
//   Diagnosis diagnosis = Diagnose(system, system.StartValues());
//   for (const Finding& finding : diagnosis.findings) fmt::print("{}: {}\n", finding.where, finding.what);
//
// In this order: structure (what is fixed too much or too little), units of every equation in every alternative,
// variables at bounds and slopes at the start; then, where the structure allows, a solve and the same at its end,
// conditions near their switching point, and after a failure what happened first.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "runtime/diagnosis/fault_recorder.h"
#include "runtime/diagnosis/finding.h"
#include "runtime/solve/ladder.h"
#include "runtime/system/equation_system.h"

namespace quiver {

struct DiagnosisOptions {
  bool solve = true;
  LadderOptions ladder;
  double bound_share = 1e-9;   // nearer to a bound than this, relative to the variable's magnitude, is at it
  double switch_share = 1e-3;  // a relative change of one variable that turns a condition
};

struct Diagnosis {
  StructureReport structure;
  int formulas_checked = 0;                          // residuals and conditions, for their units
  int inferred_dimensions = 0, open_dimensions = 0;  // of variables without a unit
  std::optional<SolveSummary> solved;                // absent where it was not tried
  std::optional<RecordedFault> first_undefined;      // after a failure, in the block that failed
  std::vector<double> x;                             // the solution, or the best state reached
  std::vector<Finding> findings;                     // faults first within each step

  bool HasFaults() const;
};

Diagnosis Diagnose(EquationSystem& system, std::vector<double> start, const DiagnosisOptions& options = {});

// The unit check alone, of all equations in all alternatives.
std::vector<Finding> CheckUnits(EquationSystem& system, Diagnosis* counts = nullptr);

}  // namespace quiver
