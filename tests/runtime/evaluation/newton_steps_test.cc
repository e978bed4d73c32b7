// SPDX-License-Identifier: Apache-2.0
// Newton's steps in one program: at the new point the linearised equations vanish, whatever the blocks; copies that need
// another order of elimination are left alone.
#include "runtime/evaluation/newton_steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/machine.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

// Copies of: A^2 = P; the block B*C = A, B + 3 C = D, D = Q + B (three unknowns at once); E = B^2 + exp(A).
class RepeatedUnits {
 public:
  static constexpr int kUnknowns = 5, kVariables = 7;
  enum Place { kA, kB, kC, kD, kE, kP, kQ };

  explicit RepeatedUnits(int count) {
    Names names;
    for (const char* name : {"A", "B", "C", "D", "E", "P", "Q"}) names.Place(name);
    const std::vector<Stream> unit = {Read("20 40 A P", names), Read("20 21 B C A", names),
                                      Read("20 19 B 21 3.0 C D", names), Read("20 D 19 Q B", names),
                                      Read("20 E 19 40 B 36 A", names)};
    copies.count = count;
    EquationPlace place{0, 0, 0};
    for (int i = 0; i < count; ++i) {
      for (Stream stream : unit) {
        for (Token& token : stream)
          if (token.kind == Token::kVariable) token.index += i * kVariables;
        if (i == 0) place = {static_cast<int>(shape_of.size()), static_cast<long long>(gathers.size()), 0};
        shape_of.push_back(shapes.Intern(stream, gathers));
        if (i == 0) copies.members.push_back(place);
      }
      if (i == 0) copies.gather_step = static_cast<long long>(gathers.size());
      for (int k = 0; k < kVariables; ++k) x.push_back(1.2 + 0.1 * k + 0.001 * i * (k + 1));
    }
    copies.equation_step = kUnknowns;
  }

  NewtonSteps Steps(const std::vector<Pivot>& pivots) const {
    return NewtonSteps({&shapes, shape_of, gathers, {}}, copies, pivots);
  }
  std::vector<double> After(const NewtonSteps& steps, std::vector<int>& refused) const {
    std::vector<double> x_new = x;
    NewtonSteps::Scratch scratch;
    for (int first = 0; first < copies.count; first += kLanes)
      steps.Run(first, x.data(), x_new.data(), refused, scratch);
    return x_new;
  }
  // Of a copy's equation: residual at x and what the linearisation gives at x_new, relative to its terms.
  double Linearised(int copy, int equation, const std::vector<double>& x_new) {
    const auto e = static_cast<std::size_t>(copy * kUnknowns + equation);
    std::size_t gather = 0;
    for (std::size_t k = 0; k < e; ++k)
      gather += static_cast<std::size_t>(shapes[shape_of[k]].variable_count);
    const Shape& shape = shapes[shape_of[e]];
    const auto places = std::span(gathers).subspan(gather, static_cast<std::size_t>(shape.variable_count));
    std::vector<double> gradient(places.size());
    double sum = evaluator_.Gradient(shape, places, x, gradient), size = std::fabs(sum);
    for (std::size_t k = 0; k < places.size(); ++k) {
      const auto at = static_cast<std::size_t>(places[k]);
      sum += gradient[k] * (x_new[at] - x[at]);
      size += std::fabs(gradient[k] * x[at]);
    }
    return sum / size;
  }

  ShapeStore shapes;
  std::vector<int> shape_of, gathers;
  std::vector<double> x;
  Copies copies;

 private:
  Evaluator evaluator_;
};

const std::vector<Pivot> kPivots = {{0, RepeatedUnits::kA},
                                    {1, RepeatedUnits::kB},
                                    {2, RepeatedUnits::kC},
                                    {3, RepeatedUnits::kD},
                                    {4, RepeatedUnits::kE}};

TEST(NewtonSteps, reach_the_zero_of_the_linearised_equations_and_then_the_solution) {
  for (const Machine machine : {Machine::kBaseline, Machine::kAvx2, Machine::kAvx512}) {
    UseMachine(machine);
    for (const int count : {1, 9, 150}) {
      RepeatedUnits units(count);
      const NewtonSteps steps = units.Steps(kPivots);
      std::vector<int> refused;
      const std::vector<double> x_new = units.After(steps, refused);
      EXPECT_TRUE(refused.empty());
      NewtonSteps machine_code = units.Steps(kPivots);
      machine_code.WriteMachineCode();
      EXPECT_EQ(units.After(machine_code, refused), x_new);
      for (int copy = 0; copy < count; ++copy)
        for (int equation = 0; equation < RepeatedUnits::kUnknowns; ++equation)
          ASSERT_NEAR(units.Linearised(copy, equation, x_new), 0, 1e-13) << copy << ' ' << equation;
      for (int iteration = 0; iteration < 30; ++iteration) units.x = units.After(steps, refused);
      ASSERT_TRUE(refused.empty());
      for (int copy = 0; copy < count; ++copy)
        for (int equation = 0; equation < RepeatedUnits::kUnknowns; ++equation)
          ASSERT_NEAR(units.Linearised(copy, equation, units.x), 0, 1e-13) << copy << ' ' << equation;
    }
  }
  UseMachine(WidestMachine());
}

