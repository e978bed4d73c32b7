// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/repeated_solver.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <tuple>

#include "runtime/solve/block_system.h"
#include "runtime/solve/lane_block_newton.h"
#include "runtime/solve/lane_newton.h"
#include "runtime/solve/solve_times.h"

namespace quiver {
namespace {

// Structure of something smaller than the problem: no names, no values.
class StructureOnly : public NonlinearProblem {
 public:
  double Lower(int) const override { return 0; }
  double Upper(int) const override { return 0; }
  double Scale(int) const override { return 1; }
  bool Evaluate(std::span<const int>, const double*, double*, double*) override { return false; }
  EvaluationFault FirstFault() const override { return {}; }
  int DecideAlternatives(std::span<const int>, const double*) override { return 0; }
  std::string EquationName(int) const override { return {}; }
  std::string VariableName(int) const override { return {}; }
};

class OnePart final : public StructureOnly {
 public:
  explicit OnePart(const PartLayout& layout) : layout_(layout) {}
  int EquationCount() const override { return layout_.Equations(); }
  int VariableCount() const override { return layout_.Variables(); }
  bool IsFree(int place) const override { return layout_.is_free[static_cast<std::size_t>(place)] != 0; }
  std::span<const int> ResidualVariables(int equation) const override {
    return layout_.rows[static_cast<std::size_t>(equation)];
  }
  std::span<const int> ConditionVariables(int equation) const override {
    return layout_.condition_rows[static_cast<std::size_t>(equation)];
  }

 private:
  const PartLayout& layout_;
};

// The equations outside all groups, and the variables they name.
class RestOf final : public StructureOnly {
 public:
  RestOf(const NonlinearProblem& problem, const std::vector<int>& equations)
      : problem_(problem),
        equations_(equations),
        is_named_(static_cast<std::size_t>(problem.VariableCount())) {
    for (const int equation : equations)
      for (const int variable : problem.ResidualVariables(equation))
        is_named_[static_cast<std::size_t>(variable)] = 1;
  }
  int EquationCount() const override { return static_cast<int>(equations_.size()); }
  int VariableCount() const override { return problem_.VariableCount(); }
  bool IsFree(int variable) const override {
    return is_named_[static_cast<std::size_t>(variable)] != 0 && problem_.IsFree(variable);
  }
  std::span<const int> ResidualVariables(int equation) const override {
    return problem_.ResidualVariables(equations_[static_cast<std::size_t>(equation)]);
  }
  std::span<const int> ConditionVariables(int equation) const override {
    return problem_.ConditionVariables(equations_[static_cast<std::size_t>(equation)]);
  }

 private:
  const NonlinearProblem& problem_;
  const std::vector<int>& equations_;
  std::vector<char> is_named_;
};

// What solving some of the parts came to. Of blocks that went through the block solver the whole result, in the order of
// the parts once all is done.
struct Tally {
  struct Given {
    int group, part, block;
    BlockResult result;
  };
  int iterations = 0, evaluations = 0, blocks = 0, skipped = 0;
  double largest_residual = -1.0;
  int worst_equation = -1, worst_variable = -1;
  std::vector<int> moved_into_bounds;
  std::vector<Given> given;

  void Note(double residual, int equation, int variable) {
    if (residual < largest_residual || (residual == largest_residual && equation > worst_equation)) return;
    largest_residual = residual;
    worst_equation = equation;
    worst_variable = variable;
  }
  void Take(Tally& other) {
    iterations += other.iterations;
    evaluations += other.evaluations;
    blocks += other.blocks;
    skipped += other.skipped;
    if (other.worst_equation >= 0) Note(other.largest_residual, other.worst_equation, other.worst_variable);
    moved_into_bounds.insert(moved_into_bounds.end(), other.moved_into_bounds.begin(),
                             other.moved_into_bounds.end());
    std::move(other.given.begin(), other.given.end(), std::back_inserter(given));
  }
};

// The block solver for single blocks of the problem; one for all workers, who take turns.
struct Ordinary {
  explicit Ordinary(NonlinearProblem& p) : problem(p) {}
  NonlinearProblem& problem;
  std::mutex mutex;
  std::optional<BlockSystem> system;  // made at the first need: it is as large as the problem
  BlockSolver solver;
  std::vector<int> equations, unknowns;  // of the last block: the system refers to them until the next

