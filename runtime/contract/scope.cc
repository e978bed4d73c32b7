// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/scope.h"

#include <fmt/format.h>

#include <algorithm>
#include <typeinfo>
#include <unordered_set>

#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"

namespace quiver {

Current& ThisThread() {
  thread_local Current current;
  return current;
}

namespace {
std::vector<QV_COMPONENTLISTNAME*>& ComponentLists() {
  thread_local std::vector<QV_COMPONENTLISTNAME*> lists;
  return lists;
}
}  // namespace

void PushComponentList(QV_COMPONENTLISTNAME* list) {
  NotingMemory([&] { ComponentLists().push_back(list); });
}
void PopComponentList() {
  if (!ComponentLists().empty()) ComponentLists().pop_back();
}
QV_COMPONENTLISTNAME* CurrentComponentList() {
  return ComponentLists().empty() ? nullptr : ComponentLists().back();
}

Scope::~Scope() {
  for (auto& global : globals_) delete global->object;
  for (QV_Type* object : free_standing_) delete object;
}

// In pieces of many names.
const char* Scope::Keep(std::string_view name) {
  constexpr size_t kPiece = 1 << 16;
  if (name.empty()) return "";
  const size_t bytes = name.size() + 1;
  if (names_left_ < bytes) {
    const size_t piece = std::max(kPiece, bytes);
    names_.push_back(std::make_unique<char[]>(piece));
    next_name_ = names_.back().get();
    names_left_ = piece;
  }
  char* const kept = next_name_;
  name.copy(kept, name.size());
  next_name_ += bytes;
  names_left_ -= bytes;
  return kept;
}

Global* Scope::FindGlobal(const char* name) {
  // Instances of one type ask with one and the same text; what stood in its place before may have been another.
  if (const auto known = by_name_pointer_.find(name);
      known != by_name_pointer_.end() && SUValue::CompareCI(known->second->name.c_str(), name) == 0)
    return known->second;
  const auto found = by_name_.find(UpperCase(name));
  if (found == by_name_.end()) return nullptr;
  by_name_pointer_[name] = found->second;
  return found->second;
}

QV_Type* Scope::BindGlobal(QV_ExternalBase& reference, const char* name) {
  const std::type_index type = typeid(reference);
  if (Global* global = FindGlobal(name)) {
    if (global->reference_type == type) return global->object;
    Fault(
        fmt::format("global {} is declared with two types: {} first, {} now. Give it one type in all models.",
                    name, HeldTypeName(global->reference_type.name()), HeldTypeName(type.name())));
    return nullptr;
  }
  std::unique_ptr<QV_Type> made(MakeTarget(reference));
  if (!made) return nullptr;
  QV_Type* object = made.get();
  globals_.push_back(std::make_unique<Global>(Global{name, type, object}));
  made.release();
  by_name_[UpperCase(name)] = globals_.back().get();
  if (auto* holder = dynamic_cast<QV_VarParam*>(object)) {
    HostAccess::SetFlag(*holder, HostAccess::kGlobalFlag);
    HostAccess::PropertyIndex(*holder) = static_cast<int>(globals_.size()) - 1;
    GiveTypeDefault(*holder);
    Number(*holder);
  }
  return object;
}

QV_Type* Scope::SampleFor(QV_ExternalBase& reference) {
  auto& sample = samples_[typeid(reference)];
  if (!sample) sample.reset(MakeTarget(reference));
  return sample.get();
}

void Scope::ThrowFaults() const {
  if (faults.empty()) return;
  constexpr size_t kMostTold = 50;
  std::vector<std::string> told;
  std::unordered_set<std::string_view> known;
  for (const std::string& fault : faults)
    if (known.insert(fault).second && known.size() <= kMostTold) told.push_back(fault);
  if (known.size() > kMostTold)
    told.push_back(fmt::format("{} more faults are not shown.", known.size() - kMostTold));
  throw Error(fmt::format("{}", fmt::join(told, "\n")));
}

int Scope::Number(QV_VarParam& holder) {
  int& number = HostAccess::Number(holder);
  if (number < 0) {
    holders_.push_back(&holder);
    number = Count() - 1;
  }
  return number;
}

void Scope::Forget(QV_VarParam& holder) {
  int& number = HostAccess::Number(holder);
  if (number >= 0 && number < Count() && holders_[static_cast<size_t>(number)] == &holder)
    holders_[static_cast<size_t>(number)] = nullptr;
  number = -1;
}

}  // namespace quiver
