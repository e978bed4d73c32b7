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
#include <map>
#include <string>
#include <vector>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/shape.h"
#include "runtime/solve/nonlinear_problem.h"
#include "runtime/system/flowsheet.h"

namespace quiver {

// Two holders that are to have the same value.
struct Tie {
  QV_VarParam* left;
  QV_VarParam* right;
  std::string name;           // "fire.HEATLOAD = vessel.Q"
  bool only_if_used = false;  // none is made where no equation names either of them and neither is given
};

class EquationSystem final : public NonlinearProblem {
 public:
  // Sets up and emits all instances; `ties` are pairs of holders that are to be equal. Throws Error with all findings:
  // set-up and emission that disagree, malformed streams, values that are missing.
  explicit EquationSystem(Flowsheet& flowsheet, const std::vector<Tie>& ties = {});

  int EquationCount() const override { return static_cast<int>(equations_.size()); }
  int VariableCount() const override { return static_cast<int>(free_.size()); }
  bool IsFree(int variable) const override { return free_[static_cast<size_t>(variable)] != 0; }
  std::span<const int> ResidualVariables(int equation) const override;
  std::span<const int> ConditionVariables(int equation) const override;
  double Lower(int variable) const override { return lower_[static_cast<size_t>(variable)]; }
  double Upper(int variable) const override { return upper_[static_cast<size_t>(variable)]; }
  double Scale(int variable) const override { return scale_[static_cast<size_t>(variable)]; }
  bool Evaluate(std::span<const int> equations, const double* x, double* residuals,
                double* gradients) override;
  EvaluationFault FirstFault() const override { return fault_; }
  int DecideAlternatives(std::span<const int> equations, const double* x) override;
  bool HasAlternatives(int equation) const override {
    return At(equation).alternative_count > 1 || At(equation).conditional;
  }
  int CurrentAlternative(int equation) const override { return At(equation).current; }
  std::string AlternativeName(int equation, int alternative) const override;
  bool CanBeFreed(int variable) const override;
  bool IsLeftSide(int variable) const override {
    return static_cast<size_t>(variable) < left_side_.size() &&
           left_side_[static_cast<size_t>(variable)] != 0;
  }
  std::string EquationName(int equation) const override;
  std::string VariableName(int variable) const override;

  // Whether any equation or condition names the variable.
  bool TakesPart(int variable) const { return takes_part_[static_cast<size_t>(variable)] != 0; }

  // One value per numbered variable or parameter; Store writes those of the free variables back.
  std::vector<double> StartValues() const;
  void Store(std::span<const double> x);

  // The alternative in use as a shape with its variables; -1 for an output of a procedure, or if none holds.
  int CurrentShape(int equation) const;
  std::span<const int> CurrentGather(int equation) const;

  Flowsheet& flowsheet() const { return *flowsheet_; }
  const ShapeStore& shapes() const { return shapes_; }

 private:
  struct Condition {
    int shape;
    int gather;  // in gather_
  };
  struct Alternative {
    int shape = -1;      // -1: a procedure's output
    int gather = 0;      // in gather_; as many as the shape has variables
    int procedure = -1;  // in procedures_
    int output = 0;
    int first_condition = 0, condition_count = 0;
    int next = -1;     // further alternative of the same equation
    int columns = -1;  // in columns_: place of each gather entry in the equation's row; -1: the same places
    const char* name = "";
    const char* label = nullptr;  // of its innermost condition
  };
  struct Equation {
    int first = 0;  // alternative
    int alternative_count = 1;
    int current = 0;  // place of the alternative in use; -1: none holds
    int current_alternative = 0;
    const Instance* instance = nullptr;  // null: a tie
    bool conditional = false;            // its only alternative has a condition
  };
  struct Call {
    QV_ProcedureType* procedure;
    int inputs = 0, outputs = 0;
    std::uint64_t stamp = 0;  // the evaluation whose values are in `values`
    bool failed = false;
    std::string reason;
    std::vector<double> residuals, rows;  // rows: outputs x (inputs + outputs)
    std::vector<int> elements;            // numbers of the elements: inputs, then outputs
  };

  const Equation& At(int equation) const { return equations_[static_cast<size_t>(equation)]; }
  void AddInstance(Instance& instance, const InstanceRecord& record);
  void AddTie(const Tie& tie);
  std::vector<unsigned char> NamedVariables() const;  // by any equation so far, by number
  int AddAlternative(int equation, const Alternative& alternative);
  void AppendStream(const EmissionRecord& record, TokenRange range, std::vector<Token>& stream);
  int AddCall(QV_ProcedureType* procedure);
  void NoteLeftSide(int variable);
  void MakeRows();
  void ReadVariables();
  int InternStream(const std::vector<Token>& stream);
  bool EvaluateCall(Call& call, const double* x);
  void Explain(int equation, const double* x);

  Flowsheet* flowsheet_;
  ShapeStore shapes_;
  Evaluator evaluator_;
  std::vector<Equation> equations_;
  std::vector<Alternative> alternatives_;
  std::vector<Condition> conditions_;
  std::vector<int> gather_;
  std::vector<int> columns_;
  std::vector<Call> calls_;
  std::map<QV_ProcedureType*, int> call_of_;
  std::vector<int> row_start_, row_;              // ResidualVariables
  std::vector<int> condition_start_, condition_;  // ConditionVariables
  std::vector<unsigned char> free_, takes_part_, left_side_;
  std::vector<double> lower_, upper_, scale_;
  std::vector<Tie> ties_;
  std::vector<std::vector<Token>> streams_;  // of each shape, variables by first appearance
  std::vector<double> gradient_;             // scratch of one equation
  std::uint64_t stamp_ = 0;
  EvaluationFault fault_;
};

}  // namespace quiver
