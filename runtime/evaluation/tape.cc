// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/tape.h"

#include <algorithm>

#include "runtime/expression/lanes.h"

namespace quiver {

bool RunsOverRows(Operator op) {
  switch (op) {
    case Operator::kPower:
    case Operator::kExponential:
    case Operator::kNaturalLogarithm:
      return true;
    default:
      return false;
  }
}

void RunGroup(Tape& tape, const Tape::Group& group) {
  double* const file = tape.file.data();
  double* const target = file + group.target;
  const int count = group.count, arity = group.arity;
  const int* const a = tape.operands.data() + group.operands;
  const int* const b = arity > 1 ? a + count : a;
  const int* const c = arity > 2 ? b + count : a;
  if (RunsOverRows(group.op)) {
    for (int first = 0; first < count; first += kLanes) {
      const int lanes = std::min(kLanes, count - first);
      Lanes rows[3], result;
      const int* const operand[] = {a + first, b + first, c + first};
      for (int k = 0; k < arity; ++k) Gather(file, operand[k], 1, lanes, rows[k].lane);
      RunOperation(group.op, result.lane, rows[0].lane, rows[1].lane, rows[2].lane, lanes);
      std::copy_n(result.lane, lanes, target + first);
    }
    return;
  }
  switch (group.op) {
#define QUIVER_GROUP(code, name, ...)                                                                     \
  case Operator::k##name:                                                                                 \
    for (int i = 0; i < count; ++i)                                                                       \
      target[i] = Formula<Operator::k##name>::template Value<double>(file[a[i]], file[b[i]], file[c[i]]); \
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

}  // namespace quiver
