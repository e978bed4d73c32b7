// SPDX-License-Identifier: Apache-2.0
// Phase equilibrium of a mixture on the equation of state: how many phases, how much of each, of which
// composition.
//
//   FlashSolver solver(eos, molar_masses);
//   FlashResult r = solver.AtTemperaturePressure(300, 1e6, z);
//   FlashResult bubble = solver.AtTemperatureVapourFraction(300, 0.0, z);   // bubble.pressure
//
// Up to three phases: a vapour and two liquids (or free water). A feed is split only when the tangent-plane
// test finds it unstable, and a split is accepted only when the test finds nothing below it. Feeds are
// normalised; components absent from the feed are absent from the phases. Throws PropertyError.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "runtime/properties/peng_robinson.h"

namespace quiver {

enum class PhaseKind { kVapour, kLiquid, kSecondLiquid };
const char* NameOf(PhaseKind kind);

struct EquilibriumPhase {
  PhaseKind kind = PhaseKind::kVapour;
  double fraction = 0;        // moles per mole of feed
  std::vector<double> x;      // mole fractions
  Root root = Root::kStable;  // of the equation of state: which one this phase is
};

struct FlashResult {
  double temperature = 0;  // K
  double pressure = 0;     // Pa
  // Vapour first, then liquids by rising mass density. A lone phase is a vapour above the critical
  // temperature of the mixture taken as one fluid, or where its volume exceeds that fluid's critical volume;
  // else a liquid. Of several phases the lightest is the vapour, unless it is as dense as a liquid (volume
  // below 2.2 b and subcritical).
  std::vector<EquilibriumPhase> phases;
  double worst_fugacity_gap = 0;  // largest difference of ln f between phases
  int iterations = 0;

  double vapour_fraction() const { return FractionOf(PhaseKind::kVapour); }
  double FractionOf(PhaseKind kind) const;  // 0 when absent
  const EquilibriumPhase* Find(PhaseKind kind) const;
};

struct FlashOptions {
  int max_phases = 3;  // 2 leaves out the search for a second liquid
};

class FlashSolver {
 public:
  FlashSolver(const PengRobinson& eos, std::vector<double> molar_masses, FlashOptions options = {})
      : eos_(eos), molar_masses_(std::move(molar_masses)), options_(options) {}

  FlashResult AtTemperaturePressure(double temperature, double pressure, std::span<const double> z) const;

  // Vapour fraction in [0, 1] on moles: 0 is the bubble point, 1 the dew point. Where a retrograde dew point
  // makes two answers the one of lower pressure is given. The incipient phase is listed with fraction 0.
  FlashResult AtTemperatureVapourFraction(double temperature, double vapour_fraction,
                                          std::span<const double> z) const;
  FlashResult AtPressureVapourFraction(double pressure, double vapour_fraction,
                                       std::span<const double> z) const;

  // Between a result on either side of a jump at one temperature and pressure: amounts mixed by `weight` of
  // `second`.
  static FlashResult Blend(const FlashResult& first, const FlashResult& second, double weight);

 private:
  FlashResult Normal(double temperature, double pressure, std::span<const double> z) const;
  // Vapour-fraction flashes: the unknown is ln P at given T or ln T at given P, with ln K of every component.
  struct Search;
  FlashResult AtVapourFraction(Search search, std::span<const double> z) const;
  bool StartFromWilson(Search& search, std::span<const double> z) const;
  bool Newton(Search& search, std::span<const double> z, FlashResult& result) const;
  bool March(const Search& target, std::span<const double> z, FlashResult& result) const;
  bool IsStable(const FlashResult& result) const;
  bool OnlyRelabelled(const FlashResult& first, const FlashResult& second) const;
  FlashResult Scan(Search search, std::span<const double> z) const;
  FlashResult PureAtVapourFraction(Search search) const;

  std::vector<double> Feed(std::span<const double> z) const;
  // Calls `solve` with a solver of the components that are present, and spreads its result over all.
  template <class Solve>
  FlashResult WithPresent(std::span<const double> z, Solve solve) const;
  std::string Describe(std::span<const double> z) const;

  const PengRobinson& eos_;
  std::vector<double> molar_masses_;
  FlashOptions options_;
};

}  // namespace quiver
