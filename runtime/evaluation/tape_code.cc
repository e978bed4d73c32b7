// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/tape_code.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "runtime/expression/machine.h"
#include "runtime/expression/segment_writer.h"

namespace quiver {
#ifdef QUIVER_WIDE_MACHINES
namespace {

constexpr std::int32_t kNumber = sizeof(double);

bool FitsAnOffset(int index) { return index <= std::numeric_limits<std::int32_t>::max() / kNumber; }

// What is computed between two groups, in an order in which a result soon meets those who read it: by equation, its residual,
// then its entries, each behind what it needs and nothing else has asked for yet.
class TapeWriter {
 public:
  TapeWriter(const Tape& tape, std::span<const int> first_entries)
      : tape_(tape), steps_(static_cast<std::size_t>(tape.places)) {
    for (const Tape::Group& group : tape.groups) {
      const bool is_native = SegmentWriter::Knows(group.op);
      for (int i = 0; i < group.count; ++i) {
        Step& step = At(group.target + i);
        const Tape::Place* const a = tape.operands.data() + group.operands + i;
        step.op = group.op;
        step.a = *a;
        step.b = group.arity > 1 ? a[group.count] : *a;
        step.known_from = is_native ? 0 : segments_;
        if (is_native) {
          for (int k = 0; k < group.arity; ++k)
            step.known_from = std::max(step.known_from, At(a[k * group.count]).known_from);
          step.segment = step.known_from;
        }
        for (int k = 0; k < group.arity; ++k) ReadBy(a[k * group.count], step.segment);
      }
      if (!is_native) ++segments_;
    }
    FindResults(first_entries);
  }

  int segments() const { return segments_; }
  bool IsReadByGroups(int place) const { return steps_[static_cast<std::size_t>(place)].is_kept; }

  std::vector<MachineStep> Steps(int segment) {
    written_.clear();
    for (const int root : roots_) Visit(root, segment);
    for (int place = tape_.first_result; place < tape_.places; ++place)
      if (At(place).is_kept) Visit(place, segment);
    if (segment + 1 == segments_) {
      for (const int root : roots_) {  // results that no code computes
        Step& step = At(root);
        if (step.segment == kNoSegment && !step.is_done)
          written_.push_back({Operator::kResidual, root, root, root, false, step.results});
        step.is_done = true;
      }
    }
    return std::move(written_);
  }

 private:
  static constexpr int kNoSegment = -1;

  struct Step {
    Operator op = Operator::kEndOfList;
    int a = -1, b = -1;
    int segment = kNoSegment;  // that computes it, as early as it can
    int known_from = 0;        // segment
    bool is_kept = false;      // read in other segments or by groups
    bool is_done = false;
    std::vector<ResultPlace> results{};
  };

  Step& At(int place) { return steps_[static_cast<std::size_t>(place)]; }

  void ReadBy(int place, int segment) {
    Step& step = At(place);
    const bool is_computed_elsewhere = step.segment != kNoSegment && step.segment != segment;
    if (segment == kNoSegment || is_computed_elsewhere) step.is_kept = true;
  }

  void FindResults(std::span<const int> first_entries) {
    struct Entry {
      int to, from;
      bool is_negated;
    };
    std::vector<Entry> entries;
    for (const auto [from, to] : tape_.entries.list) entries.push_back({to, from, false});
    for (const auto [from, to] : tape_.opposites.list) entries.push_back({to, from, true});
    std::vector<Tape::Result> residuals = tape_.residuals.list;
    std::sort(residuals.begin(), residuals.end(), [](const auto& a, const auto& b) { return a.to < b.to; });
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.to < b.to; });
    auto next = entries.begin();
    const auto take = [&](int end) {
      for (; next != entries.end() && next->to < end; ++next) {
        roots_.push_back(next->from);
        At(next->from)
            .results.push_back({{.base = Address::kRcx, .offset = next->to * kNumber}, next->is_negated});
      }
    };
    for (std::size_t k = 0; k < residuals.size(); ++k) {
      const auto [from, to] = residuals[k];
      take(first_entries[k]);
      roots_.push_back(from);
      At(from).results.push_back({{.base = Address::kRdx, .offset = to * kNumber}, false});
    }
    take(std::numeric_limits<int>::max());
  }

