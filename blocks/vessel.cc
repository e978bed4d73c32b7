// SPDX-License-Identifier: Apache-2.0
// A closed upright vessel over time: vapor and liquid in equilibrium, heated, fed, and relieved from its vapor space. A block of our
// own making, for `quiver simulate`.
//
//   vessel: {model: VESSEL, fix: {DIAM: 2.5 m, HEIGHT: 6 m}}      
//           connect: ["vessel.Q = fire.HEATLOAD", "vessel.P_RELIEF = valve.P", "vessel.F_RELIEF = valve.F"]
//
// The states are the amounts N and the internal energy U; temperature and pressure are those at which the contents fill the
// volume. F_RELIEF is what a relief valve would pass; OPEN, 0 or 1, tells whether it does: events set it. The valve is rated at
// P_RELIEF, which never falls below P_RESEAT: below, it is closed, and its equations need not have a solution.
#include "blocks/states.h"

using namespace quiver::blocks;  // NOLINT(google-build-using-namespace)

struct QV_EXPORT QV_VESSEL : QV_GENERICMODEL {
  MODEL_TEXT(VESSEL)

  GLOBAL(BARM3_TO_GJ)
  GLOBAL(PI)
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PHASE_STATES
  VARIABLE(QV_LENGTH, DIAM, "Inner diameter")
  VARIABLE(QV_LENGTH, HEIGHT, "Height between the flat ends")
  VARIABLE(QV_AREA, SECTION, "Cross section")
  VARIABLE(QV_VOLUME, VOLUME, "Volume")
  VARIABLE(QV_PRESSURE, P, "Pressure")
  VARIABLE(QV_TEMPERATURE, T, "Temperature")
  VARIABLE(QV_ENTH_MOL, H, "Molar enthalpy")
  VARIABLE(QV_FRACTION, VF, "Vapor fraction")
  VARIABLE(QV_LENGTH, LEVEL, "Liquid level")
  ARRAY(QV_MOLEFRACTION, Z, OVER(ComponentList), "Mole fractions of the contents")
  ARRAY(QV_MOLEFRACTION, Y, OVER(ComponentList), "Mole fractions of the vapor")
  ARRAY(QV_POSITIVE, N, OVER(ComponentList), "Amounts (kmol)")
  VARIABLE(QV_POSITIVE, NTOTAL, "Total amount (kmol)")
  VARIABLE(QV_POSITIVE, MASS, "Mass (kg)")
  VARIABLE(QV_REALVARIABLE, U, "Internal energy (GJ)")
  VARIABLE(QV_ENTHFLOW, Q, "Heat input")
  VARIABLE(QV_FLOW_MOL, F_IN, "Molar feed")
  VARIABLE(QV_ENTH_MOL, H_IN, "Molar enthalpy of the feed")
  ARRAY(QV_MOLEFRACTION, Z_IN, OVER(ComponentList), "Mole fractions of the feed")
  VARIABLE(QV_PRESSURE, P_RESEAT, "Pressure below which the relief valve is closed")
  VARIABLE(QV_PRESSURE, P_RELIEF, "Pressure at which the relief valve is rated")
  VARIABLE(QV_FLOW_MOL, F_RELIEF, "Molar flow through the relief valve when it is open")
  VARIABLE(QV_FRACTION, OPEN, "Opening of the relief valve")
  VARIABLE(QV_FLOW_MOL, F_OUT, "Molar flow that leaves")
  VARIABLE(QV_FLOW_MASS, W_OUT, "Mass flow that leaves")
  ARRAY(QV_FLOW_MOL, N_RATE, OVER(ComponentList), "Change of the amounts")
  VARIABLE(QV_ENTHFLOW, U_RATE, "Change of the internal energy")

  void Assignments(Assigner& set) {
    set(BARM3_TO_GJ, 0.0001);
    set(PI, 3.141593);
    SelectStates(*this, set, {"PH"});
    set.lower(P, 0.001);
    StartState(*this, set, 1, P.RealValue(), T.RealValue());
    set(Z, 1.0 / size(ComponentList));
    set(Y, 1.0 / size(ComponentList));
    set(Z_IN, 1.0 / size(ComponentList));
    set.spec(Z_IN, QV_SPEC_GIVEN);
    const auto none = [&](auto& variable) {
      set(variable, 0.0);
      set.spec(variable, QV_SPEC_GIVEN);
    };
    none(F_IN);
    none(H_IN);
    none(OPEN);
    none(P_RESEAT);
  }

  void Equations(Equate& eq) {
    QV_PHASEPROPERTIES& state = StateOf(*this, 1);
    eq("Section", SECTION == PI / 4 * sqr(DIAM));
    eq("Volume", VOLUME == SECTION * HEIGHT);
    eq("Total", NTOTAL == sigma(N));
    eq.each(ComponentList, [&](const char* c) { eq("Fractions", NTOTAL * Z(c) == N(c)); });
    GiveState(*this, eq, "State", state, P, Z);
    eq("StateH", state.H == H);
    eq("StateT", T == state.T);
    eq("StateVF", VF == state.VF);
    eq.each(ComponentList, [&](const char* c) { eq("Vapor", Y(c) == state.Y(c)); });
    eq("Filling", NTOTAL == state.RHO * VOLUME);
    eq("Mass", MASS == NTOTAL * state.MW);
    eq("Energy", U == NTOTAL * H - P * VOLUME * BARM3_TO_GJ);
    eq("Level", LEVEL * SECTION * state.RHOL == NTOTAL * state.LF);

    eq("ReliefPressure", P_RELIEF == max(P, P_RESEAT));
    eq("Outflow", F_OUT == OPEN * F_RELIEF);
    eq("OutflowMass", W_OUT == F_OUT * state.MWV);
    eq.each(ComponentList, [&](const char* c) { eq("AmountBalance", N_RATE(c) == F_IN * Z_IN(c) - F_OUT * Y(c)); });
    eq("EnergyBalance", U_RATE == Q + F_IN * H_IN - F_OUT * state.HV);
  }
};
EXPORT_MODEL(VESSEL)
