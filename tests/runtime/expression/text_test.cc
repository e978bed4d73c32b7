// SPDX-License-Identifier: Apache-2.0
// Formulas for people: as they read, back to the same tree, and as explanation of what is undefined.
#include <gtest/gtest.h>

#include <cctype>

#include "runtime/expression/infix.h"
#include "runtime/expression/undefined.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

TEST(Infix, equations_read_as_mathematics) {
  const std::pair<const char*, const char*> cases[] = {
      {"20 22 21 FLUX 20 int 1 21 AREA_RATIO AREA_RATIO 21 2.0 MW 22 21 22 PDROPC UCF8 RHO 19 FLUX EPS",
       "FLUX*(1 - AREA_RATIO*AREA_RATIO)/(2.0*MW) = PDROPC/UCF8*RHO/(FLUX + EPS)"},
      {"19 -1.0 X", "X = 1"},
      {"19 -0.5 X", "X = 0.5"},
      {"19 int -1 44 SF1 SF2 0", "sum(SF1, SF2) = 1"},
      {"1 X", "X = 0"},
      {"19 X Y", "X + Y = 0"},
      {"20 X 21 0.1 21 A B", "X = 0.1*(A*B)"},
      {"20 X 20 A 20 B C", "X = A - (B - C)"},
      {"20 X 20 20 A B C", "X = A - B - C"},
      {"20 -1e-5 24 24 A B 24 C D", "-1e-05 = (A^B)^(C^D)"},
      {"20 X 15 24 A 2.0", "X = -(A^2.0)"},
      {"20 X 24 int -2 A", "X = (-2)^A"},
      {"20 20 15 A 15 B 19 C 21 -3.0 D", "-A - (-B) = C + (-3.0)*D"},
      {"20 X 46 A 40 19 A B 98 A 35 B 0", "X = max(A, sqr(A + B), max(A, sqrt(B)))"},
      {"20 X 57 Y 22 55 2.0", "X = delay(Y, time/2.0)"},
  };
  Names names;
  auto name = [&](int place) { return names(place); };
  for (const auto& [stream, text] : cases) EXPECT_EQ(EquationText(Read(stream, names), name), text);
  EXPECT_EQ(FormulaText(Read("5 6 12 A B 10 A 19 B int 2 8 \"Yes\" \"No\"", names), name),
            "(A < B or A <= B + 2) and \"Yes\" == \"No\"");
  EXPECT_EQ(StreamText(Read("20 X 21 0.1 int 2 -3", names), name), "20 X 21 0.1 int 2 -3");
}

// Reads formulas: operators by rank joining from the left, a leading -, ^, names, numbers, calls and
// brackets.
class Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}
  bool AtEnd() const { return rest_.empty(); }

  Stream Ranked(Precedence rank = Precedence::kOr) {
    if (rank == Precedence::kNegation) return Signed();
    const auto tighter = static_cast<Precedence>(static_cast<int>(rank) + 1);
    Stream left = Ranked(tighter);
    for (const OperatorInfo* row = TakeInfix(rank); row; row = TakeInfix(rank)) {
      left = Tree(row->code(), {left, Ranked(tighter)});
    }
    return left;
  }

 private:
  static Stream Tree(int code, const std::vector<Stream>& operands) {
    Stream tree = {Token::Code(code)};
    for (const Stream& operand : operands) tree.insert(tree.end(), operand.begin(), operand.end());
    if (FindOperator(code)->role == Role::kList) tree.push_back(Token::Code(0));
    return tree;
  }
  bool Take(std::string_view piece) {
    const bool there = rest_.starts_with(piece);
    if (there) rest_.remove_prefix(piece.size());
    return there;
  }
  const OperatorInfo* TakeInfix(Precedence rank) {
    for (const OperatorInfo& row : AllOperators()) {
      if (row.precedence == rank && Take(row.text)) return &row;
    }
    return nullptr;
  }

  Stream Signed() {
    if (rest_[0] == '-' && !std::isdigit(rest_[1]) && Take("-")) return Tree(15, {Atom()});
    const Stream left = Atom();
    return Take("^") ? Tree(24, {left, Atom()}) : left;
  }

  Stream Atom() {
    if (Take("time")) return Tree(55, {});
    if (Take("X")) {
      rest_.remove_prefix(1);
      return {Token::Variable(rest_.data()[-1] - '0')};
    }
    if (std::isalpha(rest_[0]) || rest_[0] == '(') return Call();
    const std::string number(rest_.substr(0, rest_.find_first_not_of("0123456789.", 1)));
    rest_.remove_prefix(number.size());
    return {number.find('.') < number.size() ? Token::Real(std::stod(number))
                                             : Token::Integer(std::stoi(number))};
  }

  Stream Call() {  // or brackets, a call without a name
    const std::string_view function = rest_.substr(0, rest_.find('('));
    Take(function);
    std::vector<Stream> operands;
    while (Take(operands.empty() ? "(" : ", ")) operands.push_back(Ranked());
    EXPECT_TRUE(Take(")"));
    if (function.empty()) return operands[0];
    const OperatorInfo* chosen = nullptr;
    for (const OperatorInfo& row : AllOperators()) {
      const bool fits = row.arity == static_cast<int>(operands.size());
      if (row.text == function && (fits || (row.role == Role::kList && !chosen))) chosen = &row;
    }
    return Tree(chosen->code(), operands);
  }

  std::string_view rest_;
};

