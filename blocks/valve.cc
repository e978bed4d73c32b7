// SPDX-License-Identifier: Apache-2.0
// A control valve between two streams: the flow that its coefficient lets through at constant enthalpy. A block of our own making,
// around the library's valve characteristics.
//
//   v: {model: VALVE, set: {VALIDPHASES: Vapor-Only}, fix: {TRIM.CVMAX: 200, TRIM.POS: 40}}       finds the flow, or a pressure
//
// IEC 60534-2-1 (ISA-75.01), W = N6 Cv Y sqrt(x p1 rho1) with N6 = 27.3 for kg/h, bar and kg/m3. A vapor expands by
// Y = 1 - x / (3 FK XT) and chokes at x = FK XT; other sets of phases flow with the density in front of the valve, Y = 1, and are
// not choked: for a liquid near boiling that is too much. FK is the isentropic exponent over 1.4. TRIM, a VALTYPE, gives CV by its
// characteristic (TRIM.CHAR_EQN), and FL and XT by tables if told to. Where streams may turn round, the valve passes both ways.
#include "blocks/states.h"
#include "models/valves/valtype.h"

using namespace quiver::blocks;  // NOLINT(google-build-using-namespace)

struct QV_EXPORT QV_VALVE : QV_GENERICMODEL {
  MODEL_TEXT(VALVE)

  GLOBAL(EPS)
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PHASE_STATES
  VARIABLE(QV_CONSTANT, FL, "Liquid pressure recovery factor")
  VARIABLE(QV_FRACTION, XT, "Pressure drop ratio at which a vapor chokes")
  VARIABLE(QV_POSITIVE, FK, "Isentropic exponent over 1.4")
  VARIABLE(QV_PRESSURE, P_UP, "Pressure in front of the valve")
  VARIABLE(QV_PRESSURE, P_OUT, "Pressure at the outlet")
  VARIABLE(QV_PRESS_DIFF, P_DROP, "Pressure drop from inlet to outlet")
  VARIABLE(QV_REALVARIABLE, X, "Pressure drop ratio, signed as the flow")
  VARIABLE(QV_REALVARIABLE, XFLOW, "Pressure drop ratio that counts for the flow")
  VARIABLE(QV_POSITIVE, Y, "Expansion factor")
  VARIABLE(QV_DENS_MOL, RHO, "Molar density in front of the valve")
  VARIABLE(QV_MOLWEIGHT, MW, "Molar weight")
  VARIABLE(QV_FLOW_MASS, W, "Mass flow")
  SUBMODEL(QV_VALTYPE, TRIM, "Characteristic")
  PORT(QV_MATERIALPORTRPREV, IN_F, "Feed (Required)")
  PORT(QV_MATERIALPORTRPREV, OUT_P, "Product (Required)")

  enum FluidState { kUpstream = 1, kDownstream };

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    SelectStates(*this, set, {"PH", "PH"});
    StartState(*this, set, kUpstream, IN_F.P.RealValue(), IN_F.T.RealValue());
    // A tenth of the pressure lost where nobody knows better.
    if (P_OUT.HoldsDefault()) set(P_OUT, OUT_P.P.HoldsDefault() ? 0.9 * IN_F.P.RealValue() : OUT_P.P.RealValue());
    StartStream(*this, set, OUT_P, IN_F.F.RealValue(), IN_F.T.RealValue(), P_OUT.RealValue(), IN_F.Z);
    StartState(*this, set, kDownstream, P_OUT.RealValue(), IN_F.T.RealValue());
    if (!IsReversible(*this)) {
      ForwardOnly(set, IN_F, OUT_P);
      set.lower(W, 0.0);
    }
    set(FL, 0.9);
    set(XT, 0.7);
    set(FK, 1.0);
    set.spec(FK, QV_SPEC_GIVEN);
    set(TRIM.CVMAX, 100.0);
    set(TRIM.POS, 50.0);
  }

  void Equations(Equate& eq) {
    QV_PHASEPROPERTIES &upstream = StateOf(*this, kUpstream), &downstream = StateOf(*this, kDownstream);
    const auto front = [&](auto& z, auto& h, auto& p) {
      GiveState(*this, eq, "Upstream", upstream, p, z);
      eq("Upstream", upstream.H == h);
      eq("UpstreamP", P_UP == p);
    };
    if (IsReversible(*this))
      eq.given("QV_If1", IN_F.P >= P_OUT, [&] { front(IN_F.Z, IN_F.H, IN_F.P); }).otherwise([&] {
        front(OUT_P.ZREV, OUT_P.HREV, P_OUT);
      });
    else
      front(IN_F.Z, IN_F.H, IN_F.P);
    eq("Density", RHO == upstream.RHO);
    eq("MolarWeight", MW == upstream.MW);
    eq("MassFlow", W == IN_F.F * MW);
    eq("PressureDrop", P_DROP == IN_F.P - P_OUT);
    eq("DropRatio", X * P_UP == P_DROP);
    if (is(VALIDPHASES, "Vapor-Only")) {
      eq("Choking", XFLOW == max(-(FK * XT), min(X, FK * XT)));
      eq("Expansion", Y == 1 - abs(XFLOW) / (3 * FK * XT));
    } else {
      eq("Choking", XFLOW == X);
      eq("Expansion", Y == 1);
    }
    // Squared, and signed by W, so that a valve without flow has a slope.
    eq("Flow", W * (abs(W) + EPS) == sqr(27.3 * TRIM.CV * Y) * XFLOW * P_UP * RHO * MW);

    GiveState(*this, eq, "Downstream", downstream, P_OUT, IN_F.Z);
    eq("Downstream", downstream.H == IN_F.H);
    Pass(*this, eq, IN_F, OUT_P, downstream.T, IN_F.H, downstream.RHO, P_OUT);
  }
};
EXPORT_MODEL(VALVE)
