// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/sweep_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "runtime/contract/names.h"
#include "runtime/io/quantity_text.h"
#include "runtime/io/suggest.h"
#include "runtime/io/variation.h"
#include "runtime/sweep/sample_table.h"
#include "runtime/sweep/sampling.h"

namespace quiver {
namespace {

constexpr long long kMostPoints = 1'000'000'000;
constexpr size_t kMostAxes = 1000;
constexpr const char* kGlobals = "globals";

// Whole numbers stay integers: the property may take no other.
CaseValue NumberValue(double number, const std::string& unit) {
  CaseValue value;
  value.real = number;
  value.text = FormatReal(number, RealStyle::kShortest);
  value.kind = CaseValue::Kind::kReal;
  if (!unit.empty()) {
    value.kind = CaseValue::Kind::kQuantity;
    value.unit = unit;
    value.text += " " + unit;
  } else if (number == std::floor(number) && std::abs(number) <= 1e9) {
    value.kind = CaseValue::Kind::kInteger;
    value.integer = static_cast<std::int64_t>(number);
  }
  return value;
}

// At a share of the range; the ends come out exactly.
double Between(const Variation& range, double share) {
  if (share <= 0) return range.from;
  if (share >= 1) return range.to;
  if (!range.logarithmic) return range.from + (range.to - range.from) * share;
  const double from = std::log10(range.from), to = std::log10(range.to);
  return std::pow(10.0, from + (to - from) * share);  // powers of ten come out as such
}

long long ValueCount(const Variation& variation) {
  return variation.is_range ? variation.points : static_cast<long long>(variation.values.size());
}

CaseValue GridValue(const Variation& variation, long long k) {
  if (!variation.is_range) return variation.values[static_cast<size_t>(k)];
  const long long steps = variation.points - 1;
  const double share = steps > 0 ? static_cast<double>(k) / static_cast<double>(steps) : 0;
  return NumberValue(k > 0 && k == steps ? variation.to : Between(variation, share), variation.unit);
}

CaseValue SampleValue(const Variation& variation, double share) {
  if (variation.is_range) return NumberValue(Between(variation, share), variation.unit);
  const auto count = static_cast<double>(variation.values.size());
  return variation.values[static_cast<size_t>(std::min(std::floor(share * count), count - 1))];
}

CaseValue TableValue(const std::string& cell, const SampleTable::Column& column, const std::string& source) {
  if (const auto number = ParseReal(cell)) {
    if (!column.unit.empty() || !ParseInteger(cell)) return NumberValue(*number, column.unit);
  } else if (!column.unit.empty()) {
    throw CaseError(
        source,
        {CaseFault({}, fmt::format("{} of {} is no number", QuoteForMessage(cell), column.name.Text()),
                   "its header has a unit, so write a number alone")});
  }
  return ReadLoneValue(cell, source);
}

void Widen(SweepAxis& axis, double number, bool& any) {
  axis.low = any ? std::min(axis.low, number) : number;
  axis.high = any ? std::max(axis.high, number) : number;
  any = true;
}

}  // namespace

std::string ValueText(const CaseValue& value) {
  std::string text;
  const auto add = [&](const std::string& part) { text.append(text.empty() ? "" : ", ").append(part); };
  for (const CaseValue& item : value.items) add(ValueText(item));
  for (const ElementValue& element : value.elements)
    add(IndexText(element.index) + ": " + ValueText(element.value));
  if (value.kind == CaseValue::Kind::kList) return fmt::format("[{}]", text);
  return value.kind == CaseValue::Kind::kTable ? fmt::format("{{{}}}", text) : value.text;
}

SweepPlan::SweepPlan(SweepPlan&&) noexcept = default;
SweepPlan::~SweepPlan() = default;

SweepPlan::SweepPlan(CaseFile description, const SweepRequest& request, bool qualified)
    : description_(std::move(description)), qualified_(qualified) {
  const SweepSection& section = description_.sweep;
  std::vector<CaseFault> faults;
  // What the command line varies replaces the section's own way of making points, not what it says of a sample.
  const bool own_points = !request.vary.empty() || !request.table.empty();
  const std::vector<Variation>& vary = own_points ? request.vary : section.vary;
  const std::string table =
      own_points ? request.table
      : section.table.empty()
          ? ""
          : (std::filesystem::path(description_.name).parent_path() / section.table).string();
  const std::string sample = !request.sample.empty() ? request.sample
                             : request.table.empty() ? section.sample
                                                     : "";
  seed_ = request.seed >= 0 ? request.seed : section.seed;
  if (sample == "sobol") kind_ = Kind::kSobol;
  if (sample == "latin-hypercube") kind_ = Kind::kLatinHypercube;
  if (vary.empty() && table.empty())
    AddFault(faults, section.location, "there is nothing to vary",
             "give --vary \"BLOCK.NAME=1..10 bar:10\" or --table FILE.csv, or write a section \"sweep\" into "
             "the case");
  else if (!table.empty() && (!vary.empty() || !sample.empty()))
    AddFault(faults, section.location, "a table stands beside other ways to make points",
             "give either a table, or what to vary");
  else if (!table.empty())
    ReadTable(table);
  else
    ReadVariations(vary, faults);
  if (faults.empty()) CountPoints(request, faults);
  if (!faults.empty()) throw CaseError(description_.name, std::move(faults));
}

void SweepPlan::ReadVariations(const std::vector<Variation>& vary, std::vector<CaseFault>& faults) {
  if (vary.size() > kMostAxes)
    return AddFault(faults, vary[kMostAxes].location, fmt::format("{} values are varied", vary.size()),
                    fmt::format("vary at most {}", kMostAxes));
  for (const Variation& variation : vary) {
    SweepAxis axis;
    axis.name = variation.name;
    axis.logarithmic = variation.logarithmic;
    bool any = false;
    if (variation.is_range) {
      axis.unit = variation.unit;
      Widen(axis, variation.from, any);
      Widen(axis, variation.to, any);
    } else if (variation.values.empty()) {
      AddFault(faults, variation.location, variation.name.Text() + " takes no value",
               "list the values that it takes");
      continue;
    } else {
      const auto same_unit = [&](const CaseValue& value) {
        return value.kind == CaseValue::Kind::kQuantity && value.unit == variation.values[0].unit;
      };
      if (std::all_of(variation.values.begin(), variation.values.end(), same_unit))
        axis.unit = variation.values[0].unit;
      for (const CaseValue& value : variation.values)
        if (value.IsNumber()) Widen(axis, value.real, any);
    }
    Place(axis, variation.location, faults);
    axes_.push_back(std::move(axis));
    variations_.push_back(variation);
  }
}

void SweepPlan::ReadTable(const std::string& path) {
  kind_ = Kind::kTable;
  table_ = std::make_unique<SampleTable>(path);
  std::vector<CaseFault> faults;
  for (const SampleTable::Column& column : table_->columns()) {
    SweepAxis axis;
    axis.name = column.name;
    axis.unit = column.unit;
    Place(axis, {}, faults);
    axes_.push_back(std::move(axis));
  }
  if (!faults.empty()) throw CaseError(table_->name(), std::move(faults));
  std::vector<char> any(axes_.size());
  for (long long row = 0; row < table_->RowCount(); ++row) {
    const std::vector<CaseValue> values = Values(row);
    for (size_t k = 0; k < axes_.size(); ++k) {
      bool seen = any[k] != 0;
      if (values[k].IsNumber()) Widen(axes_[k], values[k].real, seen);
      any[k] = seen;
    }
  }
}

void SweepPlan::Place(SweepAxis& axis, Location location, std::vector<CaseFault>& faults) const {
  const std::vector<PropertyPart>& parts = axis.name.parts;
  const std::string text = axis.name.Text();
  if (parts.empty()) return;  // told already
  for (const SweepAxis& other : axes_)
    if (EqualIgnoringCase(other.name.Text(), text))
      AddFault(faults, location, text + " is varied twice", "remove one of them");
  if (parts.size() == 2 && parts[0].name == kGlobals) {
    axis.section = SweepAxis::kGlobal;
    return;
  }
  size_t first = 0;
  if (qualified_) {
    std::vector<std::string> names;
    for (size_t b = 0; b < description_.blocks.size(); ++b) {
      names.push_back(description_.blocks[b].name);
      if (EqualIgnoringCase(names.back(), parts[0].name)) axis.block = static_cast<int>(b);
    }
    if (axis.block < 0 || parts.size() < 2) {
      AddFault(faults, location, fmt::format("{} names no property of a block", text),
               axis.block >= 0 ? "write BLOCK.NAME" : Suggest(parts[0].name, names));
      return;
    }
    first = 1;
  } else {
    axis.block = 0;
  }
  // Where the case gives the value, or the array that it is an element of, it is given still. What the case does not give
  // is fixed; a parameter does not mind.
  const CaseBlock& block = description_.blocks[static_cast<size_t>(axis.block)];
  const std::string own = AssignmentOf(axis, {}).name.Text();
  const auto gives = [&](const Assignment& assignment, bool whole) {
    if (EqualIgnoringCase(assignment.name.Text(), own)) return true;
    return whole && assignment.name.parts.size() == parts.size() - first &&
           assignment.name.parts.back().indices.empty() &&
           EqualIgnoringCase(assignment.name.parts.back().name, parts.back().name);
  };
  for (const bool whole : {true, false})
    for (const auto& [section, list] :
         {std::pair(SweepAxis::kSet, &block.set), std::pair(SweepAxis::kFix, &block.fix),
          std::pair(SweepAxis::kGuess, &block.guess)})
      for (const Assignment& assignment : *list)
        if (gives(assignment, whole)) axis.section = section;
}

void SweepPlan::CountPoints(const SweepRequest& request, std::vector<CaseFault>& faults) {
  const long long points = request.points > 0 ? request.points : description_.sweep.points;
  if (kind_ == Kind::kTable) {
    count_ = table_->RowCount();
    return;
  }
  const bool sample = kind_ != Kind::kGrid;
  count_ = sample ? points : 1;
  for (const Variation& variation : variations_) {
    if (variation.is_range && !sample && variation.points == 0)
      AddFault(faults, variation.location,
               fmt::format("the range of {} has no number of points", variation.name.Text()),
               "write it behind a colon, as in 1..10 bar:10, or ask for a sample");
    if (variation.is_range && sample && variation.points != 0)
      AddFault(faults, variation.location,
               fmt::format("the range of {} has a number of points", variation.name.Text()),
               "leave it out: a sample has --points in all");
    if (!sample) count_ = std::min(count_ * std::max(ValueCount(variation), 1LL), kMostPoints + 1);
  }
  if (sample && points <= 0)
    AddFault(faults, description_.sweep.location, "the sample has no number of points",
             "give it with --points");
  if (!sample && points > 0 && request.points > 0)
    AddFault(faults, {}, "--points is given without a sample",
             "add --sample sobol or --sample latin-hypercube");
  if (count_ > kMostPoints)
    AddFault(faults, {}, "the sweep has more than 1,000,000,000 points", "take fewer values, or a sample");
  const int dimensions = static_cast<int>(axes_.size());
  if (kind_ == Kind::kSobol && dimensions > SobolSequence::kMostDimensions)
    AddFault(faults, {},
             fmt::format("a Sobol sample varies {} values, and {} at most", dimensions,
                         SobolSequence::kMostDimensions),
             "take a Latin hypercube");
  if (!faults.empty()) return;
  const auto seed = static_cast<std::uint64_t>(seed_);
  if (kind_ == Kind::kSobol) sobol_ = std::make_unique<SobolSequence>(dimensions, seed);
  if (kind_ == Kind::kLatinHypercube) hypercube_ = std::make_unique<LatinHypercube>(dimensions, count_, seed);
}

std::vector<CaseValue> SweepPlan::Values(long long point) const {
  std::vector<CaseValue> values(axes_.size());
  if (kind_ == Kind::kTable) {
    const std::vector<std::string> cells = table_->Row(point);
    for (size_t k = 0; k < cells.size(); ++k) try {
        values[k] = TableValue(cells[k], table_->columns()[k], table_->name());
      } catch (const CaseError& error) {
        CaseFault fault = error.faults().front();
        fault.line = table_->LineOf(point);
        fault.column = static_cast<int>(table_->columns()[k].place) + 1;
        throw CaseError(table_->name(), {fault});
      }
    return values;
  }
  if (kind_ == Kind::kGrid) {
    for (size_t k = axes_.size(); k-- > 0;) {  // the last changes fastest
      const long long count = ValueCount(variations_[k]);
      values[k] = GridValue(variations_[k], point % count);
      point /= count;
    }
    return values;
  }
  std::vector<double> share(axes_.size());
  if (sobol_)
    sobol_->Point(point, share);
  else
    hypercube_->Point(point, share);
  for (size_t k = 0; k < axes_.size(); ++k) values[k] = SampleValue(variations_[k], share[k]);
  return values;
}

Assignment SweepPlan::AssignmentOf(const SweepAxis& axis, const CaseValue& value) const {
  Assignment assignment{axis.name, value, value.location};
  if (qualified_ || axis.section == SweepAxis::kGlobal)
    assignment.name.parts.erase(assignment.name.parts.begin());
  return assignment;
}

CaseFile SweepPlan::CaseAt(long long point) const {
  CaseFile description = description_;
  const std::vector<CaseValue> values = Values(point);
  for (size_t k = 0; k < axes_.size(); ++k) {
    const SweepAxis& axis = axes_[k];
    Assignment assignment = AssignmentOf(axis, values[k]);
    std::vector<Assignment>* list = &description.globals;
    if (axis.section != SweepAxis::kGlobal) {
      CaseBlock& block = description.blocks[static_cast<size_t>(axis.block)];
      list = axis.section == SweepAxis::kSet   ? &block.set
             : axis.section == SweepAxis::kFix ? &block.fix
                                               : &block.guess;
    }
    const std::string name = assignment.name.Text();
    const auto same = [&](const Assignment& other) { return EqualIgnoringCase(other.name.Text(), name); };
    list->erase(std::remove_if(list->begin(), list->end(), same), list->end());
    list->push_back(std::move(assignment));  // behind a whole array whose element it may be
  }
  return description;
}

std::string SweepPlan::Definition() const {
  std::string text = fmt::format("{} {} {}\n", static_cast<int>(kind_), count_, seed_);
  for (const SweepAxis& axis : axes_) text.append(axis.name.Text()).append("\n");
  if (table_) return text + table_->text();
  for (const Variation& variation : variations_) {
    if (variation.is_range)
      text += fmt::format("{}..{} {} {} {}\n", variation.from, variation.to, variation.unit, variation.points,
                          variation.logarithmic);
    for (const CaseValue& value : variation.values) text.append(ValueText(value)).append("\n");
  }
  return text;
}

}  // namespace quiver
