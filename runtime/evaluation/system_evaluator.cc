// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/system_evaluator.h"

#include <algorithm>
#include <map>

#include "runtime/evaluation/stream_copy.h"

namespace quiver {
namespace {

// A tape longer than this would not stay in the second-level cache.
constexpr std::size_t kEquationsOfATape = 512;
// From how many copies on a batch is faster than a tape; those that are scattered have to be gathered by lists.
constexpr int kLeastCopies = 16, kLeastCopiesWithCode = 32, kLeastScattered = 256;
// Of a stretch with fewer copies than kLeastCopiesWithCode: short groups cost more than they save.
constexpr int kLeastEquations = 256;
// Copies that a thread takes at a time.
constexpr int kCopiesOfATask = 16 * kLanes;

const Shape& ShapeOf(const EquationList& equations, int e) {
  return (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(e)]];
}

// Equations with equal keys have one form and entries by the same variables of it.
class Keys {
 public:
  explicit Keys(const EquationList& equations) : equations_(equations) {}

  int Of(int e, long long gather) {
    const Shape& shape = ShapeOf(equations_, e);
    mask_.assign(static_cast<std::size_t>(shape.variable_count), true);
    bool all = true;
    for (int k = 0; k < shape.variable_count; ++k) {
      const bool has = equations_.HasEntry(equations_.gathers[static_cast<std::size_t>(gather + k)]);
      mask_[static_cast<std::size_t>(k)] = has;
      all = all && has;
    }
    const auto form = static_cast<std::size_t>(shape.form);
    if (all) {
      if (unmasked_.size() <= form) unmasked_.resize(form + 1, -1);
      if (unmasked_[form] < 0) unmasked_[form] = count_++;
      return unmasked_[form];
    }
    const auto [place, added] = masked_.try_emplace({shape.form, mask_}, count_);
    if (added) ++count_;
    return place->second;
  }
  int count() const { return count_; }

 private:
  const EquationList& equations_;
  std::vector<int> unmasked_;  // by form; -1: none yet
  std::map<std::pair<int, std::vector<bool>>, int> masked_;
  std::vector<bool> mask_;
  int count_ = 0;
};

}  // namespace

SystemEvaluator::SystemEvaluator(const EquationList& equations, const Options& options)
    : equation_count_(static_cast<int>(equations.shape_of.size())),
      runs_before_machine_code_(options.runs_before_machine_code) {
  std::vector<int> keys(static_cast<std::size_t>(equation_count_));
  Keys key_of(equations);
  long long gather = 0;
  for (int e = 0; e < equation_count_; ++e) {
    keys[static_cast<std::size_t>(e)] = key_of.Of(e, gather);
    gather += ShapeOf(equations, e).variable_count;
  }
  const auto entries_of = [&](const EquationPlace& at) {
    int count = 0;
    for (int k = 0; k < ShapeOf(equations, at.equation).variable_count; ++k)
      count += equations.HasEntry(equations.gathers[static_cast<std::size_t>(at.gather + k)]);
    return count;
  };

  // Walks through the equations; `next` is where the next one stands.
  EquationPlace next{0, 0, 0};
  const auto advance = [&] {
    next.entry += entries_of(next);
    next.gather += ShapeOf(equations, next.equation).variable_count;
    ++next.equation;
  };
  std::vector<EquationPlace> single;
  const auto take_singles = [&](int end) {
    if (next.equation == end) return;
    Rows rows{next.equation, 0, next.entry, 0, {}};
    while (next.equation < end) {
      rows.offsets.push_back(static_cast<int>(next.entry - rows.first_entry));
      single.push_back(next);
      advance();
    }
    rows_.push_back(std::move(rows));
  };
  const bool will_have_code = options.runs_before_machine_code >= 0 && TapeCode::IsForCurrentMachine();
  const int least_in_a_row = options.least_copies > 0 ? options.least_copies
                             : will_have_code         ? kLeastCopiesWithCode
                                                      : kLeastCopies;
  const int least_scattered = options.least_copies > 0 ? options.least_copies : kLeastScattered;
  for (const Stretch& stretch : FindStretches(keys, least_in_a_row)) {
    if (options.least_copies == 0 && stretch.copies < kLeastCopiesWithCode &&
        stretch.copies * stretch.period < kLeastEquations)
      continue;
    take_singles(stretch.first);
    Copies copies;
    copies.count = stretch.copies;
    const EquationPlace start = next;
    Rows rows{next.equation, stretch.period, next.entry, 0, {}};
    for (int m = 0; m < stretch.period; ++m) {
      copies.members.push_back(next);
      rows.offsets.push_back(static_cast<int>(next.entry - start.entry));
      advance();
    }
    copies.equation_step = stretch.period;
    copies.gather_step = next.gather - start.gather;
    copies.entry_step = rows.entry_step = next.entry - start.entry;
    next = {start.equation + stretch.period * stretch.copies,
            start.gather + copies.gather_step * stretch.copies,
            start.entry + copies.entry_step * stretch.copies};
    rows_.push_back(std::move(rows));
    batches_.emplace_back(equations, copies);
  }
  take_singles(equation_count_);
  entry_count_ = next.entry;

  // Singles of which there are many, though not in a row.
  std::vector<std::vector<EquationPlace>> of_key(static_cast<std::size_t>(key_of.count()));
  for (const EquationPlace& place : single)
    of_key[static_cast<std::size_t>(keys[static_cast<std::size_t>(place.equation)])].push_back(place);
  for (std::vector<EquationPlace>& places : of_key) {
    if (static_cast<int>(places.size()) < least_scattered) continue;
    Copies copies;
    copies.count = static_cast<int>(places.size());
    copies.members.push_back(places.front());
    copies.listed = std::move(places);
    batches_.emplace_back(equations, copies);
  }
  std::erase_if(single, [&](const EquationPlace& place) {
    return of_key[static_cast<std::size_t>(keys[static_cast<std::size_t>(place.equation)])].empty();
  });
  AddTapes(equations, single);
  for (std::size_t b = 0; b < batches_.size(); ++b) {
    for (int first = 0; first < batches_[b].copies(); first += kCopiesOfATask)
      tasks_.push_back({static_cast<int>(b), first, std::min(batches_[b].copies(), first + kCopiesOfATask)});
  }
  streamed_ =
      (static_cast<std::size_t>(entry_count_) + static_cast<std::size_t>(equation_count_)) * sizeof(double) >=
      options.streamed_from_bytes;
  pool_ = std::make_unique<WorkerPool>(std::max(1, options.threads));
  scratch_.resize(static_cast<std::size_t>(pool_->workers()));
}

