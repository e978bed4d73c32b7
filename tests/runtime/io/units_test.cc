// SPDX-License-Identifier: Apache-2.0
// Units against published factors: NIST Special Publication 811 (2008), Appendix B.8, as printed there, so
// equal to within half a unit of the last digit given.
#include "runtime/io/units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace quiver {
namespace {

using ::testing::HasSubstr;

TEST(Units, AgreeWithThePublishedFactors) {
  const struct {
    const char* from;
    const char* to;
    double factor;
    double relative_error;
  } kCases[] = {
      {"psi", "Pa", 6.894757e3, 5e-7},
      {"kgf/cm2", "Pa", 9.80665e4, 0},
      {"atm", "bar", 1.01325, 0},
      {"torr", "Pa", 1.333224e2, 5e-7},
      {"in-water", "Pa", 2.490889e2, 5e-7},
      {"inHg", "kPa", 3.386389, 5e-7},
      {"Btu", "kJ", 1.055056, 5e-7},
      {"MMBtu/hr", "GJ/hr", 1.055056, 5e-7},
      {"Btu/hr", "W", 2.930711e-1, 5e-7},
      {"Btu/hr-ft2-F", "W/(m2 K)", 5.678263, 5e-7},
      {"Btu/lb-F", "kJ/kg/K", 4.1868, 1e-12},
      {"cal/mol-K", "J/(mol K)", 4.184, 1e-15},
      {"hp", "W", 7.456999e2, 5e-7},
      {"lb", "kg", 4.5359237e-1, 0},
      {"lb/hr", "kg/s", 1.259979e-4, 5e-7},
      {"lbmol/hr", "kmol/hr", 4.5359237e-1, 1e-15},
      {"short_ton", "kg", 9.071847e2, 5e-7},
      {"cP", "Pa s", 1e-3, 0},
      {"cSt", "m2/s", 1e-6, 1e-15},
      {"ft3", "m3", 2.831685e-2, 5e-7},
      {"ft3/min", "m3/s", 4.719474e-4, 5e-7},
      {"gal", "m3", 3.785412e-3, 5e-7},
      {"gpm", "m3/s", 6.309020e-5, 5e-7},
      {"bbl", "m3", 1.589873e-1, 5e-7},
      {"inch", "mm", 25.4, 1e-15},
      {"ft", "m", 0.3048, 0},
      {"rpm", "rad/s", 1.047198e-1, 5e-7},
      {"percent", "1", 0.01, 0},
      {"GJ/hr", "kW", 1e3 / 3.6, 1e-15},
      {"kmol/hr", "mol/s", 1 / 3.6, 1e-15},
      {"lb/ft3", "kg/m3", 1.601846e1, 5e-7},
      {"dyn/cm", "mN/m", 1, 1e-15},
      {"m\u00b3/h", "m3/hr", 1, 0},
      {"lbf/in2", "psi", 1, 1e-15},
      {"lb-mol", "kmol", 4.5359237e-1, 1e-15},
      {"kcal/kmol-K", "cal/mol-K", 1, 1e-15},
      // 22.413 969 54 m3/kmol at 0 degC and 101.325 kPa: CODATA 2018.
      {"kmol", "Nm3", 22.41396954, 1e-9},
      // 379.48 ft3/lbmol at 60 degF and 14.696 psia, the customary figure.
      {"lbmol", "scf", 379.48, 2e-5},
      {"MMscfd", "scf/day", 1e6, 1e-15},
  };
  for (const auto& test : kCases) {
    const double found = ConvertUnit(1, test.from, test.to);
    EXPECT_NEAR(found, test.factor, test.factor * (test.relative_error + 1e-15))
        << test.from << " to " << test.to;
    EXPECT_NEAR(ConvertUnit(found, test.to, test.from), 1, 1e-14) << test.to << " to " << test.from;
  }
}

TEST(Units, LevelsShiftAndDifferencesDoNot) {
  const struct {
    double value;
    const char* from;
    const char* to;
    double level, difference;
  } kCases[] = {
      {25, "degC", "K", 298.15, 25},
      {212, "F", "C", 100, 212 / 1.8},
      {491.67, "R", "degC", 0, 491.67 / 1.8},
      {-40, "deg F", "\u00b0C", -40, -40 / 1.8},
      {6, "barg", "bar", 7.01325, 6},
      {0, "psig", "kPa", 101.325, 0},
      {1, "psig", "barg", 0.06894757293, 0.06894757293},
      {2, "kgf/cm2g", "bar", 2.97458, 1.96133},
      {5, "barg", "barg", 5, 5},
      {5, "bara", "bar", 5, 5},
  };
  for (const auto& test : kCases) {
    EXPECT_NEAR(ConvertUnit(test.value, test.from, test.to), test.level, 1e-10) << test.from;
    EXPECT_NEAR(ConvertUnit(test.value, test.from, test.to, UnitUse::kDifference), test.difference, 1e-10)
        << test.from;
  }
  // Inside a product every temperature is a difference.
  EXPECT_NEAR(ConvertUnit(1, "kJ/kg/F", "kJ/(kg K)"), 1.8, 1e-15);
  EXPECT_EQ(UseOf("TemperatureDifference"), UnitUse::kDifference);
  EXPECT_EQ(UseOf("PRESS_DROP"), UnitUse::kDifference);
  EXPECT_EQ(UseOf("Temperature"), UnitUse::kLevel);
}

TEST(Units, RefusalsSayWhatToDo) {
  const struct {
    const char* from;
    const char* to;
    const char* message;
  } kCases[] = {
      {"kg/hr", "bar", "cannot convert \"kg/hr\" (mass flow) to \"bar\" (pressure): give a unit of pressure"},
      {"kg2/K", "bar", "cannot convert \"kg2/K\" (kg2 K-1) to \"bar\" (pressure): give a unit of pressure"},
      {"s", "Hz", "cannot convert \"s\" (time) to \"Hz\" (frequency): give a unit of frequency"},
      {"rpm", "Hz",
       "cannot convert \"rpm\" (speed of rotation) to \"Hz\" (frequency): give a unit of frequency"},
      {"kgf/cn2", "bar", "unknown unit \"cn\" in \"kgf/cn2\": did you mean cm?"},
      {"mpa", "bar", "unknown unit \"mpa\": did you mean MPa?"},
      {"MBtu", "J",
       "unit \"MBtu\" does not mean the same everywhere: write kBtu for a thousand, MMBtu for a million"},
      {"W/m2 K", "W/m2/K",
       "\"W/m2 K\" can be read in two ways: put brackets round what stands below the line, as in W/(m2 K)"},
      {"psig/m", "bar/m",
       "a gauge pressure cannot be part of another unit, as in \"psig/m\": write it with bar or psi"},
      {"m/", "m", "the unit \"m/\" breaks off"},
      {"", "m", "the unit is empty"},
      {"s since 1990", "s", "unknown unit \"since\" in \"s since 1990\": write it with units such as"},
      {"K @ 3", "K", "unexpected \"@\" in unit \"K @ 3\": write units like kg/m3, W/(m2 K) or 1/s"},
      {"lg(re 1 mW)", "W", "unknown unit \"lg\""},
      {"m^99999999999", "m", "the unit \"m^99999999999\" has a power above 12"},
      {"((((m", "m", "\")\" is missing in unit \"((((m\""},
  };
  for (const auto& test : kCases) {
    try {
      ConvertUnit(1, test.from, test.to);
      ADD_FAILURE() << test.from << " was converted";
    } catch (const UnitError& error) {
      EXPECT_THAT(error.what(), HasSubstr(test.message));
    }
  }
  EXPECT_THROW(CheckUnit(std::string(100000, 'm')), UnitError);
}

TEST(Units, AMissingDatabaseIsNamedWithARemedy) {
  try {
    CheckUnitDatabase("/nowhere/udunits2.xml");
    FAIL();
  } catch (const UnitError& error) {
    EXPECT_THAT(error.what(), HasSubstr("/nowhere/udunits2.xml: install the data of udunits2"));
  }
  CheckUnitDatabase();
}

TEST(Units, ThreadsMayConvertAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        try {
          if (i % 3 == t % 3) ConvertUnit(1, "nothing" + std::to_string(i), "bar");
        } catch (const UnitError&) {
        }
        if (ConvertUnit(1, t % 2 ? "bar" : "atm", "Pa") != (t % 2 ? 1e5 : 101325)) ++wrong[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace quiver
