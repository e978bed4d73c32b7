// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/installation.h"

#include <memory>

#include "runtime/modeller/property_routines.h"
#include "runtime/plugin/routine_library.h"

namespace quiver {
namespace {

std::filesystem::path FolderOfHost() {
  return SharedLibrary::FolderOf(reinterpret_cast<const void*>(&Version));
}

}  // namespace

const char* Version() { return QUIVER_VERSION; }

const ModelLibrary& UseLibraries(const LibraryPaths& paths) {
  // Kept to the end of the process: instances hold code of the library, procedures addresses of routines.
  static std::vector<std::unique_ptr<ModelLibrary>> opened;
  static std::vector<std::unique_ptr<RoutineLibraries>> routines;
  std::vector<std::string> folders = paths.routines;
  folders.push_back(FolderOfHost().string());
  routines.push_back(std::make_unique<RoutineLibraries>(folders));
  RegisterPropertyRoutines(*routines.back());
  InstallRoutineProvider(routines.back().get());
  opened.push_back(std::make_unique<ModelLibrary>(
      paths.models.empty() ? FolderOfHost() / SharedLibrary::FileName("quiver_models") : paths.models));
  return *opened.back();
}

bool IsImplemented(const char* library, const char* routine) {
  RoutineProvider* provider = CurrentRoutineProvider();
  return provider && provider->Find(library, routine).address != nullptr;
}

}  // namespace quiver
