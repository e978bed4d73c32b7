// SPDX-License-Identifier: Apache-2.0
// The values of all variables of a case in a file, to start from another day.
//
//   WriteState("good.json", run.State(true));
//   later.StartFrom(ReadState("good.json"));
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace quiver {

struct SavedState {
  std::string name;                      // of the file it came from, for messages
  bool converged = false;                // a solution; else the best state that was reached
  std::map<std::string, double> values;  // by the names that `solve` prints; given ones included
};

// Both throw Error with what to do. What is written reads back bit for bit; values that are not finite are left out.
void WriteState(const std::filesystem::path& path, const SavedState& state);
SavedState ReadState(const std::filesystem::path& path);

}  // namespace quiver
