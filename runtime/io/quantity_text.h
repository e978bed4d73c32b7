// SPDX-License-Identifier: Apache-2.0
//
// Numbers as text, whatever the locale: strict reading, splitting off a unit, and printing that reads back
// bit for bit.
//
//   SplitQuantity("6 bar")     gives  {6.0, "bar"}
//   ParseReal("6 bar")         gives  nothing: the whole text has to be the number
//   FormatReal(5000.0)         gives  5000.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quiver {

// A finite decimal real that takes up the whole text: "6", "-3.5e2", "+.5". Nothing for blanks, "inf", "nan",
// hexadecimal digits, decimal commas, or a number out of the range of a double.
std::optional<double> ParseReal(std::string_view text);

// A decimal integer that takes up the whole text.
std::optional<std::int64_t> ParseInteger(std::string_view text);

// Whether the text is written as a number, even one that no double can hold ("1e999").
bool IsNumberText(std::string_view text);

struct QuantityText {
  double value = 0;
  std::string unit;  // as written, without surrounding blanks; empty if there is none
  bool operator==(const QuantityText&) const = default;
};

// A number and what follows it, if that could be a unit: "6 bar", "25degC", "10 %", "1e3 1/s". Nothing if the
// text starts with no number, or goes on with something that no unit starts with ("2-phase", "1,5 bar").
// Whether such a unit exists is asked in runtime/io/units.h.
std::optional<QuantityText> SplitQuantity(std::string_view text);

enum class RealStyle {
  kShortest,    // 5000
  kMarkedReal,  // 5000.0, so that nobody takes it for an integer
};

// The shortest text that reads back as the same double ("nan", "inf", "-inf" for what is no number).
std::string FormatReal(double value, RealStyle style = RealStyle::kMarkedReal);

}  // namespace quiver
