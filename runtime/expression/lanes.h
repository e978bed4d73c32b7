// SPDX-License-Identifier: Apache-2.0
// Runs one shape over a block of up to kLanes instances whose values lie in lanes: row k of the inputs holds variable k
// of every instance. Whoever keeps his values in lanes hands over rows and reads rows; nothing is copied.
//
//   LaneEvaluator evaluator;                               // one per thread
//   alignas(kLaneBytes) double x[2][kLanes], ...;
//   const double* inputs[] = {x[0], x[1]};                 // the shape's variables, in gather order
//   evaluator.Gradients(shape, inputs, lanes);
//   evaluator.output(0)[i], evaluator.output(1 + k)[i]     // value and derivative by variable k of instance i
//
// Rows are aligned to kLaneBytes and readable as far as BlockWidth(lanes); what stands behind
// the last lane is computed with, but never used. Lane i of a result depends on lane i of the inputs alone: it has the bits that
// Evaluator::Gradient gives for that instance, in any lane and any block.
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/shape.h"

namespace quiver {

inline constexpr int kLanes = 64;
inline constexpr int kLaneBytes = 64;
inline constexpr int kVectorLanes = kLaneBytes / sizeof(double);

struct EvaluationContext {
  double time = 0;  // simulation time, code 55
};

// A row of a block.
struct alignas(kLaneBytes) Lanes {
  double lane[kLanes];
};

// How many lanes really run for `lanes` instances: one or two vectors' worth, or the whole block.
constexpr int BlockWidth(int lanes) {
  return lanes <= kVectorLanes ? kVectorLanes : lanes <= 2 * kVectorLanes ? 2 * kVectorLanes : kLanes;
}

class LaneEvaluator {
 public:
  // output(0): the value; of a condition 1 where it holds and 0 where not.
  void Values(const Shape& shape, std::span<const double* const> inputs, int lanes,
              const EvaluationContext& context = {}) {
    Run(shape.programs->value, shape.constants, inputs, lanes, context);
  }
  // output(0): the value of an equation; output(1 + k): its derivative by variable k.
  void Gradients(const Shape& shape, std::span<const double* const> inputs, int lanes,
                 const EvaluationContext& context = {}) {
    Run(shape.programs->gradient, shape.constants, inputs, lanes, context);
  }
  // A row of results, valid until the next run. It may be a row of the inputs (the derivative of x*y by x is y).
  const double* output(int k) const { return rows_[program_->outputs[k]]; }

  // Any program; output(k) is the row of its k-th result.
  void Run(const Program& program, std::span<const double> constants, std::span<const double* const> inputs,
           int lanes, const EvaluationContext& context = {}) {
    Start(program, constants, inputs, lanes, context);
    for (std::size_t turn = 0; turn < program.turns.size(); ++turn) RunTurn(static_cast<int>(turn));
  }
  // The same turn by turn; a turn's results are valid until the next turn. The constants stay where they are meanwhile.
  void Start(const Program& program, std::span<const double> constants, std::span<const double* const> inputs,
             int lanes, const EvaluationContext& context = {});
  void RunTurn(int turn);

 private:
  void RunCode(const LaneCode& code, int turn);

  const Program* program_ = nullptr;  // last run
  int lanes_ = 0;
  const double* constants_ = nullptr;
  std::vector<const double*> rows_;  // by register
  std::vector<Lanes> scratch_;  // intermediate results, the time, constants where an operation wants a row
};

// One operation over rows; operands that it does not have may be any row.
void RunOperation(Operator op, double* target, const double* a, const double* b, const double* c, int lanes);

// Rows of a block from values at places, and back: row[i] = x[places[i * stride]]. Gathered rows are filled up to
// BlockWidth with the last instance's value, so that nothing odd is computed behind it.
void Gather(const double* x, const int* places, int stride, int lanes, double* row);
void Scatter(const double* row, const int* places, int stride, int lanes, double* x);
// The same where the places are first, first + step, ...
void GatherAffine(const double* x, long long first, long long step, int lanes, double* row);
void ScatterAffine(const double* row, long long first, long long step, int lanes, double* x);
// Several rows at once, where instance i has its values one behind the other: rows[k].lane[i] = from[i * step + k].
void GatherRows(const double* from, long long step, int lanes, Lanes* rows, int count);
// Rows with -0.0 among the signs, if there are any, arrive negated.
void ScatterRows(const double* const* rows, int count, int lanes, double* to, long long step,
                 const double* signs = nullptr);

}  // namespace quiver
