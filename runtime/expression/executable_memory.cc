// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/executable_memory.h"

#include <cstring>

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#define QUIVER_HAS_MAPPINGS 1
#endif

namespace quiver {

#ifdef QUIVER_HAS_MAPPINGS
std::unique_ptr<ExecutableMemory> ExecutableMemory::Holding(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return nullptr;
  void* const memory =
      mmap(nullptr, bytes.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  std::unique_ptr<ExecutableMemory> result(new ExecutableMemory(memory, bytes.size()));
  std::memcpy(memory, bytes.data(), bytes.size());
  if (mprotect(memory, bytes.size(), PROT_READ | PROT_EXEC) != 0) return nullptr;  // hardened systems refuse
  return result;
}

ExecutableMemory::~ExecutableMemory() { munmap(memory_, size_); }
#else
std::unique_ptr<ExecutableMemory> ExecutableMemory::Holding(std::span<const std::uint8_t>) { return nullptr; }
ExecutableMemory::~ExecutableMemory() = default;
#endif

}  // namespace quiver
