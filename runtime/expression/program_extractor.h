// SPDX-License-Identifier: Apache-2.0
// From formulas to register code: what the outputs need, in an order in which a step follows one of its operands where it
// can, in as few registers as that order needs.
//
//   ProgramExtractor extractor;                       // keeps its memory for the next one
//   plan.Need(builder, outputs);
//   Program program = extractor.Extract(builder, plan, outputs, 3, {});
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/program.h"

namespace quiver {

class ProgramExtractor {
 public:
  // The steps that `outputs` (nodes) need. The plan must hold what they need. With several turns, turn t hands out the
  // outputs before turn_ends[t]; none: one turn.
  Program Extract(const FormulaBuilder& builder, const ConstantPlan& plan, std::span<const int> outputs,
                  int variables, std::span<const int> turn_ends = {});

 private:
  enum class From : char { kConstant, kInput, kStep };
  struct NodeState {
    int uses = 0;  // readings in all, outputs included
    int left = 0;  // readings to come
    int place;     // register
    int step;      // that computes it; -1: none, or not yet
    From from;
  };
  struct Visit {
    int id;
    bool has_operands;
  };

  int CountUses(std::span<const int> outputs);
  NodeState& At(int id) { return state_[static_cast<std::size_t>(id)]; }
  bool IsLeft(int id) { return id >= 0 && At(id).from == From::kStep && At(id).step < 0; }
  void Compute(int output);
  void Emit(int id);
  void ReadRegister(const NodeState& state);
  void FreeIfLast(NodeState& state);
  void HandOut(std::span<const int> outputs);

  const FormulaBuilder* builder_ = nullptr;
  const ConstantPlan* plan_ = nullptr;
  Program program_;
  int previous_ = -1;             // the step before, if its result is still in the processor's registers
  std::vector<NodeState> state_;  // by node
  std::vector<Visit> stack_;
  std::vector<int> free_registers_;
};

}  // namespace quiver
