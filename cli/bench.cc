// SPDX-License-Identifier: Apache-2.0
// quiver bench CASE: where the time goes for a case of one's own.
//
//   quiver bench relief.yaml --repeat 1000 --workers 2
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/solve/solve_times.h"

namespace quiver {
namespace {

constexpr int kMostCopies = 10'000'000;

// The case with all its blocks and connections `copies` times; those of copy 2 have names that end in _2.
CaseFile Repeated(const CaseFile& one, int copies) {
  CaseFile all = one;
  for (int copy = 2; copy <= copies; ++copy) {
    const std::string ending = fmt::format("_{}", copy);
    for (CaseBlock block : one.blocks) {
      block.name += ending;
      all.blocks.push_back(std::move(block));
    }
    for (Connection connection : one.connect) {
      for (PropertyPath* side : {&connection.left, &connection.right}) side->parts.front().name += ending;
      all.connect.push_back(std::move(connection));
    }
  }
  return all;
}

struct Stage {
  const char* key;
  const char* name;
  double seconds;
};

class Clock {
 public:
  double Lap() {
    const auto now = std::chrono::steady_clock::now();
    const double seconds = std::chrono::duration<double>(now - last_).count();
    last_ = now;
    return seconds;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

int Bench(const ProgramOptions& options, const std::string& path, int copies, int workers, bool json) {
  const auto& library = options.Libraries();
  Clock clock;
  CaseFile file = Repeated(ReadCaseFile(path), copies);
  const double read = clock.Lap();
  CaseRun run(library, std::move(file));
  const double build = clock.Lap();
  const EquationSystem& system = run.System();
  const double emit = clock.Lap();
  SolveTimes times;
  LadderOptions solving;
  solving.solve.workers = workers;
  solving.solve.times = &times;
  const SolveSummary summary = run.Solve(solving);
  const double solve = clock.Lap();

  const BuildTimes& built = run.build_times();
  const double counted =
      times.structure.Seconds() + (times.evaluation.Seconds() + times.linear_algebra.Seconds()) / workers;
  const Stage stages[] = {
      {"read", "read the case", read + std::max(0.0, build - built.create - built.assign)},
      {"create", "create blocks", built.create},
      {"assign", "size and assign", built.assign},
      {"emit", "set up and emit", emit},
      {"structure", "structure", times.structure.Seconds()},
      {"evaluation", "equations and routines", times.evaluation.Seconds() / workers},
      {"linear_algebra", "linear algebra", times.linear_algebra.Seconds() / workers},
      {"rest", "rest of the solution", std::max(0.0, solve - counted)}};
  double all = 0;
  for (const Stage& stage : stages) all += stage.seconds;
  const SystemSummary about = system.Summary();
  const int equations = system.EquationCount();
  const bool converged = summary.outcome == SolveOutcome::kConverged;

  if (json) {
    Json document = {{"status", converged ? "converged" : "failed"},
                     {"copies", copies},
                     {"workers", workers},
                     {"equations", equations},
                     {"blocks", summary.blocks},
                     {"largest_block", summary.largest_block},
                     {"iterations", summary.iterations},
                     {"evaluations", summary.evaluations},
                     {"instances", about.instances},
                     {"instances_written_out", about.instances_written_out},
                     {"shapes", about.shapes},
                     {"bytes", system.memory_bytes()},
                     {"seconds", Json::object()}};
    for (const Stage& stage : stages) document["seconds"][stage.key] = stage.seconds;
    document["seconds"]["all"] = all;
    Print(document);
    return converged ? 0 : 1;
  }
  fmt::print("{} equations of {} different forms in {} instances, of which {} told theirs\n", equations,
             about.shapes, about.instances, about.instances_written_out);
  fmt::print("{} blocks, the largest of {} equations; {} iterations\n", summary.blocks, summary.largest_block,
             summary.iterations);
  fmt::print("{:.1f} bytes an equation, beside the blocks themselves\n\n",
             equations ? static_cast<double>(system.memory_bytes()) / equations : 0.0);
  std::vector<std::vector<std::string>> rows = {{"", "ms", "%", "ns an equation"}};
  const auto add = [&](const char* name, double seconds) {
    rows.push_back({name, fmt::format("{:.3f}", 1e3 * seconds), fmt::format("{:.1f}", 100 * seconds / all),
                    equations ? fmt::format("{:.0f}", 1e9 * seconds / equations) : ""});
  };
  for (const Stage& stage : stages) add(stage.name, stage.seconds);
  add("all", all);
  fmt::print("{}", Table(rows, {false, true, true, true}));
  std::fflush(stdout);
  for (const SolveFailure& failure : summary.failures) {
    fmt::print(stderr, "quiver: {}\n", failure.reason);
    if (&failure - summary.failures.data() == 4 && summary.failures.size() > 5) {
      fmt::print(stderr, "quiver: {} more failures of this kind or others.\n", summary.failures.size() - 5);
      break;
    }
  }
  return converged ? 0 : 1;
}

}  // namespace

void AddBenchCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command = program.add_subcommand("bench", "Shows where the time goes for a case");
  const auto path = std::make_shared<std::string>();
  const auto copies = std::make_shared<int>(1);
  const auto workers = std::make_shared<int>(1);
  const auto json = std::make_shared<bool>(false);
  command->add_option("CASE", *path, "A case file")->required();
  command->add_option("--repeat", *copies, "The case so many times in one flowsheet")
      ->check(CLI::Range(1, kMostCopies));
  command->add_option("--workers", *workers, "Threads that solve")->check(CLI::Range(1, 1024));
  command->add_flag("--json", *json, "One JSON document on standard output");
  command->callback([=, &options, &run] {
    run = [=, &options] { return Bench(options, *path, *copies, *workers, *json); };
  });
}

}  // namespace quiver
