// SPDX-License-Identifier: Apache-2.0
// Fire heat loads: published tables, wetted areas in closed form, and what happens at every threshold.
#include <cmath>

#include "tests/models/relief/model_run.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
constexpr double kSquareFoot = 0.09290304, kBtu = 1.05505585e-6;  // m2, GJ
constexpr double kPi = 3.141593;                                  // as the model has it

const Values kVessel = {{"D_TANK", 3},    {"L_TANK", 8},      {"LEVEL", 5},
                        {"ELEVATION", 1}, {"ENVFACTOR", 0.3}, {"DESIGNP", 5}};

ModelRun Vessel(const std::string& settings, const Values& more = {}) {
  ModelRun run("FIRECALCS", {"water"}, settings, With(kVessel, more));
  EXPECT_TRUE(run.Solve()) << settings << ": " << run.Why();
  return run;
}
// A vessel of whatever length has this area in the fire; the diameter leaves room for it.
ModelRun Exposed(const std::string& settings, double area, const Values& more = {}) {
  Values fix = With(
      kVessel,
      {{"D_TANK", std::sqrt(area) / 5}, {"LEVEL", std::sqrt(area) / 5}, {"ELEVATION", 0}, {"AFIRE", area}});
  fix.erase("L_TANK");
  ModelRun run("FIRECALCS", {"water"}, settings + ", ORIENTATION: Horizontal, H_TYPE: Flat", With(fix, more));
  EXPECT_TRUE(run.Solve()) << settings << " " << area << ": " << run.Why();
  return run;
}
double Load(const std::string& settings, double area, const Values& more = {}) {
  return Exposed(settings, area, more)["HEATLOAD"];
}
}  // namespace

// N.B.F.U. 30, table 6 (today NFPA 30 and 29 CFR 1910.106), reproduced at oceco.com: cubic feet of free air per hour over square feet, for
// hexane: 70.5 Q/(L sqrt M) with L = 144 Btu/lb, M = 86.17. All within the table's three figures, 0.4 %.
TEST(Fire, VentingTableOfNfpa30) {
  const double table[][2] = {{20, 21100},    {60, 63200},    {90, 94800},    {200, 211000},  {300, 265000},
                             {500, 354000},  {700, 428000},  {1000, 524000}, {1400, 587000}, {1800, 639000},
                             {2400, 704000}, {2800, 742000}, {5000, 742000}};
  for (const auto& [feet, air] : table)
    for (const char* standard : {"NFPA-30", "API-2000"}) {
      const double load =
          Load(std::string("FIRESTANDARD: ") + standard, feet * kSquareFoot, {{"DESIGNP", 1.05}});
      EXPECT_NEAR(load / kBtu * 70.5 / 144 / std::sqrt(86.17) / air, 1, 4e-3) << feet << " ft2, " << standard;
    }
}

// API 521: 21000 F A^0.82 Btu/hr with drainage and fire fighting, 34500 F A^0.82 without, A in ft2.
TEST(Fire, HeatLoadOfApi521) {
  for (const double feet : {50.0, 500.0, 3000.0}) {
    const double powered = std::pow(feet, 0.82) * kBtu, area = feet * kSquareFoot;
    EXPECT_NEAR(Load("DRAINCREDIT: Yes", area) / powered, 21000, 0.1) << feet;
    EXPECT_NEAR(Load("DRAINCREDIT: No", area) / powered, 34500, 0.1) << feet;
    EXPECT_NEAR(Load("INSULCREDIT: Yes", area) / powered, 0.3 * 34500, 0.1) << feet;
  }
}

// Pressure vessels and refrigerated tanks above 2800 ft2 have no ceiling.
TEST(Fire, LargeTanksOfNoPressureHaveACeiling) {
  const std::string standard = "FIRESTANDARD: API-2000";
  const double area = 5000 * kSquareFoot, ceiling = 1.01644075772 * std::pow(2800, 0.338),
               free = 0.0221561718 * std::pow(5000, 0.82);
  EXPECT_NEAR(Load(standard, area, {{"DESIGNP", 1.0821976}}), ceiling, 1e-9);
  EXPECT_NEAR(Load(standard, area, {{"DESIGNP", 1.0822}}), free, 1e-6);
  EXPECT_NEAR(Load(standard + ", REFRIGERATEDTANK: Yes", area, {{"DESIGNP", 1.05}}), free, 1e-6);
}

// The load changes its law at 18.580608 m2, the drainage credit begins above 18.580606.
TEST(Fire, ThresholdsOfTheArea) {
  const std::string nfpa = "FIRESTANDARD: NFPA-30, DRAINCREDIT: Yes";
  for (const auto& [area, factor] :
       std::map<double, double>{{18.580605, 1}, {18.580607, 0.5}, {18.580609, 0.5}})
    EXPECT_EQ(Exposed(nfpa, area)["FACTOR"], factor) << area;
  const double below = Load("FIRESTANDARD: API-2000", 18.580607),
               above = Load("FIRESTANDARD: API-2000", 18.580609);
  EXPECT_NEAR(below, 0.2271305223166002 * 18.580607, 1e-12);
  EXPECT_NEAR(above, 0.21027262094000002 * std::pow(18.580609 / kSquareFoot, 0.566), 1e-9);
  EXPECT_NEAR(above / below, 1, 0.01);
}

