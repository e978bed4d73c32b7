// SPDX-License-Identifier: Apache-2.0
// Performance map of a compressor: head, head coefficient, power or a pressure over a flow, the efficiency
// over the same flow, and how far the operating point is from surge and stonewall. Part of a compressor,
// which supplies suction flow and pressures. Flows in m3/hr and kg/hr, speeds in rpm, heads in kJ/kg.
//
//   quiver solve COMPRPERFCURVE --fix FV_IN=9000 --fix ACTSHAFTSPEED=3300
#pragma once

#include "models/rotating/curves.h"
#include "procedures/calls.h"
#include "types/catalogue.h"

using namespace quiver::rotating;  // NOLINT(google-build-using-namespace,google-global-names-in-headers)

struct QV_EXPORT QV_COMPRPERFCURVE : QV_GENERICMODEL {
  MODEL_TEXT(COMPRPERFCURVE)

  GLOBAL(ADVERSION)
  GLOBAL(PI)
  EXTERNAL(QV_PRESSURE, P)
  EXTERNAL(QV_POS_SMALL, PRATIO)
  PARAMETER(QV_STRINGPARAMETER, BLOCKVERSION)
  PARAMETER(QV_REALPARAMETER, LATESTVERSION)
  PARAMETER(QV_CURVEFORMATTYPE_COMPRPERFCURVE, CURVEFORMAT, "Performance curve format")
  PARAMETER(QV_PERFVARTYPE_COMPRPERFCURVE, PERFVAR, "Performance variable")
  PARAMETER(QV_EFFVARTYPE_COMPRPERFCURVE, EFFVAR, "Efficiency variable")
  PARAMETER(QV_FLOWVARTYPE_COMPRPERFCURVE, FLOWVAR, "Flow variable")
  PARAMETER(QV_INTEGERPARAMETER, NCURVE, "Number of curves")
  PARAMETER(QV_INTEGERPARAMETER, NPOINT, "Maximum number of points per performance curve")
  PARAMETER(QV_INTEGERPARAMETER, NPOINTE, "Maximum number of points per efficiency curve")
  SET(QV_INTEGERSET, NCURVES)
  ARRAY(QV_INTEGERPARAMETER, NPOINTS, OVER(NCURVES), "Number of points per performance curve")
  ARRAY(QV_INTEGERPARAMETER, NPOINTSE, OVER(NCURVES), "Number of points per efficiency curve")
  PARAMETER(QV_INTEGERPARAMETER, NCT, "Number of tabular data curves")
  PARAMETER(QV_INTEGERPARAMETER, NPT, "Number of points per performance curve")
  PARAMETER(QV_INTEGERPARAMETER, NPTE, "Number of points per efficiency curve")
  PARAMETER(QV_INTEGERPARAMETER, NCOEFS, "Number of coefficients in the performance curve polynomial")
  PARAMETER(QV_INTEGERPARAMETER, NCP, "Number of polynomial curves")
  PARAMETER(QV_YESNO, EXTRAPOLATESS, "Extrapolate beyond surge/stonewall")
  PARAMETER(QV_YESNO, EXTRAPOLATEESS, "Extrapolate efficiency beyond surge/stonewall")
  PARAMETER(QV_YESNO, EXTRAPOLATEFANL, "Extrapolate using Fan laws")
  PARAMETER(QV_HEADCALCTYPE_COMPRPERFCURVE, HEADCALC, "Head calculation type")
  PARAMETER(QV_INTERPOLATIONTYPE_COMPRPERFCURVE, INTERPOLATIONMETH, "Interpolation method")
  PARAMETER(QV_OFFDESIGNOPTION_COMPRPERFCURVE, OFFDESIGN, "Off-design adjustment option")
  PARAMETER(QV_CORRECTEDFLOWOPTION_COMPRPERFCURVE, CORRECTEDFLOW, "Corrected flow option")
  PARAMETER(QV_CURVEDIMENSIONOPTION_COMPRPERFCURVE, CURVEDIM, "Dimensinoless curve types")
  PARAMETER(QV_DEFPRATIO_COMPRPERFCURVE, DEFINEPRATIO, "Definitions of pressure ratio")
  VARIABLE(QV_POS_SMALL, CORRECTEDFACTORFLOW, "Corrected flow rate conversion factor")
  VARIABLE(QV_POS_SMALL, CORRECTEDFACTORPOWER, "Corrected power conversion factor")
  VARIABLE(QV_POS_SMALL, CORRECTEDFACTORSPEED, "Corrected Speed conversion factor")
  PARAMETER(QV_PINUNITS_COMPRPERFCURVE, PINUNIT, "Unit of inlet pressure used in quasi-dimensionless curves")
  PARAMETER(QV_TINUNITS_COMPRPERFCURVE, TINUNIT, "Unit of inlet temperature used in quasi-dimensionless curves")
  PARAMETER(QV_GASCONSTUNITS_COMPRPERFCURVE, GASCONSTUNIT, "Unit of gas constant used in quasi-dimensionless curves")
  VARIABLE(QV_POS_LARGE, PINVAL, "Value of inlet pressure used in quasi-dimensionless curves")
  VARIABLE(QV_POS_LARGE, TINVAL, "Value of inlet temperature used in quasi-dimensionless curves")
  VARIABLE(QV_POS_LARGE, GASCONSTVAL, "Value of gas constant used in quasi-dimensionless curves")
  VARIABLE(QV_VEL_ANGULAR, ACTSHAFTSPEED, "Operating shaft speed")
  VARIABLE(QV_VEL_ANGULAR, REFSHAFTSPEED, "Reference shaft speed")
  VARIABLE(QV_POS_SMALL, FANEE, "Fan law exponent for efficiency")
  VARIABLE(QV_POS_SMALL, FANEH, "Fan law exponent for head")
  VARIABLE(QV_POS_SMALL, FANEP, "Fan law exponent for power")
  ARRAY(QV_VEL_ANGULAR, CSPEED, OVER(NCURVES), "Shaft speed for curve")
  CURVE_TABLE(QV_FLOW_VOL, VOLFLOWTAB, "Suction volume flow values")
  CURVE_TABLE(QV_FLOW_MASS, MASSFLOWTAB, "Mass flow values")
  CURVE_TABLE(QV_FLOW_VOL_RPM, VOLFLOWNTAB, "Suction volume flow per shaft speed values")
  CURVE_TABLE(QV_POS_LARGE, FLOWCOEFTAB, "Flow coefficient values")
  CURVE_TABLE(QV_HEAD, HEADTAB, "Head values (Polytropic/Isentropic)")
  CURVE_TABLE(QV_POS_LARGE, HEADCOEFTAB, "Head coefficient values")
  CURVE_TABLE(QV_POWER, POWERTAB, "Power values")
  CURVE_TABLE(QV_PRESSURE, PRESTAB, "Pressure values")
  CURVE_TABLE(QV_POS_SMALL, PRESRATIOTAB, "Pressure ratio values")
  CURVE_TABLE(QV_PRESS_DIFF, PRESDIFFTAB, "Pressure difference values")
  CURVE_TABLE(QV_FLOW_VOL, VOLFLOWTABE, "Suction volume flow values for efficiency curves")
  CURVE_TABLE(QV_FLOW_MASS, MASSFLOWTABE, "Mass flow values for efficiency curves")
  CURVE_TABLE(QV_FLOW_VOL_RPM, VOLFLOWNTABE, "Suction volume flow per shaft speed values for efficiency curves")
  CURVE_TABLE(QV_POS_LARGE, FLOWCOEFTABE, "Flow coefficient values for efficiency curves")
  CURVE_TABLE(QV_FRACTION, PEFFTAB, "Polytropic efficiency values")
  CURVE_TABLE(QV_FRACTION, IEFFTAB, "Isentropic efficiency values")
  CURVE_TABLE(QV_REALPARAMETER, COEFP, "Polynomial coefficients for performance curves")
  CURVE_TABLE(QV_REALPARAMETER, COEFE, "Polynomial coefficients for efficiency curves")
  CURVE_ROW(QV_NOTYPE, SURGEP, "Surge value for polynomial performance curves")
  CURVE_ROW(QV_NOTYPE, SURGEE, "Surge value for polynomial efficiency curves")
  CURVE_ROW(QV_NOTYPE, SWALLP, "Stonewall value for polynomial performance curves")
  CURVE_ROW(QV_NOTYPE, SWALLE, "Stonewall value for polynomial efficiency curves")
  VARIABLE(QV_POS_LARGE, SCALEH, "Scale factor for head curves")
  VARIABLE(QV_POS_LARGE, SCALEE, "Scale factor for efficiency curves")
  CURVE_ROW(QV_NOTYPE, COEFSURGE, "Polynomial coefficients for surge performance curve")
  VARIABLE(QV_LENGTH, IMPDIAM, "Impeller diameter")
  VARIABLE(QV_FLOW_MOL, F_IN)
  VARIABLE(QV_FLOW_VOL, FV_IN)
  VARIABLE(QV_POWER, BPOWER)
  VARIABLE(QV_PRESS_DIFF, PDIFF)
  VARIABLE(QV_FLOW_VOL, FV_INREF, "Suction volume flow at reference speed")
  VARIABLE(QV_FLOW_MASS, FM_IN, "Mass flow")
  VARIABLE(QV_FLOW_MASS, FM_INREF, "Mass flow at reference speed")
  VARIABLE(QV_POS_LARGE, FLOWCOEF, "Flow coefficient")
  VARIABLE(QV_FLOW_VOL_RPM, FV_N, "Suction volume flow per shaft speed")
  VARIABLE(QV_MOLWEIGHT, MW_IN, "Molar weight")
  VARIABLE(QV_HEAD, POLYHEAD, "Polytropic head")
  VARIABLE(QV_HEAD, POLYHEADREF, "Polytropic head at reference speed")
  VARIABLE(QV_HEAD, ISENHEAD, "Isentropic head")
  VARIABLE(QV_HEAD, ISENHEADREF, "Isentropic head at reference speed")
  VARIABLE(QV_POS_LARGE, HEADCOEF, "Head coefficient")
  VARIABLE(QV_POS_LARGE, HEADCOEFREF, "Head coefficient at reference speed")
  VARIABLE(QV_POWER, BPOWERREF, "Brake power at reference speed")
  VARIABLE(QV_FRACTION, PEFF, "Polytropic efficiency")
  VARIABLE(QV_FRACTION, PEFFREF, "Polytropic efficiency at reference speed")
  VARIABLE(QV_FRACTION, IEFF, "Isentropic efficiency")
  VARIABLE(QV_FRACTION, IEFFREF, "Isentropic efficiency at reference speed")
  VARIABLE(QV_PERCENTU, ABVSRG, "% above surge")
  VARIABLE(QV_PERCENTU, BLWSWL, "% below stonewall")
  VARIABLE(QV_PERCENTU, ABVSRGE, "% above surge for efficiency curve")
  VARIABLE(QV_PERCENTU, BLWSWLE, "% below stonewall for efficiency curve")
  VARIABLE(QV_VELOCITY, TIPSPEED, "Impeller tip speed")
  VARIABLE(QV_VELOCITY, TIPSPEEDREF, "Reference impeller tip speed")
  VARIABLE(QV_NOTYPE, EFFU)
  PARAMETER(QV_REALPARAMETER, EFFMIN)
  PARAMETER(QV_REALPARAMETER, EFFMAX)
  PARAMETER(QV_INTEGERPARAMETER, NPOINTD)
  CURVE_ROW(QV_REALPARAMETER, VOLFLOWR)
  CURVE_ROW(QV_REALPARAMETER, HEADR)
  CURVE_ROW(QV_REALPARAMETER, EFFR)

