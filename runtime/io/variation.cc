// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/variation.h"

#include <fmt/format.h>

#include <cmath>

#include "runtime/io/quantity_text.h"

namespace quiver {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::int64_t kMostPoints = 1'000'000'000;  // of one range

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == text.npos ? std::string_view()
                            : text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

// Between commas that stand in no brackets and no quotes.
std::vector<std::string_view> Items(std::string_view text) {
  std::vector<std::string_view> items;
  std::size_t start = 0;
  int depth = 0;
  char quote = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '[' || c == '{' || c == '(') {
      ++depth;
    } else if (c == ']' || c == '}' || c == ')') {
      --depth;
    } else if (c == ',' && depth == 0) {
      items.push_back(Trimmed(text.substr(start, i - start)));
      start = i + 1;
    }
  }
  items.push_back(Trimmed(text.substr(start)));
  return items;
}

// "10 bar:10 log" loses " log" and ":10".
void TakeSpacing(std::string_view& text, Variation& variation, bool& has_points) {
  for (const std::string_view word : {"log", "lin"}) {
    if (!text.ends_with(word) || text.size() == word.size()) continue;
    const char before = text[text.size() - word.size() - 1];
    if (kBlanks.find(before) == kBlanks.npos && before != ':') continue;
    variation.logarithmic = word == "log";
    text = Trimmed(text.substr(0, text.size() - word.size() - (before == ':' ? 1 : 0)));
    break;
  }
  const std::size_t colon = text.rfind(':');
  if (colon == text.npos) return;
  has_points = true;
  const auto points = ParseInteger(Trimmed(text.substr(colon + 1)));
  variation.points = points && *points >= 1 && *points <= kMostPoints ? *points : -1;
  text = Trimmed(text.substr(0, colon));
}

// False when the text is no range at all.
bool ReadRange(std::string_view text, Variation& variation, std::vector<CaseFault>& faults) {
  const std::size_t dots = text.find("..");
  if (dots == text.npos) return false;
  const auto from = SplitQuantity(text.substr(0, dots));
  if (!from) return false;
  std::string_view rest = Trimmed(text.substr(dots + 2));
  bool has_points = false;
  TakeSpacing(rest, variation, has_points);
  const auto to = SplitQuantity(rest);
  const auto fault = [&](const std::string& message, const std::string& remedy) {
    AddFault(faults, variation.location,
             fmt::format("{}: {}", variation.name.Text(), QuoteForMessage(text) + " " + message), remedy);
  };
  variation.is_range = true;
  if (!to) {
    fault("has no end that is a number", "write a range as in 1..10 bar:10");
    return true;
  }
  variation.from = from->value;
  variation.to = to->value;
  variation.unit = to->unit;
  if (!from->unit.empty() && from->unit != to->unit)
    fault("has two units", "give one, behind the end, as in 1..10 bar:10");
  if (variation.points < 0)
    fault("has no sound number of points", "write a whole number, 1 or more, after the colon");
  if (variation.logarithmic && !(from->value > 0 && to->value > 0))
    fault("cannot be spaced logarithmically", "give two ends above 0");
  if (!variation.unit.empty()) try {
      CheckUnit(variation.unit);
    } catch (const UnitError& error) {
      fault(fmt::format("has no known unit: {}", error.what()), "write units like kg/m3 or bar");
    }
  return true;
}

}  // namespace

CaseValue ReadLoneValue(std::string_view text, const std::string& source) {
  return ReadAssignment("x=" + std::string(text), source).value;
}

void ReadVariationText(std::string_view text, Variation& variation, std::vector<CaseFault>& faults) {
  text = Trimmed(text);
  if (ReadRange(text, variation, faults)) return;
  if (text.starts_with('[') && text.ends_with(']') && Items(text).size() == 1)
    text = text.substr(1, text.size() - 2);
  for (const std::string_view item : Items(text)) {
    if (item.empty()) {
      AddFault(faults, variation.location,
               fmt::format("{}: a value is missing in {}", variation.name.Text(), QuoteForMessage(text)),
               "write values between the commas, or a range such as 1..10 bar:10");
      return;
    }
    try {
      variation.values.push_back(ReadLoneValue(item, ""));
      variation.values.back().location = variation.location;
    } catch (const CaseError& error) {
      for (const CaseFault& fault : error.faults())
        AddFault(faults, variation.location, fmt::format("{}: {}", variation.name.Text(), fault.message),
                 fault.remedy);
      return;
    }
  }
  // "1, 2, 5 bar"
  const CaseValue& last = variation.values.back();
  if (last.kind != CaseValue::Kind::kQuantity) return;
  for (CaseValue& value : variation.values) {
    if (value.kind != CaseValue::Kind::kReal && value.kind != CaseValue::Kind::kInteger) continue;
    value.kind = CaseValue::Kind::kQuantity;
    value.unit = last.unit;
    value.text += " " + last.unit;
  }
}

Variation ReadVariation(std::string_view text, const std::string& source) {
  std::vector<CaseFault> faults;
  Variation variation;
  const std::size_t equals = text.find('=');
  if (equals == text.npos || Trimmed(text.substr(equals + 1)).empty())
    throw CaseError(source, {CaseFault({}, QuoteForMessage(text) + " varies nothing",
                                       "write BLOCK.NAME=1..10 bar:10, or BLOCK.NAME=VALUE, VALUE")});
  try {
    variation.name = ParsePropertyPath(Trimmed(text.substr(0, equals)));
  } catch (const PropertyNameError& error) {
    throw CaseError(source, {CaseFault({}, error.what(), "write BLOCK.NAME or BLOCK.NAME(i)")});
  }
  ReadVariationText(text.substr(equals + 1), variation, faults);
  if (!faults.empty()) throw CaseError(source, std::move(faults));
  return variation;
}

}  // namespace quiver
