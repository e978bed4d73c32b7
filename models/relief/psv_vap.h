// SPDX-License-Identifier: Apache-2.0
// Mass flux of a compressible fluid through a relief device: isentropic expansion of an ideal gas with constant exponent K,
// choked at the critical pressure ratio. Pressures in bar, RHO in kmol/m3, FLUX in kg/m2/s; AREA_RATIO is the square of
// the diameter ratio, throat to inlet.
#pragma once

#include "frame/model.h"
#include "procedures/calls.h"

struct QV_EXPORT QV_PSV_VAP : QV_GENERICMODEL {
  MODEL_TEXT(PSV_VAP)

  GLOBAL(EPS)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF8)  // N/m2 to bar

  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_MOLWEIGHT, MW)
  VARIABLE(QV_DENS_MOL, RHO)
  VARIABLE(QV_CONSTANT, AREA_RATIO)
  VARIABLE(QV_POSITIVE, K, "Isentropic exponent")
  VARIABLE(QV_TEMPERATURE, T)
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  ARRAY(QV_MOLEFRACTION, Y, OVER(ComponentList))
  VARIABLE(QV_CP_MOL, CP_V, "Molar vapor heat capacity, con P")
  VARIABLE(QV_CV_MOL, CV_V, "Molar vapor heat capacity, con V")
  VARIABLE(QV_POSITIVE, ETA, "Pressure ratio")
  VARIABLE(QV_FRACTION, ETA_CRIT, "Critical pressure ratio")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical pressure")
  VARIABLE(QV_POS_LARGE, PSI_SQ, "Flow function")

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF8, 1e-5);
    set.lower(K, 1.00001);
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set(Y, 1.0 / size(ComponentList));
    set(CP_V, 1);
    set(CV_V, 1);
    set.lower(ETA, 0.0001);
    set(ETA_CRIT, 1.0);
    set.lower(ETA_CRIT, 0.0001);
  }

  void Equations(Equate& eq) {
    eq("VapHeatCapConP", CP_V == PCP_MOL_VAP(T, P, Y));
    eq("VapHeatCapConV", CV_V == PCV_MOL_VAP(T, P, Y));
    eq("QV_Eqn3", K == max(1.00001, CP_V / CV_V));

    eq("CriticalPresFactor", ETA_CRIT == pow(2 / (1 + K), K / (-1.0 + K)));
    eq("CriticalPressure", P_CRIT == P * ETA_CRIT);
    eq.given("QV_If1", ETA_A < ETA_CRIT, [&] {
        eq("Pressurefactor", ETA == ETA_CRIT);
        eq("CriticalFlag", CRITICAL_FLOW == 1);
      }).otherwise([&] {
        eq("Pressurefactor", ETA == ETA_A);
        eq("CriticalFlag", CRITICAL_FLOW == 0);
      });

    eq("FlowFunction", PSI_SQ == K / (-1.0 + K) * (pow(ETA, 2 / K) - pow(ETA, (1 + K) / K)));
    eq("MassFlux", FLUX * abs(FLUX + EPS) * (1 - AREA_RATIO * AREA_RATIO) / (2.0 * MW) * UCF8 == PSI_SQ * P * RHO);
  }
};
