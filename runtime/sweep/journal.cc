// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/journal.h"

#include <fmt/format.h>

#include <cinttypes>
#include <nlohmann/json.hpp>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
//
#include <io.h>
#else
#include <sys/file.h>
#endif

namespace quiver {
namespace {

constexpr int kFormat = 1;

// Tells a torn record from a whole one, no more (64-bit FNV-1a).
std::uint64_t CheckSum(const std::string& bytes) {
  std::uint64_t sum = 0xcbf2'9ce4'8422'2325;
  for (const char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100'0000'01b3;
  return sum;
}

constexpr size_t kLongestLine = 16u << 20;  // of what is no journal

bool ReadLine(std::FILE* file, std::string& line) {
  line.clear();
  for (int c; line.size() < kLongestLine && (c = std::getc(file)) != EOF;) {
    if (c == '\n') return true;
    line += static_cast<char>(c);
  }
  return false;
}

bool ReadBytes(std::FILE* file, long long bytes, std::string& text) {
  text.resize(static_cast<size_t>(bytes));
  return std::fread(text.data(), 1, text.size(), file) == text.size();
}

int Seek(std::FILE* file, long long place) {
#if defined(_WIN32)
  return _fseeki64(file, place, SEEK_SET);
#else
  return fseeko(file, static_cast<off_t>(place), SEEK_SET);
#endif
}

// Until it is closed. False: another has it.
bool Lock(std::FILE* file) {
#if defined(_WIN32)
  OVERLAPPED place = {};
  place.OffsetHigh = 1 << 30;  // behind all that is ever written, for what is locked cannot be read
  return LockFileEx(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))),
                    LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0;
#else
  return flock(fileno(file), LOCK_EX | LOCK_NB) == 0;
#endif
}

}  // namespace

std::string JournalHeader::Text() const {
  nlohmann::ordered_json axes_json = nlohmann::ordered_json::array();
  for (const Axis& axis : axes) axes_json.push_back({{"name", axis.name}, {"unit", axis.unit}});
  return nlohmann::ordered_json{{"quiver_sweep", kFormat}, {"version", version}, {"case", case_digest},
                                {"sweep", sweep_digest},   {"points", points},   {"chunk", chunk},
                                {"shard", shard},          {"shards", shards},   {"axes", axes_json}}
      .dump();
}

JournalHeader JournalHeader::Read(const std::string& line, const std::string& file) {
  const auto json = nlohmann::json::parse(line, nullptr, false);
  try {
    if (json.at("quiver_sweep") != kFormat) throw Error("");
    JournalHeader header;
    header.version = json.at("version");
    header.case_digest = json.at("case");
    header.sweep_digest = json.at("sweep");
    header.points = json.at("points");
    header.chunk = json.at("chunk");
    header.shard = json.at("shard");
    header.shards = json.at("shards");
    for (const auto& axis : json.at("axes")) header.axes.push_back({axis.at("name"), axis.at("unit")});
    if (header.points < 1 || header.chunk < 1 || header.shards < 1) throw Error("");
    return header;
  } catch (const std::exception&) {
    throw Error(fmt::format(
        "{}: this is no part of a sweep of this program. Give the files that \"quiver sweep --shard\" "
        "left.",
        file));
  }
}

Journal::Journal(const std::filesystem::path& path) : path_(path) {
  Open("rb");
  Scan();
}

Journal::Journal(const std::filesystem::path& path, const JournalHeader& header, bool resume) : path_(path) {
  std::error_code error;
  const bool there = std::filesystem::exists(path, error) && std::filesystem::file_size(path, error) > 0;
  if (there && !resume)
    Fail("a sweep was broken off here. Go on with --resume, or remove the file to start anew.");
  Open(there ? "r+b" : "w+b");
  if (!Lock(file_)) Fail("another sweep is writing to it. Wait for its end, or give another --output.");
  std::string line;
  // A kill may have torn the header itself: then nothing is lost by starting anew.
  if (there && ReadLine(file_, line)) {
    if (line != header.Text())
      Fail("it belongs to another sweep: case, points, shard or version differ. Remove it to start anew.");
    Seek(file_, 0);
    end_ = Scan();
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(end_), error);
  } else {
    header_ = header;
    const std::string text = header.Text() + "\n";
    if (Seek(file_, 0) != 0 || std::fwrite(text.data(), 1, text.size(), file_) != text.size() ||
        std::fflush(file_) != 0)
      Fail("it cannot be written. Look whether the disk is full.");
    end_ = static_cast<long long>(text.size());
  }
}

Journal::OpenFile::~OpenFile() {
  if (file) std::fclose(file);
}

void Journal::Open(const char* mode) {
  file_.file = std::fopen(path_.string().c_str(), mode);
  if (!file_) Fail("it cannot be opened. Give a file in a folder that exists and that you may use.");
}

void Journal::Fail(const std::string& what) const {
  throw Error(fmt::format("{}: {}", path_.string(), what));
}

long long Journal::Scan() {
  std::string line, text;
  if (!ReadLine(file_, line) && line.empty()) Fail("it is empty. Run that part of the sweep again.");
  header_ = JournalHeader::Read(line, path_.string());
  long long place = static_cast<long long>(line.size()) + 1;
  while (ReadLine(file_, line)) {
    long long chunk = -1, bytes = -1;
    std::uint64_t sum = 0;
    if (std::sscanf(line.c_str(), "K %lld %lld %" SCNx64, &chunk, &bytes, &sum) != 3 || bytes < 0) break;
    std::error_code error;
    if (bytes > static_cast<long long>(std::filesystem::file_size(path_, error))) break;
    if (!ReadBytes(file_, bytes, text) || CheckSum(text) != sum) break;
    place += static_cast<long long>(line.size()) + 1;
    records_[chunk] = {place, bytes};
    place += bytes;
  }
  return place;
}

std::string Journal::Text(long long chunk) const {
  const Record& record = records_.at(chunk);
  std::string text;
  if (Seek(file_, record.place) != 0 || !ReadBytes(file_, record.bytes, text)) Fail("it cannot be read.");
  return text;
}

void Journal::Append(long long chunk, const std::string& text) {
  const std::string head = fmt::format("K {} {} {:x}\n", chunk, text.size(), CheckSum(text));
  if (Seek(file_, end_) != 0 || std::fwrite(head.data(), 1, head.size(), file_) != head.size() ||
      std::fwrite(text.data(), 1, text.size(), file_) != text.size() || std::fflush(file_) != 0)
    Fail("it cannot be written. Look whether the disk is full; --resume goes on from here.");
  end_ += static_cast<long long>(head.size());
  records_[chunk] = {end_, static_cast<long long>(text.size())};
  end_ += static_cast<long long>(text.size());
}

long long Journal::Missing() const {
  long long missing = 0;
  for (long long chunk = header_.shard - 1; chunk < header_.ChunkCount(); chunk += header_.shards)
    if (!Has(chunk)) ++missing;
  return missing;
}

}  // namespace quiver
