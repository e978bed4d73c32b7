// SPDX-License-Identifier: Apache-2.0
// Every method, solved cold from its defaults at random inlets and exit pressures, and every slope against differences.
#include <chrono>
#include <random>

#include "runtime/properties/property_error.h"
#include "tests/models/relief/states.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
// Inlets of six fluids between 1.5 bar and four fifths of the critical pressure: subcooled, boiling, two phases, superheated.
const std::vector<Expansion>& Inlets(int count) {
  static const std::vector<Expansion> inlets = [&] {
    struct Fluid {
      std::vector<std::string> names;
      std::vector<double> z;
      double highest;  // bar
    };
    const Fluid fluids[] = {{{"water"}, {1}, 150},  {{"propane"}, {1}, 33},
                            {{"ammonia"}, {1}, 85}, {{"toluene"}, {1}, 30},
                            {{"CO2"}, {1}, 58},     {{"methane", "n-pentane"}, {0.3, 0.7}, 50}};
    std::mt19937 random(20240611);
    std::uniform_real_distribution<double> share(0, 1);
    std::vector<Expansion> all;
    while (static_cast<int>(all.size()) < count) {
      const Fluid& fluid = fluids[random() % 6];
      const double lowest = fluid.names[0] == "CO2" ? 8 : 1.5,
                   bar = lowest * std::pow(fluid.highest / lowest, share(random));
      const unsigned kind = random() % 5;
      const double fraction = kind == 0 || kind == 1 ? 0
                              : kind == 2            ? 1
                                                     : share(random),
                   away = 1 + 79 * share(random);
      try {
        Expansion saturated(fluid.names, fluid.z, Expansion::Boiling(bar, fraction));
        if (kind == 0 || kind == 2)  // away from saturation, into the liquid or the vapour
          saturated = Expansion(fluid.names, fluid.z,
                                Expansion::At(bar, saturated.inlet.temperature + (kind == 0 ? -away : away)));
        all.push_back(saturated);
      } catch (const PropertyError&) {
        continue;  // freezes, say
      }
    }
    return all;
  }();
  return inlets;
}

struct Tally {
  int tried = 0, solved = 0;
  double seconds = 0;
  std::string why;
};
template <class IsMeant>
Tally SolveAll(const std::string& model, IsMeant is_meant, int exits_of_each = 1) {
  std::mt19937 random(7);
  Tally tally;
  for (int point = 0; point < 1000 * exits_of_each; ++point) {
    const Expansion& inlet = Inlets(1000)[static_cast<size_t>(point / exits_of_each)];
    const double exit = std::uniform_real_distribution<double>(0.01, 0.99)(random);
    if (!is_meant(inlet, exit)) continue;
    Values given;
    try {
      given = inlet.For(model, exit);
    } catch (const PropertyError&) {
      continue;
    }
    ++tally.tried;
    ModelRun run(model, inlet.components, "", given);
    const auto start = std::chrono::steady_clock::now();
    const bool solved = run.Solve() && std::isfinite(run["FLUX"]) && run["FLUX"] >= 0;
    tally.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (solved)
      ++tally.solved;
    else
      tally.why += run.Why() + "\n";
  }
  return tally;
}
}  // namespace

// Measured: all but 5 of 1000 each for PSV_SW, whose K is negative where the equation of state has no vapour at a subcooled inlet, and
// whose critical ratio may fall below its bound of 0.0001.
TEST(Robustness, EveryMethodSolvesColdFromItsDefaults) {
  const auto any = [](const Expansion&, double) { return true; };
  const auto flashing = [](const Expansion& inlet, double exit) {
    return inlet.saturation <= 1 && exit <= inlet.saturation;
  };
  for (const char* model : {"PSV_VAP", "PSV_SW", "PSV_SUBCOOLED", "PSV_HEMD", "PSV_HEMS", "PSV_HFF",
                            "PSV_DIENER", "PSV_SPECVOLC"}) {
    const Tally t =
        std::string(model) == "PSV_SUBCOOLED" ? SolveAll(model, flashing, 2) : SolveAll(model, any);
    fmt::print("{}: {} of {} solved, {:.2f} ms each\n", model, t.solved, t.tried, 1e3 * t.seconds / t.tried);
    EXPECT_GE(t.solved, t.tried - (std::string(model) == "PSV_SW" ? 8 : 0)) << model << ": " << t.why;
    EXPECT_GT(t.tried, 990) << model;
  }
}

