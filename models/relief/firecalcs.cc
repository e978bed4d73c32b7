// SPDX-License-Identifier: Apache-2.0
// Heat that an external pool fire puts into a vessel: wetted area from geometry, level and elevation above the flame, credits,
// heat load by API 521, API 2000 or NFPA 30, and, on request, the discharge area of the relief device by the vapour sizing
// equation of API 520. Lengths in m, areas in m2, HEATLOAD in GJ/hr, DESIGNP in bar absolute.
//
// The correlations are stated in British units; their coefficients here carry the conversion: 10.763910416709722 square feet
// to a square metre, and Btu/hr to GJ/hr.
#include "frame/model.h"
#include "procedures/calls.h"
#include "types/catalogue.h"

struct QV_EXPORT QV_FIRECALCS : QV_GENERICMODEL {
  MODEL_TEXT(FIRECALCS)

  GLOBAL(BARM3_TO_GJ)
  GLOBAL(C_TO_K)
  GLOBAL(DEL_PL)
  GLOBAL(DEL_PU)
  GLOBAL(DEL_VL)
  GLOBAL(DEL_VU)
  GLOBAL(DELTA_T)
  GLOBAL(EPS)
  GLOBAL(F_MAX, "Flow rate upper limit (kmol/hr)")
  GLOBAL(G, "Acceleration due to gravity (m/s2)")
  GLOBAL(GJ_TO_KJ)
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALLIQHEAD, "Liquid outlet pressure includes hydrostatic head")
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALPDRIVEN, "Simulation is pressure driven")
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALRFLOW, "Simulation supports reverse flow")
  GLOBAL(HR_TO_S)
  GLOBAL(KW_TO_GJ_HR)
  GLOBAL(N_M2_TO_BAR)
  GLOBAL(ONE)
  GLOBAL(P_MAX, "Pressure upper limit (bar)")
  GLOBAL(P_MIN, "Pressure lower limit (bar)")
  GLOBAL(PI)
  GLOBAL(STRAVAIL)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(TAMB, "Ambient Temperature")
  GLOBAL(V_HEEL)
  GLOBAL_OF(QV_STRINGPARAMETER, WATERID, "Water component ID")
  GLOBAL(ZERO)

  PARAMETER(QV_REALPARAMETER, MJ_TO_GJ)
  PARAMETER(QV_REALPARAMETER, DEL_VL1)
  PARAMETER(QV_REALPARAMETER, DEL_VL2)
  PARAMETER(QV_YESNO, ISEXPORTEDSSMODEL, "Is this an exported steady state model?")
  PARAMETER(QV_YESNO, PHASEVOLSPEC, "Is a phase volume or phase residence time specified?")
  PARAMETER(QV_REALPARAMETER, FRAC_MIN, "Minimum liquid/vapor fractions for ramping")
  PARAMETER(QV_STRINGPARAMETER, INERT, "Inert component")
  PARAMETER(QV_YESNO, CONVERGED, "Convergence status flag")
  PARAMETER(QV_INTEGERPARAMETER, NURID, "Number of User reaction IDs")
  PARAMETER(QV_INTEGERPARAMETER, NRUTOT, "Total number of User reactions")
  PARAMETER(QV_INTEGERPARAMETER, NRID, "Total number of reaction IDs")
  SET(QV_INTEGERSET, UREACTIONS)
  SET(QV_INTEGERSET, NRTYPE)
  SET(QV_INTEGERSET, NURTYPE)
  PARAMETER(QV_YESNO, DISABLEREACS, "Disable reactions?")
  PARAMETER(QV_FIRESTANDARDTYPE_FIRECALCS, FIRESTANDARD, "API/NFPA fire Standard")
  VARIABLE(QV_LENGTH, ELEVATION, "Elevation above source of flame")
  VARIABLE(QV_FRACTION, ENVFACTOR, "Environmental factor")
  VARIABLE(QV_FRACTION, DRAINFACTOR, "Drainage factor")
  VARIABLE(QV_FRACTION, FACTOR, "Accumulated factor")
  PARAMETER(QV_YESNO, INSULCREDIT, "Insulation credit")
  PARAMETER(QV_YESNO, DRAINCREDIT, "Drainage credit")
  PARAMETER(QV_YESNO, WATERSPRAYCREDIT, "Water spray credit")
  PARAMETER(QV_YESNO, PORTABLETANK, "Portable tank")
  PARAMETER(QV_YESNO, REFRIGERATEDTANK, "Refrigerated tank")
  VARIABLE(QV_AREA, WETTEDAREA, "Wetted area considered in fire load calculation")
  VARIABLE(QV_ENTHFLOW, HEATLOAD, "Fire heat load")
  PARAMETER(QV_VESSTYPE, ORIENTATION, "Vessel type")
  PARAMETER(QV_HEADTYPE, H_TYPE, "Vessel head type")
  VARIABLE(QV_LENGTH, D_TANK, "Reactor diameter")
  VARIABLE(QV_LENGTH, L_TANK, "Reactor height")
  VARIABLE(QV_LENGTH, LEVEL, "Liquid level")
  VARIABLE(QV_LENGTH, FIRELEVEL, "Fire Liquid level")
  VARIABLE(QV_AREA, AWETTED, "Wetted wall surface area")
  VARIABLE(QV_AREA, AFIRE, "Wetted wall surface area for fire calculations")
  VARIABLE(QV_PRESSURE, DESIGNP, "Design Pressure for fire relief calculations")
  PARAMETER(QV_DISCHARGEAREACALCTYPE_FIRECALCS, DISCHARGEAREACALC)
  VARIABLE(QV_PRESSURE, PSET, "Set gauge Pressure")
  VARIABLE(QV_PRESSURE, POVERALLOW, "Allowable over Pressure")
  VARIABLE(QV_CONSTANT, DISCHARGE_COEFFICIENT, "Discharge coefficient")
  VARIABLE(QV_CONSTANT, CAPACITYFACTOR, "Capacity correction factor")
  VARIABLE(QV_REALVARIABLE, C, " Coefficient - expression of specific heats ratio")
  VARIABLE(QV_TEMPERATURE, T, "Vessel temperature")
  VARIABLE(QV_REALVARIABLE, TR, "Temperautre in degrees R for discharge area calculation")
  VARIABLE(QV_PRESSURE, PAMB, "Ambient pressure")
  VARIABLE(QV_PRESSURE, P1, "Upstream relieving Pressure")
  VARIABLE(QV_REALVARIABLE, ZC, "Compressibility factor")
  VARIABLE(QV_MOLWEIGHT, MW, "Mixture molecular weight")
  ARRAY(QV_MOLEFRACTION, Y, OVER(ComponentList), "Fire Vapor fraction")
  VARIABLE(QV_REALVARIABLE, WFLOW, "Fire Vapor Flow in lb/hr")
  VARIABLE(QV_FLOW_MOL, FV, "Vapor Mole Flow")
  VARIABLE(QV_AREA, ADISCHARGE, "Discharge area")

  void Assignments(Assigner& set) {
    set(BARM3_TO_GJ, 0.0001);
    set(C_TO_K, 273.15);
    set(DEL_PL, 0.0001);
    set(DEL_PU, 5.0);
    set(DEL_VL, -0.005);
    set(DEL_VU, -0.005);
    set(DELTA_T, 5.0);
    set(EPS, 1e-5);
    set(F_MAX, 1e6);
    set(G, 9.80665);
    set(GJ_TO_KJ, 1e6);
    set(HR_TO_S, 3600.0);
    set(KW_TO_GJ_HR, 0.0036);
    set(N_M2_TO_BAR, 1e-5);
    set(ONE, 1.0);
    set(P_MAX, 500.0);
    set(P_MIN, 1e-5);
    set(PI, 3.141593);  // seven digits are meant
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(V_HEEL, -0.001);
    set(WATERID, "Water");
    set(ZERO, 0.0);
    set(INSULCREDIT, "No");
    set(DRAINCREDIT, "No");
    set(WATERSPRAYCREDIT, "No");
    set(PORTABLETANK, "No");
    set(REFRIGERATEDTANK, "No");
    set(ORIENTATION, "Vertical");
    set(H_TYPE, "Elliptical");
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set(PAMB, 1.01325);
  }

  void Equations(Equate& eq) {
    const bool api_521 = is(FIRESTANDARD, "API-521");
    if (is(ORIENTATION, "Horizontal"))
      api_521 ? HorizontalBelow25Feet(eq) : Horizontal(eq);
    else if (api_521)
      Vertical(eq, {7.62, "QV_If6", "QV_Eqn13", "QV_Eqn14", "QV_Eqn15", "QV_If7", "QV_Eqn16", "QV_Eqn17",
                    {"QV_If8", "QV_Eqn19", "QV_Eqn18", "QV_Eqn20"}, "QV_Eqn21", "QV_Eqn22",
                    {"QV_If10", "QV_Eqn24", "QV_Eqn23", "QV_Eqn25"}});
    else
      Vertical(eq, {9.144, "QV_If12", "QV_Eqn26", "QV_Eqn27", "QV_Eqn28", "QV_If13", "QV_Eqn29", "QV_Eqn30",
                    {"QV_If14", "QV_Eqn32", "QV_Eqn31", "QV_Eqn33"}, "QV_Eqn34", "QV_Eqn35",
                    {"QV_If16", "QV_Eqn37", "QV_Eqn36", "QV_Eqn38"}});

    const auto square_feet = 10.763910416709722 * AFIRE;
    eq.when(is(FIRESTANDARD, "NFPA-30"), [&] { CreditsOfNfpa30(eq); })
        .orWhen(is(FIRESTANDARD, "API-2000"), [&] {
          eq.when(is(DRAINCREDIT, "Yes"), [&] { eq("QV_Eqn43", DRAINFACTOR == 0.5); })
              .otherwise([&] { eq("QV_Eqn44", DRAINFACTOR == 1.0); });
          eq.when(is(INSULCREDIT, "Yes"), [&] { eq("QV_Eqn45", FACTOR == ENVFACTOR * DRAINFACTOR); })
              .otherwise([&] { eq("QV_Eqn46", FACTOR == DRAINFACTOR); });
        })
        .orWhen(api_521, [&] {
          eq.when(is(INSULCREDIT, "Yes"), [&] { eq("QV_Eqn39", FACTOR == ENVFACTOR); })
              .otherwise([&] { eq("QV_Eqn40", FACTOR == 1.0); });
          eq.when(is(DRAINCREDIT, "Yes"), [&] { eq("QV_Eqn41", HEATLOAD == 0.0221561718 * FACTOR * pow(square_feet, 0.82)); })
              .otherwise([&] { eq("QV_Eqn42", HEATLOAD == 0.0363994251 * FACTOR * pow(square_feet, 0.82)); });
        });
    if (!api_521) HeatLoadByArea(eq, square_feet);
    if (DISCHARGEAREACALC.LogicalValue()) DischargeArea(eq);
  }

 private:
  struct BottomHead {
    const char *condition, *elliptical, *other, *otherwise;
  };
  struct VerticalLabels {
    double limit;
    const char *above, *no_area, *no_level, *no_wetted_area;
    const char *below, *level, *wetted_area;
    BottomHead head;
    const char *cut_level, *cut_wetted_area;
    BottomHead cut_head;
  };

  // A vessel that stands on the ground does not show its bottom head to the fire.
  void ExposedArea(Equate& eq, const BottomHead& label) {
    const bool elliptical = is(H_TYPE, "Elliptical");
    const double k = elliptical ? 0.3450432495 : 0.5;
    eq.given(label.condition, ELEVATION < EPS && differs(H_TYPE, "Flat"), [&] {
        eq(elliptical ? label.elliptical : label.other, AFIRE == max(EPS, AWETTED - k * PI * D_TANK * D_TANK));
      }).otherwise([&] {
        eq(label.otherwise, AFIRE == max(EPS, AWETTED));
      });
  }

  void Vertical(Equate& eq, const VerticalLabels& label) {
    eq.given(label.above, ELEVATION > label.limit, [&] {
        eq(label.no_area, AFIRE == EPS);
        eq(label.no_level, FIRELEVEL == EPS);
        eq(label.no_wetted_area, AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
      }).orGiven(label.below, ELEVATION + LEVEL < label.limit, [&] {
        eq(label.level, FIRELEVEL == max(EPS, LEVEL));
        eq(label.wetted_area, AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
        ExposedArea(eq, label.head);
      }).otherwise([&] {
        eq(label.cut_level, FIRELEVEL == max(EPS, label.limit - ELEVATION));
        eq(label.cut_wetted_area, AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
        ExposedArea(eq, label.cut_head);
      });
  }

  void Horizontal(Equate& eq) {
    eq("QV_Eqn10", FIRELEVEL == LEVEL);
    eq("QV_Eqn11", AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
    eq("QV_Eqn12", AFIRE == max(EPS, 0.75 * AWETTED));
  }

  void HorizontalBelow25Feet(Equate& eq) {
    eq.given("QV_If3", ELEVATION > 7.62, [&] {
        eq("QV_Eqn1", FIRELEVEL == EPS);
        eq("QV_Eqn2", AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
        eq("QV_Eqn3", AFIRE == EPS);
      }).orGiven("QV_If4", ELEVATION + D_TANK < 7.62, [&] {
        eq("QV_Eqn4", FIRELEVEL == max(EPS, LEVEL));
        eq("QV_Eqn5", AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
        eq("QV_Eqn6", AFIRE == max(EPS, AWETTED));
      }).otherwise([&] {
        eq("QV_Eqn7", FIRELEVEL == max(EPS, 7.62 - ELEVATION));
        eq("QV_Eqn8", AWETTED == PWETAREAVES(FIRELEVEL, L_TANK, D_TANK, ORIENTATION, H_TYPE));
        eq("QV_Eqn9", AFIRE == max(EPS, AWETTED));
      });
  }

  void CreditsOfNfpa30(Equate& eq) {
    const bool drainage = is(DRAINCREDIT, "Yes"), spray = is(WATERSPRAYCREDIT, "Yes"), insulation = is(INSULCREDIT, "Yes");
    eq.when(is(PORTABLETANK, "Yes"), [&] { eq("QV_Eqn47", FACTOR == 1.0); })
        .orWhen(drainage && spray && insulation, [&] { eq("QV_Eqn48", FACTOR == 0.15); })
        .orWhen(drainage && spray, [&] { eq("QV_Eqn49", FACTOR == 0.3); })
        .otherwise([&] {
          // 18.580606 here, a hair below the 18.580608 of the heat load: both are meant.
          eq.given("QV_If27", same(DRAINCREDIT, "Yes") && AFIRE > 18.580606, [&] {
              eq("QV_Eqn50", FACTOR == 0.5);
            }).otherwise([&] {
              if (insulation)
                eq("QV_Eqn51", FACTOR == 0.3);
              else
                eq("QV_Eqn52", FACTOR == 1.0);
            });
        });
  }

  // Brackets at 200, 1000 and 2800 square feet. The first coefficient applies to square metres.
  void HeatLoadByArea(Equate& eq, const quiver::frame::Expr& square_feet) {
    eq.given("QV_If29", AFIRE < 18.580608, [&] {
        eq("QV_Eqn53", HEATLOAD == 0.2271305223166002 * (FACTOR * AFIRE));
      }).orGiven("QV_If30", AFIRE < 92.90304, [&] {
        eq("QV_Eqn54", HEATLOAD == 0.21027262094000002 * FACTOR * pow(square_feet, 0.566));
      }).orGiven("QV_If31", AFIRE < 260.128512, [&] {
        eq("QV_Eqn55", HEATLOAD == 1.01644075772 * FACTOR * pow(square_feet, 0.338));
      }).orGiven("QV_If32",
                 same(REFRIGERATEDTANK, "Yes") || (same(REFRIGERATEDTANK, "No") && DESIGNP > 1.0821976), [&] {
        eq("QV_Eqn56", HEATLOAD == 0.0221561718 * FACTOR * pow(square_feet, 0.82));
      }).otherwise([&] {
        eq("QV_Eqn57", HEATLOAD == 1.01644075772 * FACTOR * pow(lit(2800), 0.338));
      });
  }

  // Our own: the critical-flow vapour sizing equation of API 520 Part I, A = W sqrt(T Z / M) / (C K P1 Kb) with A in square
  // inches, W in lb/hr, T in degrees R, P1 in psia. FV, the vapour that the heat load drives off, belongs to the owner.
  void DischargeArea(Equate& eq) {
    eq("RelievingPressure", P1 == PSET + POVERALLOW + PAMB);
    eq("RelievingTemperature", TR == 1.8 * (T + C_TO_K));
    eq("VaporFlow", WFLOW == 2.2046226218487757 * (FV * MW));
    eq("DischargeArea", ADISCHARGE * (C * DISCHARGE_COEFFICIENT * CAPACITYFACTOR * (14.503773773020923 * P1)) ==
                            0.00064516 * WFLOW * sqrt(TR * ZC / MW));
  }
};
EXPORT_MODEL(FIRECALCS)
