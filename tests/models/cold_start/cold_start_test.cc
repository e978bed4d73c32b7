// SPDX-License-Identifier: Apache-2.0
// Valves, fittings, maps and junctions at random inputs, started cold from their defaults, forwards and backwards. The relief
// methods and the fire have theirs in tests/models/relief/robustness_test.cc. Rates are printed; a point that has a solution
// and is not solved fails the test, with what the ladder says of it.
#include <cmath>
#include <functional>
#include <random>

#include "tests/models/relief/model_run.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

class Tally {
 public:
  explicit Tally(std::string what) : what_(std::move(what)) {}
  Tally(const Tally&) = delete;
  Tally& operator=(const Tally&) = delete;
  // Every solve is checked by a value that is known otherwise.
  void Add(ModelRun& run, const std::string& point, const std::function<double(const ModelRun&)>& error) {
    ++tried_;
    const bool solved = run.Solve();
    if (solved && run.summary.rungs.size() > 1) ++by_higher_rungs_;
    const double off = solved ? error(run) : NAN;
    if (off < 1e-6) return;
    ++failed_;
    if (failed_ <= 5) first_ += fmt::format("  {}: {} (error {:.1e})\n", point, run.Why(), off);
  }
  ~Tally() {
    fmt::print("{}: {} of {} solved, {} of them beyond the first rung\n", what_, tried_ - failed_, tried_,
               by_higher_rungs_);
    EXPECT_EQ(failed_, 0) << what_ << "\n" << first_;
  }

 private:
  std::string what_, first_;
  int tried_ = 0, failed_ = 0, by_higher_rungs_ = 0;
};

std::mt19937& Random() {
  static std::mt19937 random(20240917);
  return random;
}
double Between(double low, double high) {
  return std::uniform_real_distribution<double>(low, high)(Random());
}
double Decade(double low, double high) { return low * std::pow(high / low, Between(0, 1)); }

}  // namespace

// Each characteristic gives a coefficient at an opening, and the opening back from the coefficient.
TEST(ColdStart, ValvesForwardAndBackward) {
  for (const char* characteristic :
       {"LINEAR", "PARABOLIC", "HYPERBOLIC", "SQUARE-ROOT", "QUICK-OPENING", "EQUAL-PERCENTAGE"}) {
    Tally tally(fmt::format("VALTYPE {}", characteristic));
    const std::string set = fmt::format("CHAR_EQN: {}", characteristic);
    for (int i = 0; i < 100; ++i) {
      const double full = Decade(0.1, 1e5), opening = Between(0.5, 100);
      ModelRun forward("VALTYPE", {}, set, {{"CVMAX", full}, {"POS", opening}});
      double coefficient = 0;
      tally.Add(forward, fmt::format("POS {}", opening), [&](const ModelRun& run) {
        coefficient = run["CV"];
        return coefficient > 0 && coefficient <= full * (1 + 1e-12) ? 0.0 : 1.0;
      });
      ModelRun backward("VALTYPE", {}, set, {{"CVMAX", full}, {"CV", coefficient}});
      tally.Add(backward, fmt::format("CVMAX {} CV {}", full, coefficient),
                [&](const ModelRun& run) { return std::abs(run["POS"] - opening) / opening; });
    }
  }
}

// A line of a given length in fittings, and the diameter that gives this length.
TEST(ColdStart, FittingsForwardAndBackward) {
  Tally tally("PIPEFITTINGS");
  for (int i = 0; i < 300; ++i) {
    const double diameter = Decade(0.01, 2), pipe = Between(0, 100);
    const std::string set = fmt::format(
        "FITCONNECT: {}, ELBOWNO: {}, STRTEENO: {}, BRCHTEENO: {}, GATVALNO: {}, BUTVALNO: {}, LDIAM: {}",
        Random()() % 2 ? "Screwed" : "Flanged-Welded", Random()() % 6 + 1, Random()() % 4, Random()() % 4,
        Random()() % 3, Random()() % 3, Random()() % 50);
    ModelRun forward("PIPEFITTINGS", {}, set, {{"DIAM", diameter}, {"L", pipe}});
    double length = 0;
    tally.Add(forward, set, [&](const ModelRun& run) {
      length = run["XLENGTH"];
      return length > pipe ? 0.0 : 1.0;
    });
    ModelRun backward("PIPEFITTINGS", {}, set, {{"XLENGTH", length}, {"L", pipe}});
    tally.Add(backward, fmt::format("{}, XLENGTH {}, L {}", set, length, pipe),
              [&](const ModelRun& run) { return std::abs(run["DIAM"] - diameter) / diameter; });
  }
}

