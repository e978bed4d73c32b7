// SPDX-License-Identifier: Apache-2.0
// Polytropic head of a compression, found along its path: from suction to discharge in steps of equal
// pressure difference or equal pressure ratio, with the fluid's state at every point between them. Part of a
// compressor, which supplies the states at both ends and takes the head. Pressures in bar, temperatures in C,
// enthalpies in GJ/kmol, densities in kmol/m3, heads in kJ/kg.
//
// Given the efficiency and the discharge pressure, each step has two statements of its head: the integral of
// v dp, and the efficiency times the enthalpy rise. They fix its end. The owner relates T_OUT, H_OUT and
// RHO_OUT, or leaves PEFF free.
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "frame/model.h"
#include "host/modeller/phase_models.h"
#include "models/rotating/labels.h"
#include "types/catalogue.h"

using quiver::rotating::Label;  // NOLINT(google-global-names-in-headers)

struct QV_EXPORT QV_COMPRINTEGRATION : QV_GENERICMODEL {
  MODEL_TEXT(COMPRINTEGRATION)

  EXTERNAL(QV_ENTH_MOL, H_IN)
  EXTERNAL(QV_ENTH_MOL, H_OUT)
  EXTERNAL(QV_MOLWEIGHT, MW)
  EXTERNAL(QV_PRESSURE, P_IN)
  EXTERNAL(QV_PRESSURE, P_OUT)
  EXTERNAL(QV_FRACTION, PEFF)
  EXTERNAL(QV_HEAD, POLYHEAD)
  EXTERNAL(QV_DENS_MOL, RHO_IN)
  EXTERNAL(QV_DENS_MOL, RHO_OUT)
  EXTERNAL(QV_TEMPERATURE, T_IN)
  EXTERNAL(QV_TEMPERATURE, T_OUT)
  EXTERNAL(QV_VALIDPHASETYPE, VALIDPHASES)
  EXTERNAL_ARRAY(QV_MOLEFRACTION, Z, OVER(ComponentList))
  GLOBAL(EPS)
  GLOBAL(T_MAX)
  GLOBAL(T_MIN)
  GLOBAL(UCF12)  // C to K
  GLOBAL(UCF15)  // kJ to J
  GLOBAL(UCF18)  // GJ to kJ
  GLOBAL(UCF3)   // bar to N/m2
  GLOBAL(UEC4)   // molar gas constant, kJ/(kmol K)

