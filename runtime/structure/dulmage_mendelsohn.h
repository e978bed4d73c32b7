// SPDX-License-Identifier: Apache-2.0
// Where a system has too many equations, where too few, and where just enough.
//
//   StructuralParts parts = FindStructuralParts(incidence, MaximumMatching(incidence));
//   for (const StructuralPart& part : parts.over) ...   // more rows than columns
#ifndef QUIVER_RUNTIME_STRUCTURE_DULMAGE_MENDELSOHN_H_
#define QUIVER_RUNTIME_STRUCTURE_DULMAGE_MENDELSOHN_H_

#include <vector>

#include "runtime/structure/incidence.h"
#include "runtime/structure/matching.h"

namespace quiver {

struct StructuralPart {
  std::vector<int> rows, columns;  // ascending
};

// The coarse decomposition of Dulmage and Mendelsohn, Canad. J. Math. 10 (1958) 517-534. It does not depend
// on which maximum matching was found.
struct StructuralParts {
  // Connected parts with more rows than columns. Any one row of a part could be the superfluous one.
  std::vector<StructuralPart> over;
  // Connected parts with fewer rows than columns. Any one column of a part could be the undetermined one.
  std::vector<StructuralPart> under;
  StructuralPart well;
};

StructuralParts FindStructuralParts(const Incidence& incidence, const Matching& matching);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_STRUCTURE_DULMAGE_MENDELSOHN_H_
