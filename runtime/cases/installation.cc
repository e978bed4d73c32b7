// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/installation.h"

#include <memory>

#include "runtime/contract/error.h"
#include "runtime/io/path_text.h"
#include "runtime/modeller/property_routines.h"
#include "runtime/plugin/routine_library.h"

namespace quiver {
namespace {

std::filesystem::path FolderOfHost() {
  return SharedLibrary::FolderOf(reinterpret_cast<const void*>(&Version));
}

// The model library, and blocks of our own making built from its models.
constexpr const char* kInstalled[] = {"quiver_models", "quiver_blocks"};

}  // namespace

const char* Version() { return QUIVER_VERSION; }

const ModelLibraries& UseLibraries(const LibraryPaths& paths) {
  // Kept to the end of the process: instances hold code of the library, procedures addresses of routines.
  static std::vector<std::unique_ptr<ModelLibraries>> opened;
  static std::vector<std::unique_ptr<RoutineLibraries>> routines;
  std::vector<std::string> folders = paths.routines;
  folders.push_back(FolderOfHost().string());
  routines.push_back(std::make_unique<RoutineLibraries>(folders));
  RegisterPropertyRoutines(*routines.back());
  InstallRoutineProvider(routines.back().get());
  auto libraries = std::make_unique<ModelLibraries>();
  if (!paths.bare)
    for (const char* name : kInstalled) libraries->Add(FolderOfHost() / SharedLibrary::FileName(name));
  for (const std::string& path : paths.models) libraries->Add(PathOf(path));
  if (libraries->all().empty()) throw Error("there is no model library: name one with --library FILE.");
  opened.push_back(std::move(libraries));
  return *opened.back();
}

bool IsImplemented(const char* library, const char* routine) {
  RoutineProvider* provider = CurrentRoutineProvider();
  return provider && provider->Find(library, routine).address != nullptr;
}

}  // namespace quiver
