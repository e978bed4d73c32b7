// SPDX-License-Identifier: Apache-2.0
// The points of a sweep, in their order. A point is asked for by its number, so that a million take no memory.
//
//   SweepPlan plan(ReadCaseFile("relief.yaml"), {}, true);
//   CaseFile point = plan.CaseAt(17);                     // the case with the values of point 17, counted from 0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/io/case_file.h"

namespace quiver {

class LatinHypercube;
class SampleTable;
class SobolSequence;

// What the command line adds to the case's own section; whatever it gives replaces that of the section.
struct SweepRequest {
  std::vector<Variation> vary;
  std::string table;
  std::string sample;
  long long points = 0;
  long long seed = -1;  // -1: not given
};

struct SweepAxis {
  PropertyPath name;
  std::string unit;  // of all its values; empty when they have none, or not the same
  enum Section { kSet, kFix, kGuess, kGlobal } section = kFix;  // where the case gives it
  int block = -1;                                               // of the case
  bool logarithmic = false;
  double low = 0, high = 0;  // of its numbers
};

// As it could stand in a case file: 6 bar, [1, 2], {N2: 0.8, O2: 0.2}.
std::string ValueText(const CaseValue& value);

class SweepPlan {
 public:
  // `qualified`: names start with the block's; else with what belongs to the only block. Throws CaseError when the
  // request makes no sense.
  SweepPlan(CaseFile description, const SweepRequest& request, bool qualified);
  SweepPlan(SweepPlan&&) noexcept;
  ~SweepPlan();

  const CaseFile& description() const { return description_; }
  bool qualified() const { return qualified_; }
  long long Count() const { return count_; }
  const std::vector<SweepAxis>& axes() const { return axes_; }

  // One value per axis.
  std::vector<CaseValue> Values(long long point) const;
  CaseFile CaseAt(long long point) const;
  // The value of an axis as an assignment to a property of its block, or to a global.
  Assignment AssignmentOf(const SweepAxis& axis, const CaseValue& value) const;
  // The same values, sampled alike: the same text. Of a table its contents count, not its name.
  std::string Definition() const;

 private:
  enum class Kind { kGrid, kTable, kSobol, kLatinHypercube };
  void ReadVariations(const std::vector<Variation>& vary, std::vector<CaseFault>& faults);
  void ReadTable(const std::string& path);
  void Place(SweepAxis& axis, Location location, std::vector<CaseFault>& faults) const;
  void CountPoints(const SweepRequest& request, std::vector<CaseFault>& faults);

  CaseFile description_;
  bool qualified_;
  Kind kind_ = Kind::kGrid;
  std::vector<Variation> variations_;  // parallel to axes_, unless a table
  std::vector<SweepAxis> axes_;
  std::unique_ptr<SampleTable> table_;
  long long count_ = 0, seed_ = 0;
  std::unique_ptr<SobolSequence> sobol_;
  std::unique_ptr<LatinHypercube> hypercube_;
};

}  // namespace quiver
