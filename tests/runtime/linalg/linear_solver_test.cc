// SPDX-License-Identifier: Apache-2.0
// Conformance of linear solvers: every implementation runs every case.
#include "runtime/linalg/linear_solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

#include "runtime/linalg/dense_lu.h"
#include "runtime/linalg/klu_solver.h"

namespace quiver {
namespace {

struct Matrix {
  SparsePattern pattern;
  std::vector<double> values;
};

struct Item {
  int row, column;
  double value;
};

Matrix Build(int size, const std::vector<Item>& items) {
  std::vector<MatrixEntry> entries;
  for (const Item& item : items) entries.push_back({item.row, item.column});
  std::vector<int> slots;
  Matrix matrix{BuildPattern(size, entries, &slots), {}};
  matrix.values.assign(matrix.pattern.EntryCount(), 0.0);
  for (std::size_t k = 0; k < items.size(); ++k) matrix.values[slots[k]] += items[k].value;
  return matrix;
}

std::vector<double> Times(const Matrix& a, const std::vector<double>& x) {
  std::vector<double> y(x.size(), 0.0);
  AddProduct(a.pattern, a.values, 1.0, x, y);
  return y;
}

Matrix RandomMatrix(int size, int per_row, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> place(0, size - 1);
  std::normal_distribution<double> value;
  std::vector<Item> items;
  for (int i = 0; i < size; ++i) {
    items.push_back(
        {i, (i * 7 + 3) % size, value(random) + 3.0});  // a permutation when 7 does not divide size
    for (int k = 0; k < per_row; ++k) items.push_back({i, place(random), value(random)});
  }
  return Build(size, items);
}

class LinearSolverTest : public testing::TestWithParam<std::function<std::unique_ptr<LinearSolver>()>> {
 protected:
  std::unique_ptr<LinearSolver> solver_ = GetParam()();

