// SPDX-License-Identifier: Apache-2.0
// The files of data/explanations as strings; cli/CMakeLists.txt writes the source.
#pragma once

#include <span>
#include <string_view>

namespace quiver {

struct EmbeddedText {
  const char* name;  // of the file
  std::string_view text;
};
std::span<const EmbeddedText> EmbeddedExplanations();

}  // namespace quiver
