// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "runtime/io/suggest.h"
#include "runtime/io/utf8.h"

namespace quiver {

using Json = nlohmann::json;

namespace {

// Longer texts are never matched: the standard library's matcher recurses once a character.
constexpr std::size_t kLongestMatched = 1000;

const std::set<std::string, std::less<>> kKeywords = {
    "$schema", "$id",           "$ref",      "$defs",     "title",    "description",  "type",
    "enum",    "anyOf",         "oneOf",     "items",     "minItems", "properties",   "additionalProperties",
    "pattern", "propertyNames", "minLength", "maxLength", "required", "minProperties"};

struct KindNames {
  Node::Kind kind;
  const char* json;   // type in the schema
  const char* human;  // with its article
};
constexpr KindNames kKinds[] = {
    {Node::Kind::kNull, "null", "nothing"},
    {Node::Kind::kLogical, "boolean", "true or false"},
    {Node::Kind::kInteger, "integer", "an integer"},
    {Node::Kind::kReal, "number", "a number"},
    {Node::Kind::kText, "string", "a text"},
    {Node::Kind::kList, "array", "a list"},
    {Node::Kind::kMap, "object", "a table {NAME: VALUE}"},
};

bool IsOfType(const Node& node, std::string_view type) {
  if (type == "number") return node.IsNumber();
  return std::any_of(std::begin(kKinds), std::end(kKinds),
                     [&](const KindNames& names) { return names.kind == node.kind && type == names.json; });
}

std::string HumanType(std::string_view type) {
  for (const KindNames& names : kKinds) {
    if (type == names.json) return names.human;
  }
  return std::string(type);
}

std::vector<std::string> TypesOf(const Json& rule) {
  const auto type = rule.find("type");
  if (type == rule.end()) return {};
  if (type->is_string()) return {type->get<std::string>()};
  return type->get<std::vector<std::string>>();
}

std::string TextOf(const Json& rule, const char* key) {
  const auto found = rule.find(key);
  return found == rule.end() ? std::string() : found->get<std::string>();
}

std::string Found(const Node& node) {
  switch (node.kind) {
    case Node::Kind::kNull:
      return "nothing";
    case Node::Kind::kList:
      return "a list";
    case Node::Kind::kMap:
      return "a table {NAME: VALUE}";
    case Node::Kind::kText:
      return "the text " + QuoteForMessage(node.text);
    case Node::Kind::kLogical:
      return "the logical " + node.text;
    case Node::Kind::kInteger:
    case Node::Kind::kReal:
      return "the number " + node.text;
  }
  return "";
}

std::string RemedyForType(const Node& node, const std::vector<std::string>& types) {
  const bool scalar = node.kind != Node::Kind::kList && node.kind != Node::Kind::kMap;
  if (node.kind == Node::Kind::kNull) {
    return node.text.empty() ? "give one" : "put it in quotes if it is a text";
  }
  if (scalar && types.front() == "string") return "put it in quotes";
  if (scalar && types.front() == "array")
    return fmt::format("write it as a list, [{}]", node.text.size() < 40 ? node.text : "A, B");
  if (types.front() == "object") return "write it as {NAME: VALUE}";
  return "give " + HumanType(types.front());
}

// Unicode code points of UTF-8 that has been checked.
std::wstring Wide(std::string_view text) {
  std::wstring wide;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = FirstCharacter(text.substr(i)).size();
    const auto first = static_cast<unsigned char>(text[i]);
    std::uint32_t code = length == 1 ? first : first & (0xffu >> (length + 1));
    for (std::size_t k = 1; k < length; ++k)
      code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3f);
    // Beyond the first plane the patterns need not tell characters apart.
    wide += static_cast<wchar_t>(std::min<std::uint32_t>(code, 0xffff));
    i += length;
  }
  return wide;
}

// Where a check stands in the document, for messages: "fix of block psv".
struct Place {
  const Place* outer = nullptr;
  std::string_view key;
  std::size_t item = 0;  // from 1, in lists
  std::string title;     // of an entry that is named by the user, else of the root
  Location location;     // of the key
  bool whole = false;    // the document itself, which parts need not name: not "components of the case"

  // "fix.RHO of block psv", "item 2 of components": up to the nearest thing that has a name of its own, which
  // needs no "of blocks".
  std::string Text() const {
    if (!outer) return title;
    if (!title.empty()) return fmt::format("{} {}", title, key);
    if (item > 0) return fmt::format("item {}{}", item, outer->whole ? "" : " of " + outer->Text());
    std::string path(key);
    const Place* above = outer;
    for (; above->outer && above->title.empty() && above->item == 0; above = above->outer) {
      path = fmt::format("{}.{}", above->key, path);
    }
    return above->whole ? path : path + " of " + above->Text();
  }
};

}  // namespace

