// SPDX-License-Identifier: Apache-2.0
// Flux and choking point of a nozzle with a fitted specific volume.
#include "routines/corvanta/flux_nozzle.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "routines/numerics/quadrature.h"

namespace quiver::routines {
namespace {

// Integral of z^-beta from y to 1. (1 - y^(1-beta)) / (1 - beta), written with t = (1 - beta) ln y as
// -ln y (e^t - 1)/t, which passes smoothly through the logarithm at beta = 1.
double PowerIntegral(double y, double beta) {
  const double log_y = std::log(y), t = (1 - beta) * log_y;
  const double growth = std::abs(t) < 1e-5 ? 1 + t / 2 * (1 + t / 3) : std::expm1(t) / t;
  return -log_y * growth;
}

}  // namespace

double NozzleExpansion::Volume(double eta) const {
  if (eta >= saturation_) return 1.0;
  double volume = 1.0;
  const double log_y = std::log(eta / saturation_);
  for (const auto& [alpha, beta] : terms_) volume += alpha * std::expm1(-beta * log_y);
  return volume;
}

NozzleExpansion::Slopes NozzleExpansion::VolumeSlopes(double eta) const {
  Slopes slopes = {0, 0};
  for (const auto& [alpha, beta] : terms_) {
    const double slope = -alpha * beta * std::pow(saturation_ / eta, beta) / eta;
    slopes.first += slope;
    slopes.second -= slope * (beta + 1) / eta;
  }
  return slopes;
}

double NozzleExpansion::Work(double eta) const {
  if (eta >= saturation_) return 1 - eta;
  const double liquid = 1 - saturation_;
  if (intervals_ > 0)
    return liquid + CompositeSimpson([this](double at) { return Volume(at); }, eta, saturation_, intervals_);
  const double y = eta / saturation_;
  double work = 1 - y;
  for (const auto& [alpha, beta] : terms_) work += alpha * (PowerIntegral(y, beta) - (1 - y));
  return liquid + saturation_ * work;
}

double NozzleExpansion::PsiSquared(double eta) const {
  const double volume = Volume(eta);
  if (!(volume > area_)) return std::numeric_limits<double>::quiet_NaN();
  // Divided by the volume twice, which may be as large as (p0/p)^beta.
  const double approach = area_ / volume;
  return Work(eta) / volume / volume / (1 - approach * approach);
}

// At the maximum h = v^2 - a^2 + 2 W v' = 0. Since W' = -v, h' = 2 W v'', which is positive for a volume that
// grows ever faster as the pressure falls: then h has one root at most, and h(1) = 1 - a^2 > 0.
CriticalPoint NozzleExpansion::FindCritical(double lowest) const {
  const auto at = [this](double eta) { return CriticalPoint{eta, PsiSquared(eta)}; };
  // h/v^2, and the Newton step h/h'. W and v at eta_s come from the liquid's side, the slopes from below.
  struct Balance {
    double h, step;
  };
  const auto balance = [this](double eta) {
    const double v = Volume(eta), w = Work(eta) / v;
    const Slopes slopes = VolumeSlopes(eta);
    const double h = 1 - (area_ / v) * (area_ / v) + 2 * w * (slopes.first / v);
    return Balance{h, h / (2 * w * (slopes.second / v))};
  };
  if (saturation_ <= lowest) return at(lowest);
  if (balance(saturation_).h <= 0) return at(saturation_);
  if (!(balance(lowest).h < 0)) return at(lowest);

  double low = lowest, high = saturation_;
  double eta = std::max(0.6 * high, std::sqrt(low * high));  // near most fluids' choking point
  for (int i = 0; i < 200; ++i) {
    const Balance b = balance(eta);
    (b.h < 0 ? low : high) = eta;
    double next = eta - b.step;
    if (!(next > low && next < high)) next = std::sqrt(low * high);
    const bool done = std::abs(next - eta) <= 4 * std::numeric_limits<double>::epsilon() * eta;
    eta = next;
    if (done) break;
  }
  return at(eta);
}

}  // namespace quiver::routines
