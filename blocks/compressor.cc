// SPDX-License-Identifier: Apache-2.0
// A compressor from its suction stream to its discharge stream: heads, efficiencies, power, and how far it is from surge and
// stonewall. A block of our own making, around the library's performance map and compression path.
//
//   c: {model: COMPRESSOR, set: {VALIDPHASES: Vapor-Only}, fix: {SPEED: 3600 rpm}}              the map finds P and T_OUT
//   c: {model: COMPRESSOR, set: {HASMAP: No}, fix: {P: 30 bar, PEFF: 0.78}}                     so do two given values
//   c: {..., set: {HASPATH: Yes, "PATH(1).NINTERVALS": 20}}                                     heads along the real gas's path
//
// MAP(1) is a COMPRPERFCURVE; every one of its options may be set, "MAP(1).NCURVE" for example. With HASPATH the polytropic head
// is integrated by PATH(1), a COMPRINTEGRATION; without, it is that of ASME PTC 10 (Schultz): n/(n-1) of the end points, corrected
// by the factor that makes the same formula exact on the isentropic path. Heads in kJ/kg, power in kW.
#include "blocks/states.h"
#include "models/rotating/comprintegration.h"
#include "models/rotating/comprperfcurve.h"

using namespace quiver::blocks;  // NOLINT(google-build-using-namespace)

