// SPDX-License-Identifier: Apache-2.0
// Runs compiled shapes: one instance, or many instances of one shape in blocks of 64, where each operation is
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

#include "runtime/expression/shape.h"

namespace quiver {

struct EvaluationContext {
  double time = 0;  // simulation time, code 55
};

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

  static constexpr int kBlock = 64;

 private:
  struct alignas(64) Lanes {  // one register for a block of instances
    double lane[kBlock];
  };

  const double* RunOne(const Program& program, std::span<const int> gather, std::span<const double> x,
                       double time);
  void RunBlocks(const Program& program, std::span<const int> gathers, std::span<const double> x, double time,
                 std::span<double> values, std::span<double> gradients);

  std::vector<double> single_;
  std::vector<Lanes> block_;
};

}  // namespace quiver
