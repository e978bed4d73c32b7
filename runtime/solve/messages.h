// SPDX-License-Identifier: Apache-2.0
// Lists of names in sentences:  JoinNames({"P", "T", "RHO"}, "or")  gives  P, T or RHO.
#ifndef QUIVER_RUNTIME_SOLVE_MESSAGES_H_
#define QUIVER_RUNTIME_SOLVE_MESSAGES_H_

#include <functional>
#include <span>
#include <string>

namespace quiver {

// Names at most eight, then "and 12 more".
std::string JoinNames(std::span<const int> items, const std::function<std::string(int)>& name,
                      const std::string& last_word = "and");

// "1 equation", "4 equations".
std::string Counted(std::size_t count, const std::string& noun);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_MESSAGES_H_
