// SPDX-License-Identifier: Apache-2.0
// What junctions have in common: the formulation that the switches choose, and the weights of means over streams.
#pragma once

#include "frame/model.h"
#include "host/modeller/ports.h"

namespace quiver::junctions {

template <class Model>
bool IsPressureDriven(Model& m) {
  return (*m.GLOBALPDRIVEN).LogicalValue() && m.PDRIVEN.LogicalValue();
}
// Streams may turn round only where pressures drive them; else the junction's equations are forward only.
template <class Model>
bool IsReversible(Model& m) {
  return IsPressureDriven(m) && (*m.GLOBALRFLOW).LogicalValue();
}

// Weights of a mean over streams of which each enters in its own direction only: F through an inlet, F < 0 through an
// outlet. The floor EPS / NS keeps the mean defined when nothing flows. The weight of an outlet is negative: subtract it.
template <class Model>
auto InletWeight(Model& m, const QV_MATERIALPORTRPREV& port) {
  return max(m.EPS / m.NS, port.F);
}
template <class Model>
auto OutletWeight(Model& m, const QV_MATERIALPORTRPREV& port) {
  return min(-m.EPS / m.NS, port.F);
}

// term(stream) of every stream, summed. A term that is a bare member must be returned as a reference.
template <class Term>
auto OverStreams(QV_MATERIALPORTSRPREV& port, Term term) {
  if (port.Count() == 1) return sigma(term(*port.Stream(1)));
  return sigma(*port.STREAMS, [&](int i) -> decltype(auto) { return term(*port.Stream(i)); });
}

}  // namespace quiver::junctions
