// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/messages.h"

#include <fmt/format.h>

#include <algorithm>

namespace quiver {

std::string JoinNames(std::span<const int> items, const std::function<std::string(int)>& name,
                      const std::string& last_word) {
  constexpr std::size_t kMostNames = 8;
  std::string text;
  const std::size_t named = std::min(items.size(), kMostNames);
  for (std::size_t i = 0; i < named; ++i) {
    if (i > 0) text += i + 1 == items.size() ? " " + last_word + " " : ", ";
    text += name(items[i]);
  }
  if (items.size() > named) text += fmt::format(" and {} more", items.size() - named);
  return text;
}

std::string Counted(std::size_t count, const std::string& noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace quiver
