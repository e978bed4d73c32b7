// SPDX-License-Identifier: Apache-2.0
// Names of equations that are counted: Label(9) is "QV_Eqn9", for the life of the library.
#pragma once

#include <array>
#include <string>

namespace quiver::rotating {

inline const char* Label(int number) {
  static const auto labels = [] {
    std::array<std::string, 129> all;
    for (size_t n = 0; n < all.size(); ++n) all[n] = "QV_Eqn" + std::to_string(n);
    return all;
  }();
  return labels.at(static_cast<size_t>(number)).c_str();
}

}  // namespace quiver::rotating
