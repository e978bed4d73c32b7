// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/case_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "runtime/io/document.h"
#include "runtime/io/quantity_text.h"
#include "runtime/io/schema.h"
#include "runtime/io/suggest.h"
#include "runtime/io/variation.h"

namespace quiver {
namespace {

constexpr int kSuggestedBlocks = 10;

const Schema& CaseSchema() {
  static const Schema schema(kCaseSchemaText);
  return schema;
}

CaseValue ReadValue(const Node& node);

// The unit of {value: ..., unit: ...} holds for every number in it.
void GiveUnit(CaseValue& value, const std::string& unit) {
  for (CaseValue& item : value.items) GiveUnit(item, unit);
  if (value.kind != CaseValue::Kind::kReal && value.kind != CaseValue::Kind::kInteger) return;
  value.kind = CaseValue::Kind::kQuantity;
  value.unit = unit;
  value.text += " " + unit;
}

CaseValue ReadTable(const Node& node) {
  const Node* number = node.Find("value");
  const Node* unit = node.Find("unit");
  if (number && number->kind != Node::Kind::kMap && unit && unit->kind == Node::Kind::kText) {
    CaseValue value = ReadValue(*number);
    GiveUnit(value, unit->text);
    return value;
  }
  CaseValue value;
  value.kind = CaseValue::Kind::kTable;
  for (const NodeEntry& entry : node.entries) {
    PropertyIndex index = entry.key;
    if (const auto integer = ParseInteger(entry.key)) index = *integer;
    value.elements.push_back({std::move(index), ReadValue(*entry.value), entry.location});
  }
  return value;
}

CaseValue ReadValue(const Node& node) {
  CaseValue value;
  switch (node.kind) {
    case Node::Kind::kNull:
      break;  // found by the schema
    case Node::Kind::kLogical:
      value.kind = CaseValue::Kind::kLogical;
      value.logical = node.logical;
      break;
    case Node::Kind::kInteger:
      value.kind = CaseValue::Kind::kInteger;
      value.integer = node.integer;
      value.real = node.real;
      break;
    case Node::Kind::kReal:
      value.kind = CaseValue::Kind::kReal;
      value.real = node.real;
      break;
    case Node::Kind::kText:
      // A number in quotes has no unit and stays a text.
      if (const auto quantity = SplitQuantity(node.text); quantity && !quantity->unit.empty()) {
        value.kind = CaseValue::Kind::kQuantity;
        value.real = quantity->value;
        value.unit = quantity->unit;
      }
      break;
    case Node::Kind::kList:
      value.kind = CaseValue::Kind::kList;
      for (const Node* item : node.items) value.items.push_back(ReadValue(*item));
      break;
    case Node::Kind::kMap:
      value = ReadTable(node);
      break;
  }
  if (node.kind != Node::Kind::kMap) value.text = node.text;
  value.location = node.location;
  return value;
}

// Reads the parts of a case from a document and notes what no schema can tell. Goes on after faults; what the
// schema has found already (a fault at the same place) is not said again.
class CaseReader {
 public:
  CaseReader(CaseFile& description, std::vector<CaseFault>& faults) : case_(description), faults_(faults) {
    for (const CaseFault& fault : faults) faulty_.insert({fault.line, fault.column});
  }

  void Read(const Node& root) {
    if (const Node* title = root.Find("title")) case_.title = title->text;
    ReadComponents(root.Find("components"));
    case_.globals = ReadAssignments(root.Find("globals"), true);
    if (const Node* blocks = root.Find("blocks")) {
      for (const NodeEntry& entry : blocks->entries) block_names_.insert(entry.key);
      for (const NodeEntry& entry : blocks->entries) {
        if (!IsFull()) ReadBlock(entry);
      }
    }
    if (const Node* connect = root.Find("connect")) {
      for (const Node* item : connect->items) {
        if (!IsFull()) ReadConnection(*item);
      }
    }
    if (const Node* report = root.Find("report")) {
      for (const Node* item : report->items) {
        if (!IsFull()) ReadReportedName(*item);
      }
    }
    if (const Node* simulate = root.Find("simulate"); simulate && simulate->kind == Node::Kind::kMap)
      ReadSimulate(*simulate);
    // At the start they are as good as fixed, and every command but one sees the start only.
    for (Assignment initial : case_.simulate.initial) {
      const std::string block = initial.name.parts.front().name;
      initial.name.parts.erase(initial.name.parts.begin());
      for (CaseBlock& candidate : case_.blocks)
        if (candidate.name == block) candidate.fix.push_back(initial);
    }
    if (const Node* sweep = root.Find("sweep")) ReadSweep(*sweep);
  }

