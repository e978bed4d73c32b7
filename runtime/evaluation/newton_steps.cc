// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/newton_steps.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>

#include "runtime/evaluation/joint_formulas.h"
#include "runtime/expression/lane_code.h"
#include "runtime/expression/program_extractor.h"

namespace quiver {
namespace {

// Gaussian elimination, written down as formulas.
class Elimination {
 public:
  explicit Elimination(FormulaBuilder& builder) : builder_(builder) {}

  // The next row, by unknown, with its right-hand side; its pivot is the unknown `pivot`.
  void Take(std::map<int, Term> row, Term right, int pivot) {
    // Unknowns that are known by now go to the right; those of rows that still wait are eliminated, oldest first.
    for (const Row& waiting : open_) {
      const auto entry = row.find(waiting.pivot);
      if (entry == row.end() || entry->second.IsZero()) continue;
      const Term factor = entry->second / waiting.entries.at(waiting.pivot);
      row.erase(entry);
      growth_ = growth_.IsZero() ? Magnitude(factor) : Larger(growth_, Magnitude(factor));
      for (const auto& [column, value] : waiting.entries)
        if (column != waiting.pivot)
          row.try_emplace(column, Term(0.0)).first->second = Of(row, column) - factor * value;
      right = right - factor * waiting.right;
    }
    open_.push_back({std::move(row), right, pivot});
    Close();
  }

  const std::map<int, Term>& steps() const { return steps_; }
  bool is_complete() const { return open_.empty(); }
  Term growth() const { return growth_; }

 private:
  struct Row {
    std::map<int, Term> entries;
    Term right;
    int pivot;
  };

  static Term Of(const std::map<int, Term>& row, int column) {
    const auto entry = row.find(column);
    return entry == row.end() ? Term(0.0) : entry->second;
  }

  // Rows from the last one back whose other unknowns are all known give theirs.
  void Close() {
    while (!open_.empty()) {
      Row& row = open_.back();
      for (auto entry = row.entries.begin(); entry != row.entries.end();) {
        const auto known = steps_.find(entry->first);
        if (known == steps_.end()) {
          ++entry;
          continue;
        }
        row.right = row.right - entry->second * known->second;
        entry = row.entries.erase(entry);
      }
      if (row.entries.size() > 1) return;
      steps_.emplace(row.pivot, row.right / row.entries.at(row.pivot));
      open_.pop_back();
    }
  }

