// SPDX-License-Identifier: Apache-2.0
// Dimensions of formulas: exponents of the base units, and among them unknowns that are still to be found.
//
//   DimensionSolver solver;
//   DimensionForm p = DimensionForm::Of(ExponentsOf("bar")), k = DimensionForm::Unknown(7);
//   solver.Equate(p, k + p, 0);          // true: k is a plain number
//   solver.Equate(p, p + p, 1);          // false: a pressure is no squared pressure
//
// Exponents are sums and products of the few decimals that stand in formulas (0.82, 1/3): doubles hold them to many more
// digits than it takes to tell two dimensions apart, so differences below kSameExponent count as none.
#pragma once

#include <array>
#include <map>
#include <string>

namespace quiver {

using Exponents = std::array<double, 7>;  // in the order of kBaseUnits
inline constexpr double kSameExponent = 1e-7;

bool IsPlainNumber(const Exponents& exponents);

// "pressure (kg m-1 s-2)", "pure number", "kg m-1/2".
std::string DimensionText(const Exponents& exponents);

// known + sum of unknowns times their coefficients. Products of quantities add forms, powers scale them.
struct DimensionForm {
  Exponents known{};
  std::map<int, double> unknowns;

  static DimensionForm Of(const Exponents& exponents) { return {exponents, {}}; }
  static DimensionForm Unknown(int number) { return {{}, {{number, 1.0}}}; }
  bool IsKnown() const { return unknowns.empty(); }
  void Add(const DimensionForm& other, double factor);
  void Scale(double factor);
};
DimensionForm operator+(DimensionForm a, const DimensionForm& b);
DimensionForm operator-(DimensionForm a, const DimensionForm& b);

// Collects equations between forms and keeps what follows for the unknowns.
class DimensionSolver {
 public:
  // False if the two cannot be equal after all that was equated before; then nothing is changed.
  // `origin`, at least 0, comes back from OriginOf.
  bool Equate(const DimensionForm& a, const DimensionForm& b, int origin);
  // With everything put in that is known.
  DimensionForm Resolve(DimensionForm form) const;
  // Which equation settled the unknown; -1: none.
  int OriginOf(int unknown) const;

 private:
  struct Settled {
    DimensionForm value;  // may hold unknowns that were settled later
    int origin;
  };
  std::map<int, Settled> settled_;
};

}  // namespace quiver
