// SPDX-License-Identifier: Apache-2.0
// quiver equations MODEL: the equations as set up and emitted.
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/formula_listing.h"
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
                    if (!json) return fmt::print("{}", FormulaListing(model.name, instance));
                    Json document = {{"model", model.name}, {"identity", model.identity}};
                    document.update(EquationsJson(instance));
                    Json parts = Json::array();
                    AddSubModels(parts, "", instance);
                    if (!parts.empty()) document["submodels"] = std::move(parts);
                    Print(document);
                  });
}

}  // namespace quiver
