// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/state_file.h"

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>

#include "runtime/contract/error.h"

namespace quiver {
namespace {

constexpr const char* kFormatKey = "quiver_state";
constexpr int kFormat = 1;

}  // namespace

void WriteState(const std::filesystem::path& path, const SavedState& state) {
  nlohmann::ordered_json document = {
      {kFormatKey, kFormat}, {"converged", state.converged}, {"values", nlohmann::ordered_json::object()}};
  for (const auto& [name, value] : state.values)
    if (std::isfinite(value)) document["values"][name] = value;
  std::ofstream file(path);
  file << document.dump(1) << '\n';
  file.close();
  if (!file)
    throw Error(
        fmt::format("{}: the state cannot be written. Choose a file in a folder that exists and may be "
                    "written to.",
                    path.string()));
}

SavedState ReadState(const std::filesystem::path& path) {
  const auto fail = [&](const std::string& what) {
    return Error(fmt::format("{}: {}. Give a file that \"quiver solve --save-state\" has written.",
                             path.string(), what));
  };
  std::error_code unknown;
  std::ifstream file(path);
  if (!file || std::filesystem::is_directory(path, unknown)) throw fail("the file cannot be opened");
  const nlohmann::json document = nlohmann::json::parse(file, nullptr, false);
  if (document.is_discarded() || !document.is_object()) throw fail("the file is not a JSON document");
  const auto format = document.find(kFormatKey);
  if (format == document.end() || *format != kFormat)
    throw fail("the file does not hold a state of this version");
  const auto values = document.find("values");
  if (values == document.end() || !values->is_object()) throw fail("the state has no values");
  SavedState state;
  state.name = path.string();
  const auto converged = document.find("converged");
  state.converged = converged != document.end() && converged->is_boolean() && converged->get<bool>();
  for (const auto& [name, value] : values->items()) {
    if (!value.is_number()) throw fail(fmt::format("the value of {} is no number", name));
    state.values[name] = value.get<double>();
  }
  return state;
}

}  // namespace quiver
