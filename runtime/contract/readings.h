// SPDX-License-Identifier: Apache-2.0
// What a model's text reads of its properties while it tells its equations: options, sizes, whatever its choices depend
// on. Another instance whose properties read alike tells the same equations.
//
//   Readings readings;
//   { const CurrentGuard guard({&scope, &instance, &sink, nullptr, &readings});  model.SetUpEquations(); }
//   for (const Reading& reading : readings.list()) ...
#pragma once

#include <atomic>
#include <unordered_set>
#include <vector>

#include "host/property.h"

namespace quiver {

struct Reading {
  enum What : unsigned char { kValue, kLower, kUpper, kOrigin, kDimensions };
  const QV_VarParam* holder;
  What what;
  bool operator==(const Reading&) const = default;
};

class Readings {
 public:
  void Note(const QV_VarParam& holder, Reading::What what);
  const std::vector<Reading>& list() const { return list_; }  // each once, in the order in which they came
  void Clear();

 private:
  struct Hash {
    size_t operator()(const Reading& reading) const;
  };
  std::vector<Reading> list_;
  std::unordered_set<Reading, Hash> seen_;
};

// How many threads listen at the moment: whoever reads a property asks this first, as it costs next to nothing.
extern std::atomic<int> reading_listeners;
void NoteForListener(const QV_VarParam& holder, Reading::What what);
inline void NoteReading(const QV_VarParam& holder, Reading::What what) {
  if (reading_listeners.load(std::memory_order_relaxed) != 0) NoteForListener(holder, what);
}

}  // namespace quiver
