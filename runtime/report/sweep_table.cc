// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/sweep_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "runtime/contract/error.h"
#include "runtime/contract/names.h"
#include "runtime/io/csv.h"
#include "runtime/io/quantity_text.h"

namespace quiver {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kMostPictures = 12, kMostCurves = 12;
constexpr const char* kOwnColumns[] = {"point", "reason", "start", "iterations"};

class TableReader {
 public:
  explicit TableReader(const std::filesystem::path& path)
      : name_(path.filename().string()), file_(path, std::ios::binary) {
    if (!file_)
      throw Error(fmt::format("cannot read {}. Name the result of a sweep, .csv or .jsonl.", path.string()));
    table_.file = name_;
    const bool json = path.extension() == ".jsonl";
    for (std::string line; std::getline(file_, line);) {
      ++line_;
      if (line.ends_with('\r')) line.pop_back();
      if (line.empty() || (!json && line[0] == '#')) continue;
      json ? JsonLine(line) : CsvLine(line);
    }
    if (table_.rows + table_.not_solved == 0)
      throw Error(fmt::format("{} has no rows of results to draw.", name_));
    Finish();
  }

  SweepTable Table() { return std::move(table_); }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw Error(
        fmt::format("{}, line {}: {} It must be the result of a sweep, .csv or .jsonl.", name_, line_, what));
  }

  void CsvLine(const std::string& line) {
    const std::vector<std::string> cells = SplitCsv(line);
    if (table_.columns.empty()) {
      for (const std::string& cell : cells) {
        const size_t open = cell.rfind(" [");
        const bool has_unit = open != cell.npos && cell.ends_with(']');
        table_.columns.push_back({has_unit ? cell.substr(0, open) : cell,
                                  has_unit ? cell.substr(open + 2, cell.size() - open - 3) : "",
                                  {},
                                  {},
                                  false});
      }
      return;
    }
    if (cells.size() != table_.columns.size())
      Fail(fmt::format("{} cells, but the header has {}.", cells.size(), table_.columns.size()));
    AddRow([&](size_t k) { return cells[k]; });
  }

  void JsonLine(const std::string& line) {
    const Json object = Json::parse(line, nullptr, false);
    if (!object.is_object()) Fail("this is no JSON object.");
    if (object.contains("columns") && object["columns"].is_array()) {
      for (const Json& column : object["columns"])
        if (column.is_object() && column.contains("name") && column["name"].is_string())
          table_.columns.push_back(
              {column["name"].get<std::string>(),
               column.contains("unit") && column["unit"].is_string() ? column["unit"].get<std::string>() : "",
               {},
               {},
               false});
      return;
    }
    if (table_.columns.empty())
      for (const auto& [key, value] : object.items()) table_.columns.push_back({key, "", {}, {}, false});
    AddRow([&](size_t k) -> std::string {
      const auto cell = object.find(table_.columns[k].name);
      if (cell == object.end() || cell->is_null()) return "";
      return cell->is_string() ? cell->get<std::string>() : cell->dump();
    });
  }

  template <class Cell>
  void AddRow(Cell cell) {
    for (size_t k = 0; k < table_.columns.size(); ++k)
      if (table_.columns[k].name == "status" && cell(k) != "solved" && cell(k) != "converged") {
        ++table_.not_solved;
        return;
      }
    for (size_t k = 0; k < table_.columns.size(); ++k) {
      table_.columns[k].texts.push_back(cell(k));
      table_.columns[k].numbers.push_back(ParseReal(table_.columns[k].texts.back()).value_or(std::nan("")));
    }
    ++table_.rows;
  }

  void Finish() {
    std::erase_if(table_.columns, [](const SweepTable::Column& column) {
      return column.name == "status" || std::ranges::find(kOwnColumns, column.name) != std::end(kOwnColumns);
    });
    for (SweepTable::Column& column : table_.columns) {
      column.numeric = std::ranges::any_of(column.numbers, [](double v) { return std::isfinite(v); });
      for (size_t i = 0; i < table_.rows; ++i)
        if (std::isnan(column.numbers[i]) && !column.texts[i].empty()) column.numeric = false;
    }
  }

