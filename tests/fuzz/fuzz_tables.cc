// SPDX-License-Identifier: Apache-2.0
// The tables and short texts that users hand over beside the case. The first letter tells the reader, the rest is what it reads:
//
//   c  a table of points for a sweep           r  the result of a sweep, read for drawing
//   j  the journal of a sweep                  s  a saved state
//   a  NAME=VALUE, as behind --fix             v  NAME=RANGE, as behind --vary
//   u  a unit and, on the next line, another   n  the name of a component
//   p  the name of a property                  q  a number with a unit
//   k  a line of comma-separated values
#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "runtime/cases/state_file.h"
#include "runtime/contract/error.h"
#include "runtime/io/csv.h"
#include "runtime/io/quantity_text.h"
#include "runtime/io/units.h"
#include "runtime/io/variation.h"
#include "runtime/properties/component_data.h"
#include "runtime/report/sweep_table.h"
#include "runtime/sweep/journal.h"
#include "runtime/sweep/sweep_plan.h"
#include "tests/fuzz/bytes.h"

namespace quiver::fuzz {
namespace {

constexpr long long kLookedAt = 20;  // of the points of a plan

const CaseFile& Case() {
  static const CaseFile description = ReadCaseText(
      "blocks:\n  psv: {model: PSV_SIMPLE, set: {A: 1}, fix: {P_DROP: 6 bar, Y: {N2: 1}}, guess: {FLUX: "
      "1}}\n  fit: {model: "
      "PIPEFITTINGS, set: {FITCONNECT: Flanged}}\n",
      "case");
  return description;
}

// The readers of files want one: the same again each time, in memory where the system has such a place.
class FileOfText {
 public:
  explicit FileOfText(const std::string& text, const char* extension = ".csv") {
    static const std::filesystem::path folder = std::filesystem::is_directory("/dev/shm")
                                                    ? std::filesystem::path("/dev/shm")
                                                    : std::filesystem::temp_directory_path();
    static const std::string own = fmt::format("quiver_fuzz_{:08x}", std::random_device()());
    path_ = folder / (own + extension);
    std::ofstream(path_, std::ios::binary) << text;
  }
  FileOfText(const FileOfText&) = delete;
  FileOfText& operator=(const FileOfText&) = delete;
  ~FileOfText() { std::filesystem::remove(path_); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

void LookAt(const SweepPlan& plan) {
  (void)plan.Definition();
  for (long long k = 0; k < std::min(plan.Count(), kLookedAt); ++k) {
    for (const CaseValue& value : plan.Values(k)) (void)ValueText(value);
    const CaseFile point = plan.CaseAt(k);
    Promise(point.blocks.size() == Case().blocks.size(), "a point has other blocks than its case");
  }
  if (plan.Count() > 0) (void)plan.CaseAt(plan.Count() - 1);
}

void ReadSweepPoints(const std::string& text) {
  const FileOfText file(text);
  LookAt(SweepPlan(Case(), {.vary = {}, .table = file.path().string(), .sample = {}}, true));
}

void ReadVariationLine(const std::string& text) {
  const Variation variation = ReadVariation(text, "--vary");
  for (const char* sample : {"", "sobol"}) try {
      LookAt(SweepPlan(
          Case(), {.vary = {variation}, .table = {}, .sample = sample, .points = *sample ? 9 : 0}, true));
    } catch (const CaseError&) {
    }
}

void ReadUnits(const std::string& text) {
  const std::size_t end = text.find('\n');
  const std::string from = text.substr(0, end), to = end == text.npos ? "bar" : text.substr(end + 1);
  (void)QuantityOf(from);
  (void)ExponentsOf(from);
  const double there = ConvertUnit(1.5, from, from);
  Promise(there == 1.5, "a unit does not convert to itself");
  for (const UnitUse use : {UnitUse::kLevel, UnitUse::kDifference}) (void)ConvertUnit(1.5, from, to, use);
}

void ReadName(const std::string& text) {
  const PropertyPath path = ParsePropertyPath(text);
  Promise(ParsePropertyPath(path.Text()) == path, "the text of a name reads back as another name");
}

void ReadNumber(const std::string& text) {
  (void)ParseInteger(text);
  const auto quantity = SplitQuantity(text);
  if (!quantity) return;
  Promise(std::isfinite(quantity->value), "a number is not finite");
  Promise(ParseReal(FormatReal(quantity->value)) == quantity->value, "a number does not read back");
}

void ReadCells(const std::string& text) {
  const std::vector<std::string> cells = SplitCsv(text);
  std::vector<std::string> written;
  for (const std::string& cell : cells) written.push_back(CsvCell(cell));
  if (text.find_first_of("\r\n") == text.npos)
    Promise(SplitCsv(fmt::format("{}", fmt::join(written, ","))) == cells, "cells do not read back");
}

void ReadResult(const std::string& text) {
  const FileOfText file(text, text.starts_with('{') ? ".jsonl" : ".csv");
  (void)SweepPlots(ReadSweepTable(file.path()), {"PSV.P_DROP"});
}

void ReadJournal(const std::string& text) {
  const FileOfText file(text, ".journal");
  const Journal journal(file.path());
  for (long long chunk = 0; chunk < kLookedAt; ++chunk)
    if (journal.Has(chunk)) (void)journal.Text(chunk);
  (void)journal.header().Text();
}

void Read(char reader, const std::string& text) {
  switch (reader) {
    case 'c':
      return ReadSweepPoints(text);
    case 'r':
      return ReadResult(text);
    case 'j':
      return ReadJournal(text);
    case 's':
      return (void)ReadState(FileOfText(text, ".json").path());
    case 'a':
      return (void)RealIn(ReadAssignment(text, "--fix").value, "bar");
    case 'v':
      return ReadVariationLine(text);
    case 'u':
      return ReadUnits(text);
    case 'n':
      return (void)FindComponent(text);
    case 'p':
      return ReadName(text);
    case 'q':
      return ReadNumber(text);
    case 'k':
      return ReadCells(text);
    default:
      return;
  }
}

// What a reader may throw says something.
template <class Fault>
void Expect(const Fault& fault) {
  Promise(*fault.what(), "a fault says nothing");
}

void Run(Bytes bytes) {
  const char reader = static_cast<char>(bytes.Byte());
  try {
    Read(reader, bytes.Rest());
  } catch (const CaseError& fault) {
    Expect(fault);
  } catch (const Error& fault) {
    Expect(fault);
  } catch (const UnitError& fault) {
    Expect(fault);
  } catch (const PropertyNameError& fault) {
    Expect(fault);
  }
}

}  // namespace
}  // namespace quiver::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quiver::fuzz::Run({data, size});
  return 0;
}