struct Schema::Rules {
  Json root;
  std::map<std::string, std::wregex> patterns;

  explicit Rules(std::string_view text) : root(Json::parse(text)) { Prepare(root); }

  void Prepare(const Json& rule) {
    if (rule.is_boolean()) return;
    for (const auto& [keyword, value] : rule.items()) {
      if (!kKeywords.contains(keyword))
        throw std::invalid_argument("schema: keyword \"" + keyword + "\" is not understood");
      if (keyword == "pattern") {
        const std::string pattern = value.get<std::string>();
        patterns.emplace(pattern, std::wregex(Wide(pattern), std::regex::ECMAScript));
      } else if (keyword == "$ref") {
        Target(value.get<std::string>());
      } else if (keyword == "items" || keyword == "propertyNames" || keyword == "additionalProperties") {
        Prepare(value);
      } else if (keyword == "anyOf" || keyword == "properties" || keyword == "$defs") {
        for (const Json& inner : value) Prepare(inner);
      }
    }
  }

  const Json& Target(const std::string& reference) const {
    const std::string start = "#/$defs/";
    const auto definitions = root.find("$defs");
    if (!reference.starts_with(start) || definitions == root.end() ||
        !definitions->contains(reference.substr(start.size()))) {
      throw std::invalid_argument("schema: there is no " + reference);
    }
    return definitions->at(reference.substr(start.size()));
  }
};

namespace {

class Checker {
 public:
  Checker(const auto& rules, std::vector<CaseFault>& faults)
      : target_([&rules](const std::string& reference) -> const Json& { return rules.Target(reference); }),
        patterns_(rules.patterns),
        faults_(faults) {}

  // Notes all faults of the node. `place` names it.
  void Report(const Node& node, const Json& rule, const Place& place) {
    if (IsFull() || IsValid(node, rule)) return;
    if (rule.is_boolean()) {
      Fault(place.location, place.Text() + " is not allowed here", "remove it");
      return;
    }
    if (const auto reference = rule.find("$ref"); reference != rule.end()) {
      Report(node, target_(reference->get<std::string>()), place);
    }
    const std::vector<std::string> types = TypesOf(rule);
    if (!types.empty() && !IsOfAnyType(node, types)) {
      ReportType(node, types, place);
      return;  // nothing else can be told about it
    }
    if (const Json* branches = Member(rule, "anyOf")) ReportBranches(node, *branches, place);
    if (node.kind == Node::Kind::kText) ReportText(node.text, node.location, rule, place.Text() + ": ");
    if (node.kind == Node::Kind::kList) ReportList(node, rule, place);
    if (node.kind == Node::Kind::kMap) ReportMap(node, rule, place);
  }

 private:
  static bool IsOfAnyType(const Node& node, const std::vector<std::string>& types) {
    return std::any_of(types.begin(), types.end(),
                       [&](const std::string& type) { return IsOfType(node, type); });
  }

  // Remembers what it found, so that nested alternatives do not multiply.
  bool IsValid(const Node& node, const Json& rule) {
    const auto key = std::make_pair(&node, &rule);
    if (const auto known = valid_.find(key); known != valid_.end()) return known->second;
    const bool valid = Evaluate(node, rule);
    valid_.emplace(key, valid);
    return valid;
  }

  bool Evaluate(const Node& node, const Json& rule) {
    if (rule.is_boolean()) return rule.get<bool>();
    if (const auto reference = rule.find("$ref"); reference != rule.end()) {
      if (!IsValid(node, target_(reference->get<std::string>()))) return false;
    }
    const std::vector<std::string> types = TypesOf(rule);
    if (!types.empty() && !IsOfAnyType(node, types)) return false;
    if (const Json* branches = Member(rule, "anyOf")) {
      const auto fits = [&](const Json& branch) { return IsValid(node, branch); };
      if (std::none_of(branches->begin(), branches->end(), fits)) return false;
    }
    switch (node.kind) {
      case Node::Kind::kText:
        return !TextFault(node.text, rule);
      case Node::Kind::kList:
        return IsValidList(node, rule);
      case Node::Kind::kMap:
        return IsValidMap(node, rule);
      default:
        return true;
    }
  }

  bool IsValidList(const Node& node, const Json& rule) {
    if (node.items.size() < rule.value("minItems", std::size_t{0})) return false;
    const auto items = rule.find("items");
    return items == rule.end() || std::all_of(node.items.begin(), node.items.end(),
                                              [&](const Node* item) { return IsValid(*item, *items); });
  }

