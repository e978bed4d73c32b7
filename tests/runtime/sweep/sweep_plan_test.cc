// SPDX-License-Identifier: Apache-2.0
// Points of a sweep: how variations are read, in which order points come, and where a case takes their values.
#include "runtime/sweep/sweep_plan.h"

#include <gtest/gtest.h>

#include "runtime/io/variation.h"

namespace quiver {
namespace {

constexpr const char* kCase = R"(
globals: {EPS: 1e-5}
blocks:
  a: {model: M, set: {KIND: x}, fix: {P: 1 bar, Y: {N2: 0.8, O2: 0.2}}, guess: {T: 300}}
)";

SweepPlan PlanOf(std::vector<std::string> vary, SweepRequest request = {}) {
  for (const std::string& text : vary) request.vary.push_back(ReadVariation(text, "--vary"));
  return SweepPlan(ReadCaseText(kCase, "case"), request, true);
}

std::vector<std::string> Texts(const SweepPlan& plan) {
  std::vector<std::string> texts;
  for (long long i = 0; i < plan.Count(); ++i) {
    texts.emplace_back();
    for (const CaseValue& value : plan.Values(i))
      texts.back() += (texts.back().empty() ? "" : " | ") + ValueText(value);
  }
  return texts;
}

using Strings = std::vector<std::string>;

TEST(SweepPlan, ReadsRangesListsAndOptions) {
  EXPECT_EQ(Texts(PlanOf({"a.P=1..2 bar:3"})), (Strings{"1 bar", "1.5 bar", "2 bar"}));
  EXPECT_EQ(Texts(PlanOf({"a.P = 1 .. 1000 bar : 4 log"})),
            (Strings{"1 bar", "10 bar", "100 bar", "1000 bar"}));
  EXPECT_EQ(Texts(PlanOf({"a.P=5..-5:3"})), (Strings{"5", "0", "-5"}));
  EXPECT_EQ(Texts(PlanOf({"a.P=0.1..0.3:3"})).back(), "0.3") << "the end comes out exactly";
  EXPECT_EQ(Texts(PlanOf({"a.P=1, 2, 5 psi"})), (Strings{"1 psi", "2 psi", "5 psi"}));
  EXPECT_EQ(Texts(PlanOf({"a.KIND=x, true", "a.N=2, 3"})),
            (Strings{"x | 2", "x | 3", "true | 2", "true | 3"}));
  EXPECT_EQ(Texts(PlanOf({"a.Y={N2: 1, O2: 0}, {N2: 0, O2: 1}"})),
            (Strings{"{N2: 1, O2: 0}", "{N2: 0, O2: 1}"}));
}

TEST(SweepPlan, GivesValuesWhereTheCaseGivesThem) {
  const SweepPlan plan =
      PlanOf({"a.P=7 bar", "a.kind=y", "a.T=400", "a.Y(N2)=0.5", "a.NEW=3", "globals.EPS=1e-6"});
  const CaseFile point = plan.CaseAt(0);
  const CaseBlock& block = point.blocks[0];
  const auto names = [](const std::vector<Assignment>& list) {
    std::string text;
    for (const Assignment& one : list) text += one.name.Text() + "=" + ValueText(one.value) + ";";
    return text;
  };
  EXPECT_EQ(names(block.set), "kind=y;");
  EXPECT_EQ(names(block.fix), "Y={N2: 0.8, O2: 0.2};P=7 bar;Y(N2)=0.5;NEW=3;");
  EXPECT_EQ(names(block.guess), "T=400;");
  EXPECT_EQ(names(point.globals), "EPS=1e-6;");
}

// Samples stay inside their ranges, evenly so in the logarithm where that is asked for.
TEST(SweepPlan, SamplesFillTheirRanges) {
  for (const char* kind : {"sobol", "latin-hypercube"}) {
    SweepRequest request;
    request.sample = kind;
    request.points = 256;
    const SweepPlan plan = PlanOf({"a.P=1..100 bar log", "a.T=-10..10", "a.KIND=x, y, z, w"}, request);
    int below_ten = 0, below_zero = 0, x = 0;
    for (long long i = 0; i < plan.Count(); ++i) {
      const std::vector<CaseValue> values = plan.Values(i);
      EXPECT_TRUE(values[0].real >= 1 && values[0].real <= 100 && values[1].real >= -10 &&
                  values[1].real <= 10);
      below_ten += values[0].real < 10;
      below_zero += values[1].real < 0;
      x += values[2].text == "x";
    }
    EXPECT_EQ(below_ten, 128) << kind;
    EXPECT_EQ(below_zero, 128) << kind;
    EXPECT_EQ(x, 64) << kind;
  }
}

TEST(SweepPlan, DefinitionTellsSweepsApart) {
  const std::string base = PlanOf({"a.P=1..2 bar:3"}).Definition();
  EXPECT_EQ(base, PlanOf({"a.P=1..2 bar:3"}).Definition());
  for (const char* other :
       {"a.P=1..2 bar:4", "a.P=1..2 psi:3", "a.P=1..2 bar:3 log", "a.T=1..2 bar:3", "a.P=1, 1.5, 2 bar"})
    EXPECT_NE(base, PlanOf({other}).Definition()) << other;
}

}  // namespace
}  // namespace quiver
