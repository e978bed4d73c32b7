// SPDX-License-Identifier: Apache-2.0
// Two ways to one number: compiled programs against plain recursion, gradients against differences, blocks
// against single instances. And what equations share: shapes.
#include "runtime/expression/evaluator.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <map>
#include <new>
#include <tuple>

#include "runtime/expression/infix.h"
#include "runtime/expression/machine.h"
#include "runtime/expression/undefined.h"
#include "tests/runtime/expression/trees.h"

namespace {
int allocations = 0;
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace quiver {
namespace {

std::string Show(const Stream& stream) { return FormulaText(stream, NumberedX); }

bool SameBits(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) ||
         std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

TEST(Evaluator, random_trees_agree_with_plain_recursion_and_its_differences) {
  constexpr int kVariables = 5;
  RandomTrees random(3, kVariables);
  Evaluator evaluator;
  int values = 0, slopes = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const Stream stream = random.Number(1 + trial % 6);
    const std::vector<double> x = random.Point(kVariables, 0.3, 2.5);
    const Compiled one(stream);
    std::vector<double> gradient(one.gather.size());
    const double value = evaluator.Gradient(one.shape, one.gather, x, gradient, {.time = 7});
    EXPECT_TRUE(SameBits(value, evaluator.Value(one.shape, one.gather, x, {.time = 7})));

    const long double exact = Interpret<long double>(stream, x);
    const double rounding = static_cast<double>(std::abs(exact - Interpret<double>(stream, x)));
    const bool undefined = FindUndefined(stream, x, NumberedX, {.time = 7}).has_value();
    if (undefined || !(std::abs(exact) < 1e12L) || !(rounding < 1e-8)) continue;
    EXPECT_NEAR(value, exact, 1e-12 * (1 + std::abs(exact)) + 1e3 * rounding) << Show(stream);
    ++values;
    for (std::size_t k = 0; k < one.gather.size(); ++k) {
      auto at = [&](long double h) { return Interpret<long double>(stream, x, one.gather[k], h); };
      auto difference = [&](long double h) { return (at(h) - at(-h)) / (2 * h); };
      const long double coarse = difference(1e-6L), fine = difference(5e-7L);
      const long double scale = 1 + std::abs(fine) + std::abs(exact);
      if (!(std::abs(coarse - fine) < 1e-7L * scale)) continue;  // a kink or a pole within reach
      const bool steep = FindUndefinedSlope(stream, x, NumberedX, {.time = 7}).has_value();
      EXPECT_TRUE(steep || std::isfinite(gradient[k])) << Show(stream) << " by " << one.gather[k];
      if (steep) continue;
      EXPECT_NEAR(gradient[k], (4 * fine - coarse) / 3, 1e-8L * scale + 1e4 * rounding) << Show(stream);
      ++slopes;
    }
  }
  EXPECT_GT(values, 2000);
  EXPECT_GT(slopes, 2800);
}

TEST(Evaluator, constant_exponents_agree_with_pow) {
  Evaluator evaluator;
  RandomTrees random(4, 1);
  for (double exponent = -18; exponent <= 18; exponent += 0.25) {
    const Stream stream = {Token::Code(24), Token::Variable(0), Token::Real(exponent)};
    const Compiled one(stream);
    for (int trial = 0; trial < 20; ++trial) {
      const bool whole = exponent == std::floor(exponent);
      const double x = random.Uniform(whole ? -3 : 0.01, 3);
      double slope;
      EXPECT_NEAR(evaluator.Gradient(one.shape, one.gather, {&x, 1}, {&slope, 1}) / std::pow(x, exponent), 1,
                  4e-15);
      EXPECT_NEAR(slope, exponent * std::pow(x, exponent - 1), 4e-15 * std::fabs(slope))
          << x << "^" << exponent;
    }
  }
}

class BatchesOn : public testing::TestWithParam<Machine> {
 protected:
  ~BatchesOn() override { UseMachine(WidestMachine()); }
};

TEST_P(BatchesOn, give_the_bits_of_single_instances) {
  UseMachine(GetParam());
  if (CurrentMachine() != GetParam()) GTEST_SKIP() << "This machine has no " << MachineName(GetParam());
  RandomTrees random(5, 6);
  Evaluator evaluator;
  for (int trial = 0; trial < 300; ++trial) {
    const Compiled any(random.Number(6));
    const Shape& shape = any.shape;
    const int count = trial % 200 + 1, stride = shape.variable_count;
    const std::vector<double> x = random.Point(500, -1, 3);
    std::vector<double> values(count), only_values(count), gradients(count * stride), gradient(stride);
    std::vector<int> gathers(count * stride);
    for (int& place : gathers) place = random.Below(500);
    const EvaluationContext context{.time = 3};
    evaluator.Gradients(shape, gathers, x, values, gradients, context);
    evaluator.Values(shape, gathers, x, only_values, context);
    for (int i = 0; i < count; ++i) {
      const auto gather = std::span(gathers).subspan(i * stride, stride);
      ASSERT_TRUE(SameBits(values[i], evaluator.Gradient(shape, gather, x, gradient, context)));
      ASSERT_TRUE(SameBits(only_values[i], values[i]));
      for (int k = 0; k < stride; ++k) ASSERT_TRUE(SameBits(gradients[i * stride + k], gradient[k]));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Every, BatchesOn,
                         testing::Values(Machine::kBaseline, Machine::kAvx2, Machine::kAvx512),
                         [](const auto& row) {
                           return std::string(row.param == Machine::kAvx512 ? "Avx512"
                                                                            : MachineName(row.param));
                         });

TEST(Evaluator, margins_and_text_comparisons) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::tuple<const char*, bool, double> cases[] = {
      // at A = 3, B = 5
      {"8 A B", false, -2},
      {"10 A 3.0", true, 0},
      {"9 A 3.0", false, 0},
      {"5 6 12 B A 10 A 7.0 6 9 B 9.0 9 B 4.5", true, 0.5},
      {"12 A 18.5", true, 15.5},
      {"9 A B", false, -2},
      {"11 A 3.0", true, 0},
      {"12 A 3.0", false, 0},
      {"5 12 A B 9 A 2.5", true, 0.5},
      {"6 9 A B 9 A 4.0", false, -1},
      {"8 A 3.0", true, 0},
      {"13 A B", true, 2},
      {"8 \"Yes\" \"yES\"", true, infinity},
      {"13 \"Yes\" \"yes\"", false, -infinity},
      {"8 \"Yes\" \"Yes2\"", false, -infinity},
      {"5 8 \"Yes\" \"yes\" 12 A B", true, 2},
      {"6 8 \"Yes\" \"no\" 12 A B", true, 2},
  };
  Evaluator evaluator;
  const double x[] = {3, 5};
  for (const auto& [stream, holds, margin] : cases) {
    Names names{{"A", "B"}};
    const Compiled one(Read(stream, names));
    EXPECT_EQ(evaluator.Holds(one.shape, one.gather, x), holds) << stream;
    EXPECT_EQ(evaluator.Margin(one.shape, one.gather, x), margin) << stream;
  }
}

TEST(Shape, instances_share_a_shape_and_keep_their_variables) {
  ShapeStore shapes;
  std::vector<int> gather = {-1};  // what is there stays
  const Stream one = {Token::Code(20), Token::Code(21), Token::Variable(7), Token::Variable(3),
                      Token::Variable(7)};
  const Stream two = {Token::Code(20), Token::Code(21), Token::Variable(3), Token::Variable(900),
                      Token::Variable(3)};
  const int id = shapes.Intern(one, gather);
  EXPECT_EQ(shapes.Intern(two, gather), id);
  EXPECT_EQ(gather, (std::vector{-1, 7, 3, 3, 900}));
  EXPECT_EQ(shapes.size(), 1);
  EXPECT_EQ(shapes[id].variable_count, 2);
}

TEST(Shape, what_makes_a_shape_of_its_own) {
  Names names;
  std::vector<int> gather;
  auto same = [&](const char* left, const char* right) {
    ShapeStore shapes;
    return shapes.Intern(Read(left, names), gather) == shapes.Intern(Read(right, names), gather);
  };
  EXPECT_TRUE(same("21 2.0 X", "21 int 2 Y"));
  EXPECT_FALSE(same("21 2.0 X", "21 2.5 X"));
  EXPECT_FALSE(same("21 X Y", "21 X X"));
  EXPECT_FALSE(same("20 20 X Y Z", "20 X 20 Y Z"));
  EXPECT_FALSE(same("44 X 44 0 0", "44 X 45 0 0"));
  EXPECT_TRUE(same("5 8 \"Yes\" \"YES\" 12 X Y", "5 13 \"a\" \"b\" 12 Y X"));
  EXPECT_FALSE(same("5 8 \"Yes\" \"no\" 12 X Y", "5 8 \"Yes\" \"yes\" 12 X Y"));
}

// Literals of a form are filled in for each shape, also where a derivative or a folded constant holds them.
TEST(Shape, forms_are_compiled_once_and_filled_in) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"20 21 2.7 X 22 Y 8.4", "20 21 -3.1 U 22 V 0.3", true},
      {"21 36 0.7 X", "21 36 0.9 X", true},
      {"24 X 1.7", "24 X 1.8", false},  // exponents decide how a power is computed
      {"24 24 X 1.7 2.7", "24 24 X 1.7 2.8", false},
      {"24 19 1.7 X 2.0", "24 19 1.8 X 2.0", true},
      {"24 44 X 17.5 0 3.3", "24 44 X 18.5 0 3.3", true},
      {"21 2.0 X", "21 3.0 X", false},
      {"98 17.25 X", "98 -17.25 X", true},
      {"12 X 7.7", "12 X 8.8", true},
  };
  Evaluator evaluator;
  for (const auto& [first, second, one_form] : cases) {
    Names names;
    ShapeStore shapes;
    for (const char* text : {first, second}) {
      std::vector<int> gather;
      const Stream stream = Read(text, names);
      const Shape& shape = shapes[shapes.Intern(stream, gather)];
      const std::vector<double> x = {1.3, 2.4, 0.7, 1.9};
      const auto exact = static_cast<double>(Interpret<long double>(stream, x));
      EXPECT_NEAR(evaluator.Value(shape, gather, x), exact, 1e-14 * std::fabs(exact)) << text;
      if (shape.is_condition) continue;
      std::vector<double> slopes(gather.size());
      evaluator.Gradient(shape, gather, x, slopes);
      for (std::size_t k = 0; k < slopes.size(); ++k) {
        auto at = [&](long double h) { return Interpret<long double>(stream, x, gather[k], h); };
        EXPECT_NEAR(slopes[k], static_cast<double>((at(1e-6L) - at(-1e-6L)) / 2e-6L),
                    1e-9 * (1 + std::fabs(slopes[k])))
            << text;
      }
    }
    EXPECT_EQ(shapes.size(), 2);
    EXPECT_EQ(shapes.FormCount(), one_form ? 1 : 2) << first;
  }
}

