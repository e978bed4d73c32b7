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

// The readers of files want one: one for each extension, written anew each time, in memory where the system has such a place.
class Files {
 public:
  Files() {
    const std::filesystem::path memory = "/dev/shm";
    folder_ = std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    folder_ /= fmt::format("quiver_fuzz_{:08x}", std::random_device()());
    std::filesystem::create_directory(folder_);
  }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;
  ~Files() { std::filesystem::remove_all(folder_); }
  std::filesystem::path With(const std::string& text, const char* name) const {
    const std::filesystem::path path = folder_ / name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

 private:
  std::filesystem::path folder_;
};

std::filesystem::path FileOf(const std::string& text, const char* name) {
  static const Files files;
  return files.With(text, name);
}

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
  LookAt(SweepPlan(Case(), {.vary = {}, .table = FileOf(text, "points.csv").string(), .sample = {}}, true));
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
  const auto file = FileOf(text, text.starts_with('{') ? "result.jsonl" : "result.csv");
  (void)SweepPlots(ReadSweepTable(file), {"PSV.P_DROP"});
}

void ReadJournal(const std::string& text) {
  const Journal journal(FileOf(text, "sweep.journal"));
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
      return (void)ReadState(FileOf(text, "state.json"));
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
