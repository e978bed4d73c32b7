// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/tape.h"

#include <algorithm>

#include "runtime/expression/lanes.h"

namespace quiver {

namespace {

void RunOverRows(const Tape::Group& group, const int* const (&operands)[3], const double* file,
                 double* target) {
  for (int first = 0; first < group.count; first += kLanes) {
    const int lanes = std::min(kLanes, group.count - first);
    Lanes rows[3], result;
    for (int k = 0; k < group.arity; ++k) Gather(file, operands[k] + first, 1, lanes, rows[k].lane);
    RunOperation(group.op, result.lane, rows[0].lane, rows[1].lane, rows[2].lane, lanes);
    std::copy_n(result.lane, lanes, target + first);
  }
}

}  // namespace

void RunGroups(Tape& tape, std::size_t first, std::size_t last) {
  double* const file = tape.file.data();
  const int* const operands = tape.operands.data();
  const Tape::Group* const end = tape.groups.data() + last;
  for (const Tape::Group* group = tape.groups.data() + first; group != end; ++group) {
    const int count = group->count, arity = group->arity;
    double* const target = file + group->target;
    const int* const a = operands + group->operands;
    const int* const b = arity > 1 ? a + count : a;
    const int* const c = arity > 2 ? b + count : a;
    switch (group->op) {
#define QUIVER_GROUP(code, name, ...)                                                                       \
  case Operator::k##name:                                                                                   \
    if constexpr (RunsOverRows(Operator::k##name)) {                                                        \
      RunOverRows(*group, {a, b, c}, file, target);                                                         \
    } else {                                                                                                \
      for (int i = 0; i < count; ++i)                                                                       \
        target[i] = Formula<Operator::k##name>::template Value<double>(file[a[i]], file[b[i]], file[c[i]]); \
    }                                                                                                       \
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

}  // namespace quiver
