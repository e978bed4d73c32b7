// SPDX-License-Identifier: Apache-2.0
// quiver simulate CASE: the case over time, as a table, as JSON, as CSV and as curves.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <fstream>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/contract/error.h"
#include "runtime/io/quantity_text.h"
#include "runtime/report/line_chart.h"
#ifdef QUIVER_WITH_IDA
#include "runtime/simulation/simulation.h"
#endif

namespace quiver {
namespace {

#ifndef QUIVER_WITH_IDA

int RunSimulation(const ProgramOptions&, const std::string&, bool, const std::string&, const std::string&) {
  throw Error(
      "this quiver was built without SUNDIALS' IDA, which runs over time need: install it and build again");
}

#else

struct Trajectory {
  std::vector<double> hours;
  std::vector<std::vector<NamedValue> > rows;  // parallel to hours

  size_t columns() const { return rows.empty() ? 0 : rows.front().size(); }
  std::string Heading(size_t column, bool brackets) const {
    const NamedValue& value = rows.front()[column];
    if (value.unit.empty()) return value.name;
    return brackets ? fmt::format("{} [{}]", value.name, value.unit) : value.name + " " + value.unit;
  }
  bool Varies(size_t column) const {
    for (const auto& row : rows)
      if (row[column].value != rows.front()[column].value) return true;
    return false;
  }
};

void WriteFile(const std::string& name, const std::string& text) {
  std::ofstream file(name, std::ios::binary);
  file << text;
  file.close();
  if (!file)
    throw Error(fmt::format("{} cannot be written: check the folder and the space on the disk", name));
}

std::string Csv(const Trajectory& trajectory, const SimulationSummary& summary) {
  std::string text = fmt::format("time [{}]", summary.unit_name);
  for (size_t c = 0; c < trajectory.columns(); ++c) {
    const std::string heading = trajectory.Heading(c, true);
    const char* quote = heading.find(',') == heading.npos ? "" : "\"";
    text += fmt::format(",{}{}{}", quote, heading, quote);
  }
  text += '\n';
  for (size_t r = 0; r < trajectory.rows.size(); ++r) {
    text += FormatReal(trajectory.hours[r] * summary.unit, RealStyle::kShortest);
    for (const NamedValue& value : trajectory.rows[r])
      text += ',' + FormatReal(value.value, RealStyle::kShortest);
    text += '\n';
  }
  return text;
}

// One picture for each unit and quantity would hide what belongs together; one for each variable is read most easily.
std::string Curves(const Trajectory& trajectory, const SimulationSummary& summary, const std::string& title) {
  std::vector<LineChart> charts;
  for (size_t c = 0; c < trajectory.columns(); ++c) {
    if (!trajectory.Varies(c)) continue;
    LineChart chart;
    chart.title = trajectory.rows.front()[c].description.empty() ? trajectory.rows.front()[c].name
                                                                 : trajectory.rows.front()[c].description;
    chart.description = fmt::format("{}: {} over time", title, chart.title);
    chart.x_label = fmt::format("Time, {}", summary.unit_name);
    chart.y_label = trajectory.Heading(c, false);
    LineChart::Series series{trajectory.rows.front()[c].name, {}, {}};
    for (size_t r = 0; r < trajectory.rows.size(); ++r) {
      series.x.push_back(trajectory.hours[r] * summary.unit);
      series.y.push_back(trajectory.rows[r][c].value);
    }
    chart.series.push_back(std::move(series));
    charts.push_back(std::move(chart));
  }
  return Svg(charts);
}

Json ResultJson(const Trajectory& trajectory, const SimulationSummary& summary) {
  Json document = {{"status", summary.finished ? "finished" : "failed"},
                   {"time_unit", summary.unit_name},
                   {"reached", summary.hours * summary.unit},
                   {"states", summary.states},
                   {"equations", summary.equations},
                   {"steps", summary.steps},
                   {"restarts", summary.restarts},
                   {"events", Json::array()},
                   {"time", Json::array()},
                   {"values", Json::object()},
                   {"failures", Json::array()}};
  for (const SimulationEvent& event : summary.events)
    document["events"].push_back({{"time", event.hours * summary.unit}, {"event", event.text}});
  for (const double hours : trajectory.hours) document["time"].push_back(hours * summary.unit);
  for (size_t c = 0; c < trajectory.columns(); ++c) {
    Json series = Json::array();
    for (const auto& row : trajectory.rows) series.push_back(NumberOrNull(row[c].value));
    document["values"][trajectory.rows.front()[c].name] = std::move(series);
  }
  if (!summary.finished) document["failures"].push_back({{"reason", summary.failure}});
  return document;
}

// At most this many rows for people; files and JSON have all.
constexpr size_t kRows = 40;

void PrintTrajectory(CaseRun& run, const Trajectory& trajectory, const SimulationSummary& summary) {
  if (!run.description().title.empty()) fmt::print("{}\n", Bold(run.description().title));
  fmt::print("{}: {:.6g} {} in {} steps, {} equations with {} states\n\n",
             summary.finished ? "Finished" : "Not finished", summary.hours * summary.unit, summary.unit_name,
             summary.steps, summary.equations, summary.states);
  if (!trajectory.rows.empty()) {
    std::vector<std::vector<std::string> > rows = {{fmt::format("Time {}", summary.unit_name)}};
    for (size_t c = 0; c < trajectory.columns(); ++c) rows[0].push_back(trajectory.Heading(c, false));
    const size_t stride = (trajectory.rows.size() + kRows - 1) / kRows;
    for (size_t r = 0; r < trajectory.rows.size(); ++r) {
      if (r % stride != 0 && r + 1 != trajectory.rows.size()) continue;
      rows.push_back({Number(trajectory.hours[r] * summary.unit)});
      for (const NamedValue& value : trajectory.rows[r]) rows.back().push_back(Number(value.value));
    }
    fmt::print("{}", Table(rows, std::vector<bool>(rows[0].size(), true)));
    if (stride > 1)
      fmt::print("({} of {} rows; --output FILE.csv has all)\n", rows.size() - 1, trajectory.rows.size());
  }
  if (!summary.events.empty()) fmt::print("\n");
  constexpr size_t kEvents = 20;
  for (size_t e = 0; e < std::min(summary.events.size(), kEvents); ++e)
    fmt::print("{:>12} {}  {}\n", Number(summary.events[e].hours * summary.unit), summary.unit_name,
               summary.events[e].text);
  if (summary.events.size() > kEvents) fmt::print("and {} more events\n", summary.events.size() - kEvents);
}

int RunSimulation(const ProgramOptions& options, const std::string& name, bool json,
                  const std::string& output, const std::string& plot) {
  CaseRun run(options.Libraries(), ReadCaseFile(name));
  Trajectory trajectory;
  const SimulationSummary summary = Simulate(run, [&](double hours) {
    trajectory.hours.push_back(hours);
    trajectory.rows.push_back(run.Report());
  });
  if (json)
    Print(ResultJson(trajectory, summary));
  else
    PrintTrajectory(run, trajectory, summary);
  std::fflush(stdout);
  if (!output.empty()) WriteFile(output, Csv(trajectory, summary));
  if (!plot.empty()) WriteFile(plot, Curves(trajectory, summary, run.description().title));
  if (!summary.finished) fmt::print(stderr, "quiver: {}\n", summary.failure);
  return summary.finished ? 0 : 1;
}

#endif

}  // namespace

void AddSimulateCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  struct Arguments {
    std::string name, output, plot;
    bool json = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command =
      program.add_subcommand("simulate", "Solve a case over time, as its section \"simulate\" tells");
  command->add_option("case", arguments->name, "Case file")->required()->type_name("CASE");
  command->add_option("-o,--output", arguments->output, "Write all rows as CSV")->type_name("FILE");
  command->add_option("--plot", arguments->plot, "Draw the reported values over time, as SVG")
      ->type_name("FILE");
  command->add_flag("--json", arguments->json, "One JSON document on standard output");
  command->callback([&options, &run, arguments] {
    run = [&options, arguments] {
      return RunSimulation(options, arguments->name, arguments->json, arguments->output, arguments->plot);
    };
  });
}

}  // namespace quiver
