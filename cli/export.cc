// SPDX-License-Identifier: Apache-2.0
// quiver export CASE --nl FILE | --matrix-market FILE: the equations for other programs.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/contract/error.h"
#include "runtime/export/nl_writer.h"

namespace quiver {
namespace {

struct ExportRequest {
  DirectModel direct;
  std::string nl, matrix_market, at = "start";
  NlOptions format;
  ExportOptions what;
  bool json = false;
};

void WriteFile(const std::filesystem::path& path, const std::function<void(std::ostream&)>& write) {
  std::ofstream file(path, std::ios::binary);
  if (file) write(file);
  if (!file.flush())
    throw Error(fmt::format("cannot write {}. Give a file in a folder that exists and may be written.",
                            path.string()));
}

// One per line: STEM.row and STEM.col.
void WriteNames(const std::string& stem, const std::vector<std::string>& rows,
                const std::vector<std::string>& columns) {
  for (const auto& [ending, names] : {std::pair(".row", &rows), std::pair(".col", &columns)})
    WriteFile(stem + ending, [list = names](std::ostream& out) {
      for (const std::string& name : *list) out << name << '\n';
    });
}

Json EquationsJson(EquationSystem& system) {
  Json equations = Json::array(), variables = Json::array();
  for (int e = 0; e < system.EquationCount(); ++e) {
    Json names = Json::array(), routines = Json::array();
    for (const int v : system.ResidualVariables(e)) names.push_back(system.VariableName(v));
    for (const EmittedForm& form : system.FormsOf(e))
      if (form.procedure) routines.push_back(form.procedure->ProcedureName());
    equations.push_back({{"name", system.EquationName(e)},
                         {"variables", names},
                         {"alternatives", system.FormsOf(e).size()},
                         {"routines", routines}});
  }
  const std::vector<double> x = system.StartValues();
  for (int v = 0; v < system.VariableCount(); ++v)
    if (system.TakesPart(v))
      variables.push_back({{"name", system.VariableName(v)},
                           {"free", system.IsFree(v)},
                           {"value", NumberOrNull(x[static_cast<size_t>(v)])},
                           {"lower", NumberOrNull(system.Lower(v))},
                           {"upper", NumberOrNull(system.Upper(v))}});
  return {{"equations", equations}, {"variables", variables}};
}

int Export(const ProgramOptions& options, const ExportRequest& request) {
  if (request.nl.empty() && request.matrix_market.empty() && !request.json)
    throw Error("export needs to know what to write: --nl FILE, --matrix-market FILE, or --json.");
  CaseRun run = request.direct.FileOrModel(options.Libraries());
  EquationSystem& system = run.System();
  bool solved = true;
  if (request.at == "solution") {
    const SolveSummary summary = run.Solve();
    solved = summary.outcome == SolveOutcome::kConverged;
    for (const SolveFailure& failure : summary.failures) fmt::print(stderr, "quiver: {}\n", failure.reason);
    if (!solved) fmt::print(stderr, "quiver: not solved; what is exported is the state reached.\n");
  }
  const std::vector<double> x = system.StartValues();
  Json document = request.json ? EquationsJson(system) : Json();
  document["files"] = Json::array();
  std::string told;
  if (!request.nl.empty()) {
    // Expressed before the file is opened: what cannot be expressed leaves no empty file behind.
    const ExportedSystem exported = Express(system, x, request.what);
    NlNames names;
    WriteFile(request.nl, [&](std::ostream& out) { names = WriteNl(exported, request.format, out); });
    WriteNames(std::filesystem::path(request.nl).replace_extension().string(), names.rows, names.columns);
    told += fmt::format(
        "{}: {} equations ({} nonlinear) in {} variables, {} nonzeros; names in .row and .col\n", request.nl,
        names.rows.size(), names.nonlinear_rows, names.columns.size(), names.nonzeros);
    for (const std::string& routine : exported.linearised)
      fmt::print(stderr, "note: {} has no formula; its first-order expansion at the {} stands for it.\n",
                 routine, request.at);
    document["files"].push_back({{"file", request.nl},
                                 {"format", "nl"},
                                 {"equations", names.rows.size()},
                                 {"variables", names.columns.size()},
                                 {"nonzeros", names.nonzeros},
                                 {"linearised", exported.linearised}});
  }
  if (!request.matrix_market.empty()) {
    const ExportedJacobian jacobian = JacobianAt(system, x);
    WriteFile(request.matrix_market, [&](std::ostream& out) { WriteMatrixMarket(jacobian, out); });
    WriteNames(request.matrix_market, jacobian.rows, jacobian.columns);
    told += fmt::format("{0}: {1} rows, {2} columns, {3} entries; names in {0}.row and {0}.col\n",
                        request.matrix_market, jacobian.rows.size(), jacobian.columns.size(),
                        jacobian.entries.size());
    document["files"].push_back({{"file", request.matrix_market},
                                 {"format", "matrix market"},
                                 {"rows", jacobian.rows.size()},
                                 {"columns", jacobian.columns.size()},
                                 {"nonzeros", jacobian.entries.size()}});
  }
  if (request.json)
    Print(document);
  else
    fmt::print("{}", told);
  return solved ? 0 : 1;
}

}  // namespace

void AddExportCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command =
      program.add_subcommand("export", "Writes the equations or their Jacobian for other programs");
  const auto request = std::make_shared<ExportRequest>();
  command->add_option("CASE", request->direct.model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, request->direct, true);
  command->add_option("--nl", request->nl, "Equations in the .nl format, names in .row and .col")
      ->type_name("FILE");
  command
      ->add_option("--matrix-market", request->matrix_market,
                   "Jacobian by the unknowns in the Matrix Market format, names in FILE.row and FILE.col")
      ->type_name("FILE");
  command->add_option("--at", request->at, "The point: start, or solution, which is solved for first")
      ->check(CLI::IsMember({"start", "solution"}))
      ->capture_default_str();
  command->add_flag("--binary", request->format.binary, "The .nl file in binary instead of text");
  command->add_flag("--current", request->what.current_only,
                    "Of equations with alternatives only the one that holds at the point");
  command->add_flag("--keep-given", request->what.keep_given,
                    "Given variables stay variables, held by their bounds");
  command->add_flag("--linearise-procedures", request->what.linearise_procedures,
                    "First-order expansions at the point for routines without a formula");
  command->add_flag("--json", request->json,
                    "One JSON document: equations, variables, and the files written");
  command->callback([=, &options, &run] { run = [=, &options] { return Export(options, *request); }; });
}

}  // namespace quiver
