// SPDX-License-Identifier: Apache-2.0
// When a routine of somebody's takes the whole process down, the last line on standard error names it:
//
//   NameRoutineAtDeath();     // once, at the start of a program
//   // quiver: routine ZX40RM_sprkusr of library Corvanta crashed (signal 11). ...
//
// The process then ends as it would have. Workers of a sweep have handlers of their own.
#pragma once

namespace quiver {

void NameRoutineAtDeath();

}  // namespace quiver
