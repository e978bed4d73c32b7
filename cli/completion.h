// SPDX-License-Identifier: Apache-2.0
// Completion: the shells' scripts are a few lines that hand the line to the program itself (quiver __complete LINE), which
// answers with what could stand there: commands, options, models, properties, values of options, files.
//
//   CandidatesFor(program, options, "quiver solve PIPEFITTINGS --set FITC")      {"FITCONNECT="}
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace quiver {

// The line up to the cursor, the program's name included. A candidate that ends in =, . or / goes on without a blank.
std::vector<std::string> CandidatesFor(const CLI::App& program, const ProgramOptions& options,
                                       const std::string& line);

// For bash, zsh and fish. Throws Error for another shell.
std::string CompletionScript(const std::string& shell);

}  // namespace quiver
