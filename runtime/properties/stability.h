// SPDX-License-Identifier: Apache-2.0
// Is a phase stable? Michelsen's tangent-plane test (Fluid Phase Equilibria 9 (1982) 1): looks for a
// composition whose Gibbs energy lies below the tangent plane of the phase tested.
//
//   StabilityTest test(eos, work);
//   if (auto trial = test.FindUnstable(pressure, z, known)) ...  // trial->x starts the new phase
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "runtime/properties/peng_robinson.h"

namespace quiver {

// K of Wilson's correlation: exp(5.373 (1 + omega)(1 - Tc/T)) Pc / P.
double WilsonK(const PengRobinsonComponent& component, double temperature, double pressure);

struct UnstableTrial {
  std::vector<double> x;       // composition of the new phase
  std::vector<double> ln_phi;  // its fugacity coefficients
  double distance = 0;         // reduced tangent-plane distance, negative
};

class StabilityTest {
 public:
  // Both must outlive the test; `work` is set to the temperature.
  StabilityTest(const PengRobinson& eos, PengRobinson::Workspace& work);

  enum Starts {
    kWilson,
    kPure
  };  // two starts from Wilson's K, or one from each nearly pure component and the ideal gas
  // Tests the phase `z`. `known` are compositions already in equilibrium with it, one after the other; a
  // trial that runs into one of them is dropped. The lowest trial below the tangent plane, or nothing.
  std::optional<UnstableTrial> FindUnstable(double pressure, std::span<const double> z,
                                            std::span<const double> known, Starts starts);
  int iterations() const { return iterations_; }

 private:
  // Minimises from ln W; true when it ends below the tangent plane with a composition of its own.
  bool Minimise(double pressure, std::span<const double> z, std::span<const double> known);
  bool NewtonStep(double pressure);
  bool IsKnown(std::span<const double> z, std::span<const double> known) const;
  void Normalise();

  const PengRobinson& eos_;
  PengRobinson::Workspace& work_;
  PengRobinson::Derivatives derivatives_;
  std::vector<double> tangent_;  // ln z + ln phi(z)
  std::vector<double> ln_w_, x_, ln_phi_, matrix_, step_, last_, change_;
  double distance_ = 0;
  int iterations_ = 0;
};

}  // namespace quiver
