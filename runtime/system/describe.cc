// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/describe.h"

#include <fmt/format.h>

#include <map>
#include <memory>

#include "host/extensions.h"
#include "runtime/contract/array_storage.h"
#include "runtime/contract/error.h"
#include "runtime/contract/names.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/contract/scope.h"
#include "runtime/expression/infix.h"
#include "runtime/io/quantity_text.h"

namespace quiver {
namespace {

bool SampleIsVariable(QV_ArrayBase& array) {
  const std::unique_ptr<QV_Type> sample(HostAccess::NewElement(array));
  const auto* holder = dynamic_cast<const QV_VarParam*>(sample.get());
  return holder && holder->IsVariable();
}

const char* KindOf(const DeclaredProperty& property, QV_Type* object) {
  if (property.kind == PropertyKind::kGlobal || property.kind == PropertyKind::kStructureReference)
    return "global";
  if (property.kind == PropertyKind::kExternal) return "external";
  QV_Type* sample = object;
  if (auto* array = dynamic_cast<QV_ArrayBase*>(object); array && array->Count()) sample = &array->At(0);
  if (dynamic_cast<QV_PortType*>(sample)) return "port";
  if (dynamic_cast<QV_Container*>(sample) || property.kind == PropertyKind::kVirtual) return "submodel";
  auto* holder = dynamic_cast<QV_VarParam*>(sample);
  if (!holder) return "parameter";
  if (HostAccess::KindOf(*holder) == HostAccess::kSet) return "set";
  if (HostAccess::KindOf(*holder) == HostAccess::kArray)  // without elements: a free-standing one tells
    return SampleIsVariable(static_cast<QV_ArrayBase&>(*holder)) ? "variable" : "parameter";
  return holder->IsVariable() ? "variable" : "parameter";
}

}  // namespace

PlainValue ValueOf(QV_VarParam& holder) {
  if (HostAccess::KindOf(holder) == HostAccess::kSet) {
    const SetStorage* set = HostAccess::Set(holder);
    if (!set) return {};
    if (set->is_text) return set->texts;
    return std::vector<long long>(set->integers.begin(), set->integers.end());
  }
  if (!HasValue(holder)) return {};
  switch (HostAccess::KindOf(holder)) {
    case HostAccess::kReal:
      return holder.RealValue();
    case HostAccess::kInteger:
      return static_cast<long long>(holder.IntegerValue());
    case HostAccess::kLogical:
      return holder.LogicalValue();
    case HostAccess::kText:
      return std::string(holder.StringValue());
    default:
      return {};
  }
}

const char* UnitOf(QV_VarParam& holder) {
  const QV_Value* unit = holder.QV_DefaultBASEUOMNAME();
  return unit && HostAccess::KindOf(*unit) == QV_Value::kText ? HostAccess::Text(*unit) : "";
}

namespace {
std::vector<std::string> ChoicesOf(QV_VarParam& holder) {
  const QV_Value* valid = holder.QV_DefaultVALID();
  if (!valid || HostAccess::KindOf(*valid) != QV_Value::kSet) return {};
  return HostAccess::Set(*valid)->texts;
}
}  // namespace

std::vector<PropertyDescription> DescribeProperties(const Instance& instance) {
  std::vector<PropertyDescription> all;
  for (size_t i = 0; i < instance.type().properties.size(); ++i) {
    const DeclaredProperty& property = instance.type().properties[i];
    QV_Type* object = instance.Object(static_cast<int>(i));
    PropertyDescription d;
    d.name = property.name;
    d.kind = KindOf(property, object);
    d.description = property.description;
    const auto add = [&](QV_VarParam& holder) {
      d.values.push_back(ValueOf(holder));
      d.lower.push_back(holder.LowerBound());
      d.upper.push_back(holder.UpperBound());
      d.specs.push_back(HostAccess::SpecOf(holder));
      d.unit = UnitOf(holder);
      d.choices = ChoicesOf(holder);
    };
    if (auto* array = dynamic_cast<QV_ArrayBase*>(object)) {
      d.array = true;
      d.type = HeldTypeName(typeid(*array).name());
      for (int k = 0; k < array->Rank(); ++k) {
        const SetStorage& set = HostAccess::Storage(*array)->sets[static_cast<size_t>(k)];
        d.dims.push_back(set.Count());
        d.indices.emplace_back(set.texts);
        for (const int index : set.integers) d.indices.back().push_back(std::to_string(index));
      }
      for (long long e = 0; e < array->Count(); ++e)
        if (auto* holder = dynamic_cast<QV_VarParam*>(&array->At(e))) add(*holder);
    } else if (object) {
      d.type = TypeName(typeid(*object));
      if (auto* holder = dynamic_cast<QV_VarParam*>(object)) add(*holder);
    }
    all.push_back(std::move(d));
  }
  return all;
}

namespace {

class EquationPrinter {
 public:
  explicit EquationPrinter(Instance& instance) : instance_(instance) {
    // A reference is printed under the name that this model gives it.
    for (size_t i = 0; i < instance.type().properties.size(); ++i)
      if (instance.Reference(static_cast<int>(i)))
        if (auto* holder = dynamic_cast<QV_VarParam*>(instance.Object(static_cast<int>(i))))
          references_[holder] = instance.type().properties[i].name;
  }

