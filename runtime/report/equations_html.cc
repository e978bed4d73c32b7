// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/equations_html.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "runtime/contract/names.h"
#include "runtime/expression/operators.h"
#include "runtime/report/markup.h"
#include "runtime/report/mathml.h"

namespace quiver {
namespace {

constexpr double kLine = 74, kLineOfBranch = 40, kLineOfCondition = 34;  // letters
constexpr size_t kMostArguments = 40;  // of a call; whole tables are shown by their first entries

std::string Math(const std::string& content) { return "<math displaystyle=\"true\">" + content + "</math>"; }

VariableName NamesOf(const std::vector<TokenDescription>& tokens) {
  return [&tokens](int place) { return tokens[static_cast<size_t>(place)].text; };
}

std::string ArgumentMathml(const TokenDescription& input) {
  switch (input.kind) {
    case StreamToken::kReal:
      return NumberMathml(input.real);
    case StreamToken::kInteger:
      return NumberMathml(static_cast<double>(input.integer));
    case StreamToken::kText:
      return fmt::format("<mtext>“{}”</mtext>", Escaped(input.text));
    default:
      return SymbolMathml(input.text);
  }
}

// PROC(in, ...) in lines.
EquationMathml CallMathml(const EquationDescription& equation, double line) {
  std::string name = equation.procedure;
  if (name.starts_with("QVProc_")) name.erase(0, 7);
  EquationMathml call{SymbolMathml(equation.output), {}, 0};
  std::string row = fmt::format("<mi>{}</mi><mo>&#x2061;</mo><mo>(</mo>", Escaped(name));
  std::string rows;
  double width = static_cast<double>(name.size()) + 1;
  const size_t shown = std::min(equation.inputs.size(), kMostArguments);
  for (size_t k = 0; k < shown; ++k) {
    const double next = static_cast<double>(equation.inputs[k].text.size()) + 2;
    if (width + next > line) {
      rows += "<mtr><mtd>" + row + "</mtd></mtr>";
      row.clear();
      width = 0;
    }
    row += ArgumentMathml(equation.inputs[k]);
    if (k + 1 < equation.inputs.size()) row += "<mo>,</mo>";
    width += next;
  }
  if (shown < equation.inputs.size())
    row += fmt::format("<mtext>… {} more</mtext>", equation.inputs.size() - shown);
  row += "<mo>)</mo>";
  call.right = rows.empty() ? row
                            : "<mtable class=\"lines\" displaystyle=\"true\">" + rows + "<mtr><mtd>" + row +
                                  "</mtd></mtr></mtable>";
  return call;
}

EquationMathml OneMathml(const EquationDescription& equation, double line) {
  if (!equation.procedure.empty()) return CallMathml(equation, line);
  return ToMathml(StreamOf(equation.tokens), NamesOf(equation.tokens), line);
}

// "if A < B and C > 0": the condition of the branch and those around it.
std::string WhenMathml(const EquationDescription& equation) {
  std::string text;
  for (auto c = equation.conditions.rbegin(); c != equation.conditions.rend(); ++c) {
    if (c->otherwise) continue;
    text +=
        text.empty() ? "<mtr><mtd><mtext>if&#xa0;</mtext>" : "</mtd></mtr><mtr><mtd><mtext>and&#xa0;</mtext>";
    text += FormulaMathml(StreamOf(c->tokens), NamesOf(c->tokens), kLineOfCondition);
  }
  if (!text.empty()) text = "<mtable class=\"lines\" displaystyle=\"true\">" + text + "</mtd></mtr></mtable>";
  if (equation.conditions.front().otherwise)
    text = text.empty() ? "<mtext>otherwise</mtext>" : "<mtext>otherwise,&#xa0;</mtext>" + text;
  return text;
}

std::string PiecewiseMathml(const ReportEquation& equation) {
  std::vector<EquationMathml> sides;
  for (const EquationDescription* alternative : equation.alternatives)
    sides.push_back(OneMathml(*alternative, kLineOfBranch));
  const bool same_left =
      std::ranges::all_of(sides, [&](const EquationMathml& side) { return side.left == sides[0].left; });
  std::string rows;
  for (size_t k = 0; k < sides.size(); ++k) {
    const bool holds = equation.holds == static_cast<int>(k);
    rows += fmt::format("<mtr{}><mtd>{}</mtd><mtd>{}</mtd><mtd>{}</mtd></mtr>",
                        holds ? " class=\"holds\"" : "", holds ? "<mtext>▶</mtext>" : "",
                        same_left ? sides[k].right : sides[k].Text(), WhenMathml(*equation.alternatives[k]));
  }
  return (same_left ? sides[0].left + "<mo>=</mo>" : "") +
         "<mrow><mo stretchy=\"true\">{</mo><mtable class=\"cases\" displaystyle=\"true\">" + rows +
         "</mtable></mrow>";
}

bool IsPlain(const ReportEquation& equation) {
  return equation.alternatives.size() == 1 && equation.alternatives[0]->conditions.empty();
}

// Names in lines of twelve.
std::string Lines(const std::vector<std::string>& items) {
  std::string rows, row;
  for (size_t k = 0; k < items.size(); ++k) {
    row += items[k] + (k + 1 < items.size() ? "<mo>,</mo>" : "");
    if (k % 12 == 11 || k + 1 == items.size()) {
      rows += "<mtr><mtd>" + row + "</mtd></mtr>";
      row.clear();
    }
  }
  return items.size() == 1 ? items[0] : "<mtable class=\"lines\" displaystyle=\"true\">" + rows + "</mtable>";
}

// x = y: a connection, no formula.
bool IsEquality(const ReportEquation& equation) {
  if (!IsPlain(equation)) return false;
  const auto& t = equation.alternatives[0]->tokens;
  return equation.alternatives[0]->procedure.empty() && t.size() == 3 &&
         t[0].kind == StreamToken::kOperator && t[0].code == static_cast<int>(Operator::kSubtract) &&
         t[1].kind == StreamToken::kVariable && t[2].kind == StreamToken::kVariable;
}

std::string BaseName(const std::string& name) { return name.substr(0, name.find('(')); }

}  // namespace

std::string ConditionMath(const std::vector<TokenDescription>& condition) {
  return Math(FormulaMathml(StreamOf(condition), NamesOf(condition)));
}

std::string EquationsHtml(const ReportEquations& model) {
  std::string html, equalities;
  for (size_t i = 0; i < model.equations.size(); ++i) {
    const ReportEquation& equation = model.equations[i];
    const EquationDescription& first = *equation.alternatives[0];
    if (IsEquality(equation)) {
      equalities += (equalities.empty() ? "" : "; ") + Math(OneMathml(first, kLine).Text());
      continue;
    }
    std::string math;
    if (!IsPlain(equation)) {
      math = PiecewiseMathml(equation);
    } else if (first.procedure.empty()) {
      math = OneMathml(first, kLine).Text();
    } else {  // several results of one call on one line
      const EquationMathml call = CallMathml(first, kLine);
      std::vector<std::string> outputs = {call.left};
      while (i + 1 < model.equations.size() && IsPlain(model.equations[i + 1]) &&
             model.equations[i + 1].alternatives[0]->procedure == first.procedure) {
        const EquationMathml next = CallMathml(*model.equations[i + 1].alternatives[0], kLine);
        if (next.right != call.right) break;
        outputs.push_back(next.left);
        ++i;
      }
      const std::string left = Lines(outputs);
      math = (outputs.size() == 1 ? left : "<mo>(</mo>" + left + "<mo>)</mo>") + "<mo>=</mo>" + call.right;
    }
    html += fmt::format("<div class=\"equation\"><div>{}</div><div class=\"label\">{}</div></div>\n",
                        Math(math), Escaped(first.name));
  }
  if (!equalities.empty()) html += "<p class=\"equalities\">Equal by connection: " + equalities + ".</p>\n";
  return html;
}

std::string SymbolsHtml(const ReportEquations& model) {
  std::set<std::string> used;
  for (const EquationDescription& equation : model.description.equations) {
    const auto take = [&](const std::vector<TokenDescription>& tokens) {
      for (const TokenDescription& token : tokens)
        if (token.kind == StreamToken::kVariable) used.insert(UpperCase(BaseName(token.text)));
    };
    take(equation.tokens);
    take(equation.inputs);
    used.insert(UpperCase(BaseName(equation.output)));
    for (const ConditionDescription& condition : equation.conditions) take(condition.tokens);
  }
  std::string rows;
  for (const PropertyDescription& property : model.properties) {
    if (!used.contains(UpperCase(property.name))) continue;
    rows += fmt::format("<tr><td>{}</td><th scope=\"row\">{}</th><td>{}</td><td>{}</td></tr>\n",
                        Math(SymbolMathml(property.name)), Escaped(property.name),
                        Escaped(UnitText(property.unit)),
                        Escaped(property.description ? property.description : ""));
  }
  if (rows.empty()) return "";
  return "<table class=\"symbols\"><thead><tr><th scope=\"col\">Symbol</th><th scope=\"col\">Name</th><th "
         "scope=\"col\">Unit</th><th scope=\"col\">Meaning</th></tr></thead><tbody>\n" +
         rows + "</tbody></table>\n";
}

}  // namespace quiver
