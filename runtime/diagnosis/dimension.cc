// SPDX-License-Identifier: Apache-2.0
// Gaussian elimination over unknown dimensions.
#include "runtime/diagnosis/dimension.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/io/units.h"

namespace quiver {
namespace {

constexpr int kLargestDenominator = 60;

// "2", "-1/2"; decimals where no small denominator fits.
std::string ExponentText(double exponent) {
  for (int denominator = 1; denominator <= kLargestDenominator; ++denominator) {
    const double numerator = exponent * denominator;
    if (std::abs(numerator - std::round(numerator)) > kSameExponent * denominator) continue;
    return denominator == 1 ? fmt::format("{:.0f}", numerator)
                            : fmt::format("{:.0f}/{}", numerator, denominator);
  }
  return fmt::format("{:.4g}", exponent);
}

}  // namespace

bool IsPlainNumber(const Exponents& exponents) {
  return std::all_of(exponents.begin(), exponents.end(),
                     [](double exponent) { return std::abs(exponent) < kSameExponent; });
}

std::string DimensionText(const Exponents& exponents) {
  std::string units;
  bool whole = true;
  for (std::size_t k = 0; k < exponents.size(); ++k) {
    if (std::abs(exponents[k]) < kSameExponent) continue;
    const std::string exponent = ExponentText(exponents[k]);
    whole = whole && exponent.find_first_of("/.") == std::string::npos;
    if (!units.empty()) units += ' ';
    units += kBaseUnits[k] + (exponent == "1" ? "" : exponent);
  }
  if (units.empty()) return "pure number";
  if (!whole) return units;
  try {
    const std::string quantity = QuantityOf(units);
    return quantity.find_first_of("-0123456789") == std::string::npos
               ? fmt::format("{} ({})", quantity, units)
               : units;
  } catch (const UnitError&) {
    return units;
  }
}

void DimensionForm::Add(const DimensionForm& other, double factor) {
  for (std::size_t k = 0; k < known.size(); ++k) known[k] += factor * other.known[k];
  for (const auto& [unknown, coefficient] : other.unknowns) {
    double& sum = unknowns[unknown];
    sum += factor * coefficient;
    if (std::abs(sum) < kSameExponent) unknowns.erase(unknown);
  }
}

void DimensionForm::Scale(double factor) {
  for (double& exponent : known) exponent *= factor;
  if (factor == 0) unknowns.clear();
  for (auto& [unknown, coefficient] : unknowns) coefficient *= factor;
}

DimensionForm operator+(DimensionForm a, const DimensionForm& b) {
  a.Add(b, 1.0);
  return a;
}

DimensionForm operator-(DimensionForm a, const DimensionForm& b) {
  a.Add(b, -1.0);
  return a;
}

bool DimensionSolver::Equate(const DimensionForm& a, const DimensionForm& b, int origin) {
  DimensionForm difference = Resolve(a - b);
  if (difference.IsKnown()) return IsPlainNumber(difference.known);
  const auto pivot =
      std::max_element(difference.unknowns.begin(), difference.unknowns.end(),
                       [](const auto& x, const auto& y) { return std::abs(x.second) < std::abs(y.second); });
  const int unknown = pivot->first;
  const double coefficient = pivot->second;
  difference.unknowns.erase(pivot);
  difference.Scale(-1.0 / coefficient);
  settled_.emplace(unknown, Settled{std::move(difference), origin});
  return true;
}

// What settles an unknown holds only unknowns that were open at the time, so that the search ends.
DimensionForm DimensionSolver::Resolve(DimensionForm form) const {
  for (;;) {
    const auto open = std::find_if(form.unknowns.begin(), form.unknowns.end(),
                                   [this](const auto& entry) { return settled_.contains(entry.first); });
    if (open == form.unknowns.end()) return form;
    const auto [unknown, coefficient] = *open;
    form.unknowns.erase(open);
    form.Add(settled_.at(unknown).value, coefficient);
  }
}

int DimensionSolver::OriginOf(int unknown) const {
  const auto found = settled_.find(unknown);
  return found == settled_.end() ? -1 : found->second.origin;
}

}  // namespace quiver