  void Assignments(Assigner& set) {
    set(PI, 3.141593);  // seven digits are meant
    set(CURVEFORMAT, "Tabular data");
    set(PERFVAR, "Head");
    set(EFFVAR, "Isentropic");
    set(FLOWVAR, "Vol-Flow");
    set(HEADCALC, "Isentropic");
    set(INTERPOLATIONMETH, "Harwell");
    set(OFFDESIGN, "None");
    set(CORRECTEDFLOW, "Based on T and P");
    set(CURVEDIM, "Quasi");
    set(DEFINEPRATIO, "Pout/Pin");
    set(PINUNIT, "Bar");
    set(TINUNIT, "C");
    set(GASCONSTUNIT, "CAL/MOL-K");
    set(EXTRAPOLATESS, "No");
    set(EXTRAPOLATEESS, "Yes");
    set(EXTRAPOLATEFANL, "Yes");
    set(NCURVE, 1);
    set(NPOINT, 10);
    set(NPOINTE, 10);
    set.range(NCURVES, NCURVE.IntegerValue());
    set(NPOINTS, NPOINT);
    set(NPOINTSE, NPOINTE);
    set(ACTSHAFTSPEED, 3600.0);
    set(REFSHAFTSPEED, 3600.0);
    set(EFFMIN, 1e-5);
    set(EFFMAX, 1.0);
    set(NPOINTD, 10);
    set(CSPEED, 3600.0);
    // At similar points of geometrically similar machines head goes with the square of the speed, power with
    // its cube, and the efficiency stays.
    set(FANEE, 0.0);
    set(FANEH, 2.0);
    set(FANEP, 3.0);

    set(NCOEFS, kCoefficients);
    SizeMap(*this, set);
    Ranges(set, {&QV_PEFFTAB_SET1, &QV_IEFFTAB_SET1}, NCT.IntegerValue());
    Ranges(set, {&QV_PEFFTAB_SET2, &QV_IEFFTAB_SET2}, NPTE.IntegerValue());
    Ranges(set, {&QV_COEFP_SET2, &QV_COEFE_SET2}, NCOEFS.IntegerValue());
    Ranges(set, {&QV_SURGEP_SET1, &QV_SURGEE_SET1, &QV_SWALLP_SET1, &QV_SWALLE_SET1}, NCP.IntegerValue());
    set.range(QV_COEFSURGE_SET1, 3);

    Given(set, ACTSHAFTSPEED, REFSHAFTSPEED, CSPEED, FANEE, FANEH, FANEP, SWALLP, SWALLE, IMPDIAM);
    const bool surge_by_speed = is(CURVEFORMAT, "Extended Polynomials");
    for (auto* surge : {&SURGEP, &SURGEE}) set.spec(*surge, surge_by_speed ? QV_SPEC_COMPUTED : QV_SPEC_GIVEN);
    if (surge_by_speed) Given(set, COEFSURGE);
    const auto flows = Flows();
    const auto results = Results();
    const auto efficiencies = Efficiencies();
    GivenTables(set, Chosen(FLOWVAR, flows), Chosen(PERFVAR, results), Chosen(EFFVAR, efficiencies));
    DefaultMap(set);
  }

