// SPDX-License-Identifier: Apache-2.0
// quiver report: the page is well formed and needs nothing else, its figures are those of quiver solve, its curves obey the
// physics.
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "tests/cli/program.h"
#include "tests/support/markup_reader.h"

namespace quiver::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

const fs::path kExamples = fs::path(QUIVER_SOURCE_DIR) / "examples";

struct Report {
  Answer answer;
  std::string text;
  Element page;
  Json summary;
};

// quiver report ARGUMENTS; the page is read strictly.
Report MakeReport(std::vector<std::string> arguments, const Scratch& scratch = Scratch()) {
  Report report;
  arguments.insert(arguments.begin(), "report");
  arguments.insert(arguments.end(), {"-o", "page.html", "--json"});
  report.answer = Quiver(arguments, scratch);
  report.text = ReadText(scratch.path() / "page.html");
  report.page = ReadMarkup(report.text);
  if (!report.answer.out.empty()) report.summary = report.answer.Document();
  return report;
}

Report ReportText(const std::string& case_text) {
  Scratch scratch;
  scratch.Write("case.yaml", case_text);
  return MakeReport({"case.yaml"}, scratch);
}

// The values of a page by name: the row's head and its <data>.
std::map<std::string, double> ValuesOf(const Element& page) {
  std::map<std::string, double> values;
  for (const Element* row : page.All("tr")) {
    const auto heads = row->All("th"), data = row->All("data");
    if (heads.size() == 1 && data.size() == 1)
      values[heads[0]->Text()] = std::strtod(data[0]->Attribute("value").c_str(), nullptr);
  }
  return values;
}

// Every text that a browser might fetch, and what those who cannot see the page need.
void ExpectSelfContainedAndAccessible(const Report& report) {
  for (const char* word : {"url(", "@import", "http:", "https:", "src=", "<link", "<iframe", "<object"}) {
    std::string text = report.text;
    for (const char* name :
         {"http://www.w3.org/1999/xhtml", "http://www.w3.org/2000/svg"})  // names, not addresses
      for (size_t at; (at = text.find(name)) != text.npos;) text.erase(at, std::string(name).size());
    EXPECT_EQ(text.find(word), std::string::npos) << word;
  }
  for (const Element* link : report.page.All("a")) {
    ASSERT_TRUE(link->Attribute("href").starts_with('#')) << link->Attribute("href");
    EXPECT_THAT(report.text, HasSubstr("id=\"" + link->Attribute("href").substr(1) + "\""));
  }
  EXPECT_EQ(report.page.All("h1").size(), 1u);
  EXPECT_GE(report.page.All("h2").size(), 4u);
  for (const Element* head : report.page.All("th")) EXPECT_NE(head->Attribute("scope"), "") << head->Text();
  for (const Element* svg : report.page.All("svg")) {
    EXPECT_EQ(svg->Attribute("role"), "img");
    EXPECT_NE(svg->All("desc").at(0)->Text(), "");
  }
}

TEST(Report, ExamplesGiveWholePagesWithTheValuesOfSolve) {
  int pages = 0;
  for (const auto& folder : fs::directory_iterator(kExamples)) {
    const std::string file = (folder.path() / "case.yaml").string();
    if (!fs::exists(file)) continue;
    SCOPED_TRACE(file);
    const Report report = MakeReport({file});
    ASSERT_EQ(report.answer.status, 0) << report.answer.err;
    ExpectSelfContainedAndAccessible(report);
    EXPECT_GT(report.page.All("math").size(), 1u);
    const Json solved = Quiver({"solve", file, "--json"}).Document();
    int compared = 0;
    for (const auto& [name, value] : ValuesOf(report.page))
      if (solved["values"].contains(name)) {
        EXPECT_EQ(value, solved["values"][name].get<double>()) << name;
        ++compared;
      }
    EXPECT_GT(compared, 0);
    ++pages;
  }
  EXPECT_GE(pages, 9);
}

void SetDate(const char* seconds) {
#if defined(_WIN32)
  _putenv_s("SOURCE_DATE_EPOCH", seconds);
#else
  setenv("SOURCE_DATE_EPOCH", seconds, 1);
#endif
}

