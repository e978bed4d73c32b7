// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/content.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/scope.h"
#include "runtime/expression/evaluator.h"
#include "runtime/expression/infix.h"
#include "runtime/expression/stream_check.h"
#include "runtime/solve/structure_report.h"

namespace quiver {
namespace {

constexpr size_t kMostModels = 400;  // instances whose equations are shown
constexpr double kNear = 0.01;       // relative distance below which a condition counts as near its switch
constexpr double kBoundTolerance = 1e-9;  // relative to the variable's scale

std::string TextOf(const PlainValue& value) {
  return std::visit(
      [](const auto& v) -> std::string {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>)
          return "";
        else if constexpr (std::is_same_v<T, double>)
          return ShortNumber(v);
        else if constexpr (std::is_same_v<T, bool>)
          return v ? "Yes" : "No";
        else if constexpr (std::is_same_v<T, std::string>)
          return v;
        else if constexpr (std::is_same_v<T, long long>)
          return std::to_string(v);
        else
          return fmt::format("{}", fmt::join(v, ", "));
      },
      value);
}

// ---- Inputs.

class InputCollector {
 public:
  InputCollector(CaseRun& run, bool qualified, ReportContent& content)
      : run_(run),
        within_(qualified ? nullptr : run.flowsheet().blocks().front()),
        given_by_(qualified ? "case" : "command line"),
        content_(content) {
    for (const CaseBlock& block : run.description().blocks)
      for (const auto* assignments : {&block.set, &block.fix})
        for (const Assignment& a : *assignments)
          written_[UpperCase(qualified ? block.name + "." + a.name.Text() : a.name.Text())] = a.value.text;
    for (const Connection& c : run.description().connect)
      for (const PropertyPath* side : {&c.left, &c.right}) connected_.insert(UpperCase(side->Text()));
  }

  void Instances() {
    for (const Instance* instance : run_.flowsheet().Instances()) {
      const bool block = instance->parent == nullptr && !instance->kept_by_scope;
      for (size_t i = 0; i < instance->type().properties.size(); ++i) {
        const DeclaredProperty& property = instance->type().properties[i];
        if (property.kind == PropertyKind::kGlobal || property.kind == PropertyKind::kStructureReference)
          continue;
        QV_Type* object = instance->Object(static_cast<int>(i));
        if (auto* array = dynamic_cast<QV_ArrayBase*>(object)) {
          for (long long e = 0; e < array->Count(); ++e)
            if (auto* holder = dynamic_cast<QV_VarParam*>(&array->At(e)))
              Add(*holder, property.description, false);
        } else if (auto* holder = dynamic_cast<QV_VarParam*>(object)) {
          Add(*holder, property.description, block);
        }
      }
    }
  }

  // Parameters, global ones too, that equations name.
  void Constants(const ReportEquations& model) {
    for (const EquationDescription& equation : model.description.equations) {
      const auto look = [&](const std::vector<TokenDescription>& tokens) {
        for (const TokenDescription& token : tokens)
          if (token.holder && !token.holder->IsVariable() &&
              HostAccess::KindOf(*token.holder) != HostAccess::kArray)
            Constant(*token.holder, token.text, model);
      };
      look(equation.tokens);
      look(equation.inputs);
      for (const ConditionDescription& condition : equation.conditions) look(condition.tokens);
    }
  }

 private:
  void Add(QV_VarParam& holder, const char* description, bool option_of_block) {
    const Origin origin = HostAccess::OriginOf(holder);
    const bool given = holder.IsVariable() && HostAccess::SpecOf(holder) == QV_SPEC_GIVEN;
    if (holder.IsVariable() && !given) return;
    const int number = HostAccess::Number(holder);
    const bool takes_part = number < run_.System().VariableCount() && run_.System().TakesPart(number);
    if (origin == Origin::kUser) {
      if (HostAccess::KindOf(holder) == HostAccess::kSet && !option_of_block) return;
      const std::string name = HolderName(holder, within_);
      if (EqualIgnoringCase(name.substr(name.rfind('.') + 1), "ComponentList")) return;  // of the whole case
      content_.inputs.push_back(
          Row(holder, description, connected_.contains(UpperCase(name)) ? "connection" : given_by_));
      seen_.insert(&holder);
    } else if (given && takes_part) {
      content_.defaults.push_back(Row(holder, description, "default"));
      seen_.insert(&holder);
    } else if (option_of_block && !holder.IsVariable() && HasValue(holder) &&
               (HostAccess::KindOf(holder) == HostAccess::kText ||
                HostAccess::KindOf(holder) == HostAccess::kLogical)) {
      content_.options.push_back(Row(holder, description, "default"));
      seen_.insert(&holder);
    }
  }

  void Constant(QV_VarParam& holder, const std::string& name, const ReportEquations& model) {
    if (!seen_.insert(&holder).second) return;
    const char* description = nullptr;
    for (const PropertyDescription& p : model.properties)
      if (EqualIgnoringCase(p.name, name.substr(0, name.find('(')))) description = p.description;
    ReportInput row = Row(holder, description, "default");
    if (HostAccess::OriginOf(holder) == Origin::kUser) row.source = given_by_;
    if (HostAccess::HasFlag(holder, HostAccess::kGlobalFlag)) row.name = name;
    content_.defaults.push_back(std::move(row));
  }

