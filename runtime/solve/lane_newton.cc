// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/lane_newton.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/solve/solve_times.h"

namespace quiver {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double Clamp(double value, double lower, double upper) { return std::min(std::max(value, lower), upper); }

// As ScalarNewton halves a bracket: on a scale that is linear near zero and logarithmic far from it.
template <class Inside>
double Middle(const LaneNewton::LaneState& lane, double scale, const Inside& is_inside) {
  const double a = lane.Negative().x, b = lane.Positive().x;
  const double plain = a + 0.5 * (b - a);
  if (std::abs(b - a) <= 0.5 * std::max(std::abs(a), std::abs(b))) return plain;
  const double unit = 1e-6 * std::max(0.0, scale);
  const double middle = unit * std::sinh(0.5 * (std::asinh(a / unit) + std::asinh(b / unit)));
  return std::isfinite(middle) && is_inside(middle) ? middle : plain;
}

}  // namespace

LaneNewton::LaneNewton(const PartLayout& layout) : layout_(layout) {
  std::size_t longest = 0;
  for (const auto& row : layout.rows) longest = std::max(longest, row.size());
  slopes_.resize(longest);
}

void LaneNewton::Solve(PartEvaluator& evaluator, int equation, int place, const Bounds& bounds,
                       const SolveOptions& options, std::span<PartRow> values, int lanes,
                       const unsigned char* skip) {
  evaluator_ = &evaluator;
  equation_ = equation;
  place_ = place;
  bounds_ = &bounds;
  options_ = options;
  values_ = values;
  skip_ = skip;
  const std::vector<int>& row = layout_.rows[static_cast<std::size_t>(equation)];
  own_ = static_cast<std::size_t>(std::find(row.begin(), row.end(), place) - row.begin());
  // A routine remembers its last call alone: lane by lane it is called once, not once for each step.
  if (!layout_.is_call[static_cast<std::size_t>(equation)]) return Run(0, lanes);
  for (int i = 0; i < lanes; ++i) Run(i, 1);
}

void LaneNewton::Run(int first, int count) {
  PartRow& unknown = values_[static_cast<std::size_t>(place_)];
  bool any = false;
  for (int i = first; i < first + count; ++i) {
    LaneState& lane = lanes_[i] = LaneState();
    lane.start = unknown.lane[i];
    lane.first_ends = lane.last_width = kInfinity;
    const bool no_range = bounds_->lower.lane[i] > bounds_->upper.lane[i];
    if (skip_[i] || no_range) {
      lane.outcome = kGivenBack;
      continue;
    }
    unknown.lane[i] = Clamp(lane.start, bounds_->lower.lane[i], bounds_->upper.lane[i]);
    any = true;
  }
  went_back_ = false;
  while (any) {
    Evaluate(first, count);
    any = false;
    for (int i = first; i < first + count; ++i) {
      LaneState& lane = lanes_[i];
      if (lane.outcome == kUnderWay)
        any |= Proceed(lane, i, is_good_[i] != 0 && std::isfinite(terms_.lane[i]));
    }
  }
  // Where a lane went back to a better point, its alternatives are those of that point.
  if (went_back_ && layout_.has_alternatives[static_cast<std::size_t>(equation_)]) Evaluate(first, count);
}

// Residuals, slopes, and the magnitudes of the equations' terms, as BlockSystem has them.
void LaneNewton::Evaluate(int first, int count) {
  const std::vector<int>& row = layout_.rows[static_cast<std::size_t>(equation_)];
  const Measure measure(options_.times ? &options_.times->evaluation : nullptr);
  evaluator_->Evaluate(equation_, values_, first, count, residual_, {slopes_.data(), row.size()}, is_good_);
  const int last = first + count;
  for (int i = first; i < last; ++i) terms_.lane[i] = 0.0;
  for (std::size_t k = 0; k < row.size(); ++k) {
    const double* const slope = slopes_[k].lane;
    const double* const x = values_[static_cast<std::size_t>(row[k])].lane;
    if (k == own_) {
      for (int i = first; i < last; ++i)
        terms_.lane[i] += std::abs(slope[i]) * std::max(std::abs(x[i]), bounds_->scale.lane[i]);
    } else {
      for (int i = first; i < last; ++i) {
        const double term = std::abs(slope[i]) * std::abs(x[i]);
        terms_.lane[i] += std::isfinite(term) ? term : 0.0;
      }
    }
  }
}

bool LaneNewton::GiveBack(LaneState& lane, int i) {
  lane.outcome = kGivenBack;
  values_[static_cast<std::size_t>(place_)].lane[i] = lane.start;
  return false;
}
bool LaneNewton::Converge(LaneState& lane) {
  lane.outcome = kConverged;
  return false;
}
bool LaneNewton::GoTo(LaneState& lane, int i, double target) {
  if (lane.evaluations > options_.max_evaluations) return GiveBack(lane, i);
  values_[static_cast<std::size_t>(place_)].lane[i] = target;
  return true;
}

