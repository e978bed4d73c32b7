// SPDX-License-Identifier: Apache-2.0
// A line chart as an SVG picture of its own: no network, no fonts, readable on paper.
//
//   LineChart chart;  chart.title = "Compressor map";  chart.series.push_back({"3600 rpm", x, y});  WriteSvg(chart, "map.svg");
#pragma once

#include <string>
#include <vector>

namespace quiver {

struct LineChart {
  struct Series {
    std::string label;  // stands at the end of its line
    std::vector<double> x, y;
    bool dashed = false;
  };
  struct Point {
    std::string label;
    double x, y;
  };
  std::string title, x_label, y_label;
  std::vector<Series> series;
  std::vector<Point> points;
};

std::string Svg(const LineChart& chart);

// Values that a person would put on an axis: 1, 2 or 5 times a power of ten apart, covering [low, high].
std::vector<double> AxisTicks(double low, double high, int about);

}  // namespace quiver
