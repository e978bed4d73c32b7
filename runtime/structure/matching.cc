// SPDX-License-Identifier: Apache-2.0
#include "runtime/structure/matching.h"

namespace quiver {
namespace {

class Matcher {
 public:
  explicit Matcher(const Incidence& incidence)
      : incidence_(incidence), level_(incidence.Rows()), next_(incidence.Rows()) {
    matching_.column_of_row.assign(incidence.Rows(), -1);
    matching_.row_of_column.assign(incidence.Columns(), -1);
  }

  Matching Run() {
    TakeWhatIsFree();
    while (LevelRows()) {
      for (int row = 0; row < incidence_.Rows(); ++row) next_[row] = incidence_.Start(row);
      for (int row = 0; row < incidence_.Rows(); ++row) {
        if (matching_.column_of_row[row] < 0) Augment(row);
      }
    }
    return std::move(matching_);
  }

 private:
  // Most rows of a flowsheet find a partner at once; what is left needs exchanges.
  void TakeWhatIsFree() {
    for (int row = 0; row < incidence_.Rows(); ++row) {
      for (int column : incidence_.Row(row)) {
        if (matching_.row_of_column[column] >= 0) continue;
        Join(row, column);
        ++matching_.size;
        break;
      }
    }
  }

  void Join(int row, int column) {
    matching_.column_of_row[row] = column;
    matching_.row_of_column[column] = row;
  }

  // Breadth-first distance of every row from the unmatched rows, along alternating paths, as far as the
  // nearest unmatched column. False if none can be reached.
  bool LevelRows() {
    queue_.clear();
    for (int row = 0; row < incidence_.Rows(); ++row) {
      level_[row] = matching_.column_of_row[row] < 0 ? 0 : -1;
      if (level_[row] == 0) queue_.push_back(row);
    }
    last_level_ = -1;
    for (std::size_t head = 0; head < queue_.size(); ++head) {
      const int row = queue_[head];
      if (last_level_ >= 0 && level_[row] >= last_level_) break;
      for (int column : incidence_.Row(row)) {
        const int partner = matching_.row_of_column[column];
        if (partner < 0) {
          last_level_ = level_[row] + 1;
        } else if (level_[partner] < 0) {
          level_[partner] = level_[row] + 1;
          queue_.push_back(partner);
        }
      }
    }
    return last_level_ >= 0;
  }

  // Depth-first along the levels; `next_` is shared by all searches of a phase, so each entry is seen once.
  void Augment(int root) {
    path_.assign(1, root);
    while (!path_.empty()) {
      const int row = path_.back();
      bool advanced = false;
      const int end = incidence_.Start(row) + static_cast<int>(incidence_.Row(row).size());
      while (next_[row] < end) {
        const int column = incidence_.Entries()[next_[row]];
        const int partner = matching_.row_of_column[column];
        if (partner < 0) {
          for (int member : path_) Join(member, incidence_.Entries()[next_[member]]);
          ++matching_.size;
          for (int member : path_) ++next_[member];
          return;
        }
        if (level_[partner] == level_[row] + 1 && level_[partner] < last_level_) {
          path_.push_back(partner);
          advanced = true;
          break;
        }
        ++next_[row];
      }
      if (advanced) continue;
      level_[row] = -1;
      path_.pop_back();
      if (!path_.empty()) ++next_[path_.back()];
    }
  }

  const Incidence& incidence_;
  Matching matching_;
  std::vector<int> level_, next_, queue_, path_;
  int last_level_ = -1;
};

}  // namespace

Matching MaximumMatching(const Incidence& incidence) { return Matcher(incidence).Run(); }

}  // namespace quiver
