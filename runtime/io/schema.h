// SPDX-License-Identifier: Apache-2.0
//
// Checks a document against a JSON Schema (draft 2020-12) and tells every fault in a user's words, with line,
// column and remedy.
//
//   const Schema schema(kCaseSchemaText);
//   schema.Check(document.root(), faults);      adds    unknown key "sets" in block psv: did you mean "set"?
//
// Understood are type, properties, additionalProperties, propertyNames, minProperties, required, items,
// minItems, anyOf, oneOf (as anyOf), enum (of texts), pattern, minLength, maxLength, $ref to #/$defs/...,
// true and false. Words for messages come from the schema: "title" names a thing ("block psv", "is no block
// name"), "description" is the remedy where a text does not match its pattern.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/io/document.h"

namespace quiver {

// docs/case.schema.json, built in.
extern const char kCaseSchemaText[];

class Schema {
 public:
  // Throws std::invalid_argument for a text that is no JSON or uses keywords that are not understood: a
  // keyword must never be passed over in silence.
  explicit Schema(std::string_view json_text);
  ~Schema();
  Schema(Schema&&) noexcept;
  Schema& operator=(Schema&&) noexcept;

  // Takes time in proportion to the nodes of the tree times the size of the schema.
  void Check(const Node& root, std::vector<CaseFault>& faults) const;

  // The same for a node that has to follow #/$defs/<definition>; messages call it `title`.
  void CheckPart(const Node& node, const std::string& definition, const std::string& title,
                 std::vector<CaseFault>& faults) const;

 private:
  struct Rules;
  std::unique_ptr<const Rules> rules_;
};

}  // namespace quiver
