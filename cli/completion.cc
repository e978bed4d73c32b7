// SPDX-License-Identifier: Apache-2.0
#include "cli/completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "cli/command_tree.h"
#include "runtime/contract/error.h"
#include "runtime/properties/component_data.h"
#include "runtime/system/describe.h"

namespace quiver {
namespace {

// As a shell splits it: blanks between words, quotes and backslashes taken off. The last word is the one being typed, and may
// be empty.
std::vector<std::string> WordsOf(const std::string& line) {
  std::vector<std::string> words(1);
  char quote = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote) {
      if (c == quote)
        quote = 0;
      else
        words.back() += c;
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '\\' && i + 1 < line.size()) {
      words.back() += line[++i];
    } else if (c == ' ' || c == '\t') {
      if (!words.back().empty()) words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  return words;
}

bool IsCaseFile(const std::filesystem::path& path) {
  return path.extension() == ".yaml" || path.extension() == ".yml" || path.extension() == ".json";
}

std::vector<std::string> Files(const std::string& prefix, bool cases_only) {
  const size_t slash = prefix.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : prefix.substr(0, slash + 1);
  std::vector<std::string> files;
  std::error_code absent;
  for (const auto& entry : std::filesystem::directory_iterator(folder.empty() ? "." : folder, absent)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with('.')) continue;
    if (entry.is_directory(absent))
      files.push_back(folder + name + "/");
    else if (!cases_only || IsCaseFile(entry.path()))
      files.push_back(folder + name);
  }
  return files;
}

// A model on the command line, as far as it is typed.
class TypedModel {
 public:
  TypedModel(const ModelSource& library, const std::vector<std::string>& words, const std::string& name) {
    DirectModel direct;
    direct.model = name;
    for (size_t i = 0; i + 2 < words.size(); ++i) {
      if (words[i] == "--set" && words[i + 1].find('=') != std::string::npos)
        direct.set.push_back(words[i + 1]);
      if (words[i] == "--components") direct.components = words[i + 1];
    }
    if (!library.Find(name)) return;
    CaseRun run(library, direct.Case(), false);
    properties_ = DescribeProperties(*run.flowsheet().blocks().front());
  }

  // "NAME=" of all that the option can be given for, or "NAME=value" once the name stands.
  std::vector<std::string> Assignments(const std::string& option, const std::string& typed) const {
    std::vector<std::string> candidates;
    for (const PropertyDescription& property : properties_) {
      const std::string_view kind = property.kind;
      if (kind == "port") candidates.push_back(property.name + ".");
      if (option == "--global" ? kind != "global"
          : option == "--set"  ? kind != "parameter" && kind != "external" && kind != "global"
                               : kind != "variable" && kind != "external")
        continue;
      if (typed.starts_with(property.name + "=")) {
        for (const std::string& choice : property.choices) candidates.push_back(property.name + "=" + choice);
        continue;
      }
      if (!property.array) candidates.push_back(property.name + "=");
      for (const std::string& element : Elements(property)) candidates.push_back(element + "=");
    }
    return candidates;
  }

 private:
  static std::vector<std::string> Elements(const PropertyDescription& property) {
    constexpr size_t kShown = 100;
    std::vector<std::string> elements;
    if (property.array) elements.push_back("");
    for (const std::vector<std::string>& dimension : property.indices) {
      std::vector<std::string> longer;
      for (const std::string& start : elements)
        for (const std::string& index : dimension)
          longer.push_back(start.empty() ? index : start + "," + index);
      elements = std::move(longer);
      if (elements.size() > kShown) return {};
    }
    for (std::string& element : elements) element = property.name + "(" + element + ")";
    return elements;
  }