  BlockResult Solve(std::vector<int> of, std::vector<int> by, const SolveOptions& options,
                    std::span<double> x) {
    if (!system) system.emplace(problem);
    BlockResult result = solver.SolveOne(*system, of, by, options, x);
    equations = std::move(of);
    unknowns = std::move(by);
    return result;
  }
};

// Solves the parts of one group, up to kPartLanes at a time. One per worker.
class GroupWorker {
 public:
  GroupWorker(RepeatedParts& parts, int group, const BlockOrder& blocks, Ordinary& ordinary,
              const SolveOptions& options, std::span<double> x, Tally& tally)
      : parts_(parts),
        group_(group),
        layout_(parts.Layout(group)),
        blocks_(blocks),
        ordinary_(ordinary),
        options_(options),
        x_(x),
        tally_(tally),
        evaluator_(parts.MakeEvaluator(group)),
        newton_(layout_),
        block_newton_(layout_),
        values_(static_cast<std::size_t>(layout_.Variables())),
        bounds_(values_.size()),
        numbers_(values_.size() * kPartLanes) {}

  void Run(int first, int count) {
    first_ = first;
    lanes_ = count;
    int list[kPartLanes];
    for (int i = 0; i < count; ++i) list[i] = first + i;
    evaluator_->Take({list, static_cast<std::size_t>(count)});
    for (int i = 0; i < count; ++i) TakePart(i);
    // Lanes behind the last part are computed with: not with anything odd.
    for (PartRow& row : values_) std::fill(row.lane + count, row.lane + kPartLanes, row.lane[count - 1]);
    std::fill_n(failed_, kPartLanes, 0);
    unknown_still_.clear();
    for (int block = 0; block < blocks_.Count(); ++block) SolveBlock(block);
    for (int i = 0; i < count; ++i) {
      evaluator_->KeepAlternatives(i);
      Scatter(i);
    }
  }

 private:
  double& Value(int place, int lane) { return values_[static_cast<std::size_t>(place)].lane[lane]; }
  // Part by part, since a part's variables lie together in memory.
  void TakePart(int lane) {
    const std::span<int> numbers =
        std::span(numbers_).subspan(static_cast<std::size_t>(lane) * values_.size(), values_.size());
    parts_.VariablesOf(group_, first_ + lane, numbers);
    for (std::size_t place = 0; place < numbers.size(); ++place) {
      const int variable = numbers[place];
      values_[place].lane[lane] = x_[static_cast<std::size_t>(variable)];
      if (!layout_.is_free[place]) continue;
      bounds_[place].lower.lane[lane] = ordinary_.problem.Lower(variable);
      bounds_[place].upper.lane[lane] = ordinary_.problem.Upper(variable);
      bounds_[place].scale.lane[lane] = ordinary_.problem.Scale(variable);
    }
  }
  std::size_t Variable(int lane, int place) const {
    return static_cast<std::size_t>(
        numbers_[static_cast<std::size_t>(lane) * values_.size() + static_cast<std::size_t>(place)]);
  }
  int Equation(int lane, int equation) const { return parts_.EquationOf(group_, first_ + lane, equation); }
  void Scatter(int lane) {
    for (int place = 0; place < layout_.Variables(); ++place)
      if (layout_.is_free[static_cast<std::size_t>(place)]) x_[Variable(lane, place)] = Value(place, lane);
  }

  void SolveBlock(int block) {
    tally_.blocks += lanes_;
    if (!SuitsLanes(block)) {
      for (int i = 0; i < lanes_; ++i) SolveAlone(block, i);
      return;
    }
    if (blocks_.Size(block) == 1)
      SolveSingle(block);
    else
      SolveSeveral(block);
  }

  // Alternatives of coupled equations are the ordinary solver's business, as are blocks that want a careful order.
  bool SuitsLanes(int block) const {
    if (blocks_.Size(block) == 1) return true;
    return blocks_.Size(block) <= LaneBlockNewton::kLargest &&
           std::ranges::none_of(blocks_.Rows(block), [this](int equation) {
             return layout_.has_alternatives[static_cast<std::size_t>(equation)];
           });
  }

  void SolveSingle(int block) {
    const int equation = blocks_.Rows(block)[0], place = blocks_.Columns(block)[0];
    const LaneNewton::Bounds& bounds = bounds_[static_cast<std::size_t>(place)];
    const PartRow start = values_[static_cast<std::size_t>(place)];
    newton_.Solve(*evaluator_, equation, place, bounds, options_, values_, lanes_, failed_);
    for (int i = 0; i < lanes_; ++i) {
      const LaneNewton::LaneState& lane = newton_.Lane(i);
      if (lane.outcome != LaneNewton::kConverged) {
        SolveAlone(block, i);
        continue;
      }
      NoteMoved(place, i, start.lane[i]);
      tally_.iterations += lane.iterations;
      tally_.evaluations += lane.evaluations;
      tally_.Note(lane.now.scaled, Equation(i, equation), static_cast<int>(Variable(i, place)));
    }
  }

