// SPDX-License-Identifier: Apache-2.0
// Mass flux through a relief device from subcooled liquid over two phases to vapour, by the omega equation of state with the
// compressibility factor OMIGA of Schmidt and Westphal. The regime follows from the degree of subcooling ETA_S: below
// ETA_SMIN the liquid chokes at its saturation pressure, above 1.001 the vapour expands as an ideal gas, between them the
// mixture flashes. Pressures in bar, specific volumes in m3/kg, heat capacities in kJ, enthalpies in GJ/kmol and MJ/kg.
#pragma once

#include "models/relief/phases.h"

struct QV_EXPORT QV_PSV_SW : QV_GENERICMODEL {
  MODEL_TEXT(PSV_SW)

  GLOBAL(EPS)
  GLOBAL(LARGE)
  GLOBAL(ONE)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF12)
  GLOBAL(UCF3)
  GLOBAL(ZERO)

  PARAMETER(QV_REALPARAMETER, GJ_TO_MJ)
  PARAMETER(QV_REALPARAMETER, MJ_TO_J)
  PARAMETER(QV_REALPARAMETER, KJ_TO_J)
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_YESNO, POLYMERPROP)
  VARIABLE(QV_TEMPERATURE, T)
  VARIABLE(QV_PRESSURE, P_T0, "Inlet vapor pressure")
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  VARIABLE(QV_TEMPERATURE_ABS, T0, "Inlet temperature")
  VARIABLE(QV_FRACTION, E0, "Inlet vapor volume fraction")
  VARIABLE(QV_ENTH_MASS, DH_V0, "Inlet heat of evaporation")
  VARIABLE(QV_VOL_MASS, V_V0, "Vapor specific volume")
  VARIABLE(QV_VOL_MASS, V_L0, "Liquid specific volume")
  VARIABLE(QV_VOL_MASS, V_0, "Specific volume")
  VARIABLE(QV_FRACTION, X0, "Vapor mass fraction")
  VARIABLE(QV_FRACTION, VFACTOR)
  VARIABLE(QV_FRACTION, LFACTOR)
  VARIABLE(QV_FRACTION, L1FACTOR)
  VARIABLE(QV_FRACTION, L2FACTOR)
  VARIABLE(QV_POSITIVE, ETA_S, "Degree of subcooling")
  VARIABLE(QV_NOTYPE, OMIGA_GAS, "Gas compressibility factor")
  VARIABLE(QV_NOTYPE, OMIGA, "Compressibility factor")
  VARIABLE(QV_POSITIVE, ETA_SMIN, "Minimum subcooling")
  VARIABLE(QV_ENTH_MOL_LIQ, HL)
  VARIABLE(QV_ENTH_MOL_VAP, HV)
  VARIABLE(QV_MOLWEIGHT, MWV)
  VARIABLE(QV_MOLWEIGHT, MWL)
  VARIABLE(QV_DENS_MOL_VAP, RHOV)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL)
  VARIABLE(QV_FRACTION, LF)
  VARIABLE(QV_FRACTION, LF1)
  VARIABLE(QV_FRACTION, LF2)
  VARIABLE(QV_FRACTION, VF)
  VARIABLE(QV_FRACTION, BETA, "Molar ratio of the first liquid phase to the total liquid mixture")
  VARIABLE(QV_POSITIVE, ETA, "Pressure ratio")
  VARIABLE(QV_FRACTION, ETA_CRIT, "Critical pressure ratio")
  VARIABLE(QV_POSITIVE, ETA_CRIT_LIQ, "Liquid critical pressure ratio")
  VARIABLE(QV_POSITIVE, ETA_CRIT_2P, "2-phase critical pressure ratio")
  VARIABLE(QV_FRACTION, ETA_CRIT_VAP, "Vapor critical pressure ratio")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical pressure")
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_NOTYPE, PSI_SQ, "Flow function")
  VARIABLE(QV_NOTYPE, PSI_SQ_LIQ, "Liquid flow function")
  VARIABLE(QV_NOTYPE, PSI_SQ_2P, "2-phase flow function")
  VARIABLE(QV_NOTYPE, PSI_SQ_VAP, "Vapor flow function")
  VARIABLE(QV_POSITIVE, K, "Isentropic exponent")
  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_CP_MOL, CP_V, "Molar vapor heat capacity, const. P")
  VARIABLE(QV_CV_MOL, CV_V, "Molar vapor heat capacity, const. V")
  ARRAY(QV_MOLEFRACTION, X, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X1, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X2, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, Y, OVER(ComponentList))
  VARIABLE(QV_CP_MASS, CP_L0, "Mass liquid heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL, "Molar liquid heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL1, "Molar liquid 1 heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL2, "Molar liquid 2 heat capacity")
  SET(QV_STRINGSET, SEGMENTS)
  VARIABLE(QV_ZMOM_MASS, ZMOMC)
  ARRAY(QV_FLOW_MOL, SFLOWC, OVER(SEGMENTS))
  ARRAY(QV_SMOM_MASS, SMOMC, OVER(SEGMENTS))

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(LARGE, 1e30);
    set(ONE, 1.0);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF12, 273.15);
    set(UCF3, 100000.0);
    set(ZERO, 0.0);
    set(GJ_TO_MJ, 1000.0);
    set(MJ_TO_J, 1e6);
    set(KJ_TO_J, 1000.0);
    set(POLYMERPROP, "No");
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set.upper(T0, 10000.0);  // T_MAX and T_MIN in kelvin
    set.lower(T0, 20.0);
    set.lower(ETA, 0.0001);
    set(ETA_CRIT, 1.0);
    set.lower(ETA_CRIT, 0.0001);
    set(ETA_CRIT_LIQ, 1.0);
    set(ETA_CRIT_2P, 1.0);
    set(ETA_CRIT_VAP, 1.0);
    set(CP_V, 1);
    set(CV_V, 1);
  }

  void Equations(Equate& eq) {
    eq("VapHeatCapConP", CP_V == PCP_MOL_VAP(T, P, Y));
    eq("VapHeatCapConV", CV_V == PCV_MOL_VAP(T, P, Y));
    eq("QV_Eqn3", K == CP_V / CV_V);

    const bool liquid = quiver::relief::LiquidHeatCapacity(*this, eq);
    if (!liquid && is(VALIDPHASES, "Vapor-Only")) eq("InletLiqMolarHeatCap", CP_L0_MOL == CP_V);
    eq("InletLiqMassHeatCap", CP_L0 == CP_L0_MOL / MWL);
    quiver::relief::SpecificVolumes(*this, eq);
    eq("MassGasFraction", X0 == E0 * V_L0 / ((1 - E0) * V_V0 + E0 * V_L0));

    if (is(VALIDPHASES, "Vapor-Only")) eq("QV_Eqn13", P_T0 == P);
    quiver::relief::SaturationPressure(*this, eq, P_T0, "QV_Eqn14", "QV_Eqn15");
    eq("DegreeOfSubCooling", ETA_S == P_T0 / P);
    eq("InletHeatEvap", DH_V0 / GJ_TO_MJ + (HL / MWL - HV / MWV) == 0);
    eq("SpecificVolume", V_0 == X0 * V_V0 + (1 - X0) * V_L0);

    eq("PressureFactor_in", ETA_SMIN == 2 * OMIGA / (1 + 2 * OMIGA));
    eq("CompressibilityFactor_gas", OMIGA_GAS == X0 * (V_V0 - V_L0) / V_0);
    eq("CompressibilityFactor", OMIGA == OMIGA_GAS + ETA_S * CP_L0 * (KJ_TO_J * P) * (UCF3 * T0) / V_0 *
                                                         sqr((V_V0 - V_L0) / (DH_V0 * MJ_TO_J)));

    eq("CriticalPresFactor_liq", ETA_CRIT_LIQ == ETA_S);
    // Implicit in ETA_CRIT_2P. 1e-8 keeps the division finite without flashing, 1e-10 the logarithm defined.
    eq("CriticalPresFactor_2p",
       1.0 == ((1 + sqr(OMIGA)) - 2 * OMIGA) * sqr(ETA_CRIT_2P) / (2 * ETA_S * (1e-8 + OMIGA)) -
                  2 * (-1.0 + OMIGA) * ETA_CRIT_2P + OMIGA * ETA_S * ln(max(ETA_CRIT_2P / ETA_S, 1e-10)) +
                  1.5 * OMIGA * ETA_S);
    eq("CriticalPresFactor_vap", ETA_CRIT_VAP == pow(2 / (1 + K), K / max(-1.0 + K, 1e-5)));

    eq.given("QV_If9", ETA_A < ETA_CRIT, [&] {
        eq("Pressurefactor", ETA == ETA_CRIT);
        eq("CriticalFlag", CRITICAL_FLOW == 1);
      }).otherwise([&] {
        eq("Pressurefactor", ETA == ETA_A);
        eq("CriticalFlag", CRITICAL_FLOW == 0);
      });
    // 1.001 keeps a saturated inlet in the two-phase regime.
    eq.given("QV_If10", ETA_S <= ETA_SMIN, [&] {
        eq("QV_Eqn29", ETA_CRIT == ETA_CRIT_LIQ);
        eq("QV_Eqn30", PSI_SQ == PSI_SQ_LIQ);
      }).orGiven("QV_If11", ETA_S > 1.001, [&] {
        eq("QV_Eqn31", ETA_CRIT == ETA_CRIT_VAP);
        eq("QV_Eqn32", PSI_SQ == PSI_SQ_VAP);
      }).otherwise([&] {
        eq("QV_Eqn33", ETA_CRIT == ETA_CRIT_2P);
        eq("QV_Eqn34", PSI_SQ == PSI_SQ_2P);
      });
    eq("CriticalPressure", P_CRIT == P * ETA_CRIT);

    eq("FlowFunction_liq", PSI_SQ_LIQ + (-1.0 + ETA) == 0);
    eq("FlowFunction_2p",
       2 * PSI_SQ_2P * sqr(1 + OMIGA * (-1.0 + ETA_S / ETA)) ==
           2 * (1 - ETA_S) + 2 * (OMIGA * ETA_S * ln(ETA_S / ETA) - (-1.0 + OMIGA) * (ETA_S - ETA)));
    eq("FlowFunction_vap", PSI_SQ_VAP == K / max(-1.0 + K, 1e-5) * (pow(ETA, 2 / K) - pow(ETA, (1 + K) / K)));
    eq("SpecificMassFlow", FLUX == pow(2 * PSI_SQ * P * UCF3 / V_0, 0.5));
    eq("AbsTemp", T0 == T + UCF12);
  }
};
