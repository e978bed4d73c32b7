// SPDX-License-Identifier: Apache-2.0
// Pairs as many equations as possible with one variable each.
//
//   Matching matching = MaximumMatching(incidence);
//   if (matching.size < incidence.Rows()) ...  // some equation determines nothing of its own
#ifndef QUIVER_RUNTIME_STRUCTURE_MATCHING_H_
#define QUIVER_RUNTIME_STRUCTURE_MATCHING_H_

#include <vector>

#include "runtime/structure/incidence.h"

namespace quiver {

struct Matching {
  std::vector<int> column_of_row;  // -1: not matched
  std::vector<int> row_of_column;  // -1: not matched
  int size = 0;
};

// Hopcroft and Karp, SIAM J. Comput. 2 (1973) 225-231: time entries * sqrt(rows); no recursion.
Matching MaximumMatching(const Incidence& incidence);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_STRUCTURE_MATCHING_H_
