// SPDX-License-Identifier: Apache-2.0
#include "cli/formula_listing.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/command.h"

namespace quiver {
namespace {

std::string ConditionText(const ConditionDescription& condition) {
  if (condition.otherwise) return "otherwise:";
  return fmt::format("{}if {} ({}):", condition.branch ? "or " : "", FormulaOf(condition), condition.label);
}

void AppendFormulas(const std::string& title, const EquationsDescription& all, std::string& text) {
  text += fmt::format("{}: {} equation{}\n\n", Bold(title), all.count, all.count == 1 ? "" : "s");
  size_t name_width = 0;
  for (const EquationDescription& e : all.equations) name_width = std::max(name_width, e.name.size());
  std::vector<std::string> open;  // conditions under which the last equation stood, outermost first
  int open_group = 0;
  for (const EquationDescription& e : all.equations) {
    std::vector<std::string> conditions;
    for (auto c = e.conditions.rbegin(); c != e.conditions.rend(); ++c)
      conditions.push_back(ConditionText(*c));
    size_t same = 0;
    while (e.group == open_group && same < conditions.size() && same < open.size() &&
           conditions[same] == open[same])
      ++same;
    for (size_t k = same; k < conditions.size(); ++k)
      text += fmt::format("{:{}}{}\n", "", 2 * k + 9, conditions[k]);
    open = conditions;
    open_group = e.group;
    text += fmt::format("{:>4}  {:{}}   {:<{}}  {}\n", e.index, "", 2 * conditions.size(), e.name, name_width,
                        FormulaOf(e));
  }
}

// Of the sub-models that exist under the options chosen.
void AppendSubModels(const std::string& title, const Instance& owner, std::string& text) {
  for (Instance* part : SubInstances(owner)) {
    const EquationsDescription all = DescribeEquations(*part);
    const std::string name = fmt::format("{}.{}", title, PartName(*part));
    if (all.count > 0) {
      text += '\n';
      AppendFormulas(name, all, text);
    }
    AppendSubModels(name, *part, text);
  }
}

}  // namespace

std::string PartName(const Instance& part) {
  const std::string name = InstanceName(part);
  return name.substr(name.rfind('.') + 1);
}

std::string FormulaListing(const std::string& title, Instance& instance) {
  std::string text;
  AppendFormulas(title, DescribeEquations(instance), text);
  AppendSubModels(title, instance, text);
  return text;
}

}  // namespace quiver
