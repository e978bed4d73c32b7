// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/lane_block_newton.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/solve/solve_times.h"
#include "runtime/solve/step_acceptance.h"

namespace quiver {

void LaneBlockNewton::LayOut(std::span<const int> equations, std::span<const int> places) {
  const std::size_t n = equations.size();
  slopes_of_.assign(n, {});
  std::vector<LaneElimination::Entry> entries;
  std::size_t longest = 0;
  for (std::size_t e = 0; e < n; ++e) {
    const std::vector<int>& row = layout_.rows[static_cast<std::size_t>(equations[e])];
    longest = std::max(longest, row.size());
    for (const int place : row) {
      const auto unknown = static_cast<int>(std::find(places.begin(), places.end(), place) - places.begin());
      if (unknown == static_cast<int>(n)) {
        slopes_of_[e].push_back({place, -1, -1});
        continue;
      }
      slopes_of_[e].push_back({place, static_cast<int>(entries.size()), unknown});
      entries.push_back({static_cast<int>(e), unknown});
    }
  }
  slopes_.resize(std::max(slopes_.size(), longest));
  entries_.resize(entries.size());
  matrix_.assign(entries.size(), PartRow{});
  for (auto* rows : {&start_, &base_, &residuals_, &terms_, &weight_, &magnitude_, &step_, &correction_})
    rows->assign(n, PartRow{});
  elimination_.emplace(static_cast<int>(n), std::move(entries));
  is_ordered_ = false;
}

void LaneBlockNewton::Solve(PartEvaluator& evaluator, std::span<const int> equations,
                            std::span<const int> places, std::span<const LaneNewton::Bounds> bounds,
                            const SolveOptions& options, std::span<PartRow> values, int lanes,
                            const unsigned char* skip) {
  evaluator_ = &evaluator;
  equations_ = equations;
  places_ = places;
  bounds_ = bounds;
  options_ = options;
  values_ = values;
  count_ = lanes;
  LayOut(equations, places);
  bool any = false;
  for (int i = 0; i < count_; ++i) lanes_[i] = LaneState();
  for (std::size_t j = 0; j < places.size(); ++j) {
    PartRow& unknown = values_[static_cast<std::size_t>(places[j])];
    start_[j] = unknown;
    for (int i = 0; i < count_; ++i) {
      const double lower = BoundsOf(j).lower.lane[i], upper = BoundsOf(j).upper.lane[i];
      if (skip[i] || lower > upper) lanes_[i].outcome = kGivenBack;
      unknown.lane[i] = std::min(std::max(unknown.lane[i], lower), upper);
    }
  }
  for (int i = 0; i < count_; ++i) {
    if (lanes_[i].outcome == kGivenBack) GiveBack(i);
    any = any || lanes_[i].outcome == kUnderWay;
  }
  while (any) {
    Evaluate();
    if (is_ordered_) {
      // What is left, by the factors of the step that led here.
      for (std::size_t e = 0; e < residuals_.size(); ++e)
        for (int i = 0; i < kPartLanes; ++i)
          correction_[e].lane[i] = -weight_[e].lane[i] * residuals_[e].lane[i];
      const Measure measure(options_.times ? &options_.times->linear_algebra : nullptr);
      elimination_->Solve(correction_);
    }
    std::fill_n(steps_now_, kPartLanes, 0);
    for (int i = 0; i < count_; ++i)
      if (lanes_[i].outcome == kUnderWay) Proceed(i);
    TakeSteps();
    any = false;
    for (int i = 0; i < count_; ++i) any = any || lanes_[i].outcome == kUnderWay;
  }
}

// Residuals, slopes and the magnitudes of the equations' terms, as BlockSystem has them.
void LaneBlockNewton::Evaluate() {
  const Measure measure(options_.times ? &options_.times->evaluation : nullptr);
  std::fill_n(is_good_, kPartLanes, 1);
  unsigned char good[kPartLanes];
  for (std::size_t e = 0; e < slopes_of_.size(); ++e) {
    evaluator_->Evaluate(equations_[e], values_, 0, count_, residuals_[e],
                         {slopes_.data(), slopes_of_[e].size()}, good);
    PartRow& terms = terms_[e];
    std::fill_n(terms.lane, kPartLanes, 0.0);
    for (std::size_t k = 0; k < slopes_of_[e].size(); ++k) {
      const Slope& of = slopes_of_[e][k];
      const double* const slope = slopes_[k].lane;
      const double* const x = values_[static_cast<std::size_t>(of.place)].lane;
      if (of.entry >= 0) {
        entries_[static_cast<std::size_t>(of.entry)] = slopes_[k];
        const double* const scale = BoundsOf(static_cast<std::size_t>(of.unknown)).scale.lane;
        for (int i = 0; i < count_; ++i)
          terms.lane[i] += std::abs(slope[i]) * std::max(std::abs(x[i]), scale[i]);
      } else {
        for (int i = 0; i < count_; ++i) {
          const double term = std::abs(slope[i]) * std::abs(x[i]);
          terms.lane[i] += std::isfinite(term) ? term : 0.0;
        }
      }
    }
    for (int i = 0; i < count_; ++i) is_good_[i] &= good[i] != 0 && std::isfinite(terms.lane[i]);
  }
}

void LaneBlockNewton::GiveBack(int i) {
  lanes_[i].outcome = kGivenBack;
  for (std::size_t j = 0; j < places_.size(); ++j)
    values_[static_cast<std::size_t>(places_[j])].lane[i] = start_[j].lane[i];
}

double LaneBlockNewton::SquaredNorm(const std::vector<PartRow>& rows, int i) const {
  double sum = 0.0;
  for (const PartRow& row : rows) sum += row.lane[i] * row.lane[i];
  return sum;
}

// The largest scaled residual of a lane, at the point just evaluated.
void LaneBlockNewton::Judge(int i) {
  LaneState& lane = lanes_[i];
  lane.worst_residual = -1.0;
  for (std::size_t e = 0; e < residuals_.size(); ++e) {
    const double residual = std::abs(residuals_[e].lane[i]), terms = terms_[e].lane[i];
    const double scaled = residual == 0.0 ? 0.0 : terms > 0.0 ? residual / terms : 1.0;
    if (scaled <= lane.worst_residual) continue;
    lane.worst_residual = scaled;
    lane.worst_equation = static_cast<int>(e);
  }
}

// DampedNewton's reasons to take a whole step.
bool LaneBlockNewton::IsWorthTaking(int i, double merit) const {
  const LaneState& lane = lanes_[i];
  return HasDecreased(merit, lane.merit, 1.0) ||
         (merit < kLargestRise * lane.merit &&
          LeadsOn(std::sqrt(SquaredNorm(correction_, i)), std::sqrt(SquaredNorm(step_, i)), 1.0));
}

void LaneBlockNewton::Proceed(int i) {
  LaneState& lane = lanes_[i];
  ++lane.evaluations;
  double merit = 0.0;
  for (std::size_t e = 0; e < residuals_.size(); ++e) {
    const double weighted = weight_[e].lane[i] * residuals_[e].lane[i];
    merit += weighted * weighted;
  }
  if (lane.stage == LaneState::kPolish) {
    if (!is_good_[i] || merit > lane.merit) {  // back to the better point
      for (std::size_t j = 0; j < places_.size(); ++j)
        values_[static_cast<std::size_t>(places_[j])].lane[i] = base_[j].lane[i];
      ++lane.evaluations;
      lane.outcome = kConverged;
      return;
    }
    Judge(i);
    ++lane.iterations;
    lane.merit = merit;
    ++lane.polished;
    if (merit == 0.0 || lane.polished == 2 || !GoTo(i, correction_)) lane.outcome = kConverged;
    return;
  }
  if (!is_good_[i] || (lane.stage == LaneState::kStep && !IsWorthTaking(i, merit))) return GiveBack(i);
  Judge(i);
  if (lane.worst_residual == 0.0) {
    lane.outcome = kConverged;
  } else if (lane.iterations >= options_.max_iterations || lane.evaluations >= options_.max_evaluations) {
    GiveBack(i);
  } else {
    steps_now_[i] = 1;
  }
}

// From where the lane is, which becomes its base; false where the step leads out of the bounds or nowhere.
bool LaneBlockNewton::GoTo(int i, const std::vector<PartRow>& step) {
  bool moves = false;
  for (std::size_t j = 0; j < places_.size(); ++j) {
    double& value = values_[static_cast<std::size_t>(places_[j])].lane[i];
    base_[j].lane[i] = value;
    value += magnitude_[j].lane[i] * step[j].lane[i];
    moves = moves || value != base_[j].lane[i];
  }
  bool stays_inside = true;
  for (std::size_t j = 0; j < places_.size(); ++j) {
    const double value = values_[static_cast<std::size_t>(places_[j])].lane[i];
    stays_inside = stays_inside && value >= BoundsOf(j).lower.lane[i] && value <= BoundsOf(j).upper.lane[i];
  }
  if (moves && stays_inside) return true;
  for (std::size_t j = 0; j < places_.size(); ++j)
    values_[static_cast<std::size_t>(places_[j])].lane[i] = base_[j].lane[i];
  return false;
}

void LaneBlockNewton::TakeSteps() {
  const auto takes = [this](int i) { return steps_now_[i] != 0; };
  int first = 0;
  while (first < count_ && !takes(first)) ++first;
  if (first == count_) return;
  // Rows weighed by their terms, columns by the magnitudes of their unknowns. Other lanes keep what they have.
  for (std::size_t j = 0; j < places_.size(); ++j)
    for (int i = 0; i < count_; ++i)
      if (takes(i))
        magnitude_[j].lane[i] = std::max(std::abs(values_[static_cast<std::size_t>(places_[j])].lane[i]),
                                         BoundsOf(j).scale.lane[i]);
  for (std::size_t e = 0; e < residuals_.size(); ++e) {
    for (int i = 0; i < count_; ++i) {
      if (!takes(i)) continue;
      const double size = std::max(terms_[e].lane[i], std::abs(residuals_[e].lane[i]));
      weight_[e].lane[i] = size > 0.0 ? 1.0 / size : 1.0;
    }
    for (const Slope& slope : slopes_of_[e]) {
      if (slope.entry < 0) continue;
      const auto k = static_cast<std::size_t>(slope.entry);
      const double* const magnitude = magnitude_[static_cast<std::size_t>(slope.unknown)].lane;
      for (int i = 0; i < count_; ++i)
        if (takes(i)) matrix_[k].lane[i] = entries_[k].lane[i] * weight_[e].lane[i] * magnitude[i];
    }
  }
  Measure measure(options_.times ? &options_.times->linear_algebra : nullptr);
  for (int i = first; i < count_ && !is_ordered_; ++i) {
    if (!takes(i)) continue;
    is_ordered_ = elimination_->ChooseOrder(matrix_, i);
    if (is_ordered_) break;
    steps_now_[i] = 0;  // singular there
    GiveBack(i);
  }
  if (!is_ordered_) return;
  elimination_->Factor(matrix_, growth_);
  for (std::size_t e = 0; e < residuals_.size(); ++e)
    for (int i = 0; i < kPartLanes; ++i) step_[e].lane[i] = -weight_[e].lane[i] * residuals_[e].lane[i];
  elimination_->Solve(step_);
  measure.Stop();
  for (int i = first; i < count_; ++i) {
    if (!takes(i)) continue;
    LaneState& lane = lanes_[i];
    double length = 0.0;
    bool is_finite = true;
    for (const PartRow& row : step_) {
      is_finite = is_finite && std::isfinite(row.lane[i]);
      length = std::max(length, std::abs(row.lane[i]));
    }
    if (!is_finite || !(growth_.lane[i] <= LaneElimination::kLargestGrowth)) {
      GiveBack(i);
      continue;
    }
    lane.merit = 0.0;
    for (std::size_t e = 0; e < residuals_.size(); ++e) {
      const double weighted = weight_[e].lane[i] * residuals_[e].lane[i];
      lane.merit += weighted * weighted;
    }
    const bool is_there =
        lane.worst_residual <= options_.residual_tolerance && length <= options_.step_tolerance;
    const bool went = GoTo(i, step_);
    if (is_there) {
      lane.stage = LaneState::kPolish;
      if (!went) lane.outcome = kConverged;
    } else if (went) {
      lane.stage = LaneState::kStep;
      ++lane.iterations;
    } else {
      GiveBack(i);
    }
  }
}

}  // namespace quiver
