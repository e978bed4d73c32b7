// SPDX-License-Identifier: Apache-2.0
#include "runtime/properties/transport.h"

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

constexpr double kAtmosphere = 101325;  // Pa
constexpr double kBar = 1e5;            // Pa

struct PseudoCritical {
  double tc = 0, pc = 0, vc = 0, zc = 0, molar_mass = 0;
};
PseudoCritical MoleAverage(ComponentList components, std::span<const double> y) {
  PseudoCritical p;
  for (std::size_t i = 0; i < y.size(); ++i) {
    const Component& c = *components[i];
    p.tc += y[i] * c.tc;
    p.pc += y[i] * c.pc;
    p.vc += y[i] * c.vc;
    p.molar_mass += y[i] * c.molar_mass;
  }
  p.zc = p.pc * p.vc / (kGasConstant * p.tc);
  return p;
}

// sum_i y_i value_i / sum_j y_j phi_ij with Wilke's phi_ij of viscosities and molar masses.
double WilkeMix(ComponentList components, double temperature, std::span<const double> y, Property property) {
  const std::size_t n = y.size();
  double sum = 0;
  if (n == 1) return Evaluate(*components[0], property, temperature).value;
  thread_local std::vector<double> root_viscosity, quarter_mass;
  root_viscosity.resize(n);
  quarter_mass.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    root_viscosity[i] = std::sqrt(Evaluate(*components[i], Property::kVapourViscosity, temperature).value);
    quarter_mass[i] = std::sqrt(std::sqrt(components[i]->molar_mass));
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (y[i] <= 0) continue;
    double weight = 0;
    for (std::size_t j = 0; j < n; ++j) {
      const double top = 1 + root_viscosity[i] / root_viscosity[j] * quarter_mass[j] / quarter_mass[i];
      weight += y[j] * top * top / std::sqrt(8 * (1 + components[i]->molar_mass / components[j]->molar_mass));
    }
    const double value = property == Property::kVapourViscosity
                             ? root_viscosity[i] * root_viscosity[i]
                             : Evaluate(*components[i], property, temperature).value;
    sum += y[i] * value / weight;
  }
  return sum;
}

}  // namespace

double VapourViscosity(ComponentList components, double temperature, double molar_density,
                       std::span<const double> y) {
  const double dilute = WilkeMix(components, temperature, y, Property::kVapourViscosity);
  const PseudoCritical c = MoleAverage(components, y);
  const double r = std::min(molar_density * c.vc, 3.0);
  // [(mu - mu0) xi + 1e-4]^(1/4) = polynomial, mu in cP, xi with Pc in atm
  const double xi =
      std::pow(c.tc, 1.0 / 6) / (std::sqrt(c.molar_mass) * std::pow(c.pc / kAtmosphere, 2.0 / 3));
  const double at_zero = 0.1023;
  const double root = at_zero + r * (0.023364 + r * (0.058533 + r * (-0.040758 + r * 0.0093324)));
  return dilute + 1e-3 * (std::pow(root, 4) - std::pow(at_zero, 4)) / xi;
}

double VapourConductivity(ComponentList components, double temperature, double molar_density,
                          std::span<const double> y) {
  const double dilute = WilkeMix(components, temperature, y, Property::kVapourConductivity);
  const PseudoCritical c = MoleAverage(components, y);
  const double r = std::min(molar_density * c.vc, 2.8);
  auto first = [](double d) { return 1.22e-2 * std::expm1(0.535 * d); };
  auto second = [](double d) { return 1.14e-2 * std::exp(0.67 * d); };
  auto third = [](double d) { return 2.60e-3 * std::exp(1.155 * d); };
  double excess = first(std::min(r, 0.5));
  if (r > 0.5) excess += second(std::min(r, 2.0)) - second(0.5);
  if (r > 2.0) excess += third(r) - third(2.0);
  const double gamma = 210 * std::pow(c.tc * std::pow(c.molar_mass, 3) / std::pow(c.pc / kBar, 4), 1.0 / 6);
  return dilute + excess / (gamma * std::pow(c.zc, 5));
}

double LiquidViscosity(ComponentList components, double temperature, std::span<const double> x) {
  double sum = 0;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (x[i] > 0)
      sum += x[i] * std::log(Evaluate(*components[i], Property::kLiquidViscosity, temperature).value);
  return std::exp(sum);
}

double LiquidConductivity(ComponentList components, double temperature, std::span<const double> x) {
  double mass = 0, sum = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (x[i] <= 0) continue;
    const double k = Evaluate(*components[i], Property::kLiquidConductivity, temperature).value;
    mass += x[i] * components[i]->molar_mass;
    sum += x[i] * components[i]->molar_mass / (k * k);
  }
  return std::sqrt(mass / sum);
}

double SurfaceTension(ComponentList components, double temperature, std::span<const double> x) {
  double roots = 0, volume = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (x[i] <= 0) continue;
    const double v = x[i] / Evaluate(*components[i], Property::kLiquidDensity, temperature).value;
    volume += v;
    if (temperature < components[i]->tc)
      roots += v * std::sqrt(
                       std::max(0.0, Evaluate(*components[i], Property::kSurfaceTension, temperature).value));
  }
  return roots * roots / (volume * volume);
}

}  // namespace quiver
