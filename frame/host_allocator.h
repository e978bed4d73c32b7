// SPDX-License-Identifier: Apache-2.0
// The standard containers of this library take their memory from the host, as all its objects do.
//
//   HostVector<int> numbers;   HostString name = "LEVEL1";
#pragma once

#include <new>
#include <string>
#include <vector>

#include "host/allocator.h"

namespace quiver::frame {

// This host gives memory or ends the process; another may have none to give. std::bad_alloc then: the operation that the host
// called answers kQvOutOfMemory, a factory null.
inline void* TakeFromHost(unsigned long long bytes) {
  void* block = MyAllocate(bytes);
  if (!block) throw std::bad_alloc();
  return block;
}

template <class T>
struct HostAllocator {
  using value_type = T;
  HostAllocator() = default;
  template <class U>
  HostAllocator(const HostAllocator<U>&) noexcept {}
  T* allocate(decltype(sizeof 0) count) { return static_cast<T*>(TakeFromHost(count * sizeof(T))); }
  void deallocate(T* block, decltype(sizeof 0)) noexcept { MyFree(block); }
  template <class U>
  bool operator==(const HostAllocator<U>&) const noexcept {
    return true;
  }
};

template <class T>
using HostVector = std::vector<T, HostAllocator<T>>;
using HostString = std::basic_string<char, std::char_traits<char>, HostAllocator<char>>;

}  // namespace quiver::frame
