// SPDX-License-Identifier: Apache-2.0
// Evaluates equations of like parts of a system in lanes: shapes by the lane evaluator, calls of routines lane by lane.
#pragma once

#include "runtime/expression/lanes.h"
#include "runtime/system/unit_repeats.h"

namespace quiver {

class UnitEvaluator final : public PartEvaluator {
 public:
  // `caller`: whose procedures to call, of the first (0) or of the second instance that told them.
  UnitEvaluator(UnitRepeats& repeats, const UnitRepeats::Group& group, int caller);

  void Take(std::span<const int> parts) override;
  void Evaluate(int equation, std::span<const PartRow> values, int first, int count, PartRow& residual,
                std::span<PartRow> slopes, unsigned char* is_good) override;
  void KeepAlternatives(int lane) override;
  void ForgetAlternatives(int lane, std::span<const int> equations) override;

 private:
  static constexpr short kUndecided = -2, kNone = -1;  // of a choice; else the alternative's place
  struct Choice {
    short lane[kLanes];
  };

  void Decide(const UnitRepeats::Member& member, const UnitPattern::Equation& equation,
              std::span<const PartRow> values, Choice& choice);
  const double* Run(const UnitRepeats::Member& member, int shape, int places, std::span<const PartRow> values,
                    bool slopes);
  bool Call(size_t member, const UnitPattern::Alternative& alternative, int lane,
            std::span<const PartRow> values, double& residual, std::span<PartRow> slopes);

  UnitRepeats& repeats_;
  const UnitRepeats::Group& group_;
  const int caller_;
  LaneEvaluator evaluator_;
  std::vector<int> parts_;
  std::vector<Choice> choices_;  // by equation; empty for those without alternatives
  std::vector<int> choice_of_;   // by equation: in choices_, or -1
  std::vector<const double*> inputs_;
  std::vector<QV_VarParam*> holders_;
  std::vector<double> call_residuals_, call_rows_;
};

}  // namespace quiver
