// SPDX-License-Identifier: Apache-2.0
// Temperature correlations of pure components: one table of equation forms, one table of properties that says
// how each is continued outside its validity range.
//
//   CorrelationValue p = Evaluate(component.correlation(Property::kVapourPressure), 300.0);
//   if (!p.in_range) ...  // p.value is the documented continuation, never the bare extrapolation
#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace quiver {

enum class Property {
  kVapourPressure,      // Pa
  kLiquidDensity,       // kmol/m3, saturated liquid
  kVaporisation,        // J/kmol
  kLiquidCp,            // J/kmol/K, saturated liquid
  kIdealGasCp,          // J/kmol/K
  kLiquidViscosity,     // Pa s
  kVapourViscosity,     // Pa s, dilute
  kLiquidConductivity,  // W/m/K
  kVapourConductivity,  // W/m/K, dilute
  kSurfaceTension,      // N/m
};
inline constexpr std::size_t kPropertyCount = 10;

// How a property goes on beyond the end T0 of its range, where it has value v0 and slope d0.
enum class Continuation {
  kHold,        // v0
  kTangent,     // v0 + d0 (T - T0)
  kClapeyron,   // ln v linear in 1/T: vapour pressures and liquid viscosities
  kPowerLaw,    // ln v linear in ln T: dilute-gas transport
  kVanishAtTc,  // v0 ((Tc - T)/(Tc - T0))^1.2, and 0 from the critical temperature on
};

struct PropertyRow {
  Property property;
  const char* column;  // prefix of the columns in data/components.csv
  const char* name;
  const char* unit;
  Continuation below;
  Continuation above;
};
std::span<const PropertyRow> PropertyRows();
inline const PropertyRow& RowOf(Property p) { return PropertyRows()[static_cast<std::size_t>(p)]; }

struct Correlation {
  Property property = Property::kVapourPressure;
  int equation = 0;  // number of the form; 0: not available
  std::array<double, 5> coefficients{};
  double t_min = 0;  // K
  double t_max = 0;  // K
  double tc = 0;     // K, for the forms in reduced temperature
  bool available() const { return equation != 0; }
};

struct CorrelationValue {
  double value = 0;
  double dT = 0;  // derivative with respect to temperature, 1/K
  bool in_range = true;
};

// The value at `temperature` (K, above 0). The correlation must be available.
CorrelationValue Evaluate(const Correlation& correlation, double temperature);

// The bare form without range or continuation, for fits and tests.
struct EquationForm {
  int number;
  const char* text;
  CorrelationValue (*evaluate)(const std::array<double, 5>& c, double temperature, double tc);
};
std::span<const EquationForm> EquationForms();
// The form with this number, or null.
const EquationForm* FindEquation(int number);

}  // namespace quiver
