// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/flowsheet.h"

#include <fmt/format.h>

#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
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

Flowsheet::~Flowsheet() {
  const CurrentGuard guard({&scope_, nullptr, nullptr, nullptr});
  for (auto object = objects_.rbegin(); object != objects_.rend(); ++object) (*object)->Release();
}

Instance& Flowsheet::AddBlock(const std::string& name, std::string_view model) {
  if (FindBlock(name)) throw Error(fmt::format("there are two blocks named {}; give each a name of its own.", name));
  return AddBlock(name, library_->Create(model));
}

Instance& Flowsheet::AddBlock(const std::string& name, QV_ModelType* object) {
  objects_.push_back(object);
  Instance& instance = ConstructInstance(scope_, *object, nullptr, name.c_str());
  blocks_.push_back(&instance);
  std::vector<Instance*> all;
  Collect(instance, all);
  for (Instance* one : all) GiveComponents(*one);
  return instance;
}

void Flowsheet::GiveComponents(Instance& instance) {
  auto* model = dynamic_cast<QV_ModelType*>(&instance.object());
  if (!model || HostAccess::OriginOf(model->ComponentList) == Origin::kUser) return;
  std::string text;
  for (const std::string& component : components_) text += component + '"';
  QV_StrSetValue names(text.c_str());
  const QV_Value value(names);
  SetFromValue(model->ComponentList, value, Origin::kUser);
}

void Flowsheet::SizeAndAssign(const std::function<void()>& give_values) {
  for (int round = 1; round <= kMostRounds; ++round) {
    const long long before = scope_.resized_arrays;
    std::vector<Instance*> all = Instances();
    for (size_t i = 0; i < all.size(); ++i) {
      const CurrentGuard guard({&scope_, all[i], nullptr, nullptr});
      if (auto* container = dynamic_cast<QV_Container*>(&all[i]->object())) container->SetDims();
      if (ConstructArrayElements(*all[i]) == 0) continue;
      all = Instances();  // new sub-models come after their owner: those already sized stay in front of `i`
    }
    for (Instance* instance : all) GiveComponents(*instance);
    if (round > 1 && scope_.resized_arrays == before) return;
    {
      const CurrentGuard guard({&scope_, nullptr, nullptr, nullptr});
      give_values();
    }
    for (Instance* instance : all) {
      const CurrentGuard guard({&scope_, instance, nullptr, nullptr});
      if (auto* model = dynamic_cast<QV_ModelType*>(&instance->object())) model->ExecuteAssignments(round, 0);
    }
  }
  scope_.Fault(fmt::format("the sets that size arrays still change after {} rounds of assignments.", kMostRounds));
}

std::vector<Instance*> Flowsheet::Instances() const {
  std::vector<Instance*> all;
  for (Instance* block : blocks_) Collect(*block, all);
  return all;
}

Instance* Flowsheet::FindBlock(std::string_view name) const {
  for (Instance* block : blocks_)
    if (EqualIgnoringCase(block->name, name)) return block;
  return nullptr;
}

void Flowsheet::ThrowFaults() const {
  if (scope_.faults.empty()) return;
  throw Error(fmt::format("{}", fmt::join(scope_.faults, "\n")));
}

}  // namespace quiver
