// SPDX-License-Identifier: Apache-2.0
// Test problems written as lambdas; derivatives by forward differentiation, one variable at a time.
//
//   LambdaProblem p;
//   const int x = p.Free("X", 1.0, {.lower = 0.0}), a = p.Fixed("A", 2.0);
//   p.Equation("Square", {x, a}, [=](const Dual* v) { return v[x] * v[x] - v[a]; });
//   SolveSummary summary = p.Solve();            // p.x holds the solution
#ifndef QUIVER_TESTS_RUNTIME_SOLVE_LAMBDA_PROBLEM_H_
#define QUIVER_TESTS_RUNTIME_SOLVE_LAMBDA_PROBLEM_H_

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "runtime/solve/block_solver.h"

namespace quiver {

struct Dual {
  double value = 0.0, slope = 0.0;
  Dual(double v = 0.0, double s = 0.0) : value(v), slope(s) {}
};
inline Dual operator+(Dual a, Dual b) { return {a.value + b.value, a.slope + b.slope}; }
inline Dual operator-(Dual a, Dual b) { return {a.value - b.value, a.slope - b.slope}; }
inline Dual operator*(Dual a, Dual b) { return {a.value * b.value, a.slope * b.value + a.value * b.slope}; }
inline Dual operator/(Dual a, Dual b) {
  return {a.value / b.value, (a.slope - a.value / b.value * b.slope) / b.value};
}
inline Dual Exp(Dual a) { return {std::exp(a.value), std::exp(a.value) * a.slope}; }
inline Dual Log(Dual a) { return {std::log(a.value), a.slope / a.value}; }
inline Dual Sqrt(Dual a) { return {std::sqrt(a.value), 0.5 * a.slope / std::sqrt(a.value)}; }
inline Dual Max(Dual a, Dual b) { return a.value >= b.value ? a : b; }
inline Dual Square(Dual a) { return a * a; }

inline std::string Name(const char* stem, auto number) { return fmt::format("{}{}", stem, number); }

struct Range {
  double lower = -std::numeric_limits<double>::infinity(), upper = std::numeric_limits<double>::infinity();
  double scale = 1.0;
};

class LambdaProblem : public NonlinearProblem {
 public:
  using Function = std::function<Dual(const Dual*)>;
  using Choice = std::function<int(const double*)>;
  struct Alternative {
    std::string name;
    Function residual;
  };

  std::vector<double> x;
  SolveOptions options;
  double least_seen = std::numeric_limits<double>::infinity();  // of all free variables, at any evaluation

  int Free(const std::string& name, double start, Range range = {}) { return Add(name, start, range, true); }
  int Fixed(const std::string& name, double value) { return Add(name, value, {}, false); }
  void Equation(const std::string& name, std::vector<int> variables, Function residual) {
    equations_.push_back({name, std::move(variables), {}, nullptr, {{name, std::move(residual)}}, 0});
  }
  void Given(const std::string& name, std::vector<int> variables, std::vector<int> condition_variables,
             Choice choice, std::vector<Alternative> alternatives) {
    equations_.push_back({name, std::move(variables), std::move(condition_variables), std::move(choice),
                          std::move(alternatives), 0});
  }
  SolveSummary Solve() { return quiver::Solve(*this, options, x); }

  int EquationCount() const override { return static_cast<int>(equations_.size()); }
  int VariableCount() const override { return static_cast<int>(x.size()); }
  bool IsFree(int v) const override { return variables_[v].is_free; }
  std::span<const int> ResidualVariables(int e) const override { return equations_[e].variables; }
  std::span<const int> ConditionVariables(int e) const override { return equations_[e].condition_variables; }
  double Lower(int v) const override { return variables_[v].range.lower; }
  double Upper(int v) const override { return variables_[v].range.upper; }
  double Scale(int v) const override { return variables_[v].range.scale; }
  std::string EquationName(int e) const override { return equations_[e].name; }
  std::string VariableName(int v) const override { return variables_[v].name; }
  EvaluationFault FirstFault() const override { return fault_; }

  bool Evaluate(std::span<const int> equations, const double* at, double* residuals,
                double* gradients) override {
    duals_.resize(x.size());
    for (std::size_t i = 0; i < equations.size(); ++i) {
      const Row& row = equations_[equations[i]];
      const Function& residual = row.alternatives[row.current].residual;
      for (int v : row.variables) {
        duals_[v] = at[v];
        if (IsFree(v)) least_seen = std::min(least_seen, at[v]);
      }
      residuals[i] = residual(duals_.data()).value;
      bool finite = std::isfinite(residuals[i]);
      for (int v : row.variables) {
        if (!gradients) break;
        duals_[v].slope = 1.0;
        *gradients = residual(duals_.data()).slope;
        duals_[v].slope = 0.0;
        finite = finite && std::isfinite(*gradients++);
      }
      if (finite) continue;
      fault_ = {equations[i], "the value is not a number"};
      return false;
    }
    return true;
  }
  int DecideAlternatives(std::span<const int> equations, const double* at) override {
    int changed = 0;
    for (int e : equations) {
      if (!equations_[e].choice) continue;
      const int now = equations_[e].choice(at);
      changed += now != equations_[e].current;
      equations_[e].current = now;
    }
    return changed;
  }
  bool HasAlternatives(int e) const override { return equations_[e].choice != nullptr; }
  int CurrentAlternative(int e) const override { return equations_[e].current; }
  std::string AlternativeName(int e, int alternative) const override {
    return equations_[e].alternatives[alternative].name;
  }

 private:
  struct Row {
    std::string name;
    std::vector<int> variables, condition_variables;
    Choice choice;
    std::vector<Alternative> alternatives;
    int current;
  };
  struct Variable {
    std::string name;
    Range range;
    bool is_free;
  };
  int Add(const std::string& name, double value, Range range, bool is_free) {
    variables_.push_back({name, range, is_free});
    x.push_back(value);
    return static_cast<int>(x.size()) - 1;
  }

  std::vector<Row> equations_;
  std::vector<Variable> variables_;
  std::vector<Dual> duals_;
  EvaluationFault fault_;
};

}  // namespace quiver

#endif  // QUIVER_TESTS_RUNTIME_SOLVE_LAMBDA_PROBLEM_H_
