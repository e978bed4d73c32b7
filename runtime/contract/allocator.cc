// SPDX-License-Identifier: Apache-2.0
#include "host/allocator.h"

#include <cstdio>
#include <cstdlib>

#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/scope.h"

void* MyAllocate(unsigned long long bytes) {
  void* block = std::malloc(bytes ? bytes : 1);
  if (!block) quiver::EndForMemory(bytes);
  return block;
}

void MyFree(void* block) { std::free(block); }

// Tells it without taking memory, and leaves without running destructors: they would work on what is half done.
void quiver::EndForMemory(unsigned long long bytes) noexcept {
  std::fprintf(stderr, "quiver: out of memory: %llu bytes were needed", bytes);
  if (const Instance* instance = ThisThread().instance) {
    const Instance* top = instance;
    while (top->parent) top = top->parent;
    std::fprintf(stderr, " for %s%s%s", top->name, *top->name ? ", " : "",
                 instance->type().type_name.c_str());
  }
  std::fprintf(stderr, ". Solve a smaller case or free memory.\n");
  std::fflush(nullptr);
  std::_Exit(70);
}
