// SPDX-License-Identifier: Apache-2.0
// Phase equilibria: conservation, equal fugacities, published bubble and dew points, round trips, and
// thousands of random points of mixtures as different as natural gas and wet solvents.
#include "runtime/properties/flash.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "runtime/properties/property_package.h"
#include "runtime/properties/stability.h"
#include "tests/runtime/properties/expect_error.h"

namespace quiver {
namespace {

struct Mixture {
  const char* name;
  std::vector<std::string> components;
  std::vector<double> z;
  double t_low, t_high, p_low, p_high;
  int most_phases;
};
// clang-format off
const Mixture kMixtures[] = {
    {"natural_gas",   {"N2", "CO2", "C1", "C2", "C3", "iC4", "nC4", "nC6"}, {.02, .03, .80, .08, .04, .01, .01, .01}, 150, 350, 1e5, 150e5, 2},
    {"lpg",           {"propane", "n-butane"},                              {.5, .5},                 230, 430, 1e5, 60e5, 2},
    {"wet_oil",       {"water", "methane", "propane", "n-hexane", "benzene"}, {.3, .3, .2, .1, .1},   280, 500, 1e5, 100e5, 3},
    {"near_critical_propane", {"propane", "ethane"},                        {.98, .02},               355, 372, 34e5, 46e5, 2},
    {"hydrogen_oil",  {"hydrogen", "methane", "n-hexane", "toluene"},       {.5, .2, .2, .1},         250, 500, 1e5, 200e5, 2},
    {"co2_methane",   {"CO2", "methane"},                                   {.5, .5},                 200, 320, 5e5, 100e5, 2},
    {"sour_gas",      {"CO2", "methane", "H2S", "ethane", "water"},         {.4, .3, .2, .05, .05},   200, 400, 5e5, 150e5, 3},
    {"wet_solvent",   {"methanol", "water", "propane", "n-pentane"},        {.3, .3, .2, .2},         260, 450, 1e5, 60e5, 3},
    {"gas_with_traces", {"methane", "n-decane", "water", "H2S"},             {.9999, 1e-5, 5e-5, 4e-5}, 190, 320, 1e5, 150e5, 3},
};
// clang-format on

class RandomPoints : public testing::TestWithParam<Mixture> {};

TEST_P(RandomPoints, balance_fugacities_and_gibbs_energy) {
  const Mixture& m = GetParam();
  const PropertyPackage package(m.components);
  std::mt19937 random(11);
  std::uniform_real_distribution<double> u(0, 1);
  int seen[4] = {};
  for (int k = 0; k < 300; ++k) {
    const double t = m.t_low + (m.t_high - m.t_low) * u(random),
                 p = m.p_low * std::pow(m.p_high / m.p_low, u(random));
    SCOPED_TRACE(testing::Message() << t << " K, " << p << " Pa");
    const FlashResult r = package.FlashTemperaturePressure(t, p, m.z);
    ++seen[r.phases.size()];
    PengRobinson::Workspace work;
    package.equation_of_state().SetTemperature(t, work);
    std::vector<double> first(m.z.size()), ln_phi(m.z.size());
    double total = 0, gibbs = 0;
    for (const EquilibriumPhase& phase : r.phases) {
      total += phase.fraction;
      package.equation_of_state().Fugacity(work, p, phase.x, phase.root, ln_phi);
      for (std::size_t i = 0; i < m.z.size(); ++i) {
        const double ln_f = ln_phi[i] + std::log(phase.x[i]);
        gibbs += phase.fraction * phase.x[i] * ln_f;
        if (&phase == &r.phases[0]) first[i] = ln_f;
        ASSERT_NEAR(ln_f, first[i], 1e-10 * std::max(1.0, std::abs(ln_f)));
      }
    }
    ASSERT_NEAR(total, 1, 1e-12);
    for (std::size_t i = 0; i < m.z.size(); ++i) {
      double sum = 0;
      for (const EquilibriumPhase& phase : r.phases) sum += phase.fraction * phase.x[i];
      ASSERT_NEAR(sum, m.z[i], 1e-12);
    }
    // No phase is one of the others over again, and none is unstable against yet another.
    std::vector<double> compositions;
    for (const EquilibriumPhase& phase : r.phases) {
      for (const EquilibriumPhase& other : r.phases) {
        double apart = 0;
        for (std::size_t i = 0; i < m.z.size(); ++i)
          apart = std::max(apart, std::abs(phase.x[i] - other.x[i]));
        ASSERT_TRUE(&phase == &other || apart > 1e-6);
      }
      compositions.insert(compositions.end(), phase.x.begin(), phase.x.end());
    }
    StabilityTest stability(package.equation_of_state(), work);
    for (const EquilibriumPhase& phase : r.phases)
      for (auto starts : {StabilityTest::kWilson, StabilityTest::kPure})
        ASSERT_FALSE(stability.FindUnstable(p, phase.x, compositions, starts));
    double whole = 0;
    package.equation_of_state().Fugacity(work, p, m.z, Root::kStable, ln_phi);
    for (std::size_t i = 0; i < m.z.size(); ++i) whole += m.z[i] * (std::log(m.z[i]) + ln_phi[i]);
    ASSERT_LE(gibbs, whole + 1e-12 * std::abs(whole));
    if (r.phases.size() > 1) {
      ASSERT_LT(gibbs, whole);
    }
  }
  EXPECT_GT(seen[1], 0);
  EXPECT_GT(seen[2], 0);
  EXPECT_EQ(seen[3] > 0, m.most_phases == 3);
}

TEST_P(RandomPoints, enthalpy_and_entropy_lead_back) {
  const Mixture& m = GetParam();
  const PropertyPackage package(m.components);
  for (int i = 0; i < 6; ++i)
    for (int j = 0; j < 4; ++j) {
      const double t = m.t_low + (m.t_high - m.t_low) * (i + 0.4) / 6,
                   p = m.p_low * std::pow(m.p_high / m.p_low, (j + 0.5) / 4);
      SCOPED_TRACE(testing::Message() << t << " K, " << p << " Pa");
      const FlashResult r = package.FlashTemperaturePressure(t, p, m.z);
      const double h = package.Enthalpy(r), s = package.Entropy(r);
      const FlashResult by_h = package.FlashPressureEnthalpy(p, h, m.z),
                        by_s = package.FlashPressureEntropy(p, s, m.z);
      EXPECT_NEAR(by_h.temperature, t, 1e-5);
      EXPECT_NEAR(by_s.temperature, t, 1e-5);
      EXPECT_NEAR(package.Enthalpy(by_h), h, 1e-9 * std::abs(h));
      EXPECT_NEAR(by_h.vapour_fraction(), r.vapour_fraction(), 1e-5);
    }
}

// Walks the line of each vapour fraction through temperature; where there is such a point, the flash at its
// temperature and pressure finds the same split.
TEST_P(RandomPoints, vapour_fraction_leads_back) {
  const Mixture& m = GetParam();
  const PropertyPackage package(m.components);
  int found = 0;
  for (int i = 0; i < 12; ++i)
    for (double b : {0.0, 0.4, 1.0}) {
      const double t = m.t_low + (m.t_high - m.t_low) * (i + 0.5) / 12;
      FlashResult r;
      if (ErrorOf([&] { r = package.FlashTemperatureVapourFraction(t, b, m.z); }) != "no error") continue;
      ++found;
      SCOPED_TRACE(testing::Message() << t << " K, vapour fraction " << b << ", " << r.pressure << " Pa");
      if (b > 0 && b < 1) {
        EXPECT_NEAR(package.FlashTemperaturePressure(t, r.pressure, m.z).vapour_fraction(), b, 1e-7);
        if (r.pressure < m.p_high) {
          EXPECT_NEAR(package.FlashPressureVapourFraction(r.pressure, b, m.z).temperature, t, 1e-4);
        }
      } else {
        // Two phases on one side of the point, one fewer on the other.
        const std::size_t below =
            package.FlashTemperaturePressure(t, r.pressure * (1 - 1e-4), m.z).phases.size();
        const std::size_t above =
            package.FlashTemperaturePressure(t, r.pressure * (1 + 1e-4), m.z).phases.size();
        EXPECT_NE(below, above);
      }
    }
  EXPECT_GE(found, 5);
}

INSTANTIATE_TEST_SUITE_P(Flash, RandomPoints, testing::ValuesIn(kMixtures),
                         [](const auto& mixture) { return std::string(mixture.param.name); });

// Air as N2 0.7812, O2 0.2096, Ar 0.0092: bubble 78.90 K and dew 81.72 K at 1 atm (Lemmon and others, J.
// Phys. Chem. Ref. Data 29 (2000) 331). Benzene and toluene 1:1 at 1 atm boil at 92.1 degC with 71.3 %
// benzene in the vapour (Perry).
TEST(Flash, published_bubble_and_dew_points) {
  const PropertyPackage air({"N2", "O2", "Ar"});
  const double air_z[] = {0.7812, 0.2096, 0.0092};
  EXPECT_NEAR(air.FlashPressureVapourFraction(101325, 0, air_z).temperature, 78.90, 0.1);
  EXPECT_NEAR(air.FlashPressureVapourFraction(101325, 1, air_z).temperature, 81.72, 0.2);
  const PropertyPackage aromatics({"benzene", "toluene"});
  const double half[] = {0.5, 0.5};
  const FlashResult boil = aromatics.FlashPressureVapourFraction(101325, 0, half);
  EXPECT_NEAR(boil.temperature - 273.15, 92.1, 0.3);
  EXPECT_NEAR(boil.Find(PhaseKind::kVapour)->x[0], 0.713, 0.01);
}

// Water and benzene boil together at 69.25 degC and 1 atm (Perry): two components in three phases leave no
// freedom, so any amount of vapour is in balance there, and adding heat changes amounts, not the temperature.
TEST(Flash, heteroazeotrope_of_water_and_benzene) {
  const PropertyPackage package({"water", "benzene"});
  const double z[] = {0.5, 0.5};
  const FlashResult third = package.FlashPressureVapourFraction(101325, 0.3, z);
  ASSERT_EQ(third.phases.size(), 3u);
  EXPECT_NEAR(third.temperature - 273.15, 69.25, 0.4);
  EXPECT_NEAR(third.vapour_fraction(), 0.3, 1e-9);
  const FlashResult heated = package.FlashPressureEnthalpy(101325, package.Enthalpy(third) + 5e6, z);
  EXPECT_NEAR(heated.temperature, third.temperature, 1e-6);
  EXPECT_GT(heated.vapour_fraction(), 0.4);
  double water = 0;
  for (const EquilibriumPhase& p : heated.phases) water += p.fraction * p.x[0];
  EXPECT_NEAR(water, 0.5, 1e-9);
}

TEST(Flash, pure_component_boils_at_one_temperature) {
  const PropertyPackage water({"water"});
  const double one[] = {1.0};
  const FlashResult boiling = water.FlashPressureVapourFraction(2e5, 0.25, one);
  EXPECT_NEAR(water.FlashTemperatureVapourFraction(boiling.temperature, 0.6, one).pressure, 2e5, 1e-4);
  for (double fraction : {0.01, 0.25, 0.99}) {
    const FlashResult wet = water.FlashPressureVapourFraction(2e5, fraction, one);
    const FlashResult h = water.FlashPressureEnthalpy(2e5, water.Enthalpy(wet), one);
    const FlashResult s = water.FlashPressureEntropy(2e5, water.Entropy(wet), one);
    EXPECT_NEAR(h.temperature, boiling.temperature, 1e-9);
    EXPECT_NEAR(h.vapour_fraction(), fraction, 1e-7);
    EXPECT_NEAR(s.vapour_fraction(), fraction, 1e-7);
  }
}

// The two-phase region of this mixture closes near 368.97 K: the lines are followed to within 0.02 % of it.
TEST(Flash, bubble_and_dew_lines_meet_at_the_critical_point) {
  const PropertyPackage package({"propane", "ethane"});
  const double z[] = {0.98, 0.02};
  double last = 1e9;
  for (double t : {360.0, 365.0, 368.0, 368.7, 368.9}) {
    const FlashResult bubble = package.FlashTemperatureVapourFraction(t, 0, z);
    const FlashResult dew = package.FlashTemperatureVapourFraction(t, 1, z);
    EXPECT_GT(bubble.pressure, dew.pressure);
    EXPECT_LT(bubble.pressure - dew.pressure, last);
    last = bubble.pressure - dew.pressure;
    EXPECT_EQ(package.FlashTemperaturePressure(t, 0.5 * (bubble.pressure + dew.pressure), z).phases.size(),
              2u)
        << t;
  }
  EXPECT_EQ(ErrorOf([&] { package.FlashTemperatureVapourFraction(375, 0, z); }),
            "propane 0.98, ethane 0.02 has no pressure at which 0 of it is vapour at 375 K. Such a point "
            "exists only below "
            "the critical region; ask for a lower temperature.");
}

TEST(Flash, absent_components_change_nothing) {
  const PropertyPackage three({"methane", "water", "n-pentane"}), two({"methane", "n-pentane"});
  const FlashResult a = three.FlashTemperaturePressure(300, 20e5, std::vector<double>{3, 0, 2});
  const FlashResult b = two.FlashTemperaturePressure(300, 20e5, std::vector<double>{0.6, 0.4});
  ASSERT_EQ(a.phases.size(), 2u);
  EXPECT_NEAR(a.vapour_fraction(), b.vapour_fraction(), 1e-10);
  EXPECT_EQ(a.phases[0].x[1], 0);
}

// The hydrocarbon liquid and vapour have become one here; the split must not list that one twice.
TEST(Flash, beyond_a_critical_end_point_two_phases_are_left) {
  const PropertyPackage package({"water", "methane", "propane", "n-hexane", "benzene"});
  const std::vector<double> z = {.3, .3, .2, .1, .1};
  for (double p = 117e5; p < 122e5; p += 0.2e5)
    EXPECT_EQ(package.FlashTemperaturePressure(440.59, p, z).phases.size(), 2u);
  EXPECT_EQ(package.FlashTemperaturePressure(440.59, 115e5, z).phases.size(), 3u);
}

// Above the critical temperature there is no liquid, however dense the fluid; below it density decides.
TEST(Flash, lone_phases_are_named_by_the_rule) {
  const PropertyPackage package({"methane"});
  const double one[] = {1.0};
  auto kind = [&](double t, double p) { return package.FlashTemperaturePressure(t, p, one).phases[0].kind; };
  EXPECT_EQ(kind(300, 800e5), PhaseKind::kVapour);
  EXPECT_EQ(kind(180, 100e5), PhaseKind::kLiquid);
  EXPECT_EQ(kind(180, 20e5), PhaseKind::kVapour);
}

TEST(Flash, refuses_what_makes_no_sense) {
  const PropertyPackage package({"methane", "propane"});
  const std::vector<double> z = {0.5, 0.5};
  EXPECT_EQ(
      ErrorOf([&] { package.FlashTemperaturePressure(300, -1e5, z); }),
      "Properties were asked for at a pressure of -1 bar. Keep the pressure above 0 and below 100000 bar.");
  EXPECT_EQ(ErrorOf([&] { package.FlashTemperaturePressure(std::nan(""), 1e5, z); }),
            "Properties were asked for at nan K. Keep the temperature between 2 and 3000 K.");
  EXPECT_EQ(ErrorOf([&] {
              package.FlashTemperaturePressure(300, 1e5, std::vector<double>{0.5, -0.5});
            }),
            "The mole fraction of propane is -0.5. Give a number of 0 or more.");
  EXPECT_EQ(ErrorOf([&] { package.FlashTemperatureVapourFraction(200, 1.5, z); }),
            "A vapour fraction of 1.5 was asked for. Give a number from 0 to 1.");
  EXPECT_THAT(ErrorOf([&] { package.FlashPressureEnthalpy(1e5, 1e12, z); }),
              testing::HasSubstr("it is too high. Give less."));
}

}  // namespace
}  // namespace quiver
