// SPDX-License-Identifier: Apache-2.0
// With d1 = 1 + sqrt 2, d2 = 1 - sqrt 2, n = 1 and D = n^2 a:
//   F = A_res/RT = -n g - D f / T,  g = ln(1 - B/V),  f = ln((V + d1 B)/(V + d2 B)) / (R B (d1 - d2)).
#include "runtime/properties/peng_robinson.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/properties/cubic_roots.h"
#include "runtime/properties/property_error.h"

namespace quiver {
namespace {

constexpr double kSqrt2 = 1.41421356237309504880;
constexpr double kD1 = 1 + kSqrt2, kD2 = 1 - kSqrt2;
constexpr double kCriticalVolumeRatio = 3.95137306;  // Vc/b
constexpr double kCriticalAttraction = kOmegaA / kOmegaB;

}  // namespace

struct PengRobinson::Mixture {
  double rt, a, b, da = 0, da2 = 0;  // a with temperature derivatives
  double v;                          // untranslated
  double z;                          // P v / RT
  int real_roots;
  double log_ratio;  // ln((v + d1 b)/(v + d2 b))
};

PengRobinson::PengRobinson(std::vector<PengRobinsonComponent> components, std::vector<double> kij)
    : components_(std::move(components)), kij_(std::move(kij)), factor_(kij_) {
  for (double& f : factor_) f = 1 - f;
  for (const PengRobinsonComponent& c : components_) {
    b_.push_back(kOmegaB * kGasConstant * c.tc / c.pc);
    root_ac_.push_back(std::sqrt(kOmegaA / c.pc) * kGasConstant * c.tc);
    m_.push_back(AlphaSlope(c.omega));
    inverse_root_tc_.push_back(1 / std::sqrt(c.tc));
  }
}

void PengRobinson::SetTemperature(double temperature, Workspace& work) const {
  const std::size_t n = size();
  work.temperature = temperature;
  for (auto* v : {&work.s, &work.s1, &work.s2, &work.shift, &work.shift1, &work.shift2, &work.weighted,
                  &work.w, &work.w1})
    v->resize(n);
  const double root_t = std::sqrt(temperature);
  for (std::size_t i = 0; i < n; ++i) {
    const double r = root_t * inverse_root_tc_[i], m = m_[i];
    // 1 + m (1 - r) with r = sqrt Tr. d/dT of r is r/(2T).
    double root = 1 + m * (1 - r), first = -m * r / (2 * temperature), second = -first / (2 * temperature);
    if (m < 0 && r > 1) {
      // Helium: the classical form would let the attraction grow without bound. 1 - 1/r has the value and
      // slope of r - 1 at Tc and levels off.
      root = 1 - m * (1 - 1 / r);
      first = -m / (2 * temperature * r);
      second = -1.5 * first / temperature;
    } else if (root <= 0) {
      // Far above Tc the attraction has died out; squared, the classical form would bring it back.
      root = first = second = 0;
    } else if (r < 1) {
      const Jet extra = components_[i].alpha.At(1 - r);  // du/dT is -r/(2T)
      const double du = -r / (2 * temperature);
      root += extra.value;
      first += extra.first * du;
      second += extra.second * du * du - extra.first * du / (2 * temperature);
    }
    work.s[i] = root_ac_[i] * root;
    work.s1[i] = root_ac_[i] * first;
    work.s2[i] = root_ac_[i] * second;
    const Jet c = components_[i].shift.At(temperature);
    work.shift[i] = c.value;
    work.shift1[i] = c.first;
    work.shift2[i] = c.second;
  }
}

template <bool kWithTemperature>
PengRobinson::Mixture PengRobinson::Mix(Workspace& work, double pressure, std::span<const double> x,
                                        Root root) const {
  const std::size_t n = size();
  Mixture mix{};
  mix.rt = kGasConstant * work.temperature;
  for (std::size_t i = 0; i < n; ++i) {
    mix.b += x[i] * b_[i];
    work.weighted[i] = x[i] * work.s[i];
  }
  for (std::size_t i = 0; i < n; ++i) {
    double sum = 0;
    for (std::size_t j = 0; j < n; ++j) sum += factor_[i * n + j] * work.weighted[j];
    work.w[i] = sum;
    mix.a += work.weighted[i] * sum;
  }
  if constexpr (kWithTemperature) {
    for (std::size_t i = 0; i < n; ++i) {
      double sum = 0;
      for (std::size_t j = 0; j < n; ++j) sum += factor_[i * n + j] * x[j] * work.s1[j];
      work.w1[i] = sum;
      mix.da += 2 * x[i] * work.s1[i] * work.w[i];
      mix.da2 += 2 * x[i] * (work.s2[i] * work.w[i] + work.s1[i] * sum);
    }
  }

  const double big_a = mix.a * pressure / (mix.rt * mix.rt), big_b = mix.b * pressure / mix.rt;
  const CubicRoots roots =
      SolveCubic(big_b - 1, big_a - big_b * (2 + 3 * big_b), big_b * (big_b * (1 + big_b) - big_a));
  // Only roots above B are volumes; a negative or sub-covolume root can stand beside one real volume.
  double low = roots.values[2];
  for (double z : {roots.values[1], roots.values[0]})
    if (roots.count == 3 && z > big_b) low = z;
  const double high = roots.values[2];
  mix.real_roots = low < high ? 3 : 1;
  auto log_ratio = [&](double z) { return std::log((z + kD1 * big_b) / (z + kD2 * big_b)); };
  auto gibbs = [&](double z, double ratio) {
    return z - 1 - std::log(z - big_b) - big_a / (2 * kSqrt2 * big_b) * ratio;
  };
  mix.z = root == Root::kLiquid ? low : high;
  mix.log_ratio = log_ratio(mix.z);
  if (root == Root::kStable && low < high) {
    const double low_ratio = log_ratio(low);
    if (gibbs(low, low_ratio) < gibbs(high, mix.log_ratio)) {
      mix.z = low;
      mix.log_ratio = low_ratio;
    }
  }
  mix.v = mix.z * mix.rt / pressure;
  return mix;
}

EosState PengRobinson::Fugacity(Workspace& work, double pressure, std::span<const double> x, Root root,
                                std::span<double> ln_phi) const {
  const Mixture mix = Mix<false>(work, pressure, x, root);
  const double big_b = mix.b * pressure / mix.rt;
  const double k = mix.log_ratio / (2 * kSqrt2 * mix.b * mix.rt);
  const double log_free = std::log(mix.z - big_b);
  const double per_b = (mix.z - 1) / mix.b + k * mix.a / mix.b, per_shift = pressure / mix.rt;
  double shift = 0;
  for (std::size_t i = 0; i < size(); ++i) {
    ln_phi[i] = b_[i] * per_b - log_free - 2 * k * work.s[i] * work.w[i] - work.shift[i] * per_shift;
    shift += x[i] * work.shift[i];
  }
  EosState state;
  state.real_roots = mix.real_roots;
  state.eos_volume = mix.v;
  state.volume = mix.v - shift;
  state.covolume = mix.b;
  state.attraction = mix.a / (mix.b * mix.rt);
  return state;
}

double PengRobinson::Volume(Workspace& work, double pressure, std::span<const double> x, Root root) const {
  const Mixture mix = Mix<false>(work, pressure, x, root);
  double shift = 0;
  for (std::size_t i = 0; i < size(); ++i) shift += x[i] * work.shift[i];
  return mix.v - shift;
}

EosState PengRobinson::Caloric(Workspace& work, double pressure, std::span<const double> x, Root root) const {
  const Mixture mix = Mix<true>(work, pressure, x, root);
  const double t = work.temperature, v = mix.v, b = mix.b;
  double shift = 0, shift1 = 0, shift2 = 0;
  for (std::size_t i = 0; i < size(); ++i) {
    shift += x[i] * work.shift[i];
    shift1 += x[i] * work.shift1[i];
    shift2 += x[i] * work.shift2[i];
  }
  // P = RT/(V - b) - a/q, q = (V + d1 b)(V + d2 b) = V^2 + 2 b V - b^2
  const double free = v - b, q = v * v + 2 * b * v - b * b;
  const double dp_dt = kGasConstant / free - mix.da / q;
  const double dp_dv = -mix.rt / (free * free) + 2 * mix.a * (v + b) / (q * q);
  const double integral = mix.log_ratio / (2 * kSqrt2 * b);  // of dV/q from V to infinity

  EosState s;
  s.real_roots = mix.real_roots;
  s.eos_volume = v;
  s.volume = v - shift;
  s.covolume = b;
  s.attraction = mix.a / (b * mix.rt);
  s.dV_dP = 1 / dp_dv;
  s.dV_dT = -dp_dt / dp_dv - shift1;
  s.residual_h = mix.rt * (mix.z - 1) + (t * mix.da - mix.a) * integral - pressure * (shift - t * shift1);
  s.residual_s =
      kGasConstant * std::log(mix.z - b * pressure / mix.rt) + mix.da * integral + pressure * shift1;
  s.residual_cp = t * mix.da2 * integral - t * dp_dt * dp_dt / dp_dv - kGasConstant + pressure * t * shift2;
  s.cp_minus_cv = -t * s.dV_dT * s.dV_dT * dp_dv;
  return s;
}

EosState PengRobinson::FugacityDerivatives(Workspace& work, double pressure, std::span<const double> x,
                                           Root root, Derivatives& out) const {
  const std::size_t n = size();
  for (auto* v : {&out.ln_phi, &out.dT, &out.dP}) v->resize(n);
  out.dn.resize(n * n);
  const Mixture mix = Mix<true>(work, pressure, x, root);
  const double t = work.temperature, v = mix.v, b = mix.b, d = mix.a, r = kGasConstant;

  const double free = 1 / (v - b), p1 = 1 / (v + kD1 * b), p2 = 1 / (v + kD2 * b);
  const double scale = 1 / (r * b * (kD1 - kD2));
  const double g = std::log((v - b) / v), g_b = -free, g_v = free - 1 / v, g_bv = free * free,
               g_bb = -free * free;
  const double g_vv = -free * free + 1 / (v * v);
  const double f = scale * mix.log_ratio, f_v = -p1 * p2 / r, f_vv = scale * (p2 * p2 - p1 * p1);
  const double f_b = -(f + v * f_v) / b, f_bv = -(2 * f_v + v * f_vv) / b, f_bb = -(2 * f_b + v * f_bv) / b;

  const double F_n = -g, F_B = -g_b - d / t * f_b, F_D = -f / t;
  const double F_nB = -g_b, F_nV = -g_v, F_BB = -g_bb - d / t * f_bb, F_BD = -f_b / t;
  const double F_BV = -g_bv - d / t * f_bv, F_DV = -f_v / t, F_VV = -g_vv - d / t * f_vv;
  const double F_BT = d * f_b / (t * t), F_DT = f / (t * t), F_TV = d * f_v / (t * t);

  const double dp_dv = -mix.rt * (F_VV + 1 / (v * v));
  const double dp_dt = pressure / t - mix.rt * (F_TV + F_DV * mix.da);
  const double log_z = std::log(mix.z);
  double shift = 0, shift1 = 0;
  // dp_dn is kept in out.dP until it has served the matrix.
  for (std::size_t i = 0; i < n; ++i) {
    const double d_i = 2 * work.s[i] * work.w[i];
    out.ln_phi[i] = F_n + F_B * b_[i] + F_D * d_i - log_z;
    out.dP[i] = mix.rt / v - mix.rt * (F_nV + F_BV * b_[i] + F_DV * d_i);
    const double d_it = 2 * (work.s1[i] * work.w[i] + work.s[i] * work.w1[i]);
    const double f_it = (F_BT + F_BD * mix.da) * b_[i] + F_DT * d_i + F_D * d_it;
    const double partial_volume = -out.dP[i] / dp_dv;
    out.dT[i] = f_it + 1 / t - partial_volume / mix.rt * dp_dt;
    shift += x[i] * work.shift[i];
    shift1 += x[i] * work.shift1[i];
  }
  for (std::size_t i = 0; i < n; ++i) {
    const double d_i = 2 * work.s[i] * work.w[i];
    for (std::size_t j = 0; j <= i; ++j) {
      const double d_j = 2 * work.s[j] * work.w[j];
      const double f_ij = F_nB * (b_[i] + b_[j]) + F_BD * (b_[i] * d_j + b_[j] * d_i) + F_BB * b_[i] * b_[j] +
                          F_D * 2 * factor_[i * n + j] * work.s[i] * work.s[j];
      const double value = f_ij + 1 + out.dP[i] * out.dP[j] / (mix.rt * dp_dv);
      out.dn[i * n + j] = out.dn[j * n + i] = value;
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    const double partial_volume = -out.dP[i] / dp_dv;
    out.ln_phi[i] -= pressure * work.shift[i] / mix.rt;
    out.dT[i] -= pressure * (work.shift1[i] - work.shift[i] / t) / mix.rt;
    out.dP[i] = (partial_volume - work.shift[i]) / mix.rt - 1 / pressure;
  }
  EosState state;
  state.real_roots = mix.real_roots;
  state.eos_volume = v;
  state.volume = v - shift;
  state.covolume = b;
  state.attraction = mix.a / (b * mix.rt);
  state.dV_dP = 1 / dp_dv;
  state.dV_dT = -dp_dt / dp_dv - shift1;
  return state;
}

double PengRobinson::PureVapourPressure(std::size_t i, double temperature) const {
  const PengRobinsonComponent& c = components_[i];
  if (temperature >= c.tc)
    throw PropertyError(fmt::format(
        "{} has no vapour pressure at {:.2f} K: its critical temperature is {:.2f} K. Ask below that.",
        c.name, temperature, c.tc));
  // Liquid only: the pressure is too high; vapour only: too low; both: their fugacity ratio is the next step.
  const PengRobinson pure({{c.name, c.tc, c.pc, c.omega, c.alpha}}, {0});
  Workspace work;
  pure.SetTemperature(temperature, work);
  const double one[] = {1.0};
  double low = 0, high = c.pc, p = c.pc * std::exp(5.373 * (1 + c.omega) * (1 - c.tc / temperature));
  p = std::min(p, 0.9999 * c.pc);
  for (int step = 0; step < 200; ++step) {
    double liquid, vapour;
    const EosState vapour_state = pure.Fugacity(work, p, one, Root::kVapour, {&vapour, 1});
    double next;
    if (vapour_state.real_roots == 1) {
      (vapour_state.eos_volume > kCriticalVolumeRatio * vapour_state.covolume ? low : high) = p;
      next = low > 0 ? std::sqrt(low * high) : 0.5 * high;
    } else {
      const EosState liquid_state = pure.Fugacity(work, p, one, Root::kLiquid, {&liquid, 1});
      (liquid > vapour ? low : high) = p;
      // Newton in ln P: d(ln phi)/d ln P = Z - 1.
      const double slope =
          p * (vapour_state.eos_volume - liquid_state.eos_volume) / (kGasConstant * temperature);
      next = p * std::exp(std::clamp((liquid - vapour) / slope, -2.0, 2.0));
      if (std::abs(next - p) <= 1e-14 * p) return next;
      if (!(next > low && next < high)) next = low > 0 ? std::sqrt(low * high) : 0.5 * high;
    }
    if (std::abs(next - p) <= 1e-15 * p) return next;
    p = next;
  }
  return p;
}

bool IsVapourLike(const EosState& state) {
  return state.attraction < kCriticalAttraction || state.eos_volume > kCriticalVolumeRatio * state.covolume;
}

}  // namespace quiver
