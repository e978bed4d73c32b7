// SPDX-License-Identifier: Apache-2.0
//
// Names of properties as users write them: NAME, NAME(i,j), Y(N2), PORT.MEMBER, IN_F(1).F, SUB.NAME, and in a
// flowsheet BLOCK.NAME.
//
//   PropertyPath path = ParsePropertyPath("vessel.IN_F(1).Z(N2)");
//   path.parts[1].indices[0]     the integer 1
//   path.Text()                  vessel.IN_F(1).Z(N2)
#pragma once

#include <compare>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quiver {

// An element of an integer set, or of a set of texts such as a component list.
using PropertyIndex = std::variant<std::int64_t, std::string>;

struct PropertyPart {
  std::string name;
  std::vector<PropertyIndex> indices;
  auto operator<=>(const PropertyPart&) const = default;
};

struct PropertyPath {
  std::vector<PropertyPart> parts;  // outermost first

  // As ParsePropertyPath reads it back. Index texts that could be taken for something else are in quotes.
  std::string Text() const;

  auto operator<=>(const PropertyPath&) const = default;
};

// The offset is that of the first byte which cannot be part of the name.
class PropertyNameError : public std::runtime_error {
 public:
  PropertyNameError(const std::string& message, std::size_t offset)
      : std::runtime_error(message), offset_(offset) {}
  std::size_t offset() const { return offset_; }

 private:
  std::size_t offset_;
};

// Names consist of letters, digits, "_" and "-", start with a letter, digit or "_", and have at least one
// character that is no digit or "-"; characters beyond ASCII count as letters, case is kept. Blanks around
// names and indices are dropped. An index of digits only is an integer; quotes ('2' or "1,3-butadiene") keep
// any text together. Throws PropertyNameError.
PropertyPath ParsePropertyPath(std::string_view text);

// One index as it stands between the brackets: 3, -1, N2, "1,3-butadiene". Throws PropertyNameError.
PropertyIndex ParsePropertyIndex(std::string_view text);
std::string IndexText(const PropertyIndex& index);

}  // namespace quiver
