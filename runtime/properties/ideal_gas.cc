// SPDX-License-Identifier: Apache-2.0
// Integrates the heat-capacity correlation and stores it as quintic pieces on a grid uniform in ln T.
#include "runtime/properties/ideal_gas.h"

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

constexpr double kLogStep = 0.025;
const double kLogLow = std::log(kLowestTemperature);
const std::size_t kPieces =
    static_cast<std::size_t>(std::ceil(std::log(kHighestTemperature / kLowestTemperature) / kLogStep));

const std::vector<double>& Knots() {
  static const std::vector<double> knots = [] {
    std::vector<double> t(kPieces + 1);
    for (std::size_t i = 0; i <= kPieces; ++i) t[i] = std::exp(kLogLow + kLogStep * static_cast<double>(i));
    return t;
  }();
  return knots;
}

struct Integrals {
  double cp = 0;         // of cp dT
  double cp_over_t = 0;  // of cp/T dT
};

// Eight-point Gauss-Legendre over [from, to].
Integrals Integrate(const Correlation& cp, double from, double to) {
  constexpr double kNodes[] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267,
                               0.9602898564975363};
  constexpr double kWeights[] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745,
                                 0.1012285362903763};
  const double middle = 0.5 * (from + to), half = 0.5 * (to - from);
  Integrals sum;
  for (int i = 0; i < 4; ++i)
    for (double side : {-1.0, 1.0}) {
      const double t = middle + side * half * kNodes[i];
      const double value = kWeights[i] * half * Evaluate(cp, t).value;
      sum.cp += value;
      sum.cp_over_t += value / t;
    }
  return sum;
}

}  // namespace

IdealGas::Interval IdealGas::Place(double temperature) {
  const double position = (std::log(temperature) - kLogLow) / kLogStep;
  const std::size_t index =
      static_cast<std::size_t>(std::clamp(position, 0.0, static_cast<double>(kPieces - 1)));
  return {index, temperature - Knots()[index]};
}

IdealGas::IdealGas(const Component& component) {
  const Correlation& cp = component.correlation(Property::kIdealGasCp);
  const std::vector<double>& knots = Knots();
  std::vector<double> enthalpy(knots.size()), entropy(knots.size());
  const std::size_t reference = Place(kReferenceTemperature).index;
  const Integrals offset = Integrate(cp, kReferenceTemperature, knots[reference]);
  enthalpy[reference] = component.formation_enthalpy + offset.cp;
  entropy[reference] = component.absolute_entropy + offset.cp_over_t;
  for (std::size_t i = reference; i + 1 < knots.size(); ++i) {
    const Integrals step = Integrate(cp, knots[i], knots[i + 1]);
    enthalpy[i + 1] = enthalpy[i] + step.cp;
    entropy[i + 1] = entropy[i] + step.cp_over_t;
  }
  for (std::size_t i = reference; i > 0; --i) {
    const Integrals step = Integrate(cp, knots[i - 1], knots[i]);
    enthalpy[i - 1] = enthalpy[i] - step.cp;
    entropy[i - 1] = entropy[i] - step.cp_over_t;
  }
  pieces_.reserve(kPieces);
  CorrelationValue left = Evaluate(cp, knots[0]);
  for (std::size_t i = 0; i < kPieces; ++i) {
    const CorrelationValue right = Evaluate(cp, knots[i + 1]);
    const double t0 = knots[i], t1 = knots[i + 1], h = t1 - t0;
    pieces_.push_back(
        {MakeQuintic(h, {enthalpy[i], left.value, left.dT}, {enthalpy[i + 1], right.value, right.dT}),
         MakeQuintic(h, {entropy[i], left.value / t0, (left.dT - left.value / t0) / t0},
                     {entropy[i + 1], right.value / t1, (right.dT - right.value / t1) / t1})});
    left = right;
  }
}

IdealGasValue IdealGas::At(const Interval& at) const {
  const Piece& piece = pieces_[at.index];
  return {piece.enthalpy.Slope(at.offset), piece.enthalpy.Value(at.offset), piece.entropy.Value(at.offset)};
}

}  // namespace quiver