  // Largest error of the solution of A x = A (1, 2, 3, ...), relative.
  double Error(const Matrix& a) {
    std::vector<double> x(a.pattern.size);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = 1.0 + static_cast<double>(i);
    std::vector<double> b = Times(a, x);
    EXPECT_EQ(solver_->Solve(b).status, LinearStatus::kOk);
    double error = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) error = std::max(error, std::abs(b[i] / x[i] - 1.0));
    return error;
  }
};

INSTANTIATE_TEST_SUITE_P(All, LinearSolverTest,
                         testing::Values([] { return std::make_unique<DenseLu>(); },
                                         [] { return std::make_unique<KluSolver>(); }));

TEST_P(LinearSolverTest, solves_random_systems_of_every_small_size) {
  for (int size : {1, 2, 3, 8, 24, 60}) {
    const Matrix a = RandomMatrix(size, 3, 17u + static_cast<unsigned>(size));
    ASSERT_EQ(solver_->Analyse(a.pattern).status, LinearStatus::kOk);
    ASSERT_EQ(solver_->Factor(a.values).status, LinearStatus::kOk) << size;
    EXPECT_LT(Error(a), 1e-10) << size;
  }
}

TEST_P(LinearSolverTest, rows_of_very_different_size_do_no_harm) {
  const Matrix a =
      Build(3, {{0, 0, 1e-200}, {0, 1, 2e-200}, {1, 1, 1e150}, {1, 2, -3e150}, {2, 0, 1}, {2, 2, 4}});
  solver_->Analyse(a.pattern);
  EXPECT_EQ(solver_->Factor(a.values).status, LinearStatus::kOk);
  EXPECT_LT(Error(a), 1e-14);
}

// Refactoring with values for which the old pivots vanish must choose others.
TEST_P(LinearSolverTest, refactor_survives_a_vanishing_pivot) {
  Matrix a = Build(2, {{0, 0, 1}, {0, 1, 0.5}, {1, 0, 0.5}, {1, 1, 1}});
  solver_->Analyse(a.pattern);
  solver_->Factor(a.values);
  for (double diagonal : {1.0, 1e-9, 0.0}) {
    a = Build(2, {{0, 0, diagonal}, {0, 1, 1}, {1, 0, 1}, {1, 1, diagonal}});
    if (diagonal == 1.0) a.values[0] = 2.0;
    ASSERT_EQ(solver_->Refactor(a.values).status, LinearStatus::kOk) << diagonal;
    EXPECT_LT(Error(a), 1e-14) << diagonal;
  }
}

TEST_P(LinearSolverTest, singular_matrices_name_a_dependent_column) {
  // Columns 1 and 2 are proportional; column 0 is independent of both.
  Matrix a =
      Build(3, {{0, 0, 1}, {0, 1, 2}, {0, 2, 4}, {1, 1, 3}, {1, 2, 6}, {2, 0, 5}, {2, 1, 1}, {2, 2, 2}});
  solver_->Analyse(a.pattern);
  LinearOutcome outcome = solver_->Factor(a.values);
  EXPECT_EQ(outcome.status, LinearStatus::kSingular);
  EXPECT_TRUE(outcome.column == 1 || outcome.column == 2) << outcome.column;

  a = Build(3, {{0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {2, 1, 1}});  // nothing in the last column
  solver_->Analyse(a.pattern);
  EXPECT_EQ(solver_->Factor(a.values).status, LinearStatus::kSingular);

  a = Build(2, {{0, 0, 0.1}, {0, 1, 0.3}, {1, 0, 0.3}, {1, 1, 0.9}});  // dependent but for rounding
  solver_->Analyse(a.pattern);
  EXPECT_NE(solver_->Factor(a.values).status, LinearStatus::kOk);

  a.values[0] = std::nan("");
  EXPECT_EQ(solver_->Factor(a.values).status, LinearStatus::kSingular);
}

// The Hilbert matrix of order 14 has a condition number of about 1e19.
TEST_P(LinearSolverTest, ill_conditioning_is_reported) {
  std::vector<Item> items;
  for (int i = 0; i < 14; ++i) {
    for (int j = 0; j < 14; ++j) items.push_back({i, j, 1.0 / (i + j + 1)});
  }
  const Matrix a = Build(14, items);
  solver_->Analyse(a.pattern);
  EXPECT_NE(solver_->Factor(a.values).status, LinearStatus::kOk);
}

// Wilkinson's matrix, for which partial pivoting loses a digit for every third row; refinement restores them.
TEST_P(LinearSolverTest, refinement_repairs_pivot_growth) {
  std::vector<Item> items;
  const int n = 24;
  for (int i = 0; i < n; ++i) {
    items.push_back({i, i, 1.0});
    if (i < n - 1) items.push_back({i, n - 1, 1.0});
    for (int j = 0; j < i; ++j) items.push_back({i, j, -1.0});
  }
  const Matrix a = Build(n, items);
  solver_->Analyse(a.pattern);
  EXPECT_EQ(solver_->Factor(a.values).status, LinearStatus::kOk);
  std::vector<double> b(n);
  for (int i = 0; i < n; ++i) b[i] = std::sin(i + 1.0);
  EXPECT_LT(solver_->Solve(b).backward_error, 1e-15);
}

// A chain of 2,000 blocks of 10 closed by a recycle: preference for the diagonal lets errors grow from block
// to block until no digit is left.
TEST(KluSolver, long_recycle_keeps_its_digits) {
  const int blocks = 2000, n = 10 * blocks;
  std::mt19937 random(1);
  std::normal_distribution<double> value;
  const auto member = [&](int block) { return block * 10 + static_cast<int>(random() % 10); };
  std::vector<Item> items;
  for (int row = 0; row < n; ++row) {
    items.push_back({row, row, 0.3});
    for (int k = 0; k < 3; ++k) items.push_back({row, member(row / 10), value(random)});
    items.push_back({row, member((row / 10 + blocks - 1) % blocks), value(random)});
  }
  const Matrix a = Build(n, items);
  auto solver = MakeLinearSolver(n);
  solver->Analyse(a.pattern);
  ASSERT_EQ(solver->Factor(a.values).status, LinearStatus::kOk);
  std::vector<double> b(n, 1.0);
  EXPECT_LT(solver->Solve(b).backward_error, 1e-14);
}

}  // namespace
}  // namespace quiver
