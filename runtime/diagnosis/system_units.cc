// SPDX-License-Identifier: Apache-2.0
// The unit check of a flowsheet: which dimension each of its variables has, and which formulas there are.
#include <fmt/format.h>

#include <map>
#include <string_view>

#include "host/procedure.h"
#include "runtime/contract/host_access.h"
#include "runtime/diagnosis/diagnosis.h"
#include "runtime/diagnosis/unit_check.h"
#include "runtime/io/units.h"
#include "runtime/system/describe.h"

namespace quiver {
namespace {

// Quantities whose unit is no unit and yet says that they are plain numbers.
bool IsPlainQuantity(QV_VarParam& holder) {
  const QV_Value* quantity = holder.QV_DefaultPHYSICALQUANTITY();
  if (!quantity || HostAccess::KindOf(*quantity) != QV_Value::kText) return false;
  const std::string_view name = HostAccess::Text(*quantity);
  return name == "Fraction" || name == "Percent";
}

class UnitReader {
 public:
  explicit UnitReader(EquationSystem& system) : scope_(system.flowsheet().scope()) {}

  VariableDimension Read(int variable) {
    const auto known = known_.find(variable);
    if (known != known_.end()) return known->second;
    const CurrentGuard guard({&scope_, nullptr, nullptr, nullptr});
    VariableDimension dimension;
    if (QV_VarParam* holder = scope_.Holder(variable)) {
      dimension.is_parameter = !holder->IsVariable();
      dimension.value = holder->RealValue();
      const std::string unit = UnitOf(*holder);
      if (!unit.empty())
        dimension.declared = Parsed(unit);
      else if (IsPlainQuantity(*holder) || HostAccess::KindOf(*holder) == HostAccess::kInteger)
        dimension.declared = Exponents{};
    }
    return known_.emplace(variable, dimension).first->second;
  }

  // A unit that cannot be read says nothing.
  std::optional<Exponents> Parsed(const std::string& unit) {
    const auto known = units_.find(unit);
    if (known != units_.end()) return known->second;
    std::optional<Exponents> exponents;
    try {
      exponents = ExponentsOf(unit);
    } catch (const UnitError&) {
    }
    return units_.emplace(unit, exponents).first->second;
  }

 private:
  Scope& scope_;
  std::map<int, VariableDimension> known_;
  std::map<std::string, std::optional<Exponents>> units_;
};

// What a routine is meant for. An argument beyond the list is a composition, which nobody writes in another unit.
struct RoutineUnits {
  std::string_view routine;
  const char* output;
  std::vector<const char*> inputs;
};
const std::vector<RoutineUnits>& AllRoutineUnits() {
  static const std::vector<RoutineUnits> rows = {
#define ROUTINE(name, output, ...) {"ZX40RM_" name, output, {__VA_ARGS__}},
#include "runtime/diagnosis/routine_units.def"
#undef ROUTINE
  };
  return rows;
}

// Empty for a routine that takes any units.
std::vector<UnitCheck::Argument> ArgumentsOf(const EmittedForm& call, UnitReader& reader) {
  std::vector<UnitCheck::Argument> arguments;
  if (!call.procedure) return arguments;
  const auto inputs = static_cast<size_t>(call.inputs_count);
  for (const RoutineUnits& row : AllRoutineUnits()) {
    if (row.routine != call.procedure->ProcedureName() || inputs < row.inputs.size()) continue;
    const auto add = [&](int variable, const char* unit) {
      arguments.push_back({variable, *unit == '=' ? std::nullopt : reader.Parsed(unit)});
    };
    for (size_t k = 0; k < row.inputs.size(); ++k) add(call.elements[k], row.inputs[k]);
    add(call.elements[inputs + static_cast<size_t>(call.output)], row.output);
  }
  return arguments;
}

}  // namespace

std::vector<Finding> CheckUnits(EquationSystem& system, Diagnosis* counts) {
  UnitReader reader(system);
  const auto name = [&](int variable) { return system.VariableName(variable); };
  UnitCheck check([&](int variable) { return reader.Read(variable); }, name);
  std::map<int, std::string> names;
  for (int e = 0; e < system.EquationCount(); ++e)
    for (const EmittedForm& alternative : system.FormsOf(e)) {
      names.emplace(e, alternative.name);
      if (!alternative.residual.empty()) check.Add(e, alternative.name, alternative.residual);
      if (const auto arguments = ArgumentsOf(alternative, reader); !arguments.empty())
        check.AddArguments(e, alternative.name, arguments);
      for (const std::vector<Token>& condition : alternative.conditions)
        check.Add(e, alternative.name, condition);
    }

  std::vector<Finding> findings;
  for (const UnitFinding& found : check.Findings()) {
    Finding finding{Severity::kWarning,
                    "units",
                    names[found.equation],
                    found.text + ".",
                    "Check the formula and the types of its variables.",
                    {names[found.equation]},
                    {}};
    if (found.other >= 0) finding.equations.push_back(names[found.other]);
    if (found.variable >= 0) {
      finding.variables.push_back(name(found.variable));
      finding.remedy = "One of the two equations is wrong, or the variable wants a type with a unit.";
    }
    findings.push_back(std::move(finding));
  }
  if (counts) {
    counts->formulas_checked = check.Checked();
    for (int v = 0; v < system.VariableCount(); ++v) {
      if (!system.TakesPart(v) || !system.CanBeFreed(v) || reader.Read(v).declared) continue;
      ++(check.Inferred(v) ? counts->inferred_dimensions : counts->open_dimensions);
    }
  }
  return findings;
}

}  // namespace quiver
