// SPDX-License-Identifier: Apache-2.0
// quiver report CASE: solves it and writes one self-contained page.
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/contract/error.h"
#include "runtime/contract/names.h"
#include "runtime/io/path_text.h"
#include "runtime/io/quantity_text.h"
#include "runtime/io/sha256.h"
#include "runtime/report/page.h"
#include "runtime/report/sweep_table.h"

namespace quiver {
namespace {

struct ReportRequest {
  DirectModel direct;
  std::string output;
  std::vector<std::string> sweeps;
  bool json = false, brief = false;
};

// The time that SOURCE_DATE_EPOCH names, so that the same case gives the same page; without it, now.
std::string ReportDate() {
  std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch && *epoch) {
    const auto given = ParseInteger(epoch);
    if (!given || *given < 0)
      throw Error(fmt::format("SOURCE_DATE_EPOCH is \"{}\". Give it a number of seconds since 1970, or none.",
                              epoch));
    seconds = static_cast<std::time_t>(*given);
  }
  return fmt::format("{:%Y-%m-%d %H:%M} UTC", fmt::gmtime(seconds));
}

std::string TextOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

ReportProvenance ProvenanceOf(const ReportRequest& request, CaseRun& run) {
  ReportProvenance from{std::string("quiver ") + Version(), ReportDate(), {}};
  if (run.qualified()) {
    from.sources.emplace_back("Case file", PathOf(request.direct.model).filename().string());
    from.sources.emplace_back("SHA-256 of the case file", Sha256Of(TextOfFile(request.direct.model)));
  } else {
    std::string command = "quiver report " + request.direct.model;
    const auto add = [&](const char* option, const std::vector<std::string>& values) {
      for (const std::string& value : values) command += fmt::format(" {} \"{}\"", option, value);
    };
    add("--set", request.direct.set);
    add("--fix", request.direct.fix);
    add("--guess", request.direct.guess);
    add("--global", request.direct.globals);
    if (!request.direct.components.empty()) add("--components", {request.direct.components});
    from.sources.emplace_back("Command", command);
  }
  for (const std::string& file : request.sweeps)
    from.sources.emplace_back("Sweep " + PathOf(file).filename().string(),
                              "SHA-256 " + Sha256Of(TextOfFile(file)));
  if (!run.description().components.empty())
    from.sources.emplace_back("Components", fmt::format("{}", fmt::join(run.description().components, ", ")));
  return from;
}

// "relief_gas-report.html" of relief_gas/case.yaml: the folder names a case that its file does not.
std::string DefaultOutput(const std::string& target) {
  const std::filesystem::path path = std::filesystem::absolute(PathOf(target));
  std::string name = path.stem().string();
  if (name == "case" && path.has_parent_path()) name = path.parent_path().filename().string();
  return name + "-report.html";
}

Json SummaryJson(const ReportContent& content, const std::string& output, size_t bytes) {
  Json document = {
      {"status", content.converged ? "converged" : "failed"}, {"file", output}, {"bytes", bytes}};
  document["plots"] = Json::array();
  for (const Plot& plot : content.plots) {
    Json points = Json::array();
    for (const LineChart::Point& point : plot.chart.points)
      points.push_back({{"name", point.name.empty() ? point.label : point.name},
                        {"x", NumberOrNull(point.x)},
                        {"y", NumberOrNull(point.y)}});
    Json lines = Json::array();
    for (const LineChart::Line& line : plot.chart.lines)
      lines.push_back({{"name", line.label}, {"x", NumberOrNull(line.x)}});
    document["plots"].push_back({{"title", plot.chart.title},
                                 {"x", plot.chart.x_label},
                                 {"y", plot.chart.y_label},
                                 {"curves", plot.chart.series.size()},
                                 {"points", points},
                                 {"lines", lines}});
  }
  document["failures"] = content.failures;
  return document;
}

void AddSweeps(const std::vector<SweepTable>& sweeps, ReportContent& content) {
  std::set<std::string> inputs;
  for (const auto* rows : {&content.inputs, &content.defaults, &content.options})
    for (const ReportInput& input : *rows) inputs.insert(UpperCase(input.name));
  for (const SweepTable& sweep : sweeps) {
    std::vector<Plot> plots = SweepPlots(sweep, inputs);
    if (plots.empty())
      content.plots_left_out.push_back(
          fmt::format("{}: no curve is drawn, because no number that is an input of the case changes in it.",
                      sweep.file));
    for (Plot& plot : plots) content.plots.push_back(std::move(plot));
  }
}

int WriteReport(const ProgramOptions& options, const ReportRequest& request) {
  CaseRun run = request.direct.FileOrModel(options.Libraries());
  const ReportProvenance provenance = ProvenanceOf(request, run);
  std::vector<SweepTable> sweeps;
  for (const std::string& file : request.sweeps) sweeps.push_back(ReadSweepTable(file));
  ReportContent content = SolveAndCollect(run);
  AddSweeps(sweeps, content);
  const std::string page = ReportPage(content, provenance, request.brief);
  const int status = content.converged ? 0 : 1;
  if (request.output == "-") {
    std::fwrite(page.data(), 1, page.size(), stdout);
    std::fflush(stdout);
  } else {
    const std::string output = request.output.empty() ? DefaultOutput(request.direct.model) : request.output;
    std::ofstream file(output, std::ios::binary);
    file << page;
    if (!file.flush())
      throw Error(fmt::format(
          "cannot write {}. Name a file in a folder that exists with -o, or - for standard output.", output));
    if (request.json)
      Print(SummaryJson(content, output, page.size()));
    else
      fmt::print("{}: {}, {} plot{}, {} kB\n", output, content.converged ? "converged" : "not solved",
                 content.plots.size(), content.plots.size() == 1 ? "" : "s", (page.size() + 999) / 1000);
    std::fflush(stdout);
  }
  for (const std::string& failure : content.failures) fmt::print(stderr, "quiver: {}\n", failure);
  return status;
}

}  // namespace

void WritePlots(CaseRun& run, const std::string& file) {
  std::vector<LineChart> charts;
  for (const Plot& plot : CurvePlots(run).plots) charts.push_back(plot.chart);
  for (const Plot& plot : MapPlots(run)) charts.push_back(plot.chart);
  if (charts.empty())
    throw Error(
        "--plot: no model of this case has a curve to draw (relief devices, fire, valves and performance "
        "maps have).");
  std::ofstream out(file, std::ios::binary);
  out << Svg(charts);
  if (!out.flush())
    throw Error(fmt::format("--plot: cannot write {}. Name a file in a folder that exists.", file));
}

void AddReportCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command = program.add_subcommand(
      "report", "Solves a case and writes one HTML page: inputs, equations, results, curves, diagnosis");
  const auto request = std::make_shared<ReportRequest>();
  command->add_option("CASE", request->direct.model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, request->direct, true);
  command
      ->add_option("-o,--output", request->output,
                   "The page; NAME-report.html if not given, - for standard output")
      ->type_name("FILE");
  command
      ->add_option("--sweep", request->sweeps,
                   "Results of a sweep of this case (.csv or .jsonl), drawn as curves")
      ->type_name("FILE");
  command->add_flag("--brief", request->brief, "Without the equations and the list of all values");
  CLI::Option* json =
      command->add_flag("--json", request->json, "One JSON document on standard output: what was written");
  json->check([request](const std::string&) {
    return request->output == "-" ? "--json and -o - both write to standard output" : "";
  });
  command->callback([=, &options, &run] { run = [=, &options] { return WriteReport(options, *request); }; });
}

}  // namespace quiver