TEST(Fire, CreditsOfEachStandard) {
  const auto factor = [](const std::string& settings) { return Exposed(settings, 50)["FACTOR"]; };
  const std::string nfpa = "FIRESTANDARD: NFPA-30", api = "FIRESTANDARD: API-2000";
  EXPECT_EQ(factor(nfpa), 1);
  EXPECT_EQ(factor(nfpa + ", INSULCREDIT: Yes"), 0.3);
  EXPECT_EQ(factor(nfpa + ", DRAINCREDIT: Yes, WATERSPRAYCREDIT: Yes"), 0.3);
  EXPECT_EQ(factor(nfpa + ", DRAINCREDIT: Yes, WATERSPRAYCREDIT: Yes, INSULCREDIT: Yes"), 0.15);
  EXPECT_EQ(factor(nfpa + ", DRAINCREDIT: Yes, WATERSPRAYCREDIT: Yes, INSULCREDIT: Yes, PORTABLETANK: Yes"),
            1);
  EXPECT_EQ(factor(nfpa + ", WATERSPRAYCREDIT: Yes"), 1);
  EXPECT_EQ(factor(api + ", DRAINCREDIT: Yes"), 0.5);
  EXPECT_NEAR(factor(api + ", DRAINCREDIT: Yes, INSULCREDIT: Yes"), 0.15, 1e-15);
  EXPECT_EQ(factor("FIRESTANDARD: API-521, INSULCREDIT: Yes"), 0.3);
}

// Above the flames nothing is heated, but for the 1e-5 that keeps the powers defined; within them the level counts up to their height.
TEST(Fire, FlamesReachSoHigh) {
  for (const auto& [standard, height] :
       std::map<std::string, double>{{"API-521", 7.62}, {"API-2000", 9.144}, {"NFPA-30", 9.144}}) {
    const std::string settings = "FIRESTANDARD: " + standard;
    ModelRun above = Vessel(settings, {{"ELEVATION", height + 0.001}});
    EXPECT_EQ(above["AFIRE"], 1e-5) << standard;
    EXPECT_EQ(above["FIRELEVEL"], 1e-5) << standard;
    EXPECT_GT(above["HEATLOAD"], 0) << standard;
    EXPECT_LT(above["HEATLOAD"], 1e-3) << standard;
    EXPECT_EQ(Vessel(settings, {{"ELEVATION", 1}, {"LEVEL", 5}})["FIRELEVEL"], 5) << standard;
    EXPECT_NEAR(Vessel(settings, {{"ELEVATION", 4}, {"LEVEL", 7}})["FIRELEVEL"], height - 4, 1e-12)
        << standard;
  }
  // Lying vessels: the whole level while the vessel's top is below the flames' height.
  const std::string lying = "ORIENTATION: Horizontal";
  EXPECT_EQ(Vessel(lying, {{"ELEVATION", 4.6}, {"LEVEL", 2}})["FIRELEVEL"], 2);
  EXPECT_NEAR(Vessel(lying, {{"ELEVATION", 6}, {"LEVEL", 2}})["FIRELEVEL"], 1.62, 1e-12);
  EXPECT_EQ(Vessel(lying, {{"ELEVATION", 8}})["AFIRE"], 1e-5);
  ModelRun tank = Vessel(lying + ", FIRESTANDARD: NFPA-30", {{"ELEVATION", 20}, {"LEVEL", 2}});
  EXPECT_EQ(tank["FIRELEVEL"], 2);
  EXPECT_NEAR(tank["AFIRE"], 0.75 * tank["AWETTED"], 1e-12);
}

// On the ground the bottom head is hidden and the shell remains, pi D (LEVEL - head); a flat bottom hides nothing.
TEST(Fire, BottomHeadOnTheGroundIsHidden) {
  const Values ground = {{"ELEVATION", 0}};
  EXPECT_NEAR(Vessel("H_TYPE: Elliptical", ground)["AFIRE"], kPi * 3 * (5 - 0.75), 1e-4);
  EXPECT_NEAR(Vessel("H_TYPE: Hemispherical", ground)["AFIRE"], kPi * 3 * (5 - 1.5), 1e-4);
  for (const char* head : {"Elliptical", "Hemispherical", "Flat"}) {
    ModelRun standing = Vessel(fmt::format("H_TYPE: {}", head), ground),
             raised = Vessel(fmt::format("H_TYPE: {}", head), {{"ELEVATION", 1e-5}});
    const double hidden = std::string(head) == "Flat"         ? 0
                          : std::string(head) == "Elliptical" ? 0.3450432495
                                                              : 0.5;
    EXPECT_NEAR(raised["AFIRE"] - standing["AFIRE"], hidden * kPi * 9, 1e-9) << head;
    EXPECT_EQ(raised["AFIRE"], raised["AWETTED"]) << head;
  }
}

// The discharge area by API 520's vapour equation, against 13160 W sqrt(T Z/M)/(C Kd P1 Kb) in SI (mm2, kg/h, K, kPa), C = 356 for k = 1.4.
TEST(Fire, DischargeAreaOfTheVapour) {
  const Values relief = {{"PSET", 6},
                         {"POVERALLOW", 1.26},
                         {"PAMB", 1.01325},
                         {"T", 80},
                         {"ZC", 0.9},
                         {"MW", 50},
                         {"FV", 200},
                         {"C", 356},
                         {"DISCHARGE_COEFFICIENT", 0.975},
                         {"CAPACITYFACTOR", 1}};
  const double area = Vessel("DISCHARGEAREACALC: true", relief)["ADISCHARGE"];
  const double si = 13160 * 200 * 50 * std::sqrt(353.15 * 0.9 / 50) / (356 * 0.975 * 827.325);
  EXPECT_NEAR(area * 1e6 / si, 1, 1e-3);
}
