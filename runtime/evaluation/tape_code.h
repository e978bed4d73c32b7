// SPDX-License-Identifier: Apache-2.0
// A tape as machine code: arithmetic is written out in the order of the equations, reads variables where they are and
// writes residuals and entries where they belong; groups of powers, logarithms and what else takes long run between pieces
// of code.
//
//   std::unique_ptr<const TapeCode> code = TapeCode::Write(tape, first_entries);     // null where there is no way
//   code->Run(tape, x, time, residuals, entries);
//
// Every step keeps its operands and their order: the results have the bits of the tape.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "runtime/evaluation/tape.h"
#include "runtime/expression/executable_memory.h"

namespace quiver {

class TapeCode {
 public:
  // `first_entries`: of the tape's equations, where they begin.
  static std::unique_ptr<const TapeCode> Write(const Tape& tape, std::span<const int> first_entries);

  static bool IsForCurrentMachine();
  // The tape is the one that was written; `entries` may be null where it has none.
  void Run(Tape& tape, const double* x, double time, double* residuals, double* entries) const;

  std::size_t memory_bytes() const;

 private:
  using Function = void(QUIVER_CODE_CALL*)(const double* x, double* file, double* residuals, double* entries);
  struct Piece {
    Function function;  // null: nothing to do before the group
    int group;          // that runs behind it; -1: none
  };
  struct Copy {
    int place, variable;
  };

  std::unique_ptr<ExecutableMemory> memory_;
  std::vector<Piece> pieces_;
  std::vector<Copy> copies_;  // variables that groups read from the file
};

}  // namespace quiver
