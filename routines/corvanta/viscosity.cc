// SPDX-License-Identifier: Apache-2.0
// The capacity correction of a relief valve for viscous liquids. The procedure PVISCCORR calls it.
#include <algorithm>
#include <cmath>

#include "routines/routine_arguments.h"

// Input:  1 Reynolds number of the discharge orifice.  Output:  1 the correction factor Kv, 0 to 1.
//
// Kv = 1 / (0.9935 + 2.878 Re^-1/2 + 342.75 Re^-3/2), API Standard 520 Part I, sizing for liquid relief. The
// formula passes 1 near Re = 196,000; above, Kv is 1, for viscosity never adds capacity. It is read from a
// chart that ends at Reynolds numbers of some tens; below, the formula is continued and falls to 0 at Re = 0,
// which is no measured value. Fails with kOutOfRange for a negative Reynolds number.
ROUTINE(ZX40RM_spvisccorr, "r -> r") {
  using namespace quiver::routines;
  const double reynolds = call.Real(0);
  if (reynolds < 0) return call.Fail(Failure::kOutOfRange, 0);
  // Multiplied through by Re^3/2, so that nothing divides by zero at rest.
  const double root = std::sqrt(reynolds);
  const double cube = root * reynolds;
  call.SetOutput(0, std::min(1.0, cube / (0.9935 * cube + 2.878 * reynolds + 342.75)));
}
