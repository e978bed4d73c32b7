// SPDX-License-Identifier: Apache-2.0
#include "runtime/plugin/routine_library.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace quiver {
namespace {

#if defined(_WIN32)
constexpr const char* kSuffix = ".dll";
void* OpenFile(const std::string& file, std::string& why) {
  void* const handle = reinterpret_cast<void*>(LoadLibraryA(file.c_str()));
  if (!handle) why = fmt::format("system error {}", GetLastError());
  return handle;
}
void* FindSymbol(void* handle, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
#else
constexpr const char* kSuffix = ".so";
// Local: two libraries with routines of the same name do not meet. Now: a missing symbol shows here, not
// during a solution.
void* OpenFile(const std::string& file, std::string& why) {
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) why = dlerror();
  return handle;
}
void* FindSymbol(void* handle, const char* name) { return dlsym(handle, name); }
#endif

// ASCII only, whatever the locale.
std::string Lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}
std::string Upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

bool IsBaseName(const std::string& name) {
  return !name.empty() && name.find_first_of("/\\:") == std::string::npos &&
         name.find("..") == std::string::npos;
}

// The same routine in other letters, "" when there is none: ZX40RM_spsqrt for ZX40RM_SPSQRT.
std::string OtherSpelling(void* handle, const std::string& routine) {
  const size_t prefix = std::min(routine.find('_') + 1, routine.size());
  const std::string head = routine.substr(0, prefix), tail = routine.substr(prefix);
  for (const std::string& other : {head + Lower(tail), head + Upper(tail)})
    if (other != routine && FindSymbol(handle, other.c_str())) return other;
  return "";
}

}  // namespace

void RoutineLibraries::RegisterBuiltIn(const std::string& library, const std::string& routine,
                                       QV_Routine address) {
  const std::lock_guard lock(mutex_);
  built_in_[{Lower(library), routine}] = address;
}

void RoutineLibraries::Describe(const std::string& library, const std::string& routine,
                                RoutineTraits traits) {
  const std::lock_guard lock(mutex_);
  traits_[{Lower(library), routine}] = traits;
}

std::vector<std::string> RoutineLibraries::OpenedFiles() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> files;
  for (const auto& [name, library] : libraries_)
    if (library.handle) files.push_back(library.file);
  return files;
}

RoutineProvider::Found RoutineLibraries::Find(const char* library, const char* routine) {
  const std::lock_guard lock(mutex_);
  Found found;
  const Key key{Lower(library), routine};
  if (const auto traits = traits_.find(key); traits != traits_.end()) {
    found.base_index = traits->second.base_index;
    found.sixteen_arguments = traits->second.sixteen_arguments;
    found.preset_outputs = traits->second.preset_outputs;
    found.postset_inputs = traits->second.postset_inputs;
  }
  if (const auto it = built_in_.find(key); it != built_in_.end()) {
    found.address = reinterpret_cast<void*>(it->second);
    return found;
  }
  const Library& opened = Open(library);
  if (!opened.handle) {
    const auto first = built_in_.lower_bound({key.first, ""});
    const bool built_in = first != built_in_.end() && first->first.first == key.first;
    found.reason = built_in ? fmt::format("The host's own routines have no {}.", routine) : opened.reason;
    return found;
  }
  found.address = FindSymbol(opened.handle, routine);
  if (!found.address) {
    const std::string other = OtherSpelling(opened.handle, routine);
    found.reason =
        other.empty()
            ? fmt::format("{} has no routine {}. Add it there, or choose an option that does not call it.",
                          opened.file, routine)
            : fmt::format("{} has no routine {}, but {}. Routine names are matched letter by letter.",
                          opened.file, routine, other);
  }
  return found;
}

const RoutineLibraries::Library& RoutineLibraries::Open(const std::string& base_name) {
  const auto [entry, added] = libraries_.try_emplace(Lower(base_name));
  if (added) entry->second = TryOpen(base_name);
  return entry->second;
}

RoutineLibraries::Library RoutineLibraries::TryOpen(const std::string& base_name) const {
  Library result;
  if (!IsBaseName(base_name)) {
    result.reason = fmt::format(
        "\"{}\" is no base name of a routine library. Give a name without folders, such as Corvanta.",
        base_name);
    return result;
  }
  const std::string plain = Lower(base_name) + kSuffix;
  for (const std::string& folder : folders_) {
    std::error_code ignored;
    std::vector<std::string> files;
    for (std::filesystem::directory_iterator it(folder, ignored), end; it != end; it.increment(ignored)) {
      const std::string name = Lower(it->path().filename().string());
      if (name == "lib" + plain || name == plain) files.push_back(it->path().string());
      if (ignored) break;
    }
    std::sort(files.begin(), files.end());  // the order of a folder's entries is the file system's
    for (const std::string& file : files) {
      std::string why;
      result.handle = OpenFile(file, why);
      result.file = file;
      if (result.handle) return result;
      result.reason = fmt::format("{} cannot be opened: {}.", file, why);
    }
    if (!files.empty()) return result;
  }
  result.reason =
      fmt::format("There is no lib{} in {}. Install the library there, or name its folder.", plain,
                  folders_.empty() ? "any folder, since none is configured"
                                   : fmt::format("{}", fmt::join(folders_, " or ")));
  return result;
}

}  // namespace quiver
