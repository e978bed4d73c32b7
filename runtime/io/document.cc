// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/document.h"

#include <fmt/format.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <sstream>
#include <string>
#include <unordered_map>

#include "runtime/io/quantity_text.h"
#include "runtime/io/utf8.h"

namespace quiver {
namespace {

constexpr int kDeepest = 64;
constexpr std::size_t kMostNodes = 1'000'000;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

// Thrown out of the YAML parser where reading on makes no sense; the fault is already noted.
struct Stop {};

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
  for (const std::string_view word : words) {
    if (text == word) return true;
  }
  return false;
}

// Faults of the characters themselves, which the YAML parser would report badly or not at all.
bool CheckCharacters(std::string_view text, std::vector<CaseFault>& faults) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  const bool json = first != text.npos && text[first] == '{';
  Location at{1, 1};
  bool indentation = true;
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const std::size_t length = CharacterLength(text.substr(i));
    if (length == 0) {
      AddFault(faults, at, fmt::format("byte {:#04x} is not UTF-8", byte),
               "save the file with encoding UTF-8");
      return false;
    }
    if ((byte < 0x20 && byte != '\n' && byte != '\r' && byte != '\t') || byte == 0x7f) {
      AddFault(faults, at, fmt::format("control character {:#04x}", byte), "remove it");
      return false;
    }
    if (byte == '\t' && indentation && !json) {
      AddFault(faults, at, "a tab in the indentation", "indent with blanks");
      return false;
    }
    if (byte == '\n') {
      at = {at.line + 1, 1};
      indentation = true;
    } else {
      ++at.column;
      indentation = indentation && byte == ' ';
    }
    i += length;
  }
  return true;
}

// The parser counts columns in bytes, people count characters. Long lines are usual in JSON, so bytes that
// continue a character are counted ahead, chunk by chunk.
class Lines {
 public:
  explicit Lines(std::string_view text) : text_(text), starts_{0} {
    std::size_t continuations = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (i % kChunk == 0) continuations_.push_back(continuations);
      if (text[i] == '\n') starts_.push_back(i + 1);
      if (ContinuesCharacter(text[i])) ++continuations;
    }
    continuations_.push_back(continuations);
  }

  Location Of(const YAML::Mark& mark) const {
    if (!IsInText(mark)) return {};
    const std::size_t start = starts_[static_cast<std::size_t>(mark.line)];
    const std::size_t at = OffsetOf(mark);
    return {mark.line + 1,
            static_cast<int>(at - start - (ContinuationsBefore(at) - ContinuationsBefore(start))) + 1};
  }

  // "~" or "null" if that stands there, else nothing.
  std::string_view NullWordAt(const YAML::Mark& mark) const {
    if (!IsInText(mark)) return {};
    const std::string_view rest = text_.substr(OffsetOf(mark));
    for (const std::string_view word : {"~", "null", "Null", "NULL"}) {
      if (!rest.starts_with(word)) continue;
      const bool ends = rest.size() == word.size() ||
                        IsOneOf(rest.substr(word.size(), 1), {" ", ",", "]", "}", "\n", "\r", "\t"});
      if (ends) return word;
    }
    return {};
  }

 private:
  bool IsInText(const YAML::Mark& mark) const {
    return mark.line >= 0 && mark.column >= 0 && static_cast<std::size_t>(mark.line) < starts_.size();
  }

  std::size_t OffsetOf(const YAML::Mark& mark) const {
    const std::size_t start = starts_[static_cast<std::size_t>(mark.line)];
    return std::min(text_.size(), start + static_cast<std::size_t>(mark.column));
  }

  static constexpr std::size_t kChunk = 256;

  std::size_t ContinuationsBefore(std::size_t offset) const {
    const std::size_t chunk = offset / kChunk;
    std::size_t count = continuations_[chunk];
    for (std::size_t i = chunk * kChunk; i < offset; ++i) count += ContinuesCharacter(text_[i]) ? 1 : 0;
    return count;
  }

  std::string_view text_;
  std::vector<std::size_t> starts_;         // of the lines
  std::vector<std::size_t> continuations_;  // before each chunk
};

}  // namespace

// Builds the tree from the parser's events.
class DocumentBuilder : public YAML::EventHandler {
 public:
  DocumentBuilder(const Lines& lines, Document& document, std::vector<CaseFault>& faults)
      : lines_(lines), document_(document), faults_(faults) {}

  void OnDocumentStart(const YAML::Mark&) override {}
  void OnDocumentEnd() override {}

