// SPDX-License-Identifier: Apache-2.0
// The properties of a mixture at one temperature and pressure as a table: what `quiver props` shows.
//
//   PropertyTable table = MakePropertyTable(package, 300, 1e6, z);
//   std::cout << FormatPropertyTable(table);
//
// A table is plain numbers and texts in the units named with each row, so that a writer of JSON needs no
// knowledge of properties. A value that does not exist is a NaN (surface tension of a vapour).
#pragma once

#include <string>
#include <vector>

#include "runtime/properties/property_package.h"

namespace quiver {

struct PropertyTableRow {
  std::string key;             // "molar_density": stable, for programs
  std::string name;            // "Molar density"
  std::string unit;            // "kmol/m3"
  std::vector<double> values;  // parallel to PropertyTable::phases
};

struct PropertyTable {
  double temperature_celsius = 0;
  double pressure_bar = 0;
  std::vector<std::string> components;
  std::vector<double> feed;                       // normalised
  std::vector<std::string> phases;                // "vapour", "liquid", "second liquid"
  std::vector<std::vector<double>> compositions;  // one a phase
  std::vector<PropertyTableRow> rows;
  double enthalpy = 0;             // GJ/kmol of feed
  double entropy = 0;              // kJ/kmol/K of feed
  std::vector<std::string> notes;  // correlations used outside their range, and the like
};

PropertyTable MakePropertyTable(const PropertyPackage& package, double temperature, double pressure,
                                std::span<const double> z);
// The same for a flash already made.
PropertyTable MakePropertyTable(const PropertyPackage& package, const FlashResult& flash,
                                std::span<const double> z);

std::string FormatPropertyTable(const PropertyTable& table);

}  // namespace quiver
