// SPDX-License-Identifier: Apache-2.0
// What each relief flow method gets from its owner: equations that tie the method's inlet, saturation and reference states to
// phase sub-models. One Connect per method.
//
//   MethodInputs from{ComponentList, "Vapor-Liquid", PFLASH2(1), P_OUT, VFACTOR, LFACTOR};
//   from.reference = &PFLASH2(4);
//   Connect(eq, FHEMD(1), from);
#pragma once

#include "host/modeller/phase_models.h"
#include "models/relief/psv_diener.h"
#include "models/relief/psv_hemd.h"
#include "models/relief/psv_hems.h"
#include "models/relief/psv_hff.h"
#include "models/relief/psv_simple.h"
#include "models/relief/psv_subcooled.h"
#include "models/relief/psv_sw.h"
#include "models/relief/psv_vap.h"

namespace quiver::relief {

struct MethodInputs {
  QV_COMPONENTLISTNAME& components;
  const char* phases;              // VALIDPHASES of the method
  QV_PHASEPROPERTIES& source;      // at rest in front of the nozzle
  QV_PRESSURE& back_pressure;
  QV_FRACTION &vfactor, &lfactor;  // 1 - p_sat/p of a subcooled liquid, 1 - p/p_sat of a superheated vapor, else 0
  QV_CONSTANT* area_ratio = nullptr;                // throat to inlet; null: the source is at rest
  QV_PHASEPROPERTIES* saturated = nullptr;          // at the temperature and vapor fraction of the source
  QV_PHASEPROPERTIES* reference = nullptr;          // at the method's reference pressures
  QV_PHASEPROPERTIES* second_reference = nullptr;

