// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/streams.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "runtime/contract/array_storage.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"

namespace quiver {
namespace {

// The port for several streams that a path names as a whole or a stream of; null for anything else.
QV_MATERIALPORTSRPREV* SeveralIn(const Flowsheet& flowsheet, const PropertyPath& path) {
  if (path.parts.size() != 2) return nullptr;
  const Instance* block = flowsheet.FindBlock(path.parts[0].name);
  const int property = block ? block->type().Find(path.parts[1].name) : -1;
  return property < 0 ? nullptr : dynamic_cast<QV_MATERIALPORTSRPREV*>(block->Object(property));
}

// The port, or the stream of one for several, that a path names; null for anything else.
QV_MATERIALPORTRPREV* PortIn(const Flowsheet& flowsheet, const PropertyPath& path) {
  if (path.parts.size() != 2) return nullptr;
  if (QV_MATERIALPORTSRPREV* port = SeveralIn(flowsheet, path)) {
    const auto& indices = path.parts[1].indices;
    if (indices.empty()) return port;
    const auto* index = std::get_if<std::int64_t>(&indices[0]);
    return index && *index >= 1 && *index <= port->Count() ? port->Stream(static_cast<int>(*index)) : nullptr;
  }
  const Instance* block = flowsheet.FindBlock(path.parts[0].name);
  const int property = block ? block->type().Find(path.parts[1].name) : -1;
  return property < 0 ? nullptr : dynamic_cast<QV_MATERIALPORTRPREV*>(block->Object(property));
}

enum class Direction { kInlet, kOutlet, kEither };

// By the name of the port, IN... or OUT...
Direction DirectionOf(const PropertyPath& path) {
  const std::string name = UpperCase(path.parts.back().name);
  return name.starts_with("IN")    ? Direction::kInlet
         : name.starts_with("OUT") ? Direction::kOutlet
                                   : Direction::kEither;
}

const std::vector<std::string>& ComponentsOf(QV_MATERIALPORTRPREV& port) {
  return ElementsOf(*port.ComponentList).texts;
}

struct Member {
  QV_VarParam* from;
  QV_VarParam* to;
  std::string name;
};

void AddArray(QV_ArrayBase& from, QV_ArrayBase& to, const char* name, std::vector<Member>& members) {
  if (from.Count() != to.Count()) return;  // attributes that only one of the blocks knows
  for (long long i = 0; i < from.Count(); ++i)
    members.push_back({static_cast<QV_VarParam*>(&from.At(i)), static_cast<QV_VarParam*>(&to.At(i)),
                       name + ElementSuffix(from, i)});
}

std::vector<Member> MembersOf(QV_MATERIALPORTRPREV& from, QV_MATERIALPORTRPREV& to) {
  std::vector<Member> members = {
      {&from.F, &to.F, "F"},          {&from.H, &to.H, "H"},          {&from.P, &to.P, "P"},
      {&from.T, &to.T, "T"},          {&from.V, &to.V, "V"},          {&from.AV, &to.AV, "AV"},
      {&from.HREV, &to.HREV, "HREV"}, {&from.TREV, &to.TREV, "TREV"}, {&from.AVREV, &to.AVREV, "AVREV"}};
  AddArray(from.Z, to.Z, "Z", members);
  AddArray(from.ZREV, to.ZREV, "ZREV", members);
  AddArray(from.CATSCALAR, to.CATSCALAR, "CATSCALAR", members);
  AddArray(from.CATSITE, to.CATSITE, "CATSITE", members);
  return members;
}

}  // namespace

void NumberStreams(const Flowsheet& flowsheet, std::vector<Connection>& connections) {
  std::map<QV_MATERIALPORTSRPREV*, std::vector<PropertyPart*>> users;
  for (Connection& connection : connections)
    for (PropertyPath* path : {&connection.left, &connection.right})
      if (QV_MATERIALPORTSRPREV* port = SeveralIn(flowsheet, *path)) users[port].push_back(&path->parts[1]);
  for (const auto& [port, parts] : users) {
    std::int64_t most = static_cast<std::int64_t>(parts.size());
    std::set<std::int64_t> taken;
    for (const PropertyPart* part : parts)
      if (part->indices.size() == 1 && std::holds_alternative<std::int64_t>(part->indices[0]))
        taken.insert(std::get<std::int64_t>(part->indices[0]));
    if (!taken.empty()) most = std::max(most, *taken.rbegin());
    SetFromValue(port->connections, QV_Value(static_cast<int>(std::min<std::int64_t>(most, INT32_MAX))),
                 Origin::kUser);
    if (most == 1) continue;
    std::int64_t next = 1;
    for (PropertyPart* part : parts) {
      if (!part->indices.empty()) continue;
      while (taken.contains(next)) ++next;
      part->indices.emplace_back(next);
      taken.insert(next);
    }
  }
}

void PassStarts(const Flowsheet& flowsheet, const std::vector<Connection>& connections) {
  for (const Connection& connection : connections) {
    QV_MATERIALPORTRPREV* from = PortIn(flowsheet, connection.left);
    QV_MATERIALPORTRPREV* to = PortIn(flowsheet, connection.right);
    if (!from || !to) continue;
    if (DirectionOf(connection.left) == Direction::kInlet) std::swap(from, to);
    for (const Member& member : MembersOf(*from, *to))
      if (HostAccess::OriginOf(*member.from) != Origin::kNone && member.to->HoldsDefault())
        SetFromValue(*member.to, QV_Value(member.from->RealValue()), Origin::kAssignment);
  }
}

bool StreamConnector::Connect(const Connection& connection, QV_MATERIALPORTRPREV& left,
                              QV_MATERIALPORTRPREV& right, std::vector<Tie>& ties,
                              std::vector<CaseFault>& faults) {
  const size_t known_faults = faults.size();
  const std::string left_name = connection.left.Text(), right_name = connection.right.Text();
  const std::string text = fmt::format("{} {} {}", left_name, connection.directed ? "->" : "=", right_name);
  const auto fault = [&](const std::string& message, const std::string& remedy) {
    AddFault(faults, connection.location, message, remedy);
  };
  const Direction left_direction = DirectionOf(connection.left),
                  right_direction = DirectionOf(connection.right);
  const bool turned = left_direction == Direction::kInlet || right_direction == Direction::kOutlet;
  if (left_direction == right_direction && left_direction != Direction::kEither)
    fault(fmt::format("cannot connect {}: both are {}", text,
                      left_direction == Direction::kInlet ? "inlets" : "outlets"),
          "a stream leads from an outlet (OUT...) to an inlet (IN...).");
  else if (connection.directed && turned)
    fault(fmt::format("{} points the wrong way", text),
          fmt::format("write {} -> {}.", right_name, left_name));

  const auto& left_components = ComponentsOf(left);
  const auto& right_components = ComponentsOf(right);
  if (!std::equal(left_components.begin(), left_components.end(), right_components.begin(),
                  right_components.end(),
                  [](const std::string& a, const std::string& b) { return EqualIgnoringCase(a, b); }))
    fault(fmt::format("cannot connect {}: the components of {} are {}; those of {} are {}", text, left_name,
                      fmt::join(left_components, ", "), right_name, fmt::join(right_components, ", ")),
          "give both blocks the same components in the same order.");

  for (const auto& [port, name] : {std::pair(&left, &left_name), std::pair(&right, &right_name)})
    if (!used_.insert(port).second)
      fault(fmt::format("cannot connect {}: {} has a stream already", text, *name),
            "a port takes one stream; join streams with a tee or an inlet mixer.");
  if (faults.size() > known_faults) return false;

  QV_MATERIALPORTRPREV& from = turned ? right : left;
  QV_MATERIALPORTRPREV& to = turned ? left : right;
  const std::string& from_name = turned ? right_name : left_name;
  const std::string& to_name = turned ? left_name : right_name;
  for (const Member& member : MembersOf(from, to)) {
    const bool both_given =
        HostAccess::SpecOf(*member.from) == QV_SPEC_GIVEN && HostAccess::SpecOf(*member.to) == QV_SPEC_GIVEN;
    if (both_given)
      fault(fmt::format("{}.{} and {}.{} are both fixed, and connected", from_name, member.name, to_name,
                        member.name),
            "fix one of them.");
    ties.push_back({member.to, member.from,
                    fmt::format("{}.{} = {}.{}", to_name, member.name, from_name, member.name), true});
  }
  connected_.push_back({from_name, to_name, &from});
  return faults.size() == known_faults;
}

std::vector<Stream> FindStreams(const Flowsheet& flowsheet, const std::vector<Stream>& connected) {
  std::vector<Stream> streams;
  const auto add = [&](const std::string& name, QV_MATERIALPORTRPREV& port, bool outlet) {
    for (const Stream& stream : connected) {
      if (EqualIgnoringCase(stream.from, name)) return streams.push_back(stream);
      if (EqualIgnoringCase(stream.to, name)) return;
    }
    streams.push_back({outlet ? name : "", outlet ? "" : name, &port});
  };
  for (const Instance* block : flowsheet.blocks())
    for (size_t i = 0; i < block->type().properties.size(); ++i) {
      auto* port = dynamic_cast<QV_MATERIALPORTRPREV*>(block->Object(static_cast<int>(i)));
      if (!port) continue;
      const char* property = block->type().properties[i].name;
      const std::string name = fmt::format("{}.{}", block->name, property);
      const bool outlet = UpperCase(property).starts_with("OUT");
      auto* several = dynamic_cast<QV_MATERIALPORTSRPREV*>(port);
      if (!several || several->Count() == 1) {
        add(name, *port, outlet);
        continue;
      }
      for (int k = 1; k <= several->Count(); ++k)
        if (QV_MATERIALPORTRPREV* stream = several->Stream(k))
          add(fmt::format("{}({})", name, k), *stream, outlet);
    }
  return streams;
}

}  // namespace quiver
