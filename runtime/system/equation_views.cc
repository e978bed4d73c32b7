// SPDX-License-Identifier: Apache-2.0
// What readers of an equation system see: names, and how near its conditions are to their switches.
#include "runtime/contract/host_access.h"
#include "runtime/system/equation_system.h"

namespace quiver {

std::string EquationSystem::BlockName(const Unit& unit) const {
  const std::string block = unit.instance ? InstanceName(*unit.instance) : "";
  return block.empty() ? block : block + ".";
}

std::vector<EquationSystem::Margin> EquationSystem::MarginsOf(int equation, std::span<const double> x) {
  std::vector<Margin> margins;
  const Located at = At(equation);
  const UnitPattern& pattern = *at.unit->pattern;
  for (int place = 0; place < at.equation->alternative_count; ++place) {
    const auto& alternative = pattern.alternatives[static_cast<size_t>(at.equation->first + place)];
    for (int c = 0; c < alternative.condition_count; ++c) {
      const auto& condition = pattern.conditions[static_cast<size_t>(alternative.first_condition + c)];
      const Shape& shape = shapes()[condition.shape];
      const std::span<const int> gather(PlacesOf(*at.unit, condition.places),
                                        static_cast<size_t>(shape.variable_count));
      margins.push_back({alternative.label ? alternative.label : "",
                         evaluator_.Margin(shape, gather, x, context_), gather});
    }
  }
  return margins;
}

std::vector<double> EquationSystem::DefaultValues() const {
  const CurrentGuard guard({&flowsheet_->scope(), nullptr, nullptr, nullptr});
  std::vector<double> x = StartValues();
  for (size_t n = 0; n < x.size(); ++n) {
    QV_VarParam* holder = flowsheet_->scope().Holder(static_cast<int>(n));
    if (!holder || !holder->IsVariable() || HostAccess::SpecOf(*holder) != QV_SPEC_GIVEN) continue;
    const QV_Value* start = holder->QV_DefaultVALUE();
    if (start && HostAccess::KindOf(*start) == QV_Value::kReal) x[n] = HostAccess::Real(*start);
  }
  return x;
}

}  // namespace quiver
