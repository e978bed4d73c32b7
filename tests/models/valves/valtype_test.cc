// SPDX-License-Identifier: Apache-2.0
// Valve characteristics: equations of every choice, their closed forms, which of FL and XT the tables compute.
#include <cmath>

#include "tests/models/relief/stream_table.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
// CV at an opening, of a valve of 250.
double Coefficient(const std::string& characteristic, double opening) {
  return Solved("VALTYPE", "CV", {}, "CHAR_EQN: " + characteristic, {{"CVMAX", 250}, {"POS", opening}});
}
int SpecOf(ModelRun& run, const std::string& name) {
  for (const PropertyDescription& p : DescribeProperties(*run.flowsheet().blocks().front()))
    if (p.name == name) return p.specs.at(0);
  return -1;
}
}  // namespace

TEST(Valve, EquationsAreThoseOfTheTable) {
  const StreamTable table("valves/streams/valtype.txt");
  ASSERT_GT(table.cases.size(), 40u);
  for (const StreamCase& c : table.cases) table.Check(c);
}

TEST(Valve, OpenPassesAllOfItsCoefficientAndClosedNothing) {
  for (const char* characteristic :
       {"LINEAR", "PARABOLIC", "HYPERBOLIC", "SQUARE-ROOT", "QUICK-OPENING", "EQUAL-PERCENTAGE"}) {
    EXPECT_NEAR(Coefficient(characteristic, 100), 250, 1e-10) << characteristic;
    // The square root rises infinitely steeply at 0.
    const double closed = std::string(characteristic) == "SQUARE-ROOT" ? 1e-24 : 0;
    EXPECT_NEAR(Coefficient(characteristic, closed), 0, 1e-10) << characteristic;
  }
}

// With h the opening from 0 to 1, of the coefficient: h, h^2, h/sqrt(h^2 + 100 (1 - h^2)), sqrt h, and so on.
TEST(Valve, HalfOpenFollowsTheClosedForms) {
  const double h = 0.5;
  EXPECT_NEAR(Coefficient("LINEAR", 50), 250 * h, 1e-10);
  EXPECT_NEAR(Coefficient("PARABOLIC", 50), 250 * h * h, 1e-10);
  EXPECT_NEAR(Coefficient("HYPERBOLIC", 50), 250 * h / std::sqrt(100 - 99 * h * h), 1e-10);
  EXPECT_NEAR(Coefficient("SQUARE-ROOT", 50), 250 * std::sqrt(h), 1e-10);
  EXPECT_NEAR(Coefficient("QUICK-OPENING", 50), 250 * 10 * h / std::sqrt(1 + 99 * h * h), 1e-10);
  EXPECT_NEAR(Coefficient("EQUAL-PERCENTAGE", 50), 250 * h * h / std::sqrt(2 - h * h * h * h), 1e-10);
}

// FL and XT are given (4) unless a table computes them (1).
TEST(Valve, TablesComputeWhatTheVersionSays) {
  struct Row {
    const char* settings;
    int fl, xt;
  };
  for (const Row& row :
       {Row{"CHAR_EQN: LINEAR", 4, 4}, Row{"CHAR_EQN: USRTAB", 1, 1},
        Row{"CHAR_EQN: LINEAR, FL_DAT: Yes, XT_DAT: Yes", 4, 4},
        Row{"CHAR_EQN: USRTAB, BLOCKVERSION: '20'", 4, 4}, Row{"BLOCKVERSION: '20.1', FL_DAT: Yes", 1, 4},
        Row{"BLOCKVERSION: '20', XT_DAT: Yes", 4, 1},
        Row{"BLOCKVERSION: '100', FL_DAT: Yes, XT_DAT: Yes", 1, 1},
        Row{"CHAR_EQN: USRTAB, BLOCKVERSION: '19.9', FL_DAT: Yes", 1, 1}}) {
    ModelRun run("VALTYPE", {}, row.settings);
    EXPECT_EQ(SpecOf(run, "FL"), row.fl) << row.settings;
    EXPECT_EQ(SpecOf(run, "XT"), row.xt) << row.settings;
  }
}

// Points of the table are met, between them the value lies between.
TEST(Valve, UserTableGivesAllThreeAtItsPoints) {
  Values fix = {{"POS", 60}, {"CVLOW", 0},   {"CVUP", 100}, {"FLLOW", 0.1},
                {"FLUP", 1}, {"XTLOW", 0.1}, {"XTUP", 1}};
  const double points[3][4] = {{20, 10, 0.9, 0.7}, {60, 40, 0.8, 0.6}, {100, 100, 0.6, 0.5}};
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 4; ++k)
      fix[fmt::format("{}({})",
                      std::vector<const char*>{"POSX", "CVAL", "FLVAL", "XTVAL"}[static_cast<size_t>(k)],
                      i + 1)] = points[i][k];
  const std::string set = "CHAR_EQN: USRTAB, NPTS: 3, CVOPT: 1, FLOPT: 1, XTOPT: 1";
  ModelRun at_point("VALTYPE", {}, set, fix);
  ASSERT_TRUE(at_point.Solve()) << at_point.Why();
  EXPECT_NEAR(at_point["CV"], 40, 1e-9);
  EXPECT_NEAR(at_point["FL"], 0.8, 1e-9);
  EXPECT_NEAR(at_point["XT"], 0.6, 1e-9);
  ModelRun between("VALTYPE", {}, set, With(fix, {{"POS", 80}}));
  ASSERT_TRUE(between.Solve());
  EXPECT_GT(between["CV"], 40);
  EXPECT_LT(between["CV"], 100);
}
