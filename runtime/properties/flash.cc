// SPDX-License-Identifier: Apache-2.0
// The flash at given temperature and pressure: test the feed, split it, test the split.
#include "runtime/properties/flash.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/properties/flash_detail.h"
#include "runtime/properties/phase_split.h"
#include "runtime/properties/property_error.h"
#include "runtime/properties/stability.h"

namespace quiver {
namespace {

constexpr int kAttempts = 6;
constexpr double kLiquidVolumeRatio =
    2.2;  // V/b up to which the lightest of several phases is still a liquid

struct Labelled {
  SplitPhase phase;
  double density;  // kg/m3
};

}  // namespace

const char* NameOf(PhaseKind kind) {
  switch (kind) {
    case PhaseKind::kVapour:
      return "vapour";
    case PhaseKind::kLiquid:
      return "liquid";
    case PhaseKind::kSecondLiquid:
      return "second liquid";
  }
  return "";
}

const EquilibriumPhase* FlashResult::Find(PhaseKind kind) const {
  const auto found = std::ranges::find(phases, kind, &EquilibriumPhase::kind);
  return found == phases.end() ? nullptr : &*found;
}

double FlashResult::FractionOf(PhaseKind kind) const {
  const EquilibriumPhase* phase = Find(kind);
  return phase ? phase->fraction : 0;
}

void LabelPhases(std::vector<SplitPhase>& phases, std::span<const double> molar_masses, FlashResult& result) {
  std::vector<Labelled> order;
  for (SplitPhase& p : phases) {
    double mass = 0;
    for (std::size_t i = 0; i < molar_masses.size(); ++i) mass += p.x[i] * molar_masses[i];
    order.push_back({std::move(p), mass / p.state.volume});
  }
  // The vapour is the phase of the largest volume against its covolume: a dense gas can outweigh a light
  // liquid.
  std::ranges::sort(order, [](const Labelled& a, const Labelled& b) {
    return a.phase.state.eos_volume / a.phase.state.covolume >
           b.phase.state.eos_volume / b.phase.state.covolume;
  });
  const EosState& lightest = order.front().phase.state;
  const bool vapour = IsVapourLike(lightest) ||
                      (order.size() > 1 && lightest.eos_volume > kLiquidVolumeRatio * lightest.covolume);
  std::sort(order.begin() + (vapour ? 1 : 0), order.end(),
            [](const Labelled& a, const Labelled& b) { return a.density < b.density; });
  int liquids = 0;
  result.phases.clear();
  for (std::size_t i = 0; i < order.size(); ++i) {
    const PhaseKind kind = i == 0 && vapour ? PhaseKind::kVapour
                           : liquids++ == 0 ? PhaseKind::kLiquid
                                            : PhaseKind::kSecondLiquid;
    // With three roots the outer two lie on either side of the critical volume of the mixture taken as one
    // fluid.
    const EosState& state = order[i].phase.state;
    const Root root = state.real_roots == 1 ? Root::kStable
                      : IsVapourLike(state) ? Root::kVapour
                                            : Root::kLiquid;
    result.phases.push_back({kind, order[i].phase.fraction, std::move(order[i].phase.x), root});
  }
}

std::vector<double> FlashSolver::Feed(std::span<const double> z) const {
  double total = 0;
  if (z.size() != eos_.size())
    throw PropertyError(
        fmt::format("The feed has {} mole fractions, the component list has {} components. Give one "
                    "fraction for each component.",
                    z.size(), eos_.size()));
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (!std::isfinite(z[i]) || z[i] < -1e-8)
      throw PropertyError(fmt::format("The mole fraction of {} is {:.6g}. Give a number of 0 or more.",
                                      eos_.component(i).name, z[i]));
    total += std::max(z[i], 0.0);
  }
  if (!(total > 0)) throw PropertyError("All mole fractions of the feed are 0. Give at least one component.");
  if (!std::isfinite(total)) throw PropertyError("The mole fractions of the feed are too large to add up.");
  std::vector<double> feed(z.size());
  for (std::size_t i = 0; i < z.size(); ++i) feed[i] = std::max(z[i], 0.0) / total;
  return feed;
}

