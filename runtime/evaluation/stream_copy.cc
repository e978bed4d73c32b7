// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/stream_copy.h"

#include <algorithm>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace quiver {

#ifdef __SSE2__
void StreamCopy(const double* from, std::size_t count, double* to) {
  constexpr std::size_t kLine = 64;
  const std::size_t past_line = reinterpret_cast<std::uintptr_t>(to) % kLine;
  const std::size_t head = past_line == 0 ? 0 : std::min(count, (kLine - past_line) / sizeof(double));
  std::copy_n(from, head, to);
  std::size_t i = head;
  for (; i + 8 <= count; i += 8) {  // a whole line at once, so that nothing of it is read
    for (std::size_t k = 0; k < 8; k += 2) _mm_stream_pd(to + i + k, _mm_loadu_pd(from + i + k));
  }
  std::copy_n(from + i, count - i, to + i);
}
void FinishStreaming() { _mm_sfence(); }
#else
void StreamCopy(const double* from, std::size_t count, double* to) { std::copy_n(from, count, to); }
void FinishStreaming() {}
#endif

}  // namespace quiver
