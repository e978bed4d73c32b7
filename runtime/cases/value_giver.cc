// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/value_giver.h"

#include <fmt/format.h>

#include <cmath>

#include "host/modeller/ports.h"
#include "runtime/contract/array_storage.h"
#include "runtime/contract/names.h"
#include "runtime/contract/scope.h"
#include "runtime/io/suggest.h"
#include "runtime/io/units.h"

namespace quiver {
namespace {

std::string ElementText(const PropertyPart& part) {
  std::vector<std::string> indices;
  for (const PropertyIndex& index : part.indices) indices.push_back(IndexText(index));
  return fmt::format("{}({})", part.name, fmt::join(indices, ","));
}

// The place of an element by the indices that the user wrote; -1 when there is none, -2 when their number is wrong.
long long PositionOf(QV_ArrayBase& array, const std::vector<PropertyIndex>& indices) {
  const ArrayStorage* storage = HostAccess::Storage(array);
  if (!storage) return -1;
  if (storage->sets.size() != indices.size()) return -2;
  std::vector<std::string> texts(indices.size());
  std::vector<int> integers(indices.size());
  std::vector<const void*> keys(indices.size());
  for (size_t k = 0; k < indices.size(); ++k) {
    if (storage->sets[k].is_text) {
      texts[k] = std::holds_alternative<std::string>(indices[k])
                     ? std::get<std::string>(indices[k])
                     : std::to_string(std::get<std::int64_t>(indices[k]));
      keys[k] = texts[k].c_str();
    } else {
      if (!std::holds_alternative<std::int64_t>(indices[k])) return -1;
      const std::int64_t index = std::get<std::int64_t>(indices[k]);
      if (index != static_cast<int>(index)) return -1;
      integers[k] = static_cast<int>(index);
      keys[k] = &integers[k];
    }
  }
  return storage->PositionOf(keys.data());
}

std::vector<std::string> NamesOf(const Instance& instance) {
  std::vector<std::string> names;
  for (const DeclaredProperty& property : instance.type().properties) names.emplace_back(property.name);
  return names;
}

std::string SizeText(const QV_ArrayBase& array) {
  std::vector<long long> sizes;
  for (int k = 0; k < array.Rank(); ++k) sizes.push_back(array.Size(k));
  return fmt::format("{}", fmt::join(sizes, " x "));
}

}  // namespace

NamedObject FindNamed(const Instance& instance, const PropertyPath& path, size_t first_part,
                      const std::string& block, Location location, std::vector<CaseFault>& faults) {
  NamedObject named;
  const Instance* within = &instance;
  for (size_t k = first_part; k < path.parts.size(); ++k) {
    const PropertyPart& part = path.parts[k];
    const int property = within->type().Find(part.name);
    if (property < 0) {
      const std::string known = Suggest(part.name, NamesOf(*within));
      AddFault(faults, location, fmt::format("unknown option {}", part.name),
               fmt::format("{}{} {} is a {}.", known, known.ends_with('?') ? "" : ".", block,
                           within->type().type_name.substr(3)));
      return named;
    }
    QV_Type* object = within->Object(property);
    auto* several = part.indices.empty() ? nullptr : dynamic_cast<QV_MATERIALPORTSRPREV*>(object);
    if (several) {
      const auto* index = part.indices.size() == 1 ? std::get_if<std::int64_t>(&part.indices[0]) : nullptr;
      object =
          index && *index == static_cast<int>(*index) ? several->Stream(static_cast<int>(*index)) : nullptr;
      if (!object) {
        named.missing_element = ElementText(part);
        return named;
      }
    } else if (!part.indices.empty()) {
      auto* array = dynamic_cast<QV_ArrayBase*>(object);
      if (!array) {
        AddFault(faults, location, fmt::format("{} of block {} is no array", part.name, block),
                 "write it without brackets.");
        return named;
      }
      const long long position = PositionOf(*array, part.indices);
      if (position == -2) {
        AddFault(faults, location,
                 fmt::format("{} of block {} has {} indices", part.name, block, array->Rank()),
                 fmt::format("write as many, its size is {}.", SizeText(*array)));
        return named;
      }
      if (position < 0) {
        named.missing_element = ElementText(part);
        return named;
      }
      object = &array->At(position);
    }
    if (k + 1 == path.parts.size()) {
      named.object = object;
      return named;
    }
    auto* container = dynamic_cast<QV_Container*>(object);
    within = container ? HostAccess::InstanceOf(*container) : nullptr;
    if (!within) {
      AddFault(faults, location,
               fmt::format("{} of block {} has no property {}", part.name, block, path.parts[k + 1].name),
               fmt::format("write {} alone.", part.name));
      return named;
    }
  }
  return named;
}

void ValueGiver::Give(std::vector<CaseFault>& faults) {
  for (size_t i = 0; i < assignments_->size(); ++i) {
    pending_[i].clear();
    GiveOne((*assignments_)[i], pending_[i], faults);
  }
}

void ValueGiver::Finish(std::vector<CaseFault>& faults) {
  for (size_t i = 0; i < assignments_->size(); ++i) {
    if (pending_[i].empty()) continue;
    AddFault(faults, (*assignments_)[i].location,
             fmt::format("block {} has no element {}", block_, pending_[i]),
             "name one that its sets have; \"quiver show\" prints them.");
  }
}

bool ValueGiver::GiveOne(const Assignment& assignment, std::string& pending, std::vector<CaseFault>& faults) {
  const NamedObject named = FindNamed(*instance_, assignment.name, 0, block_, assignment.location, faults);
  pending = named.missing_element;
  if (!named.object) return false;
  auto* holder = dynamic_cast<QV_VarParam*>(named.object);
  auto* array = dynamic_cast<QV_ArrayBase*>(named.object);
  const bool of_models = array && array->Count() > 0 && !dynamic_cast<QV_VarParam*>(&array->At(0));
  if (!holder || of_models) {
    AddFault(faults, assignment.location,
             fmt::format("{} of block {} takes no value", assignment.name.Text(), block_),
             of_models ? fmt::format("give a property of one of its elements a value, as in {}(1).NAME.",
                                     assignment.name.Text())
                       : "give one of its own properties a value, with a point between the names.");
    return false;
  }
  if (array)
    GiveArray(*array, assignment, assignment.value, faults);
  else
    GiveScalar(*holder, assignment, assignment.value, faults);
  return true;
}

void ValueGiver::GiveArray(QV_ArrayBase& array, const Assignment& assignment, const CaseValue& value,
                           std::vector<CaseFault>& faults) {
  const auto element = [&](long long position) -> QV_VarParam* {
    return dynamic_cast<QV_VarParam*>(&array.At(position));
  };
  if (value.kind == CaseValue::Kind::kTable) {
    for (const ElementValue& one : value.elements) {
      const long long position = PositionOf(array, {one.index});
      if (position >= 0)
        GiveScalar(*element(position), assignment, one.value, faults);
      else
        pending_[static_cast<size_t>(&assignment - assignments_->data())] =
            fmt::format("{}({})", assignment.name.Text(), IndexText(one.index));
    }
    return;
  }
  if (value.kind != CaseValue::Kind::kList) {
    for (long long i = 0; i < array.Count(); ++i) GiveScalar(*element(i), assignment, value, faults);
    return;
  }
  // A list, or a list of lists for two indices: in element order.
  std::vector<const CaseValue*> flat;
  const auto flatten = [&](const auto& self, const CaseValue& list) -> void {
    for (const CaseValue& item : list.items) {
      if (item.kind == CaseValue::Kind::kList)
        self(self, item);
      else
        flat.push_back(&item);
    }
  };
  flatten(flatten, value);
  if (static_cast<long long>(flat.size()) != array.Count()) {
    pending_[static_cast<size_t>(&assignment - assignments_->data())] =
        fmt::format("{}: its size is {}, {} values are given, so some", assignment.name.Text(),
                    SizeText(array), flat.size());
    return;
  }
  for (long long i = 0; i < array.Count(); ++i)
    GiveScalar(*element(i), assignment, *flat[static_cast<size_t>(i)], faults);
}

void ValueGiver::GiveScalar(QV_VarParam& holder, const Assignment& assignment, const CaseValue& value,
                            std::vector<CaseFault>& faults) {
  Scope& scope = instance_->scope();
  const size_t known_faults = scope.faults.size();
  const auto give = [&](const QV_Value& v) { SetFromValue(holder, v, Origin::kUser); };
  const auto wrong = [&](const std::string& message, const std::string& remedy) {
    AddFault(faults, value.location,
             fmt::format("{} of block {}: {}", assignment.name.Text(), block_, message), remedy);
  };
  switch (HostAccess::KindOf(holder)) {
    case HostAccess::kReal: {
      const QV_Value* unit = holder.QV_DefaultBASEUOMNAME();
      const QV_Value* quantity = holder.QV_DefaultPHYSICALQUANTITY();
      try {
        const double number = RealIn(value, unit ? HostAccess::Text(*unit) : "",
                                     UseOf(quantity ? HostAccess::Text(*quantity) : ""));
        give(QV_Value(number));
        const double lower = holder.LowerBound(), upper = holder.UpperBound();
        if (number < lower || number > upper)
          wrong(fmt::format("{} lies outside its bounds", number),
                fmt::format("give a value from {} to {}.", lower, upper));
      } catch (const UnitError& error) {
        wrong(error.what(), unit && *HostAccess::Text(*unit)
                                ? fmt::format("its own unit is {}.", HostAccess::Text(*unit))
                                : "it has no unit.");
      }
      break;
    }
    case HostAccess::kInteger:
      if (value.kind == CaseValue::Kind::kInteger && value.integer == static_cast<int>(value.integer))
        give(QV_Value(static_cast<int>(value.integer)));
      else
        wrong(fmt::format("{} is no whole number", QuoteForMessage(value.text)), "write one, such as 3.");
      break;
    case HostAccess::kLogical:
      if (value.kind == CaseValue::Kind::kLogical)
        give(QV_Value(value.logical));
      else
        give(QV_Value(value.text.c_str()));
      break;
    case HostAccess::kText:
      if (value.kind == CaseValue::Kind::kList || value.kind == CaseValue::Kind::kTable)
        wrong("a text is needed, a list was given", "write one text.");
      else
        give(QV_Value(value.text.c_str()));
      break;
    case HostAccess::kSet: {
      std::string text;
      bool integers = dynamic_cast<QV_INTEGERSET*>(&holder) != nullptr;
      const auto add = [&](const CaseValue& item) {
        if (integers && item.kind != CaseValue::Kind::kInteger)
          wrong(fmt::format("{} is no whole number", QuoteForMessage(item.text)), "the set holds integers.");
        else
          text += item.text + '"';
      };
      if (value.kind == CaseValue::Kind::kList)
        for (const CaseValue& item : value.items) add(item);
      else
        add(value);
      if (integers) {
        QV_IntSetValue set(text.c_str());
        give(QV_Value(set));
      } else {
        QV_StrSetValue set(text.c_str());
        give(QV_Value(set));
      }
      break;
    }
    case HostAccess::kArray:
      break;
  }
  for (size_t i = known_faults; i < scope.faults.size(); ++i)
    AddFault(faults, value.location, scope.faults[i], "");
  scope.faults.resize(known_faults);
  if (holder.IsVariable() && purpose_ != kSet) {
    HostAccess::SetSpec(holder, purpose_ == kFix ? QV_SPEC_GIVEN : QV_SPEC_COMPUTED);
    HostAccess::SetFlag(holder, HostAccess::kUserSpecFlag);
  }
}

void GiveGlobals(Scope& scope, const std::vector<Assignment>& assignments, std::vector<CaseFault>& faults) {
  for (const Assignment& assignment : assignments) {
    const PropertyPart& part = assignment.name.parts.front();
    Global* global = scope.FindGlobal(part.name.c_str());
    if (!global) {
      std::vector<std::string> names;
      for (const auto& one : scope.globals()) names.push_back(one->name);
      AddFault(faults, assignment.location,
               fmt::format("no block of this case declares a global {}", part.name),
               Suggest(part.name, names));
      continue;
    }
    auto* holder = dynamic_cast<QV_VarParam*>(global->object);
    if (!holder || !assignment.value.IsNumber()) {
      if (holder && HostAccess::KindOf(*holder) != HostAccess::kReal) {
        const size_t known = scope.faults.size();
        SetFromValue(*holder, QV_Value(assignment.value.text.c_str()), Origin::kUser);
        for (size_t i = known; i < scope.faults.size(); ++i)
          AddFault(faults, assignment.location, scope.faults[i], "");
        scope.faults.resize(known);
        continue;
      }
      AddFault(faults, assignment.value.location, fmt::format("global {} needs a number", part.name), "");
      continue;
    }
    const QV_Value* unit = holder->QV_DefaultBASEUOMNAME();
    try {
      const double number = RealIn(assignment.value, unit ? HostAccess::Text(*unit) : "");
      SetFromValue(*holder, QV_Value(number), Origin::kUser);
    } catch (const UnitError& error) {
      AddFault(faults, assignment.value.location, fmt::format("global {}: {}", part.name, error.what()), "");
    }
  }
}

}  // namespace quiver