// Many shapes in one store, each found again under other variables, with the hash table growing meanwhile.
TEST(Shape, thousands_of_shapes_are_told_apart) {
  RandomTrees random(8, 6);
  ShapeStore shapes;
  std::map<std::string, int> by_text;
  for (int trial = 0; trial < 5000; ++trial) {
    Stream stream = random.Number(4);
    std::vector<int> gather;
    const int id = shapes.Intern(stream, gather);
    for (Token& token : stream) {
      if (token.kind == Token::kInteger) token = Token::Real(token.index);
      if (token.kind == Token::kVariable) token.index = 1000 - token.index;
    }
    std::vector<int> moved;
    ASSERT_EQ(shapes.Intern(stream, moved), id);
    for (std::size_t k = 0; k < gather.size(); ++k) ASSERT_EQ(moved[k], 1000 - gather[k]);
    for (Token& token : stream) {  // the shape written out
      if (token.kind != Token::kVariable) continue;
      token.index = static_cast<int>(std::find(moved.begin(), moved.end(), token.index) - moved.begin());
    }
    ASSERT_EQ(by_text.try_emplace(StreamText(stream, NumberedX), id).first->second, id);
  }
  EXPECT_EQ(shapes.size(), static_cast<int>(by_text.size()));
  EXPECT_GT(shapes.size(), 2000);
}

