// SPDX-License-Identifier: Apache-2.0
// Mass flux of a two-phase mixture through a short relief device, without boiling on the way: Henry and Fauske's model with
// frozen composition (R. E. Henry, H. K. Fauske, "The two-phase critical flow of one-component mixtures in nozzles,
// orifices and short tubes", J. Heat Transfer 93 (1971) 179; their non-equilibrium parameter 0). From inlet to throat the
// vapour expands alone and isentropically, the liquid keeps its volume, both have one velocity:
//
//   G^2 v^2 / 2 = (1 - x) v_l (p_0 - p) + x k/(k - 1) (p_0 v_g0 - p v_g),   v_g = v_g0 (p_0/p)^(1/k),   v = (1 - x) v_l + x v_g.
//
// At the throat itself vapour and liquid exchange heat, by the polytropic exponent N: the flow chokes where
// G^2 = p / (x v_g PSI) with PSI = 1/N - (1 - v_l/v_g) c_pg (1/N - 1/k) / (s_g0 - s_l0). With INITIALIZE "Stage1" they do not
// (PSI = 1/k): this is the largest flux of the frozen expansion itself, and a start for the other. That flux is met to
// rounding for an ideal gas with incompressible liquid; with heat exchange the flux is up to 15 % less.
//
// Holds for nozzles and orifices too short to boil in (below 0.1 m) and inlets with some vapour; long ones pass
// less. Without vapour it is Bernoulli's flux down to the back pressure, flashing or not: an upper limit. Above the
// critical temperature, or where s_g0 - s_l0 is near 0, there are no two phases to freeze. Pressures in bar, volumes in
// m3/kg, entropies and heat capacities in kJ/kmol/K.
#pragma once

#include "models/relief/expansion.h"

struct QV_EXPORT QV_PSV_HFF : QV_GENERICMODEL {
  MODEL_TEXT(PSV_HFF)

