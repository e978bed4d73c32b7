// SPDX-License-Identifier: Apache-2.0
// Puts ideal gas, equation of state, flash and transport together, and adds the flashes at given enthalpy or
// entropy.
#include "runtime/properties/property_package.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/properties/flash_detail.h"
#include "runtime/properties/property_error.h"
#include "runtime/properties/transport.h"

namespace quiver {
namespace {

std::vector<const Component*> Find(std::span<const std::string> names) {
  if (names.empty()) throw PropertyError("The component list is empty. Name at least one component.");
  std::vector<const Component*> components;
  for (const std::string& name : names) {
    const Component* found = &FindComponent(name);
    if (std::ranges::count(components, found))
      throw PropertyError(fmt::format("{} stands twice in the component list (again as {}). Leave one out.",
                                      found->name, name));
    components.push_back(found);
  }
  return components;
}

PengRobinson MakeEquation(std::span<const Component* const> components, const PropertyOptions& options) {
  std::vector<PengRobinsonComponent> list;
  std::vector<double> kij;
  for (const Component* c : components) {
    list.push_back({c->name, c->tc, c->pc, c->omega});
    if (options.alpha == AlphaModel::kVapourPressure) list.back().alpha = FitAlphaCorrection(*c);
    if (options.volume == VolumeModel::kTranslated) list.back().shift = FitVolumeShift(*c, list.back().alpha);
    for (const Component* other : components)
      kij.push_back(c == other ? 0 : InteractionParameter(*c, *other));
  }
  return PengRobinson(std::move(list), std::move(kij));
}

Root RootOf(PhaseKind kind) { return kind == PhaseKind::kVapour ? Root::kVapour : Root::kLiquid; }

}  // namespace

struct PropertyPackage::Scratch {
  PengRobinson::Workspace work;
  std::vector<double> x, ln_phi;
};

PropertyPackage::Scratch& PropertyPackage::ThreadScratch() {
  thread_local Scratch scratch;
  return scratch;
}

PropertyPackage::PropertyPackage(std::span<const std::string> names, PropertyOptions options)
    : components_(Find(names)), options_(options), eos_(MakeEquation(components_, options)) {
  for (const Component* c : components_) {
    ideal_gases_.emplace_back(*c);
    molar_masses_.push_back(c->molar_mass);
  }
}

std::string PropertyPackage::Describe(std::span<const double> x) const {
  std::string text;
  for (std::size_t i = 0; i < std::min(x.size(), size()); ++i)
    if (x[i] != 0) text += fmt::format("{}{} {:.4g}", text.empty() ? "" : ", ", components_[i]->name, x[i]);
  return text;
}

std::span<const double> PropertyPackage::Normalise(std::span<const double> x, Scratch& scratch) const {
  if (x.size() != size())
    throw PropertyError(
        fmt::format("{} mole fractions were given for {} components. Give one for each.", x.size(), size()));
  double total = 0;
  scratch.x.resize(size());
  for (std::size_t i = 0; i < size(); ++i) {
    if (!(x[i] >= -1e-8) || !std::isfinite(x[i]))
      throw PropertyError(fmt::format("The mole fraction of {} is {:.6g}. Give a number of 0 or more.",
                                      components_[i]->name, x[i]));
    total += scratch.x[i] = std::max(x[i], 0.0);
  }
  if (!(total > 0))
    throw PropertyError(
        fmt::format("All mole fractions of the phase of {} components are 0. Give a composition.", size()));
  for (double& value : scratch.x) value /= total;
  return scratch.x;
}

double PropertyPackage::MolarMass(std::span<const double> x) const {
  double mass = 0;
  const std::span<const double> fractions = Normalise(x, ThreadScratch());
  for (std::size_t i = 0; i < size(); ++i) mass += fractions[i] * molar_masses_[i];
  return mass;
}

IdealGasValue PropertyPackage::IdealGasMixture(double temperature, std::span<const double> x) const {
  CheckTemperature(temperature);
  const std::span<const double> fractions = Normalise(x, ThreadScratch());
  const IdealGas::Interval at = IdealGas::Place(temperature);
  IdealGasValue sum;
  for (std::size_t i = 0; i < size(); ++i) {
    if (fractions[i] <= 0) continue;
    const IdealGasValue v = ideal_gases_[i].At(at);
    sum.cp += fractions[i] * v.cp;
    sum.enthalpy += fractions[i] * v.enthalpy;
    sum.entropy += fractions[i] * (v.entropy - kGasConstant * std::log(fractions[i]));
  }
  return sum;
}

PhaseProperties PropertyPackage::Evaluate(Root root, double temperature, double pressure,
                                          std::span<const double> x) const {
  CheckPressure(pressure);
  const IdealGasValue ideal = IdealGasMixture(temperature, x);
  Scratch& scratch = ThreadScratch();  // scratch.x holds the normalised composition now
  eos_.SetTemperature(temperature, scratch.work);
  const EosState s = eos_.Caloric(scratch.work, pressure, scratch.x, root);

  PhaseProperties p;
  for (std::size_t i = 0; i < size(); ++i) p.molar_mass += scratch.x[i] * molar_masses_[i];
  p.molar_density = 1 / s.volume;
  p.mass_density = p.molar_mass / s.volume;
  p.compressibility = pressure * s.volume / (kGasConstant * temperature);
  p.enthalpy = ideal.enthalpy + s.residual_h;
  p.entropy = ideal.entropy - kGasConstant * std::log(pressure / kReferencePressure) + s.residual_s;
  p.cp = ideal.cp + s.residual_cp;
  p.cv = p.cp - s.cp_minus_cv;
  // (dV/dP) at constant entropy is (Cv/Cp)(dV/dP) at constant temperature.
  const double stiffness = -s.volume / s.dV_dP * p.cp / p.cv;  // -V dP/dV, Pa
  p.isentropic_exponent = stiffness / pressure;
  p.speed_of_sound = std::sqrt(std::max(0.0, stiffness * s.volume / p.molar_mass));
  p.enthalpy_dP = s.volume - temperature * s.dV_dT;
  p.entropy_dP = -s.dV_dT;
  p.molar_density_dT = -s.dV_dT / (s.volume * s.volume);
  p.molar_density_dP = -s.dV_dP / (s.volume * s.volume);
  p.only_root = s.real_roots == 1 && root != Root::kStable && (root == Root::kVapour) != IsVapourLike(s);
  return p;
}

PhaseProperties PropertyPackage::Phase(PhaseKind kind, double temperature, double pressure,
                                       std::span<const double> x) const {
  return Evaluate(RootOf(kind), temperature, pressure, x);
}

PhaseProperties PropertyPackage::Phase(const EquilibriumPhase& phase, double temperature,
                                       double pressure) const {
  return Evaluate(phase.root, temperature, pressure, phase.x);
}

PartialMolar PropertyPackage::Partial(PhaseKind kind, double temperature, double pressure,
                                      std::span<const double> x) const {
  CheckTemperature(temperature);
  CheckPressure(pressure);
  Scratch& scratch = ThreadScratch();
  const std::span<const double> fractions = Normalise(x, scratch);
  PengRobinson::Derivatives d;
  eos_.SetTemperature(temperature, scratch.work);
  eos_.FugacityDerivatives(scratch.work, pressure, fractions, RootOf(kind), d);
  const double rt = kGasConstant * temperature;
  const IdealGas::Interval at = IdealGas::Place(temperature);
  PartialMolar partial{std::vector<double>(size()), std::vector<double>(size()), d.ln_phi};
  for (std::size_t i = 0; i < size(); ++i) {
    partial.enthalpy[i] = ideal_gases_[i].At(at).enthalpy - rt * temperature * d.dT[i];
    partial.volume[i] = rt * (d.dP[i] + 1 / pressure);
  }
  return partial;
}

double PropertyPackage::Viscosity(PhaseKind kind, double temperature, double pressure,
                                  std::span<const double> x) const {
  CheckTemperature(temperature);
  CheckPressure(pressure);
  Scratch& scratch = ThreadScratch();
  const std::span<const double> fractions = Normalise(x, scratch);
  if (kind != PhaseKind::kVapour) return LiquidViscosity(components_, temperature, fractions);
  eos_.SetTemperature(temperature, scratch.work);
  const double volume = eos_.Volume(scratch.work, pressure, fractions, Root::kVapour);
  return VapourViscosity(components_, temperature, 1 / volume, fractions);
}

double PropertyPackage::Conductivity(PhaseKind kind, double temperature, double pressure,
                                     std::span<const double> x) const {
  CheckTemperature(temperature);
  CheckPressure(pressure);
  Scratch& scratch = ThreadScratch();
  const std::span<const double> fractions = Normalise(x, scratch);
  if (kind != PhaseKind::kVapour) return LiquidConductivity(components_, temperature, fractions);
  eos_.SetTemperature(temperature, scratch.work);
  const double volume = eos_.Volume(scratch.work, pressure, fractions, Root::kVapour);
  return VapourConductivity(components_, temperature, 1 / volume, fractions);
}

double PropertyPackage::SurfaceTension(double temperature, std::span<const double> x) const {
  CheckTemperature(temperature);
  return quiver::SurfaceTension(components_, temperature, Normalise(x, ThreadScratch()));
}

void PropertyPackage::VapourPressures(double temperature, std::span<double> pressures) const {
  CheckTemperature(temperature);
  for (std::size_t i = 0; i < size(); ++i)
    pressures[i] = quiver::Evaluate(*components_[i], Property::kVapourPressure, temperature).value;
}

void PropertyPackage::ActivityCoefficients(double temperature, double pressure, std::span<const double> x,
                                           std::span<double> gamma) const {
  std::ranges::fill(gamma, 1.0);
  if (options_.activity == ActivityModel::kIdeal) return;
  CheckTemperature(temperature);
  CheckPressure(pressure);
  Scratch& scratch = ThreadScratch();
  const std::span<const double> fractions = Normalise(x, scratch);
  std::vector<double> pure(size()), ln_phi(size());
  eos_.SetTemperature(temperature, scratch.work);
  eos_.Fugacity(scratch.work, pressure, fractions, Root::kLiquid, gamma);
  for (std::size_t i = 0; i < size(); ++i) {
    std::ranges::fill(pure, 0.0);
    pure[i] = 1;
    eos_.Fugacity(scratch.work, pressure, pure, Root::kLiquid, ln_phi);
    gamma[i] = std::exp(gamma[i] - ln_phi[i]);
  }
}

void PropertyPackage::PureEnthalpies(PhaseKind kind, double temperature, double pressure,
                                     std::span<double> enthalpies) const {
  std::vector<double> pure(size());
  for (std::size_t i = 0; i < size(); ++i) {
    std::ranges::fill(pure, 0.0);
    pure[i] = 1;
    enthalpies[i] = Phase(kind, temperature, pressure, pure).enthalpy;
  }
}

FlashResult PropertyPackage::FlashTemperaturePressure(double temperature, double pressure,
                                                      std::span<const double> z) const {
  return FlashSolver(eos_, molar_masses_, options_.flash).AtTemperaturePressure(temperature, pressure, z);
}

FlashResult PropertyPackage::FlashTemperatureVapourFraction(double temperature, double fraction,
                                                            std::span<const double> z) const {
  return FlashSolver(eos_, molar_masses_, options_.flash)
      .AtTemperatureVapourFraction(temperature, fraction, z);
}

FlashResult PropertyPackage::FlashPressureVapourFraction(double pressure, double fraction,
                                                         std::span<const double> z) const {
  return FlashSolver(eos_, molar_masses_, options_.flash).AtPressureVapourFraction(pressure, fraction, z);
}

double PropertyPackage::Enthalpy(const FlashResult& flash) const {
  double sum = 0;
  for (const EquilibriumPhase& p : flash.phases)
    if (p.fraction > 0) sum += p.fraction * Phase(p, flash.temperature, flash.pressure).enthalpy;
  return sum;
}

double PropertyPackage::Entropy(const FlashResult& flash) const {
  double sum = 0;
  for (const EquilibriumPhase& p : flash.phases)
    if (p.fraction > 0) sum += p.fraction * Phase(p, flash.temperature, flash.pressure).entropy;
  return sum;
}

// Enthalpy and entropy rise with temperature at constant pressure, with a jump where a pure component boils. Bracketed by
// steps of the ideal gas's slope, closed by Chandrupatla's method (inverse quadratic steps where they are safe, bisection
// elsewhere); where the bracket closes on a jump the lever rule shares it out.
template <class Value, class Slope>
FlashResult PropertyPackage::FlashToTarget(double pressure, double target, std::span<const double> z,
                                           const char* quantity, Value value, Slope slope) const {
  CheckPressure(pressure);
  const FlashSolver solver(eos_, molar_masses_, options_.flash);
  struct Point {
    FlashResult flash;
    double gap;  // value - target
  };
  int iterations = 0;
  auto at = [&](double t) {
    Point p{solver.AtTemperaturePressure(t, pressure, z), 0};
    p.gap = value(p.flash) - target;
    iterations += p.flash.iterations;
    return p;
  };
  Point a = at(kReferenceTemperature), b = a;
  while ((a.gap > 0) == (b.gap > 0)) {
    a = std::move(b);
    const double t = a.flash.temperature;
    if ((a.gap < 0 && t >= kHighestTemperature) || (a.gap > 0 && t <= kLowestTemperature))
      throw PropertyError(fmt::format(
          "{} at {:.6g} bar has no temperature between {} and {} K with this {}: it is too {}. Give {}.",
          Describe(z), pressure / 1e5, kLowestTemperature, kHighestTemperature, quantity,
          a.gap < 0 ? "high" : "low", a.gap < 0 ? "less" : "more"));
    const double next = t - 1.2 * a.gap / slope(t) - std::copysign(1.0, a.gap);
    b = at(std::clamp(next, std::max(0.5 * t, kLowestTemperature), std::min(2 * t, kHighestTemperature)));
  }
  const double enough = 1e-11 * std::max(std::abs(target), std::abs(a.gap - b.gap));
  Point c = a;
  double share = 0.5;
  for (int i = 0; i < 200; ++i) {
    Point& nearer = std::abs(a.gap) < std::abs(b.gap) ? a : b;
    if (std::abs(nearer.gap) <= enough) {
      nearer.flash.iterations = iterations;
      return std::move(nearer.flash);
    }
    const double ta = a.flash.temperature, tb = b.flash.temperature;
    const double t = ta + share * (tb - ta);
    if (std::abs(tb - ta) <= 4e-16 * ta || t == ta || t == tb) break;
    Point middle = at(t);
    if ((middle.gap > 0) == (a.gap > 0)) {
      c = std::move(a);
    } else {
      c = std::move(b);
      b = std::move(a);
    }
    a = std::move(middle);
    const double x1 = a.flash.temperature, x2 = b.flash.temperature, x3 = c.flash.temperature;
    const double chi = (x1 - x2) / (x3 - x2), phi = (a.gap - b.gap) / (c.gap - b.gap);
    share = 0.5;
    if (phi * phi < chi && (1 - phi) * (1 - phi) < 1 - chi)
      share = a.gap / (b.gap - a.gap) * c.gap / (b.gap - c.gap) +
              (x3 - x1) / (x2 - x1) * a.gap / (c.gap - a.gap) * b.gap / (c.gap - b.gap);
    const double least = 1e-14 * x1 / std::abs(x2 - x1);
    share = least < 0.5 ? std::clamp(share, least, 1 - least) : 0.5;
  }
  const Point& low = a.gap < b.gap ? a : b;
  const Point& high = a.gap < b.gap ? b : a;
  FlashResult result =
      FlashSolver::Blend(low.flash, high.flash, high.gap > low.gap ? -low.gap / (high.gap - low.gap) : 0);
  result.iterations = iterations;
  return result;
}

FlashResult PropertyPackage::FlashPressureEnthalpy(double pressure, double enthalpy,
                                                   std::span<const double> z) const {
  return FlashToTarget(
      pressure, enthalpy, z, "enthalpy", [this](const FlashResult& r) { return Enthalpy(r); },
      [&](double t) { return IdealGasMixture(t, z).cp; });
}

FlashResult PropertyPackage::FlashPressureEntropy(double pressure, double entropy,
                                                  std::span<const double> z) const {
  return FlashToTarget(
      pressure, entropy, z, "entropy", [this](const FlashResult& r) { return Entropy(r); },
      [&](double t) { return IdealGasMixture(t, z).cp / t; });
}

}  // namespace quiver
