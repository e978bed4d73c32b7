// SPDX-License-Identifier: Apache-2.0
// Names of files as users write them, in UTF-8 on every system. A path made from a plain std::string would take the bytes for
// characters on Windows, and path.string() is UTF-8 already.
//
//   std::filesystem::exists(PathOf("Anlage \xc3\xbc.yaml"))
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quiver {

inline std::filesystem::path PathOf(std::string_view utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace quiver
