// SPDX-License-Identifier: Apache-2.0
#include "cli/command.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <utility>

#if defined(_WIN32)
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

#include "runtime/contract/error.h"
#include "runtime/io/case_error.h"
#include "runtime/io/path_text.h"

namespace quiver {

CaseFile DirectModel::Case() const {
  CaseFile description;
  description.name = model;
  CaseBlock block;
  block.name = model;
  block.model = model;
  const auto read = [](const std::vector<std::string>& texts, const char* option,
                       std::vector<Assignment>& into) {
    for (const std::string& text : texts) {
      into.push_back(ReadAssignment(text, option));
      // A place within an argument helps nobody: the model and the name do.
      into.back().location = into.back().value.location = {};
    }
  };
  read(set, "--set", block.set);
  read(fix, "--fix", block.fix);
  read(guess, "--guess", block.guess);
  read(globals, "--global", description.globals);
  description.blocks.push_back(std::move(block));
  for (size_t start = 0; start < components.size();) {
    const size_t end = std::min(components.find(',', start), components.size());
    std::string name = components.substr(start, end - start);
    name.erase(0, name.find_first_not_of(' '));
    name.erase(name.find_last_not_of(' ') + 1);
    if (!name.empty()) description.components.push_back(name);
    start = end + 1;
  }
  return description;
}

namespace {
bool LooksLikeFile(const std::string& target) {
  const std::string extension = PathOf(target).extension().string();
  return extension == ".yaml" || extension == ".yml" || extension == ".json" ||
         std::filesystem::exists(PathOf(target));
}
}  // namespace

CaseFile DirectModel::Description(const ModelSource& library, bool& from_file) const {
  from_file = !library.Find(model) && LooksLikeFile(model);
  if (!from_file) return Case();
  const std::pair<const char*, const std::vector<std::string>*> lists[] = {
      {"--set", &set}, {"--global", &globals}, {"--fix", &fix}, {"--guess", &guess}};
  for (const auto& [option, texts] : lists)
    if (!texts->empty())
      throw Error(
          fmt::format("{} {}: {} is a case file, which holds such values itself. Write it there; {} is for a "
                      "model that is named in place of a file.",
                      option, QuoteForMessage(texts->front()), model, option));
  if (!components.empty())
    throw Error(fmt::format("--components: {} is a case file. Write them there, as components: [{}].", model,
                            components));
  return ReadCaseFile(PathOf(model));
}

CaseRun DirectModel::FileOrModel(const ModelSource& library) const {
  bool from_file = false;
  CaseFile description = Description(library, from_file);
  return CaseRun(library, std::move(description), from_file);
}

void AddDirectOptions(CLI::App& command, DirectModel& direct, bool solving) {
  const auto one_each = [](CLI::Option* option) {
    option->type_name("NAME=VALUE")
        ->take_all()
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  one_each(command.add_option("--set", direct.set,
                              "Option or parameter, read before set-up; a unit may follow the number"));
  one_each(command.add_option("--global", direct.globals, "Value of a global parameter"));
  if (solving) {
    one_each(
        command.add_option("--fix", direct.fix, "Variable with a given value, such as \"P_DROP=6 bar\""));
    one_each(command.add_option("--guess", direct.guess, "Value that a computed variable starts from"));
  }
  command.add_option("--components", direct.components, "Names of the components, separated by commas")
      ->type_name("A,B");
}

void AddStateOptions(CLI::App& command, std::string& save_state, std::string& start_from) {
  command
      .add_option("--save-state", save_state,
                  "Writes all values to a file: the solution, or the best state reached")
      ->type_name("FILE");
  command.add_option("--start-from", start_from, "Starts from the values of such a file")->type_name("FILE");
}

void AddModelCommand(CLI::App& program, const ProgramOptions& options, Run& run, const char* name,
                     const char* about, PrintModel print) {
  CLI::App* command = program.add_subcommand(name, about);
  const auto direct = std::make_shared<DirectModel>();
  const auto json = std::make_shared<bool>(false);
  command->add_option("MODEL", direct->model, "Name of the model")->required();
  AddDirectOptions(*command, *direct, false);
  command->add_flag("--json", *json, "One JSON document on standard output");
  command->callback([=, &options, &run] {
    run = [=, &options] {
      const ModelSource& library = options.Libraries();
      CaseRun built(library, direct->Case(), false);
      print(built, *library.Find(direct->model), *json);
      return 0;
    };
  });
}

bool ColourWanted() {
  const char* none = std::getenv("NO_COLOR");
  return isatty(1) && !(none && *none);
}

std::string Bold(const std::string& text) { return ColourWanted() ? "\x1b[1m" + text + "\x1b[0m" : text; }

std::string Number(double value) { return fmt::format("{:.7g}", value); }

std::string Table(const std::vector<std::vector<std::string>>& rows, const std::vector<bool>& right) {
  std::vector<size_t> widths(right.size(), 0);
  for (const auto& row : rows)
    for (size_t k = 0; k < row.size(); ++k) widths[k] = std::max(widths[k], row[k].size());
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (size_t k = 0; k < row.size(); ++k) {
      if (k) line += "  ";
      line += right[k] ? fmt::format("{:>{}}", row[k], widths[k]) : fmt::format("{:<{}}", row[k], widths[k]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace quiver
