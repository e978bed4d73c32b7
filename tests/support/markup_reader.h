// SPDX-License-Identifier: Apache-2.0
// Reads markup as strictly as XML demands: every element closed in its turn, every attribute quoted and named once, no bare "<" or
// "&". Pages of HTML that pass are read alike by every reader.
//
//   const Element page = ReadMarkup(text);                    // throws std::runtime_error that says where it is not well formed
//   for (const Element* svg : page.All("svg")) Look(svg->Attribute("role"));
#pragma once

#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quiver::testing {

struct Element {
  std::string name;  // empty: text
  std::string text;  // of a text
  std::map<std::string, std::string> attributes;
  std::vector<Element> children;

  std::string Attribute(const std::string& key) const {
    const auto found = attributes.find(key);
    return found == attributes.end() ? "" : found->second;
  }
  std::string Text() const {
    std::string all = text;
    for (const Element& child : children) all += child.Text();
    return all;
  }
  // All elements of that name below this one, in the order of the page.
  std::vector<const Element*> All(std::string_view wanted) const {
    std::vector<const Element*> found;
    for (const Element& child : children) {
      if (child.name == wanted) found.push_back(&child);
      for (const Element* deeper : child.All(wanted)) found.push_back(deeper);
    }
    return found;
  }
};

class MarkupReader {
 public:
  explicit MarkupReader(std::string_view text) : all_(text), rest_(text) {}

  Element Document() {
    if (rest_.starts_with("<!DOCTYPE")) Until(">");
    Element root;
    Content(root, "");
    return root;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    const size_t at = all_.size() - rest_.size();
    throw std::runtime_error(what + " at byte " + std::to_string(at) + ": " +
                             std::string(rest_.substr(0, 60)));
  }
  std::string_view Until(std::string_view mark) {
    const size_t end = rest_.find(mark);
    if (end == std::string_view::npos) Fail("nothing ends with " + std::string(mark));
    const std::string_view part = rest_.substr(0, end);
    rest_.remove_prefix(end + mark.size());
    return part;
  }
  std::string Decoded(std::string_view raw) const {
    std::string text;
    for (size_t i = 0; i < raw.size(); ++i) {
      if (raw[i] == '<') Fail("a bare <");
      if (raw[i] != '&') {
        text += raw[i];
        continue;
      }
      static const std::map<std::string_view, std::string> kNames = {
          {"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"quot", "\""}, {"#xa0", "\u00a0"}, {"#x2061", "\u2061"}};
      const size_t end = raw.find(';', i);
      const auto found = end == raw.npos ? kNames.end() : kNames.find(raw.substr(i + 1, end - i - 1));
      if (found == kNames.end()) Fail("an unknown or bare &" + std::string(raw.substr(i, 12)));
      text += found->second;
      i = end;
    }
    return text;
  }
  std::string Name() {
    const size_t end =
        rest_.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-:");
    if (end == 0 || end == rest_.npos) Fail("no name");
    const std::string name(rest_.substr(0, end));
    rest_.remove_prefix(end);
    return name;
  }
  void Blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \n\t"), rest_.size())); }

  void Content(Element& into, const std::string& closing) {
    while (!rest_.empty()) {
      const size_t tag = std::min(rest_.find('<'), rest_.size());
      if (tag > 0) {
        into.children.push_back({"", Decoded(rest_.substr(0, tag)), {}, {}});
        rest_.remove_prefix(tag);
        continue;
      }
      rest_.remove_prefix(1);
      if (rest_.starts_with('/')) {
        rest_.remove_prefix(1);
        if (Name() != closing) Fail("another element than " + closing + " is closed");
        Blanks();
        if (!Until(">").empty()) Fail("words in a closing tag");
        return;
      }
      Element child{Name(), "", {}, {}};
      for (Blanks(); !rest_.starts_with('>') && !rest_.starts_with("/>"); Blanks()) {
        const std::string key = Name();
        if (!rest_.starts_with("=\"")) Fail("attribute " + key + " has no value in quotes");
        rest_.remove_prefix(2);
        if (!child.attributes.emplace(key, Decoded(Until("\""))).second) Fail("attribute " + key + " twice");
      }
      const bool empty = rest_.starts_with('/');
      Until(">");
      if (!empty) Content(child, child.name);
      into.children.push_back(std::move(child));
    }
    if (!closing.empty()) Fail(closing + " is not closed");
  }

  std::string_view all_, rest_;
};

inline Element ReadMarkup(std::string_view text) { return MarkupReader(text).Document(); }

}  // namespace quiver::testing
