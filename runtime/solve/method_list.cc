// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/method_list.h"

#include <fmt/format.h>

#include <stdexcept>

#include "runtime/solve/pseudo_transient.h"
#include "runtime/solve/scalar_newton.h"
#include "runtime/solve/trust_region.h"
#ifdef QUIVER_WITH_KINSOL
#include "runtime/solve/kinsol_method.h"
#endif

namespace quiver {
namespace {

// Lone equations are bracketed in any case, unless the method stands for itself alone.
template <class Method>
BlockSolver AfterScalars() {
  std::vector<std::unique_ptr<BlockMethod>> methods;
  methods.push_back(std::make_unique<ScalarNewton>());
  methods.push_back(std::make_unique<Method>());
  return BlockSolver(std::move(methods));
}

template <class Method>
[[maybe_unused]] BlockSolver Alone() {
  std::vector<std::unique_ptr<BlockMethod>> methods;
  methods.push_back(std::make_unique<Method>());
  return BlockSolver(std::move(methods));
}

}  // namespace

const std::vector<MethodRow>& AllMethods() {
  static const std::vector<MethodRow> rows = {
      {"newton", "damped Newton within the bounds", [] { return BlockSolver(); }},
      {"trust-region", "dogleg within the bounds", &AfterScalars<TrustRegion>},
      {"pseudo-transient", "relaxation in pseudo time", &AfterScalars<PseudoTransient>},
#ifdef QUIVER_WITH_KINSOL
      {"kinsol", "SUNDIALS KINSOL, for all blocks", &Alone<KinsolMethod>},
#else
      {"kinsol", "SUNDIALS KINSOL, for all blocks", nullptr},
#endif
  };
  return rows;
}

BlockSolver SolverByName(std::string_view name) {
  std::string names;
  for (const MethodRow& row : AllMethods()) {
    if (row.name == name && row.make) return row.make();
    if (row.name == name)
      throw std::invalid_argument(fmt::format(
          "{} is not part of this build: install SUNDIALS (Debian: libsundials-dev) and configure again.",
          name));
    if (row.make) names += fmt::format("{}{}", names.empty() ? "" : ", ", row.name);
  }
  throw std::invalid_argument(fmt::format("there is no solver \"{}\"; choose one of {}.", name, names));
}

}  // namespace quiver
