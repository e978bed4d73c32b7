// SPDX-License-Identifier: Apache-2.0
// Mass flux of a boiling mixture through a valve with a vena contracta behind its seat, by the method of Diener and Schmidt
// (R. Diener, J. Schmidt, "Sizing of throttling device for gas/liquid two-phase flow", Process Safety Progress 23 (2004) 335
// and 24 (2005) 29; HNE-DS of ISO 4126-10). The equilibrium's specific volume is Simpson's curve through inlet and two
// reference states; the volume that flows lies between it and that of a frozen mixture, by the share N = x^A_HNE of boiling
// that keeps up, x the equilibrium quality where the equilibrium would choke.
//
// Vena contracta: its pressure is P - (P - P_out)/FL^2, its area SIGMA times the seat's, A0. For a liquid SIGMA_STAR =
// FL/sqrt(ZETA_FORM) with the form resistance ZETA_FORM = (C_DIENER A0/KV)^2, so that the flow of water is that of KV.
// CONSTANTSIGMA "No" lets a fluid that expands contract less, by the momentum balance of the approach with the
// liquid's force on the seat (D. A. Jobson, Proc. Inst. Mech. Eng. 169 (1955) 767, here for any volume curve); that is meant for
// sharp-edged seats. FLUX refers to A0.
//
// The owner flashes the inlet's entropy at PA = HEM_ETA P and at PO = HEM_ETA^2 P and gives the phases of inlet, A and O.
// A_HNE: 0.4 for safety valves and high-lift control valves, 0.6 for orifices and short nozzles, 0 for equilibrium.
// Holds for inlets that boil at once: saturated liquid to gas. For a subcooled liquid the curve, which begins at the inlet
// pressure, is no fit: the flux comes out too high. With A_HNE 0, FL 1 and KV = C_DIENER A0 it is the homogeneous equilibrium. K = 1, isothermal
// vapour, is as published. Pressures in bar, volumes in m3/kg, KV in m3/h, A0 in m2.
#pragma once

#include "models/relief/expansion.h"

struct QV_EXPORT QV_PSV_DIENER : QV_GENERICMODEL {
  MODEL_TEXT(PSV_DIENER)

