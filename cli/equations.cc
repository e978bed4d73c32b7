// SPDX-License-Identifier: Apache-2.0
// quiver equations MODEL: the equations as set up and emitted.
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/cases/case_run.h"

namespace quiver {
namespace {

Json TokenJson(const TokenDescription& token) {
  switch (token.kind) {
    case StreamToken::kOperator:
      return {{"op", token.code}};
    case StreamToken::kVariable:
      return {{"var", token.text}};
    case StreamToken::kReal:
      return {{"real", token.real}};
    case StreamToken::kInteger:
      return {{"int", token.integer}};
    case StreamToken::kText:
      return {{"text", token.text}};
  }
  return nullptr;
}

Json TokensJson(const std::vector<TokenDescription>& tokens) {
  Json all = Json::array();
  for (const TokenDescription& token : tokens) all.push_back(TokenJson(token));
  return all;
}

// The innermost condition, the enclosing one below "outer".
Json ConditionJson(const std::vector<ConditionDescription>& conditions, size_t k) {
  if (k >= conditions.size()) return nullptr;
  const ConditionDescription& c = conditions[k];
  Json one = {{"label", c.otherwise ? Json(nullptr) : Json(c.label)},
              {"branch", c.branch},
              {"tokens", TokensJson(c.tokens)}};
  if (k + 1 < conditions.size()) one["outer"] = ConditionJson(conditions, k + 1);
  return one;
}

Json EquationJson(const EquationDescription& e) {
  Json one = {{"index", e.index}, {"name", e.name}, {"group", e.group}};
  if (e.procedure.empty()) {
    one["kind"] = "ordinary";
    one["tokens"] = TokensJson(e.tokens);
    one["nonzeros"] = e.nonzeros;
  } else {
    one["kind"] = "procedure";
    one["procedure"] = e.procedure;
    one["inputs"] = Json::array();
    for (const TokenDescription& input : e.inputs)
      one["inputs"].push_back(input.kind == StreamToken::kVariable || input.kind == StreamToken::kText
                                  ? Json(input.text)
                              : input.kind == StreamToken::kReal ? Json(input.real)
                                                                 : Json(input.integer));
    one["output"] = e.output;
  }
  one["condition"] = ConditionJson(e.conditions, 0);
  return one;
}

// "FLOW(1)" of a sub-model, as its owner names it.
std::string PartName(const Instance& part) {
  const std::string name = InstanceName(part);
  return name.substr(name.rfind('.') + 1);
}

// Branches indented below their conditions.
void PrintFormulas(const std::string& title, const EquationsDescription& all) {
  fmt::print("{}: {} equation{}\n\n", Bold(title), all.count, all.count == 1 ? "" : "s");
  size_t name_width = 0;
  for (const EquationDescription& e : all.equations) name_width = std::max(name_width, e.name.size());
  std::vector<std::string> open;  // conditions under which the last equation stood, outermost first
  int open_group = 0;
  for (const EquationDescription& e : all.equations) {
    std::vector<std::string> conditions;
    for (auto c = e.conditions.rbegin(); c != e.conditions.rend(); ++c)
      conditions.push_back(
          c->otherwise ? "otherwise:"
                       : fmt::format("{} ({}):", c->branch ? "or if " + FormulaOf(*c) : "if " + FormulaOf(*c),
                                     c->label));
    size_t same = 0;
    while (e.group == open_group && same < conditions.size() && same < open.size() &&
           conditions[same] == open[same])
      ++same;
    for (size_t k = same; k < conditions.size(); ++k) fmt::print("{:{}}{}\n", "", 2 * k + 9, conditions[k]);
    open = conditions;
    open_group = e.group;
    fmt::print("{:>4}  {:{}}   {:<{}}  {}\n", e.index, "", 2 * conditions.size(), e.name, name_width,
               FormulaOf(e));
  }
}

// Of the sub-models that exist under the options chosen, behind their owner's.
void PrintFormulasOfSubModels(const std::string& title, const Instance& owner) {
  for (Instance* part : SubInstances(owner)) {
    const EquationsDescription all = DescribeEquations(*part);
    const std::string name = fmt::format("{}.{}", title, PartName(*part));
    if (all.count > 0) {
      fmt::print("\n");
      PrintFormulas(name, all);
    }
    PrintFormulasOfSubModels(name, *part);
  }
}

Json EquationsJson(Instance& instance) {
  const EquationsDescription all = DescribeEquations(instance);
  Json document = {{"count", all.count}, {"equations", Json::array()}};
  for (const EquationDescription& equation : all.equations)
    document["equations"].push_back(EquationJson(equation));
  return document;
}

void AddSubModels(Json& list, const std::string& path, const Instance& owner) {
  for (Instance* part : SubInstances(owner)) {
    const std::string name = path + PartName(*part);
    Json one = EquationsJson(*part);
    one["name"] = name;
    list.push_back(std::move(one));
    AddSubModels(list, name + ".", *part);
  }
}

}  // namespace

void AddEquationsCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  AddModelCommand(program, options, run, "equations", "A model's equations, as set up and emitted",
                  [](CaseRun& built, const QV_ModelRow& model, bool json) {
                    Instance& instance = *built.flowsheet().blocks().front();
                    if (!json) {
                      PrintFormulas(model.name, DescribeEquations(instance));
                      return PrintFormulasOfSubModels(model.name, instance);
                    }
                    Json document = {{"model", model.name}, {"identity", model.identity}};
                    document.update(EquationsJson(instance));
                    Json parts = Json::array();
                    AddSubModels(parts, "", instance);
                    if (!parts.empty()) document["submodels"] = std::move(parts);
                    Print(document);
                  });
}

}  // namespace quiver
