// SPDX-License-Identifier: Apache-2.0
#include "host/allocator.h"

#include <cstdio>
#include <cstdlib>

void* MyAllocate(unsigned long long bytes) {
  void* block = std::malloc(bytes ? bytes : 1);
  if (!block) {
    std::fprintf(stderr,
                 "quiver: out of memory: %llu bytes were asked for. Solve a smaller case or free memory.\n",
                 bytes);
    std::exit(70);
  }
  return block;
}

void MyFree(void* block) { std::free(block); }
