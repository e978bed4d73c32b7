// SPDX-License-Identifier: Apache-2.0
// The blocks of branches of an instance, found again from what it told: the equations' numbers, the branches closed at
// set-up, and the conditions. An "otherwise" branch has no condition of its own, so that its place follows from the rest.
#pragma once

#include <vector>

#include "runtime/system/records.h"

namespace quiver {

// A branch in which an equation lies; the enclosing one through `outer`.
struct Branch {
  const EmittedCondition* condition = nullptr;  // null: otherwise
  int place = 0;                                // in its block, from 0
  const Branch* outer = nullptr;
};

class Branches {
 public:
  explicit Branches(const InstanceRecord& record);
  // The innermost branch of an emitted equation; null outside branches.
  const Branch* Of(size_t equation) const { return innermost_[equation]; }

 private:
  std::vector<const Branch*> innermost_;
  std::vector<std::unique_ptr<Branch>> owned_;
};

}  // namespace quiver
