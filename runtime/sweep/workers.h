// SPDX-License-Identifier: Apache-2.0
// Worker processes that solve chunks, so that a crash or a hang costs its own point and no other.
//
//   RunChunks(library, plan, units, {.jobs = 4}, next_chunk, [&](long long chunk, std::string text) { ... });
//
// A worker tells every point before it starts with it, and every result at once. When it dies, its point gets the status
// "crashed" with signal and routine, and another worker goes on behind it, without what the dead one had solved: so a point
// that always crashes leaves the same results, however the work was spread.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/plugin/model_library.h"
#include "runtime/sweep/chunk.h"

namespace quiver {

struct ChunkRange {
  long long chunk = 0;
  long long first = 0, last = 0;  // points first to last - 1
};

struct WorkerOptions {
  int jobs = 1;
  std::string greeting;                       // tells this sweep from any other
  double point_timeout = 300;                 // seconds; 0: a point may take for ever
  std::function<void(PointStatus)> on_point;  // a point has its first result
  std::function<void()> on_tick;              // several times a second
  std::function<bool()> stop;                 // asked as often; true: leave what is not done
};

// Asks `next` for chunks until there is none, and hands over the text of each as soon as it is done, in no particular order.
void RunChunks(const ModelSource& library, const SweepPlan& plan, const std::vector<std::string>& units,
               const WorkerOptions& options, const std::function<std::optional<ChunkRange>()>& next,
               const std::function<void(long long chunk, std::string text)>& done);

// On Windows a worker is this program, started once more with the same arguments. There, in a worker, this does not return, or
// throws Error where the greeting shows that its case has changed meanwhile. Elsewhere it does nothing.
void WorkIfStartedAsWorker(const ModelSource& library, const SweepPlan& plan,
                           const std::vector<std::string>& units, const std::string& greeting);

}  // namespace quiver
