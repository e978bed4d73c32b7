// SPDX-License-Identifier: Apache-2.0
// Performance map of a pump: head, head coefficient, power or a pressure over a flow, and the efficiency over
// the same flow, each within bounds. Part of a pump, which supplies flow, power and pressures. Flows in m3/hr
// and kg/hr, speeds in rpm, heads in kJ/kg.
//
//   quiver solve PUMPPERFCURVE --fix FV_IN=80
#pragma once

#include "models/rotating/curves.h"
#include "procedures/calls.h"
#include "types/catalogue.h"

using namespace quiver::rotating;  // NOLINT(google-build-using-namespace,google-global-names-in-headers)

// A value as the curve has it, and what it is held between.
#define RAW_AND_BOUNDS(RAW, LOWEST, HIGHEST) \
  VARIABLE(QV_NOTYPE, RAW)                   \
  PARAMETER(QV_REALPARAMETER, LOWEST)        \
  PARAMETER(QV_REALPARAMETER, HIGHEST)

struct QV_EXPORT QV_PUMPPERFCURVE : QV_GENERICMODEL {
  MODEL_TEXT(PUMPPERFCURVE)

  GLOBAL(ADVERSION)
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALPDRIVEN, "Simulation is pressure driven")
  GLOBAL(PI)
  GLOBAL(UCF1)  // hours to seconds
  EXTERNAL(QV_POWER, BPOWER)
  EXTERNAL(QV_FLOW_MOL, F_IN)
  EXTERNAL(QV_FLOW_VOL, FV_IN)
  EXTERNAL(QV_PRESSURE, P)
  EXTERNAL(QV_PRESS_DIFF, PDIFF)
  EXTERNAL(QV_POS_LARGE, PRATIO)
  PARAMETER(QV_STRINGPARAMETER, BLOCKVERSION)
  PARAMETER(QV_REALPARAMETER, LATESTVERSION)
  PARAMETER(QV_LOGICALPARAMETER, PDRIVEN, "Model is pressure driven")
  PARAMETER(QV_CURVEFORMATTYPE_PUMPPERFCURVE, CURVEFORMAT, "Performance curve format")
  PARAMETER(QV_PERFVARTYPE_PUMPPERFCURVE, PERFVAR, "Performance variable")
  PARAMETER(QV_EFFVARTYPE_PUMPPERFCURVE, EFFVAR, "Efficiency variable")
  PARAMETER(QV_FLOWVARTYPE_PUMPPERFCURVE, FLOWVAR, "Flow variable")
  PARAMETER(QV_INTEGERPARAMETER, NCURVE, "Number of curves")
  PARAMETER(QV_INTEGERPARAMETER, NPOINT, "Maximum number of points per performance curve")
  PARAMETER(QV_INTEGERPARAMETER, NPOINTE, "Maximum number of points per efficiency curve")
  SET(QV_INTEGERSET, NCURVES)
  ARRAY(QV_INTEGERPARAMETER, NPOINTS, OVER(NCURVES), "Number of points per performance curve")
  ARRAY(QV_INTEGERPARAMETER, NPOINTSE, OVER(NCURVES), "Number of points per efficiency curve")
  PARAMETER(QV_INTEGERPARAMETER, NCT, "Number of tabular data curves")
  PARAMETER(QV_INTEGERPARAMETER, NPT, "Number of points per performance curve")
  PARAMETER(QV_INTEGERPARAMETER, NPTE, "Number of points per efficiency curve")
  PARAMETER(QV_INTEGERPARAMETER, NCP, "Number of polynomial curves")
  PARAMETER(QV_YESNO, EXTRAPOLATEAFFL, "Extrapolate using affinity laws")
  PARAMETER(QV_INTERPOLATIONTYPE_PUMPPERFCURVE, INTERPOLATIONMETH, "Interpolation method ")  // with the blank
  VARIABLE(QV_VEL_ANGULAR, ACTSHAFTSPEED, "Operating shaft speed")
  VARIABLE(QV_VEL_ANGULAR, REFSHAFTSPEED, "Reference shaft speed")
  VARIABLE(QV_POS_SMALL, AFFEE, "Affinity law exponent for efficiency")
  VARIABLE(QV_POS_SMALL, AFFEH, "Affinity law exponent for head")
  VARIABLE(QV_POS_SMALL, AFFEP, "Affinity law exponent for power")
  ARRAY(QV_VEL_ANGULAR, CSPEED, OVER(NCURVES), "Shaft speed for curve")
  CURVE_TABLE(QV_FLOW_VOL, VOLFLOWTAB, "Inlet volume flow values")
  CURVE_TABLE(QV_FLOW_MASS, MASSFLOWTAB, "Inlet mass flow values")
  CURVE_TABLE(QV_FLOW_VOL_RPM, VOLFLOWNTAB, "Inlet volume flow per shaft speed values")
  CURVE_TABLE(QV_POS_LARGE, FLOWCOEFTAB, "Flow coefficient values")
  CURVE_TABLE(QV_HEAD, HEADTAB, "Head values")
  CURVE_TABLE(QV_POS_LARGE, HEADCOEFTAB, "Head coefficient values")
  CURVE_TABLE(QV_POWER, POWERTAB, "Power values")
  CURVE_TABLE(QV_PRESSURE, PRESTAB, "Pressure values")
  CURVE_TABLE(QV_POS_LARGE, PRESRATIOTAB, "Pressure ratio values")
  CURVE_TABLE(QV_PRESS_DIFF, PRESDIFFTAB, "Pressure difference values")
  CURVE_TABLE(QV_FLOW_VOL, VOLFLOWTABE, "Inlet volume flow values")
  CURVE_TABLE(QV_FLOW_MASS, MASSFLOWTABE, "Inlet mass flow values")
  CURVE_TABLE(QV_FLOW_VOL_RPM, VOLFLOWNTABE, "Inlet volume flow per shaft speed values")
  CURVE_TABLE(QV_POS_LARGE, FLOWCOEFTABE, "Flow coefficient values")
  CURVE_TABLE(QV_FRACTION, EFFTAB, "Efficiency values")
  CURVE_TABLE(QV_REALPARAMETER, COEFP, "Polynomial coefficients for performance curves")
  CURVE_TABLE(QV_REALPARAMETER, COEFE, "Polynomial coefficients for efficiency curves")
  VARIABLE(QV_POS_LARGE, SCALEH, "Scale factor for head curves")
  VARIABLE(QV_POS_LARGE, SCALEE, "Scale factor for efficiency curves")
  VARIABLE(QV_FLOW_VOL, FV_INREF, "Inlet volume flow at reference shaft speed")
  VARIABLE(QV_FLOW_MASS, FM_IN, "Inlet mass flow")
  VARIABLE(QV_FLOW_MASS, FM_INREF, "Inlet mass flow at reference shaft speed")
  VARIABLE(QV_POS_LARGE, FLOWCOEF, "Flow coefficient")
  VARIABLE(QV_FLOW_VOL_RPM, FV_N, "Inlet volume flow per shaft speed")
  VARIABLE(QV_MOLWEIGHT, MW_IN, "Molar weight")
  VARIABLE(QV_HEAD, HEAD, "Head")
  VARIABLE(QV_HEAD, HEADREF, "Head at reference speed")
  VARIABLE(QV_POS_LARGE, HEADCOEF, "Head coefficient")
  VARIABLE(QV_POS_LARGE, HEADCOEFREF, "Head coefficient at reference speed")
  VARIABLE(QV_POWER, BPOWERREF, "Brake power at reference speed")
  VARIABLE(QV_FRACTION, EFF, "Efficiency")
  VARIABLE(QV_FRACTION, EFFREF, "Efficiency at reference speed")
  VARIABLE(QV_VELOCITY, TIPSPEED, "Impeller tip speed")
  VARIABLE(QV_VELOCITY, TIPSPEEDREF, "Reference impeller tip speed")
  VARIABLE(QV_LENGTH, IMPDIAM, "Impeller diameter")
  VARIABLE(QV_POS_LARGE, NS_BEP, "Specific speed at best efficiency point")
  VARIABLE(QV_AREA, DISTHROATAREA, "Discharge throat area")
  VARIABLE(QV_LENGTH, DISTHROATDIAM, "Discharge throat diameter")
  PARAMETER(QV_INTEGERPARAMETER, NPOINTD)
  CURVE_ROW(QV_REALPARAMETER, VOLFLOWR)
  CURVE_ROW(QV_REALPARAMETER, HEADR)
  CURVE_ROW(QV_REALPARAMETER, EFFR)
  RAW_AND_BOUNDS(FV_INU, FVMIN, FVMAX)
  RAW_AND_BOUNDS(FM_INU, FMMIN, FMMAX)
  RAW_AND_BOUNDS(FLOWCOEFU, FLOWCOEFMIN, FLOWCOEFMAX)
  RAW_AND_BOUNDS(FV_NU, FV_NMIN, FV_NMAX)
  RAW_AND_BOUNDS(HEADU, HEADMIN, HEADMAX)
  RAW_AND_BOUNDS(HEADCOEFU, HEADCOEFMIN, HEADCOEFMAX)
  RAW_AND_BOUNDS(BPOWERU, BPOWERMIN, BPOWERMAX)
  RAW_AND_BOUNDS(PU, PRESSMIN, PRESSMAX)
  RAW_AND_BOUNDS(PRATIOU, PRATIOMIN, PRATIOMAX)
  RAW_AND_BOUNDS(PDIFFU, PDIFFMIN, PDIFFMAX)
  RAW_AND_BOUNDS(EFFU, EFFMIN, EFFMAX)

  void Assignments(Assigner& set) {
    set(PI, 3.141593);  // seven digits are meant
    set(UCF1, 3600.0);
    set(PDRIVEN, GLOBALPDRIVEN);
    set(CURVEFORMAT, "Tabular data");
    set(PERFVAR, "Head");
    set(EFFVAR, "Calculated");
    set(FLOWVAR, "Vol-Flow");
    set(INTERPOLATIONMETH, "Harwell");
    set(EXTRAPOLATEAFFL, "No");
    set(NCURVE, 1);
    set(NPOINT, 10);
    set(NPOINTE, 10);
    set.range(NCURVES, NCURVE.IntegerValue());
    set(NPOINTS, NPOINT);
    set(NPOINTSE, NPOINTE);
    set(ACTSHAFTSPEED, 3600.0);
    set(REFSHAFTSPEED, 3600.0);
    set(CSPEED, 3600.0);
    set.upper(HEADREF, 1e30);
    set(NS_BEP, 5500.0);
    set(NPOINTD, 10);
    const auto all = [&](double value, auto&... bounds) { (set(bounds, value), ...); };
    all(1e-5, FVMIN, FMMIN, FLOWCOEFMIN, FV_NMIN);
    all(0.0, HEADMIN, HEADCOEFMIN, BPOWERMIN, PRESSMIN, PRATIOMIN, PDIFFMIN);
    all(1e30, FVMAX, FMMAX, FLOWCOEFMAX, FV_NMAX, HEADMAX, HEADCOEFMAX, BPOWERMAX, PRESSMAX, PRATIOMAX, PDIFFMAX);
    set(EFFMIN, 1e-5);
    set(EFFMAX, 1.0);
    // At similar points head goes with the square of the speed, power with its cube, and the efficiency
    // stays.
    set(AFFEE, 0.0);
    set(AFFEH, 2.0);
    set(AFFEP, 3.0);

    SizeMap(*this, set);
    set.range(QV_EFFTAB_SET1, NCT.IntegerValue());
    set.range(QV_EFFTAB_SET2, NPTE.IntegerValue());
    Ranges(set, {&QV_COEFP_SET2, &QV_COEFE_SET2}, kCoefficients);
    Given(set, ACTSHAFTSPEED, REFSHAFTSPEED, CSPEED, AFFEE, AFFEH, AFFEP, IMPDIAM, NS_BEP);
    const auto flows = Flows();
    const auto results = Results();
    GivenTables(set, Chosen(FLOWVAR, flows), Chosen(PERFVAR, results), nullptr);
    if (is(EFFVAR, "Calculated")) Given(set, EFFTAB);
    DefaultMap(set);
  }

  void Equations(Equate& eq) {
    eq.when(is(FLOWVAR, "Mass-Flow"), [&] { eq("QV_Eqn1", FM_IN == F_IN * MW_IN); })
        .orWhen(is(FLOWVAR, "Vol-Flow/N"), [&] { eq("QV_Eqn2", FV_IN == FV_N * ACTSHAFTSPEED); })
        .orWhen(is(FLOWVAR, "Flow-Coef"), [&] {
          // The flow coefficient belongs to the discharge throat. Without the head coefficient its tip speed
          // has no equation and is the user's to give.
          eq("QV_Eqn3", FV_IN / UCF1 == FLOWCOEF * TIPSPEED * DISTHROATAREA);
          eq("QV_Eqn4", DISTHROATAREA == 0.25 * PI * DISTHROATDIAM * DISTHROATDIAM);
          // 5500 is the specific speed at which throat and impeller are of one diameter.
          eq("QV_Eqn5", 5500 * DISTHROATDIAM == IMPDIAM * NS_BEP);
        });
    if (is(PERFVAR, "Head-Coef")) {
      eq("QV_Eqn6", 60 * TIPSPEED == ACTSHAFTSPEED * PI * IMPDIAM);
      eq("QV_Eqn7", HEAD == 0.001 * HEADCOEF * sqr(TIPSPEED));
    }
    Curves(eq);
    if (AffinityLaws()) LawsOfSpeed(eq);
  }

 private:
  bool AffinityLaws() const { return is(EXTRAPOLATEAFFL, "Yes"); }

  struct Limited {
    QV_VarParam &raw, &lowest, &highest;
  };
  struct LimitedFlow : FlowChoice {
    Limited limited;
  };
  struct LimitedResult : ResultChoice {
    Limited limited;
  };

  std::array<LimitedFlow, 4> Flows() {
    return {{{{"Vol-Flow", kVolumeFlow, *FV_IN, FV_INREF, VOLFLOWTAB, VOLFLOWTABE}, {FV_INU, FVMIN, FVMAX}},
             {{"Mass-Flow", kMassFlow, FM_IN, FM_INREF, MASSFLOWTAB, MASSFLOWTABE}, {FM_INU, FMMIN, FMMAX}},
             {{"Vol-Flow/N", kFlowPerSpeed, FV_N, FV_N, VOLFLOWNTAB, VOLFLOWNTABE}, {FV_NU, FV_NMIN, FV_NMAX}},
             {{"Flow-Coef", kFlowCoefficient, FLOWCOEF, FLOWCOEF, FLOWCOEFTAB, FLOWCOEFTABE},
              {FLOWCOEFU, FLOWCOEFMIN, FLOWCOEFMAX}}}};
  }
  std::array<LimitedResult, 6> Results() {
    return {{{{"Head", kHead, HEAD, HEADREF, HEADTAB}, {HEADU, HEADMIN, HEADMAX}},
             {{"Head-Coef", kHeadCoefficient, HEADCOEF, HEADCOEFREF, HEADCOEFTAB},
              {HEADCOEFU, HEADCOEFMIN, HEADCOEFMAX}},
             {{"Power", kPower, *BPOWER, BPOWERREF, POWERTAB}, {BPOWERU, BPOWERMIN, BPOWERMAX}},
             {{"Dis-Pressure", kDischargePressure, *P, *P, PRESTAB}, {PU, PRESSMIN, PRESSMAX}},
             {{"Pres-Ratio", kPressureRatio, *PRATIO, *PRATIO, PRESRATIOTAB}, {PRATIOU, PRATIOMIN, PRATIOMAX}},
             {{"Pres-Change", kPressureChange, *PDIFF, *PDIFF, PRESDIFFTAB}, {PDIFFU, PDIFFMIN, PDIFFMAX}}}};
  }

  // With the affinity laws a curve is read at the reference speed, where it was measured, and carried over;
  // else at the operating one. The curve relates raw values. One of the two variables is held within its
  // bounds, the other is its raw value: the flow is what a pressure-driven simulation finds, the result what
  // a flow-driven one finds.
  void Curves(Equate& eq) {
    const auto flows = Flows();
    const auto results = Results();
    const LimitedFlow* flow = Chosen(FLOWVAR, flows);
    if (!flow) return;

    if (const LimitedResult* result = Chosen(PERFVAR, results)) {
      const bool at_reference = AffinityLaws() && result->HasReference();
      QV_VarParam& ordinate = at_reference ? result->reference : result->actual;
      QV_VarParam& abscissa = at_reference ? flow->reference : flow->actual;
      const Limited &y = result->limited, &x = flow->limited;
      const int number = Calls(flow->flow, result->result, kAnyKind).pump[AffinityLaws() ? 0 : 1];
      const auto& speed = at_reference ? REFSHAFTSPEED : ACTSHAFTSPEED;
      eq(Label(number), y.raw == PPUMPCURVE(CURVEFORMAT, NCURVE, NPOINT, NPOINTS, speed, CSPEED, result->table,
                                            flow->table, COEFP, x.raw, INTERPOLATIONMETH));
      eq.when(PDRIVEN.LogicalValue(), [&] {
          eq(Label(number + 2), ordinate == y.raw);
          eq(Label(number + 3), abscissa == PLIMIT(x.raw, x.lowest, x.highest));
        }).otherwise([&] {
          eq(Label(number + 1), ordinate == PLIMIT(y.raw, y.lowest, y.highest));
          eq(Label(number + 4), abscissa == x.raw);
        });
    }
    if (is(EFFVAR, "Calculated")) {
      const int number = Calls(flow->flow, kEfficiency, kAnyKind).pump[AffinityLaws() ? 0 : 1];
      const auto& speed = AffinityLaws() ? REFSHAFTSPEED : ACTSHAFTSPEED;
      const auto& abscissa = AffinityLaws() ? flow->reference : flow->actual;
      eq(Label(number), EFFU == PPUMPCURVE(CURVEFORMAT, NCURVE, NPOINTE, NPOINTSE, speed, CSPEED, EFFTAB,
                                           flow->efficiency_table, COEFE, abscissa, INTERPOLATIONMETH));
      eq(Label(number + 1), (AffinityLaws() ? EFFREF : EFF) == PLIMIT(EFFU, EFFMIN, EFFMAX));
    }
  }

  void LawsOfSpeed(Equate& eq) {
    eq.when(is(FLOWVAR, "Vol-Flow"), [&] { eq("QV_Eqn114", FV_INREF == REFSHAFTSPEED * (FV_IN / ACTSHAFTSPEED)); })
        .orWhen(is(FLOWVAR, "Mass-Flow"), [&] {
          eq("QV_Eqn115", FM_INREF == REFSHAFTSPEED * (FM_IN / ACTSHAFTSPEED));
        });

    const auto ratio = ACTSHAFTSPEED / REFSHAFTSPEED;
    if (is(PERFVAR, "Head")) eq("QV_Eqn116", HEAD == pow(ratio, AFFEH) * HEADREF);
    if (is(PERFVAR, "Head-Coef")) {
      eq("QV_Eqn117", 60 * TIPSPEEDREF == REFSHAFTSPEED * PI * IMPDIAM);
      eq("QV_Eqn118", HEADREF == 0.001 * HEADCOEFREF * sqr(TIPSPEEDREF));
      eq("QV_Eqn119", HEAD == pow(ratio, AFFEH) * HEADREF);
    }
    if (is(PERFVAR, "Power")) eq("QV_Eqn120", BPOWER == pow(ratio, AFFEP) * BPOWERREF);
    if (is(EFFVAR, "Calculated")) eq("QV_Eqn121", EFF == pow(ratio, AFFEE) * EFFREF);
  }

  // A centrifugal pump, as parts of its rated point (the seventh). At no flow the efficiency column has 0.2,
  // not zero, as published.
  static constexpr ReducedPoint kReduced[] = {
      {0.0, 1.25, 0.2},     {0.1667, 1.24, 0.4}, {0.3333, 1.23, 0.595}, {0.5, 1.21, 0.765},  {0.6667, 1.17, 0.893},
      {0.8333, 1.11, 0.975}, {1.0, 1.0, 1.0},    {1.1667, 0.82, 0.93},  {1.3333, 0.49, 0.6}, {1.4167, 0.0, 0.2}};
  static constexpr DesignPoint kRated = {100.0, 0.5, 0.75};

  void DefaultMap(Assigner& set) {
    ReducedCurve(*this, set, kReduced);
    if (!is(CURVEFORMAT, "Tabular data")) return;
    if (is(FLOWVAR, "Vol-Flow") && is(PERFVAR, "Head")) {
      FillCurves(set, HEADTAB, HEADR, kRated.head_kj_per_kg);
      FillCurves(set, EFFTAB, EFFR, kRated.efficiency);
    }
    const auto flow = [&](auto& table, auto& efficiency_table) {
      FillCurves(set, table, VOLFLOWR, kRated.volume_flow_m3_per_h);
      FillCurves(set, efficiency_table, VOLFLOWR, kRated.volume_flow_m3_per_h);
    };
    if (is(FLOWVAR, "Flow-Coef"))
      flow(FLOWCOEFTAB, FLOWCOEFTABE);
    else if (is(FLOWVAR, "Vol-Flow/N"))
      flow(VOLFLOWNTAB, VOLFLOWNTABE);
    else if (is(FLOWVAR, "Mass-Flow"))
      flow(MASSFLOWTAB, MASSFLOWTABE);
    else if (is(FLOWVAR, "Vol-Flow"))
      flow(VOLFLOWTAB, VOLFLOWTABE);
  }
};
