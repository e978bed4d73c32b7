// SPDX-License-Identifier: Apache-2.0
// Volume translation of the Peng-Robinson equation: V = V_PR - sum x_i c_i(T) in every phase, so that the
// saturated liquid meets the density correlation. It leaves phase equilibria as they are, and because c
// enters the Gibbs energy (ln phi_i gains -P c_i / RT) enthalpy, entropy and density stay derivatives of one
// function.
//
//   VolumeShift shift = FitVolumeShift(component);
//   Jet c = shift.At(300.0);  // m3/kmol and its temperature derivatives
#pragma once

#include <vector>

#include "runtime/properties/component_data.h"
#include "runtime/properties/quintic.h"

namespace quiver {

// A curve with continuous second derivative, constant at both ends: uniform pieces from `low` to `high`, one
// piece on either side that levels off. Zero by default.
struct VolumeShift {
  double low = 0, high = 0;               // K, the range that was fitted
  double flat_below = 0, flat_above = 0;  // K
  std::vector<Quintic> pieces;            // first and last: the sides
  Jet At(double temperature) const;
};

// Meets the liquid density correlation from 0.4 Tc (or the correlation's lower end) to 0.9 Tc. Above, where a
// cubic equation bends away from real critical behaviour, the curve returns until 1.4 Tc to its value at 0.7
// Tc, the usual constant translation, so that gases are not shifted by what belongs to the critical region.
VolumeShift FitVolumeShift(const Component& component);

}  // namespace quiver
