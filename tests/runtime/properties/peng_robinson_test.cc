// SPDX-License-Identifier: Apache-2.0
// The equation of state against its own thermodynamics: every derivative against differences, exact
// identities.
#include "runtime/properties/peng_robinson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "runtime/properties/cubic_roots.h"
#include "runtime/properties/property_package.h"
#include "tests/runtime/properties/expect_error.h"

namespace quiver {
namespace {

TEST(CubicRoots, are_found_over_many_orders_of_magnitude) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> exponent(-9, 2);
  for (int i = 0; i < 20000; ++i) {
    double r[] = {std::pow(10, exponent(random)), std::pow(10, exponent(random)),
                  std::pow(10, exponent(random))};
    std::sort(r, r + 3);
    if (r[1] < 1.01 * r[0] || r[2] < 1.01 * r[1]) continue;
    const CubicRoots found =
        SolveCubic(-(r[0] + r[1] + r[2]), r[0] * r[1] + r[2] * (r[0] + r[1]), -r[0] * r[1] * r[2]);
    ASSERT_EQ(found.count, 3) << r[0] << " " << r[1] << " " << r[2];
    // Close roots lose half the digits of the coefficients to their distance.
    for (int k = 0; k < 3; ++k)
      ASSERT_NEAR(found.values[k] / r[k], 1, 1e-9) << r[0] << " " << r[1] << " " << r[2];
  }
  EXPECT_EQ(SolveCubic(0, 1, -2).count, 1);  // (z - 1)(z^2 + z + 2)
  EXPECT_NEAR(SolveCubic(0, 1, -2).values[0], 1, 1e-15);
  EXPECT_NEAR(SolveCubic(-3, 3, -1).values[1], 1, 1e-5);  // triple root
}

struct Case {
  double temperature, pressure;
  Root root;
};
const Case kCases[] = {{300, 20e5, Root::kVapour},  {300, 20e5, Root::kLiquid},   {220, 100e5, Root::kLiquid},
                       {450, 300e5, Root::kVapour}, {373, 0.01e5, Root::kVapour}, {260, 80e5, Root::kStable}};
const std::vector<double> kX = {0.35, 0.2, 0.15, 0.3};

const PropertyPackage& Package() {
  static const PropertyPackage package({"methane", "CO2", "water", "n-pentane"});
  return package;
}

TEST(PengRobinson, fugacity_derivatives_and_gibbs_duhem) {
  const PengRobinson& eos = Package().equation_of_state();
  const std::size_t n = kX.size();
  PengRobinson::Workspace work;
  PengRobinson::Derivatives d;
  std::vector<double> up(n), down(n);
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.temperature << " K, " << c.pressure << " Pa");
    auto at = [&](double t, double p, const std::vector<double>& x, std::vector<double>& out) {
      eos.SetTemperature(t, work);
      eos.Fugacity(work, p, x, c.root, out);
    };
    const double ht = 1e-4 * c.temperature, hp = 1e-5 * c.pressure, hn = 1e-6;
    eos.SetTemperature(c.temperature, work);
    const EosState state = eos.FugacityDerivatives(work, c.pressure, kX, c.root, d);
    at(c.temperature, c.pressure, kX, up);
    for (std::size_t i = 0; i < n; ++i) EXPECT_NEAR(d.ln_phi[i], up[i], 1e-10 * (1 + std::abs(up[i])));
    at(c.temperature + ht, c.pressure, kX, up);
    at(c.temperature - ht, c.pressure, kX, down);
    for (std::size_t i = 0; i < n; ++i)
      EXPECT_NEAR(d.dT[i], (up[i] - down[i]) / (2 * ht), 2e-6 * std::abs(d.dT[i]) + 1e-9);
    at(c.temperature, c.pressure + hp, kX, up);
    at(c.temperature, c.pressure - hp, kX, down);
    double sum_dp = 0;
    for (std::size_t i = 0; i < n; ++i) {
      EXPECT_NEAR(d.dP[i] * c.pressure, (up[i] - down[i]) / (2 * hp) * c.pressure, 1e-6);
      sum_dp += kX[i] * d.dP[i];
    }
    // d(G_res/RT)/dP = V/RT - 1/P
    EXPECT_NEAR(sum_dp * c.pressure, state.volume * c.pressure / (kGasConstant * c.temperature) - 1, 1e-10);
    for (std::size_t j = 0; j < n; ++j) {
      auto moved = [&](double h) {
        std::vector<double> x = kX;
        x[j] += h;
        for (double& v : x) v /= 1 + h;
        return x;
      };
      at(c.temperature, c.pressure, moved(hn), up);
      at(c.temperature, c.pressure, moved(-hn), down);
      double gibbs_duhem = 0;
      for (std::size_t i = 0; i < n; ++i) {
        EXPECT_NEAR(d.dn[i * n + j], (up[i] - down[i]) / (2 * hn), 1e-6 * (1 + std::abs(d.dn[i * n + j])));
        EXPECT_EQ(d.dn[i * n + j], d.dn[j * n + i]);
        gibbs_duhem += kX[i] * d.dn[i * n + j];
      }
      EXPECT_NEAR(gibbs_duhem, 0, 1e-9);
    }
  }
}