  GLOBAL(EPS)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF3)

  PARAMETER(QV_YESNO, CONSTANTSIGMA)
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  TRUE_SPECIES_AND_POLYMERS

  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_TEMPERATURE, T)
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  VARIABLE(QV_CONSTANT, AREA_RATIO)  // seat over inlet
  VARIABLE(QV_AREA, A0)
  VARIABLE(QV_POSITIVE, KV)
  PARAMETER(QV_REALPARAMETER, C_DIENER)
  VARIABLE(QV_POSITIVE, FL, "Pressure recovery factor")
  VARIABLE(QV_POSITIVE, ZETA_FORM, "Form resistance coefficient")
  VARIABLE(QV_POSITIVE, SIGMA_STAR)
  VARIABLE(QV_POSITIVE, SIGMA_STAR2, "Area ratio")  // vena contracta over inlet
  VARIABLE(QV_POSITIVE, SIGMA_STAR_OUT, "Area ratio, exit pressure")
  VARIABLE(QV_POSITIVE, SIGMA_STAR_CRIT, "Area ratio, critical")
  INLET_STATE
  VARIABLE(QV_PRESSURE, PSAT, "Inlet saturation pressure")
  VARIABLE(QV_FRACTION, E0, "Inlet vapor volume fraction")
  VARIABLE(QV_NOTYPE, V_RATIO, "Vapor specific volume over that of the liquid")
  VARIABLE(QV_POSITIVE, K, "Isentropic exponent of the vapor")
  VARIABLE(QV_POSITIVE, A_HNE, "Exponent of the non-equilibrium coefficient")

  VARIABLE(QV_FRACTION, HEM_ETA, "Ratio of the pressures of the fit")
  VARIABLE(QV_PRESSURE, PA, "Reference pressure")
  VARIABLE(QV_TEMPERATURE, TA)
  VARIABLE(QV_VOL_MASS, V_A)
  VARIABLE(QV_FRACTION, XA)
  VARIABLE(QV_VOL_MASS, V_VA)
  VARIABLE(QV_VOL_MASS, V_LA)
  PHASES_OF_STATE(A)
  VARIABLE(QV_PRESSURE, PO, "Second reference pressure")
  VARIABLE(QV_TEMPERATURE, TO)
  VARIABLE(QV_VOL_MASS, V_O)
  VARIABLE(QV_FRACTION, XO)
  VARIABLE(QV_VOL_MASS, V_VO)
  VARIABLE(QV_VOL_MASS, V_LO)
  PHASES_OF_STATE(O)
  VARIABLE(QV_NOTYPE, SIM_ALPHA, "Simpson alpha factor")
  VARIABLE(QV_NOTYPE, SIM_BETA, "Simpson beta factor")
  VARIABLE(QV_NOTYPE, HEM_A)
  PARAMETER(QV_REALPARAMETER, INTEGRATION_POINTS)  // 0: the integral in closed form

  VARIABLE(QV_NOTYPE, PSI_SQ_HOM, "Flow function of the equilibrium")
  VARIABLE(QV_NOTYPE, PSI_SQ_HOM_CRIT, "Critical flow function of the equilibrium")
  VARIABLE(QV_FRACTION, ETA_HOM_CRIT, "Critical throat pressure ratio of the equilibrium")
  VARIABLE(QV_FRACTION, N_HNE, "Non-equilibrium coefficient")
  VARIABLE(QV_NOTYPE, PSI_SQ, "Flow function")
  VARIABLE(QV_NOTYPE, PSI_SQ_CRIT, "Critical flow function")
  VARIABLE(QV_REALVARIABLE, ETA_CRIT, "Critical pressure ratio")
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical outlet pressure")
  VARIABLE(QV_PRESSURE, PVC, "Throat pressure")
  VARIABLE(QV_PRESSURE, PVC_CRIT, "Critical throat pressure")
  VARIABLE(QV_VOL_MASS, V_OUT)
  VARIABLE(QV_VOL_MASS, VHOM_VC)
  VARIABLE(QV_VOL_MOL, V_VC, "Specific molar volume")
  VARIABLE(QV_NOTYPE, X0O, "Outlet quality")
  VARIABLE(QV_NOTYPE, X0A, "Throat quality")
  VARIABLE(QV_NOTYPE, ETA_OUT, "Outlet void fraction")
  VARIABLE(QV_NOTYPE, ETA_VC, "Throat void fraction")
  VARIABLE(QV_FLUX_MASS, G2, "Mass flux")
  VARIABLE(QV_FLUX_MASS, GC, "Mass flux, critical")

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF3, 100000.0);
    set(CONSTANTSIGMA, "Yes");
    set(POLYMERPROP, "No");
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set.upper(TA, T_MAX);
    set.lower(TA, T_MIN);
    set.upper(TO, T_MAX);
    set.lower(TO, T_MIN);
    set(AREA_RATIO, 0.0);
    set.spec(AREA_RATIO, QV_SPEC_GIVEN);
    set(A0, 0.001);
    set.spec(A0, QV_SPEC_GIVEN);
    set(KV, 50.911688245431424);
    set.spec(KV, QV_SPEC_GIVEN);
    set(C_DIENER, 50911.688245431424);  // 3600 sqrt(2 1e5/1000): m3/h of water at 1 bar through 1 m2 without resistance
    set(FL, 1.0);
    set.spec(FL, QV_SPEC_GIVEN);
    set(K, 1.0);
    set.spec(K, QV_SPEC_GIVEN);
    set(A_HNE, 0.4);
    set.spec(A_HNE, QV_SPEC_GIVEN);
    set(HEM_ETA, 0.75);
    set.spec(HEM_ETA, QV_SPEC_GIVEN);
    set(INTEGRATION_POINTS, 0.0);
    set.upper(VHOM_VC, 1e30);  // a curve that is no fit may grow beyond all measure at the outlet
    set.upper(V_OUT, 1e30);
    set.upper(V_VC, 1e30);
    set.lower(GC, 0);
  }

  void Equations(Equate& eq) {
    const bool vapor_only = is(VALIDPHASES, "Vapor-Only");
    eq("FormResistance", ZETA_FORM == sqr(C_DIENER * A0 / KV));
    eq("Contraction", SIGMA_STAR == min(1.0, FL / sqrt(ZETA_FORM)));
    eq("AreaRatio", SIGMA_STAR2 == SIGMA_STAR * AREA_RATIO);

    eq("SaturationPressure", PSAT == P);
    eq("ReferencePressure", PA == HEM_ETA * P);
    eq("SecondReferencePressure", PO == HEM_ETA * PA);
    quiver::relief::Volumes(eq, VALIDPHASES, PHASE_STATE_OF(X0, V_V0, V_L0, V_0, ), quiver::relief::kInletLabels);
    quiver::relief::Volumes(eq, VALIDPHASES, PHASE_STATE_OF(XA, V_VA, V_LA, V_A, A), quiver::relief::kLabelsA);
    quiver::relief::Volumes(eq, VALIDPHASES, PHASE_STATE_OF(XO, V_VO, V_LO, V_O, O), quiver::relief::kLabelsO);
    quiver::relief::SimpsonFactors(*this, eq, V_A, V_O);
    eq("HEM_a_calc", HEM_A == SIM_ALPHA * SIM_BETA);
    if (vapor_only) {
      eq("InletVolumeFraction", E0 == 1);
      eq("VolumeRatio", V_RATIO == 1e6);  // any large number: there is no liquid
    } else {
      eq("InletVolumeFraction", E0 == X0 * V_V0 / V_0);
      eq("VolumeRatio", V_RATIO == max(1.00001, V_V0 / V_L0));
    }

    // Psi^2 of G^2 = 2 Psi^2 p_0/v_0 in the vena contracta. 1e-4: the lowest throat pressure ratio.
    eq("simp_int_call", outputs(PSI_SQ_HOM, PSI_SQ_HOM_CRIT, ETA_HOM_CRIT) ==
                            PSIMPSON_INTEGRATION(ETA_A, 1.0, SIM_ALPHA, SIM_BETA, INTEGRATION_POINTS, SIGMA_STAR2, 1e-4));
    const auto delayed = [&](const auto& delay) {
      eq("diener_int_call", outputs(PSI_SQ, PSI_SQ_CRIT, ETA_CRIT) ==
                                PDIENER_INTEGRATION(ETA_A, E0, SIM_ALPHA, SIM_BETA, V_RATIO, delay, K, SIGMA_STAR2, FL,
                                                    INTEGRATION_POINTS, 1e-4));
    };
    if (vapor_only)
      delayed(0.0);  // nothing boils, so nothing boils late
    else
      delayed(A_HNE);
    const auto liquid_volume = E0 / V_RATIO + (1 - E0);  // of v_0
    const auto equilibrium = [&](const auto& eta) { return 1 + SIM_ALPHA * (pow(eta, -SIM_BETA) - 1); };
    const auto quality = [&](const auto& eta) {
      return (equilibrium(eta) - liquid_volume) / (liquid_volume * (V_RATIO / eta - 1));
    };
    if (vapor_only)
      eq("NonEquilibrium", N_HNE == 1);
    else
      eq("NonEquilibrium", N_HNE == pow(min(1.0, max(1e-12, quality(ETA_HOM_CRIT))), A_HNE));

    const auto throat = [&](const auto& outlet) { return max(0.0001, 1 - (1 - outlet) / sqr(FL)); };
    eq("CriticalPressure", P_CRIT == P * ETA_CRIT);
    eq("CriticalThroatPressure", PVC_CRIT == P * throat(ETA_CRIT));
    eq("ThroatPressure", PVC == P * throat(max(ETA_A, ETA_CRIT)));

    // Vena contracta and outlet: the equilibrium's volume and quality, and the volume that flows.
    const auto eta_vc = PVC / P, eta_out = max(0.0001, ETA_A);
    const auto flowing = [&](const auto& eta) {
      return 1 + (1 - N_HNE) * E0 * (pow(eta, -1 / K) - 1) + N_HNE * SIM_ALPHA * (pow(eta, -SIM_BETA) - 1);
    };
    eq("VenaContractaVolume", VHOM_VC == V_0 * equilibrium(eta_vc));
    if (vapor_only)
      eq("VenaContractaMolarVolume", V_VC == V_0 * flowing(eta_vc) * MWV);
    else
      eq("VenaContractaMolarVolume", V_VC == V_0 * flowing(eta_vc) * (VF * MWV + LF * MWL));
    eq("OutletVolume", V_OUT == V_0 * equilibrium(eta_out));
    if (vapor_only) {
      eq("ThroatQuality", X0A == 1);
      eq("OutletQuality", X0O == 1);
    } else {
      eq("ThroatQuality", X0A == min(1.0, max(0.0, quality(eta_vc))));
      eq("OutletQuality", X0O == min(1.0, max(0.0, quality(eta_out))));
    }
    eq("ThroatVolumeFraction", ETA_VC == 1 - (1 - X0A) * liquid_volume * V_0 / VHOM_VC);
    eq("OutletVolumeFraction", ETA_OUT == 1 - (1 - X0O) * liquid_volume * V_0 / V_OUT);

    // Momentum from the approach to the vena contracta, S the force of the liquid on the seat:
    //   S c^2 - (v/v_0) c + q/2 = 0,  q = (1 - eta)/Psi^2,  S = 1/sigma - 1/(2 sigma^2);  c = sigma for a constant volume.
    const auto contraction = [&](const auto& eta, const auto& psi_squared) {
      const auto q = (max(0.0, 1 - eta) + 1e-9) / (max(0.0, psi_squared) + 1e-9);
      const auto force = 2 / SIGMA_STAR - 1 / sqr(SIGMA_STAR);
      return min(1.0, max(SIGMA_STAR, q / (flowing(eta) + sqrt(max(1e-12, sqr(flowing(eta)) - force * q)))));
    };
    eq.when(is(CONSTANTSIGMA, "Yes"), [&] {
        eq("ContractionCritical", SIGMA_STAR_CRIT == SIGMA_STAR);
        eq("ContractionExit", SIGMA_STAR_OUT == SIGMA_STAR);
      }).otherwise([&] {
        eq("ContractionCritical", SIGMA_STAR_CRIT == contraction(PVC_CRIT / P, PSI_SQ_CRIT));
        eq("ContractionExit", SIGMA_STAR_OUT == contraction(throat(ETA_A), PSI_SQ));
      });

    eq("Flux_calc", G2 * abs(G2 + EPS) * V_0 / UCF3 == 2 * (SIGMA_STAR_OUT * SIGMA_STAR_OUT) * PSI_SQ * P);
    eq("Critical_Flux_calc", sqr(GC) * V_0 / UCF3 == 2 * (SIGMA_STAR_CRIT * SIGMA_STAR_CRIT) * PSI_SQ_CRIT * P);
    quiver::relief::LimitFlow(*this, eq, ETA_A);
  }
};
