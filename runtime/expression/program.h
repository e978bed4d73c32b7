// SPDX-License-Identifier: Apache-2.0
// Straight-line register code of one shape: what the evaluator runs. Registers hold first the constants, then
// the inputs (the shape's variables in gather order, after them the time), then intermediate results, which
// share registers once they are no longer needed.
//
//   ShapePrograms programs = Compile(words, 3);     // words: a shape's stream with 3 variables
//   programs.gradient.outputs                       // registers of the value and of the 3 derivatives
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/operators.h"
#include "runtime/expression/shape_word.h"

namespace quiver {

struct Instruction {
  Operator op;
  int target, a, b, c;  // registers; unused operands repeat a
};

struct Program {
  std::vector<double> constants;
  int variables = 0;  // inputs without the time
  int registers = 0;
  std::vector<Instruction> code;
  std::vector<int> outputs;  // registers of the results

  int constant_count() const { return static_cast<int>(constants.size()); }
  int time_register() const { return constant_count() + variables; }
};

struct ShapePrograms {
  Program value;     // one output: the value; 1 or 0 for a condition
  Program gradient;  // equations: the value and its derivatives
  Program margin;    // conditions: distance to the switch, positive where the condition holds
  std::vector<bool> constant_derivative;  // equations: by variable
};

// `words` is exactly one tree, as ShapeStore writes it.
ShapePrograms Compile(std::span<const ShapeWord> words, int variables);

}  // namespace quiver
