// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/memory.h"

#include <fmt/format.h>

#include <typeinfo>
#include <utility>

#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"

namespace quiver {
namespace {
thread_local bool out_of_memory = false;

QV_Type* Made(QV_Type* object, bool due) {
  if (!object && due) throw std::bad_alloc();
  return object;
}
}  // namespace

void NoteOutOfMemory() noexcept { out_of_memory = true; }
bool TakeOutOfMemory() noexcept { return std::exchange(out_of_memory, false); }

void ThrowOutOfMemory(const Instance& instance, const char* step) {
  throw Error(fmt::format("{} ({}): memory ran out while {}. Solve a smaller case or free memory.",
                          InstanceName(instance), instance.type().type_name, step));
}

QV_Type* MakeElement(QV_ArrayBase& array) { return Made(HostAccess::NewElement(array), true); }
QV_Type* MakeTarget(QV_ExternalBase& reference) {
  return Made(HostAccess::NewTarget(reference), typeid(reference) != typeid(QV_ExternalBase));
}
QV_Type* MakeTarget(QV_VirtualBase& reference) {
  return Made(HostAccess::NewTarget(reference), typeid(reference) != typeid(QV_VirtualBase));
}

}  // namespace quiver
