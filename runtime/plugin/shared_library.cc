// SPDX-License-Identifier: Apache-2.0
#include "runtime/plugin/shared_library.h"

#include "runtime/contract/error.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace quiver {

#if defined(_WIN32)

SharedLibrary::SharedLibrary(const std::filesystem::path& path)
    : handle_(LoadLibraryW(std::filesystem::absolute(path).c_str())), path_(path) {
  if (!handle_)
    throw Error("cannot open the library " + path.string() + ": error " + std::to_string(GetLastError()) +
                " of the system.");
}
SharedLibrary::~SharedLibrary() {
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
}
void* SharedLibrary::Find(const char* symbol) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), symbol));
}
std::string SharedLibrary::FileName(const std::string& base_name) { return base_name + ".dll"; }
std::filesystem::path SharedLibrary::FolderOf(const void* address) {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     static_cast<LPCWSTR>(address), &module);
  wchar_t path[4096];
  const DWORD length = GetModuleFileNameW(module, path, 4096);
  return std::filesystem::path(std::wstring(path, length)).parent_path();
}

#else

// A name without a folder is a file here; left to itself, the loader would look for it among the system's libraries.
SharedLibrary::SharedLibrary(const std::filesystem::path& path)
    : handle_(dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL)), path_(path) {
  if (!handle_) {
    const char* reason = dlerror();
    throw Error("cannot open the library " + path.string() + ": " + (reason ? reason : "unknown reason") +
                ".");
  }
}
SharedLibrary::~SharedLibrary() {
  if (handle_) dlclose(handle_);
}
void* SharedLibrary::Find(const char* symbol) const { return dlsym(handle_, symbol); }
std::string SharedLibrary::FileName(const std::string& base_name) { return "lib" + base_name + ".so"; }
std::filesystem::path SharedLibrary::FolderOf(const void* address) {
  Dl_info info;
  if (!dladdr(address, &info) || !info.dli_fname) return {};
  return std::filesystem::absolute(info.dli_fname).parent_path();
}

#endif

}  // namespace quiver