// Against rigorous flashes, at some of the same inlets, in per cent. Measured at 150 of them: HEMS and Diener in equilibrium 0.56,
// SPECVOLC 0.73; HEMD 7.4. PSV_SW and PSV_SUBCOOLED, which take the inlet state alone, are off by 5 and 3 in the median and by
// more than 100 at the worst.
TEST(Robustness, EquilibriumMethodsMeetRigorousFlux) {
  for (size_t i = 0; i < 60; ++i) {
    const Expansion& inlet = Inlets(1000)[i];
    if (inlet.saturation < 0.05) continue;  // solid before it boils, some of them
    const double rigorous = inlet.LargestFlux(nullptr, 40);
    const auto near = [&](const char* model, double percent, const Values& more = {}) {
      const double flux = Solved(model, "FLUX", inlet.components, "", With(inlet.For(model, 0.005), more));
      EXPECT_NEAR(100 * (flux / rigorous - 1), 0, percent)
          << model << ": " << inlet.components[0] << " at " << inlet.inlet.pressure << " bar, "
          << inlet.inlet.temperature << " C";
    };
    near("PSV_HEMS", 0.7);
    near("PSV_SPECVOLC", 0.8);
    if (inlet.saturation < 1) continue;
    near("PSV_DIENER", 0.7, {{"A_HNE", 0}});
    near("PSV_HEMD", 8);
  }
}

// Of the two roots it is the positive one that the default start reaches.
TEST(Robustness, LiquidFlowsForwardFromTheDefaultStart) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> share(0, 1);
  for (int i = 0; i < 1000; ++i) {
    const double drop = std::pow(10, 6 * share(random) - 3), density = std::pow(10, 4 * share(random) - 2),
                 mw = 2 + 200 * share(random);
    const double flux = Solved("PSV_SIMPLE", "FLUX", {}, "",
                               {{"P_DROP", drop}, {"RHO", density}, {"MW", mw}, {"AREA_RATIO", 0}});
    EXPECT_NEAR(flux / std::sqrt(2 * drop * 1e5 * density * mw), 1, 1e-4) << drop << " " << density;
  }
}

// Vessels of all shapes, levels, elevations and standards.
TEST(Robustness, FireSolvesColdFromItsDefaults) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> share(0, 1);
  const char* heads[] = {"Elliptical", "Hemispherical", "Torispherical", "Conical", "Flat"};
  const char* standards[] = {"API-521", "API-2000", "NFPA-30"};
  for (int i = 0; i < 1000; ++i) {
    const double diameter = 0.5 + 9 * share(random), length = 1 + 20 * share(random);
    const bool lying = random() % 2;
    ModelRun run(
        "FIRECALCS", {"water"},
        fmt::format("ORIENTATION: {}, H_TYPE: {}, FIRESTANDARD: {}, DRAINCREDIT: {}, INSULCREDIT: {}",
                    lying ? "Horizontal" : "Vertical", heads[random() % 5], standards[random() % 3],
                    random() % 2 ? "Yes" : "No", random() % 2 ? "Yes" : "No"),
        {{"D_TANK", diameter},
         {"L_TANK", length},
         {"LEVEL", share(random) * (lying ? diameter : length)},
         {"ELEVATION", random() % 4 ? 12 * share(random) : 0},
         {"ENVFACTOR", share(random)},
         {"DESIGNP", 1 + share(random)}});
    ASSERT_TRUE(run.Solve()) << i << ": " << run.Why();
    EXPECT_GT(run["HEATLOAD"], 0) << i;
  }
}

