// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/markup.h"

#include "runtime/io/utf8.h"

namespace quiver {

std::string Escaped(std::string_view text) {
  std::string safe;
  safe.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const auto first = static_cast<unsigned char>(text[0]);
    if (length == 0 || (first < 0x20 && first != '\n' && first != '\t') || first == 0x7f)
      safe += "\uFFFD";
    else if (first == '<')
      safe += "&lt;";
    else if (first == '>')
      safe += "&gt;";
    else if (first == '&')
      safe += "&amp;";
    else if (first == '"')
      safe += "&quot;";
    else
      safe += text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return safe;
}

}  // namespace quiver
