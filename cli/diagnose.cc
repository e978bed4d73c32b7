// SPDX-License-Identifier: Apache-2.0
// quiver diagnose CASE, or quiver diagnose MODEL --set ... --fix ...: why a case does not solve, or how sound it is.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/cases/case_run.h"
#include "runtime/diagnosis/diagnosis.h"

namespace quiver {
namespace {

constexpr size_t kWidth = 110;  // of a line of text
constexpr size_t kIndent = 9;

struct SeverityStyle {
  const char* name;
  const char* colour;  // of a terminal
};
SeverityStyle StyleOf(Severity severity) {
  switch (severity) {
    case Severity::kFault:
      return {"fault", "31"};
    case Severity::kWarning:
      return {"warning", "33"};
    case Severity::kNote:
      break;
  }
  return {"note", "36"};
}

std::string Coloured(const std::string& text, const char* colour) {
  return ColourWanted() ? fmt::format("\x1b[{}m{}\x1b[0m", colour, text) : text;
}

// Broken at blanks; a longer word stands alone.
std::string Wrapped(const std::string& text) {
  std::string lines, line;
  const auto flush = [&] {
    if (!line.empty()) lines += std::string(kIndent, ' ') + line + '\n';
    line.clear();
  };
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(' ', at), text.size());
    const std::string word = text.substr(at, end - at);
    if (!line.empty() && kIndent + line.size() + 1 + word.size() > kWidth) flush();
    if (!word.empty()) line += (line.empty() ? "" : " ") + word;
    at = end + 1;
  }
  flush();
  return lines;
}

void PrintFinding(const Finding& finding) {
  const SeverityStyle style = StyleOf(finding.severity);
  const std::string head = fmt::format("{:<{}}", style.name, kIndent - 1);
  fmt::print("{} {}{}{}\n", Coloured(head, style.colour), finding.topic, finding.where.empty() ? "" : ": ",
             Bold(finding.where));
  fmt::print("{}", Wrapped(finding.what + (finding.remedy.empty() ? "" : " " + finding.remedy)));
}

void PrintDiagnosis(CaseRun& run, const Diagnosis& d) {
  if (!run.description().title.empty()) fmt::print("{}\n", Bold(run.description().title));
  const auto counted = [](int count, const char* noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
  };
  const StructureReport& s = d.structure;
  fmt::print("Structure: {}, {}, {}", counted(s.equations, "equation"), counted(s.free_variables, "unknown"),
             s.degrees_of_freedom == 1 ? "1 degree of freedom"
                                       : fmt::format("{} degrees of freedom", s.degrees_of_freedom));
  if (d.solved)
    fmt::print("; {}, the largest of {}", counted(d.solved->blocks, "block"),
               counted(d.solved->largest_block, "equation"));
  fmt::print(".\nUnits: {} checked", counted(d.formulas_checked, "formula"));
  if (const int without = d.inferred_dimensions + d.open_dimensions; without > 0)
    fmt::print("; of {} without a unit, the equations settle the dimension of {}",
               counted(without, "variable"), d.inferred_dimensions);
  fmt::print(".\n");
  if (d.solved && d.solved->outcome == SolveOutcome::kConverged)
    fmt::print("Solve: converged in {}, largest scaled residual {:.1e}.\n",
               counted(d.solved->iterations, "iteration"), d.solved->largest_residual);
  else if (d.solved)
    fmt::print("Solve: {} of {} failed, by {}.\n", d.solved->blocks_failed,
               counted(d.solved->blocks, "block"),
               counted(static_cast<int>(d.solved->rungs.size()), "method"));
  for (const Severity severity : {Severity::kFault, Severity::kWarning, Severity::kNote}) {
    bool first = true;
    for (const Finding& finding : d.findings) {
      if (finding.severity != severity) continue;
      if (first) fmt::print("\n");
      first = false;
      PrintFinding(finding);
    }
  }
  if (d.findings.empty()) fmt::print("\nNothing to remark.\n");
}

Json FindingJson(const Finding& finding) {
  return {{"severity", StyleOf(finding.severity).name},
          {"topic", finding.topic},
          {"where", TextOrNull(finding.where.empty() ? nullptr : finding.where.c_str())},
          {"what", finding.what},
          {"remedy", TextOrNull(finding.remedy.empty() ? nullptr : finding.remedy.c_str())},
          {"equations", finding.equations},
          {"variables", finding.variables}};
}

