// SPDX-License-Identifier: Apache-2.0
// Straight-line register code: what the evaluators run. Registers hold first what is fixed (constants and what follows
// from them), then the inputs (the shape's variables in gather order, after them the time), then intermediate results,
// which share registers once they are no longer needed.
//
// Shapes that differ in literals alone share their programs: a literal is a parameter there, and what depends on
// parameters alone is computed once a shape.
//
//   std::vector<double> constants = programs.constants.Values(literals);      // of ShapePrograms
//   programs.gradient.outputs                       // registers of the value and of the 3 derivatives
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "runtime/expression/formula_builder.h"
#include "runtime/expression/operators.h"

namespace quiver {

// Where an operand of a step over lanes comes from.
enum class Source : std::uint8_t {
  kRegister,
  kConstant,  // a register that holds one number for all lanes
  kPrevious,  // the step before: it is still in the processor's own registers
};

struct Instruction {
  Operator op;
  Source a_from = Source::kRegister, b_from = Source::kRegister;
  bool is_kept = true;  // whether anything but the step that follows reads the target
  int target, a, b, c;  // registers; unused operands repeat a

  // Arithmetic that takes its operands from wherever they are; all other steps work on registers.
  static constexpr bool IsShort(Operator op) {
    switch (op) {
      case Operator::kNegate:
      case Operator::kAdd:
      case Operator::kSubtract:
      case Operator::kMultiply:
      case Operator::kDivide:
      case Operator::kSquare:
        return true;
      default:
        return false;
    }
  }
};

// A program may hand out its results in turns, so that their registers are free again for the turns that follow.
struct Turn {
  int code_end, outputs_end;
};

class LaneCode;

struct Program {
  int constant_count = 0;
  int variables = 0;  // inputs without the time
  int registers = 0;
  std::vector<Instruction> code;
  std::vector<int> outputs;                      // registers of the results
  std::vector<Turn> turns;                       // one, unless extracted otherwise
  int steps_of_first = 0;                        // how many steps the first output needs; they come first
  std::vector<int> constant_rows;                // constants that are outputs or are read as registers
  std::shared_ptr<const LaneCode> machine_code;  // for programs that run often; else null

  int time_register() const { return constant_count + variables; }
};

// What stands in the registers of constants.
struct ConstantFormulas {
  struct Parameter {
    int place, number;
  };

  // For given values of the parameters.
  std::vector<double> Values(std::span<const double> literals) const;

  std::vector<double> fixed;
  std::vector<Parameter> parameters;
  std::vector<Instruction> steps;  // what follows from parameters
};

// The registers of constants, shared by the programs extracted from one builder.
class ConstantPlan {
 public:
  // Places every fixed node that computing `outputs` reads.
  void Need(const FormulaBuilder& builder, std::span<const int> outputs);
  void Clear();

  int place(int node) const { return node < static_cast<int>(place_.size()) ? place_[node] : -1; }
  int count() const { return static_cast<int>(constants_.fixed.size()); }
  const ConstantFormulas& constants() const { return constants_; }

 private:
  void Place(const FormulaBuilder& builder, int id);

  std::vector<int> place_;  // by node; -1: none
  std::vector<char> needed_;
  ConstantFormulas constants_;
};

// The steps that the first output needs alone.
Program FirstOutput(const Program& program);

struct ShapePrograms {
  Program value;     // one output: the value; 1 or 0 for a condition
  Program gradient;  // equations: the value and its derivatives
  Program margin;    // conditions: distance to the switch, positive where the condition holds
  std::vector<bool> constant_derivative;  // equations: by variable
  ConstantFormulas constants;             // of all three
};

}  // namespace quiver
