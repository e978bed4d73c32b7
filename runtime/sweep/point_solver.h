// SPDX-License-Identifier: Apache-2.0
// Solves runs of points, one after another, in one process.
//
//   PointSolver solver(library, plan);
//   solver.Solve(0, 64, sink);                 // sink.Starting(0), sink.Finished(result), sink.Starting(1), ...
//
// Points that differ in values of variables only share a flowsheet; other values (options, integers, real parameters, which
// may choose equations or sizes) have it built anew. A point starts from the solution of its nearest solved neighbour among
// the earlier points of its run, failing that from its own start values; points that fail are tried again at the end of the
// run from whatever has been solved by then, in several steps. What a point starts from is thus decided by the run alone,
// never by other workers.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/cases/case_run.h"
#include "runtime/sweep/sweep_plan.h"

namespace quiver {

enum class PointStatus {
  kSolved,
  kFailed,   // not solved
  kRefused,  // its values make no case
  kCrashed,  // it ended its worker
  kTimedOut,
};
inline constexpr const char* kPointStatusNames[] = {"solved", "failed", "refused", "crashed", "timed-out"};
inline constexpr int kPointStatuses = 5;

struct ResultColumn {
  std::string name, unit;
  bool operator==(const ResultColumn&) const = default;
};

struct PointResult {
  long long point = 0;  // from 0
  PointStatus status = PointStatus::kFailed;
  std::string reason;          // unless solved
  long long start = -1;        // the point whose solution it started from; -1: none
  int iterations = 0;          // of the attempt that solved it, or of all
  bool spoilt = false;         // a routine wrote outside its arguments: this process should do no more
  std::vector<double> values;  // parallel to the columns; empty unless solved
};

class PointSink {
 public:
  virtual ~PointSink() = default;
  virtual void Starting(long long point) = 0;
  // The columns of all results that follow.
  virtual void Columns(const std::vector<ResultColumn>& columns) = 0;
  // May come twice for a point; the second is better. False: stop here.
  virtual bool Finished(const PointResult& result) = 0;
};

class PointSolver {
 public:
  PointSolver(const ModelSource& library, const SweepPlan& plan);
  ~PointSolver();

  // Points first to last - 1. What a point starts from does not depend on earlier calls.
  void Solve(long long first, long long last, PointSink& sink);

  // Builds the flowsheet of a point, without solving it, and tells the unit of each axis: that of its values, or else that of
  // the property; "" for options. Throws CaseError or Error.
  std::vector<std::string> AxisUnits(long long point);

 private:
  struct Build;
  struct Solution;
  Build& BuildFor(long long point, const std::vector<CaseValue>& values, PointSink& sink);
  PointResult SolvePoint(long long point, PointSink& sink, bool last_resort);
  bool Attempt(Build& build, std::vector<double>& x, bool thorough, PointResult& result);
  bool InSteps(Build& build, const Solution& from, const std::vector<CaseValue>& values,
               std::vector<double>& x, PointResult& result);
  bool Give(Build& build, const std::vector<CaseValue>& values, PointResult& result);
  const Solution* Nearest(const Build& build, const std::vector<double>& place, long long except) const;
  std::vector<double> PlaceOf(const std::vector<CaseValue>& values) const;

  const ModelSource& library_;
  const SweepPlan& plan_;
  std::vector<std::unique_ptr<Build>> builds_;  // the latest few; the last one used stands last
  std::vector<ResultColumn> told_;              // columns last given to the sink
  std::vector<Solution> solutions_;
};

}  // namespace quiver