// The default maps: a head at a flow and a speed, and the flow back from the head.
TEST(ColdStart, MapsForwardAndBackward) {
  Tally pump("PUMPPERFCURVE"), compressor("COMPRPERFCURVE");
  for (int i = 0; i < 300; ++i) {
    const double flow = Between(5, 135);
    ModelRun forward("PUMPPERFCURVE", {}, "", {{"FV_IN", flow}});
    double head = 0;
    pump.Add(forward, fmt::format("FV_IN {}", flow), [&](const ModelRun& run) {
      head = run["HEAD"];
      return head > 0 ? 0.0 : 1.0;
    });
    ModelRun backward("PUMPPERFCURVE", {}, "PDRIVEN: true", {{"HEAD", head}});
    pump.Add(backward, fmt::format("HEAD {}", head),
             [&](const ModelRun& run) { return std::abs(run["FV_IN"] - flow) / flow; });

    const double gas = Between(3000, 20000), speed = Between(2500, 4500);
    ModelRun curve("COMPRPERFCURVE", {}, "", {{"FV_IN", gas}, {"ACTSHAFTSPEED", speed}});
    compressor.Add(curve, fmt::format("FV_IN {} at {}", gas, speed), [&](const ModelRun& run) {
      return run["ISENHEAD"] > 0 && run["IEFF"] > 0 && run["IEFF"] <= 1 ? 0.0 : 1.0;
    });
  }
}

// Supplies and backflows of random composition and heat; forwards, and reversed where the leg's pressure says so.
TEST(ColdStart, JunctionsInEveryFormulation) {
  struct Formulation {
    const char* globals;
    bool driven, reversible;
  };
  for (const Formulation& f : {Formulation{"GLOBALPDRIVEN: false, GLOBALRFLOW: false", false, false},
                               Formulation{"GLOBALPDRIVEN: true, GLOBALRFLOW: false", true, false},
                               Formulation{"GLOBALPDRIVEN: true, GLOBALRFLOW: true", true, true}}) {
    Tally tally(fmt::format("TEEMIXER {}", f.globals));
    for (int i = 0; i < 100; ++i) {
      const double feed = Decade(1, 1e4), share = Between(0, 1), other = Between(0, 1), bar = Decade(2, 60);
      const double diameter = std::sqrt(feed / bar) * Between(0.02, 0.2);
      const std::string gas = fmt::format("[{}, {}]", share, 1 - share),
                        second = fmt::format("[{}, {}]", other, 1 - other);
      std::string fix = fmt::format(
          "DIAM: {}, IN_F.F: {}, IN_F.Z: {}, IN_F.H: {}, IN_F.AV: 1, IN_LEG.Z: {}, IN_LEG.H: {}, IN_LEG.AV: "
          "1",
          diameter, feed, gas, -0.0745 * (1 - share) + Between(-0.001, 0.002), second,
          -0.0745 * (1 - other) + Between(-0.001, 0.002));
      const double head = f.driven ? bar * Decade(1e-6, 1e-3) : 0;
      fix += fmt::format(", IN_F.P: {}, IN_LEG.P: {}", bar,
                         f.reversible && Random()() % 2 ? bar - head : bar + head);
      if (!f.driven) fix += fmt::format(", IN_LEG.F: {}", feed * Between(0, 2));
      if (f.reversible)
        fix += fmt::format(", OUT_P.ZREV: {}, OUT_P.HREV: {}, OUT_P.AVREV: 1", gas, -0.0745 * (1 - share));
      const std::string text = fmt::format(
          "components: [nitrogen, methane]\nglobals: {{{}}}\nblocks:\n  m:\n    model: TEEMIXER\n    set: "
          "{{VALIDPHASES: "
          "Vapor-Only}}\n    fix: {{{}}}\n",
          f.globals, fix);
      ModelRun run(text);
      tally.Add(run, fix, [&](const ModelRun& r) {
        return std::abs(r["IN_F.F"] + r["IN_LEG.F"] - r["OUT_P.F"]) / feed;
      });
    }
  }
}
