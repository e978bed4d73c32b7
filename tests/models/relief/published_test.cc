// SPDX-License-Identifier: Apache-2.0
// Worked examples of API Standard 520 Part I and of sizing sheets, as flux of the ideal nozzle: W/(Kd A). Deviations are of the
// publications' rounded constants and charts unless said otherwise.
#include "tests/models/relief/states.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
constexpr double kPsi = 0.0689475729, kPound = 0.45359237, kFoot = 0.3048, kInch = 0.0254;
double Percent(double value, double published) { return 100 * (value / published - 1); }

// The vapour of API 520's first examples: 670 kPa, 348 K, Z 0.90, M 51, k 1.11. K is given, so that T follows from it.
ModelRun HydrocarbonVapour(double exit) {
  return {"PSV_VAP",
          {"propane"},
          "",
          {{"K", 1.11},
           {"P", 6.7},
           {"ETA_A", exit},
           {"RHO", 670 / (0.9 * 8.31446 * 348)},
           {"MW", 51},
           {"AREA_RATIO", 0},
           {"Y(propane)", 1}},
          {{"T", 120}}};
}
}  // namespace

// API 520 Part I, 7th ed., examples 1 and 2 (24270 kg/h through 3699 and 4248 mm2, Kd 0.975), as reproduced in the documentation of
// the library "fluids", function API520_A_g. Measured: 0.00 % and -0.06 %.
TEST(Published, Api520VapourChokedAndNot) {
  ModelRun choked = HydrocarbonVapour(0.1);
  ASSERT_TRUE(choked.Solve()) << choked.Why();
  EXPECT_NEAR(Percent(choked["FLUX"], 24270 / 3600.0 / (3.69905e-3 * 0.975)), 0, 0.15);
  ModelRun subsonic = HydrocarbonVapour(532 / 670.0);
  ASSERT_TRUE(subsonic.Solve()) << subsonic.Why();
  EXPECT_EQ(subsonic["CRITICAL_FLOW"], 0);
  EXPECT_NEAR(Percent(subsonic["FLUX"], 24270 / 3600.0 / (4.248359e-3 * 0.975)), 0, 0.15);
}

// API 520 Part I, 7th ed., example 4: saturated steam, 69615 kg/h at 12236 kPa through 1103.47 mm2, Kd 0.975, by Napier's equation with
// its high-pressure correction. The equilibrium of rigorous properties passes 1.7 % less; the ideal gas 40 % more, as Cp/Cv of
// a vapour near its critical pressure is no isentropic exponent.
TEST(Published, Api520SaturatedSteam) {
  const Expansion steam({"water"}, {1}, Expansion::Boiling(122.36, 1));
  const double published = 69615 / 3600.0 / (1.10347e-3 * 0.975);
  EXPECT_NEAR(Percent(Solved("PSV_HEMS", "FLUX", {"water"}, "", steam.For("PSV_HEMS", 0.01)), published),
              -1.7, 0.5);
  EXPECT_NEAR(Percent(Solved("PSV_VAP", "FLUX", {"water"}, "", steam.For("PSV_VAP", 0.01)), published), 40,
              2);
}

// A liquid sizing sheet (docstoc 109703736, "Pressure Safety Valve Sizing"): 450 gal/min of specific gravity 0.72 from 464 psig to the
// air, K 0.9, through 0.518 in2.
TEST(Published, LiquidSizingSheet) {
  const double flow = 450 * 3.785411784e-3 / 60 * 0.72 * 999.0;
  const double flux =
      Solved("PSV_SIMPLE", "FLUX", {}, "",
             {{"P_DROP", 464 * kPsi}, {"RHO", 0.72 * 999.0 / 50}, {"MW", 50}, {"AREA_RATIO", 0}});
  EXPECT_NEAR(Percent(flux, flow / (0.9 * 0.518 * kInch * kInch)), 0, 0.3);
}

// API 520 Part I, annex on two-phase flow, crude column overhead (sheet scribd 280681656): 80.7 psia, 0.3116 ft3/lb, at 90 % of the
// pressure 0.3629 ft3/lb; omega 1.482, critical ratio 0.66 and 594.07 lb/s/ft2, the ratio read from a chart.
TEST(Published, Api520TwoPhaseInlet) {
  const double volume = kFoot * kFoot * kFoot / kPound, mw = 40;
  ModelRun run("PSV_HEMD", {"n-pentane"}, "",
               {{"P", 80.7 * kPsi},
                {"ETA_A", 29.7 / 80.7},
                {"VF", 1},
                {"LF", 0},
                {"MWV", mw},
                {"MWL", mw},
                {"RHOL", 10},
                {"RHOV", 1 / (0.3116 * volume * mw)},
                {"VFA", 1},
                {"LFA", 0},
                {"MWVA", mw},
                {"MWLA", mw},
                {"RHOLA", 10},
                {"RHOVA", 1 / (0.3629 * volume * mw)}});
  ASSERT_TRUE(run.Solve()) << run.Why();
  EXPECT_NEAR(run["HEM_A"], 1.482, 1e-3);
  EXPECT_NEAR(run["ETA_CRIT"], 0.66, 0.01);
  EXPECT_EQ(run["CRITICAL_FLOW"], 1);
  EXPECT_NEAR(Percent(run["FLUX"], 594.07 * kPound / kFoot / kFoot), 0, 0.7);
}

// The annex' subcooled propane (same sheet): 300.7 psia, 519.67 R, saturation at 107.6 psia, 31.92 lb/ft3, latent heat 152.3 Btu/lb,
// volume difference 0.9684 ft3/lb; omega 8.497 with Cp 0.6365 Btu/lb/R. G = 96.3 sqrt(31.92 (300.7 - 107.6)) = 7560 lb/s/ft2.
TEST(Published, Api520SubcooledPropane) {
  const double volume = kFoot * kFoot * kFoot / kPound, mw = 44.096, liquid = volume / 31.92;
  ModelRun run("PSV_SUBCOOLED", {"propane"}, "",
               {{"P", 300.7 * kPsi},
                {"T", 519.67 / 1.8 - 273.15},
                {"ETA", 0.05},
                {"VFACTOR", 1 - 107.6 / 300.7},
                {"LFACTOR", 0},
                {"MWV", mw},
                {"MWL", mw},
                {"RHOL", 1 / (liquid * mw)},
                {"RHOV", 1 / ((liquid + 0.9684 * volume) * mw)},
                {"HL", 0},
                {"HV", 152.3 * 2326 * mw * 1e-9},
                {"X(propane)", 1}});
  ASSERT_TRUE(run.Solve()) << run.Why();
  EXPECT_NEAR(Percent(run["OMEGA"] * 0.6365 * 4.1868 / run["CP_L0"], 8.497), 0, 0.5);
  EXPECT_NEAR(Percent(run["FLUX"], 96.3 * std::sqrt(31.92 * (300.7 - 107.6)) * kPound / kFoot / kFoot), 0,
              0.1);
  EXPECT_NEAR(run["ETA_CRIT"], 0.358, 5e-4);
}
