// SPDX-License-Identifier: Apache-2.0
// The text of data/components.csv and data/kij.csv as it was when the library was built.
#pragma once

#include <string_view>

namespace quiver {

std::string_view EmbeddedComponents();
std::string_view EmbeddedInteractions();

}  // namespace quiver
