// SPDX-License-Identifier: Apache-2.0
#include "runtime/export/system_export.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "runtime/contract/error.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/export/closed_forms.h"

namespace quiver {
namespace {

std::vector<int> AllEquations(const EquationSystem& system) {
  std::vector<int> all(static_cast<size_t>(system.EquationCount()));
  std::iota(all.begin(), all.end(), 0);
  return all;
}

// Equations over a set share their name; the second and later ones carry their count: "pump.Head#2".
class UniqueNames {
 public:
  std::string Of(const std::string& name) {
    const int count = ++counts_[name];
    return count == 1 ? name : fmt::format("{}#{}", name, count);
  }

 private:
  std::map<std::string, int> counts_;
};

// Reads prefix streams as formulas; what is known becomes a number.
class StreamReader {
 public:
  StreamReader(std::span<const double> x, std::span<const int> places) : x_(x), places_(places) {}

  NlFormula Read(const std::vector<Token>& stream) {
    stream_ = stream;
    next_ = 0;
    return Next();
  }

  NlFormula Leaf(const Token& token) const {
    if (token.kind != Token::kVariable) return token.real;
    const int place = places_[static_cast<size_t>(token.index)];
    return place >= 0 ? NlFormula::Variable(place) : NlFormula(x_[static_cast<size_t>(token.index)]);
  }

 private:
  NlFormula Next() {
    const Token token = stream_[next_++];
    if (token.kind != Token::kOperator) return Leaf(token);
    const OperatorInfo& info = *FindOperator(token.index);
    if (info.arity == OperatorInfo::kAnyNumber) return List(info);
    if ((info.op == Operator::kEqual || info.op == Operator::kNotEqual) &&
        stream_[next_].kind == Token::kText) {
      const bool same = SameText(stream_[next_].text, stream_[next_ + 1].text);
      next_ += 2;
      return same == (info.op == Operator::kEqual) ? 1.0 : 0.0;
    }
    std::vector<NlFormula> of;
    for (int k = 0; k < info.arity; ++k) of.push_back(Next());
    return Join(info.op, std::move(of));
  }

  NlFormula List(const OperatorInfo& info) {
    std::vector<NlFormula> of;
    while (!(stream_[next_].kind == Token::kOperator && stream_[next_].index == 0)) of.push_back(Next());
    ++next_;
    if (of.empty()) return info.empty_value;
    if (info.op == Operator::kSum) return Sum(std::move(of));
    if (info.op == Operator::kLargest) return Max(std::move(of));
    if (info.op == Operator::kSmallest) return Min(std::move(of));
    NlFormula product = of[0];
    for (size_t k = 1; k < of.size(); ++k) product = product * of[k];
    return product;
  }

  static NlFormula Join(Operator op, std::vector<NlFormula> of) {
    const auto as = [&](NlOperator nl) { return NlFormula::Apply(nl, of); };
    switch (op) {
      case Operator::kResidual:
      case Operator::kDelay:  // at steady state
        return of[0];
      case Operator::kTime:  // of a steady system
        return 0.0;
      case Operator::kSquare:
        return NlFormula::Apply(NlOperator::kPower, {of[0], 2.0});
      case Operator::kNegate:
        return as(NlOperator::kNegate);
      case Operator::kAdd:
        return as(NlOperator::kAdd);
      case Operator::kSubtract:
        return as(NlOperator::kSubtract);
      case Operator::kMultiply:
        return as(NlOperator::kMultiply);
      case Operator::kDivide:
        return as(NlOperator::kDivide);
      case Operator::kPower:
        return as(NlOperator::kPower);
      case Operator::kSine:
        return as(NlOperator::kSin);
      case Operator::kCosine:
        return as(NlOperator::kCos);
      case Operator::kHyperbolicTangent:
        return as(NlOperator::kTanh);
      case Operator::kSquareRoot:
        return as(NlOperator::kSqrt);
      case Operator::kExponential:
        return as(NlOperator::kExp);
      case Operator::kNaturalLogarithm:
        return as(NlOperator::kLog);
      case Operator::kDecimalLogarithm:
        return as(NlOperator::kLog10);
      case Operator::kAbsolute:
        return as(NlOperator::kAbsolute);
      case Operator::kMaximum:
        return as(NlOperator::kMaximum);
      case Operator::kMinimum:
        return as(NlOperator::kMinimum);
      case Operator::kAnd:
        return as(NlOperator::kAnd);
      case Operator::kOr:
        return as(NlOperator::kOr);
      case Operator::kEqual:
        return as(NlOperator::kEqual);
      case Operator::kNotEqual:
        return as(NlOperator::kNotEqual);
      case Operator::kGreater:
        return as(NlOperator::kGreater);
      case Operator::kGreaterOrEqual:
        return as(NlOperator::kGreaterOrEqual);
      case Operator::kLess:
        return as(NlOperator::kLess);
      case Operator::kLessOrEqual:
        return as(NlOperator::kLessOrEqual);
      default:
        throw Error(fmt::format("operator {} has no counterpart in the .nl format.", static_cast<int>(op)));
    }
  }

