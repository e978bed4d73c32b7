// SPDX-License-Identifier: Apache-2.0
// Any number of streams on one port: total flow, mean composition, mean enthalpy. At zero flow the means are plain averages,
// so that they stay defined. Written once for both inlet mixers.
//
//   quiver equations INLETMIXERFWD --components N2,O2 --set IN_F.connections=3
#pragma once

#include "models/junctions/weights.h"

namespace quiver::junctions {

// Tests are numbered through the text, those included that the number of connections settles at set-up.
template <class Model>
void MeanOfInlets(Model& m, Equate& eq) {
  using Stream = QV_MATERIALPORTRPREV;
  auto& in = m.IN_F;
  const bool single = in.Count() == 1;
  eq("QV_Eqn1", m.FIN == OverStreams(in, [](Stream& s) -> auto& { return s.F; }));

  eq.when(single, [&] {
      eq.each(m.ComponentList, [&](const char* c) { eq("QV_Eqn2", m.ZIN(c) == in.Z(c)); });
    }).otherwise([&] {
      eq.given("QV_If2", m.FIN > m.EPS, [&] {
          eq.each(m.ComponentList, [&](const char* c) {
            eq("QV_Eqn3", m.FIN * m.ZIN(c) == OverStreams(in, [&](Stream& s) { return s.F * s.Z(c); }));
          });
        }).otherwise([&] {
          eq.each(m.ComponentList, [&](const char* c) {
            eq("QV_Eqn4", m.NC * m.ZIN(c) == OverStreams(in, [&](Stream& s) -> auto& { return s.Z(c); }));
          });
        });
    });

  eq.when(single, [&] { eq("QV_Eqn5", m.HIN == in.H); }).otherwise([&] {
    eq.given("QV_If4", m.FIN > m.EPS, [&] {
        eq("QV_Eqn6", m.FIN * m.HIN == OverStreams(in, [](Stream& s) { return s.F * s.H; }));
      }).otherwise([&] {
        eq("QV_Eqn7", m.NC * m.HIN == OverStreams(in, [](Stream& s) -> auto& { return s.H; }));
      });
  });
}

// One pressure for all inlets where pressures drive the flow; else the lowest of theirs.
template <class Model>
void SamePressure(Model& m, Equate& eq, const char* label) {
  for (int i = 1; i <= m.IN_F.Count(); ++i) eq(label, m.IN_F.Stream(i)->P == m.PIN);
}
template <class Model>
void LowestPressure(Model& m, Equate& eq, const char* label) {
  auto& in = m.IN_F;
  if (in.Count() == 1)
    eq(label, m.PIN == minof(in.P));
  else
    eq(label, m.PIN == minof(*in.STREAMS, [&](int i) -> auto& { return in.Stream(i)->P; }));
}

template <class Model>
void InletMixerDefaults(Model& m, Assigner& set) {
  set(m.EPS, 1e-5);
  set(m.GLOBALPDRIVEN, false);
  set(m.NC, m.IN_F.Count());
  set(m.PDRIVEN, m.GLOBALPDRIVEN);
}

}  // namespace quiver::junctions
