// SPDX-License-Identifier: Apache-2.0
// The command quiver.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#endif

#include "cli/command.h"
#include "cli/command_tree.h"
#include "cli/completion.h"
#include "runtime/contract/error.h"
#include "runtime/contract/last_words.h"

namespace {
// The same bytes on every system: lines end in "\n", letters are UTF-8.
void PrepareOutput() {
#if defined(_WIN32)
  _setmode(1, _O_BINARY);
  _setmode(2, _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
#endif
}
}  // namespace

int main(int argc, char** argv) try {
  PrepareOutput();
  quiver::NameRoutineAtDeath();
  CLI::App program("Process-engineering models as equations, and the host that solves them.", "quiver");
  quiver::ProgramOptions options;
  quiver::Run run;
  program.set_version_flag("--version", std::string("quiver ") + quiver::Version());
  program.allow_windows_style_options(false);  // "/cases/relief.yaml" is a file on every system
  program.require_subcommand(1);
  program
      .add_option("--library", options.model_libraries, "One more model library; may be given several times")
      ->type_name("FILE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  program.add_flag("--bare", options.bare, "Without the model libraries that are installed");
  program.add_option("--routines", options.routine_folders, "Folder of routine libraries, searched first")
      ->type_name("DIR");
  quiver::AddListCommand(program, options, run);
  quiver::AddShowCommand(program, options, run);
  quiver::AddEquationsCommand(program, options, run);
  quiver::AddSimulateCommand(program, options, run);
  quiver::AddSolveCommand(program, options, run);
  quiver::AddDiagnoseCommand(program, options, run);
  quiver::AddExplainCommand(program, options, run);
  quiver::AddExportCommand(program, options, run);
  quiver::AddSweepCommand(program, options, run);
  quiver::AddMapCommand(program, options, run);
  quiver::AddReportCommand(program, options, run);
  quiver::AddPropsCommand(program, options, run);
  quiver::AddBenchCommand(program, options, run);
  quiver::AddHelpCommands(program, run);
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  if (arguments.size() == 2 && arguments[0] == "__complete") {
    for (const std::string& one : quiver::CandidatesFor(program, options, arguments[1]))
      fmt::print("{}\n", one);
    return 0;
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const std::string unknown = error.get_exit_code() == 0 ? "" : quiver::UnknownWord(program, arguments);
    if (unknown.empty()) return program.exit(error) == 0 ? 0 : 2;
    fmt::print(stderr, "quiver: {}\nquiver --help and quiver help tell more.\n", unknown);
    return 2;
  }
  try {
    return run();
  } catch (const quiver::CaseError& error) {
    fmt::print(stderr, "{}\n", error.what());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    fmt::print(stderr, "quiver: {}\n", error.what());
  }
  return 2;
} catch (const std::bad_alloc&) {
  std::fputs("quiver: out of memory. Solve a smaller case or free memory.\n", stderr);
  return 70;  // as where a model library asks in vain
}