  void Equations(Equate& eq) {
    eq.when(is(FLOWVAR, "Mass-Flow"), [&] { eq("QV_Eqn1", FM_IN == F_IN * MW_IN); })
        .orWhen(is(FLOWVAR, "Vol-Flow/N"), [&] { eq("QV_Eqn2", FV_IN == FV_N * ACTSHAFTSPEED); })
        .orWhen(is(FLOWVAR, "Flow-Coeff"), [&] {
          eq("QV_Eqn3", FV_IN == FLOWCOEF * (60 * ACTSHAFTSPEED) * pow(IMPDIAM, 3));
        });

    // In kJ/kg: the square of the tip speed is in J/kg.
    if (is(PERFVAR, "Head-Coef")) {
      eq("QV_Eqn4", 60 * TIPSPEED == ACTSHAFTSPEED * PI * IMPDIAM);
      eq.when(is(HEADCALC, "Polytropic"), [&] { eq("QV_Eqn5", POLYHEAD == 0.001 * HEADCOEF * sqr(TIPSPEED)); })
          .orWhen(is(HEADCALC, "Isentropic"), [&] { eq("QV_Eqn6", ISENHEAD == 0.001 * HEADCOEF * sqr(TIPSPEED)); });
    }
    if (is(CURVEFORMAT, "Extended Polynomials")) {
      const auto& speed = ACTSHAFTSPEED;
      eq.each(QV_SURGEP_SET1, [&](int i) {
        eq("QV_Eqn7", SURGEP(i) == COEFSURGE(1) + COEFSURGE(2) * speed + COEFSURGE(3) * speed * speed);
      });
      eq.each(QV_SURGEP_SET1, [&](int i) { eq("QV_Eqn8", SURGEP(i) == SURGEE(i)); });
    }
    Curves(eq);
    if (FanLaws()) LawsOfSpeed(eq);
  }