  // The parser does not tell "~" from a value that is not there; for that, its mark is that of whatever comes
  // next.
  void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
    Scalar(mark, "?", anchor, std::string(lines_.NullWordAt(mark)));
  }

  void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                const std::string& value) override {
    Scalar(mark, tag, anchor, value);
  }

  void OnAlias(const YAML::Mark& mark, YAML::anchor_t anchor) override {
    const Location location = lines_.Of(mark);
    if (TakesKey()) StopAt(location, "an alias cannot be a key", "write the key out");
    const auto found = anchors_.find(anchor);
    if (found == anchors_.end() || !found->second.closed) {
      StopAt(location, "the alias stands inside what it refers to", "write the entries out");
    }
    Add(found->second.node, found->second.size, found->second.height, location);
  }

  void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                       YAML::EmitterStyle::value) override {
    Open(Node::Kind::kList, mark, tag, anchor);
  }
  void OnSequenceEnd() override { Close(); }

  void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  YAML::EmitterStyle::value) override {
    Open(Node::Kind::kMap, mark, tag, anchor);
  }
  void OnMapEnd() override { Close(); }

 private:
  struct Extent {
    const Node* node = nullptr;
    std::size_t size = 0;  // nodes below and including this one, aliases followed
    int height = 0;        // levels below and including this one
    bool closed = false;
  };

  struct OpenNode {
    Node* node;
    Extent extent;
    YAML::anchor_t anchor;
    std::unordered_map<std::string, Location> keys;
    bool has_key = false;
    NodeEntry entry;  // whose value comes next
    bool dropped = false;
  };

  bool TakesKey() const {
    return !open_.empty() && open_.back().node->kind == Node::Kind::kMap && !open_.back().has_key;
  }

  [[noreturn]] void StopAt(Location location, std::string message, std::string remedy) {
    AddFault(faults_, location, std::move(message), std::move(remedy));
    throw Stop();
  }

  void Scalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
              const std::string& value) {
    const Location location = lines_.Of(mark);
    const bool quoted = tag == "!" || tag == "tag:yaml.org,2002:str";
    if (!quoted && tag != "?" && !tag.empty()) FaultTag(location, tag);
    if (TakesKey()) {
      Key(location, value, quoted);
      return;
    }
    Node& node = document_.nodes_.emplace_back();
    node.location = location;
    node.text = value;
    node.quoted = quoted;
    if (quoted) {
      node.kind = Node::Kind::kText;
    } else {
      Classify(node);
      if (node.text.empty() && !open_.empty() && open_.back().has_key)
        node.location = open_.back().entry.location;
    }
    const Extent extent{&node, 1, 1, true};
    if (anchor != YAML::NullAnchor) anchors_[anchor] = extent;
    Add(extent.node, extent.size, extent.height, node.location);
  }

  // The core schema of YAML 1.2, without its hexadecimal and octal numbers, which stay texts.
  void Classify(Node& node) {
    const std::string& text = node.text;
    if (IsOneOf(text, {"", "~", "null", "Null", "NULL"})) {
      node.kind = Node::Kind::kNull;
    } else if (IsOneOf(text, {"true", "True", "TRUE", "false", "False", "FALSE"})) {
      node.kind = Node::Kind::kLogical;
      node.logical = text[0] == 't' || text[0] == 'T';
    } else if (const auto integer = ParseInteger(text)) {
      node.kind = Node::Kind::kInteger;
      node.integer = *integer;
      node.real = static_cast<double>(*integer);
    } else if (IsNumberText(text)) {
      node.kind = Node::Kind::kReal;
      const auto real = ParseReal(text);
      if (real) node.real = *real;
      if (!real) {
        AddFault(faults_, node.location, QuoteForMessage(text) + " is out of the range of numbers",
                 "stay between 1e-307 and 1e308 in size");
      }
    } else if (IsNotFinite(text)) {
      node.kind = Node::Kind::kReal;
      AddFault(faults_, node.location, QuoteForMessage(text) + " is not a finite number", "give a number");
    } else {
      node.kind = Node::Kind::kText;
    }
  }

  static bool IsNotFinite(std::string_view text) {
    if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
    return IsOneOf(text, {".inf", ".Inf", ".INF", ".nan", ".NaN", ".NAN"});
  }

  void FaultTag(Location location, const std::string& tag) {
    AddFault(faults_, location, "tag " + QuoteForMessage(tag) + " is not used in cases",
             "leave it out; quotes keep a text a text");
  }

  void Key(Location location, const std::string& key, bool quoted) {
    OpenNode& map = open_.back();
    map.has_key = true;
    map.entry = NodeEntry{key, location, quoted, nullptr};
    const auto [first, is_new] = map.keys.emplace(key, location);
    map.dropped = !is_new;
    if (!is_new) {
      AddFault(faults_, location,
               fmt::format("key {} stands here again; it was first given at {}:{}", QuoteForMessage(key),
                           first->second.line, first->second.column),
               "remove one of them");
    }
  }

  void Open(Node::Kind kind, const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor) {
    const Location location = lines_.Of(mark);
    if (!IsOneOf(tag, {"", "?", "!", "tag:yaml.org,2002:map", "tag:yaml.org,2002:seq"}))
      FaultTag(location, tag);
    if (TakesKey()) StopAt(location, "a key has to be a plain text", "write lists and maps as values only");
    if (open_.size() >= kDeepest) StopTooDeep(location);
    Node& node = document_.nodes_.emplace_back();
    node.kind = kind;
    node.location = location;
    OpenNode& open = open_.emplace_back();
    open.node = &node;
    open.extent = {&node, 1, 1, false};
    open.anchor = anchor;
    if (anchor != YAML::NullAnchor) anchors_[anchor] = open.extent;
  }

  void Close() {
    OpenNode closed = std::move(open_.back());
    open_.pop_back();
    closed.extent.closed = true;
    if (closed.anchor != YAML::NullAnchor) anchors_[closed.anchor] = closed.extent;
    Add(closed.extent.node, closed.extent.size, closed.extent.height, closed.node->location);
  }

  void Add(const Node* node, std::size_t size, int height, Location location) {
    if (static_cast<int>(open_.size()) + height > kDeepest) StopTooDeep(location);
    if (open_.empty()) {
      document_.root_ = node;
      return;
    }
    OpenNode& parent = open_.back();
    parent.extent.size += size;
    parent.extent.height = std::max(parent.extent.height, height + 1);
    if (parent.extent.size > kMostNodes) {
      StopAt(location, fmt::format("more than {} values", kMostNodes), "use fewer or smaller aliases");
    }
    if (parent.node->kind == Node::Kind::kList) {
      parent.node->items.push_back(node);
      return;
    }
    parent.entry.value = node;
    parent.has_key = false;
    if (!parent.dropped) parent.node->entries.push_back(std::move(parent.entry));
  }

  [[noreturn]] void StopTooDeep(Location location) {
    StopAt(location, fmt::format("more than {} levels of lists and maps", kDeepest),
           "write the case flatter");
  }

  const Lines& lines_;
  Document& document_;
  std::vector<CaseFault>& faults_;
  std::vector<OpenNode> open_;
  std::unordered_map<YAML::anchor_t, Extent> anchors_;
};

