// SPDX-License-Identifier: Apache-2.0
// What a test of the command has to ask of the system beside running it:
//
//   const Answer answer = QuiverKilledAfter(0.2, {"sweep", "case.yaml"}, scratch);   // status -1, unless it was faster
//   SharedLibraryName("brisolt")                                                     // "libbrisolt.so"
#pragma once

#include <string>
#include <vector>

#include "tests/cli/program.h"

namespace quiver::testing {

Answer QuiverKilledAfter(double seconds, const std::vector<std::string>& arguments, const Scratch& scratch);
std::string SharedLibraryName(const std::string& name);

}  // namespace quiver::testing