TEST(PengRobinson, residual_properties_are_derivatives_of_one_gibbs_energy) {
  const PengRobinson& eos = Package().equation_of_state();
  PengRobinson::Workspace work;
  std::vector<double> ln_phi(kX.size());
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.temperature << " K, " << c.pressure << " Pa");
    auto at = [&](double t, double p) {
      eos.SetTemperature(t, work);
      return eos.Caloric(work, p, kX, c.root);
    };
    const EosState s = at(c.temperature, c.pressure);
    eos.Fugacity(work, c.pressure, kX, c.root, ln_phi);
    double gibbs = 0;
    for (std::size_t i = 0; i < kX.size(); ++i) gibbs += kX[i] * ln_phi[i];
    const double rt = kGasConstant * c.temperature;
    EXPECT_NEAR((s.residual_h - c.temperature * s.residual_s) / rt, gibbs, 1e-10 * (1 + std::abs(gibbs)));
    const double ht = 1e-4 * c.temperature, hp = 1e-4 * c.pressure;
    const EosState warm = at(c.temperature + ht, c.pressure), cold = at(c.temperature - ht, c.pressure);
    const EosState high = at(c.temperature, c.pressure + hp), low = at(c.temperature, c.pressure - hp);
    EXPECT_NEAR(s.residual_cp, (warm.residual_h - cold.residual_h) / (2 * ht),
                1e-5 * std::abs(s.residual_cp) + 0.01);
    EXPECT_NEAR(s.residual_cp / c.temperature, (warm.residual_s - cold.residual_s) / (2 * ht),
                1e-5 * std::abs(s.residual_cp / c.temperature) + 1e-4);
    EXPECT_NEAR(s.dV_dT, (warm.volume - cold.volume) / (2 * ht), 1e-5 * std::abs(s.dV_dT));
    EXPECT_NEAR(s.dV_dP, (high.volume - low.volume) / (2 * hp), 1e-5 * std::abs(s.dV_dP));
    EXPECT_NEAR(s.volume - c.temperature * s.dV_dT, (high.residual_h - low.residual_h) / (2 * hp),
                1e-5 * s.volume);
  }
}

// Clapeyron's equation ties vapour pressure, enthalpies and volumes together; it fails for any slip in one of
// them.
TEST(PengRobinson, clapeyron_along_the_vapour_pressure_curves) {
  for (const char* name : {"water", "propane", "CO2", "hydrogen", "n-decane", "methanol"}) {
    const PropertyPackage package({name});
    const PengRobinson& eos = package.equation_of_state();
    const std::vector<double> pure = {1.0};
    for (double tr : {0.5, 0.7, 0.85, 0.95, 0.99}) {
      const double t = tr * package.component(0).tc, h = 1e-4 * t;
      const double p = eos.PureVapourPressure(0, t);
      const double slope = (eos.PureVapourPressure(0, t + h) - eos.PureVapourPressure(0, t - h)) / (2 * h);
      const PhaseProperties v = package.Phase(PhaseKind::kVapour, t, p, pure),
                            l = package.Phase(PhaseKind::kLiquid, t, p, pure);
      const double expected = (v.enthalpy - l.enthalpy) / (t * (1 / v.molar_density - 1 / l.molar_density));
      EXPECT_NEAR(slope / expected, 1, 2e-5) << name << " at " << t;
      EXPECT_NEAR((v.enthalpy - l.enthalpy) / (t * (v.entropy - l.entropy)), 1, 1e-8) << name << " at " << t;
    }
  }
}

TEST(PengRobinson, critical_point_and_vapour_pressure_limits) {
  const PengRobinson propane({{"propane", 369.83, 4.248e6, 0.152}}, {0});
  PengRobinson::Workspace work;
  const double one[] = {1.0};
  propane.SetTemperature(369.83, work);
  EXPECT_NEAR(propane.Volume(work, 4.248e6, one, Root::kStable) * 4.248e6 / (kGasConstant * 369.83), 0.30740,
              2e-5);
  EXPECT_NEAR(propane.PureVapourPressure(0, 369.83 * (1 - 1e-7)) / 4.248e6, 1, 1e-6);
  EXPECT_NEAR(std::log10(propane.PureVapourPressure(0, 0.7 * 369.83) / 4.248e6), -1 - 0.152, 2e-3);  // omega
  EXPECT_EQ(
      ErrorOf([&] { propane.PureVapourPressure(0, 400); }),
      "propane has no vapour pressure at 400.00 K: its critical temperature is 369.83 K. Ask below that.");
}

}  // namespace
}  // namespace quiver
