// SPDX-License-Identifier: Apache-2.0
// The methods by the names that users give them. A new one is a row in method_list.cc.
//
//   BlockSolver solver = SolverByName("kinsol");        // throws where there is none of that name
#ifndef QUIVER_RUNTIME_SOLVE_METHOD_LIST_H_
#define QUIVER_RUNTIME_SOLVE_METHOD_LIST_H_

#include <string>
#include <string_view>
#include <vector>

#include "runtime/solve/block_solver.h"

namespace quiver {

struct MethodRow {
  const char* name;
  const char* about;
  BlockSolver (*make)();  // null: known, but not in this build
};

const std::vector<MethodRow>& AllMethods();

// Throws std::invalid_argument with the names there are.
BlockSolver SolverByName(std::string_view name);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_METHOD_LIST_H_
