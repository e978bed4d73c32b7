// SPDX-License-Identifier: Apache-2.0
// From a case to its solution.
//
//   CaseRun run(UseLibraries(), ReadCaseFile("relief.yaml"));   // builds the flowsheet; throws CaseError or Error
//   SolveSummary summary = run.Solve();
//   for (const NamedValue& value : run.Values()) Print(value.name, value.value, value.unit);
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/cases/state_file.h"
#include "runtime/cases/streams.h"
#include "runtime/io/case_file.h"
#include "runtime/solve/ladder.h"
#include "runtime/system/equation_system.h"
#include "runtime/system/flowsheet.h"

namespace quiver {

struct NamedValue {
  std::string name;  // BLOCK.NAME, or NAME for the single block of a direct run
  double value;
  std::string unit;
  std::string description;    // empty where the model gives none
  bool given;                 // not computed
  bool takes_part;            // in some equation; else it has its start value still
  const QV_VarParam* holder;  // for whoever reads it again after the next solution
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
  // The same anew, after other variables were given: an earlier system must no longer be used.
  EquationSystem& Reassemble();
  // By the ladder of methods, or by one method alone. To the nearby cases of the options come the state that StartFrom was
  // given and the models' defaults. Makes a new System() where the equations of a block were described since the last.
  SolveSummary Solve(LadderOptions options = {});
  SolveSummary Solve(BlockSolver& solver, const SolveOptions& options = {});

  // Computed variables start from the values of a state, in place of guesses; before the first call of System. Names that
  // this case does not have are passed over, with a note; a state that fits nowhere is refused.
  void StartFrom(SavedState state);
  SavedState State(bool converged);
  // The state that StartFrom was given, then the models' defaults: where homotopy may come from.
  std::vector<NearbyCase> NearbyCases();

  // All variables, in the order of blocks and declarations; elements one by one.
  std::vector<NamedValue> Values();
  // Those that the case asks for; when it asks for none, those that are given or take part in an equation.
  std::vector<NamedValue> Report();
  // Of all material ports that have a flow.
  std::vector<StreamState> Streams();

 private:
  EquationSystem& FreshSystem();
  std::vector<Tie> Connect();
  std::vector<double> StateValues();
  using VisitVariable = std::function<void(QV_VarParam& holder, const char* description)>;
  void ForVariables(Instance& instance, const VisitVariable& visit);
  [[noreturn]] void Fail(std::vector<CaseFault> faults) const;

  CaseFile description_;
  bool qualified_;
  BuildTimes build_times_;
  Flowsheet flowsheet_;
  StreamConnector streams_;
  std::vector<Tie> ties_;
  std::unique_ptr<EquationSystem> system_;
  std::optional<SavedState> from_;
};

}  // namespace quiver
