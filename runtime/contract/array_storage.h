// SPDX-License-Identifier: Apache-2.0
// Elements and index sets of an array; elements in index order, the last index fastest.
#pragma once

#include <algorithm>
#include <vector>

#include "host/arrays.h"
#include "runtime/contract/set_storage.h"

namespace quiver {

// The sets over which an array's indices run; they are lasting.
class IndexSets {
 public:
  IndexSets() = default;
  IndexSets(QV_Set* const* sets, int count) : count_(static_cast<size_t>(count)) {
    std::copy_n(sets, count, sets_);
  }
  size_t size() const { return count_; }
  const SetStorage& operator[](size_t k) const { return ElementsOf(*sets_[k]); }
  QV_Set* const* data() const { return sets_; }
  bool operator==(const IndexSets& other) const = default;

 private:
  size_t count_ = 0;
  QV_Set* sets_[4] = {};
};

struct ArrayStorage {
  IndexSets sets;
  std::vector<QV_Type*> elements;                          // owned
  long long PositionOf(const void* const* indices) const;  // -1 when there is no such element
};

}  // namespace quiver
