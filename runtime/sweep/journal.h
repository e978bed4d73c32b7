// SPDX-License-Identifier: Apache-2.0
// The file to which a running sweep appends the chunks that are done, so that a run killed at any moment goes on where it
// was. It is also what a shard leaves behind for "quiver merge".
//
//   Journal journal("out.csv.journal", header, resume);     // takes up a journal with the same header
//   if (!journal.Has(7)) journal.Append(7, text);
//
// First the header, one line of JSON; then records "K <chunk> <bytes> <checksum>" with their text. A record that was torn
// by the kill is cut off when the file is opened again.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/contract/error.h"

namespace quiver {

struct JournalHeader {
  struct Axis {
    std::string name, unit;
  };
  std::string version, case_digest, sweep_digest;
  long long points = 0, chunk = 1;
  int shard = 1, shards = 1;
  std::vector<Axis> axes;

  long long ChunkCount() const { return (points + chunk - 1) / chunk; }
  bool IsOurs(long long number) const { return number % shards == shard - 1; }
  std::string Text() const;
  static JournalHeader Read(const std::string& line, const std::string& file);  // throws Error
};

class Journal {
 public:
  // For reading. Throws Error.
  explicit Journal(const std::filesystem::path& path);
  // For writing. `resume`: goes on with a file of the same header; without it, such a file is a fault. Throws Error.
  Journal(const std::filesystem::path& path, const JournalHeader& header, bool resume);
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  const std::filesystem::path& path() const { return path_; }
  const JournalHeader& header() const { return header_; }
  bool Has(long long chunk) const { return records_.contains(chunk); }
  std::string Text(long long chunk) const;
  void Append(long long chunk, const std::string& text);
  // The chunks of this shard that are not in it.
  long long Missing() const;

 private:
  struct Record {
    long long place, bytes;
  };
  // Closed even where the journal's own constructor fails.
  struct OpenFile {
    std::FILE* file = nullptr;
    OpenFile() = default;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile();
    operator std::FILE*() const { return file; }
  };
  void Open(const char* mode);
  long long Scan();  // the length of what is whole
  [[noreturn]] void Fail(const std::string& what) const;

  std::filesystem::path path_;
  JournalHeader header_;
  OpenFile file_;
  std::unordered_map<long long, Record> records_;
  long long end_ = 0;
};

}  // namespace quiver
