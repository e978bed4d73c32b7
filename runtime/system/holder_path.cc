// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/holder_path.h"

#include <algorithm>

#include "host/model_type.h"

namespace quiver {
namespace {

// The property of the instance whose reference is bound to the object; -1 when there is none.
int ReferenceTo(const Instance& instance, const QV_Type* object) {
  for (const int property : instance.type().references())
    if (instance.Reference(property)->Target() == object) return property;
  return -1;
}

}  // namespace

std::optional<HolderPath> FindPath(const Instance& instance, QV_VarParam& holder) {
  HolderPath path;
  path.type_ = &typeid(holder);
  // From the holder outwards, until something is the instance's own or a reference of the instance leads there.
  QV_Type* object = &holder;
  long long element = -1;
  for (;;) {
    if (const int property = ReferenceTo(instance, object); property >= 0) {
      path.steps_.push_back({property, element});
      path.is_reference_ = true;
      break;
    }
    if (auto* value = dynamic_cast<QV_VarParam*>(object)) {
      QV_Type* parent = HostAccess::Parent(*value);
      if (!parent) return std::nullopt;
      if (dynamic_cast<QV_ArrayBase*>(parent)) {
        element = HostAccess::PropertyIndex(*value);
        object = parent;
        continue;
      }
      path.steps_.push_back({HostAccess::PropertyIndex(*value), element});
      object = parent;
    } else {
      const Instance* sub = HostAccess::InstanceOf(static_cast<QV_Container&>(*object));
      if (!sub || !sub->parent || sub->parent_property < 0) return std::nullopt;
      path.steps_.push_back({sub->parent_property, sub->parent_element});
      object = &sub->parent->object();
    }
    element = -1;
    auto& container = static_cast<QV_Container&>(*object);
    if (&container == &instance.object()) break;
    const Instance* between = HostAccess::InstanceOf(container);
    if (!between) return std::nullopt;
    path.types_.push_back(&between->type());
  }
  std::reverse(path.steps_.begin(), path.steps_.end());
  std::reverse(path.types_.begin(), path.types_.end());
  if (path.Follow(instance) != &holder) return std::nullopt;
  if (path.steps_.size() == 1 && path.steps_[0].element < 0 && !path.is_reference_)
    path.direct_ = reinterpret_cast<char*>(&holder) - reinterpret_cast<char*>(&instance.object());
  return path;
}

QV_VarParam* HolderPath::Follow(const Instance& instance) const {
  const Instance* within = &instance;
  for (size_t k = 0; k < steps_.size(); ++k) {
    const Step& step = steps_[k];
    QV_Type* object = step.property == kComponentList
                          ? &static_cast<QV_ModelType&>(within->object()).ComponentList
                          : within->Object(step.property);
    if (!object) return nullptr;
    if (step.element >= 0) {
      const auto& array = static_cast<QV_ArrayBase&>(*object);
      if (step.element >= array.Count()) return nullptr;
      object = &array.At(step.element);
    }
    if (k + 1 == steps_.size()) {
      const bool may_differ = is_reference_ || k > 0;
      return !may_differ || typeid(*object) == *type_ ? static_cast<QV_VarParam*>(object) : nullptr;
    }
    auto* container = dynamic_cast<QV_Container*>(object);
    within = container ? HostAccess::InstanceOf(*container) : nullptr;
    if (!within || &within->type() != types_[k]) return nullptr;
  }
  return nullptr;
}

}  // namespace quiver
