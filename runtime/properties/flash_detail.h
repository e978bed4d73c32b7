// SPDX-License-Identifier: Apache-2.0
// What the files of the flash share among themselves; nothing for callers.
#pragma once

#include <fmt/format.h>

#include <cmath>
#include <span>
#include <vector>

#include "runtime/properties/flash.h"
#include "runtime/properties/ideal_gas.h"
#include "runtime/properties/phase_split.h"
#include "runtime/properties/property_error.h"

namespace quiver {

inline constexpr double kPresent = 1e-14;  // mole fractions below this are taken as absent

inline void CheckTemperature(double temperature) {
  if (!(temperature >= kLowestTemperature && temperature <= kHighestTemperature))
    throw PropertyError(
        fmt::format("Properties were asked for at {:.6g} K. Keep the temperature between {} and {} K.",
                    temperature, kLowestTemperature, kHighestTemperature));
}

inline void CheckPressure(double pressure) {
  if (!(pressure > 0 && pressure <= 1e10))
    throw PropertyError(
        fmt::format("Properties were asked for at a pressure of {:.6g} bar. Keep the pressure above 0 and "
                    "below 100000 bar.",
                    pressure / 1e5));
}

// Orders and names the phases (the rule stands at FlashResult::phases).
void LabelPhases(std::vector<SplitPhase>& phases, std::span<const double> molar_masses, FlashResult& result);

template <class Solve>
FlashResult FlashSolver::WithPresent(std::span<const double> z, Solve solve) const {
  const std::vector<double> feed = Feed(z);
  std::vector<std::size_t> present;
  for (std::size_t i = 0; i < feed.size(); ++i)
    if (feed[i] > kPresent) present.push_back(i);
  const std::size_t n = feed.size(), m = present.size();
  if (m == n) return solve(*this, feed);

  std::vector<PengRobinsonComponent> components;
  std::vector<double> kij(m * m), masses, reduced;
  for (std::size_t i = 0; i < m; ++i) {
    components.push_back(eos_.component(present[i]));
    masses.push_back(molar_masses_[present[i]]);
    reduced.push_back(feed[present[i]]);
    for (std::size_t j = 0; j < m; ++j) kij[i * m + j] = eos_.interactions()[present[i] * n + present[j]];
  }
  const PengRobinson eos(std::move(components), std::move(kij));
  FlashResult result = solve(FlashSolver(eos, std::move(masses), options_), reduced);
  for (EquilibriumPhase& p : result.phases) {
    std::vector<double> x(n, 0.0);
    for (std::size_t i = 0; i < m; ++i) x[present[i]] = p.x[i];
    p.x = std::move(x);
  }
  return result;
}

}  // namespace quiver
