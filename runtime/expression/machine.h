// SPDX-License-Identifier: Apache-2.0
// Which vector instructions the loops over lanes use: the widest that the machine has, found at the first use. Every
// choice gives the same bits; a test may choose a narrower one to see that.
//
//   UseMachine(Machine::kBaseline);
#pragma once

#include <cstdint>

namespace quiver {

enum class Machine : std::uint8_t { kBaseline, kAvx2, kAvx512 };

Machine WidestMachine();
Machine CurrentMachine();
// Nothing wider than WidestMachine() is taken. Not while another thread evaluates.
void UseMachine(Machine machine);
const char* MachineName(Machine machine);  // "AVX2"

// Functions for wider machines carry their instruction set as an attribute, rather than being compiled with other
// options: inline functions of headers must not leave such a file in a form that older machines cannot run. Files that use
// them have options of their own for Windows (CMakeLists.txt).
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define QUIVER_WIDE_MACHINES 1
#define QUIVER_FOR_AVX2 [[gnu::target("avx2")]]
#define QUIVER_FOR_AVX512 [[gnu::target("avx512f,avx512dq,avx512vl,avx512bw,prefer-vector-width=512")]]
#endif

}  // namespace quiver
