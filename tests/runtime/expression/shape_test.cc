// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/shape.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <new>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/infix.h"
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
