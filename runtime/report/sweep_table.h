// SPDX-License-Identifier: Apache-2.0
// The results of a sweep, read back for drawing.
//
//   const SweepTable table = ReadSweepTable("out.csv");           // or out.jsonl
//   for (const Plot& plot : SweepPlots(table, {"PSV.P_DROP"})) Draw(plot.chart);
//
// CSV: lines that start with "#" are passed over, the next one is the header: NAME or NAME [UNIT]. JSON lines: the first object
// may list the columns with their units. Cells that are no numbers stay texts; empty ones and null are absent.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "runtime/report/plots.h"

namespace quiver {

struct SweepTable {
  struct Column {
    std::string name, unit;
    std::vector<std::string> texts;
    std::vector<double> numbers;  // parallel to `texts`; not-a-number where it is none
    bool numeric = false;         // all cells that are there are numbers, and some are
  };
  std::string file;
  std::vector<Column> columns;      // without those that only number the rows
  size_t rows = 0, not_solved = 0;  // rows whose status says otherwise are left out of the columns
};

// Throws Error that names file, line and what to do.
SweepTable ReadSweepTable(const std::filesystem::path& path);

// One picture per result: over the axis with the most values, a curve per combination of the others. A column is an axis if it is
// in `inputs` (upper case) or holds texts; those that never change are neither.
std::vector<Plot> SweepPlots(const SweepTable& table, const std::set<std::string>& inputs);

}  // namespace quiver
