// SPDX-License-Identifier: Apache-2.0
// What the larger relief methods share: states of the fluid along its expansion, given by the owner phase by phase, and
// their specific volumes.
//
//   PHASE_STATE(XA, V_VA, V_LA, V_A, A)                                       // property lines of the state "A"
//   Volumes(eq, VALIDPHASES, PHASE_STATE_OF(XA, V_VA, V_LA, V_A, A), kLabelsA);   // its equations
//
// Of a state the owner gives molar fractions VF.. and LF.. of the phases in the whole fluid, molar densities RHO.. in
// kmol/m3 and molar weights MW..; with two liquids LF1.., LF2.., RHOL1.., RHOL2.., MWL1.., MWL2.. and BETA.., the first
// liquid's molar share of both. The equations give mass fraction of vapour and specific volumes in m3/kg.
#pragma once

#include "models/relief/phases.h"
#include "types/catalogue.h"

// Electrolytes and polymers: the owner's, in no equation of a method.
#define TRUE_SPECIES_AND_POLYMERS                                                                                     \
  PARAMETER(QV_YESNO, TRUECOMPS, "Flash uses True Components")                                                        \
  PARAMETER(QV_STRINGPARAMETER, CHEMISTRYNAME, "Name of the Global Structure of Electrolyte Chemistry Information")   \
  ARRAY(QV_FLOW_MOL, GENVC, OVER(ComponentList), "Electrolyte chemistry component generation rate")                   \
  VARIABLE(QV_FLOW_MOL, FIN, "Internal true flow")                                                                    \
  SET(QV_INTEGERSET, ENTR_A2_SET)                                                                                     \
  SET(QV_INTEGERSET, ENTR_EA2_SET)                                                                                    \
  SET(QV_INTEGERSET, ENTR_A3_SET)                                                                                     \
  ARRAY(QV_NOTYPE, ENTR_A2, OVER(ENTR_A2_SET))                                                                        \
  ARRAY(QV_NOTYPE, ENTR_EA2, OVER(ENTR_EA2_SET))                                                                      \
  ARRAY(QV_NOTYPE, ENTR_A3, OVER(ENTR_A3_SET))                                                                        \
  PARAMETER(QV_YESNO, FIT_SPECVOL)                                                                                    \
  PARAMETER(QV_YESNO, POLYMERPROP)                                                                                    \
  SET(QV_STRINGSET, SEGMENTS)                                                                                         \
  VARIABLE(QV_ZMOM_MASS, ZMOMC)                                                                                       \
  ARRAY(QV_FLOW_MOL, SFLOWC, OVER(SEGMENTS))                                                                          \
  ARRAY(QV_SMOM_MASS, SMOMC, OVER(SEGMENTS))

