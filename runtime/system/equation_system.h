// SPDX-License-Identifier: Apache-2.0
// The equations of a flowsheet as the solvers see them: interned shapes, procedure calls, alternatives, and which
// variables are free.
//
//   EquationSystem system(flowsheet);
//   std::vector<double> x = system.StartValues();
//   SolveSummary summary = Solve(system, SolveOptions(), x);
//   system.Store(x);                                      // back into the flowsheet
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/token.h"
#include "runtime/solve/nonlinear_problem.h"
#include "runtime/system/flowsheet.h"
#include "runtime/system/unit_pattern.h"
#include "runtime/system/unit_repeats.h"

namespace quiver {

// Two holders that are to have the same value.
struct Tie {
  QV_VarParam* left;
  QV_VarParam* right;
  std::string name;           // "fire.HEATLOAD = vessel.Q"
  bool only_if_used = false;  // none is made where no equation names either of them and neither is given
};

struct SystemOptions {
  // Every instance tells its own equations, none takes over those of a like one. Slower, with the same result.
  bool written_out = false;
};

// How a system came about, for `quiver bench`.
struct SystemSummary {
  int instances = 0;              // with equations
  int instances_written_out = 0;  // that told their equations themselves
  int patterns = 0;
  int shapes = 0;
};

// One alternative of an equation as it was emitted, for those who read equations instead of evaluating them. Tokens name
// variables by their numbers.
struct EmittedForm {
  std::string name;                        // of the equation, with its block
  std::vector<Token> residual;             // prefix; empty for an output of a procedure
  QV_ProcedureType* procedure = nullptr;   // null for an ordinary equation
  std::vector<std::vector<Token>> inputs;  // of the procedure: per argument its elements, or one constant
  std::vector<int> elements;               // of the procedure: inputs that are no constants, then outputs
  int inputs_count = 0;                    // of the elements
  int output = 0;                          // place among the outputs
  std::vector<std::vector<Token>>
      conditions;  // the alternative holds where all of them hold and no earlier one does
};

class EquationSystem final : public NonlinearProblem {
 public:
  // Sets up and emits all instances; `ties` are pairs of holders that are to be equal. Throws Error with all findings:
  // set-up and emission that disagree, malformed streams, values that are missing.
  explicit EquationSystem(Flowsheet& flowsheet, const std::vector<Tie>& ties = {},
                          const SystemOptions& options = {});

  int EquationCount() const override { return static_cast<int>(unit_of_.size()); }
  int VariableCount() const override { return static_cast<int>(free_.size()); }
  bool IsFree(int variable) const override { return free_[static_cast<size_t>(variable)] != 0; }
  std::span<const int> ResidualVariables(int equation) const override;
  std::span<const int> ConditionVariables(int equation) const override;
  double Lower(int variable) const override { return HolderOf(variable).LowerBound(); }
  double Upper(int variable) const override { return HolderOf(variable).UpperBound(); }
  double Scale(int variable) const override { return scale_[static_cast<size_t>(variable)]; }
  bool Evaluate(std::span<const int> equations, const double* x, double* residuals,
                double* gradients) override;
  EvaluationFault FirstFault() const override { return fault_; }
  int DecideAlternatives(std::span<const int> equations, const double* x) override;
  bool HasAlternatives(int equation) const override { return At(equation).equation->state >= 0; }
  int CurrentAlternative(int equation) const override { return StateOf(At(equation)).place; }
  std::string AlternativeName(int equation, int alternative) const override;
  bool CanBeFreed(int variable) const override;
  bool IsLeftSide(int variable) const override {
    return static_cast<size_t>(variable) < left_side_.size() &&
           left_side_[static_cast<size_t>(variable)] != 0;
  }
  RepeatedParts* Repeats() override;
  std::string EquationName(int equation) const override;
  std::string VariableName(int variable) const override;

  // Whether any equation or condition names the variable.
  bool TakesPart(int variable) const { return takes_part_[static_cast<size_t>(variable)] != 0; }