  std::string name_;
  std::ifstream file_;
  SweepTable table_;
  int line_ = 0;
};

size_t DistinctValues(const SweepTable::Column& column) {
  return std::set<std::string>(column.texts.begin(), column.texts.end()).size();
}

// Values in the order of the abscissa.
LineChart::Series Sorted(LineChart::Series series) {
  std::vector<size_t> order(series.x.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::ranges::stable_sort(order, [&](size_t a, size_t b) { return series.x[a] < series.x[b]; });
  LineChart::Series sorted{series.label, {}, {}};
  for (const size_t i : order) {
    sorted.x.push_back(series.x[i]);
    sorted.y.push_back(series.y[i]);
  }
  return sorted;
}

}  // namespace

SweepTable ReadSweepTable(const std::filesystem::path& path) { return TableReader(path).Table(); }

std::vector<Plot> SweepPlots(const SweepTable& table, const std::set<std::string>& inputs) {
  std::vector<const SweepTable::Column*> axes, results;
  for (const SweepTable::Column& column : table.columns) {
    if (DistinctValues(column) < 2) continue;
    (inputs.contains(UpperCase(column.name)) || !column.numeric ? axes : results).push_back(&column);
  }
  const SweepTable::Column* abscissa = nullptr;
  for (const SweepTable::Column* axis : axes)
    if (axis->numeric && (!abscissa || DistinctValues(*axis) > DistinctValues(*abscissa))) abscissa = axis;
  std::vector<Plot> plots;
  if (!abscissa) return plots;
  // A sample changes all axes at once: no two points share a curve, so they stand as dots.
  std::map<std::string, size_t> curve_of;
  std::vector<std::string> labels(table.rows);
  for (size_t i = 0; i < table.rows; ++i) {
    for (const SweepTable::Column* axis : axes)
      if (axis != abscissa)
        labels[i] += fmt::format(
            "{}{} {}", labels[i].empty() ? "" : ", ", axis->name,
            axis->numeric ? fmt::format("{} {}", ShortNumber(axis->numbers[i]), UnitText(axis->unit))
                          : axis->texts[i]);
    curve_of.try_emplace(labels[i], curve_of.size());
  }
  const bool scattered = 2 * curve_of.size() > table.rows;
  for (const SweepTable::Column* result : results) {
    if (plots.size() == kMostPictures) break;
    Plot plot;
    plot.chart.title = fmt::format("Sweep: {} over {}", result->name, abscissa->name);
    plot.chart.x_label = WithUnit(abscissa->name, abscissa->unit);
    plot.chart.y_label = WithUnit(result->name, result->unit);
    plot.chart.series.resize(scattered ? 1 : std::min(curve_of.size(), kMostCurves));
    for (size_t i = 0; i < table.rows; ++i) {
      const size_t curve = scattered ? 0 : curve_of.at(labels[i]);
      if (curve >= plot.chart.series.size()) continue;
      LineChart::Series& series = plot.chart.series[curve];
      series.label = scattered || labels[i].empty() ? result->name : labels[i];
      series.x.push_back(abscissa->numbers[i]);
      series.y.push_back(result->numbers[i]);
    }
    for (LineChart::Series& series : plot.chart.series) {
      series = Sorted(std::move(series));
      series.markers = scattered;
    }
    plot.caption =
        fmt::format("{} rows of {}{}{}{}.", table.rows, table.file,
                    table.not_solved ? fmt::format("; {} more did not converge", table.not_solved) : "",
                    curve_of.size() > kMostCurves && !scattered
                        ? fmt::format("; the first {} of {} curves", kMostCurves, curve_of.size())
                        : "",
                    results.size() > kMostPictures
                        ? fmt::format("; the first {} of {} results are drawn", kMostPictures, results.size())
                        : "");
    plot.chart.description = plot.caption;
    plots.push_back(std::move(plot));
  }
  return plots;
}

}  // namespace quiver
