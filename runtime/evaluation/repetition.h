// SPDX-License-Identifier: Apache-2.0
// What repeats in a list of equations: a model written down a thousand times over is one stretch of a thousand copies.
//
//   keys: 7 3 3 9  7 3 3 9  7 3 3 9 ... 5     ->  {.first = 0, .period = 4, .copies = n}
//
// And where things of the i-th copy lie: mostly at first + step * i, which needs no list.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace quiver {

struct Stretch {
  int first, period, copies;
};

// Stretches of at least `least_copies` copies, in order, without overlap. Equal keys mean equations that one program
// computes.
std::vector<Stretch> FindStretches(std::span<const int> keys, int least_copies);

struct Places {
  long long first = 0, step = 0;
  std::vector<int> list;  // where the places follow no rule; else empty

  long long operator[](int copy) const {
    return list.empty() ? first + step * copy : list[static_cast<std::size_t>(copy)];
  }
  std::size_t memory_bytes() const { return list.capacity() * sizeof(int); }
  bool operator==(const Places&) const = default;
};

// The places of every column of a table: row i holds the places of copy i. `row` gives row i's beginning.
template <class RowOf>
std::vector<Places> FindPlaces(int copies, int columns, RowOf row);

// ---- implementation ----

template <class RowOf>
std::vector<Places> FindPlaces(int copies, int columns, RowOf row) {
  const auto width = static_cast<std::size_t>(columns);
  std::vector<Places> places(width);
  std::vector<char> irregular(width, 0);
  std::vector<int> step(width, 0);
  const int* previous = row(0);
  for (std::size_t k = 0; k < width; ++k) places[k].first = previous[k];
  for (int i = 1; i < copies; ++i) {
    const int* const current = row(i);
    if (i == 1) {
      for (std::size_t k = 0; k < width; ++k) step[k] = current[k] - previous[k];
    } else {
      for (std::size_t k = 0; k < width; ++k) irregular[k] |= current[k] - previous[k] != step[k];
    }
    previous = current;
  }
  for (std::size_t k = 0; k < width; ++k) {
    places[k].step = step[k];
    if (!irregular[k]) continue;
    places[k] = {};
    places[k].list.reserve(static_cast<std::size_t>(copies));
    for (int i = 0; i < copies; ++i) places[k].list.push_back(row(i)[k]);
  }
  return places;
}

}  // namespace quiver