  bool IsValidMap(const Node& node, const Json& rule) {
    if (node.entries.size() < rule.value("minProperties", std::size_t{0}) || !MissingKeys(node, rule).empty())
      return false;
    const Json* names = Member(rule, "propertyNames");
    return std::all_of(node.entries.begin(), node.entries.end(), [&](const NodeEntry& entry) {
      if (names && TextFault(entry.key, *names)) return false;
      const Json* entry_rule = RuleOf(entry.key, rule);
      return !entry_rule || IsValid(*entry.value, *entry_rule);
    });
  }

  static const Json* Member(const Json& rule, std::string_view key) {
    const auto found = rule.find(key);
    return found == rule.end() ? nullptr : &*found;
  }

  static const Json* RuleOf(const std::string& key, const Json& rule) {
    const Json* properties = Member(rule, "properties");
    const Json* own = properties ? Member(*properties, key) : nullptr;
    return own ? own : Member(rule, "additionalProperties");
  }

  static std::vector<std::string> MissingKeys(const Node& node, const Json& rule) {
    std::vector<std::string> missing;
    const Json* required = Member(rule, "required");
    if (!required) return missing;
    for (const Json& key : *required) {
      if (!node.Find(key.get<std::string>())) missing.push_back(key.get<std::string>());
    }
    return missing;
  }

  struct MessageAndRemedy {
    std::string message, remedy;
  };

  std::optional<MessageAndRemedy> TextFault(std::string_view text, const Json& rule) const {
    if (rule.is_boolean()) return std::nullopt;
    if (const auto reference = rule.find("$ref"); reference != rule.end()) {
      if (auto fault = TextFault(text, target_(reference->get<std::string>()))) return fault;
    }
    const std::string title = TextOf(rule, "title").empty() ? "text that fits" : TextOf(rule, "title");
    const std::string remedy = TextOf(rule, "description");
    const std::size_t length = CharacterCount(text);
    const std::size_t most = rule.value("maxLength", kLongestMatched);
    if (length < rule.value("minLength", std::size_t{0}))
      return MessageAndRemedy{"an empty " + title, remedy};
    if (const Json* options = Member(rule, "enum")) {
      const auto names = options->get<std::vector<std::string>>();
      if (std::find(names.begin(), names.end(), text) == names.end()) {
        return MessageAndRemedy{QuoteForMessage(text) + " is not one of the choices",
                                Suggest(text, names, NameStyle::kQuoted)};
      }
    }
    const Json* pattern = Member(rule, "pattern");
    if (length > most && (pattern || rule.contains("maxLength"))) {
      return MessageAndRemedy{QuoteForMessage(text) + " is too long",
                              fmt::format("use at most {} characters", most)};
    }
    if (pattern && !std::regex_search(Wide(text), patterns_.at(pattern->get<std::string>()))) {
      return MessageAndRemedy{QuoteForMessage(text) + " is no " + title, remedy};
    }
    return std::nullopt;
  }

  void ReportText(std::string_view text, Location location, const Json& rule, const std::string& before) {
    if (const auto fault = TextFault(text, rule)) Fault(location, before + fault->message, fault->remedy);
  }

  void ReportType(const Node& node, const std::vector<std::string>& types, const Place& place) {
    if (node.kind == Node::Kind::kNull) {
      Fault(node.location, place.Text() + " has no value", RemedyForType(node, types));
      return;
    }
    std::vector<std::string> names;
    for (const std::string& type : types) {
      if (type != "null") names.push_back(HumanType(type));
    }
    std::string expected = names.front();
    for (std::size_t i = 1; i < names.size(); ++i)
      expected += (i + 1 == names.size() ? " or " : ", ") + names[i];
    Fault(node.location, fmt::format("{}: expected {}, found {}", place.Text(), expected, Found(node)),
          RemedyForType(node, types));
  }

  // The faults of that branch which the user seems to have meant: one of the node's type, and of several the
  // one that knows most of its keys.
  void ReportBranches(const Node& node, const Json& branches, const Place& place) {
    const Json* meant = nullptr;
    std::size_t most_known = 0;
    std::vector<std::string> all_types;
    for (const Json& branch : branches) {
      const Json* rule = &branch;
      while (rule->contains("$ref")) rule = &target_(rule->at("$ref").get<std::string>());
      if (IsValid(node, branch)) return;
      const std::vector<std::string> types = TypesOf(*rule);
      for (const std::string& type : types) {
        if (std::find(all_types.begin(), all_types.end(), type) == all_types.end()) all_types.push_back(type);
      }
      if (!types.empty() && !IsOfAnyType(node, types)) continue;
      const Json* others = Member(*rule, "additionalProperties");
      std::size_t known = others && *others == false ? 1 : 2;
      for (const NodeEntry& entry : node.entries) {
        const Json* properties = Member(*rule, "properties");
        const Json* own = properties ? Member(*properties, entry.key) : nullptr;
        if (own && *own != false) known += 2;
      }
      if (known > most_known) {
        most_known = known;
        meant = rule;
      }
    }
    if (meant) {
      Report(node, *meant, place);
    } else {
      ReportType(node, all_types, place);
    }
  }

