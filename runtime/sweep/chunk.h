// SPDX-License-Identifier: Apache-2.0
// The unit of work: a run of points next to each other, and its results as text. How a sweep is cut into chunks depends on
// its number of points alone, so that every worker, shard and resumed run meets the same chunks.
//
//   ChunkText text;
//   text.Add("C\tpsv.FLUX\tkg/m2/s");  text.Add("R\t0\tsolved\t...");     // lines as ResultLine and ColumnsLine write them
//   journal.Append(chunk, text.Take());
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/sweep/point_solver.h"

namespace quiver {

// Points of a chunk: enough for neighbours to help each other, few enough for workers to share a sweep evenly.
long long ChunkSize(long long points);

std::string ColumnsLine(const std::vector<ResultColumn>& columns);
// Point, status, reason, start, iterations, the axes' values in `units`, and the results: tabs between, texts as JSON.
std::string ResultLine(const SweepPlan& plan, const std::vector<std::string>& units,
                       const PointResult& result);

std::vector<std::string_view> Fields(std::string_view line);
PointStatus StatusOf(std::string_view name);
std::string JsonText(const std::string& text);
std::string PlainText(std::string_view json_text);  // of what JsonText wrote; anything else as it is

// Collects the lines of one chunk. A second result of a point replaces the first.
class ChunkText {
 public:
  void Add(std::string_view line);
  bool Has(long long point) const { return rows_.contains(point); }
  // Lines "C..." of all columns in the order in which they came, then a line "R<columns>\t..." for each point.
  std::string Take();

 private:
  std::vector<std::string> columns_;
  size_t current_ = 0;
  std::map<long long, std::string> rows_;
};

}  // namespace quiver
