// SPDX-License-Identifier: Apache-2.0
// Finds routines: in libraries opened by base name from configured folders, and among those built into the
// host.
//
//   RoutineLibraries routines({program_folder + "/../lib"});
//   routines.RegisterBuiltIn("Properties", "ZX40RM_pcp_mol_vap", &CpMolVap);
//   InstallRoutineProvider(&routines);
//
// Routines that a library lacks are looked for in its user library, CORVANTA_user for Corvanta: there the
// routines of a user's own go.
//
// A library's file is its base name between the platform's prefix and suffix ("Corvanta": libcorvanta.so),
// letter case ignored. Nothing else is ever opened: base names with path separators are refused. Libraries
// stay open until the process ends, since procedures keep the addresses of their routines.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/routine.h"
#include "runtime/contract/routine_provider.h"
#include "runtime/plugin/shared_library.h"

namespace quiver {

// What the host knows of a routine beyond its address.
struct RoutineTraits {
  int base_index = 0;  // 1: written in a language whose arrays begin at 1
  bool sixteen_arguments = false;
  bool preset_outputs = false;
  bool postset_inputs = false;
};

class RoutineLibraries : public RoutineProvider {
 public:
  explicit RoutineLibraries(std::vector<std::string> folders) : folders_(std::move(folders)) {}

  // Built-in routines come before those of a library of the same name. Registering again replaces.
  void RegisterBuiltIn(const std::string& library, const std::string& routine, QV_Routine address);
  // Routines without an entry have the default traits.
  void Describe(const std::string& library, const std::string& routine, RoutineTraits traits);

  Found Find(const char* library, const char* routine) override;

  // Files opened so far, for reports.
  std::vector<std::string> OpenedFiles() const;

 private:
  struct Library {
    std::unique_ptr<SharedLibrary> file;  // null: not open, for this reason
    std::string reason;
  };
  using Key = std::pair<std::string, std::string>;  // library in lower case, routine as written

  const Library& Open(const std::string& base_name);
  Library TryOpen(const std::string& base_name) const;

  const std::vector<std::string> folders_;
  mutable std::mutex mutex_;
  std::map<Key, QV_Routine> built_in_;
  std::map<Key, RoutineTraits> traits_;
  std::map<std::string, Library>
      libraries_;  // by base name in lower case; failures too, so that folders are read once
};

}  // namespace quiver