  Assignment ReadAssignmentFrom(const NodeEntry& entry, bool numbers) {
    Assignment assignment{ReadPath(entry.key, entry.location), ReadValue(*entry.value), entry.location};
    CheckUnits(*entry.value, assignment.value, numbers);
    return assignment;
  }

 private:
  bool IsFull() const { return faults_.size() >= kMostFaults; }

  void Fault(Location at, std::string message, std::string remedy) {
    if (!faulty_.contains(at)) AddFault(faults_, at, std::move(message), std::move(remedy));
  }

  // An empty path after a fault.
  PropertyPath ReadPath(std::string_view text, Location at) {
    try {
      return ParsePropertyPath(text);
    } catch (const PropertyNameError& error) {
      Fault(at, error.what(), "write NAME, NAME(i), Y(N2) or PORT.MEMBER");
      return {};
    }
  }

  void ReadComponents(const Node* list) {
    if (!list) return;
    std::map<std::string, Location> first;
    for (const Node* item : list->items) {
      const auto [before, is_new] = first.emplace(item->text, item->location);
      if (!is_new) {
        Fault(item->location,
              fmt::format("component {} stands here again; it was first given at {}:{}",
                          QuoteForMessage(item->text), before->second.line, before->second.column),
              "remove one of them");
        continue;
      }
      case_.components.push_back(item->text);
    }
  }

  std::vector<Assignment> ReadAssignments(const Node* map, bool numbers) {
    std::vector<Assignment> assignments;
    if (!map) return assignments;
    std::map<std::string, Location> first;
    for (const NodeEntry& entry : map->entries) {
      Assignment assignment = ReadAssignmentFrom(entry, numbers);
      // "Y(1)" and "Y( 1 )" are two keys and one name.
      const auto [before, is_new] = first.emplace(assignment.name.Text(), entry.location);
      if (!is_new && !assignment.name.parts.empty()) {
        Fault(entry.location,
              fmt::format("{} stands here again; it was first given at {}:{}", assignment.name.Text(),
                          before->second.line, before->second.column),
              "remove one of them");
      }
      assignments.push_back(std::move(assignment));
    }
    return assignments;
  }

  // Where only numbers can stand, what follows a number has to be a unit; elsewhere it may be part of a text.
  void CheckUnits(const Node& node, const CaseValue& value, bool numbers) {
    if (value.kind == CaseValue::Kind::kQuantity && (numbers || node.kind == Node::Kind::kMap)) {
      const Node* unit = node.Find("unit");
      CheckUnitAt(value.unit, unit ? unit->location : value.location);
      return;
    }
    if (const Node* unit = node.Find("unit")) {
      if (value.kind == CaseValue::Kind::kList) CheckUnitAt(unit->text, unit->location);
      return;
    }
    if (numbers && value.kind == CaseValue::Kind::kText && node.kind == Node::Kind::kText) {
      Fault(value.location, QuoteForMessage(value.text) + " is not a number with a unit",
            node.quoted && IsNumberText(value.text) ? "leave the quotes out"
                                                    : "write it as in 6 bar or -3.5e2 kg/hr");
    }
    for (std::size_t i = 0; i < value.items.size(); ++i) CheckUnits(*node.items[i], value.items[i], numbers);
    for (std::size_t i = 0; i < value.elements.size(); ++i)
      CheckUnits(*node.entries[i].value, value.elements[i].value, numbers);
  }

