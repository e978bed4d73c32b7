// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/repetition.h"

#include <algorithm>
#include <unordered_map>

namespace quiver {
namespace {

// A period worth trying everywhere, and up to where it is known to give too few copies.
struct Candidate {
  int period;
  long long weight = 0;
  int hopeless_before = 0;
};

constexpr int kMostCandidates = 16;

constexpr int kOccurrences = 3;  // how far back: in AABB AABB the period is the way to the second A before

// The distances at which keys return, those first that explain most equations.
std::vector<Candidate> FindPeriods(std::span<const int> keys) {
  if (keys.empty()) return {};
  struct Seen {
    int at[kOccurrences] = {-1, -1, -1};
  };
  std::vector<Seen> seen(static_cast<std::size_t>(*std::max_element(keys.begin(), keys.end())) + 1);
  std::unordered_map<int, long long> weights;
  int distances[kOccurrences] = {};  // of the equation before, and where their weights stand
  long long* places[kOccurrences] = {};
  for (int e = 0; e < static_cast<int>(keys.size()); ++e) {
    Seen& before = seen[static_cast<std::size_t>(keys[e])];
    for (int k = 0; k < kOccurrences && before.at[k] >= 0; ++k) {
      if (!places[k] || distances[k] != e - before.at[k]) {
        distances[k] = e - before.at[k];
        places[k] = &weights[distances[k]];  // maps keep their elements where they are
      }
      ++*places[k];
    }
    for (int k = kOccurrences - 1; k > 0; --k) before.at[k] = before.at[k - 1];
    before.at[0] = e;
  }
  std::vector<Candidate> candidates;
  for (const auto& [period, weight] : weights) candidates.push_back({period, weight});
  std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return a.weight != b.weight ? a.weight > b.weight : a.period < b.period;
  });
  if (candidates.size() > kMostCandidates) candidates.resize(kMostCandidates);
  return candidates;
}

}  // namespace

std::vector<Stretch> FindStretches(std::span<const int> keys, int least_copies) {
  std::vector<Stretch> found;
  std::vector<Candidate> candidates = FindPeriods(keys);
  const int count = static_cast<int>(keys.size());
  for (int e = 0; e < count;) {
    Stretch best{e, 0, 0};
    for (Candidate& candidate : candidates) {
      const int p = candidate.period;
      if (e < candidate.hopeless_before || e + p >= count || keys[e] != keys[e + p]) continue;
      int end = e;
      while (end + p < count && keys[end] == keys[end + p]) ++end;
      const int copies = (end - e) / p + 1;
      if (copies < least_copies) {
        candidate.hopeless_before = end;  // nearer to its end there are fewer still
      } else if (copies * p > best.copies * best.period) {
        best = {e, p, copies};
      }
    }
    if (best.copies == 0) {
      ++e;
      continue;
    }
    found.push_back(best);
    e += best.period * best.copies;
  }
  return found;
}

}  // namespace quiver
