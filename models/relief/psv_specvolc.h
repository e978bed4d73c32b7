// SPDX-License-Identifier: Apache-2.0
// Mass flux of a homogeneous mixture through a relief device by a specific-volume curve fitted to many states along its
// isentropic expansion: with r = p_s/p, the saturation pressure over the pressure,
//
//   v/v_0 = 1 + C1 (r - 1) + C2 ln r   below p_s, constant above it;   C1, C2 by least squares of the relative error.
//
// The first term is the omega method (J. C. Leung, AIChE J. 32 (1986) 1743), the second bends it: it spares gases, whose
// volume grows less than 1/p, and steeply boiling liquids, whose volume grows more. The flux is the energy balance of the curve,
// its maximum over the throat pressure the critical flux.
//
// The owner flashes the inlet's entropy at the pressures P_PATH(1) to P_PATH(NPTS), which fall in even steps from the
// saturation pressure to ETA_LOW times it, and gives the phases there. Holds for critical ratios that lie above ETA_LOW;
// homogeneous equilibrium without slip. Pressures in bar, volumes in m3/kg.
#pragma once

#include <array>
#include <string>

#include "models/relief/expansion.h"

struct QV_EXPORT QV_PSV_SPECVOLC : QV_GENERICMODEL {
  MODEL_TEXT(PSV_SPECVOLC)

  GLOBAL(EPS)
  GLOBAL(T_MAX, "Temperature upper limit (C)")
  GLOBAL(T_MIN, "Temperature lower limit (C)")
  GLOBAL(UCF3)

  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  TRUE_SPECIES_AND_POLYMERS
  PARAMETER(QV_INTEGERPARAMETER, NPTS, "Number of states along the expansion path, 2 to 14")
  SET(QV_INTEGERSET, NPOINTS)
  VARIABLE(QV_FRACTION, ETA_LOW, "Lowest pressure ratio of the path")

  VARIABLE(QV_FLUX_MASS, FLUX)
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_TEMPERATURE, T)
  VARIABLE(QV_PRESSURE, P, "Inlet pressure")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  INLET_STATE
  VARIABLE(QV_FRACTION, VFACTOR)
  VARIABLE(QV_FRACTION, LFACTOR)
  VARIABLE(QV_FRACTION, L1FACTOR)
  VARIABLE(QV_FRACTION, L2FACTOR)
  VARIABLE(QV_PRESSURE, PSAT, "Inlet saturation pressure")
  VARIABLE(QV_POSITIVE, ETA_S, "Degree of subcooling")

#define ON_PATH(TYPE, NAME, ...) ARRAY(TYPE, NAME, OVER(NPOINTS) __VA_OPT__(, ) __VA_ARGS__)
  ON_PATH(QV_PRESSURE, P_PATH, "Pressures of the path")
  ON_PATH(QV_FRACTION, XA)
  ON_PATH(QV_VOL_MASS, V_VA)
  ON_PATH(QV_VOL_MASS, V_LA)
  ON_PATH(QV_VOL_MASS, V_A)
  ON_PATH(QV_FRACTION, LFA)
  ON_PATH(QV_FRACTION, LF1A)
  ON_PATH(QV_FRACTION, LF2A)
  ON_PATH(QV_FRACTION, VFA)
  ON_PATH(QV_DENS_MOL_VAP, RHOVA)
  ON_PATH(QV_DENS_MOL_LIQ, RHOLA)
  ON_PATH(QV_DENS_MOL_LIQ, RHOL1A)
  ON_PATH(QV_DENS_MOL_LIQ, RHOL2A)
  ON_PATH(QV_MOLWEIGHT, MWVA)
  ON_PATH(QV_MOLWEIGHT, MWLA)
  ON_PATH(QV_MOLWEIGHT, MWL1A)
  ON_PATH(QV_MOLWEIGHT, MWL2A)
  ON_PATH(QV_FRACTION, BETAA)
