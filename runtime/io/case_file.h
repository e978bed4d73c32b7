// SPDX-License-Identifier: Apache-2.0
//
// Case files: what a user writes to have a flowsheet solved, as a plain description that knows nothing of
// models.
//
//   const CaseFile description = ReadCaseFile("relief.yaml");      // YAML, or JSON, which YAML includes
//   for (const CaseBlock& block : description.blocks)
//     for (const Assignment& fixed : block.fix)
//       Fix(block.name, fixed.name, RealIn(fixed.value, "bar"));
//
// The keys, and what stands below them, are told in docs/case.schema.json.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/io/case_error.h"
#include "runtime/io/property_name.h"
#include "runtime/io/units.h"

namespace quiver {

struct ElementValue;

// A value as the user wrote it. Texts that start with a number and go on with what could be a unit ("6 bar",
// in quotes or not) are quantities; whoever expects a text may take `text` from them, as from every scalar.
struct CaseValue {
  enum class Kind { kReal, kInteger, kLogical, kText, kQuantity, kList, kTable } kind = Kind::kText;
  double real = 0;           // of reals, integers and quantities
  std::int64_t integer = 0;  // of integers
  bool logical = false;
  std::string text;  // of scalars: the user's own spelling, such as 13.20; "6 bar" for {value: 6, unit: bar}
  std::string unit;  // of quantities
  std::vector<CaseValue> items;        // of lists
  std::vector<ElementValue> elements;  // of tables: values of an array by element, {N2: 0.8, O2: 0.2}
  Location location;

  bool IsNumber() const { return kind == Kind::kReal || kind == Kind::kInteger || kind == Kind::kQuantity; }
};

struct ElementValue {
  PropertyIndex index;  // an integer if the key consists of digits, in quotes or not
  CaseValue value;
  Location location;
};

struct Assignment {
  PropertyPath name;
  CaseValue value;
  Location location;  // of the name
};

struct CaseBlock {
  std::string name;
  std::string model;
  std::vector<Assignment> set, fix, guess;  // in the order of the file, names are different
  Location location;                        // of the name
  Location model_location;
};

struct Connection {
  PropertyPath left, right;  // each starts with the name of a block of the case, and goes on
  bool directed = false;     // "left -> right", a stream from port to port; else "left = right"
  Location location;
};

struct ReportedName {
  PropertyPath name;  // starts with the name of a block; that alone stands for the whole block
  Location location;
};

// A fixed value that changes over time: straight lines between the points; the same time twice is a step.
struct TimeInput {
  struct Point {
    CaseValue time, value;
  };
  PropertyPath name;  // BLOCK.NAME
  std::vector<Point> points;
  Location location;
};

// Fixed values that jump when a variable passes a threshold.
struct TimeEvent {
  std::string text;   // "vessel.P >= 11 bar"
  PropertyPath name;  // BLOCK.NAME
  bool upwards = true;
  CaseValue threshold;
  std::vector<Assignment> set;  // BLOCK.NAME
  Location location;
};

struct SimulateSection {
  CaseValue end, step;  // step: of kind kText when left out
  double tolerance = 1e-6;
  std::vector<Assignment> initial;  // BLOCK.NAME; among the blocks' fixed values, too
  std::vector<TimeInput> inputs;
  std::vector<TimeEvent> events;
  Location location;  // of the section; line 0: the case has none
};

// The values that one property takes in a sweep. How it is written: runtime/io/variation.h.
struct Variation {
  PropertyPath name;  // BLOCK.NAME, or globals.NAME
  bool is_range = false;
  std::vector<CaseValue> values;  // unless it is a range
  double from = 0, to = 0;        // of a range, in `unit`
  std::string unit;
  std::int64_t points = 0;  // of a range; 0 where none are given, which is right for samples
  bool logarithmic = false;
  Location location;  // of the name
};

struct SweepSection {
  std::vector<Variation> vary;
  std::string table;        // a CSV file, beside the case file unless the path is absolute
  std::string sample;       // "sobol" or "latin-hypercube"; empty: a grid, or the table
  std::int64_t points = 0;  // of a sample
  std::int64_t seed = 0;
  Location location;  // of the section; line 0: the case has none
};

struct CaseFile {
  std::string name;  // of the file, for messages
  std::string title;
  std::vector<std::string> components;
  std::vector<Assignment> globals;
  std::vector<CaseBlock> blocks;  // in the order of the file
  std::vector<Connection> connect;
  std::vector<ReportedName> report;
  SimulateSection simulate;
  SweepSection sweep;
};

// Throw CaseError with all faults found, and nothing else but std::bad_alloc.
CaseFile ReadCaseFile(const std::filesystem::path& path);
CaseFile ReadCaseText(std::string_view text, const std::string& name);

// One assignment from a command line: "P_DROP=6 bar", "Y={N2: 0.8, O2: 0.2}", "K_TABLE(2)=3". Throws
// CaseError, with `name` (say, "--set") in place of a file.
Assignment ReadAssignment(std::string_view text, const std::string& name);

// The number of a real, integer or quantity, converted to `unit`; numbers without a unit are taken to be in
// it. Throws UnitError, also if the value is no number. An empty `unit` accepts numbers without a unit only.
double RealIn(const CaseValue& value, std::string_view unit, UnitUse use = UnitUse::kLevel);

}  // namespace quiver
