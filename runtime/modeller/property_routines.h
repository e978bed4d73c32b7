// SPDX-License-Identifier: Apache-2.0
// The routines behind the host-supplied property procedures: built into the host, answered by the property package for the
// component list that is asking.
#pragma once

#include <memory>

#include "host/sets.h"
#include "runtime/plugin/routine_library.h"
#include "runtime/properties/property_package.h"

namespace quiver {

// The package of a component list; made once per list of names and thread. Throws PropertyError for an unknown component.
std::shared_ptr<const PropertyPackage> PackageOf(QV_COMPONENTLISTNAME& list);

// Library "Properties". Procedures without known mathematics (polymer reaction rates, solids) stay absent.
void RegisterPropertyRoutines(RoutineLibraries& routines);

}  // namespace quiver
