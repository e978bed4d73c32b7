// SPDX-License-Identifier: Apache-2.0
// Blocks by name, letter case ignored. Names of a hundred thousand blocks lie all over the memory: the index keeps their hashes
// side by side and looks at a name only where the hash is the same.
//
//   BlockIndex index;
//   index.Add(instance);   index.Find("PSV1") == &instance
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "runtime/contract/instance.h"
#include "runtime/contract/names.h"

namespace quiver {

class BlockIndex {
 public:
  Instance* Find(std::string_view name) const {
    if (entries_.empty()) return nullptr;
    const std::uint64_t hash = HashOf(name);
    for (std::size_t at = hash;; ++at) {
      const Entry& entry = entries_[at & (entries_.size() - 1)];
      if (!entry.block) return nullptr;
      if (entry.hash == hash && EqualIgnoringCase(entry.block->name, name)) return entry.block;
    }
  }

  // Of two blocks of one name, Find gives the first.
  void Add(Instance& block) {
    if (2 * (count_ + 1) > entries_.size()) Grow();
    Put({HashOf(block.name), &block});
    ++count_;
  }

 private:
  struct Entry {
    std::uint64_t hash = 0;
    Instance* block = nullptr;
  };

  static std::uint64_t HashOf(std::string_view name) {
    std::uint64_t hash = name.size();
    for (const char c : name) {
      const char upper = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
      hash = (hash ^ static_cast<unsigned char>(upper)) * 0x9E3779B97F4A7C15u;
      hash ^= hash >> 29;
    }
    return hash;
  }
  void Put(const Entry& entry) {
    std::size_t at = entry.hash;
    while (entries_[at & (entries_.size() - 1)].block) ++at;
    entries_[at & (entries_.size() - 1)] = entry;
  }
  void Grow() {
    std::vector<Entry> before(entries_.empty() ? 64 : 2 * entries_.size());
    before.swap(entries_);
    for (const Entry& entry : before)
      if (entry.block) Put(entry);
  }

  std::vector<Entry> entries_;  // as many as a power of two, at most half of them taken
  std::size_t count_ = 0;
};

}  // namespace quiver