// Slopes of all equations by all unknowns, at random points near a solution. Two procedures tell no slope by some of their inputs:
// those are passed by as settings.
TEST(Robustness, SlopesAreThoseOfDifferences) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> share(0.97, 1.03);
  const Expansion steam({"water"}, {1}, Expansion::Boiling(12, 0.3));
  struct Case {
    const char* model;
    std::string set;
    Values fix;
  };
  std::vector<Case> cases;
  for (const char* model :
       {"PSV_VAP", "PSV_SW", "PSV_SUBCOOLED", "PSV_HEMD", "PSV_HEMS", "PSV_HFF", "PSV_SPECVOLC"})
    for (const double exit : {0.9, 0.3}) cases.push_back({model, "", steam.For(model, exit)});
  const Values seat = {{"KV", 30}, {"FL", 0.9}, {"AREA_RATIO", 0.3}};
  for (const double exit : {0.9, 0.3})
    cases.push_back({"PSV_DIENER", "CONSTANTSIGMA: No", With(steam.For("PSV_DIENER", exit), seat)});
  cases.push_back({"PSV_SIMPLE", "", {{"P_DROP", 6}, {"RHO", 55.3}, {"MW", 18.015}, {"AREA_RATIO", 0.25}}});
  const Values vessel = {{"D_TANK", 3},    {"L_TANK", 8},      {"LEVEL", 5},
                         {"ELEVATION", 1}, {"ENVFACTOR", 0.3}, {"DESIGNP", 5}};
  for (const char* standard : {"API-521", "API-2000"})
    cases.push_back({"FIRECALCS", fmt::format("FIRESTANDARD: {}", standard), vessel});
  for (const char* form : {"PARABOLIC", "HYPERBOLIC", "SQUARE-ROOT", "QUICK-OPENING", "EQUAL-PERCENTAGE"})
    cases.push_back({"VALTYPE", fmt::format("CHAR_EQN: {}", form), {{"CVMAX", 250}}});

  for (const Case& c : cases) {
    ModelRun run(c.model, steam.components, c.set, c.fix);
    run.Solve();
    EquationSystem& system = run.System();
    std::vector<double> x = system.StartValues();
    std::vector<int> all(static_cast<size_t>(system.EquationCount()));
    for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<int>(i);
    for (size_t v = 0; v < x.size(); ++v)
      if (system.IsFree(static_cast<int>(v)))
        x[v] = std::min(x[v] * share(random), system.Upper(static_cast<int>(v)));
    system.DecideAlternatives(all, x.data());
    for (const int e : all) {
      const std::span<const int> row = system.ResidualVariables(e);
      std::vector<double> slopes(row.size());
      double at = 0, up = 0, down = 0;
      ASSERT_TRUE(system.Evaluate({&e, 1}, x.data(), &at, slopes.data()))
          << system.EquationName(e) << system.FirstFault().reason;
      for (size_t k = 0; k < row.size(); ++k) {
        if (!system.IsFree(row[k])) continue;
        const std::string name = system.VariableName(row[k]);
        const bool setting =
            name.ends_with("V_RATIO") || name.ends_with("SIGMA_STAR2") || name.ends_with(".K");
        if (setting && system.EquationName(e).ends_with("_int_call")) continue;
        double& value = x[static_cast<size_t>(row[k])];
        const double kept = value, step = 1e-5 * std::max(std::abs(kept), 1e-6);
        value = kept + step;
        ASSERT_TRUE(system.Evaluate({&e, 1}, x.data(), &up, nullptr)) << system.EquationName(e);
        value = kept - step;
        ASSERT_TRUE(system.Evaluate({&e, 1}, x.data(), &down, nullptr)) << system.EquationName(e);
        value = kept;
        const double difference = (up - down) / (2 * step),
                     noise = 1e-10 * (std::abs(at) + std::abs(kept * slopes[k])) / step;
        // Procedures without slopes of their own are differenced by the host, to one side.
        const double tolerance = system.EquationName(e).ends_with("_int_call") ? 2e-3 : 1e-4;
        EXPECT_NEAR(slopes[k], difference, tolerance * std::abs(difference) + noise)
            << c.model << " " << system.EquationName(e) << " by " << name;
      }
    }
  }
}
