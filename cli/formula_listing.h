// SPDX-License-Identifier: Apache-2.0
// A model's equations for people: numbered, named, in ordinary notation, branches indented below their conditions, those of
// sub-models behind their owner's.
//
//   fmt::print("{}", FormulaListing("VALTYPE", instance));
#pragma once

#include <string>

#include "runtime/system/describe.h"

namespace quiver {

std::string FormulaListing(const std::string& title, Instance& instance);
// "FLOW(1)" of a sub-model, as its owner names it.
std::string PartName(const Instance& part);

}  // namespace quiver