 private:
  bool FanLaws() const { return is(EXTRAPOLATEFANL, "Yes"); }
  Kind HeadKind() const {
    return is(HEADCALC, "Polytropic") ? kPolytropic : is(HEADCALC, "Isentropic") ? kIsentropic : kAnyKind;
  }

  std::array<FlowChoice, 4> Flows() {
    return {{{"Vol-Flow", kVolumeFlow, FV_IN, FV_INREF, VOLFLOWTAB, VOLFLOWTABE},
             {"Mass-Flow", kMassFlow, FM_IN, FM_INREF, MASSFLOWTAB, MASSFLOWTABE},
             {"Vol-Flow/N", kFlowPerSpeed, FV_N, FV_N, VOLFLOWNTAB, VOLFLOWNTABE},
             {"Flow-Coeff", kFlowCoefficient, FLOWCOEF, FLOWCOEF, FLOWCOEFTAB, FLOWCOEFTABE}}};
  }
  std::array<ResultChoice, 6> Results() {
    const bool polytropic = HeadKind() == kPolytropic;
    return {{{"Head", kHead, polytropic ? POLYHEAD : ISENHEAD, polytropic ? POLYHEADREF : ISENHEADREF, HEADTAB},
             {"Head-Coef", kHeadCoefficient, HEADCOEF, HEADCOEFREF, HEADCOEFTAB},
             {"Power", kPower, BPOWER, BPOWERREF, POWERTAB},
             {"Dis-Pressure", kDischargePressure, *P, *P, PRESTAB},
             {"Pres-Ratio", kPressureRatio, *PRATIO, *PRATIO, PRESRATIOTAB},
             {"Pres-Change", kPressureChange, PDIFF, PDIFF, PRESDIFFTAB}}};
  }
  std::array<ResultChoice, 2> Efficiencies() {
    return {{{"Polytropic", kEfficiency, PEFF, PEFFREF, PEFFTAB}, {"Isentropic", kEfficiency, IEFF, IEFFREF, IEFFTAB}}};
  }

