// SPDX-License-Identifier: Apache-2.0
// The machine-readable output. Keys keep the order in which they are written; reals read back bit for bit.
#pragma once

#include <nlohmann/json.hpp>

#include "runtime/system/describe.h"

namespace quiver {

using Json = nlohmann::ordered_json;

Json TextOrNull(const char* text);
Json ToJson(const PlainValue& value);
Json NumberOrNull(double value);  // null for infinities and not-a-number
void Print(const Json& document);

}  // namespace quiver
