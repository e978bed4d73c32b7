// SPDX-License-Identifier: Apache-2.0
// SHA-256 (FIPS 180-4), so that a result can name the very text it came from:  Sha256Of(text) is what sha256sum prints.
#pragma once

#include <string>
#include <string_view>

namespace quiver {

std::string Sha256Of(std::string_view bytes);  // 64 lower-case hexadecimal digits

}  // namespace quiver
