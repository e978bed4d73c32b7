// SPDX-License-Identifier: Apache-2.0
// What a report on a case says, before it is written as a page.
//
//   ReportContent content = SolveAndCollect(run);
//   file << ReportPage(content, provenance);
#pragma once

#include <string>
#include <vector>

#include "runtime/cases/case_run.h"
#include "runtime/report/plots.h"
#include "runtime/system/describe.h"

namespace quiver {

struct ReportInput {
  std::string name;
  std::string value;    // for people
  std::string written;  // as in the case where that differs: "150 psi"
  std::string unit, description;
  std::string source;  // "case", "command line", "connection", "default"
};

// An equation with all its alternatives; the place of the one that holds, or -1.
struct ReportEquation {
  std::vector<const EquationDescription*> alternatives;
  int holds = -1;
};
struct ReportEquations {
  std::string instance, model;
  EquationsDescription description;
  std::vector<ReportEquation> equations;  // of `description`
  std::vector<PropertyDescription> properties;
};

struct ReportOrifice {
  std::string letter;
  double area;  // m2
  bool chosen = false;
};
struct ReportOrifices {
  std::string block;
  double required_area, mass_flow, mass_flow_of_chosen;  // m2, kg/hr
  bool too_large = false;                                // no orifice of the table is large enough
  std::vector<ReportOrifice> orifices;
};

// A condition that a small change of its variables would turn.
struct NearSwitch {
  std::string equation;
  std::vector<TokenDescription> condition;
  bool holds;
  double distance;  // of its sides, relative to the largest magnitude in it
};

struct ReportContent {
  std::string title;
  bool converged = false;
  SolveSummary summary;
  int equations = 0, free_variables = 0, degrees_of_freedom = 0;
  std::vector<ReportInput> inputs, defaults, options;
  std::vector<NamedValue> results;  // what the case asks to report; the given ones only if it asks for them
  std::vector<NamedValue> all;      // every computed value, unless `results` has them all
  std::vector<StreamState> streams;
  std::vector<ReportOrifices> orifices;
  std::vector<Plot> plots;
  std::vector<std::string> plots_left_out;
  std::vector<std::string> at_bounds;  // "valve.VF = 1 (upper)"  // "valve.VF = 1 (upper)"
  std::vector<NearSwitch> near_switch;
  std::vector<std::string> failures, notes;
  std::vector<ReportEquations> models;  // in the order of blocks; sub-models behind their owners
  int models_left_out = 0;              // of a flowsheet that is too large to show them all
};

ReportContent SolveAndCollect(CaseRun& run, const SolveOptions& options = {});

}  // namespace quiver
