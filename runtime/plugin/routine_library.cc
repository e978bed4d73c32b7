// SPDX-License-Identifier: Apache-2.0
#include "runtime/plugin/routine_library.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>

#include "runtime/contract/error.h"
#include "runtime/io/path_text.h"

namespace quiver {
namespace {

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

// A user's own routines stand in a library beside the one that a procedure names: libcorvanta_user.so for Corvanta.
constexpr const char* kUserSuffix = "_user";

// The same routine in other letters, "" when there is none: ZX40RM_spsqrt for ZX40RM_SPSQRT.
std::string OtherSpelling(const SharedLibrary& library, const std::string& routine) {
  const size_t prefix = std::min(routine.find('_') + 1, routine.size());
  const std::string head = routine.substr(0, prefix), tail = routine.substr(prefix);
  for (const std::string& other : {head + Lower(tail), head + Upper(tail)})
    if (other != routine && library.Find(other.c_str())) return other;
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
    if (library.file) files.push_back(library.file->path().string());
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
  if (!opened.file) {
    const auto first = built_in_.lower_bound({key.first, ""});
    const bool built_in = first != built_in_.end() && first->first.first == key.first;
    found.reason = built_in ? fmt::format(
                                  "the host's own {} have no routine of that name. Choose an option that "
                                  "does not call it.",
                                  library)
                            : opened.reason;
    return found;
  }
  found.address = opened.file->Find(routine);
  if (found.address) return found;
  if (const Library& user = Open(library + std::string(kUserSuffix)); user.file) {
    found.address = user.file->Find(routine);
    if (found.address) return found;
  }
  const std::string other = OtherSpelling(*opened.file, routine);
  found.reason =
      fmt::format("{} has no routine of that name{}", opened.file->path().string(),
                  other.empty() ? ". Add it there, or choose an option that does not call it."
                                : ", but " + other + ". Routine names are matched letter by letter.");
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
    result.reason = "that is no base name of a library. Give a name without folders, such as Corvanta.";
    return result;
  }
  const std::string file_name = Lower(SharedLibrary::FileName(base_name));
  for (const std::string& folder : folders_) {
    std::error_code unreadable;
    std::vector<std::filesystem::path> files;
    for (std::filesystem::directory_iterator it(PathOf(folder), unreadable), end; !unreadable && it != end;
         it.increment(unreadable)) {
      const std::string name = Lower(it->path().filename().string());
      if (name == file_name || name == "lib" + file_name) files.push_back(it->path());
    }
    std::sort(files.begin(), files.end());  // the order of a folder's entries is the file system's
    for (const auto& file : files) {
      try {
        result.file = std::make_unique<SharedLibrary>(file);
        return result;
      } catch (const Error& error) {
        result.reason = error.what();
      }
    }
    if (!files.empty()) return result;
  }
  const std::string where = folders_.empty() ? "any folder, since none is configured"
                                             : fmt::format("{}", fmt::join(folders_, " or "));
  result.reason = fmt::format("there is no file {} in {}. Install the library there, or name its folder.",
                              file_name, where);
  return result;
}

}  // namespace quiver