  void CheckUnitAt(const std::string& unit, Location at) {
    if (known_units_.contains(unit)) return;
    try {
      CheckUnit(unit);
      known_units_.insert(unit);
    } catch (const UnitError& error) {
      const std::string message = error.what();
      const std::size_t colon = message.find(": ");
      Fault(at, message.substr(0, colon),
            colon == message.npos ? "write units like kg/m3, W/(m2 K) or 1/s" : message.substr(colon + 2));
    }
  }

  void ReadBlock(const NodeEntry& entry) {
    CaseBlock block;
    block.name = entry.key;
    block.location = entry.location;
    const Node& node = *entry.value;
    if (const Node* model = node.Find("model")) {
      block.model = model->text;
      block.model_location = model->location;
    }
    block.set = ReadAssignments(node.Find("set"), false);
    block.fix = ReadAssignments(node.Find("fix"), true);
    block.guess = ReadAssignments(node.Find("guess"), true);
    CheckOneUse(block);
    case_.blocks.push_back(std::move(block));
  }

  void CheckOneUse(const CaseBlock& block) {
    struct Use {
      const char* section;
      const std::vector<Assignment>* assignments;
    };
    std::map<PropertyPath, std::pair<const char*, Location>> first;
    for (const Use& use : {Use{"set", &block.set}, Use{"fix", &block.fix}, Use{"guess", &block.guess}}) {
      for (const Assignment& assignment : *use.assignments) {
        if (assignment.name.parts.empty()) continue;
        const auto [before, is_new] =
            first.emplace(assignment.name, std::make_pair(use.section, assignment.location));
        if (is_new || std::string_view(before->second.first) == use.section) continue;
        const auto& [section, location] = before->second;
        Fault(assignment.location,
              fmt::format("{} of block {} stands under {} here and under {} at {}:{}", assignment.name.Text(),
                          block.name, use.section, section, location.line, location.column),
              "keep one of them: set a parameter, fix a known variable, guess an unknown one");
      }
    }
  }

  // The nearest of all blocks is sought for the first few misses only: in a large case it takes a while.
  std::string SuggestBlock(const std::string& name) {
    if (++misses_ > kSuggestedBlocks) return "name a block of the case";
    return Suggest(name, {block_names_.begin(), block_names_.end()});
  }

  // The block that a path starts with has to be there.
  bool CheckBlock(const PropertyPath& path, Location at) {
    if (path.parts.empty()) return false;
    const PropertyPart& block = path.parts.front();
    if (!block.indices.empty()) {
      Fault(at, fmt::format("{} starts with a block that has an index", path.Text()), "write BLOCK.NAME(i)");
      return false;
    }
    if (!block_names_.contains(block.name)) {
      Fault(at, fmt::format("there is no block {} for {}", QuoteForMessage(block.name), path.Text()),
            SuggestBlock(block.name));
      return false;
    }
    return true;
  }

  void ReadConnection(const Node& node) {
    const std::string& text = node.text;
    Connection connection;
    connection.location = node.location;
    const std::size_t arrow = text.find("->");
    const std::size_t equals = text.find('=');
    connection.directed = arrow < equals;
    const std::size_t split = std::min(arrow, equals);
    if (split == text.npos) return;  // found by the schema
    connection.left = ReadPath(std::string_view(text).substr(0, split), node.location);
    connection.right =
        ReadPath(std::string_view(text).substr(split + (connection.directed ? 2 : 1)), node.location);
    for (const PropertyPath* side : {&connection.left, &connection.right}) {
      if (!CheckBlock(*side, node.location)) return;
      if (side->parts.size() < 2) {
        Fault(node.location, fmt::format("{} in {} is a block", side->Text(), QuoteForMessage(text)),
              "name a property or port of it, as in " + side->Text() + ".NAME");
        return;
      }
    }
    if (connection.left == connection.right) {
      Fault(node.location, connection.left.Text() + " is connected to itself",
            "name another property or port on one side");
      return;
    }
    const auto sides = std::minmax(connection.left, connection.right);
    const auto [before, is_new] =
        connections_.emplace(std::make_pair(sides.first, sides.second), node.location);
    if (!is_new) {
      Fault(node.location,
            fmt::format("{} and {} are connected already at {}:{}", connection.left.Text(),
                        connection.right.Text(), before->second.line, before->second.column),
            "remove one of the connections");
      return;
    }
    case_.connect.push_back(std::move(connection));
  }

