// SPDX-License-Identifier: Apache-2.0
#include "runtime/modeller/phase_state.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/contract/names.h"
#include "runtime/properties/dense.h"
#include "runtime/properties/property_error.h"

namespace quiver {
namespace {

constexpr double kJoulePerKilojoule = 1e3;

// Slope vectors are as long as the inputs: two state variables and the composition.
Sloped Constant(double value, size_t inputs) { return {value, std::vector<double>(inputs)}; }
void Add(Sloped& sum, const Sloped& term, double factor = 1) {
  sum.value += factor * term.value;
  for (size_t k = 0; k < sum.slopes.size(); ++k) sum.slopes[k] += factor * term.slopes[k];
}
Sloped Product(const Sloped& a, const Sloped& b) {
  Sloped p = Constant(a.value * b.value, a.slopes.size());
  for (size_t k = 0; k < p.slopes.size(); ++k) p.slopes[k] = a.slopes[k] * b.value + a.value * b.slopes[k];
  return p;
}
Sloped Quotient(const Sloped& a, const Sloped& b) {
  Sloped q = Constant(a.value / b.value, a.slopes.size());
  for (size_t k = 0; k < q.slopes.size(); ++k) q.slopes[k] = (a.slopes[k] - q.value * b.slopes[k]) / b.value;
  return q;
}
Sloped Scaled(const Sloped& a, double factor) {
  Sloped s = Constant(0, a.slopes.size());
  Add(s, a, factor);
  return s;
}

}  // namespace

FlashKind FlashKindOf(const char* text) {
  const struct {
    const char* name;
    FlashKind kind;
  } kinds[] = {{"TP", FlashKind::kTP},
               {"PH", FlashKind::kPH},
               {"PS", FlashKind::kPS},
               {"PV", FlashKind::kPV},
               {"TV", FlashKind::kTV}};
  for (const auto& one : kinds)
    if (EqualIgnoringCase(one.name, text)) return one.kind;
  throw PropertyError(fmt::format("FLASHTYPE is \"{}\"; it can be TP, PH, PS, PV or TV.", text));
}

// A phase at the state found. An absent one stands for the incipient phase: the composition that would appear first, at
// which the tangent plane of the equilibrium is stationary. Its amount is 0; `share` is then the ratio by which its
// fugacities fall short, and an unknown in the place of the amount.
struct PhaseState::Phase {
  PhaseKind kind = PhaseKind::kVapour;
  Root root = Root::kStable;
  bool present = true;
  double share = 1;
  std::vector<double> x;