#undef ON_PATH

  VARIABLE(QV_NOTYPE, C1, "Coefficient of the pressure ratio")
  VARIABLE(QV_NOTYPE, C2, "Coefficient of its logarithm")
  VARIABLE(QV_NOTYPE, HEM_A, "Coefficient of the pressure ratio, above 0")
  VARIABLE(QV_POSITIVE, ETA_FLASH, "Critical pressure ratio of the boiling fluid")
  VARIABLE(QV_FRACTION, ETA_CRIT, "Critical pressure ratio")
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical pressure")
  VARIABLE(QV_FLUX_MASS, G2, "Mass flux")
  VARIABLE(QV_FLUX_MASS, GC, "Mass flux, critical")

  static constexpr int kMostPoints = 14;

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF3, 100000.0);
    set(POLYMERPROP, "No");
    set(NPTS, 6);
    set.range(NPOINTS, NPTS.IntegerValue() < kMostPoints ? NPTS.IntegerValue() : kMostPoints);
    set(ETA_LOW, 0.5);
    set.spec(ETA_LOW, QV_SPEC_GIVEN);
    set.upper(T, T_MAX);
    set.lower(T, T_MIN);
    set(ETA_FLASH, 0.7);
    set.lower(ETA_FLASH, 0.0001);
    set.lower(GC, 0);
  }

  void Equations(Equate& eq) {
    RunningLabels label;
    eq.when(is(VALIDPHASES, "Vapor-Only"), [&] { eq(label.Next(), PSAT == P); })
        .orWhen(is(VALIDPHASES, "Vapor-Liquid"), [&] { eq(label.Next(), PSAT * (1 - LFACTOR) == P * (1 - VFACTOR)); })
        .orWhen(is(VALIDPHASES, "Vapor-Liquid-Liquid"), [&] {
          eq(label.Next(), PSAT * (1 - L1FACTOR) * (1 - L2FACTOR) == P * (1 - VFACTOR));
        });
    eq(label.Next(), ETA_S == min(1.0, PSAT / P));

    quiver::relief::Volumes(eq, VALIDPHASES, PHASE_STATE_OF(X0, V_V0, V_L0, V_0, ), label.State(VALIDPHASES, "SpecificVolumeMass"));
    eq.each(NPOINTS, [&](int i) {
      eq(label.Next(), P_PATH(i) == ETA_S * P * (1 - i * (1 - ETA_LOW) / NPTS));
      quiver::relief::Volumes(eq, VALIDPHASES,
                              {XA(i), V_VA(i), V_LA(i), V_A(i), LFA(i), LF1A(i), LF2A(i), VFA(i), RHOVA(i), RHOLA(i), RHOL1A(i),
                               RHOL2A(i), MWVA(i), MWLA(i), MWL1A(i), MWL2A(i), BETAA(i)},
                              label.State(VALIDPHASES, RunningLabels::SpecificVolume(i)));
    });

    // Normal equations, each state weighed by 1/v^2.
    const auto r = [&](int i) { return ETA_S * P / P_PATH(i); };
    const auto error = [&](int i) { return (1 + C1 * (r(i) - 1) + C2 * ln(r(i))) * V_0 / V_A(i) - 1; };
    eq(label.Next(), sigma(*NPOINTS, [&](int i) { return error(i) * (r(i) - 1) * V_0 / V_A(i); }) == 0);
    eq(label.Next(), sigma(*NPOINTS, [&](int i) { return error(i) * ln(r(i)) * V_0 / V_A(i); }) == 0);
    // Without any expansion the flow would choke nowhere.
    eq(label.Next(), HEM_A == max(1e-5, C1));

    // v/v_0, and the work, of p_0 v_0, down to y p_s; 1 - ETA_S of it the liquid's above p_s.
    const auto volume = [&](const auto& y) { return 1 + HEM_A * (1 / y - 1) - C2 * ln(y); };
    const auto work = [&](const auto& y) {
      return 1 - ETA_S + ETA_S * ((1 - HEM_A + C2) * (1 - y) + (C2 * y - HEM_A) * ln(y));
    };
    // The flux is largest where v^2 = -2 W dv/deta, here times y^2; at p_s where boiling slows the flow from there on.
    eq.given("ChokesAtSaturation", ETA_S <= 2 * (1 - ETA_S) * (HEM_A + C2), [&] {
        eq(label.Next(), ETA_FLASH == 1);
      }).otherwise([&] {
        eq(label.Next(), sqr(ETA_FLASH * volume(ETA_FLASH)) * ETA_S == 2 * work(ETA_FLASH) * (HEM_A + C2 * ETA_FLASH));
      });
    eq(label.Next(), ETA_CRIT == ETA_S * ETA_FLASH);
    eq(label.Next(), P_CRIT == P * ETA_CRIT);
    const auto exit = min(1.0, max(0.0001, ETA_A / ETA_S));
    eq(label.Next(), G2 * abs(G2 + EPS) * V_0 * sqr(volume(exit)) / UCF3 == 2 * P * (work(exit) - max(0.0, ETA_A - ETA_S)));
    eq(label.Next(), sqr(GC) * V_0 * sqr(volume(ETA_FLASH)) / UCF3 == 2 * P * work(ETA_FLASH));
    eq.given("LimitFlowBelowCritical", ETA_CRIT <= ETA_A, [&] {
        eq(label.Next(), FLUX == G2);
        eq(label.Next(), CRITICAL_FLOW == 0);
      }).otherwise([&] {
        eq(label.Next(), FLUX == GC);
        eq(label.Next(), CRITICAL_FLOW == 1);
      });
  }

 private:
  // QV_Eqn1, QV_Eqn2, ... in the order of the text, without gaps. Labels outlive the model.
  class RunningLabels {
   public:
    const char* Next() {
      static const Names names = Numbered("QV_Eqn");
      return names[next_++].c_str();
    }
    // Those that a state of the chosen phases needs.
    template <class ValidPhases>
    quiver::relief::StateLabels State(const ValidPhases& phases, const char* volume) {
      const bool two_liquids = is(phases, "Vapor-Liquid-Liquid"), liquid = two_liquids || is(phases, "Vapor-Liquid");
      quiver::relief::StateLabels s = {};
      if (two_liquids) s = {Next(), Next(), Next(), nullptr, nullptr, nullptr, nullptr};
      if (liquid) s.v_liquid = Next();
      s.v_vapor = Next();
      s.mass_fraction = Next();
      s.v = volume;
      return s;
    }
    static const char* SpecificVolume(int i) {
      static const Names names = Numbered("SpecificVolume");
      return names[static_cast<size_t>(i) - 1].c_str();
    }

   private:
    using Names = std::array<std::string, 128>;
    static Names Numbered(const char* front) {
      Names names;
      for (size_t k = 0; k < names.size(); ++k) names[k] = front + std::to_string(k + 1);
      return names;
    }
    size_t next_ = 0;
  };
};
