// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/property_name.h"

#include <fmt/format.h>

#include <algorithm>

#include "runtime/io/case_error.h"
#include "runtime/io/quantity_text.h"
#include "runtime/io/utf8.h"

namespace quiver {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsNameStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || IsDigit(c) ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool IsNameCharacter(char c) { return IsNameStart(c) || c == '-'; }

// Inside brackets more is plain text, for components such as "carbon dioxide" or H2O/D2O; not blanks at the
// ends.
bool IsPlainIndexCharacter(char c) {
  return static_cast<unsigned char>(c) >= ' ' && c != 0x7f &&
         std::string_view("(),'\"=").find(c) == std::string_view::npos;
}

class NameReader {
 public:
  explicit NameReader(std::string_view text) : text_(text) {}

  PropertyPath Path() {
    PropertyPath path;
    do {
      path.parts.push_back(Part());
    } while (Take('.'));
    if (at_ < text_.size()) Fail("unexpected " + Found() + " in name " + Quoted());
    return path;
  }

  PropertyIndex LoneIndex() {
    PropertyIndex index = Index();
    if (at_ < text_.size()) Fail("unexpected " + Found() + " in index " + Quoted());
    return index;
  }

 private:
  PropertyPart Part() {
    SkipBlanks();
    PropertyPart part;
    const std::size_t start = at_;
    if (at_ < text_.size() && IsNameStart(text_[at_])) {
      while (at_ < text_.size() && IsNameCharacter(text_[at_])) ++at_;
    }
    part.name = text_.substr(start, at_ - start);
    if (part.name.empty()) {
      if (text_.find_first_not_of(" \t") == text_.npos) Fail("a name is missing");
      Fail("a name is missing before " + Found() + " in " + Quoted());
    }
    if (std::all_of(part.name.begin(), part.name.end(), [](char c) { return IsDigit(c) || c == '-'; })) {
      at_ = start;
      Fail(fmt::format("\"{}\" is a number, not a name", part.name));
    }
    SkipBlanks();
    if (Take('(')) {
      do {
        part.indices.push_back(Index());
      } while (Take(','));
      if (!Take(')')) Fail("\")\" is missing before " + Found() + " in " + Quoted());
    }
    return part;
  }

  PropertyIndex Index() {
    SkipBlanks();
    std::string index;
    const bool quoted = at_ < text_.size() && (text_[at_] == '"' || text_[at_] == '\'');
    if (quoted) {
      const char quote = text_[at_++];
      const std::size_t end = text_.find(quote, at_);
      if (end == text_.npos) Fail("the quote in " + Quoted() + " has no end");
      index = text_.substr(at_, end - at_);
      at_ = end + 1;
    } else {
      const std::size_t start = at_;
      while (at_ < text_.size() && IsPlainIndexCharacter(text_[at_])) ++at_;
      index = text_.substr(start, at_ - start);
      while (index.ends_with(' ')) index.pop_back();
    }
    if (index.empty()) Fail("an index is missing in " + Quoted());
    SkipBlanks();
    if (!quoted) {
      if (const auto number = ParseInteger(index)) return *number;
    }
    return index;
  }

  void SkipBlanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) ++at_;
  }

  bool Take(char c) {
    SkipBlanks();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    SkipBlanks();
    return true;
  }

  std::string Found() const {
    return at_ < text_.size() ? QuoteForMessage(FirstCharacter(text_.substr(at_))) : "the end";
  }
  std::string Quoted() const { return QuoteForMessage(text_); }
  [[noreturn]] void Fail(const std::string& message) const { throw PropertyNameError(message, at_); }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

PropertyPath ParsePropertyPath(std::string_view text) { return NameReader(text).Path(); }

PropertyIndex ParsePropertyIndex(std::string_view text) { return NameReader(text).LoneIndex(); }

std::string IndexText(const PropertyIndex& index) {
  if (const auto* number = std::get_if<std::int64_t>(&index)) return std::to_string(*number);
  const std::string& text = std::get<std::string>(index);
  const bool plain = std::all_of(text.begin(), text.end(), IsPlainIndexCharacter) && !text.starts_with(' ') &&
                     !text.ends_with(' ') && !ParseInteger(text);
  if (plain) return text;
  const char quote = text.find('"') == text.npos ? '"' : '\'';
  return quote + text + quote;
}

std::string PropertyPath::Text() const {
  std::string text;
  for (const PropertyPart& part : parts) {
    if (!text.empty()) text += '.';
    text += part.name;
    if (part.indices.empty()) continue;
    char before = '(';
    for (const PropertyIndex& index : part.indices) {
      text += before + IndexText(index);
      before = ',';
    }
    text += ')';
  }
  return text;
}

}  // namespace quiver
