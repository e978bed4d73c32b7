// SPDX-License-Identifier: Apache-2.0
// A CSV file whose header names values of a case and whose rows are points.
//
//   SampleTable table("points.csv");       // psv.P_DROP [bar],fit.FITCONNECT
//   table.Cell(0, 1)                       // "Flanged"
//
// Lines that start with "#" are passed over; so is a column "point". Cells may stand in quotes, a quote in them doubled. The
// file is kept as it is, its cells are read when asked for.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/io/property_name.h"

namespace quiver {

class SampleTable {
 public:
  struct Column {
    PropertyPath name;
    std::string unit;
    size_t place;  // in the row
  };
  // Throws CaseError.
  explicit SampleTable(const std::filesystem::path& path);

  const std::string& name() const { return name_; }
  const std::string& text() const { return text_; }
  const std::vector<Column>& columns() const { return columns_; }
  long long RowCount() const { return static_cast<long long>(rows_.size()); }
  int LineOf(long long row) const;
  // The cells of the columns, in their order. Throws CaseError for a row with too few or too many, or an empty one.
  std::vector<std::string> Row(long long row) const;

 private:
  void ReadHeader(std::string_view line, int number);

  std::string name_, text_;
  std::vector<Column> columns_;
  size_t width_ = 0;          // cells of a row
  std::vector<size_t> rows_;  // where each starts in text_
};

}  // namespace quiver
