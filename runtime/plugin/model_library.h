// SPDX-License-Identifier: Apache-2.0
// A model library: opened by path, its types created by name.
//
//   ModelLibrary library(path);   QV_ModelType* psv = library.Create("PSV_SIMPLE");   // carries one reference
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/library.h"
#include "host/model_type.h"
#include "runtime/plugin/shared_library.h"

namespace quiver {

class ModelLibrary {
 public:
  // Throws Error when it cannot be opened or lacks its list of models.
  explicit ModelLibrary(const std::filesystem::path& path);

  std::span<const QV_ModelRow> models() const { return models_; }
  std::span<const QV_ProcedureRow> procedures() const { return procedures_; }
  std::span<const QV_OptionTypeRow> option_types() const { return option_types_; }
  const QV_ModelRow* Find(std::string_view model) const;  // letter case ignored; null when unknown
  std::vector<std::string> ModelNames() const;

  // Checks the type's compatibility block, then calls its factory. Throws Error: unknown name (with a suggestion),
  // another version of the contract, or a construction that failed.
  QV_ModelType* Create(std::string_view model) const;

  const std::filesystem::path& path() const { return library_.path(); }

 private:
  SharedLibrary library_;
  std::span<const QV_ModelRow> models_;
  std::span<const QV_ProcedureRow> procedures_;
  std::span<const QV_OptionTypeRow> option_types_;
};

}  // namespace quiver
