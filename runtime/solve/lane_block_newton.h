// SPDX-License-Identifier: Apache-2.0
// A block of several equations, for many like parts at once: DampedNewton's iteration, each part in a lane of its own, as long
// as whole Newton steps inside the bounds do. A lane that needs anything else (a shorter or a damped step, a bound, other
// pivots) is given back as it came.
//
//   LaneBlockNewton newton(layout);
//   newton.Solve(evaluator, equations, places, bounds, options, values, lanes, skip);
//   if (newton.Lane(i).outcome == LaneBlockNewton::kGivenBack) ...   // else the values of its places solve it
//
// The order of pivots is the same for all lanes. It follows from the first lane that can be evaluated, so that results depend
// on which parts stand side by side, not on who solves them.
#ifndef QUIVER_RUNTIME_SOLVE_LANE_BLOCK_NEWTON_H_
#define QUIVER_RUNTIME_SOLVE_LANE_BLOCK_NEWTON_H_

#include <optional>
#include <span>
#include <vector>

#include "runtime/solve/block_method.h"
#include "runtime/solve/lane_elimination.h"
#include "runtime/solve/lane_newton.h"
#include "runtime/solve/repeated_parts.h"

namespace quiver {

class LaneBlockNewton {
 public:
  // Larger blocks fill in; the ordinary solver orders them with more care.
  static constexpr int kLargest = 64;

  enum Outcome : unsigned char { kUnderWay, kConverged, kGivenBack };
  struct LaneState {
    Outcome outcome = kUnderWay;
    int iterations = 0, evaluations = 0;
    double worst_residual = 0;  // scaled, at the solution
    int worst_equation = 0;     // of the block

   private:
    friend class LaneBlockNewton;
    enum Stage : unsigned char { kStart, kStep, kPolish } stage = kStart;
    double merit = 0;
    int polished = 0;
  };

  explicit LaneBlockNewton(const PartLayout& layout) : layout_(layout) {}
  // Lanes 0 to lanes - 1, but for those with skip[i] != 0. `bounds`: by place.
  void Solve(PartEvaluator& evaluator, std::span<const int> equations, std::span<const int> places,
             std::span<const LaneNewton::Bounds> bounds, const SolveOptions& options,
             std::span<PartRow> values, int lanes, const unsigned char* skip);
  const LaneState& Lane(int lane) const { return lanes_[lane]; }

 private:
  struct Slope {  // of an equation of the block by a variable of its row
    int place;
    int entry;    // of the matrix; -1: not an unknown
    int unknown;  // of the block, or -1
  };

  const LaneNewton::Bounds& BoundsOf(std::size_t unknown) const {
    return bounds_[static_cast<std::size_t>(places_[unknown])];
  }
  void LayOut(std::span<const int> equations, std::span<const int> places);
  void Evaluate();
  void Proceed(int lane);
  void GiveBack(int lane);
  void Judge(int lane);
  bool IsWorthTaking(int lane, double merit) const;
  void TakeSteps();
  bool GoTo(int lane, const std::vector<PartRow>& step);
  double SquaredNorm(const std::vector<PartRow>& rows, int lane) const;

  const PartLayout& layout_;
  // Of the block at hand.
  PartEvaluator* evaluator_ = nullptr;
  std::span<const int> equations_, places_;
  std::span<const LaneNewton::Bounds> bounds_;
  SolveOptions options_;
  std::span<PartRow> values_;
  int count_ = 0;
  std::vector<std::vector<Slope>> slopes_of_;  // by equation
  std::optional<LaneElimination> elimination_;
  bool is_ordered_ = false;
  std::vector<PartRow> start_, base_;                // by unknown
  std::vector<PartRow> residuals_, terms_, weight_;  // by equation
  std::vector<PartRow> slopes_;                      // of one equation
  std::vector<PartRow> entries_, matrix_;            // slopes; weighted and scaled at the base
  std::vector<PartRow> magnitude_, step_, correction_;
  PartRow growth_;
  unsigned char is_good_[kPartLanes];
  unsigned char steps_now_[kPartLanes];  // lanes that take a step from where they are
  LaneState lanes_[kPartLanes];
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_LANE_BLOCK_NEWTON_H_