  ReportInput Row(QV_VarParam& holder, const char* description, const char* source) const {
    ReportInput row;
    row.name = HolderName(holder, within_);
    row.value = TextOf(ValueOf(holder));
    row.unit = UnitOf(holder);
    row.description = description ? description : "";
    row.source = source;
    if (const auto found = written_.find(UpperCase(row.name)); found != written_.end())
      row.written = found->second;
    return row;
  }

  CaseRun& run_;
  const Instance* within_;
  const char* given_by_;
  ReportContent& content_;
  std::map<std::string, std::string> written_;  // by upper-case name, what the case says
  std::set<std::string> connected_;
  std::set<QV_VarParam*> seen_;
};

// ---- Equations.

// Whether a condition holds at the values that the properties have, and how far it is from turning.
class ConditionReader {
 public:
  // False where it cannot be told.
  bool Read(const ConditionDescription& condition, bool& holds, double& distance) {
    std::vector<Token> stream = StreamOf(condition.tokens);
    std::vector<double> x(stream.size(), 0.0);
    double magnitude = 0;
    for (size_t i = 0; i < stream.size(); ++i) {
      QV_VarParam* holder = condition.tokens[i].holder;
      if (holder && HostAccess::KindOf(*holder) == HostAccess::kText)
        stream[i] = Token::Text(HasValue(*holder) ? holder->StringValue() : "");
      else if (holder)
        x[i] = HostAccess::KindOf(*holder) == HostAccess::kInteger   ? holder->IntegerValue()
               : HostAccess::KindOf(*holder) == HostAccess::kLogical ? holder->LogicalValue()
                                                                     : holder->RealValue();
      magnitude =
          std::max({magnitude, std::abs(x[i]), stream[i].IsLiteral() ? std::abs(stream[i].real) : 0.0});
    }
    if (CheckCondition(stream, static_cast<int>(stream.size()))) return false;
    std::vector<int> gather;
    const Shape& shape = shapes_[shapes_.Intern(stream, gather)];
    holds = evaluator_.Holds(shape, gather, x);
    distance = magnitude > 0 ? evaluator_.Margin(shape, gather, x) / magnitude : 0;
    return true;
  }

 private:
  ShapeStore shapes_;
  Evaluator evaluator_;
};

// The variable that an equation is written for; empty where there is none.
std::string LeftSide(const EquationDescription& equation) {
  if (!equation.procedure.empty()) return equation.output;
  const std::vector<Token> stream = StreamOf(equation.tokens);
  const size_t place = FormOf(stream) == EquationForm::kDifference ? 1
                       : FormOf(stream) == EquationForm::kValue    ? 2
                                                                   : stream.size();
  return place < stream.size() && stream[place].kind == Token::kVariable ? equation.tokens[place].text : "";
}

// What belongs together as alternatives: equations of one number. Where the branches of a group are written for the same
// variables, in whatever order, those of one variable.
class Alternatives {
 public:
  explicit Alternatives(const EquationsDescription& description) {
    std::map<int, std::set<int>> numbers;
    std::map<int, std::set<std::string>> left_sides;
    for (const EquationDescription& equation : description.equations) {
      if (equation.conditions.empty()) continue;
      numbers[equation.group].insert(equation.index);
      left_sides[equation.group].insert(LeftSide(equation));
    }
    for (const auto& [group, sides] : left_sides)
      if (!sides.contains("") && sides.size() == numbers[group].size()) by_left_side_.insert(group);
  }
  std::string KeyOf(const EquationDescription& equation) const {
    const bool by_side = !equation.conditions.empty() && by_left_side_.contains(equation.group);
    return by_side ? fmt::format("{} {}", equation.group, LeftSide(equation))
                   : std::to_string(equation.index);
  }

