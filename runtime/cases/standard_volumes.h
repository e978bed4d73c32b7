// SPDX-License-Identifier: Apache-2.0
// Values that a model declares as given and that the property data know: the liquid volume of every component at standard
// conditions, an array named VLSTDC over the component list.
//
//   flowsheet.SizeAndAssign(...);   SupplyStandardVolumes(flowsheet);
#pragma once

#include "runtime/properties/component_data.h"
#include "runtime/system/flowsheet.h"

namespace quiver {

// m3/kmol: of the saturated liquid at 15 C; of a component that is close to its critical temperature there, or above it, at its
// normal boiling point. NaN without data.
double StandardLiquidVolume(const Component& component);

// What the user gives stays. A component list with names of which there are no data stays as it is.
void SupplyStandardVolumes(Flowsheet& flowsheet);

}  // namespace quiver
