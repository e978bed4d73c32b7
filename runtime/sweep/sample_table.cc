// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/sample_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>

#include "runtime/io/case_error.h"
#include "runtime/io/csv.h"
#include "runtime/io/units.h"

namespace quiver {
namespace {

constexpr size_t kLargestTable = 128u << 20;  // bytes
constexpr size_t kMostColumns = 1000;

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r");
  return first == text.npos ? std::string_view()
                            : text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

std::string_view LineAt(const std::string& text, size_t start) {
  std::string_view line = std::string_view(text).substr(start, text.find('\n', start) - start);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

SampleTable::SampleTable(const std::filesystem::path& path) : name_(path.string()) {
  std::error_code unknown;
  std::ifstream file(path, std::ios::binary);
  if (!file || std::filesystem::is_directory(path, unknown))
    throw CaseError(name_,
                    {CaseFault({}, "the table cannot be opened", "give a CSV file that you may read")});
  char chunk[1 << 16];
  while (text_.size() <= kLargestTable && (file.read(chunk, sizeof chunk) || file.gcount() > 0))
    text_.append(chunk, static_cast<size_t>(file.gcount()));
  if (text_.size() > kLargestTable)
    throw CaseError(name_, {CaseFault({}, fmt::format("the table has more than {} MB", kLargestTable >> 20),
                                      "sweep it in parts")});
  if (text_.starts_with("\xef\xbb\xbf")) text_.erase(0, 3);  // some spreadsheets write this mark
  int number = 0;
  for (size_t start = 0; start < text_.size();) {
    ++number;
    const std::string_view line = LineAt(text_, start);
    const size_t next = std::min(text_.find('\n', start), text_.size() - 1) + 1;
    if (!Trimmed(line).empty() && !line.starts_with('#')) {
      if (width_ == 0)
        ReadHeader(line, number);
      else
        rows_.push_back(start);
    }
    start = next;
  }
  if (rows_.empty())
    throw CaseError(name_, {CaseFault({}, "the table has no row",
                                      "write a header such as psv.P_DROP [bar], then a row for each point")});
}

void SampleTable::ReadHeader(std::string_view line, int number) {
  std::vector<CaseFault> faults;
  const std::vector<std::string> cells = SplitCsv(line);
  width_ = cells.size();
  if (width_ > kMostColumns)
    throw CaseError(name_, {CaseFault({number, 1}, fmt::format("the header has {} columns", width_),
                                      fmt::format("vary at most {} values", kMostColumns))});
  for (size_t k = 0; k < cells.size(); ++k) {
    std::string_view cell = Trimmed(cells[k]);
    if (cell == "point") continue;
    Column column{{}, "", k};
    if (const size_t bracket = cell.rfind('['); bracket != cell.npos && cell.ends_with(']')) {
      column.unit = Trimmed(cell.substr(bracket + 1, cell.size() - bracket - 2));
      cell = Trimmed(cell.substr(0, bracket));
    }
    const Location at{number, static_cast<int>(k) + 1};
    try {
      column.name = ParsePropertyPath(cell);
      if (!column.unit.empty()) CheckUnit(column.unit);
    } catch (const PropertyNameError& error) {
      AddFault(faults, at, fmt::format("column {}: {}", k + 1, error.what()), "head it BLOCK.NAME [unit]");
    } catch (const UnitError& error) {
      AddFault(faults, at, fmt::format("column {}: {}", k + 1, error.what()), "");
    }
    columns_.push_back(std::move(column));
  }
  if (faults.empty() && columns_.empty())
    AddFault(faults, {number, 1}, "the header names no value", "write names such as psv.P_DROP [bar]");
  if (!faults.empty()) throw CaseError(name_, std::move(faults));
}

int SampleTable::LineOf(long long row) const {
  const auto end = text_.begin() + static_cast<std::ptrdiff_t>(rows_[static_cast<size_t>(row)]);
  return static_cast<int>(std::count(text_.begin(), end, '\n')) + 1;
}

std::vector<std::string> SampleTable::Row(long long row) const {
  const std::vector<std::string> cells = SplitCsv(LineAt(text_, rows_[static_cast<size_t>(row)]));
  if (cells.size() != width_)
    throw CaseError(
        name_,
        {CaseFault({LineOf(row), 1}, fmt::format("the row has {} cells, the header {}", cells.size(), width_),
                   "give every row a cell for each column")});
  std::vector<std::string> values;
  for (const Column& column : columns_) {
    values.emplace_back(Trimmed(cells[column.place]));
    if (values.back().empty())
      throw CaseError(name_, {CaseFault({LineOf(row), static_cast<int>(column.place) + 1},
                                        column.name.Text() + " has no value in this row", "give it one")});
  }
  return values;
}

}  // namespace quiver
