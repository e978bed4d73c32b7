// SPDX-License-Identifier: Apache-2.0
// Model libraries: opened by path, their types created by name. Several together answer as one.
//
//   ModelLibrary library(path);   QV_ModelType* psv = library.Create("PSV_SIMPLE");   // carries one reference
//   ModelLibraries all;   all.Add(path);   all.Add(another);   all.LibraryOf("PSV_SIMPLE")->path();
#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/library.h"
#include "host/model_type.h"
#include "runtime/plugin/shared_library.h"

namespace quiver {

// Where a flowsheet's models come from.
class ModelSource {
 public:
  virtual ~ModelSource() = default;
  virtual const QV_ModelRow* Find(
      std::string_view model) const = 0;  // letter case ignored; null when unknown
  virtual std::vector<std::string> ModelNames() const = 0;
  // Throws Error: unknown name (with a suggestion), or a construction that failed.
  virtual QV_ModelType* Create(std::string_view model) const = 0;
};

class ModelLibrary : public ModelSource {
 public:
  // Throws Error when it cannot be opened, lacks its list of models, or a model was built for another version of the contract.
  explicit ModelLibrary(const std::filesystem::path& path);

  std::span<const QV_ModelRow> models() const { return models_; }
  std::span<const QV_ProcedureRow> procedures() const { return procedures_; }
  std::span<const QV_OptionTypeRow> option_types() const { return option_types_; }
  const QV_ModelRow* Find(std::string_view model) const override;
  std::vector<std::string> ModelNames() const override;
  QV_ModelType* Create(std::string_view model) const override;

  const std::filesystem::path& path() const { return library_.path(); }

 private:
  SharedLibrary library_;
  std::span<const QV_ModelRow> models_;
  std::unordered_map<std::string, std::size_t> by_name_;  // upper case
  std::vector<QV_FactoryFunction> factories_;             // parallel to models_; null where none is exported
  std::span<const QV_ProcedureRow> procedures_;
  std::span<const QV_OptionTypeRow> option_types_;
};

class ModelLibraries : public ModelSource {
 public:
  // Opens one more; a file that is open already is left as it is. Throws Error as ModelLibrary does, and when a model's name is
  // taken by another library: nothing could tell then which of the two is meant.
  void Add(const std::filesystem::path& path);

  const std::vector<std::unique_ptr<ModelLibrary>>& all() const { return libraries_; }  // in the order of Add
  const ModelLibrary* LibraryOf(std::string_view model) const;                          // null when unknown
  const QV_ModelRow* Find(std::string_view model) const override;
  std::vector<std::string> ModelNames() const override;
  QV_ModelType* Create(std::string_view model) const override;

 private:
  std::vector<std::unique_ptr<ModelLibrary>> libraries_;
};

}  // namespace quiver
