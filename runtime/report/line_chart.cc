// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/line_chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/io/utf8.h"
#include "runtime/report/markup.h"

namespace quiver {
namespace {

constexpr double kWidth = 760, kHeight = 440;
constexpr double kLeft = 82, kRight = 28, kTop = 40, kBottom = 56;  // margins
constexpr double kLetter = 6.7;                                     // mean width of a letter
constexpr double kLegendLine = 18;
constexpr int kStyles = 6;

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

double TextWidth(const std::string& text) { return kLetter * static_cast<double>(CharacterCount(text)); }

class Drawing {
 public:
  explicit Drawing(const LineChart& chart) : chart_(chart) {
    Range xs, ys;
    for (const auto& series : chart.series) {
      for (const double x : series.x) xs.Take(x);
      for (const double y : series.y) ys.Take(y);
      if (chart.label_at_end) right_ = std::max(right_, TextWidth(series.label) + 14);
    }
    for (const auto& point : chart.points) xs.Take(point.x), ys.Take(point.y);
    for (const auto& line : chart.lines) xs.Take(line.x);
    if (!chart.points.empty()) ys.Take(ys.high + 0.07 * (ys.high - ys.low));  // room for labels
    xs.Open();
    ys.Open();
    x_ticks_ = AxisTicks(xs.low, xs.high, 8);
    y_ticks_ = AxisTicks(ys.low, ys.high, 6);
    PlaceLegend();
  }

  std::string Body() {
    Axes();
    for (const auto& line : chart_.lines) Upright(line);
    for (size_t k = 0; k < chart_.series.size(); ++k) Series(k);
    for (const auto& point : chart_.points) Point(point);
    Legend();
    return std::move(svg_);
  }

  // What a script needs to turn places into values again.
  std::string Frame() const {
    return fmt::format("data-frame=\"{} {} {} {} {:.9g} {:.9g} {:.9g} {:.9g}\"", kLeft, kWidth - right_,
                       kHeight - kBottom, top_, x_ticks_.front(), x_ticks_.back(), y_ticks_.front(),
                       y_ticks_.back());
  }

 private:
  struct Entry {
    double x, y;
  };

  double Px(double x) const {
    return kLeft + (x - x_ticks_.front()) / (x_ticks_.back() - x_ticks_.front()) * (kWidth - kLeft - right_);
  }
  double Py(double y) const {
    return kHeight - kBottom -
           (y - y_ticks_.front()) / (y_ticks_.back() - y_ticks_.front()) * (kHeight - top_ - kBottom);
  }

  void PlaceLegend() {
    if (chart_.label_at_end || chart_.series.size() < 2) return;
    double x = kLeft, y = kTop + 4;
    for (const auto& series : chart_.series) {
      const double width = TextWidth(series.label) + 54;
      if (x > kLeft && x + width > kWidth - kRight) x = kLeft, y += kLegendLine;
      legend_.push_back({x, y});
      x += width;
    }
    top_ = y + 16;
  }

  void Text(double x, double y, const char* anchor, const std::string& text, const char* style = "label") {
    svg_ += fmt::format("<text class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n", style,
                        x, y, anchor, Escaped(text));
  }

  void Axes() {
    Text(kLeft, 22, "start", chart_.title, "title");
    const double bottom = kHeight - kBottom, end = kWidth - right_;
    for (const double tick : x_ticks_) {
      svg_ += fmt::format("<path class=\"grid\" d=\"M{0:.1f},{1}V{2}\"/>", Px(tick), top_, bottom);
      Text(Px(tick), bottom + 18, "middle", fmt::format("{:.6g}", tick));
    }
    for (const double tick : y_ticks_) {
      svg_ += fmt::format("<path class=\"grid\" d=\"M{1},{0:.1f}H{2}\"/>", Py(tick), kLeft, end);
      Text(kLeft - 8, Py(tick) + 4, "end", fmt::format("{:.6g}", tick));
    }
    svg_ += fmt::format("<path class=\"axis\" d=\"M{0},{1}V{2}H{3}\"/>\n", kLeft, top_, bottom, end);
    Text((kLeft + end) / 2, kHeight - 14, "middle", chart_.x_label);
    svg_ += fmt::format(
        "<text class=\"label\" transform=\"translate(18 {:.1f}) rotate(-90)\" "
        "text-anchor=\"middle\">{}</text>\n",
        (top_ + bottom) / 2, Escaped(chart_.y_label));
  }

