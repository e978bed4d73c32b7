// SPDX-License-Identifier: Apache-2.0
// The equations of PSV_SW for a saturated inlet, written by hand in C++ with derivatives derived by hand: the reference
// for evaluation benches. Terms that several equations share are computed once.
//
//   PsvSw<double>([&](int k) { return x[k]; }, [&](int e, double r) { ... }, [&](int k, double j) { ... });
#pragma once

#include <cmath>

namespace quiver::bench {

// The order of a copy's variables. The last five are parameters: their columns have no entries.
// clang-format off
#define QUIVER_PSV_SW_VARIABLES(V)                                                                           \
  V(K)                                                                                                       \
  V(CP_V)                                                                                                    \
  V(CV_V) V(CP_L0) V(CP_L0_MOL) V(MWL) V(V_L0) V(RHOL) V(V_V0) V(RHOV) V(MWV) V(X0) V(E0) V(P_T0) V(LFACTOR) \
      V(P) V(VFACTOR) V(ETA_S) V(DH_V0) V(HL) V(HV) V(V_0) V(ETA_SMIN) V(OMIGA) V(OMIGA_GAS) V(T0)           \
          V(ETA_CRIT_LIQ) V(ETA_CRIT_2P) V(ETA_CRIT_VAP) V(ETA) V(ETA_CRIT) V(CRITICAL_FLOW) V(PSI_SQ)       \
              V(PSI_SQ_2P) V(P_CRIT) V(PSI_SQ_LIQ) V(PSI_SQ_VAP) V(FLUX) V(T) V(GJ_TO_MJ) V(MJ_TO_J)         \
                  V(KJ_TO_J) V(UCF3) V(UCF12)
// clang-format on

enum PsvSwVariable {
#define V(name) k##name,
  QUIVER_PSV_SW_VARIABLES(V)
#undef V
      kPsvSwVariables
};
inline constexpr int kPsvSwParameters = 5, kPsvSwEquations = 25, kPsvSwEntries = 81;

// The mathematics a vector version needs in forms that it can call.
struct LibraryMath {
  static double Log(double a) { return std::log(a); }
  static double Pow(double a, double b) { return std::pow(a, b); }
  static double Sqrt(double a) { return std::sqrt(a); }
};

template <class Math, class Load, class Residual, class Entry>
[[gnu::always_inline]] inline void PsvSw(const Load& x, const Residual& r, const Entry& j) {
#define V(name) const double name = x(k##name);
  QUIVER_PSV_SW_VARIABLES(V)
#undef V
  const double per_cv = 1 / CV_V, per_mwl = 1 / MWL, per_mwv = 1 / MWV, per_p = 1 / P, per_v0 = 1 / V_0;
  const double dv = V_V0 - V_L0, per_eta = 1 / ETA;

  r(0, K - CP_V * per_cv);
  j(0, 1), j(1, -per_cv), j(2, CP_V * per_cv * per_cv);

  r(1, CP_L0 - CP_L0_MOL * per_mwl);
  j(3, 1), j(4, -per_mwl), j(5, CP_L0_MOL * per_mwl * per_mwl);

  r(2, -1 + V_L0 * RHOL * MWL);
  j(6, RHOL * MWL), j(7, V_L0 * MWL), j(8, V_L0 * RHOL);
  r(3, -1 + V_V0 * RHOV * MWV);
  j(9, RHOV * MWV), j(10, V_V0 * MWV), j(11, V_V0 * RHOV);

  const double liquid = E0 * V_L0, per_both = 1 / ((1 - E0) * V_V0 + liquid), share = liquid * per_both;
  r(4, X0 - share);
  j(12, 1), j(13, -(V_L0 + share * dv) * per_both), j(14, -E0 * (1 - share) * per_both);
  j(15, share * (1 - E0) * per_both);

  r(5, P_T0 * (1 - LFACTOR) - P * (1 - VFACTOR));
  j(16, 1 - LFACTOR), j(17, -P_T0), j(18, VFACTOR - 1), j(19, P);

  r(6, ETA_S - P_T0 * per_p);
  j(20, 1), j(21, -per_p), j(22, P_T0 * per_p * per_p);

  const double per_gj = 1 / GJ_TO_MJ;
  r(7, DH_V0 * per_gj + (HL * per_mwl - HV * per_mwv));
  j(23, per_gj), j(24, per_mwl), j(25, -HL * per_mwl * per_mwl), j(26, -per_mwv),
      j(27, HV * per_mwv * per_mwv);

  r(8, V_0 - (X0 * V_V0 + (1 - X0) * V_L0));
  j(28, 1), j(29, -dv), j(30, -X0), j(31, X0 - 1);

  const double per_omega = 1 / (1 + 2 * OMIGA);
  r(9, ETA_SMIN - 2 * OMIGA * per_omega);
  j(32, 1), j(33, -2 * per_omega * per_omega);

  const double gas = X0 * dv * per_v0;
  r(10, OMIGA_GAS - gas);
  j(34, 1), j(35, -dv * per_v0), j(36, -X0 * per_v0), j(37, X0 * per_v0), j(38, gas * per_v0);

  const double per_heat = 1 / (DH_V0 * MJ_TO_J), q = dv * per_heat, q2 = q * q;
  const double pressure = KJ_TO_J * P, temperature = UCF3 * T0, rest = pressure * temperature * per_v0 * q2;
  const double a = CP_L0 * rest, t = ETA_S * a;
  const double by_q = 2 * ETA_S * CP_L0 * pressure * temperature * per_v0 * q;
  r(11, OMIGA - (OMIGA_GAS + t));
  j(39, 1), j(40, -1), j(41, -a), j(42, -ETA_S * rest), j(43, -t * per_p), j(44, -t / T0), j(45, t * per_v0);
  j(46, -by_q * per_heat), j(47, by_q * per_heat), j(48, by_q * q * MJ_TO_J * per_heat);

  r(12, ETA_CRIT_LIQ - ETA_S);
  j(49, 1), j(50, -1);

  {
    const double o = OMIGA, e = ETA_CRIT_2P, s = ETA_S, per_s = 1 / s;
    const double n = 1 + o * o - 2 * o, per_d = 1 / (2 * s * (1e-8 + o)), term = n * e * e * per_d;
    const double ratio = e * per_s, log = Math::Log(ratio >= 1e-10 ? ratio : 1e-10);
    r(13, 1 - (term - 2 * (o - 1) * e + o * s * log + 1.5 * o * s));
    j(51, -((2 * o - 2) * e * e * per_d - term * 2 * s * per_d - 2 * e + s * log + 1.5 * s));
    j(52, -(2 * n * e * per_d - 2 * (o - 1) + (ratio >= 1e-10 ? o * s / e : 0)));
    j(53, -(-term * per_s + o * log - (ratio >= 1e-10 ? o : 0) + 1.5 * o));
  }
  const double m = K - 1 >= 1e-5 ? K - 1 : 1e-5, dm = K - 1 >= 1e-5 ? 1 : 0, per_m = 1 / m;
  const double f = K * per_m, df = (m - K * dm) * per_m * per_m;
  {
    const double per_k1 = 1 / (1 + K), base = 2 * per_k1, power = Math::Pow(base, f);
    r(14, ETA_CRIT_VAP - power);
    j(54, 1), j(55, -power * (df * Math::Log(base) - f * per_k1));
  }
  r(15, ETA - ETA_CRIT);
  j(56, 1), j(57, -1);
  r(16, CRITICAL_FLOW - 1);
  j(58, 1);
  r(17, ETA_CRIT - ETA_CRIT_2P);
  j(59, 1), j(60, -1);
  r(18, PSI_SQ - PSI_SQ_2P);
  j(61, 1), j(62, -1);
  r(19, P_CRIT - P * ETA_CRIT);
  j(63, 1), j(64, -ETA_CRIT), j(65, -P);
  r(20, PSI_SQ_LIQ + (-1 + ETA));
  j(66, 1), j(67, 1);
  {
    const double o = OMIGA, s = ETA_S, ratio = s * per_eta, g = 1 + o * (ratio - 1), log = Math::Log(ratio);
    const double by_g = 4 * PSI_SQ_2P * g;
    r(21, 2 * PSI_SQ_2P * g * g - (2 * (1 - s) + 2 * (o * s * log - (o - 1) * (s - ETA))));
    j(68, 2 * g * g), j(69, by_g * (ratio - 1) - 2 * (s * log - (s - ETA)));
    j(70, by_g * o * per_eta + 2 - 2 * (o * log + o - (o - 1)));
    j(71, -by_g * o * ratio * per_eta + 2 * (o * ratio - (o - 1)));
  }
  {
    const double per_k = 1 / K, p = 2 * per_k, q_power = (1 + K) * per_k;
    const double first = Math::Pow(ETA, p), second = Math::Pow(ETA, q_power), log = Math::Log(ETA);
    r(22, PSI_SQ_VAP - f * (first - second));
    j(72, 1), j(73, -(df * (first - second) + f * log * per_k * per_k * (second - 2 * first)));
    j(74, -f * per_eta * (p * first - q_power * second));
  }
  {
    const double root = Math::Sqrt(2 * PSI_SQ * P * UCF3 * per_v0);
    r(23, FLUX - root);
    j(75, 1), j(76, -0.5 * root / PSI_SQ), j(77, -0.5 * root * per_p), j(78, 0.5 * root * per_v0);
  }
  r(24, T0 - (T + UCF12));
  j(79, 1), j(80, -1);
}

// A whole Newton iteration of what each equation determines when the flow is asked for: evaluation, substitution block after
// block (every block is one equation), the new point. `store` takes the new unknowns.
template <class Math, class Load, class Store>
[[gnu::always_inline]] inline void PsvSwNewton(const Load& x, const Store& store) {
  double r[kPsvSwEquations], j[kPsvSwEntries];
  PsvSw<Math>(
      x, [&](int e, double value) { r[e] = value; }, [&](int k, double value) { j[k] = value; });
  const auto take = [&](int variable, double step) {
    store(variable, x(variable) + step);
    return step;
  };
  const double t0 = take(kT0, -r[24]), k = take(kK, -r[0]), cp = take(kCP_L0, -r[1]);
  const double v_l0 = take(kV_L0, -r[2] / j[6]), v_v0 = take(kV_V0, -r[3] / j[9]);
  const double x0 = take(kX0, -(r[4] + j[14] * v_l0 + j[15] * v_v0));
  const double p_t0 = take(kP_T0, -r[5] / j[16]), eta_s = take(kETA_S, -(r[6] + j[21] * p_t0));
  const double heat = take(kDH_V0, -r[7] / j[23]);
  const double v_0 = take(kV_0, -(r[8] + j[29] * x0 + j[30] * v_v0 + j[31] * v_l0));
  const double gas = take(kOMIGA_GAS, -(r[10] + j[35] * x0 + j[36] * v_v0 + j[37] * v_l0 + j[38] * v_0));
  const double omega = take(kOMIGA, -(r[11] - gas + j[41] * eta_s + j[42] * cp + j[44] * t0 + j[45] * v_0 +
                                      j[46] * v_v0 + j[47] * v_l0 + j[48] * heat));
  take(kETA_SMIN, -(r[9] + j[33] * omega));
  take(kETA_CRIT_LIQ, -(r[12] - eta_s));
  const double two_phase = take(kETA_CRIT_2P, -(r[13] + j[51] * omega + j[53] * eta_s) / j[52]);
  take(kETA_CRIT_VAP, -(r[14] + j[55] * k));
  const double critical = take(kETA_CRIT, -(r[17] - two_phase)), eta = take(kETA, -(r[15] - critical));
  take(kCRITICAL_FLOW, -r[16]);
  take(kP_CRIT, -(r[19] + j[65] * critical));
  take(kPSI_SQ_LIQ, -(r[20] + eta));
  const double psi_2p = take(kPSI_SQ_2P, -(r[21] + j[69] * omega + j[70] * eta_s + j[71] * eta) / j[68]);
  const double psi = take(kPSI_SQ, -(r[18] - psi_2p));
  take(kPSI_SQ_VAP, -(r[22] + j[73] * k + j[74] * eta));
  take(kFLUX, -(r[23] + j[76] * psi + j[78] * v_0));
}

// Copies one behind the other, as the flowsheet numbers them.
void PsvSwScalar(int copies, const double* x, double* residuals, double* entries);

// Blocks of kBlock copies, within a block all values of one variable together: what a vector version wants. Arrays hold
// whole blocks. Powers and logarithms are those of the C library's vector functions. Streamed: see stream_copy.h.
inline constexpr int kBlock = 64;
void PsvSwVector(int copies, const double* x, double* residuals, double* entries, bool streamed);

// Newton iterations in the two forms.
void PsvSwNewtonScalar(int copies, const double* x, double* x_new);
void PsvSwNewtonVector(int copies, const double* x, double* x_new);

}  // namespace quiver::bench