TEST(Report, SameCaseAndDateGiveTheSameBytes) {
  const std::string file = (kExamples / "liquid_relief/case.yaml").string();
  SetDate("86400");
  const Report first = MakeReport({file}), second = MakeReport({file});
  SetDate("yesterday");
  const Answer wrong = Quiver({"report", file, "-o", "x.html"});
  SetDate("");
  EXPECT_EQ(first.text, second.text);
  EXPECT_THAT(first.text, HasSubstr("1970-01-02 00:00 UTC"));
  EXPECT_EQ(wrong.status, 2);
  EXPECT_THAT(wrong.err, HasSubstr("yesterday"));
  Scratch scratch;  // FIPS 180-4, example B.1, as the text of a case's comment would give another
  scratch.Write("case.yaml", ReadText(file) + "# other\n");
  EXPECT_NE(MakeReport({"case.yaml"}, scratch).text, first.text);
}

// ---- Curves.

Json PointOf(const Json& plot, const std::string& name) {
  for (const Json& point : plot["points"])
    if (point["name"] == name) return point;
  return nullptr;
}

// The values of a curve, from its places in the picture and the frame.
std::vector<std::pair<double, double>> CurveOf(const Element& svg, size_t which) {
  double left, right, bottom, top, x0, x1, y0, y1;
  std::istringstream(svg.Attribute("data-frame")) >> left >> right >> bottom >> top >> x0 >> x1 >> y0 >> y1;
  std::istringstream points(svg.All("polyline").at(which)->Attribute("points"));
  std::vector<std::pair<double, double>> curve;
  double x, y;
  char comma;
  while (points >> x >> comma >> y)
    curve.emplace_back(x0 + (x - left) / (right - left) * (x1 - x0),
                       y0 + (y - bottom) / (top - bottom) * (y1 - y0));
  return curve;
}

// Isentropic nozzle flow of an ideal gas: the critical ratio is (2/(k + 1))^(k/(k - 1)), and above it
// G^2 = 2 k/(k - 1) P rho (r^(2/k) - r^((k + 1)/k)).
TEST(Report, IdealGasChokesAtItsCriticalRatio) {
  const Report report = MakeReport({(kExamples / "relief_pool_fire/case.yaml").string()});
  auto values = ValuesOf(report.page);
  const double k = values["valve.FVAP(1).K"], p = 7.0633, g_choked = values["valve.FLUX"];
  const double ratio = std::pow(2 / (k + 1), k / (k - 1));
  const Json choke = PointOf(report.summary["plots"][0], "valve chokes");
  EXPECT_NEAR(choke["x"].get<double>(), p * ratio, 1e-6 * p);
  EXPECT_NEAR(choke["y"].get<double>(), g_choked, 1e-6 * g_choked);
  const auto flow = [&](double r) { return std::pow(r, 2 / k) - std::pow(r, (k + 1) / k); };
  int subcritical = 0;
  for (const auto& [back, flux] : CurveOf(*report.page.All("svg").at(0), 0)) {
    const double r = std::max(back / p, ratio);
    EXPECT_NEAR(flux, g_choked * std::sqrt(flow(r) / flow(ratio)), 0.006 * g_choked) << back;
    subcritical += r > ratio;
  }
  EXPECT_GT(subcritical, 10);
}

// Each method that knows flashing, solved anew and alone on both sides of the point that the picture shows.
TEST(Report, ChokePointsAreThoseOfTheMethods) {
  const std::string text = ReadText(kExamples / "relief_saturated/case.yaml");
  const Report report = ReportText(text);
  int methods = 0;
  for (const Json& point : report.summary["plots"][0]["points"]) {
    const std::string name = point["name"];
    if (!name.ends_with(" chokes")) continue;
    const std::string block = name.substr(0, name.find(' '));
    SCOPED_TRACE(block);
    const double choke = point["x"], flux = point["y"];
    for (const double factor : {0.98, 1.02}) {
      std::string changed = text;
      const std::string given = "P_OUT: 1.01325 bar";
      changed.replace(changed.find(given), given.size(), "P_OUT: " + std::to_string(choke * factor) + " bar");
      const Json values = SolveText(changed, {"--json"}).Document()["values"];
      EXPECT_EQ(values[block + ".CRITICAL_FLOW"].get<double>() > 0.5, factor < 1);
      const double found = values[block + ".FLUX"];
      // Leung and Grolmes fit the critical ratio: their flux steps up by a few per cent where it stops choking.
      EXPECT_NEAR(found, flux, (factor < 1 ? 1e-5 : 0.04) * flux);
    }
    ++methods;
  }
  EXPECT_EQ(methods, 5);
}

