// SPDX-License-Identifier: Apache-2.0
// A report as one HTML page that needs nothing else: no network, no file beside it, and, but for values read off the curves
// under the pointer, no script. Well formed as XML, too.
//
//   ReportProvenance from{"quiver 0.1", "case.yaml", Sha256Of(text), "2026-05-04 12:00 UTC"};
//   file << ReportPage(SolveAndCollect(run), from);
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "runtime/report/content.h"

namespace quiver {

struct ReportProvenance {
  std::string program;  // with its version
  std::string date;     // as it is to be read
  std::vector<std::pair<std::string, std::string>>
      sources;  // "Case file", "case.yaml"; in the order of printing
};

// `brief`: without the equations and the list of all values.
std::string ReportPage(const ReportContent& content, const ReportProvenance& provenance, bool brief = false);

}  // namespace quiver
