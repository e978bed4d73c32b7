// SPDX-License-Identifier: Apache-2.0
// Writes steps without jumps as machine code: numbers stay in the machine's registers as long as they are needed and there
// is room; what is needed longest hence goes back to memory first.
//
//   SegmentWriter writer(assembler, home_of);       // home_of(r): where register r of the program lies in memory
//   writer.Write(steps);
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "runtime/expression/operators.h"
#include "runtime/expression/vector_assembler.h"

namespace quiver {

// A place that takes a step's result, or its opposite.
struct ResultPlace {
  Address address;
  bool is_negated = false;
};

struct MachineStep {
  Operator op;  // kResidual: the operand as it is, only for its results
  int target, a, b;
  bool is_kept = true;  // whether its home must hold the result behind these steps
  std::span<const ResultPlace> results;
};

class SegmentWriter {
 public:
  using HomeOf = std::function<Address(int)>;

  // Whether steps may do this operation.
  static bool Knows(Operator op);

  SegmentWriter(VectorAssembler& code, HomeOf home_of) : code_(code), home_of_(std::move(home_of)) {}

  void Write(std::span<const MachineStep> steps);

 private:
  struct Number {
    int home = -1;  // register of the program
    int reg = -1;   // of the machine, while it is in one
    bool is_in_memory = true;
    std::vector<int> reads{};  // steps, the last one first
  };

  int Loaded(int number);
  int FreeRegister();
  void Release(int number);
  void WriteStep(Operator op, int to, int a, int b);
  void WriteResults(const MachineStep& step, int reg);

  VectorAssembler& code_;
  HomeOf home_of_;
  std::vector<Number> numbers_;
  std::vector<int> held_;    // by machine register: the number in it, -1: none
  std::vector<char> fixed_;  // by machine register: needed by the step being written
};

}  // namespace quiver
