// SPDX-License-Identifier: Apache-2.0
// The routines behind the phase sub-models (host/modeller/phase_models.h), built into the host as library "Properties".
#pragma once

namespace quiver {

class RoutineLibraries;
void RegisterPhaseRoutines(RoutineLibraries& routines);

}  // namespace quiver
