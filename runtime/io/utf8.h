// SPDX-License-Identifier: Apache-2.0
//
// Characters of UTF-8 texts, for checking, for counting columns, and for messages that must not break one.
//
//   CharacterCount("Kühler")             6
//   FirstCharacter("\xc3\xbc" "hler")    ü
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace quiver {

// Whether the byte continues a character that an earlier one began.
inline bool ContinuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

// Of text that is UTF-8.
inline std::size_t CharacterCount(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), ContinuesCharacter));
}

// Bytes of the character at the start of the text; 0 if there is none, which holds for overlong forms, surrogates
// and code points above U+10FFFF, too.
inline std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
  const auto follows = [&](std::size_t i) { return (byte(i) & 0xc0) == 0x80; };
  const unsigned first = byte(0);
  if (text.empty()) return 0;
  if (first < 0x80) return 1;
  if (first < 0xc2) return 0;
  if (first < 0xe0) return follows(1) ? 2 : 0;
  if (first < 0xf0) {
    if ((first == 0xe0 && byte(1) < 0xa0) || (first == 0xed && byte(1) >= 0xa0)) return 0;
    return follows(1) && follows(2) ? 3 : 0;
  }
  if (first > 0xf4 || (first == 0xf0 && byte(1) < 0x90) || (first == 0xf4 && byte(1) >= 0x90)) return 0;
  return follows(1) && follows(2) && follows(3) ? 4 : 0;
}

// A byte that is no character stands for itself.
inline std::string_view FirstCharacter(std::string_view text) {
  return text.substr(0, std::max<std::size_t>(CharacterLength(text), 1));
}

}  // namespace quiver