  void Visit(int root, int segment) {
    stack_.push_back({root, false});
    while (!stack_.empty()) {
      const auto [place, has_operands] = stack_.back();
      stack_.pop_back();
      Step& step = At(place);
      if (step.segment != segment || step.is_done) continue;
      if (has_operands) {
        step.is_done = true;
        written_.push_back({step.op, place, step.a, step.b, step.is_kept, step.results});
        continue;
      }
      stack_.push_back({place, true});
      stack_.push_back({step.b, false});
      stack_.push_back({step.a, false});
    }
  }

  const Tape& tape_;
  std::vector<Step> steps_;  // by place
  std::vector<int> roots_;   // places of results, by equation
  int segments_ = 1;
  std::vector<MachineStep> written_;
  std::vector<std::pair<int, bool>> stack_;
};

}  // namespace
#endif

bool TapeCode::IsForCurrentMachine() { return CurrentMachine() != Machine::kBaseline; }

std::unique_ptr<const TapeCode> TapeCode::Write(const Tape& tape, std::span<const int> first_entries) {
#ifdef QUIVER_WIDE_MACHINES
  const auto fits = [](const std::vector<Tape::Result>& results) {
    return std::all_of(results.begin(), results.end(),
                       [](const auto& result) { return FitsAnOffset(result.to); });
  };
  if (!IsForCurrentMachine() || !fits(tape.residuals.list) || !fits(tape.entries.list) ||
      !fits(tape.opposites.list) || !std::all_of(tape.variables.begin(), tape.variables.end(), FitsAnOffset))
    return nullptr;
  const auto home_of = [&](int place) -> Address {
    const int variable = place - tape.first_variable;
    if (variable >= 0 && place < tape.time())
      return {.base = Address::kRdi, .offset = tape.variables[static_cast<std::size_t>(variable)] * kNumber};
    return {.base = Address::kRsi, .offset = place * kNumber};
  };
  VectorAssembler assembler(VectorWidth::kScalar);
  SegmentWriter segment_writer(assembler, home_of);
  TapeWriter writer(tape, first_entries);
  auto code = std::make_unique<TapeCode>();
  std::vector<std::size_t> starts;
  std::vector<bool> has_code;
  int group = 0;
  for (int segment = 0; segment < writer.segments(); ++segment) {
    const std::vector<MachineStep> steps = writer.Steps(segment);
    starts.push_back(assembler.size());
    has_code.push_back(!steps.empty());
    if (!steps.empty()) {
      segment_writer.Write(steps);
      assembler.Return();
    }
    const int groups = static_cast<int>(tape.groups.size());
    while (group < groups && SegmentWriter::Knows(tape.groups[static_cast<std::size_t>(group)].op)) ++group;
    code->pieces_.push_back({nullptr, group < groups ? group++ : -1});
  }
  for (int k = 0; k < static_cast<int>(tape.variables.size()); ++k) {
    if (writer.IsReadByGroups(tape.first_variable + k))
      code->copies_.push_back({tape.first_variable + k, tape.variables[static_cast<std::size_t>(k)]});
  }
  code->memory_ = ExecutableMemory::Holding(assembler.Finish());
  if (!code->memory_) return nullptr;
  for (std::size_t p = 0; p < starts.size(); ++p) {
    if (has_code[p])
      code->pieces_[p].function = reinterpret_cast<Function>(const_cast<void*>(code->memory_->at(starts[p])));
  }
  return code;
#else
  (void)tape;
  (void)first_entries;
  return nullptr;
#endif
}

void TapeCode::Run(Tape& tape, const double* x, double time, double* residuals, double* entries) const {
  double* const file = tape.file.data();
  for (const Copy& copy : copies_) file[copy.place] = x[copy.variable];
  file[tape.time()] = time;
  for (const Piece& piece : pieces_) {
    if (piece.function) piece.function(x, file, residuals, entries);
    if (piece.group >= 0) RunGroup(tape, tape.groups[static_cast<std::size_t>(piece.group)]);
  }
}

std::size_t TapeCode::memory_bytes() const {
  return sizeof *this + memory_->size() + pieces_.capacity() * sizeof(Piece) +
         copies_.capacity() * sizeof(Copy);
}

}  // namespace quiver