// NFPA 30, section on emergency relief venting: the brackets begin at 200, 1000 and 2800 square feet.
TEST(Report, FireBracketsOfNfpa30) {
  const Report report =
      MakeReport({"FIRECALCS", "--set", "FIRESTANDARD=NFPA-30", "--fix", "D_TANK=3", "--fix", "L_TANK=8",
                  "--fix", "LEVEL=5", "--fix", "ELEVATION=1", "--fix", "DESIGNP=2"});
  ASSERT_EQ(report.answer.status, 0) << report.answer.err;
  std::vector<double> square_feet;
  for (const Json& line : report.summary["plots"].at(0)["lines"])
    square_feet.push_back(line["x"].get<double>() / 0.09290304);
  ASSERT_EQ(square_feet.size(), 3u);
  EXPECT_NEAR(square_feet[0], 200, 1e-3);
  EXPECT_NEAR(square_feet[1], 1000, 1e-3);
  EXPECT_NEAR(square_feet[2], 2800, 1e-3);
}

// Whether the opening is given, or found from the coefficient.
TEST(Report, ValveCharacteristicAndItsOperatingPoint) {
  const auto law = [](double pos) { return 80 * 0.1 * pos / std::sqrt(1 + 0.0099 * pos * pos); };
  char coefficient[40];
  std::snprintf(coefficient, sizeof coefficient, "CV=%.17g", law(30));
  for (const std::string& given : {std::string("POS=30"), std::string(coefficient)}) {
    SCOPED_TRACE(given);
    const Report report = MakeReport({"VALTYPE", "--set", "CHAR_EQN=QUICK-OPENING", "--fix", "CVMAX=80",
                                      "--fix", given, "--fix", "FL=0.9", "--fix", "XT=0.7"});
    ASSERT_EQ(report.answer.status, 0) << report.answer.err;
    const auto curve = CurveOf(*report.page.All("svg").at(0), 0);
    EXPECT_NEAR(curve.front().first, 0, 1e-6);
    EXPECT_NEAR(curve.back().first, 100, 1e-6);
    for (const auto& [pos, cv] : curve) EXPECT_NEAR(cv, law(pos), 0.1) << pos;
    const Json point = report.summary["plots"][0]["points"][0];
    EXPECT_NEAR(point["x"].get<double>(), 30, 1e-6);
    EXPECT_NEAR(point["y"].get<double>(), law(30), 1e-6);
  }
}

TEST(Report, CompressorMapWithSurgeLine) {
  const Report report = MakeReport(
      {"COMPRPERFCURVE", "--set", "NCURVE=1", "--fix", "FV_IN=9000", "--fix", "ACTSHAFTSPEED=3300"});
  ASSERT_EQ(report.answer.status, 0) << report.answer.err;
  ASSERT_GE(report.summary["plots"].size(), 1u);
  const Element& svg = *report.page.All("svg").at(0);
  const Json point = report.summary["plots"][0]["points"][0];
  // One curve at its own speed: the case, brought to that speed by the laws of similarity, lies on it.
  double nearest = HUGE_VAL;
  for (const auto& [flow, value] : CurveOf(svg, 0))
    nearest = std::min(nearest, std::hypot((flow - point["x"].get<double>()) / point["x"].get<double>(),
                                           (value - point["y"].get<double>()) / point["y"].get<double>()));
  EXPECT_LT(nearest, 0.02);
}

// The columns that are inputs of the case become axes; rows that were not solved are counted, not drawn.
TEST(Report, CurvesOfASweep) {
  Scratch scratch;
  scratch.Write("case.yaml",
                "blocks: {psv: {model: PSV_SIMPLE, fix: {P_DROP: 6, RHO: 55.3, MW: 18, AREA_RATIO: 0}}}\n");
  scratch.Write("grid.csv",
                "# quiver 0.1\npoint,status,reason,start,iterations,psv.P_DROP [bar],psv.RHO "
                "[kmol/m3],psv.FLUX [kg/m2/s]\n"
                "1,solved,,cold,3,4,50,200\n2,solved,,1,3,1,50,100\n3,failed,\"a, \"\"b\"\"\",,9,2,50,\n"
                "4,solved,,1,3,1,60,110\n5,solved,,1,3,4,60,220\n6,solved,,1,3,9,60,330\n");
  scratch.Write("grid.jsonl",
                "{\"quiver\":\"0.1\",\"columns\":[{\"name\":\"psv.P_DROP\",\"unit\":\"bar\"},{\"name\":\"psv."
                "FLUX\",\"unit\":null}]}\n"
                "{\"psv.P_DROP\":2,\"psv.FLUX\":7}\n{\"psv.P_DROP\":1,\"psv.FLUX\":5}\n");
  const Report report = MakeReport({"case.yaml", "--sweep", "grid.csv", "--sweep", "grid.jsonl"}, scratch);
  ASSERT_EQ(report.answer.status, 0) << report.answer.err;
  const auto pictures = report.page.All("svg");
  ASSERT_EQ(pictures.size(), 3u);  // the case's own first
  const auto near = [](const auto& found, std::vector<std::pair<double, double>> expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < found.size(); ++i) {
      EXPECT_NEAR(found[i].first, expected[i].first, 0.01);
      EXPECT_NEAR(found[i].second, expected[i].second, 0.5);
    }
  };
  near(CurveOf(*pictures[1], 0), {{1, 100}, {4, 200}});
  near(CurveOf(*pictures[1], 1), {{1, 110}, {4, 220}, {9, 330}});
  near(CurveOf(*pictures[2], 0), {{1, 5}, {2, 7}});
  EXPECT_THAT(report.page.Text(), HasSubstr("1 more did not converge"));
  EXPECT_EQ(report.summary["plots"][1]["x"], "psv.P_DROP, bar");
  scratch.Write("torn.csv", "psv.P_DROP,psv.FLUX\n1\n");
  const Answer torn = Quiver({"report", "case.yaml", "--sweep", "torn.csv"}, scratch);
  EXPECT_EQ(torn.status, 2);
  EXPECT_THAT(torn.err, HasSubstr("torn.csv, line 2"));
  EXPECT_EQ(Quiver({"report", "case.yaml", "--sweep", "none.csv"}, scratch).status, 2);
}