  PARAMETER(QV_COMPRINTEGRATIONSTEP_COMPRINTEGRATION, INTEGRATIONSTEP, "Type of integration step")
  PARAMETER(QV_COMPRINTEGRATIONMETHOD_COMPRINTEGRATION, INTEGRATIONMETHOD, "Integration method used")
  PARAMETER(QV_INTEGERPARAMETER, NINTERVALS, "Number of intervals in piecewise integration")
  SET(QV_INTEGERSET, NPOINTS)
  SET(QV_INTEGERSET, NINTVL)
  VARIABLE(QV_REALVARIABLE, PRATIOSTEP, "Pressure ratio for each integration step")
  VARIABLE(QV_REALVARIABLE, PRATIOLASTSTEP, "Pressure ratio for the last integration step")
  ARRAY(QV_PRESSURE, PRES, OVER(NPOINTS), "Pressure at integration points")
  ARRAY(QV_TEMPERATURE, TEMP, OVER(NPOINTS), "Temperature at integration points")
  ARRAY(QV_DENS_MOL, RHO, OVER(NPOINTS), "Mixture molar density at integration points")
  ARRAY(QV_DENS_MOL_LIQ, RHOL, OVER(NPOINTS), "Liquid molar density at integration points ")
  ARRAY(QV_DENS_MOL_LIQ, RHOL1, OVER(NPOINTS), "Liquid 1 molar density at integration points")
  ARRAY(QV_DENS_MOL_LIQ, RHOL2, OVER(NPOINTS), "Liquid 2 molar Density at integration points")
  ARRAY(QV_DENS_MOL_VAP, RHOV, OVER(NPOINTS), "vapor molar density at integration points")
  // At the points: the direct method needs it at both ends of an interval.
  ARRAY(QV_NOTYPE, ZC, OVER(NPOINTS), "Compresibility factor in integration intervals")
  ARRAY(QV_NOTYPE, N, OVER(NINTVL), "Polytropic coefficient in integration intervals")
  ARRAY(QV_NOTYPE, NR, OVER(NINTVL), "Compression ratio (n-1)/n in integration intervals")
  ARRAY(QV_HEAD, HEAD, OVER(NINTVL), "Head across integration intervals ")
  ARRAY(QV_ENTH_MOL, H, OVER(NPOINTS))
  ARRAY(QV_ENTH_MOL_LIQ, HL, OVER(NPOINTS))
  ARRAY(QV_ENTH_MOL_LIQ, HL1, OVER(NPOINTS))
  ARRAY(QV_ENTH_MOL_LIQ, HL2, OVER(NPOINTS))
  ARRAY(QV_ENTH_MOL_VAP, HV, OVER(NPOINTS))
  ARRAY(QV_MOLWEIGHT, MWL, OVER(NPOINTS))
  ARRAY(QV_MOLWEIGHT, MWL1, OVER(NPOINTS))
  ARRAY(QV_MOLWEIGHT, MWL2, OVER(NPOINTS))
  ARRAY(QV_MOLWEIGHT, MWV, OVER(NPOINTS))
  VARIABLE(QV_PRESS_DIFF, DELP, "Pressure change across each integration step")
  ARRAY(QV_MOLEFRACTION, X, OVER(NPOINTS, ComponentList))
  ARRAY(QV_MOLEFRACTION, X1, OVER(NPOINTS, ComponentList))
  ARRAY(QV_MOLEFRACTION, X2, OVER(NPOINTS, ComponentList))
  ARRAY(QV_MOLEFRACTION, Y, OVER(NPOINTS, ComponentList))
  ARRAY(QV_FRACTION, VF, OVER(NPOINTS))
  ARRAY(QV_FRACTION, LF, OVER(NPOINTS))
  ARRAY(QV_FRACTION, LF1, OVER(NPOINTS))
  ARRAY(QV_FRACTION, LF2, OVER(NPOINTS))

