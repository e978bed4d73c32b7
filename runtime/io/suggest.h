// SPDX-License-Identifier: Apache-2.0
//
// What a user may have meant by a name that does not exist.
//
//   Suggest("ELBWNO", {"ELBOWNO", "TEENO"})   gives   did you mean ELBOWNO?
//   Suggest("FLOW", {"P", "T"})               gives   there are P and T
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quiver {

// Insertions, deletions, replacements and swaps of neighbours that turn `a` into `b` (the restricted
// Damerau-Levenshtein distance: no character takes part in two changes). Bytes, case matters.
std::size_t EditDistance(std::string_view a, std::string_view b);

// The candidate that differs from `name` in letter case only, else the nearest one within a third of the
// name's length (at least one change, at most three); nothing when all are further away. Of equally near
// ones one of the same length, else the first.
std::optional<std::string> NearestName(std::string_view name, const std::vector<std::string>& candidates);

enum class NameStyle { kPlain, kQuoted };

// A remedy to end a message with: the nearest name, or a short list of what exists.
std::string Suggest(std::string_view name, const std::vector<std::string>& candidates,
                    NameStyle style = NameStyle::kPlain);

}  // namespace quiver
