// SPDX-License-Identifier: Apache-2.0
//
// A YAML or JSON text as a tree of plain nodes that know where they stand. The tree tells what YAML libraries
// usually drop: both places of a duplicate key, and whether a scalar was in quotes, so that a text stays the
// user's text: yes, no, on and off are texts, only true and false are logicals, and "6" in quotes is no
// number.
//
//   std::vector<CaseFault> faults;
//   Document document = ReadDocument("fix: {P: 6 bar}", "inline", faults);
//   const Node* fix = document.root().Find("fix");
//   fix->entries[0].value->text      6 bar
//
// Bounded in time and memory for any input: at most 16 MB, 64 levels, and a million nodes after aliases are
// followed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/io/case_error.h"

namespace quiver {

constexpr std::size_t kLargestDocument = 16u << 20;  // bytes

struct Node;

struct NodeEntry {
  std::string key;
  Location location;  // of the key
  bool quoted = false;
  const Node* value = nullptr;
};

struct Node {
  enum class Kind { kNull, kLogical, kInteger, kReal, kText, kList, kMap } kind = Kind::kNull;
  Location location;
  std::string text;  // scalars: as the user wrote it, without quotes
  bool quoted = false;
  bool logical = false;
  std::int64_t integer = 0;
  double real = 0;  // of integers, too
  std::vector<const Node*> items;
  std::vector<NodeEntry> entries;  // in the order of the file, keys are different

  bool IsNumber() const { return kind == Kind::kInteger || kind == Kind::kReal; }
  const Node* Find(std::string_view key) const;  // nullptr if there is no such entry, or no map
};

class Document {
 public:
  bool empty() const { return !root_; }
  const Node& root() const { return *root_; }  // not of an empty document

 private:
  friend class DocumentBuilder;
  std::deque<Node> nodes_;  // addresses stay; an alias shares the node of its anchor
  const Node* root_ = nullptr;
};

// Adds what is wrong to `faults`. The document is whole and can be checked further if only duplicate keys,
// tags and numbers out of range were found; what cannot be read at all throws CaseError (with `faults` in
// it).
Document ReadDocument(std::string_view text, const std::string& name, std::vector<CaseFault>& faults);

}  // namespace quiver
