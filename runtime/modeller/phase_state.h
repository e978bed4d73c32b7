// SPDX-License-Identifier: Apache-2.0
// The equilibrium state of a mixture with everything that the phase sub-models show of it, and the exact derivatives by
// what was given: two state variables and the composition.
//
//   PhaseState state(package, FlashKind::kPH, 5.0, -0.24, z);    // bar, GJ/kmol
//   state[PhaseQuantity::kT].value;  state[PhaseQuantity::kT].slopes[1];   // C, and dT/dH
//
// Units are those of the models: C, bar, GJ/kmol, kJ/kmol/K, kmol/m3, kg/kmol.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "runtime/properties/property_package.h"

namespace quiver {

// What is given, in this order. A pure component between boiling and condensing is fixed by PH, PS, PV and TV.
enum class FlashKind { kTP, kPH, kPS, kPV, kTV };
FlashKind FlashKindOf(const char* text);  // "TP", letter case ignored; throws PropertyError

enum class PhaseSet {
  kVapour,  // one phase, whatever its amount at equilibrium: the root of the largest volume
  kLiquid,  // the smallest
  kAll,     // up to a vapour and two liquids
};

// L: all liquid together; L1, L2: the lighter and the denser of two liquids.
enum class PhaseQuantity {
  kT,
  kP,
  kVF,
  kH,
  kS,
  kRHO,
  kMW,
  kV,
  kLF,
  kHV,
  kHL,
  kSV,
  kSL,
  kRHOV,
  kRHOL,
  kMWV,
  kMWL,
  kLF1,
  kLF2,
  kBETA,
  kHL1,
  kHL2,
  kSL1,
  kSL2,
  kRHOL1,
  kRHOL2,
  kMWL1,
  kMWL2,
  kCount
};
enum class PhaseComposition { kY, kX, kX1, kX2, kCount };

// A value and its derivatives by the two state variables given and by every mole fraction. Fractions count relative to
// their sum, so that a derivative by one includes the normalisation.
struct Sloped {
  double value = 0;
  std::vector<double> slopes;
};

class PhaseState {
 public:
  // Throws PropertyError where there is no such state.
  PhaseState(const PropertyPackage& package, PhaseSet set, FlashKind kind, double first, double second,
             std::span<const double> z);
  PhaseState(const PhaseState&) = delete;
  PhaseState& operator=(const PhaseState&) = delete;
  ~PhaseState();

  const Sloped& operator[](PhaseQuantity q) const { return quantities_[static_cast<size_t>(q)]; }
  const std::vector<Sloped>& operator[](PhaseComposition c) const {
    return compositions_[static_cast<size_t>(c)];
  }
  // False where the equilibrium does not fix the derivatives (a critical point): they are then 0.
  bool regular() const { return regular_; }

 private:
  struct Phase;
  void FindSinglePhase(const PropertyPackage& package, PhaseSet set, FlashKind kind, double first,
                       double second);
  void FindEquilibrium(const PropertyPackage& package, FlashKind kind, double first, double second);
  void Differentiate(const PropertyPackage& package, FlashKind kind, double feed_total);
  void Collect();

  std::vector<double> z_;
  double kelvin_ = 0, pascal_ = 0;
  std::vector<Phase> phases_;
  std::array<Sloped, static_cast<size_t>(PhaseQuantity::kCount)> quantities_;
  std::array<std::vector<Sloped>, static_cast<size_t>(PhaseComposition::kCount)> compositions_;
  bool regular_ = true;
};

}  // namespace quiver