void SystemEvaluator::AddTapes(const EquationList& equations, std::span<const EquationPlace> single) {
  for (std::size_t first = 0; first < single.size();) {
    std::size_t last = first;
    for (int places = 0; last < std::min(first + kEquationsOfATape, single.size()); ++last) {
      places += LevelTape::MostPlaces(ShapeOf(equations, single[last].equation));
      if (places > LevelTape::kMostPlaces) break;
    }
    if (last > first) {
      tasks_.push_back({-1, static_cast<int>(tapes_.size()), 0});
      tapes_.emplace_back(equations, single.subspan(first, last - first));
      first = last;
    } else {  // alone too long for a tape
      Copies copies;
      copies.count = 1;
      copies.members.push_back(single[first++]);
      batches_.emplace_back(equations, copies);
    }
  }
}

long long SystemEvaluator::EntryStart(int equation) const {
  if (equation == equation_count_) return entry_count_;
  const auto after = std::upper_bound(rows_.begin(), rows_.end(), equation,
                                      [](int e, const Rows& rows) { return e < rows.first_equation; });
  const Rows& rows = *(after - 1);
  const int place = equation - rows.first_equation;
  if (rows.period == 0) return rows.first_entry + rows.offsets[static_cast<std::size_t>(place)];
  return rows.first_entry + rows.entry_step * (place / rows.period) +
         rows.offsets[static_cast<std::size_t>(place % rows.period)];
}

void SystemEvaluator::WriteConstantEntries(double* entries) const {
  for (const LevelTape& tape : tapes_) tape.WriteConstantEntries(entries);
}

void SystemEvaluator::Evaluate(const double* x, double* residuals, double* entries,
                               const EvaluationContext& context) {
  WriteMachineCode();
  pool_->Run(static_cast<int>(tasks_.size()), [&](int t, int worker) {
    const Task& task = tasks_[static_cast<std::size_t>(t)];
    if (task.batch < 0) {
      tapes_[static_cast<std::size_t>(task.first_copy)].Run(x, context.time, residuals, entries);
      return;
    }
    const Batch& batch = batches_[static_cast<std::size_t>(task.batch)];
    for (int first = task.first_copy; first < task.last_copy; first += kLanes)
      batch.Run(first, x, context.time, residuals, entries, streamed_,
                scratch_[static_cast<std::size_t>(worker)]);
    if (streamed_) FinishStreaming();
  });
}

// For what has run often enough by the end of this evaluation.
void SystemEvaluator::WriteMachineCode() {
  const long long before = evaluations_++;
  if (runs_before_machine_code_ < 0 || before > runs_before_machine_code_) return;
  if (before == runs_before_machine_code_) {
    for (LevelTape& tape : tapes_) tape.WriteMachineCode();
  }
  for (Batch& batch : batches_) {
    const long long blocks = (batch.copies() + kLanes - 1) / kLanes;
    if (before * blocks <= runs_before_machine_code_ && (before + 1) * blocks > runs_before_machine_code_)
      batch.WriteMachineCode();
  }
}

std::size_t SystemEvaluator::memory_bytes() const {
  std::size_t bytes = sizeof *this + tasks_.capacity() * sizeof(Task);
  for (const Batch& batch : batches_) bytes += batch.memory_bytes();
  for (const LevelTape& tape : tapes_) bytes += tape.memory_bytes();
  for (const Rows& rows : rows_) bytes += sizeof rows + rows.offsets.capacity() * sizeof(int);
  return bytes;
}

int SystemEvaluator::EquationsInBatches() const {
  int count = 0;
  for (const Batch& batch : batches_) count += batch.equations();
  return count;
}

}  // namespace quiver