  void SolveSeveral(int block) {
    const std::span<const int> equations = blocks_.Rows(block), places = blocks_.Columns(block);
    std::vector<PartRow> starts;
    for (const int place : places) starts.push_back(values_[static_cast<std::size_t>(place)]);
    block_newton_.Solve(*evaluator_, equations, places, bounds_, options_, values_, lanes_, failed_);
    for (int i = 0; i < lanes_; ++i) {
      const LaneBlockNewton::LaneState& lane = block_newton_.Lane(i);
      if (lane.outcome != LaneBlockNewton::kConverged) {
        SolveAlone(block, i);
        continue;
      }
      for (std::size_t j = 0; j < places.size(); ++j) NoteMoved(places[j], i, starts[j].lane[i]);
      tally_.iterations += lane.iterations;
      tally_.evaluations += lane.evaluations;
      const int worst = equations[static_cast<std::size_t>(lane.worst_equation)];
      const std::vector<int>& row = layout_.rows[static_cast<std::size_t>(worst)];
      const auto unknown = std::ranges::find_if(
          row, [&](int place) { return std::ranges::find(places, place) != places.end(); });
      tally_.Note(lane.worst_residual, Equation(i, worst), static_cast<int>(Variable(i, *unknown)));
    }
  }

  void NoteMoved(int place, int i, double start) {
    const LaneNewton::Bounds& bounds = bounds_[static_cast<std::size_t>(place)];
    if (start < bounds.lower.lane[i] || start > bounds.upper.lane[i])
      tally_.moved_into_bounds.push_back(static_cast<int>(Variable(i, place)));
  }

  // One block of one part, by the block solver.
  void SolveAlone(int block, int i) {
    if (failed_[i] && Needs(block, i)) {
      ++tally_.skipped;
      for (const int place : blocks_.Columns(block)) unknown_still_.push_back({i, place});
      evaluator_->ForgetAlternatives(i, blocks_.Rows(block));
      return;
    }
    std::vector<int> equations, unknowns;
    for (const int equation : blocks_.Rows(block)) equations.push_back(Equation(i, equation));
    for (const int place : blocks_.Columns(block)) unknowns.push_back(static_cast<int>(Variable(i, place)));
    BlockResult result;
    {
      const std::lock_guard lock(ordinary_.mutex);
      Scatter(i);
      for (const int variable : unknowns)
        if (x_[static_cast<std::size_t>(variable)] < ordinary_.problem.Lower(variable) ||
            x_[static_cast<std::size_t>(variable)] > ordinary_.problem.Upper(variable))
          tally_.moved_into_bounds.push_back(variable);
      result = ordinary_.Solve(std::move(equations), std::move(unknowns), options_, x_);
    }
    for (const int place : blocks_.Columns(block)) {
      Value(place, i) = x_[Variable(i, place)];
      if (result.outcome != SolveOutcome::kConverged) unknown_still_.push_back({i, place});
    }
    if (result.outcome != SolveOutcome::kConverged) failed_[i] = 1;
    evaluator_->ForgetAlternatives(i, blocks_.Rows(block));
    tally_.given.push_back({group_, first_ + i, block, std::move(result)});
  }

  // Whether the block names something that a failed block left.
  bool Needs(int block, int i) const {
    const auto is_missing = [&](int place) {
      return std::ranges::any_of(unknown_still_,
                                 [&](const auto& one) { return one.lane == i && one.place == place; });
    };
    return std::ranges::any_of(blocks_.Rows(block), [&](int equation) {
      return std::ranges::any_of(layout_.rows[static_cast<std::size_t>(equation)], is_missing) ||
             std::ranges::any_of(layout_.condition_rows[static_cast<std::size_t>(equation)], is_missing);
    });
  }

  struct Missing {
    int lane, place;
  };

