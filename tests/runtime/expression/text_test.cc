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
  struct Case {
    const char* stream;
    const char* equation;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    Names names;
    EXPECT_EQ(EquationText(Read(c.stream, names), [&](int place) { return names(place); }), c.equation);
  }
  Names names;
  auto name = [&](int place) { return names(place); };
  EXPECT_EQ(FormulaText(Read("5 6 12 A B 10 A 19 B int 2 8 \"Yes\" \"No\"", names), name),
            "(A < B or A <= B + 2) and \"Yes\" == \"No\"");
  EXPECT_EQ(StreamText(Read("20 X 21 0.1 int 2 -3", names), name), "20 X 21 0.1 int 2 -3");
}

// Reads formulas: or, and, comparison, + -, * /, leading -, ^, then names, numbers, calls and brackets.
class Parser {
 public:
  explicit Parser(std::string text) : text_(std::move(text)) {}
  Stream Parse() { return Binary(0); }
  bool AtEnd() const { return at_ == text_.size(); }

 private:
  bool Take(std::string_view piece) {
    if (text_.compare(at_, piece.size(), piece) != 0) return false;
    at_ += piece.size();
    return true;
  }
  static void Append(Stream& out, const Stream& more) { out.insert(out.end(), more.begin(), more.end()); }

  Stream Binary(int rank) {
    if (rank == static_cast<int>(Precedence::kNegation)) return Signed();
    Stream left = Binary(rank + 1);
    for (bool more = true; more;) {
      more = false;
      for (const OperatorInfo& row : AllOperators()) {
        if (static_cast<int>(row.precedence) != rank || !Take(row.text)) continue;
        left.insert(left.begin(), Token::Code(row.code()));
        Append(left, Binary(rank + 1));
        more = true;
        break;
      }
    }
    return left;
  }

  Stream Signed() {
    if (text_[at_] == '-' && !std::isdigit(text_[at_ + 1])) {
      ++at_;
      Stream out = {Token::Code(15)};
      Append(out, Atom());
      return out;
    }
    Stream left = Atom();
    if (!Take("^")) return left;
    left.insert(left.begin(), Token::Code(24));
    Append(left, Atom());
    return left;
  }

  Stream Atom() {
    if (Take("(")) {
      Stream inside = Binary(0);
      EXPECT_TRUE(Take(")"));
      return inside;
    }
    if (Take("time")) return {Token::Code(55)};
    if (text_[at_] == 'X') {
      const int place = text_[at_ + 1] - '0';
      at_ += 2;
      return {Token::Variable(place)};
    }
    if (std::isalpha(text_[at_])) return Call();
    std::size_t size = 0;
    const double number = std::stod(text_.substr(at_), &size);
    const std::string digits = text_.substr(at_, size);
    at_ += size;
    if (digits.find('.') != std::string::npos) return {Token::Real(number)};
    return {Token::Integer(static_cast<int>(number))};
  }

  Stream Call() {
    const std::size_t open = text_.find('(', at_);
    const std::string function = text_.substr(at_, open - at_);
    at_ = open + 1;
    Stream operands;
    int count = 0;
    for (; !Take(")"); ++count) {
      EXPECT_TRUE(count == 0 || Take(", "));
      Append(operands, Binary(0));
    }
    const OperatorInfo* chosen = nullptr;
    for (const OperatorInfo& row : AllOperators()) {
      if (row.text != function || (row.arity != count && row.role != Role::kList)) continue;
      if (chosen == nullptr || row.arity == count) chosen = &row;
    }
    operands.insert(operands.begin(), Token::Code(chosen->code()));
    if (chosen->role == Role::kList) operands.push_back(Token::Code(0));
    return operands;
  }

  std::string text_;
  std::size_t at_ = 0;
};

TEST(Infix, reading_a_printed_formula_gives_the_same_tree) {
  RandomTrees random(9, 6);
  for (int trial = 0; trial < 5000; ++trial) {
    const Stream stream = trial % 3 == 0 ? random.Condition(trial % 4) : random.Number(1 + trial % 6);
    const std::string text = FormulaText(stream, NumberedX);
    Parser parser(text);
    ASSERT_EQ(StreamText(parser.Parse(), NumberedX), StreamText(stream, NumberedX)) << text;
    ASSERT_TRUE(parser.AtEnd());
  }
}

TEST(Undefined, names_the_innermost_leftmost_operation) {
  struct Case {
    const char* stream;
    const char* text;  // null: nothing is undefined
  };
  const Case cases[] = {
      // A = -0.013, B = 0, C = 2, D not a number
      {"20 C 37 22 A C", "ln(x) with x = -0.0065, x = A/C"},
      {"20 37 22 C B 24 A 0.5", "C/B with C = 2, B = 0"},
      {"20 C 24 A 19 C 0.5", "A^x with A = -0.013, x = 2.5, x = C + 0.5"},
      {"20 C 22 19 A C 21 B C", "x/y with x = 1.987, y = 0, x = A + C, y = B*C"},
      {"20 22 B B C", "B/B with B = 0"},
      {"20 C 44 B 36 21 1e6 C 0", "exp(x) with x = 2e+06, x = 1000000.0*C"},
      {"20 C 46 0", "max of 0 operands gives -inf"},
      {"20 C 44 B D 0", "D = nan"},
      {"20 C 35 B", nullptr},
  };
  const double x[] = {-0.013, 0, 2, std::numeric_limits<double>::quiet_NaN()};
  Names names{{"A", "B", "C", "D"}};
  auto name = [&](int place) { return names(place); };
  for (const Case& c : cases) {
    const auto cause = FindUndefined(Read(c.stream, names), x, name);
    EXPECT_EQ(cause ? cause->text : "nothing", c.text ? c.text : "nothing") << c.stream;
  }
  const auto power = FindUndefined(Read("20 C 24 A 19 C 0.5", names), x, name);
  EXPECT_EQ(power->position, 2u);
  EXPECT_EQ(power->op->code(), 24);
  EXPECT_EQ(power->operands, (std::vector{-0.013, 2.5}));

  EXPECT_EQ(FindUndefinedSlope(Read("20 C 19 35 B 35 0.0", names), x, name)->text, "sqrt(B) with B = 0");
  EXPECT_FALSE(FindUndefinedSlope(Read("20 C 35 0.0", names), x, name));
}

}  // namespace
}  // namespace quiver