TEST(Infix, reading_a_printed_formula_gives_the_same_tree) {
  RandomTrees random(9, 6);
  for (int trial = 0; trial < 5000; ++trial) {
    const Stream stream = trial % 3 == 0 ? random.Condition(trial % 4) : random.Number(1 + trial % 6);
    const std::string text = FormulaText(stream, NumberedX);
    Parser parser(text);
    ASSERT_EQ(StreamText(parser.Ranked(), NumberedX), StreamText(stream, NumberedX)) << text;
    ASSERT_TRUE(parser.AtEnd());
  }
}

TEST(Undefined, names_the_innermost_leftmost_operation) {
  const std::pair<const char*, const char*> cases[] = {
      // A = -0.013, B = 0, C = 2, D not a number
      {"20 C 37 22 A C", "ln(x) with x = -0.0065, x = A/C"},
      {"20 37 22 C B 24 A 0.5", "C/B with C = 2, B = 0"},
      {"20 C 24 A 19 C 0.5", "A^x with A = -0.013, x = 2.5, x = C + 0.5"},
      {"20 C 22 19 A C 21 B C", "x/y with x = 1.987, y = 0, x = A + C, y = B*C"},
      {"20 22 B B C", "B/B with B = 0"},
      {"20 C 44 B 36 21 1e6 C 0", "exp(x) with x = 2e+06, x = 1000000.0*C"},
      {"20 C 46 0", "max of 0 operands gives -inf"},
      {"20 C 44 B D 0", "D = nan"},
      {"20 C 37 20 C 44 B C 0", "ln(x) with x = 0, x = C - sum(B, C)"},
      {"20 C 35 B", "nothing"},
  };
  const double x[] = {-0.013, 0, 2, std::numeric_limits<double>::quiet_NaN()};
  Names names{{"A", "B", "C", "D"}};
  auto name = [&](int place) { return names(place); };
  for (const auto& [stream, text] : cases) {
    const auto cause = FindUndefined(Read(stream, names), x, name);
    EXPECT_EQ(cause ? cause->text : "nothing", text) << stream;
  }
  const auto power = FindUndefined(Read("20 C 24 A 19 C 0.5", names), x, name);
  EXPECT_EQ(power->position, 2u);
  EXPECT_EQ(power->op->code(), 24);
  EXPECT_EQ(power->operands, (std::vector{-0.013, 2.5}));

  EXPECT_EQ(FindUndefinedSlope(Read("20 C 19 35 B 35 0.0", names), x, name)->text,
            "the slope of sqrt(B) with B = 0");
  EXPECT_FALSE(FindUndefinedSlope(Read("20 C 35 0.0", names), x, name));
}

}  // namespace
}  // namespace quiver
