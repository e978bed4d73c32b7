// SPDX-License-Identifier: Apache-2.0
// A simulation: blocks of a model library, driven from construction to equations.
//
//   Flowsheet flowsheet(library);
//   flowsheet.SetComponents({"water"});
//   flowsheet.AddBlock("psv", "PSV_SIMPLE");             // 1. declares
//   flowsheet.SizeAndAssign([&] { GiveUserValues(); });  // 2. sizes arrays, assigns defaults, keeps the user's values
//   EquationSystem system(flowsheet);                    // 3. sets up and emits
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/contract/instance.h"
#include "runtime/contract/scope.h"
#include "runtime/plugin/model_library.h"
#include "runtime/system/block_index.h"
#include "runtime/system/records.h"

namespace quiver {

class Flowsheet {
 public:
  explicit Flowsheet(const ModelSource& library);
  Flowsheet(const Flowsheet&) = delete;
  Flowsheet& operator=(const Flowsheet&) = delete;
  ~Flowsheet();

  // Before the first block.
  void SetComponents(std::vector<std::string> names);
  const std::vector<std::string>& components() const { return components_; }

  // Creates an instance and lets it declare. Throws Error for an unknown model or a name already in use.
  Instance& AddBlock(const std::string& name, std::string_view model);
  // The same for an object that did not come from the library; the flowsheet takes over one reference.
  Instance& AddBlock(const std::string& name, QV_ModelType* object);

  // Repeats sizing and assigning while a set that sizes an array changed, at most ten rounds. `give_values` is called in
  // every round, between the two: elements may exist then that did not before.
  void SizeAndAssign(const std::function<void()>& give_values);

  // All instances: global structures, then blocks; sub-models after their owner.
  std::vector<Instance*> Instances() const;
  const std::vector<Instance*>& blocks() const { return blocks_; }
  Instance* FindBlock(std::string_view name) const;  // letter case ignored; null when unknown
  Scope& scope() { return scope_; }

  // Throws Error with all findings, if there are any.
  void ThrowFaults() const;

 private:
  void GiveComponents(Instance& instance);
  void Size(Instance& instance);

  const ModelSource* library_;
  Scope scope_;
  std::vector<std::string> components_;
  std::unique_ptr<QV_Value> component_value_;  // the same as a value to assign
  std::vector<QV_ModelType*> objects_;         // one reference each
  std::vector<Instance*> blocks_;              // parallel to objects_
  BlockIndex by_name_;
};

}  // namespace quiver
