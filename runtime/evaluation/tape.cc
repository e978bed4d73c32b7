// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/tape.h"

#include <algorithm>
#include <cassert>

#include "runtime/expression/lanes.h"

namespace quiver {
namespace {

typedef double Pair [[gnu::vector_size(16), gnu::aligned(8), gnu::may_alias]];

template <Operator op>
Pair PairOf(const double* file, const Tape::Place* a, const Tape::Place* b) {
  const Pair first = {file[a[0]], file[a[1]]}, second = {file[b[0]], file[b[1]]};
  if constexpr (op == Operator::kAdd) return first + second;
  if constexpr (op == Operator::kSubtract) return first - second;
  if constexpr (op == Operator::kMultiply) return first * second;
  if constexpr (op == Operator::kDivide) return first / second;
}

template <Operator op>
void RunInPairs(const Tape& tape, const Tape::Group& group, double* file, double* elsewhere) {
  const int count = group.count;
  const Tape::Place *const a = tape.operands.data() + group.operands, *const b = a + count;
  if (group.into == Tape::Into::kFile) {
    double* const target = file + group.target;
    for (int i = 0; i < count; i += 2) *reinterpret_cast<Pair*>(target + i) = PairOf<op>(file, a + i, b + i);
    return;
  }
  const int* const to = tape.ElsewhereOf(group);
  const auto hand_out = [&](auto last) {
    for (int i = 0; i < count; i += 2) {
      const Pair results = last(PairOf<op>(file, a + i, b + i));
      elsewhere[to[i]] = results[0];
      elsewhere[to[i + 1]] = results[1];
    }
  };
  if (group.into == Tape::Into::kOpposites) {
    hand_out([](Pair results) { return -results; });
  } else {
    hand_out([](Pair results) { return results; });
  }
}

void RunOverRows(const Tape& tape, const Tape::Group& group, double* file) {
  double* const target = file + group.target;
  for (int first = 0; first < group.count; first += kLanes) {
    const int lanes = std::min(kLanes, group.count - first);
    Lanes rows[3], result;
    for (int k = 0; k < group.arity; ++k) {
      const std::span<const Tape::Place> operands = tape.OperandsOf(group, k);
      int places[kLanes];
      std::copy_n(operands.begin() + first, lanes, places);
      Gather(file, places, 1, lanes, rows[k].lane);
    }
    RunOperation(group.op, result.lane, rows[0].lane, rows[1].lane, rows[2].lane, lanes);
    std::copy_n(result.lane, lanes, target + first);
  }
}

template <Operator op>
void RunSingly(const Tape& tape, const Tape::Group& group, double* file) {
  const int count = group.count;
  double* const target = file + group.target;
  const Tape::Place* const a = tape.operands.data() + group.operands;
  const Tape::Place* const b = group.arity > 1 ? a + count : a;
  const Tape::Place* const c = group.arity > 2 ? b + count : a;
  for (int i = 0; i < count; ++i)
    target[i] = Formula<op>::template Value<double>(file[a[i]], file[b[i]], file[c[i]]);
}

template <Operator op>
void Run(const Tape& tape, const Tape::Group& group, double* file, double* elsewhere) {
  if constexpr (RunsInPairs(op)) {
    RunInPairs<op>(tape, group, file, elsewhere);
  } else if constexpr (RunsOverRows(op)) {
    RunOverRows(tape, group, file);
  } else {
    RunSingly<op>(tape, group, file);
  }
}

void Run(Tape& tape, std::span<const Tape::Group> groups, double* residuals, double* entries) {
  double* const file = tape.file.data();
  for (const Tape::Group& group : groups) {
    double* const elsewhere = group.into == Tape::Into::kResiduals ? residuals : entries;
    switch (group.op) {
#define QUIVER_GROUP(code, name, ...)                     \
  case Operator::k##name:                                 \
    Run<Operator::k##name>(tape, group, file, elsewhere); \
    break;
#define OPERATOR QUIVER_GROUP
#define CONDITION QUIVER_GROUP
#define INTERNAL QUIVER_GROUP
#include "runtime/expression/operators.def"
#undef QUIVER_GROUP
      default:
        break;
    }
  }
}

}  // namespace

void Tape::PlaceVariables(std::span<const int> ascending) {
  first_variable = static_cast<int>(file.size());
  variables.assign(ascending.begin(), ascending.end());
  for (const int variable : ascending) {
    if (stretches.empty() || stretches.back().variable + stretches.back().count != variable)
      stretches.push_back({variable, 0});
    ++stretches.back().count;
  }
  first_result = time() + 1;
}

std::size_t Tape::memory_bytes() const {
  return file.capacity() * sizeof(double) + groups.capacity() * sizeof(Group) +
         operands.capacity() * sizeof(Place) + (variables.capacity() + elsewhere.capacity()) * sizeof(int) +
         stretches.capacity() * sizeof(Stretch) +
         (residuals.list.capacity() + entries.list.capacity() + opposites.list.capacity()) * sizeof(Result);
}

void RunTape(Tape& tape, const double* x, double time, double* residuals, double* entries) {
  double* const file = tape.file.data();
  double* variables = file + tape.first_variable;
  for (const Tape::Stretch& stretch : tape.stretches)
    variables = std::copy_n(x + stretch.variable, stretch.count, variables);
  *variables = time;
  Run(tape, tape.groups, residuals, entries);
  const auto copied = [](const Tape::Results& results) {
    return std::span(results.list).first(results.copied);
  };
  for (const auto [from, to] : copied(tape.residuals)) residuals[to] = file[from];
  for (const auto [from, to] : copied(tape.entries)) entries[to] = file[from];
  for (const auto [from, to] : copied(tape.opposites)) entries[to] = -file[from];
}

void RunGroup(Tape& tape, const Tape::Group& group) {
  assert(group.into == Tape::Into::kFile);
  Run(tape, {&group, 1}, nullptr, nullptr);
}

}  // namespace quiver
