// SPDX-License-Identifier: Apache-2.0
// The state behind the phase sub-models: against the property package, round trips through every pair of inputs, and all
// derivatives against differences.
#include "runtime/modeller/phase_state.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "runtime/properties/property_error.h"

namespace quiver {
namespace {

using Q = PhaseQuantity;

struct Feed {
  const char* name;
  std::vector<std::string> components;
  std::vector<double> z;
  double celsius, bar;
  bool pure_boiling = false;  // then T and P do not fix the state
};

// Every kind of state that a relief valve or a compressor meets.
const std::vector<Feed>& Feeds() {
  static const std::vector<Feed> feeds = {
      {"cold water", {"water"}, {1}, 60, 5},
      {"steam", {"water"}, {1}, 250, 10},
      {"boiling water", {"water"}, {1}, 0, 10, true},
      {"natural gas", {"methane", "ethane", "propane"}, {0.85, 0.1, 0.05}, 20, 40},
      {"two phases", {"methane", "propane", "n-hexane"}, {0.4, 0.35, 0.25}, 30, 20},
      {"subcooled", {"propane", "n-hexane"}, {0.3, 0.7}, 20, 15},
      {"an absent component", {"methane", "propane", "n-hexane"}, {0.0, 0.6, 0.4}, 60, 8},
      {"two liquids", {"water", "n-hexane"}, {0.5, 0.5}, 30, 5},
      {"three phases", {"water", "n-hexane", "methane"}, {0.4, 0.4, 0.2}, 30, 5},
  };
  return feeds;
}

std::vector<double> Flatten(const PhaseState& state) {
  std::vector<double> all;
  for (int q = 0; q < static_cast<int>(Q::kCount); ++q) all.push_back(state[static_cast<Q>(q)].value);
  for (int c = 0; c < static_cast<int>(PhaseComposition::kCount); ++c)
    for (const Sloped& fraction : state[static_cast<PhaseComposition>(c)]) all.push_back(fraction.value);
  return all;
}
double Slope(const PhaseState& state, size_t place, size_t input) {
  constexpr auto scalars = static_cast<size_t>(Q::kCount);
  if (place < scalars) return state[static_cast<Q>(place)].slopes[input];
  const size_t n = state[PhaseComposition::kY].size();
  return state[static_cast<PhaseComposition>((place - scalars) / n)][(place - scalars) % n].slopes[input];
}

double Of(const PhaseState& state, char what) {
  return state[what == 'T'   ? Q::kT
               : what == 'P' ? Q::kP
               : what == 'H' ? Q::kH
               : what == 'S' ? Q::kS
                             : Q::kVF]
      .value;
}

TEST(PhaseState, EveryPairOfInputsLeadsBackToTheSameState) {
  for (const Feed& feed : Feeds()) {
    const PropertyPackage package(feed.components);
    const PhaseState start =
        feed.pure_boiling
            ? PhaseState(package, PhaseSet::kAll, FlashKind::kPV, feed.bar, 0.3, feed.z)
            : PhaseState(package, PhaseSet::kAll, FlashKind::kTP, feed.celsius, feed.bar, feed.z);
    const std::vector<double> expected = Flatten(start);
    const bool two_phases = start[Q::kVF].value > 0 && start[Q::kVF].value < 1;
    for (const char* pair : {"TP", "PH", "PS", "PV", "TV"}) {
      const bool of_fraction = pair[1] == 'V';
      if ((of_fraction && !two_phases) || (feed.pure_boiling && pair == std::string("TP"))) continue;
      SCOPED_TRACE(std::string(feed.name) + " " + pair);
      const PhaseState back(package, PhaseSet::kAll, FlashKindOf(pair), Of(start, pair[0]),
                            Of(start, pair[1]), feed.z);
      const std::vector<double> found = Flatten(back);
      for (size_t i = 0; i < found.size(); ++i)
        EXPECT_NEAR(found[i], expected[i], 2e-8 * (1 + std::abs(expected[i]))) << "quantity " << i;
    }
    // What is the mixture's is made up of what is the phases'.
    const auto v = [&](Q q) { return start[q].value; };
    EXPECT_NEAR(v(Q::kH), v(Q::kVF) * v(Q::kHV) + v(Q::kLF) * v(Q::kHL), 1e-12) << feed.name;
    EXPECT_NEAR(v(Q::kV), v(Q::kVF) / v(Q::kRHOV) + v(Q::kLF1) / v(Q::kRHOL1) + v(Q::kLF2) / v(Q::kRHOL2),
                1e-12)
        << feed.name;
    EXPECT_NEAR(v(Q::kMW), package.MolarMass(feed.z), 1e-9) << feed.name;
  }
}

TEST(PhaseState, DerivativesEqualDifferences) {
  for (const Feed& feed : Feeds()) {
    const PropertyPackage package(feed.components);
    const PhaseState start =
        feed.pure_boiling
            ? PhaseState(package, PhaseSet::kAll, FlashKind::kPV, feed.bar, 0.3, feed.z)
            : PhaseState(package, PhaseSet::kAll, FlashKind::kTP, feed.celsius, feed.bar, feed.z);
    const bool two_phases = start[Q::kVF].value > 0 && start[Q::kVF].value < 1;
    for (const char* pair : {"TP", "PH", "PS", "PV", "TV"}) {
      if ((pair[1] == 'V' && !two_phases) || (feed.pure_boiling && pair == std::string("TP"))) continue;
      std::vector<double> inputs = {Of(start, pair[0]), Of(start, pair[1])};
      inputs.insert(inputs.end(), feed.z.begin(), feed.z.end());
      const auto at = [&](const std::vector<double>& x) {
        return std::make_unique<PhaseState>(package, PhaseSet::kAll, FlashKindOf(pair), x[0], x[1],
                                            std::span<const double>(x).subspan(2));
      };
      const auto base = at(inputs);
      ASSERT_TRUE(base->regular()) << feed.name << pair;
      for (size_t k = 0; k < inputs.size(); ++k) {
        // The entropy of a mixture rises with infinite slope from a component's zero.
        if (inputs[k] == 0 && pair[1] == 'S') continue;
        // One-sided where the input is 0, as fractions are never negative.
        const double h = 1e-5 * std::max(std::abs(inputs[k]), k == 1 && pair[1] == 'H' ? 0.01 : 1e-2);
        std::vector<double> up = inputs, down = inputs;
        up[k] += h;
        if (inputs[k] != 0) down[k] -= h;
        const std::vector<double> high = Flatten(*at(up)), low = Flatten(*at(down));
        for (size_t i = 0; i < high.size(); ++i) {
          const bool entropy = (i == static_cast<size_t>(Q::kS)) ||
                               (i >= static_cast<size_t>(Q::kSV) && i <= static_cast<size_t>(Q::kSL)) ||
                               (i >= static_cast<size_t>(Q::kSL1) && i <= static_cast<size_t>(Q::kSL2));
          if (entropy && inputs[k] == 0) continue;
          const double difference = (high[i] - low[i]) / (up[k] - down[k]);
          const double slope = Slope(*base, i, k);
          const double scale =
              std::abs(slope) + std::abs(Flatten(*base)[i]) / std::max(std::abs(inputs[k]), 1e-2);
          EXPECT_NEAR(slope, difference, 3e-5 * scale + 1e-9)
              << feed.name << ' ' << pair << " quantity " << i << " by input " << k;
        }
      }
    }
  }
}

// At the bubble point the vapour that is absent just below has the properties of the one that is there just above.
TEST(PhaseState, PhasesAppearWithoutAJump) {
  const PropertyPackage package({"propane", "n-hexane"});
  const std::vector<double> z = {0.3, 0.7};
  const PhaseState bubble(package, PhaseSet::kAll, FlashKind::kTV, 50, 0, z),
      dew(package, PhaseSet::kAll, FlashKind::kTV, 50, 1, z);
  for (const PhaseState* edge : {&bubble, &dew}) {
    const double p = (*edge)[Q::kP].value;
    const PhaseState below(package, PhaseSet::kAll, FlashKind::kTP, 50, p * (1 - 1e-7), z);
    const PhaseState above(package, PhaseSet::kAll, FlashKind::kTP, 50, p * (1 + 1e-7), z);
    EXPECT_NE(below[Q::kVF].value == 0 || below[Q::kVF].value == 1,
              above[Q::kVF].value == 0 || above[Q::kVF].value == 1);
    const std::vector<double> a = Flatten(below), b = Flatten(above);
    for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-5 * (1 + std::abs(a[i]))) << i;
  }
}

TEST(PhaseState, OnePhaseIsReadWhateverTheEquilibrium) {
  const PropertyPackage package({"water"});
  const std::vector<double> z = {1};
  const PhaseState vapour(package, PhaseSet::kVapour, FlashKind::kTP, 120, 1, z);
  const PhaseState subcooled(package, PhaseSet::kVapour, FlashKind::kTP, 95, 1,
                             z);  // a liquid at equilibrium
  EXPECT_EQ(subcooled[Q::kVF].value, 1);
  EXPECT_LT(subcooled[Q::kRHO].value, 0.05);
  const PhaseState back(package, PhaseSet::kVapour, FlashKind::kPH, 1, vapour[Q::kH].value, z);
  EXPECT_NEAR(back[Q::kT].value, 120, 1e-9);
  EXPECT_NEAR(back[Q::kT].slopes[1] * vapour[Q::kH].slopes[0], 1, 1e-10);  // dT/dH and dH/dT
  EXPECT_THROW(PhaseState(package, PhaseSet::kVapour, FlashKind::kPV, 1, 0.5, z), PropertyError);
}

}  // namespace
}  // namespace quiver