// ---- Equations and answers.

TEST(Report, TheBranchThatHoldsIsMarked) {
  for (const bool choked : {true, false}) {
    SCOPED_TRACE(choked);
    const Report report = MakeReport({"PSV_VAP", "--components", "nitrogen", "--fix", "P=10", "--fix", "T=25",
                                      "--fix", "RHO=0.4", "--fix", "MW=28", "--fix", "AREA_RATIO=0", "--fix",
                                      "Y(nitrogen)=1", "--fix", choked ? "ETA_A=0.2" : "ETA_A=0.8"});
    ASSERT_EQ(report.answer.status, 0) << report.answer.err;
    std::vector<std::string> marked;
    for (const Element* row : report.page.All("mtr"))
      if (row->Attribute("class") == "holds") marked.push_back(row->Text());
    ASSERT_EQ(marked.size(), 2u);
    EXPECT_EQ(marked[0], choked ? "▶ηCRITif\u00a0ηA<ηCRIT" : "▶ηAotherwise");
    EXPECT_EQ(marked[1].substr(0, 4), choked ? "▶1" : "▶0");
  }
}

TEST(Report, WhatDidNotSolveIsSaidOnThePage) {
  const Report report = ReportText(
      "title: A <b>bold</b> & \"quoted\" title\nblocks: {psv: {model: PSV_SIMPLE, fix: {FLUX: 1e8, RHO: "
      "55.3, MW: 18, AREA_RATIO: 0}}}\n");
  EXPECT_EQ(report.answer.status, 1);
  EXPECT_EQ(report.summary["status"], "failed");
  EXPECT_EQ(report.page.All("h1").at(0)->Text(), "A <b>bold</b> & \"quoted\" title");
  EXPECT_THAT(report.page.Text(), HasSubstr("Not solved"));
  EXPECT_THAT(report.page.Text(), HasSubstr(report.summary["failures"][0].get<std::string>()));
  EXPECT_TRUE(report.page.All("svg").empty());
  const Answer nowhere = Quiver({"report", "PSV_SIMPLE", "--fix", "P_DROP=6", "-o", "no/such/folder.html"});
  EXPECT_EQ(nowhere.status, 2);
  EXPECT_THAT(nowhere.err, HasSubstr("no/such/folder.html"));
}

// Where every input comes from.
TEST(Report, InputsNameTheirSource) {
  const Report report = ReportText(R"(
blocks:
  first:  {model: PSV_SIMPLE, fix: {RHO: 55.3, MW: 18.015, AREA_RATIO: 0, P_DROP: 87.0226 psi}}
)");
  std::map<std::string, std::string> rows;
  for (const Element* row : report.page.All("tr"))
    if (row->All("th").size() == 1) rows[row->All("th")[0]->Text()] += row->Text();
  EXPECT_THAT(rows["first.P_DROP"], HasSubstr("bar87.0226 psicase"));
  EXPECT_THAT(rows["first.P_DROP"], HasSubstr("5.99999"));
  EXPECT_THAT(rows["EPS"], HasSubstr("default"));
}

}  // namespace
}  // namespace quiver::testing
