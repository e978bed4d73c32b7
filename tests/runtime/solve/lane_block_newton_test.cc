// SPDX-License-Identifier: Apache-2.0
// Blocks of several equations in lanes: elimination against the dense solver, Newton against roots known in closed form.
#include "runtime/solve/lane_block_newton.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "runtime/linalg/dense_lu.h"

namespace quiver {
namespace {

// Sparse matrices that differ from lane to lane. In the last lane the pivot that the first one takes first is tiny.
TEST(LaneElimination, AgreesWithTheDenseSolverAndTellsOfGrowth) {
  constexpr int kSize = 9;
  std::mt19937 random(7);
  std::normal_distribution<double> value;
  std::vector<LaneElimination::Entry> entries;
  for (int r = 0; r < kSize; ++r)
    for (int c = 0; c < kSize; ++c)
      if (r == c || (r * 5 + c * 3) % 4 == 0) entries.push_back({r, c});
  std::vector<PartRow> matrix(entries.size()), right(kSize);
  for (std::size_t k = 0; k < entries.size(); ++k)
    for (double& entry : matrix[k].lane)
      entry = value(random) + (entries[k].row == entries[k].column ? 6.0 : 0.0);
  for (std::size_t k = 0; k < entries.size(); ++k)
    if (entries[k].row == entries[k].column) matrix[k].lane[kPartLanes - 1] = 1e-7;
  for (PartRow& row : right)
    for (double& one : row.lane) one = value(random);

  LaneElimination elimination(kSize, entries);
  ASSERT_TRUE(elimination.ChooseOrder(matrix, 0));
  PartRow growth;
  elimination.Factor(matrix, growth);
  std::vector<PartRow> solution = right;
  elimination.Solve(solution);

  std::vector<MatrixEntry> places;
  for (const auto& entry : entries) places.push_back({entry.row, entry.column});
  std::vector<int> slots;
  const SparsePattern pattern = BuildPattern(kSize, places, &slots);
  for (int i = 0; i < kPartLanes - 1; ++i) {
    EXPECT_LE(growth.lane[i], LaneElimination::kLargestGrowth);
    std::vector<double> values(entries.size()), expected(kSize);
    for (std::size_t k = 0; k < entries.size(); ++k)
      values[static_cast<std::size_t>(slots[k])] = matrix[k].lane[i];
    for (std::size_t r = 0; r < kSize; ++r) expected[r] = right[r].lane[i];
    DenseLu dense;
    ASSERT_EQ(dense.Analyse(pattern).status, LinearStatus::kOk);
    ASSERT_EQ(dense.Factor(values).status, LinearStatus::kOk);
    dense.Solve(expected);
    for (std::size_t c = 0; c < kSize; ++c)
      EXPECT_NEAR(solution[c].lane[i], expected[c], 1e-11 * (1 + std::abs(expected[c]))) << i << " " << c;
  }
  EXPECT_GT(growth.lane[kPartLanes - 1], LaneElimination::kLargestGrowth);

  for (PartRow& entry : matrix) entry.lane[3] = 0.0;
  EXPECT_FALSE(elimination.ChooseOrder(matrix, 3));
}

// A circle of radius r and a line: x^2 + y^2 = r^2, y = x + d; the places are x, y, r, d. Where r is negative nothing can be
// evaluated.
class CircleAndLine final : public PartEvaluator {
 public:
  void Take(std::span<const int>) override {}
  void Evaluate(int equation, std::span<const PartRow> values, int first, int count, PartRow& residual,
                std::span<PartRow> slopes, unsigned char* is_good) override {
    for (int i = first; i < first + count; ++i) {
      const double x = values[0].lane[i], y = values[1].lane[i], r = values[2].lane[i], d = values[3].lane[i];
      is_good[i] = r >= 0;
      const bool circle = equation == 0;
      residual.lane[i] = circle ? x * x + y * y - r * r : y - x - d;
      slopes[0].lane[i] = circle ? 2 * x : -1;
      slopes[1].lane[i] = circle ? 2 * y : 1;
      slopes[2].lane[i] = circle ? -2 * r : -1;  // of the line: by d
    }
  }
  void KeepAlternatives(int) override {}
  void ForgetAlternatives(int, std::span<const int>) override {}
};

TEST(LaneBlockNewton, FindsRootsAndGivesBackWhatNeedsMoreThanWholeSteps) {
  PartLayout layout;
  layout.is_free = {1, 1, 0, 0};
  layout.rows = {{0, 1, 2}, {0, 1, 3}};
  layout.condition_rows = {{}, {}};
  layout.has_alternatives = layout.is_call = {0, 0};
  std::vector<PartRow> values(4);
  std::vector<LaneNewton::Bounds> bounds(2);
  unsigned char skip[kPartLanes] = {};
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (int i = 0; i < kPartLanes; ++i) {
    values[0].lane[i] = values[1].lane[i] = 0.6 * (2.0 + i);
    values[2].lane[i] = 2.0 + i;
    values[3].lane[i] = 0.02 * i;
    for (LaneNewton::Bounds& of : bounds) {
      of.lower.lane[i] = 0;
      of.upper.lane[i] = kInfinity;
      of.scale.lane[i] = 1;
    }
  }
  enum { kSkipped = 5, kFault = 9, kOutside = 17, kApart = 23, kSingular = 31, kMovedIn = 40 };
  skip[kSkipped] = 1;
  values[2].lane[kFault] = -1;
  bounds[0].upper.lane[kOutside] = 3;                              // the root has x > 13
  values[3].lane[kApart] = 1e3;                                    // the line misses the circle
  values[0].lane[kSingular] = -(values[1].lane[kSingular] = 4.0);  // slopes (2x, 2y) and (-1, 1) are parallel
  bounds[0].lower.lane[kSingular] = -kInfinity;
  values[0].lane[kMovedIn] = -3;
  const std::vector<PartRow> start = values;

  CircleAndLine evaluator;
  LaneBlockNewton newton(layout);
  const int equations[] = {0, 1}, places[] = {0, 1};
  newton.Solve(evaluator, equations, places, bounds, SolveOptions(), values, kPartLanes, skip);
  for (int i = 0; i < kPartLanes; ++i) {
    SCOPED_TRACE(i);
    const bool given_back = i == kSkipped || i == kFault || i == kOutside || i == kApart || i == kSingular;
    ASSERT_EQ(newton.Lane(i).outcome, given_back ? LaneBlockNewton::kGivenBack : LaneBlockNewton::kConverged)
        << i;
    const double r = start[2].lane[i], d = start[3].lane[i];
    const double x = (-d + std::sqrt(2 * r * r - d * d)) / 2;
    EXPECT_NEAR(values[0].lane[i], given_back ? start[0].lane[i] : x, given_back ? 0 : 1e-13 * x) << i;
    EXPECT_NEAR(values[1].lane[i], given_back ? start[1].lane[i] : x + d, given_back ? 0 : 1e-13 * (x + d))
        << i;
  }
}

}  // namespace
}  // namespace quiver
