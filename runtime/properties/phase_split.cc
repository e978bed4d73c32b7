// SPDX-License-Identifier: Apache-2.0
// See Michelsen, Fluid Phase Equilibria 9 (1982) 21 for the two-phase form; here with any number of phases,
// and for each component the phase that holds most of it as the dependent one, so that traces keep their
// digits.
#include "runtime/properties/phase_split.h"

#include <algorithm>
#include <cmath>

#include "runtime/properties/dense.h"

namespace quiver {
namespace {

constexpr double kTolerance = 1e-11;  // of ln f
constexpr double kAcceptable = 1e-10;
constexpr int kSubstitutions = 600;
constexpr int kNewtonSteps = 40;

}  // namespace

double RachfordRice(std::span<const double> z, std::span<const double> k) {
  auto value = [&](double b, double& slope) {
    double f = 0;
    slope = 0;
    for (std::size_t i = 0; i < z.size(); ++i) {
      const double q = (k[i] - 1) / (1 + b * (k[i] - 1));
      f += z[i] * q;
      slope -= z[i] * q * q;
    }
    return f;
  };
  double slope;
  if (value(0, slope) <= 0) return 0;
  if (value(1, slope) >= 0) return 1;
  double low = 0, high = 1, b = 0.5;
  for (int i = 0; i < 100; ++i) {
    const double f = value(b, slope);
    (f > 0 ? low : high) = b;
    double next = b - f / slope;
    if (!(next > low && next < high)) next = 0.5 * (low + high);
    if (std::abs(next - b) <= 1e-15 * std::min(b, 1 - b) || next == b) return next;
    b = next;
  }
  return b;
}

void PhaseSplit::Start(std::span<const double> z, std::span<const std::vector<double>> ln_phi,
                       std::span<const double> fractions) {
  z_.assign(z.begin(), z.end());
  phases_.resize(ln_phi.size());
  for (std::size_t p = 0; p < phases_.size(); ++p) {
    phases_[p].fraction = fractions[p];
    phases_[p].ln_phi = ln_phi[p];
    phases_[p].x.assign(z.begin(), z.end());
  }
  iterations_ = 0;
}

double PhaseSplit::Gibbs() const {
  double g = 0;
  for (const SplitPhase& p : phases_)
    for (std::size_t i = 0; i < z_.size(); ++i)
      if (p.fraction > 0) g += p.fraction * p.x[i] * (std::log(p.x[i]) + p.ln_phi[i]);
  return g;
}

void PhaseSplit::DistributeTwo() {
  factor_.resize(z_.size());
  for (std::size_t i = 0; i < z_.size(); ++i)
    factor_[i] = std::exp(phases_[0].ln_phi[i] - phases_[1].ln_phi[i]);
  const double b = RachfordRice(z_, factor_);
  phases_[0].fraction = 1 - b;
  phases_[1].fraction = b;
  for (std::size_t i = 0; i < z_.size(); ++i) {
    phases_[0].x[i] = z_[i] / (1 + b * (factor_[i] - 1));
    phases_[1].x[i] = factor_[i] * phases_[0].x[i];
  }
}

// Minimises Q = sum b_p - sum z_i ln E_i, E_i = sum b_p / phi_ip over b >= 0 (Michelsen 1994): convex, its
// gradient is 1 minus the sum of each phase's mole fractions.
void PhaseSplit::DistributeMany() {
  const std::size_t n = z_.size(), count = phases_.size();
  factor_.resize(n * count);
  for (std::size_t i = 0; i < n; ++i) {
    double low = phases_[0].ln_phi[i];
    for (const SplitPhase& p : phases_) low = std::min(low, p.ln_phi[i]);
    for (std::size_t p = 0; p < count; ++p) factor_[i * count + p] = std::exp(low - phases_[p].ln_phi[i]);
  }
  std::vector<double> b(count), gradient(count), step(count), trial(count);
  for (std::size_t p = 0; p < count; ++p) b[p] = std::max(phases_[p].fraction, 1e-6);
  auto e_of = [&](const std::vector<double>& fractions, std::size_t i) {
    double e = 0;
    for (std::size_t p = 0; p < count; ++p) e += fractions[p] * factor_[i * count + p];
    return e;
  };
  auto q_of = [&](const std::vector<double>& fractions) {
    double q = 0;
    for (double f : fractions) q += f;
    for (std::size_t i = 0; i < n; ++i) q -= z_[i] * std::log(e_of(fractions, i));
    return q;
  };
  auto slope_of = [&](const std::vector<double>& fractions, std::size_t p) {
    double slope = 1;
    for (std::size_t i = 0; i < n; ++i)
      slope -= z_[i] * factor_[i * count + p] / std::max(e_of(fractions, i), 1e-300);
    return slope;
  };
  double q = q_of(b);
  for (int iteration = 0; iteration < 100; ++iteration) {
    std::vector<double> hessian(count * count, 0.0);
    std::fill(gradient.begin(), gradient.end(), 1.0);
    for (std::size_t i = 0; i < n; ++i) {
      const double e = e_of(b, i);
      for (std::size_t p = 0; p < count; ++p) {
        gradient[p] -= z_[i] * factor_[i * count + p] / e;
        for (std::size_t r = 0; r < count; ++r)
          hessian[p * count + r] += z_[i] * factor_[i * count + p] * factor_[i * count + r] / (e * e);
      }
    }
    double worst = 0;
    for (std::size_t p = 0; p < count; ++p) {
      const bool bound = b[p] <= 0 && gradient[p] > 0;  // absent and not wanted
      if (!bound) worst = std::max(worst, std::abs(gradient[p]));
      step[p] = bound ? 0 : -gradient[p];
      for (std::size_t r = 0; r < count && bound; ++r) hessian[p * count + r] = hessian[r * count + p] = 0;
      // With as many phases as components or more the Hessian can be singular: the small addition lets the step run
      // along such a direction until a phase is gone.
      hessian[p * count + p] = bound ? 1 : hessian[p * count + p] * (1 + 1e-11) + 1e-13;
    }
    if (worst < 1e-14 || !SolveDense(hessian, step)) break;
    double longest = 1;
    for (std::size_t p = 0; p < count; ++p)
      if (step[p] < 0) longest = std::min(longest, -b[p] / step[p]);
    double length = longest;
    bool moved = false;
    for (int halving = 0; halving < 20 && !moved; ++halving, length *= 0.5) {
      for (std::size_t p = 0; p < count; ++p) {
        const bool reached = length == longest && step[p] < 0 && -b[p] / step[p] <= longest;
        trial[p] = reached ? 0 : std::max(0.0, b[p] + length * step[p]);
      }
      // A phase that holds a trace of something the others hardly take goes down in steps, not to 0.
      for (std::size_t p = 0; p < count; ++p)
        if (trial[p] == 0 && b[p] > 0 && slope_of(trial, p) < 0) trial[p] = 0.1 * b[p];
      const double next = q_of(trial);
      if (std::isfinite(next) && next <= q + 1e-15 * std::abs(q)) {
        moved = trial != b;
        b = trial;
        q = next;
        if (!moved) break;
      }
    }
    if (!moved) break;
  }
  double total = 0;
  for (double f : b) total += f;
  for (std::size_t p = 0; p < count; ++p) {
    phases_[p].fraction = b[p] / total;
    for (std::size_t i = 0; i < n; ++i) phases_[p].x[i] = z_[i] * factor_[i * count + p] / e_of(b, i);
  }
}

void PhaseSplit::Distribute() {
  phases_.size() == 2 ? DistributeTwo() : DistributeMany();
  // A phase at its bound has mole fractions that do not sum to 1 yet.
  for (SplitPhase& p : phases_) {
    double total = 0;
    for (double x : p.x) total += x;
    for (double& x : p.x) x /= total;
  }
}

void PhaseSplit::Update(double pressure) {
  gap_ = 0;
  for (SplitPhase& p : phases_) p.state = eos_.Fugacity(work_, pressure, p.x, Root::kStable, p.ln_phi);
  for (std::size_t i = 0; i < z_.size(); ++i) {
    double low = 1e300, high = -1e300;
    for (const SplitPhase& p : phases_) {
      const double ln_f = std::log(p.x[i]) + p.ln_phi[i];
      low = std::min(low, ln_f);
      high = std::max(high, ln_f);
    }
    gap_ = std::max(gap_, high - low);
  }
}

bool PhaseSplit::Newton(double pressure) {
  const std::size_t n = z_.size(), count = phases_.size(), size = n * (count - 1);
  for (const SplitPhase& p : phases_)
    if (p.fraction < 1e-11) return false;
  derivatives_.resize(count);
  moles_.resize(n * count);
  reference_.resize(n);
  unknown_.clear();
  for (std::size_t p = 0; p < count; ++p) {
    eos_.FugacityDerivatives(work_, pressure, phases_[p].x, Root::kStable, derivatives_[p]);
    for (std::size_t i = 0; i < n; ++i) moles_[i * count + p] = phases_[p].fraction * phases_[p].x[i];
  }
  for (std::size_t i = 0; i < n; ++i) {
    const auto first = moles_.begin() + static_cast<std::ptrdiff_t>(i * count);
    reference_[i] =
        static_cast<std::size_t>(std::max_element(first, first + static_cast<std::ptrdiff_t>(count)) - first);
    for (std::size_t p = 0; p < count; ++p)
      if (p != reference_[i]) unknown_.push_back(i * count + p);
  }
  auto curvature = [&](std::size_t p, std::size_t i, std::size_t j) {  // d ln f_i / d n_j in phase p
    return ((i == j ? 1 / phases_[p].x[i] : 0.0) - 1 + derivatives_[p].dn[i * n + j]) / phases_[p].fraction;
  };
  auto ln_f = [&](std::size_t i, std::size_t p) {
    return std::log(phases_[p].x[i]) + derivatives_[p].ln_phi[i];
  };
  auto scale = [&](std::size_t u) {
    const double one = moles_[u], other = moles_[u / count * count + reference_[u / count]];
    return std::sqrt(one * other / (one + other));
  };
  matrix_.assign(size * size, 0.0);
  right_.resize(size);
  for (std::size_t row = 0; row < size; ++row) {
    const std::size_t i = unknown_[row] / count, k = unknown_[row] % count, ri = reference_[i];
    right_[row] = -(ln_f(i, k) - ln_f(i, ri)) * scale(unknown_[row]);
    for (std::size_t column = 0; column < size; ++column) {
      const std::size_t j = unknown_[column] / count, l = unknown_[column] % count, rj = reference_[j];
      double h = 0;
      if (k == l) h += curvature(k, i, j);
      if (k == rj) h -= curvature(k, i, j);
      if (ri == l) h -= curvature(ri, i, j);
      if (ri == rj) h += curvature(ri, i, j);
      matrix_[row * size + column] = h * scale(unknown_[row]) * scale(unknown_[column]);
    }
  }
  // Inside a spinodal the Hessian is not positive; a growing diagonal (1 is the ideal mixture's) turns the step downhill.
  const std::vector<double> downhill = right_, hessian = matrix_;
  double slope = 0;
  for (double shift = 0; shift < 100 && !(slope > 0); shift = shift == 0 ? 1e-7 : 10 * shift) {
    matrix_ = hessian;
    right_ = downhill;
    for (std::size_t u = 0; u < size; ++u) matrix_[u * size + u] += shift;
    if (!SolveDense(matrix_, right_)) continue;
    slope = 0;
    for (std::size_t u = 0; u < size; ++u) slope += downhill[u] * right_[u];
  }
  if (!(slope > 0)) return false;

  trial_.assign(n * count, 0.0);
  for (std::size_t u = 0; u < size; ++u) {
    const double change = right_[u] * scale(unknown_[u]);
    trial_[unknown_[u]] += change;
    trial_[unknown_[u] / count * count + reference_[unknown_[u] / count]] -= change;
  }
  double bound = 1e300;
  for (std::size_t m = 0; m < trial_.size(); ++m)
    if (trial_[m] < 0) bound = std::min(bound, -0.9 * moles_[m] / trial_[m]);

  // Near a critical point the Gibbs energy gained is below rounding; its slope along the step is not. A step is good
  // when the energy still falls at its end, or rises there less than half as steeply as it fell at the start; while it
  // falls almost as steeply as at the start the step is lengthened.
  const double gap = gap_;
  const std::vector<SplitPhase> before = phases_;
  auto rise_at = [&](double length) {
    for (std::size_t p = 0; p < count; ++p) {
      double total = 0;
      for (std::size_t i = 0; i < n; ++i) total += moles_[i * count + p] + length * trial_[i * count + p];
      phases_[p].fraction = total;
      for (std::size_t i = 0; i < n; ++i)
        phases_[p].x[i] = (moles_[i * count + p] + length * trial_[i * count + p]) / total;
    }
    Update(pressure);
    double rise = 0;
    for (std::size_t p = 0; p < count; ++p)
      for (std::size_t i = 0; i < n; ++i)
        rise += trial_[i * count + p] * (std::log(phases_[p].x[i]) + phases_[p].ln_phi[i]);
    return rise;
  };
  double length = std::min(1.0, bound), rise = rise_at(length);
  for (int halving = 0; halving < 6 && !(rise <= 0.5 * slope || gap_ < 0.1 * gap); ++halving)
    rise = rise_at(length *= 0.4);
  if (!(rise <= 0.5 * slope || gap_ < 0.1 * gap)) {
    phases_ = before;
    gap_ = gap;
    return false;
  }
  while (rise < -0.5 * slope && 4 * length < bound) {
    const std::vector<SplitPhase> shorter = phases_;
    const double shorter_gap = gap_;
    const double further = rise_at(4 * length);
    if (!(further <= 0)) {
      phases_ = shorter;
      gap_ = shorter_gap;
      break;
    }
    rise = further;
    length *= 4;
  }
  return true;
}

void PhaseSplit::DropVanished() {
  std::erase_if(phases_, [](const SplitPhase& p) { return p.fraction <= 1e-13; });
}

bool PhaseSplit::MergeAlike() {
  for (std::size_t a = 0; a < phases_.size(); ++a)
    for (std::size_t b = a + 1; b < phases_.size(); ++b) {
      SplitPhase &one = phases_[a], &other = phases_[b];
      double gap = std::abs(one.state.eos_volume / other.state.eos_volume - 1) * 0.1;
      for (std::size_t i = 0; i < z_.size(); ++i) gap = std::max(gap, std::abs(one.x[i] - other.x[i]));
      if (gap > 1e-5) continue;
      if (other.fraction > one.fraction) std::swap(one, other);
      one.fraction += other.fraction;
      phases_.erase(phases_.begin() + static_cast<std::ptrdiff_t>(b));
      return true;
    }
  return false;
}

void PhaseSplit::BecomeSingle(double pressure) {
  phases_[0].fraction = 1;
  phases_[0].x = z_;
  Update(pressure);
}

bool PhaseSplit::Converge(double pressure) {
  const std::size_t n = z_.size();
  last_.clear();
  int at_bound = 0;
  double newton_from = 1.0;
  for (int step = 0; step < kSubstitutions; ++step) {
    ++iterations_;
    Distribute();
    const bool vanishing =
        std::ranges::any_of(phases_, [](const SplitPhase& p) { return p.fraction <= 1e-13; });
    at_bound = vanishing ? at_bound + 1 : 0;
    if (at_bound > 12) {
      DropVanished();
      at_bound = 0;
      last_.clear();
      if (phases_.size() == 1) {
        BecomeSingle(pressure);
        return true;
      }
      continue;
    }
    // The change of ln phi that this substitution makes, for the acceleration.
    std::vector<double>& before = trial_;
    before.clear();
    for (const SplitPhase& p : phases_) before.insert(before.end(), p.ln_phi.begin(), p.ln_phi.end());
    Update(pressure);
    if (gap_ < kTolerance && !vanishing) break;
    const bool comparable = last_.size() == n * phases_.size();
    double across = 0, square = 0;
    last_.resize(n * phases_.size());
    for (std::size_t p = 0; p < phases_.size(); ++p)
      for (std::size_t i = 0; i < n; ++i) {
        const double change = phases_[p].ln_phi[i] - before[p * n + i];
        across += last_[p * n + i] * change;
        square += last_[p * n + i] * last_[p * n + i];
        last_[p * n + i] = change;
      }
    const double ratio = comparable && square > 0 ? across / square : 0;
    if (step % 5 == 4 && ratio > 0.1 && ratio < 0.98) {
      for (std::size_t p = 0; p < phases_.size(); ++p)
        for (std::size_t i = 0; i < n; ++i) phases_[p].ln_phi[i] += last_[p * n + i] * ratio / (1 - ratio);
      last_.clear();
      continue;
    }
    if (step < 3 || gap_ > newton_from || vanishing) continue;
    bool advanced = false;
    for (int k = 0; k < kNewtonSteps && gap_ >= kTolerance; ++k) {
      ++iterations_;
      if (!Newton(pressure)) break;
      advanced = true;
    }
    if (gap_ < kTolerance) break;
    // Rounding can stop Newton just short of the tolerance.
    if (gap_ < kAcceptable) break;
    if (!advanced) newton_from = gap_ * 0.5;
    last_.clear();
  }
  if (MergeAlike()) {
    if (phases_.size() > 1) return Converge(pressure);
    BecomeSingle(pressure);
    return true;
  }
  return gap_ < kAcceptable;
}

}  // namespace quiver
