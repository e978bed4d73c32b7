// SPDX-License-Identifier: Apache-2.0
// quiver map CASE: the performance maps of a case as SVG pictures, with the operating point.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <fstream>

#include "cli/command.h"
#include "runtime/contract/error.h"
#include "runtime/report/plots.h"

namespace quiver {
namespace {

int DrawMaps(const ProgramOptions& options, const DirectModel& direct, const std::string& prefix) {
  CaseRun run = direct.FileOrModel(options.Libraries());
  const SolveSummary summary = run.Solve();
  for (const SolveFailure& failure : summary.failures) fmt::print(stderr, "quiver: {}\n", failure.reason);
  const std::vector<PerformanceMap> maps = ReadPerformanceMaps(run);
  if (maps.empty()) throw Error(fmt::format("{} has no performance map to draw.", direct.model));
  for (const PerformanceMap& map : maps) {
    std::string name = fmt::format("{}{}-{}.svg", prefix, map.block, map.value_name);
    std::replace(name.begin() + static_cast<long>(prefix.size()), name.end(), '/', '-');
    std::ofstream file(name, std::ios::binary);
    file << Svg(MapPlot(map).chart);
    if (!file.flush())
      throw Error(fmt::format("cannot write {}. Give a folder that exists with --prefix.", name));
    fmt::print("{}: {} curves, operating point {} {} at {} {}\n", name, map.curves.size(), Number(map.value),
               map.value_unit, Number(map.flow), map.flow_unit);
  }
  return summary.outcome == SolveOutcome::kConverged ? 0 : 1;
}

}  // namespace

void AddMapCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command =
      program.add_subcommand("map", "Draws the performance maps of a case, with the operating point");
  const auto direct = std::make_shared<DirectModel>();
  const auto prefix = std::make_shared<std::string>();
  command->add_option("CASE", direct->model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, *direct, true);
  command->add_option("--prefix", *prefix,
                      "In front of the pictures' names: a folder with a slash, or the start of a name");
  command->callback(
      [=, &options, &run] { run = [=, &options] { return DrawMaps(options, *direct, *prefix); }; });
}

}  // namespace quiver
