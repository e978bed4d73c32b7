// SPDX-License-Identifier: Apache-2.0
// quiver solve: published and hand-calculated cases, by file and directly; exit status; documents.
#include <gmock/gmock.h>

#include <cmath>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::vector<std::string> kWater = {"solve", "PSV_SIMPLE", "--fix", "P_DROP=6 bar", "--fix", "RHO=55.3",
                                         "--fix", "MW=18.015",  "--fix", "AREA_RATIO=0", "--json"};

std::vector<std::string> With(std::vector<std::string> arguments, const std::vector<std::string>& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

double Value(const Answer& answer, const char* name) {
  EXPECT_EQ(answer.status, 0) << answer.err;
  const Json document = answer.Document();
  EXPECT_EQ(document["status"], "converged");
  return document["values"].contains(name) ? document["values"][name].get<double>() : std::nan("");
}

// API RP 520 part I, 7th edition, example 5: 1800 US gallons of crude oil a minute, specific gravity 0.90, from 275 psig
// against 50 psig need 4.752 square inches with Kd = 0.65 and Kw = 0.97. The rule's factor 38 has two digits.
TEST(Solve, CrudeOilReliefOfApi520) {
  const double density = 0.90 * 999.0, molar_weight = 250.0;
  char rho[40];
  std::snprintf(rho, sizeof rho, "RHO=%.17g", density / molar_weight);
  const Answer answer = Quiver({"solve", "PSV_SIMPLE", "--json", "--fix", "P_DROP=225 psi", "--fix", rho,
                                "--fix", "MW=250", "--fix", "AREA_RATIO=0"});
  const double area_m2 = 4.752 * 0.0254 * 0.0254, gallon_m3 = 231 * std::pow(0.0254, 3);
  const double flow_m3_per_min = 60 * 0.65 * 0.97 * area_m2 * Value(answer, "FLUX") / density;
  EXPECT_NEAR(flow_m3_per_min / gallon_m3, 1800, 1800 * 0.002);
}

// G^2 (1 - beta^4) = 2 rho dp.
TEST(Solve, VelocityOfApproachAddsToTheFlux) {
  const double straight = Value(Quiver(kWater), "FLUX");
  EXPECT_NEAR(straight, std::sqrt(2 * 18.015 * 55.3 * 6e5), 1e-3);
  const double narrow = Value(Quiver(With(kWater, {"--fix", "AREA_RATIO=0.6"})), "FLUX");
  EXPECT_NEAR(narrow / straight, 1 / std::sqrt(1 - 0.36), 1e-6);
  EXPECT_LT(std::abs(Value(Quiver(With(kWater, {"--fix", "P_DROP=-1 bar"})), "FLUX")),
            1e-4);  // the drop is limited to 0
}

// The same equations with another unknown: which pressure drop gives this flux?
TEST(Solve, RunsBackwards) {
  char flux[40];
  std::snprintf(flux, sizeof flux, "FLUX=%.17g", Value(Quiver(kWater), "FLUX"));
  const Answer back = Quiver({"solve", "PSV_SIMPLE", "--json", "--fix", flux, "--fix", "RHO=55.3", "--fix",
                              "MW=18.015", "--fix", "AREA_RATIO=0", "--guess", "P_DROP=1 bar"});
  EXPECT_NEAR(Value(back, "P_DROP"), 6, 1e-8);
}

const char* const kElbow =
    "components: []\nblocks:\n  line:\n    model: PIPEFITTINGS\n    set: {FITCONNECT: Screwed, ELBOWNO: 1, "
    "STRTEENO: 0, BRCHTEENO: 0, "
    "GATVALNO: 0, BUTVALNO: 0, LDIAM: 0}\n    fix: {DIAM: 100 mm, L: 0}\n";

TEST(Solve, OneElbowByFileAndDirectly) {
  const double screwed = 0.45 * 2.4051 * (1 + 39.372 * 0.1) * std::pow(0.1, 0.1975);
  const Answer by_file = SolveText(kElbow, {"--json"});
  EXPECT_NEAR(Value(by_file, "line.XLENGTH"), screwed, 1e-12);
  std::vector<std::string> direct = {"solve", "PIPEFITTINGS", "--json", "--fix",    "DIAM=100 mm",
                                     "--fix", "L=0",          "--set",  "ELBOWNO=1"};
  for (const char* none : {"STRTEENO", "BRCHTEENO", "GATVALNO", "BUTVALNO", "LDIAM"})
    direct.insert(direct.end(), {"--set", std::string(none) + "=0"});
  EXPECT_EQ(Value(Quiver(With(direct, {"--set", "FITCONNECT=screwed"})), "XLENGTH"),
            Value(by_file, "line.XLENGTH"));
  EXPECT_NEAR(Value(Quiver(With(direct, {"--set", "FITCONNECT=Flanged-Welded"})), "XLENGTH"),
              screwed * 0.18 / 0.45, 1e-12);
}

TEST(Solve, DocumentHasThePromisedKeysInOrder) {
  const Json document = Quiver(kWater).Document();
  std::vector<std::string> keys;
  for (const auto& [key, value] : document.items()) keys.push_back(key);
  keys.resize(5);
  EXPECT_THAT(keys, ElementsAre("status", "iterations", "residual", "values", "failures"));
  EXPECT_TRUE(document["failures"].empty());
  EXPECT_LT(document["residual"].get<double>(), 1e-6);
  std::vector<std::string> names;
  for (const auto& [name, value] : document["values"].items()) names.push_back(name);
  EXPECT_THAT(names, ElementsAre("P_DROP", "PDROPC", "FLUX", "MW", "RHO", "AREA_RATIO"));
}

TEST(Solve, JsonIsYamlAsWell) {
  const Answer answer = SolveText(R"({"blocks": {"psv": {"model": "PSV_SIMPLE",
      "fix": {"P_DROP": "600 kPa", "RHO": 55.3, "MW": 18.015, "AREA_RATIO": 0}}}, "report": ["psv.FLUX"]})",
                                  {"--json"});
  EXPECT_DOUBLE_EQ(Value(answer, "psv.FLUX"), Value(Quiver(kWater), "FLUX"));
}

