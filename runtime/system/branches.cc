// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/branches.h"

#include <algorithm>
#include <memory>
#include <set>

namespace quiver {
namespace {

// Equations of one set-up entry share their branch.
struct Item {
  int index;  // of the first equation
  int equations;
  int closes;                                  // branches closed after it
  int last_number;                             // of the tested branches opened before it
  std::vector<const EmittedCondition*> tests;  // outermost first
};

// An open branch while the items are read in order.
struct Open {
  int block_start;  // the equation number at which every branch of the block starts
  int test_number;  // 0: otherwise
  Branch* branch;
};

// Finds the openings item by item. Where an item could open a further tested branch or an "otherwise" with a nested block,
// both are tried: only one way leaves no branch open, and closes none too many, at the end. Branches without equations
// close one too many; they are reckoned with only where nothing else fits.
class Reader {
 public:
  Reader(const std::vector<Item>& items, std::vector<std::unique_ptr<Branch>>& owned)
      : items_(items), owned_(owned) {}

  bool Read(std::vector<const Branch*>& innermost) {
    for (const bool empty_branches : {false, true}) {
      empty_branches_ = empty_branches;
      failed_.clear();
      innermost_.assign(items_.size(), nullptr);
      if (!From(0, {}, {-1, -1, nullptr})) continue;
      innermost = innermost_;
      return true;
    }
    return false;
  }

 private:
  struct Closed {  // the block whose branch was closed last, before the next item
    int block_start;
    int place;
    const Branch* outer;
  };

  Branch* Make(const EmittedCondition* condition, int place, const Branch* outer) {
    owned_.push_back(std::make_unique<Branch>(Branch{condition, place, outer}));
    return owned_.back().get();
  }

  bool From(size_t i, std::vector<Open> open, Closed closed) {
    if (i == items_.size()) return open.empty();
    // What can follow depends on what is open alone: a state that failed once fails again.
    std::vector<int> state{static_cast<int>(i), closed.block_start};
    for (const Open& one : open) state.insert(state.end(), {one.block_start, one.test_number});
    if (failed_.contains(state)) return false;
    if (FromState(i, open, closed)) return true;
    failed_.insert(std::move(state));
    return false;
  }

  bool FromState(size_t i, const std::vector<Open>& open, Closed closed) {
    const Item& item = items_[i];
    const bool sibling_possible = closed.block_start == item.index;
    // As a sibling branch of the block closed last, tested or otherwise; else within what is open.
    if (sibling_possible) {
      if (const EmittedCondition* test = NextTest(item, open); test && Place(i, open, test, closed))
        return true;
      if (Place(i, open, nullptr, closed)) return true;
    }
    return Place(i, open, nullptr, {-1, -1, nullptr});
  }

  // The first test of the item beyond those of the open tested branches; null when there is none. Branches are numbered as
  // they open: one with a number that was there before is not opened anew.
  static const EmittedCondition* NextTest(const Item& item, const std::vector<Open>& open) {
    size_t tested = 0;
    for (const Open& one : open)
      if (one.test_number) {
        if (tested >= item.tests.size() || item.tests[tested]->number != one.test_number) return nullptr;
        ++tested;
      }
    return tested < item.tests.size() && item.tests[tested]->number > item.last_number ? item.tests[tested]
                                                                                       : nullptr;
  }

  // Opens a sibling (when the closed block is given), then nested blocks for the tests that remain, and closes what the item
  // closes.
  bool Place(size_t i, std::vector<Open> open, const EmittedCondition* test, Closed sibling_of) {
    const Item& item = items_[i];
    if (sibling_of.block_start >= 0) {
      Branch* branch = Make(test, sibling_of.place + 1, sibling_of.outer);
      open.push_back({sibling_of.block_start, test ? test->number : 0, branch});
    }
    while (const EmittedCondition* next = NextTest(item, open)) {
      const Branch* outer = open.empty() ? nullptr : open.back().branch;
      open.push_back({item.index, next->number, Make(next, 0, outer)});
    }
    size_t tested = 0;
    for (const Open& one : open) tested += one.test_number != 0;
    if (tested != item.tests.size()) return false;
    innermost_[i] = open.empty() ? nullptr : open.back().branch;

    Closed closed{-1, -1, nullptr};
    for (int k = 0; k < item.closes; ++k) {
      if (open.empty()) {
        if (empty_branches_ &&
            closed.block_start >= 0) {  // a further branch of the same block, without equations
          ++closed.place;
          continue;
        }
        return false;
      }
      closed = {open.back().block_start, open.back().branch->place, open.back().branch->outer};
      open.pop_back();
    }
    return From(i + 1, std::move(open), closed);
  }

  const std::vector<Item>& items_;
  std::vector<std::unique_ptr<Branch>>& owned_;
  std::vector<const Branch*> innermost_;
  bool empty_branches_ = false;
  std::set<std::vector<int>> failed_;
};

}  // namespace

Branches::Branches(const InstanceRecord& record) : innermost_(record.emission.equations.size(), nullptr) {
  const auto& emitted = record.emission.equations;
  size_t e = 0;
  int last_number = 0;
  for (size_t k = 0; k < record.set_up.entries.size();) {
    // One group is one block of branches with all that is in it, or a single equation or call outside.
    const int group = record.set_up.entries[k].group;
    std::vector<Item> items;
    std::vector<size_t> first;
    for (; k < record.set_up.entries.size() && record.set_up.entries[k].group == group; ++k) {
      const SetUpEntry& entry = record.set_up.entries[k];
      if (e >= emitted.size()) return;
      Item item{emitted[e].index, entry.equations, entry.branches_closed_after, last_number, {}};
      for (int c = 0; c < emitted[e].condition_count; ++c)
        item.tests.push_back(
            &record.emission.conditions[static_cast<size_t>(emitted[e].first_condition + c)]);
      for (const EmittedCondition* test : item.tests) last_number = std::max(last_number, test->number);
      items.push_back(std::move(item));
      first.push_back(e);
      e += static_cast<size_t>(entry.equations);
    }
    std::vector<const Branch*> innermost;
    if (!Reader(items, owned_).Read(innermost)) continue;
    for (size_t i = 0; i < items.size(); ++i)
      for (size_t q = first[i]; q < first[i] + static_cast<size_t>(items[i].equations) && q < emitted.size();
           ++q)
        innermost_[q] = innermost[i];
  }
}

}  // namespace quiver
