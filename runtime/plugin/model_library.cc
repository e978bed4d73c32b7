// SPDX-License-Identifier: Apache-2.0
#include "runtime/plugin/model_library.h"

#include <fmt/format.h>

#include "runtime/contract/error.h"
#include "runtime/contract/names.h"
#include "runtime/io/suggest.h"

namespace quiver {
namespace {

template <class Function, class Row>
std::span<const Row> Rows(const SharedLibrary& library, const char* symbol) {
  const auto function = reinterpret_cast<Function>(library.Find(symbol));
  if (!function) return {};
  long long count = 0;
  const Row* rows = function(&count);
  if (!rows || count <= 0) return {};
  return {rows, static_cast<size_t>(count)};
}

// By name, then by what the system says, which some (wine) do not know of a library that is open.
bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code unknown;
  return std::filesystem::absolute(a).lexically_normal() == std::filesystem::absolute(b).lexically_normal() ||
         std::filesystem::equivalent(a, b, unknown);
}

Error UnknownModel(std::string_view model, const std::vector<std::string>& names) {
  return Error(fmt::format("unknown model {}: {}", model, Suggest(model, names)));
}

// A block that is there and has this host's version.
void CheckCompatibility(const SharedLibrary& library, const std::string& model) {
  const auto* block =
      static_cast<const QV_CompatibilityBlock*>(library.Find(("_Compatibility" + model).c_str()));
  const std::string path = library.path().string();
  if (!block)
    throw Error(
        fmt::format("{} lists model {} but does not export its compatibility block. Export the model with "
                    "EXPORT_MODEL({}).",
                    path, model, model));
  if (block->version != kQvCompatibilityVersion)
    throw Error(fmt::format(
        "model {} of {} was built for version {} of the contract, this host has version {}. Build the "
        "library against this host.",
        model, path, block->version, kQvCompatibilityVersion));
}

}  // namespace

// Nothing but the list of the models' names is asked for before all of them are known to be of this host's version.
ModelLibrary::ModelLibrary(const std::filesystem::path& path)
    : library_(path), models_(Rows<QV_ModelRowsFunction, QV_ModelRow>(library_, QV_LIBRARY_MODELS_SYMBOL)) {
  if (models_.empty())
    throw Error(fmt::format("{} is no model library: it exports no list of models (QV_ModelLibrary::Models).",
                            path.string()));
  for (const QV_ModelRow& row : models_) {
    CheckCompatibility(library_, row.name);
    by_name_.emplace(UpperCase(row.name), factories_.size());
    factories_.push_back(
        reinterpret_cast<QV_FactoryFunction>(library_.Find((std::string(row.name) + "Factory").c_str())));
  }
  procedures_ = Rows<QV_ProcedureRowsFunction, QV_ProcedureRow>(library_, QV_LIBRARY_PROCEDURES_SYMBOL);
  option_types_ = Rows<QV_OptionTypeRowsFunction, QV_OptionTypeRow>(library_, QV_LIBRARY_OPTION_TYPES_SYMBOL);
}

const QV_ModelRow* ModelLibrary::Find(std::string_view model) const {
  const auto found = by_name_.find(UpperCase(model));
  return found == by_name_.end() ? nullptr : &models_[found->second];
}

std::vector<std::string> ModelLibrary::ModelNames() const {
  std::vector<std::string> names;
  for (const QV_ModelRow& row : models_) names.emplace_back(row.name);
  return names;
}

QV_ModelType* ModelLibrary::Create(std::string_view model) const {
  const QV_ModelRow* row = Find(model);
  if (!row) throw UnknownModel(model, ModelNames());
  const QV_FactoryFunction factory = factories_[static_cast<std::size_t>(row - models_.data())];
  if (!factory)
    throw Error(
        fmt::format("{} lists model {} but exports no {}Factory.", path().string(), row->name, row->name));
  QV_Containable* object = factory();
  auto* created = dynamic_cast<QV_ModelType*>(object);
  if (!created) {
    if (object) object->Release();
    throw Error(fmt::format(
        "model {} could not be constructed: memory ran out, or one of its properties could not be made.",
        row->name));
  }
  return created;
}

void ModelLibraries::Add(const std::filesystem::path& path) {
  for (const auto& open : libraries_)
    if (SameFile(open->path(), path)) return;
  auto library = std::make_unique<ModelLibrary>(path);
  for (const QV_ModelRow& row : library->models())
    if (const ModelLibrary* other = LibraryOf(row.name))
      throw Error(fmt::format(
          "{} and {} both have a model {}. Use one of the two: --bare leaves out the libraries installed.",
          other->path().string(), path.string(), row.name));
  libraries_.push_back(std::move(library));
}

const ModelLibrary* ModelLibraries::LibraryOf(std::string_view model) const {
  for (const auto& library : libraries_)
    if (library->Find(model)) return library.get();
  return nullptr;
}

const QV_ModelRow* ModelLibraries::Find(std::string_view model) const {
  const ModelLibrary* library = LibraryOf(model);
  return library ? library->Find(model) : nullptr;
}

std::vector<std::string> ModelLibraries::ModelNames() const {
  std::vector<std::string> names;
  for (const auto& library : libraries_)
    for (const QV_ModelRow& row : library->models()) names.emplace_back(row.name);
  return names;
}

QV_ModelType* ModelLibraries::Create(std::string_view model) const {
  const ModelLibrary* library = LibraryOf(model);
  if (!library) throw UnknownModel(model, ModelNames());
  return library->Create(model);
}

}  // namespace quiver
