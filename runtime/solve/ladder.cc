// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/ladder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "runtime/solve/homotopy.h"
#include "runtime/solve/messages.h"
#include "runtime/solve/method_list.h"

namespace quiver {
namespace {

class Climber {
 public:
  Climber(NonlinearProblem& problem, const StructureReport& structure, const LadderOptions& options,
          std::vector<double> start, std::span<double> x)
      : problem_(problem), structure_(structure), options_(options), x_(x), start_(std::move(start)) {}

  SolveSummary Run() { return By(kFirstRung, BlockSolver()) ? Finish() : Ascend(); }
  // `first` is what block Newton did, x where it ended.
  SolveSummary RunAfter(SolveSummary first) {
    ++rung_;
    const std::vector<double> x(x_.begin(), x_.end());
    return Judge(kFirstRung, "", std::move(first), x) ? Finish() : Ascend();
  }

 private:
  static constexpr const char* kFirstRung = "block Newton";

  SolveSummary Ascend() {
    if (By("trust region", SolverByName("trust-region"))) return Finish();
    for (const NearbyCase& nearby : options_.nearby)
      if (Homotopy(nearby)) return Finish();
    By("pseudo-transient", SolverByName("pseudo-transient"));
    return Finish();
  }

  bool MayClimb() const { return rung_ < options_.most_rungs && structure_.is_well_posed; }

  // True if solved.
  bool By(const char* name, BlockSolver solver) {
    if (rung_ > 0 && !MayClimb()) return false;
    ++rung_;
    std::vector<double> x = start_;
    SolveSummary summary = solver.Solve(problem_, structure_, options_.solve, x);
    return Judge(name, "", std::move(summary), x);
  }

  bool Homotopy(const NearbyCase& nearby) {
    if (!MayClimb()) return false;
    ++rung_;
    HomotopyOptions options;
    options.solve = options_.solve;
    options.most_solves = options_.most_homotopy_solves;
    std::vector<double> x = start_;
    HomotopyResult result = MoveFixedValues(problem_, structure_, nearby.x, options, x);
    return Judge("homotopy", fmt::format("from {}: {}", nearby.name, result.text), std::move(result.summary),
                 x);
  }

  // `told` by homotopy, whose failed solves are of other fixed values: they are never the best.
  bool Judge(const char* name, const std::string& told, SolveSummary summary, const std::vector<double>& x) {
    RungReport rung;
    rung.name = name;
    rung.solved = summary.outcome == SolveOutcome::kConverged;
    rung.iterations = summary.iterations;
    rung.evaluations = summary.evaluations;
    rung.text = told;
    if (told.empty())
      rung.text =
          rung.solved
              ? fmt::format("solved {} in {}", Counted(static_cast<std::size_t>(summary.blocks), "block"),
                            Counted(static_cast<std::size_t>(summary.iterations), "iteration"))
              : fmt::format("{} of {} failed, {} skipped. {}", summary.blocks_failed,
                            Counted(static_cast<std::size_t>(summary.blocks), "block"),
                            summary.blocks_skipped,
                            summary.failures.empty() ? "" : summary.failures.front().reason);
    if (options_.log) options_.log(rung);
    reports_.push_back(rung);
    iterations_ += summary.iterations;
    evaluations_ += summary.evaluations;
    const auto rank = [](const SolveSummary& s) {
      return std::tuple(s.outcome != SolveOutcome::kConverged, s.blocks_failed + s.blocks_skipped,
                        std::isfinite(s.largest_residual) ? s.largest_residual : INFINITY);
    };
    if (reports_.size() == 1 || (rank(summary) < rank(best_) && (told.empty() || rung.solved))) {
      best_ = std::move(summary);
      std::copy(x.begin(), x.end(), x_.begin());
    }
    return rung.solved;
  }

  SolveSummary Finish() {
    best_.iterations = iterations_;
    best_.evaluations = evaluations_;
    best_.rungs = std::move(reports_);
    return std::move(best_);
  }

  NonlinearProblem& problem_;
  const StructureReport& structure_;
  const LadderOptions& options_;
  std::span<double> x_;
  const std::vector<double> start_;
  SolveSummary best_;
  std::vector<RungReport> reports_;
  int rung_ = 0, iterations_ = 0, evaluations_ = 0;
};

}  // namespace

SolveSummary Climb(NonlinearProblem& problem, const StructureReport& structure, const LadderOptions& options,
                   std::span<double> x) {
  return Climber(problem, structure, options, {x.begin(), x.end()}, x).Run();
}

SolveSummary Climb(NonlinearProblem& problem, const LadderOptions& options, std::span<double> x) {
  const std::vector<double> start(x.begin(), x.end());
  SolveSummary first = Solve(problem, options.solve, x);
  const bool is_done =
      first.outcome == SolveOutcome::kConverged || first.outcome == SolveOutcome::kNotWellPosed;
  const StructureReport structure = is_done ? StructureReport() : AnalyseStructure(problem);
  return Climber(problem, structure, options, start, x).RunAfter(std::move(first));
}

}  // namespace quiver
