// SPDX-License-Identifier: Apache-2.0
// Gives the values of a case to the properties they name.
//
//   ValueGiver giver(instance, "psv", block.fix, ValueGiver::kFix);
//   giver.Give(faults);        // in every round of sizing; elements may exist then that did not before
//   giver.Finish(faults);      // what was never found is reported now
#pragma once

#include <string>
#include <vector>

#include "runtime/contract/instance.h"
#include "runtime/io/case_file.h"

namespace quiver {

// The holder, array or container that a path names, from an instance downwards. Null with a fault when a name is unknown;
// null without one when an element does not exist (yet).
struct NamedObject {
  QV_Type* object = nullptr;
  std::string missing_element;  // "POSX(3)", when the array has no such element
};
NamedObject FindNamed(const Instance& instance, const PropertyPath& path, size_t first_part,
                      const std::string& block, Location location, std::vector<CaseFault>& faults);

class ValueGiver {
 public:
  enum Purpose {
    kSet,    // the value; the specification stays as the model has it
    kFix,    // the value, and given
    kGuess,  // the value to start from, and computed
  };
  ValueGiver(const Instance& instance, std::string block, const std::vector<Assignment>& assignments,
             Purpose purpose)
      : instance_(&instance),
        block_(std::move(block)),
        assignments_(&assignments),
        purpose_(purpose),
        pending_(assignments.size()) {}

  void Give(std::vector<CaseFault>& faults);
  void Finish(std::vector<CaseFault>& faults);

 private:
  bool GiveOne(const Assignment& assignment, std::string& pending, std::vector<CaseFault>& faults);
  void GiveArray(QV_ArrayBase& array, const Assignment& assignment, const CaseValue& value,
                 std::vector<CaseFault>& faults);
  void GiveScalar(QV_VarParam& holder, const Assignment& assignment, const CaseValue& value,
                  std::vector<CaseFault>& faults);

  const Instance* instance_;
  std::string block_;
  const std::vector<Assignment>* assignments_;
  Purpose purpose_;
  std::vector<std::string> pending_;  // elements not found so far, by assignment
};

// Gives a global of the simulation its value, once some model has declared it.
void GiveGlobals(Scope& scope, const std::vector<Assignment>& assignments, std::vector<CaseFault>& faults);

}  // namespace quiver
