// SPDX-License-Identifier: Apache-2.0
// The equations that are evaluated: each a shape, the places of its variables in x, and where its results go.
#pragma once

#include <span>
#include <vector>

#include "runtime/expression/shape.h"

namespace quiver {

// Equation e is shape_of[e]; its variables are gathers[first of e ...], those of all equations one after another.
struct EquationList {
  const ShapeStore* shapes = nullptr;
  std::span<const int> shape_of;
  std::span<const int> gathers;
  std::span<const unsigned char> is_fixed;  // by variable; its column has no entries; empty: none is

  bool HasEntry(int variable) const {
    return is_fixed.empty() || !is_fixed[static_cast<std::size_t>(variable)];
  }
};

// Where one equation stands.
struct EquationPlace {
  int equation;          // its residual's place
  long long gather = 0;  // of its first variable, in EquationList::gathers
  long long entry = 0;   // of its first Jacobian entry
};

}  // namespace quiver
