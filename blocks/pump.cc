// SPDX-License-Identifier: Apache-2.0
// A pump from its suction stream to its discharge stream: head, efficiency, power, warming of the liquid, and the head that is
// left at suction before it boils. A block of our own making, around the library's performance map.
//
//   p: {model: PUMP, set: {VALIDPHASES: Liquid-Only}, fix: {SPEED: 3600 rpm}}              the map finds P and BPOWER
//   p: {model: PUMP, set: {HASMAP: No}, fix: {P: 30 bar, EFF: 0.7}}                        so do two given values
//
// MAP(1) is a PUMPPERFCURVE; every one of its options may be set, "MAP(1).NCURVE" for example. Its affinity laws are on here
// (EXTRAPOLATEAFFL "Yes"), so that SPEED acts. Heads in kJ/kg, HEIGHT and NPSHA in m, power in kW.
#include "blocks/states.h"
#include "models/rotating/pumpperfcurve.h"

using namespace quiver::blocks;  // NOLINT(google-build-using-namespace)

struct QV_EXPORT QV_PUMP : QV_GENERICMODEL {
  MODEL_TEXT(PUMP)

  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_YESNO, HASMAP, "Does a performance map relate flow, head and efficiency?")
  PARAMETER(QV_YESNO, NPSHCALC, "Is the net positive suction head computed?")
  PHASE_STATES
  SET(QV_INTEGERSET, QV_MAP_SET1)
  SET(QV_INTEGERSET, QV_BOILING_SET1)

  VARIABLE(QV_FLOW_MOL, F_IN, "Molar flow")
  VARIABLE(QV_FLOW_VOL, FV_IN, "Suction volume flow")
  VARIABLE(QV_FLOW_MASS, FM_IN, "Mass flow")
  VARIABLE(QV_MOLWEIGHT, MW, "Molar weight")
  VARIABLE(QV_PRESSURE, P_IN, "Suction pressure")
  VARIABLE(QV_TEMPERATURE, T_IN, "Suction temperature")
  VARIABLE(QV_ENTH_MOL, H_IN, "Suction molar enthalpy")
  VARIABLE(QV_DENS_MOL, RHO_IN, "Suction molar density")
  VARIABLE(QV_PRESSURE, P, "Discharge pressure")
  VARIABLE(QV_POS_LARGE, PRATIO, "Pressure ratio")
  VARIABLE(QV_PRESS_DIFF, PDIFF, "Pressure rise")
  VARIABLE(QV_TEMPERATURE, T_OUT, "Discharge temperature")
  VARIABLE(QV_ENTH_MOL, H_OUT, "Discharge molar enthalpy")
  VARIABLE(QV_DENS_MOL, RHO_OUT, "Discharge molar density")

  VARIABLE(QV_HEAD, HEAD, "Head")
  VARIABLE(QV_LENGTH, HEIGHT, "Head in metres of the liquid")
  VARIABLE(QV_HEAD, WORK, "Work done on the liquid")
  VARIABLE(QV_FRACTION, EFF, "Efficiency")
  VARIABLE(QV_TEMPERATURE, T_RISE, "Temperature rise")
  VARIABLE(QV_VEL_ANGULAR, SPEED, "Shaft speed")
  VARIABLE(QV_POWER, HPOWER, "Hydraulic power")
  VARIABLE(QV_POWER, BPOWER, "Brake power")
  VARIABLE(QV_FRACTION, MECHEFF, "Mechanical efficiency")
  VARIABLE(QV_PRESSURE, P_BOIL, "Pressure at which the liquid boils at suction temperature")
  VARIABLE(QV_NOTYPE, NPSHA, "Net positive suction head available (m)")

  ARRAY(QV_PUMPPERFCURVE, MAP, OVER(QV_MAP_SET1), "Performance map")
  ARRAY(QV_PFLASH2, BOILING, OVER(QV_BOILING_SET1), "The liquid where it begins to boil")
  PORT(QV_MATERIALPORTRPREV, IN_F, "Suction (Required)")
  PORT(QV_MATERIALPORTRPREV, OUT_P, "Discharge (Required)")

  enum FluidState { kSuction = 1, kDischarge };

  void Assignments(Assigner& set) {
    set(VALIDPHASES, "Liquid-Only");
    set(HASMAP, "Yes");
    set(NPSHCALC, "No");
    set.range(QV_MAP_SET1, is(HASMAP, "Yes"));
    set.range(QV_BOILING_SET1, is(NPSHCALC, "Yes"));
    SelectStates(*this, set, {"PH", "PH"});
    set(SPEED, 3600.0);
    set(MECHEFF, 1.0);
    set.spec(MECHEFF, QV_SPEC_GIVEN);
    if (!IsReversible(*this)) ForwardOnly(set, IN_F, OUT_P);
    if (is(HASMAP, "Yes")) set.spec(SPEED, QV_SPEC_GIVEN);
    if (MAP.Count()) {
      set(MAP(1).EXTRAPOLATEAFFL, "Yes");
      set.spec(MAP(1).ACTSHAFTSPEED, QV_SPEC_COMPUTED);
    }
    if (BOILING.Count()) set(BOILING(1).FLASHTYPE, "TV");
    set(P, IN_F.P.RealValue() + 5.0);
    StartState(*this, set, kSuction, IN_F.P.RealValue(), IN_F.T.RealValue());
    StartStream(*this, set, OUT_P, IN_F.F.RealValue(), IN_F.T.RealValue(), P.RealValue(), IN_F.Z);
    StartState(*this, set, kDischarge, P.RealValue(), IN_F.T.RealValue());
  }

  void Equations(Equate& eq) {
    QV_PHASEPROPERTIES &suction = StateOf(*this, kSuction), &discharge = StateOf(*this, kDischarge);
    eq("InletF", F_IN == IN_F.F);
    eq("InletP", P_IN == IN_F.P);
    eq("InletH", H_IN == IN_F.H);
    GiveState(*this, eq, "Suction", suction, P_IN, IN_F.Z);
    eq("Suction", suction.H == H_IN);
    eq("SuctionT", T_IN == suction.T);
    eq("SuctionRHO", RHO_IN == suction.RHO);
    eq("SuctionMW", MW == suction.MW);
    eq("SuctionVolume", FV_IN * RHO_IN == F_IN);
    eq("MassFlow", FM_IN == F_IN * MW);
    eq("PressureRatio", PRATIO * P_IN == P);
    eq("PressureRise", PDIFF == P - P_IN);

    // The mean volume of both ends for the integral of v dp: a liquid gives way little. 1 bar is 100 kJ/m3.
    eq("Head", HEAD * MW == 50.0 * (1 / RHO_IN + 1 / RHO_OUT) * PDIFF);
    eq("Height", 9.80665 * HEIGHT == 1000.0 * HEAD);
    eq("Efficiency", EFF * WORK == HEAD);
    eq("Work", WORK * MW == 1e6 * (H_OUT - H_IN));
    GiveState(*this, eq, "Discharge", discharge, P, IN_F.Z);
    eq("Discharge", discharge.H == H_OUT);
    eq("DischargeT", T_OUT == discharge.T);
    eq("DischargeRHO", RHO_OUT == discharge.RHO);
    eq("TemperatureRise", T_RISE == T_OUT - T_IN);
    eq("HydraulicPower", 3600.0 * HPOWER == FM_IN * HEAD);
    eq("BrakePower", 3600.0 * BPOWER * MECHEFF == FM_IN * WORK);
    eq.each(QV_MAP_SET1, [&](int i) { ReadMap(eq, MAP(i)); });
    eq.each(QV_BOILING_SET1, [&](int i) {
      eq("BoilingT", BOILING(i).T == T_IN);
      eq("BoilingVF", BOILING(i).VF == 0);
      eq.each(ComponentList, [&](const char* c) { eq("BoilingZ", BOILING(i).Z(c) == IN_F.Z(c)); });
      eq("BoilingP", P_BOIL == BOILING(i).P);
      eq("SuctionHead", NPSHA * (9.80665 * MW * RHO_IN) == 1e5 * (P_IN - P_BOIL));
    });
    Pass(*this, eq, IN_F, OUT_P, T_OUT, H_OUT, RHO_OUT, P);
  }

 private:
  // Flow, power and pressures the map takes from here by name.
  void ReadMap(Equate& eq, QV_PUMPPERFCURVE& map) {
    eq("MapSpeed", map.ACTSHAFTSPEED == SPEED);
    if (is(map.FLOWVAR, "Mass-Flow")) eq("MapMW", map.MW_IN == MW);
    if (is(map.PERFVAR, "Head") || is(map.PERFVAR, "Head-Coef")) eq("MapHead", map.HEAD == HEAD);
    if (is(map.EFFVAR, "Calculated")) eq("MapEfficiency", map.EFF == EFF);
  }
};
EXPORT_MODEL(PUMP)
