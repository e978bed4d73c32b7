// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/chunk.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "runtime/io/quantity_text.h"

namespace quiver {
namespace {

constexpr long long kFewest = 4, kMost = 256, kChunks = 64;

std::string AxisField(const CaseValue& value, const std::string& unit) {
  if (value.kind == CaseValue::Kind::kLogical) return value.logical ? "true" : "false";
  if (value.kind == CaseValue::Kind::kQuantity && value.unit != unit) {
    try {
      return FormatReal(ConvertUnit(value.real, value.unit, unit), RealStyle::kShortest);
    } catch (const UnitError&) {
      return JsonText(value.text);  // a text that looks like a quantity
    }
  }
  if (value.IsNumber()) return FormatReal(value.real, RealStyle::kShortest);
  return JsonText(ValueText(value));
}

}  // namespace

long long ChunkSize(long long points) { return std::clamp(points / kChunks, kFewest, kMost); }

std::string JsonText(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string PlainText(std::string_view json_text) {
  if (!json_text.starts_with('"')) return std::string(json_text);
  return nlohmann::json::parse(json_text).get<std::string>();
}

std::string ColumnsLine(const std::vector<ResultColumn>& columns) {
  std::string line = "C";
  for (const ResultColumn& column : columns)
    line.append("\t").append(column.name).append("\t").append(column.unit);
  return line;
}

std::string ResultLine(const SweepPlan& plan, const std::vector<std::string>& units,
                       const PointResult& result) {
  std::string line =
      fmt::format("R\t{}\t{}\t{}\t", result.point, kPointStatusNames[static_cast<int>(result.status)],
                  result.reason.empty() ? "" : JsonText(result.reason));
  const bool tried = result.status == PointStatus::kSolved || result.status == PointStatus::kFailed;
  if (tried) line += result.start < 0 ? "cold" : std::to_string(result.start + 1);
  line += '\t';
  if (tried) line += std::to_string(result.iterations);
  try {
    const std::vector<CaseValue> values = plan.Values(result.point);
    for (size_t k = 0; k < values.size(); ++k) line.append("\t").append(AxisField(values[k], units[k]));
  } catch (const CaseError&) {  // a faulty row of a table; the result tells
    line.append(units.size(), '\t');
  }
  for (const double value : result.values) line.append("\t").append(FormatReal(value, RealStyle::kShortest));
  return line;
}

std::vector<std::string_view> Fields(std::string_view line) {
  std::vector<std::string_view> fields;
  for (size_t start = 0;;) {
    const size_t end = line.find('\t', start);
    fields.push_back(line.substr(start, end - start));
    if (end == line.npos) return fields;
    start = end + 1;
  }
}

PointStatus StatusOf(std::string_view name) {
  const auto at = std::find(std::begin(kPointStatusNames), std::end(kPointStatusNames), name);
  return static_cast<PointStatus>(at - std::begin(kPointStatusNames));
}

void ChunkText::Add(std::string_view line) {
  if (line.starts_with('C')) {
    const auto known = std::find(columns_.begin(), columns_.end(), line);
    current_ = static_cast<size_t>(known - columns_.begin());
    if (known == columns_.end()) columns_.emplace_back(line);
    return;
  }
  const std::string_view point = line.substr(2, line.find('\t', 2) - 2);
  rows_[ParseInteger(point).value_or(-1)] = fmt::format("R{}{}\n", current_, line.substr(1));
}

std::string ChunkText::Take() {
  std::string text;
  for (const std::string& line : columns_) text += line + '\n';
  for (const auto& [point, row] : rows_) text += row;
  *this = {};
  return text;
}

}  // namespace quiver
