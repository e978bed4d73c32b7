// SPDX-License-Identifier: Apache-2.0
// The commands with their options, read from the program itself: what the manual page, the completion and the suggestions for
// misspelt words know.
//
//   for (const CommandText& command : CommandsOf(program)) fmt::print("{}  {}\n", command.name, command.about);
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace quiver {

struct OptionText {
  std::string name;    // "--fix", or the word of a positional argument, "CASE"
  std::string letter;  // "-o"; empty where there is none
  std::string value;   // "NAME=VALUE"; empty for a flag
  std::string about;
  std::vector<std::string> choices;  // that the value must be one of
  bool positional = false, required = false, repeated = false;
};

struct CommandText {
  std::string name, about;
  std::vector<OptionText> options;                          // positional arguments first
  const OptionText* Option(std::string_view option) const;  // null: none
};

CommandText TextOf(const CLI::App& command);
std::vector<CommandText> CommandsOf(const CLI::App& program);  // in the order of the help

// What could have been meant by a command or an option that does not exist: a sentence, or nothing where all words are known.
std::string UnknownWord(const CLI::App& program, const std::vector<std::string>& arguments);

}  // namespace quiver
