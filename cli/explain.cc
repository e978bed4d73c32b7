// SPDX-License-Identifier: Apache-2.0
// quiver explain MODEL: what a model computes, in words and equations; --markdown is its page in docs/models.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <map>
#include <sstream>

#include "cli/command.h"
#include "cli/explanations.h"
#include "cli/formula_listing.h"
#include "cli/json_output.h"
#include "runtime/contract/error.h"
#include "runtime/io/suggest.h"

namespace quiver {
namespace {

// Arguments as one types them.
std::string CommandLine(const std::vector<std::string>& arguments) {
  std::string line = "quiver";
  for (const std::string& argument : arguments) {
    const bool plain = argument.find_first_of(" ()'\"*?$&;|<>") == std::string::npos;
    line += plain ? " " + argument : fmt::format(" \"{}\"", argument);
  }
  return line;
}

std::string Wrapped(const std::string& text, size_t indent) {
  constexpr size_t kWidth = 100;
  std::istringstream words(text);
  std::string wrapped, line(indent, ' ');
  for (std::string word; words >> word;) {
    if (line.size() > indent && line.size() + 1 + word.size() > kWidth) {
      wrapped += line + '\n';
      line.assign(indent, ' ');
    }
    if (line.size() > indent) line += ' ';
    line += word;
  }
  return wrapped + line + '\n';
}

const std::vector<std::string>& ShownOptions(const Explanation& about) {
  return about.listing.empty() ? about.example : about.listing;
}

// The instance whose equations are shown: that of the example, or of the text's own choice of options.
DirectModel ShownModel(const Explanation& about) {
  DirectModel direct;
  direct.model = about.model;
  const std::vector<std::string>& options = ShownOptions(about);
  for (size_t i = 0; i + 1 < options.size(); ++i) {
    if (options[i] == "--set") direct.set.push_back(options[i + 1]);
    if (options[i] == "--components") direct.components = options[i + 1];
  }
  return direct;
}

struct Page {
  const Explanation* about;
  std::string identity;
  std::map<std::string, PropertyDescription> properties;  // by name
  std::vector<PropertyDescription> options;               // that choose between texts
  std::string formulas;

