// SPDX-License-Identifier: Apache-2.0
// Mass flux of a flashing mixture through a relief device by the homogeneous equilibrium model: one straight line in the
// specific volume, v/v0 = 1 + a (P/P' - 1), fitted between the inlet and a reference state at HEM_ETA times the inlet
// pressure. Pressures in bar, specific volumes in m3/kg.
#pragma once

#include "frame/model.h"
#include "types/catalogue.h"

struct QV_EXPORT QV_PSV_HEMD : QV_GENERICMODEL {
  MODEL_TEXT(PSV_HEMD)

  GLOBAL(EPS)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF3)

  PARAMETER(QV_INITMETHODS_PSV_HEMD, INITIALIZE)
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_YESNO, TRUECOMPS, "Flash uses True Components")
  PARAMETER(QV_STRINGPARAMETER, CHEMISTRYNAME, "Name of the Global Structure of Electrolyte Chemistry Information")
  ARRAY(QV_FLOW_MOL, GENVC, OVER(ComponentList), "Electrolyte chemistry component generation rate")
  VARIABLE(QV_FLOW_MOL, FIN, "Internal true flow")
  SET(QV_INTEGERSET, ENTR_A2_SET)
  SET(QV_INTEGERSET, ENTR_EA2_SET)
  SET(QV_INTEGERSET, ENTR_A3_SET)
  ARRAY(QV_NOTYPE, ENTR_A2, OVER(ENTR_A2_SET))
  ARRAY(QV_NOTYPE, ENTR_EA2, OVER(ENTR_EA2_SET))
  ARRAY(QV_NOTYPE, ENTR_A3, OVER(ENTR_A3_SET))
  PARAMETER(QV_YESNO, FIT_SPECVOL)
  PARAMETER(QV_YESNO, POLYMERPROP)
  SET(QV_STRINGSET, SEGMENTS)
  VARIABLE(QV_ZMOM_MASS, ZMOMC)
  ARRAY(QV_FLOW_MOL, SFLOWC, OVER(SEGMENTS))
  ARRAY(QV_SMOM_MASS, SMOMC, OVER(SEGMENTS))

  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_TEMPERATURE, T)
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  VARIABLE(QV_ENTR_MOL, SV0, "Vapor entropy")
  VARIABLE(QV_FRACTION, X0, "Vapor mass fraction")
  VARIABLE(QV_VOL_MASS, V_V0, "Vapor specific volume")
  VARIABLE(QV_VOL_MASS, V_L0, "Liquid specific volume")
  VARIABLE(QV_VOL_MASS, V_0, "Specific volume")
  VARIABLE(QV_FRACTION, LF)
  VARIABLE(QV_FRACTION, VF)
  VARIABLE(QV_DENS_MOL_VAP, RHOV)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL)
  VARIABLE(QV_MOLWEIGHT, MWV)
  VARIABLE(QV_MOLWEIGHT, MWL)
  VARIABLE(QV_NOTYPE, HEM_A, "HEM a coefficient")
  VARIABLE(QV_NOTYPE, HEM_A1, "HEM a coefficient")
  VARIABLE(QV_FRACTION, HEM_ETA)
  VARIABLE(QV_FLUX_MASS, G2, "Mass flux")
  VARIABLE(QV_FLUX_MASS, GC, "Critical mass flux")
  VARIABLE(QV_VOL_MASS, V_A, "Mass specific volume")
  VARIABLE(QV_FRACTION, ETA_CRIT)
  VARIABLE(QV_PRESSURE, P_CRIT)
  VARIABLE(QV_FRACTION, XA)
  VARIABLE(QV_VOL_MASS, V_VA)
  VARIABLE(QV_VOL_MASS, V_LA)
  VARIABLE(QV_TEMPERATURE, TA, "Reference temperature")
  VARIABLE(QV_PRESSURE, PA, "Reference pressure")
  VARIABLE(QV_FRACTION, LFA)
  VARIABLE(QV_FRACTION, LF1A)
  VARIABLE(QV_FRACTION, LF2A)
  VARIABLE(QV_FRACTION, VFA)
  VARIABLE(QV_DENS_MOL_VAP, RHOVA)
  VARIABLE(QV_DENS_MOL_LIQ, RHOLA)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL1A)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL2A)
  VARIABLE(QV_MOLWEIGHT, MWVA)
  VARIABLE(QV_MOLWEIGHT, MWLA)
  VARIABLE(QV_MOLWEIGHT, MWL1A)
  VARIABLE(QV_MOLWEIGHT, MWL2A)
  VARIABLE(QV_FRACTION, BETAA)

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF3, 100000.0);
    set(POLYMERPROP, "No");
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set.upper(TA, T_MAX);
    set.lower(TA, T_MIN);
    set(HEM_ETA, 0.9);
    set.spec(HEM_ETA, QV_SPEC_GIVEN);
    set.lower(ETA_CRIT, 0.0001);
    set.lower(GC, 0);
    set.lower(G2, 0);
  }

  void Equations(Equate& eq) {
    eq("ReferencePressure", PA == P * HEM_ETA);

    eq("SpecificVolume_liq", -1.0 + V_L0 * RHOL * MWL == 0);
    eq("SpecificVolume_vap", -1.0 + V_V0 * RHOV * MWV == 0);
    eq("MassFraction", X0 == MWV * VF / (MWV * VF + MWL * LF));
    eq("SpecificVolume", V_0 == X0 * V_V0 + (1 - X0) * V_L0);
    eq("SpecificVolume_liq_a", -1.0 + V_LA * RHOLA * MWLA == 0);
    eq("SpecificVolume_vap_a", -1.0 + V_VA * RHOVA * MWVA == 0);
    eq("MassFraction_a", XA == MWVA * VFA / (MWVA * VFA + MWLA * LFA));
    eq("SpecificVolume_a", V_A == XA * V_VA + (1 - XA) * V_LA);

    eq("HEM_a_calc", HEM_A1 * V_0 * max(EPS, 1 - HEM_ETA) == (V_A - V_0) * HEM_ETA);
    eq("QV_Eqn49", HEM_A == max(1e-5, HEM_A1));

    // Implicit in ETA_CRIT: the flux is largest where it equals the choking flux at the throat.
    eq("eta_crit_calc", sqr(ETA_CRIT * (1 + HEM_A * (1 - ETA_CRIT) / ETA_CRIT)) ==
                            -2 * HEM_A * (HEM_A * ln(ETA_CRIT) + (-1.0 + HEM_A) * (1 - ETA_CRIT)));
    eq("QV_Eqn51", P_CRIT == max(1e-5, P * ETA_CRIT));
    eq("Flux_calc", sqr(G2) * V_0 * sqr(1 + HEM_A * ((1 - ETA_A) + EPS) / ETA_A) / UCF3 ==
                        -2 * P * (HEM_A * ln(ETA_A) + (-1.0 + HEM_A) * (1 - ETA_A)));
    eq("Critical_Flux_calc", sqr(GC) * HEM_A * V_0 / UCF3 == P * sqr(ETA_CRIT));
    eq.given("LimitFlowBelowCritical", ETA_CRIT <= ETA_A, [&] {
        eq("QV_Eqn54", FLUX == G2);
        eq("QV_Eqn55", CRITICAL_FLOW == 0);
      }).otherwise([&] {
        eq("QV_Eqn56", FLUX == GC);
        eq("QV_Eqn57", CRITICAL_FLOW == 1);
      });
  }
};