bool LaneNewton::Proceed(LaneState& lane, int i, bool good) {
  ++lane.evaluations;
  if (!good) return GiveBack(lane, i);
  Point point{values_[static_cast<std::size_t>(place_)].lane[i], residual_.lane[i], slopes_[own_].lane[i],
              0.0};
  const double terms = terms_.lane[i], size = std::abs(point.f);
  if (size != 0.0) point.scaled = terms > 0.0 ? size / terms : 1.0;

  const bool was_bracketed = lane.has_negative && lane.has_positive;
  const bool counts = !was_bracketed || (point.x > std::min(lane.negative.x, lane.positive.x) &&
                                         point.x < std::max(lane.negative.x, lane.positive.x));
  if (point.f < 0.0 && counts) lane.negative = point, lane.has_negative = true;
  if (point.f > 0.0 && counts) lane.positive = point, lane.has_positive = true;
  const bool is_bracketed = lane.has_negative && lane.has_positive;
  if (!was_bracketed && is_bracketed) lane.first_ends = std::max(lane.positive.f, -lane.negative.f);

  switch (lane.stage) {
    case LaneState::kStart:
      lane.now = point;
      return Iterate(lane, i);
    case LaneState::kDescend:
      if (!is_bracketed && !(size < (1.0 - 1e-4 * lane.share) * std::abs(lane.now.f)))
        return Shorten(lane, i);
      break;
    case LaneState::kInside:
      break;
    case LaneState::kPolish:
      if (size > std::abs(lane.now.f)) {  // back to the better point
        ++lane.evaluations;
        went_back_ = true;
        values_[static_cast<std::size_t>(place_)].lane[i] = lane.now.x;
        return Converge(lane);
      }
      lane.now = point;
      ++lane.iterations;
      if (point.f == 0.0 || point.slope == 0.0 || lane.polished == 2) return Converge(lane);
      return Polish(lane, i,
                    Clamp(point.x - point.f / point.slope, bounds_->lower.lane[i], bounds_->upper.lane[i]));
  }
  lane.now = point;
  ++lane.iterations;
  return Iterate(lane, i);
}

bool LaneNewton::Shorten(LaneState& lane, int i) {
  lane.share *= 0.5;
  const double trial = Clamp(lane.now.x + lane.share * (lane.target - lane.now.x), bounds_->lower.lane[i],
                             bounds_->upper.lane[i]);
  return lane.share > 1e-10 && trial != lane.now.x ? GoTo(lane, i, trial) : GiveBack(lane, i);
}

bool LaneNewton::Polish(LaneState& lane, int i, double target) {
  if (target == lane.now.x) return Converge(lane);
  lane.stage = LaneState::kPolish;
  ++lane.polished;
  return GoTo(lane, i, target);
}

// The head of ScalarNewton's loop.
bool LaneNewton::Iterate(LaneState& lane, int i) {
  const Point& now = lane.now;
  const bool bracketed = lane.has_negative && lane.has_positive;
  if (lane.iterations >= options_.max_iterations) return GiveBack(lane, i);
  if (now.f == 0.0) return Converge(lane);
  if (now.slope == 0.0) return GiveBack(lane, i);
  const double target = Clamp(now.x - now.f / now.slope, bounds_->lower.lane[i], bounds_->upper.lane[i]);
  const double size = std::max(std::max(std::abs(target), std::abs(now.x)), bounds_->scale.lane[i]);
  const bool at_pole = bracketed && std::abs(now.f) > lane.first_ends;
  if (now.scaled <= options_.residual_tolerance &&
      std::abs(target - now.x) / size <= options_.step_tolerance && !at_pole)
    return Polish(lane, i, target);
  if (!bracketed) {
    if (target == now.x) return GiveBack(lane, i);
    lane.stage = LaneState::kDescend;
    lane.target = target;
    lane.share = 1.0;
    return GoTo(lane, i, target);
  }
  const double width = lane.positive.x - lane.negative.x;
  lane.slow = std::abs(width) > 0.5 * std::abs(lane.last_width) ? lane.slow + 1 : 0;
  lane.last_width = width;
  const auto is_inside = [&lane](double x) {
    return x > std::min(lane.negative.x, lane.positive.x) && x < std::max(lane.negative.x, lane.positive.x);
  };
  const double middle = Middle(lane, bounds_->scale.lane[i], is_inside);
  if (!is_inside(middle)) return GiveBack(lane, i);
  const bool bisects = lane.slow >= 3 || !is_inside(target);
  if (bisects) lane.slow = 0;
  lane.stage = LaneState::kInside;
  return GoTo(lane, i, bisects ? middle : target);
}

}  // namespace quiver