TEST(Shape, known_shapes_cost_no_allocation) {
  RandomTrees random(10, 50);
  std::vector<Stream> streams;
  for (int i = 0; i < 100; ++i) streams.push_back(random.Number(5));
  ShapeStore shapes;
  Evaluator evaluator;
  std::vector<int> gather;
  const std::vector<double> x(50, 0.5);
  std::vector<double> values(1), gradient(50);
  for (int pass = 0; pass < 2; ++pass) {
    allocations = 0;
    for (const Stream& stream : streams) {
      gather.clear();
      const Shape& shape = shapes[shapes.Intern(stream, gather)];
      const auto slopes = std::span(gradient).first(gather.size());
      evaluator.Gradient(shape, gather, x, slopes);
      evaluator.Gradients(shape, gather, x, values, slopes);
    }
    EXPECT_EQ(allocations == 0, pass == 1) << allocations << " allocations in pass " << pass;
  }
}

TEST(Shape, tells_constant_derivatives) {
  const std::pair<const char*, const char*> cases[] = {
      // by X, Y, Z: c or -
      {"19 -1.0 44 X Y Z 0", "ccc"},
      {"20 X 21 2.0 21 Y Z", "c--"},
      {"22 19 X 15 Y 21 3.0 Z", "---"},
      {"19 22 X int 3 19 24 Y 1.0 57 Z 5.0", "ccc"},
      {"19 39 X 19 24 Y 2.0 20 Z Z", "--c"},
      {"19 21 X 36 2.0 19 98 Y 0.0 21 55 Z", "c--"},  // time is no constant
  };
  for (const auto& [stream, constant] : cases) {
    Names names;
    const Compiled one(Read(stream, names));
    std::string found;
    for (int k = 0; k < 3; ++k) found += one.shape.HasConstantDerivative(k) ? 'c' : '-';
    EXPECT_EQ(found, constant) << stream;
    EXPECT_EQ(one.shape.IsLinear(), found == "ccc");
  }
}

}  // namespace
}  // namespace quiver