Json PartsJson(const std::vector<StructuralPart>& parts, EquationSystem& system) {
  Json list = Json::array();
  for (const StructuralPart& part : parts) {
    Json equations = Json::array(), variables = Json::array();
    for (const int e : part.rows) equations.push_back(system.EquationName(e));
    for (const int v : part.columns) variables.push_back(system.VariableName(v));
    list.push_back({{"equations", equations}, {"variables", variables}});
  }
  return list;
}

Json UndefinedJson(const Diagnosis& d, EquationSystem& system) {
  if (!d.first_undefined) return nullptr;
  const RecordedFault& fault = *d.first_undefined;
  Json values = Json::object();
  const std::span<const int> variables = system.ResidualVariables(fault.equation);
  for (size_t k = 0; k < variables.size(); ++k)
    values[system.VariableName(variables[k])] = NumberOrNull(fault.values[k]);
  Json moved = nullptr;
  if (fault.moved >= 0)
    moved = {
        {"variable", system.VariableName(fault.moved)}, {"from", fault.from}, {"to", NumberOrNull(fault.to)}};
  return {{"equation", system.EquationName(fault.equation)},
          {"reason", fault.reason},
          {"evaluation", fault.evaluation},
          {"values", values},
          {"moved", moved}};
}

void PrintJson(CaseRun& run, const Diagnosis& d) {
  EquationSystem& system = run.System();
  Json document = {
      {"status", d.HasFaults() ? "faults" : "sound"},
      {"structure",
       {{"equations", d.structure.equations},
        {"unknowns", d.structure.free_variables},
        {"degrees_of_freedom", d.structure.degrees_of_freedom},
        {"well_posed", d.structure.is_well_posed},
        {"over_determined", PartsJson(d.structure.over_determined, system)},
        {"under_determined", PartsJson(d.structure.under_determined, system)}}},
      {"units",
       {{"formulas", d.formulas_checked}, {"inferred", d.inferred_dimensions}, {"open", d.open_dimensions}}},
      {"solve", nullptr},
      {"first_undefined", UndefinedJson(d, system)},
      {"findings", Json::array()}};
  if (d.solved) {
    document["structure"]["blocks"] = d.solved->blocks;
    document["structure"]["largest_block"] = d.solved->largest_block;
    document["solve"] = {{"status", d.solved->outcome == SolveOutcome::kConverged ? "converged" : "failed"},
                         {"iterations", d.solved->iterations},
                         {"residual", NumberOrNull(d.solved->largest_residual)},
                         {"blocks_failed", d.solved->blocks_failed},
                         {"blocks_skipped", d.solved->blocks_skipped}};
  }
  for (const Finding& finding : d.findings) document["findings"].push_back(FindingJson(finding));
  Print(document);
}

}  // namespace

void AddDiagnoseCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command = program.add_subcommand(
      "diagnose", "Says why a case does not solve: structure, units, scaling, and what fails first");
  const auto direct = std::make_shared<DirectModel>();
  const auto json = std::make_shared<bool>(false);
  const auto without_solving = std::make_shared<bool>(false);
  command->add_option("CASE", direct->model, "A case file, or the name of a model")->required();
  AddDirectOptions(*command, *direct, true);
  const auto save_state = std::make_shared<std::string>(), start_from = std::make_shared<std::string>();
  AddStateOptions(*command, *save_state, *start_from);
  command->add_flag("--no-solve", *without_solving, "Only what can be said before solving");
  command->add_flag("--json", *json, "One JSON document on standard output");
  command->callback([=, &options, &run] {
    run = [=, &options] {
      CaseRun built = direct->FileOrModel(options.Libraries());
      if (!start_from->empty()) built.StartFrom(ReadState(*start_from));
      EquationSystem& system = built.System();
      DiagnosisOptions wanted;
      wanted.solve = !*without_solving;
      wanted.ladder.nearby = built.NearbyCases();
      const Diagnosis diagnosis = Diagnose(system, system.StartValues(), wanted);
      if (!save_state->empty()) {
        system.Store(diagnosis.x);
        WriteState(*save_state,
                   built.State(diagnosis.solved && diagnosis.solved->outcome == SolveOutcome::kConverged));
      }
      *json ? PrintJson(built, diagnosis) : PrintDiagnosis(built, diagnosis);
      return diagnosis.HasFaults() ? 1 : 0;
    };
  });
}

}  // namespace quiver
