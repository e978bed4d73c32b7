// SPDX-License-Identifier: Apache-2.0
// A stream that enters the flowsheet: flow, composition, and two of temperature, pressure, enthalpy, entropy and vapor fraction.
// A block of our own making.
//
//   feed: {model: FEED, fix: {F: 100 kmol/hr, T: 25 degC, P: 10 bar, Z: {nitrogen: 1}}}    connect: ["feed.OUT_P -> c.IN_F"]
//
// FLASHTYPE tells what is given beside Z: TP, PH, PS, PV (P and VF) or TV. Where pressures drive the flow, F may be left open.
#include "blocks/states.h"

using namespace quiver::blocks;  // NOLINT(google-build-using-namespace)

struct QV_EXPORT QV_FEED : QV_GENERICMODEL {
  MODEL_TEXT(FEED)

  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_FLASHTYPE, FLASHTYPE, "What is given beside Z: TP, PH, PS, PV or TV")
  PHASE_STATES
  VARIABLE(QV_FLOW_MOL, F, "Molar flow")
  VARIABLE(QV_FLOW_MASS, FMASS, "Mass flow")
  VARIABLE(QV_TEMPERATURE, T, "Temperature")
  VARIABLE(QV_PRESSURE, P, "Pressure")
  VARIABLE(QV_FRACTION, VF, "Vapor fraction")
  VARIABLE(QV_ENTH_MOL, H, "Molar enthalpy")
  VARIABLE(QV_ENTR_MOL, S, "Molar entropy")
  ARRAY(QV_MOLEFRACTION, Z, OVER(ComponentList), "Mole fractions")
  VARIABLE(QV_FRACTION, AV, "Availability")
  PORT(QV_MATERIALPORTRPREV, OUT_P, "Stream (Required)")

  void Assignments(Assigner& set) {
    SelectStates(*this, set, {FLASHTYPE.StringValue()});
    StartState(*this, set, 1, P.RealValue(), T.RealValue());
    set(AV, 1.0);
    StartStream(*this, set, OUT_P, F.RealValue(), T.RealValue(), P.RealValue(), Z);
    set.spec(AV, QV_SPEC_GIVEN);
    set(Z, 1.0 / size(ComponentList));
    if (size(ComponentList) == 1) set.spec(Z, QV_SPEC_GIVEN);
  }

  void Equations(Equate& eq) {
    QV_PHASEPROPERTIES& state = StateOf(*this, 1);
    GiveState(*this, eq, "State", state, P, Z);
    eq("StateT", T == state.T);
    eq("StateVF", VF == state.VF);
    eq("StateH", H == state.H);
    eq("StateS", S == state.S);
    eq("MassFlow", FMASS == F * state.MW);
    eq("OutletF", OUT_P.F == F);
    eq.each(ComponentList, [&](const char* c) { eq("OutletZ", OUT_P.Z(c) == Z(c)); });
    eq("OutletH", OUT_P.H == H);
    eq("OutletP", OUT_P.P == P);
    eq("OutletT", OUT_P.T == T);
    eq("OutletV", OUT_P.V == state.V);
    eq("OutletAV", OUT_P.AV == AV);
  }
};
EXPORT_MODEL(FEED)
