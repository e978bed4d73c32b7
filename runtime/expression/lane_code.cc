// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/lane_code.h"

#include <algorithm>
#include <cstdint>

#include "runtime/expression/lanes.h"
#include "runtime/expression/segment_writer.h"

namespace quiver {
#ifdef QUIVER_WIDE_MACHINES
namespace {

// Which steps' results must be in memory behind their piece of code: those that other pieces, rows or outputs read.
std::vector<char> KeptSteps(const Program& program, std::span<const char> is_native) {
  enum Reader : char { kNobody, kSamePiece, kOthers };
  std::vector<char> reader(static_cast<std::size_t>(program.registers), kNobody);
  std::vector<char> is_kept(program.code.size(), 0);
  const auto leave_piece = [&] {
    for (char& of : reader)
      if (of == kSamePiece) of = kOthers;
  };
  std::size_t turn = program.turns.size();
  for (std::size_t i = program.code.size(); i-- > 0;) {
    while (turn > 0 && program.turns[turn - 1].code_end > static_cast<int>(i)) {
      --turn;
      leave_piece();
      const int begin = turn == 0 ? 0 : program.turns[turn - 1].outputs_end;
      for (int k = begin; k < program.turns[turn].outputs_end; ++k)
        reader[static_cast<std::size_t>(program.outputs[static_cast<std::size_t>(k)])] = kOthers;
    }
    const Instruction& step = program.code[i];
    if (!is_native[i]) leave_piece();
    char& of_target = reader[static_cast<std::size_t>(step.target)];
    is_kept[i] = of_target == kOthers;
    of_target = kNobody;
    for (const int operand : {step.a, step.b, step.c}) {
      char& of = reader[static_cast<std::size_t>(operand)];
      of = std::max(of, static_cast<char>(is_native[i] ? kSamePiece : kOthers));
    }
  }
  return is_kept;
}

}  // namespace

std::shared_ptr<const LaneCode> LaneCode::Write(const Program& program) {
  if (CurrentMachine() == Machine::kBaseline || program.turns.empty()) return nullptr;
  auto code = std::make_shared<LaneCode>();
  code->machine_ = CurrentMachine();
  VectorAssembler assembler(code->machine_ == Machine::kAvx512 ? VectorWidth::kAvx512 : VectorWidth::kAvx2);
  const auto home_of = [&](int r) -> Address {
    constexpr auto kNumber = static_cast<std::int32_t>(sizeof(double));
    if (r < program.constant_count) return {.base = Address::kRdx, .offset = r * kNumber, .is_single = true};
    if (r < program.time_register())
      return {.base = Address::kRax, .is_indexed = true, .pointer = r * kNumber};
    return {
        .base = Address::kRsi, .offset = r * static_cast<std::int32_t>(sizeof(Lanes)), .is_indexed = true};
  };
  SegmentWriter writer(assembler, home_of);
  std::vector<char> is_native;
  for (const Instruction& step : program.code) is_native.push_back(SegmentWriter::Knows(step.op));
  const std::vector<char> is_kept = KeptSteps(program, is_native);

  std::vector<std::size_t> starts;  // by piece: in the code
  std::vector<MachineStep> steps;
  int i = 0;
  for (const Turn& turn : program.turns) {
    while (i < turn.code_end) {
      const int begin = i;
      const bool native = is_native[static_cast<std::size_t>(begin)];
      while (i < turn.code_end && static_cast<bool>(is_native[static_cast<std::size_t>(i)]) == native) ++i;
      code->pieces_.push_back({nullptr, begin, i});
      starts.push_back(assembler.size());
      if (!native) continue;
      steps.clear();
      for (int n = begin; n < i; ++n) {
        const Instruction& step = program.code[static_cast<std::size_t>(n)];
        steps.push_back(
            {step.op, step.target, step.a, step.b, is_kept[static_cast<std::size_t>(n)] != 0, {}});
      }
      assembler.BeginLoop();
      writer.Write(steps);
      assembler.EndLoop();
      assembler.Return();
    }
    code->turn_ends_.push_back(static_cast<int>(code->pieces_.size()));
  }
  code->memory_ = ExecutableMemory::Holding(assembler.Finish());
  if (!code->memory_) return nullptr;
  for (std::size_t p = 0; p < starts.size(); ++p) {
    Piece& piece = code->pieces_[p];
    if (is_native[static_cast<std::size_t>(piece.begin)])
      piece.function = reinterpret_cast<Function>(const_cast<void*>(code->memory_->at(starts[p])));
  }
  return code;
}
#else
std::shared_ptr<const LaneCode> LaneCode::Write(const Program&) { return nullptr; }
#endif

}  // namespace quiver
