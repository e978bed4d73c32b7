// SPDX-License-Identifier: Apache-2.0
// quiver solve CASE, or quiver solve MODEL --set ... --fix ...
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/cases/case_run.h"
#include "runtime/solve/method_list.h"

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
  document["rungs"] = Json::array();
  for (const RungReport& rung : summary.rungs)
    document["rungs"].push_back({{"method", rung.name},
                                 {"solved", rung.solved},
                                 {"iterations", rung.iterations},
                                 {"evaluations", rung.evaluations},
                                 {"text", rung.text}});
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

struct Wanted {
  bool json = false, log = false;
  std::string solver, save_state, start_from, plot;
};

SolveSummary SolveAsWanted(CaseRun& run, const Wanted& wanted) {
  if (wanted.solver.empty()) {
    LadderOptions ladder;
    if (wanted.log)
      ladder.log = [](const RungReport& rung) {
        fmt::print(stderr, "{}: {} ({} iterations, {} evaluations)\n", rung.name, rung.text, rung.iterations,
                   rung.evaluations);
      };
    return run.Solve(ladder);
  }
  BlockSolver solver = SolverByName(wanted.solver);
  return run.Solve(solver);
}

int Solve(const ProgramOptions& options, const DirectModel& direct, const Wanted& wanted) {
  CaseRun run = direct.FileOrModel(options.Libraries());
  if (!wanted.start_from.empty()) run.StartFrom(ReadState(wanted.start_from));
  const SolveSummary summary = SolveAsWanted(run, wanted);
  const bool converged = summary.outcome == SolveOutcome::kConverged;
  if (!wanted.save_state.empty()) WriteState(wanted.save_state, run.State(converged));
  if (wanted.json)
    Print(ResultJson(run, summary, converged));
  else
    PrintResult(run, summary, converged);
  std::fflush(stdout);
  for (const std::string& note : run.flowsheet().scope().notes) fmt::print(stderr, "note: {}\n", note);
  for (const SolveFailure& note : summary.notes) fmt::print(stderr, "note: {}\n", note.reason);
  for (const SolveFailure& failure : summary.failures) fmt::print(stderr, "quiver: {}\n", failure.reason);
  if (!wanted.plot.empty() && converged) WritePlots(run, wanted.plot);
  if (!wanted.plot.empty() && !converged)
    fmt::print(stderr, "quiver: {} is not written, because there is no solution to draw.\n", wanted.plot);
  return converged ? 0 : 1;
}

}  // namespace

void AddSolveCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command =
      program.add_subcommand("solve", "Solves a case file, or one model given on the command line");
  const auto direct = std::make_shared<DirectModel>();
  const auto wanted = std::make_shared<Wanted>();
  command->add_option("CASE", direct->model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, *direct, true);
  command->add_flag("--json", wanted->json, "One JSON document on standard output");
  command
      ->add_option("--plot", wanted->plot,
                   "Its curves as a picture: relief flux, fire heat load, valve characteristics, maps")
      ->type_name("FILE.svg");
  command->add_flag("--log", wanted->log, "Tells on standard error what each method of the ladder did");
  std::string methods;
  for (const MethodRow& row : AllMethods()) methods += fmt::format("; {}: {}", row.name, row.about);
  command
      ->add_option("--solver", wanted->solver, "One method alone in place of the ladder of methods" + methods)
      ->type_name("NAME");
  AddStateOptions(*command, wanted->save_state, wanted->start_from);
  command->callback(
      [=, &options, &run] { run = [=, &options] { return Solve(options, *direct, *wanted); }; });
}

}  // namespace quiver
