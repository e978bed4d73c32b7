// SPDX-License-Identifier: Apache-2.0
// What is exported for a type: its factory, its property information and its compatibility block.
#pragma once

#include "host/container.h"
#include "host/export.h"

namespace quiver::frame {

// A new instance that carries one reference. Nothing is thrown out of the library: null tells that construction failed.
template <class Model>
QV_Containable* Create() noexcept {
  try {
    QV_Containable* instance = new Model(true, nullptr);
    if (instance) instance->AddRef();
    return instance;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace quiver::frame

#define EXPORT_MODEL(NAME)                                                       \
  extern "C" QV_EXPORT QV_Containable* NAME##Factory();                          \
  extern "C" QV_EXPORT void* NAME##PropertyInfo();                               \
  extern "C" QV_EXPORT const QV_CompatibilityBlock _Compatibility##NAME;         \
  QV_Containable* NAME##Factory() { return quiver::frame::Create<QV_##NAME>(); } \
  void* NAME##PropertyInfo() {                                                   \
    alignas(16) static char information[kQvPropertyInfoBytes];                   \
    return information;                                                          \
  }                                                                              \
  const QV_CompatibilityBlock _Compatibility##NAME = {kQvCompatibilityVersion, {}};