  void ReadReportedName(const Node& node) {
    if (node.kind != Node::Kind::kText) return;
    ReportedName reported{ReadPath(node.text, node.location), node.location};
    if (CheckBlock(reported.name, node.location)) case_.report.push_back(std::move(reported));
  }

  void ReadSimulate(const Node& node) {
    SimulateSection& simulate = case_.simulate;
    simulate.location = node.location;
    const auto number = [&](const Node& from) {
      CaseValue value = ReadValue(from);
      CheckUnits(from, value, true);
      return value;
    };
    if (const Node* end = node.Find("end")) simulate.end = number(*end);
    if (const Node* step = node.Find("step")) simulate.step = number(*step);
    if (const Node* tolerance = node.Find("tolerance")) simulate.tolerance = tolerance->real;
    simulate.initial = ReadQualified(node.Find("initial"));
    if (const Node* inputs = node.Find("inputs"))
      for (const NodeEntry& entry : inputs->entries) {
        TimeInput input{ReadPath(entry.key, entry.location), {}, entry.location};
        if (!CheckQualified(input.name, entry.location)) continue;
        for (const Node* point : entry.value->items) {
          if (point->items.size() == 2)
            input.points.push_back({number(*point->items[0]), number(*point->items[1])});
          else
            Fault(point->location, "a point has two numbers", "write [time, value]");
        }
        simulate.inputs.push_back(std::move(input));
      }
    if (const Node* events = node.Find("events"))
      for (const Node* item : events->items) ReadEvent(*item);
  }

  void ReadEvent(const Node& node) {
    const Node* when = node.Find("when");
    if (!when) return;
    TimeEvent event;
    event.text = when->text;
    event.location = when->location;
    const std::string_view text = event.text;
    const std::size_t split = std::min(text.find(">="), text.find("<="));
    if (split == text.npos) return;  // found by the schema
    event.upwards = text[split] == '>';
    event.name = ReadPath(text.substr(0, split), when->location);
    const auto quantity = SplitQuantity(text.substr(split + 2));
    if (!quantity) {
      Fault(when->location, fmt::format("{} compares with no number", QuoteForMessage(event.text)),
            "write it as in vessel.P >= 11 bar");
      return;
    }
    event.threshold.kind = quantity->unit.empty() ? CaseValue::Kind::kReal : CaseValue::Kind::kQuantity;
    event.threshold.real = quantity->value;
    event.threshold.unit = quantity->unit;
    event.threshold.location = when->location;
    if (!quantity->unit.empty()) CheckUnitAt(quantity->unit, when->location);
    event.set = ReadQualified(node.Find("set"));
    if (CheckQualified(event.name, when->location)) case_.simulate.events.push_back(std::move(event));
  }

  std::vector<Assignment> ReadQualified(const Node* map) {
    std::vector<Assignment> assignments = ReadAssignments(map, true);
    std::erase_if(assignments, [&](const Assignment& a) { return !CheckQualified(a.name, a.location); });
    return assignments;
  }

  // BLOCK.NAME
  bool CheckQualified(const PropertyPath& path, Location at) {
    if (!CheckBlock(path, at)) return false;
    if (path.parts.size() > 1) return true;
    Fault(at, path.Text() + " is a block", "name a variable of it, as in " + path.Text() + ".NAME");
    return false;
  }

  void ReadSweep(const Node& node) {
    SweepSection& sweep = case_.sweep;
    sweep.location = node.location;
    if (const Node* table = node.Find("table")) sweep.table = table->text;
    if (const Node* sample = node.Find("sample")) sweep.sample = sample->text;
    for (const auto& [key, number] : {std::pair("points", &sweep.points), std::pair("seed", &sweep.seed)}) {
      const Node* given = node.Find(key);
      if (!given || given->kind != Node::Kind::kInteger) continue;
      if (given->integer < 0)
        Fault(given->location, fmt::format("{} is below 0", key), "write a whole number");
      *number = given->integer;
    }
    const Node* vary = node.Find("vary");
    if (!vary) return;
    for (const NodeEntry& entry : vary->entries) {
      Variation variation;
      variation.location = entry.location;
      variation.name = ReadPath(entry.key, entry.location);
      if (entry.value->kind == Node::Kind::kText) {
        ReadVariationText(entry.value->text, variation, faults_);
      } else if (entry.value->kind == Node::Kind::kList) {
        variation.values = ReadValue(*entry.value).items;
      } else {
        variation.values = {ReadValue(*entry.value)};
      }
      sweep.vary.push_back(std::move(variation));
    }
  }