  bool Are(const char* choice) const { return SUValue::CompareCI(phases, choice) == 0; }
  bool two_liquids() const { return Are("Vapor-Liquid-Liquid"); }
  bool vapor_only() const { return Are("Vapor-Only"); }
};

template <class Array, class Source>
void Composition(Equate& eq, const MethodInputs& from, const char* label, Array& target, Source& fractions) {
  eq.each(from.components, [&](const char* c) { eq(label, target(c) == fractions(c)); });
}

// Temperature, pressure and exit pressure ratio.
template <class Method, class Ratio>
void InletState(Equate& eq, Method& method, Ratio& exit_ratio, const MethodInputs& from) {
  eq("MethodT", method.T == from.source.T);
  eq("MethodP", method.P == from.source.P);
  eq("MethodExitRatio", exit_ratio * from.source.P == from.back_pressure);
}

template <class Method>
void ApproachArea(Equate& eq, Method& method, const MethodInputs& from) {
  if (from.area_ratio)
    eq("MethodAREA_RATIO", method.AREA_RATIO == *from.area_ratio);
  else
    eq("MethodAREA_RATIO", method.AREA_RATIO == 0);
}

// The phases of a state, as the method's VALIDPHASES has it read them; S ends the method's names.
#define QV_GIVE_PHASES(METHOD, S, STATE)                                                                              \
  quiver::relief::Phases(eq, from, STATE, METHOD.VF##S, METHOD.LF##S, METHOD.LF1##S, METHOD.LF2##S, METHOD.BETA##S,   \
                         METHOD.RHOV##S, METHOD.RHOL##S, METHOD.RHOL1##S, METHOD.RHOL2##S, METHOD.MWV##S, METHOD.MWL##S, \
                         METHOD.MWL1##S, METHOD.MWL2##S)
template <class Fraction, class Density, class Liquid, class Weight>
void Phases(Equate& eq, const MethodInputs& from, QV_PHASEPROPERTIES& state, Fraction& vf, Fraction& lf, Fraction& lf1,
            Fraction& lf2, Fraction& beta, Density& rho_vapor, Liquid& rho_liquid, Liquid& rho_liquid1, Liquid& rho_liquid2,
            Weight& mw_vapor, Weight& mw_liquid, Weight& mw_liquid1, Weight& mw_liquid2) {
  eq("MethodRHOV", rho_vapor == state.RHOV);
  eq("MethodMWV", mw_vapor == state.MWV);
  if (from.vapor_only()) return;
  eq("MethodVF", vf == state.VF);
  if (!from.two_liquids()) {
    eq("MethodLF", lf == state.LF);
    eq("MethodRHOL", rho_liquid == state.RHOL);
    eq("MethodMWL", mw_liquid == state.MWL);
    return;
  }
  auto& liquids = static_cast<QV_PFLASH3&>(state);
  eq("MethodLF1", lf1 == liquids.LF1);
  eq("MethodLF2", lf2 == liquids.LF2);
  eq("MethodBETA", beta == liquids.BETA);
  eq("MethodRHOL1", rho_liquid1 == liquids.RHOL1);
  eq("MethodRHOL2", rho_liquid2 == liquids.RHOL2);
  eq("MethodMWL1", mw_liquid1 == liquids.MWL1);
  eq("MethodMWL2", mw_liquid2 == liquids.MWL2);
}

// Compositions of the liquid, for the methods that ask for its heat capacity.
template <class Method>
void LiquidComposition(Equate& eq, Method& method, const MethodInputs& from) {
  if (from.two_liquids()) {
    auto& liquids = static_cast<QV_PFLASH3&>(from.source);
    Composition(eq, from, "MethodX1", method.X1, liquids.X1);
    Composition(eq, from, "MethodX2", method.X2, liquids.X2);
  } else {
    Composition(eq, from, "MethodX", method.X, from.source.X);
  }
}

template <class Method>
void SaturationFactors(Equate& eq, Method& method, const MethodInputs& from) {
  if (from.vapor_only()) return;  // the method takes the inlet pressure
  eq("MethodVFACTOR", method.VFACTOR == from.vfactor);
  if (from.two_liquids()) {
    eq("MethodL1FACTOR", method.L1FACTOR == from.lfactor);
    eq("MethodL2FACTOR", method.L2FACTOR == 0);
  } else {
    eq("MethodLFACTOR", method.LFACTOR == from.lfactor);
  }
}

// Phases that are compared with each other are those at saturation: far from it one of the two does not exist.
template <class Method>
void SaturatedPhases(Equate& eq, Method& method, const MethodInputs& from) {
  QV_PHASEPROPERTIES& saturated = *from.saturated;
  eq("MethodHL", method.HL == saturated.HL);
  eq("MethodHV", method.HV == saturated.HV);
  eq("MethodMWL", method.MWL == saturated.MWL);
  eq("MethodMWV", method.MWV == saturated.MWV);
  // A phase that is there has its own density, one that is absent that at saturation.
  eq("MethodRHOV", method.RHOV == from.source.VF * from.source.RHOV + from.source.LF * saturated.RHOV);
  eq("MethodRHOL", method.RHOL == from.source.LF * from.source.RHOL + from.source.VF * saturated.RHOL);
  if (from.two_liquids()) eq("MethodBETA", method.BETA == static_cast<QV_PFLASH3&>(from.source).BETA);
}

// The member's reference pressure goes to the flash, which is given enthalpy or entropy of the source.
inline void Expand(Equate& eq, QV_PHASEPROPERTIES& state, QV_PRESSURE& pressure, const MethodInputs& from) {
  eq("ReferencePressure", state.P == pressure);
  if (is(state.FLASHTYPE, "PS"))
    eq("ReferenceEntropy", state.S == from.source.S);
  else
    eq("ReferenceEnthalpy", state.H == from.source.H);
}

inline void Connect(Equate& eq, QV_PSV_SIMPLE& method, const MethodInputs& from) {
  eq("MethodP_DROP", method.P_DROP == from.source.P - from.back_pressure);
  eq("MethodMW", method.MW == from.source.MW);
  eq("MethodRHO", method.RHO == from.source.RHO);
  ApproachArea(eq, method, from);
}

inline void Connect(Equate& eq, QV_PSV_VAP& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA_A, from);
  eq("MethodMW", method.MW == from.source.MW);
  eq("MethodRHO", method.RHO == from.source.RHO);
  Composition(eq, from, "MethodY", method.Y, from.source.Y);
  ApproachArea(eq, method, from);
}

inline void Connect(Equate& eq, QV_PSV_SW& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA_A, from);
  eq("MethodE0", method.E0 * (from.source.VF * method.RHOL + from.source.LF * method.RHOV) == from.source.VF * method.RHOL);
  Composition(eq, from, "MethodY", method.Y, from.source.Y);
  if (!from.vapor_only()) LiquidComposition(eq, method, from);
  SaturationFactors(eq, method, from);
  SaturatedPhases(eq, method, from);
}

