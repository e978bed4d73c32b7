// SPDX-License-Identifier: Apache-2.0
// Copies past the caches: the destination's lines are not read first, and what is in the caches stays there.
//
//   StreamCopy(tile.data(), tile.size(), entries + first);
#pragma once

#include <cstddef>

namespace quiver {

void StreamCopy(const double* from, std::size_t count, double* to);
// Makes streamed results visible to other threads; once at the end of a thread's work.
void FinishStreaming();

}  // namespace quiver
