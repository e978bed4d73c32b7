// SPDX-License-Identifier: Apache-2.0
// quiver help [TOPIC], quiver man, quiver completion SHELL: all read the tree of commands.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "cli/command.h"
#include "cli/command_tree.h"
#include "cli/completion.h"
#include "cli/help_texts.h"
#include "runtime/contract/error.h"
#include "runtime/io/suggest.h"

namespace quiver {
namespace {

// Text of a manual page: a point or quote at the start of a line, and backslashes, mean something to its formatter.
std::string Roff(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) escaped += "\\&";
    if (c == '\\')
      escaped += "\\e";
    else if (c == '-')
      escaped += "\\-";
    else
      escaped += c;
  }
  return escaped;
}

std::string RoffOptions(const CommandText& command) {
  std::string text;
  for (const OptionText& option : command.options) {
    const std::string value = option.value.empty() ? "" : fmt::format(" \\fI{}\\fR", Roff(option.value));
    const std::string letter = option.letter.empty() ? "" : fmt::format("\\fB{}\\fR, ", Roff(option.letter));
    text += fmt::format(".TP\n{}\\fB{}\\fR{}\n{}{}\n", letter, Roff(option.name), value, Roff(option.about),
                        option.repeated ? " May be given several times." : "");
  }
  return text;
}

std::string ManualPage(const CLI::App& program) {
  const CommandText top = TextOf(program);
  std::string text = fmt::format(
      ".\\\" Written by quiver man.\n.TH QUIVER 1 \"\" \"quiver {}\" \"User Commands\"\n", Version());
  text += ".SH NAME\nquiver \\- process\\-engineering models as equations, and the host that solves them\n";
  text += ".SH SYNOPSIS\n.B quiver\n[\\fIOPTION\\fR]... \\fICOMMAND\\fR [\\fIARGUMENT\\fR]...\n";
  text += fmt::format(".SH DESCRIPTION\n{}\n", Roff(top.about));
  text += fmt::format(".SH OPTIONS\n{}.SH COMMANDS\n", RoffOptions(top));
  for (const CommandText& command : CommandsOf(program)) {
    std::string usage;
    for (const OptionText& option : command.options)
      if (option.positional)
        usage += option.required ? fmt::format(" \\fI{}\\fR", Roff(option.name))
                                 : fmt::format(" [\\fI{}\\fR]", Roff(option.name));
    text += fmt::format(".SS \"quiver {}{}\"\n{}.\n{}", Roff(command.name), usage, Roff(command.about),
                        RoffOptions(command));
    for (const HelpExample& example : HelpExamples())
      if (command.name == example.command)
        text += fmt::format(".PP\nExample: {}\n.PP\n.nf\n.RS 4\n{}\n.RE\n.fi\n", Roff(example.about),
                            Roff(example.line));
  }
  for (const HelpTopic& topic : HelpTopics()) {
    std::string heading = topic.about;
    for (char& c : heading) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    text += fmt::format(".SH \"{}\"\n.nf\n{}.fi\n", Roff(heading), Roff(topic.text));
  }
  return text +
         ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nNo colours and no bold on a terminal, when it is not empty.\n";
}

int Help(const CLI::App& program, const std::string& topic) {
  if (topic.empty()) {
    // Not help(): that is the help of the command in use, which is this one.
    fmt::print("{}\nTopics (quiver help TOPIC):\n",
               program.get_formatter()->make_help(&program, program.get_name(), CLI::AppFormatMode::Normal));
    for (const HelpTopic& one : HelpTopics()) fmt::print("  {:<27} {}\n", one.name, one.about);
    return 0;
  }
  for (const HelpTopic& one : HelpTopics())
    if (topic == one.name) {
      fmt::print("{}", one.text);
      return 0;
    }
  std::vector<std::string> known;
  for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; })) {
    known.push_back(command->get_name());
    if (topic != command->get_name()) continue;
    fmt::print("{}", command->help(program.get_name()));
    return 0;
  }
  for (const HelpTopic& one : HelpTopics()) known.push_back(one.name);
  throw Error(fmt::format("there is no help on {}: {}", topic, Suggest(topic, known)));
}

}  // namespace

void AddHelpCommands(CLI::App& program, Run& run) {
  CLI::App* help = program.add_subcommand("help", "Help on a command or a topic");
  const auto topic = std::make_shared<std::string>();
  help->add_option("TOPIC", *topic, "A command, or a topic; without it all are listed");
  help->callback([=, &program, &run] { run = [=, &program] { return Help(program, *topic); }; });

  CLI::App* man = program.add_subcommand("man", "The manual page, quiver(1)");
  man->callback([&] {
    run = [&] {
      fmt::print("{}", ManualPage(program));
      return 0;
    };
  });

  CLI::App* completion = program.add_subcommand("completion", "The completion script for a shell");
  const auto shell = std::make_shared<std::string>();
  completion->add_option("SHELL", *shell, "bash, zsh or fish")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  completion->callback([=, &run] {
    run = [=] {
      fmt::print("{}", CompletionScript(*shell));
      return 0;
    };
  });
  for (CLI::App* command : program.get_subcommands([](CLI::App*) { return true; }))
    command->footer(ExamplesOf(command->get_name()));
}

}  // namespace quiver
