// SPDX-License-Identifier: Apache-2.0
// quiver props --components A,B --T 300 K --P 5 bar [--z 0.4,0.6]
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "cli/command.h"
#include "cli/json_output.h"
#include "runtime/contract/error.h"
#include "runtime/io/quantity_text.h"
#include "runtime/io/units.h"
#include "runtime/properties/property_table.h"

namespace quiver {
namespace {

double ReadQuantity(const std::string& text, const char* option, const char* unit) {
  const auto quantity = SplitQuantity(text);
  if (!quantity)
    throw Error(
        fmt::format("{} {}: not a number with a unit, such as \"300 K\" or \"5 bar\".", option, text));
  return quantity->unit.empty() ? quantity->value : ConvertUnit(quantity->value, quantity->unit, unit);
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> parts;
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find(',', start), text.size());
    std::string part = text.substr(start, end - start);
    part.erase(0, part.find_first_not_of(' '));
    part.erase(part.find_last_not_of(' ') + 1);
    if (!part.empty()) parts.push_back(part);
    start = end + 1;
  }
  return parts;
}

std::vector<double> ReadFractions(const std::string& text, size_t count) {
  std::vector<double> z;
  for (const std::string& part : SplitAtCommas(text)) {
    const auto value = ParseReal(part);
    if (!value) throw Error(fmt::format("--z {}: {} is not a number.", text, part));
    z.push_back(*value);
  }
  if (z.empty()) z.assign(count, 1.0 / static_cast<double>(count));
  if (z.size() != count) throw Error(fmt::format("--z has {} fractions for {} components.", z.size(), count));
  return z;
}

Json TableJson(const PropertyTable& table) {
  Json document = {{"T", table.temperature_celsius}, {"P", table.pressure_bar},
                   {"components", table.components}, {"z", table.feed},
                   {"phases", Json::array()},        {"enthalpy", table.enthalpy},
                   {"entropy", table.entropy},       {"notes", table.notes}};
  for (size_t k = 0; k < table.phases.size(); ++k) {
    Json phase = {{"phase", table.phases[k]}, {"composition", table.compositions[k]}};
    for (const PropertyTableRow& row : table.rows) phase[row.key] = NumberOrNull(row.values[k]);
    document["phases"].push_back(std::move(phase));
  }
  Json units = Json::object();
  for (const PropertyTableRow& row : table.rows) units[row.key] = row.unit;
  document["units"] = std::move(units);
  return document;
}

}  // namespace

void AddPropsCommand(CLI::App& program, const ProgramOptions&, Run& run) {
  CLI::App* command =
      program.add_subcommand("props", "Physical properties of a mixture, with the phases found");
  struct Request {
    std::string components, temperature, pressure, fractions;
    bool json = false;
  };
  const auto request = std::make_shared<Request>();
  command->add_option("--components", request->components, "Names of the components, separated by commas")
      ->type_name("A,B")
      ->required();
  command->add_option("--T", request->temperature, "Temperature, in C unless a unit follows")->required();
  command->add_option("--P", request->pressure, "Pressure, in bar unless a unit follows")->required();
  command->add_option("--z", request->fractions, "Mole fractions; equal ones when left out")
      ->type_name("X,Y");
  command->add_flag("--json", request->json, "One JSON document on standard output");
  command->callback([=, &run] {
    run = [=] {
      const double temperature = ReadQuantity(request->temperature, "--T", "degC") + kZeroCelsius;
      const double pressure = ReadQuantity(request->pressure, "--P", "bar") * kPascalPerBar;
      const std::vector<std::string> names = SplitAtCommas(request->components);
      if (names.empty()) throw Error("--components names no component.");
      const PropertyPackage package{std::span<const std::string>(names)};
      const std::vector<double> z = ReadFractions(request->fractions, names.size());
      const PropertyTable table = MakePropertyTable(package, temperature, pressure, z);
      if (request->json)
        Print(TableJson(table));
      else
        fmt::print("{}", FormatPropertyTable(table));
      return 0;
    };
  });
}

}  // namespace quiver
