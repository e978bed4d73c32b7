// SPDX-License-Identifier: Apache-2.0
// Memory that holds code: written once, then executable and no longer writable.
//
//   std::unique_ptr<ExecutableMemory> code = ExecutableMemory::Holding(bytes);     // null where the system gives none
//   using Function = void(QUIVER_CODE_CALL*)(double*);
//   auto function = reinterpret_cast<Function>(code->at(0));
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

// How code that is written at run time takes its arguments: the same way on every system.
#if defined(__x86_64__)
#define QUIVER_CODE_CALL __attribute__((sysv_abi))
#else
#define QUIVER_CODE_CALL
#endif

namespace quiver {

class ExecutableMemory {
 public:
  static std::unique_ptr<ExecutableMemory> Holding(std::span<const std::uint8_t> bytes);
  ~ExecutableMemory();
  ExecutableMemory(const ExecutableMemory&) = delete;
  ExecutableMemory& operator=(const ExecutableMemory&) = delete;

  const void* at(std::size_t offset) const { return static_cast<const std::uint8_t*>(memory_) + offset; }
  std::size_t size() const { return size_; }

 private:
  ExecutableMemory(void* memory, std::size_t size) : memory_(memory), size_(size) {}

  void* memory_;
  std::size_t size_;
};

}  // namespace quiver
