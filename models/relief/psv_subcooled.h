// SPDX-License-Identifier: Apache-2.0
// Mass flux of a subcooled or saturated liquid through a relief device by the omega method of Leung and Grolmes: highly
// subcooled liquid chokes at its saturation pressure, otherwise it flashes upstream of the throat. Pressures in bar, specific
// volumes in m3/kg, heat capacities in kJ, enthalpies in GJ/kmol.
//
// G2 is the flux of a fluid that flashes in front of the exit: exit pressures above the saturation pressure are outside its
// validity. There it comes out too high, and there is no solution where OMEGA (1 - ETA_SAT/ETA) > 1; a liquid that does not
// flash takes PSV_SIMPLE. The critical ratio of slightly subcooled inlets is an approximation, by which the flux falls some 3 %
// where it begins to choke.
#pragma once

#include "models/relief/phases.h"

struct QV_EXPORT QV_PSV_SUBCOOLED : QV_GENERICMODEL {
  MODEL_TEXT(PSV_SUBCOOLED)

  GLOBAL(BAR_TO_N_M2)
  GLOBAL(GJ_TO_KJ)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF12)

  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_YESNO, POLYMERPROP)
  VARIABLE(QV_FRACTION, BETA, "Molar ratio of first liquid phase to total liquid")
  VARIABLE(QV_CP_MASS, CP_L0, "Mass liquid heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL, "Molar liquid heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL1, "Molar liquid 1 heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL2, "Molar liquid 2 heat capacity")
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_FLUX_MASS, GC, "Mass flux, critical")
  VARIABLE(QV_FLUX_MASS, G2, "Mass flux, sub-critical")
  VARIABLE(QV_MOLWEIGHT, MWV)
  VARIABLE(QV_MOLWEIGHT, MWL)
  VARIABLE(QV_DENS_MOL_VAP, RHOV)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL)
  VARIABLE(QV_POSITIVE, ETA, "Exit pressure ratio")
  VARIABLE(QV_POSITIVE, ETA_CRIT, "Critical pressure ratio")
  VARIABLE(QV_POSITIVE, ETA_SAT, "Saturation pressure ratio")
  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical pressure")
  VARIABLE(QV_PRESSURE, P_SAT, "Saturation pressure at inlet conditions")
  VARIABLE(QV_PRESSURE, P_OUT, "Exit pressure")
  VARIABLE(QV_TEMPERATURE, T, "Inlet temperature")
  VARIABLE(QV_VOL_MASS, V_V0, "Vapor specific volume")
  VARIABLE(QV_VOL_MASS, V_L0, "Liquid specific volume")
  VARIABLE(QV_NOTYPE, OMEGA)
  VARIABLE(QV_ENTH_MOL_LIQ, HL, "Inlet liquid molar enthalpy")
  VARIABLE(QV_ENTH_MOL_VAP, HV, "Inlet vapor molar enthalpy")
  ARRAY(QV_MOLEFRACTION, X, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X1, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X2, OVER(ComponentList))
  VARIABLE(QV_FRACTION, VFACTOR)
  VARIABLE(QV_FRACTION, LFACTOR)
  VARIABLE(QV_FRACTION, L1FACTOR)
  VARIABLE(QV_FRACTION, L2FACTOR)
  VARIABLE(QV_NOTYPE, TEST_CONDITION)
  SET(QV_STRINGSET, SEGMENTS)
  VARIABLE(QV_ZMOM_MASS, ZMOMC)
  ARRAY(QV_FLOW_MOL, SFLOWC, OVER(SEGMENTS))
  ARRAY(QV_SMOM_MASS, SMOMC, OVER(SEGMENTS))

  void Assignments(Assigner& set) {
    set(BAR_TO_N_M2, 100000.0);
    set(GJ_TO_KJ, 1e6);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF12, 273.15);
    set(POLYMERPROP, "No");
    set.lower(GC, 0);
    set.lower(G2, 0);
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set(X, 1.0 / size(ComponentList));
    set(X1, 1.0 / size(ComponentList));
    set(X2, 1.0 / size(ComponentList));
  }

  void Equations(Equate& eq) {
    quiver::relief::LiquidHeatCapacity(*this, eq);
    eq("InletLiqMassHeatCap", CP_L0 == CP_L0_MOL / MWL);
    quiver::relief::SpecificVolumes(*this, eq);

    eq("OmegaEqn", OMEGA * V_L0 == 0.001 * CP_L0 * (T + UCF12) * (P_SAT * BAR_TO_N_M2) *
                                       sqr((V_V0 - V_L0) / (GJ_TO_KJ * (HV / MWV - HL / MWL))));
    quiver::relief::SaturationPressure(*this, eq, P_SAT, "QV_Eqn9", "QV_Eqn10");
    eq("SaturationPressureRatio", ETA_SAT * P == P_SAT);
    eq("CriticalPressureRatio", ETA_CRIT * P == P_CRIT);
    eq("TestCondition", 2 * TEST_CONDITION * OMEGA == -1.0 + 2 * OMEGA);

    eq.given("CriticalFluxCalculation", ETA_SAT <= TEST_CONDITION, [&] {
        eq("QV_Eqn14", sqr(GC) == 2 * (RHOL * MWL) * (BAR_TO_N_M2 * (P - P_SAT)));
        eq("QV_Eqn15", ETA_CRIT == ETA_SAT);
      }).otherwise([&] {
        eq("QV_Eqn16", sqr(GC) == P * BAR_TO_N_M2 * sqr(ETA_CRIT) * (RHOL * MWL) / (OMEGA * ETA_SAT));
        eq("QV_Eqn17", ETA_CRIT == ETA_SAT / TEST_CONDITION * (1 - pow(1 - 1 / ETA_SAT * TEST_CONDITION, 0.5)));
      });
    eq("SubCriticalFluxCalculation",
       G2 * (1 + OMEGA * (-1.0 + ETA_SAT / ETA)) ==
           pow(P * BAR_TO_N_M2 * (RHOL * MWL), 0.5) *
               pow(2 * (1 - ETA_SAT) + 2 * (OMEGA * ETA_SAT * ln(ETA_SAT / ETA) - (-1.0 + OMEGA) * (ETA_SAT - ETA)), 0.5));
    eq.given("LimitFlowBelowCritical", ETA_CRIT <= ETA, [&] {
        eq("QV_Eqn19", FLUX == G2);
        eq("QV_Eqn20", CRITICAL_FLOW == 0);
      }).otherwise([&] {
        eq("QV_Eqn21", FLUX == GC);
        eq("QV_Eqn22", CRITICAL_FLOW == 1);
      });
  }
};