  RepeatedParts& parts_;
  const int group_;
  const PartLayout& layout_;
  const BlockOrder& blocks_;
  Ordinary& ordinary_;
  const SolveOptions& options_;
  std::span<double> x_;
  Tally& tally_;
  std::unique_ptr<PartEvaluator> evaluator_;
  LaneNewton newton_;
  LaneBlockNewton block_newton_;
  std::vector<PartRow> values_;             // by place
  std::vector<LaneNewton::Bounds> bounds_;  // by place, of those that are free
  std::vector<int> numbers_;                // of the problem's variables, by lane and place
  int first_ = 0, lanes_ = 0;
  unsigned char failed_[kPartLanes] = {};  // lanes in which a block failed
  std::vector<Missing> unknown_still_;
};

// All parts of a group, lanes by lanes, by as many workers as wanted.
void SolveGroup(RepeatedParts& parts, int group, const BlockOrder& blocks, Ordinary& ordinary,
                const SolveOptions& options, std::span<double> x, Tally& tally) {
  const int count = parts.PartCount(group), batches = (count + kPartLanes - 1) / kPartLanes;
  const int workers = std::clamp(options.workers, 1, batches);
  std::vector<Tally> tallies(static_cast<std::size_t>(workers));
  std::atomic<int> next = 0;
  std::exception_ptr thrown;  // the first in any worker; the others then stop
  std::mutex thrown_mutex;
  const auto work = [&](int worker) {
    try {
      GroupWorker group_worker(parts, group, blocks, ordinary, options, x,
                               tallies[static_cast<std::size_t>(worker)]);
      for (int batch = next++; batch < batches; batch = next++) {
        const int first = batch * kPartLanes;
        group_worker.Run(first, std::min(kPartLanes, count - first));
      }
    } catch (...) {
      const std::lock_guard lock(thrown_mutex);
      if (!thrown) thrown = std::current_exception();
      next = batches;
    }
  };
  {
    std::vector<std::jthread> threads;
    try {
      for (int worker = 1; worker < workers; ++worker) threads.emplace_back(work, worker);
    } catch (const std::system_error&) {  // no more threads to be had: these do
    }
    work(0);
  }
  if (thrown) std::rethrow_exception(thrown);
  for (Tally& one : tallies) tally.Take(one);
}

SolveSummary SummaryOf(Tally& tally, const std::vector<BlockOrder>& orders, NonlinearProblem& problem) {
  SolveSummary summary;
  std::ranges::sort(tally.given, {},
                    [](const Tally::Given& g) { return std::tuple(g.group, g.part, g.block); });
  for (const Tally::Given& given : tally.given) {
    summary.evaluations += given.result.evaluations;
    BlockSolver::Add(summary, given.result, problem);
  }
  summary.iterations += tally.iterations;
  summary.evaluations += tally.evaluations;
  summary.blocks += tally.blocks;
  summary.blocks_skipped += tally.skipped;
  if (tally.worst_equation >= 0 &&
      (summary.worst_equation < 0 || tally.largest_residual > summary.largest_residual)) {
    summary.largest_residual = tally.largest_residual;
    summary.worst_equation = tally.worst_equation;
    summary.worst_variable = tally.worst_variable;
  }
  for (const BlockOrder& order : orders)
    for (int block = 0; block < order.Count(); ++block)
      summary.largest_block = std::max(summary.largest_block, order.Size(block));
  std::ranges::sort(tally.moved_into_bounds);
  summary.moved_into_bounds = std::move(tally.moved_into_bounds);
  return summary;
}

// `more` solved after `summary`.
void Join(SolveSummary& summary, SolveSummary&& more) {
  if (summary.failures.empty()) summary.outcome = more.outcome;
  summary.iterations += more.iterations;
  summary.evaluations += more.evaluations;
  summary.blocks += more.blocks;
  summary.largest_block = std::max(summary.largest_block, more.largest_block);
  summary.blocks_failed += more.blocks_failed;
  summary.blocks_skipped += more.blocks_skipped;
  if (summary.worst_equation < 0 || more.largest_residual > summary.largest_residual) {
    summary.largest_residual = more.largest_residual;
    summary.worst_equation = more.worst_equation;
    summary.worst_variable = more.worst_variable;
  }
  const auto append = [](auto& to, auto& from) {
    std::move(from.begin(), from.end(), std::back_inserter(to));
  };
  append(summary.failures, more.failures);
  append(summary.alternatives, more.alternatives);
  append(summary.moved_into_bounds, more.moved_into_bounds);
  append(summary.notes, more.notes);
}

}  // namespace

std::optional<SolveSummary> SolveRepeated(NonlinearProblem& problem, RepeatedParts& parts,
                                          const SolveOptions& options, std::span<double> x) {
  Measure measure(options.times ? &options.times->structure : nullptr);
  std::vector<BlockOrder> orders;
  for (int group = 0; group < parts.GroupCount(); ++group) {
    StructureReport structure = AnalyseStructure(OnePart(parts.Layout(group)));
    if (!structure.is_well_posed) return std::nullopt;
    orders.push_back(std::move(structure.blocks));
  }
  StructureReport rest;
  if (!parts.Rest().empty()) {
    rest = AnalyseStructure(RestOf(problem, parts.Rest()));
    if (!rest.is_well_posed) return std::nullopt;
    for (int& row : rest.blocks.row) row = parts.Rest()[static_cast<std::size_t>(row)];
  }

  measure.Stop();
  Ordinary ordinary(problem);
  Tally tally;
  for (int group = 0; group < parts.GroupCount(); ++group)
    SolveGroup(parts, group, orders[static_cast<std::size_t>(group)], ordinary, options, x, tally);
  SolveSummary summary = SummaryOf(tally, orders, problem);
  if (!parts.Rest().empty()) Join(summary, ordinary.solver.Solve(problem, rest, options, x));
  return summary;
}

}  // namespace quiver
