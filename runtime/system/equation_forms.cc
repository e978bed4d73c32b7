// SPDX-License-Identifier: Apache-2.0
// The equations of a system as they were emitted, for writers of other notations:
//   for (const EmittedForm& form : system.FormsOf(0)) Write(form.residual);
#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/system/equation_system.h"

namespace quiver {
namespace {

Token LiteralOf(QV_ProcedureType& procedure, int argument, const ConstProcValue& constant) {
  switch (procedure.Type(argument)) {
    case kQvReal:
      return Token::Real(constant.Real());
    case kQvText:
      return Token::Text(Interned(constant.String()));
    default:
      return Token::Integer(constant.Integer());
  }
}

}  // namespace

// The stream of a shape with the variables of one of its equations.
std::vector<Token> EquationSystem::NumberedStream(int shape, const int* variables) const {
  std::vector<Token> stream = patterns_.Stream(shape);
  for (Token& token : stream)
    if (token.kind == Token::kVariable) token = Token::Variable(variables[token.index]);
  return stream;
}

std::vector<EmittedForm> EquationSystem::FormsOf(int equation) const {
  std::vector<EmittedForm> forms;
  const Located at = At(equation);
  const UnitPattern& pattern = *at.unit->pattern;
  for (int a = at.equation->first; a < at.equation->first + at.equation->alternative_count; ++a) {
    const UnitPattern::Alternative& alternative = pattern.alternatives[static_cast<size_t>(a)];
    EmittedForm form;
    form.name = at.unit->instance ? BlockName(*at.unit) + alternative.name : at.unit->name;
    if (alternative.call < 0) {
      form.residual = NumberedStream(alternative.shape, PlacesOf(*at.unit, alternative.places));
    } else {
      const UnitPattern::Call& call = pattern.calls[static_cast<size_t>(alternative.call)];
      const int* const elements = PlacesOf(*at.unit, call.places);
      form.procedure = call.procedure;
      form.elements.assign(elements, elements + call.inputs + call.outputs);
      form.inputs_count = call.inputs;
      form.output = alternative.output;
      auto* arguments = dynamic_cast<QV_ProcedureType_F*>(call.procedure);
      size_t element = 0;
      for (int k = 0; arguments && k < arguments->InputArguments(); ++k) {
        form.inputs.emplace_back();
        if (const ConstProcValue* constant = arguments->ArgumentConstant(k)) {
          form.inputs.back().push_back(LiteralOf(*call.procedure, k, *constant));
          continue;
        }
        for (long long e = 0; e < arguments->ArgumentElements(k); ++e)
          form.inputs.back().push_back(Token::Variable(form.elements[element++]));
      }
    }
    for (int c = 0; c < alternative.condition_count; ++c) {
      const UnitPattern::Condition& condition =
          pattern.conditions[static_cast<size_t>(alternative.first_condition + c)];
      form.conditions.push_back(NumberedStream(condition.shape, PlacesOf(*at.unit, condition.places)));
    }
    forms.push_back(std::move(form));
  }
  return forms;
}

}  // namespace quiver
