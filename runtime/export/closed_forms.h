// SPDX-License-Identifier: Apache-2.0
// Routines whose value is a formula. What a routine computes by iteration, from tables or from physical properties has none.
//
//   if (const ClosedForm* form = FindClosedForm("ZX40RM_splimit")) NlFormula y = form->value({{x}, {lower}, {upper}}, 0);
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "runtime/export/nl_formula.h"

namespace quiver {

struct ClosedForm {
  const char* routine;
  // `inputs`: per argument its elements. `output`: place among the output elements.
  NlFormula (*value)(const std::vector<std::vector<NlFormula>>& inputs, int output);
};

std::span<const ClosedForm> AllClosedForms();
const ClosedForm* FindClosedForm(std::string_view routine);  // letter case ignored; null: none

}  // namespace quiver