std::string FlashSolver::Describe(std::span<const double> z) const {
  std::string text;
  for (std::size_t i = 0; i < z.size(); ++i)
    if (z[i] > 0) text += fmt::format("{}{} {:.4g}", text.empty() ? "" : ", ", eos_.component(i).name, z[i]);
  return text;
}

FlashResult FlashSolver::AtTemperaturePressure(double temperature, double pressure,
                                               std::span<const double> z) const {
  CheckTemperature(temperature);
  CheckPressure(pressure);
  return WithPresent(z, [&](const FlashSolver& s, std::span<const double> feed) {
    return s.Normal(temperature, pressure, feed);
  });
}

FlashResult FlashSolver::Normal(double temperature, double pressure, std::span<const double> z) const {
  const std::size_t n = z.size();
  PengRobinson::Workspace work;
  eos_.SetTemperature(temperature, work);
  FlashResult result;
  result.temperature = temperature;
  result.pressure = pressure;

  SplitPhase whole{1, {z.begin(), z.end()}, std::vector<double>(n), {}};
  whole.state = eos_.Fugacity(work, pressure, z, Root::kStable, whole.ln_phi);
  std::vector<SplitPhase> phases{whole};
  if (n > 1 && options_.max_phases > 1) {
    StabilityTest test(eos_, work);
    PhaseSplit split(eos_, work);
    auto trial = test.FindUnstable(pressure, z, {}, StabilityTest::kWilson);
    if (!trial) trial = test.FindUnstable(pressure, z, {}, StabilityTest::kPure);
    for (int attempt = 0; trial && attempt < kAttempts; ++attempt) {
      std::vector<std::vector<double>> starts;
      std::vector<double> fractions;
      for (const SplitPhase& p : phases) {
        starts.push_back(p.ln_phi);
        fractions.push_back(p.fraction);
      }
      starts.push_back(trial->ln_phi);
      fractions.push_back(1e-4);
      split.Start(z, starts, fractions);
      const bool converged = split.Converge(pressure);
      result.iterations += split.iterations();
      if (!converged)
        throw PropertyError(
            fmt::format("The flash of {} at {:.4f} K and {:.6g} bar did not converge; fugacities still "
                        "differ by {:.1e} (relative). "
                        "Move temperature or pressure a little: the point may be critical.",
                        Describe(z), temperature, pressure / 1e5, split.worst_fugacity_gap()));
      phases = split.phases();
      result.worst_fugacity_gap = phases.size() > 1 ? split.worst_fugacity_gap() : 0;
      if (static_cast<int>(phases.size()) >= options_.max_phases) break;
      // All phases share one tangent plane: to test one of them is to test them all. A split can also have replaced a
      // phase instead of adding one, and the one replaced may come back.
      std::vector<double> known;
      for (const SplitPhase& p : phases) known.insert(known.end(), p.x.begin(), p.x.end());
      const auto& largest = *std::ranges::max_element(phases, {}, &SplitPhase::fraction);
      trial = test.FindUnstable(pressure, largest.x, known, StabilityTest::kPure);
    }
    result.iterations += test.iterations();
  }
  LabelPhases(phases, molar_masses_, result);
  return result;
}

FlashResult FlashSolver::Blend(const FlashResult& first, const FlashResult& second, double weight) {
  FlashResult result = first;
  for (EquilibriumPhase& p : result.phases) p.fraction *= 1 - weight;
  for (const EquilibriumPhase& p : second.phases) {
    auto same = std::ranges::find(result.phases, p.kind, &EquilibriumPhase::kind);
    if (same == result.phases.end()) {
      result.phases.push_back({p.kind, weight * p.fraction, p.x, p.root});
      continue;
    }
    const double total = same->fraction + weight * p.fraction;
    for (std::size_t i = 0; i < p.x.size() && total > 0; ++i)
      same->x[i] = (same->fraction * same->x[i] + weight * p.fraction * p.x[i]) / total;
    same->fraction = total;
  }
  std::ranges::sort(result.phases, {}, &EquilibriumPhase::kind);
  result.worst_fugacity_gap = std::max(first.worst_fugacity_gap, second.worst_fugacity_gap);
  result.iterations += second.iterations;
  return result;
}

}  // namespace quiver
