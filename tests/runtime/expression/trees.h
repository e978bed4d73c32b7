// SPDX-License-Identifier: Apache-2.0
// Streams as they are read, random trees, and the slow evaluator that the compiled programs are compared
// with.
//
//   Names names;
//   auto stream = Read("20 X 21 int 2 Y", names);     // X and Y get the places 0 and 1
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/expression/operators.h"
#include "runtime/expression/shape.h"
#include "runtime/expression/token.h"

namespace quiver {

using Stream = std::vector<Token>;

struct Names {
  std::vector<std::string> list;
  int Place(const std::string& name) {
    const auto found = std::find(list.begin(), list.end(), name);
    if (found != list.end()) return static_cast<int>(found - list.begin());
    list.push_back(name);
    return static_cast<int>(list.size()) - 1;
  }
  std::string operator()(int place) const { return list.at(place); }
};

// "X3" for the place 3.
inline std::string NumberedX(int place) {
  std::string name = "X";
  return name.append(std::to_string(place));
}

// Operator codes are bare integers, literals "2.0" or "int 2"; "Yes" and "No" in quotes are texts.
inline Stream Read(const std::string& text, Names& names) {
  Stream stream;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    char* end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    if (word == "int") {
      words >> word;
      stream.push_back(Token::Integer(std::stoi(word)));
    } else if (word[0] == '"') {
      static std::deque<std::string> kept;  // tokens borrow their text
      stream.push_back(Token::Text(kept.emplace_back(word.substr(1, word.size() - 2)).c_str()));
    } else if (*end != '\0') {
      stream.push_back(Token::Variable(names.Place(word)));
    } else if (word.find_first_of(".e") == std::string::npos) {
      stream.push_back(Token::Code(static_cast<int>(number)));
    } else {
      stream.push_back(Token::Real(number));
    }
  }
  return stream;
}

class RandomTrees {
 public:
  RandomTrees(unsigned seed, int variables) : random_(seed), variables_(variables) {}

  Stream Number(int depth) { return Grow({}, depth, false); }
  Stream Condition(int depth) { return Grow({}, depth, true); }
  int Below(int n) { return std::uniform_int_distribution(0, n - 1)(random_); }
  double Uniform(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }
  std::vector<double> Point(int size, double low, double high) {
    std::vector<double> x(size);
    for (double& entry : x) entry = Uniform(low, high);
    return x;
  }

 private:
  Stream Grow(Stream out, int depth, bool condition) {
    const bool leaf = depth == 0 || Below(8) == 0;
    if (leaf && !condition) {
      static constexpr double kReals[] = {0.5, 2.0, -1.0, 1.5, -0.25, 3.0, 0.1};
      const int kind = Below(4);
      out.push_back(kind == 0   ? Token::Real(kReals[Below(7)])
                    : kind == 1 ? Token::Integer(Below(6) - 2)
                                : Token::Variable(Below(variables_)));
      return out;
    }
    auto fits = [&](Role role) {
      if (condition) return role == (leaf ? Role::kComparison : Role::kLogical);
      return role == Role::kArithmetic || role == Role::kList;
    };
    const auto rows = AllOperators();
    const OperatorInfo* row = &rows[0];
    while (!fits(row->role)) row = &rows[Below(static_cast<int>(rows.size()))];
    out.push_back(Token::Code(row->code()));
    const bool list = row->role == Role::kList, comparison = row->role == Role::kComparison;
    for (int left = list ? 1 + 2 * Below(2) : row->arity; left > 0; --left) {
      out = Grow(std::move(out), comparison ? 2 : depth - 1, condition && !comparison);
    }
    if (list) out.push_back(Token::Code(0));
    return out;
  }

  std::mt19937 random_;
  int variables_;
};

// A store with one shape.
struct Compiled {
  explicit Compiled(const Stream& stream) : shape(shapes[shapes.Intern(stream, gather)]) {}
  ShapeStore shapes;
  std::vector<int> gather;
  const Shape& shape;
};

// Plain recursion over the tree, in any precision; the time is 7.
template <class T>
T Interpret(const Token*& next, std::span<const T> x) {
  const Token& token = *next++;
  if (token.kind == Token::kVariable) return x[token.index];
  if (token.kind != Token::kOperator) return token.real;
  const OperatorInfo& info = *FindOperator(token.index);
  if (info.arity == 0) return 7;
  if (info.role != Role::kList) {
    const T a = Interpret<T>(next, x);
    return ValueOf<T>(info.op, a, info.arity == 2 ? Interpret<T>(next, x) : T(0));
  }
  T joined = info.empty_value;
  for (bool first = true; next->kind != Token::kOperator || next->index != 0; first = false) {
    const T operand = Interpret<T>(next, x);
    joined = first ? operand : ValueOf<T>(info.joins, joined, operand);
  }
  ++next;
  return joined;
}

template <class T>
T Interpret(const Stream& stream, const std::vector<double>& x, int moved = -1, T step = 0) {
  std::vector<T> point(x.begin(), x.end());
  if (moved >= 0) point[moved] += step;
  const Token* next = stream.data();
  return Interpret<T>(next, point);
}

}  // namespace quiver
