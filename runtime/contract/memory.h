// SPDX-License-Identifier: Apache-2.0
// Memory that runs out while a library is calling. Operations of the contract throw nothing into the library: they note it,
// and the driver tells it once the library's operation has returned. Constructors, which have no other way, throw
// std::bad_alloc: it passes through the library, which undoes what it has built.
//
//   void QV_Type::AddProperty(...) { NotingMemory([&] { Declare(...); }); }
//   { const CurrentGuard guard(...);  object.Construct(); }
//   ExpectMemory(instance, "its properties were declared");
#pragma once

#include <new>
#include <stdexcept>
#include <type_traits>

#include "host/status.h"

class QV_ArrayBase;
class QV_ExternalBase;
class QV_Type;
class QV_VirtualBase;

namespace quiver {

class Instance;

void NoteOutOfMemory() noexcept;  // for this thread
bool TakeOutOfMemory() noexcept;  // whether it was noted since the last time
// Where nothing else is left: ends the process with a message (exit 70).
[[noreturn]] void EndForMemory(unsigned long long bytes) noexcept;
[[noreturn]] void ThrowOutOfMemory(const Instance& instance, const char* step);  // Error that names both
inline void ExpectMemory(const Instance& instance, const char* step) {
  if (TakeOutOfMemory()) ThrowOutOfMemory(instance, step);
}
// What a library makes for its arrays and references. std::bad_alloc where it could not; null of a reference that makes none.
QV_Type* MakeElement(QV_ArrayBase& array);
QV_Type* MakeTarget(QV_ExternalBase& reference);
QV_Type* MakeTarget(QV_VirtualBase& reference);

template <class Operation>
auto NotingMemory(Operation operation) -> std::invoke_result_t<Operation> {
  using Result = std::invoke_result_t<Operation>;
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    NoteOutOfMemory();
  } catch (const std::length_error&) {  // more than any memory holds
    NoteOutOfMemory();
  }
  if constexpr (std::is_same_v<Result, int>)
    return kQvOutOfMemory;
  else if constexpr (!std::is_void_v<Result>)
    return Result();
}

}  // namespace quiver
