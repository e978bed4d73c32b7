// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/machine.h"

#include <algorithm>

namespace quiver {
namespace {

Machine& Current() {
  static Machine machine = WidestMachine();
  return machine;
}

}  // namespace

Machine WidestMachine() {
#ifdef QUIVER_WIDE_MACHINES
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw"))
    return Machine::kAvx512;
  if (__builtin_cpu_supports("avx2")) return Machine::kAvx2;
#endif
  return Machine::kBaseline;
}

Machine CurrentMachine() { return Current(); }

void UseMachine(Machine machine) { Current() = std::min(machine, WidestMachine()); }

const char* MachineName(Machine machine) {
  switch (machine) {
    case Machine::kAvx512:
      return "AVX-512";
    case Machine::kAvx2:
      return "AVX2";
    default:
      return "baseline";
  }
}

}  // namespace quiver