  CaseFile& case_;
  std::vector<CaseFault>& faults_;
  std::set<Location> faulty_;
  std::set<std::string> block_names_;
  int misses_ = 0;  // names of blocks that are not there
  std::set<std::string> known_units_;
  std::map<std::pair<PropertyPath, PropertyPath>, Location> connections_;
};

std::string ReadBytes(const std::filesystem::path& path, const std::string& name) {
  const auto fail = [&](const char* message, const char* remedy) {
    throw CaseError(name, {CaseFault({}, message, remedy)});
  };
  std::error_code unused;
  const auto status = std::filesystem::status(path, unused);
  if (!std::filesystem::exists(status)) fail("there is no such file", "check the path");
  if (std::filesystem::is_directory(status)) fail("this is a folder", "give a case file in it");
  std::ifstream stream(path, std::ios::binary);
  if (!stream) fail("the file cannot be opened", "check that you may read it");
  std::string bytes;
  char chunk[1 << 16];
  // One byte more than is allowed is enough to see that it is too much; endless files end here, too.
  while (bytes.size() <= kLargestDocument && (stream.read(chunk, sizeof chunk) || stream.gcount() > 0)) {
    bytes.append(chunk, static_cast<std::size_t>(stream.gcount()));
  }
  if (stream.bad()) fail("the file cannot be read to its end", "check the disk");
  return bytes;
}

}  // namespace

CaseFile ReadCaseText(std::string_view text, const std::string& name) {
  std::vector<CaseFault> faults;
  const Document document = ReadDocument(text, name, faults);
  CaseSchema().Check(document.root(), faults);
  CaseFile description;
  description.name = name;
  CaseReader(description, faults).Read(document.root());
  if (!faults.empty()) throw CaseError(name, std::move(faults));
  return description;
}

CaseFile ReadCaseFile(const std::filesystem::path& path) {
  const std::string name = path.string();
  return ReadCaseText(ReadBytes(path, name), name);
}

Assignment ReadAssignment(std::string_view text, const std::string& name) {
  std::vector<CaseFault> faults;
  const std::size_t equals = text.find('=');
  if (equals == text.npos) {
    throw CaseError(name, {CaseFault({}, QuoteForMessage(text) + " is no assignment", "write NAME=VALUE")});
  }
  if (text.find_first_not_of(" \t", equals + 1) == text.npos) {
    throw CaseError(name, {CaseFault({}, QuoteForMessage(text) + " has no value", "write NAME=VALUE")});
  }
  // Blanks in place of the name keep columns those of the whole text.
  const std::string padded = std::string(equals + 1, ' ').append(text.substr(equals + 1));
  const Document value = ReadDocument(padded, name, faults);
  NodeEntry entry;
  entry.key = text.substr(0, equals);
  entry.location = {1, 1};
  entry.value = &value.root();
  CaseSchema().CheckPart(value.root(), "value", entry.key, faults);
  CaseFile unused;
  Assignment assignment = CaseReader(unused, faults).ReadAssignmentFrom(entry, false);
  if (!faults.empty()) throw CaseError(name, std::move(faults));
  return assignment;
}

double RealIn(const CaseValue& value, std::string_view unit, UnitUse use) {
  if (!value.IsNumber())
    throw UnitError(QuoteForMessage(value.text) + " is not a number: write it as in 6 or 6 bar");
  if (value.kind != CaseValue::Kind::kQuantity) return value.real;
  if (unit.empty()) {
    throw UnitError(QuoteForMessage(value.text) +
                    " has a unit, but the property has none: give the number alone");
  }
  return ConvertUnit(value.real, value.unit, unit, use);
}

}  // namespace quiver
