// SPDX-License-Identifier: Apache-2.0
// Where this host finds its libraries: beside itself, or in folders given on the command line. Never anywhere else.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "runtime/plugin/model_library.h"

namespace quiver {

struct LibraryPaths {
  std::vector<std::string> models;    // further model libraries
  bool bare = false;                  // without those beside the host
  std::vector<std::string> routines;  // folders searched before the one beside the host
};

const char* Version();

// Opens the model libraries and makes the routine libraries available to procedures, for the rest of the process. Throws Error
// when a library cannot be opened, and when none is left.
const ModelLibraries& UseLibraries(const LibraryPaths& paths = {});
// Whether a procedure's routine exists in the libraries in use.
bool IsImplemented(const char* library, const char* routine);

}  // namespace quiver
