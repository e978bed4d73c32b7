// SPDX-License-Identifier: Apache-2.0
// A program over lanes as machine code. Arithmetic is written out, with numbers kept in the machine's registers; powers,
// logarithms and what else takes long stay operations over whole rows, between the pieces of code.
//
//   program.machine_code = LaneCode::Write(program);       // null where there is no way; then the steps are interpreted
//
// Every step keeps its operands and their order: the results have the bits of the interpreted program.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "runtime/expression/executable_memory.h"
#include "runtime/expression/machine.h"
#include "runtime/expression/program.h"

namespace quiver {

class LaneCode {
 public:
  // rows: by register of the program; scratch: rows of intermediate results, by register too; bytes: of a row, that are to
  // be computed.
  using Function = void(QUIVER_CODE_CALL*)(const double* const* rows, double* scratch,
                                           const double* constants, std::size_t bytes);
  // A piece of code, or steps over rows.
  struct Piece {
    Function function;
    int begin, end;  // steps
  };

  // For CurrentMachine().
  static std::shared_ptr<const LaneCode> Write(const Program& program);

  Machine machine() const { return machine_; }
  std::span<const Piece> OfTurn(int turn) const {
    const int begin = turn == 0 ? 0 : turn_ends_[static_cast<std::size_t>(turn) - 1];
    return std::span(pieces_).subspan(
        static_cast<std::size_t>(begin),
        static_cast<std::size_t>(turn_ends_[static_cast<std::size_t>(turn)] - begin));
  }
  std::size_t memory_bytes() const {
    return sizeof *this + memory_->size() + pieces_.capacity() * sizeof(Piece) +
           turn_ends_.capacity() * sizeof(int);
  }

 private:
  Machine machine_ = Machine::kBaseline;
  std::unique_ptr<ExecutableMemory> memory_;
  std::vector<Piece> pieces_;
  std::vector<int> turn_ends_;  // among the pieces
};

}  // namespace quiver
