// SPDX-License-Identifier: Apache-2.0
#include "cli/line_chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

constexpr double kWidth = 760, kHeight = 480;
constexpr double kLeft = 78, kRight = 110, kTop = 44, kBottom = 58;  // margins
constexpr const char* kColours[] = {"#1f5fa8", "#b5461e", "#2f7d4f", "#7a4a9c", "#8a6d1d", "#2b7f8c"};

std::string Escaped(const std::string& text) {
  std::string safe;
  for (const char c : text)
    safe += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
  return safe;
}

struct Range {
  double low = HUGE_VAL, high = -HUGE_VAL;
  void Take(double value) {
    if (!std::isfinite(value)) return;
    low = std::min(low, value);
    high = std::max(high, value);
  }
  void Open() {
    if (low > high) low = 0, high = 1;
    if (low > 0 && low < 0.3 * high) low = 0;  // an axis that nearly starts at zero starts there
    if (high - low < 1e-12 * std::max(std::abs(low), std::abs(high)) || high == low) low -= 0.5, high += 0.5;
  }
};

}  // namespace

std::vector<double> AxisTicks(double low, double high, int about) {
  const double raw = (high - low) / std::max(about, 1);
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  const double step = raw / power < 1.5   ? power
                      : raw / power < 3.5 ? 2 * power
                      : raw / power < 7.5 ? 5 * power
                                          : 10 * power;
  std::vector<double> ticks;
  for (double k = std::floor(low / step + 1e-9);; ++k) {
    const double tick = k * step;
    ticks.push_back(std::abs(tick) < 1e-9 * step ? 0.0 : tick);
    if (tick >= high - 1e-9 * step) return ticks;
  }
}

std::string Svg(const LineChart& chart) {
  Range xs, ys;
  for (const auto& series : chart.series) {
    for (const double x : series.x) xs.Take(x);
    for (const double y : series.y) ys.Take(y);
  }
  for (const auto& point : chart.points) xs.Take(point.x), ys.Take(point.y);
  xs.Open();
  ys.Open();
  const std::vector<double> x_ticks = AxisTicks(xs.low, xs.high, 7), y_ticks = AxisTicks(ys.low, ys.high, 6);
  const auto px = [&](double x) {
    return kLeft + (x - x_ticks.front()) / (x_ticks.back() - x_ticks.front()) * (kWidth - kLeft - kRight);
  };
  const auto py = [&](double y) {
    return kHeight - kBottom -
           (y - y_ticks.front()) / (y_ticks.back() - y_ticks.front()) * (kHeight - kTop - kBottom);
  };

  std::string svg = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" "
      "font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\" fill=\"#222\">\n"
      "<rect width=\"{0}\" height=\"{1}\" fill=\"white\"/>\n"
      "<text x=\"{2}\" y=\"24\" font-size=\"15\" font-weight=\"bold\">{3}</text>\n",
      kWidth, kHeight, kLeft, Escaped(chart.title));
  for (const double tick : x_ticks)
    svg += fmt::format(
        "<line x1=\"{0:.1f}\" y1=\"{1}\" x2=\"{0:.1f}\" y2=\"{2}\" stroke=\"#ddd\"/>"
        "<text x=\"{0:.1f}\" y=\"{3}\" text-anchor=\"middle\">{4:.6g}</text>\n",
        px(tick), kTop, kHeight - kBottom, kHeight - kBottom + 18, tick);
  for (const double tick : y_ticks)
    svg += fmt::format(
        "<line x1=\"{1}\" y1=\"{0:.1f}\" x2=\"{2}\" y2=\"{0:.1f}\" stroke=\"#ddd\"/>"
        "<text x=\"{3}\" y=\"{4:.1f}\" text-anchor=\"end\">{5:.6g}</text>\n",
        py(tick), kLeft, kWidth - kRight, kLeft - 8, py(tick) + 4, tick);
  svg += fmt::format("<text x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n",
                     (kLeft + kWidth - kRight) / 2, kHeight - 14, Escaped(chart.x_label));
  svg +=
      fmt::format("<text transform=\"translate(20 {:.1f}) rotate(-90)\" text-anchor=\"middle\">{}</text>\n",
                  (kTop + kHeight - kBottom) / 2, Escaped(chart.y_label));

  size_t colour = 0;
  for (const auto& series : chart.series) {
    std::string path;
    double last_x = 0, last_y = 0;
    for (size_t i = 0; i < series.x.size(); ++i) {
      if (!std::isfinite(series.x[i]) || !std::isfinite(series.y[i])) continue;
      last_x = px(series.x[i]);
      last_y = py(series.y[i]);
      path += fmt::format("{}{:.2f},{:.2f}", path.empty() ? "" : " ", last_x, last_y);
    }
    if (path.empty()) continue;
    const char* stroke = kColours[colour++ % std::size(kColours)];
    svg += fmt::format("<polyline points=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"1.8\"{}/>\n", path,
                       stroke, series.dashed ? " stroke-dasharray=\"6 4\"" : "");
    svg += fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" fill=\"{}\">{}</text>\n", last_x + 6, last_y + 4,
                       stroke, Escaped(series.label));
  }
  for (const auto& point : chart.points) {
    if (!std::isfinite(point.x) || !std::isfinite(point.y)) continue;
    svg += fmt::format(
        "<circle cx=\"{0:.1f}\" cy=\"{1:.1f}\" r=\"5\" fill=\"#c01818\" stroke=\"white\"/>"
        "<text x=\"{2:.1f}\" y=\"{3:.1f}\" fill=\"#c01818\">{4}</text>\n",
        px(point.x), py(point.y), px(point.x) + 9, py(point.y) - 8, Escaped(point.label));
  }
  return svg + "</svg>\n";
}

}  // namespace quiver
