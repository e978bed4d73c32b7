// SPDX-License-Identifier: Apache-2.0
// Runs compiled shapes: one instance, or many instances of one shape in blocks, where each operation is
// a loop over the block. Both give the same bits. An evaluator owns its scratch memory: one per thread, and
// no allocation once it has seen its largest shape.
//
//   Evaluator evaluator;
//   double slopes[3];
//   double residual = evaluator.Gradient(shapes[id], gather, x, slopes);
//   evaluator.Gradients(shapes[id], gathers, x, values, gradients);      // gathers: count * variable_count
//   places
//
// Gathers and gradients are instance-major with stride shape.variable_count. What is undefined comes back as
// infinity or not-a-number; undefined.h names the place.
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/lanes.h"
#include "runtime/expression/shape.h"

namespace quiver {

class Evaluator {
 public:
  double Value(const Shape& shape, std::span<const int> gather, std::span<const double> x,
               const EvaluationContext& context = {});
  // Value of an equation; its derivative by gather[k] goes to gradient[k].
  double Gradient(const Shape& shape, std::span<const int> gather, std::span<const double> x,
                  std::span<double> gradient, const EvaluationContext& context = {});

  // values.size() instances. Values also takes conditions: 1 where they hold, 0 where not.
  void Values(const Shape& shape, std::span<const int> gathers, std::span<const double> x,
              std::span<double> values, const EvaluationContext& context = {});
  void Gradients(const Shape& shape, std::span<const int> gathers, std::span<const double> x,
                 std::span<double> values, std::span<double> gradients,
                 const EvaluationContext& context = {});

  // Conditions. A comparison with not-a-number does not hold.
  bool Holds(const Shape& condition, std::span<const int> gather, std::span<const double> x,
             const EvaluationContext& context = {});
  // Distance of the deciding comparison's sides: positive where the condition holds, negative where it does
  // not, continuous through 0 where it switches. Equality: minus the distance. Text comparisons alone: plus
  // or minus infinity. At exactly 0 Holds() decides (< or <=).
  double Margin(const Shape& condition, std::span<const int> gather, std::span<const double> x,
                const EvaluationContext& context = {});

 private:
  const double* RunOne(const Program& program, std::span<const double> constants, std::span<const int> gather,
                       std::span<const double> x, double time);
  // Fills the rows of a block and returns how many instances it holds.
  int GatherBlock(const Shape& shape, std::span<const int> gathers, std::size_t first, std::size_t count,
                  const double* x);

  std::vector<double> single_;
  LaneEvaluator lanes_;
  std::vector<Lanes> block_;  // inputs
  std::vector<const double*> inputs_, outputs_;
};

}  // namespace quiver
