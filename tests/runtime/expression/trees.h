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
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/expression/operators.h"
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
      static std::vector<std::string*> kept;
      kept.push_back(new std::string(word.substr(1, word.size() - 2)));
      stream.push_back(Token::Text(kept.back()->c_str()));
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

  Stream Number(int depth) {
    Stream out;
    AddNumber(out, depth);
    return out;
  }
  Stream Condition(int depth) {
    Stream out;
    AddCondition(out, depth);
    return out;
  }
  int Below(int n) { return std::uniform_int_distribution(0, n - 1)(random_); }
  double Uniform(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }

 private:
  const OperatorInfo& Pick(bool condition, bool comparison) {
    for (;;) {
      const OperatorInfo& row =
          AllOperators().first[Below(static_cast<int>(AllOperators().end() - AllOperators().begin()))];
      if (condition && row.role == (comparison ? Role::kComparison : Role::kLogical)) return row;
      if (!condition && (row.role == Role::kArithmetic || row.role == Role::kList)) return row;
    }
  }

  void AddNumber(Stream& out, int depth) {
    static constexpr double kReals[] = {0.5, 2.0, -1.0, 1.5, -0.25, 3.0, 0.1};
    if (depth == 0 || Below(8) == 0) {
      const int kind = Below(4);
      out.push_back(kind == 0   ? Token::Real(kReals[Below(7)])
                    : kind == 1 ? Token::Integer(Below(6) - 2)
                                : Token::Variable(Below(variables_)));
      return;
    }
    const OperatorInfo& row = Pick(false, false);
    out.push_back(Token::Code(row.code()));
    const int operands = row.role == Role::kList ? 1 + 2 * Below(2) : row.arity;
    for (int k = 0; k < operands; ++k) AddNumber(out, depth - 1);
    if (row.role == Role::kList) out.push_back(Token::Code(0));
  }

  void AddCondition(Stream& out, int depth) {
    const bool comparison = depth == 0 || Below(4) == 0;
    out.push_back(Token::Code(Pick(true, comparison).code()));
    for (int k = 0; k < 2; ++k) comparison ? AddNumber(out, 2) : AddCondition(out, depth - 1);
  }

  std::mt19937 random_;
  int variables_;
};

// Plain recursion over the tree, in any precision.
template <class T>
class Interpreter {
 public:
  Interpreter(std::span<const Token> stream, std::span<const T> x, T time = 0)
      : stream_(stream), x_(x), time_(time) {}

  T Value() {
    const Token& token = stream_[next_++];
    if (token.kind == Token::kVariable) return x_[token.index];
    if (token.kind != Token::kOperator) return token.real;
    const OperatorInfo& info = *FindOperator(token.index);
    if (info.arity == 0) return time_;
    if (info.role == Role::kList) {
      T joined = info.empty_value;
      for (bool first = true; stream_[next_].kind != Token::kOperator || stream_[next_].index != 0;
           first = false) {
        const T operand = Value();
        joined = first ? operand : ValueOf<T>(info.joins, joined, operand);
      }
      ++next_;
      return joined;
    }
    const T a = Value();
    return ValueOf<T>(info.op, a, info.arity == 2 ? Value() : T(0));
  }

 private:
  std::span<const Token> stream_;
  std::span<const T> x_;
  T time_;
  std::size_t next_ = 0;
};

template <class T>
T Interpret(const Stream& stream, const std::vector<double>& x, int moved = -1, T step = 0) {
  std::vector<T> point(x.begin(), x.end());
  if (moved >= 0) point[moved] += step;
  return Interpreter<T>(stream, point, 7).Value();  // time 7
}

}  // namespace quiver
