// SPDX-License-Identifier: Apache-2.0
// Visibility of the contract's classes, and the signatures of what a model library exports for every type.
#pragma once

#if defined(_WIN32)
#define QV_EXPORT __declspec(dllexport)
#if defined(QV_BUILDING_HOST)
#define QV_API __declspec(dllexport)
#else
#define QV_API __declspec(dllimport)
#endif
#else
#define QV_EXPORT __attribute__((visibility("default")))
#define QV_API __attribute__((visibility("default")))
#endif

class QV_Containable;

// <NAME>Factory: a new instance that carries one reference, or null when its construction failed.
using QV_FactoryFunction = QV_Containable* (*)();
// <NAME>PropertyInfo: 256 writable bytes of the type's own, zero until the host writes them.
using QV_PropertyInfoFunction = void* (*)();

// _Compatibility<NAME>: what the host checks before it calls anything else.
struct QV_CompatibilityBlock {
  int version;
  int reserved[15];
};
inline constexpr int kQvCompatibilityVersion = 6;
inline constexpr long long kQvPropertyInfoBytes = 256;
