// SPDX-License-Identifier: Apache-2.0
#include "cli/command_tree.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "runtime/io/suggest.h"

namespace quiver {
namespace {

// "TEXT:{models,procedures}" is a type's name with the values that a check allows.
std::vector<std::string> ChoicesIn(const std::string& type) {
  std::vector<std::string> choices;
  const size_t open = type.find('{'), close = type.find('}');
  if (open == std::string::npos || close == std::string::npos) return choices;
  for (size_t start = open + 1; start < close;) {
    const size_t end = std::min(type.find(',', start), close);
    choices.push_back(type.substr(start, end - start));
    start = end + 1;
  }
  return choices;
}

OptionText TextOf(const CLI::Option& option) {
  OptionText text;
  text.positional = option.get_positional();
  text.name = text.positional                ? option.get_name(true, false)
              : !option.get_lnames().empty() ? "--" + option.get_lnames().front()
                                             : "-" + option.get_snames().front();
  if (!option.get_lnames().empty() && !option.get_snames().empty())
    text.letter = "-" + option.get_snames().front();
  text.about = option.get_description();
  const std::string type = option.get_type_name();
  text.choices = ChoicesIn(type);
  if (option.get_items_expected_max() > 0 && !text.positional)
    text.value = text.choices.empty() ? type : fmt::format("{}", fmt::join(text.choices, "|"));
  text.required = option.get_required();
  text.repeated = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return text;
}

}  // namespace

const OptionText* CommandText::Option(std::string_view option) const {
  for (const OptionText& one : options)
    if (!one.positional && (one.name == option || one.letter == option)) return &one;
  return nullptr;
}

CommandText TextOf(const CLI::App& command) {
  CommandText text;
  text.name = command.get_name();
  text.about = command.get_description();
  for (const CLI::Option* option : command.get_options()) text.options.push_back(TextOf(*option));
  std::stable_partition(text.options.begin(), text.options.end(),
                        [](const OptionText& option) { return option.positional; });
  return text;
}

std::vector<CommandText> CommandsOf(const CLI::App& program) {
  std::vector<CommandText> commands;
  for (const CLI::App* command :
       program.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
    commands.push_back(TextOf(*command));
  return commands;
}

std::string UnknownWord(const CLI::App& program, const std::vector<std::string>& arguments) {
  const CommandText top = TextOf(program);
  const std::vector<CommandText> commands = CommandsOf(program);
  const CommandText* within = &top;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string word = arguments[i].substr(0, arguments[i].find('='));
    if (word.starts_with("--") && word.size() > 2) {
      const OptionText* option = within->Option(word);
      if (option) {
        i += !option->value.empty() && word == arguments[i];
        continue;
      }
      std::vector<std::string> known;
      for (const OptionText& one : within->options)
        if (!one.positional) known.push_back(one.name);
      return fmt::format("{} has no option {}: {}", within == &top ? "quiver" : "quiver " + within->name,
                         word, Suggest(word, known));
    }
    if (arguments[i].starts_with('-')) {
      const OptionText* option = within->Option(arguments[i]);
      i += option && !option->value.empty();
      continue;
    }
    if (within != &top) continue;
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const CommandText& command) { return command.name == arguments[i]; });
    if (found == commands.end()) {
      std::vector<std::string> known;
      for (const CommandText& command : commands) known.push_back(command.name);
      return fmt::format("there is no command {}: {}", arguments[i], Suggest(arguments[i], known));
    }
    within = &*found;
  }
  return "";
}

}  // namespace quiver
