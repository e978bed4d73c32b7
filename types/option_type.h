// SPDX-License-Identifier: Apache-2.0
// From a row of the type table to its class. A class overrides those defaults only that its row sets; each is
// built on the first question, by one thread while others wait, and is the same object ever after. Kinds of
// rows:
//
//   OPTION(type, "default", "value", "value", ...)                    text out of a list
//   FREE_TEXT(type)                                                   any text: the valid set is there and
//   empty NUMBER_CHOICE(type, default, "1\":3\"")                           integer out of a set, here 1 to 3
//   NUMBER_WITHOUT_DEFAULT(type, "1\":3\"")                           the same without a default of its own
//   NUMBER_FROM(type, default, lower)                                 integer with a lower bound
//   SETTING(type, default, lower, upper, "unit", "quantity")          real
//   SWITCH(type, default)                                             logical
//   VARIABLE_FROM(type, base, default, lower)                         a variable type with its own start and
//   lower bound
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "host/property.h"

namespace quiver {

// The text form of a list: each value followed by a double quote.
template <std::size_t... Sizes>
consteval auto ListText(const char (&... values)[Sizes]) {
  std::array<char, (Sizes + ... + 1)> text{};  // a literal's size counts its closing zero, here the quote
  std::size_t at = 0;
  const auto append = [&](const char* value) {
    while (*value) text[at++] = *value++;
    text[at++] = '"';
  };
  (append(values), ...);
  return text;
}

// Whether the default is among the values.
consteval bool Lists(std::string_view value, auto... values) { return ((value == values) || ...); }

}  // namespace quiver

// In a class: one overridden default.
#define QV_OVERRIDES(OPERATION) QV_Value* QV_Default##OPERATION() override;

#define QV_DECLARE_TYPE(NAME, BASE, OVERRIDES) \
  class QV_EXPORT NAME : public BASE {         \
   public:                                     \
    using BASE::BASE;                          \
    OVERRIDES                                  \
  };

// The bodies.
#define QV_DEFINE_DEFAULT(NAME, OPERATION, VALUE) \
  QV_Value* NAME::QV_Default##OPERATION() {       \
    static QV_Value value(VALUE);                 \
    return &value;                                \
  }
#define QV_DEFINE_VALID(NAME, SET, TEXT) \
  QV_Value* NAME::QV_DefaultVALID() {    \
    static SET set(TEXT);                \
    static QV_Value value(set);          \
    return &value;                       \
  }
