// SPDX-License-Identifier: Apache-2.0
// Do the dimensions of an equation agree? Dimensions, not scales: 1e5 between N/m2 and bar is a number to a reader and to
// this check alike.
//
//   UnitCheck check([&](int variable) { return VariableDimension{ExponentsOf("bar")}; }, name);
//   check.Add(0, "psv.MassFlux", stream);
//   for (const UnitFinding& finding : check.Findings()) fmt::print("{}\n", finding.text);
//
// What is known:
// - a variable or parameter has the dimension of its unit; one without a unit has an unknown dimension. That of a
//   variable is the same in all equations. A parameter without unit may serve many equations with the same number
//   (a smallest value, say), so that it is asked to agree with itself in one equation only.
// - literals such as 1, 0.5, 1e5, 3600 or pi are plain numbers where they multiply; others (9.80665, 0.0022) may carry
//   the units of a correlation and have an unknown dimension each. What is added to or compared with a quantity is
//   understood in its unit (T + 273.15); only 1 + x and 1 - x say that x is a plain number.
// - exp, ln, sin and exponents want plain numbers.
// An equation that contradicts itself is told once for each place where it does; then equations that are sound alone are
// put together, and one that contradicts earlier ones is told with the variable they disagree on.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "runtime/diagnosis/dimension.h"
#include "runtime/expression/infix.h"
#include "runtime/expression/token.h"

namespace quiver {

struct VariableDimension {
  std::optional<Exponents> declared;
  bool is_parameter = false;
  double value = 0;  // of a parameter: an exponent is read from it
};

struct UnitFinding {
  int equation;
  int other = -1;     // the earlier equation that it contradicts
  int variable = -1;  // the one the two disagree on
  std::string text;   // a sentence without the equation's name
};

struct UnitCheckOptions {
  std::size_t most_findings = 200;
};

class UnitCheck {
 public:
  UnitCheck(std::function<VariableDimension(int variable)> dimension_of, VariableName name,
            UnitCheckOptions options = {});

  // A residual or a condition of an equation. `label` names it in findings about other equations.
  void Add(int equation, const std::string& label, std::span<const Token> stream);
  // Arguments of a procedure: each has the dimension it is meant in; those without one are alike among themselves.
  struct Argument {
    int variable;
    std::optional<Exponents> meant;
  };
  void AddArguments(int equation, const std::string& label, std::span<const Argument> arguments);

  const std::vector<UnitFinding>& Findings() const { return findings_; }
  int Checked() const { return checked_; }
  // The dimension found for a variable without a unit; nothing where the equations leave it open.
  std::optional<Exponents> Inferred(int variable) const;

 private:
  struct Part;         // of a tree
  struct Requirement;  // two forms that have to be the same
  void ReadTree(std::span<const Token> stream, std::vector<Requirement>& requirements);
  void Reduce(const Token& token, std::vector<Part>& operands, bool is_root, std::span<const Token> stream,
              Part& whole, std::vector<Requirement>& requirements);
  void Judge(int equation, const std::string& label, const std::vector<Requirement>& requirements);
  DimensionForm FormOf(int variable);
  DimensionForm Factor(const Part& part);
  std::optional<double> Exponent(const Part& part, std::span<const Token> stream) const;
  bool IsBareNumber(const Part& part, std::span<const Token> stream) const;
  std::string Text(const Part& part, std::span<const Token> stream) const;
  void Found(UnitFinding finding);

  std::function<VariableDimension(int)> dimension_of_;
  VariableName name_;
  UnitCheckOptions options_;
  DimensionSolver together_;
  std::vector<std::string> labels_;  // by the origin given to together_
  std::vector<int> equations_;       // parallel to labels_
  std::vector<UnitFinding> findings_;
  int next_literal_ = -2;  // unknowns of literals: ever smaller numbers below those of parameters
  int checked_ = 0;
};

}  // namespace quiver
