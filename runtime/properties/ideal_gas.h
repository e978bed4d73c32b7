// SPDX-License-Identifier: Apache-2.0
// Ideal-gas heat capacity, enthalpy and entropy of a pure component, fast and consistent.
//
//   IdealGas gas(component);
//   IdealGasValue v = gas.At(IdealGas::Place(350.0));
//
// Reference: the elements at 298.15 K, so that enthalpy(298.15 K) is the enthalpy of formation and heats of
// reaction come out of differences; entropy is absolute, at 1 bar. The integrals of the heat-capacity
// correlation are taken once by Gauss-Legendre quadrature; between knots (2.5 % apart in temperature) quintic
// polynomials match value, slope and curvature, and the heat capacity given is the derivative of the enthalpy
// given.
#pragma once

#include <vector>

#include "runtime/properties/component_data.h"
#include "runtime/properties/quintic.h"

namespace quiver {

inline constexpr double kReferenceTemperature = 298.15;  // K
inline constexpr double kReferencePressure = 1e5;        // Pa
inline constexpr double kLowestTemperature = 2;          // K; the range in which properties can be asked for
inline constexpr double kHighestTemperature = 3000;

struct IdealGasValue {
  double cp = 0;        // J/kmol/K
  double enthalpy = 0;  // J/kmol
  double entropy = 0;   // J/kmol/K at 1 bar
};

class IdealGas {
 public:
  // The interval of a temperature, the same for all components.
  struct Interval {
    std::size_t index;
    double offset;  // K above the lower knot
  };
  static Interval Place(double temperature);

  explicit IdealGas(const Component& component);
  IdealGasValue At(const Interval& at) const;

 private:
  struct Piece {
    Quintic enthalpy, entropy;
  };
  std::vector<Piece> pieces_;
};

}  // namespace quiver
