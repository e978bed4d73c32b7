// SPDX-License-Identifier: Apache-2.0
// Lines of comma-separated values (RFC 4180, without line breaks in a cell).
//
//   SplitCsv("a,\"b,c\"")     {"a", "b,c"}
//   CsvCell("b,c")            "\"b,c\""
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quiver {

inline std::vector<std::string> SplitCsv(std::string_view line) {
  std::vector<std::string> cells(1);
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
      cells.back() += line[++i];
    } else if (c == '"') {
      quoted = !quoted;
    } else if (c == ',' && !quoted) {
      cells.emplace_back();
    } else {
      cells.back() += c;
    }
  }
  return cells;
}

inline std::string CsvCell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == text.npos) return text;
  std::string cell = "\"";
  for (const char c : text) {
    if (c == '"') cell += '"';
    cell += c == '\n' || c == '\r' ? ' ' : c;
  }
  return cell + '"';
}

}  // namespace quiver
