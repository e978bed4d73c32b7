// SPDX-License-Identifier: Apache-2.0
// A shared library opened by path, closed with the last owner.
//
//   SharedLibrary library(path);   auto* factory = library.Find("PSV_SIMPLEFactory");
#pragma once

#include <filesystem>
#include <string>

namespace quiver {

class SharedLibrary {
 public:
  // Throws Error with the loader's own reason.
  explicit SharedLibrary(const std::filesystem::path& path);
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  SharedLibrary(SharedLibrary&& other) noexcept : handle_(other.handle_), path_(std::move(other.path_)) {
    other.handle_ = nullptr;
  }
  ~SharedLibrary();

  void* Find(const char* symbol) const;  // null when it is not exported
  const std::filesystem::path& path() const { return path_; }

  // The file name that the platform gives a library of that base name: libNAME.so or NAME.dll.
  static std::string FileName(const std::string& base_name);
  // The folder of the library or program that contains the given address.
  static std::filesystem::path FolderOf(const void* address);

 private:
  void* handle_;
  std::filesystem::path path_;
};

}  // namespace quiver
