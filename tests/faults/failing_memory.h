// SPDX-License-Identifier: Apache-2.0
// Memory that fails when told to. The program that links failing_memory.cc has its own MyAllocate and operator new: in all
// libraries of the process they stand in the place of the host's and the system's, count what is alive, and fail as planned,
// whichever thread asks.
//
//   {
//     const FailingMemory plan(Memory::kHost, 17);   // the 17th MyAllocate from here answers null
//     EXPECT_FALSE(library.Create("VALTYPE"));
//   }
//   EXPECT_EQ(BlocksAlive(), before);
#pragma once

namespace quiver::tests {

enum class Memory { kHost, kNew };  // MyAllocate answers null; operator new throws std::bad_alloc

class FailingMemory {
 public:
  // Only the n-th allocation, or all from the n-th on.
  FailingMemory(Memory memory, long long n, bool lasting = false);
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
  ~FailingMemory();
  static bool Failed();  // whether an allocation has failed since the last plan was made
};

// Of both kinds.
long long BlocksAlive();

}  // namespace quiver::tests
