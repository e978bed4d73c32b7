// SPDX-License-Identifier: Apache-2.0
// Flashes at given vapour fraction: bubble and dew points and what lies between, at given temperature or
// pressure. Newton in ln K and ln P (or ln T) from Wilson's K answers nearly always; near a critical point it
// is led there from colder conditions. Where that fails too or the phases are not stable (a second liquid)
// the flash at temperature and pressure is searched along the unknown.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/properties/dense.h"
#include "runtime/properties/flash.h"
#include "runtime/properties/flash_detail.h"
#include "runtime/properties/property_error.h"
#include "runtime/properties/stability.h"

namespace quiver {

struct FlashSolver::Search {
  bool pressure_unknown;
  double vapour_fraction;
  double temperature, pressure;
  std::vector<double> ln_k = {};

  double& Known() { return pressure_unknown ? temperature : pressure; }
  double& Unknown() { return pressure_unknown ? pressure : temperature; }
  // Rises from the vapour side to the liquid side.
  void MoveTo(double coordinate) { Unknown() = std::exp(pressure_unknown ? coordinate : -coordinate); }
  bool InBounds() const {
    return temperature > kLowestTemperature && temperature < kHighestTemperature && pressure > 1e-8 &&
           pressure < 5e9;
  }
};

namespace {

// The shift d at which sum z (K - 1)/(1 + b (K - 1)) with ln K_i + slope_i d is 0; the sum rises with d.
double MatchVapourFraction(std::span<const double> z, std::span<const double> ln_k,
                           std::span<const double> slope, double b) {
  auto sum = [&](double d) {
    double f = 0;
    for (std::size_t i = 0; i < z.size(); ++i) {
      const double k = std::exp(std::clamp(ln_k[i] + slope[i] * d, -600.0, 600.0));
      f += z[i] * (k - 1) / (1 + b * (k - 1));
    }
    return f;
  };
  const double unit = 1 / *std::ranges::max_element(slope);
  double low = 0, high = 0, step = unit;
  if (sum(0) < 0) {
    while (sum(high) < 0 && high < 400 * unit) low = high, high += step, step *= 2;
  } else {
    while (sum(low) > 0 && low > -400 * unit) high = low, low -= step, step *= 2;
  }
  for (int i = 0; i < 60; ++i) {
    const double middle = 0.5 * (low + high);
    (sum(middle) < 0 ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

// x and y of ln K, as they are and normalised (fx, fy); returns their sums.
std::pair<double, double> Compositions(std::span<const double> z, std::span<const double> ln_k, double b,
                                       std::span<double> x, std::span<double> y, std::span<double> fx,
                                       std::span<double> fy) {
  double sum_x = 0, sum_y = 0;
  for (std::size_t i = 0; i < z.size(); ++i) {
    const double k = std::exp(ln_k[i]);
    x[i] = z[i] / (1 + b * (k - 1));
    y[i] = k * x[i];
    sum_x += x[i];
    sum_y += y[i];
  }
  for (std::size_t i = 0; i < z.size(); ++i) {
    fx[i] = x[i] / sum_x;
    fy[i] = y[i] / sum_y;
  }
  return {sum_x, sum_y};
}

}  // namespace

bool FlashSolver::StartFromWilson(Search& search, std::span<const double> z) const {
  const std::size_t n = z.size();
  const double b = search.vapour_fraction;
  PengRobinson::Workspace work;
  std::vector<double> slope(n), x(n), y(n), fx(n), fy(n);
  std::vector<double>& ln_k = search.ln_k;
  ln_k.resize(n);
  search.Unknown() = search.pressure_unknown ? 1e5 : 300;
  for (std::size_t i = 0; i < n; ++i) {
    const PengRobinsonComponent& c = eos_.component(i);
    ln_k[i] = std::log(WilsonK(c, search.temperature, search.pressure));
    slope[i] = search.pressure_unknown ? 1 : 5.373 * (1 + c.omega) * c.tc;
  }
  // d is -d ln P or -d(1/T): with both, ln K moves by slope d. Wilson's relation is exact in it, so the first
  // step may be long.
  auto move = [&](double limit) {
    double d = MatchVapourFraction(z, ln_k, slope, b);
    if (search.pressure_unknown) {
      d = std::clamp(d, -limit, limit);
      search.pressure *= std::exp(-d);
    } else {
      const double bound = limit > 1 ? 1e300 : 0.1 / search.temperature;
      d = std::clamp(d, -bound, bound);
      search.temperature = 1 / std::max(1 / search.temperature - d, 1e-6);
    }
    for (std::size_t i = 0; i < n; ++i) ln_k[i] += slope[i] * d;
  };
  move(60);
  for (int step = 0; step < 8; ++step) {
    if (!search.InBounds()) return false;
    Compositions(z, ln_k, b, x, y, fx, fy);
    eos_.SetTemperature(search.temperature, work);
    eos_.Fugacity(work, search.pressure, fy, Root::kVapour, y);
    eos_.Fugacity(work, search.pressure, fx, Root::kLiquid, x);
    for (std::size_t i = 0; i < n; ++i) ln_k[i] = x[i] - y[i];
    move(1);
  }
  return search.InBounds();
}

bool FlashSolver::Newton(Search& search, std::span<const double> z, FlashResult& result) const {
  const std::size_t n = z.size(), size = n + 1;
  const double b = search.vapour_fraction;
  PengRobinson::Workspace work;
  PengRobinson::Derivatives vapour, liquid;
  std::vector<double> x(n), y(n), fx(n), fy(n), matrix(size * size), right(size);
  std::vector<double>& ln_k = search.ln_k;
  for (int step = 0; step < 40; ++step) {
    ++result.iterations;
    if (!search.InBounds()) return false;
    const auto [sum_x, sum_y] = Compositions(z, ln_k, b, x, y, fx, fy);
    eos_.SetTemperature(search.temperature, work);
    const EosState vapour_state = eos_.FugacityDerivatives(work, search.pressure, fy, Root::kVapour, vapour);
    const EosState liquid_state = eos_.FugacityDerivatives(work, search.pressure, fx, Root::kLiquid, liquid);
    double worst = std::abs(sum_y - sum_x), spread = 0;
    std::ranges::fill(matrix, 0.0);
    right[n] = sum_x - sum_y;
    for (std::size_t i = 0; i < n; ++i) {
      const double r = ln_k[i] + vapour.ln_phi[i] - liquid.ln_phi[i];
      worst = std::max(worst, std::abs(r));
      spread = std::max(spread, std::abs(ln_k[i]));
      right[i] = -r;
      for (std::size_t j = 0; j < n; ++j) {
        const double dx = -b * x[j] * y[j] / z[j], dy = (1 - b) * x[j] * y[j] / z[j];
        matrix[i * size + j] =
            (i == j) + vapour.dn[i * n + j] * dy / sum_y - liquid.dn[i * n + j] * dx / sum_x;
      }
      matrix[i * size + n] = search.pressure_unknown ? search.pressure * (vapour.dP[i] - liquid.dP[i])
                                                     : search.temperature * (vapour.dT[i] - liquid.dT[i]);
      matrix[n * size + i] = x[i] * y[i] / z[i];
    }
    if (!std::isfinite(worst) || spread < 1e-4) return false;  // both phases became one
    if (worst < 1e-11) {
      if (!(vapour_state.eos_volume > liquid_state.eos_volume)) return false;
      result.temperature = search.temperature;
      result.pressure = search.pressure;
      result.worst_fugacity_gap = worst;
      result.phases = {{PhaseKind::kVapour, b, fy, Root::kVapour},
                       {PhaseKind::kLiquid, 1 - b, fx, Root::kLiquid}};
      return true;
    }
    if (!SolveDense(matrix, right)) return false;
    double length = 1;
    for (std::size_t i = 0; i < n; ++i) length = std::min(length, 1.5 / std::abs(right[i]));
    length = std::min(length, (search.pressure_unknown ? 0.5 : 0.05) / std::abs(right[n]));
    for (std::size_t i = 0; i < n; ++i) ln_k[i] += length * right[i];
    search.Unknown() *= std::exp(length * right[n]);
  }
  return false;
}

// Follows the line of this vapour fraction from colder (or lower) conditions, where Wilson's start is good,
// towards the critical region, predicting each point from the last two.
bool FlashSolver::March(const Search& target, std::span<const double> z, FlashResult& result) const {
  Search goal = target, last = target;
  bool started = false;
  for (double factor : {0.97, 0.93, 0.88, 0.8, 0.7}) {
    last = target;
    last.Known() *= target.pressure_unknown ? factor : std::pow(factor, 8);
    started = StartFromWilson(last, z) && Newton(last, z, result);
    if (started) break;
  }
  if (!started) return false;
  auto known = [](Search& s) { return std::log(s.Known()); };
  Search before = last;
  const double end = known(goal);
  double step = 0.2 * (end - known(last));
  const double smallest = 1e-4 * step;
  for (int i = 0; i < 80; ++i) {
    const double at = known(last), to = end - at < 1.01 * step ? end : at + step;
    Search next = last;
    next.Known() = to == end ? goal.Known() : std::exp(to);
    if (known(before) < at) {
      const double ratio = (to - at) / (at - known(before));
      for (std::size_t k = 0; k < z.size(); ++k) next.ln_k[k] += ratio * (last.ln_k[k] - before.ln_k[k]);
      next.Unknown() *= std::pow(last.Unknown() / before.Unknown(), ratio);
    }
    if (Newton(next, z, result)) {
      if (to == end) return true;
      before = std::move(last);
      last = std::move(next);
      step *= 1.3;
    } else if ((step *= 0.4) < smallest) {
      return false;
    }
  }
  return false;
}

bool FlashSolver::IsStable(const FlashResult& result) const {
  PengRobinson::Workspace work;
  eos_.SetTemperature(result.temperature, work);
  StabilityTest test(eos_, work);
  std::vector<double> known;
  for (const EquilibriumPhase& p : result.phases) known.insert(known.end(), p.x.begin(), p.x.end());
  const auto& largest = *std::ranges::max_element(result.phases, {}, &EquilibriumPhase::fraction);
  return !test.FindUnstable(result.pressure, largest.x, known, StabilityTest::kPure);
}

FlashResult FlashSolver::PureAtVapourFraction(Search search) const {
  const double b = search.vapour_fraction;
  const PengRobinsonComponent& c = eos_.component(0);
  if (search.pressure_unknown) {
    search.pressure = eos_.PureVapourPressure(0, search.temperature);
  } else {
    if (search.pressure >= c.pc)
      throw PropertyError(
          fmt::format("{} does not boil at {:.6g} bar: its critical pressure is {:.6g} bar. Ask below that.",
                      c.name, search.pressure / 1e5, c.pc / 1e5));
    // ln P is nearly linear in 1/T.
    double low = 0.2 * c.tc, high = c.tc,
           t = c.tc / (1 - std::log(search.pressure / c.pc) / (5.373 * (1 + c.omega)));
    for (int i = 0; i < 200; ++i) {
      t = std::clamp(t, low + 1e-3 * (high - low), high - 1e-12 * high);
      const double gap = std::log(eos_.PureVapourPressure(0, t) / search.pressure);
      (gap > 0 ? high : low) = t;
      const double t2 = t * (1 - 1e-6);
      const double slope =
          (gap - std::log(eos_.PureVapourPressure(0, t2) / search.pressure)) / (1 / t - 1 / t2);
      const double next = 1 / (1 / t - gap / slope);
      if (std::abs(next - t) < 1e-14 * t || high - low < 1e-14 * t) break;
      t = next > low && next < high ? next : 0.5 * (low + high);
    }
    search.temperature = t;
  }
  FlashResult result;
  result.temperature = search.temperature;
  result.pressure = search.pressure;
  result.phases = {{PhaseKind::kVapour, b, {1.0}, Root::kVapour},
                   {PhaseKind::kLiquid, 1 - b, {1.0}, Root::kLiquid}};
  return result;
}

// Where the vapour fraction jumps between two results an arbitrary limit apart: does a phase really change
// there, or only its name (a dense gas that counts as a liquid from here on)?
bool FlashSolver::OnlyRelabelled(const FlashResult& first, const FlashResult& second) const {
  if (first.phases.size() != second.phases.size()) return false;
  PengRobinson::Workspace work;
  auto volumes = [&](const FlashResult& r) {
    eos_.SetTemperature(r.temperature, work);
    std::vector<double> v;
    for (const EquilibriumPhase& p : r.phases) v.push_back(eos_.Volume(work, r.pressure, p.x, p.root));
    std::ranges::sort(v);
    return v;
  };
  const std::vector<double> a = volumes(first), b = volumes(second);
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::abs(a[i] - b[i]) > 1e-4 * a[i]) return false;
  return true;
}

FlashResult FlashSolver::Scan(Search search, std::span<const double> z) const {
  const double b = search.vapour_fraction;
  double coldest = 1e300, hottest = 0;
  for (std::size_t i = 0; i < z.size(); ++i) {
    coldest = std::min(coldest, eos_.component(i).tc);
    hottest = std::max(hottest, eos_.component(i).tc);
  }
  const double from = search.pressure_unknown ? 0.0 : -std::log(std::min(1.3 * hottest, kHighestTemperature));
  const double to = search.pressure_unknown ? std::log(3e8)
                                            : -std::log(std::max(0.25 * coldest, 1.01 * kLowestTemperature));
  auto at = [&](double coordinate) {
    search.MoveTo(coordinate);
    return Normal(search.temperature, search.pressure, z);
  };
  // Still on the vapour side of the answer? After two phases with little vapour a lone phase is the liquid,
  // whatever its label: above the bubble pressure near a critical point it may be called a gas.
  bool seen_little_vapour = false;
  auto on_vapour_side = [&](const FlashResult& r) {
    const double f = r.vapour_fraction();
    if (b >= 1) return r.phases.size() == 1 && f == 1;
    if (r.phases.size() == 1 && seen_little_vapour) return false;
    if (r.phases.size() > 1 && f < 0.5) seen_little_vapour = true;
    return f > b;
  };
  constexpr int kGrid = 60;
  double low = from, high = from;
  FlashResult below = at(low), above;
  bool found = false, started = on_vapour_side(below);
  for (int i = 1; i <= kGrid && !found; ++i) {
    high = from + (to - from) * i / kGrid;
    above = at(high);
    const bool vapour = on_vapour_side(above);
    found = started && !vapour;
    if (found) break;
    started = vapour;
    low = high;
    below = above;
  }
  auto refuse = [&] {
    return PropertyError(fmt::format(
        "{} has no {} at which {:.4g} of it is vapour at {:.6g} {}. Such a point exists only below the "
        "critical region; "
        "ask for a lower {}.",
        Describe(z), search.pressure_unknown ? "pressure" : "temperature", b,
        search.pressure_unknown ? search.temperature : search.pressure / 1e5,
        search.pressure_unknown ? "K" : "bar", search.pressure_unknown ? "temperature" : "pressure"));
  };
  if (!found) throw refuse();
  for (int i = 0; i < 100 && high - low > 2e-15 * std::max(1.0, std::abs(high)); ++i) {
    double middle = 0.5 * (low + high);
    const double fl = below.vapour_fraction() - b, fh = above.vapour_fraction() - b;
    // Between two results of several phases the vapour fraction is smooth: every other step is a secant.
    if (i % 2 == 0 && b > 0 && b < 1 && fl > 0 && fh < 0 && below.phases.size() > 1 &&
        above.phases.size() > 1)
      middle = std::clamp(low + (high - low) * fl / (fl - fh), low, high);
    if (middle == low || middle == high) break;
    FlashResult r = at(middle);
    if (b > 0 && b < 1 && std::abs(r.vapour_fraction() - b) < 1e-12) return r;
    const bool vapour = on_vapour_side(r);
    (vapour ? low : high) = middle;
    (vapour ? below : above) = std::move(r);
  }
  if (OnlyRelabelled(below, above)) throw refuse();
  if (b <= 0) return Blend(below, above, 1);
  if (b >= 1) return Blend(below, above, 0);
  // The vapour fraction jumps here (three phases of two components, an azeotrope): any amount in between is
  // in balance.
  const double fl = below.vapour_fraction(), fh = above.vapour_fraction();
  return Blend(below, above, fl > fh ? (fl - b) / (fl - fh) : 0);
}

FlashResult FlashSolver::AtVapourFraction(Search search, std::span<const double> z) const {
  if (!(search.vapour_fraction >= 0 && search.vapour_fraction <= 1))
    throw PropertyError(fmt::format("A vapour fraction of {:.6g} was asked for. Give a number from 0 to 1.",
                                    search.vapour_fraction));
  return WithPresent(z, [&](const FlashSolver& s, std::span<const double> feed) {
    if (feed.size() == 1) return s.PureAtVapourFraction(search);
    FlashResult result;
    Search attempt = search;
    const bool found = (s.StartFromWilson(attempt, feed) && s.Newton(attempt, feed, result)) ||
                       s.March(search, feed, result);
    return found && s.IsStable(result) ? result : s.Scan(search, feed);
  });
}

FlashResult FlashSolver::AtTemperatureVapourFraction(double temperature, double vapour_fraction,
                                                     std::span<const double> z) const {
  CheckTemperature(temperature);
  return AtVapourFraction({true, vapour_fraction, temperature, 0}, z);
}

FlashResult FlashSolver::AtPressureVapourFraction(double pressure, double vapour_fraction,
                                                  std::span<const double> z) const {
  CheckPressure(pressure);
  return AtVapourFraction({false, vapour_fraction, 0, pressure}, z);
}

}  // namespace quiver
