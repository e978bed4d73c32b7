// SPDX-License-Identifier: Apache-2.0
#include "runtime/properties/property_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/properties/property_error.h"

namespace quiver {
namespace {

struct Source {
  const PropertyPackage& package;
  const FlashResult& flash;
  const EquilibriumPhase& phase;
  PhaseProperties p;
};

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

double Tension(const Source& s) {
  if (s.phase.kind == PhaseKind::kVapour) return kNone;
  for (std::size_t i = 0; i < s.package.size(); ++i) {
    const Component& c = s.package.component(i);
    if (s.phase.x[i] > 0 && !c.correlation(Property::kSurfaceTension).available() &&
        s.flash.temperature < c.tc)
      return kNone;
  }
  return 1e3 * s.package.SurfaceTension(s.flash.temperature, s.phase.x);
}

struct RowSource {
  const char* key;
  const char* name;
  const char* unit;
  double (*value)(const Source&);
};
// clang-format off
constexpr RowSource kRows[] = {
    {"fraction",             "Fraction of the feed",  "kmol/kmol",  [](const Source& s) { return s.phase.fraction; }},
    {"molar_mass",           "Molar mass",            "kg/kmol",    [](const Source& s) { return s.p.molar_mass; }},
    {"mass_density",         "Density",               "kg/m3",      [](const Source& s) { return s.p.mass_density; }},
    {"molar_density",        "Molar density",         "kmol/m3",    [](const Source& s) { return s.p.molar_density; }},
    {"compressibility",      "Compressibility",       "",           [](const Source& s) { return s.p.compressibility; }},
    {"enthalpy",             "Enthalpy",              "GJ/kmol",    [](const Source& s) { return s.p.enthalpy / kJoulePerGigajoule; }},
    {"entropy",              "Entropy",               "kJ/kmol/K",  [](const Source& s) { return s.p.entropy / 1e3; }},
    {"cp",                   "Cp",                    "kJ/kmol/K",  [](const Source& s) { return s.p.cp / 1e3; }},
    {"cv",                   "Cv",                    "kJ/kmol/K",  [](const Source& s) { return s.p.cv / 1e3; }},
    {"isentropic_exponent",  "Isentropic exponent",   "",           [](const Source& s) { return s.p.isentropic_exponent; }},
    {"speed_of_sound",       "Speed of sound",        "m/s",        [](const Source& s) { return s.p.speed_of_sound; }},
    {"viscosity",            "Viscosity",             "cP",         [](const Source& s) { return 1e3 * s.package.Viscosity(s.phase.kind, s.flash.temperature, s.flash.pressure, s.phase.x); }},
    {"thermal_conductivity", "Thermal conductivity",  "W/m/K",      [](const Source& s) { return s.package.Conductivity(s.phase.kind, s.flash.temperature, s.flash.pressure, s.phase.x); }},
    {"surface_tension",      "Surface tension",       "mN/m",       Tension},
};
// clang-format on

// Which correlations are used outside their range by the phases present.
std::vector<std::string> RangeNotes(const PropertyPackage& package, const FlashResult& flash) {
  std::vector<std::string> notes;
  auto note = [&](const Component& c, Property p) {
    const Correlation& correlation = c.correlation(p);
    if (!correlation.available() || Evaluate(correlation, flash.temperature).in_range) return;
    notes.push_back(fmt::format(
        "The {} of {} is known from {:.1f} to {:.1f} degC; beyond that it is continued.", RowOf(p).name,
        c.name, correlation.t_min - kZeroCelsius, correlation.t_max - kZeroCelsius));
  };
  for (std::size_t i = 0; i < package.size(); ++i) {
    const Component& c = package.component(i);
    const auto holds = [&](const EquilibriumPhase& p) { return p.x[i] > 1e-6; };
    const bool in_vapour = std::ranges::any_of(
        flash.phases, [&](const EquilibriumPhase& p) { return p.kind == PhaseKind::kVapour && holds(p); });
    const bool in_liquid = std::ranges::any_of(
        flash.phases, [&](const EquilibriumPhase& p) { return p.kind != PhaseKind::kVapour && holds(p); });
    if (in_vapour || in_liquid) note(c, Property::kIdealGasCp);
    if (in_vapour) note(c, Property::kVapourViscosity), note(c, Property::kVapourConductivity);
    if (in_liquid) note(c, Property::kLiquidViscosity), note(c, Property::kLiquidConductivity);
  }
  return notes;
}

}  // namespace

PropertyTable MakePropertyTable(const PropertyPackage& package, const FlashResult& flash,
                                std::span<const double> z) {
  PropertyTable table;
  table.temperature_celsius = flash.temperature - kZeroCelsius;
  table.pressure_bar = flash.pressure / kPascalPerBar;
  double total = 0;
  for (double value : z) total += value;
  for (std::size_t i = 0; i < package.size(); ++i) {
    table.components.push_back(package.component(i).name);
    table.feed.push_back(z[i] / total);
  }
  for (const RowSource& row : kRows) table.rows.push_back({row.key, row.name, row.unit, {}});
  for (const EquilibriumPhase& phase : flash.phases) {
    table.phases.push_back(NameOf(phase.kind));
    table.compositions.push_back(phase.x);
    const Source source{package, flash, phase, package.Phase(phase, flash.temperature, flash.pressure)};
    for (std::size_t r = 0; r < std::size(kRows); ++r) table.rows[r].values.push_back(kRows[r].value(source));
  }
  table.enthalpy = package.Enthalpy(flash) / kJoulePerGigajoule;
  table.entropy = package.Entropy(flash) / 1e3;
  table.notes = RangeNotes(package, flash);
  return table;
}

PropertyTable MakePropertyTable(const PropertyPackage& package, double temperature, double pressure,
                                std::span<const double> z) {
  return MakePropertyTable(package, package.FlashTemperaturePressure(temperature, pressure, z), z);
}

std::string FormatPropertyTable(const PropertyTable& table) {
  constexpr int kColumn = 15;
  std::size_t label = 24;
  for (const std::string& c : table.components) label = std::max(label, c.size() + 2);
  auto number = [](double v) { return std::isnan(v) ? std::string("-") : fmt::format("{:.6g}", v); };
  std::string text =
      fmt::format("{:.6g} degC, {:.6g} bar: {} {}\n\n", table.temperature_celsius, table.pressure_bar,
                  table.phases.size(), table.phases.size() == 1 ? "phase" : "phases");
  text += fmt::format("{:<{}}{:<11}", "", label, "");
  for (const std::string& phase : table.phases) text += fmt::format("{:>{}}", phase, kColumn);
  text += "\n";
  for (const PropertyTableRow& row : table.rows) {
    text += fmt::format("{:<{}}{:<11}", row.name, label, row.unit);
    for (double v : row.values) text += fmt::format("{:>{}}", number(v), kColumn);
    text += "\n";
  }
  text += fmt::format("\n{:<{}}{:<11}", "Mole fractions", label, "feed");
  for (const std::string& phase : table.phases) text += fmt::format("{:>{}}", phase, kColumn);
  text += "\n";
  for (std::size_t i = 0; i < table.components.size(); ++i) {
    text += fmt::format("{:<{}}{:<11}", "  " + table.components[i], label, number(table.feed[i]));
    for (const auto& x : table.compositions) text += fmt::format("{:>{}}", number(x[i]), kColumn);
    text += "\n";
  }
  text += fmt::format("\nEnthalpy of the feed {:.8g} GJ/kmol, entropy {:.8g} kJ/kmol/K\n", table.enthalpy,
                      table.entropy);
  for (const std::string& note : table.notes) text += note + "\n";
  return text;
}

}  // namespace quiver
