// SPDX-License-Identifier: Apache-2.0
// From a case to its solution.
//
//   CaseRun run(UseLibraries(), ReadCaseFile("relief.yaml"));   // builds the flowsheet; throws CaseError or Error
//   SolveSummary summary = run.Solve();
//   for (const NamedValue& value : run.Values()) Print(value.name, value.value, value.unit);
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/cases/streams.h"
#include "runtime/io/case_file.h"
#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"
#include "runtime/system/flowsheet.h"

namespace quiver {

struct NamedValue {
  std::string name;  // BLOCK.NAME, or NAME for the single block of a direct run
  double value;
  std::string unit;
  std::string description;  // empty where the model gives none
  bool given;               // not computed
  bool takes_part;          // in some equation; else it has its start value still
};

// A stream as the solution has it. Members of which no equation speaks, and that are not given, are absent (NaN).
struct StreamState {
  std::string name, from, to;
  bool reversed;          // it flows against its connection, F < 0: the rest is of what comes back
  double F, T, P, H, V;   // kmol/hr, C, bar, GJ/kmol, m3/kmol
  std::vector<double> Z;  // in the order of `components`
  std::vector<std::string> components;
};

struct BuildTimes {
  double create = 0, assign = 0;  // seconds
};

class CaseRun {
 public:
  // Constructs, sizes and assigns. `qualified`: values carry the block's name.
  CaseRun(const ModelSource& library, CaseFile description, bool qualified = true);

  Flowsheet& flowsheet() { return flowsheet_; }
  const CaseFile& description() const { return description_; }
  bool qualified() const { return qualified_; }
  const BuildTimes& build_times() const { return build_times_; }
  // Sets up and emits at the first call.
  EquationSystem& System();
  SolveSummary Solve(const SolveOptions& options = {});

  // All variables, in the order of blocks and declarations; elements one by one.
  std::vector<NamedValue> Values();
  // Those that the case asks for; when it asks for none, those that are given or take part in an equation.
  std::vector<NamedValue> Report();
  // Of all material ports that have a flow.
  std::vector<StreamState> Streams();

 private:
  std::vector<Tie> Connect();
  void CollectValues(Instance& instance, std::vector<NamedValue>& values);
  [[noreturn]] void Fail(std::vector<CaseFault> faults) const;

  CaseFile description_;
  bool qualified_;
  BuildTimes build_times_;
  Flowsheet flowsheet_;
  StreamConnector streams_;
  std::unique_ptr<EquationSystem> system_;
};

}  // namespace quiver