TEST(NewtonSteps, refuse_copies_whose_pivots_are_small_or_nothing) {
  RepeatedUnits units(70);
  const auto value = [&](int copy, int place) -> double& {
    return units.x[static_cast<std::size_t>(copy * RepeatedUnits::kVariables + place)];
  };
  value(3, RepeatedUnits::kA) = 0;     // A^2 has no slope
  value(5, RepeatedUnits::kC) = 1e-5;  // B*C changes little with B: the multiplier is 1e5
  value(66, RepeatedUnits::kQ) = std::numeric_limits<double>::infinity();
  std::vector<int> refused;
  const std::vector<double> x_new = units.After(units.Steps(kPivots), refused);
  EXPECT_EQ(refused, (std::vector<int>{3, 5, 66}));
  for (const int copy : refused)
    for (int place = 0; place < RepeatedUnits::kVariables; ++place)
      EXPECT_EQ(x_new[static_cast<std::size_t>(copy * RepeatedUnits::kVariables + place)],
                value(copy, place));
  EXPECT_NE(x_new[4 * RepeatedUnits::kVariables], value(4, 0));
}

// Of many copies, the program runs with pauses in which the next ones are fetched.
// A = P, B = Q: finite unknowns are taken although their sum is not, infinite ones are not.
TEST(NewtonSteps, refuse_what_is_not_finite_and_nothing_else) {
  constexpr double kHuge = 1.5e308, kInfinite = std::numeric_limits<double>::infinity();
  ShapeStore shapes;
  std::vector<int> shape_of, gathers;
  Copies copies;
  copies.count = 3;
  copies.equation_step = 2;
  copies.gather_step = 4;
  for (int i = 0; i < copies.count; ++i) {
    for (int k = 0; k < 2; ++k) {
      if (i == 0) copies.members.push_back({k, 2LL * k, 0});
      shape_of.push_back(shapes.Intern(
          Stream{Token::Code(20), Token::Variable(4 * i + k), Token::Variable(4 * i + 2 + k)}, gathers));
    }
  }
  const NewtonSteps steps({&shapes, shape_of, gathers, {}}, copies, std::vector<Pivot>{{0, 0}, {1, 1}});
  const std::vector<double> x = {0, 0, kHuge, kHuge, 0, 0, 1, kInfinite, 0, 0, -kHuge, -kHuge};
  std::vector<double> x_new = x;
  std::vector<int> refused;
  NewtonSteps::Scratch scratch;
  steps.Run(0, x.data(), x_new.data(), refused, scratch);
  EXPECT_EQ(refused, (std::vector<int>{1}));
  EXPECT_EQ(x_new, (std::vector<double>{kHuge, kHuge, kHuge, kHuge, 0, 0, 1, kInfinite, -kHuge, -kHuge,
                                        -kHuge, -kHuge}));
}

TEST(NewtonSteps, give_the_bits_of_few_copies_to_many) {
  const RepeatedUnits few(200), many(20000);
  std::vector<int> refused;
  const std::vector<double> of_few = few.After(few.Steps(kPivots), refused),
                            of_many = many.After(many.Steps(kPivots), refused);
  EXPECT_TRUE(refused.empty());
  EXPECT_TRUE(std::equal(of_few.begin(), of_few.end(), of_many.begin()));
}

TEST(NewtonSteps, need_a_pivot_for_each_equation) {
  const RepeatedUnits units(20);
  std::vector<Pivot> pivots = kPivots;
  pivots.pop_back();
  EXPECT_THROW(units.Steps(pivots), std::invalid_argument);
  pivots.push_back({4, RepeatedUnits::kA});  // a second time
  EXPECT_THROW(units.Steps(pivots), std::invalid_argument);
  pivots.back() = {4, RepeatedUnits::kQ};  // does not occur in it
  EXPECT_THROW(units.Steps(pivots), std::invalid_argument);
}

}  // namespace
}  // namespace quiver