  GLOBAL(EPS)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF12)
  GLOBAL(UCF3)

  PARAMETER(QV_INITMETHODS_PSV_HFF, INITIALIZE)
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  TRUE_SPECIES_AND_POLYMERS

  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_TEMPERATURE, T)
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  ARRAY(QV_MOLEFRACTION, X, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X1, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X2, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, Y, OVER(ComponentList))
  INLET_STATE
  VARIABLE(QV_FRACTION, E0, "Inlet vapor volume fraction")

  VARIABLE(QV_POSITIVE, K, "Isentropic exponent")
  VARIABLE(QV_CP_MOL, CP_V, "Molar vapor heat capacity, const. P")
  VARIABLE(QV_CV_MOL, CV_V, "Molar vapor heat capacity, const. V")
  VARIABLE(QV_CP_MASS, CP_L0, "Mass liquid heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL, "Molar liquid heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL1, "Molar liquid 1 heat capacity")
  VARIABLE(QV_CP_MOL, CP_L0_MOL2, "Molar liquid 2 heat capacity")
  VARIABLE(QV_ENTR_MOL, SL0)
  VARIABLE(QV_ENTR_MOL, SL10)
  VARIABLE(QV_ENTR_MOL, SL20)
  VARIABLE(QV_ENTR_MOL, SV0)
  VARIABLE(QV_POSITIVE, DS0, "Entropy of vapor less that of liquid, per mass")
  VARIABLE(QV_POSITIVE, N, "Polytropic exponent")
  VARIABLE(QV_POSITIVE, PSI, "Flow function")

  VARIABLE(QV_POSITIVE, ETA_T, "Pressure ratio of the choking throat")
  VARIABLE(QV_FRACTION, ETA_CRIT)
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical outlet pressure")
  VARIABLE(QV_VOL_MASS, V2_BAR, "Average exit mass volume")
  VARIABLE(QV_FLUX_MASS, G2, "Mass flux, sub-critical")
  VARIABLE(QV_FLUX_MASS, GC, "Mass flux, critical")

  VARIABLE(QV_FRACTION, XA)
  VARIABLE(QV_FRACTION, EA)
  VARIABLE(QV_VOL_MASS, V_VA)
  VARIABLE(QV_VOL_MASS, V_LA)
  VARIABLE(QV_VOL_MASS, V_A)
  VARIABLE(QV_TEMPERATURE, TA, "Throat temperature")
  VARIABLE(QV_PRESSURE, PA, "Throat pressure")
  PHASES_OF_STATE(A)
  VARIABLE(QV_ENTR_MOL, SLA)
  VARIABLE(QV_ENTR_MOL, SL1A)
  VARIABLE(QV_ENTR_MOL, SL2A)
  VARIABLE(QV_ENTR_MOL, SVA)

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF12, 273.15);
    set(UCF3, 100000.0);
    set(POLYMERPROP, "No");
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set.upper(TA, T_MAX);
    set.lower(TA, T_MIN);
    set(X, 1.0 / size(ComponentList));
    set(X1, 1.0 / size(ComponentList));
    set(X2, 1.0 / size(ComponentList));
    set(Y, 1.0 / size(ComponentList));
    set.lower(K, 1.00001);
    set(K, 1.3);
    set(N, 1.1);
    set(ETA_T, 0.6);
    set.lower(ETA_T, 1e-12);
    set.upper(ETA_T, 1.0);
    set(ETA_CRIT, 0.6);
    set.lower(ETA_CRIT, 0.0001);
    set.lower(GC, 0);
  }

  void Equations(Equate& eq) {
    const bool vapor_only = is(VALIDPHASES, "Vapor-Only");
    eq("VapHeatCapConP", CP_V == PCP_MOL_VAP(T, P, Y));
    eq("VapHeatCapConV", CV_V == PCV_MOL_VAP(T, P, Y));
    eq("IsentropicExponent", K == max(1.00001, CP_V / CV_V));
    quiver::relief::Volumes(eq, VALIDPHASES, PHASE_STATE_OF(X0, V_V0, V_L0, V_0, ), quiver::relief::kInletLabels);
    if (vapor_only)
      eq("InletVolumeFraction", E0 == 1);
    else
      eq("InletVolumeFraction", E0 == X0 * V_V0 / V_0);

    if (vapor_only) {
      eq("n_calc", N == K);
      eq("psi_calc", PSI == 1 / K);
    } else {
      if (quiver::relief::LiquidHeatCapacity(*this, eq)) eq("InletLiqMassHeatCap", CP_L0 == CP_L0_MOL / MWL);
      if (is(VALIDPHASES, "Vapor-Liquid-Liquid")) eq("InletLiqEntropy", SL0 == BETA * SL10 + (1 - BETA) * SL20);
      eq("InletEntropyDiff", DS0 == max(EPS, SV0 / MWV - SL0 / MWL));
      // Liquid and vapour at one temperature, the liquid's heat capacity with the vapour's.
      const auto liquid_share = (1 - X0) * CP_L0 * MWV / CP_V;
      eq("n_calc", N == (liquid_share + 1) / (liquid_share + 1 / K));
      if (is(INITIALIZE, "Stage1"))
        eq("psi_calc", PSI == 1 / K);
      else
        // Not below half of 1/K: near the critical point, where s_g0 - s_l0 vanishes, the term outgrows its meaning.
        eq("psi_calc", PSI == max(0.5 / K, 1 / N - (1 - V_L0 / V_V0 * pow(ETA_T, 1 / K)) * CP_V / MWV * (1 / N - 1 / K) / DS0));
    }

    // Choking and momentum balance, times x^2 v_g/v_0^2 and the squared expansion of the vapour, so that nothing is divided by
    // the little vapour that there may be. A void fraction below 1e-6 chokes below 1/1000 of the inlet pressure, if at all.
    const auto shrunk = pow(ETA_T, 1 / K);  // v_g0/v_g
    const auto void_fraction = max(1e-6, E0);
    eq("eta_crit_calc1", sqr((1 - E0) * shrunk + void_fraction) * ETA_T ==
                             2 * PSI * void_fraction * shrunk * ((1 - E0) * (1 - ETA_T) + E0 * K / (-1.0 + K) * (1 - ETA_T / shrunk)));
    eq("eta_crit_calc2", ETA_CRIT == max(0.0001, ETA_T));
    eq("CriticalPressure", P_CRIT == P * ETA_CRIT);

    // The throat of the critical flow, frozen.
    eq("ThroatPressure", PA == P_CRIT);
    eq("ThroatTemperature", TA + UCF12 == max(T_MIN + UCF12, (T + UCF12) * pow(ETA_CRIT, (-1.0 + K) / K)));
    eq("MassFraction_a", XA == X0);
    eq("SpecificVolume_vap_a", V_VA == V_V0 * pow(ETA_CRIT, -1 / K));
    if (vapor_only) {
      eq("SpecificVolume_a", V_A == V_VA);
      eq("VolumeFraction_a", EA == 1);
    } else {
      eq("SpecificVolume_liq_a", V_LA == V_L0);
      eq("SpecificVolume_a", V_A == XA * V_VA + (1 - XA) * V_LA);
      eq("VolumeFraction_a", EA == XA * V_VA / V_A);
    }

    // Work of the frozen expansion, of p_0 v_0, and the volume at its end.
    const auto work = [&](const auto& eta) {
      return (1 - E0) * (1 - eta) + E0 * K / (-1.0 + K) * (1 - pow(eta, (-1.0 + K) / K));
    };
    const auto exit = max(0.0001, ETA_A);
    eq("v2_bar_calc", V2_BAR == V_0 * (1 - E0 + E0 * pow(exit, -1 / K)));
    eq("Flux_calc", G2 * abs(G2 + EPS) * sqr(V2_BAR) / UCF3 == 2 * (P * V_0) * work(exit));
    eq("Critical_Flux_calc", sqr(GC) * sqr(V_A) / UCF3 == 2 * (P * V_0) * work(ETA_CRIT));
    quiver::relief::LimitFlow(*this, eq, ETA_A);
  }
};
