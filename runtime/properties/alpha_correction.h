// SPDX-License-Identifier: Apache-2.0
// A correction of the equation's alpha function below the critical temperature, so that a pure component boils where its
// vapour-pressure correlation says: sqrt(alpha) = 1 + m u + w(u) u (c0 + c1 u + c2 u^2 + c3 u^3), u = 1 - sqrt(Tr) > 0,
// with w = u^2/(u^2 + e^2). Near the critical temperature that is of third order in u, so that value, slope and curvature
// there stay as they are, and so does all of the supercritical range; e = 0.03 ends this influence at 0.9 Tc.
//
//   AlphaCorrection correction = FitAlphaCorrection(component);
//   Jet extra = correction.At(0.1);  // to be added to 1 + m u; derivatives with respect to u
#pragma once

#include <array>

#include "runtime/properties/component_data.h"
#include "runtime/properties/quintic.h"

namespace quiver {

// Zero by default: the alpha function of 1976 and 1978.
struct AlphaCorrection {
  std::array<double, 4> c{};
  double u_max = 0;  // end of the fit (cold); from there on the curve goes on with constant curvature
  Jet At(double u) const;
};

// m of sqrt(alpha) = 1 + m u; the form of 1978 above an acentric factor of 0.491.
double AlphaSlope(double omega);

// Fitted from 0.35 Tc (or 15 % below the correlation's range) to 0.96 Tc; to 0.8 Tc where the correlation misses the
// critical pressure by more than 10 %.
AlphaCorrection FitAlphaCorrection(const Component& component);

}  // namespace quiver
