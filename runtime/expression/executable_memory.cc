// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/executable_memory.h"

#include <cstring>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#elif __has_include(<sys/mman.h>)
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
#elif defined(_WIN32)
std::unique_ptr<ExecutableMemory> ExecutableMemory::Holding(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return nullptr;
  void* const memory = VirtualAlloc(nullptr, bytes.size(), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  if (memory == nullptr) return nullptr;
  std::unique_ptr<ExecutableMemory> result(new ExecutableMemory(memory, bytes.size()));
  std::memcpy(memory, bytes.data(), bytes.size());
  DWORD before = 0;
  if (VirtualProtect(memory, bytes.size(), PAGE_EXECUTE_READ, &before) == 0) return nullptr;
  FlushInstructionCache(GetCurrentProcess(), memory, bytes.size());
  return result;
}

ExecutableMemory::~ExecutableMemory() { VirtualFree(memory_, 0, MEM_RELEASE); }
#else
std::unique_ptr<ExecutableMemory> ExecutableMemory::Holding(std::span<const std::uint8_t>) { return nullptr; }
ExecutableMemory::~ExecutableMemory() = default;
#endif

}  // namespace quiver
