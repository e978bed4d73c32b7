// SPDX-License-Identifier: Apache-2.0
// The equation forms with their derivatives, and the continuation of each property outside its range.
#include "runtime/properties/correlation.h"

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

using Coefficients = std::array<double, 5>;

template <int kTerms>
CorrelationValue Polynomial(const Coefficients& c, double t, double) {
  double value = 0, slope = 0;
  for (int k = kTerms - 1; k >= 0; --k) {
    slope = slope * t + value;
    value = value * t + c[k];
  }
  return {value, slope, true};
}

CorrelationValue Antoine(const Coefficients& c, double t, double) {
  const double v = std::exp(c[0] - c[1] / (t + c[2]));
  return {v, v * c[1] / ((t + c[2]) * (t + c[2])), true};
}

CorrelationValue ShiftedExponential(const Coefficients& c, double t, double) {
  const double e = std::exp(c[1] / t + c[2] + c[3] * t + c[4] * t * t);
  return {c[0] + e, e * (-c[1] / (t * t) + c[3] + 2 * c[4] * t), true};
}

CorrelationValue ExtendedAntoine(const Coefficients& c, double t, double) {
  const double power = c[3] == 0 ? 0 : c[3] * std::pow(t, c[4]);
  const double v = std::exp(c[0] + c[1] / t + c[2] * std::log(t) + power);
  return {v, v * (-c[1] / (t * t) + c[2] / t + c[4] * power / t), true};
}

CorrelationValue Sutherland(const Coefficients& c, double t, double) {
  const double below = 1 + c[2] / t + c[3] / (t * t);
  const double v = c[0] * std::pow(t, c[1]) / below;
  return {v, v * (c[1] / t + (c[2] / (t * t) + 2 * c[3] / (t * t * t)) / below), true};
}

// At and above the correlation's critical temperature C the value at C, A / B; the slope there is infinite
// from below and is given as 0.
CorrelationValue RackettForm(const Coefficients& c, double t, double) {
  const double u = 1 - t / c[2];
  if (u <= 0) return {c[0] / c[1], 0, true};
  const double power = std::pow(u, c[3]);
  const double v = c[0] * std::pow(c[1], -1 - power);
  return {v, v * std::log(c[1]) * c[3] * power / (u * c[2]), true};
}

CorrelationValue WatsonForm(const Coefficients& c, double temperature, double tc) {
  const double tr = temperature / tc, u = 1 - tr;
  if (u <= 0) return {0, 0, true};
  const double exponent = c[1] + tr * (c[2] + tr * (c[3] + tr * c[4]));
  const double slope = c[2] + tr * (2 * c[3] + tr * 3 * c[4]);
  const double v = c[0] * std::pow(u, exponent);
  return {v, v * (slope * std::log(u) - exponent / u) / tc, true};
}

CorrelationValue RootSeries(const Coefficients& c, double temperature, double tc) {
  const double u = 1 - temperature / tc;
  if (u <= 0) return {c[0], 0, true};
  const double p35 = std::pow(u, 0.35), p23 = std::pow(u, 2.0 / 3), p43 = p23 * p23;
  const double v = c[0] + c[1] * p35 + c[2] * p23 + c[3] * u + c[4] * p43;
  const double du = (0.35 * c[1] * p35 + 2.0 / 3 * c[2] * p23 + c[3] * u + 4.0 / 3 * c[4] * p43) / u;
  return {v, -du / tc, true};
}

// clang-format off
constexpr EquationForm kForms[] = {
    {1,   "A",                                            Polynomial<1>},
    {2,   "A + B T",                                      Polynomial<2>},
    {3,   "A + B T + C T^2",                              Polynomial<3>},
    {4,   "A + B T + C T^2 + D T^3",                      Polynomial<4>},
    {100, "A + B T + C T^2 + D T^3 + E T^4",              Polynomial<5>},
    {10,  "exp(A - B/(T + C))",                           Antoine},
    {16,  "A + exp(B/T + C + D T + E T^2)",               ShiftedExponential},
    {101, "exp(A + B/T + C ln T + D T^E)",                ExtendedAntoine},
    {102, "A T^B / (1 + C/T + D/T^2)",                    Sutherland},
    {105, "A / B^(1 + (1 - T/C)^D)",                      RackettForm},
    {106, "A t^(B + C Tr + D Tr^2 + E Tr^3), t = 1 - Tr", WatsonForm},
    {116, "A + B t^0.35 + C t^(2/3) + D t + E t^(4/3)",   RootSeries},
};