// Phases of a state whose names end in S; the inlet's S is empty.
#define PHASES_OF_STATE(S)             \
  VARIABLE(QV_FRACTION, LF##S)         \
  VARIABLE(QV_FRACTION, LF1##S)        \
  VARIABLE(QV_FRACTION, LF2##S)        \
  VARIABLE(QV_FRACTION, VF##S)         \
  VARIABLE(QV_DENS_MOL_VAP, RHOV##S)   \
  VARIABLE(QV_DENS_MOL_LIQ, RHOL##S)   \
  VARIABLE(QV_DENS_MOL_LIQ, RHOL1##S)  \
  VARIABLE(QV_DENS_MOL_LIQ, RHOL2##S)  \
  VARIABLE(QV_MOLWEIGHT, MWV##S)       \
  VARIABLE(QV_MOLWEIGHT, MWL##S)       \
  VARIABLE(QV_MOLWEIGHT, MWL1##S)      \
  VARIABLE(QV_MOLWEIGHT, MWL2##S)      \
  VARIABLE(QV_FRACTION, BETA##S)

#define INLET_STATE                                          \
  VARIABLE(QV_FRACTION, X0, "Vapor mass fraction")           \
  VARIABLE(QV_VOL_MASS, V_V0, "Vapor specific volume")       \
  VARIABLE(QV_VOL_MASS, V_L0, "Liquid specific volume")      \
  VARIABLE(QV_VOL_MASS, V_0, "Specific volume")              \
  PHASES_OF_STATE()

#define PHASE_STATE_OF(X, V_V, V_L, V, S)                                                                     \
  quiver::relief::PhaseState { X, V_V, V_L, V, LF##S, LF1##S, LF2##S, VF##S, RHOV##S, RHOL##S, RHOL1##S, RHOL2##S, \
                               MWV##S, MWL##S, MWL1##S, MWL2##S, BETA##S }

namespace quiver::relief {

struct PhaseState {
  QV_FRACTION& x;  // mass fraction of vapour
  QV_VOL_MASS &v_vapor, &v_liquid, &v;
  QV_FRACTION &lf, &lf1, &lf2, &vf;
  QV_DENS_MOL_VAP& rho_vapor;
  QV_DENS_MOL_LIQ &rho_liquid, &rho_liquid1, &rho_liquid2;
  QV_MOLWEIGHT &mw_vapor, &mw_liquid, &mw_liquid1, &mw_liquid2;
  QV_FRACTION& beta;
};

struct StateLabels {
  const char *mw_liquid, *rho_liquid, *liquid_fraction, *v_liquid, *v_vapor, *mass_fraction, *v;
};
#define STATE_LABELS(SUFFIX)                                                                               \
  {"MolarWeight_liq" SUFFIX, "MolarDensity_liq" SUFFIX, "LiquidFraction" SUFFIX, "SpecificVolume_liq" SUFFIX, \
   "SpecificVolume_vap" SUFFIX, "MassFraction" SUFFIX, "SpecificVolume" SUFFIX}
inline constexpr StateLabels kInletLabels = STATE_LABELS("");
inline constexpr StateLabels kLabelsA = STATE_LABELS("_a");
inline constexpr StateLabels kLabelsI = STATE_LABELS("_i");
inline constexpr StateLabels kLabelsO = STATE_LABELS("_o");

// Specific volumes of a state from its phases: vapour alone, vapour and liquid, or two liquids of ideal volume as one.
// False for a choice of phases that has none of these forms.
template <class ValidPhases>
bool Volumes(Equate& eq, const ValidPhases& phases, const PhaseState& s, const StateLabels& label) {
  if (is(phases, "Vapor-Only")) {
    eq(label.v_vapor, -1.0 + s.v_vapor * s.rho_vapor * s.mw_vapor == 0);
    eq(label.mass_fraction, s.x == 1);
    eq(label.v, s.v == s.v_vapor);
    return true;
  }
  const bool two_liquids = is(phases, "Vapor-Liquid-Liquid");
  if (!two_liquids && !is(phases, "Vapor-Liquid")) return false;
  if (two_liquids) {
    eq(label.mw_liquid, s.mw_liquid == s.beta * s.mw_liquid1 + (1 - s.beta) * s.mw_liquid2);
    eq(label.rho_liquid, -1.0 + s.rho_liquid * (s.beta / s.rho_liquid1 + (1 - s.beta) / s.rho_liquid2) == 0);
    eq(label.liquid_fraction, s.lf == s.lf1 + s.lf2);
  }
  eq(label.v_liquid, -1.0 + s.v_liquid * s.rho_liquid * s.mw_liquid == 0);
  eq(label.v_vapor, -1.0 + s.v_vapor * s.rho_vapor * s.mw_vapor == 0);
  eq(label.mass_fraction, s.x == s.mw_vapor * s.vf / (s.mw_vapor * s.vf + s.mw_liquid * s.lf));
  eq(label.v, s.v == s.x * s.v_vapor + (1 - s.x) * s.v_liquid);
  return true;
}

// Simpson's two factors of v/v_0 = 1 + alpha ((p_s/p)^beta - 1) from the volumes at the pressures ratio p_s and
// ratio^2 p_s: there the powers are s and s^2, and (s^2 - s)/(s - 1) = s, so that beta stands alone. A volume that is
// less curved than the logarithm of the pressure gets beta = 0.01, one that hardly grows at first beta = 5, and both the right
// volume at the lower pressure; without any expansion alpha is 0. EPS v_0 is the smallest expansion that tells a curvature.
template <class Model>
void SimpsonFactors(Model& m, Equate& eq, QV_VOL_MASS& v_upper, QV_VOL_MASS& v_lower) {
  eq("sim_beta_calc",
     m.SIM_BETA ==
         min(5.0, max(0.01, -ln(max(1e-10, (v_lower - v_upper) / max(m.EPS * m.V_0, v_upper - m.V_0))) / ln(m.HEM_ETA))));
  eq("sim_alpha_calc", m.SIM_ALPHA * (pow(m.HEM_ETA, -2 * m.SIM_BETA) - 1) == v_lower / m.V_0 - 1);
}

// The flux that holds: below choking that of the exit pressure, otherwise the critical one.
template <class Model, class Ratio>
void LimitFlow(Model& m, Equate& eq, Ratio& exit_ratio) {
  eq.given("LimitFlowBelowCritical", m.ETA_CRIT <= exit_ratio, [&] {
      eq("MassFlux", m.FLUX == m.G2);
      eq("CriticalFlag", m.CRITICAL_FLOW == 0);
    }).otherwise([&] {
      eq("MassFlux", m.FLUX == m.GC);
      eq("CriticalFlag", m.CRITICAL_FLOW == 1);
    });
}

}  // namespace quiver::relief