  // With the fan laws a curve is read at the reference speed, where it was measured, and carried over; else
  // at the operating one.
  void Curves(Equate& eq) {
    const auto flows = Flows();
    const auto results = Results();
    const auto efficiencies = Efficiencies();
    const FlowChoice* flow = Chosen(FLOWVAR, flows);
    if (!flow) return;

    const ResultChoice* result = Chosen(PERFVAR, results);
    if (result && result->result == kHead && HeadKind() == kAnyKind) result = nullptr;  // no head to read
    if (result) {
      const bool at_reference = FanLaws() && result->HasReference();
      const auto& speed = at_reference ? REFSHAFTSPEED : ACTSHAFTSPEED;
      eq(Label(Calls(flow->flow, result->result, HeadKind()).compressor[FanLaws() ? 0 : 1]),
         outputs(at_reference ? result->reference : result->actual, ABVSRG, BLWSWL) ==
             PPCURVE(CURVEFORMAT, NCURVE, NPOINT, NPOINTS, EXTRAPOLATESS, speed, CSPEED, result->table, flow->table, COEFP,
                     SURGEP, SWALLP, at_reference ? flow->reference : flow->actual, INTERPOLATIONMETH));
    }
    if (const ResultChoice* efficiency = Chosen(EFFVAR, efficiencies)) {
      const Kind kind = is(EFFVAR, "Polytropic") ? kPolytropic : kIsentropic;
      const int number = Calls(flow->flow, kEfficiency, kind).compressor[FanLaws() ? 0 : 1];
      eq(Label(number), outputs(EFFU, ABVSRGE, BLWSWLE) ==
                            PPCURVE(CURVEFORMAT, NCURVE, NPOINTE, NPOINTSE, EXTRAPOLATEESS,
                                    FanLaws() ? REFSHAFTSPEED : ACTSHAFTSPEED, CSPEED, efficiency->table,
                                    flow->efficiency_table, COEFE, SURGEE, SWALLE,
                                    FanLaws() ? flow->reference : flow->actual, INTERPOLATIONMETH));
      eq(Label(number + 1), (FanLaws() ? efficiency->reference : efficiency->actual) == PLIMIT(EFFU, EFFMIN, EFFMAX));
    }
  }

