// SPDX-License-Identifier: Apache-2.0
// Starts a program, waits for its end, and keeps what it prints:
//
//   RunProgram("build/bin/quiver", {"list", "models"}, "/home/me", "out.txt", "err.txt")   is 0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quiver::testing {

// The exit status, or -1 where the program did not start or was ended by the system. Its standard input is empty. It is killed after
// so many seconds; 0: never.
int RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
               const std::filesystem::path& folder, const std::filesystem::path& out,
               const std::filesystem::path& err, double kill_after = 0);

}  // namespace quiver::testing
