// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/suggest.h"

#include <fmt/format.h>

#include <algorithm>

namespace quiver {
namespace {

// Longer names are compared by their beginnings, so that a hostile name costs no more than a long one.
constexpr std::size_t kComparedLength = 64;
constexpr std::size_t kListedNames = 8;

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string Styled(std::string_view name, NameStyle style) {
  return style == NameStyle::kQuoted ? fmt::format("\"{}\"", name) : std::string(name);
}

}  // namespace

std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before_last(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before_last[j - 2] + 1);
      }
    }
    before_last.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

std::optional<std::string> NearestName(std::string_view name, const std::vector<std::string>& candidates) {
  const std::string wanted = Lower(name);
  for (const std::string& candidate : candidates) {
    if (Lower(candidate) == wanted) return candidate;
  }
  const std::string_view compared = std::string_view(wanted).substr(0, kComparedLength);
  const std::size_t furthest = std::clamp<std::size_t>(compared.size() / 3, 1, 3);
  std::optional<std::string> best;
  std::size_t best_cost = 2 * furthest + 2;
  for (const std::string& candidate : candidates) {
    const std::string lower = Lower(std::string_view(candidate).substr(0, kComparedLength));
    const std::size_t distance = EditDistance(compared, lower);
    // A change of every letter makes any short name "near": T is no misspelt P.
    if (distance > furthest || distance >= std::max(compared.size(), lower.size())) continue;
    // Of names at the same distance one of the same length is likelier: bra is bar, not bara.
    const std::size_t cost = 2 * distance + (lower.size() == compared.size() ? 0 : 1);
    if (cost < best_cost) {
      best_cost = cost;
      best = candidate;
    }
  }
  return best;
}

std::string Suggest(std::string_view name, const std::vector<std::string>& candidates, NameStyle style) {
  if (candidates.empty()) return "there are none";
  if (const auto nearest = NearestName(name, candidates))
    return "did you mean " + Styled(*nearest, style) + "?";
  std::string list = candidates.size() == 1 ? "there is only " : "there are ";
  const std::size_t shown = std::min(candidates.size(), kListedNames);
  for (std::size_t i = 0; i < shown; ++i) {
    if (i > 0) list += i + 1 == candidates.size() ? " and " : ", ";
    list += Styled(candidates[i], style);
  }
  if (shown < candidates.size()) list += " and " + std::to_string(candidates.size() - shown) + " more";
  return list;
}

}  // namespace quiver
