// SPDX-License-Identifier: Apache-2.0
#include "cli/explanations.h"

#include <fmt/format.h>

#include "cli/embedded_explanations.h"
#include "runtime/contract/error.h"
#include "runtime/contract/names.h"
#include "runtime/io/document.h"

namespace quiver {
namespace {

using Names = std::vector<std::pair<std::string, std::string>>;

// Folded text of YAML ends with a line break.
std::string Trimmed(std::string text) {
  text.erase(text.find_last_not_of(" \n") + 1);
  return text;
}

class Reader {
 public:
  Reader(const std::string& name, const Node& root) : name_(name), root_(root) {}

  std::vector<Explanation> Read() const {
    const Node* models = root_.Find("models");
    if (!models) throw Error(fmt::format("{}: there is no list of models.", name_));
    std::vector<Explanation> all;
    for (const NodeEntry& entry : models->entries) {
      Explanation one;
      one.model = entry.key;
      one.field = Text(root_, entry.key, "field");
      const Node& node = *entry.value;
      one.title = Text(node, entry.key, "title");
      one.computes = Text(node, entry.key, "computes");
      one.inputs = NamesOf(node, entry.key, "inputs");
      one.outputs = NamesOf(node, entry.key, "outputs");
      one.source = Text(node, entry.key, "source");
      one.valid = Text(node, entry.key, "valid");
      one.example = List(Required(node, entry.key, "example"));
      if (const Node* listing = node.Find("listing")) one.listing = List(*listing);
      all.push_back(std::move(one));
    }
    return all;
  }

 private:
  const Node& Required(const Node& node, const std::string& model, const char* key) const {
    const Node* value = node.Find(key);
    if (!value) throw Error(fmt::format("{}: {} has no {}.", name_, model, key));
    return *value;
  }
  std::string Text(const Node& node, const std::string& model, const char* key) const {
    std::string text = Trimmed(Required(node, model, key).text);
    if (text.empty()) throw Error(fmt::format("{}: {} has an empty {}.", name_, model, key));
    return text;
  }
  Names NamesOf(const Node& node, const std::string& model, const char* key) const {
    Names names;
    for (const NodeEntry& entry : Required(node, model, key).entries)
      names.emplace_back(entry.key, Trimmed(entry.value->text));
    if (names.empty()) throw Error(fmt::format("{}: {} has no {}.", name_, model, key));
    return names;
  }
  static std::vector<std::string> List(const Node& node) {
    std::vector<std::string> items;
    for (const Node* item : node.items) items.push_back(item->text);
    return items;
  }

  const std::string& name_;
  const Node& root_;
};

}  // namespace

std::vector<Explanation> ReadExplanations(std::string_view yaml, const std::string& name) {
  std::vector<CaseFault> faults;
  const Document document = ReadDocument(yaml, name, faults);
  if (!faults.empty()) throw CaseError(name, std::move(faults));
  if (document.empty()) throw Error(fmt::format("{}: is empty.", name));
  return Reader(name, document.root()).Read();
}

const std::vector<Explanation>& AllExplanations() {
  static const std::vector<Explanation> all = [] {
    std::vector<Explanation> read;
    for (const EmbeddedText& text : EmbeddedExplanations())
      for (Explanation& one : ReadExplanations(text.text, text.name)) read.push_back(std::move(one));
    return read;
  }();
  return all;
}

const Explanation* FindExplanation(std::string_view model) {
  for (const Explanation& one : AllExplanations())
    if (EqualIgnoringCase(one.model, model)) return &one;
  return nullptr;
}

}  // namespace quiver
