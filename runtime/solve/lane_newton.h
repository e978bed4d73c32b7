// SPDX-License-Identifier: Apache-2.0
// One equation in one unknown, for many like parts at once: ScalarNewton, each part in a lane of its own. A lane takes
// the very steps that ScalarNewton would take for it alone, as long as those are the usual ones: Newton steps, shortened
// until they reduce the residual, bisections of a bracket, the polish at the end. A lane that needs anything else is given
// back as it came.
//
//   LaneNewton newton(layout);
//   newton.Solve(evaluator, equation, place, bounds, options, values, lanes);
//   if (newton.Lane(i).outcome == LaneNewton::kGivenBack) ...      // else values[place].lane[i] solves it
#ifndef QUIVER_RUNTIME_SOLVE_LANE_NEWTON_H_
#define QUIVER_RUNTIME_SOLVE_LANE_NEWTON_H_

#include <span>
#include <vector>

#include "runtime/solve/block_method.h"
#include "runtime/solve/repeated_parts.h"

namespace quiver {

class LaneNewton {
 public:
  enum Outcome : unsigned char { kUnderWay, kConverged, kGivenBack };
  struct Point {
    double x = 0, f = 0, slope = 0, scaled = 0;
  };
  struct LaneState {
    Outcome outcome = kUnderWay;
    int iterations = 0, evaluations = 0;
    Point now;
    const Point& Negative() const { return negative; }
    const Point& Positive() const { return positive; }

   private:
    friend class LaneNewton;
    enum Stage : unsigned char { kStart, kDescend, kInside, kPolish } stage = kStart;
    bool has_negative = false, has_positive = false;
    Point negative, positive;
    double start = 0, first_ends = 0, last_width = 0, target = 0, share = 1;
    int slow = 0, polished = 0;
  };
  struct Bounds {
    PartRow lower, upper, scale;
  };

  explicit LaneNewton(const PartLayout& layout);
  // Lanes 0 to lanes - 1, but for those with skip[i] != 0.
  void Solve(PartEvaluator& evaluator, int equation, int place, const Bounds& bounds,
             const SolveOptions& options, std::span<PartRow> values, int lanes, const unsigned char* skip);
  const LaneState& Lane(int lane) const { return lanes_[static_cast<std::size_t>(lane)]; }

 private:
  void Run(int first, int count);
  void Evaluate(int first, int count);
  // The next point to evaluate, in the row of the unknown; false when the lane is done.
  bool Proceed(LaneState& lane, int i, bool good);
  bool Iterate(LaneState& lane, int i);
  bool Shorten(LaneState& lane, int i);
  bool Polish(LaneState& lane, int i, double target);
  bool GiveBack(LaneState& lane, int i);
  bool Converge(LaneState& lane);
  bool GoTo(LaneState& lane, int i, double target);

  const PartLayout& layout_;
  PartEvaluator* evaluator_ = nullptr;
  int equation_ = 0, place_ = 0;
  const Bounds* bounds_ = nullptr;
  SolveOptions options_;
  std::span<PartRow> values_;
  const unsigned char* skip_ = nullptr;
  PartRow residual_, terms_;
  std::vector<PartRow> slopes_;
  std::size_t own_ = 0;  // the unknown's place in the row
  unsigned char is_good_[kPartLanes];
  bool went_back_ = false;  // some lane, to a point before its last one
  LaneState lanes_[kPartLanes];
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_LANE_NEWTON_H_
