// SPDX-License-Identifier: Apache-2.0
// Cold starts: relief valves over a grid of fluids, inlet states and back pressures, every one from the models' own start values.
#include "tests/models/owners/solved_case.h"

namespace quiver::tests {
namespace {

TEST(ReliefGrid, SolvesFromAColdStart) {
  const struct {
    const char *components, *z;
  } fluids[] = {{"water", "1"},
                {"propane", "1"},
                {"ammonia", "1"},
                {"propane, n-hexane", "[0.4, 0.6]"},
                {"CO2, n-decane", "[0.3, 0.7]"}};
  const char* methods[] = {"Incompressible Fluid",
                           "Compressible Fluid",
                           "Schmidt-Westphal",
                           "Henry-Fauske Frozen",
                           "Ideal HEM (DIERS)",
                           "Ideal HEM (Simpson)",
                           "Diener"};
  int points = 0, solved = 0;
  std::string missed;
  for (const auto& fluid : fluids)
    for (const double pressure : {3.0, 10.0, 30.0})
      for (const double vapour : {0.02, 0.3, 0.7, 1.0})
        for (const double ratio : {0.1, 0.95})
          for (const char* method : methods) {
            const std::string text =
                Valve(fluid.components, method, "FLASHTYPE: PV, FLASH_CALC: Constant Entropy",
                      fmt::format("VF: {}, P: {}, P_OUT: {}, Z: {}, W: 10000", vapour, pressure,
                                  ratio * pressure, fluid.z));
            ++points;
            std::string why;
            try {
              const SolvedCase run(text);
              if (run.converged && run["v.FLUX"] > 0 && run["v.AREA"] > 0) {
                ++solved;
                continue;
              }
              why = run.converged ? "negative flux" : run.Why();
            } catch (const std::exception& error) {
              why = error.what();
            }
            missed += fmt::format("{} {} bar, vapour {}, back pressure {} of it, {}: {}\n", fluid.components,
                                  pressure, vapour, ratio, method, why);
          }
  RecordProperty("points", points);
  RecordProperty("solved", solved);
  EXPECT_GE(solved, points - points / 100) << solved << " of " << points << " solved. Missed:\n" << missed;
  if (solved < points) std::printf("%d of %d\n%s", solved, points, missed.c_str());
}

}  // namespace
}  // namespace quiver::tests
