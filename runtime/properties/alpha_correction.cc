// SPDX-License-Identifier: Apache-2.0
// Finds the alpha at which the equation's phases are in equilibrium at the correlation's vapour pressure, temperature by
// temperature, and fits the correction to it.
#include "runtime/properties/alpha_correction.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "runtime/properties/cubic_roots.h"
#include "runtime/properties/dense.h"
#include "runtime/properties/peng_robinson.h"

namespace quiver {
namespace {

constexpr double kD1 = 2.41421356237309505, kD2 = -0.41421356237309505;  // 1 +- sqrt 2

// u^2/(u^2 + e^2)
Jet Weight(double u) {
  constexpr double kE2 = 0.03 * 0.03;
  const double r = 1 / (u * u + kE2);
  return {u * u * r, 2 * kE2 * u * r * r, 2 * kE2 * (kE2 - 3 * u * u) * r * r * r};
}

struct Boiling {
  double root_alpha;
  double sensitivity;  // d ln(vapour pressure) / d sqrt(alpha), negative
};

// Newton in sqrt(alpha) on ln phi(liquid) = ln phi(vapour) at given T and P; nothing when the equation has no two phases
// there.
std::optional<Boiling> AlphaAt(const Component& component, double temperature, double pressure,
                               double root_alpha) {
  const double rt = kGasConstant * temperature;
  const double b = kOmegaB * component.tc / component.pc * kGasConstant * pressure / rt;
  const double ac = kOmegaA * std::pow(kGasConstant * component.tc, 2) / component.pc * pressure / (rt * rt);
  for (int i = 0; i < 50; ++i) {
    const double a = ac * root_alpha * root_alpha;
    const CubicRoots z = SolveCubic(b - 1, a - b * (2 + 3 * b), b * (b * (1 + b) - a));
    if (z.count == 1 || z.values[0] <= b) return std::nullopt;
    const double liquid = z.values[0], vapour = z.values[2];
    auto attraction = [&](double v) { return std::log((v + kD1 * b) / (v + kD2 * b)) / ((kD1 - kD2) * b); };
    const double difference = attraction(liquid) - attraction(vapour);
    const double gap = liquid - vapour - std::log((liquid - b) / (vapour - b)) - a * difference;
    const double slope = -2 * ac * root_alpha * difference;
    const double next = root_alpha - gap / slope;
    if (std::abs(next - root_alpha) < 1e-13) return Boiling{next, slope / (vapour - liquid)};
    root_alpha = next;
  }
  return std::nullopt;
}

}  // namespace

double AlphaSlope(double omega) {
  if (omega <= 0.491) return 0.37464 + omega * (1.54226 - 0.26992 * omega);
  return 0.379642 + omega * (1.48503 + omega * (-0.164423 + 0.016666 * omega));
}

Jet AlphaCorrection::At(double u) const {
  if (u <= 0 || u_max == 0) return {};
  auto inside = [&](double v) {
    const Jet w = Weight(v);
    const double p = v * (c[0] + v * (c[1] + v * (c[2] + v * c[3])));
    const double p1 = c[0] + v * (2 * c[1] + v * (3 * c[2] + v * 4 * c[3]));
    const double p2 = 2 * c[1] + v * (6 * c[2] + v * 12 * c[3]);
    return Jet{w.value * p, w.first * p + w.value * p1, w.second * p + 2 * w.first * p1 + w.value * p2};
  };
  if (u <= u_max) return inside(u);
  const Jet end = inside(u_max);
  const double beyond = u - u_max;
  return {end.value + beyond * (end.first + 0.5 * beyond * end.second), end.first + beyond * end.second,
          end.second};
}

AlphaCorrection FitAlphaCorrection(const Component& component) {
  const Correlation& psat = component.correlation(Property::kVapourPressure);
  const double m = AlphaSlope(component.omega);
  const double low = std::clamp(0.85 * psat.t_min / component.tc, 0.35, 0.7);
  AlphaCorrection correction;
  correction.u_max = 1 - std::sqrt(low);
  constexpr int kTerms = 4, kPoints = 40;
  const double critical_miss = std::abs(std::log(Evaluate(psat, component.tc).value / component.pc));
  const double high = critical_miss < 0.1 ? 0.96 : 0.8;
  double normal[kTerms * kTerms] = {}, right[kTerms] = {};
  for (int i = 0; i < kPoints; ++i) {
    const double tr = low + (high - low) * i / (kPoints - 1), t = tr * component.tc, u = 1 - std::sqrt(tr);
    const auto found = AlphaAt(component, t, Evaluate(psat, t).value, 1 + m * u);
    if (!found) continue;
    const double s = u / correction.u_max, weight = found->sensitivity * found->sensitivity;
    const double w = Weight(u).value * s;
    const double term[kTerms] = {w, w * s, w * s * s, w * s * s * s};
    for (int r = 0; r < kTerms; ++r) {
      right[r] += weight * term[r] * (found->root_alpha - 1 - m * u);
      for (int k = 0; k < kTerms; ++k) normal[r * kTerms + k] += weight * term[r] * term[k];
    }
  }
  if (!SolveDense(normal, right)) return {};
  for (int r = 0; r < kTerms; ++r) correction.c[r] = right[r] / std::pow(correction.u_max, 1 + r);
  return correction;
}

}  // namespace quiver
