// SPDX-License-Identifier: Apache-2.0
// The like parts of a system: units joined by unknowns make a part; parts of the same patterns, joined alike and with the
// same variables free, make a group.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>

#include "runtime/contract/scope.h"
#include "runtime/expression/lanes.h"
#include "runtime/solve/repeated_parts.h"
#include "runtime/system/unit_pattern.h"

namespace quiver {

class UnitRepeats final : public RepeatedParts {
 public:
  // Parts of which there are fewer stay outside the groups.
  static constexpr int kFewest = 8;

  UnitRepeats(UnitList& units, const ShapeStore& shapes, const Scope& scope,
              const std::vector<unsigned char>& is_free, const EvaluationContext& context);

  int GroupCount() const override { return static_cast<int>(groups_.size()); }
  const PartLayout& Layout(int group) const override { return At(group).layout; }
  int PartCount(int group) const override {
    return static_cast<int>(At(group).units.size() / At(group).members.size());
  }
  int EquationOf(int group, int part, int equation) const override;
  void VariablesOf(int group, int part, std::span<int> variables) const override;
  const std::vector<int>& Rest() const override { return rest_; }
  std::unique_ptr<PartEvaluator> MakeEvaluator(int group) override;

 private:
  friend class UnitEvaluator;
  struct Member {
    const UnitPattern* pattern;
    int first_equation;         // in the part
    std::vector<int> place_of;  // the part's place of each of the pattern's places
  };
  struct Group {
    struct Source {  // where the number of a part's variable stands
      int member, place;
    };
    std::vector<Member> members;
    std::vector<Source> sources;  // by place of the part
    PartLayout layout;
    std::vector<int> units;  // of part 0, of part 1, ...; as many each as there are members
  };

  const Group& At(int group) const { return groups_[static_cast<size_t>(group)]; }
  const Unit& UnitOf(const Group& group, int part, int member) const {
    const size_t members = group.members.size();
    return units_.units[static_cast<size_t>(
        group.units[static_cast<size_t>(part) * members + static_cast<size_t>(member)])];
  }
  void LayOut(Group& group) const;

  UnitList& units_;
  const ShapeStore& shapes_;
  const Scope& scope_;
  const EvaluationContext& context_;
  std::deque<Group> groups_;
  std::vector<int> rest_;
  // A worker calls procedures of the first or of the second instance that told them, those of either by turns.
  std::mutex calling_[2];
  std::atomic<int> evaluators_ = 0;  // every worker makes its own
};

}  // namespace quiver
