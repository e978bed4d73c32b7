// SPDX-License-Identifier: Apache-2.0
// A cubic spline through the differences between the equation's saturated liquid volume and the
// correlation's.
#include "runtime/properties/volume_shift.h"

#include <algorithm>
#include <cmath>

#include "runtime/properties/dense.h"
#include "runtime/properties/peng_robinson.h"

namespace quiver {
namespace {

constexpr std::size_t kIntervals = 12;

// Slopes of the cubic spline through equidistant points, end slopes by one-sided differences.
std::vector<double> SplineSlopes(const std::vector<double>& value, double h) {
  const std::size_t n = value.size();
  std::vector<double> matrix(n * n, 0.0), slope(n);
  for (std::size_t i = 1; i + 1 < n; ++i) {
    matrix[i * n + i - 1] = matrix[i * n + i + 1] = 1;
    matrix[i * n + i] = 4;
    slope[i] = 3 * (value[i + 1] - value[i - 1]) / h;
  }
  matrix[0] = matrix[n * n - 1] = 1;
  slope[0] = (-3 * value[0] + 4 * value[1] - value[2]) / (2 * h);
  slope[n - 1] = (3 * value[n - 1] - 4 * value[n - 2] + value[n - 3]) / (2 * h);
  SolveDense(matrix, slope);
  return slope;
}

}  // namespace

Jet VolumeShift::At(double temperature) const {
  if (pieces.empty()) return {};
  if (temperature <= flat_below) return {pieces.front().c[0], 0, 0};
  if (temperature < low) return pieces.front().At(temperature - flat_below);
  if (temperature >= flat_above) return {pieces.back().Value(flat_above - plateau), 0, 0};
  if (temperature >= plateau) return pieces.back().At(temperature - plateau);
  if (temperature >= high) return pieces[1 + kIntervals].At(temperature - high);
  const double step = (high - low) / static_cast<double>(kIntervals);
  const std::size_t k = std::min(static_cast<std::size_t>((temperature - low) / step), kIntervals - 1);
  return pieces[1 + k].At(temperature - low - static_cast<double>(k) * step);
}

VolumeShift FitVolumeShift(const Component& component, const AlphaCorrection& alpha) {
  const PengRobinson pure({{component.name, component.tc, component.pc, component.omega, alpha}}, {0});
  const Correlation& density = component.correlation(Property::kLiquidDensity);
  PengRobinson::Workspace workspace;
  const double one[] = {1.0};
  auto difference = [&](double t) {
    pure.SetTemperature(t, workspace);
    return pure.Volume(workspace, pure.PureVapourPressure(0, t), one, Root::kLiquid) -
           1 / Evaluate(density, t).value;
  };

  VolumeShift shift;
  shift.high = 0.85 * component.tc;
  shift.plateau = 0.95 * component.tc;
  shift.low = std::clamp(density.t_min, 0.4 * component.tc, 0.75 * component.tc);
  shift.flat_below = 0.7 * shift.low;
  shift.flat_above = 2 * component.tc;
  const double step = (shift.high - shift.low) / static_cast<double>(kIntervals);
  std::vector<double> value(kIntervals + 1);
  for (std::size_t i = 0; i <= kIntervals; ++i)
    value[i] = difference(shift.low + step * static_cast<double>(i));
  const std::vector<double> slope = SplineSlopes(value, step);
  auto knot = [&](std::size_t i) {
    // The second derivative of the cubic piece at this end.
    const double bend =
        i < kIntervals ? (6 * (value[i + 1] - value[i]) / step - 4 * slope[i] - 2 * slope[i + 1]) / step
                       : (-6 * (value[i] - value[i - 1]) / step + 4 * slope[i] + 2 * slope[i - 1]) / step;
    return Jet{value[i], slope[i], bend};
  };
  const double width = shift.plateau - shift.high;
  const double top = value[kIntervals] + 0.5 * slope[kIntervals] * width;
  const double hot = std::min(0.0, difference(std::max(shift.low, 0.7 * component.tc)));
  shift.pieces.push_back(MakeQuintic(shift.low - shift.flat_below, {value[0], 0, 0}, knot(0)));
  for (std::size_t i = 0; i < kIntervals; ++i)
    shift.pieces.push_back(MakeQuintic(step, knot(i), knot(i + 1)));
  shift.pieces.push_back(MakeQuintic(width, knot(kIntervals), {top, 0, 0}));
  shift.pieces.push_back(MakeQuintic(shift.flat_above - shift.plateau, {top, 0, 0}, {hot, 0, 0}));
  return shift;
}

}  // namespace quiver
