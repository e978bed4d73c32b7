// SPDX-License-Identifier: Apache-2.0
// What all blocks have: states of their fluid as phase sub-models of the kind that VALIDPHASES selects, and streams at their ports.
//
//   PHASE_STATES                                          in the property lines, behind VALIDPHASES
//   SelectStates(*this, set, {"PH", "PS", "PH"});         three states, and what is given of each
//   QV_PHASEPROPERTIES& suction = StateOf(*this, 1);
//   GiveState(*this, eq, "Suction", suction, P_IN, Z);    its pressure and composition; H or S is the caller's
#pragma once

#include <vector>

#include "frame/model.h"
#include "host/modeller/phase_models.h"
#include "host/modeller/ports.h"

#define PHASE_STATES                                                                       \
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALPDRIVEN, "Simulation is pressure driven")           \
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALRFLOW, "Simulation supports reverse flow")          \
  SET(QV_INTEGERSET, PVAP_SET)                                                             \
  SET(QV_INTEGERSET, PLIQ_SET)                                                             \
  SET(QV_INTEGERSET, PFLASH2_SET)                                                          \
  SET(QV_INTEGERSET, PFLASH2W_SET)                                                         \
  SET(QV_INTEGERSET, PFLASH3_SET)                                                          \
  ARRAY(QV_PVAP, PVAP, OVER(PVAP_SET), "States of a vapor")                                \
  ARRAY(QV_PLIQ, PLIQ, OVER(PLIQ_SET), "States of a liquid")                               \
  ARRAY(QV_PFLASH2, PFLASH2, OVER(PFLASH2_SET), "States of vapor and liquid")              \
  ARRAY(QV_PFLASH2W, PFLASH2W, OVER(PFLASH2W_SET), "States with free water")               \
  ARRAY(QV_PFLASH3, PFLASH3, OVER(PFLASH3_SET), "States of vapor and two liquids")

namespace quiver::blocks {

using frame::Assigner;
using frame::Equate;

// use(set, sub-models, value of VALIDPHASES) for every kind of phase sub-model.
template <class Block, class Use>
void ForKindsOfStates(Block& b, Use use) {
  use(b.PVAP_SET, b.PVAP, "Vapor-Only");
  use(b.PLIQ_SET, b.PLIQ, "Liquid-Only");
  use(b.PFLASH2_SET, b.PFLASH2, "Vapor-Liquid");
  use(b.PFLASH2W_SET, b.PFLASH2W, "Vapor-Liquid-FreeWater");
  use(b.PFLASH3_SET, b.PFLASH3, "Vapor-Liquid-Liquid");
}

// As many states as flash types are named.
template <class Block>
void SelectStates(Block& b, Assigner& set, const std::vector<const char*>& flash_types) {
  set(b.GLOBALPDRIVEN, false);
  set(b.GLOBALRFLOW, false);
  const int count = static_cast<int>(flash_types.size());
  ForKindsOfStates(b, [&](QV_INTEGERSET& indices, auto& states, const char* phases) {
    set.range(indices, is(b.VALIDPHASES, phases) ? count : 0);
    for (int i = 1; i <= count && states.Count() == count; ++i)
      set(states(i).FLASHTYPE, flash_types[static_cast<size_t>(i - 1)]);
  });
}

template <class Block>
QV_PHASEPROPERTIES& StateOf(Block& b, int i) {
  QV_PHASEPROPERTIES* found = nullptr;
  ForKindsOfStates(b, [&](QV_INTEGERSET&, auto& states, const char* phases) {
    if (is(b.VALIDPHASES, phases)) found = &states(i);
  });
  return *found;
}

// Start values of a state that is told nothing else.
template <class Block>
void StartState(Block& b, Assigner& set, int i, double p, double t) {
  ForKindsOfStates(b, [&](QV_INTEGERSET&, auto& states, const char*) {
    if (states.Count() < i) return;
    set(states(i).P, p);
    set(states(i).T, t);
  });
}

template <class Block>
bool IsReversible(Block& b) {
  return (*b.GLOBALPDRIVEN).LogicalValue() && (*b.GLOBALRFLOW).LogicalValue();
}

// Streams that cannot turn round have no negative flow.
inline void ForwardOnly(Assigner& set, QV_MATERIALPORTRPREV& in, QV_MATERIALPORTRPREV& out) {
  set.lower(in.F, 0.0);
  set.lower(out.F, 0.0);
}

// Where the stream that leaves starts; the host lets the block at its other end start there too.
template <class Block, class Fractions>
void StartStream(Block& b, Assigner& set, QV_MATERIALPORTRPREV& out, double f, double t, double p, Fractions& z) {
  set(out.F, f);
  set(out.T, t);
  set(out.P, p);
  if (out.Z.Count() != z.Count()) return;  // sized in the next round
  ForEach(*b.ComponentList, [&](const char* c) { set(out.Z(c), z(c)); });
}

template <class Block, class Pressure, class Fractions>
void GiveState(Block& b, Equate& eq, const char* label, QV_PHASEPROPERTIES& state, Pressure& p, Fractions& z) {
  eq(label, state.P == p);
  eq.each(b.ComponentList, [&](const char* c) { eq(label, state.Z(c) == z(c)); });
}

// What leaves at `out` is what entered at `in`, in another state; `t`, `h`, `rho` and `p` are its own. Where streams may turn
// round, what comes back goes through at its own enthalpy.
template <class Block, class Temperature, class Enthalpy, class Density, class Pressure>
void Pass(Block& b, Equate& eq, QV_MATERIALPORTRPREV& in, QV_MATERIALPORTRPREV& out, Temperature& t, Enthalpy& h, Density& rho,
          Pressure& p) {
  eq("OutletF", out.F == in.F);
  eq.each(b.ComponentList, [&](const char* c) { eq("OutletZ", out.Z(c) == in.Z(c)); });
  eq("OutletH", out.H == h);
  eq("OutletP", out.P == p);
  eq("OutletT", out.T == t);
  eq("OutletV", out.V * rho == 1);
  eq("OutletAV", out.AV == in.AV);
  if (!IsReversible(b)) return;
  eq.each(b.ComponentList, [&](const char* c) { eq("BackZ", in.ZREV(c) == out.ZREV(c)); });
  eq("BackH", in.HREV == out.HREV);
  eq("BackAV", in.AVREV == out.AVREV);
}

}  // namespace quiver::blocks
