// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/readings.h"

#include "runtime/contract/memory.h"
#include "runtime/contract/scope.h"

namespace quiver {

std::atomic<int> reading_listeners = 0;

size_t Readings::Hash::operator()(const Reading& reading) const {
  return std::hash<const void*>()(reading.holder) * 8 + reading.what;
}

void Readings::Note(const QV_VarParam& holder, Reading::What what) {
  if (seen_.contains({&holder, what})) return;
  list_.push_back({&holder, what});
  seen_.insert({&holder, what});
}

void Readings::Clear() {
  list_.clear();
  seen_.clear();
}

void NoteForListener(const QV_VarParam& holder, Reading::What what) {
  if (Readings* readings = ThisThread().readings) NotingMemory([&] { readings->Note(holder, what); });
}

}  // namespace quiver
