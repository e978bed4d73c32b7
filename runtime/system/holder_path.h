// SPDX-License-Identifier: Apache-2.0
// Where a property lies as seen from an instance, so that the same place can be found in another instance of the type.
//
//   HolderPath path;
//   if (FindPath(instance, holder, path)) QV_VarParam* same_place = path.In(other_instance);
#pragma once

#include <optional>
#include <typeinfo>
#include <vector>

#include "runtime/contract/instance.h"

namespace quiver {

class HolderPath {
 public:
  // The holder at this place; null where the instance has none, or has something else there.
  QV_VarParam* In(const Instance& instance) const {
    if (direct_ < 0) return Follow(instance);
    return reinterpret_cast<QV_VarParam*>(reinterpret_cast<char*>(&instance.object()) + direct_);
  }
  // Leads out of the instance, so that it may lead two places to one holder.
  bool IsReference() const { return is_reference_; }

 private:
  friend std::optional<HolderPath> FindPath(const Instance&, QV_VarParam&);
  struct Step {
    int property;       // kComponentList: the list itself
    long long element;  // -1: the property itself
  };
  static constexpr int kComponentList = -1;

  QV_VarParam* Follow(const Instance& instance) const;

  long long direct_ = -1;  // offset of a property of the instance's own
  std::vector<Step> steps_;
  std::vector<const TypeTable*> types_;  // of the sub-models between the steps
  const std::type_info* type_ = nullptr;
  bool is_reference_ = false;
};

// Nothing where the instance's properties do not lead to the holder.
std::optional<HolderPath> FindPath(const Instance& instance, QV_VarParam& holder);

}  // namespace quiver
