// SPDX-License-Identifier: Apache-2.0
#include "cli/json_output.h"

#include <cmath>
#include <cstdio>

namespace quiver {

Json TextOrNull(const char* text) { return text ? Json(text) : Json(nullptr); }

Json ToJson(const PlainValue& value) {
  return std::visit(
      [](const auto& v) -> Json {
        if constexpr (std::is_same_v<std::decay_t<decltype(v)>, std::monostate>)
          return nullptr;
        else if constexpr (std::is_same_v<std::decay_t<decltype(v)>, double>)
          return NumberOrNull(v);
        else
          return v;
      },
      value);
}

Json NumberOrNull(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

void Print(const Json& document) {
  const std::string text = document.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
}

}  // namespace quiver
