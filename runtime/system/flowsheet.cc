// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/flowsheet.h"

#include <fmt/format.h>

#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"
#include "runtime/contract/set_storage.h"

namespace quiver {
namespace {

constexpr int kMostRounds = 10;

void Collect(Instance& instance, std::vector<Instance*>& all) {
  all.push_back(&instance);
  for (Instance* child : SubInstances(instance)) Collect(*child, all);
}

}  // namespace

Flowsheet::Flowsheet(const ModelSource& library) : library_(&library) {
  TakeOutOfMemory();  // what became of another simulation is not told to this one
  SetComponents({});
}

void Flowsheet::SetComponents(std::vector<std::string> names) {
  components_ = std::move(names);
  std::string text;
  for (const std::string& component : components_) text += component + '"';
  QV_StrSetValue set(text.c_str());
  component_value_ = std::make_unique<QV_Value>(set);
}

Flowsheet::~Flowsheet() {
  const CurrentGuard guard({&scope_, nullptr, nullptr, nullptr});
  for (auto object = objects_.rbegin(); object != objects_.rend(); ++object) (*object)->Release();
}

Instance& Flowsheet::AddBlock(const std::string& name, std::string_view model) {
  if (FindBlock(name))
    throw Error(fmt::format("there are two blocks named {}; give each a name of its own.", name));
  return AddBlock(name, library_->Create(model));
}

Instance& Flowsheet::AddBlock(const std::string& name, QV_ModelType* object) {
  std::unique_ptr<QV_ModelType, decltype([](QV_ModelType* one) { one->Release(); })> owned(object);
  objects_.push_back(object);
  owned.release();
  const size_t structures = scope_.structures.size();
  Instance& instance = ConstructInstance(scope_, *object, nullptr, name.c_str());
  blocks_.push_back(&instance);
  by_name_.Add(instance);
  std::vector<Instance*> all;
  Collect(instance, all);
  for (size_t i = structures; i < scope_.structures.size(); ++i) Collect(*scope_.structures[i], all);
  for (Instance* one : all) GiveComponents(*one);
  return instance;
}

void Flowsheet::GiveComponents(Instance& instance) {
  QV_ModelType* const model = instance.model();
  if (!model || HostAccess::OriginOf(model->ComponentList) == Origin::kUser) return;
  SetFromValue(model->ComponentList, *component_value_, Origin::kUser);
}

// An instance, then its sub-models, some of which may come only now.
void Flowsheet::Size(Instance& instance) {
  GiveComponents(instance);
  {
    const CurrentGuard guard({&scope_, &instance, nullptr, nullptr});
    instance.object().SetDims();
    ExpectMemory(instance, "its arrays were sized");
    ConstructArrayElements(instance);
  }
  for (Instance* child : SubInstances(instance)) Size(*child);
}

void Flowsheet::SizeAndAssign(const std::function<void()>& give_values) {
  size_t faults_before = scope_.faults.size(), notes_before = scope_.notes.size();
  for (int round = 1; round <= kMostRounds; ++round) {
    const long long before = scope_.resized_arrays;
    const auto faults = static_cast<long>(scope_.faults.size()),
               notes = static_cast<long>(scope_.notes.size());
    size_t structures = 0;
    const auto size_structures = [&] {
      for (; structures < scope_.structures.size(); ++structures) Size(*scope_.structures[structures]);
    };
    size_structures();
    for (Instance* block : blocks_) Size(*block);
    size_structures();  // those that came with sub-models
    if (scope_.has_refused_size) ThrowFaults();
    if (round > 1 && scope_.resized_arrays == before) return;
    // What the round before found, this one finds again where it still holds: elements exist now that did not then.
    scope_.faults.erase(scope_.faults.begin() + static_cast<long>(faults_before),
                        scope_.faults.begin() + faults);
    scope_.notes.erase(scope_.notes.begin() + static_cast<long>(notes_before), scope_.notes.begin() + notes);
    faults_before = scope_.faults.size();
    notes_before = scope_.notes.size();
    {
      const CurrentGuard guard({&scope_, nullptr, nullptr, nullptr});
      give_values();
    }
    for (Instance* instance : Instances()) {
      const CurrentGuard guard({&scope_, instance, nullptr, nullptr});
      QV_ModelType* const model = instance->model();
      const int status = model ? model->ExecuteAssignments(round, 0) : 0;
      if (TakeOutOfMemory() || status == kQvOutOfMemory)
        ThrowOutOfMemory(*instance, "its defaults were assigned");
    }
  }
  scope_.Fault(
      fmt::format("the sets that size arrays still change after {} rounds of assignments.", kMostRounds));
}

std::vector<Instance*> Flowsheet::Instances() const {
  std::vector<Instance*> all;
  for (Instance* structure : scope_.structures) Collect(*structure, all);
  for (Instance* block : blocks_) Collect(*block, all);
  return all;
}

Instance* Flowsheet::FindBlock(std::string_view name) const { return by_name_.Find(name); }

void Flowsheet::ThrowFaults() const { scope_.ThrowFaults(); }

}  // namespace quiver
