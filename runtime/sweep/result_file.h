// SPDX-License-Identifier: Apache-2.0
// From journals to the file that the user asked for: rows in the order of the points, one column per axis and per value that
// any point reports.
//
//   std::vector<const Journal*> parts = {&journal};
//   WriteResults(parts, "out.csv");            // or out.jsonl; under another name first, then renamed
//
// The file opens with its origin (version, SHA-256 of case and sweep): in CSV a line that starts with "#", in JSON lines the
// first object. Values that a point does not have are empty cells, or null.
#pragma once

#include <array>
#include <filesystem>
#include <vector>

#include "runtime/sweep/chunk.h"
#include "runtime/sweep/journal.h"

namespace quiver {

struct PointCounts {
  std::array<long long, kPointStatuses> by_status = {};
  long long All() const {
    long long all = 0;
    for (const long long count : by_status) all += count;
    return all;
  }
  long long Of(PointStatus status) const { return by_status[static_cast<size_t>(status)]; }
};

// Only .csv and .jsonl can be written. Throws Error for others.
void CheckResultName(const std::filesystem::path& path);

// Journals that hold all chunks between them. An empty path: CSV to standard output. Throws Error.
void WriteResults(const std::vector<const Journal*>& parts, const std::filesystem::path& path);

PointCounts CountResults(const Journal& journal);

}  // namespace quiver
