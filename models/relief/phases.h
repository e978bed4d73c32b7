// SPDX-License-Identifier: Apache-2.0
// What relief methods share of the inlet's phases: liquid heat capacity, specific volumes, saturation pressure. Each block
// is written once over the properties that the methods name alike; `VALIDPHASES` chooses its form at set-up.
#pragma once

#include "frame/model.h"
#include "procedures/calls.h"

namespace quiver::relief {

// Molar heat capacity of one liquid phase, with the segment moments where polymers are present.
template <class Model, class Composition>
void LiquidPhaseHeatCapacity(Model& m, Equate& eq, const char* label, QV_VarParam& capacity, Composition& x) {
  auto& cp = static_cast<QV_CP_MOL&>(capacity);
  eq.when(is(m.POLYMERPROP, "No"), [&] { eq(label, cp == PCP_MOL_LIQ(m.T, m.P, x)); })
      .orWhen(is(m.POLYMERPROP, "Yes"), [&] { eq(label, cp == PCP_MOL_LIQP(m.T, m.P, x, m.ZMOMC, m.SFLOWC, m.SMOMC)); });
}

// Molar heat capacity of the inlet liquid. True when VALIDPHASES is one of the two-phase or three-phase choices.
template <class Model>
bool LiquidHeatCapacity(Model& m, Equate& eq) {
  if (is(m.VALIDPHASES, "Vapor-Liquid-Liquid")) {
    LiquidPhaseHeatCapacity(m, eq, "InletLiqMolarHeatCap1", m.CP_L0_MOL1, m.X1);
    LiquidPhaseHeatCapacity(m, eq, "InletLiqMolarHeatCap2", m.CP_L0_MOL2, m.X2);
    eq("InletLiqMolarHeatCap2p", m.CP_L0_MOL == m.BETA * m.CP_L0_MOL1 + (1 - m.BETA) * m.CP_L0_MOL2);
    return true;
  }
  if (is(m.VALIDPHASES, "Vapor-Liquid")) {
    LiquidPhaseHeatCapacity(m, eq, "InletLiqMolarHeatCap", m.CP_L0_MOL, m.X);
    return true;
  }
  return false;
}

// Mass-specific volumes from molar densities.
template <class Model>
void SpecificVolumes(Model& m, Equate& eq) {
  eq("SpecificVolume_liq", -1.0 + m.V_L0 * m.RHOL * m.MWL == 0);
  eq("SpecificVolume_vap", -1.0 + m.V_V0 * m.RHOV * m.MWV == 0);
}

// Vapour pressure at the inlet: factors of the phases present turn the inlet pressure into it.
template <class Model, class Pressure>
void SaturationPressure(Model& m, Equate& eq, Pressure& saturation, const char* vapor_liquid, const char* vapor_liquid_liquid) {
  eq.when(is(m.VALIDPHASES, "Vapor-Liquid"), [&] {
      eq(vapor_liquid, saturation * (1 - m.LFACTOR) == m.P * (1 - m.VFACTOR));
    }).orWhen(is(m.VALIDPHASES, "Vapor-Liquid-Liquid"), [&] {
      eq(vapor_liquid_liquid, saturation * (1 - m.L1FACTOR) * (1 - m.L2FACTOR) == m.P * (1 - m.VFACTOR));
    });
}

}  // namespace quiver::relief
