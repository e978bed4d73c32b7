// SPDX-License-Identifier: Apache-2.0
// What a diagnosis says: one finding for one thing a user can look at, with what to do about it.
#pragma once

#include <string>
#include <vector>

namespace quiver {

enum class Severity { kFault, kWarning, kNote };  // a fault prevents solving; a note is worth knowing

struct Finding {
  Severity severity;
  const char* topic;   // structure, units, bounds, scaling, parallel, switch, undefined, solution
  std::string where;   // an equation, a variable or a block; empty: the whole case
  std::string what;    // a sentence
  std::string remedy;  // a sentence; empty where `what` says it
  std::vector<std::string> equations, variables;
};

}  // namespace quiver
