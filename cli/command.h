// SPDX-License-Identifier: Apache-2.0
// What the commands share. A command is a function that adds itself to the program and says what running it returns:
// 0 done; 1 done, and the answer is "no"; 2 the request was wrong.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/cases/case_run.h"
#include "runtime/cases/installation.h"
#include "runtime/io/case_file.h"

namespace CLI {
class App;
}

namespace quiver {

// Options before the command: which libraries.
struct ProgramOptions {
  std::vector<std::string> model_libraries;
  bool bare = false;
  std::vector<std::string> routine_folders;

  const ModelLibraries& Libraries() const { return UseLibraries({model_libraries, bare, routine_folders}); }
};

using Run = std::function<int()>;

// Each adds its command to the program; running it sets `run`.
void AddBenchCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddDiagnoseCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddListCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddShowCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddEquationsCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddExplainCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddExportCommand(CLI::App& program, const ProgramOptions& options, Run& run);
// Help, manual page and completion; after all other commands, which get their examples here.
void AddHelpCommands(CLI::App& program, Run& run);
void AddMapCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddPropsCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddReportCommand(CLI::App& program, const ProgramOptions& options, Run& run);
// The curves of a solved case below each other in one SVG file.
void WritePlots(CaseRun& run, const std::string& file);
void AddSimulateCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddSolveCommand(CLI::App& program, const ProgramOptions& options, Run& run);
void AddSweepCommand(CLI::App& program, const ProgramOptions& options, Run& run);

// One model without a file: MODEL --set NAME=VALUE... --fix NAME=VALUE... --components A,B.
struct DirectModel {
  std::string model;
  std::vector<std::string> set, fix, guess, globals;
  std::string components;

  // A case of one block. Throws CaseError for values that cannot be read.
  CaseFile Case() const;
  // `model` may also name a case file.
  CaseFile Description(const ModelSource& library, bool& from_file) const;
  CaseRun FileOrModel(const ModelSource& library) const;
};
void AddStateOptions(CLI::App& command, std::string& save_state, std::string& start_from);
void AddDirectOptions(CLI::App& command, DirectModel& direct, bool solving);

// A command on one model: builds the instance and hands it to the printer.
using PrintModel = std::function<void(CaseRun& built, const QV_ModelRow& model, bool json)>;
void AddModelCommand(CLI::App& program, const ProgramOptions& options, Run& run, const char* name,
                     const char* about, PrintModel print);

// ---- Output.
bool ColourWanted();  // standard output is a terminal and the user has not asked for none
std::string Bold(const std::string& text);
std::string Number(double value);  // for people: at most seven digits
// Columns padded to the widest entry; numbers to the right where `right` says so.
std::string Table(const std::vector<std::vector<std::string>>& rows, const std::vector<bool>& right);

}  // namespace quiver
