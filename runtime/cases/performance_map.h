// SPDX-License-Identifier: Apache-2.0
// The curves of a performance map as its own procedure reads them, and the point at which the case stands.
//
//   run.Solve();
//   for (const PerformanceMap& map : ReadPerformanceMaps(run)) Draw(map);
#pragma once

#include <string>
#include <vector>

#include "runtime/cases/case_run.h"

namespace quiver {

struct PerformanceMap {
  struct Curve {
    double speed;  // rpm
    std::vector<double> flow, value;
  };
  std::string block;  // the instance with the map
  std::string flow_name, flow_unit, flow_description, value_name, value_unit, value_description;
  std::vector<Curve> curves;  // by the map's own speeds, from surge to stonewall
  bool has_surge = false;     // the first point of a curve is where the machine surges
  double speed, flow,
      value;  // of the case, in the map's coordinates: at the reference speed where similarity laws are on
};

// One map per call of PPCURVE or PPUMPCURVE in the case, in the order of the equations. Call it after Solve.
// Equations are emitted anew: references to the case's System() are void once it is solved again.
std::vector<PerformanceMap> ReadPerformanceMaps(CaseRun& run);

}  // namespace quiver