TEST(Solve, ConnectedBlocksAreOneSystem) {
  const Answer answer = SolveText(R"(
blocks:
  first:  {model: PSV_SIMPLE, fix: {RHO: 55.3, MW: 18.015, AREA_RATIO: 0, P_DROP: 6 bar}}
  second: {model: PSV_SIMPLE, fix: {RHO: 55.3, MW: 18.015, AREA_RATIO: 0}, guess: {FLUX: 1000, P_DROP: 1}}
connect: ["first.FLUX = second.FLUX"]
)",
                                  {"--json"});
  EXPECT_NEAR(Value(answer, "second.P_DROP"), 6, 1e-6);
}

// ---- The answer is "no": status 1, the state reached, who lacks what by name.

struct Refusal {
  const char* what;
  std::vector<std::string> arguments;
  std::vector<std::string> words;
};

TEST(Solve, NonSquareSystemsAreRefusedByName) {
  const std::vector<std::string> fittings = {
      "solve",       "PIPEFITTINGS", "--set",      "ELBOWNO=1", "--set",      "STRTEENO=0", "--set",
      "BRCHTEENO=0", "--set",        "GATVALNO=0", "--set",     "BUTVALNO=0", "--set",      "LDIAM=0",
      "--fix",       "DIAM=0.1",     "--fix",      "L=0",       "--json"};
  const Refusal refusals[] = {
      {"one value too few",
       {"solve", "PSV_SIMPLE", "--json", "--fix", "P_DROP=6", "--fix", "MW=18", "--fix", "AREA_RATIO=0"},
       {"PSV_SIMPLE.FLUX", "PSV_SIMPLE.RHO", "fix"}},
      {"one value too many",
       With(kWater, {"--fix", "FLUX=1e4"}),
       {"PSV_SIMPLE.DP_Limited", "PSV_SIMPLE.MassFlux", "PSV_SIMPLE.P_DROP", "free one of"}},
      {"no connection matches",
       With(fittings, {"--set", "FITCONNECT=Flanged"}),
       {"XELBO", "XSTRTEEO", "XBRHTEEO"}},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.what);
    const Answer answer = Quiver(refusal.arguments);
    EXPECT_EQ(answer.status, 1);
    const Json document = answer.Document();
    EXPECT_EQ(document["status"], "failed");
    EXPECT_FALSE(document["values"].empty());
    ASSERT_FALSE(document["failures"].empty());
    std::string reasons;
    for (const Json& failure : document["failures"]) {
      EXPECT_TRUE(failure.contains("equation") && failure.contains("variable"));
      reasons += failure["reason"].get<std::string>() + "\n";
    }
    for (const std::string& word : refusal.words) {
      EXPECT_THAT(reasons, HasSubstr(word));
      EXPECT_THAT(answer.err, HasSubstr(word));
    }
  }
}

// A flux that no pressure drop within the limit of 5000 bar gives.
TEST(Solve, NoSolutionIsSaidSo) {
  const Answer answer = Quiver({"solve", "PSV_SIMPLE", "--json", "--fix", "FLUX=1e8", "--fix", "RHO=55.3",
                                "--fix", "MW=18.015", "--fix", "AREA_RATIO=0"});
  EXPECT_EQ(answer.status, 1);
  const Json document = answer.Document();
  EXPECT_EQ(document["status"], "failed");
  ASSERT_FALSE(document["failures"].empty());
  EXPECT_TRUE(document["failures"][0]["equation"].is_string()) << document["failures"];
  EXPECT_NE(answer.err, "");
}

}  // namespace
}  // namespace quiver::testing