  std::string Name(QV_VarParam& holder) const {
    if (const auto found = references_.find(&holder); found != references_.end()) return found->second;
    if (auto* parent = HostAccess::Parent(holder))
      if (auto* array = dynamic_cast<QV_ArrayBase*>(parent))
        if (const auto found = references_.find(array); found != references_.end())
          return found->second + ElementSuffix(*array, HostAccess::PropertyIndex(holder));
    return HolderName(holder, &instance_);
  }

  TokenDescription Describe(const StreamToken& token) const {
    TokenDescription d{token.kind, 0, 0, 0, {}};
    switch (token.kind) {
      case StreamToken::kOperator:
        d.code = token.code;
        break;
      case StreamToken::kVariable:
        d.text = Name(*token.variable);
        d.holder = token.variable;
        break;
      case StreamToken::kReal:
        d.real = token.real;
        break;
      case StreamToken::kInteger:
        d.integer = token.integer;
        break;
      case StreamToken::kText:
        d.text = token.text;
        break;
    }
    return d;
  }

  std::vector<TokenDescription> Tokens(const EmissionRecord& record, TokenRange range) const {
    std::vector<TokenDescription> tokens;
    for (int i = range.first; i < range.first + range.count; ++i)
      tokens.push_back(Describe(record.tokens[static_cast<size_t>(i)]));
    return tokens;
  }

  // The arguments as the text gives them: a whole array by its name, a slice by its elements, constants by their value.
  std::vector<TokenDescription> Inputs(QV_ProcedureType& procedure) const {
    std::vector<TokenDescription> inputs;
    auto* arguments = dynamic_cast<QV_ProcedureType_F*>(&procedure);
    const ProcedureElements elements = ElementsOf(procedure);
    if (!arguments) return inputs;
    long long e = 0;
    for (int k = 0; k < arguments->InputArguments(); ++k) {
      const ConstProcValue* constant = arguments->ArgumentConstant(k);
      if (!constant) {
        const long long count = arguments->ArgumentElements(k);
        if (QV_ArrayBase* whole = arguments->ArgumentArray(k)) {
          TokenDescription d{};
          d.kind = StreamToken::kVariable;
          d.text = Name(*whole);
          inputs.push_back(d);
          e += count;
          continue;
        }
        AppendElements(elements.elements + e, count, inputs);
        e += count;
        continue;
      }
      TokenDescription d{};
      const int type = procedure.Type(k);
      d.kind = type == kQvReal   ? StreamToken::kReal
               : type == kQvText ? StreamToken::kText
                                 : StreamToken::kInteger;
      if (type == kQvReal) d.real = constant->Real();
      if (type == kQvText) d.text = constant->String();
      if (type == kQvInteger || type == kQvIntegerAlternative) d.integer = constant->Integer();
      inputs.push_back(d);
    }
    return inputs;
  }

  std::string Output(QV_ProcedureType& procedure, int output) const {
    const ProcedureElements elements = ElementsOf(procedure);
    return output < elements.outputs ? Name(*elements.elements[elements.inputs + output]) : "";
  }

  std::vector<std::string> Occurrences(const SetUpRecord& record, const SetUpEntry& entry) const {
    std::vector<std::string> names;
    for (int i = entry.first_nonzero; i < entry.first_nonzero + entry.nonzero_count; ++i)
      names.push_back(Name(*record.nonzeros[static_cast<size_t>(i)]));
    return names;
  }

