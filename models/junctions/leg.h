// SPDX-License-Identifier: Apache-2.0
// What both tees are made of beside their balances: phase properties of the mixture and of the leg's stream, and the loss of
// velocity heads in the leg. Molar densities in kmol/m3, VEL in m/s, pressures in bar.
#pragma once

#include "host/modeller/phase_models.h"
#include "models/junctions/weights.h"
#include "procedures/calls.h"

namespace quiver::junctions {

enum class Phases { kVapor, kLiquid, kVaporLiquid, kVaporLiquidLiquid };

template <class Model>
Phases PhasesOf(Model& m) {
  if (is(m.VALIDPHASES, "Vapor-Only")) return Phases::kVapor;
  if (is(m.VALIDPHASES, "Liquid-Only")) return Phases::kLiquid;
  if (is(m.VALIDPHASES, "Vapor-Liquid")) return Phases::kVaporLiquid;
  return Phases::kVaporLiquidLiquid;  // free water is a second liquid
}

// Sets the sub-models to what VALIDPHASES selects; T follows from pressure and enthalpy.
template <class Model>
void SelectPhaseModels(Model& m, Assigner& set) {
  const Phases phases = PhasesOf(m);
  set.range(m.VAPORONLY, phases == Phases::kVapor);
  set.range(m.LIQUIDONLY, phases == Phases::kLiquid);
  set.range(m.TWOPHASES, phases == Phases::kVaporLiquid);
  set.range(m.THREEPHASES, phases == Phases::kVaporLiquidLiquid);
  const auto from_enthalpy = [&](auto& sub_models) {
    if (sub_models.Count()) set(sub_models(1).FLASHTYPE, "PH");
  };
  from_enthalpy(m.PVAP), from_enthalpy(m.PVAPLEG);
  from_enthalpy(m.PLIQ), from_enthalpy(m.PLIQLEG);
  from_enthalpy(m.PFLASH2), from_enthalpy(m.PFLASH2LEG);
  from_enthalpy(m.PFLASH3), from_enthalpy(m.PFLASH3LEG);
}

// What a sub-model is asked for: pressure, enthalpy and composition of a stream.
template <class Model, class Flash, class Fractions>
void GiveState(Model& m, Equate& eq, const char* label, Flash& flash, QV_PRESSURE& p, QV_ENTH_MOL& h, Fractions& z) {
  eq(label, flash.P == p);
  eq(label, flash.H == h);
  eq.each(m.ComponentList, [&](const char* c) { eq(label, flash.Z(c) == z(c)); });
}

// Phase properties of the mixture that leaves the junction, and its density and molar weight from them.
template <class Model>
void MixtureProperties(Model& m, Equate& eq) {
  const auto ask = [&](auto& flash, const char* label) {
    GiveState(m, eq, label, flash, m.P, m.H, m.Z);
    eq(label, m.T == flash.T);
  };
  const auto vapor = [&](auto& flash, const char* label) {
    eq(label, m.HV == flash.HV);
    eq(label, m.MWV == flash.MWV);
    eq(label, m.RHOV == flash.RHOV);
    eq.each(m.ComponentList, [&](const char* c) { eq(label, m.Y(c) == flash.Y(c)); });
  };
  const auto liquid = [&](auto& flash, const char* label) {
    eq(label, m.HL == flash.HL);
    eq(label, m.MWL == flash.MWL);
    eq(label, m.RHOL == flash.RHOL);
    eq.each(m.ComponentList, [&](const char* c) { eq(label, m.X(c) == flash.X(c)); });
  };
  switch (PhasesOf(m)) {
    case Phases::kVapor:
      ask(m.PVAP(1), "PVAP");
      vapor(m.PVAP(1), "PVAP");
      eq("RhoVeq", m.RHO == m.RHOV);
      eq("MwVeq", m.MW == m.MWV);
      break;
    case Phases::kLiquid:
      ask(m.PLIQ(1), "PLIQ");
      liquid(m.PLIQ(1), "PLIQ");
      eq("RhoLeq", m.RHO == m.RHOL);
      eq("MwLeq", m.MW == m.MWL);
      eq("RhomLeq", m.RHOML == m.RHOL * m.MWL);
      break;
    case Phases::kVaporLiquid: {
      auto& flash = m.PFLASH2(1);
      ask(flash, "PFLASH2");
      eq("PFLASH2", m.VF == flash.VF);
      eq("PFLASH2", m.LF == flash.LF);
      vapor(flash, "PFLASH2");
      liquid(flash, "PFLASH2");
      eq("RhoVLeq", 1.0 == m.RHO * (m.LF / m.RHOL + m.VF / m.RHOV));
      eq("MwVLeq", m.MW == m.LF * m.MWL + m.VF * m.MWV);
      eq("RhomlVLeq", m.RHOML == m.RHOL * m.MWL);
      break;
    }
    case Phases::kVaporLiquidLiquid: {
      auto& flash = m.PFLASH3(1);
      const char* label = "PFLASH3";
      ask(flash, label);
      eq(label, m.VF == flash.VF);
      eq(label, m.LF1 == flash.LF1);
      eq(label, m.LF2 == flash.LF2);
      vapor(flash, label);
      eq(label, m.HL1 == flash.HL1);
      eq(label, m.HL2 == flash.HL2);
      eq(label, m.MWL1 == flash.MWL1);
      eq(label, m.MWL2 == flash.MWL2);
      eq(label, m.RHOL1 == flash.RHOL1);
      eq(label, m.RHOL2 == flash.RHOL2);
      eq.each(m.ComponentList, [&](const char* c) { eq(label, m.X1(c) == flash.X1(c)); });
      eq.each(m.ComponentList, [&](const char* c) { eq(label, m.X2(c) == flash.X2(c)); });
      eq("RhoVLLeq", 1.0 == m.RHO * (m.LF1 / m.RHOL1 + m.LF2 / m.RHOL2 + m.VF / m.RHOV));
      eq("MwVLLeq", m.MW == m.LF1 * m.MWL1 + m.LF2 * m.MWL2 + m.VF * m.MWV);
      eq("Rhoml1VLLeq", m.RHOML1 == m.RHOL1 * m.MWL1);
      eq("Rhoml2VLLeq", m.RHOML2 == m.RHOL2 * m.MWL2);
      break;
    }
  }
}

// The same of the stream in the leg, at the pressure of the leg's port. `mw_two_phases`: each tee has its own label.
template <class Model>
void LegProperties(Model& m, Equate& eq, QV_MATERIALPORTRPREV& leg, const char* mw_two_phases) {
  switch (PhasesOf(m)) {
    case Phases::kVapor: {
      auto& flash = m.PVAPLEG(1);
      GiveState(m, eq, "PVAPLEG", flash, leg.P, m.HLEG, m.ZLEG);
      eq("PVAPLEG", m.MWV_LEG == flash.MWV);
      eq("PVAPLEG", m.RHOV_LEG == flash.RHOV);
      eq("MwlegV", m.MW_LEG == m.MWV_LEG);
      eq("RholegV", m.RHO_LEG == m.RHOV_LEG);
      break;
    }
    case Phases::kLiquid: {
      auto& flash = m.PLIQLEG(1);
      GiveState(m, eq, "PLIQLEG", flash, leg.P, m.HLEG, m.ZLEG);
      eq("PLIQLEG", m.MWL_LEG == flash.MWL);
      eq("PLIQLEG", m.RHOL_LEG == flash.RHOL);
      eq("MwlegL", m.MW_LEG == m.MWL_LEG);
      eq("RholegL", m.RHO_LEG == m.RHOL_LEG);
      eq("RhomlegL", m.RHOML_LEG == m.RHOL_LEG * m.MWL_LEG);
      break;
    }
    case Phases::kVaporLiquid: {
      auto& flash = m.PFLASH2LEG(1);
      const char* label = "PFLASH2LEG";
      GiveState(m, eq, label, flash, leg.P, m.HLEG, m.ZLEG);
      eq(label, m.VF_LEG == flash.VF);
      eq(label, m.LF_LEG == flash.LF);
      eq(label, m.MWV_LEG == flash.MWV);
      eq(label, m.MWL_LEG == flash.MWL);
      eq(label, m.RHOV_LEG == flash.RHOV);
      eq(label, m.RHOL_LEG == flash.RHOL);
      eq("RholegVL", 1.0 == m.RHO_LEG * (m.LF_LEG / m.RHOL_LEG + m.VF_LEG / m.RHOV_LEG));
      // LF of the mixture is meant, not LF_LEG.
      eq(mw_two_phases, m.MW_LEG == m.LF * m.MWL_LEG + m.VF_LEG * m.MWV_LEG);
      eq("RhomllegVL", m.RHOML_LEG == m.RHOL_LEG * m.MWL_LEG);
      break;
    }
    case Phases::kVaporLiquidLiquid: {
      auto& flash = m.PFLASH3LEG(1);
      const char* label = "PFLASH3LEG";
      GiveState(m, eq, label, flash, leg.P, m.HLEG, m.ZLEG);
      eq(label, m.VF_LEG == flash.VF);
      eq(label, m.LF1_LEG == flash.LF1);
      eq(label, m.LF2_LEG == flash.LF2);
      eq(label, m.MWV_LEG == flash.MWV);
      eq(label, m.MWL1_LEG == flash.MWL1);
      eq(label, m.MWL2_LEG == flash.MWL2);
      eq(label, m.RHOV_LEG == flash.RHOV);
      eq(label, m.RHOL1_LEG == flash.RHOL1);
      eq(label, m.RHOL2_LEG == flash.RHOL2);
      eq("RholegVLL",
         1.0 == m.RHO_LEG * (m.LF1_LEG / m.RHOL1_LEG + m.LF2_LEG / m.RHOL2_LEG + m.VF_LEG / m.RHOV_LEG));
      eq("MwlegVLL", m.MW_LEG == m.LF1_LEG * m.MWL1_LEG + m.LF2_LEG * m.MWL2_LEG + m.VF_LEG * m.MWV_LEG);
      eq("Rhoml1legVLL", m.RHOML1_LEG == m.RHOL1_LEG * m.MWL1_LEG);
      eq("Rhoml2legVLL", m.RHOML2_LEG == m.RHOL2_LEG * m.MWL2_LEG);
      break;
    }
  }
}

// Velocity heads lost in the leg, where pressures drive the flow. VEL * (|VEL| + EPS) has the sign of the flow, and a slope
// at rest. What relates P_DROPC to P_DROP is the tee's own.
template <class Model>
void LegLoss(Model& m, Equate& eq, QV_MATERIALPORTRPREV& leg) {
  eq("Area", m.A == 0.25 * m.PI * sqr(m.DIAM));
  eq("Vel_eq", leg.F == m.VEL * m.A * m.RHO_LEG * m.UCF1);
  eq("Pdrop_corr", 2 * m.P_DROPC == m.RHO_LEG * m.MW_LEG * m.KH * m.VEL * (abs(m.VEL) + m.EPS) * m.UCF8);
}

// Loss coefficient, composition and enthalpy of what is in the leg: they follow the direction of its flow. `forward_z` and
// so on are what the leg holds when its flow is forward, `reverse_z` when it has turned round.
template <class Model, class Fractions>
void LegContents(Model& m, Equate& eq, const char* condition, QV_MATERIALPORTRPREV& leg, Fractions& forward_z,
                 QV_ENTH_MOL& forward_h, Fractions& reverse_z, QV_ENTH_MOL& reverse_h) {
  const auto forward = [&](const char* label) {
    eq(label, m.KH == m.KHEAD);
    eq.each(m.ComponentList, [&](const char* c) { eq("zlegforw", m.ZLEG(c) == forward_z(c)); });
    eq("hlegforw", m.HLEG == forward_h);
  };
  if (!IsReversible(m)) return forward("khflow");
  eq.given(condition, leg.F >= 0, [&] { forward("Khforw"); }).otherwise([&] {
    eq("Khrev", m.KH == m.KHEADREV);
    eq.each(m.ComponentList, [&](const char* c) { eq("zlegrev", m.ZLEG(c) == reverse_z(c)); });
    eq("hlegrev", m.HLEG == reverse_h);
  });
}


template <class Model>
void TeeDefaults(Model& m, Assigner& set) {
  set(m.DEL_PL, 0.0001);
  set(m.DEL_PU, 5.0);
  set(m.DEL_VL, -0.005);
  set(m.DEL_VU, -0.005);
  set(m.DELTA_T, 5.0);
  set(m.DPMAX, 5000.0);
  set(m.DPMIN, 0.0);
  set(m.EPS, 1e-5);
  set(m.F_MAX, 1e6);
  set(m.GLOBALPDRIVEN, false);
  set(m.GLOBALRFLOW, false);
  set(m.ONE, 1.0);
  set(m.P_MAX, 500.0);
  set(m.P_MIN, 1e-5);
  set(m.PI, 3.141593);  // seven digits are meant
  set(m.T_MAX, 9726.85);
  set(m.T_MIN, -253.15);
  set(m.UCF1, 3600.0);
  set(m.UCF18, 1e6);
  set(m.UCF8, 1e-5);
  set(m.UEC1, 9.80665);
  set(m.ZERO, 0.0);
  set(m.NS, 3);
  set(m.PDRIVEN, m.GLOBALPDRIVEN);
  set.upper(m.T, m.T_MAX);
  set.lower(m.T, m.T_MIN);
  set(m.DIAM, 0.1);
  set(m.KHEAD, 1.0);
  set(m.KHEADREV, 1.0);
  set.spec(m.DIAM, QV_SPEC_GIVEN);
  set.spec(m.KHEAD, QV_SPEC_GIVEN);
  set.spec(m.KHEADREV, QV_SPEC_GIVEN);
  set.spec(m.VLSTDC, QV_SPEC_GIVEN);
  set(m.POLYMER_IN_FEED, "No");
  set(m.CATALYST_IN_FEED, "No");
  set.range(m.SITES, m.NSITES.IntegerValue());
  if ((*m.DISTRIBUTION).LogicalValue()) set.range(m.RSET, (*m.NPTSMWD).IntegerValue());
  SelectPhaseModels(m, set);
}

}  // namespace quiver::junctions