inline void Connect(Equate& eq, QV_PSV_SUBCOOLED& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA, from);
  eq("MethodP_OUT", method.P_OUT == from.back_pressure);
  LiquidComposition(eq, method, from);
  SaturationFactors(eq, method, from);
  SaturatedPhases(eq, method, from);
}

inline void Connect(Equate& eq, QV_PSV_HEMD& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA_A, from);
  eq("MethodSV0", method.SV0 == from.source.SV);
  eq("MethodLF", method.LF == from.source.LF);
  eq("MethodVF", method.VF == from.source.VF);
  eq("MethodRHOV", method.RHOV == from.source.RHOV);
  eq("MethodRHOL", method.RHOL == from.source.RHOL);
  eq("MethodMWV", method.MWV == from.source.MWV);
  eq("MethodMWL", method.MWL == from.source.MWL);
  QV_PHASEPROPERTIES& reference = *from.reference;
  Expand(eq, reference, method.PA, from);
  eq("ReferenceT", method.TA == reference.T);
  eq("ReferenceVF", method.VFA == reference.VF);
  eq("ReferenceLF", method.LFA == reference.LF);
  eq("ReferenceRHOV", method.RHOVA == reference.RHOV);
  eq("ReferenceRHOL", method.RHOLA == reference.RHOL);
  eq("ReferenceMWV", method.MWVA == reference.MWV);
  eq("ReferenceMWL", method.MWLA == reference.MWL);
}

inline void Connect(Equate& eq, QV_PSV_HFF& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA_A, from);
  Composition(eq, from, "MethodY", method.Y, from.source.Y);
  QV_GIVE_PHASES(method, , from.source);
  if (from.vapor_only()) return;
  LiquidComposition(eq, method, from);
  eq("MethodSV0", method.SV0 == from.source.SV);
  if (from.two_liquids()) {
    auto& liquids = static_cast<QV_PFLASH3&>(from.source);
    eq("MethodSL10", method.SL10 == liquids.SL1);
    eq("MethodSL20", method.SL20 == liquids.SL2);
  } else {
    eq("MethodSL0", method.SL0 == from.source.SL);
  }
}

inline void Connect(Equate& eq, QV_PSV_HEMS& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA_A, from);
  eq("MethodS_IN", method.S_IN == from.source.S);
  SaturationFactors(eq, method, from);
  QV_GIVE_PHASES(method, , from.source);
  Expand(eq, *from.reference, method.P1, from);
  QV_GIVE_PHASES(method, I, *from.reference);
  Expand(eq, *from.second_reference, method.PVC, from);
  QV_GIVE_PHASES(method, A, *from.second_reference);
  eq("ReferenceT", method.TA == from.second_reference->T);
}

inline void Connect(Equate& eq, QV_PSV_DIENER& method, const MethodInputs& from) {
  InletState(eq, method, method.ETA_A, from);
  QV_GIVE_PHASES(method, , from.source);
  Expand(eq, *from.reference, method.PA, from);
  QV_GIVE_PHASES(method, A, *from.reference);
  Expand(eq, *from.second_reference, method.PO, from);
  QV_GIVE_PHASES(method, O, *from.second_reference);
  eq("ReferenceT", method.TA == from.reference->T);
  eq("SecondReferenceT", method.TO == from.second_reference->T);
}
#undef QV_GIVE_PHASES

}  // namespace quiver::relief