  std::span<const double> x_;
  std::span<const int> places_;
  std::vector<Token> stream_;
  size_t next_ = 0;
};

class Exporter {
 public:
  Exporter(EquationSystem& system, std::span<const double> x, const ExportOptions& options)
      : system_(system), x_(x), options_(options), places_(x.size(), -1), reader_(x_, places_) {}

  ExportedSystem Run() {
    AddVariables();
    const std::vector<int> all = AllEquations(system_);
    system_.DecideAlternatives(all, x_.data());
    for (const int equation : all) AddEquation(equation);
    TellInexpressible();
    if (!findings_.empty()) throw Error(fmt::format("{}", fmt::join(findings_, "\n")));
    return std::move(exported_);
  }

 private:
  void AddVariables() {
    for (int v = 0; v < system_.VariableCount(); ++v) {
      const bool given = !system_.IsFree(v);
      if (!system_.TakesPart(v) || (given && (!options_.keep_given || !system_.CanBeFreed(v)))) continue;
      const double value = x_[static_cast<size_t>(v)];
      places_[static_cast<size_t>(v)] = static_cast<int>(exported_.variables.size());
      exported_.variables.push_back({system_.VariableName(v), value, given ? value : system_.Lower(v),
                                     given ? value : system_.Upper(v), given});
    }
  }

  void TellInexpressible() {
    for (const auto& [routine, callers] : inexpressible_)
      findings_.push_back(fmt::format(
          "{}{} calls the routine {}, which has no formula that the .nl format could hold.", callers.front(),
          callers.size() == 1 ? "" : fmt::format(" (and {} more)", callers.size() - 1), routine));
    if (!inexpressible_.empty())
      findings_.push_back(
          "--linearise-procedures writes first-order expansions at the chosen point instead.");
  }

  void AddEquation(int equation) {
    const std::vector<EmittedForm> forms = system_.FormsOf(equation);
    const int current = system_.CurrentAlternative(equation);
    ExportedEquation exported;
    exported.name = row_names_.Of(system_.EquationName(equation));
    if (options_.current_only && forms.size() > 1) {
      if (current < 0) {
        findings_.push_back(fmt::format("{}: none of its conditions holds at this point.", exported.name));
        return;
      }
      exported.residual = Residual(equation, forms[static_cast<size_t>(current)]);
    } else {
      // From the last to the first. Where no condition holds the equation is undefined; the last alternative stands for that.
      exported.residual = Residual(equation, forms.back());
      for (size_t k = forms.size() - 1; k-- > 0;) {
        NlFormula holds = 1.0;
        for (const std::vector<Token>& condition : forms[k].conditions) {
          const NlFormula one = reader_.Read(condition);
          holds = holds.IsNumber(1) ? one : holds && one;
        }
        exported.residual = If(holds, Residual(equation, forms[k]), exported.residual);
      }
    }
    exported.variables = VariablesOf(exported.residual);
    if (exported.residual.IsNumber() && !std::isfinite(exported.residual.value()))
      findings_.push_back(fmt::format("{}: its value is not finite with the values given.", exported.name));
    exported_.equations.push_back(std::move(exported));
  }

  NlFormula Residual(int equation, const EmittedForm& form) {
    if (!form.procedure) return reader_.Read(form.residual);
    const NlFormula output =
        reader_.Leaf(Token::Variable(form.elements[static_cast<size_t>(form.inputs_count + form.output)]));
    const char* routine = form.procedure->ProcedureName();
    if (const ClosedForm* closed = FindClosedForm(routine)) {
      std::vector<std::vector<NlFormula>> inputs;
      for (const std::vector<Token>& argument : form.inputs) {
        inputs.emplace_back();
        for (const Token& token : argument) inputs.back().push_back(reader_.Leaf(token));
      }
      return output - closed->value(inputs, form.output);
    }
    if (options_.linearise_procedures) return Expansion(equation, form, output);
    std::vector<std::string>& callers =
        inexpressible_[fmt::format("{} of {}", routine, form.procedure->DLLName())];
    const std::string caller = system_.EquationName(equation);
    if (std::find(callers.begin(), callers.end(), caller) == callers.end()) callers.push_back(caller);
    return 0.0;
  }

