// SPDX-License-Identifier: Apache-2.0
// A token of a shape's stream in 64 bits. A literal is its own bits; operators, variables (numbered by first
// appearance), parameters (literals left open) and settled text comparisons use bit patterns of not-a-number, which no literal has.
#pragma once

#include <bit>
#include <cstdint>

#include "runtime/expression/operators.h"

namespace quiver {

class ShapeWord {
 public:
  enum Kind : std::uint32_t {
    kLiteral = 0,
    kOperator = 0xFFFF0001,
    kVariable = 0xFFFF0002,
    kTruth = 0xFFFF0003,
    kParameter = 0xFFFF0004
  };

  static ShapeWord Literal(double value) { return ShapeWord(std::bit_cast<std::uint64_t>(value)); }
  static ShapeWord Code(int code) { return ShapeWord(kOperator, static_cast<std::uint32_t>(code)); }
  static ShapeWord Variable(int number) { return ShapeWord(kVariable, static_cast<std::uint32_t>(number)); }
  static ShapeWord Parameter(int number) { return ShapeWord(kParameter, static_cast<std::uint32_t>(number)); }
  static ShapeWord Truth(bool holds) { return ShapeWord(kTruth, holds); }
  ShapeWord() = default;

  Kind kind() const {
    const auto high = static_cast<std::uint32_t>(bits_ >> 32);
    return high > 0xFFFF0000 ? static_cast<Kind>(high) : kLiteral;
  }
  double literal() const { return std::bit_cast<double>(bits_); }
  int index() const { return static_cast<int>(static_cast<std::uint32_t>(bits_)); }  // code, number, 0 or 1
  std::uint64_t bits() const { return bits_; }
  bool operator==(const ShapeWord&) const = default;

 private:
  explicit ShapeWord(std::uint64_t bits) : bits_(bits) {}
  ShapeWord(Kind kind, std::uint32_t index) : bits_(static_cast<std::uint64_t>(kind) << 32 | index) {}

  std::uint64_t bits_ = 0;
};

}  // namespace quiver
