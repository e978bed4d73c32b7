// SPDX-License-Identifier: Apache-2.0
//
// How one value of a case is varied, as users write it on a command line or below "sweep" in a case file.
//
//   ReadVariation("psv.P_DROP=1..10 bar:10", "--vary")       ten values, evenly spaced
//   ReadVariation("psv.P_DROP=1..1000 bar:4 log", "--vary")  1, 10, 100 and 1000 bar
//   ReadVariation("psv.P_DROP=1, 2, 5 bar", "--vary")        these; the unit of the last holds for all
//   ReadVariation("fit.FITCONNECT=Flanged, Screwed", "--vary")
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/io/case_file.h"

namespace quiver {

// Throws CaseError with `source` (say, "--vary") in place of a file.
Variation ReadVariation(std::string_view text, const std::string& source);

// What stands behind the name. Adds to `faults` what is wrong.
void ReadVariationText(std::string_view text, Variation& variation, std::vector<CaseFault>& faults);

// One value as it would stand in a case file, such as 6 bar, true, Flanged or {N2: 0.8, O2: 0.2}. Throws CaseError.
CaseValue ReadLoneValue(std::string_view text, const std::string& source);

}  // namespace quiver
