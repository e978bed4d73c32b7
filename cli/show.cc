// SPDX-License-Identifier: Apache-2.0
// quiver show MODEL: the properties in declaration order, with dimensions and defaults after assignments.
#include <fmt/format.h>

#include <cmath>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/cases/case_run.h"

namespace quiver {
namespace {

template <class T, class Convert>
Json OneOrList(const std::vector<T>& values, bool list, Convert convert) {
  if (!list) return values.empty() ? Json(nullptr) : convert(values.front());
  Json all = Json::array();
  for (const T& value : values) all.push_back(convert(value));
  return all;
}

// A bound of an array is one number where all elements have the same.
Json BoundOf(const std::vector<double>& bounds) {
  bool same = true;
  for (const double bound : bounds) same = same && bound == bounds.front();
  return OneOrList(bounds, !same, NumberOrNull);
}

Json PropertyJson(const PropertyDescription& d) {
  const auto spec = [](int kind) { return kind ? Json(kind) : Json(nullptr); };
  Json one = {{"name", d.name},
              {"kind", d.kind},
              {"type", d.type},
              {"description", TextOrNull(d.description)},
              {"value", OneOrList(d.values, d.array, [](const PlainValue& v) { return ToJson(v); })},
              {"lower", BoundOf(d.lower)},
              {"upper", BoundOf(d.upper)},
              {"spec", OneOrList(d.specs, d.array, spec)},
              {"array", d.array}};
  if (d.array) {
    one["dims"] = d.dims;
    one["indices"] = d.indices;
  }
  if (*d.unit) one["unit"] = d.unit;
  return one;
}

std::string ValueText(const PropertyDescription& d) {
  if (d.values.empty()) return "";
  std::string text;
  const size_t shown = std::min<size_t>(d.values.size(), 4);
  for (size_t i = 0; i < shown; ++i) {
    const Json value = ToJson(d.values[i]);
    std::string one = value.is_null()           ? "-"
                      : value.is_number_float() ? Number(value.get<double>())
                      : value.is_string()       ? value.get<std::string>()
                                                : value.dump();
    text += (i ? ", " : "") + one;
  }
  return text + (shown < d.values.size() ? ", ..." : "");
}

void PrintTable(const QV_ModelRow& model, const std::vector<PropertyDescription>& properties) {
  fmt::print("{}\n\n", Bold(model.name));
  std::vector<std::vector<std::string>> rows = {
      {"property", "kind", "type", "value", "unit", "given", "description"}};
  for (const PropertyDescription& d : properties) {
    std::string name = d.name;
    if (d.array) name += fmt::format("[{}]", fmt::join(d.dims, ","));
    const bool given = !d.specs.empty() && d.specs.front() == QV_SPEC_GIVEN;
    rows.push_back(
        {name, d.kind, d.type, ValueText(d), d.unit, given ? "yes" : "", d.description ? d.description : ""});
  }
  fmt::print("{}", Table(rows, {false, false, false, true, false, false, false}));
  if (properties.empty()) fmt::print("This type exists by name and declares nothing.\n");
}

}  // namespace

void AddShowCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  AddModelCommand(
      program, options, run, "show", "A model's properties, with dimensions and defaults",
      [](CaseRun& built, const QV_ModelRow& model, bool json) {
        const auto properties = DescribeProperties(*built.flowsheet().blocks().front());
        if (!json) return PrintTable(model, properties);
        Json document = {{"model", model.name}, {"identity", model.identity}, {"properties", Json::array()}};
        for (const PropertyDescription& property : properties)
          document["properties"].push_back(PropertyJson(property));
        Print(document);
      });
}

}  // namespace quiver
