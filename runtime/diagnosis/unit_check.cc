// SPDX-License-Identifier: Apache-2.0
#include "runtime/diagnosis/unit_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/expression/operators.h"

namespace quiver {
namespace {

constexpr double kPi = 3.14159265358979;
constexpr double kLargestCount = 12;  // integers up to here count something
constexpr std::size_t kLongestFormula = 60;

// Numbers that convert or count, and so multiply without a dimension.
bool IsPlainFactor(double value) {
  const double size = std::abs(value);
  if (size == 0) return true;
  for (const double whole : {2 * size, 3 * size, 4 * size, size / kPi, 4 * size / kPi})
    if (whole <= 2 * kLargestCount && std::abs(whole - std::round(whole)) < 1e-6 && whole > 0.5) return true;
  for (const double known : {60.0, 3600.0, 24.0, 1 / 60.0, 1 / 3600.0, 3.6, 1 / 3.6})
    if (std::abs(size / known - 1) < 1e-6) return true;
  const double power = std::log10(size);
  return std::abs(power - std::round(power)) < 1e-9;
}

}  // namespace

struct UnitCheck::Part {
  std::size_t begin = 0, end = 0;  // tokens
  std::optional<double> constant;  // made of literals alone
  DimensionForm form;
  bool is_mark = false;  // closes a list
};

struct UnitCheck::Requirement {
  DimensionForm left, right;
  std::string left_text, right_text;  // no right: "has to be a plain number"
  const char* verb = "";
};

UnitCheck::UnitCheck(std::function<VariableDimension(int)> dimension_of, VariableName name,
                     UnitCheckOptions options)
    : dimension_of_(std::move(dimension_of)), name_(std::move(name)), options_(options) {}

DimensionForm UnitCheck::FormOf(int variable) {
  const VariableDimension dimension = dimension_of_(variable);
  if (dimension.declared) return DimensionForm::Of(*dimension.declared);
  return DimensionForm::Unknown(variable);
}

// Of a part that multiplies or divides.
DimensionForm UnitCheck::Factor(const Part& part) {
  if (!part.constant) return part.form;
  if (IsPlainFactor(*part.constant)) return {};
  return DimensionForm::Unknown(next_literal_--);
}

std::optional<double> UnitCheck::Exponent(const Part& part, std::span<const Token> stream) const {
  if (part.constant) return part.constant;
  const Token& token = stream[part.begin];
  if (token.kind != Token::kVariable) return std::nullopt;
  const VariableDimension dimension = dimension_of_(token.index);
  if (!dimension.is_parameter || !std::isfinite(dimension.value)) return std::nullopt;
  return dimension.value;
}

// A number that takes the unit of what it is added to: a literal, or a parameter without a unit.
bool UnitCheck::IsBareNumber(const Part& part, std::span<const Token> stream) const {
  if (part.constant) return true;
  const Token& token = stream[part.begin];
  if (token.kind != Token::kVariable) return false;
  const VariableDimension dimension = dimension_of_(token.index);
  return dimension.is_parameter && !dimension.declared;
}

std::string UnitCheck::Text(const Part& part, std::span<const Token> stream) const {
  std::string text = FormulaText(stream.subspan(part.begin, part.end - part.begin), name_);
  if (text.size() > kLongestFormula) text = text.substr(0, kLongestFormula) + "...";
  return text;
}

void UnitCheck::Found(UnitFinding finding) {
  if (findings_.size() < options_.most_findings) findings_.push_back(std::move(finding));
}

// From the right end of the stream to the left, operands first.
void UnitCheck::ReadTree(std::span<const Token> stream, std::vector<Requirement>& requirements) {
  std::vector<Part> stack, operands;
  for (std::size_t i = stream.size(); i-- > 0;) {
    const Token& token = stream[i];
    Part part;
    part.begin = i;
    part.end = i + 1;
    if (token.IsLiteral()) {
      part.constant = token.real;
    } else if (token.kind == Token::kText) {
      part.constant = 0;  // compared with texts only
    } else if (token.kind == Token::kVariable) {
      part.form = FormOf(token.index);
    } else if (token.kind == Token::kOperator) {
      const OperatorInfo& info = *FindOperator(token.index);
      if (info.role == Role::kEndOfList) {
        part.is_mark = true;
        stack.push_back(part);
        continue;
      }
      operands.clear();
      while (info.role == Role::kList ? !stack.back().is_mark
                                      : static_cast<int>(operands.size()) < info.arity) {
        operands.push_back(std::move(stack.back()));
        stack.pop_back();
      }
      if (info.role == Role::kList) {
        part.end = stack.back().end;
        stack.pop_back();
      } else if (!operands.empty()) {
        part.end = operands.back().end;
      }
      Reduce(token, operands, i == 0, stream, part, requirements);
    }
    stack.push_back(std::move(part));
  }
}

void UnitCheck::Reduce(const Token& token, std::vector<Part>& operands, bool is_root,
                       std::span<const Token> stream, Part& whole, std::vector<Requirement>& requirements) {
  const OperatorInfo& info = *FindOperator(token.index);
  const auto constant = [](const Part& part) { return part.constant.has_value(); };
  if (info.role == Role::kArithmetic && info.arity > 0 &&
      std::all_of(operands.begin(), operands.end(), constant)) {
    whole.constant =
        ValueOf<double>(info.op, *operands[0].constant, info.arity > 1 ? *operands[1].constant : 0.0);
    return;
  }
  const auto alike = [&](const char* verb) {
    const Part* first = nullptr;
    for (const Part& part : operands) {
      if (IsBareNumber(part, stream)) continue;
      if (first) {
        requirements.push_back({first->form, part.form, Text(*first, stream), Text(part, stream), verb});
      } else {
        first = &part;
        whole.form = part.form;
      }
    }
    if (!first && !operands.empty()) whole.form = DimensionForm::Unknown(next_literal_--);
  };
  const auto plain = [&](const Part& part, const std::string& what) {
    if (part.constant) return;
    Requirement& requirement = requirements.emplace_back();
    requirement.left = part.form;
    requirement.left_text = fmt::format("{} {}", what, Text(part, stream));
  };
  const auto is_one = [](const Part& part) { return part.constant && std::abs(*part.constant) == 1; };
  switch (info.op) {
    case Operator::kAdd:
    case Operator::kSubtract:
      if (!is_root && (is_one(operands[0]) || is_one(operands[1])))
        plain(is_one(operands[0]) ? operands[1] : operands[0],
              info.op == Operator::kAdd ? "what 1 is added to," : "what stands with 1 in a difference,");
      else
        alike(is_root ? "be equal" : info.op == Operator::kAdd ? "be added" : "be subtracted");
      break;
    case Operator::kMultiply:
      whole.form = Factor(operands[0]) + Factor(operands[1]);
      break;
    case Operator::kDivide:
      whole.form = Factor(operands[0]) - Factor(operands[1]);
      break;
    case Operator::kPower: {
      plain(operands[1], "the exponent");
      if (const auto exponent = Exponent(operands[1], stream)) {
        whole.form = Factor(operands[0]);
        whole.form.Scale(*exponent);
      } else {
        plain(operands[0], "the base of a changing power,");
      }
      break;
    }
    case Operator::kSquareRoot:
      whole.form = operands[0].form;
      whole.form.Scale(0.5);
      break;
    case Operator::kSquare:
      whole.form = operands[0].form;
      whole.form.Scale(2.0);
      break;
    case Operator::kNegate:
    case Operator::kAbsolute:
    case Operator::kResidual:
    case Operator::kDelay:
      whole.form = operands[0].form;
      break;
    case Operator::kTime:
      whole.form = DimensionForm::Of({0, 0, 1, 0, 0, 0, 0});
      break;
    case Operator::kMaximum:
    case Operator::kMinimum:
    case Operator::kSum:
    case Operator::kLargest:
    case Operator::kSmallest:
      alike(info.op == Operator::kSum ? "be added" : "be compared");
      break;
    case Operator::kProduct:
      for (const Part& part : operands) whole.form.Add(Factor(part), 1.0);
      break;
    default:
      if (info.role == Role::kComparison) {
        alike("be compared");
        whole.form = {};
      } else if (info.role == Role::kArithmetic) {  // exp, ln, sin, ...
        plain(operands[0], fmt::format("the argument of {},", info.text));
      }
  }
}

void UnitCheck::Add(int equation, const std::string& label, std::span<const Token> stream) {
  ++checked_;
  std::vector<Requirement> requirements;
  ReadTree(stream, requirements);
  Judge(equation, label, requirements);
}

void UnitCheck::AddArguments(int equation, const std::string& label, std::span<const Argument> arguments) {
  ++checked_;
  std::vector<Requirement> requirements;
  const Argument* first = nullptr;
  for (const Argument& argument : arguments) {
    const VariableDimension dimension = dimension_of_(argument.variable);
    if (dimension.is_parameter && !dimension.declared) continue;  // takes what unit it may
    if (!argument.meant && !first) {
      first = &argument;
      continue;
    }
    Requirement& requirement = requirements.emplace_back();
    requirement.left = FormOf(argument.variable);
    requirement.left_text = name_(argument.variable);
    requirement.right = argument.meant ? DimensionForm::Of(*argument.meant) : FormOf(first->variable);
    requirement.right_text = argument.meant ? "the routine's argument" : name_(first->variable);
    requirement.verb = argument.meant ? "be one" : "be compared";
  }
  Judge(equation, label, requirements);
}

void UnitCheck::Judge(int equation, const std::string& label, const std::vector<Requirement>& requirements) {
  DimensionSolver alone;
  const auto describe = [](const DimensionForm& form) {
    return form.IsKnown() ? DimensionText(form.known) : std::string("something else");
  };
  bool sound = true;
  for (const Requirement& r : requirements) {
    if (alone.Equate(r.left, r.right, 0)) continue;
    sound = false;
    const DimensionForm left = alone.Resolve(r.left), right = alone.Resolve(r.right);
    if (r.right_text.empty()) {
      Found({equation, -1, -1,
             fmt::format("{} is {} and should be a pure number", r.left_text, describe(left))});
    } else if (left.IsKnown() && right.IsKnown()) {
      Found({equation, -1, -1,
             fmt::format("{} is {}, {} is {}: they cannot {}", r.left_text, describe(left), r.right_text,
                         describe(right), r.verb)});
    } else {
      Found({equation, -1, -1,
             fmt::format("{} and {} differ by {}: they cannot {}", r.left_text, r.right_text,
                         DimensionText(alone.Resolve(r.left - r.right).known), r.verb)});
    }
  }
  if (!sound) return;
  const int origin = static_cast<int>(labels_.size());
  labels_.push_back(label);
  equations_.push_back(equation);
  std::map<int, int> own;  // parameters without a unit, under a name for this equation alone
  for (Requirement r : requirements) {
    for (DimensionForm* form : {&r.left, &r.right}) {
      std::map<int, double> renamed;
      for (const auto& [unknown, coefficient] : form->unknowns) {
        const bool parameter = unknown >= 0 && dimension_of_(unknown).is_parameter;
        const int name = parameter ? own.emplace(unknown, next_literal_--).first->second : unknown;
        renamed[name] = coefficient;
      }
      form->unknowns = std::move(renamed);
    }
    if (together_.Equate(r.left, r.right, origin)) continue;
    UnitFinding finding{equation, -1, -1, ""};
    for (const auto& [unknown, coefficient] : (r.left - r.right).unknowns) {
      const int by = together_.OriginOf(unknown);
      if (unknown < 0 || by < 0 || by == origin) continue;
      finding.variable = unknown;
      finding.other = equations_[static_cast<std::size_t>(by)];
      const DimensionForm there = together_.Resolve(DimensionForm::Unknown(unknown));
      DimensionForm here = together_.Resolve(r.left - r.right);
      here.Scale(-1.0 / coefficient);
      finding.text = fmt::format("{} is {} by {}, but {} here", name_(unknown), describe(there),
                                 labels_[static_cast<std::size_t>(by)], describe(there + here));
      break;
    }
    if (finding.variable >= 0) Found(std::move(finding));
  }
}

std::optional<Exponents> UnitCheck::Inferred(int variable) const {
  const DimensionForm form = together_.Resolve(DimensionForm::Unknown(variable));
  if (!form.IsKnown()) return std::nullopt;
  return form.known;
}

}  // namespace quiver