  static std::string StyleOf(const LineChart::Series& series, size_t k) {
    return series.limit ? "limit" : fmt::format("line s{}", k % kStyles);
  }

  void Series(size_t k) {
    const LineChart::Series& series = chart_.series[k];
    std::string points;
    double last_x = 0, last_y = 0;
    bool drawn = false;
    const auto finish = [&] {
      if (!points.empty() && !series.markers)
        svg_ += fmt::format("<polyline class=\"{}\" data-label=\"{}\" points=\"{}\"/>\n", StyleOf(series, k),
                            Escaped(series.label), points);
      points.clear();
    };
    for (size_t i = 0; i < std::min(series.x.size(), series.y.size()); ++i) {
      if (!std::isfinite(series.x[i]) || !std::isfinite(series.y[i])) {
        finish();
        continue;
      }
      drawn = true;
      last_x = Px(series.x[i]);
      last_y = Py(series.y[i]);
      points += fmt::format("{}{:.2f},{:.2f}", points.empty() ? "" : " ", last_x, last_y);
      if (series.markers)
        svg_ += fmt::format("<circle class=\"mark s{}\" cx=\"{:.2f}\" cy=\"{:.2f}\" r=\"3\"/>", k % kStyles,
                            last_x, last_y);
    }
    finish();
    if (drawn && chart_.label_at_end) Text(last_x + 6, last_y + 4, "start", series.label);
  }

  void Upright(const LineChart::Line& line) {
    if (!std::isfinite(line.x)) return;
    const double x = Px(line.x);
    svg_ += fmt::format("<path class=\"upright\" d=\"M{:.1f},{}V{}\"/>", x, top_, kHeight - kBottom);
    const bool left = x + TextWidth(line.label) + 8 > kWidth - right_;
    // Labels of lines beside each other stand on steps.
    Text(left ? x - 5 : x + 5, kHeight - kBottom - 8 - 15 * (uprights_++ % 3), left ? "end" : "start",
         line.label, "note");
  }

  // Whether a curve through the point goes up there: the room above it is on the left.
  bool Rises(const LineChart::Point& point) const {
    for (const LineChart::Series& series : chart_.series)
      for (size_t i = 1; i < series.x.size(); ++i) {
        const double x0 = series.x[i - 1], x1 = series.x[i], y0 = series.y[i - 1], y1 = series.y[i];
        if (!(x0 < x1) || point.x < x0 || point.x > x1) continue;
        const double on_curve = y0 + (y1 - y0) * (point.x - x0) / (x1 - x0);
        if (std::abs(Py(on_curve) - Py(point.y)) < 6 && Py(y1) < Py(y0) - 0.5) return true;
      }
    return false;
  }

  void Point(const LineChart::Point& point) {
    if (!std::isfinite(point.x) || !std::isfinite(point.y)) return;
    const double x = Px(point.x), y = Py(point.y);
    svg_ += fmt::format(
        "<circle class=\"{}\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"5\"><title>{}: {:.6g}, "
        "{:.6g}</title></circle>",
        point.open ? "point open" : "point", x, y, Escaped(point.name.empty() ? point.label : point.name),
        point.x, point.y);
    const bool fits_left = x - TextWidth(point.label) - 12 > kLeft;
    const bool left = fits_left && (x + TextWidth(point.label) + 12 > kWidth - right_ || Rises(point));
    const bool below = y < top_ + 22;
    double at = below ? y + 20 : y - 10;
    // Two points at nearly the same place: the second label goes below.
    for (const Entry& other : labels_)
      if (std::abs(other.x - x) < TextWidth(point.label) + 12 && std::abs(other.y - at) < 14)
        at = y + 20 + (below ? 15 : 0);
    labels_.push_back({x, at});
    Text(left ? x - 9 : x + 9, at, left ? "end" : "start", point.label, "note");
  }

