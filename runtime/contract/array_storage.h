// SPDX-License-Identifier: Apache-2.0
// Elements and index sets of an array; elements in index order, the last index fastest.
#pragma once

#include <vector>

#include "host/arrays.h"
#include "runtime/contract/set_storage.h"

namespace quiver {

struct ArrayStorage {
  std::vector<SetStorage> sets;                            // one per index
  std::vector<QV_Type*> elements;                          // owned
  long long PositionOf(const void* const* indices) const;  // -1 when there is no such element
};

}  // namespace quiver
