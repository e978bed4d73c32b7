// SPDX-License-Identifier: Apache-2.0
//
// Conversion between units of measurement, in the spelling of process engineers. Units are those of udunits2,
// with the names of runtime/io/unit_names.def on top, which win over udunits2.
//
//   ConvertUnit(150, "psi", "bar")                                       10.342...
//   ConvertUnit(25, "degC", "K")                                         298.15
//   ConvertUnit(10, "degF", "K", UnitUse::kDifference)                   5.55...
//   ConvertUnit(1, "cal/mol-K", "kJ/kmol/K")                             4.184
//
// How unit texts are read:
// - Products are written with a blank, "*" or ".", quotients with "/", powers as m3, m^3 or m**3. A hyphen
// binds
//   more tightly than "/": Btu/hr-ft2-F is Btu/(hr ft2 F). A product after "/" without brackets ("W/m2 K")
//   can be read in two ways and is refused.
// - C, F and R are temperatures (coulomb, farad and roentgen go by their full names). Inside a product or
// quotient
//   every temperature is a difference. So is every unit in UnitUse::kDifference.
// - Gauge pressures (barg, psig, kPag, MPag, mbarg, kgf/cm2g) count from 1.01325 bar.
// - cal and Btu are the thermochemical calorie (4.184 J) and the International Table Btu; gal, gpm and bbl
// are
//   those of the United States. in-water and the like are conventional columns (1000 kg/m3, 9.80665 m/s2).
// - Nm3 is the amount of ideal gas in 1 m3 at 0 degC and 1.01325 bar, scf that in 1 ft3 at 60 degF
// and 1.01325 bar,
//   so both convert to kmol.
// - What reads differently from site to site (MBtu, ton, Mscf) is refused with the ways to say it clearly.
#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quiver {

class UnitError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class UnitUse {
  kLevel,       // 25 degC is 298.15 K
  kDifference,  // 25 degC of difference is 25 K
};

// kDifference for the name of a physical quantity that ends in "Difference", "Diff", "Drop", "Rise" or
// "Change", in any letter case ("TemperatureDifference", "PRESS_DROP"), kLevel for all others.
UnitUse UseOf(std::string_view physical_quantity);

// Throws UnitError where a unit is unknown (with a suggestion), can be read in two ways, or where the two
// measure different things, which includes reciprocals, and turns against plain numbers (rpm against Hz). May
// be called from several threads at once. The first call reads udunits2's database, which has to be
// installed.
double ConvertUnit(double value, std::string_view from, std::string_view to, UnitUse use = UnitUse::kLevel);

// Throws UnitError as ConvertUnit does if there is no such unit.
void CheckUnit(std::string_view unit);

// "pressure", "mass flow", or the dimensions in SI base units where the quantity has no name here ("kg s-2").
std::string QuantityOf(std::string_view unit);

// Exponents of the SI base units, in the order of kBaseUnits: {1, -1, -2, 0, 0, 0, 0} for "bar". Angles are plain
// numbers. Throws UnitError as CheckUnit does.
inline constexpr std::array<const char*, 7> kBaseUnits = {"kg", "m", "s", "K", "mol", "A", "cd"};
std::array<double, 7> ExponentsOf(std::string_view unit);

// Tries to read a database of udunits2 at `path` (its usual place if empty) and throws UnitError with what to
// do if that fails. For installation checks; conversions call it on their own.
void CheckUnitDatabase(const std::string& path = "");

}  // namespace quiver
