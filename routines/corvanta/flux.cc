// SPDX-License-Identifier: Apache-2.0
// Flux integrals of relief devices over a fitted specific volume. The procedures PSIMPSON_INTEGRATION and
// PDIENER_INTEGRATION call them; the formulas and their sources are in flux_nozzle.h.
//
// Both return flow functions, not fluxes: Psi^2 of G^2 = 2 Psi^2 P0/V0 (SI). That keeps them free of units
// and smooth at zero flow, and leaves inlet pressure P0 and specific volume V0 to the caller's equations. A
// caller writes
//
//   sqr(G2) V_0 = 2 PSI_SQ P UCF3,   sqr(GC) V_0 = 2 PSI_SQ_CRIT P UCF3,   P_CRIT = P ETA_CRIT
//
// and takes G2 where ETA_CRIT <= ETA_A, otherwise GC. PSI_SQ itself is not limited at choking.
#include <algorithm>

#include "routines/corvanta/flux_nozzle.h"
#include "routines/routine_arguments.h"

namespace quiver::routines {
namespace {

// The settings that both routines end with: area ratio, intervals, lowest throat pressure ratio.
struct NozzleSettings {
  double area_ratio = 0;
  long long intervals = 0;
  double lowest = 0;
};

bool LoadSettings(RoutineCall& call, int area_ratio, int intervals, int lowest, NozzleSettings& settings) {
  const double a = call.Real(area_ratio), n = call.Real(intervals), low = call.Real(lowest);
  int wrong = -1;
  if (!(a >= 0 && a < 1)) wrong = area_ratio;
  if (!(n >= 0 && n <= 1e6)) wrong = intervals;
  if (!(low > 0 && low < 1)) wrong = lowest;
  if (wrong >= 0) {
    call.Fail(Failure::kOutOfRange, wrong);
    return false;
  }
  settings = {a, static_cast<long long>(n), low};
  return true;
}

}  // namespace
}  // namespace quiver::routines

// Simpson's form of the omega method, liquid down to its saturation pressure first.
//
// Inputs, in order:
// - 1 ETA_A: exit pressure over inlet pressure. Above 1 the fluid counts as incompressible and PSI_SQ is
//   negative; below input 7 it is taken as input 7.
// - 2 ETA_S: saturation pressure over inlet pressure for a subcooled liquid. 1 (or more, taken as 1) for
//   every inlet that expands from the start: saturated, two-phase, gas.
// - 3 ALPHA and 4 BETA of v/v0 = 1 + ALPHA ((ETA_S/eta)^BETA - 1) below ETA_S. The volumes at two pressures
//   give them: BETA solves (v1 - v0)/(v2 - v0) = ((ps/p1)^BETA - 1)/((ps/p2)^BETA - 1), ps being P0 ETA_S.
//   ALPHA BETA < 0, a volume that shrinks, is computed and never chokes.
// - 5 POINTS: 0 for the integral in closed form, which is exact; n > 0 for Simpson's rule with n intervals
//   (the next even number, at least 2), to compare with a calculation by hand.
// - 6 AREA_RATIO: throat area over inlet area, 0 for an inlet at rest.
// - 7 ETA_MIN: lowest throat pressure ratio that is considered; 1e-4 suits.
//
// Outputs:
// - 1 PSI_SQ: Psi^2 with ETA_A in the throat.
// - 2 PSI_SQ_CRIT: its largest value over the throat pressure.
// - 3 ETA_CRIT: the throat pressure ratio of that value. It is ETA_S itself for a liquid so far
//   subcooled that it starts to flash in the throat (then G^2 = 2 (P0 - PSAT)/V0), and ETA_MIN where nothing
//   chokes.
//
// PSI_SQ and PSI_SQ_CRIT have continuous first derivatives by the variable inputs except at ETA_S = 1 and,
// for PSI_SQ, at ETA_A = ETA_S below 1 and ETA_A = ETA_MIN; ETA_CRIT kinks where it reaches ETA_S or ETA_MIN.
//
// Fails with kOutOfRange: 2 not above 0; 3 a volume that shrinks to AREA_RATIO times the inlet's or less; 5
// negative or above 1e6; 6 not from 0 to below 1; 7 not between 0 and 1.
ROUTINE(ZX40RM_psimpint, "r* r* r* r* r r r -> r r r") {
  using namespace quiver::routines;
  NozzleSettings settings;
  if (!LoadSettings(call, 5, 4, 6, settings)) return;
  if (!(call.Real(1) > 0)) return call.Fail(Failure::kOutOfRange, 1);
  const NozzleExpansion nozzle({{{call.Real(2), call.Real(3)}, {}}}, std::min(call.Real(1), 1.0),
                               settings.area_ratio, settings.intervals);
  const double psi_squared = nozzle.PsiSquared(std::max(call.Real(0), settings.lowest));
  const CriticalPoint critical = nozzle.FindCritical(settings.lowest);
  if (std::isnan(psi_squared) || std::isnan(critical.psi_squared)) return call.Fail(Failure::kOutOfRange, 2);
  call.SetOutput(0, psi_squared);
  call.SetOutput(1, critical.psi_squared);
  call.SetOutput(2, critical.ratio);
}

