// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/failing_memory.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

#include "host/allocator.h"

namespace {

struct Plan {
  std::atomic<bool> armed = false, failed = false;
  std::atomic<long long> count = 0;
  bool lasting = false;
  quiver::tests::Memory memory = quiver::tests::Memory::kHost;
  long long n = 0;
} plan;
std::atomic<long long> alive = 0;

void* Take(quiver::tests::Memory memory, size_t bytes) {
  if (plan.armed && plan.memory == memory) {
    const long long count = ++plan.count;
    if (plan.lasting ? count >= plan.n : count == plan.n) {
      plan.failed = true;
      return nullptr;
    }
  }
  void* block = std::malloc(bytes ? bytes : 1);
  if (block) ++alive;
  return block;
}
void Give(void* block) {
  if (block) --alive;
  std::free(block);
}
void* New(size_t bytes) {
  void* block = Take(quiver::tests::Memory::kNew, bytes);
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

void* MyAllocate(unsigned long long bytes) { return Take(quiver::tests::Memory::kHost, bytes); }
void MyFree(void* block) { Give(block); }

void* operator new(size_t bytes) { return New(bytes); }
void* operator new[](size_t bytes) { return New(bytes); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept {
  return Take(quiver::tests::Memory::kNew, bytes);
}
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept {
  return Take(quiver::tests::Memory::kNew, bytes);
}
void operator delete(void* block) noexcept { Give(block); }
void operator delete[](void* block) noexcept { Give(block); }
void operator delete(void* block, size_t) noexcept { Give(block); }
void operator delete[](void* block, size_t) noexcept { Give(block); }

namespace quiver::tests {

FailingMemory::FailingMemory(Memory memory, long long n, bool lasting) {
  plan.memory = memory;
  plan.n = n;
  plan.lasting = lasting;
  plan.count = 0;
  plan.failed = false;
  plan.armed = true;
}
FailingMemory::~FailingMemory() { plan.armed = false; }
bool FailingMemory::Failed() { return plan.failed; }
long long BlocksAlive() { return alive; }

}  // namespace quiver::tests
