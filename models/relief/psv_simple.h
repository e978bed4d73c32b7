// SPDX-License-Identifier: Apache-2.0
// Mass flux of an incompressible fluid through a relief device. Pressures in bar, FLUX in kg/m2/s, RHO in kmol/m3.
// AREA_RATIO is the square of the diameter ratio, throat to inlet.
#pragma once

#include "frame/model.h"
#include "procedures/calls.h"

struct QV_EXPORT QV_PSV_SIMPLE : QV_GENERICMODEL {
  MODEL_TEXT(PSV_SIMPLE)

  GLOBAL(DPMAX, "Pressure drop upper limit (bar)")
  GLOBAL(DPMIN)
  GLOBAL(EPS)
  GLOBAL(UCF8)  // N/m2 to bar

  VARIABLE(QV_PRESS_DIFF, P_DROP)
  VARIABLE(QV_PRESS_DROP, PDROPC, "Limited pressure drop")
  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_MOLWEIGHT, MW)
  VARIABLE(QV_DENS_MOL, RHO)
  VARIABLE(QV_CONSTANT, AREA_RATIO)

  void Assignments(Assigner& set) {
    set(DPMAX, 5000.0);
    set(DPMIN, 0.0);
    set(EPS, 1e-5);
    set(UCF8, 1e-5);
  }

  void Equations(Equate& eq) {
    eq("DP_Limited", PDROPC == PLIMIT(P_DROP, DPMIN, DPMAX));

    // Orifice equation G^2 (1 - beta^4) = 2 rho dp, kept smooth and signed by FLUX * (FLUX + EPS). It has a root of either
    // sign: the flow is the one reached from FLUX >= 0.
    eq("MassFlux", FLUX * (1 - AREA_RATIO * AREA_RATIO) / (2.0 * MW) == PDROPC / UCF8 * RHO / (FLUX + EPS));
  }
};
