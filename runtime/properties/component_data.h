// SPDX-License-Identifier: Apache-2.0
// The table of pure components and of Peng-Robinson interaction parameters, built into the library.
//
//   const Component& water = FindComponent("H2O");       // or "water", "steam", "7732-18-5"
//   double kij = InteractionParameter(water, FindComponent("CO2"));
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/properties/correlation.h"

namespace quiver {

inline constexpr double kGasConstant = 8314.46261815324;  // J/kmol/K

struct Component {
  std::string name;     // as in the table: "n-butane"
  std::string formula;  // Hill order: "C4H10"
  std::string cas;      // the key of the tables
  std::string family;
  double molar_mass = 0;                     // kg/kmol
  double tc = 0;                             // K
  double pc = 0;                             // Pa
  double vc = 0;                             // m3/kmol
  double omega = 0;                          // acentric factor
  double tb = 0;                             // K, normal boiling point
  double rackett = 0;                        // Z_RA
  double formation_enthalpy = 0;             // J/kmol, ideal gas at 298.15 K
  double absolute_entropy = 0;               // J/kmol/K, ideal gas at 298.15 K and 1 bar
  std::optional<double> triple_temperature;  // K
  std::optional<double> net_combustion;      // J/kmol
  std::array<Correlation, kPropertyCount> correlations;

  const Correlation& correlation(Property p) const { return correlations[static_cast<std::size_t>(p)]; }
};

// All components, in the order of the table.
std::span<const Component> Components();

// By name, formula, CAS number or common name; case, blanks and punctuation are ignored. A formula that
// several components share ("C4H10") is refused with their names. Throws PropertyError with the nearest
// names.
const Component& FindComponent(std::string_view name);

// The recommended k_ij of a_ij = sqrt(a_i a_j)(1 - k_ij); 0 for pairs without data.
double InteractionParameter(const Component& i, const Component& j);

// The other names that FindComponent accepts for a component, as written in the alias table.
std::vector<std::string> AliasesOf(const Component& component);

// The value of one correlation; throws PropertyError when the component has none.
CorrelationValue Evaluate(const Component& component, Property property, double temperature);

}  // namespace quiver