struct QV_EXPORT QV_COMPRESSOR : QV_GENERICMODEL {
  MODEL_TEXT(COMPRESSOR)

  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_YESNO, HASMAP, "Does a performance map relate flow, head and efficiency?")
  PARAMETER(QV_YESNO, HASPATH, "Is the polytropic head integrated along the path?")
  PHASE_STATES
  SET(QV_INTEGERSET, QV_MAP_SET1)
  SET(QV_INTEGERSET, QV_PATH_SET1)

  VARIABLE(QV_FLOW_MOL, F_IN, "Molar flow")
  VARIABLE(QV_FLOW_VOL, FV_IN, "Suction volume flow")
  VARIABLE(QV_FLOW_MASS, FM_IN, "Mass flow")
  ARRAY(QV_MOLEFRACTION, Z, OVER(ComponentList), "Mole fractions")
  VARIABLE(QV_MOLWEIGHT, MW, "Molar weight")
  VARIABLE(QV_PRESSURE, P_IN, "Suction pressure")
  VARIABLE(QV_TEMPERATURE, T_IN, "Suction temperature")
  VARIABLE(QV_ENTH_MOL, H_IN, "Suction molar enthalpy")
  VARIABLE(QV_ENTR_MOL, S_IN, "Suction molar entropy")
  VARIABLE(QV_DENS_MOL, RHO_IN, "Suction molar density")
  VARIABLE(QV_PRESSURE, P, "Discharge pressure")
  VARIABLE(QV_PRESSURE, P_OUT, "Discharge pressure")
  VARIABLE(QV_POS_SMALL, PRATIO, "Pressure ratio")
  VARIABLE(QV_PRESS_DIFF, PDIFF, "Pressure rise")
  VARIABLE(QV_TEMPERATURE, T_OUT, "Discharge temperature")
  VARIABLE(QV_ENTH_MOL, H_OUT, "Discharge molar enthalpy")
  VARIABLE(QV_DENS_MOL, RHO_OUT, "Discharge molar density")

  VARIABLE(QV_HEAD, WORK, "Work done on the gas")
  VARIABLE(QV_HEAD, ISENHEAD, "Isentropic head")
  VARIABLE(QV_HEAD, POLYHEAD, "Polytropic head")
  VARIABLE(QV_FRACTION, IEFF, "Isentropic efficiency")
  VARIABLE(QV_FRACTION, PEFF, "Polytropic efficiency")
  VARIABLE(QV_NOTYPE, N_POLY, "Polytropic exponent of the end points")
  VARIABLE(QV_NOTYPE, N_ISEN, "Isentropic exponent of the end points")
  VARIABLE(QV_NOTYPE, HEADFACTOR, "Correction of the polytropic head for the real gas (Schultz)")
  VARIABLE(QV_VEL_ANGULAR, SPEED, "Shaft speed")
  VARIABLE(QV_POWER, GPOWER, "Power that the gas takes up")
  VARIABLE(QV_POWER, BPOWER, "Brake power")
  VARIABLE(QV_FRACTION, MECHEFF, "Mechanical efficiency")
  VARIABLE(QV_PERCENTU, SURGEMARGIN, "% above surge")
  VARIABLE(QV_PERCENTU, WALLMARGIN, "% below stonewall")

  ARRAY(QV_COMPRPERFCURVE, MAP, OVER(QV_MAP_SET1), "Performance map")
  ARRAY(QV_COMPRINTEGRATION, PATH, OVER(QV_PATH_SET1), "Compression path")
  PORT(QV_MATERIALPORTRPREV, IN_F, "Suction (Required)")
  PORT(QV_MATERIALPORTRPREV, OUT_P, "Discharge (Required)")

  enum FluidState { kSuction = 1, kIsentropic, kDischarge };

  void Assignments(Assigner& set) {
    set(HASMAP, "Yes");
    set(HASPATH, "No");
    set.range(QV_MAP_SET1, is(HASMAP, "Yes"));
    set.range(QV_PATH_SET1, is(HASPATH, "Yes"));
    // Behind the suction temperature and pressure are iterated: every start of theirs has a state, which not every pair of pressure
    // and entropy or enthalpy has.
    SelectStates(*this, set, {"PH", "TP", "TP"});
    set(SPEED, 3600.0);
    set(MECHEFF, 1.0);
    set.spec(MECHEFF, QV_SPEC_GIVEN);
    if (!IsReversible(*this)) ForwardOnly(set, IN_F, OUT_P);
    if (is(HASMAP, "Yes")) set.spec(SPEED, QV_SPEC_GIVEN);
    set.lower(F_IN, 0.0);
    set.lower(FV_IN, 0.0);
    set.lower(IEFF, 0.01);
    set.lower(PEFF, 0.01);
    set.lower(PRATIO, 1.0);
    if (MAP.Count()) set.spec(MAP(1).ACTSHAFTSPEED, QV_SPEC_COMPUTED);
    // The n-method holds for any head where n is 1 (NR is 0), the step of a path that nobody means. A vapor's real n stays above.
    if (PATH.Count() && is(VALIDPHASES, "Vapor-Only")) set.lower(PATH(1).NR, 0.02);
    Starts(set);
  }

  void Equations(Equate& eq) {
    QV_PHASEPROPERTIES &suction = StateOf(*this, kSuction), &isentropic = StateOf(*this, kIsentropic),
                       &discharge = StateOf(*this, kDischarge);
    eq("InletF", F_IN == IN_F.F);
    eq("InletP", P_IN == IN_F.P);
    eq("InletH", H_IN == IN_F.H);
    eq.each(ComponentList, [&](const char* c) { eq("InletZ", Z(c) == IN_F.Z(c)); });
    GiveState(*this, eq, "Suction", suction, P_IN, Z);
    eq("Suction", suction.H == H_IN);
    eq("SuctionT", T_IN == suction.T);
    eq("SuctionS", S_IN == suction.S);
    eq("SuctionRHO", RHO_IN == suction.RHO);
    eq("SuctionMW", MW == suction.MW);
    eq("SuctionVolume", FV_IN * RHO_IN == F_IN);
    eq("MassFlow", FM_IN == F_IN * MW);

    eq("PressureRatio", PRATIO * P_IN == P);
    eq("PressureRise", PDIFF == P - P_IN);
    eq("DischargeP", P_OUT == P);
    GiveState(*this, eq, "Isentropic", isentropic, P, Z);
    eq("Isentropic", isentropic.S == S_IN);
    eq("IsentropicHead", ISENHEAD * MW == 1e6 * (isentropic.H - H_IN));  // 1 GJ is 1e6 kJ
    GiveState(*this, eq, "Discharge", discharge, P, Z);
    eq("Discharge", discharge.H == H_OUT);
    eq("DischargeT", T_OUT == discharge.T);
    eq("DischargeRHO", RHO_OUT == discharge.RHO);
    eq("Work", WORK * MW == 1e6 * (H_OUT - H_IN));
    eq("IsentropicEfficiency", IEFF * WORK == ISENHEAD);
    if (is(HASPATH, "Yes"))
      EndsOfPath(eq, suction, discharge);  // which states the efficiency too
    else
      PolytropicHead(eq, isentropic);

    eq("GasPower", 3600.0 * GPOWER == FM_IN * WORK);
    eq("BrakePower", BPOWER * MECHEFF == GPOWER);
    eq.each(QV_MAP_SET1, [&](int i) { ReadMap(eq, MAP(i)); });
    Pass(*this, eq, IN_F, OUT_P, T_OUT, H_OUT, RHO_OUT, P);
  }

 private:
  // A start for the logarithms: an ideal gas of the host's start temperature, at twice the suction pressure if nobody knows better.
  void Starts(Assigner& set) {
    const auto known = [](const QV_VarParam& value) { return !value.HoldsDefault(); };
    const double kelvin = 273.15, t_in = known(T_IN) ? T_IN.RealValue() : IN_F.T.RealValue();
    const double untold = 1.01325;  // where every pressure of the host starts
    const bool both = known(P) && (known(P_IN) || IN_F.P.RealValue() != untold);
    const double p_in = known(P_IN) ? P_IN.RealValue() : known(P) && !both ? P.RealValue() / 2 : IN_F.P.RealValue();
    set(P_IN, p_in);
    set(T_IN, t_in);
    set(P, 2 * p_in);
    const double p = P.RealValue();
    set(P_OUT, p);
    set(PRATIO, p / p_in);
    set(T_OUT, (t_in + kelvin) * std::pow(p / p_in, 0.3) - kelvin);
    set(H_IN, IN_F.H.RealValue());
    set(RHO_IN, 100 * p_in / (8.31446261815324 * (t_in + kelvin)));
    set(RHO_OUT, 100 * p / (8.31446261815324 * (T_OUT.RealValue() + kelvin)));
    if (IN_F.Z.Count() == Z.Count()) ForEach(*ComponentList, [&](const char* c) { set(Z(c), IN_F.Z(c)); });
    set(F_IN, IN_F.F);
    StartStream(*this, set, OUT_P, IN_F.F.RealValue(), T_OUT.RealValue(), p, IN_F.Z);
    set(N_POLY, 1.5);
    set(N_ISEN, 1.3);
    StartState(*this, set, kSuction, p_in, t_in);
    StartState(*this, set, kIsentropic, p, T_OUT.RealValue());
    StartState(*this, set, kDischarge, p, T_OUT.RealValue());
  }

  // n/(n-1) (p2 v2 - p1 v1) along a path of constant n. ln(p2/p1) / ln(p2 v2 / p1 v1) is n/(n-1), so neither n stands in the way
  // where it has no meaning yet. Divided, not multiplied across: that would be satisfied by every isothermal path. 1 bar is
  // 100 kJ/m3.
  void PolytropicHead(Equate& eq, QV_PHASEPROPERTIES& isentropic) {
    eq("IsentropicExponent", N_ISEN * ln(isentropic.RHO / RHO_IN) == ln(PRATIO));
    eq("PolytropicExponent", N_POLY * ln(RHO_OUT / RHO_IN) == ln(PRATIO));
    eq("HeadFactor", HEADFACTOR * 100.0 * (P / isentropic.RHO - P_IN / RHO_IN) * ln(PRATIO) ==
                         ln(PRATIO * RHO_IN / isentropic.RHO) * (ISENHEAD * MW));
    eq("PolytropicHead", POLYHEAD * MW == HEADFACTOR * 100.0 * (P / RHO_OUT - P_IN / RHO_IN) * ln(PRATIO) /
                                              ln(PRATIO * RHO_IN / RHO_OUT));
    eq("PolytropicEfficiency", PEFF * WORK == POLYHEAD);
  }

  // What the path does not take from here by name: the phases at both ends.
  void EndsOfPath(Equate& eq, QV_PHASEPROPERTIES& suction, QV_PHASEPROPERTIES& discharge) {
    const auto tie = [&](auto& end, auto& of_state) {
      if constexpr (std::derived_from<std::remove_cvref_t<decltype(end)>, QV_ArrayBase>)
        eq.each(ComponentList, [&](const char* c) { eq("PathEnds", end(c) == of_state(c)); });
      else
        eq("PathEnds", end == of_state);
    };
    eq.each(QV_PATH_SET1, [&](int i) {
      const auto both = [&](auto& in, auto& out, auto& first, auto& last) {
        tie(in, first);
        tie(out, last);
      };
      if (is(VALIDPHASES, "Vapor-Liquid"))
        PATH(i).TwoPhases([&](auto&, auto& in, auto& out, auto member) {
          both(in, out, static_cast<QV_PFLASH2&>(suction).*member, static_cast<QV_PFLASH2&>(discharge).*member);
        });
      else if (!is(VALIDPHASES, "Vapor-Only") && !is(VALIDPHASES, "Liquid-Only"))
        PATH(i).ThreePhases([&](auto&, auto& in, auto& out, auto member) {
          both(in, out, static_cast<QV_PFLASH3&>(suction).*member, static_cast<QV_PFLASH3&>(discharge).*member);
        });
    });
  }

  // Only what the map's options make it speak of: the rest of its variables takes no part.
  void ReadMap(Equate& eq, QV_COMPRPERFCURVE& map) {
    eq("MapSpeed", map.ACTSHAFTSPEED == SPEED);
    if (is(map.FLOWVAR, "Mass-Flow")) {
      eq("MapFlow", map.F_IN == F_IN);
      eq("MapMW", map.MW_IN == MW);
    } else {
      eq("MapFlow", map.FV_IN == FV_IN);
    }
    if (is(map.PERFVAR, "Head") || is(map.PERFVAR, "Head-Coef"))
      eq.when(is(map.HEADCALC, "Polytropic"), [&] { eq("MapHead", map.POLYHEAD == POLYHEAD); })
          .orWhen(is(map.HEADCALC, "Isentropic"), [&] { eq("MapHead", map.ISENHEAD == ISENHEAD); });
    if (is(map.PERFVAR, "Power")) eq("MapPower", map.BPOWER == BPOWER);
    if (is(map.PERFVAR, "Pres-Change")) eq("MapPressureRise", map.PDIFF == PDIFF);
    eq.when(is(map.EFFVAR, "Polytropic"), [&] { eq("MapEfficiency", map.PEFF == PEFF); })
        .orWhen(is(map.EFFVAR, "Isentropic"), [&] { eq("MapEfficiency", map.IEFF == IEFF); });
    if (is(map.PERFVAR, "None")) return;
    eq("SurgeMargin", SURGEMARGIN == map.ABVSRG);
    eq("StonewallMargin", WALLMARGIN == map.BLWSWL);
  }
};
EXPORT_MODEL(COMPRESSOR)