 private:
  std::set<int> by_left_side_;  // groups
};

void FindAlternatives(ReportEquations& model, ConditionReader& reader, std::vector<NearSwitch>& near_switch) {
  const Alternatives alternatives(model.description);
  std::map<std::string, size_t> place;
  std::set<std::string> told;
  for (const EquationDescription& equation : model.description.equations) {
    const auto [found, is_new] = place.try_emplace(alternatives.KeyOf(equation), model.equations.size());
    if (is_new) model.equations.emplace_back();
    ReportEquation& all = model.equations[found->second];
    bool holds = true;
    for (const ConditionDescription& condition : equation.conditions) {
      bool this_holds = false;
      double distance = 0;
      if (condition.otherwise) continue;
      if (!reader.Read(condition, this_holds, distance)) {
        holds = false;
        continue;
      }
      holds = holds && this_holds;
      if (std::abs(distance) < kNear && told.insert(FormulaOf(condition)).second)
        near_switch.push_back({model.instance + "." + equation.name, condition.tokens, this_holds, distance});
    }
    if (holds && all.holds < 0) all.holds = static_cast<int>(all.alternatives.size());
    all.alternatives.push_back(&equation);
  }
}

// ---- Orifices: the alternatives of an equation "ORIFICE_AREA = number" whose conditions carry letters as labels.
void AddOrifices(const Instance& instance, const ReportEquations& model, std::vector<ReportOrifices>& all) {
  const auto value = [&](const char* name) {
    const int place = instance.type().Find(name);
    auto* holder = place < 0 ? nullptr : dynamic_cast<QV_VarParam*>(instance.Object(place));
    return holder && HostAccess::KindOf(*holder) == HostAccess::kReal ? holder->RealValue() : std::nan("");
  };
  ReportOrifices found{model.instance, value("AREA"), value("W"), value("W_ORIFICE"), false, {}};
  for (const ReportEquation& equation : model.equations) {
    for (size_t k = 0; k < equation.alternatives.size(); ++k) {
      const EquationDescription& a = *equation.alternatives[k];
      const auto& t = a.tokens;
      const bool is_area =
          std::ranges::any_of(t, [](const TokenDescription& token) { return token.text == "ORIFICE_AREA"; });
      if (!is_area || a.conditions.size() != 1) continue;
      const auto number = std::ranges::find_if(
          t, [](const TokenDescription& token) { return token.kind == StreamToken::kReal; });
      const bool holds = equation.holds == static_cast<int>(k);
      if (number != t.end() && !a.conditions[0].otherwise)
        found.orifices.push_back({a.conditions[0].label, std::abs(number->real), holds});
      else if (a.conditions[0].otherwise && holds)
        found.too_large = true;
    }
  }
  if (found.orifices.size() > 1) all.push_back(std::move(found));
}

void AddModels(CaseRun& run, ReportContent& content, InputCollector& inputs) {
  ConditionReader reader;
  for (Instance* instance : run.flowsheet().Instances()) {
    if (content.models.size() == kMostModels) {
      ++content.models_left_out;
      continue;
    }
    content.models.push_back({InstanceName(*instance),
                              instance->type().type_name.substr(3),
                              DescribeEquations(*instance),
                              {},
                              {}});
    ReportEquations& model = content.models.back();
    const CurrentGuard guard({&run.flowsheet().scope(), nullptr, nullptr, nullptr});
    model.properties = DescribeProperties(*instance);
    FindAlternatives(model, reader, content.near_switch);
    AddOrifices(*instance, model, content.orifices);
    inputs.Constants(model);
  }
}

void AddBounds(EquationSystem& system, ReportContent& content) {
  const std::vector<double> x = system.StartValues();
  for (int v = 0; v < system.VariableCount(); ++v) {
    if (!system.IsFree(v) || !system.TakesPart(v)) continue;
    for (const bool upper : {false, true}) {
      const double bound = upper ? system.Upper(v) : system.Lower(v), value = x[static_cast<size_t>(v)];
      if (std::isfinite(bound) && std::abs(value - bound) <= kBoundTolerance * system.Scale(v))
        content.at_bounds.push_back(fmt::format("{} = {} ({})", system.VariableName(v), ShortNumber(bound),
                                                upper ? "upper" : "lower"));
    }
  }
}

}  // namespace

ReportContent SolveAndCollect(CaseRun& run, const SolveOptions& options) {
  ReportContent content;
  LadderOptions ladder;
  ladder.solve = options;
  content.summary = run.Solve(ladder);
  content.converged = content.summary.outcome == SolveOutcome::kConverged;
  const CaseFile& description = run.description();
  content.title = description.title.empty() ? description.blocks.front().model : description.title;
  EquationSystem& system = run.System();
  const StructureReport structure = AnalyseStructure(system);
  content.equations = structure.equations;
  content.free_variables = structure.free_variables;
  content.degrees_of_freedom = structure.degrees_of_freedom;
  for (const std::string& note : run.flowsheet().scope().notes) content.notes.push_back(note);
  for (const SolveFailure& note : content.summary.notes) content.notes.push_back(note.reason);
  for (const SolveFailure& failure : content.summary.failures) content.failures.push_back(failure.reason);

  const bool asked = !description.report.empty();
  for (const NamedValue& value : run.Report())
    if (asked || !value.given) content.results.push_back(value);
  if (asked)
    for (const NamedValue& value : run.Values())
      if (value.takes_part && !value.given) content.all.push_back(value);
  content.streams = run.Streams();
  InputCollector inputs(run, run.qualified(), content);
  {
    const CurrentGuard guard({&run.flowsheet().scope(), nullptr, nullptr, nullptr});
    inputs.Instances();
  }
  AddBounds(system, content);
  if (content.converged) {
    Curves curves = CurvePlots(run);
    content.plots = std::move(curves.plots);
    content.plots_left_out = std::move(curves.left_out);
    for (Plot& plot : MapPlots(run)) content.plots.push_back(std::move(plot));
  }
  AddModels(run, content, inputs);
  return content;
}

}  // namespace quiver
