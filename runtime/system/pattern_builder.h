// SPDX-License-Identifier: Apache-2.0
// From what an instance told to a pattern: streams checked and interned, rows laid out, properties named by their place.
#pragma once

#include "runtime/contract/readings.h"
#include "runtime/system/records.h"

namespace quiver {

class PatternStore;
class UnitPattern;

// False, with findings in the instance's scope, when what it told is no set of equations.
bool BuildPattern(Instance& instance, const InstanceRecord& record, Readings& readings, PatternStore& store,
                  UnitPattern& pattern);

}  // namespace quiver
