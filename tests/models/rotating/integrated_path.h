// SPDX-License-Identifier: Apache-2.0
// The path of constant polytropic efficiency through a gas, integrated independently of the models:
//
//   const Gas gas{{"CO2", "methane"}, {0.9, 0.1}};
//   const Path exact = Integrate(gas, 20, 40, 80, 0.78);   // 20 bar, 40 C to 80 bar
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "runtime/modeller/phase_state.h"

namespace quiver::tests {

struct Gas {
  std::vector<std::string> components;
  std::vector<double> z;
  PropertyPackage package{components};
  PhaseState At(FlashKind kind, double first, double second, PhaseSet set = PhaseSet::kAll) const {
    return PhaseState(package, set, kind, first, second, z);
  }
};

// dH = v dP / efficiency, by Runge-Kutta steps in ln P.
struct Path {
  double t_out, head;  // C, kJ/kg
};
inline Path Integrate(const Gas& gas, double p_in, double t_in, double p_out, double efficiency) {
  using Q = PhaseQuantity;
  const auto slope = [&](double log_p, double h) {  // 1 bar m3 is 1e-4 GJ
    const double p = std::exp(log_p);
    return 1e-4 * p / gas.At(FlashKind::kPH, p, h)[Q::kRHO].value / efficiency;
  };
  const PhaseState in = gas.At(FlashKind::kTP, t_in, p_in);
  const int steps = 40;
  const double step = std::log(p_out / p_in) / steps, h_in = in[Q::kH].value;
  double h = h_in, x = std::log(p_in);
  for (int i = 0; i < steps; ++i, x += step) {
    const double k1 = slope(x, h), k2 = slope(x + step / 2, h + step / 2 * k1),
                 k3 = slope(x + step / 2, h + step / 2 * k2), k4 = slope(x + step, h + step * k3);
    h += step / 6 * (k1 + 2 * k2 + 2 * k3 + k4);
  }
  return {gas.At(FlashKind::kPH, p_out, h)[Q::kT].value, efficiency * (h - h_in) * 1e6 / in[Q::kMW].value};
}

}  // namespace quiver::tests
