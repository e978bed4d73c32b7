// SPDX-License-Identifier: Apache-2.0
// What the solvers need to know of a problem that repeats: groups of like parts. Parts share no unknown, so that each can
// be solved by itself; those of a group have the same equations with other values, so that many are solved side by side,
// each in a lane of its own.
#ifndef QUIVER_RUNTIME_SOLVE_REPEATED_PARTS_H_
#define QUIVER_RUNTIME_SOLVE_REPEATED_PARTS_H_

#include <memory>
#include <span>
#include <vector>

namespace quiver {

inline constexpr int kPartLanes = 64;
inline constexpr int kPartLaneBytes = 64;

// One number for each of the parts in hand.
struct alignas(kPartLaneBytes) PartRow {
  double lane[kPartLanes];
};

// What the parts of a group have in common. A part's variables have places 0, 1, ...
struct PartLayout {
  std::vector<char> is_free;                     // by place
  std::vector<std::vector<int>> rows;            // by equation: places, in the order of ResidualVariables
  std::vector<std::vector<int>> condition_rows;  // by equation: places, in the order of ConditionVariables
  std::vector<char> has_alternatives;            // by equation
  std::vector<char> is_call;                     // by equation: gains nothing from lanes
  int Variables() const { return static_cast<int>(is_free.size()); }
  int Equations() const { return static_cast<int>(rows.size()); }
};

// Evaluates the equations of up to kPartLanes parts of a group; each thread has one of its own.
class PartEvaluator {
 public:
  virtual ~PartEvaluator() = default;
  // parts[i] is in lane i from now on.
  virtual void Take(std::span<const int> parts) = 0;
  // Decides the alternative of an equation in every lane, then evaluates it: its residual, its slopes by the variables
  // of its row. `is_good[i]` is 0 where there is no finite residual. Calls of routines are made for lanes first to
  // first + count - 1 only.
  virtual void Evaluate(int equation, std::span<const PartRow> values, int first, int count,
                        PartRow& residual, std::span<PartRow> slopes, unsigned char* is_good) = 0;
  // Makes the alternatives as they were decided last in that lane those of the problem.
  virtual void KeepAlternatives(int lane) = 0;
  // Somebody else decided these equations' alternatives in that lane, and told the problem.
  virtual void ForgetAlternatives(int lane, std::span<const int> equations) = 0;
};

class RepeatedParts {
 public:
  virtual ~RepeatedParts() = default;
  virtual int GroupCount() const = 0;
  virtual const PartLayout& Layout(int group) const = 0;
  virtual int PartCount(int group) const = 0;
  // The problem's numbers.
  virtual int EquationOf(int group, int part, int equation) const = 0;
  virtual void VariablesOf(int group, int part, std::span<int> variables) const = 0;  // by place
  // Equations outside all groups.
  virtual const std::vector<int>& Rest() const = 0;
  virtual std::unique_ptr<PartEvaluator> MakeEvaluator(int group) = 0;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_REPEATED_PARTS_H_
