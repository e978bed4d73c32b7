// SPDX-License-Identifier: Apache-2.0
// quiver solve CASE, or quiver solve MODEL --set ... --fix ...
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/cases/case_run.h"

namespace quiver {
namespace {

Json FailureJson(const SolveFailure& failure, EquationSystem& system) {
  return {{"equation", failure.equation >= 0 ? Json(system.EquationName(failure.equation)) : Json(nullptr)},
          {"variable", failure.variable >= 0 ? Json(system.VariableName(failure.variable)) : Json(nullptr)},
          {"reason", failure.reason}};
}

Json StreamsJson(CaseRun& run) {
  Json streams = Json::array();
  for (const StreamState& stream : run.Streams()) {
    Json fractions = Json::object();
    for (size_t i = 0; i < stream.Z.size(); ++i) fractions[stream.components[i]] = NumberOrNull(stream.Z[i]);
    streams.push_back({{"name", stream.name},
                       {"from", TextOrNull(stream.from.empty() ? nullptr : stream.from.c_str())},
                       {"to", TextOrNull(stream.to.empty() ? nullptr : stream.to.c_str())},
                       {"reversed", stream.reversed},
                       {"F", NumberOrNull(stream.F)},
                       {"T", NumberOrNull(stream.T)},
                       {"P", NumberOrNull(stream.P)},
                       {"H", NumberOrNull(stream.H)},
                       {"V", NumberOrNull(stream.V)},
                       {"Z", fractions}});
  }
  return streams;
}

Json ResultJson(CaseRun& run, const SolveSummary& summary, bool converged) {
  Json document = {{"status", converged ? "converged" : "failed"},
                   {"iterations", summary.iterations},
                   {"residual", NumberOrNull(summary.largest_residual)},
                   {"values", Json::object()},
                   {"failures", Json::array()}};
  Json unused = Json::array();
  for (const NamedValue& value : run.Values()) {
    document["values"][value.name] = NumberOrNull(value.value);
    if (!value.takes_part) unused.push_back(value.name);
  }
  document["in_no_equation"] = unused;
  for (const SolveFailure& failure : summary.failures)
    document["failures"].push_back(FailureJson(failure, run.System()));
  document["equations"] = run.System().EquationCount();
  document["blocks"] = summary.blocks;
  Json notes = Json::array();
  for (const std::string& note : run.flowsheet().scope().notes) notes.push_back(note);
  for (const SolveFailure& note : summary.notes) notes.push_back(note.reason);
  document["notes"] = notes;
  document["streams"] = StreamsJson(run);
  return document;
}

// A stream a row; what is not known of it stays empty.
void PrintStreams(CaseRun& run) {
  const std::vector<StreamState> streams = run.Streams();
  if (streams.empty()) return;
  std::vector<std::vector<std::string>> rows = {{"Stream", "F kmol/hr", "T C", "P bar", "H GJ/kmol"}};
  rows[0].insert(rows[0].end(), streams[0].components.begin(), streams[0].components.end());
  const auto cell = [](double value) { return std::isnan(value) ? "" : Number(value); };
  for (const StreamState& stream : streams) {
    rows.push_back({stream.name, cell(stream.F), cell(stream.T), cell(stream.P), cell(stream.H)});
    for (const double fraction : stream.Z) rows.back().push_back(cell(fraction));
    rows.back().resize(rows[0].size());
  }
  std::vector<bool> right(rows[0].size(), true);
  right[0] = false;
  fmt::print("\n{}", Table(rows, right));
}

void PrintResult(CaseRun& run, const SolveSummary& summary, bool converged) {
  if (!run.description().title.empty()) fmt::print("{}\n", Bold(run.description().title));
  const int equations = run.System().EquationCount();
  if (converged)
    fmt::print("Converged: {} equation{}, {} iteration{}, largest scaled residual {:.1e}\n\n", equations,
               equations == 1 ? "" : "s", summary.iterations, summary.iterations == 1 ? "" : "s",
               summary.largest_residual);
  else
    fmt::print("Not solved: {} equation{}, {} iteration{}. The values below are the state reached.\n\n",
               equations, equations == 1 ? "" : "s", summary.iterations, summary.iterations == 1 ? "" : "s");
  std::vector<std::vector<std::string>> rows;
  for (const NamedValue& value : run.Report())
    rows.push_back(
        {value.name, Number(value.value), value.unit, value.given ? "given" : "", value.description});
  fmt::print("{}", Table(rows, {false, true, false, false, false}));
  PrintStreams(run);
  if (!run.description().report.empty()) return;
  const std::vector<NamedValue> all = run.Values();
  if (all.size() > rows.size())
    fmt::print("\n{} more variables take no part in any equation of this case.\n", all.size() - rows.size());
}

int Solve(const ProgramOptions& options, const DirectModel& direct, bool json, const std::string& plot) {
  CaseRun run = direct.FileOrModel(options.Libraries());
  const SolveSummary summary = run.Solve();
  const bool converged = summary.outcome == SolveOutcome::kConverged;
  if (json)
    Print(ResultJson(run, summary, converged));
  else
    PrintResult(run, summary, converged);
  std::fflush(stdout);
  for (const std::string& note : run.flowsheet().scope().notes) fmt::print(stderr, "note: {}\n", note);
  for (const SolveFailure& note : summary.notes) fmt::print(stderr, "note: {}\n", note.reason);
  for (const SolveFailure& failure : summary.failures) fmt::print(stderr, "quiver: {}\n", failure.reason);
  if (!plot.empty() && converged) WritePlots(run, plot);
  if (!plot.empty() && !converged)
    fmt::print(stderr, "quiver: {} is not written, because there is no solution to draw.\n", plot);
  return converged ? 0 : 1;
}

}  // namespace

void AddSolveCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command =
      program.add_subcommand("solve", "Solves a case file, or one model given on the command line");
  const auto direct = std::make_shared<DirectModel>();
  const auto json = std::make_shared<bool>(false);
  const auto plot = std::make_shared<std::string>();
  command->add_option("CASE", direct->model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, *direct, true);
  command->add_flag("--json", *json, "One JSON document on standard output");
  command
      ->add_option("--plot", *plot,
                   "Its curves as a picture: relief flux, fire heat load, valve characteristics, maps")
      ->type_name("FILE.svg");
  command->callback(
      [=, &options, &run] { run = [=, &options] { return Solve(options, *direct, *json, *plot); }; });
}

}  // namespace quiver
