// SPDX-License-Identifier: Apache-2.0
// Volume translation of the Peng-Robinson equation: V = V_PR - sum x_i c_i(T) in every phase, so that the
// saturated liquid meets the density correlation. It leaves phase equilibria as they are, and because c
// enters the Gibbs energy (ln phi_i gains -P c_i / RT) enthalpy, entropy and density stay derivatives of one
// function.
//
//   VolumeShift shift = FitVolumeShift(component, alpha);
//   Jet c = shift.At(300.0);  // m3/kmol and its temperature derivatives
#pragma once

#include <vector>

#include "runtime/properties/alpha_correction.h"
#include "runtime/properties/component_data.h"
#include "runtime/properties/quintic.h"

namespace quiver {

// A curve with continuous second derivative, constant at both ends: uniform pieces over the range fitted, one colder piece
// and two hotter ones that level off. Zero by default.
struct VolumeShift {
  double flat_below = 0, low = 0, high = 0, plateau = 0,
         flat_above = 0;        // K, ascending; fitted from low to high
  std::vector<Quintic> pieces;  // cold side, fitted ones, two of the hot side
  Jet At(double temperature) const;
};

// Meets the liquid density correlation from 0.4 Tc (or the correlation's lower end) to 0.85 Tc. Above, a cubic equation
// bends away from real critical behaviour, and a curve that followed it would fall steeply again afterwards, which costs
// gases more in enthalpy than it gains liquids in density: so it levels off until 0.95 Tc (liquids there are 1 to 4 %
// off) and goes over to a constant at 2 Tc, that of 0.7 Tc where it is negative (light gases, for which it improves
// the second virial coefficient) and else 0.
VolumeShift FitVolumeShift(const Component& component, const AlphaCorrection& alpha);

}  // namespace quiver