  void LawsOfSpeed(Equate& eq) {
    // Crosswise: a machine that stands still has no division by its speed.
    eq.when(is(FLOWVAR, "Vol-Flow"), [&] { eq("QV_Eqn63", FV_IN * REFSHAFTSPEED == FV_INREF * ACTSHAFTSPEED); })
        .orWhen(is(FLOWVAR, "Mass-Flow"), [&] { eq("QV_Eqn64", FM_IN * REFSHAFTSPEED == FM_INREF * ACTSHAFTSPEED); });

    const auto ratio = ACTSHAFTSPEED / REFSHAFTSPEED;
    if (is(PERFVAR, "Head")) {
      eq.when(HeadKind() == kPolytropic, [&] { eq("QV_Eqn65", POLYHEAD == POLYHEADREF * pow(ratio, FANEH)); })
          .orWhen(HeadKind() == kIsentropic, [&] { eq("QV_Eqn66", ISENHEAD == ISENHEADREF * pow(ratio, FANEH)); });
    }
    if (is(PERFVAR, "Head-Coef")) {
      eq("QV_Eqn67", 60 * TIPSPEEDREF == REFSHAFTSPEED * PI * IMPDIAM);
      eq.when(HeadKind() == kPolytropic, [&] {
          eq("QV_Eqn68", POLYHEADREF == 0.001 * HEADCOEFREF * sqr(TIPSPEEDREF));
          eq("QV_Eqn69", POLYHEAD == POLYHEADREF * pow(ratio, FANEH));
        }).orWhen(HeadKind() == kIsentropic, [&] {
          eq("QV_Eqn70", ISENHEADREF == 0.001 * HEADCOEFREF * sqr(TIPSPEEDREF));
          eq("QV_Eqn71", ISENHEAD == ISENHEADREF * pow(ratio, FANEH));
        });
    }
    if (is(PERFVAR, "Power")) eq("QV_Eqn72", BPOWER == BPOWERREF * pow(ratio, FANEP));
    eq.when(is(EFFVAR, "Polytropic"), [&] { eq("QV_Eqn73", PEFF == PEFFREF * pow(ratio, FANEE)); })
        .orWhen(is(EFFVAR, "Isentropic"), [&] { eq("QV_Eqn74", IEFF == IEFFREF * pow(ratio, FANEE)); });
  }

  // A centrifugal machine, as parts of its design point (the sixth). Its best efficiency, 1.04 times that of
  // the design point, must not pass 1.
  static constexpr ReducedPoint kReduced[] = {
      {0.0, 0.49, 0.0}, {0.09, 0.64, 0.31}, {0.32, 0.79, 0.64}, {0.43, 0.84, 0.76}, {0.77, 0.96, 0.94},
      {1.0, 1.0, 1.0},  {1.45, 1.07, 1.04}, {1.91, 1.14, 0.97}, {2.36, 1.18, 0.63}, {2.82, 1.19, 0.17}};
  static constexpr DesignPoint kDesign = {10000.0, 50.0, 0.8};

  void DefaultMap(Assigner& set) {
    ReducedCurve(*this, set, kReduced);
    if (!is(CURVEFORMAT, "Tabular data")) return;
    if (is(FLOWVAR, "Vol-Flow") && is(PERFVAR, "Head")) {
      FillCurves(set, HEADTAB, HEADR, kDesign.head_kj_per_kg);  // of the kind that HEADCALC names
      if (is(EFFVAR, "Isentropic"))
        FillCurves(set, IEFFTAB, EFFR, kDesign.efficiency);
      else if (is(EFFVAR, "Polytropic"))
        FillCurves(set, PEFFTAB, EFFR, kDesign.efficiency);
    }
    const auto flow = [&](auto& table, auto& efficiency_table) {
      FillCurves(set, table, VOLFLOWR, kDesign.volume_flow_m3_per_h);
      FillCurves(set, efficiency_table, VOLFLOWR, kDesign.volume_flow_m3_per_h);
    };
    // No value of FLOWVAR is "Flow-Coef": flow coefficients, which are far smaller numbers, get no default
    // column.
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
