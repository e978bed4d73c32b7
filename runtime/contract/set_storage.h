// SPDX-License-Identifier: Apache-2.0
// The elements of a set: integers or texts, in the order written. Sets last and are shared: two are equal where their
// pointers are.
#pragma once

#include <string>
#include <vector>

#include "host/sets.h"

namespace quiver {

// Larger sizes are taken for a slip of the pen: elements of a range, elements of an array, sub-models in an array.
inline constexpr long long kLargestRange = 100'000, kLargestArray = 100'000, kMostSubModels = 10'000;

class SetStorage : public QV_Set {
 public:
  // The one lasting set of these elements.
  static SetStorage* FromText(const char* text);      // each value followed by a double quote
  static SetStorage* FromIntegers(const char* text);  // 1":3" is 1 to 3
  static SetStorage* FromTexts(std::vector<std::string> texts);

  bool is_text = false;
  std::vector<int> integers;
  std::vector<std::string> texts;

  long long Count() const { return static_cast<long long>(is_text ? texts.size() : integers.size()); }
  bool Contains(const char* text) const;  // letter case ignored
  std::string Describe() const;           // "A", "B" or 1, 2, 3
  bool operator==(const SetStorage& other) const {
    return is_text == other.is_text && integers == other.integers && texts == other.texts;
  }
  static SetStorage& Empty();

 private:
  static SetStorage* Lasting(SetStorage set);
};

// What a set stands for: its elements; every QV_Set of this host is a SetStorage.
inline const SetStorage& ElementsOf(const QV_Set& set) { return static_cast<const SetStorage&>(set); }

}  // namespace quiver
