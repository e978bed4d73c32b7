// SPDX-License-Identifier: Apache-2.0
// Reads .nl files, text and binary, and evaluates them: written from the format's description, without any of the writer.
//
//   NlProblem problem(bytes);
//   problem.Residual(0, problem.start);        constraint 0 less its right-hand side
#pragma once

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace quiver::tests {

class NlProblem {
 public:
  explicit NlProblem(const std::string& bytes) : in_(bytes), binary_(bytes[0] == 'b') { Read(); }

  double Residual(size_t row, const std::vector<double>& x) const {
    double value = bodies[row](x) - right[row];
    for (const auto& [column, coefficient] : jacobian[row])
      value += coefficient * x[static_cast<size_t>(column)];
    return value;
  }

  using Body = std::function<double(const std::vector<double>&)>;
  int columns = 0, rows = 0, nonlinear_rows = 0, nonlinear_columns = 0, nonzeros = 0;
  std::vector<Body> bodies;
  std::vector<double> start, right, lower, upper;
  std::vector<std::vector<std::pair<int, double>>> jacobian;
  std::vector<int> column_sums;

 private:
  std::string Line() {
    std::string line;
    std::getline(in_, line);
    return line.substr(0, line.find('#'));
  }
  int Integer() {
    if (binary_) return Raw<std::int32_t>();
    int value = 0;
    if (!(in_ >> value)) throw std::runtime_error("an integer was expected");
    return value;
  }
  double Real() {
    if (binary_) return Raw<double>();
    double value = 0;
    if (!(in_ >> value)) throw std::runtime_error("a number was expected");
    return value;
  }
  template <class Number>
  Number Raw() {
    char bytes[sizeof(Number)];
    in_.read(bytes, sizeof bytes);
    Number value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  void Read() {
    std::vector<int> header;
    Line();
    for (int k = 1; k < 10; ++k) {
      std::istringstream line(Line());
      for (int number; line >> number;) header.push_back(number);
      if (k == 1) columns = header[0], rows = header[1];
    }
    nonlinear_rows = header[5];
    nonlinear_columns = header[9];
    nonzeros = header[21];
    bodies.resize(static_cast<size_t>(rows));
    jacobian.resize(static_cast<size_t>(rows));
    start.resize(static_cast<size_t>(columns));
    for (char segment; in_.get(segment);) {
      if (segment == '\n') continue;
      Segment(segment);
    }
  }

  void Segment(char letter) {
    const double infinity = std::numeric_limits<double>::infinity();
    if (letter == 'C') {
      const auto row = static_cast<size_t>(Integer());
      bodies[row] = Tree();
    } else if (letter == 'O') {
      Integer(), Integer();
      Tree();
    } else if (letter == 'x') {
      for (int k = Integer(); k > 0; --k) {
        const auto at = static_cast<size_t>(Integer());
        start[at] = Real();
      }
    } else if (letter == 'r') {
      for (int k = 0; k < rows; ++k) {
        if (BoundKind() != 4) throw std::runtime_error("a constraint is no equation");
        right.push_back(Real());
      }
    } else if (letter == 'b') {
      for (int k = 0; k < columns; ++k) {
        const int kind = BoundKind();
        lower.push_back(kind == 0 || kind == 2 || kind == 4 ? Real() : -infinity);
        upper.push_back(kind == 0 || kind == 1 ? Real() : kind == 4 ? lower.back() : infinity);
      }
    } else if (letter == 'k') {
      for (int k = Integer(); k > 0; --k) column_sums.push_back(Integer());
    } else if (letter == 'J') {
      const auto row = static_cast<size_t>(Integer());
      for (int k = Integer(); k > 0; --k) {
        const int column = Integer();
        jacobian[row].push_back({column, Real()});
      }
    } else {
      throw std::runtime_error(std::string("unknown segment ") + letter);
    }
  }
  int BoundKind() {
    char kind = 0;
    binary_ ? static_cast<void>(in_.get(kind)) : static_cast<void>(in_ >> kind);
    return kind - '0';
  }

  Body Tree() {
    char kind = 0;
    binary_ ? static_cast<void>(in_.get(kind)) : static_cast<void>(in_ >> kind);
    if (kind == 'n') return [value = Real()](const std::vector<double>&) { return value; };
    if (kind == 'v')
      return [at = static_cast<size_t>(Integer())](const std::vector<double>& x) { return x[at]; };
    if (kind != 'o') throw std::runtime_error(std::string("unknown expression ") + kind);
    const int op = Integer();
    const bool list = op == 11 || op == 12 || op == 54, unary = op == 15 || op == 16 || (op > 35 && op < 54);
    const int count = list ? Integer() : op == 35 ? 3 : unary ? 1 : 2;
    std::vector<Body> of;
    for (int k = 0; k < count; ++k) of.push_back(Tree());
    return [op, of](const std::vector<double>& x) { return Apply(op, of, x); };
  }

  static double Apply(int op, const std::vector<Body>& of, const std::vector<double>& x) {
    if (op == 35) return of[0](x) != 0 ? of[1](x) : of[2](x);
    const double a = of[0](x), b = of.size() > 1 ? of[1](x) : 0;
    double value = a;
    switch (op) {
      case 0:
        return a + b;
      case 1:
        return a - b;
      case 2:
        return a * b;
      case 3:
        return a / b;
      case 5:
        return std::pow(a, b);
      case 11:
        for (const Body& one : of) value = std::fmin(value, one(x));
        return value;
      case 12:
        for (const Body& one : of) value = std::fmax(value, one(x));
        return value;
      case 15:
        return std::fabs(a);
      case 16:
        return -a;
      case 20:
        return a != 0 || b != 0;
      case 21:
        return a != 0 && b != 0;
      case 22:
        return a < b;
      case 23:
        return a <= b;
      case 24:
        return a == b;
      case 28:
        return a >= b;
      case 29:
        return a > b;
      case 30:
        return a != b;
      case 37:
        return std::tanh(a);
      case 39:
        return std::sqrt(a);
      case 41:
        return std::sin(a);
      case 42:
        return std::log10(a);
      case 43:
        return std::log(a);
      case 44:
        return std::exp(a);
      case 46:
        return std::cos(a);
      case 54:
        value = 0;
        for (const Body& one : of) value += one(x);
        return value;
    }
    throw std::runtime_error("unknown operator " + std::to_string(op));
  }

  std::istringstream in_;
  bool binary_;
};

}  // namespace quiver::tests
