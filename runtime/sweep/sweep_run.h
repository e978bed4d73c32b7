// SPDX-License-Identifier: Apache-2.0
// A sweep from its plan to its file.
//
//   SweepPlan plan(ReadCaseFile("relief.yaml"), request, true);
//   SweepSummary summary = RunSweep(UseLibraries(), plan, {.output = "out.csv", .jobs = 4});
//   // summary.counts.Of(PointStatus::kSolved) of summary.points
//
// The rows do not depend on the number of jobs or shards, nor on whether the run was broken off and taken up again. On Windows the
// program must come to the same RunSweep when it is started once more with the same arguments: there that is a worker.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "runtime/sweep/result_file.h"
#include "runtime/sweep/sweep_plan.h"

namespace quiver {

struct SweepProgress {
  long long done = 0, points = 0;  // of this shard, with those taken over from a run broken off
  long long unsolved = 0;          // of those done now
  double rate = 0;                 // points a second
};

struct SweepOptions {
  std::filesystem::path output;  // empty: CSV to standard output
  std::string case_digest;       // SHA-256 of the case's text
  int jobs = 1;
  int shard = 1, shards = 1;  // of several: the results stay in ShardPath, for MergeShards
  bool resume = false;
  double point_timeout = 300;  // seconds; 0: none
  std::function<void(const SweepProgress&)> on_progress;
  const std::atomic<bool>* interrupted = nullptr;  // set by a signal: stop, what is done stays in the journal
};

struct SweepSummary {
  long long points = 0;  // of this shard
  PointCounts counts;
  double seconds = 0, rate = 0;
  long long taken_over = 0;  // points that an earlier run had done
  bool complete = false;
  std::filesystem::path file;  // what was written: results, or a shard; the journal unless complete
  std::string sweep_digest;
};

// Throws CaseError or Error when the request makes no sense: when not even one of a few points can be built, say.
SweepSummary RunSweep(const ModelSource& library, const SweepPlan& plan, const SweepOptions& options);

std::filesystem::path ShardPath(const std::filesystem::path& output, int shard, int shards);

// All shards of one sweep, in any order. Throws Error when some are missing or do not belong together.
SweepSummary MergeShards(const std::vector<std::filesystem::path>& shards,
                         const std::filesystem::path& output);

}  // namespace quiver