// A saturated or two-phase inlet with delayed boiling, for the vena contracta behind a seat or a plug: the
// HNE-DS method (R. Diener, J. Schmidt, Process Safety Progress 23 (2004) 335 and 24 (2005) 29; ISO 4126-10)
// on the fitted volume.
//
// The volume lies between that of inlet gas and liquid without further boiling and that of the equilibrium,
// by the non-equilibrium coefficient N:
//   v/v0 = 1 + (1 - N) E0 (eta^(-1/K) - 1) + N ALPHA (eta^-BETA - 1),     N = x^A.
// x is the equilibrium vapour mass fraction at the equilibrium's own choking point, from its volume there:
//   v_eq = x (v_g0/eta) + (1 - x) v_l0,  limited to 0 <= x <= 1.
// With BETA = 1 and K = 1 this is the omega method with omega = E0 + N (ALPHA - E0), as published; there x is
// x0 + cp T0 p0 (v_g0 - v_l0)/dh^2 ln(1/eta_crit), which an expansion fitted to equilibrium volumes already
// contains. N belongs to the choking point at any back pressure, so that the flow function does not jump when
// flow becomes choked. The slip factor that the method applies to orifices and control valves is left to the
// caller, and so are the contraction and the form resistance: the flux is that of the vena contracta, per
// unit of its area, without loss.
//
// Inputs, in order:
// - 1 ETA_A: outlet pressure over inlet pressure (the throat's, where input 9 is 1). Above 1 as in
//   ZX40RM_psimpint.
// - 2 E0: inlet vapour volume fraction, 0 (saturated liquid) to 1.
// - 3 ALPHA and 4 BETA: of the equilibrium volume, as in ZX40RM_psimpint with ETA_S = 1.
// - 5 V_RATIO: inlet vapour volume over inlet liquid volume (both per mass), above 1. It acts on N alone.
// - 6 A: exponent of N. 2/5 for safety valves and high-lift control valves; 3/5 for orifices, control valves
//   and short nozzles; 0 for long nozzles, in equilibrium.
// - 7 K: isentropic exponent of the inlet gas; 1 for isothermal gas, as published.
// - 8 AREA_RATIO: vena contracta area over inlet area, 0 for an inlet at rest.
// - 9 FL: pressure recovery factor, above 0 to 1, in P0 - P_throat = (P0 - P_out)/FL^2. A throat ratio that
//   falls below input 11 is taken as input 11.
// - 10 POINTS and 11 ETA_MIN: as inputs 5 and 7 of ZX40RM_psimpint; ETA_MIN is a throat ratio.
//
// Outputs:
// - 1 PSI_SQ: Psi^2 at ETA_A.
// - 2 PSI_SQ_CRIT: its largest value.
// - 3 ETA_CRIT: where, an outlet ratio like input 1. 1 - ETA_CRIT = FL^2 (1 - throat ratio).
//
// A subcooled liquid counts as saturated at the inlet pressure (E0 = 0), which gives less flux than it has.
// Fails with kOutOfRange for every input outside the range named above, and for 3 as ZX40RM_psimpint does.
ROUTINE(ZX40RM_pdienerint, "r* r* r* r* r r r r r r r -> r r r") {
  using namespace quiver::routines;
  NozzleSettings settings;
  if (!LoadSettings(call, 7, 9, 10, settings)) return;
  const double void_fraction = call.Real(1), volume_ratio = call.Real(4), exponent = call.Real(5);
  const double isentropic = call.Real(6), recovery = call.Real(8) * call.Real(8);
  if (!(void_fraction >= 0 && void_fraction <= 1)) return call.Fail(Failure::kOutOfRange, 1);
  if (!(volume_ratio > 1)) return call.Fail(Failure::kOutOfRange, 4);
  if (!(exponent >= 0)) return call.Fail(Failure::kOutOfRange, 5);
  if (!(isentropic > 0)) return call.Fail(Failure::kOutOfRange, 6);
  if (!(call.Real(8) > 0 && call.Real(8) <= 1)) return call.Fail(Failure::kOutOfRange, 8);

  const ExpansionTerm equilibrium = {call.Real(2), call.Real(3)};
  const NozzleExpansion boiling({equilibrium, {}}, 1.0, settings.area_ratio, settings.intervals);
  const double throat = boiling.FindCritical(settings.lowest).ratio;
  const double liquid_volume = void_fraction / volume_ratio + 1 - void_fraction;  // of v0
  const double vapour_fraction =
      (boiling.Volume(throat) - liquid_volume) / (liquid_volume * (volume_ratio / throat - 1));
  const double n = std::pow(std::clamp(vapour_fraction, 0.0, 1.0), exponent);

  const NozzleExpansion nozzle(
      {{{(1 - n) * void_fraction, 1 / isentropic}, {n * equilibrium.alpha, equilibrium.beta}}}, 1.0,
      settings.area_ratio, settings.intervals);
  const double exit = 1 - (1 - call.Real(0)) / recovery;
  const double psi_squared = nozzle.PsiSquared(std::max(exit, settings.lowest));
  const CriticalPoint critical = nozzle.FindCritical(settings.lowest);
  if (std::isnan(psi_squared) || std::isnan(critical.psi_squared)) return call.Fail(Failure::kOutOfRange, 2);
  call.SetOutput(0, psi_squared);
  call.SetOutput(1, critical.psi_squared);
  call.SetOutput(2, 1 - recovery * (1 - critical.ratio));
}