  // Of each condition of the equation: the distance from its switch at x, with the sign of Evaluator::Margin, and the
  // variables it reads.
  struct Margin {
    std::string label;  // of the innermost condition of its alternative
    double margin;
    std::span<const int> variables;
  };
  std::vector<Margin> MarginsOf(int equation, std::span<const double> x);
  // StartValues, but with the defaults of their types for the variables that are given: another case of the same
  // flowsheet, from which a hard one may be approached.
  std::vector<double> DefaultValues() const;
  // All alternatives of an equation, in the order in which they are asked.
  std::vector<EmittedForm> FormsOf(int equation) const;

  // The simulation time that equations may read, in hours; 0 as long as nobody tells.
  void SetTime(double hours) { context_.time = hours; }

  // One value per numbered variable or parameter; Store writes those of the free variables back.
  std::vector<double> StartValues() const;
  // An instance has told its equations again since (DescribeEquations, maps): procedures of this system are gone, and it must not be
  // evaluated any more.
  bool IsStale() const { return told_ != flowsheet_->scope().equations_told; }
  void Store(std::span<const double> x);

  // The alternative in use as a shape with its variables; -1 for an output of a procedure, or if none holds.
  int CurrentShape(int equation) const;
  std::span<const int> CurrentGather(int equation) const;

  Flowsheet& flowsheet() const { return *flowsheet_; }
  const ShapeStore& shapes() const { return patterns_.shapes(); }
  SystemSummary Summary() const;
  size_t memory_bytes() const;  // of the equations: what is kept beyond the instances

 private:
  struct Located {
    const Unit* unit;
    const UnitPattern::Equation* equation;
  };
  // What the last evaluation of a pattern's call was, and gave.
  struct CallValues {
    const Unit* unit = nullptr;
    std::uint64_t stamp = 0;
    bool failed = false;
    std::string reason;
    std::vector<double> residuals, rows;  // rows: outputs x elements
  };

  Located At(int equation) const {
    const Unit& unit = units_.units[static_cast<size_t>(unit_of_[static_cast<size_t>(equation)])];
    return {&unit, &unit.pattern->equations[static_cast<size_t>(equation - unit.first_equation)]};
  }
  AlternativeState StateOf(Located at) const {
    if (at.equation->state < 0) return {0, at.equation->first};
    return units_.states[static_cast<size_t>(at.unit->first_state + at.equation->state)];
  }
  QV_VarParam& HolderOf(int variable) const { return *flowsheet_->scope().Holder(variable); }
  const int* PlacesOf(const Unit& unit, int places) const { return units_.PlacesOf(unit, places); }

  void AddUnit(const UnitPattern& pattern, const Instance* instance, const char* name,
               const std::vector<int>& numbers);
  void Reserve(const UnitPattern& pattern, size_t units);
  void AddTies();
  void MakeTiePattern();
  void MakeRoom();
  void LookAt(const UnitPattern& pattern, const std::vector<int>& numbers);
  void LookAt(int variable, const UnitPattern::Slot& slot);
  void TellUnready();
  CallValues& EvaluateCall(const Unit& unit, int call, const double* x);
  std::string BlockName(const Unit& unit) const;  // with the point behind it
  void Explain(int equation, const double* x);
  std::vector<Token> NumberedStream(int shape, const int* variables) const;

  Flowsheet* flowsheet_;
  long long told_ = 0;  // Scope::equations_told when this system was complete
  std::vector<Tie> ties_;
  PatternStore patterns_;
  std::unique_ptr<UnitPattern> tie_pattern_;
  Evaluator evaluator_;
  EvaluationContext context_;
  UnitList units_;
  std::vector<int> unit_of_;  // by equation
  std::unordered_map<const UnitPattern::Call*, CallValues> call_values_;
  std::vector<unsigned char> free_, takes_part_, left_side_;
  std::vector<int> unready_;  // variables whose values nobody can compute with
  std::vector<double> scale_;
  std::vector<double> gradient_;  // scratch of one equation
  std::uint64_t stamp_ = 0;
  EvaluationFault fault_;
  std::unique_ptr<UnitRepeats> repeats_;
};

}  // namespace quiver