  std::vector<PropertyDescription> properties_;
};

std::vector<std::string> ComponentNames(const std::string& typed) {
  const std::string before = typed.substr(0, typed.rfind(',') + 1);
  std::vector<std::string> names;
  for (const Component& component : Components()) names.push_back(before + component.name);
  return names;
}

struct Place {
  const CommandText* command = nullptr;  // null: none yet
  std::string option;                    // whose value is being typed
  std::vector<std::string> positional;   // those before
};

Place PlaceOf(const CommandText& top, const std::vector<CommandText>& commands,
              const std::vector<std::string>& words) {
  Place place;
  for (size_t i = 1; i + 1 < words.size(); ++i) {
    const CommandText& within = place.command ? *place.command : top;
    if (words[i].starts_with('-')) {
      const OptionText* option = within.Option(words[i]);
      if (!option || option->value.empty()) continue;
      if (i + 2 == words.size()) place.option = option->name;
      ++i;
      continue;
    }
    if (place.command) {
      place.positional.push_back(words[i]);
      continue;
    }
    for (const CommandText& command : commands)
      if (command.name == words[i]) place.command = &command;
  }
  return place;
}

std::vector<std::string> Values(const ProgramOptions& options, const Place& place, const OptionText& option,
                                const std::vector<std::string>& words) {
  const std::string& typed = words.back();
  if (!option.choices.empty()) return option.choices;
  if (option.value == "NAME=VALUE")
    return place.positional.empty()
               ? std::vector<std::string>()
               : TypedModel(options.Libraries(), words, place.positional[0]).Assignments(option.name, typed);
  if (option.name == "--components") return ComponentNames(typed);
  if (option.name == "MODEL") return options.Libraries().ModelNames();
  if (option.name == "CASE") {
    std::vector<std::string> both = options.Libraries().ModelNames();
    for (std::string& file : Files(typed, true)) both.push_back(std::move(file));
    return both;
  }
  return Files(typed, false);
}

std::vector<std::string> AllCandidates(const CLI::App& program, const ProgramOptions& options,
                                       const std::vector<std::string>& words) {
  const CommandText top = TextOf(program);
  const std::vector<CommandText> commands = CommandsOf(program);
  const Place place = PlaceOf(top, commands, words);
  const CommandText& within = place.command ? *place.command : top;
  if (!place.option.empty()) return Values(options, place, *within.Option(place.option), words);
  std::vector<std::string> candidates;
  if (words.back().starts_with('-')) {
    for (const OptionText& option : within.options)
      if (!option.positional) candidates.push_back(option.name);
    return candidates;
  }
  if (!place.command) {
    for (const CommandText& command : commands) candidates.push_back(command.name);
    return candidates;
  }
  size_t count = 0;
  for (const OptionText& option : within.options)
    if (option.positional && count++ == place.positional.size()) return Values(options, place, option, words);
  return candidates;
}

}  // namespace

std::vector<std::string> CandidatesFor(const CLI::App& program, const ProgramOptions& options,
                                       const std::string& line) {
  const std::vector<std::string> words = WordsOf(line);
  std::vector<std::string> candidates;
  try {
    if (words.size() > 1) candidates = AllCandidates(program, options, words);
  } catch (const std::exception&) {
    return {};  // a line that is half typed is nobody's fault, and a message would land in the middle of it
  }
  std::erase_if(candidates, [&](const std::string& one) { return !one.starts_with(words.back()); });
  std::sort(candidates.begin(), candidates.end());
  candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
  return candidates;
}

std::string CompletionScript(const std::string& shell) {
  if (shell == "bash")
    return R"(# Completion of quiver for bash:  source <(quiver completion bash)
_quiver() {
  local line=${COMP_LINE:0:COMP_POINT} current=${COMP_WORDS[COMP_CWORD]} typed before word
  # bash breaks words at = and (, the program does not: what stands before the break must not be repeated.
  typed=${line##*[[:space:]]}
  case $current in =|:) current= ;; esac
  before=
  [[ $typed == *"$current" ]] && before=${typed%"$current"}
  COMPREPLY=()
  while IFS= read -r word; do
    printf -v word %q "$word"
    COMPREPLY+=("${word#"$before"}")
  done < <("${COMP_WORDS[0]}" __complete "$line" 2>/dev/null)
  if [[ ${#COMPREPLY[@]} -gt 0 && ${COMPREPLY[0]} == *[=./] ]]; then compopt -o nospace 2>/dev/null; fi
}
complete -F _quiver quiver
)";
  if (shell == "zsh")
    return R"(#compdef quiver
# Completion of quiver for zsh:  source <(quiver completion zsh)
_quiver() {
  local -a closed open
  local word
  while IFS= read -r word; do
    case $word in (*[=./]) open+=("$word") ;; (*) closed+=("$word") ;; esac
  done < <("${words[1]}" __complete "${(j: :)words[1,CURRENT-1]} $PREFIX" 2>/dev/null)
  compadd -S '' -a open
  compadd -a closed
}
if [[ $funcstack[1] == _quiver ]]; then _quiver "$@"; else compdef _quiver quiver; fi
)";
  if (shell == "fish")
    return R"(# Completion of quiver for fish:  quiver completion fish | source
complete -c quiver -f -a '(quiver __complete (commandline -cp) 2>/dev/null)'
)";
  throw Error(fmt::format("there is no completion for {}: it can be bash, zsh or fish.", shell));
}

}  // namespace quiver
