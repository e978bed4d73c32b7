// SPDX-License-Identifier: Apache-2.0
// Pictures: every value stands where its axis says, gaps stay gaps, and any text is harmless.
#include "runtime/report/line_chart.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "runtime/report/markup.h"
#include "tests/support/markup_reader.h"

namespace quiver {
namespace {

using testing::Element;
using testing::ReadMarkup;

// A picture in a page carries its frame: places to values and back.
TEST(LineChart, ValuesStandWhereTheirAxesSay) {
  LineChart chart;
  chart.title = "<script>alert(\"&\")</script>\x01\xff";
  chart.series.push_back({"a & b", {1, 2, 3, 4, 7}, {10, 40, std::nan(""), 20, 35}});
  chart.series.push_back({"second", {1, 7}, {12, 12}});
  chart.points.push_back({"here", 4, 20});
  const Element page = ReadMarkup(SvgInPage(chart, "one"));
  const Element& svg = *page.All("svg").at(0);
  EXPECT_TRUE(svg.All("script").empty());
  EXPECT_EQ(svg.All("title").at(0)->Attribute("id") + " " + svg.All("desc").at(0)->Attribute("id"),
            svg.Attribute("aria-labelledby"));
  double left, right, bottom, top, x0, x1, y0, y1;
  std::istringstream(svg.Attribute("data-frame")) >> left >> right >> bottom >> top >> x0 >> x1 >> y0 >> y1;
  const auto lines = svg.All("polyline");
  ASSERT_EQ(lines.size(), 3u);  // the first is cut in two at its gap
  EXPECT_NE(lines[0]->Attribute("class"), lines[2]->Attribute("class"));
  std::vector<std::pair<double, double>> found;
  for (const Element* line : lines) {
    std::istringstream points(line->Attribute("points"));
    double x, y;
    char comma;
    while (points >> x >> comma >> y)
      found.emplace_back(x0 + (x - left) / (right - left) * (x1 - x0),
                         y0 + (y - bottom) / (top - bottom) * (y1 - y0));
  }
  const std::vector<std::pair<double, double>> expected = {{1, 10}, {2, 40}, {4, 20},
                                                           {7, 35}, {1, 12}, {7, 12}};
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_NEAR(found[i].first, expected[i].first, 1e-3);
    EXPECT_NEAR(found[i].second, expected[i].second, 2e-2);
  }
}

TEST(LineChart, AxesCoverTheirRangeInRoundSteps) {
  for (const auto& [low, high] :
       {std::pair{0.0, 1.0}, {-3.7, 12.9}, {1e-9, 4e-9}, {5e6, 5.00001e6}, {-2.0, -1.0}}) {
    const std::vector<double> ticks = AxisTicks(low, high, 6);
    const double step = ticks[1] - ticks[0], slack = 1e-6 * step;
    EXPECT_LE(ticks.front(), low + slack);
    EXPECT_GE(ticks.back(), high - slack);
    EXPECT_LT(ticks.back() - ticks.front(), high - low + 2 * step + slack);
    const double leading = step / std::pow(10, std::floor(std::log10(step) + 1e-6));
    EXPECT_NEAR(std::abs(leading - 1) * std::abs(leading - 2) * std::abs(leading - 5), 0, 1e-5) << step;
  }
}

// Degenerate pictures: no values, one value, all the same.
TEST(LineChart, NothingToShowIsNoFault) {
  for (const std::vector<double>& values :
       {std::vector<double>{}, {3}, {2, 2, 2}, {std::nan("")}, {HUGE_VAL, 1}}) {
    LineChart chart;
    chart.series.push_back({"s", values, values});
    const std::string svg = Svg(chart);
    EXPECT_EQ(ReadMarkup(svg).All("svg").size(), 1u);
    EXPECT_EQ(svg.find("nan"), std::string::npos);
    EXPECT_EQ(svg.find("inf"), std::string::npos);
  }
}

}  // namespace
}  // namespace quiver
