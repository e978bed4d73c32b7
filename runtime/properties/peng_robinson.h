// SPDX-License-Identifier: Apache-2.0
// The Peng-Robinson equation of state (Ind. Eng. Chem. Fundam. 15 (1976) 59; m of 1978 above omega 0.491)
// with classical mixing, P = RT/(V - b) - a/(V^2 + 2bV - b^2), and an optional volume translation.
//
//   PengRobinson eos(components, kij);
//   PengRobinson::Workspace work;                       // one a thread
//   eos.SetTemperature(300, work);
//   EosState vapour = eos.Caloric(work, 1e5, y, Root::kVapour);
//   eos.Fugacity(work, 1e5, y, Root::kVapour, ln_phi);
//
// Everything is exact: temperature, pressure and composition derivatives come from the reduced residual
// Helmholtz energy F(T, V, n) (Michelsen and Mollerup, Thermodynamic Models, chapters 2 and 3), not from
// differences. Units: K, Pa, kmol, m3, J. Compositions are mole fractions that sum to 1. Const members are
// safe from many threads, each with its own Workspace; nothing is allocated once a Workspace has been used
// with this many components.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "runtime/properties/alpha_correction.h"
#include "runtime/properties/volume_shift.h"

namespace quiver {

struct PengRobinsonComponent {
  std::string name;
  double tc = 0;     // K
  double pc = 0;     // Pa
  double omega = 0;  // acentric factor
  AlphaCorrection alpha = {};
  VolumeShift shift = {};
};

// The critical point conditions of the equation.
inline constexpr double kOmegaA = 0.457235528921382, kOmegaB = 0.0777960739038884;

// Which root of the cubic: the largest, the smallest above b, or the one of lower Gibbs energy.
enum class Root { kVapour, kLiquid, kStable };

struct EosState {
  int real_roots = 1;     // 1: there is no second phase kind at this T, P and composition
  double volume = 0;      // m3/kmol, translated
  double dV_dT = 0;       // at constant P
  double dV_dP = 0;       // at constant T
  double eos_volume = 0;  // m3/kmol before translation
  double covolume = 0;    // b, m3/kmol
  double attraction = 0;  // a/(b R T); 5.877 at the critical temperature of the mixture taken as one fluid
  double residual_h = 0;  // J/kmol, real minus ideal gas at T and P
  double residual_s = 0;  // J/kmol/K, likewise
  double residual_cp = 0;
  double cp_minus_cv = 0;  // -T (dV/dT)^2 / (dV/dP)
};

class PengRobinson {
 public:
  struct Workspace {
    double temperature = 0;
    std::vector<double> s, s1, s2;  // sqrt(a_i) and its temperature derivatives
    std::vector<double> shift, shift1, shift2;
    std::vector<double> weighted, w, w1;  // scratch: x s, K (x s), K (x s')
  };
  struct Derivatives {                   // of ln phi_i
    std::vector<double> ln_phi, dT, dP;  // 1/K, 1/Pa
    std::vector<double> dn;              // n d ln phi_i / d n_j by rows, at total n; symmetric
  };

  // `kij` is n x n by rows, symmetric with zero diagonal.
  PengRobinson(std::vector<PengRobinsonComponent> components, std::vector<double> kij);

  std::size_t size() const { return components_.size(); }
  const PengRobinsonComponent& component(std::size_t i) const { return components_[i]; }
  std::span<const double> interactions() const { return kij_; }

  void SetTemperature(double temperature, Workspace& work) const;

  // The functions below use the temperature of the workspace. ln_phi has n entries.
  EosState Fugacity(Workspace& work, double pressure, std::span<const double> x, Root root,
                    std::span<double> ln_phi) const;
  EosState FugacityDerivatives(Workspace& work, double pressure, std::span<const double> x, Root root,
                               Derivatives& out) const;
  EosState Caloric(Workspace& work, double pressure, std::span<const double> x, Root root) const;
  // Volume and the phase criteria only.
  double Volume(Workspace& work, double pressure, std::span<const double> x, Root root) const;

  // Where this equation's liquid and vapour of the pure component have equal fugacity, Pa. Throws
  // PropertyError at and above the critical temperature.
  double PureVapourPressure(std::size_t i, double temperature) const;

 private:
  struct Mixture;  // a, b, the root and what follows from it
  template <bool kWithTemperature>
  Mixture Mix(Workspace& work, double pressure, std::span<const double> x, Root root) const;

  std::vector<PengRobinsonComponent> components_;
  std::vector<double> kij_;     // as given
  std::vector<double> factor_;  // 1 - kij
  std::vector<double> b_, root_ac_, m_, inverse_root_tc_;
};

// Whether a phase on its own is called a vapour: above the critical temperature of the mixture taken as one
// fluid always ("a gas has no liquid above it"), below it when its volume exceeds that fluid's critical
// volume 3.9514 b.
bool IsVapourLike(const EosState& state);

}  // namespace quiver