  FormulaBuilder& builder_;
  std::vector<Row> open_;
  std::map<int, Term> steps_;  // by unknown
  Term growth_{0.0};
};

constexpr std::size_t kNumbersOfTheCache = 1 << 17;  // what is smaller stays in the processor's second cache

// Turns that hand out nothing: pauses in which the next block can be fetched. A step that takes over what the step before left in
// the processor's registers is not parted from it.
void CutIntoTurns(Program& program) {
  constexpr std::size_t kPauses = 16;
  const std::size_t steps = program.code.size();
  std::vector<Turn> turns;
  for (std::size_t n = 1; n < kPauses; ++n) {
    std::size_t cut = n * steps / kPauses;
    const auto takes_over = [&](const Instruction& step) {
      return step.a_from == Source::kPrevious || step.b_from == Source::kPrevious;
    };
    while (cut < steps && takes_over(program.code[cut])) ++cut;
    const auto end = static_cast<int>(cut);
    if (cut < steps && (turns.empty() ? end > 0 : end > turns.back().code_end)) turns.push_back({end, 0});
  }
  turns.push_back({static_cast<int>(steps), static_cast<int>(program.outputs.size())});
  program.turns = std::move(turns);
}

}  // namespace

NewtonSteps::NewtonSteps(const EquationList& equations, const Copies& copies, std::span<const Pivot> pivots)
    : copies_(copies.count) {
  const std::vector<Places> places = copies.VariablePlaces(equations);
  const JointInputs inputs(equations, copies, places, 0, copies.members.size(), 0);
  JointFormulas joint(inputs.rows().count());
  FormulaBuilder& builder = joint.builder();

  // The unknowns, by the variable's number in the first copy, and their rows among the inputs.
  std::map<int, Places> unknowns;
  std::vector<std::size_t> first_place;
  std::size_t end = 0;
  for (std::size_t m = 0; m < copies.members.size(); ++m) {
    first_place.push_back(end);
    end += static_cast<std::size_t>(copies.ShapeOf(equations, 0, m).variable_count);
  }
  for (const Pivot& pivot : pivots) {
    const bool is_member = pivot.member >= 0 && pivot.member < static_cast<int>(copies.members.size());
    for (std::size_t k = 0; k < places.size(); ++k)
      if (is_member && places[k][0] == pivot.variable) unknowns.emplace(pivot.variable, places[k]);
  }
  if (pivots.size() != copies.members.size() || unknowns.size() != pivots.size())
    throw std::invalid_argument(
        "Newton's steps need one pivot for each equation, of a variable that occurs.");

  Elimination elimination(builder);
  for (const Pivot& pivot : pivots) {
    const auto m = static_cast<std::size_t>(pivot.member);
    const Shape& shape = copies.ShapeOf(equations, 0, m);
    const std::vector<int> nodes =
        joint.Add(shape.programs->gradient, inputs.Constants(builder, m), inputs.Variables(builder, m));
    std::map<int, Term> row;
    for (int k = 0; k < shape.variable_count; ++k) {
      const int variable = static_cast<int>(places[first_place[m] + static_cast<std::size_t>(k)][0]);
      const Term entry(builder, nodes[static_cast<std::size_t>(k) + 1]);
      if (unknowns.contains(variable) && !entry.IsZero()) row.emplace(variable, entry);
    }
    if (!row.contains(pivot.variable))
      throw std::invalid_argument("Newton's steps need pivots that their equations depend on.");
    elimination.Take(std::move(row), -Term(builder, nodes[0]), pivot.variable);
  }
  if (!elimination.is_complete())
    throw std::invalid_argument("Newton's steps need pivots of distinct variables.");

  // Unknowns in the order of their places, so that they are written together. Their total is finite only if all are.
  std::vector<int> outputs;
  Term total(0.0);
  for (const auto& [variable, step] : elimination.steps()) {
    const Places& at = unknowns.at(variable);
    const int row = inputs.Find(at);
    const Term sum = Term(builder, builder.Input(row)) + step;
    outputs.push_back(sum.Node(builder));
    total = total + sum;
    rows_.push_back(row);
    Unknowns* const before = unknowns_.empty() ? nullptr : &unknowns_.back();
    if (before && at.list.empty() && before->places.list.empty() && at.step == before->places.step &&
        at.first == before->places.first + before->count) {
      ++before->count;
    } else {
      unknowns_.push_back({at, 1});
    }
  }
  outputs.push_back(total.Node(builder));
  if (!elimination.growth().IsZero()) outputs.push_back(elimination.growth().Node(builder));
  ConstantPlan plan;
  plan.Need(builder, outputs);
  constants_ = plan.constants().Values({});
  program_ = ProgramExtractor().Extract(builder, plan, outputs, joint.inputs());
  inputs_ = inputs.rows();
  fetches_ahead_ = static_cast<std::size_t>(inputs_.variable_count) * static_cast<std::size_t>(copies_) >
                   kNumbersOfTheCache;
  if (fetches_ahead_) CutIntoTurns(program_);
}

void NewtonSteps::WriteMachineCode() { program_.machine_code = LaneCode::Write(program_); }

void NewtonSteps::Run(int first, const double* x, double* x_new, std::vector<int>& refused,
                      Scratch& scratch) const {
  const int lanes = std::min(kLanes, copies_ - first);
  const auto inputs = static_cast<std::size_t>(inputs_.count());
  if (scratch.rows.size() < inputs) scratch.rows.resize(inputs);
  scratch.inputs.resize(inputs);
  for (std::size_t k = 0; k < inputs; ++k) scratch.inputs[k] = scratch.rows[k].lane;
  inputs_.Gather(x, first, lanes, scratch.rows.data());
  scratch.evaluator.Start(program_, constants_, scratch.inputs, lanes);
  const int next = first + lanes, next_lanes = fetches_ahead_ ? std::min(kLanes, copies_ - next) : 0;
  const int turns = static_cast<int>(program_.turns.size());
  for (int turn = 0; turn < turns; ++turn) {
    scratch.evaluator.RunTurn(turn);
    const int begin = next + next_lanes * turn / turns, end = next + next_lanes * (turn + 1) / turns;
    inputs_.Prefetch(x, begin, end);
    if (x_new != x) inputs_.Prefetch(x_new, begin, end);
  }

  const std::size_t unknowns = rows_.size();
  std::vector<const double*>& results = scratch.results;
  results.clear();
  for (std::size_t k = 0; k < unknowns; ++k) results.push_back(scratch.evaluator.output(static_cast<int>(k)));
  // Lanes that are to be looked at: most blocks have none.
  const double* const total = scratch.evaluator.output(static_cast<int>(unknowns));
  const double* const growth = program_.outputs.size() > unknowns + 1
                                   ? scratch.evaluator.output(static_cast<int>(unknowns) + 1)
                                   : nullptr;
  const auto grows = [&](int i) { return growth && !(growth[i] <= kLargestGrowth); };
  std::vector<int>& suspects = scratch.suspects;
  suspects.clear();
  for (int i = 0; i < lanes; ++i)
    if (!std::isfinite(total[i]) || grows(i)) suspects.push_back(i);
  std::erase_if(suspects, [&](int i) {
    return !grows(i) && std::all_of(results.begin(), results.end(),
                                    [i](const double* row) { return std::isfinite(row[i]); });
  });
  std::size_t k = 0;
  for (const Unknowns& group : unknowns_) {
    if (group.places.list.empty()) {
      ScatterRows(results.data() + k, group.count, lanes, x_new + group.places[first], group.places.step);
    } else {
      Scatter(results[k], group.places.list.data() + first, 1, lanes, x_new);
    }
    k += static_cast<std::size_t>(group.count);
  }
  for (const int i : suspects) {
    refused.push_back(first + i);
    std::size_t unknown = 0;
    for (const Unknowns& group : unknowns_)
      for (int n = 0; n < group.count; ++n, ++unknown)
        x_new[group.places[first + i] + n] = scratch.inputs[static_cast<std::size_t>(rows_[unknown])][i];
  }
}

}  // namespace quiver
