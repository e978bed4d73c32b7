// SPDX-License-Identifier: Apache-2.0
// The pictures of a solved case: mass flux of relief devices over their back-pressure, heat load of a fire over the wetted area,
// characteristics of valves, performance maps.
//
//   run.Solve();
//   for (const Plot& plot : CurvePlots(run).plots) Draw(plot.chart);
//   for (const Plot& plot : MapPlots(run)) Draw(plot.chart);      // last: the equations are emitted anew
#pragma once

#include <string>
#include <vector>

#include "runtime/cases/case_run.h"
#include "runtime/cases/performance_map.h"
#include "runtime/report/line_chart.h"

namespace quiver {

struct Plot {
  LineChart chart;
  std::string caption;
  // What the reader takes from the picture, in figures: the first row is the header. Empty: nothing beside the picture.
  std::vector<std::vector<std::string>> table;
};

struct Curves {
  std::vector<Plot> plots;
  std::vector<std::string> left_out;  // of which instance there is none, and why
};
Curves CurvePlots(CaseRun& run);
std::vector<Plot> MapPlots(CaseRun& run);
Plot MapPlot(const PerformanceMap& map);

// "m²" for "m2", "°C" for "C".
std::string UnitText(std::string_view unit);
// "FLUX, kg/m²/s"
std::string WithUnit(const std::string& name, const std::string& unit);
// For people: at most seven digits.
std::string ShortNumber(double value);

}  // namespace quiver
