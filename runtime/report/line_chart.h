// SPDX-License-Identifier: Apache-2.0
// A line chart as an SVG picture: no network, no fonts, no script; lines differ by colour and by dashes, so that paper and
// copies keep them apart.
//
//   LineChart chart;  chart.title = "Compressor map";  chart.series.push_back({"3600 rpm", x, y});
//   file << Svg(chart);
#pragma once

#include <string>
#include <vector>

namespace quiver {

struct LineChart {
  struct Series {
    std::string label;
    std::vector<double> x, y;  // what is not finite leaves a gap
    bool markers = false;      // a dot at every value: measured or tabulated points, not a curve
    bool limit = false;        // no curve of its own, but a limit such as a surge line
  };
  struct Point {  // a state that the reader looks for
    std::string label;
    double x, y;
    bool open = false;      // drawn as a ring
    std::string name = {};  // what it is, where the picture has no room for a label
  };
  struct Line {  // an upright line over the whole height
    std::string label;
    double x;
  };
  std::string title, x_label, y_label;
  std::string description;  // for those who do not see the picture
  std::vector<Series> series;
  std::vector<Point> points;
  std::vector<Line> lines;
  bool label_at_end = false;  // of each series, at its last value; else a legend when there are several
};

// A picture of its own, with its colours in it. Coordinates that are not finite are left out.
std::string Svg(const LineChart& chart);
// Several below each other in one picture.
std::string Svg(const std::vector<LineChart>& charts);
// Part of a page that has ChartStyle() among its styles; `id` is unique in the page.
std::string SvgInPage(const LineChart& chart, const std::string& id);
const char* ChartStyle();

// Values that a person would put on an axis: 1, 2 or 5 times a power of ten apart, covering [low, high].
std::vector<double> AxisTicks(double low, double high, int about);

}  // namespace quiver
