// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/quantity_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

namespace quiver {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Length of the decimal number at the start of the text: [+-] digits [. digits] [e [+-] digits]. An "e"
// without digits belongs to what follows the number.
std::size_t NumberLength(std::string_view text) {
  std::size_t at = 0;
  const auto skip_digits = [&] {
    const std::size_t start = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    return at - start;
  };
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  std::size_t digits = skip_digits();
  if (at < text.size() && text[at] == '.') {
    ++at;
    digits += skip_digits();
  }
  if (digits == 0) return 0;
  const std::size_t mantissa_end = at;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (skip_digits() == 0) at = mantissa_end;
  }
  return at;
}

std::string_view WithoutPlus(std::string_view text) { return text.starts_with('+') ? text.substr(1) : text; }

}  // namespace

bool IsNumberText(std::string_view text) { return !text.empty() && NumberLength(text) == text.size(); }

std::optional<double> ParseReal(std::string_view text) {
  if (!IsNumberText(text)) return std::nullopt;
  text = WithoutPlus(text);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<std::int64_t> ParseInteger(std::string_view text) {
  if (text.empty() || !IsDigit(text.back()) || (text.size() > 1 && text[0] == '+' && text[1] == '-'))
    return std::nullopt;
  text = WithoutPlus(text);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<QuantityText> SplitQuantity(std::string_view text) {
  const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  const std::size_t length = NumberLength(text);
  const auto value = ParseReal(text.substr(0, length));
  if (!value) return std::nullopt;
  std::string_view unit = text.substr(length);
  const bool apart = !unit.empty() && is_blank(unit.front());
  while (!unit.empty() && is_blank(unit.front())) unit.remove_prefix(1);
  if (!unit.empty()) {
    const char c = unit.front();
    const bool letter =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
    // "1/s" is the one unit that starts with a digit; it has to stand apart from the number.
    if (!letter && c != '%' && c != '(' && !(apart && unit.starts_with("1/"))) return std::nullopt;
  }
  return QuantityText{*value, std::string(unit)};
}

std::string FormatReal(double value, RealStyle style) {
  if (std::isnan(value)) return "nan";
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, result.ptr);
  if (style == RealStyle::kMarkedReal &&
      std::all_of(text.begin(), text.end(), [](char c) { return IsDigit(c) || c == '-'; })) {
    text += ".0";
  }
  return text;
}

}  // namespace quiver
