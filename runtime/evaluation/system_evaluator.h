// SPDX-License-Identifier: Apache-2.0
// Residuals and Jacobian of a whole system at once. Equations that repeat run in batches over their copies, what occurs
// once runs on tapes of like operations; docs/evaluation.md shows how.
//
//   SystemEvaluator evaluator({&shapes, shape_of, gathers}, {.threads = 2});
//   std::vector<double> residuals(evaluator.EquationCount()), entries(evaluator.EntryCount());
//   evaluator.WriteConstantEntries(entries.data());             // once per array
//   evaluator.Evaluate(x.data(), residuals.data(), entries.data());
//
// Entries stand in rows, equation after equation, a row in the order of the equation's gather list, without the columns
// of fixed variables: row e is entries[EntryStart(e)] to entries[EntryStart(e + 1)]. Every result has the bits of
// Evaluator::Gradient for that equation, for any number of threads.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "runtime/evaluation/batch.h"
#include "runtime/evaluation/equation_list.h"
#include "runtime/evaluation/level_tape.h"
#include "runtime/evaluation/worker_pool.h"

namespace quiver {

class SystemEvaluator {
 public:
  struct Options {
    int threads = 1;
    // Fewer copies go to the tapes; 0: as many as pays, which depends on machine code.
    int least_copies = 0;
    std::size_t streamed_from_bytes = std::size_t{8} << 20;  // of residuals and entries together
    // Machine code is written when a program has run so often, over blocks or as a tape; negative: never. Results are the
    // same to the last bit.
    int runs_before_machine_code = 64;
  };

  // Nothing of the list but its shapes is needed afterwards; they must outlive the evaluator.
  explicit SystemEvaluator(const EquationList& equations) : SystemEvaluator(equations, Options()) {}
  SystemEvaluator(const EquationList& equations, const Options& options);

  int EquationCount() const { return equation_count_; }
  long long EntryCount() const { return entry_count_; }
  long long EntryStart(int equation) const;

  // The entries that Evaluate leaves alone: those of single equations that are the same at every point. (Batches write
  // whole lines, constants and all.)
  void WriteConstantEntries(double* entries) const;
  // `entries` may be null. One call at a time.
  void Evaluate(const double* x, double* residuals, double* entries, const EvaluationContext& context = {});

  // Everything beyond x, residuals and entries.
  std::size_t memory_bytes() const;
  // Equations of each way, for benches and tests.
  int EquationsInBatches() const;

 private:
  // Where rows begin: a stretch of copies, or single equations up to the next stretch.
  struct Rows {
    int first_equation, period;
    long long first_entry, entry_step;
    std::vector<int> offsets;  // of the entries of each equation of a copy; of each single one
  };
  struct Task {
    int batch, first_copy, last_copy;  // batch -1: the tape `first_copy`
  };

  void AddTapes(const EquationList& equations, std::span<const EquationPlace> single);
  void WriteMachineCode();

  int equation_count_ = 0;
  long long entry_count_ = 0;
  bool streamed_ = false;
  int runs_before_machine_code_;
  long long evaluations_ = 0;
  std::vector<Rows> rows_;
  std::vector<Batch> batches_;
  std::vector<LevelTape> tapes_;
  std::vector<Task> tasks_;
  std::vector<Batch::Scratch> scratch_;  // by worker
  std::unique_ptr<WorkerPool> pool_;
};

}  // namespace quiver
