// SPDX-License-Identifier: Apache-2.0
// Physical properties of a list of components: what the property procedures of the models ask for.
//
//   PropertyPackage package({"methane", "ethane", "CO2"});
//   double cp = package.Phase(PhaseKind::kVapour, 300, 2e6, y).cp;      // J/kmol/K
//   FlashResult flash = package.FlashPressureEnthalpy(5e5, h, z);       // h in J/kmol
//
// The model behind all of it: one Helmholtz energy. Both phases take densities, enthalpies, entropies and
// heat capacities from the Peng-Robinson equation, translated in volume so that liquids meet the density
// correlation; ideal-gas heat capacities add the rest. So dH/dT is Cp, dH/dP is V - T dV/dT, and phases in
// equilibrium have equal Gibbs energies, to rounding. Vapour pressures on their own and all transport
// properties come from correlations. Reference: enthalpy 0 for the elements at 298.15 K (ideal gas heats of
// formation); entropy absolute, 1 bar.
//
// Units inside are K, Pa, kmol, m3, J, kg, s, W; the constants below convert at the border of a procedure.
// Compositions are mole fractions; they are normalised, negative entries beyond rounding (-1e-8) are refused.
// Everything is const and may be called from many threads. Errors are PropertyError.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "runtime/properties/component_data.h"
#include "runtime/properties/flash.h"
#include "runtime/properties/ideal_gas.h"
#include "runtime/properties/peng_robinson.h"

namespace quiver {

inline constexpr double kPascalPerBar = 1e5;
inline constexpr double kZeroCelsius = 273.15;  // K
inline constexpr double kJoulePerGigajoule = 1e9;

enum class AlphaModel {
  kVapourPressure,  // below Tc corrected to boil where the vapour-pressure correlation says; above as it stands
  kClassical,       // 1976 and 1978 throughout: vapour pressures of polar components 1 to 10 % off
};
enum class VolumeModel {
  kTranslated,  // Peng-Robinson with the liquid density correlation built in as a volume translation
  kPlain,       // Peng-Robinson as it is: liquid densities up to 20 % off
};
enum class ActivityModel {
  kIdeal,            // 1
  kEquationOfState,  // phi of the component in the mixture over phi of the pure liquid
};

struct PropertyOptions {
  AlphaModel alpha = AlphaModel::kVapourPressure;
  VolumeModel volume = VolumeModel::kTranslated;
  ActivityModel activity = ActivityModel::kIdeal;
  FlashOptions flash;
};

// One phase at given temperature, pressure and composition.
struct PhaseProperties {
  double molar_mass = 0;           // kg/kmol
  double molar_density = 0;        // kmol/m3
  double mass_density = 0;         // kg/m3
  double compressibility = 0;      // PV/RT
  double enthalpy = 0;             // J/kmol
  double entropy = 0;              // J/kmol/K
  double cp = 0;                   // J/kmol/K
  double cv = 0;                   // J/kmol/K
  double speed_of_sound = 0;       // m/s
  double isentropic_exponent = 0;  // -(V/P)(dP/dV) at constant entropy; Cp/Cv for an ideal gas
  // Exact derivatives; dH/dT is cp and dS/dT is cp/T. Those of cp and cv are left to differences.
  double enthalpy_dP = 0;       // J/kmol/Pa
  double entropy_dP = 0;        // J/kmol/K/Pa
  double molar_density_dT = 0;  // kmol/m3/K
  double molar_density_dP = 0;  // kmol/m3/Pa
  // The phase asked for does not exist at this point; the values are those of the one root there is.
  bool only_root = false;
};

// What each component contributes: mixture value = sum x_i m_i. With x_i changed and the composition
// normalised again, dm/dx_i = m_i - m.
struct PartialMolar {
  std::vector<double> enthalpy;  // J/kmol
  std::vector<double> volume;    // m3/kmol
  std::vector<double> ln_phi;    // fugacity coefficients
};

class PropertyPackage {
 public:
  // Names as FindComponent accepts them.
  explicit PropertyPackage(std::span<const std::string> names, PropertyOptions options = {});
  PropertyPackage(std::initializer_list<std::string> names, PropertyOptions options = {})
      : PropertyPackage(std::vector<std::string>(names), options) {}

  std::size_t size() const { return components_.size(); }
  const Component& component(std::size_t i) const { return *components_[i]; }
  const PengRobinson& equation_of_state() const { return eos_; }
  std::span<const double> molar_masses() const { return molar_masses_; }  // kg/kmol
  double MolarMass(std::span<const double> x) const;

  // `kind` picks the root of the equation: the largest volume for a vapour, the smallest for a liquid.
  PhaseProperties Phase(PhaseKind kind, double temperature, double pressure, std::span<const double> x) const;
  // A phase of a flash, with the root that the flash found.
  PhaseProperties Phase(const EquilibriumPhase& phase, double temperature, double pressure) const;
  PartialMolar Partial(PhaseKind kind, double temperature, double pressure, std::span<const double> x) const;
  IdealGasValue IdealGasMixture(double temperature,
                                std::span<const double> x) const;  // entropy at 1 bar, mixed

  double Viscosity(PhaseKind kind, double temperature, double pressure,
                   std::span<const double> x) const;  // Pa s
  double Conductivity(PhaseKind kind, double temperature, double pressure,
                      std::span<const double> x) const;                        // W/m/K
  double SurfaceTension(double temperature, std::span<const double> x) const;  // N/m
  // One entry a component.
  void VapourPressures(double temperature, std::span<double> pressures) const;  // Pa, from the correlation
  void ActivityCoefficients(double temperature, double pressure, std::span<const double> x,
                            std::span<double> gamma) const;
  void PureEnthalpies(PhaseKind kind, double temperature, double pressure,
                      std::span<double> enthalpies) const;

  FlashResult FlashTemperaturePressure(double temperature, double pressure, std::span<const double> z) const;
  FlashResult FlashTemperatureVapourFraction(double temperature, double fraction,
                                             std::span<const double> z) const;
  FlashResult FlashPressureVapourFraction(double pressure, double fraction, std::span<const double> z) const;
  FlashResult FlashPressureEnthalpy(double pressure, double enthalpy,
                                    std::span<const double> z) const;  // J/kmol
  FlashResult FlashPressureEntropy(double pressure, double entropy,
                                   std::span<const double> z) const;  // J/kmol/K
  // Per kmol of feed, over all phases of a flash.
  double Enthalpy(const FlashResult& flash) const;
  double Entropy(const FlashResult& flash) const;

  std::string Describe(std::span<const double> x) const;  // "methane 0.9, ethane 0.1", for messages

 private:
  struct Scratch;
  static Scratch& ThreadScratch();
  std::span<const double> Normalise(std::span<const double> x, Scratch& scratch) const;
  PhaseProperties Evaluate(Root root, double temperature, double pressure, std::span<const double> x) const;
  template <class Value, class Slope>
  FlashResult FlashToTarget(double pressure, double target, std::span<const double> z, const char* quantity,
                            Value value, Slope slope) const;

  std::vector<const Component*> components_;
  std::vector<IdealGas> ideal_gases_;
  std::vector<double> molar_masses_;
  PropertyOptions options_;
  PengRobinson eos_;
};

}  // namespace quiver
