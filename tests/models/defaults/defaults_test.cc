// SPDX-License-Identifier: Apache-2.0
// What models and blocks assign before anybody gives a value: defaults, bounds and what counts as given, against the table in
// defaults.txt. There
//
//   model TEEMIXER                       a model, of two components: everything it assigns, entries apart by ";"
//   EPS 1e-05; P_DROPR given             a value; what a specification says, given or computed
//   T >=-253.15 <=9726.85                bounds that are not those of the type
//   CSPEED 3600 given*2                  of an array the values of its elements, here two alike
//   NPOINTS {1:11}                       the members of a set
//   TRIM.CVMAX 100 given                 what it assigns to a sub-model
//   model TEEMIXER VALIDPHASES: Vapor-Only   the same with these settings: what differs from the model's first entry
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/system/describe.h"
#include "tests/models/relief/model_run.h"

namespace quiver::tests {
namespace {

std::string Text(const PlainValue& value) {
  if (const auto* real = std::get_if<double>(&value)) return fmt::format("{:.10g}", *real);
  if (const auto* integer = std::get_if<long long>(&value)) return std::to_string(*integer);
  if (const auto* logical = std::get_if<bool>(&value)) return *logical ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return fmt::format("\"{}\"", *text);
  if (const auto* members = std::get_if<std::vector<long long>>(&value))
    return members->size() > 2 &&
                   members->back() - members->front() + 1 == static_cast<long long>(members->size())
               ? fmt::format("{{{}:{}}}", members->front(), members->back())
               : fmt::format("{{{}}}", fmt::join(*members, ","));
  return "";
}

// What the model has said of one holder; empty if nothing.
std::string Assigned(QV_VarParam& holder) {
  std::string text;
  if (HostAccess::OriginOf(holder) == Origin::kAssignment) text += fmt::format(" {}", Text(ValueOf(holder)));
  if (const Bounds* bounds = HostAccess::BoundsOf(holder)) {
    if (bounds->has_lower) text += fmt::format(" >={:.10g}", bounds->lower);
    if (bounds->has_upper) text += fmt::format(" <={:.10g}", bounds->upper);
  }
  if (const int spec = HostAccess::SpecOf(holder)) text += spec == QV_SPEC_GIVEN ? " given" : " computed";
  return text;
}

using Entries = std::map<std::string, std::string>;

std::string Lines(const Entries& entries) {
  std::string lines;
  for (const auto& [name, text] : entries) lines += name + text + "\n";
  return lines;
}

Entries AssignmentsOf(const Instance& instance) {
  Entries all;
  for (size_t i = 0; i < instance.type().properties.size(); ++i) {
    QV_Type* object = instance.Object(static_cast<int>(i));
    std::vector<std::pair<std::string, long long>> elements;
    if (auto* array = dynamic_cast<QV_ArrayBase*>(object)) {
      for (long long e = 0; e < array->Count(); ++e)
        if (auto* holder = dynamic_cast<QV_VarParam*>(&array->At(e))) {
          const std::string text = Assigned(*holder);
          if (elements.empty() || elements.back().first != text) elements.emplace_back(text, 0);
          ++elements.back().second;
        }
    } else if (auto* holder = dynamic_cast<QV_VarParam*>(object)) {
      elements.emplace_back(Assigned(*holder), 1);
    }
    if (elements.empty() || (elements.size() == 1 && elements[0].first.empty())) continue;
    std::string& entry = all[instance.type().properties[i].name];
    for (const auto& [text, count] : elements)
      entry += (text.empty() ? " -" : text) + (count > 1 ? fmt::format("*{}", count) : "");
  }
  return all;
}

// Of the model, and of its sub-models what they would not assign themselves: what the owner does.
Entries Assignments(const std::string& model, const std::string& settings) {
  ModelRun run(model, {"water", "propane"}, settings);
  const Instance& instance = *run.flowsheet().blocks().front();
  Entries all = AssignmentsOf(instance);
  for (const Instance* part : SubInstances(instance)) {
    const std::string type = part->type().type_name.substr(3), name = InstanceName(*part);
    Entries own, said = AssignmentsOf(*part);
    try {
      own = AssignmentsOf(*ModelRun(type, {"water", "propane"}, "").flowsheet().blocks().front());
    } catch (
        const std::
            exception&) {  // a state or a port of the host's, which starts itself from what the owner says
      const std::set<std::string> by_owner = {"FLASHTYPE", "F", "T", "P"};
      std::erase_if(said, [&](const auto& entry) { return !by_owner.contains(entry.first); });
    }
    for (const auto& [property, text] : said)
      if (own[property] != text) all[name.substr(name.find('.') + 1) + "." + property] = text;
  }
  return all;
}

TEST(Defaults, are_those_of_the_table) {
  std::ifstream file(std::string(QUIVER_SOURCE_DIR) + "/tests/models/defaults/defaults.txt");
  ASSERT_TRUE(file.good());
  std::vector<std::pair<std::string, Entries>> cases;  // model and settings, entries
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (line.starts_with("model ")) {
      cases.emplace_back(line.substr(6), Entries());
      continue;
    }
    std::istringstream entries(line);
    for (std::string entry; std::getline(entries >> std::ws, entry, ';');)
      cases.back().second[entry.substr(0, entry.find(' '))] = entry.substr(entry.find(' '));
  }
  ASSERT_GT(cases.size(), 30u);
  std::map<std::string, Entries> first;
  for (const auto& [name, expected] : cases) {
    const size_t space = name.find(' ');
    const std::string model = name.substr(0, space),
                      settings = space < name.size() ? name.substr(space + 1) : "";
    Entries found = Assignments(model, settings);
    const auto [base, is_first] = first.try_emplace(model, found);
    if (!is_first) {
      for (const auto& [property, text] : base->second)
        if (property.find('.') == std::string::npos) found.try_emplace(property, " -");
      std::erase_if(found, [&](const auto& entry) {
        const auto before = base->second.find(entry.first);
        return before != base->second.end() && before->second == entry.second;
      });
    }
    EXPECT_EQ(Lines(found), Lines(expected)) << name;
  }
}

}  // namespace
}  // namespace quiver::tests