  std::string UnitOf(const std::string& name) const {
    const auto found = properties.find(name);
    return found == properties.end() ? "" : found->second.unit;
  }
};

Page PageOf(const ModelSource& library, const Explanation& about) {
  Page page;
  page.about = &about;
  const DirectModel direct = ShownModel(about);
  CaseRun run(library, direct.Case(), false);
  Instance& instance = *run.flowsheet().blocks().front();
  page.identity = library.Find(about.model)->identity;
  for (PropertyDescription& property : DescribeProperties(instance)) {
    if (!property.choices.empty() && std::string_view(property.kind) == "parameter")
      page.options.push_back(property);
    page.properties.emplace(property.name, std::move(property));
  }
  page.formulas = FormulaListing(about.model, instance);
  return page;
}

std::string NameTable(const Page& page, const std::vector<std::pair<std::string, std::string>>& names) {
  std::vector<std::vector<std::string>> rows;
  for (const auto& [name, words] : names) rows.push_back({"  " + name, page.UnitOf(name), words});
  return Table(rows, {false, false, false});
}

std::string OptionTable(const Page& page) {
  std::vector<std::vector<std::string>> rows;
  for (const PropertyDescription& option : page.options)
    rows.push_back({"  " + option.name, fmt::format("{}", fmt::join(option.choices, " | "))});
  return Table(rows, {false, false});
}

std::string PlainPage(const Page& page) {
  const Explanation& about = *page.about;
  std::string text = fmt::format("{}: {}\n\n{}", Bold(about.model), about.title, Wrapped(about.computes, 0));
  text += fmt::format("\n{}\n{}", Bold("Inputs"), NameTable(page, about.inputs));
  text += fmt::format("\n{}\n{}", Bold("Outputs"), NameTable(page, about.outputs));
  if (!page.options.empty()) text += fmt::format("\n{}\n{}", Bold("Options"), OptionTable(page));
  text += fmt::format("\n{}\n{}", Bold("Equations"), page.formulas);
  text += fmt::format("\n{}\n{}", Bold("Source"), Wrapped(about.source, 2));
  text += fmt::format("\n{}\n{}", Bold("Validity"), Wrapped(about.valid, 2));
  return text + fmt::format("\n{}\n  {}\n", Bold("Example"), CommandLine(about.example));
}

std::string MarkdownTable(const Page& page, const std::vector<std::pair<std::string, std::string>>& names) {
  std::string text = "| name | unit | |\n|---|---|---|\n";
  for (const auto& [name, words] : names)
    text += fmt::format("| `{}` | {} | {} |\n", name, page.UnitOf(name), words);
  return text;
}

std::string MarkdownPage(const Page& page) {
  const Explanation& about = *page.about;
  std::string text = fmt::format("# {}: {}\n\n{}\n", about.model, about.title, Wrapped(about.computes, 0));
  text += fmt::format("## Inputs\n\n{}\n", MarkdownTable(page, about.inputs));
  text += fmt::format("## Outputs\n\n{}\n", MarkdownTable(page, about.outputs));
  if (!page.options.empty()) {
    text += "## Options\n\n| name | one of |\n|---|---|\n";
    for (const PropertyDescription& option : page.options)
      text += fmt::format("| `{}` | {} |\n", option.name, fmt::join(option.choices, ", "));
    text += '\n';
  }
  const std::vector<std::string>& shown = ShownOptions(about);
  std::string choice;
  for (size_t i = 0; i + 1 < shown.size(); ++i)
    if (shown[i] == "--set") choice += fmt::format("{}`{}`", choice.empty() ? "" : ", ", shown[i + 1]);
  text += fmt::format("## Equations\n\n{}```\n{}```\n\n",
                      choice.empty() ? "" : fmt::format("Here with {}.\n\n", choice), page.formulas);
  text +=
      fmt::format("## Source\n\n{}\n## Validity\n\n{}\n", Wrapped(about.source, 0), Wrapped(about.valid, 0));
  return text + fmt::format("## Example\n\n    {}\n", CommandLine(about.example));
}

Json PageJson(const Page& page) {
  const Explanation& about = *page.about;
  const auto names = [&](const std::vector<std::pair<std::string, std::string>>& list) {
    Json all = Json::array();
    for (const auto& [name, words] : list)
      all.push_back({{"name", name}, {"unit", page.UnitOf(name)}, {"about", words}});
    return all;
  };
  Json options = Json::object();
  for (const PropertyDescription& option : page.options) options[option.name] = option.choices;
  return {{"model", about.model},
          {"identity", page.identity},
          {"field", about.field},
          {"title", about.title},
          {"computes", about.computes},
          {"inputs", names(about.inputs)},
          {"outputs", names(about.outputs)},
          {"options", options},
          {"source", about.source},
          {"valid", about.valid},
          {"example", about.example}};
}

int PrintIndex(bool markdown, bool json) {
  Json rows = Json::array();
  std::string field, text = markdown ? "# The models\n\nWritten by the program: `make docs`.\n" : "";
  size_t width = 0;
  for (const Explanation& one : AllExplanations()) width = std::max(width, one.model.size());
  for (const Explanation& one : AllExplanations()) {
    rows.push_back({{"model", one.model}, {"field", one.field}, {"title", one.title}});
    if (one.field != field) {
      field = one.field;
      text += markdown ? fmt::format("\n## {}\n\n", field)
                       : fmt::format("{}{}\n", text.empty() ? "" : "\n", Bold(field));
    }
    text += markdown ? fmt::format("- [{}]({}.md): {}\n", one.model, one.model, one.title)
                     : fmt::format("  {:<{}}  {}\n", one.model, width, one.title);
  }
  if (json)
    Print(rows);
  else
    fmt::print("{}", text);
  return 0;
}

int Explain(const ProgramOptions& options, const std::string& model, bool markdown, bool json) {
  if (model.empty()) return PrintIndex(markdown, json);
  const ModelSource& library = options.Libraries();
  const Explanation* about = FindExplanation(model);
  if (!about) {
    if (!library.Find(model))
      throw Error(fmt::format("there is no model {}: {}", model, Suggest(model, library.ModelNames())));
    fmt::print(
        stderr,
        "quiver: {} has no explanation. quiver show {} and quiver equations {} tell what it declares.\n",
        model, model, model);
    return 1;
  }
  if (!library.Find(about->model)) throw Error(fmt::format("this library has no model {}.", about->model));
  const Page page = PageOf(library, *about);
  if (json)
    Print(PageJson(page));
  else
    fmt::print("{}", markdown ? MarkdownPage(page) : PlainPage(page));
  return 0;
}

}  // namespace

void AddExplainCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command = program.add_subcommand(
      "explain", "What a model computes: words, equations, source, validity, an example");
  const auto model = std::make_shared<std::string>();
  const auto markdown = std::make_shared<bool>(false), json = std::make_shared<bool>(false);
  command->add_option("MODEL", *model, "Name of the model; without it all models are listed");
  command->add_flag("--markdown", *markdown, "As a page of docs/models");
  command->add_flag("--json", *json, "One JSON document on standard output");
  command->callback(
      [=, &options, &run] { run = [=, &options] { return Explain(options, *model, *markdown, *json); }; });
}

}  // namespace quiver