  // residual(x) + slopes (x' - x): exact at the point, where the slopes are those of the host.
  NlFormula Expansion(int equation, const EmittedForm& form, const NlFormula& output) {
    const int equations[] = {equation};
    const auto row = system_.ResidualVariables(equation);
    std::vector<double> slopes(row.size());
    double residual = 0;
    const std::vector<EmittedForm> forms = system_.FormsOf(equation);
    const int current = system_.CurrentAlternative(equation);
    const bool holds = current >= 0 && forms[static_cast<size_t>(current)].procedure == form.procedure;
    if (!holds || !system_.Evaluate(equations, x_.data(), &residual, slopes.data())) {
      findings_.push_back(fmt::format("{}: the routine {} has no expansion at this point{}",
                                      system_.EquationName(equation), form.procedure->ProcedureName(),
                                      holds
                                          ? ": " + system_.FirstFault().reason
                                          : ", because another alternative holds. --current leaves it out."));
      return output;
    }
    const std::string routine = form.procedure->ProcedureName();
    auto& names = exported_.linearised;
    if (std::find(names.begin(), names.end(), routine) == names.end()) names.push_back(routine);
    std::vector<NlFormula> terms = {NlFormula(residual)};
    for (size_t k = 0; k < row.size(); ++k) {
      const int place = places_[static_cast<size_t>(row[k])];
      if (place < 0) continue;
      terms.push_back(slopes[k] * (NlFormula::Variable(place) - x_[static_cast<size_t>(row[k])]));
    }
    return Sum(std::move(terms));
  }

  EquationSystem& system_;
  std::span<const double> x_;
  const ExportOptions& options_;
  std::vector<int> places_;  // of the system's variables among those exported; -1: a number
  StreamReader reader_;
  UniqueNames row_names_;
  ExportedSystem exported_;
  std::map<std::string, std::vector<std::string>> inexpressible_;  // routine -> equations that call it
  std::vector<std::string> findings_;
};

}  // namespace

ExportedSystem Express(EquationSystem& system, std::span<const double> x, const ExportOptions& options) {
  return Exporter(system, x, options).Run();
}

ExportedJacobian JacobianAt(EquationSystem& system, std::span<const double> x) {
  const std::vector<int> all = AllEquations(system);
  system.DecideAlternatives(all, x.data());
  ExportedJacobian jacobian;
  UniqueNames row_names;
  std::vector<int> columns(x.size(), -1);
  for (int v = 0; v < system.VariableCount(); ++v) {
    if (!system.TakesPart(v) || !system.IsFree(v)) continue;
    columns[static_cast<size_t>(v)] = static_cast<int>(jacobian.columns.size());
    jacobian.columns.push_back(system.VariableName(v));
  }
  for (const int equation : all) {
    const auto row = system.ResidualVariables(equation);
    std::vector<double> slopes(row.size());
    double residual = 0;
    const int one[] = {equation};
    const bool finite = system.Evaluate(one, x.data(), &residual, slopes.data());
    jacobian.rows.push_back(row_names.Of(system.EquationName(equation)));
    const size_t first = jacobian.entries.size();
    for (size_t k = 0; k < row.size(); ++k)
      if (const int column = columns[static_cast<size_t>(row[k])]; column >= 0)
        jacobian.entries.push_back({equation, column, slopes[k]});
    const bool slopes_finite =
        std::all_of(jacobian.entries.begin() + static_cast<long>(first), jacobian.entries.end(),
                    [](const auto& entry) { return std::isfinite(entry.value); });
    if (!finite || !slopes_finite)
      throw Error(fmt::format(
          "{} has no finite slope at this point: {}. Choose another point with --guess, or --at solution.",
          jacobian.rows.back(), system.FirstFault().reason));
    std::sort(jacobian.entries.begin() + static_cast<long>(first), jacobian.entries.end(),
              [](const auto& a, const auto& b) { return a.column < b.column; });
  }
  return jacobian;
}

}  // namespace quiver