  // The phases at suction and discharge.
  VARIABLE(QV_DENS_MOL_LIQ, RHOL_IN)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL_OUT)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL1_IN)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL1_OUT)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL2_IN)
  VARIABLE(QV_DENS_MOL_LIQ, RHOL2_OUT)
  VARIABLE(QV_DENS_MOL_VAP, RHOV_IN)
  VARIABLE(QV_DENS_MOL_VAP, RHOV_OUT)
  VARIABLE(QV_ENTH_MOL_LIQ, HL_IN)
  VARIABLE(QV_ENTH_MOL_LIQ, HL_OUT)
  VARIABLE(QV_ENTH_MOL_LIQ, HL1_IN)
  VARIABLE(QV_ENTH_MOL_LIQ, HL1_OUT)
  VARIABLE(QV_ENTH_MOL_LIQ, HL2_IN)
  VARIABLE(QV_ENTH_MOL_LIQ, HL2_OUT)
  VARIABLE(QV_ENTH_MOL_VAP, HV_IN)
  VARIABLE(QV_ENTH_MOL_VAP, HV_OUT)
  VARIABLE(QV_MOLWEIGHT, MWL_IN)
  VARIABLE(QV_MOLWEIGHT, MWL_OUT)
  VARIABLE(QV_MOLWEIGHT, MWL1_IN)
  VARIABLE(QV_MOLWEIGHT, MWL1_OUT)
  VARIABLE(QV_MOLWEIGHT, MWL2_IN)
  VARIABLE(QV_MOLWEIGHT, MWL2_OUT)
  VARIABLE(QV_MOLWEIGHT, MWV_IN)
  VARIABLE(QV_MOLWEIGHT, MWV_OUT)
  ARRAY(QV_MOLEFRACTION, X_IN, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X_OUT, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X1_IN, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X1_OUT, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X2_IN, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, X2_OUT, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, Y_IN, OVER(ComponentList))
  ARRAY(QV_MOLEFRACTION, Y_OUT, OVER(ComponentList))
  VARIABLE(QV_FRACTION, VF_IN, "Suction molar vapor fraction")
  VARIABLE(QV_FRACTION, VF_OUT, "Suction molar vapor fraction")  // the same words as VF_IN, as published
  VARIABLE(QV_FRACTION, LF_IN)
  VARIABLE(QV_FRACTION, LF_OUT)
  VARIABLE(QV_FRACTION, LF1_IN)
  VARIABLE(QV_FRACTION, LF1_OUT)
  VARIABLE(QV_FRACTION, LF2_IN)
  VARIABLE(QV_FRACTION, LF2_OUT)

  // Phase properties of the points between the ends: of the kind that VALIDPHASES selects; the others have no
  // point.
  SET(QV_INTEGERSET, QV_PVAP_SET1)
  ARRAY(QV_PVAP, PVAP, OVER(QV_PVAP_SET1))
  SET(QV_INTEGERSET, QV_PFLASH2_SET1)
  ARRAY(QV_PFLASH2, PFLASH2, OVER(QV_PFLASH2_SET1))
  SET(QV_INTEGERSET, QV_PFLASH2W_SET1)
  ARRAY(QV_PFLASH2W, PFLASH2W, OVER(QV_PFLASH2W_SET1))
  SET(QV_INTEGERSET, QV_PFLASH3_SET1)
  ARRAY(QV_PFLASH3, PFLASH3, OVER(QV_PFLASH3_SET1))

  void Assignments(Assigner& set) {
    set(EPS, 1e-5);
    set(T_MAX, 9726.85);
    set(T_MIN, -253.15);
    set(UCF12, 273.15);
    set(UCF15, 1000.0);
    set(UCF18, 1e6);
    set(UCF3, 1e5);
    set(UEC4, 8.31446261815324);
    set(INTEGRATIONSTEP, "Equal Delp");
    set(INTEGRATIONMETHOD, "Direct Method");
    set(NINTERVALS, 10);
    set.range(NPOINTS, Last());
    set.range(NINTVL, NINTERVALS.IntegerValue());
    set.spec(PRATIOSTEP, QV_SPEC_GIVEN);
    set.upper(TEMP, T_MAX);
    set.lower(TEMP, T_MIN);
    PointsBetween(set, QV_PVAP_SET1, "Vapor-Only");
    PointsBetween(set, QV_PFLASH2_SET1, "Vapor-Liquid");
    PointsBetween(set, QV_PFLASH2W_SET1, "Vapor-Liquid-FreeWater");
    PointsBetween(set, QV_PFLASH3_SET1, "Vapor-Liquid-Liquid");
    Starts(set);
  }

  void Equations(Equate& eq) {
    const bool two_phases = is(VALIDPHASES, "Vapor-Liquid");
    const bool three_phases = is(VALIDPHASES, "Vapor-Liquid-FreeWater") || is(VALIDPHASES, "Vapor-Liquid-Liquid");

    eq("QV_Eqn1", PRES(1) == P_IN);
    eq("QV_Eqn2", TEMP(1) == T_IN);
    eq("QV_Eqn3", RHO(1) == RHO_IN);
    eq("QV_Eqn4", H(1) == H_IN);
    const auto at_suction = [&](int k) {
      return [&, k](auto& along, auto& in, auto&, auto) mutable { Same(eq, Label(k++), along, 1, in); };
    };
    if (two_phases) TwoPhases(at_suction(5));
    if (three_phases) ThreePhases(at_suction(15));

    eq.when(is(INTEGRATIONSTEP, "Equal DelP"), [&] {
        eq.each(NINTVL, [&](int a) { eq("QV_Eqn30", PRES(a + 1) == PRES(a) + DELP); });
      }).orWhen(is(INTEGRATIONSTEP, "Equal PRatio"), [&] {
        eq.each(NINTVL, [&](int a) {
          if (a + 1 < Last()) eq("QV_Eqn31", PRES(a + 1) == PRES(a) * PRATIOSTEP);
        });
        eq("QV_Eqn32", PRES(Last()) == PRES(Last() - 1) * PRATIOLASTSTEP);
      });
    eq.each(NPOINTS, [&](int i) {
      eq("QV_Eqn33", ZC(i) * RHO(i) * (UEC4 * UCF15) * (TEMP(i) + UCF12) == PRES(i) * UCF3);
    });

    Between(eq, QV_PVAP_SET1, PVAP, 34);
    eq.each(QV_PVAP_SET1, [&](int i) { eq("QV_Eqn37", H(i) == PVAP(i).H); });
    eq.each(QV_PVAP_SET1, [&](int i) { eq("QV_Eqn38", RHO(i) == PVAP(i).RHO); });

    Between(eq, QV_PFLASH2_SET1, PFLASH2, 39);
    eq.each(QV_PFLASH2_SET1, [&](int i) {
      eq("QV_Eqn52", RHOV(i) * RHOL(i) == RHO(i) * (RHOL(i) * VF(i) + RHOV(i) * (1 - VF(i))));
    });
    eq.each(QV_PFLASH2_SET1, [&](int i) { eq("QV_Eqn53", H(i) == VF(i) * HV(i) + LF(i) * HL(i)); });

    Between(eq, QV_PFLASH2W_SET1, PFLASH2W, 54);
    MixtureOfThree(eq, QV_PFLASH2W_SET1, "QV_Eqn72", "QV_Eqn73");
    Between(eq, QV_PFLASH3_SET1, PFLASH3, 74);
    MixtureOfThree(eq, QV_PFLASH3_SET1, "QV_Eqn92", "QV_Eqn93");

    // EPS keeps the logarithms apart from zero where an interval has no pressure rise or no compression.
    eq.each(NINTVL, [&](int a) {
      eq("QV_Eqn94", N(a) == ln(PRES(a + 1) / PRES(a) + EPS) / ln(RHO(a + 1) / RHO(a) + EPS));
    });
    eq.each(NINTVL, [&](int a) { eq("QV_Eqn95", NR(a) * N(a) == N(a) - 1); });
    eq.when(is(INTEGRATIONMETHOD, "N Method"), [&] {
        eq.each(NINTVL, [&](int a) {
          const int b = a + 1;
          eq("QV_Eqn96", HEAD(a) * NR(a) == UEC4 / MW * ZC(a) * (TEMP(a) + UCF12) * (pow(PRES(b) / PRES(a), NR(a)) - 1));
        });
      }).orWhen(is(INTEGRATIONMETHOD, "Direct Method"), [&] {
        eq.each(NINTVL, [&](int a) {
          const int b = a + 1;
          eq("QV_Eqn97", HEAD(a) == 0.5 * UEC4 / MW * (ZC(a) * (TEMP(a) + UCF12) + ZC(b) * (TEMP(b) + UCF12)) *
                                        ln(PRES(b) / PRES(a) + EPS));
        });
      });
    eq.each(NINTVL, [&](int a) { eq("QV_Eqn98", HEAD(a) == PEFF * (H(a + 1) - H(a)) * UCF18 / MW); });

    eq("QV_Eqn99", PRES(Last()) == P_OUT);
    eq("QV_Eqn100", TEMP(Last()) == T_OUT);
    eq("QV_Eqn101", RHO(Last()) == RHO_OUT);
    eq("QV_Eqn102", H(Last()) == H_OUT);
    const auto at_discharge = [&](int k) {
      return [&, k](auto& along, auto&, auto& out, auto) mutable { Same(eq, Label(k++), along, Last(), out); };
    };
    if (two_phases) TwoPhases(at_discharge(103));
    if (three_phases) ThreePhases(at_discharge(113));
    eq("QV_Eqn128", POLYHEAD == sigma(HEAD));
  }

  // The phase properties in the order of their equations: use(along the path, at suction, at discharge, of
  // the sub-model).
  template <class Use>
  void TwoPhases(Use use) {
    use(RHOL, RHOL_IN, RHOL_OUT, &QV_PFLASH2::RHOL);
    use(RHOV, RHOV_IN, RHOV_OUT, &QV_PFLASH2::RHOV);
    use(HL, HL_IN, HL_OUT, &QV_PFLASH2::HL);
    use(HV, HV_IN, HV_OUT, &QV_PFLASH2::HV);
    use(MWL, MWL_IN, MWL_OUT, &QV_PFLASH2::MWL);
    use(MWV, MWV_IN, MWV_OUT, &QV_PFLASH2::MWV);
    use(X, X_IN, X_OUT, &QV_PFLASH2::X);
    use(Y, Y_IN, Y_OUT, &QV_PFLASH2::Y);
    use(VF, VF_IN, VF_OUT, &QV_PFLASH2::VF);
    use(LF, LF_IN, LF_OUT, &QV_PFLASH2::LF);
  }
  template <class Use>
  void ThreePhases(Use use) {
    use(RHOL1, RHOL1_IN, RHOL1_OUT, &QV_PFLASH3::RHOL1);
    use(RHOL2, RHOL2_IN, RHOL2_OUT, &QV_PFLASH3::RHOL2);
    use(RHOV, RHOV_IN, RHOV_OUT, &QV_PFLASH3::RHOV);
    use(HL1, HL1_IN, HL1_OUT, &QV_PFLASH3::HL1);
    use(HL2, HL2_IN, HL2_OUT, &QV_PFLASH3::HL2);
    use(HV, HV_IN, HV_OUT, &QV_PFLASH3::HV);
    use(MWL1, MWL1_IN, MWL1_OUT, &QV_PFLASH3::MWL1);
    use(MWL2, MWL2_IN, MWL2_OUT, &QV_PFLASH3::MWL2);
    use(MWV, MWV_IN, MWV_OUT, &QV_PFLASH3::MWV);
    use(X1, X1_IN, X1_OUT, &QV_PFLASH3::X1);
    use(X2, X2_IN, X2_OUT, &QV_PFLASH3::X2);
    use(Y, Y_IN, Y_OUT, &QV_PFLASH3::Y);
    use(VF, VF_IN, VF_OUT, &QV_PFLASH3::VF);
    use(LF1, LF1_IN, LF1_OUT, &QV_PFLASH3::LF1);
    use(LF2, LF2_IN, LF2_OUT, &QV_PFLASH3::LF2);
  }

 private:
  int Last() const { return NINTERVALS.IntegerValue() + 1; }  // of NPOINTS: the discharge

  void PointsBetween(Assigner& set, QV_INTEGERSET& points, const char* phases) {
    std::string text;
    if (is(VALIDPHASES, phases))
      for (int i = 2; i < Last(); ++i) text += std::to_string(i) + '"';
    set(points, QV_IntSetValue(text.c_str()));
  }

  // The path to start from: pressures as the steps have them, and everything else in proportion to their
  // logarithm. An end that nobody has told yet is that of a gas whose temperature goes with the pressure to
  // the 0.3. The n-method needs this start: at NR = 0 its equation holds for any head.
  void Starts(Assigner& set) {
    const double kelvin = 273.15, r = 8.31446261815324;
    const double p1 = (*P_IN).RealValue(), p2 = (*P_OUT).RealValue(), mw = (*MW).RealValue();
    const double t1 = (*T_IN).RealValue(), rho1 = (*RHO_IN).RealValue(), h1 = (*H_IN).RealValue();
    if (!(p1 > 0 && p2 > 0 && p1 != p2 && rho1 > 0 && mw > 0 && t1 > -kelvin) || PRES.Count() != Last()) return;
    const auto told = [](const QV_VarParam& end, double otherwise) {
      return end.HoldsDefault() ? otherwise : end.RealValue();
    };
    const double t2 = told(*T_OUT, (t1 + kelvin) * std::pow(p2 / p1, 0.3) - kelvin);
    const double rho2 = told(*RHO_OUT, rho1 * p2 / p1 * (t1 + kelvin) / (t2 + kelvin));
    const double h2 = told(*H_OUT, h1 + 3.5e-6 * r * (t2 - t1));
    if (!(t2 > -kelvin && rho2 > 0)) return;

    const bool by_ratio = is(INTEGRATIONSTEP, "Equal PRatio");
    const double intervals = NINTERVALS.IntegerValue();
    const double ratio = PRATIOSTEP.RealValue() > 0 ? PRATIOSTEP.RealValue() : std::pow(p2 / p1, 1 / intervals);
    std::vector<double> share;  // of the logarithm, by point
    for (int i = 1; i <= Last(); ++i) {
      const double p = i == Last() ? p2 : by_ratio ? p1 * std::pow(ratio, i - 1) : p1 + (p2 - p1) * (i - 1) / intervals;
      share.push_back(std::log(p / p1) / std::log(p2 / p1));
    }
    const auto line = [&](auto& along, double first, double last) {
      for (int i = 1; i <= Last(); ++i) set(along(i), std::lerp(first, last, share[static_cast<size_t>(i - 1)]));
    };
    const auto power = [&](auto& along, double first, double last) {
      for (int i = 1; i <= Last(); ++i)
        set(along(i), first * std::pow(last / first, share[static_cast<size_t>(i - 1)]));
    };
    power(PRES, p1, p2);
    line(TEMP, t1, t2);
    power(RHO, rho1, rho2);
    line(H, h1, h2);
    line(ZC, 100 * p1 / (rho1 * r * (t1 + kelvin)), 100 * p2 / (rho2 * r * (t2 + kelvin)));  // 1 bar is 100 kJ/m3
    const double n = std::log(p2 / p1) / std::log(rho2 / rho1);
    if (std::isfinite(n)) set(N, n);
    if (n != 0) set(NR, (n - 1) / n);
    for (int a = 1; a < Last(); ++a)
      set(HEAD(a), 100 * (PRES(a + 1).RealValue() - PRES(a).RealValue()) / (RHO(a).RealValue() * mw));

    const auto phase = [&](auto& along, auto& in, auto& out, auto) {
      if constexpr (std::derived_from<std::remove_cvref_t<decltype(along)>, QV_BASE_IS>)
        ForEach(*ComponentList, [&](const char* c) {
          for (int i = 1; i <= Last(); ++i)
            set(along(i, c), std::lerp(in(c).RealValue(), out(c).RealValue(), share[static_cast<size_t>(i - 1)]));
        });
      else
        line(along, in.RealValue(), out.RealValue());
    };
    if (is(VALIDPHASES, "Vapor-Liquid")) TwoPhases(phase);
    if (PFLASH2W.Count() + PFLASH3.Count() > 0) ThreePhases(phase);
    const auto between = [&](auto& states) {
      for (int i = 2; i < Last() && states.Count() == Last() - 2; ++i) {
        set(states(i).T, TEMP(i));
        set(states(i).P, PRES(i));
      }
    };
    between(PVAP);
    between(PFLASH2);
    between(PFLASH2W);
    between(PFLASH3);
  }

  // A phase property at a point, or all its components there, has the value of one that belongs to that
  // point.
  template <class Along, class Value>
  void Same(Equate& eq, const char* label, Along& along, int point, Value& value) {
    if constexpr (std::derived_from<Along, QV_BASE_IS>)
      eq.each(ComponentList, [&](const char* c) { eq(label, along(point, c) == value(c)); });
    else
      eq(label, along(point) == value);
  }

  // Temperature, pressure and composition given to the sub-models, and the phase properties they find,
  // numbered from `number`.
  template <class State>
  void Between(Equate& eq, QV_INTEGERSET& points, QV_ARRAY_I<State>& states, int number) {
    eq.each(points, [&](int i) { eq(Label(number), states(i).T == TEMP(i)); });
    eq.each(points, [&](int i) { eq(Label(number + 1), states(i).P == PRES(i)); });
    eq.each(points, [&](int i) {
      eq.each(ComponentList, [&](const char* c) { eq(Label(number + 2), states(i).Z(c) == (*Z)(c)); });
    });
    const auto found = [&, k = number + 3](auto& along, auto&, auto&, auto member) mutable {
      eq.each(points, [&](int i) { Same(eq, Label(k), along, i, states(i).*member); });
      ++k;
    };
    if constexpr (std::derived_from<State, QV_PFLASH3>)
      ThreePhases(found);
    else if constexpr (std::derived_from<State, QV_PFLASH2>)
      TwoPhases(found);
  }

  // Volumes and enthalpies of a mole of mixture are those of its phases; the first multiplied by all
  // densities.
  void MixtureOfThree(Equate& eq, QV_INTEGERSET& points, const char* density, const char* enthalpy) {
    eq.each(points, [&](int i) {
      eq(density, RHOV(i) * RHOL1(i) * RHOL2(i) == RHO(i) * (RHOL1(i) * RHOL2(i) * VF(i) + RHOV(i) * RHOL2(i) * LF1(i) +
                                                             RHOV(i) * RHOL1(i) * LF2(i)));
    });
    eq.each(points, [&](int i) { eq(enthalpy, H(i) == VF(i) * HV(i) + LF1(i) * HL1(i) + LF2(i) * HL2(i)); });
  }
};
