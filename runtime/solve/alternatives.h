// SPDX-License-Identifier: Apache-2.0
// Keeps the record of which alternatives a block's equations took while it was solved.
//
//   Alternatives alternatives(system);
//   if (alternatives.Decide(x, iteration)) ...  // evaluate anew: some equation changed
#ifndef QUIVER_RUNTIME_SOLVE_ALTERNATIVES_H_
#define QUIVER_RUNTIME_SOLVE_ALTERNATIVES_H_

#include <span>
#include <vector>

#include "runtime/solve/block_system.h"

namespace quiver {

class Alternatives {
 public:
  explicit Alternatives(BlockSystem& system);

  bool Any() const { return !system_.Conditional().empty(); }
  // True if an alternative changed; the changes are recorded.
  bool Decide(std::span<const double> x, int iteration);
  // As Decide, but stops at the first equation that changes.
  bool DecideFirst(std::span<const double> x, int iteration);
  // One number for each conditional equation.
  const std::vector<int>& Assignment() const { return assignment_; }
  // False if the problem says that alternatives changed but not which: assignments then mean nothing.
  bool AreKnown() const { return are_known_; }
  const std::vector<AlternativeChange>& History() const { return history_; }

  // After Decide has changed the alternatives away from `kept`, in which x is a solution: true if x lies on
  // the switch, so that a tiny change of x brings `kept` back. `kept` is then in force again, and x as it
  // was.
  bool KeepOnSwitch(const std::vector<int>& kept, double tolerance, std::span<double> x);

 private:
  bool Record(int changed, int iteration);
  void Read();
  bool BringBack(int equation, int kept, double tolerance, std::span<double> x);

  BlockSystem& system_;
  std::vector<int> assignment_;
  std::vector<AlternativeChange> history_;
  bool are_known_ = true;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_ALTERNATIVES_H_
