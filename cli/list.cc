// SPDX-License-Identifier: Apache-2.0
// quiver list models|procedures|types|operators
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/command.h"
#include "cli/json_output.h"
#include "host/modeller/variable_types.h"
#include "procedures/host_procedures.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/set_storage.h"
#include "runtime/expression/operators.h"

namespace quiver {
namespace {

void ListModels(const ModelLibraries& libraries, bool json) {
  Json rows = Json::array();
  std::vector<std::vector<std::string>> table = {{"model", "identity", "specified", "library"}};
  for (const auto& library : libraries.all())
    for (const QV_ModelRow& row : library->models()) {
      const std::string file = library->path().filename().string(), specified = row.specified;
      const Json value = specified == "true"    ? Json(true)
                         : specified == "false" ? Json(false)
                                                : Json(specified);
      rows.push_back(
          {{"name", row.name}, {"identity", row.identity}, {"specified", value}, {"library", file}});
      std::string identity = row.identity;
      identity[identity.find('\t')] = ' ';
      table.push_back({row.name, identity,
                       specified == "true"    ? "yes"
                       : specified == "false" ? "no"
                                              : specified,
                       file});
    }
  if (json) return Print(rows);
  fmt::print("{}", Table(table, {false, false, false, false}));
  fmt::print("\n{} models of {} librar{}. Those marked \"no\" exist by name and declare nothing.\n",
             rows.size(), libraries.all().size(), libraries.all().size() == 1 ? "y" : "ies");
}

// The rows of one table of all libraries; what two of them share, once.
template <class Row>
std::vector<Row> AllRows(const ModelLibraries& libraries, std::span<const Row> (ModelLibrary::*rows)() const,
                         const char* Row::*name) {
  std::vector<Row> all;
  for (const auto& library : libraries.all())
    for (const Row& row : ((*library).*rows)()) {
      const auto same = [&](const Row& known) { return std::string_view(known.*name) == row.*name; };
      if (std::none_of(all.begin(), all.end(), same)) all.push_back(row);
    }
  return all;
}

void ListProcedures(const ModelLibraries& libraries, bool json) {
  std::vector<QV_ProcedureRow> all =
      AllRows(libraries, &ModelLibrary::procedures, &QV_ProcedureRow::class_name);
  const size_t of_library = all.size();
  long long host_count = 0;
  const QV_ProcedureRow* host_rows = HostProcedureRows(&host_count);
  all.insert(all.end(), host_rows, host_rows + host_count);
  Json rows = Json::array();
  std::vector<std::vector<std::string>> table = {
      {"procedure", "inputs", "outputs", "library", "routine", "implemented"}};
  int implemented_count = 0;
  for (size_t i = 0; i < all.size(); ++i) {
    const QV_ProcedureRow& row = all[i];
    const bool implemented = IsImplemented(row.library, row.routine);
    implemented_count += implemented;
    Json one = {{"class", row.class_name},       {"routine", row.routine},
                {"library", row.library},        {"inputs", row.inputs},
                {"outputs", row.outputs},        {"dimensions", row.dimensions},
                {"variant", row.variant},        {"input_types", Json::array()},
                {"input_dims", Json::array()},   {"input_is_variable", Json::array()},
                {"output_types", Json::array()}, {"output_dims", Json::array()}};
    for (int k = 0; k < row.inputs + row.outputs; ++k) {
      const bool input = k < row.inputs;
      one[input ? "input_types" : "output_types"].push_back(row.types[k]);
      one[input ? "input_dims" : "output_dims"].push_back(row.dims[k]);
      if (input) one["input_is_variable"].push_back(row.is_variable[k] != 0);
    }
    one["derivatives"] = row.derivatives;
    one["precall"] = row.precall;
    one["postcall"] = row.postcall;
    one["always_call"] = row.always_call;
    one["component_list"] = row.component_list;
    one["implemented"] = implemented;
    one["supplied_by"] = i < of_library ? "model library" : "host";
    rows.push_back(std::move(one));
    table.push_back({row.class_name, std::to_string(row.inputs), std::to_string(row.outputs), row.library,
                     row.routine, implemented ? "yes" : "no"});
  }
  if (json) return Print(rows);
  fmt::print("{}", Table(table, {false, true, true, false, false, false}));
  fmt::print("\n{} procedures of the model library, {} of the host; {} have a routine.\n", of_library,
             host_count, implemented_count);
}

PlainValue PlainOf(const QV_Value* value) {
  if (!value) return {};
  switch (HostAccess::KindOf(*value)) {
    case QV_Value::kReal:
      return HostAccess::Real(*value);
    case QV_Value::kInteger:
      return static_cast<long long>(HostAccess::Integer(*value));
    case QV_Value::kLogical:
      return HostAccess::Logical(*value);
    case QV_Value::kText:
      return std::string(HostAccess::Text(*value));
    case QV_Value::kSet: {
      const SetStorage& set = *HostAccess::Set(*value);
      if (set.is_text) return set.texts;
      return std::vector<long long>(set.integers.begin(), set.integers.end());
    }
    case QV_Value::kSpecification:
      return static_cast<long long>(HostAccess::Specification(*value));
  }
  return {};
}

void ListTypes(const ModelLibraries& libraries, bool json) {
  const std::vector<QV_OptionTypeRow> types =
      AllRows(libraries, &ModelLibrary::option_types, &QV_OptionTypeRow::name);
  Json rows = Json::array();
  std::vector<std::vector<std::string>> table = {{"type", "default", "valid values or bounds", "unit"}};
  for (const QV_OptionTypeRow& row : types) {
    const std::unique_ptr<QV_Type> holder(row.create());
    QV_VOLUME volume(
        true);  // the one base with defaults of its own: what a type inherits from it is not overridden
    const auto own = [&](QV_Value* (QV_Type::*default_of)()) {
      QV_Value* of_type = ((*holder).*default_of)();
      return ToJson(PlainOf(of_type == (volume.*default_of)() ? nullptr : of_type));
    };
    const Json value = own(&QV_Type::QV_DefaultVALUE), valid = own(&QV_Type::QV_DefaultVALID),
               lower = own(&QV_Type::QV_DefaultLOWER), upper = own(&QV_Type::QV_DefaultUPPER),
               unit = own(&QV_Type::QV_DefaultBASEUOMNAME),
               quantity = own(&QV_Type::QV_DefaultPHYSICALQUANTITY);
    rows.push_back({{"name", row.name},
                    {"base", row.base},
                    {"default", value},
                    {"valid", valid},
                    {"lower", lower},
                    {"upper", upper},
                    {"unit", unit},
                    {"quantity", quantity}});
    std::string range;
    if (valid.is_array()) {
      for (const Json& one : valid)
        range += (range.empty() ? "" : " | ") + (one.is_string() ? one.get<std::string>() : one.dump());
      if (range.empty()) range = "any text";
    } else if (!lower.is_null() || !upper.is_null()) {
      range =
          fmt::format("{} to {}", lower.is_null() ? "" : lower.dump(), upper.is_null() ? "" : upper.dump());
    }
    table.push_back({row.name,
                     value.is_null()     ? ""
                     : value.is_string() ? value.get<std::string>()
                                         : value.dump(),
                     range, unit.is_string() ? unit.get<std::string>() : ""});
  }
  if (json) return Print(rows);
  fmt::print("{}", Table(table, {false, false, false, false}));
  fmt::print("\n{} types.\n", types.size());
}

void ListOperators(bool json) {
  Json rows = Json::array();
  std::vector<std::vector<std::string>> table = {{"code", "name", "operands"}};
  for (const OperatorInfo& info : AllOperators()) {
    const Json arity = info.arity == OperatorInfo::kAnyNumber ? Json("list") : Json(info.arity);
    rows.push_back({{"code", info.code()}, {"name", info.name}, {"arity", arity}});
    table.push_back(
        {std::to_string(info.code()), std::string(info.name), arity.is_string() ? "list" : arity.dump()});
  }
  if (json) return Print(rows);
  fmt::print("{}", Table(table, {true, false, false}));
}

}  // namespace

void AddListCommand(CLI::App& program, const ProgramOptions& options, Run& run) {
  CLI::App* command =
      program.add_subcommand("list", "The catalogue: models, procedures, option types, operators");
  const auto what = std::make_shared<std::string>();
  const auto json = std::make_shared<bool>(false);
  command->add_option("WHAT", *what, "models, procedures, types or operators")
      ->required()
      ->check(CLI::IsMember({"models", "procedures", "types", "operators"}));
  command->add_flag("--json", *json, "One JSON document on standard output");
  command->callback([=, &options, &run] {
    run = [=, &options] {
      if (*what == "operators") {
        ListOperators(*json);
        return 0;
      }
      const ModelLibraries& libraries = options.Libraries();
      if (*what == "models") ListModels(libraries, *json);
      if (*what == "procedures") ListProcedures(libraries, *json);
      if (*what == "types") ListTypes(libraries, *json);
      return 0;
    };
  });
}

}  // namespace quiver
