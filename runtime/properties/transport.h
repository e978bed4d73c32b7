// SPDX-License-Identifier: Apache-2.0
// Viscosity, thermal conductivity and surface tension of mixtures from the pure-component correlations.
//
//   double mu = LiquidViscosity(components, 300, x);   // Pa s
//
// Vapour: Wilke's rule for viscosity, the same factors for conductivity (Mason and Saxena), and a density
// correction by Jossi, Stiel and Thodos (viscosity) and Stiel and Thodos (conductivity); both need the molar
// density. The corrections are shifted to vanish at zero density and the conductivity branches are joined
// without a step. Liquid: logarithmic mole-fraction mixing of viscosities; conductivities by the power law
// with mass fractions (Vredeveld); no pressure correction for either: at 100 bar hydrocarbon viscosities are
// about 10 % low. Surface tension: the square of the volume-fraction average of the roots (Winterfeld,
// Scriven, Davis 1978); a component above its critical temperature counts with 0. The recipes, but for these
// shifts, stand in Poling, Prausnitz, O'Connell, The Properties of Gases and Liquids. Mole fractions sum
// to 1. Correlations outside their ranges are continued as runtime/properties/correlation.h says.
#pragma once

#include <span>

#include "runtime/properties/component_data.h"

namespace quiver {

using ComponentList = std::span<const Component* const>;

double VapourViscosity(ComponentList components, double temperature, double molar_density,
                       std::span<const double> y);
double VapourConductivity(ComponentList components, double temperature, double molar_density,
                          std::span<const double> y);
double LiquidViscosity(ComponentList components, double temperature, std::span<const double> x);
double LiquidConductivity(ComponentList components, double temperature, std::span<const double> x);
double SurfaceTension(ComponentList components, double temperature, std::span<const double> x);

}  // namespace quiver