  // Values in SI per kmol, and their derivatives by T, P and x.
  PhaseProperties p;
  PengRobinson::Derivatives fugacity;
  std::vector<double> partial_h, partial_s, partial_v;
  // By the inputs, once the equilibrium has been differentiated.
  Sloped amount, h, s, v, molar_mass;
  std::vector<Sloped> composition;
  Sloped Property(double value, double dT, double dP, std::span<const double> dx, const Sloped& t,
                  const Sloped& pressure) const {
    Sloped result = Constant(value, t.slopes.size());
    for (size_t k = 0; k < result.slopes.size(); ++k) {
      result.slopes[k] = dT * t.slopes[k] + dP * pressure.slopes[k];
      for (size_t i = 0; i < dx.size(); ++i) result.slopes[k] += dx[i] * composition[i].slopes[k];
    }
    return result;
  }
};

namespace {

// The incipient phase by successive substitution from Wilson's ratios; the feed itself where there is no other.
std::vector<double> IncipientComposition(const PropertyPackage& package, double kelvin, double pascal,
                                         std::span<const double> z, std::span<const double> ln_fugacity_ratio,
                                         Root root, bool vapour) {
  const size_t n = z.size();
  const PengRobinson& eos = package.equation_of_state();
  PengRobinson::Workspace work;
  eos.SetTemperature(kelvin, work);
  std::vector<double> x(n), ln_phi(n), next(n);
  double total = 0;
  for (size_t i = 0; i < n; ++i) {
    const PengRobinsonComponent& c = eos.component(i);
    const double k = std::log(c.pc / pascal) + 5.373 * (1 + c.omega) * (1 - c.tc / kelvin);
    total += x[i] = z[i] * std::exp(vapour ? k : -k);
  }
  for (double& fraction : x) fraction /= total;
  constexpr int kMostRounds = 400;
  for (int round = 0; round < kMostRounds && n > 1; ++round) {
    eos.Fugacity(work, pascal, x, root, ln_phi);
    total = 0;
    for (size_t i = 0; i < n; ++i) total += next[i] = z[i] * std::exp(ln_fugacity_ratio[i] - ln_phi[i]);
    double change = 0;
    for (size_t i = 0; i < n; ++i) {
      next[i] /= total;
      change = std::max(change, std::abs(next[i] - x[i]));
    }
    x.swap(next);
    if (change < 1e-14) break;
  }
  double distance = 0;
  for (size_t i = 0; i < n; ++i) distance = std::max(distance, std::abs(x[i] - z[i]));
  return distance < 1e-5 ? std::vector<double>(z.begin(), z.end()) : x;
}

double SinglePhaseTemperature(const PropertyPackage& package, PhaseKind phase, double pascal, double target,
                              bool entropy, std::span<const double> z) {
  const auto gap = [&](double t, double& slope) {
    const PhaseProperties p = package.Phase(phase, t, pascal, z);
    slope = entropy ? p.cp / t : p.cp;
    return (entropy ? p.entropy : p.enthalpy) - target;
  };
  // Rising in T; Newton within a bracket that bisection keeps safe.
  double low = kLowestTemperature * 10, high = kHighestTemperature, t = 300, slope;
  if (gap(low, slope) > 0 || gap(high, slope) < 0)
    throw PropertyError(fmt::format("{} at {:.6g} bar has no temperature as a {} with this {}.",
                                    package.Describe(z), pascal / kPascalPerBar, NameOf(phase),
                                    entropy ? "entropy" : "enthalpy"));
  for (int round = 0; round < 200; ++round) {
    const double g = gap(t, slope);
    (g > 0 ? high : low) = t;
    double next = t - g / slope;
    if (!(next > low && next < high)) next = 0.5 * (low + high);
    if (std::abs(next - t) <= 1e-13 * t || next == t) return next;
    t = next;
  }
  return t;
}

}  // namespace

PhaseState::PhaseState(const PropertyPackage& package, PhaseSet set, FlashKind kind, double first,
                       double second, std::span<const double> z)
    : z_(z.begin(), z.end()) {
  if (z_.size() != package.size())
    throw PropertyError(
        fmt::format("{} mole fractions were given for {} components.", z_.size(), package.size()));
  double total = 0;
  for (double& fraction : z_) total += fraction = std::max(fraction, 0.0);
  if (!(total > 0)) throw PropertyError("all mole fractions are 0.");
  for (double& fraction : z_) fraction /= total;
  if (set == PhaseSet::kAll)
    FindEquilibrium(package, kind, first, second);
  else
    FindSinglePhase(package, set, kind, first, second);
  Differentiate(package, kind, total);
  Collect();
}

PhaseState::~PhaseState() = default;

void PhaseState::FindSinglePhase(const PropertyPackage& package, PhaseSet set, FlashKind kind, double first,
                                 double second) {
  const PhaseKind phase = set == PhaseSet::kVapour ? PhaseKind::kVapour : PhaseKind::kLiquid;
  switch (kind) {
    case FlashKind::kTP:
      kelvin_ = first + kZeroCelsius;
      pascal_ = second * kPascalPerBar;
      break;
    case FlashKind::kPH:
    case FlashKind::kPS: {
      const bool entropy = kind == FlashKind::kPS;
      pascal_ = first * kPascalPerBar;
      kelvin_ = SinglePhaseTemperature(
          package, phase, pascal_, second * (entropy ? kJoulePerKilojoule : kJoulePerGigajoule), entropy, z_);
      break;
    }
    default:
      throw PropertyError(
          "FLASHTYPE PV and TV need two phases; a sub-model of one phase takes TP, PH or PS.");
  }
  phases_.emplace_back();
  phases_.back().kind = phase;
  phases_.back().root = phase == PhaseKind::kVapour ? Root::kVapour : Root::kLiquid;
  phases_.back().x = z_;
}

void PhaseState::FindEquilibrium(const PropertyPackage& package, FlashKind kind, double first,
                                 double second) {
  FlashResult flash;
  switch (kind) {
    case FlashKind::kTP:
      flash = package.FlashTemperaturePressure(first + kZeroCelsius, second * kPascalPerBar, z_);
      break;
    case FlashKind::kPH:
      flash = package.FlashPressureEnthalpy(first * kPascalPerBar, second * kJoulePerGigajoule, z_);
      break;
    case FlashKind::kPS:
      flash = package.FlashPressureEntropy(first * kPascalPerBar, second * kJoulePerKilojoule, z_);
      break;
    case FlashKind::kPV:
      flash = package.FlashPressureVapourFraction(first * kPascalPerBar, second, z_);
      break;
    case FlashKind::kTV:
      flash = package.FlashTemperatureVapourFraction(first + kZeroCelsius, second, z_);
      break;
  }
  kelvin_ = flash.temperature;
  pascal_ = flash.pressure;
  const auto add = [&](const EquilibriumPhase& found) {
    Phase phase;
    phase.kind = found.kind;
    phase.root = found.root;
    phase.share = found.fraction;
    phase.x = found.x;
    phases_.push_back(std::move(phase));
  };
  for (const EquilibriumPhase& found : flash.phases) add(found);
  const Phase reference = phases_.front();
  std::vector<double> ln_phi(package.size());
  PengRobinson::Workspace work;
  package.equation_of_state().SetTemperature(kelvin_, work);
  package.equation_of_state().Fugacity(work, pascal_, reference.x, reference.root, ln_phi);
  for (const PhaseKind wanted : {PhaseKind::kVapour, PhaseKind::kLiquid}) {
    if (std::ranges::any_of(phases_, [&](const Phase& p) { return p.kind == wanted; })) continue;
    Phase phase;
    phase.kind = wanted;
    phase.root = wanted == PhaseKind::kVapour ? Root::kVapour : Root::kLiquid;
    phase.present = false;
    phase.x = IncipientComposition(package, kelvin_, pascal_, reference.x, ln_phi, phase.root,
                                   wanted == PhaseKind::kVapour);
    phases_.push_back(std::move(phase));
  }
}

// Unknowns: T, P, and of every phase its amount (of an absent one its fugacity ratio) and its composition. Equations: the
// material balance, unit sums, equal fugacities against the first phase in the form x phi = x phi, which also holds for
// components that are not there, and the two specifications. All of them are differentiated; the right-hand sides are the
// inputs, one column each.
void PhaseState::Differentiate(const PropertyPackage& package, FlashKind kind, double feed_total) {
  const size_t n = z_.size(), inputs = n + 2, unknowns = 2 + phases_.size() * (n + 1);
  const PengRobinson& eos = package.equation_of_state();
  PengRobinson::Workspace work;
  eos.SetTemperature(kelvin_, work);
  std::vector<IdealGasValue> pure(n);
  std::vector<double> one(n);
  for (size_t i = 0; i < n; ++i) {
    one[i] = 1;
    pure[i] = package.IdealGasMixture(kelvin_, one);
    one[i] = 0;
  }
  for (Phase& phase : phases_) {
    phase.p = package.Phase({phase.kind, 1, phase.x, phase.root}, kelvin_, pascal_);
    eos.FugacityDerivatives(work, pascal_, phase.x, phase.root, phase.fugacity);
    phase.partial_h.resize(n);
    phase.partial_s.resize(n);
    phase.partial_v.resize(n);
    const double rt = kGasConstant * kelvin_;
    for (size_t i = 0; i < n; ++i) {
      phase.partial_h[i] = pure[i].enthalpy - rt * kelvin_ * phase.fugacity.dT[i];
      phase.partial_v[i] = rt * (phase.fugacity.dP[i] + 1 / pascal_);
      phase.partial_s[i] = pure[i].entropy + (phase.partial_h[i] - pure[i].enthalpy) / kelvin_ -
                           kGasConstant * (phase.fugacity.ln_phi[i] + std::log(std::max(phase.x[i], 1e-16) *
                                                                               pascal_ / kReferencePressure));
    }
    if (phase.present) continue;
    // x phi share = x0 phi0, summed.
    double top = 0, bottom = 0;
    for (size_t i = 0; i < n; ++i) {
      top += phases_.front().x[i] * std::exp(phases_.front().fugacity.ln_phi[i]);
      bottom += phase.x[i] * std::exp(phase.fugacity.ln_phi[i]);
    }
    phase.share = top / bottom;
  }

  std::vector<double> a(unknowns * unknowns), b(unknowns * inputs);
  const auto at = [&](size_t row, size_t column) -> double& { return a[row * unknowns + column]; };
  const auto share = [&](size_t k) { return 2 + k * (n + 1); };
  const auto x = [&](size_t k, size_t i) { return share(k) + 1 + i; };
  size_t row = 0;
  for (size_t i = 0; i < n; ++i, ++row) {
    for (size_t k = 0; k < phases_.size(); ++k) {
      if (!phases_[k].present) continue;
      at(row, share(k)) = phases_[k].x[i];
      at(row, x(k, i)) = phases_[k].share;
    }
    for (size_t j = 0; j < n; ++j) b[row * inputs + 2 + j] = ((i == j ? 1 : 0) - z_[i]) / feed_total;
  }
  for (size_t k = 0; k < phases_.size(); ++k, ++row)
    for (size_t i = 0; i < n; ++i) at(row, x(k, i)) = 1;
  const Phase& first_phase = phases_.front();
  for (size_t k = 1; k < phases_.size(); ++k) {
    const Phase& phase = phases_[k];
    for (size_t i = 0; i < n; ++i, ++row) {
      const auto fugacity = [&](size_t which, const Phase& p, double factor) {
        at(row, 0) += factor * p.x[i] * p.fugacity.dT[i];
        at(row, 1) += factor * p.x[i] * p.fugacity.dP[i] * kPascalPerBar;
        at(row, x(which, i)) += factor;
        for (size_t j = 0; j < n; ++j) at(row, x(which, j)) += factor * p.x[i] * p.fugacity.dn[i * n + j];
      };
      const double ratio = std::exp(phase.fugacity.ln_phi[i] - first_phase.fugacity.ln_phi[i]);
      fugacity(k, phase, ratio * (phase.present ? 1 : phase.share));
      fugacity(0, first_phase, -1);
      if (!phase.present) at(row, share(k)) = ratio * phase.x[i];
    }
  }
  const auto specify = [&](char what, size_t input) {
    const double unit = what == 'H' ? kJoulePerGigajoule : what == 'S' ? kJoulePerKilojoule : 1;
    if (what == 'T') at(row, 0) = 1;
    if (what == 'P') at(row, 1) = 1;
    for (size_t k = 0; k < phases_.size(); ++k) {
      const Phase& phase = phases_[k];
      if (!phase.present) continue;
      if (what == 'V' && phase.kind == PhaseKind::kVapour) at(row, share(k)) = 1;
      if (what != 'H' && what != 'S') continue;
      const bool h = what == 'H';
      at(row, share(k)) = (h ? phase.p.enthalpy : phase.p.entropy) / unit;
      at(row, 0) += phase.share * (h ? phase.p.cp : phase.p.cp / kelvin_) / unit;
      at(row, 1) += phase.share * (h ? phase.p.enthalpy_dP : phase.p.entropy_dP) * kPascalPerBar / unit;
      for (size_t i = 0; i < n; ++i)
        at(row, x(k, i)) = phase.share * (h ? phase.partial_h[i] : phase.partial_s[i]) / unit;
    }
    b[row * inputs + input] = 1;
    ++row;
  };
  static constexpr const char* kSpecified[] = {"TP", "PH", "PS", "PV", "TV"};
  specify(kSpecified[static_cast<int>(kind)][0], 0);
  specify(kSpecified[static_cast<int>(kind)][1], 1);

  for (size_t r = 0; r < unknowns; ++r) {
    double largest = 0;
    for (size_t c = 0; c < unknowns; ++c) largest = std::max(largest, std::abs(at(r, c)));
    if (!(largest > 0)) continue;
    for (size_t c = 0; c < unknowns; ++c) at(r, c) /= largest;
    for (size_t c = 0; c < inputs; ++c) b[r * inputs + c] /= largest;
  }
  std::vector<double> slopes(unknowns * inputs), matrix, column(unknowns);
  for (size_t c = 0; c < inputs && regular_; ++c) {
    matrix = a;
    for (size_t r = 0; r < unknowns; ++r) column[r] = b[r * inputs + c];
    regular_ = SolveDense(matrix, column);
    for (size_t r = 0; r < unknowns; ++r) slopes[r * inputs + c] = regular_ ? column[r] : 0;
  }
  if (!regular_) std::ranges::fill(slopes, 0.0);

  const auto sloped = [&](double value, size_t unknown) {
    Sloped s = Constant(value, inputs);
    std::copy_n(slopes.begin() + static_cast<long>(unknown * inputs), inputs, s.slopes.begin());
    return s;
  };
  const Sloped t = sloped(kelvin_ - kZeroCelsius, 0), p = sloped(pascal_ / kPascalPerBar, 1);
  quantities_[static_cast<size_t>(PhaseQuantity::kT)] = t;
  quantities_[static_cast<size_t>(PhaseQuantity::kP)] = p;
  std::vector<double> molar_masses(package.molar_masses().begin(), package.molar_masses().end());
  for (size_t k = 0; k < phases_.size(); ++k) {
    Phase& phase = phases_[k];
    phase.amount = phase.present ? sloped(phase.share, share(k)) : Constant(0, inputs);
    for (size_t i = 0; i < n; ++i) phase.composition.push_back(sloped(phase.x[i], x(k, i)));
    const PhaseProperties& q = phase.p;
    const double v = 1 / q.molar_density;
    phase.h = Scaled(phase.Property(q.enthalpy, q.cp, q.enthalpy_dP * kPascalPerBar, phase.partial_h, t, p),
                     1 / kJoulePerGigajoule);
    phase.s =
        Scaled(phase.Property(q.entropy, q.cp / kelvin_, q.entropy_dP * kPascalPerBar, phase.partial_s, t, p),
               1 / kJoulePerKilojoule);
    phase.v = phase.Property(v, -q.molar_density_dT * v * v, -q.molar_density_dP * kPascalPerBar * v * v,
                             phase.partial_v, t, p);
    phase.molar_mass = phase.Property(q.molar_mass, 0, 0, molar_masses, t, p);
  }
}

void PhaseState::Collect() {
  const size_t n = z_.size(), inputs = n + 2;
  const auto find = [&](PhaseKind kind) -> const Phase* {
    const auto found = std::ranges::find(phases_, kind, &Phase::kind);
    return found == phases_.end() ? nullptr : &*found;
  };
  const Phase* vapour = find(PhaseKind::kVapour);
  const Phase* first = find(PhaseKind::kLiquid);
  const Phase* second = find(PhaseKind::kSecondLiquid);
  // Of a phase that there is none of, not even incipient, the other one's values.
  if (!vapour) vapour = first;
  if (!first) first = vapour;

  const auto set = [&](PhaseQuantity q, Sloped value) {
    quantities_[static_cast<size_t>(q)] = std::move(value);
  };
  const auto set_composition = [&](PhaseComposition c, std::vector<Sloped> value) {
    compositions_[static_cast<size_t>(c)] = std::move(value);
  };
  const Sloped one = Constant(1, inputs), none = Constant(0, inputs);
  const auto amount_of = [&](const Phase* phase, PhaseKind kind) {
    return phase && phase->kind == kind ? phase->amount : none;
  };
  const Sloped lf1 = amount_of(first, PhaseKind::kLiquid), lf2 = amount_of(second, PhaseKind::kSecondLiquid);
  Sloped lf = lf1;
  Add(lf, lf2);

  Sloped h = none, s = none, v = none, molar_mass = none;
  for (const Phase& phase : phases_) {
    Add(h, Product(phase.amount, phase.h));
    Add(s, Product(phase.amount, phase.s));
    Add(v, Product(phase.amount, phase.v));
    Add(molar_mass, Product(phase.amount, phase.molar_mass));
  }
  set(PhaseQuantity::kVF, amount_of(vapour, PhaseKind::kVapour));
  set(PhaseQuantity::kH, h);
  set(PhaseQuantity::kS, s);
  set(PhaseQuantity::kV, v);
  set(PhaseQuantity::kRHO, Quotient(one, v));
  set(PhaseQuantity::kMW, molar_mass);

  // All liquid together.
  const bool two_liquids = second && lf.value > 0;
  const Sloped beta = two_liquids ? Quotient(lf1, lf) : one;
  Sloped rest = one;
  Add(rest, beta, -1);
  if (!second) second = first;
  const auto together = [&](const Sloped& a, const Sloped& b) {
    if (!two_liquids) return a;
    Sloped sum = Product(beta, a);
    Add(sum, Product(rest, b));
    return sum;
  };
  set(PhaseQuantity::kLF, lf);
  set(PhaseQuantity::kLF1, lf1);
  set(PhaseQuantity::kLF2, lf2);
  set(PhaseQuantity::kBETA, beta);
  set(PhaseQuantity::kHV, vapour->h);
  set(PhaseQuantity::kHL, together(first->h, second->h));
  set(PhaseQuantity::kHL1, first->h);
  set(PhaseQuantity::kHL2, second->h);
  set(PhaseQuantity::kSV, vapour->s);
  set(PhaseQuantity::kSL, together(first->s, second->s));
  set(PhaseQuantity::kSL1, first->s);
  set(PhaseQuantity::kSL2, second->s);
  set(PhaseQuantity::kRHOV, Quotient(one, vapour->v));
  set(PhaseQuantity::kRHOL, Quotient(one, together(first->v, second->v)));
  set(PhaseQuantity::kRHOL1, Quotient(one, first->v));
  set(PhaseQuantity::kRHOL2, Quotient(one, second->v));
  set(PhaseQuantity::kMWV, vapour->molar_mass);
  set(PhaseQuantity::kMWL, together(first->molar_mass, second->molar_mass));
  set(PhaseQuantity::kMWL1, first->molar_mass);
  set(PhaseQuantity::kMWL2, second->molar_mass);
  set_composition(PhaseComposition::kY, vapour->composition);
  std::vector<Sloped> liquid;
  for (size_t i = 0; i < n; ++i) liquid.push_back(together(first->composition[i], second->composition[i]));
  set_composition(PhaseComposition::kX, std::move(liquid));
  set_composition(PhaseComposition::kX1, first->composition);
  set_composition(PhaseComposition::kX2, second->composition);
}

}  // namespace quiver
