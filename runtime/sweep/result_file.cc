// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/result_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>

#include "runtime/io/csv.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace quiver {
namespace {

constexpr const char* kOwnColumns[] = {"point", "status", "reason", "start", "iterations"};
constexpr size_t kOwn = std::size(kOwnColumns);

// Calls action(line) for each line.
template <class Action>
void ForEachLine(const std::string& text, Action action) {
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\n', start);
    action(std::string_view(text).substr(start, end - start));
    start = end + 1;
  }
}

std::vector<ResultColumn> ColumnsOf(std::string_view line) {
  const std::vector<std::string_view> fields = Fields(line);
  std::vector<ResultColumn> columns;
  for (size_t k = 1; k + 1 < fields.size(); k += 2)
    columns.push_back({std::string(fields[k]), std::string(fields[k + 1])});
  return columns;
}

std::string Heading(const std::string& name, const std::string& unit) {
  return unit.empty() ? name : fmt::format("{} [{}]", name, unit);
}

class Writer {
 public:
  Writer(const std::vector<const Journal*>& parts, std::FILE* file, bool json)
      : parts_(parts), header_(parts[0]->header()), file_(file), json_(json) {}

  void Write() {
    ForEachChunk([&](const std::string& text) {
      ForEachLine(text, [&](std::string_view line) {
        if (line.starts_with('C')) Places(line);
      });
    });
    WriteHead();
    std::vector<const std::vector<size_t>*> places;
    ForEachChunk([&](const std::string& text) {
      places.clear();
      ForEachLine(text, [&](std::string_view line) {
        if (line.starts_with('C'))
          places.push_back(&Places(line));
        else
          WriteRow(line, places);
      });
    });
  }

 private:
  template <class Action>
  void ForEachChunk(Action action) {
    for (long long chunk = 0; chunk < header_.ChunkCount(); ++chunk) {
      const auto has = [&](const Journal* part) { return part->Has(chunk); };
      action((*std::find_if(parts_.begin(), parts_.end(), has))->Text(chunk));
    }
  }

  // Where the columns of a "C" line stand among all columns; new ones are added.
  const std::vector<size_t>& Places(std::string_view line) {
    const auto [entry, added] = places_.try_emplace(std::string(line));
    if (!added) return entry->second;
    for (const ResultColumn& column : ColumnsOf(line)) {
      const std::string heading = Heading(column.name, column.unit);
      const auto [known, is_new] = place_.emplace(heading, columns_.size());
      if (is_new) columns_.push_back(column);
      entry->second.push_back(known->second);
    }
    return entry->second;
  }

  void WriteHead() {
    if (!json_) {
      fmt::print(file_, "# quiver {}; case sha256 {}; sweep sha256 {}; {} points\n", header_.version,
                 header_.case_digest, header_.sweep_digest, header_.points);
      std::string line = fmt::format("{}", fmt::join(kOwnColumns, ","));
      for (const JournalHeader::Axis& axis : header_.axes)
        line.append(",").append(CsvCell(Heading(axis.name, axis.unit)));
      for (const ResultColumn& column : columns_)
        line.append(",").append(CsvCell(Heading(column.name, column.unit)));
      fmt::print(file_, "{}\n", line);
      return;
    }
    std::string columns;
    const auto add = [&](const std::string& name, const std::string& unit) {
      columns += fmt::format("{}{{\"name\":{},\"unit\":{}}}", columns.empty() ? "" : ",", JsonText(name),
                             unit.empty() ? "null" : JsonText(unit));
      keys_.push_back(JsonText(name));
    };
    for (const char* name : kOwnColumns) add(name, "");
    for (const JournalHeader::Axis& axis : header_.axes) add(axis.name, axis.unit);
    for (const ResultColumn& column : columns_) add(column.name, column.unit);
    fmt::print(
        file_,
        "{{\"quiver\":{},\"case_sha256\":\"{}\",\"sweep_sha256\":\"{}\",\"points\":{},\"columns\":[{}]}}\n",
        JsonText(header_.version), header_.case_digest, header_.sweep_digest, header_.points, columns);
  }

  void WriteRow(std::string_view line, const std::vector<const std::vector<size_t>*>& places) {
    const std::vector<std::string_view> fields = Fields(line);
    const size_t fixed = kOwn + header_.axes.size();
    std::vector<std::string_view> cells(fixed + columns_.size());
    for (size_t k = 0; k < fixed && k + 1 < fields.size(); ++k) cells[k] = fields[k + 1];
    const size_t set = static_cast<size_t>(std::strtoull(fields[0].data() + 1, nullptr, 10));
    for (size_t k = fixed + 1; k < fields.size(); ++k)
      cells[fixed + (*places[set])[k - fixed - 1]] = fields[k];
    const std::string point = std::to_string(std::strtoll(cells[0].data(), nullptr, 10) + 1);
    cells[0] = point;
    std::string text;
    for (size_t k = 0; k < cells.size(); ++k) {
      if (!json_)
        text.append(k ? "," : "").append(CsvCell(PlainText(cells[k])));
      else
        text += fmt::format("{}{}:{}", k ? ',' : '{', keys_[k], JsonCell(cells[k], k));
    }
    fmt::print(file_, "{}{}\n", text, json_ ? "}" : "");
  }

  static std::string JsonCell(std::string_view cell, size_t column) {
    if (cell.empty() || cell == "nan" || cell == "inf" || cell == "-inf") return "null";
    if (column == 1 || cell == "cold") return fmt::format("\"{}\"", cell);
    return std::string(cell);
  }

  const std::vector<const Journal*>& parts_;
  const JournalHeader& header_;
  std::FILE* file_;
  bool json_;
  std::map<std::string, std::vector<size_t>> places_;  // by "C" line
  std::map<std::string, size_t> place_;                // by heading
  std::vector<ResultColumn> columns_;
  std::vector<std::string> keys_;  // of JSON objects
};

}  // namespace

void CheckResultName(const std::filesystem::path& path) {
  if (path.extension() != ".csv" && path.extension() != ".jsonl")
    throw Error(fmt::format(
        "{}: results are written as .csv or .jsonl. Give a name with one of these endings.", path.string()));
}

void WriteResults(const std::vector<const Journal*>& parts, const std::filesystem::path& path) {
  if (path.empty()) return Writer(parts, stdout, false).Write();
  CheckResultName(path);
  const std::filesystem::path unfinished = path.string() + ".unfinished";
  std::FILE* file = std::fopen(unfinished.string().c_str(), "wb");
  const auto check = [&](bool good) {
    if (!good)
      throw Error(fmt::format("{}: the results cannot be written. Give a folder that exists and has room.",
                              unfinished.string()));
  };
  check(file != nullptr);
  bool good = true;
  try {
    Writer(parts, file, path.extension() == ".jsonl").Write();
  } catch (const std::system_error&) {  // the disk is full
    good = false;
  } catch (...) {
    std::fclose(file);
    throw;
  }
  good = std::fflush(file) == 0 && good;
#if !defined(_WIN32)
  good = fsync(fileno(file)) == 0 && good;
#endif
  good = std::fclose(file) == 0 && good;
  check(good);
  std::filesystem::rename(unfinished, path);
}

PointCounts CountResults(const Journal& journal) {
  PointCounts counts;
  for (long long chunk = 0; chunk < journal.header().ChunkCount(); ++chunk) {
    if (!journal.Has(chunk)) continue;
    ForEachLine(journal.Text(chunk), [&](std::string_view line) {
      if (line.starts_with('R')) ++counts.by_status[static_cast<size_t>(StatusOf(Fields(line)[2]))];
    });
  }
  return counts;
}

}  // namespace quiver
