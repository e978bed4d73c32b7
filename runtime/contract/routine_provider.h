// SPDX-License-Identifier: Apache-2.0
// Where procedures find their routines. The host installs one provider per process; runtime/plugin has the
// one that opens routine libraries, tests install their own.
#pragma once

#include <string>

namespace quiver {

class RoutineProvider {
 public:
  virtual ~RoutineProvider() = default;

  struct Found {
    void* address = nullptr;  // null: absent, and `reason` tells why in a sentence
    int base_index = 0;       // 1 for routines of a base-1 language
    bool sixteen_arguments = false;
    bool preset_outputs = false;  // the routine starts from the present outputs
    bool postset_inputs = false;  // the routine may change its variable inputs
    std::string reason;
  };
  // `library` is matched without regard to letter case, `routine` exactly.
  virtual Found Find(const char* library, const char* routine) = 0;
};

// The provider in use; null until one is installed. Installing returns the one before.
RoutineProvider* CurrentRoutineProvider();
RoutineProvider* InstallRoutineProvider(RoutineProvider* provider);

}  // namespace quiver
