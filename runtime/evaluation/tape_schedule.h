// SPDX-License-Identifier: Apache-2.0
// Arranges the steps of joined formulas as a tape: of all steps whose operands are known, those of one operation run next, as
// one group. The operation is that of the step behind which most others wait for one another, so that groups are few; powers
// and logarithms wait until nothing else is left, so that more of them come together. Steps that only hand out a result come
// last of all.
//
//   Tape tape = ScheduleTape(builder, variables, {residuals, entries, opposites});
#pragma once

#include <span>

#include "runtime/evaluation/tape.h"
#include "runtime/expression/formula_builder.h"

namespace quiver {

// From nodes to residuals and entries, the opposites arriving negated.
struct TapeResults {
  std::vector<Tape::Result> residuals, entries, opposites;
};

// `variables`: of the system, by input of the builder; the input behind them is the time.
Tape ScheduleTape(const FormulaBuilder& builder, std::span<const int> variables, const TapeResults& results);

// The same tape for residuals alone.
Tape WithoutEntries(const Tape& all);

}  // namespace quiver