 private:
  void AppendElements(QV_VarParam* const* elements, long long count,
                      std::vector<TokenDescription>& inputs) const {
    auto* array = count ? dynamic_cast<QV_ArrayBase*>(HostAccess::Parent(*elements[0])) : nullptr;
    bool whole = array && array->Count() == count;
    for (long long i = 0; whole && i < count; ++i) whole = elements[i] == &array->At(i);
    TokenDescription d{};
    d.kind = StreamToken::kVariable;
    if (whole) {
      d.text = Name(*array);
      inputs.push_back(d);
      return;
    }
    for (long long i = 0; i < count; ++i) {
      d.text = Name(*elements[i]);
      d.holder = elements[i];
      inputs.push_back(d);
    }
  }

  Instance& instance_;
  std::map<QV_VarParam*, std::string> references_;
};

std::string PrintTokens(const std::vector<TokenDescription>& tokens, bool equation) {
  const std::vector<Token> stream = StreamOf(tokens);
  const auto name = [&](int place) { return tokens[static_cast<size_t>(place)].text; };
  return equation ? EquationText(stream, name) : FormulaText(stream, name);
}

}  // namespace

std::vector<Token> StreamOf(const std::vector<TokenDescription>& tokens) {
  std::vector<Token> stream;
  for (size_t i = 0; i < tokens.size(); ++i) {
    const TokenDescription& t = tokens[i];
    switch (t.kind) {
      case StreamToken::kOperator:
        stream.push_back(Token::Code(t.code));
        break;
      case StreamToken::kVariable:
        stream.push_back(Token::Variable(static_cast<int>(i)));
        break;
      case StreamToken::kReal:
        stream.push_back(Token::Real(t.real));
        break;
      case StreamToken::kInteger:
        stream.push_back(Token::Integer(static_cast<int>(t.integer)));
        break;
      case StreamToken::kText:
        stream.push_back(Token::Text(t.text.c_str()));
        break;
    }
  }
  return stream;
}

EquationsDescription DescribeEquations(Instance& instance) {
  InstanceRecord record;
  ReadEquations(instance, record);
  instance.scope().ThrowFaults();
  const CurrentGuard guard({&instance.scope(), &instance, nullptr, nullptr});
  const Branches branches(record);
  const EquationPrinter printer(instance);
  EquationsDescription all;
  all.count = record.result;
  int first_group = 0;
  size_t e = 0;
  for (const SetUpEntry& entry : record.set_up.entries) {
    if (first_group == 0) first_group = entry.group;
    for (int k = 0; k < entry.equations; ++k, ++e) {
      const EmittedEquation& emitted = record.emission.equations[e];
      EquationDescription d;
      d.index = emitted.index;
      d.name = emitted.name;
      d.group = emitted.group - first_group + 1;
      d.tokens = printer.Tokens(record.emission, emitted.tokens);
      if (emitted.procedure) {
        d.procedure = TypeName(typeid(*emitted.procedure));
        d.inputs = printer.Inputs(*emitted.procedure);
        d.output = printer.Output(*emitted.procedure, emitted.output_element);
      }
      d.nonzeros = printer.Occurrences(record.set_up, entry);
      for (const Branch* branch = branches.Of(e); branch; branch = branch->outer) {
        ConditionDescription c;
        c.branch = branch->place;
        c.otherwise = !branch->condition;
        if (branch->condition) {
          c.label = branch->condition->label;
          c.tokens = printer.Tokens(record.emission, branch->condition->tokens);
        }
        d.conditions.push_back(std::move(c));
      }
      all.equations.push_back(std::move(d));
    }
  }
  return all;
}

std::string FormulaOf(const EquationDescription& equation) {
  if (equation.procedure.empty()) return PrintTokens(equation.tokens, true);
  std::vector<std::string> inputs;
  for (const TokenDescription& input : equation.inputs) {
    switch (input.kind) {
      case StreamToken::kReal:
        inputs.push_back(FormatReal(input.real));
        break;
      case StreamToken::kInteger:
        inputs.push_back(std::to_string(input.integer));
        break;
      case StreamToken::kText:
        inputs.push_back(input.text.starts_with('"') ? input.text : fmt::format("\"{}\"", input.text));
        break;
      default:
        inputs.push_back(input.text);
    }
  }
  std::string name = equation.procedure;
  if (name.starts_with("QVProc_")) name.erase(0, 7);
  return fmt::format("{} = {}({})", equation.output, name, fmt::join(inputs, ", "));
}

std::string FormulaOf(const ConditionDescription& condition) {
  return condition.otherwise ? "otherwise" : PrintTokens(condition.tokens, false);
}

}  // namespace quiver