  void Legend() {
    for (size_t k = 0; k < legend_.size(); ++k) {
      const LineChart::Series& series = chart_.series[k];
      const auto [x, y] = legend_[k];
      if (series.markers)
        svg_ += fmt::format("<circle class=\"mark s{}\" cx=\"{}\" cy=\"{}\" r=\"3\"/>", k % kStyles, x + 15,
                            y - 4);
      else
        svg_ += fmt::format("<path class=\"{}\" d=\"M{},{}h30\"/>", StyleOf(series, k), x, y - 4);
      Text(x + 36, y, "start", series.label);
    }
  }

  const LineChart& chart_;
  std::vector<double> x_ticks_, y_ticks_;
  std::vector<Entry> legend_, labels_;
  double right_ = kRight, top_ = kTop;
  int uprights_ = 0;
  std::string svg_;
};

std::string TitleAndDescription(const LineChart& chart) {
  return fmt::format(
      "<title>{}</title>\n<desc>{}</desc>\n", Escaped(chart.title),
      Escaped(chart.description.empty() ? chart.y_label + " over " + chart.x_label : chart.description));
}

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

const char* ChartStyle() {
  return "svg.chart{--ink:#222;--ground:#fff;--grid:#ddd;--c0:#1f5fa8;--c1:#b5461e;--c2:#2f7d4f;--c3:#7a4a9c;"
         "--c4:#7a5f14;"
         "--c5:#20707c;--mark:#b01515;font:12px Helvetica,Arial,sans-serif;background:var(--ground)}\n"
         ".chart text{fill:var(--ink);stroke:var(--ground);stroke-width:3px;paint-order:stroke}\n"
         ".chart .title{font-size:15px;font-weight:bold}.chart .note{fill:var(--mark)}\n"
         ".chart path,.chart polyline{fill:none}.chart .grid{stroke:var(--grid)}.chart "
         ".axis{stroke:var(--ink)}\n"
         ".chart .line{stroke-width:2}.chart .limit{stroke:var(--ink);stroke-width:1.6;stroke-dasharray:3 "
         "3}\n"
         ".chart .upright{stroke:var(--mark);stroke-dasharray:5 3}.chart "
         ".point{fill:var(--mark);stroke:var(--ground)}\n"
         ".chart .s0{stroke:var(--c0)}.chart .s1{stroke:var(--c1);stroke-dasharray:8 4}\n"
         ".chart .s2{stroke:var(--c2);stroke-dasharray:2 3}.chart .s3{stroke:var(--c3);stroke-dasharray:10 3 "
         "2 3}\n"
         ".chart .s4{stroke:var(--c4);stroke-dasharray:5 5}.chart .s5{stroke:var(--c5);stroke-dasharray:14 "
         "3}\n"
         ".chart .mark{fill:var(--ground);stroke-width:1.6;stroke-dasharray:none}\n";
}

std::string SvgInPage(const LineChart& chart, const std::string& id) {
  Drawing drawing(chart);
  std::string text = TitleAndDescription(chart);
  text.insert(text.find('>'), fmt::format(" id=\"{}-title\"", id));
  text.insert(text.find("<desc") + 5, fmt::format(" id=\"{}-text\"", id));
  return fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"chart\" viewBox=\"0 0 {} {}\" role=\"img\" "
      "aria-labelledby=\"{}-title {}-text\" {}>\n{}{}</svg>\n",
      kWidth, kHeight, id, id, drawing.Frame(), text, drawing.Body());
}

std::string Svg(const std::vector<LineChart>& charts) {
  const double height = kHeight * static_cast<double>(charts.size());
  std::string svg = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"chart\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" "
      "height=\"{1}\" "
      "role=\"img\">\n<style>{2}</style>\n<rect width=\"{0}\" height=\"{1}\" fill=\"white\"/>\n",
      kWidth, height, ChartStyle());
  for (size_t k = 0; k < charts.size(); ++k)
    svg += fmt::format("<g transform=\"translate(0 {})\">\n{}{}</g>\n", kHeight * static_cast<double>(k),
                       TitleAndDescription(charts[k]), Drawing(charts[k]).Body());
  return svg + "</svg>\n";
}

std::string Svg(const LineChart& chart) { return Svg(std::vector<LineChart>{chart}); }

}  // namespace quiver
