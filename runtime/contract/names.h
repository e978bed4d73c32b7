// SPDX-License-Identifier: Apache-2.0
// Text helpers of the contract: letter case, interned texts, readable class names.
#pragma once

#include <string>
#include <string_view>
#include <typeinfo>

namespace quiver {

std::string UpperCase(std::string_view text);                    // ASCII letters
bool EqualIgnoringCase(std::string_view a, std::string_view b);  // ASCII letters
const char* Interned(std::string_view text);                     // a lasting copy, one per text
std::string TypeName(const std::type_info& type);                // "QV_PRESSURE"
std::string HeldTypeName(const char* mangled);  // "QV_PRESSURE" of QV_External<QV_PRESSURE> or of an array

}  // namespace quiver