const Node* Node::Find(std::string_view key) const {
  for (const NodeEntry& entry : entries) {
    if (entry.key == key) return entry.value;
  }
  return nullptr;
}

Document ReadDocument(std::string_view text, const std::string& name, std::vector<CaseFault>& faults) {
  const auto fail = [&](Location at, std::string message, std::string remedy) {
    AddFault(faults, at, std::move(message), std::move(remedy));
    throw CaseError(name, faults);
  };
  if (text.size() > kLargestDocument) {
    fail({}, fmt::format("the text has more than {} MB", kLargestDocument >> 20),
         "keep large tables out of the case");
  }
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  if (!CheckCharacters(text, faults)) throw CaseError(name, faults);

  const Lines lines(text);
  Document document;
  DocumentBuilder builder(lines, document, faults);
  // The parser takes 4 bytes of a stream at a time and guesses encodings from them; the text is known to be
  // UTF-8.
  std::istringstream stream{std::string(text)};
  try {
    YAML::Parser parser(stream);
    const bool found = parser.HandleNextDocument(builder);
    if (!found || document.empty()) fail({1, 1}, "the text holds no case", "start with \"blocks:\"");
    Document rest;
    DocumentBuilder ignored(lines, rest, faults);
    const std::size_t faults_before = faults.size();
    if (parser.HandleNextDocument(ignored)) {
      faults.resize(faults_before);
      fail(rest.empty() ? Location{} : rest.root().location, "a second document in the same file",
           "put one case into a file");
    }
  } catch (const Stop&) {
    throw CaseError(name, faults);
  } catch (const YAML::Exception& error) {
    // JSON writes characters beyond the first plane as two escapes, which the parser does not join.
    const bool escape = error.msg.starts_with("invalid unicode");
    fail(lines.Of(error.mark), "this is not YAML: " + error.msg,
         escape ? "write the character itself instead of its escapes"
                : "check quotes, brackets and indentation near here");
  }
  return document;
}

}  // namespace quiver
