// SPDX-License-Identifier: Apache-2.0
// Text inside HTML, MathML and SVG:  "<p>" + Escaped(title) + "</p>".
#pragma once

#include <string>
#include <string_view>

namespace quiver {

// For element content and quoted attributes. Control characters, which no document may hold, become U+FFFD, and so
// does what is not UTF-8.
std::string Escaped(std::string_view text);

}  // namespace quiver
