// SPDX-License-Identifier: Apache-2.0
// Dimensions of equations: what has to be found, and what must not be told.
#include "runtime/diagnosis/unit_check.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/io/units.h"
#include "tests/runtime/expression/trees.h"

using namespace quiver;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Units : public testing::Test {
 protected:
  // What the check says of equations 0, 1, ...
  std::vector<std::string> Check(const std::vector<std::string>& streams) {
    const auto dimension = [this](int variable) {
      const std::string& name = names_.list.at(static_cast<size_t>(variable));
      VariableDimension d;
      d.is_parameter = name.starts_with("PAR");
      d.value = name == "PAR_HALF" ? 0.5 : 3.0;
      if (const auto unit = units_.find(name); unit != units_.end()) d.declared = ExponentsOf(unit->second);
      return d;
    };
    UnitCheck check(dimension, [this](int variable) { return names_(variable); });
    std::vector<Stream> trees;
    for (const std::string& stream : streams) trees.push_back(Read(stream, names_));
    std::vector<std::string> texts;
    for (size_t e = 0; e < trees.size(); ++e) check.Add(static_cast<int>(e), fmt::format("E{}", e), trees[e]);
    for (const UnitFinding& finding : check.Findings())
      texts.push_back(fmt::format("E{}: {}", finding.equation, finding.text));
    const auto inferred = check.Inferred(names_.Place("X"));
    inferred_x_ = inferred ? DimensionText(*inferred) : "open";
    return texts;
  }

  std::map<std::string, std::string> units_ = {
      {"P", "bar"}, {"T", "C"},       {"RHO", "kmol/m3"}, {"MW", "kg/kmol"}, {"G", "kg/m2/s"}, {"L", "m"},
      {"D", "m"},   {"H", "GJ/kmol"}, {"F", "kmol/hr"},   {"Q", "kW"},       {"NU", "1"},      {"N", "rpm"}};
  Names names_;
  std::string inferred_x_;
};

TEST_F(Units, SoundEquationsAreLeftInPeace) {
  EXPECT_THAT(
      Check({
          "20 21 G G 21 21 21 2.0 P 1.0e5 21 RHO MW",          // G G = 2 P 1e5 RHO MW
          "20 Q 22 21 F H 0.0036",                             // Q = F H / 0.0036
          "20 X 19 T 273.15",                                  // X = T + 273.15
          "20 P 98 P 1.0e-5",                                  // P = max(P, 1e-5)
          "20 L 21 21 2.4051 19 1.0 21 39.372 D 24 D 0.1975",  // a correlation with units in its figures
          "20 NU 36 22 -1500.0 19 T 273.15",                   // exp(-1500/(T + 273.15))
          "20 G 24 21 P 21 RHO MW 0.5",
          "20 NU 24 22 P 1.01325 PAR_N",
          "20 P 44 P P 0",
          "1 20 P P",
          "20 N 22 60.0 55",  // turns against time
          "6 12 P 3.0 8 PAR_KIND \"Flat\"",
      }),
      ElementsAre());
  EXPECT_EQ(inferred_x_, "temperature (K)");
}

// Each place once, with both dimensions; a sound part of the same equation is not blamed.
TEST_F(Units, EveryContradictionIsTold) {
  EXPECT_THAT(
      Check({"20 P RHO"}),
      ElementsAre("E0: P is pressure (kg m-1 s-2), RHO is molar density (m-3 mol): they cannot be equal"));
  EXPECT_THAT(Check({"20 19 P RHO 19 T L"}), testing::SizeIs(3));
  EXPECT_THAT(Check({"20 NU 37 P"}), ElementsAre(HasSubstr("the argument of ln, P is pressure")));
  EXPECT_THAT(Check({"20 L 24 D 0.5"}),
              ElementsAre(AllOf(HasSubstr("D^0.5 is m1/2"), HasSubstr("L is length"))));
  EXPECT_THAT(Check({"20 L 24 D PAR_HALF"}), ElementsAre(HasSubstr("m1/2")));
  EXPECT_THAT(Check({"20 L 35 D"}), ElementsAre(HasSubstr("m1/2")));
  EXPECT_THAT(Check({"20 NU 24 2.0 P"}), ElementsAre(HasSubstr("the exponent P is pressure")));
  EXPECT_THAT(Check({"12 P T"}), ElementsAre(HasSubstr("they cannot be compared")));
  EXPECT_THAT(Check({"20 NU 20 1.0 21 L L"}), ElementsAre(HasSubstr("L*L is area")));
  EXPECT_THAT(Check({"20 G 21 21 RHO MW P"}), testing::SizeIs(1));
  EXPECT_THAT(Check({"20 P 46 P T L 0"}), testing::SizeIs(2));
}

// A variable without a unit takes one from its equations, through products and powers, and they have to agree on it.
TEST_F(Units, EquationsAgreeOnVariablesWithoutUnit) {
  EXPECT_THAT(Check({"20 X 22 P RHO", "20 22 H MW 21 X 39 MW"}), testing::SizeIs(1));
  EXPECT_THAT(Check({"20 Y 24 X 0.5", "20 Y L", "20 X 21 L D"}), ElementsAre());
  EXPECT_EQ(inferred_x_, "area (m2)");
  EXPECT_THAT(Check({"20 Y 24 X 0.5", "20 Y L", "20 X L"}),
              ElementsAre("E2: X is area (m2) by E1, but length (m) here"));
  EXPECT_THAT(Check({"20 X 21 Y Y"}), ElementsAre());
  EXPECT_EQ(inferred_x_, "open");
}

// A parameter without a unit is a smallest value here and there; within one equation it has one dimension.
// A heat capacity routine is meant for C and bar; what limits a value has its unit.
TEST_F(Units, ArgumentsOfProcedures) {
  const auto check = [this](const std::vector<std::string>& names, const std::vector<std::string>& meant) {
    UnitCheck units(
        [this](int v) {
          return VariableDimension{ExponentsOf(units_.at(names_(v))), false, 0};
        },
        [this](int v) { return names_(v); });
    std::vector<UnitCheck::Argument> arguments;
    for (size_t k = 0; k < names.size(); ++k) {
      arguments.push_back({names_.Place(names[k]), std::nullopt});
      if (meant[k] != "=") arguments.back().meant = ExponentsOf(meant[k]);
    }
    units.AddArguments(0, "E", arguments);
    return units.Findings().size();
  };
  EXPECT_EQ(check({"T", "P", "H"}, {"C", "bar", "GJ/kmol"}), 0u);
  EXPECT_EQ(check({"P", "T", "H"}, {"C", "bar", "GJ/kmol"}), 2u);
  EXPECT_EQ(check({"L", "D", "L"}, {"=", "=", "="}), 0u);
  EXPECT_EQ(check({"L", "P", "D"}, {"=", "=", "="}), 1u);
}

TEST_F(Units, ParametersWithoutUnitAnswerToOneEquationAtATime) {
  EXPECT_THAT(Check({"20 P 21 PAR_A RHO", "20 L 21 PAR_A D"}), ElementsAre());
  EXPECT_THAT(Check({"20 21 P L 21 21 PAR_A 22 P PAR_A D"}), ElementsAre());
  EXPECT_THAT(Check({"20 19 P 21 PAR_A RHO 21 PAR_A L"}), testing::SizeIs(1));
}

}  // namespace