constexpr PropertyRow kRows[] = {
    // property                     column   name                                unit         below                      above
    {Property::kVapourPressure,     "psat",  "vapour pressure",                  "Pa",        Continuation::kClapeyron,  Continuation::kClapeyron},
    {Property::kLiquidDensity,      "rhol",  "liquid density",                   "kmol/m3",   Continuation::kTangent,    Continuation::kHold},
    {Property::kVaporisation,       "hvap",  "enthalpy of vaporisation",         "J/kmol",    Continuation::kTangent,    Continuation::kVanishAtTc},
    {Property::kLiquidCp,           "cpl",   "liquid heat capacity",             "J/kmol/K",  Continuation::kHold,       Continuation::kHold},
    {Property::kIdealGasCp,         "cpig",  "ideal-gas heat capacity",          "J/kmol/K",  Continuation::kHold,       Continuation::kHold},
    {Property::kLiquidViscosity,    "mul",   "liquid viscosity",                 "Pa s",      Continuation::kClapeyron,  Continuation::kClapeyron},
    {Property::kVapourViscosity,    "muv",   "vapour viscosity",                 "Pa s",      Continuation::kPowerLaw,   Continuation::kPowerLaw},
    {Property::kLiquidConductivity, "kl",    "liquid thermal conductivity",      "W/m/K",     Continuation::kHold,       Continuation::kHold},
    {Property::kVapourConductivity, "kv",    "vapour thermal conductivity",      "W/m/K",     Continuation::kPowerLaw,   Continuation::kPowerLaw},
    {Property::kSurfaceTension,     "sigma", "surface tension",                  "N/m",       Continuation::kTangent,    Continuation::kVanishAtTc},
};
// clang-format on

CorrelationValue Continue(Continuation how, const CorrelationValue& end, double t0, double t, double tc) {
  switch (how) {
    case Continuation::kHold:
      return {end.value, 0, false};
    case Continuation::kTangent:
      return {end.value + end.dT * (t - t0), end.dT, false};
    case Continuation::kClapeyron: {
      const double slope = -t0 * t0 * end.dT / end.value;  // d ln v / d(1/T)
      const double v = end.value * std::exp(slope * (1 / t - 1 / t0));
      return {v, -v * slope / (t * t), false};
    }
    case Continuation::kPowerLaw: {
      const double exponent = t0 * end.dT / end.value;
      const double v = end.value * std::pow(t / t0, exponent);
      return {v, v * exponent / t, false};
    }
    case Continuation::kVanishAtTc: {
      if (t >= tc || t0 >= tc) return {0, 0, false};
      const double v = end.value * std::pow((tc - t) / (tc - t0), 1.2);
      return {v, -1.2 * v / (tc - t), false};
    }
  }
  return {};
}

}  // namespace

std::span<const PropertyRow> PropertyRows() { return kRows; }
std::span<const EquationForm> EquationForms() { return kForms; }

const EquationForm* FindEquation(int number) {
  const auto* form = std::ranges::find(kForms, number, &EquationForm::number);
  return form == std::end(kForms) ? nullptr : form;
}

CorrelationValue Evaluate(const Correlation& correlation, double temperature) {
  const double inside = std::clamp(temperature, correlation.t_min, correlation.t_max);
  const CorrelationValue value =
      FindEquation(correlation.equation)->evaluate(correlation.coefficients, inside, correlation.tc);
  if (inside == temperature) return value;
  const PropertyRow& row = RowOf(correlation.property);
  return Continue(temperature < inside ? row.below : row.above, value, inside, temperature, correlation.tc);
}

}  // namespace quiver
