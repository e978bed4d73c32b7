// SPDX-License-Identifier: Apache-2.0
// Joins the programs of several equations: what they have in common is computed once. Every step keeps its operands and
// their order, so that each result has the bits of its own program.
//
//   JointFormulas joint(inputs);                     // as many as variables; the time follows them
//   std::vector<int> results = joint.Add(*shape.programs, constants, inputs);   // nodes: value, derivatives
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/shape.h"

namespace quiver {

class JointFormulas {
 public:
  // With `few_operations` what multiplication can do is multiplication: -a is a (-1) and sqr(a) is a a to the last bit.
  // `steps`: about how many are to come.
  explicit JointFormulas(int inputs, bool few_operations = false, std::size_t steps = 0)
      : builder_(steps + static_cast<std::size_t>(inputs)),
        inputs_(inputs),
        time_(builder_.Input(inputs)),
        few_operations_(few_operations) {}

  // `constants` and `variables` are nodes of this builder.
  std::vector<int> Add(const Program& program, std::span<const int> constants,
                       std::span<const int> variables);

  // The operand of a step that only negates, else -1: whoever hands the result out can do that on the way.
  int NegatedBy(int node) const;

  FormulaBuilder& builder() { return builder_; }
  const FormulaBuilder& builder() const { return builder_; }
  int inputs() const { return inputs_; }

 private:
  FormulaBuilder builder_;
  int inputs_, time_;
  bool few_operations_;
  std::vector<int> node_;  // by register of the program being added
};

}  // namespace quiver
