// SPDX-License-Identifier: Apache-2.0
// The built-in tables: read whole, found by every name, evaluated right inside and outside the ranges.
#include "runtime/properties/component_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "runtime/properties/embedded_tables.h"
#include "tests/runtime/properties/expect_error.h"

namespace quiver {
namespace {

std::string FileText(const char* name) {
  std::ifstream file(std::string(QUIVER_SOURCE_DIR "/data/") + name, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(ComponentData, embedded_tables_are_the_files) {
  EXPECT_EQ(EmbeddedComponents(), FileText("components.csv"));
  EXPECT_EQ(EmbeddedInteractions(), FileText("kij.csv"));
}

TEST(ComponentData, every_row_is_there_under_name_and_cas) {
  ASSERT_EQ(Components().size(), 119u);
  for (const Component& c : Components()) {
    EXPECT_EQ(&FindComponent(c.name), &c) << c.name;
    EXPECT_EQ(&FindComponent(c.cas), &c) << c.cas;
    for (const std::string& alias : AliasesOf(c)) EXPECT_EQ(&FindComponent(alias), &c) << alias;
    EXPECT_GT(c.molar_mass, 1);
    EXPECT_GT(c.rackett, 0.15);
    for (const PropertyRow& p : PropertyRows())
      EXPECT_EQ(c.correlation(p.property).available(),
                c.name != "air" || p.property != Property::kSurfaceTension)
          << c.name << " " << p.name;
  }
}

TEST(ComponentData, common_names) {
  const std::pair<const char*, const char*> names[] = {
      {"N2", "nitrogen"},
      {"h2o", "water"},
      {"STEAM", "water"},
      {"Co", "carbon monoxide"},
      {"n butane", "n-butane"},
      {"iC4", "isobutane"},
      {"C3H8", "propane"},
      {"mea", "monoethanolamine (MEA)"},
      {"13-butadiene", "1,3-butadiene"},
      {"propene", "propylene"},
      {"SO2", "sulfur dioxide"},
      {"r134a", "R-134a (1,1,1,2-tetrafluoroethane)"},
      {"2,2,4-trimethylpentane", "isooctane (2,2,4-trimethylpentane)"},
      {"hydrogen sulphide", "hydrogen sulfide"}};
  for (const auto& [given, name] : names) EXPECT_EQ(FindComponent(given).name, name) << given;
}

TEST(ComponentData, unknown_and_ambiguous_names_are_explained) {
  EXPECT_EQ(ErrorOf([] { FindComponent("C4H10"); }),
            "C4H10 is the formula of several components: n-butane, isobutane. Give one of these names.");
  EXPECT_EQ(ErrorOf([] { FindComponent("metane"); }).substr(0, 56),
            "No component is called metane. Near names: methane, etha");
  EXPECT_THAT(ErrorOf([] { FindComponent("hexan"); }), testing::HasSubstr("n-hexane"));
  EXPECT_THAT(ErrorOf([] { FindComponent("?!"); }), testing::HasSubstr("119 components"));
  EXPECT_EQ(ErrorOf([] { Evaluate(FindComponent("air"), Property::kSurfaceTension, 80); }),
            "air has no surface tension in the component table. Choose another component (nitrogen, oxygen "
            "and argon "
            "instead of air).");
}

TEST(ComponentData, interaction_parameters_are_those_of_the_table_both_ways) {
  std::istringstream file(FileText("kij.csv"));
  std::string line;
  int compared = 0;
  std::getline(file, line);
  while (std::getline(file, line)) {
    if (line.find('"') != std::string::npos) continue;  // names with commas
    std::vector<std::string> field;
    std::istringstream row(line);
    for (std::string f; std::getline(row, f, ',');) field.push_back(f);
    const Component &i = FindComponent(field[0]), &j = FindComponent(field[1]);
    EXPECT_EQ(InteractionParameter(i, j), std::stod(field[4])) << line;
    EXPECT_EQ(InteractionParameter(j, i), InteractionParameter(i, j));
    ++compared;
  }
  EXPECT_GT(compared, 1200);
  EXPECT_EQ(InteractionParameter(FindComponent("water"), FindComponent("water")), 0);
}

// Every correlation of every component: derivative against differences, and no step where the continuation
// begins.
TEST(ComponentData, derivatives_and_continuations_of_all_correlations) {
  for (const Component& c : Components())
    for (const PropertyRow& p : PropertyRows()) {
      const Correlation& k = c.correlation(p.property);
      if (!k.available()) continue;
      const double span = k.t_max - k.t_min;
      for (double t : {k.t_min - 0.1 * span, k.t_min + 0.01 * span, k.t_min + 0.4 * span,
                       k.t_max - 0.05 * span, k.t_max + 0.3 * span}) {
        if (t < 1) continue;
        const double h = 1e-5 * t;
        const CorrelationValue v = Evaluate(k, t);
        const double difference = (Evaluate(k, t + h).value - Evaluate(k, t - h).value) / (2 * h);
        EXPECT_NEAR(v.dT, difference, 1e-6 * (std::abs(difference) + std::abs(v.value) / span))
            << p.name << " of " << c.name << " at " << t;
        EXPECT_EQ(v.in_range, t >= k.t_min && t <= k.t_max);
        // The coefficients given for diethylene glycol turn its surface tension negative in the last 40 K.
        if (p.property == Property::kSurfaceTension && c.name == "diethylene glycol") continue;
        EXPECT_GE(v.value, 0) << p.name << " of " << c.name << " at " << t;
      }
      for (double end : {k.t_min, k.t_max}) {
        const double scale = Evaluate(k, 0.5 * (k.t_min + k.t_max)).value;
        const double step = Evaluate(k, end * (1 + 1e-13)).value - Evaluate(k, end * (1 - 1e-13)).value;
        // Surface tension and heat of vaporisation end at tc: 0 there, and infinitely steep before.
        if (p.above == Continuation::kVanishAtTc && end >= c.tc) continue;
        EXPECT_LT(std::abs(step), 2e-3 * scale) << p.name << " of " << c.name << " at " << end;
      }
    }
}

// Reference values: IAPWS for water, reference equations of state and handbook values for the rest
// (data/README.md).
TEST(ComponentData, handbook_values) {
  struct Row {
    const char* name;
    Property property;
    double t, value, tolerance;
  };
  // clang-format off
  const Row rows[] = {
      {"water",   Property::kVapourPressure,     373.15, 101.42e3,  0.001}, {"water",    Property::kVapourPressure, 298.15, 3169.9, 0.002},
      {"water",   Property::kVaporisation,       373.15, 2256.5e3 * 18.01528, 0.003}, {"water", Property::kLiquidCp, 298.15, 4181.3 * 18.01528, 0.004},
      {"water",   Property::kLiquidViscosity,    298.15, 0.89e-3,   0.01},  {"water",    Property::kLiquidConductivity, 298.15, 0.6065, 0.008},
      {"water",   Property::kSurfaceTension,     298.15, 71.97e-3,  0.002}, {"N2",       Property::kVapourViscosity, 300, 17.9e-6, 0.005},
      {"propane", Property::kVapourPressure,     300,    9.978e5,   0.002}, {"ammonia",  Property::kVapourPressure, 300, 10.617e5, 0.005},
      {"benzene", Property::kVapourPressure,     353.25, 101.3e3,   0.002}, {"toluene",  Property::kLiquidDensity, 293.15, 866.9 / 92.13843, 0.004},
      {"CO2",     Property::kIdealGasCp,         298.15, 37.13e3,   0.005}, {"benzene",  Property::kIdealGasCp, 298.15, 82.4e3, 0.004},
      {"methanol", Property::kVaporisation,      337.75, 35.2e6,    0.005}, {"ethanol",  Property::kVapourPressure, 351.45, 101.3e3, 0.007}};
  // clang-format on
  for (const Row& r : rows)
    EXPECT_NEAR(Evaluate(FindComponent(r.name), r.property, r.t).value / r.value, 1, r.tolerance)
        << RowOf(r.property).name << " of " << r.name;
}

}  // namespace
}  // namespace quiver
