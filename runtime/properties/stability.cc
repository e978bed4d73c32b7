// SPDX-License-Identifier: Apache-2.0
// Successive substitution with dominant-eigenvalue acceleration, then Newton in 2 sqrt W.
#include "runtime/properties/stability.h"

#include <algorithm>
#include <cmath>

#include "runtime/properties/dense.h"

namespace quiver {
namespace {

constexpr int kSubstitutions = 12;
constexpr int kNewtonSteps = 25;
constexpr double kUnstable = -1e-10;  // distances above this are rounding

}  // namespace

double WilsonK(const PengRobinsonComponent& component, double temperature, double pressure) {
  return std::exp(5.373 * (1 + component.omega) * (1 - component.tc / temperature)) * component.pc / pressure;
}

StabilityTest::StabilityTest(const PengRobinson& eos, PengRobinson::Workspace& work)
    : eos_(eos), work_(work) {
  const std::size_t n = eos.size();
  for (auto* v : {&tangent_, &ln_w_, &x_, &ln_phi_, &step_, &last_, &change_}) v->resize(n);
  matrix_.resize(n * n);
}

void StabilityTest::Normalise() {
  double total = 0;
  for (std::size_t i = 0; i < x_.size(); ++i) total += x_[i] = std::exp(ln_w_[i]);
  for (double& x : x_) x /= total;
}

bool StabilityTest::IsKnown(std::span<const double> z, std::span<const double> known) const {
  const std::size_t n = x_.size();
  auto same = [&](std::span<const double> other) {
    double gap = 0;
    for (std::size_t i = 0; i < n; ++i) gap = std::max(gap, std::abs(x_[i] - other[i]));
    return gap < 1e-5;
  };
  if (same(z)) return true;
  for (std::size_t at = 0; at < known.size(); at += n)
    if (same(known.subspan(at, n))) return true;
  return false;
}

bool StabilityTest::NewtonStep(double pressure) {
  const std::size_t n = x_.size();
  eos_.FugacityDerivatives(work_, pressure, x_, Root::kStable, derivatives_);
  double total = 0;
  for (double l : ln_w_) total += std::exp(l);
  // alpha_i = 2 sqrt W_i; gradient sqrt(W_i) r_i, Hessian delta + sqrt(W_i W_j) d ln phi_i / d W_j.
  for (std::size_t i = 0; i < n; ++i) {
    const double root_i = std::exp(0.5 * ln_w_[i]);
    const double r = ln_w_[i] + derivatives_.ln_phi[i] - tangent_[i];
    step_[i] = -root_i * r;
    for (std::size_t j = 0; j < n; ++j)
      matrix_[i * n + j] = root_i * std::exp(0.5 * ln_w_[j]) * derivatives_.dn[i * n + j] / total + (i == j);
  }
  if (!SolveDense(matrix_, step_)) return false;
  double largest = 0;
  for (std::size_t i = 0; i < n; ++i)
    largest = std::max(largest, std::abs(step_[i] * std::exp(-0.5 * ln_w_[i])));
  const double damping = largest > 1 ? 1 / largest : 1;
  for (std::size_t i = 0; i < n; ++i) {
    const double change = 0.5 * damping * step_[i] * std::exp(-0.5 * ln_w_[i]);
    ln_w_[i] += 2 * std::log1p(std::max(change, -0.9));
  }
  return true;
}

bool StabilityTest::Minimise(double pressure, std::span<const double> z, std::span<const double> known) {
  const std::size_t n = x_.size();
  std::fill(change_.begin(), change_.end(), 0.0);
  for (int step = 0; step < kSubstitutions + kNewtonSteps; ++step) {
    ++iterations_;
    Normalise();
    eos_.Fugacity(work_, pressure, x_, Root::kStable, ln_phi_);
    // distance = 1 + sum W (ln W + ln phi - tangent - 1), the modified tangent-plane distance
    distance_ = 1;
    double largest = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const double r = ln_w_[i] + ln_phi_[i] - tangent_[i], w = std::exp(ln_w_[i]);
      distance_ += w * (r - 1);
      largest = std::max(largest, std::abs(r) * std::min(1.0, std::sqrt(w) * 1e3));
    }
    if (!std::isfinite(distance_)) return false;
    if (step >= 2 && distance_ < -1e-3 && !IsKnown(z, known)) return true;
    if (step >= 2 && IsKnown(z, known)) return false;
    if (largest < 1e-9) return distance_ < kUnstable;
    if (step < kSubstitutions || !NewtonStep(pressure)) {
      double before = 0, across = 0;
      for (std::size_t i = 0; i < n; ++i) {
        const double change = tangent_[i] - ln_phi_[i] - ln_w_[i];
        before += change_[i] * change_[i];
        across += change_[i] * change;
        change_[i] = change;
      }
      const double ratio = before > 0 ? across / before : 0;
      const bool accelerate = step % 4 == 3 && ratio > 0.1 && ratio < 0.95;
      for (std::size_t i = 0; i < n; ++i) ln_w_[i] += change_[i] * (accelerate ? 1 / (1 - ratio) : 1);
    }
  }
  return distance_ < kUnstable * 100;
}

std::optional<UnstableTrial> StabilityTest::FindUnstable(double pressure, std::span<const double> z,
                                                         std::span<const double> known, Starts starts) {
  const std::size_t n = eos_.size();
  eos_.Fugacity(work_, pressure, z, Root::kStable, tangent_);
  for (std::size_t i = 0; i < n; ++i) tangent_[i] += std::log(z[i]);

  std::optional<UnstableTrial> best;
  auto run = [&] {
    if (!Minimise(pressure, z, known) || (best && distance_ >= best->distance)) return;
    Normalise();
    eos_.Fugacity(work_, pressure, x_, Root::kStable, ln_phi_);
    best = UnstableTrial{x_, ln_phi_, distance_};
  };
  if (starts == kWilson) {
    for (double sign : {1.0, -1.0}) {
      for (std::size_t i = 0; i < n; ++i)
        ln_w_[i] = std::log(z[i]) + sign * std::log(WilsonK(eos_.component(i), work_.temperature, pressure));
      // Wilson's sum can be far from 1; the test is about compositions.
      Normalise();
      for (std::size_t i = 0; i < n; ++i) ln_w_[i] = std::log(std::max(x_[i], 1e-300));
      run();
    }
    return best;
  }
  ln_w_ = tangent_;  // the ideal gas in equilibrium with the phase
  run();
  for (std::size_t pure = 0; pure < n; ++pure) {
    for (std::size_t i = 0; i < n; ++i) ln_w_[i] = i == pure ? 0 : std::log(1e-3 * std::max(z[i], 1e-12));
    run();
  }
  return best;
}

}  // namespace quiver
