// SPDX-License-Identifier: Apache-2.0
// Properties of phases against published values and against each other, and the table that shows them.
#include "runtime/properties/property_package.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "runtime/properties/property_table.h"
#include "tests/runtime/properties/expect_error.h"

namespace quiver {
namespace {

const std::vector<double> kPure = {1.0};

// Saturation values of the reference equations, rounded: Span and others (N2), Setzmann and Wagner (CH4), Span and Wagner
// (CO2), Lemmon and others (propane), Tillner-Roth and Baehr (R-134a), IAPWS-95 (water), Tillner-Roth (ammonia).
// Tolerances are what this model is worth, not what the reference is.
TEST(PropertyPackage, saturation_of_pure_fluids) {
  struct Row {
    const char* name;
    double t, p, liquid, vapour, heat;
    double tol_p, tol_liquid, tol_vapour, tol_heat;
  };
  // clang-format off
  const Row rows[] = {
      // K, bar, kg/m3, kg/m3, kJ/kg
      {"N2", 77.355, 1.01325, 806.08, 4.6121, 199.18, 0.003, 0.003, 0.005, 0.01},
      {"methane", 111.667, 1.01325, 422.36, 1.8164, 510.83, 0.008, 0.003, 0.005, 0.01},
      {"CO2", 273.15, 34.851, 927.43, 97.647, 230.89, 0.005, 0.015, 0.015, 0.015},
      {"propane", 300, 9.978, 489.5, 21.63, 333.0, 0.003, 0.003, 0.005, 0.01},
      {"R-134a", 298.15, 6.6538, 1206.7, 32.35, 177.8, 0.003, 0.003, 0.02, 0.015},
      {"water", 373.124, 1.01325, 958.37, 0.5977, 2256.5, 0.003, 0.001, 0.007, 0.01},
      {"ammonia", 298.15, 10.032, 602.8, 7.807, 1165.8, 0.004, 0.004, 0.035, 0.03}};
  // clang-format on
  for (const Row& r : rows) {
    const PropertyPackage package({r.name});
    const FlashResult f = package.FlashTemperatureVapourFraction(r.t, 0.5, kPure);
    const PhaseProperties v = package.Phase(f.phases[0], r.t, f.pressure),
                          l = package.Phase(f.phases[1], r.t, f.pressure);
    EXPECT_NEAR(f.pressure / 1e5 / r.p, 1, r.tol_p) << r.name;
    EXPECT_NEAR(l.mass_density / r.liquid, 1, r.tol_liquid) << r.name;
    EXPECT_NEAR(v.mass_density / r.vapour, 1, r.tol_vapour) << r.name;
    EXPECT_NEAR((v.enthalpy - l.enthalpy) / v.molar_mass / 1e3 / r.heat, 1, r.tol_heat) << r.name;
  }
}

// What the two refinements of the pure components promise, for every component: saturated liquid density to 0.85 Tc, and
// the boiling pressure wherever the vapour-pressure correlation agrees with the critical point.
TEST(PropertyPackage, every_component_boils_and_fills_as_its_correlations_say) {
  int boils = 0;
  for (const Component& c : Components()) {
    const PropertyPackage package({c.name});
    const PengRobinson& eos = package.equation_of_state();
    const Correlation &psat = c.correlation(Property::kVapourPressure),
                      &rho = c.correlation(Property::kLiquidDensity);
    const bool sound = std::abs(std::log(Evaluate(psat, c.tc).value / c.pc)) < 0.1;
    boils += sound;
    for (double tr = 0.45; tr < 0.85; tr += 0.05) {
      const double t = tr * c.tc, p = eos.PureVapourPressure(0, t);
      if (sound && t > psat.t_min) {
        EXPECT_NEAR(p / Evaluate(psat, t).value, 1, 0.025) << c.name << " at " << t;
      }
      if (t > rho.t_min) {
        EXPECT_NEAR(package.Phase(PhaseKind::kLiquid, t, p, kPure).molar_density / Evaluate(rho, t).value, 1,
                    0.002)
            << c.name << " at " << t;
      }
    }
  }
  EXPECT_GE(boils, 110);
}

// Both refinements are curves of pieces: enthalpy and heat capacity must not notice the joints.
TEST(PropertyPackage, no_steps_along_temperature) {
  const PropertyPackage water({"water"});
  PhaseProperties last = water.Phase(PhaseKind::kLiquid, 200, 300e5, kPure);
  for (double t = 200.1; t < 1500; t += 0.1) {
    const PhaseProperties p = water.Phase(PhaseKind::kLiquid, t, 300e5, kPure);
    ASSERT_NEAR((p.enthalpy - last.enthalpy) / 0.1, 0.5 * (p.cp + last.cp), 2e-4 * p.cp) << t;
    ASSERT_NEAR(p.cp / last.cp, 1, 0.01) << t;
    last = p;
  }
}

// Steam tables (IAPWS-IF97): h and s between 300 degC, 1 bar and two other states, and their volumes. Near saturation
// steam associates, which a cubic equation does not know: at 200 degC and 10 bar half of the departure is missing.
TEST(PropertyPackage, superheated_steam) {
  const PropertyPackage steam({"steam"});
  auto at = [&](double celsius, double bar) {
    return steam.Phase(PhaseKind::kVapour, celsius + 273.15, bar * 1e5, kPure);
  };
  const PhaseProperties base = at(300, 1), hot = at(400, 40), wet = at(200, 10);
  const double m = base.molar_mass * 1e3;
  EXPECT_NEAR(1 / base.mass_density, 2.6389, 0.003);
  EXPECT_NEAR((hot.enthalpy - base.enthalpy) / m, 3214.5 - 3074.5, 5);
  EXPECT_NEAR((hot.entropy - base.entropy) / m, 6.7714 - 8.2172, 0.005);
  EXPECT_NEAR(1 / hot.mass_density, 0.07343, 0.0011);
  EXPECT_NEAR((wet.enthalpy - base.enthalpy) / m, 2828.3 - 3074.5, 25);
  EXPECT_NEAR(base.cp / m, 2.0121, 0.025);
}

// Nitrogen at 300 K (Span and others): cp 1.0414, cv 0.7434 kJ/kg/K and 353.2 m/s at 1 bar. Air as a mixture
// at 300 K and 1 bar: 18.46 uPa s and 0.0263 W/m/K (Incropera). Burning methane: 802.3 MJ/kmol of net heat.
TEST(PropertyPackage, gases_at_room_temperature) {
  const PropertyPackage package({"N2", "O2", "Ar"});
  const std::vector<double> n2 = {1, 0, 0}, air = {0.7812, 0.2096, 0.0092};
  const PhaseProperties p = package.Phase(PhaseKind::kVapour, 300, 1e5, n2);
  EXPECT_NEAR(p.cp / p.molar_mass, 1041.4, 4);
  EXPECT_NEAR(p.cv / p.molar_mass, 743.4, 4);
  EXPECT_NEAR(p.speed_of_sound, 353.2, 0.7);
  EXPECT_NEAR(p.isentropic_exponent, 1.400, 0.003);
  EXPECT_NEAR(package.Viscosity(PhaseKind::kVapour, 300, 1e5, air) * 1e6, 18.46, 0.25);
  EXPECT_NEAR(package.Conductivity(PhaseKind::kVapour, 300, 1e5, air), 0.0263, 0.0006);
  auto formation = [](const char* name) { return FindComponent(name).formation_enthalpy; };
  EXPECT_NEAR((formation("CO2") + 2 * formation("water") - formation("methane")) / 1e6, -802.3, 0.5);
  EXPECT_NEAR(PropertyPackage({"methane"}).IdealGasMixture(298.15, kPure).enthalpy, formation("methane"), 1);
}

// Cp of the ideal gas is the correlation, its integrals are the integrals: against the polynomial that two
// components have.
TEST(PropertyPackage, ideal_gas_integrals_of_a_polynomial) {
  for (const Component& c : Components()) {
    const Correlation& k = c.correlation(Property::kIdealGasCp);
    if (k.equation != 100) continue;
    const IdealGas gas(c);
    const double t = std::min(900.0, 0.9 * k.t_max), t0 = kReferenceTemperature;
    double h = 0, s = k.coefficients[0] * std::log(t / t0);
    for (int i = 0; i < 5; ++i) h += k.coefficients[i] * (std::pow(t, i + 1) - std::pow(t0, i + 1)) / (i + 1);
    for (int i = 1; i < 5; ++i) s += k.coefficients[i] * (std::pow(t, i) - std::pow(t0, i)) / i;
    const IdealGasValue v = gas.At(IdealGas::Place(t));
    EXPECT_NEAR(v.enthalpy - c.formation_enthalpy, h, 1e-9 * h) << c.name;
    EXPECT_NEAR(v.entropy - c.absolute_entropy, s, 1e-9 * s) << c.name;
    EXPECT_NEAR(v.cp, Evaluate(k, t).value, 1e-7 * v.cp) << c.name;
  }
}

TEST(PropertyPackage, derivatives_of_both_phases) {
  const PropertyPackage package({"methane", "propane", "n-hexane"});
  const std::vector<double> x = {0.3, 0.3, 0.4}, y = {0.8, 0.17, 0.03};
  const double t = 310, p = 30e5, ht = 0.01, hp = 100;
  for (PhaseKind kind : {PhaseKind::kVapour, PhaseKind::kLiquid}) {
    const std::vector<double>& z = kind == PhaseKind::kVapour ? y : x;
    auto at = [&](double dt, double dp) { return package.Phase(kind, t + dt, p + dp, z); };
    const PhaseProperties s = at(0, 0), warm = at(ht, 0), cold = at(-ht, 0), high = at(0, hp),
                          low = at(0, -hp);
    EXPECT_NEAR((warm.enthalpy - cold.enthalpy) / (2 * ht) / s.cp, 1, 1e-7);
    EXPECT_NEAR((warm.entropy - cold.entropy) / (2 * ht) / (s.cp / t), 1, 1e-7);
    EXPECT_NEAR((high.enthalpy - low.enthalpy) / (2 * hp) / s.enthalpy_dP, 1, 1e-4);
    EXPECT_NEAR((high.entropy - low.entropy) / (2 * hp) / s.entropy_dP, 1, 1e-4);
    EXPECT_NEAR((warm.molar_density - cold.molar_density) / (2 * ht) / s.molar_density_dT, 1, 1e-6);
    EXPECT_NEAR((high.molar_density - low.molar_density) / (2 * hp) / s.molar_density_dP, 1, 1e-5);
    // Speed of sound squared is dP/d(rho) at constant entropy: step along the isentrope.
    const double dt = -s.entropy_dP * 2 * hp / (s.cp / t);
    const PhaseProperties a = at(-0.5 * dt, -hp), b = at(0.5 * dt, hp);
    EXPECT_NEAR(2 * hp / (b.mass_density - a.mass_density) / (s.speed_of_sound * s.speed_of_sound), 1, 1e-4);

    const PartialMolar partial = package.Partial(kind, t, p, z);
    double h = 0, v = 0;
    for (std::size_t i = 0; i < z.size(); ++i) {
      h += z[i] * partial.enthalpy[i];
      v += z[i] * partial.volume[i];
      std::vector<double> up = z, down = z;
      up[i] += 1e-5;
      down[i] -= 1e-5;
      const double difference =
          (package.Phase(kind, t, p, up).enthalpy - package.Phase(kind, t, p, down).enthalpy) / 2e-5;
      EXPECT_NEAR(difference, partial.enthalpy[i] - s.enthalpy, 1e-4 * std::abs(difference) + 20);
    }
    EXPECT_NEAR(h / s.enthalpy, 1, 1e-10);
    EXPECT_NEAR(v * s.molar_density, 1, 1e-10);
  }
}

TEST(PropertyPackage, asked_for_a_phase_that_is_not_there) {
  const PropertyPackage package({"methane"});
  EXPECT_TRUE(package.Phase(PhaseKind::kLiquid, 300, 50e5, kPure).only_root);
  EXPECT_FALSE(package.Phase(PhaseKind::kVapour, 300, 50e5, kPure).only_root);
}

TEST(PropertyPackage, transport_of_mixtures_meets_the_pure_limits) {
  const PropertyPackage package({"water", "methanol", "methane"});
  const std::vector<double> water = {1, 0, 0}, both = {0.5, 0.5, 0};
  EXPECT_NEAR(package.Viscosity(PhaseKind::kLiquid, 298.15, 1e5, water), 0.89e-3, 0.01e-3);
  EXPECT_NEAR(package.Conductivity(PhaseKind::kLiquid, 298.15, 1e5, water), 0.6065, 0.006);
  EXPECT_NEAR(package.SurfaceTension(298.15, water), 0.07197, 0.0003);
  const double mixed = package.SurfaceTension(298.15, both);
  EXPECT_GT(mixed, 0.0222);  // methanol
  EXPECT_LT(mixed, 0.072);
  std::vector<double> psat(3), gamma(3);
  package.VapourPressures(373.15, psat);
  EXPECT_NEAR(psat[0], 101.42e3, 100);
  package.ActivityCoefficients(300, 1e5, both, gamma);
  EXPECT_EQ(gamma, (std::vector<double>{1, 1, 1}));
  PropertyOptions options;
  options.activity = ActivityModel::kEquationOfState;
  const PropertyPackage real({"water", "benzene"}, options);
  std::vector<double> real_gamma(2);
  real.ActivityCoefficients(300, 1e5, std::vector<double>{1e-9, 1}, real_gamma);
  EXPECT_GT(real_gamma[0], 50);  // water hardly dissolves in benzene
  EXPECT_NEAR(real_gamma[1], 1, 1e-6);
  // Dense gas: nothing at zero density, rising from there, without a step.
  double last = package.Viscosity(PhaseKind::kVapour, 400, 1, {{0, 0, 1}});
  EXPECT_NEAR(last, Evaluate(FindComponent("methane"), Property::kVapourViscosity, 400).value, 1e-11);
  for (double p = 1e5; p < 1e9; p *= 1.05) {
    const double mu = package.Viscosity(PhaseKind::kVapour, 400, p, {{0, 0, 1}});
    EXPECT_GT(mu, last);
    EXPECT_LT(mu, 1.05 * last);
    last = mu;
  }
}

TEST(PropertyPackage, threads_get_the_same_numbers) {
  const PropertyPackage a({"methane", "propane", "n-hexane"}), b({"water"});
  const std::vector<double> z = {0.3, 0.3, 0.4};
  auto work = [&] {
    double sum = 0;
    for (int i = 0; i < 40; ++i) {
      const FlashResult r = a.FlashTemperaturePressure(300 + i, 20e5, z);
      sum += a.Enthalpy(r) + b.Phase(PhaseKind::kVapour, 400 + i, 1e5, kPure).cp;
    }
    return sum;
  };
  const double expected = work();
  double found[4] = {};
  std::vector<std::thread> threads;
  for (double& f : found) threads.emplace_back([&] { f = work(); });
  for (std::thread& t : threads) t.join();
  for (double f : found) EXPECT_EQ(f, expected);
}

TEST(PropertyPackage, component_lists_are_checked) {
  EXPECT_EQ(ErrorOf([] {
              PropertyPackage({"water", "H2O"});
            }),
            "water stands twice in the component list (again as H2O). Leave one out.");
  EXPECT_EQ(ErrorOf([] { PropertyPackage(std::vector<std::string>{}); }),
            "The component list is empty. Name at least one component.");
  const PropertyPackage package({"water", "methanol"});
  EXPECT_EQ(ErrorOf([&] { package.Phase(PhaseKind::kLiquid, 300, 1e5, kPure); }),
            "1 mole fractions were given for 2 components. Give one for each.");
}

TEST(PropertyTable, adds_up_and_prints) {
  const PropertyPackage package({"water", "methane", "n-hexane"});
  const PropertyTable table = MakePropertyTable(package, 300, 10e5, std::vector<double>{2, 1, 1});
  ASSERT_EQ(table.phases, (std::vector<std::string>{"vapour", "liquid", "second liquid"}));
  EXPECT_EQ(table.feed, (std::vector<double>{0.5, 0.25, 0.25}));
  auto row = [&](const std::string& key) {
    for (const PropertyTableRow& r : table.rows)
      if (r.key == key) return r.values;
    return std::vector<double>();
  };
  double enthalpy = 0, total = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    total += row("fraction")[k];
    enthalpy += row("fraction")[k] * row("enthalpy")[k];
    EXPECT_NEAR(row("molar_density")[k] * row("molar_mass")[k], row("mass_density")[k], 1e-9);
  }
  EXPECT_NEAR(total, 1, 1e-12);
  EXPECT_NEAR(enthalpy, table.enthalpy, 1e-12);
  EXPECT_TRUE(std::isnan(row("surface_tension")[0]));
  const std::string text = FormatPropertyTable(table);
  for (const char* part : {"26.85 degC, 10 bar: 3 phases", "second liquid", "Surface tension", "n-hexane",
                           "The liquid viscosity of methane is known from"})
    EXPECT_THAT(text, testing::HasSubstr(part));
  // One row of numbers under the three headings.
  EXPECT_EQ(text.substr(text.find("Speed"), 14), "Speed of sound");
}

}  // namespace
}  // namespace quiver
