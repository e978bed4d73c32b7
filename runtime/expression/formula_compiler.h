// SPDX-License-Identifier: Apache-2.0
// Compiles the forms of equations and conditions: translated, differentiated, and written as programs.
//
//   FormulaCompiler compiler;                                    // keeps its memory for the next one
//   ShapePrograms programs = compiler.Compile(words, 3);         // words: a shape's stream with 3 variables
//   std::vector<double> constants = programs.constants.Values(literals);
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/formula_builder.h"
#include "runtime/expression/program.h"
#include "runtime/expression/program_extractor.h"
#include "runtime/expression/shape_word.h"

namespace quiver {

class FormulaCompiler {
 public:
  // `words` is exactly one tree, as ShapeStore writes it.
  ShapePrograms Compile(std::span<const ShapeWord> words, int variables);

 private:
  static constexpr int kEndOfList = -1;
  struct Result {
    int value = kEndOfList;
    int margin = -1;  // conditions only
  };

  Result Translate(std::span<const ShapeWord> words);
  Result Read(ShapeWord word);
  Result Join(const OperatorInfo& info);
  int JoinList(const OperatorInfo& info);
  Result Pop();

  FormulaBuilder builder_;
  ProgramExtractor extractor_;
  ConstantPlan plan_;
  int time_ = 0;  // number of the input
  std::vector<Result> stack_;
  std::vector<int> results_;  // nodes: value, derivatives or margin
};

}  // namespace quiver
