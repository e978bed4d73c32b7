// SPDX-License-Identifier: Apache-2.0
// The bytes of a fuzz input, read as numbers and texts; zeros once they are used up. And what a target says when a promise is
// broken.
//
//   Bytes bytes(data, size);
//   while (!bytes.empty()) Use(bytes.Byte(), bytes.Real());
//   Promise(CloseEnough(a, b), "a lane differs from the single instance");
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

namespace quiver::fuzz {

inline void Promise(bool kept, const char* broken) {
  if (kept) return;
  std::fprintf(stderr, "Broken promise: %s\n", broken);
  std::abort();
}

// Values at which formulas like to break.
inline constexpr double kOddValues[] = {0.0,
                                        1.0,
                                        -1.0,
                                        2.0,
                                        0.5,
                                        -0.0,
                                        3.0,
                                        -2.5,
                                        1e-300,
                                        1e300,
                                        -1e300,
                                        std::numeric_limits<double>::denorm_min(),
                                        std::numeric_limits<double>::min(),
                                        std::numeric_limits<double>::max(),
                                        std::numeric_limits<double>::lowest(),
                                        std::numeric_limits<double>::epsilon(),
                                        std::numeric_limits<double>::infinity(),
                                        -std::numeric_limits<double>::infinity(),
                                        std::numeric_limits<double>::quiet_NaN(),
                                        1e-9,
                                        100.0,
                                        0.1,
                                        709.8,
                                        1024.0,
                                        4503599627370496.5,
                                        2147483647.0,
                                        -2147483649.0,
                                        9.3e18};
inline constexpr int kOddCount = static_cast<int>(std::size(kOddValues));

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

  bool empty() const { return next_ == end_; }
  std::uint8_t Byte() { return empty() ? 0 : *next_++; }
  template <class T>
  T Raw() {
    T value{};
    const auto size = std::min<std::size_t>(sizeof value, static_cast<std::size_t>(end_ - next_));
    std::memcpy(&value, next_, size);
    next_ += size;
    return value;
  }
  // One byte for an odd value, 255 before the eight of any other.
  double Real() {
    const std::uint8_t byte = Byte();
    return byte == 255 ? Raw<double>() : kOddValues[byte % kOddCount];
  }
  // Up to a zero byte.
  std::string Text() {
    std::string text;
    while (!empty()) {
      const char c = static_cast<char>(Byte());
      if (!c) break;
      text += c;
    }
    return text;
  }
  // All that is left.
  std::string Rest() {
    std::string text(reinterpret_cast<const char*>(next_), static_cast<std::size_t>(end_ - next_));
    next_ = end_;
    return text;
  }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

// The same number, or no number both.
inline bool SameNumber(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

}  // namespace quiver::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
