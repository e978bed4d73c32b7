// SPDX-License-Identifier: Apache-2.0
// The mass flux of an isentropic nozzle whose fluid expands by a fitted specific volume.
//
//   NozzleExpansion steam({{1.0, 1 / 1.3}});              // v/v0 = (p0/p)^(1/1.3)
//   CriticalPoint throat = steam.FindCritical(1e-4);      // throat.ratio 0.5457, throat.psi_squared 0.2224
//   double below_choking = steam.PsiSquared(0.9);
//
// With eta = p/p0, the fit (L. L. Simpson, "Estimate two-phase flow in safety devices", Chem. Eng. 98 (1991)
// no. 8, 98)
//
//   v(eta)/v0 = 1                                                        eta >= eta_s, liquid down to its
//   saturation v(eta)/v0 = 1 + sum of alpha ((eta_s/eta)^beta - 1)                  eta <  eta_s
//
// generalises the omega method (J. C. Leung, AIChE J. 32 (1986) 1743: one term, alpha = omega, beta = 1) and
// contains the ideal gas (alpha = 1, beta = 1/k) and the liquid (alpha = 0). The energy balance from the
// inlet to the throat, with the area ratio a = throat/inlet, gives the flux G of the throat:
//
//   G^2 = 2 (p0/v0) Psi^2,   Psi^2(eta) = W / ((v/v0)^2 - a^2),   W = integral of v/v0 from eta to 1.
//
// The flux chokes where Psi^2 has its maximum over the throat pressure.
#pragma once

#include <array>

namespace quiver::routines {

struct ExpansionTerm {
  double alpha = 0;
  double beta = 1;
};

struct CriticalPoint {
  double ratio = 1;        // throat pressure over inlet pressure
  double psi_squared = 0;  // the largest Psi^2
};

class NozzleExpansion {
 public:
  // `saturation_ratio` is eta_s, 1 for every fluid that expands from the inlet on; `area_ratio` is a, from 0
  // to below 1. `intervals` 0 integrates in closed form; otherwise by Simpson's rule with so many parts below
  // eta_s.
  explicit NozzleExpansion(std::array<ExpansionTerm, 2> terms, double saturation_ratio = 1,
                           double area_ratio = 0, long long intervals = 0)
      : terms_(terms), saturation_(saturation_ratio), area_(area_ratio), intervals_(intervals) {}

  double Volume(double eta) const;  // v/v0
  double Work(double eta) const;    // W

  // Above eta = 1 the fluid counts as incompressible: Psi^2 = (1 - eta)/(1 - a^2), negative and once
  // continuously differentiable across 1. NaN where the volume shrinks to the inlet's share a or below.
  double PsiSquared(double eta) const;

  // The choking point between `lowest` and 1; `lowest` itself where the flux still rises there, as a liquid's
  // does. At eta_s itself where the flashing just below would already slow the flow down.
  CriticalPoint FindCritical(double lowest) const;

 private:
  struct Slopes {
    double first, second;
  };
  Slopes VolumeSlopes(double eta) const;  // below eta_s

  std::array<ExpansionTerm, 2> terms_;
  double saturation_, area_;
  long long intervals_;
};

}  // namespace quiver::routines