  void ReportList(const Node& node, const Json& rule, const Place& place) {
    const std::size_t least = rule.value("minItems", std::size_t{0});
    if (node.items.size() < least) {
      Fault(node.location, fmt::format("{} has {} items", place.Text(), node.items.size()),
            fmt::format("give at least {}", least));
    }
    const Json* items = Member(rule, "items");
    if (!items) return;
    for (std::size_t i = 0; i < node.items.size(); ++i) {
      Report(*node.items[i], *items, Place{&place, {}, i + 1, {}, node.items[i]->location});
    }
  }

  void ReportMap(const Node& node, const Json& rule, const Place& place) {
    const Location location = place.location.line > 0 ? place.location : node.location;
    if (node.entries.size() < rule.value("minProperties", std::size_t{0})) {
      Fault(location, place.Text() + " has no entries", "give at least one");
    }
    for (const std::string& key : MissingKeys(node, rule)) {
      Fault(location, fmt::format("{} has no \"{}\"", place.Text(), key),
            fmt::format("add \"{}: ...\"", key));
    }
    const Json* names = Member(rule, "propertyNames");
    const Json* properties = Member(rule, "properties");
    std::optional<std::vector<std::string>> unused_keys;
    for (const NodeEntry& entry : node.entries) {
      if (IsFull()) return;
      if (names) ReportText(entry.key, entry.location, *names, "");
      const Json* entry_rule = RuleOf(entry.key, rule);
      if (!entry_rule) continue;
      const bool own = properties && properties->contains(entry.key);
      if (!own && *entry_rule == false) {
        if (!unused_keys) unused_keys = UnusedKeys(node, properties);
        Fault(entry.location, fmt::format("unknown key {} in {}", QuoteForMessage(entry.key), place.Text()),
              unused_keys->empty() ? "remove it" : Suggest(entry.key, *unused_keys, NameStyle::kQuoted));
        continue;
      }
      Report(*entry.value, *entry_rule,
             Place{&place, entry.key, 0, own ? std::string() : TitleOf(*entry_rule), entry.location});
    }
  }

  // A key that is there already is not what the user meant by another one.
  static std::vector<std::string> UnusedKeys(const Node& node, const Json* properties) {
    std::vector<std::string> keys;
    if (!properties) return keys;
    for (const auto& [key, unused] : properties->items()) {
      if (!node.Find(key)) keys.push_back(key);
    }
    return keys;
  }

  std::string TitleOf(const Json& rule) const {
    if (rule.is_boolean()) return {};
    const std::string title = TextOf(rule, "title");
    if (!title.empty() || !rule.contains("$ref")) return title;
    return TitleOf(target_(rule.at("$ref").get<std::string>()));
  }

  bool IsFull() const { return faults_.size() >= kMostFaults; }

  void Fault(Location location, std::string message, std::string remedy) {
    AddFault(faults_, location, std::move(message), std::move(remedy));
  }

  std::function<const Json&(const std::string&)> target_;
  const std::map<std::string, std::wregex>& patterns_;
  std::vector<CaseFault>& faults_;
  std::map<std::pair<const Node*, const Json*>, bool> valid_;
};

}  // namespace

Schema::Schema(std::string_view json_text) {
  try {
    rules_ = std::make_unique<const Rules>(json_text);
  } catch (const Json::exception& error) {
    throw std::invalid_argument(std::string("schema: ") + error.what());
  } catch (const std::regex_error& error) {
    throw std::invalid_argument(std::string("schema: ") + error.what());
  }
}
Schema::~Schema() = default;
Schema::Schema(Schema&&) noexcept = default;
Schema& Schema::operator=(Schema&&) noexcept = default;

void Schema::Check(const Node& root, std::vector<CaseFault>& faults) const {
  Place place;
  place.title = TextOf(rules_->root, "title");
  place.location = {1, 1};
  place.whole = true;
  Checker(*rules_, faults).Report(root, rules_->root, place);
}

void Schema::CheckPart(const Node& node, const std::string& definition, const std::string& title,
                       std::vector<CaseFault>& faults) const {
  Place place;
  place.title = title;
  place.location = node.location;
  Checker(*rules_, faults).Report(node, rules_->Target("#/$defs/" + definition), place);
}

}  // namespace quiver
